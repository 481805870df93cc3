// Several rows of the batch table at once: what the menu offers for a selection, what each
// action does to all of it in one step, and the log a file left on disk.

#include "common/dialogs.h"
#include "progress/batchpanel.h"

#include <QAction>
#include <QDir>
#include <QMenu>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

class tst_BatchSelection : public QObject
{
    Q_OBJECT

    QTemporaryDir tmp;
    Dialogs dialogs;
    std::unique_ptr<BatchPanel> panel;
    QFileInfoList files;

    // The action texts of a file's menu, joined by '|'; triggers the one named.
    QString menu(int fileIndex, const QString &trigger)
    {
        std::unique_ptr<QMenu> shown(panel->createContextMenu(fileIndex, panel.get()));
        QStringList texts;
        QAction *chosen = nullptr;
        for (QAction *action : shown->actions()) {
            if (!action->isSeparator())
                texts.append(action->text());
            chosen = action->text() == trigger ? action : chosen;
        }
        if (chosen)
            chosen->trigger();
        return texts.join(u'|');
    }

private Q_SLOTS:
    void init()
    {
        dialogs.setScripted();
        dialogs.clearRequests();
        files.clear();
        // a and b in one folder, c, d and e in another.
        for (const QString &name : {u"x/a.rvt"_s, u"x/b.rvt"_s, u"y/c.rvt"_s, u"y/d.rvt"_s, u"y/e.rvt"_s}) {
            QDir(tmp.path()).mkpath(name.left(1));
            QFile file(tmp.filePath(name));
            QVERIFY(file.open(QIODevice::WriteOnly));
            files.append(QFileInfo(file.fileName()));
        }
        panel = std::make_unique<BatchPanel>(&dialogs);
        panel->setFiles(files);
        panel->setAllowRemove(true);
        // Table order e, d, c, b, a: the opposite of file order.
        panel->table()->sortByColumn(BatchPanel::NameColumn, Qt::DescendingOrder);
    }

    void bulkActions_data()
    {
        // Files by letter. Setup: the files disabled first, or "run": a failed, b running, c to e waiting.
        QTest::addColumn<QString>("setup");
        QTest::addColumn<QString>("selected");
        QTest::addColumn<QString>("clicked");
        QTest::addColumn<QString>("offered"); // the one to choose marked with '*'
        QTest::addColumn<QString>("after");
        QTest::addColumn<QString>("events");
        QTest::addColumn<QString>("selectedAfter"); // in table order
        const QString idle = u"*Disable|Open Folder|Copy Path|Remove"_s;
        const QString idleFolder = u"Disable|*Open Folder|Copy Path|Remove"_s;
        const QString idleRemove = u"Disable|Open Folder|Copy Path|*Remove"_s;
        const QString rebuilt = u"rebuild, changed"_s;
        QTest::addRow("one row as before")
            << u""_s << u"c"_s << u"c"_s << idle << u"PPxPP"_s << rebuilt << u"c"_s;
        QTest::addRow("disable three")
            << u""_s << u"ace"_s << u"c"_s << idle << u"xPxPx"_s << rebuilt << u"eca"_s;
        QTest::addRow("enable where disabled")
            << u"bd"_s << u"abd"_s << u"a"_s << u"Disable|*Enable|Open Folder|Copy Path|Remove"_s
            << u"PPPPP"_s << rebuilt << u"dba"_s;
        QTest::addRow("clicked outside the selection")
            << u""_s << u"ab"_s << u"d"_s << idle << u"PPPxP"_s << rebuilt << u"ba"_s;
        QTest::addRow("remove two") << u""_s << u"ad"_s << u"a"_s << idleRemove << u"PPP"_s
                                    << u"rebuild, removed d, removed a, changed"_s << u""_s;
        QTest::addRow("one folder per folder") << u""_s << u"abce"_s << u"e"_s << idleFolder << u"PPPPP"_s
                                               << u"folder e, folder b"_s << u"ecba"_s;
        QTest::addRow("run: disable the waiting ones")
            << u"run"_s << u"bcd"_s << u"d"_s << u"Convert next|*Disable|Open Folder|Copy Path"_s
            << u"FRxxP"_s << u"excluded d, excluded c, changed"_s << u"dcb"_s;
        QTest::addRow("run: convert next in table order")
            << u"run"_s << u"abd"_s << u"b"_s << u"*Convert next|Disable|Open Folder|Copy Path"_s
            << u"PRPPP"_s << u"next d, next a"_s << u"dba"_s;
    }

    void bulkActions()
    {
        QFETCH(QString, setup);
        QFETCH(QString, selected);
        QFETCH(QString, clicked);
        QFETCH(QString, offered);
        QFETCH(QString, after);
        QFETCH(QString, events);
        QFETCH(QString, selectedAfter);
        const auto index = [](QChar letter) { return letter.unicode() - u'a'; };
        if (setup != u"run") {
            for (const QChar letter : setup)
                panel->disableFile(index(letter));
        } else {
            panel->prepareForConversion();
            panel->onFileStarted(1, 5, files.at(0).absoluteFilePath());
            panel->onFileFinished(1, 2, files.at(0).absoluteFilePath());
            panel->onFileStarted(2, 5, files.at(1).absoluteFilePath());
        }
        QTableWidget *table = panel->table();
        for (const QChar letter : selected)
            table->selectionModel()->select(table->model()->index(panel->rowOfFile(index(letter)), 0),
                                            QItemSelectionModel::Select | QItemSelectionModel::Rows);

        QStringList seen;
        const auto log = [&seen](const QString &what) {
            return [&seen, what](const QString &path) { seen.append(what + QFileInfo(path).baseName()); };
        };
        connect(table->model(), &QAbstractItemModel::layoutChanged, this, [&] { seen.append(u"rebuild"_s); });
        connect(panel.get(), &BatchPanel::activeFilesChanged, this, [&] { seen.append(u"changed"_s); });
        connect(panel.get(), &BatchPanel::fileExcludedDuringConversion, this, log(u"excluded "_s));
        connect(panel.get(), &BatchPanel::convertNextRequested, this, log(u"next "_s));
        connect(panel.get(), &BatchPanel::fileRemoved, this, log(u"removed "_s));
        const QString action = offered.section(u'*', 1).section(u'|', 0, 0);
        QCOMPARE(menu(index(clicked.front()), action), QString(offered).remove(u'*'));
        for (const Dialogs::Request &request : dialogs.requestsOf(Dialogs::Kind::ShowInFolder))
            log(u"folder "_s)(request.text);

        // One letter per file in file order: Pending, Running, Failed, x for disabled.
        QString states;
        for (int i = 0; i < panel->fileCount(); ++i)
            states += panel->isDisabled(i) ? u'x' : u"PRDFSTC"_s.at(int(panel->statusOf(i)));
        QCOMPARE(states, after);
        QCOMPARE(seen.join(u", "_s), events);
        QString nowSelected;
        for (const int i : panel->selectedFiles())
            nowSelected += QChar(u'a' + i);
        QCOMPARE(nowSelected, selectedAfter);
    }

    void openLog_data()
    {
        QTest::addColumn<QString>("logOf");
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("opens"); // the log the menu of the first file opens
        QTest::addRow("its own log") << u"a"_s << QString() << u"a.log"_s;
        QTest::addRow("another file's log") << u"b"_s << QString() << QString();
        QTest::addRow("forgotten by a new list") << u"a"_s << u"setFiles"_s << QString();
        QTest::addRow("follows its file past a removal") << u"b"_s << u"remove a"_s << u"b.log"_s;
    }

    void openLog()
    {
        QFETCH(QString, logOf);
        QFETCH(QString, before);
        QFETCH(QString, opens);
        panel->setLogFile(files.at(logOf.front().unicode() - u'a').absoluteFilePath(),
                          tmp.filePath(logOf + u".log"_s));
        if (before == u"setFiles")
            panel->setFiles(files);
        else if (before == u"remove a")
            panel->removeFile(0);

        QCOMPARE(menu(0, u"Open Log"_s).contains(u"Copy Path|Open Log"_s), !opens.isEmpty());
        const QList<Dialogs::Request> opened = dialogs.requestsOf(Dialogs::Kind::OpenUrl);
        QCOMPARE(opened.isEmpty() ? QString() : opened.first().text,
                 opens.isEmpty() ? QString() : QUrl::fromLocalFile(tmp.filePath(opens)).toString());
        QVERIFY(opened.size() <= 1);
    }
};

QTEST_MAIN(tst_BatchSelection)
#include "tst_batchselection.moc"
