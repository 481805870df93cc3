#include "conversion/processgroup.h"

#include <QProcess>

#include <windows.h>

ProcessGroup::ProcessGroup(QProcess *process)
    : QObject(process)
    , process(process)
{
    // Closing the job's last handle ends whatever is still in it, even if we crash.
    HANDLE job = CreateJobObjectW(nullptr, nullptr);
    if (job) {
        JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
        limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
        SetInformationJobObject(job, JobObjectExtendedLimitInformation, &limits, sizeof limits);
        group = reinterpret_cast<quintptr>(job);
    }
    connect(process, &QProcess::started, this, &ProcessGroup::onStarted);
}

ProcessGroup::~ProcessGroup()
{
    if (group)
        CloseHandle(reinterpret_cast<HANDLE>(group));
}

void ProcessGroup::onStarted()
{
    // Processes the converter starts from now on join its job by themselves.
    HANDLE child =
        OpenProcess(PROCESS_SET_QUOTA | PROCESS_TERMINATE, FALSE, static_cast<DWORD>(process->processId()));
    if (group && child)
        AssignProcessToJobObject(reinterpret_cast<HANDLE>(group), child);
    if (child)
        CloseHandle(child);
}

void ProcessGroup::terminate()
{
    if (group)
        TerminateJobObject(reinterpret_cast<HANDLE>(group), 1);
}
