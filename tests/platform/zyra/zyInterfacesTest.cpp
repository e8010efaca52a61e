#include <zyInterfaces/zyInterfaceFactory.h>
#include <zyInterfaces/zyReferenceInterface.h>

#include <OpenSG/OSGNode.h>

#include <gtest/gtest.h>

#include <string>

static zyReferenceInterface* referenceInterface()
{
    return static_cast<zyReferenceInterface*>(
        zyInterfaceFactory::the()->get(std::type_index(typeid(zyReferenceInterface))));
}

TEST(ZyInterfaces, theReferenceInterfaceIsThereAndReturnsTheRootItIsGiven)
{
    ASSERT_NE(nullptr, referenceInterface());
    osg::NodePtr root = osg::Node::create();
    EXPECT_TRUE(root == referenceInterface()->processImportRoot(root, "car.kb"));
    EXPECT_TRUE(referenceInterface()->processImportRoot(osg::NullFC, "") == osg::NullFC);
    EXPECT_EQ(0, root.getRefCount());
    osg::subRefCP(root);
}

TEST(ZyInterfaces, aHandlerTakesOverWithoutAnotherObject)
{
    zyReferenceInterface* const before = referenceInterface();
    osg::NodePtr root = osg::Node::create();
    osg::NodePtr wrapper = osg::Node::create();
    std::string path;
    EXPECT_FALSE(before->setImportRootHandler([&](osg::NodePtr given, std::string filePath) {
        EXPECT_TRUE(given == root);
        path = filePath;
        return wrapper;
    }));
    EXPECT_EQ(before, referenceInterface());
    EXPECT_TRUE(wrapper == before->processImportRoot(root, "D:\\scenes/car.kb"));
    EXPECT_EQ("D:\\scenes/car.kb", path);
    EXPECT_TRUE(static_cast<bool>(before->setImportRootHandler(nullptr)));
    EXPECT_TRUE(root == before->processImportRoot(root, ""));
    osg::subRefCP(root);
    osg::subRefCP(wrapper);
}

namespace
{

struct Plain {
    int value = 7;
};

// Derives from the interface second: the factory must give back a pointer to exactly the interface.
struct Implementation : Plain, zyReferenceInterface {
    osg::NodePtr processImportRoot(osg::NodePtr, std::string) override { return osg::NullFC; }
};

} // namespace

TEST(ZyInterfaces, anotherImplementationCanBeRegisteredAndTakenAway)
{
    zyInterfaceFactory* const factory = zyInterfaceFactory::the();
    EXPECT_EQ(nullptr, factory->get<Plain>());
    Plain plain;
    EXPECT_EQ(nullptr, factory->set(&plain));
    EXPECT_EQ(&plain, factory->get<Plain>());
    EXPECT_EQ(&plain, factory->set<Plain>(nullptr));
    EXPECT_EQ(nullptr, factory->get<Plain>());

    Implementation implementation;
    zyReferenceInterface* const former = factory->set<zyReferenceInterface>(&implementation);
    osg::NodePtr root = osg::Node::create();
    EXPECT_TRUE(referenceInterface()->processImportRoot(root, "") == osg::NullFC);
    EXPECT_EQ(&implementation, factory->set(former));
    EXPECT_TRUE(referenceInterface()->processImportRoot(root, "") == root);
    osg::subRefCP(root);
}
