#include "conversion/conversioncontroller.h"
#include "testsupport/childprocesses.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <csignal>
#include <memory>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

// Everything the controller reports, in order, as "started 1/2 f1.rvt" and the like; a log
// block shows as "log" in `events`, its text in `logs` and when it came in `logTimes`.
struct Recorder
{
    QStringList events;
    QStringList logs;
    QList<qint64> logTimes; // ms on a monotonic clock

    void attach(ConversionController *c)
    {
        const auto on = [&](auto signal, const QString &format) {
            QObject::connect(c, signal, c, [this, format](const auto &...args) {
                QString event = format;
                ((event = event.arg(args)), ...);
                events.append(event.remove(QRegularExpression(u"/\\S*/"_s))); // files without their folder
            });
        };
        on(&ConversionController::fileStarted, u"started %1/%2 %3"_s);
        on(&ConversionController::fileFinished, u"finished %1 %2 %3"_s);
        on(&ConversionController::progressUpdated, u"progress %1 %2"_s);
        on(&ConversionController::stageChanged, u"stage %1"_s);
        on(&ConversionController::errorOccurred, u"error %1 %2"_s);
        on(&ConversionController::allDone, u"done %1 %2 %3"_s);
        QObject::connect(c, &ConversionController::logOutput, c, [this](const QString &text) {
            events.append(u"log"_s);
            logs.append(text);
            logTimes.append(QDeadlineTimer::current().deadline());
        });
    }

    // The events of these kinds ("progress|done"); by default all but the log.
    QStringList filtered(const QString &kinds = u"(?!log$)"_s) const
    {
        return events.filter(QRegularExpression(u"^(?:"_s + kinds + u')'));
    }
    QString log() const { return logs.join(u'\n'); }
};

// Gone: no entry in /proc any more, or only the zombie waiting for a parent to reap it.
bool processGone(const QString &pid)
{
    QFile stat(u"/proc/"_s + pid + u"/stat"_s);
    return !stat.open(QIODevice::ReadOnly) || stat.readAll().contains(") Z ");
}

} // namespace

class tst_ConversionController : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void runs_data();
    void runs();
    void backlogAtFinishIsRead();
    void interruptions_data();
    void interruptions();
    void queueChanges_data();
    void queueChanges();
    void parallel_data();
    void parallel();
    void executableLookup();

private:
    bool run(const QByteArrayList &scripts, const QString &files = {}, bool wait = true);

    std::unique_ptr<QTemporaryDir> dir;
    std::unique_ptr<ConversionController> controller;
    Recorder rec;
};

void tst_ConversionController::init()
{
    QTest::failOnWarning(QRegularExpression(u"QProcess: Destroyed while process"_s));
    dir = std::make_unique<QTemporaryDir>();
    QVERIFY(dir->isValid());
    controller = std::make_unique<ConversionController>();
    controller->setConverter(makeRevitConverterInfo(true));
    rec = Recorder();
    rec.attach(controller.get());
}

void tst_ConversionController::cleanup()
{
    // Every test ends with its converters gone; one still running is a leak of the controller.
    QTRY_VERIFY2_WITH_TIMEOUT(runningChildProcesses().isEmpty(),
                              qPrintable(runningChildProcesses().join(u", ")), 3000);
}

// Writes the scripts the fake converter plays (see fakeconverter/main.cpp) as f1.rvt, f2.rvt...
// and runs them, or the `files` named ("f1 f2 f1"). With `wait`: true once the run is done, waited
// for in a real event loop (qWaitFor sleeps between passes, which slows reading a large output).
bool tst_ConversionController::run(const QByteArrayList &scripts, const QString &files, bool wait)
{
    QStringList paths;
    for (qsizetype i = 0; i < scripts.size(); ++i) {
        QFile file(dir->filePath(u"f%1.rvt"_s.arg(i + 1)));
        if (!file.open(QIODevice::WriteOnly) || file.write(scripts.at(i)) != scripts.at(i).size())
            qFatal("cannot write the script %s", qPrintable(file.fileName()));
        paths.append(file.fileName());
    }
    if (!files.isEmpty())
        paths =
            files.split(u' ').replaceInStrings(QRegularExpression(u"^(.+)$"_s), dir->filePath(u"\\1.rvt"_s));
    QSignalSpy done(controller.get(), &ConversionController::allDone);
    controller->start(paths, ConversionOptions{}, QString());
    return !wait || !done.isEmpty() || done.wait(30000);
}

void tst_ConversionController::runs_data()
{
    QTest::addColumn<QByteArrayList>("scripts"); // one per file, f1.rvt, f2.rvt, ...
    QTest::addColumn<QString>("events");         // compared: every event of the kinds named here
    QTest::addColumn<QString>("log");            // null: not compared
    const QString end = u"progress 100 100, done 1 0 0"_s;
    QTest::addRow("success")
        << QByteArrayList{"progress 50\nstage Exporting geometry\nstarted Writing\nexit 0\n"}
        << u"started 1/1 f1.rvt, progress 50 50, stage Exporting geometry, stage Writing, "
           "progress 100 100, finished 1 0 f1.rvt, done 1 0 0"_s
        << u"Progress: 50%\n[Stage] Exporting geometry\n---- Started Writing ..."_s;
    QTest::addRow("failure: error before the final progress")
        << QByteArrayList{"progress 30\nexit 3\n"}
        << u"started 1/1 f1.rvt, progress 30 30, error 3 f1.rvt, progress 100 100, finished 1 3 f1.rvt, done 0 1 0"_s
        << QString();
    // The fake converter aborts: SIGABRT (6) must not read as the converter's own code 6.
    QTest::addRow("crash counts as 128 + signal")
        << QByteArrayList{"crash\n"} << u"error 134 f1.rvt, done 0 1 0"_s << QString();
    QTest::addRow("empty list") << QByteArrayList{} << u"done 0 0 0"_s << u""_s;
    // Overall progress counts finished files plus the current one's share, and reaches 100
    // only with the last file's end.
    QTest::addRow("37.5%% on the 3rd of 4")
        << QByteArrayList{"exit 0\n", "exit 0\n", "progress 37.5\nexit 0\n", "exit 0\n"}
        << u"progress 25 100, progress 50 100, progress 59 38, progress 75 100, progress 100 100"_s
        << QString();
    QTest::addRow("150%% on the only file stays below 100 overall")
        << QByteArrayList{"progress 150\nexit 0\n"} << u"progress 99 150, progress 100 100"_s << QString();
    QTest::addRow("white space never logged, text trimmed")
        << QByteArrayList{"print    \nprint \\t \\t\nprint   padded line  \nprint \\r\nexit 0\n"} << end
        << u"padded line"_s;
    QTest::addRow("bare carriage return ends a line")
        << QByteArrayList{"print first\\rsecond\\r\\rthird\nexit 0\n"} << end << u"first\nsecond\nthird"_s;
    QTest::addRow("carriage-return progress drives progress and log")
        << QByteArrayList{"crprogress 4\n"}
        << u"progress 25 25, progress 50 50, progress 75 75, progress 99 100, progress 100 100"_s
        << u"Progress: 25%\nProgress: 50%\nProgress: 75%\nProgress: 100%"_s;
    QTest::addRow("invalid UTF-8 becomes replacement characters")
        << QByteArrayList{"invalidutf8\n"} << end << u"Invalid bytes: \uFFFD\uFFFD and \uFFFD( end"_s;
    QTest::addRow("standard error is merged")
        << QByteArrayList{"print out\nstderr err\nprint back\n"} << end << u"out\nerr\nback"_s;
    QTest::addRow("last line without a break is logged")
        << QByteArrayList{"print done\nnobreak 5\n"} << end << u"done\nxxxxx"_s;
    // A line that never ends is logged in pieces of 1 MiB, so memory stays bounded.
    QTest::addRow("endless line") << QByteArrayList{"nobreak 3145729\n"} << end
                                  << (QString(1024 * 1024, u'x') + u'\n').repeated(3) + u'x';
    // A converter that waits for an answer on standard input gets end-of-file at once.
    QTest::addRow("standard input is closed") << QByteArrayList{"readstdin\n"} << end << u"stdin closed"_s;
    // About a second of output as fast as it comes: many blocks, each a timer interval apart.
    QTest::addRow("flood") << QByteArrayList{"flood 400000\n"} << u"done 1 0 0"_s << QString();
}

void tst_ConversionController::runs()
{
    QFETCH(QByteArrayList, scripts);
    QFETCH(QString, events);
    QFETCH(QString, log);
    QVERIFY(run(scripts));
    const QString kinds = QString(events).replace(QRegularExpression(u" [^,]*(, |$)"_s), u"|"_s).chopped(1);
    QCOMPARE(rec.filtered(kinds).join(u", "), events);
    // Whatever was logged went out before allDone, in blocks without empty edges, and but for the
    // last one at the run's end never sooner than a flush interval (less slack) after the one before.
    QVERIFY(rec.events.last().startsWith(u"done "_s));
    if (!log.isNull())
        QCOMPARE(rec.log(), log);
    for (qsizetype i = 0; i < rec.logs.size(); ++i) {
        const QString &block = rec.logs.at(i);
        QVERIFY(!block.isEmpty() && !block.startsWith(u'\n') && !block.endsWith(u'\n'));
        const qint64 gap = i > 0 ? rec.logTimes.at(i) - rec.logTimes.at(i - 1) : 100;
        QVERIFY2(gap >= 80 || i + 1 == rec.logs.size(),
                 qPrintable(u"block %1 after %2 ms"_s.arg(i).arg(gap)));
    }
    QVERIFY(qstrcmp(QTest::currentDataTag(), "flood") != 0 || rec.logs.size() > 5);
}

void tst_ConversionController::backlogAtFinishIsRead()
{
    // The converter fills a large pipe and ends while the GUI thread is busy, so its end
    // arrives with far more output unread than one read takes: all of it must still be
    // read, in order, before the file is reported.
    constexpr int lines = 12000;
    connect(controller.get(), &ConversionController::fileStarted, this, [] { QThread::msleep(500); });
    int lastPercent = -1, backwards = 0;
    connect(controller.get(), &ConversionController::progressUpdated, this,
            [&](int, int file) { backwards += file < std::exchange(lastPercent, file); });
    QVERIFY(run({"pipesize 1048576\nflood " + QByteArray::number(lines) + "\n"}));
    QCOMPARE(rec.log().count(u'\n') + 1, lines);
    // The log goes out in blocks, not one signal per line.
    QVERIFY2(rec.logs.size() < 100, qPrintable(QString::number(rec.logs.size())));
    QCOMPARE(rec.filtered(u"progress"_s).size(), lines / 10 + 1); // one per tenth line, and the file's end
    QCOMPARE(rec.filtered(u"stage"_s).size(), lines / 100);
    QCOMPARE(backwards, 0);
    QCOMPARE(rec.events.last(), u"done 1 0 0"_s);
}

void tst_ConversionController::interruptions_data()
{
    // How the first converter ends once it has shown its progress: by itself, or by the user.
    QTest::addColumn<QString>("end");
    QTest::addColumn<QString>("events"); // all but the log
    const QString first = u"started 1/2 f1.rvt, progress 20 40"_s;
    const QString both = first + u", progress 50 100, finished 1 %1 f1.rvt, started 2/2 f2.rvt, "
                                 "progress 100 100, finished 2 0 f2.rvt, done %2"_s;
    QTest::addRow("its own exit") << u"exit"_s << both.arg(u"0"_s, u"2 0 0"_s);
    QTest::addRow("skip") << u"skip"_s << both.arg(u"-3"_s, u"1 0 1"_s);
    QTest::addRow("stop") << u"stop"_s << first;
    // Quietly: no warning and no signal.
    QTest::addRow("controller destroyed") << u"destroy"_s << first;
}

void tst_ConversionController::interruptions()
{
    QFETCH(QString, end);
    QFETCH(QString, events);
    // The converter starts a helper that outlives it unless something ends it. A timed flush
    // logs the helper's pid during the pause; the last two lines are still buffered when the
    // user acts (a click arrives as its own event), so it is the skip or stop that must flush them.
    connect(controller.get(), &ConversionController::progressUpdated, this, [&, this](int, int file) {
        if (file == 40 && end != u"exit")
            QTimer::singleShot(0, this, [&, this] {
                end == u"skip"   ? controller->skipCurrent()
                : end == u"stop" ? controller->stop()
                                 : controller.reset();
            });
    });
    const QByteArray first = end == u"exit" ? "exit 0" : "hang";
    run({"spawn\nsleep 250\nprint Progress: 40%\\nstill here\n" + first, "exit 0\n"}, {}, false);
    QTRY_VERIFY_WITH_TIMEOUT(!controller || !controller->isRunning(), 10000);
    if (controller) {
        // A finished signal that arrives late changes nothing, nor do further clicks.
        controller->onProcessFinished(0, QProcess::NormalExit);
        controller->stop();
        controller->skipCurrent();
    }
    QTest::qWait(200);
    QCOMPARE(rec.filtered().join(u", "), events);

    const QString pid = QRegularExpression(u"^\\[CHILD\\] (\\d+)"_s).match(rec.log()).captured(1);
    QVERIFY2(!pid.isEmpty(), qPrintable(rec.log()));
    // A helper left behind is ended here, so that a failure leaves nothing running.
    const bool gone = QTest::qWaitFor([&] { return processGone(pid); }, 2000);
    if (!gone)
        ::kill(pid.toInt(), SIGKILL);
    QVERIFY2(gone, qPrintable(u"the helper %1 outlived the converter"_s.arg(pid)));
    // Everything the converter printed is in the log; a skip put it there before the file ended.
    if (end != u"destroy")
        QCOMPARE(rec.log(), u"[CHILD] %1\nProgress: 40%\nstill here"_s.arg(pid));
    if (end == u"skip")
        QVERIFY(rec.events.lastIndexOf(u"log"_s) < rec.events.indexOf(u"finished 1 -3 f1.rvt"_s));
}

void tst_ConversionController::queueChanges_data()
{
    QTest::addColumn<QString>("files"); // f1 stands for f1.rvt, and so on
    // Made when the file with this index starts; its own fileStarted still shows the old total.
    QTest::addColumn<int>("atIndex");
    QTest::addColumn<QString>("changes"); // convertNext or removeFromQueue
    QTest::addColumn<QString>("starts");
    QTest::addRow("queued file moves to the front, runs once")
        << u"f1 f2 f3"_s << 1 << u"next f3"_s << u"1/3 f1, 2/3 f3, 3/3 f2"_s;
    QTest::addRow("finished file is added and counted")
        << u"f1 f2"_s << 2 << u"next f1"_s << u"1/2 f1, 2/2 f2, 3/3 f1"_s;
    QTest::addRow("new file during the last one") << u"f1"_s << 1 << u"next f4"_s << u"1/1 f1, 2/2 f4"_s;
    QTest::addRow("requests run in the order asked")
        << u"f1 f2 f3"_s << 1 << u"next f3, next f4"_s << u"1/3 f1, 2/4 f3, 3/4 f4, 4/4 f2"_s;
    QTest::addRow("a file asked for twice keeps its first place")
        << u"f1 f2 f3 f4"_s << 1 << u"next f3, next f2, next f3"_s << u"1/4 f1, 2/4 f3, 3/4 f2, 4/4 f4"_s;
    QTest::addRow("a removed request holds no place")
        << u"f1 f2 f4"_s << 1 << u"next f3, remove f3, next f4"_s << u"1/3 f1, 2/3 f4, 3/3 f2"_s;
    // Every copy of a queued file goes; the running one stays.
    QTest::addRow("removal") << u"f1 f2 f3 f2"_s << 1 << u"remove f2, remove f1"_s << u"1/4 f1, 2/2 f3"_s;
}

void tst_ConversionController::queueChanges()
{
    QFETCH(QString, files);
    QFETCH(int, atIndex);
    QFETCH(QString, changes);
    QFETCH(QString, starts);
    connect(controller.get(), &ConversionController::fileStarted, this, [&, this](int index) {
        for (const QString &change : index == atIndex ? changes.split(u", "_s) : QStringList()) {
            const auto make = change.startsWith(u"next") ? &ConversionController::convertNext
                                                         : &ConversionController::removeFromQueue;
            (controller.get()->*make)(dir->filePath(change.section(u' ', 1) + u".rvt"_s));
        }
    });
    QVERIFY(run(QByteArrayList(4, "progress 100\nexit 0\n"), files));
    QCOMPARE(rec.filtered(u"started"_s).join(u", ").remove(u"started "_s).remove(u".rvt"_s), starts);
    // However the total changed, overall progress reached 100 only with the last file's end.
    QCOMPARE(rec.filtered(u"progress 100 |done"_s).join(u", "),
             u"progress 100 100, done %1 0 0"_s.arg(starts.count(u',') + 1));
}

void tst_ConversionController::parallel_data()
{
    QTest::addColumn<QByteArrayList>("scripts");
    // Done once both first files run: "skip f2" (skipFile), "skip" (skipCurrent), "next f4",
    // "remove f3", "stop".
    QTest::addColumn<QString>("actions");
    QTest::addColumn<QString>("events"); // started, finished and done, in order
    QTest::addColumn<QStringList>("logLines");
    const QByteArray hang = "hang\n";
    QTest::addRow("two at once, tagged log")
        << QByteArrayList{"print one\nprogress 50\nsleep 300\nexit 0\n", "print two\nsleep 300\nexit 3\n",
                          "exit 0\n"}
        << QString() << QString()
        << QStringList{u"[f1.rvt] one"_s, u"[f1.rvt] Progress: 50%"_s, u"[f2.rvt] two"_s};
    QTest::addRow("skip by file, then the first started")
        << QByteArrayList{hang, hang, "exit 0\n"} << u"skip f2, skip"_s
        << u"started 1/3 f1.rvt, started 2/3 f2.rvt, finished 2 -3 f2.rvt, started 3/3 f3.rvt, "
           "finished 1 -3 f1.rvt, finished 3 0 f3.rvt, done 1 0 2"_s
        << QStringList();
    QTest::addRow("stop ends both") << QByteArrayList{hang, hang, "exit 0\n"} << u"stop"_s
                                    << u"started 1/3 f1.rvt, started 2/3 f2.rvt"_s << QStringList();
    QTest::addRow("convert next and disable while two run")
        << QByteArrayList{hang, "sleep 300\nexit 0\n", "exit 0\n", "exit 0\n"}
        << u"next f4, remove f3, skip f1"_s
        << u"started 1/4 f1.rvt, started 2/4 f2.rvt, finished 1 -3 f1.rvt, started 3/3 f4.rvt, "
           "finished 3 0 f4.rvt, finished 2 0 f2.rvt, done 2 0 1"_s
        << QStringList();
}

void tst_ConversionController::parallel()
{
    QFETCH(QByteArrayList, scripts);
    QFETCH(QString, actions);
    QFETCH(QString, events);
    QFETCH(QStringList, logLines);
    controller->setMaxParallel(2);
    controller->setLogFolder(dir->filePath(u"logs"_s));
    QVERIFY(QDir(dir->path()).mkpath(u"logs"_s));
    int runningNow = 0, mostAtOnce = 0;
    connect(controller.get(), &ConversionController::fileStarted, this, [&, this](int index) {
        mostAtOnce = std::max(mostAtOnce, ++runningNow);
        QCOMPARE(controller->runningFiles().size(), runningNow);
        if (index != 2 || actions.isEmpty())
            return;
        QTimer::singleShot(0, this, [&, this] {
            for (const QString &action : actions.split(u", "_s)) {
                const QString file = dir->filePath(action.section(u' ', 1) + u".rvt"_s);
                if (action == u"skip")
                    controller->skipCurrent();
                else if (action == u"stop")
                    controller->stop();
                else if (action.startsWith(u"skip"))
                    controller->skipFile(file);
                else if (action.startsWith(u"next"))
                    controller->convertNext(file);
                else
                    controller->removeFromQueue(file);
            }
        });
    });
    connect(controller.get(), &ConversionController::fileFinished, this, [&] { --runningNow; });
    int lastOverall = 0, backwards = 0;
    connect(controller.get(), &ConversionController::progressUpdated, this,
            [&](int overall) { backwards += overall < std::exchange(lastOverall, overall); });

    run(scripts, {}, false);
    QTRY_VERIFY2_WITH_TIMEOUT(!controller->isRunning(), qPrintable(rec.events.join(u", ")), 10000);
    QCOMPARE(mostAtOnce, 2);
    QCOMPARE(backwards, 0);
    if (!events.isEmpty())
        QCOMPARE(rec.filtered(u"started|finished|done"_s).join(u", "), events);
    else
        QCOMPARE(rec.filtered(u"done"_s), QStringList{u"done 2 1 0"_s});
    const QStringList logged = rec.log().split(u'\n');
    for (const QString &line : logLines)
        QVERIFY2(logged.contains(line), qPrintable(rec.log()));
    // The files' own logs hold what their converter printed, without the tag.
    QFile firstLog(controller->logFileOf(dir->filePath(u"f1.rvt"_s)));
    QVERIFY(firstLog.open(QIODevice::ReadOnly));
    const QByteArray own = firstLog.readAll();
    QVERIFY(!own.contains("[f1.rvt]"));
    if (!logLines.isEmpty())
        QCOMPARE(own, QByteArray("one\nProgress: 50%\n"));
}

void tst_ConversionController::executableLookup()
{
    const QDir appDir(QCoreApplication::applicationDirPath());
    const QString fake = appDir.filePath(u"kavantolibs/RvtExporter.exe"_s);
    ConverterInfo info = makeRevitConverterInfo(true);
    info.executable = u"OtherExporter-%1.exe"_s.arg(QCoreApplication::applicationPid());
    const QString beside = appDir.filePath(info.executable);
    const QString inLibs = appDir.filePath(u"kavantolibs/"_s + info.executable);
    const auto removeCopies = qScopeGuard([&] {
        QFile::remove(beside);
        QFile::remove(inLibs);
    });

    // Found nowhere: one log line names the path beside the program and the reason; no file
    // ends and the run waits for a stop.
    controller->setConverter(info);
    run({"exit 0\n"}, u"f1 f1"_s, false);
    QTRY_COMPARE(rec.logs.size(), 1);
    QCOMPARE(rec.logs.first(), u"[ERROR] Could not start the converter %1: the file does not exist."_s.arg(
                                   QDir::toNativeSeparators(beside)));
    QTest::qWait(200);
    QCOMPARE(rec.filtered(), QStringList{u"started 1/2 f1.rvt"_s});
    QVERIFY(controller->isRunning());
    controller->stop();
    QVERIFY(!controller->isRunning());

    // Beside the program it is used; in kavantolibs/ as well, the one there wins.
    QVERIFY(QFile::copy(fake, beside));
    QCOMPARE(ConversionController::resolveExecutable(info), beside);
    QVERIFY(QFile::copy(fake, inLibs));
    QCOMPARE(ConversionController::resolveExecutable(info), inLibs);
}

QTEST_GUILESS_MAIN(tst_ConversionController)
#include "tst_conversioncontroller.moc"
