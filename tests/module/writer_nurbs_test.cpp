// NURBS surface export: a surface core becomes a transform with a surface that is not rational, and its
// trimming.

#include "NurbsTools.h"
#include "WriterTest.h"

#include <OpenSG/OSGSceneFileHandler.h>
#include <OpenSG/OSGSimpleGeometry.h>

#include <kelda/KFileIO.h>
#include <kelda/KItDag.h>
#include <kelda/testing/KFaults.h>

#include <rapidcheck.h>

#include <cmath>
#include <limits>

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

class ExportNurbs : public WriterTest
{
protected:
    std::string said(const osg::NodePtr& root)
    {
        return printedBy([&] { build(root); }).out;
    }
    static osg::NodePtr surfaceNode(const std::string& name, const GraphSurface& surface)
    {
        return nodeWith(makeSurface(surface), name);
    }
    static osg::NodePtr trimmedPlate(const std::vector<std::vector<GraphCurve>>& loops)
    {
        const osg::SurfacePtr surface = makeSurface(graphPlate());
        for (const std::vector<GraphCurve>& loop : loops)
            addLoop(surface, loop);
        return nodeWith(surface, "plate");
    }
    static KFnNurbsSurface surfaceAt(const std::string& path)
    {
        KStatus status;
        const KFnNurbsSurface fn(pathOf(path), &status);
        EXPECT_FALSE(status.error()) << path;
        return fn;
    }
    static std::vector<std::string> shapes()
    {
        std::vector<std::string> names;
        for (KItDag it; !it.isDone(); it.next())
            if (it.currentItem().hasFn(KFn::kShape)) {
                KDagPath path;
                it.getPath(path);
                names.push_back(path.fullPathName().asUTF8());
            }
        return names;
    }
    static std::vector<unsigned> curvesPerBoundary(const KFnNurbsSurface& surface)
    {
        std::vector<unsigned> counts;
        for (int region = 0; region < surface.numRegions(); ++region) {
            KTrimBoundaryArray boundaries;
            surface.getTrimBoundaries(boundaries, static_cast<unsigned>(region));
            for (unsigned i = 0; i < boundaries.length(); ++i)
                counts.push_back(boundaries[i].length());
        }
        return counts;
    }
    static GraphCurve square(float low, float high)
    {
        return graphPolyline({{low, low}, {high, low}, {high, high}, {low, high}, {low, low}});
    }
};

osg::SurfacePtr firstSurfaceOf(const osg::NodePtr& root)
{
    std::vector<osg::NodePtr> todo{root};
    while (!todo.empty()) {
        const osg::NodePtr node = todo.back();
        todo.pop_back();
        if (node == osg::NullFC)
            continue;
        const osg::SurfacePtr surface = osg::SurfacePtr::dcast(node->getCore());
        if (surface != osg::NullFC)
            return surface;
        for (osg::UInt32 i = 0; i < node->getNChildren(); ++i)
            todo.push_back(node->getChild(i));
    }
    return osg::NullFC;
}

// -- the surface -----------------------------------------------------------------------------------

TEST_F(ExportNurbs, aBicubicPatchArrivesWithSixKnotsInEachDirection)
{
    EXPECT_EQ("", said(surfaceNode("patch", graphPatch())));
    const KFnNurbsSurface surface = surfaceAt("|patch|nurbsSurfaceShape1");
    EXPECT_EQ(3, surface.degreeU());
    EXPECT_EQ(3, surface.degreeV());
    EXPECT_EQ(4, surface.numCVsInU());
    EXPECT_EQ(4, surface.numCVsInV());
    KDoubleArray knots;
    surface.getKnotsInU(knots);
    EXPECT_THAT(valuesOf(knots), ElementsAre(0, 0, 0, 1, 1, 1));
    surface.getKnotsInV(knots);
    EXPECT_THAT(valuesOf(knots), ElementsAre(0, 0, 0, 1, 1, 1));
    EXPECT_EQ(KFnNurbsSurface::kOpen, surface.formInU());
    EXPECT_EQ(KFnNurbsSurface::kOpen, surface.formInV());
    EXPECT_FALSE(surface.isRational());
    EXPECT_FALSE(surface.isTrimmedSurface());
}

TEST_F(ExportNurbs, pointsKeepTheirOrder)
{
    GraphSurface source;
    source.dimU = 1;
    source.dimV = 2;
    source.knotsU = {0, 0, 1, 1};
    source.knotsV = {0, 0, 0, 1, 2, 2, 2};
    for (int i = 0; i < 8; ++i)
        source.points.emplace_back(static_cast<float>(i), 0.0f, 0.0f, 1.0f);
    build(surfaceNode("patch", source));
    const KFnNurbsSurface surface = surfaceAt("|patch|nurbsSurfaceShape1");
    ASSERT_EQ(2, surface.numCVsInU());
    ASSERT_EQ(4, surface.numCVsInV());
    for (unsigned u = 0; u < 2; ++u) {
        for (unsigned v = 0; v < 4; ++v) {
            KPoint cv;
            surface.getCV(u, v, cv);
            EXPECT_EQ(KPoint(u * 4 + v, 0, 0), cv) << u << " " << v;
        }
    }
}

// Deliberate: weights are lost.
TEST_F(ExportNurbs, aWeightedPointIsProjected)
{
    GraphSurface source = graphPlate();
    source.points[1] = osg::Pnt4f(2, 4, 6, 2);
    EXPECT_EQ("", said(surfaceNode("plate", source)));
    KPoint cv;
    surfaceAt("|plate|nurbsSurfaceShape1").getCV(0, 1, cv);
    EXPECT_EQ(KPoint(1, 2, 3, 1), cv);
}

TEST_F(ExportNurbs, transformHasTheLegalNameAndTheShapeTheModellersOwn)
{
    build(groupNode("scene", {surfaceNode("3 plate", graphPlate()), surfaceNode("3 plate", graphPlate())}));
    EXPECT_THAT(shapes(),
                ElementsAre("|scene|__plate|nurbsSurfaceShape1", "|scene|__plate1|nurbsSurfaceShape2"));
}

TEST_F(ExportNurbs, nodesBelowTheSurfaceStandBelowItsTransform)
{
    build(nodeWith(makeSurface(graphPlate()), "plate", {groupNode("child")}));
    EXPECT_TRUE(exists("|plate|child"));
}

TEST_F(ExportNurbs, whatIsNoSurfaceLeavesTheParentUnchanged)
{
    const KObject parent = makeTransform("parent");
    zyKeldaWriterTestAccess writer;
    EXPECT_EQ(parent, writer.convertNurbsSurface(osg::NullFC, parent));
    EXPECT_EQ(parent, writer.convertNurbsSurface(keep(osg::Node::create()), parent));
    EXPECT_EQ(parent, writer.convertNurbsSurface(keep(shapeNode("tri", triangle())), parent));
    EXPECT_EQ(0u, KFnDagNode(parent).childCount());
    EXPECT_NE(parent, writer.convertNurbsSurface(keep(surfaceNode("plate", graphPlate())), parent));
    EXPECT_TRUE(exists("|parent|plate|nurbsSurfaceShape1"));
}

TEST_F(ExportNurbs, withoutHomogeneousPointsTheTransformStaysEmpty)
{
    const osg::SurfacePtr none = osg::Surface::create();
    const osg::SurfacePtr polynomial = makeSurface(graphPlate());
    {
        const osg::GeoPositions3fPtr points = osg::GeoPositions3f::create();
        points->getField().resize(4);
        const osg::CPEditor edit(polynomial);
        polynomial->setControlPoints(points);
    }
    addLoop(polynomial, {square(0, 4)});
    EXPECT_EQ("", said(groupNode("scene", {nodeWith(none, "none"), nodeWith(polynomial, "polynomial")})));
    EXPECT_TRUE(exists("|scene|none"));
    EXPECT_TRUE(exists("|scene|polynomial"));
    EXPECT_THAT(shapes(), IsEmpty());
}

// Deliberate: none of these is exported for surfaces.
TEST_F(ExportNurbs, materialLocalTransformAndSharingStayBehind)
{
    const osg::SurfacePtr surface = makeSurface(graphPlate());
    {
        const osg::CPEditor edit(surface);
        surface->setTransform(transform3D(someComponents()));
        surface->setMaterial(osg::getDefaultMaterial());
    }
    build(groupNode("scene", {nodeWith(surface, "a"), nodeWith(surface, "b")}));
    EXPECT_EQ(KMatrix::identity, transformAt("|scene|a").transformationMatrix());
    EXPECT_THAT(shapes(), ElementsAre("|scene|a|nurbsSurfaceShape1", "|scene|b|nurbsSurfaceShape2"));
    EXPECT_THAT(setsOf("|scene|a|nurbsSurfaceShape1"), IsEmpty());
}

TEST_F(ExportNurbs, surfaceThatASwitchDoesNotShowIsHidden)
{
    build(switchNode("choice", 1, {surfaceNode("a", graphPlate()), surfaceNode("b", graphPlate())}));
    EXPECT_FALSE(isShown("|choice|a"));
    EXPECT_TRUE(isShown("|choice|b"));
}

// -- trimming --------------------------------------------------------------------------------------

TEST_F(ExportNurbs, loopsBecomeBoundariesWithAsManyCurves)
{
    const osg::NodePtr plate =
        trimmedPlate({{graphPolyline({{0, 0}, {4, 0}}), graphPolyline({{4, 0}, {4, 4}}),
                       graphPolyline({{4, 4}, {0, 4}, {0, 0}})},
                      {square(1, 2)}});
    EXPECT_EQ("", said(plate));
    const KFnNurbsSurface surface = surfaceAt("|plate|nurbsSurfaceShape1");
    EXPECT_TRUE(surface.isTrimmedSurface());
    EXPECT_EQ(1, surface.numRegions());
    EXPECT_THAT(curvesPerBoundary(surface), ElementsAre(3, 1));
}

TEST_F(ExportNurbs, trimmingCurvesLoseTheirOuterKnots)
{
    GraphCurve arch;
    arch.dim = 3;
    arch.knots = {0, 0, 0, 0, 2, 2, 2, 2};
    arch.points = {osg::Pnt3f(1, 1, 1), osg::Pnt3f(4, 1, 1), osg::Pnt3f(1, 4, 1), osg::Pnt3f(1, 1.5f, 1)};
    EXPECT_EQ("", said(trimmedPlate({{arch, graphPolyline({{1, 1.5f}, {1, 1}})}})));
    KTrimBoundaryArray boundaries;
    surfaceAt("|plate|nurbsSurfaceShape1").getTrimBoundaries(boundaries, 0);
    ASSERT_EQ(1u, boundaries.length());
    ASSERT_EQ(2u, boundaries[0].length());
    const KFnNurbsCurve curve(boundaries[0][0]);
    EXPECT_EQ(3, curve.degree());
    EXPECT_EQ(KFnNurbsCurve::kOpen, curve.form());
    EXPECT_TRUE(curve.is2D());
    KDoubleArray knots;
    curve.getKnots(knots);
    EXPECT_THAT(valuesOf(knots), ElementsAre(0, 0, 0, 2, 2, 2));
    KFnNurbsCurve(boundaries[0][1]).getKnots(knots);
    EXPECT_THAT(valuesOf(knots), ElementsAre(0, 1));
}

// Deliberate: neither divided by the third value nor weighted with it.
TEST_F(ExportNurbs, weightsOfTrimmingCurvesAreDropped)
{
    GraphCurve curve = square(1, 3);
    curve.points[2] = osg::Pnt3f(3, 3, 0.5f);
    EXPECT_EQ("", said(trimmedPlate({{curve}})));
    KTrimBoundaryArray boundaries;
    surfaceAt("|plate|nurbsSurfaceShape1").getTrimBoundaries(boundaries, 0);
    const KFnNurbsCurve exported(boundaries[0][0]);
    EXPECT_FALSE(exported.isRational());
    KPoint cv;
    exported.getCV(2, cv);
    EXPECT_EQ(KPoint(3, 3, 0, 1), cv);
}

TEST_F(ExportNurbs, aRectangleAlongTheDomainIsATrimmingLikeOthers)
{
    EXPECT_EQ("", said(trimmedPlate({{graphPolyline({{0, 0}, {4, 0}}), graphPolyline({{4, 0}, {4, 4}}),
                                      graphPolyline({{4, 4}, {0, 4}}), graphPolyline({{0, 4}, {0, 0}})}})));
    EXPECT_THAT(curvesPerBoundary(surfaceAt("|plate|nurbsSurfaceShape1")), ElementsAre(4));
}

// -- status texts ----------------------------------------------------------------------------------

TEST_F(ExportNurbs, failedSurfaceIsReportedWithAFullStopAndLeavesItsTransform)
{
    const struct {
        KStatus::KStatusCode status;
        const char* text;
    } rows[] = {{KStatus::kFailure, "Error: kFailure.\n"},
                {KStatus::kInsufficientMemory, "Error: kInsufficientMemory.\n"},
                {KStatus::kInvalidParameter, "Error: kInvalidParameter.\n"},
                {KStatus::kNotFound, "Error: \n"}};
    for (const auto& row : rows) {
        KFileIO::newFile(true);
        KFaults::failCallWith(row.status, "KFnNurbsSurface::create");
        EXPECT_EQ(row.text, said(surfaceNode("plate", graphPlate())));
        EXPECT_THAT(topNames(), ElementsAre("plate"));
        EXPECT_THAT(shapes(), IsEmpty());
    }
}

TEST_F(ExportNurbs, surfaceThatTheModellerRefusesIsReported)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const auto refused = [&](const std::function<void(GraphSurface&)>& change) {
        KFileIO::newFile(true);
        GraphSurface surface = graphPatch();
        change(surface);
        return said(surfaceNode("patch", surface));
    };
    const std::string invalid = "Error: kInvalidParameter.\n";
    EXPECT_EQ("", refused([](GraphSurface&) {}));
    EXPECT_EQ(invalid, refused([](GraphSurface& s) { s.points.pop_back(); }));
    EXPECT_EQ(invalid, refused([](GraphSurface& s) { s.points.clear(); }));
    EXPECT_EQ(invalid, refused([](GraphSurface& s) { s.points[5] = osg::Pnt4f(1, 1, 1, 0); }));
    EXPECT_EQ(invalid, refused([&](GraphSurface& s) { s.points[5][1] = nan; }));
    EXPECT_EQ(invalid, refused([](GraphSurface& s) { s.knotsU[4] = -1; }));
    EXPECT_EQ(invalid, refused([&](GraphSurface& s) { s.knotsV[3] = nan; }));
    EXPECT_EQ(invalid, refused([](GraphSurface& s) { s.knotsU.clear(); }));
    EXPECT_EQ(invalid, refused([](GraphSurface& s) { s.knotsU.resize(1); }));
    EXPECT_EQ(invalid, refused([](GraphSurface& s) { s.knotsV.resize(4); }));
    EXPECT_EQ(invalid, refused([](GraphSurface& s) { s.dimU = 0; }));
    EXPECT_EQ(invalid, refused([](GraphSurface& s) { s.dimU = 0xffffffffu; }));
    EXPECT_EQ(invalid, refused([](GraphSurface& s) { s.dimV = 7; }));
    EXPECT_EQ("", refused([](GraphSurface& s) { s.points.resize(20); })) << "more points than are needed";
}

TEST_F(ExportNurbs, trimmingIsTriedAlsoWithoutASurface)
{
    KFaults::failCall("KFnNurbsSurface::create");
    EXPECT_EQ("Error: kFailure.\nError: unknown\n", said(trimmedPlate({{square(1, 2)}})));
}

TEST_F(ExportNurbs, failedTrimmingIsReportedAndTheSurfaceStaysWhole)
{
    EXPECT_EQ("Error: kFailure\n", said(trimmedPlate({{graphPolyline({{1, 1}, {2, 1}, {2, 2}})}}))) << "open";
    EXPECT_FALSE(surfaceAt("|plate|nurbsSurfaceShape1").isTrimmedSurface());
    KFileIO::newFile(true);
    EXPECT_EQ("Error: kFailure\n", said(trimmedPlate({{square(1, 3)}, {square(2, 4)}}))) << "crossing";
    KFileIO::newFile(true);
    EXPECT_EQ("Error: kFailure\n", said(trimmedPlate({{square(1, 5)}}))) << "outside";
    KFileIO::newFile(true);
    KFaults::failCallWith(KStatus::kInsufficientMemory, "KFnNurbsSurface::trimWithBoundaries");
    EXPECT_EQ("Error: unknown\n", said(trimmedPlate({{square(1, 2)}})));
}

TEST_F(ExportNurbs, failedCurveIsReportedWithoutAFullStopAndTheTrimmingFails)
{
    const struct {
        KStatus::KStatusCode status;
        const char* text;
    } rows[] = {{KStatus::kFailure, "Error: kFailure\nError: unknown\n"},
                {KStatus::kInsufficientMemory, "Error: kInsufficientMemory\nError: unknown\n"},
                {KStatus::kInvalidParameter, "Error: kInvalidParameter\nError: unknown\n"},
                {KStatus::kNotFound, "Error: \nError: unknown\n"}};
    for (const auto& row : rows) {
        KFileIO::newFile(true);
        KFaults::failCallWith(row.status, "KFnNurbsCurve::create", 2);
        EXPECT_EQ(row.text, said(trimmedPlate({{square(0, 4)}, {square(1, 2)}})));
        EXPECT_THAT(shapes(), ElementsAre("|plate|nurbsSurfaceShape1"));
        EXPECT_FALSE(surfaceAt("|plate|nurbsSurfaceShape1").isTrimmedSurface());
    }
}

TEST_F(ExportNurbs, failedCurveDataIsReportedAndLeavesNothingInTheScene)
{
    KFaults::failCall("KFnNurbsCurveData::create");
    EXPECT_EQ("Error. Error: unknown\n", said(trimmedPlate({{square(1, 2)}})));
    EXPECT_THAT(shapes(), ElementsAre("|plate|nurbsSurfaceShape1"));
}

TEST_F(ExportNurbs, exportGoesOnAfterAFailedSurface)
{
    GraphSurface bad = graphPatch();
    bad.points.pop_back();
    const std::string out =
        exportTo(groupNode("scene", {surfaceNode("bad", bad), surfaceNode("good", graphPatch())}), "out.ka")
            .out;
    EXPECT_NE(std::string::npos, out.find("Error: kInvalidParameter.\n"));
    EXPECT_NE(std::string::npos, contentOf("out.ka").find("createNode nurbsSurface"));
}

TEST_F(ExportNurbs, arraysThatDoNotFitTogetherNeverCrash)
{
    EXPECT_TRUE(rc::check("any arrays", [&](std::uint32_t seed) {
        std::mt19937 random(seed);
        KFileIO::newFile(true);
        const osg::SurfacePtr surface = makeSurface(graphPlate());
        const auto numbers = [&](osg::MFUInt32& field, unsigned limit) {
            for (unsigned i = random() % 4; i > 0; --i)
                field.push_back(random() % 8 == 0 ? 0xffffffffu - random() % 3
                                                  : static_cast<osg::UInt32>(random() % limit));
        };
        numbers(surface->getKnotLengths(), 8);
        numbers(surface->getDimensions(), 4);
        numbers(surface->getCurvesPerLoop(), 4);
        for (unsigned i = random() % 20; i > 0; --i)
            surface->getKnots().push_back(static_cast<float>(random() % 5));
        for (unsigned i = random() % 12; i > 0; --i)
            surface->getCurveControlPoints().push_back(
                osg::Pnt3f(static_cast<float>(random() % 5), static_cast<float>(random() % 5), 1));
        surface->getNumCurves() = random() % 4 == 0 ? 0xffffffffu : static_cast<osg::UInt32>(random() % 5);
        const ScopedGraph graph(nodeWith(surface, "any"));
        printedBy([&] {
            zyKeldaWriterTestAccess writer(graph.get());
            writer.build();
        });
        RC_ASSERT(exists("|any|nurbsSurfaceShape1"));
    }));
}

// -- there and back --------------------------------------------------------------------------------

TEST_F(ExportNurbs, surfacesWithoutWeightsComeBackBitForBit)
{
    unsigned trimmed = 0;
    EXPECT_TRUE(rc::check("graph to file to graph", [&](std::uint32_t seed) {
        std::mt19937 random(seed);
        const GraphSurface source = randomGraphSurface(random);
        const osg::SurfacePtr surface = makeSurface(source);
        if (random() % 2) {
            ++trimmed;
            const std::array<double, 4> d = domainOf(surface);
            for (const std::vector<GraphCurve>& loop :
                 randomLoops(random, static_cast<float>(d[0]), static_cast<float>(d[1]),
                             static_cast<float>(d[2]), static_cast<float>(d[3])))
                addLoop(surface, loop);
        }
        const std::string before = bitsOf(surface);
        const osg::NodePtr back = roundTrip(nodeWith(surface, "any"), random() % 2 ? "any.ka" : "any.kb");
        const osg::SurfacePtr found = firstSurfaceOf(back);
        RC_ASSERT(found != osg::NullFC);
        RC_ASSERT(bitsOf(found) == before);
    }));
    EXPECT_GT(trimmed, 30u);
}

TEST_F(ExportNurbs, weightedSurfacesComeBackWithTheirPointsProjected)
{
    GraphSurface source = graphPatch();
    for (std::size_t i = 0; i < source.points.size(); ++i) {
        const float w = 0.5f + static_cast<float>(i % 3);
        source.points[i] =
            osg::Pnt4f(source.points[i][0] * w, source.points[i][1] * w, source.points[i][2] * w, w);
    }
    const osg::SurfacePtr back = firstSurfaceOf(roundTrip(surfaceNode("patch", source), "patch.ka"));
    ASSERT_TRUE(back != osg::NullFC);
    const std::vector<osg::Pnt4f> points = controlPointsOf(back);
    ASSERT_EQ(16u, points.size());
    for (std::size_t i = 0; i < points.size(); ++i) {
        const osg::Pnt4f& p = source.points[i];
        for (osg::UInt32 k = 0; k < 3; ++k)
            EXPECT_EQ(static_cast<float>(double(p[k]) / double(p[3])), points[i][k]) << i;
        EXPECT_EQ(1.0f, points[i][3]);
    }
    EXPECT_EQ(source.knotsU, valuesOf(back->getKnotsU()));
}
} // namespace
