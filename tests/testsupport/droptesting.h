#pragma once

#include "common/dialogs.h"
#include "common/dropoverlay.h"

#include <QDir>
#include <QDropEvent>
#include <QMimeData>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

namespace DropTesting {

// Creates the file (and its folders) with `size` bytes.
inline bool writeFile(const QString &path, qint64 size = 100)
{
    QFile file(path);
    return QDir().mkpath(QFileInfo(path).absolutePath()) &&
           file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(QByteArray(size, 'x')) == size;
}

struct Folder : QTemporaryDir
{
    QString path(const QString &relative) const { return QDir::cleanPath(filePath(relative)); }

    // Drags these paths over the target, away, and back to drop them where accepted, as the
    // desktop does. Returns the hint shown over the whole target meanwhile (empty: refused), with
    // a note when hint and acceptance disagree, the hint stays, or an accepted drag's drop is not.
    QString dragAndDrop(QWidget *target, const QStringList &relatives) const
    {
        QMimeData mime;
        for (const QString &relative : relatives)
            mime.setUrls(mime.urls() << QUrl::fromLocalFile(path(relative)));
        const auto *hint = target->findChild<DropOverlay *>();
        const auto shown = [&] { return hint && hint->isVisible() && hint->geometry() == target->rect(); };
        const auto send = [&](QEvent &&event) {
            QCoreApplication::sendEvent(target, &event);
            return event.isAccepted();
        };
        const bool accepted = send(QDragEnterEvent({}, Qt::CopyAction, &mime, Qt::LeftButton, {}));
        QString result = shown() ? hint->text() : QString();
        send(QDragLeaveEvent());
        const bool amiss = shown() || accepted == result.isEmpty();
        if (accepted && send(QDragEnterEvent({}, Qt::CopyAction, &mime, Qt::LeftButton, {})) &&
            !send(QDropEvent({}, Qt::CopyAction, &mime, Qt::LeftButton, {})))
            result += QStringLiteral(" (drop refused)");
        return result + (amiss || shown() ? QStringLiteral(" (hint amiss)") : QString());
    }
};

// A shown panel with its own settings and scripted dialogs, over a folder of these entries ("x/": a folder).
template <typename Panel> struct PanelFixture : Folder
{
    QSettings settings{filePath(QStringLiteral("settings.ini")), QSettings::IniFormat};
    Dialogs dialogs;
    Panel panel{&settings, &dialogs};

    explicit PanelFixture(const QStringList &entries)
    {
        for (const QString &entry : entries)
            QVERIFY(entry.endsWith(u'/') ? QDir().mkpath(path(entry)) : writeFile(path(entry)));
        dialogs.setScripted();
        panel.show();
    }
};

} // namespace DropTesting
