#pragma once

#include "base/PodVector.h"

#include <cstddef>
#include <cstdint>

namespace kelda
{

// Knot vectors hold number of CVs + degree - 1 knots: the two outermost ones of the textbooks have no
// influence on what lies in the domain and are left out. The domain goes from knot degree - 1 to knot (number
// of CVs) - 1.

enum class NurbsForm : int32_t { Open = 1, Closed = 2, Periodic = 3 }; ///< values are in files

constexpr int32_t kMaxDegree = 15;

// -- data -----------------------------------------------------------------------------------------

/// A curve whose arrays somebody else holds.
struct CurveView {
    int32_t degree = 0;
    NurbsForm form = NurbsForm::Open;
    bool rational = false;
    bool planar = false; ///< lies in the parameter plane of a surface: CVs have no z
    const double* knots = nullptr;
    size_t knotCount = 0;
    const double* cvs = nullptr; ///< x, y, z (unless planar), w (if rational) of each; not multiplied by w
    size_t cvCount = 0;

    size_t stride() const { return (planar ? 2u : 3u) + (rational ? 1u : 0u); }
    double start() const { return knots[degree - 1]; }
    double end() const { return knots[cvCount - 1]; }
};

struct CurveData {
    int32_t degree = 0; ///< 0: nothing has been made yet, all arrays are empty
    NurbsForm form = NurbsForm::Open;
    bool rational = false;
    bool planar = false;
    PodVector<double> knots;
    PodVector<double> cvs;

    CurveView view() const
    {
        CurveView v{degree, form, rational, planar, knots.data(), knots.size(), cvs.data(), 0};
        v.cvCount = cvs.size() / v.stride();
        return v;
    }
};

/// What a boundary does in its region; values are in files.
enum class TrimType : int32_t {
    None = 0,
    Outer = 1,        ///< the region lies inside
    Inner = 2,        ///< what lies inside is cut out
    Segment = 3,      ///< an open chain of curves that cuts nothing
    ClosedSegment = 4 ///< a closed one
};

/// The trimming of a surface, flat: as it stands in files. Curves are planar.
struct TrimData {
    static constexpr size_t kBoundaryRow = 3; ///< region, TrimType, number of curves
    static constexpr size_t kCurveRow = 4;    ///< degree, NurbsForm, 1 if rational, number of knots

    double edgeTolerance = 0;      ///< how far apart, in space, ends of curves may lie that belong together
    double paramTolerance = 0;     ///< the same in the parameter plane
    PodVector<int32_t> boundaries; ///< rows; region by region, each region's outer boundary first
    PodVector<int32_t> curves;     ///< rows; boundary by boundary
    PodVector<double> knots;       ///< curve by curve
    PodVector<double> cvs;         ///< curve by curve

    bool empty() const { return boundaries.empty() && curves.empty() && knots.empty() && cvs.empty(); }
    size_t boundaryCount() const { return boundaries.size() / kBoundaryRow; }
    size_t curveCount() const { return curves.size() / kCurveRow; }
    size_t regionCount() const
    {
        return boundaries.empty() ? 0 : static_cast<size_t>(boundaries[boundaries.size() - kBoundaryRow]) + 1;
    }
    TrimType type(size_t boundary) const
    {
        return static_cast<TrimType>(boundaries[boundary * kBoundaryRow + 1]);
    }
};

/// Where the parts of a trimming begin in its arrays.
struct TrimIndex {
    PodVector<size_t> regions;    ///< first boundary of each region, and the number of boundaries
    PodVector<size_t> boundaries; ///< first curve of each boundary, and the number of curves
    PodVector<size_t> knots;      ///< first knot of each curve
    PodVector<size_t> cvs;        ///< first number of each curve's CVs
};

/// Invariants: checkSurface and checkTrims.
struct SurfaceData {
    int32_t degreeU = 0; ///< 0: nothing has been made yet, all arrays are empty
    int32_t degreeV = 0;
    NurbsForm formU = NurbsForm::Open;
    NurbsForm formV = NurbsForm::Open;
    bool rational = false;
    bool flipped = false; ///< normals point to the other side
    PodVector<double> knotsU;
    PodVector<double> knotsV;
    PodVector<double> cvs; ///< x, y, z and, if rational, w of each, v running fastest; not multiplied by w
    TrimData trims;

    size_t stride() const { return rational ? 4 : 3; }
    size_t countU() const { return degreeU > 0 ? knotsU.size() + 1 - static_cast<size_t>(degreeU) : 0; }
    size_t countV() const { return degreeV > 0 ? knotsV.size() + 1 - static_cast<size_t>(degreeV) : 0; }
    double startU() const { return knotsU[static_cast<size_t>(degreeU) - 1]; }
    double endU() const { return knotsU[countU() - 1]; }
    double startV() const { return knotsV[static_cast<size_t>(degreeV) - 1]; }
    double endV() const { return knotsV[countV() - 1]; }

    /// Made on demand; REQUIRES: the trimming has passed its checks.
    const TrimIndex& trimIndex() const;
    CurveView trimCurve(size_t curve) const;
    void trimsChanged() { index = TrimIndex(); }

    mutable TrimIndex index;
};

// -- checks ---------------------------------------------------------------------------------------

// What curves and surfaces must be before they become part of the scene. They take linear time and give null,
// or what is wrong (a static text, no full stop).

const char* checkCurve(const CurveView& curve);
/// Of the surface without its trimming.
const char* checkSurface(const SurfaceData& surface);
/// Of the trimming of a sound surface, as files hold it: everything that sortTrims makes sure of.
const char* checkTrims(const SurfaceData& surface);
/// Checks boundaries that come in any order, regions and types not looked at, and sorts them into regions.
/// Each must be closed, lie in the domain, cross neither itself nor another one, and enclose something. Those
/// that stand inside no other one, or inside an even number of them, are outer boundaries; the others are
/// inner ones of the region that they stand in. Curves stay as they are, direction included.
const char* sortTrims(SurfaceData& surface);

/// All knots are evenly spaced in both directions, and no direction is clamped: of degree 1 every one is that
/// is not periodic.
bool isUniform(const SurfaceData& surface);

// -- points ---------------------------------------------------------------------------------------

/// REQUIRES: sound data, and parameters inside the domain.
void curvePoint(const CurveView& curve, double at, double point[3]);
/// `du`, `dv`: first derivatives; null when not wanted (then both).
void surfacePoint(const SurfaceData& surface, double u, double v, double point[3], double du[3] = nullptr,
                  double dv[3] = nullptr);
/// Of length 1; at a pole that of places near by. Zero where the surface has no area.
void surfaceNormal(const SurfaceData& surface, double u, double v, double normal[3]);

} // namespace kelda
