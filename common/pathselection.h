#pragma once

#include <QFileInfoList>
#include <QList>
#include <QString>
#include <QStringList>

class QUrl;

// Paths named together (dropped, given on the command line) sorted into what they can be
// used as: the first folder among them, and the files a converter accepts.
struct PathSelection
{
    QString folder;
    QFileInfoList files;
};

// Paths that do not exist are left out; a file counts when its suffix, in lower case, is one
// of extensions (given without the dot). Folders and files come back as clean absolute paths.
PathSelection selectPaths(const QStringList &paths, const QStringList &extensions);
// The local files among urls, as paths; other schemes are left out.
QStringList localPaths(const QList<QUrl> &urls);
