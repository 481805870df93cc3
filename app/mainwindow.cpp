#include "app/mainwindow.h"

#include "app/settingsdialog.h"
#include "app/theme.h"
#include "common/dialogs.h"
#include "common/formatting.h"
#include "common/pathselection.h"
#include "common/settingskeys.h"
#include "common/sharppixmap.h"
#include "common/styleroles.h"
#include "conversion/batchjournal.h"
#include "conversion/batchrecorder.h"
#include "conversion/conversioncontroller.h"
#include "conversion/conversionoptions.h"
#include "conversion/converteroutput.h"
#include "conversion/preflight.h"
#include "conversion/winelauncher.h"
#include "input/inputpanel.h"
#include "input/inputscanner.h"
#include "input/recentfiles.h"
#include "online/bannerwidget.h"
#include "online/deployment.h"
#include "online/infopanel.h"
#include "online/updatedialogs.h"
#include "options/exportformatspanel.h"
#include "options/fileversionspanel.h"
#include "options/optionspanel.h"
#include "options/outputpanel.h"
#include "progress/batchpanel.h"
#include "progress/progresspanel.h"
#include "progress/tabpulseanimator.h"
#include "progress/toastwidget.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QContextMenuEvent>
#include <QDialog>
#include <QDir>
#include <QFileInfo>
#include <QFont>
#include <QGridLayout>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QIcon>
#include <QKeySequence>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPixmap>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QSet>
#include <QSettings>
#include <QShortcut>
#include <QStatusBar>
#include <QStyle>
#include <QSystemTrayIcon>
#include <QTabBar>
#include <QTabWidget>
#include <QTableWidget>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QIcon icon(const QString &name)
{
    return QIcon(u":/res/style/icons/"_s + name + u".png"_s);
}

QStringList absolutePaths(const QFileInfoList &files)
{
    QStringList paths;
    paths.reserve(files.size());
    for (const QFileInfo &file : files)
        paths.append(file.absoluteFilePath());
    return paths;
}

QScrollArea *frameless(QWidget *content, QWidget *parent)
{
    auto *area = new QScrollArea(parent);
    area->setWidgetResizable(true);
    area->setFrameShape(QFrame::NoFrame);
    area->setWidget(content);
    return area;
}

} // namespace

MainWindow::MainWindow(const ConverterInfo &converterInfo, QSettings *settingsStore, Dialogs *sharedDialogs,
                       QWidget *parent)
    : QMainWindow(parent)
    , converter(converterInfo)
    , settings(settingsStore)
    , controller(new ConversionController(this))

    , dialogs(sharedDialogs)
{
    if (objectName().isEmpty())
        setObjectName(u"MainWindow"_s);
    fontFamily = loadInterfaceFont();
    QFont interfaceFont = QApplication::font();
    interfaceFont.setFamily(fontFamily);
    setFont(interfaceFont);
    // A style sheet stops fonts from passing from a widget to its children, so the family
    // is also made the application's default, which the sheets build on.
    QApplication::setFont(interfaceFont);
    setWindowTitle(converter.displayName);
    setMinimumSize(900, 600);
    // The sizes a title bar and a task bar ask for; each file is decoded right here.
    QIcon appIcon;
    for (const int size : {16, 32, 48, 64})
        appIcon.addFile(u":/app/icons/kvtconverter-%1.png"_s.arg(size), QSize(size, size));
    setWindowIcon(appIcon);
    controller->setConverter(converter);
    recorder = new BatchRecorder(controller, this);
    batchRoot = BatchJournal::defaultRoot();
    scanner = new InputScanner(this);

    central = new QWidget(this);
    central->setObjectName(u"centralWidget"_s);
    auto *centralLayout = new QVBoxLayout(central);
    centralLayout->setContentsMargins(10, 5, 10, 5);
    centralLayout->addWidget(buildHeader());

    auto *body = new QGridLayout;
    body->setColumnStretch(0, 1);
    body->setColumnStretch(1, 1);
    body->setRowStretch(0, 1);
    body->setRowStretch(1, 0);
    body->addWidget(buildLeftColumn(), 0, 0, 2, 1);
    body->addLayout(buildRightColumn(), 0, 1);
    body->addLayout(buildRunBar(), 1, 1);
    centralLayout->addLayout(body, 1);
    setCentralWidget(central);

    buildMenus();
    buildTrayIcon();
    connectSignals();
    buildShortcuts();
    inputPanel->setRecentFilesMenu(recentFilesMenu);
    statusBar()->showMessage(tr("Ready"));
    restoreRememberedFolders();
    restoreWindowGeometry();

    toast = new ToastWidget(this);
    toast->setObjectName(u"toast"_s);

    // Nothing online happens before the window is up: the update check and the banners wait.
    QTimer::singleShot(3000, this,
                       [this] { UpdateDialogs::startAutomaticCheck(settings, converter.id, this); });
    QTimer::singleShot(2000, bannerWidget, &BannerWidget::startFetch);
}

MainWindow::~MainWindow() = default;

QWidget *MainWindow::buildHeader()
{
    auto *header = new QWidget(central);
    header->setObjectName(u"headerStrip"_s);
    auto *layout = new QHBoxLayout(header);
    layout->setContentsMargins(0, 0, 0, 4);
    auto *logo = new QLabel(header);
    logo->setObjectName(u"headerLogo"_s);
    logo->setPixmap(sharpPixmap(u":/res/png/title_left_side.png"_s, devicePixelRatioF()));
    layout->addWidget(logo);
    layout->addStretch(1);
    // The converter's own title picture on the right says which converter this build drives.
    auto *title = new QLabel(header);
    title->setObjectName(u"headerTitle"_s);
    title->setPixmap(sharpPixmap(converter.titleImage, devicePixelRatioF()));
    layout->addWidget(title);
    return header;
}

QWidget *MainWindow::buildLeftColumn()
{
    auto *content = new QWidget;
    content->setObjectName(u"leftColumn"_s);
    auto *layout = new QVBoxLayout(content);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);

    inputPanel = new InputPanel(settings, dialogs, content);
    inputPanel->setConverter(converter);
    inputPanel->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    layout->addWidget(inputPanel);

    exportFormatsPanel = new ExportFormatsPanel(content);
    exportFormatsPanel->setConverter(converter);
    layout->addWidget(exportFormatsPanel);

    fileVersionsPanel = new FileVersionsPanel(content);
    fileVersionsPanel->setConverter(converter);
    layout->addWidget(fileVersionsPanel);

    auto *promotions = new QHBoxLayout;
    promotions->setSpacing(4);
    infoPanel = new InfoPanel(content);
    bannerWidget = new BannerWidget(settings, content);
    bannerWidget->setConverter(converter);
    promotions->addWidget(infoPanel, 1);
    promotions->addWidget(bannerWidget, 1);
    layout->addLayout(promotions);
    layout->addStretch();

    return frameless(content, central);
}

QLayout *MainWindow::buildRightColumn()
{
    auto *column = new QVBoxLayout;

    outputPanel = new OutputPanel(settings, dialogs, central);
    outputPanel->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    column->addWidget(outputPanel);

    tabWidget = new QTabWidget(central);
    tabWidget->setObjectName(u"mainTabs"_s);
    tabWidget->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);

    optionsPanel = new OptionsPanel(dialogs);
    optionsPanel->setConverter(converter);
    tabWidget->addTab(frameless(optionsPanel, tabWidget), icon(u"sliders-horizontal"_s), tr("Settings"));

    progressPanel = new ProgressPanel(dialogs, tabWidget);
    logTabIndex = tabWidget->addTab(progressPanel, icon(u"scroll-text"_s), tr("Log"));

    // The batch table has no room of its own for "Retry Failed", so the tab holds the
    // table with a row for it underneath.
    auto *filesPage = new QWidget(tabWidget);
    filesPage->setObjectName(u"filesPage"_s);
    auto *filesLayout = new QVBoxLayout(filesPage);
    filesLayout->setContentsMargins(0, 0, 0, 0);
    batchPanel = new BatchPanel(dialogs, filesPage);
    filesLayout->addWidget(batchPanel, 1);
    // One action for the button below the table and the table's context menu; the button
    // shows only while the action can run.
    retryAction = new QAction(icon(u"refresh-cw"_s), tr("Retry Failed"), this);
    retryAction->setObjectName(u"retryFailedAction"_s);
    retryAction->setToolTip(tr("Convert the failed, stopped and canceled files again"));
    retryAction->setEnabled(false);
    batchPanel->addContextMenuAction(retryAction);
    auto *retryButton = new QPushButton(retryAction->icon(), retryAction->text(), filesPage);
    retryButton->setObjectName(u"retryFailedButton"_s);
    retryButton->setToolTip(retryAction->toolTip());
    retryButton->hide();
    connect(retryButton, &QPushButton::clicked, retryAction, &QAction::trigger);
    connect(retryAction, &QAction::enabledChanged, retryButton, &QWidget::setVisible);
    auto *retryRow = new QHBoxLayout;
    retryRow->addStretch();
    retryRow->addWidget(retryButton);
    filesLayout->addLayout(retryRow);
    filesTabIndex = tabWidget->addTab(filesPage, icon(u"list"_s), tr("Files"));
    column->addWidget(tabWidget, 1);

    tabPulse = new TabPulseAnimator(tabWidget, settings, this);
    return column;
}

QLayout *MainWindow::buildRunBar()
{
    auto *bar = new QVBoxLayout;

    startButton = new QPushButton(icon(u"play-white"_s), tr("START"), central);
    startButton->setObjectName(u"startButton"_s);
    startButton->setIconSize(QSize(18, 18));
    startButton->setToolTip(tr("Start conversion (Ctrl+Enter)"));
    setStyleRole(startButton, "buttonRole", u"start"_s);
    bar->addWidget(startButton);

    auto *hint = new QLabel(tr("Ctrl+Enter to start · Esc to stop"), central);
    hint->setObjectName(u"runHintLabel"_s);
    setStyleRole(hint, "textRole", u"secondary"_s);
    hint->setAlignment(Qt::AlignCenter);
    bar->addWidget(hint);

    progressBar = new QProgressBar(central);
    progressBar->setObjectName(u"progressBar"_s);
    progressBar->setRange(0, 100);
    progressBar->setValue(0);
    progressBar->setAlignment(Qt::AlignCenter);
    // The time left sits beside the bar, shown once the first files have measured the pace.
    auto *barRow = new QHBoxLayout;
    barRow->addWidget(progressBar, 1);
    timeLeftLabel = new QLabel(central);
    timeLeftLabel->setObjectName(u"timeLeftLabel"_s);
    setStyleRole(timeLeftLabel, "textRole", u"secondary"_s);
    timeLeftLabel->hide();
    barRow->addWidget(timeLeftLabel);
    bar->addLayout(barRow);

    progressTextLabel = new QLabel(central);
    progressTextLabel->setObjectName(u"progressTextLabel"_s);
    setStyleRole(progressTextLabel, "textRole", u"secondary"_s);
    progressTextLabel->setAlignment(Qt::AlignCenter);
    bar->addWidget(progressTextLabel);

    openOutputFolderButton = new QPushButton(icon(u"external-link"_s), tr("Open Output Folder"), central);
    openOutputFolderButton->setObjectName(u"openOutputFolderButton"_s);
    openOutputFolderButton->setFlat(true);
    openOutputFolderButton->setCursor(Qt::PointingHandCursor);
    setStyleRole(openOutputFolderButton, "buttonRole", u"link"_s);
    // Its room stays while it is hidden, so the START button does not jump between runs.
    QSizePolicy keepRoom = openOutputFolderButton->sizePolicy();
    keepRoom.setRetainSizeWhenHidden(true);
    openOutputFolderButton->setSizePolicy(keepRoom);
    openOutputFolderButton->hide();
    bar->addWidget(openOutputFolderButton, 0, Qt::AlignHCenter);

    refreshTimer = new QTimer(this);
    refreshTimer->setInterval(RunFlow::refreshIntervalMs);
    stopFollowUpTimer = new QTimer(this);
    stopFollowUpTimer->setSingleShot(true);
    stopFollowUpTimer->setInterval(RunFlow::stopFollowUpMs);
    return bar;
}

void MainWindow::buildMenus()
{
    QMenu *fileMenu = menuBar()->addMenu(tr("&File"));
    openFileAction = fileMenu->addAction(icon(u"file-text"_s), tr("Open &File..."));
    openFileAction->setShortcut(QKeySequence::Open);
    connect(openFileAction, &QAction::triggered, inputPanel, &InputPanel::onBrowseFile);
    openFolderAction = fileMenu->addAction(icon(u"folder-open"_s), tr("Open F&older..."));
    openFolderAction->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_O));
    connect(openFolderAction, &QAction::triggered, inputPanel, &InputPanel::onBrowseFolder);
    fileMenu->addSeparator();
    recentFilesMenu = fileMenu->addMenu(icon(u"history"_s), tr("&Recent Files"));
    recentFilesMenu->setObjectName(u"recentFilesMenu"_s);
    fileMenu->addSeparator();
    openOutputFolderAction = fileMenu->addAction(icon(u"folder-output"_s), tr("Open &Output Folder"));
    connect(openOutputFolderAction, &QAction::triggered, this, &MainWindow::openOutputFolder);
    QAction *exitSeparator = fileMenu->addSeparator();
    QAction *exitAction = fileMenu->addAction(icon(u"log-out"_s), tr("E&xit"));
    exitAction->setShortcut(QKeySequence(Qt::ALT | Qt::Key_F4));
    // Through close(), so a running conversion is confirmed as for the title bar's button.
    connect(exitAction, &QAction::triggered, this, &QWidget::close);

    QMenu *settingsMenu = menuBar()->addMenu(tr("&Settings"));
    QAction *preferences = settingsMenu->addAction(icon(u"settings"_s), tr("&Preferences..."));
    preferences->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Comma));
    connect(preferences, &QAction::triggered, this, &MainWindow::openPreferences);

    QMenu *helpMenu = menuBar()->addMenu(tr("&Help"));
    connect(helpMenu->addAction(icon(u"list"_s), tr("Keyboard &Shortcuts")), &QAction::triggered, this,
            [this] {
                QDialog *dialog = createShortcutsDialog();
                dialog->exec();
                delete dialog;
            });
    helpMenu->addSeparator();
    connect(helpMenu->addAction(icon(u"info"_s), tr("&About KVT")), &QAction::triggered, this, [this] {
        QMessageBox *about = createAboutDialog();
        about->exec();
        delete about;
    });
    connect(helpMenu->addAction(icon(u"refresh-cw"_s), tr("Check for &Updates")), &QAction::triggered, this,
            [this] { UpdateDialogs::startManualCheck(converter.id, this); });

    recentFiles = new RecentFiles(recentFilesMenu, converter.id, settings, this);

    connect(retryAction, &QAction::triggered, this, &MainWindow::onRetryFailed);

    // The last batch's report: opened from the File menu, saved elsewhere from the Files tab.
    batchReportAction = new QAction(icon(u"file-text"_s), tr("Batch &Report"), this);
    batchReportAction->setObjectName(u"batchReportAction"_s);
    batchReportAction->setEnabled(false);
    fileMenu->insertAction(exitSeparator, batchReportAction);
    connect(batchReportAction, &QAction::triggered, this,
            [this] { dialogs->openUrl(QUrl::fromLocalFile(recorder->reportPath())); });
    exportReportAction = new QAction(icon(u"save"_s), tr("Export Report..."), this);
    exportReportAction->setObjectName(u"exportReportAction"_s);
    exportReportAction->setEnabled(false);
    batchPanel->addContextMenuAction(exportReportAction);
    connect(exportReportAction, &QAction::triggered, this, &MainWindow::exportReport);
    connect(recorder, &BatchRecorder::reportWritten, this, [this] {
        batchReportAction->setEnabled(true);
        exportReportAction->setEnabled(true);
    });
}

void MainWindow::buildTrayIcon()
{
    // Many desktops have no tray; the window then works the same, without the end message.
    if (!QSystemTrayIcon::isSystemTrayAvailable())
        return;
    trayIcon = new QSystemTrayIcon(windowIcon(), this);
    trayIcon->setToolTip(converter.displayName);
    connect(trayIcon, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason != QSystemTrayIcon::Trigger)
            return;
        showNormal();
        activateWindow();
    });
    trayIcon->show();
}

void MainWindow::connectSignals()
{
    connect(controller, &ConversionController::fileStarted, batchPanel, &BatchPanel::onFileStarted);
    connect(controller, &ConversionController::fileFinished, batchPanel, &BatchPanel::onFileFinished);
    connect(controller, &ConversionController::logOutput, progressPanel, &ProgressPanel::appendLog);
    connect(controller, &ConversionController::fileStarted, this, &MainWindow::onFileStarted);
    connect(controller, &ConversionController::fileFinished, this, &MainWindow::onFileFinished);
    connect(controller, &ConversionController::errorOccurred, this, &MainWindow::onErrorOccurred);
    connect(controller, &ConversionController::allDone, this, &MainWindow::onAllDone);
    connect(controller, &ConversionController::progressUpdated, this,
            [this](int overallPercent, int) { setProgress(overallPercent); });
    connect(controller, &ConversionController::stageChanged, this, [this](const QString &stage) {
        if (stage == currentStage)
            return;
        currentStage = stage;
        refreshProgressTexts();
    });

    connect(inputPanel, &InputPanel::inputChanged, this, &MainWindow::onInputChanged);
    connect(inputPanel, &InputPanel::multipleFilesSelected, this,
            [this] { tabWidget->setCurrentIndex(filesTabIndex); });
    connect(scanner, &InputScanner::scanComplete, this, &MainWindow::onScanComplete);
    connect(scanner, &InputScanner::infoTextChanged, inputPanel, &InputPanel::setInfoText);

    connect(batchPanel, &BatchPanel::activeFilesChanged, this, &MainWindow::onActiveFilesChanged);
    connect(batchPanel, &BatchPanel::convertNextRequested, this, &MainWindow::onConvertNext);
    connect(batchPanel, &BatchPanel::fileExcludedDuringConversion, controller,
            &ConversionController::removeFromQueue);
    connect(batchPanel, &BatchPanel::fileExcludedDuringConversion, recorder, &BatchRecorder::exclude);
    connect(controller, &ConversionController::stalled, this,
            [this](const QString &, ConversionController::StallAction action) {
                if (action == ConversionController::StallAction::Stop && controller->isRunning())
                    stopRun();
            });
    connect(batchPanel, &BatchPanel::skipCurrentRequested, controller, &ConversionController::skipCurrent);
    connect(batchPanel, &BatchPanel::skipFilesRequested, this, [this](const QStringList &paths) {
        for (const QString &path : paths)
            controller->skipFile(path);
    });
    connect(batchPanel, &BatchPanel::fileExcludedDuringConversion, this,
            [this](const QString &path) { timeLeft.fileRemoved(path); });
    connect(batchPanel, &BatchPanel::jumpToLogError, this, [this](const QString &fileName) {
        tabWidget->setCurrentIndex(logTabIndex);
        progressPanel->searchFor(fileName);
    });
    connect(batchPanel, &BatchPanel::filesCleared, this,
            [this] { toast->showMessage(tr("File list cleared"), 2000); });

    connect(progressPanel, &ProgressPanel::logSaved, this, [this](const QString &path) {
        toast->showMessage(tr("Log saved to %1").arg(QFileInfo(path).fileName()), 3000);
    });
    connect(progressPanel, &ProgressPanel::logCleared, this, [this] {
        if (!clearingLogForRun)
            toast->showMessage(tr("Log cleared"), 2000);
    });

    connect(startButton, &QPushButton::clicked, this, [this] {
        if (running)
            onStopRequested();
        else
            onStartRequested();
    });
    connect(openOutputFolderButton, &QPushButton::clicked, this, &MainWindow::openOutputFolder);
    connect(refreshTimer, &QTimer::timeout, this, &MainWindow::refreshProgressTexts);
    connect(stopFollowUpTimer, &QTimer::timeout, this, &MainWindow::onStopFollowUp);
    connect(tabWidget, &QTabWidget::currentChanged, this, &MainWindow::onTabChanged);
    connect(recentFiles, &RecentFiles::fileSelected, this, &MainWindow::onRecentFileSelected);
}

void MainWindow::buildShortcuts()
{
    const auto startIfIdle = [this] {
        if (!controller->isRunning())
            onStartRequested();
    };
    connect(new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_Return), this), &QShortcut::activated, this,
            startIfIdle);
    // The keypad's Enter is the same request to the user.
    connect(new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_Enter), this), &QShortcut::activated, this,
            startIfIdle);
    connect(new QShortcut(QKeySequence(Qt::Key_Escape), this), &QShortcut::activated, this, [this] {
        if (controller->isRunning())
            onStopRequested();
    });
    connect(new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_F), this), &QShortcut::activated, this, [this] {
        tabWidget->setCurrentIndex(logTabIndex);
        progressPanel->showSearchBar();
    });
    connect(new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_L), this), &QShortcut::activated, progressPanel,
            &ProgressPanel::clearLog);
    connect(new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_S), this), &QShortcut::activated, progressPanel,
            &ProgressPanel::saveLogToFile);
}

void MainWindow::restoreRememberedFolders()
{
    const QString inputDir = settings->value(SettingsKeys::lastInputDir(converter.id)).toString();
    if (!inputDir.isEmpty())
        inputPanel->setFolderPath(inputDir);
    const QString outputDir = settings->value(SettingsKeys::lastOutputDir(converter.id)).toString();
    if (!outputDir.isEmpty())
        outputPanel->setOutputDir(outputDir);
}

void MainWindow::restoreWindowGeometry()
{
    const QByteArray geometry = settings->value(SettingsKeys::windowGeometry()).toByteArray();
    if (!geometry.isEmpty() && restoreGeometry(geometry))
        return;
    const QScreen *screen = QGuiApplication::primaryScreen();
    if (!screen)
        return;
    const QRect frame = RunFlow::defaultGeometry(screen->availableGeometry());
    resize(frame.size());
    move(frame.topLeft());
}

void MainWindow::setDarkTheme(bool dark)
{
    tabPulse->setDarkTheme(dark);
}

void MainWindow::showError(const QString &text)
{
    dialogs->showError(this, text);
}

QMessageBox::StandardButton MainWindow::ask(const QString &text, QMessageBox::StandardButtons buttons,
                                            QMessageBox::StandardButton defaultButton)
{
    return dialogs->ask(this, text, buttons, defaultButton);
}

void MainWindow::openPaths(const QStringList &paths)
{
    if (paths.isEmpty())
        return;
    const PathSelection selection = selectPaths(paths, converter.extensions);
    if (!selection.folder.isEmpty()) {
        inputPanel->setFolderPath(selection.folder);
        inputPanel->setFolderMode();
    } else if (selection.files.size() == 1) {
        inputPanel->setFilePath(selection.files.constFirst().absoluteFilePath());
        inputPanel->setSingleFileMode();
    } else if (selection.files.size() > 1) {
        inputPanel->setMultipleMode();
        inputPanel->setSelectedFiles(selection.files);
        batchPanel->setFiles(selection.files);
        tabWidget->setCurrentIndex(filesTabIndex);
        return;
    } else {
        return;
    }
    // The path setters are silent and the mode may not have changed: scan explicitly.
    onInputChanged();
}

void MainWindow::onInputChanged()
{
    if (inputPanel->isMultipleMode()) {
        scanner->setFileList(inputPanel->selectedFiles());
    } else {
        const bool single = inputPanel->isSingleFileMode();
        scanner->startScan(single ? inputPanel->filePath() : inputPanel->folderPath(),
                           converterNameFilters(converter), single, inputPanel->includeSubfolders());
    }
    updateTabPulse();
}

void MainWindow::onScanComplete(const QFileInfoList &files)
{
    // A scan that ends after a run has begun must not replace the run's table.
    if (running)
        return;
    batchPanel->setFiles(files);
}

void MainWindow::onActiveFilesChanged()
{
    scanner->refreshSummary(batchPanel->activeFiles());
    updateTabPulse();
    updateRetryAction();
}

void MainWindow::onRecentFileSelected(const QString &path)
{
    if (running)
        return;
    if (QFileInfo(path).isDir()) {
        inputPanel->setFolderPath(path);
        inputPanel->setFolderMode();
    } else {
        inputPanel->setFilePath(path);
        inputPanel->setSingleFileMode();
    }
    onInputChanged();
}

bool MainWindow::prepareOutputFolder()
{
    if (outputPanel->isSameAsProject())
        return true;
    const QString outputDir = outputPanel->outputDir();
    if (outputDir.isEmpty()) {
        showError(RunFlow::missingOutputMessage());
        return false;
    }
    // A folder that cannot be made is left to the converter, which names the path it cannot write.
    QDir().mkpath(outputDir);
    return true;
}

void MainWindow::onStartRequested()
{
    if (running)
        return;
    if (!prepareOutputFolder())
        return;

    const QFileInfoList active = batchPanel->activeFiles();
    if (active.isEmpty()) {
        showError(RunFlow::missingInputMessage(inputPanel->selection()));
        return;
    }

    if (settings->value(SettingsKeys::confirmBeforeStart(), SettingsKeys::defaultConfirmBeforeStart)
            .toBool()) {
        const QString mode = OptionsPanel::modeLabel(optionsPanel->exportMode(), converter.id);
        if (ask(RunFlow::confirmationText(active, mode), QMessageBox::Yes | QMessageBox::Cancel,
                QMessageBox::Yes) != QMessageBox::Yes)
            return;
    }

    QStringList upToDate;
    if (!checkBeforeRun(active, upToDate))
        return;

    saveRememberedState();
    syncSettings();
    recentFiles->add(RunFlow::recentEntry(inputPanel->selection(), active));

    tabWidget->setTabText(filesTabIndex, RunFlow::filesTabTitle(0));
    openOutputFolderButton->hide();
    batchPanel->prepareForConversion();
    const QFileInfoList files = batchPanel->activeFiles();
    if (files.isEmpty()) {
        batchPanel->onConversionFinished();
        return;
    }
    runFiles(files, upToDate);
}

bool MainWindow::checkBeforeRun(const QFileInfoList &files, QStringList &upToDate)
{
    PreflightInput input;
    input.converter = converter;
    input.converterPath = ConversionController::resolveExecutable(converter);
    input.wineLauncher = wineLauncher();
    input.options = gatherOptions();
    input.files = absolutePaths(files);
    input.outputDir = outputPanel->isSameAsProject() ? QString() : outputPanel->outputDir();
    input.skipUpToDate =
        settings->value(SettingsKeys::skipUpToDate(), SettingsKeys::defaultSkipUpToDate).toBool();
    const PreflightResult result = Preflight::check(input);
    if (result.isClean())
        return true;
    QStringList texts;
    for (const PreflightFinding &finding : result.findings)
        texts.append(finding.text);
    const QStringList choices =
        result.refused() ? QStringList{tr("Go Back")} : QStringList{tr("Continue"), tr("Go Back")};
    const int choice = dialogs->choose(this, tr("Before the conversion"), texts.join(u"\n\n"_s), choices);
    if (result.refused() || choice != 0)
        return false;
    // Files that are gone are left out of the run, all in one step.
    QSet<QString> gone;
    for (const PreflightFinding &finding : result.findings) {
        if (finding.kind == PreflightFinding::Kind::MissingInput)
            gone.unite(QSet<QString>(finding.paths.cbegin(), finding.paths.cend()));
    }
    QList<int> toDisable;
    for (int i = 0; i < batchPanel->fileCount() && !gone.isEmpty(); ++i) {
        if (gone.contains(batchPanel->fileAt(i).absoluteFilePath()))
            toDisable.append(i);
    }
    if (!toDisable.isEmpty())
        batchPanel->disableFiles(toDisable);
    upToDate = result.upToDate;
    return true;
}

void MainWindow::onRetryFailed()
{
    if (running || controller->isRunning() || retryableFiles().isEmpty())
        return;
    if (!prepareOutputFolder())
        return;

    tabWidget->setTabText(filesTabIndex, RunFlow::filesTabTitle(0));
    openOutputFolderButton->hide();
    batchPanel->resetFailedForRetry();
    const QFileInfoList files = batchPanel->filesWithStatus({FileStatus::Pending});
    batchPanel->prepareForRetry();
    if (files.isEmpty()) {
        batchPanel->onConversionFinished();
        return;
    }
    runFiles(files);
}

QString MainWindow::wineLauncher() const
{
    return WineLauncher::find(settings->value(SettingsKeys::wineLauncher()).toString());
}

ConversionOptions MainWindow::gatherOptions() const
{
    ConversionOptions options;
    options.boundingBox = optionsPanel->addBoundingBox();
    options.rooms = optionsPanel->addRoomData();
    options.viewMap = optionsPanel->includeViewMapping();
    options.extendedParents = optionsPanel->includeExtendedParents();
    options.schedules = optionsPanel->exportSchedules();
    options.sheetsToPdf = optionsPanel->exportSheetsToPdf();
    options.skipXlsx = exportFormatsPanel->isXlsxUnchecked();
    options.skipDae = exportFormatsPanel->isColladaUnchecked();
    options.forcePath = optionsPanel->useExactOutputPath();
    options.mode = optionsPanel->exportMode();
    options.categories = optionsPanel->customCategoriesFile();
    options.config = optionsPanel->ifcExportConfig();
    return options;
}

void MainWindow::runFiles(const QFileInfoList &files, const QStringList &upToDate)
{
    const ConversionOptions options = gatherOptions();
    const QString outputDir = outputPanel->isSameAsProject() ? QString() : outputPanel->outputDir();

    scanner->stopWatching();
    clearingLogForRun = true;
    progressPanel->clearLog();
    clearingLogForRun = false;
    // A new run starts neutral; the last run's green or red belongs to its summary.
    setStyleRole(progressBar, "barRole", QVariant());
    setStyleRole(progressTextLabel, "textRole", u"secondary"_s);
    stopFollowUpTimer->stop();
    currentFileNumber = 0;
    totalFileCount = 0;
    currentFileName.clear();
    currentStage.clear();
    setRunningState(true);
    setProgress(5);

    runTimer.start();
    refreshTimer->start();
    tabWidget->setCurrentIndex(logTabIndex);
    tabPulse->setAlert(false);
    updateTabPulse();

    const int stallMinutes =
        settings->value(SettingsKeys::stallMinutes(), SettingsKeys::defaultStallMinutes).toInt();
    const QString stallAction =
        settings->value(SettingsKeys::stallAction(), SettingsKeys::defaultStallAction()).toString();
    controller->setStallLimit(qint64(stallMinutes) * 60000,
                              ConversionController::stallActionFromName(stallAction));
    controller->setWineLauncher(wineLauncher());
    const QStringList paths = absolutePaths(files);
    // The view keeps the newest lines; the whole run's log goes to the batch folder, which
    // "Save Log" then copies.
    progressPanel->setMaximumLines(
        settings->value(SettingsKeys::logViewLines(), SettingsKeys::defaultLogViewLines).toInt());
    if (recorder->begin(batchRoot, converter, {converter.id, outputDir, options, paths})) {
        progressPanel->setFullLogFolder(QDir::toNativeSeparators(recorder->folder()));
        progressPanel->setFullLogFile(QDir(recorder->folder()).filePath(u"batch.log"_s));
    }
    batchReportAction->setEnabled(false);
    exportReportAction->setEnabled(false);
    upToDateCount = static_cast<int>(upToDate.size());
    QStringList toRun = paths;
    for (const QString &path : upToDate) {
        toRun.removeAll(path);
        recorder->skipUpToDate(path);
        batchPanel->onFileFinished(0, ExitMarker::Skipped, path);
        progressPanel->appendLog(tr("[SKIPPED] %1: results are up to date.").arg(QFileInfo(path).fileName()));
    }
    const int parallel =
        std::clamp(settings->value(SettingsKeys::parallelFiles(), SettingsKeys::defaultParallelFiles).toInt(),
                   1, SettingsKeys::maxParallelFiles);
    controller->setMaxParallel(parallel);
    runningFiles.clear();
    QList<QPair<QString, qint64>> sizes;
    for (const QString &path : std::as_const(toRun))
        sizes.append({path, QFileInfo(path).size()});
    timeLeft.begin(sizes, parallel, runTimer.elapsed());
    controller->start(toRun, options, outputDir);
}

void MainWindow::setRunningState(bool runningNow)
{
    running = runningNow;
    if (!running) {
        refreshTimer->stop();
        timeLeftLabel->hide();
    }

    if (running) {
        startButton->setIcon(icon(u"square-white"_s));
        startButton->setText(tr("STOP"));
        startButton->setToolTip(tr("Cancel conversion (Escape)"));
        setStyleRole(startButton, "buttonRole", u"stop"_s);
    } else {
        startButton->setIcon(icon(u"play-white"_s));
        startButton->setText(tr("START"));
        startButton->setToolTip(tr("Start conversion (Ctrl+Enter)"));
        setStyleRole(startButton, "buttonRole", u"start"_s);
    }

    progressPanel->setEscapeClosesSearch(!running);

    const QString toolTip = running ? tr("Disabled while conversion is running") : QString();
    for (QWidget *panel :
         {static_cast<QWidget *>(inputPanel), static_cast<QWidget *>(outputPanel),
          static_cast<QWidget *>(optionsPanel), static_cast<QWidget *>(exportFormatsPanel)}) {
        panel->setEnabled(!running);
        panel->setToolTip(toolTip);
    }
    if (!running)
        exportFormatsPanel->reapplyLocks();
    // The input may not change under a running batch.
    openFileAction->setEnabled(!running);
    openFolderAction->setEnabled(!running);
    recentFilesMenu->setEnabled(!running);
    updateRetryAction();
}

void MainWindow::setProgress(int percent)
{
    const int value = std::clamp(percent, 0, 100);
    // A converter may report progress thousands of times a second; while running, the texts
    // change only with the value (the clock has its own timer).
    if (running && value == progressBar->value())
        return;
    progressBar->setValue(value);
    refreshProgressTexts();
}

void MainWindow::refreshProgressTexts()
{
    if (!running) {
        setWindowTitle(converter.displayName);
        progressTextLabel->clear();
        timeLeftLabel->hide();
        return;
    }
    const QString elapsed =
        RunFlow::elapsedText(runTimer.isValid(), runTimer.isValid() ? runTimer.elapsed() : 0);
    const TimeLeft left = timeLeft.estimate(runTimer.elapsed());
    if (left.known)
        timeLeftLabel->setText(formatTimeLeft(left.lowMs, left.highMs));
    timeLeftLabel->setVisible(left.known);
    if (runningFiles.size() > 1) {
        const int first = runningFiles.firstKey();
        const int last = runningFiles.lastKey();
        setWindowTitle(RunFlow::parallelWindowTitle(converter.displayName, progressBar->value(), first, last,
                                                    totalFileCount));
        progressTextLabel->setText(RunFlow::parallelProgressText(
            first, last, totalFileCount, static_cast<int>(runningFiles.size()), currentStage, elapsed));
        statusBar()->showMessage(RunFlow::parallelStatusText(first, last, totalFileCount, elapsed));
        return;
    }
    setWindowTitle(
        RunFlow::windowTitle(converter.displayName, progressBar->value(), currentFileNumber, totalFileCount));
    if (totalFileCount >= 1 && !currentFileName.isEmpty())
        progressTextLabel->setText(
            RunFlow::progressText(currentFileNumber, totalFileCount, currentFileName, currentStage, elapsed));
    statusBar()->showMessage(RunFlow::statusText(currentFileNumber, totalFileCount, elapsed));
}

void MainWindow::onFileStarted(int number, int total, const QString &filePath)
{
    currentStage.clear();
    currentFileNumber = number;
    totalFileCount = total;
    currentFileName = QFileInfo(filePath).fileName();
    runningFiles.insert(number, currentFileName);
    timeLeft.fileStarted(filePath, QFileInfo(filePath).size(), runTimer.elapsed());
    refreshProgressTexts();
    // The file's own log is written from its start on, so "Open Log" can follow it live.
    if (const QString log = controller->logFileOf(filePath); !log.isEmpty())
        batchPanel->setLogFile(filePath, log);
}

void MainWindow::onFileFinished(int number, int exitCode, const QString &filePath)
{
    currentStage.clear();
    runningFiles.remove(number);
    // Back to one running file: the texts name it again.
    if (runningFiles.size() == 1) {
        currentFileNumber = runningFiles.firstKey();
        currentFileName = runningFiles.first();
    }
    timeLeft.fileFinished(filePath, exitCode != 0, runTimer.elapsed());
    const QString name = QFileInfo(filePath).fileName();
    // The converter's last lines are still buffered; they belong above our verdict.
    if (exitCode > 0 || exitCode == ExitMarker::Skipped)
        controller->onLogFlush();
    if (exitCode > 0)
        progressPanel->appendLog(RunFlow::fileErrorLine(name, exitCode));
    else if (exitCode == ExitMarker::Skipped)
        progressPanel->appendLog(RunFlow::skippedLine(name));
}

void MainWindow::onErrorOccurred(int exitCode, const QString &fileName)
{
    controller->onLogFlush();
    progressPanel->appendLog(RunFlow::fileErrorLine(fileName, exitCode));
}

void MainWindow::onConvertNext(const QString &filePath)
{
    if (!controller->isRunning())
        return;
    controller->convertNext(filePath);
}

void MainWindow::onAllDone(int successCount, int failCount, int skipCount)
{
    // Files whose results were up to date count as skipped, though the converter never saw them.
    skipCount += std::exchange(upToDateCount, 0);
    setRunningState(false);
    updateTabPulse();
    setProgress(100);
    showSummary(successCount, failCount, skipCount);
    batchPanel->onConversionFinished();
    openOutputFolderButton->show();
    setWindowTitle(converter.displayName);
    statusBar()->showMessage(tr("Ready"));
    updateRetryAction();

    const QString duration =
        RunFlow::elapsedText(runTimer.isValid(), runTimer.isValid() ? runTimer.elapsed() : 0);
    const RunFlow::Notice notice = RunFlow::endToast(successCount, failCount, skipCount, duration);
    toast->showMessage(notice.text, notice.durationMs);

    if (trayIcon && !isActiveWindow()) {
        const RunFlow::TrayNotice tray = RunFlow::endTrayNotice(successCount, failCount, skipCount);
        trayIcon->showMessage(converter.displayName, tray.text, tray.icon, 5000);
    }
    if (outputPanel->openFolderAfterConversion())
        openOutputFolder();
}

void MainWindow::showSummary(int successCount, int failCount, int skipCount)
{
    const RunFlow::Summary summary = RunFlow::summary(successCount, failCount, skipCount);
    progressTextLabel->setText(summary.text);
    setStyleRole(progressTextLabel, "textRole", summary.role);
    setStyleRole(progressBar, "barRole", summary.role);
    tabWidget->setTabText(filesTabIndex, RunFlow::filesTabTitle(failCount));
}

void MainWindow::onStopRequested()
{
    if (!controller->isRunning())
        return;
    if (ask(tr("Are you sure you want to stop the process?"), QMessageBox::Yes | QMessageBox::No,
            QMessageBox::No) != QMessageBox::Yes)
        return;
    // The run goes on while the question is open; if it ended meanwhile, its summary stands.
    if (!controller->isRunning())
        return;
    stopRun();
}

void MainWindow::stopRun()
{
    startButton->setText(tr("STOPPING..."));
    setStyleRole(startButton, "buttonRole", u"stopping"_s);
    startButton->setEnabled(false);
    // Stopping may wait for the converter to die; show the new state before that.
    startButton->repaint();

    controller->stop();
    recorder->stop();
    batchPanel->onCancelled();
    tabPulse->setAlert(true);
    updateTabPulse();
    stopFollowUpTimer->start();
    refreshTimer->stop();
    setWindowTitle(converter.displayName);
    setRunningState(false);
    startButton->setEnabled(true);
    progressPanel->appendLog(tr("Conversion cancelled by user."));
    statusBar()->showMessage(tr("Conversion cancelled."), 5000);
}

void MainWindow::exportReport()
{
    const QString target =
        dialogs->saveFileName(this, tr("Export Report"), QString(), tr("CSV Files (*.csv);;All Files (*)"));
    if (target.isEmpty())
        return;
    QFile::remove(target);
    if (!QFile::copy(recorder->reportPath(), target))
        dialogs->showWarning(this, tr("Export Failed"),
                             tr("Could not write the report to:\n%1").arg(QDir::toNativeSeparators(target)));
}

void MainWindow::offerInterruptedBatch()
{
    const std::optional<BatchState> state = BatchJournal::findInterrupted(batchRoot);
    if (!state || state->batch.converterId != converter.id)
        return;
    const QStringList remaining = state->remaining();
    const int total = static_cast<int>(state->batch.files.size());
    const QString text =
        tr("The last batch was interrupted after %1 of %2 files. Resume the remaining files?")
            .arg(total - remaining.size())
            .arg(total);
    const int choice = dialogs->choose(this, converter.displayName, text, {tr("Resume"), tr("Discard")});
    // Offered once: whatever the answer, this journal is done with.
    BatchJournal::discard(state->journalPath);
    if (choice != 0)
        return;
    QFileInfoList files;
    for (const QString &path : remaining)
        files.append(QFileInfo(path));
    outputPanel->setSameAsProject(state->batch.outputDir.isEmpty());
    if (!state->batch.outputDir.isEmpty())
        outputPanel->setOutputDir(state->batch.outputDir);
    optionsPanel->applyOptions(state->batch.options);
    exportFormatsPanel->applySkipped(state->batch.options.skipXlsx, state->batch.options.skipDae);
    inputPanel->setMultipleMode();
    inputPanel->setSelectedFiles(files);
    batchPanel->setFiles(files);
    onStartRequested();
}

void MainWindow::onStopFollowUp()
{
    // Five seconds after a stop the run bar goes back to rest, unless a new run began.
    if (running)
        return;
    progressBar->setValue(0);
    progressTextLabel->clear();
}

void MainWindow::openOutputFolder()
{
    const QString folder = RunFlow::outputFolderToOpen(outputPanel->isSameAsProject(),
                                                       inputPanel->selection(), outputPanel->outputDir());
    if (!folder.isEmpty())
        dialogs->openUrl(QUrl::fromLocalFile(folder));
}

void MainWindow::saveRememberedState()
{
    const QString inputDir = RunFlow::rememberedInputDir(inputPanel->selection());
    if (!inputDir.isEmpty())
        settings->setValue(SettingsKeys::lastInputDir(converter.id), inputDir);
    const QString outputDir = outputPanel->outputDir();
    if (!outputDir.isEmpty())
        settings->setValue(SettingsKeys::lastOutputDir(converter.id), outputDir);
    settings->setValue(SettingsKeys::windowGeometry(), saveGeometry());
}

void MainWindow::syncSettings()
{
    settings->sync();
    // Said once: a read-only file or a full disk would otherwise lose every preference quietly.
    if (settings->status() == QSettings::NoError || settingsProblemReported)
        return;
    settingsProblemReported = true;
    showError(tr("Your preferences could not be saved to %1. Check that the file can be written and that "
                 "the disk has room.")
                  .arg(QDir::toNativeSeparators(settings->fileName())));
}

void MainWindow::closeEvent(QCloseEvent *event)
{
    if (controller->isRunning()) {
        if (ask(tr("A conversion is in progress. Quit anyway?"), QMessageBox::Yes | QMessageBox::No,
                QMessageBox::No) != QMessageBox::Yes) {
            event->ignore();
            return;
        }
        controller->stop();
    }
    saveRememberedState();
    syncSettings();
    event->accept();
}

void MainWindow::updateTabPulse()
{
    const bool hasFileList = !inputPanel->isSingleFileMode() && !batchPanel->activeFiles().isEmpty();
    tabPulse->update(running, hasFileList, tabWidget->currentIndex(), settingsTabIndex, logTabIndex,
                     filesTabIndex);
}

void MainWindow::onTabChanged()
{
    if (tabPulse->isAlert())
        tabPulse->setAlert(false);
    updateTabPulse();
}

QFileInfoList MainWindow::retryableFiles() const
{
    return batchPanel->filesWithStatus({FileStatus::Failed, FileStatus::Stopped, FileStatus::Canceled});
}

void MainWindow::updateRetryAction()
{
    retryAction->setEnabled(!running && !retryableFiles().isEmpty());
}

void MainWindow::openPreferences()
{
    auto *dialog = new SettingsDialog(settings, this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &SettingsDialog::settingsChanged, this, &MainWindow::updateTabPulse);
    connect(dialog, &SettingsDialog::themeChanged, this, &MainWindow::applyTheme);
    dialog->show();
}

void MainWindow::applyTheme()
{
    const bool dark = isDarkTheme(*settings, systemPrefersDark);
    if (auto *app = qobject_cast<QApplication *>(QCoreApplication::instance()))
        applyStyleSheet(*app, dark);
    tabPulse->setDarkTheme(dark);
}

QDialog *MainWindow::createShortcutsDialog()
{
    auto *dialog = new QDialog(this);
    dialog->setObjectName(u"shortcutsDialog"_s);
    dialog->setWindowTitle(tr("Keyboard Shortcuts"));
    dialog->setMinimumWidth(400);
    dialog->setModal(true);
    auto *layout = new QVBoxLayout(dialog);
    auto *grid = new QGridLayout;
    grid->setColumnStretch(1, 1);
    const std::pair<QString, QString> rows[] = {
        {u"Ctrl+O"_s, tr("Open file")},
        {u"Ctrl+Shift+O"_s, tr("Open folder")},
        {u"Ctrl+Return"_s, tr("Start conversion")},
        {u"Escape"_s, tr("Stop conversion")},
        {u"Ctrl+F"_s, tr("Search in log")},
        {u"Ctrl+L"_s, tr("Clear log")},
        {u"Ctrl+S"_s, tr("Save log to file")},
        {u"Ctrl+,"_s, tr("Open preferences")},
        {u"Alt+F4"_s, tr("Exit")},
    };
    int row = 0;
    for (const auto &[key, description] : rows) {
        auto *keyLabel = new QLabel(u"<code>%1</code>"_s.arg(key), dialog);
        keyLabel->setTextFormat(Qt::RichText);
        grid->addWidget(keyLabel, row, 0);
        grid->addWidget(new QLabel(description, dialog), row, 1);
        ++row;
    }
    layout->addLayout(grid);
    layout->addStretch();
    auto *buttons = new QHBoxLayout;
    buttons->addStretch();
    auto *close = new QPushButton(tr("Close"), dialog);
    close->setFixedWidth(90);
    connect(close, &QPushButton::clicked, dialog, &QDialog::accept);
    buttons->addWidget(close);
    layout->addLayout(buttons);
    return dialog;
}

QMessageBox *MainWindow::createAboutDialog()
{
    auto *box = new QMessageBox(this);
    box->setObjectName(u"aboutDialog"_s);
    box->setWindowTitle(tr("About KVT"));
    box->setIconPixmap(sharpPixmap(u":/res/png/title_left_side.png"_s, devicePixelRatioF()));
    const QUrl site(Deployment::vendorSiteUrl());
    const QString email = Deployment::contactEmail();
    box->setTextFormat(Qt::RichText);
    box->setText(u"<h2>"_s + QCoreApplication::applicationName() + u"</h2>"_s +
                 tr("<p>Version 18.1.0</p><p>BIM/CAD data converter for Architecture, Engineering &amp; "
                    "Construction.</p>") +
                 u"<p><a href=\"%1\">%2</a></p><p><a href=\"mailto:%3\">%3</a></p>"_s.arg(
                     site.toString().toHtmlEscaped(), site.host().toHtmlEscaped(), email.toHtmlEscaped()));
    box->setStandardButtons(QMessageBox::Ok);
    return box;
}
