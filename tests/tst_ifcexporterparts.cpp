#include "commandline.h"
#include "csvexport.h"
#include "daeexport.h"
#include "modelloader.h"
#include "pendingfile.h"
#include "protocol.h"
#include "steptext.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>

using namespace Qt::StringLiterals;

// The IFC exporter's decisions as tables: STEP text decoding, the command line and its output
// paths, CSV quoting, the file envelope checks, the protocol's lines and the temporary files.
class tst_IfcExporterParts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stepText_data();
    void stepText();
    void commandLine_data();
    void commandLine();
    void csvField_data();
    void csvField();
    void envelope_data();
    void envelope();
    void xmlEscaping();
    void protocolLines_data();
    void protocolLines();
    void pendingFile_data();
    void pendingFile();
};

void tst_IfcExporterParts::stepText_data()
{
    // What IFC++ hands over (its own \X\ and \X2\ decoding done, the rest left as written) and
    // the UTF-8 text that must come out.
    QTest::addColumn<QString>("fromReader");
    QTest::addColumn<QString>("expected");
    QTest::addRow("plain") << u"Wand-Ext-ERDG-1"_s << u"Wand-Ext-ERDG-1"_s;
    QTest::addRow("doubled quote") << u"Wand ''Nord''"_s << u"Wand 'Nord'"_s;
    QTest::addRow("doubled backslash") << u"C:\\\\plans"_s << u"C:\\plans"_s;
    QTest::addRow("single quote kept") << u"it's"_s << u"it's"_s;
    QTest::addRow("already decoded by the reader")
        << u"Au\u00DFenwand S\u00FCd"_s << u"Au\u00DFenwand S\u00FCd"_s;
    QTest::addRow("X4 with its end") << u"\\X4\\0001F600\\X0\\ smile"_s << u"\U0001F600 smile"_s;
    QTest::addRow("X4 whose end the reader removed")
        << u"\\X4\\0001F6000001F601 two"_s << u"\U0001F600\U0001F601 two"_s;
    QTest::addRow("X2 left encoded") << u"\\X2\\00C400D6\\X0\\!"_s << u"\u00C4\u00D6!"_s;
    QTest::addRow("S: upper half of Latin-1") << u"Eingangst\\S\\|r"_s << u"Eingangst\u00FCr"_s;
    QTest::addRow("X4 without digits stays") << u"\\X4\\zz"_s << u"\\X4\\zz"_s;
    QTest::addRow("X4 beyond Unicode") << u"\\X4\\00110000\\X0\\"_s << u"\uFFFD"_s;
    QTest::addRow("lone backslash stays") << u"a\\b"_s << u"a\\b"_s;
    QTest::addRow("empty") << QString() << QString();
}

void tst_IfcExporterParts::stepText()
{
    QFETCH(QString, fromReader);
    QFETCH(QString, expected);
    QCOMPARE(QString::fromStdString(StepText::toUtf8(fromReader.toStdWString())), expected);
}

void tst_IfcExporterParts::commandLine_data()
{
    // The arguments; the exit code, and for a usable line the xlsx, csv and dae paths (an empty
    // one skipped) and whether a bounding box was asked for. "_T" stands for the timestamp.
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("paths");
    QTest::addRow("beside the input, timestamped")
        << u"/m/A.ifc"_s << 0 << u"/m/A_ifc_T.xlsx /m/A_ifc_T.csv /m/A_ifc_T.dae"_s;
    QTest::addRow("upper-case suffix, forced")
        << u"/m/A.IFC --force-path"_s << 0 << u"/m/A_ifc.xlsx /m/A_ifc.csv /m/A_ifc.dae"_s;
    QTest::addRow("no suffix") << u"/m/model --force-path"_s << 0
                               << u"/m/model.xlsx /m/model.csv /m/model.dae"_s;
    QTest::addRow("dotted name") << u"/m/T.A.ifc --force-path"_s << 0
                                 << u"/m/T.A_ifc.xlsx /m/T.A_ifc.csv /m/T.A_ifc.dae"_s;
    QTest::addRow("output paths, timestamped")
        << u"/m/A.ifc --output-dae=/o/A_ifc.dae --output-xlsx=/o/A_ifc.xlsx --ui"_s << 0
        << u"/o/A_ifc_T.xlsx /o/A_ifc_T.csv /o/A_ifc_T.dae"_s;
    QTest::addRow("options before the input")
        << u"--force-path --output-xlsx=/o/x.XLSX /m/A.ifc"_s << 0 << u"/o/x.xlsx /o/x.csv /m/A_ifc.dae"_s;
    QTest::addRow("skip xlsx keeps the csv")
        << u"/m/A.ifc --skip-xlsx --force-path"_s << 0 << u"- /m/A_ifc.csv /m/A_ifc.dae"_s;
    QTest::addRow("skip dae") << u"/m/A.ifc --skip-dae --force-path"_s << 0
                              << u"/m/A_ifc.xlsx /m/A_ifc.csv -"_s;
    QTest::addRow("bounding box") << u"/m/A.ifc --bbox --force-path"_s << 0
                                  << u"/m/A_ifc.xlsx /m/A_ifc.csv /m/A_ifc.dae bbox"_s;
    QTest::addRow("nothing") << QString() << 8 << QString();
    QTest::addRow("switches only") << u"--bbox --ui"_s << 3 << QString();
    QTest::addRow("two inputs") << u"/m/A.ifc /m/B.ifc"_s << 3 << QString();
    QTest::addRow("unknown option") << u"/m/A.ifc --mode=standard"_s << 3 << QString();
    QTest::addRow("unknown short option") << u"/m/A.ifc -v"_s << 3 << QString();
    QTest::addRow("empty xlsx path") << u"/m/A.ifc --output-xlsx="_s << 15 << QString();
    QTest::addRow("dae path without .dae") << u"/m/A.ifc --output-dae=/o/A"_s << 15 << QString();
    QTest::addRow("value on a switch") << u"/m/A.ifc --force-path=yes"_s << 15 << QString();
    QTest::addRow("unknown skip") << u"/m/A.ifc --skip-csv"_s << 15 << QString();
}

void tst_IfcExporterParts::commandLine()
{
    QFETCH(QString, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, paths);
    std::vector<std::string> args;
    for (const QString &word : arguments.split(u' ', Qt::SkipEmptyParts))
        args.push_back(word.toStdString());
    const CommandLine::Result result = CommandLine::parse(args, "_T");
    QCOMPARE(result.exitCode, exitCode);
    if (exitCode != 0) {
        QVERIFY(!result.error.empty());
        return;
    }
    const auto shown = [](const std::string &path) {
        return path.empty() ? u"-"_s : QString::fromStdString(path);
    };
    const ExportRequest &r = result.request;
    QString found = shown(r.xlsxPath) + u' ' + shown(r.csvPath) + u' ' + shown(r.daePath);
    if (r.boundingBox)
        found += u" bbox"_s;
    QCOMPARE(found, paths);
}

void tst_IfcExporterParts::csvField_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("field");
    QTest::addRow("plain text") << u"text"_s << u"F90"_s << u"F90"_s;
    QTest::addRow("comma") << u"text"_s << u"Beton, bewehrt"_s << u"\"Beton, bewehrt\""_s;
    QTest::addRow("quote") << u"text"_s << u"12\" pipe"_s << u"\"12\"\" pipe\""_s;
    QTest::addRow("line break") << u"text"_s << u"a\nb"_s << u"\"a\nb\""_s;
    QTest::addRow("carriage return") << u"text"_s << u"a\rb"_s << u"\"a\rb\""_s;
    QTest::addRow("semicolon needs nothing") << u"text"_s << u"a; b"_s << u"a; b"_s;
    QTest::addRow("non-ASCII") << u"text"_s << u"Au\u00DFenwand"_s << u"Au\u00DFenwand"_s;
    QTest::addRow("number") << u"number"_s << u"0.24"_s << u"0.24"_s;
    QTest::addRow("whole number") << u"number"_s << u"4000"_s << u"4000"_s;
    QTest::addRow("every digit kept") << u"number"_s << u"0.1234567890123"_s << u"0.1234567890123"_s;
    QTest::addRow("small number") << u"number"_s << u"0.0000001"_s << u"1e-07"_s;
    QTest::addRow("true") << u"bool"_s << u"1"_s << u"TRUE"_s;
    QTest::addRow("false") << u"bool"_s << u"0"_s << u"FALSE"_s;
    QTest::addRow("empty cell") << u"none"_s << QString() << QString();
}

void tst_IfcExporterParts::csvField()
{
    QFETCH(QString, kind);
    QFETCH(QString, value);
    QFETCH(QString, field);
    CellValue cell;
    if (kind == u"text")
        cell = value.toStdString();
    else if (kind == u"number")
        cell = value.toDouble();
    else if (kind == u"bool")
        cell = value == u"1";
    QCOMPARE(QString::fromStdString(CsvExport::field(cell)), field);
}

void tst_IfcExporterParts::envelope_data()
{
    // A file's text; the exit code of the envelope check; the schema name found in the header.
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("schema");
    const QByteArray header = "ISO-10303-21;\nHEADER;\nFILE_SCHEMA(('IFC2X3'));\nENDSEC;\n";
    const QByteArray data = "DATA;\n#1=IFCPERSON($,$,$,$,$,$,$,$);\nENDSEC;\n";
    const QByteArray end = "END-ISO-10303-21;";
    QTest::addRow("complete") << header + data + end << 0 << u"IFC2X3"_s;
    QTest::addRow("line break and spaces after the end") << header + data + end + "\r\n  \n"
                                                         << 0 << u"IFC2X3"_s;
    QTest::addRow("byte order mark and blank lines first")
        << "\xEF\xBB\xBF\n\n" + header + data + end << 0 << u"IFC2X3"_s;
    QTest::addRow("zero bytes after the end")
        << header + data + end + QByteArray(8, '\0') << 0 << u"IFC2X3"_s;
    QTest::addRow("cut in the data") << header + data.left(20) << 9 << u"IFC2X3"_s;
    QTest::addRow("cut in the trailer") << header + data + end.left(10) << 9 << u"IFC2X3"_s;
    QTest::addRow("no data section") << header + end << 9 << u"IFC2X3"_s;
    QTest::addRow("not STEP") << QByteArray("<?xml version=\"1.0\"?><ifcXML/>") << 9 << QString();
    QTest::addRow("lower case, spaced schema")
        << "ISO-10303-21;\nHEADER;\nFILE_SCHEMA (( 'ifc4' ));\nENDSEC;\n" + data + end << 0 << u"IFC4"_s;
    QTest::addRow("no schema") << "ISO-10303-21;\nHEADER;\nENDSEC;\n" + data + end << 0 << QString();
    QTest::addRow("schema named only in the data")
        << "ISO-10303-21;\nHEADER;\nENDSEC;\nDATA;\n#1=IFCLABEL('FILE_SCHEMA');\n#2=X('IFC4');\nENDSEC;\n" +
               end
        << 0 << QString();
}

void tst_IfcExporterParts::envelope()
{
    QFETCH(QByteArray, content);
    QFETCH(int, exitCode);
    QFETCH(QString, schema);
    const std::string text = content.toStdString();
    std::string error;
    QCOMPARE(ModelLoader::checkEnvelope(text, error), exitCode);
    QCOMPARE(error.empty(), exitCode == 0);
    QCOMPARE(QString::fromStdString(ModelLoader::schemaName(text)), schema);
}

void tst_IfcExporterParts::xmlEscaping()
{
    // Names reach the DAE as attribute values: markup, both quotes and control characters.
    QCOMPARE(QString::fromStdString(DaeExport::escaped("<Wand \"A\" & 'B'>\x01\tx")),
             u"&lt;Wand &quot;A&quot; &amp; &apos;B&apos;&gt; \tx"_s);
    QCOMPARE(QString::fromStdString(DaeExport::escaped("Au\xC3\x9F"
                                                       "en")),
             u"Au\u00DFen"_s);
}

void tst_IfcExporterParts::protocolLines_data()
{
    // Calls on the protocol, one per word: pN progress to N percent, w:KIND a repeated warning of
    // that kind, f flushing the counts, e an error whose text has a line break; the lines written.
    QTest::addColumn<QString>("calls");
    QTest::addColumn<QString>("lines");
    QTest::addRow("progress only when the whole percent changes")
        << u"p0 p0.4 p0.9 p1 p1.5 p99.99 p100"_s
        << u"Progress: 0%|Progress: 1%|Progress: 99%|Progress: 100%"_s;
    QTest::addRow("progress held to 0..100") << u"p-5 p250"_s << u"Progress: 0%|Progress: 100%"_s;
    QTest::addRow("a few shown, the rest counted")
        << u"w:a w:a w:a w:a w:a w:b f"_s
        << u"[WARNING] a|[WARNING] a|[WARNING] a|[WARNING] b|[WARNING] 2 more: a"_s;
    QTest::addRow("counts start again after a flush")
        << u"w:a w:a w:a w:a f w:a f"_s
        << u"[WARNING] a|[WARNING] a|[WARNING] a|[WARNING] 1 more: a|"
           "[WARNING] a"_s;
    QTest::addRow("one message, one line") << u"e"_s << u"[ERROR] first second"_s;
}

void tst_IfcExporterParts::protocolLines()
{
    QFETCH(QString, calls);
    QFETCH(QString, lines);
    std::FILE *out = std::tmpfile();
    QVERIFY(out);
    {
        Protocol protocol(out);
        for (const QString &call : calls.split(u' ')) {
            if (call.startsWith(u'p'))
                protocol.progress(call.mid(1).toDouble());
            else if (call.startsWith(u"w:"))
                protocol.repeatedWarning(call.mid(2).toStdString(), call.mid(2).toStdString());
            else if (call == u"f")
                protocol.flushWarnings();
            else if (call == u"e")
                protocol.error("first\nsecond\r\n");
        }
    }
    std::rewind(out);
    QByteArray written;
    char buffer[256];
    while (const std::size_t n = std::fread(buffer, 1, sizeof buffer, out))
        written.append(buffer, qsizetype(n));
    std::fclose(out);
    QCOMPARE(QString::fromUtf8(written).trimmed().replace(u'\n', u'|'), lines);
}

void tst_IfcExporterParts::pendingFile_data()
{
    // Whether the folder exists and whether the file is committed; what is left afterwards.
    QTest::addColumn<bool>("folderExists");
    QTest::addColumn<bool>("commit");
    QTest::addColumn<QString>("left");
    QTest::addRow("committed") << true << true << u"final"_s;
    QTest::addRow("abandoned") << true << false << u"nothing"_s;
    QTest::addRow("folder missing") << false << true << u"nothing"_s;
}

void tst_IfcExporterParts::pendingFile()
{
    QFETCH(bool, folderExists);
    QFETCH(bool, commit);
    QFETCH(QString, left);
    QTemporaryDir dir;
    const QString folder = folderExists ? dir.path() : dir.filePath(u"missing"_s);
    const QString finalPath = folder + u"/r.xlsx"_s;
    QString temporary;
    {
        PendingFile file(finalPath.toStdString());
        temporary = QString::fromStdString(file.temporaryPath());
        QCOMPARE(file.create(), folderExists);
        if (folderExists) {
            // The temporary name is in the same folder, so the rename cannot cross file systems,
            // and is not the final one, so nothing appears under it before the commit.
            QVERIFY(QFile::exists(temporary));
            QVERIFY(temporary.startsWith(finalPath + u'.'));
            QVERIFY(!QFile::exists(finalPath));
        }
        if (commit)
            QCOMPARE(file.commit(), folderExists);
    }
    QCOMPARE(QFile::exists(temporary), false);
    QCOMPARE(QFile::exists(finalPath) ? u"final"_s : u"nothing"_s, left);
}

QTEST_GUILESS_MAIN(tst_IfcExporterParts)
#include "tst_ifcexporterparts.moc"
