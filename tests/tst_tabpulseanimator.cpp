#include "common/settingskeys.h"
#include "progress/tabpulseanimator.h"

#include <QSettings>
#include <QTabBar>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>
#include <memory>
#include <numbers>

using namespace Qt::StringLiterals;

class tst_TabPulseAnimator : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void pulseColour_data();
    void pulseColour();
    void frameInterval_data();
    void frameInterval();
    void periodIsTwoSecondsAtAnyRate();
    void pulseSet_data();
    void pulseSet();
    void framesColourOnlyOtherTabs();
    void alert();

private:
    QTemporaryDir dir;
    std::unique_ptr<QSettings> settings;
    std::unique_ptr<QTabWidget> tabs;
};

void tst_TabPulseAnimator::init()
{
    settings.reset();
    settings = std::make_unique<QSettings>(dir.filePath(u"settings.ini"_s), QSettings::IniFormat);
    settings->clear();
    tabs = std::make_unique<QTabWidget>();
    for (const QString &title : {u"Settings"_s, u"Log"_s, u"Files"_s})
        tabs->addTab(new QWidget, title);
}

void tst_TabPulseAnimator::pulseColour_data()
{
    QTest::addColumn<double>("phase");
    QTest::addColumn<bool>("dark");
    QTest::addColumn<QColor>("colour");
    const double pi = std::numbers::pi;
    // Phase 0 is halfway: 119 + round(-53), 119 + round(34.5) (half away from zero), 119 + round(1).
    QTest::addRow("light start") << 0.0 << false << QColor(66, 154, 120);
    QTest::addRow("dark peak") << pi / 2 << true << QColor(13, 188, 121);
    QTest::addRow("light trough") << 3 * pi / 2 << false << QColor(119, 119, 119);
    QTest::addRow("dark trough") << 3 * pi / 2 << true << QColor(153, 153, 153);
}

void tst_TabPulseAnimator::pulseColour()
{
    QFETCH(double, phase);
    QFETCH(bool, dark);
    QFETCH(QColor, colour);
    QCOMPARE(TabPulseAnimator::pulseColour(phase, dark), colour);
}

void tst_TabPulseAnimator::frameInterval_data()
{
    QTest::addColumn<int>("fps");
    QTest::addColumn<int>("interval");
    QTest::addRow("10") << 10 << 100;
    QTest::addRow("30") << 30 << 33;
    QTest::addRow("60") << 60 << 16;
    QTest::addRow("zero") << 0 << 100;
    QTest::addRow("above range") << 240 << 16;
}

void tst_TabPulseAnimator::frameInterval()
{
    QFETCH(int, fps);
    QFETCH(int, interval);
    QCOMPARE(TabPulseAnimator::frameInterval(fps), interval);

    // The animator reads the rate from the settings store it is given.
    settings->setValue(SettingsKeys::blinkingFps(), fps);
    TabPulseAnimator animator(tabs.get(), settings.get());
    animator.update(true, true, 0, 0, 1, 2);
    QVERIFY(animator.isAnimating());
    QCOMPARE(animator.frameIntervalMs(), interval);
}

void tst_TabPulseAnimator::periodIsTwoSecondsAtAnyRate()
{
    for (int fps : {24, 60}) {
        double phase = 0.0;
        for (int frame = 0; frame < fps; ++frame)
            phase = TabPulseAnimator::advancePhase(phase, fps);
        // One second of frames is half a cycle...
        QVERIFY(std::abs(phase - std::numbers::pi) < 1e-9);
        for (int frame = 0; frame < fps; ++frame) {
            phase = TabPulseAnimator::advancePhase(phase, fps);
            QVERIFY(phase >= 0.0 && phase <= 2 * std::numbers::pi);
        }
        // ...and two seconds a whole one.
        QVERIFY(std::abs(phase) < 1e-9 || std::abs(phase - 2 * std::numbers::pi) < 1e-9);
    }
}

void tst_TabPulseAnimator::pulseSet_data()
{
    QTest::addColumn<bool>("running");
    QTest::addColumn<bool>("hasFileList");
    QTest::addColumn<int>("current");
    QTest::addColumn<bool>("blinkingDisabled");
    QTest::addColumn<QList<int>>("pulsing");
    QTest::addRow("running, on settings") << true << false << 0 << false << QList<int>{1, 2};
    QTest::addRow("running, on files") << true << true << 2 << false << QList<int>{1};
    QTest::addRow("idle with list") << false << true << 0 << false << QList<int>{2};
    QTest::addRow("idle with list, on files") << false << true << 2 << false << QList<int>{};
    QTest::addRow("blinking disabled") << true << true << 0 << true << QList<int>{};
}

void tst_TabPulseAnimator::pulseSet()
{
    QFETCH(bool, running);
    QFETCH(bool, hasFileList);
    QFETCH(int, current);
    QFETCH(bool, blinkingDisabled);
    QFETCH(QList<int>, pulsing);
    settings->setValue(SettingsKeys::disableTabBlinking(), blinkingDisabled);
    tabs->setCurrentIndex(current);
    TabPulseAnimator animator(tabs.get(), settings.get());
    // Start from a state where every tab pulses, so the update has something to undo.
    animator.update(true, true, -1, -1, 1, 2);
    animator.update(running, hasFileList, current, 0, 1, 2);
    QList<int> actual = animator.pulsingTabs().values();
    std::sort(actual.begin(), actual.end());
    QCOMPARE(actual, pulsing);
    QCOMPARE(animator.isAnimating(), !pulsing.isEmpty());
    for (int i = 0; i < tabs->count(); ++i) {
        if (!pulsing.contains(i))
            QVERIFY2(!tabs->tabBar()->tabTextColor(i).isValid(), qPrintable(QString::number(i)));
    }
}

void tst_TabPulseAnimator::framesColourOnlyOtherTabs()
{
    settings->setValue(SettingsKeys::blinkingFps(), 60);
    tabs->setCurrentIndex(1);
    TabPulseAnimator animator(tabs.get(), settings.get());
    animator.setDarkTheme(true);
    animator.update(true, true, 1, 0, 1, 2);
    QCOMPARE(animator.currentPhase(), 0.0);
    QTRY_VERIFY(animator.currentPhase() > 0.0);
    const QColor files = tabs->tabBar()->tabTextColor(2);
    QCOMPARE(files, TabPulseAnimator::pulseColour(animator.currentPhase(), true));
    QVERIFY(!tabs->tabBar()->tabTextColor(1).isValid());
    QVERIFY(!tabs->tabBar()->tabTextColor(0).isValid());
}

void tst_TabPulseAnimator::alert()
{
    // The alert shows even with blinking disabled, but never on the current tab.
    settings->setValue(SettingsKeys::disableTabBlinking(), true);
    tabs->setCurrentIndex(2);
    TabPulseAnimator animator(tabs.get(), settings.get());
    animator.update(true, true, 2, 0, 1, 2);
    animator.setAlert(true);
    QVERIFY(animator.isAlert());
    animator.update(false, true, 2, 0, 1, 2);
    QVERIFY(!animator.isAnimating());
    QCOMPARE(tabs->tabBar()->tabTextColor(1), QColor(205, 49, 49));
    QVERIFY(!tabs->tabBar()->tabTextColor(0).isValid());
    QVERIFY(!tabs->tabBar()->tabTextColor(2).isValid());
    animator.setAlert(false);
    animator.update(false, false, 2, 0, 1, 2);
    for (int i = 0; i < 3; ++i)
        QVERIFY(!tabs->tabBar()->tabTextColor(i).isValid());
}

QTEST_MAIN(tst_TabPulseAnimator)
#include "tst_tabpulseanimator.moc"
