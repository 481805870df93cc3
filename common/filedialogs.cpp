#include "common/filedialogs.h"

#include <QFileDialog>

FileDialogs FileDialogs::native()
{
    FileDialogs dialogs;
    dialogs.openFileName = [](QWidget *parent, const QString &caption, const QString &dir,
                              const QString &filter) {
        return QFileDialog::getOpenFileName(parent, caption, dir, filter);
    };
    dialogs.openFileNames = [](QWidget *parent, const QString &caption, const QString &dir,
                               const QString &filter) {
        return QFileDialog::getOpenFileNames(parent, caption, dir, filter);
    };
    dialogs.existingDirectory = [](QWidget *parent, const QString &caption, const QString &dir) {
        return QFileDialog::getExistingDirectory(parent, caption, dir, QFileDialog::ShowDirsOnly);
    };
    return dialogs;
}
