#pragma once

#include <OpenSG/OSGFaceIterator.h>

OSG_BEGIN_NAMESPACE

/// Walks over the triangles of all primitives. Within a primitive, in corners:
///
/// | type                       | triangles                           |
/// |----------------------------|-------------------------------------|
/// | triangles                  | (0,1,2) (3,4,5) ...                 |
/// | triangle strip, quad strip | (0,1,2) (2,1,3) (2,3,4) (4,3,5) ... |
/// | triangle fan, polygon      | (0,1,2) (0,2,3) ...                 |
/// | quads                      | (0,1,2) (0,2,3) (4,5,6) (4,6,7) ... |
///
/// Triangles of strips with two equal position indices are left out, unless they are the first of their
/// primitive.
class OSG_PLATFORM_API TriangleIterator : public PolygonWalk
{
public:
    /// At the end of no geometry.
    TriangleIterator() : PolygonWalk(false) {}
    explicit TriangleIterator(const GeometryPtr& geometry) : PolygonWalk(false) { setGeo(geometry); }
    explicit TriangleIterator(const NodePtr& node) : PolygonWalk(false) { setGeo(node); }

    TriangleIterator& operator++()
    {
        advance();
        return *this;
    }
    /// Corners of the primitive that the triangle is a part of.
    UInt32 getLength() const { return primitive().getLength(); }
};

inline TriangleIterator Geometry::endTriangles() const
{
    TriangleIterator end;
    end._primitive = endPrimitives();
    return end;
}

OSG_END_NAMESPACE
