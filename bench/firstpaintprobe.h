#pragma once

// Shared by the two programs bench_startup starts: once the watched window has painted for
// the first time, print the resident memory and end the process.

#include <QCoreApplication>
#include <QEvent>
#include <QFile>
#include <QObject>
#include <QTimer>
#include <QWidget>

#include <cstdio>
#include <cstdlib>

// Resident set size of this process in KiB, from /proc (0 where there is none).
inline long residentKiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> lines = status.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toLong();
    }
    return 0;
}

class FirstPaintProbe final : public QObject
{
public:
    explicit FirstPaintProbe(QWidget *window)
        : QObject(window)
    {
        window->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Paint && !seen) {
            seen = true;
            // Posted, so it runs once the whole window (children included) has painted.
            QTimer::singleShot(0, [] {
                std::printf("painted rss_kib=%ld\n", residentKiB());
                std::fflush(stdout);
                std::_Exit(0);
            });
        }
        return QObject::eventFilter(watched, event);
    }

private:
    bool seen = false;
};
