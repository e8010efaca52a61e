#include "osb_bytes.h"

#include <OpenSG/OSGBlendChunk.h>
#include <OpenSG/OSGChunkMaterial.h>
#include <OpenSG/OSGComponentTransform.h>
#include <OpenSG/OSGDirectionalLight.h>
#include <OpenSG/OSGGeoProperty.h>
#include <OpenSG/OSGGeometry.h>
#include <OpenSG/OSGGroup.h>
#include <OpenSG/OSGMaterialChunk.h>
#include <OpenSG/OSGMaterialGroup.h>
#include <OpenSG/OSGMaterialPool.h>
#include <OpenSG/OSGNode.h>
#include <OpenSG/OSGSceneFileHandler.h>
#include <OpenSG/OSGSimpleAttachments.h>
#include <OpenSG/OSGSpotLight.h>
#include <OpenSG/OSGSwitch.h>
#include <OpenSG/OSGTextureChunk.h>
#include <OpenSG/OSGTextureTransformChunk.h>
#include <OpenSG/OSGTransform.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

using namespace osg;
using ::testing::ElementsAre;

// Files written by the original library. They are not part of the sources; where they are missing the tests
// are skipped.

namespace
{

class OsbSampleTest : public ::testing::Test
{
protected:
    void open(const char* name)
    {
        const std::filesystem::path path = std::filesystem::path(ZY_OSB_SAMPLES) / name;
        if (!std::filesystem::exists(path))
            GTEST_SKIP() << name << " is not here";
        testing::internal::CaptureStderr();
        root = SceneFileHandler::the().read(path.c_str());
        EXPECT_EQ("", testing::internal::GetCapturedStderr()); // every type and field is known
        ASSERT_NE(NullFC, root);
        EXPECT_EQ(0, root.getRefCount());
        addRefCP(root);
        // What has been read can be written, and comes back the same.
        const std::string written = writeOsb(root);
        const NodePtr again = readOsb(written);
        ASSERT_NE(NullFC, again);
        EXPECT_EQ(written, writeOsb(again));
        subRefCP(again);
    }
    void TearDown() override { subRefCP(root); }

    NodePtr root;
};

std::string typeOfCore(const NodePtr& node)
{
    return node->getCore() ? node->getCore()->getTypeName() : "";
}

template <class PtrT>
PtrT chunkOf(const MaterialPtr& material)
{
    return PtrT::dcast(ChunkMaterialPtr::dcast(material)->find(PtrT::StoredObjectType::getClassType()));
}

void expectMaterial(const MaterialPtr& material, const char* name, const Color4f& diffuse,
                    const Color4f& ambient, const Color4f& specular, const Color4f& emission,
                    Real32 shininess)
{
    ASSERT_NE(NullFC, ChunkMaterialPtr::dcast(material));
    EXPECT_STREQ("ChunkMaterial", material->getTypeName());
    EXPECT_STREQ(name, getName(material));
    EXPECT_EQ(0, material->getSortKey());
    EXPECT_EQ(0, material->getTransparencyMode());
    EXPECT_EQ(0u, ChunkMaterialPtr::dcast(material)->getSlots().size());
    const MaterialChunkPtr chunk = chunkOf<MaterialChunkPtr>(material);
    ASSERT_NE(NullFC, chunk);
    EXPECT_EQ(diffuse, chunk->getDiffuse());
    EXPECT_EQ(ambient, chunk->getAmbient());
    EXPECT_EQ(specular, chunk->getSpecular());
    EXPECT_EQ(emission, chunk->getEmission());
    EXPECT_EQ(shininess, chunk->getShininess());
    EXPECT_EQ(2, chunk.getRefCount());
}

void expectBlend(const MaterialPtr& material)
{
    const BlendChunkPtr blend = chunkOf<BlendChunkPtr>(material);
    ASSERT_NE(NullFC, blend);
    EXPECT_EQ(770u, blend->getSrcFactor());
    EXPECT_EQ(771u, blend->getDestFactor());
}

void expectImage(const ImagePtr& image, const char* name, UInt32 format, Int32 width, Int32 height,
                 const std::vector<UInt8>& pixels)
{
    ASSERT_NE(NullFC, image);
    EXPECT_EQ(name, image->getName());
    EXPECT_EQ(format, image->getPixelFormat());
    EXPECT_EQ(width, image->getWidth());
    EXPECT_EQ(height, image->getHeight());
    EXPECT_TRUE(image->isValid());
    EXPECT_EQ(pixels, std::vector<UInt8>(image->getPixel().begin(), image->getPixel().end()));
}

template <class FieldT>
std::vector<typename FieldT::StoredType> valuesOf(const FieldT& field)
{
    return std::vector<typename FieldT::StoredType>(field.begin(), field.end());
}

} // namespace

TEST_F(OsbSampleTest, MaterialPool)
{
    ASSERT_NO_FATAL_FAILURE(open("material_pool.osb"));
    if (IsSkipped())
        return;
    EXPECT_STREQ("library", getName(root));
    EXPECT_EQ("Group", typeOfCore(root));
    ASSERT_EQ(1u, root->getNChildren());
    const NodePtr node = root->getChild(0);
    EXPECT_STREQ("MaterialPool", getName(node));
    const MaterialPoolPtr pool = MaterialPoolPtr::dcast(node->getCore());
    ASSERT_NE(NullFC, pool);
    ASSERT_EQ(3u, pool->getCount());
    EXPECT_EQ(3u, pool->get().size());

    expectMaterial(pool->get(0), "red_paint", Color4f(.8f, .1f, .05f, 1), Color4f(.2f, .02f, .01f, 1),
                   Color4f(.5f, .5f, .5f, 1), Color4f(0, 0, 0, 1), 32);
    EXPECT_EQ(1u, ChunkMaterialPtr::dcast(pool->get(0))->getChunks().size());
    expectMaterial(pool->get(1), "glass", Color4f(.6f, .7f, .9f, .25f), Color4f(.1f, .1f, .15f, .25f),
                   Color4f(1, 1, 1, .25f), Color4f(0, 0, 0, .25f), 96);
    expectBlend(pool->get(1));
    expectMaterial(pool->get(2), "checker", Color4f(1, 1, 1, 1), Color4f(.25f, .25f, .25f, 1),
                   Color4f(0, 0, 0, 1), Color4f(0, 0, 0, 1), 0);
    const TextureChunkPtr texture = chunkOf<TextureChunkPtr>(pool->get(2));
    ASSERT_NE(NullFC, texture);
    EXPECT_EQ(0x2100u, texture->getEnvMode());
    expectImage(texture->getImage(), "textures/checker2x2.png", Image::OSG_RGB_PF, 2, 2,
                {255, 255, 255, 0, 0, 0, 0, 0, 0, 200, 100, 50});
    const TextureTransformChunkPtr repeat = chunkOf<TextureTransformChunkPtr>(pool->get(2));
    ASSERT_NE(NullFC, repeat);
    EXPECT_EQ(Matrix(2, 0, 0, 0, 0, 3, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1), repeat->getMatrix());
    EXPECT_EQ(3u, ChunkMaterialPtr::dcast(pool->get(2))->getChunks().size());

    EXPECT_FALSE(pool->get(0)->isTransparent());
    EXPECT_TRUE(pool->get(1)->isTransparent());
    EXPECT_FALSE(pool->get(2)->isTransparent());
}

TEST_F(OsbSampleTest, TexturedMultiIndex)
{
    ASSERT_NO_FATAL_FAILURE(open("textured_multiindex.osb"));
    if (IsSkipped())
        return;
    EXPECT_STREQ("scene", getName(root));
    ASSERT_EQ(2u, root->getNChildren());
    const NodePtr place = root->getChild(0), instance = root->getChild(1);
    EXPECT_STREQ("place", getName(place));
    EXPECT_EQ(Vec4f(10, 20, 30, 1), TransformPtr::dcast(place->getCore())->getMatrix()[3]);
    ASSERT_EQ(1u, place->getNChildren());
    const NodePtr quad = place->getChild(0);
    EXPECT_STREQ("quad", getName(quad));
    EXPECT_STREQ("quad_instance", getName(instance));
    EXPECT_EQ(quad->getCore(), instance->getCore());
    EXPECT_EQ(2, quad->getCore().getRefCount());
    EXPECT_TRUE(quad->getActive());
    EXPECT_EQ(0u, instance->getTravMask());
    EXPECT_EQ(Vec4f(10, 20, 30, 1), quad->getToWorld()[3]);
    EXPECT_EQ(Matrix(), instance->getToWorld());

    const GeometryPtr geometry = GeometryPtr::dcast(quad->getCore());
    ASSERT_NE(NullFC, geometry);
    EXPECT_THAT(valuesOf(GeoPTypesUI8Ptr::dcast(geometry->getTypes())->getField()), ElementsAre(9, 9));
    ASSERT_EQ(2u, geometry->getLengths()->size());
    EXPECT_EQ(4u, geometry->getLengths()->getValue(0));
    EXPECT_EQ(3u, geometry->getLengths()->getValue(1));
    EXPECT_THAT(
        valuesOf(GeoPositions3fPtr::dcast(geometry->getPositions())->getField()),
        ElementsAre(Pnt3f(0, 0, 0), Pnt3f(1, 0, 0), Pnt3f(1, 1, 0), Pnt3f(0, 1, 0), Pnt3f(.5f, 1.5f, .25f)));
    EXPECT_THAT(valuesOf(GeoNormals3fPtr::dcast(geometry->getNormals())->getField()),
                ElementsAre(Vec3f(0, 0, 1), Vec3f(0, -.6f, .8f)));
    EXPECT_THAT(valuesOf(GeoTexCoords2fPtr::dcast(geometry->getTexCoords())->getField()),
                ElementsAre(Vec2f(0, 0), Vec2f(1, 0), Vec2f(1, 1), Vec2f(0, 1), Vec2f(.5f, 2)));
    EXPECT_THAT(valuesOf(GeoIndicesUI32Ptr::dcast(geometry->getIndices())->getField()),
                ElementsAre(0, 0, 0, 1, 0, 1, 2, 0, 2, 3, 0, 3, 3, 1, 3, 2, 1, 2, 4, 1, 4));
    EXPECT_THAT(valuesOf(geometry->getIndexMapping()), ElementsAre(1, 2, 16));
    EXPECT_EQ(NullFC, geometry->getColors());
    EXPECT_TRUE(geometry->getDlistCache());
    EXPECT_FALSE(geometry->getVbo());
    EXPECT_EQ(1u, geometry->getPositions()->getParents().size());

    expectMaterial(geometry->getMaterial(), "wood", Color4f(.9f, .8f, .7f, 1), Color4f(.1f, .1f, .1f, 1),
                   Color4f(.3f, .3f, .3f, 1), Color4f(0, 0, 0, 1), 12);
    expectBlend(geometry->getMaterial());
    const TextureChunkPtr texture = chunkOf<TextureChunkPtr>(geometry->getMaterial());
    ASSERT_NE(NullFC, texture);
    EXPECT_EQ(0x2100u, texture->getEnvMode());
    expectImage(texture->getImage(), "wood.jpg", Image::OSG_RGBA_PF, 2, 1, {10, 20, 30, 40, 50, 60, 70, 255});
}

TEST_F(OsbSampleTest, GroupsAndLights)
{
    ASSERT_NO_FATAL_FAILURE(open("groups_lights.osb"));
    if (IsSkipped())
        return;
    EXPECT_STREQ("root", getName(root));
    ASSERT_EQ(4u, root->getNChildren());

    const NodePtr ct = root->getChild(0);
    EXPECT_STREQ("ct", getName(ct));
    const ComponentTransformPtr transform = ComponentTransformPtr::dcast(ct->getCore());
    ASSERT_NE(NullFC, transform);
    EXPECT_EQ(Vec3f(1, 2, 3), transform->getTranslation());
    Quaternion quarterTurn;
    quarterTurn.setValueAsAxisDeg(0, 0, 1, 90);
    EXPECT_EQ(quarterTurn, transform->getRotation());
    EXPECT_EQ(Vec3f(2, 2, 2), transform->getScale());
    EXPECT_EQ(Vec3f(1, 0, 0), transform->getCenter());
    EXPECT_EQ(Quaternion(), transform->getScaleOrientation());
    EXPECT_TRUE(
        transform->getMatrix().equals(Matrix(0, -2, 0, 2, 2, 0, 0, 0, 0, 0, 2, 3, 0, 0, 0, 1), 1e-6f));

    ASSERT_EQ(1u, ct->getNChildren());
    const NodePtr choice = ct->getChild(0);
    EXPECT_STREQ("switch", getName(choice));
    EXPECT_EQ(1, SwitchPtr::dcast(choice->getCore())->getChoice());
    ASSERT_EQ(3u, choice->getNChildren());
    for (UInt32 i = 0; i < 3; ++i) {
        EXPECT_EQ(std::string(1, static_cast<char>('a' + i)), getName(choice->getChild(i)));
        EXPECT_EQ("Group", typeOfCore(choice->getChild(i)));
    }

    const NodePtr mg = root->getChild(1);
    EXPECT_STREQ("mg", getName(mg));
    ASSERT_EQ("MaterialGroup", typeOfCore(mg));
    expectMaterial(MaterialGroupPtr::dcast(mg->getCore())->getMaterial(), "groupmat",
                   Color4f(.5f, .5f, .5f, 1), Color4f(0, 0, 0, 1), Color4f(0, 0, 0, 1), Color4f(0, 0, 0, 1),
                   1);
    ASSERT_EQ(1u, mg->getNChildren());
    EXPECT_STREQ("nocore", getName(mg->getChild(0)));
    EXPECT_EQ(NullFC, mg->getChild(0)->getCore());

    EXPECT_STREQ("spot", getName(root->getChild(2)));
    const SpotLightPtr spot = SpotLightPtr::dcast(root->getChild(2)->getCore());
    ASSERT_NE(NullFC, spot);
    EXPECT_EQ(Color4f(1, .5f, 0, 1), spot->getDiffuse());
    EXPECT_EQ(Pnt3f(1, 2, 3), spot->getPosition());
    EXPECT_EQ(Vec3f(0, -1, 0), spot->getDirection());
    EXPECT_EQ(.5f, spot->getSpotCutOff());
    EXPECT_EQ(2.f, spot->getSpotExponent());
    EXPECT_EQ(ct, spot->getBeacon());
    EXPECT_STREQ("dir", getName(root->getChild(3)));
    const DirectionalLightPtr dir = DirectionalLightPtr::dcast(root->getChild(3)->getCore());
    ASSERT_NE(NullFC, dir);
    EXPECT_EQ(Vec3f(0, 1, 0), dir->getDirection());
    EXPECT_EQ(ct, dir->getBeacon());
    EXPECT_TRUE(dir->getOn());
}
