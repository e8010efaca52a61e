#include "kelda_test.h"

class Names : public KeldaTest
{
protected:
    static std::string rename(KObject object, const char* name)
    {
        return KFnDependencyNode(object).setName(name).str();
    }
};

TEST_F(Names, aNewSceneHoldsTheDefaultShadingGroupAndItsShaderAndNoDagNode)
{
    EXPECT_EQ(run("objExists initialShadingGroup"), "1");
    EXPECT_EQ(run("objExists lambert1"), "1");
    EXPECT_TRUE(walk().empty());
    EXPECT_EQ(run("delete lambert1"), "FAILED");
    EXPECT_EQ(run("rename initialShadingGroup other"), "FAILED");
}

TEST_F(Names, illegalCharactersBecomeUnderscores)
{
    KFnTransform t;
    t.create();
    EXPECT_EQ(rename(t.object(), "left door.1"), "left_door_1");
    EXPECT_EQ(rename(t.object(), "3door"), "_3door");
    EXPECT_EQ(rename(t.object(), "T\xc3\xbcr"), "T_r"); // one for each character, not for each byte
    EXPECT_EQ(rename(t.object(), "|a|b"), "_a_b");
}

TEST_F(Names, anEmptyNameBecomesTheNumberedDefaultName)
{
    KFnTransform t;
    t.create();
    EXPECT_EQ(t.name(), KString("transform1"));
    rename(t.object(), "x");
    EXPECT_EQ(rename(t.object(), ""), "transform1");
    EXPECT_EQ(run("createNode lambert"), "lambert2"); // lambert1 is there already
}

TEST_F(Names, aTrailingHashBecomesTheNextFreeNumber)
{
    EXPECT_EQ(run("createNode lambert -name \"paint#\""), "paint1");
    EXPECT_EQ(run("createNode lambert -name \"paint#\""), "paint2");
    EXPECT_EQ(run("createNode transform -name \"paint#\""), "paint3");
    EXPECT_EQ(run("delete paint2"), "");
    EXPECT_EQ(run("createNode lambert -name \"paint#\""), "paint2");
    EXPECT_EQ(run("createNode lambert -name \"paint#\""), "paint4");
}

TEST_F(Names, aNodeThatHasANumberKeepsItWhenATemplateNamesItAgain)
{
    KFnTransform a;
    KFnTransform b;
    a.create();
    b.create();
    EXPECT_EQ(rename(b.object(), ""), "transform2");
    EXPECT_EQ(rename(a.object(), "transform#"), "transform1");
    EXPECT_EQ(rename(a.object(), "x#"), "x1");
    EXPECT_EQ(rename(a.object(), "x#"), "x1");
}

TEST_F(Names, movingRenamesOnlyWhereASiblingBearsTheName)
{
    run("createNode transform -n a; createNode transform -n b; createNode transform -n x -p a;"
        "createNode transform -n x -p b");
    const KObject x = object("|a|x");
    ASSERT_EQ(KFnDagNode(object("|b")).addChild(x), KStatus::kSuccess);
    EXPECT_EQ(KFnDagNode(x).fullPathName(), KString("|b|x1"));
    KFnDagNode(x).setName("b");
    ASSERT_EQ(KFnDagNode(object("|a")).addChild(x), KStatus::kSuccess);
    EXPECT_EQ(KFnDagNode(x).fullPathName(), KString("|a|b")); // no sibling of the other b
}

TEST_F(Names, siblingsNeverShareANameButCousinsMay)
{
    run("createNode transform -n a; createNode transform -n b;"
        "createNode transform -n x -p a; createNode transform -n x -p b; createNode transform -n x -p b;");
    EXPECT_EQ(walk(), (std::vector<std::string>{"|a", "|a|x", "|b", "|b|x", "|b|x1"}));
}

TEST_F(Names, aNodeOutsideTheDagHasANameOfItsOwn)
{
    EXPECT_EQ(run("createNode transform -n wood; createNode lambert -n wood"), "wood1");
    EXPECT_EQ(run("createNode lambert -n steel; createNode transform -n steel"), "steel1");
}

TEST_F(Names, partialNamesAreTheShortestThatNameOnePathOnly)
{
    run("createNode transform -n a; createNode transform -n b; createNode transform -n c -p a;"
        "createNode transform -n x -p c; createNode transform -n x -p b; createNode transform -n y -p b;");
    EXPECT_EQ(path("|b|y").partialPathName(), KString("y"));
    EXPECT_EQ(path("|b|x").partialPathName(), KString("b|x"));
    EXPECT_EQ(path("|a|c|x").partialPathName(), KString("c|x"));
    run("createNode transform -n c -p b; createNode transform -n x -p \"b|c\"");
    EXPECT_EQ(path("|a|c|x").partialPathName(), KString("a|c|x"));
}

TEST_F(Names, instancesHavePartialNamesOfTheirOwn)
{
    run("createNode transform -n a; createNode transform -n b");
    makeStrip(1, "m", object("|a"));
    run("parent -add m b");
    EXPECT_EQ(path("|a|m").partialPathName(), KString("a|m"));
    EXPECT_EQ(path("|b|m").partialPathName(), KString("b|m"));
}

TEST_F(Names, anAmbiguousNameFindsNothing)
{
    run("createNode transform -n a; createNode transform -n b;"
        "createNode transform -n x -p a; createNode transform -n x -p b");
    EXPECT_EQ(errorOf("delete x"), "command:1:8: delete: more than one object is named \"x\"");
    EXPECT_EQ(run("delete \"b|x\""), "");
    EXPECT_EQ(run("delete x"), "");
    EXPECT_EQ(walk(), (std::vector<std::string>{"|a", "|b"}));
}

TEST_F(Names, manyEqualNamesAreNumberedInLinearTime)
{
    std::string script;
    for (int i = 0; i < 20000; ++i)
        script += "createNode transform -n part;";
    EXPECT_EQ(run(script), "part19999");
}

// The SDK keeps the name it built last; whatever is asked for next, and whatever has changed since, must not
// show.
TEST_F(Names, fullPathNamesFollowEveryChange)
{
    run("createNode transform -n top; createNode transform -n left -p top; createNode transform -n right -p "
        "top; createNode transform -n deep -p left; createNode transform -n other");
    const KDagPath deep = path("|top|left|deep");
    const KDagPath left = path("|top|left");
    const KDagPath right = path("|top|right");
    const KDagPath other = path("|other");
    KDagPath world = other;
    world.pop();
    EXPECT_EQ(deep.fullPathName(), KString("|top|left|deep"));
    EXPECT_EQ(other.fullPathName(), KString("|other"));
    EXPECT_EQ(deep.fullPathName(), KString("|top|left|deep"));
    EXPECT_EQ(right.fullPathName(), KString("|top|right"));
    EXPECT_EQ(world.fullPathName(), KString(""));
    EXPECT_EQ(left.fullPathName(), KString("|top|left"));

    run("rename top summit");
    EXPECT_EQ(left.fullPathName(), KString("|summit|left"));
    EXPECT_EQ(deep.fullPathName(), KString("|summit|left|deep"));
    run("rename deep d");
    EXPECT_EQ(deep.fullPathName(), KString("|summit|left|d"));
    EXPECT_EQ(deep.partialPathName(), KString("d"));

    run("parent d right");
    EXPECT_EQ(deep.fullPathName(), KString(""));
    EXPECT_EQ(path("|summit|right|d").fullPathName(), KString("|summit|right|d"));
    run("delete right");
    EXPECT_EQ(right.fullPathName(), KString(""));
    EXPECT_EQ(left.fullPathName(), KString("|summit|left"));
    KFileIO::newFile(true);
    run("createNode transform -n summit; createNode transform -n x -p summit");
    EXPECT_EQ(path("|summit|x").fullPathName(), KString("|summit|x"));
}

TEST_F(Names, partialNamesAreTheShortestTailThatIsUnique)
{
    run("createNode transform -n a; createNode transform -n b; createNode transform -n m -p a; createNode "
        "transform -n n -p a; createNode locator -n l -p m; parent -add l n");
    EXPECT_EQ(path("|a|m|l").partialPathName(), KString("m|l"));
    EXPECT_EQ(path("|a|n|l").partialPathName(), KString("n|l"));
    run("parent -add m b");
    EXPECT_EQ(path("|a|m|l").partialPathName(), KString("a|m|l"));
    EXPECT_EQ(path("|b|m|l").partialPathName(), KString("b|m|l"));
    EXPECT_EQ(path("|a|n|l").partialPathName(), KString("n|l"));
    EXPECT_EQ(path("|b|m").partialPathName(), KString("b|m"));
    EXPECT_EQ(path("|b").partialPathName(), KString("b"));
}
