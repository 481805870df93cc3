#pragma once

// The small pieces every benchmark here needs: the `name: value` output lines, medians and
// percentiles, unit conversions and the process's and thread's own CPU time and memory.
// Header only and Qt Core only, so the start-up reference program can use it too.

#include <QByteArray>
#include <QFile>
#include <QList>
#include <QString>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <sys/resource.h>

// One `name: value` line on stdout, flushed at once so a slow or failing run still shows
// the lines it got to.
inline void print(const char *name, const QString &value)
{
    std::printf("%s: %s\n", name, value.toLocal8Bit().constData());
    std::fflush(stdout);
}

inline void print(const char *name, double value)
{
    std::printf("%s: %.3f\n", name, value);
    std::fflush(stdout);
}

// The value at percent of the sorted samples, by nearest rank from below (index
// size * percent / 100): percentile 50 is the upper middle of an even count, 100 the largest.
// 0 for no samples.
template <typename Container> auto percentile(Container values, int percent)
{
    using Value = typename Container::value_type;
    if (values.empty())
        return Value{};
    std::sort(values.begin(), values.end());
    const auto index = std::min<std::size_t>(values.size() - 1, values.size() * percent / 100);
    return values[index];
}

// The median proper: the mean of the two middle samples of an even count. 0 for no samples.
template <typename Container> double median(Container values)
{
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    const std::size_t mid = values.size() / 2;
    return values.size() % 2 ? double(values[mid]) : (double(values[mid - 1]) + double(values[mid])) / 2;
}

inline double nsToMs(qint64 ns)
{
    return static_cast<double>(ns) / 1e6;
}

inline double nsToSeconds(qint64 ns)
{
    return static_cast<double>(ns) / 1e9;
}

// User and system time of this process (child processes such as a converter are not
// counted): on a busy machine, far less than the wall-clock time shows the run waited for a
// processor.
inline double processCpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval &t) {
        return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// CPU time used by the calling thread, in ms: tells a gap the GUI thread spent working from
// one where the machine simply ran something else.
inline double threadCpuMs()
{
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) * 1e3 + static_cast<double>(ts.tv_nsec) / 1e6;
}

// Resident set size of this process in KiB, from /proc (0 where there is none).
inline qint64 residentKiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> lines = status.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toLongLong();
    }
    return 0;
}

// The offscreen platform unless the caller chose one: the benchmarks need no display.
inline void preferOffscreenPlatform()
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
}
