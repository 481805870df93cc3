#include "common/sharppixmap.h"

using namespace Qt::StringLiterals;

QPixmap sharpPixmap(const QString &path, qreal devicePixelRatio)
{
    if (devicePixelRatio > 1.0) {
        const qsizetype dot = path.lastIndexOf(u'.');
        if (dot > 0) {
            QPixmap twice(path.left(dot) + u"@2x"_s + path.mid(dot));
            if (!twice.isNull()) {
                twice.setDevicePixelRatio(2.0);
                return twice;
            }
        }
    }
    return QPixmap(path);
}
