// The main window's decisions around a run that the window tests cannot reach (no tray
// here, no screen of another size, no real drop) or reach in only one of their cases.

#include "app/runflow.h"
#include "common/pathselection.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class TestRunFlow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void decisions_data();
    void decisions();
    void selectPaths();
};

// Each row: what RunFlow decides in one case, written out, and what the window must be given.
void TestRunFlow::decisions_data()
{
    QTest::addColumn<QString>("actual");
    QTest::addColumn<QString>("expected");
    const auto tray = [](int fail, int skip) {
        const RunFlow::TrayNotice notice = RunFlow::endTrayNotice(2, fail, skip);
        const QStringList icons{u"none"_s, u"information"_s, u"warning"_s, u"critical"_s};
        return u"%1 [%2]"_s.arg(notice.text, icons.value(notice.icon));
    };
    QTest::addRow("tray: clean") << tray(0, 0) << u"2 file(s) converted successfully. [information]"_s;
    QTest::addRow("tray: skips inform") << tray(0, 1) << u"2 succeeded, 1 skipped [information]"_s;
    QTest::addRow("tray: failures warn") << tray(1, 0) << u"2 succeeded, 1 failed [warning]"_s;

    const auto progress = [](const QString &name, const QString &stage) {
        return RunFlow::progressText(2, 5, name, stage, u"00:07"_s);
    };
    // Placeholders inside a file name stay as they are; names are cut at 40 characters.
    QTest::addRow("progress: percent signs")
        << progress(u"a %1 %2.rvt"_s, u"Reading"_s) << u"File 2 of 5: a %1 %2.rvt — Reading (00:07)"_s;
    QTest::addRow("progress: 40 kept") << progress(u"exactly-forty-characters-long-name.rvt12"_s, {})
                                       << u"File 2 of 5: exactly-forty-characters-long-name.rvt12 — 00:07"_s;
    QTest::addRow("progress: 41 cut") << progress(u"exactly-forty-characters-long-name.rvt123"_s, {})
                                      << u"File 2 of 5: exactly-forty-characters-long-name.rvt1… — 00:07"_s;

    // Centred on the available area, wherever it lies (a second screen, a panel on the left).
    const auto geometry = [](const QRect &area) {
        const QRect window = RunFlow::defaultGeometry(area);
        return u"%1,%2 %3x%4"_s.arg(window.x()).arg(window.y()).arg(window.width()).arg(window.height());
    };
    QTest::addRow("geometry: offset") << geometry({1920, 40, 1920, 1040}) << u"2208,144 1344x832"_s;
    QTest::addRow("geometry: lower bounds") << geometry({0, 0, 1280, 720}) << u"190,60 900x600"_s;
    QTest::addRow("geometry: upper bounds") << geometry({0, 0, 3840, 2100}) << u"1220,575 1400x950"_s;

    // With "same as project" on, the chosen output folder plays no part.
    const auto folder = [](InputMode mode, const QString &file) {
        const QFileInfoList files{QFileInfo(u"/p/one/a.rvt"_s), QFileInfo(u"/p/two/b.rvt"_s)};
        return RunFlow::outputFolderToOpen(true, {mode, file, u"/in"_s, false, files}, u"/out"_s);
    };
    QTest::addRow("open: beside the file") << folder(InputMode::SingleFile, u"/x/m.rvt"_s) << u"/x"_s;
    QTest::addRow("open: beside the first listed") << folder(InputMode::MultipleFiles, {}) << u"/p/one"_s;
    QTest::addRow("open: the input folder") << folder(InputMode::Folder, u"/x/m.rvt"_s) << u"/in"_s;
    QTest::addRow("open: nothing chosen") << folder(InputMode::SingleFile, {}) << QString();
}

void TestRunFlow::decisions()
{
    QFETCH(QString, actual);
    QTEST(actual, "expected");
}

void TestRunFlow::selectPaths()
{
    QTemporaryDir dir;
    QDir::setCurrent(dir.path());
    // An accepted name in capitals, another accepted one, and one no converter takes.
    const QStringList paths{dir.filePath(u"MODEL.RVT"_s), dir.filePath(u"door.rfa"_s),
                            dir.filePath(u"notes.txt"_s)};
    for (const QString &path : paths)
        QVERIFY(QFile(path).open(QIODevice::WriteOnly));
    QVERIFY(QDir().mkpath(u"first"_s) && QDir().mkpath(u"second"_s));
    const QStringList extensions{u"rvt"_s, u"rfa"_s};

    // Paths that are not there, empty or not, are left out and make no folder.
    const PathSelection files = ::selectPaths(
        {paths[0], paths[2], u"gone.rvt"_s, QString(), u"/no/such/path"_s, paths[1]}, extensions);
    QVERIFY(files.folder.isEmpty());
    QCOMPARE(files.files, (QFileInfoList{QFileInfo(paths[0]), QFileInfo(paths[1])}));
    // The first folder wins, made absolute and clean.
    QCOMPARE(::selectPaths({paths[0], u"first/"_s, u"second"_s}, extensions).folder,
             dir.filePath(u"first"_s));
    // A converter for other files accepts none of these.
    QVERIFY(::selectPaths(paths, {u"ifc"_s}).files.isEmpty());
}

QTEST_MAIN(TestRunFlow)
#include "tst_runflow.moc"
