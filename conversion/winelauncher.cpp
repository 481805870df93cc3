#include "conversion/winelauncher.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

bool WineLauncher::isWindowsExecutable(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) && file.read(2) == "MZ";
}

bool WineLauncher::needsWine([[maybe_unused]] const QString &program)
{
#ifdef Q_OS_WIN
    return false;
#else
    return isWindowsExecutable(program);
#endif
}

QString WineLauncher::find(const QString &configured, const QStringList &searchPaths, const QString &fallback)
{
    if (!configured.isEmpty())
        return configured;
    for (const QString &name : {u"wine"_s, u"wine64"_s}) {
        const QString found = QStandardPaths::findExecutable(name, searchPaths);
        if (!found.isEmpty())
            return found;
    }
    const QFileInfo debian(fallback);
    return debian.isFile() && debian.isExecutable() ? fallback : QString();
}

QString WineLauncher::toWindowsPath(const QString &path)
{
    if (!path.startsWith(u'/'))
        return path;
    // Wine's Z: drive is the Linux root, so the whole path follows the drive letter.
    QString windows = u"Z:"_s + QDir::cleanPath(path);
    windows.replace(u'/', u'\\');
    return windows;
}

QStringList WineLauncher::toWindowsArguments(const QStringList &arguments)
{
    static const QLatin1StringView pathOptions[] = {"--output-dae="_L1, "--output-xlsx="_L1, "--output="_L1,
                                                    "--categories="_L1};
    QStringList translated;
    translated.reserve(arguments.size());
    for (const QString &argument : arguments) {
        QString result = toWindowsPath(argument);
        for (const QLatin1StringView option : pathOptions) {
            if (argument.startsWith(option)) {
                result = option + toWindowsPath(argument.mid(option.size()));
                break;
            }
        }
        translated.append(result);
    }
    return translated;
}

QString WineLauncher::prefixFolder(const QProcessEnvironment &environment)
{
    const QString prefix = environment.value(u"WINEPREFIX"_s);
    if (!prefix.isEmpty())
        return prefix;
    return QDir(environment.value(u"HOME"_s, QDir::homePath())).filePath(u".wine"_s);
}

WineLauncher::Command WineLauncher::command(const QString &program, const QStringList &arguments,
                                            const QString &launcher, const QProcessEnvironment &environment)
{
    // A native program inherits this program's environment as it is, at no cost.
    Command command{program, arguments, QProcessEnvironment(QProcessEnvironment::InheritFromParent), {}};
    if (launcher.isEmpty() || !needsWine(program))
        return command;
    command.environment = environment;
    // Wine takes the program's Linux path itself; only what the program reads needs Z:.
    command.program = launcher;
    command.arguments = QStringList{program} + toWindowsArguments(arguments);
    // Wine's own diagnostics would fill the converter's log.
    if (!environment.contains(u"WINEDEBUG"_s))
        command.environment.insert(u"WINEDEBUG"_s, u"-all"_s);
    // Wine creates a missing prefix before the program starts, which takes seconds.
    if (!QFileInfo::exists(prefixFolder(environment)))
        command.notice = tr("Preparing Wine (first run only)\u2026");
    return command;
}

bool WineLauncher::isSetupChatter(QStringView line)
{
    if (!line.startsWith(u"wine: "))
        return false;
    const QStringView message = line.mid(6);
    return message.startsWith(u"created the configuration directory") ||
           (message.startsWith(u"configuration in ") && message.endsWith(u"has been updated.")) ||
           (message.startsWith(u"failed to open") && message.contains(u"syswow64", Qt::CaseInsensitive));
}
