// The log view: colours, error and warning counts, search, saving, and the lines it must survive.

#include "common/dialogs.h"
#include "progress/ansitext.h"
#include "progress/progresspanel.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QLabel>
#include <QPlainTextEdit>
#include <QRandomGenerator>
#include <QScrollBar>
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
        const QString colour =
            format.hasProperty(QTextFormat::ForegroundBrush) ? format.foreground().color().name() : u"-"_s;
        look.append(document.characterAt(at.position() - 1) + colour + QString::number(format.fontWeight()));
    }
    return look;
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
    void searchInALongLog();
    void saveLog();
};

void tst_ProgressPanel::viewShowsWhatTheHtmlShows_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("html");
    const QString red = u"<span style=\"color:#cd3131;\">"_s;
    const QString bold = u"<span style=\"font-weight:bold;\">"_s;
    const QString end = u"</span>"_s;

    QTest::addRow("colour then reset") << u"\x1b[31mred\x1b[0m x"_s << red + u"red"_s + end + u" x"_s;
    QTest::addRow("reset inside a list") << u"\x1b[1;0;31mX"_s << bold + end + red + u"X"_s + end;
    QTest::addRow("background, default and unknown codes") << u"\x1b[41;39;38;5;7;4mX"_s << u"X"_s;
    QTest::addRow("31;1 nests colour then bold, empty parts ignored")
        << u"\x1b[;31;;1;mX"_s << red + bold + u"X"_s + end + end;
    // Everything but colours is dropped: cursor moves, erase line, hyperlinks, stray escapes.
    QTest::addRow("a sequence that is not a colour") << u"\x1b[31red"_s << u"ed"_s;
    QTest::addRow("stray escape before a real one") << u"\x1b\x1b[31mA"_s << red + u"A"_s + end;
    QTest::addRow("gcc's erase line after colours")
        << u"\x1b[01;31m\x1b[Kerror:\x1b[m\x1b[K x"_s << bold + red + u"error:"_s + end + end + u" x"_s;
    QTest::addRow("hyperlink keeps its text")
        << u"see \x1b]8;;https://example.org\x1b\\here\x1b]8;;\x07."_s << u"see here."_s;
    QTest::addRow("NUL is shown") << u"a"_s + QChar(0) + u"b"_s << u"a\u2400b"_s;
    // Random lines, markup characters among them: only the view is compared with the HTML.
    const QStringList pieces = (u"a|<|&|[|m;3|\x1b[31m|\x1b[1m|\x1b[0m|\x1b[m|"
                                u"\x1b[92;1m|\x1b[41m|\x1b[97m|\x1b[33;0;34m"_s)
                                   .split(u'|');
    QRandomGenerator random(20240611);
    for (int row = 0; row < 200; ++row) {
        QString line;
        for (int i = random.bounded(1, 13); i > 0; --i)
            line += pieces.at(random.bounded(pieces.size()));
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
    // Steps: "clear" clears the log, "?term" searches for term, anything else is appended.
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<QString>("shown"); // the text, then the count labels on show
    QTest::addRow("any case") << QStringList{u"[error]\n[WARN]\n[Error]"_s, u"[warning]\n[Warning]"_s}
                              << u"[error]\n[WARN]\n[Error]\n[warning]\n[Warning] | 2 errors | 3 warnings"_s;
    QTest::addRow("both tags, or in colour") << QStringList{u"[WARN] [ERROR]"_s, u"\x1b[31m[ERROR]\x1b[0m"_s}
                                             << u"[WARN] [ERROR]\n[ERROR] | 2 errors"_s;
    QTest::addRow("split or unclosed") << QStringList{u"[ERR\x1b[31mOR]"_s, u"[[ERRORS] [WARNINGS] [WARN"_s}
                                       << u"[ERROR]\n[[ERRORS] [WARNINGS] [WARN"_s;
    QTest::addRow("after clear") << QStringList{u"[ERROR]\n[WARN]"_s, u"clear"_s, u"[WARN]\n[ERROR]"_s}
                                 << u"[WARN]\n[ERROR] | 1 error | 1 warning"_s;
    // Blank and reset-only lines add nothing; a colour-only line is an empty line, but not first.
    QTest::addRow("lines without text")
        << QStringList{u"\x1b[31m"_s, u"first"_s, u"\n   \n\t\n"_s, u"\x1b[31m\n\x1b[0m\n  \x1b[m\nlast"_s}
        << u"first\n\nlast"_s;
    QTest::addRow("CR and paragraph separator inside a line") << QStringList{u"a\rb\u2029c"_s} << u"a b c"_s;
    // Laying out a line costs more than linearly with its length; the view shows its start.
    QTest::addRow("a huge line is cut")
        << QStringList{u"before"_s, QString(1'000'000, u'x')}
        << u"before\n"_s + QString(10'000, u'x') + u" … [990000 more characters not shown]"_s;
    QTest::addRow("no overlaps") << QStringList{u"aaaa\naaa"_s, u"?aa"_s} << u"aaaa\naaa | 3 matches"_s;
    QTest::addRow("escapes are no text") << QStringList{u"\x1b[31mred"_s, u"?31"_s} << u"red | No matches"_s;
    QTest::addRow("across colours") << QStringList{u"ab\x1b[32mcd"_s, u"?bc"_s} << u"abcd | 1 match"_s;
    QTest::addRow("non-ASCII") << QStringList{u"Öl öl\nÖL"_s, u"?öl"_s} << u"Öl öl\nÖL | 3 matches"_s;
    QTest::addRow("as lines come") << QStringList{u"a"_s, u"?a"_s, u"A a"_s} << u"a\nA a | 3 matches"_s;
    QTest::addRow("matches cleared") << QStringList{u"foo"_s, u"?foo"_s, u"clear"_s} << u" | No matches"_s;
}

void tst_ProgressPanel::appending()
{
    QFETCH(QStringList, steps);
    ProgressPanel panel(nullptr);
    panel.show();
    for (const QString &step : std::as_const(steps)) {
        if (step == u"clear")
            panel.clearLog();
        else
            step.startsWith(u'?') ? panel.searchFor(step.mid(1)) : panel.appendLog(step);
    }
    // What was handed over comes out at once, the huge line included.
    const QDeadlineTimer deadline(3000);
    QStringList shown{panel.plainText()};
    QVERIFY(!deadline.hasExpired());
    for (const QLabel *label : panel.findChildren<QLabel *>()) {
        if (label->isVisibleTo(&panel) && !label->text().isEmpty())
            shown.append(label->text());
    }
    QTEST(shown.join(u" | "_s), "shown");
}

void tst_ProgressPanel::searchInALongLog()
{
    ProgressPanel panel(nullptr);
    panel.resize(500, 300);
    panel.show();
    for (int i = 0; i < 5000; ++i)
        panel.appendLog(i % 10 == 0 ? u"line %1 with TERM"_s.arg(i) : u"line %1"_s.arg(i));
    QPlainTextEdit *view = panel.logView();
    // Backward from the first match wraps to the last, forward from the last to the first.
    panel.searchFor(u"term"_s);
    QCOMPARE(panel.matchCount(), 500);
    QList<int> found{view->textCursor().blockNumber()};
    for (const bool forward : {false, true, true}) {
        forward ? panel.findNext() : panel.findPrevious();
        found.append(view->textCursor().selectedText() == u"TERM" ? view->textCursor().blockNumber() : -1);
    }
    QCOMPARE(found, (QList<int>{0, 4990, 0, 10}));

    // Only the matches on screen are highlighted.
    view->verticalScrollBar()->setValue(view->verticalScrollBar()->maximum() / 2);
    QList<int> onScreen, highlighted;
    const int bottom = view->cursorForPosition(view->viewport()->rect().bottomRight()).blockNumber();
    for (int block = view->cursorForPosition(QPoint(0, 0)).blockNumber(); block <= bottom; ++block)
        onScreen.append(block % 10 == 0 ? QList<int>{block} : QList<int>{});
    for (const QTextEdit::ExtraSelection &selection : view->extraSelections())
        highlighted.append(selection.cursor.selectedText() == u"TERM" ? selection.cursor.blockNumber() : -1);
    QVERIFY(!onScreen.isEmpty());
    QCOMPARE(highlighted, onScreen);

    // Escape closes the bar and its highlights, except during a run: the window stops the run with it.
    QWidget *edit = panel.findChild<QWidget *>(u"logSearchEdit"_s);
    for (const bool closes : {false, true}) {
        panel.setEscapeClosesSearch(closes);
        QTest::keyClick(edit, Qt::Key_Escape);
        QCOMPARE(std::pair(edit->isVisible(), view->extraSelections().isEmpty()), std::pair(!closes, closes));
    }
}

void tst_ProgressPanel::saveLog()
{
    QTemporaryDir dir;
    Dialogs dialogs;
    dialogs.setScripted();
    // The first path chosen cannot be written, the second can.
    for (const QString &name : {u"missing/log.txt"_s, u"log.txt"_s})
        dialogs.setNextFileName(dir.filePath(name));
    ProgressPanel panel(&dialogs);
    panel.appendLog(u"\x1b[31;1m[ERROR] <bad> & worse\x1b[0m\nplain ü line"_s);
    panel.saveLogToFile();
    panel.saveLogToFile();
    const QList<Dialogs::Request> warnings = dialogs.requestsOf(Dialogs::Kind::Warning);
    QCOMPARE(warnings.size(), 1);
    QVERIFY(warnings[0].detail == u"Save Failed" && warnings[0].text.contains(dir.filePath(u"missing"_s)));
    // Saved as plain text, without escapes or HTML.
    QFile file(dir.filePath(u"log.txt"_s));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(QString::fromUtf8(file.readAll()), u"[ERROR] <bad> & worse\nplain ü line"_s);
}

QTEST_MAIN(tst_ProgressPanel)
#include "tst_progresspanel.moc"
