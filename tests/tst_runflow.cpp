// The main window's decisions and texts around a run that the window tests cannot reach
// (no tray here, no screen of another size) or reach only in one of their cases.

#include "app/runflow.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QString writeFile(const QTemporaryDir &dir, const QString &name, qint64 bytes)
{
    const QString path = dir.filePath(name);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return {};
    file.write(QByteArray(bytes, 'x'));
    return path;
}

} // namespace

class TestRunFlow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void summary_data();
    void summary();
    void endTrayNotice_data();
    void endTrayNotice();
    void progressText_data();
    void progressText();
    void defaultGeometry_data();
    void defaultGeometry();
    void selectPaths();
    void outputFolderToOpen();
};

void TestRunFlow::summary_data()
{
    QTest::addColumn<int>("success");
    QTest::addColumn<int>("fail");
    QTest::addColumn<int>("skip");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("role");
    QTest::addColumn<QString>("filesTab");

    QTest::addRow("all converted") << 4 << 0 << 0 << u"4 file(s) converted successfully."_s << u"success"_s
                                   << u"Files"_s;
    QTest::addRow("skips only") << 3 << 0 << 2 << u"3 succeeded, 2 skipped."_s << u"success"_s << u"Files"_s;
    QTest::addRow("one failure") << 0 << 1 << 0 << u"0 succeeded, 1 failed."_s << u"error"_s
                                 << u"Files (1 failed)"_s;
    QTest::addRow("all three") << 1 << 2 << 3 << u"1 succeeded, 2 failed, 3 skipped."_s << u"error"_s
                               << u"Files (2 failed)"_s;
    QTest::addRow("empty run") << 0 << 0 << 0 << u"0 file(s) converted successfully."_s << u"success"_s
                               << u"Files"_s;
}

void TestRunFlow::summary()
{
    QFETCH(int, success);
    QFETCH(int, fail);
    QFETCH(int, skip);
    const RunFlow::Summary summary = RunFlow::summary(success, fail, skip);
    QFETCH(QString, text);
    QCOMPARE(summary.text, text);
    QFETCH(QString, role);
    QCOMPARE(summary.role, role);
    QFETCH(QString, filesTab);
    QCOMPARE(RunFlow::filesTabTitle(fail), filesTab);
}

void TestRunFlow::endTrayNotice_data()
{
    QTest::addColumn<int>("success");
    QTest::addColumn<int>("fail");
    QTest::addColumn<int>("skip");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("icon");

    QTest::addRow("clean") << 2 << 0 << 0 << u"2 file(s) converted successfully."_s
                           << int(QSystemTrayIcon::Information);
    QTest::addRow("skips are information")
        << 2 << 0 << 1 << u"2 succeeded, 1 skipped"_s << int(QSystemTrayIcon::Information);
    QTest::addRow("failures warn") << 1 << 1 << 0 << u"1 succeeded, 1 failed"_s
                                   << int(QSystemTrayIcon::Warning);
}

void TestRunFlow::endTrayNotice()
{
    QFETCH(int, success);
    QFETCH(int, fail);
    QFETCH(int, skip);
    const RunFlow::TrayNotice notice = RunFlow::endTrayNotice(success, fail, skip);
    QFETCH(QString, text);
    QCOMPARE(notice.text, text);
    QFETCH(int, icon);
    QCOMPARE(int(notice.icon), icon);
}

void TestRunFlow::progressText_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("stage");
    QTest::addColumn<QString>("text");

    QTest::addRow("no stage") << u"Tower.rvt"_s << QString() << u"File 2 of 5: Tower.rvt — 00:07"_s;
    QTest::addRow("stage") << u"Tower.rvt"_s << u"Exporting geometry"_s
                           << u"File 2 of 5: Tower.rvt — Exporting geometry (00:07)"_s;
    // Placeholders inside a file name stay as they are.
    QTest::addRow("percent signs in the name")
        << u"a %1 %2.rvt"_s << u"Reading"_s << u"File 2 of 5: a %1 %2.rvt — Reading (00:07)"_s;
    QTest::addRow("long name cut to 40")
        << u"0123456789012345678901234567890123456789-tail.rvt"_s << QString()
        << u"File 2 of 5: 012345678901234567890123456789012345678… — 00:07"_s;
}

void TestRunFlow::progressText()
{
    QFETCH(QString, name);
    QFETCH(QString, stage);
    QFETCH(QString, text);
    QCOMPARE(RunFlow::progressText(2, 5, name, stage, u"00:07"_s), text);
    // Exactly 40 characters are kept whole.
    QCOMPARE(RunFlow::elidedName(u"exactly-forty-characters-long-name.rvt12"_s),
             u"exactly-forty-characters-long-name.rvt12"_s);
    QCOMPARE(RunFlow::statusText(2, 5, u"00:07"_s), u"Converting file 2 of 5... (00:07)"_s);
    QCOMPARE(RunFlow::elapsedText(false, 123456), u"00:00"_s);
    QCOMPARE(RunFlow::elapsedText(true, 3725000), u"1:02:05"_s);
}

void TestRunFlow::defaultGeometry_data()
{
    QTest::addColumn<QRect>("available");
    QTest::addColumn<QRect>("window");

    QTest::addRow("full HD") << QRect(0, 0, 1920, 1040) << QRect(288, 104, 1344, 832);
    QTest::addRow("small screen: lower bounds") << QRect(0, 0, 1280, 720) << QRect(190, 60, 900, 600);
    QTest::addRow("large screen: upper bounds") << QRect(0, 0, 3840, 2100) << QRect(1220, 575, 1400, 950);
    // Centred on the available area, wherever it lies (a second screen, a panel on the left).
    QTest::addRow("offset origin") << QRect(1920, 40, 1920, 1040) << QRect(2208, 144, 1344, 832);
    QTest::addRow("odd sizes round down") << QRect(0, 0, 1437, 1001) << QRect(216, 100, 1005, 800);
    QTest::addRow("smaller than the minimum") << QRect(0, 0, 800, 600) << QRect(-50, 0, 900, 600);
}

void TestRunFlow::defaultGeometry()
{
    QFETCH(QRect, available);
    QFETCH(QRect, window);
    QCOMPARE(RunFlow::defaultGeometry(available), window);
}

void TestRunFlow::selectPaths()
{
    QTemporaryDir dir;
    QDir(dir.path()).mkdir(u"first"_s);
    QDir(dir.path()).mkdir(u"second"_s);
    const QString upper = writeFile(dir, u"MODEL.RVT"_s, 10);
    const QString family = writeFile(dir, u"door.rfa"_s, 10);
    const QString other = writeFile(dir, u"notes.txt"_s, 10);
    const QStringList extensions{u"rvt"_s, u"rfa"_s};

    RunFlow::PathSelection files =
        RunFlow::selectPaths({upper, other, dir.filePath(u"missing.rvt"_s), family}, extensions);
    QVERIFY(files.folder.isEmpty());
    QCOMPARE(files.files.size(), 2);
    QCOMPARE(files.files.at(0).absoluteFilePath(), QFileInfo(upper).absoluteFilePath());
    QCOMPARE(files.files.at(1).absoluteFilePath(), QFileInfo(family).absoluteFilePath());

    // The first folder wins; a relative path is made absolute.
    QDir::setCurrent(dir.path());
    const RunFlow::PathSelection folders = RunFlow::selectPaths({upper, u"first"_s, u"second"_s}, extensions);
    QCOMPARE(folders.folder, QDir(dir.path()).absoluteFilePath(u"first"_s));
    QCOMPARE(folders.files.size(), 1);

    // A converter for other files accepts none of these.
    QVERIFY(RunFlow::selectPaths({upper, family, other}, {u"ifc"_s}).files.isEmpty());
    const RunFlow::PathSelection junk =
        RunFlow::selectPaths({u"/no/such/path"_s, QString(), other}, extensions);
    QVERIFY(junk.folder.isEmpty());
    QVERIFY(junk.files.isEmpty());
}

void TestRunFlow::outputFolderToOpen()
{
    const QFileInfoList listed{QFileInfo(u"/p/one/a.rvt"_s), QFileInfo(u"/p/two/b.rvt"_s)};
    QCOMPARE(
        RunFlow::outputFolderToOpen(false, InputMode::Folder, u"/x/m.rvt"_s, u"/in"_s, listed, u"/out"_s),
        u"/out"_s);
    QCOMPARE(
        RunFlow::outputFolderToOpen(true, InputMode::SingleFile, u"/x/m.rvt"_s, u"/in"_s, listed, QString()),
        u"/x"_s);
    QCOMPARE(RunFlow::outputFolderToOpen(true, InputMode::MultipleFiles, u"/x/m.rvt"_s, u"/in"_s, listed,
                                         QString()),
             u"/p/one"_s);
    QCOMPARE(RunFlow::outputFolderToOpen(true, InputMode::Folder, u"/x/m.rvt"_s, u"/in"_s, listed, QString()),
             u"/in"_s);
    QCOMPARE(RunFlow::outputFolderToOpen(true, InputMode::SingleFile, QString(), u"/in"_s, listed, QString()),
             QString());
}

QTEST_MAIN(TestRunFlow)
#include "tst_runflow.moc"
