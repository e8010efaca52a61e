#include <OpenSG/OSGBaseFunctions.h>
#include <OpenSG/OSGFieldContainer.h>

#include <gmock/gmock.h>

#include <cstdlib>

int main(int argc, char** argv)
{
    setenv("RC_PARAMS", "seed=20260101", 0); // property-based tests repeat exactly
    testing::InitGoogleMock(&argc, argv);
    osg::osgInit(argc, argv);
    osg::osgSetEditCheck(osg::EditCheck::Fail);
    const int result = RUN_ALL_TESTS();
    osg::osgExit();
    return result;
}
