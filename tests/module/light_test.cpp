// Light import: directional, point and spot lights become the host's lights.

#include "LoaderTest.h"

#include <OpenSG/OSGDirectionalLight.h>
#include <OpenSG/OSGPointLight.h>
#include <OpenSG/OSGSpotLight.h>
#include <kelda/KFileIO.h>
#include <kelda/testing/KFaults.h>
#include <zyOpenSGUtils/zyLights.h>

#include <dlfcn.h>

// -- hosts whose lights are transformations --------------------------------------------------------

// The embedded host's lights stand in their node's coordinates. While `lightsAreTransforms` is set, the
// module gets such as other hosts make.
static bool lightsAreTransforms = false;

osg::NodePtr zyLights::createLight(const std::string& typeName, const std::string& nodeName,
                                   bool castsShadows)
{
    if (lightsAreTransforms)
        return makeNode(nodeName, osg::Transform3D::create());
    typedef osg::NodePtr (*Original)(const std::string&, const std::string&, bool);
    static const Original original = reinterpret_cast<Original>(::dlsym(
        RTLD_NEXT, "_ZN8zyLights11createLightERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEES7_b"));
    return original(typeName, nodeName, castsShadows);
}

namespace
{
using testing::ElementsAre;

class Lights : public LoaderTest
{
protected:
    ~Lights() override { lightsAreTransforms = false; }

    zyKeldaLoaderTestAccess loader;

    /// A light "lampShape" below a moved transform "lamp".
    static KObject makeLight(const std::string& type)
    {
        makeMovedTransform("lamp", 1, 2, 3);
        run("createNode " + type + " -name lampShape -parent lamp");
        return nodeOf("lampShape");
    }
    osg::NodePtr convert(const std::string& path = "lampShape")
    {
        osg::NodePtr node;
        printed = printedBy([&] { node = loader.convertLight(pathOf(path)); });
        if (node != osg::NullFC)
            _graphs.emplace_back(new ScopedGraph(node));
        return node;
    }
    osg::NodePtr walk()
    {
        osg::NodePtr root;
        printed = printedBy([&] { root = loader.walk(); });
        _graphs.emplace_back(new ScopedGraph(root));
        return root;
    }

    Printed printed;

private:
    std::vector<std::unique_ptr<ScopedGraph>> _graphs;
};

template <class CorePtr>
bool hasCore(const osg::NodePtr& node)
{
    return node != osg::NullFC && CorePtr::dcast(node->getCore()) != osg::NullFC;
}

// -- kinds -----------------------------------------------------------------------------------------

TEST_F(Lights, aDirectionalLightBecomesADirectionalLight)
{
    makeLight("directionalLight");
    const osg::NodePtr node = convert();
    EXPECT_TRUE(hasCore<osg::DirectionalLightPtr>(node));
    EXPECT_EQ("lampShape", nameOf(node));
    EXPECT_EQ("Converting directional light 'lampShape'\n", printed.out);
    EXPECT_EQ("", printed.err);
    EXPECT_TRUE(messages.empty());
}

TEST_F(Lights, aPointLightBecomesAPointLight)
{
    makeLight("pointLight");
    const osg::NodePtr node = convert();
    EXPECT_TRUE(hasCore<osg::PointLightPtr>(node));
    EXPECT_FALSE(hasCore<osg::SpotLightPtr>(node));
    EXPECT_EQ("Converting point light 'lampShape'\n", printed.out);
}

TEST_F(Lights, aSpotLightBringsHalfItsConeAngleAndItsWholePenumbraAngleInDegrees)
{
    const KObject light = makeLight("spotLight");
    setNumber(light, "coneAngle", 40 * 3.14159265358979323846 / 180);
    setNumber(light, "penumbraAngle", 5 * 3.14159265358979323846 / 180);
    const osg::NodePtr node = convert();
    ASSERT_TRUE(hasCore<osg::SpotLightPtr>(node));
    EXPECT_NEAR(20, zyLights::getConeAngle(node), 1e-4);
    EXPECT_NEAR(5, zyLights::getPenumbraAngle(node), 1e-4);
    EXPECT_EQ("Converting spot light 'lampShape'\nconeAngle: 0.698132\n", printed.out);
}

TEST_F(Lights, aPenumbraToTheInsideStaysNegative)
{
    const KObject light = makeLight("spotLight");
    setNumber(light, "coneAngle", 0.5);
    setNumber(light, "penumbraAngle", -0.1);
    EXPECT_NEAR(-5.729578, zyLights::getPenumbraAngle(convert()), 1e-4);
    EXPECT_EQ("Converting spot light 'lampShape'\nconeAngle: 0.500000\n", printed.out) << "as in the scene";
}

TEST_F(Lights, allOtherKindsGiveNoNodeAndNoMessage)
{
    for (const char* type : {"ambientLight", "areaLight"}) {
        KFileIO::newFile(true);
        makeLight(type);
        EXPECT_TRUE(convert() == osg::NullFC) << type;
        EXPECT_EQ("", printed.out + printed.err) << type;
    }
    EXPECT_TRUE(loader.lights().empty());
    EXPECT_TRUE(messages.empty());
}

TEST_F(Lights, whatIsNoLightGivesNoNode)
{
    makeQuad("quadShape", makeTransform("quad"));
    EXPECT_TRUE(convert("quadShape") == osg::NullFC);
    EXPECT_EQ("", printed.out + printed.err);
}

TEST_F(Lights, aLightThatCannotBeAttachedGivesNoNodeAndNoMessage)
{
    const struct {
        const char* type;
        const char* call;
    } cases[] = {{"pointLight", "KFnLight::KFnLight"},
                 {"directionalLight", "KFnDirectionalLight::KFnDirectionalLight"},
                 {"pointLight", "KFnPointLight::KFnPointLight"},
                 {"spotLight", "KFnSpotLight::KFnSpotLight"}};
    for (const auto& c : cases) {
        KFileIO::newFile(true);
        makeLight(c.type);
        KFaults::failCall(c.call);
        EXPECT_TRUE(convert() == osg::NullFC) << c.call;
        EXPECT_EQ("", printed.out + printed.err) << c.call;
        EXPECT_EQ(1u, KFaults::calls(c.call)) << c.call;
        KFaults::clear();
    }
    EXPECT_TRUE(loader.lights().empty());
}

// -- values ----------------------------------------------------------------------------------------

TEST_F(Lights, intensityAndColourAreKeptApartAndTheColourServesTwice)
{
    for (const char* type : {"directionalLight", "pointLight", "spotLight"}) {
        KFileIO::newFile(true);
        const KObject light = makeLight(type);
        setNumber(light, "intensity", 2);
        setNumber(light, "colorR", 1);
        setNumber(light, "colorG", 0.5);
        setNumber(light, "colorB", 0);
        const osg::NodePtr node = convert();
        EXPECT_EQ(2.0f, zyLights::getLightValue(node)) << type;
        EXPECT_EQ(osg::Vec3f(1, 0.5f, 0), zyLights::getDiffuse(node)) << type;
        EXPECT_EQ(osg::Vec3f(1, 0.5f, 0), zyLights::getGlossy(node)) << type;
    }
}

TEST_F(Lights, isNamedByItsPartialPathAndKept)
{
    run("createNode transform -name a");
    run("createNode transform -name b");
    run("createNode pointLight -name lampShape -parent a");
    run("createNode pointLight -name lampShape -parent b");
    const osg::NodePtr node = convert("|b|lampShape");
    EXPECT_EQ("b|lampShape", nameOf(node));
    EXPECT_EQ("Converting point light 'b|lampShape'\n", printed.out);
    EXPECT_EQ((std::set<osg::NodePtr>{node}), loader.lights());
}

TEST_F(Lights, shadowsAreNotCast)
{
    makeLight("pointLight");
    EXPECT_EQ(0.0f, osg::LightPtr::dcast(convert()->getCore())->getShadowIntensity());
}

TEST_F(Lights, thePathOfItsTransformGivesTheSameLight)
{
    setNumber(makeLight("pointLight"), "intensity", 3);
    const osg::NodePtr node = convert("lamp");
    ASSERT_TRUE(hasCore<osg::PointLightPtr>(node));
    EXPECT_EQ("lamp", nameOf(node));
    EXPECT_EQ(3.0f, zyLights::getLightValue(node));
    EXPECT_EQ(osg::Pnt3f(0, 0, 0), osg::PointLightPtr::dcast(node->getCore())->getPosition());
}

TEST_F(Lights, whereTheHostsLightsAreTransformationsTheyGetThatOfTheirTransformsPath)
{
    makeLight("pointLight");
    run("setAttr lamp.scale 2 3 4");
    lightsAreTransforms = true;
    const osg::NodePtr node = convert("lamp");
    ASSERT_TRUE(hasCore<osg::Transform3DPtr>(node));
    EXPECT_EQ(osg::Vec3f(1, 2, 3), transformOf(node)->getTranslation());
    EXPECT_EQ(osg::Vec3f(2, 3, 4), transformOf(node)->getScale());
    EXPECT_EQ((std::set<osg::NodePtr>{node}), loader.lights());
    const osg::NodePtr ofShape = convert("lampShape");
    EXPECT_EQ(osg::Vec3f(0, 0, 0), transformOf(ofShape)->getTranslation()) << "a shape has no transformation";
}

// -- in the walk -----------------------------------------------------------------------------------

TEST_F(Lights, hangBelowTheirTransformAndKeepTheirName)
{
    run("createNode transform -name b");
    run("createNode pointLight -name lampShape -parent b");
    const KObject group = makeMovedTransform("a", 1, 2, 3);
    run("createNode spotLight -name lampShape -parent a");
    const osg::NodePtr root = walk();
    ASSERT_THAT(childNames(root), ElementsAre("b", "a"));
    EXPECT_THAT(childNames(root->getChild(0)), ElementsAre("b|lampShape"));
    EXPECT_THAT(childNames(root->getChild(1)), ElementsAre("a|lampShape")) << "partial paths, as converted";
    EXPECT_EQ(2u, loader.lights().size());
    EXPECT_EQ(2u, loader.transformsByName().size()) << "lights are no transforms";
    EXPECT_TRUE(loader.getOSGNode(pathOf("|a|lampShape")) == root->getChild(1)->getChild(0));
    EXPECT_TRUE(KFnDagNode(group).name() == "a");
}

TEST_F(Lights, aFurtherInstanceSharesTheCoreHasNoNameAndIsReportedForItsTransform)
{
    const KObject light = makeLight("pointLight");
    addInstance(makeMovedTransform("second", 4, 5, 6), light);
    const osg::NodePtr root = walk();
    ASSERT_THAT(childNames(root), ElementsAre("lamp", "second", "lampShape"))
        << "its transform is converted twice";
    EXPECT_EQ("addOSGNode: '|second' already exists.\n", printed.err);
    const osg::NodePtr first = root->getChild(0)->getChild(0);
    ASSERT_EQ(1u, root->getChild(1)->getNChildren());
    const osg::NodePtr second = root->getChild(1)->getChild(0);
    EXPECT_TRUE(second->getCore() == first->getCore());
    EXPECT_EQ("", nameOf(second));
    EXPECT_EQ("Converting point light 'lamp|lampShape'\n", printed.out);
    EXPECT_EQ((std::set<osg::NodePtr>{first}), loader.lights());
}

TEST_F(Lights, aHiddenLightIsInactive)
{
    setVisibility(makeLight("pointLight"), false);
    const osg::NodePtr lamp = walk()->getChild(0);
    EXPECT_TRUE(lamp->getActive());
    EXPECT_FALSE(lamp->getChild(0)->getActive());
}

TEST_F(Lights, kindsThatTheHostHasNotAreSkippedWithoutTheUnknownTypeLine)
{
    makeLight("ambientLight");
    const osg::NodePtr root = walk();
    ASSERT_THAT(childNames(root), ElementsAre("lamp"));
    EXPECT_EQ(0u, root->getChild(0)->getNChildren());
    EXPECT_TRUE(said("log.error").empty());
}

TEST_F(Lights, comeThroughAnImport)
{
    setNumber(makeLight("spotLight"), "intensity", 0.5);
    const std::string file = saveScene("scene.ka");
    osg::NodePtr root;
    printed = printedBy([&] { root = zyKeldaLoader::read(file, "importunits=Millimeter"); });
    const ScopedGraph graph(root);
    const osg::NodePtr light = nodeAt(root, {"lamp", "lampShape"});
    ASSERT_TRUE(zyLights::isLight(light));
    EXPECT_EQ(0.5f, zyLights::getLightValue(light));
    EXPECT_EQ(osg::Vec3f(10, 20, 30), transformOf(light->getParent())->getTranslation());
}
} // namespace
