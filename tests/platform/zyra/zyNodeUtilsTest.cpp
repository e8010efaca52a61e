#include "sceneTools.h"

#include <zyOpenSGUtils/zyNodeUtils.h>

#include <OpenSG/OSGGroup.h>
#include <OpenSG/OSGTransform.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

// Children's names in order, each with its own children in brackets.
static std::string outline(const osg::NodePtr& node)
{
    std::string text = zyNodeUtils::getName(node);
    if (node->getNChildren() == 0)
        return text;
    text += '(';
    for (osg::UInt32 i = 0; i < node->getNChildren(); ++i)
        text += (i == 0 ? "" : " ") + outline(node->getChild(i));
    return text + ')';
}

// root(a b(b1 b2) c)
class ZyNodeUtils : public testing::Test
{
protected:
    void SetUp() override
    {
        root = group("root");
        osg::addRefCP(root);
        for (const char* name : {"a", "b", "c"})
            addChild(root, group(name));
        b = root->getChild(1);
        addChild(b, group("b1"));
        addChild(b, group("b2"));
    }
    void TearDown() override { osg::subRefCP(root); }

    static osg::NodePtr group(const std::string& name) { return makeNode(name, osg::Group::create()); }

    osg::NodePtr root;
    osg::NodePtr b;
};

// -- Names ------------------------------------------------------------------------------------

TEST_F(ZyNodeUtils, aNodeWithoutNameHasTheEmptyName)
{
    osg::NodePtr node = osg::Node::create();
    EXPECT_EQ("", zyNodeUtils::getName(node));
    zyNodeUtils::setName(node, "hood", true, osg::NullFC);
    EXPECT_EQ("hood", zyNodeUtils::getName(node));
    EXPECT_STREQ("hood", osg::getName(node));
    osg::subRefCP(node);
    EXPECT_EQ("", zyNodeUtils::getName(osg::NullFC));
    zyNodeUtils::setName(osg::NullFC, "nobody", true, osg::NullFC);
}

TEST_F(ZyNodeUtils, anExistingNameIsReplacedOnlyWhenAskedTo)
{
    zyNodeUtils::setName(b, "other", false, osg::NullFC);
    EXPECT_EQ("b", zyNodeUtils::getName(b));
    zyNodeUtils::setName(b, "other", true, osg::NullFC);
    EXPECT_EQ("other", zyNodeUtils::getName(b));
    zyNodeUtils::setName(b, "", true, osg::NullFC);
    zyNodeUtils::setName(b, "again", false, osg::NullFC);
    EXPECT_EQ("again", zyNodeUtils::getName(b));
}

TEST_F(ZyNodeUtils, aNameCanBeMadeUniqueBelowANode)
{
    zyNodeUtils::setName(b, "a", true, root);
    EXPECT_EQ("a_1", zyNodeUtils::getName(b));
    zyNodeUtils::setName(root->getChild(2), "a", true, root);
    EXPECT_EQ("a_2", zyNodeUtils::getName(root->getChild(2)));
    zyNodeUtils::setName(b, "a_1", true, root); // its own name does not stand in the way
    EXPECT_EQ("a_1", zyNodeUtils::getName(b));
    zyNodeUtils::setName(b, "a", true, b);
    EXPECT_EQ("a", zyNodeUtils::getName(b));
}

// -- Structure --------------------------------------------------------------------------------

TEST_F(ZyNodeUtils, anInsertedParentTakesTheNodesPlace)
{
    EXPECT_TRUE(zyNodeUtils::insertParentNode(b, group("t")));
    EXPECT_EQ("root(a t(b(b1 b2)) c)", outline(root));
    EXPECT_EQ(1, b.getRefCount());
    EXPECT_EQ(1, root->getChild(1).getRefCount());
}

TEST_F(ZyNodeUtils, anInsertedParentLeavesItsOwnPlaceAndKeepsItsChildren)
{
    EXPECT_TRUE(zyNodeUtils::insertParentNode(root->getChild(2), b)); // a sibling in front
    EXPECT_EQ("root(a b(b1 b2 c))", outline(root));
    EXPECT_EQ(1, b.getRefCount());
    EXPECT_TRUE(zyNodeUtils::insertParentNode(root->getChild(0), b->getChild(1)));
    EXPECT_EQ("root(b2(a) b(b1 c))", outline(root));
}

TEST_F(ZyNodeUtils, aRootGetsAParentWithoutAPlace)
{
    osg::NodePtr top = group("top");
    EXPECT_TRUE(zyNodeUtils::insertParentNode(root, top));
    EXPECT_EQ("top(root(a b(b1 b2) c))", outline(top));
    osg::addRefCP(top);
    osg::subRefCP(top);
    EXPECT_TRUE(root->getParent() == osg::NullFC);
}

TEST_F(ZyNodeUtils, cyclesAndNullsAreRefused)
{
    EXPECT_FALSE(zyNodeUtils::insertParentNode(b, b));
    EXPECT_FALSE(zyNodeUtils::insertParentNode(b, b->getChild(0)));
    EXPECT_FALSE(zyNodeUtils::insertParentNode(b->getChild(0), root));
    EXPECT_FALSE(zyNodeUtils::insertParentNode(b, osg::NullFC));
    EXPECT_FALSE(zyNodeUtils::insertParentNode(osg::NullFC, b));
    EXPECT_TRUE(zyNodeUtils::insertParentNode(b->getChild(0), b));
    EXPECT_EQ("root(a b(b1 b2) c)", outline(root));
}
