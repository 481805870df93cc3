#include "online/nativehttps.h"

#include <chrono>
#include <curl/curl.h>
#include <mutex>

// HTTPS client on libcurl for every platform but Windows, meeting the WinHTTP client's contract.

namespace {

using Clock = std::chrono::steady_clock;

struct Transfer
{
    CURL *curl = nullptr;
    const NativeHttpsRequest *request = nullptr;
    NativeHttpsResponse *response = nullptr;
    bool rejectedStatus = false;
    bool tooLarge = false;
    curl_off_t lastReceived = -1;
    Clock::time_point lastActivity = Clock::now();
};

std::size_t onBodyData(char *data, std::size_t size, std::size_t count, void *user)
{
    auto *transfer = static_cast<Transfer *>(user);
    const std::size_t bytes = size * count;

    // Redirect bodies never arrive here; anything else but 200 is not read at all.
    long status = 0;
    curl_easy_getinfo(transfer->curl, CURLINFO_RESPONSE_CODE, &status);
    if (status != 200) {
        transfer->rejectedStatus = true;
        return bytes == 0 ? 1 : 0;
    }

    std::string &body = transfer->response->body;
    if (static_cast<std::int64_t>(body.size()) + static_cast<std::int64_t>(bytes) >
        transfer->request->maxBytes) {
        transfer->tooLarge = true;
        return bytes == 0 ? 1 : 0;
    }
    body.append(data, bytes);
    return bytes;
}

// Abandons a transfer that has received nothing for the timeout. The connect phase is
// bounded by the connect timeout, so the stall clock only runs once the TLS session is up.
int onProgress(void *user, curl_off_t, curl_off_t received, curl_off_t, curl_off_t)
{
    auto *transfer = static_cast<Transfer *>(user);
    const auto now = Clock::now();
    curl_off_t connectedAt = 0;
    curl_easy_getinfo(transfer->curl, CURLINFO_APPCONNECT_TIME_T, &connectedAt);
    if (connectedAt == 0 || received != transfer->lastReceived) {
        transfer->lastReceived = received;
        transfer->lastActivity = now;
        return 0;
    }
    const auto idle = std::chrono::duration_cast<std::chrono::milliseconds>(now - transfer->lastActivity);
    return idle.count() > transfer->request->timeoutMs ? 1 : 0;
}

class CurlHandle
{
public:
    CurlHandle()
    {
        static std::once_flag initialised;
        std::call_once(initialised, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
        handle = curl_easy_init();
    }
    CurlHandle(const CurlHandle &) = delete;
    CurlHandle &operator=(const CurlHandle &) = delete;
    ~CurlHandle()
    {
        if (handle)
            curl_easy_cleanup(handle);
    }

    CURL *handle = nullptr;
};

bool configure(CURL *curl, const NativeHttpsRequest &request, Transfer &transfer)
{
    bool ok = true;
    const auto set = [&](CURLoption option, auto value) {
        ok = ok && curl_easy_setopt(curl, option, value) == CURLE_OK;
    };
    set(CURLOPT_URL, request.url.c_str());
    set(CURLOPT_PROTOCOLS_STR, "https");
    set(CURLOPT_REDIR_PROTOCOLS_STR, "https");
    set(CURLOPT_FOLLOWLOCATION, 1L);
    set(CURLOPT_MAXREDIRS, 3L);
    set(CURLOPT_USERAGENT, "KVT");
    set(CURLOPT_HTTPGET, 1L);
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_SSL_VERIFYPEER, 1L);
    set(CURLOPT_SSL_VERIFYHOST, 2L);
    if (!request.caBundlePath.empty()) {
        set(CURLOPT_CAINFO, request.caBundlePath.c_str());
        set(CURLOPT_CAPATH, static_cast<const char *>(nullptr));
    }
    set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(request.timeoutMs));
    set(CURLOPT_TIMEOUT_MS, static_cast<long>(request.deadlineMs));
    set(CURLOPT_WRITEFUNCTION, &onBodyData);
    set(CURLOPT_WRITEDATA, static_cast<void *>(&transfer));
    set(CURLOPT_XFERINFOFUNCTION, &onProgress);
    set(CURLOPT_XFERINFODATA, static_cast<void *>(&transfer));
    set(CURLOPT_NOPROGRESS, 0L);
    return ok;
}

} // namespace

NativeHttpsResponse nativeHttpsGet(const NativeHttpsRequest &request)
{
    NativeHttpsResponse response;
    CurlHandle curl;
    if (!curl.handle) {
        response.error = NativeHttpsError::InitFailed;
        return response;
    }
    if (request.host.empty()) {
        response.error = NativeHttpsError::ConnectFailed;
        return response;
    }

    Transfer transfer;
    transfer.curl = curl.handle;
    transfer.request = &request;
    transfer.response = &response;
    if (!configure(curl.handle, request, transfer)) {
        response.error = NativeHttpsError::RequestFailed;
        return response;
    }

    const CURLcode result = curl_easy_perform(curl.handle);
    long status = 0;
    curl_easy_getinfo(curl.handle, CURLINFO_RESPONSE_CODE, &status);
    response.status = status;

    if (transfer.tooLarge) {
        response.error = NativeHttpsError::TooLarge;
    } else if (transfer.rejectedStatus || (result == CURLE_OK && status != 200)) {
        response.error = NativeHttpsError::HttpStatus;
        response.body.clear();
    } else if (result != CURLE_OK) {
        response.error = NativeHttpsError::NetworkError;
        response.body.clear();
    }
    return response;
}
