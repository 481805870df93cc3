#include "conversion/processgroup.h"

#include <QProcess>

#include <csignal>
#include <sys/types.h>
#include <unistd.h>

ProcessGroup::ProcessGroup(QProcess *process)
    : QObject(process)
    , process(process)
{
    // In the child between fork and exec: only async-signal-safe calls belong here.
    process->setChildProcessModifier([] { ::setpgid(0, 0); });
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
