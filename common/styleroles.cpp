#include "common/styleroles.h"

#include <QStyle>
#include <QWidget>

void setStyleRole(QWidget *widget, const char *role, const QVariant &value)
{
    if (widget->property(role) == value)
        return;
    widget->setProperty(role, value);
    widget->style()->unpolish(widget);
    widget->style()->polish(widget);
    widget->update();
}
