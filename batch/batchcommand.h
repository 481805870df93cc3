#pragma once

#include "batch/commandline.h"
#include "batch/consoletext.h"
#include "conversion/converterinfo.h"
#include "conversion/timeleftestimator.h"

#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QStringList>
#include <QTimer>

class BatchRecorder;
class ConversionController;
class InterruptWatcher;

// One run of kvtbatch: finds the files, checks them as the window does, runs them through the
// controller with the same journal, logs and report, and tells the terminal or the log what
// happens. The exit code arrives with `finished`.
class BatchCommand final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(BatchCommand)

public:
    explicit BatchCommand(const BatchCommandLine &commandLine, QObject *parent = nullptr);
    ~BatchCommand() override;

    // Does the work that needs no event loop (files, dry run, checks) and starts the batch;
    // `finished` follows, at once when nothing is left to run.
    void start();

    // The files an input names, absolute and sorted: a file as it is, a folder's files that
    // match the converter's name filters. `root` receives the folder that paths in a shard
    // are taken relative to. Empty, with error set, when an input does not exist.
    static QStringList inputFiles(const QStringList &inputs, const QStringList &nameFilters, bool recursive,
                                  QString *root, QString *error);
    // Merges the CSV reports of a sharded batch; returns the exit code.
    static int mergeReports(const QString &output, const QStringList &parts);

Q_SIGNALS:
    void finished(int exitCode);

private:
    bool prepare();
    void dryRun() const;
    bool check();
    void run();
    void onFileStarted(const QString &path);
    void onFileFinished(int exitCode, const QString &path);
    void onLogOutput(const QString &text);
    void onAllDone();
    void onInterrupted(int signalNumber, int count);
    void end(bool interrupted);
    QString journalRoot() const;
    QString copyReport() const;
    // A line that stays, above the live line on a terminal.
    void printLine(const QString &line);
    void redrawLiveLine();
    void clearLiveLine() const;
    void finish(int exitCode);

    BatchCommandLine commandLine;
    ConverterInfo converter;
    ConversionOptions options;
    QString outputDir;
    QStringList files;
    QStringList toRun;
    QStringList upToDate;

    ConversionController *controller;
    BatchRecorder *recorder;
    InterruptWatcher *interrupts = nullptr;
    QTimer liveTimer;
    QElapsedTimer wallClock;
    TimeLeftEstimator timeLeft;
    ConsoleText::Counts counts;
    int startedCount = 0;
    QHash<QString, QElapsedTimer> startedAt;
    QStringList running;
    bool terminal = false;
    bool liveLineShown = false;
    bool ended = false;
};
