#include <OpenSG/OSGFieldContainerFactory.h>
#include <OpenSG/OSGNode.h>

#include <gtest/gtest.h>

#include <dlfcn.h>

TEST(ValuePairLate, registersItselfWhenItsLibraryArrivesAfterTheStart)
{
    ASSERT_EQ(nullptr, osg::FieldContainerFactory::the()->findType("ValuePair"));
    ASSERT_NE(nullptr, dlopen(ZY_EXT_LIBRARY, RTLD_NOW)) << dlerror();
    ASSERT_NE(nullptr, osg::FieldContainerFactory::the()->findType("ValuePair"));

    osg::FieldContainerPtr pair = osg::FieldContainerFactory::the()->createFieldContainer("ValuePair");
    ASSERT_TRUE(pair != osg::NullFC);
    EXPECT_NE(nullptr, pair->getField("keys"));
    EXPECT_NE(nullptr, pair->getField("values"));
    osg::subRefCP(pair);
}
