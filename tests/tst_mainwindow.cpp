// The main window end to end on the offscreen platform, driving the stand-in converter in
// kavantolibs/ beside this test.

#include "app/mainwindow.h"
#include "common/dialogs.h"
#include "common/settingskeys.h"
#include "conversion/conversioncontroller.h"
#include "input/inputpanel.h"
#include "options/outputpanel.h"
#include "progress/batchpanel.h"
#include "progress/progresspanel.h"
#include "progress/tabpulseanimator.h"
#include "progress/toastwidget.h"

#include <QLabel>
#include <QMenu>
#include <QProcess>
#include <QPushButton>
#include <QRegularExpression>
#include <QSettings>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTabWidget>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

// Scripts for the stand-in converter (its grammar is at the top of its source).
const QByteArray quickSuccess = "stage Exporting\nprogress 50\nprogress 100\n";
const QByteArray versionFailure = "error broken model\nexit 2\n";
const QByteArray hangs = "stage Waiting\nhang\n";
const QByteArray slowSuccess = "stage Working\nprogress 10\nsleep 1500\nprogress 100\n";

// How a validation case sets the window up before START is pressed.
enum class Setup { NoOutput, SingleFile, Folder, Multiple, MissingFile, AllDisabled };

using Scripts = QList<std::pair<QString, QByteArray>>;

// A text with its run clock made neutral.
QString clockless(QString text)
{
    return text.replace(QRegularExpression(u"\\d\\d:\\d\\d"_s), u"mm:ss"_s);
}

} // namespace

Q_DECLARE_METATYPE(Setup)
Q_DECLARE_METATYPE(InputMode)

class TestMainWindow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void wholeRunThenRetryFailed();
    void stopRetryAndCloseWhileRunning();
    void validationMessagesInOrder_data();
    void validationMessagesInOrder();
    void confirmation_data();
    void confirmation();
    void openPaths_data();
    void openPaths();
    void openFileKeepsFolderModeAndFoldersAreRemembered();
    void convertNextRunsInTheOrderAsked();
    void twoFilesAtOnce();
    void unwritableSettingsAreReportedOnce();

private:
    void makeWindow(const ConverterInfo &info = makeRevitConverterInfo(true));
    QString writeScript(const QString &name, const QByteArray &script, const QString &folder = {});
    // Writes the scripts as files of the test's folder, opens them and sets an output folder.
    // Several files are listed in the order given, so file i of the batch is scripts[i].
    QStringList openScripts(const Scripts &scripts);
    bool waitUntilRunning(int fileIndex);
    QList<FileStatus> statuses() const;
    QList<Dialogs::Request> asked() const { return dialogs->requestsOf(Dialogs::Kind::Question); }
    QString outputDir() const { return work->filePath(u"out/nested"_s); }
    ConversionController *controller() const { return window->findChild<ConversionController *>(); }
    BatchPanel *batch() const { return window->findChild<BatchPanel *>(); }
    InputPanel *input() const { return window->findChild<InputPanel *>(); }
    OutputPanel *output() const { return window->findChild<OutputPanel *>(); }
    ProgressPanel *log() const { return window->findChild<ProgressPanel *>(); }
    QTabWidget *tabs() const { return window->findChild<QTabWidget *>(u"mainTabs"_s); }
    QLabel *progressText() const { return window->findChild<QLabel *>(u"progressTextLabel"_s); }
    QPushButton *button(const QString &name) const { return window->findChild<QPushButton *>(name); }
    bool pulseAlert() const { return window->findChild<TabPulseAnimator *>()->isAlert(); }

    std::unique_ptr<QTemporaryDir> work;
    std::unique_ptr<QSettings> settings;
    std::unique_ptr<Dialogs> dialogs;
    std::unique_ptr<MainWindow> window;
};

void TestMainWindow::init()
{
    // Nothing listens there: the banner fetch fails at once and nothing leaves the machine.
    qputenv("KVT_UPDATE_HOST", "https://127.0.0.1:9");
    work = std::make_unique<QTemporaryDir>();
    settings = std::make_unique<QSettings>(work->filePath(u"settings.ini"_s), QSettings::IniFormat);
    settings->setValue(SettingsKeys::autoCheckUpdates(), false);
    dialogs = std::make_unique<Dialogs>();
    dialogs->setScripted();
    dialogs->setDefaultAnswer(QMessageBox::Yes);
}

void TestMainWindow::cleanup()
{
    // The window goes first, stopping its converter, before the store and folder it used.
    window.reset();
    dialogs.reset();
    settings.reset();
    work.reset();
}

void TestMainWindow::makeWindow(const ConverterInfo &info)
{
    window = std::make_unique<MainWindow>(info, settings.get(), dialogs.get());
    window->show();
    // Active, so that its keyboard shortcuts work.
    window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(window.get()));
}

QString TestMainWindow::writeScript(const QString &name, const QByteArray &script, const QString &folder)
{
    const QDir dir(folder.isEmpty() ? work->path() : folder);
    QFile file(dir.filePath(name));
    const bool written =
        dir.mkpath(u"."_s) && file.open(QIODevice::WriteOnly) && file.write(script) == script.size();
    return written ? file.fileName() : QString();
}

QStringList TestMainWindow::openScripts(const Scripts &scripts)
{
    QStringList paths;
    for (const auto &[name, script] : scripts)
        paths.append(writeScript(name, script));
    window->openPaths(paths);
    output()->setOutputDir(outputDir());
    return paths;
}

bool TestMainWindow::waitUntilRunning(int fileIndex)
{
    return QTest::qWaitFor([&] { return batch()->statusOf(fileIndex) == FileStatus::Running; }, 10000);
}

QList<FileStatus> TestMainWindow::statuses() const
{
    QList<FileStatus> all;
    for (int i = 0; i < batch()->fileCount(); ++i)
        all.append(batch()->statusOf(i));
    return all;
}

void TestMainWindow::wholeRunThenRetryFailed()
{
    makeWindow();
    const QStringList paths =
        openScripts({{u"a.rvt"_s, quickSuccess}, {u"b.rvt"_s, versionFailure}, {u"c.rvt"_s, hangs}});
    QSignalSpy started(controller(), &ConversionController::fileStarted);
    // Retry Failed is offered in the Files context menu only while it can run.
    const auto retryInMenu = [this] {
        const std::unique_ptr<QMenu> menu(batch()->createContextMenu(0, nullptr));
        return menu->actions().contains(window->findChild<QAction *>(u"retryFailedAction"_s));
    };
    QVERIFY(!retryInMenu());

    window->onStartRequested();
    // A missing output folder is made, parents and all; the log is shown.
    QVERIFY(QFileInfo(outputDir()).isDir());
    QCOMPARE(tabs()->currentIndex(), 1);
    QVERIFY(waitUntilRunning(2));
    // The stage of one file is not carried into the next.
    QVERIFY(!progressText()->text().contains(u"Exporting"_s));
    button(u"batchSkipButton"_s)->click();
    QTRY_VERIFY_WITH_TIMEOUT(!window->isRunning(), 10000);

    QCOMPARE(statuses(), (QList<FileStatus>{FileStatus::Done, FileStatus::Failed, FileStatus::Skipped}));
    QCOMPARE(progressText()->text(), u"1 succeeded, 1 failed, 1 skipped."_s);
    QCOMPARE(tabs()->tabText(2), u"Files (1 failed)"_s);
    // The converter's own lines come before the verdict on its file.
    const QString text = log()->plainText();
    const auto error = text.indexOf(u"[ERROR] b.rvt: File version is not supported by this converter."_s);
    QVERIFY2(error > 0 && text.lastIndexOf(u"broken model"_s, error) >= 0, qPrintable(text));
    QVERIFY2(text.contains(u"[SKIPPED] c.rvt: Skipped by user."_s), qPrintable(text));
    QCOMPARE(clockless(window->findChild<ToastWidget *>()->text()),
             u"Done: 1 succeeded, 1 failed, 1 skipped (mm:ss)"_s);

    // Retry runs only the failed file and leaves the done and the skipped one as they were.
    QVERIFY(retryInMenu());
    started.clear();
    button(u"retryFailedButton"_s)->click();
    QTRY_VERIFY_WITH_TIMEOUT(!window->isRunning(), 10000);
    QCOMPARE(QList<QVariantList>(started), (QList<QVariantList>{{1, 1, paths.at(1)}}));
    QCOMPARE(statuses(), (QList<FileStatus>{FileStatus::Done, FileStatus::Failed, FileStatus::Skipped}));
    QCOMPARE(progressText()->text(), u"0 succeeded, 1 failed."_s);

    // The output folder the button opens is the one of the run.
    button(u"openOutputFolderButton"_s)->click();
    QCOMPARE(dialogs->requestsOf(Dialogs::Kind::OpenUrl).value(0).text,
             QUrl::fromLocalFile(outputDir()).toString());
}

void TestMainWindow::stopRetryAndCloseWhileRunning()
{
    makeWindow();
    openScripts({{u"s.rvt"_s, "stage Exporting geometry\nprogress 50\nsleep 1500\nprogress 100\n"},
                 {u"t.rvt"_s, quickSuccess}});
    QSignalSpy done(controller(), &ConversionController::allDone);
    QWidget *search = log()->findChild<QWidget *>(u"logSearchEdit"_s);
    const auto escapeInSearchField = [&] {
        QTest::keyClick(window.get(), Qt::Key_F, Qt::ControlModifier);
        search->setFocus();
        QTest::keyClick(search, Qt::Key_Escape);
    };
    // Idle, Escape asks nothing; in the search field it only closes the search bar.
    QTest::keyClick(window.get(), Qt::Key_Escape);
    escapeInSearchField();
    QVERIFY(!search->isVisible() && asked().isEmpty());

    // Ctrl+Return starts; a second one during the run starts nothing new.
    QTest::keyClick(window.get(), Qt::Key_Return, Qt::ControlModifier);
    QTest::keyClick(window.get(), Qt::Key_Return, Qt::ControlModifier);
    QVERIFY(asked().isEmpty());
    QPushButton *start = button(u"startButton"_s);
    QCOMPARE(start->text(), u"STOP"_s);
    QVERIFY(!input()->isEnabled());
    // The window says how far the run is, in its title, the run bar and the status bar.
    QTRY_VERIFY_WITH_TIMEOUT(progressText()->text().contains(u"Exporting geometry"_s), 10000);
    QCOMPARE(window->windowTitle(), u"[25%] KVT Revit Community - File 1 of 2"_s);
    QCOMPARE(clockless(progressText()->text()), u"File 1 of 2: s.rvt — Exporting geometry (mm:ss)"_s);
    QCOMPARE(clockless(window->statusBar()->currentMessage()), u"Converting file 1 of 2... (mm:ss)"_s);

    // Running, Escape stops the run once the user confirms, even from the log's search field.
    dialogs->setNextAnswer(QMessageBox::No);
    escapeInSearchField();
    QCOMPARE(asked().size(), 1);
    QCOMPARE(asked().at(0).text, u"Are you sure you want to stop the process?"_s);
    QCOMPARE(asked().at(0).defaultButton, QMessageBox::No);
    QVERIFY(controller()->isRunning());
    escapeInSearchField();
    QVERIFY(!window->isRunning() && !controller()->isRunning());
    QCOMPARE(statuses(), (QList<FileStatus>{FileStatus::Stopped, FileStatus::Canceled}));
    QCOMPARE(start->text(), u"START"_s);
    QVERIFY(start->isEnabled() && input()->isEnabled());
    QCOMPARE(window->windowTitle(), u"KVT Revit Community"_s);
    QVERIFY(log()->plainText().endsWith(u"Conversion cancelled by user."_s));
    QVERIFY(pulseAlert());
    QTest::qWait(300);
    QCOMPARE(done.size(), 0);

    // Stopped and canceled files are offered again. Asked to stop them now, the user takes
    // longer to answer than the run takes to end: the run's summary stands.
    button(u"retryFailedButton"_s)->click();
    QVERIFY(!pulseAlert());
    QVERIFY(waitUntilRunning(0));
    dialogs->setNextAnswer([this] {
        const bool ended = QTest::qWaitFor([this] { return !controller()->isRunning(); }, 10000);
        return ended ? QMessageBox::Yes : QMessageBox::No;
    });
    window->onStopRequested();
    QVERIFY(!controller()->isRunning());
    QCOMPARE(asked().size(), 3);
    QCOMPARE(progressText()->text(), u"2 file(s) converted successfully."_s);
    QCOMPARE(statuses(), (QList<FileStatus>{FileStatus::Done, FileStatus::Done}));
    QVERIFY(!log()->plainText().contains(u"Conversion cancelled by user."_s));
    QVERIFY(!pulseAlert());
    QVERIFY(button(u"retryFailedButton"_s)->isHidden());

    // Closing during a run asks first: No keeps the run going, Yes stops the converter and
    // keeps the settings, the window's new size included.
    QTest::keyClick(window.get(), Qt::Key_Return, Qt::ControlModifier);
    QVERIFY(waitUntilRunning(0));
    window->resize(1000, 700);
    for (const bool quit : {false, true}) {
        dialogs->setNextAnswer(quit ? QMessageBox::Yes : QMessageBox::No);
        QCOMPARE(window->close(), quit);
        QCOMPARE(asked().last().text, u"A conversion is in progress. Quit anyway?"_s);
        QCOMPARE(asked().last().defaultButton, QMessageBox::No);
        const QList<QProcess *> processes = controller()->findChildren<QProcess *>();
        QCOMPARE(std::any_of(processes.begin(), processes.end(),
                             [](const QProcess *p) { return p->state() != QProcess::NotRunning; }),
                 !quit);
        QCOMPARE(settings->value(SettingsKeys::windowGeometry()).toByteArray() == window->saveGeometry(),
                 quit);
    }
}

void TestMainWindow::validationMessagesInOrder_data()
{
    QTest::addColumn<Setup>("setup");
    QTest::addColumn<QString>("message");
    QTest::addRow("no output folder first") << Setup::NoOutput << u"Please, enter the output directory."_s;
    QTest::addRow("single file, none chosen") << Setup::SingleFile << u"Please, select the project file."_s;
    QTest::addRow("folder, none chosen") << Setup::Folder << u"Please, enter the input directory."_s;
    QTest::addRow("multiple, empty list") << Setup::Multiple << u"Please, select files to convert."_s;
    QTest::addRow("chosen file not there") << Setup::MissingFile << u"No active files to convert."_s;
    QTest::addRow("every file disabled") << Setup::AllDisabled << u"No active files to convert."_s;
}

void TestMainWindow::validationMessagesInOrder()
{
    QFETCH(Setup, setup);
    makeWindow();
    if (setup != Setup::NoOutput)
        output()->setOutputDir(outputDir());
    switch (setup) {
    case Setup::Folder: input()->setFolderMode(); break;
    case Setup::Multiple: input()->setMultipleMode(); break;
    case Setup::MissingFile:
        input()->setFilePath(work->filePath(u"gone.rvt"_s));
        Q_EMIT input()->inputChanged();
        break;
    case Setup::AllDisabled:
        openScripts({{u"a.rvt"_s, quickSuccess}, {u"b.rvt"_s, quickSuccess}});
        for (const int i : {0, 1})
            batch()->disableFile(i);
        break;
    default: break;
    }
    window->onStartRequested();
    const QList<Dialogs::Request> shown = dialogs->requestsOf(Dialogs::Kind::Error);
    QCOMPARE(shown.size(), 1);
    QTEST(shown.first().text, "message");
    QVERIFY(!window->isRunning() && !controller()->isRunning());
    // A failed check changes nothing, not even the remembered folders.
    QVERIFY(!settings->contains(SettingsKeys::lastOutputDir(u"revit"_s)));
}

void TestMainWindow::confirmation_data()
{
    QTest::addColumn<int>("fileCount");
    QTest::addColumn<QMessageBox::StandardButton>("reply");
    QTest::addColumn<QString>("question");
    const auto size = [](qsizetype files) { return QString::number(files * quickSuccess.size()); };
    using enum QMessageBox::StandardButton;
    QTest::addRow("one file, cancelled") << 1 << Cancel << u"Convert f0.rvt (%1 B)?"_s.arg(size(1));
    QTest::addRow("three files, confirmed") << 3 << Yes << u"Convert 3 files (%1 B)?"_s.arg(size(3));
    QTest::addRow("three files, closed") << 3 << NoButton << u"Convert 3 files (%1 B)?"_s.arg(size(3));
}

void TestMainWindow::confirmation()
{
    QFETCH(int, fileCount);
    QFETCH(QMessageBox::StandardButton, reply);
    settings->setValue(SettingsKeys::confirmBeforeStart(), true);
    makeWindow();
    Scripts scripts;
    for (int i = 0; i < fileCount; ++i)
        scripts.append({u"f%1.rvt"_s.arg(i), quickSuccess});
    openScripts(scripts);
    QTRY_COMPARE(batch()->fileCount(), fileCount);
    QSignalSpy started(controller(), &ConversionController::fileStarted);

    dialogs->setNextAnswer(reply);
    window->onStartRequested();
    QCOMPARE(asked().size(), 1);
    QFETCH(QString, question);
    QCOMPARE(asked().at(0).text, question + u"\n\nMode: Standard - 724 Revit Categories (Moderate)"_s);
    QCOMPARE(asked().at(0).buttons, QMessageBox::Yes | QMessageBox::Cancel);
    QCOMPARE(asked().at(0).defaultButton, QMessageBox::Yes);
    QTRY_VERIFY_WITH_TIMEOUT(!window->isRunning(), 10000);
    QCOMPARE(started.size(), reply == QMessageBox::Yes ? fileCount : 0);
}

void TestMainWindow::openPaths_data()
{
    // Names stand for paths made by the test: "models" a folder with an accepted file and one
    // of another converter, "work" the test's folder, "gone.rvt" a path that is not there.
    QTest::addColumn<QStringList>("names");
    QTest::addColumn<InputMode>("mode");
    QTest::addColumn<QString>("chosen");
    QTest::addColumn<QStringList>("listed");
    QTest::addColumn<int>("tab");
    using enum InputMode;
    QTest::addRow("a folder wins over files") << QStringList{u"a.rvt"_s, u"models"_s, u"work"_s} << Folder
                                              << u"models"_s << QStringList{u"models/x.rvt"_s} << 0;
    QTest::addRow("one accepted file") << QStringList{u"notes.txt"_s, u"a.rvt"_s, u"gone.rvt"_s} << SingleFile
                                       << u"a.rvt"_s << QStringList{u"a.rvt"_s} << 0;
    // Several files are kept in the order given, and shown at once in the Files tab.
    QTest::addRow("several files") << QStringList{u"b.rfa"_s, u"notes.txt"_s, u"a.rvt"_s} << MultipleFiles
                                   << QString() << QStringList{u"b.rfa"_s, u"a.rvt"_s} << 2;
    QTest::addRow("junk only") << QStringList{u"notes.txt"_s, u"gone/"_s, QString()} << SingleFile
                               << QString() << QStringList() << 0;
}

void TestMainWindow::openPaths()
{
    QFETCH(QStringList, names);
    QFETCH(InputMode, mode);
    QFETCH(QString, chosen);
    makeWindow();
    for (const QString &name : {u"x.rvt"_s, u"z.ifc"_s})
        writeScript(name, quickSuccess, work->filePath(u"models"_s));
    for (const QString &name : {u"a.rvt"_s, u"b.rfa"_s, u"notes.txt"_s})
        writeScript(name, quickSuccess);
    const auto path = [this](const QString &name) {
        return name.isEmpty() ? QString() : name == u"work" ? work->path() : work->filePath(name);
    };
    QStringList paths;
    for (const QString &name : std::as_const(names))
        paths.append(path(name));

    window->openPaths(paths);
    const InputSelection selection = input()->selection();
    QCOMPARE(selection.mode, mode);
    QCOMPARE(mode == InputMode::Folder ? selection.folderPath : selection.filePath, path(chosen));
    QFETCH(QStringList, listed);
    QFileInfoList files;
    for (const QString &name : std::as_const(listed))
        files.append(QFileInfo(path(name)));
    QTRY_COMPARE(batch()->activeFiles(), files);
    QTEST(tabs()->currentIndex(), "tab");
}

void TestMainWindow::openFileKeepsFolderModeAndFoldersAreRemembered()
{
    makeWindow();
    const QString models = work->filePath(u"models"_s);
    const QString file = writeScript(u"x.rvt"_s, quickSuccess, models);
    window->openPaths({models});
    QTRY_COMPARE(batch()->fileCount(), 1);
    // File > Open File chooses the single file but leaves the folder mode alone.
    dialogs->setNextFileName(file);
    QTest::keyClick(window.get(), Qt::Key_O, Qt::ControlModifier);
    const InputSelection selection = input()->selection();
    QCOMPARE(selection.mode, InputMode::Folder);
    QCOMPARE(selection.filePath, file);
    QCOMPARE(selection.folderPath, models);

    output()->setOutputDir(outputDir());
    window->onStartRequested();
    QTRY_VERIFY_WITH_TIMEOUT(!window->isRunning(), 10000);
    QCOMPARE(settings->value(u"revit/recentFiles"_s).toStringList(), QStringList{models});
    window.reset();
    makeWindow();
    QCOMPARE(input()->folderPath(), models);
    QCOMPARE(output()->outputDir(), outputDir());
    window.reset();
    // Another converter keeps its own folders, even in the same settings store.
    ConverterInfo other = makeRevitConverterInfo(true);
    other.id = u"rvt2ifc"_s;
    makeWindow(other);
    QVERIFY(input()->folderPath().isEmpty() && output()->outputDir().isEmpty());
}

void TestMainWindow::convertNextRunsInTheOrderAsked()
{
    makeWindow();
    Scripts scripts{{u"a.rvt"_s, slowSuccess}};
    for (const QString &name : {u"b.rvt"_s, u"c.rvt"_s, u"d.rvt"_s, u"e.rvt"_s})
        scripts.append({name, quickSuccess});
    openScripts(scripts);
    QSignalSpy started(controller(), &ConversionController::fileStarted);
    window->onStartRequested();
    QVERIFY(waitUntilRunning(0));
    batch()->disableFile(1);
    // Two requests run in the order they were asked, both ahead of the rest.
    batch()->convertNext(4);
    batch()->convertNext(3);
    QTRY_VERIFY_WITH_TIMEOUT(!window->isRunning(), 10000);

    QStringList order;
    for (const QList<QVariant> &arguments : std::as_const(started))
        order.append(QFileInfo(arguments.at(2).toString()).fileName());
    QCOMPARE(order, (QStringList{u"a.rvt"_s, u"e.rvt"_s, u"d.rvt"_s, u"c.rvt"_s}));
    QCOMPARE(batch()->statusOf(1), FileStatus::Disabled);
}

void TestMainWindow::twoFilesAtOnce()
{
    settings->setValue(SettingsKeys::parallelFiles(), 2);
    makeWindow();
    openScripts(
        {{u"a.rvt"_s, hangs}, {u"b.rvt"_s, hangs}, {u"c.rvt"_s, quickSuccess}, {u"d.rvt"_s, quickSuccess}});
    window->onStartRequested();
    QVERIFY(waitUntilRunning(0) && waitUntilRunning(1));
    // Disabled while two run: the totals shown change with the next file that starts.
    batch()->disableFile(3);
    QTRY_COMPARE(window->windowTitle().remove(QRegularExpression(u"^\\[\\d+%\\] "_s)),
                 u"KVT Revit Community - Files 1–2 of 4"_s);
    QVERIFY(clockless(progressText()->text()).startsWith(u"Files 1–2 of 4: 2 running — "_s));

    // With two running, the button skips the selected running rows only.
    QPushButton *skip = button(u"batchSkipButton"_s);
    QCOMPARE(skip->text(), u"Skip"_s);
    QVERIFY(!skip->isEnabled());
    batch()->findChild<QTableWidget *>()->selectRow(1);
    QVERIFY(skip->isEnabled());
    skip->click();
    // c takes b's place and converts; then a runs alone and the button is the usual one again.
    QTRY_COMPARE_WITH_TIMEOUT(batch()->statusOf(2), FileStatus::Done, 10000);
    QCOMPARE(skip->text(), u"Skip Current"_s);
    QTRY_VERIFY(window->findChild<QLabel *>(u"timeLeftLabel"_s)->isVisible());
    skip->click();
    QTRY_VERIFY_WITH_TIMEOUT(!window->isRunning(), 10000);

    QCOMPARE(statuses(), (QList<FileStatus>{FileStatus::Skipped, FileStatus::Skipped, FileStatus::Done,
                                            FileStatus::Disabled}));
    QCOMPARE(progressText()->text(), u"1 succeeded, 2 skipped."_s);
    QVERIFY(window->findChild<QLabel *>(u"timeLeftLabel"_s)->isHidden());
    // Each line names its file while two run.
    const QString text = log()->plainText();
    QVERIFY2(text.contains(u"[a.rvt] [Stage] Waiting"_s) && text.contains(u"[c.rvt] Progress: 50%"_s),
             qPrintable(text));
}

void TestMainWindow::unwritableSettingsAreReportedOnce()
{
    // A store below a plain file cannot be written, not even by root.
    writeScript(u"blocker"_s, "a file, not a folder");
    settings = std::make_unique<QSettings>(work->filePath(u"blocker/settings.ini"_s), QSettings::IniFormat);
    makeWindow();
    openScripts({{u"a.rvt"_s, quickSuccess}, {u"b.rvt"_s, quickSuccess}});
    for (int run = 0; run < 2; ++run) {
        window->onStartRequested();
        QTRY_VERIFY_WITH_TIMEOUT(!window->isRunning(), 10000);
    }
    const QList<Dialogs::Request> shown = dialogs->requestsOf(Dialogs::Kind::Error);
    QCOMPARE(shown.size(), 1);
    QVERIFY(shown.first().text.startsWith(u"Your preferences could not be saved"_s));
}

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
