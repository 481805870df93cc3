#include "conversion/conversioncontroller.h"
#include "testsupport/childprocesses.h"

#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

// Everything the controller reports, in order, as "started 1/2 f1.rvt" and the like; a log
// block shows as "log" in `events` and its text in `logs`.
struct Recorder
{
    QStringList events;
    QStringList logs;
    bool done = false;
    bool keepLogText = true; // false: only the line lengths, for outputs too large to keep
    QList<qsizetype> logLineLengths;

    void attach(ConversionController *c)
    {
        const auto name = [](const QString &path) { return QFileInfo(path).fileName(); };
        QObject::connect(c, &ConversionController::fileStarted, c, [=, this](int i, int n, const QString &f) {
            events.append(u"started %1/%2 %3"_s.arg(i).arg(n).arg(name(f)));
        });
        QObject::connect(c, &ConversionController::fileFinished, c,
                         [=, this](int i, int code, const QString &f) {
                             events.append(u"finished %1 %2 %3"_s.arg(i).arg(code).arg(name(f)));
                         });
        QObject::connect(c, &ConversionController::progressUpdated, c, [this](int overall, int file) {
            events.append(u"progress %1 %2"_s.arg(overall).arg(file));
        });
        QObject::connect(c, &ConversionController::stageChanged, c,
                         [this](const QString &stage) { events.append(u"stage "_s + stage); });
        QObject::connect(c, &ConversionController::errorOccurred, c, [this](int code, const QString &file) {
            events.append(u"error %1 %2"_s.arg(code).arg(file));
        });
        QObject::connect(c, &ConversionController::allDone, c, [this](int s, int f, int k) {
            events.append(u"done %1 %2 %3"_s.arg(s).arg(f).arg(k));
            done = true;
        });
        QObject::connect(c, &ConversionController::logOutput, c, [this](const QString &text) {
            events.append(u"log"_s);
            if (keepLogText)
                logs.append(text);
            else
                for (const QStringView line : QStringView(text).split(u'\n'))
                    logLineLengths.append(line.size());
        });
    }

    QStringList filtered(const QString &prefix) const
    {
        return events.filter(QRegularExpression(prefix.isEmpty() ? u"^(?!log$)"_s : u'^' + prefix));
    }
    QString log() const { return logs.join(u'\n'); }
};

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
    void longLineWithoutBreak();
    void skipCurrent();
    void stopIgnoresLateFinish();
    void destroyedWhileRunning();
    void removeFromQueue();
    void convertNext_data();
    void convertNext();
    void executableLookup();
    void converterThatCannotStart();

private:
    void script(const QString &name, const QByteArray &content);
    void startFiles(const QStringList &names);
    bool waitForDone(int timeoutMs = 20000);

    std::unique_ptr<QTemporaryDir> dir;
    std::unique_ptr<ConversionController> controller;
    Recorder rec;
    QStringList filesToRemove;
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
    controller.reset();
    dir.reset();
    for (const QString &file : std::as_const(filesToRemove))
        QFile::remove(file);
    filesToRemove.clear();
}

// The fake converter runs its input file as a script (see fakeconverter/main.cpp).
void tst_ConversionController::script(const QString &name, const QByteArray &content)
{
    QFile file(dir->filePath(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write the script %s", qPrintable(file.fileName()));
}

void tst_ConversionController::startFiles(const QStringList &names)
{
    QStringList files;
    for (const QString &n : names)
        files.append(dir->filePath(n));
    controller->start(files, ConversionOptions{}, QString());
}

bool tst_ConversionController::waitForDone(int timeoutMs)
{
    // A real event loop, not qWaitFor: that one sleeps between passes, which would throttle
    // the reading of a large output to a crawl.
    if (!rec.done) {
        QEventLoop loop;
        QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
        connect(controller.get(), &ConversionController::allDone, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return rec.done;
}

void tst_ConversionController::runs_data()
{
    QTest::addColumn<QByteArrayList>("scripts"); // one per file, f1.rvt, f2.rvt, ...
    QTest::addColumn<QString>("prefix");         // the events compared; empty: all but the log
    QTest::addColumn<QString>("events");
    QTest::addColumn<QString>("log"); // null: not compared
    const QString end = u"progress 100 100"_s;
    QTest::addRow("success")
        << QByteArrayList{"progress 50\nstage Exporting geometry\nstarted Writing\nexit 0\n"} << QString()
        << u"started 1/1 f1.rvt, progress 50 50, stage Exporting geometry, stage Writing, "
           "progress 100 100, finished 1 0 f1.rvt, done 1 0 0"_s
        << u"Progress: 50%\n[Stage] Exporting geometry\n---- Started Writing ..."_s;
    QTest::addRow("failure: error before the final progress")
        << QByteArrayList{"progress 30\nexit 3\n"} << QString()
        << u"started 1/1 f1.rvt, progress 30 30, error 3 f1.rvt, progress 100 100, finished 1 3 f1.rvt, done 0 1 0"_s
        << QString();
    // The fake converter aborts: SIGABRT (6) must not read as the converter's own code 6.
    QTest::addRow("crash counts as 128 + signal")
        << QByteArrayList{"progress 10\ncrash\n"} << QString()
        << u"started 1/1 f1.rvt, progress 10 10, error 134 f1.rvt, progress 100 100, finished 1 134 f1.rvt, "
           "done 0 1 0"_s
        << QString();
    QTest::addRow("empty list") << QByteArrayList{} << QString() << u"done 0 0 0"_s << u""_s;
    // Overall progress counts finished files plus the current one's share, and reaches 100
    // only with the last file's end.
    QTest::addRow("37.5%% on the 3rd of 4")
        << QByteArrayList{"exit 0\n", "exit 0\n", "progress 37.5\nexit 0\n", "exit 0\n"} << u"progress"_s
        << u"progress 25 100, progress 50 100, progress 59 38, progress 75 100, progress 100 100"_s
        << QString();
    QTest::addRow("150%% on the only file stays below 100 overall")
        << QByteArrayList{"progress 150\nexit 0\n"} << u"progress"_s << u"progress 99 150, progress 100 100"_s
        << QString();
    QTest::addRow("white space never logged, text trimmed")
        << QByteArrayList{"print    \nprint \\t \\t\nprint   padded line  \nprint \\r\nexit 0\n"}
        << u"progress"_s << end << u"padded line"_s;
    QTest::addRow("bare carriage return ends a line")
        << QByteArrayList{"print first\\rsecond\\r\\rthird\nexit 0\n"} << u"progress"_s << end
        << u"first\nsecond\nthird"_s;
    QTest::addRow("carriage-return progress drives progress and log")
        << QByteArrayList{"crprogress 4\n"} << u"progress"_s
        << u"progress 25 25, progress 50 50, progress 75 75, progress 99 100, progress 100 100"_s
        << u"Progress: 25%\nProgress: 50%\nProgress: 75%\nProgress: 100%"_s;
    QTest::addRow("invalid UTF-8 becomes replacement characters")
        << QByteArrayList{"invalidutf8\n"} << u"progress"_s << end
        << u"Invalid bytes: \uFFFD\uFFFD and \uFFFD( end"_s;
    QTest::addRow("standard error is merged") << QByteArrayList{"print out\nstderr err\nprint back\n"}
                                              << u"progress"_s << end << u"out\nerr\nback"_s;
    QTest::addRow("last line without a break is logged")
        << QByteArrayList{"print done\nnobreak 5\n"} << u"progress"_s << end << u"done\nxxxxx"_s;
}

void tst_ConversionController::runs()
{
    QFETCH(QByteArrayList, scripts);
    QFETCH(QString, prefix);
    QFETCH(QString, events);
    QFETCH(QString, log);
    QStringList names;
    for (qsizetype i = 0; i < scripts.size(); ++i) {
        names.append(u"f%1.rvt"_s.arg(i + 1));
        script(names.last(), scripts.at(i));
    }
    startFiles(names);
    QVERIFY(waitForDone());
    QCOMPARE(rec.filtered(prefix).join(u", "), events);
    QVERIFY(!controller->isRunning());
    // Whatever was logged went out before allDone, in blocks without empty edges.
    QVERIFY(rec.events.last().startsWith(u"done "_s));
    if (!log.isNull())
        QCOMPARE(rec.log(), log);
    for (const QString &block : std::as_const(rec.logs))
        QVERIFY(!block.isEmpty() && !block.startsWith(u'\n') && !block.endsWith(u'\n'));
}

void tst_ConversionController::backlogAtFinishIsRead()
{
    // The converter fills a large pipe and ends while the GUI thread is busy, so its end
    // arrives with far more output unread than one read takes: all of it must still be
    // read, in order, before the file is reported.
    constexpr int lines = 12000;
    script(u"f1.rvt"_s, "pipesize 1048576\nflood " + QByteArray::number(lines) + "\n");
    connect(controller.get(), &ConversionController::fileStarted, this, [] { QThread::msleep(500); });
    int lastPercent = -1;
    bool ordered = true;
    connect(controller.get(), &ConversionController::progressUpdated, this, [&](int, int file) {
        ordered = ordered && file >= lastPercent;
        lastPercent = file;
    });
    rec.keepLogText = false;
    startFiles({u"f1.rvt"_s});
    QVERIFY(waitForDone());
    QCOMPARE(rec.logLineLengths.size(), lines);
    // The log goes out in blocks, not one signal per line.
    QVERIFY2(rec.events.count(u"log"_s) < 100, qPrintable(QString::number(rec.events.count(u"log"_s))));
    QCOMPARE(rec.filtered(u"progress"_s).size(), lines / 10 + 1); // one per tenth line, and the file's end
    QCOMPARE(rec.filtered(u"stage"_s).size(), lines / 100);
    QVERIFY(ordered);
    QCOMPARE(rec.events.last(), u"done 1 0 0"_s);
}

void tst_ConversionController::longLineWithoutBreak()
{
    constexpr qsizetype total = 50 * 1024 * 1024;
    constexpr qsizetype piece = 1024 * 1024;
    script(u"f1.rvt"_s, "nobreak " + QByteArray::number(total) + "\n");
    rec.keepLogText = false;
    startFiles({u"f1.rvt"_s});
    QVERIFY(waitForDone(60000));
    QCOMPARE(rec.events.last(), u"done 1 0 0"_s);
    // Nothing is lost, and no piece is longer than 1 MiB.
    qsizetype sum = 0;
    for (const qsizetype length : std::as_const(rec.logLineLengths)) {
        QVERIFY2(length <= piece, qPrintable(QString::number(length)));
        sum += length;
    }
    QCOMPARE(sum, total);
    QCOMPARE(rec.logLineLengths.size(), total / piece);
}

void tst_ConversionController::skipCurrent()
{
    script(u"f1.rvt"_s, "print Progress: 40%\\nstill here\nhang\n");
    script(u"f2.rvt"_s, "exit 0\n");
    // The user's click arrives as its own event, after the progress line was shown.
    connect(controller.get(), &ConversionController::progressUpdated, this, [this](int, int file) {
        if (file == 40)
            QTimer::singleShot(50, controller.get(), &ConversionController::skipCurrent);
    });
    startFiles({u"f1.rvt"_s, u"f2.rvt"_s});
    QVERIFY(waitForDone());
    QCOMPARE(rec.events,
             (QStringList{u"started 1/2 f1.rvt"_s, u"progress 20 40"_s, u"log"_s, u"progress 50 100"_s,
                          u"finished 1 -3 f1.rvt"_s, u"started 2/2 f2.rvt"_s, u"progress 100 100"_s,
                          u"finished 2 0 f2.rvt"_s, u"done 1 0 1"_s}));
    QCOMPARE(rec.logs.first(), u"Progress: 40%\nstill here"_s);
}

void tst_ConversionController::stopIgnoresLateFinish()
{
    script(u"f1.rvt"_s, "progress 10\nhang\n");
    script(u"f2.rvt"_s, "exit 0\n");
    connect(controller.get(), &ConversionController::progressUpdated, this, [this](int, int file) {
        if (file == 10)
            QTimer::singleShot(50, controller.get(), &ConversionController::stop);
    });
    startFiles({u"f1.rvt"_s, u"f2.rvt"_s});
    QTRY_VERIFY(!controller->isRunning());
    // A finished signal that arrives after the stop changes nothing, nor do further clicks.
    controller->onProcessFinished(0, QProcess::NormalExit);
    controller->stop();
    controller->skipCurrent();
    QTest::qWait(300);
    QCOMPARE(rec.events, (QStringList{u"started 1/2 f1.rvt"_s, u"progress 5 10"_s, u"log"_s}));
    QCOMPARE(rec.log(), u"Progress: 10%"_s);
}

void tst_ConversionController::destroyedWhileRunning()
{
    script(u"f1.rvt"_s, "hang\n");
    startFiles({u"f1.rvt"_s});
    QTRY_COMPARE(runningChildProcesses().size(), 1);
    // Destruction kills the converter quietly: no warning, no signal, no child left.
    controller.reset();
    QVERIFY(runningChildProcesses().isEmpty());
    QCOMPARE(rec.events, QStringList{u"started 1/1 f1.rvt"_s});
}

void tst_ConversionController::removeFromQueue()
{
    for (const QString &name : {u"f1.rvt"_s, u"f2.rvt"_s, u"f3.rvt"_s})
        script(name, "exit 0\n");
    // Removing while the first file runs: both copies of f2 go; the running f1 is untouched.
    connect(controller.get(), &ConversionController::fileStarted, this, [this](int index) {
        if (index == 1) {
            controller->removeFromQueue(dir->filePath(u"f2.rvt"_s));
            controller->removeFromQueue(dir->filePath(u"f1.rvt"_s));
        }
    });
    startFiles({u"f1.rvt"_s, u"f2.rvt"_s, u"f3.rvt"_s, u"f2.rvt"_s});
    QVERIFY(waitForDone());
    QCOMPARE(rec.filtered({}),
             (QStringList{u"started 1/4 f1.rvt"_s, u"progress 50 100"_s, u"finished 1 0 f1.rvt"_s,
                          u"started 2/2 f3.rvt"_s, u"progress 100 100"_s, u"finished 2 0 f3.rvt"_s,
                          u"done 2 0 0"_s}));
}

void tst_ConversionController::convertNext_data()
{
    QTest::addColumn<QStringList>("files");
    // The file whose start triggers convertNext; its own fileStarted still shows the old total.
    QTest::addColumn<int>("triggerIndex");
    QTest::addColumn<QString>("target");
    QTest::addColumn<QStringList>("expectedStarts");
    QTest::addRow("queued file moves to the front, runs once")
        << QStringList{u"f1.rvt"_s, u"f2.rvt"_s, u"f3.rvt"_s} << 1 << u"f3.rvt"_s
        << QStringList{u"started 1/3 f1.rvt"_s, u"started 2/3 f3.rvt"_s, u"started 3/3 f2.rvt"_s};
    QTest::addRow("finished file is added and counted")
        << QStringList{u"f1.rvt"_s, u"f2.rvt"_s} << 2 << u"f1.rvt"_s
        << QStringList{u"started 1/2 f1.rvt"_s, u"started 2/2 f2.rvt"_s, u"started 3/3 f1.rvt"_s};
    QTest::addRow("new file during the last one")
        << QStringList{u"f1.rvt"_s} << 1 << u"f9.rvt"_s
        << QStringList{u"started 1/1 f1.rvt"_s, u"started 2/2 f9.rvt"_s};
}

void tst_ConversionController::convertNext()
{
    QFETCH(QStringList, files);
    QFETCH(int, triggerIndex);
    QFETCH(QString, target);
    QFETCH(QStringList, expectedStarts);
    for (const QString &name : {u"f1.rvt"_s, u"f2.rvt"_s, u"f3.rvt"_s, u"f9.rvt"_s})
        script(name, "progress 100\nexit 0\n");
    bool triggered = false;
    connect(controller.get(), &ConversionController::fileStarted, this, [&, this](int index) {
        if (index == triggerIndex && !triggered) {
            triggered = true;
            controller->convertNext(dir->filePath(target));
        }
    });
    startFiles(files);
    QVERIFY(waitForDone());
    QCOMPARE(rec.filtered(u"started"_s), expectedStarts);
    QCOMPARE(rec.events.last(), u"done %1 0 0"_s.arg(expectedStarts.size()));
    // However the total grew, overall progress reached 100 only with the last file's end.
    const QStringList progress = rec.filtered(u"progress"_s);
    QCOMPARE(progress.filter(u"progress 100 "_s), QStringList{progress.last()});
    QCOMPARE(progress.last(), u"progress 100 100"_s);
}

void tst_ConversionController::executableLookup()
{
    const QDir appDir(QCoreApplication::applicationDirPath());
    const QString fake = appDir.filePath(u"kavantolibs/RvtExporter.exe"_s);
    QCOMPARE(ConversionController::resolveExecutable(makeRevitConverterInfo(true)), fake);
    // A converter beside the program is used when kavantolibs/ has none (the run uses the
    // same lookup: see converterThatCannotStart)...
    ConverterInfo info = makeRevitConverterInfo(true);
    info.executable = u"FallbackExporter-%1.exe"_s.arg(QCoreApplication::applicationPid());
    const QString beside = appDir.filePath(info.executable);
    const QString inLibs = appDir.filePath(u"kavantolibs/"_s + info.executable);
    filesToRemove << beside << inLibs;
    QVERIFY(QFile::copy(fake, beside));
    QCOMPARE(ConversionController::resolveExecutable(info), beside);
    // ...and with both present, kavantolibs/ wins.
    QVERIFY(QFile::copy(fake, inLibs));
    QCOMPARE(ConversionController::resolveExecutable(info), inLibs);
}

void tst_ConversionController::converterThatCannotStart()
{
    ConverterInfo info = makeRevitConverterInfo(true);
    info.executable = u"BrokenExporter-%1.exe"_s.arg(QCoreApplication::applicationPid());
    const QString program = QDir(QCoreApplication::applicationDirPath()).filePath(info.executable);
    controller->setConverter(info);
    script(u"f1.rvt"_s, "exit 0\n");
    startFiles({u"f1.rvt"_s, u"f1.rvt"_s});
    // One log line names the path and the reason; no file ends and the run waits for a stop.
    QTRY_COMPARE(rec.logs.size(), 1);
    QCOMPARE(rec.logs.first(), u"[ERROR] Could not start the converter %1: the file does not exist."_s.arg(
                                   QDir::toNativeSeparators(program)));
    QTest::qWait(200);
    QCOMPARE(rec.filtered({}), QStringList{u"started 1/2 f1.rvt"_s});
    QVERIFY(controller->isRunning());
    controller->stop();
    QVERIFY(!controller->isRunning());
}

QTEST_GUILESS_MAIN(tst_ConversionController)
#include "tst_conversioncontroller.moc"
