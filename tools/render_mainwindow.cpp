// Renders the main window before, during and after a run of the demo folder, in the light
// and the dark theme, to PNG files for looking at and for the README.
//
// Usage: render_mainwindow <output folder> <demo folder> [width height]
// Runs on the offscreen platform unless QT_QPA_PLATFORM says otherwise; uses private
// settings and cache folders and never talks to the network.

#include "app/mainwindow.h"
#include "app/theme.h"
#include "common/messageboxes.h"
#include "conversion/conversioncontroller.h"
#include "conversion/converterinfo.h"

#include <QApplication>
#include <QCheckBox>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QPixmap>
#include <QProgressBar>
#include <QSettings>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTextStream>
#include <QThread>

#include <cstdio>
#include <functional>

using namespace Qt::StringLiterals;

namespace {

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

void settle(int ms)
{
    waitFor([] { return false; }, ms);
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

void save(QWidget *window, const QString &folder, const QString &name)
{
    const QString path = QDir(folder).filePath(name + u".png"_s);
    window->grab().save(path);
    std::printf("%s\n", qPrintable(path));
}

bool renderTheme(QApplication &app, bool dark, const QString &outputFolder, const QString &demoFolder,
                 QSize size)
{
    applyStyleSheet(app, dark);
    const QString theme = dark ? u"dark"_s : u"light"_s;

    QTemporaryDir work;
    const QString input = work.filePath(u"demo"_s);
    if (!copyFolder(demoFolder, input)) {
        std::fprintf(stderr, "cannot copy the demo folder %s\n", qPrintable(demoFolder));
        return false;
    }

    auto *window = new MainWindow(makeRevitConverterInfo(true));
    MessageBoxes boxes;
    boxes.showError = [](QWidget *, const QString &text) {
        std::fprintf(stderr, "error box: %s\n", qPrintable(text));
    };
    boxes.ask = [](QWidget *, const QString &, QMessageBox::StandardButtons, QMessageBox::StandardButton) {
        return QMessageBox::Yes;
    };
    window->setMessageBoxes(boxes);
    window->setDarkTheme(dark);
    window->resize(size);
    window->show();
    window->findChild<QCheckBox *>(u"sameAsProjectCheck"_s)->setChecked(true);
    window->openPaths({input});
    auto *tabs = window->findChild<QTabWidget *>(u"mainTabs"_s);
    auto *bar = window->findChild<QProgressBar *>(u"progressBar"_s);
    auto *controller = window->findChild<ConversionController *>();

    settle(800);
    tabs->setCurrentIndex(2);
    settle(200);
    save(window, outputFolder, u"mainwindow-before-"_s + theme);

    window->onStartRequested();
    if (!waitFor([bar] { return bar->value() >= 30; }, 20000))
        std::fprintf(stderr, "the run did not get going\n");
    settle(300);
    save(window, outputFolder, u"mainwindow-during-"_s + theme);

    if (!waitFor([controller] { return !controller->isRunning(); }, 60000))
        std::fprintf(stderr, "the run did not end\n");
    settle(600);
    tabs->setCurrentIndex(2);
    settle(300);
    save(window, outputFolder, u"mainwindow-after-"_s + theme);

    window->close();
    delete window;
    return true;
}

} // namespace

int main(int argc, char *argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QTemporaryDir home;
    qputenv("XDG_CONFIG_HOME", home.filePath(u"config"_s).toUtf8());
    qputenv("XDG_CACHE_HOME", home.filePath(u"cache"_s).toUtf8());
    // Nothing listens there: the update check and the banners fail at once and quietly.
    qputenv("KVT_UPDATE_HOST", "https://127.0.0.1:9");

    QApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() < 3) {
        std::fprintf(stderr, "usage: render_mainwindow <output folder> <demo folder> [width height]\n");
        return 2;
    }
    QCoreApplication::setApplicationName(makeRevitConverterInfo(true).displayName);
    const QSize size =
        arguments.size() >= 5 ? QSize(arguments.at(3).toInt(), arguments.at(4).toInt()) : QSize(1344, 832);
    QDir().mkpath(arguments.at(1));
    for (const bool dark : {false, true}) {
        if (!renderTheme(app, dark, arguments.at(1), arguments.at(2), size))
            return 1;
    }
    return 0;
}
