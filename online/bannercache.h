#pragma once

#include "online/bannerentry.h"

#include <QByteArray>
#include <QImage>
#include <QSize>
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

    // The entry's picture from the cache, else from the update host, verified, decoded and only
    // then cached; a null image when there is none that can be trusted and shown.
    QImage fetchImage(const BannerEntry &entry, const QString &updateHostUrl) const;

    // An empty hash accepts anything; otherwise the lower-case hex SHA-256 must match.
    static bool matchesHash(const QByteArray &bytes, const QString &hash);

    // A banner is drawn at BannerLabel::displaySize, twice that on high-density screens. A
    // picture more than this many times that size in either direction is far more than can be
    // shown, and is refused before it is decoded: a PNG of a hundred kilobytes can otherwise
    // unpack into a hundred megabytes.
    static constexpr int maxPictureScale = 4;
    // Whether a picture of this size may be decoded; an unknown (invalid) size may not.
    static bool isAcceptablePictureSize(const QSize &size);
    // The picture in bytes, decoded only when its header announces an acceptable size; a null
    // image for anything else, including bytes that are no picture.
    static QImage decodePicture(const QByteArray &bytes);

private:
    QString dir;
};
