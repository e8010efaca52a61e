#include "files.h"

#include <OpenSG/OSGBaseFunctions.h>
#include <kelda/KLibrary.h>
#include <zyKeldaSceneFileType.h>
#include <zyUtils/zyLog.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <malloc.h>
#include <map>

namespace bench
{

std::string temporary(const std::string& name)
{
    static const std::string folder = (std::filesystem::temp_directory_path() / "zykelda_bench").string();
    return folder + "/" + name;
}

const Files& filesOf(const std::string& name, const std::function<Scene()>& make)
{
    static std::map<std::string, Files> written;
    const auto found = written.find(name);
    if (found != written.end())
        return found->second;
    std::filesystem::create_directories(temporary(name));
    Files files{temporary(name + "/scene.kb"), temporary(name + "/scene.glb")};
    const Scene scene = make();
    writeKelda(scene, files.kb);
    writeGlb(scene, files.glb);
    malloc_trim(0); // the heap as a fresh process has it
    return written[name] = files;
}

const Files& s1()
{
    return filesOf("S1", [] { return denseMesh(); });
}
const Files& s2()
{
    return filesOf("S2", [] { return manyNodes(); });
}
const Files& s3()
{
    return filesOf("S3", [] { return texturedMeshes(); });
}

void addCase(const char* name, const std::function<void(benchmark::State&)>& run)
{
    benchmark::RegisterBenchmark(name, run)
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime()
        ->Repetitions(5)
        ->ReportAggregatesOnly(false);
}

void addGrowth(const char* name, const std::function<Scene(size_t)>& make,
               std::initializer_list<size_t> sizes,
               const std::function<void(benchmark::State&, const std::string&)>& run)
{
    for (const size_t size : sizes) {
        const std::string label = std::string(name) + "/" + std::to_string(size);
        benchmark::RegisterBenchmark(("growth/" + label).c_str(),
                                     [=](benchmark::State& state) {
                                         std::string file = label;
                                         file[file.find('/')] = '_';
                                         run(state, filesOf(file, [&] { return make(size); }).kb);
                                     })
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime();
    }
}

int runBenchmarks(int argc, char** argv, const std::function<void()>& registerCases)
{
    benchmark::Initialize(&argc, argv);
    osg::osgInit(argc, argv);
    ::setenv("KELDA_DEBUG_NO_SIGNAL_HANDLERS", "1", 1);
    if (KLibrary::initialize("zyKeldaBench", true).error())
        return 1;
    zyLog::setDefaultSinkEnabled(false);
    zyKeldaSceneFileType::the(); // keeps the module linked
    // What the module prints belongs to no table.
    if (std::freopen("/dev/null", "w", stderr) == nullptr)
        return 1;

    std::filesystem::create_directories(temporary(""));
    registerCases();
    benchmark::RunSpecifiedBenchmarks();
    std::filesystem::remove_all(temporary(""));
    return 0;
}

} // namespace bench
