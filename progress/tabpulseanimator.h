#pragma once

#include "common/statuscolours.h"

#include <QColor>
#include <QObject>
#include <QSet>
#include <QTimer>

class QSettings;
class QTabWidget;

// Makes the titles of the log and files tabs pulse in colour while something happens
// there out of the user's sight, and shows them red after a stop.
class TabPulseAnimator final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(TabPulseAnimator)

public:
    TabPulseAnimator(QTabWidget *tabWidget, QSettings *settings, QObject *parent = nullptr);

    // Called by the window after every change of run state, tab, settings or input.
    void update(bool running, bool hasFileList, int currentTab, int settingsTab, int logTab, int filesTab);
    void setAlert(bool on) { alert = on; }
    bool isAlert() const { return alert; }
    void setDarkTheme(bool dark) { darkTheme = dark; }

    QSet<int> pulsingTabs() const { return pulseSet; }
    bool isAnimating() const { return frameTimer.isActive(); }
    int frameIntervalMs() const { return frameTimer.interval(); }
    double currentPhase() const { return phase; }

    static QColor alertColour() { return QColor(StatusColours::error); }
    // The pulse colour at a phase (radians): from the theme's grey to green and back.
    static QColor pulseColour(double phase, bool darkTheme);
    static int clampFps(int fps);
    static int frameInterval(int fps) { return 1000 / clampFps(fps); }
    // One frame further; a whole cycle takes two seconds at any frame rate.
    static double advancePhase(double phase, int fps);

private:
    void tick();
    void applyColours();
    int readFps() const;

    QTabWidget *tabWidget = nullptr;
    QSettings *settings = nullptr;
    QTimer frameTimer;
    QSet<int> pulseSet;
    double phase = 0.0;
    bool darkTheme = false;
    bool alert = false;
    int logTabIndex = -1;
    int filesTabIndex = -1;
};
