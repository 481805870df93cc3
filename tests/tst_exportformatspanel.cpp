#include "options/exportformatspanel.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

class tst_ExportFormatsPanel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void boxesAndRebuilds();
};

void tst_ExportFormatsPanel::boxesAndRebuilds()
{
    ConverterInfo locks; // checkable, checked, locked, text, row, column; keys sort unlike the grid
    locks.formats.insert(u"A"_s, {true, true, true, u"required"_s, 1, 1});
    locks.formats.insert(u"B"_s, {true, false, true, u"unavailable"_s, 1, 0});
    locks.formats.insert(u"C"_s, {true, true, false, u"free"_s, 0, 1});
    locks.formats.insert(u"D"_s, {false, false, false, u"fixed"_s, 0, 0});
    const auto flag = [](bool on, const QString &word) { return on ? u' ' + word : QString(); };
    ExportFormatsPanel panel;
    panel.setConverter(locks);
    QSignalSpy changed(&panel, &ExportFormatsPanel::formatsChanged);
    // Each box sits where its format says; a click changes exactly the free ones, announced; locked
    // boxes say why, and are locked again whatever switched every control back on after a run.
    auto *grid = qobject_cast<QGridLayout *>(panel.findChild<QGroupBox *>(u"exportFormatsGroup"_s)->layout());
    QStringList seen;
    for (int cell = 0; cell < 4; ++cell) {
        QWidget *box = grid->itemAtPosition(cell / 2, cell % 2)->widget();
        QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(5, box->height() / 2));
        box->setEnabled(true);
        seen << box->objectName();
    }
    panel.reapplyLocks();
    for (const QCheckBox *box : panel.findChildren<QCheckBox *>())
        seen << box->text() + flag(box->isChecked(), u"on"_s) + flag(!box->isEnabled(), u"locked"_s) +
                    flag(!box->toolTip().isEmpty(), box->toolTip());
    QCOMPARE(seen.join(u", "_s) + flag(true, QString::number(changed.size())),
             u"format_D, format_C, format_B, format_A, required on locked Required format — cannot be "
             "disabled, unavailable locked Not available for this converter, free, fixed 1"_s);

    // Queries read the boxes shown; a rebuild replaces boxes and group, and starts from the defaults.
    seen.clear();
    for (const QString &step : {u"revit XLSX"_s, u"ifc COLLADA"_s, u"rvt2ifc"_s, u"ifc"_s}) {
        panel.setConverter(makeConverterInfo(step.section(u' ', 0, 0), true));
        if (QCheckBox *box = panel.findChild<QCheckBox *>(u"format_"_s + step.section(u' ', 1)))
            box->setChecked(false);
        seen << QString::number(panel.findChildren<QCheckBox *>().size()) +
                    flag(panel.isXlsxUnchecked(), u"xlsx"_s) + flag(panel.isColladaUnchecked(), u"dae"_s);
    }
    QCOMPARE(seen.join(u", "_s) + u" in "_s + QString::number(panel.findChildren<QGroupBox *>().size()),
             u"2 xlsx, 4 dae, 1, 4 in 1"_s);
}

QTEST_MAIN(tst_ExportFormatsPanel)
#include "tst_exportformatspanel.moc"
