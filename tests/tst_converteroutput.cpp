#include "conversion/converteroutput.h"

#include <QTest>

using namespace Qt::StringLiterals;

class tst_ConverterOutput : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void exitCodeMessages_data();
    void exitCodeMessages();
    void lines_data();
    void lines();
};

void tst_ConverterOutput::exitCodeMessages_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("message");
    // Codes the converters do not document name themselves.
    QTest::addRow("16 falls back") << 16 << u"Converter exited with code 16."_s;
    QTest::addRow("skip marker -3 falls back") << -3 << u"Converter exited with code -3."_s;
}

void tst_ConverterOutput::exitCodeMessages()
{
    QFETCH(int, code);
    QFETCH(QString, message);
    QCOMPARE(exitCodeMessage(code), message);
}

void tst_ConverterOutput::lines_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<int>("percent");     // -1: no progress match
    QTest::addColumn<QString>("stage");   // null: no stage match
    QTest::addColumn<QString>("started"); // null: no started match

    const QString none;
    QTest::addRow("2.5 rounds up, not to even") << u"Progress: 2.5%"_s << 3 << none << none;
    QTest::addRow("37.49 rounds down") << u"Progress:37.49%"_s << 37 << none << none;
    QTest::addRow("trailing dot") << u"Progress: 5.%"_s << 5 << none << none;
    QTest::addRow("over 100 is not capped") << u"Progress: 150%"_s << 150 << none << none;
    QTest::addRow("absurd value held at a billion")
        << u"Progress: 123456789012345678901234567890%"_s << 1000000000 << none << none;
    QTest::addRow(".5 needs a leading digit") << u"Progress: .5%"_s << -1 << none << none;
    QTest::addRow("no percent sign") << u"Progress: 40"_s << -1 << none << none;
    QTest::addRow("negative is not progress") << u"Progress: -5%"_s << -1 << none << none;
    QTest::addRow("ANSI-coloured progress") << u"\x1b[36mProgress: 64.2%\x1b[0m"_s << 64 << none << none;

    QTest::addRow("stage") << u"[Stage] Exporting geometry"_s << -1 << u"Exporting geometry"_s << none;
    QTest::addRow("bare stage tag: empty stage") << u"[Stage]"_s << -1 << u""_s << none;
    QTest::addRow("stage tag is case-sensitive") << u"[stage] Writing"_s << -1 << none << none;

    QTest::addRow("started with ellipsis")
        << u"---- Started Export of elements ..."_s << -1 << none << u"Export of elements"_s;
    QTest::addRow("started with empty capture") << u"--- Started ..."_s << -1 << none << u""_s;
    QTest::addRow("four dots keep one") << u"- Started Load...."_s << -1 << none << u"Load."_s;
    QTest::addRow("started needs leading dashes") << u"x--- Started Load"_s << -1 << none << none;
    QTest::addRow("stage and progress on one line")
        << u"[Stage] Export Progress: 50%"_s << 50 << u"Export Progress: 50%"_s << none;
}

void tst_ConverterOutput::lines()
{
    QFETCH(QString, line);
    QFETCH(int, percent);
    QFETCH(QString, stage);
    QFETCH(QString, started);

    const ConverterLine result = interpretConverterLine(line);
    QCOMPARE(result.hasProgress, percent >= 0);
    if (percent >= 0)
        QCOMPARE(result.filePercent, percent);
    QCOMPARE(result.hasStage, !stage.isNull());
    QCOMPARE(result.stage, stage.isNull() ? QString() : stage);
    QCOMPARE(result.hasStarted, !started.isNull());
    QCOMPARE(result.started, started.isNull() ? QString() : started);
}

QTEST_GUILESS_MAIN(tst_ConverterOutput)
#include "tst_converteroutput.moc"
