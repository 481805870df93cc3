#pragma once

#include <QLabel>
#include <QPointer>
#include <QTimer>

class QGraphicsOpacityEffect;
class QPropertyAnimation;

// A transient rounded message that fades in over the bottom of its parent, stays for
// a while and fades out.
class ToastWidget final : public QLabel
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ToastWidget)

public:
    explicit ToastWidget(QWidget *parent = nullptr);

    void showMessage(const QString &text, int durationMs);
    qreal opacity() const;

    // The toast's width for a text advance inside a parent of the given width.
    static int toastWidth(int textAdvance, int parentWidth);

private:
    void fadeOut();

    QGraphicsOpacityEffect *effect = nullptr;
    QTimer hideTimer;
    QPointer<QPropertyAnimation> fade;
};
