// The main window's decisions around a run that the window tests cannot reach (no tray
// here, no screen of another size, no real drop) or reach in only one of their cases.

#include "app/runflow.h"
#include "common/pathselection.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(InputMode)

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
    void outputFolderToOpen_data();
    void outputFolderToOpen();
};

void TestRunFlow::summary_data()
{
    QTest::addColumn<int>("skip");
    QTest::addColumn<QString>("text");
    // Skips alone are no failure: the run still reads as a success.
    QTest::addRow("skips only") << 2 << u"3 succeeded, 2 skipped."_s;
    QTest::addRow("clean") << 0 << u"3 file(s) converted successfully."_s;
}

void TestRunFlow::summary()
{
    QFETCH(int, skip);
    QFETCH(QString, text);
    const RunFlow::Summary summary = RunFlow::summary(3, 0, skip);
    QCOMPARE(summary.text, text);
    QCOMPARE(summary.role, u"success"_s);
    QCOMPARE(RunFlow::filesTabTitle(0), u"Files"_s);
}

void TestRunFlow::endTrayNotice_data()
{
    QTest::addColumn<int>("fail");
    QTest::addColumn<int>("skip");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("icon");
    QTest::addRow("clean") << 0 << 0 << u"2 file(s) converted successfully."_s
                           << int(QSystemTrayIcon::Information);
    QTest::addRow("skips are information")
        << 0 << 1 << u"2 succeeded, 1 skipped"_s << int(QSystemTrayIcon::Information);
    QTest::addRow("failures warn") << 1 << 0 << u"2 succeeded, 1 failed"_s << int(QSystemTrayIcon::Warning);
}

void TestRunFlow::endTrayNotice()
{
    QFETCH(int, fail);
    QFETCH(int, skip);
    QFETCH(QString, text);
    QFETCH(int, icon);
    const RunFlow::TrayNotice notice = RunFlow::endTrayNotice(2, fail, skip);
    QCOMPARE(notice.text, text);
    QCOMPARE(int(notice.icon), icon);
}

void TestRunFlow::progressText_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("stage");
    QTest::addColumn<QString>("text");
    QTest::addRow("no stage") << u"Tower.rvt"_s << QString() << u"File 2 of 5: Tower.rvt — 00:07"_s;
    // Placeholders inside a file name stay as they are.
    QTest::addRow("percent signs in the name")
        << u"a %1 %2.rvt"_s << u"Reading"_s << u"File 2 of 5: a %1 %2.rvt — Reading (00:07)"_s;
    QTest::addRow("forty characters kept whole")
        << u"exactly-forty-characters-long-name.rvt12"_s << QString()
        << u"File 2 of 5: exactly-forty-characters-long-name.rvt12 — 00:07"_s;
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
    const auto write = [&dir](const QString &name) {
        QFile file(dir.filePath(name));
        return file.open(QIODevice::WriteOnly) ? file.fileName() : QString();
    };
    const QString upper = write(u"MODEL.RVT"_s);
    const QString family = write(u"door.rfa"_s);
    const QString other = write(u"notes.txt"_s);
    const QStringList extensions{u"rvt"_s, u"rfa"_s};

    const PathSelection files =
        ::selectPaths({upper, other, dir.filePath(u"missing.rvt"_s), family}, extensions);
    QVERIFY(files.folder.isEmpty());
    QCOMPARE(files.files, (QFileInfoList{QFileInfo(upper), QFileInfo(family)}));

    // The first folder wins, made absolute and clean.
    QDir::setCurrent(dir.path());
    const PathSelection folders = ::selectPaths({upper, u"first/"_s, u"second"_s}, extensions);
    QCOMPARE(folders.folder, QDir(dir.path()).absoluteFilePath(u"first"_s));
    QCOMPARE(folders.files.size(), 1);

    // A converter for other files accepts none of these; nothing is made of junk.
    QVERIFY(::selectPaths({upper, family, other}, {u"ifc"_s}).files.isEmpty());
    const PathSelection junk = ::selectPaths({u"/no/such/path"_s, QString(), other}, extensions);
    QVERIFY(junk.folder.isEmpty() && junk.files.isEmpty());
}

void TestRunFlow::outputFolderToOpen_data()
{
    QTest::addColumn<bool>("sameAsProject");
    QTest::addColumn<InputMode>("mode");
    QTest::addColumn<QString>("filePath");
    QTest::addColumn<QString>("folder");
    QTest::addRow("chosen output folder") << false << InputMode::Folder << u"/x/m.rvt"_s << u"/out"_s;
    QTest::addRow("beside the file") << true << InputMode::SingleFile << u"/x/m.rvt"_s << u"/x"_s;
    QTest::addRow("beside the first listed file")
        << true << InputMode::MultipleFiles << u"/x/m.rvt"_s << u"/p/one"_s;
    QTest::addRow("the input folder") << true << InputMode::Folder << u"/x/m.rvt"_s << u"/in"_s;
    QTest::addRow("nothing chosen") << true << InputMode::SingleFile << QString() << QString();
}

void TestRunFlow::outputFolderToOpen()
{
    QFETCH(bool, sameAsProject);
    QFETCH(InputMode, mode);
    QFETCH(QString, filePath);
    QFETCH(QString, folder);
    InputSelection input;
    input.mode = mode;
    input.filePath = filePath;
    input.folderPath = u"/in"_s;
    input.files = {QFileInfo(u"/p/one/a.rvt"_s), QFileInfo(u"/p/two/b.rvt"_s)};
    QCOMPARE(RunFlow::outputFolderToOpen(sameAsProject, input, sameAsProject ? QString() : u"/out"_s),
             folder);
}

QTEST_MAIN(TestRunFlow)
#include "tst_runflow.moc"
