#pragma once

#include <QByteArray>
#include <QString>

#include <chrono>

// The outcome of one GET: success exactly when error is empty.
struct HttpsResult
{
    QByteArray body;
    QString error;

    bool ok() const { return error.isEmpty(); }
};

// Size limits the callers use: the small JSON documents, and one banner picture.
inline constexpr qint64 httpsJsonLimit = 65536;
inline constexpr qint64 httpsImageLimit = 2097152;

// Both resolving plus connecting, and a pause in the transfer, are given up after this.
inline constexpr std::chrono::milliseconds httpsDefaultTimeout{5000};
// However steadily a server sends, a request ends after this: half a minute for the small
// JSON documents, a minute for anything larger (a picture).
std::chrono::milliseconds httpsDeadlineFor(qint64 maxBytes);

// Blocking HTTPS GET of the URL's path (query and fragment are not sent); call it on a worker
// thread only. Certificates are always verified; the environment variable KVT_CA_BUNDLE may
// name the trusted CA bundle instead of the system's (where the platform client supports it).
HttpsResult httpsGet(const QString &url, qint64 maxBytes);

// The same with other limits, so that tests need not wait for a stall or the deadline.
HttpsResult httpsGet(const QString &url, qint64 maxBytes, std::chrono::milliseconds timeout,
                     std::chrono::milliseconds deadline = std::chrono::milliseconds(0));
