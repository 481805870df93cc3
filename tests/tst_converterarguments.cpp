#include "conversion/conversionoptions.h"
#include "conversion/converterinfo.h"

#include <QTest>

using namespace Qt::StringLiterals;

class tst_ConverterArguments : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void arguments_data();
    void arguments();
};

void tst_ConverterArguments::arguments_data()
{
    // The user's switches and the expected command line are written as space-separated words.
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("outputDir");
    QTest::addColumn<QString>("mode");
    QTest::addColumn<QString>("categories");
    QTest::addColumn<QString>("config");
    QTest::addColumn<QString>("switches");
    QTest::addColumn<QString>("expected");
    const QString all = u"bbox rooms viewmap parents schedules pdf skipxlsx skipdae force"_s;
    const QString house = u"D:/m/House.rvt"_s;
    QTest::addRow("worked example")
        << u"revit"_s << house << u"E:/out"_s << u"custom"_s << u"Walls,Doors"_s << QString()
        << u"bbox rooms skipdae"_s
        << u"D:/m/House.rvt --output-dae=E:/out/House_rvt.dae --output-xlsx=E:/out/House_rvt.xlsx "
           "--mode=custom --categories=Walls,Doors --bbox --rooms --skip-dae --ui"_s;
    QTest::addRow("no output folder: no output arguments")
        << u"revit"_s << house << QString() << u"standard"_s << QString() << QString() << u"force"_s
        << u"D:/m/House.rvt --mode=standard --force-path --ui"_s;
    QTest::addRow("input without suffix: stem without underscore")
        << u"revit"_s << u"C:/p/model"_s << u"E:/out"_s << QString() << QString() << QString() << QString()
        << u"C:/p/model --output-dae=E:/out/model.dae --output-xlsx=E:/out/model.xlsx --ui"_s;
    QTest::addRow("dotted name, upper-case suffix")
        << u"revit"_s << u"C:/p/Tower.A.RVT"_s << u"E:/out"_s << QString() << QString() << QString()
        << QString()
        << u"C:/p/Tower.A.RVT --output-dae=E:/out/Tower.A_rvt.dae --output-xlsx=E:/out/Tower.A_rvt.xlsx --ui"_s;
    QTest::addRow("custom without categories")
        << u"revit"_s << house << QString() << u"custom"_s << QString() << QString() << QString()
        << u"D:/m/House.rvt --mode=custom --ui"_s;
    QTest::addRow("Custom with capital C sends no categories")
        << u"revit"_s << house << QString() << u"Custom"_s << u"Walls"_s << QString() << QString()
        << u"D:/m/House.rvt --mode=Custom --ui"_s;
    QTest::addRow("categories ignored outside custom")
        << u"revit"_s << house << QString() << u"standard"_s << u"Walls"_s << QString() << QString()
        << u"D:/m/House.rvt --mode=standard --ui"_s;
    QTest::addRow("empty mode sends no mode") << u"revit"_s << house << QString() << QString() << u"Walls"_s
                                              << QString() << QString() << u"D:/m/House.rvt --ui"_s;
    QTest::addRow("revit: every switch, in order")
        << u"revit"_s << house << QString() << QString() << QString() << QString() << all
        << u"D:/m/House.rvt --bbox --rooms --viewmap --extended-parents --schedules --sheets-to-pdf "
           "--skip-xlsx --skip-dae --force-path --ui"_s;
    QTest::addRow("ifc: dae and xlsx outputs, no mode")
        << u"ifc"_s << u"/data/Bridge.IFC"_s << u"/out"_s << u"custom"_s << u"Walls"_s << u"cfg"_s << all
        << u"/data/Bridge.IFC --output-dae=/out/Bridge_ifc.dae --output-xlsx=/out/Bridge_ifc.xlsx --bbox "
           "--skip-xlsx --skip-dae --force-path --ui"_s;
    QTest::addRow("dwg: xlsx only, never skip-dae")
        << u"dwg"_s << u"/data/Plan.dwg"_s << u"/out"_s << u"standard"_s << QString() << QString() << all
        << u"/data/Plan.dwg --output-xlsx=/out/Plan_dwg.xlsx --skip-xlsx --force-path --ui"_s;
    QTest::addRow("dgn: xlsx only") << u"dgn"_s << u"/data/Site.dgn"_s << u"/out"_s << QString() << QString()
                                    << QString() << u"skipdae"_s
                                    << u"/data/Site.dgn --output-xlsx=/out/Site_dgn.xlsx --ui"_s;
    QTest::addRow("rvt2ifc: one ifc output, config in custom mode")
        << u"rvt2ifc"_s << house << u"E:/out"_s << u"custom"_s << u"Walls"_s << u"export.json"_s << all
        << u"D:/m/House.rvt --output=E:/out/House_rvt.ifc --mode=custom --config=export.json --skip-xlsx "
           "--force-path --ui"_s;
    QTest::addRow("rvt2ifc: config ignored outside custom")
        << u"rvt2ifc"_s << house << QString() << u"extended"_s << QString() << u"export.json"_s << QString()
        << u"D:/m/House.rvt --mode=extended --ui"_s;
}

void tst_ConverterArguments::arguments()
{
    QFETCH(QString, id);
    QFETCH(QString, input);
    QFETCH(QString, outputDir);
    QFETCH(QString, mode);
    QFETCH(QString, categories);
    QFETCH(QString, config);
    QFETCH(QString, switches);
    QFETCH(QString, expected);
    const QStringList on = switches.split(u' ', Qt::SkipEmptyParts);
    ConversionOptions o;
    o.inputPath = input;
    o.mode = mode;
    o.categories = categories;
    o.config = config;
    o.boundingBox = on.contains(u"bbox");
    o.rooms = on.contains(u"rooms");
    o.viewMap = on.contains(u"viewmap");
    o.extendedParents = on.contains(u"parents");
    o.schedules = on.contains(u"schedules");
    o.sheetsToPdf = on.contains(u"pdf");
    o.skipXlsx = on.contains(u"skipxlsx");
    o.skipDae = on.contains(u"skipdae");
    o.forcePath = on.contains(u"force");
    QCOMPARE(buildConverterArguments(makeConverterInfo(id, true), o, outputDir).join(u' '), expected);
}

QTEST_GUILESS_MAIN(tst_ConverterArguments)
#include "tst_converterarguments.moc"
