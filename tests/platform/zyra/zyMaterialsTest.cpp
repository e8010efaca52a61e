#include "sceneTools.h"

#include <zyOpenSGUtils/zyMaterials.h>
#include <zyOpenSGUtils/zyNodeUtils.h>

#include <OpenSG/OSGChunkMaterial.h>
#include <OpenSG/OSGGeometry.h>
#include <OpenSG/OSGGroup.h>
#include <OpenSG/OSGMaterialGroup.h>
#include <OpenSG/OSGMaterialPool.h>
#include <OpenSG/OSGMultiPassMaterial.h>
#include <OpenSG/OSGSimpleMaterial.h>
#include <OpenSG/OSGSwitchMaterial.h>

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

// -- Materials of materials -------------------------------------------------------------------

namespace
{

// A switch that chooses between several passes and a plain material, with a scene that uses all of them.
class NestedMaterials : public testing::Test
{
protected:
    NestedMaterials()
        : choice(osg::SwitchMaterial::create()), passes(osg::MultiPassMaterial::create()),
          first(osg::ChunkMaterial::create()), second(osg::ChunkMaterial::create()),
          root(makeNode("root", osg::Group::create()))
    {
        osg::addRefCP(choice);
        osg::addRefCP(root);
        const osg::CPEditor editChoice(choice), editPasses(passes);
        choice->addMaterial(passes);
        choice->addMaterial(second);
        passes->addMaterial(first);
        passes->addMaterial(second);
    }
    ~NestedMaterials() override
    {
        osg::subRefCP(root);
        osg::subRefCP(choice);
    }

    osg::NodePtr addGroup(const std::string& name, const osg::MaterialPtr& material)
    {
        const osg::MaterialGroupPtr group = osg::MaterialGroup::create();
        {
            const osg::CPEditor edit(group);
            group->setMaterial(material);
        }
        const osg::NodePtr node = makeNode(name, group);
        addChild(root, node);
        return node;
    }
    static std::string namesOf(const std::vector<osg::NodePtr>& nodes)
    {
        std::string names;
        for (const osg::NodePtr& node : nodes)
            names += zyNodeUtils::getName(node) + " ";
        return names;
    }

    osg::SwitchMaterialPtr choice;
    osg::MultiPassMaterialPtr passes;
    osg::ChunkMaterialPtr first;
    osg::ChunkMaterialPtr second;
    osg::NodePtr root;
};

} // namespace

TEST_F(NestedMaterials, theRealOneIsTheChosenOrTheFirst)
{
    EXPECT_EQ(osg::MaterialPtr(first), zyMaterials::getRealMaterial(first));
    EXPECT_EQ(osg::MaterialPtr(first), zyMaterials::getRealMaterial(passes));
    EXPECT_EQ(osg::MaterialPtr(first), zyMaterials::getRealMaterial(choice));
    const osg::CPEditor edit(choice);
    choice->setChoice(1);
    EXPECT_EQ(osg::MaterialPtr(second), zyMaterials::getRealMaterial(choice));
    choice->setChoice(2);
    EXPECT_TRUE(zyMaterials::getRealMaterial(choice) == osg::NullFC);
    EXPECT_TRUE(zyMaterials::getRealMaterial(osg::NullFC) == osg::NullFC);
    osg::MultiPassMaterialPtr empty = osg::MultiPassMaterial::create();
    EXPECT_TRUE(zyMaterials::getRealMaterial(empty) == osg::NullFC);
    osg::subRefCP(empty);
}

TEST_F(NestedMaterials, theNodesThatUseOneAreFoundByItsWrappersToo)
{
    addGroup("plain", first);
    addGroup("switched", choice);
    addGroup("none", osg::NullFC);
    const osg::GeometryPtr geometry = osg::Geometry::create();
    {
        const osg::CPEditor edit(geometry);
        geometry->setMaterial(second);
    }
    addChild(root, makeNode("drawable", geometry));
    EXPECT_EQ("plain switched ", namesOf(zyMaterials::getNodesWithMaterial(first, root)));
    EXPECT_EQ("switched drawable ", namesOf(zyMaterials::getNodesWithMaterial(second, root)));
    EXPECT_EQ("switched ", namesOf(zyMaterials::getNodesWithMaterial(passes, root)));
    EXPECT_EQ("", namesOf(zyMaterials::getNodesWithMaterial(osg::NullFC, root)));
    EXPECT_EQ("", namesOf(zyMaterials::getNodesWithMaterial(first, osg::NullFC)));
    EXPECT_EQ("plain ", namesOf(zyMaterials::getNodesWithMaterial(first, root->getChild(0))));
}

TEST_F(NestedMaterials, aNodeHasTheMaterialOfItsOwnCoreOnly)
{
    const osg::NodePtr node = addGroup("plain", first);
    const osg::NodePtr below = makeNode("below", osg::Group::create());
    addChild(node, below);
    EXPECT_EQ(osg::MaterialPtr(first), zyNodeUtils::getMaterial(node));
    EXPECT_TRUE(zyNodeUtils::getMaterial(below) == osg::NullFC);
    EXPECT_TRUE(zyNodeUtils::getMaterial(osg::NullFC) == osg::NullFC);
    const osg::GeometryPtr geometry = osg::Geometry::create();
    addChild(node, makeNode("drawable", geometry));
    EXPECT_TRUE(zyNodeUtils::getMaterial(node->getChild(1)) == osg::NullFC);
    const osg::CPEditor edit(geometry);
    geometry->setMaterial(second);
    EXPECT_EQ(osg::MaterialPtr(second), zyNodeUtils::getMaterial(node->getChild(1)));
}
