#pragma once

#include <QWidget>

// One position dot under the banners; the current banner's dot is drawn in the accent colour.
class DotWidget final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(DotWidget)

public:
    explicit DotWidget(QWidget *parent = nullptr);

    bool isCurrent() const { return current; }
    void setCurrent(bool value);

    QColor color() const;

Q_SIGNALS:
    void clicked();

protected:
    void paintEvent(QPaintEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;

private:
    bool current = false;
};
