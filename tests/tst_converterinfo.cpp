#include "conversion/converterinfo.h"

#include <QTest>

using namespace Qt::StringLiterals;

class tst_ConverterInfo : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void editionChangesOnlyTheName_data();
    void editionChangesOnlyTheName();
    void revitVersionLabelsAreExactBytes();
    void revitGridIsColumnByColumn();
    void nameFilters_data();
    void nameFilters();
    void commonLinksLeadEveryEntry();
};

void tst_ConverterInfo::editionChangesOnlyTheName_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("community");
    QTest::addColumn<QString>("adFree");
    QTest::addRow("revit") << u"revit"_s << u"KVT Revit Community"_s << u"KVT Revit Ad-Free"_s;
    QTest::addRow("ifc") << u"ifc"_s << u"KVT IFC Community"_s << u"KVT IFC Ad-Free"_s;
    QTest::addRow("dwg") << u"dwg"_s << u"KVT Dwg Community"_s << u"KVT Dwg Ad-Free"_s;
    QTest::addRow("dgn") << u"dgn"_s << u"KVT Dgn Community"_s << u"KVT Dgn Ad-Free"_s;
    QTest::addRow("rvt2ifc") << u"rvt2ifc"_s << u"KVT RVT2IFC Community"_s << u"KVT RVT2IFC Ad-Free"_s;
}

void tst_ConverterInfo::editionChangesOnlyTheName()
{
    QFETCH(QString, id);
    QFETCH(QString, community);
    QFETCH(QString, adFree);
    ConverterInfo a = makeConverterInfo(id, true);
    ConverterInfo b = makeConverterInfo(id, false);
    QCOMPARE(a.id, id);
    QCOMPARE(a.displayName, community);
    QCOMPARE(b.displayName, adFree);
    b.displayName = a.displayName;
    QCOMPARE(a.executable, b.executable);
    QCOMPARE(a.extensions, b.extensions);
    QCOMPARE(a.modes, b.modes);
    QCOMPARE(a.formats.keys(), b.formats.keys());
    QCOMPARE(a.fileVersions.size(), b.fileVersions.size());
    QCOMPARE(a.supportsDae, b.supportsDae);
    QCOMPARE(a.titleImage, b.titleImage);
}

void tst_ConverterInfo::revitVersionLabelsAreExactBytes()
{
    const ConverterInfo info = makeRevitConverterInfo(true);
    const QByteArray expected = QByteArray::fromHex("52657669 74C2AEEFB88F") + "2015";
    QCOMPARE(info.fileVersions.value(0).value(0).label.toUtf8(), expected);
}

void tst_ConverterInfo::revitGridIsColumnByColumn()
{
    const ConverterInfo info = makeRevitConverterInfo(true);
    QCOMPARE(info.fileVersions.size(), 3);
    // Row 0 reads 2015, 2016, 2017 across the columns; row 3 reads 2024, 2025, 2026.
    QVERIFY(info.fileVersions[0][0].label.endsWith(u"2015"));
    QVERIFY(info.fileVersions[1][0].label.endsWith(u"2016"));
    QVERIFY(info.fileVersions[2][0].label.endsWith(u"2017"));
    QVERIFY(info.fileVersions[0][3].label.endsWith(u"2024"));
    QVERIFY(info.fileVersions[2][3].label.endsWith(u"2026"));
}

void tst_ConverterInfo::nameFilters_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<QStringList>("filters");
    QTest::addRow("revit") << u"revit"_s << QStringList{u"*.rvt"_s, u"*.RVT"_s, u"*.rfa"_s, u"*.RFA"_s};
    QTest::addRow("ifc") << u"ifc"_s << QStringList{u"*.ifc"_s, u"*.IFC"_s};
    QTest::addRow("unknown id") << u"nothing"_s << QStringList{};
}

void tst_ConverterInfo::nameFilters()
{
    QFETCH(QString, id);
    QFETCH(QStringList, filters);
    QCOMPARE(converterNameFilters(makeConverterInfo(id, true)), filters);
}

void tst_ConverterInfo::commonLinksLeadEveryEntry()
{
    const QList<ConverterLink> common = commonConverterLinks();
    QCOMPARE(common.size(), 3);
    QCOMPARE(int(common.at(0).alignment), 2 | 64);
    QCOMPARE(int(common.at(1).alignment), 132 | 64);
    QCOMPARE(int(common.at(2).alignment), 1 | 64);
    const ConverterInfo revit = makeRevitConverterInfo(true);
    QCOMPARE(revit.links.size(), 4);
    QCOMPARE(revit.links.at(3).title, u"Back Import"_s);
    QCOMPARE(int(revit.links.at(3).alignment), 132 | 64);
    for (const ConverterLink &link : revit.links)
        QCOMPARE(link.size, QSize(300, 83));
}

QTEST_GUILESS_MAIN(tst_ConverterInfo)
#include "tst_converterinfo.moc"
