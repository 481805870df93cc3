#include "online/deployment.h"

#include "deploymentconfig.h"

using namespace Qt::StringLiterals;

namespace {

QString withoutTrailingSlash(QString url)
{
    while (url.endsWith(u'/'))
        url.chop(1);
    return url;
}

} // namespace

namespace Deployment {

QString updateHostUrl()
{
    const QString override = qEnvironmentVariable("KVT_UPDATE_HOST").trimmed();
    return withoutTrailingSlash(override.isEmpty() ? QStringLiteral(KVT_UPDATE_HOST) : override);
}

QString vendorSiteUrl()
{
    return withoutTrailingSlash(QStringLiteral(KVT_VENDOR_SITE));
}

QString contactEmail()
{
    return QStringLiteral(KVT_CONTACT_EMAIL);
}

bool isSafeRelativePath(const QString &path)
{
    return !path.isEmpty() && path.startsWith(u'/') && !path.startsWith(u"//"_s) && !path.contains(u"://"_s);
}

QUrl vendorSiteLink(const QString &path)
{
    return QUrl(vendorSiteUrl() + path, QUrl::TolerantMode);
}

} // namespace Deployment
