#pragma once

#include "input/inputselection.h"

#include <QFileInfoList>
#include <QString>
#include <QStringList>
#include <QWidget>

class Dialogs;
class DropOverlay;
class QButtonGroup;
class QCheckBox;
class QLabel;
class QLineEdit;
class QMenu;
class QPushButton;
class QRadioButton;
class QSettings;
struct ConverterInfo;

// The "What do you want to convert?" group: one file, a folder, or a hand-picked set of
// files, chosen by dialog or by drag and drop. It holds no scan logic; every change is
// announced by inputChanged and read back through the queries.
class InputPanel final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(InputPanel)

public:
    InputPanel(QSettings *settings, Dialogs *dialogs, QWidget *parent = nullptr);

    bool isSingleFileMode() const;
    bool isFolderMode() const;
    bool isMultipleMode() const;
    QString filePath() const;
    QString folderPath() const;
    bool includeSubfolders() const;
    QFileInfoList selectedFiles() const { return selectedFileList; }
    // All of the above at once.
    InputSelection selection() const;

    void setSingleFileMode();
    void setFolderMode();
    void setMultipleMode();
    void setFilePath(const QString &path);
    void setFolderPath(const QString &path);
    void setSelectedFiles(const QFileInfoList &files);
    void setConverter(const ConverterInfo &info);
    void setInfoText(const QString &text, Qt::TextFormat format);
    void setRecentFilesMenu(QMenu *menu);

Q_SIGNALS:
    void inputChanged();
    void multipleFilesSelected(const QFileInfoList &files);

public Q_SLOTS:
    void onBrowseFile();
    void onBrowseFolder();
    void onBrowseFiles();

protected:
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dropEvent(QDropEvent *event) override;

private:
    QWidget *makeRow(QLayout *layout);
    QPushButton *makeToolButton(const QString &objectName, const QString &icon, int iconSize);
    void onModeToggled(QWidget *row, bool checked);
    QString startDirectory() const;
    void rememberDirectory(const QString &dir);
    void popUpRecentMenu();

    QSettings *settings;
    Dialogs *dialogs;
    QButtonGroup *modeGroup;
    QRadioButton *singleFileRadio;
    QWidget *singleFileRow;
    QLineEdit *fileEdit;
    QPushButton *browseFileButton;
    QPushButton *recentButton;
    QMenu *recentMenu = nullptr;
    QRadioButton *folderRadio;
    QWidget *folderRow;
    QLineEdit *folderEdit;
    QPushButton *browseFolderButton;
    QCheckBox *includeSubfoldersCheck;
    QRadioButton *multipleRadio;
    QWidget *multipleRow;
    QPushButton *browseFilesButton;
    QPushButton *clearButton;
    QLabel *summaryLabel;
    QFileInfoList selectedFileList;
    QStringList acceptedExtensions;
    QString dialogFilter;
    DropOverlay *dropOverlay;
};
