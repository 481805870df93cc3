#include "geometryextractor.h"

#include "steptext.h"

#include <algorithm>
#include <carve/triangulator.hpp>
#include <ifcpp/IFC4/include/IfcProduct.h>
#include <ifcpp/geometry/Carve/GeometryConverter.h>
#include <ifcpp/model/BuildingModel.h>
#include <ifcpp/model/UnitConverter.h>
#include <limits>
#include <unordered_map>

namespace {

void collectMessage(void *self, shared_ptr<StatusCallback::Message> message)
{
    auto *messages = static_cast<std::vector<std::string> *>(self);
    if (!message)
        return;
    if (message->m_message_type == StatusCallback::MESSAGE_TYPE_WARNING ||
        message->m_message_type == StatusCallback::MESSAGE_TYPE_ERROR)
        messages->push_back(StepText::toUtf8(message->m_message_text));
}

// Appends the faces of one Carve mesh set, transformed to world coordinates; faces with more
// than three corners are cut into triangles in their own plane.
void appendMeshSet(const carve::mesh::MeshSet<3> &meshSet, const carve::math::Matrix &transform,
                   TriangleMesh &out)
{
    std::unordered_map<const carve::mesh::Vertex<3> *, std::uint32_t> indexOf;
    const auto index = [&](const carve::mesh::Vertex<3> *vertex) {
        const auto [it, added] =
            indexOf.try_emplace(vertex, static_cast<std::uint32_t>(out.positions.size() / 3));
        if (added) {
            const carve::geom::vector<3> p = transform * vertex->v;
            out.positions.insert(out.positions.end(), {p.x, p.y, p.z});
        }
        return it->second;
    };
    std::vector<const carve::mesh::Vertex<3> *> corners;
    std::vector<carve::geom::vector<2>> projected;
    std::vector<carve::triangulate::tri_idx> pieces;
    for (const carve::mesh::Mesh<3> *mesh : meshSet.meshes) {
        if (!mesh)
            continue;
        for (const carve::mesh::Face<3> *face : mesh->faces) {
            if (!face || !face->edge || face->nVertices() < 3)
                continue;
            corners.clear();
            const carve::mesh::Edge<3> *edge = face->edge;
            for (std::size_t i = 0; i < face->nVertices() && edge; ++i, edge = edge->next)
                corners.push_back(edge->vert);
            if (corners.size() == 3) {
                for (const auto *corner : corners)
                    out.triangles.push_back(index(corner));
                continue;
            }
            pieces.clear();
            face->getProjectedVertices(projected);
            try {
                carve::triangulate::triangulate(projected, pieces);
            } catch (...) {
                pieces.clear();
            }
            if (pieces.empty()) {
                // A fan is right for the convex faces that make up nearly all of a model.
                for (std::size_t i = 1; i + 1 < corners.size(); ++i)
                    pieces.emplace_back(0, i, i + 1);
            }
            for (const auto &piece : pieces) {
                if (piece.a < corners.size() && piece.b < corners.size() && piece.c < corners.size())
                    out.triangles.insert(
                        out.triangles.end(),
                        {index(corners[piece.a]), index(corners[piece.b]), index(corners[piece.c])});
            }
        }
    }
}

} // namespace

std::vector<double> TriangleMesh::bounds() const
{
    if (positions.empty())
        return std::vector<double>(6, 0.0);
    std::vector<double> box = {std::numeric_limits<double>::max(),    std::numeric_limits<double>::max(),
                               std::numeric_limits<double>::max(),    std::numeric_limits<double>::lowest(),
                               std::numeric_limits<double>::lowest(), std::numeric_limits<double>::lowest()};
    for (std::size_t i = 0; i + 2 < positions.size(); i += 3) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            box[axis] = std::min(box[axis], positions[i + axis]);
            box[axis + 3] = std::max(box[axis + 3], positions[i + axis]);
        }
    }
    return box;
}

GeometryExtractor::GeometryExtractor(std::shared_ptr<BuildingModel> model)
    : model(std::move(model))
    , converter(std::make_unique<GeometryConverter>(this->model))
{
    converter->setMessageCallBack(&messages, &collectMessage);
    double lengthToMetre = 1.0;
    if (this->model->getUnitConverter())
        lengthToMetre = this->model->getUnitConverter()->getLengthInMeterFactor();
    // The tolerance IFC++ itself uses when it converts a whole model.
    carve::setEpsilon(1.5e-05 * lengthToMetre);
}

GeometryExtractor::~GeometryExtractor()
{
    model->setMessageTarget(nullptr);
}

TriangleMesh GeometryExtractor::triangulate(const std::shared_ptr<IfcProduct> &element, std::string &error)
{
    TriangleMesh mesh;
    messages.clear();
    if (!element || !element->m_Representation)
        return mesh;
    auto shape = std::make_shared<ProductShapeData>(element->m_entity_id);
    shape->m_ifc_object_definition = element;
    try {
        converter->convertIfcProductShape(shape);
        const carve::math::Matrix transform = shape->getTransform();
        const bool hasBody =
            std::any_of(shape->m_vec_representations.begin(), shape->m_vec_representations.end(),
                        [](const auto &r) { return r && r->m_representation_identifier == L"Body"; });
        for (const auto &representation : shape->m_vec_representations) {
            if (!representation || (hasBody && representation->m_representation_identifier != L"Body"))
                continue;
            for (const auto &item : representation->m_vec_item_data) {
                if (!item)
                    continue;
                for (const auto *sets : {&item->m_meshsets, &item->m_meshsets_open}) {
                    for (const auto &meshSet : *sets) {
                        if (meshSet)
                            appendMeshSet(*meshSet, transform, mesh);
                    }
                }
            }
        }
    } catch (const carve::exception &e) {
        error = e.str();
        return {};
    } catch (const std::exception &e) {
        error = e.what();
        return {};
    }
    if (mesh.empty() && !messages.empty())
        error = messages.front();
    return mesh;
}
