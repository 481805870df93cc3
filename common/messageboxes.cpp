#include "common/messageboxes.h"

#include <QMessageBox>

MessageBoxes MessageBoxes::native()
{
    MessageBoxes boxes;
    boxes.showError = [](QWidget *parent, const QString &text) {
        QMessageBox box(QMessageBox::Critical, tr("Error"), text, QMessageBox::NoButton, parent);
        box.addButton(tr("OK"), QMessageBox::AcceptRole);
        box.exec();
    };
    boxes.ask = [](QWidget *parent, const QString &text, QMessageBox::StandardButtons buttons,
                   QMessageBox::StandardButton defaultButton) {
        QMessageBox box(QMessageBox::Information, tr("Info"), text, buttons, parent);
        box.setDefaultButton(defaultButton);
        return static_cast<QMessageBox::StandardButton>(box.exec());
    };
    return boxes;
}
