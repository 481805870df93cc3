#pragma once

#include <QCoreApplication>
#include <QString>
#include <QStringList>

// The command's lines and its exit code, as pure functions of what happened.
class ConsoleText
{
    Q_DECLARE_TR_FUNCTIONS(ConsoleText)

public:
    struct Counts
    {
        // Files of the batch, those left out as up to date included.
        int total = 0;
        int converted = 0;
        int failed = 0;
        // Skipped while running (a stall); up-to-date files are counted apart.
        int skipped = 0;
        int upToDate = 0;

        int finished() const { return converted + failed + skipped + upToDate; }
    };

    // The one line a terminal shows and redraws, cut to width characters.
    static QString liveLine(const Counts &counts, const QStringList &runningNames, const QString &timeLeft,
                            int width);
    static QString startedLine(int number, int total, const QString &path);
    // exitCode as the controller reports it: 0, a converter's code, or a skip marker.
    static QString finishedLine(int number, int total, const QString &path, int exitCode, qint64 durationMs,
                                const QString &logFile);
    static QString upToDateLine(const QString &path);
    static QString summary(const Counts &counts, qint64 wallMs, bool interrupted, const QString &reportPath);
    static int exitCode(const Counts &counts, bool interrupted);
    // The text cut to width characters, its last one an ellipsis when cut.
    static QString elided(const QString &text, int width);
};
