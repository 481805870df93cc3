// Renders the log view (coloured lines, a search in progress) and the batch table (one
// row per status) in a light and a dark palette to PNG files, so they can be looked at
// without a display.
//
//   QT_QPA_PLATFORM=offscreen render_progress OUTPUT-FOLDER [--qss]
//
// With --qss the theme's style sheets from the resources are applied as well.

#include "progress/batchpanel.h"
#include "progress/progresspanel.h"
#include "progress/tabpulseanimator.h"
#include "progress/toastwidget.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QLineEdit>
#include <QPalette>
#include <QPixmap>
#include <QSettings>
#include <QStyleFactory>
#include <QTabBar>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTextStream>
#include <QThread>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

QPalette darkPalette()
{
    QPalette p;
    p.setColor(QPalette::Window, QColor(0x20, 0x21, 0x24));
    p.setColor(QPalette::WindowText, QColor(0xe8, 0xe8, 0xe8));
    p.setColor(QPalette::Base, QColor(0x18, 0x19, 0x1b));
    p.setColor(QPalette::AlternateBase, QColor(0x26, 0x27, 0x2a));
    p.setColor(QPalette::Text, QColor(0xe8, 0xe8, 0xe8));
    p.setColor(QPalette::Button, QColor(0x2d, 0x2e, 0x32));
    p.setColor(QPalette::ButtonText, QColor(0xe8, 0xe8, 0xe8));
    p.setColor(QPalette::Highlight, QColor(0x2f, 0x6f, 0xb8));
    p.setColor(QPalette::HighlightedText, Qt::white);
    p.setColor(QPalette::PlaceholderText, QColor(0x90, 0x90, 0x90));
    return p;
}

QString sgr(const char *params)
{
    return QChar(0x1b) + u'[' + QLatin1String(params) + u'm';
}

void fillLog(ProgressPanel &panel)
{
    const QString lines[] = {
        u"---- Started Loading model ..."_s,
        u"[Stage] Reading project information"_s,
        sgr("32") + u"[OK]"_s + sgr("0") + u" Opened C:/Projects/Tower/Tower_A.rvt (Revit 2024)"_s,
        u"Progress: 12.5%"_s,
        sgr("33") + u"[WARNING]"_s + sgr("0") + u" Element 30211 has no level; placed at origin"_s,
        sgr("36") + u"Exporting categories: Walls, Doors, Windows <Custom & Generic>"_s + sgr("0"),
        sgr("31;1") + u"[ERROR]"_s + sgr("0") + u" Family \"Curtain Panel 3\" could not be read"_s,
        sgr("94") + u"[Info]"_s + sgr("0") + u" Geometry: 18 442 elements, 2 104 118 triangles"_s,
        sgr("1") + u"Bold summary line"_s + sgr("0"),
        sgr("35") + u"magenta "_s + sgr("92") + u"bright green "_s + sgr("97") + u"white"_s + sgr("0"),
        sgr("41") + u"background codes are ignored"_s + sgr("0"),
        u"[WARN] Duplicate mark 'W-12' on 2 walls"_s,
        u"Progress: 100%"_s,
        sgr("32") + u"Done: Tower_A.rvt -> Tower_A.xlsx, Tower_A.dae"_s + sgr("0"),
    };
    QString block;
    for (const QString &line : lines)
        block += line + u'\n';
    panel.appendLog(block);
}

QFileInfoList makeFiles(const QDir &dir)
{
    const QList<QPair<QString, qint64>> fileRows{
        {u"Tower_A.rvt"_s, 48'300'000},  {u"Tower_B.rvt"_s, 52'100'000}, {u"Podium.rvt"_s, 3'400'000},
        {u"Garage.rvt"_s, 812},          {u"Facade.rfa"_s, 640'000},     {u"Site.rvt"_s, 9'700'000},
        {u"Landscape.rvt"_s, 1'250'000}, {u"Old_Annex.rvt"_s, 2'048},    {u"Roof.rvt"_s, 120'000}};
    QFileInfoList files;
    for (const auto &[name, size] : fileRows) {
        QFile file(dir.filePath(name));
        if (file.open(QIODevice::WriteOnly))
            file.resize(size);
        files.append(QFileInfo(file.fileName()));
    }
    return files;
}

// Drives the table so that every status shows at least once.
void driveTable(BatchPanel &panel, const QFileInfoList &files)
{
    panel.setFiles(files);
    panel.disableFile(7);
    panel.prepareForConversion();
    const auto path = [&](int i) { return files.at(i).absoluteFilePath(); };
    const int codes[] = {0, 9, -3, 2};
    for (int i = 0; i < 4; ++i) {
        panel.onFileStarted(i + 1, 8, path(i));
        QThread::msleep(20 + 40 * i);
        panel.onFileFinished(i + 1, codes[i], path(i));
    }
    panel.onFileStarted(5, 8, path(4));
    panel.onCancelled(); // Facade stopped, Site, Landscape and Roof canceled
    panel.prepareForRetry();
    panel.convertNext(3); // Garage waits again
    panel.onFileStarted(1, 2, path(5));
}

bool save(QWidget &widget, const QString &path)
{
    widget.show();
    QApplication::processEvents();
    const bool ok = widget.grab().save(path);
    QTextStream(stdout) << (ok ? "wrote " : "FAILED ") << path << '\n';
    return ok;
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 2) {
        QTextStream(stderr) << "usage: render_progress OUTPUT-FOLDER [--qss]\n";
        return 2;
    }
    const QDir out(args.at(1));
    out.mkpath(u"."_s);
    const bool withQss = args.contains(u"--qss"_s);
    QApplication::setStyle(QStyleFactory::create(u"Fusion"_s));
    QTemporaryDir files;
    const QFileInfoList fileList = makeFiles(QDir(files.path()));
    QSettings settings(QDir(files.path()).filePath(u"settings.ini"_s), QSettings::IniFormat);

    bool ok = true;
    for (const bool dark : {false, true}) {
        const QString theme = dark ? u"dark"_s : u"light"_s;
        QApplication::setPalette(dark ? darkPalette() : QApplication::style()->standardPalette());
        if (withQss) {
            QFile qss(u":/res/style/%1.qss"_s.arg(theme));
            if (qss.open(QIODevice::ReadOnly))
                app.setStyleSheet(QString::fromUtf8(qss.readAll()));
        }

        ProgressPanel log;
        log.resize(760, 380);
        fillLog(log);
        log.searchFor(u"tower_a"_s);
        ok = save(log, out.filePath(u"log-%1.png"_s.arg(theme))) && ok;

        BatchPanel table;
        table.resize(640, 340);
        driveTable(table, fileList);
        ok = save(table, out.filePath(u"table-%1.png"_s.arg(theme))) && ok;

        BatchPanel empty;
        empty.resize(640, 260);
        ok = save(empty, out.filePath(u"table-empty-%1.png"_s.arg(theme))) && ok;

        // The tab titles mid-pulse and in alert red, with a toast over the window.
        QWidget window;
        window.resize(640, 220);
        auto *layout = new QVBoxLayout(&window);
        auto *tabs = new QTabWidget(&window);
        for (const QString &title : {u"Settings"_s, u"Log"_s, u"Files"_s})
            tabs->addTab(new QWidget, title);
        auto *alertTabs = new QTabWidget(&window);
        for (const QString &title : {u"Settings"_s, u"Log"_s, u"Files"_s})
            alertTabs->addTab(new QWidget, title);
        layout->addWidget(tabs);
        layout->addWidget(alertTabs);
        TabPulseAnimator pulse(tabs, &settings);
        pulse.setDarkTheme(dark);
        pulse.update(true, true, 0, 0, 1, 2);
        TabPulseAnimator alert(alertTabs, &settings);
        alert.setAlert(true);
        alert.update(false, true, 0, 0, 1, 2);
        auto *toast = new ToastWidget(&window);
        window.show();
        toast->showMessage(u"Done: 6 succeeded, 1 failed, 2 skipped (03:12)"_s, 5000);
        QElapsedTimer wait;
        wait.start();
        while (wait.elapsed() < 400)
            QApplication::processEvents();
        ok = save(window, out.filePath(u"pulse-toast-%1.png"_s.arg(theme))) && ok;
    }
    return ok ? 0 : 1;
}
