#pragma once

// The contract between the Qt-facing httpsGet() and the platform's HTTPS client. It is
// plain standard C++ so that the Windows implementation can be compiled without Qt.

#include <cstdint>
#include <string>

enum class NativeHttpsError {
    None,
    InitFailed,
    ConnectFailed,
    RequestFailed,
    NetworkError,
    HttpStatus,
    TooLarge,
};

struct NativeHttpsRequest
{
    // Fully encoded https URL without query, fragment or user info (used by libcurl).
    std::string url;
    // Decoded host and path in UTF-8, and the port (used by WinHTTP).
    std::string host;
    std::string path;
    int port = 443;
    std::int64_t maxBytes = 0;
    // Resolving plus connecting may take this long, and so may a pause in the transfer.
    int timeoutMs = 5000;
    // The whole request may take this long, however steadily a slow server drips.
    int deadlineMs = 30000;
    // Trusted CA bundle replacing the system's (libcurl only); empty means the system's.
    std::string caBundlePath;
};

struct NativeHttpsResponse
{
    NativeHttpsError error = NativeHttpsError::None;
    long status = 0;
    std::string body;
};

// Blocking GET; follows at most three redirects, all of them over https.
NativeHttpsResponse nativeHttpsGet(const NativeHttpsRequest &request);
