#include "common/formatting.h"

#include <QCoreApplication>

#include <algorithm>

using namespace Qt::StringLiterals;

QString formatSize(qint64 bytes)
{
    if (bytes < 1024)
        return QString::number(bytes) + u" B"_s;
    if (bytes < 1048576)
        return QString::number(static_cast<double>(bytes) / 1024.0, 'f', 1) + u" KB"_s;
    if (bytes < 1073741824)
        return QString::number(static_cast<double>(bytes) / 1048576.0, 'f', 1) + u" MB"_s;
    return QString::number(static_cast<double>(bytes) / 1073741824.0, 'f', 1) + u" GB"_s;
}

QString formatDuration(qint64 ms)
{
    // The batch table's texts, in its translation context.
    if (ms < 1000)
        return QCoreApplication::translate("BatchPanel", "%1 ms").arg(ms);
    if (ms < 60000)
        return QCoreApplication::translate("BatchPanel", "%1 s")
            .arg(static_cast<double>(ms) / 1000.0, 0, 'f', 1);
    return QCoreApplication::translate("BatchPanel", "%1 min")
        .arg(static_cast<double>(ms) / 60000.0, 0, 'f', 1);
}

QString formatClock(qint64 ms)
{
    const qint64 s = ms / 1000;
    const qint64 h = s / 3600;
    const qint64 m = (s % 3600) / 60;
    const qint64 sec = s % 60;
    if (h < 1)
        return u"%1:%2"_s.arg(m, 2, 10, QLatin1Char('0')).arg(sec, 2, 10, QLatin1Char('0'));
    return u"%1:%2:%3"_s.arg(h).arg(m, 2, 10, QLatin1Char('0')).arg(sec, 2, 10, QLatin1Char('0'));
}

QString formatTimeLeft(qint64 lowMs, qint64 highMs)
{
    // Rounded outwards to steps that grow with the time, so the text changes seldom and
    // the range always holds the estimate.
    constexpr qint64 minute = 60000;
    if (highMs <= minute)
        return QCoreApplication::translate("TimeLeft", "less than a minute left");
    const qint64 step = highMs < 20 * minute ? 1 : highMs < 120 * minute ? 5 : 60;
    const qint64 low = lowMs / minute / step * step;
    const qint64 high = (highMs + step * minute - 1) / (step * minute) * step;
    if (step == 60) {
        const qint64 lowHours = low / 60;
        const qint64 highHours = high / 60;
        if (lowHours == highHours)
            return QCoreApplication::translate("TimeLeft", "about %1 h left").arg(highHours);
        return QCoreApplication::translate("TimeLeft", "about %1–%2 h left").arg(lowHours).arg(highHours);
    }
    if (low == high)
        return QCoreApplication::translate("TimeLeft", "about %1 min left").arg(high);
    return QCoreApplication::translate("TimeLeft", "about %1–%2 min left")
        .arg(std::max<qint64>(low, 1))
        .arg(high);
}
