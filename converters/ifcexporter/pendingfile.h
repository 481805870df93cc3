#pragma once

#include <string>

// A result file written under a temporary name beside its final one and renamed only when
// complete, so a stopped or failed run never leaves a half-written file under the final name.
// The temporary file is removed when the object is destroyed uncommitted, and also when the
// process is ended by SIGTERM, SIGINT or SIGHUP (the front end's stop and skip).
class PendingFile
{
public:
    explicit PendingFile(std::string finalPath);
    ~PendingFile();
    PendingFile(const PendingFile &) = delete;
    PendingFile &operator=(const PendingFile &) = delete;

    const std::string &finalPath() const { return target; }
    const std::string &temporaryPath() const { return temporary; }

    // Creates the (empty) temporary file; false when the folder is missing or not writable.
    bool create();
    // Renames the finished temporary file to the final name; false when that fails.
    bool commit();

private:
    std::string target;
    std::string temporary;
    int slot = -1;
    bool committed = false;
};
