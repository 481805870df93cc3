// How fast the controller ingests a converter that floods its output, against the same
// converter piped into `wc -l`, and how long one read holds the event loop.
//
// Prints `name: value` lines; the last one is the ratio of the two line rates.
// Usage: bench_controller_flood [lines] [repetitions]

#include "benchsupport.h"
#include "conversion/conversioncontroller.h"
#include "conversion/converterinfo.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <cstring>

using namespace Qt::StringLiterals;

namespace {

struct ControllerRun
{
    double seconds = 0;
    qint64 lines = 0;
    double cpuSeconds = 0;
    double maxHoldMs = 0;
    double maxHoldCpuMs = 0;
    double maxTimerGapMs = 0;
};

// Posts itself to the event loop again and again: the longest gap between two of its
// turns is the longest single stretch the loop spent elsewhere, reads included. On a busy
// machine the wall-clock gap also holds time the thread was not scheduled at all, so the
// thread's own CPU time over the same stretch is kept too.
class LoopProbe final : public QObject
{
public:
    void start()
    {
        active = true;
        clock.start();
        cpuAtLastTurn = threadCpuMs();
        post();
    }
    void stop() { active = false; }
    double maxGapMs = 0;
    double maxCpuGapMs = 0;

private:
    void post()
    {
        QMetaObject::invokeMethod(
            this, [this] { turn(); }, Qt::QueuedConnection);
    }
    void turn()
    {
        const double cpu = threadCpuMs();
        maxGapMs = std::max(maxGapMs, nsToMs(clock.nsecsElapsed()));
        maxCpuGapMs = std::max(maxCpuGapMs, cpu - cpuAtLastTurn);
        clock.start();
        cpuAtLastTurn = cpu;
        if (active)
            post();
    }
    QElapsedTimer clock;
    double cpuAtLastTurn = 0;
    bool active = false;
};

// The reference: the same converter and script, its output counted by `wc -l`.
double pipeSeconds(const QString &converter, const QString &script, qint64 expectedLines)
{
    QProcess shell;
    QElapsedTimer timer;
    timer.start();
    shell.start(u"/bin/sh"_s, {u"-c"_s, u"\"$0\" \"$1\" | wc -l"_s, converter, script});
    shell.waitForFinished(-1);
    const double seconds = nsToSeconds(timer.nsecsElapsed());
    const qint64 counted = shell.readAllStandardOutput().trimmed().toLongLong();
    if (counted != expectedLines)
        std::fprintf(stderr, "wc -l counted %lld lines, expected %lld\n", static_cast<long long>(counted),
                     static_cast<long long>(expectedLines));
    return seconds;
}

// Lines in a block: line feeds plus one. QString::count is a plain loop; the receiver here
// should cost as little as possible, so line feeds are found with memchr on the UTF-16
// bytes (a 0x0A byte at an even offset followed by 0x00 is a line feed; little-endian).
qint64 countLines(const QString &text)
{
    const auto *bytes = reinterpret_cast<const unsigned char *>(text.utf16());
    const auto *end = bytes + text.size() * 2;
    qint64 count = 1;
    for (const auto *p = bytes; p < end;) {
        const auto *hit =
            static_cast<const unsigned char *>(std::memchr(p, '\n', static_cast<size_t>(end - p)));
        if (!hit)
            break;
        if ((hit - bytes) % 2 == 0 && hit[1] == 0)
            ++count;
        p = hit + 1;
    }
    return count;
}

// One run through the controller. With probes, it also measures how long the event loop
// was held; the probes post events and fire timers themselves, so the line rate is taken
// from a run without them.
ControllerRun controllerRun(const QString &script, bool probes)
{
    ConversionController controller;
    controller.setConverter(makeRevitConverterInfo(true));

    ControllerRun run;
    QObject::connect(&controller, &ConversionController::logOutput,
                     [&run](const QString &text) { run.lines += countLines(text); });

    LoopProbe probe;
    // A 1 ms timer as well: how late timers fire while the converter floods (event
    // dispatchers may give timers a lower priority than arriving input).
    QTimer ticker;
    ticker.setTimerType(Qt::PreciseTimer);
    ticker.setInterval(1);
    QElapsedTimer sinceTick;
    QObject::connect(&ticker, &QTimer::timeout, [&] {
        run.maxTimerGapMs = std::max(run.maxTimerGapMs, nsToMs(sinceTick.nsecsElapsed()));
        sinceTick.start();
    });

    QEventLoop loop;
    QObject::connect(&controller, &ConversionController::allDone, &loop, &QEventLoop::quit);

    QElapsedTimer timer;
    timer.start();
    if (probes) {
        sinceTick.start();
        ticker.start();
        probe.start();
    }
    const double cpuBefore = processCpuSeconds();
    controller.start({script}, ConversionOptions{}, QString());
    loop.exec();
    run.seconds = nsToSeconds(timer.nsecsElapsed());
    run.cpuSeconds = processCpuSeconds() - cpuBefore;
    probe.stop();
    ticker.stop();
    run.maxHoldMs = probe.maxGapMs;
    run.maxHoldCpuMs = probe.maxCpuGapMs;
    return run;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList args = QCoreApplication::arguments();
    const qint64 lines = args.size() > 1 ? args.at(1).toLongLong() : 1000000;
    const int repetitions = args.size() > 2 ? args.at(2).toInt() : 3;

    const QString converter = ConversionController::resolveExecutable(makeRevitConverterInfo(true));
    QTemporaryDir dir;
    const QString script = dir.filePath(u"flood.rvt"_s);
    QFile file(script);
    if (!file.open(QIODevice::WriteOnly) || file.write("flood " + QByteArray::number(lines) + '\n') < 0) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(script));
        return 1;
    }
    file.close();

    // Best of several runs for both, so a stray scheduling hiccup does not decide the ratio.
    double bestPipe = 1e9;
    ControllerRun best;
    best.seconds = 1e9;
    double worstHold = 0;
    double worstHoldCpu = 0;
    double worstTimerGap = 0;
    for (int i = 0; i < repetitions; ++i) {
        bestPipe = std::min(bestPipe, pipeSeconds(converter, script, lines));
        const ControllerRun run = controllerRun(script, false);
        const ControllerRun probed = controllerRun(script, true);
        if (run.lines != lines || probed.lines != lines) {
            std::fprintf(stderr, "controller logged %lld and %lld lines, expected %lld\n",
                         static_cast<long long>(run.lines), static_cast<long long>(probed.lines),
                         static_cast<long long>(lines));
            return 1;
        }
        worstHold = std::max(worstHold, probed.maxHoldMs);
        worstHoldCpu = std::max(worstHoldCpu, probed.maxHoldCpuMs);
        worstTimerGap = std::max(worstTimerGap, probed.maxTimerGapMs);
        if (run.seconds < best.seconds)
            best = run;
    }

    const double pipeRate = static_cast<double>(lines) / bestPipe;
    const double controllerRate = static_cast<double>(lines) / best.seconds;
    print("lines", static_cast<double>(lines));
    print("pipe_wc_seconds", bestPipe);
    print("pipe_wc_lines_per_second", pipeRate);
    print("controller_seconds", best.seconds);
    print("controller_lines_per_second", controllerRate);
    print("controller_cpu_seconds", best.cpuSeconds);
    print("controller_max_event_loop_hold_ms", worstHold);
    print("controller_max_event_loop_hold_cpu_ms", worstHoldCpu);
    print("controller_max_timer_delay_ms", worstTimerGap);
    print("ratio_controller_to_pipe", controllerRate / pipeRate);
    return 0;
}
