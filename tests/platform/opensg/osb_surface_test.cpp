#include "helpers.h"
#include "osb_bytes.h"

#include <OpenSG/OSGSurface.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace osg;
using ::testing::ElementsAre;

namespace
{

/// A bilinear, rational surface with one loop of one curve.
NodePtr makeSurfaceNode()
{
    const NodePtr node = Node::create();
    const SurfacePtr surface = Surface::create();
    const GeoPositions4fPtr points = GeoPositions4f::create();
    for (const Pnt4f& point :
         {Pnt4f(0, 0, 0, 1), Pnt4f(0, 2, 0, 2), Pnt4f(1, 0, 0, 1), Pnt4f(.5f, .5f, .25f, .5f)}) {
        points->getField().push_back(point);
    }
    {
        const CPEditor edit(surface);
        surface->setDimU(1);
        surface->setDimV(1);
        for (const Real32 knot : {0.f, 0.f, 1.f, 1.f}) {
            surface->getKnotsU().push_back(knot);
            surface->getKnotsV().push_back(knot * 2);
        }
        surface->setControlPoints(points);
        surface->setError(.125f);
        std::vector<Real64> knots{0, 0, 0, .5, 1, 1, 1};
        std::vector<Pnt3f> curve{Pnt3f(.1f, .1f, 1), Pnt3f(.9f, .1f, .5f), Pnt3f(.9f, 1.9f, .5f),
                                 Pnt3f(.1f, .1f, 1)};
        surface->addCurve(2, knots, curve, true);
    }
    const CPEditor edit(node);
    node->setCore(surface);
    return node;
}

} // namespace

TEST(OsbSurface, isReadAsItWasWritten)
{
    const NothingLeft nothingLeft;
    const Kept<NodePtr> node(makeSurfaceNode());
    const std::string bytes = writeOsb(node);
    const Kept<NodePtr> read(readOsb(bytes));
    ASSERT_TRUE(read.get() != NullFC);
    const SurfacePtr surface = SurfacePtr::dcast(read->getCore());
    ASSERT_TRUE(surface != NullFC);
    EXPECT_EQ(1u, surface->getDimU());
    EXPECT_THAT(surface->getKnotsU(), ElementsAre(0, 0, 1, 1));
    EXPECT_THAT(surface->getKnotsV(), ElementsAre(0, 0, 2, 2));
    const GeoPositions4fPtr points = GeoPositions4fPtr::dcast(surface->getControlPoints());
    ASSERT_TRUE(points != NullFC);
    EXPECT_THAT(points->getField(), ElementsAre(Pnt4f(0, 0, 0, 1), Pnt4f(0, 2, 0, 2), Pnt4f(1, 0, 0, 1),
                                                Pnt4f(.5f, .5f, .25f, .5f)));
    EXPECT_EQ(.125f, surface->getError());
    EXPECT_EQ(1u, surface->getNumCurves());
    EXPECT_THAT(surface->getKnotLengths(), ElementsAre(7));
    EXPECT_THAT(surface->getDimensions(), ElementsAre(2));
    EXPECT_THAT(surface->getCurvesPerLoop(), ElementsAre(1));
    EXPECT_THAT(surface->getKnots(), ElementsAre(0, 0, 0, .5f, 1, 1, 1));
    EXPECT_THAT(surface->getCurveControlPoints(), ElementsAre(Pnt3f(.1f, .1f, 1), Pnt3f(.9f, .1f, .5f),
                                                              Pnt3f(.9f, 1.9f, .5f), Pnt3f(.1f, .1f, 1)));
    EXPECT_EQ(bytes, writeOsb(read));
}

TEST(OsbSurface, recordIsGenericAndItsFieldsFollowThoseOfAGeometry)
{
    const NothingLeft nothingLeft;
    const Kept<NodePtr> node(makeSurfaceNode());
    const std::string bytes = writeOsb(node);
    std::size_t at = bytes.find(std::string("\0\0\0\x08Surface\0", 12));
    ASSERT_NE(std::string::npos, at);
    EXPECT_EQ(3, bytes[at + 12 + 4]) << "a record that tells its kind";
    for (const char* name :
         {"material", "positions", "vbo", "dimU", "dimV", "knotsU", "knotsV", "controlPoints", "error",
          "numCurves", "knotLengths", "dimensions", "curveControlPoints", "knots", "curvesPerLoop",
          "isDelaunay", "textureControlPoints", "dirtyMask"}) {
        const std::size_t next = bytes.find(std::string(name) + '\0', at);
        ASSERT_NE(std::string::npos, next) << name;
        at = next;
    }
    EXPECT_EQ(std::string::npos, bytes.find("SurfaceGLId"));
}

TEST(OsbSurface, fileThatIsCutAnywhereGivesNothing)
{
    const NothingLeft nothingLeft;
    const Kept<NodePtr> node(makeSurfaceNode());
    const std::string bytes = writeOsb(node);
    logOf([&] {
        for (std::size_t length = 0; length + 5 < bytes.size(); ++length) {
            EXPECT_TRUE(readOsb(bytes.substr(0, length)) == NullFC) << length;
        }
    });
}
