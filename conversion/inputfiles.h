#pragma once

#include <QFileInfoList>
#include <QString>
#include <QStringList>

// The files a batch's input stands for: the file itself, or the files of a folder (and, when
// asked, of its subfolders) that match the converter's name filters. Symbolic links are left
// out. The window's scanner and the headless command walk the disk through this one function.
QFileInfoList listInputFiles(const QString &path, const QStringList &nameFilters, bool singleFile,
                             bool includeSubfolders);
