#include "helpers.h"

#include <OpenSG/OSGChunkMaterial.h>
#include <OpenSG/OSGGeometry.h>
#include <OpenSG/OSGMaterialChunk.h>
#include <OpenSG/OSGMaterialGroup.h>
#include <OpenSG/OSGMaterialPool.h>
#include <OpenSG/OSGSimpleAttachments.h>
#include <OpenSG/OSGSimpleMaterial.h>
#include <OpenSG/OSGSwitch.h>

#include <gtest/gtest.h>

using namespace osg;

// -- Handles and counts -----------------------------------------------------------------------

TEST(Handle, copiesDoNotCount)
{
    const GroupPtr group = Group::create();
    {
        const NodeCorePtr copy = group;
        const FieldContainerPtr another = copy;
        EXPECT_EQ(0, another.getRefCount());
    }
    EXPECT_EQ(0, group.getRefCount());
    subRefCP(group);
}

TEST(Handle, comparesByContainerWhateverTheType)
{
    const New<Group> a;
    const New<Group> b;
    const NodeCorePtr asCore = a.get();
    EXPECT_TRUE(asCore == a.get());
    EXPECT_TRUE(a.get() != b.get());
    EXPECT_NE(a.get() < b.get(), b.get() < a.get());
    EXPECT_TRUE(NodePtr() == NullFC);
    EXPECT_FALSE(a.get() < NullFC);
    EXPECT_TRUE(NullFC < a.get());
    EXPECT_TRUE(!GroupPtr());
    EXPECT_TRUE(bool(a.get()));
}

TEST(Handle, nullHasNoIdCountOrSize)
{
    const NodePtr null;
    EXPECT_EQ(0, null.getRefCount());
    EXPECT_EQ(0u, null.getFieldContainerId());
    EXPECT_EQ(0u, null.getContainerSize());
}

TEST(Handle, downCastGivesNullForOtherClasses)
{
    const New<Switch> choice;
    const NodeCorePtr core = choice.get();
    EXPECT_EQ(choice.get(), SwitchPtr::dcast(core));
    EXPECT_EQ(choice.get(), GroupPtr::dcast(core));
    EXPECT_TRUE(MaterialGroupPtr::dcast(core) == NullFC);
    EXPECT_TRUE(NodePtr::dcast(core) == NullFC);
    EXPECT_TRUE(GroupPtr::dcast(NullFC) == NullFC);
    EXPECT_EQ(choice.get(), dynamic_fcptr_cast<SwitchPtr>(core));
}

TEST(References, newContainersHaveNone)
{
    const GroupPtr group = Group::create();
    EXPECT_EQ(0, group.getRefCount());
    addRefCP(group);
    addRefCP(group);
    EXPECT_EQ(2, group.getRefCount());
    subRefCP(group);
    EXPECT_EQ(1, group.getRefCount());
    EXPECT_TRUE(group != NullFC);
    subRefCP(group);
}

TEST(References, theLastOneTakesTheContainerAndClearsTheHandlePassed)
{
    const GroupPtr group = Group::create();
    const GroupPtr copy = group;
    const UInt32 id = group.getFieldContainerId();
    addRefCP(group);
    subRefCP(group);
    EXPECT_TRUE(group == NullFC);
    EXPECT_TRUE(copy != NullFC);
    EXPECT_FALSE(isAlive(id));
}

TEST(References, anUnreferencedContainerDiesOnSub)
{
    const GroupPtr group = Group::create();
    const UInt32 id = group.getFieldContainerId();
    subRefCP(group);
    EXPECT_FALSE(isAlive(id));
}

TEST(References, clearAlwaysClearsTheHandle)
{
    GroupPtr group = Group::create();
    const Kept<GroupPtr> kept(group);
    addRefCP(group);
    clearRefCP(group);
    EXPECT_TRUE(group == NullFC);
    EXPECT_EQ(1, kept.get().getRefCount());
    clearRefCP(group);
}

TEST(References, setMovesOne)
{
    const New<Group> first;
    const New<Group> second;
    GroupPtr handle;
    setRefdCP(handle, first.get());
    EXPECT_EQ(2, first.get().getRefCount());
    setRefdCP(handle, first.get());
    EXPECT_EQ(2, first.get().getRefCount());
    setRefdCP(handle, second.get());
    EXPECT_EQ(1, first.get().getRefCount());
    EXPECT_EQ(2, second.get().getRefCount());
    setRefdCP(handle, NullFC);
    EXPECT_EQ(1, second.get().getRefCount());
}

TEST(References, nullIsAccepted)
{
    NodePtr null;
    addRefCP(null);
    subRefCP(null);
    clearRefCP(null);
    setRefdCP(null, NullFC);
    beginEditCP(null);
    endEditCP(null);
    EXPECT_TRUE(null == NullFC);
}

TEST(References, idsGrowAndAreNotUsedAgain)
{
    GroupPtr group = Group::create();
    UInt32 last = group.getFieldContainerId();
    EXPECT_EQ(group, FieldContainerFactory::the()->getContainer(last));
    subRefCP(group);
    for (int i = 0; i < 3000; ++i) {
        const GroupPtr next = Group::create();
        EXPECT_GT(next.getFieldContainerId(), last);
        last = next.getFieldContainerId();
        subRefCP(next);
    }
    EXPECT_FALSE(isAlive(last));
    EXPECT_FALSE(isAlive(0));
    EXPECT_FALSE(isAlive(0xffffffffu));
}

// -- Who references what ----------------------------------------------------------------------

TEST(References, nodeCountsItsCore)
{
    const New<Node> node;
    const New<Group> first;
    const New<Group> second;
    const CPEditor edit(node.get(), Node::CoreFieldMask);
    node->setCore(first);
    node->setCore(first);
    EXPECT_EQ(2, first.get().getRefCount());
    ASSERT_EQ(1u, first->getParents().size());
    EXPECT_EQ(node.get(), first->getParents()[0]);
    node->setCore(second);
    EXPECT_EQ(1, first.get().getRefCount());
    EXPECT_TRUE(first->getParents().empty());
    node->setCore(NullFC);
    EXPECT_EQ(1, second.get().getRefCount());
}

TEST(References, coreListsItsNodesInOrderOfAttachment)
{
    const New<Group> core;
    const Kept<NodePtr> a(makeNodeFor(core));
    const Kept<NodePtr> b(makeNodeFor(core));
    const Kept<NodePtr> c(makeNodeFor(core));
    EXPECT_EQ(4, core.get().getRefCount());
    {
        const CPEditor edit(b.get(), Node::CoreFieldMask);
        b->setCore(NullFC);
    }
    ASSERT_EQ(2u, core->getParents().size());
    EXPECT_EQ(a.get(), core->getParents()[0]);
    EXPECT_EQ(c.get(), core->getMFParents()->back());
}

TEST(References, childrenCountOnceAndMoveWithoutChange)
{
    const New<Node> a;
    const New<Node> b;
    const NodePtr child = Node::create();
    addChild(a, child);
    EXPECT_EQ(1, child.getRefCount());
    addChild(b, child);
    EXPECT_EQ(1, child.getRefCount());
    EXPECT_EQ(0u, a->getNChildren());
    EXPECT_EQ(b.get(), child->getParent());
    const CPEditor edit(b.get(), Node::ChildrenFieldMask);
    b->subChild(child);
    EXPECT_TRUE(child == NullFC);
}

TEST(References, removedChildLivesIfReferencedElsewhere)
{
    const New<Node> parent;
    const New<Node> child;
    addChild(parent, child);
    EXPECT_EQ(2, child.get().getRefCount());
    const CPEditor edit(parent.get(), Node::ChildrenFieldMask);
    parent->subChild(child.get());
    EXPECT_EQ(1, child.get().getRefCount());
    EXPECT_TRUE(child->getParent() == NullFC);
}

TEST(References, endOfANodeReleasesChildrenCoreAndAttachments)
{
    NodePtr parent = Node::create();
    const New<Node> kept;
    const New<Group> core;
    addChild(parent, kept);
    const NodePtr lost = Node::create();
    const UInt32 lostId = lost.getFieldContainerId();
    addChild(parent, lost);
    {
        const CPEditor edit(parent, Node::CoreFieldMask);
        parent->setCore(core);
    }
    setName(parent, "parent");
    const NamePtr name = NamePtr::dcast(parent->findAttachment(Name::getClassType()));
    const UInt32 nameId = name.getFieldContainerId();
    EXPECT_EQ(1, name.getRefCount());

    subRefCP(parent);
    EXPECT_TRUE(kept->getParent() == NullFC);
    EXPECT_EQ(1, kept.get().getRefCount());
    EXPECT_FALSE(isAlive(lostId));
    EXPECT_FALSE(isAlive(nameId));
    EXPECT_EQ(1, core.get().getRefCount());
    EXPECT_TRUE(core->getParents().empty());
}

TEST(References, geometryCountsItsPropertiesAndIsTheirParent)
{
    GeometryPtr geometry = Geometry::create();
    const New<GeoPositions3f> first;
    const New<GeoPositions3f> second;
    beginEditCP(geometry);
    geometry->setPositions(first.get());
    geometry->setPositions(first.get());
    EXPECT_EQ(2, first.get().getRefCount());
    EXPECT_EQ(0, first->findParent(geometry));
    EXPECT_EQ(1u, first->getParents().size());
    geometry->setPositions(second.get());
    EXPECT_EQ(1, first.get().getRefCount());
    EXPECT_EQ(-1, first->findParent(geometry));
    EXPECT_EQ(2, second.get().getRefCount());
    endEditCP(geometry);
    subRefCP(geometry);
    EXPECT_EQ(1, second.get().getRefCount());
    EXPECT_TRUE(second->getParents().empty());
}

TEST(References, materialsOfDrawablesAndGroupsCount)
{
    const New<ChunkMaterial> material;
    GeometryPtr geometry = Geometry::create();
    beginEditCP(geometry, Geometry::MaterialFieldMask);
    geometry->setMaterial(material.get());
    endEditCP(geometry, Geometry::MaterialFieldMask);
    const New<MaterialGroup> group;
    beginEditCP(group.get());
    group->setMaterial(material.get());
    EXPECT_EQ(3, material.get().getRefCount());
    group->setMaterial(NullFC);
    endEditCP(group.get());
    subRefCP(geometry);
    EXPECT_EQ(1, material.get().getRefCount());
}

TEST(References, poolCountsEachMaterialOnce)
{
    const New<ChunkMaterial> material;
    MaterialPoolPtr pool = MaterialPool::create();
    beginEditCP(pool);
    pool->add(material.get());
    pool->add(material.get());
    EXPECT_EQ(2, material.get().getRefCount());
    pool->sub(MaterialPtr(material.get()));
    EXPECT_EQ(1, material.get().getRefCount());
    pool->add(material.get());
    endEditCP(pool);
    subRefCP(pool);
    EXPECT_EQ(1, material.get().getRefCount());
}

TEST(References, chunksCountForEveryAddAndOnceMoreForTheState)
{
    const New<MaterialChunk> chunk;
    ChunkMaterialPtr material = ChunkMaterial::create();
    beginEditCP(material);
    material->addChunk(chunk.get());
    material->addChunk(chunk.get());
    EXPECT_EQ(3, chunk.get().getRefCount());
    EXPECT_TRUE(chunk->getParents().empty());
    EXPECT_FALSE(material->subChunk(chunk.get()));
    EXPECT_EQ(2, chunk.get().getRefCount());
    endEditCP(material);
    EXPECT_EQ(3, chunk.get().getRefCount());
    subRefCP(material);
    EXPECT_EQ(1, chunk.get().getRefCount());
}

TEST(References, attachmentsCountAndReplaceThoseOfTheirGroup)
{
    const New<Node> node;
    const New<Name> first;
    const New<Name> second;
    const CPEditor edit(node.get(), Node::AttachmentsFieldMask);
    node->addAttachment(first.get());
    node->addAttachment(first.get());
    EXPECT_EQ(2, first.get().getRefCount());
    EXPECT_EQ(1u, first->getParents().size());
    node->addAttachment(second.get());
    EXPECT_EQ(1, first.get().getRefCount());
    EXPECT_TRUE(first->getParents().empty());
    node->addAttachment(first.get(), 7);
    EXPECT_EQ(first.get(), node->findAttachment(Name::getClassGroupId(), 7));
    EXPECT_EQ(second.get(), node->findAttachment(Name::getClassType()));
    node->subAttachment(first.get(), 7);
    EXPECT_EQ(1, first.get().getRefCount());
    node->subAttachment(first.get());
    EXPECT_EQ(1, first.get().getRefCount());
}

TEST(References, drawableCountsItsTransform)
{
    GeometryPtr geometry = Geometry::create();
    const New<Transform3D> transform;
    geometry->setTransform(transform.get());
    EXPECT_EQ(2, transform.get().getRefCount());
    EXPECT_EQ(transform.get(), geometry->getTransform());
    const FieldContainerPtr copy = geometry->shallowCopy();
    EXPECT_EQ(3, transform.get().getRefCount());
    subRefCP(copy);
    subRefCP(geometry);
    EXPECT_EQ(1, transform.get().getRefCount());
}

// -- Copies -----------------------------------------------------------------------------------

TEST(ShallowCopy, sharesHandlesAndCountsThem)
{
    const New<MaterialChunk> chunk;
    const New<ChunkMaterial> material;
    beginEditCP(material.get());
    material->addChunk(chunk.get());
    endEditCP(material.get());
    EXPECT_EQ(3, chunk.get().getRefCount());
    const ChunkMaterialPtr copy = ChunkMaterialPtr::dcast(material->shallowCopy());
    EXPECT_EQ(0, copy.getRefCount());
    EXPECT_EQ(4, chunk.get().getRefCount());
    EXPECT_TRUE(copy->getState() == NullFC);
    subRefCP(copy);
    EXPECT_EQ(3, chunk.get().getRefCount());
}

TEST(ShallowCopy, ofAGeometryIsAParentOfTheSharedProperties)
{
    const New<Geometry> geometry;
    const New<GeoPositions3f> positions;
    {
        const CPEditor edit(geometry.get());
        geometry->setPositions(positions.get());
    }
    const GeometryPtr copy = GeometryPtr::dcast(geometry->shallowCopy());
    EXPECT_EQ(positions.get(), copy->getPositions());
    EXPECT_EQ(3, positions.get().getRefCount());
    EXPECT_EQ(2u, positions->getParents().size());
    subRefCP(copy);
    EXPECT_EQ(1u, positions->getParents().size());
}

TEST(ShallowCopy, ofANodeHasNoCoreChildrenOrParent)
{
    const New<Node> parent;
    const Kept<NodePtr> node(makeGroupNode());
    addChild(parent, node);
    addChild(node, Node::create());
    setName(node, "n");
    const NodePtr copy = NodePtr::dcast(node->shallowCopy());
    EXPECT_TRUE(copy->getCore() == NullFC);
    EXPECT_TRUE(copy->getParent() == NullFC);
    EXPECT_EQ(0u, copy->getNChildren());
    EXPECT_STREQ("n", getName(copy));
    setName(copy, "shared");
    EXPECT_STREQ("shared", getName(node));
    subRefCP(copy);
    EXPECT_STREQ("shared", getName(node));
}

TEST(ShallowCopy, ofASimpleMaterialMakesChunksOfItsOwn)
{
    const New<SimpleMaterial> material;
    beginEditCP(material.get());
    material->setDiffuse(Color3f(1, 0, 0));
    endEditCP(material.get());
    const Kept<SimpleMaterialPtr> copy(SimpleMaterialPtr::dcast(material->shallowCopy()));
    beginEditCP(copy.get());
    copy->setDiffuse(Color3f(0, 1, 0));
    endEditCP(copy.get());
    const UInt32 place = MaterialChunk::getStaticClassId();
    EXPECT_EQ(Color4f(1, 0, 0, 1),
              MaterialChunkPtr::dcast(material->getState()->getChunk(place))->getDiffuse());
    EXPECT_EQ(Color4f(0, 1, 0, 1), MaterialChunkPtr::dcast(copy->getState()->getChunk(place))->getDiffuse());
}
