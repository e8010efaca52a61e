#pragma once

#include <OpenSG/OSGGeometry.h>

#include <vector>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(Surface, GeometryPtr)

/// A trimmed NURBS surface: exact data that whoever draws it tessellates.
///
/// dimU and dimV are degrees. There are countU = knotsU.size() - dimU - 1 control points in u, countV
/// likewise; point (u, v) stands at u * countV + v. GeoPositions4f hold homogeneous points (x w, y w, z w,
/// w), GeoPositions3f those of a polynomial surface.
///
/// Trimming curves lie in the parameter plane and are strung into loops. Curve c has degree dimensions[c],
/// takes knotLengths[c] entries of `knots` and knotLengths[c] - dimensions[c] - 1 entries of
/// `curveControlPoints`, behind those of the curves before it; loop l takes the next curvesPerLoop[l] curves.
/// Third components are weights.
class OSG_PLATFORM_API Surface : public Geometry
{
    OSG_FIELD_CONTAINER(Surface, Geometry)

    // -- Fields --

    OSG_SFIELD(28, DimU, dimU, UInt32, 0)
    OSG_SFIELD(29, DimV, dimV, UInt32, 0)
    OSG_MFIELD(30, KnotsU, knotsU, Real32)
    OSG_MFIELD(31, KnotsV, knotsV, Real32)
    OSG_SFIELD_LINKED(32, ControlPoints, controlPoints, GeoPositionsPtr)
    OSG_SFIELD(33, Error, error, Real32, 0.5f)
    OSG_SFIELD(34, NumCurves, numCurves, UInt32, 0)
    OSG_MFIELD(35, KnotLengths, knotLengths, UInt32)
    OSG_MFIELD(36, Dimensions, dimensions, UInt32)
    OSG_MFIELD(37, CurveControlPoints, curveControlPoints, Pnt3f)
    OSG_MFIELD(38, Knots, knots, Real32)
    OSG_MFIELD(39, CurvesPerLoop, curvesPerLoop, UInt32)
    OSG_SFIELD(40, IsDelaunay, isDelaunay, Bool, false)
    OSG_SFIELD_LINKED(41, TextureControlPoints, textureControlPoints, GeoTexCoordsPtr)
    /// 1: the surface or its trimming changed since it was last tessellated; 2: how it is to be tessellated
    /// did.
    OSG_SFIELD(42, DirtyMask, dirtyMask, UInt32, 0)
    OSG_SFIELD_INTERNAL(43, SurfaceGLId, SurfaceGLId, Int32, 0)

    static const BitVector CurveFieldMask;   ///< the six fields of the trimming curves
    static const BitVector SurfaceFieldMask; ///< degrees, knots, control points and how they are tessellated

    /// Appends a trimming curve of degree \a dim: to the last loop, or as the first of a new one if \a
    /// newloop says so or there is none. Nothing happens when dim + cps.size() + 1 is not knots.size().
    /// Points without a weight get the weight 1.
    void addCurve(UInt32 dim, std::vector<Real64>& knots, std::vector<Pnt2f>& cps, bool newloop = false);
    void addCurve(UInt32 dim, std::vector<Real64>& knots, std::vector<Pnt3f>& cps, bool newloop = false);
    /// Takes all trimming curves away.
    void removeCurves();

    /// New surface with the same values, reference count 0. Control points and all other properties are
    /// shared.
    SurfacePtr clone() const;

    /// The box of all control points (divided by their weights), transformed by the drawable's own transform.
    /// Points of weight 0 have no place and are left out.
    void adjustVolume(Volume& volume) override;
    void changed(BitVector mask, UInt32 origin) override;

protected:
    Surface() {}
    Surface(const Surface&) = default;

private:
    template <class PointT>
    void appendCurve(UInt32 dim, const std::vector<Real64>& knots, const std::vector<PointT>& cps,
                     bool newloop);
};

OSG_END_NAMESPACE
