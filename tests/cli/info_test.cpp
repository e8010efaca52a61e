// What info shows of scenes.

#include "Program.h"
#include "Scenes.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>

using ::testing::HasSubstr;
using ::testing::Not;

namespace
{
nlohmann::json infoOf(const std::vector<std::string>& arguments, int exit = 0)
{
    std::vector<std::string> all = {"info", "--json"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    const Outcome run = runZyscene(all);
    EXPECT_EQ(exit, run.exit) << run.err;
    return nlohmann::json::parse(run.out);
}

std::size_t countCode(const nlohmann::json& document, const char* code)
{
    return static_cast<std::size_t>(
        std::count_if(document["issues"].begin(), document["issues"].end(),
                      [code](const nlohmann::json& issue) { return issue["code"] == code; }));
}

// -- Golden documents --------------------------------------------------------------------------------

class GoldenScene : public ::testing::TestWithParam<const char*>
{
};

TEST_P(GoldenScene, isShownAsCommitted)
{
    const std::string name = GetParam();
    const std::string file = "good/" + name + ".ka";
    const Outcome run = runZyscene({"info", "--json", "--arrays", file});
    EXPECT_EQ(0, run.exit) << run.err;
    EXPECT_EQ(readFile(testFolder() + "/golden/" + name + ".json"), run.out)
        << "if the new text is right, in the folder of this test:\n  zyscene info --json --arrays " << file
        << " > golden/" << name << ".json";
}

TEST_P(GoldenScene, isTheSameInBothSceneForms)
{
    const TemporaryFolder folder;
    const std::string name = GetParam();
    saveAsBinary(testFolder() + "/good/" + name + ".ka", folder / (name + ".kb"));
    if (std::filesystem::exists(testFolder() + "/good/" + name)) // its textures
        std::filesystem::copy(testFolder() + "/good/" + name, folder / name);
    const Outcome binary = runZyscene({"info", "--json", "--arrays", folder / (name + ".kb")});
    const Outcome ascii = runZyscene({"info", "--json", "--arrays", testFolder() + "/good/" + name + ".ka"});
    EXPECT_EQ(0, binary.exit) << binary.err;

    std::string expected = ascii.out;
    for (const char* before : {".ka", "\"ka\""}) {
        std::string after = before;
        std::replace(after.begin(), after.end(), 'a', 'b');
        for (std::string::size_type at = 0; (at = expected.find(before, at)) != std::string::npos;)
            expected.replace(at, after.size(), after);
    }
    EXPECT_EQ(expected, binary.out);
}

INSTANTIATE_TEST_SUITE_P(Scenes, GoldenScene,
                         ::testing::Values("two_meshes", "instances", "shading_groups", "materials",
                                           "skipped_nodes", "dropped_primitives"),
                         [](const auto& info) { return std::string(info.param); });

TEST(ExampleCar, hasTheCommittedStatistics)
{
    const Outcome run = runZyscene({"info", "examples/car/car.ka"}, testFolder() + "/../..");
    EXPECT_EQ(0, run.exit);
    EXPECT_EQ("", run.err);
    EXPECT_EQ(readFile(testFolder() + "/golden/car.txt"), run.out)
        << "if the new text is right, in the folder of the project:\n"
           "  zyscene info examples/car/car.ka > tests/cli/golden/car.txt";
}

TEST(InfoJson, hasItsKeysInOrder)
{
    const Outcome run = runZyscene({"info", "--json", "good/two_meshes.ka"});
    const auto document = nlohmann::ordered_json::parse(run.out);
    const auto keys = [](const nlohmann::ordered_json& object) {
        std::vector<std::string> names;
        for (const auto& item : object.items())
            names.push_back(item.key());
        return names;
    };
    EXPECT_EQ((std::vector<std::string>{"schema", "command", "exit", "results", "issues"}), keys(document));
    EXPECT_EQ("zyscene/1", document["schema"]);
    const auto& result = document["results"][0];
    EXPECT_EQ((std::vector<std::string>{"file", "suffix", "root", "materials", "statistics", "messages",
                                        "progress"}),
              keys(result));
    EXPECT_EQ((std::vector<std::string>{"name", "active", "attachments", "core", "children"}),
              keys(result["root"]));
    EXPECT_EQ((std::vector<std::string>{"nodes", "transforms", "groups", "switches", "geometries", "surfaces",
                                        "instances", "primitives", "triangles", "vertices", "materials",
                                        "textures", "lights", "drawn"}),
              keys(result["statistics"]));
}

TEST(InfoJson, isTheSameWhereverTheSceneLies)
{
    const TemporaryFolder folder;
    writeFile(folder / "two_meshes.ka", readFile(testFolder() + "/good/two_meshes.ka"));
    const Outcome there = runZyscene({"info", "--json", folder / "two_meshes.ka"});
    const Outcome here = runZyscene({"info", "--json", testFolder() + "/good/two_meshes.ka"});
    const Outcome beside = runZyscene({"info", "--json", "two_meshes.ka"}, folder.path());
    EXPECT_EQ(here.out, there.out);
    EXPECT_EQ(here.out, beside.out);
    EXPECT_THAT(here.out, Not(HasSubstr(testFolder())));
}

TEST(InfoJson, showsASharedCoreInFullOnlyOnce)
{
    const auto root = infoOf({"good/instances.ka"})["results"][0]["root"];
    const auto& first = root["children"][0]["children"][0]["core"];
    const auto& second = root["children"][1]["children"][0]["core"];
    EXPECT_TRUE(first.contains("positions"));
    EXPECT_EQ((nlohmann::json{{"id", first["id"]}, {"type", "Geometry"}}), second);
}

TEST(InfoJson, countsInstancesOnceAndWhatTheyDrawEachTime)
{
    const auto statistics = infoOf({"good/instances.ka"})["results"][0]["statistics"];
    EXPECT_EQ(1, statistics["geometries"]);
    EXPECT_EQ(1, statistics["instances"]);
    EXPECT_EQ(2, statistics["triangles"]);
    EXPECT_EQ(4, statistics["vertices"]);
    EXPECT_EQ(4, statistics["drawn"]["triangles"]);
}

TEST(InfoJson, showsValuesOnlyWithArrays)
{
    const char* const file = "good/two_meshes.ka";
    EXPECT_THAT(runZyscene({"info", "--json", file}).out, Not(HasSubstr("\"values\"")));
    // A float, not the double nearest to it.
    EXPECT_THAT(runZyscene({"info", "--json", "--arrays", file}).out, HasSubstr("[0, 0, 0.1]"));
}

TEST(InfoJson, progressEndsWithAHundredAndIsFolded)
{
    const auto progress = infoOf({"good/two_meshes.ka"})["results"][0]["progress"];
    ASSERT_FALSE(progress.empty());
    EXPECT_EQ(0, progress.front()["percent"]);
    EXPECT_EQ(100, progress.back()["percent"]);
    for (std::size_t i = 1; i < progress.size(); ++i)
        EXPECT_NE(progress[i - 1]["percent"], progress[i]["percent"]);
}

// -- Issues ------------------------------------------------------------------------------------------

TEST(InfoIssues, nameNodesThatTheImportSkips)
{
    const Outcome run = runZyscene({"info", "--json", "good/skipped_nodes.ka"});
    EXPECT_EQ(0, run.exit);
    const auto document = nlohmann::json::parse(run.out);
    EXPECT_EQ(3u, countCode(document, "node-skipped"));
    EXPECT_EQ("view", document["issues"][0]["node"]);
    EXPECT_EQ("viewShape", document["issues"][1]["node"]);
    EXPECT_EQ("markShape", document["issues"][2]["node"]);
    EXPECT_EQ("warning", document["issues"][0]["severity"]);
    EXPECT_THAT(run.err, HasSubstr("log.error: Could not convert 'viewShape', unknown type."));
}

TEST(InfoIssues, nameGeometryThatLostPrimitives)
{
    const Outcome run = runZyscene({"info", "--json", "good/dropped_primitives.ka"});
    EXPECT_EQ(0, run.exit);
    const auto document = nlohmann::json::parse(run.out);
    ASSERT_EQ(1u, countCode(document, "primitives-dropped"));
    EXPECT_EQ("good/dropped_primitives.ka", document["issues"][0]["file"]);
    EXPECT_EQ("sheetShape", document["issues"][0]["node"]);
    EXPECT_THAT(run.err, HasSubstr("1 primitive"));
    EXPECT_EQ(1, document["results"][0]["statistics"]["primitives"]);
}

// -- Text --------------------------------------------------------------------------------------------

TEST(InfoText, showsStatisticsAndNoTree)
{
    const Outcome run = runZyscene({"info", "good/two_meshes.ka"});
    EXPECT_EQ(0, run.exit);
    EXPECT_EQ("", run.err);
    EXPECT_THAT(run.out, ::testing::StartsWith("good/two_meshes.ka\n"));
    EXPECT_THAT(run.out, ::testing::ContainsRegex("triangles +3\n"));
    EXPECT_THAT(run.out, Not(HasSubstr("doorShape")));
}

TEST(InfoText, treeHasALineForEachNode)
{
    const Outcome run = runZyscene({"info", "--tree", "good/two_meshes.ka"});
    EXPECT_THAT(run.out, HasSubstr("two_meshes  Transform3D #1  identity\n"));
    EXPECT_THAT(run.out, HasSubstr("  car  Transform3D #2  translation (1, 2.5, -3)\n"));
    EXPECT_THAT(run.out, HasSubstr("      doorShape  Geometry #4  1 primitive, 2 triangles"));
    EXPECT_THAT(run.out, ::testing::ContainsRegex("roofShape  Geometry #5 .*\\[inactive\\]"));
}

TEST(InfoText, treeMarksSharedCores)
{
    const Outcome run = runZyscene({"info", "--tree", "good/instances.ka"});
    EXPECT_THAT(run.out, HasSubstr("wheelShape  Geometry #3  [shared]"));
}

TEST(InfoText, escapesWhatATerminalWouldObey)
{
    const TemporaryFolder folder;
    saveNamedNode("red\033[31m\xff", folder / "named.osb");
    const Outcome text = runZyscene({"info", "--tree", folder / "named.osb"});
    EXPECT_THAT(text.out, HasSubstr("red\\x1b[31m\xef\xbf\xbd"));
    const auto document = nlohmann::json::parse(runZyscene({"info", "--json", folder / "named.osb"}).out);
    EXPECT_EQ("red\033[31m\xef\xbf\xbd", document["results"][0]["root"]["name"]);
}

// -- Import options ----------------------------------------------------------------------------------

TEST(ImportOptions, unitScalesTheScene)
{
    const auto matrix = [](const std::vector<std::string>& options) {
        std::vector<std::string> arguments = options;
        arguments.push_back("good/two_meshes.ka");
        return infoOf(arguments)["results"][0]["root"]["children"][0]["core"]["matrix"];
    };
    EXPECT_EQ(1, matrix({})[3]);
    EXPECT_EQ(10, matrix({"--import-units", "Millimeter"})[3]);
    EXPECT_EQ(10, matrix({"--import-option", "importunits=millimeter"})[3]);
}

TEST(ImportOptions, flagsReachTheModuleForOneReadEach)
{
    // Without a search for a shadow scene every mesh counts as one of a shadow scene.
    const Outcome run = runZyscene({"info", "--json", "--no-auto-shadow", "good/two_meshes.ka"});
    EXPECT_THAT(run.out, HasSubstr("ShadowMesh"));
    EXPECT_THAT(runZyscene({"info", "--json", "good/two_meshes.ka"}).out, Not(HasSubstr("ShadowMesh")));
}

TEST(ImportOptions, unknownUnitIsAWarningThatListsTheKnownOnes)
{
    for (const char* option :
         {"--import-units=parsec", "--import-option=importunits=parsec", "--import-units=INCH"}) {
        const Outcome run = runZyscene({"info", "--json", option, "good/two_meshes.ka"});
        EXPECT_EQ(0, run.exit);
        EXPECT_THAT(run.err, HasSubstr("warning: unknown import unit"));
        EXPECT_THAT(run.err, HasSubstr("Millimeter"));
        EXPECT_EQ(1u, countCode(nlohmann::json::parse(run.out), "unit-unknown"));
    }
    for (const char* unit : {"inch", "Inch", "Ignore", "KeldaUnits", "inch2"})
        EXPECT_EQ("", runZyscene({"info", "--import-units", unit, "good/two_meshes.ka"}).err) << unit;
}

// -- Failures and several files ----------------------------------------------------------------------

TEST(InfoFailure, ofAMissingFileIsOneLine)
{
    for (const char* file : {"good/nosuch.ka", "good/nosuch.kb", "good/nosuch.osb", "good/nosuch.obj"}) {
        const Outcome run = runZyscene({"info", file});
        EXPECT_EQ(1, run.exit);
        EXPECT_EQ("", run.out);
        EXPECT_EQ(std::string("zyscene: error: ") + file + ": no such file\n", run.err);
    }
}

TEST(InfoFailure, ofADirectoryIsOneLine)
{
    const TemporaryFolder folder;
    ASSERT_TRUE(std::filesystem::create_directory(folder / "x.ka"));
    const Outcome run = runZyscene({"info", folder / "x.ka"});
    EXPECT_EQ(1, run.exit);
    EXPECT_EQ("zyscene: error: x.ka: is a directory\n", run.err);
}

class BadScene : public ::testing::TestWithParam<const char*>
{
};

TEST_P(BadScene, failsWithTheReasonAndNoScene)
{
    const std::string file = std::string("bad/") + GetParam();
    const Outcome text = runZyscene({"info", file});
    EXPECT_EQ(1, text.exit);
    EXPECT_EQ("", text.out);
    EXPECT_THAT(text.err, ::testing::StartsWith("zyscene: error: " + file + ": cannot be read: "));
    EXPECT_EQ(1, std::count(text.err.begin(), text.err.end(), '\n')) << text.err;
    EXPECT_THAT(text.err, Not(HasSubstr("no reason was given")));

    const auto document = infoOf({file}, 1);
    EXPECT_EQ(1, document["exit"]);
    EXPECT_TRUE(document["results"][0]["root"].is_null());
    EXPECT_EQ(1u, countCode(document, "read-failed"));
}

INSTANTIATE_TEST_SUITE_P(Scenes, BadScene,
                         ::testing::Values("unknown_command.ka", "cut.ka", "empty.ka", "empty.osb",
                                           "text.osb"));

TEST(BadScene, saysWhereTheSceneFileIsWrong)
{
    EXPECT_THAT(runZyscene({"info", "bad/unknown_command.ka"}).err, HasSubstr("unknown_command.ka:4:5"));
}

TEST(SeveralFiles, areDoneAsFarAsTheyGo)
{
    const Outcome mixed =
        runZyscene({"info", "--json", "good/two_meshes.ka", "good/nosuch.ka", "good/instances.ka"});
    EXPECT_EQ(4, mixed.exit);
    const auto document = nlohmann::json::parse(mixed.out);
    EXPECT_EQ(4, document["exit"]);
    ASSERT_EQ(3u, document["results"].size());
    EXPECT_EQ("good/two_meshes.ka", document["results"][0]["file"]);
    EXPECT_TRUE(document["results"][1]["root"].is_null());
    EXPECT_EQ("instances", document["results"][2]["root"]["name"]);

    EXPECT_EQ(4, runZyscene({"info", "bad/cut.ka", "good/instances.ka"}).exit);
    EXPECT_EQ(1, runZyscene({"info", "bad/cut.ka", "good/nosuch.ka"}).exit);
    EXPECT_EQ(0, runZyscene({"info", "good/two_meshes.ka", "good/instances.ka"}).exit);
}

TEST(SeveralFiles, giveTheSameAsOneByOne)
{
    const auto both = infoOf({"good/two_meshes.ka", "good/instances.ka"});
    EXPECT_EQ(0, both["exit"]);
    // All but the messages: the SDK is started only once.
    const char* const files[] = {"good/two_meshes.ka", "good/instances.ka"};
    for (std::size_t i = 0; i < 2; ++i) {
        auto alone = infoOf({files[i]})["results"][0];
        auto together = both["results"][i];
        alone.erase("messages");
        together.erase("messages");
        EXPECT_EQ(alone, together);
    }
}

// -- Other formats -----------------------------------------------------------------------------------

TEST(OtherFormats, comeInThroughTheImportEntry)
{
    const TemporaryFolder folder;
    writeFile(folder / "square.obj", "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nf 1 2 3 4\n");
    const auto document = infoOf({folder / "square.obj"});
    EXPECT_EQ("square.obj", document["results"][0]["file"]);
    EXPECT_EQ("square", document["results"][0]["root"]["name"]);
    EXPECT_EQ(2, document["results"][0]["statistics"]["triangles"]);
}

// -- Depth -------------------------------------------------------------------------------------------

TEST(DeepTree, isShownInFull)
{
    const TemporaryFolder folder;
    const unsigned int levels = 10000;
    saveDeepTree(levels, folder / "deep.osb");

    const Outcome text = runZyscene({"info", "--tree", folder / "deep.osb"});
    EXPECT_EQ(0, text.exit) << text.err;
    EXPECT_THAT(text.out, HasSubstr("(" + std::to_string(levels - 1) + ") "));
    EXPECT_THAT(text.out, HasSubstr(std::to_string(levels)));

    const Outcome json = runZyscene({"info", "--json", folder / "deep.osb"});
    EXPECT_EQ(0, json.exit) << json.err;
    EXPECT_EQ(levels, static_cast<unsigned int>(
                          nlohmann::json::parse(json.out)["results"][0]["statistics"]["nodes"]));
}
} // namespace
