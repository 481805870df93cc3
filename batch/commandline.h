#pragma once

#include "conversion/batchshard.h"
#include "conversion/conversionoptions.h"

#include <QCoreApplication>
#include <QString>
#include <QStringList>

#include <optional>

// What kvtbatch returns; --help lists them.
namespace BatchExit {
inline constexpr int Converted = 0;
inline constexpr int SomeFailed = 1;
inline constexpr int UsageError = 2;
inline constexpr int Refused = 3;
inline constexpr int Interrupted = 130;
} // namespace BatchExit

// The command's arguments, read and checked in one place so that a mistake is reported before
// anything touches the disk. The choices carry the window's names.
struct BatchCommandLine
{
    Q_DECLARE_TR_FUNCTIONS(BatchCommandLine)

public:
    enum class Action { Run, DryRun, Resume, MergeReports, Help, Version };

    Action action = Action::Run;
    // Set when the arguments cannot be used; the command exits with UsageError.
    QString error;

    QString converterId;
    QStringList inputs;
    bool recursive = false;
    // Empty with sameFolder: results beside each input.
    QString outputDir;
    bool sameFolder = false;
    // Mode, categories, config and switches; inputPath stays empty.
    ConversionOptions options;
    int jobs = 1;
    bool skipUpToDate = false;
    int stallMinutes = 0;
    QString stallAction;
    bool verbose = false;
    bool quiet = false;
    QString reportPath;
    std::optional<BatchShard> shard;
    // The Wine launcher chosen (as in Preferences); empty: looked for as the window does.
    QString wine;
    // Where the batches' journals, logs and reports go; empty: the program's data folder.
    QString batchDir;
    // --merge-reports: the merged report and the parts' reports.
    QString mergeOutput;

    static BatchCommandLine parse(const QStringList &arguments);
    static QString helpText();
    static constexpr int maxJobs = 16;
};
