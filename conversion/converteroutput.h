#pragma once

#include <QString>
#include <QStringView>

// What one line of converter output means; a line can carry several of these at once.
struct ConverterLine
{
    bool hasProgress = false;
    int filePercent = 0;
    bool hasStage = false;
    QString stage;
    bool hasStarted = false;
    QString started;
};

// Matches a trimmed, non-empty output line against the progress, stage and started patterns.
ConverterLine interpretConverterLine(QStringView line);

// Exit code of a converter to the message shown to the user.
QString exitCodeMessage(int exitCode);

// The exit code the controller reports for a file the user skipped.
inline constexpr int skippedExitCode = -3;
