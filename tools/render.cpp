// Renders the real main window, its panels and its dialogs with the program's own light and
// dark style sheets to PNG files, so the look can be checked without a display. It also makes
// the README's pictures in docs/screenshots/ (the "run" screen).
//
//   render [--out FOLDER] [--theme light|dark|both] [--demo FOLDER] [--scale FACTOR] [SCREEN...]
//
// Screens, all of them when none is named:
//   run       the window before, during and after converting a copy of the demo folder: the
//             README's pictures (needs the demo converter, target fakeconverter)
//   stop      the same conversion with its log searched, then stopped halfway
//   panels    the window for every converter with a sample folder open, and its drop overlays
//   online    the Info panel and the banners (the update host is unreachable)
//   progress  the log view with colours and a search, the Files table with every file status
//   dialogs   preferences, update notice, About, keyboard shortcuts and the File menu
//   batch     the checks refusing a batch before it runs, and the offer to resume one
//   editions  every edition's window after a run of the demo folder (the IFC and DWG ones are
//             in docs/screenshots/)
//
// Pictures go to FOLDER (default screenshots/) as NAME-THEME.png, with @2x at --scale 2; the
// demo folder defaults to demo/ of the current folder. From the source tree, the README's:
//   build/bench/bin/render --out docs/screenshots run
// Settings and caches live in a temporary folder; nothing of the user's is read or written and
// nothing reaches the network.

#include "app/mainwindow.h"
#include "app/settingsdialog.h"
#include "app/theme.h"
#include "common/dialogs.h"
#include "common/settingskeys.h"
#include "conversion/batchjournal.h"
#include "conversion/conversioncontroller.h"
#include "conversion/converterinfo.h"
#include "input/inputpanel.h"
#include "online/bannerentry.h"
#include "online/bannerwidget.h"
#include "online/infopanel.h"
#include "online/updatedialogs.h"
#include "online/versioninfo.h"
#include "options/outputpanel.h"
#include "progress/batchpanel.h"
#include "progress/progresspanel.h"

#include <QApplication>
#include <QCheckBox>
#include <QDeadlineTimer>
#include <QDialog>
#include <QDir>
#include <QDragEnterEvent>
#include <QFile>
#include <QFileInfo>
#include <QFont>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMimeData>
#include <QProgressBar>
#include <QPushButton>
#include <QSettings>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QThread>
#include <QUrl>
#include <QVBoxLayout>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

// The size of the README's pictures.
const QSize windowSize(1344, 832);
int failures = 0;

void complain(const QString &text)
{
    std::fprintf(stderr, "%s\n", qPrintable(text));
    ++failures;
}

bool waitFor(const std::function<bool()> &condition, int timeoutMs)
{
    QDeadlineTimer deadline(timeoutMs);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(5);
    }
    return true;
}

// Lets layouts, style updates and queued work such as the folder scan finish.
void settle(int ms)
{
    waitFor([] { return false; }, ms);
}

// Writes grabs as FOLDER/NAME-THEME.png.
struct Camera
{
    QString folder;
    QString theme;
    QString suffix;

    void shoot(QWidget *widget, const QString &name, QSize size = {}) const
    {
        // Not adjustSize(): it caps a window at two thirds of the screen, which is small at
        // --scale 2.
        widget->resize(size.isValid() ? size : widget->sizeHint().expandedTo(widget->minimumSize()));
        widget->show();
        settle(150);
        const QString path = QDir(folder).filePath(u"%1-%2%3.png"_s.arg(name, theme, suffix));
        if (widget->grab().save(path))
            std::printf("%s\n", qPrintable(path));
        else
            complain(u"could not write "_s + path);
    }
};

// What the screens share: the demo folder and a scratch folder for settings and samples.
struct Context
{
    QString demoFolder;
    QTemporaryDir scratch;
    int stores = 0;

    // A settings store of its own for every window, so no window inherits another's state.
    QString newSettingsFile() { return scratch.filePath(u"settings-%1.ini"_s.arg(++stores)); }
};

// The main window as start-up makes it, with dialogs that show nothing and answer every
// question with Yes. An error or warning the window would have shown fails the render.
struct Window
{
    Window(Context &context, const ConverterInfo &converter, bool dark)
        : settings(context.newSettingsFile(), QSettings::IniFormat)
    {
        dialogs.setScripted();
        dialogs.setDefaultAnswer(QMessageBox::Yes);
        window = std::make_unique<MainWindow>(converter, &settings, &dialogs);
        window->setDarkTheme(dark);
        window->resize(windowSize);
        window->show();
        tabs = window->findChild<QTabWidget *>(u"mainTabs"_s);
    }
    ~Window()
    {
        for (const Dialogs::Request &request : dialogs.requests()) {
            if (request.kind == Dialogs::Kind::Error || request.kind == Dialogs::Kind::Warning)
                complain(u"the window reported: "_s + request.text);
        }
    }
    Q_DISABLE_COPY_MOVE(Window)

    template <typename T> T *find(const QString &name = {}) const { return window->findChild<T *>(name); }

    QSettings settings;
    Dialogs dialogs;
    std::unique_ptr<MainWindow> window;
    QTabWidget *tabs = nullptr;
};

// A real panel on its own, in a dialog so that it stands on the theme's window ground.
template <typename Panel> Panel *framed(QDialog &frame, Panel *panel)
{
    auto *layout = new QVBoxLayout(&frame);
    layout->addWidget(panel);
    return panel;
}

// An acceptable drag entering target, as from a file manager: the target shows its overlay.
void dragOver(QWidget *target, const QString &path)
{
    QMimeData mime;
    mime.setUrls({QUrl::fromLocalFile(path)});
    QDragEnterEvent enter(target->rect().center(), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &enter);
}

bool copyFolder(const QString &from, const QString &to)
{
    QDir().mkpath(to);
    const QDir source(from);
    const QStringList names = source.entryList(QDir::Files);
    for (const QString &name : names) {
        if (!QFile::copy(source.filePath(name), QDir(to).filePath(name)))
            return false;
    }
    return !names.isEmpty();
}

// The main window with a fresh copy of the demo folder open (so no run sees the results of
// another), its results going beside the inputs.
struct DemoWindow
{
    DemoWindow(Context &context, bool dark, const ConverterInfo &converter = makeRevitConverterInfo(true))
        : w(context, converter, dark)
    {
        const QString input = work.filePath(u"demo"_s);
        if (!QFileInfo::exists(ConversionController::resolveExecutable(converter)))
            complain(u"the demo converter is missing; build the target fakeconverter"_s);
        else if (!copyFolder(context.demoFolder, input))
            complain(u"cannot copy the demo folder "_s + context.demoFolder);
        else
            ready = true;
        w.find<QCheckBox>(u"sameAsProjectCheck"_s)->setChecked(true);
        w.window->openPaths({input});
        bar = w.find<QProgressBar>(u"progressBar"_s);
        settle(800);
    }

    // Starts the conversion and waits until the progress bar reaches percent.
    void startUntil(int percent)
    {
        w.window->onStartRequested();
        if (!waitFor([this, percent] { return bar->value() >= percent; }, 20000))
            complain(u"the demo conversion did not get going"_s);
        settle(300);
    }

    QTemporaryDir work;
    Window w;
    QProgressBar *bar = nullptr;
    bool ready = false;
};

void renderRun(Context &context, const Camera &camera, bool dark)
{
    DemoWindow demo(context, dark);
    if (!demo.ready)
        return;
    MainWindow *window = demo.w.window.get();
    demo.w.tabs->setCurrentIndex(2);
    camera.shoot(window, u"mainwindow-before"_s, windowSize);

    demo.startUntil(30);
    camera.shoot(window, u"mainwindow-during"_s, windowSize);

    if (!waitFor([window] { return !window->isRunning(); }, 60000))
        complain(u"the demo conversion did not end"_s);
    settle(600);
    demo.w.tabs->setCurrentIndex(2);
    camera.shoot(window, u"mainwindow-after"_s, windowSize);
}

void renderStop(Context &context, const Camera &camera, bool dark)
{
    DemoWindow demo(context, dark);
    if (!demo.ready)
        return;
    MainWindow *window = demo.w.window.get();
    demo.startUntil(50);
    demo.w.find<ProgressPanel>()->searchFor(u"warehouse"_s);
    camera.shoot(window, u"mainwindow-search"_s, windowSize);

    // Stopped with the Settings tab in front: the log and files tabs turn red.
    demo.w.tabs->setCurrentIndex(0);
    window->onStopRequested();
    camera.shoot(window, u"mainwindow-stopped"_s, windowSize);
}

// Every edition's window after a run of the demo folder, which holds files for each.
void renderEditions(Context &context, const Camera &camera, bool dark)
{
    const QString name = QCoreApplication::applicationName();
    for (const QString &id : {u"revit"_s, u"ifc"_s, u"dwg"_s, u"dgn"_s, u"rvt2ifc"_s}) {
        // As start-up does; temporary folders, shown in the input field, are named after it.
        QCoreApplication::setApplicationName(makeConverterInfo(id, true).displayName);
        DemoWindow demo(context, dark, makeConverterInfo(id, true));
        if (!demo.ready)
            break;
        MainWindow *window = demo.w.window.get();
        // The Revit files include the long one made for trying Stop; it is skipped here.
        demo.w.window->onStartRequested();
        const bool ended = waitFor(
            [&] {
                if (auto *skip = demo.w.find<QPushButton>(u"batchSkipButton"_s);
                    skip && skip->isEnabled() &&
                    demo.w.find<QLabel>(u"progressTextLabel"_s)->text().contains(u"Parking"_s))
                    skip->click();
                return !window->isRunning();
            },
            60000);
        if (!ended)
            complain(u"the demo conversion of the "_s + id + u" edition did not end"_s);
        settle(600);
        demo.w.tabs->setCurrentIndex(2);
        camera.shoot(window, u"edition-"_s + id, windowSize);
    }
    QCoreApplication::setApplicationName(name);
}

void renderPanels(Context &context, const Camera &camera, bool dark)
{
    // One sample file for every kind of input, and a category list to drop on the modes.
    const QString sample = context.scratch.filePath(u"Projects/Tower"_s);
    QDir().mkpath(sample);
    const ConverterInfo converters[] = {makeRevitConverterInfo(true), makeIfcConverterInfo(true),
                                        makeDwgConverterInfo(true), makeDgnConverterInfo(true),
                                        makeRvt2IfcConverterInfo(true)};
    for (const ConverterInfo &converter : converters) {
        for (const QString &extension : converter.extensions)
            QFile(sample + u"/Tower A."_s + extension).open(QIODevice::WriteOnly);
    }
    const QString categories = sample + u"/categories.txt"_s;
    QFile(categories).open(QIODevice::WriteOnly);

    for (const ConverterInfo &converter : converters) {
        Window w(context, converter, dark);
        w.window->openPaths({sample});
        settle(400);
        camera.shoot(w.window.get(), u"panels-"_s + converter.id, windowSize);
        if (converter.id != u"revit")
            continue;
        dragOver(w.find<InputPanel>(), sample);
        dragOver(w.find<OutputPanel>(), sample);
        dragOver(w.find<QGroupBox>(u"exportModeGroup"_s), categories);
        camera.shoot(w.window.get(), u"panels-overlays"_s, windowSize);
    }
}

void renderOnline(Context &context, const Camera &camera, bool)
{
    QSettings settings(context.newSettingsFile(), QSettings::IniFormat);
    {
        // The main window's row: the Info panel and the banners side by side.
        QDialog row;
        auto *layout = new QHBoxLayout(&row);
        layout->addWidget(new InfoPanel, 1);
        auto *banners = new BannerWidget(&settings);
        banners->setConverterId(u"revit"_s);
        layout->addWidget(banners, 1);
        camera.shoot(&row, u"online-row"_s, QSize(760, 170));
        banners->rotateToNext();
        banners->rotateToNext();
        camera.shoot(&row, u"online-row-third"_s, QSize(760, 170));
    }
    {
        QDialog frame;
        framed(frame, new InfoPanel);
        camera.shoot(&frame, u"online-info-narrow"_s, QSize(300, 210));
    }
    {
        // A list whose only picture is missing: a placeholder, and no dots for one entry.
        BannerEntry missing;
        missing.id = u"gone"_s;
        missing.fallback = u"no_such_picture"_s;
        settings.setValue(SettingsKeys::bannerEntries(), BannerEntry::listToSettings({missing}));
        QDialog frame;
        framed(frame, new BannerWidget(&settings))->setConverterId(u"dwg"_s);
        camera.shoot(&frame, u"online-banner-missing"_s, QSize(360, 150));
    }
}

QString sgr(const char *parameters)
{
    return QChar(0x1b) + u'[' + QLatin1StringView(parameters) + u'm';
}

// Lines as the converters write them, with every colour and tag the log view knows.
QString sampleLog()
{
    return QStringList{
        u"---- Started Loading model ..."_s,
        u"[Stage] Reading project information"_s,
        sgr("32") + u"[OK]"_s + sgr("0") + u" Opened C:/Projects/Tower/Tower_A.rvt (Revit 2024)"_s,
        u"Progress: 12.5%"_s,
        sgr("33") + u"[WARNING]"_s + sgr("0") + u" Element 30211 has no level; placed at origin"_s,
        sgr("36") + u"Exporting categories: Walls, Doors, Windows <Custom & Generic>"_s + sgr("0"),
        sgr("31;1") + u"[ERROR]"_s + sgr("0") + u" Family \"Curtain Panel 3\" could not be read"_s,
        sgr("94") + u"[Info]"_s + sgr("0") + u" Geometry: 18 442 elements, 2 104 118 triangles"_s,
        sgr("1") + u"Bold summary line"_s + sgr("0"),
        sgr("35") + u"magenta "_s + sgr("92") + u"bright green "_s + sgr("97") + u"white"_s + sgr("0"),
        sgr("41") + u"background codes are ignored"_s + sgr("0"),
        u"[WARN] Duplicate mark 'W-12' on 2 walls"_s,
        u"Progress: 100%"_s,
        sgr("32") + u"Done: Tower_A.rvt -> Tower_A.xlsx, Tower_A.dae"_s + sgr("0"),
    }
        .join(u'\n');
}

// Drives a table through a run, a stop and a retry, so that every file status shows.
void driveTable(BatchPanel &panel, const QString &folder)
{
    const QList<QPair<QString, qint64>> rows{
        {u"Tower_A.rvt"_s, 48'300'000},  {u"Tower_B.rvt"_s, 52'100'000}, {u"Podium.rvt"_s, 3'400'000},
        {u"Garage.rvt"_s, 812},          {u"Facade.rfa"_s, 640'000},     {u"Site.rvt"_s, 9'700'000},
        {u"Landscape.rvt"_s, 1'250'000}, {u"Old_Annex.rvt"_s, 2'048},    {u"Roof.rvt"_s, 120'000}};
    QFileInfoList files;
    for (const auto &[name, size] : rows) {
        QFile file(QDir(folder).filePath(name));
        if (file.open(QIODevice::WriteOnly))
            file.resize(size);
        files.append(QFileInfo(file.fileName()));
    }
    const auto path = [&files](int i) { return files.at(i).absoluteFilePath(); };
    panel.setFiles(files);
    panel.disableFile(7);
    panel.prepareForConversion();
    // Done, failed with code 9, skipped, failed with code 2; each takes a little longer.
    const int codes[] = {0, 9, ExitMarker::Skipped, 2};
    for (int i = 0; i < 4; ++i) {
        panel.onFileStarted(i + 1, 8, path(i));
        QThread::msleep(20 + 40 * i);
        panel.onFileFinished(i + 1, codes[i], path(i));
    }
    panel.onFileStarted(5, 8, path(4));
    panel.onCancelled(); // Facade stopped; Site, Landscape and Roof canceled
    panel.prepareForRetry();
    panel.convertNext(3); // Garage waits again
    panel.onFileStarted(1, 2, path(5));
}

void renderProgress(Context &context, const Camera &camera, bool)
{
    Dialogs dialogs;
    dialogs.setScripted();
    {
        QDialog frame;
        ProgressPanel *log = framed(frame, new ProgressPanel(&dialogs));
        log->appendLog(sampleLog());
        log->searchFor(u"tower_a"_s);
        camera.shoot(&frame, u"progress-log"_s, QSize(760, 380));
    }
    {
        QDialog frame;
        QTemporaryDir folder(context.scratch.filePath(u"table-XXXXXX"_s));
        driveTable(*framed(frame, new BatchPanel(&dialogs)), folder.path());
        camera.shoot(&frame, u"progress-table"_s, QSize(640, 400));
    }
    {
        QDialog frame;
        framed(frame, new BatchPanel(&dialogs));
        camera.shoot(&frame, u"progress-table-empty"_s, QSize(640, 260));
    }
}

void renderDialogs(Context &context, const Camera &camera, bool dark)
{
    {
        QSettings settings(context.newSettingsFile(), QSettings::IniFormat);
        SettingsDialog dialog(&settings);
        camera.shoot(&dialog, u"dialogs-settings-general"_s);
        dialog.findChild<QTabWidget *>()->setCurrentIndex(1);
        camera.shoot(&dialog, u"dialogs-settings-appearance"_s);
    }
    {
        VersionInfo info;
        info.updateAvailable = true;
        info.latest = u"18.2.0"_s;
        info.released = u"2026-04-01"_s;
        info.downloadPath = u"/convertors/"_s;
        const std::unique_ptr<QMessageBox> box(UpdateDialogs::createUpdateDialog(info, nullptr));
        camera.shoot(box.get(), u"dialogs-update"_s);
    }
    Window w(context, makeRevitConverterInfo(true), dark);
    const std::unique_ptr<QMessageBox> about(w.window->createAboutDialog());
    camera.shoot(about.get(), u"dialogs-about"_s);
    const std::unique_ptr<QDialog> shortcuts(w.window->createShortcutsDialog());
    camera.shoot(shortcuts.get(), u"dialogs-shortcuts"_s);
    QMenu *file = w.window->menuBar()->actions().constFirst()->menu();
    // The second entry shows the hover colour.
    file->setActiveAction(file->actions().at(1));
    camera.shoot(file, u"dialogs-menu"_s);
    file->hide();
}

// The questions around long batches, as the window asks them: the checks refusing a batch
// whose files would overwrite each other's results, and the offer to resume an interrupted one.
void renderBatch(Context &context, const Camera &camera, bool dark)
{
    Window w(context, makeRevitConverterInfo(true), dark);
    const QDir scratch(context.scratch.path());
    QStringList models;
    for (const QString &name : {u"Site A/House.rvt"_s, u"Site B/House.rvt"_s, u"Site B/Garage.rvt"_s}) {
        QDir().mkpath(QFileInfo(scratch.filePath(name)).absolutePath());
        QFile file(scratch.filePath(name));
        if (file.open(QIODevice::WriteOnly))
            file.write("progress 100\n");
        models.append(file.fileName());
    }
    w.window->openPaths(models);
    w.find<OutputPanel>()->setOutputDir(scratch.filePath(u"Results"_s));
    w.window->onStartRequested();
    const auto shootLastChoice = [&](const QString &name) {
        const QList<Dialogs::Request> asked = w.dialogs.requestsOf(Dialogs::Kind::Choice);
        if (asked.isEmpty())
            return complain(u"no question for "_s + name);
        const auto box =
            Dialogs::createChoiceBox(nullptr, asked.last().detail, asked.last().text, asked.last().choices);
        camera.shoot(box.get(), name);
    };
    shootLastChoice(u"batch-preflight"_s);

    const QString root = scratch.filePath(u"batches-%1"_s.arg(dark));
    {
        BatchJournal journal;
        journal.begin(root, {u"revit"_s, scratch.filePath(u"Results"_s), {}, models});
        journal.fileStarted(models.at(0));
        journal.fileFinished(models.at(0), 0);
        journal.fileStarted(models.at(1));
    }
    w.window->setBatchRoot(root);
    w.window->offerInterruptedBatch();
    shootLastChoice(u"batch-resume"_s);
}

// Three files at once, part-way through a batch of eight: log lines tagged by file, the
// files' range in the run bar and the time left beside it.
void renderParallel(Context &context, const Camera &camera, bool dark)
{
    Window w(context, makeRevitConverterInfo(true), dark);
    w.settings.setValue(SettingsKeys::parallelFiles(), 3);
    const QDir folder(context.scratch.filePath(u"parallel-%1"_s.arg(dark)));
    QDir().mkpath(folder.path());
    const QStringList names{u"Tower A"_s, u"Tower B"_s,     u"Podium"_s, u"Car park"_s,
                            u"Canteen"_s, u"Sports hall"_s, u"Annex"_s,  u"Bridge"_s};
    QStringList models;
    for (qsizetype i = 0; i < names.size(); ++i) {
        QFile file(folder.filePath(u"%1 %2.rvt"_s.arg(i + 1, 2, 10, QChar(u'0')).arg(names.at(i))));
        QByteArray script = "started Loading model\n";
        // Uneven steps so the three never move in lockstep.
        const int pause = 150 + static_cast<int>(i % 3) * 120;
        for (int step = 1; step <= 10; ++step) {
            if (step == 3)
                script += "stage Exporting geometry\n";
            if (step == 8)
                script += "stage Writing spreadsheet\n";
            script +=
                "progress " + QByteArray::number(step * 10) + "\nsleep " + QByteArray::number(pause) + "\n";
        }
        if (i == 4)
            script += "warning 12 elements have no geometry\n";
        if (file.open(QIODevice::WriteOnly))
            file.write(script);
        models.append(file.fileName());
    }
    w.window->openPaths(models);
    w.find<OutputPanel>()->setOutputDir(folder.filePath(u"Results"_s));
    w.window->onStartRequested();
    auto *timeLeft = w.find<QLabel>(u"timeLeftLabel"_s);
    auto *batch = w.find<BatchPanel>();
    const auto runningCount = [batch] {
        int running = 0;
        for (int i = 0; i < batch->fileCount(); ++i)
            running += batch->statusOf(i) == FileStatus::Running;
        return running;
    };
    if (!waitFor([&] { return timeLeft->isVisible() && runningCount() == 3; }, 30000))
        complain(u"three files never ran at once"_s);
    settle(200);
    camera.shoot(w.window.get(), u"parallel-log"_s, windowSize);
    w.tabs->setCurrentIndex(2);
    settle(100);
    camera.shoot(w.window.get(), u"parallel-files"_s, windowSize);
    w.window->onStopRequested();
}

using Screen = void (*)(Context &, const Camera &, bool dark);
const QList<QPair<QString, Screen>> screens{
    {u"run"_s, renderRun},       {u"stop"_s, renderStop},         {u"panels"_s, renderPanels},
    {u"online"_s, renderOnline}, {u"progress"_s, renderProgress}, {u"dialogs"_s, renderDialogs},
    {u"batch"_s, renderBatch},   {u"editions"_s, renderEditions}, {u"parallel"_s, renderParallel}};

int usage()
{
    std::fprintf(stderr,
                 "usage: render [--out FOLDER] [--theme light|dark|both] [--demo FOLDER] "
                 "[--scale FACTOR] [run|stop|panels|online|progress|dialogs|batch|editions|parallel ...]\n");
    return 2;
}

} // namespace

int main(int argc, char *argv[])
{
    // Read before the application exists: the scale factor must be in place by then.
    QString folder = u"screenshots"_s;
    QString demo = u"demo"_s;
    QString theme = u"both"_s;
    QStringList chosen;
    for (int i = 1; i < argc; ++i) {
        const QString arg = QString::fromLocal8Bit(argv[i]);
        const bool hasValue = i + 1 < argc;
        if (arg == u"--out" && hasValue)
            folder = QString::fromLocal8Bit(argv[++i]);
        else if (arg == u"--demo" && hasValue)
            demo = QString::fromLocal8Bit(argv[++i]);
        else if (arg == u"--theme" && hasValue)
            theme = QString::fromLocal8Bit(argv[++i]);
        else if (arg == u"--scale" && hasValue)
            qputenv("QT_SCALE_FACTOR", argv[++i]);
        else if (std::any_of(screens.cbegin(), screens.cend(),
                             [&arg](const auto &s) { return s.first == arg; }))
            chosen.append(arg);
        else
            return usage();
    }
    if (theme != u"light" && theme != u"dark" && theme != u"both")
        return usage();

    // Settings and the banner cache in a private folder; nothing listens on the update host,
    // so the update check and the banner fetch fail at once and quietly.
    QTemporaryDir home;
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        // A desktop-sized screen: on the offscreen default of 800 x 600, message boxes wrap
        // their text to a narrow column.
        QFile screen(home.filePath(u"screen.json"_s));
        if (screen.open(QIODevice::WriteOnly))
            screen.write(
                R"({"screens": [{"name": "render", "x": 0, "y": 0, "width": 1920, "height": 1080}]})");
        qputenv("QT_QPA_PLATFORM", "offscreen:configfile=" + QFile::encodeName(screen.fileName()));
    }
    qputenv("XDG_CONFIG_HOME", home.filePath(u"config"_s).toLocal8Bit());
    qputenv("XDG_CACHE_HOME", home.filePath(u"cache"_s).toLocal8Bit());
    qputenv("KVT_UPDATE_HOST", "https://127.0.0.1:9");

    QApplication app(argc, argv);
    QCoreApplication::setApplicationName(makeRevitConverterInfo(true).displayName);
    // As the main window does, so that panels shown on their own get the interface font too.
    QFont font = QApplication::font();
    font.setFamily(loadInterfaceFont());
    QApplication::setFont(font);
    if (!QDir().mkpath(folder)) {
        std::fprintf(stderr, "cannot create %s\n", qPrintable(folder));
        return 1;
    }

    Context context;
    context.demoFolder = demo;
    for (const bool dark : {false, true}) {
        const QString name = dark ? u"dark"_s : u"light"_s;
        if (theme != u"both" && theme != name)
            continue;
        applyStyleSheet(app, dark);
        const Camera camera{folder, name, app.devicePixelRatio() > 1.5 ? u"@2x"_s : QString()};
        for (const auto &[screen, render] : screens) {
            if (chosen.isEmpty() || chosen.contains(screen))
                render(context, camera, dark);
        }
    }
    return failures == 0 ? 0 : 1;
}
