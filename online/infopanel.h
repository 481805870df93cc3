#pragma once

#include <QColor>
#include <QList>
#include <QWidget>

class QLabel;

// The small "Info" panel: the release line, whom to write to, and where to download from.
class InfoPanel final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(InfoPanel)

public:
    explicit InfoPanel(QWidget *parent = nullptr);

    // The rich-text lines, built from the deployment's contact address and web site, with links
    // in the given colour.
    static QString contactText(const QString &email, const QColor &linkColour);
    static QString downloadText(const QString &siteUrl, const QColor &linkColour);
    // A link colour that reads well beside text of the given colour. The style sheets colour
    // text but cannot reach links in rich text, so the links carry their colour themselves.
    static QColor linkColour(const QColor &textColour);

protected:
    void changeEvent(QEvent *event) override;

private:
    void updateLinkColour();

    QList<QLabel *> linkLabels;
};
