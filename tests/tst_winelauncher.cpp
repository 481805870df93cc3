#include "conversion/preflight.h"
#include "conversion/winelauncher.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

// Writes `bytes` to `path`, executable unless told otherwise, and says whether that worked.
bool writeProgram(const QString &path, const QByteArray &bytes, bool executable = true)
{
    QFile file(path);
    return QDir().mkpath(QFileInfo(path).absolutePath()) && file.open(QIODevice::WriteOnly) &&
           file.write(bytes) == bytes.size() &&
           file.setPermissions(QFile::ReadOwner | QFile::WriteOwner |
                               (executable ? QFile::ExeOwner : QFile::Permissions()));
}

const QByteArray windowsHeader("MZ\x90\x00\x03\x00\x00\x00", 8);
const QByteArray elfHeader("\x7f"
                           "ELF\x02\x01\x01\x00",
                           8);

} // namespace

class tst_WineLauncher : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void windowsPath_data();
    void windowsPath();
    void windowsArguments_data();
    void windowsArguments();
    void windowsExecutable_data();
    void windowsExecutable();
    void findLauncher_data();
    void findLauncher();
    void command_data();
    void command();
    void preflightWithoutWine_data();
    void preflightWithoutWine();
};

void tst_WineLauncher::windowsPath_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("expected");
    QTest::addRow("drive root") << u"/"_s << u"Z:\\"_s;
    QTest::addRow("plain") << u"/home/ana/House.rvt"_s << u"Z:\\home\\ana\\House.rvt"_s;
    QTest::addRow("spaces") << u"/home/ana/My Models/Office tower.rvt"_s
                            << u"Z:\\home\\ana\\My Models\\Office tower.rvt"_s;
    QTest::addRow("non-ASCII") << u"/home/zoë/Modèles/Здание 東京.rvt"_s
                               << u"Z:\\home\\zoë\\Modèles\\Здание 東京.rvt"_s;
    QTest::addRow("dot dot") << u"/home/ana/models/../out/House.xlsx"_s
                             << u"Z:\\home\\ana\\out\\House.xlsx"_s;
    QTest::addRow("dot dot to the root") << u"/tmp/.."_s << u"Z:\\"_s;
    QTest::addRow("single dot") << u"/home/./ana"_s << u"Z:\\home\\ana"_s;
    QTest::addRow("trailing separator") << u"/home/ana/out/"_s << u"Z:\\home\\ana\\out"_s;
    QTest::addRow("doubled separators") << u"/home//ana///out"_s << u"Z:\\home\\ana\\out"_s;
    QTest::addRow("relative path") << u"models/House.rvt"_s << u"models/House.rvt"_s;
    QTest::addRow("switch") << u"--ui"_s << u"--ui"_s;
    QTest::addRow("empty") << QString() << QString();
}

void tst_WineLauncher::windowsPath()
{
    QFETCH(QString, path);
    QFETCH(QString, expected);
    QCOMPARE(WineLauncher::toWindowsPath(path), expected);
}

void tst_WineLauncher::windowsArguments_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QStringList>("expected");
    QTest::addRow("revit into a folder") << QStringList{u"/p/A b.rvt"_s,
                                                        u"--output-dae=/out dir/A b_rvt.dae"_s,
                                                        u"--output-xlsx=/out dir/A b_rvt.xlsx"_s,
                                                        u"--mode=standard"_s,
                                                        u"--bbox"_s,
                                                        u"--ui"_s}
                                         << QStringList{u"Z:\\p\\A b.rvt"_s,
                                                        u"--output-dae=Z:\\out dir\\A b_rvt.dae"_s,
                                                        u"--output-xlsx=Z:\\out dir\\A b_rvt.xlsx"_s,
                                                        u"--mode=standard"_s,
                                                        u"--bbox"_s,
                                                        u"--ui"_s};
    QTest::addRow("custom categories")
        << QStringList{u"/p/a.rvt"_s, u"--mode=custom"_s, u"--categories=/opt/kvt/kavantolibs/cats.txt"_s}
        << QStringList{u"Z:\\p\\a.rvt"_s, u"--mode=custom"_s,
                       u"--categories=Z:\\opt\\kvt\\kavantolibs\\cats.txt"_s};
    QTest::addRow("rvt2ifc with a configuration")
        << QStringList{u"/p/a.rfa"_s, u"--output=/o/a_rfa.ifc"_s, u"--mode=custom"_s,
                       u"--config=/a/b;ExportBaseQuantities=true"_s, u"--force-path"_s}
        << QStringList{u"Z:\\p\\a.rfa"_s, u"--output=Z:\\o\\a_rfa.ifc"_s, u"--mode=custom"_s,
                       u"--config=/a/b;ExportBaseQuantities=true"_s, u"--force-path"_s};
    QTest::addRow("results beside the input") << QStringList{u"/p/../q/a.dwg"_s, u"--skip-xlsx"_s, u"--ui"_s}
                                              << QStringList{u"Z:\\q\\a.dwg"_s, u"--skip-xlsx"_s, u"--ui"_s};
    QTest::addRow("relative output left alone") << QStringList{u"a.ifc"_s, u"--output-xlsx=out/a_ifc.xlsx"_s}
                                                << QStringList{u"a.ifc"_s, u"--output-xlsx=out/a_ifc.xlsx"_s};
}

void tst_WineLauncher::windowsArguments()
{
    QFETCH(QStringList, arguments);
    QFETCH(QStringList, expected);
    QCOMPARE(WineLauncher::toWindowsArguments(arguments), expected);
}

void tst_WineLauncher::windowsExecutable_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("bytes"); // empty name: the file is not written
    QTest::addColumn<bool>("expected");
    QTest::addRow("Windows header") << u"Tool.exe"_s << windowsHeader << true;
    QTest::addRow("only the two bytes") << u"tool"_s << QByteArray("MZ") << true;
    QTest::addRow("ELF named .exe") << u"RvtExporter.exe"_s << elfHeader << false;
    QTest::addRow("script") << u"run.exe"_s << QByteArray("#!/bin/sh\nexit 0\n") << false;
    QTest::addRow("lower case") << u"a.exe"_s << QByteArray("mz\x90\x00", 4) << false;
    QTest::addRow("one byte") << u"a.exe"_s << QByteArray("M") << false;
    QTest::addRow("empty file") << u"a.exe"_s << QByteArray() << false;
    QTest::addRow("missing file") << QString() << QByteArray() << false;
}

void tst_WineLauncher::windowsExecutable()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, bytes);
    QFETCH(bool, expected);
    const QTemporaryDir dir;
    const QString path = dir.filePath(name.isEmpty() ? u"missing.exe"_s : name);
    if (!name.isEmpty())
        QVERIFY(writeProgram(path, bytes));
    QCOMPARE(WineLauncher::isWindowsExecutable(path), expected);
    QCOMPARE(WineLauncher::needsWine(path), expected);
}

void tst_WineLauncher::findLauncher_data()
{
    QTest::addColumn<QString>("configured");
    QTest::addColumn<QStringList>("onPath");  // launchers put in the search folder
    QTest::addColumn<bool>("fallbackExists"); // the Debian location, faked in the folder
    QTest::addColumn<QString>("expected");    // file name in the folder, or the configured value
    QTest::addRow("both on the path")
        << QString() << QStringList{u"wine"_s, u"wine64"_s} << true << u"bin/wine"_s;
    QTest::addRow("only wine64") << QString() << QStringList{u"wine64"_s} << true << u"bin/wine64"_s;
    QTest::addRow("Debian's location") << QString() << QStringList() << true << u"lib/wine64"_s;
    QTest::addRow("none") << QString() << QStringList() << false << QString();
    QTest::addRow("chosen in Preferences") << u"/opt/wine-staging/bin/wine"_s << QStringList{u"wine"_s}
                                           << true << u"/opt/wine-staging/bin/wine"_s;
}

void tst_WineLauncher::findLauncher()
{
    QFETCH(QString, configured);
    QFETCH(QStringList, onPath);
    QFETCH(bool, fallbackExists);
    QFETCH(QString, expected);
    const QTemporaryDir dir;
    const QDir root(dir.path());
    for (const QString &name : std::as_const(onPath))
        QVERIFY(writeProgram(root.filePath(u"bin/"_s + name), "#!/bin/sh\n"));
    // A file that is there but not executable is no launcher.
    QVERIFY(writeProgram(root.filePath(u"bin/wine.txt"_s), "x"));
    const QString fallback = root.filePath(u"lib/wine64"_s);
    if (fallbackExists)
        QVERIFY(writeProgram(fallback, "#!/bin/sh\n"));
    const QString found = WineLauncher::find(configured, {root.filePath(u"bin"_s)}, fallback);
    QCOMPARE(found, expected.isEmpty() || expected.startsWith(u'/') ? expected : root.filePath(expected));
}

void tst_WineLauncher::command_data()
{
    QTest::addColumn<QByteArray>("converter");
    QTest::addColumn<QString>("launcher");
    QTest::addColumn<QStringList>("environment"); // NAME=value; a WINEPREFIX of "new" does not exist yet
    // What is started, the converter and its first argument, WINEDEBUG and the notice.
    QTest::addColumn<QString>("expected");
    const QString notice = u"Preparing Wine (first run only)\u2026"_s;
    QTest::addRow("native program") << elfHeader << u"/usr/bin/wine"_s << QStringList{u"WINEPREFIX=new"_s}
                                    << u"converter | /in/a.rvt | inherited | "_s;
    QTest::addRow("Windows program, no Wine")
        << windowsHeader << QString() << QStringList{u"WINEPREFIX=new"_s}
        << u"converter | /in/a.rvt | inherited | "_s;
    QTest::addRow("Windows program, fresh prefix")
        << windowsHeader << u"/usr/bin/wine"_s << QStringList{u"WINEPREFIX=new"_s, u"HOME=/home/ana"_s}
        << u"/usr/bin/wine | converter Z:\\in\\a.rvt | -all | "_s + notice;
    QTest::addRow("Windows program, prefix there")
        << windowsHeader << u"/usr/lib/wine/wine64"_s << QStringList{u"WINEPREFIX=existing"_s}
        << u"/usr/lib/wine/wine64 | converter Z:\\in\\a.rvt | -all | "_s;
    QTest::addRow("user's WINEDEBUG kept") << windowsHeader << u"/usr/bin/wine"_s
                                           << QStringList{u"WINEPREFIX=existing"_s, u"WINEDEBUG=err+all"_s}
                                           << u"/usr/bin/wine | converter Z:\\in\\a.rvt | err+all | "_s;
    QTest::addRow("default prefix in a home without one")
        << windowsHeader << u"/usr/bin/wine"_s << QStringList{u"HOME=new"_s}
        << u"/usr/bin/wine | converter Z:\\in\\a.rvt | -all | "_s + notice;
    QTest::addRow("default prefix in a home with one")
        << windowsHeader << u"/usr/bin/wine"_s << QStringList{u"HOME=home"_s}
        << u"/usr/bin/wine | converter Z:\\in\\a.rvt | -all | "_s;
}

void tst_WineLauncher::command()
{
    QFETCH(QByteArray, converter);
    QFETCH(QString, launcher);
    QFETCH(QStringList, environment);
    QFETCH(QString, expected);
    const QTemporaryDir dir;
    const QDir root(dir.path());
    const QString program = root.filePath(u"RvtExporter.exe"_s);
    QVERIFY(writeProgram(program, converter));
    QVERIFY(root.mkpath(u"existing"_s) && root.mkpath(u"home/.wine"_s));
    QProcessEnvironment env;
    for (const QString &entry : std::as_const(environment)) {
        const QString name = entry.section(u'=', 0, 0);
        const QString value = entry.section(u'=', 1);
        env.insert(name, name == u"WINEDEBUG" ? value : root.filePath(value));
    }
    const WineLauncher::Command command =
        WineLauncher::command(program, {u"/in/a.rvt"_s, u"--ui"_s}, launcher, env);
    const QString started = command.program == program ? u"converter"_s : command.program;
    QStringList first = command.arguments.mid(0, command.arguments.size() - 1);
    first.replaceInStrings(program, u"converter"_s);
    const QString debug = command.environment.inheritsFromParent()
                              ? u"inherited"_s
                              : command.environment.value(u"WINEDEBUG"_s, u"unset"_s);
    QCOMPARE(QStringList({started, first.join(u' '), debug, command.notice}).join(u" | "_s), expected);
    // Switches pass unchanged, and the rest of the environment goes to Wine as it was.
    QCOMPARE(command.arguments.constLast(), u"--ui"_s);
    if (!command.environment.inheritsFromParent())
        QCOMPARE(command.environment.value(u"WINEPREFIX"_s), env.value(u"WINEPREFIX"_s));
}

void tst_WineLauncher::preflightWithoutWine_data()
{
    QTest::addColumn<QByteArray>("converter");
    QTest::addColumn<bool>("executable");
    QTest::addColumn<QString>("launcher");
    QTest::addColumn<QString>("expected"); // the findings' texts, "refused" when the run may not start
    const QString noWine = u"refused: RvtExporter.exe is a Windows program. Install Wine to run it on this "
                           "system (Debian: apt install wine)."_s;
    QTest::addRow("Windows converter, no Wine") << windowsHeader << true << QString() << noWine;
    QTest::addRow("Windows converter copied without x, no Wine")
        << windowsHeader << false << QString() << noWine;
    QTest::addRow("Windows converter, Wine found")
        << windowsHeader << true << u"/usr/bin/wine"_s << QString();
    // Wine reads the program, so a converter copied from Windows without the x bit still runs.
    QTest::addRow("Windows converter without x, Wine found")
        << windowsHeader << false << u"/usr/bin/wine"_s << QString();
    QTest::addRow("native converter, no Wine") << elfHeader << true << QString() << QString();
    QTest::addRow("native converter without x")
        << elfHeader << false << u"/usr/bin/wine"_s
        << u"refused: The converter %1 cannot be started: it is not executable."_s;
}

void tst_WineLauncher::preflightWithoutWine()
{
    QFETCH(QByteArray, converter);
    QFETCH(bool, executable);
    QFETCH(QString, launcher);
    QFETCH(QString, expected);
    const QTemporaryDir dir;
    const QDir root(dir.path());
    PreflightInput input;
    input.converter = makeRevitConverterInfo(true);
    input.converterPath = root.filePath(u"kavantolibs/RvtExporter.exe"_s);
    QVERIFY(writeProgram(input.converterPath, converter, executable));
    input.wineLauncher = launcher;
    input.files = {root.filePath(u"House.rvt"_s)};
    QVERIFY(writeProgram(input.files.constFirst(), "model"));
    const PreflightResult result = Preflight::check(input);
    QStringList texts;
    for (const PreflightFinding &finding : result.findings)
        texts.append(finding.text);
    QCOMPARE((result.refused() ? u"refused: "_s : QString()) + texts.join(u'\n'),
             expected.arg(input.converterPath));
}

QTEST_GUILESS_MAIN(tst_WineLauncher)
#include "tst_winelauncher.moc"
