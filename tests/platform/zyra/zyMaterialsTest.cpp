#include "sceneTools.h"

#include <zyOpenSGUtils/zyMaterials.h>

#include <OpenSG/OSGChunkMaterial.h>
#include <OpenSG/OSGGroup.h>
#include <OpenSG/OSGMaterialGroup.h>
#include <OpenSG/OSGMaterialPool.h>
#include <OpenSG/OSGSimpleMaterial.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

static osg::MaterialPtr makeMaterial(const std::string& name)
{
    const osg::MaterialPtr material = osg::ChunkMaterial::create();
    osg::setName(material, name);
    return material;
}

static osg::NodePtr makePool(const std::string& name, const std::vector<osg::MaterialPtr>& materials)
{
    const osg::MaterialPoolPtr pool = osg::MaterialPool::create();
    const osg::CPEditor edit(pool);
    for (const osg::MaterialPtr& material : materials)
        pool->add(material);
    return makeNode(name, pool);
}

static osg::NodePtr makeGroup(const osg::MaterialPtr& material)
{
    const osg::MaterialGroupPtr group = osg::MaterialGroup::create();
    const osg::CPEditor edit(group);
    group->setMaterial(material);
    return makeNode("", group);
}

static osg::NodePtr makeDrawable(const osg::MaterialPtr& material)
{
    const osg::GeometryPtr geo = osg::Geometry::create();
    setProperty(geo, &osg::Geometry::setMaterial, material);
    return makeNode("", geo);
}

static std::string namesOf(const std::vector<osg::MaterialPtr>& materials)
{
    std::string text;
    for (const osg::MaterialPtr& material : materials)
        text += (text.empty() ? "" : " ") + zyMaterials::getName(material);
    return text;
}

class ZyMaterials : public testing::Test
{
protected:
    void SetUp() override
    {
        root = makeNode("root", osg::Group::create());
        osg::addRefCP(root);
    }
    void TearDown() override { osg::subRefCP(root); }

    osg::NodePtr root;
};

TEST_F(ZyMaterials, namesAreSetAndReplacedAsAsked)
{
    osg::MaterialPtr material = osg::SimpleMaterial::create();
    EXPECT_EQ("", zyMaterials::getName(material));
    zyMaterials::setName(material, "red", false);
    EXPECT_EQ("red", zyMaterials::getName(material));
    zyMaterials::setName(material, "blue", false);
    EXPECT_EQ("red", zyMaterials::getName(material));
    zyMaterials::setName(material, "blue", true);
    EXPECT_EQ("blue", zyMaterials::getName(material));
    osg::subRefCP(material);
    EXPECT_EQ("", zyMaterials::getName(osg::NullFC));
    zyMaterials::setName(osg::NullFC, "x", true);
}

TEST_F(ZyMaterials, theFirstPoolInDepthFirstOrderIsFound)
{
    EXPECT_TRUE(zyMaterials::findMaterialPool(root, false, true, 0) == osg::NullFC);
    EXPECT_TRUE(zyMaterials::findMaterialPool(osg::NullFC, true, true, 0) == osg::NullFC);
    const osg::NodePtr deep = makeNode("deep", osg::Group::create());
    addChild(root, deep);
    addChild(deep, makePool("empty", {}));
    addChild(root, makePool("full", {makeMaterial("m")}));
    EXPECT_EQ("empty", std::string(osg::getName(zyMaterials::findMaterialPool(root, false, true, 0))));
    EXPECT_EQ("full", std::string(osg::getName(zyMaterials::findMaterialPool(root, false, false, 0))));
    EXPECT_EQ("full", std::string(osg::getName(
                          zyMaterials::findMaterialPool(root, false, true, zyMaterials::FirstNonEmptyPool))));
}

TEST_F(ZyMaterials, aMissingPoolIsMadeOnlyWhenAskedFor)
{
    osg::NodePtr pool = zyMaterials::findMaterialPool(root, true, true, 0);
    ASSERT_TRUE(pool != osg::NullFC);
    EXPECT_TRUE(pool->getParent() == root);
    EXPECT_TRUE(osg::MaterialPoolPtr::dcast(pool->getCore()) != osg::NullFC);
    EXPECT_TRUE(pool == zyMaterials::findMaterialPool(root, true, true, 0));
    EXPECT_EQ(1u, root->getNChildren());
}

TEST_F(ZyMaterials, listsEachMaterialOfASceneOnceInOrderOfFirstUse)
{
    const osg::MaterialPtr a = makeMaterial("a"), b = makeMaterial("b"), c = makeMaterial("c"),
                           d = makeMaterial("d");
    const osg::NodePtr group = makeGroup(b);
    addChild(root, group);
    addChild(group, makeDrawable(c));
    addChild(group, makeDrawable(osg::NullFC));
    addChild(root, makePool("pool", {c, a, b}));
    addChild(root, makeDrawable(d));
    std::vector<osg::MaterialPtr> materials;
    zyMaterials::getMaterials(root, materials);
    EXPECT_EQ("b c a d", namesOf(materials));
    zyMaterials::getMaterials(root, materials);
    EXPECT_EQ("b c a d", namesOf(materials));
    zyMaterials::getMaterials(osg::NullFC, materials);
    EXPECT_EQ(4u, materials.size());
}

TEST_F(ZyMaterials, aPlainMaterialExpandsToItself)
{
    osg::MaterialPtr material = makeMaterial("m");
    std::vector<osg::MaterialPtr> materials;
    zyMaterials::getRecursiveMaterials(material, materials, false);
    EXPECT_TRUE(materials.empty());
    zyMaterials::getRecursiveMaterials(material, materials, true);
    EXPECT_EQ("m", namesOf(materials));
    zyMaterials::getRecursiveMaterials(osg::NullFC, materials, true);
    EXPECT_EQ(1u, materials.size());
    osg::subRefCP(material);
}
