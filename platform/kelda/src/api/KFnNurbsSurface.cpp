#include "kelda/KFnNurbsSurface.h"

#include "api/Nurbs.h"

#include <cmath>

using namespace kelda;

// -- Attaching ------------------------------------------------------------------------------------

KFnNurbsSurface::KFnNurbsSurface(const KObject& object, KStatus* status)
{
    if (!give(status, enter("KFnNurbsSurface::KFnNurbsSurface")).error())
        give(status, setObject(object));
}

KFnNurbsSurface::KFnNurbsSurface(const KDagPath& path, KStatus* status)
{
    if (!give(status, enter("KFnNurbsSurface::KFnNurbsSurface")).error())
        give(status, setObject(path));
}

KFn::Type KFnNurbsSurface::type() const
{
    return KFn::kNurbsSurface;
}

namespace
{

SurfaceData* dataOf(const KObject& object, KStatus* status)
{
    SurfaceNode* node = attachedNode<SurfaceNode>(object, status);
    return node ? &node->surface : nullptr;
}

/// The same for what needs a surface that has been made.
SurfaceData* surfaceOf(const KObject& object, KStatus& status)
{
    SurfaceData* surface = dataOf(object, &status);
    if (surface && surface->degreeU == 0) {
        status = KStatus::kFailure;
        return nullptr;
    }
    return surface;
}

KPoint cvAt(const SurfaceData& surface, size_t index)
{
    const double* const cv = surface.cvs.data() + index * surface.stride();
    return {cv[0], cv[1], cv[2], surface.rational ? cv[3] : 1.0};
}

bool isInDomain(const SurfaceData& surface, double u, double v)
{
    return u >= surface.startU() && u <= surface.endU() && v >= surface.startV() && v <= surface.endV();
}

} // namespace

void kelda::putCVs(PodVector<double>& out, const KPointArray& cvs, bool planar, bool rational)
{
    out.resize(cvs.length() * ((planar ? size_t(2) : size_t(3)) + (rational ? 1 : 0)));
    double* to = out.data();
    for (const KPoint *cv = cvs.data(), *end = cv + cvs.length(); cv != end; ++cv) {
        *to++ = cv->x;
        *to++ = cv->y;
        if (!planar)
            *to++ = cv->z;
        if (rational)
            *to++ = cv->w;
    }
}

// -- Making ---------------------------------------------------------------------------------------

KObject KFnNurbsSurface::create(const KPointArray& cvs, const KDoubleArray& knotsU,
                                const KDoubleArray& knotsV, unsigned degreeU, unsigned degreeV, Form formU,
                                Form formV, bool rational, const KObject& parent, KStatus* status)
{
    if (give(status, enter("KFnNurbsSurface::create")).error())
        return KObject();
    const DagNode* const above = parent.isNull() ? nullptr : dagOf(parent);
    const auto degree = [](unsigned given) {
        return given > static_cast<unsigned>(kMaxDegree) ? -1 : static_cast<int32_t>(given);
    };
    SurfaceData surface;
    surface.degreeU = degree(degreeU);
    surface.degreeV = degree(degreeV);
    surface.formU = static_cast<NurbsForm>(formU);
    surface.formV = static_cast<NurbsForm>(formV);
    surface.rational = rational;
    surface.knotsU.assign(knotsU.data(), knotsU.data() + knotsU.length());
    surface.knotsV.assign(knotsV.data(), knotsV.data() + knotsV.length());
    putCVs(surface.cvs, cvs, false, rational);
    if (checkSurface(surface) || (above && above->isA(KFn::kShape))) {
        give(status, KStatus(KStatus::kInvalidParameter));
        return KObject();
    }
    KStatus made;
    const KObject object = KFnDagNode::create("nurbsSurface", KString(), parent, &made);
    if (!give(status, made).error())
        static_cast<SurfaceNode*>(nodeOf(_object))->surface = std::move(surface);
    return object;
}

// -- What it is -----------------------------------------------------------------------------------

int KFnNurbsSurface::degreeU(KStatus* status) const
{
    const SurfaceData* surface = dataOf(_object, status);
    return surface ? surface->degreeU : 0;
}

int KFnNurbsSurface::degreeV(KStatus* status) const
{
    const SurfaceData* surface = dataOf(_object, status);
    return surface ? surface->degreeV : 0;
}

KFnNurbsSurface::Form KFnNurbsSurface::formInU(KStatus* status) const
{
    const SurfaceData* surface = dataOf(_object, status);
    return surface && surface->degreeU > 0 ? static_cast<Form>(surface->formU) : kInvalid;
}

KFnNurbsSurface::Form KFnNurbsSurface::formInV(KStatus* status) const
{
    const SurfaceData* surface = dataOf(_object, status);
    return surface && surface->degreeV > 0 ? static_cast<Form>(surface->formV) : kInvalid;
}

int KFnNurbsSurface::numCVsInU(KStatus* status) const
{
    const SurfaceData* surface = dataOf(_object, status);
    return surface ? static_cast<int>(surface->countU()) : 0;
}

int KFnNurbsSurface::numCVsInV(KStatus* status) const
{
    const SurfaceData* surface = dataOf(_object, status);
    return surface ? static_cast<int>(surface->countV()) : 0;
}

int KFnNurbsSurface::numKnotsInU(KStatus* status) const
{
    const SurfaceData* surface = dataOf(_object, status);
    return surface ? static_cast<int>(surface->knotsU.size()) : 0;
}

int KFnNurbsSurface::numKnotsInV(KStatus* status) const
{
    const SurfaceData* surface = dataOf(_object, status);
    return surface ? static_cast<int>(surface->knotsV.size()) : 0;
}

bool KFnNurbsSurface::isRational(KStatus* status) const
{
    const SurfaceData* surface = dataOf(_object, status);
    return surface && surface->rational;
}

bool KFnNurbsSurface::isUniform(KStatus* status) const
{
    const SurfaceData* surface = dataOf(_object, status);
    return surface && kelda::isUniform(*surface);
}

// -- Knots and CVs --------------------------------------------------------------------------------

KStatus KFnNurbsSurface::getKnotsInU(KDoubleArray& knots) const
{
    KStatus status;
    const SurfaceData* surface = dataOf(_object, &status);
    if (!surface)
        return status;
    const KStatus entered = enter("KFnNurbsSurface::getKnotsInU");
    if (!entered.error())
        knots.assign(surface->knotsU.begin(), surface->knotsU.end());
    return entered;
}

KStatus KFnNurbsSurface::getKnotsInV(KDoubleArray& knots) const
{
    KStatus status;
    const SurfaceData* surface = dataOf(_object, &status);
    if (!surface)
        return status;
    const KStatus entered = enter("KFnNurbsSurface::getKnotsInV");
    if (!entered.error())
        knots.assign(surface->knotsV.begin(), surface->knotsV.end());
    return entered;
}

KStatus KFnNurbsSurface::getCV(unsigned u, unsigned v, KPoint& cv, KSpace::Space space) const
{
    KStatus status;
    const SurfaceData* surface = dataOf(_object, &status);
    if (!surface)
        return status;
    const KStatus entered = enter("KFnNurbsSurface::getCV");
    KMatrix matrix;
    if (entered.error() || !spaceMatrix(_path, space, matrix, status))
        return entered.error() ? entered : status;
    if (u >= surface->countU() || v >= surface->countV())
        return KStatus::kIndexOutOfRange;
    cv = placed(cvAt(*surface, u * surface->countV() + v), space, matrix);
    return status;
}

KStatus KFnNurbsSurface::getCVs(KPointArray& cvs, KSpace::Space space) const
{
    KStatus status;
    const SurfaceData* surface = dataOf(_object, &status);
    if (!surface)
        return status;
    const KStatus entered = enter("KFnNurbsSurface::getCVs");
    KMatrix matrix;
    if (entered.error() || !spaceMatrix(_path, space, matrix, status))
        return entered.error() ? entered : status;
    cvs.setLength(static_cast<unsigned>(surface->cvs.size() / surface->stride()));
    for (unsigned i = 0; i < cvs.length(); ++i)
        cvs[i] = placed(cvAt(*surface, i), space, matrix);
    return status;
}

// -- Points ---------------------------------------------------------------------------------------

KStatus KFnNurbsSurface::getKnotDomain(double& startU, double& endU, double& startV, double& endV) const
{
    KStatus status;
    const SurfaceData* surface = surfaceOf(_object, status);
    if (!surface)
        return status;
    startU = surface->startU();
    endU = surface->endU();
    startV = surface->startV();
    endV = surface->endV();
    return status;
}

KStatus KFnNurbsSurface::getPointAtParam(double u, double v, KPoint& point, KSpace::Space space) const
{
    KStatus status;
    const SurfaceData* surface = surfaceOf(_object, status);
    KMatrix matrix;
    if (!surface || !spaceMatrix(_path, space, matrix, status))
        return status;
    if (!isInDomain(*surface, u, v))
        return KStatus::kInvalidParameter;
    double p[3];
    surfacePoint(*surface, u, v, p);
    point = placed(KPoint(p[0], p[1], p[2]), space, matrix);
    return status;
}

KVector KFnNurbsSurface::normal(double u, double v, KSpace::Space space, KStatus* status) const
{
    KStatus found;
    const SurfaceData* surface = surfaceOf(_object, found);
    KMatrix matrix;
    if (surface && spaceMatrix(_path, space, matrix, found) && !isInDomain(*surface, u, v))
        found = KStatus::kInvalidParameter;
    if (give(status, found).error())
        return KVector();
    double n[3];
    surfaceNormal(*surface, u, v, n);
    if (space != KSpace::kWorld)
        return KVector(n);
    // Normals go by the transposed inverse.
    const KVector turned = KVector(n) * matrix.inverse().transpose();
    const double length = turned.length();
    return length > 0 ? turned * (1 / length) : turned;
}

// -- Trimming -------------------------------------------------------------------------------------

namespace
{

/// Appends the curves of a boundary; false when something is no planar curve.
bool addBoundary(TrimData& trims, const KObjectArray& curves)
{
    trims.boundaries.insert(trims.boundaries.end(), {0, 0, static_cast<int32_t>(curves.length())});
    for (unsigned i = 0; i < curves.length(); ++i) {
        const CurveObject* const object = curveObjectOf(curves[i]);
        if (!object || object->curve->degree == 0 || !object->curve->planar)
            return false;
        const CurveData& curve = *object->curve;
        trims.curves.insert(trims.curves.end(),
                            {curve.degree, static_cast<int32_t>(curve.form), curve.rational ? 1 : 0,
                             static_cast<int32_t>(curve.knots.size())});
        trims.knots.insert(trims.knots.end(), curve.knots.begin(), curve.knots.end());
        trims.cvs.insert(trims.cvs.end(), curve.cvs.begin(), curve.cvs.end());
    }
    return curves.length() > 0;
}

bool isTolerance(double value)
{
    return value > 0 && std::isfinite(value);
}

} // namespace

KStatus KFnNurbsSurface::trimWithBoundaries(const KTrimBoundaryArray& boundaries, bool flipNormals,
                                            double edgeTolerance, double paramTolerance, bool)
{
    KStatus status;
    SurfaceData* surface = surfaceOf(_object, status);
    if (!surface)
        return status;
    const KStatus entered = enter("KFnNurbsSurface::trimWithBoundaries");
    if (entered.error())
        return entered;
    if (boundaries.length() == 0 || !isTolerance(edgeTolerance) || !isTolerance(paramTolerance))
        return KStatus::kInvalidParameter;
    TrimData trims;
    trims.edgeTolerance = edgeTolerance;
    trims.paramTolerance = paramTolerance;
    for (unsigned i = 0; i < boundaries.length(); ++i)
        if (!addBoundary(trims, boundaries[i]))
            return KStatus::kInvalidParameter;
    std::swap(surface->trims, trims);
    surface->trimsChanged();
    if (sortTrims(*surface)) {
        std::swap(surface->trims, trims);
        surface->trimsChanged();
        return KStatus::kFailure;
    }
    surface->flipped = surface->flipped != flipNormals;
    return status;
}

KStatus KFnNurbsSurface::untrim()
{
    KStatus status;
    SurfaceData* surface = surfaceOf(_object, status);
    if (!surface)
        return status;
    surface->trims = TrimData();
    surface->trimsChanged();
    return status;
}

bool KFnNurbsSurface::isTrimmedSurface(KStatus* status) const
{
    const SurfaceData* surface = dataOf(_object, status);
    return surface && !surface->trims.empty();
}

int KFnNurbsSurface::numRegions(KStatus* status) const
{
    const SurfaceData* surface = dataOf(_object, status);
    return surface ? static_cast<int>(surface->trims.regionCount()) : 0;
}

namespace
{

/// Whether the surface has the region; if not, the status.
bool hasRegion(const SurfaceData* surface, unsigned region, KStatus* status)
{
    if (surface && region < surface->trims.regionCount())
        return true;
    if (surface)
        give(status, KStatus(KStatus::kIndexOutOfRange));
    return false;
}

} // namespace

int KFnNurbsSurface::numBoundaries(unsigned region, KStatus* status) const
{
    const SurfaceData* surface = dataOf(_object, status);
    if (!hasRegion(surface, region, status))
        return 0;
    const PodVector<size_t>& regions = surface->trimIndex().regions;
    return static_cast<int>(regions[region + 1] - regions[region]);
}

KFnNurbsSurface::BoundaryType KFnNurbsSurface::boundaryType(unsigned region, unsigned boundary,
                                                            KStatus* status) const
{
    const SurfaceData* surface = dataOf(_object, status);
    if (!hasRegion(surface, region, status) || give(status, enter("KFnNurbsSurface::boundaryType")).error())
        return kInvalidBoundary;
    const PodVector<size_t>& regions = surface->trimIndex().regions;
    if (boundary >= regions[region + 1] - regions[region]) {
        give(status, KStatus(KStatus::kIndexOutOfRange));
        return kInvalidBoundary;
    }
    return static_cast<BoundaryType>(surface->trims.type(regions[region] + boundary));
}

KStatus KFnNurbsSurface::getTrimBoundaries(KTrimBoundaryArray& boundaries, unsigned region,
                                           bool paramEdge) const
{
    KStatus status;
    const SurfaceData* surface = dataOf(_object, &status);
    if (!hasRegion(surface, region, &status))
        return status;
    const KStatus entered = enter("KFnNurbsSurface::getTrimBoundaries");
    if (entered.error())
        return entered;
    if (!paramEdge)
        return KStatus::kNotImplemented;
    const TrimIndex& at = surface->trimIndex();
    boundaries.setLength(0);
    for (size_t b = at.regions[region]; b < at.regions[region + 1]; ++b) {
        KObjectArray curves;
        for (size_t c = at.boundaries[b]; c < at.boundaries[b + 1]; ++c) {
            const CurveView view = surface->trimCurve(c);
            const auto curve = std::make_shared<CurveData>();
            curve->degree = view.degree;
            curve->form = view.form;
            curve->rational = view.rational;
            curve->planar = true;
            curve->knots.assign(view.knots, view.knots + view.knotCount);
            curve->cvs.assign(view.cvs, view.cvs + view.cvCount * view.stride());
            curves.append(KObject(std::make_shared<const CurveObject>(curve)));
        }
        boundaries.append(curves);
    }
    return status;
}
