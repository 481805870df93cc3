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

// Codes kept beside the converters' own exit codes for files that did not end by themselves.
namespace ExitMarker {
inline constexpr int NotRun = -1;
inline constexpr int Stopped = -2;
// What the controller reports for a file the user skipped.
inline constexpr int Skipped = -3;
inline constexpr int Disabled = -4;
} // namespace ExitMarker

// What a log line counts as: its [ERROR] or [WARNING]/[WARN] tag, in any case.
enum class LineKind { Plain, Warning, Error };
LineKind classifyLine(QStringView line);
