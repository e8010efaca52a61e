#include "sceneTools.h"

#include <zyOpenSGUtils/zyLights.h>

#include <OpenSG/OSGDirectionalLight.h>
#include <OpenSG/OSGGroup.h>
#include <OpenSG/OSGSceneFileHandler.h>
#include <OpenSG/OSGSpotLight.h>
#include <OpenSG/OSGStringAttributeMap.h>

#include <gtest/gtest.h>

#include <sstream>

class ZyLights : public testing::Test
{
protected:
    void TearDown() override
    {
        for (osg::NodePtr& node : _made)
            osg::subRefCP(node);
    }
    osg::NodePtr make(const std::string& type, const std::string& name = "lamp", bool castsShadows = false)
    {
        const osg::NodePtr node = zyLights::createLight(type, name, castsShadows);
        if (node != osg::NullFC) {
            osg::addRefCP(node);
            _made.push_back(node);
        }
        return node;
    }
    static osg::LightPtr core(const osg::NodePtr& node) { return osg::LightPtr::dcast(node->getCore()); }

private:
    std::vector<osg::NodePtr> _made;
};

TEST_F(ZyLights, eachTypeNameMakesANodeWithThatCore)
{
    for (const std::string type : {"DirectionalLight", "PointLight", "SpotLight"}) {
        osg::NodePtr node = zyLights::createLight(type, "lamp", false);
        ASSERT_FALSE(node == osg::NullFC) << type;
        EXPECT_EQ(0, node.getRefCount());
        EXPECT_EQ(type, node->getCore()->getTypeName());
        EXPECT_STREQ("lamp", osg::getName(node));
        EXPECT_TRUE(zyLights::isLight(node));
        EXPECT_TRUE(core(node)->getOn());
        EXPECT_TRUE(core(node)->getBeacon() == osg::NullFC);
        EXPECT_EQ(0.0f, core(node)->getShadowIntensity());
        EXPECT_EQ(1.0f, zyLights::getLightValue(node));
        EXPECT_EQ(osg::Vec3f(1, 1, 1), zyLights::getDiffuse(node));
        EXPECT_EQ(osg::Vec3f(1, 1, 1), zyLights::getGlossy(node));
        osg::subRefCP(node);
    }
    EXPECT_TRUE(make("AmbientLight") == osg::NullFC);
    EXPECT_TRUE(make("Group") == osg::NullFC);
    EXPECT_TRUE(make("") == osg::NullFC);
}

TEST_F(ZyLights, aNewLightShinesAlongMinusZ)
{
    EXPECT_EQ(osg::Vec3f(0, 0, 1), // towards the light
              osg::DirectionalLightPtr::dcast(make("DirectionalLight")->getCore())->getDirection());
    const auto spot = osg::SpotLightPtr::dcast(make("SpotLight")->getCore());
    EXPECT_EQ(osg::Vec3f(0, 0, -1), spot->getDirection()); // away from it
    EXPECT_EQ(osg::Pnt3f(0, 0, 0), spot->getPosition());
}

TEST_F(ZyLights, valuesAreKeptApartFromColours)
{
    const osg::NodePtr node = make("SpotLight");
    EXPECT_TRUE(zyLights::setLightValue(node, 2));
    EXPECT_TRUE(zyLights::setDiffuse(node, osg::Vec3f(1, 0.5f, 0)));
    EXPECT_TRUE(zyLights::setGlossy(node, osg::Vec3f(0.25f, 4, -1)));
    EXPECT_TRUE(zyLights::setConeAngle(node, 20));
    EXPECT_TRUE(zyLights::setPenumbraAngle(node, 5));
    EXPECT_EQ(2.0f, zyLights::getLightValue(node));
    EXPECT_EQ(osg::Vec3f(1, 0.5f, 0), zyLights::getDiffuse(node));
    EXPECT_EQ(osg::Vec3f(0.25f, 4, -1), zyLights::getGlossy(node));
    EXPECT_NEAR(20.0f, zyLights::getConeAngle(node), 1e-5f);
    EXPECT_EQ(5.0f, zyLights::getPenumbraAngle(node));
    EXPECT_EQ(osg::Color4f(1, 0.5f, 0, 1), core(node)->getDiffuse());
    EXPECT_NEAR(0.34906585f, osg::SpotLightPtr::dcast(node->getCore())->getSpotCutOff(), 1e-6f);
    EXPECT_TRUE(zyLights::setLightValue(node, 0.1f));
    EXPECT_TRUE(zyLights::setPenumbraAngle(node, -1e-20f));
    EXPECT_EQ(0.1f, zyLights::getLightValue(node));
    EXPECT_EQ(-1e-20f, zyLights::getPenumbraAngle(node));
}

TEST_F(ZyLights, shadowsAreAnIntensityOfTheCore)
{
    EXPECT_EQ(1.0f, core(make("PointLight", "lamp", true))->getShadowIntensity());
}

TEST_F(ZyLights, whatIsNoLightIsLeftAlone)
{
    osg::NodePtr group = makeNode("group", osg::Group::create());
    const osg::NodePtr bare = osg::Node::create(), point = make("PointLight");
    for (const osg::NodePtr& node : {osg::NodePtr(osg::NullFC), group, bare}) {
        EXPECT_FALSE(zyLights::isLight(node));
        EXPECT_FALSE(zyLights::setLightValue(node, 2));
        EXPECT_FALSE(zyLights::setDiffuse(node, osg::Vec3f(1, 0, 0)));
        EXPECT_FALSE(zyLights::setGlossy(node, osg::Vec3f(1, 0, 0)));
        EXPECT_EQ(1.0f, zyLights::getLightValue(node));
        EXPECT_EQ(osg::Vec3f(1, 1, 1), zyLights::getDiffuse(node));
        EXPECT_EQ(osg::Vec3f(1, 1, 1), zyLights::getGlossy(node));
    }
    for (const osg::NodePtr& node : {osg::NodePtr(osg::NullFC), group, bare, point}) {
        EXPECT_FALSE(zyLights::setConeAngle(node, 2));
        EXPECT_FALSE(zyLights::setPenumbraAngle(node, 2));
        EXPECT_EQ(180.0f, zyLights::getConeAngle(node));
        EXPECT_EQ(0.0f, zyLights::getPenumbraAngle(node));
    }
    osg::subRefCP(group);
    osg::NodePtr unused = bare;
    osg::subRefCP(unused);
}

TEST_F(ZyLights, aCopyOfALightIsChangedOnItsOwn)
{
    const osg::NodePtr node = make("SpotLight");
    zyLights::setLightValue(node, 2);
    osg::NodePtr twin = makeNode("twin", node->getCore());
    EXPECT_EQ(2.0f, zyLights::getLightValue(twin)); // the same light
    osg::NodePtr copy = makeNode("copy", osg::NodeCorePtr::dcast(node->getCore()->shallowCopy()));
    EXPECT_EQ(2.0f, zyLights::getLightValue(copy));
    EXPECT_TRUE(zyLights::setLightValue(copy, 3));
    EXPECT_TRUE(zyLights::setPenumbraAngle(copy, 7));
    EXPECT_EQ(2.0f, zyLights::getLightValue(node));
    EXPECT_EQ(0.0f, zyLights::getPenumbraAngle(node));
    EXPECT_EQ(3.0f, zyLights::getLightValue(copy));
    osg::subRefCP(twin);
    osg::subRefCP(copy);
}

TEST_F(ZyLights, lightsSurviveTheBinaryFile)
{
    osg::NodePtr root = makeNode("root", osg::Group::create());
    osg::addRefCP(root);
    const osg::NodePtr spot = make("SpotLight");
    addChild(root, spot);
    zyLights::setLightValue(spot, 2.5f);
    zyLights::setDiffuse(spot, osg::Vec3f(1, 0.5f, 0));
    zyLights::setConeAngle(spot, 30);
    zyLights::setPenumbraAngle(spot, 5);
    std::stringstream file;
    ASSERT_TRUE(osg::SceneFileHandler::the()->write(root, file, "osb"));
    osg::NodePtr back = osg::SceneFileHandler::the()->read(file, "osb");
    ASSERT_FALSE(back == osg::NullFC);
    osg::addRefCP(back);
    const osg::NodePtr lamp = back->getChild(0);
    EXPECT_TRUE(zyLights::isLight(lamp));
    EXPECT_EQ(2.5f, zyLights::getLightValue(lamp));
    EXPECT_EQ(osg::Vec3f(1, 0.5f, 0), zyLights::getDiffuse(lamp));
    EXPECT_NEAR(30.0f, zyLights::getConeAngle(lamp), 1e-5f);
    EXPECT_EQ(5.0f, zyLights::getPenumbraAngle(lamp));
    osg::subRefCP(back);
    osg::subRefCP(root);
}
