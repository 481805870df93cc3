#include "input/inputpanel.h"

#include "common/dialogs.h"
#include "common/dropoverlay.h"
#include "common/settingskeys.h"
#include "common/styleroles.h"
#include "conversion/converterinfo.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QDir>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMimeData>
#include <QPushButton>
#include <QRadioButton>
#include <QSet>
#include <QSettings>
#include <QUrl>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

QLineEdit *makePathEdit(const QString &objectName, const QString &placeholder, QWidget *parent)
{
    auto *edit = new QLineEdit(parent);
    edit->setObjectName(objectName);
    edit->setReadOnly(true);
    edit->setMinimumSize(120, 28);
    edit->setPlaceholderText(placeholder);
    return edit;
}

QRadioButton *makeModeRadio(const QString &objectName, const QString &text, QWidget *parent)
{
    auto *radio = new QRadioButton(text, parent);
    radio->setObjectName(objectName);
    radio->setMinimumHeight(22);
    return radio;
}

} // namespace

InputPanel::InputPanel(QSettings *settings, Dialogs *dialogs, QWidget *parent)
    : QWidget(parent)
    , settings(settings)
    , dialogs(dialogs)
{
    setAcceptDrops(true);

    auto *outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    auto *group = new QGroupBox(tr("What do you want to convert?"), this);
    group->setObjectName(u"inputGroup"_s);
    outer->addWidget(group);
    auto *layout = new QVBoxLayout(group);

    modeGroup = new QButtonGroup(this);
    modeGroup->setExclusive(true);

    singleFileRadio = makeModeRadio(u"singleFileRadio"_s, tr("Single file"), group);
    auto *singleLayout = new QGridLayout;
    singleFileRow = makeRow(singleLayout);
    singleFileRow->setObjectName(u"singleFileRow"_s);
    fileEdit = makePathEdit(u"fileEdit"_s, tr("Drag & drop a file or click browse..."), singleFileRow);
    browseFileButton = makeToolButton(u"browseFileButton"_s, u":/res/style/icons/file.png"_s, 20);
    recentButton = makeToolButton(u"recentButton"_s, u":/res/style/icons/history.png"_s, 20);
    recentButton->setToolTip(tr("Recent files"));
    singleLayout->addWidget(fileEdit, 0, 0);
    singleLayout->addWidget(browseFileButton, 0, 1);
    singleLayout->addWidget(recentButton, 0, 2);

    folderRadio = makeModeRadio(u"folderRadio"_s, tr("All files in a folder"), group);
    auto *folderLayout = new QGridLayout;
    folderRow = makeRow(folderLayout);
    folderRow->setObjectName(u"folderRow"_s);
    folderEdit = makePathEdit(u"folderEdit"_s, tr("Drag & drop a folder or click browse..."), folderRow);
    browseFolderButton = makeToolButton(u"browseFolderButton"_s, u":/res/style/icons/folder.png"_s, 20);
    includeSubfoldersCheck = new QCheckBox(tr("Include subfolders"), folderRow);
    includeSubfoldersCheck->setObjectName(u"includeSubfoldersCheck"_s);
    includeSubfoldersCheck->setMinimumHeight(22);
    includeSubfoldersCheck->setIcon(QIcon(u":/res/style/icons/folders.png"_s));
    includeSubfoldersCheck->setIconSize(QSize(16, 16));
    folderLayout->addWidget(folderEdit, 0, 0);
    folderLayout->addWidget(browseFolderButton, 0, 1);
    folderLayout->addWidget(includeSubfoldersCheck, 1, 0, 1, 2);

    multipleRadio = makeModeRadio(u"multipleRadio"_s, tr("Multiple files"), group);
    auto *multipleLayout = new QHBoxLayout;
    multipleRow = makeRow(multipleLayout);
    multipleRow->setObjectName(u"multipleRow"_s);
    browseFilesButton = makeToolButton(u"browseFilesButton"_s, u":/res/style/icons/file.png"_s, 20);
    browseFilesButton->setToolTip(tr("Select files to convert"));
    clearButton = makeToolButton(u"clearFilesButton"_s, u":/res/style/icons/x.png"_s, 16);
    clearButton->setToolTip(tr("Clear selected files"));
    multipleLayout->addWidget(browseFilesButton);
    multipleLayout->addWidget(clearButton);
    multipleLayout->addStretch(1);

    summaryLabel = new QLabel(tr("No files selected"), group);
    summaryLabel->setObjectName(u"inputSummaryLabel"_s);
    setStyleRole(summaryLabel, "textRole", u"secondary"_s);

    layout->addWidget(singleFileRadio);
    layout->addWidget(singleFileRow);
    layout->addWidget(folderRadio);
    layout->addWidget(folderRow);
    layout->addWidget(multipleRadio);
    layout->addWidget(multipleRow);
    layout->addWidget(summaryLabel);

    modeGroup->addButton(singleFileRadio, -1);
    modeGroup->addButton(folderRadio, -1);
    modeGroup->addButton(multipleRadio, -1);
    singleFileRadio->setChecked(true);
    folderRow->setEnabled(false);
    multipleRow->setEnabled(false);

    connect(singleFileRadio, &QRadioButton::toggled, this,
            [this](bool checked) { onModeToggled(singleFileRow, checked); });
    connect(folderRadio, &QRadioButton::toggled, this,
            [this](bool checked) { onModeToggled(folderRow, checked); });
    connect(multipleRadio, &QRadioButton::toggled, this,
            [this](bool checked) { onModeToggled(multipleRow, checked); });
    connect(includeSubfoldersCheck, &QCheckBox::toggled, this, &InputPanel::inputChanged);
    connect(browseFileButton, &QPushButton::clicked, this, &InputPanel::onBrowseFile);
    connect(browseFolderButton, &QPushButton::clicked, this, &InputPanel::onBrowseFolder);
    connect(browseFilesButton, &QPushButton::clicked, this, &InputPanel::onBrowseFiles);
    connect(recentButton, &QPushButton::clicked, this, &InputPanel::popUpRecentMenu);
    connect(clearButton, &QPushButton::clicked, this, [this] {
        selectedFileList.clear();
        Q_EMIT inputChanged();
    });

    dropOverlay = new DropOverlay(this);
}

QWidget *InputPanel::makeRow(QLayout *layout)
{
    auto *row = new QWidget(this);
    layout->setContentsMargins(20, 0, 0, 0);
    row->setLayout(layout);
    return row;
}

QPushButton *InputPanel::makeToolButton(const QString &objectName, const QString &icon, int iconSize)
{
    auto *button = new QPushButton(this);
    button->setObjectName(objectName);
    button->setMinimumSize(36, 28);
    button->setIcon(QIcon(icon));
    button->setIconSize(QSize(iconSize, iconSize));
    return button;
}

void InputPanel::onModeToggled(QWidget *row, bool checked)
{
    row->setEnabled(checked);
    if (!checked)
        return;
    for (QWidget *other : {singleFileRow, folderRow, multipleRow}) {
        if (other != row)
            other->setEnabled(false);
    }
    Q_EMIT inputChanged();
}

bool InputPanel::isSingleFileMode() const
{
    return singleFileRadio->isChecked();
}

bool InputPanel::isFolderMode() const
{
    return folderRadio->isChecked();
}

bool InputPanel::isMultipleMode() const
{
    return multipleRadio->isChecked();
}

QString InputPanel::filePath() const
{
    return fileEdit->text();
}

QString InputPanel::folderPath() const
{
    return folderEdit->text();
}

bool InputPanel::includeSubfolders() const
{
    return includeSubfoldersCheck->isChecked();
}

InputSelection InputPanel::selection() const
{
    InputSelection current;
    current.mode = isFolderMode()     ? InputMode::Folder
                   : isMultipleMode() ? InputMode::MultipleFiles
                                      : InputMode::SingleFile;
    current.filePath = filePath();
    current.folderPath = folderPath();
    current.includeSubfolders = includeSubfolders();
    current.files = selectedFileList;
    return current;
}

void InputPanel::setSingleFileMode()
{
    singleFileRadio->setChecked(true);
}

void InputPanel::setFolderMode()
{
    folderRadio->setChecked(true);
}

void InputPanel::setMultipleMode()
{
    multipleRadio->setChecked(true);
}

void InputPanel::setFilePath(const QString &path)
{
    fileEdit->setText(path);
}

void InputPanel::setFolderPath(const QString &path)
{
    folderEdit->setText(path);
}

void InputPanel::setSelectedFiles(const QFileInfoList &files)
{
    selectedFileList = files;
    Q_EMIT inputChanged();
}

void InputPanel::setConverter(const ConverterInfo &info)
{
    acceptedExtensions.clear();
    for (const QString &extension : info.extensions)
        acceptedExtensions.append(extension.toLower());
    dialogFilter = info.fileFilter;
}

void InputPanel::setInfoText(const QString &text, Qt::TextFormat format)
{
    summaryLabel->setTextFormat(format);
    summaryLabel->setText(text);
    summaryLabel->show();
}

void InputPanel::setRecentFilesMenu(QMenu *menu)
{
    recentMenu = menu;
}

void InputPanel::popUpRecentMenu()
{
    if (recentMenu)
        recentMenu->popup(recentButton->mapToGlobal(QPoint(0, recentButton->height())));
}

QString InputPanel::startDirectory() const
{
    if (!settings)
        return QDir::currentPath();
    return settings->value(SettingsKeys::defaultInputDir(), QDir::currentPath()).toString();
}

void InputPanel::rememberDirectory(const QString &dir)
{
    if (settings)
        settings->setValue(SettingsKeys::defaultInputDir(), dir);
}

void InputPanel::onBrowseFile()
{
    const QString path =
        dialogs->openFileName(this, tr("Select Project File"), startDirectory(), dialogFilter);
    if (path.isEmpty())
        return;
    rememberDirectory(QFileInfo(path).absolutePath());
    // The mode stays as the user set it, also when this is reached from the File menu.
    fileEdit->setText(path);
    Q_EMIT inputChanged();
}

void InputPanel::onBrowseFolder()
{
    const QString answer = dialogs->existingDirectory(this, tr("Select Folder"), startDirectory());
    if (answer.isEmpty())
        return;
    const QString folder = QDir(answer).absolutePath();
    rememberDirectory(folder);
    folderEdit->setText(folder);
    Q_EMIT inputChanged();
}

void InputPanel::onBrowseFiles()
{
    const QStringList chosen =
        dialogs->openFileNames(this, tr("Select Files"), startDirectory(), dialogFilter);
    if (chosen.isEmpty())
        return;
    rememberDirectory(QFileInfo(chosen.constFirst()).absolutePath());

    QSet<QString> known;
    for (const QFileInfo &file : std::as_const(selectedFileList))
        known.insert(file.absoluteFilePath());
    for (const QString &path : chosen) {
        const QFileInfo file(path);
        if (known.contains(file.absoluteFilePath()))
            continue;
        known.insert(file.absoluteFilePath());
        selectedFileList.append(file);
    }

    if (multipleRadio->isChecked())
        Q_EMIT inputChanged();
    else
        multipleRadio->setChecked(true);
    Q_EMIT multipleFilesSelected(selectedFileList);
}

void InputPanel::dragEnterEvent(QDragEnterEvent *event)
{
    dropOverlay->offer(event, DropOverlay::dropped(event->mimeData(), acceptedExtensions));
}

void InputPanel::dropEvent(QDropEvent *event)
{
    const PathSelection dropped = DropOverlay::dropped(event->mimeData(), acceptedExtensions);
    // Setting the text before checking the radio lets the mode switch announce the new
    // input once, instead of once for the old path and again for the new.
    if (!dropped.folder.isEmpty()) {
        folderEdit->setText(dropped.folder);
        if (folderRadio->isChecked())
            Q_EMIT inputChanged();
        else
            folderRadio->setChecked(true);
    } else if (dropped.files.size() == 1) {
        fileEdit->setText(dropped.files.constFirst().absoluteFilePath());
        if (singleFileRadio->isChecked())
            Q_EMIT inputChanged();
        else
            singleFileRadio->setChecked(true);
    } else if (dropped.files.size() > 1) {
        // A drop replaces the list, unlike the dialog, which adds to it.
        selectedFileList = dropped.files;
        if (multipleRadio->isChecked())
            Q_EMIT inputChanged();
        else
            multipleRadio->setChecked(true);
        Q_EMIT multipleFilesSelected(dropped.files);
    } else {
        event->ignore();
        return;
    }
    event->acceptProposedAction();
}
