#include "conversion/converteroutput.h"

#include <QTest>

using namespace Qt::StringLiterals;

class tst_ConverterOutput : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lines_data();
    void lines();
};

void tst_ConverterOutput::lines_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("meaning"); // what matched, as "progress 3, stage X, started Y"
    QTest::addRow("2.5 rounds up, not to even") << u"Progress: 2.5%"_s << u"progress 3"_s;
    QTest::addRow("37.49 rounds down") << u"Progress:37.49%"_s << u"progress 37"_s;
    QTest::addRow("trailing dot") << u"Progress: 5.%"_s << u"progress 5"_s;
    QTest::addRow("over 100 is not capped") << u"Progress: 150%"_s << u"progress 150"_s;
    QTest::addRow("absurd value held at a billion")
        << u"Progress: 123456789012345678901234567890%"_s << u"progress 1000000000"_s;
    QTest::addRow(".5 needs a leading digit") << u"Progress: .5%"_s << QString();
    QTest::addRow("no percent sign") << u"Progress: 40"_s << QString();
    QTest::addRow("negative is not progress") << u"Progress: -5%"_s << QString();
    QTest::addRow("ANSI-coloured progress") << u"\x1b[36mProgress: 64.2%\x1b[0m"_s << u"progress 64"_s;
    QTest::addRow("stage") << u"[Stage] Exporting geometry"_s << u"stage Exporting geometry"_s;
    QTest::addRow("bare stage tag: empty stage") << u"[Stage]"_s << u"stage "_s;
    QTest::addRow("stage tag is case-sensitive") << u"[stage] Writing"_s << QString();
    QTest::addRow("started with ellipsis")
        << u"---- Started Export of all ..."_s << u"started Export of all"_s;
    QTest::addRow("started with empty capture") << u"--- Started ..."_s << u"started "_s;
    QTest::addRow("four dots keep one") << u"- Started Load...."_s << u"started Load."_s;
    QTest::addRow("started needs leading dashes") << u"x--- Started Load"_s << QString();
    QTest::addRow("stage and progress")
        << u"[Stage] X Progress: 50%"_s << u"progress 50, stage X Progress: 50%"_s;
}

void tst_ConverterOutput::lines()
{
    QFETCH(QString, line);
    QFETCH(QString, meaning);
    const ConverterLine result = interpretConverterLine(line);
    const QString matched =
        (result.hasProgress ? u", progress "_s + QString::number(result.filePercent) : QString()) +
        (result.hasStage ? u", stage "_s + result.stage : QString()) +
        (result.hasStarted ? u", started "_s + result.started : QString());
    QCOMPARE(matched.mid(2), meaning);
}

QTEST_GUILESS_MAIN(tst_ConverterOutput)
#include "tst_converteroutput.moc"
