#include "batch/batchcommand.h"

#include "batch/console.h"
#include "batch/interruptwatcher.h"
#include "common/formatting.h"
#include "conversion/batchjournal.h"
#include "conversion/batchrecorder.h"
#include "conversion/batchreport.h"
#include "conversion/conversioncontroller.h"
#include "conversion/converteroutput.h"
#include "conversion/inputfiles.h"
#include "conversion/preflight.h"
#include "conversion/winelauncher.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <QSet>

#include <algorithm>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

void writeTo(std::FILE *stream, const QString &text)
{
    const QByteArray bytes = text.toLocal8Bit();
    std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), stream);
    std::fflush(stream);
}

void printError(const QString &text)
{
    writeTo(stderr, u"kvtbatch: "_s + text + u'\n');
}

// The JSON report beside a CSV one: the same name with .json.
QString jsonBeside(const QString &csvPath)
{
    const QFileInfo info(csvPath);
    const QString base =
        info.suffix().compare(u"csv"_s, Qt::CaseInsensitive) == 0 ? info.completeBaseName() : info.fileName();
    return info.dir().filePath(base + u".json"_s);
}

bool isInside(const QString &path, const QString &folder)
{
    return path.startsWith(folder.endsWith(u'/') ? folder : folder + u'/');
}

bool replaceFile(const QString &from, const QString &to)
{
    QFile::remove(to);
    return QFile::copy(from, to);
}

} // namespace

BatchCommand::BatchCommand(const BatchCommandLine &commandLine, QObject *parent)
    : QObject(parent)
    , commandLine(commandLine)
    , controller(new ConversionController(this))
    , recorder(new BatchRecorder(controller, this))
{
    terminal = !commandLine.quiet && Console::isTerminal();
    // Once a second, so the time left counts down even while no file starts or ends.
    liveTimer.setInterval(1000);
    connect(&liveTimer, &QTimer::timeout, this, &BatchCommand::redrawLiveLine);
}

BatchCommand::~BatchCommand() = default;

QStringList BatchCommand::inputFiles(const QStringList &inputs, const QStringList &nameFilters,
                                     bool recursive, QString *root, QString *error)
{
    QStringList paths;
    const bool oneFolder = inputs.size() == 1 && QFileInfo(inputs.constFirst()).isDir();
    if (oneFolder) {
        *root = QFileInfo(inputs.constFirst()).absoluteFilePath();
        for (const QFileInfo &file : listInputFiles(inputs.constFirst(), nameFilters, false, recursive))
            paths.append(file.absoluteFilePath());
    } else {
        for (const QString &input : inputs) {
            const QFileInfo info(input);
            if (info.isDir()) {
                *error = tr("Name one folder, or files; %1 is a folder among other inputs.").arg(input);
                return {};
            }
            if (!info.isFile()) {
                *error = tr("No such file: %1").arg(input);
                return {};
            }
            paths.append(info.absoluteFilePath());
        }
        // For a list of files, the deepest folder that holds them all.
        QString common = QFileInfo(paths.constFirst()).absolutePath();
        for (const QString &path : std::as_const(paths)) {
            while (!isInside(path, common)) {
                const QString parent = QFileInfo(common).absolutePath();
                if (parent == common)
                    break;
                common = parent;
            }
        }
        *root = common;
    }
    // A fixed order, whatever order the file system lists them in.
    std::sort(paths.begin(), paths.end());
    paths.erase(std::unique(paths.begin(), paths.end()), paths.end());
    return paths;
}

QString BatchCommand::journalRoot() const
{
    QString root = commandLine.batchDir.isEmpty() ? BatchJournal::defaultRoot()
                                                  : QFileInfo(commandLine.batchDir).absoluteFilePath();
    // Parts of one batch on one machine keep journals apart, so each resumes its own.
    if (commandLine.shard)
        root = QDir(root).filePath(
            u"shard-%1-of-%2"_s.arg(commandLine.shard->index).arg(commandLine.shard->count));
    return root;
}

void BatchCommand::start()
{
    wallClock.start();
    if (!prepare())
        return;
    if (commandLine.action == BatchCommandLine::Action::DryRun) {
        dryRun();
        finish(BatchExit::Converted);
        return;
    }
    if (!check())
        return;
    run();
}

bool BatchCommand::prepare()
{
    if (commandLine.action == BatchCommandLine::Action::Resume) {
        const std::optional<BatchState> state = BatchJournal::findInterrupted(journalRoot());
        if (!state) {
            printError(
                tr("No interrupted batch to resume in %1.").arg(QDir::toNativeSeparators(journalRoot())));
            finish(BatchExit::UsageError);
            return false;
        }
        converter = makeConverterInfo(state->batch.converterId, true);
        if (converter.id.isEmpty()) {
            printError(
                tr("The interrupted batch names an unknown converter \"%1\".").arg(state->batch.converterId));
            finish(BatchExit::UsageError);
            return false;
        }
        // Resumed once: from here on the new batch's journal carries the rest.
        BatchJournal::discard(state->journalPath);
        options = state->batch.options;
        outputDir = state->batch.outputDir;
        files = state->remaining();
        return true;
    }

    converter = makeConverterInfo(commandLine.converterId, true);
    options = commandLine.options;
    outputDir = commandLine.sameFolder ? QString() : QFileInfo(commandLine.outputDir).absoluteFilePath();
    QString root;
    QString error;
    const QStringList all =
        inputFiles(commandLine.inputs, converterNameFilters(converter), commandLine.recursive, &root, &error);
    if (!error.isEmpty() || all.isEmpty()) {
        printError(error.isEmpty()
                       ? tr("No %1 files in %2.")
                             .arg(converter.extensions.join(u", "_s), commandLine.inputs.join(u", "_s))
                       : error);
        finish(BatchExit::UsageError);
        return false;
    }
    if (!commandLine.shard) {
        files = all;
        return true;
    }
    const QDir rootDir(root);
    for (const QString &path : all) {
        if (commandLine.shard->contains(rootDir.relativeFilePath(path)))
            files.append(path);
    }
    return true;
}

void BatchCommand::dryRun() const
{
    const QString program = QDir::toNativeSeparators(ConversionController::resolveExecutable(converter));
    QString text;
    for (const QString &path : files) {
        ConversionOptions fileOptions = options;
        fileOptions.inputPath = path;
        if (commandLine.skipUpToDate &&
            Preflight::isUpToDate(path, expectedOutputFiles(converter, fileOptions, outputDir)))
            continue;
        // One block per file: the program, then each argument, then an empty line.
        text += program + u'\n';
        for (const QString &argument : buildConverterArguments(converter, fileOptions, outputDir))
            text += argument + u'\n';
        text += u'\n';
    }
    writeTo(stdout, text);
}

bool BatchCommand::check()
{
    // As the window does before its checks: a folder that cannot be made is left to the
    // checks, which say that it cannot be written.
    if (!outputDir.isEmpty())
        QDir().mkpath(outputDir);
    PreflightInput input;
    input.converter = converter;
    input.converterPath = ConversionController::resolveExecutable(converter);
    input.wineLauncher = WineLauncher::find(commandLine.wine);
    input.options = options;
    input.files = files;
    input.outputDir = outputDir;
    input.skipUpToDate = commandLine.skipUpToDate;
    const PreflightResult result = Preflight::check(input);
    QSet<QString> gone;
    for (const PreflightFinding &finding : result.findings) {
        if (finding.refuses || !commandLine.quiet)
            printError((finding.refuses ? tr("refused: ") : tr("warning: ")) + finding.text);
        if (finding.kind == PreflightFinding::Kind::MissingInput)
            gone.unite(QSet<QString>(finding.paths.cbegin(), finding.paths.cend()));
    }
    if (result.refused()) {
        finish(BatchExit::Refused);
        return false;
    }
    files.removeIf([&gone](const QString &path) { return gone.contains(path); });
    toRun = result.filesToRun;
    upToDate = result.upToDate;
    return true;
}

void BatchCommand::run()
{
    controller->setConverter(converter);
    controller->setMaxParallel(commandLine.jobs);
    controller->setWineLauncher(WineLauncher::find(commandLine.wine));
    controller->setStallLimit(qint64(commandLine.stallMinutes) * 60000,
                              ConversionController::stallActionFromName(commandLine.stallAction));
    connect(controller, &ConversionController::fileStarted, this,
            [this](int, int, const QString &path) { onFileStarted(path); });
    connect(controller, &ConversionController::fileFinished, this,
            [this](int, int exitCode, const QString &path) { onFileFinished(exitCode, path); });
    connect(controller, &ConversionController::allDone, this, &BatchCommand::onAllDone);
    if (commandLine.verbose)
        connect(controller, &ConversionController::logOutput, this, &BatchCommand::onLogOutput);
    connect(controller, &ConversionController::stalled, this,
            [this](const QString &path, ConversionController::StallAction action) {
                if (!commandLine.quiet)
                    printLine(
                        tr("warning: %1 printed nothing for %n minute(s).", nullptr, commandLine.stallMinutes)
                            .arg(QDir::toNativeSeparators(path)));
                if (action == ConversionController::StallAction::Stop && controller->isRunning()) {
                    controller->stop();
                    recorder->stop();
                    end(false);
                }
            });

    interrupts = new InterruptWatcher(this);
    connect(interrupts, &InterruptWatcher::interrupted, this, &BatchCommand::onInterrupted);

    if (!recorder->begin(journalRoot(), converter, {converter.id, outputDir, options, files}))
        printError(tr("Cannot write the batch's journal below %1; the batch runs without it.")
                       .arg(QDir::toNativeSeparators(journalRoot())));
    counts.total = static_cast<int>(files.size());
    for (const QString &path : std::as_const(upToDate)) {
        recorder->skipUpToDate(path);
        ++counts.upToDate;
        if (!commandLine.quiet && !terminal)
            printLine(ConsoleText::upToDateLine(path));
    }
    QList<QPair<QString, qint64>> queued;
    for (const QString &path : std::as_const(toRun))
        queued.append({path, QFileInfo(path).size()});
    timeLeft.begin(queued, commandLine.jobs, wallClock.elapsed());
    if (terminal)
        liveTimer.start();
    redrawLiveLine();
    controller->start(toRun, options, outputDir);
}

void BatchCommand::onFileStarted(const QString &path)
{
    ++startedCount;
    startedAt[path].start();
    running.append(path);
    timeLeft.fileStarted(path, QFileInfo(path).size(), wallClock.elapsed());
    if (!commandLine.quiet && !terminal)
        printLine(ConsoleText::startedLine(startedCount + counts.upToDate, counts.total, path));
    redrawLiveLine();
}

void BatchCommand::onFileFinished(int exitCode, const QString &path)
{
    running.removeOne(path);
    // A skipped file says no more about the converter's speed than a failed one.
    timeLeft.fileFinished(path, exitCode != 0, wallClock.elapsed());
    if (exitCode == 0)
        ++counts.converted;
    else if (exitCode == ExitMarker::Skipped)
        ++counts.skipped;
    else
        ++counts.failed;
    // On a terminal only what needs a look stays on screen; the log gets every file.
    if (!commandLine.quiet && (!terminal || exitCode != 0))
        printLine(ConsoleText::finishedLine(counts.finished(), counts.total, path, exitCode,
                                            startedAt.value(path).elapsed(), controller->logFileOf(path)));
    redrawLiveLine();
}

void BatchCommand::onLogOutput(const QString &text)
{
    printLine(terminal ? text : withoutEscapes(text));
}

void BatchCommand::onAllDone()
{
    end(false);
}

void BatchCommand::onInterrupted(int, int count)
{
    if (ended)
        return;
    if (count == 1 && !commandLine.quiet)
        printLine(tr("Interrupted: stopping the converters."));
    controller->stop();
    recorder->interrupt();
    end(true);
}

void BatchCommand::end(bool interrupted)
{
    if (ended)
        return;
    ended = true;
    liveTimer.stop();
    clearLiveLine();
    const QString report = copyReport();
    writeTo(stdout, ConsoleText::summary(counts, wallClock.elapsed(), interrupted, report) + u'\n');
    finish(ConsoleText::exitCode(counts, interrupted));
}

QString BatchCommand::copyReport() const
{
    if (recorder->folder().isEmpty())
        return {};
    const QString written = recorder->reportPath();
    if (commandLine.reportPath.isEmpty())
        return written;
    const QString target = QFileInfo(commandLine.reportPath).absoluteFilePath();
    const bool copied =
        replaceFile(written, target) &&
        replaceFile(QDir(recorder->folder()).filePath(BatchReport::jsonFileName()), jsonBeside(target));
    if (!copied) {
        printError(tr("Cannot write the report to %1; it is in %2.")
                       .arg(QDir::toNativeSeparators(target), QDir::toNativeSeparators(written)));
        return written;
    }
    return target;
}

void BatchCommand::printLine(const QString &line)
{
    clearLiveLine();
    QString text = line;
    if (!text.endsWith(u'\n'))
        text += u'\n';
    writeTo(stdout, text);
    redrawLiveLine();
}

void BatchCommand::redrawLiveLine()
{
    if (!terminal || ended)
        return;
    QStringList names;
    for (const QString &path : std::as_const(running))
        names.append(QFileInfo(path).fileName());
    // Erase to the end of the line, so a shorter line leaves no tail of the last one.
    const TimeLeft left = timeLeft.estimate(wallClock.elapsed());
    const QString leftText = left.known ? formatTimeLeft(left.lowMs, left.highMs) : QString();
    writeTo(stdout,
            u"\r"_s + ConsoleText::liveLine(counts, names, leftText, Console::columns() - 1) + u"\x1b[K"_s);
    liveLineShown = true;
}

void BatchCommand::clearLiveLine() const
{
    if (terminal && liveLineShown)
        writeTo(stdout, u"\r\x1b[K"_s);
}

void BatchCommand::finish(int exitCode)
{
    // Queued, so the caller's event loop is already running when it hears the result.
    QMetaObject::invokeMethod(
        this, [this, exitCode] { Q_EMIT finished(exitCode); }, Qt::QueuedConnection);
}

int BatchCommand::mergeReports(const QString &output, const QStringList &parts)
{
    QList<QList<BatchReportRow>> reports;
    qint64 wallMs = 0;
    for (const QString &part : parts) {
        QFile file(part);
        if (!file.open(QIODevice::ReadOnly)) {
            printError(tr("Cannot read the report %1.").arg(QDir::toNativeSeparators(part)));
            return BatchExit::UsageError;
        }
        reports.append(BatchReport::fromCsv(file.readAll()));
        // The parts ran side by side: the whole took as long as the longest.
        QFile json(jsonBeside(part));
        if (json.open(QIODevice::ReadOnly))
            wallMs = std::max(
                wallMs, QJsonDocument::fromJson(json.readAll()).object().value(u"wallMs"_s).toInteger());
    }
    const QList<BatchReportRow> rows = BatchReport::merge(reports);
    QSet<QString> seen;
    bool allConverted = true;
    for (const BatchReportRow &row : rows) {
        if (seen.contains(row.path))
            printError(tr("warning: %1 is in more than one report.").arg(QDir::toNativeSeparators(row.path)));
        seen.insert(row.path);
        if (row.status != u"Done" && row.status != u"Skipped")
            allConverted = false;
    }
    for (const auto &[path, bytes] : {std::pair{output, BatchReport::toCsv(rows)},
                                      std::pair{jsonBeside(output), BatchReport::toJson(rows, wallMs)}}) {
        QSaveFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit()) {
            printError(tr("Cannot write %1.").arg(QDir::toNativeSeparators(path)));
            return BatchExit::UsageError;
        }
    }
    return allConverted ? BatchExit::Converted : BatchExit::SomeFailed;
}
