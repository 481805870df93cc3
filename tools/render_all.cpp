// Renders the program's main window in several states, its panels, dialogs and pictures
// in the light and the dark theme to PNG files, so the look can be checked without a display.
//
//   render_all OUTPUT-FOLDER [--scale 2]
//
// With --scale 2 the pictures come out at device pixel ratio 2 (file names end in @2x).

#include "app/mainwindow.h"
#include "app/settingsdialog.h"
#include "app/theme.h"
#include "common/dropoverlay.h"
#include "common/messageboxes.h"
#include "conversion/converterinfo.h"
#include "input/inputpanel.h"
#include "online/updatedialogs.h"
#include "progress/batchpanel.h"
#include "progress/progresspanel.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFont>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPixmap>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QSettings>
#include <QSpinBox>
#include <QStyle>
#include <QTabBar>
#include <QTabWidget>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTextStream>
#include <QThread>
#include <QToolButton>
#include <QVBoxLayout>

#include <functional>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

struct Scene
{
    QString name;
    QSize size; // empty: the widget's own size hint
    std::function<QWidget *()> build;
};

void setRole(QWidget *widget, const char *role, const QString &value)
{
    widget->setProperty(role, value);
    widget->style()->unpolish(widget);
    widget->style()->polish(widget);
}

// Lets queued work (the folder scan's worker, layouts) finish for a while.
void settle(int ms)
{
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < ms) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(5);
    }
}

QFileInfoList sampleFiles(const QString &folder)
{
    QFileInfoList files;
    const QStringList names = {u"Tower A - Structure.rvt"_s,  u"Tower A - Architecture.rvt"_s,
                               u"Parking levels.rvt"_s,       u"Site plan.rvt"_s,
                               u"Facade panels family.rfa"_s, u"Mechanical rooms.rvt"_s};
    qint64 size = 73403;
    for (const QString &name : names) {
        QFile file(QDir(folder).filePath(name));
        if (file.open(QIODevice::WriteOnly))
            file.write(QByteArray(size, 'x'));
        files << QFileInfo(file.fileName());
        size = size * 3 + 41;
    }
    return files;
}

QString sampleLog()
{
    return u"\x1b[36m--- Started Loading model ...\x1b[0m\n"
           "Opening Tower A - Structure.rvt\n"
           "\x1b[32m[OK]\x1b[0m Model opened in 2.4 s\n"
           "\x1b[33m[WARNING]\x1b[0m 3 elements without a level were placed on Level 1\n"
           "--- Started Exporting properties ...\n"
           "Progress: 45%\n"
           "\x1b[31;1m[ERROR]\x1b[0m Family 'Door-Single' could not be read\n"
           "\x1b[94mWriting Tower A - Structure.xlsx\x1b[0m\n"
           "\x1b[35mGeometry: 18 204 faces\x1b[0m\n"
           "\x1b[37mDone.\x1b[0m"_s;
}

// Every kind of control the program shows, with every style role, on one page.
QWidget *buildGallery()
{
    // A dialog, so the page gets the window ground of the theme like every real window.
    auto *page = new QDialog;
    page->setObjectName(u"gallery"_s);
    auto *grid = new QGridLayout(page);

    auto *inputs = new QGroupBox(u"Inputs"_s);
    auto *inputsLayout = new QVBoxLayout(inputs);
    auto *radioOn = new QRadioButton(u"Radio, checked"_s);
    radioOn->setChecked(true);
    auto *radioOff = new QRadioButton(u"Radio"_s);
    auto *radioDisabled = new QRadioButton(u"Radio, disabled and checked"_s);
    radioDisabled->setChecked(true);
    radioDisabled->setEnabled(false);
    auto *checkOn = new QCheckBox(u"Check box, checked"_s);
    checkOn->setChecked(true);
    auto *checkOff = new QCheckBox(u"Check box with icon"_s);
    checkOff->setIcon(QIcon(u":/res/style/icons/folders.png"_s));
    auto *checkDisabled = new QCheckBox(u"Check box, disabled"_s);
    checkDisabled->setChecked(true);
    checkDisabled->setEnabled(false);
    auto *edit = new QLineEdit(u"C:/Projects/Tower A"_s);
    auto *placeholder = new QLineEdit;
    placeholder->setPlaceholderText(u"Placeholder text"_s);
    auto *disabledEdit = new QLineEdit(u"Disabled line edit"_s);
    disabledEdit->setEnabled(false);
    auto *combo = new QComboBox;
    combo->addItems({u"Every week"_s, u"Every day"_s});
    auto *spin = new QSpinBox;
    spin->setRange(10, 60);
    spin->setValue(30);
    spin->setSuffix(u" fps"_s);
    auto *spinDisabled = new QSpinBox;
    spinDisabled->setValue(30);
    spinDisabled->setEnabled(false);
    for (QWidget *w : std::initializer_list<QWidget *>{radioOn, radioOff, radioDisabled, checkOn, checkOff,
                                                       checkDisabled, edit, placeholder, disabledEdit, combo})
        inputsLayout->addWidget(w);
    auto *spins = new QHBoxLayout;
    spins->addWidget(spin);
    spins->addWidget(spinDisabled);
    inputsLayout->addLayout(spins);
    grid->addWidget(inputs, 0, 0);

    auto *buttons = new QGroupBox(u"Buttons and roles"_s);
    auto *buttonsLayout = new QVBoxLayout(buttons);
    auto *row = new QHBoxLayout;
    auto *normal = new QPushButton(QIcon(u":/res/style/icons/save.png"_s), u"Save Log"_s);
    auto *defaultButton = new QPushButton(QIcon(u":/res/style/icons/check.png"_s), u"OK"_s);
    defaultButton->setDefault(true);
    auto *disabledButton = new QPushButton(u"Disabled"_s);
    disabledButton->setEnabled(false);
    auto *flat = new QPushButton(u"Clear"_s);
    flat->setFlat(true);
    auto *tool = new QToolButton;
    tool->setIcon(QIcon(u":/res/style/icons/chevron-up.png"_s));
    tool->setAutoRaise(true);
    row->addWidget(normal);
    row->addWidget(defaultButton);
    row->addWidget(disabledButton);
    row->addWidget(flat);
    row->addWidget(tool);
    buttonsLayout->addLayout(row);
    const struct
    {
        const char *role;
        QString text;
        QString icon;
    } runButtons[] = {{"start", u"START"_s, u":/res/style/icons/play-white.png"_s},
                      {"stop", u"STOP"_s, u":/res/style/icons/square-white.png"_s},
                      {"stopping", u"STOPPING..."_s, u":/res/style/icons/square-white.png"_s}};
    for (const auto &b : runButtons) {
        auto *button = new QPushButton(QIcon(b.icon), b.text);
        button->setIconSize(QSize(18, 18));
        setRole(button, "buttonRole", QString::fromLatin1(b.role));
        buttonsLayout->addWidget(button);
    }
    auto *link = new QPushButton(QIcon(u":/res/style/icons/external-link.png"_s), u"Open Output Folder"_s);
    link->setFlat(true);
    setRole(link, "buttonRole", u"link"_s);
    buttonsLayout->addWidget(link, 0, Qt::AlignHCenter);
    const struct
    {
        const char *role;
        QString text;
    } texts[] = {{"secondary", u"Ctrl+Enter to start · Esc to stop"_s},
                 {"success", u"5 file(s) converted successfully."_s},
                 {"error", u"3 succeeded, 1 failed."_s}};
    for (const auto &t : texts) {
        auto *label = new QLabel(t.text);
        label->setAlignment(Qt::AlignCenter);
        setRole(label, "textRole", QString::fromLatin1(t.role));
        buttonsLayout->addWidget(label);
    }
    for (const char *role : {"", "success", "error"}) {
        auto *bar = new QProgressBar;
        bar->setValue(*role ? 100 : 45);
        bar->setAlignment(Qt::AlignCenter);
        if (*role)
            setRole(bar, "barRole", QString::fromLatin1(role));
        buttonsLayout->addWidget(bar);
    }
    auto *badges = new QHBoxLayout;
    for (const bool supported : {true, false, true}) {
        auto *badge = new QLabel(supported ? u"Revit 2024"_s : u"Revit 2015"_s);
        badge->setContentsMargins(6, 2, 6, 2);
        badge->setAlignment(Qt::AlignCenter);
        setRole(badge, "badgeRole", supported ? u"supported"_s : u"unsupported"_s);
        badges->addWidget(badge);
    }
    buttonsLayout->addLayout(badges);
    grid->addWidget(buttons, 0, 1);

    auto *tabs = new QTabWidget;
    auto *table = new QTableWidget(8, 3);
    table->setHorizontalHeaderLabels({u"File"_s, u"Status"_s, u"Size"_s});
    table->setAlternatingRowColors(true);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->verticalHeader()->hide();
    table->horizontalHeader()->setSectionResizeMode(0, QHeaderView::Stretch);
    const QStringList statuses = {u"Pending"_s, u"Running..."_s, u"Done"_s,     u"Failed (3)"_s,
                                  u"Skipped"_s, u"Stopped"_s,    u"Canceled"_s, u"Disabled"_s};
    const QStringList colours = {u"#888888"_s, u"#2472c8"_s, u"#0dbc79"_s, u"#cd3131"_s,
                                 u"#d7a700"_s, u"#ff6b6b"_s, u"#8b0000"_s, u"#999999"_s};
    for (int r = 0; r < 8; ++r) {
        table->setItem(r, 0, new QTableWidgetItem(u"Model %1.rvt"_s.arg(r + 1)));
        auto *status = new QTableWidgetItem(statuses.at(r));
        status->setForeground(QColor(colours.at(r)));
        table->setItem(r, 1, status);
        table->setItem(r, 2, new QTableWidgetItem(u"%1 MB"_s.arg(12.5 * (r + 1))));
    }
    table->setSortingEnabled(true);
    table->selectRow(2);
    tabs->addTab(table, QIcon(u":/res/style/icons/list.png"_s), u"Files"_s);
    tabs->addTab(new QWidget, QIcon(u":/res/style/icons/scroll-text.png"_s), u"Log"_s);
    tabs->addTab(new QWidget, QIcon(u":/res/style/icons/sliders-horizontal.png"_s), u"Pulsing"_s);
    // The tab pulse colours tab titles through the tab bar; it must show through the sheet.
    tabs->tabBar()->setTabTextColor(2, QColor(13, 188, 121));
    grid->addWidget(tabs, 1, 0, 1, 2);
    grid->setRowStretch(1, 1);
    return page;
}

QWidget *buildMenu()
{
    auto *menu = new QMenu;
    menu->addAction(QIcon(u":/res/style/icons/file-text.png"_s), u"Open &File..."_s, QKeySequence::Open);
    menu->addAction(QIcon(u":/res/style/icons/folder-open.png"_s), u"Open F&older..."_s,
                    QKeySequence(u"Ctrl+Shift+O"_s));
    menu->addSeparator();
    auto *recent = menu->addMenu(QIcon(u":/res/style/icons/history.png"_s), u"&Recent Files"_s);
    recent->addAction(u"C:/Projects/Tower A.rvt"_s);
    menu->addSeparator();
    auto *disabled =
        menu->addAction(QIcon(u":/res/style/icons/folder-output.png"_s), u"Open &Output Folder"_s);
    disabled->setEnabled(false);
    menu->addSeparator();
    menu->addAction(QIcon(u":/res/style/icons/log-out.png"_s), u"E&xit"_s);
    // The second entry shows the hover colour.
    menu->setActiveAction(menu->actions().at(1));
    return menu;
}

class Renderer
{
public:
    Renderer(QString folder, QString suffix)
        : folder(std::move(folder))
        , suffix(std::move(suffix))
    {
    }

    void shoot(QWidget *widget, const QString &name, const QString &theme, QSize size = {})
    {
        // Not adjustSize(): it caps windows at two thirds of the screen, and the offscreen
        // screen is small at scale 2.
        widget->resize(size.isValid() ? size : widget->sizeHint().expandedTo(widget->minimumSize()));
        widget->show();
        // Two rounds: layouts settle, then pending style updates are painted.
        QApplication::processEvents();
        QApplication::processEvents();
        const QString path = QDir(folder).filePath(u"%1-%2%3.png"_s.arg(name, theme, suffix));
        if (widget->grab().save(path))
            written << path;
        else
            QTextStream(stderr) << "could not write " << path << '\n';
    }

    QStringList written;

private:
    QString folder;
    QString suffix;
};

} // namespace

int main(int argc, char *argv[])
{
    QString folder = u"screenshots"_s;
    QByteArray scale;
    for (int i = 1; i < argc; ++i) {
        const QByteArray arg(argv[i]);
        if (arg == "--scale" && i + 1 < argc)
            scale = argv[++i];
        else
            folder = QString::fromLocal8Bit(arg);
    }
    if (!scale.isEmpty())
        qputenv("QT_SCALE_FACTOR", scale);
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // The main window keeps its settings and banner cache here, not in the user's folders, and
    // its update check and banner fetch find nothing listening on the update host.
    QTemporaryDir home;
    qputenv("XDG_CONFIG_HOME", home.filePath(u"config"_s).toLocal8Bit());
    qputenv("XDG_CACHE_HOME", home.filePath(u"cache"_s).toLocal8Bit());
    qputenv("KVT_UPDATE_HOST", "https://127.0.0.1:9");

    QApplication app(argc, argv);
    QCoreApplication::setApplicationName(makeRevitConverterInfo(true).displayName);
    QApplication::setFont(QFont(loadInterfaceFont()));
    QDir().mkpath(folder);
    QTemporaryDir scratch;
    QSettings settings(scratch.filePath(u"render.ini"_s), QSettings::IniFormat);
    const QFileInfoList files = sampleFiles(scratch.path());
    const QString suffix = app.devicePixelRatio() > 1.5 ? u"@2x"_s : QString();
    Renderer renderer(folder, suffix);

    for (const bool dark : {false, true}) {
        const QString theme = dark ? u"dark"_s : u"light"_s;
        applyStyleSheet(app, dark);

        {
            SettingsDialog dialog(&settings);
            renderer.shoot(&dialog, u"settings-general"_s, theme);
            dialog.findChild<QTabWidget *>()->setCurrentIndex(1);
            dialog.findChild<QCheckBox *>(u"disableTabBlinkingCheck"_s)->setChecked(true);
            renderer.shoot(&dialog, u"settings-appearance"_s, theme);
        }
        {
            std::unique_ptr<QWidget> gallery(buildGallery());
            renderer.shoot(gallery.get(), u"gallery"_s, theme, QSize(760, 720));
            std::unique_ptr<QWidget> menu(buildMenu());
            renderer.shoot(menu.get(), u"menu"_s, theme);
        }
        {
            // The real window, kept off the network and away from the user's settings (see main).
            auto window = std::make_unique<MainWindow>(makeRevitConverterInfo(true));
            MessageBoxes boxes;
            boxes.showError = [](QWidget *, const QString &) {};
            boxes.ask = [](QWidget *, const QString &, QMessageBox::StandardButtons,
                           QMessageBox::StandardButton) { return QMessageBox::No; };
            window->setMessageBoxes(boxes);
            window->openPaths({scratch.path()});
            const QSize size(1280, 820);
            settle(400);
            renderer.shoot(window.get(), u"window-settings-tab"_s, theme, size);

            auto *tabs = window->findChild<QTabWidget *>(u"mainTabs"_s);
            auto *log = window->findChild<ProgressPanel *>();
            auto *batch = window->findChild<BatchPanel *>();
            if (log) {
                log->appendLog(sampleLog());
                log->showSearchBar();
                log->searchFor(u"Tower"_s);
            }
            tabs->setCurrentIndex(1);
            tabs->tabBar()->setTabTextColor(2, QColor(13, 188, 121));
            settle(200);
            renderer.shoot(window.get(), u"window-log"_s, theme, size);

            // Finished with a failure: error roles, the files tab and the link button.
            if (batch) {
                batch->prepareForConversion();
                batch->onFileStarted(1, 3, files.at(0).absoluteFilePath());
                batch->onFileFinished(1, 0, files.at(0).absoluteFilePath());
                batch->onFileStarted(2, 3, files.at(1).absoluteFilePath());
                batch->onFileFinished(2, 3, files.at(1).absoluteFilePath());
                batch->onFileStarted(3, 3, files.at(2).absoluteFilePath());
                batch->onFileFinished(3, 0, files.at(2).absoluteFilePath());
            }
            window->onAllDone(2, 1, 0);
            tabs->tabBar()->setTabTextColor(2, QColor());
            tabs->setCurrentIndex(2);
            settle(200);
            renderer.shoot(window.get(), u"window-finished-files"_s, theme, size);

            // A drag hovering over the input panel.
            tabs->setCurrentIndex(0);
            auto *input = window->findChild<InputPanel *>();
            if (auto *overlay = input ? input->findChild<DropOverlay *>() : nullptr)
                overlay->showOver(input->rect(), u"Drop file(s) here"_s, u":/res/style/icons/file-up.png"_s);
            renderer.shoot(window.get(), u"window-drop-overlay"_s, theme, size);
        }
        {
            VersionInfo info;
            info.updateAvailable = true;
            info.latest = u"18.2.0"_s;
            info.released = u"2026-04-01"_s;
            info.downloadPath = u"/convertors/"_s;
            std::unique_ptr<QMessageBox> box(UpdateDialogs::createUpdateDialog(info, nullptr));
            renderer.shoot(box.get(), u"update-dialog"_s, theme);
        }
        {
            QDialog frame;
            auto *empty = new BatchPanel;
            (new QVBoxLayout(&frame))->addWidget(empty);
            renderer.shoot(&frame, u"batch-empty"_s, theme, QSize(520, 300));
        }
        {
            QDialog pictures;
            auto *grid = new QGridLayout(&pictures);
            const QStringList names = {u"title_revit"_s,     u"title_ifc"_s,     u"title_dwg"_s,
                                       u"title_dgn"_s,       u"title_rvt2ifc"_s, u"excel_plugin"_s,
                                       u"chatgpt_and_llm"_s, u"versions_kvt"_s,  u"revit_back_import"_s};
            int index = 0;
            for (const QString &name : names) {
                auto *label = new QLabel;
                const QPixmap pixmap(u":/res/png/%1.png"_s.arg(name));
                label->setPixmap(QIcon(u":/res/png/%1.png"_s.arg(name)).pixmap(pixmap.size()));
                grid->addWidget(label, index / 2, index % 2);
                ++index;
            }
            auto *notices = new QHBoxLayout;
            for (const QString &name : {u"email"_s, u"warning"_s}) {
                auto *label = new QLabel;
                label->setPixmap(QIcon(u":/res/png/%1.png"_s.arg(name)).pixmap(QSize(16, 16)));
                notices->addWidget(label);
            }
            auto *header = new QLabel;
            header->setPixmap(QIcon(u":/res/png/title_left_side.png"_s).pixmap(QSize(224, 48)));
            notices->addWidget(header);
            notices->addStretch(1);
            grid->addLayout(notices, index / 2, index % 2);
            renderer.shoot(&pictures, u"pictures"_s, theme);
        }
    }

    for (const QString &path : std::as_const(renderer.written))
        QTextStream(stdout) << path << '\n';
    return renderer.written.isEmpty() ? 1 : 0;
}
