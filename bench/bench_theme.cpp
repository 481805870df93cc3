// What the theme costs: switching the full main window between the dark and the light style
// sheet (as the preferences dialog does), against the same switch with a two-rule sheet; and
// asking the desktop for its preference without a session bus, first and repeated, against
// opening and reading a settings file.
//
//   bench_theme [rounds]
//
// Prints "name: value" lines; ratios compare with the reference measured in the same run.

#include "app/mainwindow.h"
#include "app/theme.h"
#include "benchsupport.h"
#include "common/dialogs.h"
#include "common/settingskeys.h"
#include "conversion/converterinfo.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QSettings>
#include <QTemporaryDir>

#include <algorithm>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

// Milliseconds per switch, each switch including the repaint of the whole window.
double switchMs(QApplication &app, QWidget &window, const QString &first, const QString &second, int rounds)
{
    std::vector<double> samples;
    for (int i = 0; i < rounds; ++i) {
        QElapsedTimer clock;
        clock.start();
        app.setStyleSheet(i % 2 ? second : first);
        window.grab();
        samples.push_back(nsToMs(clock.nsecsElapsed()));
    }
    // Of an even number of rounds, the upper of the two middle switches.
    return percentile(samples, 50);
}

} // namespace

int main(int argc, char *argv[])
{
    preferOffscreenPlatform();
    QTemporaryDir home;
    qputenv("XDG_CONFIG_HOME", home.filePath(u"config"_s).toLocal8Bit());
    qputenv("XDG_CACHE_HOME", home.filePath(u"cache"_s).toLocal8Bit());
    qputenv("KVT_UPDATE_HOST", "https://127.0.0.1:9");
    // No session bus: the case of a bare desktop, where the answer must come from the palette.
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + home.filePath(u"no-bus"_s).toLocal8Bit());

    QApplication app(argc, argv);
    const int rounds = argc > 1 ? std::max(2, QString::fromLocal8Bit(argv[1]).toInt()) : 20;

    const QString dark = readStyleSheet(true).value_or(QString());
    const QString light = readStyleSheet(false).value_or(QString());
    const QString tinyDark = u"QWidget { background: #1f2329; color: #e4e7eb; }"_s;
    const QString tinyLight = u"QWidget { background: #f3f5f8; color: #1e2329; }"_s;

    // The first question pays for finding out that there is no bus; later ones reuse that.
    QElapsedTimer firstClock;
    firstClock.start();
    const bool firstAnswer = systemPrefersDark();
    const double firstMs = nsToMs(firstClock.nsecsElapsed());
    QElapsedTimer firstSettingClock;
    firstSettingClock.start();
    const QSettings firstSettings(home.filePath(u"first.ini"_s), QSettings::IniFormat);
    const QString firstTheme = firstSettings.value(u"global/theme"_s, u"auto"_s).toString();
    const double firstSettingMs = nsToMs(firstSettingClock.nsecsElapsed());
    print("system_prefers_dark_first_call_without_bus_ms", QString::number(firstMs));
    print("reference_first_settings_open_and_read_ms", QString::number(firstSettingMs));
    print("system_prefers_dark_first_call_ratio",
          u"%1 (answer %2, stored theme %3)"_s.arg(
              QString::number(firstSettingMs > 0 ? firstMs / firstSettingMs : 0),
              firstAnswer ? u"dark"_s : u"light"_s, firstTheme));

    // The window as start-up makes it: its own settings store (in the private home) and
    // dialogs that never show, since nothing here answers them.
    const ConverterInfo info = makeRevitConverterInfo(true);
    QSettings windowSettings(SettingsKeys::organisationName(), info.displayName);
    Dialogs dialogs;
    dialogs.setScripted();
    MainWindow window(info, &windowSettings, &dialogs);
    window.resize(1344, 832);
    window.show();
    QApplication::processEvents();

    const double full = switchMs(app, window, dark, light, rounds);
    const double tiny = switchMs(app, window, tinyDark, tinyLight, rounds);
    print("theme_switch_full_window_ms", QString::number(full));
    print("reference_two_rule_sheet_switch_ms", QString::number(tiny));
    print("theme_switch_ratio", QString::number(tiny > 0 ? full / tiny : 0));

    std::vector<double> systemSamples;
    std::vector<double> settingSamples;
    QSettings settings(home.filePath(u"bench.ini"_s), QSettings::IniFormat);
    settings.setValue(u"global/theme"_s, u"auto"_s);
    int darkAnswers = 0;
    qsizetype readLength = 0;
    for (int i = 0; i < rounds; ++i) {
        QElapsedTimer clock;
        clock.start();
        darkAnswers += systemPrefersDark() ? 1 : 0;
        systemSamples.push_back(nsToMs(clock.nsecsElapsed()));
        clock.restart();
        readLength += settings.value(u"global/theme"_s).toString().size();
        settingSamples.push_back(nsToMs(clock.nsecsElapsed()));
    }
    const double system = percentile(systemSamples, 50);
    const double setting = percentile(settingSamples, 50);
    print("system_prefers_dark_without_bus_ms", QString::number(system));
    print("reference_settings_read_ms", QString::number(setting));
    print("system_prefers_dark_ratio", QString::number(setting > 0 ? system / setting : 0));
    // The answers themselves, so the work cannot be optimised away and can be checked.
    print("system_prefers_dark_answers_dark", u"%1 of %2"_s.arg(darkAnswers).arg(rounds));
    print("settings_characters_read", QString::number(readLength));
    return 0;
}
