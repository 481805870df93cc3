#include "common/formatting.h"
#include "conversion/conversioncontroller.h"
#include "conversion/converterinfo.h"
#include "conversion/converteroutput.h"
#include "progress/batchpanel.h"
#include "progress/progresspanel.h"
#include "testsupport/childprocesses.h"

#include <QDesktopServices>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QStackedWidget>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(FileStatus)

namespace {

// Receives the URLs the desktop would be asked to open.
class UrlCatcher : public QObject
{
    Q_OBJECT
public:
    QList<QUrl> urls;
public Q_SLOTS:
    void handle(const QUrl &url) { urls.append(url); }
};

} // namespace

class tst_BatchPanel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void texts_data();
    void texts();
    void setFilesBuildsRowsAndClears();
    void finishedCells_data();
    void finishedCells();
    void runTransitions();
    void disableDuringRun_data();
    void disableDuringRun();
    void removeShiftsDisabledIndexesAndEnable();
    void contextMenu_data();
    void contextMenu();
    void convertNext();
    void rowsAreFoundAfterResorting();
    void openFolderFallsBackQuickly();
    void wholeRunWithController();

private:
    QFileInfo makeFile(const QString &name, qint64 size);
    QFileInfoList makeFiles(int count);
    QFileInfoList startRun(BatchPanel &panel, int count);
    static void finish(BatchPanel &panel, const QFileInfoList &files, int index, int exitCode);
    QString statusText(const BatchPanel &panel, int fileIndex) const;

    QTemporaryDir tmp;
};

QFileInfo tst_BatchPanel::makeFile(const QString &name, qint64 size)
{
    QFile file(tmp.filePath(name));
    if (file.open(QIODevice::WriteOnly))
        file.write(QByteArray(size, 'x'));
    return QFileInfo(file.fileName());
}

QFileInfoList tst_BatchPanel::makeFiles(int count)
{
    QFileInfoList list;
    for (int i = 0; i < count; ++i)
        list.append(makeFile(QString(QChar(u'a' + i)) + u".rvt"_s, 100));
    return list;
}

QFileInfoList tst_BatchPanel::startRun(BatchPanel &panel, int count)
{
    const QFileInfoList files = makeFiles(count);
    panel.setFiles(files);
    panel.prepareForConversion();
    return files;
}

// Starts file `index` and, unless exitCode is -1 (still running) or -100 (never started), finishes it.
void tst_BatchPanel::finish(BatchPanel &panel, const QFileInfoList &files, int index, int exitCode)
{
    if (exitCode == -100)
        return;
    panel.onFileStarted(index + 1, int(files.size()), files.at(index).absoluteFilePath());
    if (exitCode != -1)
        panel.onFileFinished(index + 1, exitCode, files.at(index).absoluteFilePath());
}

QString tst_BatchPanel::statusText(const BatchPanel &panel, int fileIndex) const
{
    const int row = panel.rowOfFile(fileIndex);
    return row < 0 ? QString() : panel.table()->item(row, BatchPanel::StatusColumn)->text();
}

void tst_BatchPanel::texts_data()
{
    QTest::addColumn<QString>("actual");
    QTest::addColumn<QString>("expected");
    QTest::addRow("999 ms") << formatDuration(999) << u"999 ms"_s;
    QTest::addRow("1000 ms") << formatDuration(1000) << u"1.0 s"_s;
    QTest::addRow("60000 ms") << formatDuration(60000) << u"1.0 min"_s;
    QTest::addRow("clock 65 s") << formatClock(65999) << u"01:05"_s;
    QTest::addRow("clock 3725 s") << formatClock(3725000) << u"1:02:05"_s;
    QTest::addRow("summary disabled")
        << BatchPanel::summaryText(3, 1, 1023) << u"2 file(s), 1023 B (1 disabled)"_s;
    QTest::addRow("summary 1024 B") << BatchPanel::summaryText(1, 0, 1024) << u"1 file(s), 1.0 KB"_s;
}

void tst_BatchPanel::texts()
{
    QFETCH(QString, actual);
    QFETCH(QString, expected);
    QCOMPARE(actual, expected);
}

void tst_BatchPanel::setFilesBuildsRowsAndClears()
{
    BatchPanel panel;
    QSignalSpy changed(&panel, &BatchPanel::activeFilesChanged);
    const QFileInfoList files{makeFile(u"c.rvt"_s, 1023), makeFile(u"a.rvt"_s, 1024),
                              makeFile(u"b.rfa"_s, 2048)};
    panel.setFiles(files);
    QCOMPARE(changed.count(), 1);
    auto *pages = panel.findChild<QStackedWidget *>(u"batchPages"_s);
    QCOMPARE(pages->currentIndex(), 1);
    QCOMPARE(panel.findChild<QLabel *>(u"batchSummaryLabel"_s)->text(), u"3 file(s), 4.0 KB"_s);
    QTableWidget *table = panel.table();
    // Sorted by name, whatever the file order.
    QCOMPARE(table->item(0, 0)->text(), u"a.rvt"_s);
    QCOMPARE(table->item(2, 0)->text(), u"c.rvt"_s);
    const QStringList sizes{u"1023 B"_s, u"1.0 KB"_s, u"2.0 KB"_s};
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(table->item(panel.rowOfFile(i), 2)->text(), sizes.at(i));
        QCOMPARE(statusText(panel, i), u"Pending"_s);
    }
    QSignalSpy cleared(&panel, &BatchPanel::filesCleared);
    panel.findChild<QPushButton *>(u"batchClearButton"_s)->click();
    QCOMPARE(cleared.count(), 1);
    QCOMPARE(changed.count(), 2);
    QCOMPARE(pages->currentIndex(), 0);
}

void tst_BatchPanel::finishedCells_data()
{
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("colour");
    QTest::addColumn<QString>("toolTip");
    QTest::addRow("done") << 0 << u"Done"_s << u"#0dbc79"_s << QString();
    QTest::addRow("skipped is not failed") << -3 << u"Skipped"_s << u"#d7a700"_s << QString();
    QTest::addRow("failed 1") << 1 << u"Failed (1)"_s << u"#cd3131"_s
                              << u"Input file not found.\nClick to jump to error in log."_s;
    QTest::addRow("failed unknown") << 100 << u"Failed (100)"_s << u"#cd3131"_s
                                    << u"Converter exited with code 100.\nClick to jump to error in log."_s;
}

void tst_BatchPanel::finishedCells()
{
    QFETCH(int, exitCode);
    QFETCH(QString, text);
    QFETCH(QString, colour);
    QFETCH(QString, toolTip);
    BatchPanel panel;
    const QFileInfoList files = startRun(panel, 2);
    panel.onFileStarted(1, 2, files.at(0).absoluteFilePath());
    QTest::qWait(5);
    panel.onFileFinished(1, exitCode, files.at(0).absoluteFilePath());
    QTableWidgetItem *cell = panel.table()->item(panel.rowOfFile(0), 3);
    QCOMPARE(cell->text(), text);
    QCOMPARE(cell->foreground().color(), QColor(colour));
    QCOMPARE(cell->toolTip(), toolTip);
    QVERIFY(panel.table()->item(panel.rowOfFile(0), 4)->text().endsWith(u" ms"_s));
}

void tst_BatchPanel::runTransitions()
{
    BatchPanel panel;
    const QFileInfoList files = makeFiles(4);
    panel.setFiles(files);
    panel.disableFile(3);
    panel.prepareForConversion();
    auto *skip = panel.findChild<QPushButton *>(u"batchSkipButton"_s);
    QVERIFY(!skip->isHidden());
    QCOMPARE(panel.exitCodeOf(3), -4);
    QSignalSpy skipRequests(&panel, &BatchPanel::skipCurrentRequested);
    skip->click();
    QCOMPARE(skipRequests.count(), 1);

    panel.onFileStarted(1, 3, files.at(0).absoluteFilePath());
    QCOMPARE(statusText(panel, 0), u"Running..."_s);
    panel.onFileFinished(1, 0, files.at(0).absoluteFilePath());
    panel.onFileStarted(2, 3, files.at(1).absoluteFilePath());
    panel.onCancelled();
    QCOMPARE(panel.statusOf(0), FileStatus::Done);
    QCOMPARE(panel.statusOf(1), FileStatus::Stopped);
    QCOMPARE(panel.exitCodeOf(1), -2);
    QCOMPARE(panel.statusOf(2), FileStatus::Canceled);
    QCOMPARE(panel.exitCodeOf(2), -2);
    QCOMPARE(statusText(panel, 3), u"Disabled"_s);
    QVERIFY(!panel.table()->item(panel.rowOfFile(1), 4)->text().isEmpty());
    QVERIFY(panel.table()->item(panel.rowOfFile(2), 4)->text().isEmpty());
}

void tst_BatchPanel::disableDuringRun_data()
{
    QTest::addColumn<int>("exitCode"); // -1: still Running, -100: never started
    QTest::addRow("pending") << -100;
    QTest::addRow("running") << -1;
    QTest::addRow("done") << 0;
}

void tst_BatchPanel::disableDuringRun()
{
    QFETCH(int, exitCode);
    BatchPanel panel;
    const QFileInfoList files = startRun(panel, 3);
    finish(panel, files, 1, exitCode);
    const QString textBefore = statusText(panel, 1);
    const int rowBefore = panel.rowOfFile(1);
    QStringList order;
    connect(&panel, &BatchPanel::fileExcludedDuringConversion, this,
            [&](const QString &p) { order.append(u"excluded "_s + p); });
    connect(&panel, &BatchPanel::activeFilesChanged, this, [&] { order.append(u"changed"_s); });
    panel.disableFile(1);

    if (exitCode != -100) { // only a waiting file can be disabled
        QVERIFY(order.isEmpty());
        QCOMPARE(statusText(panel, 1), textBefore);
        QCOMPARE(panel.activeFiles().size(), 3);
        return;
    }
    QCOMPARE(order, (QStringList{u"excluded "_s + files.at(1).absoluteFilePath(), u"changed"_s}));
    QCOMPARE(panel.exitCodeOf(1), -4);
    QCOMPARE(panel.rowOfFile(1), rowBefore);
    QCOMPARE(statusText(panel, 1), u"Disabled"_s);
    QCOMPARE(panel.activeFiles(), (QFileInfoList{files.at(0), files.at(2)}));
    QCOMPARE(panel.findChild<QLabel *>(u"batchSummaryLabel"_s)->text(), u"2 file(s), 200 B (1 disabled)"_s);
}

void tst_BatchPanel::removeShiftsDisabledIndexesAndEnable()
{
    BatchPanel panel;
    const QFileInfoList files = startRun(panel, 3);
    finish(panel, files, 2, 0);
    panel.onConversionFinished();
    QSignalSpy excluded(&panel, &BatchPanel::fileExcludedDuringConversion);
    panel.disableFile(1);
    QCOMPARE(excluded.count(), 0); // only during a run
    panel.setAllowRemove(true);
    QStringList order;
    connect(&panel, &BatchPanel::fileRemoved, this,
            [&](const QString &p) { order.append(u"removed "_s + p); });
    connect(&panel, &BatchPanel::activeFilesChanged, this, [&] { order.append(u"changed"_s); });
    panel.removeFile(0);

    QCOMPARE(order, (QStringList{u"removed "_s + files.at(0).absoluteFilePath(), u"changed"_s}));
    QCOMPARE(panel.fileCount(), 2);
    QVERIFY(panel.isDisabled(0));
    QVERIFY(!panel.isDisabled(1));
    QCOMPARE(panel.statusOf(1), FileStatus::Done);
    QCOMPARE(panel.activeFiles(), QFileInfoList{files.at(2)});
    // The path index follows the shift: c is still found by its path.
    panel.prepareForConversion();
    panel.onFileStarted(1, 1, files.at(2).absoluteFilePath());
    QCOMPARE(panel.statusOf(1), FileStatus::Running);

    // Enabling is refused during a run, and works once it is over.
    panel.enableFile(0);
    QVERIFY(panel.isDisabled(0));
    panel.onConversionFinished();
    order.clear();
    panel.enableFile(0);
    QCOMPARE(order, QStringList{u"changed"_s});
    QVERIFY(!panel.isDisabled(0));
    QVERIFY(!panel.table()->item(panel.rowOfFile(0), 0)->data(Qt::ForegroundRole).isValid());
}

void tst_BatchPanel::contextMenu_data()
{
    QTest::addColumn<bool>("run");
    QTest::addColumn<int>("exitCode"); // -100 pending, -1 running, else finished with it
    QTest::addColumn<bool>("disable");
    QTest::addColumn<bool>("allowRemove");
    QTest::addColumn<QStringList>("actions");
    const QStringList tail{u"Open Folder"_s, u"Copy Path"_s};
    QTest::addRow("idle") << false << -100 << false << false << QStringList{u"Disable"_s} + tail;
    QTest::addRow("idle disabled") << false << -100 << true << true
                                   << QStringList{u"Enable"_s} + tail + QStringList{u"Remove"_s};
    QTest::addRow("run pending") << true << -100 << false << true
                                 << QStringList{u"Convert next"_s, u"Disable"_s} + tail;
    QTest::addRow("run running") << true << -1 << false << true << tail;
    QTest::addRow("run skipped") << true << -3 << false << true << QStringList{u"Convert next"_s} + tail;
    QTest::addRow("run disabled") << true << -100 << true << true << tail;
}

void tst_BatchPanel::contextMenu()
{
    QFETCH(bool, run);
    QFETCH(int, exitCode);
    QFETCH(bool, disable);
    QFETCH(bool, allowRemove);
    QFETCH(QStringList, actions);
    BatchPanel panel;
    const QFileInfoList files = makeFiles(2);
    panel.setFiles(files);
    panel.setAllowRemove(allowRemove);
    if (disable)
        panel.disableFile(0);
    if (run) {
        panel.prepareForConversion();
        finish(panel, files, 0, exitCode);
    }
    std::unique_ptr<QMenu> menu(panel.createContextMenu(0, &panel));
    QVERIFY(menu);
    QStringList texts;
    for (QAction *action : menu->actions()) {
        if (!action->isSeparator())
            texts.append(action->text());
    }
    QCOMPARE(texts, actions);
}

void tst_BatchPanel::convertNext()
{
    BatchPanel panel;
    const QFileInfoList files = makeFiles(3);
    panel.setFiles(files);
    QSignalSpy requested(&panel, &BatchPanel::convertNextRequested);
    panel.convertNext(0); // idle: not offered
    QCOMPARE(requested.count(), 0);
    panel.prepareForConversion();
    finish(panel, files, 0, 9);
    finish(panel, files, 1, -1);
    std::unique_ptr<QMenu> menu(panel.createContextMenu(0, &panel));
    menu->actions().first()->trigger();
    QCOMPARE(requested.count(), 1);
    QCOMPARE(requested.first().first().toString(), files.at(0).absoluteFilePath());
    QCOMPARE(panel.statusOf(0), FileStatus::Pending);
    panel.convertNext(1); // running: nothing
    QCOMPARE(requested.count(), 1);
    QCOMPARE(panel.statusOf(1), FileStatus::Running);
}

void tst_BatchPanel::rowsAreFoundAfterResorting()
{
    BatchPanel panel;
    QFileInfoList files;
    for (int i = 0; i < 40; ++i)
        files.append(makeFile(u"f%1.rvt"_s.arg(39 - i, 2, 10, QLatin1Char('0')), i));
    panel.setFiles(files);
    // Sorted by status, every status change moves rows under the panel's feet.
    panel.table()->sortByColumn(BatchPanel::StatusColumn, Qt::DescendingOrder);
    panel.prepareForConversion();
    for (int i = 0; i < files.size(); ++i) {
        if (i != 35) // disabled while waiting, so the run leaves it out
            finish(panel, files, i, i % 3 == 0 ? 0 : (i % 3 == 1 ? 7 : -3));
        if (i == 20)
            panel.disableFile(35);
    }
    for (int i = 0; i < files.size(); ++i) {
        const int row = panel.rowOfFile(i);
        QCOMPARE(panel.table()->item(row, 0)->text(), files.at(i).fileName());
        QCOMPARE(statusText(panel, i),
                 i == 35 ? u"Disabled"_s
                         : fileStatusText(fileStatusForExitCode(panel.exitCodeOf(i)), panel.exitCodeOf(i)));
    }
}

void tst_BatchPanel::openFolderFallsBackQuickly()
{
    // No session bus here: the desktop is asked to open the folder, at once.
    UrlCatcher catcher;
    QDesktopServices::setUrlHandler(u"file"_s, &catcher, "handle");
    BatchPanel panel;
    const QFileInfoList files = makeFiles(1);
    panel.setFiles(files);
    QElapsedTimer clock;
    clock.start();
    Q_EMIT panel.table()->cellClicked(0, BatchPanel::FolderColumn);
    QTRY_COMPARE_WITH_TIMEOUT(catcher.urls.size(), 1, 5000);
    QVERIFY2(clock.elapsed() < 3000, qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(catcher.urls.first(), QUrl::fromLocalFile(tmp.path()));
    QDesktopServices::unsetUrlHandler(u"file"_s);
}

void tst_BatchPanel::wholeRunWithController()
{
    // The input files are scripts for the fake converter that stands in for RvtExporter.exe.
    const auto script = [&](const QString &name, const QByteArray &content) {
        QFile file(tmp.filePath(name));
        if (file.open(QIODevice::WriteOnly))
            file.write(content);
        return QFileInfo(file.fileName());
    };
    const QFileInfoList files{
        script(u"a.rvt"_s, QByteArray()), // the fake's default: stages, progress, a warning, exit 0
        script(u"b.rvt"_s, "stage Reading\nprogress 40\nerror Family could not be read\nexit 9\n"),
        script(u"c.rvt"_s, "print \\e[32mgreen <line>\\e[0m & more\nhang\n"),
        script(u"d.rvt"_s, "print never runs\n"),
        script(u"e.rvt"_s, "warning careful\nprint [warn] second\n"),
    };
    QTemporaryDir output;

    ConversionController controller;
    controller.setConverter(makeRevitConverterInfo(true));
    BatchPanel batch;
    ProgressPanel log;
    batch.show();
    log.show();

    // Wired as the main window wires them.
    connect(&controller, &ConversionController::fileStarted, &batch, &BatchPanel::onFileStarted);
    connect(&controller, &ConversionController::fileFinished, &batch, &BatchPanel::onFileFinished);
    connect(&controller, &ConversionController::logOutput, &log, &ProgressPanel::appendLog);
    connect(&controller, &ConversionController::errorOccurred, &log, [&](int code, const QString &file) {
        log.appendLog(u"[ERROR] %1: %2"_s.arg(file, exitCodeMessage(code)));
    });
    connect(&controller, &ConversionController::allDone, &batch, &BatchPanel::onConversionFinished);
    connect(&batch, &BatchPanel::skipCurrentRequested, &controller, &ConversionController::skipCurrent);
    connect(&batch, &BatchPanel::fileExcludedDuringConversion, &controller,
            &ConversionController::removeFromQueue);
    connect(&batch, &BatchPanel::jumpToLogError, &log, &ProgressPanel::searchFor);

    // The user disables d while a runs and skips c once it hangs.
    QStringList started;
    connect(&controller, &ConversionController::fileStarted, this, [&](int, int, const QString &path) {
        started.append(QFileInfo(path).fileName());
        if (path == files.at(0).absoluteFilePath())
            batch.disableFile(3);
        if (path == files.at(2).absoluteFilePath())
            QTimer::singleShot(300, &batch,
                               [&] { batch.findChild<QPushButton *>(u"batchSkipButton"_s)->click(); });
    });
    QSignalSpy done(&controller, &ConversionController::allDone);

    batch.setFiles(files);
    batch.prepareForConversion();
    QStringList paths;
    for (const QFileInfo &file : batch.activeFiles())
        paths.append(file.absoluteFilePath());
    controller.start(paths, ConversionOptions{}, output.path());
    QVERIFY(done.wait(30000));

    QCOMPARE(done.first(), (QVariantList{2, 1, 1}));
    QCOMPARE(started, (QStringList{u"a.rvt"_s, u"b.rvt"_s, u"c.rvt"_s, u"e.rvt"_s}));
    const QList<FileStatus> expected{FileStatus::Done, FileStatus::Failed, FileStatus::Skipped,
                                     FileStatus::Disabled, FileStatus::Done};
    for (int i = 0; i < files.size(); ++i)
        QCOMPARE(batch.statusOf(i), expected.at(i));
    QTableWidgetItem *failed = batch.table()->item(batch.rowOfFile(1), BatchPanel::StatusColumn);
    QCOMPARE(failed->text(), u"Failed (9)"_s);
    QCOMPARE(failed->toolTip(),
             u"File appears to be corrupted or unreadable.\nClick to jump to error in log."_s);

    // The log got every line, coloured lines as plain text, and counted the tags.
    const QString text = log.plainText();
    QVERIFY(!text.contains(QChar(0x1b)));
    QVERIFY(text.contains(u"green <line> & more"_s));
    QVERIFY(text.contains(u"[ERROR] Family could not be read"_s));
    QVERIFY(text.contains(u"[ERROR] b.rvt: File appears to be corrupted or unreadable."_s));
    QVERIFY(!text.contains(u"never runs"_s));
    QCOMPARE(log.findChild<QLabel *>(u"logErrorCountLabel"_s)->text(), u"2 errors"_s);
    QVERIFY(log.findChild<QLabel *>(u"logWarningCountLabel"_s)->isVisible());

    // A click on the failed status finds the file in the log.
    Q_EMIT batch.table()->cellClicked(batch.rowOfFile(1), BatchPanel::StatusColumn);
    QCOMPARE(log.findChild<QLineEdit *>(u"logSearchEdit"_s)->text(), u"b.rvt"_s);
    QCOMPARE(log.logView()->textCursor().selectedText(), u"b.rvt"_s);

    QTRY_VERIFY2_WITH_TIMEOUT(runningChildProcesses().isEmpty(),
                              qPrintable(runningChildProcesses().join(u", ")), 5000);
}

QTEST_MAIN(tst_BatchPanel)
#include "tst_batchpanel.moc"
