#include "drawnScene.h"
#include "sceneTools.h"

#include <zyOpenSGUtils/zyNodeUtils.h>
#include <zyOpenSGUtils/zyOptimize.h>

#include <OpenSG/OSGComponentTransform.h>
#include <OpenSG/OSGGroup.h>
#include <OpenSG/OSGSurface.h>
#include <OpenSG/OSGTransform.h>
#include <OpenSG/OSGTransform3D.h>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

typedef osg::Geometry G;

// -- Scenes -----------------------------------------------------------------------------------

static osg::NodePtr makeScaledRoot(const osg::Vec3f& scale)
{
    const osg::Transform3DPtr core = osg::Transform3D::create();
    const osg::CPEditor edit(core);
    core->setScale(scale);
    return makeNode("root", core);
}

static osg::Transform3DPtr transform3D(const osg::NodePtr& node)
{
    return osg::Transform3DPtr::dcast(node->getCore());
}

class ZyOptimize : public testing::Test
{
protected:
    void makeRoot(const osg::Vec3f& scale)
    {
        root = makeScaledRoot(scale);
        osg::addRefCP(root);
    }
    void TearDown() override
    {
        if (root != osg::NullFC)
            osg::subRefCP(root);
    }
    // Flushes, and expects the same picture and a root without scale.
    void flush()
    {
        const Drawn before = drawnIn(root);
        zyOptimize::flushSelectedTransformationScales(root);
        const Drawn after = drawnIn(root);
        EXPECT_LT(difference(before.positions, after.positions), 1e-5);
        EXPECT_LT(difference(before.normals, after.normals), 1e-5);
        const osg::Vec3f scale = transform3D(root)->getScale();
        EXPECT_EQ(1.0f, scale[0]);
        EXPECT_EQ(1.0f, scale[1]);
        EXPECT_EQ(1.0f, scale[2]);
    }

    osg::NodePtr root;
};

TEST_F(ZyOptimize, aUniformScaleGoesThroughTranslationsAndPivotsIntoPositions)
{
    makeRoot(osg::Vec3f(10, 10, 10));
    const osg::Transform3DPtr core = osg::Transform3D::create();
    osg::beginEditCP(core);
    core->setTranslation(osg::Vec3f(1, 2, 3));
    core->setRotatePivot(osg::Pnt3f(1, 0, 0));
    core->setRotatePivotTranslation(osg::Vec3f(0, 1, 0));
    core->setScalePivot(osg::Pnt3f(0, 0, 1));
    core->setScalePivotTranslation(osg::Vec3f(0, 0, 2));
    core->setScale(osg::Vec3f(2, 3, 4));
    core->setShear(osg::Vec3f(0.5f, 0.25f, 0.125f));
    osg::Quaternion turn;
    turn.setValueAsAxisDeg(0, 0, 1, 90);
    core->setRotationAsQuaternion(turn);
    osg::endEditCP(core);
    const osg::NodePtr node = makeNode("t", core);
    addChild(root, node);
    const osg::GeometryPtr geo = makeTriangle();
    addChild(node, makeNode("g", geo));
    flush();
    EXPECT_TRUE(transform3D(node) == core);
    EXPECT_EQ(osg::Vec3f(10, 20, 30), core->getTranslation());
    EXPECT_EQ(osg::Pnt3f(10, 0, 0), core->getRotatePivot());
    EXPECT_EQ(osg::Vec3f(0, 10, 0), core->getRotatePivotTranslation());
    EXPECT_EQ(osg::Pnt3f(0, 0, 10), core->getScalePivot());
    EXPECT_EQ(osg::Vec3f(0, 0, 20), core->getScalePivotTranslation());
    EXPECT_EQ(osg::Vec3f(2, 3, 4), core->getScale());
    EXPECT_EQ(osg::Vec3f(0.5f, 0.25f, 0.125f), core->getShear());
    EXPECT_EQ(osg::Pnt3f(0, 10, 2.5f), geo->getPositions()->getValue(1));
    EXPECT_EQ(osg::Vec3f(0, 0.6f, 0.8f), geo->getNormals()->getValue(0));
}

TEST_F(ZyOptimize, plainAndComponentTransformationsFollow)
{
    makeRoot(osg::Vec3f(0.5f, 0.5f, 0.5f));
    const osg::TransformPtr plain = osg::Transform::create();
    osg::beginEditCP(plain);
    plain->setMatrix(osg::Matrix(1, 2, 0, 4, 0, 3, 0, 6, 0, 0, 1, 8, 0, 0, 0, 1));
    osg::endEditCP(plain);
    const osg::ComponentTransformPtr component = osg::ComponentTransform::create();
    osg::beginEditCP(component);
    component->setTranslation(osg::Vec3f(2, 4, 6));
    component->setCenter(osg::Vec3f(1, 1, 0));
    component->setScale(osg::Vec3f(1, 2, 3));
    osg::endEditCP(component);
    const osg::NodePtr upper = makeNode("plain", plain), lower = makeNode("component", component);
    addChild(root, upper);
    addChild(upper, lower);
    addChild(lower, makeNode("g", makeTriangle()));
    flush();
    EXPECT_EQ(osg::Matrix(1, 2, 0, 2, 0, 3, 0, 3, 0, 0, 1, 4, 0, 0, 0, 1), plain->getMatrix());
    EXPECT_EQ(osg::Vec3f(1, 2, 3), component->getTranslation());
    EXPECT_EQ(osg::Vec3f(0.5f, 0.5f, 0), component->getCenter());
    EXPECT_EQ(osg::Vec3f(1, 2, 3), component->getScale());
}

TEST_F(ZyOptimize, theRootsScalePivotIsKept)
{
    makeRoot(osg::Vec3f(2, 3, 4));
    osg::beginEditCP(root->getCore());
    transform3D(root)->setScalePivot(osg::Pnt3f(1, 2, 3));
    transform3D(root)->setScalePivotTranslation(osg::Vec3f(4, 5, 6));
    transform3D(root)->setTranslation(osg::Vec3f(7, 8, 9));
    transform3D(root)->setShear(osg::Vec3f(0.5f, 0, 1));
    osg::endEditCP(root->getCore());
    addChild(root, makeNode("g", makeTriangle()));
    flush();
}

TEST_F(ZyOptimize, instancesAreScaledOnceAndStayInstances)
{
    makeRoot(osg::Vec3f(10, 10, 10));
    const osg::GeometryPtr a = makeTriangle(), b = makeTriangle();
    setProperty(b, &G::setPositions, a->getPositions());
    const osg::GeoPositionsPtr positions = a->getPositions();
    for (const osg::GeometryPtr& geo : {a, a, b})
        addChild(root, makeNode("", geo));
    flush();
    EXPECT_TRUE(root->getChild(0)->getCore() == a);
    EXPECT_TRUE(root->getChild(1)->getCore() == a);
    EXPECT_TRUE(a->getPositions() == positions);
    EXPECT_TRUE(b->getPositions() == positions);
    EXPECT_EQ(osg::Pnt3f(5, 0, 0), positions->getValue(0));
}

TEST_F(ZyOptimize, whatIsAlsoUsedOutsideIsClonedForAllInside)
{
    makeRoot(osg::Vec3f(10, 10, 10));
    const osg::GeometryPtr shared = makeTriangle(), inside = makeTriangle();
    const osg::TransformPtr transform = osg::Transform::create();
    osg::beginEditCP(transform);
    transform->setMatrix(osg::Matrix(1, 0, 0, 1, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1));
    osg::endEditCP(transform);
    osg::NodePtr outside = makeNode("outside", transform);
    osg::addRefCP(outside);
    addChild(outside, makeNode("", shared));
    setProperty(inside, &G::setPositions, shared->getPositions());
    for (int i = 0; i < 2; ++i) {
        const osg::NodePtr node = makeNode("", transform);
        addChild(root, node);
        addChild(node, makeNode("", shared));
        addChild(node, makeNode("", inside));
    }
    const Drawn before = drawnIn(outside);
    flush();
    EXPECT_EQ(before.positions, drawnIn(outside).positions);
    const osg::NodePtr first = root->getChild(0), second = root->getChild(1);
    EXPECT_FALSE(first->getCore() == transform);
    EXPECT_TRUE(first->getCore() == second->getCore());
    EXPECT_TRUE(first->getChild(0)->getCore() == second->getChild(0)->getCore());
    const auto clone = osg::GeometryPtr::dcast(first->getChild(0)->getCore());
    EXPECT_FALSE(clone == shared);
    EXPECT_TRUE(first->getChild(1)->getCore() == inside);
    EXPECT_TRUE(clone->getPositions() == inside->getPositions());
    EXPECT_TRUE(clone->getNormals() == shared->getNormals());
    EXPECT_TRUE(clone->getIndices() == shared->getIndices());
    osg::subRefCP(outside);
}

TEST_F(ZyOptimize, theRootsOwnCoreMayBeUsedElsewhereToo)
{
    makeRoot(osg::Vec3f(2, 2, 2));
    const osg::NodePtr below = makeNode("below", root->getCore());
    addChild(root, below);
    addChild(below, makeNode("g", makeTriangle()));
    flush();
    EXPECT_FALSE(below->getCore() == root->getCore());
    EXPECT_EQ(osg::Vec3f(2, 2, 2), transform3D(below)->getScale());
}

TEST_F(ZyOptimize, theTransformationOfADrawableFollows)
{
    makeRoot(osg::Vec3f(10, 10, 10));
    const osg::Transform3DPtr own = osg::Transform3D::create();
    osg::beginEditCP(own);
    own->setTranslation(osg::Vec3f(1, 2, 3));
    osg::endEditCP(own);
    const osg::GeometryPtr a = makeTriangle(), b = makeTriangle(), c = makeTriangle();
    for (const osg::GeometryPtr& geo : {a, b, c}) {
        setProperty(geo, &G::setTransform, own);
        addChild(root, makeNode("", geo));
    }
    const osg::NodePtr node = makeNode("core too", own);
    addChild(root, node);
    addChild(node, makeNode("", a));
    flush();
    EXPECT_TRUE(a->getTransform() == b->getTransform());
    EXPECT_EQ(osg::Vec3f(10, 20, 30), a->getTransform()->getTranslation());
    EXPECT_EQ(osg::Vec3f(10, 20, 30), transform3D(node)->getTranslation());
}

TEST_F(ZyOptimize, otherPositionsAndNormalsAreScaledInTheirOwnForm)
{
    makeRoot(osg::Vec3f(2, 4, 8));
    const osg::GeometryPtr geo = makeTriangle();
    const auto positions = makeProperty<osg::GeoPositions4f>(std::vector<osg::Pnt4f>{{1, 1, 1, 3}});
    setProperty(geo, &G::setPositions, positions);
    setProperty(geo, &G::setNormals, makeProperty<osg::GeoNormals3b>(std::vector<osg::Vec3b>{{127, 0, 0}}));
    addChild(root, makeNode("", geo));
    zyOptimize::flushSelectedTransformationScales(root);
    const osg::Pnt4f p = positions->getField()[0];
    EXPECT_EQ(osg::Pnt4f(2, 4, 8, 3), p);
    EXPECT_NEAR(1.0f, geo->getNormals()->getValue(0)[0], 0.01f);
}

TEST_F(ZyOptimize, controlPointsOfSurfacesAreScaled)
{
    makeRoot(osg::Vec3f(10, 10, 10));
    const osg::SurfacePtr a = osg::Surface::create(), b = osg::Surface::create();
    const auto points = makeProperty<osg::GeoPositions4f>(std::vector<osg::Pnt4f>{{1, 2, 3, 0.5f}});
    for (const osg::SurfacePtr& surface : {a, b}) {
        const osg::CPEditor edit(surface);
        surface->setControlPoints(points);
    }
    addChild(root, makeNode("a", a));
    addChild(root, makeNode("b", b));
    zyOptimize::flushSelectedTransformationScales(root);
    EXPECT_TRUE(a->getControlPoints() == points);
    EXPECT_TRUE(b->getControlPoints() == points);
    EXPECT_EQ(osg::Pnt4f(10, 20, 30, 0.5f), points->getField()[0]);
}

TEST_F(ZyOptimize, nothingHappensWithoutAScaleThatCanBeFlushed)
{
    const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
    for (const osg::Vec3f& scale :
         {osg::Vec3f(1, 1, 1), osg::Vec3f(0, 1, 1), osg::Vec3f(nan, nan, nan), osg::Vec3f(1, inf, 1)}) {
        osg::NodePtr scaled = makeScaledRoot(scale);
        osg::addRefCP(scaled);
        const osg::GeometryPtr geo = makeTriangle();
        addChild(scaled, makeNode("", geo));
        zyOptimize::flushSelectedTransformationScales(scaled);
        EXPECT_EQ(osg::Pnt3f(0.5f, 0, 0), geo->getPositions()->getValue(0));
        EXPECT_EQ(0, std::memcmp(&scale, &transform3D(scaled)->getScale(), sizeof(scale)));
        osg::subRefCP(scaled);
    }
    zyOptimize::flushSelectedTransformationScales(osg::NullFC);
    osg::NodePtr group = makeNode("", osg::Group::create());
    zyOptimize::flushSelectedTransformationScales(group);
    osg::subRefCP(group);
}

TEST_F(ZyOptimize, veryDeepTreesAreScaled)
{
    makeRoot(osg::Vec3f(2, 2, 2));
    osg::NodePtr node = root;
    std::vector<osg::TransformPtr> cores;
    for (int i = 0; i < 10000; ++i) {
        const osg::TransformPtr core = osg::Transform::create();
        core->getMatrix().setTranslate(0, 0, 1);
        const osg::NodePtr child = makeNode("", core);
        addChild(node, child);
        node = child;
        cores.push_back(core);
    }
    zyOptimize::flushSelectedTransformationScales(root);
    EXPECT_EQ(2.0f, cores.front()->getMatrix()[3][2]);
    EXPECT_EQ(2.0f, cores.back()->getMatrix()[3][2]);
}

// -- Any scene --------------------------------------------------------------------------------

RC_GTEST_FIXTURE_PROP(ZyOptimize, everyScalePushedDownDrawsTheSamePicture, (bool uniform))
{
    makeRoot(anyScale(uniform));
    osg::beginEditCP(root->getCore());
    transform3D(root)->setScalePivot(anyVector(-2, 2));
    transform3D(root)->setTranslation(anyVector(-2, 2));
    transform3D(root)->setRotationAsQuaternion(anyRotation());
    osg::endEditCP(root->getCore());

    std::vector<osg::NodeCorePtr> cores;
    std::vector<osg::NodePtr> nodes(1, root);
    const int count = *rc::gen::inRange<int>(1, 6);
    for (int i = 0; i < count; ++i) {
        if (cores.empty() || *rc::gen::inRange<int>(0, 3) != 0) {
            cores.push_back(anyCore());
            osg::addRefCP(cores.back());
        }
        const osg::NodePtr node = makeNode("", *rc::gen::elementOf(cores));
        addChild(*rc::gen::elementOf(nodes), node);
        nodes.push_back(node);
    }
    const osg::GeometryPtr a = makeTriangle(), b = makeTriangle();
    setProperty(b, &G::setPositions, a->getPositions());
    const osg::Transform3DPtr own = osg::Transform3D::create();
    osg::beginEditCP(own);
    own->setTranslation(anyVector(-2, 2));
    own->setRotationAsQuaternion(anyRotation());
    osg::endEditCP(own);
    setProperty(b, &G::setTransform, own);
    addChild(*rc::gen::elementOf(nodes), makeNode("", a));
    addChild(*rc::gen::elementOf(nodes), makeNode("", b));

    const Drawn before = drawnIn(root);
    zyOptimize::flushSelectedTransformationScales(root);
    const Drawn after = drawnIn(root);
    // Inner scales and shears stretch what single precision rounds.
    RC_ASSERT(difference(before.positions, after.positions) < 1e-5);
    RC_ASSERT(difference(before.normals, after.normals) < 1e-3);
    for (const osg::NodeCorePtr& core : cores)
        osg::subRefCP(core);
}
