#include "app/startup.h"

#include "app/mainwindow.h"
#include "app/theme.h"
#include "common/dialogs.h"
#include "common/settingskeys.h"
#include "conversion/converterinfo.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QPointer>
#include <QScreen>
#include <QSettings>
#include <QSplashScreen>
#include <QTimer>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace Startup {

int run(int &argc, char **argv, const Options &options)
{
    // Fractional scale factors are kept as the desktop sets them; this must precede the
    // application object.
    QApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
    QApplication app(argc, argv);

    const ConverterInfo info =
        makeConverterInfo(options.edition.isEmpty() ? builtEdition() : options.edition, true);
    QCoreApplication::setApplicationName(info.displayName);

    // One settings store and one set of dialogs for the whole session, handed to the window.
    QSettings settings(SettingsKeys::organisationName(), info.displayName);
    Dialogs dialogs;

    const bool dark = isDarkTheme(settings, systemPrefersDark);
    applyStyleSheet(app, dark);

    auto *splash = new QSplashScreen(
        splashPixmap(QPixmap(u":/res/png/splash_screen.png"_s), QGuiApplication::primaryScreen()));
    splash->show();
    QCoreApplication::processEvents();

    // Measured from the moment the splash is up, so in effect a fixed minimum time.
    QElapsedTimer splashTimer;
    splashTimer.start();
    const int delay = remainingSplashMs(splashTimer.elapsed(), options.minimumSplashMs);

    const QStringList arguments = QCoreApplication::arguments();
    QPointer<MainWindow> window;
    QTimer::singleShot(delay, &app, [&, splash, arguments, dark] {
        splash->close();
        delete splash;
        window = new MainWindow(info, &settings, &dialogs);
        window->setAttribute(Qt::WA_DeleteOnClose);
        window->setDarkTheme(dark);
        if (arguments.size() > 1)
            window->openPaths(pathsToOpen(arguments));
        window->show();
        // After the window is up, so the question has a parent to sit on.
        QTimer::singleShot(0, window, &MainWindow::offerInterruptedBatch);
        if (options.windowShown)
            options.windowShown(window);
    });
    const int exitCode = QApplication::exec();
    // The window may still wait for its deferred deletion; it goes before the store it uses.
    delete window;
    return exitCode;
}

QString builtEdition()
{
    return QStringLiteral(KVT_EDITION);
}

QSize splashBox(const QSize &screenSize)
{
    const int side = static_cast<int>(screenSize.height() * 0.4);
    return {side, side};
}

QPixmap splashPixmap(const QPixmap &picture, const QScreen *screen)
{
    if (!screen || picture.isNull())
        return picture;
    return picture.scaled(splashBox(screen->size()), Qt::KeepAspectRatio, Qt::SmoothTransformation);
}

int remainingSplashMs(qint64 elapsedMs, int minimumMs)
{
    return static_cast<int>(std::max<qint64>(0, minimumMs - elapsedMs));
}

QStringList pathsToOpen(const QStringList &arguments)
{
    return arguments.mid(1);
}

} // namespace Startup
