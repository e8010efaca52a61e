// Peak memory of one import in a fresh process, against the size of the finished graph.
//
// import_memory FILE: prints the highest resident size during the import and the growth that remains, above
// what the process held before.

#include <OpenSG/OSGBaseFunctions.h>
#include <OpenSG/OSGSceneFileHandler.h>
#include <kelda/KLibrary.h>
#include <zyKeldaSceneFileType.h>
#include <zyUtils/zyLog.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <malloc.h>

namespace
{
// A line of the process's status, in kilobytes.
long statusOf(const char* key)
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
    return value;
}
} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: import_memory FILE\n");
        return 2;
    }
    osg::osgInit(argc, argv);
    zyLog::setDefaultSinkEnabled(false);
    zyKeldaSceneFileType::the(); // keeps the module linked
    ::setenv("KELDA_DEBUG_NO_SIGNAL_HANDLERS", "1", 1);
    KLibrary::initialize("import_memory", true);

    const long before = statusOf("VmRSS:");
    osg::NodePtr root = osg::SceneFileHandler::the()->read(argv[1]);
    if (root == osg::NullFC)
        return 1;
    const long peak = statusOf("VmHWM:") - before;
    malloc_trim(0);
    const long graph = statusOf("VmRSS:") - before;
    std::printf("graph %.1f MB, peak %.1f MB, ratio %.2f\n", static_cast<double>(graph) / 1024,
                static_cast<double>(peak) / 1024, static_cast<double>(peak) / static_cast<double>(graph));
    osg::subRefCP(root);
    return 0;
}
