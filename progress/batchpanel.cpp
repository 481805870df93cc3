#include "progress/batchpanel.h"

#include "common/dialogs.h"
#include "common/formatting.h"
#include "common/styleroles.h"
#include "progress/batchtable.h"

#include <QClipboard>
#include <QDir>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QIcon>
#include <QLabel>
#include <QMenu>
#include <QPixmap>
#include <QPushButton>
#include <QSignalBlocker>
#include <QStackedWidget>
#include <QTableWidget>
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
    connect(skipButton, &QPushButton::clicked, this, &BatchPanel::skipCurrentRequested);
    connect(tableWidget, &QTableWidget::cellClicked, this, &BatchPanel::onCellClicked);
    connect(tableWidget, &QTableWidget::customContextMenuRequested, this,
            &BatchPanel::onContextMenuRequested);
}

QFileInfoList BatchPanel::activeFiles() const
{
    QFileInfoList active;
    active.reserve(files.size() - disabled.size());
    for (int i = 0; i < files.size(); ++i) {
        if (!disabled.contains(i))
            active.append(files.at(i));
    }
    return active;
}

FileStatus BatchPanel::statusOf(int fileIndex) const
{
    return inRange(fileIndex) ? statuses.at(fileIndex) : FileStatus::Pending;
}

int BatchPanel::exitCodeOf(int fileIndex) const
{
    return inRange(fileIndex) ? exitCodes.at(fileIndex) : ExitMarker::NotRun;
}

int BatchPanel::rowOfFile(int fileIndex) const
{
    if (fileIndex < 0 || fileIndex >= nameItems.size() || !nameItems.at(fileIndex))
        return -1;
    // The remembered row is right as long as the file's name cell is still in it; when
    // the table has re-sorted since, one pass over column 0 refreshes every file's row.
    const int remembered = rowCache.value(fileIndex, -1);
    if (remembered >= 0 && tableWidget->item(remembered, NameColumn) == nameItems.at(fileIndex))
        return remembered;
    rowCache.fill(-1, files.size());
    for (int row = 0; row < tableWidget->rowCount(); ++row) {
        const int index = fileIndexOfRow(row);
        if (index >= 0 && index < rowCache.size() && rowCache.at(index) < 0)
            rowCache[index] = row;
    }
    return rowCache.at(fileIndex);
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
    updating = true;
    displayOrder.clear();
    displayOrder.reserve(files.size());
    for (int i = 0; i < files.size(); ++i) {
        if (!disabled.contains(i))
            displayOrder.append(i);
    }
    for (int i = 0; i < files.size(); ++i) {
        if (disabled.contains(i))
            displayOrder.append(i);
    }

    pages->setCurrentIndex(displayOrder.isEmpty() ? 0 : 1);
    // Filling a sorted table moves rows under setItem and scrambles cells, so sorting
    // is off while the rows are written and back on (re-sorting once) afterwards.
    tableWidget->setSortingEnabled(false);
    tableWidget->clearContents();
    tableWidget->setRowCount(static_cast<int>(files.size()));
    nameItems.fill(nullptr, files.size());

    const QIcon folderIcon(u":/res/style/icons/external-link.png"_s);
    const QString folderTip = tr("Open containing folder");
    QList<std::array<QTableWidgetItem *, 5>> rows;
    rows.reserve(displayOrder.size());
    for (const int i : std::as_const(displayOrder)) {
        const QFileInfo &file = files.at(i);
        const bool isOff = disabled.contains(i);

        auto *name = new QTableWidgetItem(file.fileName());
        name->setToolTip(file.absoluteFilePath());
        name->setData(Qt::UserRole, i);
        name->setFlags(name->flags() & ~Qt::ItemIsEditable);
        if (isOff)
            name->setForeground(greyedText);
        nameItems[i] = name;

        auto *folder = new QTableWidgetItem(folderIcon, QString());
        folder->setToolTip(folderTip);

        auto *size = new QTableWidgetItem(formatSize(file.size()));
        size->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
        if (isOff)
            size->setForeground(greyedText);

        auto *status = new QTableWidgetItem;
        applyFileStatus(status, statuses.at(i), exitCodes.at(i));
        status->setTextAlignment(Qt::AlignCenter);

        auto *duration = new QTableWidgetItem;
        duration->setTextAlignment(Qt::AlignCenter);
        const FileStatus state = statuses.at(i);
        if (timers.at(i).isValid() && (state == FileStatus::Done || state == FileStatus::Failed ||
                                       state == FileStatus::Skipped || state == FileStatus::Stopped))
            duration->setText(formatDuration(timers.at(i).elapsed()));
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
    rowCache.fill(-1, files.size());
    for (int row = 0; row < rows.size(); ++row) {
        for (int column = 0; column < 5; ++column)
            tableWidget->setItem(row, column, rows.at(row)[column]);
        rowCache[rows.at(row)[NameColumn]->data(Qt::UserRole).toInt()] = row;
    }
    quietModel.unblock();
    tableWidget->invalidateContentWidths();
    tableWidget->setSortingEnabled(true);
    updating = false;
}

void BatchPanel::writeStatus(QTableWidgetItem *item, FileStatus status, int exitCode)
{
    if (!item || !isKnownFileStatus(status))
        return;
    tableWidget->aboutToSetText(item, StatusColumn, fileStatusText(status, exitCode));
    applyFileStatus(item, status, exitCode);
}

void BatchPanel::writeDuration(QTableWidgetItem *item, const QString &text)
{
    if (!item)
        return;
    tableWidget->aboutToSetText(item, DurationColumn, text);
    item->setText(text);
}

void BatchPanel::updateSummary()
{
    if (files.isEmpty()) {
        summaryLabel->clear();
        return;
    }
    qint64 bytes = 0;
    for (int i = 0; i < files.size(); ++i) {
        if (!disabled.contains(i))
            bytes += files.at(i).size();
    }
    summaryLabel->setText(
        summaryText(static_cast<int>(files.size()), static_cast<int>(disabled.size()), bytes));
}

void BatchPanel::writeClock()
{
    if (batchClock.isValid())
        durationLabel->setText(tr("Duration: %1").arg(formatClock(batchClock.elapsed())));
}

void BatchPanel::rebuildPathIndex()
{
    pathIndex.clear();
    pathIndex.reserve(files.size());
    for (int i = 0; i < files.size(); ++i)
        pathIndex.insert(files.at(i).absoluteFilePath(), i);
}

void BatchPanel::setFiles(const QFileInfoList &newFiles)
{
    clockTimer.stop();
    skipButton->hide();
    running = false;
    files = newFiles;
    disabled.clear();
    exitCodes.fill(ExitMarker::NotRun, files.size());
    statuses.fill(FileStatus::Pending, files.size());
    timers.fill(QElapsedTimer(), files.size());
    rebuildPathIndex();
    buildRows();
    updateSummary();
    Q_EMIT activeFilesChanged();
    if (files.isEmpty())
        durationLabel->clear();
    else
        durationLabel->setText(tr("Duration: %1").arg(QChar(0x2014)));
}

void BatchPanel::startBatch()
{
    running = true;
    skipButton->show();
    buildRows();
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
    for (int i = 0; i < files.size(); ++i) {
        const FileStatus state = statuses.at(i);
        if (state == FileStatus::Failed || state == FileStatus::Stopped || state == FileStatus::Canceled) {
            statuses[i] = FileStatus::Pending;
            exitCodes[i] = ExitMarker::NotRun;
            timers[i] = QElapsedTimer();
        }
    }
    buildRows();
    durationLabel->setText(tr("Duration: %1").arg(QChar(0x2014)));
}

void BatchPanel::prepareForConversion()
{
    for (int i = 0; i < files.size(); ++i) {
        const bool isOff = disabled.contains(i);
        statuses[i] = isOff ? FileStatus::Disabled : FileStatus::Pending;
        exitCodes[i] = isOff ? ExitMarker::Disabled : ExitMarker::NotRun;
    }
    startBatch();
}

void BatchPanel::prepareForRetry()
{
    startBatch();
}

void BatchPanel::onFileStarted(int index, int total, const QString &filePath)
{
    Q_UNUSED(index)
    Q_UNUSED(total)
    const auto found = pathIndex.constFind(filePath);
    if (found == pathIndex.cend() || rowOfFile(*found) < 0)
        return;
    const int i = *found;
    statuses[i] = FileStatus::Running;
    updating = true;
    QTableWidgetItem *name = nameItems.at(i);
    writeStatus(tableWidget->item(rowOfFile(i), StatusColumn), FileStatus::Running, exitCodes.at(i));
    updating = false;
    timers[i].start();
    tableWidget->scrollToItem(name);
}

void BatchPanel::onFileFinished(int index, int exitCode, const QString &filePath)
{
    Q_UNUSED(index)
    const auto found = pathIndex.constFind(filePath);
    if (found == pathIndex.cend())
        return;
    const int i = *found;
    const int row = rowOfFile(i);
    if (row < 0)
        return;
    exitCodes[i] = exitCode;
    statuses[i] = fileStatusForExitCode(exitCode);
    updating = true;
    // Fetch both cells before writing: a table sorted by status moves the row on the first write.
    QTableWidgetItem *status = tableWidget->item(row, StatusColumn);
    QTableWidgetItem *duration = tableWidget->item(row, DurationColumn);
    writeStatus(status, statuses.at(i), exitCode);
    if (timers.at(i).isValid())
        writeDuration(duration, formatDuration(timers.at(i).elapsed()));
    updating = false;
}

void BatchPanel::onCancelled()
{
    endBatch();
    for (int i = 0; i < files.size(); ++i) {
        if (statuses.at(i) == FileStatus::Running) {
            statuses[i] = FileStatus::Stopped;
            exitCodes[i] = ExitMarker::Stopped;
        } else if (statuses.at(i) == FileStatus::Pending) {
            statuses[i] = FileStatus::Canceled;
            exitCodes[i] = ExitMarker::Stopped;
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
    if (!inRange(fileIndex) || !running)
        return;
    const FileStatus state = statuses.at(fileIndex);
    if (state != FileStatus::Pending && state != FileStatus::Failed && state != FileStatus::Skipped &&
        state != FileStatus::Stopped)
        return;
    statuses[fileIndex] = FileStatus::Pending;
    exitCodes[fileIndex] = ExitMarker::NotRun;
    timers[fileIndex] = QElapsedTimer();
    const int row = rowOfFile(fileIndex);
    if (row >= 0) {
        updating = true;
        QTableWidgetItem *status = tableWidget->item(row, StatusColumn);
        QTableWidgetItem *duration = tableWidget->item(row, DurationColumn);
        writeStatus(status, FileStatus::Pending, ExitMarker::NotRun);
        writeDuration(duration, QString());
        updating = false;
    }
    Q_EMIT convertNextRequested(files.at(fileIndex).absoluteFilePath());
}

void BatchPanel::disableFile(int fileIndex)
{
    if (!inRange(fileIndex))
        return;
    if (running && statuses.at(fileIndex) != FileStatus::Pending)
        return;
    disabled.insert(fileIndex);
    statuses[fileIndex] = FileStatus::Disabled;
    if (running) {
        exitCodes[fileIndex] = ExitMarker::Disabled;
        Q_EMIT fileExcludedDuringConversion(files.at(fileIndex).absoluteFilePath());
        // Greyed in place: moving the row mid-run would make the user lose track of it.
        const int row = rowOfFile(fileIndex);
        if (row >= 0) {
            updating = true;
            QTableWidgetItem *name = tableWidget->item(row, NameColumn);
            QTableWidgetItem *size = tableWidget->item(row, SizeColumn);
            QTableWidgetItem *status = tableWidget->item(row, StatusColumn);
            name->setForeground(greyedText);
            size->setForeground(greyedText);
            writeStatus(status, FileStatus::Disabled, ExitMarker::Disabled);
            updating = false;
        }
    } else {
        buildRows();
    }
    updateSummary();
    Q_EMIT activeFilesChanged();
}

void BatchPanel::enableFile(int fileIndex)
{
    if (running || !inRange(fileIndex))
        return;
    disabled.remove(fileIndex);
    statuses[fileIndex] = FileStatus::Pending;
    buildRows();
    updateSummary();
    Q_EMIT activeFilesChanged();
}

void BatchPanel::removeFile(int fileIndex)
{
    if (running || !inRange(fileIndex))
        return;
    const QString path = files.at(fileIndex).absoluteFilePath();
    files.removeAt(fileIndex);
    exitCodes.removeAt(fileIndex);
    statuses.removeAt(fileIndex);
    timers.removeAt(fileIndex);
    QSet<int> shifted;
    for (const int i : std::as_const(disabled)) {
        if (i != fileIndex)
            shifted.insert(i > fileIndex ? i - 1 : i);
    }
    disabled = shifted;
    rebuildPathIndex();
    buildRows();
    // The summary would otherwise still count the removed file.
    updateSummary();
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
    if (inRange(fileIndex))
        dialogs->showInFolder(files.at(fileIndex).absoluteFilePath());
}

void BatchPanel::copyPath(int fileIndex)
{
    if (inRange(fileIndex))
        QGuiApplication::clipboard()->setText(
            QDir::fromNativeSeparators(files.at(fileIndex).absoluteFilePath()));
}

QMenu *BatchPanel::createContextMenu(int fileIndex, QWidget *parent)
{
    if (!inRange(fileIndex))
        return nullptr;
    auto *menu = new QMenu(parent);
    menu->setObjectName(u"batchContextMenu"_s);
    const FileStatus state = statuses.at(fileIndex);
    if (running) {
        if (state == FileStatus::Pending || state == FileStatus::Failed || state == FileStatus::Skipped ||
            state == FileStatus::Stopped)
            menu->addAction(QIcon(u":/res/style/icons/refresh-cw.png"_s), tr("Convert next"), this,
                            [this, fileIndex] { convertNext(fileIndex); });
        if (state == FileStatus::Pending)
            menu->addAction(QIcon(u":/res/style/icons/eye-off.png"_s), tr("Disable"), this,
                            [this, fileIndex] { disableFile(fileIndex); });
    } else if (disabled.contains(fileIndex)) {
        menu->addAction(QIcon(u":/res/style/icons/eye.png"_s), tr("Enable"), this,
                        [this, fileIndex] { enableFile(fileIndex); });
    } else {
        menu->addAction(QIcon(u":/res/style/icons/eye-off.png"_s), tr("Disable"), this,
                        [this, fileIndex] { disableFile(fileIndex); });
    }
    menu->addSeparator();
    menu->addAction(QIcon(u":/res/style/icons/external-link.png"_s), tr("Open Folder"), this,
                    [this, fileIndex] { openContainingFolder(fileIndex); });
    menu->addAction(tr("Copy Path"), this, [this, fileIndex] { copyPath(fileIndex); });
    if (allowRemove && !running) {
        menu->addSeparator();
        menu->addAction(QIcon(u":/res/style/icons/x.png"_s), tr("Remove"), this,
                        [this, fileIndex] { removeFile(fileIndex); });
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
    else if (column == StatusColumn && statuses.at(fileIndex) == FileStatus::Failed)
        Q_EMIT jumpToLogError(files.at(fileIndex).fileName());
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
