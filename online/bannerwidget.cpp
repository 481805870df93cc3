#include "online/bannerwidget.h"

#include "common/settingskeys.h"
#include "conversion/converterinfo.h"
#include "online/bannercache.h"
#include "online/bannerlabel.h"
#include "online/deployment.h"
#include "online/dotwidget.h"
#include "online/httpsclient.h"

#include <QDesktopServices>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QSettings>
#include <QThread>
#include <QTimer>
#include <QVBoxLayout>

#include <memory>

using namespace Qt::StringLiterals;

namespace {
constexpr int rotationIntervalMs = 5000;
} // namespace

BannerWidget::BannerWidget(QSettings *settings, QWidget *parent)
    : QWidget(parent)
    , settings(settings)
{
    auto *outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    auto *group = new QGroupBox(tr("Recommended"), this);
    group->setObjectName(u"bannerGroup"_s);
    outer->addWidget(group);

    auto *layout = new QVBoxLayout(group);
    layout->setSpacing(6);
    label = new BannerLabel(group);
    label->setObjectName(u"bannerLabel"_s);
    layout->addWidget(label);
    dotRow = new QHBoxLayout;
    dotRow->setSpacing(6);
    dotRow->addStretch(1);
    dotRow->addStretch(1);
    layout->addLayout(dotRow);
    layout->addStretch(1);

    rotationTimer = new QTimer(this);
    rotationTimer->setInterval(rotationIntervalMs);
    connect(rotationTimer, &QTimer::timeout, this, &BannerWidget::rotateToNext);
    connect(label, &BannerLabel::clicked, this, &BannerWidget::openCurrent);

    // Only the settings are read here: no network and no cache folder before the first fetch.
    knownEntries = BannerEntry::listFromSettings(settings->value(SettingsKeys::bannerEntries()));
    rebuild();
}

void BannerWidget::setConverter(const ConverterInfo &info)
{
    setConverterId(info.id);
}

void BannerWidget::setConverterId(const QString &converterId)
{
    if (converterId == converter)
        return;
    converter = converterId;
    rebuild();
    // Another converter may need pictures the last fetch did not bring.
    if (fetchedOnce)
        startFetch();
}

void BannerWidget::startFetch()
{
    fetchedOnce = true;
    fetching = true;
    const int generation = ++fetchGeneration;
    auto result = std::make_shared<FetchResult>();
    QThread *worker =
        QThread::create([result, host = Deployment::updateHostUrl(),
                         cache = cacheDirectory.isEmpty() ? BannerCache::defaultDirectory() : cacheDirectory,
                         converterId = converter,
                         known = knownEntries] { *result = fetch(host, cache, converterId, known); });
    // The widget hears back on its own thread; if it is gone by then, nobody does.
    connect(worker, &QThread::finished, this,
            [this, generation, result] { onFetchFinished(generation, *result); });
    connect(worker, &QThread::finished, worker, &QObject::deleteLater);
    worker->start(QThread::InheritPriority);
}

QPixmap BannerWidget::currentPicture() const
{
    return label->banner();
}

BannerWidget::FetchResult BannerWidget::fetch(const QString &updateHostUrl, const QString &cacheDirectory,
                                              const QString &converterId,
                                              const QList<BannerEntry> &knownEntries)
{
    FetchResult result;
    const BannerCache cache(cacheDirectory);
    const HttpsResult response = httpsGet(updateHostUrl + u"/banners/banners.json"_s, httpsJsonLimit);
    if (response.ok()) {
        result.listFetched = true;
        result.entries = BannerEntry::listFromJson(response.body);
    }

    // Without a fresh list the known one keeps showing, with whatever pictures are cached.
    const QList<BannerEntry> wanted =
        BannerEntry::selectFor(result.listFetched ? result.entries : knownEntries, converterId);
    for (const BannerEntry &entry : wanted) {
        const QImage image = result.listFetched ? cache.fetchImage(entry, updateHostUrl)
                                                : BannerCache::decodePicture(cache.cachedImage(entry));
        if (!image.isNull())
            result.images.insert(entry.id, image);
    }
    return result;
}

QPixmap BannerWidget::fallbackPicture(const BannerEntry &entry)
{
    return QPixmap(u":/res/png/%1.png"_s.arg(entry.fallback));
}

void BannerWidget::rotateToNext()
{
    if (shown.isEmpty())
        return;
    showBanner((current + 1) % shown.size());
}

void BannerWidget::onFetchFinished(int generation, const FetchResult &result)
{
    if (generation != fetchGeneration)
        return;
    fetching = false;
    if (result.listFetched) {
        knownEntries = result.entries;
        settings->setValue(SettingsKeys::bannerEntries(), BannerEntry::listToSettings(knownEntries));
        pictures.clear();
    }
    for (auto it = result.images.cbegin(); it != result.images.cend(); ++it)
        pictures.insert(it.key(), QPixmap::fromImage(it.value()));
    rebuild();
    Q_EMIT bannersUpdated();
}

void BannerWidget::rebuild()
{
    QList<BannerEntry> entries = BannerEntry::selectFor(knownEntries, converter);
    // A list with nothing for this converter would leave an empty box; show ours instead.
    if (entries.isEmpty())
        entries = BannerEntry::selectFor(BannerEntry::defaults(), converter);
    if (entries != shown) {
        shown = entries;
        current = 0;
    }

    for (DotWidget *dot : std::as_const(dots))
        delete dot;
    dots.clear();
    // One dot per banner, between the two stretches of the row; a single banner needs none.
    if (shown.size() > 1) {
        for (qsizetype i = 0; i < shown.size(); ++i) {
            auto *dot = new DotWidget(this);
            connect(dot, &DotWidget::clicked, this, [this, i] {
                showBanner(static_cast<int>(i));
                rotationTimer->start();
            });
            dotRow->insertWidget(static_cast<int>(i) + 1, dot);
            dots.append(dot);
        }
        rotationTimer->start();
    } else {
        rotationTimer->stop();
    }
    showBanner(current);
}

void BannerWidget::showBanner(int index)
{
    current = shown.isEmpty() ? 0 : index;
    for (qsizetype i = 0; i < dots.size(); ++i)
        dots.at(i)->setCurrent(i == current);
    if (shown.isEmpty()) {
        label->setBanner({});
        return;
    }
    const BannerEntry &entry = shown.at(current);
    const QPixmap downloaded = pictures.value(entry.id);
    label->setBanner(downloaded.isNull() ? fallbackPicture(entry) : downloaded);
}

void BannerWidget::openCurrent()
{
    if (shown.isEmpty())
        return;
    QDesktopServices::openUrl(Deployment::vendorSiteLink(shown.at(current).clickUrl));
}
