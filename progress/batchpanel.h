#pragma once

#include "progress/batchtable.h"
#include "progress/filestatus.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QHash>
#include <QList>
#include <QTimer>
#include <QWidget>

#include <initializer_list>

class Dialogs;
class QAction;
class QLabel;
class QMenu;
class QPushButton;
class QStackedWidget;
class QTableWidget;
class QTableWidgetItem;

// The per-file table of a batch: name, folder button, size, status and duration of
// every input file, with a summary, a batch clock and the per-file actions.
class BatchPanel final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(BatchPanel)

public:
    enum Column { NameColumn = 0, FolderColumn = 1, SizeColumn = 2, StatusColumn = 3, DurationColumn = 4 };

    explicit BatchPanel(Dialogs *dialogs, QWidget *parent = nullptr);

    // The files that would be converted: every file not disabled, in file order.
    QFileInfoList activeFiles() const;
    // The enabled files whose status is one of statuses, in file order.
    QFileInfoList filesWithStatus(std::initializer_list<FileStatus> statuses) const;

    int fileCount() const { return static_cast<int>(records.size()); }
    QFileInfo fileAt(int fileIndex) const
    {
        return inRange(fileIndex) ? records.at(fileIndex).file : QFileInfo();
    }
    FileStatus statusOf(int fileIndex) const;
    int exitCodeOf(int fileIndex) const;
    bool isDisabled(int fileIndex) const { return inRange(fileIndex) && records.at(fileIndex).disabled; }
    bool isRunning() const { return running; }
    // The table row now showing a file, or -1.
    int rowOfFile(int fileIndex) const;
    // The files of the selected rows, in table order.
    QList<int> selectedFiles() const;
    QTableWidget *table() const { return tableWidget; }

    // The row actions, also reachable from the context menu. The list forms act on the files
    // the action applies to, in table order and in one step: at most one rebuild of the rows
    // and one activeFilesChanged for the whole set.
    void convertNext(int fileIndex);
    void convertNextFiles(const QList<int> &fileIndexes);
    void disableFile(int fileIndex);
    void disableFiles(const QList<int> &fileIndexes);
    void enableFile(int fileIndex);
    void enableFiles(const QList<int> &fileIndexes);
    void removeFile(int fileIndex);
    void removeFiles(const QList<int> &fileIndexes);
    void clearFiles();
    void openContainingFolder(int fileIndex);
    // Each distinct folder once, showing the first of its files in table order.
    void openContainingFolders(const QList<int> &fileIndexes);
    void copyPath(int fileIndex);
    void openLog(int fileIndex);
    // An action of the owner's that every file's context menu ends with while it is enabled.
    void addContextMenuAction(QAction *action);
    // The context menu of a file as its state allows; the caller owns it.
    QMenu *createContextMenu(int fileIndex, QWidget *parent);

    static QString summaryText(int fileCount, int disabledCount, qint64 enabledBytes);

Q_SIGNALS:
    void jumpToLogError(const QString &filename);
    void skipCurrentRequested();
    // While several files run: skip these running files.
    void skipFilesRequested(const QStringList &filePaths);
    void fileExcludedDuringConversion(const QString &filePath);
    void activeFilesChanged();
    void convertNextRequested(const QString &filePath);
    void fileRemoved(const QString &filePath);
    void filesCleared();

public Q_SLOTS:
    void setFiles(const QFileInfoList &files);
    // The log a file's conversion left on disk; an empty path forgets it.
    void setLogFile(const QString &filePath, const QString &logFile);
    void resetFailedForRetry();
    void prepareForConversion();
    void prepareForRetry();
    void onFileStarted(int index, int total, const QString &filePath);
    void onFileFinished(int index, int exitCode, const QString &filePath);
    void onCancelled();
    void onConversionFinished();
    void setAllowRemove(bool allow);

private:
    // Everything the panel knows of one input file.
    struct FileRecord
    {
        QFileInfo file;
        FileStatus status = FileStatus::Pending;
        int exitCode = ExitMarker::NotRun;
        QElapsedTimer timer;
        bool disabled = false;
        QString logFile;
        // The file's name cell, so its row is found without scanning the table.
        QTableWidgetItem *nameItem = nullptr;
        // The row the name cell was last seen in; checked before use, since sorting moves rows.
        mutable int row = -1;
    };

    // Which files each row action applies to; the menu and the actions share them.
    bool canDisable(const FileRecord &record) const;
    bool canEnable(const FileRecord &record) const { return !running && record.disabled; }
    bool canRequestNext(const FileRecord &record) const { return running && canConvertNext(record.status); }
    template <typename Applies>
    QList<int> applicableFiles(const QList<int> &fileIndexes, Applies applies) const;
    QList<int> selectedRows() const;

    void buildRows();
    void updateSummary();
    // Cell writes after the rows are built, keeping the measured column widths right.
    void writeStatus(int fileIndex);
    void writeDuration(int fileIndex, const QString &text);
    void writeClock();
    void startBatch();
    // "Skip Current" while one file runs; "Skip" for the selected running rows while more do.
    void updateSkipButton();
    void onSkipClicked();
    QStringList selectedRunningPaths() const;
    void endBatch();
    void rebuildPathIndex();
    bool inRange(int fileIndex) const { return fileIndex >= 0 && fileIndex < records.size(); }
    int fileIndexOfRow(int row) const;
    int fileIndexOfPath(const QString &path) const;
    QTableWidgetItem *cell(int fileIndex, Column column) const;
    void onCellClicked(int row, int column);
    void onContextMenuRequested(const QPoint &pos);

    Dialogs *dialogs;
    QStackedWidget *pages = nullptr;
    BatchTable *tableWidget = nullptr;
    QPushButton *clearButton = nullptr;
    QLabel *summaryLabel = nullptr;
    QPushButton *skipButton = nullptr;
    QLabel *durationLabel = nullptr;

    QList<FileRecord> records;
    // Absolute path to file index, for the controller's signals.
    QHash<QString, int> pathIndex;
    QList<QAction *> ownerActions;
    bool running = false;
    bool allowRemove = false;
    bool severalRunning = false;
    QElapsedTimer batchClock;
    QTimer clockTimer;
};
