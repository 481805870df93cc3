// Renders the banner widget and the info panel in the light and the dark theme to PNG files,
// so their look can be checked without a display. No network is used: the banners show the
// list given here with their built-in pictures.
//
//   render_online OUTPUT-FOLDER

#include "app/theme.h"
#include "common/settingskeys.h"
#include "online/bannerentry.h"
#include "online/bannerwidget.h"
#include "online/infopanel.h"

#include <QApplication>
#include <QDir>
#include <QFont>
#include <QHBoxLayout>
#include <QSettings>
#include <QTemporaryDir>
#include <QTextStream>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

void shoot(QWidget *widget, const QString &folder, const QString &name, const QSize &size)
{
    widget->resize(size);
    widget->show();
    QApplication::processEvents();
    QApplication::processEvents();
    const QString path = QDir(folder).filePath(name + u".png"_s);
    if (widget->grab().save(path))
        QTextStream(stdout) << path << '\n';
    else
        QTextStream(stderr) << "could not write " << path << '\n';
}

} // namespace

int main(int argc, char *argv[])
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const QString folder = argc > 1 ? QString::fromLocal8Bit(argv[1]) : u"screenshots"_s;
    QDir().mkpath(folder);
    QApplication::setFont(QFont(loadInterfaceFont()));

    QTemporaryDir scratch;
    QSettings settings(scratch.filePath(u"render.ini"_s), QSettings::IniFormat);

    for (const bool dark : {false, true}) {
        const QString theme = dark ? u"dark"_s : u"light"_s;
        applyStyleSheet(app, dark);

        settings.remove(SettingsKeys::bannerEntries());
        {
            // The main window's row: the info panel and the banners side by side.
            QWidget row;
            auto *layout = new QHBoxLayout(&row);
            layout->setContentsMargins(8, 8, 8, 8);
            layout->setSpacing(4);
            layout->addWidget(new InfoPanel(&row), 1);
            auto *banners = new BannerWidget(&settings, &row);
            banners->setConverterId(u"revit"_s);
            layout->addWidget(banners, 1);
            shoot(&row, folder, u"online-row-"_s + theme, QSize(760, 170));
            banners->rotateToNext();
            banners->rotateToNext();
            shoot(&row, folder, u"online-row-third-"_s + theme, QSize(760, 170));
        }
        {
            InfoPanel info;
            shoot(&info, folder, u"info-narrow-"_s + theme, QSize(300, 210));
        }
        {
            // A list whose pictures are all missing: placeholders, no dots for a single entry.
            BannerEntry missing;
            missing.id = u"gone"_s;
            missing.fallback = u"no_such_picture"_s;
            settings.setValue(SettingsKeys::bannerEntries(), BannerEntry::listToSettings({missing}));
            BannerWidget banners(&settings);
            banners.setConverterId(u"dwg"_s);
            shoot(&banners, folder, u"banner-missing-"_s + theme, QSize(360, 150));
        }
    }
    return 0;
}
