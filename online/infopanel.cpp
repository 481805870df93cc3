#include "online/infopanel.h"

#include "common/styleroles.h"
#include "online/deployment.h"

#include <QEvent>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QPixmap>
#include <QUrl>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

QString plainLink(const QString &href, const QString &text, const QColor &colour)
{
    return u"<a href=\"%1\" style=\"color: %2; text-decoration: none;\">%3</a>"_s.arg(
        href.toHtmlEscaped(), colour.name(), text.toHtmlEscaped());
}

QLabel *iconLabel(const QString &resource, QWidget *parent)
{
    auto *icon = new QLabel(parent);
    icon->setPixmap(QPixmap(resource));
    icon->setFixedSize(16, 16);
    return icon;
}

QLabel *linkLabel(const QString &objectName, QWidget *parent)
{
    auto *label = new QLabel(parent);
    label->setObjectName(objectName);
    label->setTextFormat(Qt::RichText);
    label->setTextInteractionFlags(Qt::TextBrowserInteraction);
    label->setOpenExternalLinks(true);
    label->setWordWrap(true);
    return label;
}

} // namespace

InfoPanel::InfoPanel(QWidget *parent)
    : QWidget(parent)
{
    auto *outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    auto *group = new QGroupBox(tr("Info"), this);
    group->setObjectName(u"infoGroup"_s);
    outer->addWidget(group);

    auto *layout = new QGridLayout(group);
    layout->setHorizontalSpacing(8);
    layout->setVerticalSpacing(8);
    layout->setColumnStretch(1, 1);

    auto *version = new QLabel(tr("Version 18.1.0 released on 04.03.2026"), group);
    version->setObjectName(u"versionLabel"_s);
    setStyleRole(version, "textRole", u"secondary"_s);
    layout->addWidget(version, 0, 0, 1, 2);

    linkLabels = {linkLabel(u"contactLabel"_s, group), linkLabel(u"downloadLabel"_s, group)};
    layout->addWidget(iconLabel(u":/res/png/email.png"_s, group), 1, 0, Qt::AlignTop);
    layout->addWidget(linkLabels.at(0), 1, 1);
    layout->addWidget(iconLabel(u":/res/png/warning.png"_s, group), 2, 0, Qt::AlignTop);
    layout->addWidget(linkLabels.at(1), 2, 1);
    layout->setRowStretch(3, 1);
    updateLinkColour();
}

QColor InfoPanel::linkColour(const QColor &textColour)
{
    return QColor(textColour.lightness() < 128 ? u"#0a5ca8"_s : u"#5aa9ff"_s);
}

void InfoPanel::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::StyleChange || event->type() == QEvent::PaletteChange)
        updateLinkColour();
}

void InfoPanel::updateLinkColour()
{
    const QColor colour = linkColour(palette().color(QPalette::WindowText));
    const QString contact = contactText(Deployment::contactEmail(), colour);
    if (linkLabels.at(0)->text() != contact)
        linkLabels.at(0)->setText(contact);
    const QString download = downloadText(Deployment::vendorSiteUrl(), colour);
    if (linkLabels.at(1)->text() != download)
        linkLabels.at(1)->setText(download);
}

QString InfoPanel::contactText(const QString &email, const QColor &linkColour)
{
    return tr("If you have any questions, please contact us at ").toHtmlEscaped() +
           plainLink(u"mailto:"_s + email, email, linkColour);
}

QString InfoPanel::downloadText(const QString &siteUrl, const QColor &linkColour)
{
    // The link reads as the site's address without the scheme, as people write it.
    const QUrl site(siteUrl, QUrl::TolerantMode);
    const QString shown = site.host().isEmpty() ? siteUrl : site.host() + site.path();
    return tr("Download KVT Converter only from ").toHtmlEscaped() + plainLink(siteUrl, shown, linkColour);
}
