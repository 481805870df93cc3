#pragma once

#include <QString>
#include <QUrl>

// Values of the deployment: chosen when building, the update host also at run time.
namespace Deployment {

// Base URL of the update and banner host, without a trailing slash. The environment
// variable KVT_UPDATE_HOST replaces the built-in value (staging servers, tests).
QString updateHostUrl();

// Base URL of the vendor web site, without a trailing slash.
QString vendorSiteUrl();

QString contactEmail();

// A path that may be appended to one of our own base URLs: it must start with one slash and
// must not smuggle in another host ("//host") or scheme ("https://...").
bool isSafeRelativePath(const QString &path);

// The vendor web site's base URL followed by the path.
QUrl vendorSiteLink(const QString &path);

} // namespace Deployment
