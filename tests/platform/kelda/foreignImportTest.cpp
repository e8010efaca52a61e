#include "Models.h"
#include "ioTools.h"

#include "kelda/KDagPathArray.h"
#include "kelda/KFnDagNode.h"
#include "kelda/KFnMesh.h"
#include "kelda/KFnPhongShader.h"
#include "kelda/KFnPointLight.h"
#include "kelda/KFnSpotLight.h"
#include "kelda/KFnTransform.h"
#include "kelda/KGlobal.h"
#include "kelda/KItDag.h"
#include "kelda/KMatrix.h"
#include "kelda/KObjectArray.h"
#include "kelda/KPlugArray.h"
#include "kelda/KStringArray.h"

#include <assimp/Importer.hpp>
#include <assimp/scene.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <map>

namespace
{

namespace fs = std::filesystem;

struct Counts {
    size_t shapes = 0;
    size_t uses = 0;
    size_t faces = 0;
    size_t drawn = 0;
};

class ForeignImport : public FileTest
{
protected:
    static Counts countScene()
    {
        Counts counts;
        KDagPath path;
        for (KItDag it(KItDag::kDepthFirst, KFn::kMesh); !it.isDone(); it.next()) {
            it.getPath(path);
            if (!path.node().hasFn(KFn::kMesh))
                continue; // a transform, which answers for its shape
            const KFnMesh mesh(path);
            const size_t faces = static_cast<size_t>(mesh.numPolygons());
            ++counts.uses;
            counts.drawn += faces;
            if (path.instanceNumber() == 0) {
                ++counts.shapes;
                counts.faces += faces;
            }
        }
        return counts;
    }

    static std::vector<std::string> names()
    {
        std::vector<std::string> all;
        KDagPath path;
        for (KItDag it; !it.isDone(); it.next()) {
            it.getPath(path);
            all.push_back(path.fullPathName().asChar());
        }
        return all;
    }
};

size_t facesOf(const aiMesh& mesh)
{
    size_t count = 0;
    for (unsigned i = 0; i < mesh.mNumFaces; ++i)
        count += mesh.mFaces[i].mNumIndices >= 3 ? 1 : 0;
    return count;
}

void countAssimp(const aiScene& scene, Counts& counts)
{
    std::vector<const aiNode*> todo;
    if (scene.mRootNode)
        todo.push_back(scene.mRootNode);
    std::map<unsigned, bool> used;
    while (!todo.empty()) {
        const aiNode* node = todo.back();
        todo.pop_back();
        for (unsigned i = 0; i < node->mNumMeshes; ++i) {
            const size_t faces = facesOf(*scene.mMeshes[node->mMeshes[i]]);
            if (faces == 0)
                continue;
            ++counts.uses;
            counts.drawn += faces;
            if (!used[node->mMeshes[i]]) {
                used[node->mMeshes[i]] = true;
                ++counts.shapes;
                counts.faces += faces;
            }
        }
        todo.insert(todo.end(), node->mChildren, node->mChildren + node->mNumChildren);
    }
}

const std::string kCube = "{\"asset\":{\"version\":\"2.0\"},\"scene\":0,\"scenes\":[{\"nodes\":[0]}],";

} // namespace

// -- Small files ----------------------------------------------------------------------------------

TEST_F(ForeignImport, polygonsStayPolygonsAndEachMaterialIsAShadingGroup)
{
    write(in("two.mtl"), "newmtl red paint\nKd 1 0.25 0\nnewmtl blue\nKd 0 0 1\n");
    write(in("two.obj"),
          "mtllib two.mtl\no quad\nv 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nvt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\n"
          "vn 0 0 1\nusemtl red paint\nf 1/1/1 2/2/1 3/3/1 4/4/1\n"
          "o tri\nusemtl blue\nf 1/1/1 2/2/1 3/3/1\nl 1 2\n");
    ASSERT_EQ(KFileIO::import(in("two.obj")), KStatus::kSuccess) << lastError();
    KDagPath path;
    std::map<int, std::string> shaderBySize;
    for (KItDag it(KItDag::kDepthFirst, KFn::kMesh); !it.isDone(); it.next()) {
        it.getPath(path);
        if (!path.node().hasFn(KFn::kMesh))
            continue;
        const KFnMesh mesh(path);
        ASSERT_EQ(mesh.numPolygons(), 1);
        KStringArray sets;
        mesh.getUVSetNames(sets);
        ASSERT_EQ(sets.length(), 1u);
        EXPECT_EQ(sets[0], "map1");
        KObjectArray groups;
        KObjectArray components;
        ASSERT_EQ(mesh.getConnectedSetsAndMembers(0, groups, components, true), KStatus::kSuccess);
        ASSERT_EQ(groups.length(), 1u);
        EXPECT_TRUE(components[0].isNull());
        KPlugArray plugs;
        KFnDependencyNode(groups[0]).findPlug("surfaceShader").connectedTo(plugs, true, false);
        ASSERT_EQ(plugs.length(), 1u);
        shaderBySize[mesh.polygonVertexCount(0)] = KFnDependencyNode(plugs[0].node()).name().asChar();
    }
    EXPECT_EQ(shaderBySize[4], "red_paint");
    EXPECT_EQ(shaderBySize[3], "blue");
}

// -- Materials ------------------------------------------------------------------------------------

namespace
{

KObject nodeOf(const std::string& name)
{
    KObject found;
    EXPECT_EQ(KGlobal::findNode(name, found), KStatus::kSuccess) << name;
    return found;
}

/// The only node that feeds the attribute; null when there is none.
KObject sourceOf(const KObject& node, const char* attr)
{
    KPlugArray plugs;
    KFnDependencyNode(node).findPlug(attr).connectedTo(plugs, true, false);
    EXPECT_LE(plugs.length(), 1u) << attr;
    return plugs.length() == 1 ? plugs[0].node() : KObject();
}

std::string textOf(const KObject& node, const char* attr)
{
    return KFnDependencyNode(node).findPlug(attr).asString().str();
}

std::string base64(const std::string& bytes)
{
    static const char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    for (size_t i = 0; i < bytes.size(); i += 3) {
        unsigned three = 0;
        for (size_t k = 0; k < 3; ++k)
            three = three << 8 | (i + k < bytes.size() ? static_cast<unsigned char>(bytes[i + k]) : 0u);
        for (size_t k = 0; k < 4; ++k)
            out += i + k > bytes.size() ? '=' : digits[three >> (18 - 6 * k) & 63];
    }
    return out;
}

// One triangle with two UV sets.
std::string gltfWith(const std::string& materialsAndImages)
{
    const float values[] = {0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 1, 0.5f, 0.5f, 1, 0.5f, 0.5f, 1};
    const std::string bytes(reinterpret_cast<const char*>(values), sizeof values);
    return kCube +
           "\"nodes\":[{\"mesh\":0,\"name\":\"n\"}],\"meshes\":[{\"name\":\"m\",\"primitives\":[{"
           "\"attributes\":{\"POSITION\":0,\"TEXCOORD_0\":1,\"TEXCOORD_1\":2},\"material\":0}]}],"
           "\"accessors\":[{\"bufferView\":0,\"componentType\":5126,\"count\":3,\"type\":\"VEC3\","
           "\"min\":[0,0,0],\"max\":[1,1,0]},{\"bufferView\":1,\"componentType\":5126,\"count\":3,"
           "\"type\":\"VEC2\"},{\"bufferView\":2,\"componentType\":5126,\"count\":3,\"type\":\"VEC2\"}],"
           "\"bufferViews\":[{\"buffer\":0,\"byteLength\":36},{\"buffer\":0,\"byteOffset\":36,"
           "\"byteLength\":24},{\"buffer\":0,\"byteOffset\":60,\"byteLength\":24}],"
           "\"buffers\":[{\"byteLength\":84,\"uri\":\"data:application/octet-stream;base64," +
           base64(bytes) + "\"}]," + materialsAndImages + "}";
}

} // namespace

TEST_F(ForeignImport, materialsComeAsShadersWithTheirValues)
{
    write(in("m.mtl"), "newmtl gloss\nKd 1 0.25 0\nKa 0.1 0.2 0.3\nKe 0 0 0.5\nKs 0.5 0.5 1\nNs 40\nd 0.25\n"
                       "newmtl dull\nKd 0 0 1\n");
    write(in("m.obj"),
          "mtllib m.mtl\nv 0 0 0\nv 1 0 0\nv 1 1 0\no x\nusemtl gloss\nf 1 2 3\no y\nusemtl dull\nf 3 2 1\n");
    ASSERT_EQ(KFileIO::import(in("m.obj")), KStatus::kSuccess) << lastError();
    KStatus status;
    const KFnPhongShader gloss(nodeOf("gloss"), &status);
    ASSERT_EQ(status, KStatus::kSuccess);
    EXPECT_EQ(gloss.color(), KColor(1, 0.25f, 0));
    EXPECT_EQ(gloss.diffuseCoeff(), 1.0f);
    EXPECT_EQ(gloss.ambientColor(), KColor(0.1f, 0.2f, 0.3f));
    EXPECT_EQ(gloss.incandescence(), KColor(0, 0, 0.5f));
    EXPECT_EQ(gloss.specularColor(), KColor(0.5f, 0.5f, 1));
    EXPECT_EQ(gloss.cosPower(), 40.0f);
    EXPECT_EQ(gloss.transparency(), KColor(0.75f));
    const KFnLambertShader dull(nodeOf("dull"), &status);
    ASSERT_EQ(status, KStatus::kSuccess);
    EXPECT_FALSE(dull.object().hasFn(KFn::kPhong));
    EXPECT_EQ(dull.transparency(), KColor(0, 0, 0));
    EXPECT_TRUE(sourceOf(dull.object(), "color").isNull());
}

TEST_F(ForeignImport, texturesBesideTheFileAreNamedInFull)
{
    fs::create_directory(folder / "maps");
    write(in("maps/wood.png"), "not looked into");
    write(in("m.mtl"), "newmtl a\nKd 0.5 1 1\nmap_Kd maps\\wood.png\nmap_Bump bumps.png\n"
                       "newmtl b\nmap_Kd lost.png\n");
    write(in("m.obj"), "mtllib m.mtl\nv 0 0 0\nv 1 0 0\nv 1 1 0\nvt 0 0\no x\nusemtl a\nf 1/1 2/1 3/1\n"
                       "o y\nusemtl b\nf 3/1 2/1 1/1\n");
    ASSERT_EQ(KFileIO::import(in("m.obj")), KStatus::kSuccess) << lastError();
    const KObject file = sourceOf(nodeOf("a"), "color");
    ASSERT_TRUE(file.hasFn(KFn::kFileTexture));
    EXPECT_EQ(textOf(file, "fileTextureName"), in("maps/wood.png"));
    EXPECT_EQ(textOf(file, "colorGainR"), "0.5"); // the material's colour tints its texture
    EXPECT_EQ(textOf(file, "colorGainG"), "1");
    const KObject place = sourceOf(file, "uvCoord");
    ASSERT_TRUE(place.hasFn(KFn::kPlace2dTexture));
    EXPECT_EQ(textOf(place, "repeatU"), "1");
    EXPECT_TRUE(sourceOf(place, "uvCoord").isNull()); // the first UV set
    EXPECT_EQ(textOf(sourceOf(nodeOf("b"), "color"), "fileTextureName"), "lost.png");
    EXPECT_NE(std::find(infos.begin(), infos.end(),
                        in("m.obj") + ": left out: 1 textures for anything but the colour"),
              infos.end());
}

TEST_F(ForeignImport, aTextureOnAnotherUVSetGetsAChooser)
{
    write(in("wood 1.png"), "x");
    write(in("t.gltf"), gltfWith("\"extensionsUsed\":[\"KHR_texture_transform\"],"
                                 "\"materials\":[{\"name\":\"paint\",\"pbrMetallicRoughness\":{"
                                 "\"baseColorFactor\":[1,0.5,0.25,0.5],"
                                 "\"baseColorTexture\":{\"index\":0,\"texCoord\":1,"
                                 "\"extensions\":{\"KHR_texture_transform\":{\"scale\":[2,3]}}}}}],"
                                 "\"textures\":[{\"source\":0,\"sampler\":0}],"
                                 "\"samplers\":[{\"wrapS\":33071,\"wrapT\":33648}],"
                                 "\"images\":[{\"uri\":\"wood%201.png\"}]"));
    ASSERT_EQ(KFileIO::import(in("t.gltf")), KStatus::kSuccess) << lastError();
    const KFnLambertShader paint(nodeOf("paint"));
    EXPECT_EQ(paint.transparency(), KColor(0, 0, 0)); // its alpha is not blended
    const KObject file = sourceOf(paint.object(), "color");
    EXPECT_EQ(textOf(file, "fileTextureName"), in("wood 1.png"));
    const KObject place = sourceOf(file, "uvCoord");
    EXPECT_EQ(textOf(place, "repeatU"), "2");
    EXPECT_EQ(textOf(place, "repeatV"), "3");
    EXPECT_EQ(textOf(place, "wrapU"), "0");
    EXPECT_EQ(textOf(place, "mirrorV"), "1");
    EXPECT_EQ(textOf(place, "wrapV"), "1");
    const KObject chooser = sourceOf(place, "uvCoord");
    ASSERT_TRUE(chooser.hasFn(KFn::kUvChooser));
    KPlugArray plugs;
    ASSERT_TRUE(KFnDependencyNode(chooser).findPlug("uvSets")[0].connectedTo(plugs, true, true));
    EXPECT_EQ(plugs[0].asString(), KString("uvSet1"));
    EXPECT_TRUE(plugs[0].node().hasFn(KFn::kMesh));
}

TEST_F(ForeignImport, embeddedImagesAreUnpackedUntilTheSceneIsCleared)
{
    const char* const before = ::getenv("TMPDIR");
    const std::string old = before ? before : "";
    fs::create_directory(folder / "temporary");
    ::setenv("TMPDIR", in("temporary").c_str(), 1);
    const std::string png = "\x89PNG\r\n\x1a\n whatever";
    const std::string materials = "\"materials\":[{\"name\":\"paint\",\"alphaMode\":\"BLEND\","
                                  "\"pbrMetallicRoughness\":{\"baseColorFactor\":[1,1,1,0.25],"
                                  "\"baseColorTexture\":{\"index\":0}}}],\"textures\":[{\"source\":0}],"
                                  "\"images\":[{\"name\":\"../../a b\",\"uri\":\"data:image/png;base64," +
                                  base64(png) + "\"}]";
    write(in("t.gltf"), gltfWith(materials));
    ASSERT_EQ(KFileIO::import(in("t.gltf")), KStatus::kSuccess) << lastError();
    EXPECT_EQ(KFnLambertShader(nodeOf("paint")).transparency(), KColor(0.75f));
    const std::string name = textOf(sourceOf(nodeOf("paint"), "color"), "fileTextureName");
    EXPECT_EQ(name.find(in("temporary/kelda-images-")), 0u) << name;
    EXPECT_EQ(fs::path(name).extension(), ".png");
    EXPECT_EQ(read(name), png);
    EXPECT_EQ(std::distance(fs::directory_iterator(fs::path(name).parent_path()), fs::directory_iterator()),
              1);

    // A second import has a folder of its own; one without images and one that fails leave none.
    write(in("u.gltf"), gltfWith(materials));
    ASSERT_EQ(KFileIO::import(in("u.gltf")), KStatus::kSuccess) << lastError();
    write(in("plain.obj"), "v 0 0 0\nv 1 0 0\nv 1 1 0\nf 1 2 3\n");
    ASSERT_EQ(KFileIO::import(in("plain.obj")), KStatus::kSuccess) << lastError();
    write(in("bad.gltf"), gltfWith(materials).substr(0, 700));
    ASSERT_EQ(KFileIO::import(in("bad.gltf")), KStatus::kFailure);
    EXPECT_TRUE(fs::exists(name));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder / "temporary"), fs::directory_iterator()), 2);
    KFileIO::newFile(true);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder / "temporary"), fs::directory_iterator()), 0);

    // Nowhere to unpack to: the scene comes, and what is missing is told.
    ::setenv("TMPDIR", in("nowhere").c_str(), 1);
    infos.clear();
    ASSERT_EQ(KFileIO::import(in("t.gltf")), KStatus::kSuccess) << lastError();
    EXPECT_TRUE(sourceOf(nodeOf("paint"), "color").isNull());
    EXPECT_EQ(infos, std::vector<std::string>{in("t.gltf") +
                                              ": left out: 1 embedded images that could not be unpacked"});
    if (before)
        ::setenv("TMPDIR", old.c_str(), 1);
    else
        ::unsetenv("TMPDIR");
}

// -- Names, matrices, failures --------------------------------------------------------------------

TEST_F(ForeignImport, namesOfOtherAlphabetsComeLegalised)
{
    write(in("n.obj"), "o st\xc3\xbchl\nv 0 0 0\nv 1 0 0\nv 1 1 0\nf 1 2 3\n");
    ASSERT_EQ(KFileIO::import(in("n.obj")), KStatus::kSuccess) << lastError();
    bool found = false;
    for (const std::string& name : names())
        found = found || name.find("st_hl") != std::string::npos;
    EXPECT_TRUE(found);
}

TEST_F(ForeignImport, matricesOfAnyKindAreKept)
{
    const double matrices[][16] = {
        // column by column
        {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0.5, 2, 3, 1},                         // moved
        {-1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1},                          // mirrored
        {1, 0, 0, 0, 0.5, 2, 0, 0, -0.25, 4, 3, 0, 1, 1, 1, 1},                     // sheared
        {0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1},                          // turned
        {0, 0, -1, 0, 0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 1},                          // turned until axes meet
        {1, 2, 3, 0, 2, 4, 6, 0, 0, 0, 1, 0, 0, 0, 0, 1},                           // flat
        {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 7, 0, 0, 1},                           // a point
        {0.3, -0.7, 2.5, 0, -1.25, 0.1, 0.4, 0, 0.9, 3.5, -0.6, 0, -3, 0.01, 8, 1}, // anything
    };
    std::string nodes;
    std::string children;
    int count = 0;
    for (const auto& m : matrices) {
        nodes += ",{\"name\":\"m" + std::to_string(count) + "\",\"matrix\":[";
        for (int i = 0; i < 16; ++i)
            nodes += (i ? "," : "") + std::to_string(m[i]);
        nodes += "]}";
        children += (count ? "," : "") + std::to_string(count + 1);
        ++count;
    }
    write(in("m.gltf"),
          kCube + "\"nodes\":[{\"name\":\"top\",\"children\":[" + children + "]}" + nodes + "]}");
    ASSERT_EQ(KFileIO::import(in("m.gltf")), KStatus::kSuccess) << lastError();
    KDagPath path;
    int seen = 0;
    for (KItDag it; !it.isDone(); it.next()) {
        it.getPath(path);
        const std::string name = KFnDagNode(path).name().asChar();
        if (name.size() != 2 || name[0] != 'm')
            continue;
        ++seen;
        const double* wanted = matrices[name[1] - '0'];
        const KMatrix found = KFnTransform(path).transformationMatrix();
        double largest = 0;
        for (int i = 0; i < 12; ++i)
            largest = std::max(largest, std::fabs(wanted[i]));
        for (int r = 0; r < 4; ++r)
            for (int c = 0; c < 4; ++c)
                EXPECT_NEAR(found.m[r][c], wanted[4 * r + c], 1e-6 * std::max(largest, 1.0))
                    << name << r << c;
    }
    EXPECT_EQ(seen, count);
}

TEST_F(ForeignImport, failuresAreOneLineAndChangeNothing)
{
    write(in("a.obj"), "v 0 0 0\nv 1 0 0\nv 1 1 0\nf 1 2 3\n");
    ASSERT_EQ(KFileIO::import(in("a.obj")), KStatus::kSuccess) << lastError();
    const std::string before = sceneText();
    write(in("bad.gltf"), "{ this is not json");
    write(in("bad.glb"), std::string("glTF\2\0\0\0\xff\xff\xff\x7f", 12));
    write(in("empty.ply"), "");
    write(in("bad.stl"), "solid\nfacet normal x\n");
    for (const char* name : {"bad.gltf", "bad.glb", "empty.ply", "missing.obj"}) {
        errors.clear();
        EXPECT_EQ(KFileIO::import(in(name)), KStatus::kFailure) << name;
        ASSERT_EQ(errors.size(), 1u) << name;
        EXPECT_EQ(errors[0].find(in(name) + ": cannot be "), 0u) << errors[0];
        EXPECT_EQ(sceneText(), before);
    }
}

TEST_F(ForeignImport, suffixesThatCanBeImportedAreTold)
{
    for (const char* suffix : {"obj", "OBJ", ".obj", ".Glb", "ka", "kb", ".KB"})
        EXPECT_TRUE(KFileIO::isImportable(suffix)) << suffix;
    for (const char* suffix : {"", ".", "..obj", "*.obj", "obj ", "kc", "doc", "obj;ply", "mesh.xml"})
        EXPECT_FALSE(KFileIO::isImportable(suffix)) << suffix;

    KStringArray suffixes;
    suffixes.append("leftover");
    KFileIO::importableSuffixes(suffixes);
    std::vector<std::string> all;
    for (unsigned i = 0; i < suffixes.length(); ++i) {
        all.push_back(suffixes[i].asChar());
        EXPECT_TRUE(KFileIO::isImportable(suffixes[i])) << all.back();
    }
    EXPECT_EQ(std::adjacent_find(all.begin(), all.end(), std::greater_equal<std::string>()), all.end());
    for (const char* suffix : {"glb", "gltf", "ka", "kb", "obj", "ply", "stl"})
        EXPECT_TRUE(std::binary_search(all.begin(), all.end(), suffix)) << suffix;
    EXPECT_FALSE(std::binary_search(all.begin(), all.end(), "leftover"));
}

TEST_F(ForeignImport, whatCannotBeTakenOverIsCounted)
{
    write(in("l.obj"), "o a\nv 0 0 0\nv 1 0 0\nv 1 1 0\nf 1 2 3\no b\nl 1 2 3\n");
    ASSERT_EQ(KFileIO::import(in("l.obj")), KStatus::kSuccess) << lastError();
    ASSERT_GE(infos.size(), 1u);
    EXPECT_NE(infos[0].find("points and lines"), std::string::npos) << infos[0];
    EXPECT_EQ(countScene().faces, 1u);
}

// -- Collected models -----------------------------------------------------------------------------

TEST_F(ForeignImport, collectedModelsHaveAsManyPolygonsAsTheirFiles)
{
    const fs::path folder = ZY_MODELS_DIR;
    std::vector<IndexedModel> models;
    if (!readModelIndex(folder.string(), models))
        GTEST_SKIP() << "the collection of models is not there";
    size_t read = 0;
    size_t refused = 0;
    for (const IndexedModel& model : models) {
        const std::string& name = model.name;
        const std::string path = (folder / name).string();
        KFileIO::newFile(true);
        errors.clear();
        const KStatus status = KFileIO::import(path);
        if (!model.readable) {
            EXPECT_EQ(status, KStatus::kFailure) << name;
            EXPECT_EQ(errors.size(), 1u) << name;
            ++refused;
            continue;
        }
        ++read;
        EXPECT_EQ(status, KStatus::kSuccess) << name << ": " << lastError();
        Assimp::Importer importer;
        const aiScene* scene = importer.ReadFile(path, 0);
        ASSERT_NE(scene, nullptr) << name;
        Counts wanted;
        countAssimp(*scene, wanted);
        const Counts found = countScene();
        EXPECT_EQ(found.shapes, wanted.shapes) << name;
        EXPECT_EQ(found.uses, wanted.uses) << name;
        EXPECT_EQ(found.faces, wanted.faces) << name;
        EXPECT_EQ(found.drawn, wanted.drawn) << name;
    }
    EXPECT_GT(read, 100u);
    EXPECT_GT(refused, 100u);
}

// Who folds transforms without a matrix into their shapes sees a shared mesh only where the transform above
// the instance that is met first, which is number 0, has one.
TEST_F(ForeignImport, sharedMeshesStandBelowATransformWithAMatrix)
{
    const fs::path path = fs::path(ZY_MODELS_DIR) / "instanced/city.glb";
    if (!fs::exists(path))
        GTEST_SKIP() << "the collection of models is not there";
    ASSERT_EQ(KFileIO::import(path.string()), KStatus::kSuccess) << lastError();
    std::map<std::string, bool> met;
    size_t shared = 0;
    KDagPath at;
    for (KItDag it(KItDag::kDepthFirst, KFn::kMesh); !it.isDone(); it.next()) {
        it.getPath(at);
        if (!at.node().hasFn(KFn::kMesh))
            continue;
        KFnDagNode shape(at);
        KDagPathArray paths;
        shape.getAllPaths(paths);
        if (met[paths[0].fullPathName().asChar()])
            continue;
        met[paths[0].fullPathName().asChar()] = true;
        if (paths.length() < 2)
            continue;
        ++shared;
        EXPECT_EQ(at.instanceNumber(), 0u);
        KDagPath above = at;
        ASSERT_EQ(above.pop(), KStatus::kSuccess);
        EXPECT_TRUE(KFnTransform(above).transformationMatrix() != KMatrix::identity)
            << above.fullPathName().asChar();
        EXPECT_EQ(above.child(0), at.node());
    }
    EXPECT_EQ(shared, 43u);
    const Counts counts = countScene();
    EXPECT_EQ(counts.shapes, 43u);
    EXPECT_EQ(counts.uses, 2880u);
}

// -- Lights ---------------------------------------------------------------------------------------

TEST_F(ForeignImport, lightsStandWhereTheirNodesAre)
{
    write(
        in("lights.gltf"),
        "{\"asset\":{\"version\":\"2.0\"},\"scene\":0,\"scenes\":[{\"nodes\":[0,1,2]}],"
        "\"extensionsUsed\":[\"KHR_lights_punctual\"],"
        "\"extensions\":{\"KHR_lights_punctual\":{\"lights\":["
        "{\"type\":\"directional\",\"color\":[1,0.5,0.25],\"intensity\":3},"
        "{\"type\":\"point\",\"color\":[0.5,0.25,0]},"
        "{\"type\":\"spot\",\"intensity\":2,\"spot\":{\"innerConeAngle\":0.25,\"outerConeAngle\":0.5}}]}},"
        "\"nodes\":[{\"name\":\"sun\",\"rotation\":[1,0,0,0],"
        "\"extensions\":{\"KHR_lights_punctual\":{\"light\":0}}},"
        "{\"name\":\"bulb\",\"translation\":[1,2,3],\"extensions\":{\"KHR_lights_punctual\":{\"light\":1}}},"
        "{\"name\":\"lamp\",\"extensions\":{\"KHR_lights_punctual\":{\"light\":2}}}]}");
    ASSERT_EQ(KFileIO::import(in("lights.gltf")), KStatus::kSuccess) << lastError();
    std::map<std::string, KDagPath> lights;
    KDagPath path;
    for (KItDag it(KItDag::kDepthFirst, KFn::kLight); !it.isDone(); it.next()) {
        it.getPath(path);
        if (path.node().hasFn(KFn::kLight))
            lights[path.node().apiTypeStr()] = path;
    }
    ASSERT_EQ(lights.size(), 3u);
    const KFnLight sun(lights["directionalLight"]), bulb(lights["pointLight"]);
    const KFnSpotLight lamp(lights["spotLight"]);
    EXPECT_EQ(sun.color(), KColor(1, 0.5f, 0.25f));
    EXPECT_EQ(sun.intensity(), 3.0f);
    EXPECT_EQ(bulb.color(), KColor(0.5f, 0.25f, 0));
    EXPECT_EQ(bulb.intensity(), 1.0f);
    EXPECT_EQ(KFnPointLight(lights["pointLight"]).decayRate(), 2);
    EXPECT_NEAR(lamp.coneAngle(), 1.0, 1e-6);
    EXPECT_NEAR(lamp.penumbraAngle(), -0.25, 1e-6);
    EXPECT_EQ(lights["spotLight"].fullPathName(), KString("|ROOT|lamp|lampShape"));
    KMatrix place;
    EXPECT_EQ(KFnDagNode(lights["pointLight"]).findPlug("worldMatrix[0]").getValue(place), KStatus::kSuccess);
    EXPECT_EQ(place(3, 0), 1.0);
    EXPECT_EQ(place(3, 1), 2.0);
    EXPECT_EQ(place(3, 2), 3.0);
    KFnDagNode(lights["directionalLight"]).findPlug("worldMatrix[0]").getValue(place);
    EXPECT_NEAR(place(2, 2), -1.0, 1e-6); // turned about x
    EXPECT_TRUE(warnings.empty()) << warnings[0];
}

TEST_F(ForeignImport, ambientLightsHaveTheirColour)
{
    write(in("sky.dae"),
          "<?xml version=\"1.0\"?><COLLADA xmlns=\"http://www.collada.org/2005/11/COLLADASchema\" "
          "version=\"1.4.1\"><asset><up_axis>Y_UP</up_axis></asset><library_lights><light id=\"l\" "
          "name=\"sky\"><technique_common><ambient><color>0.5 0.25 0</color></ambient></technique_common>"
          "</light></library_lights><library_visual_scenes><visual_scene id=\"s\"><node id=\"n\" "
          "name=\"n\"><instance_light url=\"#l\"/></node></visual_scene></library_visual_scenes>"
          "<scene><instance_visual_scene url=\"#s\"/></scene></COLLADA>");
    ASSERT_EQ(KFileIO::import(in("sky.dae")), KStatus::kSuccess) << lastError();
    KItDag it(KItDag::kDepthFirst, KFn::kAmbientLight);
    ASSERT_FALSE(it.isDone());
    KDagPath path;
    it.getPath(path);
    EXPECT_EQ(KFnLight(path).color(), KColor(0.5f, 0.25f, 0));
}

namespace
{

/// A chunk of a 3ds file: its number, its size, what is in it.
std::string chunk(uint16_t number, const std::string& contents)
{
    const uint32_t size = static_cast<uint32_t>(contents.size() + 6);
    std::string out(6, '\0');
    std::memcpy(&out[0], &number, 2);
    std::memcpy(&out[2], &size, 4);
    return out + contents;
}

std::string floats(std::initializer_list<float> values)
{
    return std::string(reinterpret_cast<const char*>(values.begin()), values.size() * sizeof(float));
}

} // namespace

TEST_F(ForeignImport, aLightThatShinesElsewhereGetsATransformOfItsOwn)
{
    using namespace std::string_literals;
    const std::string triangle = chunk(0x4100, chunk(0x4110, "\3\0"s + floats({0, 0, 0, 1, 0, 0, 0, 1, 0})) +
                                                   chunk(0x4120, "\1\0\0\0\1\0\2\0\7\0"s));
    const std::string spot = chunk(0x4600, floats({1, 2, 3}) + chunk(0x0010, floats({1, 0.5f, 0.25f})) +
                                               chunk(0x4610, floats({9, 2, 3, 20, 40}))); // shines along x
    write(in("spot.3ds"),
          chunk(0x4d4d, chunk(0x3d3d, chunk(0x4000, "m\0"s + triangle) + chunk(0x4000, "lamp\0"s + spot))));
    ASSERT_EQ(KFileIO::import(in("spot.3ds")), KStatus::kSuccess) << lastError();
    KDagPath path;
    KItDag it(KItDag::kDepthFirst, KFn::kSpotLight);
    ASSERT_FALSE(it.isDone());
    it.getPath(path);
    const KFnSpotLight lamp(path);
    EXPECT_EQ(lamp.name(), KString("lampShape"));
    EXPECT_NEAR(lamp.coneAngle(), std::acos(-1.0) / 3, 1e-6);
    EXPECT_NEAR(lamp.penumbraAngle(), -std::acos(-1.0) / 9, 1e-6);
    const KMatrix own = KFnTransform(lamp.parent(0)).transformation().asMatrix();
    EXPECT_NEAR(-own(2, 0), 1, 1e-6); // where -z goes
    EXPECT_NEAR(own(1, 1), 1, 1e-6);
    EXPECT_EQ(own(3, 0), 1.0);
    EXPECT_EQ(own(3, 1), 2.0);
    EXPECT_EQ(own(3, 2), 3.0);
}
