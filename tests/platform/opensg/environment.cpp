#include <OpenSG/OSGBaseFunctions.h>

#include <gtest/gtest.h>

#include <cstdlib>

namespace
{

// Prototypes live between osgInit and osgExit; leak checks rely on the latter.
class Library : public ::testing::Environment
{
public:
    void SetUp() override
    {
        // The same random cases in every run, unless others are asked for.
        setenv("RC_PARAMS", "seed=2017 max_success=100", 0);
        osg::osgInit(0, nullptr);
    }
    void TearDown() override { osg::osgExit(); }
};

const ::testing::Environment* const library = ::testing::AddGlobalTestEnvironment(new Library);

} // namespace
