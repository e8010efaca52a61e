// Converting scenes: what is written, what is said about it, and that a target is either the new file or what
// it was.

#include "LossyMaterials.h"
#include "Materials.h"
#include "Program.h"
#include "Scenes.h"

#include <OpenSG/OSGGeometry.h>
#include <OpenSG/OSGNode.h>
#include <OpenSG/OSGPointLight.h>
#include <OpenSG/OSGTransform3D.h>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <limits>
#include <map>
#include <sched.h>
#include <set>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

namespace
{
const std::string scene = testFolder() + "/good/two_meshes.ka"; // with an inactive node
const std::string whole = testFolder() + "/good/instances.ka";  // all of it can be written

nlohmann::json rootOf(const std::string& file)
{
    const Outcome run = runZyscene({"info", "--json", "--arrays", file});
    EXPECT_EQ(0, run.exit) << run.err;
    return nlohmann::json::parse(run.out)["results"][0]["root"];
}

std::string shell(const std::string& text)
{
    return "'" + text + "'";
}

// -- Result ------------------------------------------------------------------------------------------

TEST(Convert, writesTheSceneAsImported)
{
    const TemporaryFolder folder;
    const Outcome run = runZyscene({"convert", scene, folder / "car.osb"});
    EXPECT_EQ(0, run.exit) << run.err;
    EXPECT_EQ("", run.err);
    EXPECT_THAT(run.out, HasSubstr("two_meshes.ka -> car.osb: "));
    EXPECT_THAT(folder.names(), ElementsAre("car.osb"));
    EXPECT_EQ(rootOf(scene), rootOf(folder / "car.osb"));
}

TEST(Convert, sameInputGivesTheSameBytes)
{
    const TemporaryFolder folder;
    for (const std::string suffix : {".osb", ".ka", ".kb"}) {
        ASSERT_EQ(0, runZyscene({"convert", scene, folder / ("a" + suffix)}).exit);
        ASSERT_EQ(0, runZyscene({"convert", scene, folder / ("b" + suffix)}).exit);
        EXPECT_EQ(readFile(folder / ("a" + suffix)), readFile(folder / ("b" + suffix))) << suffix;
    }
}

TEST(Convert, takesImportOptions)
{
    const TemporaryFolder folder;
    ASSERT_EQ(0, runZyscene({"convert", "--import-units", "Millimeter", scene, folder / "car.osb"}).exit);
    EXPECT_EQ(10, rootOf(folder / "car.osb")["children"][0]["core"]["matrix"][3]);
}

TEST(Convert, jsonSaysWhatWasDone)
{
    const TemporaryFolder folder;
    const Outcome run = runZyscene({"convert", "--json", scene, folder / "car.osb"});
    EXPECT_EQ(0, run.exit);
    const auto document = nlohmann::json::parse(run.out);
    EXPECT_EQ("convert", document["command"]);
    EXPECT_EQ("two_meshes.ka", document["results"][0]["in"]);
    EXPECT_EQ("car.osb", document["results"][0]["out"]);
    EXPECT_EQ(true, document["results"][0]["written"]);
    EXPECT_THAT(run.out, Not(HasSubstr(folder.path())));
    EXPECT_THAT(run.out, Not(HasSubstr(".zyscene-")));
}

TEST(Convert, replacesAFileInPlace)
{
    const TemporaryFolder folder;
    ASSERT_EQ(0, runZyscene({"convert", scene, folder / "car.osb"}).exit);
    const std::string before = readFile(folder / "car.osb");
    ASSERT_EQ(0, ::chmod((folder / "car.osb").c_str(), 0640));
    EXPECT_EQ(0, runZyscene({"convert", folder / "car.osb", folder / "car.osb"}).exit);
    EXPECT_EQ(before, readFile(folder / "car.osb"));
    struct stat status;
    ASSERT_EQ(0, ::stat((folder / "car.osb").c_str(), &status));
    EXPECT_EQ(0640u, status.st_mode & 0777u);
    EXPECT_THAT(folder.names(), ElementsAre("car.osb"));
}

TEST(Convert, writesThroughASymbolicLink)
{
    const TemporaryFolder folder;
    writeFile(folder / "real.osb", "old");
    std::filesystem::create_symlink("real.osb", folder / "link.osb");
    EXPECT_EQ(0, runZyscene({"convert", scene, folder / "link.osb"}).exit);
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link.osb"));
    EXPECT_FALSE(std::filesystem::is_symlink(folder / "real.osb"));
    EXPECT_EQ(rootOf(scene), rootOf(folder / "real.osb"));
}

TEST(Convert, acceptsNamesThatMeanSomethingToASearch)
{
    const TemporaryFolder folder;
    for (const char* name : {"$HOME.osb", "~.osb", "a:b.osb"}) {
        const Outcome run = runZyscene({"convert", scene, name}, folder.path());
        EXPECT_EQ(0, run.exit) << name << ": " << run.err;
        EXPECT_EQ(0, runZyscene({"info", name}, folder.path()).exit) << name;
    }
}

// -- Kelda scenes ------------------------------------------------------------------------------------

TEST(ConvertToKelda, writesTheFormOfTheSuffix)
{
    const TemporaryFolder folder;
    for (const std::string name : {"car.ka", "car.KA"}) {
        const Outcome run = runZyscene({"convert", whole, folder / name});
        EXPECT_EQ(0, run.exit) << run.err;
        EXPECT_EQ("", run.err);
        EXPECT_EQ("instances.ka -> " + name + ": 5 nodes, 2 primitives\n", run.out);
        EXPECT_THAT(readFile(folder / name), StartsWith("//Kelda ASCII 2017 scene\n"));
    }
    // Mixed letters are taken for the binary form.
    for (const std::string name : {"car.kb", "car.KB", "car.Ka"}) {
        EXPECT_EQ(0, runZyscene({"convert", whole, folder / name}).exit) << name;
        EXPECT_THAT(readFile(folder / name), StartsWith("\x89KELDAB\n")) << name;
    }
}

TEST(ConvertToKelda, comesBackTheSame)
{
    const TemporaryFolder folder;
    ASSERT_EQ(0, runZyscene({"convert", whole, folder / "car.ka"}).exit);
    const Outcome run = runZyscene({"diff", whole, folder / "car.ka"});
    EXPECT_EQ(0, run.exit) << run.out;
    ASSERT_EQ(0, runZyscene({"convert", whole, folder / "car.kb"}).exit);
    EXPECT_EQ(0, runZyscene({"diff", folder / "car.ka", folder / "car.kb"}).exit);
}

TEST(ConvertToKelda, mayReplaceWhatItHasRead)
{
    const TemporaryFolder folder;
    std::filesystem::copy_file(whole, folder / "car.ka");
    EXPECT_EQ(0, runZyscene({"convert", folder / "car.ka", folder / "car.ka"}).exit);
    EXPECT_EQ(0, runZyscene({"diff", whole, folder / "car.ka"}).exit);
    EXPECT_THAT(folder.names(), ElementsAre("car.ka"));
}

TEST(ConvertToKelda, showsNothingOfItsStagingFolder)
{
    const TemporaryFolder folder;
    const Outcome run = runZyscene({"-v", "--json", "convert", "--verify", whole, folder / "car.ka"});
    EXPECT_EQ(0, run.exit);
    EXPECT_THAT(run.err, HasSubstr("stdout: writing kelda 'car.ka'\n"));
    for (const std::string& text : {run.out, run.err, readFile(folder / "car.ka")}) {
        EXPECT_THAT(text, Not(HasSubstr(".zyscene-")));
        EXPECT_THAT(text, Not(HasSubstr(folder.path())));
    }
}

TEST(ConvertToKelda, carriesDeepTrees)
{
    const TemporaryFolder folder;
    saveDeepTree(10000, folder / "deep.osb");
    for (const char* name : {"deep.ka", "deep.kb"}) {
        const Outcome run = runZyscene({"convert", folder / "deep.osb", folder / name});
        EXPECT_EQ(0, run.exit) << run.err;
        EXPECT_EQ("deep.osb -> " + std::string(name) + ": 10000 nodes, 0 primitives\n", run.out);
    }
}

TEST(ConvertToKelda, readsTheOtherFormatsToo)
{
    const TemporaryFolder folder;
    writeFile(folder / "flap.obj", "o flap\nv 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
    const Outcome run = runZyscene({"convert", "--verify", folder / "flap.obj", folder / "flap.kb"});
    EXPECT_EQ(0, run.exit) << run.err;
    EXPECT_EQ(0, runZyscene({"diff", folder / "flap.obj", folder / "flap.kb"}).exit);
}

// -- Units -------------------------------------------------------------------------------------------

/// The scene as text after an export with these options.
std::string textOf(std::vector<std::string> options, std::string* err = nullptr)
{
    const TemporaryFolder folder;
    options.insert(options.begin(), "convert");
    options.push_back(whole);
    options.push_back(folder / "car.ka");
    const Outcome run = runZyscene(options);
    EXPECT_EQ(0, run.exit) << run.err;
    if (err != nullptr)
        *err = run.err;
    else
        EXPECT_EQ("", run.err);
    return readFile(folder / "car.ka");
}

TEST(ConvertUnits, areMillimetresUnlessAskedFor)
{
    EXPECT_THAT(textOf({}), HasSubstr("currentUnit -linear \"millimeter\";"));
}

TEST(ConvertUnits, areTheLabelOfTheFile)
{
    const std::pair<const char*, const char*> units[] = {{"Inch", "inch"},           {"foot", "foot"},
                                                         {"Kilometer", "kilometer"}, {"cm", "centimeter"},
                                                         {"mile", "mile"},           {"yd", "yard"}};
    for (const auto& row : units)
        EXPECT_THAT(textOf({"--units", row.first}),
                    HasSubstr("currentUnit -linear \"" + std::string(row.second) + "\";"));
    EXPECT_THAT(textOf({"--export-option", "units=Yard;x"}), HasSubstr("\"yard\""));
    EXPECT_THAT(textOf({"--export-option", "x", "--export-option", "units=Foot"}), HasSubstr("\"foot\""));
}

TEST(ConvertUnits, changeNoNumbers)
{
    std::string text = textOf({"--units", "Mile"});
    const std::string::size_type label = text.find("mile");
    ASSERT_NE(std::string::npos, label);
    EXPECT_EQ(textOf({}), text.replace(label, 4, "millimeter"));
}

// Both texts are set for the same suffix, and "units=" is also the end of "importunits=".
TEST(ConvertUnits, ofTheImportAndOfTheExportAreApart)
{
    EXPECT_THAT(textOf({"--import-units", "Meter"}), HasSubstr("currentUnit -linear \"millimeter\";"));
    EXPECT_THAT(textOf({"--import-units", "Meter", "--units", "Inch"}), HasSubstr("\"inch\""));
    EXPECT_EQ(textOf({"--import-units", "Inch"}), textOf({"--import-units", "Inch", "--units", "mm"}));
    EXPECT_NE(textOf({"--import-units", "Inch"}), textOf({}));
}

TEST(ConvertUnits, thatNobodyKnowsAreAWarningWithTheKnownOnes)
{
    for (const char* option : {"--units=Parsec", "--export-option=units=Parsec"}) {
        std::string err;
        EXPECT_THAT(textOf({option}, &err), HasSubstr("currentUnit -linear \"centimeter\";"));
        EXPECT_THAT(err, HasSubstr("zyscene: warning: unknown export unit 'Parsec'"));
        EXPECT_THAT(err,
                    HasSubstr("Inch, Foot, Yard, Mile, Meter, Kilometer, Millimeter, Centimeter, in, ft"));
        EXPECT_THAT(err, HasSubstr("\"Parsec\" is not a linear unit")); // in the words of the modeller
    }
    for (const char* option : {"--units", "--import-units"}) {
        const TemporaryFolder folder;
        const Outcome run = runZyscene({"convert", option, "", whole, folder / "car.kb"});
        EXPECT_EQ(0, run.exit);
        EXPECT_THAT(run.err, ::testing::ContainsRegex("zyscene: warning: unknown (ex|im)port unit ''"));
    }
    const TemporaryFolder folder;
    const Outcome run = runZyscene({"--json", "convert", "--units", "Cm", whole, folder / "car.kb"});
    EXPECT_EQ("unit-unknown", nlohmann::json::parse(run.out)["issues"][0]["code"]);
}

// -- Verifying ---------------------------------------------------------------------------------------

Outcome runFaulty(const std::string& fault, std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), "convert");
    return runProgram(FAULTY_PROGRAM, arguments, "", {fault});
}

TEST(ConvertVerify, isContentWithWhatTheReportOfLossesNames)
{
    const TemporaryFolder folder;
    for (const char* name : {"car.ka", "car.kb", "car.osb"}) {
        const Outcome run = runZyscene({"--json", "convert", "--verify", scene, folder / name});
        EXPECT_EQ(0, run.exit) << run.err;
        EXPECT_EQ(nlohmann::json::array(), nlohmann::json::parse(run.out)["results"][0]["differences"]);
    }
    // To everybody else the inactive node is missing.
    EXPECT_EQ(3, runZyscene({"diff", scene, folder / "car.kb"}).exit);
}

osg::NodePtr makePainted(const std::string& name, float x, const osg::MaterialPtr& material)
{
    const osg::NodePtr node = makeTriangle(name, x);
    painted(osg::GeometryPtr::dcast(node->getCore()), material);
    return node;
}

osg::NodePtr makePainted(const std::vector<LossyMaterial>& materials)
{
    std::vector<osg::NodePtr> nodes;
    for (const LossyMaterial& material : materials)
        nodes.push_back(makePainted("mesh" + material.name, float(nodes.size()), material.material));
    return makeGroup("scene", nodes);
}

TEST(ConvertVerify, isContentWithEachLossOfMaterials)
{
    startGraph();
    const TemporaryFolder folder;
    const std::vector<LossyMaterial> materials = makeLossyMaterials();
    std::map<std::string, std::set<std::string>> expected;
    for (const LossyMaterial& material : materials) {
        for (const std::string& code : material.codes)
            expected[code].insert(material.name);
    }
    saveScene(makePainted(materials), folder / "scene.osb");
    for (const char* name : {"copy.ka", "copy.kb"}) {
        const Outcome run =
            runZyscene({"--json", "convert", "--verify", folder / "scene.osb", folder / name});
        EXPECT_EQ(0, run.exit) << run.err;
        const auto document = nlohmann::json::parse(run.out);
        EXPECT_EQ(nlohmann::json::array(), document["results"][0]["differences"]);
        std::map<std::string, std::set<std::string>> found;
        for (const auto& loss : document["results"][0]["losses"]) {
            for (const std::string material : loss["materials"])
                found[loss["code"]].insert(material);
        }
        EXPECT_EQ(expected, found);
        // To everybody else each of these materials looks different.
        const Outcome diff = runZyscene({"--json", "diff", folder / "scene.osb", folder / name});
        EXPECT_EQ(3, diff.exit);
        EXPECT_EQ(materials.size(),
                  nlohmann::json::parse(diff.out)["results"][0]["counts"]["material"].get<std::size_t>());
    }
}

TEST(ConvertVerify, isContentWithWhatGeneratedCoordinatesLose)
{
    startGraph();
    const TemporaryFolder folder;
    const auto save = [&folder](float x) {
        const osg::Transform3DPtr place = osg::Transform3D::create();
        changed(place, [x](const osg::Transform3DPtr& core) {
            core->setTranslation(osg::Vec3f(x, 0.1f, 0));
            core->setRotation(osg::Quaternion(osg::Vec3f(0, 0, 1), x));
        });
        saveScene(makeNode("scene", place, {makePainted(makeLossyProjections())}), folder / "scene.osb");
    };
    for (const char* name : {"copy.ka", "copy.kb"}) {
        save(0);
        EXPECT_EQ(0, runZyscene({"convert", "--verify", folder / "scene.osb", folder / name}).exit) << name;
        save(0.3f);
        const Outcome run =
            runZyscene({"--json", "convert", "--verify", folder / "scene.osb", folder / name});
        EXPECT_EQ(0, run.exit) << run.err;
        EXPECT_THAT(run.out, HasSubstr("\"texgen-moved\""));
        // What an import has moved already stays where it is. It has made nodes of the placements.
        const Outcome again =
            runZyscene({"--json", "convert", "--verify", folder / name, folder / "again.kb"});
        EXPECT_EQ(0, again.exit) << again.err;
        EXPECT_THAT(again.out, Not(HasSubstr("\"texgen-moved\"")));
        EXPECT_THAT(again.out, HasSubstr("\"texgen-unplaced\""));
    }
}

TEST(ConvertVerify, findsNoDifferenceInSoundMaterials)
{
    startGraph();
    const TemporaryFolder folder;
    saveScene(makePainted(makeSoundMaterials()), folder / "scene.osb");
    for (const char* name : {"copy.ka", "copy.kb"}) {
        const Outcome run = runZyscene({"convert", "--verify", folder / "scene.osb", folder / name});
        EXPECT_EQ(0, run.exit) << run.err;
        EXPECT_EQ("", run.err);
        const Outcome diff = runZyscene({"diff", folder / "scene.osb", folder / name});
        EXPECT_EQ(0, diff.exit) << diff.out;
    }
}

TEST(ConvertVerify, isNotDoneUnlessAskedFor)
{
    const TemporaryFolder folder;
    const Outcome run = runZyscene({"--json", "convert", scene, folder / "car.kb"});
    EXPECT_TRUE(nlohmann::json::parse(run.out)["results"][0]["differences"].is_null());
}

TEST(ConvertVerify, findsAMeshThatCouldNotBeMade)
{
    const TemporaryFolder folder;
    const Outcome run = runFaulty("FAULT_SDK=KFnMesh::create", {"--verify", scene, folder / "car.kb"});
    EXPECT_EQ(3, run.exit);
    EXPECT_THAT(run.err, HasSubstr("zyscene: warning: car.kb: Couldn't create mesh 'doorShape'\n"));
    EXPECT_THAT(run.err, HasSubstr("zyscene: error: car.kb: is not what was to be written: missing "));
    EXPECT_THAT(run.err, HasSubstr("doorShape: "));
    EXPECT_THAT(run.out, HasSubstr(" -> car.kb: "));
    EXPECT_EQ(0, runZyscene({"info", folder / "car.kb"}).exit);
}

TEST(ConvertVerify, findsTextureCoordinatesThatCouldNotBeSet)
{
    const TemporaryFolder folder;
    const Outcome run =
        runFaulty("FAULT_SDK=KFnMesh::setUVs", {"--json", "--verify", scene, folder / "car.kb"});
    EXPECT_EQ(3, run.exit);
    const auto document = nlohmann::json::parse(run.out);
    EXPECT_EQ(3, document["exit"]);
    EXPECT_EQ("uvs", document["results"][0]["differences"][0]["kind"]);
    EXPECT_EQ("copy-differs", document["issues"].back()["code"]);
    EXPECT_EQ("error", document["issues"].back()["severity"]);
}

TEST(ConvertVerify, looksAtTheFileAloneWhateverLiesBesideIt)
{
    const TemporaryFolder folder;
    std::filesystem::copy_file(scene, folder / "car_shadow.ka");
    EXPECT_EQ(0, runZyscene({"convert", "--verify", whole, folder / "car.ka"}).exit);
}

/// Whether verifying an export of the scene finds nothing, and its report of losses names this node for it.
/// A comparison that knows of no losses finds a difference of this kind.
void expectNamedLoss(const osg::NodePtr& root, const std::string& code, const std::string& node,
                     const std::string& difference)
{
    const TemporaryFolder folder;
    saveScene(root, folder / "car.osb");
    for (const char* name : {"car.ka", "car.kb"}) {
        const Outcome run = runZyscene({"--json", "convert", "--verify", folder / "car.osb", folder / name});
        EXPECT_EQ(0, run.exit) << run.err;
        const auto document = nlohmann::json::parse(run.out);
        EXPECT_EQ(nlohmann::json::array(), document["results"][0]["differences"]);
        nlohmann::json nodes;
        for (const nlohmann::json& loss : document["results"][0]["losses"]) {
            if (loss["code"] == code)
                nodes = loss["nodes"];
        }
        EXPECT_EQ(nlohmann::json({node}), nodes) << code;
        EXPECT_THAT(runZyscene({"diff", folder / "car.osb", folder / name}).out, HasSubstr(difference));
    }
}

TEST(ConvertVerify, knowsThatNormalsAreMade)
{
    expectNamedLoss(makeGroup("car", {makeTriangle("bare", 0, false), makeTriangle("lit", 1)}),
                    "normals-made", "bare", "normals");
}

TEST(ConvertVerify, knowsThatGeometryBelowASwitchComesBackShown)
{
    const osg::NodePtr first = makeTriangle("open", 0);
    expectNamedLoss(makeGroup("car", {makeSwitch("door", 1,
                                                 {first, makeTriangle("closed", 1), makeUse("again", first),
                                                  makeGroup("ajar", {makeTriangle("flap", 2)})}),
                                      makeUse("else", first)}),
                    "switch-geometry", "open", "visibility");
}

TEST(ConvertVerify, knowsThatTheFirstUseMayBeElsewhere)
{
    const TemporaryFolder folder;
    const osg::NodePtr first = makeTriangle("first", 0);
    saveScene(makeGroup("car", {first, makeSwitch("door", -1, {makeUse("again", first)})}),
              folder / "car.osb");
    const Outcome run = runZyscene({"convert", "--verify", folder / "car.osb", folder / "car.kb"});
    EXPECT_EQ(0, run.exit) << run.err;
    EXPECT_EQ("", run.err);
    EXPECT_EQ(0, runZyscene({"diff", folder / "car.osb", folder / "car.kb"}).exit);
}

TEST(ConvertVerify, knowsThatValuesOfTransformsAreRefused)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float infinite = std::numeric_limits<float>::infinity();
    const auto place = [](const std::function<void(const osg::Transform3DPtr&)>& change) {
        const osg::Transform3DPtr core = osg::Transform3D::create();
        const osg::CPEditor edit(core);
        core->setTranslation(osg::Vec3f(1, 2, 3));
        core->setRotation(osg::Quaternion(osg::Vec3f(0, 0, 1), 0.5f));
        core->setRotatePivot(osg::Vec3f(4, 5, 6));
        core->setScalePivot(osg::Vec3f(7, 8, 9));
        core->setScale(osg::Vec3f(2, 3, 4));
        change(core);
        return core;
    };
    osg::Quaternion noAxis;
    noAxis.setValueAsQuat(0, nan, 0, 1);
    osg::Quaternion noAngle;
    noAngle.setValueAsQuat(0, 0, 1, nan);
    const std::function<void(const osg::Transform3DPtr&)> changes[] = {
        [&](const auto& core) { core->setTranslation(osg::Vec3f(0, infinite, 0)); },
        [&](const auto& core) { core->setRotation(noAxis); },
        [&](const auto& core) { core->setRotation(noAngle); },
        [&](const auto& core) { core->setRotationOrientation(noAngle); },
        [&](const auto& core) { core->setRotatePivot(osg::Vec3f(nan, 0, 0)); },
        [&](const auto& core) { core->setRotatePivotTranslation(osg::Vec3f(nan, 0, 0)); },
        [&](const auto& core) { core->setScale(osg::Vec3f(1, 1, -infinite)); },
        [&](const auto& core) { core->setScalePivot(osg::Vec3f(nan, 0, 0)); },
        [&](const auto& core) { core->setScalePivotTranslation(osg::Vec3f(nan, 0, 0)); },
        [&](const auto& core) { core->setShear(osg::Vec3f(0, nan, 0)); },
    };
    for (const auto& change : changes) {
        expectNamedLoss(makeGroup("car", {makeNode("place", place(change), {makeTriangle("a", 0)})}),
                        "transform-refused", "place", "moved");
    }
    const osg::TransformPtr matrix = osg::Transform::create();
    {
        osg::Matrix value;
        value[0][1] = nan;
        const osg::CPEditor edit(matrix);
        matrix->setMatrix(value);
    }
    expectNamedLoss(makeGroup("car", {makeNode("place", matrix, {makeTriangle("a", 0)})}),
                    "transform-refused", "place", "moved");
}

TEST(ConvertVerify, knowsThatSmallRotationsAreCoarse)
{
    const osg::Transform3DPtr core = osg::Transform3D::create();
    {
        const osg::CPEditor edit(core);
        core->setRotation(osg::Quaternion(osg::Vec3f(0, 0, 1), 1e-4f));
    }
    expectNamedLoss(makeGroup("car", {makeNode("small", core, {makeTriangle("a", 0)})}), "rotation-coarse",
                    "small", "moved");
}

TEST(ConvertVerify, knowsThatLightsAreNotWritten)
{
    const TemporaryFolder folder;
    saveScene(makeGroup("car", {makeNode("lamp", osg::PointLight::create(), {makeTriangle("glass", 0)})}),
              folder / "car.osb");
    const Outcome run = runZyscene({"convert", "--verify", folder / "car.osb", folder / "car.ka"});
    EXPECT_EQ(0, run.exit) << run.err;
    EXPECT_THAT(run.err, HasSubstr("lights are not written: 1 node ('lamp')\n"));
    const std::string text = readFile(folder / "car.ka");
    EXPECT_THAT(text, HasSubstr("\"glass\""));
    EXPECT_THAT(text, Not(HasSubstr("lamp")));
}

TEST(ConvertVerify, isDoneForAllExamples)
{
    const TemporaryFolder folder;
    const Outcome run =
        runZyscene({"convert", "--verify", testFolder() + "/../../examples/car/car.ka", folder / "car.kb"});
    EXPECT_EQ(0, run.exit) << run.err;
}

// -- What is not carried over ------------------------------------------------------------------------

TEST(ConvertLosses, areWarningsAndEntriesOfTheReport)
{
    const TemporaryFolder folder;
    const Outcome run =
        runZyscene({"--json", "convert", "--loss-report", folder / "loss.json", scene, folder / "car.kb"});
    EXPECT_EQ(0, run.exit);
    EXPECT_EQ("zyscene: warning: car.kb: inactive nodes are not written, nor what is below them: 1 node "
              "('roofShape')\n",
              run.err);
    const auto document = nlohmann::json::parse(run.out);
    EXPECT_EQ("node-inactive", document["issues"][0]["code"]);
    EXPECT_EQ("warning", document["issues"][0]["severity"]);
    EXPECT_EQ("roofShape", document["issues"][0]["node"]);

    const auto report = nlohmann::json::parse(readFile(folder / "loss.json"));
    EXPECT_EQ("zyscene-loss/1", report["schema"]);
    EXPECT_EQ("two_meshes.ka", report["in"]);
    EXPECT_EQ("car.kb", report["out"]);
    EXPECT_EQ(report["losses"], document["results"][0]["losses"]);
    EXPECT_EQ("node-inactive", report["losses"][0]["code"]);
    EXPECT_EQ(1, report["losses"][0]["count"]);
    EXPECT_EQ(nlohmann::json({"roofShape"}), report["losses"][0]["nodes"]);
    EXPECT_THAT(folder.names(), ElementsAre("car.kb", "loss.json"));
}

TEST(ConvertLosses, thatOnlyAreKeptDifferentlyAreNoWarnings)
{
    const TemporaryFolder folder;
    const Outcome run = runZyscene({"-v", "--json", "convert", whole, folder / "car.kb"});
    EXPECT_THAT(run.err, Not(HasSubstr("warning")));
    EXPECT_THAT(run.err, HasSubstr("polygons and strips become separate triangles: "));
    EXPECT_EQ("note", nlohmann::json::parse(run.out)["issues"][0]["severity"]);
}

TEST(ConvertLosses, areNoneInASceneGraphFile)
{
    const TemporaryFolder folder;
    EXPECT_EQ(0,
              runZyscene({"convert", "--loss-report", folder / "loss.json", scene, folder / "car.osb"}).exit);
    EXPECT_EQ(nlohmann::json::array(), nlohmann::json::parse(readFile(folder / "loss.json"))["losses"]);
}

TEST(ConvertLosses, areNotReportedInPlaceOfAFileThatIsToStay)
{
    const TemporaryFolder folder;
    writeFile(folder / "loss.json", "precious");
    EXPECT_EQ(1, runZyscene({"convert", "--no-clobber", "--loss-report", folder / "loss.json", scene,
                             folder / "car.kb"})
                     .exit);
    EXPECT_EQ("precious", readFile(folder / "loss.json"));
    EXPECT_THAT(folder.names(), ElementsAre("loss.json"));
    EXPECT_EQ(
        0,
        runZyscene({"convert", "-q", "--loss-report", folder / "loss.json", scene, folder / "car.kb"}).exit);
    EXPECT_TRUE(nlohmann::json::accept(readFile(folder / "loss.json")));
}

TEST(ConvertLosses, thatCannotBeReportedAreAFailure)
{
    const TemporaryFolder folder;
    const Outcome missing =
        runZyscene({"convert", "--loss-report", folder / "nosuch/loss.json", scene, folder / "car.kb"});
    EXPECT_EQ(1, missing.exit);
    EXPECT_EQ(
        "zyscene: error: loss.json: the loss report cannot be written: there is no such folder, or it is "
        "one itself\n",
        missing.err);
    EXPECT_TRUE(folder.names().empty());

    const Outcome full =
        runZyscene({"convert", "-q", "--loss-report", "/dev/full", scene, folder / "car.kb"});
    EXPECT_EQ(1, full.exit);
    EXPECT_THAT(full.err, HasSubstr("full: the loss report cannot be written: No space left on device\n"));
}

// -- Failures ----------------------------------------------------------------------------------------

/// Failures are the same whatever the form.
class ConvertFailure : public ::testing::TestWithParam<const char*>
{
protected:
    std::string target() const { return std::string("old") + GetParam(); }
    void writeOld() { writeFile(folder / target(), "precious"); }
    void expectOld() const
    {
        EXPECT_EQ("precious", readFile(folder / target()));
        EXPECT_THAT(folder.names(), ElementsAre(target()));
    }
    /// A folder whose process was killed goes soon, not at once.
    void waitForStagingToGo() const
    {
        for (int i = 0; i < 500 && folder.names().size() > 1; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        EXPECT_THAT(folder.names(), ElementsAre(target()));
    }

    const TemporaryFolder folder;
};

INSTANTIATE_TEST_SUITE_P(Forms, ConvertFailure, ::testing::Values(".osb", ".ka", ".kb"),
                         [](const auto& suffix) { return suffix.param + 1; });

TEST_P(ConvertFailure, toReadLeavesTheOldFileWhole)
{
    writeOld();
    const Outcome run = runZyscene({"convert", "bad/cut.ka", folder / target()});
    EXPECT_EQ(1, run.exit);
    EXPECT_EQ("", run.out);
    expectOld();
}

TEST_P(ConvertFailure, ofAMissingInputTouchesNothing)
{
    const Outcome run = runZyscene({"convert", "good/nosuch.ka", folder / target()});
    EXPECT_EQ(1, run.exit);
    EXPECT_EQ("zyscene: error: good/nosuch.ka: no such file\n", run.err);
    EXPECT_TRUE(folder.names().empty());
}

TEST_P(ConvertFailure, ofAMissingFolderIsOneLine)
{
    const Outcome run = runZyscene({"convert", scene, "good/nosuch/" + target()});
    EXPECT_EQ(1, run.exit);
    EXPECT_EQ("zyscene: error: good/nosuch/" + target() + ": cannot be written: there is no such folder\n",
              run.err);
}

TEST_P(ConvertFailure, noClobberKeepsWhatIsThere)
{
    writeOld();
    const Outcome run = runZyscene({"convert", "--no-clobber", "--json", scene, folder / target()});
    EXPECT_EQ(1, run.exit);
    EXPECT_EQ("target-exists", nlohmann::json::parse(run.out)["issues"][0]["code"]);
    expectOld();
    const std::string other = std::string("new") + GetParam();
    EXPECT_EQ(0, runZyscene({"convert", "--no-clobber", scene, folder / other}).exit);
    EXPECT_THAT(folder.names(), ElementsAre(other, target()));
}

TEST_P(ConvertFailure, neverReplacesWhatIsNoFile)
{
    ASSERT_EQ(0, ::mkfifo((folder / target()).c_str(), 0600));
    const Outcome run = runZyscene({"convert", scene, folder / target()});
    EXPECT_EQ(1, run.exit);
    EXPECT_THAT(run.err, HasSubstr("no regular file"));
    EXPECT_TRUE(std::filesystem::is_fifo(folder / target()));
}

TEST_P(ConvertFailure, ofATargetThatIsAFolderIsOneLine)
{
    std::filesystem::create_directory(folder / target());
    const Outcome run = runZyscene({"convert", scene, folder / target()});
    EXPECT_EQ(1, run.exit);
    EXPECT_EQ("zyscene: error: " + target() +
                  ": cannot be written: is there already and is no regular file\n",
              run.err);
    EXPECT_TRUE(std::filesystem::is_empty(folder / target()));
    EXPECT_THAT(folder.names(), ElementsAre(target()));
}

// A file that may not grow fails in the middle of being written, as on a full disk.
TEST_P(ConvertFailure, inTheMiddleOfTheFileLeavesTheOldOneWhole)
{
    const TemporaryFolder other;
    saveDeepTree(2000, other / "big.osb"); // some 100 KB
    writeOld();
    const std::string command = "trap '' XFSZ; ulimit -f 8; exec " + shell(ZYSCENE_PROGRAM) + " convert " +
                                shell(other / "big.osb") + " " + shell(folder / target()) + " 2>" +
                                shell(other / "err");
    const int status = std::system(command.c_str());
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(1, WEXITSTATUS(status));
    const std::string err = readFile(other / "err");
    EXPECT_THAT(err, StartsWith("zyscene: error: " + target() + ": cannot be written: "));
    EXPECT_EQ(1, std::count(err.begin(), err.end(), '\n')) << err;
    expectOld();
}

TEST_P(ConvertFailure, ofAFullDiskIsOneLineAndLeavesTheOldFileWhole)
{
    const TemporaryFolder other;
    saveDeepTree(2000, other / "big.osb");
    // Seen by this process and those that it starts, and gone with them.
    if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("tmpfs", folder.path().c_str(), "tmpfs", 0, "size=32k") != 0)
        GTEST_SKIP() << "only root can make a small disk";
    writeOld();
    const Outcome run = runZyscene({"convert", other / "big.osb", folder / target()});
    EXPECT_EQ(1, run.exit);
    EXPECT_EQ("", run.out);
    EXPECT_THAT(run.err, StartsWith("zyscene: error: " + target() + ": cannot be written: "));
    EXPECT_EQ(1, std::count(run.err.begin(), run.err.end(), '\n')) << run.err;
    expectOld();
    ::umount(folder.path().c_str());
}

TEST_P(ConvertFailure, ofAFolderThatMayNotBeChangedIsOneLine)
{
    const unsigned int nobody = ::geteuid() == 0 ? 65534 : 0; // root may change every folder
    writeOld();
    ASSERT_EQ(0, ::chmod(folder.path().c_str(), 0555));
    const Outcome run = runProgram(ZYSCENE_PROGRAM, {"convert", scene, folder / target()}, "", {}, nobody);
    ::chmod(folder.path().c_str(), 0700);
    if (run.exit == 127)
        GTEST_SKIP() << "nobody may not start the program";
    EXPECT_EQ(1, run.exit);
    EXPECT_EQ("zyscene: error: " + target() +
                  ": cannot be written: cannot make a folder for it: Permission denied\n",
              run.err);
    expectOld();
}

TEST_P(ConvertFailure, ofAnyStepIsOneLineAndLeavesTheOldFileWhole)
{
    int failures = 0;
    for (int step = 1; step <= 12; ++step) {
        writeOld();
        const Outcome run = runFaulty("FAULT_FAIL=" + std::to_string(step), {whole, folder / target()});
        if (run.exit == 0) {
            EXPECT_NE("precious", readFile(folder / target())) << step;
            continue;
        }
        ++failures;
        EXPECT_EQ(1, run.exit);
        EXPECT_EQ("", run.out);
        EXPECT_THAT(run.err, StartsWith("zyscene: error: " + target() + ": cannot be written: ")) << step;
        EXPECT_THAT(run.err, HasSubstr("No space left on device")) << step;
        EXPECT_EQ(1, std::count(run.err.begin(), run.err.end(), '\n')) << run.err;
        expectOld();
    }
    EXPECT_GE(failures, 6);
}

TEST_P(ConvertFailure, toSurviveLeavesTheOldFileOrTheNewOne)
{
    writeOld();
    ASSERT_EQ(0, runZyscene({"convert", whole, folder / target()}).exit);
    const std::string complete = readFile(folder / target());

    int kills = 0;
    for (int step = 1; step <= 12; ++step) {
        writeOld();
        const Outcome run = runFaulty("FAULT_KILL=" + std::to_string(step), {whole, folder / target()});
        waitForStagingToGo();
        const std::string content = readFile(folder / target());
        if (run.exit == 0) {
            EXPECT_EQ(complete, content);
            continue;
        }
        ++kills;
        EXPECT_EQ(-SIGKILL, run.exit);
        EXPECT_TRUE(content == "precious" || content == complete) << step;
    }
    EXPECT_GE(kills, 6);
}

// The module answers that all went well.
TEST(ConvertToKelda, noticesASaveThatFailed)
{
    const TemporaryFolder folder;
    for (const char* name : {"old.ka", "old.kb"}) {
        writeFile(folder / name, "precious");
        const Outcome run = runFaulty("FAULT_SDK=KFileIO::saveAs", {whole, folder / name});
        EXPECT_EQ(1, run.exit);
        EXPECT_EQ("", run.out);
        EXPECT_THAT(run.err, StartsWith("zyscene: error: " + std::string(name) + ": cannot be written: "));
        EXPECT_EQ(1, std::count(run.err.begin(), run.err.end(), '\n')) << run.err;
        EXPECT_EQ("precious", readFile(folder / name));
    }
    EXPECT_THAT(folder.names(), ElementsAre("old.ka", "old.kb"));
}
} // namespace
