#include <zyOpenSGExt/zyValuePair.h>

#include <OpenSG/OSGGroup.h>
#include <OpenSG/OSGNode.h>
#include <OpenSG/OSGSceneFileHandler.h>
#include <OpenSG/OSGSimpleAttachments.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <string>

TEST(ValuePair, holdsOneTextForEachKey)
{
    osg::ValuePairPtr pair = osg::ValuePair::create();
    EXPECT_FALSE(pair->has("ShadowMesh"));
    EXPECT_EQ("", pair->get("ShadowMesh"));
    pair->set("ShadowMesh", "true");
    pair->set("Author", "");
    pair->set("ShadowMesh", "false");
    EXPECT_TRUE(pair->has("Author"));
    EXPECT_EQ("", pair->get("Author"));
    EXPECT_EQ("false", pair->get("ShadowMesh"));
    ASSERT_EQ(2u, pair->getKeys().size());
    EXPECT_EQ("ShadowMesh", pair->getKeys()[0]);
    EXPECT_TRUE(pair->remove("ShadowMesh"));
    EXPECT_FALSE(pair->remove("ShadowMesh"));
    EXPECT_FALSE(pair->has("ShadowMesh"));
    EXPECT_TRUE(pair->has("Author"));
    osg::subRefCP(pair);
}

TEST(ValuePair, aKeyWithoutATextCountsAsAbsentAndIsRepairedBySet)
{
    osg::ValuePairPtr pair = osg::ValuePair::create();
    osg::beginEditCP(pair);
    pair->getKeys().push_back("a");
    pair->getKeys().push_back("b");
    pair->getValues().push_back("1");
    osg::endEditCP(pair);
    EXPECT_TRUE(pair->has("a"));
    EXPECT_FALSE(pair->has("b"));
    pair->set("c", "3");
    EXPECT_EQ("3", pair->get("c"));
    EXPECT_EQ(pair->getKeys().size(), pair->getValues().size());
    osg::subRefCP(pair);
}

TEST(ValuePair, isFoundOnItsNodeByTypeAndByGroup)
{
    osg::NodePtr node = osg::Node::create();
    osg::ValuePairPtr pair = osg::ValuePair::create();
    pair->set("ShadowMesh", "true");
    osg::beginEditCP(node);
    node->addAttachment(pair, 0);
    osg::endEditCP(node);
    EXPECT_TRUE(node->findAttachment(osg::ValuePair::getClassType()) == pair);
    EXPECT_TRUE(node->findAttachment(osg::ValuePair::getClassGroupId(), 0) == pair);
    EXPECT_TRUE(node->findAttachment(osg::ValuePair::getClassType(), 1) == osg::NullFC);
    EXPECT_TRUE(node->findAttachment(osg::Name::getClassType()) == osg::NullFC);
    osg::subRefCP(node);
}

TEST(ValuePair, livesThroughAnOsbFile)
{
    const std::string file =
        (std::filesystem::temp_directory_path() / ("valuePairTest." + std::to_string(std::rand()) + ".osb"))
            .string();
    osg::NodePtr node = osg::makeCoredNode<osg::Group>();
    osg::addRefCP(node);
    osg::ValuePairPtr pair = osg::ValuePair::create();
    pair->set("ShadowMesh", "true");
    pair->set("Gr\xc3\xb6\xc3\x9f"
              "e",
              "1;2");
    osg::beginEditCP(node);
    node->addAttachment(pair);
    osg::endEditCP(node);
    ASSERT_TRUE(osg::SceneFileHandler::the().write(node, file.c_str()));
    osg::NodePtr copy = osg::SceneFileHandler::the().read(file.c_str());
    std::remove(file.c_str());
    ASSERT_TRUE(copy != osg::NullFC);
    const auto read = osg::ValuePairPtr::dcast(copy->findAttachment(osg::ValuePair::getClassType()));
    ASSERT_TRUE(read != osg::NullFC);
    EXPECT_EQ("true", read->get("ShadowMesh"));
    EXPECT_EQ("1;2", read->get("Gr\xc3\xb6\xc3\x9f"
                               "e"));
    osg::subRefCP(copy);
    osg::subRefCP(node);
}
