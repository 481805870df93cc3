// The reference for bench_startup: the smallest Qt Widgets program that shows one window,
// with the same first-paint probe. With --text the window is a label with one line of text,
// which adds what any window with text pays (the font database).

#include "../firstpaintprobe.h"

#include <QApplication>
#include <QLabel>
#include <QWidget>

#include <cstring>
#include <memory>

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    const bool withText = argc > 1 && std::strcmp(argv[1], "--text") == 0;
    std::unique_ptr<QWidget> window =
        withText ? std::make_unique<QLabel>(QStringLiteral("Construction models to tables"))
                 : std::make_unique<QWidget>();
    window->resize(900, 600);
    new FirstPaintProbe(window.get());
    window->show();
    return QApplication::exec();
}
