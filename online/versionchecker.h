#pragma once

#include "online/versioninfo.h"

#include <QByteArray>
#include <QDateTime>
#include <QObject>
#include <QString>
#include <QUrl>

class QSettings;

// Asks the update host, on a worker thread, whether a newer release of one converter exists.
// The receiver of finished() deletes the checker (deleteLater) once it has the result.
class VersionChecker final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(VersionChecker)

public:
    VersionChecker(const QString &converterKey, QObject *parent = nullptr);

    QString converterKey() const { return key; }

    void check();

    // The program's own version, compared with what the host offers.
    static QString currentVersion() { return QStringLiteral("18.1.0"); }

    // Dotted version comparison; missing and non-numeric parts count as 0.
    static bool isNewer(const QString &a, const QString &b);
    // The fetch and parse as the worker runs them (blocking).
    static VersionInfo fetch(const QString &updateHostUrl, const QString &converterKey);
    static VersionInfo parse(const QByteArray &json, const QString &converterKey);
    // The vendor's page for the download: the given path when it is safe, else the overview.
    static QUrl downloadLink(const QString &downloadPath);
    // Whether the automatic check at start-up should ask the host now.
    static bool isAutomaticCheckDue(QSettings *settings, const QDateTime &now);

Q_SIGNALS:
    void finished(const VersionInfo &info);

private:
    const QString key;
};
