#include "app/theme.h"

#include "common/settingskeys.h"

#include <QApplication>
#include <QColor>
#include <QFile>
#include <QFontDatabase>
#include <QSettings>
#include <QVariant>

using namespace Qt::StringLiterals;

bool isDarkTheme(const QString &applicationName)
{
    const QSettings settings(SettingsKeys::organisationName(), applicationName);
    return isDarkTheme(settings, systemPrefersDark);
}

bool isDarkTheme(const QSettings &settings, const std::function<bool()> &systemDark)
{
    // Exact, case-sensitive comparison: "Dark" is not a choice the dialog writes.
    const QString theme = settings.value(SettingsKeys::theme(), SettingsKeys::defaultTheme()).toString();
    if (theme == "dark"_L1)
        return true;
    if (theme == "light"_L1)
        return false;
    return systemDark();
}

bool appsUseLightThemePrefersDark(const QVariant &appsUseLightTheme)
{
    const QVariant value = appsUseLightTheme.isValid() ? appsUseLightTheme : QVariant(1);
    return value.toInt() == 0;
}

bool colorSchemePrefersDark(std::optional<uint> portalColorScheme, const QColor &windowColor)
{
    if (portalColorScheme == 1u)
        return true;
    if (portalColorScheme == 2u)
        return false;
    return windowColor.lightness() < 128;
}

QString styleSheetPath(bool dark)
{
    return dark ? u":/res/style/dark.qss"_s : u":/res/style/light.qss"_s;
}

std::optional<QString> readStyleSheet(bool dark)
{
    QFile file(styleSheetPath(dark));
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return std::nullopt;
    return QString::fromUtf8(file.readAll());
}

void applyStyleSheet(QApplication &app, bool dark)
{
    if (const std::optional<QString> sheet = readStyleSheet(dark))
        app.setStyleSheet(*sheet);
}

QString loadInterfaceFont()
{
    const int id = QFontDatabase::addApplicationFont(u":/res/fonts/Lato.ttf"_s);
    return interfaceFontFamily(id, id == -1 ? QStringList() : QFontDatabase::applicationFontFamilies(id));
}

QString interfaceFontFamily(int fontId, const QStringList &families)
{
    if (fontId == -1 || families.isEmpty())
        return u"Tahoma"_s;
    return families.constFirst();
}
