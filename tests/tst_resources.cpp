#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QRegularExpression>
#include <QSet>
#include <QTest>

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
        const QString text = QString::fromUtf8(source.readAll());
        for (const QRegularExpressionMatch &match : pathPattern.globalMatch(text)) {
            QString path = match.captured();
            if (path.endsWith(u'%'))
                path.back() = u'*';
            if (!found.contains(path))
                found.insert(path, relative);
        }
    }
    return found;
}

QStringList picturesIn(const QString &folder)
{
    QStringList files;
    QDirIterator it(folder, {u"*.png"_s}, QDir::Files);
    while (it.hasNext()) {
        const QString path = it.next();
        if (!path.endsWith("@2x.png"_L1))
            files << path;
    }
    files.sort();
    return files;
}

// Whether some compiled-in file's path starts with prefix.
bool resourceWithPrefixExists(const QString &prefix)
{
    QDirIterator it(u":/res"_s, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        if (it.next().startsWith(prefix))
            return true;
    }
    return false;
}

QSize imageSize(const QString &path)
{
    return QImageReader(path).size();
}

} // namespace

class tst_Resources : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyPathInTheCodeIsCompiledIn();
    void highDpiVariantsAreTwiceAsLarge_data();
    void highDpiVariantsAreTwiceAsLarge();
    void pictureSizes_data();
    void pictureSizes();
    void whiteButtonIconsAreWhite();
};

void tst_Resources::everyPathInTheCodeIsCompiledIn()
{
    const QString root = QFileInfo(QStringLiteral(KVT_TEST_SOURCE_DIR)).dir().absolutePath();
    const QHash<QString, QString> paths = resourcePathsInSources(root);
    // A walk that found next to nothing looked in the wrong place.
    QVERIFY2(paths.size() > 40,
             qPrintable(u"only %1 resource paths found under %2"_s.arg(paths.size()).arg(root)));

    QStringList missing;
    for (auto it = paths.cbegin(); it != paths.cend(); ++it) {
        const QString &path = it.key();
        // A bare folder (":/res/png/" + name) must exist as a folder of the resources, and the
        // fixed part of a file name built from a placeholder must begin some file's name.
        bool present = false;
        if (path.endsWith(u'*'))
            present = resourceWithPrefixExists(path.chopped(1));
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

void tst_Resources::highDpiVariantsAreTwiceAsLarge_data()
{
    QTest::addColumn<QString>("path");
    QStringList pictures = picturesIn(u":/res/style/icons"_s) + picturesIn(u":/res/png"_s);
    // The splash is scaled to the screen by the program, so it has one large picture only.
    pictures.removeAll(u":/res/png/splash_screen.png"_s);
    QVERIFY(pictures.size() > 40);
    for (const QString &path : std::as_const(pictures))
        QTest::addRow("%s", qPrintable(path.mid(6))) << path;
}

void tst_Resources::highDpiVariantsAreTwiceAsLarge()
{
    QFETCH(QString, path);
    QString highDpi = path;
    highDpi.replace(".png"_L1, "@2x.png"_L1);
    const QSize base = imageSize(path);
    QVERIFY2(base.isValid(), "unreadable picture");
    QVERIFY2(QFile::exists(highDpi), "no @2x variant");
    QCOMPARE(imageSize(highDpi), base * 2);
}

void tst_Resources::pictureSizes_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QSize>("size");
    for (const QString &name :
         {u"excel_plugin"_s, u"chatgpt_and_llm"_s, u"versions_kvt"_s, u"revit_back_import"_s})
        QTest::addRow("banner %s", qPrintable(name)) << u":/res/png/%1.png"_s.arg(name) << QSize(300, 83);
    // The converters' title pictures are shown in one place and must line up.
    for (const QString &name : {u"revit"_s, u"ifc"_s, u"dwg"_s, u"dgn"_s, u"rvt2ifc"_s})
        QTest::addRow("title %s", qPrintable(name))
            << u":/res/png/title_%1.png"_s.arg(name) << QSize(320, 56);
    QTest::addRow("e-mail notice") << u":/res/png/email.png"_s << QSize(16, 16);
    QTest::addRow("warning notice") << u":/res/png/warning.png"_s << QSize(16, 16);
}

void tst_Resources::pictureSizes()
{
    QFETCH(QString, path);
    QFETCH(QSize, size);
    QCOMPARE(imageSize(path), size);
}

void tst_Resources::whiteButtonIconsAreWhite()
{
    // The run button's glyphs sit on a coloured face; a neutral-grey render would vanish there.
    for (const QString &path :
         {u":/res/style/icons/play-white.png"_s, u":/res/style/icons/square-white.png"_s}) {
        const QImage image(path);
        QVERIFY2(!image.isNull(), qPrintable(path));
        int opaque = 0;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                const QColor c = image.pixelColor(x, y);
                if (c.alpha() < 200)
                    continue;
                ++opaque;
                QVERIFY2(c.red() > 240 && c.green() > 240 && c.blue() > 240, qPrintable(path));
            }
        }
        QVERIFY2(opaque > image.width() * image.height() / 8, qPrintable(path));
    }
}

QTEST_GUILESS_MAIN(tst_Resources)
#include "tst_resources.moc"
