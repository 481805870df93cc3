#include "conversion/conversioncontroller.h"

#include "conversion/converteroutput.h"
#include "conversion/processgroup.h"

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

ConversionController::ConversionController(QObject *parent)
    : QObject(parent)
{
    flushTimer.setInterval(100);
    connect(&flushTimer, &QTimer::timeout, this, &ConversionController::onLogFlush);
    connect(&stallTimer, &QTimer::timeout, this, &ConversionController::checkStall);
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

void ConversionController::openFileLog()
{
    fileLog.close();
    if (logFolder.isEmpty())
        return;
    QString &name = logFiles[currentFile];
    if (name.isEmpty()) {
        // Named after the input; two inputs of one name in different folders get a number.
        const QString base = QFileInfo(currentFile).fileName();
        name = QDir(logFolder).filePath(base + u".log"_s);
        for (int n = 2; std::any_of(logFiles.cbegin(), logFiles.cend(),
                                    [&](const QString &other) { return &other != &name && other == name; });
             ++n)
            name = QDir(logFolder).filePath(u"%1 (%2).log"_s.arg(base).arg(n));
    }
    fileLog.setFileName(name);
    // A file that runs again (retry, convert next) adds to the log of its first run.
    if (fileLog.open(QIODevice::WriteOnly | QIODevice::Append) && fileLog.size() > 0)
        fileLog.write("\n");
}

void ConversionController::checkStall()
{
    if (!running || stallLimitMs <= 0 || stallReported || !process || process->state() != QProcess::Running ||
        !lastActivity.hasExpired(stallLimitMs))
        return;
    stallReported = true;
    const qint64 minutes = stallLimitMs / 60000;
    const qint64 seconds = stallLimitMs / 1000;
    const QString silence = minutes == 1   ? tr("1 minute")
                            : minutes > 1  ? tr("%1 minutes").arg(minutes)
                            : seconds == 1 ? tr("1 second")
                                           : tr("%1 seconds").arg(seconds);
    appendLogLine(
        tr("[WARNING] %1 has printed nothing for %2").arg(QFileInfo(currentFile).fileName(), silence));
    onLogFlush();
    const QString file = currentFile;
    Q_EMIT stalled(file, stallAction);
    if (stallAction == StallAction::Skip && running && file == currentFile)
        skipCurrent();
}

ConversionController::~ConversionController()
{
    running = false;
    flushTimer.stop();
    stallTimer.stop();
    killProcess();
}

void ConversionController::setConverter(const ConverterInfo &info)
{
    converter = info;
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

void ConversionController::start(const QStringList &files, const ConversionOptions &options,
                                 const QString &outputDir)
{
    // A second start while a converter still runs must not leave that process behind.
    killProcess();

    queue.clear();
    requestedNext = 0;
    currentIndex = 0;
    totalFiles = static_cast<int>(files.size());
    successCount = 0;
    failCount = 0;
    skipCount = 0;
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
    startNextFile();
}

void ConversionController::startNextFile()
{
    if (queue.isEmpty()) {
        running = false;
        flushTimer.stop();
        stallTimer.stop();
        fileLog.close();
        onLogFlush();
        releaseBuffers();
        Q_EMIT allDone(successCount, failCount, skipCount);
        return;
    }

    const ConversionOptions entry = queue.takeFirst();
    if (requestedNext > 0)
        --requestedNext;
    ++currentIndex;
    ++fileSerial;
    currentFile = entry.inputPath;
    pendingOutput.clear();
    dropLeadingLineFeed = false;
    lastActivity.start();
    stallReported = false;
    openFileLog();
    const quint64 serial = fileSerial;
    Q_EMIT fileStarted(currentIndex, totalFiles, currentFile);
    // A receiver may have stopped the run (or started another) in the meantime.
    if (!running || serial != fileSerial)
        return;

    const QString program = resolveExecutable(converter);
    const QStringList arguments = buildConverterArguments(converter, entry, outputDir);

    if (process) {
        processGroup->terminate();
        disconnect(process, nullptr, this, nullptr);
        process->deleteLater();
        process = nullptr;
    }

    process = new QProcess(this);
    processGroup = new ProcessGroup(process);
    process->setProcessChannelMode(QProcess::MergedChannels);
    connect(process, &QProcess::readyReadStandardOutput, this, &ConversionController::onProcessOutput);
    connect(process, &QProcess::finished, this, &ConversionController::onProcessFinished);
    connect(process, &QProcess::errorOccurred, this, &ConversionController::onProcessError);
    process->start(program, arguments, QIODevice::ReadWrite);
    // A converter that asks a question gets end-of-file instead of waiting for an answer.
    process->closeWriteChannel();
}

void ConversionController::onProcessError(QProcess::ProcessError error)
{
    // Only a failed start needs words of its own; crashes end in finished() like any exit.
    if (error != QProcess::FailedToStart || !process)
        return;
    const QString program = process->program();
    const QFileInfo info(program);
    QString reason;
    if (!info.exists())
        reason = tr("the file does not exist");
    else if (!info.isExecutable())
        reason = tr("the file is not executable");
    else
        reason = process->errorString();
    appendLogLine(
        tr("[ERROR] Could not start the converter %1: %2.").arg(QDir::toNativeSeparators(program), reason));
}

void ConversionController::onProcessOutput()
{
    // After a stop, what the killed converter left unread is not reported any more.
    if (!process || !running)
        return;
    const bool more = readOutput(readChunkBytes);
    // Some event dispatchers let timers wait while input keeps arriving; the log still
    // goes out every 100 ms, so the buffer stays small and the view stays current.
    if (lastFlush.hasExpired(flushTimer.interval()))
        onLogFlush();
    if (more)
        scheduleOutputRead();
}

void ConversionController::scheduleOutputRead()
{
    if (readScheduled)
        return;
    readScheduled = true;
    QMetaObject::invokeMethod(
        this,
        [this] {
            readScheduled = false;
            onProcessOutput();
        },
        Qt::QueuedConnection);
}

bool ConversionController::readOutput(qint64 maxBytes)
{
    // A receiver of a line's signals may end up here again (a skip, a nested event loop);
    // the outer call still owns the buffer and reads on when it returns.
    if (splitting)
        return false;
    const qint64 available = process->bytesAvailable();
    if (available <= 0)
        return false;
    const qint64 wanted = std::min(available, maxBytes);
    const qsizetype kept = pendingOutput.size();
    pendingOutput.resize(kept + wanted);
    const qint64 got = process->read(pendingOutput.data() + kept, wanted);
    lastActivity.start();
    pendingOutput.resize(kept + std::max<qint64>(got, 0));
    splitLines();
    return got > 0 && process && process->bytesAvailable() > 0;
}

void ConversionController::drainOutput()
{
    // Called by a receiver in the middle of a read: the outer read owns the buffer.
    if (splitting)
        return;
    const quint64 serial = fileSerial;
    while (process && isCurrent(serial) && readOutput(readChunkBytes)) {
    }
    if (isCurrent(serial))
        flushPartialLine();
}

bool ConversionController::isCurrent(quint64 serial) const
{
    return running && serial == fileSerial;
}

void ConversionController::splitLines()
{
    const QScopedValueRollback<bool> guard(splitting, true);
    const quint64 serial = fileSerial;
    const char *const data = pendingOutput.constData();
    const char *const end = data + pendingOutput.size();
    const char *pos = data;

    if (dropLeadingLineFeed && pos < end) {
        if (*pos == '\n')
            ++pos;
        dropLeadingLineFeed = false;
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
        handleLine(QByteArrayView(pos, lineEnd - pos));
        // A receiver stopped the run or skipped the file: the buffer is no longer ours.
        if (!isCurrent(serial))
            return;
        pos = lineEnd + 1;
        if (isCr) {
            // CR LF is one line break, also when the chunk ends between the two.
            if (pos < end) {
                if (*pos == '\n')
                    ++pos;
            } else {
                dropLeadingLineFeed = true;
            }
        }
    }

    while (end - pos > maxLineBytes) {
        const qsizetype cut = utf8CutPosition(pos, maxLineBytes);
        handleLine(QByteArrayView(pos, cut));
        if (!isCurrent(serial))
            return;
        pos += cut;
    }

    pendingOutput.remove(0, pos - data);
}

void ConversionController::flushPartialLine()
{
    // A last line without a line break is still a line of the log.
    const QByteArray rest = std::exchange(pendingOutput, {});
    dropLeadingLineFeed = false;
    if (!rest.isEmpty())
        handleLine(rest);
}

void ConversionController::appendLogLine(QStringView line)
{
    if (!logBuffer.isEmpty())
        logBuffer.append(u'\n');
    logBuffer.append(line);
    if (fileLog.isOpen())
        fileLog.write(line.toUtf8() + '\n');
}

void ConversionController::handleLine(QByteArrayView bytes)
{
    // The line is decoded straight to the end of the log buffer and trimmed there: a flood
    // of lines then costs no allocation per line and no joining at the flush.
    const qsizetype start = logBuffer.size();
    const qsizetype separator = start > 0 ? 1 : 0;
    logBuffer.resize(start + separator + bytes.size());
    QChar *const first = logBuffer.data() + start + separator;
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
    logBuffer.resize(start + separator + length);
    if (fileLog.isOpen())
        fileLog.write(
            withoutEscapes(QStringView(logBuffer.constData() + start + separator, length)).toUtf8() + '\n');

    // Matched after it is in the log, so a receiver that skips or stops still finds the
    // line in the flushed log.
    const ConverterLine meaning =
        interpretConverterLine(QStringView(logBuffer.constData() + start + separator, length));
    if (meaning.hasProgress) {
        const int filePercent = meaning.filePercent;
        const qint64 overall =
            (static_cast<qint64>(currentIndex - 1) * 100 + filePercent) / std::max(totalFiles, 1);
        Q_EMIT progressUpdated(static_cast<int>(std::min<qint64>(overall, 99)), filePercent);
    }
    if (meaning.hasStage)
        Q_EMIT stageChanged(meaning.stage);
    if (meaning.hasStarted)
        Q_EMIT stageChanged(meaning.started);
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
    // Helper processes the converter left behind end with it.
    if (processGroup)
        processGroup->terminate();
    if (!running)
        return;
    finishedExitCode = reportedExitCode(exitCode, status);
    finishCurrentFile(fileSerial);
}

int ConversionController::reportedExitCode(int exitCode, QProcess::ExitStatus status)
{
    // Where a crash is reported as the signal number (1 to 127), that number would read
    // as one of the converter's own codes ("6" is not an abort); shells say 128 + signal.
    if (status == QProcess::CrashExit && exitCode > 0 && exitCode < 128)
        return 128 + exitCode;
    return exitCode;
}

void ConversionController::finishCurrentFile(quint64 serial)
{
    if (!isCurrent(serial))
        return;
    // The file is reported only once all its output has been read; a large backlog is
    // read in bounded steps so the event loop stays responsive meanwhile.
    const bool more = splitting || (process && readOutput(readChunkBytes));
    if (!isCurrent(serial))
        return;
    if (more) {
        // While a receiver runs a nested event loop the buffer is busy: try again a little later.
        QTimer::singleShot(splitting ? 20 : 0, this, [this, serial] { finishCurrentFile(serial); });
        return;
    }
    flushPartialLine();
    if (!isCurrent(serial))
        return;

    const int exitCode = finishedExitCode;
    if (exitCode == 0) {
        ++successCount;
    } else {
        ++failCount;
        Q_EMIT errorOccurred(exitCode, QFileInfo(currentFile).fileName());
    }
    Q_EMIT progressUpdated(currentIndex * 100 / totalFiles, 100);
    Q_EMIT fileFinished(currentIndex, exitCode, currentFile);
    // A receiver that stopped the run must not see another file start.
    if (isCurrent(serial))
        startNextFile();
}

void ConversionController::skipCurrent()
{
    if (!running || skipping || !process || process->state() == QProcess::NotRunning)
        return;
    const quint64 serial = fileSerial;
    skipping = true;
    drainOutput();
    if (!isCurrent(serial)) {
        skipping = false;
        return;
    }
    onLogFlush();
    killProcess();
    ++skipCount;
    Q_EMIT progressUpdated(currentIndex * 100 / totalFiles, 100);
    Q_EMIT fileFinished(currentIndex, ExitMarker::Skipped, currentFile);
    skipping = false;
    if (isCurrent(serial))
        startNextFile();
}

void ConversionController::killProcess()
{
    if (!process)
        return;
    // The whole group, helpers included, also when the converter itself has already ended.
    processGroup->terminate();
    if (process->state() == QProcess::NotRunning)
        return;
    disconnect(process, nullptr, this, nullptr);
    process->kill();
    // The one bounded blocking wait on the GUI thread: SIGKILL ends a process at once.
    process->waitForFinished(3000);
}

void ConversionController::stop()
{
    if (!running)
        return;
    running = false;
    queue.clear();
    requestedNext = 0;
    flushTimer.stop();
    stallTimer.stop();
    killProcess();
    fileLog.close();
    onLogFlush();
    releaseBuffers();
}

void ConversionController::releaseBuffers()
{
    // Between runs the buffers sized for a flood are not worth keeping.
    logBuffer = QString();
    pendingOutput = QByteArray();
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
