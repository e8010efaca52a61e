#include "drawnScene.h"
#include "sceneTools.h"

#include <zyOpenSGUtils/zyLights.h>
#include <zyOpenSGUtils/zyOptimize.h>

#include <OpenSG/OSGDirectionalLight.h>
#include <OpenSG/OSGSurface.h>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <limits>
#include <string>
#include <vector>

typedef osg::Geometry G;

// -- Scenes -----------------------------------------------------------------------------------

static osg::TransformPtr plain(const osg::Matrix& matrix)
{
    const osg::TransformPtr core = osg::Transform::create();
    const osg::CPEditor edit(core);
    core->setMatrix(matrix);
    return core;
}

static osg::TransformPtr translation(float x, float y, float z)
{
    return plain(osg::Matrix(1, 0, 0, x, 0, 1, 0, y, 0, 0, 1, z, 0, 0, 0, 1));
}

static osg::Matrix matrixOf(const osg::NodePtr& node)
{
    return osg::TransformPtr::dcast(node->getCore())->getMatrix();
}

static osg::GeometryPtr geometryOf(const osg::NodePtr& node)
{
    return osg::GeometryPtr::dcast(node->getCore());
}

class ZyFlushTransformations : public testing::Test
{
protected:
    void SetUp() override
    {
        world = makeNode("world", osg::Group::create());
        osg::addRefCP(world);
    }
    void TearDown() override { osg::subRefCP(world); }

    static osg::NodePtr add(const osg::NodePtr& parent, const std::string& name, const osg::NodeCorePtr& core)
    {
        const osg::NodePtr node = makeNode(name, core);
        addChild(parent, node);
        return node;
    }
    // Flushes, and expects the world to look as before.
    void flush(const osg::NodePtr& root)
    {
        const Drawn before = drawnIn(world);
        zyOptimize::flushTransformations(root);
        const Drawn after = drawnIn(world);
        EXPECT_LT(difference(before.positions, after.positions), 1e-5);
        EXPECT_LT(difference(before.normals, after.normals), 1e-5);
        EXPECT_LT(difference(before.lights, after.lights), 1e-5);
    }

    osg::NodePtr world;
};

// -- Geometry ---------------------------------------------------------------------------------

TEST_F(ZyFlushTransformations, coordinatesComeToTheSystemOfTheRootsParent)
{
    const osg::NodePtr above = add(world, "above", translation(100, 0, 0));
    const osg::NodePtr root = add(above, "root", translation(10, 0, 0));
    const osg::NodePtr group = add(root, "group", osg::Group::create());
    const osg::NodePtr inner =
        add(group, "inner", plain(osg::Matrix(0, -2, 0, 0, 2, 0, 0, 1, 0, 0, 2, 0, 0, 0, 0, 1)));
    const osg::GeometryPtr geo = makeTriangle();
    const osg::GeoPositionsPtr positions = geo->getPositions();
    const osg::NodePtr drawn = add(inner, "drawn", geo);
    flush(root);
    EXPECT_EQ(osg::Matrix(1, 0, 0, 100, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1), matrixOf(above));
    EXPECT_EQ(osg::Matrix(), matrixOf(root));
    EXPECT_EQ(osg::Matrix(), matrixOf(inner));
    EXPECT_TRUE(drawn->getCore() == geo);
    EXPECT_TRUE(geo->getPositions() == positions);
    EXPECT_EQ(osg::Pnt3f(10, 2, 0), positions->getValue(0)); // (0.5, 0, 0) turned, doubled, moved
    EXPECT_EQ(osg::Pnt3f(8, 1, 0.5f), positions->getValue(1));
    EXPECT_EQ(osg::Vec3f(-0.6f, 0, 0.8f), geo->getNormals()->getValue(0));
}

TEST_F(ZyFlushTransformations, everyKindOfTransformationBecomesTheIdentityOfItsKind)
{
    const osg::Transform3DPtr modeller = osg::Transform3D::create();
    const osg::ComponentTransformPtr component = osg::ComponentTransform::create();
    {
        const osg::CPEditor edit(modeller);
        modeller->setTranslation(osg::Vec3f(1, 2, 3));
        modeller->setScale(osg::Vec3f(1, 2, -3));
        modeller->setShear(osg::Vec3f(0.5f, 0, 1));
        modeller->setRotatePivot(osg::Pnt3f(1, 0, 0));
        modeller->setRotationAsQuaternion(osg::Quaternion(osg::Vec3f(0, 0, 1), 1));
        modeller->setScalePivotTranslation(osg::Vec3f(0, 4, 0));
    }
    {
        const osg::CPEditor edit(component);
        component->setTranslation(osg::Vec3f(5, 0, 0));
        component->setCenter(osg::Vec3f(1, 1, 1));
        component->setRotation(osg::Quaternion(osg::Vec3f(1, 0, 0), 2));
        component->setScale(osg::Vec3f(1, 2, 1));
        component->setScaleOrientation(osg::Quaternion(osg::Vec3f(0, 1, 0), 1));
    }
    const osg::NodePtr outer = add(world, "outer", modeller);
    const osg::NodePtr inner = add(outer, "inner", component);
    add(inner, "drawn", makeTriangle());
    flush(outer);
    EXPECT_TRUE(outer->getCore() == modeller);
    EXPECT_EQ(osg::Matrix(), modeller->getMatrix());
    EXPECT_EQ(osg::Vec3f(0, 0, 0), modeller->getTranslation());
    EXPECT_EQ(osg::Vec3f(1, 1, 1), modeller->getScale());
    EXPECT_EQ(osg::Vec3f(0, 0, 0), modeller->getShear());
    EXPECT_EQ(osg::Pnt3f(0, 0, 0), modeller->getRotatePivot());
    EXPECT_TRUE(inner->getCore() == component);
    EXPECT_EQ(osg::Matrix(), component->getMatrix());
    EXPECT_EQ(osg::Vec3f(1, 1, 1), component->getScale());
}

TEST_F(ZyFlushTransformations, mirrorsKeepPictureAndCornerOrder)
{
    const osg::NodePtr mirror =
        add(world, "mirror", plain(osg::Matrix(-1, 0, 0, 0, 0, 2, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1)));
    const osg::GeometryPtr geo = makeTriangle();
    const std::vector<osg::UInt32> corners = indexEntries(geo);
    add(mirror, "drawn", geo);
    flush(mirror);
    EXPECT_EQ(corners, indexEntries(geo));
    EXPECT_EQ(osg::Pnt3f(-0.5f, 0, 0), geo->getPositions()->getValue(0));
    EXPECT_EQ(osg::Vec3f(-1, 0, 0), geo->getNormals()->getValue(1));
}

TEST_F(ZyFlushTransformations, normalsKeepTheirLength)
{
    const osg::NodePtr node =
        add(world, "t", plain(osg::Matrix(1, 0, 0, 0, 0, 4, 0, 0, 0, 0, 2, 0, 0, 0, 0, 1)));
    const osg::GeometryPtr geo = makeTriangle();
    setProperty(geo, &G::setNormals,
                makeProperty<osg::GeoNormals3f>(std::vector<osg::Vec3f>{{0, 3, 4}, {0, 0, 0}}));
    add(node, "drawn", geo);
    zyOptimize::flushTransformations(node);
    const osg::Vec3f normal = geo->getNormals()->getValue(0);
    EXPECT_NEAR(5.0f, normal.length(), 1e-5f);
    EXPECT_NEAR(0.375f, normal[1] / normal[2], 1e-5f); // along (0, 3/4, 4/2)
    EXPECT_EQ(osg::Vec3f(0, 0, 0), geo->getNormals()->getValue(1));
}

TEST_F(ZyFlushTransformations, singularMatricesFlattenTheGeometry)
{
    const osg::NodePtr node =
        add(world, "t", plain(osg::Matrix(1, 0, 0, 5, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1)));
    const osg::GeometryPtr geo = makeTriangle();
    add(node, "drawn", geo);
    zyOptimize::flushTransformations(node);
    EXPECT_EQ(osg::Pnt3f(4, 0, 0), geo->getPositions()->getValue(2));
    EXPECT_EQ(osg::Vec3f(0, 0, 1), geo->getNormals()->getValue(0)); // what lies flat faces along z
}

TEST_F(ZyFlushTransformations, theDrawablesOwnTransformationGoes)
{
    const osg::NodePtr node = add(world, "t", translation(10, 0, 0));
    const osg::Transform3DPtr own = osg::Transform3D::create();
    {
        const osg::CPEditor edit(own);
        own->setTranslation(osg::Vec3f(0, 1, 0));
        own->setScale(osg::Vec3f(2, 2, 2));
    }
    const osg::GeometryPtr a = makeTriangle(), b = makeTriangle();
    setProperty(a, &G::setTransform, own);
    setProperty(b, &G::setTransform, own);
    add(node, "a", a);
    const osg::NodePtr placed = add(node, "placed", own); // the same one as the core of a node
    add(placed, "b", b);
    flush(node);
    EXPECT_TRUE(a->getTransform() == osg::NullFC);
    EXPECT_TRUE(b->getTransform() == osg::NullFC);
    EXPECT_EQ(osg::Pnt3f(11, 1, 0), a->getPositions()->getValue(0));
    EXPECT_EQ(osg::Pnt3f(12, 3, 0), b->getPositions()->getValue(0));
}

TEST_F(ZyFlushTransformations, positionsOfEveryKindAreMoved)
{
    const osg::NodePtr node =
        add(world, "t", plain(osg::Matrix(0, 0, 2, 1, 0, 2, 0, 0, -2, 0, 0, 3, 0, 0, 0, 1)));
    const osg::GeometryPtr flat = makeTriangle(), homogeneous = makeTriangle(), small = makeTriangle();
    setProperty(flat, &G::setPositions,
                makeProperty<osg::GeoPositions2f>(std::vector<osg::Pnt2f>{{1, 0}, {0, 1}, {1, 1}}));
    setProperty(
        homogeneous, &G::setPositions,
        makeProperty<osg::GeoPositions4f>(std::vector<osg::Pnt4f>{{1, 0, 0, 1}, {0, 2, 4, 2}, {0, 0, 0, 4}}));
    setProperty(small, &G::setNormals, makeProperty<osg::GeoNormals3b>(std::vector<osg::Vec3b>{{127, 0, 0}}));
    for (const osg::GeometryPtr& geo : {flat, homogeneous, small})
        add(node, "", geo);
    zyOptimize::flushTransformations(node);
    const auto spatial = osg::GeoPositions3fPtr::dcast(flat->getPositions());
    ASSERT_FALSE(spatial == osg::NullFC);
    EXPECT_EQ(osg::Pnt3f(1, 0, 1), spatial->getField()[0]);
    EXPECT_EQ(osg::Pnt3f(1, 2, 3), spatial->getField()[1]);
    const auto h = osg::GeoPositions4fPtr::dcast(homogeneous->getPositions());
    ASSERT_FALSE(h == osg::NullFC);
    EXPECT_EQ(osg::Pnt4f(10, 4, 6, 2), h->getField()[1]);
    EXPECT_EQ(osg::Pnt4f(4, 0, 12, 4), h->getField()[2]);
    EXPECT_NEAR(-1.0f, small->getNormals()->getValue(0)[2], 0.01f);
}

TEST_F(ZyFlushTransformations, controlPointsOfSurfacesAreMoved)
{
    const osg::NodePtr node = add(world, "t", translation(1, 2, 3));
    const osg::SurfacePtr surface = osg::Surface::create();
    const auto points = makeProperty<osg::GeoPositions4f>(std::vector<osg::Pnt4f>{{1, 1, 1, 2}});
    {
        const osg::CPEditor edit(surface);
        surface->setControlPoints(points);
    }
    const osg::NodePtr scaled =
        add(node, "scaled", plain(osg::Matrix(2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 1)));
    add(scaled, "surface", surface);
    zyOptimize::flushTransformations(node);
    EXPECT_TRUE(surface->getControlPoints() == points);
    EXPECT_EQ(osg::Pnt4f(4, 6, 8, 2), points->getField()[0]);
}

// -- Sharing ----------------------------------------------------------------------------------

TEST_F(ZyFlushTransformations, instancesInDifferentPlacesGetCoresOfTheirOwn)
{
    const osg::GeometryPtr shared = makeTriangle();
    osg::NodePtr nodes[4];
    for (int i = 0; i < 4; ++i)
        nodes[i] = add(add(world, "t", translation(static_cast<float>(i / 2), 0, 0)), "g", shared);
    flush(world);
    // Two at the one place, two at the other. The first two stay where they are: nothing stands above them.
    EXPECT_TRUE(nodes[0]->getCore() == shared);
    EXPECT_TRUE(nodes[1]->getCore() == shared);
    EXPECT_FALSE(nodes[2]->getCore() == shared);
    EXPECT_TRUE(nodes[2]->getCore() == nodes[3]->getCore());
    EXPECT_EQ(osg::Pnt3f(0.5f, 0, 0), shared->getPositions()->getValue(0));
    EXPECT_EQ(osg::Pnt3f(1.5f, 0, 0), geometryOf(nodes[2])->getPositions()->getValue(0));
    // A translation does nothing to normals and indices: they stay shared.
    EXPECT_TRUE(geometryOf(nodes[2])->getNormals() == shared->getNormals());
    EXPECT_TRUE(geometryOf(nodes[2])->getIndices() == shared->getIndices());
}

TEST_F(ZyFlushTransformations, aTransformationUsedTwiceIsStillOneCore)
{
    const osg::TransformPtr core = translation(1, 0, 0);
    const osg::NodePtr a = add(world, "a", core), b = add(world, "b", core);
    const osg::GeometryPtr geo = makeTriangle();
    add(a, "g", geo);
    add(b, "g", geo);
    flush(world);
    EXPECT_TRUE(a->getCore() == core);
    EXPECT_TRUE(b->getCore() == core);
    EXPECT_EQ(osg::Matrix(), core->getMatrix());
    EXPECT_TRUE(a->getChild(0)->getCore() == geo);
    EXPECT_TRUE(b->getChild(0)->getCore() == geo);
    EXPECT_EQ(osg::Pnt3f(1.5f, 0, 0), geo->getPositions()->getValue(0));
}

TEST_F(ZyFlushTransformations, whatIsAlsoUsedOutsideStaysAsItIs)
{
    const osg::TransformPtr core = translation(1, 0, 0);
    const osg::GeometryPtr geo = makeTriangle(), other = makeTriangle();
    setProperty(other, &G::setPositions, geo->getPositions());
    const osg::NodePtr outside = add(world, "outside", core), inside = add(world, "inside", core);
    add(outside, "g", geo);
    add(inside, "g", geo);
    add(inside, "o", other);
    const Drawn before = drawnIn(outside);
    flush(inside);
    EXPECT_EQ(before.positions, drawnIn(outside).positions);
    EXPECT_TRUE(outside->getCore() == core);
    EXPECT_TRUE(outside->getChild(0)->getCore() == geo);
    EXPECT_EQ(osg::Matrix(), matrixOf(inside));
    EXPECT_FALSE(inside->getChild(0)->getCore() == geo);
    EXPECT_TRUE(inside->getChild(1)->getCore() == other);
    EXPECT_EQ(osg::Pnt3f(1.5f, 0, 0), other->getPositions()->getValue(0));
    // One clone of the positions for both of those inside.
    EXPECT_TRUE(geometryOf(inside->getChild(0))->getPositions() == other->getPositions());
}

TEST_F(ZyFlushTransformations, aReferenceFromElsewhereProtectsProperties)
{
    const osg::GeometryPtr geo = makeTriangle();
    osg::GeoPositionsPtr kept = geo->getPositions();
    osg::addRefCP(kept);
    add(add(world, "t", translation(1, 0, 0)), "g", geo);
    flush(world);
    EXPECT_EQ(osg::Pnt3f(0.5f, 0, 0), kept->getValue(0));
    osg::subRefCP(kept);
}

// -- What carries nothing ---------------------------------------------------------------------

TEST_F(ZyFlushTransformations, whatCarriesNoGeometryKeepsItsPlace)
{
    const osg::Transform3DPtr placement = osg::Transform3D::create();
    {
        const osg::CPEditor edit(placement);
        placement->setTranslation(osg::Vec3f(0, 5, 0));
        placement->setRotationAsQuaternion(osg::Quaternion(osg::Vec3f(0, 0, 1), 0.5f));
        placement->setScale(osg::Vec3f(2, 3, 4));
    }
    const osg::ComponentTransformPtr component = osg::ComponentTransform::create();
    {
        const osg::CPEditor edit(component);
        component->setScale(osg::Vec3f(2, 1, 1));
        component->setRotation(osg::Quaternion(osg::Vec3f(0, 0, 1), 0.7f));
        osg::setName(component, "hook");
    }
    const osg::NodePtr root =
        add(world, "root", plain(osg::Matrix(1, 1, 0, 10, 0, 3, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1)));
    add(root, "drawn", makeTriangle());
    const osg::NodePtr place = add(root, "place", placement);
    const osg::NodePtr below = add(place, "below", translation(0, 0, 7));
    const osg::NodePtr hook = add(root, "hook", component);
    const osg::Matrix placeBefore = place->getToWorld(), belowBefore = below->getToWorld();
    const osg::Matrix hookBefore = hook->getToWorld();
    flush(root);
    EXPECT_EQ(osg::Matrix(), matrixOf(root));
    EXPECT_TRUE(place->getCore() == placement);
    EXPECT_TRUE(placeBefore.equals(place->getToWorld(), 1e-4f));
    EXPECT_TRUE(belowBefore.equals(below->getToWorld(), 1e-4f));
    EXPECT_EQ(osg::Matrix(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 7, 0, 0, 0, 1), matrixOf(below));
    EXPECT_TRUE(hookBefore.equals(hook->getToWorld(), 1e-4f));
    EXPECT_TRUE(osg::ComponentTransformPtr::dcast(hook->getCore()) == osg::NullFC);
    EXPECT_STREQ("hook", osg::getName(hook->getCore()));
}

TEST_F(ZyFlushTransformations, matricesThatCannotBePushedStayAboveTheirGeometry)
{
    const float inf = std::numeric_limits<float>::infinity();
    const osg::NodePtr root = add(world, "root", translation(10, 0, 0));
    const osg::GeometryPtr seen = makeTriangle(), projected = makeTriangle(), lost = makeTriangle();
    add(root, "seen", seen);
    const osg::NodePtr projector =
        add(root, "projector", plain(osg::Matrix(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0.5f, 1)));
    add(projector, "projected", projected);
    const osg::NodePtr broken = add(root, "broken", translation(inf, 0, 0));
    add(broken, "lost", lost);
    zyOptimize::flushTransformations(root);
    EXPECT_EQ(osg::Pnt3f(10.5f, 0, 0), seen->getPositions()->getValue(0));
    EXPECT_EQ(osg::Pnt3f(0.5f, 0, 0), projected->getPositions()->getValue(0));
    EXPECT_EQ(osg::Matrix(1, 0, 5, 10, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0.5f, 1), matrixOf(projector));
    EXPECT_EQ(osg::Pnt3f(0.5f, 0, 0), lost->getPositions()->getValue(0));
    EXPECT_EQ(inf, matrixOf(broken)[3][0]);
}

TEST_F(ZyFlushTransformations, nothingHappensWhereThereIsNothing)
{
    zyOptimize::flushTransformations(osg::NullFC);
    const osg::NodePtr bare = osg::Node::create();
    addChild(world, bare);
    const osg::NodePtr empty = add(world, "empty", translation(1, 2, 3));
    zyOptimize::flushTransformations(world);
    EXPECT_EQ(osg::Matrix(1, 0, 0, 1, 0, 1, 0, 2, 0, 0, 1, 3, 0, 0, 0, 1), matrixOf(empty));
    const osg::NodePtr still = add(world, "still", osg::Transform::create());
    const osg::GeometryPtr geo = makeTriangle();
    add(still, "g", geo);
    zyOptimize::flushTransformations(still);
    EXPECT_EQ(osg::Pnt3f(0.5f, 0, 0), geo->getPositions()->getValue(0));
}

// -- Lights -----------------------------------------------------------------------------------

TEST_F(ZyFlushTransformations, lightsKeepTheirPlaceAndDirection)
{
    const osg::NodePtr root =
        add(world, "root", plain(osg::Matrix(0, 0, 1, 10, 0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 0, 1)));
    const osg::NodePtr spot = zyLights::createLight("SpotLight", "spot", false);
    const osg::NodePtr sun = zyLights::createLight("DirectionalLight", "sun", false);
    zyLights::setLightValue(spot, 3);
    addChild(root, spot);
    addChild(root, sun);
    flush(root);
    EXPECT_EQ(osg::Matrix(), matrixOf(root));
    const auto core = osg::SpotLightPtr::dcast(spot->getCore());
    EXPECT_EQ(osg::Pnt3f(10, 0, 0), core->getPosition());
    EXPECT_EQ(osg::Vec3f(-1, 0, 0), core->getDirection());
    EXPECT_EQ(osg::Vec3f(1, 0, 0), osg::DirectionalLightPtr::dcast(sun->getCore())->getDirection());
    EXPECT_EQ(3.0f, zyLights::getLightValue(spot));
}

TEST_F(ZyFlushTransformations, anInstancedLightGetsACoreForEachPlace)
{
    const osg::NodePtr spot = zyLights::createLight("SpotLight", "spot", false);
    const osg::NodePtr a = add(world, "a", translation(1, 0, 0)), b = add(world, "b", translation(2, 0, 0));
    addChild(a, spot);
    add(b, "twin", spot->getCore());
    flush(world);
    EXPECT_FALSE(a->getChild(0)->getCore() == b->getChild(0)->getCore());
}

TEST_F(ZyFlushTransformations, aLightWithABeaconFollowsTheBeaconsSystem)
{
    const osg::NodePtr moved = add(world, "moved", translation(5, 0, 0));
    add(moved, "g", makeTriangle());
    const osg::NodePtr apart = add(world, "apart", translation(0, 7, 0));
    osg::SpotLightPtr lights[2];
    const osg::NodePtr beacons[2] = {moved, apart};
    for (int i = 0; i < 2; ++i) {
        const osg::NodePtr light = zyLights::createLight("SpotLight", "light", false);
        lights[i] = osg::SpotLightPtr::dcast(light->getCore());
        const osg::CPEditor edit(lights[i]);
        lights[i]->setBeacon(beacons[i]);
        lights[i]->setPosition(1, 1, 1);
        addChild(moved, light);
    }
    zyOptimize::flushTransformations(world);
    EXPECT_EQ(osg::Pnt3f(6, 1, 1), lights[0]->getPosition());
    EXPECT_EQ(osg::Pnt3f(1, 1, 1), lights[1]->getPosition()); // carries nothing: its system stays
}

// -- Any scene --------------------------------------------------------------------------------

TEST_F(ZyFlushTransformations, veryDeepTreesAreFlushed)
{
    osg::NodePtr node = world;
    for (int i = 0; i < 10000; ++i)
        node = add(node, "", translation(0, 0, 1));
    const osg::GeometryPtr geo = makeTriangle();
    add(node, "g", geo);
    zyOptimize::flushTransformations(world);
    EXPECT_EQ(osg::Pnt3f(0.5f, 0, 10000), geo->getPositions()->getValue(0));
    EXPECT_EQ(osg::Matrix(), matrixOf(node));
}

RC_GTEST_FIXTURE_PROP(ZyFlushTransformations, everySceneDrawsTheSamePicture, ())
{
    std::vector<osg::NodeCorePtr> cores;
    std::vector<osg::NodePtr> nodes(1, world);
    const int count = *rc::gen::inRange<int>(1, 6);
    for (int i = 0; i < count; ++i) {
        if (cores.empty() || *rc::gen::inRange<int>(0, 3) != 0) {
            cores.push_back(anyCore());
            osg::addRefCP(cores.back());
        }
        nodes.push_back(add(*rc::gen::elementOf(nodes), "", *rc::gen::elementOf(cores)));
    }
    const osg::GeometryPtr a = makeTriangle(), b = makeTriangle();
    setProperty(b, &G::setPositions, a->getPositions());
    const osg::Transform3DPtr own = osg::Transform3D::create();
    {
        const osg::CPEditor edit(own);
        own->setTranslation(anyVector(-2, 2));
        own->setRotationAsQuaternion(anyRotation());
    }
    setProperty(b, &G::setTransform, own);
    for (const osg::GeometryPtr& geo : {a, a, a, b})
        add(*rc::gen::elementOf(nodes), "", geo);
    addChild(*rc::gen::elementOf(nodes), zyLights::createLight("SpotLight", "light", false));

    const Drawn before = drawnIn(world);
    const osg::NodePtr root = *rc::gen::elementOf(nodes);
    zyOptimize::flushTransformations(root);
    const Drawn after = drawnIn(world);
    RC_ASSERT(difference(before.positions, after.positions) < 1e-5);
    RC_ASSERT(difference(before.normals, after.normals) < 1e-3);
    RC_ASSERT(difference(before.lights, after.lights) < 1e-3);
    // What is left above geometry below the root is the identity.
    std::vector<osg::NodePtr> open(1, root);
    while (!open.empty()) {
        const osg::NodePtr node = open.back();
        open.pop_back();
        if (geometryOf(node) != osg::NullFC) {
            RC_ASSERT(geometryOf(node)->getTransform() == osg::NullFC);
            for (osg::NodePtr above = node; above != root->getParent(); above = above->getParent())
                if (osg::TransformPtr::dcast(above->getCore()) != osg::NullFC)
                    RC_ASSERT(matrixOf(above) == osg::Matrix());
        }
        for (osg::UInt32 i = 0; i < node->getNChildren(); ++i)
            open.push_back(node->getChild(i));
    }
    for (const osg::NodeCorePtr& core : cores)
        osg::subRefCP(core);
}
