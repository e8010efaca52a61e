#include "helpers.h"

#include <OpenSG/OSGSimpleGeometry.h>
#include <OpenSG/OSGSurface.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

using namespace osg;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace
{

std::vector<Pnt2f> line2(Real32 u0, Real32 v0, Real32 u1, Real32 v1)
{
    return {Pnt2f(u0, v0), Pnt2f(u1, v1)};
}

std::vector<Real64> lineKnots()
{
    return {0, 0, 1, 1};
}

/// Makes the curves of two loops: a polygon of two lines and a closed curve of degree 2.
void addTwoLoops(const SurfacePtr& surface)
{
    const CPEditor edit(surface, Surface::CurveFieldMask);
    std::vector<Real64> knots = lineKnots();
    std::vector<Pnt2f> there = line2(0, 0, 1, 0);
    std::vector<Pnt2f> back = line2(1, 0, 0, 0);
    surface->addCurve(1, knots, there, true);
    surface->addCurve(1, knots, back);
    std::vector<Real64> arcKnots{0, 0, 0, .5, 1, 1, 1};
    std::vector<Pnt3f> arc{Pnt3f(.1f, .1f, 1), Pnt3f(.2f, .1f, .5f), Pnt3f(.2f, .2f, .5f),
                           Pnt3f(.1f, .1f, 1)};
    surface->addCurve(2, arcKnots, arc, true);
}

} // namespace

// -- Fields -----------------------------------------------------------------------------------

TEST(Surface, isAGeometryWithTheDefaultsOfAnEmptySurface)
{
    const New<Surface> surface;
    EXPECT_TRUE(surface->getType().isDerivedFrom(Geometry::getClassType()));
    EXPECT_EQ(0u, surface->getDimU());
    EXPECT_EQ(0u, surface->getDimV());
    EXPECT_TRUE(surface->getKnotsU().empty());
    EXPECT_TRUE(surface->getKnotsV().empty());
    EXPECT_TRUE(surface->getControlPoints() == NullFC);
    EXPECT_EQ(.5f, surface->getError());
    EXPECT_EQ(0u, surface->getNumCurves());
    EXPECT_FALSE(surface->getIsDelaunay());
    EXPECT_TRUE(surface->getTextureControlPoints() == NullFC);
    EXPECT_EQ(0u, surface->getDirtyMask());
}

TEST(Surface, fieldsHaveTheirNumbersNamesAndTypes)
{
    const struct {
        UInt32 id;
        const char* name;
        const char* type;
    } rows[] = {{28, "dimU", "SFUInt32"},
                {29, "dimV", "SFUInt32"},
                {30, "knotsU", "MFReal32"},
                {31, "knotsV", "MFReal32"},
                {32, "controlPoints", "SFGeoPositionsPtr"},
                {33, "error", "SFReal32"},
                {34, "numCurves", "SFUInt32"},
                {35, "knotLengths", "MFUInt32"},
                {36, "dimensions", "MFUInt32"},
                {37, "curveControlPoints", "MFPnt3f"},
                {38, "knots", "MFReal32"},
                {39, "curvesPerLoop", "MFUInt32"},
                {40, "isDelaunay", "SFBool"},
                {41, "textureControlPoints", "SFGeoTexCoordsPtr"},
                {42, "dirtyMask", "SFUInt32"},
                {43, "SurfaceGLId", "SFInt32"}};
    const FieldContainerType& type = Surface::getClassType();
    EXPECT_EQ(43u, type.getNumFieldDescs());
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const FieldDescription* const description = type.getFieldDescription(row.id);
        EXPECT_STREQ(row.name, description->getCName());
        EXPECT_STREQ(row.type, description->getType().getCName());
        EXPECT_EQ(row.id == 43, description->isInternal());
    }
}

TEST(Surface, masksOfTheTrimmingAndOfTheRest)
{
    EXPECT_EQ(BitVector(0xfc00000000), Surface::CurveFieldMask);
    EXPECT_EQ(BitVector(0x303f0000000), Surface::SurfaceFieldMask);
}

TEST(Surface, trimFieldsAreReachedByName)
{
    const New<Surface> surface;
    addTwoLoops(surface);
    EXPECT_EQ(3u, static_cast<SFUInt32*>(surface->getField("numCurves"))->getValue());
    EXPECT_EQ(2u, static_cast<MFUInt32*>(surface->getField("curvesPerLoop"))->size());
}

// -- Trimming curves --------------------------------------------------------------------------

TEST(Surface, curvesAreAppendedOneBehindTheOther)
{
    const New<Surface> surface;
    addTwoLoops(surface);
    EXPECT_EQ(3u, surface->getNumCurves());
    EXPECT_THAT(surface->getKnotLengths(), ElementsAre(4, 4, 7));
    EXPECT_THAT(surface->getDimensions(), ElementsAre(1, 1, 2));
    EXPECT_THAT(surface->getCurvesPerLoop(), ElementsAre(2, 1));
    EXPECT_THAT(surface->getKnots(), ElementsAre(0, 0, 1, 1, 0, 0, 1, 1, 0, 0, 0, .5f, 1, 1, 1));
    EXPECT_THAT(surface->getCurveControlPoints(),
                ElementsAre(Pnt3f(0, 0, 1), Pnt3f(1, 0, 1), Pnt3f(1, 0, 1), Pnt3f(0, 0, 1),
                            Pnt3f(.1f, .1f, 1), Pnt3f(.2f, .1f, .5f), Pnt3f(.2f, .2f, .5f),
                            Pnt3f(.1f, .1f, 1)));
}

TEST(Surface, firstCurveOpensALoopThoughNotToldTo)
{
    const New<Surface> surface;
    const CPEditor edit(surface.get(), Surface::CurveFieldMask);
    std::vector<Real64> knots = lineKnots();
    std::vector<Pnt2f> points = line2(0, 0, 1, 1);
    surface->addCurve(1, knots, points, false);
    EXPECT_THAT(surface->getCurvesPerLoop(), ElementsAre(1));
    surface->addCurve(1, knots, points);
    EXPECT_THAT(surface->getCurvesPerLoop(), ElementsAre(2));
}

TEST(Surface, curveWithTooFewOrTooManyKnotsIsIgnored)
{
    const New<Surface> surface;
    const CPEditor edit(surface.get(), Surface::CurveFieldMask);
    std::vector<Pnt3f> points{Pnt3f(0, 0, 1), Pnt3f(1, 1, 1)};
    for (const std::size_t count : {0u, 3u, 5u}) {
        std::vector<Real64> knots(count, 1);
        surface->addCurve(1, knots, points, true);
    }
    std::vector<Real64> knots = lineKnots();
    surface->addCurve(0xffffffffu, knots, points, true);
    EXPECT_EQ(0u, surface->getNumCurves());
    EXPECT_THAT(surface->getKnotLengths(), IsEmpty());
    EXPECT_THAT(surface->getDimensions(), IsEmpty());
    EXPECT_THAT(surface->getKnots(), IsEmpty());
    EXPECT_THAT(surface->getCurveControlPoints(), IsEmpty());
    EXPECT_THAT(surface->getCurvesPerLoop(), IsEmpty());
}

TEST(Surface, removingTheCurvesEmptiesTheirSixFields)
{
    const New<Surface> surface;
    addTwoLoops(surface);
    const CPEditor edit(surface.get(), Surface::CurveFieldMask);
    surface->removeCurves();
    EXPECT_EQ(0u, surface->getNumCurves());
    EXPECT_THAT(surface->getKnotLengths(), IsEmpty());
    EXPECT_THAT(surface->getDimensions(), IsEmpty());
    EXPECT_THAT(surface->getKnots(), IsEmpty());
    EXPECT_THAT(surface->getCurveControlPoints(), IsEmpty());
    EXPECT_THAT(surface->getCurvesPerLoop(), IsEmpty());
}

// Deliberate: what somebody else put into the arrays without counting curves stays.
TEST(Surface, removingNothingLeavesTheArraysAlone)
{
    const New<Surface> surface;
    const CPEditor edit(surface.get(), Surface::CurveFieldMask);
    surface->getKnots().push_back(7);
    surface->removeCurves();
    EXPECT_THAT(surface->getKnots(), ElementsAre(7));
}

TEST(Surface, curvesAreAddedInsideAnEditOfTheirMask)
{
    const New<Surface> surface;
    const EditCheck before = osgSetEditCheck(EditCheck::Fail);
    std::vector<Real64> knots = lineKnots();
    std::vector<Pnt2f> points = line2(0, 0, 1, 1);
    EXPECT_THROW(surface->addCurve(1, knots, points), std::logic_error);
    EXPECT_EQ(0u, surface->getNumCurves());
    EXPECT_NO_THROW(addTwoLoops(surface));
    EXPECT_THROW(surface->removeCurves(), std::logic_error);
    EXPECT_EQ(3u, surface->getNumCurves());
    osgSetEditCheck(before);
}

// -- Changes ----------------------------------------------------------------------------------

TEST(Surface, endOfAnEditTellsWhatIsOutOfDate)
{
    const auto after = [](BitVector mask) {
        const New<Surface> surface;
        endEditCP(surface.get(), mask);
        return surface->getDirtyMask();
    };
    EXPECT_EQ(1u, after(Surface::CurveFieldMask));
    EXPECT_EQ(1u, after(Surface::KnotsFieldMask));
    EXPECT_EQ(1u, after(Surface::SurfaceFieldMask));
    EXPECT_EQ(1u, after(Surface::KnotsUFieldMask | Surface::ErrorFieldMask));
    EXPECT_EQ(1u, after(FieldBits::AllFields));
    EXPECT_EQ(2u, after(Surface::ErrorFieldMask));
    EXPECT_EQ(2u, after(Surface::IsDelaunayFieldMask));
    EXPECT_EQ(0u, after(Surface::MaterialFieldMask));
}

TEST(Surface, countsItsControlPointsAndIsTheirParent)
{
    SurfacePtr surface = Surface::create();
    const New<GeoPositions4f> points;
    const New<GeoTexCoords2f> textured;
    beginEditCP(surface);
    surface->setControlPoints(points.get());
    surface->setTextureControlPoints(textured.get());
    endEditCP(surface);
    EXPECT_EQ(2, points.get().getRefCount());
    EXPECT_EQ(0, points->findParent(surface));
    EXPECT_EQ(2, textured.get().getRefCount());
    surface->getDirtyMask() = 0;
    {
        const CPEditor edit(points.get());
        points->getField().push_back(Pnt4f(1, 2, 3, 1));
    }
    EXPECT_EQ(1u, surface->getDirtyMask());
    subRefCP(surface);
    EXPECT_EQ(1, points.get().getRefCount());
    EXPECT_TRUE(points->getParents().empty());
    EXPECT_EQ(1, textured.get().getRefCount());
}

TEST(Surface, cloneSharesTheControlPointsAndCopiesTheCurves)
{
    const New<Surface> surface;
    addTwoLoops(surface);
    const New<GeoPositions4f> points;
    {
        const CPEditor edit(surface.get());
        surface->setControlPoints(points.get());
        surface->getKnotsU().push_back(3);
        surface->setTransform(Transform3D::create());
    }
    const Kept<SurfacePtr> copy(surface->clone());
    EXPECT_EQ(1, copy.get().getRefCount());
    EXPECT_EQ(points.get(), copy->getControlPoints());
    EXPECT_EQ(3, points.get().getRefCount());
    EXPECT_THAT(copy->getKnotsU(), ElementsAre(3));
    EXPECT_THAT(copy->getCurvesPerLoop(), ElementsAre(2, 1));
    EXPECT_TRUE(copy->getTransform() != NullFC);
    EXPECT_TRUE(copy->getTransform() != surface->getTransform());
}

// -- Volume -----------------------------------------------------------------------------------

namespace
{

BoxVolume boxOf(const SurfacePtr& surface)
{
    const Kept<NodePtr> node(Node::create());
    {
        const CPEditor edit(node.get());
        node->setCore(surface);
    }
    node->updateVolume();
    Pnt3f low, high;
    node->getVolume().getBounds(low, high);
    return BoxVolume(low, high);
}

} // namespace

TEST(Surface, volumeIsTheBoxOfTheControlPointsDividedByTheirWeights)
{
    const New<Surface> surface;
    const New<GeoPositions4f> points;
    points->getField().push_back(Pnt4f(2, 4, 6, 2));
    points->getField().push_back(Pnt4f(-1, 0, 8, 1));
    points->getField().push_back(Pnt4f(900, 900, 900, 0));
    {
        const CPEditor edit(surface.get());
        surface->setControlPoints(points.get());
    }
    EXPECT_EQ(Pnt3f(-1, 0, 3), boxOf(surface).getMin());
    EXPECT_EQ(Pnt3f(1, 2, 8), boxOf(surface).getMax());
}

TEST(Surface, volumeOfAPolynomialSurfaceFollowsItsOwnTransform)
{
    const New<Surface> surface;
    const New<GeoPositions3f> points;
    points->push_back(Pnt3f(0, 0, 0));
    points->push_back(Pnt3f(1, 2, 3));
    const Transform3DPtr transform = Transform3D::create();
    {
        const CPEditor edit(transform);
        transform->setTranslation(Vec3f(10, 0, 0));
    }
    {
        const CPEditor edit(surface.get());
        surface->setControlPoints(points.get());
        surface->setTransform(transform);
    }
    EXPECT_EQ(Pnt3f(10, 0, 0), boxOf(surface).getMin());
    EXPECT_EQ(Pnt3f(11, 2, 3), boxOf(surface).getMax());
}

TEST(Surface, changedControlPointsChangeTheVolumeOfTheirNodes)
{
    const New<Surface> surface;
    const New<GeoPositions4f> points;
    points->getField().push_back(Pnt4f(0, 0, 0, 1));
    const New<Node> node;
    {
        const CPEditor edit(node.get());
        node->setCore(surface.get());
    }
    {
        const CPEditor edit(surface.get());
        surface->setControlPoints(points.get());
    }
    node->updateVolume();
    {
        const CPEditor edit(points.get());
        points->getField().push_back(Pnt4f(8, 0, 0, 2));
    }
    node->updateVolume();
    Pnt3f low, high;
    node->getVolume().getBounds(low, high);
    EXPECT_EQ(Pnt3f(4, 0, 0), high);
}
