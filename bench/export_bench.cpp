// Times of an export to the binary form, beside Assimp's and tinygltf's binary glTF of the same scene and a
// plain write of the same bytes, and their growth.
//
// The whole export goes through the file type: walk, building the SDK's scene, saving, clearing. Files are
// written anew each time and are not flushed to the disk by the others.

#include "files.h"

#include <OpenSG/OSGSceneFileHandler.h>

#include <assimp/cexport.h>
#include <assimp/cimport.h>
#include <assimp/scene.h>
#include <tiny_gltf.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <malloc.h>
#include <vector>

namespace
{
const std::string targetKb = bench::temporary("export.kb");
const std::string targetGlb = bench::temporary("export.glb");

// Runs `save` on a target that is not there yet.
template <class Save>
void saveAnew(benchmark::State& state, const std::string& target, Save save)
{
    for (auto _ : state) {
        state.PauseTiming();
        std::filesystem::remove(target);
        std::filesystem::remove_all(std::filesystem::path(target).replace_extension()); // the pictures
        malloc_trim(0);
        state.ResumeTiming();
        save();
    }
    if (!std::filesystem::exists(target) || std::filesystem::file_size(target) == 0)
        state.SkipWithError("nothing was written");
    else
        state.counters["MB"] = static_cast<double>(std::filesystem::file_size(target)) / 1e6;
}

void exportFile(benchmark::State& state, const std::string& path)
{
    const osg::NodePtr root = osg::SceneFileHandler::the()->read(path.c_str());
    if (root == osg::NullFC) {
        state.SkipWithError("import failed");
        return;
    }
    saveAnew(state, targetKb, [&] { osg::SceneFileHandler::the()->write(root, targetKb.c_str()); });
    osg::subRefCP(root);
}

void assimpWrite(benchmark::State& state, const std::string& path)
{
    const aiScene* scene = aiImportFile(path.c_str(), 0);
    if (scene == nullptr) {
        state.SkipWithError(aiGetErrorString());
        return;
    }
    saveAnew(state, targetGlb, [&] { aiExportScene(scene, "glb2", targetGlb.c_str(), 0); });
    aiReleaseImport(scene);
}

void tinygltfWrite(benchmark::State& state, const std::string& path)
{
    tinygltf::TinyGLTF gltf;
    tinygltf::Model model;
    std::string error;
    std::string warning;
    if (!gltf.LoadBinaryFromFile(&model, &error, &warning, path)) {
        state.SkipWithError(error.c_str());
        return;
    }
    saveAnew(state, targetGlb,
             [&] { gltf.WriteGltfSceneToFile(&model, targetGlb, false, true, false, true); });
}

// The bytes that the export of the scene makes, from one block.
void plainWrite(benchmark::State& state, const std::string& path)
{
    const osg::NodePtr root = osg::SceneFileHandler::the()->read(path.c_str());
    osg::SceneFileHandler::the()->write(root, targetKb.c_str());
    osg::subRefCP(root);
    std::ifstream file(targetKb, std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    saveAnew(state, targetKb, [&] {
        std::FILE* const out = std::fopen(targetKb.c_str(), "wb");
        if (std::fwrite(bytes.data(), 1, bytes.size(), out) != bytes.size())
            state.SkipWithError("cannot write");
        std::fclose(out);
    });
}
} // namespace

int main(int argc, char** argv)
{
    using bench::addCase;
    using bench::s1;
    using bench::s2;
    return bench::runBenchmarks(argc, argv, [] {
        // The writer tells its progress on standard output; the table goes there, too.
        addCase("S1/export", [](benchmark::State& state) { exportFile(state, s1().kb); });
        addCase("S1/assimp", [](benchmark::State& state) { assimpWrite(state, s1().glb); });
        addCase("S1/tinygltf", [](benchmark::State& state) { tinygltfWrite(state, s1().glb); });
        addCase("S1/plain", [](benchmark::State& state) { plainWrite(state, s1().kb); });
        addCase("S2/export", [](benchmark::State& state) { exportFile(state, s2().kb); });
        addCase("S2/assimp", [](benchmark::State& state) { assimpWrite(state, s2().glb); });
        addCase("S2/tinygltf", [](benchmark::State& state) { tinygltfWrite(state, s2().glb); });
        addCase("S2/plain", [](benchmark::State& state) { plainWrite(state, s2().kb); });

        bench::addGrowth("nodes_and_meshes", bench::manyNodes, {2000, 20000, 200000}, exportFile);
        bench::addGrowth("triangles", bench::denseMesh, {20000, 200000, 2000000}, exportFile);
        bench::addGrowth("instances", bench::instances, {1000, 10000, 100000}, exportFile);
        bench::addGrowth("materials", bench::texturedMeshes, {100, 1000, 10000}, exportFile);
        bench::addGrowth("depth", bench::deepChain, {100, 1000, 10000}, exportFile);
    });
}
