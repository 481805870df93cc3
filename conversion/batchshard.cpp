#include "conversion/batchshard.h"

std::optional<BatchShard> BatchShard::parse(QStringView text)
{
    const qsizetype slash = text.indexOf(u'/');
    if (slash < 0)
        return std::nullopt;
    bool indexOk = false;
    bool countOk = false;
    const int index = text.left(slash).toInt(&indexOk);
    const int count = text.mid(slash + 1).toInt(&countOk);
    if (!indexOk || !countOk || count < 1 || index < 1 || index > count)
        return std::nullopt;
    return BatchShard{index, count};
}

quint64 BatchShard::pathHash(QStringView relativePath)
{
    // Windows machines write the same relative path with backslashes.
    QString path = relativePath.toString();
    path.replace(u'\\', u'/');
    quint64 hash = 14695981039346656037ULL;
    for (const char byte : path.toUtf8()) {
        hash ^= static_cast<unsigned char>(byte);
        hash *= 1099511628211ULL;
    }
    return hash;
}

int BatchShard::partOf(QStringView relativePath, int count)
{
    if (count <= 1)
        return 1;
    return static_cast<int>(pathHash(relativePath) % static_cast<quint64>(count)) + 1;
}
