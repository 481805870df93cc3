#include "elementreader.h"

#include "steptext.h"

#include <charconv>
#include <ifcpp/IFC4/include/IfcBuilding.h>
#include <ifcpp/IFC4/include/IfcBuildingStorey.h>
#include <ifcpp/IFC4/include/IfcComplexProperty.h>
#include <ifcpp/IFC4/include/IfcElement.h>
#include <ifcpp/IFC4/include/IfcElementQuantity.h>
#include <ifcpp/IFC4/include/IfcFeatureElementSubtraction.h>
#include <ifcpp/IFC4/include/IfcGloballyUniqueId.h>
#include <ifcpp/IFC4/include/IfcIdentifier.h>
#include <ifcpp/IFC4/include/IfcLabel.h>
#include <ifcpp/IFC4/include/IfcMaterial.h>
#include <ifcpp/IFC4/include/IfcMaterialConstituent.h>
#include <ifcpp/IFC4/include/IfcMaterialConstituentSet.h>
#include <ifcpp/IFC4/include/IfcMaterialLayer.h>
#include <ifcpp/IFC4/include/IfcMaterialLayerSet.h>
#include <ifcpp/IFC4/include/IfcMaterialLayerSetUsage.h>
#include <ifcpp/IFC4/include/IfcMaterialList.h>
#include <ifcpp/IFC4/include/IfcMaterialProfile.h>
#include <ifcpp/IFC4/include/IfcMaterialProfileSet.h>
#include <ifcpp/IFC4/include/IfcMaterialProfileSetUsage.h>
#include <ifcpp/IFC4/include/IfcPhysicalSimpleQuantity.h>
#include <ifcpp/IFC4/include/IfcPropertyEnumeratedValue.h>
#include <ifcpp/IFC4/include/IfcPropertyListValue.h>
#include <ifcpp/IFC4/include/IfcPropertySet.h>
#include <ifcpp/IFC4/include/IfcPropertySetDefinitionSet.h>
#include <ifcpp/IFC4/include/IfcPropertySingleValue.h>
#include <ifcpp/IFC4/include/IfcRelAggregates.h>
#include <ifcpp/IFC4/include/IfcRelAssociatesMaterial.h>
#include <ifcpp/IFC4/include/IfcRelContainedInSpatialStructure.h>
#include <ifcpp/IFC4/include/IfcRelDefinesByProperties.h>
#include <ifcpp/IFC4/include/IfcRelDefinesByType.h>
#include <ifcpp/IFC4/include/IfcSpace.h>
#include <ifcpp/IFC4/include/IfcText.h>
#include <ifcpp/IFC4/include/IfcTypeObject.h>
#include <ifcpp/model/BuildingModel.h>
#include <set>
#include <sstream>
#include <typeindex>
#include <unordered_map>

namespace {

template <typename Text> std::string textOf(const std::shared_ptr<Text> &value)
{
    return value ? StepText::toUtf8(value->m_value) : std::string();
}

// The object a weak inverse link points to, when both the link and its target are still there.
template <typename Rel> std::shared_ptr<Rel> lock(const std::weak_ptr<Rel> &link)
{
    return link.lock();
}

// The spatial parent of an object: the structure that contains it or the whole it is part of.
std::shared_ptr<IfcObjectDefinition> parentOf(const IfcObjectDefinition &object)
{
    if (const auto *element = dynamic_cast<const IfcElement *>(&object)) {
        for (const auto &link : element->m_ContainedInStructure_inverse) {
            const auto rel = lock(link);
            if (rel && rel->m_RelatingStructure)
                return rel->m_RelatingStructure;
        }
    }
    for (const auto &link : object.m_Decomposes_inverse) {
        const auto rel = lock(link);
        if (rel && rel->m_RelatingObject)
            return rel->m_RelatingObject;
    }
    return nullptr;
}

void addMaterial(const std::shared_ptr<IfcMaterial> &material, std::vector<std::string> &names)
{
    if (!material)
        return;
    const std::string name = textOf(material->m_Name);
    if (!name.empty() && std::find(names.begin(), names.end(), name) == names.end())
        names.push_back(name);
}

void addMaterials(const std::shared_ptr<IfcMaterialSelect> &select, std::vector<std::string> &names)
{
    if (auto material = std::dynamic_pointer_cast<IfcMaterial>(select)) {
        addMaterial(material, names);
    } else if (auto list = std::dynamic_pointer_cast<IfcMaterialList>(select)) {
        for (const auto &m : list->m_Materials)
            addMaterial(m, names);
    } else if (auto usage = std::dynamic_pointer_cast<IfcMaterialLayerSetUsage>(select)) {
        addMaterials(usage->m_ForLayerSet, names);
    } else if (auto layers = std::dynamic_pointer_cast<IfcMaterialLayerSet>(select)) {
        for (const auto &layer : layers->m_MaterialLayers)
            addMaterial(layer ? layer->m_Material : nullptr, names);
    } else if (auto layer = std::dynamic_pointer_cast<IfcMaterialLayer>(select)) {
        addMaterial(layer->m_Material, names);
    } else if (auto profileUsage = std::dynamic_pointer_cast<IfcMaterialProfileSetUsage>(select)) {
        addMaterials(profileUsage->m_ForProfileSet, names);
    } else if (auto profiles = std::dynamic_pointer_cast<IfcMaterialProfileSet>(select)) {
        for (const auto &profile : profiles->m_MaterialProfiles)
            addMaterial(profile ? profile->m_Material : nullptr, names);
    } else if (auto constituents = std::dynamic_pointer_cast<IfcMaterialConstituentSet>(select)) {
        for (const auto &constituent : constituents->m_MaterialConstituents)
            addMaterial(constituent ? constituent->m_Material : nullptr, names);
    }
}

void materialsOf(const IfcObjectDefinition &object, std::vector<std::string> &names)
{
    for (const auto &link : object.m_HasAssociations_inverse) {
        const auto rel = std::dynamic_pointer_cast<IfcRelAssociatesMaterial>(link.lock());
        if (rel)
            addMaterials(rel->m_RelatingMaterial, names);
    }
}

std::shared_ptr<IfcTypeObject> typeOf(const IfcObject &object)
{
    for (const auto &link : object.m_IsTypedBy_inverse) {
        const auto rel = lock(link);
        if (rel && rel->m_RelatingType)
            return rel->m_RelatingType;
    }
    return nullptr;
}

std::string joined(const std::vector<std::string> &parts)
{
    std::string text;
    for (const std::string &part : parts) {
        if (!text.empty())
            text += "; ";
        text += part;
    }
    return text;
}

void visitProperty(const std::string &set, const IfcProperty &property,
                   const ElementReader::PropertyVisitor &visit)
{
    const std::string column = set + "." + textOf(property.m_Name);
    if (const auto *single = dynamic_cast<const IfcPropertySingleValue *>(&property)) {
        visit(column, [single] { return ElementReader::valueOf(single->m_NominalValue.get()); });
    } else if (const auto *enumerated = dynamic_cast<const IfcPropertyEnumeratedValue *>(&property)) {
        visit(column, [enumerated] {
            const auto &values = enumerated->m_EnumerationValues;
            if (values.size() == 1)
                return ElementReader::valueOf(values.front().get());
            std::vector<std::string> parts;
            for (const auto &value : values)
                parts.push_back(cellText(ElementReader::valueOf(value.get())));
            return CellValue(joined(parts));
        });
    } else if (const auto *list = dynamic_cast<const IfcPropertyListValue *>(&property)) {
        visit(column, [list] {
            std::vector<std::string> parts;
            for (const auto &value : list->m_ListValues)
                parts.push_back(cellText(ElementReader::valueOf(value.get())));
            return CellValue(joined(parts));
        });
    } else if (const auto *complex = dynamic_cast<const IfcComplexProperty *>(&property)) {
        for (const auto &part : complex->m_HasProperties) {
            if (part)
                visitProperty(column, *part, visit);
        }
    }
}

void visitPropertySet(const std::shared_ptr<IfcPropertySetDefinition> &definition,
                      const ElementReader::PropertyVisitor &visit)
{
    if (!definition)
        return;
    const std::string set = textOf(definition->m_Name);
    if (const auto pset = std::dynamic_pointer_cast<IfcPropertySet>(definition)) {
        for (const auto &property : pset->m_HasProperties) {
            if (property)
                visitProperty(set, *property, visit);
        }
    } else if (const auto quantities = std::dynamic_pointer_cast<IfcElementQuantity>(definition)) {
        for (const auto &quantity : quantities->m_Quantities) {
            // Every simple quantity holds its value as its fourth attribute (Length, Area,
            // Volume, Count, Weight, Time), after Name, Description and Unit.
            if (!std::dynamic_pointer_cast<IfcPhysicalSimpleQuantity>(quantity))
                continue;
            visit(set + "." + textOf(quantity->m_Name), [&quantity] {
                std::vector<std::pair<std::string, std::shared_ptr<BuildingObject>>> attributes;
                quantity->getAttributes(attributes);
                return attributes.size() > 3 ? ElementReader::valueOf(attributes[3].second.get())
                                             : CellValue();
            });
        }
    }
}

} // namespace

const std::vector<std::string> &ElementReader::fixedColumns()
{
    static const std::vector<std::string> columns = {
        "GlobalId",       "IFC class", "Name",     "Description", "ObjectType", "Tag",
        "PredefinedType", "Storey",    "Building", "Type name",   "Materials"};
    return columns;
}

std::vector<std::shared_ptr<IfcProduct>> ElementReader::elementsOf(const BuildingModel &model)
{
    // A model has a few dozen classes and hundreds of thousands of entities: the casts through
    // IFC++'s virtual bases are decided once per class.
    std::unordered_map<std::type_index, bool> exported;
    std::vector<std::shared_ptr<IfcProduct>> elements;
    for (const auto &[id, entity] : model.getMapIfcEntities()) {
        if (!entity)
            continue;
        const auto [it, added] = exported.try_emplace(std::type_index(typeid(*entity)), false);
        if (added)
            it->second = !std::dynamic_pointer_cast<IfcFeatureElementSubtraction>(entity) &&
                         (std::dynamic_pointer_cast<IfcElement>(entity) ||
                          std::dynamic_pointer_cast<IfcSpace>(entity));
        if (it->second)
            elements.push_back(std::dynamic_pointer_cast<IfcProduct>(entity));
    }
    return elements;
}

CellValue ElementReader::valueOf(const BuildingObject *value)
{
    if (!value)
        return {};
    // One stream for every value: building a stringstream costs more than writing a number into it.
    static std::stringstream step;
    step.str(std::string());
    step.clear();
    value->getStepParameter(step, false);
    const std::string written = step.str();
    if (written.empty() || written == "$" || written == "*")
        return {};
    if (written == ".T.")
        return true;
    if (written == ".F.")
        return false;
    if (written.front() == '\'' || written.front() == '"' || written.front() == '.' || written.front() == '#')
        return StepText::toUtf8(value->toString());
    double number = 0;
    const char *end = written.data() + written.size();
    const auto parsed = std::from_chars(written.data(), end, number);
    if (parsed.ec == std::errc() && parsed.ptr == end)
        return number;
    return StepText::toUtf8(value->toString());
}

void ElementReader::forEachProperty(const IfcProduct &element, const PropertyVisitor &visit)
{
    if (const auto type = typeOf(element)) {
        for (const auto &definition : type->m_HasPropertySets)
            visitPropertySet(definition, visit);
    }
    for (const auto &link : element.m_IsDefinedBy_inverse) {
        const auto rel = link.lock();
        if (!rel || !rel->m_RelatingPropertyDefinition)
            continue;
        if (const auto set =
                std::dynamic_pointer_cast<IfcPropertySetDefinitionSet>(rel->m_RelatingPropertyDefinition)) {
            for (const auto &definition : set->m_vec)
                visitPropertySet(definition, visit);
        } else {
            visitPropertySet(
                std::dynamic_pointer_cast<IfcPropertySetDefinition>(rel->m_RelatingPropertyDefinition),
                visit);
        }
    }
}

ElementReader::Row ElementReader::read(const IfcProduct &element)
{
    Row row;
    row.globalId = textOf(element.m_GlobalId);
    row.ifcClass = element.className();
    row.name = textOf(element.m_Name);
    row.description = textOf(element.m_Description);
    row.objectType = textOf(element.m_ObjectType);
    if (const auto *asElement = dynamic_cast<const IfcElement *>(&element))
        row.tag = textOf(asElement->m_Tag);

    std::vector<std::pair<std::string, std::shared_ptr<BuildingObject>>> attributes;
    element.getAttributes(attributes);
    for (const auto &[name, value] : attributes) {
        if (name == "PredefinedType" && value)
            row.predefinedType = StepText::toUtf8(value->toString());
    }

    // Up the spatial tree to the first storey and building; the depth bound guards against
    // a file whose relations form a loop.
    std::shared_ptr<IfcObjectDefinition> parent = parentOf(element);
    for (int depth = 0; parent && depth < 64; ++depth) {
        if (row.storey.empty() && std::dynamic_pointer_cast<IfcBuildingStorey>(parent))
            row.storey = textOf(parent->m_Name);
        if (std::dynamic_pointer_cast<IfcBuilding>(parent)) {
            row.building = textOf(parent->m_Name);
            break;
        }
        parent = parentOf(*parent);
    }

    std::vector<std::string> materials;
    materialsOf(element, materials);
    const auto type = typeOf(element);
    if (type) {
        row.typeName = textOf(type->m_Name);
        if (materials.empty())
            materialsOf(*type, materials);
    }
    row.materials = joined(materials);
    return row;
}
