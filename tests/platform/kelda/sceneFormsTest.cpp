#include "ioTools.h"

#include "kelda/KDagPathArray.h"
#include "kelda/KFnDagNode.h"
#include "kelda/KFnMesh.h"
#include "kelda/KFnTransform.h"
#include "kelda/KGlobal.h"
#include "kelda/KItDag.h"

#include <rapidcheck.h>

#include <clocale>
#include <cstdint>
#include <cstring>
#include <random>
#include <sstream>

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace
{

class SceneForms : public FileTest
{
protected:
    std::string golden() { return read(std::string(ZY_GOLDEN_DIR) + "/car.ka"); }

    /// Opens the text, and returns what the scene is as "kb".
    std::string binaryOf(const std::string& text)
    {
        EXPECT_EQ(openText(text), KStatus::kSuccess) << lastError();
        EXPECT_EQ(KFileIO::saveAs(in("scene.kb")), KStatus::kSuccess) << lastError();
        return read(in("scene.kb"));
    }
};

const std::string kHeader = "//Kelda ASCII 2017 scene\n";

const std::string kTriangle = "createNode mesh -name \"m\";\n"
                              "setAttr \".points\" -type \"floatArray\" 9 0 0 0 1 0 0 0 1 0;\n"
                              "setAttr \".faceCounts\" -type \"intArray\" 1 3;\n"
                              "setAttr \".faceVertices\" -type \"intArray\" 3 0 1 2;\n";

} // namespace

// -- Same content in both forms -------------------------------------------------------------------

TEST_F(SceneForms, goldenSceneIsWrittenAsItWasRead)
{
    ASSERT_EQ(openText(golden()), KStatus::kSuccess) << lastError();
    EXPECT_EQ(sceneText(), golden());
}

TEST_F(SceneForms, binaryFormKeepsEverything)
{
    const std::string bytes = binaryOf(golden());
    ASSERT_EQ(KFileIO::open(in("scene.kb")), KStatus::kSuccess) << lastError();
    EXPECT_EQ(sceneText(), golden());
    ASSERT_EQ(KFileIO::saveAs(in("again.kb")), KStatus::kSuccess);
    EXPECT_EQ(read(in("again.kb")), bytes);
}

TEST_F(SceneForms, emptySceneRoundTrips)
{
    const std::string bytes = binaryOf(emptySceneText());
    EXPECT_EQ(sceneText(), emptySceneText());
    ASSERT_EQ(KFileIO::open(in("scene.kb")), KStatus::kSuccess);
    EXPECT_EQ(sceneText(), emptySceneText());
}

TEST_F(SceneForms, formIsToldByContentNotBySuffix)
{
    write(in("text.kb"), golden());
    EXPECT_EQ(KFileIO::open(in("text.kb")), KStatus::kSuccess);
    EXPECT_EQ(sceneText(), golden());
    EXPECT_EQ(KFileIO::open(in("text.kb"), "keldaAscii"), KStatus::kSuccess);
    EXPECT_EQ(KFileIO::open(in("text.kb"), "keldaBinary"), KStatus::kFailure);
    EXPECT_EQ(lastError(), in("text.kb") + ": is of the type keldaAscii, not keldaBinary");
}

TEST_F(SceneForms, worldMatricesSurviveTheText)
{
    ASSERT_EQ(openText(kHeader +
                       "createNode transform -name \"t\"; setAttr \".rotate\" 0.1 0.2 0.30000000000000004;"
                       "setAttr \".translate\" 1e300 -5e-324 123456789.12345679;"),
              KStatus::kSuccess)
        << lastError();
    KDagPath path;
    KItDag it;
    ASSERT_EQ(it.getPath(path), KStatus::kSuccess);
    const KVector t = KFnTransform(path).translation(KSpace::kTransform);
    const std::string text = sceneText();
    ASSERT_EQ(openText(text), KStatus::kSuccess);
    KItDag again;
    ASSERT_EQ(again.getPath(path), KStatus::kSuccess);
    const KVector u = KFnTransform(path).translation(KSpace::kTransform);
    EXPECT_EQ(t.x, u.x);
    EXPECT_EQ(t.y, u.y);
    EXPECT_EQ(t.z, u.z);
    EXPECT_EQ(u.y, -5e-324);
}

TEST_F(SceneForms, instanceNumbersAreThoseOfTheOrderOfParents)
{
    // Made below b first, although a is met first.
    const std::string text =
        kHeader + "createNode transform -name \"a\";\n" + "createNode transform -name \"b\";\n" +
        "createNode transform -name \"below\" -parent \"b\";\n" + "parent -add \"below\" \"a\";\n";
    ASSERT_EQ(openText(text), KStatus::kSuccess) << lastError();
    const auto firstPath = [] {
        KDagPath path;
        KDagPathArray paths;
        for (KItDag it; !it.isDone(); it.next()) {
            it.getPath(path);
            if (KFnDagNode(path).name() == "below")
                break;
        }
        KFnDagNode(path).getAllPaths(paths);
        return paths.length() == 2 ? std::string(paths[0].fullPathName().asChar()) : "";
    };
    EXPECT_EQ(firstPath(), "|b|below");
    ASSERT_EQ(KFileIO::saveAs(in("x.ka")), KStatus::kSuccess);
    ASSERT_EQ(KFileIO::saveAs(in("x.kb")), KStatus::kSuccess);
    ASSERT_EQ(KFileIO::open(in("x.ka")), KStatus::kSuccess) << lastError();
    EXPECT_EQ(firstPath(), "|b|below");
    ASSERT_EQ(KFileIO::open(in("x.kb")), KStatus::kSuccess) << lastError();
    EXPECT_EQ(firstPath(), "|b|below");
    EXPECT_EQ(sceneText(), read(in("x.ka")));
}

TEST_F(SceneForms, numbersDoNotFollowTheLocale)
{
    const std::string before = std::setlocale(LC_ALL, nullptr);
    if (!std::setlocale(LC_ALL, "de_DE.UTF-8") && !std::setlocale(LC_ALL, "fr_FR.UTF-8"))
        GTEST_SKIP() << "no locale with a decimal comma is installed";
    const KStatus opened = openText(golden());
    const std::string text = sceneText();
    std::setlocale(LC_ALL, before.c_str());
    EXPECT_EQ(opened, KStatus::kSuccess) << lastError();
    EXPECT_EQ(text, golden());
}

TEST_F(SceneForms, valuesOfDefaultNodesAreKept)
{
    const std::string text = kHeader +
                             "currentUnit -linear \"centimeter\";\n    setAttr \"lambert1.color\" 1 0.25 0;\n"
                             "//End of scene\n";
    ASSERT_EQ(openText(text), KStatus::kSuccess) << lastError();
    EXPECT_EQ(sceneText(), text);
    binaryOf(text);
    ASSERT_EQ(KFileIO::open(in("scene.kb")), KStatus::kSuccess) << lastError();
    EXPECT_EQ(sceneText(), text);
}

TEST_F(SceneForms, deepSceneRoundTrips)
{
    std::string text = kHeader + "currentUnit -linear \"centimeter\";\n";
    for (int i = 0; i < 10000; ++i)
        text += "createNode transform -name \"n\"" +
                (i ? " -parent \"#" + std::to_string(i - 1) + "\";\n" : ";\n");
    ASSERT_EQ(openText(text), KStatus::kSuccess) << lastError();
    const std::string written = sceneText();
    EXPECT_LT(written.size(), 3 * text.size());
    ASSERT_EQ(openText(written), KStatus::kSuccess) << lastError();
    EXPECT_EQ(sceneText(), written);
    ASSERT_EQ(KFileIO::saveAs(in("deep.kb")), KStatus::kSuccess);
    ASSERT_EQ(KFileIO::open(in("deep.kb")), KStatus::kSuccess) << lastError();
    EXPECT_EQ(sceneText(), written);
}

TEST_F(SceneForms, deepSceneBuiltByCallsRoundTrips)
{
    KObject at;
    KFnMesh mesh;
    for (int i = 0; i < 10000; ++i) {
        KFnTransform transform;
        at = transform.create(at);
        transform.setName("level");
        if (i == 0) {
            const int corners[3] = {0, 1, 2};
            mesh.create(3, 1, KFloatPointArray(3), KIntArray(1, 3), KIntArray(corners, 3), at);
        } else if (i % 100 == 0) {
            ASSERT_EQ(transform.addChild(mesh.duplicate(true, true)), KStatus::kSuccess);
        }
    }
    EXPECT_EQ(mesh.instanceCount(true), 100u);
    const std::string written = sceneText();
    for (const char* name : {"deep.kb", "deep.ka"}) {
        ASSERT_EQ(KFileIO::saveAs(in(name)), KStatus::kSuccess);
        ASSERT_EQ(KFileIO::open(in(name)), KStatus::kSuccess) << lastError();
        EXPECT_EQ(sceneText(), written);
    }
}

// Random scenes, spelt as text: whatever they hold must come back from both forms as the same bytes.
namespace
{

std::string number(std::mt19937& random)
{
    switch (random() % 4) {
    case 0:
        return std::to_string(static_cast<int>(random() % 21) - 10);
    case 1: {
        float f = 0;
        uint32_t bits = static_cast<uint32_t>(random());
        if ((bits & 0x7f800000u) == 0x7f800000u)
            bits &= 0x3fffffffu;
        std::memcpy(&f, &bits, sizeof f);
        std::ostringstream text;
        text.imbue(std::locale::classic());
        text.precision(9);
        text << f;
        return text.str();
    }
    default:
        return std::to_string(random() % 1000) + "." + std::to_string(random() % 1000);
    }
}

std::string randomMesh(std::mt19937& random, int& faces)
{
    const int points = 3 + static_cast<int>(random() % 6);
    faces = 1 + static_cast<int>(random() % 5);
    std::string text = "setAttr \".points\" -type \"floatArray\" " + std::to_string(points * 3);
    for (int i = 0; i < points * 3; ++i)
        text += " " + number(random);
    std::string counts;
    std::string ids;
    int corners = 0;
    for (int f = 0; f < faces; ++f) {
        const int count = 3 + static_cast<int>(random() % 3);
        counts += " " + std::to_string(count);
        for (int k = 0; k < count; ++k, ++corners)
            ids += " " + std::to_string(random() % static_cast<unsigned>(points));
    }
    const std::string total = std::to_string(corners);
    text += ";\nsetAttr \".faceCounts\" -type \"intArray\" " + std::to_string(faces) + counts;
    text += ";\nsetAttr \".faceVertices\" -type \"intArray\" " + total + ids + ";\n";
    if (random() % 2) {
        text += "setAttr \".normals\" -type \"floatArray\" 6 0 0 1 " + number(random) + " 0 1;\n";
        text += "setAttr \".normalIds\" -type \"intArray\" " + total;
        for (int i = 0; i < corners; ++i)
            text += random() % 2 ? " 0" : " 1";
        text += ";\n";
    }
    for (unsigned s = 0; s < random() % 4; ++s) {
        const std::string set = "setAttr \".uvSets[" + std::to_string(s) + "].";
        text += set + "uvSetName\" -type \"string\" \"uv\\\\ \\\"" + std::to_string(s) + "\\n\";\n";
        if (random() % 4 == 0)
            continue;
        text += set + "uvs\" -type \"floatArray\" 4 " + number(random) + " 0 1 " + number(random) + ";\n";
        if (random() % 4 == 0)
            continue;
        text += set + "uvIds\" -type \"intArray\" " + total;
        for (int i = 0; i < corners; ++i)
            text += " " + std::to_string(static_cast<int>(random() % 3) - 1);
        text += ";\n";
    }
    return text;
}

std::string randomScene(std::mt19937& random)
{
    static const char* const units[] = {"millimeter", "centimeter", "meter", "inch", "mile"};
    static const char* const triples[] = {
        "translate",          "rotate",      "scale",      "shear",
        "rotateAxis",         "rotatePivot", "scalePivot", "rotatePivotTranslate",
        "scalePivotTranslate"};
    static const char* const shapes[] = {"camera", "locator", "pointLight", "spotLight", "directionalLight"};
    std::string text = kHeader + "currentUnit -linear \"" + units[random() % 5] + "\";\n";
    struct Made {
        bool isGroup;
        int faces; // 0: not a mesh
    };
    std::vector<Made> made;
    const auto below = [&]() -> std::string {
        const size_t i = made.empty() ? 0 : random() % made.size();
        return made.empty() || !made[i].isGroup || random() % 4 == 0
                   ? ""
                   : " -parent \"#" + std::to_string(i) + "\"";
    };
    const unsigned nodes = 1 + random() % 20;
    for (unsigned n = 0; n < nodes; ++n) {
        const std::string name = std::string(1, static_cast<char>('a' + random() % 6));
        const unsigned kind = random() % 8;
        if (kind < 4) {
            text += "createNode transform -name \"" + name + "\"" + below() + ";\n";
            for (const char* attr : triples)
                if (random() % 5 == 0)
                    text += std::string("setAttr \".") + attr + "\" " + number(random) + " " +
                            number(random) + " " + number(random) + ";\n";
            if (random() % 5 == 0)
                text += "setAttr \".rotateOrder\" " + std::to_string(random() % 6) + ";\n";
            made.push_back({true, 0});
        } else if (kind < 7) {
            int faces = 0;
            text += "createNode mesh -name \"" + name + "\"" + below() + ";\n" + randomMesh(random, faces);
            made.push_back({false, faces});
        } else {
            text += std::string("createNode ") + shapes[random() % 5] + " -name \"" + name + "\"" + below() +
                    ";\n";
            if (random() % 2)
                text += "setAttr \".visibility\" 0;\n";
            made.push_back({false, 0});
        }
        // Instances: of an earlier node below a later one, so that there is no cycle.
        for (size_t parent = 1; parent < made.size(); ++parent)
            if (made[parent].isGroup && parent + 1 == made.size() && random() % 2) {
                const std::string child = std::to_string(random() % parent);
                if (!made[std::stoul(child)].isGroup)
                    text += "parent -add \"#" + child + "\" \"#" + std::to_string(parent) + "\";\n";
            }
    }
    const unsigned groups = random() % 4;
    for (unsigned g = 0; g < groups; ++g) {
        const std::string n = std::to_string(g);
        static const char* const shaders[] = {"lambert", "phong", "blinn"};
        text += std::string("createNode ") + shaders[random() % 3] + " -name \"ink" + n + "\";\n";
        if (random() % 2)
            text += "setAttr \".color\" 0.1 " + number(random) + " 0.7;\n";
        text += "createNode file -name \"image" + n + "\";\n";
        if (random() % 2)
            text += "setAttr \".fileTextureName\" -type \"string\" \"a\\\\b\\n" + n + "\";\n";
        text += "createNode uvChooser -name \"chooser" + n + "\";\n";
        for (unsigned i = 0; i < random() % 3; ++i)
            text += "setAttr \".uvSets[" + std::to_string(random() % 5) + "]\" -type \"string\" \"" +
                    std::to_string(random() % 9) + "\";\n";
        text += (random() % 3 ? "createNode shadingEngine -name \"sg" : "createNode objectSet -name \"sg") +
                n + "\";\n";
    }
    for (unsigned g = 0; g < groups; ++g) {
        const std::string n = std::to_string(g);
        if (random() % 2)
            text += "connectAttr \"image" + n + ".outColor\" \"ink" + n + ".color\";\n";
        if (random() % 2)
            text += "connectAttr \"chooser" + n + ".outUV\" \"image" + n + ".uvCoord\";\n";
        for (size_t i = 0; i < made.size(); ++i)
            if (made[i].faces > 0 && random() % 4 == 0)
                text += "connectAttr \"#" + std::to_string(i) + ".uvSets[0].uvSetName\" \"chooser" + n +
                        ".uvSets[" + std::to_string(10 + i) + "]\";\n";
    }
    for (unsigned g = 0; g < groups; ++g) {
        for (size_t i = 0; i < made.size(); ++i) {
            if (made[i].faces == 0 || random() % 2)
                continue;
            text += "sets -edit -addElement \"sg" + std::to_string(g) + "\" \"#" + std::to_string(i);
            if (random() % 2)
                text += ".f[" + std::to_string(random() % static_cast<unsigned>(made[i].faces)) + "]";
            text += "\";\n";
        }
    }
    return text;
}

} // namespace

TEST_F(SceneForms, anySceneIsTheSameInBothForms)
{
    ::setenv("RC_PARAMS", "seed=20170401 max_success=200", 0);
    const bool held = rc::check("ka to kb to ka gives the same bytes", [this](uint32_t seed) {
        std::mt19937 random(seed);
        const std::string text = randomScene(random);
        RC_ASSERT(openText(text) == KStatus::kSuccess);
        RC_ASSERT(KFileIO::saveAs(in("1.ka")) == KStatus::kSuccess);
        RC_ASSERT(KFileIO::open(in("1.ka")) == KStatus::kSuccess);
        RC_ASSERT(KFileIO::saveAs(in("1.kb")) == KStatus::kSuccess);
        RC_ASSERT(KFileIO::open(in("1.kb")) == KStatus::kSuccess);
        RC_ASSERT(KFileIO::saveAs(in("2.ka")) == KStatus::kSuccess);
        RC_ASSERT(KFileIO::saveAs(in("2.kb")) == KStatus::kSuccess);
        RC_ASSERT(read(in("1.ka")) == read(in("2.ka")));
        RC_ASSERT(read(in("1.kb")) == read(in("2.kb")));
    });
    EXPECT_TRUE(held) << lastError();
}

// -- Errors in text -------------------------------------------------------------------------------

TEST_F(SceneForms, errorsNameLineAndColumn)
{
    expectError(kHeader + "createNode wobble -name \"a\";",
                "2:12: createNode: there is no node type \"wobble\"");
    expectError(kHeader + "createNode transform -name \"a\";\n  setAttr \".wobble\" 1;",
                "3:11: setAttr: there is no attribute \"transform.wobble\"");
    expectError(kHeader + "createNode transform -name \"a\";\n  setAttr \".translate\" 1 2;",
                "3:11: setAttr: expected 3 numbers");
    expectError(kHeader + "createNode transform -name \"a\";\n  setAttr \".translate\" 1 2 1e999;",
                "3:28: setAttr: not a number that fits here");
    expectError(kHeader + "createNode transform -name \"a\" -parent \"b\";",
                "2:40: createNode: there is no node \"b\"");
    expectError(kHeader + "currentUnit -linear \"cubit\";",
                "2:21: currentUnit: \"cubit\" is not a unit of length");
    expectError(kHeader + kTriangle + "sets -edit -addElement \"initialShadingGroup\" \"m.f[1]\";",
                "6:46: sets: \"m\" does not have all of the faces of a set");
    expectError(kHeader + kTriangle + "sets -edit -addElement \"initialShadingGroup\" \"m:1\";",
                "6:46: sets: \"m\" has no instance 1");
    expectError(kHeader + "createNode transform -name \"a b\";",
                "2:1: createNode: \"a b\" cannot be the name of a node");
}

TEST_F(SceneForms, meshThatIsNotOneIsRefused)
{
    const std::string start = kHeader + "createNode mesh -name \"m\";\n";
    const std::string points = "setAttr \".points\" -type \"floatArray\" 9 0 0 0 1 0 0 0 1 0;\n";
    expectError(start + points, "2:1: createNode: the mesh \"m\": a mesh has at least one face");
    expectError(start + points +
                    "setAttr \".faceCounts\" -type \"intArray\" 1 3;\n"
                    "setAttr \".faceVertices\" -type \"intArray\" 3 0 1 3;",
                "2:1: createNode: the mesh \"m\": a face vertex is not a point of the mesh");
    expectError(start + points +
                    "setAttr \".faceCounts\" -type \"intArray\" 1 3;\n"
                    "setAttr \".faceVertices\" -type \"intArray\" 3 0 1 2;\n"
                    "setAttr \".uvSets[0].uvSetName\" -type \"string\" \"map1\";\n"
                    "setAttr \".uvSets[0].uvs\" -type \"floatArray\" 2 0 0;\n"
                    "setAttr \".uvSets[0].uvIds\" -type \"intArray\" 3 0 0 2147483647;",
                "2:1: createNode: the mesh \"m\": a UV id is not a UV of its set");
    expectError(start + "setAttr \".points\" -type \"floatArray\" 4000000000 0 0 0;",
                "3:38: setAttr: the array says it has 4000000000 numbers, but 3 follow");
    expectError(start + "setAttr \".points\" -type \"floatArray\" 3 0 nan 0;",
                "3:1: setAttr: expected -type \"floatArray\", a count and as many numbers");
    expectError(start + "setAttr \".points\" -type \"floatArray\" 3 0 0;",
                "3:38: setAttr: the array says it has 3 numbers, but 2 follow");
}

TEST_F(SceneForms, sceneFileCannotRunOtherCommands)
{
    for (const char* command : {"delete", "flushUndo", "undo", "rename", "system", "exec", "getAttr"})
        expectError(kHeader + command + " \"a\";",
                    "2:1: \"" + std::string(command) + "\" is not a command that builds a scene");
}

TEST_F(SceneForms, cyclesAndMultitudesAreRefused)
{
    errors.clear();
    EXPECT_EQ(openText(kHeader +
                       "createNode transform -name \"a\"; createNode transform -name \"b\" -parent \"a\";"
                       "parent -add \"a\" \"b\";"),
              KStatus::kFailure);
    EXPECT_EQ(errors.size(), 1u);

    // Each level doubles the number of paths.
    std::string text = kHeader;
    for (int i = 0; i < 30; ++i) {
        const std::string n = std::to_string(i);
        const std::string up = i ? std::to_string(i - 1) : "";
        text += "createNode transform -name \"l" + n + "\"" + (i ? " -parent \"j" + up + "\"" : "") + ";\n";
        text += "createNode transform -name \"r" + n + "\"" + (i ? " -parent \"j" + up + "\"" : "") + ";\n";
        text += "createNode transform -name \"j" + n + "\" -parent \"l" + n + "\";\n";
        text += "parent -add \"j" + n + "\" \"r" + n + "\";\n";
    }
    errors.clear();
    EXPECT_EQ(openText(text), KStatus::kFailure);
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_NE(errors[0].find("more than 4000000 paths"), std::string::npos) << errors[0];
    EXPECT_EQ(sceneText(), emptySceneText());
}

TEST_F(SceneForms, elementsAreGivenWithTheirIndex)
{
    const std::string start = kHeader + "createNode uvChooser -name \"c\";\n";
    for (const char* wrong : {"uvSets", "uvSets[", "uvSets[]", "uvSets[-1]", "uvSets[1", "uvSets[1]x",
                              "uvSets[4294967296]", "outUV[0]", "none[0]"}) {
        errors.clear();
        EXPECT_EQ(openText(start + "setAttr \"." + wrong + "\" -type \"string\" \"a\";\n"), KStatus::kFailure)
            << wrong;
        EXPECT_EQ(errors.size(), 1u) << wrong;
        EXPECT_EQ(lastError().find(in("scene.ka") + ":3:9: setAttr: "), 0u) << lastError();
    }
    ASSERT_EQ(openText(start + "setAttr \".uvSets[2147483647]\" -type \"string\" \"a\";\n"),
              KStatus::kSuccess)
        << lastError();
    EXPECT_NE(sceneText().find("uvSets[2147483647]"), std::string::npos);
}

TEST_F(SceneForms, newerVersionIsReadWithoutWhatIsNotKnown)
{
    const std::string text = "//Kelda ASCII 2031 scene\n"
                             "createNode transform -name \"a\";\n"
                             "    setAttr \".wobble\" 1 2 3;\n"
                             "    setAttr \".translate\" 1 2 3;\n"
                             "createNode fog -name \"f\" -parent \"a\";\n"
                             "    setAttr \".density\" 4;\n"
                             "createNode transform -name \"b\" -parent \"f\";\n"
                             "createNode fog -name \"g\";\n"
                             "createNode lambert -name \"l\";\n"
                             "connectAttr \"l.outColor\" \"g.color\";\n";
    ASSERT_EQ(openText(text), KStatus::kSuccess) << lastError();
    ASSERT_EQ(warnings.size(), 2u);
    EXPECT_EQ(warnings[0],
              in("scene.ka") + ": left out, because a newer version made it: attribute \"transform.wobble\"");
    EXPECT_EQ(warnings[1],
              in("scene.ka") + ": left out, because a newer version made it: node type \"fog\" (2 times)");
    EXPECT_EQ(sceneText(), kHeader + "currentUnit -linear \"centimeter\";\n"
                                     "createNode transform -name \"a\";\n"
                                     "    setAttr \".translate\" 1 2 3;\n"
                                     "createNode transform -name \"b\" -parent \"a\";\n"
                                     "createNode lambert -name \"l\";\n"
                                     "//End of scene\n");
}

TEST_F(SceneForms, textCutAnywhereNeverCrashes)
{
    const std::string text = golden();
    for (size_t length = 0; length < text.size(); ++length) {
        errors.clear();
        const KStatus status = openText(text.substr(0, length));
        EXPECT_EQ(errors.size(), status.error() ? 1u : 0u) << length;
    }
}

TEST_F(SceneForms, textWithAnyByteChangedNeverCrashes)
{
    const std::string text = golden();
    std::mt19937 random(7);
    for (size_t i = 0; i < text.size(); ++i) {
        std::string changed = text;
        changed[i] = static_cast<char>(random());
        errors.clear();
        const KStatus status = openText(changed);
        EXPECT_EQ(errors.size(), status.error() ? 1u : 0u) << i;
    }
}

// -- Damage to binary files -----------------------------------------------------------------------

TEST_F(SceneForms, binaryCutAnywhereIsRefused)
{
    const std::string bytes = binaryOf(golden());
    for (size_t length = 0; length < bytes.size(); ++length) {
        write(in("cut.kb"), bytes.substr(0, length));
        errors.clear();
        EXPECT_EQ(KFileIO::open(in("cut.kb")), KStatus::kFailure) << length;
        EXPECT_EQ(errors.size(), 1u) << length;
    }
    write(in("cut.kb"), bytes + '\0');
    EXPECT_EQ(KFileIO::open(in("cut.kb")), KStatus::kFailure);
    EXPECT_EQ(lastError(), in("cut.kb") + ": byte 16: the file should have " + std::to_string(bytes.size()) +
                               " bytes, but has " + std::to_string(bytes.size() + 1));
    EXPECT_EQ(sceneText(), emptySceneText());
}

TEST_F(SceneForms, binaryWithAnyByteChangedIsRefused)
{
    const std::string bytes = binaryOf(golden());
    for (size_t i = 0; i < bytes.size(); ++i) {
        std::string changed = bytes;
        changed[i] = static_cast<char>(changed[i] ^ 0x21);
        write(in("changed.kb"), changed);
        errors.clear();
        EXPECT_EQ(KFileIO::open(in("changed.kb")), KStatus::kFailure) << i;
        ASSERT_EQ(errors.size(), 1u) << i;
        EXPECT_EQ(errors[0].find(in("changed.kb") + ": "), 0u) << errors[0];
    }
    EXPECT_EQ(sceneText(), emptySceneText());
}

TEST_F(SceneForms, largeArraysStandAtMultiplesOf64AndAreChecked)
{
    std::string text =
        kHeader + "createNode mesh -name \"m\";\nsetAttr \".points\" -type \"floatArray\" 30000";
    for (int i = 0; i < 30000; ++i)
        text += i % 7 ? " 1" : " 0.25\n";
    text += ";\nsetAttr \".faceCounts\" -type \"intArray\" 1 3;\n"
            "setAttr \".faceVertices\" -type \"intArray\" 3 0 1 2;\n";
    const std::string bytes = binaryOf(text);
    const std::string written = sceneText();
    ASSERT_EQ(KFileIO::open(in("scene.kb")), KStatus::kSuccess) << lastError();
    EXPECT_EQ(sceneText(), written);
    const size_t start = bytes.size() - 30000 * sizeof(float);
    EXPECT_EQ(start % 64, 0u);
    for (const size_t at : {start - 1, start, bytes.size() - 1}) {
        std::string changed = bytes;
        changed[at] = static_cast<char>(changed[at] ^ 1);
        write(in("changed.kb"), changed);
        EXPECT_EQ(KFileIO::open(in("changed.kb")), KStatus::kFailure) << at;
    }
}

namespace
{
/// A scene in the form "ka": one mesh of triangles that share no vertex, all corners numbered through.
std::string separateTriangles(int count)
{
    const int corners = 3 * count;
    std::string text = kHeader + "createNode mesh -name \"m\";\nsetAttr \".points\" -type \"floatArray\" " +
                       std::to_string(3 * corners);
    for (int i = 0; i < 3 * corners; ++i)
        text += i % 9 ? " 1" : " 0.25\n";
    text += ";\nsetAttr \".faceCounts\" -type \"intArray\" " + std::to_string(count);
    for (int i = 0; i < count; ++i)
        text += " 3";
    text += ";\nsetAttr \".faceVertices\" -type \"intArray\" " + std::to_string(corners);
    for (int i = 0; i < corners; ++i)
        text += " " + std::to_string(i);
    return text + ";\n";
}

// The bits of a count that tell a rule, and the places in the header, as the page on the forms gives them.
constexpr uint64_t kAscending = uint64_t(1) << 63;
constexpr uint64_t kAllEqual = uint64_t(1) << 62;
constexpr size_t kRecordsSize = 24;
constexpr size_t kRecordsHash = 40;
constexpr size_t kHeaderHash = 56;
constexpr size_t kHeaderSize = 64;

/// Replaces one count in the records, and makes all hashes right again.
std::string withCount(std::string bytes, uint64_t count, uint64_t replacement)
{
    const auto put = [&](size_t at, uint64_t value) { std::memcpy(&bytes[at], &value, sizeof value); };
    uint64_t recordsSize = 0;
    std::memcpy(&recordsSize, &bytes[kRecordsSize], sizeof recordsSize);
    const size_t at =
        bytes.find(std::string(reinterpret_cast<const char*>(&count), sizeof count), kHeaderSize);
    EXPECT_LT(at, kHeaderSize + recordsSize);
    put(at, replacement);
    put(kRecordsHash, XXH3_64bits(&bytes[kHeaderSize], recordsSize));
    put(kHeaderHash, XXH3_64bits(bytes.data(), kHeaderHash));
    return bytes;
}
} // namespace

TEST_F(SceneForms, binaryTellsLargeArraysOfEqualCountsAndAscendingIdsByARule)
{
    const int count = 20000;
    const std::string bytes = binaryOf(separateTriangles(count));
    const std::string written = sceneText();
    EXPECT_EQ(bytes[8], 2); // the layout
    EXPECT_LT(bytes.size(), count * 9 * sizeof(float) + 2000);
    ASSERT_EQ(KFileIO::open(in("scene.kb")), KStatus::kSuccess) << lastError();
    EXPECT_EQ(sceneText(), written);
    EXPECT_EQ(binaryOf(separateTriangles(100))[8], 1) << "readers of the first layout read it";
}

TEST_F(SceneForms, binaryRulesThatAskForMoreThanTheFileCanStandForAreRefused)
{
    const uint64_t count = 60000;
    const std::string bytes = binaryOf(separateTriangles(20000));
    const uint64_t ascending = count | kAscending;
    for (const uint64_t wrong : {kAscending | (uint64_t(1) << 31), ascending | kAllEqual,
                                 (uint64_t(1) << 60) | kAscending, ascending + 1, ascending - 1}) {
        write(in("changed.kb"), withCount(bytes, ascending, wrong));
        errors.clear();
        EXPECT_EQ(KFileIO::open(in("changed.kb")), KStatus::kFailure) << wrong;
        ASSERT_EQ(errors.size(), 1u) << wrong;
        EXPECT_EQ(errors[0].find(in("changed.kb") + ": "), 0u) << errors[0];
    }
    EXPECT_EQ(sceneText(), emptySceneText());
}

// -- The page that describes the forms ------------------------------------------------------------

TEST_F(SceneForms, exampleOfTheDocumentationIsAScene)
{
    const std::string page = read(std::string(ZY_DOCS_DIR) + "/scene-forms.md");
    const size_t from = page.find("```ka\n");
    ASSERT_NE(from, std::string::npos);
    const size_t to = page.find("```", from + 6);
    ASSERT_NE(to, std::string::npos);
    const std::string example = page.substr(from + 6, to - from - 6);
    ASSERT_EQ(openText(example), KStatus::kSuccess) << lastError();
    EXPECT_EQ(sceneText(), example);

    // The bytes of the same scene, sixteen to a line: "0000  89 4b ...".
    const size_t dump = page.find("```kb\n");
    ASSERT_NE(dump, std::string::npos);
    std::istringstream lines(page.substr(dump + 6, page.find("```", dump + 6) - dump - 6));
    std::string bytes;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line.substr(4));
        for (std::string word; words >> word;)
            bytes += static_cast<char>(std::stoi(word, nullptr, 16));
    }
    ASSERT_EQ(KFileIO::saveAs(in("example.kb")), KStatus::kSuccess);
    EXPECT_EQ(read(in("example.kb")), bytes);
}
