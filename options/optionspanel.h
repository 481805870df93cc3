#pragma once

class Dialogs;

#include <QMap>
#include <QString>
#include <QWidget>

class DropOverlay;
class QButtonGroup;
class QCheckBox;
class QGroupBox;
class QLineEdit;
class QMimeData;
class QPushButton;
class QRadioButton;
struct ConverterInfo;
struct ConversionOptions;

// The converter's export modes and optional features, rebuilt whenever the converter
// changes. The command line is built from its queries.
class OptionsPanel final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(OptionsPanel)

public:
    explicit OptionsPanel(Dialogs *dialogs, QWidget *parent = nullptr);

    void setConverter(const ConverterInfo &info);

    QString exportMode() const;
    QString customCategoriesFile() const;
    QString ifcExportConfig() const;
    bool addBoundingBox() const;
    bool addRoomData() const;
    bool includeViewMapping() const;
    bool includeExtendedParents() const;
    bool exportSchedules() const;
    bool exportSheetsToPdf() const;
    bool useExactOutputPath() const;
    // Puts back the choices of an earlier run (a resumed batch). Chosen by the program, the
    // mode does not run the Full Dump rule and nothing is announced.
    void applyOptions(const ConversionOptions &options);

    // The radio text of a mode; also what the run's confirmation calls the mode.
    static QString modeLabel(const QString &modeId, const QString &converterId);
    static QString defaultIfcExportConfig();
    // Exactly one local file whose name ends in .txt, in any case.
    static bool isCategoryFileDrag(const QMimeData *mime);

Q_SIGNALS:
    void optionsChanged();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void buildModes(const ConverterInfo &info, QWidget *content);
    void buildOptions(const ConverterInfo &info, QWidget *content);
    QCheckBox *addOption(bool present, const QString &objectName, const QString &text,
                         const QString &toolTip);
    void onModeClicked();
    void onBrowseCategoryFile();

    Dialogs *dialogs;
    QWidget *content = nullptr;
    bool isRevit = false;
    QGroupBox *modeGroupBox = nullptr;
    QButtonGroup *modeButtonGroup = nullptr;
    QMap<QString, QRadioButton *> modeButtons;
    QLineEdit *customEdit = nullptr;
    QPushButton *customBrowseButton = nullptr;
    QGroupBox *optionsGroupBox = nullptr;
    QCheckBox *checkBoundingBox = nullptr;
    QCheckBox *checkRoomData = nullptr;
    QCheckBox *checkViewMapping = nullptr;
    QCheckBox *checkExtendedParents = nullptr;
    bool extendedParentsUserChoice = false;
    QCheckBox *checkSchedules = nullptr;
    QCheckBox *checkSheetsPdf = nullptr;
    QCheckBox *checkExactOutputPath = nullptr;
    DropOverlay *dropOverlay = nullptr;
};
