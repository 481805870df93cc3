#include "progress/toastwidget.h"

#include <QFontMetrics>
#include <QGraphicsOpacityEffect>
#include <QPropertyAnimation>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

ToastWidget::ToastWidget(QWidget *parent)
    : QLabel(parent)
{
    setObjectName(u"toast"_s);
    setAlignment(Qt::AlignCenter);
    setWordWrap(true);
    setFixedHeight(36);
    setStyleSheet(
        u"QLabel {    background-color: rgba(0, 120, 215, 220);    color: white;    border-radius: 18px;    "
        u"font-size: 10pt;    font-weight: bold;    padding: 6px 24px;}"_s);
    effect = new QGraphicsOpacityEffect(this);
    effect->setOpacity(0.0);
    setGraphicsEffect(effect);
    hideTimer.setSingleShot(true);
    connect(&hideTimer, &QTimer::timeout, this, &ToastWidget::fadeOut);
    hide();
}

qreal ToastWidget::opacity() const
{
    return effect->opacity();
}

int ToastWidget::toastWidth(int textAdvance, int parentWidth)
{
    const int maximum = std::max(300, static_cast<int>(std::floor(0.8 * parentWidth)));
    return std::min(textAdvance + 64, maximum);
}

void ToastWidget::showMessage(const QString &text, int durationMs)
{
    setText(text);
    if (QWidget *host = parentWidget()) {
        // The style sheet sets the font, so it has to be applied before measuring.
        ensurePolished();
        const int width = toastWidth(fontMetrics().horizontalAdvance(text), host->width());
        setFixedWidth(width);
        move((host->width() - width) / 2, host->height() - height() - 50);
    }
    // A fade-out still running would otherwise hide the new message when it ends.
    if (fade)
        fade->stop();
    effect->setOpacity(0.0);
    raise();
    show();
    fade = new QPropertyAnimation(effect, "opacity", this);
    fade->setDuration(200);
    fade->setEndValue(1.0);
    fade->start(QAbstractAnimation::DeleteWhenStopped);
    hideTimer.start(durationMs);
}

void ToastWidget::fadeOut()
{
    if (fade)
        fade->stop();
    fade = new QPropertyAnimation(effect, "opacity", this);
    fade->setDuration(400);
    fade->setStartValue(effect->opacity());
    fade->setEndValue(0.0);
    connect(fade, &QPropertyAnimation::finished, this, &QWidget::hide);
    fade->start(QAbstractAnimation::DeleteWhenStopped);
}
