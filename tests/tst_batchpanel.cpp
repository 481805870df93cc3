#include "progress/batchpanel.h"
#include "progress/batchtable.h"
#include "progress/progresspanel.h"
#include "testsupport/childprocesses.h"

#include "conversion/conversioncontroller.h"
#include "conversion/converteroutput.h"
#include "conversion/converterinfo.h"

#include <QClipboard>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QMenu>
#include <QPushButton>
#include <QSignalSpy>
#include <QStackedWidget>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>
#include <QDesktopServices>

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
    void init();
    void cleanup();
    void texts_data();
    void texts();
    void emptyList();
    void setFilesBuildsRows();
    void finishedCells_data();
    void finishedCells();
    void runTransitions();
    void retryKeepsFinishedFiles();
    void unknownPathsAreIgnored();
    void disableDuringRun_data();
    void disableDuringRun();
    void disableAndEnableWhenIdle();
    void removeShiftsDisabledIndexes();
    void contextMenu_data();
    void contextMenu();
    void convertNext();
    void cellClicks();
    void rowsAreFoundAfterResorting();
    void columnsFitTheirWidestText();
    void copyPathUsesForwardSlashes();
    void openFolderFallsBackQuickly();
    void wholeRunWithController();

private:
    QFileInfo makeFile(const QString &name, qint64 size);
    QFileInfoList makeFiles(const QStringList &names);
    QString statusText(const BatchPanel &panel, int fileIndex) const;

    QTemporaryDir *dir = nullptr;
};

void tst_BatchPanel::init()
{
    dir = new QTemporaryDir;
    QVERIFY(dir->isValid());
}

void tst_BatchPanel::cleanup()
{
    delete dir;
    dir = nullptr;
}

QFileInfo tst_BatchPanel::makeFile(const QString &name, qint64 size)
{
    QFile file(dir->filePath(name));
    if (file.open(QIODevice::WriteOnly))
        file.write(QByteArray(size, 'x'));
    return QFileInfo(file.fileName());
}

QFileInfoList tst_BatchPanel::makeFiles(const QStringList &names)
{
    QFileInfoList list;
    for (const QString &name : names)
        list.append(makeFile(name, 100));
    return list;
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
    QTest::addRow("0 ms") << BatchPanel::formatDuration(0) << u"0 ms"_s;
    QTest::addRow("999 ms") << BatchPanel::formatDuration(999) << u"999 ms"_s;
    QTest::addRow("1000 ms") << BatchPanel::formatDuration(1000) << u"1.0 s"_s;
    QTest::addRow("59999 ms") << BatchPanel::formatDuration(59999) << u"60.0 s"_s;
    QTest::addRow("60000 ms") << BatchPanel::formatDuration(60000) << u"1.0 min"_s;
    QTest::addRow("150000 ms") << BatchPanel::formatDuration(150000) << u"2.5 min"_s;
    QTest::addRow("clock 0") << BatchPanel::formatClock(0) << u"00:00"_s;
    QTest::addRow("clock 65 s") << BatchPanel::formatClock(65999) << u"01:05"_s;
    QTest::addRow("clock 59:59") << BatchPanel::formatClock(3599999) << u"59:59"_s;
    QTest::addRow("clock 1 h") << BatchPanel::formatClock(3600000) << u"1:00:00"_s;
    QTest::addRow("clock 3725 s") << BatchPanel::formatClock(3725000) << u"1:02:05"_s;
    QTest::addRow("clock 100 h") << BatchPanel::formatClock(360000000) << u"100:00:00"_s;
    QTest::addRow("summary") << BatchPanel::summaryText(3, 0, 2048) << u"3 file(s), 2.0 KB"_s;
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

void tst_BatchPanel::emptyList()
{
    BatchPanel panel;
    panel.setFiles(makeFiles({u"a.rvt"_s}));
    QSignalSpy cleared(&panel, &BatchPanel::filesCleared);
    QSignalSpy changed(&panel, &BatchPanel::activeFilesChanged);
    panel.findChild<QPushButton *>(u"batchClearButton"_s)->click();
    QCOMPARE(cleared.count(), 1);
    QCOMPARE(changed.count(), 1);
    QCOMPARE(panel.findChild<QStackedWidget *>(u"batchPages"_s)->currentIndex(), 0);
    QVERIFY(panel.findChild<QLabel *>(u"batchSummaryLabel"_s)->text().isEmpty());
    QVERIFY(panel.findChild<QLabel *>(u"batchDurationLabel"_s)->text().isEmpty());
    QCOMPARE(panel.table()->rowCount(), 0);
    // Clearing an empty list still reports it.
    panel.clearFiles();
    QCOMPARE(cleared.count(), 2);
}

void tst_BatchPanel::setFilesBuildsRows()
{
    BatchPanel panel;
    QSignalSpy changed(&panel, &BatchPanel::activeFilesChanged);
    const QFileInfoList files{makeFile(u"c.rvt"_s, 1023), makeFile(u"a.rvt"_s, 1024),
                              makeFile(u"b.rfa"_s, 2048)};
    panel.setFiles(files);
    QCOMPARE(changed.count(), 1);
    QCOMPARE(panel.findChild<QStackedWidget *>(u"batchPages"_s)->currentIndex(), 1);
    QCOMPARE(panel.findChild<QLabel *>(u"batchSummaryLabel"_s)->text(), u"3 file(s), 4.0 KB"_s);
    QCOMPARE(panel.findChild<QLabel *>(u"batchDurationLabel"_s)->text(), u"Duration: \u2014"_s);
    QVERIFY(panel.findChild<QPushButton *>(u"batchSkipButton"_s)->isHidden());

    QTableWidget *table = panel.table();
    QCOMPARE(table->rowCount(), 3);
    // Sorted by name, whatever the file order.
    QCOMPARE(table->item(0, 0)->text(), u"a.rvt"_s);
    QCOMPARE(table->item(1, 0)->text(), u"b.rfa"_s);
    QCOMPARE(table->item(2, 0)->text(), u"c.rvt"_s);
    const QStringList sizes{u"1023 B"_s, u"1.0 KB"_s, u"2.0 KB"_s};
    for (int i = 0; i < 3; ++i) {
        const int row = panel.rowOfFile(i);
        QTableWidgetItem *name = table->item(row, 0);
        QCOMPARE(name->data(Qt::UserRole).toInt(), i);
        QCOMPARE(name->toolTip(), files.at(i).absoluteFilePath());
        QVERIFY(!(name->flags() & Qt::ItemIsEditable));
        QCOMPARE(table->item(row, 1)->toolTip(), u"Open containing folder"_s);
        QVERIFY(table->item(row, 1)->text().isEmpty());
        QCOMPARE(table->item(row, 2)->text(), sizes.at(i));
        QCOMPARE(table->item(row, 2)->textAlignment(), int(Qt::AlignRight | Qt::AlignVCenter));
        QCOMPARE(table->item(row, 3)->text(), u"Pending"_s);
        QCOMPARE(table->item(row, 3)->foreground().color(), QColor(u"#888888"_s));
        QCOMPARE(table->item(row, 3)->textAlignment(), int(Qt::AlignCenter));
        QVERIFY(table->item(row, 4)->text().isEmpty());
    }
    QCOMPARE(panel.activeFiles(), files);
}

void tst_BatchPanel::finishedCells_data()
{
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("colour");
    QTest::addColumn<QString>("toolTip");
    QTest::addColumn<FileStatus>("status");
    QTest::addRow("done") << 0 << u"Done"_s << u"#0dbc79"_s << QString() << FileStatus::Done;
    QTest::addRow("skipped is not failed")
        << -3 << u"Skipped"_s << u"#d7a700"_s << QString() << FileStatus::Skipped;
    QTest::addRow("failed 1") << 1 << u"Failed (1)"_s << u"#cd3131"_s
                              << u"Input file not found.\nClick to jump to error in log."_s
                              << FileStatus::Failed;
    QTest::addRow("failed unknown") << 100 << u"Failed (100)"_s << u"#cd3131"_s
                                    << u"Converter exited with code 100.\nClick to jump to error in log."_s
                                    << FileStatus::Failed;
    QTest::addRow("crash code")
        << -1073741819 << u"Failed (-1073741819)"_s << u"#cd3131"_s
        << u"Converter exited with code -1073741819.\nClick to jump to error in log."_s << FileStatus::Failed;
}

void tst_BatchPanel::finishedCells()
{
    QFETCH(int, exitCode);
    QFETCH(QString, text);
    QFETCH(QString, colour);
    QFETCH(QString, toolTip);
    QFETCH(FileStatus, status);
    BatchPanel panel;
    const QFileInfoList files = makeFiles({u"a.rvt"_s, u"b.rvt"_s});
    panel.setFiles(files);
    panel.prepareForConversion();
    panel.onFileStarted(1, 2, files.at(0).absoluteFilePath());
    QTest::qWait(5);
    panel.onFileFinished(1, exitCode, files.at(0).absoluteFilePath());
    QCOMPARE(panel.statusOf(0), status);
    QCOMPARE(panel.exitCodeOf(0), exitCode);
    const int row = panel.rowOfFile(0);
    QTableWidgetItem *cell = panel.table()->item(row, 3);
    QCOMPARE(cell->text(), text);
    QCOMPARE(cell->foreground().color(), QColor(colour));
    QCOMPARE(cell->toolTip(), toolTip);
    QVERIFY(panel.table()->item(row, 4)->text().endsWith(u" ms"_s));
    QCOMPARE(statusText(panel, 1), u"Pending"_s);

    // A rebuild keeps the same texts, and the duration stays for every finished state.
    panel.onConversionFinished();
    QCOMPARE(statusText(panel, 0), text);
    QVERIFY(!panel.table()->item(panel.rowOfFile(0), 4)->text().isEmpty());
    QVERIFY(panel.table()->item(panel.rowOfFile(1), 4)->text().isEmpty());
}

void tst_BatchPanel::runTransitions()
{
    BatchPanel panel;
    const QFileInfoList files = makeFiles({u"a.rvt"_s, u"b.rvt"_s, u"c.rvt"_s, u"d.rvt"_s});
    panel.setFiles(files);
    panel.disableFile(3);
    QCOMPARE(panel.statusOf(3), FileStatus::Disabled);
    QCOMPARE(panel.exitCodeOf(3), -1);

    panel.prepareForConversion();
    auto *skip = panel.findChild<QPushButton *>(u"batchSkipButton"_s);
    auto *duration = panel.findChild<QLabel *>(u"batchDurationLabel"_s);
    QVERIFY(!skip->isHidden());
    QVERIFY(panel.isRunning());
    QCOMPARE(duration->text(), u"Duration: 00:00"_s);
    QCOMPARE(panel.exitCodeOf(3), -4);
    QCOMPARE(statusText(panel, 3), u"Disabled"_s);
    QCOMPARE(panel.table()->item(panel.rowOfFile(3), 0)->foreground().color(), QColor(u"#999999"_s));
    QCOMPARE(panel.table()->item(panel.rowOfFile(3), 2)->foreground().color(), QColor(u"#999999"_s));

    QSignalSpy skipRequests(&panel, &BatchPanel::skipCurrentRequested);
    skip->click();
    QCOMPARE(skipRequests.count(), 1);

    panel.onFileStarted(1, 3, files.at(0).absoluteFilePath());
    QCOMPARE(statusText(panel, 0), u"Running..."_s);
    QCOMPARE(panel.table()->item(panel.rowOfFile(0), 3)->foreground().color(), QColor(u"#2472c8"_s));
    panel.onFileFinished(1, 0, files.at(0).absoluteFilePath());
    panel.onFileStarted(2, 3, files.at(1).absoluteFilePath());

    panel.onCancelled();
    QVERIFY(!panel.isRunning());
    QVERIFY(skip->isHidden());
    QVERIFY(duration->text().startsWith(u"Duration: 00:0"_s));
    QCOMPARE(panel.statusOf(0), FileStatus::Done);
    QCOMPARE(panel.statusOf(1), FileStatus::Stopped);
    QCOMPARE(panel.exitCodeOf(1), -2);
    QCOMPARE(statusText(panel, 1), u"Stopped"_s);
    QCOMPARE(panel.statusOf(2), FileStatus::Canceled);
    QCOMPARE(panel.exitCodeOf(2), -2);
    QCOMPARE(panel.table()->item(panel.rowOfFile(2), 3)->foreground().color(), QColor(u"#8b0000"_s));
    QCOMPARE(panel.statusOf(3), FileStatus::Disabled);
    QVERIFY(!panel.table()->item(panel.rowOfFile(1), 4)->text().isEmpty());
    QVERIFY(panel.table()->item(panel.rowOfFile(2), 4)->text().isEmpty());
}

void tst_BatchPanel::retryKeepsFinishedFiles()
{
    BatchPanel panel;
    const QFileInfoList files = makeFiles({u"a.rvt"_s, u"b.rvt"_s, u"c.rvt"_s, u"d.rvt"_s, u"e.rvt"_s});
    panel.setFiles(files);
    panel.disableFile(4);
    panel.prepareForConversion();
    const int codes[] = {0, 2, -3};
    for (int i = 0; i < 3; ++i) {
        panel.onFileStarted(i + 1, 4, files.at(i).absoluteFilePath());
        panel.onFileFinished(i + 1, codes[i], files.at(i).absoluteFilePath());
    }
    panel.onCancelled(); // d was waiting: Canceled
    QCOMPARE(panel.statusOf(3), FileStatus::Canceled);

    panel.resetFailedForRetry();
    QCOMPARE(panel.findChild<QLabel *>(u"batchDurationLabel"_s)->text(), u"Duration: \u2014"_s);
    const QList<FileStatus> expected{FileStatus::Done, FileStatus::Pending, FileStatus::Skipped,
                                     FileStatus::Pending, FileStatus::Disabled};
    for (int i = 0; i < 5; ++i)
        QCOMPARE(panel.statusOf(i), expected.at(i));
    QCOMPARE(panel.exitCodeOf(1), -1);
    QVERIFY(panel.table()->item(panel.rowOfFile(1), 4)->text().isEmpty());

    panel.prepareForRetry();
    QVERIFY(panel.isRunning());
    for (int i = 0; i < 5; ++i)
        QCOMPARE(panel.statusOf(i), expected.at(i));
    QCOMPARE(panel.exitCodeOf(0), 0);
    QCOMPARE(panel.findChild<QLabel *>(u"batchDurationLabel"_s)->text(), u"Duration: 00:00"_s);
}

void tst_BatchPanel::unknownPathsAreIgnored()
{
    BatchPanel panel;
    const QFileInfoList files = makeFiles({u"a.rvt"_s});
    panel.setFiles(files);
    panel.prepareForConversion();
    panel.onFileStarted(1, 1, dir->filePath(u"other.rvt"_s));
    panel.onFileFinished(1, 3, dir->filePath(u"other.rvt"_s));
    panel.onFileStarted(1, 1, QString());
    QCOMPARE(panel.statusOf(0), FileStatus::Pending);
    QCOMPARE(statusText(panel, 0), u"Pending"_s);
    // Indexes out of range are ignored by every action.
    QSignalSpy changed(&panel, &BatchPanel::activeFilesChanged);
    for (int bad : {-1, 1, 100}) {
        panel.disableFile(bad);
        panel.convertNext(bad);
        panel.removeFile(bad);
        panel.enableFile(bad);
        QVERIFY(!panel.createContextMenu(bad, &panel));
    }
    QCOMPARE(changed.count(), 0);
}

void tst_BatchPanel::disableDuringRun_data()
{
    QTest::addColumn<int>("exitCode"); // -1: still Running, -100: never started
    QTest::addColumn<bool>("disables");
    QTest::addRow("pending") << -100 << true;
    QTest::addRow("running") << -1 << false;
    QTest::addRow("done") << 0 << false;
    QTest::addRow("failed") << 5 << false;
}

void tst_BatchPanel::disableDuringRun()
{
    QFETCH(int, exitCode);
    QFETCH(bool, disables);
    BatchPanel panel;
    const QFileInfoList files = makeFiles({u"a.rvt"_s, u"b.rvt"_s, u"c.rvt"_s});
    panel.setFiles(files);
    panel.prepareForConversion();
    const QString path = files.at(1).absoluteFilePath();
    if (exitCode != -100)
        panel.onFileStarted(2, 3, path);
    if (exitCode >= 0)
        panel.onFileFinished(2, exitCode, path);
    const FileStatus before = panel.statusOf(1);
    const QString textBefore = statusText(panel, 1);
    const int rowBefore = panel.rowOfFile(1);

    QStringList order;
    connect(&panel, &BatchPanel::fileExcludedDuringConversion, this,
            [&](const QString &p) { order.append(u"excluded "_s + p); });
    connect(&panel, &BatchPanel::activeFilesChanged, this, [&] { order.append(u"changed"_s); });
    panel.disableFile(1);

    if (!disables) {
        QVERIFY(order.isEmpty());
        QCOMPARE(panel.statusOf(1), before);
        QCOMPARE(statusText(panel, 1), textBefore);
        QCOMPARE(panel.activeFiles().size(), 3);
        return;
    }
    QCOMPARE(order, (QStringList{u"excluded "_s + path, u"changed"_s}));
    QCOMPARE(panel.statusOf(1), FileStatus::Disabled);
    QCOMPARE(panel.exitCodeOf(1), -4);
    QCOMPARE(panel.rowOfFile(1), rowBefore);
    QTableWidget *table = panel.table();
    QCOMPARE(table->item(rowBefore, 3)->text(), u"Disabled"_s);
    QCOMPARE(table->item(rowBefore, 3)->foreground().color(), QColor(u"#999999"_s));
    QCOMPARE(table->item(rowBefore, 0)->foreground().color(), QColor(u"#999999"_s));
    QCOMPARE(table->item(rowBefore, 2)->foreground().color(), QColor(u"#999999"_s));
    QCOMPARE(panel.activeFiles(), (QFileInfoList{files.at(0), files.at(2)}));
    QCOMPARE(panel.findChild<QLabel *>(u"batchSummaryLabel"_s)->text(), u"2 file(s), 200 B (1 disabled)"_s);
}

void tst_BatchPanel::disableAndEnableWhenIdle()
{
    BatchPanel panel;
    const QFileInfoList files = makeFiles({u"a.rvt"_s, u"b.rvt"_s});
    panel.setFiles(files);
    QSignalSpy excluded(&panel, &BatchPanel::fileExcludedDuringConversion);
    QSignalSpy changed(&panel, &BatchPanel::activeFilesChanged);
    panel.disableFile(0);
    QCOMPARE(excluded.count(), 0);
    QCOMPARE(changed.count(), 1);
    QCOMPARE(panel.statusOf(0), FileStatus::Disabled);
    QCOMPARE(panel.activeFiles(), QFileInfoList{files.at(1)});
    QCOMPARE(panel.table()->item(panel.rowOfFile(0), 0)->foreground().color(), QColor(u"#999999"_s));
    QCOMPARE(panel.findChild<QLabel *>(u"batchSummaryLabel"_s)->text(), u"1 file(s), 100 B (1 disabled)"_s);

    // Enabling is refused during a run.
    panel.prepareForConversion();
    panel.enableFile(0);
    QVERIFY(panel.isDisabled(0));
    panel.onConversionFinished();

    panel.enableFile(0);
    QCOMPARE(changed.count(), 2);
    QVERIFY(!panel.isDisabled(0));
    QCOMPARE(panel.statusOf(0), FileStatus::Pending);
    QCOMPARE(panel.activeFiles(), files);
    QCOMPARE(panel.findChild<QLabel *>(u"batchSummaryLabel"_s)->text(), u"2 file(s), 200 B"_s);
    QVERIFY(!panel.table()->item(panel.rowOfFile(0), 0)->data(Qt::ForegroundRole).isValid());
}

void tst_BatchPanel::removeShiftsDisabledIndexes()
{
    BatchPanel panel;
    const QFileInfoList files = makeFiles({u"a.rvt"_s, u"b.rvt"_s, u"c.rvt"_s});
    panel.setFiles(files);
    panel.prepareForConversion();
    panel.onFileStarted(1, 3, files.at(2).absoluteFilePath());
    panel.onFileFinished(1, 0, files.at(2).absoluteFilePath());
    panel.onConversionFinished();
    panel.disableFile(1);
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
    QCOMPARE(panel.statusOf(0), FileStatus::Disabled);
    QCOMPARE(panel.statusOf(1), FileStatus::Done);
    QCOMPARE(panel.exitCodeOf(1), 0);
    QCOMPARE(panel.activeFiles(), QFileInfoList{files.at(2)});
    QCOMPARE(panel.table()->rowCount(), 2);
    QCOMPARE(panel.table()->item(panel.rowOfFile(1), 0)->text(), u"c.rvt"_s);
    QCOMPARE(panel.findChild<QLabel *>(u"batchSummaryLabel"_s)->text(), u"1 file(s), 100 B (1 disabled)"_s);
    // The path index follows the shift: c is still found by its path.
    panel.prepareForConversion();
    panel.onFileStarted(1, 1, files.at(2).absoluteFilePath());
    QCOMPARE(panel.statusOf(1), FileStatus::Running);
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
    QTest::addRow("idle removable") << false << -100 << false << true
                                    << QStringList{u"Disable"_s} + tail + QStringList{u"Remove"_s};
    QTest::addRow("idle disabled") << false << -100 << true << true
                                   << QStringList{u"Enable"_s} + tail + QStringList{u"Remove"_s};
    QTest::addRow("run pending") << true << -100 << false << true
                                 << QStringList{u"Convert next"_s, u"Disable"_s} + tail;
    QTest::addRow("run running") << true << -1 << false << true << tail;
    QTest::addRow("run done") << true << 0 << false << true << tail;
    QTest::addRow("run failed") << true << 4 << false << true << QStringList{u"Convert next"_s} + tail;
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
    const QFileInfoList files = makeFiles({u"a.rvt"_s, u"b.rvt"_s});
    panel.setFiles(files);
    panel.setAllowRemove(allowRemove);
    if (disable)
        panel.disableFile(0);
    if (run) {
        panel.prepareForConversion();
        if (exitCode != -100)
            panel.onFileStarted(1, 2, files.at(0).absoluteFilePath());
        if (exitCode != -100 && exitCode != -1)
            panel.onFileFinished(1, exitCode, files.at(0).absoluteFilePath());
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
    const QFileInfoList files = makeFiles({u"a.rvt"_s, u"b.rvt"_s, u"c.rvt"_s});
    panel.setFiles(files);
    QSignalSpy requested(&panel, &BatchPanel::convertNextRequested);
    panel.convertNext(0); // idle: not offered
    QCOMPARE(requested.count(), 0);

    panel.prepareForConversion();
    panel.onFileStarted(1, 3, files.at(0).absoluteFilePath());
    panel.onFileFinished(1, 9, files.at(0).absoluteFilePath());
    panel.onFileStarted(2, 3, files.at(1).absoluteFilePath());

    std::unique_ptr<QMenu> menu(panel.createContextMenu(0, &panel));
    menu->actions().first()->trigger();
    QCOMPARE(requested.count(), 1);
    QCOMPARE(requested.first().first().toString(), files.at(0).absoluteFilePath());
    QCOMPARE(panel.statusOf(0), FileStatus::Pending);
    QCOMPARE(panel.exitCodeOf(0), -1);
    QCOMPARE(statusText(panel, 0), u"Pending"_s);
    QVERIFY(panel.table()->item(panel.rowOfFile(0), 3)->toolTip().isEmpty());
    QVERIFY(panel.table()->item(panel.rowOfFile(0), 4)->text().isEmpty());

    panel.convertNext(1); // running: nothing
    QCOMPARE(requested.count(), 1);
    QCOMPARE(panel.statusOf(1), FileStatus::Running);
}

void tst_BatchPanel::cellClicks()
{
    BatchPanel panel;
    QStringList opened;
    panel.setFolderOpener([&](const QString &path) { opened.append(path); });
    const QFileInfoList files = makeFiles({u"a.rvt"_s, u"b.rvt"_s});
    panel.setFiles(files);
    panel.prepareForConversion();
    panel.onFileStarted(1, 2, files.at(0).absoluteFilePath());
    panel.onFileFinished(1, 1, files.at(0).absoluteFilePath());
    panel.onFileStarted(2, 2, files.at(1).absoluteFilePath());
    panel.onFileFinished(2, 0, files.at(1).absoluteFilePath());

    QSignalSpy jump(&panel, &BatchPanel::jumpToLogError);
    QTableWidget *table = panel.table();
    Q_EMIT table->cellClicked(panel.rowOfFile(1), 1);
    QCOMPARE(opened, QStringList{files.at(1).absoluteFilePath()});
    Q_EMIT table->cellClicked(panel.rowOfFile(1), 3); // Done: nothing
    Q_EMIT table->cellClicked(panel.rowOfFile(0), 0);
    Q_EMIT table->cellClicked(panel.rowOfFile(0), 2);
    QCOMPARE(jump.count(), 0);
    Q_EMIT table->cellClicked(panel.rowOfFile(0), 3);
    QCOMPARE(jump.count(), 1);
    QCOMPARE(jump.first().first().toString(), u"a.rvt"_s);
    QCOMPARE(opened.size(), 1);
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
        if (i == 35)
            continue; // disabled while waiting, so the run leaves it out
        panel.onFileStarted(i + 1, 40, files.at(i).absoluteFilePath());
        panel.onFileFinished(i + 1, i % 3 == 0 ? 0 : (i % 3 == 1 ? 7 : -3), files.at(i).absoluteFilePath());
        if (i == 20)
            panel.disableFile(35);
    }
    QTableWidget *table = panel.table();
    for (int i = 0; i < files.size(); ++i) {
        int scanned = -1;
        for (int row = 0; row < table->rowCount(); ++row) {
            if (table->item(row, 0)->data(Qt::UserRole).toInt() == i) {
                scanned = row;
                break;
            }
        }
        QCOMPARE(panel.rowOfFile(i), scanned);
        QCOMPARE(table->item(scanned, 0)->text(), files.at(i).fileName());
        QCOMPARE(table->item(scanned, 3)->text(),
                 i == 35 ? u"Disabled"_s
                         : fileStatusText(fileStatusForExitCode(panel.exitCodeOf(i)), panel.exitCodeOf(i)));
    }
}

void tst_BatchPanel::columnsFitTheirWidestText()
{
    BatchPanel panel;
    panel.resize(700, 300);
    panel.show();
    QFileInfoList files;
    for (int i = 0; i < 30; ++i)
        files.append(makeFile(u"f%1.rvt"_s.arg(i), i * 997));
    panel.setFiles(files);
    auto *table = qobject_cast<BatchTable *>(panel.table());
    QVERIFY(table);
    // Reference: a plain table with the same texts, measured by Qt over all its rows.
    const auto check = [&] {
        QTableWidget reference(table->rowCount(), table->columnCount());
        reference.setFont(table->font());
        reference.horizontalHeader()->setResizeContentsPrecision(-1);
        for (int column : {BatchPanel::SizeColumn, BatchPanel::StatusColumn, BatchPanel::DurationColumn}) {
            reference.setHorizontalHeaderItem(
                column, new QTableWidgetItem(table->horizontalHeaderItem(column)->text()));
            reference.horizontalHeader()->setSectionResizeMode(column, QHeaderView::ResizeToContents);
            for (int row = 0; row < table->rowCount(); ++row)
                reference.setItem(row, column, new QTableWidgetItem(table->item(row, column)->text()));
        }
        reference.show();
        // sizeHintForColumn is public on QAbstractItemView: Qt's own measurement for the
        // reference, the panel's running one for the batch table.
        const QAbstractItemView *expected = &reference;
        const QAbstractItemView *actual = table;
        for (int column : {BatchPanel::SizeColumn, BatchPanel::StatusColumn, BatchPanel::DurationColumn})
            QCOMPARE(actual->sizeHintForColumn(column), expected->sizeHintForColumn(column));
    };
    check();
    panel.prepareForConversion();
    for (int i = 0; i < 10; ++i) {
        panel.onFileStarted(i + 1, 30, files.at(i).absoluteFilePath());
        check();
        panel.onFileFinished(i + 1, i == 4 ? -1073741819 : 0, files.at(i).absoluteFilePath());
        check();
    }
    // The one wide text leaves again: the column narrows to the next widest.
    const QAbstractItemView *view = table;
    const int wide = view->sizeHintForColumn(BatchPanel::StatusColumn);
    panel.convertNext(4);
    check();
    QVERIFY(view->sizeHintForColumn(BatchPanel::StatusColumn) < wide);
    panel.disableFile(20);
    check();
    panel.onCancelled();
    check();
}

void tst_BatchPanel::copyPathUsesForwardSlashes()
{
    BatchPanel panel;
    const QFileInfoList files = makeFiles({u"a.rvt"_s});
    panel.setFiles(files);
    panel.copyPath(0);
    QCOMPARE(QGuiApplication::clipboard()->text(), files.at(0).absoluteFilePath());
    QVERIFY(!QGuiApplication::clipboard()->text().contains(u'\\'));
}

void tst_BatchPanel::openFolderFallsBackQuickly()
{
    // No session bus here: the desktop is asked to open the folder, at once.
    UrlCatcher catcher;
    QDesktopServices::setUrlHandler(u"file"_s, &catcher, "handle");
    BatchPanel panel;
    const QFileInfoList files = makeFiles({u"a.rvt"_s});
    panel.setFiles(files);
    QElapsedTimer clock;
    clock.start();
    Q_EMIT panel.table()->cellClicked(0, BatchPanel::FolderColumn);
    QTRY_COMPARE_WITH_TIMEOUT(catcher.urls.size(), 1, 5000);
    QVERIFY2(clock.elapsed() < 3000, qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(catcher.urls.first(), QUrl::fromLocalFile(dir->path()));
    QDesktopServices::unsetUrlHandler(u"file"_s);
}

void tst_BatchPanel::wholeRunWithController()
{
    // The input files are scripts for the fake converter that stands in for RvtExporter.exe.
    const auto script = [&](const QString &name, const QByteArray &content) {
        QFile file(dir->filePath(name));
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
    QCOMPARE(batch.exitCodeOf(1), 9);
    QCOMPARE(batch.exitCodeOf(3), -4);
    QVERIFY(!batch.isRunning());
    QVERIFY(batch.findChild<QPushButton *>(u"batchSkipButton"_s)->isHidden());
    QTableWidgetItem *failed = batch.table()->item(batch.rowOfFile(1), BatchPanel::StatusColumn);
    QCOMPARE(failed->text(), u"Failed (9)"_s);
    QCOMPARE(failed->toolTip(),
             u"File appears to be corrupted or unreadable.\nClick to jump to error in log."_s);
    for (int i : {0, 1, 2, 4})
        QVERIFY(!batch.table()->item(batch.rowOfFile(i), BatchPanel::DurationColumn)->text().isEmpty());

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
    QVERIFY(log.matchCount() >= 1);
    QCOMPARE(log.logView()->textCursor().selectedText(), u"b.rvt"_s);

    QTRY_VERIFY2_WITH_TIMEOUT(runningChildProcesses().isEmpty(),
                              qPrintable(runningChildProcesses().join(u", ")), 5000);
}

QTEST_MAIN(tst_BatchPanel)
#include "tst_batchpanel.moc"
