#include "common/settingskeys.h"
#include "online/bannercache.h"
#include "online/bannerentry.h"
#include "online/bannerlabel.h"
#include "online/bannerwidget.h"
#include "online/deployment.h"
#include "online/dotwidget.h"
#include "online/infopanel.h"
#include "testsupport/tlstestserver.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QDesktopServices>
#include <QDir>
#include <QImage>
#include <QPointer>
#include <QSettings>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

QByteArray pngOf(const QColor &color)
{
    QImage image(30, 8, QImage::Format_RGB32);
    image.fill(color);
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

BannerEntry entry(const QString &id, int position = 0, const QStringList &converters = {})
{
    BannerEntry e;
    e.id = id;
    e.position = position;
    e.clickUrl = u"/%1/"_s.arg(id);
    e.fallback = u"excel_plugin"_s;
    e.converters = converters;
    return e;
}

QStringList idsOf(const QList<BannerEntry> &entries)
{
    QStringList ids;
    for (const BannerEntry &e : entries)
        ids.append(e.id);
    return ids;
}

QByteArray bannerJson(const QList<QByteArray> &banners)
{
    return "{\"banners\": [" + QList<QByteArray>(banners).join(", ") + "], \"version\": 3}";
}

QByteArray bannerObject(const QString &id, int position, const QString &hash, const QString &imageUrl,
                        const QString &clickUrl = u"/x/"_s, const QString &fallback = u"excel_plugin"_s,
                        const QByteArray &converters = "[]")
{
    return u"{\"id\": \"%1\", \"position\": %2, \"hash\": \"%3\", \"timestamp\": \"2026-01-01\", "
           "\"image_url\": \"%4\", \"click_url\": \"%5\", \"fallback\": \"%6\", \"converters\": "_s
               .arg(QString(id).replace(u'\\', u"\\\\"_s))
               .arg(position)
               .arg(hash, imageUrl, clickUrl, fallback)
               .toUtf8() +
           converters + "}";
}

QColor centreColour(const QPixmap &pixmap)
{
    return pixmap.toImage().pixelColor(pixmap.width() / 2, pixmap.height() / 2);
}

} // namespace

class tst_Banners : public QObject
{
    Q_OBJECT

public Q_SLOTS:
    void openUrl(const QUrl &url) { openedUrls.append(url); }

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase() { QDesktopServices::unsetUrlHandler(u"https"_s); }
    void init();
    void cleanup();
    void listFromJson_data();
    void listFromJson();
    void selectFor_data();
    void selectFor();
    void fetchVerifiesAndCaches_data();
    void fetchVerifiesAndCaches();
    void staleHashIsDownloadedAgain();
    void nothingFetchedBeforeAsked();
    void rotationDotsAndClicks();
    void freshListReplacesAndIsKept();
    void noNetworkAtAll();
    void missingPicturesDoNotCrash();
    void widgetDeletedDuringFetch();
    void infoPanelLinks();

private:
    BannerWidget *makeWidget();
    void setList(const QList<QByteArray> &banners)
    {
        server().setBody(u"/banners/banners.json"_s, bannerJson(banners));
    }
    TlsTestServer &server() { return tls.server(); }

    TlsFixture tls;
    std::unique_ptr<QTemporaryDir> cacheDir;
    std::unique_ptr<QSettings> settings;
    std::unique_ptr<QWidget> window;
    QList<QUrl> openedUrls;
};

void tst_Banners::initTestCase()
{
    QVERIFY2(tls.start(), qPrintable(tls.error));
    QDesktopServices::setUrlHandler(u"https"_s, this, "openUrl");
}

void tst_Banners::init()
{
    server().clearRecords();
    setList({});
    qputenv("KVT_UPDATE_HOST", server().url().toUtf8());
    openedUrls.clear();
    cacheDir = std::make_unique<QTemporaryDir>();
    QVERIFY(cacheDir->isValid());
    settings = std::make_unique<QSettings>(cacheDir->filePath(u"settings.ini"_s), QSettings::IniFormat);
    window = std::make_unique<QWidget>();
}

void tst_Banners::cleanup()
{
    window.reset();
    settings.reset();
    cacheDir.reset();
}

BannerWidget *tst_Banners::makeWidget()
{
    auto *widget = new BannerWidget(settings.get(), window.get());
    widget->setCacheDirectory(cacheDir->filePath(u"banners"_s));
    widget->setConverterId(u"revit"_s);
    return widget;
}

void tst_Banners::listFromJson_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QStringList>("ids");
    const QByteArray good = bannerObject(u"good"_s, 1, {}, u"/img/good.png"_s);
    QTest::addRow("empty fallback dropped")
        << bannerJson({good, bannerObject(u"nofallback"_s, 0, {}, u"/img/a.png"_s, u"/a/"_s, QString())})
        << QStringList{u"good"_s};
    QTest::addRow("click url with scheme and host dropped")
        << bannerJson({bannerObject(u"evil"_s, 0, {}, u"/a.png"_s, u"https://evil.example.net/"_s), good})
        << QStringList{u"good"_s};
    QTest::addRow("empty click url kept")
        << bannerJson({bannerObject(u"quiet"_s, 0, {}, u"/a.png"_s, QString())}) << QStringList{u"quiet"_s};
    QTest::addRow("broken JSON") << QByteArray(R"({"banners": [)") << QStringList{};
    QTest::addRow("array root") << QByteArray("[" + good + "]") << QStringList{};
}

void tst_Banners::listFromJson()
{
    QFETCH(QByteArray, json);
    QFETCH(QStringList, ids);
    QCOMPARE(idsOf(BannerEntry::listFromJson(json)), ids);
}

void tst_Banners::selectFor_data()
{
    QTest::addColumn<QList<BannerEntry>>("entries");
    QTest::addColumn<QStringList>("ids");
    QTest::addRow("six kept to the four lowest")
        << QList<BannerEntry>{entry(u"f"_s, 50), entry(u"a"_s, 3), entry(u"b"_s, 9),
                              entry(u"c"_s, 1),  entry(u"d"_s, 7), entry(u"e"_s, 2)}
        << QStringList{u"c"_s, u"e"_s, u"a"_s, u"d"_s};
    QTest::addRow("ties keep file order")
        << QList<BannerEntry>{entry(u"x"_s, 1), entry(u"y"_s, 0), entry(u"z"_s, 1), entry(u"w"_s, 1)}
        << QStringList{u"y"_s, u"x"_s, u"z"_s, u"w"_s};
    QTest::addRow("filter before the limit")
        << QList<BannerEntry>{entry(u"i1"_s, 0, {u"ifc"_s}), entry(u"i2"_s, 1, {u"ifc"_s}),
                              entry(u"i3"_s, 2, {u"ifc"_s}), entry(u"i4"_s, 3, {u"ifc"_s}), entry(u"r"_s, 9)}
        << QStringList{u"r"_s};
}

void tst_Banners::selectFor()
{
    QFETCH(QList<BannerEntry>, entries);
    QFETCH(QStringList, ids);
    QCOMPARE(idsOf(BannerEntry::selectFor(entries, u"revit"_s)), ids);
}

void tst_Banners::fetchVerifiesAndCaches_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("hash");
    QTest::addColumn<QByteArray>("served");
    QTest::addColumn<QString>("imageUrl");
    QTest::addColumn<bool>("shown");
    QTest::addColumn<QStringList>("cacheFiles");
    const QByteArray green = pngOf(Qt::green);
    const QString a = u"/img/a.png"_s;
    const QStringList cached{u"one.hash"_s, u"one.png"_s};
    QTest::addRow("verified") << u"one"_s << sha256(green) << green << a << true << cached;
    QTest::addRow("hostile id stays in the folder")
        << u"../x"_s << sha256(green) << green << a << true << QStringList{u"___x.hash"_s, u"___x.png"_s};
    QTest::addRow("backslashes too") << u"..\\..\\y"_s << sha256(green) << green << a << true
                                     << QStringList{u"______y.hash"_s, u"______y.png"_s};
    QTest::addRow("wrong SHA-256") << u"one"_s << sha256("other") << green << a << false << QStringList();
    QTest::addRow("not a picture") << u"one"_s << sha256("text") << QByteArray("text") << a << false
                                   << cached;
    QTest::addRow("too large") << u"one"_s << QString() << QByteArray(2097153, 'p') << a << false
                               << QStringList();
    QTest::addRow("image url with user info")
        << u"one"_s << QString() << green << u"@evil.example.net/a.png"_s << false << QStringList();
}

void tst_Banners::fetchVerifiesAndCaches()
{
    QFETCH(QString, id);
    QFETCH(QString, hash);
    QFETCH(QByteArray, served);
    QFETCH(QString, imageUrl);
    QFETCH(bool, shown);
    QFETCH(QStringList, cacheFiles);
    setList({bannerObject(id, 0, hash, imageUrl)});
    server().setBody(u"/img/a.png"_s, served);
    const QString cache = cacheDir->filePath(u"kvt/banners"_s);

    const BannerWidget::FetchResult result = BannerWidget::fetch(server().url(), cache, u"revit"_s, {});
    QVERIFY(result.listFetched);
    QCOMPARE(idsOf(result.entries), QStringList{id});
    QCOMPARE(result.images.contains(id), shown);
    if (shown)
        QCOMPARE(result.images.value(id).pixelColor(1, 1), QColor(Qt::green));
    QCOMPARE(QDir(cache).entryList(QDir::Files, QDir::Name), cacheFiles);
    QVERIFY(!QFile::exists(cacheDir->filePath(u"kvt/x.png"_s)));
    if (!cacheFiles.isEmpty()) {
        QFile hashFile(cache + u'/' + cacheFiles.first());
        QVERIFY(hashFile.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromUtf8(hashFile.readAll()), hash);
    }
    if (imageUrl.startsWith(u'@'))
        QCOMPARE(server().requestedTargets(), QList<QByteArray>{"/banners/banners.json"});
}

void tst_Banners::staleHashIsDownloadedAgain()
{
    const QByteArray fresh = pngOf(Qt::blue);
    setList({bannerObject(u"news"_s, 0, sha256(fresh), u"/img/news.png"_s)});
    server().setBody(u"/img/news.png"_s, fresh);
    // Yesterday's picture under the same id, stored for another hash.
    BannerEntry old = entry(u"news"_s);
    old.hash = sha256(pngOf(Qt::red));
    QVERIFY(BannerCache(cacheDir->path()).store(old, pngOf(Qt::red)));

    for (const QList<QByteArray> &asked : {QList<QByteArray>{"/banners/banners.json", "/img/news.png"},
                                           QList<QByteArray>{"/banners/banners.json"}}) {
        // The second time the cache is valid and the host is not asked for the picture.
        server().clearRecords();
        const auto result = BannerWidget::fetch(server().url(), cacheDir->path(), u"revit"_s, {});
        QCOMPARE(result.images.value(u"news"_s).pixelColor(1, 1), QColor(Qt::blue));
        QCOMPARE(server().requestedTargets(), asked);
    }
}

void tst_Banners::nothingFetchedBeforeAsked()
{
    BannerWidget *widget = makeWidget();
    window->show();
    QTest::qWait(100);
    QCOMPARE(idsOf(widget->shownEntries()),
             idsOf(BannerEntry::selectFor(BannerEntry::defaults(), u"revit"_s)));
    QVERIFY(!widget->currentPicture().isNull()); // the built-in picture
    // Another converter filters the built-in list again: its revit-only banner goes.
    widget->setConverterId(u"ifc"_s);
    QCOMPARE(widget->shownEntries().size(), 3);
    QVERIFY(!idsOf(widget->shownEntries()).contains(u"revit_back_import"_s));
    QCOMPARE(widget->findChildren<DotWidget *>().size(), 3);
    QCOMPARE(server().connectionCount(), 0);
    QVERIFY(!QFileInfo::exists(cacheDir->filePath(u"banners"_s)));
}

void tst_Banners::rotationDotsAndClicks()
{
    BannerWidget *widget = makeWidget();
    window->show();
    const QList<DotWidget *> dots = widget->findChildren<DotWidget *>();
    QCOMPARE(dots.size(), 4);
    for (int step = 1; step <= 5; ++step) {
        widget->rotateToNext();
        QCOMPARE(widget->currentIndex(), step % 4);
        for (int i = 0; i < dots.size(); ++i)
            QCOMPARE(dots.at(i)->isCurrent(), i == step % 4);
    }
    // A dot takes the user straight to its banner, a click on the banner to its page.
    QTest::mouseClick(dots.at(3), Qt::LeftButton);
    QCOMPARE(widget->currentIndex(), 3);
    auto *label = widget->findChild<BannerLabel *>();
    QTest::mouseClick(label, Qt::RightButton);
    QVERIFY(openedUrls.isEmpty());
    QTest::mouseClick(label, Qt::LeftButton);
    QCOMPARE(openedUrls,
             QList<QUrl>{QUrl(Deployment::vendorSiteUrl() + widget->shownEntries().at(3).clickUrl)});
}

void tst_Banners::freshListReplacesAndIsKept()
{
    settings->setValue(SettingsKeys::bannerEntries(), BannerEntry::listToSettings({entry(u"old"_s)}));
    const QByteArray picture = pngOf(Qt::yellow);
    const QByteArray json =
        bannerJson({bannerObject(u"new1"_s, 2, sha256(picture), u"/img/new1.png"_s),
                    bannerObject(u"new0"_s, 1, {}, {}, u"/promo/"_s),
                    bannerObject(u"forIfc"_s, 0, {}, {}, u"/x/"_s, u"excel_plugin"_s, "[\"ifc\"]")});
    server().setBody(u"/banners/banners.json"_s, json);
    server().setBody(u"/img/new1.png"_s, picture);

    BannerWidget *widget = makeWidget();
    QCOMPARE(idsOf(widget->shownEntries()), QStringList{u"old"_s});
    QSignalSpy updated(widget, &BannerWidget::bannersUpdated);
    widget->startFetch();
    QVERIFY(updated.wait(10000));
    QCOMPARE(idsOf(widget->shownEntries()), (QStringList{u"new0"_s, u"new1"_s}));
    QCOMPARE(widget->findChildren<DotWidget *>().size(), 2);
    widget->rotateToNext();
    QCOMPARE(centreColour(widget->currentPicture()), QColor(Qt::yellow));

    // The whole usable list is kept, every field of it, also the entry for another converter.
    settings->sync();
    const QSettings reread(settings->fileName(), QSettings::IniFormat);
    QCOMPARE(BannerEntry::listFromSettings(reread.value(SettingsKeys::bannerEntries())),
             BannerEntry::listFromJson(json));
}

void tst_Banners::noNetworkAtAll()
{
    QTcpServer closed;
    QVERIFY(closed.listen(QHostAddress::LocalHost, 0));
    qputenv("KVT_UPDATE_HOST", u"https://127.0.0.1:%1"_s.arg(closed.serverPort()).toUtf8());
    closed.close();

    // Nothing known yet: the built-in banners stay, and nothing is stored.
    BannerWidget *widget = makeWidget();
    QSignalSpy updated(widget, &BannerWidget::bannersUpdated);
    widget->startFetch();
    QVERIFY(updated.wait(10000));
    QCOMPARE(idsOf(widget->shownEntries()),
             idsOf(BannerEntry::selectFor(BannerEntry::defaults(), u"revit"_s)));
    QVERIFY(!settings->contains(SettingsKeys::bannerEntries()));

    // A list known from an earlier run stays, with the pictures the cache holds for it.
    BannerEntry known = entry(u"known"_s);
    known.hash = sha256(pngOf(Qt::magenta));
    known.imageUrl = u"/img/known.png"_s;
    BannerEntry uncached = entry(u"uncached"_s, 1);
    uncached.hash = sha256("never stored");
    uncached.imageUrl = u"/img/uncached.png"_s;
    QVERIFY(BannerCache(cacheDir->filePath(u"banners"_s)).store(known, pngOf(Qt::magenta)));
    settings->setValue(SettingsKeys::bannerEntries(), BannerEntry::listToSettings({known, uncached}));
    widget = makeWidget();
    QSignalSpy updatedAgain(widget, &BannerWidget::bannersUpdated);
    widget->startFetch();
    QVERIFY(updatedAgain.wait(10000));
    QCOMPARE(idsOf(widget->shownEntries()), (QStringList{u"known"_s, u"uncached"_s}));
    QCOMPARE(centreColour(widget->currentPicture()), QColor(Qt::magenta));
    widget->rotateToNext();
    QCOMPARE(widget->currentPicture().toImage(), BannerWidget::fallbackPicture(uncached).toImage());
}

void tst_Banners::missingPicturesDoNotCrash()
{
    BannerEntry missing = entry(u"missing"_s);
    missing.fallback = u"no_such_picture"_s;
    settings->setValue(SettingsKeys::bannerEntries(), BannerEntry::listToSettings({missing}));
    BannerWidget *widget = makeWidget();
    window->show();
    QVERIFY(widget->currentPicture().isNull());
    QVERIFY(widget->findChildren<DotWidget *>().isEmpty()); // a single banner needs no dots
    QVERIFY(!widget->grab().isNull());
    widget->rotateToNext();
    QCOMPARE(widget->currentIndex(), 0);
}

void tst_Banners::widgetDeletedDuringFetch()
{
    server().setReply(
        u"/banners/banners.json"_s,
        {.body = bannerJson({bannerObject(u"late"_s, 0, {}, {})}), .pauseAfter = 5, .pauseMs = 300});
    QPointer<BannerWidget> widget = makeWidget();
    widget->startFetch();
    delete widget;
    QTRY_COMPARE_WITH_TIMEOUT(server().requestHeads().size(), 1, 5000);
    QTest::qWait(800);
    QVERIFY(!settings->contains(SettingsKeys::bannerEntries()));
}

void tst_Banners::infoPanelLinks()
{
    QVERIFY(InfoPanel::contactText(u"a<b>@example.com"_s, Qt::blue).contains(u"a&lt;b&gt;@example.com"_s));
    // Links stay readable on dark and on light panels.
    QVERIFY(InfoPanel::linkColour(Qt::white).lightness() > 128);
    QVERIFY(InfoPanel::linkColour(Qt::black).lightness() < 128);
}

QTEST_MAIN(tst_Banners)
#include "tst_banners.moc"
