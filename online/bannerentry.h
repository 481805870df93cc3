#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>

// One promotional banner as the host describes it.
struct BannerEntry
{
    QString id;
    int position = 0;
    QString hash;
    QString timestamp;
    QString imageUrl;
    QString clickUrl;
    QString fallback;
    QStringList converters;

    friend bool operator==(const BannerEntry &, const BannerEntry &) = default;

    // At most this many banners are shown.
    static constexpr qsizetype maxShown = 4;

    // An entry needs an id and a built-in fallback picture, and may only link into our own site.
    bool isUsable() const;
    // Whether the entry is meant for the converter (an empty list means every converter).
    bool isFor(const QString &converterId) const;

    // The usable entries of a "/banners/banners.json" document in file order; broken JSON and a
    // root that is not an object give an empty list.
    static QList<BannerEntry> listFromJson(const QByteArray &json);
    // The usable entries of the list kept in the settings.
    static QList<BannerEntry> listFromSettings(const QVariant &value);
    static QVariant listToSettings(const QList<BannerEntry> &entries);
    // The built-in banners, shown until a downloaded list is available.
    static QList<BannerEntry> defaults();
    // What a converter shows: its entries by position (ties keep their order), at most four.
    static QList<BannerEntry> selectFor(const QList<BannerEntry> &entries, const QString &converterId);

    // The cache file name (without extension) for an id: a different name for every id, and one
    // that is a plain file name on Windows, macOS and Linux alike, at most this long.
    static constexpr qsizetype maxCacheStemLength = 66;
    static QString cacheStem(const QString &id);
};
