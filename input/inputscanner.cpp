#include "input/inputscanner.h"

#include "common/formatting.h"
#include "common/statuscolours.h"
#include "conversion/inputfiles.h"

#include <QColor>
#include <QCoreApplication>
#include <QDir>
#include <QFileSystemWatcher>
#include <QPointer>
#include <QThread>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {

QString coloured(const QString &text, bool up)
{
    return u"<span style='color:%1;'>%2%3</span>"_s.arg(
        QColor(up ? StatusColours::success : StatusColours::error).name(), text,
        up ? u" &#9650;"_s : u" &#9660;"_s);
}

} // namespace

InputScanner::InputScanner(QObject *parent)
    : QObject(parent)
    , debounceTimer(new QTimer(this))
    , changeHighlightTimer(new QTimer(this))
    , watcher(new QFileSystemWatcher(this))
    , scanFunction(&InputScanner::scan)
{
    debounceTimer->setSingleShot(true);
    debounceTimer->setInterval(300);
    changeHighlightTimer->setSingleShot(true);
    changeHighlightTimer->setInterval(5000);

    connect(watcher, &QFileSystemWatcher::directoryChanged, this, &InputScanner::onDirectoryChanged);
    connect(debounceTimer, &QTimer::timeout, this,
            [this] { startScan(requestPath, requestFilters, requestSingleFile, requestRecursive); });
    connect(changeHighlightTimer, &QTimer::timeout, this, &InputScanner::updateSummaryText);
}

int InputScanner::debounceInterval() const
{
    return debounceTimer->interval();
}

void InputScanner::setDebounceInterval(int msec)
{
    debounceTimer->setInterval(msec);
}

int InputScanner::changeHighlightInterval() const
{
    return changeHighlightTimer->interval();
}

void InputScanner::setChangeHighlightInterval(int msec)
{
    changeHighlightTimer->setInterval(msec);
}

void InputScanner::setScanFunction(ScanFunction function)
{
    scanFunction = function ? std::move(function) : ScanFunction(&InputScanner::scan);
}

ScanResult InputScanner::scan(const QString &path, const QStringList &nameFilters, bool singleFile,
                              bool includeSubfolders)
{
    ScanResult result;
    result.files = listInputFiles(path, nameFilters, singleFile, includeSubfolders);
    const ScanStats stats = statsOf(result.files);
    result.fileCount = stats.fileCount;
    result.totalBytes = stats.totalBytes;
    return result;
}

ScanStats InputScanner::statsOf(const QFileInfoList &files)
{
    ScanStats stats;
    stats.fileCount = static_cast<quint32>(files.size());
    for (const QFileInfo &file : files)
        stats.totalBytes += file.size();
    return stats;
}

QString InputScanner::changeText(const ScanStats &before, const ScanStats &after)
{
    QString countPart = tr("%1 file(s)").arg(after.fileCount);
    const qint64 countDelta = qint64(after.fileCount) - qint64(before.fileCount);
    if (countDelta != 0)
        countPart = coloured(countPart, countDelta > 0);

    QString sizePart = tr("%1 total").arg(formatSize(after.totalBytes));
    if (after.totalBytes != before.totalBytes)
        sizePart = coloured(sizePart, after.totalBytes > before.totalBytes);

    return countPart + u", "_s + sizePart;
}

QString InputScanner::summaryText(const ScanStats &stats)
{
    return tr("%1 file(s), %2 total").arg(stats.fileCount).arg(formatSize(stats.totalBytes));
}

void InputScanner::startScan(const QString &path, const QStringList &nameFilters, bool singleFile,
                             bool includeSubfolders)
{
    // Stored before any test, so that a rescan repeats exactly this request.
    requestPath = path;
    requestFilters = nameFilters;
    requestSingleFile = singleFile;
    requestRecursive = includeSubfolders;

    if (path.isEmpty()) {
        ++generation;
        showNoFiles();
        Q_EMIT scanComplete({});
        setWatchedDirectory({});
        return;
    }

    const QString dir = singleFile ? QFileInfo(path).absolutePath() : path;
    if (dir != watchedDir) {
        // The old folder's list goes at once; the new one is never shown as a change.
        showNoFiles();
        changeHighlightTimer->stop();
        Q_EMIT scanComplete({});
    }

    const quint32 request = ++generation;
    const QPointer<InputScanner> self(this);
    QThread *thread = QThread::create(
        [self, request, path, nameFilters, singleFile, includeSubfolders, dir, work = scanFunction] {
            ScanResult result = work(path, nameFilters, singleFile, includeSubfolders);
            QCoreApplication *app = QCoreApplication::instance();
            if (!app)
                return;
            QMetaObject::invokeMethod(
                app,
                [self, request, result = std::move(result), dir] {
                    if (self)
                        self->onScanFinished(request, result, dir);
                },
                Qt::QueuedConnection);
        });
    connect(thread, &QThread::finished, thread, &QObject::deleteLater);
    thread->start(QThread::InheritPriority);
}

void InputScanner::onScanFinished(quint32 request, const ScanResult &result, const QString &dir)
{
    if (request != generation)
        return;
    setWatchedDirectory(dir);

    if (result.fileCount == 0) {
        showNoFiles();
        lastStats = ScanStats{};
        Q_EMIT scanComplete({});
        return;
    }

    const ScanStats stats{result.fileCount, result.totalBytes};
    if (hasStats && stats != lastStats) {
        showChange(stats);
    } else {
        lastStats = stats;
        hasStats = true;
        updateSummaryText();
    }
    Q_EMIT scanComplete(result.files);
}

void InputScanner::setFileList(const QFileInfoList &files)
{
    stopWatching();
    applyList(files, true);
}

void InputScanner::refreshSummary(const QFileInfoList &files)
{
    applyList(files, false);
}

void InputScanner::applyList(const QFileInfoList &files, bool emitList)
{
    if (files.isEmpty()) {
        showNoFiles();
        lastStats = ScanStats{};
        if (emitList)
            Q_EMIT scanComplete({});
        return;
    }

    const ScanStats stats = statsOf(files);
    if (emitList)
        Q_EMIT scanComplete(files);
    // The summary is refreshed before the new statistics are stored: with no statistics
    // held yet the line keeps reading "No files selected" until the next change.
    if (hasStats && stats != lastStats)
        showChange(stats);
    else
        updateSummaryText();
    lastStats = stats;
    hasStats = true;
}

void InputScanner::stopWatching()
{
    // A scan still in flight serves what was asked before: its list must not come back and
    // put the watch back (a run has begun, or a hand-picked list replaced the folder).
    ++generation;
    const QStringList paths = watcher->directories() + watcher->files();
    if (!paths.isEmpty())
        watcher->removePaths(paths);
    watchedDir.clear();
    // A rescan still pending would put the watch back while a run writes its results.
    debounceTimer->stop();
}

void InputScanner::onDirectoryChanged()
{
    if (autoRescan)
        debounceTimer->start();
}

void InputScanner::setWatchedDirectory(const QString &dir)
{
    if (dir == watchedDir)
        return;
    const QStringList dirs = watcher->directories();
    if (!dirs.isEmpty())
        watcher->removePaths(dirs);
    watchedDir = dir;
    // Only this directory, never its subfolders.
    if (!dir.isEmpty() && QDir(dir).exists())
        watcher->addPath(dir);
}

void InputScanner::showChange(const ScanStats &stats)
{
    Q_EMIT infoTextChanged(changeText(lastStats, stats), Qt::RichText);
    lastStats = stats;
    hasStats = true;
    changeHighlightTimer->start();
}

void InputScanner::showNoFiles()
{
    Q_EMIT infoTextChanged(tr("No files selected"), Qt::PlainText);
    hasStats = false;
}

void InputScanner::updateSummaryText()
{
    // A coloured change line stays up for its full time.
    if (changeHighlightTimer->isActive())
        return;
    if (hasStats && lastStats.fileCount != 0)
        Q_EMIT infoTextChanged(summaryText(lastStats), Qt::PlainText);
    else
        Q_EMIT infoTextChanged(tr("No files selected"), Qt::PlainText);
}
