#pragma once

#include <QLabel>
#include <QPixmap>
#include <QSize>

// A banner picture that can be clicked. The picture is scaled to fit, keeping its shape; a
// missing picture leaves a quiet placeholder instead of an empty hole.
class BannerLabel final : public QLabel
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(BannerLabel)

public:
    // The banners are drawn for this size (and twice it for high-density screens).
    static constexpr QSize displaySize{300, 83};

    explicit BannerLabel(QWidget *parent = nullptr);

    void setBanner(const QPixmap &picture);
    QPixmap banner() const { return picture; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

Q_SIGNALS:
    void clicked();

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    QPixmap picture;
    bool pressed = false;
};
