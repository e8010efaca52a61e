#pragma once

#include <OpenSG/OSGGeometry.h>

OSG_BEGIN_NAMESPACE

// -- Corners ----------------------------------------------------------------------------------

/// Getters that the iterators share: values of the attributes at a corner of what the iterator stands at.
/// Indices are -1 where the attribute has no property, is not in the index mapping of several entries, or
/// where the indices end; values are then zero, as they are for indices beyond the end of the property.
///
/// IterT gives primitive(), the primitive iterator, and corner(which), the corner within the primitive.
template <class IterT>
class GeoCornerAccess
{
public:
    /// Place of the corner's first index among the indices; -1 without indices.
    Int32 getIndexIndex(Int32 which) const;

    Int32 getPositionIndex(Int32 which) const;
    Int32 getNormalIndex(Int32 which) const;
    Int32 getColorIndex(Int32 which) const;
    Int32 getSecondaryColorIndex(Int32 which) const;
    Int32 getTexCoordsIndex(Int32 which) const { return texCoordsIndex(0, which); }
    Int32 getTexCoordsIndex1(Int32 which) const { return texCoordsIndex(1, which); }
    Int32 getTexCoordsIndex2(Int32 which) const { return texCoordsIndex(2, which); }
    Int32 getTexCoordsIndex3(Int32 which) const { return texCoordsIndex(3, which); }
    Int32 getTexCoordsIndex4(Int32 which) const { return texCoordsIndex(4, which); }
    Int32 getTexCoordsIndex5(Int32 which) const { return texCoordsIndex(5, which); }
    Int32 getTexCoordsIndex6(Int32 which) const { return texCoordsIndex(6, which); }
    Int32 getTexCoordsIndex7(Int32 which) const { return texCoordsIndex(7, which); }

    Pnt3f getPosition(Int32 which) const;
    Vec3f getNormal(Int32 which) const;
    Color3f getColor(Int32 which) const;
    Color3f getSecondaryColor(Int32 which) const;
    Vec2f getTexCoords(Int32 which) const { return texCoords(0, which); }
    Vec2f getTexCoords1(Int32 which) const { return texCoords(1, which); }
    Vec2f getTexCoords2(Int32 which) const { return texCoords(2, which); }
    Vec2f getTexCoords3(Int32 which) const { return texCoords(3, which); }
    Vec2f getTexCoords4(Int32 which) const { return texCoords(4, which); }
    Vec2f getTexCoords5(Int32 which) const { return texCoords(5, which); }
    Vec2f getTexCoords6(Int32 which) const { return texCoords(6, which); }
    Vec2f getTexCoords7(Int32 which) const { return texCoords(7, which); }

protected:
    GeoCornerAccess() {}

private:
    const IterT& self() const { return static_cast<const IterT&>(*this); }
    Int32 texCoordsIndex(UInt32 unit, Int32 which) const;
    Vec2f texCoords(UInt32 unit, Int32 which) const;
};

// -- Primitives -------------------------------------------------------------------------------

/// Walks over the primitives of a geometry in the order of its types. Nothing without types. A primitive that
/// would go beyond the last corner is cut there; without lengths every primitive has all the corners that are
/// left. Corners are counted by the indices, without these by the positions, without these by the longest
/// other property. The geometry must neither change nor die meanwhile.
class OSG_PLATFORM_API PrimitiveIterator : public GeoCornerAccess<PrimitiveIterator>
{
public:
    /// At the end of no geometry.
    PrimitiveIterator() {}
    explicit PrimitiveIterator(const GeometryPtr& geometry) { setGeo(geometry); }
    /// The geometry that is the node's core, if it is one.
    explicit PrimitiveIterator(const NodePtr& node) { setGeo(node); }

    void setGeo(const GeometryPtr& geometry);
    void setGeo(const NodePtr& node);
    void setToBegin() { setGeo(_geometry); }
    void setToEnd();
    /// Goes to primitive \a index, or to the end.
    void seek(Int32 index);
    PrimitiveIterator& operator++();

    bool isAtEnd() const { return _index >= _count; }
    bool operator==(const PrimitiveIterator& other) const
    {
        return _geometry == other._geometry && isAtEnd() == other.isAtEnd() &&
               (isAtEnd() || _index == other._index);
    }
    bool operator!=(const PrimitiveIterator& other) const { return !(*this == other); }

    /// Number of the primitive, from 0.
    Int32 getIndex() const { return Int32(_index); }
    UInt32 getType() const { return _type; }
    /// Number of corners.
    UInt32 getLength() const { return _length; }
    const GeometryPtr& getGeometry() const { return _geometry; }

private:
    template <class IterT>
    friend class GeoCornerAccess;

    friend class Geometry;

    /// An attribute's property and its place among the indices of a corner.
    template <class PtrT, class ValueT>
    struct Attribute {
        PtrT property;
        const ValueT* values = nullptr; ///< of a property that stores the generic type
        UInt32 size = 0;
        Int32 place = -1;

        /// GeoPropertyT is the property class that stores the generic type.
        template <class GeoPropertyT>
        void set(const PtrT& newProperty, Int32 newPlace);
    };

    const PrimitiveIterator& primitive() const { return *this; }
    UInt32 corner(Int32 which) const { return UInt32(which); }

    UInt32 indexAt(std::size_t at) const
    {
        return _indexValues ? _indexValues[at] : _indices->getValue(UInt32(at));
    }
    template <class PtrT, class ValueT>
    Int32 indexOf(const Attribute<PtrT, ValueT>& attribute, UInt32 corner) const
    {
        if (!attribute.property) {
            return -1;
        }
        const std::size_t k = std::size_t(_first) + corner;
        if (!_indices) {
            return Int32(k);
        }
        if (attribute.place < 0 && _stride > 1) {
            return -1;
        }
        const std::size_t at = k * _stride + (attribute.place < 0 ? 0 : UInt32(attribute.place));
        return at < _indexCount ? Int32(indexAt(at)) : -1;
    }
    template <class PtrT, class ValueT>
    ValueT valueOf(const Attribute<PtrT, ValueT>& attribute, UInt32 corner) const
    {
        const Int32 index = indexOf(attribute, corner);
        if (index < 0 || UInt32(index) >= attribute.size) {
            return ValueT();
        }
        return attribute.values ? attribute.values[index] : attribute.property->getValue(UInt32(index));
    }
    /// Fills _type and _length for the primitive at _index.
    void load();

    GeometryPtr _geometry;
    GeoPTypesPtr _types;
    GeoPLengthsPtr _lengths;
    GeoIndicesPtr _indices;
    const UInt32* _indexValues = nullptr; ///< of indices of 32 bits
    UInt32 _indexCount = 0;
    UInt32 _stride = 1;
    UInt32 _corners = 0; ///< of the whole geometry
    Attribute<GeoPositionsPtr, Pnt3f> _positions;
    Attribute<GeoNormalsPtr, Vec3f> _normals;
    Attribute<GeoColorsPtr, Color3f> _colors;
    Attribute<GeoColorsPtr, Color3f> _secondaryColors;
    Attribute<GeoTexCoordsPtr, Vec2f> _texCoords[8];

    UInt32 _count = 0; ///< of primitives
    UInt32 _index = 0;
    UInt32 _first = 0; ///< corner of the geometry at which the primitive begins
    UInt32 _type = 0;
    UInt32 _length = 0;
};

// -- Corners, inline --------------------------------------------------------------------------

template <class IterT>
inline Int32 GeoCornerAccess<IterT>::getIndexIndex(Int32 which) const
{
    const PrimitiveIterator& primitive = self().primitive();
    return primitive._indices ? Int32((primitive._first + self().corner(which)) * primitive._stride) : -1;
}
template <class IterT>
inline Int32 GeoCornerAccess<IterT>::getPositionIndex(Int32 which) const
{
    return self().primitive().indexOf(self().primitive()._positions, self().corner(which));
}
template <class IterT>
inline Int32 GeoCornerAccess<IterT>::getNormalIndex(Int32 which) const
{
    return self().primitive().indexOf(self().primitive()._normals, self().corner(which));
}
template <class IterT>
inline Int32 GeoCornerAccess<IterT>::getColorIndex(Int32 which) const
{
    return self().primitive().indexOf(self().primitive()._colors, self().corner(which));
}
template <class IterT>
inline Int32 GeoCornerAccess<IterT>::getSecondaryColorIndex(Int32 which) const
{
    return self().primitive().indexOf(self().primitive()._secondaryColors, self().corner(which));
}
template <class IterT>
inline Int32 GeoCornerAccess<IterT>::texCoordsIndex(UInt32 unit, Int32 which) const
{
    return self().primitive().indexOf(self().primitive()._texCoords[unit], self().corner(which));
}
template <class IterT>
inline Pnt3f GeoCornerAccess<IterT>::getPosition(Int32 which) const
{
    return self().primitive().valueOf(self().primitive()._positions, self().corner(which));
}
template <class IterT>
inline Vec3f GeoCornerAccess<IterT>::getNormal(Int32 which) const
{
    return self().primitive().valueOf(self().primitive()._normals, self().corner(which));
}
template <class IterT>
inline Color3f GeoCornerAccess<IterT>::getColor(Int32 which) const
{
    return self().primitive().valueOf(self().primitive()._colors, self().corner(which));
}
template <class IterT>
inline Color3f GeoCornerAccess<IterT>::getSecondaryColor(Int32 which) const
{
    return self().primitive().valueOf(self().primitive()._secondaryColors, self().corner(which));
}
template <class IterT>
inline Vec2f GeoCornerAccess<IterT>::texCoords(UInt32 unit, Int32 which) const
{
    return self().primitive().valueOf(self().primitive()._texCoords[unit], self().corner(which));
}

// -- End of a walk ----------------------------------------------------------------------------

// Cheap, and inline: loops ask for it before each step. It knows nothing of the geometry but which one it is.

inline PrimitiveIterator Geometry::endPrimitives() const
{
    PrimitiveIterator end;
    end._geometry = GeometryPtr(*this);
    return end;
}

OSG_END_NAMESPACE
