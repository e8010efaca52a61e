// The example car through both scene forms, and what an import of either makes of it.

#include "LoaderTest.h"

#include <OpenSG/OSGSceneFileHandler.h>
#include <kelda/KFileIO.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

namespace
{
using testing::IsSupersetOf;

std::string contentOf(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

class Car : public LoaderTest
{
protected:
    osg::NodePtr import(const std::string& path)
    {
        _graphs.emplace_back(new ScopedGraph(zyKeldaLoader::read(path, "")));
        return _graphs.back()->get();
    }
    /// The imported graph as an .osb file's bytes.
    std::string graphOf(const std::string& path)
    {
        const std::string osb = inFolder("graph.osb");
        EXPECT_TRUE(osg::SceneFileHandler::the()->write(import(path), osb.c_str()));
        return contentOf(osb);
    }
    /// Copies the textures of the car into the folder of the test.
    void copyTextures()
    {
        const std::filesystem::path car(CAR);
        for (const auto& entry : std::filesystem::directory_iterator(car.parent_path())) {
            if (entry.path().extension() == ".png")
                std::filesystem::copy_file(entry.path(), inFolder(entry.path().filename().string()));
        }
    }
    /// Opens a scene file and saves it in another form.
    std::string resaved(const std::string& path, const std::string& name)
    {
        EXPECT_FALSE(KFileIO::open(path.c_str(), nullptr, true).error());
        return saveScene(name);
    }

private:
    std::vector<std::unique_ptr<ScopedGraph>> _graphs;
};

TEST_F(Car, fromTextToBinaryToTextIsByteIdentical)
{
    const std::string binary = resaved(CAR, "car.kb");
    const std::string text = resaved(binary, "again.ka");
    const std::string original = contentOf(CAR);
    ASSERT_FALSE(original.empty());
    EXPECT_TRUE(original == contentOf(text));
    EXPECT_TRUE(contentOf(binary) == contentOf(resaved(text, "again.kb")));
}

TEST_F(Car, bothFormsImportToTheSameGraph)
{
    // At one place, with the same textures and no shadow scene beside it.
    copyTextures();
    const std::string text = inFolder("car.ka");
    std::filesystem::copy_file(CAR, text);
    const std::string ofText = graphOf(text);
    ASSERT_FALSE(ofText.empty());
    EXPECT_TRUE(ofText == graphOf(resaved(CAR, "car.kb")));
    EXPECT_NE(std::string::npos, ofText.find("panels.png")) << "with its textures";
}

TEST_F(Car, arrivesAsACar)
{
    const osg::NodePtr root = import(CAR);
    ASSERT_TRUE(root != osg::NullFC);
    EXPECT_EQ("car", nameOf(root));
    const osg::NodePtr car = nodeAt(root, {"car"});
    EXPECT_THAT(childNames(car),
                IsSupersetOf({"bodyShape", "cabinShape", "wheel_front_left", "wheel_front_right",
                              "wheel_rear_left", "wheel_rear_right", "doors", "lamps"}));
    EXPECT_TRUE(said("log.error").empty());
    EXPECT_TRUE(said("sdk").empty());
}

TEST_F(Car, fourWheelsShareOneTyreAndOneRim)
{
    const osg::NodePtr car = nodeAt(import(CAR), {"car"});
    for (const char* part : {"tyreShape", "rimShape"}) {
        std::set<osg::NodeCorePtr> cores;
        for (const char* wheel :
             {"wheel_front_left", "wheel_front_right", "wheel_rear_left", "wheel_rear_right"}) {
            const osg::NodePtr node = nodeAt(car, {wheel, part, part});
            ASSERT_TRUE(geometryOf(node) != osg::NullFC) << wheel;
            cores.insert(node->getCore());
        }
        EXPECT_EQ(1u, cores.size()) << part;
    }
}

TEST_F(Car, theOpenDoorTurnsAboutItsHinge)
{
    const osg::NodePtr door = nodeAt(import(CAR), {"car", "doors", "door_leftShape"});
    const osg::Transform3DPtr core = transformOf(door);
    ASSERT_TRUE(core != osg::NullFC);
    const osg::Pnt3f hinge(core->getRotatePivot());
    osg::Pnt3f moved;
    core->getMatrix().multMatrixPnt(hinge, moved);
    EXPECT_LT(hinge.dist(moved), 1e-3f) << "the hinge stays where it is";
    osg::Pnt3f edge(hinge[0] - 96, hinge[1], hinge[2]);
    core->getMatrix().multMatrixPnt(edge, moved);
    EXPECT_GT(edge.dist(moved), 30.0f) << "the other edge does not";
}

TEST_F(Car, bodyIsSplitByShadingGroupWithTwoUVSets)
{
    const osg::NodePtr body = nodeAt(import(CAR), {"car", "bodyShape"});
    ASSERT_THAT(childNames(body), testing::ElementsAre("bodyShape", "bodyShape", "bodyShape"));
    const osg::GeometryPtr geometry = geometryOf(body->getChild(0));
    EXPECT_THAT(mappingOf(geometry), testing::ElementsAre(1, 2, 16, 32));
    EXPECT_TRUE(geometry->getTexCoords1() != osg::NullFC);
}

TEST_F(Car, hiddenPartsAreInactive)
{
    const osg::NodePtr car = nodeAt(import(CAR), {"car"});
    EXPECT_FALSE(nodeAt(car, {"tool_boxShape"})->getActive());
    EXPECT_FALSE(nodeAt(car, {"construction_marks"})->getActive());
    EXPECT_TRUE(nodeAt(car, {"bodyShape"})->getActive());
}
} // namespace
