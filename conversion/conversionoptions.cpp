#include "conversion/conversionoptions.h"

#include "conversion/converterinfo.h"

#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

QStringList buildConverterArguments(const ConverterInfo &info, const ConversionOptions &options,
                                    const QString &outputDir)
{
    QStringList args;
    args.append(options.inputPath);

    if (!outputDir.isEmpty()) {
        const QFileInfo fi(options.inputPath);
        // The lower-cased input suffix is part of every output name, so model.rvt and
        // model.rfa never overwrite each other.
        QString stem = fi.completeBaseName();
        const QString suffix = fi.suffix().toLower();
        if (!suffix.isEmpty())
            stem += u'_' + suffix;
        const QDir dir(outputDir);
        const auto outputPath = [&](const QString &extension) { return dir.filePath(stem + extension); };

        if (info.id == u"revit" || info.id == u"ifc") {
            args.append(u"--output-dae="_s + outputPath(u".dae"_s));
            args.append(u"--output-xlsx="_s + outputPath(u".xlsx"_s));
        } else if (info.id == u"dwg" || info.id == u"dgn") {
            args.append(u"--output-xlsx="_s + outputPath(u".xlsx"_s));
        } else if (info.id == u"rvt2ifc") {
            args.append(u"--output="_s + outputPath(u".ifc"_s));
        }
    }

    if (info.id == u"revit" || info.id == u"rvt2ifc") {
        if (!options.mode.isEmpty())
            args.append(u"--mode="_s + options.mode);
        if (options.mode == u"custom") {
            if (info.id == u"revit" && !options.categories.isEmpty())
                args.append(u"--categories="_s + options.categories);
            else if (info.id == u"rvt2ifc" && !options.config.isEmpty())
                args.append(u"--config="_s + options.config);
        }
    }

    if (info.supportsBoundingBox && options.boundingBox)
        args.append(u"--bbox"_s);
    if (info.supportsRooms && options.rooms)
        args.append(u"--rooms"_s);
    if (info.supportsViewMap && options.viewMap)
        args.append(u"--viewmap"_s);
    if (info.supportsExtendedParents && options.extendedParents)
        args.append(u"--extended-parents"_s);
    if (info.supportsSchedules && options.schedules)
        args.append(u"--schedules"_s);
    if (info.supportsSheetsToPdf && options.sheetsToPdf)
        args.append(u"--sheets-to-pdf"_s);
    // These two are sent whenever set: the converters accept them unconditionally.
    if (options.skipXlsx)
        args.append(u"--skip-xlsx"_s);
    if (info.supportsDae && options.skipDae)
        args.append(u"--skip-dae"_s);
    if (options.forcePath)
        args.append(u"--force-path"_s);

    args.append(u"--ui"_s);
    return args;
}

QStringList expectedOutputFiles(const ConverterInfo &info, const ConversionOptions &options,
                                const QString &outputDir)
{
    const QString folder = outputDir.isEmpty() ? QFileInfo(options.inputPath).absolutePath() : outputDir;
    QStringList outputs;
    for (const QString &argument : buildConverterArguments(info, options, folder)) {
        for (const QLatin1StringView prefix : {"--output-dae="_L1, "--output-xlsx="_L1, "--output="_L1}) {
            if (!argument.startsWith(prefix))
                continue;
            const bool skipped = (prefix == "--output-dae="_L1 && options.skipDae) ||
                                 (prefix == "--output-xlsx="_L1 && options.skipXlsx);
            if (!skipped)
                outputs.append(argument.mid(prefix.size()));
        }
    }
    return outputs;
}
