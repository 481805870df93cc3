#include "batch/interruptwatcher.h"

#include <QWinEventNotifier>

#include <windows.h>

namespace {

// The console runs its handler on a thread of its own; an event object is all it touches.
HANDLE interruptEvent = nullptr;

BOOL WINAPI onConsoleEvent(DWORD type)
{
    if (type != CTRL_C_EVENT && type != CTRL_BREAK_EVENT && type != CTRL_CLOSE_EVENT)
        return FALSE;
    SetEvent(interruptEvent);
    return TRUE;
}

} // namespace

InterruptWatcher::InterruptWatcher(QObject *parent)
    : QObject(parent)
{
    if (interruptEvent)
        return;
    interruptEvent = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    if (!interruptEvent)
        return;
    auto *notifier = new QWinEventNotifier(interruptEvent, this);
    connect(notifier, &QWinEventNotifier::activated, this, &InterruptWatcher::onReadable);
    active = SetConsoleCtrlHandler(onConsoleEvent, TRUE) != 0;
}

InterruptWatcher::~InterruptWatcher()
{
    if (!interruptEvent)
        return;
    SetConsoleCtrlHandler(onConsoleEvent, FALSE);
    CloseHandle(interruptEvent);
    interruptEvent = nullptr;
}

void InterruptWatcher::onReadable()
{
    // The event does not count; every wake-up is one interruption.
    Q_EMIT interrupted(CTRL_C_EVENT, ++count);
}
