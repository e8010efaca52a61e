#pragma once

#include <OpenSG/OSGBaseTypes.h>

#include <string>

OSG_BEGIN_NAMESPACE

class FieldContainerPtr;

/// Description of a field's value type: name, text form, whether it is a handle. Specialised for each value
/// type; \a Variant tells types apart that are the same in C++ (GLenum and UInt32, Time and Real64).
template <class ValueT, int Variant = 0>
struct FieldTraits;

template <class ValueT, int Variant = 0>
class SField;
template <class ValueT, int Variant = 0>
class MField;

/// Run-time description of a field class, such as SFVec3f.
class OSG_PLATFORM_API FieldType
{
public:
    enum Cardinality { SINGLE_FIELD, MULTI_FIELD };

    /// \param elementName     name of the value type, "Vec3f"
    /// \param containerClass  class of the containers that handles of this type point to; null for other
    /// values
    FieldType(Cardinality cardinality, const Char8* elementName, UInt32 elementSize,
              const Char8* containerClass);

    /// "SFVec3f", "MFStateChunkPtr".
    const Char8* getCName() const { return _name.c_str(); }
    const std::string& getName() const { return _name; }
    /// Dealt out in order of first use, from 1: differs from process to process.
    UInt32 getId() const { return _id; }
    Cardinality getCardinality() const { return _cardinality; }
    /// "Vec3f".
    const Char8* getElementName() const { return _elementName; }
    UInt32 getElementSize() const { return _elementSize; }
    bool isPointer() const { return _containerClass != nullptr; }
    /// Null unless isPointer().
    const Char8* getContainerClass() const { return _containerClass; }
    /// Whether a handle of this type may hold \a container (null is accepted).
    bool accepts(const FieldContainerPtr& container) const;

    bool operator==(const FieldType& other) const { return _id == other._id; }
    bool operator!=(const FieldType& other) const { return _id != other._id; }

private:
    Cardinality _cardinality;
    UInt32 _elementSize;
    UInt32 _id;
    const Char8* _elementName;
    const Char8* _containerClass;
    std::string _name;
};

/// A value or an array of values of a container, seen without its type.
class OSG_PLATFORM_API Field
{
public:
    enum Cardinality { SINGLE_FIELD = FieldType::SINGLE_FIELD, MULTI_FIELD = FieldType::MULTI_FIELD };

    virtual ~Field();

    virtual const FieldType& getType() const = 0;
    FieldType::Cardinality getCardinality() const { return getType().getCardinality(); }
    /// Number of values; 1 for a single field.
    virtual UInt32 getSize() const = 0;
    bool isEmpty() const { return getSize() == 0; }

    /// Copies the value(s) of a field of the same type; any other field is ignored.
    virtual void setAbstrValue(const Field& other) = 0;
    /// Text form; values of a multi field are separated by ", ".
    virtual std::string& getValueByStr(std::string& text) const = 0;
    /// Single field: sets the value. Multi field: appends one. A text that cannot be read changes nothing.
    virtual void pushValueByStr(const Char8* text) = 0;
    /// Whether the values of both fields are equal; false if the types differ.
    virtual bool equals(const Field& other) const = 0;

    // -- Handles, without their type --

    bool isPointerField() const { return getType().isPointer(); }
    /// Number of handles, null ones included; 0 unless this is a field of handles.
    virtual UInt32 getContainerCount() const = 0;
    /// Null handle if \a i is out of range or this is no field of handles.
    virtual FieldContainerPtr getContainer(UInt32 i) const = 0;
    /// Replaces handle \a i without touching reference counts. False, and nothing changes, if the container
    /// is of a wrong class or \a i is out of range.
    virtual bool setContainer(const FieldContainerPtr& container, UInt32 i = 0) = 0;
    /// Appends a handle to a multi field without touching reference counts; false as for setContainer.
    virtual bool addContainer(const FieldContainerPtr& container) = 0;

    // -- Values as a block of memory --

    /// The values, one after another; null if they cannot be copied as a block (strings, handles, maps).
    virtual const void* getBlock() const = 0;
    /// Makes room for \a count values and gives their memory, whose content is not initialised: the caller
    /// writes all of it. Null if the values cannot be copied as a block, or a single field is asked for a
    /// count other than 1.
    virtual void* resizeBlock(UInt32 count) = 0;
};

OSG_END_NAMESPACE
