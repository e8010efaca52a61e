#include <zyOpenSGExt/zyMergeMaterial.h>

#include <OpenSG/OSGBlendChunk.h>
#include <OpenSG/OSGChunkMaterial.h>
#include <OpenSG/OSGMaterialChunk.h>
#include <OpenSG/OSGMaterialGroup.h>
#include <OpenSG/OSGMultiPassMaterial.h>
#include <OpenSG/OSGOSBSceneFileType.h>
#include <OpenSG/OSGTexGenChunk.h>
#include <OpenSG/OSGTextureChunk.h>
#include <OpenSG/OSGTextureTransformChunk.h>

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

namespace
{

osg::ChunkMaterialPtr materialOf(const std::vector<osg::StateChunkPtr>& chunks)
{
    const osg::ChunkMaterialPtr material = osg::ChunkMaterial::create();
    const osg::CPEditor edit(material);
    for (const osg::StateChunkPtr& chunk : chunks)
        material->addChunk(chunk);
    return material;
}

class MergeMaterial : public testing::Test
{
protected:
    MergeMaterial() : merge(osg::MergeMaterial::create()) { osg::addRefCP(merge); }
    ~MergeMaterial() override { osg::subRefCP(merge); }

    void add(const osg::MaterialPtr& material)
    {
        const osg::CPEditor edit(merge, osg::MultiMaterial::MaterialsFieldMask);
        merge->addMaterial(material);
    }
    osg::StateChunkPtr chunkAt(osg::UInt32 place) { return merge->getState()->getChunk(place); }

    osg::MergeMaterialPtr merge;
    const osg::UInt32 textures = osg::TextureChunk::getStaticClassId();
    const osg::UInt32 transforms = osg::TextureTransformChunk::getStaticClassId();
    const osg::UInt32 generators = osg::TexGenChunk::getStaticClassId();
};

} // namespace

TEST_F(MergeMaterial, laysTheTexturesOfOneMaterialOverThoseOfTheOther)
{
    const osg::TextureChunkPtr wood = osg::TextureChunk::create(), dirt = osg::TextureChunk::create();
    const osg::TextureChunkPtr shadow = osg::TextureChunk::create();
    const osg::TextureTransformChunkPtr repeat = osg::TextureTransformChunk::create();
    const osg::TexGenChunkPtr projection = osg::TexGenChunk::create();
    const osg::MaterialChunkPtr colors = osg::MaterialChunk::create();
    add(materialOf({colors, wood, dirt}));
    add(materialOf({shadow, repeat, projection}));
    EXPECT_EQ(osg::StateChunkPtr(colors), chunkAt(osg::MaterialChunk::getStaticClassId()));
    EXPECT_EQ(osg::StateChunkPtr(wood), chunkAt(textures));
    EXPECT_EQ(osg::StateChunkPtr(dirt), chunkAt(textures + 1));
    EXPECT_EQ(osg::StateChunkPtr(shadow), chunkAt(textures + 2));
    // What belongs to the unit goes with it.
    EXPECT_TRUE(chunkAt(transforms) == osg::NullFC);
    EXPECT_EQ(osg::StateChunkPtr(repeat), chunkAt(transforms + 2));
    EXPECT_EQ(osg::StateChunkPtr(projection), chunkAt(generators + 2));
    EXPECT_FALSE(merge->isMultiPass());
    EXPECT_EQ(1u, merge->getNPasses());
}

TEST_F(MergeMaterial, takesOtherChunksFromTheLastMaterialThatHasThem)
{
    const osg::MaterialChunkPtr first = osg::MaterialChunk::create(), second = osg::MaterialChunk::create();
    const osg::BlendChunkPtr blend = osg::BlendChunk::create();
    add(materialOf({first, blend}));
    add(materialOf({second}));
    EXPECT_EQ(osg::StateChunkPtr(second), chunkAt(osg::MaterialChunk::getStaticClassId()));
    EXPECT_EQ(osg::StateChunkPtr(blend), chunkAt(osg::BlendChunk::getStaticClassId()));
}

TEST_F(MergeMaterial, followsAChangeOnceItIsRebuilt)
{
    const osg::MaterialChunkPtr colors = osg::MaterialChunk::create();
    const osg::ChunkMaterialPtr shadow = materialOf({colors, osg::TextureChunk::create()});
    add(shadow);
    const osg::UInt32 place = osg::MaterialChunk::getStaticClassId();
    EXPECT_TRUE(merge->getState()->chunkPresent(place));
    {
        const osg::CPEditor edit(shadow);
        EXPECT_FALSE(shadow->subChunk(colors));
    }
    EXPECT_TRUE(merge->getState()->chunkPresent(place));
    merge->rebuildState();
    EXPECT_FALSE(merge->getState()->chunkPresent(place));
    EXPECT_TRUE(merge->getState()->chunkPresent(textures));
    osg::StatePtr made = merge->makeState();
    EXPECT_TRUE(made->chunkPresent(textures));
    EXPECT_EQ(0, made.getRefCount());
    osg::subRefCP(made);
}

TEST_F(MergeMaterial, aShadowThatIsATextureOnlyLeavesTheMainMaterialsColoursAndBlending)
{
    const osg::MaterialChunkPtr colors = osg::MaterialChunk::create(), dark = osg::MaterialChunk::create();
    const osg::BlendChunkPtr blend = osg::BlendChunk::create(), multiply = osg::BlendChunk::create();
    const osg::TextureChunkPtr paint = osg::TextureChunk::create(), baked = osg::TextureChunk::create();
    const osg::ChunkMaterialPtr shadow = materialOf({dark, baked, multiply});
    add(materialOf({colors, paint, blend}));
    add(shadow);
    EXPECT_EQ(osg::StateChunkPtr(dark), chunkAt(osg::MaterialChunk::getStaticClassId()));
    {
        const osg::CPEditor edit(shadow);
        const osg::CPEditor editBaked(baked);
        baked->setEnvMode(GL_COMBINE);
        baked->setEnvScaleRGB(2);
        shadow->subChunk(dark);
        shadow->subChunk(multiply);
    }
    osg::MultiMaterialPtr(merge)->rebuildState();
    EXPECT_EQ(osg::StateChunkPtr(colors), chunkAt(osg::MaterialChunk::getStaticClassId()));
    EXPECT_EQ(osg::StateChunkPtr(blend), chunkAt(osg::BlendChunk::getStaticClassId()));
    EXPECT_EQ(osg::StateChunkPtr(paint), chunkAt(textures));
    EXPECT_EQ(osg::StateChunkPtr(baked), chunkAt(textures + 1)); // times what the units before it gave
    EXPECT_EQ(osg::UInt32(GL_MODULATE), baked->getEnvCombineRGB());
    EXPECT_EQ(osg::UInt32(GL_PREVIOUS), baked->getEnvSource1RGB());
}

TEST_F(MergeMaterial, ignoresNullAndCircles)
{
    add(osg::NullFC);
    add(merge);
    const osg::MultiPassMaterialPtr outer = osg::MultiPassMaterial::create();
    osg::addRefCP(outer);
    {
        const osg::CPEditor edit(outer);
        outer->addMaterial(merge);
    }
    add(outer);
    EXPECT_TRUE(merge->getMaterials().empty());
    EXPECT_TRUE(merge->getState()->getMFChunks()->empty());
    osg::subRefCP(outer);
}

TEST_F(MergeMaterial, holdsItsMaterials)
{
    const osg::ChunkMaterialPtr part = materialOf({});
    osg::addRefCP(part);
    add(part);
    EXPECT_EQ(2, part.getRefCount());
    EXPECT_TRUE(merge->hasMaterial(part));
    const osg::CPEditor edit(merge, osg::MultiMaterial::MaterialsFieldMask);
    EXPECT_TRUE(merge->subMaterial(part));
    EXPECT_FALSE(merge->subMaterial(part));
    EXPECT_FALSE(merge->hasMaterial(part));
    EXPECT_EQ(1, part.getRefCount());
    osg::subRefCP(part);
}

TEST_F(MergeMaterial, isTransparentAsItsMaterialsAre)
{
    const osg::BlendChunkPtr blend = osg::BlendChunk::create();
    add(materialOf({blend}));
    EXPECT_FALSE(merge->isTransparent());
    {
        const osg::CPEditor edit(blend);
        blend->setDestFactor(GL_ONE_MINUS_SRC_ALPHA);
    }
    EXPECT_TRUE(merge->isTransparent());
    const osg::CPEditor edit(merge);
    merge->setTransparencyMode(osg::Material::TransparencyForceOpaque);
    EXPECT_FALSE(merge->isTransparent());
}

TEST_F(MergeMaterial, comesBackFromASceneFile)
{
    add(materialOf({osg::TextureChunk::create()}));
    add(materialOf({osg::TextureChunk::create()}));
    const osg::MaterialGroupPtr group = osg::MaterialGroup::create();
    {
        const osg::CPEditor edit(group);
        group->setMaterial(merge);
    }
    osg::NodePtr node = osg::makeNodeFor(group);
    osg::addRefCP(node);
    std::stringstream file;
    ASSERT_TRUE(osg::OSBSceneFileType::the().write(node, file, "scene.osb"));
    osg::NodePtr read = osg::OSBSceneFileType::the().read(file, "scene.osb");
    ASSERT_TRUE(read != osg::NullFC);
    osg::addRefCP(read);
    const auto again =
        osg::MergeMaterialPtr::dcast(osg::MaterialGroupPtr::dcast(read->getCore())->getMaterial());
    ASSERT_TRUE(again != osg::NullFC);
    EXPECT_EQ(2u, again->getMaterials().size());
    EXPECT_TRUE(again->getState()->chunkPresent(textures + 1));
    osg::subRefCP(read);
    osg::subRefCP(node);
}
