#include "options/exportformatspanel.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

ExportFormat format(const QString &text, int row, int column, bool checked = true, bool locked = false,
                    bool checkable = true)
{
    ExportFormat f;
    f.description = text;
    f.row = row;
    f.column = column;
    f.checked = checked;
    f.locked = locked;
    f.checkable = checkable;
    return f;
}

// Keys sort as A, B, C, D; the grid places them the other way round.
ConverterInfo lockedFormats()
{
    ConverterInfo info;
    info.id = u"test"_s;
    info.formats.insert(u"A"_s, format(u"required"_s, 1, 1, true, true));
    info.formats.insert(u"B"_s, format(u"unavailable"_s, 1, 0, false, true));
    info.formats.insert(u"COLLADA"_s, format(u"free"_s, 0, 1));
    info.formats.insert(u"D"_s, format(u"fixed text"_s, 0, 0, false, false, false));
    return info;
}

} // namespace

class tst_ExportFormatsPanel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void placesBoxesByRowAndColumn();
    void locksAndToolTips_data();
    void locksAndToolTips();
    void reapplyLocksDisablesOnlyLockedBoxes();
    void uncheckedQueries_data();
    void uncheckedQueries();
    void rebuildReplacesTheBoxes();

private:
    static QCheckBox *box(const ExportFormatsPanel &panel, const QString &key)
    {
        return panel.findChild<QCheckBox *>(u"format_"_s + key);
    }
};

void tst_ExportFormatsPanel::placesBoxesByRowAndColumn()
{
    ExportFormatsPanel panel;
    panel.setConverter(lockedFormats());
    auto *group = panel.findChild<QGroupBox *>(u"exportFormatsGroup"_s);
    auto *grid = qobject_cast<QGridLayout *>(group->layout());
    const QList<QPair<QString, QPoint>> expected{
        {u"required"_s, {1, 1}}, {u"unavailable"_s, {1, 0}}, {u"free"_s, {0, 1}}, {u"fixed text"_s, {0, 0}}};
    for (const auto &[text, rowColumn] : expected) {
        auto *item = grid->itemAtPosition(rowColumn.x(), rowColumn.y());
        QVERIFY(item && item->widget());
        QCOMPARE(qobject_cast<QCheckBox *>(item->widget())->text(), text);
    }
}

void tst_ExportFormatsPanel::locksAndToolTips_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<bool>("checked");
    QTest::addColumn<bool>("enabled");
    QTest::addColumn<QString>("toolTip");

    QTest::addRow("locked and checked")
        << u"A"_s << true << false << u"Required format — cannot be disabled"_s;
    QTest::addRow("locked and unchecked")
        << u"B"_s << false << false << u"Not available for this converter"_s;
    QTest::addRow("free") << u"COLLADA"_s << true << true << QString();
    QTest::addRow("not checkable") << u"D"_s << false << true << QString();
}

void tst_ExportFormatsPanel::locksAndToolTips()
{
    QFETCH(QString, key);
    QFETCH(bool, checked);
    QFETCH(bool, enabled);
    QFETCH(QString, toolTip);

    ExportFormatsPanel panel;
    panel.setConverter(lockedFormats());
    panel.resize(400, 100);
    panel.show();
    QCheckBox *b = box(panel, key);
    QCOMPARE(b->isChecked(), checked);
    QCOMPARE(b->isEnabled(), enabled);
    QCOMPARE(b->toolTip(), toolTip);

    // A click changes exactly the free boxes, and each change is announced.
    QSignalSpy changed(&panel, &ExportFormatsPanel::formatsChanged);
    QTest::mouseClick(b, Qt::LeftButton, {}, QPoint(5, b->height() / 2));
    const bool changes = enabled && b->isCheckable();
    QCOMPARE(b->isChecked(), changes ? !checked : checked);
    QCOMPARE(changed.size(), changes ? 1 : 0);
}

void tst_ExportFormatsPanel::reapplyLocksDisablesOnlyLockedBoxes()
{
    ExportFormatsPanel panel;
    panel.setConverter(lockedFormats());
    // Whatever switched the controls back on after a run, boxes by boxes.
    for (QCheckBox *b : panel.findChildren<QCheckBox *>())
        b->setEnabled(true);
    panel.reapplyLocks();
    QVERIFY(!box(panel, u"A"_s)->isEnabled());
    QVERIFY(!box(panel, u"B"_s)->isEnabled());
    QVERIFY(box(panel, u"COLLADA"_s)->isEnabled());
    QVERIFY(box(panel, u"D"_s)->isEnabled());
    QVERIFY(box(panel, u"A"_s)->isChecked());
}

void tst_ExportFormatsPanel::uncheckedQueries_data()
{
    QTest::addColumn<ConverterInfo>("info");
    QTest::addColumn<QString>("untick");
    QTest::addColumn<bool>("xlsxOff");
    QTest::addColumn<bool>("colladaOff");

    QTest::addRow("revit, xlsx off") << makeRevitConverterInfo(true) << u"XLSX"_s << true << false;
    QTest::addRow("revit, collada off") << makeRevitConverterInfo(true) << u"COLLADA"_s << false << true;
    QTest::addRow("dwg has no collada to switch off")
        << makeDwgConverterInfo(true) << u"XLSX"_s << true << false;
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

    panel.setConverter(makeIfcConverterInfo(true));
    QVERIFY(!panel.isColladaUnchecked());
}

QTEST_MAIN(tst_ExportFormatsPanel)
#include "tst_exportformatspanel.moc"
