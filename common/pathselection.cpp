#include "common/pathselection.h"

#include <QDir>
#include <QFileInfo>
#include <QUrl>

PathSelection selectPaths(const QStringList &paths, const QStringList &extensions)
{
    PathSelection selection;
    for (const QString &path : paths) {
        const QFileInfo info(path);
        if (path.isEmpty() || !info.exists())
            continue;
        const QString absolute = QDir::cleanPath(info.absoluteFilePath());
        if (info.isDir()) {
            if (selection.folder.isEmpty())
                selection.folder = absolute;
        } else if (extensions.contains(info.suffix().toLower())) {
            selection.files.append(QFileInfo(absolute));
        }
    }
    return selection;
}

QStringList localPaths(const QList<QUrl> &urls)
{
    QStringList paths;
    for (const QUrl &url : urls) {
        if (url.isLocalFile())
            paths.append(url.toLocalFile());
    }
    return paths;
}
