#include <OpenSG/OSGBaseFunctions.h>

#include <kelda/KLibrary.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

// The SDK is started here unless the first argument says that the tests start it themselves.
int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    osg::osgInit(argc, argv);
    ::setenv("KELDA_DEBUG_NO_SIGNAL_HANDLERS", "1", 1);
    ::setenv("RC_PARAMS", "seed=2017 max_success=100", 0);
    const bool ownStart = argc > 1 && std::strcmp(argv[1], "--sdk-not-started") == 0;
    if (!ownStart && KLibrary::initialize("module tests", true).error())
        return 2;
    const int failed = RUN_ALL_TESTS();
    KLibrary::cleanup();
    osg::osgExit();
    return failed;
}
