#pragma once

#include <QMetaType>
#include <QString>

// The result of one update check; crosses from the worker thread in a queued signal.
struct VersionInfo
{
    bool updateAvailable = false;
    bool belowMinimum = false;
    QString latest;
    QString minVersion;
    QString released;
    QString downloadPath;
    QString error;
};

Q_DECLARE_METATYPE(VersionInfo)
