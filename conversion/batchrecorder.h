#pragma once

#include "conversion/batchjournal.h"
#include "conversion/batchreport.h"
#include "conversion/converterinfo.h"

#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QSet>

class ConversionController;

// Keeps the record of one batch while the controller runs it: the journal that lets an
// interrupted batch resume, each file's own log, and the report written when it ends. The
// window and the headless command both run batches through it.
class BatchRecorder final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(BatchRecorder)

public:
    BatchRecorder(ConversionController *controller, QObject *parent = nullptr);

    // Starts the record of a batch in a new folder below root. False, with nothing recorded,
    // when the folder cannot be written; the batch can still run.
    bool begin(const QString &root, const ConverterInfo &converter, const BatchDefinition &batch);
    // A file that is not run: its results are up to date. Recorded as skipped, with why.
    void skipUpToDate(const QString &path);
    // A file taken out of the batch while it runs.
    void exclude(const QString &path);
    // The user stopped the batch: the running file is stopped and the rest canceled.
    void stop();
    // The program is being ended (a signal): like stop, but the journal stays open-ended, so
    // the files that did not finish can be resumed.
    void interrupt();

    bool isRecording() const { return recording; }
    QString folder() const { return journal.folder(); }
    QString reportPath() const;
    QList<BatchReportRow> rows() const;

Q_SIGNALS:
    // The report of the batch has been written.
    void reportWritten(const QString &csvPath);

private:
    void onFileStarted(int index, int total, const QString &filePath);
    void onFileFinished(int index, int exitCode, const QString &filePath);
    void markRunningStopped();
    void finish(const QString &unfinishedStatus, bool resumable = false);

    struct Outcome
    {
        int exitCode = 0;
        QString status;
        QString message;
        qint64 durationMs = 0;
    };

    ConversionController *controller;
    ConverterInfo converter;
    BatchDefinition batch;
    BatchJournal journal;
    QHash<QString, Outcome> outcomes;
    QHash<QString, QElapsedTimer> startedAt;
    QSet<QString> excluded;
    // The files whose converters run now; one, unless several run at once.
    QSet<QString> running;
    QElapsedTimer wallClock;
    bool recording = false;
};
