#pragma once

#include "kelda/KDoubleArray.h"
#include "kelda/KFnDagNode.h"
#include "kelda/KPointArray.h"

/// A NURBS curve: a shape in the DAG, or data that stands in no scene (KFnNurbsCurveData).
///
/// A curve has numCVs() + degree() - 1 knots, which never decrease; none is repeated more than degree()
/// times. Its domain goes from knot degree() - 1 to knot numCVs() - 1. CVs are Cartesian, with their weight
/// beside them: not multiplied by it. A closed curve's last CV lies on the first one, a periodic one's last
/// degree() CVs on the first ones.
class KELDA_API KFnNurbsCurve : public KFnDagNode
{
public:
    enum Form { kInvalid = 0, kOpen = 1, kClosed = 2, kPeriodic = 3 };

    KFnNurbsCurve() {}
    explicit KFnNurbsCurve(const KObject& object, KStatus* status = nullptr);
    explicit KFnNurbsCurve(const KDagPath& path, KStatus* status = nullptr);
    KFn::Type type() const override;

    /// Makes a curve, and attaches to it: below a transform; without a parent below a transform of its own,
    /// which is then answered; or as the content of a data object, in place of what that held. create2D: the
    /// curve lies in the parameter plane of a surface, z is not kept; of shapes, it is 0. Without rational
    /// all weights are 1, whatever the CVs say. kInvalidParameter: a degree below 1 or above 15, counts that
    /// do not agree, decreasing or too often repeated knots, weights that are not above 0, numbers that are
    /// not finite, a form that CVs or knots do not keep.
    KObject create(const KPointArray& cvs, const KDoubleArray& knots, unsigned degree, Form form,
                   bool create2D, bool rational, const KObject& parentOrOwner = KObject::kNullObj,
                   KStatus* status = nullptr);

    int degree(KStatus* status = nullptr) const;
    Form form(KStatus* status = nullptr) const; ///< kInvalid when there is no curve
    bool isRational(KStatus* status = nullptr) const;
    bool is2D(KStatus* status = nullptr) const;
    int numCVs(KStatus* status = nullptr) const;
    int numSpans(KStatus* status = nullptr) const; ///< knot intervals of the domain that have an extent
    int numKnots(KStatus* status = nullptr) const;

    KStatus getKnots(KDoubleArray& knots) const;
    double knot(unsigned index, KStatus* status = nullptr) const;
    /// kWorld transforms by the path attached to; without a path it fails.
    KStatus getCVs(KPointArray& cvs, KSpace::Space space = KSpace::kObject) const;
    KStatus getCV(unsigned index, KPoint& cv, KSpace::Space space = KSpace::kObject) const;

    KStatus getKnotDomain(double& start, double& end) const;
    /// kInvalidParameter outside the domain.
    KStatus getPointAtParam(double param, KPoint& point, KSpace::Space space = KSpace::kObject) const;
};
