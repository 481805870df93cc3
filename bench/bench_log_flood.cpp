// Floods the log view with converter output the way the controller delivers it (blocks of
// 2,000 lines every 100 ms, a tenth of the lines coloured, one in fifty an error or a
// warning) until all lines are in, with the view kept to at most maximum-lines lines (0:
// no limit), and feeds the same lines without colour to a plain QPlainTextEdit with the
// same block limit as the reference. Then measures the search at that size and the ANSI
// conversion against Debian's aha.
//
//   QT_QPA_PLATFORM=offscreen bench_log_flood [total-lines [maximum-lines]]

#include "benchsupport.h"
#include "common/dialogs.h"
#include "progress/ansitext.h"
#include "progress/progresspanel.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QPlainTextEdit>
#include <QProcess>
#include <QScrollBar>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTextDocument>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr int blockLines = 2000;

QString esc(const char *params)
{
    return QChar(0x1b) + u'[' + QLatin1String(params) + u'm';
}

// About 60 characters a line, like the converters' own output.
QString makeLine(int n)
{
    const QString file = n % 10 == 3 ? u"Tower_A.rvt"_s : u"Podium_%1.rvt"_s.arg(n % 7);
    if (n % 50 == 7)
        return esc("31;1") + u"[ERROR]"_s + esc("0") +
               u" %1: element %2 could not be exported"_s.arg(file).arg(n);
    if (n % 50 == 31)
        return esc("33") + u"[WARNING]"_s + esc("0") + u" %1: element %2 has no level"_s.arg(file).arg(n);
    if (n % 10 == 5)
        return esc("36") + u"[Info] %1 exporting category Walls, %2 done"_s.arg(file).arg(n) + esc("0");
    return u"[Info] %1: processed element %2 of category Generic Models"_s.arg(file).arg(n);
}

QString stripEscapes(const QString &line)
{
    QString out;
    QList<AnsiRun> runs;
    ansiToRuns(line, runs);
    for (const AnsiRun &run : runs)
        out += run.text;
    return out;
}

} // namespace

int main(int argc, char *argv[])
{
    preferOffscreenPlatform();
    QApplication app(argc, argv);
    const int totalLines = argc > 1 ? QString::fromLocal8Bit(argv[1]).toInt() : 1'000'000;
    const int maximumLines = argc > 2 ? QString::fromLocal8Bit(argv[2]).toInt() : 200'000;
    const int blocks = totalLines / blockLines;

    QStringList lines;
    lines.reserve(totalLines);
    for (int n = 0; n < totalLines; ++n)
        lines.append(makeLine(n));
    QStringList blockTexts;
    QStringList plainBlocks;
    for (int b = 0; b < blocks; ++b) {
        const QStringList part = lines.mid(b * blockLines, blockLines);
        blockTexts.append(part.join(u'\n'));
        QStringList plain;
        for (const QString &line : part)
            plain.append(stripEscapes(line));
        plainBlocks.append(plain.join(u'\n'));
    }
    qint64 bytes = 0;
    for (const QString &line : lines)
        bytes += line.toUtf8().size() + 1;
    print("lines", QString::number(totalLines));
    print("maximum_lines", QString::number(maximumLines));
    print("average_line_bytes", QString::number(static_cast<double>(bytes) / totalLines, 'f', 1));

    // The log view, shown, with the event loop turning between blocks as in a run.
    qint64 panelNs = 0;
    qint64 longestAppendNs = 0;
    {
        Dialogs dialogs;
        dialogs.setScripted();
        auto *panel = new ProgressPanel(&dialogs);
        panel->setMaximumLines(maximumLines);
        panel->resize(900, 600);
        panel->show();
        QApplication::processEvents();
        const qint64 baseKiB = residentKiB();
        QElapsedTimer total;
        total.start();
        QElapsedTimer one;
        QList<qint64> appendNs;
        appendNs.reserve(blocks);
        // The longest single turn of the event loop, which is where slices of the backlog
        // are shown and the view is trimmed.
        qint64 longestTurnNs = 0;
        const auto turn = [&] {
            one.start();
            QApplication::processEvents();
            longestTurnNs = std::max(longestTurnNs, one.nsecsElapsed());
        };
        const auto printMemory = [&](int inLog) {
            const qint64 kib = residentKiB() - baseKiB;
            print(qPrintable(u"rss_growth_mib_at_%1"_s.arg(inLog)), QString::number(kib / 1024.0, 'f', 1));
            print(qPrintable(u"bytes_per_line_at_%1"_s.arg(inLog)),
                  QString::number(kib * 1024.0 / inLog, 'f', 0));
        };
        // Lines that went into the view; under a limit, lines that a flood pushes out while
        // they still wait are never inserted.
        qint64 linesInserted = 0;
        int lastBlockCount = panel->logView()->document()->blockCount();
        QObject::connect(panel->logView()->document(), &QTextDocument::blockCountChanged, panel,
                         [&](int count) {
                             linesInserted += std::max(0, count - lastBlockCount);
                             lastBlockCount = count;
                         });
        int longestBlock = 0;
        for (int b = 0; b < blocks; ++b) {
            one.start();
            panel->appendLog(blockTexts.at(b));
            appendNs.append(one.nsecsElapsed());
            if (appendNs.last() > 50'000'000)
                print("slow_appendLog_at_line",
                      u"%1 (%2 ms)"_s.arg((b + 1) * blockLines).arg(nsToMs(appendNs.last()), 0, 'f', 1));
            if (appendNs.last() > longestAppendNs) {
                longestAppendNs = appendNs.last();
                longestBlock = b;
            }
            turn();
            const int inLog = (b + 1) * blockLines;
            if (inLog < totalLines &&
                (inLog == 100'000 || inLog == 500'000 || inLog == 1'000'000 || inLog == 2'000'000))
                printMemory(inLog);
        }
        // Slices of a flood may still wait to be shown; the view is done when it has caught up.
        while (panel->isCatchingUp())
            turn();
        panelNs = total.nsecsElapsed();
        printMemory(blocks * blockLines);
        print("log_view_lines_inserted", QString::number(linesInserted));
        print("log_view_blocks_at_end", QString::number(panel->logView()->document()->blockCount()));
        print("longest_event_loop_turn_ms", QString::number(nsToMs(longestTurnNs), 'f', 1));
        // A view at its limit given lines at a pace it keeps up with: the turn that removes
        // the oldest tenth shows what trimming costs.
        if (maximumLines > 0 && blocks > 0) {
            longestTurnNs = 0;
            for (int b = 0; b < maximumLines / 10 / blockLines + 2; ++b) {
                panel->appendLog(blockTexts.at(b % blocks));
                do
                    turn();
                while (panel->isCatchingUp());
            }
            print("longest_event_loop_turn_with_trim_ms", QString::number(nsToMs(longestTurnNs), 'f', 1));
        }
        print("log_view_seconds", QString::number(nsToSeconds(panelNs), 'f', 2));
        print("log_view_lines_per_second", QString::number(totalLines / nsToSeconds(panelNs), 'f', 0));
        print("longest_appendLog_ms", QString::number(nsToMs(longestAppendNs), 'f', 1));
        print("longest_appendLog_at_line", QString::number((longestBlock + 1) * blockLines));
        print("median_appendLog_ms", QString::number(nsToMs(percentile(appendNs, 50)), 'f', 1));
        print("p99_appendLog_ms", QString::number(nsToMs(percentile(appendNs, 99)), 'f', 1));
        print("appendLog_over_50ms",
              QString::number(std::count_if(appendNs.cbegin(), appendNs.cend(),
                                            [](qint64 ns) { return ns > 50'000'000; })));

        // Search at full size: the count over everything, highlights only on screen.
        QElapsedTimer search;
        search.start();
        panel->highlightAllMatches(u"tower_a"_s);
        const qint64 searchNs = search.nsecsElapsed();
        print("search_matches", QString::number(panel->matchCount()));
        print("search_count_and_highlight_ms", QString::number(nsToMs(searchNs), 'f', 1));
        print("visible_highlights", QString::number(panel->logView()->extraSelections().size()));
        // Scroll jumps with the search on, then the same jumps with no search as the
        // reference: the difference is the re-highlighting.
        QScrollBar *bar = panel->logView()->verticalScrollBar();
        const auto jumps = [&] {
            QList<qint64> ns;
            for (int round = 0; round < 3; ++round) {
                for (int step = 1; step <= 10; ++step) {
                    search.start();
                    bar->setValue(bar->maximum() / 11 * (step + round) % (bar->maximum() + 1));
                    ns.append(search.nsecsElapsed());
                }
            }
            return ns;
        };
        const QList<qint64> withSearch = jumps();
        print("scroll_with_highlight_median_ms", QString::number(nsToMs(percentile(withSearch, 50)), 'f', 2));
        print("rehighlight_after_scroll_worst_ms",
              QString::number(nsToMs(percentile(withSearch, 100)), 'f', 2));
        panel->highlightAllMatches(QString());
        const QList<qint64> without = jumps();
        print("scroll_without_search_median_ms", QString::number(nsToMs(percentile(without, 50)), 'f', 2));
        print("scroll_without_search_worst_ms", QString::number(nsToMs(percentile(without, 100)), 'f', 2));
        panel->highlightAllMatches(u"tower_a"_s);
        search.start();
        panel->findNext();
        print("find_next_ms", QString::number(nsToMs(search.nsecsElapsed()), 'f', 2));

        QTemporaryDir dir;
        const QString textPath = dir.filePath(u"log.txt"_s);
        const QString ansiPath = dir.filePath(u"log.ansi"_s);
        {
            QFile text(textPath);
            text.open(QIODevice::WriteOnly);
            text.write(panel->plainText().toUtf8());
            QFile ansi(ansiPath);
            ansi.open(QIODevice::WriteOnly);
            ansi.write(lines.join(u'\n').toUtf8());
        }
        delete panel;

        const QString grep = QStandardPaths::findExecutable(u"grep"_s);
        if (!grep.isEmpty()) {
            QProcess process;
            search.start();
            process.start(grep, {u"-c"_s, u"-i"_s, u"tower_a"_s, textPath});
            process.waitForFinished(-1);
            print("grep_c_ms", QString::number(nsToMs(search.nsecsElapsed()), 'f', 1));
            print("grep_c_lines", QString::fromUtf8(process.readAllStandardOutput().trimmed()));
        }

        // The conversion step alone, against aha on the same input.
        QElapsedTimer convert;
        convert.start();
        qint64 htmlChars = 0;
        for (const QString &line : lines)
            htmlChars += ansiToHtml(line).size();
        const qint64 htmlNs = convert.nsecsElapsed();
        convert.start();
        QList<AnsiRun> runs;
        for (const QString &line : lines)
            ansiToRuns(line, runs);
        const qint64 runsNs = convert.nsecsElapsed();
        print("ansiToHtml_lines_per_second", QString::number(totalLines / nsToSeconds(htmlNs), 'f', 0));
        print("ansiToRuns_lines_per_second", QString::number(totalLines / nsToSeconds(runsNs), 'f', 0));
        print("html_chars", QString::number(htmlChars));
        const QString aha = QStandardPaths::findExecutable(u"aha"_s);
        if (!aha.isEmpty()) {
            QProcess process;
            process.setStandardInputFile(ansiPath);
            process.setStandardOutputFile(QProcess::nullDevice());
            convert.start();
            process.start(aha, {u"--no-header"_s});
            process.waitForFinished(-1);
            const qint64 ahaNs = convert.nsecsElapsed();
            print("aha_lines_per_second", QString::number(totalLines / nsToSeconds(ahaNs), 'f', 0));
            print("ansiToHtml_vs_aha_time_ratio",
                  QString::number(static_cast<double>(htmlNs) / ahaNs, 'f', 2));
        } else {
            print("aha_lines_per_second", u"aha not installed"_s);
        }
    }

    // Reference: the same lines without colour into a plain-text editor.
    {
        QPlainTextEdit reference;
        reference.setReadOnly(true);
        reference.setUndoRedoEnabled(false);
        reference.setMaximumBlockCount(maximumLines);
        reference.resize(900, 600);
        reference.show();
        QApplication::processEvents();
        QElapsedTimer total;
        total.start();
        for (int b = 0; b < blocks; ++b) {
            reference.appendPlainText(plainBlocks.at(b));
            reference.verticalScrollBar()->setValue(reference.verticalScrollBar()->maximum());
            QApplication::processEvents();
        }
        const qint64 referenceNs = total.nsecsElapsed();
        print("reference_plain_seconds", QString::number(nsToSeconds(referenceNs), 'f', 2));
        print("reference_plain_lines_per_second",
              QString::number(totalLines / nsToSeconds(referenceNs), 'f', 0));
        print("log_view_vs_reference_time_ratio",
              QString::number(static_cast<double>(panelNs) / referenceNs, 'f', 2));
    }
    return 0;
}
