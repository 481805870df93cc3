// Runs one batch through the conversion core with its journal, as a program of its own, so
// a test can kill it at any moment and look at what it left behind.
//
// Usage: batchrunner <journal root> <output folder> <file>...

#include "conversion/batchrecorder.h"
#include "conversion/conversioncontroller.h"

#include <QCoreApplication>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 4)
        return 2;
    const ConverterInfo info = makeRevitConverterInfo(true);
    ConversionController controller;
    controller.setConverter(info);
    BatchRecorder recorder(&controller);
    const QStringList files = args.mid(3);
    if (!recorder.begin(args.at(1), info, {info.id, args.at(2), ConversionOptions{}, files}))
        return 3;
    QObject::connect(&controller, &ConversionController::allDone, &app, &QCoreApplication::quit);
    controller.start(files, ConversionOptions{}, args.at(2));
    return app.exec();
}
