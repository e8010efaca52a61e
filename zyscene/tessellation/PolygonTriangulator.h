#pragma once

#include "SurfaceData.h"

#include <memory>
#include <vector>

namespace zyscene::tessellation
{

/// Corners in the parameter plane; the last one is followed by the first.
typedef std::vector<Parameter> Polygon;

/// Cuts areas into triangles, by libGLU's polygon tessellator.
class PolygonTriangulator
{
public:
    PolygonTriangulator();
    ~PolygonTriangulator();
    PolygonTriangulator(const PolygonTriangulator&) = delete;
    PolygonTriangulator& operator=(const PolygonTriangulator&) = delete;

    /// The area that an odd number of windings of the polygons encloses, whatever their directions.
    ///
    /// @param corners gets three corners for each triangle, counter-clockwise
    /// @return whether the tessellator could do it
    bool triangulate(const std::vector<Polygon>& polygons, std::vector<Parameter>& corners);

private:
    struct Work;
    std::unique_ptr<Work> _work;
};

} // namespace zyscene::tessellation
