#include "helpers.h"

#include <OpenSG/OSGBlendChunk.h>
#include <OpenSG/OSGChunkMaterial.h>
#include <OpenSG/OSGMaterialChunk.h>
#include <OpenSG/OSGMaterialGroup.h>
#include <OpenSG/OSGMaterialPool.h>
#include <OpenSG/OSGSimpleAttachments.h>
#include <OpenSG/OSGSimpleGeometry.h>

#include <gtest/gtest.h>

using namespace osg;

// -- State ------------------------------------------------------------------------------------

TEST(StateChunk, classesHavePlacesOfTheirOwn)
{
    const UInt32 material = MaterialChunk::getStaticClassId();
    const UInt32 blend = BlendChunk::getStaticClassId();
    EXPECT_NE(material, blend);
    const New<MaterialChunk> chunk;
    EXPECT_EQ(material, chunk->getClassId());
    EXPECT_EQ(1u, chunk->getClass()->getNumSlots());
    EXPECT_STREQ("Material", chunk->getClass()->getName());
    EXPECT_EQ(chunk->getClass(), StateChunkClass::find(material));
    EXPECT_EQ(nullptr, StateChunkClass::find(StateChunkClass::getNumPlaces()));
}

TEST(State, theSecondChunkOfAClassWithOneSlotReplacesTheFirst)
{
    const New<State> state;
    const New<MaterialChunk> first;
    const New<MaterialChunk> second;
    const UInt32 place = MaterialChunk::getStaticClassId();
    EXPECT_FALSE(state->addChunk(first.get()));
    EXPECT_EQ(first.get(), MaterialChunkPtr::dcast(state->getChunk(place)));
    EXPECT_FALSE(state->addChunk(second.get()));
    EXPECT_EQ(second.get(), MaterialChunkPtr::dcast(state->getChunk(place)));
    EXPECT_EQ(1, first.get().getRefCount());
    EXPECT_EQ(2, second.get().getRefCount());

    testing::internal::CaptureStderr();
    EXPECT_TRUE(state->addChunk(first.get(), State::AutoSlot));
    EXPECT_TRUE(state->addChunk(first.get(), 1));
    EXPECT_FALSE(testing::internal::GetCapturedStderr().empty());
    EXPECT_FALSE(state->addChunk(first.get(), 0));
    EXPECT_EQ(first.get(), MaterialChunkPtr::dcast(state->getChunk(place)));
}

TEST(State, chunksAreFoundAndRemoved)
{
    const New<State> state;
    const New<MaterialChunk> chunk;
    const New<BlendChunk> blend;
    const UInt32 place = chunk->getClassId();
    state->addChunk(chunk.get());
    state->addChunk(blend.get());
    EXPECT_TRUE(state->chunkPresent(place));
    EXPECT_TRUE(state->chunkPresent(StateChunkPtr(blend.get())));
    EXPECT_EQ(std::max(place, blend->getClassId()) + 1, state->getMFChunks()->size());
    EXPECT_TRUE(state->getChunk(100000) == NullFC);
    EXPECT_FALSE(state->subChunk(place, 0));
    EXPECT_FALSE(state->chunkPresent(place));
    testing::internal::CaptureStderr();
    EXPECT_TRUE(state->subChunk(chunk.get()));
    EXPECT_TRUE(state->subChunk(place, 0));
    EXPECT_FALSE(testing::internal::GetCapturedStderr().empty());
    EXPECT_FALSE(state->subChunk(blend.get()));
    EXPECT_TRUE(state->getMFChunks()->empty());
    EXPECT_EQ(1, blend.get().getRefCount());
    state->addChunk(blend.get());
    state->clearChunks();
    EXPECT_EQ(1, blend.get().getRefCount());
}

// -- ChunkMaterial ----------------------------------------------------------------------------

TEST(ChunkMaterial, hasNoStateBeforeItsFirstEditEnds)
{
    const New<ChunkMaterial> material;
    EXPECT_TRUE(material->getState() == NullFC);
    beginEditCP(material.get());
    material->addChunk(MaterialChunk::create());
    EXPECT_TRUE(material->getState() == NullFC);
    endEditCP(material.get());
    ASSERT_TRUE(material->getState() != NullFC);
    EXPECT_EQ(1, material->getState().getRefCount());
    EXPECT_EQ(material->getChunks(0), material->getState()->getChunk(MaterialChunk::getStaticClassId()));
    const StatePtr made = material->makeState();
    EXPECT_EQ(0, made.getRefCount());
    subRefCP(made);
    EXPECT_EQ(1u, material->getNPasses());
    EXPECT_FALSE(material->isMultiPass());
}

TEST(ChunkMaterial, slotsAreKeptForChunksThatNameThem)
{
    const New<ChunkMaterial> material;
    const New<MaterialChunk> a;
    const New<BlendChunk> b;
    const CPEditor edit(material.get());
    EXPECT_TRUE(material->addChunk(a.get()));
    EXPECT_TRUE(material->getSlots().empty());
    EXPECT_TRUE(material->addChunk(b.get(), 0));
    ASSERT_EQ(2u, material->getSlots().size());
    EXPECT_EQ(-2, material->getSlots(0));
    EXPECT_EQ(0, material->getSlots(1));
    material->addChunk(a.get());
    EXPECT_EQ(2u, material->getMFSlots()->size());

    testing::internal::CaptureStderr();
    EXPECT_TRUE(material->subChunk(b.get())); // not with the default slot
    EXPECT_FALSE(testing::internal::GetCapturedStderr().empty());
    EXPECT_FALSE(material->subChunk(b.get(), 0));
    EXPECT_EQ(2u, material->getChunks().size());
    EXPECT_EQ(1u, material->getSlots().size());
}

TEST(ChunkMaterial, findsChunksByExactType)
{
    const New<ChunkMaterial> material;
    const New<MaterialChunk> a;
    const New<MaterialChunk> b;
    const New<BlendChunk> blend;
    const CPEditor edit(material.get());
    material->addChunk(a.get());
    material->addChunk(blend.get());
    material->addChunk(b.get());
    EXPECT_EQ(a.get(), MaterialChunkPtr::dcast(material->find(MaterialChunk::getClassType())));
    EXPECT_EQ(b.get(), MaterialChunkPtr::dcast(material->find(MaterialChunk::getClassType(), 1)));
    EXPECT_TRUE(material->find(MaterialChunk::getClassType(), 2) == NullFC);
    EXPECT_TRUE(material->find(StateChunk::getClassType()) == NullFC);
    EXPECT_EQ(2, material->find(StateChunkPtr(b.get())));
    EXPECT_EQ(-1, material->find(StateChunkPtr()));
}

TEST(ChunkMaterial, findsChunksByExplicitSlot)
{
    const New<ChunkMaterial> material;
    const New<MaterialChunk> a;
    const New<MaterialChunk> b;
    const CPEditor edit(material.get());
    material->addChunk(a.get(), 5);
    material->addChunk(b.get(), 3);
    EXPECT_EQ(b.get(), MaterialChunkPtr::dcast(material->find(MaterialChunk::getClassType(), 3)));
    EXPECT_EQ(a.get(), MaterialChunkPtr::dcast(material->find(MaterialChunk::getClassType(), 5)));
    EXPECT_TRUE(material->find(MaterialChunk::getClassType(), 0) == NullFC);
}

TEST(ChunkMaterial, clearingLeavesTheSlots)
{
    const New<ChunkMaterial> material;
    const New<MaterialChunk> chunk;
    const CPEditor edit(material.get());
    material->addChunk(chunk.get(), 0);
    material->clearChunks();
    EXPECT_TRUE(material->getChunks().empty());
    EXPECT_EQ(1u, material->getSlots().size());
    EXPECT_EQ(1, chunk.get().getRefCount());
}

TEST(ChunkMaterial, isTransparentByModeOrByItsChunks)
{
    const New<ChunkMaterial> material;
    const BlendChunkPtr blend = BlendChunk::create();
    const MaterialChunkPtr colors = MaterialChunk::create();
    const CPEditor edit(material.get());
    const CPEditor editBlend(blend);
    const CPEditor editColors(colors);
    material->addChunk(blend);
    material->addChunk(colors);
    EXPECT_FALSE(material->isTransparent());
    blend->setDestFactor(GL_ONE_MINUS_SRC_ALPHA);
    EXPECT_TRUE(material->isTransparent());
    material->setTransparencyMode(Material::TransparencyForceOpaque);
    EXPECT_FALSE(material->isTransparent());
    material->setTransparencyMode(Material::TransparencyAutoDetection);
    blend->setDestFactor(GL_ZERO);
    EXPECT_FALSE(material->isTransparent());
    colors->setDiffuse(Color4f(1, 1, 1, .5f));
    EXPECT_TRUE(material->isTransparent());
    colors->setDiffuse(Color4f(1, 1, 1, 1));
    material->setTransparencyMode(Material::TransparencyForceTransparent);
    EXPECT_TRUE(material->isTransparent());
}

TEST(ChunkMaterial, comparesByContent)
{
    const New<ChunkMaterial> a;
    const New<ChunkMaterial> b;
    const MaterialChunkPtr chunkOfA = MaterialChunk::create();
    const MaterialChunkPtr chunkOfB = MaterialChunk::create();
    const CPEditor editA(a.get());
    const CPEditor editB(b.get());
    const CPEditor editChunk(chunkOfB);
    a->addChunk(chunkOfA);
    EXPECT_FALSE(*a.get() == *b.get());
    b->addChunk(chunkOfB);
    setName(a.get(), "names do not count");
    EXPECT_TRUE(*a.get() == *b.get());
    chunkOfB->setShininess(11);
    EXPECT_TRUE(*chunkOfA != *chunkOfB);
    EXPECT_TRUE(*a.get() != *b.get());
    const New<SimpleMaterial> other;
    EXPECT_FALSE(*a.get() == *other.get());
    const New<BlendChunk> blend;
    EXPECT_FALSE(static_cast<const StateChunk&>(*chunkOfA) == *blend.get());
}

// -- SimpleMaterial ---------------------------------------------------------------------------

TEST(SimpleMaterial, appearsAsChunksInItsStateOnly)
{
    const New<SimpleMaterial> material;
    beginEditCP(material.get());
    material->setDiffuse(Color3f(.1f, .2f, .3f));
    material->setTransparency(.25f);
    endEditCP(material.get());
    EXPECT_TRUE(material->find(MaterialChunk::getClassType()) == NullFC);
    const MaterialChunkPtr colors =
        MaterialChunkPtr::dcast(material->getState()->getChunk(MaterialChunk::getStaticClassId()));
    ASSERT_TRUE(colors != NullFC);
    EXPECT_EQ(Color4f(.1f, .2f, .3f, .75f), colors->getDiffuse());
    EXPECT_EQ(Color4f(0, 0, 0, .75f), colors->getEmission());
    const BlendChunkPtr blend =
        BlendChunkPtr::dcast(material->getState()->getChunk(BlendChunk::getStaticClassId()));
    ASSERT_TRUE(blend != NullFC);
    EXPECT_EQ(UInt32(GL_SRC_ALPHA), blend->getSrcFactor());
    EXPECT_EQ(UInt32(GL_ONE_MINUS_SRC_ALPHA), blend->getDestFactor());
    EXPECT_TRUE(material->isTransparent());

    beginEditCP(material.get());
    material->setTransparency(0);
    endEditCP(material.get());
    EXPECT_FALSE(material->getState()->chunkPresent(BlendChunk::getStaticClassId()));
    EXPECT_FALSE(material->isTransparent());
}

TEST(DefaultMaterial, isOneUnnamedMaterialPerProcess)
{
    const MaterialPtr material = getDefaultMaterial();
    EXPECT_EQ(material, getDefaultMaterial());
    EXPECT_NE(material, getDefaultUnlitMaterial());
    EXPECT_EQ(nullptr, getName(material));
    const SimpleMaterialPtr simple = SimpleMaterialPtr::dcast(material);
    ASSERT_TRUE(simple != NullFC);
    EXPECT_EQ(Color3f(.7f, .7f, .5f), simple->getDiffuse());
    EXPECT_EQ(Color3f(.1f, .1f, .1f), simple->getAmbient());
    EXPECT_EQ(Color3f(1, 1, 1), simple->getSpecular());
    EXPECT_EQ(20, simple->getShininess());
    EXPECT_TRUE(simple->getLit());
    EXPECT_FALSE(SimpleMaterialPtr::dcast(getDefaultUnlitMaterial())->getLit());
}

// -- MaterialPool -----------------------------------------------------------------------------

TEST(MaterialPool, keepsMaterialsInOrderOfAddition)
{
    const New<MaterialPool> pool;
    const New<ChunkMaterial> a;
    const New<SimpleMaterial> b;
    const CPEditor edit(pool.get());
    pool->add(MaterialPtr(b.get()));
    pool->add(MaterialPtr(a.get()));
    pool->add(MaterialPtr());
    pool->add(MaterialPtr(b.get()));
    ASSERT_EQ(2u, pool->getCount());
    EXPECT_EQ(MaterialPtr(b.get()), pool->get(0));
    EXPECT_EQ(1, pool->find(a.get()));
    std::vector<MaterialPtr> all(7);
    pool->get(all);
    ASSERT_EQ(2u, all.size());
    EXPECT_EQ(MaterialPtr(a.get()), all[1]);
    EXPECT_EQ(1u, pool->get().count(a.get()));
    pool->sub(0u);
    EXPECT_EQ(-1, pool->find(b.get()));
    EXPECT_EQ(0u, pool->get().count(b.get()));
    testing::internal::CaptureStderr();
    pool->sub(MaterialPtr(b.get()));
    EXPECT_FALSE(testing::internal::GetCapturedStderr().empty());
    pool->clear();
    EXPECT_EQ(0u, pool->getCount());
    EXPECT_EQ(1, a.get().getRefCount());
}

TEST(MaterialPool, collectsWhatATreeUses)
{
    const Kept<NodePtr> root(makeGroupNode());
    const NodePtr box = makeBox(1, 1, 1, 1, 1, 1);
    const New<ChunkMaterial> ofGroup;
    const New<ChunkMaterial> ofPool;
    const New<MaterialGroup> group;
    const New<MaterialPool> inner;
    {
        const CPEditor edit(group.get());
        group->setMaterial(ofGroup.get());
        const CPEditor editInner(inner.get());
        inner->add(MaterialPtr(ofPool.get()));
    }
    addChild(root, box);
    addChild(root, makeNodeFor(group));
    addChild(root, makeNodeFor(inner));
    addChild(root, makeBox(1, 1, 1, 1, 1, 1));

    const New<MaterialPool> pool;
    const CPEditor edit(pool.get());
    pool->add(root.get());
    ASSERT_EQ(3u, pool->getCount());
    EXPECT_EQ(getDefaultMaterial(), pool->get(0));
    EXPECT_EQ(MaterialPtr(ofGroup.get()), pool->get(1));
    EXPECT_EQ(MaterialPtr(ofPool.get()), pool->get(2));
    pool->sub(MaterialPoolPtr(inner.get()));
    EXPECT_EQ(2u, pool->getCount());
    pool->add(MaterialPoolPtr(inner.get()));
    EXPECT_EQ(3u, pool->getCount());
    pool->sub(root.get());
    EXPECT_EQ(0u, pool->getCount());
}

TEST(MaterialPool, setFollowsAFieldThatWasFilledDirectly)
{
    const New<MaterialPool> pool;
    const New<ChunkMaterial> material;
    beginEditCP(pool.get());
    ASSERT_TRUE(pool->getField("materials")->addContainer(material.get()));
    addRefCP(material.get());
    EXPECT_TRUE(pool->get().empty());
    endEditCP(pool.get());
    EXPECT_EQ(1u, pool->get().count(material.get()));
}
