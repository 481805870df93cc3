#include "common/settingskeys.h"
#include "input/recentfiles.h"

#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class tst_RecentFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void addKeepsNewestFirst_data();
    void addKeepsNewestFirst();
    void listsArePerConverterAndSurviveRestart();

private:
    QTemporaryDir dir;
};

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
    QStringList eleven;
    QStringList newestTen;
    for (int i = 1; i <= 11; ++i)
        eleven.append(u"/d/m%1.rvt"_s.arg(i));
    for (int i = 11; i >= 2; --i)
        newestTen.append(u"/d/m%1.rvt"_s.arg(i));
    QTest::addRow("eleventh entry drops the oldest") << eleven << newestTen;
}

void tst_RecentFiles::addKeepsNewestFirst()
{
    QFETCH(QStringList, added);
    QFETCH(QStringList, expected);
    QSettings settings(dir.filePath(u"%1.ini"_s.arg(QString::fromLatin1(QTest::currentDataTag()))),
                       QSettings::IniFormat);
    RecentFiles recent(nullptr, u"revit"_s, &settings);
    for (const QString &path : added)
        recent.add(path);
    QCOMPARE(recent.entries(), expected);
    QCOMPARE(settings.value(SettingsKeys::recentFiles(u"revit"_s)).toStringList(), expected);
}

void tst_RecentFiles::listsArePerConverterAndSurviveRestart()
{
    const QString file = dir.filePath(u"restart.ini"_s);
    {
        QSettings settings(file, QSettings::IniFormat);
        RecentFiles revit(nullptr, u"revit"_s, &settings);
        revit.add(u"/d/a.rvt"_s);
        revit.add(u"/d/b.rvt"_s);
        RecentFiles(nullptr, u"ifc"_s, &settings).add(u"/d/c.ifc"_s);
        // Empty entries written by someone else; a path missing now (an offline drive) stays.
        settings.setValue(SettingsKeys::recentFiles(u"dwg"_s),
                          QStringList{u""_s, u"/offline/a.dwg"_s, u""_s});
    }
    QSettings reopened(file, QSettings::IniFormat);
    QCOMPARE(RecentFiles(nullptr, u"revit"_s, &reopened).entries(),
             (QStringList{u"/d/b.rvt"_s, u"/d/a.rvt"_s}));
    QCOMPARE(RecentFiles(nullptr, u"ifc"_s, &reopened).entries(), QStringList{u"/d/c.ifc"_s});
    QCOMPARE(RecentFiles(nullptr, u"dwg"_s, &reopened).entries(), QStringList{u"/offline/a.dwg"_s});
}

QTEST_MAIN(tst_RecentFiles)
#include "tst_recentfiles.moc"
