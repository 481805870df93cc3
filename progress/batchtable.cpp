#include "progress/batchtable.h"

#include <QEvent>
#include <QHeaderView>
#include <QStyle>
#include <QStyleOptionViewItem>

BatchTable::BatchTable(int rows, int columns, QWidget *parent)
    : QTableWidget(rows, columns, parent)
{
}

void BatchTable::setMeasuredColumns(const QList<int> &columns)
{
    measured = QSet<int>(columns.cbegin(), columns.cend());
    for (const int column : columns)
        horizontalHeader()->setSectionResizeMode(column, QHeaderView::ResizeToContents);
    invalidateContentWidths();
}

void BatchTable::invalidateContentWidths()
{
    widthCounts.clear();
}

int BatchTable::textWidth(const QString &text) const
{
    auto it = widthOfText.constFind(text);
    if (it != widthOfText.cend())
        return *it;
    // What the item delegate reports for a cell holding only this text.
    QStyleOptionViewItem option;
    initViewItemOption(&option);
    option.text = text;
    option.features |= QStyleOptionViewItem::HasDisplay;
    int width = style()->sizeFromContents(QStyle::CT_ItemViewItem, &option, QSize(), this).width();
    if (showGrid())
        width += 1;
    return *widthOfText.insert(text, width);
}

void BatchTable::aboutToSetText(const QTableWidgetItem *item, int column, const QString &text)
{
    auto it = widthCounts.find(column);
    if (!item || it == widthCounts.end())
        return;
    // Counting the cells of each width keeps the widest one known when it is overwritten.
    const auto old = it->find(textWidth(item->text()));
    if (old != it->end() && --*old == 0)
        it->erase(old);
    ++(*it)[textWidth(text)];
}

int BatchTable::sizeHintForColumn(int column) const
{
    if (!measured.contains(column))
        return QTableWidget::sizeHintForColumn(column);
    auto it = widthCounts.find(column);
    if (it == widthCounts.end()) {
        it = widthCounts.insert(column, {});
        for (int row = 0; row < rowCount(); ++row) {
            if (const QTableWidgetItem *cell = item(row, column))
                ++(*it)[textWidth(cell->text())];
        }
    }
    return it->isEmpty() ? 0 : it->lastKey();
}

void BatchTable::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange) {
        widthOfText.clear();
        widthCounts.clear();
    }
    QTableWidget::changeEvent(event);
}
