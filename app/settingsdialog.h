#pragma once

#include <QDialog>

class QCheckBox;
class QComboBox;
class QLineEdit;
class QSettings;
class QSpinBox;

// The preferences dialog: edits the application-wide "global/" preferences of the settings store.
class SettingsDialog final : public QDialog
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(SettingsDialog)

public:
    // settings is not owned and must outlive the dialog.
    explicit SettingsDialog(QSettings *settings, QWidget *parent = nullptr);

    void load();
    void save();

Q_SIGNALS:
    void settingsChanged();
    void themeChanged();

private:
    QWidget *buildGeneralTab();
    QWidget *buildAppearanceTab();

    QSettings *settings;
    QCheckBox *autoCheckUpdatesCheck = nullptr;
    QComboBox *updateIntervalCombo = nullptr;
    QCheckBox *confirmBeforeStartCheck = nullptr;
    QComboBox *themeCombo = nullptr;
    QCheckBox *disableTabBlinkingCheck = nullptr;
    QSpinBox *blinkingFpsSpin = nullptr;
    QCheckBox *skipUpToDateCheck = nullptr;
    QSpinBox *stallMinutesSpin = nullptr;
    QComboBox *stallActionCombo = nullptr;
    QSpinBox *logViewLinesSpin = nullptr;
    QSpinBox *parallelFilesSpin = nullptr;
    QLineEdit *wineLauncherEdit = nullptr;
};
