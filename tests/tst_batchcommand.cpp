// kvtbatch run as a child process against the fake converter: its exit codes, the argument
// lists of --dry-run against the window's, an interrupted batch resumed, the report's rows,
// the plain output for logs, and a batch split in four parts under GNU parallel.

#include "conversion/batchreport.h"
#include "conversion/batchshard.h"
#include "conversion/conversioncontroller.h"
#include "conversion/conversionoptions.h"
#include "conversion/converterinfo.h"
#include "conversion/converteroutput.h"
#include "testsupport/testfiles.h"

#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QSet>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <csignal>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

struct Run
{
    int exitCode = -1;
    QString out;
    QString err;
};

using Files = QList<std::pair<QString, QByteArray>>;

} // namespace

Q_DECLARE_METATYPE(ConversionOptions)

class tst_BatchCommand : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void exitCodes_data();
    void exitCodes();
    void dryRunMatchesWindowArguments_data();
    void dryRunMatchesWindowArguments();
    void interruptThenResume_data();
    void interruptThenResume();
    void jobsRunFilesAtOnce_data();
    void jobsRunFilesAtOnce();
    void interruptLeavesNoConverter_data();
    void interruptLeavesNoConverter();
    void reportRows_data();
    void reportRows();
    void plainOutput_data();
    void plainOutput();
    void terminalLiveLine();
    void shardSplit_data();
    void shardSplit();
    void shardsUnderGnuParallel();

private:
    QString write(const QString &relative, const QByteArray &text);
    QStringList expand(const QStringList &args) const;
    Run run(const QStringList &args, int timeoutMs = 60000);
    void startCommand(QProcess &process, const QStringList &args);
    // Reads the command's output until a line holds `text`, within timeoutMs.
    bool waitForOutput(QProcess &process, QString &output, const QString &text, int timeoutMs = 20000);
    static QList<BatchReportRow> readReport(const QString &csvPath);
    // The report.csv files below a batch folder root, oldest batch first.
    static QStringList reportsBelow(const QString &root);
    // Processes whose command line mentions `text`, this test excepted.
    static QList<qint64> processesMentioning(const QString &text);

    std::unique_ptr<QTemporaryDir> dir;
    QString program;
    QList<BatchReportRow> reportRun;
};

void tst_BatchCommand::init()
{
    dir = std::make_unique<QTemporaryDir>();
    QVERIFY(dir->isValid());
    program = QDir(QCoreApplication::applicationDirPath()).filePath(u"kvtbatch"_s);
    QVERIFY2(QFileInfo(program).isExecutable(), qPrintable(program));
}

void tst_BatchCommand::cleanup()
{
    // Nothing started from this test's folder may outlive it.
    QElapsedTimer timer;
    timer.start();
    while (!processesMentioning(dir->path()).isEmpty() && timer.elapsed() < 3000)
        QTest::qWait(50);
    QCOMPARE(processesMentioning(dir->path()), QList<qint64>());
}

QString tst_BatchCommand::write(const QString &relative, const QByteArray &text)
{
    return writeTestFile(dir->path(), relative, text);
}

QStringList tst_BatchCommand::expand(const QStringList &args) const
{
    QStringList expanded;
    for (QString arg : args)
        expanded.append(arg.replace(u"{dir}"_s, dir->path()));
    return expanded;
}

void tst_BatchCommand::startCommand(QProcess &process, const QStringList &args)
{
    process.setWorkingDirectory(dir->path());
    process.start(program, expand(args));
    QVERIFY(process.waitForStarted());
}

Run tst_BatchCommand::run(const QStringList &args, int timeoutMs)
{
    QProcess process;
    process.setWorkingDirectory(dir->path());
    process.start(program, expand(args));
    Run result;
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished();
        return result;
    }
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.out = QString::fromLocal8Bit(process.readAllStandardOutput());
    result.err = QString::fromLocal8Bit(process.readAllStandardError());
    return result;
}

bool tst_BatchCommand::waitForOutput(QProcess &process, QString &output, const QString &text, int timeoutMs)
{
    QElapsedTimer timer;
    timer.start();
    while (!output.contains(text)) {
        if (timer.elapsed() > timeoutMs || process.state() == QProcess::NotRunning)
            return false;
        process.waitForReadyRead(100);
        output += QString::fromLocal8Bit(process.readAllStandardOutput());
    }
    return true;
}

QList<BatchReportRow> tst_BatchCommand::readReport(const QString &csvPath)
{
    QFile file(csvPath);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return BatchReport::fromCsv(file.readAll());
}

QStringList tst_BatchCommand::reportsBelow(const QString &root)
{
    QStringList reports;
    QDirIterator it(root, {BatchReport::csvFileName()}, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext())
        reports.append(it.next());
    std::sort(reports.begin(), reports.end());
    return reports;
}

QList<qint64> tst_BatchCommand::processesMentioning(const QString &text)
{
    QList<qint64> found;
    const QByteArray needle = QFile::encodeName(text);
    const QStringList entries = QDir(u"/proc"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &entry : entries) {
        bool isPid = false;
        const qint64 pid = entry.toLongLong(&isPid);
        if (!isPid || pid == QCoreApplication::applicationPid())
            continue;
        QFile cmdline(u"/proc/%1/cmdline"_s.arg(entry));
        QFile stat(u"/proc/%1/stat"_s.arg(entry));
        if (!cmdline.open(QIODevice::ReadOnly) || !stat.open(QIODevice::ReadOnly))
            continue;
        // A zombie has ended; only its parent has yet to collect it.
        const QByteArray state = stat.readAll();
        const qsizetype close = state.lastIndexOf(')');
        if (close > 0 && state.mid(close + 2, 1) == "Z")
            continue;
        if (cmdline.readAll().contains(needle))
            found.append(pid);
    }
    return found;
}

void tst_BatchCommand::exitCodes_data()
{
    QTest::addColumn<Files>("files");
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("stderrHolds");

    const Files twoGood{{u"m/a.rvt"_s, ""}, {u"m/b.rvt"_s, "outputs\n"}};
    const QStringList toOut{u"-o"_s, u"{dir}/out"_s, u"--batch-dir"_s, u"{dir}/bd"_s};

    QTest::addRow("every file converted") << twoGood << toOut + QStringList{u"{dir}/m"_s} << 0 << QString();
    QTest::addRow("a converter fails") << Files{{u"m/a.rvt"_s, ""}, {u"m/b.rvt"_s, "exit 2\n"}}
                                       << toOut + QStringList{u"{dir}/m"_s} << 1 << QString();
    QTest::addRow("a converter crashes")
        << Files{{u"m/a.rvt"_s, "crash\n"}} << toOut + QStringList{u"{dir}/m/a.rvt"_s} << 1 << QString();
    QTest::addRow("unknown option") << twoGood << toOut + QStringList{u"--frobnicate"_s, u"{dir}/m"_s} << 2
                                    << u"frobnicate"_s;
    QTest::addRow("jobs out of range")
        << twoGood << toOut + QStringList{u"--jobs"_s, u"17"_s, u"{dir}/m"_s} << 2 << u"--jobs"_s;
    QTest::addRow("shard beyond its count")
        << twoGood << toOut + QStringList{u"--shard"_s, u"5/4"_s, u"{dir}/m"_s} << 2 << u"--shard"_s;
    QTest::addRow("no output choice") << twoGood << QStringList{u"{dir}/m"_s} << 2 << u"--output"_s;
    QTest::addRow("both output choices")
        << twoGood << toOut + QStringList{u"--same-folder"_s, u"{dir}/m"_s} << 2 << u"--same-folder"_s;
    QTest::addRow("mode of another converter")
        << twoGood << toOut + QStringList{u"--mode"_s, u"extended"_s, u"{dir}/m"_s} << 2 << u"extended"_s;
    QTest::addRow("categories without custom mode")
        << twoGood << toOut + QStringList{u"--categories"_s, u"c.txt"_s, u"{dir}/m"_s} << 2 << u"custom"_s;
    QTest::addRow("switch the converter lacks")
        << Files{{u"m/a.dwg"_s, ""}}
        << toOut + QStringList{u"--converter"_s, u"dwg"_s, u"--bbox"_s, u"{dir}/m"_s} << 2 << u"--bbox"_s;
    QTest::addRow("missing input") << twoGood << toOut + QStringList{u"{dir}/m/gone.rvt"_s} << 2
                                   << u"gone.rvt"_s;
    QTest::addRow("folder without models")
        << Files{{u"m/readme.txt"_s, "x"}} << toOut + QStringList{u"{dir}/m"_s} << 2
        << u"No rvt, rfa files"_s;
    QTest::addRow("quiet and verbose")
        << twoGood << toOut + QStringList{u"-q"_s, u"-v"_s, u"{dir}/m"_s} << 2 << u"--quiet"_s;
    QTest::addRow("nothing to resume")
        << twoGood << QStringList{u"--resume"_s, u"--batch-dir"_s, u"{dir}/bd"_s} << 2
        << u"No interrupted batch"_s;
    QTest::addRow("resume with choices")
        << twoGood << QStringList{u"--resume"_s, u"--bbox"_s, u"--batch-dir"_s, u"{dir}/bd"_s} << 2
        << u"--bbox"_s;
    QTest::addRow("two inputs, one result file")
        << Files{{u"m/A/House.rvt"_s, ""}, {u"m/B/House.rvt"_s, ""}}
        << toOut + QStringList{u"--recursive"_s, u"{dir}/m"_s} << 3 << u"refused"_s;
    QTest::addRow("output folder cannot be written")
        << Files{{u"m/a.rvt"_s, ""}, {u"blocked"_s, "a file, not a folder"}}
        << QStringList{u"-o"_s, u"{dir}/blocked/out"_s, u"--batch-dir"_s, u"{dir}/bd"_s, u"{dir}/m"_s} << 3
        << u"refused"_s;
}

void tst_BatchCommand::exitCodes()
{
    QFETCH(Files, files);
    QFETCH(QStringList, args);
    QFETCH(int, exitCode);
    QFETCH(QString, stderrHolds);
    for (const auto &[path, text] : files)
        write(path, text);
    const Run result = run(args);
    QVERIFY2(result.exitCode == exitCode,
             qPrintable(u"exit %1\n%2%3"_s.arg(result.exitCode).arg(result.out, result.err)));
    if (!stderrHolds.isEmpty())
        QVERIFY2(result.err.contains(stderrHolds), qPrintable(result.err));
    // A refusal or a usage error runs nothing.
    if (exitCode >= 2)
        QVERIFY(!QFileInfo::exists(dir->filePath(u"bd"_s)) || reportsBelow(dir->filePath(u"bd"_s)).isEmpty());
}

void tst_BatchCommand::dryRunMatchesWindowArguments_data()
{
    QTest::addColumn<QString>("converterId");
    QTest::addColumn<QString>("extension");
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<bool>("sameFolder");
    QTest::addColumn<ConversionOptions>("options");

    ConversionOptions standard;
    standard.mode = u"standard"_s;
    QTest::addRow("revit, defaults") << u"revit"_s << u"rvt"_s << QStringList{} << false << standard;

    ConversionOptions custom;
    custom.mode = u"custom"_s;
    custom.categories = u"{dir}/categories.txt"_s;
    custom.boundingBox = true;
    custom.rooms = true;
    custom.skipXlsx = true;
    custom.forcePath = true;
    QTest::addRow("revit, custom with switches")
        << u"revit"_s << u"rvt"_s
        << QStringList{u"--mode"_s, u"custom"_s,      u"--categories"_s, u"{dir}/categories.txt"_s,
                       u"--bbox"_s, u"--room-data"_s, u"--skip-xlsx"_s,  u"--exact-output-path"_s}
        << false << custom;

    ConversionOptions complete;
    complete.mode = u"complete"_s;
    complete.viewMap = true;
    complete.extendedParents = true;
    complete.schedules = true;
    complete.sheetsToPdf = true;
    complete.skipDae = true;
    QTest::addRow("revit, beside the inputs")
        << u"revit"_s << u"rfa"_s
        << QStringList{u"--mode"_s,      u"complete"_s,        u"--view-mapping"_s, u"--extended-parents"_s,
                       u"--schedules"_s, u"--sheets-to-pdf"_s, u"--skip-dae"_s}
        << true << complete;

    ConversionOptions ifcConfig;
    ifcConfig.mode = u"custom"_s;
    ifcConfig.config = u"IFC4 Reference View, base quantities"_s;
    QTest::addRow("rvt2ifc, custom configuration")
        << u"rvt2ifc"_s << u"rvt"_s
        << QStringList{u"--converter"_s, u"rvt2ifc"_s,  u"--mode"_s,
                       u"custom"_s,      u"--config"_s, u"IFC4 Reference View, base quantities"_s}
        << false << ifcConfig;

    ConversionOptions ifc;
    ifc.boundingBox = true;
    ifc.skipDae = true;
    QTest::addRow("ifc, no modes") << u"ifc"_s << u"ifc"_s
                                   << QStringList{u"--converter"_s, u"ifc"_s, u"--bbox"_s, u"--skip-dae"_s}
                                   << false << ifc;
    ConversionOptions dwg;
    dwg.skipXlsx = true;
    QTest::addRow("dwg") << u"dwg"_s << u"dwg"_s << QStringList{u"--converter"_s, u"dwg"_s, u"--skip-xlsx"_s}
                         << true << dwg;
}

void tst_BatchCommand::dryRunMatchesWindowArguments()
{
    QFETCH(QString, converterId);
    QFETCH(QString, extension);
    QFETCH(QStringList, args);
    QFETCH(bool, sameFolder);
    QFETCH(ConversionOptions, options);

    // Uppercase and nested names too: the scanner's filters take both cases.
    const QStringList inputs{write(u"m/One model."_s + extension, ""),
                             write(u"m/sub/two."_s + extension.toUpper(), ""),
                             write(u"m/sub/deeper/three."_s + extension, "")};
    write(u"m/notes.txt"_s, "not a model");
    QStringList command{u"--dry-run"_s, u"--recursive"_s, u"--batch-dir"_s, u"{dir}/bd"_s};
    command += sameFolder ? QStringList{u"--same-folder"_s} : QStringList{u"--output"_s, u"{dir}/out"_s};
    const Run result = run(command + args + QStringList{u"{dir}/m"_s});
    QVERIFY2(result.exitCode == 0, qPrintable(result.err));

    const ConverterInfo info = makeConverterInfo(converterId, true);
    const QString outputDir = sameFolder ? QString() : dir->filePath(u"out"_s);
    QStringList sorted = inputs;
    std::sort(sorted.begin(), sorted.end());
    QString expected;
    for (const QString &input : sorted) {
        ConversionOptions fileOptions = options;
        fileOptions.categories.replace(u"{dir}"_s, dir->path());
        fileOptions.inputPath = input;
        expected += ConversionController::resolveExecutable(info) + u'\n';
        expected += buildConverterArguments(info, fileOptions, outputDir).join(u'\n') + u"\n\n"_s;
    }
    QCOMPARE(result.out, expected);
    // Nothing ran: no batch record, no output folder.
    QVERIFY(!QFileInfo::exists(dir->filePath(u"bd"_s)));
    QVERIFY(!QFileInfo::exists(dir->filePath(u"out"_s)));
}

void tst_BatchCommand::interruptThenResume_data()
{
    QTest::addColumn<int>("jobs");

    QTest::addRow("one at a time") << 1;
    QTest::addRow("two at once") << 2;
}

void tst_BatchCommand::interruptThenResume()
{
    QFETCH(int, jobs);
    QStringList inputs;
    // Two quick files, then slow ones, so the interruption finds the next `jobs` running.
    for (int i = 1; i <= 6; ++i)
        inputs.append(
            write(u"m/model%1.rvt"_s.arg(i), i <= 2 ? "sleep 50\noutputs\n" : "sleep 1500\noutputs\n"));
    const QStringList choices{u"-o"_s,       u"{dir}/out"_s, u"--batch-dir"_s,
                              u"{dir}/bd"_s, u"--jobs"_s,    QString::number(jobs)};

    QProcess first;
    startCommand(first, choices + QStringList{u"{dir}/m"_s});
    QString output;
    QVERIFY2(waitForOutput(first, output, u"converted "_s + inputs.at(1)), qPrintable(output));
    QVERIFY(waitForOutput(first, output, u"converted "_s + inputs.at(0)));
    QVERIFY(waitForOutput(first, output, u"started "_s + inputs.at(1 + jobs)));
    ::kill(static_cast<pid_t>(first.processId()), SIGINT);
    QVERIFY(first.waitForFinished(10000));
    QCOMPARE(first.exitStatus(), QProcess::NormalExit);
    QCOMPARE(first.exitCode(), 130);

    const QStringList reports = reportsBelow(dir->filePath(u"bd"_s));
    QCOMPARE(reports.size(), 1);
    QStringList statuses;
    QStringList unfinished;
    for (const BatchReportRow &row : readReport(reports.constFirst())) {
        statuses.append(row.status);
        if (row.status != u"Done")
            unfinished.append(row.path);
    }
    QStringList expected{u"Done"_s, u"Done"_s};
    for (int i = 2; i < 6; ++i)
        expected.append(i < 2 + jobs ? u"Stopped"_s : u"Canceled"_s);
    QCOMPARE(statuses, expected);

    const Run resumed = run({u"--resume"_s, u"--batch-dir"_s, u"{dir}/bd"_s});
    QVERIFY2(resumed.exitCode == 0, qPrintable(resumed.out + resumed.err));
    const QStringList after = reportsBelow(dir->filePath(u"bd"_s));
    QCOMPARE(after.size(), 2);
    QStringList converted;
    for (const BatchReportRow &row : readReport(after.constLast())) {
        QCOMPARE(row.status, u"Done"_s);
        converted.append(row.path);
    }
    // Exactly the rest: the stopped file again, the finished ones not.
    QCOMPARE(converted, unfinished);
    for (const QString &input : inputs)
        QVERIFY(QFileInfo::exists(
            dir->filePath(u"out/"_s + QFileInfo(input).completeBaseName() + u"_rvt.xlsx"_s)));
    // Resumed once: nothing is left to resume.
    QCOMPARE(run({u"--resume"_s, u"--batch-dir"_s, u"{dir}/bd"_s}).exitCode, 2);
}

void tst_BatchCommand::jobsRunFilesAtOnce_data()
{
    QTest::addColumn<int>("jobs");
    QTest::addColumn<int>("startedBeforeFirstEnd");

    QTest::addRow("one at a time") << 1 << 1;
    QTest::addRow("three at once") << 3 << 3;
}

void tst_BatchCommand::jobsRunFilesAtOnce()
{
    QFETCH(int, jobs);
    QFETCH(int, startedBeforeFirstEnd);
    QStringList inputs;
    for (int i = 1; i <= 3; ++i)
        inputs.append(write(u"m/model%1.rvt"_s.arg(i), "sleep 800\noutputs\n"));
    const Run result = run({u"-o"_s, u"{dir}/out"_s, u"--batch-dir"_s, u"{dir}/bd"_s, u"--jobs"_s,
                            QString::number(jobs), u"{dir}/m"_s});
    QVERIFY2(result.exitCode == 0, qPrintable(result.out + result.err));
    const QStringList lines = result.out.split(u'\n', Qt::SkipEmptyParts);
    const auto firstEnd = std::find_if(lines.cbegin(), lines.cend(),
                                       [](const QString &line) { return line.contains(u"] converted "_s); });
    QCOMPARE(int(std::count_if(lines.cbegin(), firstEnd,
                               [](const QString &line) { return line.contains(u"] started "_s); })),
             startedBeforeFirstEnd);
    const QStringList reports = reportsBelow(dir->filePath(u"bd"_s));
    QCOMPARE(reports.size(), 1);
    const QList<BatchReportRow> rows = readReport(reports.constFirst());
    QCOMPARE(rows.size(), inputs.size());
    for (const BatchReportRow &row : rows) {
        QCOMPARE(row.status, u"Done"_s);
        // Each file's own log holds its own lines, untagged.
        QFile log(row.logFile);
        QVERIFY(log.open(QIODevice::ReadOnly));
        const QByteArray text = log.readAll();
        QVERIFY2(text.contains("[INFO] Written " + QFile::encodeName(row.outputs.value(0))),
                 text.constData());
        QVERIFY(!text.contains("[model"));
    }
}

void tst_BatchCommand::interruptLeavesNoConverter_data()
{
    QTest::addColumn<int>("signalNumber");
    QTest::addColumn<int>("times");

    QTest::addRow("Ctrl+C") << int(SIGINT) << 1;
    QTest::addRow("Ctrl+C twice at once") << int(SIGINT) << 2;
    QTest::addRow("SIGTERM") << int(SIGTERM) << 1;
    QTest::addRow("SIGTERM, then Ctrl+C") << int(SIGTERM) << 2;
}

void tst_BatchCommand::interruptLeavesNoConverter()
{
    QFETCH(int, signalNumber);
    QFETCH(int, times);
    // A converter that starts a helper of its own and then never ends.
    write(u"m/stuck.rvt"_s, "spawn\nhang\n");
    QProcess process;
    startCommand(process,
                 {u"--verbose"_s, u"-o"_s, u"{dir}/out"_s, u"--batch-dir"_s, u"{dir}/bd"_s, u"{dir}/m"_s});
    QString output;
    QVERIFY2(waitForOutput(process, output, u"[CHILD] "_s), qPrintable(output));
    // The command, the converter and its helper.
    QCOMPARE(processesMentioning(dir->path()).size(), 3);
    const auto pid = static_cast<pid_t>(process.processId());
    ::kill(pid, signalNumber);
    for (int i = 1; i < times; ++i)
        ::kill(pid, SIGINT);
    QVERIFY(process.waitForFinished(10000));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 130);
    output += QString::fromLocal8Bit(process.readAllStandardOutput());
    QVERIFY2(output.contains(u"Interrupted: 0 of 1 converted"_s), qPrintable(output));
    // cleanup() checks that neither the converter nor its helper is left.
}

void tst_BatchCommand::reportRows_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("status");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<bool>("hasOutputs");
    QTest::addColumn<bool>("hasLog");

    QTest::addRow("converted") << u"good.rvt"_s << u"Done"_s << 0 << true << true;
    QTest::addRow("failed") << u"old.rvt"_s << u"Failed"_s << 2 << false << true;
    QTest::addRow("crashed") << u"crash.rvt"_s << u"Failed"_s << 128 + SIGABRT << false << true;
    QTest::addRow("up to date") << u"same.rvt"_s << u"Skipped"_s << ExitMarker::Skipped << false << false;
}

void tst_BatchCommand::reportRows()
{
    QFETCH(QString, name);
    QFETCH(QString, status);
    QFETCH(int, exitCode);
    QFETCH(bool, hasOutputs);
    QFETCH(bool, hasLog);

    write(u"m/good.rvt"_s, "");
    write(u"m/old.rvt"_s, "exit 2\n");
    write(u"m/crash.rvt"_s, "crash\n");
    const QString same = write(u"m/same.rvt"_s, "");
    // Results newer than their input: the checks leave the file out.
    const QDateTime later = QFileInfo(same).lastModified().addSecs(60);
    for (const QString &result : {u"out/same_rvt.dae"_s, u"out/same_rvt.xlsx"_s}) {
        QFile file(write(result, "earlier result"));
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(later, QFileDevice::FileModificationTime));
    }
    const Run result = run({u"-o"_s, u"{dir}/out"_s, u"--batch-dir"_s, u"{dir}/bd"_s, u"--skip-up-to-date"_s,
                            u"--report"_s, u"{dir}/nightly.csv"_s, u"{dir}/m"_s});
    QCOMPARE(result.exitCode, 1);

    // The copy asked for is the batch's own report, with its JSON beside it.
    const QStringList reports = reportsBelow(dir->filePath(u"bd"_s));
    QCOMPARE(reports.size(), 1);
    QFile own(reports.constFirst());
    QFile copy(dir->filePath(u"nightly.csv"_s));
    QVERIFY(own.open(QIODevice::ReadOnly) && copy.open(QIODevice::ReadOnly));
    QCOMPARE(copy.readAll(), own.readAll());
    QVERIFY(QFileInfo::exists(dir->filePath(u"nightly.json"_s)));

    const QList<BatchReportRow> rows = readReport(dir->filePath(u"nightly.csv"_s));
    QCOMPARE(rows.size(), 4);
    const auto row = std::find_if(rows.cbegin(), rows.cend(), [&](const BatchReportRow &r) {
        return QFileInfo(r.path).fileName() == name;
    });
    QVERIFY(row != rows.cend());
    QCOMPARE(row->status, status);
    QCOMPARE(row->exitCode, exitCode);
    QCOMPARE(!row->outputs.isEmpty(), hasOutputs);
    for (const QString &output : row->outputs)
        QVERIFY2(QFileInfo::exists(output), qPrintable(output));
    QCOMPARE(!row->logFile.isEmpty() && QFileInfo::exists(row->logFile), hasLog);
}

void tst_BatchCommand::plainOutput_data()
{
    QTest::addColumn<QStringList>("flags");
    QTest::addColumn<int>("lines");
    QTest::addColumn<bool>("converterOutput");

    // Two files: a started and an ended line each, then the summary.
    QTest::addRow("default") << QStringList{} << 5 << false;
    QTest::addRow("quiet") << QStringList{u"--quiet"_s} << 1 << false;
    QTest::addRow("verbose") << QStringList{u"--verbose"_s} << -1 << true;
}

void tst_BatchCommand::plainOutput()
{
    QFETCH(QStringList, flags);
    QFETCH(int, lines);
    QFETCH(bool, converterOutput);
    write(u"m/a.rvt"_s, "");
    write(u"m/b.rvt"_s, "exit 2\n");
    const Run result =
        run(flags + QStringList{u"-o"_s, u"{dir}/out"_s, u"--batch-dir"_s, u"{dir}/bd"_s, u"{dir}/m"_s});
    QCOMPARE(result.exitCode, 1);
    // Not a terminal: whole lines only, nothing redrawn, no colours.
    QVERIFY(!result.out.contains(u'\r'));
    QVERIFY(!result.out.contains(u'\x1b'));
    const QStringList outLines = result.out.split(u'\n', Qt::SkipEmptyParts);
    if (lines >= 0)
        QCOMPARE(outLines.size(), lines);
    QVERIFY(outLines.constLast().startsWith(u"1 of 2 converted, 1 failed"_s));
    QCOMPARE(result.out.contains(u"Conversion finished."_s), converterOutput);
    if (lines != 1) {
        QVERIFY(result.out.contains(u"converted "_s + dir->filePath(u"m/a.rvt"_s)));
        QVERIFY(result.out.contains(u"FAILED "_s + dir->filePath(u"m/b.rvt"_s) + u": exit code 2"_s));
    }
}

void tst_BatchCommand::terminalLiveLine()
{
    const QString script = QStandardPaths::findExecutable(u"script"_s);
    if (script.isEmpty())
        QSKIP("util-linux's script, which gives the command a terminal, is not installed");
    write(u"m/a.rvt"_s, "sleep 300\noutputs\n");
    write(u"m/b.rvt"_s, "exit 2\n");
    QProcess process;
    process.setWorkingDirectory(dir->path());
    const QString command = program + u" -o '%1/out' --batch-dir '%1/bd' '%1/m'"_s.arg(dir->path());
    process.start(script, {u"-q"_s, u"-e"_s, u"-c"_s, command, u"/dev/null"_s});
    QVERIFY(process.waitForFinished(30000));
    QCOMPARE(process.exitCode(), 1);
    const QString out = QString::fromLocal8Bit(process.readAllStandardOutput());
    // One line redrawn in place, naming the running file; only the failure stays on screen.
    QVERIFY2(out.contains(u"\r0 of 2 done, running: a.rvt\x1b[K"_s), qPrintable(out));
    // The time left shows once a file has converted, not before.
    QVERIFY(!out.contains(u"left | 0 of 2"_s) && !out.contains(u"running: a.rvt | "_s));
    QVERIFY(out.contains(u"\r1 of 2 done, running: b.rvt | less than a minute left\x1b[K"_s));
    QVERIFY(!out.contains(u"] started "_s));
    QVERIFY(!out.contains(u"] converted "_s));
    QVERIFY(out.contains(u"\r\x1b[K[2/2] FAILED "_s));
    QVERIFY(out.contains(u"\r\x1b[K1 of 2 converted, 1 failed"_s));
}

void tst_BatchCommand::shardSplit_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("valid");

    QTest::addRow("first of four") << u"1/4"_s << true;
    QTest::addRow("last of four") << u"4/4"_s << true;
    QTest::addRow("whole") << u"1/1"_s << true;
    QTest::addRow("part zero") << u"0/4"_s << false;
    QTest::addRow("beyond the count") << u"5/4"_s << false;
    QTest::addRow("no count") << u"3"_s << false;
    QTest::addRow("not a number") << u"a/4"_s << false;
    QTest::addRow("zero parts") << u"1/0"_s << false;
}

void tst_BatchCommand::shardSplit()
{
    QFETCH(QString, text);
    QFETCH(bool, valid);
    QCOMPARE(BatchShard::parse(text).has_value(), valid);

    // The published FNV-1a 64-bit values: the split does not depend on this machine.
    QCOMPARE(BatchShard::pathHash(u""), 0xcbf29ce484222325ULL);
    QCOMPARE(BatchShard::pathHash(u"a"), 0xaf63dc4c8601ec8cULL);
    QCOMPARE(BatchShard::pathHash(u"foobar"), 0x85944171f73967e8ULL);
    QCOMPARE(BatchShard::partOf(u"Tower\\Level 2.rvt", 7), BatchShard::partOf(u"Tower/Level 2.rvt", 7));
    // Every path in exactly one part.
    for (const QString &path : {u"a.rvt"_s, u"sub/b.rvt"_s, u"Ä/ü.rfa"_s}) {
        int parts = 0;
        for (int k = 1; k <= 4; ++k)
            parts += BatchShard{k, 4}.contains(path) ? 1 : 0;
        QCOMPARE(parts, 1);
    }
}

void tst_BatchCommand::shardsUnderGnuParallel()
{
    const QString parallel = QStandardPaths::findExecutable(u"parallel"_s);
    if (parallel.isEmpty())
        QSKIP("GNU parallel is not installed (tools/install-deps.sh --tests installs it)");
    QStringList inputs;
    for (int i = 0; i < 24; ++i)
        inputs.append(
            write(u"models/block%1/level %2.rvt"_s.arg(i % 3).arg(i), i == 7 ? "exit 2\n" : "outputs\n"));

    const Run single = run({u"-q"_s, u"-r"_s, u"-o"_s, u"{dir}/single"_s, u"--batch-dir"_s,
                            u"{dir}/bd-single"_s, u"--report"_s, u"{dir}/single.csv"_s, u"{dir}/models"_s});
    QCOMPARE(single.exitCode, 1);

    QProcess shards;
    shards.setWorkingDirectory(dir->path());
    shards.start(parallel, {u"--will-cite"_s, program, u"-q"_s, u"-r"_s, u"-o"_s, dir->filePath(u"sharded"_s),
                            u"--batch-dir"_s, dir->filePath(u"bd"_s), u"--shard"_s, u"{}/4"_s, u"--report"_s,
                            dir->filePath(u"part{}.csv"_s), dir->filePath(u"models"_s), u":::"_s, u"1"_s,
                            u"2"_s, u"3"_s, u"4"_s});
    QVERIFY(shards.waitForFinished(120000));
    // GNU parallel exits with the number of jobs that failed: the part with the bad file.
    QCOMPARE(shards.exitCode(), 1);

    // Every input ran once: one log per input over the four parts' batch folders.
    QStringList logs;
    QDirIterator it(dir->filePath(u"bd"_s), {u"*.log"_s}, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext())
        logs.append(QFileInfo(it.next()).completeBaseName());
    QCOMPARE(logs.size(), inputs.size());

    QStringList parts;
    for (int k = 1; k <= 4; ++k)
        parts.append(dir->filePath(u"part%1.csv"_s.arg(k)));
    const Run merged = run(QStringList{u"--merge-reports"_s, u"{dir}/merged.csv"_s} + parts);
    QCOMPARE(merged.exitCode, 1);
    QVERIFY2(merged.err.isEmpty(), qPrintable(merged.err));
    QVERIFY(QFileInfo::exists(dir->filePath(u"merged.json"_s)));

    const auto pathsAndStatuses = [](const QList<BatchReportRow> &rows) {
        QStringList lines;
        for (const BatchReportRow &row : rows)
            lines.append(row.path + u" -> "_s + row.status);
        std::sort(lines.begin(), lines.end());
        return lines;
    };
    const QStringList fromShards = pathsAndStatuses(readReport(dir->filePath(u"merged.csv"_s)));
    QCOMPARE(fromShards, pathsAndStatuses(readReport(dir->filePath(u"single.csv"_s))));
    QCOMPARE(fromShards.size(), inputs.size());
    QCOMPARE(fromShards.filter(u" -> Failed"_s).size(), 1);
}

QTEST_GUILESS_MAIN(tst_BatchCommand)
#include "tst_batchcommand.moc"
