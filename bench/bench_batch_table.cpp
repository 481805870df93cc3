// The batch table at 10,000 files: setFiles, a whole simulated run of 10,000 started and
// finished events, then disabling and enabling 100 files one at a time, and a tenth of the
// files selected and disabled, then enabled, through the context menu in one step. The
// references are the row lookup by scanning column 0, timed for the same 20,000 events, and
// the one-at-a-time figures scaled to the size of the selection.
//
//   QT_QPA_PLATFORM=offscreen bench_batch_table [files]

#include "benchsupport.h"
#include "common/dialogs.h"
#include "progress/batchpanel.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QItemSelection>
#include <QMenu>
#include <QTableWidget>
#include <QTemporaryDir>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

QString ms(qint64 ns)
{
    return QString::number(nsToMs(ns), 'f', 1);
}

int scanColumnZero(const QTableWidget *table, int fileIndex)
{
    for (int row = 0; row < table->rowCount(); ++row) {
        const QTableWidgetItem *item = table->item(row, 0);
        if (item && item->data(Qt::UserRole).toInt() == fileIndex)
            return row;
    }
    return -1;
}

// Runs the context menu action with this text on the selection, as a right-click inside it would.
bool triggerOnSelection(BatchPanel &panel, const QString &text)
{
    const QList<int> selected = panel.selectedFiles();
    if (selected.isEmpty())
        return false;
    std::unique_ptr<QMenu> menu(panel.createContextMenu(selected.first(), &panel));
    for (QAction *action : menu->actions()) {
        if (action->text() == text) {
            action->trigger();
            return true;
        }
    }
    return false;
}

} // namespace

int main(int argc, char *argv[])
{
    preferOffscreenPlatform();
    QApplication app(argc, argv);
    const int count = argc > 1 ? QString::fromLocal8Bit(argv[1]).toInt() : 10'000;

    QTemporaryDir dir;
    QFileInfoList files;
    files.reserve(count);
    for (int i = 0; i < count; ++i) {
        QFile file(
            QDir(dir.path()).filePath(u"model_%1.rvt"_s.arg((i * 7919) % count, 5, 10, QLatin1Char('0'))));
        if (file.open(QIODevice::WriteOnly))
            file.resize((i % 97) * 1024 + i);
        // The scanner hands over file infos whose size it has already read.
        QFileInfo info(file.fileName());
        info.size();
        files.append(info);
    }
    print("files", QString::number(count));

    Dialogs dialogs;
    dialogs.setScripted();
    BatchPanel panel(&dialogs);
    panel.resize(900, 600);
    panel.show();
    QApplication::processEvents();

    QElapsedTimer timer;
    timer.start();
    panel.setFiles(files);
    print("setFiles_ms", ms(timer.nsecsElapsed()));
    QApplication::processEvents();
    print("setFiles_with_first_paint_ms", ms(timer.nsecsElapsed()));

    timer.start();
    panel.prepareForConversion();
    print("prepareForConversion_ms", ms(timer.nsecsElapsed()));
    panel.onConversionFinished();

    // The run: the table's own work per event, with the event loop painting now and then
    // as it would between converter processes. Once with the table on screen (the user
    // watches the files tab), once behind another tab (the run flow shows the log).
    qint64 runNs = 0;
    for (const bool visible : {true, false}) {
        panel.setVisible(visible);
        panel.prepareForConversion();
        QApplication::processEvents();
        qint64 ns = 0;
        for (int i = 0; i < count; ++i) {
            const QString path = files.at(i).absoluteFilePath();
            timer.start();
            panel.onFileStarted(i + 1, count, path);
            panel.onFileFinished(i + 1, i % 13 == 0 ? 2 : (i % 29 == 0 ? -3 : 0), path);
            ns += timer.nsecsElapsed();
            if (i % 100 == 0) {
                timer.start();
                QApplication::processEvents();
                ns += timer.nsecsElapsed();
            }
        }
        const char *name = visible ? "run_table_work_visible_ms" : "run_table_work_hidden_ms";
        print(name, ms(ns));
        print(visible ? "run_per_event_visible_us" : "run_per_event_hidden_us",
              QString::number(ns / 1e3 / (2.0 * count), 'f', 2));
        if (visible)
            runNs = ns;
        timer.start();
        panel.onConversionFinished();
        print("onConversionFinished_ms", ms(timer.nsecsElapsed()));
    }
    panel.show();
    QApplication::processEvents();
    print("run_events", QString::number(2 * count));

    // Reference: finding each event's row by scanning column 0.
    timer.start();
    qint64 found = 0;
    for (int i = 0; i < count; ++i) {
        found += scanColumnZero(panel.table(), i) >= 0 ? 1 : 0;
        found += scanColumnZero(panel.table(), i) >= 0 ? 1 : 0;
    }
    const qint64 scanNs = timer.nsecsElapsed();
    print("reference_scan_lookup_ms", ms(scanNs));
    print("reference_scan_per_event_us", QString::number(scanNs / 1e3 / (2.0 * count), 'f', 2));
    timer.start();
    for (int i = 0; i < count; ++i)
        found += panel.rowOfFile(i) >= 0 ? 2 : 0;
    print("constant_lookup_ms", ms(timer.nsecsElapsed()));
    print("run_vs_reference_scan_time_ratio", QString::number(static_cast<double>(runNs) / scanNs, 'f', 3));

    timer.start();
    for (int i = 0; i < 100; ++i)
        panel.disableFile(i * (count / 100));
    const qint64 disableOneByOneNs = timer.nsecsElapsed();
    print("disable_100_idle_ms", ms(disableOneByOneNs));
    timer.start();
    for (int i = 0; i < 100; ++i)
        panel.enableFile(i * (count / 100));
    const qint64 enableOneByOneNs = timer.nsecsElapsed();
    print("enable_100_idle_ms", ms(enableOneByOneNs));

    // Every tenth row selected, then Disable and Enable from the menu, each in one step. The
    // selection follows its files through the rebuild, so Enable finds the same files.
    const int selectedCount = count / 10;
    QItemSelection selection;
    for (int row = 0; row < count; row += 10)
        selection.select(panel.table()->model()->index(row, 0),
                         panel.table()->model()->index(row, BatchPanel::DurationColumn));
    panel.table()->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
    QApplication::processEvents();
    timer.start();
    bool bulkOk = triggerOnSelection(panel, u"Disable"_s);
    const qint64 disableSelectedNs = timer.nsecsElapsed();
    print(qPrintable(u"disable_%1_selected_ms"_s.arg(selectedCount)), ms(disableSelectedNs));
    bulkOk = bulkOk && panel.activeFiles().size() == count - selectedCount;
    QApplication::processEvents();
    timer.start();
    bulkOk = triggerOnSelection(panel, u"Enable"_s) && bulkOk;
    const qint64 enableSelectedNs = timer.nsecsElapsed();
    print(qPrintable(u"enable_%1_selected_ms"_s.arg(selectedCount)), ms(enableSelectedNs));
    bulkOk = bulkOk && panel.activeFiles().size() == count;
    QApplication::processEvents();
    // The one-at-a-time reference: the 100 files above, scaled to the selection's size.
    const double scale = selectedCount / 100.0;
    print(qPrintable(u"disable_%1_one_by_one_ms_scaled_from_100"_s.arg(selectedCount)),
          QString::number(nsToMs(disableOneByOneNs) * scale, 'f', 1));
    print(qPrintable(u"enable_%1_one_by_one_ms_scaled_from_100"_s.arg(selectedCount)),
          QString::number(nsToMs(enableOneByOneNs) * scale, 'f', 1));
    print("disable_one_by_one_vs_selected_time_ratio",
          QString::number(disableOneByOneNs * scale / disableSelectedNs, 'f', 1));
    print("enable_one_by_one_vs_selected_time_ratio",
          QString::number(enableOneByOneNs * scale / enableSelectedNs, 'f', 1));
    print("selected_steps_checked", bulkOk ? u"yes"_s : u"no"_s);

    // Disabling during a run greys rows in place instead of rebuilding.
    panel.prepareForConversion();
    timer.start();
    for (int i = 0; i < 100; ++i)
        panel.disableFile(i * (count / 100));
    print("disable_100_during_run_ms", ms(timer.nsecsElapsed()));
    const qsizetype activeBefore = panel.activeFiles().size();
    timer.start();
    bulkOk = triggerOnSelection(panel, u"Disable"_s) && bulkOk;
    print(qPrintable(u"disable_%1_selected_during_run_ms"_s.arg(selectedCount)), ms(timer.nsecsElapsed()));
    // Files of the selection already disabled above are left as they are.
    print("selected_waiting_files_disabled_during_run",
          QString::number(activeBefore - panel.activeFiles().size()));
    panel.onConversionFinished();
    print("rows_checked", QString::number(found));
    return found == 4 * count && bulkOk ? 0 : 1;
}
