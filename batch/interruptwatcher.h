#pragma once

#include <QObject>

// Turns Ctrl+C and SIGTERM (a console close on Windows) into a signal of the event loop. The
// handler itself only writes a byte to a pipe, the one thing that is safe there; every
// interruption is delivered, and none ends the program by itself, so the converters are
// always stopped by the command, however often the user presses Ctrl+C.
class InterruptWatcher final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(InterruptWatcher)

public:
    explicit InterruptWatcher(QObject *parent = nullptr);
    // Gives the signals back to their default handling.
    ~InterruptWatcher() override;

    // False when the watcher could not be set up (the signals then keep their defaults).
    bool isActive() const { return active; }

Q_SIGNALS:
    // signalNumber: SIGINT, SIGTERM (or the console event on Windows); count: how many
    // interruptions have arrived so far.
    void interrupted(int signalNumber, int count);

private:
    void onReadable();

    bool active = false;
    int count = 0;
};
