// What keeps a batch trustworthy overnight: the checks before it runs, the journal that
// survives a kill, the stall watchdog, each file's log and the report, and the window's
// resume offer and refusal, all against the fake converter.

#include "app/mainwindow.h"
#include "common/dialogs.h"
#include "common/settingskeys.h"
#include "conversion/batchjournal.h"
#include "conversion/batchrecorder.h"
#include "conversion/conversioncontroller.h"
#include "conversion/preflight.h"
#include "options/outputpanel.h"
#include "progress/batchpanel.h"
#include "testsupport/testfiles.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

class tst_BatchRecord : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void preflight_data();
    void preflight();
    void killedBatchResumesTheRest();
    void stallIsReportedAndSkipped();
    void logsAndReportAfterAFailure();
    void windowRefusesAndResumes();

private:
    QString write(const QString &relative, const QByteArray &text);

    std::unique_ptr<QTemporaryDir> dir;
    const ConverterInfo info = makeRevitConverterInfo(true);
};

void tst_BatchRecord::init()
{
    dir = std::make_unique<QTemporaryDir>();
}

QString tst_BatchRecord::write(const QString &relative, const QByteArray &text)
{
    return writeTestFile(dir->path(), relative, text);
}

void tst_BatchRecord::preflight_data()
{
    // Names stand for files the test makes; "out" is a writable folder, "blocked" a path below
    // a plain file, "converter" the fake converter, "gone" a converter that does not exist.
    QTest::addColumn<QStringList>("files");
    QTest::addColumn<QString>("output");
    QTest::addColumn<QString>("converter");
    QTest::addColumn<bool>("upToDate");
    QTest::addColumn<QStringList>("kinds");
    QTest::addColumn<bool>("refused");
    QTest::addColumn<int>("toRun");
    QTest::addRow("clean") << QStringList{u"A/House.rvt"_s, u"A/Shed.rvt"_s} << u"out"_s << u"converter"_s
                           << false << QStringList() << false << 2;
    QTest::addRow("same name in two folders")
        << QStringList{u"A/House.rvt"_s, u"B/House.rvt"_s} << u"out"_s << u"converter"_s << false
        << QStringList{u"SameOutput"_s} << true << 2;
    QTest::addRow("names differing in case")
        << QStringList{u"A/House.rvt"_s, u"A/HOUSE.rvt"_s} << u"out"_s << u"converter"_s << false
        << QStringList{u"SameOutput"_s} << true << 2;
    QTest::addRow("beside the inputs, no clash")
        << QStringList{u"A/House.rvt"_s, u"B/House.rvt"_s} << QString() << u"converter"_s << false
        << QStringList() << false << 2;
    QTest::addRow("unwritable output") << QStringList{u"A/House.rvt"_s} << u"blocked"_s << u"converter"_s
                                       << false << QStringList{u"OutputNotWritable"_s} << true << 1;
    QTest::addRow("missing input left out")
        << QStringList{u"A/House.rvt"_s, u"A/Gone.rvt"_s} << u"out"_s << u"converter"_s << false
        << QStringList{u"MissingInput"_s} << false << 1;
    QTest::addRow("converter missing") << QStringList{u"A/House.rvt"_s} << u"out"_s << u"gone"_s << false
                                       << QStringList{u"ConverterUnusable"_s} << true << 1;
    QTest::addRow("up to date skipped") << QStringList{u"A/House.rvt"_s, u"A/Shed.rvt"_s} << u"out"_s
                                        << u"converter"_s << true << QStringList{u"UpToDate"_s} << false << 1;
}

void tst_BatchRecord::preflight()
{
    QFETCH(QStringList, files);
    QFETCH(QString, output);
    QFETCH(QString, converter);
    QFETCH(bool, upToDate);
    QFETCH(QStringList, kinds);
    QFETCH(bool, refused);
    QFETCH(int, toRun);
    PreflightInput input;
    input.converter = info;
    input.converterPath =
        converter == u"gone" ? dir->filePath(u"none.exe"_s) : ConversionController::resolveExecutable(info);
    for (const QString &file : files)
        input.files.append(file.contains(u"Gone"_s) ? dir->filePath(file) : write(file, "x"));
    write(u"blocked"_s, "a file");
    QDir().mkpath(dir->filePath(u"out"_s));
    input.outputDir =
        output.isEmpty() ? QString() : dir->filePath(output == u"blocked" ? u"blocked/sub"_s : output);
    input.skipUpToDate = upToDate;
    if (upToDate) {
        // House's results are newer than House; Shed has none.
        QTest::qWait(20);
        ConversionOptions options;
        options.inputPath = input.files.first();
        for (const QString &result : expectedOutputFiles(info, options, input.outputDir))
            write(QDir(dir->path()).relativeFilePath(result), "result");
    }
    const PreflightResult result = Preflight::check(input);
    QStringList found;
    const char *const names[] = {"SameOutput",   "OutputNotWritable", "LowSpace",
                                 "MissingInput", "ConverterUnusable", "UpToDate"};
    for (const PreflightFinding &finding : result.findings)
        found.append(QString::fromLatin1(names[int(finding.kind)]));
    QCOMPARE(found, kinds);
    QCOMPARE(result.refused(), refused);
    QCOMPARE(result.filesToRun.size(), toRun);
}

void tst_BatchRecord::killedBatchResumesTheRest()
{
    const QStringList files{write(u"a.rvt"_s, "progress 100\n"), write(u"b.rvt"_s, "sleep 20000\n"),
                            write(u"c.rvt"_s, "progress 100\n")};
    const QString root = dir->filePath(u"batches"_s);
    QProcess runner;
    runner.start(QDir(QCoreApplication::applicationDirPath()).filePath(u"batchrunner"_s),
                 QStringList{root, dir->filePath(u"out"_s)} + files);
    QVERIFY(runner.waitForStarted());
    // Killed while b runs: a is done, b and c are not.
    QVERIFY(QTest::qWaitFor(
        [&] {
            const std::optional<BatchState> state = BatchJournal::findInterrupted(root);
            return state && state->finished.contains(files.at(0));
        },
        10000));
    runner.kill();
    QVERIFY(runner.waitForFinished());

    const std::optional<BatchState> state = BatchJournal::findInterrupted(root);
    QVERIFY(state);
    QCOMPARE(state->remaining(), (QStringList{files.at(1), files.at(2)}));
    QCOMPARE(state->batch.outputDir, dir->filePath(u"out"_s));
    // A torn last line, as a power cut leaves it, changes nothing; once discarded, nothing is offered.
    QFile journal(state->journalPath);
    QVERIFY(journal.open(QIODevice::Append));
    journal.write("{\"finished\":\"");
    journal.close();
    QCOMPARE(BatchJournal::findInterrupted(root)->remaining(), state->remaining());
    BatchJournal::discard(state->journalPath);
    QVERIFY(!BatchJournal::findInterrupted(root));
}

void tst_BatchRecord::stallIsReportedAndSkipped()
{
    ConversionController controller;
    controller.setConverter(info);
    controller.setStallLimit(1000, ConversionController::StallAction::Skip);
    QString log;
    connect(&controller, &ConversionController::logOutput, this,
            [&](const QString &text) { log += text + u'\n'; });
    QSignalSpy finished(&controller, &ConversionController::fileFinished);
    QSignalSpy done(&controller, &ConversionController::allDone);
    controller.start({write(u"quiet.rvt"_s, "print hello\nsleep 20000\n")}, ConversionOptions{}, dir->path());
    QVERIFY(done.wait(8000));
    QVERIFY2(log.contains(u"[WARNING] quiet.rvt has printed nothing for 1 second"_s), qPrintable(log));
    QCOMPARE(finished.first().at(1).toInt(), ExitMarker::Skipped);
}

void tst_BatchRecord::logsAndReportAfterAFailure()
{
    ConversionController controller;
    controller.setConverter(info);
    BatchRecorder recorder(&controller);
    const QStringList files{write(u"good.rvt"_s, "print \\e[32mgreen\\e[0m line\nprogress 100\n"),
                            write(u"bad.rvt"_s, "error broken model\nexit 2\n")};
    QVERIFY(recorder.begin(dir->filePath(u"batches"_s), info, {info.id, dir->path(), {}, files}));
    QSignalSpy written(&recorder, &BatchRecorder::reportWritten);
    controller.start(files, ConversionOptions{}, dir->path());
    QVERIFY(written.wait(10000));

    QFile csv(recorder.reportPath());
    QVERIFY(csv.open(QIODevice::ReadOnly));
    const QList<BatchReportRow> rows = BatchReport::fromCsv(csv.readAll());
    QCOMPARE(rows.size(), 2);
    QCOMPARE(rows.at(0).status, u"Done"_s);
    QCOMPARE(rows.at(0).outputs.size(), 2);
    QCOMPARE(rows.at(1).status, u"Failed"_s);
    QCOMPARE(rows.at(1).exitCode, 2);
    QCOMPARE(rows.at(1).message, exitCodeMessage(2));
    QFile good(rows.at(0).logFile);
    QVERIFY(good.open(QIODevice::ReadOnly));
    const QByteArray goodLog = good.readAll();
    QVERIFY2(goodLog.contains("green line") && !goodLog.contains('\x1b'), goodLog.constData());
    QFile bad(rows.at(1).logFile);
    QVERIFY(bad.open(QIODevice::ReadOnly) && bad.readAll().contains("broken model"));
    QVERIFY(QFile::exists(QDir(recorder.folder()).filePath(u"report.json"_s)));
    // The batch ended: nothing is offered for resuming.
    QVERIFY(!BatchJournal::findInterrupted(dir->filePath(u"batches"_s)));
}

void tst_BatchRecord::windowRefusesAndResumes()
{
    qputenv("KVT_UPDATE_HOST", "https://127.0.0.1:9");
    QSettings settings(dir->filePath(u"settings.ini"_s), QSettings::IniFormat);
    settings.setValue(SettingsKeys::autoCheckUpdates(), false);
    Dialogs dialogs;
    dialogs.setScripted();
    MainWindow window(info, &settings, &dialogs);
    const QString root = dir->filePath(u"batches"_s);
    window.setBatchRoot(root);
    auto *batch = window.findChild<BatchPanel *>();

    // Two files that would write the same results: refused, nothing starts.
    window.openPaths({write(u"A/House.rvt"_s, "progress 100\n"), write(u"B/House.rvt"_s, "progress 100\n")});
    window.findChild<OutputPanel *>()->setOutputDir(dir->filePath(u"out"_s));
    window.onStartRequested();
    const QList<Dialogs::Request> asked = dialogs.requestsOf(Dialogs::Kind::Choice);
    QCOMPARE(asked.size(), 1);
    QCOMPARE(asked.first().choices, QStringList{u"Go Back"_s});
    QVERIFY(!window.isRunning());
    // Once one of them is gone there is no clash: it is left out and the other runs.
    QVERIFY(QFile::remove(dir->filePath(u"B/House.rvt"_s)));
    dialogs.setNextChoice(0);
    window.onStartRequested();
    QCOMPARE(dialogs.requestsOf(Dialogs::Kind::Choice).last().choices,
             (QStringList{u"Continue"_s, u"Go Back"_s}));
    QTRY_VERIFY_WITH_TIMEOUT(!window.isRunning(), 10000);
    QCOMPARE(batch->activeFiles(), QFileInfoList{QFileInfo(dir->filePath(u"A/House.rvt"_s))});
    QCOMPARE(batch->statusOf(0), FileStatus::Done);

    // An interrupted batch is offered once; Resume runs only what had not finished.
    const QStringList files{write(u"a.rvt"_s, "progress 100\n"), write(u"b.rvt"_s, "progress 100\n")};
    {
        BatchJournal journal;
        QVERIFY(journal.begin(root, {info.id, dir->filePath(u"out"_s), {}, files}));
        journal.fileStarted(files.at(0));
        journal.fileFinished(files.at(0), 0);
        journal.fileStarted(files.at(1));
    }
    dialogs.setNextChoice(0);
    window.offerInterruptedBatch();
    QCOMPARE(dialogs.requestsOf(Dialogs::Kind::Choice).last().text,
             u"The last batch was interrupted after 1 of 2 files. Resume the remaining files?"_s);
    QVERIFY(window.isRunning());
    QCOMPARE(batch->activeFiles(), QFileInfoList{QFileInfo(files.at(1))});
    QTRY_VERIFY_WITH_TIMEOUT(!window.isRunning(), 10000);
    QCOMPARE(batch->statusOf(0), FileStatus::Done);
    const qsizetype choices = dialogs.requestsOf(Dialogs::Kind::Choice).size();
    window.offerInterruptedBatch();
    QCOMPARE(dialogs.requestsOf(Dialogs::Kind::Choice).size(), choices);
}

QTEST_MAIN(tst_BatchRecord)
#include "tst_batchrecord.moc"
