// The demo converter in kavantolibs/, under each converter's name, started with the command
// line the program builds when results go beside the input: it writes exactly the files
// the program then looks for.

#include "conversion/conversioncontroller.h"
#include "conversion/conversionoptions.h"
#include "conversion/converterinfo.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class tst_DemoConverter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void resultsBesideTheInput_data();
    void resultsBesideTheInput();
};

void tst_DemoConverter::resultsBesideTheInput_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("input");
    QTest::addColumn<QByteArray>("script"); // empty: the built-in quick conversion
    QTest::addColumn<QStringList>("switches");
    QTest::addColumn<QStringList>("expected"); // every file in the folder afterwards, input included
    QTest::addRow("revit") << u"revit"_s << u"House.rvt"_s << QByteArray() << QStringList()
                           << QStringList{u"House.rvt"_s, u"House_rvt.dae"_s, u"House_rvt.xlsx"_s};
    QTest::addRow("revit family, dots and capitals")
        << u"revit"_s << u"Door v2.RFA"_s << QByteArray() << QStringList()
        << QStringList{u"Door v2.RFA"_s, u"Door v2_rfa.dae"_s, u"Door v2_rfa.xlsx"_s};
    QTest::addRow("revit without geometry")
        << u"revit"_s << u"House.rvt"_s << QByteArray() << QStringList{u"dae"_s}
        << QStringList{u"House.rvt"_s, u"House_rvt.xlsx"_s};
    QTest::addRow("revit without spreadsheet")
        << u"revit"_s << u"House.rvt"_s << QByteArray() << QStringList{u"xlsx"_s}
        << QStringList{u"House.rvt"_s, u"House_rvt.dae"_s};
    QTest::addRow("script asking for outputs")
        << u"revit"_s << u"House.rvt"_s << QByteArray("progress 50\noutputs\n") << QStringList()
        << QStringList{u"House.rvt"_s, u"House_rvt.dae"_s, u"House_rvt.xlsx"_s};
    QTest::addRow("ifc") << u"ifc"_s << u"Clinic.ifc"_s << QByteArray() << QStringList()
                         << QStringList{u"Clinic.ifc"_s, u"Clinic_ifc.dae"_s, u"Clinic_ifc.xlsx"_s};
    QTest::addRow("dwg") << u"dwg"_s << u"Site plan.dwg"_s << QByteArray() << QStringList()
                         << QStringList{u"Site plan.dwg"_s, u"Site plan_dwg.xlsx"_s};
    QTest::addRow("dgn") << u"dgn"_s << u"Bridge.dgn"_s << QByteArray() << QStringList()
                         << QStringList{u"Bridge.dgn"_s, u"Bridge_dgn.xlsx"_s};
    QTest::addRow("rvt2ifc") << u"rvt2ifc"_s << u"House.rvt"_s << QByteArray() << QStringList()
                             << QStringList{u"House.rvt"_s, u"House_rvt.ifc"_s};
}

void tst_DemoConverter::resultsBesideTheInput()
{
    QFETCH(QString, id);
    QFETCH(QString, input);
    QFETCH(QByteArray, script);
    QFETCH(QStringList, switches);
    QFETCH(QStringList, expected);
    const ConverterInfo info = makeConverterInfo(id, true);
    const QTemporaryDir dir;
    QFile file(dir.filePath(input));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(script) == script.size());
    file.close();
    ConversionOptions options;
    options.inputPath = file.fileName();
    options.mode = info.defaultMode;
    options.skipDae = switches.contains(u"dae"_s);
    options.skipXlsx = switches.contains(u"xlsx"_s);

    QProcess converter;
    converter.start(ConversionController::resolveExecutable(info),
                    buildConverterArguments(info, options, {}));
    QVERIFY(converter.waitForFinished(10000));
    QCOMPARE(converter.exitCode(), 0);
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files, QDir::Name), expected);
    // The program's own idea of the results agrees, so the checks before a run see them.
    for (const QString &output : expectedOutputFiles(info, options, {}))
        QVERIFY2(QFileInfo::exists(output), qPrintable(output));
}

QTEST_GUILESS_MAIN(tst_DemoConverter)
#include "tst_democonverter.moc"
