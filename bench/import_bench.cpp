// Times of an import, beside Assimp's load of the same scene, and their growth.
//
// The whole import goes through the file type: open, walk, repair, optimise. The file cache is warm.

#include "files.h"

#include <OpenSG/OSGSceneFileHandler.h>
#include <kelda/KFileIO.h>

#include <assimp/cimport.h>
#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <malloc.h>

namespace
{
/// @param fresh whether each import takes its memory from the system, as the first one of a process does
void importFile(benchmark::State& state, const std::string& path, bool fresh = false)
{
    for (auto _ : state) {
        osg::NodePtr root = osg::SceneFileHandler::the()->read(path.c_str());
        if (root == osg::NullFC) {
            state.SkipWithError("import failed");
            return;
        }
        state.PauseTiming();
        osg::subRefCP(root);
        if (fresh)
            malloc_trim(0);
        state.ResumeTiming();
    }
}

void openFile(benchmark::State& state, const std::string& path)
{
    for (auto _ : state) {
        if (KFileIO::open(path.c_str(), nullptr, true).error()) {
            state.SkipWithError("open failed");
            return;
        }
        state.PauseTiming();
        KFileIO::newFile(true);
        state.ResumeTiming();
    }
}

void assimpLoad(benchmark::State& state, const std::string& path, unsigned int flags)
{
    for (auto _ : state) {
        const aiScene* scene = aiImportFile(path.c_str(), flags);
        if (scene == nullptr) {
            state.SkipWithError(aiGetErrorString());
            return;
        }
        state.PauseTiming();
        aiReleaseImport(scene);
        state.ResumeTiming();
    }
}
} // namespace

int main(int argc, char** argv)
{
    using bench::addCase;
    using bench::s1;
    using bench::s2;
    return bench::runBenchmarks(argc, argv, [] {
        const unsigned int fast = aiProcessPreset_TargetRealtime_Fast;
        addCase("S1/import", [](benchmark::State& state) { importFile(state, s1().kb); });
        addCase("S1/assimp_fast", [=](benchmark::State& state) { assimpLoad(state, s1().glb, fast); });
        addCase("S1/open", [](benchmark::State& state) { openFile(state, s1().kb); });
        addCase("S1/assimp_raw", [](benchmark::State& state) { assimpLoad(state, s1().glb, 0); });
        addCase("S2/import", [](benchmark::State& state) { importFile(state, s2().kb); });
        addCase("S2/assimp_fast", [=](benchmark::State& state) { assimpLoad(state, s2().glb, fast); });
        addCase("S2/open", [](benchmark::State& state) { openFile(state, s2().kb); });
        addCase("S2/assimp_raw", [](benchmark::State& state) { assimpLoad(state, s2().glb, 0); });
        addCase("S3/import", [](benchmark::State& state) { importFile(state, bench::s3().kb); });

        const auto run = [](benchmark::State& state, const std::string& file) {
            importFile(state, file, true);
        };
        bench::addGrowth("nodes_and_meshes", bench::manyNodes, {2000, 20000, 200000}, run);
        bench::addGrowth("triangles", bench::denseMesh, {20000, 200000, 2000000}, run);
        bench::addGrowth("instances", bench::instances, {1000, 10000, 100000}, run);
        bench::addGrowth("materials", bench::texturedMeshes, {100, 1000, 10000}, run);
        bench::addGrowth("depth", bench::deepChain, {100, 1000, 10000}, run);
    });
}
