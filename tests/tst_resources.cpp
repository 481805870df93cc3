#include "common/sharppixmap.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QRegularExpression>
#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

// Every resource path written in the sources, with the first file that names it. A path
// followed by a placeholder (":/res/png/%1.png") is kept with a trailing "*" as a prefix.
QHash<QString, QString> resourcePathsInSources(const QString &root)
{
    static const QRegularExpression pathPattern(u":/res/[A-Za-z0-9_./@-]*(%)?"_s);
    QHash<QString, QString> found;
    QDirIterator it(root, {u"*.cpp"_s, u"*.h"_s, u"*.qss"_s, u"*.qss.in"_s}, QDir::Files,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString file = it.next();
        const QString relative = QDir(root).relativeFilePath(file);
        // Build trees hold generated copies; the resource compiler's output names every file.
        if (relative.startsWith("build"_L1) || relative.startsWith(".git/"_L1) ||
            relative.contains("/build"_L1))
            continue;
        QFile source(file);
        if (!source.open(QIODevice::ReadOnly | QIODevice::Text))
            continue;
        for (const QRegularExpressionMatch &match :
             pathPattern.globalMatch(QString::fromUtf8(source.readAll()))) {
            QString path = match.captured();
            if (path.endsWith(u'%'))
                path.back() = u'*';
            if (!found.contains(path))
                found.insert(path, relative);
        }
    }
    return found;
}

} // namespace

class tst_Resources : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyPathInTheCodeIsCompiledIn();
    void highDpiVariantsAreTwiceAsLarge();
    void sharpPixmapPicksTheTwinOnHighDpi_data();
    void sharpPixmapPicksTheTwinOnHighDpi();
};

void tst_Resources::everyPathInTheCodeIsCompiledIn()
{
    const QString root = QFileInfo(QStringLiteral(KVT_TEST_SOURCE_DIR)).dir().absolutePath();
    const QHash<QString, QString> paths = resourcePathsInSources(root);
    // A walk that found next to nothing looked in the wrong place.
    QVERIFY2(paths.size() > 40,
             qPrintable(u"only %1 resource paths found under %2"_s.arg(paths.size()).arg(root)));
    QStringList compiled;
    for (QDirIterator it(u":/res"_s, QDir::Files, QDirIterator::Subdirectories); it.hasNext();)
        compiled << it.next();

    QStringList missing;
    for (auto it = paths.cbegin(); it != paths.cend(); ++it) {
        const QString &path = it.key();
        // A bare folder must exist as a folder, and the fixed part of a name built from a
        // placeholder must begin some file's name.
        bool present = false;
        if (path.endsWith(u'*'))
            present = std::any_of(compiled.cbegin(), compiled.cend(),
                                  [&](const QString &file) { return file.startsWith(path.chopped(1)); });
        else if (path.endsWith(u'/'))
            present = QFileInfo(path).isDir();
        else
            present = QFile::exists(path);
        if (!present)
            missing << u"%1 (named in %2)"_s.arg(path, it.value());
    }
    missing.sort();
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
    QTest::addRow("scale 2 takes the twin") << u":/res/png/title_revit.png"_s << 2.0 << 2.0;
    QTest::addRow("fractional scale takes the twin") << u":/res/png/title_left_side.png"_s << 1.5 << 2.0;
    QTest::addRow("no twin falls back") << u":/res/png/splash_screen.png"_s << 2.0 << 1.0;
}

void tst_Resources::sharpPixmapPicksTheTwinOnHighDpi()
{
    QFETCH(QString, path);
    QFETCH(qreal, ratio);
    QFETCH(qreal, expectedRatio);
    const QPixmap plain(path);
    QVERIFY(!plain.isNull());
    const QPixmap sharp = sharpPixmap(path, ratio);
    QCOMPARE(sharp.devicePixelRatio(), expectedRatio);
    // Whatever file it came from, the picture takes the same room on screen.
    QCOMPARE(sharp.deviceIndependentSize().toSize(), plain.size());
}

QTEST_MAIN(tst_Resources)
#include "tst_resources.moc"
