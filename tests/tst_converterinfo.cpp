#include "conversion/converterinfo.h"

#include <QTest>

using namespace Qt::StringLiterals;

class tst_ConverterInfo : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void catalogue_data();
    void catalogue();
};

void tst_ConverterInfo::catalogue_data()
{
    // For the id named by the row: the id found, the file name filters, both editions' names.
    QTest::addColumn<QString>("record");
    QTest::addRow("revit") << u"revit *.rvt *.RVT *.rfa *.RFA, KVT Revit Community, KVT Revit Ad-Free"_s;
    QTest::addRow("ifc") << u"ifc *.ifc *.IFC, KVT IFC Community, KVT IFC Ad-Free"_s;
    QTest::addRow("dwg") << u"dwg *.dwg *.DWG, KVT Dwg Community, KVT Dwg Ad-Free"_s;
    QTest::addRow("dgn") << u"dgn *.dgn *.DGN, KVT Dgn Community, KVT Dgn Ad-Free"_s;
    QTest::addRow("rvt2ifc")
        << u"rvt2ifc *.rvt *.RVT *.rfa *.RFA, KVT RVT2IFC Community, KVT RVT2IFC Ad-Free"_s;
    QTest::addRow("unknown") << u", , "_s;
}

void tst_ConverterInfo::catalogue()
{
    QFETCH(QString, record);
    const QString id = QString::fromLatin1(QTest::currentDataTag());
    const ConverterInfo community = makeConverterInfo(id, true);
    const QString found = (community.id + u' ' + converterNameFilters(community).join(u' ')).trimmed();
    QCOMPARE(found + u", "_s + community.displayName + u", "_s + makeConverterInfo(id, false).displayName,
             record);
}

QTEST_GUILESS_MAIN(tst_ConverterInfo)
#include "tst_converterinfo.moc"
