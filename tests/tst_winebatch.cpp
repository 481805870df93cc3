// A whole batch in the main window with the fake converter built as a Windows program by
// MinGW-w64 and started through Wine: the paths it receives, its progress, its exit codes
// and a stop. Skipped where MinGW-w64 or Wine is missing.

#include "app/mainwindow.h"
#include "common/dialogs.h"
#include "conversion/conversioncontroller.h"
#include "conversion/winelauncher.h"
#include "options/outputpanel.h"
#include "progress/batchpanel.h"
#include "progress/progresspanel.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

// Written by hand rather than with the function under test: Z: and every separator turned.
QString onDriveZ(const QString &path)
{
    return u"Z:"_s + QString(path).replace(u'/', u'\\');
}

// Whether a process whose command line holds `text` is still there.
bool processWith(const QByteArray &text)
{
    QDirIterator it(u"/proc"_s, QDir::Dirs | QDir::NoDotAndDotDot);
    while (it.hasNext()) {
        QFile cmdline(it.next() + u"/cmdline"_s);
        if (cmdline.open(QIODevice::ReadOnly) && cmdline.readAll().contains(text))
            return true;
    }
    return false;
}

} // namespace

class tst_WineBatch : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void batchThroughWine();

private:
    QString launcher;
    bool freshPrefix = false;
};

void tst_WineBatch::initTestCase()
{
    const QString converter = QStringLiteral(KVT_WINDOWS_FAKE_CONVERTER);
    if (converter.isEmpty())
        QSKIP("MinGW-w64 (x86_64-w64-mingw32-g++) was not found when this was built, so there is no "
              "Windows build of the fake converter to run through Wine");
    QVERIFY2(WineLauncher::isWindowsExecutable(converter), qPrintable(converter));
    launcher = WineLauncher::find({});
    if (launcher.isEmpty())
        QSKIP("Wine is not installed (Debian: apt install --no-install-recommends wine64), so a "
              "Windows converter cannot run on this machine");

    // A prefix of the tests' own under their private home; its first creation takes seconds.
    const QString prefix = QDir::home().filePath(u"wineprefix"_s);
    freshPrefix = !QFileInfo::exists(prefix);
    qputenv("WINEPREFIX", QFile::encodeName(prefix));
    // A fresh prefix would offer to install .NET and the HTML engine; the fake needs neither.
    qputenv("WINEDLLOVERRIDES", "mscoree,mshtml=");
    // Test machines have no display, and Wine must not try one.
    qunsetenv("DISPLAY");
    qunsetenv("WAYLAND_DISPLAY");
    qunsetenv("WINEDEBUG");
    // Nothing listens there: the banner fetch fails at once and nothing leaves the machine.
    qputenv("KVT_UPDATE_HOST", "https://127.0.0.1:9");
}

void tst_WineBatch::batchThroughWine()
{
    const QTemporaryDir work;
    const QDir models(work.filePath(u"Modèles ü"_s));
    const QString outputDir = work.filePath(u"Résultats out"_s);
    QVERIFY(models.mkpath(u"."_s));
    const QList<std::pair<QString, QByteArray>> scripts = {
        {u"01 Tower.rvt"_s, "arguments\nstage Reading elements\nprogress 25\nprogress 100\noutputs\n"},
        {u"02 Legacy.rvt"_s, "progress 5\nerror saved by a version this converter does not read\nexit 2\n"},
        {u"03 Garage.rvt"_s, "stage Waiting\nprogress 10\nhang\n"},
    };
    QStringList paths;
    for (const auto &[name, script] : scripts) {
        QFile file(models.filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(script) == script.size());
        paths.append(file.fileName());
    }

    QSettings settings(work.filePath(u"settings.ini"_s), QSettings::IniFormat);
    settings.setValue(u"global/autoCheckUpdates"_s, false);
    Dialogs dialogs;
    dialogs.setScripted();
    dialogs.setDefaultAnswer(QMessageBox::Yes);
    ConverterInfo info = makeRevitConverterInfo(true);
    info.executable = u"windows/RvtExporter.exe"_s;
    MainWindow window(info, &settings, &dialogs);
    window.show();
    auto *controller = window.findChild<ConversionController *>();
    auto *batch = window.findChild<BatchPanel *>();
    auto *log = window.findChild<ProgressPanel *>();
    QSignalSpy progress(controller, &ConversionController::progressUpdated);
    window.openPaths(paths);
    QCOMPARE(batch->fileCount(), 3);
    window.findChild<OutputPanel *>()->setOutputDir(outputDir);
    window.onStartRequested();
    QVERIFY(window.isRunning());

    // A fresh prefix is made before the first file, which takes the longest.
    QTRY_VERIFY_WITH_TIMEOUT(
        batch->statusOf(2) == FileStatus::Running && log->plainText().contains(u"Progress: 10%"_s), 180000);
    const QString text = log->plainText();
    QCOMPARE(batch->statusOf(0), FileStatus::Done);
    QCOMPARE(batch->statusOf(1), FileStatus::Failed);
    // The Windows program received Windows paths, also with spaces and accents, and wrote
    // its results through them into the Linux folder.
    const QString out = QDir(outputDir).filePath(u"01 Tower_rvt"_s);
    for (const QString &argument :
         {onDriveZ(paths.at(0)), u"--output-dae="_s + onDriveZ(out + u".dae"_s),
          u"--output-xlsx="_s + onDriveZ(out + u".xlsx"_s), u"--mode=standard"_s, u"--ui"_s})
        QVERIFY2(text.contains(u"[ARG] "_s + argument + u'\n'), qPrintable(text));
    QVERIFY(QFileInfo::exists(out + u".dae"_s) && QFileInfo::exists(out + u".xlsx"_s));
    // Exit code 2 arrives unchanged through Wine and reads as its message.
    QVERIFY2(text.contains(u"[ERROR] 02 Legacy.rvt: File version is not supported by this converter."_s),
             qPrintable(text));
    // Progress lines of each file, read as such.
    QList<int> filePercents;
    for (const QVariantList &signal : std::as_const(progress))
        filePercents.append(signal.at(1).toInt());
    QVERIFY(filePercents.contains(25) && filePercents.contains(5) && filePercents.contains(10));
    // Wine's debugging output stays out; the slow first start is announced.
    QVERIFY2(!text.contains(u"fixme:"_s) && !text.contains(u"err:"_s), qPrintable(text));
    QCOMPARE(text.contains(u"Preparing Wine (first run only)\u2026"_s), freshPrefix);
    QVERIFY2(!text.contains(u"wine: created the configuration directory"_s), qPrintable(text));

    // Stop ends the Windows program, which Wine runs in the converter's own process.
    const QByteArray running = "03 Garage.rvt";
    QVERIFY(processWith(running));
    window.onStopRequested();
    QVERIFY(!window.isRunning() && !controller->isRunning());
    QCOMPARE(batch->statusOf(2), FileStatus::Stopped);
    QTRY_VERIFY_WITH_TIMEOUT(!processWith(running), 5000);
}

QTEST_MAIN(tst_WineBatch)
#include "tst_winebatch.moc"
