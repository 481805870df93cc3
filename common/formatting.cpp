#include "common/formatting.h"

#include <QCoreApplication>

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
