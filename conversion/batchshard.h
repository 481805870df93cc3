#pragma once

#include <QString>
#include <QStringView>

#include <optional>

// One of N disjoint parts of a batch ("K/N", K from 1 to N). A file's part depends only on its
// path relative to the batch's input folder, hashed with 64-bit FNV-1a over its UTF-8 bytes
// with '/' between folders: nothing random, no byte order and no locale enter into it, so every
// machine that sees the same folder, wherever it is mounted, puts a file in the same part.
struct BatchShard
{
    int index = 1;
    int count = 1;

    // "K/N" with 1 <= K <= N; nothing for anything else.
    static std::optional<BatchShard> parse(QStringView text);
    static quint64 pathHash(QStringView relativePath);
    // The part (1 to count) that relativePath belongs to.
    static int partOf(QStringView relativePath, int count);

    bool contains(QStringView relativePath) const { return partOf(relativePath, count) == index; }
};
