#include "common/settingskeys.h"
#include "input/recentfiles.h"

#include <QAction>
#include <QDir>
#include <QKeySequence>
#include <QMenu>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

class tst_RecentFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void addKeepsNewestFirst_data();
    void addKeepsNewestFirst();
    void menuShowsNumberedEntries();
    void listsArePerConverterAndSurviveRestart();
    void triggeringEntriesAndClear();

private:
    static QStringList actionTexts(const QMenu &menu)
    {
        QStringList texts;
        const QList<QAction *> actions = menu.actions();
        for (const QAction *action : actions)
            texts.append(action->isSeparator() ? u"--"_s : action->text());
        return texts;
    }

    std::unique_ptr<QTemporaryDir> dir;
    std::unique_ptr<QSettings> settings;
};

void tst_RecentFiles::init()
{
    settings.reset();
    dir = std::make_unique<QTemporaryDir>();
    settings = std::make_unique<QSettings>(dir->filePath(u"settings.ini"_s), QSettings::IniFormat);
}

void tst_RecentFiles::addKeepsNewestFirst_data()
{
    QTest::addColumn<QStringList>("added");
    QTest::addColumn<QStringList>("expected");

    QTest::addRow("re-adding moves to the top without a duplicate")
        << QStringList{u"/d/a.rvt"_s, u"/d/b.rvt"_s, u"/d/c.rvt"_s, u"/d/a.rvt"_s}
        << QStringList{u"/d/a.rvt"_s, u"/d/c.rvt"_s, u"/d/b.rvt"_s};
    QTest::addRow("same file written differently is one entry")
        << QStringList{u"/d/a.rvt"_s, u"/d/x/../a.rvt"_s, u"/d//a.rvt"_s} << QStringList{u"/d/a.rvt"_s};
    QTest::addRow("empty path ignored") << QStringList{u"/d/a.rvt"_s, u""_s} << QStringList{u"/d/a.rvt"_s};
    QTest::addRow("folders too") << QStringList{u"/d/models/"_s} << QStringList{u"/d/models"_s};
    QTest::addRow("relative path made absolute")
        << QStringList{u"rel.rvt"_s} << QStringList{QDir::current().absoluteFilePath(u"rel.rvt"_s)};

    QStringList eleven;
    QStringList lastTen;
    for (int i = 1; i <= 11; ++i)
        eleven.append(u"/d/m%1.rvt"_s.arg(i));
    for (int i = 11; i >= 2; --i)
        lastTen.append(u"/d/m%1.rvt"_s.arg(i));
    QTest::addRow("eleventh entry drops the oldest") << eleven << lastTen;
}

void tst_RecentFiles::addKeepsNewestFirst()
{
    QFETCH(QStringList, added);
    QFETCH(QStringList, expected);
    QMenu menu;
    RecentFiles recent(&menu, u"revit"_s, settings.get());
    for (const QString &path : added)
        recent.add(path);
    QCOMPARE(recent.entries(), expected);
    QCOMPARE(settings->value(SettingsKeys::recentFiles(u"revit"_s)).toStringList(), expected);
}

void tst_RecentFiles::menuShowsNumberedEntries()
{
    QMenu menu;
    RecentFiles recent(&menu, u"revit"_s, settings.get());
    for (int i = 1; i <= 10; ++i)
        recent.add(u"/d/m%1.rvt"_s.arg(i));
    recent.add(u"/d/R&D/plan.rvt"_s);

    const QStringList texts = actionTexts(menu);
    QCOMPARE(texts.size(), 12);
    QCOMPARE(texts.at(0), u"&1  "_s + QDir::toNativeSeparators(u"/d/R&&D/plan.rvt"_s));
    QCOMPARE(texts.at(1), u"&2  "_s + QDir::toNativeSeparators(u"/d/m10.rvt"_s));
    // The tenth entry's accelerator is the digit 1.
    QCOMPARE(texts.at(9), u"&10  "_s + QDir::toNativeSeparators(u"/d/m2.rvt"_s));
    QCOMPARE(QKeySequence::mnemonic(texts.at(9)), QKeySequence(Qt::ALT | Qt::Key_1));
    QCOMPARE(texts.at(10), u"--"_s);
    QCOMPARE(texts.at(11), u"Clear Recent Files"_s);
}

void tst_RecentFiles::listsArePerConverterAndSurviveRestart()
{
    {
        RecentFiles revit(nullptr, u"revit"_s, settings.get());
        revit.add(u"/d/a.rvt"_s);
        revit.add(u"/d/b.rvt"_s);
        RecentFiles ifc(nullptr, u"ifc"_s, settings.get());
        ifc.add(u"/d/c.ifc"_s);
        // Empty entries written by someone else; a path missing now (an offline drive) stays.
        settings->setValue(SettingsKeys::recentFiles(u"dwg"_s),
                           QStringList{u""_s, u"/offline/a.dwg"_s, u""_s});
    }
    settings->sync();
    QSettings reopened(settings->fileName(), QSettings::IniFormat);
    QMenu menu;
    RecentFiles revit(&menu, u"revit"_s, &reopened);
    QCOMPARE(revit.entries(), (QStringList{u"/d/b.rvt"_s, u"/d/a.rvt"_s}));
    QCOMPARE(actionTexts(menu).size(), 4);
    QCOMPARE(RecentFiles(nullptr, u"ifc"_s, &reopened).entries(), QStringList{u"/d/c.ifc"_s});
    QCOMPARE(RecentFiles(nullptr, u"dwg"_s, &reopened).entries(), QStringList{u"/offline/a.dwg"_s});
}

void tst_RecentFiles::triggeringEntriesAndClear()
{
    QMenu menu;
    RecentFiles recent(&menu, u"revit"_s, settings.get());
    recent.add(u"/d/a.rvt"_s);
    recent.add(u"/d/b.rvt"_s);
    QSignalSpy selected(&recent, &RecentFiles::fileSelected);

    menu.actions().at(1)->trigger();
    QCOMPARE(selected.size(), 1);
    QCOMPARE(selected.at(0).at(0).toString(), u"/d/a.rvt"_s);

    menu.actions().constLast()->trigger();
    QVERIFY(recent.entries().isEmpty());
    QCOMPARE(actionTexts(menu), QStringList{u"(No recent files)"_s});
    QVERIFY(!menu.actions().constFirst()->isEnabled());
    QVERIFY(settings->value(SettingsKeys::recentFiles(u"revit"_s)).toStringList().isEmpty());
}

QTEST_MAIN(tst_RecentFiles)
#include "tst_recentfiles.moc"
