// The main window end to end on the offscreen platform, driving the stand-in converter in
// kavantolibs/ beside this test: whole runs, stop, close, retry, validation, confirmation,
// opening paths, remembered folders, and the run's requests reaching the controller.

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

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QProcess>
#include <QProgressBar>
#include <QPushButton>
#include <QRegularExpression>
#include <QSettings>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTabWidget>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

// Scripts for the stand-in converter (its grammar is at the top of its source).
const QByteArray quickSuccess = "stage Exporting\nprogress 50\nprogress 100\n";
const QByteArray versionFailure = "error broken model\nexit 2\n";
const QByteArray hangs = "stage Waiting\nhang\n";
const QByteArray slowSuccess = "stage Working\nprogress 10\nsleep 1500\nprogress 100\n";

const QString appTitle = u"KVT Revit Community"_s;

// How a validation case sets the window up before START is pressed.
enum class Setup { NoOutput, SingleFile, Folder, Multiple, MissingFile, AllDisabled };

} // namespace

Q_DECLARE_METATYPE(Setup)
Q_DECLARE_METATYPE(InputMode)

class TestMainWindow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void wholeRunThenRetryFailed();
    void retryOfferedInTheFilesContextMenu();
    void stopAnsweredNoThenYes();
    void stopQuestionOutlivedByTheRun();
    void closeWhileRunning_data();
    void closeWhileRunning();
    void validationMessagesInOrder_data();
    void validationMessagesInOrder();
    void confirmation_data();
    void confirmation();
    void openPaths_data();
    void openPaths();
    void defaultAndStoredGeometry();
    void rememberedFoldersPerConverter();
    void titleAndProgressTextsWhileRunning();
    void convertNextAndDisableReachTheController();
    void openFileFromTheMenuKeepsTheMode();
    void keyboardStartAndStop();
    void unwritableSettingsAreReportedOnce();

private:
    MainWindow *makeWindow(const ConverterInfo &info = makeRevitConverterInfo(true));
    QString writeScript(const QString &name, const QByteArray &script, const QString &folder = {});
    ConversionController *controller() const { return window->findChild<ConversionController *>(); }
    BatchPanel *batch() const { return window->findChild<BatchPanel *>(); }
    InputPanel *input() const { return window->findChild<InputPanel *>(); }
    OutputPanel *output() const { return window->findChild<OutputPanel *>(); }
    ProgressPanel *log() const { return window->findChild<ProgressPanel *>(); }
    QTabWidget *tabs() const { return window->findChild<QTabWidget *>(u"mainTabs"_s); }
    QProgressBar *bar() const { return window->findChild<QProgressBar *>(u"progressBar"_s); }
    QLabel *progressText() const { return window->findChild<QLabel *>(u"progressTextLabel"_s); }
    QPushButton *button(const QString &name) const { return window->findChild<QPushButton *>(name); }
    QStringList questions() const;
    int fileIndex(const QString &path) const;
    bool waitUntilRunning(const QString &path);
    void setOutputFolder();

    std::unique_ptr<QTemporaryDir> work;
    std::unique_ptr<QSettings> settings;
    std::unique_ptr<Dialogs> dialogs;
    std::unique_ptr<MainWindow> window;
};

void TestMainWindow::initTestCase()
{
    const QString converter =
        QDir(QCoreApplication::applicationDirPath()).filePath(u"kavantolibs/RvtExporter.exe"_s);
    QVERIFY2(QFileInfo::exists(converter), qPrintable(converter));
    // Nothing listens there: the banner fetch fails at once and nothing leaves the machine.
    qputenv("KVT_UPDATE_HOST", "https://127.0.0.1:9");
}

void TestMainWindow::init()
{
    work = std::make_unique<QTemporaryDir>();
    settings = std::make_unique<QSettings>(work->filePath(u"settings.ini"_s), QSettings::IniFormat);
    settings->setValue(SettingsKeys::autoCheckUpdates(), false);
    dialogs = std::make_unique<Dialogs>();
    dialogs->setScripted();
    dialogs->setDefaultAnswer(QMessageBox::Yes);
}

void TestMainWindow::cleanup()
{
    if (window && controller()->isRunning())
        controller()->stop();
    window.reset();
    dialogs.reset();
    settings.reset();
    work.reset();
}

MainWindow *TestMainWindow::makeWindow(const ConverterInfo &info)
{
    window = std::make_unique<MainWindow>(info, settings.get(), dialogs.get());
    window->show();
    return window.get();
}

QStringList TestMainWindow::questions() const
{
    QStringList texts;
    for (const Dialogs::Request &request : dialogs->requestsOf(Dialogs::Kind::Question))
        texts.append(request.text);
    return texts;
}

QString TestMainWindow::writeScript(const QString &name, const QByteArray &script, const QString &folder)
{
    const QString dir = folder.isEmpty() ? work->path() : folder;
    QDir().mkpath(dir);
    const QString path = QDir(dir).filePath(name);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return {};
    file.write(script);
    return path;
}

// The file's index in the batch table, while no file of it is disabled.
int TestMainWindow::fileIndex(const QString &path) const
{
    const QFileInfoList files = batch()->activeFiles();
    for (int i = 0; i < files.size(); ++i) {
        if (files.at(i).absoluteFilePath() == QFileInfo(path).absoluteFilePath())
            return i;
    }
    return -1;
}

bool TestMainWindow::waitUntilRunning(const QString &path)
{
    const int index = fileIndex(path);
    return QTest::qWaitFor([&] { return batch()->statusOf(index) == FileStatus::Running; }, 10000);
}

void TestMainWindow::setOutputFolder()
{
    output()->setOutputDir(work->filePath(u"out/nested"_s));
}

void TestMainWindow::wholeRunThenRetryFailed()
{
    makeWindow();
    const QString a = writeScript(u"a.rvt"_s, quickSuccess);
    const QString b = writeScript(u"b.rvt"_s, versionFailure);
    const QString c = writeScript(u"c.rvt"_s, hangs);
    window->openPaths({a, b, c});
    setOutputFolder();
    QSignalSpy started(controller(), &ConversionController::fileStarted);

    window->onStartRequested();
    QVERIFY(dialogs->requestsOf(Dialogs::Kind::Error).isEmpty());
    QVERIFY(window->isRunning());
    // A missing output folder is made, parents and all.
    QVERIFY(QFileInfo(work->filePath(u"out/nested"_s)).isDir());
    QCOMPARE(tabs()->currentIndex(), 1);

    QVERIFY(waitUntilRunning(c));
    button(u"batchSkipButton"_s)->click();
    QTRY_VERIFY_WITH_TIMEOUT(!window->isRunning(), 10000);

    QCOMPARE(bar()->value(), 100);
    QCOMPARE(bar()->property("barRole").toString(), u"error"_s);
    QCOMPARE(progressText()->text(), u"1 succeeded, 1 failed, 1 skipped."_s);
    QCOMPARE(progressText()->property("textRole").toString(), u"error"_s);
    QCOMPARE(tabs()->tabText(2), u"Files (1 failed)"_s);
    QCOMPARE(window->windowTitle(), appTitle);
    QCOMPARE(batch()->statusOf(fileIndex(a)), FileStatus::Done);
    QCOMPARE(batch()->statusOf(fileIndex(b)), FileStatus::Failed);
    QCOMPARE(batch()->exitCodeOf(fileIndex(b)), 2);
    QCOMPARE(batch()->statusOf(fileIndex(c)), FileStatus::Skipped);
    const QString text = log()->plainText();
    QVERIFY2(text.contains(u"[ERROR] b.rvt: File version is not supported by this converter."_s),
             qPrintable(text));
    QVERIFY2(text.contains(u"[SKIPPED] c.rvt: Skipped by user."_s), qPrintable(text));
    // The converter's own lines come before the verdict on its file.
    QVERIFY(text.indexOf(u"broken model"_s) < text.indexOf(u"[ERROR] b.rvt"_s));
    const QString toast = window->findChild<ToastWidget *>()->text();
    QVERIFY2(QRegularExpression(u"^Done: 1 succeeded, 1 failed, 1 skipped \\(\\d\\d:\\d\\d\\)$"_s)
                 .match(toast)
                 .hasMatch(),
             qPrintable(toast));
    QVERIFY(button(u"openOutputFolderButton"_s)->isVisibleTo(window.get()));
    QCOMPARE(started.size(), 3);

    // Retry runs only the failed file and leaves the done and the skipped one as they were.
    QPushButton *retry = button(u"retryFailedButton"_s);
    QVERIFY(!retry->isHidden());
    started.clear();
    retry->click();
    QVERIFY(window->isRunning());
    QTRY_VERIFY_WITH_TIMEOUT(!window->isRunning(), 10000);
    QCOMPARE(started.size(), 1);
    QCOMPARE(started.at(0).at(1).toInt(), 1);
    QCOMPARE(started.at(0).at(2).toString(), QFileInfo(b).absoluteFilePath());
    QCOMPARE(batch()->statusOf(fileIndex(a)), FileStatus::Done);
    QCOMPARE(batch()->statusOf(fileIndex(b)), FileStatus::Failed);
    QCOMPARE(batch()->statusOf(fileIndex(c)), FileStatus::Skipped);
    QCOMPARE(progressText()->text(), u"0 succeeded, 1 failed."_s);
    QCOMPARE(tabs()->tabText(2), u"Files (1 failed)"_s);

    // The output folder the button opens is the one of the run.
    button(u"openOutputFolderButton"_s)->click();
    const QList<Dialogs::Request> opened = dialogs->requestsOf(Dialogs::Kind::OpenUrl);
    QCOMPARE(opened.size(), 1);
    QCOMPARE(QUrl(opened.first().text), QUrl::fromLocalFile(work->filePath(u"out/nested"_s)));
}

void TestMainWindow::retryOfferedInTheFilesContextMenu()
{
    makeWindow();
    window->openPaths({writeScript(u"a.rvt"_s, quickSuccess), writeScript(u"b.rvt"_s, versionFailure)});
    setOutputFolder();
    const auto menuTexts = [this] {
        std::unique_ptr<QMenu> menu(batch()->createContextMenu(0, window.get()));
        QStringList texts;
        for (const QAction *action : menu->actions())
            texts.append(action->text());
        return texts;
    };
    QVERIFY(!menuTexts().contains(u"Retry Failed"_s));
    window->onStartRequested();
    QTRY_VERIFY_WITH_TIMEOUT(!window->isRunning(), 10000);
    const QStringList after = menuTexts();
    QVERIFY2(after.contains(u"Retry Failed"_s) && after.contains(u"Copy Path"_s),
             qPrintable(after.join(u'|')));
}

void TestMainWindow::stopAnsweredNoThenYes()
{
    makeWindow();
    const QString s = writeScript(u"s.rvt"_s, slowSuccess);
    const QString t = writeScript(u"t.rvt"_s, quickSuccess);
    window->openPaths({s, t});
    setOutputFolder();
    QSignalSpy done(controller(), &ConversionController::allDone);

    window->onStartRequested();
    QVERIFY(waitUntilRunning(s));

    dialogs->setNextAnswer(QMessageBox::No);
    window->onStopRequested();
    const QList<Dialogs::Request> asked = dialogs->requestsOf(Dialogs::Kind::Question);
    QCOMPARE(asked.size(), 1);
    QCOMPARE(asked.at(0).text, u"Are you sure you want to stop the process?"_s);
    QCOMPARE(asked.at(0).buttons, QMessageBox::Yes | QMessageBox::No);
    QCOMPARE(asked.at(0).defaultButton, QMessageBox::No);
    QVERIFY(window->isRunning());
    QVERIFY(controller()->isRunning());
    QCOMPARE(button(u"startButton"_s)->text(), u"STOP"_s);

    window->onStopRequested();
    QVERIFY(!window->isRunning());
    QVERIFY(!controller()->isRunning());
    QCOMPARE(batch()->statusOf(fileIndex(s)), FileStatus::Stopped);
    QCOMPARE(batch()->exitCodeOf(fileIndex(s)), -2);
    QCOMPARE(batch()->statusOf(fileIndex(t)), FileStatus::Canceled);
    QPushButton *start = button(u"startButton"_s);
    QCOMPARE(start->text(), u"START"_s);
    QCOMPARE(start->property("buttonRole").toString(), u"start"_s);
    QVERIFY(start->isEnabled());
    QCOMPARE(window->windowTitle(), appTitle);
    QVERIFY(log()->plainText().endsWith(u"Conversion cancelled by user."_s));
    QCOMPARE(window->statusBar()->currentMessage(), u"Conversion cancelled."_s);
    QVERIFY(window->findChild<TabPulseAnimator *>()->isAlert());
    QVERIFY(input()->isEnabled());
    QTest::qWait(300);
    QCOMPARE(done.size(), 0);

    // Stopped and canceled files are offered again, and both run to the end.
    QPushButton *retry = button(u"retryFailedButton"_s);
    QVERIFY(!retry->isHidden());
    retry->click();
    QVERIFY(!window->findChild<TabPulseAnimator *>()->isAlert());
    QTRY_VERIFY_WITH_TIMEOUT(!window->isRunning(), 10000);
    QCOMPARE(progressText()->text(), u"2 file(s) converted successfully."_s);
    QCOMPARE(progressText()->property("textRole").toString(), u"success"_s);
    QCOMPARE(batch()->statusOf(fileIndex(s)), FileStatus::Done);
    QCOMPARE(batch()->statusOf(fileIndex(t)), FileStatus::Done);
    QVERIFY(retry->isHidden());
}

void TestMainWindow::stopQuestionOutlivedByTheRun()
{
    makeWindow();
    const QString s = writeScript(u"s.rvt"_s, "progress 10\nsleep 300\nprogress 100\n");
    window->openPaths({s, writeScript(u"t.rvt"_s, quickSuccess)});
    setOutputFolder();
    window->onStartRequested();
    QVERIFY(waitUntilRunning(s));

    // The user takes longer to answer than the run takes to end.
    dialogs->setNextAnswer([this] {
        const bool ended = QTest::qWaitFor([this] { return !controller()->isRunning(); }, 10000);
        return ended ? QMessageBox::Yes : QMessageBox::No;
    });
    window->onStopRequested();

    QVERIFY(!controller()->isRunning());
    QCOMPARE(progressText()->text(), u"2 file(s) converted successfully."_s);
    QCOMPARE(batch()->statusOf(fileIndex(s)), FileStatus::Done);
    QVERIFY(!log()->plainText().contains(u"Conversion cancelled by user."_s));
    QVERIFY(!window->findChild<TabPulseAnimator *>()->isAlert());
}

void TestMainWindow::closeWhileRunning_data()
{
    QTest::addColumn<bool>("quit");
    QTest::addRow("answered No") << false;
    QTest::addRow("answered Yes") << true;
}

void TestMainWindow::closeWhileRunning()
{
    QFETCH(bool, quit);
    makeWindow();
    const QString h = writeScript(u"h.rvt"_s, hangs);
    window->openPaths({h, writeScript(u"i.rvt"_s, quickSuccess)});
    setOutputFolder();
    window->onStartRequested();
    QVERIFY(waitUntilRunning(h));

    dialogs->setNextAnswer(quit ? QMessageBox::Yes : QMessageBox::No);
    QCOMPARE(window->close(), quit);
    const QList<Dialogs::Request> asked = dialogs->requestsOf(Dialogs::Kind::Question);
    QCOMPARE(asked.size(), 1);
    QCOMPARE(asked.at(0).text, u"A conversion is in progress. Quit anyway?"_s);
    QCOMPARE(asked.at(0).defaultButton, QMessageBox::No);
    QCOMPARE(controller()->isRunning(), !quit);
    QCOMPARE(window->isVisible(), !quit);
    if (quit) {
        QCOMPARE(settings->value(u"revit/lastOutputDir"_s).toString(), work->filePath(u"out/nested"_s));
        QVERIFY(!settings->value(SettingsKeys::windowGeometry()).toByteArray().isEmpty());
    }
    // Quitting does not leave the hung converter behind.
    const QList<QProcess *> processes = controller()->findChildren<QProcess *>();
    const bool converterAlive = std::any_of(processes.begin(), processes.end(), [](const QProcess *p) {
        return p->state() != QProcess::NotRunning;
    });
    QCOMPARE(converterAlive, !quit);
}

void TestMainWindow::validationMessagesInOrder_data()
{
    QTest::addColumn<Setup>("setup");
    QTest::addColumn<QString>("message");
    QTest::addRow("no output folder comes first")
        << Setup::NoOutput << u"Please, enter the output directory."_s;
    QTest::addRow("single file, none chosen") << Setup::SingleFile << u"Please, select the project file."_s;
    QTest::addRow("folder, none chosen") << Setup::Folder << u"Please, enter the input directory."_s;
    QTest::addRow("multiple, empty list") << Setup::Multiple << u"Please, select files to convert."_s;
    QTest::addRow("a chosen file that is not there")
        << Setup::MissingFile << u"No active files to convert."_s;
    QTest::addRow("every file disabled") << Setup::AllDisabled << u"No active files to convert."_s;
}

void TestMainWindow::validationMessagesInOrder()
{
    QFETCH(Setup, setup);
    QFETCH(QString, message);
    makeWindow();
    if (setup != Setup::NoOutput)
        setOutputFolder();
    switch (setup) {
    case Setup::Folder: input()->setFolderMode(); break;
    case Setup::Multiple: input()->setMultipleMode(); break;
    case Setup::MissingFile:
        input()->setFilePath(work->filePath(u"gone.rvt"_s));
        Q_EMIT input()->inputChanged();
        break;
    case Setup::AllDisabled:
        window->openPaths({writeScript(u"a.rvt"_s, quickSuccess), writeScript(u"b.rvt"_s, quickSuccess)});
        batch()->disableFile(0);
        batch()->disableFile(1);
        break;
    case Setup::NoOutput:
    case Setup::SingleFile: break;
    }
    QSignalSpy started(controller(), &ConversionController::fileStarted);

    window->onStartRequested();
    const QList<Dialogs::Request> shown = dialogs->requestsOf(Dialogs::Kind::Error);
    QCOMPARE(shown.size(), 1);
    QCOMPARE(shown.first().text, message);
    QVERIFY(!window->isRunning());
    QVERIFY(!controller()->isRunning());
    QCOMPARE(started.size(), 0);
    // A failed check changes nothing, not even the remembered folders.
    QVERIFY(!settings->contains(u"revit/lastOutputDir"_s));
}

void TestMainWindow::confirmation_data()
{
    QTest::addColumn<int>("fileCount");
    QTest::addColumn<int>("reply");
    QTest::addColumn<QString>("question");

    const QString mode = u"Mode: Standard - 724 Revit Categories (Moderate)"_s;
    QTest::addRow("one file, cancelled")
        << 1 << int(QMessageBox::Cancel) << u"Convert f0.rvt (%1 B)?\n\n"_s.arg(quickSuccess.size()) + mode;
    QTest::addRow("three files, confirmed")
        << 3 << int(QMessageBox::Yes) << u"Convert 3 files (%1 B)?\n\n"_s.arg(3 * quickSuccess.size()) + mode;
    QTest::addRow("three files, closed")
        << 3 << int(QMessageBox::NoButton)
        << u"Convert 3 files (%1 B)?\n\n"_s.arg(3 * quickSuccess.size()) + mode;
}

void TestMainWindow::confirmation()
{
    QFETCH(int, fileCount);
    QFETCH(int, reply);
    settings->setValue(SettingsKeys::confirmBeforeStart(), true);
    makeWindow();
    QStringList files;
    for (int i = 0; i < fileCount; ++i)
        files.append(writeScript(u"f%1.rvt"_s.arg(i), quickSuccess));
    window->openPaths(files);
    if (fileCount == 1)
        QTRY_COMPARE(batch()->fileCount(), 1);
    setOutputFolder();
    QSignalSpy started(controller(), &ConversionController::fileStarted);

    dialogs->setNextAnswer(QMessageBox::StandardButton(reply));
    window->onStartRequested();
    const QList<Dialogs::Request> asked = dialogs->requestsOf(Dialogs::Kind::Question);
    QCOMPARE(asked.size(), 1);
    QFETCH(QString, question);
    QCOMPARE(asked.at(0).text, question);
    QCOMPARE(asked.at(0).buttons, QMessageBox::Yes | QMessageBox::Cancel);
    QCOMPARE(asked.at(0).defaultButton, QMessageBox::Yes);
    if (reply == QMessageBox::Yes) {
        QVERIFY(window->isRunning());
        QTRY_VERIFY_WITH_TIMEOUT(!window->isRunning(), 10000);
        QCOMPARE(started.size(), fileCount);
    } else {
        QVERIFY(!window->isRunning());
        QCOMPARE(started.size(), 0);
        QCOMPARE(batch()->statusOf(0), FileStatus::Pending);
    }
}

void TestMainWindow::openPaths_data()
{
    // Names stand for paths made by the test: "models" a folder with two accepted files and
    // one of another converter, "work" the test's folder, "gone.rvt" a path that is not there.
    QTest::addColumn<QStringList>("names");
    QTest::addColumn<InputMode>("mode");
    QTest::addColumn<QString>("chosen");
    QTest::addColumn<int>("files");
    QTest::addRow("a folder wins over files")
        << QStringList{u"a.rvt"_s, u"models"_s, u"work"_s} << InputMode::Folder << u"models"_s << 2;
    QTest::addRow("one accepted file")
        << QStringList{u"notes.txt"_s, u"a.rvt"_s, u"gone.rvt"_s} << InputMode::SingleFile << u"a.rvt"_s << 1;
    QTest::addRow("several files") << QStringList{u"b.rfa"_s, u"notes.txt"_s, u"a.rvt"_s}
                                   << InputMode::MultipleFiles << QString() << 2;
    QTest::addRow("junk only") << QStringList{u"notes.txt"_s, u"gone/"_s, QString()} << InputMode::SingleFile
                               << QString() << 0;
    QTest::addRow("nothing") << QStringList() << InputMode::SingleFile << QString() << 0;
}

void TestMainWindow::openPaths()
{
    QFETCH(QStringList, names);
    QFETCH(InputMode, mode);
    QFETCH(QString, chosen);
    QFETCH(int, files);
    makeWindow();
    const QString models = work->filePath(u"models"_s);
    writeScript(u"x.rvt"_s, quickSuccess, models);
    writeScript(u"y.RFA"_s, quickSuccess, models);
    writeScript(u"z.ifc"_s, quickSuccess, models);
    writeScript(u"a.rvt"_s, quickSuccess);
    writeScript(u"b.rfa"_s, quickSuccess);
    writeScript(u"notes.txt"_s, "text");
    const auto path = [this](const QString &name) {
        return name.isEmpty() ? QString() : name == u"work"_s ? work->path() : work->filePath(name);
    };
    QStringList paths;
    for (const QString &name : std::as_const(names))
        paths.append(path(name));

    window->openPaths(paths);
    const InputSelection selection = input()->selection();
    QCOMPARE(selection.mode, mode);
    QCOMPARE(mode == InputMode::Folder ? selection.folderPath : selection.filePath,
             chosen.isEmpty() ? QString() : path(chosen));
    QTRY_COMPARE(batch()->fileCount(), files);
    if (mode == InputMode::MultipleFiles) {
        // Kept in the order given, and shown at once in the Files tab.
        QCOMPARE(batch()->activeFiles().at(0).absoluteFilePath(), path(u"b.rfa"_s));
        QCOMPARE(tabs()->currentIndex(), 2);
    } else if (files == 0) {
        QTest::qWait(100);
        QCOMPARE(batch()->fileCount(), 0);
        QCOMPARE(tabs()->currentIndex(), 0);
    }
}

void TestMainWindow::defaultAndStoredGeometry()
{
    makeWindow();
    const QRect expected = RunFlow::defaultGeometry(QGuiApplication::primaryScreen()->availableGeometry());
    QCOMPARE(window->size(), expected.size());
    QCOMPARE(window->pos(), expected.topLeft());
    QVERIFY(window->minimumSize() == QSize(900, 600));

    window->resize(1000, 700);
    window->move(20, 30);
    QVERIFY(window->close());
    window.reset();
    makeWindow();
    QCOMPARE(window->size(), QSize(1000, 700));
}

void TestMainWindow::rememberedFoldersPerConverter()
{
    makeWindow();
    const QString models = work->filePath(u"models"_s);
    writeScript(u"x.rvt"_s, quickSuccess, models);
    window->openPaths({models});
    QTRY_COMPARE(batch()->fileCount(), 1);
    setOutputFolder();
    window->onStartRequested();
    QTRY_VERIFY_WITH_TIMEOUT(!window->isRunning(), 10000);
    QCOMPARE(settings->value(u"revit/lastInputDir"_s).toString(), QFileInfo(models).absoluteFilePath());
    QCOMPARE(settings->value(u"revit/lastOutputDir"_s).toString(), work->filePath(u"out/nested"_s));
    QCOMPARE(settings->value(u"revit/recentFiles"_s).toStringList(),
             QStringList{QFileInfo(models).absoluteFilePath()});
    window.reset();

    makeWindow();
    QCOMPARE(input()->folderPath(), QFileInfo(models).absoluteFilePath());
    QCOMPARE(output()->outputDir(), work->filePath(u"out/nested"_s));
    window.reset();

    // Another converter keeps its own folders, even in the same settings store.
    ConverterInfo other = makeRevitConverterInfo(true);
    other.id = u"rvt2ifc"_s;
    makeWindow(other);
    QVERIFY(input()->folderPath().isEmpty());
    QVERIFY(output()->outputDir().isEmpty());
}

void TestMainWindow::titleAndProgressTextsWhileRunning()
{
    makeWindow();
    const QString a =
        writeScript(u"a.rvt"_s, "stage Exporting geometry\nprogress 50\nsleep 1500\nprogress 100\n");
    const QString b = writeScript(u"b.rvt"_s, quickSuccess);
    window->openPaths({a, b});
    setOutputFolder();

    window->onStartRequested();
    QPushButton *start = button(u"startButton"_s);
    QCOMPARE(start->text(), u"STOP"_s);
    QCOMPARE(start->property("buttonRole").toString(), u"stop"_s);
    QCOMPARE(start->toolTip(), u"Cancel conversion (Escape)"_s);
    QVERIFY(!input()->isEnabled());
    QCOMPARE(output()->toolTip(), u"Disabled while conversion is running"_s);

    QTRY_VERIFY_WITH_TIMEOUT(progressText()->text().contains(u"Exporting geometry"_s), 10000);
    QCOMPARE(bar()->value(), 25);
    QCOMPARE(window->windowTitle(), u"[25%] KVT Revit Community - File 1 of 2"_s);
    const QString text = progressText()->text();
    QVERIFY2(QRegularExpression(u"^File 1 of 2: a\\.rvt — Exporting geometry \\(00:0\\d\\)$"_s)
                 .match(text)
                 .hasMatch(),
             qPrintable(text));
    const QString status = window->statusBar()->currentMessage();
    QVERIFY2(
        QRegularExpression(u"^Converting file 1 of 2\\.\\.\\. \\(00:0\\d\\)$"_s).match(status).hasMatch(),
        qPrintable(status));

    // The stage of one file is not carried into the next.
    QTRY_VERIFY_WITH_TIMEOUT(window->windowTitle().endsWith(u"File 2 of 2"_s) || !window->isRunning(), 10000);
    if (window->isRunning())
        QVERIFY(!progressText()->text().contains(u"Exporting geometry"_s));

    QTRY_VERIFY_WITH_TIMEOUT(!window->isRunning(), 10000);
    QCOMPARE(window->windowTitle(), appTitle);
    QCOMPARE(start->text(), u"START"_s);
    QCOMPARE(start->toolTip(), u"Start conversion (Ctrl+Enter)"_s);
    QVERIFY(input()->isEnabled());
    QVERIFY(output()->toolTip().isEmpty());
    QCOMPARE(progressText()->text(), u"2 file(s) converted successfully."_s);
    QCOMPARE(window->findChild<ToastWidget *>()->text().left(19), u"Done: 2 file(s) in "_s);
}

void TestMainWindow::convertNextAndDisableReachTheController()
{
    makeWindow();
    QStringList paths{writeScript(u"a.rvt"_s, slowSuccess)};
    for (const QString &name : {u"b.rvt"_s, u"c.rvt"_s, u"d.rvt"_s, u"e.rvt"_s})
        paths.append(writeScript(name, quickSuccess));
    window->openPaths(paths);
    setOutputFolder();
    QSignalSpy started(controller(), &ConversionController::fileStarted);

    window->onStartRequested();
    QVERIFY(waitUntilRunning(paths.at(0)));
    const int indexOfB = fileIndex(paths.at(1));
    const int indexOfD = fileIndex(paths.at(3));
    const int indexOfE = fileIndex(paths.at(4));
    batch()->disableFile(indexOfB);
    // Two requests run in the order they were asked, both ahead of the rest.
    batch()->convertNext(indexOfE);
    batch()->convertNext(indexOfD);
    QTRY_VERIFY_WITH_TIMEOUT(!window->isRunning(), 10000);

    QStringList order;
    for (const QList<QVariant> &arguments : std::as_const(started))
        order.append(QFileInfo(arguments.at(2).toString()).fileName());
    QCOMPARE(order, (QStringList{u"a.rvt"_s, u"e.rvt"_s, u"d.rvt"_s, u"c.rvt"_s}));
    QCOMPARE(started.last().at(1).toInt(), 4);
    QCOMPARE(batch()->statusOf(indexOfB), FileStatus::Disabled);
    QCOMPARE(progressText()->text(), u"4 file(s) converted successfully."_s);

    // Once idle, "convert next" has nothing to reach.
    started.clear();
    window->onConvertNext(paths.at(1));
    QTest::qWait(100);
    QCOMPARE(started.size(), 0);
    QVERIFY(!controller()->isRunning());
}

void TestMainWindow::openFileFromTheMenuKeepsTheMode()
{
    makeWindow();
    const QString models = work->filePath(u"models"_s);
    const QString file = writeScript(u"x.rvt"_s, quickSuccess, models);
    window->openPaths({models});
    QVERIFY(input()->isFolderMode());

    dialogs->setNextFileName(file);
    const QList<QAction *> actions = window->findChildren<QAction *>();
    const auto openFile = std::find_if(actions.begin(), actions.end(),
                                       [](const QAction *a) { return a->shortcut() == QKeySequence::Open; });
    QVERIFY(openFile != actions.end());
    (*openFile)->trigger();

    const InputSelection selection = input()->selection();
    QCOMPARE(selection.mode, InputMode::Folder);
    QCOMPARE(selection.filePath, file);
    QCOMPARE(selection.folderPath, models);
}

void TestMainWindow::keyboardStartAndStop()
{
    makeWindow();
    window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(window.get()));
    const QString h = writeScript(u"h.rvt"_s, hangs);
    window->openPaths({h, writeScript(u"i.rvt"_s, quickSuccess)});
    setOutputFolder();
    auto *search = log()->findChild<QLineEdit *>(u"logSearchEdit"_s);
    const auto escapeInSearchField = [&] {
        QTest::keyClick(window.get(), Qt::Key_F, Qt::ControlModifier);
        search->setFocus();
        QTest::keyClick(search, Qt::Key_Escape);
    };

    // Idle, Escape asks nothing; in the search field it only closes the search bar.
    QTest::keyClick(window.get(), Qt::Key_Escape);
    escapeInSearchField();
    QVERIFY(!search->isVisible());
    QVERIFY(questions().isEmpty());

    QTest::keyClick(window.get(), Qt::Key_Return, Qt::ControlModifier);
    QVERIFY(window->isRunning());
    QVERIFY(waitUntilRunning(h));
    // A second Ctrl+Return during the run starts nothing new.
    QTest::keyClick(window.get(), Qt::Key_Return, Qt::ControlModifier);
    QVERIFY(questions().isEmpty());
    // Running, Escape stops the run wherever the focus is, the search field included.
    escapeInSearchField();
    QCOMPARE(questions(), QStringList{u"Are you sure you want to stop the process?"_s});
    QVERIFY(!window->isRunning());
    QCOMPARE(batch()->statusOf(fileIndex(h)), FileStatus::Stopped);
}

void TestMainWindow::unwritableSettingsAreReportedOnce()
{
    // A store below a plain file cannot be written, not even by root.
    writeScript(u"blocker"_s, "a file, not a folder");
    settings = std::make_unique<QSettings>(work->filePath(u"blocker/settings.ini"_s), QSettings::IniFormat);
    makeWindow();
    window->openPaths({writeScript(u"a.rvt"_s, quickSuccess)});
    QTRY_COMPARE(batch()->fileCount(), 1);
    setOutputFolder();
    for (int run = 0; run < 2; ++run) {
        window->onStartRequested();
        QTRY_VERIFY_WITH_TIMEOUT(!window->isRunning(), 10000);
    }
    const QList<Dialogs::Request> shown = dialogs->requestsOf(Dialogs::Kind::Error);
    QCOMPARE(shown.size(), 1);
    QVERIFY2(shown.first().text.startsWith(u"Your preferences could not be saved"_s),
             qPrintable(shown.first().text));
}

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
