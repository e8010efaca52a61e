#include "helpers.h"

#include <OpenSG/OSGChunkMaterial.h>
#include <OpenSG/OSGCubeTextureChunk.h>
#include <OpenSG/OSGDepthChunk.h>
#include <OpenSG/OSGDirectionalLight.h>
#include <OpenSG/OSGLineChunk.h>
#include <OpenSG/OSGMultiPassMaterial.h>
#include <OpenSG/OSGPhongMaterial.h>
#include <OpenSG/OSGPointChunk.h>
#include <OpenSG/OSGPolygonChunk.h>
#include <OpenSG/OSGSimpleAttachments.h>
#include <OpenSG/OSGSimpleTexturedMaterial.h>
#include <OpenSG/OSGSpotLight.h>
#include <OpenSG/OSGSwitchMaterial.h>
#include <OpenSG/OSGTexGenChunk.h>
#include <OpenSG/OSGTextureChunk.h>
#include <OpenSG/OSGTextureTransformChunk.h>
#include <OpenSG/OSGTwoSidedLightingChunk.h>

#include <gtest/gtest.h>

#include <cmath>

using namespace osg;

/// A new chunk material with the given chunks and a state.
static ChunkMaterialPtr materialOf(const std::vector<StateChunkPtr>& chunks)
{
    const ChunkMaterialPtr material = ChunkMaterial::create();
    const CPEditor edit(material);
    for (const StateChunkPtr& chunk : chunks) {
        material->addChunk(chunk);
    }
    return material;
}

static ImagePtr imageOf(UInt32 format)
{
    const ImagePtr image = Image::create();
    image->set(format, 2, 2);
    return image;
}

// -- Chunks -----------------------------------------------------------------------------------

TEST(TextureChunk, beginsAsTheGraphicsLibraryDoesButReplaces)
{
    const New<TextureChunk> chunk;
    EXPECT_EQ(GLenum(GL_REPLACE), chunk->getEnvMode());
    EXPECT_EQ(GLenum(GL_LINEAR_MIPMAP_LINEAR), chunk->getMinFilter());
    EXPECT_EQ(GLenum(GL_REPEAT), chunk->getWrapS());
    EXPECT_EQ(GLenum(GL_MODULATE), chunk->getEnvCombineRGB());
    EXPECT_EQ(GLenum(GL_PREVIOUS), chunk->getEnvSource1RGB());
    EXPECT_EQ(GLenum(GL_SRC_ALPHA), chunk->getEnvOperand2RGB());
    EXPECT_EQ(1.f, chunk->getEnvScaleRGB());
    EXPECT_FALSE(chunk->isTransparent());
}

TEST(TextureChunk, referencesItsImage)
{
    const Kept<ImagePtr> image(imageOf(Image::OSG_RGB_PF));
    {
        const New<TextureChunk> chunk;
        const CPEditor edit(chunk.get());
        chunk->setImage(image);
        EXPECT_EQ(2, image.get().getRefCount());
        EXPECT_EQ(image.get(), chunk->getImage());
    }
    EXPECT_EQ(1, image.get().getRefCount());
}

TEST(TextureChunk, tellsWhichPartOfTheImageChanged)
{
    const New<TextureChunk> chunk;
    const EditCheck before = osgSetEditCheck(EditCheck::Fail);
    chunk->imageContentChanged(1, 2, 3, 4, 5, 6);
    EXPECT_EQ(1, chunk->getDirtyMinX());
    EXPECT_EQ(2, chunk->getDirtyMaxX());
    EXPECT_EQ(3, chunk->getDirtyMinY());
    EXPECT_EQ(4, chunk->getDirtyMaxY());
    EXPECT_EQ(5, chunk->getDirtyMinZ());
    EXPECT_EQ(6, chunk->getDirtyMaxZ());
    chunk->imageContentChanged();
    EXPECT_EQ(-1, chunk->getDirtyMaxX());
    osgSetEditCheck(before);
}

TEST(StateOfUnits, texturesTakeOneUnitAfterTheOther)
{
    const TextureChunkPtr first = TextureChunk::create(), second = TextureChunk::create();
    const CubeTextureChunkPtr third = CubeTextureChunk::create();
    const TextureTransformChunkPtr transform = TextureTransformChunk::create();
    const TexGenChunkPtr generator = TexGenChunk::create();
    const Kept<ChunkMaterialPtr> material(materialOf({first, transform, second, generator, third}));
    const StatePtr state = material->getState();
    const UInt32 place = TextureChunk::getStaticClassId();
    EXPECT_EQ(16u, TextureChunk::getStaticClass().getNumSlots());
    EXPECT_EQ(StateChunkPtr(first), state->getChunk(place));
    EXPECT_EQ(StateChunkPtr(second), state->getChunk(place + 1));
    EXPECT_EQ(StateChunkPtr(third), state->getChunk(place + 2)); // the same places
    EXPECT_EQ(StateChunkPtr(transform), state->getChunk(TextureTransformChunk::getStaticClassId()));
    EXPECT_EQ(StateChunkPtr(generator), state->getChunk(TexGenChunk::getStaticClassId()));
    EXPECT_EQ(8u, TextureTransformChunk::getStaticClass().getNumSlots());
    EXPECT_EQ(8u, TexGenChunk::getStaticClass().getNumSlots());
    EXPECT_LT(place, TextureTransformChunk::getStaticClassId());
    EXPECT_NE(TextureTransformChunk::getStaticClassId(), TransformChunk::getStaticClassId());

    EXPECT_EQ(StateChunkPtr(second), material->find(TextureChunk::getClassType(), 1));
    EXPECT_TRUE(material->find(TextureChunk::getClassType(), 2) == NullFC); // a cube texture is another type
    EXPECT_EQ(StateChunkPtr(third), material->find(CubeTextureChunk::getClassType()));
}

TEST(StateOfUnits, theLastUnitIsReplacedWhenAllAreTaken)
{
    std::vector<StateChunkPtr> chunks;
    for (int i = 0; i < 18; ++i) {
        chunks.push_back(TextureChunk::create());
    }
    const Kept<ChunkMaterialPtr> material(materialOf(chunks));
    EXPECT_EQ(chunks[17], material->getState()->getChunk(TextureChunk::getStaticClassId() + 15));
    EXPECT_EQ(chunks[14], material->getState()->getChunk(TextureChunk::getStaticClassId() + 14));
}

TEST(TexGenChunk, hasThePlanesOfTheAxesAndNoFunction)
{
    const New<TexGenChunk> chunk;
    EXPECT_EQ(0u, chunk->getGenFuncS());
    EXPECT_EQ(Vec4f(1, 0, 0, 0), chunk->getGenFuncSPlane());
    EXPECT_EQ(Vec4f(0, 1, 0, 0), chunk->getGenFuncTPlane());
    EXPECT_EQ(Vec4f(0, 0, 0, 1), chunk->getGenFuncQPlane());
    const Kept<NodePtr> beacon(makeGroupNode());
    const CPEditor edit(chunk.get());
    chunk->setSBeacon(beacon);
    EXPECT_EQ(1, beacon.get().getRefCount()); // not referenced
}

TEST(OtherChunks, haveOnePlaceEach)
{
    const Kept<ChunkMaterialPtr> material(
        materialOf({PolygonChunk::create(), LineChunk::create(), PointChunk::create(), DepthChunk::create(),
                    TwoSidedLightingChunk::create(), TransformChunk::create()}));
    const StatePtr state = material->getState();
    for (const UInt32 place :
         {PolygonChunk::getStaticClassId(), LineChunk::getStaticClassId(), PointChunk::getStaticClassId(),
          DepthChunk::getStaticClassId(), TwoSidedLightingChunk::getStaticClassId(),
          TransformChunk::getStaticClassId()}) {
        ASSERT_TRUE(state->chunkPresent(place));
        EXPECT_EQ(1u, StateChunkClass::find(place)->getNumSlots());
        EXPECT_FALSE(state->getChunk(place)->isTransparent());
    }
    EXPECT_FALSE(material->isTransparent());
}

// -- Materials --------------------------------------------------------------------------------

TEST(SimpleTexturedMaterial, addsItsTextureToTheState)
{
    const New<SimpleTexturedMaterial> material;
    beginEditCP(material.get());
    material->setDiffuse(Color3f(1, .5f, 0));
    endEditCP(material.get());
    EXPECT_FALSE(material->getState()->chunkPresent(TextureChunk::getStaticClassId()));
    EXPECT_TRUE(material->getState()->chunkPresent(MaterialChunk::getStaticClassId()));

    const ImagePtr image = imageOf(Image::OSG_RGB_PF);
    beginEditCP(material.get());
    material->setImage(image);
    material->setEnvMode(GL_MODULATE);
    material->setEnvMap(true);
    endEditCP(material.get());
    const auto texture =
        TextureChunkPtr::dcast(material->getState()->getChunk(TextureChunk::getStaticClassId()));
    ASSERT_TRUE(texture != NullFC);
    EXPECT_EQ(image, texture->getImage());
    EXPECT_EQ(GLenum(GL_MODULATE), texture->getEnvMode());
    const auto generator =
        TexGenChunkPtr::dcast(material->getState()->getChunk(TexGenChunk::getStaticClassId()));
    ASSERT_TRUE(generator != NullFC);
    EXPECT_EQ(GLenum(GL_SPHERE_MAP), generator->getGenFuncT());
    EXPECT_TRUE(material->getChunks().empty());
    EXPECT_FALSE(material->isTransparent());

    beginEditCP(material.get());
    material->setImage(imageOf(Image::OSG_RGBA_PF));
    endEditCP(material.get());
    EXPECT_TRUE(material->isTransparent());
    EXPECT_TRUE(material->getState()->chunkPresent(BlendChunk::getStaticClassId()));
    const Kept<FieldContainerPtr> copy(material->shallowCopy());
    EXPECT_EQ(material->getImage(), SimpleTexturedMaterialPtr::dcast(copy.get())->getImage());
}

TEST(PhongMaterial, appearsAsChunksInItsState)
{
    const New<PhongMaterial> material;
    beginEditCP(material.get());
    material->setSpecular(Color3f(.1f, .2f, .3f));
    material->setShininess(30);
    material->setTransparency(.5f);
    endEditCP(material.get());
    const auto colors =
        MaterialChunkPtr::dcast(material->getState()->getChunk(MaterialChunk::getStaticClassId()));
    ASSERT_TRUE(colors != NullFC);
    EXPECT_EQ(Color4f(.1f, .2f, .3f, .5f), colors->getSpecular());
    EXPECT_EQ(30.f, colors->getShininess());
    EXPECT_TRUE(material->getState()->chunkPresent(BlendChunk::getStaticClassId()));
    EXPECT_TRUE(material->isTransparent());
}

TEST(MultiPassMaterial, hasAPassForEachMaterial)
{
    const New<MultiPassMaterial> passes;
    const Kept<ChunkMaterialPtr> first(materialOf({MaterialChunk::create()}));
    const Kept<ChunkMaterialPtr> second(materialOf({}));
    const CPEditor edit(passes.get());
    EXPECT_TRUE(passes->isMultiPass());
    EXPECT_EQ(0u, passes->getNPasses());
    passes->addMaterial(first.get());
    passes->addMaterial(second.get());
    passes->addMaterial(NullFC);
    EXPECT_EQ(2u, passes->getNPasses());
    EXPECT_EQ(first->getState(), passes->getState(0));
    EXPECT_EQ(second->getState(), passes->getState(1));
    EXPECT_TRUE(passes->getState(2) == NullFC);
    EXPECT_TRUE(passes->makeState() == NullFC);
    EXPECT_TRUE(passes->hasMaterial(first.get()));
    EXPECT_FALSE(passes->isTransparent());
    {
        const CPEditor editSecond(second.get());
        second->setTransparencyMode(Material::TransparencyForceTransparent);
    }
    EXPECT_TRUE(passes->isTransparent());
    passes->subMaterial(second.get());
    EXPECT_FALSE(passes->hasMaterial(second.get()));
    EXPECT_EQ(1, second.get().getRefCount());
    testing::internal::CaptureStderr();
    passes->subMaterial(second.get());
    EXPECT_FALSE(testing::internal::GetCapturedStderr().empty());
}

TEST(SwitchMaterial, actsAsTheChosenOne)
{
    const New<SwitchMaterial> choice;
    const Kept<ChunkMaterialPtr> first(materialOf({MaterialChunk::create()}));
    const New<MultiPassMaterial> passes;
    const CPEditor edit(choice.get()), editPasses(passes.get());
    EXPECT_TRUE(choice->getState() == NullFC);
    EXPECT_EQ(0u, choice->getNPasses());
    passes->addMaterial(first.get());
    passes->addMaterial(first.get());
    choice->addMaterial(first.get());
    choice->addMaterial(passes.get());
    EXPECT_EQ(first->getState(), choice->getState());
    EXPECT_FALSE(choice->isMultiPass());
    EXPECT_EQ(1u, choice->getNPasses());
    choice->setChoice(1);
    EXPECT_TRUE(choice->isMultiPass());
    EXPECT_EQ(2u, choice->getNPasses());
    EXPECT_EQ(first->getState(), choice->getState(1));
    choice->setChoice(2);
    EXPECT_TRUE(choice->getCurrentMaterial() == NullFC);
    EXPECT_TRUE(choice->getState() == NullFC);
    EXPECT_FALSE(choice->isTransparent());
}

TEST(MaterialsOfMaterials, neverFormACircle)
{
    const New<MultiPassMaterial> outer, inner;
    const New<SwitchMaterial> middle;
    const CPEditor editOuter(outer.get()), editInner(inner.get()), editMiddle(middle.get());
    outer->addMaterial(outer.get());
    EXPECT_TRUE(outer->getMaterials().empty());
    outer->addMaterial(middle.get());
    middle->addMaterial(inner.get());
    inner->addMaterial(outer.get());
    EXPECT_TRUE(inner->getMaterials().empty());
    inner->addMaterial(middle.get());
    EXPECT_TRUE(inner->getMaterials().empty());
}

TEST(MaterialsOfMaterials, mayBeNestedToAnyDepth)
{
    const Kept<ChunkMaterialPtr> last(materialOf({MaterialChunk::create()}));
    std::vector<MaterialPtr> all(1, last.get());
    // From the inside out, so that each is added complete.
    for (int i = 0; i < 100000; ++i) {
        const MaterialPtr inner = all.back();
        if (i % 2 == 0) {
            const MultiPassMaterialPtr outer = MultiPassMaterial::create();
            addRefCP(inner);
            outer->getMaterials().push_back(inner);
            all.push_back(outer);
        } else {
            const SwitchMaterialPtr outer = SwitchMaterial::create();
            addRefCP(inner);
            outer->getMaterials().push_back(inner);
            all.push_back(outer);
        }
    }
    const Kept<MaterialPtr> outermost(all.back());
    EXPECT_EQ(last->getState(), outermost->getState());
    EXPECT_FALSE(outermost->isTransparent());
    EXPECT_EQ(1u, outermost->getNPasses());
}

// -- Lights -----------------------------------------------------------------------------------

TEST(Lights, keepAnglesInRadiansAndBeaconsUnreferenced)
{
    const New<SpotLight> spot;
    const Kept<NodePtr> beacon(makeGroupNode());
    const CPEditor edit(spot.get());
    spot->setBeacon(beacon);
    EXPECT_EQ(1, beacon.get().getRefCount());
    spot->setSpotCutOffDeg(90);
    EXPECT_FLOAT_EQ(std::acos(0.f), spot->getSpotCutOff());
    EXPECT_FLOAT_EQ(90, spot->getSpotCutOffDeg());
    spot->setSpotDirection(0, -1, 0);
    EXPECT_EQ(Vec3f(0, -1, 0), spot->getDirection());
    spot->setPosition(1, 2, 3);
    EXPECT_EQ(Pnt3f(1, 2, 3), spot->getPosition());
    spot->setAttenuation(1, 2, 3);
    EXPECT_EQ(2.f, spot->getLinearAttenuation());
    EXPECT_EQ(3.f, spot->getQuadraticAttenuation());
    spot->setDiffuse(.1f, .2f, .3f, 1);
    EXPECT_EQ(Color4f(.1f, .2f, .3f, 1), spot->getDiffuse());
    const New<DirectionalLight> sun;
    EXPECT_EQ(Vec3f(0, 0, 1), sun->getDirection());
    EXPECT_TRUE(sun->getOn());
}
