#include "batch/consoletext.h"

#include "batch/commandline.h"
#include "common/formatting.h"
#include "conversion/converteroutput.h"

#include <QDir>

#include <algorithm>

using namespace Qt::StringLiterals;

QString ConsoleText::liveLine(const Counts &counts, const QStringList &runningNames, const QString &timeLeft,
                              int width)
{
    QString line = tr("%1 of %2 done").arg(counts.finished()).arg(counts.total);
    if (counts.failed > 0)
        line += u", "_s + tr("%n failed", nullptr, counts.failed);
    if (!runningNames.isEmpty())
        line += u", "_s + tr("running: %1").arg(runningNames.join(u", "_s));
    if (timeLeft.isEmpty())
        return elided(line, width);
    // The estimate survives a cut: the files' part gives way.
    const QString tail = u" | "_s + timeLeft;
    return elided(line, std::max<int>(width - int(tail.size()), 1)) + tail;
}

QString ConsoleText::startedLine(int number, int total, const QString &path)
{
    return tr("[%1/%2] started %3").arg(number).arg(total).arg(QDir::toNativeSeparators(path));
}

QString ConsoleText::finishedLine(int number, int total, const QString &path, int exitCode, qint64 durationMs,
                                  const QString &logFile)
{
    const QString prefix = u"[%1/%2] "_s.arg(number).arg(total);
    const QString native = QDir::toNativeSeparators(path);
    if (exitCode == 0)
        return prefix + tr("converted %1 (%2)").arg(native, formatDuration(durationMs));
    if (exitCode == ExitMarker::Skipped)
        return prefix + tr("skipped %1").arg(native);
    QString line =
        prefix +
        tr("FAILED %1: exit code %2, %3").arg(native, QString::number(exitCode), exitCodeMessage(exitCode));
    if (!logFile.isEmpty())
        line += u' ' + tr("(log: %1)").arg(QDir::toNativeSeparators(logFile));
    return line;
}

QString ConsoleText::upToDateLine(const QString &path)
{
    return tr("up to date, skipped %1").arg(QDir::toNativeSeparators(path));
}

QString ConsoleText::summary(const Counts &counts, qint64 wallMs, bool interrupted, const QString &reportPath)
{
    QString text = interrupted ? tr("Interrupted: ") : QString();
    text += tr("%1 of %2 converted").arg(counts.converted).arg(counts.total);
    if (counts.upToDate > 0)
        text += u", "_s + tr("%1 up to date").arg(counts.upToDate);
    if (counts.failed > 0)
        text += u", "_s + tr("%1 failed").arg(counts.failed);
    if (counts.skipped > 0)
        text += u", "_s + tr("%1 skipped").arg(counts.skipped);
    const int notRun = counts.total - counts.finished();
    if (notRun > 0)
        text += u", "_s + tr("%1 not run").arg(notRun);
    text += u", "_s + tr("in %1.").arg(formatDuration(wallMs));
    if (!reportPath.isEmpty())
        text += u' ' + tr("Report: %1").arg(QDir::toNativeSeparators(reportPath));
    return text;
}

int ConsoleText::exitCode(const Counts &counts, bool interrupted)
{
    if (interrupted)
        return BatchExit::Interrupted;
    return counts.converted + counts.upToDate == counts.total ? BatchExit::Converted : BatchExit::SomeFailed;
}

QString ConsoleText::elided(const QString &text, int width)
{
    if (width <= 0 || text.size() <= width)
        return text;
    return text.left(width - 1) + u'\u2026';
}
