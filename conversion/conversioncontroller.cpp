#include "conversion/conversioncontroller.h"

#include "conversion/converteroutput.h"
#include "conversion/processgroup.h"
#include "conversion/winelauncher.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QScopedValueRollback>

#include <algorithm>
#include <cstring>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

// One read takes at most this much output, so a flooding converter never holds the
// event loop for long; the rest is read on the next pass.
constexpr qint64 readChunkBytes = 256 * 1024;
// A line that never ends is logged in pieces of at most this size, so memory stays bounded.
constexpr qsizetype maxLineBytes = 1024 * 1024;

bool isUtf8Continuation(char c)
{
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

// Where a cut of at most `limit` bytes ends without splitting a UTF-8 sequence; data must
// hold more than `limit` bytes. Bytes that are not UTF-8 at all are cut at the limit.
qsizetype utf8CutPosition(const char *data, qsizetype limit)
{
    qsizetype cut = limit;
    while (cut > limit - 3 && isUtf8Continuation(data[cut]))
        --cut;
    return isUtf8Continuation(data[cut]) ? limit : cut;
}

} // namespace

struct ConversionController::Run
{
    QString file;
    int index = 0;
    // Empty while only one file runs at a time.
    QString tag;
    QProcess *process = nullptr;
    // The process's group, its child.
    ProcessGroup *group = nullptr;
    QFile log;
    // Bytes of a line whose end has not arrived yet.
    QByteArray pendingOutput;
    // The last chunk ended in a carriage return: a line feed opening the next one
    // belongs to the same line break.
    bool dropLeadingLineFeed = false;
    bool readScheduled = false;
    bool splitting = false;
    bool skipping = false;
    // Cleared when the file ends, is skipped or the run stops: work for it is then dropped.
    bool active = true;
    bool stallReported = false;
    // Started through Wine in a prefix it makes now: its setup lines go to the file's log only.
    bool wineSetup = false;
    QElapsedTimer lastActivity;
    qint64 percent = 0;
    int exitCode = 0;
};

ConversionController::ConversionController(QObject *parent)
    : QObject(parent)
{
    flushTimer.setInterval(100);
    connect(&flushTimer, &QTimer::timeout, this, &ConversionController::onLogFlush);
    connect(&stallTimer, &QTimer::timeout, this, &ConversionController::checkStall);
}

ConversionController::~ConversionController()
{
    running = false;
    flushTimer.stop();
    stallTimer.stop();
    retireAll();
}

void ConversionController::setConverter(const ConverterInfo &info)
{
    converter = info;
}

void ConversionController::setMaxParallel(int count)
{
    parallelLimit = std::clamp(count, 1, 16);
}

void ConversionController::setLogFolder(const QString &folder)
{
    logFolder = folder;
    logFiles.clear();
}

ConversionController::StallAction ConversionController::stallActionFromName(QStringView name)
{
    if (name == u"skip")
        return StallAction::Skip;
    if (name == u"stop")
        return StallAction::Stop;
    return StallAction::Warn;
}

void ConversionController::setStallLimit(qint64 ms, StallAction action)
{
    stallLimitMs = std::max<qint64>(ms, 0);
    stallAction = action;
    // Checked a few times per limit, at most once a second: a late warning by a second is fine.
    stallTimer.setInterval(static_cast<int>(std::clamp<qint64>(stallLimitMs / 4, 10, 1000)));
}

QString ConversionController::resolveExecutable(const ConverterInfo &info)
{
    const QDir appDir(QCoreApplication::applicationDirPath());
    const QString inLibs = appDir.filePath(u"kavantolibs/"_s + info.executable);
    if (QFileInfo::exists(inLibs))
        return inLibs;
    // Used without a check: if it is missing too, the failed start says so in the log.
    return appDir.filePath(info.executable);
}

QString ConversionController::logTag(const QString &filePath)
{
    // Short enough to leave room for the line, long enough to tell models apart.
    constexpr qsizetype maxName = 24;
    QString name = QFileInfo(filePath).fileName();
    if (name.size() > maxName)
        name = name.left(maxName - 1) + QChar(0x2026);
    return u'[' + name + u"] "_s;
}

QStringList ConversionController::runningFiles() const
{
    QStringList files;
    for (const RunPtr &run : runs)
        files.append(run->file);
    return files;
}

bool ConversionController::isLive(const Run &run) const
{
    return running && run.active;
}

ConversionController::RunPtr ConversionController::runOf(const QObject *process) const
{
    for (const RunPtr &run : runs) {
        if (process && run->process == process)
            return run;
    }
    return {};
}

void ConversionController::openFileLog(Run &run)
{
    if (logFolder.isEmpty())
        return;
    QString &name = logFiles[run.file];
    if (name.isEmpty()) {
        // Named after the input; two inputs of one name in different folders get a number.
        const QString base = QFileInfo(run.file).fileName();
        name = QDir(logFolder).filePath(base + u".log"_s);
        for (int n = 2; std::any_of(logFiles.cbegin(), logFiles.cend(),
                                    [&](const QString &other) { return &other != &name && other == name; });
             ++n)
            name = QDir(logFolder).filePath(u"%1 (%2).log"_s.arg(base).arg(n));
    }
    run.log.setFileName(name);
    // A file that runs again (retry, convert next) adds to the log of its first run.
    if (run.log.open(QIODevice::WriteOnly | QIODevice::Append) && run.log.size() > 0)
        run.log.write("\n");
}

void ConversionController::checkStall()
{
    if (!running || stallLimitMs <= 0)
        return;
    // A copy: a skip below changes the list.
    const std::vector<RunPtr> current = runs;
    for (const RunPtr &run : current) {
        if (!isLive(*run) || run->stallReported || !run->process ||
            run->process->state() != QProcess::Running || !run->lastActivity.hasExpired(stallLimitMs))
            continue;
        run->stallReported = true;
        const qint64 minutes = stallLimitMs / 60000;
        const qint64 seconds = stallLimitMs / 1000;
        const QString silence = minutes == 1   ? tr("1 minute")
                                : minutes > 1  ? tr("%1 minutes").arg(minutes)
                                : seconds == 1 ? tr("1 second")
                                               : tr("%1 seconds").arg(seconds);
        appendLogLine(
            *run,
            tr("[WARNING] %1 has printed nothing for %2").arg(QFileInfo(run->file).fileName(), silence));
        onLogFlush();
        Q_EMIT stalled(run->file, stallAction);
        if (stallAction == StallAction::Skip && isLive(*run))
            skipRun(run);
    }
}

void ConversionController::start(const QStringList &files, const ConversionOptions &options,
                                 const QString &outputDir)
{
    // A second start while converters still run must not leave those processes behind.
    retireAll();
    ++generation;

    queue.clear();
    requestedNext = 0;
    currentIndex = 0;
    finishedCount = 0;
    totalFiles = static_cast<int>(files.size());
    successCount = 0;
    failCount = 0;
    skipCount = 0;
    slots = parallelLimit;
    // Looked up once a run: a batch of thousands of small files would otherwise pay for the
    // search and for reading the program's first bytes at every start.
    runProgram = resolveExecutable(converter);
    runNeedsWine = !wineLauncher.isEmpty() && WineLauncher::needsWine(runProgram);
    this->outputDir = outputDir;
    runOptions = options;
    running = true;

    queue.reserve(files.size());
    for (const QString &file : files) {
        ConversionOptions entry = options;
        entry.inputPath = QFileInfo(file).absoluteFilePath();
        queue.append(std::move(entry));
    }

    lastFlush.start();
    flushTimer.start();
    if (stallLimitMs > 0)
        stallTimer.start();
    fillSlots();
}

void ConversionController::fillSlots()
{
    // Receivers of fileStarted may stop the run, start another or change the queue.
    const quint64 current = generation;
    while (running && generation == current && std::ssize(runs) < slots) {
        if (queue.isEmpty()) {
            if (!runs.empty())
                return;
            running = false;
            ++generation;
            flushTimer.stop();
            stallTimer.stop();
            onLogFlush();
            releaseBuffers();
            Q_EMIT allDone(successCount, failCount, skipCount);
            return;
        }
        startFile(queue.takeFirst());
    }
}

void ConversionController::startFile(ConversionOptions entry)
{
    if (requestedNext > 0)
        --requestedNext;
    auto run = std::make_shared<Run>();
    run->index = ++currentIndex;
    run->file = entry.inputPath;
    if (slots > 1)
        run->tag = logTag(run->file);
    run->lastActivity.start();
    openFileLog(*run);
    runs.push_back(run);
    Q_EMIT fileStarted(run->index, totalFiles, run->file);
    // A receiver may have stopped the run (or started another) in the meantime.
    if (!isLive(*run))
        return;

    const QStringList arguments = buildConverterArguments(converter, entry, outputDir);

    run->process = new QProcess(this);
    run->group = new ProcessGroup(run->process);
    QProcess *process = run->process;
    process->setProcessChannelMode(QProcess::MergedChannels);
    const std::weak_ptr<Run> weak = run;
    connect(process, &QProcess::readyReadStandardOutput, this, [this, weak] {
        if (const RunPtr r = weak.lock())
            processOutput(r);
    });
    connect(process, &QProcess::finished, this, [this, weak](int exitCode, QProcess::ExitStatus status) {
        if (const RunPtr r = weak.lock())
            processFinished(r, exitCode, status);
    });
    connect(process, &QProcess::errorOccurred, this, [this, weak](QProcess::ProcessError error) {
        if (const RunPtr r = weak.lock())
            processError(r, error);
    });
    if (runNeedsWine) {
        const WineLauncher::Command command = WineLauncher::command(runProgram, arguments, wineLauncher,
                                                                    QProcessEnvironment::systemEnvironment());
        if (!command.notice.isEmpty()) {
            appendLogLine(*run, command.notice);
            run->wineSetup = true;
        }
        process->setProcessEnvironment(command.environment);
        process->start(command.program, command.arguments, QIODevice::ReadWrite);
    } else {
        process->start(runProgram, arguments, QIODevice::ReadWrite);
    }
    // A converter that asks a question gets end-of-file instead of waiting for an answer.
    if (run->process)
        run->process->closeWriteChannel();
}

void ConversionController::processError(const RunPtr &run, QProcess::ProcessError error)
{
    // Only a failed start needs words of its own; crashes end in finished() like any exit.
    if (error != QProcess::FailedToStart || !run->process)
        return;
    const QString program = run->process->program();
    const QFileInfo info(program);
    QString reason;
    if (!info.exists())
        reason = tr("the file does not exist");
    else if (!info.isExecutable())
        reason = tr("the file is not executable");
    else
        reason = run->process->errorString();
    appendLogLine(
        *run,
        tr("[ERROR] Could not start the converter %1: %2.").arg(QDir::toNativeSeparators(program), reason));
}

void ConversionController::onProcessOutput()
{
    if (const RunPtr run = runOf(sender()))
        processOutput(run);
}

void ConversionController::processOutput(const RunPtr &run)
{
    // After a stop or skip, what the killed converter left unread is not reported any more.
    if (!run->process || !isLive(*run))
        return;
    const bool more = readOutput(*run, readChunkBytes);
    // Some event dispatchers let timers wait while input keeps arriving; the log still
    // goes out every 100 ms, so the buffer stays small and the view stays current.
    if (lastFlush.hasExpired(flushTimer.interval()))
        onLogFlush();
    if (more)
        scheduleOutputRead(run);
}

void ConversionController::scheduleOutputRead(const RunPtr &run)
{
    if (run->readScheduled)
        return;
    run->readScheduled = true;
    QMetaObject::invokeMethod(
        this,
        [this, weak = std::weak_ptr<Run>(run)] {
            if (const RunPtr r = weak.lock()) {
                r->readScheduled = false;
                processOutput(r);
            }
        },
        Qt::QueuedConnection);
}

bool ConversionController::readOutput(Run &run, qint64 maxBytes)
{
    // A receiver of a line's signals may end up here again (a skip, a nested event loop);
    // the outer call still owns the buffer and reads on when it returns.
    if (run.splitting)
        return false;
    const qint64 available = run.process->bytesAvailable();
    if (available <= 0)
        return false;
    const qint64 wanted = std::min(available, maxBytes);
    const qsizetype kept = run.pendingOutput.size();
    run.pendingOutput.resize(kept + wanted);
    const qint64 got = run.process->read(run.pendingOutput.data() + kept, wanted);
    run.lastActivity.start();
    run.pendingOutput.resize(kept + std::max<qint64>(got, 0));
    splitLines(run);
    return got > 0 && run.process && run.process->bytesAvailable() > 0;
}

void ConversionController::drainOutput(Run &run)
{
    // Called by a receiver in the middle of a read: the outer read owns the buffer.
    if (run.splitting)
        return;
    while (run.process && isLive(run) && readOutput(run, readChunkBytes)) {
    }
    if (isLive(run))
        flushPartialLine(run);
}

void ConversionController::splitLines(Run &run)
{
    const QScopedValueRollback<bool> guard(run.splitting, true);
    QByteArray &pending = run.pendingOutput;
    const char *const data = pending.constData();
    const char *const end = data + pending.size();
    const char *pos = data;

    if (run.dropLeadingLineFeed && pos < end) {
        if (*pos == '\n')
            ++pos;
        run.dropLeadingLineFeed = false;
    }

    // Carriage returns are rare, so one search finds the next and is repeated only
    // after the scan has passed it; line feeds are found with memchr.
    const char *nextCr = static_cast<const char *>(std::memchr(pos, '\r', end - pos));
    while (pos < end) {
        if (nextCr && nextCr < pos)
            nextCr = static_cast<const char *>(std::memchr(pos, '\r', end - pos));
        const char *lineEnd = static_cast<const char *>(std::memchr(pos, '\n', end - pos));
        const bool isCr = nextCr && (!lineEnd || nextCr < lineEnd);
        if (isCr)
            lineEnd = nextCr;
        if (!lineEnd)
            break;
        handleLine(run, QByteArrayView(pos, lineEnd - pos));
        // A receiver stopped the run or skipped the file: the buffer is no longer ours.
        if (!isLive(run))
            return;
        pos = lineEnd + 1;
        if (isCr) {
            // CR LF is one line break, also when the chunk ends between the two.
            if (pos < end) {
                if (*pos == '\n')
                    ++pos;
            } else {
                run.dropLeadingLineFeed = true;
            }
        }
    }

    while (end - pos > maxLineBytes) {
        const qsizetype cut = utf8CutPosition(pos, maxLineBytes);
        handleLine(run, QByteArrayView(pos, cut));
        if (!isLive(run))
            return;
        pos += cut;
    }

    pending.remove(0, pos - data);
}

void ConversionController::flushPartialLine(Run &run)
{
    // A last line without a line break is still a line of the log.
    const QByteArray rest = std::exchange(run.pendingOutput, {});
    run.dropLeadingLineFeed = false;
    if (!rest.isEmpty())
        handleLine(run, rest);
}

void ConversionController::appendLogLine(Run &run, QStringView line)
{
    if (!logBuffer.isEmpty())
        logBuffer.append(u'\n');
    logBuffer.append(run.tag);
    logBuffer.append(line);
    if (run.log.isOpen())
        run.log.write(line.toUtf8() + '\n');
}

void ConversionController::handleLine(Run &run, QByteArrayView bytes)
{
    // The line is decoded straight to the end of the log buffer, behind the file's tag, and
    // trimmed there: a flood of lines then costs no allocation per line and no joining at
    // the flush.
    const qsizetype start = logBuffer.size();
    const qsizetype separator = start > 0 ? 1 : 0;
    const qsizetype tagLength = run.tag.size();
    const qsizetype textStart = start + separator + tagLength;
    logBuffer.resize(textStart + bytes.size());
    QChar *const first = logBuffer.data() + textStart;
    const QChar *const end = lineDecoder.appendToBuffer(first, bytes);

    const QChar *b = first;
    const QChar *e = end;
    while (b < e && b->isSpace())
        ++b;
    while (e > b && (e - 1)->isSpace())
        --e;
    const qsizetype length = e - b;
    if (length == 0) {
        logBuffer.resize(start);
        return;
    }
    if (b != first)
        std::memmove(static_cast<void *>(first), b, static_cast<size_t>(length) * sizeof(QChar));
    if (separator)
        logBuffer[start] = u'\n';
    if (tagLength > 0)
        std::copy_n(run.tag.constData(), tagLength, logBuffer.data() + start + separator);
    logBuffer.resize(textStart + length);
    const QStringView line(logBuffer.constData() + textStart, length);
    if (run.log.isOpen())
        run.log.write(withoutEscapes(line).toUtf8() + '\n');
    if (run.wineSetup && WineLauncher::isSetupChatter(line)) {
        logBuffer.resize(start);
        return;
    }

    // Matched after it is in the log, so a receiver that skips or stops still finds the
    // line in the flushed log.
    const ConverterLine meaning = interpretConverterLine(line);
    if (meaning.hasProgress) {
        run.percent = meaning.filePercent;
        Q_EMIT progressUpdated(std::min(overallPercent(), 99), meaning.filePercent);
    }
    if (meaning.hasStage)
        Q_EMIT stageChanged(run.tag + meaning.stage);
    if (meaning.hasStarted)
        Q_EMIT stageChanged(run.tag + meaning.started);
}

int ConversionController::overallPercent() const
{
    qint64 shares = static_cast<qint64>(finishedCount) * 100;
    for (const RunPtr &run : runs)
        shares += run->percent;
    return static_cast<int>(std::min<qint64>(shares / std::max(totalFiles, 1), 100));
}

void ConversionController::onLogFlush()
{
    // Whichever path flushed, the next timed flush is a whole interval away, so blocks
    // reach the view at the timer's rhythm and never a few milliseconds apart.
    lastFlush.start();
    if (flushTimer.isActive())
        flushTimer.start();
    if (logBuffer.isEmpty())
        return;
    // Taken out first, so a receiver that stops the run finds nothing left to flush.
    QString text = std::exchange(logBuffer, QString());
    Q_EMIT logOutput(text);
    // The buffer is reused when no receiver kept the text: a flood fills megabytes every
    // 100 ms, and fresh memory for each block costs more than the lines themselves.
    if (logBuffer.isEmpty() && text.isDetached()) {
        text.resize(0);
        logBuffer = std::move(text);
    }
}

void ConversionController::onProcessFinished(int exitCode, QProcess::ExitStatus status)
{
    if (const RunPtr run = runOf(sender()))
        processFinished(run, exitCode, status);
}

void ConversionController::processFinished(RunPtr run, int exitCode, QProcess::ExitStatus status)
{
    // Helper processes the converter left behind end with it.
    if (run->group)
        run->group->terminate();
    if (!isLive(*run))
        return;
    run->exitCode = reportedExitCode(exitCode, status);
    finishFile(run);
}

int ConversionController::reportedExitCode(int exitCode, QProcess::ExitStatus status)
{
    // Where a crash is reported as the signal number (1 to 127), that number would read
    // as one of the converter's own codes ("6" is not an abort); shells say 128 + signal.
    if (status == QProcess::CrashExit && exitCode > 0 && exitCode < 128)
        return 128 + exitCode;
    return exitCode;
}

void ConversionController::finishFile(RunPtr run)
{
    if (!isLive(*run))
        return;
    // The file is reported only once all its output has been read; a large backlog is
    // read in bounded steps so the event loop stays responsive meanwhile.
    const bool more = run->splitting || (run->process && readOutput(*run, readChunkBytes));
    if (!isLive(*run))
        return;
    if (more) {
        // While a receiver runs a nested event loop the buffer is busy: try again a little later.
        QTimer::singleShot(run->splitting ? 20 : 0, this, [this, weak = std::weak_ptr<Run>(run)] {
            if (const RunPtr r = weak.lock())
                finishFile(r);
        });
        return;
    }
    flushPartialLine(*run);
    if (!isLive(*run))
        return;

    const quint64 current = generation;
    retire(run);
    ++finishedCount;
    const int exitCode = run->exitCode;
    if (exitCode == 0) {
        ++successCount;
    } else {
        ++failCount;
        Q_EMIT errorOccurred(exitCode, QFileInfo(run->file).fileName());
    }
    Q_EMIT progressUpdated(overallPercent(), 100);
    Q_EMIT fileFinished(run->index, exitCode, run->file);
    // A receiver that stopped the run must not see another file start.
    if (running && generation == current)
        fillSlots();
}

void ConversionController::skipCurrent()
{
    if (!runs.empty())
        skipRun(runs.front());
}

void ConversionController::skipFile(const QString &filePath)
{
    for (const RunPtr &run : runs) {
        if (run->file == filePath) {
            skipRun(run);
            return;
        }
    }
}

void ConversionController::skipRun(RunPtr run)
{
    if (!isLive(*run) || run->skipping || !run->process || run->process->state() == QProcess::NotRunning)
        return;
    run->skipping = true;
    drainOutput(*run);
    if (!isLive(*run)) {
        run->skipping = false;
        return;
    }
    onLogFlush();
    const quint64 current = generation;
    retire(run);
    ++finishedCount;
    ++skipCount;
    Q_EMIT progressUpdated(overallPercent(), 100);
    Q_EMIT fileFinished(run->index, ExitMarker::Skipped, run->file);
    run->skipping = false;
    if (running && generation == current)
        fillSlots();
}

void ConversionController::retire(RunPtr run)
{
    run->active = false;
    std::erase(runs, run);
    run->log.close();
    QProcess *process = std::exchange(run->process, nullptr);
    if (!process)
        return;
    // The whole group, helpers included, also when the converter itself has already ended.
    run->group->terminate();
    run->group = nullptr;
    disconnect(process, nullptr, this, nullptr);
    if (process->state() != QProcess::NotRunning) {
        process->kill();
        // The one bounded blocking wait on the GUI thread: SIGKILL ends a process at once.
        process->waitForFinished(3000);
    }
    process->deleteLater();
}

void ConversionController::retireAll()
{
    const std::vector<RunPtr> all = std::exchange(runs, {});
    for (const RunPtr &run : all)
        retire(run);
}

void ConversionController::stop()
{
    if (!running)
        return;
    running = false;
    ++generation;
    queue.clear();
    requestedNext = 0;
    flushTimer.stop();
    stallTimer.stop();
    retireAll();
    onLogFlush();
    releaseBuffers();
}

void ConversionController::releaseBuffers()
{
    // Between runs the buffer sized for a flood is not worth keeping.
    logBuffer = QString();
}

void ConversionController::removeFromQueue(const QString &filePath)
{
    qsizetype removed = 0;
    for (qsizetype i = queue.size() - 1; i >= 0; --i) {
        if (queue.at(i).inputPath != filePath)
            continue;
        queue.removeAt(i);
        ++removed;
        if (i < requestedNext)
            --requestedNext;
    }
    // Never below the files already started, which the percentages divide by.
    totalFiles = std::max(totalFiles - static_cast<int>(removed), currentIndex);
}

void ConversionController::convertNext(const QString &filePath)
{
    if (!running)
        return;
    const QString absolutePath = QFileInfo(filePath).absoluteFilePath();
    const auto it = std::find_if(queue.begin(), queue.end(), [&](const ConversionOptions &o) {
        return o.inputPath == filePath || o.inputPath == absolutePath;
    });
    // Requests run in the order they were asked, all of them before the rest of the queue.
    if (it != queue.end()) {
        const qsizetype at = it - queue.begin();
        if (at < requestedNext)
            return;
        ConversionOptions entry = std::move(*it);
        queue.removeAt(at);
        queue.insert(requestedNext++, std::move(entry));
        return;
    }
    ConversionOptions entry = runOptions;
    entry.inputPath = absolutePath;
    queue.insert(requestedNext++, std::move(entry));
    ++totalFiles;
}
