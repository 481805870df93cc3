#pragma once

#include <QList>
#include <QMap>
#include <QSize>
#include <QString>
#include <QStringList>

struct ExportFormat
{
    bool checkable = true;
    bool checked = true;
    bool locked = false;
    QString description;
    int row = 0;
    int column = 0;
};

struct FileVersion
{
    QString label;
    bool supported = true;
};

struct ConverterLink
{
    QString title;
    QString url;
    QString image;
    QSize size;
    int index = 0;
    Qt::Alignment alignment;
};

// Everything the user interface offers for one converter comes from this record.
struct ConverterInfo
{
    QString id;
    QString displayName;
    QString executable;
    QStringList extensions;
    QString fileFilter;
    bool supportsDae = false;
    bool supportsBoundingBox = false;
    bool supportsRooms = false;
    bool supportsViewMap = false;
    bool supportsExtendedParents = false;
    bool supportsSchedules = false;
    bool supportsSheetsToPdf = false;
    bool reservedCapability = false;
    QStringList modes;
    QString defaultMode;
    QMap<QString, ExportFormat> formats;
    // Outer key: grid column; inner key: grid row.
    QMap<int, QMap<int, FileVersion>> fileVersions;
    QString titleImage;
    QList<ConverterLink> links;
};

ConverterInfo makeRevitConverterInfo(bool communityEdition);
ConverterInfo makeIfcConverterInfo(bool communityEdition);
ConverterInfo makeDwgConverterInfo(bool communityEdition);
ConverterInfo makeDgnConverterInfo(bool communityEdition);
ConverterInfo makeRvt2IfcConverterInfo(bool communityEdition);

ConverterInfo makeConverterInfo(const QString &id, bool communityEdition);

QList<ConverterLink> commonConverterLinks();
QStringList converterNameFilters(const ConverterInfo &info);
