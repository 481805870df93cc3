// The batch table on its own: rows, status cells, the run's transitions, the per-file
// actions and their menu. Whole runs through the window are in tst_mainwindow.

#include "common/dialogs.h"
#include "common/formatting.h"
#include "common/showinfolder.h"
#include "progress/batchpanel.h"

#include <QAction>
#include <QDesktopServices>
#include <QElapsedTimer>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QSignalSpy>
#include <QStackedWidget>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

// What a file goes through in a run before the test looks at it.
enum class Outcome { NotStarted, Running, Finished };
Q_DECLARE_METATYPE(Outcome)

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
    void init();
    void texts_data();
    void texts();
    void setFilesSortsAndClears();
    void finishedCells_data();
    void finishedCells();
    void cancelStopsRunningAndCancelsWaiting();
    void disableDuringRun_data();
    void disableDuringRun();
    void removeKeepsRecordsTogether();
    void contextMenu_data();
    void contextMenu();
    void convertNextOnlyWhereAllowed();
    void rowsAreFoundAfterResorting();
    void folderAndStatusClicks();
    void showInFolderFallsBackQuickly();

private:
    QFileInfo makeFile(const QString &name, qint64 size = 100);
    QFileInfoList makeFiles(int count);
    void play(const QFileInfoList &files, int index, Outcome outcome, int exitCode = 0);
    QString statusText(int fileIndex) const;

    QTemporaryDir tmp;
    Dialogs dialogs;
    std::unique_ptr<BatchPanel> panel;
};

void tst_BatchPanel::init()
{
    dialogs.setScripted();
    dialogs.clearRequests();
    panel = std::make_unique<BatchPanel>(&dialogs);
}

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
        list.append(makeFile(QString(QChar(u'a' + i)) + u".rvt"_s));
    return list;
}

void tst_BatchPanel::play(const QFileInfoList &files, int index, Outcome outcome, int exitCode)
{
    const QString path = files.at(index).absoluteFilePath();
    if (outcome != Outcome::NotStarted)
        panel->onFileStarted(index + 1, int(files.size()), path);
    if (outcome == Outcome::Finished)
        panel->onFileFinished(index + 1, exitCode, path);
}

QString tst_BatchPanel::statusText(int fileIndex) const
{
    const int row = panel->rowOfFile(fileIndex);
    return row < 0 ? QString() : panel->table()->item(row, BatchPanel::StatusColumn)->text();
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

void tst_BatchPanel::setFilesSortsAndClears()
{
    QSignalSpy changed(panel.get(), &BatchPanel::activeFilesChanged);
    panel->setFiles({makeFile(u"c.rvt"_s, 1023), makeFile(u"a.rvt"_s, 1024), makeFile(u"b.rfa"_s, 2048)});
    QCOMPARE(changed.count(), 1);
    auto *pages = panel->findChild<QStackedWidget *>(u"batchPages"_s);
    QCOMPARE(pages->currentIndex(), 1);
    QCOMPARE(panel->findChild<QLabel *>(u"batchSummaryLabel"_s)->text(), u"3 file(s), 4.0 KB"_s);
    // Sorted by name, whatever the file order; each file still finds its own row.
    QCOMPARE(panel->table()->item(0, 0)->text(), u"a.rvt"_s);
    const QStringList sizes{u"1023 B"_s, u"1.0 KB"_s, u"2.0 KB"_s};
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(panel->table()->item(panel->rowOfFile(i), BatchPanel::SizeColumn)->text(), sizes.at(i));
        QCOMPARE(statusText(i), u"Pending"_s);
    }
    QSignalSpy cleared(panel.get(), &BatchPanel::filesCleared);
    panel->findChild<QPushButton *>(u"batchClearButton"_s)->click();
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
    const QFileInfoList files = makeFiles(2);
    panel->setFiles(files);
    panel->prepareForConversion();
    play(files, 0, Outcome::Running);
    QTest::qWait(5);
    play(files, 0, Outcome::Finished, exitCode);
    QTableWidgetItem *cell = panel->table()->item(panel->rowOfFile(0), BatchPanel::StatusColumn);
    QCOMPARE(cell->text(), text);
    QCOMPARE(cell->foreground().color(), QColor(colour));
    QCOMPARE(cell->toolTip(), toolTip);
    QVERIFY(panel->table()->item(panel->rowOfFile(0), BatchPanel::DurationColumn)->text().endsWith(u" ms"_s));
}

void tst_BatchPanel::cancelStopsRunningAndCancelsWaiting()
{
    const QFileInfoList files = makeFiles(4);
    panel->setFiles(files);
    panel->disableFile(3);
    panel->prepareForConversion();
    auto *skip = panel->findChild<QPushButton *>(u"batchSkipButton"_s);
    QVERIFY(!skip->isHidden());
    QCOMPARE(panel->exitCodeOf(3), -4);
    QSignalSpy skipRequests(panel.get(), &BatchPanel::skipCurrentRequested);
    skip->click();
    QCOMPARE(skipRequests.count(), 1);

    play(files, 0, Outcome::Running);
    QCOMPARE(statusText(0), u"Running..."_s);
    play(files, 0, Outcome::Finished, 0);
    play(files, 1, Outcome::Running);
    panel->onCancelled();
    QVERIFY(skip->isHidden());
    const QList<FileStatus> expected{FileStatus::Done, FileStatus::Stopped, FileStatus::Canceled,
                                     FileStatus::Disabled};
    const QList<int> codes{0, -2, -2, -4};
    for (int i = 0; i < 4; ++i) {
        QCOMPARE(panel->statusOf(i), expected.at(i));
        QCOMPARE(panel->exitCodeOf(i), codes.at(i));
    }
    // The stopped file ran for a while; the canceled one never did.
    QVERIFY(!panel->table()->item(panel->rowOfFile(1), BatchPanel::DurationColumn)->text().isEmpty());
    QVERIFY(panel->table()->item(panel->rowOfFile(2), BatchPanel::DurationColumn)->text().isEmpty());
    QCOMPARE(panel->filesWithStatus({FileStatus::Stopped, FileStatus::Canceled}),
             (QFileInfoList{files.at(1), files.at(2)}));
}

void tst_BatchPanel::disableDuringRun_data()
{
    QTest::addColumn<Outcome>("outcome");
    QTest::addRow("pending") << Outcome::NotStarted;
    QTest::addRow("running") << Outcome::Running;
    QTest::addRow("done") << Outcome::Finished;
}

void tst_BatchPanel::disableDuringRun()
{
    QFETCH(Outcome, outcome);
    const QFileInfoList files = makeFiles(3);
    panel->setFiles(files);
    panel->prepareForConversion();
    play(files, 1, outcome);
    const QString textBefore = statusText(1);
    const int rowBefore = panel->rowOfFile(1);
    QStringList order;
    connect(panel.get(), &BatchPanel::fileExcludedDuringConversion, this,
            [&](const QString &p) { order.append(u"excluded "_s + p); });
    connect(panel.get(), &BatchPanel::activeFilesChanged, this, [&] { order.append(u"changed"_s); });
    panel->disableFile(1);

    if (outcome != Outcome::NotStarted) { // only a waiting file can be disabled
        QVERIFY(order.isEmpty());
        QCOMPARE(statusText(1), textBefore);
        QCOMPARE(panel->activeFiles().size(), 3);
        return;
    }
    QCOMPARE(order, (QStringList{u"excluded "_s + files.at(1).absoluteFilePath(), u"changed"_s}));
    QCOMPARE(panel->exitCodeOf(1), -4);
    // Greyed where it is, so the user does not lose track of it.
    QCOMPARE(panel->rowOfFile(1), rowBefore);
    QCOMPARE(statusText(1), u"Disabled"_s);
    QCOMPARE(panel->activeFiles(), (QFileInfoList{files.at(0), files.at(2)}));
    QCOMPARE(panel->findChild<QLabel *>(u"batchSummaryLabel"_s)->text(), u"2 file(s), 200 B (1 disabled)"_s);
}

void tst_BatchPanel::removeKeepsRecordsTogether()
{
    const QFileInfoList files = makeFiles(3);
    panel->setFiles(files);
    panel->prepareForConversion();
    play(files, 2, Outcome::Finished, 0);
    panel->onConversionFinished();
    panel->disableFile(1);
    panel->setAllowRemove(true);
    QStringList order;
    connect(panel.get(), &BatchPanel::fileRemoved, this,
            [&](const QString &p) { order.append(u"removed "_s + p); });
    connect(panel.get(), &BatchPanel::activeFilesChanged, this, [&] { order.append(u"changed"_s); });
    panel->removeFile(0);

    // Every fact of a file moves with it: b keeps its disabling, c its result.
    QCOMPARE(order, (QStringList{u"removed "_s + files.at(0).absoluteFilePath(), u"changed"_s}));
    QCOMPARE(panel->fileCount(), 2);
    QVERIFY(panel->isDisabled(0));
    QCOMPARE(panel->statusOf(1), FileStatus::Done);
    QCOMPARE(panel->activeFiles(), QFileInfoList{files.at(2)});
    // The path lookup follows the shift: c is still found by its path.
    panel->prepareForConversion();
    play(files, 2, Outcome::Running);
    QCOMPARE(panel->statusOf(1), FileStatus::Running);

    // Enabling is refused during a run, and works once it is over.
    panel->enableFile(0);
    QVERIFY(panel->isDisabled(0));
    panel->onConversionFinished();
    panel->enableFile(0);
    QVERIFY(!panel->isDisabled(0));
    QVERIFY(!panel->table()->item(panel->rowOfFile(0), 0)->data(Qt::ForegroundRole).isValid());
}

void tst_BatchPanel::contextMenu_data()
{
    QTest::addColumn<bool>("run");
    QTest::addColumn<Outcome>("outcome");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<bool>("disable");
    QTest::addColumn<bool>("ownerActionEnabled");
    QTest::addColumn<QStringList>("actions");
    const QStringList tail{u"Open Folder"_s, u"Copy Path"_s};
    const QStringList remove{u"Remove"_s};
    const QStringList owner{u"Retry Failed"_s};
    QTest::addRow("idle") << false << Outcome::NotStarted << 0 << false << false
                          << QStringList{u"Disable"_s} + tail + remove;
    QTest::addRow("idle disabled, owner's action") << false << Outcome::NotStarted << 0 << true << true
                                                   << QStringList{u"Enable"_s} + tail + remove + owner;
    QTest::addRow("run pending") << true << Outcome::NotStarted << 0 << false << false
                                 << QStringList{u"Convert next"_s, u"Disable"_s} + tail;
    QTest::addRow("run running") << true << Outcome::Running << 0 << false << false << tail;
    QTest::addRow("run skipped") << true << Outcome::Finished << -3 << false << false
                                 << QStringList{u"Convert next"_s} + tail;
    QTest::addRow("run done") << true << Outcome::Finished << 0 << false << false << tail;
    QTest::addRow("run disabled") << true << Outcome::NotStarted << 0 << true << false << tail;
}

void tst_BatchPanel::contextMenu()
{
    QFETCH(bool, run);
    QFETCH(Outcome, outcome);
    QFETCH(int, exitCode);
    QFETCH(bool, disable);
    QFETCH(bool, ownerActionEnabled);
    QFETCH(QStringList, actions);
    QAction retry(u"Retry Failed"_s);
    retry.setEnabled(ownerActionEnabled);
    panel->addContextMenuAction(&retry);
    const QFileInfoList files = makeFiles(2);
    panel->setFiles(files);
    panel->setAllowRemove(true);
    if (disable)
        panel->disableFile(0);
    if (run) {
        panel->prepareForConversion();
        play(files, 0, outcome, exitCode);
    }
    std::unique_ptr<QMenu> menu(panel->createContextMenu(0, panel.get()));
    QVERIFY(menu);
    QStringList texts;
    for (QAction *action : menu->actions()) {
        if (!action->isSeparator())
            texts.append(action->text());
    }
    QCOMPARE(texts, actions);
}

void tst_BatchPanel::convertNextOnlyWhereAllowed()
{
    const QFileInfoList files = makeFiles(3);
    panel->setFiles(files);
    QSignalSpy requested(panel.get(), &BatchPanel::convertNextRequested);
    panel->convertNext(0); // idle: not offered
    QCOMPARE(requested.count(), 0);
    panel->prepareForConversion();
    play(files, 0, Outcome::Finished, 9);
    play(files, 1, Outcome::Running);
    std::unique_ptr<QMenu> menu(panel->createContextMenu(0, panel.get()));
    menu->actions().first()->trigger();
    QCOMPARE(requested.count(), 1);
    QCOMPARE(requested.first().first().toString(), files.at(0).absoluteFilePath());
    QCOMPARE(panel->statusOf(0), FileStatus::Pending);
    QVERIFY(panel->table()->item(panel->rowOfFile(0), BatchPanel::DurationColumn)->text().isEmpty());
    panel->convertNext(1); // running: nothing
    QCOMPARE(requested.count(), 1);
    QCOMPARE(panel->statusOf(1), FileStatus::Running);
}

void tst_BatchPanel::rowsAreFoundAfterResorting()
{
    QFileInfoList files;
    for (int i = 0; i < 40; ++i)
        files.append(makeFile(u"f%1.rvt"_s.arg(39 - i, 2, 10, QLatin1Char('0')), i));
    panel->setFiles(files);
    // Sorted by status, every status change moves rows under the panel's feet.
    panel->table()->sortByColumn(BatchPanel::StatusColumn, Qt::DescendingOrder);
    panel->prepareForConversion();
    for (int i = 0; i < files.size(); ++i) {
        if (i != 35) // disabled while waiting, so the run leaves it out
            play(files, i, Outcome::Finished, i % 3 == 0 ? 0 : (i % 3 == 1 ? 7 : -3));
        if (i == 20)
            panel->disableFile(35);
    }
    for (int i = 0; i < files.size(); ++i) {
        QCOMPARE(panel->table()->item(panel->rowOfFile(i), 0)->text(), files.at(i).fileName());
        const int code = panel->exitCodeOf(i);
        QCOMPARE(statusText(i), i == 35 ? u"Disabled"_s : fileStatusText(fileStatusForExitCode(code), code));
    }
}

void tst_BatchPanel::folderAndStatusClicks()
{
    const QFileInfoList files = makeFiles(2);
    panel->setFiles(files);
    panel->prepareForConversion();
    play(files, 1, Outcome::Finished, 2);
    QSignalSpy jump(panel.get(), &BatchPanel::jumpToLogError);
    Q_EMIT panel->table()->cellClicked(panel->rowOfFile(0), BatchPanel::StatusColumn);
    QCOMPARE(jump.count(), 0);
    Q_EMIT panel->table()->cellClicked(panel->rowOfFile(1), BatchPanel::StatusColumn);
    QCOMPARE(jump.count(), 1);
    QCOMPARE(jump.first().first().toString(), u"b.rvt"_s);
    Q_EMIT panel->table()->cellClicked(panel->rowOfFile(1), BatchPanel::FolderColumn);
    const QList<Dialogs::Request> shown = dialogs.requestsOf(Dialogs::Kind::ShowInFolder);
    QCOMPARE(shown.size(), 1);
    QCOMPARE(shown.first().text, files.at(1).absoluteFilePath());
}

void tst_BatchPanel::showInFolderFallsBackQuickly()
{
    // No session bus here: the desktop is asked to open the folder instead, at once.
    UrlCatcher catcher;
    QDesktopServices::setUrlHandler(u"file"_s, &catcher, "handle");
    QElapsedTimer clock;
    clock.start();
    showFileInFolder(makeFile(u"x.rvt"_s).absoluteFilePath());
    QTRY_COMPARE_WITH_TIMEOUT(catcher.urls.size(), 1, 5000);
    QVERIFY2(clock.elapsed() < 3000, qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(catcher.urls.first(), QUrl::fromLocalFile(tmp.path()));
    QDesktopServices::unsetUrlHandler(u"file"_s);
}

QTEST_MAIN(tst_BatchPanel)
#include "tst_batchpanel.moc"
