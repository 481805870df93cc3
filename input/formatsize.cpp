#include "input/formatsize.h"

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
