#include "progress/filestatus.h"

#include "common/statuscolours.h"
#include "conversion/converteroutput.h"

#include <QCoreApplication>
#include <QTableWidgetItem>

using namespace Qt::StringLiterals;

bool isKnownFileStatus(FileStatus status)
{
    const auto value = static_cast<qint32>(status);
    return value >= static_cast<qint32>(FileStatus::Pending) &&
           value <= static_cast<qint32>(FileStatus::Disabled);
}

QString fileStatusText(FileStatus status, int exitCode)
{
    switch (status) {
    case FileStatus::Pending: return QCoreApplication::translate("FileStatus", "Pending");
    case FileStatus::Running: return QCoreApplication::translate("FileStatus", "Running...");
    case FileStatus::Done: return QCoreApplication::translate("FileStatus", "Done");
    case FileStatus::Failed: return QCoreApplication::translate("FileStatus", "Failed (%1)").arg(exitCode);
    case FileStatus::Skipped: return QCoreApplication::translate("FileStatus", "Skipped");
    case FileStatus::Stopped: return QCoreApplication::translate("FileStatus", "Stopped");
    case FileStatus::Canceled: return QCoreApplication::translate("FileStatus", "Canceled");
    case FileStatus::Disabled: return QCoreApplication::translate("FileStatus", "Disabled");
    }
    return {};
}

QColor fileStatusColour(FileStatus status)
{
    switch (status) {
    case FileStatus::Pending: return QColor(0x88, 0x88, 0x88);
    case FileStatus::Running: return QColor(StatusColours::running);
    case FileStatus::Done: return QColor(StatusColours::success);
    case FileStatus::Failed: return QColor(StatusColours::error);
    case FileStatus::Skipped: return QColor(0xd7, 0xa7, 0x00);
    case FileStatus::Stopped: return QColor(0xff, 0x6b, 0x6b);
    case FileStatus::Canceled: return QColor(0x8b, 0x00, 0x00);
    case FileStatus::Disabled: return QColor(0x99, 0x99, 0x99);
    }
    return {};
}

QString fileStatusToolTip(FileStatus status, int exitCode)
{
    if (status != FileStatus::Failed)
        return {};
    return exitCodeMessage(exitCode) + u'\n' +
           QCoreApplication::translate("FileStatus", "Click to jump to error in log.");
}

FileStatus fileStatusForExitCode(int exitCode)
{
    if (exitCode == 0)
        return FileStatus::Done;
    if (exitCode == ExitMarker::Skipped)
        return FileStatus::Skipped;
    return FileStatus::Failed;
}

void applyFileStatus(QTableWidgetItem *item, FileStatus status, int exitCode)
{
    if (!item || !isKnownFileStatus(status))
        return;
    item->setText(fileStatusText(status, exitCode));
    item->setForeground(fileStatusColour(status));
    item->setToolTip(fileStatusToolTip(status, exitCode));
}

bool canConvertNext(FileStatus status)
{
    return status == FileStatus::Pending || status == FileStatus::Failed || status == FileStatus::Skipped ||
           status == FileStatus::Stopped;
}
