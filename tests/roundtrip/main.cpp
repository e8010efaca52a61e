#include <OpenSG/OSGBaseFunctions.h>

#include <zyUtils/zyLog.h>

#include <gtest/gtest.h>

#include <cstdlib>

// The file type starts the SDK by itself, at the first scene that is written.
int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    ::setenv("RC_PARAMS", "seed=20170704 max_success=100", 0); // property-based tests repeat exactly
    ::setenv("KELDA_DEBUG_NO_SIGNAL_HANDLERS", "1", 1);
    zyLog::setDefaultSinkEnabled(false);
    osg::osgInit(argc, argv);
    const int failed = RUN_ALL_TESTS();
    osg::osgExit();
    return failed;
}
