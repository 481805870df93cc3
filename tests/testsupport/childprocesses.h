#pragma once

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QStringList>

// Child processes of this test program that are still alive (zombies excluded), as
// "pid name" texts. A test that leaves a converter running fails on this. Reads /proc, so
// where there is none the list is simply empty.
inline QStringList runningChildProcesses()
{
    QStringList found;
    const QByteArray self = QByteArray::number(QCoreApplication::applicationPid());
    const QStringList entries = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &entry : entries) {
        bool isPid = false;
        entry.toLongLong(&isPid);
        if (!isPid)
            continue;
        QFile stat(QStringLiteral("/proc/") + entry + QStringLiteral("/stat"));
        if (!stat.open(QIODevice::ReadOnly))
            continue;
        // "pid (name) state ppid ...": the name may hold spaces and parentheses.
        const QByteArray line = stat.readAll();
        const qsizetype open = line.indexOf('(');
        const qsizetype close = line.lastIndexOf(')');
        if (open < 0 || close < open)
            continue;
        const QList<QByteArray> fields = line.mid(close + 2).split(' ');
        if (fields.size() < 2 || fields.at(1) != self || fields.at(0) == "Z")
            continue;
        found.append(entry + u' ' + QString::fromUtf8(line.mid(open + 1, close - open - 1)));
    }
    return found;
}
