#include "conversion/conversioncontroller.h"
#include "conversion/converteroutput.h"
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

// Everything the controller reports, in order. Log blocks appear as "log" in `events`,
// their text in `logs`.
struct Recorder
{
    QStringList events;
    QStringList logs;
    bool done = false;
    bool keepLogText = true;
    QList<qsizetype> logLineLengths;

    void attach(ConversionController *c)
    {
        const auto name = [](const QString &path) { return QFileInfo(path).fileName(); };
        QObject::connect(c, &ConversionController::fileStarted, c,
                         [=, this](int i, int total, const QString &f) {
                             events.append(u"started %1/%2 %3"_s.arg(i).arg(total).arg(name(f)));
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
            if (keepLogText) {
                logs.append(text);
            } else {
                for (const QStringView line : QStringView(text).split(u'\n'))
                    logLineLengths.append(line.size());
            }
        });
    }

    // The events without the log markers.
    QStringList signalsOnly() const { return events.filter(QRegularExpression(u"^(?!log$)"_s)); }
    QStringList filtered(const QString &prefix) const
    {
        return events.filter(QRegularExpression(u'^' + prefix));
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

    void signalOrder_data();
    void signalOrder();
    void crashCountsAsFailure();
    void backlogAtFinishIsRead();
    void destroyedWhileRunning();
    void overallPercent_data();
    void overallPercent();
    void logText_data();
    void logText();
    void logArrivesInBlocks();
    void skipCurrent();
    void stopIgnoresLateFinish();
    void removeFromQueue();
    void convertNext_data();
    void convertNext();
    void executableLookup();
    void converterThatCannotStart();
    void longLineWithoutBreak();
    void flood();

private:
    QString script(const QString &name, const QByteArray &content);
    QString path(const QString &name) const { return dir->filePath(name); }
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

QString tst_ConversionController::script(const QString &name, const QByteArray &content)
{
    QFile file(path(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write the script %s", qPrintable(file.fileName()));
    return file.fileName();
}

void tst_ConversionController::startFiles(const QStringList &names)
{
    QStringList files;
    for (const QString &n : names)
        files.append(path(n));
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

void tst_ConversionController::signalOrder_data()
{
    QTest::addColumn<QByteArrayList>("scripts");
    QTest::addColumn<QStringList>("expected");

    QTest::addRow("success")
        << QByteArrayList{"progress 50\nstage Exporting geometry\nstarted Writing\nexit 0\n"}
        << QStringList{u"started 1/1 f1.rvt"_s, u"progress 50 50"_s,   u"stage Exporting geometry"_s,
                       u"stage Writing"_s,      u"progress 100 100"_s, u"finished 1 0 f1.rvt"_s,
                       u"done 1 0 0"_s};
    QTest::addRow("failure: error before the final progress")
        << QByteArrayList{"progress 30\nexit 3\n"}
        << QStringList{u"started 1/1 f1.rvt"_s, u"progress 30 30"_s,      u"error 3 f1.rvt"_s,
                       u"progress 100 100"_s,   u"finished 1 3 f1.rvt"_s, u"done 0 1 0"_s};
    QTest::addRow("empty list") << QByteArrayList{} << QStringList{u"done 0 0 0"_s};
}

void tst_ConversionController::signalOrder()
{
    QFETCH(QByteArrayList, scripts);
    QFETCH(QStringList, expected);

    QStringList names;
    for (qsizetype i = 0; i < scripts.size(); ++i)
        names.append(QFileInfo(script(u"f%1.rvt"_s.arg(i + 1), scripts.at(i))).fileName());
    startFiles(names);
    QVERIFY(waitForDone());
    QCOMPARE(rec.signalsOnly(), expected);
    QVERIFY(!controller->isRunning());
    // Whatever was logged went out before allDone, and an empty run logs nothing at all.
    QCOMPARE(rec.events.last(), expected.last());
    QCOMPARE(rec.logs.isEmpty(), scripts.isEmpty());
}

void tst_ConversionController::crashCountsAsFailure()
{
    script(u"f1.rvt"_s, "progress 10\ncrash\n");
    startFiles({u"f1.rvt"_s});
    QVERIFY(waitForDone());
    // The fake converter aborts: SIGABRT (6) must not read as the converter's own code 6.
    const int code = 128 + 6;
    QCOMPARE(rec.filtered(u"finished"_s), QStringList{u"finished 1 %1 f1.rvt"_s.arg(code)});
    QCOMPARE(rec.filtered(u"error"_s), QStringList{u"error %1 f1.rvt"_s.arg(code)});
    QCOMPARE(rec.events.last(), u"done 0 1 0"_s);
}

void tst_ConversionController::overallPercent_data()
{
    QTest::addColumn<int>("files");
    QTest::addColumn<int>("index");
    QTest::addColumn<QByteArray>("progress");
    QTest::addColumn<int>("overall");
    QTest::addColumn<int>("filePercent");

    QTest::addRow("37.5%% on the 3rd of 4") << 4 << 3 << QByteArray("37.5") << 59 << 38;
    QTest::addRow("100%% on the last of 4 stays at 99") << 4 << 4 << QByteArray("100") << 99 << 100;
    QTest::addRow("150%% on the only file") << 1 << 1 << QByteArray("150") << 99 << 150;
}

void tst_ConversionController::overallPercent()
{
    QFETCH(int, files);
    QFETCH(int, index);
    QFETCH(QByteArray, progress);
    QFETCH(int, overall);
    QFETCH(int, filePercent);

    QStringList names;
    for (int i = 1; i <= files; ++i) {
        names.append(u"f%1.rvt"_s.arg(i));
        script(names.last(), i == index ? "progress " + progress + "\nexit 0\n" : "exit 0\n");
    }
    startFiles(names);
    QVERIFY(waitForDone());

    const QStringList events = rec.signalsOnly();
    const qsizetype started = events.indexOf(u"started %1/%2 f%1.rvt"_s.arg(index).arg(files));
    QVERIFY(started >= 0);
    QCOMPARE(events.value(started + 1), u"progress %1 %2"_s.arg(overall).arg(filePercent));

    // 100 overall comes once, from the last file's end, and never before.
    const QStringList progress100 = rec.filtered(u"progress 100 "_s);
    QCOMPARE(progress100, QStringList{u"progress 100 100"_s});
    QCOMPARE(events.indexOf(u"progress 100 100"_s), events.size() - 3);
}

void tst_ConversionController::logText_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<QStringList>("progress");
    const QStringList end{u"progress 100 100"_s};

    QTest::addRow("white space never logged, text trimmed")
        << QByteArray("print    \nprint \\t \\t\nprint   padded line  \nprint \\r\nexit 0\n")
        << u"padded line"_s << end;
    QTest::addRow("bare carriage return ends a line")
        << QByteArray("print first\\rsecond\\r\\rthird\nexit 0\n") << u"first\nsecond\nthird"_s << end;
    QTest::addRow("carriage-return progress drives progress and log")
        << QByteArray("crprogress 4\n") << u"Progress: 25%\nProgress: 50%\nProgress: 75%\nProgress: 100%"_s
        << QStringList{u"progress 25 25"_s, u"progress 50 50"_s, u"progress 75 75"_s, u"progress 99 100"_s,
                       u"progress 100 100"_s};
    QTest::addRow("invalid UTF-8 becomes replacement characters")
        << QByteArray("invalidutf8\n") << u"Invalid bytes: \uFFFD\uFFFD and \uFFFD( end"_s << end;
    QTest::addRow("standard error is merged")
        << QByteArray("print out\nstderr err\nprint back\n") << u"out\nerr\nback"_s << end;
    QTest::addRow("last line without a break is logged")
        << QByteArray("print done\nnobreak 5\n") << u"done\nxxxxx"_s << end;
}

void tst_ConversionController::logText()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, expected);
    QFETCH(QStringList, progress);
    script(u"f1.rvt"_s, content);
    startFiles({u"f1.rvt"_s});
    QVERIFY(waitForDone());
    QCOMPARE(rec.log(), expected);
    for (const QString &block : std::as_const(rec.logs)) {
        QVERIFY(!block.startsWith(u'\n'));
        QVERIFY(!block.endsWith(u'\n'));
    }
    QCOMPARE(rec.filtered(u"progress"_s), progress);
}

void tst_ConversionController::logArrivesInBlocks()
{
    QByteArray content;
    QStringList first;
    for (int i = 1; i <= 50; ++i) {
        content += "print line " + QByteArray::number(i) + '\n';
        first.append(u"line %1"_s.arg(i));
    }
    content += "sleep 400\nprint last\n";
    script(u"f1.rvt"_s, content);
    startFiles({u"f1.rvt"_s});
    QVERIFY(waitForDone());

    // The timer delivered the first lines while the converter still ran, in a few blocks
    // rather than one signal per line; everything came before allDone.
    const qsizetype finished = rec.events.indexOf(u"finished 1 0 f1.rvt"_s);
    QVERIFY2(rec.events.mid(0, finished).contains(u"log"_s), qPrintable(rec.events.join(u", ")));
    QVERIFY2(rec.logs.size() <= 6, qPrintable(rec.events.join(u", ")));
    QCOMPARE(rec.log(), first.join(u'\n') + u"\nlast"_s);
    QCOMPARE(rec.logs.last(), u"last"_s);
    QCOMPARE(rec.events.last(), u"done 1 0 0"_s);
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
    // A finished signal that arrives after the stop changes nothing.
    controller->onProcessFinished(0, QProcess::NormalExit);
    controller->stop();
    controller->skipCurrent();
    QTest::qWait(300);
    QCOMPARE(rec.events, (QStringList{u"started 1/2 f1.rvt"_s, u"progress 5 10"_s, u"log"_s}));
    QCOMPARE(rec.log(), u"Progress: 10%"_s);
}

void tst_ConversionController::removeFromQueue()
{
    script(u"f1.rvt"_s, "exit 0\n");
    script(u"f2.rvt"_s, "exit 0\n");
    script(u"f3.rvt"_s, "exit 0\n");
    // Removing while the first file runs: both copies of f2 go; the running f1 is untouched.
    connect(controller.get(), &ConversionController::fileStarted, this, [this](int index) {
        if (index == 1) {
            controller->removeFromQueue(path(u"f2.rvt"_s));
            controller->removeFromQueue(path(u"f1.rvt"_s));
        }
    });
    startFiles({u"f1.rvt"_s, u"f2.rvt"_s, u"f3.rvt"_s, u"f2.rvt"_s});
    QVERIFY(waitForDone());
    QCOMPARE(rec.signalsOnly(),
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
            controller->convertNext(path(target));
        }
    });
    startFiles(files);
    QVERIFY(waitForDone());

    QCOMPARE(rec.filtered(u"started"_s), expectedStarts);
    const qsizetype count = expectedStarts.size();
    QCOMPARE(rec.events.last(), u"done %1 0 0"_s.arg(count));
    // However the total grew, overall progress reached 100 only with the last file's end.
    const QStringList progress = rec.filtered(u"progress"_s);
    for (qsizetype i = 0; i + 1 < progress.size(); ++i)
        QVERIFY2(!progress.at(i).startsWith(u"progress 100 "), qPrintable(progress.join(u", ")));
    QCOMPARE(progress.last(), u"progress 100 100"_s);
}

void tst_ConversionController::executableLookup()
{
    const QDir appDir(QCoreApplication::applicationDirPath());
    const QString fake = appDir.filePath(u"kavantolibs/RvtExporter.exe"_s);
    QVERIFY2(QFileInfo(fake).isExecutable(), qPrintable(fake));
    QCOMPARE(ConversionController::resolveExecutable(makeRevitConverterInfo(true)), fake);

    // A converter beside the program is used when kavantolibs/ has none.
    ConverterInfo info = makeRevitConverterInfo(true);
    info.executable = u"FallbackExporter-%1.exe"_s.arg(QCoreApplication::applicationPid());
    const QString beside = appDir.filePath(info.executable);
    const QString inLibs = appDir.filePath(u"kavantolibs/"_s + info.executable);
    filesToRemove << beside << inLibs;
    QVERIFY(QFile::copy(fake, beside));
    QCOMPARE(ConversionController::resolveExecutable(info), beside);

    controller->setConverter(info);
    script(u"f1.rvt"_s, "print from beside\nexit 0\n");
    startFiles({u"f1.rvt"_s});
    QVERIFY(waitForDone());
    QCOMPARE(rec.signalsOnly().last(), u"done 1 0 0"_s);
    QCOMPARE(rec.log(), u"from beside"_s);

    // With both present, kavantolibs/ wins.
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
    QCOMPARE(rec.logs.first(), u"[ERROR] Could not start the converter %1: %2."_s.arg(
                                   QDir::toNativeSeparators(program), u"the file does not exist"_s));
    QTest::qWait(200);
    QCOMPARE(rec.signalsOnly(), QStringList{u"started 1/2 f1.rvt"_s});
    QVERIFY(controller->isRunning());
    controller->stop();
    QVERIFY(!controller->isRunning());
}

void tst_ConversionController::longLineWithoutBreak()
{
    constexpr qsizetype total = 50 * 1024 * 1024;
    constexpr qsizetype piece = 1024 * 1024;
    script(u"f1.rvt"_s, "nobreak " + QByteArray::number(total) + "\n");
    rec.keepLogText = false;
    startFiles({u"f1.rvt"_s});
    QVERIFY(waitForDone(60000));
    QCOMPARE(rec.signalsOnly().last(), u"done 1 0 0"_s);

    // Nothing is lost, and no piece is longer than 1 MiB.
    qsizetype sum = 0;
    for (const qsizetype length : std::as_const(rec.logLineLengths)) {
        QVERIFY2(length <= piece, qPrintable(QString::number(length)));
        sum += length;
    }
    QCOMPARE(sum, total);
    QCOMPARE(rec.logLineLengths.size(), total / piece);
}

void tst_ConversionController::flood()
{
    constexpr int lines = 200000;
    script(u"f1.rvt"_s, "flood " + QByteArray::number(lines) + "\n");
    int progressCount = 0;
    int stageCount = 0;
    int lastPercent = -1;
    bool ordered = true;
    connect(controller.get(), &ConversionController::progressUpdated, this, [&](int, int file) {
        ++progressCount;
        ordered = ordered && file >= lastPercent;
        lastPercent = file;
    });
    connect(controller.get(), &ConversionController::stageChanged, this, [&] { ++stageCount; });
    rec.keepLogText = false;
    startFiles({u"f1.rvt"_s});
    QVERIFY(waitForDone(60000));

    QCOMPARE(rec.logLineLengths.size(), lines);
    QCOMPARE(progressCount, lines / 10 + 1); // one per tenth line, and the file's end
    QCOMPARE(stageCount, lines / 100);
    QVERIFY(ordered);
    QCOMPARE(rec.signalsOnly().last(), u"done 1 0 0"_s);
}

void tst_ConversionController::backlogAtFinishIsRead()
{
    // The converter fills a large pipe and ends while the GUI thread is busy, so its end
    // arrives with far more output unread than one read takes: all of it must still be
    // logged before the file is reported.
    constexpr int lines = 12000;
    script(u"f1.rvt"_s, "pipesize 1048576\nflood " + QByteArray::number(lines) + "\n");
    connect(controller.get(), &ConversionController::fileStarted, this, [] { QThread::msleep(500); });
    rec.keepLogText = false;
    startFiles({u"f1.rvt"_s});
    QVERIFY(waitForDone());
    QCOMPARE(rec.logLineLengths.size(), lines);
    QCOMPARE(rec.signalsOnly().last(), u"done 1 0 0"_s);
}

void tst_ConversionController::destroyedWhileRunning()
{
    script(u"f1.rvt"_s, "hang\n");
    startFiles({u"f1.rvt"_s});
    QTRY_COMPARE(runningChildProcesses().size(), 1);
    // Destruction kills the converter quietly: no warning, no signal, no child left.
    controller.reset();
    QVERIFY(runningChildProcesses().isEmpty());
    QCOMPARE(rec.signalsOnly(), QStringList{u"started 1/1 f1.rvt"_s});
}

QTEST_GUILESS_MAIN(tst_ConversionController)
#include "tst_conversioncontroller.moc"
