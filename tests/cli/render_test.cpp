// The command that draws scenes: what it writes, and how it fails.

#include "Program.h"
#include "Scenes.h"
#include "render_support.h"

#include <OpenSG/OSGSimpleGeometry.h>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <vector>

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

namespace
{
const std::string scene = testFolder() + "/good/two_meshes.ka";

// Exactly one line, which begins so.
void expectOneLine(const std::string& text, const std::string& start, const std::string& part)
{
    EXPECT_THAT(text, StartsWith(start));
    EXPECT_THAT(text, HasSubstr(part));
    EXPECT_EQ(1, std::count(text.begin(), text.end(), '\n')) << text;
}

// A red box.
std::string saveBox(const TemporaryFolder& folder)
{
    const std::string file = folder / "box.osb";
    saveScene(makeDrawn(osg::makeBoxGeo(1, 1, 1, 1, 1, 1), makeMaterial({makeLit(1, 0, 0)})), file);
    return file;
}

// -- Pictures ----------------------------------------------------------------------------------------

TEST(Render, writesAPictureOfTheScene)
{
    const TemporaryFolder folder;
    const std::string box = saveBox(folder);
    const Outcome run = runZyscene({"render", box, "-o", folder / "box.png", "--view", "front"});
    EXPECT_EQ(0, run.exit) << run.err;
    EXPECT_EQ("", run.err);
    EXPECT_EQ("box.osb -> box.png: 1280x720, 1 drawn geometry use\n", run.out);
    EXPECT_THAT(folder.names(), ElementsAre("box.osb", "box.png"));

    const Picture picture = readPicture(folder / "box.png");
    EXPECT_EQ(1280, picture.width);
    EXPECT_EQ(720, picture.height);
    EXPECT_TRUE(isNear({255, 0, 0}, picture.middle())) << picture.middle();
    EXPECT_TRUE(isNear({0xd0, 0xd0, 0xd0}, picture.at(0, 0))) << picture.at(0, 0);
}

TEST(Render, takesSizeViewAndBackground)
{
    const TemporaryFolder folder;
    const std::string box = saveBox(folder);
    const Outcome run = runZyscene({"render", box, "-o", folder / "box.png", "--size", "64x48", "--view",
                                    "top", "--background", "Ff8000"});
    EXPECT_EQ(0, run.exit) << run.err;
    const Picture picture = readPicture(folder / "box.png");
    EXPECT_EQ(64, picture.width);
    EXPECT_EQ(48, picture.height);
    EXPECT_TRUE(isNear({255, 128, 0}, picture.at(0, 0))) << picture.at(0, 0);
}

TEST(Render, drawsEveryViewOfAKeldaScene)
{
    const TemporaryFolder folder;
    const std::string car = testFolder() + "/../../examples/car/car.ka";
    std::vector<std::string> contents;
    for (const std::string view : {"front", "side", "top", "iso"}) {
        const std::string file = folder / (view + ".png");
        const Outcome run = runZyscene({"render", "--size", "160x90", "--view", view, car, "-o", file});
        EXPECT_EQ(0, run.exit) << run.err;
        const Picture picture = readPicture(file);
        EXPECT_GT(picture.countOthers({0xd0, 0xd0, 0xd0}), 160 * 90 / 10) << view;
        contents.push_back(readFile(file));
    }
    std::sort(contents.begin(), contents.end());
    EXPECT_EQ(contents.end(), std::adjacent_find(contents.begin(), contents.end()));
}

TEST(Render, sameInputGivesTheSameBytes)
{
    const TemporaryFolder folder;
    for (const char* name : {"a.png", "b.png"})
        ASSERT_EQ(0, runZyscene({"render", scene, "-o", folder / name}).exit);
    EXPECT_EQ(readFile(folder / "a.png"), readFile(folder / "b.png"));
}

TEST(Render, takesImportOptions)
{
    // The picture fits the scene whatever its unit is; what the module says shows that the option arrived.
    const TemporaryFolder folder;
    const Outcome run =
        runZyscene({"render", "--import-units", "Cubit", scene, "--size", "16x9", "-o", folder / "a.png"});
    EXPECT_EQ(0, run.exit);
    EXPECT_THAT(run.err, HasSubstr("unknown import unit 'Cubit'"));
}

TEST(Render, saysAsJsonWhatItDrew)
{
    const TemporaryFolder folder;
    const std::string box = saveBox(folder);
    const Outcome run = runZyscene({"render", "--json", "--size", "32x18", box, "-o", folder / "box.png"});
    EXPECT_EQ(0, run.exit) << run.err;
    const nlohmann::json document = nlohmann::json::parse(run.out);
    EXPECT_EQ("render", document["command"]);
    EXPECT_EQ(0, document["exit"]);
    ASSERT_EQ(1u, document["results"].size());
    const nlohmann::json& result = document["results"][0];
    EXPECT_EQ("box.osb", result["in"]);
    EXPECT_EQ("box.png", result["out"]);
    EXPECT_EQ(true, result["written"]);
    EXPECT_EQ(32, result["width"]);
    EXPECT_EQ(18, result["height"]);
    EXPECT_EQ("iso", result["view"]);
    EXPECT_EQ("d0d0d0", result["background"]);
    EXPECT_EQ(1, result["uses"]);
    EXPECT_EQ(0, result["lights"]);
    EXPECT_THAT(document["issues"], IsEmpty());
}

TEST(Render, whatIsLeftOutIsAWarning)
{
    const TemporaryFolder folder;
    const osg::TextureChunkPtr texture = makeTexture(makeBoard(2, 255, 0, 0), 0x1234);
    const osg::ChunkMaterialPtr material = makeMaterial({makeLit(1, 1, 1), texture});
    saveScene(makeDrawn(makeQuad(), material), folder / "a.osb");
    const Outcome run = runZyscene({"render", folder / "a.osb", "-o", folder / "a.png", "--size", "32x18"});
    EXPECT_EQ(0, run.exit);
    expectOneLine(run.err, "zyscene: warning: a.osb: ", "OpenGL does not know");
}

TEST(Render, drawsLargerThanOneFramebuffer)
{
    const TemporaryFolder folder;
    const std::string box = saveBox(folder);
    const Outcome run =
        runZyscene({"render", box, "-o", folder / "box.png", "--size", "5000x30", "--view", "front"});
    EXPECT_EQ(0, run.exit) << run.err;
    const Picture picture = readPicture(folder / "box.png");
    EXPECT_EQ(5000, picture.width);
    EXPECT_TRUE(isNear({255, 0, 0}, picture.middle())) << picture.middle();
}

// -- Failures ----------------------------------------------------------------------------------------

TEST(RenderFailures, wrongCallsTouchNothing)
{
    const TemporaryFolder folder;
    const std::string out = folder / "a.png";
    const std::vector<std::vector<std::string>> calls = {
        {"render", scene},
        {"render", "-o", out},
        {"render", scene, "-o", out, "--size", "1280"},
        {"render", scene, "-o", out, "--size", "0x90"},
        {"render", scene, "-o", out, "--size", "160x0"},
        {"render", scene, "-o", out, "--size", "-160x90"},
        {"render", scene, "-o", out, "--size", "160x90x1"},
        {"render", scene, "-o", out, "--size", " 160x90"},
        {"render", scene, "-o", out, "--size", ""},
        {"render", scene, "-o", out, "--view", "back"},
        {"render", scene, "-o", out, "--background", "red"},
        {"render", scene, "-o", out, "--background", "ff80"},
        {"render", scene, "-o", out, "--background", "+f8000"},
        {"render", scene, "-o", folder / "a.jpg"},
        {"render", scene, "-o", folder / "a"},
        {"render", folder / "a.xyz", "-o", out},
    };
    for (const std::vector<std::string>& call : calls) {
        const Outcome run = runZyscene(call);
        EXPECT_EQ(2, run.exit) << ::testing::PrintToString(call);
        EXPECT_EQ("", run.out);
        EXPECT_EQ(1, std::count(run.err.begin(), run.err.end(), '\n')) << run.err;
    }
    EXPECT_THAT(folder.names(), IsEmpty());
}

TEST(RenderFailures, unreadableScene)
{
    const TemporaryFolder folder;
    writeFile(folder / "cut.osb", "OSG");
    const Outcome run = runZyscene({"render", folder / "cut.osb", "-o", folder / "a.png"});
    EXPECT_EQ(1, run.exit);
    expectOneLine(run.err, "zyscene: error: cut.osb: ", "cannot be read");
    EXPECT_THAT(folder.names(), ElementsAre("cut.osb"));
}

TEST(RenderFailures, sceneThatDrawsNothing)
{
    const TemporaryFolder folder;
    saveScene(makeGroup("", {}), folder / "empty.osb");
    const Outcome run = runZyscene({"render", folder / "empty.osb", "-o", folder / "a.png"});
    EXPECT_EQ(1, run.exit);
    EXPECT_EQ("zyscene: error: empty.osb: cannot be drawn: nothing in it is drawn\n", run.err);
    EXPECT_THAT(folder.names(), ElementsAre("empty.osb"));
}

TEST(RenderFailures, pictureThatIsTooLarge)
{
    const TemporaryFolder folder;
    for (const char* size : {"100000x10", "10x100000", "99999999999999999999x10"}) {
        const Outcome run = runZyscene({"render", scene, "-o", folder / "a.png", "--size", size});
        EXPECT_EQ(1, run.exit) << size;
        expectOneLine(run.err, "zyscene: error: a.png: cannot be drawn: ", "at most");
    }
    EXPECT_THAT(folder.names(), IsEmpty());
}

TEST(RenderFailures, targetThatCannotBeWritten)
{
    const TemporaryFolder folder;
    const Outcome missing = runZyscene({"render", scene, "-o", folder / "no/a.png"});
    EXPECT_EQ(1, missing.exit);
    expectOneLine(missing.err, "zyscene: error: a.png: cannot be written: ", "no such folder");

    std::filesystem::create_directory(folder / "a.png");
    const Outcome taken = runZyscene({"render", scene, "-o", folder / "a.png"});
    EXPECT_EQ(1, taken.exit);
    expectOneLine(taken.err, "zyscene: error: a.png: cannot be written: ", "no regular file");

    const Outcome device = runZyscene({"render", scene, "-o", "/proc/a.png"});
    EXPECT_EQ(1, device.exit);
    expectOneLine(device.err, "zyscene: error: a.png: cannot be written: ", "");
}

TEST(RenderFailures, leaveTheOldPictureAsItIs)
{
    const TemporaryFolder folder;
    saveScene(makeGroup("", {}), folder / "empty.osb");
    writeFile(folder / "a.png", "old");
    EXPECT_EQ(1, runZyscene({"render", folder / "empty.osb", "-o", folder / "a.png"}).exit);
    EXPECT_EQ("old", readFile(folder / "a.png"));
    EXPECT_THAT(folder.names(), ElementsAre("a.png", "empty.osb"));
}

TEST(Render, replacesAnOldPictureAndKeepsItsPermissions)
{
    const TemporaryFolder folder;
    writeFile(folder / "a.png", "old");
    ASSERT_EQ(0, ::chmod((folder / "a.png").c_str(), 0640));
    const Outcome run = runZyscene({"render", scene, "--size", "16x9", "-o", folder / "a.png"});
    EXPECT_EQ(0, run.exit) << run.err;
    EXPECT_EQ(16, readPicture(folder / "a.png").width);
    struct stat status;
    ASSERT_EQ(0, ::stat((folder / "a.png").c_str(), &status));
    EXPECT_EQ(0640u, status.st_mode & 07777);
}

// -- Without OpenGL, or with another -----------------------------------------------------------------

TEST(RenderFailures, withoutADriver)
{
    const TemporaryFolder folder;
    const Outcome run = runZyscene({"render", scene, "-o", folder / "a.png"}, "",
                                   {"__EGL_VENDOR_LIBRARY_FILENAMES=/dev/null"});
    EXPECT_EQ(1, run.exit);
    expectOneLine(run.err, "zyscene: error: two_meshes.ka: cannot be drawn: ", "no EGL driver");
    EXPECT_THAT(folder.names(), IsEmpty());
}

TEST(RenderFailures, withADriverThatDoesNotStart)
{
    const TemporaryFolder folder;
    const Outcome run =
        runZyscene({"render", scene, "-o", folder / "a.png"}, "", {"LIBGL_DRIVERS_PATH=/nowhere"});
    EXPECT_EQ(1, run.exit);
    expectOneLine(run.err, "zyscene: error: two_meshes.ka: cannot be drawn: ", "EGL driver");
}

TEST(RenderFailures, withAnOpenGLThatIsTooOld)
{
    const TemporaryFolder folder;
    const Outcome run =
        runZyscene({"render", scene, "-o", folder / "a.png"}, "", {"MESA_GL_VERSION_OVERRIDE=2.1"});
    EXPECT_EQ(1, run.exit);
    expectOneLine(run.err, "zyscene: error: two_meshes.ka: cannot be drawn: ", "is too old");
}

TEST(RenderFailures, withAnOpenGLWithoutFixedFunctions)
{
    const TemporaryFolder folder;
    const Outcome run =
        runZyscene({"render", scene, "-o", folder / "a.png"}, "", {"MESA_GL_VERSION_OVERRIDE=3.3FC"});
    EXPECT_EQ(1, run.exit);
    EXPECT_EQ(1, std::count(run.err.begin(), run.err.end(), '\n')) << run.err;
}

TEST(RenderFailures, withoutOpenGLOtherCommandsRun)
{
    const Outcome run = runZyscene({"info", scene}, "", {"__EGL_VENDOR_LIBRARY_FILENAMES=/dev/null"});
    EXPECT_EQ(0, run.exit) << run.err;
}
} // namespace
