#pragma once

#include <OpenSG/OSGFieldContainerFactory.h>
#include <OpenSG/OSGFieldTraits.h>
#include <OpenSG/OSGMField.h>
#include <OpenSG/OSGSField.h>

// How a container class is written:
//
//     OSG_FC_HANDLE(Lamp, NodeCorePtr)                       LampPtr, SFLampPtr, MFLampPtr
//
//     class Lamp : public NodeCore
//     {
//         OSG_FIELD_CONTAINER(Lamp, NodeCore)
//         OSG_SFIELD(3, Power, power, Real32, 1.0f)          PowerFieldId, PowerFieldMask, getSFPower,
//         getPower, setPower OSG_MFIELD(4, Steps, steps, UInt16)                StepsFieldId, StepsFieldMask,
//         getMFSteps, getSteps
//     };
//
// and in one source file, in namespace osg, OSG_FIELD_CONTAINER_INST(Lamp, nullptr). Everything else about a
// field (reflection, copies, clones, dumps, reference counts, files) follows from its one line. Ids follow
// those of the parent class without a gap and end at 63. The macros leave the access at public.

OSG_BEGIN_NAMESPACE

/// Mask of a field; a reference to it may be taken whatever the language level.
template <UInt32 Id>
struct FieldBit {
    static const BitVector value = BitVector(1) << Id;
};
template <UInt32 Id>
const BitVector FieldBit<Id>::value;

/// Tells the description functions of a class's fields apart.
template <UInt32 Id>
struct FieldTag {
};

/// Adds the fields that ClassT itself declares to its type.
template <class ClassT>
class FieldCollector
{
public:
    static void collect(FieldContainerType& type) { step(type, FieldTag<1>()); }

private:
    template <UInt32 Id>
    static auto add(FieldContainerType& type, FieldTag<Id> tag, int)
        -> decltype(void(ClassT::osgDescribeField(tag)))
    {
        type.addDescription(ClassT::osgDescribeField(tag));
    }
    template <UInt32 Id>
    static void add(FieldContainerType&, FieldTag<Id>, long)
    {
    }
    template <UInt32 Id>
    static void step(FieldContainerType& type, FieldTag<Id> tag)
    {
        add(type, tag, 0);
        step(type, FieldTag<Id + 1>());
    }
    static void step(FieldContainerType&, FieldTag<64>) {}
};

OSG_END_NAMESPACE

// -- Classes ----------------------------------------------------------------------------------

#define OSG_FIELD_CONTAINER_COMMON(Class, Parent, PtrT)                                                      \
public:                                                                                                      \
    typedef Class Self;                                                                                      \
    typedef Parent Inherited;                                                                                \
    typedef PtrT Ptr;                                                                                        \
    static OSG::FieldContainerType& getClassType();                                                          \
    static OSG::UInt32 getClassTypeId()                                                                      \
    {                                                                                                        \
        return getClassType().getId();                                                                       \
    }                                                                                                        \
    static OSG::UInt32 getClassGroupId()                                                                     \
    {                                                                                                        \
        return getClassType().getGroupId();                                                                  \
    }                                                                                                        \
    OSG::FieldContainerType& getType() const override                                                        \
    {                                                                                                        \
        return getClassType();                                                                               \
    }                                                                                                        \
    /* hides the parent's descriptions */                                                                    \
    static void osgDescribeField(OSG::FieldTag<0>) {}                                                        \
                                                                                                             \
protected:                                                                                                   \
    PtrT getPtr() const                                                                                      \
    {                                                                                                        \
        return PtrT(*this);                                                                                  \
    }                                                                                                        \
    friend class OSG::FieldContainer;                                                                        \
                                                                                                             \
public:

#define OSG_FIELD_CONTAINER_CREATE(Class, PtrT)                                                              \
public:                                                                                                      \
    /* copy of the prototype; null before osgInit */                                                         \
    static PtrT create()                                                                                     \
    {                                                                                                        \
        return PtrT::dcast(getClassType().createFieldContainer());                                           \
    }                                                                                                        \
    static PtrT createEmpty()                                                                                \
    {                                                                                                        \
        return PtrT(new Class());                                                                            \
    }                                                                                                        \
    OSG::FieldContainerPtr shallowCopy() const override                                                      \
    {                                                                                                        \
        return OSG::FieldContainerPtr(OSG::FieldContainer::copyOf(*this));                                   \
    }                                                                                                        \
                                                                                                             \
public:

/// First line of a class that containers are made of.
#define OSG_FIELD_CONTAINER(Class, Parent)                                                                   \
    OSG_FIELD_CONTAINER_COMMON(Class, Parent, Class##Ptr)                                                    \
    OSG_FIELD_CONTAINER_CREATE(Class, Class##Ptr)

/// First line of a class that has no containers of its own.
#define OSG_ABSTRACT_FIELD_CONTAINER(Class, Parent) OSG_FIELD_CONTAINER_COMMON(Class, Parent, Class##Ptr)

#define OSG_FIELD_CONTAINER_INST_AS(Class, name, group, createEmptyFn)                                       \
    OSG::FieldContainerType& Class::getClassType()                                                           \
    {                                                                                                        \
        static OSG::FieldContainerType* const type =                                                         \
            new OSG::FieldContainerType(name, &Inherited::getClassType(), group, sizeof(Class),              \
                                        createEmptyFn, &OSG::FieldCollector<Class>::collect);                \
        return *type;                                                                                        \
    }

/// Defines the type of a class and registers it when the library is loaded. \a group: null for a group of its
/// own.
#define OSG_FIELD_CONTAINER_INST(Class, group)                                                               \
    OSG_FIELD_CONTAINER_INST_AS(Class, #Class, group,                                                        \
                                []() -> OSG::FieldContainer* { return Class::createEmpty().getCPtr(); })     \
    static const OSG::UInt32 typeIdOf##Class = Class::getClassTypeId();                                      \
    static_assert(sizeof(typeIdOf##Class) == 4, "registers the type");
#define OSG_ABSTRACT_FIELD_CONTAINER_INST(Class, group)                                                      \
    OSG_FIELD_CONTAINER_INST_AS(Class, #Class, group, nullptr)                                               \
    static const OSG::UInt32 typeIdOf##Class = Class::getClassTypeId();                                      \
    static_assert(sizeof(typeIdOf##Class) == 4, "registers the type");

// -- Fields -----------------------------------------------------------------------------------

#define OSG_FIELD_NAMES(ID, Upper)                                                                           \
public:                                                                                                      \
    enum { Upper##FieldId = ID };                                                                            \
    static constexpr const OSG::BitVector& Upper##FieldMask = OSG::FieldBit<ID>::value;

#define OSG_FIELD_DESCRIBE(ID, lower, FieldT, Member, Internal, Holding)                                     \
    static OSG::FieldDescription osgDescribeField(OSG::FieldTag<ID>)                                         \
    {                                                                                                        \
        return OSG::FieldDescription(FieldT::getClassType(), #lower, ID, Internal,                           \
                                     OSG::FieldDescription::Holding,                                         \
                                     [](OSG::FieldContainer* container) -> OSG::Field* {                     \
                                         return &static_cast<Self*>(container)->Member;                      \
                                     });                                                                     \
    }

#define OSG_SFIELD_STORE(Upper, Type, ...)                                                                   \
protected:                                                                                                   \
    SF##Type _sf##Upper{SF##Type::StoredType(__VA_ARGS__)};                                                  \
                                                                                                             \
public:

#define OSG_SFIELD_GET(Upper, Type)                                                                          \
    SF##Type* getSF##Upper()                                                                                 \
    {                                                                                                        \
        return &_sf##Upper;                                                                                  \
    }                                                                                                        \
    const SF##Type* getSF##Upper() const                                                                     \
    {                                                                                                        \
        return &_sf##Upper;                                                                                  \
    }                                                                                                        \
    SF##Type::StoredType& get##Upper()                                                                       \
    {                                                                                                        \
        return _sf##Upper.getValue();                                                                        \
    }                                                                                                        \
    const SF##Type::StoredType& get##Upper() const                                                           \
    {                                                                                                        \
        return _sf##Upper.getValue();                                                                        \
    }

#define OSG_SFIELD_SET(Upper, Type)                                                                          \
    void set##Upper(const SF##Type::StoredType& value)                                                       \
    {                                                                                                        \
        checkEdit(Upper##FieldMask);                                                                         \
        _sf##Upper.setValue(value);                                                                          \
    }

#define OSG_SFIELD_SET_HELD(Upper, Type, linked)                                                             \
    void set##Upper(const SF##Type::StoredType& value)                                                       \
    {                                                                                                        \
        checkEdit(Upper##FieldMask);                                                                         \
        hold(_sf##Upper.getValue(), value, linked);                                                          \
    }

/// A single value. The default value (a list of constructor arguments) follows the type: OSG_SFIELD(4,
/// Center, center, Vec3f, 0, 0, 0).
#define OSG_SFIELD(ID, Upper, lower, Type, ...)                                                              \
    OSG_FIELD_NAMES(ID, Upper)                                                                               \
    OSG_FIELD_DESCRIBE(ID, lower, SF##Type, _sf##Upper, false, HoldsNothing)                                 \
    OSG_SFIELD_GET(Upper, Type)                                                                              \
    OSG_SFIELD_SET(Upper, Type)                                                                              \
    OSG_SFIELD_STORE(Upper, Type, __VA_ARGS__)

/// The same, left out of clones and files.
#define OSG_SFIELD_INTERNAL(ID, Upper, lower, Type, ...)                                                     \
    OSG_FIELD_NAMES(ID, Upper)                                                                               \
    OSG_FIELD_DESCRIBE(ID, lower, SF##Type, _sf##Upper, true, HoldsNothing)                                  \
    OSG_SFIELD_GET(Upper, Type)                                                                              \
    OSG_SFIELD_SET(Upper, Type)                                                                              \
    OSG_SFIELD_STORE(Upper, Type, __VA_ARGS__)

/// A handle that counts as a reference.
#define OSG_SFIELD_COUNTED(ID, Upper, lower, Type)                                                           \
    OSG_FIELD_NAMES(ID, Upper)                                                                               \
    OSG_FIELD_DESCRIBE(ID, lower, SF##Type, _sf##Upper, false, HoldsCounted)                                 \
    OSG_SFIELD_GET(Upper, Type)                                                                              \
    OSG_SFIELD_SET_HELD(Upper, Type, false)                                                                  \
    OSG_SFIELD_STORE(Upper, Type, OSG::NullFC)

/// A handle of an attachment that counts as a reference; the container appears among the attachment's
/// parents.
#define OSG_SFIELD_LINKED(ID, Upper, lower, Type)                                                            \
    OSG_FIELD_NAMES(ID, Upper)                                                                               \
    OSG_FIELD_DESCRIBE(ID, lower, SF##Type, _sf##Upper, false, HoldsLinked)                                  \
    OSG_SFIELD_GET(Upper, Type)                                                                              \
    OSG_SFIELD_SET_HELD(Upper, Type, true)                                                                   \
    OSG_SFIELD_STORE(Upper, Type, OSG::NullFC)

#define OSG_MFIELD_GET(Upper, Type)                                                                          \
    MF##Type* getMF##Upper()                                                                                 \
    {                                                                                                        \
        return &_mf##Upper;                                                                                  \
    }                                                                                                        \
    const MF##Type* getMF##Upper() const                                                                     \
    {                                                                                                        \
        return &_mf##Upper;                                                                                  \
    }                                                                                                        \
    MF##Type& get##Upper()                                                                                   \
    {                                                                                                        \
        return _mf##Upper;                                                                                   \
    }                                                                                                        \
    const MF##Type& get##Upper() const                                                                       \
    {                                                                                                        \
        return _mf##Upper;                                                                                   \
    }                                                                                                        \
    MF##Type::StoredType& get##Upper(OSG::UInt32 i)                                                          \
    {                                                                                                        \
        return _mf##Upper[i];                                                                                \
    }                                                                                                        \
    const MF##Type::StoredType& get##Upper(OSG::UInt32 i) const                                              \
    {                                                                                                        \
        return _mf##Upper[i];                                                                                \
    }

#define OSG_MFIELD_STORE(Upper, Type)                                                                        \
protected:                                                                                                   \
    MF##Type _mf##Upper;                                                                                     \
                                                                                                             \
public:

/// An array of values, edited through getXxx().
#define OSG_MFIELD(ID, Upper, lower, Type)                                                                   \
    OSG_FIELD_NAMES(ID, Upper)                                                                               \
    OSG_FIELD_DESCRIBE(ID, lower, MF##Type, _mf##Upper, false, HoldsNothing)                                 \
    OSG_MFIELD_GET(Upper, Type)                                                                              \
    OSG_MFIELD_STORE(Upper, Type)

#define OSG_MFIELD_INTERNAL(ID, Upper, lower, Type)                                                          \
    OSG_FIELD_NAMES(ID, Upper)                                                                               \
    OSG_FIELD_DESCRIBE(ID, lower, MF##Type, _mf##Upper, true, HoldsNothing)                                  \
    OSG_MFIELD_GET(Upper, Type)                                                                              \
    OSG_MFIELD_STORE(Upper, Type)

/// An array of handles that count as references, edited by the class's own functions.
#define OSG_MFIELD_COUNTED(ID, Upper, lower, Type)                                                           \
    OSG_FIELD_NAMES(ID, Upper)                                                                               \
    OSG_FIELD_DESCRIBE(ID, lower, MF##Type, _mf##Upper, false, HoldsCounted)                                 \
    OSG_MFIELD_GET(Upper, Type)                                                                              \
    OSG_MFIELD_STORE(Upper, Type)

/// The same with protected accessors.
#define OSG_MFIELD_COUNTED_HIDDEN(ID, Upper, lower, Type)                                                    \
    OSG_FIELD_NAMES(ID, Upper)                                                                               \
    OSG_FIELD_DESCRIBE(ID, lower, MF##Type, _mf##Upper, false, HoldsCounted)                                 \
protected:                                                                                                   \
    OSG_MFIELD_GET(Upper, Type)                                                                              \
    OSG_MFIELD_STORE(Upper, Type)
