// The main window's decisions and texts around a run, and the start-up arithmetic, checked
// without a window.

#include "app/runflow.h"
#include "app/startup.h"

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
    void endToast_data();
    void endToast();
    void endTrayNotice_data();
    void endTrayNotice();
    void windowTitle_data();
    void windowTitle();
    void progressText_data();
    void progressText();
    void missingInputMessage_data();
    void missingInputMessage();
    void confirmationText();
    void logLines();
    void defaultGeometry_data();
    void defaultGeometry();
    void selectPaths();
    void rememberedAndRecentFolders();
    void outputFolderToOpen();
    void splashArithmetic();
    void pathsToOpen_data();
    void pathsToOpen();
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

void TestRunFlow::endToast_data()
{
    QTest::addColumn<int>("success");
    QTest::addColumn<int>("fail");
    QTest::addColumn<int>("skip");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("duration");

    QTest::addRow("clean") << 3 << 0 << 0 << u"Done: 3 file(s) in 01:05"_s << 4000;
    QTest::addRow("failure") << 2 << 1 << 0 << u"Done: 2 succeeded, 1 failed (01:05)"_s << 5000;
    QTest::addRow("skip") << 2 << 0 << 1 << u"Done: 2 succeeded, 1 skipped (01:05)"_s << 5000;
    QTest::addRow("both") << 0 << 1 << 1 << u"Done: 0 succeeded, 1 failed, 1 skipped (01:05)"_s << 5000;
}

void TestRunFlow::endToast()
{
    QFETCH(int, success);
    QFETCH(int, fail);
    QFETCH(int, skip);
    const RunFlow::Notice notice = RunFlow::endToast(success, fail, skip, u"01:05"_s);
    QFETCH(QString, text);
    QCOMPARE(notice.text, text);
    QFETCH(int, duration);
    QCOMPARE(notice.durationMs, duration);
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

void TestRunFlow::windowTitle_data()
{
    QTest::addColumn<int>("percent");
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("total");
    QTest::addColumn<QString>("title");

    QTest::addRow("before the first file") << 5 << 0 << 0 << u"[5%] KVT Revit Community"_s;
    QTest::addRow("second of three") << 42 << 2 << 3 << u"[42%] KVT Revit Community - File 2 of 3"_s;
}

void TestRunFlow::windowTitle()
{
    QFETCH(int, percent);
    QFETCH(int, number);
    QFETCH(int, total);
    QFETCH(QString, title);
    QCOMPARE(RunFlow::windowTitle(u"KVT Revit Community"_s, percent, number, total), title);
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
    QCOMPARE(RunFlow::elidedName(u"exactly-forty-characters-long-name.rvt12"_s).size(), 40);
    QCOMPARE(RunFlow::elidedName(u"exactly-forty-characters-long-name.rvt12"_s),
             u"exactly-forty-characters-long-name.rvt12"_s);
    QCOMPARE(RunFlow::statusText(2, 5, u"00:07"_s), u"Converting file 2 of 5... (00:07)"_s);
    QCOMPARE(RunFlow::elapsedText(false, 123456), u"00:00"_s);
    QCOMPARE(RunFlow::elapsedText(true, 3725000), u"1:02:05"_s);
}

void TestRunFlow::missingInputMessage_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("folder");
    QTest::addColumn<int>("listed");
    QTest::addColumn<QString>("message");

    const int single = int(InputMode::SingleFile);
    const int folder = int(InputMode::Folder);
    const int multiple = int(InputMode::MultipleFiles);
    QTest::addRow("single, nothing chosen")
        << single << QString() << u"/f"_s << 3 << u"Please, select the project file."_s;
    QTest::addRow("single, a file chosen")
        << single << u"/a.rvt"_s << QString() << 0 << u"No active files to convert."_s;
    QTest::addRow("folder, nothing chosen")
        << folder << u"/a.rvt"_s << QString() << 3 << u"Please, enter the input directory."_s;
    QTest::addRow("folder, a folder chosen")
        << folder << QString() << u"/f"_s << 0 << u"No active files to convert."_s;
    QTest::addRow("multiple, empty list")
        << multiple << u"/a.rvt"_s << u"/f"_s << 0 << u"Please, select files to convert."_s;
    QTest::addRow("multiple, all disabled")
        << multiple << QString() << QString() << 2 << u"No active files to convert."_s;
}

void TestRunFlow::missingInputMessage()
{
    QFETCH(int, mode);
    QFETCH(QString, file);
    QFETCH(QString, folder);
    QFETCH(int, listed);
    QFETCH(QString, message);
    QCOMPARE(RunFlow::missingInputMessage(InputMode(mode), file, folder, listed), message);
    QCOMPARE(RunFlow::missingOutputMessage(), u"Please, enter the output directory."_s);
}

void TestRunFlow::confirmationText()
{
    QTemporaryDir dir;
    const QFileInfo a(writeFile(dir, u"a.rvt"_s, 1000));
    const QFileInfo b(writeFile(dir, u"b.rfa"_s, 1048));
    const QString mode = u"Standard - 724 Revit Categories (Moderate)"_s;

    // One file is named, not counted.
    QCOMPARE(RunFlow::confirmationText({a}, mode), u"Convert a.rvt (1000 B)?\n\nMode: %1"_s.arg(mode));
    QCOMPARE(RunFlow::confirmationText({a, b}, mode), u"Convert 2 files (2.0 KB)?\n\nMode: %1"_s.arg(mode));
}

void TestRunFlow::logLines()
{
    QCOMPARE(RunFlow::fileErrorLine(u"b.rvt"_s, 2),
             u"[ERROR] b.rvt: File version is not supported by this converter."_s);
    QCOMPARE(RunFlow::fileErrorLine(u"b.rvt"_s, 100), u"[ERROR] b.rvt: Converter exited with code 100."_s);
    QCOMPARE(RunFlow::skippedLine(u"c.rvt"_s), u"[SKIPPED] c.rvt: Skipped by user."_s);
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

void TestRunFlow::rememberedAndRecentFolders()
{
    QTemporaryDir dir;
    const QString model = writeFile(dir, u"m.rvt"_s, 10);
    const QFileInfoList listed{QFileInfo(model), QFileInfo(u"/elsewhere/x.rvt"_s)};
    const QString folder = QFileInfo(model).absolutePath();

    QCOMPARE(RunFlow::rememberedInputDir(InputMode::SingleFile, model, u"/f"_s, listed), folder);
    // A chosen file that is gone leaves the stored folder alone.
    QCOMPARE(RunFlow::rememberedInputDir(InputMode::SingleFile, dir.filePath(u"gone.rvt"_s), u"/f"_s, listed),
             QString());
    QCOMPARE(RunFlow::rememberedInputDir(InputMode::MultipleFiles, QString(), QString(), listed), folder);
    QCOMPARE(RunFlow::rememberedInputDir(InputMode::MultipleFiles, model, u"/f"_s, {}), QString());
    QCOMPARE(RunFlow::rememberedInputDir(InputMode::Folder, model, u"/f"_s, listed), u"/f"_s);

    QCOMPARE(RunFlow::recentEntry(InputMode::SingleFile, model, u"/f"_s, listed), model);
    QCOMPARE(RunFlow::recentEntry(InputMode::Folder, model, u"/f"_s, listed), u"/f"_s);
    QCOMPARE(RunFlow::recentEntry(InputMode::MultipleFiles, model, u"/f"_s, {QFileInfo(u"/p/q/x.rvt"_s)}),
             u"/p/q"_s);
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

void TestRunFlow::splashArithmetic()
{
    QCOMPARE(Startup::splashBox(QSize(1920, 1080)), QSize(432, 432));
    QCOMPARE(Startup::splashBox(QSize(800, 600)), QSize(240, 240));
    QCOMPARE(Startup::remainingSplashMs(0, 800), 800);
    QCOMPARE(Startup::remainingSplashMs(300, 800), 500);
    QCOMPARE(Startup::remainingSplashMs(2000, 800), 0);

    QPixmap picture(640, 320);
    picture.fill(Qt::blue);
    // Without a screen the picture is shown as it is.
    QCOMPARE(Startup::splashPixmap(picture, nullptr).size(), QSize(640, 320));
}

void TestRunFlow::pathsToOpen_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QStringList>("paths");

    QTest::addRow("program only") << QStringList{u"kvt"_s} << QStringList();
    QTest::addRow("one file") << QStringList{u"kvt"_s, u"a.rvt"_s} << QStringList{u"a.rvt"_s};
    QTest::addRow("several") << QStringList{u"kvt"_s, u"a.rvt"_s, u"dir"_s}
                             << QStringList{u"a.rvt"_s, u"dir"_s};
}

void TestRunFlow::pathsToOpen()
{
    QFETCH(QStringList, arguments);
    QFETCH(QStringList, paths);
    QCOMPARE(Startup::pathsToOpen(arguments), paths);
}

QTEST_MAIN(TestRunFlow)
#include "tst_runflow.moc"
