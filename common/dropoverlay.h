#pragma once

#include <QString>
#include <QWidget>

class QLabel;

// A hint laid over a rectangle of its host while an acceptable drag hovers there: an icon
// and one line of text telling the user what the drop will do. It never takes the drop
// itself; the host keeps receiving the drag events.
class DropOverlay final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(DropOverlay)

public:
    explicit DropOverlay(QWidget *host);

    void showOver(const QRect &area, const QString &text, const QString &pixmapPath);

    QString text() const;
    QString pixmapPath() const { return currentPixmapPath; }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QLabel *iconLabel;
    QLabel *textLabel;
    QString currentPixmapPath;
};
