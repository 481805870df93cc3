#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QString>

// Writes `text` to `relative` below `folder`, making the folders on the way; the file's
// absolute path.
inline QString writeTestFile(const QString &folder, const QString &relative, const QByteArray &text)
{
    const QString path = QDir(folder).filePath(relative);
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(text);
    return QFileInfo(path).absoluteFilePath();
}
