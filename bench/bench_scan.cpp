// Times the recursive input scan (startScan to scanComplete) against find(1) doing the same
// work (names and sizes) on the same tree, warm cache, and checks that both found the same
// files. Also reports the longest stretch between two ticks of a 1 ms timer on the GUI
// thread, as wall time and as CPU time the GUI thread itself spent in it; on a loaded machine
// the first also counts time the thread was merely waiting for a core.
//
//   bench_scan [--folders N] [--files-per-folder N] [--runs N]

#include "benchsupport.h"
#include "conversion/converterinfo.h"
#include "input/inputscanner.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QHash>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

struct Options
{
    int folders = 1000;
    int filesPerFolder = 100;
    int runs = 7;
};

Options parseOptions(const QStringList &args)
{
    Options options;
    for (int i = 1; i + 1 < args.size(); i += 2) {
        const int value = args.at(i + 1).toInt();
        if (value <= 0)
            continue;
        if (args.at(i) == u"--folders")
            options.folders = value;
        else if (args.at(i) == u"--files-per-folder")
            options.filesPerFolder = value;
        else if (args.at(i) == u"--runs")
            options.runs = value;
    }
    return options;
}

// Folders root/dNN/sNN; a fifth of each folder's files match (*.rvt, *.RVT, *.rfa in turn).
bool buildTree(const QString &root, const Options &options, int &matching)
{
    static const QStringList matchingSuffixes{u".rvt"_s, u".RVT"_s, u".rfa"_s};
    static const QStringList otherSuffixes{u".txt"_s, u".dwg"_s, u".ifc"_s, u".rvt.bak"_s};
    matching = 0;
    for (int folder = 0; folder < options.folders; ++folder) {
        const QString dir =
            root + u"/d%1/s%2"_s.arg(folder / 100, 2, 10, QChar(u'0')).arg(folder % 100, 2, 10, QChar(u'0'));
        if (!QDir().mkpath(dir))
            return false;
        for (int i = 0; i < options.filesPerFolder; ++i) {
            const bool matches = i % 5 == 0;
            const QString suffix = matches ? matchingSuffixes.at((i / 5) % 3) : otherSuffixes.at(i % 4);
            QFile file(dir + u"/file%1"_s.arg(i) + suffix);
            if (!file.open(QIODevice::WriteOnly))
                return false;
            file.write(QByteArray((folder + i) % 257, 'k'));
            matching += matches ? 1 : 0;
        }
    }
    return true;
}

struct ScanRun
{
    double ms = 0;
    double callMs = 0;
    double maxGapMs = 0;
    double maxGapCpuMs = 0;
    QHash<QString, qint64> files;
};

ScanRun timeScan(InputScanner &scanner, const QString &root, const QStringList &filters)
{
    ScanRun run;
    QEventLoop loop;
    QElapsedTimer clock;
    QFileInfoList found;
    const auto connection =
        QObject::connect(&scanner, &InputScanner::scanComplete, &loop, [&](const QFileInfoList &files) {
            if (files.isEmpty())
                return;
            run.ms = nsToMs(clock.nsecsElapsed());
            found = files;
            loop.quit();
        });
    // A precise 1 ms ticker: the widest gap between ticks is the longest the event loop was held.
    QTimer ticker;
    ticker.setTimerType(Qt::PreciseTimer);
    ticker.setInterval(1);
    QElapsedTimer sinceTick;
    double cpuAtTick = 0;
    QObject::connect(&ticker, &QTimer::timeout, &loop, [&] {
        run.maxGapMs = std::max(run.maxGapMs, nsToMs(sinceTick.nsecsElapsed()));
        const double cpu = threadCpuMs();
        run.maxGapCpuMs = std::max(run.maxGapCpuMs, cpu - cpuAtTick);
        cpuAtTick = cpu;
        sinceTick.restart();
    });

    clock.start();
    scanner.startScan(root, filters, false, true);
    run.callMs = nsToMs(clock.nsecsElapsed());
    sinceTick.start();
    cpuAtTick = threadCpuMs();
    ticker.start();
    loop.exec();
    ticker.stop();
    QObject::disconnect(connection);
    // The handler's own work (signals, list copy) falls inside the ticker's gaps as well.
    run.maxGapMs = std::max(run.maxGapMs, run.callMs);
    run.maxGapCpuMs = std::max(run.maxGapCpuMs, run.callMs);

    for (const QFileInfo &file : std::as_const(found))
        run.files.insert(file.absoluteFilePath(), file.size());
    return run;
}

struct FindRun
{
    double ms = 0;
    bool ok = false;
    QHash<QString, qint64> files;
};

FindRun timeFind(const QString &root, const QString &outputPath)
{
    FindRun run;
    QProcess find;
    find.setStandardOutputFile(outputPath);
    QElapsedTimer clock;
    clock.start();
    find.start(u"find"_s, {root, u"-type"_s, u"f"_s, u"("_s, u"-iname"_s, u"*.rvt"_s, u"-o"_s, u"-iname"_s,
                           u"*.rfa"_s, u")"_s, u"-printf"_s, u"%s %p\\n"_s});
    run.ok =
        find.waitForFinished(600000) && find.exitStatus() == QProcess::NormalExit && find.exitCode() == 0;
    run.ms = nsToMs(clock.nsecsElapsed());

    QFile output(outputPath);
    if (run.ok && output.open(QIODevice::ReadOnly)) {
        while (!output.atEnd()) {
            const QString line = QString::fromLocal8Bit(output.readLine()).chopped(1);
            const qsizetype space = line.indexOf(u' ');
            run.files.insert(line.mid(space + 1), line.left(space).toLongLong());
        }
    }
    return run;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const Options options = parseOptions(app.arguments());

    QTemporaryDir tree;
    if (!tree.isValid()) {
        std::fprintf(stderr, "cannot create a temporary folder\n");
        return 1;
    }
    const QString root = QDir(tree.path()).canonicalPath() + u"/tree"_s;
    const QString findOutput = tree.filePath(u"find.txt"_s);
    int matching = 0;
    QElapsedTimer buildClock;
    buildClock.start();
    if (!buildTree(root, options, matching)) {
        std::fprintf(stderr, "cannot build the tree\n");
        return 1;
    }
    std::printf("tree_files: %d\ntree_folders: %d\nmatching_files: %d\ntree_build_s: %.1f\n",
                options.folders * options.filesPerFolder, options.folders, matching,
                buildClock.elapsed() / 1000.0);

    const QStringList filters = converterNameFilters(makeRevitConverterInfo(true));
    InputScanner scanner;

    // Warm the cache with one of each before anything is timed.
    timeFind(root, findOutput);
    timeScan(scanner, root, filters);

    QList<double> scanTimes;
    QList<double> findTimes;
    double worstGap = 0;
    double worstGapCpu = 0;
    double worstCall = 0;
    bool sameFiles = true;
    qsizetype found = 0;
    for (int i = 0; i < options.runs; ++i) {
        // Alternating, so that neither side always runs on a cache the other just warmed.
        const FindRun find = timeFind(root, findOutput);
        const ScanRun scan = timeScan(scanner, root, filters);
        if (!find.ok) {
            std::fprintf(stderr, "find failed\n");
            return 1;
        }
        scanTimes.append(scan.ms);
        findTimes.append(find.ms);
        worstGap = std::max(worstGap, scan.maxGapMs);
        worstGapCpu = std::max(worstGapCpu, scan.maxGapCpuMs);
        worstCall = std::max(worstCall, scan.callMs);
        sameFiles = sameFiles && scan.files == find.files && scan.files.size() == matching;
        found = scan.files.size();
    }

    // The middle run; of an even number of runs, the upper of the two middle ones.
    const double scanMs = percentile(scanTimes, 50);
    const double findMs = percentile(findTimes, 50);
    std::printf("scan_files_found: %lld\n", static_cast<long long>(found));
    std::printf("same_files_and_sizes_as_find: %s\n", sameFiles ? "yes" : "NO");
    print("scan_median_ms", scanMs);
    print("find_median_ms", findMs);
    print("scan_to_find_ratio", findMs > 0 ? scanMs / findMs : 0);
    print("scan_min_ms", *std::min_element(scanTimes.cbegin(), scanTimes.cend()));
    print("find_min_ms", *std::min_element(findTimes.cbegin(), findTimes.cend()));
    print("startScan_call_max_ms", worstCall);
    print("gui_thread_longest_gap_wall_ms", worstGap);
    print("gui_thread_longest_busy_cpu_ms", worstGapCpu);
    return sameFiles ? 0 : 2;
}
