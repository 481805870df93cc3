#pragma once

#include "online/bannerentry.h"

#include <QHash>
#include <QImage>
#include <QList>
#include <QPixmap>
#include <QString>
#include <QWidget>

class BannerLabel;
class DotWidget;
class QHBoxLayout;
class QSettings;
class QTimer;
struct ConverterInfo;

// The rotating "Recommended" banners for the current converter. It shows the list kept in
// the settings (or the built-in one) with the built-in pictures at once; startFetch() asks
// the update host for a fresh list and the pictures, on a worker thread.
class BannerWidget final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(BannerWidget)

public:
    // What one fetch brings back from the worker.
    struct FetchResult
    {
        bool listFetched = false;      // false: the host could not be asked, the list stands
        QList<BannerEntry> entries;    // the host's usable entries, when listFetched
        QHash<QString, QImage> images; // by entry id, only verified pictures
    };

    explicit BannerWidget(QSettings *settings, QWidget *parent = nullptr);

    void setConverter(const ConverterInfo &info);
    void setConverterId(const QString &converterId);
    QString converterId() const { return converter; }

    // Starts a fetch of the list and the pictures; a fetch already running is superseded.
    void startFetch();
    bool isFetching() const { return fetching; }

    QList<BannerEntry> shownEntries() const { return shown; }
    int currentIndex() const { return current; }
    QPixmap currentPicture() const;

    // Test seam: the picture cache folder (by default the user's cache location).
    void setCacheDirectory(const QString &directory) { cacheDirectory = directory; }

    // The worker's whole job, blocking: list, cache, downloads and verification.
    static FetchResult fetch(const QString &updateHostUrl, const QString &cacheDirectory,
                             const QString &converterId, const QList<BannerEntry> &knownEntries);
    // The built-in picture of an entry (null when the resource is missing).
    static QPixmap fallbackPicture(const BannerEntry &entry);

public Q_SLOTS:
    void rotateToNext();

Q_SIGNALS:
    // A fetch has been applied (the list or the pictures may have changed).
    void bannersUpdated();

private:
    void onFetchFinished(int generation, const FetchResult &result);
    void rebuild();
    void showBanner(int index);
    void openCurrent();

    QSettings *settings = nullptr;
    QString converter;
    QString cacheDirectory;
    QList<BannerEntry> knownEntries;  // from the settings or the last fetch, for every converter
    QHash<QString, QPixmap> pictures; // downloaded, by entry id
    QList<BannerEntry> shown;
    int current = 0;
    int fetchGeneration = 0;
    bool fetching = false;
    bool fetchedOnce = false;

    BannerLabel *label = nullptr;
    QHBoxLayout *dotRow = nullptr;
    QList<DotWidget *> dots;
    QTimer *rotationTimer = nullptr;
};
