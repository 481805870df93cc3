// kvtbatch's own cost per file: a folder of files whose converter exits at once, converted by
// the command (its start, checks, journal, per-file logs and report included) against the
// same converter started with the same arguments by a plain shell loop.
//
// Then a batch spread in parts: 40 files whose conversions each burn 0.5 s of processor time,
// split in four shards run side by side by GNU parallel, against one run with --jobs 4.
//
// Prints `name: value` lines; `ratio_to_shell_loop` is the command's time over the loop's,
// `ratio_shards4_to_jobs4` the four shards' time over the single run's.
// Usage: bench_batch_cli [files] [repetitions] [cpu-bound files] [burn ms]

#include "benchsupport.h"
#include "conversion/batchshard.h"
#include "conversion/conversioncontroller.h"
#include "conversion/converterinfo.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

// Runs a program to its end with its output discarded; -1 when it could not be run.
double secondsOf(const QString &program, const QStringList &args, int *exitCode)
{
    QProcess process;
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    QElapsedTimer timer;
    timer.start();
    process.start(program, args);
    if (!process.waitForFinished(-1) || process.exitStatus() != QProcess::NormalExit)
        return -1;
    *exitCode = process.exitCode();
    return nsToSeconds(timer.nsecsElapsed());
}

bool writeFiles(const QString &folder, int count, const QByteArray &script)
{
    QDir().mkpath(folder);
    for (int i = 0; i < count; ++i) {
        QFile file(QDir(folder).filePath(u"model-%1.rvt"_s.arg(i, 4, 10, QChar(u'0'))));
        if (!file.open(QIODevice::WriteOnly) || file.write(script) != script.size())
            return false;
    }
    return true;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList args = QCoreApplication::arguments();
    const int count = args.size() > 1 ? args.at(1).toInt() : 500;
    const int repetitions = args.size() > 2 ? args.at(2).toInt() : 3;
    const int cpuFiles = args.size() > 3 ? args.at(3).toInt() : 40;
    const int burnMs = args.size() > 4 ? args.at(4).toInt() : 500;

    const QString command = QDir(QCoreApplication::applicationDirPath()).filePath(u"kvtbatch"_s);
    const QString converter = ConversionController::resolveExecutable(makeRevitConverterInfo(true));
    QTemporaryDir dir;
    const QString models = dir.filePath(u"models"_s);
    if (!writeFiles(models, count, "exit 0\n")) {
        std::fprintf(stderr, "cannot write the files\n");
        return 1;
    }
    QStringList files = QDir(models).entryList(QDir::Files, QDir::Name);
    for (QString &file : files)
        file = QDir(models).filePath(file);

    // The arguments the command gives each file with --same-folder and the default mode.
    QStringList loop{u"-c"_s,
                     u"exe=$1; shift; for f in \"$@\"; do \"$exe\" \"$f\" --mode=standard --ui; done"_s,
                     u"sh"_s, converter};
    loop += files;

    // Interleaved and best of several, so a busy moment of the machine hits both alike.
    double bestShell = 1e9;
    double bestCommand = 1e9;
    for (int r = 0; r < repetitions; ++r) {
        int exitCode = 0;
        const double shell = secondsOf(u"/bin/sh"_s, loop, &exitCode);
        if (shell < 0) {
            std::fprintf(stderr, "the shell loop failed\n");
            return 1;
        }
        bestShell = std::min(bestShell, shell);

        const QString batchDir = dir.filePath(u"batches-%1"_s.arg(r));
        const double run =
            secondsOf(command, {u"-q"_s, u"--same-folder"_s, u"--batch-dir"_s, batchDir, models}, &exitCode);
        if (run < 0 || exitCode != 0) {
            std::fprintf(stderr, "kvtbatch failed (exit code %d)\n", exitCode);
            return 1;
        }
        bestCommand = std::min(bestCommand, run);
    }

    print("files", count);
    print("shell_loop_seconds", bestShell);
    print("shell_loop_ms_per_file", bestShell * 1000 / count);
    print("command_seconds", bestCommand);
    print("command_ms_per_file", bestCommand * 1000 / count);
    print("ratio_to_shell_loop", bestCommand / bestShell);

    const QString parallel = QStandardPaths::findExecutable(u"parallel"_s);
    if (parallel.isEmpty()) {
        std::fprintf(stderr, "GNU parallel is not installed: no shard timing\n");
        return 0;
    }
    const QString busy = dir.filePath(u"busy"_s);
    if (!writeFiles(busy, cpuFiles, u"burn %1\n"_s.arg(burnMs).toLatin1())) {
        std::fprintf(stderr, "cannot write the files\n");
        return 1;
    }
    double bestShards = 1e9;
    double bestJobs = 1e9;
    for (int r = 0; r < repetitions; ++r) {
        int exitCode = 0;
        const QString round = dir.filePath(u"round-%1"_s.arg(r));
        const double shards = secondsOf(parallel,
                                        {u"--will-cite"_s, command, u"-q"_s, u"--same-folder"_s,
                                         u"--batch-dir"_s, round + u"/shards"_s, u"--shard"_s, u"{}/4"_s,
                                         busy, u":::"_s, u"1"_s, u"2"_s, u"3"_s, u"4"_s},
                                        &exitCode);
        if (shards < 0 || exitCode != 0) {
            std::fprintf(stderr, "the shards failed (exit code %d)\n", exitCode);
            return 1;
        }
        bestShards = std::min(bestShards, shards);
        const double jobs = secondsOf(
            command,
            {u"-q"_s, u"--same-folder"_s, u"--jobs"_s, u"4"_s, u"--batch-dir"_s, round + u"/jobs"_s, busy},
            &exitCode);
        if (jobs < 0 || exitCode != 0) {
            std::fprintf(stderr, "the --jobs 4 run failed (exit code %d)\n", exitCode);
            return 1;
        }
        bestJobs = std::min(bestJobs, jobs);
    }
    // The split is by a hash of the names, so the parts are only about equal.
    QList<int> sizes(4, 0);
    for (const QString &name : QDir(busy).entryList(QDir::Files))
        ++sizes[BatchShard::partOf(name, 4) - 1];
    print("cpu_bound_files", cpuFiles);
    print("shard_sizes", u"%1 %2 %3 %4"_s.arg(sizes[0]).arg(sizes[1]).arg(sizes[2]).arg(sizes[3]));
    print("burn_ms_per_file", burnMs);
    print("shards4_parallel_seconds", bestShards);
    print("jobs4_seconds", bestJobs);
    print("ratio_shards4_to_jobs4", bestShards / bestJobs);
    return 0;
}
