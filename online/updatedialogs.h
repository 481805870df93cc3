#pragma once

#include "online/versioninfo.h"

#include <QCoreApplication>
#include <QString>

class QMessageBox;
class QSettings;
class QWidget;
class VersionChecker;

// The two ways the main window runs an update check, and the message boxes they show.
// The create functions return a box that is neither shown nor executed, so that it can be
// inspected; the start functions show theirs with open() and let it delete itself.
class UpdateDialogs
{
    Q_DECLARE_TR_FUNCTIONS(UpdateDialogs)

public:
    // For a result with a flag set: "Version No Longer Supported" before "Update Available".
    static QMessageBox *createUpdateDialog(const VersionInfo &info, QWidget *parent);
    // What a check from the menu shows for any result.
    static QMessageBox *createManualCheckDialog(const VersionInfo &info, QWidget *parent);

    // Checks when the schedule in the settings says so; silent unless there is something
    // to update. Returns the running checker, or nullptr when no check is due.
    static VersionChecker *startAutomaticCheck(QSettings *settings, const QString &converterKey,
                                               QWidget *parent);
    // Checks now and always answers, also with the failure.
    static VersionChecker *startManualCheck(const QString &converterKey, QWidget *parent);
};
