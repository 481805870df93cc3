#include "online/nativehttps.h"

#include <vector>
#include <windows.h>
#include <winhttp.h>

// Windows HTTPS client on WinHTTP. Deliberately free of Qt: it is also compiled by the
// MinGW cross compiler on Linux so that it keeps building on every change.

namespace {

std::wstring widen(const std::string &utf8)
{
    if (utf8.empty())
        return {};
    const int length = static_cast<int>(utf8.size());
    const int needed = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, nullptr, 0);
    if (needed <= 0)
        return {};
    std::wstring wide(static_cast<std::size_t>(needed), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, wide.data(), needed);
    return wide;
}

// Closes whatever was opened, request before connection before session, on every way out.
class WinHttpHandles
{
public:
    WinHttpHandles() = default;
    WinHttpHandles(const WinHttpHandles &) = delete;
    WinHttpHandles &operator=(const WinHttpHandles &) = delete;
    ~WinHttpHandles()
    {
        if (request)
            WinHttpCloseHandle(request);
        if (connection)
            WinHttpCloseHandle(connection);
        if (session)
            WinHttpCloseHandle(session);
    }

    HINTERNET session = nullptr;
    HINTERNET connection = nullptr;
    HINTERNET request = nullptr;
};

} // namespace

NativeHttpsResponse nativeHttpsGet(const NativeHttpsRequest &request)
{
    NativeHttpsResponse response;
    WinHttpHandles handles;

    handles.session = WinHttpOpen(L"KVT", WINHTTP_ACCESS_TYPE_DEFAULT_PROXY, WINHTTP_NO_PROXY_NAME,
                                  WINHTTP_NO_PROXY_BYPASS, 0);
    if (!handles.session) {
        response.error = NativeHttpsError::InitFailed;
        return response;
    }
    const int timeout = request.timeoutMs;
    WinHttpSetTimeouts(handles.session, timeout, timeout, timeout, timeout);

    const std::wstring host = widen(request.host);
    if (!host.empty())
        handles.connection =
            WinHttpConnect(handles.session, host.c_str(), static_cast<INTERNET_PORT>(request.port), 0);
    if (!handles.connection) {
        response.error = NativeHttpsError::ConnectFailed;
        return response;
    }

    const std::wstring path = widen(request.path.empty() ? std::string("/") : request.path);
    handles.request =
        WinHttpOpenRequest(handles.connection, L"GET", path.c_str(), nullptr, WINHTTP_NO_REFERER,
                           WINHTTP_DEFAULT_ACCEPT_TYPES, WINHTTP_FLAG_SECURE);
    if (!handles.request) {
        response.error = NativeHttpsError::RequestFailed;
        return response;
    }

    DWORD maxRedirects = 3;
    WinHttpSetOption(handles.request, WINHTTP_OPTION_MAX_HTTP_AUTOMATIC_REDIRECTS, &maxRedirects,
                     sizeof(maxRedirects));

    if (!WinHttpSendRequest(handles.request, WINHTTP_NO_ADDITIONAL_HEADERS, 0, WINHTTP_NO_REQUEST_DATA, 0, 0,
                            0) ||
        !WinHttpReceiveResponse(handles.request, nullptr)) {
        response.error = NativeHttpsError::NetworkError;
        return response;
    }

    DWORD status = 0;
    DWORD statusSize = sizeof(status);
    WinHttpQueryHeaders(handles.request, WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                        WINHTTP_HEADER_NAME_BY_INDEX, &status, &statusSize, WINHTTP_NO_HEADER_INDEX);
    response.status = static_cast<long>(status);
    if (status != 200) {
        response.error = NativeHttpsError::HttpStatus;
        return response;
    }

    // WinHTTP bounds each wait, not the whole transfer; a server that drips a byte now and
    // then is cut off here.
    const ULONGLONG deadline = GetTickCount64() + static_cast<ULONGLONG>(request.deadlineMs);
    for (;;) {
        if (GetTickCount64() > deadline) {
            response.error = NativeHttpsError::NetworkError;
            response.body.clear();
            break;
        }
        DWORD available = 0;
        if (!WinHttpQueryDataAvailable(handles.request, &available) || available == 0)
            break;
        if (static_cast<std::int64_t>(response.body.size()) + available > request.maxBytes) {
            response.error = NativeHttpsError::TooLarge;
            break;
        }
        std::vector<char> buffer(available);
        DWORD read = 0;
        WinHttpReadData(handles.request, buffer.data(), available, &read);
        response.body.append(buffer.data(), read);
    }
    return response;
}
