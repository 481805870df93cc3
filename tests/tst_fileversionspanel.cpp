#include "options/fileversionspanel.h"

#include <QGridLayout>
#include <QLabel>
#include <QTest>

using namespace Qt::StringLiterals;

class tst_FileVersionsPanel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void badges();
};

void tst_FileVersionsPanel::badges()
{
    // Column by column, as the catalogue keeps them; a missing cell and one without text stay empty.
    ConverterInfo info;
    info.fileVersions[0] = {{0, FileVersion{u"v1"_s, true}}, {1, FileVersion{u"v2"_s, false}}};
    info.fileVersions[1][1] = FileVersion{u"v4"_s, true};
    info.fileVersions[2] = {{0, FileVersion{u"v5"_s, true}}, {1, FileVersion{QString(), true}}};
    QWidget window;
    auto *panel = new FileVersionsPanel(&window);
    panel->setConverter(info);
    QStringList cells;
    for (int cell = 0; cell < 6; ++cell) {
        const QLayoutItem *item = panel->findChild<QGridLayout *>()->itemAtPosition(cell / 3, cell % 3);
        const auto *badge = item ? qobject_cast<QLabel *>(item->widget()) : nullptr;
        cells << (badge ? badge->text() + u' ' + badge->property("badgeRole").toString() : u"-"_s);
    }
    QCOMPARE(cells.join(u", "_s), u"v1 supported, -, v5 supported, v2 unsupported, v4 supported, -"_s);
    panel->setConverter(ConverterInfo()); // nothing to show: no empty frame either
    QVERIFY(panel->isHidden());
    panel->setConverter(makeRevitConverterInfo(true)); // shown again, nothing of the earlier badges left
    QCOMPARE(panel->isHidden() ? -1 : panel->findChildren<QLabel *>().size(), 12);
}

QTEST_MAIN(tst_FileVersionsPanel)
#include "tst_fileversionspanel.moc"
