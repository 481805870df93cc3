#include "batch/commandline.h"

#include "common/settingskeys.h"
#include "conversion/converterinfo.h"

#include <QCommandLineParser>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {

struct Switch
{
    const char *name;
    bool ConversionOptions::*option;
    bool ConverterInfo::*supported;
};

// The window's option boxes, by the words of their labels; nullptr: every converter has it.
constexpr Switch switches[] = {
    {"bbox", &ConversionOptions::boundingBox, &ConverterInfo::supportsBoundingBox},
    {"room-data", &ConversionOptions::rooms, &ConverterInfo::supportsRooms},
    {"view-mapping", &ConversionOptions::viewMap, &ConverterInfo::supportsViewMap},
    {"extended-parents", &ConversionOptions::extendedParents, &ConverterInfo::supportsExtendedParents},
    {"schedules", &ConversionOptions::schedules, &ConverterInfo::supportsSchedules},
    {"sheets-to-pdf", &ConversionOptions::sheetsToPdf, &ConverterInfo::supportsSheetsToPdf},
    {"skip-dae", &ConversionOptions::skipDae, &ConverterInfo::supportsDae},
    {"skip-xlsx", &ConversionOptions::skipXlsx, nullptr},
    {"exact-output-path", &ConversionOptions::forcePath, nullptr},
};

// The choices that make up a batch; a resumed batch takes them from its journal.
const QStringList batchChoices{u"converter"_s, u"recursive"_s,  u"output"_s, u"same-folder"_s,
                               u"mode"_s,      u"categories"_s, u"config"_s, u"shard"_s};

void addOptions(QCommandLineParser &parser)
{
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    parser.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsOptions);
    parser.addPositionalArgument(u"inputs"_s,
                                 BatchCommandLine::tr("One model file, a folder, or several files."),
                                 u"<file|folder>..."_s);
    parser.addOptions({
        {u"converter"_s, BatchCommandLine::tr("Converter: revit (default), ifc, dwg, dgn or rvt2ifc."),
         u"id"_s},
        {{u"r"_s, u"recursive"_s}, BatchCommandLine::tr("Include the subfolders of a folder.")},
        {{u"o"_s, u"output"_s}, BatchCommandLine::tr("Output folder (made when missing)."), u"folder"_s},
        {u"same-folder"_s, BatchCommandLine::tr("Write the results beside each input instead.")},
        {u"mode"_s,
         BatchCommandLine::tr("Export mode, as the converter names it (revit: basic, standard, "
                              "complete, custom; rvt2ifc: standard, extended, custom)."),
         u"mode"_s},
        {u"categories"_s, BatchCommandLine::tr("Category file for --mode custom (revit)."), u"file"_s},
        {u"config"_s, BatchCommandLine::tr("IFC export configuration for --mode custom (rvt2ifc)."),
         u"text"_s},
        {u"bbox"_s, BatchCommandLine::tr("Add BBox geometry information.")},
        {u"room-data"_s, BatchCommandLine::tr("Add ToRoom/FromRoom data.")},
        {u"view-mapping"_s, BatchCommandLine::tr("Include View Mapping.")},
        {u"extended-parents"_s, BatchCommandLine::tr("Include Extended Parent Parameters.")},
        {u"schedules"_s, BatchCommandLine::tr("Export all Schedules.")},
        {u"sheets-to-pdf"_s, BatchCommandLine::tr("Export all Sheets to PDF.")},
        {u"skip-xlsx"_s, BatchCommandLine::tr("Do not write the XLSX spreadsheet.")},
        {u"skip-dae"_s, BatchCommandLine::tr("Do not write the DAE geometry.")},
        {u"exact-output-path"_s, BatchCommandLine::tr("Use exact output path (no timestamp suffix).")},
        {{u"j"_s, u"jobs"_s},
         BatchCommandLine::tr("Convert up to N files at once (1-16, default 1)."),
         u"n"_s},
        {u"skip-up-to-date"_s, BatchCommandLine::tr("Skip files whose results are already up to date.")},
        {u"stall-minutes"_s,
         BatchCommandLine::tr("Report a converter silent for M minutes (default 10, 0 = never)."), u"m"_s},
        {u"stall-action"_s, BatchCommandLine::tr("Then: warn (default), skip the file, or stop the batch."),
         u"action"_s},
        {u"wine"_s,
         BatchCommandLine::tr("Program that starts Windows converters (default: wine or wine64 on the PATH, "
                              "else /usr/lib/wine/wine64)."),
         u"path"_s},
        {u"dry-run"_s, BatchCommandLine::tr("Print each file's converter command line, one argument a line; "
                                            "run nothing.")},
        {u"resume"_s, BatchCommandLine::tr("Continue the last interrupted batch (of this --shard, in this "
                                           "--batch-dir) with the files that did not finish.")},
        {u"batch-dir"_s,
         BatchCommandLine::tr(
             "Folder for the batches' journals, logs and reports (default: the data folder)."),
         u"folder"_s},
        {u"report"_s, BatchCommandLine::tr("Also write the CSV report to PATH and the JSON one beside it."),
         u"path"_s},
        {u"shard"_s, BatchCommandLine::tr("Convert only part K of N disjoint parts of the input."), u"k/n"_s},
        {u"merge-reports"_s,
         BatchCommandLine::tr("Merge the CSV reports given as inputs into PATH (and PATH's JSON); exit 1 "
                              "when any file did not convert."),
         u"path"_s},
        {{u"v"_s, u"verbose"_s}, BatchCommandLine::tr("Also print the converters' own output.")},
        {{u"q"_s, u"quiet"_s}, BatchCommandLine::tr("Print only the summary.")},
        {{u"h"_s, u"help"_s}, BatchCommandLine::tr("Show this help.")},
        {u"version"_s, BatchCommandLine::tr("Show the version.")},
    });
}

int readNumber(const QCommandLineParser &parser, const QString &name, int fallback, int low, int high,
               QString &error)
{
    if (!parser.isSet(name))
        return fallback;
    bool ok = false;
    const int value = parser.value(name).toInt(&ok);
    if (!ok || value < low || value > high)
        error = BatchCommandLine::tr("--%1 takes a whole number from %2 to %3, not \"%4\".")
                    .arg(name)
                    .arg(low)
                    .arg(high)
                    .arg(parser.value(name));
    return value;
}

// The choices of a new batch: converter, output, mode and switches.
void readBatchChoices(const QCommandLineParser &parser, BatchCommandLine &line)
{
    line.converterId = parser.isSet(u"converter"_s) ? parser.value(u"converter"_s) : u"revit"_s;
    const ConverterInfo info = makeConverterInfo(line.converterId, true);
    if (info.id.isEmpty()) {
        line.error = BatchCommandLine::tr("Unknown converter \"%1\".").arg(line.converterId);
        return;
    }
    line.inputs = parser.positionalArguments();
    line.recursive = parser.isSet(u"recursive"_s);
    if (line.inputs.isEmpty()) {
        line.error = BatchCommandLine::tr("Name a model file, a folder, or several files.");
        return;
    }
    line.sameFolder = parser.isSet(u"same-folder"_s);
    line.outputDir = parser.value(u"output"_s);
    if (line.sameFolder == parser.isSet(u"output"_s) || (!line.sameFolder && line.outputDir.isEmpty())) {
        line.error = BatchCommandLine::tr("Choose an output folder with --output, or --same-folder.");
        return;
    }

    ConversionOptions &options = line.options;
    options.mode = parser.isSet(u"mode"_s) ? parser.value(u"mode"_s) : info.defaultMode;
    if (parser.isSet(u"mode"_s) && !info.modes.contains(options.mode)) {
        line.error = info.modes.isEmpty()
                         ? BatchCommandLine::tr("Converter %1 has no export modes.").arg(info.id)
                         : BatchCommandLine::tr("Converter %1 has the modes %2, not \"%3\".")
                               .arg(info.id, info.modes.join(u", "_s), options.mode);
        return;
    }
    for (const char *name : {"categories", "config"}) {
        const QString option = QString::fromLatin1(name);
        if (!parser.isSet(option))
            continue;
        const bool offered = option == u"categories" ? info.id == u"revit" : info.id == u"rvt2ifc";
        if (!offered || options.mode != u"custom") {
            line.error = BatchCommandLine::tr("--%1 goes with --mode custom of converter %2.")
                             .arg(option, option == u"categories" ? u"revit"_s : u"rvt2ifc"_s);
            return;
        }
    }
    // Absolute, so that a resumed batch started from another folder still finds it.
    if (parser.isSet(u"categories"_s))
        options.categories = QFileInfo(parser.value(u"categories"_s)).absoluteFilePath();
    options.config = parser.value(u"config"_s);
    for (const Switch &s : switches) {
        const QString name = QString::fromLatin1(s.name);
        if (!parser.isSet(name))
            continue;
        if (s.supported && !(info.*s.supported)) {
            line.error = BatchCommandLine::tr("Converter %1 does not offer --%2.").arg(info.id, name);
            return;
        }
        options.*s.option = true;
    }
    if (parser.isSet(u"shard"_s)) {
        line.shard = BatchShard::parse(parser.value(u"shard"_s));
        if (!line.shard)
            line.error = BatchCommandLine::tr("--shard takes K/N with 1 <= K <= N, not \"%1\".")
                             .arg(parser.value(u"shard"_s));
    }
}

} // namespace

BatchCommandLine BatchCommandLine::parse(const QStringList &arguments)
{
    BatchCommandLine line;
    QCommandLineParser parser;
    addOptions(parser);
    if (!parser.parse(arguments)) {
        line.error = parser.errorText();
        return line;
    }
    if (parser.isSet(u"help"_s)) {
        line.action = Action::Help;
        return line;
    }
    if (parser.isSet(u"version"_s)) {
        line.action = Action::Version;
        return line;
    }

    line.verbose = parser.isSet(u"verbose"_s);
    line.quiet = parser.isSet(u"quiet"_s);
    if (line.verbose && line.quiet) {
        line.error = tr("--verbose and --quiet exclude each other.");
        return line;
    }

    if (parser.isSet(u"merge-reports"_s)) {
        line.action = Action::MergeReports;
        line.mergeOutput = parser.value(u"merge-reports"_s);
        line.inputs = parser.positionalArguments();
        if (line.inputs.isEmpty())
            line.error = tr("--merge-reports needs the reports to merge.");
        return line;
    }

    line.jobs = readNumber(parser, u"jobs"_s, 1, 1, maxJobs, line.error);
    line.stallMinutes =
        readNumber(parser, u"stall-minutes"_s, SettingsKeys::defaultStallMinutes, 0, 24 * 60, line.error);
    line.stallAction = parser.isSet(u"stall-action"_s) ? parser.value(u"stall-action"_s)
                                                       : SettingsKeys::defaultStallAction();
    if (!QStringList{u"warn"_s, u"skip"_s, u"stop"_s}.contains(line.stallAction))
        line.error = tr("--stall-action is warn, skip or stop, not \"%1\".").arg(line.stallAction);
    if (!line.error.isEmpty())
        return line;
    line.skipUpToDate = parser.isSet(u"skip-up-to-date"_s);
    line.reportPath = parser.value(u"report"_s);
    line.batchDir = parser.value(u"batch-dir"_s);
    line.wine = parser.value(u"wine"_s);

    if (parser.isSet(u"resume"_s)) {
        line.action = Action::Resume;
        if (parser.isSet(u"dry-run"_s)) {
            line.error = tr("--resume and --dry-run exclude each other.");
            return line;
        }
        if (!parser.positionalArguments().isEmpty()) {
            line.error = tr("--resume takes its files from the interrupted batch; name none.");
            return line;
        }
        // The journal holds the batch's own choices; only the part says which journal.
        for (const QString &name : batchChoices) {
            if (name != u"shard" && parser.isSet(name)) {
                line.error = tr("--resume takes --%1 from the interrupted batch; leave it out.").arg(name);
                return line;
            }
        }
        for (const Switch &s : switches) {
            if (parser.isSet(QString::fromLatin1(s.name))) {
                line.error = tr("--resume takes --%1 from the interrupted batch; leave it out.")
                                 .arg(QString::fromLatin1(s.name));
                return line;
            }
        }
        if (parser.isSet(u"shard"_s)) {
            line.shard = BatchShard::parse(parser.value(u"shard"_s));
            if (!line.shard)
                line.error =
                    tr("--shard takes K/N with 1 <= K <= N, not \"%1\".").arg(parser.value(u"shard"_s));
        }
        return line;
    }

    line.action = parser.isSet(u"dry-run"_s) ? Action::DryRun : Action::Run;
    readBatchChoices(parser, line);
    return line;
}

QString BatchCommandLine::helpText()
{
    QCommandLineParser parser;
    addOptions(parser);
    parser.setApplicationDescription(
        tr("Converts construction-model files with the same converters, choices, checks, journal, logs "
           "and reports as the window, without one."));
    QString text = parser.helpText();
    text += u'\n' + tr("Exit codes:") + u'\n';
    text += tr("  0    every file converted (or already up to date)") + u'\n';
    text += tr("  1    some files failed, were skipped or were not run") + u'\n';
    text += tr("  2    usage error (also: no files found, nothing to resume)") + u'\n';
    text += tr("  3    refused by the checks before the run; the findings are on standard error") + u'\n';
    text += tr("  130  interrupted (Ctrl+C or SIGTERM); --resume continues the batch") + u'\n';
    text += u'\n' + tr("Examples:") + u'\n';
    text += u"  kvtbatch --recursive --output /srv/out /srv/models\n"_s;
    text += u"  kvtbatch --same-folder --mode complete --bbox --report nightly.csv tower.rvt hall.rvt\n"_s;
    text += u"  kvtbatch --resume\n"_s;
    text +=
        u"  parallel kvtbatch -r -o /srv/out --shard {}/4 --report part{}.csv /srv/models ::: 1 2 3 4\n"_s;
    text += u"  kvtbatch --merge-reports all.csv part1.csv part2.csv part3.csv part4.csv\n"_s;
    return text;
}
