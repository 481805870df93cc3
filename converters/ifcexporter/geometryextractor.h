#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class BuildingModel;
class GeometryConverter;
class IfcProduct;

// One element's geometry as a triangle list in world coordinates, in metres.
struct TriangleMesh
{
    std::vector<double> positions;        // x, y, z per vertex
    std::vector<std::uint32_t> triangles; // three vertex indices per triangle

    bool empty() const { return triangles.empty(); }
    // Min x, y, z then max x, y, z of the vertices; all zero for an empty mesh.
    std::vector<double> bounds() const;
};

// Turns each element's representation into triangles with IFC++'s Carve geometry, one element
// at a time, so a large model never holds more than one element's meshes.
class GeometryExtractor
{
public:
    explicit GeometryExtractor(std::shared_ptr<BuildingModel> model);
    ~GeometryExtractor();
    GeometryExtractor(const GeometryExtractor &) = delete;
    GeometryExtractor &operator=(const GeometryExtractor &) = delete;

    // The element's body geometry; `error` says why there is none when conversion failed.
    TriangleMesh triangulate(const std::shared_ptr<IfcProduct> &element, std::string &error);

private:
    std::shared_ptr<BuildingModel> model;
    std::unique_ptr<GeometryConverter> converter;
    std::vector<std::string> messages;
};
