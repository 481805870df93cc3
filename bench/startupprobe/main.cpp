// The program's own start-up, as app/main.cpp runs it, with the minimum splash time set to 0
// and a probe that reports the main window's first paint. Started by bench_startup.

#include "../firstpaintprobe.h"
#include "app/mainwindow.h"
#include "app/startup.h"

int main(int argc, char *argv[])
{
    Startup::Options options;
    options.minimumSplashMs = 0;
    options.windowShown = [](MainWindow *window) { new FirstPaintProbe(window); };
    return Startup::run(argc, argv, options);
}
