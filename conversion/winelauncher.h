#pragma once

#include <QCoreApplication>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

// Starts the vendor's Windows converters through Wine where the system is not Windows. The
// converter's command line is built as everywhere; only here is it turned into the command
// actually started, so the rest of the program never knows whether Wine is involved.
class WineLauncher
{
    Q_DECLARE_TR_FUNCTIONS(WineLauncher)

public:
    // What the controller starts for one file.
    struct Command
    {
        QString program;
        QStringList arguments;
        QProcessEnvironment environment;
        // A line for the log before the start, or empty.
        QString notice;
    };

    // Debian's wine64 package puts the launcher here, outside the PATH.
    static QString debianLauncher() { return QStringLiteral("/usr/lib/wine/wine64"); }

    // A Windows program starts with "MZ"; the name says nothing (the demo converter is a
    // native program called RvtExporter.exe).
    static bool isWindowsExecutable(const QString &path);
    // Whether starting `program` takes Wine on this system: never on Windows itself.
    static bool needsWine(const QString &program);

    // The launcher to use: the one chosen in Preferences, else `wine` or `wine64` on the
    // search path (empty: PATH), else `fallback` if it is executable; empty when none is found.
    static QString find(const QString &configured, const QStringList &searchPaths = {},
                        const QString &fallback = debianLauncher());

    // An absolute Linux path in the form Wine maps to the Linux root ("/a/b" is "Z:\a\b"),
    // cleaned of "..", "." and doubled or trailing separators; anything else unchanged.
    static QString toWindowsPath(const QString &path);
    // The converter's arguments with every path in Windows form: a bare absolute path (the
    // input) and the value of --output-dae=, --output-xlsx=, --output= and --categories=.
    static QStringList toWindowsArguments(const QStringList &arguments);

    // What a fresh prefix's first start prints whatever WINEDEBUG says: the folder made, a
    // 32-bit helper a 64-bit-only Wine lacks, the configuration updated. Nothing a user acts on.
    static bool isSetupChatter(QStringView line);

    // The Wine prefix the launcher will use: $WINEPREFIX, else ~/.wine.
    static QString prefixFolder(const QProcessEnvironment &environment);

    // The command that runs `program` with `arguments`: unchanged, with this program's
    // environment inherited, for a native program or when no launcher is given; otherwise the launcher with
    // the program and the arguments in Windows form, Wine's debugging output off unless the environment asks
    // for it.
    static Command command(const QString &program, const QStringList &arguments, const QString &launcher,
                           const QProcessEnvironment &environment);
};
