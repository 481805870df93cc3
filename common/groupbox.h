#pragma once

#include <QString>

class QGridLayout;
class QGroupBox;
class QWidget;

// The group box a panel shows for the current converter, made anew when the converter
// changes: the old box goes, a new titled one fills the panel (whose layout must exist),
// and its grid comes back for the caller to fill.
QGridLayout *replaceGroupBox(QWidget *panel, QGroupBox *&group, const QString &title,
                             const QString &objectName);
