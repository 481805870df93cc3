#pragma once

#include <QCoreApplication>
#include <QList>
#include <QMessageBox>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <functional>
#include <memory>

class QWidget;

// Every chooser, message box and hand-off to the desktop that the window and its panels
// make goes through the one object start-up creates and hands down. A test scripts it
// instead: nothing is shown, every request is recorded, and the answers are the ones the
// test gave in advance (a cancelled chooser and "No button" when it gave none).
class Dialogs final
{
    Q_DECLARE_TR_FUNCTIONS(MainWindow)
    Q_DISABLE_COPY_MOVE(Dialogs)

public:
    enum class Kind {
        OpenFile,
        OpenFiles,
        Folder,
        SaveFile,
        Error,
        Warning,
        Question,
        Choice,
        OpenUrl,
        ShowInFolder
    };

    struct Request
    {
        Kind kind;
        // The caption of a chooser, the text of a message or question, the URL or path handed on.
        QString text;
        // The start folder of a chooser, the title of a warning.
        QString detail;
        QString filter;
        QMessageBox::StandardButtons buttons;
        QMessageBox::StandardButton defaultButton = QMessageBox::NoButton;
        // The buttons of a choice, in order.
        QStringList choices;
    };

    Dialogs() = default;

    QString openFileName(QWidget *parent, const QString &caption, const QString &dir, const QString &filter);
    QStringList openFileNames(QWidget *parent, const QString &caption, const QString &dir,
                              const QString &filter);
    QString existingDirectory(QWidget *parent, const QString &caption, const QString &dir);
    QString saveFileName(QWidget *parent, const QString &caption, const QString &dir, const QString &filter);

    // An "Error" box with one OK button.
    void showError(QWidget *parent, const QString &text);
    // A warning with its own title, such as a failed save.
    void showWarning(QWidget *parent, const QString &title, const QString &text);
    // An "Info" question with the given buttons.
    QMessageBox::StandardButton ask(QWidget *parent, const QString &text,
                                    QMessageBox::StandardButtons buttons,
                                    QMessageBox::StandardButton defaultButton);

    // A question with buttons of its own, the first the default; the index of the one pressed,
    // or -1 when the box was closed.
    int choose(QWidget *parent, const QString &title, const QString &text, const QStringList &choices);
    // The box `choose` shows, built but not shown.
    static std::unique_ptr<QMessageBox> createChoiceBox(QWidget *parent, const QString &title,
                                                        const QString &text, const QStringList &choices);

    bool openUrl(const QUrl &url);
    // Shows the file selected in the platform's file manager.
    void showInFolder(const QString &absolutePath);

    // Test mode: from now on nothing is shown and every request is only recorded.
    void setScripted(bool on = true) { scripted = on; }
    bool isScripted() const { return scripted; }
    // The next chooser, of any kind, answers with these paths (an empty list: cancelled).
    void setNextFileNames(const QStringList &paths) { fileAnswers.append(paths); }
    void setNextFileName(const QString &path) { fileAnswers.append(QStringList{path}); }
    // The next question answers with this button; the function form runs while the question
    // is open, for a user who takes their time.
    void setNextAnswer(QMessageBox::StandardButton answer);
    void setNextAnswer(std::function<QMessageBox::StandardButton()> answer);
    // The next choice answers with this index (-1: closed).
    void setNextChoice(int index) { choiceAnswers.append(index); }
    // Every question answers with this button when no answer was queued.
    void setDefaultAnswer(QMessageBox::StandardButton answer) { defaultAnswer = answer; }

    const QList<Request> &requests() const { return recorded; }
    QList<Request> requestsOf(Kind kind) const;
    void clearRequests() { recorded.clear(); }

private:
    QStringList nextFileNames(const Request &request);

    bool scripted = false;
    QList<QStringList> fileAnswers;
    QList<std::function<QMessageBox::StandardButton()>> answers;
    QList<int> choiceAnswers;
    QMessageBox::StandardButton defaultAnswer = QMessageBox::NoButton;
    QList<Request> recorded;
};
