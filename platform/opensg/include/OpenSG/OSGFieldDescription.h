#pragma once

#include <OpenSG/OSGField.h>
#include <OpenSG/OSGIDString.h>

OSG_BEGIN_NAMESPACE

class FieldContainer;

/// One field of a container class.
class FieldDescription
{
public:
    /// What the container does with the containers that its handles point to.
    enum Holding {
        HoldsNothing, ///< plain value or handle
        HoldsCounted, ///< each handle counts as one reference
        HoldsLinked   ///< as HoldsCounted; the target is an Attachment and lists the container as a parent
    };
    typedef Field* (*Access)(FieldContainer*);

    FieldDescription(const FieldType& type, const Char8* name, UInt32 id, bool internal, Holding holding,
                     Access access)
        : _type(&type), _name(name), _id(id), _internal(internal), _holding(holding), _access(access)
    {
    }

    const IDString& getName() const { return _name; }
    const Char8* getCName() const { return _name.str(); }
    const FieldType& getType() const { return *_type; }
    UInt32 getTypeId() const { return _type->getId(); }
    /// From 1; ids of a class follow those of its parent class.
    UInt32 getFieldId() const { return _id; }
    BitVector getFieldMask() const { return BitVector(1) << _id; }
    /// Internal fields are neither cloned nor written to files.
    bool isInternal() const { return _internal; }
    Holding getHolding() const { return _holding; }
    /// The field in \a container, which must be of the class described or derived from it.
    Field* getField(FieldContainer* container) const { return _access(container); }
    const Field* getField(const FieldContainer* container) const
    {
        return _access(const_cast<FieldContainer*>(container));
    }

private:
    const FieldType* _type;
    IDString _name;
    UInt32 _id;
    bool _internal;
    Holding _holding;
    Access _access;
};

OSG_END_NAMESPACE
