// The batch table on its own; whole runs through the window are in tst_mainwindow.

#include "common/dialogs.h"
#include "common/showinfolder.h"
#include "progress/batchpanel.h"

#include <QDesktopServices>
#include <QMenu>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <limits>
#include <memory>

using namespace Qt::StringLiterals;
using enum BatchPanel::Column;

namespace {

// Where a file stands: before any run, waiting or running in one, or finished with an exit code.
constexpr int idle = std::numeric_limits<int>::max();
constexpr int waiting = ExitMarker::NotRun;
constexpr int running = std::numeric_limits<int>::min();

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
    void finishedCells_data();
    void finishedCells();
    void aBatchFromRunToRemoval();
    void contextMenu_data();
    void contextMenu();
    void rowsAreFoundAfterResorting();
    void showInFolderFallsBackQuickly();

private:
    QFileInfoList makeFiles(int count);
    // Plays the controller's signals for one file of a run up to state.
    void play(const QFileInfoList &files, int index, int state);
    QTableWidgetItem *cell(int fileIndex, BatchPanel::Column column) const;
    QStringList statusTexts() const;

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

// Named in the reverse of their order, so that the table's rows never follow the files'.
QFileInfoList tst_BatchPanel::makeFiles(int count)
{
    QFileInfoList list;
    for (int i = 0; i < count; ++i) {
        QFile file(tmp.filePath(u"%1.rvt"_s.arg(count - i, 2, 10, QLatin1Char('0'))));
        if (file.open(QIODevice::WriteOnly))
            file.write(QByteArray(100, 'x'));
        list.append(QFileInfo(file.fileName()));
    }
    return list;
}

void tst_BatchPanel::play(const QFileInfoList &files, int index, int state)
{
    const QString path = files.at(index).absoluteFilePath();
    if (state != idle && state != waiting)
        panel->onFileStarted(index + 1, int(files.size()), path);
    if (state != idle && state != waiting && state != running)
        panel->onFileFinished(index + 1, state, path);
}

// The cell the user sees for a file, found through the row the file is in now.
QTableWidgetItem *tst_BatchPanel::cell(int fileIndex, BatchPanel::Column column) const
{
    return panel->table()->item(panel->rowOfFile(fileIndex), column);
}

QStringList tst_BatchPanel::statusTexts() const
{
    QStringList texts;
    for (int i = 0; i < panel->fileCount(); ++i)
        texts.append(cell(i, StatusColumn)->text());
    return texts;
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
    const QFileInfoList files = makeFiles(2);
    panel->setFiles(files);
    panel->prepareForConversion();
    play(files, 1, exitCode);
    QTableWidgetItem *status = cell(1, StatusColumn);
    QTEST(status->text(), "text");
    QTEST(status->foreground().color().name(), "colour");
    QTEST(status->toolTip(), "toolTip");
    QVERIFY(cell(1, DurationColumn)->text().endsWith(u" ms"_s));
    // The status leads to the log where its tool tip says so; the folder button to the desktop.
    QSignalSpy jump(panel.get(), &BatchPanel::jumpToLogError);
    Q_EMIT panel->table()->cellClicked(status->row(), StatusColumn);
    QCOMPARE(QList<QVariantList>(jump), status->toolTip().isEmpty()
                                            ? QList<QVariantList>()
                                            : QList<QVariantList>{{files.at(1).fileName()}});
    Q_EMIT panel->table()->cellClicked(status->row(), FolderColumn);
    QCOMPARE(dialogs.requestsOf(Dialogs::Kind::ShowInFolder).value(0).text, files.at(1).absoluteFilePath());
}

void tst_BatchPanel::aBatchFromRunToRemoval()
{
    const QFileInfoList files = makeFiles(5);
    panel->setFiles(files);
    panel->disableFile(4);
    QSignalSpy nextRequests(panel.get(), &BatchPanel::convertNextRequested);
    panel->convertNext(0); // nothing to reach before a run
    panel->prepareForConversion();
    QWidget *skip = panel->findChild<QWidget *>(u"batchSkipButton"_s);
    QVERIFY(!skip->isHidden());
    play(files, 0, 9);
    play(files, 1, running);

    // Only a waiting file can be disabled in a run: greyed in place, and the controller hears first.
    QStringList heard;
    const auto hear = [&heard](const QString &path) { heard.append(path.isEmpty() ? u"changed"_s : path); };
    connect(panel.get(), &BatchPanel::fileExcludedDuringConversion, this, hear);
    connect(panel.get(), &BatchPanel::fileRemoved, this, hear);
    connect(panel.get(), &BatchPanel::activeFilesChanged, this, [hear] { hear({}); });
    const int rowOfC = panel->rowOfFile(2);
    for (const int i : {0, 1, 2})
        panel->disableFile(i);
    QCOMPARE(heard, (QStringList{files.at(2).absoluteFilePath(), u"changed"_s}));
    QCOMPARE(panel->rowOfFile(2), rowOfC);
    QCOMPARE(statusTexts(),
             (QStringList{u"Failed (9)"_s, u"Running..."_s, u"Disabled"_s, u"Pending"_s, u"Disabled"_s}));

    // A failed file can be sent to the front from its menu and waits again; a running one cannot.
    panel->convertNext(1);
    std::unique_ptr<QMenu>(panel->createContextMenu(0, nullptr))->actions().first()->trigger();
    QCOMPARE(QList<QVariantList>(nextRequests), QList<QVariantList>{{files.at(0).absoluteFilePath()}});
    QVERIFY(cell(0, DurationColumn)->text().isEmpty());

    // Cancelling stops the running file and cancels the waiting ones; the stopped one ran for
    // a while, the canceled ones never did.
    panel->onCancelled();
    QVERIFY(skip->isHidden());
    QCOMPARE(statusTexts(),
             (QStringList{u"Canceled"_s, u"Stopped"_s, u"Disabled"_s, u"Canceled"_s, u"Disabled"_s}));
    QVERIFY(!cell(1, DurationColumn)->text().isEmpty());
    QVERIFY(cell(3, DurationColumn)->text().isEmpty());

    // Removing a file moves every fact of the ones below with them; d is still found by its path.
    panel->setAllowRemove(true);
    panel->removeFile(0);
    QCOMPARE(heard.mid(2), (QStringList{files.at(0).absoluteFilePath(), u"changed"_s}));
    QCOMPARE(statusTexts(), (QStringList{u"Stopped"_s, u"Disabled"_s, u"Canceled"_s, u"Disabled"_s}));
    panel->prepareForConversion();
    play(files, 3, running);
    QCOMPARE(statusTexts(), (QStringList{u"Pending"_s, u"Disabled"_s, u"Running..."_s, u"Disabled"_s}));
}

void tst_BatchPanel::contextMenu_data()
{
    QTest::addColumn<int>("state");
    QTest::addColumn<bool>("disabled");
    QTest::addColumn<bool>("ownerActionEnabled");
    QTest::addColumn<QStringList>("actions");
    const QStringList tail{u"Open Folder"_s, u"Copy Path"_s};
    const QStringList remove{u"Remove"_s};
    QTest::addRow("idle") << idle << false << false << QStringList{u"Disable"_s} + tail + remove;
    QTest::addRow("idle disabled, owner's action")
        << idle << true << true << QStringList{u"Enable"_s} + tail + remove + QStringList{u"Retry Failed"_s};
    QTest::addRow("waiting") << waiting << false << false
                             << QStringList{u"Convert next"_s, u"Disable"_s} + tail;
    QTest::addRow("running") << running << false << false << tail;
    QTest::addRow("skipped") << -3 << false << false << QStringList{u"Convert next"_s} + tail;
    QTest::addRow("done") << 0 << false << false << tail;
    QTest::addRow("disabled in a run") << waiting << true << false << tail;
}

void tst_BatchPanel::contextMenu()
{
    QFETCH(int, state);
    QFETCH(bool, disabled);
    QFETCH(bool, ownerActionEnabled);
    QAction retry(u"Retry Failed"_s);
    retry.setEnabled(ownerActionEnabled);
    panel->addContextMenuAction(&retry);
    const QFileInfoList files = makeFiles(2);
    panel->setFiles(files);
    panel->setAllowRemove(true);
    if (disabled)
        panel->disableFile(0);
    if (state != idle)
        panel->prepareForConversion();
    play(files, 0, state);
    QStringList texts;
    const std::unique_ptr<QMenu> menu(panel->createContextMenu(0, nullptr));
    for (const QAction *action : menu->actions())
        texts.append(action->text());
    texts.removeAll(QString()); // the separators
    QTEST(texts, "actions");
}

void tst_BatchPanel::rowsAreFoundAfterResorting()
{
    const QFileInfoList files = makeFiles(40);
    panel->setFiles(files);
    // Sorted by status, every status change moves rows under the panel's feet.
    panel->table()->sortByColumn(StatusColumn, Qt::DescendingOrder);
    panel->prepareForConversion();
    const QStringList texts{u"Done"_s, u"Failed (7)"_s, u"Skipped"_s};
    QStringList expected;
    panel->disableFile(35); // while it waits, so the run leaves it out
    for (int i = 0; i < files.size(); ++i) {
        if (i != 35)
            play(files, i, QList<int>{0, 7, ExitMarker::Skipped}.at(i % 3));
        expected.append(i == 35 ? u"Disabled"_s : texts.at(i % 3));
        QCOMPARE(cell(i, NameColumn)->text(), files.at(i).fileName());
    }
    QCOMPARE(statusTexts(), expected);
}

void tst_BatchPanel::showInFolderFallsBackQuickly()
{
    // No session bus here: the desktop is asked to open the folder instead, at once.
    UrlCatcher catcher;
    QDesktopServices::setUrlHandler(u"file"_s, &catcher, "handle");
    showFileInFolder(makeFiles(1).first().absoluteFilePath());
    QTRY_COMPARE_WITH_TIMEOUT(catcher.urls.size(), 1, 3000);
    QCOMPARE(catcher.urls.first(), QUrl::fromLocalFile(tmp.path()));
    QDesktopServices::unsetUrlHandler(u"file"_s);
}

QTEST_MAIN(tst_BatchPanel)
#include "tst_batchpanel.moc"
