#include "input/inputscanner.h"
#include "testsupport/droptesting.h"

#include <QRegularExpression>
#include <QSemaphore>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;
using DropTesting::writeFile;

namespace {

const QStringList revitFilters = {u"*.rvt"_s, u"*.RVT"_s, u"*.rfa"_s, u"*.RFA"_s};
// What the scanner announces when a folder's list goes: the summary line, then an empty list.
const QString cleared = u"No files selected; list 0"_s;
// A change line's parts: green and rising, red and falling.
const QString up = u"<span style='color:#0dbc79;'>%1 &#9650;</span>"_s;
const QString down = u"<span style='color:#cd3131;'>%1 &#9660;</span>"_s;

// Records what the scanner announces, in order: "list 2" for a list of two files, and the
// summary lines, rich text marked "rich".
std::shared_ptr<QStringList> record(InputScanner *scanner)
{
    auto seen = std::make_shared<QStringList>();
    QObject::connect(scanner, &InputScanner::scanComplete, scanner,
                     [seen](const QFileInfoList &files) { seen->append(u"list %1"_s.arg(files.size())); });
    QObject::connect(scanner, &InputScanner::infoTextChanged, scanner,
                     [seen](const QString &text, Qt::TextFormat f) {
                         seen->append((f == Qt::RichText ? u"rich "_s : QString()) + text);
                     });
    return seen;
}

// Scans `dir` and waits for a non-empty list.
bool scanAndWait(InputScanner &scanner, const QString &dir, bool recursive = false)
{
    const auto seen = record(&scanner);
    scanner.startScan(dir, revitFilters, false, recursive);
    return QTest::qWaitFor([&] { return !seen->filter(QRegularExpression(u"^list [1-9]"_s)).isEmpty(); });
}

} // namespace

class tst_InputScanner : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void scanWalksTheDisk_data();
    void scanWalksTheDisk();
    void outdatedScanIsDropped_data();
    void outdatedScanIsDropped();
    void watchedFolderChangeIsShownThenFades_data();
    void watchedFolderChangeIsShownThenFades();
    void handPickedList();
};

void tst_InputScanner::scanWalksTheDisk_data()
{
    // In a tree of MODEL.RVT, model.rvt, family.rfa, notes.txt and sub/deep.rvt:
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("singleFile");
    QTest::addColumn<bool>("recursive");
    QTest::addColumn<QString>("found"); // names, then the total size
    QTest::addRow("folder: both cases once each, no subfolder")
        << u"."_s << false << false << u"MODEL.RVT family.rfa model.rvt 60"_s;
    QTest::addRow("folder with subfolders")
        << u"."_s << false << true << u"MODEL.RVT deep.rvt family.rfa model.rvt 100"_s;
    QTest::addRow("single file") << u"model.rvt"_s << true << false << u"model.rvt 20"_s;
    QTest::addRow("single file that does not exist") << u"gone.rvt"_s << true << false << u"0"_s;
    QTest::addRow("directory given as a single file") << u"sub"_s << true << false << u"0"_s;
    QTest::addRow("missing folder") << u"nowhere"_s << false << true << u"0"_s;
}

void tst_InputScanner::scanWalksTheDisk()
{
    QFETCH(QString, path);
    QFETCH(bool, singleFile);
    QFETCH(bool, recursive);
    QFETCH(QString, found);
    DropTesting::Folder dir;
    for (const QString &entry :
         u"MODEL.RVT:10 model.rvt:20 family.rfa:30 notes.txt:50 sub/deep.rvt:40"_s.split(u' '))
        QVERIFY(writeFile(dir.path(entry.section(u':', 0, 0)), entry.section(u':', 1).toInt()));
    const ScanResult result = InputScanner::scan(dir.path(path), revitFilters, singleFile, recursive);
    QStringList names;
    for (const QFileInfo &file : result.files)
        names.append(file.fileName());
    names.sort();
    QCOMPARE(result.fileCount, quint32(names.size()));
    QCOMPARE((names << QString::number(result.totalBytes)).join(u' '), found);
}

void tst_InputScanner::outdatedScanIsDropped_data()
{
    // What replaces a scan of the folder "first" still running, after "second" was shown.
    QTest::addColumn<QString>("then");
    // Announced from the held scan's start on; nothing of the held scan may follow once it ends,
    // and only the folder now chosen is watched.
    QTest::addColumn<QString>("announced");
    // The old folder's list goes at once, and the new one's is no "change" from it.
    QTest::addRow("another folder") << u"second"_s << cleared + u"; 2 file(s), 200 B total; list 2"_s;
    QTest::addRow("empty path: no scan at all") << QString() << cleared + u"; "_s + cleared;
    QTest::addRow("hand-picked list") << u"list"_s << cleared + u"; list 1; No files selected"_s;
    QTest::addRow("stopWatching") << u"stop"_s << cleared;
    // Its result then finds no scanner; touching it would crash here (or in the sanitizer build).
    QTest::addRow("scanner destroyed") << u"destroy"_s << cleared;
}

void tst_InputScanner::outdatedScanIsDropped()
{
    QFETCH(QString, then);
    QFETCH(QString, announced);
    DropTesting::Folder dir;
    for (const QString &name : {u"first/a.rvt"_s, u"second/b.rvt"_s, u"second/c.rvt"_s})
        QVERIFY(writeFile(dir.path(name)));
    // The scan of "first" waits for `release`, then walks and reports on `finished`.
    auto release = std::make_shared<QSemaphore>();
    auto finished = std::make_shared<QSemaphore>();
    auto scanner = std::make_unique<InputScanner>();
    const QString first = dir.path(u"first"_s);
    scanner->setScanFunction(
        [=](const QString &path, const QStringList &filters, bool single, bool recursive) {
            if (path == first)
                release->tryAcquire(1, 10000);
            const ScanResult result = InputScanner::scan(path, filters, single, recursive);
            if (path == first)
                finished->release();
            return result;
        });
    QVERIFY(scanAndWait(*scanner, dir.path(u"second"_s)));
    const auto news = record(scanner.get());
    scanner->startScan(first, revitFilters, false, false);
    if (then == u"list")
        scanner->setFileList({QFileInfo(dir.path(u"second/b.rvt"_s))});
    else if (then == u"stop")
        scanner->stopWatching();
    else if (then != u"destroy")
        scanner->startScan(then.isEmpty() ? QString() : dir.path(then), revitFilters, false, false);
    QTRY_COMPARE(news->join(u"; "_s), announced);
    if (then == u"destroy")
        scanner.reset();
    release->release();
    QVERIFY(finished->tryAcquire(1, 10000));
    QTest::qWait(200);
    QCOMPARE(news->join(u"; "_s), announced);
    if (scanner)
        QCOMPARE(scanner->watchedDirectory(), then == u"second" ? dir.path(then) : QString());
}

void tst_InputScanner::watchedFolderChangeIsShownThenFades_data()
{
    // Each starts from a.rvt, b.rvt, c.rvt (100 B each) and sub/d.rvt, scanned with subfolders.
    QTest::addColumn<QStringList>("changes"); // 100 ms apart: files written (100 B), "-" removed, "stop"
    QTest::addColumn<QString>("announced");   // empty: no rescan
    // Each notice restarts the wait, so a slow copy still ends in one rescan; the change line
    // stays until its highlight is over.
    QStringList trickle;
    for (int i = 0; i < 10; ++i)
        trickle.append(u"new%1.rvt"_s.arg(i));
    QTest::addRow("ten files trickling in")
        << trickle
        << u"rich "_s + up.arg(u"14 file(s)"_s) + u", "_s + up.arg(u"1.4 KB total"_s) +
               u"; list 14; 14 file(s), 1.4 KB total"_s;
    QTest::addRow("a file deleted") << QStringList{u"-b.rvt"_s}
                                    << u"rich "_s + down.arg(u"3 file(s)"_s) + u", "_s +
                                           down.arg(u"300 B total"_s) + u"; list 3; 3 file(s), 300 B total"_s;
    // Only the chosen folder itself is watched, and only until the scanner is told to stop.
    QTest::addRow("file added inside a subfolder") << QStringList{u"sub/e.rvt"_s} << QString();
    QTest::addRow("file added after stopWatching") << QStringList{u"stop"_s, u"e.rvt"_s} << QString();
}

void tst_InputScanner::watchedFolderChangeIsShownThenFades()
{
    QFETCH(QStringList, changes);
    QFETCH(QString, announced);
    DropTesting::Folder dir;
    for (const QString &name : {u"a.rvt"_s, u"b.rvt"_s, u"c.rvt"_s, u"sub/d.rvt"_s})
        QVERIFY(writeFile(dir.path(name)));
    InputScanner scanner;
    // Only the fading is shortened; the debounce keeps its real 300 ms.
    scanner.setChangeHighlightInterval(600);
    QVERIFY(scanAndWait(scanner, dir.path(u"."_s), true));
    const auto news = record(&scanner);
    for (const QString &change : changes) {
        if (change == u"stop")
            scanner.stopWatching();
        else
            QVERIFY(change.startsWith(u'-') ? QFile::remove(dir.path(change.mid(1)))
                                            : writeFile(dir.path(change)));
        QTest::qWait(100);
    }
    // Every rescan announces its list, so the lists show how many there were.
    QTest::qWait(scanner.debounceInterval() + 500);
    QTRY_COMPARE_WITH_TIMEOUT(news->join(u"; "_s), announced, 3000);
}

void tst_InputScanner::handPickedList()
{
    DropTesting::Folder dir;
    QVERIFY(writeFile(dir.path(u"a.rvt"_s), 100) && writeFile(dir.path(u"b.rvt"_s), 300));
    const QFileInfo a(dir.path(u"a.rvt"_s)), b(dir.path(u"b.rvt"_s));
    InputScanner scanner;
    QVERIFY(scanAndWait(scanner, dir.path(u"."_s)));
    const auto news = record(&scanner);
    // It ends the watching; one equal to the folder's is no change. A summary refresh for a
    // smaller list is one, and announces no list of its own.
    scanner.setFileList({a, b});
    QVERIFY(scanner.watchedDirectory().isEmpty());
    scanner.refreshSummary({a});
    QCOMPARE(news->join(u"; "_s), u"list 2; 2 file(s), 400 B total; rich "_s + down.arg(u"1 file(s)"_s) +
                                      u", "_s + down.arg(u"100 B total"_s));
}

QTEST_GUILESS_MAIN(tst_InputScanner)
#include "tst_inputscanner.moc"
