#pragma once

#include <QString>
#include <QStringList>

struct ConverterInfo;

// The per-file options from which a converter's command line is built.
struct ConversionOptions
{
    QString inputPath;
    // Reserved for future converters; nothing fills or reads them yet.
    QString reserved1;
    QString reserved2;
    QString reserved3;
    QString reserved4;
    bool boundingBox = false;
    bool rooms = false;
    bool viewMap = false;
    bool extendedParents = false;
    bool schedules = false;
    bool sheetsToPdf = false;
    bool skipXlsx = false;
    bool skipDae = false;
    bool forcePath = false;
    QString mode;
    QString categories;
    QString config;
};

// The converter's argument list for one file; an empty outputDir means "beside the input".
QStringList buildConverterArguments(const ConverterInfo &info, const ConversionOptions &options,
                                    const QString &outputDir);

// The result files the converter will write for one file, as its command line names them;
// with no outputDir they go beside the input under the same names. Formats the options skip
// are left out.
QStringList expectedOutputFiles(const ConverterInfo &info, const ConversionOptions &options,
                                const QString &outputDir);
