#include "conversion/inputfiles.h"

#include <QDir>
#include <QDirIterator>

QFileInfoList listInputFiles(const QString &path, const QStringList &nameFilters, bool singleFile,
                             bool includeSubfolders)
{
    QFileInfoList files;
    if (path.isEmpty())
        return files;
    if (singleFile) {
        const QFileInfo info(path);
        if (info.isFile() && info.exists())
            files.append(info);
    } else if (QDir(path).exists()) {
        if (includeSubfolders) {
            QDirIterator it(path, nameFilters, QDir::Files | QDir::NoSymLinks, QDirIterator::Subdirectories);
            while (it.hasNext())
                files.append(it.nextFileInfo());
        } else {
            QDir dir(path);
            dir.setNameFilters(nameFilters);
            files = dir.entryInfoList(QDir::Files | QDir::NoSymLinks, QDir::NoSort);
        }
    }
    return files;
}
