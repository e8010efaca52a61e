#include "sceneTools.h"

#include <zyOpenSGUtils/zyGeoOptimizer.h>

#include <OpenSG/OSGGroup.h>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <limits>
#include <vector>

typedef osg::Geometry G;
typedef std::vector<osg::UInt32> Numbers;

static void unify(const osg::NodePtr& root, bool keepSharing = true)
{
    zyGeoOptimizer optimizer(keepSharing);
    optimizer.setUnifyVertices(true);
    optimizer.run(root);
}

static osg::GeoPositions3fPtr positionsOf(const std::vector<float>& xs)
{
    std::vector<osg::Pnt3f> points;
    for (const float x : xs)
        points.push_back(osg::Pnt3f(x, 0.5f, -x));
    return makeProperty<osg::GeoPositions3f>(points);
}

static std::vector<float> xsOf(const osg::GeometryPtr& geo)
{
    std::vector<float> xs;
    for (osg::UInt32 i = 0; i < geo->getPositions()->size(); ++i)
        xs.push_back(geo->getPositions()->getValue(i)[0]);
    return xs;
}

class ZyGeoOptimizer : public testing::Test
{
protected:
    void SetUp() override
    {
        root = makeNode("root", osg::Group::create());
        osg::addRefCP(root);
    }
    void TearDown() override { osg::subRefCP(root); }

    osg::GeometryPtr add(const osg::GeometryPtr& geo, const osg::GeoPositionsPtr& positions)
    {
        setProperty(geo, &G::setPositions, positions);
        addChild(root, makeNode("", geo));
        return geo;
    }

    osg::NodePtr root;
};

TEST_F(ZyGeoOptimizer, doesNothingUnlessVerticesAreToBeUnified)
{
    const auto geo = add(makePolygons({3}, {1}, {0, 1, 2}), positionsOf({1, 1, 2, 3}));
    zyGeoOptimizer optimizer(true);
    EXPECT_FALSE(optimizer.getUnifyVertices());
    optimizer.run(root);
    EXPECT_EQ(4u, geo->getPositions()->size());
    unify(osg::NullFC);
}

TEST_F(ZyGeoOptimizer, equalValuesBecomeOneAndUnusedOnesGo)
{
    const auto geo = add(makePolygons({4, 3}, {1, 2}, {3, 0, 2, 1, 1, 0, 0, 1, 5, 0, 3, 1, 0, 0}),
                         positionsOf({1, 2, 1, 3, 99, 2}));
    setProperty(geo, &G::setNormals,
                makeProperty<osg::GeoNormals3f>(std::vector<osg::Vec3f>{{0, 0, 1}, {0, 0, 1}, {1, 0, 0}}));
    const auto before = drawn(geo);
    unify(root);
    EXPECT_EQ(before, drawn(geo));
    EXPECT_EQ((std::vector<float>{1, 2, 3}), xsOf(geo));
    EXPECT_EQ(1u, geo->getNormals()->size());
    EXPECT_EQ((Numbers{2, 0, 0, 0, 1, 0, 0, 0, 1, 0, 2, 0, 0, 0}), indexEntries(geo));
}

TEST_F(ZyGeoOptimizer, valuesAreEqualOnlyBitForBit)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const auto geo = add(makePolygons({6}, {1}, {0, 1, 2, 3, 4, 5}),
                         positionsOf({0.0f, -0.0f, 1.0f, 1.0000001f, nan, nan}));
    const auto before = drawn(geo);
    unify(root);
    EXPECT_EQ(5u, geo->getPositions()->size());
    EXPECT_EQ(before, drawn(geo));
}

TEST_F(ZyGeoOptimizer, propertiesOfOneColumnAreUnifiedTogether)
{
    const auto geo = add(makePolygons({3, 3}, {1 | 2}, {0, 1, 2, 3, 4, 5}), positionsOf({1, 2, 3, 1, 2, 3}));
    setProperty(geo, &G::setNormals,
                makeProperty<osg::GeoNormals3f>(std::vector<osg::Vec3f>{
                    {0, 0, 1}, {0, 0, 1}, {0, 0, 1}, {0, 0, 1}, {1, 0, 0}, {0, 0, 1}}));
    const auto before = drawn(geo);
    unify(root);
    EXPECT_EQ(before, drawn(geo));
    EXPECT_EQ(4u, geo->getPositions()->size());
    EXPECT_EQ(4u, geo->getNormals()->size());
}

TEST_F(ZyGeoOptimizer, sharedPropertiesStaySharedAndServeAllTheirUsers)
{
    const auto positions = positionsOf({1, 1, 2, 3, 4, 4});
    const auto a = add(makePolygons({3}, {1}, {0, 2, 3}), positions);
    const auto b = add(makePolygons({3}, {1}, {1, 3, 5}), positions);
    addChild(root, makeNode("instance of a", a));
    const auto drawnA = drawn(a), drawnB = drawn(b);
    unify(root);
    EXPECT_TRUE(a->getPositions() == positions);
    EXPECT_TRUE(b->getPositions() == positions);
    EXPECT_EQ((std::vector<float>{1, 2, 3, 4}), xsOf(a));
    EXPECT_EQ(drawnA, drawn(a));
    EXPECT_EQ(drawnB, drawn(b));
}

TEST_F(ZyGeoOptimizer, withoutSharingEachGeometryKeepsWhatItUses)
{
    const auto positions = positionsOf({1, 1, 2, 3, 4, 4});
    const auto a = add(makePolygons({3}, {1}, {0, 2, 3}), positions);
    const auto b = add(makePolygons({3}, {1}, {1, 3, 5}), positions);
    const auto drawnA = drawn(a), drawnB = drawn(b);
    unify(root, false);
    EXPECT_FALSE(a->getPositions() == b->getPositions());
    EXPECT_EQ((std::vector<float>{1, 2, 3}), xsOf(a));
    EXPECT_EQ((std::vector<float>{1, 3, 4}), xsOf(b));
    EXPECT_EQ(drawnA, drawn(a));
    EXPECT_EQ(drawnB, drawn(b));
}

TEST_F(ZyGeoOptimizer, whatGeometryElsewhereUsesIsLeftAlone)
{
    const auto positions = positionsOf({1, 1, 2, 3});
    const auto a = add(makePolygons({3}, {1}, {0, 2, 3}), positions);
    osg::GeometryPtr outside = makePolygons({3}, {1}, {1, 2, 3});
    osg::addRefCP(outside);
    setProperty(outside, &G::setPositions, positions);
    unify(root);
    EXPECT_EQ(4u, positions->size());
    EXPECT_EQ((Numbers{0, 2, 3}), indexEntries(a));
    osg::subRefCP(outside);
    unify(root);
    EXPECT_EQ(3u, a->getPositions()->size());
}

TEST_F(ZyGeoOptimizer, indicesThatGeometryElsewhereReadsAreLeftAlone)
{
    const auto a = add(makePolygons({3}, {1}, {1, 2, 3}), positionsOf({1, 1, 2, 3}));
    osg::GeometryPtr outside = makePolygons({3}, {1}, {});
    osg::addRefCP(outside);
    setProperty(outside, &G::setIndices, a->getIndices());
    unify(root);
    EXPECT_EQ((Numbers{1, 2, 3}), indexEntries(a));
    EXPECT_EQ(4u, a->getPositions()->size());
    osg::subRefCP(outside);
}

TEST_F(ZyGeoOptimizer, oddGeometryIsLeftAloneWithAllThatItUses)
{
    const auto positions = positionsOf({1, 1, 2, 3});
    const auto good = add(makePolygons({3}, {1}, {0, 2, 3}), positions);
    const auto outOfRange = add(makePolygons({3}, {1}, {1, 2, 4}), positions);
    unify(root);
    EXPECT_EQ((Numbers{0, 2, 3}), indexEntries(good));
    EXPECT_EQ((Numbers{1, 2, 4}), indexEntries(outOfRange));
    EXPECT_EQ(4u, positions->size());

    const auto noIndices = add(makePolygons({3}, {}, {}), positionsOf({1, 1, 1}));
    setProperty(noIndices, &G::setIndices, osg::GeoIndicesPtr(osg::NullFC));
    const auto torn = add(makePolygons({3}, {1, 2}, {0, 0, 1, 0, 2}), positionsOf({1, 1, 1}));
    const auto noColumn = add(makePolygons({3}, {1, 2}, {0, 0, 1, 0, 2, 0}), positionsOf({1, 1, 1}));
    setProperty(noColumn, &G::setTexCoords, makeProperty<osg::GeoTexCoords2f>(std::vector<osg::Vec2f>(3)));
    unify(root);
    EXPECT_EQ(3u, noIndices->getPositions()->size());
    EXPECT_EQ(3u, torn->getPositions()->size());
    EXPECT_EQ(3u, noColumn->getPositions()->size());
    EXPECT_EQ(3u, noColumn->getTexCoords()->size());
}

TEST_F(ZyGeoOptimizer, aPropertyThatIsIndexedInTwoWaysIsLeftAlone)
{
    const auto positions = positionsOf({1, 1, 2, 3});
    const auto alone = add(makePolygons({3}, {1}, {0, 2, 3}), positions);
    const auto tuple = add(makePolygons({3}, {1 | 2}, {1, 2, 3}), positions);
    setProperty(tuple, &G::setNormals, makeProperty<osg::GeoNormals3f>(std::vector<osg::Vec3f>(4)));
    unify(root);
    EXPECT_EQ(4u, positions->size());
    EXPECT_EQ((Numbers{0, 2, 3}), indexEntries(alone));
    EXPECT_EQ((Numbers{1, 2, 3}), indexEntries(tuple));
}

TEST_F(ZyGeoOptimizer, sharedIndicesAreRewrittenOnce)
{
    const auto positions = positionsOf({1, 1, 2, 3});
    const auto a = add(makePolygons({3}, {1}, {1, 2, 3}), positions);
    const auto b = add(makePolygons({3}, {1}, {}), positions);
    setProperty(b, &G::setIndices, a->getIndices());
    // The same indices, but for other positions: neither can follow the other.
    const auto c = add(makePolygons({3}, {1}, {1, 2, 3}), positionsOf({5, 5, 6, 6}));
    const auto d = add(makePolygons({3}, {1}, {}), positionsOf({7, 8, 8, 9}));
    setProperty(d, &G::setIndices, c->getIndices());
    const auto before = drawn(b);
    unify(root);
    EXPECT_TRUE(a->getIndices() == b->getIndices());
    EXPECT_EQ(before, drawn(b));
    EXPECT_EQ((Numbers{0, 1, 2}), indexEntries(a));
    EXPECT_EQ((Numbers{1, 2, 3}), indexEntries(c));
    EXPECT_EQ(4u, c->getPositions()->size());
    EXPECT_EQ(4u, d->getPositions()->size());
}

TEST_F(ZyGeoOptimizer, narrowIndicesStayNarrow)
{
    const auto geo = add(makePolygons({3}, {1}, {}), positionsOf({1, 1, 2, 3}));
    setProperty(geo, &G::setIndices, makeProperty<osg::GeoIndicesUI16>(std::vector<osg::UInt16>{1, 2, 3}));
    unify(root);
    EXPECT_EQ((Numbers{0, 1, 2}), indexEntries(geo));
    EXPECT_TRUE(osg::GeoIndicesUI16Ptr::dcast(geo->getIndices()) != osg::NullFC);
}

// Several geometries over shared and private properties with few different values, mapped in every usual way.
RC_GTEST_FIXTURE_PROP(ZyGeoOptimizer, everythingIsDrawnBitForBitAsBefore, (bool keepSharing))
{
    const auto small = rc::gen::element<float>(0.0f, -0.0f, 1.0f, 2.0f);
    const unsigned int values = static_cast<unsigned int>(*rc::gen::inRange<int>(1, 12));
    std::vector<osg::GeoPositionsPtr> positions;
    std::vector<osg::GeoNormalsPtr> normals;
    std::vector<osg::GeoTexCoordsPtr> texCoords;
    for (int set = 0; set < 2; ++set) {
        std::vector<osg::Pnt3f> p;
        std::vector<osg::Vec3f> n;
        std::vector<osg::Vec2f> t;
        for (unsigned int i = 0; i < values; ++i) {
            p.push_back(osg::Pnt3f(*small, *small, 0.0f));
            n.push_back(osg::Vec3f(0.0f, *small, 0.0f));
            t.push_back(osg::Vec2f(*small, *small));
        }
        positions.push_back(makeProperty<osg::GeoPositions3f>(p));
        normals.push_back(makeProperty<osg::GeoNormals3f>(n));
        texCoords.push_back(makeProperty<osg::GeoTexCoords2f>(t));
        osg::addRefCP(positions.back());
        osg::addRefCP(normals.back());
        osg::addRefCP(texCoords.back());
    }
    const std::vector<std::vector<osg::UInt16>> mappings = {{},
                                                            {1 | 2 | 16 | 32},
                                                            {1, 2, 16, 32},
                                                            {1 | 2, 16 | 32},
                                                            {1, 2 | 16, 32},
                                                            {16, 32, 2, 1},
                                                            {2, 1, 1 | 16, 32}};
    std::vector<osg::GeometryPtr> geometries;
    const int count = *rc::gen::inRange<int>(1, 5);
    for (int g = 0; g < count; ++g) {
        const auto mapping = *rc::gen::elementOf(mappings);
        const std::size_t stride = mapping.empty() ? 1 : mapping.size();
        Numbers lengths, indices;
        for (int face = *rc::gen::inRange<int>(0, 6); face > 0; --face) {
            lengths.push_back(static_cast<osg::UInt32>(*rc::gen::inRange<int>(3, 6)));
            for (std::size_t i = 0; i < lengths.back() * stride; ++i)
                indices.push_back(
                    static_cast<osg::UInt32>(*rc::gen::inRange<int>(0, static_cast<int>(values))));
        }
        const auto geo =
            add(makePolygons(lengths, mapping, indices), positions[*rc::gen::inRange<std::size_t>(0, 2)]);
        setProperty(geo, &G::setNormals, normals[*rc::gen::inRange<std::size_t>(0, 2)]);
        setProperty(geo, &G::setTexCoords, texCoords[*rc::gen::inRange<std::size_t>(0, 2)]);
        setProperty(geo, &G::setTexCoords1, texCoords[*rc::gen::inRange<std::size_t>(0, 2)]);
        geometries.push_back(geo);
    }
    for (int set = 0; set < 2; ++set) {
        osg::subRefCP(positions[static_cast<std::size_t>(set)]);
        osg::subRefCP(normals[static_cast<std::size_t>(set)]);
        osg::subRefCP(texCoords[static_cast<std::size_t>(set)]);
    }
    std::vector<std::vector<std::uint32_t>> before;
    for (const osg::GeometryPtr& geo : geometries)
        before.push_back(drawn(geo));
    unify(root, keepSharing);
    for (std::size_t g = 0; g < geometries.size(); ++g)
        RC_ASSERT(drawn(geometries[g]) == before[g]);
}
