#pragma once

// Drag and drop as the desktop delivers it, and the temporary files and panels it is tried on.

#include "common/dialogs.h"

#include <QDir>
#include <QDropEvent>
#include <QMimeData>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

namespace DropTesting {

// Drag data carrying the paths as local file URLs.
inline void setPaths(QMimeData &mime, const QStringList &paths)
{
    QList<QUrl> urls;
    for (const QString &path : paths)
        urls.append(QUrl::fromLocalFile(path));
    mime.setUrls(urls);
}

inline bool dragEnter(QWidget *target, const QMimeData *mime)
{
    QDragEnterEvent enter(target->rect().center(), Qt::CopyAction, mime, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(target, &enter);
    return enter.isAccepted();
}

inline void dragLeave(QWidget *target)
{
    QDragLeaveEvent leave;
    QCoreApplication::sendEvent(target, &leave);
}

// Enter, then drop if the enter was accepted (otherwise leave, as the desktop would).
// True when the drop was taken.
inline bool dragAndDrop(QWidget *target, const QMimeData *mime)
{
    if (!dragEnter(target, mime)) {
        dragLeave(target);
        return false;
    }
    QDropEvent drop(QPointF(target->rect().center()), Qt::CopyAction, mime, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(target, &drop);
    return drop.isAccepted();
}

// Creates the file (and its folders) with `size` bytes.
inline bool writeFile(const QString &path, qint64 size = 100)
{
    QFile file(path);
    return QDir().mkpath(QFileInfo(path).absolutePath()) &&
           file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(QByteArray(size, 'x')) == size;
}

// A temporary folder the tests name paths in relative to it.
struct Folder : QTemporaryDir
{
    QString path(const QString &relative) const { return QDir::cleanPath(filePath(relative)); }
    QStringList paths(const QStringList &relatives) const
    {
        QStringList result;
        for (const QString &relative : relatives)
            result.append(path(relative));
        return result;
    }
};

// A shown panel with its own settings file and scripted dialogs, over a folder holding these
// files and folders (a name ending in '/' is a folder).
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
