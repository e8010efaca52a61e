#include "sceneTools.h"

#include <zyOpenSGUtils/zyNodeUtils.h>
#include <zyUtils/zyLog.h>

#include <OpenSG/OSGGroup.h>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

typedef osg::Geometry G;

// Collects what is reported; standard error stays quiet meanwhile.
class ZyRepair : public testing::Test
{
protected:
    void SetUp() override
    {
        zyLog::setDefaultSinkEnabled(false);
        _sink = zyLog::addSink([this](zyLog::Level level, const std::string& text) {
            if (level == zyLog::Warning)
                warnings.push_back(text);
        });
        zyNodeUtils::setRepairObserver(
            [this](const zyNodeUtils::Repair& repair) { repairs.push_back(repair); });
        root = makeNode("root", osg::Group::create());
        osg::addRefCP(root);
    }
    void TearDown() override
    {
        osg::subRefCP(root);
        zyNodeUtils::setRepairObserver(nullptr);
        zyLog::removeSink(_sink);
        zyLog::setDefaultSinkEnabled(true);
    }

    // Hangs a geometry with `points` positions below the root.
    osg::GeometryPtr add(const osg::GeometryPtr& geo, unsigned int points, const std::string& name = "hood")
    {
        setProperty(geo, &G::setPositions, makePositions(points));
        addChild(root, makeNode(name, geo));
        return geo;
    }
    static std::vector<osg::UInt32> lengths(const osg::GeometryPtr& geo)
    {
        std::vector<osg::UInt32> result;
        for (osg::UInt32 i = 0; i < geo->getLengths()->size(); ++i)
            result.push_back(geo->getLengths()->getValue(i));
        return result;
    }

    osg::NodePtr root;
    std::vector<std::string> warnings;
    std::vector<zyNodeUtils::Repair> repairs;

private:
    unsigned int _sink = 0;
};

typedef std::vector<osg::UInt32> Numbers;

TEST_F(ZyRepair, soundGeometryIsOnlyRead)
{
    const auto geo = add(makePolygons({3, 4}, {1, 2}, {0, 0, 1, 0, 2, 1, 2, 1, 1, 0, 3, 0, 4, 0}), 5);
    setProperty(geo, &G::setNormals, makeProperty<osg::GeoNormals3f>(std::vector<osg::Vec3f>(2)));
    const auto before = drawn(geo);
    const auto indices = geo->getIndices();
    EXPECT_EQ(0u, zyNodeUtils::repairGeometry(root));
    EXPECT_EQ(before, drawn(geo));
    EXPECT_TRUE(indices == geo->getIndices());
    EXPECT_TRUE(repairs.empty());
    EXPECT_TRUE(warnings.empty());
    EXPECT_EQ(0u, zyNodeUtils::repairGeometry(osg::NullFC));
}

TEST_F(ZyRepair, degeneratePolygonsGoWithTheirCorners)
{
    const auto geo =
        add(makePolygons({2, 3, 4, 3, 0, 3}, {1}, {0, 1, 0, 1, 2, 3, 3, 4, 4, 5, 5, 6, 2, 3, 4}), 7);
    EXPECT_EQ(4u, zyNodeUtils::repairGeometry(root));
    EXPECT_EQ((Numbers{3, 3}), lengths(geo));
    EXPECT_EQ((Numbers{0, 1, 2, 2, 3, 4}), indexEntries(geo));
    EXPECT_EQ(2u, geo->getTypes()->size());
    ASSERT_EQ(1u, repairs.size());
    EXPECT_EQ("hood", repairs[0].nodeName);
    EXPECT_EQ(4u, repairs[0].primitives);
    EXPECT_EQ(3u, repairs[0].triangles);
    EXPECT_EQ("2 primitives with too few corners dropped, 2 polygons with fewer than three different "
              "positions dropped",
              repairs[0].what);
    ASSERT_EQ(1u, warnings.size());
    EXPECT_EQ("Geometry of 'hood' repaired: " + repairs[0].what + ".", warnings[0]);
    EXPECT_EQ(0u, zyNodeUtils::repairGeometry(root));
}

TEST_F(ZyRepair, eachPrimitiveTypeHasItsFewestCorners)
{
    const osg::UInt32 fewest[] = {1, 2, 2, 2, 3, 3, 3, 4, 4, 3};
    for (osg::UInt8 type = 0; type < 11; ++type) {
        SCOPED_TRACE(static_cast<int>(type));
        const osg::UInt32 enough = type < 10 ? fewest[type] : 3;
        const auto geo = add(makePolygons({enough - 1, enough}, {1}, Numbers(2 * enough - 1)), 9);
        osg::beginEditCP(geo->getIndices());
        for (osg::UInt32 i = 0; i < geo->getIndices()->size(); ++i)
            geo->getIndices()->setValue(i, i);
        osg::endEditCP(geo->getIndices());
        geo->getTypes()->setValue(type, 0);
        geo->getTypes()->setValue(type, 1);
        zyNodeUtils::repairGeometry(root);
        EXPECT_EQ(type < 10 ? Numbers{enough} : Numbers{}, lengths(geo));
    }
}

TEST_F(ZyRepair, aFaceThatRefersToMissingPositionsGoes)
{
    const auto geo = add(makePolygons({3, 3, 3}, {1}, {0, 1, 2, 0, 1, 5, 2, 3, 4}), 5);
    EXPECT_EQ(1u, zyNodeUtils::repairGeometry(root));
    EXPECT_EQ((Numbers{0, 1, 2, 2, 3, 4}), indexEntries(geo));
    EXPECT_EQ("1 primitive beyond the end of its values dropped", repairs[0].what);
}

TEST_F(ZyRepair, aFaceWhoseCornersAreMissingGoes)
{
    const auto geo = add(makePolygons({3, 4, 3}, {1, 2}, {0, 0, 1, 0, 2, 0, 2, 0, 3, 0, 4}), 5);
    EXPECT_EQ(2u, zyNodeUtils::repairGeometry(root));
    EXPECT_EQ((Numbers{3}), lengths(geo));
    EXPECT_EQ((Numbers{0, 0, 1, 0, 2, 0}), indexEntries(geo));
}

TEST_F(ZyRepair, aFaceOutlivesAMissingTextureCoordinate)
{
    const auto geo = add(makePolygons({3}, {1, 16}, {0, 0, 1, 9, 2, 1}), 3);
    setProperty(geo, &G::setTexCoords, makeProperty<osg::GeoTexCoords2f>(std::vector<osg::Vec2f>(2)));
    EXPECT_EQ(1u, zyNodeUtils::repairGeometry(root));
    EXPECT_EQ((Numbers{0, 0, 1, 0, 2, 1}), indexEntries(geo));
    EXPECT_EQ(0u, repairs[0].primitives);
    EXPECT_EQ("1 index beyond the end of its values set to 0", repairs[0].what);
}

TEST_F(ZyRepair, aFaceGoesWhenItsPositionsShareTheBadIndex)
{
    const auto geo = add(makePolygons({3, 3}, {1 | 16}, {0, 1, 2, 0, 1, 3}), 4);
    setProperty(geo, &G::setTexCoords, makeProperty<osg::GeoTexCoords2f>(std::vector<osg::Vec2f>(3)));
    EXPECT_EQ(1u, zyNodeUtils::repairGeometry(root));
    EXPECT_EQ((Numbers{0, 1, 2}), indexEntries(geo));
}

TEST_F(ZyRepair, columnsWithoutValuesDoNotMatter)
{
    // The third column is mapped but has no property, the second one an empty property.
    const auto geo = add(makePolygons({3}, {1, 16, 64}, {0, 0, 77, 1, 0, 78, 2, 0, 4294967295u}), 3);
    setProperty(geo, &G::setTexCoords, osg::GeoTexCoords2f::create());
    EXPECT_EQ(0u, zyNodeUtils::repairGeometry(root));
    EXPECT_EQ(9u, geo->getIndices()->size());
}

TEST_F(ZyRepair, typesAndLengthsEndTogether)
{
    const auto shorter = add(makePolygons({3, 3}, {1}, {0, 1, 2, 1, 2, 3}), 4, "types");
    osg::beginEditCP(shorter->getTypes());
    shorter->getTypes()->addValue(9);
    osg::endEditCP(shorter->getTypes());
    const auto longer = add(makePolygons({3, 3}, {1}, {0, 1, 2, 1, 2, 3, 0}), 4, "lengths");
    osg::beginEditCP(longer->getTypes());
    longer->getTypes()->resize(1);
    osg::endEditCP(longer->getTypes());
    zyNodeUtils::repairGeometry(root);
    EXPECT_EQ(2u, shorter->getTypes()->size());
    EXPECT_EQ((Numbers{0, 1, 2, 1, 2, 3}), indexEntries(shorter));
    EXPECT_EQ((Numbers{3}), lengths(longer));
    EXPECT_EQ((Numbers{0, 1, 2}), indexEntries(longer));
    ASSERT_EQ(2u, repairs.size());
    EXPECT_EQ("1 type without length removed", repairs[0].what);
    EXPECT_EQ("1 length without type removed, 1 corner without primitive removed", repairs[1].what);
}

TEST_F(ZyRepair, geometryWithoutIndicesKeepsItsProperties)
{
    const osg::GeometryPtr geo = makePolygons({3, 2, 3, 9}, {}, {});
    setProperty(geo, &G::setIndices, osg::GeoIndicesPtr(osg::NullFC));
    add(geo, 8);
    const auto positions = geo->getPositions();
    EXPECT_EQ(2u, zyNodeUtils::repairGeometry(root));
    EXPECT_TRUE(positions == geo->getPositions());
    EXPECT_EQ(8u, positions->size());
    ASSERT_TRUE(geo->getIndices() != osg::NullFC);
    EXPECT_EQ((Numbers{0, 1, 2, 5, 6, 7}), indexEntries(geo));
    EXPECT_EQ((Numbers{3, 3}), lengths(geo));
}

TEST_F(ZyRepair, geometryWithoutPositionsEndsUpEmpty)
{
    const auto geo = makePolygons({3}, {1}, {0, 1, 2});
    addChild(root, makeNode("bare", geo));
    EXPECT_EQ(1u, zyNodeUtils::repairGeometry(root));
    EXPECT_EQ(0u, geo->getTypes()->size());
    EXPECT_EQ(0u, geo->getIndices()->size());
}

TEST_F(ZyRepair, whatAnotherGeometrySharesIsCopiedFirst)
{
    const auto bad = add(makePolygons({3, 2}, {1}, {0, 1, 2, 1, 2}), 3);
    const osg::GeometryPtr other = osg::Geometry::create();
    osg::addRefCP(other);
    setProperty(other, &G::setIndices, bad->getIndices());
    setProperty(other, &G::setLengths, bad->getLengths());
    EXPECT_EQ(1u, zyNodeUtils::repairGeometry(root));
    EXPECT_EQ(3u, bad->getIndices()->size());
    EXPECT_EQ(5u, other->getIndices()->size());
    EXPECT_EQ(2u, other->getLengths()->size());
    osg::GeometryPtr last = other;
    osg::subRefCP(last);
}

TEST_F(ZyRepair, aSharedCoreIsReportedOnceUnderItsFirstNode)
{
    const auto geo = add(makePolygons({2}, {1}, {0, 1}), 3, "first");
    addChild(root, makeNode("second", geo));
    EXPECT_EQ(1u, zyNodeUtils::repairGeometry(root));
    ASSERT_EQ(1u, repairs.size());
    EXPECT_EQ("first", repairs[0].nodeName);
}

TEST_F(ZyRepair, narrowArraysAreRepairedAsWell)
{
    const auto geo = add(makePolygons({}, {1}, {}), 4);
    setProperty(geo, &G::setTypes, makeProperty<osg::GeoPTypesUI8>(std::vector<osg::UInt8>{4, 4}));
    setProperty(geo, &G::setLengths, makeProperty<osg::GeoPLengthsUI8>(std::vector<osg::UInt8>{2, 3}));
    setProperty(geo, &G::setIndices,
                makeProperty<osg::GeoIndicesUI16>(std::vector<osg::UInt16>{0, 1, 1, 2, 3}));
    EXPECT_EQ(1u, zyNodeUtils::repairGeometry(root));
    EXPECT_EQ((Numbers{1, 2, 3}), indexEntries(geo));
    EXPECT_EQ((Numbers{3}), lengths(geo));
}

TEST_F(ZyRepair, veryDeepTreesAreWalked)
{
    osg::NodePtr node = root;
    for (int i = 0; i < 10000; ++i) {
        const osg::NodePtr child = makeNode("", osg::Group::create());
        addChild(node, child);
        node = child;
    }
    addChild(node, makeNode("deep", makePolygons({1}, {1}, {0})));
    EXPECT_EQ(1u, zyNodeUtils::repairGeometry(root));
}

// Whatever the damage: afterwards nothing is wrong any more, and the sound faces are all there, unchanged, in
// order.
RC_GTEST_FIXTURE_PROP(ZyRepair, whateverIsSoundStaysAndTheRestIsGone, ())
{
    const unsigned int points = 6, uvs = 3;
    const auto faceCount = *rc::gen::inRange<int>(0, 40);
    const bool narrow = *rc::gen::arbitrary<bool>();
    Numbers faceLengths, indices;
    std::vector<Numbers> sound;
    for (int f = 0; f < faceCount; ++f) {
        const auto length = static_cast<osg::UInt32>(*rc::gen::inRange<int>(0, 7));
        faceLengths.push_back(length);
        Numbers face;
        std::vector<osg::UInt32> different;
        bool good = length >= 3;
        for (osg::UInt32 k = 0; k < length; ++k) {
            const osg::UInt32 p =
                *rc::gen::weightedElement<osg::UInt32>({{60, 0}, {60, 1}, {60, 2}, {60, 3}, {1, points}});
            const osg::UInt32 t =
                *rc::gen::weightedElement<osg::UInt32>({{60, 0}, {60, 1}, {60, 2}, {1, 60000}});
            good = good && p < points;
            if (std::find(different.begin(), different.end(), p) == different.end())
                different.push_back(p);
            indices.insert(indices.end(), {p, t});
            face.insert(face.end(), {p, t < uvs ? t : 0});
        }
        if (good && different.size() >= 3)
            sound.push_back(face);
    }
    const osg::GeometryPtr geo = add(makePolygons(faceLengths, {1, 16}, indices), points);
    if (narrow)
        setProperty(
            geo, &G::setIndices,
            makeProperty<osg::GeoIndicesUI16>(std::vector<osg::UInt16>(indices.begin(), indices.end())));
    setProperty(geo, &G::setTexCoords, makeProperty<osg::GeoTexCoords2f>(std::vector<osg::Vec2f>(uvs)));

    const unsigned int count = zyNodeUtils::repairGeometry(root);
    Numbers expected, expectedLengths;
    for (const Numbers& face : sound) {
        expected.insert(expected.end(), face.begin(), face.end());
        expectedLengths.push_back(static_cast<osg::UInt32>(face.size() / 2));
    }
    RC_ASSERT(indexEntries(geo) == expected);
    RC_ASSERT(lengths(geo) == expectedLengths);
    RC_ASSERT((count == 0) == repairs.empty());
    RC_ASSERT(zyNodeUtils::repairGeometry(root) == 0u);
}
