#pragma once

#include <QPixmap>
#include <QSize>
#include <QString>
#include <QStringList>

#include <functional>

class MainWindow;
class QScreen;

// The program's start-up: application, theme, splash picture, then the main window.
namespace Startup {

struct Options
{
    // How long the splash stays up at least; benchmarks pass 0 to measure the rest.
    int minimumSplashMs = 800;
    // Called with the new main window right after it is shown.
    std::function<void(MainWindow *)> windowShown;
    // The converter to drive, by catalogue id; empty: the edition this program was built as.
    QString edition;
};

// The catalogue id of the converter this program was built to drive (CMake's KVT_EDITION).
QString builtEdition();

// Runs the whole start-up and the event loop; returns the loop's exit code.
int run(int &argc, char **argv, const Options &options = {});

// The splash picture fitted into a square of 0.4 times the screen's height, keeping its
// aspect ratio; unscaled when there is no screen.
QPixmap splashPixmap(const QPixmap &picture, const QScreen *screen);
QSize splashBox(const QSize &screenSize);
// What is left of the minimum splash time after `elapsedMs`, never below 0.
int remainingSplashMs(qint64 elapsedMs, int minimumMs);
// The arguments after the program path, which name files or folders to open.
QStringList pathsToOpen(const QStringList &arguments);

} // namespace Startup
