#include "common/settingskeys.h"
#include "online/bannercache.h"
#include "online/bannerentry.h"
#include "online/bannerwidget.h"
#include "online/dotwidget.h"
#include "online/httpsclient.h"
#include "testsupport/tlstestserver.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSettings>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

QByteArray pngOf(const QColor &colour, QSize size = {30, 8}, QImage::Format format = QImage::Format_RGB32)
{
    QImage image(size, format);
    image.fill(colour);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

QString sha256(const QByteArray &bytes)
{
    return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
}

// One banner as the host lists it, with `key` set to `value` (by default, what it has anyway).
QJsonObject banner(const QString &id, int position, const QString &hash = {}, const QString &imageUrl = {},
                   QLatin1StringView key = "click_url"_L1, const QJsonValue &value = u"/x/"_s)
{
    QJsonObject object{
        {"id"_L1, id}, {"position"_L1, position}, {"hash"_L1, hash}, {"image_url"_L1, imageUrl}};
    object.insert("click_url"_L1, u"/x/"_s);
    object.insert("fallback"_L1, u"excel_plugin"_s);
    object.insert(key, value);
    return object;
}

QByteArray bannerJson(const QJsonArray &banners)
{
    return QJsonDocument(QJsonObject{{"banners"_L1, banners}, {"version"_L1, 3}}).toJson();
}

QStringList idsOf(const QList<BannerEntry> &entries)
{
    QStringList ids;
    for (const BannerEntry &e : entries)
        ids.append(e.id);
    return ids;
}

// Ids that a careless file name would merge, turn into a path or a device, or make too long.
const QStringList awkwardIds{u"a/b"_s,      u"a_b"_s,    u"a%2Fb"_s,        u"a\\b"_s,        u"A_b"_s,
                             u"CON"_s,      u"con"_s,    u"x:y"_s,          u".."_s,          u""_s,
                             u"LPT1.png"_s, u"баннер"_s, QString(64, u'a'), QString(65, u'a')};

} // namespace

class tst_Banners : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY2(tls.start(), qPrintable(tls.error)); }
    void init();
    void cacheStem_data();
    void cacheStem();
    void fetchVerifiesAndCaches_data();
    void fetchVerifiesAndCaches();
    void fetchedListIsShownAndKept();

private:
    BannerWidget *makeWidget();
    TlsTestServer &server() { return tls.server(); }

    TlsFixture tls;
    std::unique_ptr<QTemporaryDir> dir;
    std::unique_ptr<QSettings> settings;
    std::unique_ptr<QWidget> window;
};

void tst_Banners::init()
{
    server().clearRecords();
    dir = std::make_unique<QTemporaryDir>();
    settings = std::make_unique<QSettings>(dir->filePath(u"settings.ini"_s), QSettings::IniFormat);
    window = std::make_unique<QWidget>();
}

BannerWidget *tst_Banners::makeWidget()
{
    auto *widget = new BannerWidget(settings.get(), window.get());
    widget->setCacheDirectory(dir->filePath(u"banners"_s));
    widget->setConverterId(u"revit"_s);
    return widget;
}

void tst_Banners::cacheStem_data()
{
    QTest::addColumn<QString>("id");
    for (const QString &id : awkwardIds)
        QTest::addRow("\"%s\"", qPrintable(id)) << id;
}

// Windows folds case, takes CON, LPT1 and the like for devices whatever follows a dot, and reads
// ':' its own way: a stem must be safe from all that, short, and still the stem of one id only.
void tst_Banners::cacheStem()
{
    QFETCH(QString, id);
    const QString stem = BannerEntry::cacheStem(id);
    const QRegularExpression safe(u"^(?!(con|prn|aux|nul|com\\d|lpt\\d)(\\.|$))[a-z0-9_%-]{1,%1}$"_s.arg(
                                      BannerEntry::maxCacheStemLength),
                                  QRegularExpression::CaseInsensitiveOption);
    QVERIFY2(safe.match(stem).hasMatch(), qPrintable(stem));
    for (const QString &other : awkwardIds)
        if (other != id)
            QCOMPARE_NE(stem.toLower(), BannerEntry::cacheStem(other).toLower());
}

void tst_Banners::fetchVerifiesAndCaches_data()
{
    QTest::addColumn<QByteArray>("served");
    QTest::addColumn<QString>("imageUrl");
    QTest::addColumn<bool>("hashMatches");
    QTest::addColumn<bool>("kept"); // shown, cached, and not downloaded again
    const QByteArray green = pngOf(Qt::green);
    const QString a = u"/img/a.png"_s;
    const QByteArray huge = pngOf(Qt::color0, {5700, 5700}, QImage::Format_Mono); // a few kilobytes
    QTest::addRow("verified") << green << a << true << true;
    QTest::addRow("wrong SHA-256") << green << a << false << false;
    QTest::addRow("not a picture") << QByteArray("text") << a << true << false;
    QTest::addRow("too many bytes") << QByteArray(httpsImageLimit + 1, 'p') << a << true << false;
    QTest::addRow("image url with user info") << green << u"@evil.example.net/a.png"_s << true << false;
    QTest::addRow("four times the banner") << pngOf(Qt::green, {1200, 332}) << a << true << true;
    QTest::addRow("a pixel taller") << pngOf(Qt::green, {1200, 333}) << a << true << false;
    QTest::addRow("5700 x 5700") << huge << a << true << false;
}

void tst_Banners::fetchVerifiesAndCaches()
{
    QFETCH(QByteArray, served);
    QFETCH(QString, imageUrl);
    QFETCH(bool, hashMatches);
    QFETCH(bool, kept);
    const QByteArray json =
        bannerJson({banner(u"one"_s, 0, sha256(hashMatches ? served : "other"), imageUrl)});
    server().setBody(u"/banners/banners.json"_s, json);
    server().setBody(u"/img/a.png"_s, served);
    const BannerEntry one = BannerEntry::listFromJson(json).value(0);
    BannerEntry yesterday = one; // the same id, stored for another hash
    yesterday.hash = sha256(pngOf(Qt::red));
    const BannerCache cache(dir->filePath(u"banners"_s));
    QVERIFY(cache.store(yesterday, pngOf(Qt::red)));
    for (const bool again : {false, true}) {
        server().clearRecords();
        const auto result = BannerWidget::fetch(server().url(), cache.directory(), u"revit"_s, {});
        const QImage image = result.images.value(one.id);
        QCOMPARE(image.isNull() ? QColor() : image.pixelColor(1, 1), kept ? QColor(Qt::green) : QColor());
        QCOMPARE(server().requestedTargets().contains("/img/a.png"),
                 imageUrl.startsWith(u'/') && !(again && kept));
    }
    QCOMPARE(cache.cachedImage(one), kept ? served : QByteArray());
}

void tst_Banners::fetchedListIsShownAndKept()
{
    const QByteArray picture = pngOf(Qt::yellow);
    // Four go by position, ties in file order, after the host's list is filtered: the entry for
    // another converter, one linking to another site and one without a fallback are left out.
    const QByteArray json = bannerJson(
        {banner(u"ifc"_s, 0, {}, {}, "converters"_L1, QJsonArray{u"ifc"_s}),
         banner(u"evil"_s, 0, {}, {}, "click_url"_L1, u"https://evil.example.net/"_s),
         banner(u"bare"_s, 0, {}, {}, "fallback"_L1, u""_s), banner(u"p3a"_s, 3), banner(u"p9"_s, 9),
         banner(u"p2"_s, 2), banner(u"p1"_s, 1, sha256(picture), u"/img/p1.png"_s), banner(u"p3b"_s, 3)});
    const QStringList shown{u"p1"_s, u"p2"_s, u"p3a"_s, u"p3b"_s};
    server().setBody(u"/banners/banners.json"_s, json);
    server().setBody(u"/img/p1.png"_s, picture);
    BannerWidget *widget = makeWidget();
    // Until asked, the built-in banners show and nothing goes out or into the cache.
    QCOMPARE(widget->shownEntries(), BannerEntry::selectFor(BannerEntry::defaults(), u"revit"_s));
    QVERIFY(server().requestHeads().isEmpty() && !QFileInfo::exists(dir->filePath(u"banners"_s)));
    QSignalSpy updated(widget, &BannerWidget::bannersUpdated);
    widget->startFetch();
    QVERIFY(updated.wait(10000));
    QCOMPARE(idsOf(widget->shownEntries()), shown);
    QCOMPARE(widget->currentPicture().toImage().pixelColor(1, 1), QColor(Qt::yellow));
    QCOMPARE(widget->findChildren<DotWidget *>().size(), 4);
    // The whole usable list is kept, every field of it, also the entry for another converter.
    settings->sync();
    const QList<BannerEntry> kept = BannerEntry::listFromSettings(
        QSettings(settings->fileName(), QSettings::IniFormat).value(SettingsKeys::bannerEntries()));
    QCOMPARE(idsOf(kept), (QStringList{u"ifc"_s, u"p3a"_s, u"p9"_s, u"p2"_s, u"p1"_s, u"p3b"_s}));
    QCOMPARE(kept, BannerEntry::listFromJson(json));

    // The next start cannot reach the host: the kept list stays, with the cached picture and fallbacks.
    server().setReply(u"/banners/banners.json"_s, {.status = 503});
    widget = makeWidget();
    QSignalSpy updatedOffline(widget, &BannerWidget::bannersUpdated);
    widget->startFetch();
    QVERIFY(updatedOffline.wait(10000));
    QCOMPARE(idsOf(widget->shownEntries()), shown);
    QCOMPARE(widget->currentPicture().toImage().pixelColor(1, 1), QColor(Qt::yellow));
    widget->rotateToNext();
    QCOMPARE(widget->currentPicture().toImage(),
             BannerWidget::fallbackPicture(widget->shownEntries().at(1)).toImage());
    QCOMPARE(BannerEntry::listFromSettings(settings->value(SettingsKeys::bannerEntries())), kept);
}

QTEST_MAIN(tst_Banners)
#include "tst_banners.moc"
