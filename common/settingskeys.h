#pragma once

#include <QString>

// Every settings key of the program, with its default, defined once.
namespace SettingsKeys {

inline QString theme()
{
    return QStringLiteral("global/theme");
}
inline QString confirmBeforeStart()
{
    return QStringLiteral("global/confirmBeforeStart");
}
inline QString autoCheckUpdates()
{
    return QStringLiteral("global/autoCheckUpdates");
}
inline QString updateIntervalDays()
{
    return QStringLiteral("global/updateIntervalDays");
}
inline QString lastUpdateCheck()
{
    return QStringLiteral("global/lastUpdateCheck");
}
inline QString disableTabBlinking()
{
    return QStringLiteral("global/disableTabBlinking");
}
inline QString blinkingFps()
{
    return QStringLiteral("global/blinkingFps");
}
inline QString windowGeometry()
{
    return QStringLiteral("global/windowGeometry");
}
// Batches: the checks before a run, the stall watchdog and the size of the log view.
inline QString skipUpToDate()
{
    return QStringLiteral("global/skipUpToDate");
}
inline QString stallMinutes()
{
    return QStringLiteral("global/stallMinutes");
}
inline QString stallAction()
{
    return QStringLiteral("global/stallAction");
}
inline QString logViewLines()
{
    return QStringLiteral("global/logViewLines");
}
// How many converters run at once.
inline QString parallelFiles()
{
    return QStringLiteral("global/parallelFiles");
}
// The program that starts Windows converters on other systems; empty: Wine is looked for.
inline QString wineLauncher()
{
    return QStringLiteral("global/wineLauncher");
}
inline QString defaultInputDir()
{
    return QStringLiteral("default_input_dir");
}
inline QString defaultOutputDir()
{
    return QStringLiteral("default_output_dir");
}
inline QString bannerEntries()
{
    return QStringLiteral("banners/entries");
}

// Per-converter keys, prefixed by the converter's id.
inline QString lastInputDir(const QString &converterId)
{
    return converterId + QStringLiteral("/lastInputDir");
}
inline QString lastOutputDir(const QString &converterId)
{
    return converterId + QStringLiteral("/lastOutputDir");
}
inline QString recentFiles(const QString &converterId)
{
    return converterId + QStringLiteral("/recentFiles");
}

inline QString defaultTheme()
{
    return QStringLiteral("auto");
}
inline constexpr bool defaultConfirmBeforeStart = false;
inline constexpr bool defaultAutoCheckUpdates = true;
inline constexpr int defaultUpdateIntervalDays = 7;
inline constexpr bool defaultDisableTabBlinking = false;
inline constexpr int defaultBlinkingFps = 30;
inline constexpr bool defaultSkipUpToDate = false;
// Big models can be silent for a long time, so by default a stall is only reported.
inline constexpr int defaultStallMinutes = 10;
inline QString defaultStallAction()
{
    return QStringLiteral("warn");
}
inline constexpr int defaultLogViewLines = 200000;
inline constexpr int defaultParallelFiles = 1;
inline constexpr int maxParallelFiles = 16;

// Organisation of the settings store; the application name is the converter's display name.
inline QString organisationName()
{
    return QStringLiteral("Kavanto");
}

} // namespace SettingsKeys
