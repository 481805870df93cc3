#include "common/settingskeys.h"
#include "progress/tabpulseanimator.h"

#include <QSettings>
#include <QTabBar>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class tst_TabPulseAnimator : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tabs();
};

void tst_TabPulseAnimator::tabs()
{
    QTemporaryDir dir;
    QSettings settings(dir.filePath(u"settings.ini"_s), QSettings::IniFormat);
    QTabWidget tabs;
    for (const QString &title : {u"Settings"_s, u"Log"_s, u"Files"_s})
        tabs.addTab(new QWidget, title);
    TabPulseAnimator animator(&tabs, &settings);
    const QTabBar *bar = tabs.tabBar();
    // Reports a state as the window does; the three titles at once: 0 plain, 1 pulsing, 2 alert.
    const auto report = [&](bool running, bool list, int current, bool off = false, bool alert = false) {
        settings.setValue(SettingsKeys::disableTabBlinking(), off);
        animator.setAlert(alert);
        tabs.setCurrentIndex(current);
        animator.update(running, list, current, 0, 1, 2);
        QString seen = animator.isAnimating() ? u"pulsing:"_s : u"still:"_s;
        for (const QColor &colour : {bar->tabTextColor(0), bar->tabTextColor(1), bar->tabTextColor(2)})
            seen += u' ' + QString::number(colour.isValid() + (colour == TabPulseAnimator::alertColour()));
        return seen;
    };
    QCOMPARE(report(true, false, 0), u"pulsing: 0 1 1"_s);
    QTRY_VERIFY(animator.currentPhase() > 0.0); // frames go on colouring the pulsing tabs
    QCOMPARE(bar->tabTextColor(2), TabPulseAnimator::pulseColour(animator.currentPhase(), false));
    // The current tab never pulses, nor does any with blinking off; the alert after a stop shows then.
    QCOMPARE(QStringList({report(true, true, 2), report(false, true, 0), report(false, true, 2),
                          report(true, true, 0, true), report(false, true, 2, true, true)})
                 .join(u", "_s),
             u"pulsing: 0 1 0, pulsing: 0 0 1, still: 0 0 0, still: 0 0 0, still: 0 2 0"_s);
}

QTEST_MAIN(tst_TabPulseAnimator)
#include "tst_tabpulseanimator.moc"
