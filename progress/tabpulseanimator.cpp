#include "progress/tabpulseanimator.h"

#include "common/settingskeys.h"

#include <QSettings>
#include <QTabBar>
#include <QTabWidget>

#include <algorithm>
#include <cmath>
#include <numbers>

TabPulseAnimator::TabPulseAnimator(QTabWidget *tabWidget, QSettings *settings, QObject *parent)
    : QObject(parent)
    , tabWidget(tabWidget)
    , settings(settings)
{
    frameTimer.setInterval(33);
    connect(&frameTimer, &QTimer::timeout, this, &TabPulseAnimator::tick);
}

QColor TabPulseAnimator::pulseColour(double phase, bool darkTheme)
{
    const double t = (std::sin(phase) + 1.0) / 2.0;
    const int base = darkTheme ? 153 : 119;
    const auto channel = [t](int from, int to) {
        return from + static_cast<int>(std::round((to - from) * t));
    };
    return QColor::fromRgb(channel(base, 13), channel(base, 188), channel(base, 121));
}

int TabPulseAnimator::clampFps(int fps)
{
    return std::clamp(fps, 10, 60);
}

double TabPulseAnimator::advancePhase(double phase, int fps)
{
    phase += 2.0 * std::numbers::pi / (2.0 * clampFps(fps));
    if (phase > 2.0 * std::numbers::pi)
        phase -= 2.0 * std::numbers::pi;
    return phase;
}

int TabPulseAnimator::readFps() const
{
    const int fps =
        settings ? settings->value(SettingsKeys::blinkingFps(), SettingsKeys::defaultBlinkingFps).toInt()
                 : SettingsKeys::defaultBlinkingFps;
    return clampFps(fps);
}

void TabPulseAnimator::update(bool running, bool hasFileList, int currentTab, int settingsTab, int logTab,
                              int filesTab)
{
    logTabIndex = logTab;
    filesTabIndex = filesTab;
    if (alert) {
        frameTimer.stop();
        applyColours();
        return;
    }
    const bool blinkingDisabled =
        settings &&
        settings->value(SettingsKeys::disableTabBlinking(), SettingsKeys::defaultDisableTabBlinking).toBool();
    pulseSet.clear();
    if (!blinkingDisabled) {
        if (running)
            pulseSet.insert(logTab);
        if (running || hasFileList)
            pulseSet.insert(filesTab);
    }
    pulseSet.remove(settingsTab);
    pulseSet.remove(currentTab);

    if (pulseSet.isEmpty()) {
        frameTimer.stop();
        applyColours();
        return;
    }
    frameTimer.setInterval(frameInterval(readFps()));
    if (!frameTimer.isActive()) {
        phase = 0.0;
        frameTimer.start();
    }
    // Tabs that just left the set lose their colour now rather than on the next frame.
    applyColours();
}

void TabPulseAnimator::tick()
{
    phase = advancePhase(phase, readFps());
    applyColours();
}

void TabPulseAnimator::applyColours()
{
    if (!tabWidget)
        return;
    QTabBar *bar = tabWidget->tabBar();
    const int current = tabWidget->currentIndex();
    const QColor pulse = pulseColour(phase, darkTheme);
    for (int i = 0; i < bar->count(); ++i) {
        QColor colour;
        if (alert) {
            if ((i == logTabIndex || i == filesTabIndex) && i != current)
                colour = alertColour();
        } else if (pulseSet.contains(i) && i != current) {
            colour = pulse;
        }
        bar->setTabTextColor(i, colour);
    }
}
