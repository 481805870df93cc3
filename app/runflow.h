#pragma once

#include "input/inputselection.h"

#include <QCoreApplication>
#include <QFileInfoList>
#include <QRect>
#include <QString>
#include <QStringList>
#include <QSystemTrayIcon>

// The main window's decisions and texts around a run, kept free of widgets so that each can
// be checked on its own. The texts belong to the main window's translation context.
class RunFlow
{
    Q_DECLARE_TR_FUNCTIONS(MainWindow)

public:
    // A text with the role the style sheets select on ("success" or "error").
    struct Summary
    {
        QString text;
        QString role;
    };

    struct Notice
    {
        QString text;
        int durationMs = 0;
    };

    struct TrayNotice
    {
        QString text;
        QSystemTrayIcon::MessageIcon icon = QSystemTrayIcon::Information;
    };

    static constexpr int refreshIntervalMs = 1000;
    static constexpr int stopFollowUpMs = 5000;
    static constexpr int progressNameLength = 40;

    static QString missingOutputMessage();
    // Why a start with no active file cannot go on, by input mode and what was chosen.
    static QString missingInputMessage(const InputSelection &input);
    static QString confirmationText(const QFileInfoList &files, const QString &modeLabel);

    static Summary summary(int successCount, int failCount, int skipCount);
    static QString filesTabTitle(int failCount);
    static Notice endToast(int successCount, int failCount, int skipCount, const QString &duration);
    static TrayNotice endTrayNotice(int successCount, int failCount, int skipCount);

    static QString windowTitle(const QString &appTitle, int percent, int number, int total);
    static QString progressText(int number, int total, const QString &fileName, const QString &stage,
                                const QString &elapsed);
    static QString statusText(int number, int total, const QString &elapsed);
    // The same while several files run at once: numbers first to last of them.
    static QString parallelWindowTitle(const QString &appTitle, int percent, int first, int last, int total);
    static QString parallelProgressText(int first, int last, int total, int runningCount,
                                        const QString &stage, const QString &elapsed);
    static QString parallelStatusText(int first, int last, int total, const QString &elapsed);
    // Long names are cut to maxLength characters, the last of them an ellipsis.
    static QString elidedName(const QString &name, int maxLength = progressNameLength);
    // The run clock as the batch table writes it, or "00:00" before any run.
    static QString elapsedText(bool valid, qint64 elapsedMs);

    static QString fileErrorLine(const QString &fileName, int exitCode);
    static QString skippedLine(const QString &fileName);

    // Size and place of a window without stored geometry, centred on the available area.
    static QRect defaultGeometry(const QRect &available);

    // The input folder worth remembering for next time; empty leaves the stored one alone.
    static QString rememberedInputDir(const InputSelection &input);
    // What a confirmed run adds to the recent files.
    static QString recentEntry(const InputSelection &input, const QFileInfoList &activeFiles);
    // The folder "Open Output Folder" shows.
    static QString outputFolderToOpen(bool sameAsProject, const InputSelection &input,
                                      const QString &outputDir);
};
