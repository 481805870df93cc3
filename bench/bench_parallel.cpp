// Several converters at once: 40 files whose conversions each burn half a second of CPU,
// run through the controller one at a time and two at a time, against the same 40
// converter runs started by `xargs -P 2` in the same run.
//
// Prints `name: value` lines, ending with ratio_n2_to_xargs and speedup_n2_over_n1.
// Usage: bench_parallel [files] [burn-ms] [repetitions]

#include "benchsupport.h"
#include "controllerrun.h"
#include "conversion/conversioncontroller.h"
#include "conversion/converterinfo.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

// The same converter with the same arguments, two at a time, by xargs.
double xargsSeconds(const QString &converter, const QStringList &files, int parallel, bool *ok)
{
    QProcess xargs;
    xargs.setProcessChannelMode(QProcess::MergedChannels);
    QElapsedTimer timer;
    timer.start();
    xargs.start(u"xargs"_s, {u"-0"_s, u"-n"_s, u"1"_s, u"-P"_s, QString::number(parallel), u"sh"_s, u"-c"_s,
                             u"exec \"$0\" \"$1\" --ui"_s, converter});
    for (const QString &file : files)
        xargs.write(QFile::encodeName(file) + '\0');
    xargs.closeWriteChannel();
    xargs.waitForFinished(-1);
    xargs.readAll();
    *ok = xargs.exitStatus() == QProcess::NormalExit && xargs.exitCode() == 0;
    return nsToSeconds(timer.nsecsElapsed());
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList args = QCoreApplication::arguments();
    const int count = args.size() > 1 ? args.at(1).toInt() : 40;
    const int burnMs = args.size() > 2 ? args.at(2).toInt() : 500;
    const int repetitions = args.size() > 3 ? args.at(3).toInt() : 2;

    const QString converter = ConversionController::resolveExecutable(makeRevitConverterInfo(true));
    QTemporaryDir dir;
    QStringList files;
    for (int i = 0; i < count; ++i) {
        const QString path = dir.filePath(u"model-%1.rvt"_s.arg(i, 3, 10, QChar(u'0')));
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) ||
            file.write("progress 10\nburn " + QByteArray::number(burnMs) + "\nprogress 100\nexit 0\n") < 0) {
            std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
            return 1;
        }
        files.append(path);
    }

    // Interleaved and best of several, so a busy moment of the machine hits all three alike.
    double one = 1e9, two = 1e9, reference = 1e9;
    for (int r = 0; r < repetitions; ++r) {
        int failures = 0;
        bool ok = false;
        reference = std::min(reference, xargsSeconds(converter, files, 2, &ok));
        if (!ok) {
            std::fprintf(stderr, "xargs run failed\n");
            return 1;
        }
        two = std::min(two, controllerSeconds(files, 2, &failures));
        if (failures == 0)
            one = std::min(one, controllerSeconds(files, 1, &failures));
        if (failures != 0) {
            std::fprintf(stderr, "controller reported %d failures\n", failures);
            return 1;
        }
    }

    print("files", count);
    print("burn_ms_per_file", burnMs);
    print("xargs_p2_seconds", reference);
    print("controller_n1_seconds", one);
    print("controller_n2_seconds", two);
    print("ratio_n2_to_xargs", two / reference);
    print("speedup_n2_over_n1", one / two);
    return 0;
}
