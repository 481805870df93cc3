#include "common/dialogs.h"
#include "progress/ansitext.h"
#include "progress/progresspanel.h"

#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QRandomGenerator>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTextDocument>

using namespace Qt::StringLiterals;

namespace {

// Each character of a one-line document with its colour ("-" for the view's own) and weight.
QStringList lookOf(QTextDocument &document)
{
    QStringList look;
    for (QTextCursor at(&document); at.movePosition(QTextCursor::NextCharacter);) {
        const QTextCharFormat format = at.charFormat();
        const bool coloured = format.hasProperty(QTextFormat::ForegroundBrush);
        look.append(document.characterAt(at.position() - 1) +
                    (coloured ? format.foreground().color().name() : u"-"_s) +
                    QString::number(format.fontWeight()));
    }
    return look;
}

// A label's text while it is shown, empty while hidden.
QString shown(const ProgressPanel &panel, const QString &labelName)
{
    const auto *label = panel.findChild<QLabel *>(labelName);
    return label->isVisibleTo(&panel) ? label->text() : QString();
}

} // namespace

class tst_ProgressPanel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void viewShowsWhatTheHtmlShows_data();
    void viewShowsWhatTheHtmlShows();
    void appending_data();
    void appending();
    void searchCounts_data();
    void searchCounts();
    void findWrapsAround();
    void onlyVisibleMatchesAreHighlighted();
    void escapeInTheSearchField();
    void saveLog();
};

void tst_ProgressPanel::viewShowsWhatTheHtmlShows_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("html");
    const QString red = u"<span style=\"color:#cd3131;\">"_s;
    const QString green = u"<span style=\"color:#0dbc79;\">"_s;
    const QString bold = u"<span style=\"font-weight:bold;\">"_s;
    const QString end = u"</span>"_s;

    QTest::addRow("colour then reset") << u"\x1b[31mred\x1b[0m x"_s << red + u"red"_s + end + u" x"_s;
    QTest::addRow("empty params reset") << u"\x1b[31ma\x1b[mb"_s << red + u"a"_s + end + u"b"_s;
    QTest::addRow("31;1 nests colour then bold") << u"\x1b[31;1mX"_s << red + bold + u"X"_s + end + end;
    QTest::addRow("colours nest until reset")
        << u"\x1b[31ma\x1b[32mb\x1b[0mc"_s << red + u"a"_s + green + u"b"_s + end + end + u"c"_s;
    QTest::addRow("reset inside a list") << u"\x1b[31;0;32mX"_s << red + end + green + u"X"_s + end;
    QTest::addRow("background, default and unknown codes") << u"\x1b[41;39;38;5;7;4mX"_s << u"X"_s;
    QTest::addRow("empty parts ignored") << u"\x1b[;31;;1;mX"_s << red + bold + u"X"_s + end + end;
    QTest::addRow("only resets") << u"\x1b[0m\x1b[m\x1b[0;0m"_s << u""_s;
    QTest::addRow("only a colour") << u"\x1b[32m"_s << green + end;
    QTest::addRow("escaping around escapes")
        << u"a<b\x1b[33m&c>\x1b[0m\"d\""_s
        << u"a&lt;b<span style=\"color:#c09600;\">&amp;c&gt;</span>&quot;d&quot;"_s;
    // Everything but colours is dropped: cursor moves, erase line, hyperlinks, stray escapes.
    QTest::addRow("a sequence that is not a colour") << u"\x1b[31red"_s << u"ed"_s;
    QTest::addRow("stray escape before a real one") << u"\x1b\x1b[31mA"_s << red + u"A"_s + end;
    QTest::addRow("gcc's erase line after colours")
        << u"\x1b[01;31m\x1b[Kerror:\x1b[m\x1b[K x"_s << bold + red + u"error:"_s + end + end + u" x"_s;
    QTest::addRow("cursor up") << u"\x1b[2Aup"_s << u"up"_s;
    QTest::addRow("hyperlink keeps its text")
        << u"see \x1b]8;;https://example.org\x1b\\here\x1b]8;;\x07."_s << u"see here."_s;
    QTest::addRow("NUL is shown") << u"a"_s + QChar(0) + u"b"_s << u"a\u2400b"_s;
    // From here on only the view is compared with what the HTML shows.
    QTest::addRow("tags are text") << u"<b>not bold</b>\x1b[94mblue\x1b[1mb"_s << QString();
    const QString pieces[] = {
        u"a"_s, u"<"_s,   u"&"_s,          u"\x1b[31m"_s, u"\x1b[1m"_s,  u"\x1b[0m"_s,      u"\x1b[m"_s,
        u"["_s, u"m;3"_s, u"\x1b[92;1m"_s, u"\x1b[41m"_s, u"\x1b[97m"_s, u"\x1b[33;0;34m"_s};
    QRandomGenerator random(20240611);
    for (int row = 0; row < 200; ++row) {
        QString line;
        for (int i = random.bounded(1, 13); i > 0; --i)
            line += pieces[random.bounded(int(std::size(pieces)))];
        QTest::addRow("random %d", row) << line << QString();
    }
}

void tst_ProgressPanel::viewShowsWhatTheHtmlShows()
{
    QFETCH(QString, line);
    QFETCH(QString, html);
    if (!html.isNull())
        QCOMPARE(::ansiToHtml(line), html);
    QTextDocument document;
    document.setHtml(::ansiToHtml(line));
    ProgressPanel panel(nullptr);
    panel.appendLog(line);
    QCOMPARE(lookOf(*panel.logView()->document()), lookOf(document));
}

void tst_ProgressPanel::appending_data()
{
    QTest::addColumn<QStringList>("appends");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("errors");
    QTest::addColumn<QString>("warnings");

    QTest::addRow("errors in any case")
        << QStringList{u"[error] x\n[Error] y"_s} << u"[error] x\n[Error] y"_s << u"2 errors"_s << QString();
    QTest::addRow("both tags: an error")
        << QStringList{u"[WARN] [ERROR] b"_s} << u"[WARN] [ERROR] b"_s << u"1 error"_s << QString();
    QTest::addRow("warn and warning, over appends")
        << QStringList{u"[WARN] a\n[warning] b"_s, u"[Warning] c"_s}
        << u"[WARN] a\n[warning] b\n[Warning] c"_s << QString() << u"3 warnings"_s;
    QTest::addRow("tag inside colour")
        << QStringList{u"\x1b[31m[ERROR] red\x1b[0m"_s} << u"[ERROR] red"_s << u"1 error"_s << QString();
    QTest::addRow("tag split by an escape, or not closed")
        << QStringList{u"[ERR\x1b[31mOR]"_s, u"[[ERRORS] [WARNINGS] [WARN"_s}
        << u"[ERROR]\n[[ERRORS] [WARNINGS] [WARN"_s << QString() << QString();
    QTest::addRow("counts restart after clear")
        << QStringList{u"[ERROR] a\n[WARN] b"_s, u"clear"_s, u"[ERROR] c\n[WARN] d"_s}
        << u"[ERROR] c\n[WARN] d"_s << u"1 error"_s << u"1 warning"_s;
    QTest::addRow("blank and reset-only lines add nothing")
        << QStringList{u"first"_s, u"\n   \n\t\n"_s, u"\x1b[0m\n  \x1b[m"_s} << u"first"_s << QString()
        << QString();
    // A colour-only line has nothing to separate in an empty log, but is an empty line later.
    QTest::addRow("colour-only lines") << QStringList{u"\x1b[31m"_s, u"first"_s, u"\x1b[31m\n\x1b[0m\nlast"_s}
                                       << u"first\n\nlast"_s << QString() << QString();
    QTest::addRow("carriage return and paragraph separator do not split a line")
        << QStringList{u"a\rb\u2029c"_s} << u"a b c"_s << QString() << QString();
}

void tst_ProgressPanel::appending()
{
    QFETCH(QStringList, appends);
    QFETCH(QString, text);
    QFETCH(QString, errors);
    QFETCH(QString, warnings);
    ProgressPanel panel(nullptr);
    panel.show();
    for (const QString &append : appends)
        append == u"clear" ? panel.clearLog() : panel.appendLog(append);
    QCOMPARE(panel.plainText(), text);
    QCOMPARE(shown(panel, u"logErrorCountLabel"_s), errors);
    QCOMPARE(shown(panel, u"logWarningCountLabel"_s), warnings);
}

void tst_ProgressPanel::searchCounts_data()
{
    QTest::addColumn<QString>("log");
    QTest::addColumn<QString>("term");
    QTest::addColumn<int>("count");
    QTest::addColumn<QString>("label");

    QTest::addRow("none") << u"alpha\nbeta"_s << u"gamma"_s << 0 << u"No matches"_s;
    QTest::addRow("any case") << u"Foo foo\nFOO"_s << u"foo"_s << 3 << u"3 matches"_s;
    QTest::addRow("no overlaps") << u"aaaa\naaa"_s << u"aa"_s << 3 << u"3 matches"_s;
    QTest::addRow("escapes are not text") << u"\x1b[31mred\x1b[0m"_s << u"31"_s << 0 << u"No matches"_s;
    QTest::addRow("match across colour change") << u"ab\x1b[32mcd"_s << u"bc"_s << 1 << u"1 match"_s;
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
    ProgressPanel panel(nullptr);
    panel.show();
    panel.appendLog(log);
    panel.showSearchBar();
    panel.findChild<QLineEdit *>(u"logSearchEdit"_s)->setText(term);
    QCOMPARE(panel.matchCount(), count);
    QCOMPARE(shown(panel, u"logMatchCountLabel"_s), label);
    // Lines arriving while the search is open are counted as they come, until the log is cleared.
    panel.appendLog(log);
    QCOMPARE(panel.matchCount(), 2 * count);
    panel.clearLog();
    QCOMPARE(shown(panel, u"logMatchCountLabel"_s), u"No matches"_s);
}

void tst_ProgressPanel::findWrapsAround()
{
    ProgressPanel panel(nullptr);
    panel.show();
    panel.appendLog(u"x hit\ny\nz hit\nhit w"_s);
    panel.searchFor(u"hit"_s);
    QList<int> blocks;
    for (int i = 0; i < 8; ++i) {
        QCOMPARE(panel.logView()->textCursor().selectedText(), u"hit"_s);
        blocks.append(panel.logView()->textCursor().blockNumber());
        i < 3 ? panel.findNext() : panel.findPrevious();
    }
    // Forward past the last match wraps to the first; backward from the first to the last.
    QCOMPARE(blocks, (QList<int>{0, 2, 3, 0, 3, 2, 0, 3}));
}

void tst_ProgressPanel::onlyVisibleMatchesAreHighlighted()
{
    ProgressPanel panel(nullptr);
    panel.resize(500, 300);
    panel.show();
    QStringList lines;
    for (int i = 0; i < 5000; ++i)
        lines.append(i % 10 == 0 ? u"line %1 with TERM"_s.arg(i) : u"line %1"_s.arg(i));
    panel.appendLog(lines.join(u'\n'));
    // A hand-over this large may be shown in slices.
    QTRY_COMPARE(panel.logView()->document()->blockCount(), 5000);
    panel.highlightAllMatches(u"term"_s);
    QCOMPARE(panel.matchCount(), 500);

    QPlainTextEdit *view = panel.logView();
    QScrollBar *bar = view->verticalScrollBar();
    // New lines scroll the view to the end; blank ones add nothing and leave it where it is.
    QCOMPARE(bar->value(), bar->maximum());
    for (const int value : {bar->maximum() / 2, 0}) {
        bar->setValue(value);
        panel.appendLog(u"\n \n"_s);
        QCOMPARE(bar->value(), value);
        QList<int> onScreen;
        const int bottom = view->cursorForPosition(view->viewport()->rect().bottomRight()).blockNumber();
        for (int block = view->cursorForPosition(QPoint(0, 0)).blockNumber(); block <= bottom; ++block)
            onScreen.append(block % 10 == 0 ? QList<int>{block} : QList<int>{});
        QList<int> highlighted;
        for (const QTextEdit::ExtraSelection &selection : view->extraSelections())
            highlighted.append(selection.cursor.selectedText() == u"TERM" ? selection.cursor.blockNumber()
                                                                          : -1);
        QVERIFY(!onScreen.isEmpty());
        QCOMPARE(highlighted, onScreen);
    }
    panel.hideSearchBar();
    QVERIFY(view->extraSelections().isEmpty());
}

void tst_ProgressPanel::escapeInTheSearchField()
{
    ProgressPanel panel(nullptr);
    panel.show();
    panel.showSearchBar();
    auto *searchEdit = panel.findChild<QLineEdit *>(u"logSearchEdit"_s);
    // While a run is active the window takes Escape, to stop the run.
    panel.setEscapeClosesSearch(false);
    QTest::keyClick(searchEdit, Qt::Key_Escape);
    QVERIFY(searchEdit->isVisible());
    panel.setEscapeClosesSearch(true);
    QTest::keyClick(searchEdit, Qt::Key_Escape);
    QVERIFY(!searchEdit->isVisible());
}

void tst_ProgressPanel::saveLog()
{
    QTemporaryDir dir;
    const QString unwritable = dir.filePath(u"missing/log.txt"_s);
    const QString path = dir.filePath(u"log.txt"_s);
    Dialogs dialogs;
    dialogs.setScripted();
    dialogs.setNextFileName(unwritable);
    dialogs.setNextFileName(path);
    ProgressPanel panel(&dialogs);
    QSignalSpy saved(&panel, &ProgressPanel::logSaved);
    panel.appendLog(u"\x1b[31;1m[ERROR] <bad> & worse\x1b[0m\nplain ü line"_s);
    panel.saveLogToFile();
    panel.saveLogToFile();

    const QList<Dialogs::Request> warnings = dialogs.requestsOf(Dialogs::Kind::Warning);
    QCOMPARE(warnings.size(), 1);
    QCOMPARE(warnings.at(0).detail, u"Save Failed"_s);
    QVERIFY2(warnings.at(0).text.startsWith(u"Could not write to file:\n"_s + unwritable + u"\n\n"_s),
             qPrintable(warnings.at(0).text));
    // Only the second, writable, path is saved: plain text, without escapes or HTML.
    QCOMPARE(saved.size(), 1);
    QCOMPARE(saved.at(0).at(0).toString(), path);
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(QString::fromUtf8(file.readAll()), u"[ERROR] <bad> & worse\nplain ü line"_s);
}

QTEST_MAIN(tst_ProgressPanel)
#include "tst_progresspanel.moc"
