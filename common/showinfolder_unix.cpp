#include "common/showinfolder.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QFileInfo>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace {

// Long enough for a file manager that has to start first, short enough that a hung
// bus never leaves the click without an answer.
constexpr int showItemsTimeoutMs = 2000;

void openFolderOf(const QString &absolutePath)
{
    QDesktopServices::openUrl(QUrl::fromLocalFile(QFileInfo(absolutePath).absolutePath()));
}

} // namespace

void showFileInFolder(const QString &absolutePath)
{
    // Without a session bus (a bare X session, a container) only the folder can be opened.
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        openFolderOf(absolutePath);
        return;
    }
    QDBusMessage call =
        QDBusMessage::createMethodCall(u"org.freedesktop.FileManager1"_s, u"/org/freedesktop/FileManager1"_s,
                                       u"org.freedesktop.FileManager1"_s, u"ShowItems"_s);
    call << QStringList{QUrl::fromLocalFile(absolutePath).toString()} << QString();
    // Asynchronous, so the GUI never waits on the bus; no file manager service means
    // an error reply and the folder fallback.
    auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(call, showItemsTimeoutMs));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher,
                     [absolutePath](QDBusPendingCallWatcher *finished) {
                         if (finished->isError())
                             openFolderOf(absolutePath);
                         finished->deleteLater();
                     });
}
