#include "app/settingsdialog.h"

#include <QComboBox>
#include <QPushButton>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

// Gives the control a value the way the user would: a combo box its item for the value, a
// check box or spin box its checked state or value.
void edit(QWidget *control, const QVariant &value)
{
    QVERIFY(control);
    if (auto *combo = qobject_cast<QComboBox *>(control))
        combo->setCurrentIndex(combo->findData(value));
    else
        QVERIFY(control->metaObject()->userProperty().write(control, value));
}

} // namespace

class tst_SettingsDialog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void okSavesEachControl_data();
    void okSavesEachControl();
    void cancelSavesNothing();
};

void tst_SettingsDialog::okSavesEachControl_data()
{
    QTest::addColumn<QString>("control");
    QTest::addColumn<QString>("key");    // in the "global" group
    QTest::addColumn<QVariant>("value"); // not the default, so saving the default would show
    QTest::addColumn<bool>("themeChanged");
    const QVariant on(true), off(false);
    QTest::addRow("automatic checks") << u"autoCheckUpdatesCheck"_s << u"autoCheckUpdates"_s << off << false;
    QTest::addRow("interval") << u"updateIntervalCombo"_s << u"updateIntervalDays"_s << QVariant(30) << false;
    QTest::addRow("confirm") << u"confirmBeforeStartCheck"_s << u"confirmBeforeStart"_s << on << false;
    QTest::addRow("theme") << u"themeCombo"_s << u"theme"_s << QVariant(u"dark"_s) << true;
    QTest::addRow("no blinking") << u"disableTabBlinkingCheck"_s << u"disableTabBlinking"_s << on << false;
    QTest::addRow("frame rate") << u"blinkingFpsSpin"_s << u"blinkingFps"_s << QVariant(45) << false;
    QTest::addRow("skip up to date") << u"skipUpToDateCheck"_s << u"skipUpToDate"_s << on << false;
    QTest::addRow("stall minutes") << u"stallMinutesSpin"_s << u"stallMinutes"_s << QVariant(0) << false;
    QTest::addRow("stall action") << u"stallActionCombo"_s << u"stallAction"_s << QVariant(u"skip"_s)
                                  << false;
    QTest::addRow("log lines") << u"logViewLinesSpin"_s << u"logViewLines"_s << QVariant(50000) << false;
    QTest::addRow("files at once") << u"parallelFilesSpin"_s << u"parallelFiles"_s << QVariant(3) << false;
    QTest::addRow("wine launcher") << u"wineLauncherEdit"_s << u"wineLauncher"_s
                                   << QVariant(u"/opt/wine-staging/bin/wine"_s) << false;
}

void tst_SettingsDialog::okSavesEachControl()
{
    QFETCH(QString, control);
    QFETCH(QString, key);
    QFETCH(QVariant, value);
    QFETCH(bool, themeChanged);
    const QTemporaryDir dir;
    QSettings settings(dir.filePath(u"settings.ini"_s), QSettings::IniFormat);
    SettingsDialog dialog(&settings);
    QStringList signalled;
    connect(&dialog, &SettingsDialog::themeChanged, this, [&] {
        // The new theme is already stored when the window is told to apply it.
        QCOMPARE(settings.value(u"global/theme"_s).toString(), u"dark"_s);
        signalled << u"theme"_s;
    });
    connect(&dialog, &SettingsDialog::settingsChanged, this, [&] { signalled << u"settings"_s; });
    edit(dialog.findChild<QWidget *>(control), value);
    QTest::mouseClick(dialog.findChild<QPushButton *>(u"okButton"_s), Qt::LeftButton);
    QCOMPARE(signalled, (themeChanged ? QStringList{u"theme"_s, u"settings"_s} : QStringList{u"settings"_s}));
    QCOMPARE(settings.value(u"global/"_s + key).toString(), value.toString());
}

void tst_SettingsDialog::cancelSavesNothing()
{
    const QTemporaryDir dir;
    QSettings settings(dir.filePath(u"settings.ini"_s), QSettings::IniFormat);
    settings.setValue(u"global/theme"_s, u"light"_s);
    SettingsDialog dialog(&settings);
    QSignalSpy themeChanged(&dialog, &SettingsDialog::themeChanged);
    QSignalSpy settingsChanged(&dialog, &SettingsDialog::settingsChanged);
    edit(dialog.findChild<QWidget *>(u"themeCombo"_s), u"dark"_s);
    edit(dialog.findChild<QWidget *>(u"blinkingFpsSpin"_s), 45);
    QTest::mouseClick(dialog.findChild<QPushButton *>(u"cancelButton"_s), Qt::LeftButton);
    QVERIFY(themeChanged.isEmpty() && settingsChanged.isEmpty());
    QCOMPARE(settings.allKeys(), QStringList{u"global/theme"_s});
    QCOMPARE(settings.value(u"global/theme"_s), u"light"_s);
}

QTEST_MAIN(tst_SettingsDialog)
#include "tst_settingsdialog.moc"
