#include "app/settingsdialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QPushButton>
#include <QSettings>
#include <QSignalSpy>
#include <QSpinBox>
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

} // namespace

class tst_SettingsDialog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void loadFillsEditors_data();
    void loadFillsEditors();
    void saveWritesEditors_data();
    void saveWritesEditors();
    void signalsOnSave_data();
    void signalsOnSave();
    void cancelWritesNothing();

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

void tst_SettingsDialog::loadFillsEditors_data()
{
    QTest::addColumn<QVariantMap>("stored");
    QTest::addColumn<QVariantList>("shown");
    const QVariantList defaults{true, 7, false, u"auto"_s, false, 30};
    QTest::addRow("empty store gives the defaults") << QVariantMap() << defaults;
    QTest::addRow("every value stored")
        << QVariantMap{{u"global/autoCheckUpdates"_s, false},  {u"global/updateIntervalDays"_s, 30},
                       {u"global/confirmBeforeStart"_s, true}, {u"global/theme"_s, u"light"_s},
                       {u"global/disableTabBlinking"_s, true}, {u"global/blinkingFps"_s, 45}}
        << QVariantList{false, 30, true, u"light"_s, true, 45};
    QTest::addRow("unknown theme leaves the first item")
        << QVariantMap{{u"global/theme"_s, u"Dark"_s}} << defaults;
    QTest::addRow("unmatched interval leaves the first item")
        << QVariantMap{{u"global/updateIntervalDays"_s, 5}}
        << QVariantList{true, 1, false, u"auto"_s, false, 30};
    QTest::addRow("frame rate above the range is clamped")
        << QVariantMap{{u"global/blinkingFps"_s, 100}} << QVariantList{true, 7, false, u"auto"_s, false, 60};
}

void tst_SettingsDialog::loadFillsEditors()
{
    QFETCH(QVariantMap, stored);
    QFETCH(QVariantList, shown);
    for (auto it = stored.cbegin(); it != stored.cend(); ++it)
        settings->setValue(it.key(), it.value());
    settings->sync();
    // What a restarted program sees: the values as read back from the file.
    QSettings reread(settings->fileName(), QSettings::IniFormat);
    SettingsDialog dialog(&reread);
    const Editors e = editorsOf(dialog);
    QCOMPARE(
        QVariantList({e.autoCheck->isChecked(), e.interval->currentData().toInt(), e.confirm->isChecked(),
                      e.theme->currentData().toString(), e.blinkingOff->isChecked(), e.fps->value()}),
        shown);
    QCOMPARE(e.fps->isEnabled(), !shown.at(4).toBool());
}

void tst_SettingsDialog::saveWritesEditors_data()
{
    QTest::addColumn<int>("intervalIndex");
    QTest::addColumn<int>("themeIndex");
    QTest::addColumn<bool>("flags");
    QTest::addColumn<QVariantList>("written");
    // Every item of both combos, so each item's data is what ends up in the store.
    QTest::addRow("every day, auto") << 0 << 0 << true << QVariantList{false, 1, true, u"auto"_s, true, 12};
    QTest::addRow("every 3 days, dark")
        << 1 << 1 << false << QVariantList{true, 3, false, u"dark"_s, false, 59};
    QTest::addRow("every week, light")
        << 2 << 2 << true << QVariantList{false, 7, true, u"light"_s, true, 12};
    QTest::addRow("every 2 weeks") << 3 << 0 << false << QVariantList{true, 14, false, u"auto"_s, false, 59};
    QTest::addRow("every month") << 4 << 1 << true << QVariantList{false, 30, true, u"dark"_s, true, 12};
}

void tst_SettingsDialog::saveWritesEditors()
{
    QFETCH(int, intervalIndex);
    QFETCH(int, themeIndex);
    QFETCH(bool, flags);
    QFETCH(QVariantList, written);
    SettingsDialog dialog(settings.get());
    const Editors e = editorsOf(dialog);
    e.autoCheck->setChecked(!flags);
    e.interval->setCurrentIndex(intervalIndex);
    e.confirm->setChecked(flags);
    e.theme->setCurrentIndex(themeIndex);
    e.blinkingOff->setChecked(flags);
    QCOMPARE(e.fps->isEnabled(), !flags);
    e.fps->setValue(flags ? 12 : 59);
    QTest::mouseClick(e.ok, Qt::LeftButton);
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    settings->sync();

    const QSettings r(settings->fileName(), QSettings::IniFormat);
    QCOMPARE(
        QVariantList(
            {r.value(u"global/autoCheckUpdates"_s).toBool(), r.value(u"global/updateIntervalDays"_s).toInt(),
             r.value(u"global/confirmBeforeStart"_s).toBool(), r.value(u"global/theme"_s).toString(),
             r.value(u"global/disableTabBlinking"_s).toBool(), r.value(u"global/blinkingFps"_s).toInt()}),
        written);
    // Only the six preferences are written.
    QCOMPARE(r.allKeys().size(), 6);
}

void tst_SettingsDialog::signalsOnSave_data()
{
    QTest::addColumn<QVariant>("storedTheme");
    QTest::addColumn<QString>("chosenTheme");
    QTest::addColumn<bool>("themeChanged");

    QTest::addRow("nothing stored, auto kept") << QVariant() << u"auto"_s << false;
    QTest::addRow("light kept") << QVariant(u"light"_s) << u"light"_s << false;
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
    // An interval the combo does not offer leaves its first item, and saving writes that.
    settings->setValue(u"global/updateIntervalDays"_s, 5);
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
    QCOMPARE(settings->value(u"global/updateIntervalDays"_s).toInt(), 1);
    QCOMPARE(finished.count(), 1);
    QCOMPARE(finished.at(0).at(0).toInt(), int(QDialog::Accepted));
}

void tst_SettingsDialog::cancelWritesNothing()
{
    settings->setValue(u"global/theme"_s, u"dark"_s);
    settings->setValue(u"global/blinkingFps"_s, 20);
    settings->setValue(u"unrelated/key"_s, u"kept"_s);
    QVariantMap before;
    for (const QString &key : settings->allKeys())
        before.insert(key, settings->value(key));

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
    QVariantMap after;
    for (const QString &key : settings->allKeys())
        after.insert(key, settings->value(key));
    QCOMPARE(after, before);
}

QTEST_MAIN(tst_SettingsDialog)
#include "tst_settingsdialog.moc"
