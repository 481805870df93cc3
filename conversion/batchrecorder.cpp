#include "conversion/batchrecorder.h"

#include "conversion/conversioncontroller.h"
#include "conversion/converteroutput.h"

#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

BatchRecorder::BatchRecorder(ConversionController *controller, QObject *parent)
    : QObject(parent)
    , controller(controller)
{
    connect(controller, &ConversionController::fileStarted, this, &BatchRecorder::onFileStarted);
    connect(controller, &ConversionController::fileFinished, this, &BatchRecorder::onFileFinished);
    connect(controller, &ConversionController::allDone, this, [this] { finish(u"Pending"_s); });
}

bool BatchRecorder::begin(const QString &root, const ConverterInfo &info, const BatchDefinition &definition)
{
    converter = info;
    batch = definition;
    outcomes.clear();
    startedAt.clear();
    excluded.clear();
    running.clear();
    wallClock.start();
    recording = journal.begin(root, batch);
    controller->setLogFolder(recording ? QDir(journal.folder()).filePath(u"logs"_s) : QString());
    return recording;
}

QString BatchRecorder::reportPath() const
{
    return QDir(journal.folder()).filePath(BatchReport::csvFileName());
}

void BatchRecorder::skipUpToDate(const QString &path)
{
    outcomes.insert(path, {ExitMarker::Skipped, u"Skipped"_s, tr("Results are up to date."), 0});
    journal.fileFinished(path, ExitMarker::Skipped);
}

void BatchRecorder::exclude(const QString &path)
{
    excluded.insert(path);
}

void BatchRecorder::stop()
{
    markRunningStopped();
    finish(u"Canceled"_s);
}

void BatchRecorder::interrupt()
{
    markRunningStopped();
    finish(u"Canceled"_s, true);
}

void BatchRecorder::markRunningStopped()
{
    for (const QString &path : std::as_const(running)) {
        if (!outcomes.contains(path))
            outcomes.insert(path, {ExitMarker::Stopped, u"Stopped"_s, tr("Stopped by user."),
                                   startedAt.value(path).elapsed()});
    }
}

void BatchRecorder::onFileStarted(int, int, const QString &filePath)
{
    if (!recording)
        return;
    running.insert(filePath);
    startedAt[filePath].start();
    journal.fileStarted(filePath);
}

void BatchRecorder::onFileFinished(int, int exitCode, const QString &filePath)
{
    if (!recording)
        return;
    journal.fileFinished(filePath, exitCode);
    Outcome outcome;
    outcome.exitCode = exitCode;
    outcome.durationMs = startedAt.value(filePath).elapsed();
    if (exitCode == 0) {
        outcome.status = u"Done"_s;
    } else if (exitCode == ExitMarker::Skipped) {
        outcome.status = u"Skipped"_s;
        outcome.message = tr("Skipped by user.");
    } else {
        outcome.status = u"Failed"_s;
        outcome.message = exitCodeMessage(exitCode);
    }
    outcomes.insert(filePath, outcome);
    running.remove(filePath);
}

QList<BatchReportRow> BatchRecorder::rows() const
{
    QList<BatchReportRow> rows;
    for (const QString &path : batch.files) {
        BatchReportRow row;
        row.path = path;
        row.size = QFileInfo(path).size();
        row.logFile = controller->logFileOf(path);
        const auto outcome = outcomes.constFind(path);
        if (outcome != outcomes.cend()) {
            row.status = outcome->status;
            row.exitCode = outcome->exitCode;
            row.message = outcome->message;
            row.durationMs = outcome->durationMs;
            if (outcome->exitCode == 0) {
                ConversionOptions options = batch.options;
                options.inputPath = path;
                row.outputs = expectedOutputFiles(converter, options, batch.outputDir);
            }
        } else if (excluded.contains(path)) {
            row.status = u"Disabled"_s;
            row.exitCode = ExitMarker::Disabled;
        } else {
            row.status = u"Pending"_s;
            row.exitCode = ExitMarker::NotRun;
        }
        rows.append(row);
    }
    return rows;
}

void BatchRecorder::finish(const QString &unfinishedStatus, bool resumable)
{
    if (!recording)
        return;
    recording = false;
    if (!resumable)
        journal.end();
    QList<BatchReportRow> report = rows();
    for (BatchReportRow &row : report) {
        if (row.status == u"Pending")
            row.status = unfinishedStatus;
    }
    if (BatchReport::write(journal.folder(), report, wallClock.elapsed()))
        Q_EMIT reportWritten(reportPath());
}
