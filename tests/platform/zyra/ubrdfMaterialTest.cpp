#include <zyOpenSGUberMaterial/zyUBRDFMaterial.h>

#include <gtest/gtest.h>

TEST(UBRDFMaterial, appearsInItsStateByItsAnalyticValues)
{
    osg::UBRDFMaterialPtr material = osg::UBRDFMaterial::create();
    osg::addRefCP(material);
    {
        const osg::CPEditor edit(material);
        material->setAnalyticAmbient(osg::Color3f(.1f, .2f, .3f));
        material->setAnalyticDiffuse(osg::Color3f(.4f, .5f, .6f));
        material->setAnalyticSpecular(osg::Color3f(.7f, .8f, .9f));
        material->setAnalyticShininess(42);
    }
    EXPECT_TRUE(material->getChunks().empty());
    EXPECT_FALSE(material->isTransparent());
    const auto colors =
        osg::MaterialChunkPtr::dcast(material->getState()->getChunk(osg::MaterialChunk::getStaticClassId()));
    ASSERT_TRUE(colors != osg::NullFC);
    EXPECT_EQ(osg::Color4f(.1f, .2f, .3f, 1), colors->getAmbient());
    EXPECT_EQ(osg::Color4f(.4f, .5f, .6f, 1), colors->getDiffuse());
    EXPECT_EQ(osg::Color4f(.7f, .8f, .9f, 1), colors->getSpecular());
    EXPECT_EQ(osg::Color4f(0, 0, 0, 1), colors->getEmission());
    EXPECT_EQ(42.f, colors->getShininess());
    EXPECT_FALSE(material->getState()->chunkPresent(osg::BlendChunk::getStaticClassId()));
    osg::subRefCP(material);
}

TEST(UBRDFMaterial, isBlendedWhereItIsTransparent)
{
    osg::UBRDFMaterialPtr material = osg::UBRDFMaterial::create();
    osg::addRefCP(material);
    {
        const osg::CPEditor edit(material);
        material->setAnalyticTransparency(.25f);
    }
    EXPECT_TRUE(material->isTransparent());
    const auto colors =
        osg::MaterialChunkPtr::dcast(material->getState()->getChunk(osg::MaterialChunk::getStaticClassId()));
    EXPECT_EQ(.75f, colors->getDiffuse()[3]);
    EXPECT_TRUE(material->getState()->chunkPresent(osg::BlendChunk::getStaticClassId()));

    // A copy has its own state.
    osg::UBRDFMaterialPtr copy = osg::UBRDFMaterialPtr::dcast(material->shallowCopy());
    osg::addRefCP(copy);
    {
        const osg::CPEditor edit(copy);
        copy->setAnalyticTransparency(0);
    }
    EXPECT_FALSE(copy->getState()->chunkPresent(osg::BlendChunk::getStaticClassId()));
    EXPECT_TRUE(material->getState()->chunkPresent(osg::BlendChunk::getStaticClassId()));
    osg::subRefCP(copy);
    osg::subRefCP(material);
}

TEST(UBRDFMaterial, isFoundByName)
{
    EXPECT_TRUE(osg::FieldContainerFactory::the()->findType("UBRDFMaterial") != nullptr);
    EXPECT_TRUE(osg::UBRDFMaterial::getClassType().isDerivedFrom(osg::ChunkMaterial::getClassType()));
}
