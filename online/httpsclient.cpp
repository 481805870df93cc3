#include "online/httpsclient.h"

#include "online/nativehttps.h"

#include <QCoreApplication>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace {

QString errorText(const NativeHttpsResponse &response)
{
    switch (response.error) {
    case NativeHttpsError::None: return {};
    case NativeHttpsError::InitFailed:
        return QCoreApplication::translate("HttpsClient", "Failed to initialize HTTP client.");
    case NativeHttpsError::ConnectFailed:
        return QCoreApplication::translate("HttpsClient", "Failed to connect to server.");
    case NativeHttpsError::RequestFailed:
        return QCoreApplication::translate("HttpsClient", "Failed to create HTTP request.");
    case NativeHttpsError::NetworkError: return QCoreApplication::translate("HttpsClient", "Network error.");
    case NativeHttpsError::HttpStatus:
        return QCoreApplication::translate("HttpsClient", "HTTP %1").arg(response.status);
    case NativeHttpsError::TooLarge: return QCoreApplication::translate("HttpsClient", "Response too large.");
    }
    return QCoreApplication::translate("HttpsClient", "Network error.");
}

} // namespace

std::chrono::milliseconds httpsDeadlineFor(qint64 maxBytes)
{
    return std::chrono::milliseconds(maxBytes <= httpsJsonLimit ? 30000 : 60000);
}

HttpsResult httpsGet(const QString &url, qint64 maxBytes)
{
    return httpsGet(url, maxBytes, httpsDefaultTimeout);
}

HttpsResult httpsGet(const QString &url, qint64 maxBytes, std::chrono::milliseconds timeout,
                     std::chrono::milliseconds deadline)
{
    const QUrl parsed(url, QUrl::TolerantMode);
    if (!parsed.isValid() || parsed.scheme() != u"https"_s)
        return {{}, QCoreApplication::translate("HttpsClient", "Invalid HTTPS URL.")};

    // Only scheme, host, port and path go on the wire.
    QUrl target;
    target.setScheme(parsed.scheme());
    target.setHost(parsed.host(QUrl::FullyEncoded));
    target.setPort(parsed.port());
    const QString path = parsed.path(QUrl::FullyEncoded);
    target.setPath(path.isEmpty() ? u"/"_s : path, QUrl::TolerantMode);

    NativeHttpsRequest request;
    request.url = target.toString(QUrl::FullyEncoded).toStdString();
    request.host = parsed.host(QUrl::FullyDecoded).toStdString();
    request.path = parsed.path(QUrl::FullyDecoded).toStdString();
    request.port = parsed.port(443);
    request.maxBytes = maxBytes;
    request.timeoutMs = static_cast<int>(timeout.count());
    request.deadlineMs =
        static_cast<int>((deadline.count() > 0 ? deadline : httpsDeadlineFor(maxBytes)).count());
    request.caBundlePath = qEnvironmentVariable("KVT_CA_BUNDLE").toStdString();

    const NativeHttpsResponse response = nativeHttpsGet(request);
    HttpsResult result;
    result.error = errorText(response);
    result.body = QByteArray(response.body.data(), static_cast<qsizetype>(response.body.size()));
    return result;
}
