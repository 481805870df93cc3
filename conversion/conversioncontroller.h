#pragma once

#include "conversion/conversionoptions.h"
#include "conversion/converterinfo.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QElapsedTimer>
#include <QFile>
#include <QHash>
#include <QList>
#include <QObject>
#include <QProcess>
#include <QStringDecoder>
#include <QStringList>
#include <QTimer>

class ProcessGroup;

// Runs one converter over a list of files, one child process at a time, and reports
// every step as a signal. Owns no user interface.
class ConversionController final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ConversionController)

public:
    explicit ConversionController(QObject *parent = nullptr);
    ~ConversionController() override;

    void setConverter(const ConverterInfo &info);

    void start(const QStringList &files, const ConversionOptions &options, const QString &outputDir);
    void stop();
    void skipCurrent();
    void removeFromQueue(const QString &filePath);
    // During a run, makes filePath run next, after the files asked for earlier in the same
    // way: moved forward if it is still queued, otherwise added (and counted in totalFiles).
    // Idle: nothing.
    void convertNext(const QString &filePath);
    bool isRunning() const { return running; }

    // The converter executable: kavantolibs/ beside the program, else beside the program.
    static QString resolveExecutable(const ConverterInfo &info);

    // The exit code a file is reported with: a converter's own code, or 128 + signal for a
    // converter that died from a signal, so a crash never reads as a converter message.
    static int reportedExitCode(int exitCode, QProcess::ExitStatus status);

    // Each file's output is also written, as plain text, to a file of its own in this folder
    // (empty: not at all). Set before start.
    void setLogFolder(const QString &folder);
    // The log file of a file of this run, or empty.
    QString logFileOf(const QString &filePath) const { return logFiles.value(filePath); }

    // What happens when a converter prints nothing for the stall limit: a warning in the
    // log always, and then nothing more, a skip, or a stop (which the owner carries out on
    // hearing `stalled`, as for the user's own Stop). A limit of 0 turns the watchdog off.
    enum class StallAction { Warn, Skip, Stop };
    void setStallLimit(qint64 ms, StallAction action);
    // The action stored under its settings name ("warn", "skip" or "stop"); anything else warns.
    static StallAction stallActionFromName(QStringView name);

Q_SIGNALS:
    void fileStarted(int index, int total, const QString &filename);
    void fileFinished(int index, int exitCode, const QString &filename);
    void progressUpdated(int overallPercent, int filePercent);
    void logOutput(const QString &text);
    void allDone(int successCount, int failCount, int skipCount);
    void errorOccurred(int exitCode, const QString &filename);
    void stageChanged(const QString &stageName);
    // The running file printed nothing for the stall limit; `action` is what was chosen.
    void stalled(const QString &filePath, ConversionController::StallAction action);

public Q_SLOTS:
    void onProcessFinished(int exitCode, QProcess::ExitStatus status);
    void onProcessOutput();
    void onLogFlush();

private:
    void startNextFile();
    void openFileLog();
    void checkStall();
    void killProcess();
    void onProcessError(QProcess::ProcessError error);
    // Reads at most maxBytes of output and handles the complete lines in it; true when
    // more output is already waiting.
    bool readOutput(qint64 maxBytes);
    void drainOutput();
    void splitLines();
    void handleLine(QByteArrayView bytes);
    void appendLogLine(QStringView line);
    void flushPartialLine();
    void scheduleOutputRead();
    void finishCurrentFile(quint64 serial);
    void releaseBuffers();
    // The run goes on and the file identified by serial is still the one running.
    bool isCurrent(quint64 serial) const;

    ConverterInfo converter;
    QProcess *process = nullptr;
    // The current process's group, its child.
    ProcessGroup *processGroup = nullptr;
    QList<ConversionOptions> queue;
    // How many files at the front of the queue are there by convertNext, in the order asked.
    qsizetype requestedNext = 0;
    int currentIndex = 0;
    int totalFiles = 0;
    int successCount = 0;
    int failCount = 0;
    int skipCount = 0;
    bool running = false;
    bool skipping = false;
    QString outputDir;
    QString currentFile;
    QTimer flushTimer;
    QString logFolder;
    QHash<QString, QString> logFiles;
    QFile fileLog;
    QTimer stallTimer;
    QElapsedTimer lastActivity;
    qint64 stallLimitMs = 0;
    StallAction stallAction = StallAction::Warn;
    bool stallReported = false;
    // Output lines not yet emitted, already joined by line feeds.
    QString logBuffer;
    ConversionOptions runOptions;
    // Bytes of a line whose end has not arrived yet.
    QByteArray pendingOutput;
    // The last chunk ended in a carriage return: a line feed opening the next one
    // belongs to the same line break.
    bool dropLeadingLineFeed = false;
    bool readScheduled = false;
    QElapsedTimer lastFlush;
    // Stateless: every line is decoded on its own, a broken sequence ends with its line.
    QStringDecoder lineDecoder{QStringDecoder::Utf8, QStringDecoder::Flag::Stateless};
    bool splitting = false;
    // Identifies the file now running, so that deferred work for an earlier file is dropped.
    quint64 fileSerial = 0;
    int finishedExitCode = 0;
};
