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
#include "conversion/converterinfo.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QSettings>
#include <QTemporaryDir>
#include <QTextStream>

#include <algorithm>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? 0.0 : values.at(values.size() / 2);
}

// Milliseconds per switch, each switch including the repaint of the whole window.
double switchMs(QApplication &app, QWidget &window, const QString &first, const QString &second, int rounds)
{
    std::vector<double> samples;
    for (int i = 0; i < rounds; ++i) {
        QElapsedTimer clock;
        clock.start();
        app.setStyleSheet(i % 2 ? second : first);
        window.grab();
        samples.push_back(double(clock.nsecsElapsed()) / 1e6);
    }
    return median(samples);
}

} // namespace

int main(int argc, char *argv[])
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QTemporaryDir home;
    qputenv("XDG_CONFIG_HOME", home.filePath(u"config"_s).toLocal8Bit());
    qputenv("XDG_CACHE_HOME", home.filePath(u"cache"_s).toLocal8Bit());
    qputenv("KVT_UPDATE_HOST", "https://127.0.0.1:9");
    // No session bus: the case of a bare desktop, where the answer must come from the palette.
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + home.filePath(u"no-bus"_s).toLocal8Bit());

    QApplication app(argc, argv);
    const int rounds = argc > 1 ? std::max(2, QString::fromLocal8Bit(argv[1]).toInt()) : 20;
    QTextStream out(stdout);

    const QString dark = readStyleSheet(true).value_or(QString());
    const QString light = readStyleSheet(false).value_or(QString());
    const QString tinyDark = u"QWidget { background: #1f2329; color: #e4e7eb; }"_s;
    const QString tinyLight = u"QWidget { background: #f3f5f8; color: #1e2329; }"_s;

    // The first question pays for finding out that there is no bus; later ones reuse that.
    QElapsedTimer firstClock;
    firstClock.start();
    const bool firstAnswer = systemPrefersDark();
    const double firstMs = double(firstClock.nsecsElapsed()) / 1e6;
    QElapsedTimer firstSettingClock;
    firstSettingClock.start();
    const QSettings firstSettings(home.filePath(u"first.ini"_s), QSettings::IniFormat);
    const QString firstTheme = firstSettings.value(u"global/theme"_s, u"auto"_s).toString();
    const double firstSettingMs = double(firstSettingClock.nsecsElapsed()) / 1e6;
    out << "system_prefers_dark_first_call_without_bus_ms: " << firstMs << '\n';
    out << "reference_first_settings_open_and_read_ms: " << firstSettingMs << '\n';
    out << "system_prefers_dark_first_call_ratio: " << (firstSettingMs > 0 ? firstMs / firstSettingMs : 0)
        << " (answer " << (firstAnswer ? "dark" : "light") << ", stored theme " << firstTheme << ")\n";

    MainWindow window(makeRevitConverterInfo(true));
    window.resize(1344, 832);
    window.show();
    QApplication::processEvents();

    const double full = switchMs(app, window, dark, light, rounds);
    const double tiny = switchMs(app, window, tinyDark, tinyLight, rounds);
    out << "theme_switch_full_window_ms: " << full << '\n';
    out << "reference_two_rule_sheet_switch_ms: " << tiny << '\n';
    out << "theme_switch_ratio: " << (tiny > 0 ? full / tiny : 0) << '\n';

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
        systemSamples.push_back(double(clock.nsecsElapsed()) / 1e6);
        clock.restart();
        readLength += settings.value(u"global/theme"_s).toString().size();
        settingSamples.push_back(double(clock.nsecsElapsed()) / 1e6);
    }
    const double system = median(systemSamples);
    const double setting = median(settingSamples);
    out << "system_prefers_dark_without_bus_ms: " << system << '\n';
    out << "reference_settings_read_ms: " << setting << '\n';
    out << "system_prefers_dark_ratio: " << (setting > 0 ? system / setting : 0) << '\n';
    // The answers themselves, so the work cannot be optimised away and can be checked.
    out << "system_prefers_dark_answers_dark: " << darkAnswers << " of " << rounds << '\n';
    out << "settings_characters_read: " << readLength << '\n';
    return 0;
}
