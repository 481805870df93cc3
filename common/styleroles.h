#pragma once

#include <QVariant>

class QWidget;

// Sets a property the style sheets select on (such as "textRole" = "error") and re-polishes
// the widget, since a style sheet does not notice a property change by itself.
void setStyleRole(QWidget *widget, const char *role, const QVariant &value);
