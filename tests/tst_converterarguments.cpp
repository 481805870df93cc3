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
    // The user's choices as words: converter id, input path, then out=, mode=, categories=,
    // config= and the switches ticked. The expected command line is written the same way.
    QTest::addColumn<QString>("choices");
    QTest::addColumn<QString>("expected");
    const QString all = u" bbox rooms viewmap parents schedules pdf skipxlsx skipdae force"_s;
    QTest::addRow("worked example")
        << u"revit D:/m/House.rvt out=E:/out mode=custom categories=Walls,Doors bbox rooms skipdae"_s
        << u"D:/m/House.rvt --output-dae=E:/out/House_rvt.dae --output-xlsx=E:/out/House_rvt.xlsx "
           "--mode=custom --categories=Walls,Doors --bbox --rooms --skip-dae --ui"_s;
    QTest::addRow("no output folder: no output arguments")
        << u"revit D:/m/House.rvt mode=standard force"_s
        << u"D:/m/House.rvt --mode=standard --force-path --ui"_s;
    QTest::addRow("input without suffix: stem without underscore")
        << u"revit C:/p/model out=E:/out"_s
        << u"C:/p/model --output-dae=E:/out/model.dae --output-xlsx=E:/out/model.xlsx --ui"_s;
    QTest::addRow("dotted name, upper-case suffix")
        << u"revit C:/p/Tower.A.RVT out=E:/out"_s
        << u"C:/p/Tower.A.RVT --output-dae=E:/out/Tower.A_rvt.dae --output-xlsx=E:/out/Tower.A_rvt.xlsx --ui"_s;
    QTest::addRow("custom without categories")
        << u"revit D:/m/House.rvt mode=custom"_s << u"D:/m/House.rvt --mode=custom --ui"_s;
    QTest::addRow("Custom with capital C sends no categories")
        << u"revit D:/m/House.rvt mode=Custom categories=Walls"_s << u"D:/m/House.rvt --mode=Custom --ui"_s;
    QTest::addRow("categories ignored outside custom")
        << u"revit D:/m/House.rvt mode=standard categories=Walls"_s
        << u"D:/m/House.rvt --mode=standard --ui"_s;
    QTest::addRow("empty mode sends no mode")
        << u"revit D:/m/House.rvt categories=Walls"_s << u"D:/m/House.rvt --ui"_s;
    QTest::addRow("revit: every switch, in order")
        << u"revit D:/m/House.rvt"_s + all
        << u"D:/m/House.rvt --bbox --rooms --viewmap --extended-parents --schedules --sheets-to-pdf "
           "--skip-xlsx --skip-dae --force-path --ui"_s;
    QTest::addRow("ifc: dae and xlsx outputs, no mode")
        << u"ifc /data/Bridge.IFC out=/out mode=custom categories=Walls config=cfg"_s + all
        << u"/data/Bridge.IFC --output-dae=/out/Bridge_ifc.dae --output-xlsx=/out/Bridge_ifc.xlsx --bbox "
           "--skip-xlsx --skip-dae --force-path --ui"_s;
    QTest::addRow("dwg: xlsx only, never skip-dae")
        << u"dwg /data/Plan.dwg out=/out mode=standard"_s + all
        << u"/data/Plan.dwg --output-xlsx=/out/Plan_dwg.xlsx --skip-xlsx --force-path --ui"_s;
    QTest::addRow("dgn: xlsx only") << u"dgn /data/Site.dgn out=/out skipdae"_s
                                    << u"/data/Site.dgn --output-xlsx=/out/Site_dgn.xlsx --ui"_s;
    QTest::addRow("rvt2ifc: one ifc output, config in custom mode")
        << u"rvt2ifc D:/m/House.rvt out=E:/out mode=custom categories=Walls config=export.json"_s + all
        << u"D:/m/House.rvt --output=E:/out/House_rvt.ifc --mode=custom --config=export.json --skip-xlsx "
           "--force-path --ui"_s;
    QTest::addRow("rvt2ifc: config ignored outside custom")
        << u"rvt2ifc D:/m/House.rvt mode=extended config=export.json"_s
        << u"D:/m/House.rvt --mode=extended --ui"_s;
}

void tst_ConverterArguments::arguments()
{
    QFETCH(QString, choices);
    QFETCH(QString, expected);
    const QStringList words = choices.split(u' ');
    const auto value = [&](const QString &key) {
        for (const QString &word : words)
            if (word.startsWith(key + u'='))
                return word.mid(key.size() + 1);
        return QString();
    };
    ConversionOptions o;
    o.inputPath = words.at(1);
    o.mode = value(u"mode"_s);
    o.categories = value(u"categories"_s);
    o.config = value(u"config"_s);
    o.boundingBox = words.contains(u"bbox");
    o.rooms = words.contains(u"rooms");
    o.viewMap = words.contains(u"viewmap");
    o.extendedParents = words.contains(u"parents");
    o.schedules = words.contains(u"schedules");
    o.sheetsToPdf = words.contains(u"pdf");
    o.skipXlsx = words.contains(u"skipxlsx");
    o.skipDae = words.contains(u"skipdae");
    o.forcePath = words.contains(u"force");
    const QStringList arguments =
        buildConverterArguments(makeConverterInfo(words.at(0), true), o, value(u"out"_s));
    QCOMPARE(arguments.join(u' '), expected);
}

QTEST_GUILESS_MAIN(tst_ConverterArguments)
#include "tst_converterarguments.moc"
