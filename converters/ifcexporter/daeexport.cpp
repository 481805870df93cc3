#include "daeexport.h"

#include "closefile.h"
#include "geometryextractor.h"

#include <cerrno>
#include <charconv>
#include <cstring>
#include <ctime>

namespace {

void appendNumber(std::string &out, double value)
{
    char buffer[32];
    // Micrometre precision is far below what a building model can hold, and keeps files small.
    const auto end = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, 9).ptr;
    out.append(buffer, end);
}

std::string isoTimeNow()
{
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&now, &utc);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text;
}

} // namespace

DaeExport::DaeExport(const std::string &path)
    : file(std::fopen(path.c_str(), "wb"))
{
    if (!file)
        return;
    const std::string now = isoTimeNow();
    write("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
          "<COLLADA xmlns=\"http://www.collada.org/2005/11/COLLADASchema\" version=\"1.4.1\">\n"
          "<asset><contributor><authoring_tool>KVT IFC exporter</authoring_tool></contributor>"
          "<created>" +
          now + "</created><modified>" + now +
          "</modified>"
          "<unit name=\"meter\" meter=\"1\"/><up_axis>Z_UP</up_axis></asset>\n"
          "<library_geometries>\n");
}

DaeExport::~DaeExport()
{
    if (file)
        std::fclose(file);
}

std::string DaeExport::escaped(const std::string &text)
{
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        switch (c) {
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '&': out += "&amp;"; break;
        case '"': out += "&quot;"; break;
        case '\'': out += "&apos;"; break;
        default:
            // Control characters other than tab and line breaks are not allowed in XML 1.0.
            if (static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n' && c != '\r')
                out += ' ';
            else
                out += c;
        }
    }
    return out;
}

void DaeExport::write(const std::string &text)
{
    if (!file || failed)
        return;
    if (std::fwrite(text.data(), 1, text.size(), file) != text.size())
        failed = true;
}

void DaeExport::addElement(int entityId, const std::string &name, const TriangleMesh &mesh)
{
    nodes.push_back({entityId, name, !mesh.empty()});
    if (mesh.empty())
        return;
    const std::string id = "g" + std::to_string(entityId);
    const std::size_t vertexCount = mesh.positions.size() / 3;
    std::string out;
    out.reserve(mesh.positions.size() * 12 + mesh.triangles.size() * 6 + 512);
    out += "<geometry id=\"" + id + "\" name=\"" + escaped(name) + "\"><mesh>\n<source id=\"" + id +
           "-pos\"><float_array id=\"" + id + "-pos-array\" count=\"" +
           std::to_string(mesh.positions.size()) + "\">";
    for (std::size_t i = 0; i < mesh.positions.size(); ++i) {
        if (i)
            out += ' ';
        appendNumber(out, mesh.positions[i]);
    }
    out += "</float_array><technique_common><accessor source=\"#" + id + "-pos-array\" count=\"" +
           std::to_string(vertexCount) +
           "\" stride=\"3\"><param name=\"X\" type=\"float\"/><param name=\"Y\" type=\"float\"/>"
           "<param name=\"Z\" type=\"float\"/></accessor></technique_common></source>\n<vertices id=\"" +
           id + "-vtx\"><input semantic=\"POSITION\" source=\"#" + id +
           "-pos\"/></vertices>\n<triangles count=\"" + std::to_string(mesh.triangles.size() / 3) +
           "\"><input semantic=\"VERTEX\" source=\"#" + id + "-vtx\" offset=\"0\"/><p>";
    char buffer[16];
    for (std::size_t i = 0; i < mesh.triangles.size(); ++i) {
        if (i)
            out += ' ';
        out.append(buffer, std::to_chars(buffer, buffer + sizeof buffer, mesh.triangles[i]).ptr);
    }
    out += "</p></triangles>\n</mesh></geometry>\n";
    write(out);
}

bool DaeExport::close(std::string &error)
{
    if (!file)
        return false;
    write("</library_geometries>\n<library_visual_scenes><visual_scene id=\"scene\" name=\"IFC model\">\n");
    for (const Node &node : nodes) {
        const std::string id = std::to_string(node.entityId);
        std::string line = "<node id=\"e" + id + "\" name=\"" + escaped(node.name) + "\">";
        if (node.hasGeometry)
            line += "<instance_geometry url=\"#g" + id + "\"/>";
        write(line + "</node>\n");
    }
    write("</visual_scene></library_visual_scenes>\n"
          "<scene><instance_visual_scene url=\"#scene\"/></scene>\n</COLLADA>\n");
    return closeResultFile(file, failed, error);
}
