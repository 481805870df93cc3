#include "progress/batchpanel.h"

#include "common/dialogs.h"
#include "common/formatting.h"
#include "common/styleroles.h"
#include "progress/batchtable.h"

#include <QAction>
#include <QClipboard>
#include <QDir>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QIcon>
#include <QItemSelection>
#include <QLabel>
#include <QMenu>
#include <QPixmap>
#include <QPushButton>
#include <QSet>
#include <QSignalBlocker>
#include <QStackedWidget>
#include <QTableWidget>
#include <QUrl>
#include <QVBoxLayout>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

const QColor greyedText(0x99, 0x99, 0x99);

QLabel *secondaryLabel(const QString &text, const QString &objectName, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setObjectName(objectName);
    setStyleRole(label, "textRole", u"secondary"_s);
    return label;
}

} // namespace

BatchPanel::BatchPanel(Dialogs *dialogs, QWidget *parent)
    : QWidget(parent)
    , dialogs(dialogs)
{
    setObjectName(u"batchPanel"_s);

    pages = new QStackedWidget(this);
    pages->setObjectName(u"batchPages"_s);

    auto *emptyPage = new QWidget(pages);
    emptyPage->setObjectName(u"batchEmptyPage"_s);
    auto *emptyLayout = new QVBoxLayout(emptyPage);
    auto *emptyIcon = new QLabel(emptyPage);
    emptyIcon->setObjectName(u"batchEmptyIcon"_s);
    emptyIcon->setPixmap(QPixmap(u":/res/style/icons/list.png"_s));
    emptyIcon->setAlignment(Qt::AlignCenter);
    auto *emptyTitle = secondaryLabel(tr("No files loaded"), u"batchEmptyTitle"_s, emptyPage);
    emptyTitle->setAlignment(Qt::AlignCenter);
    auto *emptyHint =
        secondaryLabel(tr("Open a file or folder to get started"), u"batchEmptyHint"_s, emptyPage);
    emptyHint->setAlignment(Qt::AlignCenter);
    emptyLayout->addStretch();
    emptyLayout->addWidget(emptyIcon);
    emptyLayout->addWidget(emptyTitle);
    emptyLayout->addWidget(emptyHint);
    emptyLayout->addStretch();

    tableWidget = new BatchTable(0, 5, pages);
    tableWidget->setObjectName(u"batchTable"_s);
    tableWidget->setHorizontalHeaderLabels({tr("File"), QString(), tr("Size"), tr("Status"), tr("Duration")});
    tableWidget->setEditTriggers(QAbstractItemView::NoEditTriggers);
    tableWidget->setSelectionBehavior(QAbstractItemView::SelectRows);
    tableWidget->setSelectionMode(QAbstractItemView::ExtendedSelection);
    tableWidget->setAlternatingRowColors(true);
    tableWidget->verticalHeader()->hide();
    tableWidget->setSortingEnabled(true);
    tableWidget->sortByColumn(NameColumn, Qt::AscendingOrder);
    QHeaderView *header = tableWidget->horizontalHeader();
    header->setStretchLastSection(false);
    header->setSectionResizeMode(NameColumn, QHeaderView::Stretch);
    header->setSectionResizeMode(FolderColumn, QHeaderView::Fixed);
    tableWidget->setColumnWidth(FolderColumn, 28);
    tableWidget->setMeasuredColumns({SizeColumn, StatusColumn, DurationColumn});
    tableWidget->setContextMenuPolicy(Qt::CustomContextMenu);

    pages->addWidget(emptyPage);
    pages->addWidget(tableWidget);
    pages->setCurrentIndex(0);

    clearButton = new QPushButton(QIcon(u":/res/style/icons/x.png"_s), tr("Clear"), this);
    clearButton->setObjectName(u"batchClearButton"_s);
    clearButton->setToolTip(tr("Clear file list"));
    summaryLabel = secondaryLabel(QString(), u"batchSummaryLabel"_s, this);
    skipButton = new QPushButton(QIcon(u":/res/style/icons/skip-forward.png"_s), tr("Skip Current"), this);
    skipButton->setObjectName(u"batchSkipButton"_s);
    skipButton->setToolTip(tr("Skip the currently running file and continue with the next"));
    skipButton->hide();
    durationLabel = secondaryLabel(QString(), u"batchDurationLabel"_s, this);

    auto *controls = new QHBoxLayout;
    controls->setContentsMargins(4, 4, 4, 4);
    controls->addWidget(clearButton);
    controls->addWidget(summaryLabel);
    controls->addStretch();
    controls->addWidget(skipButton);
    controls->addWidget(durationLabel);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(pages, 1);
    layout->addLayout(controls);

    clockTimer.setInterval(1000);
    connect(&clockTimer, &QTimer::timeout, this, &BatchPanel::writeClock);
    connect(clearButton, &QPushButton::clicked, this, &BatchPanel::clearFiles);
    connect(skipButton, &QPushButton::clicked, this, &BatchPanel::onSkipClicked);
    connect(tableWidget, &QTableWidget::itemSelectionChanged, this, [this] {
        if (severalRunning)
            updateSkipButton();
    });
    connect(tableWidget, &QTableWidget::cellClicked, this, &BatchPanel::onCellClicked);
    connect(tableWidget, &QTableWidget::customContextMenuRequested, this,
            &BatchPanel::onContextMenuRequested);
}

QFileInfoList BatchPanel::activeFiles() const
{
    QFileInfoList active;
    active.reserve(records.size());
    for (const FileRecord &record : records) {
        if (!record.disabled)
            active.append(record.file);
    }
    return active;
}

QFileInfoList BatchPanel::filesWithStatus(std::initializer_list<FileStatus> statuses) const
{
    QFileInfoList found;
    for (const FileRecord &record : records) {
        if (!record.disabled && std::find(statuses.begin(), statuses.end(), record.status) != statuses.end())
            found.append(record.file);
    }
    return found;
}

FileStatus BatchPanel::statusOf(int fileIndex) const
{
    return inRange(fileIndex) ? records.at(fileIndex).status : FileStatus::Pending;
}

int BatchPanel::exitCodeOf(int fileIndex) const
{
    return inRange(fileIndex) ? records.at(fileIndex).exitCode : ExitMarker::NotRun;
}

int BatchPanel::rowOfFile(int fileIndex) const
{
    if (!inRange(fileIndex) || !records.at(fileIndex).nameItem)
        return -1;
    // The remembered row is right as long as the file's name cell is still in it; when
    // the table has re-sorted since, one pass over column 0 refreshes every file's row.
    const FileRecord &record = records.at(fileIndex);
    if (record.row >= 0 && tableWidget->item(record.row, NameColumn) == record.nameItem)
        return record.row;
    for (const FileRecord &each : records)
        each.row = -1;
    for (int row = 0; row < tableWidget->rowCount(); ++row) {
        const int index = fileIndexOfRow(row);
        if (inRange(index) && records.at(index).row < 0)
            records.at(index).row = row;
    }
    return record.row;
}

QList<int> BatchPanel::selectedRows() const
{
    QList<int> rows;
    const QItemSelection selection = tableWidget->selectionModel()->selection();
    for (const QItemSelectionRange &range : selection) {
        for (int row = range.top(); row <= range.bottom(); ++row)
            rows.append(row);
    }
    // Ranges of a toggled selection can overlap.
    std::sort(rows.begin(), rows.end());
    rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
    return rows;
}

QList<int> BatchPanel::selectedFiles() const
{
    QList<int> files;
    for (const int row : selectedRows()) {
        const int index = fileIndexOfRow(row);
        if (inRange(index))
            files.append(index);
    }
    return files;
}

bool BatchPanel::canDisable(const FileRecord &record) const
{
    // During a run only a file still waiting can be left out.
    return running ? record.status == FileStatus::Pending : !record.disabled;
}

template <typename Applies>
QList<int> BatchPanel::applicableFiles(const QList<int> &fileIndexes, Applies applies) const
{
    QList<int> files;
    files.reserve(fileIndexes.size());
    for (const int index : fileIndexes) {
        if (inRange(index) && applies(records.at(index)))
            files.append(index);
    }
    std::sort(files.begin(), files.end());
    files.erase(std::unique(files.begin(), files.end()), files.end());
    QList<std::pair<int, int>> byRow;
    byRow.reserve(files.size());
    for (const int index : std::as_const(files))
        byRow.append({rowOfFile(index), index});
    std::sort(byRow.begin(), byRow.end());
    for (qsizetype i = 0; i < byRow.size(); ++i)
        files[i] = byRow.at(i).second;
    return files;
}

int BatchPanel::fileIndexOfRow(int row) const
{
    const QTableWidgetItem *item = tableWidget->item(row, NameColumn);
    if (!item)
        return -1;
    bool ok = false;
    const int index = item->data(Qt::UserRole).toInt(&ok);
    return ok ? index : -1;
}

int BatchPanel::fileIndexOfPath(const QString &path) const
{
    return pathIndex.value(path, -1);
}

QTableWidgetItem *BatchPanel::cell(int fileIndex, Column column) const
{
    const int row = rowOfFile(fileIndex);
    return row < 0 ? nullptr : tableWidget->item(row, column);
}

QString BatchPanel::summaryText(int fileCount, int disabledCount, qint64 enabledBytes)
{
    if (disabledCount == 0)
        return tr("%1 file(s), %2").arg(fileCount - disabledCount).arg(formatSize(enabledBytes));
    return tr("%1 file(s), %2 (%3 disabled)")
        .arg(fileCount - disabledCount)
        .arg(formatSize(enabledBytes))
        .arg(disabledCount);
}

void BatchPanel::buildRows()
{
    // Enabled files first, then the disabled ones, each in file order.
    QList<int> displayOrder;
    displayOrder.reserve(records.size());
    for (int i = 0; i < records.size(); ++i) {
        if (!records.at(i).disabled)
            displayOrder.append(i);
    }
    for (int i = 0; i < records.size(); ++i) {
        if (records.at(i).disabled)
            displayOrder.append(i);
    }

    // The selection follows its files into their new rows; the name cells still in the
    // table identify them, also after records were removed.
    QSet<const QTableWidgetItem *> wasSelected;
    for (const int row : selectedRows())
        wasSelected.insert(tableWidget->item(row, NameColumn));
    const QTableWidgetItem *wasCurrent = tableWidget->item(tableWidget->currentRow(), NameColumn);
    const int currentColumn = tableWidget->currentColumn();
    QList<int> keepSelected;
    int keepCurrent = -1;

    pages->setCurrentIndex(displayOrder.isEmpty() ? 0 : 1);
    // Filling a sorted table moves rows under setItem and scrambles cells, so sorting
    // is off while the rows are written and back on (re-sorting once) afterwards.
    tableWidget->setSortingEnabled(false);
    tableWidget->clearContents();
    tableWidget->setRowCount(static_cast<int>(records.size()));

    const QIcon folderIcon(u":/res/style/icons/external-link.png"_s);
    const QString folderTip = tr("Open containing folder");
    QList<std::array<QTableWidgetItem *, 5>> rows;
    rows.reserve(displayOrder.size());
    for (const int i : std::as_const(displayOrder)) {
        FileRecord &record = records[i];
        if (record.nameItem && wasSelected.contains(record.nameItem))
            keepSelected.append(i);
        if (record.nameItem && record.nameItem == wasCurrent)
            keepCurrent = i;

        auto *name = new QTableWidgetItem(record.file.fileName());
        name->setToolTip(record.file.absoluteFilePath());
        name->setData(Qt::UserRole, i);
        name->setFlags(name->flags() & ~Qt::ItemIsEditable);
        if (record.disabled)
            name->setForeground(greyedText);
        record.nameItem = name;

        auto *folder = new QTableWidgetItem(folderIcon, QString());
        folder->setToolTip(folderTip);

        auto *size = new QTableWidgetItem(formatSize(record.file.size()));
        size->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
        if (record.disabled)
            size->setForeground(greyedText);

        auto *status = new QTableWidgetItem;
        applyFileStatus(status, record.status, record.exitCode);
        status->setTextAlignment(Qt::AlignCenter);

        auto *duration = new QTableWidgetItem;
        duration->setTextAlignment(Qt::AlignCenter);
        const FileStatus state = record.status;
        if (record.timer.isValid() && (state == FileStatus::Done || state == FileStatus::Failed ||
                                       state == FileStatus::Skipped || state == FileStatus::Stopped))
            duration->setText(formatDuration(record.timer.elapsed()));
        rows.append({name, folder, size, status, duration});
    }

    // Rows go in already in the order the table's sort will give them (the same stable
    // comparison of display texts), so the sort moves nothing and the table keeps its
    // constant-time item-to-row lookup.
    const int sortColumn = tableWidget->horizontalHeader()->sortIndicatorSection();
    if (sortColumn >= 0 && sortColumn < tableWidget->columnCount()) {
        const bool ascending = tableWidget->horizontalHeader()->sortIndicatorOrder() == Qt::AscendingOrder;
        std::stable_sort(rows.begin(), rows.end(), [sortColumn, ascending](const auto &a, const auto &b) {
            return ascending ? *a[sortColumn] < *b[sortColumn] : *b[sortColumn] < *a[sortColumn];
        });
    }

    // The views hear nothing of the single cells; the sort below announces the whole new
    // layout at once, instead of a repaint and re-measure per cell.
    QSignalBlocker quietModel(tableWidget->model());
    for (int row = 0; row < rows.size(); ++row) {
        for (int column = 0; column < 5; ++column)
            tableWidget->setItem(row, column, rows.at(row)[column]);
        records[rows.at(row)[NameColumn]->data(Qt::UserRole).toInt()].row = row;
    }
    quietModel.unblock();
    tableWidget->invalidateContentWidths();
    tableWidget->setSortingEnabled(true);

    QAbstractItemModel *model = tableWidget->model();
    if (keepCurrent >= 0)
        tableWidget->selectionModel()->setCurrentIndex(
            model->index(records.at(keepCurrent).row, std::max(currentColumn, 0)),
            QItemSelectionModel::NoUpdate);
    if (wasSelected.isEmpty())
        return;
    QList<int> rowsToSelect;
    rowsToSelect.reserve(keepSelected.size());
    for (const int i : std::as_const(keepSelected))
        rowsToSelect.append(records.at(i).row);
    std::sort(rowsToSelect.begin(), rowsToSelect.end());
    // Runs of neighbouring rows as one range each, all set in one call.
    QItemSelection selection;
    for (qsizetype first = 0; first < rowsToSelect.size();) {
        qsizetype last = first;
        while (last + 1 < rowsToSelect.size() && rowsToSelect.at(last + 1) == rowsToSelect.at(last) + 1)
            ++last;
        selection.append(QItemSelectionRange(model->index(rowsToSelect.at(first), 0),
                                             model->index(rowsToSelect.at(last), model->columnCount() - 1)));
        first = last + 1;
    }
    tableWidget->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
}

void BatchPanel::writeStatus(int fileIndex)
{
    QTableWidgetItem *item = cell(fileIndex, StatusColumn);
    const FileRecord &record = records.at(fileIndex);
    if (!item || !isKnownFileStatus(record.status))
        return;
    tableWidget->aboutToSetText(item, StatusColumn, fileStatusText(record.status, record.exitCode));
    applyFileStatus(item, record.status, record.exitCode);
}

void BatchPanel::writeDuration(int fileIndex, const QString &text)
{
    QTableWidgetItem *item = cell(fileIndex, DurationColumn);
    if (!item)
        return;
    tableWidget->aboutToSetText(item, DurationColumn, text);
    item->setText(text);
}

void BatchPanel::updateSummary()
{
    if (records.isEmpty()) {
        summaryLabel->clear();
        return;
    }
    qint64 bytes = 0;
    int disabledCount = 0;
    for (const FileRecord &record : std::as_const(records)) {
        if (record.disabled)
            ++disabledCount;
        else
            bytes += record.file.size();
    }
    summaryLabel->setText(summaryText(static_cast<int>(records.size()), disabledCount, bytes));
}

void BatchPanel::writeClock()
{
    if (batchClock.isValid())
        durationLabel->setText(tr("Duration: %1").arg(formatClock(batchClock.elapsed())));
}

void BatchPanel::rebuildPathIndex()
{
    pathIndex.clear();
    pathIndex.reserve(records.size());
    for (int i = 0; i < records.size(); ++i)
        pathIndex.insert(records.at(i).file.absoluteFilePath(), i);
}

void BatchPanel::setFiles(const QFileInfoList &newFiles)
{
    clockTimer.stop();
    skipButton->hide();
    running = false;
    records.clear();
    records.reserve(newFiles.size());
    for (const QFileInfo &file : newFiles) {
        FileRecord record;
        record.file = file;
        records.append(record);
    }
    rebuildPathIndex();
    buildRows();
    updateSummary();
    Q_EMIT activeFilesChanged();
    if (records.isEmpty())
        durationLabel->clear();
    else
        durationLabel->setText(tr("Duration: %1").arg(QChar(0x2014)));
}

void BatchPanel::startBatch()
{
    running = true;
    buildRows();
    updateSkipButton();
    skipButton->show();
    batchClock.start();
    clockTimer.start();
    durationLabel->setText(tr("Duration: %1").arg(u"00:00"_s));
}

void BatchPanel::endBatch()
{
    running = false;
    clockTimer.stop();
    skipButton->hide();
    writeClock();
}

void BatchPanel::resetFailedForRetry()
{
    for (FileRecord &record : records) {
        const FileStatus state = record.status;
        if (state == FileStatus::Failed || state == FileStatus::Stopped || state == FileStatus::Canceled) {
            record.status = FileStatus::Pending;
            record.exitCode = ExitMarker::NotRun;
            record.timer.invalidate();
        }
    }
    buildRows();
    durationLabel->setText(tr("Duration: %1").arg(QChar(0x2014)));
}

void BatchPanel::prepareForConversion()
{
    for (FileRecord &record : records) {
        record.status = record.disabled ? FileStatus::Disabled : FileStatus::Pending;
        record.exitCode = record.disabled ? ExitMarker::Disabled : ExitMarker::NotRun;
    }
    startBatch();
}

void BatchPanel::prepareForRetry()
{
    startBatch();
}

void BatchPanel::onFileStarted(int, int, const QString &filePath)
{
    const int i = fileIndexOfPath(filePath);
    if (!inRange(i) || rowOfFile(i) < 0)
        return;
    records[i].status = FileStatus::Running;
    writeStatus(i);
    records[i].timer.start();
    tableWidget->scrollToItem(records.at(i).nameItem);
    updateSkipButton();
}

QStringList BatchPanel::selectedRunningPaths() const
{
    QStringList paths;
    for (const int row : selectedRows()) {
        const int i = fileIndexOfRow(row);
        if (inRange(i) && records.at(i).status == FileStatus::Running)
            paths.append(records.at(i).file.absoluteFilePath());
    }
    return paths;
}

void BatchPanel::updateSkipButton()
{
    severalRunning = std::count_if(records.cbegin(), records.cend(), [](const FileRecord &record) {
                         return record.status == FileStatus::Running;
                     }) > 1;
    if (!severalRunning) {
        skipButton->setText(tr("Skip Current"));
        skipButton->setToolTip(tr("Skip the currently running file and continue with the next"));
        skipButton->setEnabled(true);
        return;
    }
    skipButton->setText(tr("Skip"));
    skipButton->setToolTip(tr("Skip the selected running files and continue with the next"));
    skipButton->setEnabled(!selectedRunningPaths().isEmpty());
}

void BatchPanel::onSkipClicked()
{
    if (severalRunning)
        Q_EMIT skipFilesRequested(selectedRunningPaths());
    else
        Q_EMIT skipCurrentRequested();
}

void BatchPanel::onFileFinished(int, int exitCode, const QString &filePath)
{
    const int i = fileIndexOfPath(filePath);
    if (!inRange(i) || rowOfFile(i) < 0)
        return;
    FileRecord &record = records[i];
    record.exitCode = exitCode;
    record.status = fileStatusForExitCode(exitCode);
    // The duration cell is found before the status is written: a table sorted by status
    // moves the row on that write.
    QTableWidgetItem *duration = cell(i, DurationColumn);
    writeStatus(i);
    updateSkipButton();
    if (record.timer.isValid() && duration) {
        const QString text = formatDuration(record.timer.elapsed());
        tableWidget->aboutToSetText(duration, DurationColumn, text);
        duration->setText(text);
    }
}

void BatchPanel::onCancelled()
{
    endBatch();
    for (FileRecord &record : records) {
        if (record.status == FileStatus::Running) {
            record.status = FileStatus::Stopped;
            record.exitCode = ExitMarker::Stopped;
        } else if (record.status == FileStatus::Pending) {
            record.status = FileStatus::Canceled;
            record.exitCode = ExitMarker::Stopped;
        }
    }
    buildRows();
}

void BatchPanel::onConversionFinished()
{
    endBatch();
    buildRows();
}

void BatchPanel::setAllowRemove(bool allow)
{
    allowRemove = allow;
}

void BatchPanel::convertNext(int fileIndex)
{
    convertNextFiles({fileIndex});
}

void BatchPanel::convertNextFiles(const QList<int> &fileIndexes)
{
    // Requested in table order: the controller runs the requests in the order they come.
    const QList<int> files =
        applicableFiles(fileIndexes, [this](const FileRecord &r) { return canRequestNext(r); });
    for (const int fileIndex : files) {
        FileRecord &record = records[fileIndex];
        record.status = FileStatus::Pending;
        record.exitCode = ExitMarker::NotRun;
        record.timer.invalidate();
        // Fetched first: a table sorted by status moves the row when the status is written.
        QTableWidgetItem *duration = cell(fileIndex, DurationColumn);
        writeStatus(fileIndex);
        if (duration) {
            tableWidget->aboutToSetText(duration, DurationColumn, QString());
            duration->setText(QString());
        }
        Q_EMIT convertNextRequested(record.file.absoluteFilePath());
    }
}

void BatchPanel::disableFile(int fileIndex)
{
    disableFiles({fileIndex});
}

void BatchPanel::disableFiles(const QList<int> &fileIndexes)
{
    const QList<int> files =
        applicableFiles(fileIndexes, [this](const FileRecord &r) { return canDisable(r); });
    if (files.isEmpty())
        return;
    for (const int fileIndex : files) {
        FileRecord &record = records[fileIndex];
        record.disabled = true;
        record.status = FileStatus::Disabled;
        if (!running)
            continue;
        record.exitCode = ExitMarker::Disabled;
        Q_EMIT fileExcludedDuringConversion(record.file.absoluteFilePath());
        // Greyed in place: moving the row mid-run would make the user lose track of it.
        QTableWidgetItem *name = cell(fileIndex, NameColumn);
        QTableWidgetItem *size = cell(fileIndex, SizeColumn);
        if (name && size) {
            name->setForeground(greyedText);
            size->setForeground(greyedText);
        }
        writeStatus(fileIndex);
    }
    if (!running)
        buildRows();
    updateSummary();
    Q_EMIT activeFilesChanged();
}

void BatchPanel::enableFile(int fileIndex)
{
    enableFiles({fileIndex});
}

void BatchPanel::enableFiles(const QList<int> &fileIndexes)
{
    const QList<int> files =
        applicableFiles(fileIndexes, [this](const FileRecord &r) { return canEnable(r); });
    if (files.isEmpty())
        return;
    for (const int fileIndex : files) {
        records[fileIndex].disabled = false;
        records[fileIndex].status = FileStatus::Pending;
    }
    buildRows();
    updateSummary();
    Q_EMIT activeFilesChanged();
}

void BatchPanel::removeFile(int fileIndex)
{
    removeFiles({fileIndex});
}

void BatchPanel::removeFiles(const QList<int> &fileIndexes)
{
    if (running)
        return;
    const QList<int> files = applicableFiles(fileIndexes, [](const FileRecord &) { return true; });
    if (files.isEmpty())
        return;
    QStringList paths;
    QList<bool> removed(records.size(), false);
    for (const int fileIndex : files) {
        paths.append(records.at(fileIndex).file.absoluteFilePath());
        removed[fileIndex] = true;
    }
    // One pass that keeps the rest in file order, instead of shifting the list per file.
    QList<FileRecord> kept;
    kept.reserve(records.size() - files.size());
    for (qsizetype i = 0; i < records.size(); ++i) {
        if (!removed.at(i))
            kept.append(std::move(records[i]));
    }
    records = std::move(kept);
    rebuildPathIndex();
    buildRows();
    // The summary would otherwise still count the removed files.
    updateSummary();
    for (const QString &path : std::as_const(paths))
        Q_EMIT fileRemoved(path);
    Q_EMIT activeFilesChanged();
}

void BatchPanel::clearFiles()
{
    if (running)
        return;
    setFiles({});
    Q_EMIT filesCleared();
}

void BatchPanel::openContainingFolder(int fileIndex)
{
    openContainingFolders({fileIndex});
}

void BatchPanel::openContainingFolders(const QList<int> &fileIndexes)
{
    QSet<QString> opened;
    for (const int fileIndex : applicableFiles(fileIndexes, [](const FileRecord &) { return true; })) {
        const QFileInfo &file = records.at(fileIndex).file;
        if (!opened.contains(file.absolutePath())) {
            opened.insert(file.absolutePath());
            dialogs->showInFolder(file.absoluteFilePath());
        }
    }
}

void BatchPanel::copyPath(int fileIndex)
{
    if (inRange(fileIndex))
        QGuiApplication::clipboard()->setText(
            QDir::fromNativeSeparators(records.at(fileIndex).file.absoluteFilePath()));
}

void BatchPanel::openLog(int fileIndex)
{
    if (inRange(fileIndex) && !records.at(fileIndex).logFile.isEmpty())
        dialogs->openUrl(QUrl::fromLocalFile(records.at(fileIndex).logFile));
}

void BatchPanel::setLogFile(const QString &filePath, const QString &logFile)
{
    const int fileIndex = fileIndexOfPath(QFileInfo(filePath).absoluteFilePath());
    if (inRange(fileIndex))
        records[fileIndex].logFile = logFile;
}

void BatchPanel::addContextMenuAction(QAction *action)
{
    ownerActions.append(action);
}

QMenu *BatchPanel::createContextMenu(int fileIndex, QWidget *parent)
{
    if (!inRange(fileIndex))
        return nullptr;
    // A right-click inside the selection acts on all of it, elsewhere on the clicked file.
    QList<int> targets = selectedFiles();
    if (!targets.contains(fileIndex))
        targets = {fileIndex};
    const auto anyTarget = [this, &targets](auto applies) {
        return std::any_of(targets.cbegin(), targets.cend(), [&](int i) { return applies(records.at(i)); });
    };
    auto *menu = new QMenu(parent);
    menu->setObjectName(u"batchContextMenu"_s);
    if (anyTarget([this](const FileRecord &r) { return canRequestNext(r); }))
        menu->addAction(QIcon(u":/res/style/icons/refresh-cw.png"_s), tr("Convert next"), this,
                        [this, targets] { convertNextFiles(targets); });
    if (anyTarget([this](const FileRecord &r) { return canDisable(r); }))
        menu->addAction(QIcon(u":/res/style/icons/eye-off.png"_s), tr("Disable"), this,
                        [this, targets] { disableFiles(targets); });
    if (anyTarget([this](const FileRecord &r) { return canEnable(r); }))
        menu->addAction(QIcon(u":/res/style/icons/eye.png"_s), tr("Enable"), this,
                        [this, targets] { enableFiles(targets); });
    menu->addSeparator();
    menu->addAction(QIcon(u":/res/style/icons/external-link.png"_s), tr("Open Folder"), this,
                    [this, targets] { openContainingFolders(targets); });
    menu->addAction(tr("Copy Path"), this, [this, fileIndex] { copyPath(fileIndex); });
    if (!records.at(fileIndex).logFile.isEmpty())
        menu->addAction(QIcon(u":/res/style/icons/file-text.png"_s), tr("Open Log"), this,
                        [this, fileIndex] { openLog(fileIndex); });
    if (allowRemove && !running) {
        menu->addSeparator();
        menu->addAction(QIcon(u":/res/style/icons/x.png"_s), tr("Remove"), this,
                        [this, targets] { removeFiles(targets); });
    }
    for (QAction *action : std::as_const(ownerActions)) {
        if (action->isEnabled()) {
            menu->addSeparator();
            menu->addAction(action);
        }
    }
    return menu;
}

void BatchPanel::onCellClicked(int row, int column)
{
    const int fileIndex = fileIndexOfRow(row);
    if (!inRange(fileIndex))
        return;
    if (column == FolderColumn)
        openContainingFolder(fileIndex);
    else if (column == StatusColumn && records.at(fileIndex).status == FileStatus::Failed)
        Q_EMIT jumpToLogError(records.at(fileIndex).file.fileName());
}

void BatchPanel::onContextMenuRequested(const QPoint &pos)
{
    const QTableWidgetItem *item = tableWidget->itemAt(pos);
    if (!item)
        return;
    QMenu *menu = createContextMenu(fileIndexOfRow(item->row()), this);
    if (!menu)
        return;
    menu->exec(tableWidget->viewport()->mapToGlobal(pos));
    delete menu;
}
