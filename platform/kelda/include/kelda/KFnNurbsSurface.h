#pragma once

#include "kelda/KDoubleArray.h"
#include "kelda/KFnDagNode.h"
#include "kelda/KPointArray.h"
#include "kelda/KTrimBoundaryArray.h"

/// A NURBS surface, whole or trimmed.
///
/// In each direction there are number of CVs + degree - 1 knots, which never decrease; none is repeated more
/// often than the degree says. The domain goes from knot degree - 1 to knot (number of CVs) - 1. CVs are
/// Cartesian, with their weight beside them: not multiplied by it. In a closed direction the last CVs lie on
/// the first ones; in a periodic one as many as the degree says, and the knots repeat.
///
/// A trimmed surface consists of regions. Each has one outer boundary and any number of inner ones, made of
/// curves in the parameter plane; curves keep the direction in which they were given.
class KELDA_API KFnNurbsSurface : public KFnDagNode
{
public:
    enum Form { kInvalid = 0, kOpen = 1, kClosed = 2, kPeriodic = 3 };
    enum BoundaryType {
        kInvalidBoundary = 0,
        kOuter = 1,        ///< the region lies inside
        kInner = 2,        ///< what lies inside is cut out
        kSegment = 3,      ///< an open chain of curves that cuts nothing; only files make these
        kClosedSegment = 4 ///< a closed one
    };

    KFnNurbsSurface() {}
    explicit KFnNurbsSurface(const KObject& object, KStatus* status = nullptr);
    explicit KFnNurbsSurface(const KDagPath& path, KStatus* status = nullptr);
    KFn::Type type() const override;

    /// Makes a surface below the parent, and attaches to it. Without a parent a transform is made for it
    /// below the world, and that transform is answered. CV (u, v) stands at u * number in v + v. The surface
    /// is whole and belongs to no set. Without rational all weights are 1, whatever the CVs say.
    /// kInvalidParameter: a degree below 1 or above 15, counts that do not agree, decreasing or too often
    /// repeated knots, weights that are not above 0, numbers that are not finite, a form that CVs or knots do
    /// not keep.
    KObject create(const KPointArray& cvs, const KDoubleArray& knotsU, const KDoubleArray& knotsV,
                   unsigned degreeU, unsigned degreeV, Form formU, Form formV, bool rational,
                   const KObject& parent = KObject::kNullObj, KStatus* status = nullptr);

    int degreeU(KStatus* status = nullptr) const;
    int degreeV(KStatus* status = nullptr) const;
    Form formInU(KStatus* status = nullptr) const; ///< kInvalid when nothing has been made
    Form formInV(KStatus* status = nullptr) const;
    int numCVsInU(KStatus* status = nullptr) const;
    int numCVsInV(KStatus* status = nullptr) const;
    int numKnotsInU(KStatus* status = nullptr) const;
    int numKnotsInV(KStatus* status = nullptr) const;
    bool isRational(KStatus* status = nullptr) const;
    /// All knots are evenly spaced, to a millionth of their range, in both directions. Repeated end knots are
    /// not; and a direction of degree 1 that is not periodic counts as one with repeated end knots.
    bool isUniform(KStatus* status = nullptr) const;

    KStatus getKnotsInU(KDoubleArray& knots) const;
    KStatus getKnotsInV(KDoubleArray& knots) const;
    /// kWorld transforms by the path attached to; without a path it fails.
    KStatus getCV(unsigned u, unsigned v, KPoint& cv, KSpace::Space space = KSpace::kObject) const;
    KStatus getCVs(KPointArray& cvs, KSpace::Space space = KSpace::kObject) const;

    KStatus getKnotDomain(double& startU, double& endU, double& startV, double& endV) const;
    /// On the whole surface, whatever is trimmed away. kInvalidParameter outside the domain.
    KStatus getPointAtParam(double u, double v, KPoint& point, KSpace::Space space = KSpace::kObject) const;
    /// Of length 1, along dS/du x dS/dv; zero where the surface has no area. The same restrictions.
    KVector normal(double u, double v, KSpace::Space space = KSpace::kObject,
                   KStatus* status = nullptr) const;

    /// Trims the whole surface, in place of any earlier trimming. Boundaries consist of data objects of 2D
    /// curves, each of which begins where the one before ends. They may come in any order and either
    /// direction: those that stand inside an even number of others become outer boundaries, of regions in
    /// that order; the rest become inner ones of the region in which they stand. Ends of curves belong
    /// together when they are no farther apart than paramTolerance in the parameter plane (times the largest
    /// parameter, if that is above 1) or edgeTolerance in space, in centimetres. flipNormals turns the
    /// normals of the surface round. computeFirst has no effect: nothing about a surface waits to be
    /// computed. kFailure: a boundary is open, leaves the domain, crosses itself or another one, or encloses
    /// nothing. kInvalidParameter: there is no boundary, one has no curve, something is no 2D curve, or a
    /// tolerance is not above 0.
    KStatus trimWithBoundaries(const KTrimBoundaryArray& boundaries, bool flipNormals = false,
                               double edgeTolerance = 1e-3, double paramTolerance = 1e-5,
                               bool computeFirst = true);
    KStatus untrim(); ///< makes the surface whole; its normals stay as they are

    bool isTrimmedSurface(KStatus* status = nullptr) const;
    int numRegions(KStatus* status = nullptr) const; ///< 0 for a whole surface
    int numBoundaries(unsigned region, KStatus* status = nullptr) const;
    BoundaryType boundaryType(unsigned region, unsigned boundary, KStatus* status = nullptr) const;
    /// The boundaries of a region, the outer one first. paramEdge: the curves in the parameter plane; those
    /// in space are not to be had (kNotImplemented).
    KStatus getTrimBoundaries(KTrimBoundaryArray& boundaries, unsigned region, bool paramEdge = true) const;
};
