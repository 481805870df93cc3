// The controller's own cost per file: 1,000 files through the controller with a converter
// that exits at once, against starting the same converter 1,000 times with posix_spawn
// and a pipe (the floor: process creation itself) and against a plain shell loop.
//
// Prints `name: value` lines; the last one is the ratio of the controller to the spawn loop.
// Usage: bench_controller_overhead [files] [repetitions]

#include "benchsupport.h"
#include "controllerrun.h"
#include "conversion/conversioncontroller.h"
#include "conversion/converterinfo.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char **environ;

using namespace Qt::StringLiterals;

namespace {

struct Timing
{
    double seconds = 1e9;
    double cpuSeconds = 0;
};

// Keeps the faster of two timings.
void keepBest(Timing &best, double seconds, double cpuSeconds)
{
    if (seconds < best.seconds)
        best = Timing{seconds, cpuSeconds};
}

// The floor: each converter started with posix_spawn, its merged output read from a pipe
// until it closes, and its exit status collected, one after another.
double spawnSeconds(const std::string &converter, const std::vector<std::string> &files, int *failures)
{
    *failures = 0;
    QElapsedTimer timer;
    timer.start();
    for (const std::string &file : files) {
        int fds[2];
        if (pipe(fds) != 0)
            return -1;
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions, fds[1], STDERR_FILENO);
        posix_spawn_file_actions_addclose(&actions, fds[0]);
        posix_spawn_file_actions_addclose(&actions, fds[1]);
        std::vector<char *> argv{const_cast<char *>(converter.c_str()), const_cast<char *>(file.c_str()),
                                 const_cast<char *>("--ui"), nullptr};
        pid_t pid = 0;
        const int spawned = posix_spawn(&pid, converter.c_str(), &actions, nullptr, argv.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        close(fds[1]);
        if (spawned != 0) {
            close(fds[0]);
            return -1;
        }
        char buffer[4096];
        while (read(fds[0], buffer, sizeof buffer) > 0) {
        }
        close(fds[0]);
        int status = 0;
        waitpid(pid, &status, 0);
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
            ++*failures;
    }
    return nsToSeconds(timer.nsecsElapsed());
}

double shellSeconds(const QString &converter, const QStringList &files)
{
    QProcess shell;
    shell.setProcessChannelMode(QProcess::MergedChannels);
    QStringList args{u"-c"_s, u"exe=$1; shift; for f in \"$@\"; do \"$exe\" \"$f\" --ui; done"_s, u"sh"_s,
                     converter};
    args += files;
    QElapsedTimer timer;
    timer.start();
    shell.start(u"/bin/sh"_s, args);
    shell.waitForFinished(-1);
    shell.readAll();
    return nsToSeconds(timer.nsecsElapsed());
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList args = QCoreApplication::arguments();
    const int count = args.size() > 1 ? args.at(1).toInt() : 1000;
    const int repetitions = args.size() > 2 ? args.at(2).toInt() : 3;

    const QString converter = ConversionController::resolveExecutable(makeRevitConverterInfo(true));
    QTemporaryDir dir;
    QStringList files;
    std::vector<std::string> nativeFiles;
    for (int i = 0; i < count; ++i) {
        const QString path = dir.filePath(u"model-%1.rvt"_s.arg(i, 4, 10, QChar(u'0')));
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write("exit 0\n") < 0) {
            std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
            return 1;
        }
        files.append(path);
        nativeFiles.push_back(QFile::encodeName(path).toStdString());
    }
    const std::string nativeConverter = QFile::encodeName(converter).toStdString();

    // Interleaved and best of several, so a busy moment of the machine hits all three alike.
    Timing controller;
    Timing spawn;
    double bestShell = 1e9;
    for (int r = 0; r < repetitions; ++r) {
        int failures = 0;
        double cpu = processCpuSeconds();
        const double spawnTime = spawnSeconds(nativeConverter, nativeFiles, &failures);
        if (spawnTime < 0 || failures != 0) {
            std::fprintf(stderr, "spawn loop failed (%d failures)\n", failures);
            return 1;
        }
        keepBest(spawn, spawnTime, processCpuSeconds() - cpu);

        cpu = processCpuSeconds();
        const double controllerTime = controllerSeconds(files, 1, &failures);
        if (failures != 0) {
            std::fprintf(stderr, "controller reported %d failures\n", failures);
            return 1;
        }
        keepBest(controller, controllerTime, processCpuSeconds() - cpu);

        bestShell = std::min(bestShell, shellSeconds(converter, files));
    }

    print("files", count);
    print("spawn_loop_seconds", spawn.seconds);
    print("spawn_loop_ms_per_file", spawn.seconds * 1000 / count);
    print("spawn_loop_own_cpu_ms_per_file", spawn.cpuSeconds * 1000 / count);
    print("shell_loop_seconds", bestShell);
    print("shell_loop_ms_per_file", bestShell * 1000 / count);
    print("controller_seconds", controller.seconds);
    print("controller_ms_per_file", controller.seconds * 1000 / count);
    print("controller_own_cpu_ms_per_file", controller.cpuSeconds * 1000 / count);
    print("ratio_controller_to_spawn", controller.seconds / spawn.seconds);
    return 0;
}
