#include "conversion/conversioncontroller.h"
#include "conversion/conversionoptions.h"
#include "conversion/converterinfo.h"
#include "conversion/converteroutput.h"
#include "testsupport/childprocesses.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <sys/resource.h>

using namespace Qt::StringLiterals;

// The exporter run for real on small files of our own and on the house from Debian's
// assimp-testmodels; results are read back with real readers (openpyxl, assimp).
class tst_IfcExporter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void exitCodes_data();
    void exitCodes();
    void table_data();
    void table();
    void geometry_data();
    void geometry();
    void outputNames_data();
    void outputNames();
    void stopLeavesNoResult_data();
    void stopLeavesNoResult();
    void repeatedWarningsAreCounted();
    void recordFormats_data();
    void recordFormats();
    void recordVersions_data();
    void recordVersions();
    void batchThroughTheController();

private:
    struct Run
    {
        int exitCode = -1;
        QStringList lines;
    };
    Run run(const QStringList &arguments, qint64 memoryLimitBytes = 0);
    QString dataFile(const QString &name) const;
    // The workbook's sheets as rows of Python reprs, so a number and a text that reads alike differ.
    QJsonObject readWorkbook(const QString &path);

    QString exporter;
    QString house = u"/usr/share/assimp/models/IFC/AC14-FZK-Haus.ifc"_s;
};

QString tst_IfcExporter::dataFile(const QString &name) const
{
    return name == u"house" ? house : QStringLiteral(KVT_TEST_SOURCE_DIR "/data/ifc/") + name + u".ifc"_s;
}

void tst_IfcExporter::initTestCase()
{
    exporter = QStringLiteral(KVT_IFC_EXPORTER);
    if (exporter.isEmpty())
        QSKIP("The IFC exporter is not built here (IFC++, Boost or libxlsxwriter missing at configure time)");
    QVERIFY2(QFile::exists(exporter), qPrintable(exporter));
}

void tst_IfcExporter::cleanupTestCase()
{
    QCOMPARE(runningChildProcesses(), QStringList());
}

tst_IfcExporter::Run tst_IfcExporter::run(const QStringList &arguments, qint64 memoryLimitBytes)
{
    QProcess process;
    if (memoryLimitBytes > 0) {
        process.setChildProcessModifier([memoryLimitBytes] {
            const rlimit limit{rlim_t(memoryLimitBytes), rlim_t(memoryLimitBytes)};
            setrlimit(RLIMIT_AS, &limit);
        });
    }
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(exporter, arguments);
    Run result;
    if (!process.waitForFinished(300000) || process.exitStatus() != QProcess::NormalExit) {
        process.kill();
        process.waitForFinished();
        return result;
    }
    result.exitCode = process.exitCode();
    result.lines = QString::fromUtf8(process.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts);
    return result;
}

QJsonObject tst_IfcExporter::readWorkbook(const QString &path)
{
    static const char script[] = R"(import json, sys, openpyxl
book = openpyxl.load_workbook(sys.argv[1], read_only=True)
print(json.dumps({s.title: [[repr(v) for v in row] for row in s.iter_rows(values_only=True)] for s in book}))
)";
    QProcess python;
    python.start(u"/usr/bin/python3"_s, {u"-c"_s, QString::fromLatin1(script), path});
    if (!python.waitForFinished(60000) || python.exitCode() != 0) {
        qWarning("openpyxl: %s", python.readAllStandardError().constData());
        return {};
    }
    return QJsonDocument::fromJson(python.readAllStandardOutput()).object();
}

void tst_IfcExporter::exitCodes_data()
{
    // Arguments with {in:<data file>} and {out} for a fresh output folder; the exit code; and a
    // word of the [ERROR] line that must say why.
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("reason");
    const QString outputs = u" --output-xlsx={out}/r_ifc.xlsx --output-dae={out}/r_ifc.dae --force-path"_s;
    QTest::addRow("exported") << u"{in:walls-ifc4}"_s + outputs << 0 << QString();
    QTest::addRow("no arguments") << QString() << 8 << u"No arguments"_s;
    QTest::addRow("unknown option") << u"{in:walls-ifc4} --rooms"_s + outputs << 3 << u"--rooms"_s;
    QTest::addRow("two inputs") << u"{in:walls-ifc4} {in:walls-ifc2x3}"_s + outputs << 3 << u"one input"_s;
    QTest::addRow("only options") << outputs.trimmed() << 3 << u"No input"_s;
    QTest::addRow("empty output path") << u"{in:walls-ifc4} --output-xlsx="_s << 15 << u"--output-xlsx"_s;
    QTest::addRow("dae path with xlsx suffix")
        << u"{in:walls-ifc4} --output-dae={out}/r.xlsx"_s << 15 << u".dae"_s;
    QTest::addRow("switch with a value")
        << u"{in:walls-ifc4} --skip-dae=yes"_s + outputs << 15 << u"no value"_s;
    QTest::addRow("input not found") << u"{in:missing}"_s + outputs << 1 << u"not found"_s;
    QTest::addRow("IFC4X3 refused") << u"{in:schema-ifc4x3}"_s + outputs << 2 << u"IFC4X3_ADD2"_s;
    QTest::addRow("truncated") << u"{in:truncated}"_s + outputs << 9 << u"truncated"_s;
    QTest::addRow("not a STEP file") << u"{in:not-step}"_s + outputs << 9 << u"ISO-10303-21"_s;
    QTest::addRow("no entities") << u"{in:empty-data}"_s + outputs << 13 << u"no IFC entities"_s;
    QTest::addRow("no IfcProject") << u"{in:no-project}"_s + outputs << 14 << u"IfcProject"_s;
    QTest::addRow("xlsx folder missing")
        << u"{in:walls-ifc4} --output-xlsx={out}/none/r.xlsx --output-dae={out}/r.dae"_s << 11 << u"none/r"_s;
    QTest::addRow("dae folder missing")
        << u"{in:walls-ifc4} --output-xlsx={out}/r.xlsx --output-dae={out}/none/r.dae"_s << 12 << u"none/r"_s;
    // IFC++ catches std::bad_alloc itself and returns half a model; that must not pass for a file
    // without a project, nor crash: with too little memory the run ends as an internal error.
    QTest::addRow("out of memory") << u"{in:house}"_s + outputs << 99 << u"Out of memory"_s;
}

void tst_IfcExporter::exitCodes()
{
    QFETCH(QString, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, reason);
    qint64 memoryLimit = 0;
    if (exitCode == 99) {
#if defined(__SANITIZE_ADDRESS__)
        QSKIP(
            "AddressSanitizer reserves terabytes of address space, so an address-space limit cannot be set");
#endif
        if (!QFile::exists(house))
            QSKIP("assimp-testmodels is not installed (tools/install-deps.sh --tests)");
        memoryLimit = 60 * 1024 * 1024;
    }
    QTemporaryDir out;
    QStringList args;
    for (QString word : arguments.split(u' ', Qt::SkipEmptyParts)) {
        static const QRegularExpression input(u"^\\{in:([^}]*)\\}$"_s);
        const auto m = input.match(word);
        word = m.hasMatch() ? dataFile(m.captured(1)) : word.replace(u"{out}"_s, out.path());
        args << word;
    }
    const Run result = run(args, memoryLimit);
    QCOMPARE(result.exitCode, exitCode);

    // The front end reads the run as started, with its [ERROR] line giving the reason of a failure.
    const QStringList errors = result.lines.filter(QRegularExpression(u"\\[ERROR\\]"_s));
    for (const QString &line : errors)
        QCOMPARE(classifyLine(line), LineKind::Error);
    if (exitCode == 0) {
        QVERIFY2(errors.isEmpty(), qPrintable(errors.join(u'\n')));
        QCOMPARE(QDir(out.path()).entryList(QDir::Files),
                 (QStringList{u"r_ifc.csv"_s, u"r_ifc.dae"_s, u"r_ifc.xlsx"_s}));
        return;
    }
    QCOMPARE(errors.size(), 1);
    QVERIFY2(errors.first().contains(reason), qPrintable(errors.first()));
    QVERIFY(!exitCodeMessage(exitCode).startsWith(u"Converter exited"_s));
    // A failed run leaves nothing behind, not even a temporary file.
    QCOMPARE(QDir(out.path()).entryList(QDir::Files | QDir::Hidden), QStringList());
}

void tst_IfcExporter::table_data()
{
    // A file; the elements per class, as the Summary sheet lists them; and cells of the Elements
    // sheet as "<row key>|<column>|<Python repr of the value read back>", the row key being the
    // element's Name. Numbers must come back as numbers, texts decoded from their STEP escapes.
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("summary");
    QTest::addColumn<QStringList>("cells");
    const QString wallsIfc4 = u"'IfcDoor' 1, 'IfcWall' 2, 'Total' 3"_s;
    QTest::addRow("IFC4: properties, quantities, type, materials")
        << u"walls-ifc4"_s << wallsIfc4
        << QStringList{u"\"Wand 'Nord'\"|Pset_WallCommon.ThermalTransmittance|0.24"_s,
                       u"\"Wand 'Nord'\"|Pset_WallCommon.IsExternal|True"_s,
                       u"\"Wand 'Nord'\"|Pset_WallCommon.FireRating|'F90'"_s,
                       u"\"Wand 'Nord'\"|Qto_WallBaseQuantities.Length|4000"_s,
                       u"\"Wand 'Nord'\"|Qto_WallBaseQuantities.NetVolume|2.4"_s,
                       u"\"Wand 'Nord'\"|Materials|'Beton C25/30; Daemmung'"_s,
                       u"\"Wand 'Nord'\"|PredefinedType|'SOLIDWALL'"_s,
                       u"\"Wand 'Nord'\"|Storey|'Erdgeschoss'"_s,
                       u"\"Wand 'Nord'\"|Building|'Haus A'"_s,
                       u"'Tuer 1'|Type name|'Innentuer 90'"_s,
                       u"'Tuer 1'|Pset_ManufacturerTypeInformation.Manufacturer|'Holzbau GmbH'"_s,
                       u"'Tuer 1'|Pset_DoorCommon.FireRating|'T30'"_s,
                       u"'Tuer 1'|Materials|'Holz'"_s,
                       u"'Tuer 1'|ObjectType|'Drehfluegel'"_s};
    QTest::addRow("STEP escapes") << u"walls-ifc4"_s << wallsIfc4
                                  << QStringList{u"\"Wand 'Nord'\"|Description|'Außenwand \\\\ tragend'"_s,
                                                 u"'Wand Süd'|Description|'😀 smile'"_s,
                                                 u"'Wand Süd'|Tag|'W-02'"_s};
    QTest::addRow("IFC2X3: the same through the older schema")
        << u"walls-ifc2x3"_s << u"'IfcDoor' 1, 'IfcWallStandardCase' 2, 'Total' 3"_s
        << QStringList{u"\"Wand 'Nord'\"|Pset_WallCommon.ThermalTransmittance|0.24"_s,
                       u"\"Wand 'Nord'\"|BaseQuantities.NetSideArea|12"_s,
                       u"\"Wand 'Nord'\"|Materials|'Beton C25/30; Daemmung'"_s,
                       u"'Tuer 1'|Type name|'Innentuer 90'"_s,
                       u"'Tuer 1'|Pset_ManufacturerTypeInformation.Manufacturer|'Holzbau GmbH'"_s};
    QTest::addRow("broken entity: exported with empty attributes")
        << u"broken-entity"_s << wallsIfc4
        << QStringList{u"\"Wand 'Nord'\"|Qto_WallBaseQuantities.Length|4000"_s, u"None|IFC class|'IfcWall'"_s,
                       u"None|Pset_WallCommon.FireRating|'F90'"_s};
    // Counted in the file: 13 IFCWALLSTANDARDCASE, 11 IFCWINDOW, 5 IFCDOOR ... (IfcOpeningElement
    // left out). It has no property sets, so its attributes, types and geometry are checked.
    QTest::addRow("house")
        << u"house"_s
        << u"'IfcBeam' 51, 'IfcColumn' 1, 'IfcDoor' 5, 'IfcFurnishingElement' 21, 'IfcRailing' 2, "
           "'IfcSlab' 4, 'IfcSpace' 7, 'IfcStair' 1, 'IfcVirtualElement' 3, 'IfcWallStandardCase' 13, "
           "'IfcWindow' 11, 'Total' 119"_s
        << QStringList{
               u"'Haustuer'|Type name|'Eingangstür'"_s,  u"'Haustuer'|Storey|'0. Erdgeschoss'"_s,
               u"'Haustuer'|Building|'AC14-FZK-Haus'"_s, u"'Wand-Ext-ERDG-1'|Materials|'Leichtbeton'"_s,
               u"'Wand-Ext-ERDG-1'|BBox.MaxZ|2.7"_s,     u"'Wand-Ext-ERDG-1'|BBox.MaxY|10"_s,
               u"'Wand-Ext-ERDG-1'|BBox.MinZ|0"_s};
}

void tst_IfcExporter::table()
{
    QFETCH(QString, file);
    QFETCH(QString, summary);
    QFETCH(QStringList, cells);
    if (!QFile::exists(dataFile(file)))
        QSKIP("assimp-testmodels is not installed (tools/install-deps.sh --tests)");
    if (!QFile::exists(u"/usr/bin/python3"_s))
        QSKIP("python3-openpyxl is not installed (tools/install-deps.sh --tests)");
    QTemporaryDir out;
    const Run result = run({dataFile(file), u"--output-xlsx="_s + out.filePath(u"t.xlsx"_s), u"--skip-dae"_s,
                            u"--bbox"_s, u"--force-path"_s, u"--ui"_s});
    QCOMPARE(result.exitCode, 0);
    const QJsonObject book = readWorkbook(out.filePath(u"t.xlsx"_s));
    QVERIFY(!book.isEmpty());

    QStringList perClass;
    for (const QJsonValue &row : book.value(u"Summary"_s).toArray()) {
        const QJsonArray pair = row.toArray();
        if (pair.at(0).toString() != u"'IFC class'")
            perClass << pair.at(0).toString() + u' ' + pair.at(1).toString();
    }
    QCOMPARE(perClass.join(u", "_s), summary);

    const QJsonArray rows = book.value(u"Elements"_s).toArray();
    QStringList header;
    for (const QJsonValue &name : rows.at(0).toArray())
        header << name.toString().mid(1).chopped(1);
    QCOMPARE(header.mid(0, 3), (QStringList{u"GlobalId"_s, u"IFC class"_s, u"Name"_s}));
    QCOMPARE(rows.size() - 1, summary.section(u' ', -1).toInt());
    for (const QString &cell : cells) {
        const QStringList parts = cell.split(u'|');
        const qsizetype column = header.indexOf(parts.at(1));
        QVERIFY2(column >= 0, qPrintable(parts.at(1)));
        QString found = u"(no row)"_s;
        for (const QJsonValue &row : rows) {
            if (row.toArray().at(2).toString() == parts.at(0))
                found = row.toArray().at(column).toString();
        }
        QCOMPARE(found, parts.at(2));
    }

    // The CSV beside it holds the same rows.
    QFile csv(out.filePath(u"t.csv"_s));
    QVERIFY(csv.open(QIODevice::ReadOnly));
    const QByteArray text = csv.readAll();
    QCOMPARE(QString::fromUtf8(text.left(text.indexOf("\r\n"))), header.join(u','));
    QCOMPARE(text.count("\r\n"), rows.size());
}

void tst_IfcExporter::geometry_data()
{
    // A file; the meshes and nodes assimp finds in the DAE (one node per element under the scene
    // root, a mesh for each element with geometry); and the model's height in metres, assimp
    // turning Z up into Y up (the house: slab at -0.2 m to its ridge at 6.318 m).
    QTest::addColumn<QString>("file");
    QTest::addColumn<int>("meshes");
    QTest::addColumn<int>("nodes");
    QTest::addColumn<double>("height");
    QTest::addRow("walls") << u"walls-ifc4"_s << 3 << 4 << 3.0;
    QTest::addRow("IFC2X3 walls") << u"walls-ifc2x3"_s << 3 << 4 << 3.0;
    QTest::addRow("house") << u"house"_s << 116 << 120 << 6.518;
}

void tst_IfcExporter::geometry()
{
    QFETCH(QString, file);
    QFETCH(int, meshes);
    QFETCH(int, nodes);
    QFETCH(double, height);
    if (!QFile::exists(dataFile(file)))
        QSKIP("assimp-testmodels is not installed (tools/install-deps.sh --tests)");
    if (!QFile::exists(u"/usr/bin/assimp"_s))
        QSKIP("assimp-utils is not installed (tools/install-deps.sh --tests)");
    QTemporaryDir out;
    const QString dae = out.filePath(u"g.dae"_s);
    // The CSV is written whatever is skipped, so it too goes to the temporary folder.
    const QString xlsx = out.filePath(u"g.xlsx"_s);
    QCOMPARE(run({dataFile(file), u"--output-dae="_s + dae, u"--output-xlsx="_s + xlsx, u"--skip-xlsx"_s,
                  u"--force-path"_s})
                 .exitCode,
             0);

    QProcess assimp;
    assimp.start(u"/usr/bin/assimp"_s, {u"info"_s, dae});
    QVERIFY(assimp.waitForFinished(120000));
    QCOMPARE(assimp.exitCode(), 0);
    const QString info = QString::fromUtf8(assimp.readAllStandardOutput());
    const auto number = [&info](const QString &label) {
        const auto m = QRegularExpression(label + u":\\s+(\\S+)"_s).match(info);
        return m.hasMatch() ? m.captured(1) : u"(missing)"_s;
    };
    QCOMPARE(number(u"Meshes"_s), QString::number(meshes));
    QCOMPARE(number(u"Nodes"_s), QString::number(nodes));
    const auto point = [&info](const QString &label) {
        const auto m =
            QRegularExpression(label + u"\\s+\\(([-\\d.e]+) ([-\\d.e]+) ([-\\d.e]+)\\)"_s).match(info);
        return m.hasMatch() ? m.captured(2).toDouble() : -1e9;
    };
    QVERIFY2(qAbs(point(u"Maximum point"_s) - point(u"Minimum point"_s) - height) < 0.01, qPrintable(info));
}

void tst_IfcExporter::outputNames_data()
{
    // The switches given; the files the folder holds afterwards, as a pattern. Without an output
    // folder the results go beside the input under the front end's stem rule (Model.IFC gives
    // Model_ifc.*); without --force-path a timestamp goes before the extension.
    QTest::addColumn<QString>("switches");
    QTest::addColumn<QString>("files");
    const QString stamp = u"_\\d{4}-\\d\\d-\\d\\d_\\d{6}"_s;
    QTest::addRow("beside the input")
        << u"--force-path"_s << u"Model.IFC Model_ifc.csv Model_ifc.dae Model_ifc.xlsx"_s;
    QTest::addRow("timestamped") << QString()
                                 << u"Model.IFC Model_ifc%1.csv Model_ifc%1.dae Model_ifc%1.xlsx"_s.arg(
                                        stamp);
    QTest::addRow("skip xlsx: the CSV is still written")
        << u"--skip-xlsx --force-path"_s << u"Model.IFC Model_ifc.csv Model_ifc.dae"_s;
    QTest::addRow("skip dae") << u"--skip-dae --force-path --ui"_s
                              << u"Model.IFC Model_ifc.csv Model_ifc.xlsx"_s;
    QTest::addRow("skip both") << u"--skip-xlsx --skip-dae --force-path"_s << u"Model.IFC Model_ifc.csv"_s;
    QTest::addRow("output folder as the front end names it") << u"{front end}"_s << u"Model.IFC out"_s;
}

void tst_IfcExporter::outputNames()
{
    QFETCH(QString, switches);
    QFETCH(QString, files);
    QTemporaryDir dir;
    const QString input = dir.filePath(u"Model.IFC"_s);
    QVERIFY(QFile::copy(dataFile(u"walls-ifc4"_s), input));
    QStringList args;
    if (switches == u"{front end}") {
        // Exactly the command line the front end builds for the "ifc" record.
        QVERIFY(QDir(dir.path()).mkdir(u"out"_s));
        ConversionOptions options;
        options.inputPath = input;
        options.boundingBox = true;
        options.forcePath = true;
        args = buildConverterArguments(makeIfcConverterInfo(true), options, dir.filePath(u"out"_s));
        QCOMPARE(args.takeFirst(), input);
        QCOMPARE(run(QStringList{input} + args).exitCode, 0);
        QCOMPARE(QDir(dir.filePath(u"out"_s)).entryList(QDir::Files),
                 (QStringList{u"Model_ifc.csv"_s, u"Model_ifc.dae"_s, u"Model_ifc.xlsx"_s}));
    } else {
        QCOMPARE(run(QStringList{input} + switches.split(u' ', Qt::SkipEmptyParts)).exitCode, 0);
    }
    const QString found =
        QDir(dir.path()).entryList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot).join(u' ');
    QVERIFY2(QRegularExpression(u'^' + files + u'$').match(found).hasMatch(), qPrintable(found));
}

void tst_IfcExporter::stopLeavesNoResult_data()
{
    // The signal the front end's stop or skip sends, and whether the exporter gets to remove its
    // temporary files (SIGKILL gives it no chance, but the final names must still be absent).
    QTest::addColumn<int>("signalNumber");
    QTest::addColumn<bool>("tidy");
    QTest::addRow("SIGTERM") << int(SIGTERM) << true;
    QTest::addRow("SIGINT") << int(SIGINT) << true;
    QTest::addRow("SIGKILL") << int(SIGKILL) << false;
}

void tst_IfcExporter::stopLeavesNoResult()
{
    QFETCH(int, signalNumber);
    QFETCH(bool, tidy);
    if (!QFile::exists(house))
        QSKIP("assimp-testmodels is not installed (tools/install-deps.sh --tests)");
    QTemporaryDir out;
    QProcess process;
    process.start(exporter, {house, u"--output-xlsx="_s + out.filePath(u"h.xlsx"_s),
                             u"--output-dae="_s + out.filePath(u"h.dae"_s), u"--force-path"_s});
    // Stopped while the model loads: the results are claimed under their temporary names by then.
    QByteArray seen;
    while (!seen.contains("[Stage] Loading model") && process.waitForReadyRead(60000))
        seen += process.readAllStandardOutput();
    QVERIFY(seen.contains("[Stage] Loading model"));
    QCOMPARE(QDir(out.path()).entryList(QDir::Files).filter(u".part"_s).size(), 3);
    ::kill(pid_t(process.processId()), signalNumber);
    QVERIFY(process.waitForFinished(60000));
    QCOMPARE(process.exitStatus(), QProcess::CrashExit);
    const QStringList left = QDir(out.path()).entryList(QDir::Files);
    QCOMPARE(left.filter(QRegularExpression(u"\\.(xlsx|csv|dae)$"_s)), QStringList());
    if (tidy)
        QCOMPARE(left, QStringList());
}

void tst_IfcExporter::repeatedWarningsAreCounted()
{
    // Two hundred broken walls: a few lines name them, one line counts the rest, and the export
    // still completes with every element in it.
    QFile base(dataFile(u"walls-ifc4"_s));
    QVERIFY(base.open(QIODevice::ReadOnly));
    QByteArray text = base.readAll();
    QByteArray broken;
    for (int i = 0; i < 200; ++i)
        broken += "#" + QByteArray::number(1000 + i) + "=IFCWALL('x',#5);\n";
    text.replace("ENDSEC;\nEND-ISO", broken + "ENDSEC;\nEND-ISO");
    QTemporaryDir dir;
    QFile many(dir.filePath(u"many.ifc"_s));
    QVERIFY(many.open(QIODevice::WriteOnly));
    many.write(text);
    many.close();

    const Run result = run({many.fileName(), u"--skip-dae"_s, u"--force-path"_s});
    QCOMPARE(result.exitCode, 0);
    const QStringList warnings = result.lines.filter(u"[WARNING]"_s);
    QVERIFY2(warnings.size() <= 10, qPrintable(warnings.join(u'\n')));
    QVERIFY2(!warnings.filter(u"197 more"_s).isEmpty(), qPrintable(warnings.join(u'\n')));
    QVERIFY(!result.lines.filter(u"203 elements"_s).isEmpty());

    // The run as the front end reads it: started, stages in order, progress rising to 100.
    QStringList stages;
    int percent = -1;
    bool started = false;
    for (const QString &line : result.lines) {
        const ConverterLine parsed = interpretConverterLine(line);
        started = started || parsed.hasStarted;
        if (parsed.hasStage)
            stages << parsed.stage;
        if (parsed.hasProgress) {
            QVERIFY2(parsed.filePercent >= percent, qPrintable(line));
            percent = parsed.filePercent;
        }
    }
    QVERIFY(started);
    QCOMPARE(stages, (QStringList{u"Loading model"_s, u"Reading elements"_s, u"Exporting properties"_s,
                                  u"Writing files"_s}));
    QCOMPARE(percent, 100);
}

void tst_IfcExporter::recordFormats_data()
{
    // The "ifc" record's Export file formats box, checked against what the exporter writes: a box
    // the user can untick is ticked or not, every other box stays as the record sets it.
    QTest::addColumn<QString>("key");
    QTest::addColumn<bool>("untickFree");
    for (const QString &key : makeIfcConverterInfo(true).formats.keys()) {
        QTest::addRow("%s, free boxes ticked", qPrintable(key)) << key << false;
        QTest::addRow("%s, free boxes unticked", qPrintable(key)) << key << true;
    }
}

void tst_IfcExporter::recordFormats()
{
    QFETCH(QString, key);
    QFETCH(bool, untickFree);
    const ConverterInfo info = makeIfcConverterInfo(true);
    const auto ticked = [&](const QString &format) {
        const ExportFormat f = info.formats.value(format);
        return f.locked ? f.checked : !untickFree;
    };
    QTemporaryDir dir;
    ConversionOptions options;
    options.inputPath = dataFile(u"walls-ifc4"_s);
    options.forcePath = true;
    options.skipXlsx = !ticked(u"XLSX"_s);
    options.skipDae = !ticked(u"COLLADA"_s);
    QCOMPARE(run(buildConverterArguments(info, options, dir.path())).exitCode, 0);

    const QMap<QString, QString> extension = {
        {u"XLSX"_s, u"xlsx"_s}, {u"COLLADA"_s, u"dae"_s}, {u"CSV"_s, u"csv"_s}, {u"XLM"_s, u"xlm"_s}};
    QVERIFY2(extension.contains(key), qPrintable(key));
    QCOMPARE(QFile::exists(dir.filePath(u"walls-ifc4_ifc."_s + extension.value(key))), ticked(key));
}

void tst_IfcExporter::recordVersions_data()
{
    // Every version the "ifc" record shows, written into a file's FILE_SCHEMA: the supported
    // ones export, the others are refused as a version the converter does not support.
    QTest::addColumn<QString>("label");
    QTest::addColumn<bool>("supported");
    for (const auto &column : makeIfcConverterInfo(true).fileVersions) {
        for (const FileVersion &version : column)
            QTest::addRow("%s", qPrintable(version.label)) << version.label << version.supported;
    }
}

void tst_IfcExporter::recordVersions()
{
    QFETCH(QString, label);
    QFETCH(bool, supported);
    const QString schema = label.toUpper();
    const bool older = schema == u"IFC2X3";
    QFile base(dataFile(older ? u"walls-ifc2x3"_s : u"walls-ifc4"_s));
    QVERIFY(base.open(QIODevice::ReadOnly));
    QByteArray text = base.readAll();
    const QByteArray written = older ? "FILE_SCHEMA(('IFC2X3'))" : "FILE_SCHEMA(('IFC4'))";
    QVERIFY(text.contains(written));
    text.replace(written, "FILE_SCHEMA(('" + schema.toLatin1() + "'))");
    QTemporaryDir dir;
    QFile copy(dir.filePath(u"v.ifc"_s));
    QVERIFY(copy.open(QIODevice::WriteOnly));
    copy.write(text);
    copy.close();
    QCOMPARE(run({copy.fileName(), u"--skip-dae"_s, u"--force-path"_s}).exitCode, supported ? 0 : 2);
}

void tst_IfcExporter::batchThroughTheController()
{
    // The front end's own controller drives the exporter with the "ifc" record's command line over
    // a batch with a broken file in the middle: stages and progress arrive, the broken file ends
    // with its code and the others are done.
    if (!QFile::exists(house))
        QSKIP("assimp-testmodels is not installed (tools/install-deps.sh --tests)");
    ConverterInfo info = makeIfcConverterInfo(true);
    // Found beside the test programs, as bin/ifcexporter/ is; kavantolibs/ holds the demo here.
    info.executable = QFileInfo(exporter).dir().dirName() + u'/' + QFileInfo(exporter).fileName();
    QCOMPARE(ConversionController::resolveExecutable(info), QFileInfo(exporter).absoluteFilePath());

    ConversionController controller;
    controller.setConverter(info);
    QStringList stages;
    QStringList finished;
    int highestFilePercent = 0;
    connect(&controller, &ConversionController::stageChanged, this, [&](const QString &stage) {
        if (!stages.contains(stage))
            stages << stage;
    });
    connect(&controller, &ConversionController::progressUpdated, this,
            [&](int, int filePercent) { highestFilePercent = qMax(highestFilePercent, filePercent); });
    connect(&controller, &ConversionController::fileFinished, this,
            [&](int, int exitCode, const QString &file) {
                finished << QFileInfo(file).fileName() + u' ' + QString::number(exitCode);
            });
    QSignalSpy done(&controller, &ConversionController::allDone);
    QTemporaryDir out;
    ConversionOptions options;
    options.forcePath = true;
    controller.start({house, dataFile(u"truncated"_s), dataFile(u"walls-ifc4"_s)}, options, out.path());
    QVERIFY(done.wait(300000));
    QCOMPARE(done.first(), (QVariantList{2, 1, 0}));
    QCOMPARE(finished, (QStringList{u"AC14-FZK-Haus.ifc 0"_s, u"truncated.ifc 9"_s, u"walls-ifc4.ifc 0"_s}));
    QCOMPARE(stages, (QStringList{u"Loading model"_s, u"Reading elements"_s,
                                  u"Exporting properties and geometry"_s, u"Writing files"_s}));
    QCOMPARE(highestFilePercent, 100);
    QCOMPARE(QDir(out.path()).entryList(QDir::Files),
             (QStringList{u"AC14-FZK-Haus_ifc.csv"_s, u"AC14-FZK-Haus_ifc.dae"_s, u"AC14-FZK-Haus_ifc.xlsx"_s,
                          u"walls-ifc4_ifc.csv"_s, u"walls-ifc4_ifc.dae"_s, u"walls-ifc4_ifc.xlsx"_s}));
}

QTEST_GUILESS_MAIN(tst_IfcExporter)
#include "tst_ifcexporter.moc"
