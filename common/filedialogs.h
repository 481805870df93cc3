#pragma once

#include <QString>
#include <QStringList>

#include <functional>

class QWidget;

// The file and folder choosers the panels use. Production code takes the native dialogs;
// tests put in functions that answer at once, so no human is needed.
struct FileDialogs
{
    std::function<QString(QWidget *parent, const QString &caption, const QString &dir, const QString &filter)>
        openFileName;
    std::function<QStringList(QWidget *parent, const QString &caption, const QString &dir,
                              const QString &filter)>
        openFileNames;
    std::function<QString(QWidget *parent, const QString &caption, const QString &dir)> existingDirectory;

    static FileDialogs native();
};
