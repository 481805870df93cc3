#include "online/versionchecker.h"

#include "common/settingskeys.h"
#include "online/deployment.h"
#include "online/httpsclient.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QSettings>
#include <QStringList>
#include <QThread>

#include <memory>

using namespace Qt::StringLiterals;

VersionChecker::VersionChecker(const QString &converterKey, QObject *parent)
    : QObject(parent)
    , key(converterKey)
{
    qRegisterMetaType<VersionInfo>();
}

void VersionChecker::check()
{
    // The worker only fills the shared result; the checker emits it on its own thread, so a
    // checker deleted in the meantime simply never hears back.
    auto result = std::make_shared<VersionInfo>();
    QThread *worker = QThread::create(
        [result, host = Deployment::updateHostUrl(), converter = key] { *result = fetch(host, converter); });
    connect(worker, &QThread::finished, this, [this, result] { Q_EMIT finished(*result); });
    connect(worker, &QThread::finished, worker, &QObject::deleteLater);
    worker->start(QThread::InheritPriority);
}

bool VersionChecker::isNewer(const QString &a, const QString &b)
{
    const QStringList left = a.split(u'.');
    const QStringList right = b.split(u'.');
    const qsizetype length = std::max(left.size(), right.size());
    for (qsizetype i = 0; i < length; ++i) {
        // toLongLong gives 0 for a missing or non-numeric part, which is what we want.
        const qlonglong x = left.value(i).toLongLong();
        const qlonglong y = right.value(i).toLongLong();
        if (x != y)
            return x > y;
    }
    return false;
}

VersionInfo VersionChecker::fetch(const QString &updateHostUrl, const QString &converterKey)
{
    const HttpsResult response = httpsGet(updateHostUrl + u"/releases/version.json"_s, httpsJsonLimit);
    if (!response.ok()) {
        VersionInfo info;
        info.error = tr("Network error: %1").arg(response.error);
        return info;
    }
    return parse(response.body, converterKey);
}

VersionInfo VersionChecker::parse(const QByteArray &json, const QString &converterKey)
{
    VersionInfo info;
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError || !document.isObject()) {
        info.error = tr("Invalid response from update server.");
        return info;
    }

    const QJsonObject entry =
        document.object().value("converters"_L1).toObject().value(converterKey).toObject();
    info.latest = entry.value("latest"_L1).toString();
    info.minVersion = entry.value("min_version"_L1).toString();
    info.released = entry.value("released"_L1).toString();
    info.downloadPath = entry.value("download_path"_L1).toString();
    if (info.latest.isEmpty()) {
        info.error = tr("No version info available for this converter.");
        return info;
    }

    info.updateAvailable = isNewer(info.latest, currentVersion());
    info.belowMinimum = !info.minVersion.isEmpty() && isNewer(info.minVersion, currentVersion());
    return info;
}

QUrl VersionChecker::downloadLink(const QString &downloadPath)
{
    return Deployment::vendorSiteLink(Deployment::isSafeRelativePath(downloadPath) ? downloadPath
                                                                                   : u"/convertors/"_s);
}

bool VersionChecker::isAutomaticCheckDue(QSettings *settings, const QDateTime &now)
{
    if (!settings->value(SettingsKeys::autoCheckUpdates(), SettingsKeys::defaultAutoCheckUpdates).toBool())
        return false;
    const int intervalDays =
        settings->value(SettingsKeys::updateIntervalDays(), SettingsKeys::defaultUpdateIntervalDays).toInt();
    const QDateTime lastCheck = settings->value(SettingsKeys::lastUpdateCheck()).toDateTime();
    // A last check in the future (a clock that was wrong) must not silence the check for good.
    if (!lastCheck.isValid() || lastCheck > now)
        return true;
    // Whole days of 24 hours: QDateTime::daysTo counts midnights, so a check made 6 days and
    // 23 hours ago would already count as 7 days old.
    constexpr qint64 secondsPerDay = 24 * 60 * 60;
    return lastCheck.secsTo(now) / secondsPerDay >= intervalDays;
}
