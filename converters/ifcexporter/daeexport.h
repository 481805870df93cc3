#pragma once

#include <cstdio>
#include <string>
#include <vector>

struct TriangleMesh;

// The model's geometry as COLLADA 1.4.1: one node per element, named by its GlobalId, holding its
// triangles in metres with Z up. Geometries are written as they come; only the small node list is
// kept until the scene is written at the end.
class DaeExport
{
public:
    explicit DaeExport(const std::string &path);
    ~DaeExport();
    DaeExport(const DaeExport &) = delete;
    DaeExport &operator=(const DaeExport &) = delete;

    bool isOpen() const { return file != nullptr; }
    void addElement(int entityId, const std::string &name, const TriangleMesh &mesh);
    bool close(std::string &error);

    static std::string escaped(const std::string &text);

private:
    void write(const std::string &text);

    struct Node
    {
        int entityId;
        std::string name;
        bool hasGeometry;
    };
    std::FILE *file = nullptr;
    std::vector<Node> nodes;
    bool failed = false;
};
