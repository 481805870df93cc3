#pragma once

#include "common/pathselection.h"

#include <QString>
#include <QWidget>

class QDragEnterEvent;
class QLabel;
class QMimeData;

// A hint laid over its host while an acceptable drag hovers there: an icon and one line of
// text telling the user what the drop will do. It never takes the drop itself; the host
// keeps receiving the drag events, and the hint goes when the drag leaves or drops.
class DropOverlay final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(DropOverlay)

public:
    explicit DropOverlay(QWidget *host);

    void showOver(const QRect &area, const QString &text, const QString &pixmapPath);

    // What a drag or drop of this data would bring: its local paths, sorted.
    static PathSelection dropped(const QMimeData *data, const QStringList &extensions);
    // For the host's drag-enter: accepts a drag that brings a folder or files and shows
    // what it would drop; ignores anything else.
    void offer(QDragEnterEvent *event, const PathSelection &selection);

    QString text() const;
    QString pixmapPath() const { return currentPixmapPath; }

protected:
    void paintEvent(QPaintEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    QLabel *iconLabel;
    QLabel *textLabel;
    QString currentPixmapPath;
};
