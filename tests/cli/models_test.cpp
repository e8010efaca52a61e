// Models as others write them, most of them a collection of files: what info says of them is what the files
// hold.

#include "Models.h"
#include "Program.h"

#include <assimp/Importer.hpp>
#include <assimp/scene.h>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

using nlohmann::json;

namespace
{

struct PrimitiveSum {
    std::uint64_t primitives = 0;
    std::uint64_t triangles = 0;
};

// -- The collection ----------------------------------------------------------------------------------

constexpr std::uintmax_t smallModel = 2000; // bytes

std::string modelFolder()
{
    return ZY_MODELS_DIR;
}

class CollectedModels : public ::testing::Test
{
protected:
    void SetUp() override
    {
        std::vector<IndexedModel> models;
        if (!readModelIndex(modelFolder(), models))
            GTEST_SKIP() << "the collection of models is not there";
        for (const IndexedModel& model : models)
            (model.readable ? readable : broken).push_back(model.name);
        ASSERT_GT(readable.size(), 100u);
        ASSERT_GT(broken.size(), 100u);
    }

    std::vector<std::string> readable;
    std::vector<std::string> broken;
};

Outcome infoOf(const std::vector<std::string>& files, bool asJson = true)
{
    std::vector<std::string> arguments = {"info"};
    if (asJson)
        arguments.push_back("--json");
    arguments.insert(arguments.end(), files.begin(), files.end());
    return runZyscene(arguments, modelFolder());
}

// -- What a model file holds -------------------------------------------------------------------------

PrimitiveSum countMesh(const aiMesh& mesh)
{
    PrimitiveSum sum;
    for (unsigned int i = 0; i < mesh.mNumFaces; ++i) {
        const unsigned int corners = mesh.mFaces[i].mNumIndices;
        if (corners < 3)
            continue;
        ++sum.primitives;
        sum.triangles += corners - 2;
    }
    return sum;
}

/// Polygons of a model file, counted for each use of a mesh.
/// @param meshes set to the number of different meshes that are used and have polygons
PrimitiveSum countModel(const std::string& file, std::size_t& meshes)
{
    PrimitiveSum sum;
    Assimp::Importer importer;
    const aiScene* const scene = importer.ReadFile(file, 0);
    EXPECT_NE(nullptr, scene) << file;
    std::set<unsigned int> used;
    std::vector<const aiNode*> open;
    if (scene != nullptr && scene->mRootNode != nullptr)
        open.push_back(scene->mRootNode);
    while (!open.empty()) {
        const aiNode* const node = open.back();
        open.pop_back();
        for (unsigned int i = 0; i < node->mNumMeshes; ++i) {
            const PrimitiveSum mesh = countMesh(*scene->mMeshes[node->mMeshes[i]]);
            sum.primitives += mesh.primitives;
            sum.triangles += mesh.triangles;
            if (mesh.primitives != 0)
                used.insert(node->mMeshes[i]);
        }
        open.insert(open.end(), node->mChildren, node->mChildren + node->mNumChildren);
    }
    meshes = used.size();
    return sum;
}

// -- What a document says ----------------------------------------------------------------------------

/// Uses of each geometry core by its number, and by the name of its first node the numbers of the cores.
struct GeometryUses {
    std::map<std::uint64_t, std::uint64_t> uses;
    std::map<std::string, std::vector<std::uint64_t>> byName;
};

GeometryUses usesOfGeometry(const json& root)
{
    GeometryUses result;
    std::vector<const json*> open = {&root};
    while (!open.empty()) {
        const json& node = *open.back();
        open.pop_back();
        const json& core = node["core"];
        if (core.is_object() && core["type"] == "Geometry") {
            const std::uint64_t id = core["id"];
            if (++result.uses[id] == 1 && node["name"].is_string())
                result.byName[node["name"]].push_back(id);
        }
        const json& children = node["children"];
        for (auto child = children.rbegin(); child != children.rend(); ++child)
            open.push_back(&*child);
    }
    return result;
}

/// What geometry repair dropped of a file, counted for each use.
PrimitiveSum droppedOf(const json& document, const std::string& file, const GeometryUses& geometry)
{
    PrimitiveSum sum;
    for (const json& issue : document["issues"]) {
        if (issue["code"] != "primitives-dropped" || issue["file"] != file)
            continue;
        const std::string message = issue["message"];
        const std::string name = issue["node"];
        const std::string start = "node '" + name + "': ";
        unsigned long primitives = 0;
        unsigned long triangles = 0;
        const auto cores = geometry.byName.find(name);
        if (message.compare(0, start.size(), start) != 0 ||
            std::sscanf(message.c_str() + start.size(), "%lu primitive%*[s ](%lu triangle", &primitives,
                        &triangles) != 2 ||
            cores == geometry.byName.end()) {
            ADD_FAILURE() << file << ": " << message;
            continue;
        }
        EXPECT_EQ(1u, cores->second.size()) << file << ": several geometries are called " << name;
        const std::uint64_t uses = geometry.uses.at(cores->second.front());
        sum.primitives += primitives * uses;
        sum.triangles += triangles * uses;
    }
    return sum;
}

/// Whether the i-th file of a document draws what the model file holds, or repair has dropped the rest.
void expectDrawn(const json& document, std::size_t i, const std::string& path)
{
    const json& result = document["results"][i];
    const std::string file = result["file"];
    std::size_t meshes = 0;
    const PrimitiveSum expected = countModel(path, meshes);
    const PrimitiveSum dropped = droppedOf(document, file, usesOfGeometry(result["root"]));
    const json& drawn = result["statistics"]["drawn"];
    EXPECT_EQ(expected.primitives, drawn["primitives"].get<std::uint64_t>() + dropped.primitives) << file;
    EXPECT_EQ(expected.triangles, drawn["triangles"].get<std::uint64_t>() + dropped.triangles) << file;
}

json withoutMessages(json result)
{
    // The SDK is started by the first file only.
    result.erase("messages");
    return result;
}

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

/// Whether it is one line that names the file and says why it cannot be read.
void expectComplaint(const std::string& line, const std::string& file)
{
    const std::string start = "zyscene: error: " + file + ": cannot be read: ";
    EXPECT_THAT(line, ::testing::StartsWith(start));
    if (line.size() < start.size())
        return;
    const std::string reason = line.substr(start.size());
    EXPECT_GE(reason.size(), 10u) << line;
    EXPECT_LE(reason.size(), 400u) << line;
    EXPECT_EQ(std::string::npos, reason.find("no reason was given")) << line;
    // Once is enough.
    EXPECT_NE(0u, reason.find(std::filesystem::path(file).filename().string())) << line;
    EXPECT_EQ(std::string::npos, reason.find("cannot be imported")) << line;
}

// -- Readable ones -----------------------------------------------------------------------------------

TEST_F(CollectedModels, drawTheirPolygons)
{
    const Outcome run = infoOf(readable);
    EXPECT_EQ(0, run.exit) << run.err;
    const json document = json::parse(run.out);
    EXPECT_EQ(0, document["exit"]);
    ASSERT_EQ(readable.size(), document["results"].size());
    for (std::size_t i = 0; i < readable.size(); ++i) {
        const std::string& file = readable[i];
        const json& result = document["results"][i];
        EXPECT_EQ(file, result["file"]);
        if (!result["root"].is_object()) {
            ADD_FAILURE() << file << " was not read";
            continue;
        }
        expectDrawn(document, i, modelFolder() + "/" + file);
    }
}

TEST_F(CollectedModels, keepOneGeometryForEachMeshHoweverOftenItIsUsed)
{
    const char* const city = "instanced/city.glb";
    std::size_t meshes = 0;
    countModel(modelFolder() + "/" + city, meshes);
    EXPECT_EQ(43u, meshes);

    const json document = json::parse(infoOf({city}).out);
    const json& result = document["results"][0];
    EXPECT_EQ(meshes, usesOfGeometry(result["root"]).uses.size());
    EXPECT_EQ(meshes, result["statistics"]["geometries"]);
}

TEST(DamagedModel, drawsWhatRepairLeaves)
{
    // A mesh of two triangles, used by two nodes. Two corners of the second triangle are the same.
    const TemporaryFolder folder;
    const std::string path = folder / "damaged.gltf";
    writeFile(path, R"({"asset": {"version": "2.0"}, "scene": 0, "scenes": [{"nodes": [0, 1]}],
"nodes": [{"mesh": 0, "translation": [4, 5, 6]}, {"mesh": 0, "translation": [1, 2, 3]}],
"meshes": [{"name": "flap", "primitives": [{"attributes": {"POSITION": 0}, "indices": 1}]}],
"accessors": [
  {"bufferView": 0, "componentType": 5126, "count": 3, "type": "VEC3", "min": [0, 0, 0], "max": [1, 1, 0]},
  {"bufferView": 1, "componentType": 5123, "count": 6, "type": "SCALAR"}],
"bufferViews": [{"buffer": 0, "byteLength": 36}, {"buffer": 0, "byteOffset": 36, "byteLength": 12}],
"buffers": [{"byteLength": 48, "uri": "data:application/octet-stream;base64,AAAAAAAAAAAAAAAAAACAPwAAAAAAAAAAAAAAAAAAgD8AAAAAAAABAAIAAAAAAAEA"}]})");
    const Outcome run = runZyscene({"info", "--json", path});
    EXPECT_EQ(0, run.exit) << run.err;
    const json document = json::parse(run.out);
    expectDrawn(document, 0, path);
    EXPECT_EQ(2, document["results"][0]["statistics"]["drawn"]["triangles"]);
    EXPECT_EQ(1u, document["issues"].size());
}

/// Whether a comparison that knows of no losses finds nothing, or nothing but materials that were told.
void expectSame(const std::string& file, const std::string& copy, const std::set<std::string>& lossy)
{
    const Outcome run = runZyscene({"--json", "diff", file, copy}, modelFolder());
    const json document = json::parse(run.out);
    EXPECT_EQ(lossy.empty() ? 0 : 3, run.exit) << file << " and " << copy << "\n" << run.err;
    for (const json& difference : document["results"][0]["differences"])
        EXPECT_EQ("material", difference["kind"]) << file << ": " << difference;
    if (lossy.empty()) {
        EXPECT_EQ(json::array(), document["results"][0]["differences"]) << file;
    }
}

/// The materials that a conversion says are not carried whole.
std::set<std::string> lossyMaterials(const json& document)
{
    std::set<std::string> names;
    for (const json& loss : document["results"][0]["losses"]) {
        if (loss["severity"] == "warning" && loss.contains("materials"))
            names.insert(loss["materials"].begin(), loss["materials"].end());
    }
    return names;
}

TEST_F(CollectedModels, areExportedWhole)
{
    const TemporaryFolder folder;
    std::size_t textured = 0;
    for (const std::string& file : readable) {
        std::filesystem::remove_all(folder / "copy");
        const std::string binary = folder / "copy.kb";
        const Outcome run = runZyscene({"--json", "convert", "--verify", file, binary}, modelFolder());
        EXPECT_EQ(0, run.exit) << file << "\n" << run.err;
        const json document = json::parse(run.out);
        EXPECT_EQ(json::array(), document["results"][0]["differences"]) << file;
        const std::set<std::string> lossy = lossyMaterials(document);
        expectSame(file, binary, lossy);
        textured += std::filesystem::exists(folder / "copy") ? 1 : 0;

        if (std::filesystem::file_size(modelFolder() + "/" + file) > smallModel)
            continue;
        const std::string ascii = folder / "copy.ka";
        EXPECT_EQ(0, runZyscene({"convert", file, ascii}, modelFolder()).exit) << file;
        expectSame(file, ascii, lossy);
    }
    EXPECT_GT(textured, 10u);
}

// -- Broken ones -------------------------------------------------------------------------------------

TEST_F(CollectedModels, brokenOnesAreRefusedEachWithOneLine)
{
    const Outcome run = infoOf(broken);
    EXPECT_EQ(1, run.exit);
    EXPECT_LT(run.seconds, 60);
    EXPECT_LT(run.kilobytes, 1000000u);
    const json document = json::parse(run.out);
    EXPECT_EQ(1, document["exit"]);
    ASSERT_EQ(broken.size(), document["results"].size());
    ASSERT_EQ(broken.size(), document["issues"].size());
    const std::vector<std::string> lines = linesOf(run.err);
    EXPECT_EQ(broken.size(), lines.size());
    for (std::size_t i = 0; i < broken.size(); ++i) {
        EXPECT_TRUE(document["results"][i]["root"].is_null()) << broken[i];
        EXPECT_EQ("read-failed", document["issues"][i]["code"]);
        EXPECT_EQ(broken[i], document["issues"][i]["file"]);
        if (i < lines.size())
            expectComplaint(lines[i], broken[i]);
    }
}

TEST_F(CollectedModels, brokenOnesDoNotChangeWhatIsReadAfterThem)
{
    // The small ones, in turn.
    std::vector<std::string> small;
    for (const std::string& name : readable) {
        if (std::filesystem::file_size(modelFolder() + "/" + name) < 10000)
            small.push_back(name);
    }
    ASSERT_GT(small.size(), 10u);
    const Outcome alone = infoOf(small);
    ASSERT_EQ(0, alone.exit) << alone.err;
    const json expected = json::parse(alone.out);

    std::vector<std::string> mixed;
    for (std::size_t i = 0; i < broken.size(); ++i) {
        mixed.push_back(broken[i]);
        mixed.push_back(small[i % small.size()]);
    }
    const Outcome run = infoOf(mixed);
    EXPECT_EQ(4, run.exit);
    const json document = json::parse(run.out);
    EXPECT_EQ(4, document["exit"]);
    ASSERT_EQ(mixed.size(), document["results"].size());
    for (std::size_t i = 0; i < broken.size(); ++i) {
        EXPECT_TRUE(document["results"][2 * i]["root"].is_null()) << broken[i];
        EXPECT_EQ(withoutMessages(expected["results"][i % small.size()]),
                  withoutMessages(document["results"][2 * i + 1]))
            << mixed[2 * i + 1] << " after " << broken[i];
    }
}

TEST_F(CollectedModels, brokenOnesAreRefusedAloneAsTogether)
{
    // One in eight: what a process makes of a file does not depend on the files before it, see above.
    for (std::size_t i = 0; i < broken.size(); i += 8) {
        const std::string& file = broken[i];
        const Outcome run = infoOf({file}, false);
        EXPECT_EQ(1, run.exit) << file;
        EXPECT_EQ("", run.out) << file;
        const std::vector<std::string> lines = linesOf(run.err);
        EXPECT_EQ(1u, lines.size()) << file << ": " << run.err;
        if (!lines.empty())
            expectComplaint(lines[0], file);
    }
}

} // namespace
