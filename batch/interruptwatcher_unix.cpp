#include "batch/interruptwatcher.h"

#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

// A signal handler can reach nothing but globals; these two descriptors are all it touches.
int pipeFds[2] = {-1, -1};

void onSignal(int signalNumber)
{
    const int savedErrno = errno;
    const auto byte = static_cast<unsigned char>(signalNumber);
    // A full pipe means plenty of interruptions are already waiting: losing one is harmless.
    [[maybe_unused]] const ssize_t written = ::write(pipeFds[1], &byte, 1);
    errno = savedErrno;
}

constexpr int watchedSignals[] = {SIGINT, SIGTERM};

} // namespace

InterruptWatcher::InterruptWatcher(QObject *parent)
    : QObject(parent)
{
    if (pipeFds[0] >= 0 || ::pipe(pipeFds) != 0)
        return;
    for (const int fd : pipeFds) {
        ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
        ::fcntl(fd, F_SETFD, FD_CLOEXEC);
    }
    auto *notifier = new QSocketNotifier(pipeFds[0], QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &InterruptWatcher::onReadable);

    struct sigaction action
    {
    };
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (const int signalNumber : watchedSignals)
        ::sigaction(signalNumber, &action, nullptr);
    active = true;
}

InterruptWatcher::~InterruptWatcher()
{
    if (!active)
        return;
    struct sigaction action
    {
    };
    action.sa_handler = SIG_DFL;
    sigemptyset(&action.sa_mask);
    for (const int signalNumber : watchedSignals)
        ::sigaction(signalNumber, &action, nullptr);
    ::close(pipeFds[0]);
    ::close(pipeFds[1]);
    pipeFds[0] = pipeFds[1] = -1;
}

void InterruptWatcher::onReadable()
{
    unsigned char bytes[64];
    ssize_t n = 0;
    while ((n = ::read(pipeFds[0], bytes, sizeof bytes)) > 0) {
        for (ssize_t i = 0; i < n; ++i)
            Q_EMIT interrupted(bytes[i], ++count);
    }
}
