#pragma once

// Keeps tests of the online code on this machine: no proxy in the way of 127.0.0.1, and the
// HTTPS client trusting exactly the test's own CA bundle and talking to the test's own host.

#include <QByteArray>
#include <QString>

inline void useLocalTestHost(const QString &caBundlePath, const QString &updateHostUrl)
{
    for (const char *name :
         {"https_proxy", "HTTPS_PROXY", "http_proxy", "HTTP_PROXY", "all_proxy", "ALL_PROXY"})
        qunsetenv(name);
    qputenv("no_proxy", "127.0.0.1,localhost");
    qputenv("KVT_CA_BUNDLE", caBundlePath.toUtf8());
    qputenv("KVT_UPDATE_HOST", updateHostUrl.toUtf8());
}
