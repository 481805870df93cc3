#include "common/dialogs.h"

#include "common/showinfolder.h"

#include <QDesktopServices>
#include <QFileDialog>
#include <QPushButton>

QList<Dialogs::Request> Dialogs::requestsOf(Kind kind) const
{
    QList<Request> found;
    for (const Request &request : recorded) {
        if (request.kind == kind)
            found.append(request);
    }
    return found;
}

QStringList Dialogs::nextFileNames(const Request &request)
{
    recorded.append(request);
    return fileAnswers.isEmpty() ? QStringList() : fileAnswers.takeFirst();
}

QString Dialogs::openFileName(QWidget *parent, const QString &caption, const QString &dir,
                              const QString &filter)
{
    if (scripted)
        return nextFileNames({Kind::OpenFile, caption, dir, filter, {}, {}, {}}).value(0);
    return QFileDialog::getOpenFileName(parent, caption, dir, filter);
}

QStringList Dialogs::openFileNames(QWidget *parent, const QString &caption, const QString &dir,
                                   const QString &filter)
{
    if (scripted)
        return nextFileNames({Kind::OpenFiles, caption, dir, filter, {}, {}, {}});
    return QFileDialog::getOpenFileNames(parent, caption, dir, filter);
}

QString Dialogs::existingDirectory(QWidget *parent, const QString &caption, const QString &dir)
{
    if (scripted)
        return nextFileNames({Kind::Folder, caption, dir, {}, {}, {}, {}}).value(0);
    return QFileDialog::getExistingDirectory(parent, caption, dir, QFileDialog::ShowDirsOnly);
}

QString Dialogs::saveFileName(QWidget *parent, const QString &caption, const QString &dir,
                              const QString &filter)
{
    if (scripted)
        return nextFileNames({Kind::SaveFile, caption, dir, filter, {}, {}, {}}).value(0);
    return QFileDialog::getSaveFileName(parent, caption, dir, filter);
}

void Dialogs::showError(QWidget *parent, const QString &text)
{
    if (scripted) {
        recorded.append({Kind::Error, text, {}, {}, QMessageBox::Ok, {}, {}});
        return;
    }
    QMessageBox box(QMessageBox::Critical, tr("Error"), text, QMessageBox::NoButton, parent);
    box.addButton(tr("OK"), QMessageBox::AcceptRole);
    box.exec();
}

void Dialogs::showWarning(QWidget *parent, const QString &title, const QString &text)
{
    if (scripted) {
        recorded.append({Kind::Warning, text, title, {}, QMessageBox::Ok, {}, {}});
        return;
    }
    QMessageBox::warning(parent, title, text, QMessageBox::Ok);
}

void Dialogs::setNextAnswer(QMessageBox::StandardButton answer)
{
    answers.append([answer] { return answer; });
}

void Dialogs::setNextAnswer(std::function<QMessageBox::StandardButton()> answer)
{
    answers.append(std::move(answer));
}

QMessageBox::StandardButton Dialogs::ask(QWidget *parent, const QString &text,
                                         QMessageBox::StandardButtons buttons,
                                         QMessageBox::StandardButton defaultButton)
{
    if (scripted) {
        recorded.append({Kind::Question, text, {}, {}, buttons, defaultButton, {}});
        return answers.isEmpty() ? defaultAnswer : answers.takeFirst()();
    }
    QMessageBox box(QMessageBox::Information, tr("Info"), text, buttons, parent);
    box.setDefaultButton(defaultButton);
    return static_cast<QMessageBox::StandardButton>(box.exec());
}

int Dialogs::choose(QWidget *parent, const QString &title, const QString &text, const QStringList &choices)
{
    if (scripted) {
        recorded.append({Kind::Choice, text, title, {}, {}, {}, choices});
        return choiceAnswers.isEmpty() ? -1 : choiceAnswers.takeFirst();
    }
    const std::unique_ptr<QMessageBox> box = createChoiceBox(parent, title, text, choices);
    box->exec();
    // The buttons in the order they were added, whatever order the style lays them out in.
    return static_cast<int>(
        box->property("choiceButtons").value<QList<QAbstractButton *>>().indexOf(box->clickedButton()));
}

std::unique_ptr<QMessageBox> Dialogs::createChoiceBox(QWidget *parent, const QString &title,
                                                      const QString &text, const QStringList &choices)
{
    auto box =
        std::make_unique<QMessageBox>(QMessageBox::Information, title, text, QMessageBox::NoButton, parent);
    QList<QAbstractButton *> buttons;
    for (const QString &choice : choices)
        buttons.append(
            box->addButton(choice, buttons.isEmpty() ? QMessageBox::AcceptRole : QMessageBox::RejectRole));
    if (!buttons.isEmpty())
        box->setDefaultButton(qobject_cast<QPushButton *>(buttons.constFirst()));
    box->setProperty("choiceButtons", QVariant::fromValue(buttons));
    return box;
}

bool Dialogs::openUrl(const QUrl &url)
{
    if (scripted) {
        recorded.append({Kind::OpenUrl, url.toString(), {}, {}, {}, {}, {}});
        return true;
    }
    return QDesktopServices::openUrl(url);
}

void Dialogs::showInFolder(const QString &absolutePath)
{
    if (scripted) {
        recorded.append({Kind::ShowInFolder, absolutePath, {}, {}, {}, {}, {}});
        return;
    }
    showFileInFolder(absolutePath);
}
