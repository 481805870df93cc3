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
    QTest::addColumn<QString>("id");
    QTest::addColumn<QStringList>("filters");
    const QStringList revit{u"*.rvt"_s, u"*.RVT"_s, u"*.rfa"_s, u"*.RFA"_s};
    QTest::addRow("revit") << u"revit"_s << revit;
    QTest::addRow("ifc") << u"ifc"_s << QStringList{u"*.ifc"_s, u"*.IFC"_s};
    QTest::addRow("dwg") << u"dwg"_s << QStringList{u"*.dwg"_s, u"*.DWG"_s};
    QTest::addRow("dgn") << u"dgn"_s << QStringList{u"*.dgn"_s, u"*.DGN"_s};
    QTest::addRow("rvt2ifc") << u"rvt2ifc"_s << revit;
    QTest::addRow("unknown id") << u"nothing"_s << QStringList{};
}

// Each id finds its own record, whose file name filters take both cases of every extension,
// and the edition changes the name and nothing else.
void tst_ConverterInfo::catalogue()
{
    QFETCH(QString, id);
    QFETCH(QStringList, filters);
    const ConverterInfo community = makeConverterInfo(id, true);
    ConverterInfo adFree = makeConverterInfo(id, false);
    QCOMPARE(converterNameFilters(community), filters);
    if (filters.isEmpty()) {
        QVERIFY(community.id.isEmpty());
        return;
    }
    QCOMPARE(community.id, id);
    QVERIFY(community.displayName.endsWith(u" Community"_s));
    QVERIFY(adFree.displayName.endsWith(u" Ad-Free"_s));
    QCOMPARE(adFree.displayName.chopped(8), community.displayName.chopped(10));
    QCOMPARE(adFree.executable, community.executable);
    QCOMPARE(adFree.modes, community.modes);
    QCOMPARE(adFree.formats.keys(), community.formats.keys());
    QCOMPARE(adFree.fileVersions.size(), community.fileVersions.size());
    QCOMPARE(adFree.links.size(), community.links.size());
    QCOMPARE(adFree.supportsDae, community.supportsDae);
}

QTEST_GUILESS_MAIN(tst_ConverterInfo)
#include "tst_converterinfo.moc"
