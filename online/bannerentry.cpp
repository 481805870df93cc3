#include "online/bannerentry.h"

#include "online/deployment.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QVariantMap>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

// The same member names serve the host's JSON document and the list kept in the settings.
constexpr auto idKey = "id"_L1;
constexpr auto positionKey = "position"_L1;
constexpr auto hashKey = "hash"_L1;
constexpr auto timestampKey = "timestamp"_L1;
constexpr auto imageUrlKey = "image_url"_L1;
constexpr auto clickUrlKey = "click_url"_L1;
constexpr auto fallbackKey = "fallback"_L1;
constexpr auto convertersKey = "converters"_L1;

BannerEntry entryFromJson(const QJsonObject &object)
{
    BannerEntry entry;
    entry.id = object.value(idKey).toString();
    entry.position = object.value(positionKey).toInt();
    entry.hash = object.value(hashKey).toString();
    entry.timestamp = object.value(timestampKey).toString();
    entry.imageUrl = object.value(imageUrlKey).toString();
    entry.clickUrl = object.value(clickUrlKey).toString();
    entry.fallback = object.value(fallbackKey).toString();
    const QJsonArray converters = object.value(convertersKey).toArray();
    for (const QJsonValue &converter : converters)
        if (converter.isString())
            entry.converters.append(converter.toString());
    return entry;
}

QList<BannerEntry> usableEntries(const QJsonArray &banners)
{
    QList<BannerEntry> entries;
    for (const QJsonValue &banner : banners) {
        const BannerEntry entry = entryFromJson(banner.toObject());
        if (entry.isUsable())
            entries.append(entry);
    }
    return entries;
}

BannerEntry defaultEntry(int position, const QString &id, const QString &clickUrl,
                         const QStringList &converters = {})
{
    BannerEntry entry;
    entry.id = id;
    entry.position = position;
    entry.clickUrl = clickUrl;
    entry.fallback = id;
    entry.converters = converters;
    return entry;
}

} // namespace

bool BannerEntry::isUsable() const
{
    return !id.isEmpty() && !fallback.isEmpty() &&
           (clickUrl.isEmpty() || Deployment::isSafeRelativePath(clickUrl));
}

bool BannerEntry::isFor(const QString &converterId) const
{
    return converters.isEmpty() || converters.contains(converterId);
}

QList<BannerEntry> BannerEntry::listFromJson(const QByteArray &json)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return {};
    return usableEntries(document.object().value("banners"_L1).toArray());
}

QList<BannerEntry> BannerEntry::listFromSettings(const QVariant &value)
{
    // The stored maps become JSON objects, so the host's list and ours are read by one rule.
    return usableEntries(QJsonArray::fromVariantList(value.toList()));
}

QVariant BannerEntry::listToSettings(const QList<BannerEntry> &entries)
{
    QVariantList list;
    for (const BannerEntry &entry : entries) {
        list.append(QVariantMap{{idKey, entry.id},
                                {positionKey, entry.position},
                                {hashKey, entry.hash},
                                {timestampKey, entry.timestamp},
                                {imageUrlKey, entry.imageUrl},
                                {clickUrlKey, entry.clickUrl},
                                {fallbackKey, entry.fallback},
                                {convertersKey, entry.converters}});
    }
    return list;
}

QList<BannerEntry> BannerEntry::defaults()
{
    return {defaultEntry(0, u"excel_plugin"_s, u"/kvt-excel-plugin-for-working-with-revit-ifc-and-dwg/"_s),
            defaultEntry(1, u"chatgpt_and_llm"_s, u"/chatgpt-and-llm/"_s),
            defaultEntry(2, u"versions_kvt"_s, u"/convertors/"_s),
            defaultEntry(3, u"revit_back_import"_s, u"/kvt-import-excel-to-revit-2/"_s, {u"revit"_s})};
}

QList<BannerEntry> BannerEntry::selectFor(const QList<BannerEntry> &entries, const QString &converterId)
{
    QList<BannerEntry> selected;
    for (const BannerEntry &entry : entries)
        if (entry.isFor(converterId))
            selected.append(entry);
    std::stable_sort(selected.begin(), selected.end(),
                     [](const BannerEntry &a, const BannerEntry &b) { return a.position < b.position; });
    if (selected.size() > maxShown)
        selected.resize(maxShown);
    return selected;
}

QString BannerEntry::cacheStem(const QString &id)
{
    // Only lower-case letters, digits, '-' and '_' stay; every other byte of the id becomes %XX.
    // That can be read back, so two ids never share a file, and it is one plain name on every
    // system. Capitals are escaped too, because Windows and macOS fold case, and the prefix keeps
    // a stem from ever being a Windows device name such as CON or LPT1.
    const QString stem =
        u"b-"_s + QString::fromLatin1(id.toUtf8().toPercentEncoding({}, "ABCDEFGHIJKLMNOPQRSTUVWXYZ.~"));
    if (stem.size() <= maxCacheStemLength)
        return stem;
    // A long id would make a path that Windows may refuse. Its SHA-256 is short, and another id
    // shares it only by a collision nobody has ever found; the prefix keeps it apart from the above.
    return u"h-"_s +
           QString::fromLatin1(QCryptographicHash::hash(id.toUtf8(), QCryptographicHash::Sha256).toHex());
}
