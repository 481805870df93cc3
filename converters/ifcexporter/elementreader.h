#pragma once

#include "cellvalue.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

class BuildingModel;
class BuildingObject;
class IfcProduct;
class Protocol;

// The fixed columns of one element and its properties, read from IFC++'s objects. Files with
// broken entities load with empty attributes, so every pointer is checked on the way.
class ElementReader
{
public:
    struct Row
    {
        std::string globalId;
        std::string ifcClass;
        std::string name;
        std::string description;
        std::string objectType;
        std::string tag;
        std::string predefinedType;
        std::string storey;
        std::string building;
        std::string typeName;
        std::string materials;
    };

    static const std::vector<std::string> &fixedColumns();

    // The elements exported: every IfcElement except openings (voids, not parts of the building),
    // and every IfcSpace, in the order of their entity numbers.
    static std::vector<std::shared_ptr<IfcProduct>> elementsOf(const BuildingModel &model);

    static Row read(const IfcProduct &element);

    // Calls `visit` with "Pset.Property" and a function reading the value for every property and
    // quantity of the element: its type's property sets first, then its own, so its own values
    // win. Reading a value costs far more than naming it, so a caller that needs only the names
    // never pays for it.
    using PropertyValue = std::function<CellValue()>;
    using PropertyVisitor = std::function<void(const std::string &column, const PropertyValue &value)>;
    static void forEachProperty(const IfcProduct &element, const PropertyVisitor &visit);

    // A STEP value (IfcLabel, IfcReal, a measure, IfcBoolean …) as a cell: numbers stay numbers.
    static CellValue valueOf(const BuildingObject *value);
};
