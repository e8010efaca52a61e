// NURBS surface import: the exact surface and its trimming curves as a surface core.

#include "LoaderTest.h"
#include "NurbsTools.h"

#include <OpenSG/OSGSceneFileHandler.h>
#include <OpenSG/OSGSimpleGeometry.h>

#include <kelda/KFileIO.h>
#include <kelda/KGlobal.h>
#include <kelda/testing/KFaults.h>
#include <zyOpenSGExt/zyValuePair.h>
#include <zyOpenSGUtils/zyNodeUtils.h>

#include <rapidcheck.h>

#include <cmath>
#include <fstream>

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

class NurbsSurface : public LoaderTest
{
protected:
    zyKeldaLoaderTestAccess loader;

    osg::NodePtr convert(const char* name)
    {
        _graphs.emplace_back(new ScopedGraph(loader.convertNurbsSurface(pathOf(name))));
        return _graphs.back()->get();
    }
    osg::SurfacePtr converted(const char* name)
    {
        const osg::NodePtr node = convert(name);
        EXPECT_TRUE(node != osg::NullFC);
        return node != osg::NullFC ? osg::SurfacePtr::dcast(node->getCore()) : osg::SurfacePtr();
    }
    /// What the conversion makes of a surface below a transform of its own.
    osg::SurfacePtr converted(const KeldaSurface& surface)
    {
        makeSurface(surface, "surfaceShape", makeTransform("surface"));
        return converted("surfaceShape");
    }
    /// The walk over the SDK's scene.
    osg::NodePtr walk()
    {
        _graphs.emplace_back(new ScopedGraph(loader.walk()));
        return _graphs.back()->get();
    }
    KFnNurbsSurface trimmedPlate(const std::vector<std::vector<KeldaCurve>>& boundaries)
    {
        KFnNurbsSurface surface = makeSurface(keldaPlate(), "plateShape", makeTransform("plate"));
        EXPECT_FALSE(trim(surface, boundaries).error());
        return surface;
    }
    void open(const std::string& text)
    {
        std::ofstream(inFolder("surface.ka")) << "//Kelda ASCII 2017 scene\n" << text;
        ASSERT_FALSE(KFileIO::open(inFolder("surface.ka").c_str()).error());
    }

private:
    std::vector<std::unique_ptr<ScopedGraph>> _graphs;
};

osg::SurfacePtr surfaceOf(const osg::NodePtr& node)
{
    return node != osg::NullFC ? osg::SurfacePtr::dcast(node->getCore()) : osg::SurfacePtr();
}

std::vector<osg::Pnt3f> curvePointsOf(const osg::SurfacePtr& surface)
{
    const osg::MFPnt3f& points = surface->getCurveControlPoints();
    return std::vector<osg::Pnt3f>(points.begin(), points.end());
}

// -- knots -----------------------------------------------------------------------------------------

TEST_F(NurbsSurface, uniformOpenSurfaceGetsExtrapolatedEnds)
{
    const osg::SurfacePtr surface = converted(bicubic({0, 1, 2, 3, 4, 5}));
    EXPECT_EQ(16u, controlPointsOf(surface).size());
    EXPECT_EQ(3u, surface->getDimU());
    EXPECT_EQ(3u, surface->getDimV());
    EXPECT_THAT(valuesOf(surface->getKnotsU()), ElementsAre(-1, 0, 1, 2, 3, 4, 5, 6));
    EXPECT_THAT(valuesOf(surface->getKnotsV()), ElementsAre(-1, 0, 1, 2, 3, 4, 5, 6));
}

TEST_F(NurbsSurface, uniformSurfaceIsExtrapolatedByItsOwnDistances)
{
    const osg::SurfacePtr surface = converted(bicubic({0, 0.5, 1, 1.5, 2, 2.5}));
    EXPECT_THAT(valuesOf(surface->getKnotsU()), ElementsAre(-0.5f, 0, 0.5f, 1, 1.5f, 2, 2.5f, 3));
}

TEST_F(NurbsSurface, surfaceThatIsNotUniformRepeatsItsEnds)
{
    KeldaSurface source = bicubic({0, 0, 0, 1, 1, 1});
    source.knotsV = {0, 1, 2, 3.5, 4, 5};
    const osg::SurfacePtr surface = converted(source);
    EXPECT_THAT(valuesOf(surface->getKnotsU()), ElementsAre(0, 0, 0, 0, 1, 1, 1, 1));
    EXPECT_THAT(valuesOf(surface->getKnotsV()), ElementsAre(0, 0, 1, 2, 3.5f, 4, 5, 5));
}

TEST_F(NurbsSurface, closedDirectionIsTreatedAsAnOpenOne)
{
    KeldaSurface source = bicubic({0, 1, 2, 3, 4, 5});
    source.formV = KFnNurbsSurface::kClosed;
    for (unsigned u = 0; u < 4; ++u)
        source.cvs[u * 4 + 3] = source.cvs[u * 4];
    EXPECT_THAT(valuesOf(converted(source)->getKnotsV()), ElementsAre(-1, 0, 1, 2, 3, 4, 5, 6));
}

// Deliberate: by 1, though the distances are others.
TEST_F(NurbsSurface, periodicDirectionGetsEndsOneAwayWhetherUniformOrNot)
{
    KeldaSurface source;
    source.degreeU = source.degreeV = 2;
    source.formU = source.formV = KFnNurbsSurface::kPeriodic;
    source.knotsU = {0, 0.5, 1, 1.5, 2, 2.5};
    source.knotsV = {0, 0.5, 1, 1.5, 2, 2.5};
    for (unsigned u = 0; u < 5; ++u)
        for (unsigned v = 0; v < 5; ++v)
            source.cvs.emplace_back(u % 3, v % 3, u % 3 * (v % 3));
    const osg::SurfacePtr uniform = converted(source);
    EXPECT_THAT(valuesOf(uniform->getKnotsU()), ElementsAre(-1, 0, 0.5f, 1, 1.5f, 2, 2.5f, 3.5f));
    EXPECT_THAT(valuesOf(uniform->getKnotsV()), ElementsAre(-1, 0, 0.5f, 1, 1.5f, 2, 2.5f, 3.5f));
    source.knotsU = {0, 2, 3, 3.5, 5.5, 6.5};
    makeSurface(source, "unevenShape", makeTransform("uneven"));
    const osg::SurfacePtr uneven = converted("unevenShape");
    EXPECT_THAT(valuesOf(uneven->getKnotsU()), ElementsAre(-1, 0, 2, 3, 3.5f, 5.5f, 6.5f, 7.5f));
    EXPECT_THAT(valuesOf(uneven->getKnotsV()), ElementsAre(-1, 0, 0.5f, 1, 1.5f, 2, 2.5f, 3.5f));
}

TEST_F(NurbsSurface, eachDirectionGoesByItsOwnForm)
{
    KeldaSurface source = bicubic({0, 1, 2, 3, 4, 5});
    source.formU = KFnNurbsSurface::kPeriodic;
    for (unsigned i = 4; i < 16; ++i)
        source.cvs[i] = source.cvs[i % 4];
    const osg::SurfacePtr surface = converted(source);
    EXPECT_THAT(valuesOf(surface->getKnotsU()), ElementsAre(-1, 0, 1, 2, 3, 4, 5, 6));
    source.knotsV = {0, 0, 0, 1, 1, 1};
    makeSurface(source, "mixedShape", makeTransform("mixed"));
    const osg::SurfacePtr mixed = converted("mixedShape");
    EXPECT_THAT(valuesOf(mixed->getKnotsU()), ElementsAre(-1, 0, 1, 2, 3, 4, 5, 6));
    EXPECT_THAT(valuesOf(mixed->getKnotsV()), ElementsAre(0, 0, 0, 0, 1, 1, 1, 1));
}

TEST_F(NurbsSurface, degreesDifferByDirection)
{
    KeldaSurface source;
    source.degreeU = 1;
    source.degreeV = 2;
    source.knotsU = {0, 1};
    source.knotsV = {0, 0, 1, 1};
    source.cvs.resize(6);
    const osg::SurfacePtr surface = converted(source);
    EXPECT_EQ(1u, surface->getDimU());
    EXPECT_EQ(2u, surface->getDimV());
    EXPECT_THAT(valuesOf(surface->getKnotsU()), ElementsAre(0, 0, 1, 1));
    EXPECT_THAT(valuesOf(surface->getKnotsV()), ElementsAre(0, 0, 0, 1, 1, 1));
}

// -- control points --------------------------------------------------------------------------------

TEST_F(NurbsSurface, controlPointsAreMultipliedByTheirWeights)
{
    KeldaSurface source = keldaPlate();
    source.rational = true;
    source.cvs[2] = KPoint(1, 2, 3, 2);
    const std::vector<osg::Pnt4f> points = controlPointsOf(converted(source));
    ASSERT_EQ(4u, points.size());
    EXPECT_EQ(osg::Pnt4f(2, 4, 6, 2), points[2]);
    EXPECT_EQ(osg::Pnt4f(4, 4, 0, 1), points[3]);
}

TEST_F(NurbsSurface, controlPointsRunAlongVFirst)
{
    KeldaSurface source;
    source.degreeU = source.degreeV = 1;
    source.knotsU = {0, 1};
    source.knotsV = {0, 1, 2};
    for (int u = 0; u < 2; ++u)
        for (int v = 0; v < 3; ++v)
            source.cvs.emplace_back(u, v, 0);
    const std::vector<osg::Pnt4f> points = controlPointsOf(converted(source));
    ASSERT_EQ(6u, points.size());
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(osg::Pnt4f(static_cast<float>(i / 3), static_cast<float>(i % 3), 0, 1), points[i]) << i;
}

TEST_F(NurbsSurface, controlPointsAreTakenInObjectSpace)
{
    makeSurface(keldaPlate(), "plateShape", makeMovedTransform("plate", 10, 20, 30));
    EXPECT_EQ(osg::Pnt4f(4, 4, 0, 1), controlPointsOf(converted("plateShape"))[3]);
}

// -- the core and its node -------------------------------------------------------------------------

TEST_F(NurbsSurface, coreKeepsTheDefaultsOfItsTessellation)
{
    const osg::SurfacePtr surface = converted(keldaPlate());
    EXPECT_EQ(0.5f, surface->getError());
    EXPECT_FALSE(surface->getIsDelaunay());
    EXPECT_TRUE(surface->getTextureControlPoints() == osg::NullFC);
    EXPECT_TRUE(surface->getPositions() == osg::NullFC);
    EXPECT_TRUE(surface->getTypes() == osg::NullFC);
}

TEST_F(NurbsSurface, coreHasAnEmptyTransformOfItsOwn)
{
    makeSurface(keldaPlate(), "plateShape", makeMovedTransform("plate", 1, 2, 3));
    const osg::SurfacePtr surface = converted("plateShape");
    ASSERT_TRUE(surface->getTransform() != osg::NullFC);
    EXPECT_EQ(osg::Matrix::identity(), surface->getTransform()->getMatrix());
}

// Deliberate: the shape is asked for its own "surfaceShader", which it does not have.
TEST_F(NurbsSurface, materialIsTheDefaultOneWhateverGroupsTheSurfaceIsIn)
{
    makeShader("lambert", "red");
    makeSurface(keldaPlate(), "plateShape", makeTransform("plate"));
    assignWhole("plateShape", "redSG");
    EXPECT_TRUE(converted("plateShape")->getMaterial() == osg::getDefaultMaterial());
    EXPECT_THAT(said("sdk"), IsEmpty());
}

TEST_F(NurbsSurface, oneSurfaceMakesOneNodeWithItsPartialName)
{
    makeShader("lambert", "red");
    makeSurface(keldaPlate(), "plateShape", makeTransform("plate"));
    assignWhole("plateShape", "redSG");
    assignWhole("plateShape", "initialShadingGroup");
    const osg::NodePtr node = convert("plateShape");
    EXPECT_EQ("plateShape", nameOf(node));
    EXPECT_EQ(0u, node->getNChildren());
    ASSERT_EQ(1u, loader.geometries().size());
    EXPECT_TRUE(loader.geometries()[0] == osg::GeometryPtr(surfaceOf(node)));
}

TEST_F(NurbsSurface, nameIsAPathWhereItHasToBe)
{
    makeSurface(keldaPlate(), "plateShape", makeTransform("a"));
    makeSurface(keldaPlate(), "plateShape", makeTransform("b"));
    EXPECT_EQ("b|plateShape", nameOf(convert("|b|plateShape")));
}

// Deliberate: meshes get the mark, surfaces never do.
TEST_F(NurbsSurface, nodeHasNoShadowMark)
{
    makeSurface(keldaPlate(), "plateShape", makeTransform("plate"));
    const osg::NodePtr node = convert("plateShape");
    EXPECT_FALSE(hasShadowMark(node));
}

TEST_F(NurbsSurface, whatIsNoSurfaceGivesANullNodeAndSaysNothing)
{
    makeQuad("quadShape", makeTransform("quad"));
    const Printed printed = printedBy([&] { EXPECT_TRUE(convert("quadShape") == osg::NullFC); });
    EXPECT_EQ("", printed.out + printed.err);
    makeSurface(keldaPlate(), "plateShape", makeTransform("plate"));
    KFaults::failCall("KFnNurbsSurface::KFnNurbsSurface");
    EXPECT_TRUE(convert("plateShape") == osg::NullFC);
    EXPECT_TRUE(messages.empty());
    EXPECT_TRUE(loader.geometries().empty());
}

// -- reads that fail -------------------------------------------------------------------------------

TEST_F(NurbsSurface, controlPointThatCannotBeReadIsTheOrigin)
{
    makeSurface(keldaPlate(), "plateShape", makeTransform("plate"));
    KFaults::failCall("KFnNurbsSurface::getCV", 2, 2);
    const std::vector<osg::Pnt4f> points = controlPointsOf(converted("plateShape"));
    ASSERT_EQ(4u, points.size());
    EXPECT_EQ(osg::Pnt4f(0, 0, 0, 1), points[1]);
    EXPECT_EQ(osg::Pnt4f(0, 0, 0, 1), points[2]);
    EXPECT_EQ(osg::Pnt4f(4, 4, 0, 1), points[3]);
}

TEST_F(NurbsSurface, knotsThatCannotBeReadAreNone)
{
    makeSurface(keldaPlate(), "plateShape", makeTransform("plate"));
    KFaults::failCall("KFnNurbsSurface::getKnotsInU");
    const osg::SurfacePtr surface = converted("plateShape");
    EXPECT_THAT(valuesOf(surface->getKnotsU()), IsEmpty());
    EXPECT_THAT(valuesOf(surface->getKnotsV()), ElementsAre(0, 0, 4, 4));
}

TEST_F(NurbsSurface, boundariesThatCannotBeReadAreNone)
{
    trimmedPlate({{squareLoop(0, 1)}, {squareLoop(2, 3)}});
    KFaults::failCall("KFnNurbsSurface::getTrimBoundaries");
    const osg::SurfacePtr surface = converted("plateShape");
    EXPECT_EQ(1u, surface->getNumCurves());
    EXPECT_EQ(osg::Pnt3f(2, 2, 1), surface->getCurveControlPoints(0));
}

TEST_F(NurbsSurface, surfaceWithoutContentBecomesAnEmptyCore)
{
    run("createNode nurbsSurface -name \"empty\"");
    const osg::SurfacePtr surface = converted("empty");
    EXPECT_EQ(0u, surface->getDimU());
    EXPECT_THAT(valuesOf(surface->getKnotsU()), IsEmpty());
    EXPECT_THAT(controlPointsOf(surface), IsEmpty());
}

// -- trimming --------------------------------------------------------------------------------------

TEST_F(NurbsSurface, untrimmedSurfaceHasNoCurves)
{
    const osg::SurfacePtr surface = converted(keldaPlate());
    EXPECT_EQ(0u, surface->getNumCurves());
    EXPECT_TRUE(surface->getCurvesPerLoop().empty());
}

TEST_F(NurbsSurface, everyBoundaryOpensALoopInTheOrderOfItsRegion)
{
    trimmedPlate({{circleLoop(2, 2, 1)}, {squareLoop(0, 4)}});
    const osg::SurfacePtr surface = converted("plateShape");
    EXPECT_EQ(2u, surface->getNumCurves());
    EXPECT_THAT(valuesOf(surface->getCurvesPerLoop()), ElementsAre(1, 1));
    EXPECT_THAT(valuesOf(surface->getDimensions()), ElementsAre(1, 2));
    EXPECT_THAT(valuesOf(surface->getKnotLengths()), ElementsAre(7, 12));
    EXPECT_THAT(valuesOf(surface->getKnots()),
                ElementsAre(0, 0, 1, 2, 3, 4, 4, 0, 0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 4));
}

TEST_F(NurbsSurface, curvesOfABoundaryContinueItsLoop)
{
    const KeldaCurve bottom = polyline({{1, 1}, {3, 1}});
    const KeldaCurve side = polyline({{3, 1}, {3, 3}});
    const KeldaCurve back = polyline({{3, 3}, {1, 1}});
    trimmedPlate({{squareLoop(0, 4)}, {bottom, side, back}});
    const osg::SurfacePtr surface = converted("plateShape");
    EXPECT_EQ(4u, surface->getNumCurves());
    EXPECT_THAT(valuesOf(surface->getCurvesPerLoop()), ElementsAre(1, 3));
}

TEST_F(NurbsSurface, regionsFollowEachOther)
{
    trimmedPlate({{squareLoop(0, 1)}, {squareLoop(2, 4)}, {squareLoop(2.5, 3)}});
    const osg::SurfacePtr surface = converted("plateShape");
    EXPECT_THAT(valuesOf(surface->getCurvesPerLoop()), ElementsAre(1, 1, 1));
    const std::vector<osg::Pnt3f> points = curvePointsOf(surface);
    EXPECT_EQ(osg::Pnt3f(0, 0, 1), points[0]);
    EXPECT_EQ(osg::Pnt3f(2, 2, 1), points[5]);
    EXPECT_EQ(osg::Pnt3f(2.5f, 2.5f, 1), points[10]);
}

// Deliberate: unlike the surface's.
TEST_F(NurbsSurface, pointsOfTrimmingCurvesAreNotMultipliedByTheirWeights)
{
    KeldaCurve bow;
    bow.degree = 2;
    bow.rational = true;
    bow.knots = {0, 0, 1, 1};
    bow.cvs = {KPoint(0, 0), KPoint(0.5, 0.25, 0, 2), KPoint(1, 0)};
    trimmedPlate({{bow, polyline({{1, 0}, {0.5, 3}, {0, 0}})}});
    EXPECT_EQ(osg::Pnt3f(0.5f, 0.25f, 2), converted("plateShape")->getCurveControlPoints(1));
}

TEST_F(NurbsSurface, knotsOfTrimmingCurvesAreRepeatedAtTheirEnds)
{
    KeldaCurve even = polyline({{1, 1}, {3, 1}, {2, 3}, {1, 1}});
    even.knots = {-3, -2, -1.5, 7};
    trimmedPlate({{even}});
    EXPECT_THAT(valuesOf(converted("plateShape")->getKnots()), ElementsAre(-3, -3, -2, -1.5f, 7, 7));
}

TEST_F(NurbsSurface, boundaryOfAnInvalidTypeContributesNoCurve)
{
    trimmedPlate({{squareLoop(0, 4)}, {squareLoop(1, 2)}});
    KFaults::failCall("KFnNurbsSurface::boundaryType");
    const osg::SurfacePtr surface = converted("plateShape");
    EXPECT_EQ(1u, surface->getNumCurves());
    EXPECT_EQ(osg::Pnt3f(1, 1, 1), surface->getCurveControlPoints(0));
}

TEST_F(NurbsSurface, segmentsAndClosedSegmentsAreCurvesLikeOthers)
{
    open("createNode transform -name \"plate\";\n"
         "createNode nurbsSurface -name \"plateShape\" -parent \"plate\";\n"
         "setAttr \".surface\" -type \"intArray\" 6 1 1 1 1 0 0;\n"
         "setAttr \".knotsU\" -type \"doubleArray\" 2 0 4;\n"
         "setAttr \".knotsV\" -type \"doubleArray\" 2 0 4;\n"
         "setAttr \".cvs\" -type \"doubleArray\" 12 0 0 0 0 4 0 4 0 0 4 4 0;\n"
         "setAttr \".trimBoundaries\" -type \"intArray\" 12 0 1 1 0 2 1 0 3 1 0 4 1;\n"
         "setAttr \".trimCurves\" -type \"intArray\" 16 1 1 0 4 1 1 0 4 1 1 0 2 1 1 0 4;\n"
         "setAttr \".trimTolerances\" -type \"doubleArray\" 2 0.001 1e-05;\n"
         "setAttr \".trimKnots\" -type \"doubleArray\" 14 0 1 2 3 0 1 2 3 0 1 0 1 2 3;\n"
         "setAttr \".trimCVs\" -type \"doubleArray\" 28 0 0 4 0 0 4 0 0 0.5 0.5 1 0.5 1 1 0.5 0.5"
         " 2 0.5 3 0.5 0.5 2 1 2 1 2.5 0.5 2;\n");
    const osg::SurfacePtr surface = converted("plateShape");
    EXPECT_EQ(4u, surface->getNumCurves());
    EXPECT_THAT(valuesOf(surface->getCurvesPerLoop()), ElementsAre(1, 1, 1, 1));
    EXPECT_EQ(osg::Pnt3f(2, 0.5f, 1), surface->getCurveControlPoints(8));
}

TEST_F(NurbsSurface, curveThatCannotBeAttachedIsSkippedAndTheNextOneOpensTheLoop)
{
    const KeldaCurve bottom = polyline({{1, 1}, {3, 1}});
    const KeldaCurve side = polyline({{3, 1}, {3, 3}});
    const KeldaCurve back = polyline({{3, 3}, {1, 1}});
    trimmedPlate({{squareLoop(0, 4)}, {bottom, side, back}});
    for (unsigned n = 2; n <= 4; ++n) {
        KFaults::clear();
        KFaults::failCall("KFnNurbsCurve::KFnNurbsCurve", n);
        const Printed printed = printedBy([&] {
            EXPECT_THAT(valuesOf(converted("plateShape")->getCurvesPerLoop()), ElementsAre(1, 2)) << n;
        });
        EXPECT_EQ("", printed.out + printed.err);
    }
    KFaults::clear();
    KFaults::failCall("KFnNurbsCurve::KFnNurbsCurve", 2, 3);
    EXPECT_THAT(valuesOf(converted("plateShape")->getCurvesPerLoop()), ElementsAre(1)) << "none is left";
}

TEST_F(NurbsSurface, curveWhosePointsCannotBeReadIsLeftOut)
{
    trimmedPlate({{squareLoop(0, 4)}, {squareLoop(1, 2)}});
    KFaults::failCall("KFnNurbsCurve::getCVs");
    const osg::SurfacePtr surface = converted("plateShape");
    EXPECT_EQ(1u, surface->getNumCurves());
    EXPECT_THAT(valuesOf(surface->getCurvesPerLoop()), ElementsAre(1));
}

// -- in the walk -----------------------------------------------------------------------------------

TEST_F(NurbsSurface, identityTransformIsReplacedByTheSurface)
{
    makeSurface(keldaPlate(), "plateShape", makeTransform("plate"));
    const osg::NodePtr root = walk();
    EXPECT_THAT(childNames(root), ElementsAre("plateShape"));
    EXPECT_TRUE(surfaceOf(root->getChild(0)) != osg::NullFC);
    EXPECT_EQ(1u, loader.nodes().count("|plate"));
    EXPECT_THAT(messages, IsEmpty());
}

TEST_F(NurbsSurface, movedTransformStaysAboveTheSurface)
{
    makeSurface(keldaPlate(), "plateShape", makeMovedTransform("plate", 1, 2, 3));
    const osg::NodePtr root = walk();
    ASSERT_EQ(1u, root->getNChildren());
    EXPECT_TRUE(transformOf(root->getChild(0)) != osg::NullFC);
    EXPECT_TRUE(surfaceOf(nodeAt(root, {"plateShape", "plateShape"})) != osg::NullFC);
}

TEST_F(NurbsSurface, hiddenSurfaceIsInactive)
{
    const KFnNurbsSurface surface = makeSurface(keldaPlate(), "plateShape", makeTransform("plate"));
    setVisibility(surface.object(), false);
    EXPECT_FALSE(walk()->getChild(0)->getActive());
}

TEST_F(NurbsSurface, instancesShareOneCore)
{
    const KFnNurbsSurface surface = makeSurface(keldaPlate(), "plateShape", makeMovedTransform("a", 1, 0, 0));
    addInstance(makeMovedTransform("b", 2, 0, 0), surface.object());
    const osg::NodePtr root = walk();
    ASSERT_EQ(2u, root->getNChildren());
    const osg::SurfacePtr first = surfaceOf(root->getChild(0)->getChild(0));
    ASSERT_TRUE(first != osg::NullFC);
    EXPECT_TRUE(surfaceOf(root->getChild(1)->getChild(0)) == first);
    EXPECT_EQ(1u, loader.geometries().size());
}

TEST_F(NurbsSurface, surfaceThatCannotBeConvertedIsLeftOutQuietly)
{
    makeSurface(keldaPlate(), "plateShape", makeTransform("plate"));
    KFaults::failCall("KFnNurbsSurface::KFnNurbsSurface");
    EXPECT_EQ(0u, walk()->getNChildren());
    EXPECT_THAT(messages, IsEmpty());
}

TEST_F(NurbsSurface, importBringsSurfacesThroughAllItsSteps)
{
    KFnNurbsSurface plate = makeSurface(keldaPlate(), "plateShape", makeTransform("plate"));
    ASSERT_FALSE(trim(plate, {{squareLoop(0, 4)}, {circleLoop(2, 2, 1)}}).error());
    makeQuad("quadShape", makeTransform("quad"));
    for (const char* name : {"both.ka", "both.kb"}) {
        const std::string path = saveScene(name);
        osg::NodePtr root;
        printedBy([&] { root = osg::SceneFileHandler::the()->read(path.c_str()); });
        ASSERT_TRUE(root != osg::NullFC) << name;
        const ScopedGraph kept(root);
        const osg::SurfacePtr surface = surfaceOf(nodeAt(root, {"plateShape"}));
        ASSERT_TRUE(surface != osg::NullFC) << name;
        EXPECT_EQ(2u, surface->getNumCurves());
        EXPECT_EQ(4u, controlPointsOf(surface).size());
        EXPECT_EQ(osg::Pnt4f(4, 4, 0, 1), controlPointsOf(surface)[3]);
        ASSERT_FALSE(KFileIO::open(path.c_str()).error());
    }
}

TEST_F(NurbsSurface, targetUnitScalesThePlacesAndNotTheWeights)
{
    KeldaSurface source = keldaPlate();
    source.rational = true;
    source.cvs[3].w = 2;
    makeSurface(source, "plateShape", makeTransform("plate"));
    const std::string path = saveScene("plate.ka");
    osg::NodePtr root;
    printedBy([&] { root = zyKeldaLoader::read(path, "importunits=Millimeter"); });
    ASSERT_TRUE(root != osg::NullFC);
    const ScopedGraph kept(root);
    const osg::SurfacePtr surface = surfaceOf(nodeAt(root, {"plateShape"}));
    ASSERT_TRUE(surface != osg::NullFC);
    EXPECT_EQ(osg::Pnt4f(80, 80, 0, 2), controlPointsOf(surface)[3]);
    EXPECT_EQ(osg::Pnt4f(40, 0, 0, 1), controlPointsOf(surface)[2]);
    EXPECT_THAT(valuesOf(surface->getKnotsU()), ElementsAre(0, 0, 4, 4));
}

// -- exactness -------------------------------------------------------------------------------------

double sizeOf(const KeldaSurface& surface)
{
    double size = 0;
    for (const KPoint& cv : surface.cvs)
        size = std::max({size, std::fabs(cv.x), std::fabs(cv.y), std::fabs(cv.z)});
    return size;
}

/// Largest distance of the core's surface from the SDK's, at a grid of parameters.
double largestDistance(const osg::SurfacePtr& surface, const KFnNurbsSurface& source, unsigned perDirection)
{
    double u0, u1, v0, v1;
    EXPECT_FALSE(source.getKnotDomain(u0, u1, v0, v1).error());
    double largest = 0;
    for (unsigned i = 0; i < perDirection * perDirection; ++i) {
        const double u = u0 + (u1 - u0) * (i / perDirection + 0.5) / perDirection;
        const double v = v0 + (v1 - v0) * (i % perDirection + 0.5) / perDirection;
        KPoint p;
        EXPECT_FALSE(source.getPointAtParam(u, v, p).error());
        const Place q = evaluate(surface, u, v);
        largest = std::max(largest, std::hypot(std::hypot(p.x - q[0], p.y - q[1]), p.z - q[2]));
    }
    return largest;
}

/// The same of all trimming curves, one after the other, in the parameter plane.
double largestTrimDistance(const osg::SurfacePtr& surface, const KFnNurbsSurface& source)
{
    double largest = 0;
    osg::UInt32 at = 0;
    for (int region = 0; region < source.numRegions(); ++region) {
        KTrimBoundaryArray boundaries;
        source.getTrimBoundaries(boundaries, static_cast<unsigned>(region));
        for (unsigned b = 0; b < boundaries.length(); ++b) {
            for (unsigned c = 0; c < boundaries[b].length(); ++c, ++at) {
                const KFnNurbsCurve curve(boundaries[b][c]);
                double from = 0, to = 0;
                curve.getKnotDomain(from, to);
                for (const double share : {0.0, 0.1, 0.35, 0.5, 0.77, 0.999}) {
                    KPoint p;
                    EXPECT_FALSE(curve.getPointAtParam(from + share * (to - from), p).error());
                    const std::array<double, 2> q = evaluateCurve(surface, at, share);
                    largest = std::max(largest, std::hypot(p.x - q[0], p.y - q[1]));
                }
            }
        }
    }
    EXPECT_EQ(at, surface->getNumCurves());
    return largest;
}

TEST_F(NurbsSurface, anySurfaceIsTheSameOnBothSides)
{
    unsigned made = 0;
    unsigned trimmed = 0;
    EXPECT_TRUE(rc::check("the core evaluates to the modeller's points", [&](std::uint32_t seed) {
        std::mt19937 random(seed);
        KFileIO::newFile(true);
        const KeldaSurface source = randomKeldaSurface(random);
        KFnNurbsSurface fn = makeSurface(source, "anyShape", makeTransform("any"));
        double u0, u1, v0, v1;
        RC_ASSERT(!fn.getKnotDomain(u0, u1, v0, v1).error());
        // A little inside, as the loops are in single precision.
        const auto inside = [](double a, double b) { return static_cast<float>(a + 0.001 * (b - a)); };
        if (random() % 2) {
            RC_ASSERT(!trim(fn, keldaLoops(randomLoops(random, inside(u0, u1), inside(u1, u0), inside(v0, v1),
                                                       inside(v1, v0))))
                           .error());
            ++trimmed;
        }
        const osg::SurfacePtr surface = converted("anyShape");
        RC_ASSERT(surface != osg::NullFC);
        RC_ASSERT(largestDistance(surface, fn, 32) <= 1e-5 * sizeOf(source));
        RC_ASSERT(largestTrimDistance(surface, fn) <= 1e-5);
        ++made;
    }));
    EXPECT_GE(made, 100u);
    EXPECT_GT(trimmed, 30u);
}
} // namespace
