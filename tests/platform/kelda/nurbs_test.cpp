#include "kelda_test.h"

#include "kelda/KFnNurbsCurve.h"
#include "kelda/KFnNurbsCurveData.h"
#include "kelda/KFnNurbsSurface.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>

using ::testing::ElementsAre;

namespace
{

constexpr double kPi = 3.141592653589793;
using Surface = KFnNurbsSurface;
using Curve = KFnNurbsCurve;

KDoubleArray numbers(std::initializer_list<double> values)
{
    return KDoubleArray(values.begin(), static_cast<unsigned>(values.size()));
}

/// Value of the i-th basis function by its recursive definition. Knots with one more at either end.
double basis(const std::vector<double>& t, size_t i, size_t degree, double at)
{
    if (degree == 0)
        return t[i] <= at && at < t[i + 1] ? 1 : 0;
    const double left = t[i + degree] - t[i];
    const double right = t[i + degree + 1] - t[i + 1];
    return (left > 0 ? (at - t[i]) / left * basis(t, i, degree - 1, at) : 0) +
           (right > 0 ? (t[i + degree + 1] - at) / right * basis(t, i + 1, degree - 1, at) : 0);
}

std::vector<double> withEnds(const KDoubleArray& knots)
{
    std::vector<double> t{knots[0] - 1};
    t.insert(t.end(), knots.data(), knots.data() + knots.length());
    t.push_back(t.back() + 1);
    return t;
}

/// The point by the definition: the weighted sum over all CVs.
KPoint pointOf(const Surface& surface, double u, double v)
{
    KDoubleArray knotsU, knotsV;
    surface.getKnotsInU(knotsU);
    surface.getKnotsInV(knotsV);
    const std::vector<double> tu = withEnds(knotsU), tv = withEnds(knotsV);
    double x = 0, y = 0, z = 0, w = 0;
    for (int i = 0; i < surface.numCVsInU(); ++i) {
        for (int j = 0; j < surface.numCVsInV(); ++j) {
            KPoint cv;
            surface.getCV(static_cast<unsigned>(i), static_cast<unsigned>(j), cv);
            const double b = cv.w *
                             basis(tu, static_cast<size_t>(i), static_cast<size_t>(surface.degreeU()), u) *
                             basis(tv, static_cast<size_t>(j), static_cast<size_t>(surface.degreeV()), v);
            x += b * cv.x;
            y += b * cv.y;
            z += b * cv.z;
            w += b;
        }
    }
    return KPoint(x / w, y / w, z / w);
}

double distance(const KPoint& a, const KPoint& b)
{
    return std::hypot(std::hypot(a.x - b.x, a.y - b.y), a.z - b.z);
}

} // namespace

class Nurbs : public KeldaTest
{
protected:
    /// A clamped or evenly spaced (then unclamped) knot vector for so many CVs.
    static KDoubleArray knotsFor(unsigned cvs, unsigned degree, bool clamped = true)
    {
        KDoubleArray knots;
        for (unsigned i = 0; i + 1 < cvs + degree; ++i)
            knots.append(!clamped ? i : i < degree ? 0.0 : i + 1 > cvs ? cvs - degree : i + 1 - degree);
        return knots;
    }
    /// CVs on a bumpy sheet, 1 apart.
    static KPointArray sheet(unsigned countU, unsigned countV, bool rational = false)
    {
        KPointArray cvs;
        for (unsigned u = 0; u < countU; ++u)
            for (unsigned v = 0; v < countV; ++v)
                cvs.append(
                    KPoint(u, v, std::sin(3.0 * u + 5.0 * v), rational ? 1 + (u * 7 + v * 3) % 5 * 0.5 : 1));
        return cvs;
    }
    static KStatus make(Surface& surface, unsigned countU = 5, unsigned countV = 4, unsigned degreeU = 3,
                        unsigned degreeV = 2, bool clamped = true, bool rational = false)
    {
        KStatus status;
        surface.create(sheet(countU, countV, rational), knotsFor(countU, degreeU, clamped),
                       knotsFor(countV, degreeV, clamped), degreeU, degreeV, Surface::kOpen, Surface::kOpen,
                       rational, KObject::kNullObj, &status);
        return status;
    }

    /// A plate from 0 to size in both directions, of degree 1, with parameters from 0 to size.
    static Surface plate(double size = 4, bool bend = false)
    {
        KPointArray cvs;
        for (const double u : {0.0, size})
            for (const double v : {0.0, size})
                cvs.append(KPoint(u, v, bend ? u * v : 0));
        Surface surface;
        KStatus status;
        surface.create(cvs, numbers({0, size}), numbers({0, size}), 1, 1, Surface::kOpen, Surface::kOpen,
                       false, KObject::kNullObj, &status);
        EXPECT_EQ(status, KStatus::kSuccess);
        return surface;
    }

    static KObject curve(const KPointArray& cvs, const KDoubleArray& knots, unsigned degree,
                         bool rational = false, Curve::Form form = Curve::kOpen)
    {
        KStatus status;
        const KObject data = KFnNurbsCurveData().create(&status);
        Curve made;
        made.create(cvs, knots, degree, form, true, rational, data, &status);
        EXPECT_EQ(status, KStatus::kSuccess);
        return data;
    }
    /// One curve of degree 1 through the points.
    static KObject line(std::initializer_list<std::pair<double, double>> points)
    {
        KPointArray cvs;
        for (const auto& p : points)
            cvs.append(KPoint(p.first, p.second));
        return curve(cvs, knotsFor(cvs.length(), 1), 1);
    }
    static KObjectArray loop(std::initializer_list<std::pair<double, double>> points)
    {
        KObjectArray curves;
        curves.append(line(points));
        return curves;
    }
    static KObjectArray square(double low, double high)
    {
        return loop({{low, low}, {high, low}, {high, high}, {low, high}, {low, low}});
    }
    /// A rational circle of degree 2.
    static KObjectArray circle(double u, double v, double radius, bool clockwise = false)
    {
        const double s = std::sqrt(0.5);
        const int around[9][2] = {{1, 0},   {1, 1},  {0, 1},  {-1, 1}, {-1, 0},
                                  {-1, -1}, {0, -1}, {1, -1}, {1, 0}};
        KPointArray cvs;
        for (int i = 0; i < 9; ++i)
            cvs.append(KPoint(u + radius * around[i][0], v + (clockwise ? -radius : radius) * around[i][1], 0,
                              i % 2 ? s : 1));
        KObjectArray curves;
        curves.append(curve(cvs, numbers({0, 0, 1, 1, 2, 2, 3, 3, 4, 4}), 2, true));
        return curves;
    }
    static KTrimBoundaryArray boundaries(std::initializer_list<KObjectArray> loops)
    {
        KTrimBoundaryArray all;
        for (const KObjectArray& l : loops)
            all.append(l);
        return all;
    }
    /// Regions as texts of their boundary types: "oi", "o".
    static std::vector<std::string> regionsOf(const Surface& surface)
    {
        std::vector<std::string> regions;
        for (int r = 0; r < surface.numRegions(); ++r) {
            regions.emplace_back();
            for (int b = 0; b < surface.numBoundaries(static_cast<unsigned>(r)); ++b)
                regions.back() +=
                    "-oisc"[surface.boundaryType(static_cast<unsigned>(r), static_cast<unsigned>(b))];
        }
        return regions;
    }
    static std::vector<std::string> trimmed(std::initializer_list<KObjectArray> loops)
    {
        Surface surface = plate();
        const KStatus status = surface.trimWithBoundaries(boundaries(loops));
        EXPECT_EQ(status == KStatus::kSuccess, surface.isTrimmedSurface());
        return status == KStatus::kSuccess ? regionsOf(surface)
                                           : std::vector<std::string>{status.errorString().str()};
    }
};

// -- Surfaces -------------------------------------------------------------------------------------

TEST_F(Nurbs, aSurfaceAnswersWhatItWasMadeOf)
{
    Surface surface;
    ASSERT_EQ(make(surface, 5, 4, 3, 2, true, true), KStatus::kSuccess);
    EXPECT_EQ(surface.degreeU(), 3);
    EXPECT_EQ(surface.degreeV(), 2);
    EXPECT_EQ(surface.formInU(), Surface::kOpen);
    EXPECT_EQ(surface.formInV(), Surface::kOpen);
    EXPECT_EQ(surface.numCVsInU(), 5);
    EXPECT_EQ(surface.numCVsInV(), 4);
    EXPECT_EQ(surface.numKnotsInU(), 7);
    EXPECT_EQ(surface.numKnotsInV(), 5);
    EXPECT_TRUE(surface.isRational());
    EXPECT_FALSE(surface.isTrimmedSurface());
    EXPECT_EQ(surface.numRegions(), 0);
    KDoubleArray knots;
    ASSERT_EQ(surface.getKnotsInU(knots), KStatus::kSuccess);
    EXPECT_THAT(std::vector<double>(knots.data(), knots.data() + knots.length()),
                ElementsAre(0, 0, 0, 1, 2, 2, 2));
    ASSERT_EQ(surface.getKnotsInV(knots), KStatus::kSuccess);
    EXPECT_THAT(std::vector<double>(knots.data(), knots.data() + knots.length()), ElementsAre(0, 0, 1, 2, 2));
    const KPointArray given = sheet(5, 4, true);
    KPointArray cvs;
    ASSERT_EQ(surface.getCVs(cvs), KStatus::kSuccess);
    ASSERT_EQ(cvs.length(), 20u);
    for (unsigned i = 0; i < 20; ++i) {
        KPoint cv;
        ASSERT_EQ(surface.getCV(i / 4, i % 4, cv, KSpace::kObject), KStatus::kSuccess);
        EXPECT_EQ(cv, given[i]);
        EXPECT_EQ(cvs[i], given[i]);
    }
    KPoint cv(7, 8, 9);
    EXPECT_EQ(surface.getCV(5, 0, cv), KStatus::kIndexOutOfRange);
    EXPECT_EQ(surface.getCV(0, 4, cv), KStatus::kIndexOutOfRange);
    EXPECT_EQ(cv, KPoint(7, 8, 9));
}

TEST_F(Nurbs, aSurfaceStandsBelowItsParentOrATransformOfItsOwn)
{
    Surface surface;
    ASSERT_EQ(make(surface), KStatus::kSuccess);
    EXPECT_EQ(surface.fullPathName(), KString("|transform1|nurbsSurfaceShape1"));
    KFnTransform transform;
    const KObject parent = transform.create();
    const KObject made = surface.create(sheet(2, 2), numbers({0, 1}), numbers({0, 1}), 1, 1, Surface::kOpen,
                                        Surface::kOpen, false, parent);
    EXPECT_EQ(made, surface.object());
    EXPECT_EQ(surface.fullPathName(), KString("|transform2|nurbsSurfaceShape2"));
    KStatus status;
    surface.create(sheet(2, 2), numbers({0, 1}), numbers({0, 1}), 1, 1, Surface::kOpen, Surface::kOpen, false,
                   made, &status);
    EXPECT_EQ(status, KStatus::kInvalidParameter);
    EXPECT_THAT(walk(KItDag::kDepthFirst, KFn::kNurbsSurface),
                ElementsAre("|transform1", "|transform1|nurbsSurfaceShape1", "|transform2",
                            "|transform2|nurbsSurfaceShape2"));
    EXPECT_TRUE(path("|transform1").hasFn(KFn::kNurbsSurface));
    EXPECT_EQ(surface.object().apiType(), KFn::kNurbsSurface);
    EXPECT_TRUE(surface.object().hasFn(KFn::kShape));
    const Surface below(path("|transform1"), &status);
    EXPECT_EQ(status, KStatus::kSuccess);
    EXPECT_EQ(below.fullPathName(), KString("|transform1|nurbsSurfaceShape1"));
    KFnMesh(path("|transform1"), &status);
    EXPECT_EQ(status, KStatus::kInvalidParameter);
    Surface(parent, &status);
    EXPECT_EQ(status, KStatus::kInvalidParameter) << "an object is what it is";
    KFnMesh(path("|transform1|nurbsSurfaceShape1"), &status);
    EXPECT_EQ(status, KStatus::kInvalidParameter);
}

TEST_F(Nurbs, withoutWeightsTheyAreOne)
{
    Surface surface;
    KPointArray cvs = sheet(2, 2);
    cvs[1].w = -3;
    KStatus status;
    surface.create(cvs, numbers({0, 1}), numbers({0, 1}), 1, 1, Surface::kOpen, Surface::kOpen, false,
                   KObject::kNullObj, &status);
    ASSERT_EQ(status, KStatus::kSuccess);
    KPoint cv;
    surface.getCV(0, 1, cv);
    EXPECT_EQ(cv, KPoint(0, 1, cvs[1].z, 1));
}

TEST_F(Nurbs, aSurfaceThatIsNoneIsRefusedAndLeavesNoTrace)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    const KDoubleArray good = numbers({0, 0, 1, 1});
    const auto status = [&](const KPointArray& cvs, const KDoubleArray& knotsU, unsigned degreeU,
                            bool rational = false, int form = Surface::kOpen) {
        Surface surface;
        KStatus s;
        surface.create(cvs, knotsU, good, degreeU, 2, static_cast<Surface::Form>(form), Surface::kOpen,
                       rational, KObject::kNullObj, &s);
        EXPECT_EQ(s.error(), surface.object().isNull());
        return s;
    };
    const KPointArray cvs = sheet(3, 3);
    EXPECT_EQ(status(cvs, good, 2), KStatus::kSuccess);
    EXPECT_EQ(walk().size(), 2u);
    EXPECT_EQ(status(cvs, good, 0), KStatus::kInvalidParameter);
    EXPECT_EQ(status(cvs, good, 16), KStatus::kInvalidParameter);
    EXPECT_EQ(status(cvs, good, 0xffffffffu), KStatus::kInvalidParameter);
    EXPECT_EQ(status(cvs, good, 3), KStatus::kInvalidParameter) << "too few CVs for the degree";
    EXPECT_EQ(status(sheet(3, 2), good, 2), KStatus::kInvalidParameter);
    EXPECT_EQ(status(sheet(4, 3), good, 2), KStatus::kInvalidParameter);
    EXPECT_EQ(status(KPointArray(), good, 2), KStatus::kInvalidParameter);
    EXPECT_EQ(status(cvs, KDoubleArray(), 2), KStatus::kInvalidParameter);
    EXPECT_EQ(status(cvs, numbers({0, 0, 1}), 2), KStatus::kInvalidParameter);
    EXPECT_EQ(status(cvs, numbers({0, 0, 1, 1, 1}), 2), KStatus::kInvalidParameter);
    EXPECT_EQ(status(cvs, numbers({0, 1, 0.5, 1}), 2), KStatus::kInvalidParameter) << "decreasing";
    EXPECT_EQ(status(cvs, numbers({0, 0, 0, 1}), 2), KStatus::kInvalidParameter) << "three equal knots";
    EXPECT_EQ(status(cvs, numbers({0, 0, 0, 0}), 2), KStatus::kInvalidParameter);
    EXPECT_EQ(status(cvs, numbers({0, 0, 1, nan}), 2), KStatus::kInvalidParameter);
    EXPECT_EQ(status(cvs, numbers({-inf, 0, 1, 1}), 2), KStatus::kInvalidParameter);
    EXPECT_EQ(status(cvs, numbers({-1e308, -1e308, 1e308, 1e308}), 2), KStatus::kInvalidParameter);
    EXPECT_EQ(status(cvs, good, 2, false, 0), KStatus::kInvalidParameter);
    EXPECT_EQ(status(cvs, good, 2, false, 4), KStatus::kInvalidParameter);
    EXPECT_EQ(status(cvs, good, 2, false, Surface::kClosed), KStatus::kInvalidParameter)
        << "it does not close";
    EXPECT_EQ(status(cvs, good, 2, false, Surface::kPeriodic), KStatus::kInvalidParameter);
    for (const double weight : {0.0, -1.0, nan, inf}) {
        KPointArray weighted = cvs;
        weighted[4].w = weight;
        EXPECT_EQ(status(weighted, good, 2, true), KStatus::kInvalidParameter) << weight;
    }
    for (const double x : {nan, inf, -inf}) {
        KPointArray broken = cvs;
        broken[8].z = x;
        EXPECT_EQ(status(broken, good, 2), KStatus::kInvalidParameter) << x;
    }
    EXPECT_EQ(walk().size(), 2u);
}

TEST_F(Nurbs, formsAreHeldAgainstCVsAndKnots)
{
    // A tube of degree 3 in u: the last three rows are the first three.
    KPointArray cvs;
    for (unsigned u = 0; u < 8; ++u)
        for (unsigned v = 0; v < 2; ++v)
            cvs.append(KPoint(std::cos(u % 5 * 2 * kPi / 5), std::sin(u % 5 * 2 * kPi / 5), v));
    const KDoubleArray even = knotsFor(8, 3, false);
    const auto status = [&](const KPointArray& points, const KDoubleArray& knots, Surface::Form form) {
        KStatus s;
        Surface surface;
        surface.create(points, knots, numbers({0, 1}), 3, 1, form, Surface::kOpen, false, KObject::kNullObj,
                       &s);
        if (!s.error()) {
            EXPECT_EQ(surface.formInU(), form);
        }
        return s;
    };
    EXPECT_EQ(status(cvs, even, Surface::kPeriodic), KStatus::kSuccess);
    EXPECT_EQ(status(cvs, knotsFor(8, 3), Surface::kPeriodic), KStatus::kInvalidParameter)
        << "knots do not repeat";
    KPointArray open = cvs;
    open[15].x += 0.1;
    EXPECT_EQ(status(open, even, Surface::kPeriodic), KStatus::kInvalidParameter);
    EXPECT_EQ(status(open, even, Surface::kOpen), KStatus::kSuccess);
    KPointArray closed = open;
    closed[14] = closed[0];
    closed[15] = closed[1];
    EXPECT_EQ(status(closed, knotsFor(8, 3), Surface::kClosed), KStatus::kSuccess);
    EXPECT_EQ(status(open, knotsFor(8, 3), Surface::kClosed), KStatus::kInvalidParameter);
    // The same in v.
    KPointArray turned;
    for (unsigned v = 0; v < 2; ++v)
        for (unsigned u = 0; u < 8; ++u)
            turned.append(cvs[u * 2 + v]);
    KStatus s;
    Surface surface;
    surface.create(turned, numbers({0, 1}), even, 1, 3, Surface::kOpen, Surface::kPeriodic, false,
                   KObject::kNullObj, &s);
    EXPECT_EQ(s, KStatus::kSuccess);
    EXPECT_EQ(surface.formInV(), Surface::kPeriodic);
    turned[7].y += 0.1;
    surface.create(turned, numbers({0, 1}), even, 1, 3, Surface::kOpen, Surface::kPeriodic, false,
                   KObject::kNullObj, &s);
    EXPECT_EQ(s, KStatus::kInvalidParameter);
}

TEST_F(Nurbs, evenSimpleKnotsInBothDirectionsAreUniform)
{
    Surface surface;
    make(surface, 5, 4, 3, 2, false);
    EXPECT_TRUE(surface.isUniform());
    make(surface, 5, 4, 3, 2, true);
    EXPECT_FALSE(surface.isUniform());
    KStatus status;
    surface.create(sheet(4, 4), knotsFor(4, 3, false), knotsFor(4, 3), 3, 3, Surface::kOpen, Surface::kOpen,
                   false);
    EXPECT_FALSE(surface.isUniform()) << "clamped in v";
    surface.create(sheet(4, 4), knotsFor(4, 3, false), numbers({0, 1, 2, 3, 4.5, 5}), 3, 3, Surface::kOpen,
                   Surface::kOpen, false);
    EXPECT_FALSE(surface.isUniform());
    // As single precision has them.
    KDoubleArray narrow;
    for (int i = 0; i < 6; ++i)
        narrow.append(static_cast<double>(0.1f * static_cast<float>(i)));
    surface.create(sheet(4, 4), narrow, narrow, 3, 3, Surface::kOpen, Surface::kOpen, false);
    EXPECT_TRUE(surface.isUniform());
    EXPECT_FALSE(plate().isUniform()) << "of degree 1";
}

// -- Points ---------------------------------------------------------------------------------------

TEST_F(Nurbs, pointsAreThoseOfTheDefinition)
{
    for (unsigned degree = 1; degree <= 7; ++degree) {
        for (const bool clamped : {true, false}) {
            for (const bool rational : {true, false}) {
                Surface surface;
                ASSERT_EQ(make(surface, degree + 3, 5, degree, 2, clamped, rational), KStatus::kSuccess);
                double u0, u1, v0, v1;
                ASSERT_EQ(surface.getKnotDomain(u0, u1, v0, v1), KStatus::kSuccess);
                for (int i = 0; i < 25; ++i) {
                    const double u = u0 + (u1 - u0) * (i % 5) / 5;
                    const double v = v0 + (v1 - v0) * (i / 5) / 5;
                    KPoint p;
                    ASSERT_EQ(surface.getPointAtParam(u, v, p), KStatus::kSuccess);
                    EXPECT_LT(distance(p, pointOf(surface, u, v)), 1e-12) << degree << " " << u << " " << v;
                }
            }
        }
    }
}

TEST_F(Nurbs, theDomainEndsWhereItsKnotsSay)
{
    Surface surface;
    make(surface, 5, 4, 3, 2, false);
    double u0 = 0, u1 = 0, v0 = 0, v1 = 0;
    ASSERT_EQ(surface.getKnotDomain(u0, u1, v0, v1), KStatus::kSuccess);
    EXPECT_THAT(std::vector<double>({u0, u1, v0, v1}), ElementsAre(2, 4, 1, 3));
    KPoint p(7, 7, 7);
    EXPECT_EQ(surface.getPointAtParam(4.001, 2, p), KStatus::kInvalidParameter);
    EXPECT_EQ(surface.getPointAtParam(3, 0.999, p), KStatus::kInvalidParameter);
    EXPECT_EQ(surface.getPointAtParam(std::nan(""), 2, p), KStatus::kInvalidParameter);
    EXPECT_EQ(p, KPoint(7, 7, 7));
    EXPECT_EQ(surface.getPointAtParam(4, 3, p), KStatus::kSuccess);
    KStatus status;
    surface.normal(5, 2, KSpace::kObject, &status);
    EXPECT_EQ(status, KStatus::kInvalidParameter);
}

TEST_F(Nurbs, cornersOfAClampedSurfaceAreItsCornerCVs)
{
    Surface surface;
    make(surface, 6, 5, 4, 3, true, true);
    const KPointArray cvs = sheet(6, 5, true);
    KPoint p;
    surface.getPointAtParam(0, 0, p);
    EXPECT_LT(distance(p, cvs[0]), 1e-15);
    surface.getPointAtParam(2, 2, p);
    EXPECT_LT(distance(p, cvs[29]), 1e-15);
}

TEST_F(Nurbs, aSphereHasItsNormalsThroughTheMiddleAndAtThePoles)
{
    // Half circles of degree 2, turned round the z axis.
    const double s = std::sqrt(0.5);
    const double profile[5][3] = {{0, -1, 1}, {1, -1, s}, {1, 0, 1}, {1, 1, s}, {0, 1, 1}};
    const double around[9][3] = {{1, 0, 1},   {1, 1, s},  {0, 1, 1},  {-1, 1, s}, {-1, 0, 1},
                                 {-1, -1, s}, {0, -1, 1}, {1, -1, s}, {1, 0, 1}};
    KPointArray cvs;
    for (const auto& a : around)
        for (const auto& p : profile)
            cvs.append(KPoint(2 * a[0] * p[0], 2 * a[1] * p[0], 2 * p[1], a[2] * p[2]));
    Surface surface;
    KStatus status;
    surface.create(cvs, numbers({0, 0, 1, 1, 2, 2, 3, 3, 4, 4}), numbers({0, 0, 1, 1, 2, 2}), 2, 2,
                   Surface::kClosed, Surface::kOpen, true, KObject::kNullObj, &status);
    ASSERT_EQ(status, KStatus::kSuccess);
    for (double u = 0; u <= 4; u += 0.3) {
        for (double v = 0; v <= 2; v += 0.25) {
            KPoint p;
            surface.getPointAtParam(u, v, p);
            EXPECT_NEAR(distance(p, KPoint(0, 0, 0)), 2, 1e-14);
            const KVector n = surface.normal(u, v, KSpace::kObject, &status);
            EXPECT_EQ(status, KStatus::kSuccess);
            const bool pole = v == 0 || v == 2;
            EXPECT_NEAR((n.x * p.x + n.y * p.y + n.z * p.z) / 2, 1, pole ? 1e-6 : 1e-14) << u << " " << v;
        }
    }
}

TEST_F(Nurbs, worldSpaceFollowsThePath)
{
    Surface surface = plate(1);
    KFnTransform transform(path("|transform1"));
    const double scale[3] = {2, 1, 1};
    transform.setScale(scale);
    transform.setTranslation(KVector(0, 0, 5), KSpace::kTransform);
    KPoint p;
    EXPECT_EQ(surface.getPointAtParam(1, 1, p, KSpace::kWorld), KStatus::kInvalidParameter) << "no path";
    Surface placed(path("|transform1|nurbsSurfaceShape1"));
    EXPECT_EQ(placed.getPointAtParam(1, 1, p, KSpace::kWorld), KStatus::kSuccess);
    EXPECT_EQ(p, KPoint(2, 1, 5));
    EXPECT_EQ(placed.getCV(1, 0, p, KSpace::kWorld), KStatus::kSuccess);
    EXPECT_EQ(p, KPoint(2, 0, 5));
    EXPECT_EQ(placed.getCV(1, 0, p, KSpace::kObject), KStatus::kSuccess);
    EXPECT_EQ(p, KPoint(1, 0, 0));
    EXPECT_EQ(placed.normal(0.5, 0.5, KSpace::kWorld), KVector(0, 0, 1));
}

TEST_F(Nurbs, aSurfaceWithoutContentAnswersNothing)
{
    run("createNode nurbsSurface");
    Surface surface(path("|transform1|nurbsSurfaceShape1"));
    EXPECT_EQ(surface.degreeU(), 0);
    EXPECT_EQ(surface.numCVsInU(), 0);
    EXPECT_EQ(surface.formInU(), Surface::kInvalid);
    EXPECT_FALSE(surface.isUniform());
    EXPECT_FALSE(surface.isTrimmedSurface());
    KDoubleArray knots;
    EXPECT_EQ(surface.getKnotsInU(knots), KStatus::kSuccess);
    EXPECT_EQ(knots.length(), 0u);
    KPoint p;
    EXPECT_EQ(surface.getPointAtParam(0, 0, p), KStatus::kFailure);
    EXPECT_EQ(surface.trimWithBoundaries(boundaries({square(0, 1)})), KStatus::kFailure);
    EXPECT_EQ(surface.getCV(0, 0, p), KStatus::kIndexOutOfRange);
}

// -- Curves ---------------------------------------------------------------------------------------

TEST_F(Nurbs, curveDataLivesOutsideTheSceneAsLongAsItIsHeld)
{
    KStatus status;
    KFnNurbsCurveData fn;
    const KObject data = fn.create(&status);
    ASSERT_EQ(status, KStatus::kSuccess);
    EXPECT_FALSE(data.isNull());
    EXPECT_EQ(data.apiType(), KFn::kNurbsCurveData);
    EXPECT_STREQ(data.apiTypeStr(), "nurbsCurveData");
    EXPECT_TRUE(data.hasFn(KFn::kNurbsCurve));
    EXPECT_FALSE(data.hasFn(KFn::kDagNode));
    EXPECT_EQ(data, fn.object());
    EXPECT_NE(data, KFnNurbsCurveData().create());
    Curve made(data, &status);
    ASSERT_EQ(status, KStatus::kSuccess);
    EXPECT_EQ(made.degree(), 0);
    EXPECT_EQ(made.form(), Curve::kInvalid);
    KPointArray cvs;
    cvs.append(KPoint(0, 0, 9, 1));
    cvs.append(KPoint(0.5, 0.25, 9, 2));
    cvs.append(KPoint(1, 0, 9, 1));
    const KObject owner = made.create(cvs, numbers({0, 0, 3, 3}), 2, Curve::kOpen, true, true, data, &status);
    ASSERT_EQ(status, KStatus::kSuccess);
    EXPECT_EQ(owner, data);
    KFileIO::newFile(true);
    EXPECT_TRUE(walk().empty());
    Curve curve(data, &status);
    ASSERT_EQ(status, KStatus::kSuccess);
    EXPECT_EQ(curve.degree(), 2);
    EXPECT_EQ(curve.form(), Curve::kOpen);
    EXPECT_TRUE(curve.isRational());
    EXPECT_TRUE(curve.is2D());
    EXPECT_EQ(curve.numCVs(), 3);
    EXPECT_EQ(curve.numKnots(), 4);
    EXPECT_EQ(curve.numSpans(), 1);
    KDoubleArray knots;
    ASSERT_EQ(curve.getKnots(knots), KStatus::kSuccess);
    EXPECT_THAT(std::vector<double>(knots.data(), knots.data() + knots.length()), ElementsAre(0, 0, 3, 3));
    EXPECT_EQ(curve.knot(2), 3);
    curve.knot(4, &status);
    EXPECT_EQ(status, KStatus::kIndexOutOfRange);
    KPointArray got;
    ASSERT_EQ(curve.getCVs(got, KSpace::kObject), KStatus::kSuccess);
    EXPECT_EQ(got[1], KPoint(0.5, 0.25, 0, 2)) << "a parameter plane has no z";
    EXPECT_EQ(curve.getCVs(got, KSpace::kWorld), KStatus::kInvalidParameter);
    KPoint p;
    EXPECT_EQ(curve.getCV(3, p), KStatus::kIndexOutOfRange);
    ASSERT_EQ(curve.getCV(1, p), KStatus::kSuccess);
    EXPECT_EQ(p, got[1]);
}

TEST_F(Nurbs, aCurveInTheSceneIsAShape)
{
    KPointArray cvs;
    cvs.append(KPoint(0, 0, 0));
    cvs.append(KPoint(1, 2, 3));
    KStatus status;
    Curve curve;
    const KObject transform =
        curve.create(cvs, numbers({0, 4}), 1, Curve::kOpen, false, false, KObject::kNullObj, &status);
    ASSERT_EQ(status, KStatus::kSuccess);
    EXPECT_TRUE(transform.hasFn(KFn::kTransform));
    EXPECT_EQ(curve.fullPathName(), KString("|transform1|curveShape1"));
    KPoint p;
    ASSERT_EQ(curve.getPointAtParam(1, p), KStatus::kSuccess);
    EXPECT_EQ(p, KPoint(0.25, 0.5, 0.75));
    EXPECT_EQ(curve.getPointAtParam(4.5, p), KStatus::kInvalidParameter);
    double start = 0, end = 0;
    ASSERT_EQ(curve.getKnotDomain(start, end), KStatus::kSuccess);
    EXPECT_EQ(start, 0);
    EXPECT_EQ(end, 4);
    // One that is made in a plane lies in z = 0.
    curve.create(cvs, numbers({0, 4}), 1, Curve::kOpen, true, false, transform, &status);
    ASSERT_EQ(status, KStatus::kSuccess);
    EXPECT_EQ(curve.fullPathName(), KString("|transform1|curveShape2"));
    EXPECT_FALSE(curve.is2D());
    curve.getCV(1, p);
    EXPECT_EQ(p, KPoint(1, 2, 0));
    Curve::Form form = Curve(transform, &status).form();
    EXPECT_EQ(form, Curve::kInvalid);
    EXPECT_EQ(status, KStatus::kInvalidParameter);
}

TEST_F(Nurbs, aCurveThatIsNoneIsRefusedAndDataStaysWhatItWas)
{
    const KObject data = line({{0, 0}, {1, 0}});
    KPointArray cvs;
    for (int i = 0; i < 3; ++i)
        cvs.append(KPoint(i, i, 0));
    Curve curve;
    const auto status = [&](const KDoubleArray& knots, unsigned degree, Curve::Form form = Curve::kOpen,
                            bool rational = false) {
        KStatus s;
        curve.create(cvs, knots, degree, form, true, rational, data, &s);
        return s;
    };
    EXPECT_EQ(status(numbers({0, 0, 1}), 2), KStatus::kInvalidParameter);
    EXPECT_EQ(status(numbers({0, 1, 0, 1}), 2), KStatus::kInvalidParameter);
    EXPECT_EQ(status(numbers({0, 0, 1, 1}), 3), KStatus::kInvalidParameter);
    EXPECT_EQ(status(numbers({0, 0, 1, 1}), 2, Curve::kClosed), KStatus::kInvalidParameter);
    cvs[1].w = 0;
    EXPECT_EQ(status(numbers({0, 0, 1, 1}), 2, Curve::kOpen, true), KStatus::kInvalidParameter);
    EXPECT_EQ(Curve(data).degree(), 1);
    EXPECT_EQ(status(numbers({0, 0, 1, 1}), 2), KStatus::kSuccess);
    EXPECT_EQ(Curve(data).degree(), 2);
}

// -- Trimming -------------------------------------------------------------------------------------

TEST_F(Nurbs, oneBoundaryMakesOneRegion)
{
    EXPECT_THAT(trimmed({square(0, 4)}), ElementsAre("o")) << "along the edges of the domain";
    EXPECT_THAT(trimmed({circle(2, 2, 1)}), ElementsAre("o"));
    EXPECT_THAT(trimmed({circle(2, 2, 1, true)}), ElementsAre("o")) << "whatever its direction";
    EXPECT_THAT(trimmed({circle(2, 2, 2)}), ElementsAre("o")) << "touching the edges";
}

TEST_F(Nurbs, boundariesAreSortedIntoRegions)
{
    EXPECT_THAT(trimmed({square(0, 4), circle(2, 2, 1, true)}), ElementsAre("oi"));
    EXPECT_THAT(trimmed({circle(2, 2, 1), square(0, 4)}), ElementsAre("oi")) << "in any order";
    EXPECT_THAT(trimmed({square(0, 4), circle(1, 1, 0.5), circle(3, 3, 0.5)}), ElementsAre("oii"));
    EXPECT_THAT(trimmed({circle(1, 1, 0.5), circle(3, 3, 0.5)}), ElementsAre("o", "o"));
    EXPECT_THAT(trimmed({square(0, 4), square(1, 3), square(1.5, 2.5), square(1.8, 2.2)}),
                ElementsAre("oi", "oi"));
    EXPECT_THAT(
        trimmed({square(1.5, 2.5), circle(0.5, 0.5, 0.1), square(0, 4), square(1, 3), circle(2, 2, 0.1)}),
        ElementsAre("oi", "oii"));
}

TEST_F(Nurbs, boundariesMayTouch)
{
    const KObjectArray left = loop({{0, 0}, {2, 0}, {3, 4}, {0, 4}, {0, 0}});
    const KObjectArray right = loop({{2, 0}, {4, 0}, {4, 4}, {3, 4}, {2, 0}});
    EXPECT_THAT(trimmed({left, right}), ElementsAre("o", "o")) << "a whole edge in common";
    EXPECT_THAT(trimmed({right, left}), ElementsAre("o", "o"));
    EXPECT_THAT(trimmed({square(0, 2), square(2, 4)}), ElementsAre("o", "o")) << "a corner in common";
    EXPECT_THAT(trimmed({square(0, 4), loop({{0, 0}, {1, 1}, {0, 1}, {0, 0}})}), ElementsAre("oi"));
    EXPECT_THAT(trimmed({circle(1, 1, 1), circle(3, 1, 1)}), ElementsAre("o", "o"));
    EXPECT_THAT(trimmed({circle(2, 2, 2), circle(1, 2, 1)}), ElementsAre("oi")) << "from inside";
}

TEST_F(Nurbs, curvesOfALoopJoinWithinTheTolerance)
{
    const auto twoCurves = [](double gap) {
        KObjectArray curves;
        curves.append(line({{1, 1}, {3, 1}}));
        curves.append(line({{3, 1 + gap}, {3, 3}, {1, 1}}));
        return curves;
    };
    EXPECT_THAT(trimmed({twoCurves(0)}), ElementsAre("o"));
    EXPECT_THAT(trimmed({twoCurves(0.0009)}), ElementsAre("o")) << "a thousandth in space";
    EXPECT_THAT(trimmed({twoCurves(0.01)}), ElementsAre("Failure"));
    Surface surface = plate();
    EXPECT_EQ(surface.trimWithBoundaries(boundaries({twoCurves(0.01)}), false, 0.02, 1e-5),
              KStatus::kSuccess);
    EXPECT_EQ(surface.trimWithBoundaries(boundaries({twoCurves(0.01)}), false, 1e-6, 0.01),
              KStatus::kSuccess);
    EXPECT_EQ(surface.trimWithBoundaries(boundaries({twoCurves(0.01)}), false, 1e-6, 1e-4),
              KStatus::kFailure);
}

TEST_F(Nurbs, boundariesThatBoundNothingAreRefused)
{
    const std::vector<std::string> refused{"Failure"};
    EXPECT_EQ(trimmed({loop({{1, 1}, {3, 1}, {3, 3}, {1, 3}})}), refused) << "open";
    KObjectArray backwards;
    backwards.append(line({{1, 1}, {3, 1}}));
    backwards.append(line({{1, 3}, {3, 1}}));
    backwards.append(line({{1, 3}, {1, 1}}));
    EXPECT_EQ(trimmed({backwards}), refused) << "the second curve runs the other way";
    EXPECT_EQ(trimmed({loop({{1, 1}, {5, 1}, {1, 3}, {1, 1}})}), refused) << "leaves the domain";
    EXPECT_EQ(trimmed({circle(2, 2, 2.01)}), refused) << "leaves it between its CVs";
    EXPECT_EQ(trimmed({loop({{1, 1}, {3, 3}, {1, 1}})}), refused) << "encloses nothing";
    EXPECT_EQ(trimmed({loop({{1, 1}, {3, 3}, {3, 1}, {1, 3}, {1, 1}})}), refused) << "a bow tie";
    EXPECT_EQ(trimmed({loop({{1, 1}, {2, 2}, {3, 3}, {3, 1.5}, {2, 2}, {1, 2.5}, {1, 1}})}), refused)
        << "a bow tie whose knot is a corner of both";
    EXPECT_EQ(trimmed({loop({{1, 1}, {3, 3}, {3, 1.5}, {2, 2}, {1, 2.5}, {1, 1}})}), refused)
        << "a bow tie whose knot is a corner of one";
    EXPECT_EQ(trimmed({circle(1.5, 2, 1), circle(2.5, 2, 1)}), refused) << "two that overlap";
    EXPECT_EQ(trimmed({square(1, 3), square(2, 3.5)}), refused);
    EXPECT_EQ(trimmed({square(0, 4), loop({{1, 1}, {3, 1}, {1, 3}, {1, 1}}), square(1.2, 3)}), refused);
}

TEST_F(Nurbs, aFigureOfEightIsRefusedHoweverItIsSpelt)
{
    for (const double skew : {0.0, 0.1, 0.37}) {
        KPointArray cvs;
        const double points[][2] = {{2, 2}, {4, 4}, {4, 0}, {2, 2}, {0, 4}, {0, 0}, {2, 2}};
        for (const auto& p : points)
            cvs.append(KPoint(p[0], p[1] * (1 - skew) + p[0] * skew));
        KObjectArray curves;
        curves.append(curve(cvs, numbers({0, 0, 0, 1, 1, 1, 2, 2, 2}), 3));
        EXPECT_THAT(trimmed({curves}), ElementsAre("Failure")) << skew;
    }
}

TEST_F(Nurbs, whatIsNoBoundaryIsAnInvalidParameter)
{
    Surface surface = plate();
    EXPECT_EQ(surface.trimWithBoundaries(KTrimBoundaryArray()), KStatus::kInvalidParameter);
    EXPECT_EQ(surface.trimWithBoundaries(boundaries({KObjectArray()})), KStatus::kInvalidParameter);
    KObjectArray curves;
    curves.append(KObject());
    EXPECT_EQ(surface.trimWithBoundaries(boundaries({curves})), KStatus::kInvalidParameter);
    curves[0] = surface.object();
    EXPECT_EQ(surface.trimWithBoundaries(boundaries({curves})), KStatus::kInvalidParameter);
    curves[0] = KFnNurbsCurveData().create();
    EXPECT_EQ(surface.trimWithBoundaries(boundaries({curves})), KStatus::kInvalidParameter)
        << "nothing made yet";
    KPointArray cvs(5);
    Curve().create(cvs, numbers({0, 1, 2, 3, 4}), 1, Curve::kOpen, false, false, curves[0]);
    EXPECT_EQ(surface.trimWithBoundaries(boundaries({curves})), KStatus::kInvalidParameter)
        << "a curve in space";
    for (const double tolerance : {0.0, -1.0, std::nan("")}) {
        EXPECT_EQ(surface.trimWithBoundaries(boundaries({square(1, 2)}), false, tolerance),
                  KStatus::kInvalidParameter);
        EXPECT_EQ(surface.trimWithBoundaries(boundaries({square(1, 2)}), false, 1e-3, tolerance),
                  KStatus::kInvalidParameter);
    }
    EXPECT_FALSE(surface.isTrimmedSurface());
}

TEST_F(Nurbs, boundariesComeBackAsTheyWereGiven)
{
    Surface surface = plate();
    ASSERT_EQ(surface.trimWithBoundaries(boundaries({circle(2, 2, 1, true), square(0, 4)})),
              KStatus::kSuccess);
    KTrimBoundaryArray got;
    ASSERT_EQ(surface.getTrimBoundaries(got, 0, true), KStatus::kSuccess);
    ASSERT_EQ(got.length(), 2u);
    ASSERT_EQ(got[0].length(), 1u);
    KStatus status;
    Curve outer(got[0][0], &status);
    ASSERT_EQ(status, KStatus::kSuccess);
    EXPECT_EQ(outer.degree(), 1);
    EXPECT_EQ(outer.numCVs(), 5);
    EXPECT_FALSE(outer.isRational());
    Curve inner(got[1][0], &status);
    EXPECT_EQ(inner.degree(), 2);
    EXPECT_TRUE(inner.isRational());
    KPointArray cvs;
    inner.getCVs(cvs);
    EXPECT_EQ(cvs[1], KPoint(3, 1, 0, std::sqrt(0.5))) << "still clockwise";
    KDoubleArray knots;
    inner.getKnots(knots);
    EXPECT_THAT(std::vector<double>(knots.data(), knots.data() + knots.length()),
                ElementsAre(0, 0, 1, 1, 2, 2, 3, 3, 4, 4));
    // What is handed out is a copy.
    inner.create(cvs, knots, 2, Curve::kOpen, true, false, got[1][0]);
    surface.getTrimBoundaries(got, 0, true);
    EXPECT_TRUE(Curve(got[1][0]).isRational());
    EXPECT_EQ(surface.getTrimBoundaries(got, 0, false), KStatus::kNotImplemented);
    EXPECT_EQ(surface.getTrimBoundaries(got, 1, true), KStatus::kIndexOutOfRange);
    EXPECT_EQ(got.length(), 2u);
    EXPECT_EQ(surface.boundaryType(0, 2, &status), Surface::kInvalidBoundary);
    EXPECT_EQ(status, KStatus::kIndexOutOfRange);
    EXPECT_EQ(surface.boundaryType(1, 0), Surface::kInvalidBoundary);
    EXPECT_EQ(surface.numBoundaries(1, &status), 0);
    EXPECT_EQ(status, KStatus::kIndexOutOfRange);
}

TEST_F(Nurbs, trimmingAnewReplacesAndFailingKeeps)
{
    Surface surface = plate();
    ASSERT_EQ(surface.trimWithBoundaries(boundaries({square(0, 4), square(1, 2)})), KStatus::kSuccess);
    ASSERT_EQ(surface.trimWithBoundaries(boundaries({square(1, 2), square(3, 4)})), KStatus::kSuccess);
    EXPECT_THAT(regionsOf(surface), ElementsAre("o", "o"));
    EXPECT_EQ(surface.trimWithBoundaries(boundaries({square(1, 3), square(2, 4)})), KStatus::kFailure);
    EXPECT_THAT(regionsOf(surface), ElementsAre("o", "o"));
    EXPECT_EQ(surface.untrim(), KStatus::kSuccess);
    EXPECT_FALSE(surface.isTrimmedSurface());
    EXPECT_EQ(surface.numRegions(), 0);
}

TEST_F(Nurbs, trimmingCanTurnTheNormalsRound)
{
    Surface surface = plate();
    EXPECT_EQ(surface.normal(1, 1), KVector(0, 0, 1));
    ASSERT_EQ(surface.trimWithBoundaries(boundaries({square(0, 4)}), true), KStatus::kSuccess);
    EXPECT_EQ(surface.normal(1, 1), KVector(0, 0, -1));
    ASSERT_EQ(surface.trimWithBoundaries(boundaries({square(0, 4)}), false), KStatus::kSuccess);
    EXPECT_EQ(surface.normal(1, 1), KVector(0, 0, -1));
}

TEST_F(Nurbs, ringsInRingsAndManyBoundariesTakeLittleTime)
{
    Surface surface = plate(1000);
    KTrimBoundaryArray all;
    for (int i = 0; i < 200; ++i) // nested
        all.append(square(i + 0.0, 500.0 - i));
    for (int i = 0; i < 2000; ++i) // side by side
        all.append(circle(600.0 + (i % 50) * 8, 10.0 + (i / 50) * 24, 3));
    ASSERT_EQ(surface.trimWithBoundaries(all), KStatus::kSuccess);
    EXPECT_EQ(surface.numRegions(), 2100);
    EXPECT_EQ(surface.numBoundaries(0), 2);
    EXPECT_EQ(surface.numBoundaries(99), 2);
    EXPECT_EQ(surface.numBoundaries(2099), 1);
}

// -- In the scene ---------------------------------------------------------------------------------

TEST_F(Nurbs, copiesAndInstancesKeepSurfaceAndTrimming)
{
    Surface surface = plate();
    surface.trimWithBoundaries(boundaries({square(0, 4), circle(2, 2, 1)}));
    run("sets -renderable true -name g -empty; sets -e -fe g nurbsSurfaceShape1");
    KStatus status;
    const KObject instance = surface.duplicate(true, true, &status);
    ASSERT_EQ(status, KStatus::kSuccess);
    EXPECT_TRUE(surface.isInstanced());
    EXPECT_EQ(KFnDagNode(instance).child(0), surface.object());
    KObjectArray sets, members;
    surface.getConnectedSetsAndMembers(1, sets, members, true);
    EXPECT_EQ(sets.length(), 1u);
    EXPECT_TRUE(members[0].isNull());
    const KObject copy = surface.duplicate(false, false, &status);
    ASSERT_EQ(status, KStatus::kSuccess);
    Surface second(KFnDagNode(copy).child(0), &status);
    ASSERT_EQ(status, KStatus::kSuccess);
    EXPECT_NE(second.object(), surface.object());
    surface.untrim();
    EXPECT_THAT(regionsOf(second), ElementsAre("oi"));
    KPoint cv;
    second.getCV(1, 1, cv);
    EXPECT_EQ(cv, KPoint(4, 4, 0));
    EXPECT_EQ(run("delete -constructionHistory -all"), "");
    EXPECT_EQ(second.degreeU(), 1);
    EXPECT_EQ(run("delete \"|transform1|nurbsSurfaceShape1\""), "");
    EXPECT_EQ(surface.degreeU(&status), 0);
    EXPECT_EQ(status, KStatus::kInvalidParameter);
}

TEST_F(Nurbs, everyOperationCanFail)
{
    KStatus s;
    Surface surface;
    expectFailure("KFnNurbsSurface::create", [&] {
        surface.create(sheet(2, 2), numbers({0, 1}), numbers({0, 1}), 1, 1, Surface::kOpen, Surface::kOpen,
                       false, KObject::kNullObj, &s);
        return s;
    });
    EXPECT_EQ(walk().size(), 2u);
    const KDagPath at = path("|transform1|nurbsSurfaceShape1");
    expectFailure("KFnNurbsSurface::KFnNurbsSurface", [&] { return Surface(at, &s), s; });
    KPoint cv;
    KDoubleArray knots;
    expectFailure("KFnNurbsSurface::getCV", [&] { return surface.getCV(0, 0, cv); });
    expectFailure("KFnNurbsSurface::getKnotsInU", [&] { return surface.getKnotsInU(knots); });
    expectFailure("KFnNurbsSurface::getKnotsInV", [&] { return surface.getKnotsInV(knots); });
    const KTrimBoundaryArray all = boundaries({square(0, 1)});
    expectFailure("KFnNurbsSurface::trimWithBoundaries", [&] { return surface.trimWithBoundaries(all); });
    expectFailure("KFnNurbsSurface::boundaryType", [&] { return surface.boundaryType(0, 0, &s), s; });
    KTrimBoundaryArray got;
    expectFailure("KFnNurbsSurface::getTrimBoundaries", [&] { return surface.getTrimBoundaries(got, 0); });
    const KObject data = got[0][0];
    expectFailure("KFnNurbsCurveData::create", [&] { return KFnNurbsCurveData().create(&s), s; });
    expectFailure("KFnNurbsCurve::KFnNurbsCurve", [&] { return Curve(data, &s), s; });
    Curve curve(data);
    KPointArray cvs;
    expectFailure("KFnNurbsCurve::getCVs", [&] { return curve.getCVs(cvs); });
    expectFailure("KFnNurbsCurve::getKnots", [&] { return curve.getKnots(knots); });
    expectFailure("KFnNurbsCurve::create",
                  [&] { return curve.create(cvs, knots, 1, Curve::kOpen, true, false, data, &s), s; });
    // A fault can carry another status.
    KFaults::failCallWith(KStatus::kInsufficientMemory, "KFnNurbsSurface::trimWithBoundaries");
    EXPECT_EQ(surface.trimWithBoundaries(all), KStatus::kInsufficientMemory);
    KFaults::failCall("KFnNurbsSurface::trimWithBoundaries");
    EXPECT_EQ(surface.trimWithBoundaries(all), KStatus::kFailure);
}
