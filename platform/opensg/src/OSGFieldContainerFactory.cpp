#include <OpenSG/OSGFieldContainerFactory.h>

#include "OSGFieldContainerRegistry.h"

#include <OpenSG/OSGNode.h>

#include <unordered_map>

OSG_BEGIN_NAMESPACE

struct FieldContainerFactory::Registry {
    std::vector<FieldContainerType*> types; ///< place i holds id i + 1
    std::unordered_map<std::string, FieldContainerType*> typesByName;
    std::vector<std::string> groups; ///< place i holds id i + 1
    std::unordered_map<std::string, UInt32> groupsByName;
    ContainerTable containers;
};

FieldContainerFactory::FieldContainerFactory() : _registry(new Registry) {}

FieldContainerFactory::~FieldContainerFactory() = default;

FieldContainerFactory* FieldContainerFactory::the()
{
    // Never destroyed: containers may still die while the process ends.
    static FieldContainerFactory* const factory = new FieldContainerFactory;
    return factory;
}

// -- Classes ----------------------------------------------------------------------------------

void FieldContainerFactory::registerType(FieldContainerType& type, const Char8* group, UInt32& typeId,
                                         UInt32& groupId)
{
    _registry->types.push_back(&type);
    _registry->typesByName.emplace(type.getCName(), &type);
    typeId = UInt32(_registry->types.size());

    const std::string groupName = group ? group : type.getCName();
    const auto added = _registry->groupsByName.emplace(groupName, UInt32(_registry->groups.size() + 1));
    if (added.second) {
        _registry->groups.push_back(groupName);
    }
    groupId = added.first->second;
}

FieldContainerType* FieldContainerFactory::findType(const Char8* name) const
{
    if (!name) {
        return nullptr;
    }
    const auto found = _registry->typesByName.find(name);
    return found == _registry->typesByName.end() ? nullptr : found->second;
}

FieldContainerType* FieldContainerFactory::findType(UInt32 typeId) const
{
    return typeId >= 1 && typeId <= _registry->types.size() ? _registry->types[typeId - 1] : nullptr;
}

UInt32 FieldContainerFactory::findGroupId(const Char8* name) const
{
    if (!name) {
        return 0;
    }
    const auto found = _registry->groupsByName.find(name);
    return found == _registry->groupsByName.end() ? 0 : found->second;
}

const Char8* FieldContainerFactory::findGroupName(UInt32 groupId) const
{
    return groupId >= 1 && groupId <= _registry->groups.size() ? _registry->groups[groupId - 1].c_str()
                                                               : nullptr;
}

UInt32 FieldContainerFactory::getNumTypes() const
{
    return UInt32(_registry->types.size());
}

FieldContainerFactory::TypeIterator FieldContainerFactory::beginTypes() const
{
    return _registry->types.begin();
}

FieldContainerFactory::TypeIterator FieldContainerFactory::endTypes() const
{
    return _registry->types.end();
}

FieldContainerPtr FieldContainerFactory::createFieldContainer(const Char8* name) const
{
    const FieldContainerType* const type = findType(name);
    return type ? type->createFieldContainer() : FieldContainerPtr();
}

NodePtr FieldContainerFactory::createNode(const Char8* name) const
{
    const FieldContainerType* const type = findType(name);
    return type ? type->createNode() : NodePtr();
}

NodeCorePtr FieldContainerFactory::createNodeCore(const Char8* name) const
{
    const FieldContainerType* const type = findType(name);
    return type ? type->createNodeCore() : NodeCorePtr();
}

AttachmentPtr FieldContainerFactory::createAttachment(const Char8* name) const
{
    const FieldContainerType* const type = findType(name);
    return type ? type->createAttachment() : AttachmentPtr();
}

void FieldContainerFactory::releasePrototypes()
{
    for (FieldContainerType* const type : _registry->types) {
        type->releasePrototype();
    }
}

// -- Containers -------------------------------------------------------------------------------

UInt32 FieldContainerFactory::registerContainer(FieldContainer* container)
{
    return _registry->containers.add(container);
}

void FieldContainerFactory::unregisterContainer(UInt32 id)
{
    _registry->containers.remove(id);
}

FieldContainerPtr FieldContainerFactory::getContainer(UInt32 id) const
{
    return FieldContainerPtr(_registry->containers.find(id));
}

UInt32 FieldContainerFactory::getNumContainers() const
{
    return _registry->containers.alive();
}

OSG_END_NAMESPACE
