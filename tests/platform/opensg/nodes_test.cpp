#include "helpers.h"

#include <OpenSG/OSGAction.h>
#include <OpenSG/OSGChunkMaterial.h>
#include <OpenSG/OSGComponentTransform.h>
#include <OpenSG/OSGMaterialChunk.h>
#include <OpenSG/OSGMaterialGroup.h>
#include <OpenSG/OSGSimpleAttachments.h>
#include <OpenSG/OSGSimpleGeometry.h>
#include <OpenSG/OSGSwitch.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace osg;

// -- Children ---------------------------------------------------------------------------------

namespace
{

/// Root with children "a", "b", "c", open for edits of the children.
class NodeChildren : public testing::Test
{
protected:
    NodeChildren() : edit(root.get())
    {
        for (const char* const name : {"a", "b", "c"}) {
            const NodePtr child = Node::create();
            setName(child, name);
            root->addChild(child);
        }
    }
    std::string names()
    {
        std::string all;
        for (UInt32 i = 0; i < root->getNChildren(); ++i) {
            all += getName(root->getChild(i));
        }
        return all;
    }

    New<Node> root;
    CPEditor edit;
};

} // namespace

TEST_F(NodeChildren, keepTheirOrder)
{
    EXPECT_EQ("abc", names());
    EXPECT_EQ(1, root->findChild(root->getChild(1)));
    EXPECT_EQ(-1, root->findChild(root.get()));
    EXPECT_EQ(root.get(), root->getChild(2)->getParent());
}

TEST_F(NodeChildren, addedAgainMoveToTheEnd)
{
    root->addChild(root->getChild(0));
    EXPECT_EQ("bca", names());
    EXPECT_EQ(1, root->getChild(2).getRefCount());
}

TEST_F(NodeChildren, areInserted)
{
    const NodePtr x = Node::create();
    setName(x, "x");
    root->insertChild(1, x);
    EXPECT_EQ("axbc", names());
    root->insertChild(4, root->getChild(0));
    EXPECT_EQ("xbca", names());
    root->addChild(NullFC);
    root->insertChild(0, NullFC);
    EXPECT_EQ("xbca", names());
}

TEST_F(NodeChildren, areReplaced)
{
    const NodePtr x = Node::create();
    setName(x, "x");
    const UInt32 oldId = root->getChild(1).getFieldContainerId();
    root->replaceChild(1, x);
    EXPECT_EQ("axc", names());
    EXPECT_FALSE(isAlive(oldId));
    root->replaceChild(7, x);
    root->replaceChild(0, NullFC);
    EXPECT_EQ("axc", names());
    root->replaceChild(1, x);
    EXPECT_EQ("axc", names());
    const Kept<NodePtr> a(root->getChild(0));
    EXPECT_TRUE(root->replaceChildBy(a, root->getChild(2)));
    EXPECT_EQ("cx", names());
    EXPECT_TRUE(a->getParent() == NullFC);
    EXPECT_FALSE(root->replaceChildBy(a, x));
    EXPECT_FALSE(root->replaceChildBy(x, NullFC));
}

TEST_F(NodeChildren, areRemoved)
{
    root->subChild(1u);
    EXPECT_EQ("ac", names());
    root->subChild(root->getMFChildren()->front()); // the handle in the list itself
    EXPECT_EQ("c", names());
    const New<Node> stranger;
    testing::internal::CaptureStderr();
    root->subChild(stranger.get());
    EXPECT_NE(std::string::npos, testing::internal::GetCapturedStderr().find("is not one of my children!"));
    EXPECT_EQ("c", names());
}

TEST(Node, isActiveWithAllBitsOnly)
{
    const New<Node> node;
    const CPEditor edit(node.get());
    EXPECT_TRUE(node->getActive());
    node->setTravMask(1);
    EXPECT_FALSE(node->getActive());
    node->setActive(false);
    EXPECT_EQ(0u, node->getTravMask());
    node->setActive(true);
    EXPECT_EQ(0xffffffffu, node->getTravMask());
    EXPECT_EQ(0, node->getOcclusionMask());
}

// -- Space ------------------------------------------------------------------------------------

static NodePtr makeTranslation(Real32 x, Real32 y, Real32 z)
{
    const TransformPtr core = Transform::create();
    const CPEditor edit(core);
    Matrix matrix;
    matrix.setTranslate(x, y, z);
    core->setMatrix(matrix);
    return makeNodeFor(core);
}

static void expectBox(const DynamicVolume& volume, const Pnt3f& min, const Pnt3f& max)
{
    Pnt3f low;
    Pnt3f high;
    volume.getBounds(low, high);
    EXPECT_FALSE(volume.isEmpty());
    EXPECT_EQ(min, low);
    EXPECT_EQ(max, high);
}

TEST(Node, toWorldIsTheProductDownToItsOwnCore)
{
    const Kept<NodePtr> root(makeTranslation(1, 0, 0));
    const NodePtr bare = Node::create();
    const NodePtr scaled = makeCoredNode<ComponentTransform>();
    const NodePtr leaf = makeTranslation(0, 5, 0);
    addChild(root, bare);
    addChild(bare, scaled);
    addChild(scaled, leaf);
    const ComponentTransformPtr scale = ComponentTransformPtr::dcast(scaled->getCore());
    {
        CPEdit(scale, ComponentTransform::ScaleFieldMask);
        scale->setScale(Vec3f(2, 2, 2));
    }
    Pnt3f p(1, 1, 1);
    leaf->getToWorld().mult(p);
    EXPECT_EQ(Pnt3f(3, 12, 2), p);
    EXPECT_EQ(TransformPtr::dcast(root->getCore())->getMatrix(), bare->getToWorld());
}

TEST(Volume, ofATransformsNodeIsInItsParentsSystem)
{
    const Kept<NodePtr> root(makeTranslation(10, 0, 0));
    const NodePtr inner = makeTranslation(0, 20, 0);
    addChild(root, inner);
    addChild(inner, makeBox(2, 4, 6, 1, 1, 1));
    expectBox(inner->getVolume(true), Pnt3f(-1, 18, -3), Pnt3f(1, 22, 3));
    expectBox(root->getVolume(true), Pnt3f(9, 18, -3), Pnt3f(11, 22, 3));
    DynamicVolume world;
    inner->getChild(0)->getWorldVolume(world);
    expectBox(world, Pnt3f(9, 18, -3), Pnt3f(11, 22, 3));
}

TEST(Volume, followsChangesOfTransformsGeometryAndChildren)
{
    const Kept<NodePtr> root(makeTranslation(0, 0, 0));
    const NodePtr box = makeBox(2, 2, 2, 1, 1, 1);
    addChild(root, box);
    expectBox(root->getVolume(true), Pnt3f(-1, -1, -1), Pnt3f(1, 1, 1));

    const TransformPtr transform = TransformPtr::dcast(root->getCore());
    beginEditCP(transform);
    Matrix matrix;
    matrix.setTranslate(3, 0, 0);
    transform->setMatrix(matrix);
    EXPECT_TRUE(root->getVolume(false).isValid());
    endEditCP(transform);
    EXPECT_FALSE(root->getVolume(false).isValid());
    expectBox(root->getVolume(true), Pnt3f(2, -1, -1), Pnt3f(4, 1, 1));

    const GeoPositions3fPtr positions =
        GeoPositions3fPtr::dcast(GeometryPtr::dcast(box->getCore())->getPositions());
    beginEditCP(positions);
    positions->push_back(Pnt3f(0, 50, 0));
    endEditCP(positions);
    expectBox(root->getVolume(true), Pnt3f(2, -1, -1), Pnt3f(4, 50, 1));

    {
        const CPEditor edit(root.get(), Node::ChildrenFieldMask);
        root->subChild(box);
    }
    EXPECT_TRUE(root->getVolume(true).isEmpty());
    EXPECT_TRUE(root->getVolume(true).isValid());
}

TEST(Volume, leavesOutChildrenThatNoTraversalEnters)
{
    const Kept<NodePtr> root(makeGroupNode());
    const NodePtr hidden = makeBox(10, 10, 10, 1, 1, 1);
    addChild(root, hidden);
    addChild(root, makeBox(2, 2, 2, 1, 1, 1));
    expectBox(root->getVolume(true), Pnt3f(-5, -5, -5), Pnt3f(5, 5, 5));
    {
        const CPEditor edit(hidden, Node::TravMaskFieldMask);
        hidden->setActive(false);
    }
    expectBox(root->getVolume(true), Pnt3f(-1, -1, -1), Pnt3f(1, 1, 1));
}

TEST(Volume, staticOnesAreNotInvalidated)
{
    const Kept<NodePtr> root(makeGroupNode());
    addChild(root, makeBox(2, 2, 2, 1, 1, 1));
    root->getVolume(true).setStatic(true);
    addChild(root, makeBox(20, 2, 2, 1, 1, 1));
    expectBox(root->getVolume(true), Pnt3f(-1, -1, -1), Pnt3f(1, 1, 1));
}

TEST(Volume, takesAllChildrenOfASwitch)
{
    const Kept<NodePtr> root(makeCoredNode<Switch>());
    addChild(root, makeBox(2, 2, 2, 1, 1, 1));
    addChild(root, makeBox(4, 4, 4, 1, 1, 1));
    expectBox(root->getVolume(true), Pnt3f(-2, -2, -2), Pnt3f(2, 2, 2));
}

TEST(Volume, ofADrawableWithATransformIsTransformed)
{
    const Kept<NodePtr> node(makeBox(2, 2, 2, 1, 1, 1));
    const GeometryPtr geometry = GeometryPtr::dcast(node->getCore());
    const Transform3DPtr transform = Transform3D::create();
    beginEditCP(transform);
    transform->setTranslation(Vec3f(0, 0, 7));
    endEditCP(transform);
    node->updateVolume();
    geometry->setTransform(transform);
    expectBox(node->getVolume(true), Pnt3f(-1, -1, 6), Pnt3f(1, 1, 8));
}

// -- Traversal --------------------------------------------------------------------------------

namespace
{

/// Tree a(b(c d) e), of which "b" is a switch, "c" inactive and "e" without core.
class Traversal : public testing::Test
{
protected:
    Traversal() : root(makeGroupNode())
    {
        const NodePtr b = makeCoredNode<Switch>();
        const NodePtr c = makeGroupNode();
        const NodePtr d = makeGroupNode();
        const NodePtr e = Node::create();
        addChild(root, b);
        addChild(b, c);
        addChild(b, d);
        addChild(root, e);
        setName(root, "a");
        setName(b, "b");
        setName(c, "c");
        setName(d, "d");
        setName(e, "e");
        const CPEditor edit(c);
        c->setActive(false);
    }
    Action::ResultE enter(NodePtr& node)
    {
        trace += getName(node);
        return special == getName(node) ? answer : Action::Continue;
    }
    Action::ResultE leave(NodePtr& node, Action::ResultE result)
    {
        trace += std::string("(") + getName(node) + std::to_string(int(result)) + ")";
        return special == std::string("leave ") + getName(node) ? answer : Action::Continue;
    }
    Action::ResultE run()
    {
        return traverse(
            root,
            osgTypedMethodFunctor1ObjPtrCPtrRef<Action::ResultE, Traversal, NodePtr>(this, &Traversal::enter),
            osgTypedMethodFunctor2ObjPtrCPtrRef<Action::ResultE, Traversal, NodePtr, Action::ResultE>(
                this, &Traversal::leave));
    }

    Kept<NodePtr> root;
    std::string trace;
    std::string special;
    Action::ResultE answer = Action::Continue;
};

} // namespace

TEST_F(Traversal, visitsEveryNodeDepthFirst)
{
    EXPECT_EQ(Action::Continue, run());
    EXPECT_EQ("abc(c0)d(d0)(b0)e(e0)(a0)", trace);
}

TEST_F(Traversal, skipLeavesOutTheChildrenOnly)
{
    special = "b";
    answer = Action::Skip;
    EXPECT_EQ(Action::Continue, run());
    EXPECT_EQ("ab(b0)e(e0)(a0)", trace);
}

TEST_F(Traversal, quitEntersNothingMoreAndLeavesWhatIsOpen)
{
    special = "c";
    answer = Action::Quit;
    EXPECT_EQ(Action::Quit, run());
    EXPECT_EQ("abc(c2)(b2)(a2)", trace);
}

TEST_F(Traversal, leaveMayQuitToo)
{
    special = "leave c";
    answer = Action::Quit;
    EXPECT_EQ(Action::Quit, run());
    EXPECT_EQ("abc(c0)(b2)(a2)", trace);
}

static std::string visited;

static Action::ResultE note(NodePtr& node)
{
    visited += getName(node);
    return Action::Continue;
}

static Action::ResultE noteAndQuit(NodePtr& node)
{
    visited += getName(node);
    return Action::Quit;
}

TEST_F(Traversal, takesFunctionsAndListsOfRoots)
{
    visited.clear();
    EXPECT_EQ(Action::Continue,
              traverse(root, osgTypedFunctionFunctor1CPtrRef<Action::ResultE, NodePtr>(note)));
    EXPECT_EQ("abcde", visited);
    visited.clear();
    EXPECT_EQ(Action::Continue, traverse(std::vector<NodePtr>{root->getChild(1), root->getChild(0)}, note));
    EXPECT_EQ("ebcd", visited);
    visited.clear();
    EXPECT_EQ(Action::Quit,
              traverse(std::vector<NodePtr>{root->getChild(1), root->getChild(0)}, noteAndQuit));
    EXPECT_EQ("e", visited);
}

// -- Clones -----------------------------------------------------------------------------------

/// Group node "root" with two nodes around one box with a material that is named and has a chunk.
static NodePtr makeSharedScene()
{
    const NodePtr root = makeGroupNode();
    setName(root, "root");
    const GeometryPtr box = makeBoxGeo(1, 1, 1, 1, 1, 1);
    const ChunkMaterialPtr material = ChunkMaterial::create();
    setName(material, "steel");
    beginEditCP(material);
    material->addChunk(MaterialChunk::create());
    endEditCP(material);
    beginEditCP(box);
    box->setMaterial(material);
    endEditCP(box);
    addChild(root, makeNodeFor(box));
    addChild(root, makeNodeFor(box));
    beginEditCP(root->getChild(1));
    root->getChild(1)->setActive(false);
    endEditCP(root->getChild(1));
    return root;
}

TEST(CloneTree, sharesCoresAndDropsNames)
{
    const Kept<NodePtr> scene(makeSharedScene());
    const Kept<NodePtr> copy(cloneTree(scene));
    EXPECT_EQ(scene->getCore(), copy->getCore());
    EXPECT_EQ(nullptr, getName(copy));
    ASSERT_EQ(2u, copy->getNChildren());
    EXPECT_EQ(scene->getChild(0)->getCore(), copy->getChild(0)->getCore());
    EXPECT_EQ(4, copy->getChild(0)->getCore().getRefCount());
    EXPECT_FALSE(copy->getChild(1)->getActive());
    EXPECT_TRUE(cloneTree(NullFC) == NullFC);
}

TEST(CloneTree, ofANodeAloneSharesItsCore)
{
    const Kept<NodePtr> scene(makeSharedScene());
    const Kept<NodePtr> copy(scene->clone());
    EXPECT_EQ(scene->getCore(), copy->getCore());
    EXPECT_EQ(nullptr, getName(copy));
    EXPECT_EQ(0u, copy->getNChildren());
}

TEST(DeepClone, clonesCoresPropertiesMaterialsAndNames)
{
    const Kept<NodePtr> scene(makeSharedScene());
    const Kept<NodePtr> copy(deepCloneTree(scene));
    EXPECT_STREQ("root", getName(copy));
    const GeometryPtr from = GeometryPtr::dcast(scene->getChild(0)->getCore());
    const GeometryPtr first = GeometryPtr::dcast(copy->getChild(0)->getCore());
    const GeometryPtr second = GeometryPtr::dcast(copy->getChild(1)->getCore());
    ASSERT_TRUE(first && second);
    EXPECT_NE(from, first);
    EXPECT_NE(first, second); // once for each node
    EXPECT_NE(from->getPositions(), first->getPositions());
    EXPECT_EQ(from->getPositions()->size(), first->getPositions()->size());
    EXPECT_EQ(from->getPositions()->getValue(5), first->getPositions()->getValue(5));
    EXPECT_EQ(0, first->getPositions()->findParent(first));
    EXPECT_EQ(1, first->getPositions().getRefCount());
    EXPECT_TRUE(from->getIndexMapping() == first->getIndexMapping());
    EXPECT_NE(from->getMaterial(), first->getMaterial());
    EXPECT_STREQ("steel", getName(first->getMaterial()));
    const ChunkMaterialPtr material = ChunkMaterialPtr::dcast(first->getMaterial());
    EXPECT_TRUE(*from->getMaterial() == *material);
    EXPECT_NE(ChunkMaterialPtr::dcast(from->getMaterial())->getChunks(0), material->getChunks(0));
    EXPECT_EQ(2, material->getChunks(0).getRefCount()); // the material and its state
    EXPECT_TRUE(material->getState() != NullFC);
}

TEST(DeepClone, sharesTheTypesNamed)
{
    const Kept<NodePtr> scene(makeSharedScene());
    const GeometryPtr from = GeometryPtr::dcast(scene->getChild(0)->getCore());
    const Kept<NodePtr> byName(deepCloneTree(scene, "Material, GeoPositions,Unknown"));
    const GeometryPtr first = GeometryPtr::dcast(byName->getChild(0)->getCore());
    EXPECT_NE(from, first);
    EXPECT_EQ(from->getMaterial(), first->getMaterial());
    EXPECT_EQ(from->getPositions(), first->getPositions());
    EXPECT_NE(from->getNormals(), first->getNormals());

    const Kept<NodePtr> byGroup(deepCloneTree(scene, std::vector<UInt32>{GeoNormals::getClassGroupId()}));
    EXPECT_EQ(from->getNormals(), GeometryPtr::dcast(byGroup->getChild(0)->getCore())->getNormals());
    const Kept<NodePtr> byList(deepCloneTree(scene, std::vector<std::string>{"ChunkMaterial"}));
    EXPECT_EQ(from->getMaterial(), GeometryPtr::dcast(byList->getChild(0)->getCore())->getMaterial());
}

TEST(DeepClone, keepsWhatAContainerReferencesTwiceTogether)
{
    const New<ChunkMaterial> material;
    const MaterialChunkPtr chunk = MaterialChunk::create();
    beginEditCP(material.get());
    material->addChunk(chunk);
    material->addChunk(chunk);
    endEditCP(material.get());
    const Kept<ChunkMaterialPtr> copy(ChunkMaterialPtr::dcast(deepClone(material.get())));
    ASSERT_EQ(2u, copy->getChunks().size());
    EXPECT_EQ(copy->getChunks(0), copy->getChunks(1));
    EXPECT_NE(chunk, copy->getChunks(0));
    EXPECT_TRUE(deepClone(NullFC) == NullFC);
}

TEST(DeepClone, takesTheTransformOfADrawableAlong)
{
    const New<Geometry> geometry;
    const Transform3DPtr transform = Transform3D::create();
    beginEditCP(transform);
    transform->setTranslation(Vec3f(1, 2, 3));
    endEditCP(transform);
    geometry->setTransform(transform);
    const Kept<GeometryPtr> copy(GeometryPtr::dcast(deepClone(geometry.get())));
    EXPECT_NE(transform, copy->getTransform());
    EXPECT_EQ(Vec3f(1, 2, 3), copy->getTransform()->getTranslation());
    EXPECT_EQ(1, copy->getTransform().getRefCount());
}

TEST(DeepClone, attachmentsComeUnderBindingZero)
{
    const New<Node> source;
    const New<Node> target;
    const NamePtr name = Name::create();
    name->getField() = "n";
    {
        const CPEditor edit(source.get());
        source->addAttachment(name, 3);
    }
    deepCloneAttachments(source.get(), target.get());
    EXPECT_STREQ("n", getName(target));
    EXPECT_NE(name, NamePtr::dcast(target->findAttachment(Name::getClassType())));
    const New<Node> sharing;
    deepCloneAttachments(source.get(), sharing.get(), "Name");
    EXPECT_EQ(name, NamePtr::dcast(sharing->findAttachment(Name::getClassType())));
}

// -- Sizes ------------------------------------------------------------------------------------

/// A chain of \a depth nodes with cores below \a root; gives the last one.
static NodePtr makeChain(const NodePtr& root, int depth)
{
    NodePtr last = root;
    for (int i = 0; i < depth; ++i) {
        const NodePtr next = makeTranslation(1, 0, 0);
        addChild(last, next);
        last = next;
    }
    return last;
}

TEST(DeepTree, isBuiltVisitedMeasuredClonedAndDestroyed)
{
    const int depth = 10000;
    const UInt32 before = FieldContainerFactory::the()->getNumContainers();
    {
        const Kept<NodePtr> root(makeGroupNode());
        const NodePtr last = makeChain(root, depth);
        addChild(last, makeBox(2, 2, 2, 1, 1, 1));
        int visits = 0;
        traverse(root, [&visits](NodePtr&) {
            ++visits;
            return Action::Continue;
        });
        EXPECT_EQ(depth + 2, visits);
        expectBox(root->getVolume(true), Pnt3f(depth - 1, -1, -1), Pnt3f(depth + 1, 1, 1));
        EXPECT_EQ(Real32(depth), last->getToWorld()[3][0]);
        const Kept<NodePtr> copy(cloneTree(root));
        const Kept<NodePtr> deep(deepCloneTree(root));
        expectBox(deep->getVolume(true), Pnt3f(depth - 1, -1, -1), Pnt3f(depth + 1, 1, 1));
    }
    // Prototypes made on the way and the default material stay.
    EXPECT_LE(FieldContainerFactory::the()->getNumContainers(), before + 30);
}

TEST(WideTree, endsInLinearTimeThoughAllNodesShareOneCore)
{
    const UInt32 count = 200000;
    NodePtr root = makeGroupNode();
    const New<Group> core;
    beginEditCP(root);
    for (UInt32 i = 0; i < count; ++i) {
        root->addChild(makeNodeFor(core));
    }
    endEditCP(root);
    EXPECT_EQ(count, core->getParents().size());
    subRefCP(root);
    EXPECT_TRUE(core->getParents().empty());
    EXPECT_EQ(1, core.get().getRefCount());
}
