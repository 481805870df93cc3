#pragma once

#include <QObject>

class QProcess;

// Keeps a converter and every helper process it starts together: a process group of its
// own on Linux and macOS, a job object on Windows. Ending the group ends them all, so a
// converter that forks cannot leave work running behind a stop, a skip or its own exit.
class ProcessGroup final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ProcessGroup)

public:
    // Made before the process starts, as its child.
    explicit ProcessGroup(QProcess *process);
    ~ProcessGroup() override;

    // Kills every process still in the group; safe to call at any time, also after the
    // converter itself has ended.
    void terminate();

private:
    void onStarted();

    QProcess *process;
    // The group's id (POSIX) or the job object's handle (Windows); 0 before the start.
    quintptr group = 0;
};
