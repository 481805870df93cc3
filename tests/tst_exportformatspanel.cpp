#include "options/exportformatspanel.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

// Keys sort as A, B, COLLADA, D; the grid places them the other way round.
ConverterInfo lockedFormats()
{
    ConverterInfo info;
    info.id = u"test"_s;
    // checkable, checked, locked, text, row, column
    info.formats.insert(u"A"_s, {true, true, true, u"required"_s, 1, 1});
    info.formats.insert(u"B"_s, {true, false, true, u"unavailable"_s, 1, 0});
    info.formats.insert(u"COLLADA"_s, {true, true, false, u"free"_s, 0, 1});
    info.formats.insert(u"D"_s, {false, false, false, u"fixed text"_s, 0, 0});
    return info;
}

QCheckBox *box(const ExportFormatsPanel &panel, const QString &key)
{
    return panel.findChild<QCheckBox *>(u"format_"_s + key);
}

} // namespace

class tst_ExportFormatsPanel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void boxes_data();
    void boxes();
    void uncheckedQueries_data();
    void uncheckedQueries();
    void rebuildReplacesTheBoxes();
};

void tst_ExportFormatsPanel::boxes_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QPoint>("cell"); // row, column
    QTest::addColumn<bool>("checked");
    QTest::addColumn<bool>("locked");
    QTest::addRow("locked and checked") << u"A"_s << QPoint(1, 1) << true << true;
    QTest::addRow("locked and unchecked") << u"B"_s << QPoint(1, 0) << false << true;
    QTest::addRow("free") << u"COLLADA"_s << QPoint(0, 1) << true << false;
    QTest::addRow("not checkable") << u"D"_s << QPoint(0, 0) << false << false;
}

// Each box sits where its format says, locked boxes are disabled and say why, and a click
// changes exactly the free boxes, each change announced.
void tst_ExportFormatsPanel::boxes()
{
    QFETCH(QString, key);
    QFETCH(QPoint, cell);
    QFETCH(bool, checked);
    QFETCH(bool, locked);
    ExportFormatsPanel panel;
    panel.setConverter(lockedFormats());
    panel.resize(400, 100);
    panel.show();
    QCheckBox *b = box(panel, key);
    auto *grid = qobject_cast<QGridLayout *>(panel.findChild<QGroupBox *>(u"exportFormatsGroup"_s)->layout());
    QCOMPARE(grid->itemAtPosition(cell.x(), cell.y())->widget(), b);
    QCOMPARE(b->isChecked(), checked);
    QCOMPARE(b->isEnabled(), !locked);
    QCOMPARE(b->toolTip().isEmpty(), !locked);

    QSignalSpy changed(&panel, &ExportFormatsPanel::formatsChanged);
    QTest::mouseClick(b, Qt::LeftButton, {}, QPoint(5, b->height() / 2));
    const bool changes = !locked && b->isCheckable();
    QCOMPARE(b->isChecked(), changes ? !checked : checked);
    QCOMPARE(changed.size(), changes ? 1 : 0);

    // Whatever switched every control back on after a run, the locks come back.
    b->setEnabled(true);
    panel.reapplyLocks();
    QCOMPARE(b->isEnabled(), !locked);
}

void tst_ExportFormatsPanel::uncheckedQueries_data()
{
    QTest::addColumn<ConverterInfo>("info");
    QTest::addColumn<QString>("untick");
    QTest::addColumn<bool>("xlsxOff");
    QTest::addColumn<bool>("colladaOff");
    QTest::addRow("revit, xlsx off") << makeRevitConverterInfo(true) << u"XLSX"_s << true << false;
    QTest::addRow("revit, collada off") << makeRevitConverterInfo(true) << u"COLLADA"_s << false << true;
    QTest::addRow("no formats at all") << ConverterInfo() << QString() << false << false;
}

void tst_ExportFormatsPanel::uncheckedQueries()
{
    QFETCH(ConverterInfo, info);
    QFETCH(QString, untick);
    QFETCH(bool, xlsxOff);
    QFETCH(bool, colladaOff);
    ExportFormatsPanel panel;
    panel.setConverter(info);
    if (!untick.isEmpty())
        box(panel, untick)->setChecked(false);
    QCOMPARE(panel.isXlsxUnchecked(), xlsxOff);
    QCOMPARE(panel.isColladaUnchecked(), colladaOff);
}

void tst_ExportFormatsPanel::rebuildReplacesTheBoxes()
{
    ExportFormatsPanel panel;
    panel.setConverter(makeIfcConverterInfo(true));
    box(panel, u"COLLADA"_s)->setChecked(false);
    QCOMPARE(panel.findChildren<QCheckBox *>().size(), 4);
    panel.setConverter(makeRvt2IfcConverterInfo(true));
    QCOMPARE(panel.findChildren<QCheckBox *>().size(), 1);
    QCOMPARE(panel.findChildren<QGroupBox *>().size(), 1);
    QVERIFY(!panel.isColladaUnchecked());
    // A fresh converter starts from its own defaults, not from the earlier ticks.
    panel.setConverter(makeIfcConverterInfo(true));
    QVERIFY(!panel.isColladaUnchecked());
}

QTEST_MAIN(tst_ExportFormatsPanel)
#include "tst_exportformatspanel.moc"
