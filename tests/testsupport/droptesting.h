#pragma once

// Drag and drop as the desktop delivers it: an enter event and, only when that was
// accepted, the drop on the same target. Plus small file helpers for the panels' tests.

#include <QCoreApplication>
#include <QDir>
#include <QDragEnterEvent>
#include <QDragLeaveEvent>
#include <QDropEvent>
#include <QFile>
#include <QFileInfo>
#include <QMimeData>
#include <QStringList>
#include <QUrl>
#include <QWidget>

namespace DropTesting {

inline QList<QUrl> localUrls(const QStringList &paths)
{
    QList<QUrl> urls;
    for (const QString &path : paths)
        urls.append(QUrl::fromLocalFile(path));
    return urls;
}

inline constexpr Qt::DropActions offeredActions = Qt::CopyAction | Qt::MoveAction | Qt::LinkAction;

inline bool dragEnter(QWidget *target, const QMimeData *mime)
{
    QDragEnterEvent enter(target->rect().center(), offeredActions, mime, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(target, &enter);
    return enter.isAccepted();
}

inline void dragLeave(QWidget *target)
{
    QDragLeaveEvent leave;
    QCoreApplication::sendEvent(target, &leave);
}

struct DropOutcome
{
    bool entered = false;
    bool dropped = false;
};

// Enter, then drop if the enter was accepted (otherwise leave, as the desktop would).
inline DropOutcome dragAndDrop(QWidget *target, const QMimeData *mime)
{
    DropOutcome outcome;
    outcome.entered = dragEnter(target, mime);
    if (!outcome.entered) {
        dragLeave(target);
        return outcome;
    }
    QDropEvent drop(QPointF(target->rect().center()), offeredActions, mime, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(target, &drop);
    outcome.dropped = drop.isAccepted();
    return outcome;
}

inline DropOutcome dragAndDrop(QWidget *target, const QList<QUrl> &urls)
{
    QMimeData mime;
    mime.setUrls(urls);
    return dragAndDrop(target, &mime);
}

// Creates the file (and its folders) with `size` bytes.
inline bool writeFile(const QString &path, qint64 size = 100)
{
    if (!QDir().mkpath(QFileInfo(path).absolutePath()))
        return false;
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    return file.write(QByteArray(size, 'x')) == size;
}

} // namespace DropTesting
