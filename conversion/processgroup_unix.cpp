#include "conversion/processgroup.h"

#include <QProcess>

#include <csignal>
#ifdef __linux__
#include <sys/prctl.h>
#endif
#include <sys/types.h>
#include <unistd.h>

ProcessGroup::ProcessGroup(QProcess *process)
    : QObject(process)
    , process(process)
{
    // In the child between fork and exec: only async-signal-safe calls belong here. On Linux
    // the kernel also ends the converter if this program dies without stopping it.
    process->setChildProcessModifier([] {
        ::setpgid(0, 0);
#ifdef __linux__
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
#endif
    });
    connect(process, &QProcess::started, this, &ProcessGroup::onStarted);
}

ProcessGroup::~ProcessGroup() = default;

void ProcessGroup::onStarted()
{
    group = static_cast<quintptr>(process->processId());
}

void ProcessGroup::terminate()
{
    // The id cannot be taken by another process while any member of the group lives, so
    // this reaches only what the converter left behind.
    if (group > 0)
        ::kill(-static_cast<pid_t>(group), SIGKILL);
}
