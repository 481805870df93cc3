#include "app/settingsdialog.h"

#include "common/settingskeys.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QSpinBox>
#include <QTabWidget>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

// A labelled row inside a group: the label, the editor, and the rest of the width left free.
QHBoxLayout *labelledRow(const QString &text, QWidget *editor)
{
    auto *row = new QHBoxLayout;
    auto *label = new QLabel(text);
    label->setBuddy(editor);
    row->addWidget(label);
    row->addWidget(editor);
    row->addStretch(1);
    return row;
}

// Group boxes have no icon of their own, so a group that carries one shows it in a column
// to the left of its rows.
QVBoxLayout *groupWithIcon(QGroupBox *group, const QString &iconPath)
{
    auto *outer = new QHBoxLayout(group);
    auto *icon = new QLabel;
    icon->setPixmap(QIcon(iconPath).pixmap(QSize(20, 20)));
    icon->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    icon->setContentsMargins(0, 2, 6, 0);
    outer->addWidget(icon, 0, Qt::AlignTop);
    auto *rows = new QVBoxLayout;
    outer->addLayout(rows, 1);
    return rows;
}

} // namespace

SettingsDialog::SettingsDialog(QSettings *settings, QWidget *parent)
    : QDialog(parent)
    , settings(settings)
{
    setWindowTitle(tr("Settings"));
    setWindowIcon(QIcon(u":/res/style/icons/settings.png"_s));
    setMinimumWidth(420);

    auto *tabs = new QTabWidget(this);
    tabs->addTab(buildGeneralTab(), QIcon(u":/res/style/icons/settings.png"_s), tr("General"));
    tabs->addTab(buildAppearanceTab(), QIcon(u":/res/style/icons/palette.png"_s), tr("Appearance"));

    auto *okButton = new QPushButton(QIcon(u":/res/style/icons/check.png"_s), tr("OK"), this);
    okButton->setObjectName(u"okButton"_s);
    okButton->setDefault(true);
    okButton->setFixedWidth(90);
    auto *cancelButton = new QPushButton(QIcon(u":/res/style/icons/x.png"_s), tr("Cancel"), this);
    cancelButton->setObjectName(u"cancelButton"_s);
    cancelButton->setFixedWidth(90);
    connect(okButton, &QPushButton::clicked, this, &SettingsDialog::save);
    connect(cancelButton, &QPushButton::clicked, this, &SettingsDialog::reject);

    auto *buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(okButton);
    buttons->addWidget(cancelButton);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(tabs);
    layout->addLayout(buttons);

    load();
}

QWidget *SettingsDialog::buildGeneralTab()
{
    auto *page = new QWidget;

    auto *updates = new QGroupBox(tr("Updates"), page);
    autoCheckUpdatesCheck = new QCheckBox(tr("Check for updates automatically"), updates);
    autoCheckUpdatesCheck->setObjectName(u"autoCheckUpdatesCheck"_s);
    autoCheckUpdatesCheck->setIcon(QIcon(u":/res/style/icons/download.png"_s));
    updateIntervalCombo = new QComboBox(updates);
    updateIntervalCombo->setObjectName(u"updateIntervalCombo"_s);
    updateIntervalCombo->addItem(tr("Every day"), 1);
    updateIntervalCombo->addItem(tr("Every 3 days"), 3);
    updateIntervalCombo->addItem(tr("Every week"), 7);
    updateIntervalCombo->addItem(tr("Every 2 weeks"), 14);
    updateIntervalCombo->addItem(tr("Every month"), 30);
    auto *updatesLayout = new QVBoxLayout(updates);
    updatesLayout->addWidget(autoCheckUpdatesCheck);
    updatesLayout->addLayout(labelledRow(tr("Check every:"), updateIntervalCombo));

    auto *behavior = new QGroupBox(tr("Behavior"), page);
    confirmBeforeStartCheck = new QCheckBox(tr("Confirm before starting conversion"), behavior);
    confirmBeforeStartCheck->setObjectName(u"confirmBeforeStartCheck"_s);
    confirmBeforeStartCheck->setIcon(QIcon(u":/res/style/icons/mouse-pointer-click.png"_s));
    confirmBeforeStartCheck->setToolTip(tr("Show a confirmation dialog before processing files"));
    parallelFilesSpin = new QSpinBox(behavior);
    parallelFilesSpin->setObjectName(u"parallelFilesSpin"_s);
    parallelFilesSpin->setRange(1, SettingsKeys::maxParallelFiles);
    parallelFilesSpin->setToolTip(
        tr("Each file runs its own converter; more at once suits a machine with many cores and memory"));
    auto *behaviorLayout = new QVBoxLayout(behavior);
    behaviorLayout->addWidget(confirmBeforeStartCheck);
    QHBoxLayout *parallelRow = labelledRow(tr("Convert up to"), parallelFilesSpin);
    parallelRow->insertWidget(2, new QLabel(tr("files at once")));
    behaviorLayout->addLayout(parallelRow);

    auto *batches = new QGroupBox(tr("Batches"), page);
    skipUpToDateCheck = new QCheckBox(tr("Skip files whose results are already up to date"), batches);
    skipUpToDateCheck->setObjectName(u"skipUpToDateCheck"_s);
    skipUpToDateCheck->setToolTip(
        tr("A file whose result files all exist and are newer than it is not converted again"));
    stallMinutesSpin = new QSpinBox(batches);
    stallMinutesSpin->setObjectName(u"stallMinutesSpin"_s);
    stallMinutesSpin->setRange(0, 1440);
    stallMinutesSpin->setSuffix(tr(" min"));
    stallMinutesSpin->setSpecialValueText(tr("Never"));
    stallActionCombo = new QComboBox(batches);
    stallActionCombo->setObjectName(u"stallActionCombo"_s);
    stallActionCombo->addItem(tr("Only report it"), u"warn"_s);
    stallActionCombo->addItem(tr("Skip the file"), u"skip"_s);
    stallActionCombo->addItem(tr("Stop the batch"), u"stop"_s);
    logViewLinesSpin = new QSpinBox(batches);
    logViewLinesSpin->setObjectName(u"logViewLinesSpin"_s);
    logViewLinesSpin->setRange(10000, 5000000);
    logViewLinesSpin->setSingleStep(10000);
    logViewLinesSpin->setGroupSeparatorShown(true);
    auto *batchesLayout = new QVBoxLayout(batches);
    batchesLayout->addWidget(skipUpToDateCheck);
    batchesLayout->addLayout(labelledRow(tr("Report a converter silent for:"), stallMinutesSpin));
    batchesLayout->addLayout(labelledRow(tr("Then:"), stallActionCombo));
    batchesLayout->addLayout(labelledRow(tr("Lines kept in the log view:"), logViewLinesSpin));

    // Only where converters can be Windows programs on another system.
    auto *windows = new QGroupBox(tr("Windows converters"), page);
    wineLauncherEdit = new QLineEdit(windows);
    wineLauncherEdit->setObjectName(u"wineLauncherEdit"_s);
    wineLauncherEdit->setPlaceholderText(tr("Wine, found automatically"));
    wineLauncherEdit->setToolTip(tr("The program that starts the vendor's Windows converters, for example "
                                    "/usr/bin/wine; leave empty to look for wine, then wine64"));
    wineLauncherEdit->setMinimumWidth(220);
    auto *windowsLayout = new QVBoxLayout(windows);
    windowsLayout->addLayout(labelledRow(tr("Windows converters run with:"), wineLauncherEdit));
#ifdef Q_OS_WIN
    windows->hide();
#endif

    auto *layout = new QVBoxLayout(page);
    layout->addWidget(updates);
    layout->addWidget(behavior);
    layout->addWidget(batches);
    layout->addWidget(windows);
    layout->addStretch(1);
    return page;
}

QWidget *SettingsDialog::buildAppearanceTab()
{
    auto *page = new QWidget;

    auto *theme = new QGroupBox(tr("Theme"), page);
    themeCombo = new QComboBox(theme);
    themeCombo->setObjectName(u"themeCombo"_s);
    themeCombo->addItem(tr("Auto (system)"), u"auto"_s);
    themeCombo->addItem(tr("Dark"), u"dark"_s);
    themeCombo->addItem(tr("Light"), u"light"_s);
    groupWithIcon(theme, u":/res/style/icons/sun-moon.png"_s)
        ->addLayout(labelledRow(tr("Theme:"), themeCombo));

    auto *animation = new QGroupBox(tr("Tab Animation"), page);
    disableTabBlinkingCheck = new QCheckBox(tr("Turn off Log and Files tab blinking"), animation);
    disableTabBlinkingCheck->setObjectName(u"disableTabBlinkingCheck"_s);
    blinkingFpsSpin = new QSpinBox(animation);
    blinkingFpsSpin->setObjectName(u"blinkingFpsSpin"_s);
    blinkingFpsSpin->setRange(10, 60);
    blinkingFpsSpin->setSuffix(tr(" fps"));
    blinkingFpsSpin->setToolTip(tr("Animation frame rate for tab blinking (10-60)"));
    connect(disableTabBlinkingCheck, &QCheckBox::toggled, blinkingFpsSpin,
            [spin = blinkingFpsSpin](bool off) { spin->setEnabled(!off); });
    QVBoxLayout *animationRows = groupWithIcon(animation, u":/res/style/icons/sparkles.png"_s);
    animationRows->addWidget(disableTabBlinkingCheck);
    animationRows->addLayout(labelledRow(tr("Blinking speed (FPS):"), blinkingFpsSpin));

    auto *layout = new QVBoxLayout(page);
    layout->addWidget(theme);
    layout->addWidget(animation);
    layout->addStretch(1);
    return page;
}

void SettingsDialog::load()
{
    autoCheckUpdatesCheck->setChecked(
        settings->value(SettingsKeys::autoCheckUpdates(), SettingsKeys::defaultAutoCheckUpdates).toBool());
    disableTabBlinkingCheck->setChecked(
        settings->value(SettingsKeys::disableTabBlinking(), SettingsKeys::defaultDisableTabBlinking)
            .toBool());
    blinkingFpsSpin->setValue(
        settings->value(SettingsKeys::blinkingFps(), SettingsKeys::defaultBlinkingFps).toInt());
    blinkingFpsSpin->setEnabled(!disableTabBlinkingCheck->isChecked());
    confirmBeforeStartCheck->setChecked(
        settings->value(SettingsKeys::confirmBeforeStart(), SettingsKeys::defaultConfirmBeforeStart)
            .toBool());

    // A stored value that matches no item leaves the combo where it is.
    const int days =
        settings->value(SettingsKeys::updateIntervalDays(), SettingsKeys::defaultUpdateIntervalDays).toInt();
    if (const int index = updateIntervalCombo->findData(days); index >= 0)
        updateIntervalCombo->setCurrentIndex(index);
    const QString theme = settings->value(SettingsKeys::theme(), SettingsKeys::defaultTheme()).toString();
    if (const int index = themeCombo->findData(theme); index >= 0)
        themeCombo->setCurrentIndex(index);
    skipUpToDateCheck->setChecked(
        settings->value(SettingsKeys::skipUpToDate(), SettingsKeys::defaultSkipUpToDate).toBool());
    stallMinutesSpin->setValue(
        settings->value(SettingsKeys::stallMinutes(), SettingsKeys::defaultStallMinutes).toInt());
    const QString action =
        settings->value(SettingsKeys::stallAction(), SettingsKeys::defaultStallAction()).toString();
    if (const int index = stallActionCombo->findData(action); index >= 0)
        stallActionCombo->setCurrentIndex(index);
    logViewLinesSpin->setValue(
        settings->value(SettingsKeys::logViewLines(), SettingsKeys::defaultLogViewLines).toInt());
    parallelFilesSpin->setValue(
        settings->value(SettingsKeys::parallelFiles(), SettingsKeys::defaultParallelFiles).toInt());
    wineLauncherEdit->setText(settings->value(SettingsKeys::wineLauncher()).toString());
}

void SettingsDialog::save()
{
    const QString previousTheme =
        settings->value(SettingsKeys::theme(), SettingsKeys::defaultTheme()).toString();
    const QString newTheme = themeCombo->currentData().toString();

    settings->setValue(SettingsKeys::autoCheckUpdates(), autoCheckUpdatesCheck->isChecked());
    settings->setValue(SettingsKeys::updateIntervalDays(), updateIntervalCombo->currentData().toInt());
    settings->setValue(SettingsKeys::disableTabBlinking(), disableTabBlinkingCheck->isChecked());
    settings->setValue(SettingsKeys::blinkingFps(), blinkingFpsSpin->value());
    settings->setValue(SettingsKeys::confirmBeforeStart(), confirmBeforeStartCheck->isChecked());
    settings->setValue(SettingsKeys::theme(), newTheme);
    settings->setValue(SettingsKeys::skipUpToDate(), skipUpToDateCheck->isChecked());
    settings->setValue(SettingsKeys::stallMinutes(), stallMinutesSpin->value());
    settings->setValue(SettingsKeys::stallAction(), stallActionCombo->currentData().toString());
    settings->setValue(SettingsKeys::logViewLines(), logViewLinesSpin->value());
    settings->setValue(SettingsKeys::parallelFiles(), parallelFilesSpin->value());
    settings->setValue(SettingsKeys::wineLauncher(), wineLauncherEdit->text().trimmed());

    // The theme goes first: the tab pulse that settingsChanged re-evaluates picks its grey by theme.
    if (previousTheme != newTheme)
        Q_EMIT themeChanged();
    Q_EMIT settingsChanged();
    accept();
}
