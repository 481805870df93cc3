#include "progress/ansitext.h"
#include "progress/progresspanel.h"

#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QRandomGenerator>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextFragment>

using namespace Qt::StringLiterals;

namespace {

const QString esc = QString(QChar(0x1b));

QString sgr(const QString &params)
{
    return esc + u'[' + params + u'm';
}

// What a line looks like per character: text, colour name (empty = default), bold.
struct Look
{
    QString text;
    QStringList colours;
    QList<bool> bold;
};

Look lookOfDocument(const QTextDocument &document)
{
    Look look;
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            const QTextFragment fragment = it.fragment();
            const QTextCharFormat format = fragment.charFormat();
            const QString colour = format.hasProperty(QTextFormat::ForegroundBrush)
                                       ? format.foreground().color().name()
                                       : QString();
            for (int i = 0; i < fragment.text().size(); ++i) {
                look.colours.append(colour);
                look.bold.append(format.fontWeight() >= QFont::Bold);
            }
            look.text += fragment.text();
        }
    }
    return look;
}

Look lookOfRuns(const QList<AnsiRun> &runs)
{
    Look look;
    for (const AnsiRun &run : runs) {
        for (int i = 0; i < run.text.size(); ++i) {
            look.colours.append(run.colourCode ? ansiPaletteColour(run.colourCode) : QString());
            look.bold.append(run.bold);
        }
        look.text += run.text;
    }
    return look;
}

QStringList blockTexts(const QPlainTextEdit *edit)
{
    QStringList texts;
    for (QTextBlock block = edit->document()->begin(); block.isValid(); block = block.next())
        texts.append(block.text());
    return texts;
}

} // namespace

class tst_ProgressPanel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ansiToHtml_data();
    void ansiToHtml();
    void runsLookLikeTheHtml_data();
    void runsLookLikeTheHtml();
    void palette();
    void counting_data();
    void counting();
    void countsRestartAfterClear();
    void blankAndResetOnlyLinesInsertNothing();
    void colourOnlyLineInsertsABlock();
    void viewShowsTheColours();
    void searchCounts_data();
    void searchCounts();
    void searchCountFollowsNewLines();
    void findWrapsAround();
    void onlyVisibleMatchesAreHighlighted();
    void searchForJumpsToFirstMatch();
    void saveWritesPlainText();
    void saveFailureShowsBox();
    void saveCancelledDoesNothing();
};

void tst_ProgressPanel::ansiToHtml_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("html");
    const QString red = u"<span style=\"color:#cd3131;\">"_s;
    const QString green = u"<span style=\"color:#0dbc79;\">"_s;
    const QString bold = u"<span style=\"font-weight:bold;\">"_s;
    const QString close = u"</span>"_s;

    QTest::addRow("plain") << u"hello world"_s << u"hello world"_s;
    QTest::addRow("colour then reset")
        << sgr(u"31"_s) + u"red"_s + sgr(u"0"_s) + u" x"_s << red + u"red"_s + close + u" x"_s;
    QTest::addRow("empty params reset")
        << sgr(u"31"_s) + u"a"_s + sgr(QString()) + u"b"_s << red + u"a"_s + close + u"b"_s;
    QTest::addRow("31;1 nests colour then bold")
        << sgr(u"31;1"_s) + u"X"_s << red + bold + u"X"_s + close + close;
    QTest::addRow("1;31 nests bold then colour")
        << sgr(u"1;31"_s) + u"X"_s << bold + red + u"X"_s + close + close;
    QTest::addRow("colours nest until reset")
        << sgr(u"31"_s) + u"a"_s + sgr(u"32"_s) + u"b"_s + sgr(u"0"_s) + u"c"_s
        << red + u"a"_s + green + u"b"_s + close + close + u"c"_s;
    QTest::addRow("reset inside a list")
        << sgr(u"31;0;32"_s) + u"X"_s << red + close + green + u"X"_s + close;
    QTest::addRow("00 is a reset") << sgr(u"31"_s) + u"a"_s + sgr(u"00"_s) + u"b"_s
                                   << red + u"a"_s + close + u"b"_s;
    QTest::addRow("background 41") << sgr(u"41"_s) + u"X"_s << u"X"_s;
    QTest::addRow("bright background 101") << sgr(u"101"_s) + u"X"_s << u"X"_s;
    QTest::addRow("default colour 39") << sgr(u"39"_s) + u"X"_s << u"X"_s;
    QTest::addRow("default background 49") << sgr(u"49"_s) + u"X"_s << u"X"_s;
    QTest::addRow("unknown codes") << sgr(u"38;5;7;4"_s) + u"X"_s << u"X"_s;
    QTest::addRow("huge code") << sgr(u"99999999999"_s) + u"X"_s << u"X"_s;
    QTest::addRow("empty parts ignored") << sgr(u";31;;1;"_s) + u"X"_s << red + bold + u"X"_s + close + close;
    QTest::addRow("only semicolons") << sgr(u";;"_s) + u"X"_s << u"X"_s;
    QTest::addRow("only resets") << sgr(u"0"_s) + sgr(QString()) + sgr(u"0;0"_s) << QString();
    QTest::addRow("only a colour") << sgr(u"32"_s) << green + close;
    QTest::addRow("escaping around escapes")
        << u"a<b"_s + sgr(u"33"_s) + u"&c>"_s + sgr(u"0"_s) + u"\"d\""_s
        << u"a&lt;b<span style=\"color:#c09600;\">&amp;c&gt;</span>&quot;d&quot;"_s;
    QTest::addRow("unterminated sequence") << esc + u"[31red"_s << esc + u"[31red"_s;
    QTest::addRow("letter inside params") << esc + u"[3x1mA"_s << esc + u"[3x1mA"_s;
    QTest::addRow("bracket missing") << esc + u"31mA"_s << esc + u"31mA"_s;
    QTest::addRow("stray escape before a real one") << esc + esc + u"[31mA"_s << esc + red + u"A"_s + close;
    QTest::addRow("bold twice") << sgr(u"1"_s) + sgr(u"1"_s) + u"B"_s << bold + bold + u"B"_s + close + close;
}

void tst_ProgressPanel::ansiToHtml()
{
    QFETCH(QString, line);
    QFETCH(QString, html);
    QCOMPARE(::ansiToHtml(line), html);
}

void tst_ProgressPanel::runsLookLikeTheHtml_data()
{
    QTest::addColumn<QString>("line");
    const QString fixed[] = {
        u"plain"_s,
        sgr(u"31;1"_s) + u"red-bold"_s + sgr(u"0"_s) + u"plain"_s,
        sgr(u"1"_s) + u"b"_s + sgr(u"34"_s) + u"bb"_s + sgr(u"95"_s) + u"bm"_s + sgr(u"0"_s) + u"n"_s,
        u"<&>"_s + sgr(u"36"_s) + u"<&>"_s,
        sgr(u"32"_s) + u"g"_s + sgr(u"41;39"_s) + u"still-green"_s,
    };
    for (const QString &line : fixed)
        QTest::addRow("%s", qPrintable(QString(line).replace(esc, u"ESC"_s))) << line;

    // Random lines made of the pieces that matter, to catch any disagreement between
    // what the HTML shows and what the view is given.
    const QString pieces[] = {
        u"a"_s,       u"b"_s,      u"<"_s,         u"&"_s,         u"x"_s,       sgr(u"31"_s),
        sgr(u"1"_s),  sgr(u"0"_s), sgr(QString()), sgr(u"92;1"_s), sgr(u"41"_s), sgr(u"33;0;34"_s),
        sgr(u"97"_s), u"["_s,      u"m"_s,         u";"_s,         u"3"_s};
    QRandomGenerator random(20240611);
    for (int row = 0; row < 300; ++row) {
        QString line;
        const int count = 1 + static_cast<int>(random.bounded(12));
        for (int i = 0; i < count; ++i)
            line += pieces[random.bounded(static_cast<int>(std::size(pieces)))];
        QTest::addRow("random %d", row) << line;
    }
}

void tst_ProgressPanel::runsLookLikeTheHtml()
{
    QFETCH(QString, line);
    const QString html = ::ansiToHtml(line);
    QList<AnsiRun> runs;
    QCOMPARE(ansiToRuns(line, runs), !html.isEmpty());

    QTextDocument document;
    document.setHtml(html);
    const Look expected = lookOfDocument(document);
    const Look actual = lookOfRuns(runs);
    QCOMPARE(actual.text, expected.text);
    QCOMPARE(actual.colours, expected.colours);
    QCOMPARE(actual.bold, expected.bold);
}

void tst_ProgressPanel::palette()
{
    QCOMPARE(ansiPaletteColour(30), u"#4d4d4d"_s);
    QCOMPARE(ansiPaletteColour(37), u"#e5e5e5"_s);
    QCOMPARE(ansiPaletteColour(97), ansiPaletteColour(37));
    QCOMPARE(ansiPaletteColour(90), u"#666666"_s);
    QCOMPARE(ansiPaletteColour(93), u"#d7a700"_s);
    for (int code : {0, 1, 29, 38, 39, 40, 47, 89, 98, 100, 107})
        QVERIFY2(ansiPaletteColour(code).isEmpty(), qPrintable(QString::number(code)));
}

void tst_ProgressPanel::counting_data()
{
    QTest::addColumn<QStringList>("blocks");
    QTest::addColumn<QString>("errorText");
    QTest::addColumn<QString>("warningText");

    QTest::addRow("nothing") << QStringList{u"plain\nlines"_s} << QString() << QString();
    QTest::addRow("one error") << QStringList{u"[ERROR] x"_s} << u"1 error"_s << QString();
    QTest::addRow("two errors, lower case")
        << QStringList{u"[error] x\n[Error] y"_s} << u"2 errors"_s << QString();
    QTest::addRow("both tags count as error")
        << QStringList{u"[WARN] [ERROR] both"_s} << u"1 error"_s << QString();
    QTest::addRow("warn and warning")
        << QStringList{u"[WARN] a\n[warning] b"_s, u"[Warning] c"_s} << QString() << u"3 warnings"_s;
    QTest::addRow("one warning") << QStringList{u"  [WARNING] padded  "_s} << QString() << u"1 warning"_s;
    QTest::addRow("tag inside colour")
        << QStringList{sgr(u"31"_s) + u"[ERROR] red"_s + sgr(u"0"_s)} << u"1 error"_s << QString();
    QTest::addRow("tag split by escape is not a tag")
        << QStringList{u"[ERR"_s + sgr(u"31"_s) + u"OR]"_s} << QString() << QString();
    QTest::addRow("warning tag before error tag")
        << QStringList{u"[warn] then [error]"_s} << u"1 error"_s << QString();
    QTest::addRow("bracket without tag")
        << QStringList{u"[[ERRORS] [WARNINGS] [WARN"_s} << QString() << QString();
    QTest::addRow("nested brackets") << QStringList{u"[[ERROR]]"_s} << u"1 error"_s << QString();
    QTest::addRow("mixed over blocks")
        << QStringList{u"[ERROR] a\n\n[WARN] b"_s, u"[ERROR] c\nok"_s} << u"2 errors"_s << u"1 warning"_s;
}

void tst_ProgressPanel::counting()
{
    QFETCH(QStringList, blocks);
    QFETCH(QString, errorText);
    QFETCH(QString, warningText);
    ProgressPanel panel;
    panel.show();
    for (const QString &block : blocks)
        panel.appendLog(block);
    auto *errors = panel.findChild<QLabel *>(u"logErrorCountLabel"_s);
    auto *warnings = panel.findChild<QLabel *>(u"logWarningCountLabel"_s);
    QVERIFY(errors && warnings);
    QCOMPARE(errors->isVisible(), !errorText.isEmpty());
    QCOMPARE(warnings->isVisible(), !warningText.isEmpty());
    if (!errorText.isEmpty())
        QCOMPARE(errors->text(), errorText);
    if (!warningText.isEmpty())
        QCOMPARE(warnings->text(), warningText);
}

void tst_ProgressPanel::countsRestartAfterClear()
{
    ProgressPanel panel;
    panel.show();
    QSignalSpy cleared(&panel, &ProgressPanel::logCleared);
    panel.appendLog(u"[ERROR] a\n[ERROR] b\n[WARN] c"_s);
    auto *errors = panel.findChild<QLabel *>(u"logErrorCountLabel"_s);
    auto *warnings = panel.findChild<QLabel *>(u"logWarningCountLabel"_s);
    QCOMPARE(errors->text(), u"2 errors"_s);
    panel.clearLog();
    QCOMPARE(cleared.count(), 1);
    QVERIFY(!errors->isVisible());
    QVERIFY(!warnings->isVisible());
    QVERIFY(panel.plainText().isEmpty());
    panel.appendLog(u"[ERROR] again"_s);
    QVERIFY(errors->isVisible());
    QCOMPARE(errors->text(), u"1 error"_s);
    QVERIFY(!warnings->isVisible());
}

void tst_ProgressPanel::blankAndResetOnlyLinesInsertNothing()
{
    ProgressPanel panel;
    panel.resize(400, 200);
    panel.show();
    QStringList lines;
    for (int i = 0; i < 200; ++i)
        lines.append(u"line %1"_s.arg(i));
    panel.appendLog(lines.join(u'\n'));
    QScrollBar *bar = panel.logView()->verticalScrollBar();
    QVERIFY(bar->maximum() > 0);
    QCOMPARE(bar->value(), bar->maximum());
    bar->setValue(0);
    const int blocks = panel.logView()->document()->blockCount();

    panel.appendLog(u"\n   \n\t\n"_s);
    panel.appendLog(sgr(u"0"_s) + u"\n  "_s + sgr(QString()));
    panel.appendLog(QString());
    QCOMPARE(panel.logView()->document()->blockCount(), blocks);
    QCOMPARE(bar->value(), 0);

    panel.appendLog(u"new"_s);
    QCOMPARE(bar->value(), bar->maximum());
    QCOMPARE(blockTexts(panel.logView()).constLast(), u"new"_s);
}

void tst_ProgressPanel::colourOnlyLineInsertsABlock()
{
    ProgressPanel panel;
    // Into an empty log it has nothing to separate from, so the log stays empty.
    panel.appendLog(sgr(u"31"_s));
    QCOMPARE(blockTexts(panel.logView()), QStringList{QString()});
    panel.appendLog(u"first"_s);
    panel.appendLog(sgr(u"31"_s) + u"\n"_s + sgr(u"0"_s) + u"\nlast"_s);
    QCOMPARE(blockTexts(panel.logView()), (QStringList{u"first"_s, QString(), u"last"_s}));
    // A bare carriage return or paragraph separator inside a line does not split it.
    panel.appendLog(u"a\rb"_s + QChar(QChar::ParagraphSeparator) + u"c"_s);
    QCOMPARE(blockTexts(panel.logView()).constLast(), u"a b c"_s);
    QCOMPARE(panel.plainText(), u"first\n\nlast\na b c"_s);
}

void tst_ProgressPanel::viewShowsTheColours()
{
    ProgressPanel panel;
    const QString lines[] = {u"  plain <b>not bold</b>  "_s,
                             sgr(u"31;1"_s) + u"[ERROR] red"_s + sgr(u"0"_s) + u" tail"_s,
                             u"x"_s + sgr(u"94"_s) + u"blue"_s + sgr(u"1"_s) + u"bold-blue"_s};
    QString block;
    for (const QString &line : lines)
        block += line + u'\n';
    panel.appendLog(block);

    // Block separators are not part of the fragments, so the lines' looks simply follow each other.
    Look expected;
    for (const QString &line : lines) {
        QList<AnsiRun> runs;
        QVERIFY(ansiToRuns(line.trimmed(), runs));
        const Look part = lookOfRuns(runs);
        expected.text += part.text;
        expected.colours += part.colours;
        expected.bold += part.bold;
    }
    const Look shown = lookOfDocument(*panel.logView()->document());
    QCOMPARE(shown.text, expected.text);
    QCOMPARE(shown.colours, expected.colours);
    QCOMPARE(shown.bold, expected.bold);
    QCOMPARE(blockTexts(panel.logView()),
             (QStringList{u"plain <b>not bold</b>"_s, u"[ERROR] red tail"_s, u"xbluebold-blue"_s}));
}

void tst_ProgressPanel::searchCounts_data()
{
    QTest::addColumn<QString>("log");
    QTest::addColumn<QString>("term");
    QTest::addColumn<int>("count");
    QTest::addColumn<QString>("label");

    QTest::addRow("none") << u"alpha\nbeta"_s << u"gamma"_s << 0 << u"No matches"_s;
    QTest::addRow("one") << u"alpha\nbeta"_s << u"beta"_s << 1 << u"1 match"_s;
    QTest::addRow("three, any case") << u"Foo foo\nFOO"_s << u"foo"_s << 3 << u"3 matches"_s;
    QTest::addRow("no overlaps") << u"aaaa\naaa"_s << u"aa"_s << 3 << u"3 matches"_s;
    QTest::addRow("escapes are not text")
        << sgr(u"31"_s) + u"red"_s + sgr(u"0"_s) << u"31"_s << 0 << u"No matches"_s;
    QTest::addRow("match across colour change")
        << u"ab"_s + sgr(u"32"_s) + u"cd"_s << u"bc"_s << 1 << u"1 match"_s;
    QTest::addRow("empty term") << u"abc"_s << QString() << 0 << QString();
    QTest::addRow("ASCII folding only touches letters")
        << u"A-Z [a-z] @`{"_s << u"[A-Z]"_s << 1 << u"1 match"_s;
    QTest::addRow("non-ASCII, any case") << u"Größe GRÖSSE\ngröße"_s << u"grö"_s << 3 << u"3 matches"_s;
    QTest::addRow("carriage return is a space")
        << u"Progress: 10%\rProgress: 20%"_s << u"% p"_s << 1 << u"1 match"_s;
}

void tst_ProgressPanel::searchCounts()
{
    QFETCH(QString, log);
    QFETCH(QString, term);
    QFETCH(int, count);
    QFETCH(QString, label);
    ProgressPanel panel;
    panel.show();
    panel.appendLog(log);
    panel.showSearchBar();
    panel.findChild<QLineEdit *>(u"logSearchEdit"_s)->setText(term);
    QCOMPARE(panel.matchCount(), count);
    QCOMPARE(panel.findChild<QLabel *>(u"logMatchCountLabel"_s)->text(), label);

    // The count agrees with what the editor's own search steps through.
    int found = 0;
    QTextCursor cursor(panel.logView()->document());
    while (!term.isEmpty() && !(cursor = panel.logView()->document()->find(term, cursor)).isNull())
        ++found;
    QCOMPARE(found, count);
}

void tst_ProgressPanel::searchCountFollowsNewLines()
{
    ProgressPanel panel;
    panel.show();
    panel.appendLog(u"needle one"_s);
    panel.highlightAllMatches(u"needle"_s);
    QCOMPARE(panel.matchCount(), 1);
    panel.appendLog(u"hay\nNEEDLE needle"_s);
    QCOMPARE(panel.matchCount(), 3);
    QCOMPARE(panel.findChild<QLabel *>(u"logMatchCountLabel"_s)->text(), u"3 matches"_s);
    panel.clearLog();
    QCOMPARE(panel.matchCount(), 0);
    QCOMPARE(panel.findChild<QLabel *>(u"logMatchCountLabel"_s)->text(), u"No matches"_s);
    // The cleared text is gone from the search too.
    panel.highlightAllMatches(u"needle"_s);
    QCOMPARE(panel.matchCount(), 0);
    panel.appendLog(u"needle"_s);
    QCOMPARE(panel.matchCount(), 1);
}

void tst_ProgressPanel::findWrapsAround()
{
    ProgressPanel panel;
    panel.show();
    panel.appendLog(u"x hit\ny\nz hit\nhit w"_s);
    panel.showSearchBar();
    panel.findChild<QLineEdit *>(u"logSearchEdit"_s)->setText(u"hit"_s);
    QPlainTextEdit *view = panel.logView();
    view->moveCursor(QTextCursor::Start);

    const auto blockOfSelection = [view] { return view->textCursor().block().blockNumber(); };
    QList<int> forward;
    for (int i = 0; i < 4; ++i) {
        panel.findNext();
        QCOMPARE(view->textCursor().selectedText(), u"hit"_s);
        forward.append(blockOfSelection());
    }
    QCOMPARE(forward, (QList<int>{0, 2, 3, 0}));

    QList<int> backward;
    for (int i = 0; i < 4; ++i) {
        panel.findPrevious();
        backward.append(blockOfSelection());
    }
    // From the first match backwards: wraps to the last one.
    QCOMPARE(backward, (QList<int>{3, 2, 0, 3}));

    // An empty search text does nothing.
    const QTextCursor before = view->textCursor();
    panel.findChild<QLineEdit *>(u"logSearchEdit"_s)->clear();
    panel.findNext();
    QCOMPARE(view->textCursor().position(), before.position());
}

void tst_ProgressPanel::onlyVisibleMatchesAreHighlighted()
{
    ProgressPanel panel;
    panel.resize(500, 300);
    panel.show();
    QVERIFY(QTest::qWaitForWindowExposed(&panel));
    QStringList lines;
    for (int i = 0; i < 5000; ++i)
        lines.append(i % 10 == 0 ? u"line %1 with TERM"_s.arg(i) : u"line %1"_s.arg(i));
    panel.appendLog(lines.join(u'\n'));
    panel.highlightAllMatches(u"term"_s);
    QCOMPARE(panel.matchCount(), 500);

    QPlainTextEdit *view = panel.logView();
    const auto check = [&] {
        const QList<QTextEdit::ExtraSelection> selections = view->extraSelections();
        QVERIFY(!selections.isEmpty());
        QVERIFY(selections.size() < 50);
        const QTextBlock top = view->cursorForPosition(QPoint(0, 0)).block();
        const QTextBlock bottom = view->cursorForPosition(view->viewport()->rect().bottomRight()).block();
        for (const auto &selection : selections) {
            QCOMPARE(selection.cursor.selectedText(), u"TERM"_s);
            QCOMPARE(selection.format.background().color(), QColor(255, 255, 0, 80));
            const int number = selection.cursor.block().blockNumber();
            QVERIFY(number >= top.blockNumber() && number <= bottom.blockNumber());
        }
        // Every visible match is highlighted.
        int visible = 0;
        for (QTextBlock b = top; b.isValid() && b.blockNumber() <= bottom.blockNumber(); b = b.next())
            visible += b.text().contains(u"TERM"_s) ? 1 : 0;
        QCOMPARE(selections.size(), visible);
    };
    check();
    view->verticalScrollBar()->setValue(0);
    check();
    QCOMPARE(view->extraSelections().first().cursor.block().blockNumber(), 0);
    view->verticalScrollBar()->setValue(view->verticalScrollBar()->maximum() / 2);
    check();

    panel.hideSearchBar();
    QVERIFY(view->extraSelections().isEmpty());
}

void tst_ProgressPanel::searchForJumpsToFirstMatch()
{
    ProgressPanel panel;
    panel.show();
    panel.appendLog(u"Started model.rvt\nother\n[ERROR] model.rvt: Input file not found."_s);
    panel.logView()->moveCursor(QTextCursor::End);
    panel.searchFor(u"model.rvt"_s);
    QVERIFY(panel.findChild<QWidget *>(u"logSearchBar"_s)->isVisible());
    QCOMPARE(panel.findChild<QLineEdit *>(u"logSearchEdit"_s)->text(), u"model.rvt"_s);
    QCOMPARE(panel.matchCount(), 2);
    QCOMPARE(panel.logView()->textCursor().block().blockNumber(), 0);
    QCOMPARE(panel.logView()->textCursor().selectedText(), u"model.rvt"_s);
}

void tst_ProgressPanel::saveWritesPlainText()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(u"log.txt"_s);
    ProgressPanel panel;
    panel.setSaveFileNameChooser([&](QWidget *) { return path; });
    bool boxShown = false;
    panel.setSaveFailureReporter([&](QWidget *, const QString &, const QString &) { boxShown = true; });
    QSignalSpy saved(&panel, &ProgressPanel::logSaved);
    panel.appendLog(sgr(u"31;1"_s) + u"[ERROR] <bad> & worse"_s + sgr(u"0"_s) + u"\nplain ü line"_s);
    panel.saveLogToFile();

    QVERIFY(!boxShown);
    QCOMPARE(saved.count(), 1);
    QCOMPARE(saved.first().first().toString(), path);
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly | QIODevice::Text));
    QCOMPARE(QString::fromUtf8(file.readAll()), u"[ERROR] <bad> & worse\nplain ü line"_s);
}

void tst_ProgressPanel::saveFailureShowsBox()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(u"missing/folder/log.txt"_s);
    ProgressPanel panel;
    panel.appendLog(u"text"_s);
    panel.setSaveFileNameChooser([&](QWidget *) { return path; });
    QString title;
    QString text;
    int boxes = 0;
    panel.setSaveFailureReporter([&](QWidget *parent, const QString &t, const QString &m) {
        QCOMPARE(parent, &panel);
        title = t;
        text = m;
        ++boxes;
    });
    QSignalSpy saved(&panel, &ProgressPanel::logSaved);
    panel.saveLogToFile();
    QCOMPARE(boxes, 1);
    QCOMPARE(saved.count(), 0);
    QCOMPARE(title, u"Save Failed"_s);
    QVERIFY2(text.startsWith(u"Could not write to file:\n"_s + path + u"\n\n"_s), qPrintable(text));
    QVERIFY(text.size() > (u"Could not write to file:\n"_s + path + u"\n\n"_s).size());
}

void tst_ProgressPanel::saveCancelledDoesNothing()
{
    ProgressPanel panel;
    panel.appendLog(u"text"_s);
    panel.setSaveFileNameChooser([](QWidget *) { return QString(); });
    int boxes = 0;
    panel.setSaveFailureReporter([&](QWidget *, const QString &, const QString &) { ++boxes; });
    QSignalSpy saved(&panel, &ProgressPanel::logSaved);
    panel.saveLogToFile();
    QCOMPARE(boxes, 0);
    QCOMPARE(saved.count(), 0);
}

QTEST_MAIN(tst_ProgressPanel)
#include "tst_progresspanel.moc"
