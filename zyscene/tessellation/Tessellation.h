#pragma once

#include <OpenSG/OSGSurface.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace zyscene
{

/// How closely surfaces are drawn.
struct TessellationOptions {
    /// How far triangles may be off the surface, in parts of the diagonal of the box of its control points.
    double tolerance = 1e-3;
    /// Steps are made larger, and the tolerance is not kept, where there would be more cells than this; but
    /// each span between knots is a cell at least.
    std::size_t maxCells = std::size_t(1) << 18;
};

/// The limits of TessellationOptions::tolerance.
constexpr double minTessellationTolerance = 1e-6;
constexpr double maxTessellationTolerance = 1;

/// A surface as triangles.
struct SurfaceMesh {
    std::vector<std::array<float, 3>> positions;
    std::vector<std::array<float, 3>> normals;    ///< of length 1, along dS/du x dS/dv
    std::vector<std::array<float, 2>> parameters; ///< u and v as they are in the domain
    std::array<double, 4> domain{};               ///< lowest u and v, highest u and v
    std::vector<std::uint32_t> corners;           ///< three for each triangle, counter-clockwise seen from
                                                  ///< where the normals point to; some may have no area
    bool coarse = false;                          ///< the tolerance is not kept

    std::size_t triangleCount() const { return corners.size() / 3; }
};

/// Makes triangles of a surface, trimmed by its loops.
///
/// A grid in the parameter plane goes through all knots; its steps follow from bounds of the second
/// derivatives, so that no triangle is farther off than the tolerance. Loops are cut out of its cells. Where
/// knots are repeated as often as the degree says there may be an edge: vertices are doubled there. What lies
/// in an odd number of loops is drawn: left of loops of which the outer ones go counter-clockwise and the
/// inner ones clockwise. Trimming curves are used as the import makes them: their points are not multiplied
/// by their weights. The same surface gives the same triangles.
///
/// Time and memory are linear in what the surface holds and in the cells. Damaged surfaces are refused
/// before anything is made of them.
///
/// @return why the surface is not drawn; empty: it is
std::string tessellate(const osg::Surface& surface, const TessellationOptions& options, SurfaceMesh& mesh);

/// The number of triangles that tessellate() makes. No vertices are made for it.
/// @return why the surface is not drawn; empty: it is
std::string countTriangles(const osg::Surface& surface, const TessellationOptions& options,
                           std::uint64_t& triangles);

} // namespace zyscene
