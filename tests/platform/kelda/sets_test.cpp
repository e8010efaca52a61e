#include "kelda_test.h"

#include "kelda/KItMeshPolygon.h"

class Sets : public KeldaTest
{
protected:
    /// "name:*" or "name:<faces>" for each set of an instance.
    static std::string setsOf(const KObject& node, unsigned instance, bool renderableOnly = true)
    {
        KObjectArray sets, members;
        if (KFnDagNode(node).getConnectedSetsAndMembers(instance, sets, members, renderableOnly) !=
            KStatus::kSuccess)
            return "FAILED";
        std::string out;
        for (unsigned i = 0; i < sets.length(); ++i) {
            out += KFnSet(sets[i]).name().str() + ":";
            out += members[i] == KObject::kNullObj ? "*" : members[i].apiTypeStr();
            out += " ";
        }
        return out;
    }
};

TEST_F(Sets, aNewMeshIsInNoSet)
{
    EXPECT_EQ(setsOf(makeStrip(2, "m"), 0), "");
}

TEST_F(Sets, setsComeInTheOrderOfTheirCreation)
{
    const KObject mesh = makeStrip(2, "m");
    run("sets -renderable true -empty -name second#; sets -renderable true -empty -name a;"
        "sets -edit -addElement a m; sets -edit -addElement second1 m");
    EXPECT_EQ(setsOf(mesh, 0), "second1:* a:* ");
}

TEST_F(Sets, onlyRenderableSetsAreShadingGroups)
{
    const KObject mesh = makeStrip(2, "m");
    run("sets -name plain m; sets -renderable true -name shading m");
    EXPECT_EQ(setsOf(mesh, 0, true), "shading:* ");
    EXPECT_EQ(setsOf(mesh, 0, false), "plain:* shading:* ");
}

TEST_F(Sets, instancesHaveSetsOfTheirOwn)
{
    run("createNode transform -n a; createNode transform -n b");
    const KObject mesh = makeStrip(2, "m", object("|a"));
    run("parent -add m b; sets -renderable true -name one -empty; sets -renderable true -name two -empty;"
        "sets -e -fe one \"a|m\"; sets -e -fe two \"b|m\"");
    EXPECT_EQ(setsOf(mesh, 0), "one:* ");
    EXPECT_EQ(setsOf(mesh, 1), "two:* ");
    EXPECT_EQ(setsOf(mesh, 2), "FAILED");
}

TEST_F(Sets, aNewInstanceJoinsTheSetsOfTheFirst)
{
    const KObject mesh = makeStrip(2, "m");
    run("sets -renderable true -name one m");
    KFnDagNode(mesh).duplicate(true, true);
    EXPECT_EQ(setsOf(mesh, 1), "one:* ");
    run("createNode transform -n g; createNode transform -n h; parent transform1 g; parent -add transform1 "
        "h");
    EXPECT_EQ(KFnDagNode(mesh).instanceCount(true), 3u);
    for (unsigned i = 0; i < 3; ++i)
        EXPECT_EQ(setsOf(mesh, i), "one:* ");
}

TEST_F(Sets, anInstanceJoinsTheSetsOfTheOneThatItWasMadeFrom)
{
    run("createNode transform -n a; createNode transform -n b; createNode transform -n c");
    const KObject mesh = makeStrip(8, "m", object("|a"));
    run("parent -add m b; sets -renderable true -name one \"a|m\";"
        "sets -renderable true -name two -empty; sets -renderable true -name three -empty;"
        "sets -e -fe two \"b|m.f[0:2]\"; sets -e -fe three \"b|m.f[3:7]\"");
    const KObject made = KFnDagNode(path("|b|m")).duplicate(true, true);
    EXPECT_EQ(setsOf(mesh, 2), "two:meshFaces three:meshFaces ");
    ASSERT_EQ(KFnDagNode(object("|c")).addChild(made, KFnDagNode::kNextPos, false), KStatus::kSuccess);
    EXPECT_EQ(setsOf(mesh, 2), "two:meshFaces three:meshFaces ");
    EXPECT_EQ(setsOf(mesh, 0), "one:* ");
    KObjectArray sets, members;
    KFnDagNode(mesh).getConnectedSetsAndMembers(2, sets, members, true);
    KItMeshPolygon faces(path("|c|transform1|m"), members[1]);
    EXPECT_EQ(faces.count(), 5u);
    EXPECT_EQ(faces.index(), 3);
    run("parent -add \"b|m\" c"); // by a path: that instance
    EXPECT_EQ(setsOf(mesh, 3), "two:meshFaces three:meshFaces ");
    KFnDagNode(mesh).duplicate(true, true); // by the node: the first
    EXPECT_EQ(setsOf(mesh, 4), "one:* ");
}

TEST_F(Sets, membershipFollowsItsInstanceWhenOthersGo)
{
    run("createNode transform -n a; createNode transform -n b; createNode transform -n c");
    const KObject mesh = makeStrip(2, "m", object("|a"));
    run("parent -add m b; parent -add m c; sets -renderable true -name one \"a|m\";"
        "sets -renderable true -name two \"b|m\"; sets -renderable true -name three \"c|m\"; delete b");
    EXPECT_EQ(setsOf(mesh, 0), "one:* ");
    EXPECT_EQ(setsOf(mesh, 1), "three:* ");
    EXPECT_EQ(setsOf(mesh, 2), "FAILED");
}

TEST_F(Sets, forcedFacesLeaveTheirFormerGroup)
{
    const KObject mesh = makeStrip(6, "m");
    run("sets -renderable true -name one m; sets -renderable true -empty -name two;"
        "sets -e -fe two \"m.f[1:2]\" \"m.f[4]\"");
    EXPECT_EQ(setsOf(mesh, 0), "one:meshFaces two:meshFaces ");
    run("sets -e -fe two m");
    EXPECT_EQ(setsOf(mesh, 0), "two:* ");
}

TEST_F(Sets, facesOutOfRangeAreRefused)
{
    makeStrip(3, "m");
    for (const char* faces :
         {"m.f[3]", "m.f[2:1]", "m.f[-1]", "m.f[0:99]", "m.f[]", "m.f[0", "m.vtx[0]", "m.f[0:]"})
        EXPECT_EQ(run(std::string("sets -name s \"") + faces + "\""), "FAILED") << faces;
    EXPECT_EQ(run("objExists s"), "0"); // no set was left behind
}

TEST_F(Sets, deletingASetLeavesItsMembers)
{
    const KObject mesh = makeStrip(3, "m");
    run("sets -renderable true -name one m; sets -renderable true -name two m; delete two");
    EXPECT_EQ(run("objExists one"), "1");
    EXPECT_FALSE(mesh.isNull());
    EXPECT_EQ(run("delete one"), "");
    EXPECT_EQ(setsOf(mesh, 0), "");
}

TEST_F(Sets, addingAnObjectAddsAllItsInstances)
{
    const KObject mesh = makeStrip(3, "m");
    KFnDagNode(mesh).duplicate(true, true);
    KFnSet set;
    set.create("group", true);
    EXPECT_EQ(set.addMember(mesh), KStatus::kSuccess);
    EXPECT_EQ(set.addMember(mesh), KStatus::kSuccess);
    EXPECT_EQ(set.memberCount(), 2u);
    EXPECT_EQ(set.removeMember(path("|transform1|m")), KStatus::kSuccess);
    EXPECT_EQ(setsOf(mesh, 0), "");
    EXPECT_EQ(setsOf(mesh, 1), "group:* ");
    EXPECT_EQ(set.addMember(set.object()), KStatus::kInvalidParameter);
}
