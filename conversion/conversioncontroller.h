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

#include <memory>
#include <vector>

class ProcessGroup;

// Runs one converter over a list of files and reports every step as a signal. Owns no
// user interface.
//
// By default one converter runs at a time. With setMaxParallel(n), up to n run at once,
// each with its own process group, output reading and per-file log; files still start in
// queue order. While several run:
// - `index` in fileStarted and fileFinished is the file's place in start order (1, 2, ...),
//   and `total` the files of the run as counted when it started;
// - progressUpdated's overall percentage counts finished files plus each running file's
//   own share, held below 100 until the run ends; filePercent is the share of the file
//   whose line carried it;
// - stageChanged carries the stage of the file that printed it, after the file's tag;
// - every line logged starts with the file's tag, "[name] " (the per-file logs do not).
class ConversionController final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ConversionController)

public:
    explicit ConversionController(QObject *parent = nullptr);
    ~ConversionController() override;

    void setConverter(const ConverterInfo &info);
    // How many converters run at once, from the next start on (clamped to 1..16).
    void setMaxParallel(int count);
    int maxParallel() const { return parallelLimit; }
    // The launcher that starts Windows converters (see WineLauncher); empty: none.
    void setWineLauncher(const QString &launcher) { wineLauncher = launcher; }

    void start(const QStringList &files, const ConversionOptions &options, const QString &outputDir);
    void stop();
    // Skips the running file; with several running, the one that started first.
    void skipCurrent();
    // Skips the running file of this path, if it runs.
    void skipFile(const QString &filePath);
    void removeFromQueue(const QString &filePath);
    // During a run, makes filePath run next, after the files asked for earlier in the same
    // way: moved forward if it is still queued, otherwise added (and counted in totalFiles).
    // Idle: nothing.
    void convertNext(const QString &filePath);
    bool isRunning() const { return running; }
    // The files whose converters run now, in start order.
    QStringList runningFiles() const;

    // The converter executable: kavantolibs/ beside the program, else beside the program.
    static QString resolveExecutable(const ConverterInfo &info);

    // The exit code a file is reported with: a converter's own code, or 128 + signal for a
    // converter that died from a signal, so a crash never reads as a converter message.
    static int reportedExitCode(int exitCode, QProcess::ExitStatus status);

    // The tag that starts each log line of a file while several files run.
    static QString logTag(const QString &filePath);

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
    // A running file printed nothing for the stall limit; `action` is what was chosen.
    void stalled(const QString &filePath, ConversionController::StallAction action);

public Q_SLOTS:
    // For the signals of a converter process; a call from anywhere else changes nothing.
    void onProcessFinished(int exitCode, QProcess::ExitStatus status);
    void onProcessOutput();
    void onLogFlush();

private:
    // One running converter and the state of reading its output.
    struct Run;
    using RunPtr = std::shared_ptr<Run>;

    // Starts queued files while there are free places; ends the run when nothing is left.
    void fillSlots();
    void startFile(ConversionOptions entry);
    void openFileLog(Run &run);
    void checkStall();
    // These take the run by value: the caller's pointer may be an element of `runs`,
    // which they change.
    void skipRun(RunPtr run);
    // Ends the run's converter (its whole group) and forgets it; later calls are harmless.
    void retire(RunPtr run);
    void retireAll();
    void processFinished(RunPtr run, int exitCode, QProcess::ExitStatus status);
    void processOutput(const RunPtr &run);
    void processError(const RunPtr &run, QProcess::ProcessError error);
    RunPtr runOf(const QObject *process) const;
    // Reads at most maxBytes of output and handles the complete lines in it; true when
    // more output is already waiting.
    bool readOutput(Run &run, qint64 maxBytes);
    void drainOutput(Run &run);
    void splitLines(Run &run);
    void handleLine(Run &run, QByteArrayView bytes);
    void appendLogLine(Run &run, QStringView line);
    void flushPartialLine(Run &run);
    void scheduleOutputRead(const RunPtr &run);
    void finishFile(RunPtr run);
    // Overall progress: finished files and the running files' shares, of all files.
    int overallPercent() const;
    void releaseBuffers();
    bool isLive(const Run &run) const;

    ConverterInfo converter;
    QString wineLauncher;
    // The converter of this run, and whether it is a Windows program started through Wine.
    QString runProgram;
    bool runNeedsWine = false;
    QList<ConversionOptions> queue;
    // How many files at the front of the queue are there by convertNext, in the order asked.
    qsizetype requestedNext = 0;
    // Files started so far in this run, and files finished (skips included).
    int currentIndex = 0;
    int finishedCount = 0;
    int totalFiles = 0;
    int successCount = 0;
    int failCount = 0;
    int skipCount = 0;
    bool running = false;
    int parallelLimit = 1;
    int slots = 1;
    // Changes with every start and stop, so work left over from an earlier run is dropped.
    quint64 generation = 0;
    std::vector<RunPtr> runs;
    QString outputDir;
    QTimer flushTimer;
    QString logFolder;
    QHash<QString, QString> logFiles;
    QTimer stallTimer;
    qint64 stallLimitMs = 0;
    StallAction stallAction = StallAction::Warn;
    // Output lines not yet emitted, already joined by line feeds.
    QString logBuffer;
    ConversionOptions runOptions;
    QElapsedTimer lastFlush;
    // Stateless: every line is decoded on its own, a broken sequence ends with its line.
    QStringDecoder lineDecoder{QStringDecoder::Utf8, QStringDecoder::Flag::Stateless};
};
