#include "options/fileversionspanel.h"

#include "common/groupbox.h"
#include "common/styleroles.h"

#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

FileVersionsPanel::FileVersionsPanel(QWidget *parent)
    : QWidget(parent)
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
}

QMap<int, QMap<int, FileVersion>> FileVersionsPanel::rowsOf(const QMap<int, QMap<int, FileVersion>> &byColumn)
{
    QMap<int, QMap<int, FileVersion>> byRow;
    for (auto column = byColumn.cbegin(); column != byColumn.cend(); ++column) {
        for (auto cell = column.value().cbegin(); cell != column.value().cend(); ++cell)
            byRow[cell.key()][column.key()] = cell.value();
    }
    return byRow;
}

void FileVersionsPanel::setConverter(const ConverterInfo &info)
{
    if (info.fileVersions.isEmpty()) {
        hide();
        return;
    }
    QGridLayout *grid = replaceGroupBox(this, group, tr("Usable file formats"), u"fileVersionsGroup"_s);
    grid->setHorizontalSpacing(6);
    grid->setVerticalSpacing(4);

    const auto rows = rowsOf(info.fileVersions);
    for (auto row = rows.cbegin(); row != rows.cend(); ++row) {
        for (auto cell = row.value().cbegin(); cell != row.value().cend(); ++cell) {
            const FileVersion &version = cell.value();
            // An empty cell leaves a gap in the grid.
            if (version.label.isEmpty())
                continue;
            auto *badge = new QLabel(version.label, group);
            badge->setObjectName(u"versionBadge"_s);
            badge->setAlignment(Qt::AlignCenter);
            badge->setContentsMargins(6, 2, 6, 2);
            setStyleRole(badge, "badgeRole", version.supported ? u"supported"_s : u"unsupported"_s);
            grid->addWidget(badge, row.key(), cell.key());
        }
    }
    show();
}
