#include "pendingfile.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

// The signal handler may only use what is safe in one: fixed buffers and unlink().
constexpr std::size_t maxPending = 8;
constexpr std::size_t maxPath = 4096;
std::array<std::array<char, maxPath>, maxPending> pendingPaths{};
volatile std::sig_atomic_t handlersInstalled = 0;

extern "C" void removePendingAndExit(int signalNumber)
{
    for (auto &path : pendingPaths) {
        if (path[0] != '\0')
            unlink(path.data());
    }
    signal(signalNumber, SIG_DFL);
    raise(signalNumber);
}

void installHandlers()
{
    if (handlersInstalled)
        return;
    handlersInstalled = 1;
    struct sigaction action
    {
    };
    action.sa_handler = removePendingAndExit;
    sigemptyset(&action.sa_mask);
    for (const int s : {SIGTERM, SIGINT, SIGHUP})
        sigaction(s, &action, nullptr);
}

} // namespace

PendingFile::PendingFile(std::string finalPath)
    : target(std::move(finalPath))
    , temporary(target + ".part" + std::to_string(getpid()))
{
}

PendingFile::~PendingFile()
{
    if (!committed && slot >= 0)
        std::remove(temporary.c_str());
    if (slot >= 0)
        pendingPaths[static_cast<std::size_t>(slot)][0] = '\0';
}

bool PendingFile::create()
{
    const int fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0)
        return false;
    close(fd);
    installHandlers();
    for (std::size_t i = 0; i < maxPending; ++i) {
        if (pendingPaths[i][0] == '\0' && temporary.size() < maxPath) {
            std::memcpy(pendingPaths[i].data(), temporary.c_str(), temporary.size() + 1);
            slot = static_cast<int>(i);
            break;
        }
    }
    if (slot < 0) {
        std::remove(temporary.c_str());
        return false;
    }
    return true;
}

bool PendingFile::commit()
{
    if (slot < 0 || std::rename(temporary.c_str(), target.c_str()) != 0)
        return false;
    committed = true;
    return true;
}
