#pragma once

#include "conversion/converteroutput.h"

#include <QColor>
#include <QString>

class QTableWidgetItem;

// The state of one file of a batch; every place that shows or reasons about a file's
// state uses these values.
enum class FileStatus : qint32 {
    Pending = 0,
    Running = 1,
    Done = 2,
    Failed = 3,
    Skipped = 4,
    Stopped = 5,
    Canceled = 6,
    Disabled = 7
};

bool isKnownFileStatus(FileStatus status);
QString fileStatusText(FileStatus status, int exitCode);
QColor fileStatusColour(FileStatus status);
QString fileStatusToolTip(FileStatus status, int exitCode);
// Whether a file in this state may be moved to the front of a running batch.
bool canConvertNext(FileStatus status);
// A finished file's status from its exit code: 0 Done, the skip marker Skipped, anything else Failed.
FileStatus fileStatusForExitCode(int exitCode);
// Writes text, colour and tooltip of a status into a table cell; unknown values leave it as it is.
void applyFileStatus(QTableWidgetItem *item, FileStatus status, int exitCode);
