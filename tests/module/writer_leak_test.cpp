// What an export keeps: the function sets of all meshes but one, and nothing else. Each count is that of the
// leak checker in a process of its own, which exports and ends.

#include "WriterTest.h"

#include <OpenSG/OSGBaseFunctions.h>

#include <kelda/KLibrary.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#if defined(__SANITIZE_ADDRESS__)
#define CHECKS_LEAKS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define CHECKS_LEAKS 1
#endif
#endif

namespace
{
const char exportArgument[] = "--export";

/// The child's part: a graph of so many geometry cores, each used by two nodes, to /dev/null.
int exportMeshes(int cores)
{
    if (KLibrary::initialize("leak test", true).error())
        return 2;
    {
        Children nodes;
        for (int i = 0; i < cores; ++i) {
            const osg::GeometryPtr core = makeGeometry(triangle());
            nodes.push_back(nodeWith(core, "first"));
            nodes.push_back(nodeWith(core, "second"));
        }
        const ScopedGraph graph(groupNode("root", nodes));
        zyKeldaWriter::write(graph.get(), "/dev/null/none.ka", "");
    }
    KLibrary::cleanup();
    osg::osgExit();
    return 0;
}

#if defined(CHECKS_LEAKS)
struct Ended {
    bool clean;
    std::string said;
};

Ended exportInAProcess(int cores, const std::string& leakOptions)
{
    const std::string command = "ASAN_OPTIONS=detect_leaks=1 LSAN_OPTIONS=" + leakOptions + " '" + SELF +
                                "' " + exportArgument + " " + std::to_string(cores) + " 2>&1";
    Ended ended{false, ""};
    FILE* pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr)
        return ended;
    char buffer[4096];
    while (const std::size_t count = std::fread(buffer, 1, sizeof(buffer), pipe))
        ended.said.append(buffer, count);
    ended.clean = ::pclose(pipe) == 0;
    return ended;
}

const char suppressed[] = "suppressions=" SUPPRESSIONS ":print_suppressions=1";

// "<count> <bytes> <function>", blanks in front of each number.
std::string suppressedLine(int count)
{
    return "[ ]+" + std::to_string(count) + "[ ]+" + std::to_string(std::size_t(count) * sizeof(KFnMesh)) +
           " newSharedMesh";
}

TEST(WriterLeaks, anExportKeepsTheFunctionSetsOfAllMeshesButOne)
{
    const Ended ended = exportInAProcess(5, suppressed);
    EXPECT_TRUE(ended.clean) << ended.said;
    EXPECT_THAT(ended.said, testing::ContainsRegex(suppressedLine(4)));
}

TEST(WriterLeaks, anExportOfOneMeshKeepsNothing)
{
    for (const int cores : {0, 1}) {
        const Ended ended = exportInAProcess(cores, "print_suppressions=1");
        EXPECT_TRUE(ended.clean) << ended.said;
    }
}

TEST(WriterLeaks, nothingElseIsKept)
{
    const Ended ended = exportInAProcess(3, "print_suppressions=1");
    EXPECT_FALSE(ended.clean);
    EXPECT_THAT(ended.said, testing::HasSubstr(std::to_string(2 * sizeof(KFnMesh)) +
                                               " byte(s) leaked in 2 allocation(s)."));
}
#else
TEST(WriterLeaks, areCountedUnderTheAddressSanitizer)
{
    GTEST_SKIP() << "this build checks no leaks";
}
#endif
} // namespace

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    osg::osgInit(argc, argv);
    ::setenv("KELDA_DEBUG_NO_SIGNAL_HANDLERS", "1", 1);
    if (argc == 3 && std::string(argv[1]) == exportArgument)
        return exportMeshes(std::atoi(argv[2]));
    return RUN_ALL_TESTS();
}
