#include "app/desktopportal.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QMetaType>
#include <QVariant>

using namespace Qt::StringLiterals;

std::optional<uint> readPortalColorScheme(const QDBusConnection &bus, int timeoutMs)
{
    if (!bus.isConnected())
        return std::nullopt;
    QDBusMessage call = QDBusMessage::createMethodCall(u"org.freedesktop.portal.Desktop"_s,
                                                       u"/org/freedesktop/portal/desktop"_s,
                                                       u"org.freedesktop.portal.Settings"_s, u"Read"_s);
    call << u"org.freedesktop.appearance"_s << u"color-scheme"_s;
    const QDBusMessage reply = bus.call(call, QDBus::Block, timeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return std::nullopt;
    return colorSchemeFromPortalReply(reply.arguments().constFirst());
}

std::optional<uint> colorSchemeFromPortalReply(const QVariant &reply)
{
    QVariant value = reply;
    // Read answers v(v(u)); the newer ReadOne answers v(u). A few levels are plenty.
    for (int depth = 0; depth < 4 && value.metaType() == QMetaType::fromType<QDBusVariant>(); ++depth)
        value = value.value<QDBusVariant>().variant();
    switch (value.metaType().id()) {
    case QMetaType::UInt: return value.toUInt();
    case QMetaType::Int:
    case QMetaType::UChar:
    case QMetaType::UShort:
    case QMetaType::Short:
    case QMetaType::LongLong:
    case QMetaType::ULongLong: {
        const qlonglong number = value.toLongLong();
        if (number < 0 || number > 0xffff)
            return std::nullopt;
        return uint(number);
    }
    default: return std::nullopt;
    }
}
