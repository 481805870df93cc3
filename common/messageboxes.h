#pragma once

#include <QCoreApplication>
#include <QMessageBox>
#include <QString>

#include <functional>

class QWidget;

// The two message boxes the main window speaks through: an error with one OK button and a
// question with chosen buttons. Production code shows real boxes; tests put in functions
// that answer at once, so no human is needed.
struct MessageBoxes
{
    Q_DECLARE_TR_FUNCTIONS(MainWindow)

public:
    using ErrorFunction = std::function<void(QWidget *parent, const QString &text)>;
    using AskFunction = std::function<QMessageBox::StandardButton(QWidget *parent, const QString &text,
                                                                  QMessageBox::StandardButtons buttons,
                                                                  QMessageBox::StandardButton defaultButton)>;

    ErrorFunction showError;
    AskFunction ask;

    static MessageBoxes native();
};
