// kvtbatch's own cost per file: a folder of files whose converter exits at once, converted by
// the command (its start, checks, journal, per-file logs and report included) against the
// same converter started with the same arguments by a plain shell loop.
//
// Prints `name: value` lines; `ratio_to_shell_loop` is the command's time over the loop's.
// Usage: bench_batch_cli [files] [repetitions]

#include "benchsupport.h"
#include "conversion/conversioncontroller.h"
#include "conversion/converterinfo.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
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
    return 0;
}
