#pragma once

#include <OpenSG/OSGFieldContainerType.h>

#include <memory>
#include <string>
#include <vector>

OSG_BEGIN_NAMESPACE

/// All container classes and all living containers of the process. Not to be used by several threads at once.
class OSG_PLATFORM_API FieldContainerFactory
{
public:
    typedef std::vector<FieldContainerType*>::const_iterator TypeIterator;

    static FieldContainerFactory* the();

    // -- Classes; null, 0 or NullFC for unknown names and ids --

    FieldContainerType* findType(const Char8* name) const;
    FieldContainerType* findType(UInt32 typeId) const;
    UInt32 findGroupId(const Char8* name) const;
    const Char8* findGroupName(UInt32 groupId) const;
    UInt32 getNumTypes() const;
    TypeIterator beginTypes() const;
    TypeIterator endTypes() const;

    FieldContainerPtr createFieldContainer(const Char8* name) const;
    NodePtr createNode(const Char8* name) const;
    NodeCorePtr createNodeCore(const Char8* name) const;
    AttachmentPtr createAttachment(const Char8* name) const;

    // -- Containers --

    /// The living container of this id; NullFC for ids of dead ones and ids never dealt out.
    FieldContainerPtr getContainer(UInt32 id) const;
    /// Number of living containers, prototypes included.
    UInt32 getNumContainers() const;

    // -- For the classes of this library --

    /// Deals out type id and group id.
    void registerType(FieldContainerType& type, const Char8* group, UInt32& typeId, UInt32& groupId);
    /// Deals out an id.
    UInt32 registerContainer(FieldContainer* container);
    void unregisterContainer(UInt32 id);
    void releasePrototypes();

private:
    FieldContainerFactory();
    ~FieldContainerFactory();

    struct Registry;
    std::unique_ptr<Registry> _registry;
};

OSG_END_NAMESPACE
