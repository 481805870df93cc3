#include "online/dotwidget.h"

#include <QMouseEvent>
#include <QPainter>

using namespace Qt::StringLiterals;

DotWidget::DotWidget(QWidget *parent)
    : QWidget(parent)
{
    setFixedSize(8, 8);
    setCursor(Qt::PointingHandCursor);
}

void DotWidget::setCurrent(bool value)
{
    if (current == value)
        return;
    current = value;
    update();
}

QColor DotWidget::color() const
{
    return QColor(current ? u"#0078D7"_s : u"#cccccc"_s);
}

void DotWidget::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color());
    painter.drawEllipse(rect());
}

void DotWidget::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton && rect().contains(event->position().toPoint()))
        Q_EMIT clicked();
    event->accept();
}
