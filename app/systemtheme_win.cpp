#include "app/theme.h"

#include <QSettings>
#include <QVariant>

using namespace Qt::StringLiterals;

bool systemPrefersDark()
{
    const QSettings personalize(
        u"HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Themes\\Personalize"_s,
        QSettings::NativeFormat);
    return appsUseLightThemePrefersDark(personalize.value(u"AppsUseLightTheme"_s, 1));
}
