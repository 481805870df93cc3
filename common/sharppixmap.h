#pragma once

#include <QPixmap>
#include <QString>

// The picture at `path`, taken from its "@2x" twin when the screen has more than one device
// pixel per logical pixel, so pictures stay sharp on high-DPI screens. QPixmap alone never
// looks for the twin.
QPixmap sharpPixmap(const QString &path, qreal devicePixelRatio);
