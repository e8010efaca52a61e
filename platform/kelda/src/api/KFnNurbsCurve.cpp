#include "kelda/KFnNurbsCurve.h"

#include "api/Nurbs.h"
#include "kelda/KFnNurbsCurveData.h"

using namespace kelda;

// -- Data without a scene -------------------------------------------------------------------------

KFnNurbsCurveData::KFnNurbsCurveData(const KObject& object, KStatus* status)
{
    if (!give(status, enter("KFnNurbsCurveData::KFnNurbsCurveData")).error())
        give(status, setObject(object));
}

KFn::Type KFnNurbsCurveData::type() const
{
    return KFn::kNurbsCurveData;
}

KObject KFnNurbsCurveData::create(KStatus* status)
{
    if (give(status, enter("KFnNurbsCurveData::create")).error())
        return KObject();
    static const std::shared_ptr<const CurveData> nothing = std::make_shared<CurveData>();
    _object = KObject(std::make_shared<const CurveObject>(nothing));
    return _object;
}

// -- Attaching ------------------------------------------------------------------------------------

KFnNurbsCurve::KFnNurbsCurve(const KObject& object, KStatus* status)
{
    if (!give(status, enter("KFnNurbsCurve::KFnNurbsCurve")).error())
        give(status, setObject(object));
}

KFnNurbsCurve::KFnNurbsCurve(const KDagPath& path, KStatus* status)
{
    if (!give(status, enter("KFnNurbsCurve::KFnNurbsCurve")).error())
        give(status, setObject(path));
}

KFn::Type KFnNurbsCurve::type() const
{
    return KFn::kNurbsCurve;
}

namespace
{

/// The curve of a shape or of a data object; null, and the status, when there is none.
const CurveData* dataOf(const KObject& object, KStatus* status)
{
    if (give(status, enter()).error())
        return nullptr;
    if (const CurveObject* held = curveObjectOf(object))
        return held->curve.get();
    const CurveNode* node = attachedNode<CurveNode>(object, status);
    return node ? &node->curve : nullptr;
}

/// The same for what needs a curve that has been made.
const CurveData* curveOf(const KObject& object, KStatus& status)
{
    const CurveData* curve = dataOf(object, &status);
    if (curve && curve->degree == 0) {
        status = KStatus::kFailure;
        return nullptr;
    }
    return curve;
}

KPoint cvAt(const CurveView& curve, size_t index)
{
    const double* const cv = curve.cvs + index * curve.stride();
    return {cv[0], cv[1], curve.planar ? 0.0 : cv[2], curve.rational ? cv[curve.stride() - 1] : 1.0};
}

} // namespace

// -- Making ---------------------------------------------------------------------------------------

KObject KFnNurbsCurve::create(const KPointArray& cvs, const KDoubleArray& knots, unsigned degree, Form form,
                              bool create2D, bool rational, const KObject& parentOrOwner, KStatus* status)
{
    if (give(status, enter("KFnNurbsCurve::create")).error())
        return KObject();
    const CurveObject* const owner = curveObjectOf(parentOrOwner);
    const DagNode* const above = owner || parentOrOwner.isNull() ? nullptr : dagOf(parentOrOwner);
    CurveData curve;
    curve.degree = degree > static_cast<unsigned>(kMaxDegree) ? -1 : static_cast<int32_t>(degree);
    curve.form = static_cast<NurbsForm>(form);
    curve.rational = rational;
    curve.planar = create2D && owner;
    curve.knots.assign(knots.data(), knots.data() + knots.length());
    putCVs(curve.cvs, cvs, curve.planar, rational);
    for (unsigned i = 0; create2D && !owner && i < cvs.length(); ++i)
        curve.cvs[i * curve.view().stride() + 2] = 0;
    if (checkCurve(curve.view()) || (above && above->isA(KFn::kShape))) {
        give(status, KStatus(KStatus::kInvalidParameter));
        return KObject();
    }
    if (owner) {
        owner->curve = std::make_shared<const CurveData>(std::move(curve));
        _object = parentOrOwner;
        _path = KDagPath();
        return _object;
    }
    KStatus made;
    const KObject object = KFnDagNode::create("nurbsCurve", KString(), parentOrOwner, &made);
    if (!give(status, made).error())
        static_cast<CurveNode*>(nodeOf(_object))->curve = std::move(curve);
    return object;
}

// -- What it is -----------------------------------------------------------------------------------

int KFnNurbsCurve::degree(KStatus* status) const
{
    const CurveData* curve = dataOf(_object, status);
    return curve ? curve->degree : 0;
}

KFnNurbsCurve::Form KFnNurbsCurve::form(KStatus* status) const
{
    const CurveData* curve = dataOf(_object, status);
    return curve && curve->degree > 0 ? static_cast<Form>(curve->form) : kInvalid;
}

bool KFnNurbsCurve::isRational(KStatus* status) const
{
    const CurveData* curve = dataOf(_object, status);
    return curve && curve->rational;
}

bool KFnNurbsCurve::is2D(KStatus* status) const
{
    const CurveData* curve = dataOf(_object, status);
    return curve && curve->planar;
}

int KFnNurbsCurve::numCVs(KStatus* status) const
{
    const CurveData* curve = dataOf(_object, status);
    return curve ? static_cast<int>(curve->view().cvCount) : 0;
}

int KFnNurbsCurve::numSpans(KStatus* status) const
{
    const CurveData* curve = dataOf(_object, status);
    int spans = 0;
    if (!curve)
        return spans;
    const CurveView view = curve->view();
    for (size_t i = static_cast<size_t>(view.degree); i < view.cvCount; ++i)
        spans += view.knots[i - 1] < view.knots[i] ? 1 : 0;
    return spans;
}

int KFnNurbsCurve::numKnots(KStatus* status) const
{
    const CurveData* curve = dataOf(_object, status);
    return curve ? static_cast<int>(curve->knots.size()) : 0;
}

// -- Knots and CVs --------------------------------------------------------------------------------

KStatus KFnNurbsCurve::getKnots(KDoubleArray& knots) const
{
    KStatus status;
    const CurveData* curve = dataOf(_object, &status);
    if (!curve)
        return status;
    const KStatus entered = enter("KFnNurbsCurve::getKnots");
    if (!entered.error())
        knots.assign(curve->knots.begin(), curve->knots.end());
    return entered;
}

double KFnNurbsCurve::knot(unsigned index, KStatus* status) const
{
    const CurveData* curve = dataOf(_object, status);
    if (curve && index < curve->knots.size())
        return curve->knots[index];
    if (curve)
        give(status, KStatus(KStatus::kIndexOutOfRange));
    return 0;
}

KStatus KFnNurbsCurve::getCVs(KPointArray& cvs, KSpace::Space space) const
{
    KStatus status;
    const CurveData* curve = dataOf(_object, &status);
    if (!curve)
        return status;
    const KStatus entered = enter("KFnNurbsCurve::getCVs");
    KMatrix matrix;
    if (entered.error() || !spaceMatrix(_path, space, matrix, status))
        return entered.error() ? entered : status;
    const CurveView view = curve->view();
    cvs.setLength(static_cast<unsigned>(view.cvCount));
    for (unsigned i = 0; i < view.cvCount; ++i)
        cvs[i] = placed(cvAt(view, i), space, matrix);
    return status;
}

KStatus KFnNurbsCurve::getCV(unsigned index, KPoint& cv, KSpace::Space space) const
{
    KStatus status;
    const CurveData* curve = dataOf(_object, &status);
    KMatrix matrix;
    if (!curve || !spaceMatrix(_path, space, matrix, status))
        return status;
    const CurveView view = curve->view();
    if (index >= view.cvCount)
        return KStatus::kIndexOutOfRange;
    cv = placed(cvAt(view, index), space, matrix);
    return status;
}

// -- Points ---------------------------------------------------------------------------------------

KStatus KFnNurbsCurve::getKnotDomain(double& start, double& end) const
{
    KStatus status;
    const CurveData* curve = curveOf(_object, status);
    if (!curve)
        return status;
    start = curve->view().start();
    end = curve->view().end();
    return status;
}

KStatus KFnNurbsCurve::getPointAtParam(double param, KPoint& point, KSpace::Space space) const
{
    KStatus status;
    const CurveData* curve = curveOf(_object, status);
    KMatrix matrix;
    if (!curve || !spaceMatrix(_path, space, matrix, status))
        return status;
    const CurveView view = curve->view();
    if (!(param >= view.start() && param <= view.end()))
        return KStatus::kInvalidParameter;
    double p[3];
    curvePoint(view, param, p);
    point = placed(KPoint(p[0], p[1], p[2]), space, matrix);
    return status;
}
