#include "common/showinfolder.h"

#include <QDir>
#include <QProcess>

using namespace Qt::StringLiterals;

void showFileInFolder(const QString &absolutePath)
{
    QProcess::startDetached(u"explorer.exe"_s, {u"/select,"_s, QDir::toNativeSeparators(absolutePath)});
}
