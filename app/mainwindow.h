#pragma once

#include "app/runflow.h"
#include "conversion/converterinfo.h"
#include "conversion/timeleftestimator.h"
#include "progress/filestatus.h"

#include <QElapsedTimer>
#include <QFileInfoList>
#include <QMainWindow>
#include <QMap>
#include <QMessageBox>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <functional>

class BannerWidget;
class BatchRecorder;
class Dialogs;
class BatchPanel;
class ConversionController;
class ExportFormatsPanel;
class FileVersionsPanel;
class InfoPanel;
class InputPanel;
class InputScanner;
class OptionsPanel;
class OutputPanel;
class ProgressPanel;
class QAction;
class QDialog;
class QLabel;
class QMenu;

class QProgressBar;
class QPushButton;
class QSettings;
class QSystemTrayIcon;
class QTabWidget;
class QTimer;
class RecentFiles;
class TabPulseAnimator;
class ToastWidget;
struct ConversionOptions;

// The one top-level window: every panel, the converter controller and the run flow that
// ties them together, with the menus, shortcuts and the remembered window state.
class MainWindow final : public QMainWindow
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(MainWindow)

public:
    // The settings store and the dialogs are the caller's and must outlive the window.
    MainWindow(const ConverterInfo &converter, QSettings *settings, Dialogs *dialogs,
               QWidget *parent = nullptr);
    ~MainWindow() override;

    // Opens what was named on the command line: a folder, one file or several files.
    void openPaths(const QStringList &paths);

    // The theme start-up chose, so the tab pulse starts from the matching grey without
    // asking the desktop a second time.
    void setDarkTheme(bool dark);

    bool isRunning() const { return running; }

    // Offers to resume the last batch when it was interrupted (a crash, a power cut); called
    // once the window is up.
    void offerInterruptedBatch();
    // Where batches keep their journals, logs and reports.
    void setBatchRoot(const QString &folder) { batchRoot = folder; }

    // The two dialogs of the Help menu, built but not shown.
    QDialog *createShortcutsDialog();
    QMessageBox *createAboutDialog();

public Q_SLOTS:
    void onStartRequested();
    void onStopRequested();
    void onFileStarted(int number, int total, const QString &filePath);
    void onFileFinished(int number, int exitCode, const QString &filePath);
    void onAllDone(int successCount, int failCount, int skipCount);
    void onErrorOccurred(int exitCode, const QString &fileName);
    void onConvertNext(const QString &filePath);
    // Runs the files of the last batch that failed, were stopped or were canceled.
    void onRetryFailed();

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    QWidget *buildHeader();
    QWidget *buildLeftColumn();
    QLayout *buildRightColumn();
    QLayout *buildRunBar();
    void buildMenus();
    void buildTrayIcon();
    void connectSignals();
    void buildShortcuts();
    void restoreRememberedFolders();
    void restoreWindowGeometry();

    void onInputChanged();
    void onScanComplete(const QFileInfoList &files);
    void onActiveFilesChanged();
    void onRecentFileSelected(const QString &path);
    void showError(const QString &text);
    QMessageBox::StandardButton ask(const QString &text, QMessageBox::StandardButtons buttons,
                                    QMessageBox::StandardButton defaultButton);

    // Checks and prepares the output folder; false (after telling the user) when it cannot be used.
    bool prepareOutputFolder();
    ConversionOptions gatherOptions() const;
    // The launcher for Windows converters: the one chosen in Preferences, else Wine if found.
    QString wineLauncher() const;
    // The checks before a run; false when the user went back or the run cannot start. Files
    // that are gone are disabled, and `upToDate` receives the ones not to convert again.
    bool checkBeforeRun(const QFileInfoList &files, QStringList &upToDate);
    void runFiles(const QFileInfoList &files, const QStringList &upToDate = {});
    // What Stop does once confirmed, also when the stall watchdog asks for it.
    void stopRun();
    void exportReport();
    void setRunningState(bool runningNow);
    void setProgress(int percent);
    void refreshProgressTexts();
    void showSummary(int successCount, int failCount, int skipCount);
    void openOutputFolder();
    void saveRememberedState();
    // Writes the settings out and tells the user, once, when they cannot be written.
    void syncSettings();
    void updateTabPulse();
    void onTabChanged();
    void onStopFollowUp();
    QFileInfoList retryableFiles() const;
    void updateRetryAction();
    void openPreferences();
    void applyTheme();

    ConverterInfo converter;
    QSettings *settings;
    ConversionController *controller;
    InputPanel *inputPanel = nullptr;
    OutputPanel *outputPanel = nullptr;
    OptionsPanel *optionsPanel = nullptr;
    ExportFormatsPanel *exportFormatsPanel = nullptr;
    FileVersionsPanel *fileVersionsPanel = nullptr;
    ProgressPanel *progressPanel = nullptr;
    BannerWidget *bannerWidget = nullptr;
    InfoPanel *infoPanel = nullptr;
    BatchPanel *batchPanel = nullptr;
    QPushButton *startButton = nullptr;
    QProgressBar *progressBar = nullptr;
    QLabel *progressTextLabel = nullptr;
    bool running = false;
    QTabWidget *tabWidget = nullptr;
    int logTabIndex = 1;
    int filesTabIndex = 2;
    ToastWidget *toast = nullptr;
    QWidget *central = nullptr;
    QMenu *recentFilesMenu = nullptr;
    QAction *openOutputFolderAction = nullptr;
    RecentFiles *recentFiles = nullptr;
    QSystemTrayIcon *trayIcon = nullptr;
    TabPulseAnimator *tabPulse = nullptr;
    QElapsedTimer runTimer;
    QTimer *refreshTimer = nullptr;
    int currentFileNumber = 0;
    int totalFileCount = 0;
    QString currentFileName;
    QString currentStage;
    // The files converting now, by number; more than one when files run at once.
    QMap<int, QString> runningFiles;
    TimeLeftEstimator timeLeft;
    QLabel *timeLeftLabel = nullptr;

    static constexpr int settingsTabIndex = 0;
    QString fontFamily;
    InputScanner *scanner = nullptr;
    QPushButton *openOutputFolderButton = nullptr;
    QAction *retryAction = nullptr;
    QAction *openFileAction = nullptr;
    QAction *openFolderAction = nullptr;
    QTimer *stopFollowUpTimer = nullptr;
    // Set while a run start clears the log, so that only a clear by the user is announced.
    bool clearingLogForRun = false;
    bool settingsProblemReported = false;
    BatchRecorder *recorder = nullptr;
    QString batchRoot;
    // Files of this run not converted because their results are up to date.
    int upToDateCount = 0;
    QAction *batchReportAction = nullptr;
    QAction *exportReportAction = nullptr;
    Dialogs *dialogs;
};
