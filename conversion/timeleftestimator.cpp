#include "conversion/timeleftestimator.h"

#include <queue>

#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

TimeLeft estimateTimeLeft(const BatchTiming &timing)
{
    qint64 measuredMs = 0;
    qint64 measuredBytes = 0;
    std::vector<double> rates;
    for (const FileTiming &file : timing.finished) {
        if (file.failed || file.bytes <= 0)
            continue;
        measuredMs += file.ms;
        measuredBytes += file.bytes;
        rates.push_back(static_cast<double>(file.ms) / static_cast<double>(file.bytes));
    }
    if (rates.empty() || measuredMs <= 0)
        return {};
    // Weighted by size: a large model's pace says more than a small one's.
    const double msPerByte = static_cast<double>(measuredMs) / static_cast<double>(measuredBytes);

    // Each slot is free after its running file's expected rest; queued files go, in order,
    // to the slot that frees first, as the controller will start them.
    const int slotCount = std::max(timing.slots, 1);
    std::priority_queue<double, std::vector<double>, std::greater<>> freeAt;
    for (const FileTiming &file : timing.running)
        freeAt.push(
            std::max(msPerByte * static_cast<double>(file.bytes) - static_cast<double>(file.ms), 0.0));
    while (std::ssize(freeAt) < slotCount)
        freeAt.push(0.0);
    double end = 0;
    for (const qint64 bytes : timing.queuedBytes) {
        const double at = freeAt.top() + msPerByte * static_cast<double>(std::max<qint64>(bytes, 0));
        freeAt.pop();
        freeAt.push(at);
    }
    while (!freeAt.empty()) {
        end = std::max(end, freeAt.top());
        freeAt.pop();
    }

    // Relative spread of the measured paces; one file alone tells nothing of it.
    double spread = 0.5;
    if (rates.size() > 1) {
        double mean = 0;
        for (const double r : rates)
            mean += r;
        mean /= static_cast<double>(rates.size());
        double variance = 0;
        for (const double r : rates)
            variance += (r - mean) * (r - mean);
        variance /= static_cast<double>(rates.size() - 1);
        spread = std::sqrt(variance) / mean;
    }
    const double margin = std::clamp(0.1 + spread / std::sqrt(static_cast<double>(rates.size())), 0.1, 0.6);
    TimeLeft result;
    result.known = true;
    result.lowMs = static_cast<qint64>(end * (1 - margin));
    result.highMs = static_cast<qint64>(std::ceil(end * (1 + margin)));
    return result;
}

void TimeLeftEstimator::begin(const QList<QPair<QString, qint64>> &files, int slotCount, qint64)
{
    queued = files;
    running.clear();
    finished.clear();
    slots = std::max(slotCount, 1);
    shown = false;
    finishedAtShown = 0;
}

void TimeLeftEstimator::fileStarted(const QString &path, qint64 bytes, qint64 nowMs)
{
    fileRemoved(path);
    running.insert(path, {bytes, nowMs});
}

void TimeLeftEstimator::fileFinished(const QString &path, bool failed, qint64 nowMs)
{
    const auto it = running.constFind(path);
    if (it == running.cend())
        return;
    finished.append({it->first, nowMs - it->second, failed});
    running.erase(it);
}

void TimeLeftEstimator::fileRemoved(const QString &path)
{
    const auto it =
        std::find_if(queued.cbegin(), queued.cend(), [&](const auto &file) { return file.first == path; });
    if (it != queued.cend())
        queued.erase(it);
}

BatchTiming TimeLeftEstimator::timingAt(qint64 nowMs) const
{
    BatchTiming timing;
    timing.finished = finished;
    timing.slots = slots;
    for (const auto &[bytes, startedAt] : running)
        timing.running.append({bytes, nowMs - startedAt, false});
    for (const auto &file : queued)
        timing.queuedBytes.append(file.second);
    return timing;
}

TimeLeft TimeLeftEstimator::estimate(qint64 nowMs)
{
    const TimeLeft raw = estimateTimeLeft(timingAt(nowMs));
    if (!raw.known) {
        shown = false;
        return raw;
    }
    const qint64 lowEnd = nowMs + raw.lowMs;
    const qint64 highEnd = nowMs + raw.highMs;
    const qint64 middle = (lowEnd + highEnd) / 2;
    const bool newFinish = finished.size() != finishedAtShown;
    finishedAtShown = finished.size();
    if (!shown || (newFinish && lowEnd >= shownLowEnd && highEnd <= shownHighEnd &&
                   2 * (highEnd - lowEnd) < shownHighEnd - shownLowEnd)) {
        // The first estimate, or one much sharper within the shown range after a file ended.
        shownLowEnd = lowEnd;
        shownHighEnd = highEnd;
        shown = true;
    } else if (middle > shownHighEnd || middle < shownLowEnd) {
        // Moved just far enough to hold the new estimate's middle again.
        const qint64 shift = middle > shownHighEnd ? middle - shownHighEnd : middle - shownLowEnd;
        shownLowEnd += shift;
        shownHighEnd += shift;
    }
    TimeLeft result;
    result.known = true;
    result.lowMs = std::max<qint64>(shownLowEnd - nowMs, 0);
    result.highMs = std::max<qint64>(shownHighEnd - nowMs, 0);
    return result;
}
