#include "app/settingsdialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QPushButton>
#include <QSettings>
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

    explicit Editors(const SettingsDialog &dialog)
        : autoCheck(dialog.findChild<QCheckBox *>(u"autoCheckUpdatesCheck"_s))
        , interval(dialog.findChild<QComboBox *>(u"updateIntervalCombo"_s))
        , confirm(dialog.findChild<QCheckBox *>(u"confirmBeforeStartCheck"_s))
        , theme(dialog.findChild<QComboBox *>(u"themeCombo"_s))
        , blinkingOff(dialog.findChild<QCheckBox *>(u"disableTabBlinkingCheck"_s))
        , fps(dialog.findChild<QSpinBox *>(u"blinkingFpsSpin"_s))
    {
    }
};

const QStringList keys{u"global/autoCheckUpdates"_s,   u"global/updateIntervalDays"_s,
                       u"global/confirmBeforeStart"_s, u"global/theme"_s,
                       u"global/disableTabBlinking"_s, u"global/blinkingFps"_s};

} // namespace

class tst_SettingsDialog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void loadFillsEditors_data();
    void loadFillsEditors();
    void saveWritesEditors_data();
    void saveWritesEditors();
    void cancelWritesNothing();

private:
    std::unique_ptr<QTemporaryDir> dir;
    std::unique_ptr<QSettings> settings;
};

void tst_SettingsDialog::init()
{
    settings.reset();
    dir = std::make_unique<QTemporaryDir>();
    settings = std::make_unique<QSettings>(dir->filePath(u"settings.ini"_s), QSettings::IniFormat);
}

void tst_SettingsDialog::loadFillsEditors_data()
{
    QTest::addColumn<QVariantList>("stored"); // in the order of `keys`; invalid: not stored
    QTest::addColumn<QVariantList>("shown");
    const QVariant unset;
    const QVariantList defaults{true, 7, false, u"auto"_s, false, 30};
    QTest::addRow("empty store gives the defaults") << QVariantList(6) << defaults;
    QTest::addRow("every value stored") << QVariantList{false, 30, true, u"light"_s, true, 45}
                                        << QVariantList{false, 30, true, u"light"_s, true, 45};
    QTest::addRow("unknown theme leaves the first item")
        << QVariantList{unset, unset, unset, u"Dark"_s, unset, unset} << defaults;
    QTest::addRow("unmatched interval leaves the first item")
        << QVariantList{unset, 5, unset, unset, unset, unset}
        << QVariantList{true, 1, false, u"auto"_s, false, 30};
    QTest::addRow("frame rate above the range is clamped")
        << QVariantList{unset, unset, unset, unset, unset, 100}
        << QVariantList{true, 7, false, u"auto"_s, false, 60};
}

void tst_SettingsDialog::loadFillsEditors()
{
    QFETCH(QVariantList, stored);
    QFETCH(QVariantList, shown);
    for (int i = 0; i < keys.size(); ++i)
        if (stored.at(i).isValid())
            settings->setValue(keys.at(i), stored.at(i));
    settings->sync();
    // What a restarted program sees: the values as read back from the file.
    QSettings reread(settings->fileName(), QSettings::IniFormat);
    SettingsDialog dialog(&reread);
    const Editors e(dialog);
    QCOMPARE(
        QVariantList({e.autoCheck->isChecked(), e.interval->currentData().toInt(), e.confirm->isChecked(),
                      e.theme->currentData().toString(), e.blinkingOff->isChecked(), e.fps->value()}),
        shown);
    QCOMPARE(e.fps->isEnabled(), !shown.at(4).toBool());
}

void tst_SettingsDialog::saveWritesEditors_data()
{
    QTest::addColumn<QVariant>("storedTheme");
    QTest::addColumn<int>("intervalIndex"); // -1: left as loaded
    QTest::addColumn<QString>("chosenTheme");
    QTest::addColumn<bool>("flags");
    QTest::addColumn<QVariantList>("written");
    QTest::addColumn<bool>("themeChanged");
    QTest::addRow("every 3 days, auto to dark") << QVariant() << 1 << u"dark"_s << false
                                                << QVariantList{true, 3, false, u"dark"_s, false, 59} << true;
    QTest::addRow("every month, light kept") << QVariant(u"light"_s) << 4 << u"light"_s << true
                                             << QVariantList{false, 30, true, u"light"_s, true, 12} << false;
    // The dialog showed its first items for what it did not know, so saving writes those.
    QTest::addRow("unknown theme text and interval replaced")
        << QVariant(u"Dark"_s) << -1 << u"auto"_s << true << QVariantList{false, 1, true, u"auto"_s, true, 12}
        << true;
}

void tst_SettingsDialog::saveWritesEditors()
{
    QFETCH(QVariant, storedTheme);
    QFETCH(int, intervalIndex);
    QFETCH(QString, chosenTheme);
    QFETCH(bool, flags);
    QFETCH(QVariantList, written);
    QFETCH(bool, themeChanged);
    if (storedTheme.isValid())
        settings->setValue(u"global/theme"_s, storedTheme);
    settings->setValue(u"global/updateIntervalDays"_s, 5);
    SettingsDialog dialog(settings.get());
    const Editors e(dialog);
    e.autoCheck->setChecked(!flags);
    if (intervalIndex >= 0)
        e.interval->setCurrentIndex(intervalIndex);
    e.confirm->setChecked(flags);
    e.theme->setCurrentIndex(e.theme->findData(chosenTheme));
    e.blinkingOff->setChecked(flags);
    QCOMPARE(e.fps->isEnabled(), !flags);
    e.fps->setValue(flags ? 12 : 59);
    QStringList order;
    connect(&dialog, &SettingsDialog::themeChanged, this, [&] {
        // The new theme is already in the store when the window is told to apply it.
        QCOMPARE(settings->value(u"global/theme"_s).toString(), chosenTheme);
        order << u"theme"_s;
    });
    connect(&dialog, &SettingsDialog::settingsChanged, this, [&] { order << u"settings"_s; });
    QTest::mouseClick(dialog.findChild<QPushButton *>(u"okButton"_s), Qt::LeftButton);
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QCOMPARE(order, (themeChanged ? QStringList{u"theme"_s, u"settings"_s} : QStringList{u"settings"_s}));
    settings->sync();
    const QSettings r(settings->fileName(), QSettings::IniFormat);
    QCOMPARE(r.allKeys().size(), 6); // the six preferences and nothing else
    const QVariantList read{r.value(keys[0]).toBool(),   r.value(keys[1]).toInt(),  r.value(keys[2]).toBool(),
                            r.value(keys[3]).toString(), r.value(keys[4]).toBool(), r.value(keys[5]).toInt()};
    QCOMPARE(read, written);
}

void tst_SettingsDialog::cancelWritesNothing()
{
    settings->setValue(u"global/theme"_s, u"dark"_s);
    settings->setValue(u"global/blinkingFps"_s, 20);
    settings->setValue(u"unrelated/key"_s, u"kept"_s);
    const auto contents = [this] {
        QVariantMap all;
        for (const QString &key : settings->allKeys())
            all.insert(key, settings->value(key));
        return all;
    };
    const QVariantMap before = contents();
    SettingsDialog dialog(settings.get());
    const Editors e(dialog);
    bool signalled = false;
    connect(&dialog, &SettingsDialog::themeChanged, this, [&] { signalled = true; });
    connect(&dialog, &SettingsDialog::settingsChanged, this, [&] { signalled = true; });
    e.theme->setCurrentIndex(2);
    e.fps->setValue(55);
    e.autoCheck->setChecked(false);
    e.interval->setCurrentIndex(4);
    QTest::mouseClick(dialog.findChild<QPushButton *>(u"cancelButton"_s), Qt::LeftButton);
    QCOMPARE(dialog.result(), int(QDialog::Rejected));
    QVERIFY(!signalled);
    QCOMPARE(contents(), before);
}

QTEST_MAIN(tst_SettingsDialog)
#include "tst_settingsdialog.moc"
