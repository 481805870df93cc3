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
    // The user's choices as words: converter id, input path, out=, mode=, categories=, config= and
    // the switches ticked; expected, the arguments between the input path and the closing --ui.
    QTest::addColumn<QString>("choices");
    QTest::addColumn<QString>("expected");
    const QString all = u" bbox rooms viewmap parents schedules pdf skipxlsx skipdae force"_s;
    QTest::addRow("worked example")
        << u"revit D:/m/House.rvt out=E:/out mode=custom categories=Walls,Doors bbox rooms skipdae"_s
        << u"--output-dae=E:/out/House_rvt.dae --output-xlsx=E:/out/House_rvt.xlsx --mode=custom "
           "--categories=Walls,Doors --bbox --rooms --skip-dae"_s;
    QTest::addRow("no output folder")
        << u"revit H.rvt mode=standard force"_s << u"--mode=standard --force-path"_s;
    QTest::addRow("no suffix, no underscore")
        << u"revit C:/model out=E:"_s << u"--output-dae=E:/model.dae --output-xlsx=E:/model.xlsx"_s;
    QTest::addRow("dotted name, upper-case suffix")
        << u"revit C:/T.A.RVT out=E:"_s << u"--output-dae=E:/T.A_rvt.dae --output-xlsx=E:/T.A_rvt.xlsx"_s;
    QTest::addRow("custom without categories") << u"revit H.rvt mode=custom"_s << u"--mode=custom"_s;
    QTest::addRow("Custom, capital C: no categories")
        << u"revit H.rvt mode=Custom categories=W"_s << u"--mode=Custom"_s;
    QTest::addRow("categories only in custom")
        << u"revit H.rvt mode=standard categories=W"_s << u"--mode=standard"_s;
    QTest::addRow("empty mode sends no mode") << u"revit H.rvt categories=W"_s << QString();
    QTest::addRow("revit: every switch, in order")
        << u"revit H.rvt"_s + all
        << u"--bbox --rooms --viewmap --extended-parents --schedules --sheets-to-pdf --skip-xlsx --skip-dae --force-path"_s;
    QTest::addRow("ifc: dae and xlsx, no mode")
        << u"ifc /B.IFC out=/o mode=custom categories=W config=cfg"_s + all
        << u"--output-dae=/o/B_ifc.dae --output-xlsx=/o/B_ifc.xlsx --bbox --skip-xlsx --skip-dae --force-path"_s;
    QTest::addRow("dwg: xlsx only, never skip-dae")
        << u"dwg /P.dwg out=/o mode=standard"_s + all
        << u"--output-xlsx=/o/P_dwg.xlsx --skip-xlsx --force-path"_s;
    QTest::addRow("rvt2ifc: one ifc, config in custom")
        << u"rvt2ifc H.rvt out=/o mode=custom categories=W config=e.json"_s + all
        << u"--output=/o/H_rvt.ifc --mode=custom --config=e.json --skip-xlsx --force-path"_s;
    QTest::addRow("rvt2ifc: config only in custom")
        << u"rvt2ifc H.rvt mode=extended config=e.json"_s << u"--mode=extended"_s;
}

void tst_ConverterArguments::arguments()
{
    QFETCH(QString, choices);
    QFETCH(QString, expected);
    const QStringList words = choices.split(u' ');
    const auto value = [&](const QString &key) {
        return words.filter(QRegularExpression(u'^' + key + u'=')).value(0).section(u'=', 1);
    };
    ConversionOptions o;
    o.inputPath = words.at(1);
    o.mode = value(u"mode"_s);
    o.categories = value(u"categories"_s);
    o.config = value(u"config"_s);
    const std::pair<QString, bool ConversionOptions::*> switches[] = {
        {u"bbox"_s, &ConversionOptions::boundingBox},    {u"rooms"_s, &ConversionOptions::rooms},
        {u"viewmap"_s, &ConversionOptions::viewMap},     {u"parents"_s, &ConversionOptions::extendedParents},
        {u"schedules"_s, &ConversionOptions::schedules}, {u"pdf"_s, &ConversionOptions::sheetsToPdf},
        {u"skipxlsx"_s, &ConversionOptions::skipXlsx},   {u"skipdae"_s, &ConversionOptions::skipDae},
        {u"force"_s, &ConversionOptions::forcePath}};
    for (const auto &[word, flag] : switches)
        o.*flag = words.contains(word);
    QCOMPARE(buildConverterArguments(makeConverterInfo(words.at(0), true), o, value(u"out"_s)).join(u' '),
             QStringList({o.inputPath, expected, u"--ui"_s}).join(u' ').simplified());
}

QTEST_GUILESS_MAIN(tst_ConverterArguments)
#include "tst_converterarguments.moc"
