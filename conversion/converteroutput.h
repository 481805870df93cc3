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

// Where the escape sequence that starts at `start` (an ESC) ends: a CSI sequence at its
// final byte, an OSC one (hyperlinks, titles) at BEL or ESC \, anything else after its
// intermediates. *sgr is set to the parameters of a colour sequence and left null otherwise.
qsizetype escapeSequenceEnd(QStringView line, qsizetype start, QStringView *sgr);
// The line as plain text: every escape sequence removed.
QString withoutEscapes(QStringView line);

// What a log line counts as: its [ERROR] or [WARNING]/[WARN] tag, in any case.
enum class LineKind { Plain, Warning, Error };
LineKind classifyLine(QStringView line);
