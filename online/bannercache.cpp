#include "online/bannercache.h"

#include "online/bannerlabel.h"
#include "online/deployment.h"
#include "online/httpsclient.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QImageReader>
#include <QSaveFile>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

BannerCache::BannerCache(const QString &directory)
    : dir(directory)
{
}

QString BannerCache::defaultDirectory()
{
    return QStandardPaths::writableLocation(QStandardPaths::CacheLocation) + u"/kvt/banners"_s;
}

QString BannerCache::imagePath(const BannerEntry &entry) const
{
    return dir + u'/' + BannerEntry::cacheStem(entry.id) + u".png"_s;
}

QString BannerCache::hashPath(const BannerEntry &entry) const
{
    return dir + u'/' + BannerEntry::cacheStem(entry.id) + u".hash"_s;
}

QByteArray BannerCache::cachedImage(const BannerEntry &entry) const
{
    if (entry.hash.isEmpty())
        return {};
    QFile hashFile(hashPath(entry));
    if (!hashFile.open(QIODevice::ReadOnly) || QString::fromUtf8(hashFile.readAll().trimmed()) != entry.hash)
        return {};
    QFile image(imagePath(entry));
    if (!image.open(QIODevice::ReadOnly))
        return {};
    return image.readAll();
}

bool BannerCache::store(const BannerEntry &entry, const QByteArray &bytes) const
{
    if (!QDir().mkpath(dir))
        return false;
    // The hash goes first and last: without a matching .hash the .png is never trusted, so a
    // store interrupted halfway only costs a download.
    QFile::remove(hashPath(entry));
    QSaveFile image(imagePath(entry));
    if (!image.open(QIODevice::WriteOnly) || image.write(bytes) != bytes.size() || !image.commit())
        return false;
    QSaveFile hash(hashPath(entry));
    return hash.open(QIODevice::WriteOnly) && hash.write(entry.hash.toUtf8()) == entry.hash.toUtf8().size() &&
           hash.commit();
}

QImage BannerCache::fetchImage(const BannerEntry &entry, const QString &updateHostUrl) const
{
    // The picture path is appended to our own host, so it gets the same rule as the links.
    if (!Deployment::isSafeRelativePath(entry.imageUrl))
        return {};
    const QByteArray cached = cachedImage(entry);
    if (!cached.isEmpty())
        return decodePicture(cached);
    const HttpsResult response = httpsGet(updateHostUrl + entry.imageUrl, httpsImageLimit);
    if (!response.ok() || response.body.isEmpty() || !matchesHash(response.body, entry.hash))
        return {};
    // A picture that is refused goes the way of a failed download: it is not kept, so the
    // fallback shows and the cache holds nothing that could not be shown.
    QImage image = decodePicture(response.body);
    if (!image.isNull())
        store(entry, response.body);
    return image;
}

bool BannerCache::matchesHash(const QByteArray &bytes, const QString &hash)
{
    if (hash.isEmpty())
        return true;
    return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex()) == hash;
}

bool BannerCache::isAcceptablePictureSize(const QSize &size)
{
    return !size.isEmpty() && size.width() <= maxPictureScale * BannerLabel::displaySize.width() &&
           size.height() <= maxPictureScale * BannerLabel::displaySize.height();
}

QImage BannerCache::decodePicture(const QByteArray &bytes)
{
    QBuffer buffer;
    buffer.setData(bytes);
    if (!buffer.open(QIODevice::ReadOnly))
        return {};
    QImageReader reader(&buffer);
    // size() reads no more than the header, so a refused picture never has its pixels allocated.
    if (!isAcceptablePictureSize(reader.size()))
        return {};
    return reader.read();
}
