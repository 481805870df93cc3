#include "exporter.h"

#include "csvexport.h"
#include "daeexport.h"
#include "elementreader.h"
#include "exitcode.h"
#include "geometryextractor.h"
#include "modelloader.h"
#include "pendingfile.h"
#include "protocol.h"
#include "xlsxexport.h"

#include <cmath>
#include <ifcpp/IFC4/include/IfcProduct.h>
#include <ifcpp/model/BuildingModel.h>
#include <map>
#include <optional>
#include <set>

namespace {

// How the run's hundred percent are shared: loading is most of the wait on a large model.
constexpr double loadEnd = 40;
constexpr double columnsEnd = 45;
constexpr double elementsEnd = 97;

const std::vector<std::string> boxColumns = {"BBox.MinX", "BBox.MinY", "BBox.MinZ",
                                             "BBox.MaxX", "BBox.MaxY", "BBox.MaxZ"};

} // namespace

Exporter::Exporter(Protocol &protocol)
    : protocol(protocol)
{
}

int Exporter::run(const ExportRequest &request)
{
    // The front end shows the started line as the file's first stage, so it names only the phase.
    protocol.started("Loading model");
    protocol.info("Input: " + request.inputPath);
    protocol.progress(0);

    // Every result is claimed before the long load, so a folder that cannot be written fails at once.
    std::optional<PendingFile> xlsxFile, csvFile, daeFile;
    const auto claim = [&](std::optional<PendingFile> &file, const std::string &path) {
        if (path.empty())
            return true;
        file.emplace(path);
        return file->create();
    };
    for (auto *table : {&xlsxFile, &csvFile}) {
        if (!claim(*table, table == &xlsxFile ? request.xlsxPath : request.csvPath)) {
            protocol.error("Cannot write the table to " + (*table)->finalPath());
            return ExitCode::XlsxNotWritable;
        }
    }
    if (!claim(daeFile, request.daePath)) {
        protocol.error("Cannot write the geometry to " + daeFile->finalPath());
        return ExitCode::DaeNotWritable;
    }

    protocol.stage("Loading model");
    ModelLoader::Result loaded = ModelLoader::load(request.inputPath, protocol, 0, loadEnd);
    protocol.flushWarnings();
    if (loaded.exitCode != 0) {
        protocol.error(loaded.error);
        return loaded.exitCode;
    }
    protocol.info("Schema " + loaded.schema + ", " +
                  std::to_string(loaded.model->getMapIfcEntities().size()) + " entities");

    protocol.stage("Reading elements");
    const auto elements = ElementReader::elementsOf(*loaded.model);
    std::set<std::string> propertyNames;
    for (std::size_t i = 0; i < elements.size(); ++i) {
        if (elements[i])
            ElementReader::forEachProperty(
                *elements[i], [&](const std::string &column, const ElementReader::PropertyValue &) {
                    propertyNames.insert(column);
                });
        protocol.progress(loadEnd + (columnsEnd - loadEnd) * static_cast<double>(i + 1) / elements.size());
    }
    std::vector<std::string> columns = ElementReader::fixedColumns();
    if (request.boundingBox)
        columns.insert(columns.end(), boxColumns.begin(), boxColumns.end());
    const std::size_t firstProperty = columns.size();
    std::map<std::string, std::size_t> columnOf;
    for (const std::string &name : propertyNames) {
        columnOf.emplace(name, columns.size());
        columns.push_back(name);
    }
    protocol.info(std::to_string(elements.size()) + " elements, " + std::to_string(propertyNames.size()) +
                  " properties and quantities");

    std::optional<XlsxExport> xlsx;
    if (xlsxFile)
        xlsx.emplace(xlsxFile->temporaryPath());
    CsvExport csv(csvFile->temporaryPath());
    std::optional<DaeExport> dae;
    if (daeFile)
        dae.emplace(daeFile->temporaryPath());
    if ((xlsx && !xlsx->isOpen()) || !csv.isOpen()) {
        protocol.error("Cannot write the table to " + csvFile->finalPath());
        return ExitCode::XlsxNotWritable;
    }
    if (dae && !dae->isOpen()) {
        protocol.error("Cannot write the geometry to " + daeFile->finalPath());
        return ExitCode::DaeNotWritable;
    }
    if (xlsx)
        xlsx->writeHeader(columns);
    csv.writeHeader(columns);

    protocol.stage(dae ? "Exporting properties and geometry" : "Exporting properties");
    std::optional<GeometryExtractor> geometry;
    if (dae || request.boundingBox)
        geometry.emplace(loaded.model);
    std::map<std::string, long long> perClass;
    std::vector<CellValue> cells(columns.size());
    long long withGeometry = 0;
    for (std::size_t i = 0; i < elements.size(); ++i) {
        const auto &element = elements[i];
        if (!element)
            continue;
        const ElementReader::Row row = ElementReader::read(*element);
        if (row.globalId.empty())
            protocol.repeatedWarning("elements without a GlobalId",
                                     "Element #" + std::to_string(element->m_entity_id) + " has no GlobalId");
        ++perClass[row.ifcClass];
        std::fill(cells.begin(), cells.end(), CellValue());
        const std::string fixed[] = {row.globalId,   row.ifcClass, row.name,           row.description,
                                     row.objectType, row.tag,      row.predefinedType, row.storey,
                                     row.building,   row.typeName, row.materials};
        for (std::size_t c = 0; c < std::size(fixed); ++c)
            cells[c] = fixed[c];
        ElementReader::forEachProperty(
            *element, [&](const std::string &column, const ElementReader::PropertyValue &value) {
                const auto it = columnOf.find(column);
                if (it != columnOf.end())
                    cells[it->second] = value();
            });

        if (geometry) {
            std::string error;
            const TriangleMesh mesh = geometry->triangulate(element, error);
            if (!error.empty())
                protocol.repeatedWarning("elements whose geometry could not be converted",
                                         "Geometry of " + row.ifcClass + " #" +
                                             std::to_string(element->m_entity_id) + " skipped: " + error);
            if (!mesh.empty())
                ++withGeometry;
            if (request.boundingBox && !mesh.empty()) {
                const std::vector<double> box = mesh.bounds();
                // Rounded to the micrometre, so a face at zero reads 0 and not -2.2e-16.
                for (std::size_t c = 0; c < box.size(); ++c)
                    cells[firstProperty - boxColumns.size() + c] = std::round(box[c] * 1e6) / 1e6 + 0.0;
            }
            if (dae)
                dae->addElement(element->m_entity_id, row.globalId.empty() ? row.name : row.globalId, mesh);
        }
        if (xlsx)
            xlsx->writeRow(cells);
        csv.writeRow(cells);
        protocol.progress(columnsEnd +
                          (elementsEnd - columnsEnd) * static_cast<double>(i + 1) / elements.size());
    }
    protocol.flushWarnings();
    if (geometry)
        protocol.info(std::to_string(withGeometry) + " of " + std::to_string(elements.size()) +
                      " elements have geometry");

    protocol.stage("Writing files");
    std::string error;
    if (xlsx) {
        xlsx->writeSummary(perClass);
        if (xlsx->droppedRows() > 0)
            protocol.warning(std::to_string(xlsx->droppedRows()) +
                             " elements did not fit in the XLSX sheet; the CSV has every row");
        if (xlsx->shortenedCells() > 0)
            protocol.warning(std::to_string(xlsx->shortenedCells()) +
                             " texts were cut to the 32767 characters an XLSX cell holds");
        if (!xlsx->close(error) || !xlsxFile->commit()) {
            protocol.error("Cannot write " + xlsxFile->finalPath() + (error.empty() ? "" : ": " + error));
            return ExitCode::XlsxNotWritable;
        }
        protocol.info("Wrote " + xlsxFile->finalPath());
    }
    if (!csv.close(error) || !csvFile->commit()) {
        protocol.error("Cannot write " + csvFile->finalPath() + (error.empty() ? "" : ": " + error));
        return ExitCode::XlsxNotWritable;
    }
    protocol.info("Wrote " + csvFile->finalPath());
    if (dae) {
        if (!dae->close(error) || !daeFile->commit()) {
            protocol.error("Cannot write " + daeFile->finalPath() + (error.empty() ? "" : ": " + error));
            return ExitCode::DaeNotWritable;
        }
        protocol.info("Wrote " + daeFile->finalPath());
    }
    protocol.progress(100);
    return ExitCode::Success;
}
