#include "options/outputpanel.h"

#include "common/dialogs.h"
#include "common/dropoverlay.h"
#include "common/settingskeys.h"

#include <QCheckBox>
#include <QDir>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileInfo>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QIcon>
#include <QLineEdit>
#include <QMimeData>
#include <QPushButton>
#include <QSettings>
#include <QUrl>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

OutputPanel::OutputPanel(QSettings *settings, Dialogs *dialogs, QWidget *parent)
    : QWidget(parent)
    , settings(settings)
    , dialogs(dialogs)
{
    setAcceptDrops(true);

    auto *outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    auto *group = new QGroupBox(tr("Where to save the results of conversion?"), this);
    group->setObjectName(u"outputGroup"_s);
    outer->addWidget(group);
    auto *layout = new QGridLayout(group);

    outputEdit = new QLineEdit(group);
    outputEdit->setObjectName(u"outputEdit"_s);
    outputEdit->setReadOnly(true);
    outputEdit->setMinimumSize(120, 28);
    outputEdit->setPlaceholderText(tr("Drag & drop a folder or click browse..."));

    browseButton = new QPushButton(group);
    browseButton->setObjectName(u"browseOutputButton"_s);
    browseButton->setMinimumSize(36, 28);
    browseButton->setIcon(QIcon(u":/res/style/icons/folder.png"_s));
    browseButton->setIconSize(QSize(20, 20));

    sameAsProjectCheck = new QCheckBox(tr("Same as project folder"), group);
    sameAsProjectCheck->setObjectName(u"sameAsProjectCheck"_s);
    openAfterCheck = new QCheckBox(tr("Open folder after conversion"), group);
    openAfterCheck->setObjectName(u"openAfterCheck"_s);

    auto *checks = new QHBoxLayout;
    checks->addWidget(sameAsProjectCheck);
    checks->addSpacing(12);
    checks->addWidget(openAfterCheck);
    checks->addStretch(1);

    layout->addWidget(outputEdit, 0, 0);
    layout->addWidget(browseButton, 0, 1);
    layout->addLayout(checks, 1, 0, 1, 2);

    connect(browseButton, &QPushButton::clicked, this, &OutputPanel::onBrowseFolder);
    connect(sameAsProjectCheck, &QCheckBox::toggled, this, &OutputPanel::onSameAsProjectToggled);

    dropOverlay = new DropOverlay(this);
}

QString OutputPanel::outputDir() const
{
    return sameAsProjectCheck->isChecked() ? QString() : outputEdit->text();
}

void OutputPanel::setOutputDir(const QString &dir)
{
    outputEdit->setText(dir);
}

bool OutputPanel::isSameAsProject() const
{
    return sameAsProjectCheck->isChecked();
}

bool OutputPanel::openFolderAfterConversion() const
{
    return openAfterCheck->isChecked();
}

void OutputPanel::onBrowseFolder()
{
    const QString start =
        settings ? settings->value(SettingsKeys::defaultOutputDir(), QDir::currentPath()).toString()
                 : QDir::currentPath();
    const QString answer = dialogs->existingDirectory(this, tr("Select Folder"), start);
    if (answer.isEmpty())
        return;
    const QString folder = QDir(answer).absolutePath();
    if (settings)
        settings->setValue(SettingsKeys::defaultOutputDir(), folder);
    outputEdit->setText(folder);
    Q_EMIT outputChanged();
}

void OutputPanel::onSameAsProjectToggled(bool checked)
{
    if (checked) {
        savedOutputDir = outputEdit->text();
        outputEdit->clear();
        outputEdit->setPlaceholderText(tr("Same as project folder"));
    } else {
        outputEdit->setPlaceholderText(tr("Drag & drop a folder or click browse..."));
        outputEdit->setText(savedOutputDir);
    }
    outputEdit->setEnabled(!checked);
    browseButton->setEnabled(!checked);
    Q_EMIT outputChanged();
}

void OutputPanel::dragEnterEvent(QDragEnterEvent *event)
{
    // No extensions: only a folder can be an output.
    dropOverlay->offer(event, DropOverlay::dropped(event->mimeData(), {}));
}

void OutputPanel::dropEvent(QDropEvent *event)
{
    const QString folder = DropOverlay::dropped(event->mimeData(), {}).folder;
    if (folder.isEmpty()) {
        event->ignore();
        return;
    }
    // Unchecking runs the toggle's own branch (and its outputChanged) before the new folder lands.
    sameAsProjectCheck->setChecked(false);
    outputEdit->setText(folder);
    savedOutputDir = folder;
    Q_EMIT outputChanged();
    event->acceptProposedAction();
}

void OutputPanel::setSameAsProject(bool same)
{
    sameAsProjectCheck->setChecked(same);
}
