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
    void reservedFieldsAreNeverSent();
};

namespace {

// Options from short switch names, so each row reads like the user's choices.
ConversionOptions makeOptions(const QString &input, const QString &mode, const QString &categories,
                              const QString &config, const QStringList &switches)
{
    ConversionOptions o;
    o.inputPath = input;
    o.mode = mode;
    o.categories = categories;
    o.config = config;
    o.boundingBox = switches.contains(u"bbox");
    o.rooms = switches.contains(u"rooms");
    o.viewMap = switches.contains(u"viewmap");
    o.extendedParents = switches.contains(u"parents");
    o.schedules = switches.contains(u"schedules");
    o.sheetsToPdf = switches.contains(u"pdf");
    o.skipXlsx = switches.contains(u"skipxlsx");
    o.skipDae = switches.contains(u"skipdae");
    o.forcePath = switches.contains(u"force");
    return o;
}

const QStringList allSwitches{u"bbox"_s, u"rooms"_s,    u"viewmap"_s, u"parents"_s, u"schedules"_s,
                              u"pdf"_s,  u"skipxlsx"_s, u"skipdae"_s, u"force"_s};

} // namespace

void tst_ConverterArguments::arguments_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("outputDir");
    QTest::addColumn<QString>("mode");
    QTest::addColumn<QString>("categories");
    QTest::addColumn<QString>("config");
    QTest::addColumn<QStringList>("switches");
    QTest::addColumn<QStringList>("expected");

    const QString house = u"D:/m/House.rvt"_s;

    QTest::addRow("worked example") << u"revit"_s << house << u"E:/out"_s << u"custom"_s << u"Walls,Doors"_s
                                    << QString() << QStringList{u"bbox"_s, u"rooms"_s, u"skipdae"_s}
                                    << QStringList{house,
                                                   u"--output-dae=E:/out/House_rvt.dae"_s,
                                                   u"--output-xlsx=E:/out/House_rvt.xlsx"_s,
                                                   u"--mode=custom"_s,
                                                   u"--categories=Walls,Doors"_s,
                                                   u"--bbox"_s,
                                                   u"--rooms"_s,
                                                   u"--skip-dae"_s,
                                                   u"--ui"_s};

    QTest::addRow("no output folder: no output arguments")
        << u"revit"_s << house << QString() << u"standard"_s << QString() << QString()
        << QStringList{u"force"_s} << QStringList{house, u"--mode=standard"_s, u"--force-path"_s, u"--ui"_s};

    QTest::addRow("input without suffix: stem without underscore")
        << u"revit"_s << u"C:/p/model"_s << u"E:/out"_s << QString() << QString() << QString()
        << QStringList{}
        << QStringList{u"C:/p/model"_s, u"--output-dae=E:/out/model.dae"_s,
                       u"--output-xlsx=E:/out/model.xlsx"_s, u"--ui"_s};

    QTest::addRow("dotted name, upper-case suffix")
        << u"revit"_s << u"C:/p/Tower.A.RVT"_s << u"E:/out"_s << QString() << QString() << QString()
        << QStringList{}
        << QStringList{u"C:/p/Tower.A.RVT"_s, u"--output-dae=E:/out/Tower.A_rvt.dae"_s,
                       u"--output-xlsx=E:/out/Tower.A_rvt.xlsx"_s, u"--ui"_s};

    QTest::addRow("spaces stay inside one argument")
        << u"revit"_s << u"D:/my models/Big House.rfa"_s << u"E:/my out"_s << u"basic"_s << QString()
        << QString() << QStringList{}
        << QStringList{u"D:/my models/Big House.rfa"_s, u"--output-dae=E:/my out/Big House_rfa.dae"_s,
                       u"--output-xlsx=E:/my out/Big House_rfa.xlsx"_s, u"--mode=basic"_s, u"--ui"_s};

    QTest::addRow("custom without categories")
        << u"revit"_s << house << QString() << u"custom"_s << QString() << QString() << QStringList{}
        << QStringList{house, u"--mode=custom"_s, u"--ui"_s};

    QTest::addRow("Custom with capital C sends no categories")
        << u"revit"_s << house << QString() << u"Custom"_s << u"Walls"_s << QString() << QStringList{}
        << QStringList{house, u"--mode=Custom"_s, u"--ui"_s};

    QTest::addRow("categories ignored outside custom")
        << u"revit"_s << house << QString() << u"standard"_s << u"Walls"_s << QString() << QStringList{}
        << QStringList{house, u"--mode=standard"_s, u"--ui"_s};

    QTest::addRow("empty mode sends no mode") << u"revit"_s << house << QString() << QString() << u"Walls"_s
                                              << QString() << QStringList{} << QStringList{house, u"--ui"_s};

    QTest::addRow("revit: every switch, in order")
        << u"revit"_s << house << QString() << QString() << QString() << QString() << allSwitches
        << QStringList{house,
                       u"--bbox"_s,
                       u"--rooms"_s,
                       u"--viewmap"_s,
                       u"--extended-parents"_s,
                       u"--schedules"_s,
                       u"--sheets-to-pdf"_s,
                       u"--skip-xlsx"_s,
                       u"--skip-dae"_s,
                       u"--force-path"_s,
                       u"--ui"_s};

    QTest::addRow("ifc: dae and xlsx outputs, no mode")
        << u"ifc"_s << u"/data/Bridge.IFC"_s << u"/out"_s << u"custom"_s << u"Walls"_s << u"cfg"_s
        << allSwitches
        << QStringList{u"/data/Bridge.IFC"_s,
                       u"--output-dae=/out/Bridge_ifc.dae"_s,
                       u"--output-xlsx=/out/Bridge_ifc.xlsx"_s,
                       u"--bbox"_s,
                       u"--skip-xlsx"_s,
                       u"--skip-dae"_s,
                       u"--force-path"_s,
                       u"--ui"_s};

    QTest::addRow("dwg: xlsx only, never skip-dae")
        << u"dwg"_s << u"/data/Plan.dwg"_s << u"/out"_s << u"standard"_s << QString() << QString()
        << allSwitches
        << QStringList{u"/data/Plan.dwg"_s, u"--output-xlsx=/out/Plan_dwg.xlsx"_s, u"--skip-xlsx"_s,
                       u"--force-path"_s, u"--ui"_s};

    QTest::addRow("dgn: xlsx only") << u"dgn"_s << u"/data/Site.dgn"_s << u"/out"_s << QString() << QString()
                                    << QString() << QStringList{u"skipdae"_s}
                                    << QStringList{u"/data/Site.dgn"_s, u"--output-xlsx=/out/Site_dgn.xlsx"_s,
                                                   u"--ui"_s};

    QTest::addRow("rvt2ifc: one ifc output, config in custom mode")
        << u"rvt2ifc"_s << house << u"E:/out"_s << u"custom"_s << u"Walls"_s << u"export.json"_s
        << allSwitches
        << QStringList{house,
                       u"--output=E:/out/House_rvt.ifc"_s,
                       u"--mode=custom"_s,
                       u"--config=export.json"_s,
                       u"--skip-xlsx"_s,
                       u"--force-path"_s,
                       u"--ui"_s};

    QTest::addRow("rvt2ifc: config ignored outside custom")
        << u"rvt2ifc"_s << house << QString() << u"extended"_s << QString() << u"export.json"_s
        << QStringList{} << QStringList{house, u"--mode=extended"_s, u"--ui"_s};
}

void tst_ConverterArguments::arguments()
{
    QFETCH(QString, id);
    QFETCH(QString, input);
    QFETCH(QString, outputDir);
    QFETCH(QString, mode);
    QFETCH(QString, categories);
    QFETCH(QString, config);
    QFETCH(QStringList, switches);
    QFETCH(QStringList, expected);

    const ConverterInfo info = makeConverterInfo(id, true);
    QVERIFY(!info.id.isEmpty());
    QCOMPARE(buildConverterArguments(info, makeOptions(input, mode, categories, config, switches), outputDir),
             expected);
}

void tst_ConverterArguments::reservedFieldsAreNeverSent()
{
    ConversionOptions options = makeOptions(u"/m/a.rvt"_s, u"standard"_s, QString(), QString(), {});
    const QStringList plain = buildConverterArguments(makeRevitConverterInfo(true), options, u"/out"_s);
    options.reserved1 = u"--bbox"_s;
    options.reserved2 = u"x"_s;
    options.reserved3 = u"y"_s;
    options.reserved4 = u"z"_s;
    QCOMPARE(buildConverterArguments(makeRevitConverterInfo(true), options, u"/out"_s), plain);
}

QTEST_GUILESS_MAIN(tst_ConverterArguments)
#include "tst_converterarguments.moc"
