#pragma once

#include "conversion/converterinfo.h"

#include <QWidget>

class QGroupBox;

// "Usable file formats": read-only badges for the source-file versions the converter
// reads; hidden when the converter has no such table.
class FileVersionsPanel final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(FileVersionsPanel)

public:
    explicit FileVersionsPanel(QWidget *parent = nullptr);

    void setConverter(const ConverterInfo &info);

    // The catalogue keys its table by column, then row; the grid is laid out row by row.
    static QMap<int, QMap<int, FileVersion>> rowsOf(const QMap<int, QMap<int, FileVersion>> &byColumn);

private:
    QGroupBox *group = nullptr;
};
