#pragma once

// A whole batch through the controller, timed: what the controller benchmarks compare with
// their references.

#include "benchsupport.h"
#include "conversion/conversioncontroller.h"
#include "conversion/converterinfo.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QStringList>

// Seconds from start to allDone, with `parallel` converters at once; the failures reported
// go to *failures.
inline double controllerSeconds(const QStringList &files, int parallel, int *failures)
{
    ConversionController controller;
    controller.setConverter(makeRevitConverterInfo(true));
    controller.setMaxParallel(parallel);
    QEventLoop loop;
    QObject::connect(&controller, &ConversionController::allDone, &loop, [&](int, int failed, int) {
        *failures = failed;
        loop.quit();
    });
    QElapsedTimer timer;
    timer.start();
    controller.start(files, ConversionOptions{}, QString());
    loop.exec();
    return nsToSeconds(timer.nsecsElapsed());
}
