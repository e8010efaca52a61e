#include <OpenSG/OSGField.h>

#include <OpenSG/OSGFieldContainerFactory.h>
#include <OpenSG/OSGFieldContainerPtr.h>

#include <unordered_map>

OSG_BEGIN_NAMESPACE

/// Each library that uses a field class may have its own FieldType object; all of one name share the id.
static UInt32 fieldTypeId(const std::string& name)
{
    static auto* const ids = new std::unordered_map<std::string, UInt32>;
    return ids->emplace(name, UInt32(ids->size() + 1)).first->second;
}

FieldType::FieldType(Cardinality cardinality, const Char8* elementName, UInt32 elementSize,
                     const Char8* containerClass)
    : _cardinality(cardinality), _elementSize(elementSize), _id(0), _elementName(elementName),
      _containerClass(containerClass),
      _name(std::string(cardinality == SINGLE_FIELD ? "SF" : "MF") + elementName)
{
    _id = fieldTypeId(_name);
}

bool FieldType::accepts(const FieldContainerPtr& container) const
{
    if (!_containerClass) {
        return false;
    }
    if (!container) {
        return true;
    }
    const FieldContainerType* const type = FieldContainerFactory::the()->findType(_containerClass);
    return type && container->getType().isDerivedFrom(*type);
}

Field::~Field() = default;

OSG_END_NAMESPACE
