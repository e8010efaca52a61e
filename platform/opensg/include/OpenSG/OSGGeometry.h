#pragma once

#include <OpenSG/OSGGeoProperty.h>
#include <OpenSG/OSGMaterialDrawable.h>

OSG_BEGIN_NAMESPACE

class PrimitiveIterator;
class TriangleIterator;
class FaceIterator;

OSG_FC_HANDLE(Geometry, MaterialDrawablePtr)

/// Points, lines and polygons.
///
/// `types` and `lengths` list the primitives; lengths count corners. With indices, each corner takes as many
/// of them as indexMapping has entries (one if it has none), and each entry says which attributes that index
/// is for. Without indices, corner k uses value k of every attribute.
class OSG_PLATFORM_API Geometry : public MaterialDrawable
{
    OSG_FIELD_CONTAINER(Geometry, MaterialDrawable)

    // -- Bits of index mapping entries --

    static const UInt16 MapPosition = 1;
    static const UInt16 MapNormal = 2;
    static const UInt16 MapColor = 4;
    static const UInt16 MapSecondaryColor = 8;
    static const UInt16 MapTexCoords = 16;
    static const UInt16 MapTexCoords1 = 32;
    static const UInt16 MapTexCoords2 = 64;
    static const UInt16 MapTexCoords3 = 128;
    static const UInt16 MapTexCoords4 = 256;
    static const UInt16 MapTexCoords5 = 512;
    static const UInt16 MapTexCoords6 = 1024;
    static const UInt16 MapTexCoords7 = 2048;
    static const UInt16 MapEmpty = 4096;

    // -- Fields --

    OSG_SFIELD_LINKED(4, Types, types, GeoPTypesPtr)
    OSG_SFIELD_LINKED(5, Lengths, lengths, GeoPLengthsPtr)
    OSG_SFIELD_LINKED(6, Positions, positions, GeoPositionsPtr)
    OSG_SFIELD_LINKED(7, Normals, normals, GeoNormalsPtr)
    OSG_SFIELD_LINKED(8, Colors, colors, GeoColorsPtr)
    OSG_SFIELD_LINKED(9, SecondaryColors, secondaryColors, GeoColorsPtr)
    OSG_SFIELD_LINKED(10, TexCoords, texCoords, GeoTexCoordsPtr)
    OSG_SFIELD_LINKED(11, TexCoords1, texCoords1, GeoTexCoordsPtr)
    OSG_SFIELD_LINKED(12, TexCoords2, texCoords2, GeoTexCoordsPtr)
    OSG_SFIELD_LINKED(13, TexCoords3, texCoords3, GeoTexCoordsPtr)
    OSG_SFIELD_LINKED(14, TexCoords4, texCoords4, GeoTexCoordsPtr)
    OSG_SFIELD_LINKED(15, TexCoords5, texCoords5, GeoTexCoordsPtr)
    OSG_SFIELD_LINKED(16, TexCoords6, texCoords6, GeoTexCoordsPtr)
    OSG_SFIELD_LINKED(17, TexCoords7, texCoords7, GeoTexCoordsPtr)
    OSG_SFIELD_LINKED(18, Indices, indices, GeoIndicesPtr)
    OSG_MFIELD(19, IndexMapping, indexMapping, UInt16)
    OSG_SFIELD(20, DlistCache, dlistCache, Bool, true)
    OSG_SFIELD_INTERNAL(21, GLId, GLId, Int32, 0)
    OSG_SFIELD_INTERNAL(22, IgnoreGLForAspect, IgnoreGLForAspect, Int32, -1)
    OSG_SFIELD_INTERNAL(23, Minindex, minindex, UInt32, 0)
    OSG_SFIELD_INTERNAL(24, Maxindex, maxindex, UInt32, 0)
    OSG_MFIELD_INTERNAL(25, Lowindices, lowindices, UInt32)
    OSG_MFIELD_INTERNAL(26, Highindices, highindices, UInt32)
    OSG_SFIELD(27, Vbo, vbo, Bool, false)

    /// Place (from 0) of the last entry of the index mapping that contains the attribute's bit; -1 if none
    /// does.
    Int16 calcMappingIndex(UInt16 attribute) const;

    /// New geometry with copies of the properties and the same material; count 0.
    GeometryPtr clone() const;

    /// Name of a primitive type; "Unknown Primitive" for other values.
    static const Char8* mapType(UInt8 type);

    // -- Iteration; see the iterators' headers --

    PrimitiveIterator beginPrimitives() const;
    PrimitiveIterator endPrimitives() const;
    TriangleIterator beginTriangles() const;
    TriangleIterator endTriangles() const;
    FaceIterator beginFaces() const;
    FaceIterator endFaces() const;

    /// The box of all positions, transformed by the drawable's own transform.
    void adjustVolume(Volume& volume) override;
    void changed(BitVector mask, UInt32 origin) override;

protected:
    Geometry() {}
    Geometry(const Geometry&) = default;
};

OSG_END_NAMESPACE
