// Renders the input, output, options, export formats and file versions panels for several
// converters, plus the drop overlays, in a light and a dark palette to PNG files, so they
// can be looked at without a display.
//
//   QT_QPA_PLATFORM=offscreen render_inputoptions OUTPUT-FOLDER [--qss]
//
// With --qss the theme's style sheets from the resources are applied as well.

#include "conversion/converterinfo.h"
#include "input/inputpanel.h"
#include "input/inputscanner.h"
#include "options/exportformatspanel.h"
#include "options/fileversionspanel.h"
#include "options/optionspanel.h"
#include "options/outputpanel.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QDragEnterEvent>
#include <QFile>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QMimeData>
#include <QPalette>
#include <QPixmap>
#include <QSettings>
#include <QStyle>
#include <QStyleFactory>
#include <QTemporaryDir>
#include <QTextStream>
#include <QUrl>
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
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        p.setColor(QPalette::Disabled, role, QColor(0x78, 0x78, 0x78));
    return p;
}

bool save(QWidget &widget, const QString &path)
{
    widget.show();
    QApplication::processEvents();
    const bool ok = widget.grab().save(path);
    QTextStream(stdout) << (ok ? "wrote " : "FAILED ") << path << '\n';
    return ok;
}

void sendDragEnter(QWidget *target, const QStringList &paths)
{
    QMimeData mime;
    QList<QUrl> urls;
    for (const QString &path : paths)
        urls.append(QUrl::fromLocalFile(path));
    mime.setUrls(urls);
    QDragEnterEvent enter(target->rect().center(), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &enter);
}

// The panels laid out as the main window does: input, formats and versions on the left,
// output and options on the right.
struct Page
{
    QWidget window;
    InputPanel *input;
    ExportFormatsPanel *formats;
    FileVersionsPanel *versions;
    OutputPanel *output;
    OptionsPanel *options;

    Page(const ConverterInfo &info, QSettings *settings, const QString &sampleDir)
    {
        window.resize(980, 600);
        auto *columns = new QHBoxLayout(&window);
        auto *left = new QVBoxLayout;
        auto *right = new QVBoxLayout;
        columns->addLayout(left, 1);
        columns->addLayout(right, 1);

        input = new InputPanel(settings, &window);
        input->setConverter(info);
        formats = new ExportFormatsPanel(&window);
        formats->setConverter(info);
        versions = new FileVersionsPanel(&window);
        versions->setConverter(info);
        left->addWidget(input);
        left->addWidget(formats);
        left->addWidget(versions);
        left->addStretch(1);

        output = new OutputPanel(settings, &window);
        options = new OptionsPanel(&window);
        options->setConverter(info);
        right->addWidget(output);
        right->addWidget(options, 1);

        input->setFolderMode();
        input->setFolderPath(QDir::toNativeSeparators(sampleDir));
        input->setInfoText(InputScanner::changeText({3, 48'000'000}, {5, 61'500'000}), Qt::RichText);
        output->setOutputDir(QDir::toNativeSeparators(sampleDir + u"/results"_s));
    }
};

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 2) {
        QTextStream(stderr) << "usage: render_inputoptions OUTPUT-FOLDER [--qss]\n";
        return 2;
    }
    const QDir out(args.at(1));
    out.mkpath(u"."_s);
    const bool withQss = args.contains(u"--qss"_s);
    QApplication::setStyle(QStyleFactory::create(u"Fusion"_s));

    QTemporaryDir scratch;
    const QString sample = scratch.filePath(u"Projects/Tower"_s);
    QDir().mkpath(sample);
    QFile(sample + u"/Tower_A.rvt"_s).open(QIODevice::WriteOnly);
    QSettings settings(scratch.filePath(u"settings.ini"_s), QSettings::IniFormat);

    bool ok = true;
    for (const bool dark : {false, true}) {
        const QString theme = dark ? u"dark"_s : u"light"_s;
        QApplication::setPalette(dark ? darkPalette() : QApplication::style()->standardPalette());
        app.setStyleSheet({});
        if (withQss) {
            QFile qss(u":/res/style/%1.qss"_s.arg(theme));
            if (qss.open(QIODevice::ReadOnly))
                app.setStyleSheet(QString::fromUtf8(qss.readAll()));
        }

        for (const QString &id : {u"revit"_s, u"rvt2ifc"_s, u"ifc"_s}) {
            Page page(makeConverterInfo(id, true), &settings, sample);
            if (id == u"revit") {
                page.options->findChild<QCheckBox *>(u"checkBoundingBox"_s)->setChecked(true);
                page.formats->findChild<QCheckBox *>(u"format_COLLADA"_s)->setChecked(false);
            }
            if (id == u"ifc")
                page.output->findChild<QCheckBox *>(u"sameAsProjectCheck"_s)->setChecked(true);
            ok = save(page.window, out.filePath(u"panels-%1-%2.png"_s.arg(id, theme))) && ok;

            if (id == u"revit") {
                // The three drop overlays while an acceptable drag hovers.
                page.window.show();
                sendDragEnter(page.input, {sample});
                sendDragEnter(page.output, {sample});
                sendDragEnter(page.options->findChild<QGroupBox *>(u"exportModeGroup"_s),
                              {sample + u"/categories.txt"_s});
                ok = save(page.window, out.filePath(u"overlays-%1-%2.png"_s.arg(id, theme))) && ok;
            }
        }
    }
    return ok ? 0 : 1;
}
