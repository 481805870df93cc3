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

QStringList blockTexts(const QPlainTextEdit *edit)
{
    QStringList texts;
    for (QTextBlock block = edit->document()->begin(); block.isValid(); block = block.next())
        texts.append(block.text());
    return texts;
}

std::pair<QLabel *, QLabel *> countLabels(const ProgressPanel &panel)
{
    return {panel.findChild<QLabel *>(u"logErrorCountLabel"_s),
            panel.findChild<QLabel *>(u"logWarningCountLabel"_s)};
}

} // namespace

class tst_ProgressPanel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ansiToHtml_data();
    void ansiToHtml();
    void viewLooksLikeTheHtml_data();
    void viewLooksLikeTheHtml();
    void counting_data();
    void counting();
    void countsRestartAfterClear();
    void blankAndResetOnlyLinesInsertNothing();
    void colourOnlyLineInsertsABlock();
    void searchCounts_data();
    void searchCounts();
    void searchCountFollowsNewLines();
    void findWrapsAround();
    void onlyVisibleMatchesAreHighlighted();
    void saveLog();
};

void tst_ProgressPanel::ansiToHtml_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("html");
    const QString red = u"<span style=\"color:#cd3131;\">"_s;
    const QString green = u"<span style=\"color:#0dbc79;\">"_s;
    const QString bold = u"<span style=\"font-weight:bold;\">"_s;
    const QString close = u"</span>"_s;

    QTest::addRow("colour then reset")
        << sgr(u"31"_s) + u"red"_s + sgr(u"0"_s) + u" x"_s << red + u"red"_s + close + u" x"_s;
    QTest::addRow("empty params reset")
        << sgr(u"31"_s) + u"a"_s + sgr(QString()) + u"b"_s << red + u"a"_s + close + u"b"_s;
    QTest::addRow("31;1 nests colour then bold")
        << sgr(u"31;1"_s) + u"X"_s << red + bold + u"X"_s + close + close;
    QTest::addRow("colours nest until reset")
        << sgr(u"31"_s) + u"a"_s + sgr(u"32"_s) + u"b"_s + sgr(u"0"_s) + u"c"_s
        << red + u"a"_s + green + u"b"_s + close + close + u"c"_s;
    QTest::addRow("reset inside a list")
        << sgr(u"31;0;32"_s) + u"X"_s << red + close + green + u"X"_s + close;
    QTest::addRow("background, default and unknown codes") << sgr(u"41;39;38;5;7;4"_s) + u"X"_s << u"X"_s;
    QTest::addRow("empty parts ignored") << sgr(u";31;;1;"_s) + u"X"_s << red + bold + u"X"_s + close + close;
    QTest::addRow("only resets") << sgr(u"0"_s) + sgr(QString()) + sgr(u"0;0"_s) << QString();
    QTest::addRow("only a colour") << sgr(u"32"_s) << green + close;
    QTest::addRow("escaping around escapes")
        << u"a<b"_s + sgr(u"33"_s) + u"&c>"_s + sgr(u"0"_s) + u"\"d\""_s
        << u"a&lt;b<span style=\"color:#c09600;\">&amp;c&gt;</span>&quot;d&quot;"_s;
    QTest::addRow("unterminated sequence") << esc + u"[31red"_s << esc + u"[31red"_s;
    QTest::addRow("stray escape before a real one") << esc + esc + u"[31mA"_s << esc + red + u"A"_s + close;
}

void tst_ProgressPanel::ansiToHtml()
{
    QFETCH(QString, line);
    QFETCH(QString, html);
    QCOMPARE(::ansiToHtml(line), html);
}

void tst_ProgressPanel::viewLooksLikeTheHtml_data()
{
    QTest::addColumn<QString>("line");
    QTest::addRow("tags are text") << u"<b>not bold</b>"_s + sgr(u"94"_s) + u"blue"_s + sgr(u"1"_s) + u"b"_s;
    // Random lines made of the pieces that matter, to catch any disagreement between
    // what the HTML shows and what the view shows.
    const QString pieces[] = {
        u"a"_s,       u"b"_s,      u"<"_s,         u"&"_s,         u"x"_s,       sgr(u"31"_s),
        sgr(u"1"_s),  sgr(u"0"_s), sgr(QString()), sgr(u"92;1"_s), sgr(u"41"_s), sgr(u"33;0;34"_s),
        sgr(u"97"_s), u"["_s,      u"m"_s,         u";"_s,         u"3"_s};
    QRandomGenerator random(20240611);
    for (int row = 0; row < 200; ++row) {
        QString line;
        const int count = 1 + static_cast<int>(random.bounded(12));
        for (int i = 0; i < count; ++i)
            line += pieces[random.bounded(static_cast<int>(std::size(pieces)))];
        QTest::addRow("random %d", row) << line;
    }
}

void tst_ProgressPanel::viewLooksLikeTheHtml()
{
    QFETCH(QString, line);
    QTextDocument document;
    document.setHtml(::ansiToHtml(line));
    const Look expected = lookOfDocument(document);
    ProgressPanel panel;
    panel.appendLog(line);
    const Look actual = lookOfDocument(*panel.logView()->document());
    QCOMPARE(actual.text, expected.text);
    QCOMPARE(actual.colours, expected.colours);
    QCOMPARE(actual.bold, expected.bold);
}

void tst_ProgressPanel::counting_data()
{
    QTest::addColumn<QStringList>("blocks");
    QTest::addColumn<QString>("errorText");
    QTest::addColumn<QString>("warningText");

    QTest::addRow("two errors, lower case")
        << QStringList{u"[error] x\n[Error] y"_s} << u"2 errors"_s << QString();
    QTest::addRow("both tags count as error")
        << QStringList{u"[WARN] [ERROR] both"_s} << u"1 error"_s << QString();
    QTest::addRow("warn and warning")
        << QStringList{u"[WARN] a\n[warning] b"_s, u"[Warning] c"_s} << QString() << u"3 warnings"_s;
    QTest::addRow("tag inside colour")
        << QStringList{sgr(u"31"_s) + u"[ERROR] red"_s + sgr(u"0"_s)} << u"1 error"_s << QString();
    QTest::addRow("tag split by escape is not a tag")
        << QStringList{u"[ERR"_s + sgr(u"31"_s) + u"OR]"_s} << QString() << QString();
    QTest::addRow("bracket without tag")
        << QStringList{u"[[ERRORS] [WARNINGS] [WARN"_s} << QString() << QString();
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
    auto [errors, warnings] = countLabels(panel);
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
    auto [errors, warnings] = countLabels(panel);
    panel.clearLog();
    QCOMPARE(cleared.count(), 1);
    QVERIFY(!errors->isVisible());
    panel.appendLog(u"[ERROR] again"_s);
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
    bar->setValue(0);
    const int blocks = panel.logView()->document()->blockCount();

    panel.appendLog(u"\n   \n\t\n"_s);
    panel.appendLog(sgr(u"0"_s) + u"\n  "_s + sgr(QString()));
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

void tst_ProgressPanel::searchCounts_data()
{
    QTest::addColumn<QString>("log");
    QTest::addColumn<QString>("term");
    QTest::addColumn<int>("count");
    QTest::addColumn<QString>("label");

    QTest::addRow("none") << u"alpha\nbeta"_s << u"gamma"_s << 0 << u"No matches"_s;
    QTest::addRow("three, any case") << u"Foo foo\nFOO"_s << u"foo"_s << 3 << u"3 matches"_s;
    QTest::addRow("no overlaps") << u"aaaa\naaa"_s << u"aa"_s << 3 << u"3 matches"_s;
    QTest::addRow("escapes are not text")
        << sgr(u"31"_s) + u"red"_s + sgr(u"0"_s) << u"31"_s << 0 << u"No matches"_s;
    QTest::addRow("match across colour change")
        << u"ab"_s + sgr(u"32"_s) + u"cd"_s << u"bc"_s << 1 << u"1 match"_s;
    QTest::addRow("ASCII folding only touches letters")
        << u"A-Z [a-z] @`{"_s << u"[A-Z]"_s << 1 << u"1 match"_s;
    QTest::addRow("non-ASCII, any case") << u"Größe GRÖSSE\ngröße"_s << u"grö"_s << 3 << u"3 matches"_s;
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
    panel.clearLog();
    QCOMPARE(panel.matchCount(), 0);
    QCOMPARE(panel.findChild<QLabel *>(u"logMatchCountLabel"_s)->text(), u"No matches"_s);
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

    QList<int> blocks;
    for (int i = 0; i < 8; ++i) {
        i < 4 ? panel.findNext() : panel.findPrevious();
        QCOMPARE(view->textCursor().selectedText(), u"hit"_s);
        blocks.append(view->textCursor().block().blockNumber());
    }
    // Forward past the last match wraps to the first; backward from the first to the last.
    QCOMPARE(blocks, (QList<int>{0, 2, 3, 0, 3, 2, 0, 3}));
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
    view->verticalScrollBar()->setValue(view->verticalScrollBar()->maximum() / 2);
    check();

    panel.hideSearchBar();
    QVERIFY(view->extraSelections().isEmpty());
}

void tst_ProgressPanel::saveLog()
{
    QTemporaryDir dir;
    QString path = dir.filePath(u"missing/folder/log.txt"_s);
    ProgressPanel panel;
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
    panel.appendLog(sgr(u"31;1"_s) + u"[ERROR] <bad> & worse"_s + sgr(u"0"_s) + u"\nplain ü line"_s);
    panel.saveLogToFile();
    QCOMPARE(boxes, 1);
    QCOMPARE(saved.count(), 0);
    QCOMPARE(title, u"Save Failed"_s);
    const QString head = u"Could not write to file:\n"_s + path + u"\n\n"_s;
    QVERIFY2(text.startsWith(head) && text.size() > head.size(), qPrintable(text));

    // Saved where it can be written: plain text, no escapes, no HTML.
    path = dir.filePath(u"log.txt"_s);
    panel.saveLogToFile();
    QCOMPARE(boxes, 1);
    QCOMPARE(saved.count(), 1);
    QCOMPARE(saved.first().first().toString(), path);
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly | QIODevice::Text));
    QCOMPARE(QString::fromUtf8(file.readAll()), u"[ERROR] <bad> & worse\nplain ü line"_s);
}

QTEST_MAIN(tst_ProgressPanel)
#include "tst_progresspanel.moc"
