#pragma once

#include <QHash>
#include <QList>
#include <QString>

// A range of time left, or nothing worth showing yet.
struct TimeLeft
{
    bool known = false;
    qint64 lowMs = 0;
    qint64 highMs = 0;
};

// One file of a batch as the estimate sees it: its size and how long it took (finished
// files) or has taken so far (running files).
struct FileTiming
{
    qint64 bytes = 0;
    qint64 ms = 0;
    bool failed = false;
};

// The batch at one moment.
struct BatchTiming
{
    QList<FileTiming> finished;
    QList<FileTiming> running;
    QList<qint64> queuedBytes;
    int slots = 1;
};

// Time left from the measured throughput of the files that converted: time per input byte,
// applied to what is left and spread over the running slots in queue order. Failed files
// say nothing of a conversion's speed (a missing model fails in a moment) and are left out;
// nothing is known until one file has converted. The range widens with how uneven the
// measured files were and narrows as more of them finish.
TimeLeft estimateTimeLeft(const BatchTiming &timing);

// Follows a running batch and keeps the shown range steady: it counts down with the clock,
// and moves only when a new estimate leaves it (by no more than it must) or, once another
// file has ended, is much narrower.
class TimeLeftEstimator
{
public:
    // The files of the batch, in queue order, with their sizes.
    void begin(const QList<QPair<QString, qint64>> &files, int slots, qint64 nowMs);
    void fileStarted(const QString &path, qint64 bytes, qint64 nowMs);
    void fileFinished(const QString &path, bool failed, qint64 nowMs);
    // Taken out of the batch before it ran.
    void fileRemoved(const QString &path);
    TimeLeft estimate(qint64 nowMs);

private:
    BatchTiming timingAt(qint64 nowMs) const;

    QList<QPair<QString, qint64>> queued;
    QHash<QString, QPair<qint64, qint64>> running; // bytes, start time
    QList<FileTiming> finished;
    int slots = 1;
    // The shown range as moments on the clock, so that it counts down by itself.
    bool shown = false;
    qint64 shownLowEnd = 0;
    qint64 shownHighEnd = 0;
    qsizetype finishedAtShown = 0;
};
