#include "options/exportformatspanel.h"

#include "common/groupbox.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

ExportFormatsPanel::ExportFormatsPanel(QWidget *parent)
    : QWidget(parent)
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
}

QString ExportFormatsPanel::lockToolTip(const ExportFormat &format)
{
    if (!format.locked)
        return {};
    return format.checked ? tr("Required format — cannot be disabled")
                          : tr("Not available for this converter");
}

void ExportFormatsPanel::setConverter(const ConverterInfo &info)
{
    converter = info;
    formatBoxes.clear();
    QGridLayout *grid = replaceGroupBox(this, group, tr("Export file formats"), u"exportFormatsGroup"_s);

    // Placed by row and column: the map's key order says nothing about the layout.
    for (auto it = info.formats.cbegin(); it != info.formats.cend(); ++it) {
        const ExportFormat &format = it.value();
        auto *box = new QCheckBox(format.description, group);
        box->setObjectName(u"format_"_s + it.key());
        box->setCheckable(format.checkable);
        box->setChecked(format.checked);
        box->setDisabled(format.locked);
        box->setToolTip(lockToolTip(format));
        connect(box, &QCheckBox::toggled, this, &ExportFormatsPanel::formatsChanged);
        formatBoxes.insert(it.key(), box);
        grid->addWidget(box, format.row, format.column);
    }
}

bool ExportFormatsPanel::isUnchecked(const QString &key) const
{
    const QCheckBox *box = formatBoxes.value(key);
    return box && !box->isChecked();
}

bool ExportFormatsPanel::isXlsxUnchecked() const
{
    return isUnchecked(u"XLSX"_s);
}

bool ExportFormatsPanel::isColladaUnchecked() const
{
    return isUnchecked(u"COLLADA"_s);
}

void ExportFormatsPanel::reapplyLocks()
{
    for (auto it = formatBoxes.cbegin(); it != formatBoxes.cend(); ++it) {
        if (converter.formats.value(it.key()).locked)
            it.value()->setEnabled(false);
    }
}

void ExportFormatsPanel::applySkipped(bool skipXlsx, bool skipDae)
{
    for (const auto &[key, skip] : {std::pair{u"XLSX"_s, skipXlsx}, std::pair{u"COLLADA"_s, skipDae}}) {
        QCheckBox *box = formatBoxes.value(key);
        if (box && !converter.formats.value(key).locked)
            box->setChecked(!skip);
    }
}
