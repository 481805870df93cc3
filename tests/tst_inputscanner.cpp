#include "input/inputscanner.h"
#include "testsupport/droptesting.h"

#include <QAtomicInt>
#include <QSaveFile>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;
using DropTesting::writeFile;

namespace {

const QStringList revitFilters = {u"*.rvt"_s, u"*.RVT"_s, u"*.rfa"_s, u"*.RFA"_s};
const QString noFiles = u"No files selected"_s;

QString green(const QString &text)
{
    return u"<span style='color:#0dbc79;'>"_s + text + u" &#9650;</span>"_s;
}

QString red(const QString &text)
{
    return u"<span style='color:#cd3131;'>"_s + text + u" &#9660;</span>"_s;
}

// The summary lines announced so far; each must be rich text exactly when it carries markup.
QStringList texts(const QSignalSpy &spy)
{
    QStringList out;
    for (const QList<QVariant> &args : spy) {
        const QString text = args.at(0).toString();
        const bool rich = args.at(1).value<Qt::TextFormat>() == Qt::RichText;
        out << (rich == text.contains(u"<span"_s) ? text : u"wrong text format: "_s + text);
    }
    return out;
}

qsizetype listSize(const QSignalSpy &spy, qsizetype i)
{
    return spy.at(i).at(0).value<QFileInfoList>().size();
}

// Counts the scans run on the worker thread, and runs the real walk.
InputScanner::ScanFunction countingScan(const std::shared_ptr<QAtomicInt> &runs)
{
    return [runs](const QString &path, const QStringList &filters, bool single, bool recursive) {
        runs->fetchAndAddOrdered(1);
        return InputScanner::scan(path, filters, single, recursive);
    };
}

// A scan that waits for `release` before it walks, and then reports on `finished`.
InputScanner::ScanFunction heldScan(const QString &heldPath, const std::shared_ptr<QSemaphore> &release,
                                    const std::shared_ptr<QSemaphore> &finished)
{
    return [=](const QString &path, const QStringList &filters, bool single, bool recursive) {
        if (path == heldPath)
            release->tryAcquire(1, 10000);
        const ScanResult result = InputScanner::scan(path, filters, single, recursive);
        if (path == heldPath)
            finished->release();
        return result;
    };
}

// Scans `dir` and waits for a non-empty list.
bool scanAndWait(InputScanner &scanner, const QString &dir, bool recursive = false)
{
    QSignalSpy done(&scanner, &InputScanner::scanComplete);
    scanner.startScan(dir, revitFilters, false, recursive);
    return QTest::qWaitFor([&] { return !done.isEmpty() && listSize(done, done.size() - 1) > 0; });
}

} // namespace

Q_DECLARE_METATYPE(Qt::TextFormat)

class tst_InputScanner : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void scanWalksTheDisk_data();
    void scanWalksTheDisk();
    void newestRequestWinsWhateverFinishesLast();
    void resultAfterScannerIsGoneIsIgnored();
    void watchedFolderChangeIsShownThenFades_data();
    void watchedFolderChangeIsShownThenFades();
    void emptyPathAndSwitchingFoldersClearAtOnce();
    void listOperationsRefreshBeforeStoring();
};

void tst_InputScanner::scanWalksTheDisk_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("singleFile");
    QTest::addColumn<bool>("recursive");
    QTest::addColumn<QStringList>("expected");
    QTest::addColumn<qint64>("totalBytes");
    // Tree: MODEL.RVT (10 B), model.rvt (20 B), family.rfa (30 B), notes.txt, sub/deep.rvt (40 B).
    QTest::addRow("folder: both cases once each, no subfolder")
        << u""_s << false << false << QStringList{u"MODEL.RVT"_s, u"family.rfa"_s, u"model.rvt"_s}
        << qint64(60);
    QTest::addRow("folder with subfolders")
        << u""_s << false << true
        << QStringList{u"MODEL.RVT"_s, u"deep.rvt"_s, u"family.rfa"_s, u"model.rvt"_s} << qint64(100);
    QTest::addRow("single file") << u"model.rvt"_s << true << false << QStringList{u"model.rvt"_s}
                                 << qint64(20);
    QTest::addRow("single file that does not exist")
        << u"gone.rvt"_s << true << false << QStringList{} << qint64(0);
    QTest::addRow("directory given as a single file")
        << u"sub"_s << true << false << QStringList{} << qint64(0);
    QTest::addRow("missing folder") << u"nowhere"_s << false << true << QStringList{} << qint64(0);
}

void tst_InputScanner::scanWalksTheDisk()
{
    QFETCH(QString, path);
    QFETCH(bool, singleFile);
    QFETCH(bool, recursive);
    QFETCH(QStringList, expected);
    QFETCH(qint64, totalBytes);
    QTemporaryDir dir;
    QVERIFY(writeFile(dir.filePath(u"MODEL.RVT"_s), 10));
    QVERIFY(writeFile(dir.filePath(u"model.rvt"_s), 20));
    QVERIFY(writeFile(dir.filePath(u"family.rfa"_s), 30));
    QVERIFY(writeFile(dir.filePath(u"notes.txt"_s), 50));
    QVERIFY(writeFile(dir.filePath(u"sub/deep.rvt"_s), 40));
    const ScanResult result = InputScanner::scan(path.isEmpty() ? dir.path() : dir.filePath(path),
                                                 revitFilters, singleFile, recursive);
    QStringList names;
    for (const QFileInfo &file : result.files)
        names.append(file.fileName());
    names.sort();
    QCOMPARE(names, expected);
    QCOMPARE(result.fileCount, quint32(expected.size()));
    QCOMPARE(result.totalBytes, totalBytes);
}

void tst_InputScanner::newestRequestWinsWhateverFinishesLast()
{
    QTemporaryDir dir;
    const QString first = dir.filePath(u"first"_s);
    const QString second = dir.filePath(u"second"_s);
    QVERIFY(writeFile(first + u"/a.rvt"_s, 10));
    QVERIFY(writeFile(second + u"/b.rvt"_s, 20));
    QVERIFY(writeFile(second + u"/c.rvt"_s, 30));
    // The first scan is held until the second one's list has been shown.
    auto release = std::make_shared<QSemaphore>();
    auto firstDone = std::make_shared<QSemaphore>();
    InputScanner scanner;
    scanner.setScanFunction(heldScan(first, release, firstDone));
    QSignalSpy text(&scanner, &InputScanner::infoTextChanged);
    QSignalSpy done(&scanner, &InputScanner::scanComplete);
    scanner.startScan(first, revitFilters, false, false);
    scanner.startScan(second, revitFilters, false, false);
    QTRY_VERIFY(!done.isEmpty() && listSize(done, done.size() - 1) == 2);
    QCOMPARE(texts(text).constLast(), u"2 file(s), 50 B total"_s);
    const qsizetype textsBefore = text.size();
    const qsizetype listsBefore = done.size();
    release->release();
    QVERIFY(firstDone->tryAcquire(1, 10000));
    QTest::qWait(100);
    QCOMPARE(done.size(), listsBefore);
    QCOMPARE(text.size(), textsBefore);
    QCOMPARE(scanner.watchedDirectory(), second);
}

void tst_InputScanner::resultAfterScannerIsGoneIsIgnored()
{
    QTemporaryDir dir;
    QVERIFY(writeFile(dir.filePath(u"a.rvt"_s)));
    auto release = std::make_shared<QSemaphore>();
    auto finished = std::make_shared<QSemaphore>();
    auto scanner = std::make_unique<InputScanner>();
    scanner->setScanFunction(heldScan(dir.path(), release, finished));
    scanner->startScan(dir.path(), revitFilters, false, false);
    scanner.reset();
    release->release();
    QVERIFY(finished->tryAcquire(1, 10000));
    // The posted result finds no scanner; touching it would crash here (or in the sanitizer build).
    QTest::qWait(100);
}

void tst_InputScanner::watchedFolderChangeIsShownThenFades_data()
{
    QTest::addColumn<int>("change");
    QTest::addColumn<QString>("richText"); // empty: no rescan and nothing shown
    QTest::addColumn<QString>("plainText");
    // Each starts from a.rvt, b.rvt, c.rvt (100 B each) and sub/d.rvt, scanned with subfolders.
    // Each notice restarts the wait, so a slow copy still ends in one rescan.
    QTest::addRow("ten files trickling in 100 ms apart")
        << 0 << green(u"14 file(s)"_s) + u", "_s + green(u"1.4 KB total"_s) << u"14 file(s), 1.4 KB total"_s;
    QTest::addRow("a file deleted") << 1 << red(u"3 file(s)"_s) + u", "_s + red(u"300 B total"_s)
                                    << u"3 file(s), 300 B total"_s;
    QTest::addRow("a file replaced by a larger one")
        << 2 << u"4 file(s), "_s + green(u"2.3 KB total"_s) << u"4 file(s), 2.3 KB total"_s;
    // Only the chosen folder itself is watched, and only until the scanner is told to stop.
    QTest::addRow("file added inside a subfolder") << 3 << QString() << QString();
    QTest::addRow("file added after stopWatching") << 4 << QString() << QString();
}

void tst_InputScanner::watchedFolderChangeIsShownThenFades()
{
    QFETCH(int, change);
    QFETCH(QString, richText);
    QFETCH(QString, plainText);
    QTemporaryDir dir;
    for (const QString &name : {u"a.rvt"_s, u"b.rvt"_s, u"c.rvt"_s, u"sub/d.rvt"_s})
        QVERIFY(writeFile(dir.filePath(name)));
    InputScanner scanner;
    auto runs = std::make_shared<QAtomicInt>(0);
    scanner.setScanFunction(countingScan(runs));
    // Only the fading is shortened; the debounce keeps its real 300 ms.
    scanner.setChangeHighlightInterval(600);
    QVERIFY(scanAndWait(scanner, dir.path(), true));
    QCOMPARE(scanner.watchedDirectory(), dir.path());

    QSignalSpy text(&scanner, &InputScanner::infoTextChanged);
    QSignalSpy done(&scanner, &InputScanner::scanComplete);
    if (change == 0) {
        for (int i = 0; i < 10; ++i) {
            QVERIFY(writeFile(dir.filePath(u"new%1.rvt"_s.arg(i))));
            QTest::qWait(100);
        }
        QCOMPARE(runs->loadAcquire(), 1);
    } else if (change == 1) {
        QVERIFY(QFile::remove(dir.filePath(u"b.rvt"_s)));
    } else if (change == 2) {
        // Saved the way editors save: a temporary file renamed over the old one.
        QSaveFile save(dir.filePath(u"b.rvt"_s));
        QVERIFY(save.open(QIODevice::WriteOnly));
        save.write(QByteArray(2048, 'y'));
        QVERIFY(save.commit());
    } else {
        if (change == 4) {
            scanner.stopWatching();
            QVERIFY(scanner.watchedDirectory().isEmpty());
        }
        QVERIFY(writeFile(dir.filePath(change == 3 ? u"sub/e.rvt"_s : u"e.rvt"_s)));
        QTest::qWait(scanner.debounceInterval() + 500);
        QCOMPARE(runs->loadAcquire(), 1);
        QCOMPARE(text.size(), 0);
        return;
    }
    QTRY_COMPARE_WITH_TIMEOUT(text.size(), 1, 3000);
    QCOMPARE(texts(text), QStringList{richText});
    QCOMPARE(done.size(), 1);
    // The plain line returns once the highlight is over, and no second rescan happened.
    QTRY_COMPARE_WITH_TIMEOUT(text.size(), 2, 3000);
    QCOMPARE(texts(text).at(1), plainText);
    QCOMPARE(runs->loadAcquire(), 2);
}

void tst_InputScanner::emptyPathAndSwitchingFoldersClearAtOnce()
{
    QTemporaryDir dir;
    const QString a = dir.filePath(u"a"_s);
    const QString b = dir.filePath(u"b"_s);
    QVERIFY(writeFile(a + u"/one.rvt"_s));
    QVERIFY(writeFile(b + u"/one.rvt"_s));
    QVERIFY(writeFile(b + u"/two.rvt"_s));
    InputScanner scanner;
    auto runs = std::make_shared<QAtomicInt>(0);
    scanner.setScanFunction(countingScan(runs));
    for (const QString &next : {QString(), b}) {
        QVERIFY(scanAndWait(scanner, a));
        const int runsBefore = runs->loadAcquire();
        QSignalSpy text(&scanner, &InputScanner::infoTextChanged);
        QSignalSpy done(&scanner, &InputScanner::scanComplete);
        // The old list goes within the call; no path needs no scan at all.
        scanner.startScan(next, revitFilters, false, false);
        QCOMPARE(texts(text), QStringList{noFiles});
        QCOMPARE(done.size(), 1);
        QCOMPARE(listSize(done, 0), 0);
        if (next.isEmpty()) {
            QTest::qWait(50);
            QCOMPARE(runs->loadAcquire(), runsBefore);
            continue;
        }
        // The new folder's list is no "change" from the old one.
        QTRY_COMPARE(done.size(), 2);
        QCOMPARE(listSize(done, 1), 2);
        QCOMPARE(texts(text), (QStringList{noFiles, u"2 file(s), 200 B total"_s}));
        QCOMPARE(scanner.watchedDirectory(), b);
    }
}

void tst_InputScanner::listOperationsRefreshBeforeStoring()
{
    QTemporaryDir dir;
    QVERIFY(writeFile(dir.filePath(u"a.rvt"_s), 100));
    QVERIFY(writeFile(dir.filePath(u"b.rvt"_s), 300));
    const QFileInfo a(dir.filePath(u"a.rvt"_s));
    const QFileInfo b(dir.filePath(u"b.rvt"_s));
    InputScanner scanner;
    scanner.setChangeHighlightInterval(100);
    QVERIFY(scanAndWait(scanner, dir.path()));
    QSignalSpy text(&scanner, &InputScanner::infoTextChanged);
    QSignalSpy done(&scanner, &InputScanner::scanComplete);

    // The held statistics (2 files, 400 B) equal this list: the plain line, and no watching.
    scanner.setFileList({a, b});
    QVERIFY(scanner.watchedDirectory().isEmpty());
    QCOMPARE(done.size(), 1);
    QCOMPARE(texts(text).constLast(), u"2 file(s), 400 B total"_s);
    // A smaller list is a change.
    scanner.setFileList({a});
    QCOMPARE(texts(text).constLast(), red(u"1 file(s)"_s) + u", "_s + red(u"100 B total"_s));
    QTRY_COMPARE(texts(text).constLast(), u"1 file(s), 100 B total"_s);
    // Emptying forgets the statistics; the next non-empty list is refreshed before it is
    // stored, so the line keeps reading "No files selected".
    scanner.refreshSummary({});
    QCOMPARE(texts(text).constLast(), noFiles);
    const qsizetype listsBefore = done.size();
    scanner.refreshSummary({a, b});
    QCOMPARE(done.size(), listsBefore);
    QCOMPARE(texts(text).constLast(), noFiles);
    // Now the statistics are held, and an equal list shows them.
    scanner.refreshSummary({a, b});
    QCOMPARE(texts(text).constLast(), u"2 file(s), 400 B total"_s);
}

QTEST_GUILESS_MAIN(tst_InputScanner)
#include "tst_inputscanner.moc"
