#pragma once

#include <QtGlobal>

#include <optional>

class QDBusConnection;
class QVariant;

// Asks the freedesktop desktop portal on bus for org.freedesktop.appearance color-scheme
// (0 no preference, 1 dark, 2 light). Nothing when the bus is not connected, no portal
// answers within timeoutMs, or the answer is not a number.
std::optional<uint> readPortalColorScheme(const QDBusConnection &bus, int timeoutMs);

// The number inside a portal Read reply, which wraps the value in one or more variants.
std::optional<uint> colorSchemeFromPortalReply(const QVariant &reply);
