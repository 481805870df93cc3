#include "options/fileversionspanel.h"

#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QTest>

using namespace Qt::StringLiterals;

class tst_FileVersionsPanel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void holesStayEmptyAndBadgesCarryTheirRole();
    void emptyTableHidesThePanel();

private:
    static QGridLayout *grid(const FileVersionsPanel &panel)
    {
        return qobject_cast<QGridLayout *>(panel.findChild<QGroupBox *>(u"fileVersionsGroup"_s)->layout());
    }
    static QString textAt(const FileVersionsPanel &panel, int row, int column)
    {
        QLayoutItem *item = grid(panel)->itemAtPosition(row, column);
        auto *label = item ? qobject_cast<QLabel *>(item->widget()) : nullptr;
        return label ? label->text() : QString();
    }
};

void tst_FileVersionsPanel::holesStayEmptyAndBadgesCarryTheirRole()
{
    // Column-major as the catalogue keeps it; row 0 of column 1 is missing, and row 1 of
    // column 2 has no text.
    ConverterInfo info;
    info.fileVersions[0][0] = FileVersion{u"v1"_s, true};
    info.fileVersions[0][1] = FileVersion{u"v2"_s, false};
    info.fileVersions[1][1] = FileVersion{u"v4"_s, true};
    info.fileVersions[2][0] = FileVersion{u"v5"_s, true};
    info.fileVersions[2][1] = FileVersion{QString(), true};

    FileVersionsPanel panel;
    panel.setConverter(info);
    QCOMPARE(textAt(panel, 0, 0), u"v1"_s);
    QVERIFY(!grid(panel)->itemAtPosition(0, 1));
    QCOMPARE(textAt(panel, 0, 2), u"v5"_s);
    QCOMPARE(textAt(panel, 1, 0), u"v2"_s);
    QCOMPARE(textAt(panel, 1, 1), u"v4"_s);
    QVERIFY(!grid(panel)->itemAtPosition(1, 2));

    const QList<QLabel *> badges = panel.findChildren<QLabel *>(u"versionBadge"_s);
    QCOMPARE(badges.size(), 4);
    for (const QLabel *badge : badges) {
        QCOMPARE(badge->property("badgeRole").toString(),
                 badge->text() == u"v2" ? u"unsupported"_s : u"supported"_s);
        QCOMPARE(badge->alignment(), Qt::AlignCenter);
    }
}

void tst_FileVersionsPanel::emptyTableHidesThePanel()
{
    QWidget window;
    auto *panel = new FileVersionsPanel(&window);
    window.show();
    panel->setConverter(makeIfcConverterInfo(true));
    QVERIFY(panel->isVisible());

    panel->setConverter(ConverterInfo());
    QVERIFY(panel->isHidden());

    panel->setConverter(makeRevitConverterInfo(true));
    QVERIFY(panel->isVisible());
    // Nothing of the earlier converter survives.
    QCOMPARE(panel->findChildren<QLabel *>(u"versionBadge"_s).size(), 12);
    QCOMPARE(textAt(*panel, 3, 2), u"Revit\u00AE\uFE0F2026"_s);
}

QTEST_MAIN(tst_FileVersionsPanel)
#include "tst_fileversionspanel.moc"
