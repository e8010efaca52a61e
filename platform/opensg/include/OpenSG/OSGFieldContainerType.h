#pragma once

#include <OpenSG/OSGFieldContainerHandle.h>
#include <OpenSG/OSGFieldDescription.h>
#include <OpenSG/OSGIDString.h>

#include <vector>

OSG_BEGIN_NAMESPACE

/// A class of containers. One object per class, made on first use and registered with the
/// FieldContainerFactory; it lives as long as the process, so a library that defines container classes must
/// not be unloaded.
class OSG_PLATFORM_API FieldContainerType
{
public:
    typedef FieldContainer* (*CreateEmpty)();
    typedef void (*Describe)(FieldContainerType&);

    /// \param parent       null at the root
    /// \param group        name of the group; null: the class forms a group of its own, named as itself
    /// \param createEmpty  makes a container with default values; null for abstract classes
    /// \param describe     adds the class's own fields
    FieldContainerType(const Char8* name, FieldContainerType* parent, const Char8* group,
                       UInt32 containerSize, CreateEmpty createEmpty, Describe describe);
    FieldContainerType(const FieldContainerType&) = delete;
    FieldContainerType& operator=(const FieldContainerType&) = delete;

    const IDString& getName() const { return _name; }
    const Char8* getCName() const { return _name.str(); }
    /// Ids and group ids are dealt out in order of registration, from 1: they differ from process to process.
    UInt32 getId() const { return _id; }
    UInt32 getGroupId() const { return _groupId; }
    FieldContainerType* getParent() const { return _parent; }
    UInt32 getContainerSize() const { return _containerSize; }

    /// True for the type itself and everything above it.
    bool isDerivedFrom(const FieldContainerType& other) const
    {
        const std::size_t depth = other._line.size();
        return _line.size() >= depth && _line[depth - 1] == &other;
    }
    bool isAbstract() const { return _createEmpty == nullptr; }
    bool isNode() const;
    bool isNodeCore() const;
    bool isAttachment() const;

    // -- Fields, those of the parent classes included --

    UInt32 getNumFieldDescs() const { return UInt32(_fields.size()); }
    /// Null if there is no field of this id. Ids start at 1.
    const FieldDescription* getFieldDescription(UInt32 id) const
    {
        return id >= 1 && id <= _fields.size() ? &_fields[id - 1] : nullptr;
    }
    const FieldDescription* findFieldDescription(const Char8* name) const;
    /// Fields whose handles count as references.
    const std::vector<UInt32>& getHoldingFields() const { return _holding; }
    /// Value that the field has in new containers; null without a prototype.
    const Field* getDefaultValue(UInt32 id) const;
    /// For the description function given to the constructor: fields come in the order of their ids.
    void addDescription(const FieldDescription& description);

    // -- Containers --

    /// The container that new ones are copied from. Null for abstract classes, before osgInit and after
    /// osgExit.
    FieldContainerPtr getPrototype() const { return _prototype ? _prototype : makePrototype(); }
    /// Replaces the prototype; the old one is released. False for abstract classes or containers of another
    /// class.
    bool setPrototype(const FieldContainerPtr& prototype);
    void releasePrototype();

    /// Copy of the prototype, reference count 0; null when there is none.
    FieldContainerPtr createFieldContainer() const;
    /// The same, null if the class is not of the kind.
    NodePtr createNode() const;
    NodeCorePtr createNodeCore() const;
    AttachmentPtr createAttachment() const;

private:
    FieldContainerPtr makePrototype() const;

    IDString _name;
    FieldContainerType* _parent;
    UInt32 _id;
    UInt32 _groupId;
    UInt32 _containerSize;
    CreateEmpty _createEmpty;
    std::vector<const FieldContainerType*> _line; ///< from the root down to this type
    std::vector<FieldDescription> _fields;        ///< place i holds id i + 1
    std::vector<UInt32> _holding;
    mutable FieldContainerPtr _prototype;
};

OSG_END_NAMESPACE
