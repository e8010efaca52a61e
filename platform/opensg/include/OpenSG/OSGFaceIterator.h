#pragma once

#include <OpenSG/OSGPrimitiveIterator.h>

OSG_BEGIN_NAMESPACE

/// Walks over the polygons that primitives are made of; points and lines are skipped. Corners that a
/// primitive lacks to a whole polygon are left out.
class OSG_PLATFORM_API PolygonWalk : public GeoCornerAccess<PolygonWalk>
{
public:
    void setGeo(const GeometryPtr& geometry);
    void setGeo(const NodePtr& node);
    void setToBegin();
    void setToEnd();
    /// Goes to polygon \a index, or to the end.
    void seek(Int32 index);

    bool isAtEnd() const { return _primitive.isAtEnd(); }
    bool operator==(const PolygonWalk& other) const
    {
        return _primitive == other._primitive && (isAtEnd() || _next == other._next);
    }
    bool operator!=(const PolygonWalk& other) const { return !(*this == other); }

    /// Number of the polygon, from 0.
    Int32 getIndex() const { return _index; }
    /// Of the primitive that the polygon is a part of.
    UInt32 getType() const { return _primitive.getType(); }
    const GeometryPtr& getGeometry() const { return _primitive.getGeometry(); }

protected:
    /// \a keepQuads: whether polygons of four corners stay whole; otherwise all are triangles.
    explicit PolygonWalk(bool keepQuads) : _keepQuads(keepQuads) {}

    void advance()
    {
        // Triangles of triangles, what most geometry is made of, without a call.
        if (_primitive.getType() == GL_TRIANGLES && _corners[2] + 3 < _primitive.getLength()) {
            for (UInt32 i = 0; i < 3; ++i) {
                _corners[i] += 3;
            }
            ++_next;
            ++_index;
        } else {
            advanceToNext();
        }
    }
    UInt32 polygonLength() const { return _length; }
    const PrimitiveIterator& primitive() const { return _primitive; }

private:
    template <class IterT>
    friend class GeoCornerAccess;
    friend class Geometry;

    UInt32 corner(Int32 which) const { return _corners[which]; }
    /// Takes the first polygon; the primitive stands at the beginning.
    void start();
    void advanceToNext();
    /// Takes the next polygon of the primitive; false if there is none.
    bool take();
    bool takeOfStrip();
    bool takeTriangle(UInt32 a, UInt32 b, UInt32 c);
    bool takeQuad(UInt32 a, UInt32 b, UInt32 c, UInt32 d);
    bool isDegenerate() const;

    bool _keepQuads;
    PrimitiveIterator _primitive;
    Int32 _index = 0;
    UInt32 _next = 0; ///< polygon of the primitive to be taken next
    UInt32 _length = 0;
    UInt32 _corners[4] = {0, 0, 0, 0}; ///< within the primitive
};

/// Walks over triangles and quads. Quads, quad strips and polygons of four corners give quads, all else
/// triangles as the TriangleIterator does.
class OSG_PLATFORM_API FaceIterator : public PolygonWalk
{
public:
    /// At the end of no geometry.
    FaceIterator() : PolygonWalk(true) {}
    explicit FaceIterator(const GeometryPtr& geometry) : PolygonWalk(true) { setGeo(geometry); }
    explicit FaceIterator(const NodePtr& node) : PolygonWalk(true) { setGeo(node); }

    FaceIterator& operator++()
    {
        advance();
        return *this;
    }
    /// 3 or 4.
    UInt32 getLength() const { return polygonLength(); }
};

inline FaceIterator Geometry::endFaces() const
{
    FaceIterator end;
    end._primitive = endPrimitives();
    return end;
}

OSG_END_NAMESPACE
