#pragma once

#include "online/bannerentry.h"

#include <QByteArray>
#include <QString>

// The folder of downloaded banner pictures: <stem>.png beside <stem>.hash, the SHA-256 the
// picture was verified against. Used by the banner worker only; it holds nothing but a path.
class BannerCache
{
public:
    explicit BannerCache(const QString &directory);

    // <cache location>/kvt/banners
    static QString defaultDirectory();

    QString directory() const { return dir; }
    QString imagePath(const BannerEntry &entry) const;
    QString hashPath(const BannerEntry &entry) const;

    // The cached bytes when the entry names a hash and the picture was stored for exactly that
    // hash; empty otherwise.
    QByteArray cachedImage(const BannerEntry &entry) const;
    bool store(const BannerEntry &entry, const QByteArray &bytes) const;

    // The entry's picture from the cache, else from the update host, verified and then cached;
    // empty when there is none that can be trusted.
    QByteArray fetchImage(const BannerEntry &entry, const QString &updateHostUrl) const;

    // An empty hash accepts anything; otherwise the lower-case hex SHA-256 must match.
    static bool matchesHash(const QByteArray &bytes, const QString &hash);

private:
    QString dir;
};
