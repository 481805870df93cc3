#pragma once

#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

class QApplication;
class QColor;
class QSettings;
class QVariant;

// Dark or light, as chosen in the settings store of the program called applicationName
// ("global/theme"): "dark" and "light" decide, anything else follows the system.
bool isDarkTheme(const QString &applicationName);
// The same decision on a given store; systemDark is asked only when the store does not decide.
bool isDarkTheme(const QSettings &settings, const std::function<bool()> &systemDark);

// Whether the desktop asks applications for a dark look. Implemented once per platform.
bool systemPrefersDark();

// The Windows rule for the registry value AppsUseLightTheme: dark exactly when it is 0; a
// missing value counts as 1, that is light.
bool appsUseLightThemePrefersDark(const QVariant &appsUseLightTheme);

// The freedesktop rule: the portal's color-scheme 1 is dark and 2 light; with no answer, or
// "no preference" (0), the lightness of the palette's window colour decides.
bool colorSchemePrefersDark(std::optional<uint> portalColorScheme, const QColor &windowColor);

// The style sheet resource of a theme, and its text; nothing when the resource cannot be read.
QString styleSheetPath(bool dark);
std::optional<QString> readStyleSheet(bool dark);
// Sets the theme's style sheet on the application; leaves the current one when it cannot be read.
void applyStyleSheet(QApplication &app, bool dark);

// Registers the bundled interface font and returns the family to use for the window font.
QString loadInterfaceFont();
// The family chosen for a font registration result: its first family, else "Tahoma".
QString interfaceFontFamily(int fontId, const QStringList &families);
