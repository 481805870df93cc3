#include "common/groupbox.h"

#include <QGridLayout>
#include <QGroupBox>
#include <QLayout>

QGridLayout *replaceGroupBox(QWidget *panel, QGroupBox *&group, const QString &title,
                             const QString &objectName)
{
    delete group;
    group = new QGroupBox(title, panel);
    group->setObjectName(objectName);
    auto *grid = new QGridLayout(group);
    grid->setContentsMargins(10, 5, 10, 5);
    panel->layout()->addWidget(group);
    return grid;
}
