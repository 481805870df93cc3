#include "conversion/preflight.h"
#include "conversion/winelauncher.h"

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

const QByteArray windowsHeader("MZ\x90\x00\x03\x00", 6);
const QByteArray elfHeader("\x7f"
                           "ELF\x02\x01",
                           6);

} // namespace

class tst_WineLauncher : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void windowsArgument_data();
    void windowsArgument();
    void windowsExecutable_data();
    void windowsExecutable();
    void findLauncher_data();
    void findLauncher();
    void command_data();
    void command();
    void setupChatter_data();
    void setupChatter();
    void preflight_data();
    void preflight();
};

void tst_WineLauncher::setupChatter_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<bool>("chatter");
    QTest::addRow("prefix made") << u"wine: created the configuration directory '/root/.wine'"_s << true;
    QTest::addRow("32-bit helper")
        << u"wine: failed to open L\"C:\\windows\\syswow64\\rundll32.exe\": c0000135"_s << true;
    QTest::addRow("updated") << u"wine: configuration in L\"\\??\\Z:\\root\\.wine\" has been updated."_s
                             << true;
    // A converter's crash under Wine is news, also on the first run.
    QTest::addRow("crash") << u"wine: Unhandled page fault on read access to 0000000000000000"_s << false;
    QTest::addRow("other program missing") << u"wine: failed to open L\"C:\\tools\\x.exe\""_s << false;
    QTest::addRow("converter line") << u"Progress: 10%"_s << false;
}

void tst_WineLauncher::setupChatter()
{
    QFETCH(QString, line);
    QFETCH(bool, chatter);
    QCOMPARE(WineLauncher::isSetupChatter(line), chatter);
}

void tst_WineLauncher::windowsArgument_data()
{
    QTest::addColumn<QString>("argument");
    QTest::addColumn<QString>("expected");
    QTest::addRow("drive root") << u"/"_s << u"Z:\\"_s;
    QTest::addRow("input") << u"/home/ana/House.rvt"_s << u"Z:\\home\\ana\\House.rvt"_s;
    QTest::addRow("spaces") << u"/home/ana/My Models/a b.rvt"_s << u"Z:\\home\\ana\\My Models\\a b.rvt"_s;
    QTest::addRow("non-ASCII") << u"/home/zoë/Здание 東京.rvt"_s << u"Z:\\home\\zoë\\Здание 東京.rvt"_s;
    QTest::addRow("dot dot") << u"/p/models/../out/a.rvt"_s << u"Z:\\p\\out\\a.rvt"_s;
    QTest::addRow("dot dot to the root") << u"/tmp/.."_s << u"Z:\\"_s;
    QTest::addRow("single dot") << u"/p/./a.rvt"_s << u"Z:\\p\\a.rvt"_s;
    QTest::addRow("trailing separator") << u"/home/ana/out/"_s << u"Z:\\home\\ana\\out"_s;
    QTest::addRow("doubled separators") << u"/home//ana///out"_s << u"Z:\\home\\ana\\out"_s;
    QTest::addRow("dae") << u"--output-dae=/o d/a_rvt.dae"_s << u"--output-dae=Z:\\o d\\a_rvt.dae"_s;
    QTest::addRow("xlsx") << u"--output-xlsx=/o/../q/a.xlsx"_s << u"--output-xlsx=Z:\\q\\a.xlsx"_s;
    QTest::addRow("ifc") << u"--output=/o/a_rfa.ifc"_s << u"--output=Z:\\o\\a_rfa.ifc"_s;
    QTest::addRow("categories") << u"--categories=/opt/c.txt"_s << u"--categories=Z:\\opt\\c.txt"_s;
    QTest::addRow("relative output") << u"--output-xlsx=out/a.xlsx"_s << u"--output-xlsx=out/a.xlsx"_s;
    QTest::addRow("relative input") << u"models/a.rvt"_s << u"models/a.rvt"_s;
    QTest::addRow("configuration") << u"--config=/a/b;Base=true"_s << u"--config=/a/b;Base=true"_s;
    QTest::addRow("mode") << u"--mode=standard"_s << u"--mode=standard"_s;
    QTest::addRow("switch") << u"--ui"_s << u"--ui"_s;
}

void tst_WineLauncher::windowsArgument()
{
    QFETCH(QString, argument);
    QFETCH(QString, expected);
    // Each argument on its own and in the middle of a command line: its place does not matter.
    QCOMPARE(WineLauncher::toWindowsArguments({argument}), QStringList{expected});
    QCOMPARE(WineLauncher::toWindowsArguments({u"--bbox"_s, argument, u"--ui"_s}),
             (QStringList{u"--bbox"_s, expected, u"--ui"_s}));
}

void tst_WineLauncher::windowsExecutable_data()
{
    QTest::addColumn<QString>("name"); // empty: no file at all
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("expected");
    QTest::addRow("Windows header") << u"tool"_s << windowsHeader << true;
    QTest::addRow("only the two bytes") << u"a.exe"_s << QByteArray("MZ") << true;
    QTest::addRow("ELF named .exe") << u"RvtExporter.exe"_s << elfHeader << false;
    QTest::addRow("lower case") << u"a.exe"_s << QByteArray("mz\x90") << false;
    QTest::addRow("one byte") << u"a.exe"_s << QByteArray("M") << false;
    QTest::addRow("missing file") << QString() << QByteArray() << false;
}

void tst_WineLauncher::windowsExecutable()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, bytes);
    QFETCH(bool, expected);
    const QTemporaryDir dir;
    const QString path = dir.filePath(name.isEmpty() ? u"missing.exe"_s : name);
    QVERIFY(name.isEmpty() || writeProgram(path, bytes));
    QCOMPARE(WineLauncher::isWindowsExecutable(path), expected);
    QCOMPARE(WineLauncher::needsWine(path), expected);
}

void tst_WineLauncher::findLauncher_data()
{
    QTest::addColumn<QString>("configured");
    QTest::addColumn<QStringList>("files"); // made executable in a folder: bin/ is the search path
    QTest::addColumn<QString>("expected");
    const QString debian = u"lib/wine64"_s;
    QTest::addRow("both on the path")
        << QString() << QStringList{u"bin/wine64"_s, u"bin/wine"_s, debian} << u"bin/wine"_s;
    QTest::addRow("only wine64") << QString() << QStringList{u"bin/wine64"_s, debian} << u"bin/wine64"_s;
    QTest::addRow("Debian's location") << QString() << QStringList{debian} << debian;
    QTest::addRow("none") << QString() << QStringList() << QString();
    QTest::addRow("chosen in Preferences")
        << u"/opt/wine/bin/wine"_s << QStringList{u"bin/wine"_s} << u"/opt/wine/bin/wine"_s;
}

void tst_WineLauncher::findLauncher()
{
    QFETCH(QString, configured);
    QFETCH(QStringList, files);
    QFETCH(QString, expected);
    const QTemporaryDir dir;
    const QDir root(dir.path());
    for (const QString &file : std::as_const(files))
        QVERIFY(writeProgram(root.filePath(file), "#!/bin/sh\n"));
    // A file of the right name that cannot be run is no launcher.
    QVERIFY(writeProgram(root.filePath(u"bin/wine"_s), "#!/bin/sh\n", files.contains(u"bin/wine"_s)));
    const QString found =
        WineLauncher::find(configured, {root.filePath(u"bin"_s)}, root.filePath(u"lib/wine64"_s));
    QCOMPARE(found, expected.isEmpty() || !configured.isEmpty() ? expected : root.filePath(expected));
}

void tst_WineLauncher::command_data()
{
    QTest::addColumn<QByteArray>("converter");
    QTest::addColumn<QString>("launcher");
    QTest::addColumn<QString>("environment"); // NAME=value; HOME and WINEPREFIX relative to a folder
    // What is started | its first argument | WINEDEBUG | the notice; "new" holds no prefix yet.
    QTest::addColumn<QString>("expected");
    const QString notice = u"Preparing Wine (first run only)\u2026"_s;
    QTest::addRow("native program") << elfHeader << u"/usr/bin/wine"_s << u"WINEPREFIX=new"_s
                                    << u"converter | /in/a.rvt | inherited | "_s;
    QTest::addRow("no Wine") << windowsHeader << QString() << u"WINEPREFIX=new"_s
                             << u"converter | /in/a.rvt | inherited | "_s;
    QTest::addRow("fresh prefix") << windowsHeader << u"/usr/bin/wine"_s << u"WINEPREFIX=new"_s
                                  << u"/usr/bin/wine | converter | -all | "_s + notice;
    QTest::addRow("user's WINEDEBUG, prefix there")
        << windowsHeader << u"/usr/bin/wine"_s << u"WINEPREFIX=old WINEDEBUG=err+all"_s
        << u"/usr/bin/wine | converter | err+all | "_s;
    QTest::addRow("no ~/.wine yet") << windowsHeader << u"/usr/bin/wine"_s << u"HOME=new"_s
                                    << u"/usr/bin/wine | converter | -all | "_s + notice;
    QTest::addRow("~/.wine there") << windowsHeader << u"/usr/bin/wine"_s << u"HOME=home"_s
                                   << u"/usr/bin/wine | converter | -all | "_s;
}

void tst_WineLauncher::command()
{
    QFETCH(QByteArray, converter);
    QFETCH(QString, launcher);
    QFETCH(QString, environment);
    QFETCH(QString, expected);
    const QTemporaryDir dir;
    const QDir root(dir.path());
    const QString program = root.filePath(u"RvtExporter.exe"_s);
    QVERIFY(writeProgram(program, converter) && root.mkpath(u"old"_s) && root.mkpath(u"home/.wine"_s));
    QProcessEnvironment env;
    for (const QString &entry : environment.split(u' ')) {
        const QString name = entry.section(u'=', 0, 0);
        env.insert(name,
                   name == u"WINEDEBUG" ? entry.section(u'=', 1) : root.filePath(entry.section(u'=', 1)));
    }
    const WineLauncher::Command command =
        WineLauncher::command(program, {u"/in/a.rvt"_s, u"--ui"_s}, launcher, env);
    const QString debug = command.environment.inheritsFromParent()
                              ? u"inherited"_s
                              : command.environment.value(u"WINEDEBUG"_s, u"unset"_s);
    const QStringList shown{command.program, command.arguments.at(0), debug, command.notice};
    QCOMPARE(shown.join(u" | "_s).replace(program, u"converter"_s), expected);
    // Through Wine the converter's own arguments follow it in Windows form.
    if (!command.environment.inheritsFromParent())
        QCOMPARE(command.arguments.mid(1), (QStringList{u"Z:\\in\\a.rvt"_s, u"--ui"_s}));
}

void tst_WineLauncher::preflight_data()
{
    QTest::addColumn<QByteArray>("converter");
    QTest::addColumn<bool>("executable");
    QTest::addColumn<QString>("launcher");
    QTest::addColumn<QString>(
        "expected"); // the findings' texts, "refused: " first when the run may not start
    const QString noWine = u"refused: RvtExporter.exe is a Windows program. Install Wine to run it on this "
                           "system (Debian: apt install wine)."_s;
    QTest::addRow("Windows converter, no Wine") << windowsHeader << true << QString() << noWine;
    QTest::addRow("Windows converter, Wine") << windowsHeader << true << u"/usr/bin/wine"_s << QString();
    // Wine reads the program, so a converter copied without the x bit still runs.
    QTest::addRow("Windows converter without x, Wine")
        << windowsHeader << false << u"/usr/bin/wine"_s << QString();
    QTest::addRow("native converter, no Wine") << elfHeader << true << QString() << QString();
    QTest::addRow("native converter without x")
        << elfHeader << false << u"/usr/bin/wine"_s
        << u"refused: The converter %1 cannot be started: it is not executable."_s;
}

void tst_WineLauncher::preflight()
{
    QFETCH(QByteArray, converter);
    QFETCH(bool, executable);
    QFETCH(QString, launcher);
    QFETCH(QString, expected);
    const QTemporaryDir dir;
    PreflightInput input;
    input.converter = makeRevitConverterInfo(true);
    input.converterPath = dir.filePath(u"kavantolibs/RvtExporter.exe"_s);
    input.wineLauncher = launcher;
    input.files = {dir.filePath(u"House.rvt"_s)};
    QVERIFY(writeProgram(input.converterPath, converter, executable) &&
            writeProgram(input.files.at(0), "model"));
    const PreflightResult result = Preflight::check(input);
    QStringList texts;
    for (const PreflightFinding &finding : result.findings)
        texts.append(finding.text);
    QCOMPARE((result.refused() ? u"refused: "_s : QString()) + texts.join(u'\n'),
             QString(expected).replace(u"%1"_s, input.converterPath));
}

QTEST_GUILESS_MAIN(tst_WineLauncher)
#include "tst_winelauncher.moc"
