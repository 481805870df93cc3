#include "common/sharppixmap.h"

#include <QDirIterator>
#include <QImageReader>
#include <QRegularExpression>
#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;

class tst_Resources : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyPathInTheCodeIsCompiledIn();
    void highDpiVariantsAreTwiceAsLarge();
    void sharpPixmapPicksTheTwinOnHighDpi_data();
    void sharpPixmapPicksTheTwinOnHighDpi();
};

// Every resource path written in the sources must name a compiled-in file; a bare folder must
// be a folder, and the fixed part of a name built from a placeholder (":/res/png/%1.png")
// must begin some file's name.
void tst_Resources::everyPathInTheCodeIsCompiledIn()
{
    const QDir root = QFileInfo(QStringLiteral(KVT_TEST_SOURCE_DIR)).dir();
    static const QRegularExpression pathPattern(u":/res/[A-Za-z0-9_./@-]*(%)?"_s);
    QStringList compiled;
    for (QDirIterator it(u":/res"_s, QDir::Files, QDirIterator::Subdirectories); it.hasNext();)
        compiled << it.next();
    QStringList missing;
    qsizetype found = 0;
    QDirIterator it(root.path(), {u"*.cpp"_s, u"*.h"_s, u"*.qss"_s, u"*.qss.in"_s}, QDir::Files,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString relative = root.relativeFilePath(it.next());
        // Build trees hold generated copies; the resource compiler's output names every file.
        if (relative.startsWith("build"_L1) || relative.startsWith(".git/"_L1) ||
            relative.contains("/build"_L1))
            continue;
        QFile source(it.filePath());
        QVERIFY(source.open(QIODevice::ReadOnly));
        for (const QRegularExpressionMatch &match :
             pathPattern.globalMatch(QString::fromUtf8(source.readAll()))) {
            const QString path = match.captured();
            ++found;
            bool present = false;
            if (path.endsWith(u'%'))
                present = std::any_of(compiled.cbegin(), compiled.cend(),
                                      [&](const QString &file) { return file.startsWith(path.chopped(1)); });
            else
                present = path.endsWith(u'/') ? QFileInfo(path).isDir() : QFile::exists(path);
            if (!present)
                missing << u"%1 (named in %2)"_s.arg(path, relative);
        }
    }
    // A walk that found next to nothing looked in the wrong place.
    QVERIFY2(found > 40, qPrintable(u"only %1 resource paths found under %2"_s.arg(found).arg(root.path())));
    QVERIFY2(missing.isEmpty(), qPrintable(missing.join(u'\n')));
}

void tst_Resources::highDpiVariantsAreTwiceAsLarge()
{
    int checked = 0;
    for (const QString &folder : {u":/res/style/icons"_s, u":/res/png"_s}) {
        for (QDirIterator it(folder, {u"*.png"_s}, QDir::Files); it.hasNext();) {
            const QString path = it.next();
            // The splash is scaled to the screen by the program, so it has one large picture only.
            if (path.endsWith("@2x.png"_L1) || path == ":/res/png/splash_screen.png"_L1)
                continue;
            const QSize base = QImageReader(path).size();
            QVERIFY2(base.isValid(), qPrintable(path));
            QCOMPARE(QImageReader(QString(path).replace(".png"_L1, "@2x.png"_L1)).size(), base * 2);
            ++checked;
        }
    }
    QVERIFY(checked > 40);
}

void tst_Resources::sharpPixmapPicksTheTwinOnHighDpi_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<qreal>("ratio");
    QTest::addColumn<qreal>("expectedRatio");
    QTest::addRow("scale 1 takes the picture") << u":/res/png/title_revit.png"_s << 1.0 << 1.0;
    QTest::addRow("fractional scale takes the twin") << u":/res/png/title_left_side.png"_s << 1.5 << 2.0;
    QTest::addRow("no twin falls back") << u":/res/png/splash_screen.png"_s << 2.0 << 1.0;
}

void tst_Resources::sharpPixmapPicksTheTwinOnHighDpi()
{
    QFETCH(QString, path);
    QFETCH(qreal, ratio);
    QFETCH(qreal, expectedRatio);
    const QPixmap sharp = sharpPixmap(path, ratio);
    QCOMPARE(sharp.devicePixelRatio(), expectedRatio);
    // Whatever file it came from, the picture takes the same room on screen.
    QCOMPARE(sharp.deviceIndependentSize().toSize(), QPixmap(path).size());
    QVERIFY(!sharp.isNull());
}

QTEST_MAIN(tst_Resources)
#include "tst_resources.moc"
