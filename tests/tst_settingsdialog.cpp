#include "app/settingsdialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QPushButton>
#include <QSettings>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

struct Editors
{
    QCheckBox *autoCheck;
    QComboBox *interval;
    QCheckBox *confirm;
    QComboBox *theme;
    QCheckBox *blinkingOff;
    QSpinBox *fps;
    QPushButton *ok;
    QPushButton *cancel;
};

Editors editorsOf(const SettingsDialog &dialog)
{
    return {dialog.findChild<QCheckBox *>(u"autoCheckUpdatesCheck"_s),
            dialog.findChild<QComboBox *>(u"updateIntervalCombo"_s),
            dialog.findChild<QCheckBox *>(u"confirmBeforeStartCheck"_s),
            dialog.findChild<QComboBox *>(u"themeCombo"_s),
            dialog.findChild<QCheckBox *>(u"disableTabBlinkingCheck"_s),
            dialog.findChild<QSpinBox *>(u"blinkingFpsSpin"_s),
            dialog.findChild<QPushButton *>(u"okButton"_s),
            dialog.findChild<QPushButton *>(u"cancelButton"_s)};
}

QVariantMap contents(const QSettings &settings)
{
    QVariantMap map;
    const QStringList keys = settings.allKeys();
    for (const QString &key : keys)
        map.insert(key, settings.value(key));
    return map;
}

} // namespace

class tst_SettingsDialog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void editorsExist();
    void loadFillsEditors_data();
    void loadFillsEditors();
    void saveWritesEditors_data();
    void saveWritesEditors();
    void unmatchedIntervalSavesFirstItem();
    void signalsOnSave_data();
    void signalsOnSave();
    void cancelWritesNothing();
    void spinFollowsBlinkingSwitch();

private:
    std::unique_ptr<QTemporaryDir> dir;
    std::unique_ptr<QSettings> settings;
};

void tst_SettingsDialog::init()
{
    dir = std::make_unique<QTemporaryDir>();
    QVERIFY(dir->isValid());
    settings = std::make_unique<QSettings>(dir->filePath(u"settings.ini"_s), QSettings::IniFormat);
}

void tst_SettingsDialog::cleanup()
{
    settings.reset();
    dir.reset();
}

void tst_SettingsDialog::editorsExist()
{
    SettingsDialog dialog(settings.get());
    const Editors e = editorsOf(dialog);
    for (QObject *editor : std::initializer_list<QObject *>{e.autoCheck, e.interval, e.confirm, e.theme,
                                                            e.blinkingOff, e.fps, e.ok, e.cancel})
        QVERIFY(editor);
    // Enter in any editor saves.
    QVERIFY(e.ok->isDefault());
    const auto *tabs = dialog.findChild<QTabWidget *>();
    QVERIFY(tabs);
    QCOMPARE(tabs->count(), 2);
    QCOMPARE(tabs->tabText(0), u"General"_s);
    QCOMPARE(tabs->tabText(1), u"Appearance"_s);
    // The editors sit on the tabs the user looks for them on.
    QVERIFY(tabs->widget(0)->isAncestorOf(e.interval));
    QVERIFY(tabs->widget(1)->isAncestorOf(e.theme));
    QVERIFY(tabs->widget(1)->isAncestorOf(e.fps));
}

void tst_SettingsDialog::loadFillsEditors_data()
{
    QTest::addColumn<QVariantMap>("stored");
    QTest::addColumn<bool>("autoCheck");
    QTest::addColumn<int>("intervalDays");
    QTest::addColumn<bool>("confirm");
    QTest::addColumn<QString>("theme");
    QTest::addColumn<bool>("blinkingOff");
    QTest::addColumn<int>("fps");

    QTest::addRow("empty store gives the defaults")
        << QVariantMap() << true << 7 << false << u"auto"_s << false << 30;
    QTest::addRow("every value stored")
        << QVariantMap{{u"global/autoCheckUpdates"_s, false},  {u"global/updateIntervalDays"_s, 30},
                       {u"global/confirmBeforeStart"_s, true}, {u"global/theme"_s, u"light"_s},
                       {u"global/disableTabBlinking"_s, true}, {u"global/blinkingFps"_s, 45}}
        << false << 30 << true << u"light"_s << true << 45;
    QTest::addRow("dark theme") << QVariantMap{{u"global/theme"_s, u"dark"_s}} << true << 7 << false
                                << u"dark"_s << false << 30;
    QTest::addRow("unknown theme leaves the first item")
        << QVariantMap{{u"global/theme"_s, u"Dark"_s}} << true << 7 << false << u"auto"_s << false << 30;
    QTest::addRow("unmatched interval leaves the first item")
        << QVariantMap{{u"global/updateIntervalDays"_s, 5}} << true << 1 << false << u"auto"_s << false << 30;
    QTest::addRow("text interval from a hand-edited file")
        << QVariantMap{{u"global/updateIntervalDays"_s, u"14"_s}} << true << 14 << false << u"auto"_s << false
        << 30;
    QTest::addRow("frame rate above the range is clamped")
        << QVariantMap{{u"global/blinkingFps"_s, 100}} << true << 7 << false << u"auto"_s << false << 60;
    QTest::addRow("frame rate below the range is clamped")
        << QVariantMap{{u"global/blinkingFps"_s, 1}} << true << 7 << false << u"auto"_s << false << 10;
}

void tst_SettingsDialog::loadFillsEditors()
{
    QFETCH(QVariantMap, stored);
    QFETCH(bool, autoCheck);
    QFETCH(int, intervalDays);
    QFETCH(bool, confirm);
    QFETCH(QString, theme);
    QFETCH(bool, blinkingOff);
    QFETCH(int, fps);

    for (auto it = stored.cbegin(); it != stored.cend(); ++it)
        settings->setValue(it.key(), it.value());
    settings->sync();
    // What a restarted program sees: the values as read back from the file.
    QSettings reread(settings->fileName(), QSettings::IniFormat);
    SettingsDialog dialog(&reread);
    const Editors e = editorsOf(dialog);
    QCOMPARE(e.autoCheck->isChecked(), autoCheck);
    QCOMPARE(e.interval->currentData().toInt(), intervalDays);
    QCOMPARE(e.confirm->isChecked(), confirm);
    QCOMPARE(e.theme->currentData().toString(), theme);
    QCOMPARE(e.blinkingOff->isChecked(), blinkingOff);
    QCOMPARE(e.fps->value(), fps);
    QCOMPARE(e.fps->isEnabled(), !blinkingOff);
}

void tst_SettingsDialog::saveWritesEditors_data()
{
    QTest::addColumn<int>("intervalIndex");
    QTest::addColumn<int>("expectedDays");
    QTest::addColumn<int>("themeIndex");
    QTest::addColumn<QString>("expectedTheme");
    QTest::addColumn<bool>("flags");

    // Every item of both combos, so each item's data is what ends up in the store.
    QTest::addRow("every day, auto") << 0 << 1 << 0 << u"auto"_s << true;
    QTest::addRow("every 3 days, dark") << 1 << 3 << 1 << u"dark"_s << false;
    QTest::addRow("every week, light") << 2 << 7 << 2 << u"light"_s << true;
    QTest::addRow("every 2 weeks") << 3 << 14 << 0 << u"auto"_s << false;
    QTest::addRow("every month") << 4 << 30 << 1 << u"dark"_s << true;
}

void tst_SettingsDialog::saveWritesEditors()
{
    QFETCH(int, intervalIndex);
    QFETCH(int, expectedDays);
    QFETCH(int, themeIndex);
    QFETCH(QString, expectedTheme);
    QFETCH(bool, flags);

    SettingsDialog dialog(settings.get());
    const Editors e = editorsOf(dialog);
    e.autoCheck->setChecked(!flags);
    e.interval->setCurrentIndex(intervalIndex);
    e.confirm->setChecked(flags);
    e.theme->setCurrentIndex(themeIndex);
    e.blinkingOff->setChecked(flags);
    e.fps->setValue(flags ? 12 : 59);
    QTest::mouseClick(e.ok, Qt::LeftButton);
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    settings->sync();

    const QSettings reread(settings->fileName(), QSettings::IniFormat);
    QCOMPARE(reread.value(u"global/autoCheckUpdates"_s).toBool(), !flags);
    QCOMPARE(reread.value(u"global/updateIntervalDays"_s).toInt(), expectedDays);
    QCOMPARE(reread.value(u"global/confirmBeforeStart"_s).toBool(), flags);
    QCOMPARE(reread.value(u"global/theme"_s).toString(), expectedTheme);
    QCOMPARE(reread.value(u"global/disableTabBlinking"_s).toBool(), flags);
    QCOMPARE(reread.value(u"global/blinkingFps"_s).toInt(), flags ? 12 : 59);
    // Only the six preferences are written.
    QCOMPARE(reread.allKeys().size(), 6);
}

void tst_SettingsDialog::unmatchedIntervalSavesFirstItem()
{
    settings->setValue(u"global/updateIntervalDays"_s, 5);
    SettingsDialog dialog(settings.get());
    dialog.save();
    QCOMPARE(settings->value(u"global/updateIntervalDays"_s).toInt(), 1);
}

void tst_SettingsDialog::signalsOnSave_data()
{
    QTest::addColumn<QVariant>("storedTheme");
    QTest::addColumn<QString>("chosenTheme");
    QTest::addColumn<bool>("themeChanged");

    QTest::addRow("nothing stored, auto kept") << QVariant() << u"auto"_s << false;
    QTest::addRow("nothing stored, dark chosen") << QVariant() << u"dark"_s << true;
    QTest::addRow("light kept") << QVariant(u"light"_s) << u"light"_s << false;
    QTest::addRow("light to auto") << QVariant(u"light"_s) << u"auto"_s << true;
    QTest::addRow("dark to light") << QVariant(u"dark"_s) << u"light"_s << true;
    // The dialog showed "Auto (system)" for the unknown text, so saving replaces it.
    QTest::addRow("unknown text saved as auto") << QVariant(u"Dark"_s) << u"auto"_s << true;
}

void tst_SettingsDialog::signalsOnSave()
{
    QFETCH(QVariant, storedTheme);
    QFETCH(QString, chosenTheme);
    QFETCH(bool, themeChanged);

    if (storedTheme.isValid())
        settings->setValue(u"global/theme"_s, storedTheme);
    SettingsDialog dialog(settings.get());
    const Editors e = editorsOf(dialog);
    e.theme->setCurrentIndex(e.theme->findData(chosenTheme));

    QStringList order;
    connect(&dialog, &SettingsDialog::themeChanged, this, [&] {
        // The new theme is already in the store when the window is told to apply it.
        QCOMPARE(settings->value(u"global/theme"_s).toString(), chosenTheme);
        order << u"theme"_s;
    });
    connect(&dialog, &SettingsDialog::settingsChanged, this, [&] { order << u"settings"_s; });
    QSignalSpy finished(&dialog, &QDialog::finished);
    dialog.save();

    const QStringList expected =
        themeChanged ? QStringList{u"theme"_s, u"settings"_s} : QStringList{u"settings"_s};
    QCOMPARE(order, expected);
    QCOMPARE(finished.count(), 1);
    QCOMPARE(finished.at(0).at(0).toInt(), int(QDialog::Accepted));
}

void tst_SettingsDialog::cancelWritesNothing()
{
    settings->setValue(u"global/theme"_s, u"dark"_s);
    settings->setValue(u"global/blinkingFps"_s, 20);
    settings->setValue(u"unrelated/key"_s, u"kept"_s);
    const QVariantMap before = contents(*settings);

    SettingsDialog dialog(settings.get());
    const Editors e = editorsOf(dialog);
    QSignalSpy themeSpy(&dialog, &SettingsDialog::themeChanged);
    QSignalSpy settingsSpy(&dialog, &SettingsDialog::settingsChanged);
    e.theme->setCurrentIndex(2);
    e.fps->setValue(55);
    e.autoCheck->setChecked(false);
    e.interval->setCurrentIndex(4);
    QTest::mouseClick(e.cancel, Qt::LeftButton);

    QCOMPARE(dialog.result(), int(QDialog::Rejected));
    QCOMPARE(themeSpy.count(), 0);
    QCOMPARE(settingsSpy.count(), 0);
    QCOMPARE(contents(*settings), before);
}

void tst_SettingsDialog::spinFollowsBlinkingSwitch()
{
    SettingsDialog dialog(settings.get());
    const Editors e = editorsOf(dialog);
    QVERIFY(e.fps->isEnabled());
    e.blinkingOff->setChecked(true);
    QVERIFY(!e.fps->isEnabled());
    e.blinkingOff->setChecked(false);
    QVERIFY(e.fps->isEnabled());

    // Loading again after the store changed underneath follows the stored switch.
    settings->setValue(u"global/disableTabBlinking"_s, true);
    dialog.load();
    QVERIFY(!e.fps->isEnabled());
}

QTEST_MAIN(tst_SettingsDialog)
#include "tst_settingsdialog.moc"
