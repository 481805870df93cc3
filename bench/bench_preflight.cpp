// The checks before a run over 10,000 files in 100 folders, against `find` listing the same
// files with their times (the stat of every file is most of what the checks cost).
//
//   bench_preflight [files]

#include "benchsupport.h"
#include "conversion/conversioncontroller.h"
#include "conversion/preflight.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const int count = argc > 1 ? QString::fromLocal8Bit(argv[1]).toInt() : 10000;
    QTemporaryDir dir;
    PreflightInput input;
    input.converter = makeRevitConverterInfo(true);
    input.converterPath = ConversionController::resolveExecutable(input.converter);
    input.outputDir = dir.filePath(u"out"_s);
    QDir().mkpath(input.outputDir);
    for (int i = 0; i < count; ++i) {
        const QString folder = dir.filePath(u"models/%1"_s.arg(i % 100));
        QDir().mkpath(folder);
        QFile file(QDir(folder).filePath(u"model-%1.rvt"_s.arg(i)));
        if (file.open(QIODevice::WriteOnly))
            file.write("x");
        input.files.append(file.fileName());
    }

    QList<qint64> runs;
    for (const bool upToDate : {false, true}) {
        input.skipUpToDate = upToDate;
        QElapsedTimer clock;
        clock.start();
        const PreflightResult result = Preflight::check(input);
        runs.append(clock.nsecsElapsed());
        if (result.filesToRun.size() != count)
            std::fprintf(stderr, "unexpected result: %lld files to run\n",
                         qlonglong(result.filesToRun.size()));
    }
    QElapsedTimer clock;
    clock.start();
    QProcess find;
    find.start(u"sh"_s, {u"-c"_s, u"find \"$0\" -type f -printf '%T@ %p\\n' > /dev/null"_s,
                         dir.filePath(u"models"_s)});
    find.waitForFinished(-1);
    const qint64 reference = clock.nsecsElapsed();

    print(qPrintable(u"preflight_%1_ms"_s.arg(count)), nsToMs(runs.at(0)));
    print(qPrintable(u"preflight_up_to_date_%1_ms"_s.arg(count)), nsToMs(runs.at(1)));
    print("find_reference_ms", nsToMs(reference));
    print("preflight_to_find_ratio", double(runs.at(0)) / double(reference));
    return 0;
}
