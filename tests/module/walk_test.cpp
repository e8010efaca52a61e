// The scene walk: which node of the DAG becomes which node of the scene graph, and where it hangs.

#include "LoaderTest.h"

#include <OpenSG/OSGGroup.h>
#include <OpenSG/OSGSceneFileHandler.h>
#include <OpenSG/OSGSwitch.h>
#include <kelda/KGlobal.h>
#include <kelda/KItDag.h>
#include <kelda/KMatrix.h>
#include <kelda/testing/KFaults.h>

#include <cmath>

namespace
{
using testing::ElementsAre;

class Walk : public LoaderTest
{
protected:
    zyKeldaLoaderTestAccess loader;

    /// Imports the SDK's present scene; the graph lives as long as the test.
    osg::NodePtr walk()
    {
        _graph.reset(new ScopedGraph(loader.walk()));
        return _graph->get();
    }

private:
    std::unique_ptr<ScopedGraph> _graph;
};

// -- transform folding -----------------------------------------------------------------------------

TEST_F(Walk, aMeshUnderAnIdentityTransformTakesTheTransformsPlace)
{
    makeQuad("bodyShape", makeTransform("body"));
    const osg::NodePtr root = walk();
    ASSERT_THAT(childNames(root), ElementsAre("bodyShape"));
    EXPECT_TRUE(geometryOf(nodeAt(root, {"bodyShape"})) != osg::NullFC);
    EXPECT_EQ(1u, loader.nodes().size());
    EXPECT_TRUE(loader.getOSGNode(pathOf("body")) == root->getChild(0))
        << "registered under the transform's path";
    EXPECT_TRUE(loader.getOSGNode(pathOf("bodyShape")) == osg::NullFC);
    EXPECT_TRUE(loader.transformsByName().empty());
}

TEST_F(Walk, aMeshUnderATranslatedTransformGetsATransformNodeAndBothCarryTheShapesName)
{
    makeQuad("bodyShape", makeMovedTransform("body", 1, 2, 3));
    const osg::NodePtr root = walk();
    ASSERT_THAT(childNames(root), ElementsAre("bodyShape"));
    const osg::NodePtr transform = root->getChild(0);
    ASSERT_THAT(childNames(transform), ElementsAre("bodyShape"));
    EXPECT_EQ(osg::Vec3f(1, 2, 3), transformOf(transform)->getTranslation());
    EXPECT_TRUE(geometryOf(transform->getChild(0)) != osg::NullFC);
    EXPECT_TRUE(loader.getOSGNode(pathOf("body")) == transform);
    EXPECT_TRUE(loader.getOSGNode(pathOf("bodyShape")) == transform->getChild(0));
    EXPECT_TRUE(loader.transformsByName()["body"] == transform);
}

TEST_F(Walk, theTransformNodeOfAHiddenShapeIsInactiveToo)
{
    const KObject transform = makeMovedTransform("body", 1, 2, 3);
    setVisibility(makeQuad("bodyShape", transform), false);
    const osg::NodePtr node = walk()->getChild(0);
    EXPECT_FALSE(node->getActive());
    EXPECT_FALSE(node->getChild(0)->getActive());
}

TEST_F(Walk, theTransformsOwnVisibilityIsNotUsedWhenItHasAMesh)
{
    const KObject transform = makeMovedTransform("body", 1, 2, 3);
    makeQuad("bodyShape", transform);
    setVisibility(transform, false);
    const osg::NodePtr node = walk()->getChild(0);
    EXPECT_TRUE(node->getActive());
    EXPECT_TRUE(node->getChild(0)->getActive());
}

TEST_F(Walk, theComparisonWithTheIdentityIsExact)
{
    makeQuad("bodyShape", makeMovedTransform("body", 1e-12, 0, 0));
    const osg::NodePtr root = walk();
    ASSERT_EQ(1u, root->getNChildren());
    ASSERT_EQ(1u, root->getChild(0)->getNChildren()) << "a transform node all the same";
    EXPECT_EQ(osg::Vec3f(0, 0, 0), transformOf(root->getChild(0))->getTranslation())
        << "whose core is the identity within 1e-6 and was replaced by a default one";
}

TEST_F(Walk, aTransformHoldingTwoMeshesKeepsBothAndReportsTheSecondRegistration)
{
    const KObject transform = makeMovedTransform("body", 1, 2, 3);
    makeQuad("firstShape", transform);
    makeQuad("secondShape", transform);
    osg::NodePtr root;
    const Printed printed = printedBy([&] { root = walk(); });
    EXPECT_EQ("addOSGNode: '|body' already exists.\n", printed.err);
    ASSERT_THAT(childNames(root), ElementsAre("firstShape", "secondShape"));
    EXPECT_THAT(childNames(root->getChild(0)), ElementsAre("firstShape", "secondShape"))
        << "shapes hang below the first node registered for their transform";
    EXPECT_EQ(0u, root->getChild(1)->getNChildren());
}

TEST_F(Walk, twoMeshesUnderAnIdentityTransformAreBothConverted)
{
    const KObject transform = makeTransform("body");
    makeQuad("firstShape", transform);
    makeStrip("secondShape", transform, 5);
    assignWhole("secondShape", "initialShadingGroup");
    osg::NodePtr root;
    printedBy([&] { root = walk(); });
    ASSERT_THAT(childNames(root), ElementsAre("firstShape", "secondShape"));
    EXPECT_EQ(1u, geometryOf(root->getChild(0))->getLengths()->size());
    EXPECT_EQ(5u, geometryOf(root->getChild(1))->getLengths()->size());
}

TEST_F(Walk, anIntermediateMeshBecomesAnInactiveNode)
{
    const KObject transform = makeMovedTransform("body", 1, 2, 3);
    makeQuad("bodyShape", transform);
    makeQuad("origShape", transform);
    run("setAttr \"origShape.intermediateObject\" 1");
    osg::NodePtr root;
    printedBy([&] { root = walk(); });
    const osg::NodePtr intermediate = nodeAt(root, {"bodyShape", "origShape"});
    ASSERT_TRUE(intermediate != osg::NullFC);
    EXPECT_FALSE(intermediate->getActive());
}

TEST_F(Walk, aVisibleMeshUnderAHiddenIdentityTransformStaysActive)
{
    const KObject transform = makeTransform("body");
    makeQuad("bodyShape", transform);
    setVisibility(transform, false);
    EXPECT_TRUE(walk()->getChild(0)->getActive());
}

TEST_F(Walk, theGroupOfAMeshWithSeveralShadingGroupsIsNamedAfterTheShape)
{
    makeStrip("stripShape", makeMovedTransform("strip", 1, 0, 0), 2);
    assign("stripShape", "redSG", 0, 0);
    assign("stripShape", "blueSG", 1, 1);
    const osg::NodePtr group = nodeAt(walk(), {"stripShape", "stripShape"});
    ASSERT_TRUE(group != osg::NullFC);
    EXPECT_TRUE(osg::GroupPtr::dcast(group->getCore()) != osg::NullFC);
    EXPECT_THAT(childNames(group), ElementsAre("stripShape", "stripShape"));
}

// -- hierarchy -------------------------------------------------------------------------------------

TEST_F(Walk, theSubtreeBelowTheRootMirrorsTheDag)
{
    const KObject car = makeMovedTransform("car", 0, 1, 0);
    const KObject doors = makeMovedTransform("doors", 1, 0, 0, car);
    makeQuad("leftShape", makeMovedTransform("left", 0, 0, 1, doors));
    makeQuad("rightShape", makeMovedTransform("right", 0, 0, -1, doors));
    const osg::NodePtr root = walk();
    ASSERT_THAT(childNames(root), ElementsAre("car"));
    ASSERT_THAT(childNames(nodeAt(root, {"car"})), ElementsAre("doors"));
    EXPECT_THAT(childNames(nodeAt(root, {"car", "doors"})), ElementsAre("leftShape", "rightShape"));
}

TEST_F(Walk, nodesAreNamedAfterTheNodeNotItsPath)
{
    makeTransform("part", makeTransform("a"));
    makeTransform("part", makeTransform("b"));
    const osg::NodePtr root = walk();
    EXPECT_EQ("part", nameOf(nodeAt(root, {"a"})->getChild(0)));
    EXPECT_EQ("part", nameOf(nodeAt(root, {"b"})->getChild(0)));
    EXPECT_EQ(1u, loader.transformsByName().count("a|part")) << "the map is by partial path name";
    EXPECT_EQ(1u, loader.transformsByName().count("b|part"));
}

TEST_F(Walk, aHiddenGroupIsInactiveAndItsChildrenAreConvertedNormally)
{
    const KObject group = makeMovedTransform("group", 1, 0, 0);
    makeQuad("bodyShape", makeTransform("body", group));
    setVisibility(group, false);
    const osg::NodePtr node = walk()->getChild(0);
    EXPECT_FALSE(node->getActive());
    ASSERT_EQ(1u, node->getNChildren());
    EXPECT_TRUE(node->getChild(0)->getActive());
}

TEST_F(Walk, childrenOfAnIdentityTransformWithAMeshHangBelowTheGeometryNode)
{
    const KObject body = makeTransform("body");
    makeQuad("bodyShape", body);
    makeMovedTransform("child", 1, 0, 0, body);
    const osg::NodePtr root = walk();
    EXPECT_TRUE(nodeAt(root, {"bodyShape", "child"}) != osg::NullFC);
}

TEST_F(Walk, deepScenesDoNotOverflowTheStack)
{
    KObject parent = KObject::kNullObj;
    for (int level = 0; level < 10000; ++level)
        parent = makeMovedTransform("t", 1, 0, 0, parent);
    makeQuad("deepShape", parent);
    osg::NodePtr node = walk();
    int depth = 0;
    for (; node->getNChildren() == 1; node = node->getChild(0))
        ++depth;
    EXPECT_EQ(10001, depth);
    EXPECT_EQ("deepShape", nameOf(node));
}

// -- instances -------------------------------------------------------------------------------------

TEST_F(Walk, twoInstancesOfOneMeshShareOneGeometryCore)
{
    const KObject shape = makeQuad("wheelShape", makeMovedTransform("left", 0, 0, 1));
    addInstance(makeMovedTransform("right", 0, 0, -1), shape);
    const osg::NodePtr root = walk();
    ASSERT_EQ(2u, root->getNChildren());
    const osg::NodePtr left = root->getChild(0)->getChild(0);
    const osg::NodePtr right = root->getChild(1)->getChild(0);
    EXPECT_TRUE(left != right);
    EXPECT_TRUE(left->getCore() == right->getCore());
    EXPECT_EQ(2u, left->getCore()->getParents().size());
    EXPECT_EQ("wheelShape", nameOf(right));
    EXPECT_EQ(1u, loader.geometries().size());
    EXPECT_EQ(osg::Vec3f(0, 0, -1), transformOf(root->getChild(1))->getTranslation());
}

TEST_F(Walk, aFurtherInstanceUnderAnIdentityTransformTakesItsPlaceAndShares)
{
    const KObject shape = makeQuad("wheelShape", makeMovedTransform("left", 0, 0, 1));
    addInstance(makeTransform("right"), shape);
    const osg::NodePtr root = walk();
    ASSERT_EQ(2u, root->getNChildren());
    EXPECT_TRUE(root->getChild(1)->getCore() == root->getChild(0)->getChild(0)->getCore());
    EXPECT_TRUE(loader.getOSGNode(pathOf("right")) == root->getChild(1));
}

TEST_F(Walk, sharingIsLostWhenTheFirstInstanceIsFolded)
{
    const KObject shape = makeQuad("wheelShape", makeTransform("left"));
    addInstance(makeMovedTransform("right", 0, 0, -1), shape);
    const osg::NodePtr root = walk();
    ASSERT_EQ(2u, root->getNChildren());
    EXPECT_FALSE(root->getChild(0)->getCore() == root->getChild(1)->getChild(0)->getCore())
        << "the first instance is registered under its transform's path, where no other instance looks";
}

TEST_F(Walk, anInstancedGroupTransformIsConvertedOnceAndItsFurtherShapesHangBelowTheRoot)
{
    const KObject wheel = makeMovedTransform("wheel", 0, 1, 0, makeMovedTransform("left", 0, 0, 1));
    makeQuad("tyreShape", makeMovedTransform("tyre", 1, 0, 0, wheel));
    addInstance(makeMovedTransform("right", 0, 0, -1), wheel);
    const osg::NodePtr root = walk();
    ASSERT_THAT(childNames(root), ElementsAre("left", "right", "tyreShape"));
    EXPECT_TRUE(nodeAt(root, {"left", "wheel", "tyreShape", "tyreShape"}) != osg::NullFC);
    EXPECT_EQ(0u, nodeAt(root, {"right"})->getNChildren())
        << "no node is made for a further path of the group";
    EXPECT_TRUE(root->getChild(2)->getChild(0)->getCore() ==
                nodeAt(root, {"left", "wheel", "tyreShape", "tyreShape"})->getCore());
}

TEST_F(Walk, aFurtherInstanceSharesTheCoreAloneWithoutChildrenAndShadowMark)
{
    const KObject strip = makeStrip("stripShape", makeMovedTransform("left", 0, 0, 1), 2);
    assign("stripShape", "redSG", 0, 0);
    assign("stripShape", "blueSG", 1, 1);
    const KObject quad = makeQuad("quadShape", makeMovedTransform("first", 1, 0, 0));
    addInstance(makeMovedTransform("right", 0, 0, -1), strip);
    addInstance(makeMovedTransform("second", 2, 0, 0), quad);
    const osg::NodePtr root = walk();
    ASSERT_EQ(4u, root->getNChildren());
    const osg::NodePtr left = root->getChild(0)->getChild(0);
    const osg::NodePtr right = root->getChild(2)->getChild(0);
    EXPECT_TRUE(left->getCore() == right->getCore());
    EXPECT_EQ(2u, left->getNChildren());
    EXPECT_EQ(0u, right->getNChildren()) << "a group core has no faces: it is the core that instances share";
    EXPECT_TRUE(hasShadowMark(root->getChild(1)->getChild(0)));
    EXPECT_FALSE(hasShadowMark(root->getChild(3)->getChild(0)));
}

TEST_F(Walk, foldedInstancesTakeTheShadingGroupsOfTheirOwnInstance)
{
    const KObject strip = makeStrip("stripShape", makeTransform("a"), 3);
    addInstance(makeTransform("b"), strip);
    assignWhole("|a|stripShape", "redSG");
    assign("|b|stripShape", "blueSG", 1, 1);
    const osg::NodePtr root = walk();
    ASSERT_EQ(2u, root->getNChildren());
    EXPECT_EQ(3u, geometryOf(root->getChild(0))->getLengths()->size());
    EXPECT_EQ(1u, geometryOf(root->getChild(1))->getLengths()->size());
}

TEST_F(Walk, anInstanceWhosePathsCannotBeListedIsConvertedLikeAnyOther)
{
    const KObject shape = makeQuad("wheelShape", makeMovedTransform("left", 0, 0, 1));
    addInstance(makeMovedTransform("right", 0, 0, -1), shape);
    KFaults::failCall("KFnDagNode::getAllPaths", 1, 2);
    const osg::NodePtr root = walk();
    ASSERT_EQ(2u, root->getNChildren());
    EXPECT_FALSE(root->getChild(0)->getChild(0)->getCore() == root->getChild(1)->getChild(0)->getCore());
}

TEST_F(Walk, eachInstanceIsInactiveWhenTheShapeIsHidden)
{
    const KObject shape = makeQuad("wheelShape", makeMovedTransform("left", 0, 0, 1));
    addInstance(makeMovedTransform("right", 0, 0, -1), shape);
    setVisibility(shape, false);
    const osg::NodePtr root = walk();
    EXPECT_FALSE(root->getChild(0)->getChild(0)->getActive());
    EXPECT_FALSE(root->getChild(1)->getChild(0)->getActive());
}

// -- other node types ------------------------------------------------------------------------------

TEST_F(Walk, aCameraAndItsTransformProduceNoNodesAndOneLineEach)
{
    run("createNode camera -name \"eyeShape\" -parent \"" +
        std::string(KFnDagNode(makeMovedTransform("eye", 1, 2, 3)).name().asUTF8()) + "\"");
    EXPECT_EQ(0u, walk()->getNChildren());
    EXPECT_THAT(said("log.error"), ElementsAre("Could not convert 'eye', unknown type.\n",
                                               "Could not convert 'eyeShape', unknown type.\n"));
}

TEST_F(Walk, aLocatorIsOfUnknownTypeButItsTransformIsConverted)
{
    makeMovedTransform("mark", 1, 2, 3);
    run("createNode locator -name \"markShape\" -parent \"mark\"");
    EXPECT_THAT(childNames(walk()), ElementsAre("mark"));
    EXPECT_THAT(said("log.error"), ElementsAre("Could not convert 'markShape', unknown type.\n"));
}

TEST_F(Walk, childrenOfAnUnknownNodeAttachToTheRoot)
{
    makeMovedTransform("eye", 1, 2, 3);
    run("createNode camera -name \"eyeShape\" -parent \"eye\"");
    makeMovedTransform("child", 4, 5, 6, nodeOf("eye"));
    EXPECT_THAT(childNames(walk()), ElementsAre("child"));
}

TEST_F(Walk, lightsOfAnyKindGetNoUnknownTypeLine)
{
    for (const char* type : {"directionalLight", "pointLight", "spotLight", "ambientLight", "areaLight"}) {
        makeMovedTransform(type, 1, 2, 3);
        run(std::string("createNode ") + type + " -name \"lampShape#\" -parent \"" + type + "\"");
    }
    osg::NodePtr root;
    printedBy([&] { root = walk(); });
    EXPECT_EQ(5u, root->getNChildren()) << "their transforms";
    EXPECT_TRUE(said("log.error").empty());
}

TEST_F(Walk, aMeshThatCannotBeReadIsSkippedWithoutTheUnknownTypeLine)
{
    makeQuad("bodyShape", makeTransform("body"));
    KFaults::failCall("KFnMesh::getPoints");
    EXPECT_EQ(0u, walk()->getNChildren());
    EXPECT_TRUE(said("log.error").empty());
}

TEST_F(Walk, aTransformThatCannotBeAttachedIsSkipped)
{
    makeMovedTransform("group", 1, 2, 3);
    KFaults::failCall("KFnTransform::KFnTransform");
    EXPECT_EQ(0u, walk()->getNChildren());
    EXPECT_EQ(1u, KFaults::calls("KFnTransform::KFnTransform"));
    EXPECT_TRUE(said("log.error").empty());
}

// -- visibility ------------------------------------------------------------------------------------

TEST_F(Walk, isVisibleReadsTheNodesOwnPlug)
{
    const KObject parent = makeTransform("parent");
    const KObject child = makeTransform("child", parent);
    EXPECT_TRUE(loader.isVisible(KFnDagNode(child)));
    setVisibility(parent, false);
    EXPECT_TRUE(loader.isVisible(KFnDagNode(child))) << "parents are not consulted";
    setVisibility(child, false);
    EXPECT_FALSE(loader.isVisible(KFnDagNode(child)));
}

TEST_F(Walk, anIntermediateObjectIsInvisible)
{
    const KObject shape = makeQuad("bodyShape", makeTransform("body"));
    run("setAttr \"bodyShape.intermediateObject\" 1");
    EXPECT_FALSE(loader.isVisible(KFnDagNode(shape)));
}

TEST_F(Walk, aMissingVisibilityPlugIsShownAndTheNodeIsInvisible)
{
    const KObject node = makeTransform("node");
    KFaults::failCall("KFnDependencyNode::findPlug");
    EXPECT_FALSE(loader.isVisible(KFnDagNode(node)));
    EXPECT_THAT(said("sdk"), ElementsAre("KPlug::findPlug"));
}

TEST_F(Walk, anUnreadableVisibilityPlugIsShownAndTheNodeIsInvisible)
{
    makeMovedTransform("node", 1, 2, 3);
    KFaults::failCall("KPlug::getValue");
    const osg::NodePtr root = walk();
    EXPECT_THAT(said("sdk"), ElementsAre("KPlug::getValue"));
    ASSERT_EQ(1u, root->getNChildren());
    EXPECT_FALSE(root->getChild(0)->getActive());
}

// -- registration ----------------------------------------------------------------------------------

TEST_F(Walk, registeringTheSamePathTwiceLeavesTheFirstNode)
{
    makeTransform("group");
    const KDagPath path = pathOf("group");
    const ScopedGraph first(osg::Node::create());
    const ScopedGraph second(osg::Node::create());
    loader.addOSGNode(path, first.get());
    const Printed printed = printedBy([&] { loader.addOSGNode(path, second.get()); });
    EXPECT_EQ("addOSGNode: '|group' already exists.\n", printed.err);
    EXPECT_TRUE(loader.getOSGNode(path) == first.get());
}

TEST_F(Walk, anUnknownPathHasNoNode)
{
    makeTransform("group");
    EXPECT_TRUE(loader.getOSGNode(pathOf("group")) == osg::NullFC);
}

class AddNode : public Walk
{
protected:
    AddNode()
    {
        object = makeMovedTransform("group", 1, 2, 3);
        path = pathOf("group");
        loader.createRoot();
        graph.reset(new ScopedGraph(loader.root()));
    }
    KObject object;
    KDagPath path;
    std::unique_ptr<ScopedGraph> graph;
};

TEST_F(AddNode, aNullNodeIsReportedUnlessQuiet)
{
    const KFnDagNode fn(path);
    loader.addNode(path, fn, osg::NullFC, true, false, true);
    EXPECT_TRUE(said("log.error").empty());
    loader.addNode(path, fn, osg::NullFC, true, false, false);
    EXPECT_THAT(said("log.error"), ElementsAre("Could not convert 'group', unknown type.\n"));
    EXPECT_TRUE(loader.nodes().empty());
}

TEST_F(AddNode, aPathWithoutParentIsReportedAndTheNodeIsRegisteredButAttachedNowhere)
{
    const KFnDagNode fn(path);
    KFaults::failCall("KDagPath::pop");
    const ScopedGraph node(loader.convertTransform(path));
    loader.addNode(path, fn, node.get(), true, false, true);
    EXPECT_THAT(said("log.error"), ElementsAre("Could not find Kelda parent node for 'group'.\n"));
    EXPECT_TRUE(loader.getOSGNode(path) == node.get());
    EXPECT_TRUE(osg::NodePtr(node.get())->getParent() == osg::NullFC);
    EXPECT_EQ(1u, loader.transformsByName().count("group"));
}

TEST_F(AddNode, remembersThePathOnlyWhenAskedAndNotInstanced)
{
    const KFnDagNode fn(path);
    const zyKeldaLoaderTestAccess::Remembered notAsked =
        loader.addNode(path, fn, osg::NullFC, true, false, true);
    EXPECT_FALSE(notAsked.flag);
    EXPECT_FALSE(notAsked.path.isValid());
    const zyKeldaLoaderTestAccess::Remembered remembered =
        loader.addNode(path, fn, osg::NullFC, true, true, true);
    EXPECT_TRUE(remembered.flag);
    EXPECT_TRUE(remembered.path == path);

    addInstance(makeTransform("other"), object);
    EXPECT_FALSE(loader.addNode(pathOf("|other|group"), fn, osg::NullFC, true, true, true).flag);
}

TEST_F(AddNode, aTransformCoreWithin1e6OfTheIdentityIsReplacedByADefaultOne)
{
    const KFnDagNode fn(path);
    const osg::Transform3DPtr core = osg::Transform3D::create();
    {
        const osg::CPEditor edit(core);
        core->setTranslation(osg::Vec3f(1e-6f, 0, 0));
    }
    loader.addNode(path, fn, osg::makeNodeFor(core), true, false, true);
    const osg::NodePtr added = graph->get()->getChild(0);
    ASSERT_TRUE(transformOf(added) != osg::NullFC);
    EXPECT_EQ(0.0f, transformOf(added)->getTranslation()[0]);
}

TEST_F(AddNode, aTransformCoreBeyond1e6OfTheIdentityIsKept)
{
    const KFnDagNode fn(path);
    const osg::Transform3DPtr core = osg::Transform3D::create();
    {
        const osg::CPEditor edit(core);
        core->setTranslation(osg::Vec3f(2e-6f, 0, 0));
    }
    loader.addNode(path, fn, osg::makeNodeFor(core), true, false, true);
    EXPECT_TRUE(graph->get()->getChild(0)->getCore() == core);
}

TEST_F(AddNode, ofTwoTransformsWithOnePartialNameTheFirstIsKept)
{
    const KFnDagNode fn(path);
    const osg::NodePtr first = loader.convertTransform(path);
    const osg::NodePtr second = loader.convertTransform(path);
    loader.addNode(path, fn, first, true, false, true);
    printedBy([&] { loader.addNode(path, fn, second, true, false, true); });
    EXPECT_TRUE(loader.transformsByName()["group"] == first);
    EXPECT_EQ(2u, graph->get()->getNChildren()) << "attached all the same";
}

TEST_F(AddNode, nodesWithoutATransformCoreAreNotInTheTransformMap)
{
    const KFnDagNode fn(path);
    loader.addNode(path, fn, osg::makeNodeFor(osg::Group::create()), true, false, true);
    EXPECT_TRUE(loader.transformsByName().empty());
    EXPECT_EQ(1u, loader.nodes().size());
}

// -- transforms ------------------------------------------------------------------------------------

osg::Matrix sdkMatrix(const char* name)
{
    // The SDK's matrices are for row vectors, the scene graph's for column vectors.
    const KMatrix m = KFnTransform(pathOf(name)).transformationMatrix();
    osg::Matrix result;
    for (int row = 0; row < 4; ++row)
        for (int column = 0; column < 4; ++column)
            result[row][column] = static_cast<float>(m.m[row][column]);
    return result;
}

void expectNear(const osg::Matrix& a, const osg::Matrix& b, float tolerance)
{
    for (int c = 0; c < 4; ++c)
        for (int r = 0; r < 4; ++r)
            EXPECT_NEAR(a[c][r], b[c][r], tolerance) << "column " << c << ", row " << r;
}

TEST_F(Walk, transformsKeepAllComponentsAndTheirMatrixAgreesWithTheSdks)
{
    makeTransform("t");
    run("setAttr \"t.translate\" 1 2 3");
    run("setAttr \"t.rotate\" 0.5 0.7 0.9");
    run("setAttr \"t.rotateAxis\" 0.2 0.3 0.4");
    run("setAttr \"t.scale\" 2 3 0.5");
    run("setAttr \"t.shear\" 0.1 0.2 0.3");
    run("setAttr \"t.rotatePivot\" 4 5 6");
    run("setAttr \"t.rotatePivotTranslate\" 0.5 0.25 0.125");
    run("setAttr \"t.scalePivot\" 7 8 9");
    run("setAttr \"t.scalePivotTranslate\" 0.75 0.5 0.25");
    for (int order = 0; order < 6; ++order) {
        SCOPED_TRACE(order);
        run("setAttr \"t.rotateOrder\" " + std::to_string(order));
        const ScopedGraph node(loader.convertTransform(pathOf("t")));
        const osg::Transform3DPtr core = transformOf(node.get());
        ASSERT_TRUE(core != osg::NullFC);
        EXPECT_EQ(osg::Vec3f(1, 2, 3), core->getTranslation());
        EXPECT_EQ(osg::Vec3f(2, 3, 0.5f), core->getScale());
        EXPECT_EQ(osg::Vec3f(0.1f, 0.2f, 0.3f), core->getShear());
        EXPECT_EQ(osg::Pnt3f(4, 5, 6), osg::Pnt3f(core->getRotatePivot()));
        EXPECT_EQ(osg::Vec3f(0.5f, 0.25f, 0.125f), core->getRotatePivotTranslation());
        EXPECT_EQ(osg::Pnt3f(7, 8, 9), osg::Pnt3f(core->getScalePivot()));
        EXPECT_EQ(osg::Vec3f(0.75f, 0.5f, 0.25f), core->getScalePivotTranslation());
        expectNear(sdkMatrix("t"), core->getMatrix(), 1e-4f);
    }
}

TEST_F(Walk, noRotationIsTheIdentityQuaternion)
{
    makeTransform("t");
    const ScopedGraph node(loader.convertTransform(pathOf("t")));
    const osg::Quaternion rotation = transformOf(node.get())->getRotationAsQuaternion();
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(i == 3 ? 1.0f : 0.0f, rotation[i]);
}

TEST_F(Walk, aQuarterTurnAboutZ)
{
    makeTransform("t");
    run("setAttr \"t.rotate\" 0 0 1.5707963267948966"); // radians
    const ScopedGraph node(loader.convertTransform(pathOf("t")));
    const osg::Quaternion rotation = transformOf(node.get())->getRotationAsQuaternion();
    EXPECT_FLOAT_EQ(static_cast<float>(std::sqrt(0.5)), rotation[2]);
    EXPECT_FLOAT_EQ(static_cast<float>(std::sqrt(0.5)), rotation[3]);
}

TEST_F(Walk, convertTransformNamesTheNodeWithThePartialPathName)
{
    makeTransform("part", makeTransform("a"));
    makeTransform("part", makeTransform("b"));
    const ScopedGraph node(loader.convertTransform(pathOf("|b|part")));
    EXPECT_EQ("b|part", nameOf(node.get()));
}

TEST_F(Walk, initTransform3DDoesNothingWithoutACore)
{
    makeTransform("t");
    loader.initTransform3D(osg::NullFC, KFnTransform(pathOf("t")));
    SUCCEED();
}

// -- switches --------------------------------------------------------------------------------------

TEST_F(Walk, convertSwitchRecordsTheSwitchAndItsTransform)
{
    makeMovedTransform("variants", 1, 2, 3);
    const ScopedGraph node(loader.loader.convertSwitch(pathOf("variants")));
    ASSERT_TRUE(osg::SwitchPtr::dcast(osg::NodePtr(node.get())->getCore()) != osg::NullFC);
    ASSERT_EQ(1u, loader.switches().size());
    EXPECT_TRUE(loader.switches()[0].switchNode == node.get());
    const ScopedGraph transform(loader.switches()[0].transformNode);
    EXPECT_EQ(osg::Vec3f(1, 2, 3), transformOf(transform.get())->getTranslation());
}

TEST_F(Walk, convertSwitchOfWhatIsNoTransformGivesANullNode)
{
    makeQuad("bodyShape", makeTransform("body"));
    EXPECT_TRUE(loader.loader.convertSwitch(pathOf("bodyShape")) == osg::NullFC);
    EXPECT_TRUE(loader.switches().empty());

    KFaults::failCall("KFnTransform::KFnTransform", 2);
    EXPECT_TRUE(loader.loader.convertSwitch(pathOf("body")) == osg::NullFC)
        << "the transform node is dropped";
    EXPECT_TRUE(loader.switches().empty());
}

TEST_F(Walk, theWalkMakesNoSwitches)
{
    makeMovedTransform("variants", 1, 2, 3);
    walk();
    EXPECT_TRUE(loader.switches().empty());
}

// -- deleting --------------------------------------------------------------------------------------

TEST_F(Walk, deleteKeldaNodeDeletesByNameAndEmptiesTheUndoQueue)
{
    makeTransform("group");
    KFaults::watch();
    ASSERT_FALSE(KGlobal::executeCommand("createNode transform -name \"other\"", false, true).error());
    const Printed printed = printedBy([&] { loader.deleteKeldaNode("group"); });
    EXPECT_EQ("", printed.out);
    EXPECT_EQ(1u, loader.countNodes()) << "the other one is left";
    EXPECT_TRUE(KGlobal::executeCommand("undo", false, false).error())
        << "its making cannot be taken back any more";
    EXPECT_THAT(KFaults::script(), ElementsAre("createNode transform -name \"other\"", "delete (\"group\")",
                                               "flushUndo", "undo"));
}

TEST_F(Walk, deleteKeldaNodeReportsAFailedFlush)
{
    makeTransform("group");
    KFaults::failCall("KGlobal::executeCommand", 2);
    const Printed printed = printedBy([&] { loader.deleteKeldaNode("group"); });
    EXPECT_EQ("Couldn't flush undo buffer\n", printed.out);
}

TEST_F(Walk, deleteKeldaNodeOfAnUnknownNameFlushesNothing)
{
    KFaults::failCall("KGlobal::executeCommand", 2); // the flush would fail
    const Printed printed = printedBy([&] { loader.deleteKeldaNode("nobody"); });
    EXPECT_EQ("", printed.out);
}

// -- counting --------------------------------------------------------------------------------------

std::vector<osg::UInt32> progress;
void recordProgress(osg::UInt32 percent)
{
    progress.push_back(percent);
}

TEST_F(Walk, countNodesCountsEveryPathOfTheDag)
{
    EXPECT_EQ(0u, loader.countNodes());
    const KObject shape = makeQuad("wheelShape", makeTransform("left"));
    EXPECT_EQ(2u, loader.countNodes());
    addInstance(makeTransform("right"), shape);
    EXPECT_EQ(4u, loader.countNodes()) << "instances are visited once for each path";
}

TEST_F(Walk, countIs0AndNothingIsWalkedWithoutAnIterator)
{
    makeTransform("group");
    KFaults::failCall("KItDag::KItDag");
    EXPECT_EQ(0u, loader.countNodes());
    KFaults::failCall("KItDag::KItDag", 1, 2);
    EXPECT_EQ(0u, walk()->getNChildren());
}

TEST_F(Walk, nodesAreConvertedAlsoWhenTheyCouldNotBeCounted)
{
    makeTransform("group");
    KFaults::failCall("KItDag::KItDag");
    EXPECT_THAT(childNames(walk()), ElementsAre("group"));
}

TEST_F(Walk, progressRunsFrom0ToBelow100)
{
    for (int i = 0; i < 3; ++i)
        makeTransform("group#");
    osg::SceneFileHandler::the()->setReadProgressCB(recordProgress, false);
    progress.clear();
    walk();
    osg::SceneFileHandler::the()->setReadProgressCB(nullptr, false);
    EXPECT_THAT(progress, ElementsAre(0u, 33u, 66u));
}

TEST_F(Walk, aPathThatCannotBeReadIsSkippedAndTheWalkGoesOn)
{
    makeTransform("first");
    makeTransform("second");
    KFaults::failCall("KItDag::getPath");
    osg::SceneFileHandler::the()->setReadProgressCB(recordProgress, false);
    progress.clear();
    EXPECT_THAT(childNames(walk()), ElementsAre("second"));
    osg::SceneFileHandler::the()->setReadProgressCB(nullptr, false);
    EXPECT_THAT(progress, ElementsAre(0u, 50u)) << "reported for the skipped one, too";
}
} // namespace
