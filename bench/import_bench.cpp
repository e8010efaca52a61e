// Times of an import, beside Assimp's load of the same scene, and their growth.
//
// The whole import goes through the file type: open, walk, repair, optimise. Scenes are written to a
// temporary folder first; the file cache is warm.

#include "scenes.h"

#include <OpenSG/OSGBaseFunctions.h>
#include <OpenSG/OSGSceneFileHandler.h>
#include <kelda/KFileIO.h>
#include <kelda/KLibrary.h>
#include <zyKeldaSceneFileType.h>
#include <zyUtils/zyLog.h>

#include <assimp/cimport.h>
#include <assimp/postprocess.h>
#include <assimp/scene.h>
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <malloc.h>
#include <map>
#include <string>

namespace
{
std::string folder;

struct Files {
    std::string kb;
    std::string glb;
};

// Writes a scene once, in both forms.
const Files& filesOf(const std::string& name, const std::function<bench::Scene()>& make)
{
    static std::map<std::string, Files> written;
    const auto found = written.find(name);
    if (found != written.end())
        return found->second;
    Files files{folder + "/" + name + ".kb", folder + "/" + name + ".glb"};
    const bench::Scene scene = make();
    bench::writeKelda(scene, files.kb);
    bench::writeGlb(scene, files.glb);
    malloc_trim(0); // the heap as a fresh process has it
    return written[name] = files;
}

const Files& s1()
{
    return filesOf("S1", [] { return bench::denseMesh(); });
}
const Files& s2()
{
    return filesOf("S2", [] { return bench::manyNodes(); });
}

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

void addGrowth(const char* name, const std::function<bench::Scene(size_t)>& make,
               std::initializer_list<size_t> sizes)
{
    for (const size_t size : sizes) {
        const std::string label = std::string(name) + "/" + std::to_string(size);
        benchmark::RegisterBenchmark(("growth/" + label).c_str(),
                                     [=](benchmark::State& state) {
                                         std::string file = label;
                                         file[file.find('/')] = '_';
                                         importFile(state, filesOf(file, [&] { return make(size); }).kb,
                                                    true);
                                     })
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime();
    }
}

void addCase(const char* name, const std::function<void(benchmark::State&)>& run)
{
    benchmark::RegisterBenchmark(name, run)
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime()
        ->Repetitions(5)
        ->ReportAggregatesOnly(false);
}
} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    osg::osgInit(argc, argv);
    ::setenv("KELDA_DEBUG_NO_SIGNAL_HANDLERS", "1", 1);
    if (KLibrary::initialize("import_bench", true).error())
        return 1;
    zyLog::setDefaultSinkEnabled(false);
    zyKeldaSceneFileType::the(); // keeps the module linked
    // What the module prints belongs to no table.
    if (std::freopen("/dev/null", "w", stderr) == nullptr)
        return 1;

    folder = (std::filesystem::temp_directory_path() / "zykelda_bench").string();
    std::filesystem::create_directories(folder);

    const unsigned int fast = aiProcessPreset_TargetRealtime_Fast;
    addCase("S1/import", [](benchmark::State& state) { importFile(state, s1().kb); });
    addCase("S1/assimp_fast", [=](benchmark::State& state) { assimpLoad(state, s1().glb, fast); });
    addCase("S1/open", [](benchmark::State& state) { openFile(state, s1().kb); });
    addCase("S1/assimp_raw", [](benchmark::State& state) { assimpLoad(state, s1().glb, 0); });
    addCase("S2/import", [](benchmark::State& state) { importFile(state, s2().kb); });
    addCase("S2/assimp_fast", [=](benchmark::State& state) { assimpLoad(state, s2().glb, fast); });
    addCase("S2/open", [](benchmark::State& state) { openFile(state, s2().kb); });
    addCase("S2/assimp_raw", [](benchmark::State& state) { assimpLoad(state, s2().glb, 0); });

    addGrowth("nodes_and_meshes", [](size_t n) { return bench::manyNodes(n); }, {2000, 20000, 200000});
    addGrowth("triangles", [](size_t n) { return bench::denseMesh(n); }, {20000, 200000, 2000000});
    addGrowth("instances", [](size_t n) { return bench::instances(n); }, {1000, 10000, 100000});
    addGrowth("depth", [](size_t n) { return bench::deepChain(n); }, {100, 1000, 10000});

    benchmark::RunSpecifiedBenchmarks();
    std::filesystem::remove_all(folder);
    return 0;
}
