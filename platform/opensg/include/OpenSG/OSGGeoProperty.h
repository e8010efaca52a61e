#pragma once

#include <OpenSG/OSGAttachment.h>
#include <OpenSG/OSGGL.h>

OSG_BEGIN_NAMESPACE

// -- Abstract properties ----------------------------------------------------------------------

/// An array of positions, normals, colours, texture coordinates, indices, primitive types or primitive
/// lengths, seen through one generic type of values whatever is stored. Places are not checked.
template <class DescT>
class AbstractGeoProperty : public Attachment
{
public:
    typedef AbstractGeoProperty<DescT> SelfT;
    typedef FCPtr<AttachmentPtr, SelfT> PtrT;
    typedef typename DescT::GenericT GenericT;

    OSG_FIELD_CONTAINER_COMMON(SelfT, Attachment, PtrT)

    virtual GenericT getValue(UInt32 i) const = 0;
    void getValue(GenericT& value, UInt32 i) const { value = getValue(i); }
    virtual void setValue(const GenericT& value, UInt32 i) = 0;
    virtual void addValue(const GenericT& value) = 0;
    void push_back(const GenericT& value) { addValue(value); }
    /// False, and nothing happens, behind the end.
    virtual bool insertValue(const GenericT& value, UInt32 i) = 0;

    virtual UInt32 getSize() const = 0;
    UInt32 size() const { return getSize(); }
    virtual void resize(std::size_t count) = 0;
    virtual void clear() = 0;
    /// Gives unused memory back.
    virtual void shrink() = 0;

    /// The stored values as bytes, null if there are none.
    virtual UInt8* getData() = 0;
    /// Components of a value.
    virtual UInt32 getDimension() const = 0;
    /// GL type of a component.
    virtual UInt32 getFormat() const = 0;
    /// Bytes of a component.
    virtual UInt32 getFormatSize() const = 0;
    /// 0: the values follow one another without gaps.
    UInt32 getStride() const { return 0; }

    /// New property with the same values, reference count 0.
    virtual PtrT clone() const = 0;

    /// The end of an edit changes the geometries that use the property.
    void changed(BitVector mask, UInt32 origin) override
    {
        notifyParents(ChangedOrigin::Abstract);
        Attachment::changed(mask, origin);
    }

protected:
    AbstractGeoProperty() {}
    AbstractGeoProperty(const AbstractGeoProperty&) = default;
};

#define OSG_ABSTRACT_GEO_PROPERTY(Class, ValueT)                                                             \
    struct Class##Desc {                                                                                     \
        typedef ValueT GenericT;                                                                             \
        static const Char8* typeName() { return #Class; }                                                    \
    };                                                                                                       \
    typedef AbstractGeoProperty<Class##Desc> Class;                                                          \
    OSG_FC_HANDLE_OF(Class, AttachmentPtr)                                                                   \
    extern template class OSG_PLATFORM_API AbstractGeoProperty<Class##Desc>;

OSG_ABSTRACT_GEO_PROPERTY(GeoPositions, Pnt3f)
OSG_ABSTRACT_GEO_PROPERTY(GeoNormals, Vec3f)
OSG_ABSTRACT_GEO_PROPERTY(GeoColors, Color3f)
OSG_ABSTRACT_GEO_PROPERTY(GeoTexCoords, Vec2f)
OSG_ABSTRACT_GEO_PROPERTY(GeoIndices, UInt32)
OSG_ABSTRACT_GEO_PROPERTY(GeoPTypes, UInt8)
OSG_ABSTRACT_GEO_PROPERTY(GeoPLengths, UInt32)

// -- Generic and stored values ----------------------------------------------------------------

/// Conversion between the generic type and the stored one. As the constructors of points and vectors do it:
/// common components are copied, further ones are 0.
template <class GenericT, class StoredT>
struct GeoConversion {
    static GenericT toGeneric(const StoredT& value) { return GenericT(value); }
    static StoredT toStored(const GenericT& value) { return StoredT(value); }
};

/// Generic positions have w = 1; the w of a stored one is cut off, not divided by.
template <>
struct GeoConversion<Pnt3f, Pnt4f> {
    static Pnt3f toGeneric(const Pnt4f& value) { return Pnt3f(value[0], value[1], value[2]); }
    static Pnt4f toStored(const Pnt3f& value) { return Pnt4f(value[0], value[1], value[2], 1.f); }
};

/// Normals stored in whole numbers b: the component is (2 b + 1) / (2^bits - 1).
template <class StoredT, int Range>
struct GeoNormalConversion {
    typedef typename StoredT::ValueType ComponentT;

    static Vec3f toGeneric(const StoredT& value)
    {
        return Vec3f((2.f * value[0] + 1.f) / Range, (2.f * value[1] + 1.f) / Range,
                     (2.f * value[2] + 1.f) / Range);
    }
    static StoredT toStored(const Vec3f& value)
    {
        return StoredT(component(value[0]), component(value[1]), component(value[2]));
    }

private:
    static ComponentT component(Real32 value)
    {
        const Real32 limit = Range / 2;
        const Real32 b = std::floor((value * Range - 1.f) / 2.f + .5f);
        return ComponentT(b >= limit ? limit : (b > -limit - 1.f ? b : -limit - 1.f));
    }
};
template <>
struct GeoConversion<Vec3f, Vec3s> : GeoNormalConversion<Vec3s, 65535> {
};
template <>
struct GeoConversion<Vec3f, Vec3b> : GeoNormalConversion<Vec3b, 255> {
};

template <>
struct GeoConversion<Color3f, Color4f> {
    static Color3f toGeneric(const Color4f& value) { return Color3f(value[0], value[1], value[2]); }
    static Color4f toStored(const Color3f& value) { return Color4f(value[0], value[1], value[2], 1.f); }
};

/// Component 0..1 as 0..255; values outside are cut.
inline UInt8 geoColorToByte(Real32 value)
{
    return value >= 1.f ? UInt8(255) : (value > 0.f ? UInt8(value * 255.f + .5f) : UInt8(0));
}
template <>
struct GeoConversion<Color3f, Color3ub> {
    static Color3f toGeneric(const Color3ub& value)
    {
        return Color3f(value[0] / 255.f, value[1] / 255.f, value[2] / 255.f);
    }
    static Color3ub toStored(const Color3f& value)
    {
        return Color3ub(geoColorToByte(value[0]), geoColorToByte(value[1]), geoColorToByte(value[2]));
    }
};
template <>
struct GeoConversion<Color3f, Color4ub> {
    static Color3f toGeneric(const Color4ub& value)
    {
        return Color3f(value[0] / 255.f, value[1] / 255.f, value[2] / 255.f);
    }
    static Color4ub toStored(const Color3f& value)
    {
        return Color4ub(geoColorToByte(value[0]), geoColorToByte(value[1]), geoColorToByte(value[2]),
                        UInt8(255));
    }
};

template <>
struct GeoConversion<Vec2f, Real32> {
    static Vec2f toGeneric(Real32 value) { return Vec2f(value, 0.f); }
    static Real32 toStored(const Vec2f& value) { return value[0]; }
};

// -- Concrete properties ----------------------------------------------------------------------

/// GL type of a component.
template <class ComponentT>
struct GeoFormat;
template <>
struct GeoFormat<Real32> {
    enum { Value = GL_FLOAT };
};
template <>
struct GeoFormat<Int8> {
    enum { Value = GL_BYTE };
};
template <>
struct GeoFormat<UInt8> {
    enum { Value = GL_UNSIGNED_BYTE };
};
template <>
struct GeoFormat<Int16> {
    enum { Value = GL_SHORT };
};
template <>
struct GeoFormat<UInt16> {
    enum { Value = GL_UNSIGNED_SHORT };
};
template <>
struct GeoFormat<UInt32> {
    enum { Value = GL_UNSIGNED_INT };
};

/// A property with one multi field. \a DescT gives the abstract class, the field's type and the names.
template <class DescT>
class GeoProperty : public DescT::AbstractT
{
public:
    typedef GeoProperty<DescT> SelfT;
    typedef typename DescT::AbstractT AbstractT;
    typedef typename AbstractT::Ptr AbstractPtrT;
    typedef typename AbstractT::GenericT GenericT;
    typedef typename DescT::FieldT FieldT;
    typedef typename FieldT::StoredType StoredT;
    typedef FCPtr<AbstractPtrT, SelfT> PtrT;
    typedef GeoConversion<GenericT, StoredT> Conversion;

    OSG_FIELD_CONTAINER_COMMON(SelfT, AbstractT, PtrT)
    OSG_FIELD_CONTAINER_CREATE(GeoProperty, PtrT)
    OSG_FIELD_NAMES(3, GeoPropData)

    static FieldDescription osgDescribeField(FieldTag<3>)
    {
        return FieldDescription(
            FieldT::getClassType(), DescT::fieldName(), 3, false, FieldDescription::HoldsNothing,
            [](FieldContainer* container) -> Field* { return &static_cast<SelfT*>(container)->_field; });
    }

    using FieldContainer::getField;
    /// The values in the type in which they are stored.
    FieldT& getField() { return _field; }
    const FieldT& getField() const { return _field; }
    FieldT* getFieldPtr() { return &_field; }
    const FieldT* getFieldPtr() const { return &_field; }

    using AbstractT::getValue;
    GenericT getValue(UInt32 i) const override { return Conversion::toGeneric(_field[i]); }
    void setValue(const GenericT& value, UInt32 i) override { _field[i] = Conversion::toStored(value); }
    void addValue(const GenericT& value) override { _field.push_back(Conversion::toStored(value)); }
    bool insertValue(const GenericT& value, UInt32 i) override
    {
        if (i > _field.size()) {
            return false;
        }
        _field.insert(_field.begin() + i, Conversion::toStored(value));
        return true;
    }

    UInt32 getSize() const override { return _field.size(); }
    void resize(std::size_t count) override { _field.resize(count); }
    void clear() override { _field.clear(); }
    void shrink() override { _field.shrink(); }
    UInt8* getData() override { return reinterpret_cast<UInt8*>(_field.data()); }
    UInt32 getDimension() const override { return DescT::Dimension; }
    UInt32 getFormat() const override { return GeoFormat<typename DescT::ComponentT>::Value; }
    UInt32 getFormatSize() const override { return sizeof(typename DescT::ComponentT); }

    AbstractPtrT clone() const override { return AbstractPtrT::dcast(this->shallowCopy()); }

protected:
    GeoProperty() {}
    GeoProperty(const GeoProperty&) = default;

    FieldT _field;
};

/// \a FieldName is the name in reflection and files.
#define OSG_GEO_PROPERTY(Class, Abstract, MField_, FieldName, Component, Dim)                                \
    struct Class##Desc {                                                                                     \
        typedef Abstract AbstractT;                                                                          \
        typedef MField_ FieldT;                                                                              \
        typedef Component ComponentT;                                                                        \
        enum { Dimension = Dim };                                                                            \
        static const Char8* typeName() { return #Class; }                                                    \
        static const Char8* groupName() { return #Abstract; }                                                \
        static const Char8* fieldName() { return FieldName; }                                                \
    };                                                                                                       \
    typedef GeoProperty<Class##Desc> Class;                                                                  \
    OSG_FC_HANDLE_OF(Class, Abstract##Ptr)                                                                   \
    extern template class OSG_PLATFORM_API GeoProperty<Class##Desc>;

/// All concrete properties. The case of the names of the fields is that of the files.
#define OSG_ALL_GEO_PROPERTIES(X)                                                                            \
    X(GeoPositions2f, GeoPositions, MFPnt2f, "positions", Real32, 2)                                         \
    X(GeoPositions3f, GeoPositions, MFPnt3f, "positions", Real32, 3)                                         \
    X(GeoPositions4f, GeoPositions, MFPnt4f, "positions", Real32, 4)                                         \
    X(GeoNormals3f, GeoNormals, MFVec3f, "normals", Real32, 3)                                               \
    X(GeoNormals3s, GeoNormals, MFVec3s, "normals", Int16, 3)                                                \
    X(GeoNormals3b, GeoNormals, MFVec3b, "normals", Int8, 3)                                                 \
    X(GeoColors3f, GeoColors, MFColor3f, "colors", Real32, 3)                                                \
    X(GeoColors4f, GeoColors, MFColor4f, "Colors", Real32, 4)                                                \
    X(GeoColors3ub, GeoColors, MFColor3ub, "Colors", UInt8, 3)                                               \
    X(GeoColors4ub, GeoColors, MFColor4ub, "Colors", UInt8, 4)                                               \
    X(GeoTexCoords1f, GeoTexCoords, MFReal32, "TexCoords", Real32, 1)                                        \
    X(GeoTexCoords2f, GeoTexCoords, MFVec2f, "TexCoords", Real32, 2)                                         \
    X(GeoTexCoords3f, GeoTexCoords, MFVec3f, "TexCoords", Real32, 3)                                         \
    X(GeoTexCoords4f, GeoTexCoords, MFVec4f, "TexCoords", Real32, 4)                                         \
    X(GeoIndicesUI16, GeoIndices, MFUInt16, "indices", UInt16, 1)                                            \
    X(GeoIndicesUI32, GeoIndices, MFUInt32, "indices", UInt32, 1)                                            \
    X(GeoPLengthsUI8, GeoPLengths, MFUInt8, "lengths", UInt8, 1)                                             \
    X(GeoPLengthsUI16, GeoPLengths, MFUInt16, "lengths", UInt16, 1)                                          \
    X(GeoPLengthsUI32, GeoPLengths, MFUInt32, "lengths", UInt32, 1)                                          \
    X(GeoPTypesUI8, GeoPTypes, MFUInt8, "types", UInt8, 1)

OSG_ALL_GEO_PROPERTIES(OSG_GEO_PROPERTY)

OSG_END_NAMESPACE
