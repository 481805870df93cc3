#include "online/updatedialogs.h"

#include "common/settingskeys.h"
#include "online/versionchecker.h"

#include <QAbstractButton>
#include <QDateTime>
#include <QDesktopServices>
#include <QMessageBox>
#include <QPushButton>
#include <QSettings>

namespace {

void addOpenSiteButton(QMessageBox *box, const QString &downloadPath)
{
    QPushButton *openSite = box->addButton(UpdateDialogs::tr("Open Site"), QMessageBox::AcceptRole);
    box->addButton(QMessageBox::Close);
    box->setDefaultButton(openSite);
    const QUrl link = VersionChecker::downloadLink(downloadPath);
    QObject::connect(openSite, &QAbstractButton::clicked, box, [link] { QDesktopServices::openUrl(link); });
}

QMessageBox *createBox(QMessageBox::Icon icon, const QString &title, const QString &text, QWidget *parent)
{
    auto *box = new QMessageBox(icon, title, text, QMessageBox::NoButton, parent);
    box->setTextFormat(Qt::RichText);
    box->setAttribute(Qt::WA_DeleteOnClose);
    return box;
}

} // namespace

QMessageBox *UpdateDialogs::createUpdateDialog(const VersionInfo &info, QWidget *parent)
{
    // The versions and date come from the server and go into rich text: escape them.
    const QString latest = info.latest.toHtmlEscaped();
    const QString released = info.released.toHtmlEscaped();
    QMessageBox *box = nullptr;
    if (info.belowMinimum) {
        box = createBox(QMessageBox::Warning, tr("Version No Longer Supported"),
                        tr("Your version <b>18.1.0</b> is below the minimum supported version <b>%1</b>.<br>"
                           "Latest version: <b>%2</b> (released %3).<br><br>"
                           "Please update to continue receiving support.")
                            .arg(info.minVersion.toHtmlEscaped(), latest, released),
                        parent);
    } else {
        box = createBox(QMessageBox::Information, tr("Update Available"),
                        tr("A new version is available: <b>%1</b> (released %2).<br>"
                           "You are currently running version <b>18.1.0</b>.")
                            .arg(latest, released),
                        parent);
    }
    addOpenSiteButton(box, info.downloadPath);
    return box;
}

QMessageBox *UpdateDialogs::createManualCheckDialog(const VersionInfo &info, QWidget *parent)
{
    if (!info.error.isEmpty()) {
        QMessageBox *box =
            createBox(QMessageBox::Warning, tr("Update Check Failed"),
                      tr("Could not check for updates.<br>%1").arg(info.error.toHtmlEscaped()), parent);
        addOpenSiteButton(box, info.downloadPath);
        return box;
    }
    if (info.belowMinimum || info.updateAvailable)
        return createUpdateDialog(info, parent);
    QMessageBox *box = createBox(QMessageBox::Information, tr("No Updates"),
                                 tr("You are running the latest version (18.1.0)."), parent);
    box->addButton(QMessageBox::Ok);
    return box;
}

VersionChecker *UpdateDialogs::startAutomaticCheck(QSettings *settings, const QString &converterKey,
                                                   QWidget *parent)
{
    if (!VersionChecker::isAutomaticCheckDue(settings, QDateTime::currentDateTime()))
        return nullptr;
    auto *checker = new VersionChecker(converterKey, parent);
    QObject::connect(checker, &VersionChecker::finished, parent,
                     [checker, settings, parent](const VersionInfo &info) {
                         checker->deleteLater();
                         settings->setValue(SettingsKeys::lastUpdateCheck(), QDateTime::currentDateTime());
                         if (!info.error.isEmpty() || (!info.belowMinimum && !info.updateAvailable))
                             return;
                         createUpdateDialog(info, parent)->open();
                     });
    checker->check();
    return checker;
}

VersionChecker *UpdateDialogs::startManualCheck(const QString &converterKey, QWidget *parent)
{
    auto *checker = new VersionChecker(converterKey, parent);
    QObject::connect(checker, &VersionChecker::finished, parent, [checker, parent](const VersionInfo &info) {
        checker->deleteLater();
        createManualCheckDialog(info, parent)->open();
    });
    checker->check();
    return checker;
}
