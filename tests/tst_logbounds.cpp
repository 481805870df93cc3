#include "common/dialogs.h"
#include "progress/progresspanel.h"

#include <QFile>
#include <QLabel>
#include <QPlainTextEdit>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTextDocument>

using namespace Qt::StringLiterals;

namespace {

// Line n as the view shows it: every seventh an error, every third naming the tower.
QString plainLine(int n)
{
    return (n % 7 == 0 ? u"[ERROR] "_s : QString()) + (n % 3 == 0 ? u"Tower %1"_s : u"line %1"_s).arg(n);
}

// The same line as a converter sends it, every fifth one coloured.
QString sentLine(int n)
{
    return n % 5 == 0 ? u"\x1b[36m"_s + plainLine(n) + u"\x1b[0m"_s : plainLine(n);
}

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(unreadable)");
}

} // namespace

class tst_LogBounds : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void trimming_data();
    void trimming();
    void fullLogFile_data();
    void fullLogFile();
};

void tst_LogBounds::trimming_data()
{
    QTest::addColumn<int>("limit");
    QTest::addColumn<int>("total");
    QTest::addColumn<int>("perCall");
    QTest::addColumn<QString>("folder");

    QTest::addRow("no limit keeps all") << 0 << 300 << 1 << QString();
    QTest::addRow("up to the limit, no note") << 50 << 50 << 1 << u"/var/log/batch"_s;
    QTest::addRow("one line at a time") << 50 << 300 << 1 << u"/var/log/batch"_s;
    QTest::addRow("no folder set") << 50 << 300 << 7 << QString();
    QTest::addRow("limit of one") << 1 << 40 << 3 << u"/logs"_s;
    QTest::addRow("a block over the limit after a few shown lines") << 200 << 303 << 300 << u"/logs"_s;
    QTest::addRow("one block many times the limit") << 50 << 300 << 300 << u"/logs"_s;
    QTest::addRow("blocks shown in slices, dropped across blocks") << 300 << 8000 << 2000 << u"/logs"_s;
}

void tst_LogBounds::trimming()
{
    QFETCH(int, limit);
    QFETCH(int, total);
    QFETCH(int, perCall);
    QFETCH(QString, folder);
    Dialogs dialogs;
    dialogs.setScripted();
    ProgressPanel panel(&dialogs);
    panel.setMaximumLines(limit);
    panel.setFullLogFolder(folder);
    // Set before the lines come, so the count is kept up as they are shown and trimmed.
    panel.highlightAllMatches(u"tower"_s);
    int mostBlocks = 0;
    connect(panel.logView()->document(), &QTextDocument::blockCountChanged, this,
            [&](int blocks) { mostBlocks = std::max(mostBlocks, blocks); });

    QStringList plain;
    int errors = 0;
    // What does not divide into whole calls goes first, so a full call can follow a few lines.
    for (int n = 0, count = total % perCall ? total % perCall : perCall; n < total;
         n += count, count = perCall) {
        QStringList sent;
        for (int i = n; i < n + count; ++i) {
            sent.append(sentLine(i));
            plain.append(plainLine(i));
            errors += i % 7 == 0;
        }
        panel.appendLog(sent.join(u'\n'));
    }

    // Trimmed in batches of at most a tenth of the limit; the note shows exactly when lines are missing.
    const int slack = limit / 10;
    QStringList shown = panel.plainText().split(u'\n'); // with what still waited
    const bool noted = shown.first().startsWith(u"Earlier lines are no longer shown here"_s);
    if (noted) {
        QVERIFY2(folder.isEmpty() ? shown.first().endsWith(u"here."_s) : shown.first().endsWith(folder),
                 qPrintable(shown.first()));
        shown.removeFirst();
    }
    QCOMPARE(noted, shown.size() < total);
    // What is left is the newest lines, in order, with none missing.
    QVERIFY2(shown.size() <= (limit > 0 ? limit + slack : total), qPrintable(QString::number(shown.size())));
    QVERIFY(shown.size() >= (limit > 0 ? std::min(total, limit) : total));
    QCOMPARE(shown, plain.mid(total - shown.size()));
    // Text that would be trimmed right after being shown never goes in: at most one call's
    // worth of lines (capped by the limit) above the limit and its slack, plus the note.
    const int mostExpected = limit > 0 ? limit + slack + std::min(perCall, limit) + 1 : total;
    QVERIFY2(mostBlocks <= mostExpected, qPrintable(QString::number(mostBlocks)));

    const int expectedMatches = ProgressPanel::countMatches(shown.join(u'\n'), u"tower");
    QCOMPARE(panel.matchCount(), expectedMatches);
    panel.highlightAllMatches(u"TOWER"_s);
    QCOMPARE(panel.matchCount(), expectedMatches);
    QCOMPARE(panel.findChild<QLabel *>(u"logErrorCountLabel"_s)->text(),
             ProgressPanel::countText(errors, true));
}

void tst_LogBounds::fullLogFile_data()
{
    QTest::addColumn<int>("limit");
    QTest::addColumn<bool>("saveOntoItself");

    QTest::addRow("no limit") << 0 << false;
    QTest::addRow("view trimmed to ten lines") << 10 << false;
    QTest::addRow("saved onto the full log") << 10 << true;
}

void tst_LogBounds::fullLogFile()
{
    QFETCH(int, limit);
    QFETCH(bool, saveOntoItself);
    QTemporaryDir dir;
    const QString fullPath = dir.filePath(u"full.log"_s);
    const QString savedPath = saveOntoItself ? fullPath : dir.filePath(u"saved.txt"_s);
    Dialogs dialogs;
    dialogs.setScripted();
    dialogs.setNextFileName(savedPath);
    dialogs.setNextFileName(dir.filePath(u"after-clear.txt"_s));
    ProgressPanel panel(&dialogs);
    panel.setMaximumLines(limit);
    panel.appendLog(u"before the file is set"_s);
    panel.setFullLogFile(fullPath);

    // Longer than the view shows of one line, with an escape that is not a colour.
    const QString longLine = QString(12000, u'x') + u"\x1b]8;;http://a\x1b\\end"_s;
    QByteArray expected;
    for (int n = 0; n < 2000; ++n) {
        panel.appendLog(u"  "_s + sentLine(n) + u"\n\n"_s);
        expected += plainLine(n).toUtf8() + '\n';
    }
    panel.appendLog(longLine);
    expected += QString(12000, u'x').toUtf8() + "end\n";
    QSignalSpy saved(&panel, &ProgressPanel::logSaved);
    panel.saveLogToFile();

    QCOMPARE(saved.size(), 1);
    QCOMPARE(readAll(fullPath), expected);
    QCOMPARE(readAll(savedPath), expected);

    // Clearing ends the file; from then on Save Log writes the view again.
    panel.clearLog();
    panel.appendLog(u"\x1b[31mafter the clear\x1b[0m"_s);
    panel.saveLogToFile();
    QCOMPARE(readAll(fullPath), expected);
    QCOMPARE(readAll(dir.filePath(u"after-clear.txt"_s)), "after the clear");
}

QTEST_MAIN(tst_LogBounds)
#include "tst_logbounds.moc"
