#include "app/desktopportal.h"
#include "app/theme.h"

#include <QDBusConnection>
#include <QGuiApplication>
#include <QPalette>

namespace {
// Start-up waits for this at most; a healthy portal answers in a few milliseconds.
constexpr int portalTimeoutMs = 300;
} // namespace

bool systemPrefersDark()
{
    const QDBusConnection bus = QDBusConnection::sessionBus();
    const std::optional<uint> scheme =
        bus.isConnected() ? readPortalColorScheme(bus, portalTimeoutMs) : std::nullopt;
    return colorSchemePrefersDark(scheme, QGuiApplication::palette().color(QPalette::Window));
}
