#include "common/dropoverlay.h"

#include "common/sharppixmap.h"

#include <QDragEnterEvent>
#include <QLabel>
#include <QMimeData>
#include <QPainter>
#include <QPixmap>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

DropOverlay::DropOverlay(QWidget *host)
    : QWidget(host)
    , iconLabel(new QLabel(this))
    , textLabel(new QLabel(this))
{
    setObjectName(QStringLiteral("dropOverlay"));
    // Drag events must keep reaching the host underneath.
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAcceptDrops(false);
    // Lets a style sheet rule for #dropOverlay paint the background instead of paintEvent.
    setAttribute(Qt::WA_StyledBackground);

    iconLabel->setObjectName(QStringLiteral("dropOverlayIcon"));
    iconLabel->setAlignment(Qt::AlignCenter);
    textLabel->setObjectName(QStringLiteral("dropOverlayText"));
    textLabel->setAlignment(Qt::AlignCenter);
    textLabel->setWordWrap(true);
    QFont font = textLabel->font();
    font.setBold(true);
    font.setPointSizeF(font.pointSizeF() * 1.15);
    textLabel->setFont(font);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(12, 12, 12, 12);
    layout->setSpacing(8);
    layout->addStretch(1);
    layout->addWidget(iconLabel);
    layout->addWidget(textLabel);
    layout->addStretch(1);

    hide();
    host->installEventFilter(this);
}

PathSelection DropOverlay::dropped(const QMimeData *data, const QStringList &extensions)
{
    return data->hasUrls() ? selectPaths(localPaths(data->urls()), extensions) : PathSelection();
}

void DropOverlay::offer(QDragEnterEvent *event, const PathSelection &selection)
{
    QWidget *host = parentWidget();
    if (!selection.folder.isEmpty()) {
        event->acceptProposedAction();
        showOver(host->rect(), tr("Drop folder here"), u":/res/style/icons/folder-up.png"_s);
    } else if (!selection.files.isEmpty()) {
        event->acceptProposedAction();
        showOver(host->rect(), tr("Drop file(s) here"), u":/res/style/icons/file-up.png"_s);
    } else {
        event->ignore();
    }
}

bool DropOverlay::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == parent() && (event->type() == QEvent::DragLeave || event->type() == QEvent::Drop))
        hide();
    return QWidget::eventFilter(watched, event);
}

void DropOverlay::showOver(const QRect &area, const QString &text, const QString &pixmapPath)
{
    currentPixmapPath = pixmapPath;
    const QPixmap pixmap = sharpPixmap(pixmapPath, devicePixelRatioF());
    iconLabel->setPixmap(pixmap);
    // The icon may not be drawn yet; the text alone still says what will happen.
    iconLabel->setVisible(!pixmap.isNull());
    textLabel->setText(text);
    setGeometry(area);
    raise();
    show();
}

QString DropOverlay::text() const
{
    return textLabel->text();
}

void DropOverlay::paintEvent(QPaintEvent *event)
{
    QWidget::paintEvent(event);
    if (testAttribute(Qt::WA_StyleSheetTarget))
        return;
    // Without a style sheet rule: a nearly opaque panel in the window colour with a dashed
    // highlight frame, readable in light and dark palettes alike.
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QColor fill = palette().color(QPalette::Window);
    fill.setAlpha(245);
    QPen pen(palette().color(QPalette::Highlight), 2, Qt::DashLine);
    painter.setPen(pen);
    painter.setBrush(fill);
    painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), 6, 6);
}
