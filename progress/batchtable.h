#pragma once

#include <QHash>
#include <QMap>
#include <QSet>
#include <QTableWidget>

// The batch panel's table. Columns sized to their contents would make Qt measure the
// texts of a thousand rows after every cell change; this table keeps the widest text
// of such columns up to date as cells are written, so a change costs one measurement.
class BatchTable final : public QTableWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(BatchTable)

public:
    BatchTable(int rows, int columns, QWidget *parent = nullptr);

    // Columns whose contents width the table tracks (they are set to ResizeToContents).
    void setMeasuredColumns(const QList<int> &columns);
    // Call before writing text into a cell of a measured column; the cell is written by the caller.
    void aboutToSetText(const QTableWidgetItem *item, int column, const QString &text);
    // After cells were written without aboutToSetText (a rebuild): measure again when asked.
    void invalidateContentWidths();

    int sizeHintForColumn(int column) const override;

protected:
    void changeEvent(QEvent *event) override;

private:
    int textWidth(const QString &text) const;

    QSet<int> measured;
    // Per measured column: how many cells have each width (only after a first measurement).
    mutable QHash<int, QMap<int, int>> widthCounts;
    mutable QHash<QString, int> widthOfText;
};
