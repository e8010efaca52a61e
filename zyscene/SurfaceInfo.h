#pragma once

#include "tessellation/Tessellation.h"

#include <cstdint>
#include <string>

namespace zyscene
{

/// How a surface meets itself in one direction, as far as knots and control points tell: the scene graph does
/// not keep it.
enum class SurfaceForm {
    Open,
    Closed,  ///< the last control points lie on the first ones
    Periodic ///< as many as the degree says do, and the knots repeat
};
/// "open", "closed", "periodic"
const char* nameOf(SurfaceForm form);

struct SurfaceDirection {
    std::uint32_t degree = 0;
    std::uint64_t points = 0; ///< that the knots ask for; 0 when there are too few knots
    SurfaceForm form = SurfaceForm::Open;
};

/// What people want to know about a surface.
struct SurfaceInfo {
    SurfaceDirection u;
    SurfaceDirection v;
    bool rational = false; ///< weights differ
    std::uint32_t trimLoops = 0;
    std::uint32_t trimCurves = 0;
    std::uint64_t triangles = 0;
    std::string problem; ///< why it is not drawn; empty: it is

    /// "degree 3 x 2, 4 x 9 points, closed in v, rational, 2 trim loops, 1024 triangles"
    std::string text() const;
};

SurfaceInfo describeSurface(const osg::Surface& surface, const TessellationOptions& options);

} // namespace zyscene
