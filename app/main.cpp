#include "conversion/converterinfo.h"

#include <QApplication>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLabel>

using namespace Qt::StringLiterals;

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    const ConverterInfo info = makeRevitConverterInfo(true);
    QApplication::setApplicationName(info.displayName);

    const QDir appDir(QCoreApplication::applicationDirPath());
    QString path = appDir.filePath(u"kavantolibs/"_s + info.executable);
    if (!QFileInfo::exists(path))
        path = appDir.filePath(info.executable);

    QLabel window(QCoreApplication::translate("main", "%1\nConverter: %2").arg(info.displayName, path));
    window.setWindowTitle(info.displayName);
    window.setMargin(24);
    window.show();
    return app.exec();
}
