#pragma once

#include "conversion/converterinfo.h"

#include <QMap>
#include <QString>
#include <QWidget>

class QCheckBox;
class QGroupBox;

// "Export file formats": one check box per output format of the converter, some of them
// fixed on or off by the catalogue.
class ExportFormatsPanel final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ExportFormatsPanel)

public:
    explicit ExportFormatsPanel(QWidget *parent = nullptr);

    void setConverter(const ConverterInfo &info);
    bool isXlsxUnchecked() const;
    bool isColladaUnchecked() const;
    // Puts back which formats an earlier run left out; fixed formats stay as they are.
    void applySkipped(bool skipXlsx, bool skipDae);
    // Required and unavailable formats stay fixed whatever enabled the panel again.
    void reapplyLocks();

    static QString lockToolTip(const ExportFormat &format);

Q_SIGNALS:
    void formatsChanged();

private:
    bool isUnchecked(const QString &key) const;

    ConverterInfo converter;
    QMap<QString, QCheckBox *> formatBoxes;
    QGroupBox *group = nullptr;
};
