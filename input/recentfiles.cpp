#include "input/recentfiles.h"

#include "common/settingskeys.h"

#include <QAction>
#include <QDir>
#include <QFileInfo>
#include <QMenu>
#include <QSettings>

using namespace Qt::StringLiterals;

RecentFiles::RecentFiles(QMenu *menu, const QString &keyPrefix, QSettings *settings, QObject *parent)
    : QObject(parent)
    , menu(menu)
    , settingsKey(SettingsKeys::recentFiles(keyPrefix))
    , settings(settings)
{
    load();
    rebuildMenu();
}

QString RecentFiles::menuText(int index, const QString &path)
{
    // A literal ampersand in a folder name must not turn into an accelerator.
    QString shown = QDir::toNativeSeparators(path);
    shown.replace(u'&', u"&&"_s);
    return u"&%1  %2"_s.arg(index + 1).arg(shown);
}

void RecentFiles::add(const QString &path)
{
    if (path.isEmpty())
        return;
    const QString entry = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    entryList.removeAll(entry);
    entryList.prepend(entry);
    while (entryList.size() > maxEntries)
        entryList.removeLast();
    save();
    rebuildMenu();
}

void RecentFiles::clear()
{
    entryList.clear();
    save();
    rebuildMenu();
}

void RecentFiles::load()
{
    entryList = settings ? settings->value(settingsKey).toStringList() : QStringList();
    // Only empty texts go: a path on a drive that is offline today may be back tomorrow.
    entryList.removeAll(QString());
}

void RecentFiles::save()
{
    if (settings)
        settings->setValue(settingsKey, entryList);
}

void RecentFiles::rebuildMenu()
{
    if (!menu)
        return;
    menu->clear();
    if (entryList.isEmpty()) {
        QAction *none = menu->addAction(tr("(No recent files)"));
        none->setEnabled(false);
        return;
    }
    for (int i = 0; i < entryList.size(); ++i) {
        const QString entry = entryList.at(i);
        QAction *action = menu->addAction(menuText(i, entry));
        connect(action, &QAction::triggered, this, [this, entry] { Q_EMIT fileSelected(entry); });
    }
    menu->addSeparator();
    QAction *clearAction = menu->addAction(tr("Clear Recent Files"));
    connect(clearAction, &QAction::triggered, this, &RecentFiles::clear);
}
