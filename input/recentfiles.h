#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

class QMenu;
class QSettings;

// The files and folders most recently converted, newest first, kept per converter in the
// settings store and shown as the "Recent Files" submenu.
class RecentFiles final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(RecentFiles)

public:
    static constexpr int maxEntries = 10;

    RecentFiles(QMenu *menu, const QString &keyPrefix, QSettings *settings, QObject *parent = nullptr);

    void add(const QString &path);
    void clear();
    QStringList entries() const { return entryList; }

    // The menu text of the entry at `index` (0-based).
    static QString menuText(int index, const QString &path);

Q_SIGNALS:
    void fileSelected(const QString &path);

private:
    void load();
    void save();
    void rebuildMenu();

    QMenu *menu;
    QString settingsKey;
    QSettings *settings;
    QStringList entryList;
};
