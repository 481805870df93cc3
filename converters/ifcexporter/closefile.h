#pragma once

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

// Flushes and closes a result file written with stdio; false, with the system's reason in
// `error`, when any write failed (`failed`), the flush did or the close did: a full disk
// often shows only here.
inline bool closeResultFile(std::FILE *&file, bool failed, std::string &error)
{
    const bool flushed = std::fflush(file) == 0 && !std::ferror(file);
    const int saved = errno;
    const bool closed = std::fclose(file) == 0;
    file = nullptr;
    if (failed || !flushed || !closed) {
        error = std::strerror(saved != 0 ? saved : EIO);
        return false;
    }
    return true;
}
