#include "common/sharppixmap.h"

#include <QDirIterator>
#include <QImageReader>
#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;

class tst_Resources : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void resources();
};

void tst_Resources::resources()
{
    // Pictures but the splash (scaled to the screen) have an "@2x" twin twice their size for sharpPixmap.
    QStringList wrong;
    QString compiled;
    for (QDirIterator it(u":/res"_s, QDir::Files, QDirIterator::Subdirectories); it.hasNext();) {
        const QString path = it.next();
        compiled += u'\n' + path;
        if (QRegularExpression(u"(?<!@2x|splash_screen)\\.png$"_s).match(path).hasMatch() &&
            (QImageReader(path.chopped(4) + u"@2x.png"_s).size() != QImageReader(path).size() * 2 ||
             sharpPixmap(path, 1.5).devicePixelRatio() != 2))
            wrong << path;
    }
    // Each resource path in the sources (not build trees) names a compiled-in file, or its start ("%1").
    const QDir root = QFileInfo(QStringLiteral(KVT_TEST_SOURCE_DIR)).dir();
    QString sources;
    QDirIterator files(root.path(), {u"*.[chq]*"_s}, QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        QFile file(files.next());
        if (!root.relativeFilePath(file.fileName()).contains(u"build/"_s) && file.open(QIODevice::ReadOnly))
            sources += QString::fromUtf8(file.readAll());
    }
    for (const QRegularExpressionMatch &match :
         QRegularExpression(u":/res/[A-Za-z0-9_./@-]*%?"_s).globalMatch(sources)) {
        const QString path = match.captured();
        if (!(path.endsWith(u'%') ? compiled.contains(u'\n' + path.chopped(1)) : QFileInfo::exists(path)))
            wrong << path;
    }
    QVERIFY2(sources.count(u":/res/"_s) > 40, qPrintable(u"next to no sources under "_s + root.path()));
    QCOMPARE(wrong.join(u", "_s), QString());
}

QTEST_MAIN(tst_Resources)
#include "tst_resources.moc"
