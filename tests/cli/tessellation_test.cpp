// Triangles of surfaces whose shapes formulas tell.

#include <tessellation/Tessellation.h>

#include <OpenSG/OSGBaseFunctions.h>
#include <OpenSG/OSGGeoPropPositions.h>

#include <gmock/gmock.h>

#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <utility>
#include <vector>

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using zyscene::SurfaceMesh;
using zyscene::TessellationOptions;

namespace
{
const bool started = osg::osgInit(0, nullptr);
const double pi = std::acos(-1.0);
const double half = std::sqrt(0.5);

// -- Surfaces ----------------------------------------------------------------------------------------

/// A control point of a curve in a plane: x, y and the weight, which they are not multiplied by.
typedef std::array<double, 3> Control;

struct Curve {
    unsigned int degree;
    std::vector<double> knots;
    std::vector<Control> points;
};

Curve line(double ax, double ay, double bx, double by)
{
    return {1, {0, 0, 1, 1}, {{ax, ay, 1}, {bx, by, 1}}};
}

/// Four quarters, from the angle 0 on.
Curve circle(double x, double y, double radius, bool clockwise = false)
{
    const double s = clockwise ? -radius : radius;
    const double r = radius;
    return {2,
            {0, 0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 4},
            {{x + r, y, 1},
             {x + r, y + s, half},
             {x, y + s, 1},
             {x - r, y + s, half},
             {x - r, y, 1},
             {x - r, y - s, half},
             {x, y - s, 1},
             {x + r, y - s, half},
             {x + r, y, 1}}};
}

/// From below (0, -1) over (1, 0) to (0, 1).
Curve halfCircle()
{
    return {2, {0, 0, 0, 1, 1, 2, 2, 2}, {{0, -1, 1}, {1, -1, half}, {1, 0, 1}, {1, 1, half}, {0, 1, 1}}};
}

class SurfaceTessellation : public ::testing::Test
{
protected:
    SurfaceTessellation() : surface(osg::Surface::create()), points(osg::GeoPositions4f::create())
    {
        EXPECT_TRUE(started);
        osg::addRefCP(surface);
        const osg::CPEditor edit(surface);
        surface->setControlPoints(points);
    }
    ~SurfaceTessellation() override { osg::subRefCP(surface); }

    void setDegrees(unsigned int u, unsigned int v)
    {
        const osg::CPEditor edit(surface);
        surface->setDimU(u);
        surface->setDimV(v);
    }
    void setKnots(const std::vector<double>& u, const std::vector<double>& v)
    {
        const osg::CPEditor edit(surface);
        surface->getKnotsU().clear();
        surface->getKnotsV().clear();
        for (const double knot : u)
            surface->getKnotsU().push_back(float(knot));
        for (const double knot : v)
            surface->getKnotsV().push_back(float(knot));
    }
    void addPoint(double x, double y, double z, double w = 1)
    {
        const osg::CPEditor edit(points);
        points->getField().push_back(osg::Pnt4f(float(x * w), float(y * w), float(z * w), float(w)));
    }

    /// Around the z axis: u along the profile (distance from the axis, z), v around.
    void revolve(const Curve& profile)
    {
        const Curve around = circle(0, 0, 1);
        setDegrees(profile.degree, around.degree);
        setKnots(profile.knots, around.knots);
        for (const Control& p : profile.points) {
            for (const Control& a : around.points)
                addPoint(p[0] * a[0], p[0] * a[1], p[1], p[2] * a[2]);
        }
    }

    /// z = f(x, y) over 0..1, by Bernstein polynomials of these degrees with the values as coefficients.
    void bernstein(unsigned int degreeU, unsigned int degreeV, const std::function<double(double, double)>& f)
    {
        setDegrees(degreeU, degreeV);
        const auto knots = [](unsigned int degree) {
            std::vector<double> result(degree + 1, 0);
            result.insert(result.end(), degree + 1, 1);
            return result;
        };
        setKnots(knots(degreeU), knots(degreeV));
        for (unsigned int u = 0; u <= degreeU; ++u) {
            for (unsigned int v = 0; v <= degreeV; ++v) {
                const double x = double(u) / degreeU;
                const double y = double(v) / degreeV;
                addPoint(x, y, f(x, y));
            }
        }
    }

    /// The square 0..1 in the plane z = 0, whose parameters are its coordinates.
    void plate()
    {
        bernstein(1, 1, [](double, double) { return 0; });
    }

    void trim(const std::vector<Curve>& curves)
    {
        bool first = true;
        for (Curve curve : curves) {
            std::vector<osg::Pnt3f> controls;
            for (const Control& c : curve.points)
                controls.push_back(osg::Pnt3f(float(c[0]), float(c[1]), float(c[2])));
            const osg::CPEditor edit(surface);
            surface->addCurve(curve.degree, curve.knots, controls, first);
            first = false;
        }
    }
    void trimSquare(double low, double high)
    {
        trim({line(low, low, high, low), line(high, low, high, high), line(high, high, low, high),
              line(low, high, low, low)});
    }

    SurfaceMesh mesh(double tolerance = 1e-3)
    {
        TessellationOptions options;
        options.tolerance = tolerance;
        SurfaceMesh result;
        EXPECT_THAT(zyscene::tessellate(*surface, options, result), IsEmpty());
        std::uint64_t count = 0;
        EXPECT_THAT(zyscene::countTriangles(*surface, options, count), IsEmpty());
        EXPECT_EQ(result.triangleCount(), count);
        EXPECT_FALSE(result.coarse);
        return result;
    }
    std::string refusal()
    {
        SurfaceMesh result;
        const std::string reason = zyscene::tessellate(*surface, TessellationOptions(), result);
        EXPECT_TRUE(result.corners.empty());
        std::uint64_t count = 0;
        EXPECT_EQ(reason, zyscene::countTriangles(*surface, TessellationOptions(), count));
        return reason;
    }

    osg::SurfacePtr surface;
    osg::GeoPositions4fPtr points;
};

// -- What is measured --------------------------------------------------------------------------------

typedef std::array<double, 3> Point;

Point pointOf(const std::array<float, 3>& a)
{
    return {a[0], a[1], a[2]};
}

Point areaVector(const Point& a, const Point& b, const Point& c)
{
    const Point d = {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
    const Point e = {c[0] - a[0], c[1] - a[1], c[2] - a[2]};
    return {(d[1] * e[2] - d[2] * e[1]) / 2, (d[2] * e[0] - d[0] * e[2]) / 2,
            (d[0] * e[1] - d[1] * e[0]) / 2};
}

double lengthOf(const Point& a)
{
    return std::hypot(a[0], a[1], a[2]);
}

void forEachTriangle(const SurfaceMesh& mesh, const std::function<void(const Point (&corners)[3])>& function)
{
    for (std::size_t i = 0; i < mesh.corners.size(); i += 3) {
        const Point corners[3] = {pointOf(mesh.positions[mesh.corners[i]]),
                                  pointOf(mesh.positions[mesh.corners[i + 1]]),
                                  pointOf(mesh.positions[mesh.corners[i + 2]])};
        function(corners);
    }
}

double areaOf(const SurfaceMesh& mesh)
{
    double area = 0;
    forEachTriangle(mesh, [&](const Point(&c)[3]) { area += lengthOf(areaVector(c[0], c[1], c[2])); });
    return area;
}

/// The largest value of the function on vertices, and on points of the triangles.
struct Deviation {
    double atVertices = 0;
    double within = 0;
};

Deviation deviationOf(const SurfaceMesh& mesh, const std::function<double(const Point&)>& distance)
{
    Deviation result;
    for (const std::array<float, 3>& position : mesh.positions)
        result.atVertices = std::max(result.atVertices, std::abs(distance(pointOf(position))));
    constexpr int steps = 4;
    forEachTriangle(mesh, [&](const Point(&c)[3]) {
        for (int i = 0; i <= steps; ++i) {
            for (int k = 0; i + k <= steps; ++k) {
                const double a = double(i) / steps;
                const double b = double(k) / steps;
                Point p;
                for (std::size_t n = 0; n < 3; ++n)
                    p[n] = a * c[0][n] + b * c[1][n] + (1 - a - b) * c[2][n];
                result.within = std::max(result.within, std::abs(distance(p)));
            }
        }
    });
    return result;
}

bool covers(const SurfaceMesh& mesh, double x, double y)
{
    bool covered = false;
    forEachTriangle(mesh, [&](const Point(&c)[3]) {
        const Point p = {x, y, 0};
        covered = covered || (areaVector(c[0], c[1], p)[2] > 0 && areaVector(c[1], c[2], p)[2] > 0 &&
                              areaVector(c[2], c[0], p)[2] > 0);
    });
    return covered;
}

/// Length of edges that only one triangle has.
double rimOf(const SurfaceMesh& mesh)
{
    typedef std::array<float, 3> Corner;
    std::map<std::pair<Corner, Corner>, int> edges;
    for (std::size_t i = 0; i < mesh.corners.size(); i += 3) {
        for (std::size_t k = 0; k < 3; ++k) {
            const Corner& a = mesh.positions[mesh.corners[i + k]];
            const Corner& b = mesh.positions[mesh.corners[i + (k + 1) % 3]];
            ++edges[{std::min(a, b), std::max(a, b)}];
        }
    }
    double length = 0;
    for (const auto& edge : edges) {
        const Point a = pointOf(edge.first.first);
        const Point b = pointOf(edge.first.second);
        if (edge.second == 1)
            length += lengthOf({a[0] - b[0], a[1] - b[1], a[2] - b[2]});
    }
    return length;
}

void expectSoundNormals(const SurfaceMesh& mesh)
{
    for (const std::array<float, 3>& normal : mesh.normals)
        ASSERT_NEAR(1, lengthOf(pointOf(normal)), 1e-5);
    for (std::size_t i = 0; i < mesh.corners.size(); i += 3) {
        const Point area =
            areaVector(pointOf(mesh.positions[mesh.corners[i]]), pointOf(mesh.positions[mesh.corners[i + 1]]),
                       pointOf(mesh.positions[mesh.corners[i + 2]]));
        if (lengthOf(area) < 1e-7)
            continue;
        for (std::size_t k = 0; k < 3; ++k) {
            const Point normal = pointOf(mesh.normals[mesh.corners[i + k]]);
            const double along = area[0] * normal[0] + area[1] * normal[1] + area[2] * normal[2];
            ASSERT_GT(along, 0.5 * lengthOf(area));
        }
    }
}

// -- Shapes ------------------------------------------------------------------------------------------

TEST_F(SurfaceTessellation, ofASphereKeepsTheTolerance)
{
    revolve(halfCircle());
    std::size_t before = 0;
    for (const double tolerance : {1e-2, 1e-3, 1e-4}) {
        const SurfaceMesh sphere = mesh(tolerance);
        const double allowed = tolerance * std::sqrt(12); // the box is 2 x 2 x 2
        const Deviation off = deviationOf(sphere, [](const Point& p) { return lengthOf(p) - 1; });
        EXPECT_LT(off.atVertices, 1e-6);
        EXPECT_LT(off.within, allowed);
        // Not much finer than that either.
        EXPECT_GT(off.within, allowed / 10);
        EXPECT_GT(sphere.triangleCount(), before);
        before = sphere.triangleCount();
    }
    const SurfaceMesh sphere = mesh();
    EXPECT_NEAR(4 * pi, areaOf(sphere), 0.005 * 4 * pi);
    EXPECT_LT(rimOf(sphere), 1e-5);
    expectSoundNormals(sphere);
    for (std::size_t i = 0; i < sphere.normals.size(); ++i) {
        for (std::size_t k = 0; k < 3; ++k)
            ASSERT_NEAR(std::abs(sphere.positions[i][k]), std::abs(sphere.normals[i][k]), 1e-3);
    }
}

TEST_F(SurfaceTessellation, ofATorusKeepsTheTolerance)
{
    revolve(circle(3, 0, 1));
    const SurfaceMesh torus = mesh();
    const auto distance = [](const Point& p) { return std::hypot(std::hypot(p[0], p[1]) - 3, p[2]) - 1; };
    const Deviation off = deviationOf(torus, distance);
    EXPECT_LT(off.atVertices, 2e-6);
    EXPECT_LT(off.within, 1e-3 * std::hypot(8, 8, 2));
    EXPECT_NEAR(4 * pi * pi * 3, areaOf(torus), 0.01 * 4 * pi * pi * 3);
    EXPECT_LT(rimOf(torus), 1e-5);
    expectSoundNormals(torus);
}

TEST_F(SurfaceTessellation, ofAPlaneIsTwoTriangles)
{
    plate();
    const SurfaceMesh plane = mesh();
    EXPECT_EQ(2u, plane.triangleCount());
    EXPECT_EQ(4u, plane.positions.size());
    EXPECT_NEAR(1, areaOf(plane), 1e-6);
    for (std::size_t i = 0; i < plane.positions.size(); ++i) {
        EXPECT_EQ((std::array<float, 3>{0, 0, 1}), plane.normals[i]);
        EXPECT_EQ(plane.positions[i][0], plane.parameters[i][0]);
        EXPECT_EQ(plane.positions[i][1], plane.parameters[i][1]);
    }
    EXPECT_EQ((std::array<double, 4>{0, 0, 1, 1}), plane.domain);
}

TEST_F(SurfaceTessellation, ofATwistedPatchKeepsTheTolerance)
{
    // z = x y: neither direction is bent, only both together.
    bernstein(1, 1, [](double x, double y) { return x * y; });
    const SurfaceMesh twisted = mesh();
    EXPECT_GT(twisted.triangleCount(), 2u);
    const Deviation off = deviationOf(twisted, [](const Point& p) { return p[0] * p[1] - p[2]; });
    EXPECT_LT(off.within, 1e-3 * std::sqrt(3));
}

TEST_F(SurfaceTessellation, takesDegreesFromOneToSeven)
{
    for (unsigned int degree = 1; degree <= 7; ++degree) {
        points->getField().clear();
        // A Bernstein polynomial with these coefficients is x^2 + x (1 - x) / n, the same in y.
        bernstein(degree, 8 - degree, [](double x, double y) { return x * x + y * y; });
        const auto distance = [degree](const Point& p) {
            const double x = p[0];
            const double y = p[1];
            return x * x + x * (1 - x) / degree + y * y + y * (1 - y) / (8 - degree) - p[2];
        };
        const SurfaceMesh bent = mesh();
        const Deviation off = deviationOf(bent, distance);
        EXPECT_LT(off.atVertices, 1e-6) << degree;
        EXPECT_LT(off.within, 1e-3 * std::sqrt(1 + 1 + 4)) << degree;
        expectSoundNormals(bent);
    }
}

TEST_F(SurfaceTessellation, goesThroughKnotsWithEdges)
{
    // A roof: of degree 1, with the ridge at x = 1.
    setDegrees(1, 1);
    setKnots({0, 0, 1, 2, 2}, {0, 0, 1, 1});
    for (int x = 0; x <= 2; ++x) {
        for (int y = 0; y <= 1; ++y)
            addPoint(x, y, x == 1 ? 1 : 0);
    }
    const SurfaceMesh roof = mesh();
    EXPECT_EQ(4u, roof.triangleCount());
    EXPECT_EQ(8u, roof.positions.size()); // the ridge has a vertex for each side
    for (std::size_t i = 0; i < roof.normals.size(); ++i) {
        EXPECT_NEAR(half, std::abs(roof.normals[i][0]), 1e-6);
        EXPECT_NEAR(half, roof.normals[i][2], 1e-6);
    }
}

TEST_F(SurfaceTessellation, ofPeriodicKnotsStaysInTheDomain)
{
    // A pipe along z: uniform cubic around, the first three points again at the end.
    setDegrees(3, 1);
    const int count = 8;
    std::vector<double> knots;
    for (int i = 0; i < count + 3 + 3 + 1; ++i)
        knots.push_back(i - 3);
    setKnots(knots, {0, 0, 1, 1});
    for (int i = 0; i < count + 3; ++i) {
        for (int z = 0; z <= 1; ++z)
            addPoint(std::cos(2 * pi * i / count), std::sin(2 * pi * i / count), z);
    }
    const SurfaceMesh pipe = mesh();
    EXPECT_EQ((std::array<double, 4>{0, 0, double(count), 1}), pipe.domain);
    // Closed around: what is open are the two ends. The middles of the spans are the farthest out.
    const double inner = (4 + 2 * std::cos(2 * pi / count)) / 6;
    const Deviation off = deviationOf(pipe, [&](const Point& p) { return std::hypot(p[0], p[1]) - inner; });
    EXPECT_LT(off.atVertices, 0.01);
    EXPECT_NEAR(2 * 2 * pi * inner, rimOf(pipe), 0.05);
}

TEST_F(SurfaceTessellation, takesControlPointsWithoutWeights)
{
    plate();
    osg::GeoPositions3fPtr plain = osg::GeoPositions3f::create();
    {
        const osg::CPEditor edit(plain);
        for (const osg::Pnt4f& point : points->getField())
            plain->getField().push_back(osg::Pnt3f(point[0], point[1], 2));
    }
    {
        const osg::CPEditor edit(surface);
        surface->setControlPoints(plain);
    }
    const SurfaceMesh plane = mesh();
    EXPECT_EQ(2u, plane.triangleCount());
    EXPECT_EQ(2, plane.positions[0][2]);
}

TEST_F(SurfaceTessellation, isTheSameEachTime)
{
    revolve(circle(3, 0, 1));
    trim({circle(2, 2, 1.5)});
    const SurfaceMesh first = mesh();
    const SurfaceMesh second = mesh();
    EXPECT_EQ(first.positions, second.positions);
    EXPECT_EQ(first.normals, second.normals);
    EXPECT_EQ(first.parameters, second.parameters);
    EXPECT_EQ(first.corners, second.corners);
}

TEST_F(SurfaceTessellation, getsCoarseWhereThereWouldBeTooManyCells)
{
    revolve(circle(3, 0, 1));
    TessellationOptions options;
    options.tolerance = 1e-6;
    options.maxCells = 1000;
    SurfaceMesh torus;
    EXPECT_THAT(zyscene::tessellate(*surface, options, torus), IsEmpty());
    EXPECT_TRUE(torus.coarse);
    EXPECT_LE(torus.triangleCount(), 2000u);
    EXPECT_GE(torus.triangleCount(), 500u);
}

// -- Trims -------------------------------------------------------------------------------------------

TEST_F(SurfaceTessellation, ofADiscHasItsArea)
{
    plate();
    for (const double radius : {0.45, 0.1, 0.01}) {
        {
            const osg::CPEditor edit(surface);
            surface->removeCurves();
        }
        trim({circle(0.5, 0.5, radius)});
        const SurfaceMesh disc = mesh();
        EXPECT_NEAR(pi * radius * radius, areaOf(disc), 0.005 * pi * radius * radius);
        EXPECT_TRUE(covers(disc, 0.5003, 0.5001));
        EXPECT_FALSE(covers(disc, 0.5 + 1.02 * radius, 0.5001));
        EXPECT_NEAR(2 * pi * radius, rimOf(disc), 0.005 * 2 * pi * radius);
    }
}

TEST_F(SurfaceTessellation, ofAPlateWithARoundHoleHasItsArea)
{
    plate();
    trimSquare(0, 1);
    trim({circle(0.5, 0.5, 0.25, true)});
    const SurfaceMesh plate = mesh();
    const double expected = 1 - pi / 16;
    EXPECT_NEAR(expected, areaOf(plate), 0.005 * expected);
    EXPECT_TRUE(covers(plate, 0.1003, 0.1001));
    EXPECT_TRUE(covers(plate, 0.5003, 0.9001));
    EXPECT_FALSE(covers(plate, 0.5003, 0.5001));
    EXPECT_FALSE(covers(plate, 0.7003, 0.5001));
    expectSoundNormals(plate);
    // No cracks: what is open are the outer edges and the hole.
    EXPECT_NEAR(4 + pi / 2, rimOf(plate), 0.01);
}

TEST_F(SurfaceTessellation, goesByHowLoopsStandInOneAnother)
{
    plate();
    trim({circle(0.5, 0.5, 0.2)});
    trim({circle(0.5, 0.5, 0.1, true)});
    trim({circle(0.5, 0.5, 0.4)}); // around the first two, which are a hole with an island so far
    const SurfaceMesh rings = mesh();
    EXPECT_TRUE(covers(rings, 0.8003, 0.5001));
    EXPECT_FALSE(covers(rings, 0.6503, 0.5001));
    EXPECT_TRUE(covers(rings, 0.5003, 0.5001));
    EXPECT_FALSE(covers(rings, 0.9503, 0.5001));
}

TEST_F(SurfaceTessellation, keepsTheToleranceAndHasNoCracksWhereItIsTrimmed)
{
    revolve(halfCircle());
    trim({circle(1, 2, 0.6)});
    const SurfaceMesh cap = mesh();
    EXPECT_GT(cap.triangleCount(), 50u);
    const Deviation off = deviationOf(cap, [](const Point& p) { return lengthOf(p) - 1; });
    EXPECT_LT(off.atVertices, 1e-6);
    EXPECT_LT(off.within, 1e-3 * std::sqrt(12));
    expectSoundNormals(cap);
    // The rim alone is open: finer steps do not make it longer.
    EXPECT_NEAR(rimOf(mesh(1e-4)), rimOf(cap), 0.01 * rimOf(cap));
}

TEST_F(SurfaceTessellation, closesGapsAsWideAsTheToleranceOfLoops)
{
    plate();
    trim({line(0.2, 0.2, 0.8, 0.2), line(0.8, 0.2005, 0.5, 0.8), line(0.5, 0.8, 0.2, 0.2)});
    EXPECT_NEAR(0.18, areaOf(mesh()), 0.001);
}

TEST_F(SurfaceTessellation, cutsLoopsThatRunAlongTheEdgesOfTheDomain)
{
    plate();
    trimSquare(0, 1);
    EXPECT_NEAR(1, areaOf(mesh()), 1e-6);
    trim({line(0, 0, 0.5, 0.5), line(0.5, 0.5, 0, 1), line(0, 1, 0, 0)});
    EXPECT_NEAR(0.75, areaOf(mesh()), 1e-6);
}

// -- Refusals ----------------------------------------------------------------------------------------

class DamagedSurface : public SurfaceTessellation
{
protected:
    DamagedSurface()
    {
        bernstein(3, 3, [](double x, double y) { return x * y; });
        edit.reset(new osg::CPEditor(surface));
        editPoints.reset(new osg::CPEditor(points));
    }
    ~DamagedSurface() override
    {
        edit.reset();
        editPoints.reset();
    }
    osg::Pnt4f& point(osg::UInt32 i) { return points->getField()[i]; }

    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float infinity = std::numeric_limits<float>::infinity();
    std::unique_ptr<osg::CPEditor> edit;
    std::unique_ptr<osg::CPEditor> editPoints;
};

TEST_F(DamagedSurface, thatIsSoundIsDrawn)
{
    EXPECT_GT(mesh().triangleCount(), 2u);
}

TEST_F(DamagedSurface, withoutADegreeIsRefused)
{
    surface->setDimU(0);
    EXPECT_EQ("in u: degree 0 is not from 1 to 15", refusal());
}

TEST_F(DamagedSurface, ofADegreeThatIsTooHighIsRefused)
{
    surface->setDimV(0xffffffff);
    EXPECT_EQ("in v: degree 4294967295 is not from 1 to 15", refusal());
}

TEST_F(DamagedSurface, withTooFewKnotsIsRefused)
{
    surface->getKnotsU().pop_back();
    EXPECT_EQ("in u: 7 knots are too few for degree 3", refusal());
}

TEST_F(DamagedSurface, withKnotsThatDecreaseIsRefused)
{
    surface->getKnotsV()[5] = 0.5f;
    EXPECT_EQ("in v: knot 5 is smaller than the one before", refusal());
}

TEST_F(DamagedSurface, withKnotsThatAreNotFiniteIsRefused)
{
    surface->getKnotsV()[7] = nan;
    EXPECT_EQ("in v: knot 7 is not finite", refusal());
    surface->getKnotsV()[7] = infinity;
    EXPECT_EQ("in v: knot 7 is not finite", refusal());
}

TEST_F(DamagedSurface, withKnotsThatAreRepeatedTooOftenIsRefused)
{
    surface->getKnotsU()[4] = 0;
    EXPECT_EQ("in u: knot 0 is repeated too often for degree 3", refusal());
}

TEST_F(DamagedSurface, withoutControlPointsIsRefused)
{
    editPoints.reset(); // the points go with their last user
    surface->setControlPoints(osg::NullFC);
    EXPECT_EQ("there are no control points", refusal());
}

TEST_F(DamagedSurface, withAnotherNumberOfControlPointsIsRefused)
{
    points->getField().pop_back();
    EXPECT_EQ("15 control points are not the 4 x 4 of the knots", refusal());
}

TEST_F(DamagedSurface, withControlPointsThatAreNotFiniteIsRefused)
{
    point(3)[1] = nan;
    EXPECT_EQ("control point 3 is not finite", refusal());
    point(3)[1] = 1;
    point(9)[3] = infinity;
    EXPECT_EQ("control point 9 is not finite", refusal());
}

TEST_F(DamagedSurface, withWeightsThatAreNotPositiveIsRefused)
{
    point(2)[3] = 0;
    EXPECT_EQ("the weight of control point 2 is not above 0", refusal());
    point(2)[3] = -1;
    EXPECT_EQ("the weight of control point 2 is not above 0", refusal());
}

TEST_F(DamagedSurface, withWeightsThatPutPointsOutOfReachIsRefused)
{
    point(2)[0] = 1;
    point(2)[3] = 1e-40f;
    EXPECT_EQ("control point 2 is not finite where its weight puts it", refusal());
}

TEST_F(DamagedSurface, withoutExtentIsRefused)
{
    for (osg::UInt32 i = 0; i < 16; ++i)
        point(i) = osg::Pnt4f(1, 2, 3, 1);
    EXPECT_EQ("all control points lie in one place", refusal());
}

TEST_F(DamagedSurface, withTrimCountsThatDisagreeIsRefused)
{
    trimSquare(0.25, 0.75);
    surface->setNumCurves(5);
    EXPECT_EQ("5 trim curves have 4 degrees and 4 numbers of knots", refusal());
    surface->setNumCurves(4);
    surface->getCurvesPerLoop()[0] = 0xffffffff;
    EXPECT_EQ("4 trim curves are not the 4294967295 of the loops", refusal());
    surface->getCurvesPerLoop()[0] = 0;
    EXPECT_EQ("trim loop 0 has no curve", refusal());
    surface->getCurvesPerLoop()[0] = 4;
    surface->getKnotLengths()[2] = 0xffffffff;
    EXPECT_THAT(refusal(), HasSubstr("16 trim knots are not the"));
    surface->getKnotLengths()[2] = 3;
    EXPECT_EQ("trim curve 2: 3 knots are too few for degree 1", refusal());
    surface->getKnotLengths()[2] = 4;
    surface->getDimensions()[1] = 0;
    EXPECT_EQ("trim curve 1: degree 0 is not from 1 to 15", refusal());
    surface->getDimensions()[1] = 1;
    surface->getCurveControlPoints().pop_back();
    EXPECT_EQ("7 trim control points are not the 8 of the curves", refusal());
}

TEST_F(DamagedSurface, withDamagedTrimCurvesIsRefused)
{
    trimSquare(0.25, 0.75);
    surface->getKnots()[6] = -1;
    EXPECT_EQ("trim curve 1: knot 2 is smaller than the one before", refusal());
    surface->getKnots()[6] = 1;
    surface->getCurveControlPoints()[3][2] = 0;
    EXPECT_EQ("trim curve 1: the weight of control point 1 is not above 0", refusal());
    surface->getCurveControlPoints()[3][2] = 1;
    surface->getCurveControlPoints()[6][0] = nan;
    EXPECT_EQ("trim curve 3: control point 0 is not finite", refusal());
}

TEST_F(DamagedSurface, withTrimLoopsThatAreOpenIsRefused)
{
    trimSquare(0.25, 0.75);
    trim({line(0.4, 0.4, 0.6, 0.4), line(0.6, 0.4, 0.6, 0.6), line(0.6, 0.6, 0.4, 0.5)});
    EXPECT_EQ("trim loop 1 is not closed", refusal());
}

TEST_F(DamagedSurface, withTrimLoopsThatLeaveTheDomainIsRefused)
{
    trim({circle(0.5, 0.8, 0.3)});
    EXPECT_EQ("trim loop 0 leaves the domain of the surface", refusal());
}

TEST_F(DamagedSurface, withTrimLoopsThatCrossIsRefused)
{
    trim({circle(0.4, 0.5, 0.2)});
    trim({circle(0.6, 0.5, 0.2)});
    EXPECT_EQ("trim loops cross", refusal());
}

TEST_F(DamagedSurface, withATrimLoopThatCrossesItselfIsRefused)
{
    trim({line(0.2, 0.2, 0.8, 0.8), line(0.8, 0.8, 0.8, 0.2), line(0.8, 0.2, 0.2, 0.8),
          line(0.2, 0.8, 0.2, 0.2)});
    EXPECT_EQ("trim loops cross", refusal());
}

TEST_F(DamagedSurface, withTrimmingThatIsTooIntricateIsRefusedInTime)
{
    // A comb of lines that all lie beside one another.
    std::vector<Curve> curves;
    const int teeth = 20000;
    for (int i = 0; i < teeth; ++i) {
        const double y = 0.1 + 0.8 * i / teeth;
        curves.push_back(line(0.1, y, 0.9, y + 0.2 / teeth));
        curves.push_back(line(0.9, y + 0.2 / teeth, 0.1, y + 0.8 / teeth));
    }
    curves.push_back(line(0.1, 0.9, 0.05, 0.5));
    curves.push_back(line(0.05, 0.5, 0.1, 0.1));
    trim(curves);
    EXPECT_EQ("trimming is too intricate", refusal());
}
} // namespace
