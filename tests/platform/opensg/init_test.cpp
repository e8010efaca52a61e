#include <OpenSG/OSGBaseFunctions.h>
#include <OpenSG/OSGGroup.h>
#include <OpenSG/OSGSimpleAttachments.h>
#include <OpenSG/OSGSimpleGeometry.h>

#include <gtest/gtest.h>

// The one program that does not start the library by itself. Its tests depend on the order in which they
// stand.

TEST(Init, nothingIsCreatedBeforeIt)
{
    EXPECT_EQ(osg::Startup, osg::GlobalSystemState);
    EXPECT_TRUE(osg::Node::create() == osg::NullFC);
    EXPECT_TRUE(osg::Group::create() == osg::NullFC);
    EXPECT_TRUE(osg::getDefaultMaterial() == osg::NullFC);
    EXPECT_TRUE(osg::makeBox(1, 1, 1, 1, 1, 1) == osg::NullFC);
    EXPECT_EQ(nullptr, osg::Group::getClassType().getDefaultValue(1));
}

TEST(Init, defaultObjectsNeedNoPrototype)
{
    const osg::NodePtr node = osg::Node::createEmpty();
    ASSERT_TRUE(node != osg::NullFC);
    osg::setName(node, "early"); // needs the prototype of Name: nothing is attached
    EXPECT_EQ(nullptr, osg::getName(node));
    osg::subRefCP(node);
}

TEST(Init, mayBeRepeated)
{
    EXPECT_TRUE(osg::osgInit(0, nullptr));
    EXPECT_TRUE(osg::osgInit(0, nullptr));
    EXPECT_EQ(osg::Running, osg::GlobalSystemState);
    const osg::NodePtr node = osg::Node::create();
    EXPECT_TRUE(node != osg::NullFC);
    EXPECT_EQ(1, osg::Node::getClassType().getPrototype().getRefCount());
    EXPECT_EQ(osg::getDefaultMaterial(), osg::getDefaultMaterial());
    EXPECT_EQ(1, osg::getDefaultMaterial().getRefCount());
    osg::subRefCP(node);
}

TEST(Init, exitReleasesPrototypesAndKeepsWhatIsReferenced)
{
    const osg::NodePtr node = osg::Node::create();
    osg::addRefCP(node);
    EXPECT_TRUE(osg::osgExit());
    EXPECT_TRUE(osg::osgExit());
    EXPECT_EQ(osg::Shutdown, osg::GlobalSystemState);
    EXPECT_TRUE(osg::Node::create() == osg::NullFC);
    EXPECT_EQ(1, node.getRefCount());
    EXPECT_EQ(1u, osg::FieldContainerFactory::the()->getNumContainers());
    osg::subRefCP(node);
    EXPECT_EQ(0u, osg::FieldContainerFactory::the()->getNumContainers());
}
