// Time from process start to the main window's first paint, and resident memory at that
// moment, against the smallest Qt Widgets program showing one window, in the same run. A
// second reference, the same program showing one line of text, shows what text alone costs.
//
// Both programs are started as child processes (startup_probe and minimal_window, built
// beside this one) and print one line right after their first paint. The program's start-up
// runs exactly as app/main.cpp runs it, except that its minimum splash time is 0 instead of
// the fixed 800 ms, which would only add a constant. Runs on the offscreen platform, and also
// on xcb when DISPLAY is set (for example under xvfb-run).
//
// Each child gets a private home and cache and an update host on 127.0.0.1 that this program
// listens on, so the run also shows that nothing reaches the network or the banner cache
// before the first paint.
//
// Usage: bench_startup [runs per program, default 15]

#include "benchsupport.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

struct Sample
{
    double ms = 0;
    double rssMiB = 0;
    bool ok = false;
};

Sample runOnce(const QString &program, const QStringList &arguments, const QProcessEnvironment &environment)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QElapsedTimer timer;
    timer.start();
    process.start(program, arguments);
    Sample sample;
    QByteArray output;
    while (!output.contains('\n') && process.waitForReadyRead(20000))
        output += process.readAllStandardOutput();
    sample.ms = nsToMs(timer.nsecsElapsed());
    const int at = output.indexOf("rss_kib=");
    if (at >= 0) {
        sample.rssMiB = output.mid(at + 8).trimmed().toDouble() / 1024.0;
        sample.ok = true;
    }
    if (!process.waitForFinished(10000))
        process.kill();
    return sample;
}

struct Figures
{
    double ms = 0;
    double rssMiB = 0;
    int failures = 0;
};

bool measure(const QString &platform, int runs, const QString &probe, const QString &reference)
{
    QTemporaryDir home;
    QTcpServer updateHost;
    if (!updateHost.listen(QHostAddress::LocalHost)) {
        std::fprintf(stderr, "cannot listen on 127.0.0.1\n");
        return false;
    }
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"QT_QPA_PLATFORM"_s, platform);
    environment.insert(u"HOME"_s, home.path());
    environment.insert(u"XDG_CONFIG_HOME"_s, home.filePath(u"config"_s));
    environment.insert(u"XDG_CACHE_HOME"_s, home.filePath(u"cache"_s));
    environment.insert(u"XDG_DATA_HOME"_s, home.filePath(u"data"_s));
    QDir().mkpath(home.filePath(u"runtime"_s));
    QFile::setPermissions(home.filePath(u"runtime"_s),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    environment.insert(u"XDG_RUNTIME_DIR"_s, home.filePath(u"runtime"_s));
    environment.insert(u"KVT_UPDATE_HOST"_s, u"https://127.0.0.1:%1"_s.arg(updateHost.serverPort()));

    // One run of each first, so all find the same warm file cache.
    runOnce(probe, {}, environment);
    runOnce(reference, {}, environment);
    runOnce(reference, {u"--text"_s}, environment);

    std::vector<double> probeMs, probeRss, referenceMs, referenceRss, textMs, textRss;
    int failures = 0;
    for (int i = 0; i < runs; ++i) {
        // Interleaved, so drift on the machine touches all three alike.
        const Sample p = runOnce(probe, {}, environment);
        const Sample r = runOnce(reference, {}, environment);
        const Sample t = runOnce(reference, {u"--text"_s}, environment);
        if (!p.ok || !r.ok || !t.ok) {
            ++failures;
            continue;
        }
        probeMs.push_back(p.ms);
        probeRss.push_back(p.rssMiB);
        referenceMs.push_back(r.ms);
        referenceRss.push_back(r.rssMiB);
        textMs.push_back(t.ms);
        textRss.push_back(t.rssMiB);
    }
    updateHost.waitForNewConnection(0);
    int connections = 0;
    while (QTcpSocket *socket = updateHost.nextPendingConnection()) {
        ++connections;
        delete socket;
    }
    const bool cacheTouched = QFileInfo::exists(home.filePath(u"cache"_s) + u"/kvt"_s);

    const double ms = median(probeMs);
    const double refMs = median(referenceMs);
    const double rss = median(probeRss);
    const double refRss = median(referenceRss);
    const double txtMs = median(textMs);
    const double txtRss = median(textRss);
    // Every line carries the platform's name: one run can measure two platforms.
    const auto line = [&platform](const char *measure, const QString &value) {
        print(qPrintable(platform + u'_' + QLatin1StringView(measure)), value);
    };
    const auto fixed = [](double value, int decimals) { return QString::number(value, 'f', decimals); };
    print("platform", platform);
    line("runs", QString::number(probeMs.size()));
    line("failed_runs", QString::number(failures));
    line("first_paint_ms", fixed(ms, 1));
    line("reference_first_paint_ms", fixed(refMs, 1));
    line("rss_mib", fixed(rss, 1));
    line("reference_rss_mib", fixed(refRss, 1));
    line("text_window_first_paint_ms", fixed(txtMs, 1));
    line("text_window_rss_mib", fixed(txtRss, 1));
    line("network_connections", QString::number(connections));
    line("banner_cache_touched", cacheTouched ? u"yes"_s : u"no"_s);
    line("memory_ratio", fixed(refRss > 0 ? rss / refRss : 0.0, 2));
    line("memory_ratio_to_text_window", fixed(txtRss > 0 ? rss / txtRss : 0.0, 2));
    line("time_ratio_to_text_window", fixed(txtMs > 0 ? ms / txtMs : 0.0, 2));
    line("time_ratio", fixed(refMs > 0 ? ms / refMs : 0.0, 2));
    return failures == 0;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const int runs = argc > 1 ? std::max(1, QByteArray(argv[1]).toInt()) : 15;
    const QDir bin(QCoreApplication::applicationDirPath());
    const QString probe = bin.filePath(u"startup_probe"_s);
    const QString reference = bin.filePath(u"minimal_window"_s);
    if (!QFileInfo::exists(probe) || !QFileInfo::exists(reference)) {
        std::fprintf(stderr, "startup_probe and minimal_window must be built beside this program\n");
        return 2;
    }

    bool ok = measure(u"offscreen"_s, runs, probe, reference);
    if (!qEnvironmentVariableIsEmpty("DISPLAY"))
        ok = measure(u"xcb"_s, runs, probe, reference) && ok;
    return ok ? 0 : 1;
}
