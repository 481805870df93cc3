#pragma once

// Shared by the two programs bench_startup starts: once the watched window has painted for
// the first time, print the resident memory and end the process.

#include "benchsupport.h"

#include <QCoreApplication>
#include <QEvent>
#include <QObject>
#include <QTimer>
#include <QWidget>

#include <cstdio>
#include <cstdlib>

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
                std::printf("painted rss_kib=%lld\n", static_cast<long long>(residentKiB()));
                std::fflush(stdout);
                std::_Exit(0);
            });
        }
        return QObject::eventFilter(watched, event);
    }

private:
    bool seen = false;
};
