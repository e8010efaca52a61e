// How zyscene is called: help, versions, lists, and what is no proper call.

#include "Program.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <algorithm>

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

namespace
{
const char* const commandNames[] = {"info", "convert", "diff", "render", "formats", "options", "version"};

// -- Help --------------------------------------------------------------------------------------------

TEST(Help, ofTheProgramListsCommandsAndExitStatus)
{
    for (const char* flag : {"-h", "--help"}) {
        const Outcome run = runZyscene({flag});
        EXPECT_EQ(0, run.exit);
        EXPECT_EQ("", run.err);
        for (const char* command : commandNames)
            EXPECT_THAT(run.out, HasSubstr(std::string("  ") + command)) << flag;
        EXPECT_THAT(run.out, HasSubstr("4  several files"));
    }
}

TEST(Help, ofEveryCommandGoesToStandardOutput)
{
    for (const char* command : commandNames) {
        for (const char* flag : {"-h", "--help"}) {
            const Outcome run = runZyscene({command, flag});
            EXPECT_EQ(0, run.exit) << command;
            EXPECT_EQ("", run.err) << command;
            EXPECT_THAT(run.out, HasSubstr("zyscene " + std::string(command))) << command;
        }
    }
}

TEST(Help, ofInfoAndConvertHasAFlagForEachImportOption)
{
    for (const char* command : {"info", "convert"}) {
        const Outcome run = runZyscene({command, "--help"});
        for (const char* flag : {"--import-units", "--env-combiner", "--color-shadow", "--no-auto-shadow",
                                 "--as-shadow", "--no-shadow-merge", "--material-library", "--import-option"})
            EXPECT_THAT(run.out, HasSubstr(flag)) << command;
    }
}

TEST(Help, ofConvertHasAFlagForEachOfItsOptions)
{
    const Outcome run = runZyscene({"convert", "--help"});
    for (const char* flag :
         {"--units", "--export-option", "--verify", "--no-clobber", "--loss-report", "Millimeter"})
        EXPECT_THAT(run.out, HasSubstr(flag));
}

TEST(Help, comesToStandardErrorWhenNothingWasAskedFor)
{
    const Outcome run = runZyscene({});
    EXPECT_EQ(2, run.exit);
    EXPECT_EQ("", run.out);
    EXPECT_THAT(run.err, HasSubstr("convert"));
}

// -- Wrong usage -------------------------------------------------------------------------------------

struct WrongCall {
    std::vector<std::string> arguments;
    const char* complaint;
};

class WrongUsage : public ::testing::TestWithParam<WrongCall>
{
};

TEST_P(WrongUsage, isExitStatusTwoAndOneLine)
{
    const Outcome run = runZyscene(GetParam().arguments);
    EXPECT_EQ(2, run.exit) << run.err;
    EXPECT_EQ("", run.out);
    EXPECT_THAT(run.err, StartsWith("zyscene: error: "));
    EXPECT_THAT(run.err, HasSubstr(GetParam().complaint));
    EXPECT_EQ(1, std::count(run.err.begin(), run.err.end(), '\n')) << run.err;
}

INSTANTIATE_TEST_SUITE_P(
    Calls, WrongUsage,
    ::testing::Values(
        WrongCall{{"paint", "car.ka"}, "there is no command 'paint'"}, WrongCall{{"--nosuch"}, "--nosuch"},
        WrongCall{{"-v"}, "no command"}, WrongCall{{"info"}, "FILE is required"},
        WrongCall{{"info", "--nosuch", "good/two_meshes.ka"}, "--nosuch"},
        WrongCall{{"convert"}, "IN is required"},
        WrongCall{{"convert", "good/two_meshes.ka"}, "OUT is required"},
        WrongCall{{"convert", "a.ka", "b.osb", "c.osb"}, "c.osb"},
        WrongCall{{"formats", "surplus"}, "surplus"}, WrongCall{{"version", "surplus"}, "surplus"},
        WrongCall{{"options", "surplus"}, "surplus"}, WrongCall{{"info", "--import-units"}, "--import-units"},
        WrongCall{{"info", "--progress", "often", "good/two_meshes.ka"}, "often"},
        WrongCall{{"info", "--color", "red", "good/two_meshes.ka"}, "red"},
        WrongCall{{"info", "good/nosuch.xyz"}, "suffix 'xyz'"}, WrongCall{{"info", "README"}, "no suffix"},
        WrongCall{{"info", "good/two_meshes.ka", "x.xyz"}, "suffix 'xyz'"},
        WrongCall{{"convert", "x.xyz", "y.osb"}, "suffix 'xyz'"},
        WrongCall{{"convert", "good/two_meshes.ka", "y.xyz"}, "suffix 'xyz'"},
        WrongCall{{"convert", "good/two_meshes.ka", "y"}, "no suffix"},
        WrongCall{{"convert", "good/two_meshes.ka", "y.glb"}, "suffix 'glb'"},
        WrongCall{{"convert", "good/two_meshes.ka", "y.kb.gz"}, "suffix 'gz'"},
        WrongCall{{"convert", "good/two_meshes.ka", "y.kb", "--units"}, "--units"},
        WrongCall{{"convert", "good/two_meshes.ka", "y.kb", "--loss-report", "-"}, "file of its own"},
        WrongCall{{"convert", "good/two_meshes.ka", "y.kb", "--loss-report", "./y.kb"}, "file of its own"},
        WrongCall{{"convert", "good/two_meshes.ka", "y.kb", "--loss-report", "bad/../good/two_meshes.ka"},
                  "file of its own"}));

TEST(WrongUsage, touchesNoFile)
{
    const TemporaryFolder folder;
    writeFile(folder / "old.glb", "precious");
    EXPECT_EQ(2, runZyscene({"convert", testFolder() + "/good/two_meshes.ka", folder / "old.glb"}).exit);
    EXPECT_EQ("precious", readFile(folder / "old.glb"));
    EXPECT_EQ(std::vector<std::string>{"old.glb"}, folder.names());
}

TEST(WrongUsage, ofASuffixIsADocumentWithJson)
{
    const Outcome run = runZyscene({"info", "--json", "x.xyz"});
    EXPECT_EQ(2, run.exit);
    const auto document = nlohmann::json::parse(run.out);
    EXPECT_EQ(2, document["exit"]);
    EXPECT_TRUE(document["results"].empty());
    EXPECT_EQ("suffix-unknown", document["issues"][0]["code"]);
    EXPECT_EQ("x.xyz", document["issues"][0]["file"]);
}

// -- Lists -------------------------------------------------------------------------------------------

TEST(Version, isALineAndACommand)
{
    const Outcome line = runZyscene({"--version"});
    EXPECT_EQ(0, line.exit);
    EXPECT_THAT(line.out, ::testing::MatchesRegex("zyscene [0-9]+\\.[0-9]+\\.[0-9]+\n"));

    const Outcome list = runZyscene({"version"});
    EXPECT_EQ(0, list.exit);
    EXPECT_THAT(list.out, StartsWith(line.out));
    EXPECT_THAT(list.out, HasSubstr("zyKelda2017FileIO "));
    EXPECT_THAT(list.out, HasSubstr("OpenSG 1.8.0"));

    const auto document = nlohmann::json::parse(runZyscene({"version", "--json"}).out);
    EXPECT_EQ("version", document["command"]);
    EXPECT_EQ("zyscene", document["results"][0]["name"]);
}

TEST(Formats, sayWhoReadsAndWhoWrites)
{
    const auto document = nlohmann::json::parse(runZyscene({"formats", "--json"}).out);
    nlohmann::json bySuffix;
    for (const auto& row : document["results"])
        bySuffix[row["suffix"].get<std::string>()] = row;
    for (const char* suffix : {"ka", "kb"}) {
        EXPECT_EQ(true, bySuffix[suffix]["read"]);
        EXPECT_EQ(true, bySuffix[suffix]["write"]);
        EXPECT_EQ("Kelda Scene", bySuffix[suffix]["by"]);
    }
    EXPECT_EQ(true, bySuffix["osb"]["read"]);
    EXPECT_EQ(true, bySuffix["osb"]["write"]);
    for (const char* suffix : {"obj", "ply", "stl", "glb", "gltf"}) {
        EXPECT_EQ(true, bySuffix[suffix]["read"]) << suffix;
        EXPECT_EQ(false, bySuffix[suffix]["write"]) << suffix;
    }

    const Outcome text = runZyscene({"formats"});
    EXPECT_EQ(0, text.exit);
    EXPECT_THAT(text.out, ::testing::ContainsRegex("osb +read +write"));
    EXPECT_THAT(text.out, ::testing::ContainsRegex("ka +read +write +Kelda Scene"));
}

TEST(Options, listTheWordsAndUnits)
{
    const Outcome text = runZyscene({"options"});
    EXPECT_EQ(0, text.exit);
    const auto document = nlohmann::json::parse(runZyscene({"options", "--json"}).out);
    for (const char* word : {"units=", "importunits=", "multitextureEnvCombiner=true",
                             "forceGrayscaleShadowTexture=false", "autoLoadShadowGeometry=false",
                             "shadowGeometry=true", "shadowMerge=false", "useLocalMaterialLibrary=true"}) {
        EXPECT_THAT(text.out, HasSubstr(word));
        bool listed = false;
        for (const auto& row : document["results"])
            listed = listed || row["word"] == word;
        EXPECT_TRUE(listed) << word;
    }
    for (const char* unit : {"Inch", "Kilometer", "Ignore", "KeldaUnits", " km"})
        EXPECT_THAT(text.out, HasSubstr(unit));
    const auto& units = document["results"].back();
    EXPECT_EQ("export", units["direction"]);
    EXPECT_EQ("units=", units["word"]);
    EXPECT_EQ("Millimeter", units["default"]);
}
} // namespace
