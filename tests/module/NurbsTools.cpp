#include "NurbsTools.h"

#include <OpenSG/OSGGeoProperty.h>

#include <kelda/KFnNurbsCurveData.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

// -- surfaces of the modeller ----------------------------------------------------------------------

KDoubleArray knotsOf(const std::vector<double>& values)
{
    return KDoubleArray(values.data(), static_cast<unsigned>(values.size()));
}

std::vector<double> valuesOf(const KDoubleArray& knots)
{
    return std::vector<double>(knots.data(), knots.data() + knots.length());
}

static KPointArray pointsOf(const std::vector<KPoint>& points)
{
    return KPointArray(points.data(), static_cast<unsigned>(points.size()));
}

KeldaSurface bicubic(const std::vector<double>& knots)
{
    KeldaSurface surface;
    surface.knotsU = surface.knotsV = knots;
    for (int u = 0; u < 4; ++u)
        for (int v = 0; v < 4; ++v)
            surface.cvs.emplace_back(u, v, std::sin(2.0 * u + 3.0 * v), 1.0);
    return surface;
}

KeldaSurface keldaPlate(double size)
{
    KeldaSurface surface;
    surface.degreeU = surface.degreeV = 1;
    surface.knotsU = surface.knotsV = {0.0, size};
    for (const double u : {0.0, size})
        for (const double v : {0.0, size})
            surface.cvs.emplace_back(u, v, 0.0, 1.0);
    return surface;
}

KFnNurbsSurface makeSurface(const KeldaSurface& surface, const char* name, const KObject& transform)
{
    KFnNurbsSurface fn;
    KStatus status;
    fn.create(pointsOf(surface.cvs), knotsOf(surface.knotsU), knotsOf(surface.knotsV), surface.degreeU,
              surface.degreeV, surface.formU, surface.formV, surface.rational, transform, &status);
    EXPECT_FALSE(status.error()) << name;
    fn.setName(name);
    return fn;
}

KeldaCurve polyline(const std::vector<std::pair<double, double>>& points)
{
    KeldaCurve curve;
    for (const auto& p : points) {
        curve.knots.push_back(static_cast<double>(curve.knots.size()));
        curve.cvs.emplace_back(p.first, p.second);
    }
    return curve;
}

KeldaCurve squareLoop(double low, double high)
{
    return polyline({{low, low}, {high, low}, {high, high}, {low, high}, {low, low}});
}

KeldaCurve circleLoop(double u, double v, double radius)
{
    static const int around[9][2] = {{1, 0},   {1, 1},  {0, 1},  {-1, 1}, {-1, 0},
                                     {-1, -1}, {0, -1}, {1, -1}, {1, 0}};
    KeldaCurve curve;
    curve.degree = 2;
    curve.rational = true;
    curve.knots = {0, 0, 1, 1, 2, 2, 3, 3, 4, 4};
    for (int i = 0; i < 9; ++i)
        curve.cvs.emplace_back(u + radius * around[i][0], v + radius * around[i][1], 0.0,
                               i % 2 != 0 ? std::sqrt(0.5) : 1.0);
    return curve;
}

KObjectArray boundaryOf(const std::vector<KeldaCurve>& curves)
{
    KObjectArray boundary;
    for (const KeldaCurve& curve : curves) {
        KStatus status;
        const KObject data = KFnNurbsCurveData().create(&status);
        EXPECT_FALSE(status.error());
        KFnNurbsCurve().create(pointsOf(curve.cvs), knotsOf(curve.knots), curve.degree, KFnNurbsCurve::kOpen,
                               true, curve.rational, data, &status);
        EXPECT_FALSE(status.error());
        boundary.append(data);
    }
    return boundary;
}

KStatus trim(KFnNurbsSurface& surface, const std::vector<std::vector<KeldaCurve>>& boundaries)
{
    KTrimBoundaryArray all;
    for (const std::vector<KeldaCurve>& boundary : boundaries)
        all.append(boundaryOf(boundary));
    return surface.trimWithBoundaries(all);
}

// -- surfaces of the scene graph -------------------------------------------------------------------

GraphSurface graphPatch()
{
    GraphSurface surface;
    surface.knotsU = surface.knotsV = {0, 0, 0, 0, 1, 1, 1, 1};
    for (int u = 0; u < 4; ++u)
        for (int v = 0; v < 4; ++v)
            surface.points.emplace_back(static_cast<float>(u), static_cast<float>(v),
                                        std::sin(2.0f * u + 3.0f * v), 1.0f);
    return surface;
}

GraphSurface graphPlate(float size)
{
    GraphSurface surface;
    surface.dimU = surface.dimV = 1;
    surface.knotsU = surface.knotsV = {0, 0, size, size};
    for (const float u : {0.0f, size})
        for (const float v : {0.0f, size})
            surface.points.emplace_back(u, v, 0.0f, 1.0f);
    return surface;
}

GraphCurve graphPolyline(const std::vector<std::pair<float, float>>& points)
{
    GraphCurve curve;
    curve.knots.push_back(0);
    for (const auto& p : points) {
        curve.knots.push_back(static_cast<double>(curve.points.size()));
        curve.points.emplace_back(p.first, p.second, 1.0f);
    }
    curve.knots.push_back(curve.knots.back());
    return curve;
}

osg::SurfacePtr makeSurface(const GraphSurface& surface)
{
    const osg::GeoPositions4fPtr points = osg::GeoPositions4f::create();
    {
        const osg::CPEditor edit(points);
        points->getField().assign(surface.points.begin(), surface.points.end());
    }
    const osg::SurfacePtr core = osg::Surface::create();
    const osg::CPEditor edit(core);
    core->setDimU(surface.dimU);
    core->setDimV(surface.dimV);
    core->getKnotsU().assign(surface.knotsU.begin(), surface.knotsU.end());
    core->getKnotsV().assign(surface.knotsV.begin(), surface.knotsV.end());
    core->setControlPoints(points);
    return core;
}

void addLoop(const osg::SurfacePtr& surface, const std::vector<GraphCurve>& curves)
{
    const osg::CPEditor edit(surface, osg::Surface::CurveFieldMask);
    bool opens = true;
    for (const GraphCurve& curve : curves) {
        std::vector<osg::Real64> knots = curve.knots;
        std::vector<osg::Pnt3f> points = curve.points;
        surface->addCurve(curve.dim, knots, points, opens);
        opens = false;
    }
}

std::vector<float> valuesOf(const osg::MFReal32& field)
{
    return std::vector<float>(field.begin(), field.end());
}

std::vector<osg::UInt32> valuesOf(const osg::MFUInt32& field)
{
    return std::vector<osg::UInt32>(field.begin(), field.end());
}

std::vector<osg::Pnt4f> controlPointsOf(const osg::SurfacePtr& surface)
{
    const osg::GeoPositions4fPtr points = osg::GeoPositions4fPtr::dcast(surface->getControlPoints());
    EXPECT_TRUE(points != osg::NullFC);
    return points != osg::NullFC
               ? std::vector<osg::Pnt4f>(points->getField().begin(), points->getField().end())
               : std::vector<osg::Pnt4f>();
}

namespace
{
template <class Value>
void append(std::string& bits, const Value* values, std::size_t count)
{
    bits += std::to_string(count) + ':';
    bits.append(reinterpret_cast<const char*>(values), count * sizeof(Value));
}
} // namespace

std::string bitsOf(const osg::SurfacePtr& surface)
{
    std::string bits;
    const osg::UInt32 numbers[] = {surface->getDimU(), surface->getDimV(), surface->getNumCurves()};
    append(bits, numbers, 3);
    append(bits, surface->getKnotsU().data(), surface->getKnotsU().size());
    append(bits, surface->getKnotsV().data(), surface->getKnotsV().size());
    const std::vector<osg::Pnt4f> points = controlPointsOf(surface);
    append(bits, points.data(), points.size());
    append(bits, surface->getKnotLengths().data(), surface->getKnotLengths().size());
    append(bits, surface->getDimensions().data(), surface->getDimensions().size());
    append(bits, surface->getCurveControlPoints().data(), surface->getCurveControlPoints().size());
    append(bits, surface->getKnots().data(), surface->getKnots().size());
    append(bits, surface->getCurvesPerLoop().data(), surface->getCurvesPerLoop().size());
    return bits;
}

// -- evaluation ------------------------------------------------------------------------------------

namespace
{
typedef std::array<double, 4> Weighted;

// De Boor's recursion; knots as the scene graph has them.
template <class Knots>
Weighted curveAt(const std::vector<Weighted>& points, const Knots& knots, std::size_t degree, double at)
{
    const auto knot = [&](std::size_t i) { return double(knots[static_cast<osg::UInt32>(i)]); };
    std::size_t span = degree;
    for (std::size_t k = degree; k < points.size(); ++k)
        if (knot(k) < knot(k + 1) && knot(k) <= at)
            span = k;
    std::vector<Weighted> d(points.begin() + static_cast<std::ptrdiff_t>(span - degree),
                            points.begin() + static_cast<std::ptrdiff_t>(span + 1));
    for (std::size_t r = 1; r <= degree; ++r) {
        std::vector<Weighted> next(d.size() - 1);
        for (std::size_t j = 0; j < next.size(); ++j) {
            const std::size_t i = span - degree + r + j;
            const double share = (at - knot(i)) / (knot(i + degree + 1 - r) - knot(i));
            for (std::size_t k = 0; k < 4; ++k)
                next[j][k] = (1 - share) * d[j][k] + share * d[j + 1][k];
        }
        d = next;
    }
    return d[0];
}
} // namespace

Place evaluate(const osg::SurfacePtr& surface, double u, double v)
{
    const std::size_t countV = surface->getKnotsV().size() - surface->getDimV() - 1;
    const std::vector<osg::Pnt4f> stored = controlPointsOf(surface);
    std::vector<Weighted> rows;
    for (std::size_t first = 0; first < stored.size(); first += countV) {
        std::vector<Weighted> row;
        for (std::size_t i = 0; i < countV; ++i)
            row.push_back(
                {stored[first + i][0], stored[first + i][1], stored[first + i][2], stored[first + i][3]});
        rows.push_back(curveAt(row, surface->getKnotsV(), surface->getDimV(), v));
    }
    const Weighted p = curveAt(rows, surface->getKnotsU(), surface->getDimU(), u);
    return {p[0] / p[3], p[1] / p[3], p[2] / p[3]};
}

std::array<double, 2> evaluateCurve(const osg::SurfacePtr& surface, osg::UInt32 curve, double share)
{
    osg::UInt32 point = 0;
    osg::UInt32 first = 0;
    for (osg::UInt32 c = 0; c < curve; ++c) {
        point += surface->getKnotLengths(c) - surface->getDimensions(c) - 1;
        first += surface->getKnotLengths(c);
    }
    const osg::UInt32 degree = surface->getDimensions(curve);
    const osg::UInt32 length = surface->getKnotLengths(curve);
    std::vector<Weighted> points;
    for (osg::UInt32 i = 0; i < length - degree - 1; ++i) {
        const osg::Pnt3f& p = surface->getCurveControlPoints(point + i);
        points.push_back({p[0], p[1], 0.0, p[2]});
    }
    const float* const knots = surface->getKnots().data() + first;
    const double from = knots[degree];
    const double to = knots[length - degree - 1];
    const Weighted p = curveAt(points, knots, degree, from + share * (to - from));
    return {p[0] / p[3], p[1] / p[3]};
}

std::array<double, 4> domainOf(const osg::SurfacePtr& surface)
{
    const osg::MFReal32& u = surface->getKnotsU();
    const osg::MFReal32& v = surface->getKnotsV();
    return {u[surface->getDimU()], u[u.size() - surface->getDimU() - 1], v[surface->getDimV()],
            v[v.size() - surface->getDimV() - 1]};
}

// -- random surfaces -------------------------------------------------------------------------------

namespace
{
unsigned below(std::mt19937& random, unsigned limit)
{
    return static_cast<unsigned>(random() % limit);
}

double between(std::mt19937& random, double low, double high)
{
    return low + (high - low) * static_cast<double>(random() % 100000) / 100000.0;
}

/// Knots as the modeller counts them, with repetitions up to the degree.
std::vector<double> openKnots(std::mt19937& random, unsigned cvs, unsigned degree, bool clamped)
{
    std::vector<double> knots;
    double at = between(random, -3, 3);
    unsigned same = 0;
    for (unsigned i = 0; i + 1 < cvs + degree; ++i) {
        const bool atEnd = clamped && (i < degree || i >= cvs);
        const bool repeats =
            i > 0 && i != cvs - 1 && same < degree && (atEnd || (i != degree && below(random, 4) == 0));
        if (!repeats && i > 0) {
            at += between(random, 0.2, 2);
            same = 0;
        }
        ++same;
        knots.push_back(at);
    }
    return knots;
}

std::vector<double> directionKnots(std::mt19937& random, unsigned cvs, unsigned degree,
                                   KFnNurbsSurface::Form form)
{
    if (form != KFnNurbsSurface::kPeriodic)
        return openKnots(random, cvs, degree, below(random, 3) != 0);
    // Distances repeat after as many spans as there are different CVs.
    const unsigned spans = cvs - degree;
    std::vector<double> distances(spans);
    const bool even = below(random, 2) == 0;
    for (double& distance : distances)
        distance = even ? 1.0 : between(random, 0.25, 2);
    std::vector<double> knots{-1.5};
    while (knots.size() < cvs + degree - 1)
        knots.push_back(knots.back() + distances[(knots.size() - 1) % spans]);
    return knots;
}

KFnNurbsSurface::Form randomForm(std::mt19937& random)
{
    static const KFnNurbsSurface::Form forms[] = {KFnNurbsSurface::kOpen, KFnNurbsSurface::kOpen,
                                                  KFnNurbsSurface::kClosed, KFnNurbsSurface::kPeriodic};
    return forms[below(random, 4)];
}

unsigned repeatedCVs(KFnNurbsSurface::Form form, unsigned degree)
{
    return form == KFnNurbsSurface::kOpen ? 0 : form == KFnNurbsSurface::kClosed ? 1 : degree;
}
} // namespace

KeldaSurface randomKeldaSurface(std::mt19937& random)
{
    KeldaSurface surface;
    surface.degreeU = 1 + below(random, 7);
    surface.degreeV = 1 + below(random, 7);
    surface.formU = randomForm(random);
    surface.formV = randomForm(random);
    surface.rational = below(random, 2) == 0;
    const unsigned countU = 2 * surface.degreeU + 1 + below(random, 4);
    const unsigned countV = 2 * surface.degreeV + 1 + below(random, 4);
    surface.knotsU = directionKnots(random, countU, surface.degreeU, surface.formU);
    surface.knotsV = directionKnots(random, countV, surface.degreeV, surface.formV);
    const unsigned differentU = countU - repeatedCVs(surface.formU, surface.degreeU);
    const unsigned differentV = countV - repeatedCVs(surface.formV, surface.degreeV);
    std::vector<KPoint> cvs;
    for (unsigned i = 0; i < differentU * differentV; ++i)
        cvs.emplace_back(between(random, -10, 10), between(random, -10, 10), between(random, -10, 10),
                         surface.rational ? between(random, 0.2, 5) : 1.0);
    for (unsigned u = 0; u < countU; ++u)
        for (unsigned v = 0; v < countV; ++v)
            surface.cvs.push_back(cvs[u % differentU * differentV + v % differentV]);
    return surface;
}

namespace
{
std::vector<float> graphKnots(std::mt19937& random, unsigned cvs, unsigned degree, bool even)
{
    std::vector<float> knots;
    if (even) {
        for (unsigned i = 0; i < cvs + degree + 1; ++i)
            knots.push_back(static_cast<float>(i));
        return knots;
    }
    const std::vector<double> inner = openKnots(random, cvs, degree, true);
    for (const double knot : inner)
        knots.push_back(static_cast<float>(knot));
    knots.insert(knots.begin(), knots.front());
    knots.push_back(knots.back());
    return knots;
}
} // namespace

GraphSurface randomGraphSurface(std::mt19937& random)
{
    GraphSurface surface;
    const bool even = below(random, 4) == 0;
    // Of degree 1 even knots are clamped ones to the modeller.
    surface.dimU = (even ? 2 : 1) + below(random, even ? 6 : 7);
    surface.dimV = (even ? 2 : 1) + below(random, even ? 6 : 7);
    const unsigned countU = surface.dimU + 1 + below(random, 5);
    const unsigned countV = surface.dimV + 1 + below(random, 5);
    surface.knotsU = graphKnots(random, countU, surface.dimU, even);
    surface.knotsV = graphKnots(random, countV, surface.dimV, even);
    for (unsigned i = 0; i < countU * countV; ++i)
        surface.points.emplace_back(static_cast<float>(between(random, -10, 10)),
                                    static_cast<float>(between(random, -1e6, 1e6)),
                                    static_cast<float>(between(random, -1e-6, 1e-6)), 1.0f);
    return surface;
}

namespace
{
/// A closed curve of any degree around a place: a clamped spline that ends where it begins.
GraphCurve roundLoop(std::mt19937& random, float u, float v, float radiusU, float radiusV)
{
    GraphCurve curve;
    curve.dim = 2 + below(random, 3);
    const unsigned count = 8 + below(random, 6);
    for (unsigned i = 0; i < count; ++i) {
        const float angle = 6.2831853f * static_cast<float>(i % (count - 1)) / static_cast<float>(count - 1);
        curve.points.emplace_back(u + radiusU * std::cos(angle), v + radiusV * std::sin(angle), 1.0f);
    }
    for (unsigned i = 0; i < count + curve.dim + 1; ++i)
        curve.knots.push_back(i <= curve.dim ? 0.0 : i >= count ? count - curve.dim : i - curve.dim);
    return curve;
}
} // namespace

std::vector<std::vector<GraphCurve>> randomLoops(std::mt19937& random, float u0, float u1, float v0, float v1)
{
    std::vector<std::vector<GraphCurve>> loops;
    if (below(random, 3) != 0) {
        // The frame in one curve, or in four.
        if (below(random, 2) == 0)
            loops.push_back({graphPolyline({{u0, v0}, {u1, v0}, {u1, v1}, {u0, v1}, {u0, v0}})});
        else
            loops.push_back({graphPolyline({{u0, v0}, {u1, v0}}), graphPolyline({{u1, v0}, {u1, v1}}),
                             graphPolyline({{u1, v1}, {u0, v1}}), graphPolyline({{u0, v1}, {u0, v0}})});
    }
    const unsigned holes = 1 + below(random, 4);
    const float width = (u1 - u0) / static_cast<float>(holes);
    for (unsigned i = 0; i < holes; ++i) {
        const float u = u0 + width * (static_cast<float>(i) + 0.5f);
        const float v = (v0 + v1) / 2;
        const float radiusU = width * 0.4f;
        const float radiusV = (v1 - v0) * 0.3f;
        if (below(random, 2) == 0)
            loops.push_back({roundLoop(random, u, v, radiusU, radiusV)});
        else
            loops.push_back({graphPolyline({{u - radiusU, v}, {u, v + radiusV}}),
                             graphPolyline({{u, v + radiusV}, {u + radiusU, v}, {u - radiusU, v}})});
    }
    return loops;
}

std::vector<std::vector<KeldaCurve>> keldaLoops(const std::vector<std::vector<GraphCurve>>& loops)
{
    std::vector<std::vector<KeldaCurve>> result;
    for (const std::vector<GraphCurve>& loop : loops) {
        result.emplace_back();
        for (const GraphCurve& curve : loop) {
            KeldaCurve copy;
            copy.degree = curve.dim;
            copy.knots.assign(curve.knots.begin() + 1, curve.knots.end() - 1);
            for (const osg::Pnt3f& p : curve.points)
                copy.cvs.emplace_back(p[0], p[1]);
            result.back().push_back(copy);
        }
    }
    return result;
}
