#pragma once

class Dialogs;

#include <QString>
#include <QWidget>

class DropOverlay;
class QCheckBox;
class QLineEdit;
class QPushButton;
class QSettings;
class QUrl;

// The "Where to save the results of conversion?" group: the output folder, or results
// beside each project file, and whether to open the folder when the run ends.
class OutputPanel final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(OutputPanel)

public:
    OutputPanel(QSettings *settings, Dialogs *dialogs, QWidget *parent = nullptr);

    // Empty while "Same as project folder" is checked: results then go beside each input file.
    QString outputDir() const;
    void setOutputDir(const QString &dir);
    // Checks or unchecks "Same as project folder", as the user's click would.
    void setSameAsProject(bool same);
    bool isSameAsProject() const;
    bool openFolderAfterConversion() const;

Q_SIGNALS:
    void outputChanged();

public Q_SLOTS:
    void onBrowseFolder();
    void onSameAsProjectToggled(bool checked);

protected:
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dropEvent(QDropEvent *event) override;

private:
    QSettings *settings;
    Dialogs *dialogs;
    QLineEdit *outputEdit;
    QPushButton *browseButton;
    QCheckBox *sameAsProjectCheck;
    QCheckBox *openAfterCheck;
    QString savedOutputDir;
    DropOverlay *dropOverlay;
};
