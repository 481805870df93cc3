#include "options/optionspanel.h"

#include "common/dialogs.h"
#include "common/dropoverlay.h"
#include "common/styleroles.h"
#include "conversion/conversionoptions.h"
#include "conversion/converterinfo.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QCoreApplication>
#include <QDir>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QPushButton>
#include <QRadioButton>
#include <QUrl>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

const QString revitId = u"revit"_s;
const QString customId = u"custom"_s;
const QString completeId = u"complete"_s;

} // namespace

OptionsPanel::OptionsPanel(Dialogs *dialogs, QWidget *parent)
    : QWidget(parent)
    , dialogs(dialogs)
{
    auto *outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
}

QString OptionsPanel::modeLabel(const QString &modeId, const QString &converterId)
{
    if (modeId == u"basic")
        return tr("Basic - 309 Revit Categories (Fast)");
    if (modeId == u"standard")
        return converterId == revitId ? tr("Standard - 724 Revit Categories (Moderate)") : tr("Standard");
    if (modeId == completeId)
        return tr("Full Dump - All 1209 Revit Categories (Slow)");
    if (modeId == u"extended")
        return tr("Extended");
    if (modeId == customId)
        return tr("Custom");
    return modeId;
}

QString OptionsPanel::defaultIfcExportConfig()
{
    return u"FileVersion=\"ifc4x3\"; FileType=\"ifc\"; LevelOfDetail=\"medium\"; SpaceBound=\"2ndlevel\"; "
           u"ProjOrigin=\"currentshared\""_s;
}

bool OptionsPanel::isCategoryFileDrag(const QMimeData *mime)
{
    if (!mime || !mime->hasUrls())
        return false;
    const QList<QUrl> urls = mime->urls();
    if (urls.size() != 1)
        return false;
    const QString local = urls.constFirst().toLocalFile();
    return !local.isEmpty() && local.endsWith(u".txt", Qt::CaseInsensitive);
}

void OptionsPanel::setConverter(const ConverterInfo &info)
{
    // Nothing of the previous converter's choices survives.
    delete content;
    modeGroupBox = nullptr;
    modeButtonGroup = nullptr;
    modeButtons.clear();
    customEdit = nullptr;
    customBrowseButton = nullptr;
    optionsGroupBox = nullptr;
    checkBoundingBox = checkRoomData = checkViewMapping = checkExtendedParents = nullptr;
    checkSchedules = checkSheetsPdf = checkExactOutputPath = nullptr;
    extendedParentsUserChoice = false;
    dropOverlay = nullptr;

    isRevit = info.id == revitId;
    content = new QWidget(this);
    content->setObjectName(u"optionsContent"_s);
    auto *layout = new QVBoxLayout(content);
    layout->setContentsMargins(0, 0, 0, 0);
    buildModes(info, content);
    buildOptions(info, content);
    layout->addWidget(modeGroupBox);
    layout->addWidget(optionsGroupBox);
    layout->addStretch(1);
    this->layout()->addWidget(content);
}

void OptionsPanel::buildModes(const ConverterInfo &info, QWidget *parent)
{
    modeGroupBox = new QGroupBox(tr("Export Mode"), parent);
    modeGroupBox->setObjectName(u"exportModeGroup"_s);
    auto *grid = new QGridLayout(modeGroupBox);
    modeButtonGroup = new QButtonGroup(modeGroupBox);
    modeButtonGroup->setExclusive(true);

    int row = 0;
    for (const QString &mode : info.modes) {
        if (mode == customId)
            continue;
        auto *radio = new QRadioButton(modeLabel(mode, info.id), modeGroupBox);
        radio->setObjectName(u"modeRadio_"_s + mode);
        modeButtonGroup->addButton(radio, -1);
        modeButtons.insert(mode, radio);
        if (mode == info.defaultMode)
            radio->setChecked(true);
        grid->addWidget(radio, row++, 0);
    }

    if (info.modes.contains(customId)) {
        auto *customRadio = new QRadioButton(modeLabel(customId, info.id), modeGroupBox);
        customRadio->setObjectName(u"modeRadio_custom"_s);
        modeButtonGroup->addButton(customRadio, -1);
        modeButtons.insert(customId, customRadio);

        customEdit = new QLineEdit(modeGroupBox);
        customEdit->setObjectName(u"customEdit"_s);
        auto *customRow = new QHBoxLayout;
        customRow->setContentsMargins(0, 0, 0, 0);
        customRow->setSpacing(5);
        customRow->addWidget(customRadio);
        customRow->addWidget(customEdit, 1);
        if (isRevit) {
            customEdit->setText(QDir(QCoreApplication::applicationDirPath())
                                    .filePath(u"kavantolibs/KVT_Custom_Categories_to_Convert.txt"_s));
            customEdit->setReadOnly(true);
            customEdit->setEnabled(false);
            customBrowseButton = new QPushButton(modeGroupBox);
            customBrowseButton->setObjectName(u"customBrowseButton"_s);
            customBrowseButton->setIcon(QIcon(u":/res/style/icons/file.png"_s));
            customBrowseButton->setIconSize(QSize(30, 20));
            customBrowseButton->setEnabled(false);
            customRow->addWidget(customBrowseButton);
            connect(customBrowseButton, &QPushButton::clicked, this, &OptionsPanel::onBrowseCategoryFile);
        } else {
            // Left enabled until the radio is first toggled, so the configuration can be read
            // before Custom is chosen; from then on it follows the radio.
            customEdit->setText(defaultIfcExportConfig());
            // Show the start of the line: its first settings matter most.
            customEdit->setCursorPosition(0);
        }
        connect(customRadio, &QRadioButton::toggled, this, [this](bool checked) {
            customEdit->setEnabled(checked);
            if (customBrowseButton)
                customBrowseButton->setEnabled(checked);
        });
        grid->addLayout(customRow, row++, 0);
    }

    auto *note = new QLabel(modeGroupBox);
    note->setObjectName(u"optionsNoteLabel"_s);
    setStyleRole(note, "textRole", u"secondary"_s);
    note->setAlignment(Qt::AlignLeft);
    if (isRevit)
        note->setText(tr("Description of options in ReadMe") + u'\n' + tr("Category descriptions in") +
                      u" \"List of Revit categories KVT.txt\""_s);
    else
        note->setText(tr("Description of options in ReadMe") + u'\n');
    grid->addWidget(note, row, 0);

    connect(modeButtonGroup, &QButtonGroup::idClicked, this, &OptionsPanel::onModeClicked);

    // The category file has somewhere to go only when there is a custom row.
    if (isRevit && customEdit) {
        modeGroupBox->setAcceptDrops(true);
        modeGroupBox->installEventFilter(this);
        dropOverlay = new DropOverlay(modeGroupBox);
    }
    // Nothing to choose: the group would only be an empty frame.
    if (info.modes.isEmpty())
        modeGroupBox->hide();
}

QCheckBox *OptionsPanel::addOption(bool present, const QString &objectName, const QString &text,
                                   const QString &toolTip)
{
    if (!present)
        return nullptr;
    auto *box = new QCheckBox(text, optionsGroupBox);
    box->setObjectName(objectName);
    box->setToolTip(toolTip);
    optionsGroupBox->layout()->addWidget(box);
    optionsGroupBox->layout()->setAlignment(box, Qt::AlignLeft | Qt::AlignTop);
    connect(box, &QCheckBox::toggled, this, &OptionsPanel::optionsChanged);
    return box;
}

void OptionsPanel::buildOptions(const ConverterInfo &info, QWidget *parent)
{
    optionsGroupBox = new QGroupBox(tr("Options"), parent);
    optionsGroupBox->setObjectName(u"optionsGroup"_s);
    auto *layout = new QVBoxLayout(optionsGroupBox);
    layout->setAlignment(Qt::AlignTop);

    checkBoundingBox =
        addOption(info.supportsBoundingBox, u"checkBoundingBox"_s, tr("Add BBox geometry information"),
                  tr("Adds columns: MinX, MinY, MinZ, MaxX, MaxY, MaxZ\n"
                     "Output: bounding box coordinates per element in XLSX"));
    checkRoomData = addOption(info.supportsRooms, u"checkRoomData"_s, tr("Add ToRoom/FromRoom data"),
                              tr("Adds columns: ToRoom, FromRoom for doors/windows/openings\n"
                                 "Shows which rooms an element connects"));
    checkViewMapping = addOption(info.supportsViewMap, u"checkViewMapping"_s,
                                 tr("Include View Mapping (may slow large files)"),
                                 tr("Adds column: Views (comma-separated view names)\n"
                                    "Maps each element to the views it appears in\n"
                                    "Warning: significantly slower on models with many views"));
    checkExtendedParents = addOption(info.supportsExtendedParents, u"checkExtendedParents"_s,
                                     tr("Include Extended Parent Parameters"),
                                     tr("Adds Appearance, Dependency, Deferred, DeferredProp,\n"
                                        "and Computed parent parameter columns to XLSX output.\n"
                                        "Auto-enabled in Full Dump mode."));
    checkSchedules = addOption(info.supportsSchedules, u"checkSchedules"_s, tr("Export all Schedules"),
                               tr("Creates separate XLSX files for each schedule table\n"
                                  "Output: <filename>_schedule_<name>.xlsx per schedule"));
    checkSheetsPdf = addOption(info.supportsSheetsToPdf, u"checkSheetsPdf"_s, tr("Export all Sheets to PDF"),
                               tr("Creates PDF files for each sheet view\n"
                                  "Output: <filename>_sheets/<sheet_name>.pdf"));
    checkExactOutputPath =
        addOption(true, u"checkExactOutputPath"_s, tr("Use exact output path (no timestamp suffix)"),
                  tr("Default: output_2026-02-20_143012.xlsx\n"
                     "With this: output.xlsx (overwrites existing)"));
}

void OptionsPanel::onModeClicked()
{
    if (checkExtendedParents) {
        // Full Dump needs the extended parent columns; the user's own choice comes back when
        // another mode is clicked. A second click on Full Dump stores the forced state.
        if (exportMode() == completeId) {
            extendedParentsUserChoice = checkExtendedParents->isChecked();
            checkExtendedParents->setChecked(true);
            checkExtendedParents->setEnabled(false);
        } else {
            checkExtendedParents->setEnabled(true);
            checkExtendedParents->setChecked(extendedParentsUserChoice);
        }
    }
    Q_EMIT optionsChanged();
}

void OptionsPanel::onBrowseCategoryFile()
{
    const QString path =
        dialogs->openFileName(this, tr("Select .txt File"), customEdit->text(), tr("Text Files (*.txt)"));
    if (!path.isEmpty())
        customEdit->setText(path);
}

bool OptionsPanel::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != modeGroupBox || !dropOverlay)
        return QWidget::eventFilter(watched, event);
    switch (event->type()) {
    case QEvent::DragEnter: {
        auto *drag = static_cast<QDragEnterEvent *>(event);
        if (isCategoryFileDrag(drag->mimeData())) {
            drag->acceptProposedAction();
            dropOverlay->showOver(modeGroupBox->rect(), tr("Drop .txt category file here"),
                                  u":/res/style/icons/file-up.png"_s);
        } else {
            drag->ignore();
        }
        return true;
    }
    case QEvent::DragLeave: dropOverlay->hide(); return true;
    case QEvent::Drop: {
        auto *drop = static_cast<QDropEvent *>(event);
        dropOverlay->hide();
        if (!isCategoryFileDrag(drop->mimeData())) {
            drop->ignore();
            return true;
        }
        customEdit->setText(QDir::toNativeSeparators(drop->mimeData()->urls().constFirst().toLocalFile()));
        if (QRadioButton *custom = modeButtons.value(customId))
            custom->setChecked(true);
        drop->acceptProposedAction();
        return true;
    }
    default: return QWidget::eventFilter(watched, event);
    }
}

QString OptionsPanel::exportMode() const
{
    for (auto it = modeButtons.cbegin(); it != modeButtons.cend(); ++it) {
        if (it.value()->isChecked())
            return it.key();
    }
    return {};
}

QString OptionsPanel::customCategoriesFile() const
{
    return isRevit && customEdit ? customEdit->text() : QString();
}

QString OptionsPanel::ifcExportConfig() const
{
    return !isRevit && customEdit ? customEdit->text() : QString();
}

namespace {

bool isTicked(const QCheckBox *box)
{
    return box && box->isChecked();
}

} // namespace

bool OptionsPanel::addBoundingBox() const
{
    return isTicked(checkBoundingBox);
}

bool OptionsPanel::addRoomData() const
{
    return isTicked(checkRoomData);
}

bool OptionsPanel::includeViewMapping() const
{
    return isTicked(checkViewMapping);
}

bool OptionsPanel::includeExtendedParents() const
{
    return isTicked(checkExtendedParents);
}

bool OptionsPanel::exportSchedules() const
{
    return isTicked(checkSchedules);
}

bool OptionsPanel::exportSheetsToPdf() const
{
    return isTicked(checkSheetsPdf);
}

bool OptionsPanel::useExactOutputPath() const
{
    return isTicked(checkExactOutputPath);
}

void OptionsPanel::applyOptions(const ConversionOptions &options)
{
    if (QRadioButton *radio = modeButtons.value(options.mode))
        radio->setChecked(true);
    const QString customText = isRevit ? options.categories : options.config;
    if (customEdit && !customText.isEmpty())
        customEdit->setText(customText);
    const std::pair<QCheckBox *, bool> boxes[] = {
        {checkBoundingBox, options.boundingBox},  {checkRoomData, options.rooms},
        {checkViewMapping, options.viewMap},      {checkExtendedParents, options.extendedParents},
        {checkSchedules, options.schedules},      {checkSheetsPdf, options.sheetsToPdf},
        {checkExactOutputPath, options.forcePath}};
    for (const auto &[box, checked] : boxes) {
        if (box)
            box->setChecked(checked);
    }
    if (checkExtendedParents)
        checkExtendedParents->setEnabled(exportMode() != completeId);
}
