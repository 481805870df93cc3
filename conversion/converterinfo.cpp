#include "conversion/converterinfo.h"

using namespace Qt::StringLiterals;

namespace {

QString editionName(const QString &base, bool communityEdition)
{
    return base + (communityEdition ? u" Community"_s : u" Ad-Free"_s);
}

ConverterLink makeLink(int index, const QString &title, const QString &url, const QString &image,
                       Qt::Alignment alignment)
{
    return ConverterLink{title, url, image, QSize(300, 83), index, alignment};
}

// Fills the grid column by column, `rows` cells per column, in the order given.
QMap<int, QMap<int, FileVersion>> versionGrid(const QStringList &labels, int rows)
{
    QMap<int, QMap<int, FileVersion>> grid;
    for (int i = 0; i < labels.size(); ++i)
        grid[i / rows][i % rows] = FileVersion{labels.at(i), true};
    return grid;
}

QMap<int, QMap<int, FileVersion>> revitVersionGrid()
{
    // "Revit", U+00AE, U+FE0F and the year, with no space.
    const QString prefix = u"Revit\u00AE\uFE0F"_s;
    // Filled column by column, so that each row reads three consecutive years.
    QMap<int, QMap<int, FileVersion>> grid;
    for (int column = 0; column < 3; ++column) {
        for (int row = 0; row < 4; ++row)
            grid[column][row] = FileVersion{prefix + QString::number(2015 + row * 3 + column), true};
    }
    return grid;
}

ExportFormat format(const QString &description, int row, int column, bool locked = false)
{
    ExportFormat f;
    f.checkable = true;
    f.checked = true;
    f.locked = locked;
    f.description = description;
    f.row = row;
    f.column = column;
    return f;
}

const QString xlsxText = u".xlsx - Data on all properties of all elements"_s;
const QString daeText = u".dae - Data on geometry of all elements"_s;
const QString csvText = u".csv - Data on all properties of all elements"_s;
const QString xlmText = u".xlm - Data on all properties of all elements"_s;

// The tabular converters share their format set; only IFC adds geometry.
void addTableFormats(ConverterInfo &info)
{
    info.formats.insert(u"XLSX"_s, format(xlsxText, 0, 0));
    info.formats.insert(u"CSV"_s, format(csvText, 1, 0));
    info.formats.insert(u"XLM"_s, format(xlmText, 1, 1));
}

} // namespace

QList<ConverterLink> commonConverterLinks()
{
    return {
        makeLink(0, u"Excel Plugin"_s, u"/kvt-excel-plugin-for-working-with-revit-ifc-and-dwg/"_s,
                 u":/res/png/excel_plugin.png"_s, Qt::AlignRight | Qt::AlignBottom),
        makeLink(1, u"ChatGPT and LLM"_s, u"/chatgpt-and-llm/"_s, u":/res/png/chatgpt_and_llm.png"_s,
                 Qt::AlignCenter | Qt::AlignBottom),
        makeLink(2, u"Versions KVT"_s, u"/convertors/"_s, u":/res/png/versions_kvt.png"_s,
                 Qt::AlignLeft | Qt::AlignBottom),
    };
}

ConverterInfo makeRevitConverterInfo(bool communityEdition)
{
    ConverterInfo info;
    info.id = u"revit"_s;
    info.displayName = editionName(u"KVT Revit"_s, communityEdition);
    info.executable = u"RvtExporter.exe"_s;
    info.extensions = {u"rvt"_s, u"rfa"_s};
    info.fileFilter = u"Revit files (*.rvt *.rfa)"_s;
    info.supportsDae = true;
    info.supportsBoundingBox = true;
    info.supportsRooms = true;
    info.supportsViewMap = true;
    info.supportsExtendedParents = true;
    info.supportsSchedules = true;
    info.supportsSheetsToPdf = true;
    info.reservedCapability = true;
    info.modes = {u"basic"_s, u"standard"_s, u"complete"_s, u"custom"_s};
    info.defaultMode = u"standard"_s;
    info.formats.insert(u"XLSX"_s, format(xlsxText, 0, 0));
    info.formats.insert(u"COLLADA"_s, format(daeText, 0, 1));
    info.fileVersions = revitVersionGrid();
    info.titleImage = u":/res/png/title_revit.png"_s;
    info.links = commonConverterLinks();
    info.links.append(makeLink(3, u"Back Import"_s, u"/kvt-import-excel-to-revit-2/"_s,
                               u":/res/png/revit_back_import.png"_s, Qt::AlignCenter | Qt::AlignBottom));
    return info;
}

ConverterInfo makeIfcConverterInfo(bool communityEdition)
{
    ConverterInfo info;
    info.id = u"ifc"_s;
    info.displayName = editionName(u"KVT IFC"_s, communityEdition);
    info.executable = u"IfcExporter.exe"_s;
    info.extensions = {u"ifc"_s};
    info.fileFilter = u"IFC files (*.ifc)"_s;
    // What the open exporter does: a bounding box per element from its geometry (--bbox), the
    // DAE and the XLSX each switched off on request, the CSV always written beside the XLSX
    // (it has no switch of its own), and no XLM.
    info.supportsDae = true;
    info.supportsBoundingBox = true;
    info.reservedCapability = true;
    info.formats.insert(u"XLSX"_s, format(xlsxText, 0, 0));
    info.formats.insert(u"COLLADA"_s, format(daeText, 0, 1));
    info.formats.insert(u"CSV"_s, format(csvText, 1, 0, true));
    ExportFormat xlm = format(xlmText, 1, 1, true);
    xlm.checked = false;
    info.formats.insert(u"XLM"_s, xlm);
    // IFC++ reads IFC2X3 and IFC4; the exporter refuses the later schemas with exit code 2.
    info.fileVersions = versionGrid({u"IFC2x3"_s, u"IFC4"_s, u"IFC4X1"_s, u"IFC4X2"_s, u"IFC4X3"_s}, 3);
    for (auto &column : info.fileVersions) {
        for (FileVersion &version : column)
            version.supported = version.label == u"IFC2x3" || version.label == u"IFC4";
    }
    info.titleImage = u":/res/png/title_ifc.png"_s;
    info.links = commonConverterLinks();
    return info;
}

ConverterInfo makeDwgConverterInfo(bool communityEdition)
{
    ConverterInfo info;
    info.id = u"dwg"_s;
    info.displayName = editionName(u"KVT Dwg"_s, communityEdition);
    info.executable = u"DwgExporter.exe"_s;
    info.extensions = {u"dwg"_s};
    info.fileFilter = u"DWG files (*.dwg)"_s;
    info.reservedCapability = true;
    addTableFormats(info);
    info.fileVersions = versionGrid({u"AutoCAD 1982-2000"_s, u"AutoCAD 2010-2012"_s, u"AutoCAD 2000-2002"_s,
                                     u"AutoCAD 2013-2017"_s, u"AutoCAD 2004-2006"_s, u"AutoCAD 2018-2025"_s},
                                    2);
    info.titleImage = u":/res/png/title_dwg.png"_s;
    info.links = commonConverterLinks();
    return info;
}

ConverterInfo makeDgnConverterInfo(bool communityEdition)
{
    ConverterInfo info;
    info.id = u"dgn"_s;
    info.displayName = editionName(u"KVT Dgn"_s, communityEdition);
    info.executable = u"DgnExporter.exe"_s;
    info.extensions = {u"dgn"_s};
    info.fileFilter = u"DGN files (*.dgn)"_s;
    info.reservedCapability = true;
    addTableFormats(info);
    info.fileVersions = versionGrid({u"DGN v7"_s, u"DGN v8"_s}, 2);
    info.titleImage = u":/res/png/title_dgn.png"_s;
    info.links = commonConverterLinks();
    return info;
}

ConverterInfo makeRvt2IfcConverterInfo(bool communityEdition)
{
    ConverterInfo info;
    info.id = u"rvt2ifc"_s;
    info.displayName = editionName(u"KVT RVT2IFC"_s, communityEdition);
    info.executable = u"RVT2IFCconverter.exe"_s;
    info.extensions = {u"rvt"_s, u"rfa"_s};
    info.fileFilter = u"Revit files (*.rvt *.rfa)"_s;
    info.reservedCapability = true;
    info.modes = {u"standard"_s, u"extended"_s, u"custom"_s};
    info.defaultMode = u"standard"_s;
    // The converter writes exactly one .ifc, so the format cannot be switched off.
    info.formats.insert(u"IFC"_s, format(u".ifc - Industry Foundation Classes"_s, 0, 0, true));
    info.fileVersions = revitVersionGrid();
    info.titleImage = u":/res/png/title_rvt2ifc.png"_s;
    info.links = commonConverterLinks();
    return info;
}

ConverterInfo makeConverterInfo(const QString &id, bool communityEdition)
{
    if (id == u"revit")
        return makeRevitConverterInfo(communityEdition);
    if (id == u"ifc")
        return makeIfcConverterInfo(communityEdition);
    if (id == u"dwg")
        return makeDwgConverterInfo(communityEdition);
    if (id == u"dgn")
        return makeDgnConverterInfo(communityEdition);
    if (id == u"rvt2ifc")
        return makeRvt2IfcConverterInfo(communityEdition);
    return {};
}

QStringList converterNameFilters(const ConverterInfo &info)
{
    QStringList filters;
    filters.reserve(info.extensions.size() * 2);
    for (const QString &ext : info.extensions) {
        filters.append(u"*."_s + ext);
        filters.append(u"*."_s + ext.toUpper());
    }
    return filters;
}
