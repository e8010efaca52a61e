#pragma once

#include <OpenSG/OSGSurface.h>

#include <array>
#include <cstddef>
#include <string>
#include <vector>

namespace zyscene::tessellation
{

/// The highest degree that is drawn: that of the modeller.
constexpr std::size_t maxDegree = 15;

/// A place in the parameter plane: u, v.
typedef std::array<double, 2> Parameter;

/// x w, y w, z w, w; of trimming curves u w, v w, 0, w.
typedef std::array<double, 4> Homogeneous;

/// Degree and knots of a curve, or of one direction of a surface.
struct KnotVector {
    std::size_t degree = 0;
    std::vector<double> knots;

    std::size_t pointCount() const { return knots.size() - degree - 1; }
    double start() const { return knots[degree]; }
    double end() const { return knots[pointCount()]; }
    /// Spans between different knots of the domain, by the number of their lower knot; in order.
    std::vector<std::size_t> spans() const;
    /// Number of times that the knot which begins the span is there.
    std::size_t multiplicity(std::size_t span) const;
};

/// Values and first derivatives of the basis functions that are not zero in a span, the first of which
/// belongs to point span - degree.
struct Basis {
    std::array<double, maxDegree + 1> values;
    std::array<double, maxDegree + 1> slopes;
};
/// By the recursion of Cox and de Boor. The parameter may lie at either end of the span.
void evaluate(const KnotVector& knots, std::size_t span, double t, Basis& basis);

struct TrimCurve {
    KnotVector knots;
    std::vector<Homogeneous> points;

    Parameter at(std::size_t span, double t) const;
};

/// The curves of a loop, each of which begins where the one before ends.
typedef std::vector<TrimCurve> TrimLoop;

/// A surface whose numbers can be relied on.
struct SurfaceData {
    KnotVector u;
    KnotVector v;
    std::vector<Homogeneous> points; ///< (u, v) at u * v.pointCount() + v
    std::vector<TrimLoop> loops;     ///< none: the surface is whole
    double diagonal = 0;             ///< of the box of the control points

    const Homogeneous& point(std::size_t i, std::size_t k) const { return points[i * v.pointCount() + k]; }
};

/// Reads a surface and checks all of it: that there is what the counts promise; degrees from 1 to maxDegree;
/// knots that are finite, never decrease and are repeated at most as often as the degree says, at the ends
/// once more; points that are finite, with weights above 0; trimming loops that are closed and stay in the
/// domain, each to a thousandth of it.
///
/// @return why the surface cannot be drawn; empty: it can
std::string readSurface(const osg::Surface& surface, SurfaceData& data);

/// How far from each other, in parts of the domain, ends of curves may lie that belong together.
constexpr double joint = 1e-3;

} // namespace zyscene::tessellation
