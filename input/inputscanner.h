#pragma once

#include <QFileInfoList>
#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>

class QFileSystemWatcher;
class QTimer;

// Count and total size of a list of input files; what the summary line shows.
struct ScanStats
{
    quint32 fileCount = 0;
    qint64 totalBytes = 0;

    friend bool operator==(const ScanStats &, const ScanStats &) = default;
};

// What one background scan produces.
struct ScanResult
{
    quint32 fileCount = 0;
    qint64 totalBytes = 0;
    QFileInfoList files;
};

// Turns the user's input choice into the list of files to convert, off the GUI thread,
// keeps the one-line summary of that list up to date, and rescans the chosen folder by
// itself when files appear or vanish there.
class InputScanner final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(InputScanner)

public:
    using ScanFunction = std::function<ScanResult(const QString &path, const QStringList &nameFilters,
                                                  bool singleFile, bool includeSubfolders)>;

    explicit InputScanner(QObject *parent = nullptr);

    void startScan(const QString &path, const QStringList &nameFilters, bool singleFile,
                   bool includeSubfolders);
    void setFileList(const QFileInfoList &files);
    void refreshSummary(const QFileInfoList &files);
    void stopWatching();

    bool isAutoRescanEnabled() const { return autoRescan; }
    void setAutoRescan(bool enabled) { autoRescan = enabled; }
    QString watchedDirectory() const { return watchedDir; }

    // Test seams: shorter waits, and a scan whose timing the test controls. The scan
    // function runs on the worker thread and must touch nothing shared.
    int debounceInterval() const;
    void setDebounceInterval(int msec);
    int changeHighlightInterval() const;
    void setChangeHighlightInterval(int msec);
    void setScanFunction(ScanFunction function);

    // The walk itself, as the worker runs it.
    static ScanResult scan(const QString &path, const QStringList &nameFilters, bool singleFile,
                           bool includeSubfolders);
    static ScanStats statsOf(const QFileInfoList &files);
    // The rich-text line that shows how `after` differs from `before`.
    static QString changeText(const ScanStats &before, const ScanStats &after);
    static QString summaryText(const ScanStats &stats);

Q_SIGNALS:
    void scanComplete(const QFileInfoList &files);
    void infoTextChanged(const QString &text, Qt::TextFormat format);

private:
    void onScanFinished(quint32 request, const ScanResult &result, const QString &dir);
    void onDirectoryChanged();
    void setWatchedDirectory(const QString &dir);
    void showChange(const ScanStats &stats);
    void showNoFiles();
    void updateSummaryText();
    void applyList(const QFileInfoList &files, bool emitList);

    QTimer *debounceTimer;
    QTimer *changeHighlightTimer;
    QFileSystemWatcher *watcher;
    ScanStats lastStats;
    bool hasStats = false;
    QString watchedDir;
    // Counts every call that changes what the scanner serves (start, file list, stop); a
    // scan whose request is not the latest is dropped when it ends.
    quint32 generation = 0;
    bool autoRescan = true;
    QString requestPath;
    QStringList requestFilters;
    bool requestSingleFile = false;
    bool requestRecursive = false;
    ScanFunction scanFunction;
};
