#include "online/bannerlabel.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

BannerLabel::BannerLabel(QWidget *parent)
    : QLabel(parent)
{
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::TabFocus);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void BannerLabel::setBanner(const QPixmap &banner)
{
    picture = banner;
    update();
}

QSize BannerLabel::sizeHint() const
{
    return displaySize;
}

QSize BannerLabel::minimumSizeHint() const
{
    return {displaySize.width() / 2, displaySize.height()};
}

void BannerLabel::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);

    const QSizeF source = picture.isNull() ? QSizeF(displaySize) : picture.deviceIndependentSize();
    QSizeF target = source.scaled(QSizeF(size()), Qt::KeepAspectRatio);
    const QRectF area((width() - target.width()) / 2, (height() - target.height()) / 2, target.width(),
                      target.height());
    QPainterPath rounded;
    rounded.addRoundedRect(area, 4, 4);

    if (picture.isNull()) {
        // Drawn from the text colour, which the themes set, so it stays quiet in both.
        QColor ink = palette().color(QPalette::WindowText);
        ink.setAlpha(60);
        painter.setPen(QPen(ink, 1));
        ink.setAlpha(18);
        painter.setBrush(ink);
        painter.drawPath(rounded);
    } else {
        painter.setClipPath(rounded);
        painter.drawPixmap(area, picture, QRectF(QPointF(0, 0), QSizeF(picture.size())));
    }
    if (hasFocus()) {
        painter.setClipping(false);
        painter.setPen(QPen(palette().color(QPalette::Highlight), 2));
        painter.setBrush(Qt::NoBrush);
        painter.drawPath(rounded);
    }
}

void BannerLabel::mousePressEvent(QMouseEvent *event)
{
    pressed = event->button() == Qt::LeftButton;
    event->accept();
}

void BannerLabel::mouseReleaseEvent(QMouseEvent *event)
{
    // Like a button: only a press and release both on the banner counts.
    const bool click =
        pressed && event->button() == Qt::LeftButton && rect().contains(event->position().toPoint());
    pressed = false;
    event->accept();
    if (click)
        Q_EMIT clicked();
}

void BannerLabel::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Space || event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        event->accept();
        Q_EMIT clicked();
        return;
    }
    QLabel::keyPressEvent(event);
}
