#pragma once

#include "conversion/conversionoptions.h"
#include "conversion/converterinfo.h"

#include <QCoreApplication>
#include <QList>
#include <QString>
#include <QStringList>

// What a batch is about to do, as the checks before a run need it.
struct PreflightInput
{
    ConverterInfo converter;
    // The converter program that would be started.
    QString converterPath;
    // The launcher that would start a Windows converter; empty: none was found.
    QString wineLauncher;
    ConversionOptions options;
    // Absolute paths of the files to convert, in order.
    QStringList files;
    // Empty: results go beside each input.
    QString outputDir;
    bool skipUpToDate = false;
};

// One thing the checks found. A refusal means the run must not start as it is; anything
// else can be continued past.
struct PreflightFinding
{
    enum class Kind { SameOutput, OutputNotWritable, LowSpace, MissingInput, ConverterUnusable, UpToDate };
    Kind kind;
    bool refuses = false;
    QString text;
    QStringList paths;
};

struct PreflightResult
{
    QList<PreflightFinding> findings;
    // The files that would run after the checks: missing and up-to-date ones left out.
    QStringList filesToRun;
    QStringList upToDate;

    bool refused() const;
    bool isClean() const { return findings.isEmpty(); }
};

// The checks made before anything runs: inputs that would write the same result file,
// an output folder that cannot be written or is short of space, inputs that are gone, a
// converter that cannot start (also a Windows converter where there is no Wine), and (when asked) results
// that are already up to date.
class Preflight
{
    Q_DECLARE_TR_FUNCTIONS(Preflight)

public:
    static PreflightResult check(const PreflightInput &input);

    // Whether `folder` takes a new file: one is made and removed again.
    static bool canWriteIn(const QString &folder);
    // True when every result exists and is newer than the input.
    static bool isUpToDate(const QString &input, const QStringList &outputs);
};
