// Drives the real controller into the real log view with converters that misbehave, and
// measures how long the event loop is ever held: a flood of lines, one 50 MiB line without a
// break, one line of a million characters. Then how soon Stop acts during a flood, and the
// memory the flood leaves. The reference is the same converter output read by `wc -l` through
// a plain pipe.
//
//   QT_QPA_PLATFORM=offscreen bench_log_pipeline [flood-lines]

#include "benchsupport.h"
#include "common/dialogs.h"
#include "conversion/conversioncontroller.h"
#include "progress/progresspanel.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <functional>

using namespace Qt::StringLiterals;

namespace {

struct Pipeline
{
    Dialogs dialogs;
    ConversionController controller;
    ProgressPanel panel{&dialogs};

    Pipeline()
    {
        controller.setConverter(makeRevitConverterInfo(true));
        QObject::connect(&controller, &ConversionController::logOutput, &panel, &ProgressPanel::appendLog);
        panel.resize(900, 600);
        panel.show();
    }
};

// The longest time the event loop did not come round to a 2 ms probe timer, in wall-clock
// time and in this thread's own CPU time. On a shared machine the wall-clock figure also
// holds the time the thread waited for a processor; the CPU figure is the loop's own work.
struct Hold
{
    double wallMs = 0;
    double cpuMs = 0;
};

// Runs one script through the pipeline until the view has shown everything. `during` is
// called once the run has started.
Hold longestHold(Pipeline &pipeline, const QString &script, const std::function<void()> &during = {})
{
    QElapsedTimer clock;
    qint64 last = 0;
    double lastCpu = threadCpuMs();
    Hold longest;
    QTimer probe;
    probe.setTimerType(Qt::PreciseTimer);
    probe.setInterval(2);
    QObject::connect(&probe, &QTimer::timeout, [&] {
        const qint64 now = clock.nsecsElapsed();
        const double cpu = threadCpuMs();
        longest.wallMs = std::max(longest.wallMs, nsToMs(now - last));
        longest.cpuMs = std::max(longest.cpuMs, cpu - lastCpu);
        last = now;
        lastCpu = cpu;
    });
    QTemporaryDir out;
    clock.start();
    probe.start();
    pipeline.controller.start({script}, ConversionOptions{}, out.path());
    if (during)
        during();
    while (pipeline.controller.isRunning() || pipeline.panel.isCatchingUp())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    probe.stop();
    return longest;
}

QString writeScript(const QTemporaryDir &dir, const QString &name, const QByteArray &text)
{
    QFile file(dir.filePath(name));
    if (file.open(QIODevice::WriteOnly))
        file.write(text);
    return file.fileName();
}

// The same converter's output counted by `wc -l` through a pipe: what reading alone costs.
double referenceSeconds(const QString &converter, const QString &script)
{
    QElapsedTimer clock;
    clock.start();
    QProcess shell;
    shell.start(u"sh"_s, {u"-c"_s, u"\"$0\" \"$1\" | wc -l > /dev/null"_s, converter, script});
    shell.waitForFinished(-1);
    return nsToSeconds(clock.nsecsElapsed());
}

} // namespace

int main(int argc, char *argv[])
{
    preferOffscreenPlatform();
    QApplication app(argc, argv);
    const int floodLines = argc > 1 ? QString::fromLocal8Bit(argv[1]).toInt() : 1'000'000;
    QTemporaryDir dir;
    const QString converter = ConversionController::resolveExecutable(makeRevitConverterInfo(true));
    if (!QFile::exists(converter)) {
        std::fprintf(stderr, "no converter at %s\n", qPrintable(converter));
        return 1;
    }
    const QString flood = writeScript(dir, u"flood.rvt"_s, "flood " + QByteArray::number(floodLines) + "\n");
    const QString longLine = writeScript(dir, u"long.rvt"_s, "nobreak 52428800\n");
    const QString wideLine = writeScript(dir, u"wide.rvt"_s, "nobreak 1000000\n");

    const qint64 rssBefore = residentKiB();
    double floodSeconds = 0;
    {
        Pipeline pipeline;
        QElapsedTimer clock;
        clock.start();
        const Hold hold = longestHold(pipeline, flood);
        print("flood_longest_hold_ms", hold.wallMs);
        print("flood_longest_hold_cpu_ms", hold.cpuMs);
        floodSeconds = nsToSeconds(clock.nsecsElapsed());
        print("rss_after_flood_mib", double(residentKiB()) / 1024.0);
        print("rss_growth_after_flood_mib", double(residentKiB() - rssBefore) / 1024.0);
    }
    const double reference = referenceSeconds(converter, flood);
    print("flood_seconds", floodSeconds);
    print("flood_reference_wc_seconds", reference);
    print("flood_to_reference_ratio", floodSeconds / reference);
    {
        Pipeline pipeline;
        const Hold hold = longestHold(pipeline, longLine);
        print("long_line_longest_hold_ms", hold.wallMs);
        print("long_line_longest_hold_cpu_ms", hold.cpuMs);
    }
    {
        Pipeline pipeline;
        const Hold hold = longestHold(pipeline, wideLine);
        print("wide_line_longest_hold_ms", hold.wallMs);
        print("wide_line_longest_hold_cpu_ms", hold.cpuMs);
    }

    // Stop, as the button does it, due at three moments of a flood: how late it acts.
    const QString endless = writeScript(dir, u"endless.rvt"_s, "flood 100000000\n");
    double worstStop = 0;
    for (const int dueMs : {700, 1200, 1700}) {
        Pipeline pipeline;
        QElapsedTimer clock;
        longestHold(pipeline, endless, [&] {
            clock.start();
            QTimer::singleShot(dueMs, Qt::PreciseTimer, &pipeline.controller, [&] {
                pipeline.controller.stop();
                worstStop = std::max(worstStop, nsToMs(clock.nsecsElapsed()) - dueMs);
            });
        });
    }
    print("stop_latency_ms", worstStop);
    return 0;
}
