#include <OpenSG/OSGBaseFunctions.h>
#include <OpenSG/OSGFieldContainer.h>

#include <gtest/gtest.h>

#include <cstdlib>

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    // The same cases in every run, unless someone asks for others.
    setenv("RC_PARAMS", "seed=2017 max_success=1000", 0);
    osg::osgInit(argc, argv);
    osg::osgSetEditCheck(osg::EditCheck::Fail); // a change outside an edit ends the test
    const int result = RUN_ALL_TESTS();
    osg::osgExit();
    return result;
}
