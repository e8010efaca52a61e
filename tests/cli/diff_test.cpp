// Comparing scenes: what counts as a difference, what does not, and how it is told.

#include "LossyMaterials.h"
#include "Materials.h"
#include "Program.h"
#include "Scenes.h"

#include <OpenSG/OSGBaseFunctions.h>
#include <OpenSG/OSGGeoPropPositions.h>
#include <OpenSG/OSGGeoPropTexCoords.h>
#include <OpenSG/OSGGeometry.h>
#include <OpenSG/OSGNode.h>
#include <OpenSG/OSGSceneFileHandler.h>
#include <OpenSG/OSGTransform.h>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <string>
#include <vector>

using nlohmann::json;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

namespace
{

// -- Graphs ------------------------------------------------------------------------------------------

// A strip of two triangles whose corners all differ.
std::vector<Corner> flag()
{
    return {{0, 0, 0, 0, 0, 1, 0, 0},
            {1, 0, 0, 0, 1, 0, 1, 0},
            {0, 2, 0, 1, 0, 0, 0, 1},
            {1, 2, 3, 0, 0, 1, 1, 1}};
}

osg::NodePtr makeMoved(const std::string& name, float x, const std::vector<osg::NodePtr>& children)
{
    const osg::TransformPtr core = osg::Transform::create();
    osg::Matrix matrix;
    matrix.setTranslate(x, 0, 0);
    const osg::CPEditor edit(core, osg::Transform::MatrixFieldMask);
    core->setMatrix(matrix);
    return makeNode(name, core, children);
}

osg::NodePtr makeChoices(osg::Int32 choice, const std::vector<osg::NodePtr>& children)
{
    return makeSwitch("choices", choice, children);
}

// -- Runs --------------------------------------------------------------------------------------------

class Diff : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { ASSERT_TRUE(osg::osgInit(0, nullptr)); }

    std::string save(const std::string& name, const osg::NodePtr& root)
    {
        const std::string file = folder / name;
        saveScene(root, file);
        return file;
    }
    /// Saves both and compares them.
    Outcome diff(const osg::NodePtr& first, const osg::NodePtr& second, std::vector<std::string> options = {})
    {
        options.insert(options.begin(), "diff");
        options.push_back(save("first.osb", first));
        options.push_back(save("second.osb", second));
        return runZyscene(options);
    }
    void expectSame(const osg::NodePtr& first, const osg::NodePtr& second,
                    const std::vector<std::string>& options = {})
    {
        const Outcome run = diff(first, second, options);
        EXPECT_EQ(0, run.exit) << run.out << run.err;
        EXPECT_EQ("first.osb and second.osb: no differences\n", run.out);
        EXPECT_EQ("", run.err);
    }
    /// The lines about differences, without the last one, which counts them.
    std::vector<std::string> differences(const osg::NodePtr& first, const osg::NodePtr& second,
                                         const std::vector<std::string>& options = {})
    {
        const Outcome run = diff(first, second, options);
        EXPECT_EQ(3, run.exit) << run.out << run.err;
        EXPECT_EQ("", run.err);
        std::vector<std::string> lines;
        std::string::size_type start = 0;
        for (std::string::size_type end; (end = run.out.find('\n', start)) != std::string::npos;
             start = end + 1)
            lines.push_back(run.out.substr(start, end - start));
        if (lines.empty())
            return lines;
        EXPECT_THAT(lines.back(), HasSubstr("first.osb and second.osb: "));
        lines.pop_back();
        return lines;
    }

    const TemporaryFolder folder;
};

// -- The same ----------------------------------------------------------------------------------------

TEST_F(Diff, findsNothingBetweenASceneAndItself)
{
    const auto make = [] {
        return makeGroup("scene", {makeMoved("left", -3, {makeNode("flag", makeGeometry(flag()))}),
                                   makeMoved("right", 3, {makeNode("flag", makeGeometry(flag()))})});
    };
    expectSame(make(), make());
    expectSame(make(), make(), {"--tree"});
    expectSame(make(), make(), {"--tolerance", "0"});
}

TEST_F(Diff, takesTheSameTrianglesInOtherPrimitivesForTheSame)
{
    const std::vector<Corner> c = flag();
    // The strip's second triangle is turned so that it faces the same way. Where a triangle begins does not
    // matter, nor does their order.
    expectSame(makeNode("flag", makeGeometry(c)),
               makeNode("flag", makeGeometry({c[1], c[3], c[2], c[0], c[1], c[2]}, GL_TRIANGLES)));
    expectSame(makeNode("flag", makeGeometry({c[0], c[1], c[3], c[2]}, GL_QUADS)),
               makeNode("flag", makeGeometry({c[0], c[1], c[3], c[2]}, GL_POLYGON)));
}

TEST_F(Diff, findsTurnedTriangles)
{
    const std::vector<Corner> c = flag();
    EXPECT_THAT(differences(makeNode("flag", makeGeometry({c[0], c[1], c[2]}, GL_TRIANGLES)),
                            makeNode("flag", makeGeometry({c[0], c[2], c[1]}, GL_TRIANGLES))),
                ElementsAre("triangles   /flag: other positions, 1 triangle in both"));
}

TEST_F(Diff, placesAreWhatMattersNotTheLevelsThatMakeThem)
{
    expectSame(
        makeMoved("place", 3, {makeNode("flag", makeGeometry(flag()))}),
        makeGroup("scene",
                  {makeMoved("half", 1, {makeMoved("rest", 2, {makeNode("flag", makeGeometry(flag()))})})}));
}

TEST_F(Diff, namesAreComparedAsAnExportWritesThem)
{
    expectSame(makeNode("3rd flag.left", makeGeometry(flag())),
               makeNode("_rd_flag_left", makeGeometry(flag())));
    expectSame(makeNode("", makeGeometry(flag())), makeNode("polySurfaceShape12", makeGeometry(flag())));
    // The modeller has a node of this name already.
    expectSame(makeNode("lambert1", makeGeometry(flag())), makeNode("lambert2", makeGeometry(flag())));
}

TEST_F(Diff, instancesGoByTheNameOfTheFirstUse)
{
    const osg::GeometryPtr shared = makeGeometry(flag());
    expectSame(
        makeGroup("scene", {makeNode("flag", shared), makeMoved("there", 9, {makeNode("copy", shared)})}),
        makeGroup("scene", {makeNode("flag", makeGeometry(flag())),
                            makeMoved("there", 9, {makeNode("flag", makeGeometry(flag()))})}));
}

TEST_F(Diff, whatASwitchDoesNotShowIsAsInvisibleAsAnInactiveNode)
{
    const auto make = [] { return makeGroup("flags", {makeNode("flag", makeGeometry(flag()))}); };
    expectSame(makeChoices(1, {make(), make()}), makeGroup("choices", {makeInactive(make()), make()}));
    expectSame(makeChoices(-1, {make(), make()}),
               makeGroup("choices", {makeInactive(make()), makeInactive(make())}));
    expectSame(makeChoices(-2, {make(), make()}), makeGroup("choices", {make(), make()}));
    expectSame(makeChoices(7, {make(), make()}),
               makeGroup("choices", {makeInactive(make()), makeInactive(make())}));
}

TEST_F(Diff, geometryThatDrawsNothingDoesNotCount)
{
    expectSame(
        makeGroup("scene", {makeNode("flag", makeGeometry(flag())), makeNode("none", makeGeometry({}))}),
        makeGroup("scene", {makeNode("flag", makeGeometry(flag()))}));
}

// -- Kinds of differences ----------------------------------------------------------------------------

TEST_F(Diff, findsWhatHasMoved)
{
    const auto make = [](float x) {
        return makeGroup("scene", {makeNode("base", makeGeometry(flag())),
                                   makeMoved("arm", x, {makeNode("flag", makeGeometry(flag()))})});
    };
    EXPECT_THAT(differences(make(4), make(5)),
                ElementsAre("moved       /scene/arm/flag: at (4.5, 1, 1.5) and (5.5, 1, 1.5)"));
    expectSame(make(4), make(4.00001f));
    expectSame(make(4), make(5), {"--tolerance", "1.001"});
    EXPECT_EQ(1u, differences(make(4), make(4.00001f), {"--tolerance", "1e-6"}).size());
    EXPECT_EQ(1u, differences(make(4), make(4.00001f), {"--tolerance", "0"}).size());
}

TEST_F(Diff, findsWhatHasTurnedOnTheSpot)
{
    const auto make = [](float angle) {
        const osg::TransformPtr core = osg::Transform::create();
        osg::Matrix matrix;
        matrix.setRotate(osg::Quaternion(osg::Vec3f(0, 0, 1), angle));
        const osg::CPEditor edit(core, osg::Transform::MatrixFieldMask);
        core->setMatrix(matrix);
        std::vector<Corner> around = {{-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0}};
        return makeNode("turn", core, {makeNode("plate", makeGeometry(around, GL_QUADS))});
    };
    EXPECT_THAT(differences(make(0), make(0.01f)),
                ElementsAre("moved       /turn/plate: turned or scaled about (0, 0, 0)"));
}

TEST_F(Diff, findsRenamedMissingAndExtraUses)
{
    const osg::NodePtr first =
        makeGroup("scene", {makeNode("flag", makeGeometry(flag())),
                            makeMoved("there", 5, {makeNode("gone", makeGeometry(flag()))})});
    const osg::NodePtr second = makeGroup(
        "scene",
        {makeNode("banner", makeGeometry(flag())),
         makeMoved("here", -5, {makeNode("fresh", makeGeometry({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}))})});
    EXPECT_THAT(differences(first, second),
                ElementsAre("missing     /scene/there/gone: 2 triangles at (5.5, 1, 1.5)",
                            "extra       /scene/here/fresh: 1 triangle at (-4.5, 0.5, 0)",
                            "renamed     /scene/flag: 'flag' and 'banner'"));
}

TEST_F(Diff, findsEachOfManyUsesAtOnePlace)
{
    // A shared core used thrice at the same place is not the same as used twice.
    const auto make = [](int uses) {
        const osg::GeometryPtr shared = makeGeometry(flag());
        std::vector<osg::NodePtr> nodes;
        for (int i = 0; i < uses; ++i)
            nodes.push_back(makeNode("flag", shared));
        return makeGroup("scene", nodes);
    };
    EXPECT_THAT(differences(make(3), make(2)),
                ElementsAre("missing     /scene/flag[3]: 2 triangles at (0.5, 1, 1.5)"));
}

TEST_F(Diff, findsAChangedCorner)
{
    std::vector<Corner> changed = flag();
    changed[3].z = std::nextafter(changed[3].z, 9.f);
    EXPECT_THAT(differences(makeNode("flag", makeGeometry(flag())), makeNode("flag", makeGeometry(changed))),
                ElementsAre("triangles   /flag: other positions, 2 triangles in both"));
    changed.pop_back();
    EXPECT_THAT(differences(makeNode("flag", makeGeometry(flag())), makeNode("flag", makeGeometry(changed))),
                ElementsAre("triangles   /flag: 2 triangles and 1 triangle"));
}

TEST_F(Diff, findsAChangedNormal)
{
    std::vector<Corner> changed = flag();
    changed[1].ny = 0.5f;
    const auto first = [] { return makeNode("flag", makeGeometry(flag())); };
    const auto second = [&] { return makeNode("flag", makeGeometry(changed)); };
    EXPECT_THAT(differences(first(), second()), ElementsAre("normals     /flag: other values"));
    expectSame(first(), second(), {"--ignore", "normals"});
    EXPECT_THAT(differences(first(), second(), {"--ignore", "uvs,materials"}),
                ElementsAre("normals     /flag: other values"));
}

TEST_F(Diff, findsNormalsThatAreNotThere)
{
    const osg::GeometryPtr bare = makeGeometry(flag());
    {
        const osg::CPEditor edit(bare);
        bare->setNormals(osg::NullFC);
    }
    EXPECT_THAT(differences(makeNode("flag", bare), makeNode("flag", makeGeometry(flag()))),
                ElementsAre("normals     /flag: in the second only"));
}

TEST_F(Diff, findsChangedTextureCoordinates)
{
    std::vector<Corner> changed = flag();
    changed[2].u = 0.25f;
    const auto first = [] { return makeNode("flag", makeGeometry(flag())); };
    const auto second = [&] { return makeNode("flag", makeGeometry(changed)); };
    EXPECT_THAT(differences(first(), second()), ElementsAre("uvs         /flag: set 1: other values"));
    expectSame(first(), second(), {"--ignore", "uvs"});
}

TEST_F(Diff, furtherTextureCoordinatesCountWhereBothHaveThem)
{
    const auto make = [](bool second, float u) {
        const osg::GeometryPtr geometry = makeGeometry(flag());
        if (second) {
            const osg::GeoTexCoords2fPtr texCoords = osg::GeoTexCoords2f::create();
            {
                const osg::CPEditor edit(texCoords);
                for (float v : {0.f, 1.f, 2.f, 3.f})
                    texCoords->addValue(osg::Vec2f(u, v));
            }
            const osg::CPEditor edit(geometry);
            geometry->setTexCoords1(texCoords);
        }
        return makeNode("flag", geometry);
    };
    expectSame(make(true, 1), make(false, 0));
    expectSame(make(true, 1), make(true, 1));
    EXPECT_THAT(differences(make(true, 1), make(true, 2)),
                ElementsAre("uvs         /flag: set 2: other values"));
}

TEST_F(Diff, findsNormalsAndTextureCoordinatesThatChangedCorners)
{
    // The same pairs of position and normal, and of position and texture coordinate, in other combinations.
    const auto make = [](bool swapped) {
        std::vector<Corner> corners;
        for (int copy = 0; copy < 2; ++copy) {
            for (Corner corner : flag()) {
                if (corners.size() % 4 == 3)
                    break;
                corner.nx = static_cast<float>(copy);
                corner.u = static_cast<float>(swapped ? 1 - copy : copy);
                corners.push_back(corner);
            }
            if (copy == 0)
                corners.resize(3);
        }
        corners.resize(6);
        for (std::size_t i = 0; i < 3; ++i) {
            corners[i + 3] = corners[i];
            corners[i + 3].nx = 1;
            corners[i + 3].u = swapped ? 0.f : 1.f;
        }
        return makeNode("flag", makeGeometry(corners, GL_TRIANGLES));
    };
    EXPECT_THAT(differences(make(false), make(true)), ElementsAre("uvs         /flag: other values"));
}

TEST_F(Diff, findsPointsAndLines)
{
    const std::vector<Corner> c = flag();
    const auto make = [](const std::vector<Corner>& corners, osg::UInt8 type) {
        return makeNode("line", makeGeometry(corners, type));
    };
    expectSame(make({c[0], c[1], c[1], c[2]}, GL_LINES), make({c[0], c[1], c[2]}, GL_LINE_STRIP));
    EXPECT_THAT(
        differences(make(c, GL_LINE_STRIP), make(c, GL_LINE_LOOP)),
        ElementsAre("triangles   /line: 0 triangles, 3 point or lines and 0 triangles, 4 point or lines"));
    EXPECT_EQ(1u, differences(make(c, GL_POINTS), make({c[0], c[1]}, GL_POINTS)).size());
}

TEST_F(Diff, findsWhatIsHidden)
{
    const auto make = [] { return makeNode("flag", makeGeometry(flag())); };
    EXPECT_THAT(differences(make(), makeInactive(make())),
                ElementsAre("visibility  /flag: shown and hidden"));
    EXPECT_THAT(differences(makeGroup("all", {makeInactive(makeGroup("half", {make()}))}),
                            makeGroup("all", {make()})),
                ElementsAre("visibility  /all/half/flag: hidden and shown"));
    // Invisible and absent are not the same either.
    EXPECT_THAT(differences(makeGroup("all", {makeInactive(make())}), makeGroup("all", {})),
                ElementsAre("missing     /all/flag: 2 triangles at (0.5, 1, 1.5), inactive"));
}

osg::NodePtr makeFlag(const osg::MaterialPtr& material)
{
    return makeNode("flag", painted(makeGeometry(flag()), material));
}

osg::NodePtr makeFlag(const std::vector<osg::StateChunkPtr>& chunks)
{
    return makeFlag(osg::MaterialPtr(makeMaterial("paint", chunks)));
}

TEST_F(Diff, findsOtherColors)
{
    const auto make = [](float red) { return makeFlag({makeColors(red, 0, 0)}); };
    expectSame(make(0.5f), make(0.5f));
    EXPECT_THAT(
        differences(make(0.5f), make(0.75f)),
        ElementsAre("material    /flag: diffuse (0.5, 0, 0) and (0.75, 0, 0); ambient (0.16666667, 0, 0) "
                    "and (0.25, 0, 0); specular (0, 0.5, 0) and (0, 0.75, 0); shininess 13 and 13.25"));
    expectSame(make(0.5f), make(0.75f), {"--ignore", "materials"});
    expectSame(make(0.5f), make(0.50000006f));
    EXPECT_EQ(1u, differences(make(0.5f), make(0.50001f)).size());
}

TEST_F(Diff, findsOtherMaterialsWhateverTheyDifferIn)
{
    const auto compare = [this](std::vector<osg::StateChunkPtr> first,
                                std::vector<osg::StateChunkPtr> second) {
        for (std::vector<osg::StateChunkPtr>* chunks : {&first, &second})
            chunks->insert(chunks->begin(), makeColors(1, 0, 0));
        const std::vector<std::string> found = differences(makeFlag(first), makeFlag(second));
        return found.size() == 1 ? found[0].substr(found[0].find(": ") + 2) : std::to_string(found.size());
    };
    const auto texture = [](osg::UInt32 mode = GL_MODULATE) { return makeTexture(makeImage("a.png"), mode); };
    const osg::Vec4f x(1, 0, 0, 0);
    const osg::Vec4f y(0, 1, 0, 0);
    EXPECT_EQ(
        "texture 'a.png' 4 x 2 RGB and none; texture environment modulate and none; texture matrix (1, 0, "
        "0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1) and none; texture generation  and none; texture "
        "sampling  and none",
        compare({texture()}, {}));
    EXPECT_EQ("texture 'a.png' 4 x 2 RGB and 'b.png' 4 x 2 RGB",
              compare({texture()}, {makeTexture(makeImage("b.png", osg::Image::OSG_RGB_PF, 2))}));
    EXPECT_EQ("texture environment modulate and replace", compare({texture()}, {texture(GL_REPLACE)}));
    EXPECT_EQ("texture generation  and s object-linear t object-linear (1, 0, 0, 0, 0, 1, 0, 0)",
              compare({texture()}, {texture(), makeTexGen(x, y)}));
    EXPECT_EQ(
        "texture generation s object-linear t object-linear (1, 0, 0, 0, 0, 1, 0, 0) and s object-linear t "
        "object-linear (0, 1, 0, 0, 1, 0, 0, 0)",
        compare({texture(), makeTexGen(x, y)}, {texture(), makeTexGen(y, x)}));
    EXPECT_EQ("opacity 1 and 0.5; blending none and by alpha",
              compare({}, {makeColors(1, 0, 0, 0.5f), makeBlending()}));
}

TEST_F(Diff, materialsThatAreDrawnTheSameAreTheSame)
{
    // Alpha of what is not blended, what a blended opaque colour lets through, textures without pixels, where
    // pixels come from, generators of units without a texture, and what colours are made of.
    expectSame(makeFlag({makeColors(1, 0, 0)}), makeFlag({makeColors(1, 0, 0, 0.5f)}));
    expectSame(makeFlag({makeColors(1, 0, 0)}), makeFlag({makeColors(1, 0, 0), makeBlending()}));
    expectSame(makeFlag({makeColors(1, 0, 0)}), makeFlag({makeColors(1, 0, 0), makeTexture(osg::NullFC)}));
    expectSame(makeFlag({makeColors(1, 0, 0), makeTexture(makeImage("a.png"))}),
               makeFlag({makeColors(1, 0, 0), makeTexture(makeImage("b.jpg"))}));
    expectSame(makeFlag({makeColors(1, 0, 0)}),
               makeFlag({makeColors(1, 0, 0), makeTexGen(osg::Vec4f(1, 0, 0, 0), osg::Vec4f(0, 1, 0, 0))}));
    expectSame(makeFlag({makeColors(1, 0, 0), makeTexture(makeImage("", osg::Image::OSG_RGB_PF, 3))}),
               makeFlag({makeColors(1, 0, 0), makeTexture([] {
                             const osg::ImagePtr image = makeImage("", osg::Image::OSG_BGR_PF, 3);
                             osg::UInt8* const pixels = image->getData();
                             for (osg::UInt32 i = 0; i + 3 <= image->getSize(); i += 3)
                                 std::swap(pixels[i], pixels[i + 2]);
                             return image;
                         }())}));
}

TEST_F(Diff, namesOfMaterialsAreComparedAsAnExportWritesThem)
{
    const auto make = [](const char* name) {
        return makeFlag(osg::MaterialPtr(makeMaterial(name, {makeColors(1, 0, 0)})));
    };
    expectSame(make("car paint"), make("car_paint1"));
    expectSame(make(""), make("phong3"));
    EXPECT_THAT(differences(make("red"), make("blue")),
                ElementsAre("material    /flag: named 'red' and 'blue'"));
    expectSame(make("red"), make("blue"), {"--ignore", "names"});
}

TEST_F(Diff, copiesOfMaterialsOfAnyKindAreTheSame)
{
    for (const auto& makeAll : {makeLossyMaterials, makeLossyProjections, makeSoundMaterials}) {
        const std::vector<LossyMaterial> some = makeAll();
        const std::vector<LossyMaterial> others = makeAll();
        for (std::size_t i = 0; i < some.size(); ++i)
            expectSame(makeFlag(some[i].material), makeFlag(others[i].material));
    }
}

TEST_F(Diff, namesCanBeIgnored)
{
    expectSame(makeGroup("scene", {makeNode("a", makeGeometry(flag())),
                                   makeMoved("b", 3, {makeNode("c", makeGeometry(flag()))})}),
               makeGroup("other", {makeNode("d", makeGeometry(flag())),
                                   makeMoved("e", 3, {makeNode("f", makeGeometry(flag()))})}),
               {"--ignore", "names", "--tree"});
}

// -- Structure ---------------------------------------------------------------------------------------

TEST_F(Diff, levelsWithoutEffectAreNoStructure)
{
    const auto make = [] { return makeMoved("arm", 2, {makeNode("flag", makeGeometry(flag()))}); };
    expectSame(makeGroup("scene", {make(), make()}),
               makeGroup("file", {makeGroup("scene", {makeGroup("level", {make()}), make()})}), {"--tree"});
}

TEST_F(Diff, findsOtherStructureOnlyWhenAsked)
{
    const osg::NodePtr first = makeGroup(
        "scene",
        {makeGroup("box", {makeNode("flag", makeGeometry(flag())), makeNode("pole", makeGeometry(flag()))})});
    const auto second = [] {
        return makeGroup(
            "scene", {makeNode("flag", makeGeometry(flag())),
                      makeGroup("box", {makeNode("pole", makeGeometry(flag())), makeGroup("empty", {})})});
    };
    osg::addRefCP(first);
    expectSame(first, second());
    EXPECT_THAT(differences(first, second(), {"--tree"}),
                ElementsAre("structure   /scene/box/pole: named 'pole' and 'box'",
                            "structure   /scene/box/pole: a geometry and a group"));
    osg::subRefCP(const_cast<osg::NodePtr&>(first));
}

TEST_F(Diff, findsOtherMatricesNamesAndMissingNodes)
{
    EXPECT_THAT(differences(makeGroup("scene", {makeMoved("arm", 2, {}), makeGroup("left", {})}),
                            makeGroup("scene", {makeMoved("arm", 3, {}), makeGroup("right", {}),
                                                makeGroup("more", {})}),
                            {"--tree"}),
                ElementsAre("structure   /scene/more: in the second only, with 0 child nodes",
                            "structure   /scene/arm: other matrix",
                            "structure   /scene/left: named 'left' and 'right'"));
    EXPECT_THAT(differences(makeGroup("scene", {makeGroup("a", {}), makeInactive(makeGroup("b", {}))}),
                            makeGroup("scene", {makeGroup("a", {}), makeGroup("b", {})}), {"--tree"}),
                ElementsAre("structure   /scene/b: inactive and active"));
}

TEST_F(Diff, namesThatSiblingsShareAreComparedWithoutNumber)
{
    expectSame(makeGroup("scene", {makeGroup("arm", {}), makeGroup("arm", {}), makeGroup("arm", {})}),
               makeGroup("scene", {makeGroup("arm", {}), makeGroup("arm1", {}), makeGroup("arm2", {})}),
               {"--tree"});
    EXPECT_EQ(1u, differences(makeGroup("scene", {makeGroup("arm1", {}), makeGroup("leg", {})}),
                              makeGroup("scene", {makeGroup("arm2", {}), makeGroup("leg", {})}), {"--tree"})
                      .size());
}

// -- Limits ------------------------------------------------------------------------------------------

TEST_F(Diff, deepScenesAreCompared)
{
    const auto make = [](float x) {
        osg::NodePtr node = makeMoved("end", x, {makeNode("flag", makeGeometry(flag()))});
        for (int i = 0; i < 10000; ++i)
            node = makeMoved("level", 0.5f, {node});
        return node;
    };
    expectSame(make(0), make(0), {"--tree"});
    const std::vector<std::string> found = differences(make(0), make(1));
    ASSERT_EQ(1u, found.size());
    EXPECT_THAT(found[0], HasSubstr("/level/level/level/level/.../level/"));
    EXPECT_THAT(found[0], HasSubstr("at (5000.5, 1, 1.5) and (5001.5, 1, 1.5)"));
}

TEST_F(Diff, manyUsesAreCompared)
{
    // All at one place, all in a row, and all names alike.
    const auto make = [](int count, float shift) {
        const osg::GeometryPtr shared = makeGeometry(flag());
        std::vector<osg::NodePtr> nodes;
        for (int i = 0; i < count; ++i) {
            nodes.push_back(makeNode("flag", shared));
            nodes.push_back(makeMoved("place", static_cast<float>(i) + shift, {makeNode("flag", shared)}));
        }
        std::reverse(nodes.begin(), nodes.end());
        return makeGroup("scene", nodes);
    };
    const Outcome run = diff(make(20000, 0), make(20000, 0.25f));
    EXPECT_EQ(3, run.exit);
    EXPECT_LT(run.seconds, 30);
    EXPECT_THAT(run.out, HasSubstr("and 19980 more\n"));
    EXPECT_THAT(run.out, HasSubstr("second.osb: 20000 differences\n"));
}

// -- The program -------------------------------------------------------------------------------------

TEST_F(Diff, listsTheFirstOfEachKindAndCountsTheRest)
{
    const auto make = [](int count) {
        std::vector<osg::NodePtr> nodes = {makeNode("base", makeGeometry(flag()))};
        for (int i = 0; i < count; ++i)
            nodes.push_back(makeNode("flag" + std::to_string(i), makeGeometry(flag())));
        return makeGroup("scene", nodes);
    };
    const std::vector<std::string> lines = differences(make(25), make(0));
    ASSERT_EQ(21u, lines.size());
    EXPECT_THAT(lines[19], HasSubstr("/scene/flag19: "));
    EXPECT_EQ("missing     and 5 more", lines[20]);
}

TEST_F(Diff, jsonTellsKindsCountsAndPlaces)
{
    std::vector<Corner> changed = flag();
    changed[1].ny = 0.5f;
    const auto make = [](const std::vector<Corner>& corners) {
        return makeGroup("scene", {makeNode("flag", makeGeometry(corners)),
                                   makeMoved("there", 5, {makeNode("gone", makeGeometry(corners))})});
    };
    const Outcome run =
        diff(make(flag()), makeGroup("scene", {makeNode("flag", makeGeometry(changed))}), {"--json"});
    EXPECT_EQ(3, run.exit) << run.err;
    const json document = json::parse(run.out);
    EXPECT_EQ("zyscene/1", document["schema"]);
    EXPECT_EQ("diff", document["command"]);
    EXPECT_EQ(3, document["exit"]);
    const json& result = document["results"][0];
    EXPECT_EQ("first.osb", result["first"]);
    EXPECT_EQ("second.osb", result["second"]);
    EXPECT_EQ(true, result["compared"]);
    EXPECT_EQ(1, result["counts"]["missing"]);
    EXPECT_EQ(1, result["counts"]["normals"]);
    EXPECT_EQ(0, result["counts"]["moved"]);
    const json expected = {
        {{"kind", "missing"},
         {"first", "/scene/there/gone"},
         {"second", nullptr},
         {"text", "2 triangles at (5.5, 1, 1.5)"}},
        {{"kind", "normals"}, {"first", "/scene/flag"}, {"second", "/scene/flag"}, {"text", "other values"}}};
    EXPECT_EQ(expected, result["differences"]);
    EXPECT_THAT(run.out, Not(HasSubstr(folder.path())));
    EXPECT_EQ(run.out, runZyscene({"diff", "--json", folder / "first.osb", folder / "second.osb"}).out);

    const json same =
        json::parse(runZyscene({"diff", "--json", folder / "first.osb", folder / "first.osb"}).out);
    EXPECT_EQ(0, same["exit"]);
    EXPECT_EQ(json::array(), same["results"][0]["differences"]);
}

TEST_F(Diff, unreadableFilesFail)
{
    const std::string good = save("good.osb", makeNode("flag", makeGeometry(flag())));
    writeFile(folder / "bad.osb", "no scene");
    const Outcome run = runZyscene({"diff", good, folder / "bad.osb"});
    EXPECT_EQ(1, run.exit);
    EXPECT_EQ("", run.out);
    EXPECT_THAT(run.err, HasSubstr("bad.osb: "));
    EXPECT_EQ(1, runZyscene({"diff", folder / "missing.osb", good}).exit);

    const json document = json::parse(runZyscene({"diff", "--json", good, folder / "bad.osb"}).out);
    EXPECT_EQ(1, document["exit"]);
    EXPECT_EQ(false, document["results"][0]["compared"]);
    EXPECT_EQ(json::array(), document["results"][0]["differences"]);
}

TEST_F(Diff, wrongUsageIsRefused)
{
    const std::string good = save("good.osb", makeNode("flag", makeGeometry(flag())));
    EXPECT_EQ(2, runZyscene({"diff", good}).exit);
    EXPECT_EQ(2, runZyscene({"diff", good, "scene.xyz"}).exit);
    EXPECT_EQ(2, runZyscene({"diff", "--ignore", "colours", good, good}).exit);
    for (const char* tolerance : {"-1", "nan", "inf", "wide", ""}) {
        const Outcome run = runZyscene({"diff", "--tolerance", tolerance, good, good});
        EXPECT_EQ(2, run.exit) << tolerance;
        EXPECT_EQ("", run.out) << tolerance;
    }
    EXPECT_EQ(0, runZyscene({"diff", "--ignore", "names,materials", "--ignore", "uvs", good, good}).exit);
}

TEST_F(Diff, takesImportOptions)
{
    const std::string scene = testFolder() + "/good/two_meshes.ka";
    ASSERT_EQ(0, runZyscene({"convert", "--import-units", "Millimeter", scene, folder / "large.osb"}).exit);
    EXPECT_EQ(3, runZyscene({"diff", scene, folder / "large.osb"}).exit);
    EXPECT_EQ(0, runZyscene({"diff", "--import-units", "Millimeter", scene, folder / "large.osb"}).exit);
}

} // namespace
