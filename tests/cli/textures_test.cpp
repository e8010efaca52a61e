// Textures: where they are looked for, what is said of those that are not there, and what becomes of them.

#include "Materials.h"
#include "Program.h"
#include "Scenes.h"

#include <OpenSG/OSGGeometry.h>
#include <OpenSG/OSGImageFileHandler.h>
#include <OpenSG/OSGNode.h>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <string>
#include <vector>

using nlohmann::json;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

namespace
{

class Textures : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { startGraph(); }

    /// Exports a graph and lets go of it.
    static void saveKelda(const osg::NodePtr& root, const std::string& file)
    {
        const TemporaryFolder made;
        saveScene(root, made / "made.osb");
        EXPECT_EQ(0, runZyscene({"convert", made / "made.osb", file}).exit);
    }

    /// Writes a scene of one triangle whose texture has this name, without the texture.
    std::string saveTextured(const std::string& file, const std::string& texture)
    {
        const osg::NodePtr node = makeTriangle("sign", 0);
        painted(osg::GeometryPtr::dcast(node->getCore()),
                makeMaterial("print", {makeColors(0.5f, 1, 1), makeTexture(makeImage("print.png"))}));
        const TemporaryFolder made;
        saveKelda(node, made / "made.ka");
        std::string text = readFile(made / "made.ka");
        const std::string written = "\"made/print.png\"";
        const std::string::size_type at = text.find(written);
        EXPECT_NE(std::string::npos, at) << text;
        writeFile(folder / file, text.replace(at, written.size(), "\"" + texture + "\""));
        return folder / file;
    }

    /// Writes an image; the folders of its name come into being.
    void saveImage(const std::string& file, unsigned int seed = 1)
    {
        std::filesystem::create_directories(std::filesystem::path(folder / file).parent_path());
        osg::ImagePtr image = makeImage("", osg::Image::OSG_RGB_PF, seed);
        EXPECT_TRUE(osg::ImageFileHandler::the().write(image, (folder / file).c_str(), "image/png"));
        osg::subRefCP(image);
    }

    static json parsed(const Outcome& run) { return json::parse(run.out); }

    /// Issues with this code.
    static std::vector<json> issuesOf(const Outcome& run, const std::string& code)
    {
        std::vector<json> result;
        const json document = parsed(run);
        for (const json& issue : document["issues"]) {
            if (issue["code"] == code)
                result.push_back(issue);
        }
        return result;
    }

    /// Images of the texture chunks of a run of info.
    static std::vector<json> imagesOf(const Outcome& run)
    {
        std::vector<json> result;
        const json document = parsed(run);
        for (const json& material : document["results"][0]["materials"]) {
            for (const json& chunk : material["chunks"]) {
                if (chunk["type"] == "TextureChunk")
                    result.push_back(chunk["image"]);
            }
        }
        return result;
    }

    const TemporaryFolder folder;
};

// -- Missing ones ------------------------------------------------------------------------------------

TEST_F(Textures, thatAreNotFoundAreToldWithAllPlacesTried)
{
    const std::string scene = saveTextured("car.ka", "C:/art/tex/wood.jpg ");
    const Outcome text = runZyscene({"info", scene});
    EXPECT_EQ(0, text.exit);
    EXPECT_EQ("zyscene: warning: car.ka: texture 'C:\\art\\tex\\wood.jpg' was not found; tried "
              "'C:\\art\\tex\\wood.jpg', 'wood.jpg', 'sourceimages\\wood.jpg', 'tex\\wood.jpg'\n",
              text.err);
    EXPECT_THAT(text.out, Not(HasSubstr("  texture  ")));

    const Outcome run = runZyscene({"--json", "info", scene});
    const std::vector<json> missing = issuesOf(run, "texture-missing");
    ASSERT_EQ(1u, missing.size());
    EXPECT_EQ("warning", missing[0]["severity"]);
    EXPECT_EQ("car.ka", missing[0]["file"]);
    EXPECT_EQ((std::vector<std::string>{"C:\\art\\tex\\wood.jpg", "wood.jpg", "sourceimages\\wood.jpg",
                                        "tex\\wood.jpg"}),
              missing[0]["tried"].get<std::vector<std::string>>());
    EXPECT_THAT(run.out, Not(HasSubstr(folder.path())));
}

TEST_F(Textures, withoutAFolderInTheirNameAreLookedForAtThreePlaces)
{
    const Outcome run = runZyscene({"--json", "info", saveTextured("car.ka", "wood.jpg")});
    const std::vector<json> missing = issuesOf(run, "texture-missing");
    ASSERT_EQ(1u, missing.size());
    EXPECT_EQ((std::vector<std::string>{"wood.jpg", "wood.jpg", "sourceimages\\wood.jpg"}),
              missing[0]["tried"].get<std::vector<std::string>>());
}

TEST_F(Textures, areToldByConversionsAndEachOnce)
{
    const auto make = [](const char* name, float x) {
        const osg::NodePtr node = makeTriangle(name, x);
        painted(osg::GeometryPtr::dcast(node->getCore()),
                makeMaterial(name, {makeColors(1, 1, 1), makeTexture(makeImage("wood.png"))}));
        return node;
    };
    saveKelda(makeGroup("scene", {make("a", 0), make("b", 1)}), folder / "car.ka");
    std::filesystem::remove_all(folder / "car");
    const Outcome run = runZyscene({"--json", "convert", folder / "car.ka", folder / "copy.kb"});
    EXPECT_EQ(0, run.exit) << run.err;
    EXPECT_EQ(1u, issuesOf(run, "texture-missing").size());
    // Without its picture the material keeps the rest.
    EXPECT_EQ(0, runZyscene({"-q", "diff", folder / "car.ka", folder / "copy.kb"}).exit);
}

TEST_F(Textures, thatAreFoundAreNotTold)
{
    for (const char* place : {"tex/wood.jpg", "wood.jpg", "sourceimages/wood.jpg"}) {
        const std::string scene = saveTextured("car.ka", "D:\\\\old\\\\tex/wood.jpg");
        saveImage(place);
        const Outcome run = runZyscene({"--json", "info", scene});
        EXPECT_EQ(json::array(), parsed(run)["issues"]) << place;
        const std::vector<json> images = imagesOf(run);
        ASSERT_EQ(1u, images.size());
        EXPECT_EQ(place, images[0]["name"]);
        std::filesystem::remove_all(folder / std::filesystem::path(place).begin()->string());
    }
}

TEST_F(Textures, thatCannotBeReadAreToldWithTheReason)
{
    const std::string scene = saveTextured("car.ka", "tex/wood.png");
    std::filesystem::create_directories(folder / "tex");
    writeFile(folder / "tex/wood.png", "no picture at all");
    const Outcome run = runZyscene({"info", scene});
    EXPECT_EQ(0, run.exit);
    EXPECT_THAT(run.err, ::testing::MatchesRegex(
                             "zyscene: warning: car.ka: texture '[^']*wood.png' cannot be read: [^\n]+\n"));
    EXPECT_EQ(1u, issuesOf(runZyscene({"--json", "info", scene}), "texture-unreadable").size());
    EXPECT_EQ(0u, issuesOf(runZyscene({"--json", "info", scene}), "texture-missing").size());
}

TEST_F(Textures, ofOtherFormatsAreToldToo)
{
    writeFile(folder / "flap.mtl", "newmtl cloth\nmap_Kd maps/cloth.png\n");
    writeFile(folder / "flap.obj",
              "mtllib flap.mtl\no flap\nv 0 0 0\nv 1 0 0\nv 0 1 0\nvt 0 0\nvt 1 0\nvt 0 1\n"
              "usemtl cloth\nf 1/1 2/2 3/3\n");
    const std::vector<json> missing =
        issuesOf(runZyscene({"--json", "info", folder / "flap.obj"}), "texture-missing");
    ASSERT_EQ(1u, missing.size());
    EXPECT_THAT(missing[0]["tried"].get<std::vector<std::string>>(),
                ElementsAre("maps\\cloth.png", "cloth.png", "sourceimages\\cloth.png"));
    saveImage("elsewhere/cloth.png");
    const Outcome run = runZyscene({"--json", "info", "--search", folder / "elsewhere", folder / "flap.obj"});
    EXPECT_EQ(0u, issuesOf(run, "texture-missing").size());
    EXPECT_EQ(1u, imagesOf(run).size());
}

// -- Further folders ---------------------------------------------------------------------------------

TEST_F(Textures, ofFurtherFoldersMakeTheSceneWhatItWouldBeWithThemInPlace)
{
    const std::string scene = saveTextured("car.ka", "C:/art/tex/wood.jpg");
    saveImage("textures/wood.jpg", 7);
    const Outcome found =
        runZyscene({"--json", "info", "--search", folder / "textures", "--search", folder.path(), scene});
    EXPECT_EQ(0u, issuesOf(found, "texture-missing").size());
    const std::vector<json> relinked = issuesOf(found, "texture-relinked");
    ASSERT_EQ(1u, relinked.size());
    EXPECT_EQ("note", relinked[0]["severity"]);
    EXPECT_EQ("texture 'C:\\art\\tex\\wood.jpg' was found in 'textures'", relinked[0]["message"]);
    EXPECT_THAT(found.out, Not(HasSubstr(folder.path())));

    saveImage("tex/wood.jpg", 7);
    const Outcome inPlace = runZyscene({"--json", "info", scene});
    json expected = parsed(inPlace)["results"][0]["materials"];
    json materials = parsed(found)["results"][0]["materials"];
    ASSERT_EQ(1u, imagesOf(found).size());
    for (json* some : {&expected, &materials}) {
        for (json& chunk : (*some)[0]["chunks"]) {
            if (chunk["type"] == "TextureChunk")
                chunk["image"].erase("name");
        }
    }
    EXPECT_EQ(expected, materials);
}

TEST_F(Textures, areLookedForInFurtherFoldersInOrderAndOnlyWhenNotFoundBefore)
{
    const std::string scene = saveTextured("car.ka", "old/tex/wood.jpg");
    saveImage("first/tex/wood.jpg", 1);
    saveImage("second/wood.jpg", 2);
    const auto nameWith = [&](const std::vector<std::string>& folders) {
        std::vector<std::string> arguments = {"--json", "info", scene};
        for (const std::string& further : folders) {
            arguments.push_back("--search");
            arguments.push_back(folder / further);
        }
        const std::vector<json> images = imagesOf(runZyscene(arguments));
        return images.size() == 1 ? images[0]["name"].get<std::string>() : std::string();
    };
    EXPECT_EQ("first/tex/wood.jpg", nameWith({"first", "second"})) << "in the folder that its name names";
    EXPECT_EQ("second/wood.jpg", nameWith({"second", "first"}));
    saveImage("sourceimages/wood.jpg", 3);
    EXPECT_EQ("sourceimages/wood.jpg", nameWith({"second", "first"}));
}

TEST_F(Textures, ofFurtherFoldersAreExportedAndCompared)
{
    const std::string scene = saveTextured("car.ka", "tex/wood.jpg");
    saveImage("further/wood.jpg");
    const Outcome run =
        runZyscene({"convert", "--verify", "--search", folder / "further", scene, folder / "copy.kb"});
    EXPECT_EQ(0, run.exit) << run.err;
    EXPECT_EQ("", run.err);
    EXPECT_TRUE(std::filesystem::exists(folder / "copy/wood.png"));
    EXPECT_EQ(0, runZyscene({"diff", "--search", folder / "further", scene, folder / "copy.kb"}).exit);
    EXPECT_EQ(3, runZyscene({"diff", scene, folder / "copy.kb"}).exit);
}

TEST_F(Textures, cannotBeInAFolderThatDoesNotExist)
{
    const Outcome run = runZyscene({"info", "--search", folder / "nowhere", saveTextured("car.ka", "a.png")});
    EXPECT_EQ(2, run.exit);
    EXPECT_THAT(run.err, HasSubstr("nowhere"));
}

TEST_F(Textures, missingInOneFileDoNotConcernTheNext)
{
    const std::string first = saveTextured("first.ka", "tex/wood.jpg");
    const std::string second = saveTextured("second.ka", "tex/iron.jpg");
    const Outcome run = runZyscene({"--json", "info", first, second});
    const std::vector<json> missing = issuesOf(run, "texture-missing");
    ASSERT_EQ(2u, missing.size());
    EXPECT_EQ("first.ka", missing[0]["file"]);
    EXPECT_EQ("second.ka", missing[1]["file"]);
    EXPECT_EQ(3u, missing[1]["tried"].size());
}

// -- What info says ----------------------------------------------------------------------------------

TEST_F(Textures, areListedWithTheirSizes)
{
    const std::string scene = saveTextured("car.ka", "tex/wood.png");
    saveImage("tex/wood.png");
    const Outcome text = runZyscene({"info", scene});
    EXPECT_THAT(text.out, HasSubstr("\n  textures          1\n"));
    EXPECT_THAT(text.out, HasSubstr("\n  texture           tex/wood.png, 4 x 2 RGB\n"));

    const Outcome run = runZyscene({"--json", "info", scene});
    const std::vector<json> images = imagesOf(run);
    ASSERT_EQ(1u, images.size());
    std::vector<std::string> keys;
    for (const auto& member : images[0].items())
        keys.push_back(member.key());
    EXPECT_THAT(keys, ::testing::UnorderedElementsAre("name", "width", "height", "pixelFormat", "hash"));
    EXPECT_EQ("tex/wood.png", images[0]["name"]);
    EXPECT_EQ(4, images[0]["width"]);
    EXPECT_EQ(2, images[0]["height"]);
    EXPECT_EQ("RGB", images[0]["pixelFormat"]);
    EXPECT_EQ(16u, images[0]["hash"].get<std::string>().size());
}

// -- Exported ones -----------------------------------------------------------------------------------

TEST_F(Textures, ofOneNameAreToldWhenTheyDiffer)
{
    const auto make = [](const char* name, float x, const char* image, unsigned int seed) {
        const osg::NodePtr node = makeTriangle(std::string(name) + "Mesh", x);
        painted(osg::GeometryPtr::dcast(node->getCore()),
                makeMaterial(name, {makeColors(1, 1, 1),
                                    makeTexture(makeImage(image, osg::Image::OSG_RGB_PF, seed))}));
        return node;
    };
    saveScene(makeGroup("scene", {make("table", 0, "a/wood.jpg", 1), make("shelf", 1, "b/wood.png", 1),
                                  make("chair", 2, "c/wood.tga", 2)}),
              folder / "room.osb");
    const Outcome run =
        runZyscene({"--json", "convert", "--verify", folder / "room.osb", folder / "room.kb"});
    EXPECT_EQ(0, run.exit) << run.err;
    const std::vector<json> issues = issuesOf(run, "texture-name-collision");
    ASSERT_EQ(1u, issues.size());
    EXPECT_EQ("images of one name share the file of the first: 1 material ('chair' has wood.png of 'table')",
              issues[0]["message"]);
    EXPECT_THAT(run.err, HasSubstr("'chair' has wood.png of 'table'"));
}

TEST_F(Textures, ofAnEarlierExportAreReplaced)
{
    const auto save = [this](unsigned int seed) {
        const osg::NodePtr node = makeTriangle("sign", 0);
        painted(osg::GeometryPtr::dcast(node->getCore()),
                makeMaterial("print", {makeColors(1, 1, 1),
                                       makeTexture(makeImage("print.png", osg::Image::OSG_RGB_PF, seed))}));
        saveScene(node, folder / "sign.osb");
    };
    save(1);
    ASSERT_EQ(0, runZyscene({"convert", folder / "sign.osb", folder / "sign.kb"}).exit);
    const std::string before = readFile(folder / "sign/print.png");
    writeFile(folder / "sign/other.png", "of somebody else");
    save(2);
    const Outcome run = runZyscene({"convert", "--verify", folder / "sign.osb", folder / "sign.kb"});
    EXPECT_EQ(0, run.exit) << run.err;
    EXPECT_NE(before, readFile(folder / "sign/print.png"));
    EXPECT_EQ("of somebody else", readFile(folder / "sign/other.png"));
}

} // namespace
