#include "common/settingskeys.h"
#include "progress/tabpulseanimator.h"

#include <QSettings>
#include <QTabBar>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

class tst_TabPulseAnimator : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void pulseSet_data();
    void pulseSet();
    void framesColourOnlyOtherTabs();
    void alert();

private:
    QColor colour(int tab) const { return tabs->tabBar()->tabTextColor(tab); }

    QTemporaryDir dir;
    std::unique_ptr<QSettings> settings;
    std::unique_ptr<QTabWidget> tabs;
};

void tst_TabPulseAnimator::init()
{
    settings = std::make_unique<QSettings>(dir.filePath(u"settings.ini"_s), QSettings::IniFormat);
    settings->clear();
    tabs = std::make_unique<QTabWidget>();
    for (const QString &title : {u"Settings"_s, u"Log"_s, u"Files"_s})
        tabs->addTab(new QWidget, title);
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
    for (int i = 0; i < tabs->count(); ++i)
        QVERIFY2(pulsing.contains(i) || !colour(i).isValid(), qPrintable(QString::number(i)));
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
    QCOMPARE(colour(2), TabPulseAnimator::pulseColour(animator.currentPhase(), true));
    QVERIFY(!colour(1).isValid());
    QVERIFY(!colour(0).isValid());
}

void tst_TabPulseAnimator::alert()
{
    // The alert shows even with blinking disabled, but never on the current tab.
    settings->setValue(SettingsKeys::disableTabBlinking(), true);
    tabs->setCurrentIndex(2);
    TabPulseAnimator animator(tabs.get(), settings.get());
    animator.update(true, true, 2, 0, 1, 2);
    animator.setAlert(true);
    animator.update(false, true, 2, 0, 1, 2);
    QVERIFY(!animator.isAnimating());
    QCOMPARE(colour(1), QColor(205, 49, 49));
    QVERIFY(!colour(0).isValid());
    QVERIFY(!colour(2).isValid());
    animator.setAlert(false);
    animator.update(false, false, 2, 0, 1, 2);
    for (int i = 0; i < 3; ++i)
        QVERIFY(!colour(i).isValid());
}

QTEST_MAIN(tst_TabPulseAnimator)
#include "tst_tabpulseanimator.moc"
