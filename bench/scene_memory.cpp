// Peak memory of one import or export in a fresh process.
//
// scene_memory import FILE: the time of the import, the highest resident size during it and the growth that
// remains, above what the process held before. scene_memory export FILE: imports the file and exports it
// again as OUT.kb in the temporary folder; the peak is that of the export, beside the bytes of the arrays
// that the writer hands to the SDK for the largest mesh.

#include <OpenSG/OSGAction.h>
#include <OpenSG/OSGBaseFunctions.h>
#include <OpenSG/OSGGeometry.h>
#include <OpenSG/OSGSceneFileHandler.h>
#include <OpenSG/OSGTriangleIterator.h>
#include <kelda/KLibrary.h>
#include <zyKeldaSceneFileType.h>
#include <zyUtils/zyLog.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <malloc.h>
#include <set>
#include <string>

namespace
{
// Bytes of the arrays that the writer hands to the SDK for all meshes: for each corner of a triangle a vertex
// of four floats, its number, a normal of three doubles and two texture coordinates, and for each triangle
// its length.
double bytesForSdk(const osg::NodePtr& root)
{
    double bytes = 0;
    std::set<osg::GeometryPtr> done;
    osg::traverse(root, [&](osg::NodePtr& node) {
        const osg::GeometryPtr geometry = osg::GeometryPtr::dcast(node->getCore());
        if (geometry != osg::NullFC && done.insert(geometry).second) {
            for (osg::TriangleIterator it = geometry->beginTriangles(); it != geometry->endTriangles(); ++it)
                bytes += 3 * (4 * 4 + 4 + 3 * 8 + 2 * 4) + 4;
        }
        return osg::Action::Continue;
    });
    return bytes;
}

// A line of the process's status, in kilobytes.
double statusOf(const char* key)
{
    std::FILE* file = std::fopen("/proc/self/status", "r");
    char line[256];
    long value = -1;
    while (file != nullptr && std::fgets(line, sizeof(line), file) != nullptr) {
        if (std::strncmp(line, key, std::strlen(key)) == 0)
            value = std::atol(line + std::strlen(key));
    }
    if (file != nullptr)
        std::fclose(file);
    return static_cast<double>(value);
}
} // namespace

int main(int argc, char** argv)
{
    const bool exporting = argc == 3 && std::strcmp(argv[1], "export") == 0;
    if (!exporting && (argc != 3 || std::strcmp(argv[1], "import") != 0)) {
        std::fprintf(stderr, "usage: scene_memory import|export FILE\n");
        return 2;
    }
    osg::osgInit(argc, argv);
    zyLog::setDefaultSinkEnabled(false);
    zyKeldaSceneFileType::the(); // keeps the module linked
    ::setenv("KELDA_DEBUG_NO_SIGNAL_HANDLERS", "1", 1);
    KLibrary::initialize("scene_memory", true);

    const double before = statusOf("VmRSS:");
    const auto start = std::chrono::steady_clock::now();
    osg::NodePtr root = osg::SceneFileHandler::the()->read(argv[2]);
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
    if (root == osg::NullFC)
        return 1;
    const double importPeak = statusOf("VmHWM:") - before;
    malloc_trim(0);
    const double graph = statusOf("VmRSS:") - before;
    if (exporting) {
        const double arrays = bytesForSdk(root) / 1024;
        const std::string target = (std::filesystem::temp_directory_path() / "scene_memory.kb").string();
        std::ofstream("/proc/self/clear_refs") << "5"; // the peak starts anew
        const double held = statusOf("VmRSS:");
        osg::SceneFileHandler::the()->write(root, target.c_str());
        const double peak = statusOf("VmHWM:") - held;
        std::filesystem::remove(target);
        std::printf("arrays %.1f MB, peak %.1f MB, ratio %.2f\n", arrays / 1024, peak / 1024, peak / arrays);
    } else {
        std::printf("%.1f ms, graph %.1f MB, peak %.1f MB, ratio %.2f\n", time.count(), graph / 1024,
                    importPeak / 1024, importPeak / graph);
    }
    osg::subRefCP(root);
    return 0;
}
