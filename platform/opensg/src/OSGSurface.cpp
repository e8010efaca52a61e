#include <OpenSG/OSGSurface.h>

OSG_BEGIN_NAMESPACE

OSG_FIELD_CONTAINER_INST(Surface, nullptr)

const BitVector Surface::CurveFieldMask =
    Surface::NumCurvesFieldMask | Surface::KnotLengthsFieldMask | Surface::DimensionsFieldMask |
    Surface::CurveControlPointsFieldMask | Surface::KnotsFieldMask | Surface::CurvesPerLoopFieldMask;
const BitVector Surface::SurfaceFieldMask =
    Surface::DimUFieldMask | Surface::DimVFieldMask | Surface::KnotsUFieldMask | Surface::KnotsVFieldMask |
    Surface::ControlPointsFieldMask | Surface::ErrorFieldMask | Surface::IsDelaunayFieldMask |
    Surface::TextureControlPointsFieldMask;

// -- Trimming curves --------------------------------------------------------------------------

static Pnt3f weighted(const Pnt2f& point)
{
    return Pnt3f(point[0], point[1], 1.f);
}

static const Pnt3f& weighted(const Pnt3f& point)
{
    return point;
}

template <class PointT>
void Surface::appendCurve(UInt32 dim, const std::vector<Real64>& knots, const std::vector<PointT>& cps,
                          bool newloop)
{
    if (std::size_t(dim) + cps.size() + 1 != knots.size()) {
        return;
    }
    checkEdit(CurveFieldMask);
    getKnotLengths().push_back(UInt32(knots.size()));
    getDimensions().push_back(dim);
    for (const Real64 knot : knots) {
        getKnots().push_back(Real32(knot));
    }
    for (const PointT& point : cps) {
        getCurveControlPoints().push_back(weighted(point));
    }
    if (newloop || getCurvesPerLoop().empty()) {
        getCurvesPerLoop().push_back(1);
    } else {
        ++getCurvesPerLoop().back();
    }
    ++getNumCurves();
}

void Surface::addCurve(UInt32 dim, std::vector<Real64>& knots, std::vector<Pnt2f>& cps, bool newloop)
{
    appendCurve(dim, knots, cps, newloop);
}

void Surface::addCurve(UInt32 dim, std::vector<Real64>& knots, std::vector<Pnt3f>& cps, bool newloop)
{
    appendCurve(dim, knots, cps, newloop);
}

void Surface::removeCurves()
{
    if (getNumCurves() == 0) {
        return;
    }
    checkEdit(CurveFieldMask);
    getNumCurves() = 0;
    getKnotLengths().clear();
    getDimensions().clear();
    getCurveControlPoints().clear();
    getKnots().clear();
    getCurvesPerLoop().clear();
}

// -- Copies and volume ------------------------------------------------------------------------

SurfacePtr Surface::clone() const
{
    const SurfacePtr copy = SurfacePtr::dcast(shallowCopy());
    if (getTransform()) {
        copy->setTransform(Transform3DPtr::dcast(getTransform()->shallowCopy()));
    }
    return copy;
}

void Surface::adjustVolume(Volume& volume)
{
    const GeoPositionsPtr& points = getControlPoints();
    if (!points) {
        return;
    }
    BoxVolume box;
    if (const GeoPositions4fPtr homogeneous = GeoPositions4fPtr::dcast(points)) {
        for (const Pnt4f& point : homogeneous->getField()) {
            if (point[3] != 0) {
                box.extendBy(Pnt3f(point[0] / point[3], point[1] / point[3], point[2] / point[3]));
            }
        }
    } else {
        for (UInt32 i = 0; i < points->getSize(); ++i) {
            box.extendBy(points->getValue(i));
        }
    }
    if (getTransform()) {
        box.transform(getTransform()->getMatrix());
    }
    volume.extendBy(box);
}

void Surface::changed(BitVector mask, UInt32 origin)
{
    const BitVector manner = ErrorFieldMask | IsDelaunayFieldMask;
    if (mask & (CurveFieldMask | (SurfaceFieldMask & ~manner))) {
        getDirtyMask() |= 1;
    } else if (mask & manner) {
        getDirtyMask() |= 2;
    }
    const BitVector shape =
        DimUFieldMask | DimVFieldMask | KnotsUFieldMask | KnotsVFieldMask | ControlPointsFieldMask;
    if (mask & shape) {
        invalidateVolume();
    }
    Inherited::changed(mask, origin);
}

OSG_END_NAMESPACE
