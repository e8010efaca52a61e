#include "kelda_test.h"

#include "kelda/KPlugArray.h"

class Plugs : public KeldaTest
{
};

TEST_F(Plugs, numbersConvertAndFailuresLeaveTheValueAlone)
{
    KFnDagNode spot;
    spot.create("spotLight", "s", KObject());
    KPlug cone = spot.findPlug("coneAngle");
    double d = 0;
    EXPECT_EQ(cone.getValue(d), KStatus::kSuccess);
    EXPECT_DOUBLE_EQ(d, 0.6981317007977318);
    EXPECT_EQ(cone.setValue(1.75), KStatus::kSuccess);
    int i = 7;
    EXPECT_EQ(cone.getValue(i), KStatus::kSuccess);
    EXPECT_EQ(i, 1);
    bool b = false;
    EXPECT_EQ(cone.getValue(b), KStatus::kSuccess);
    EXPECT_TRUE(b);
    i = 7;
    EXPECT_EQ(spot.findPlug("color").getValue(i), KStatus::kInvalidParameter); // three numbers are no number
    EXPECT_EQ(i, 7);
    EXPECT_EQ(cone.setValue(1e10), KStatus::kSuccess);
    EXPECT_EQ(cone.getValue(i), KStatus::kFailure);
    EXPECT_EQ(i, 7);
    KString text;
    EXPECT_EQ(cone.getValue(text), KStatus::kSuccess);
    EXPECT_EQ(text, KString("1e+10"));
}

TEST_F(Plugs, componentsAreAttributesAndChildren)
{
    KFnTransform t;
    t.create();
    KPlug translate = t.findPlug("translate");
    EXPECT_TRUE(translate.isCompound());
    EXPECT_EQ(translate.numChildren(), 3u);
    EXPECT_EQ(translate.child(1).name(), KString("transform1.translateY"));
    EXPECT_EQ(translate.child(1).parent(), translate);
    EXPECT_TRUE(translate.child(3).isNull());
    EXPECT_EQ(t.findPlug("translate.translateZ"), translate.child(2));
    EXPECT_EQ(t.findPlug("translateZ"), translate.child(2));
}

TEST_F(Plugs, anUnknownAttributeIsANullPlug)
{
    KFnTransform t;
    t.create();
    for (const char* name : {"nothing", "", "translate.", "translate[0]", "worldMatrix[", "worldMatrix[x]",
                             "translate.scaleX"}) {
        KStatus status;
        EXPECT_TRUE(t.findPlug(name, &status).isNull()) << name;
        EXPECT_EQ(status, KStatus::kNotFound) << name;
    }
    EXPECT_FALSE(t.findPlug("worldInverseMatrix[0]").isNull());
    EXPECT_EQ(t.findPlug("worldInverseMatrix[0]").name(), KString("transform1.worldInverseMatrix[0]"));
}

TEST_F(Plugs, uvSetNamesAreAddressedByElement)
{
    KFnMesh mesh(makeStrip(1, "m"));
    mesh.createUVSet("first");
    mesh.createUVSet("second");
    KStatus status;
    EXPECT_EQ(mesh.findPlug("uvSets[1].uvSetName", &status).asString(), KString("second"));
    EXPECT_EQ(status, KStatus::kSuccess);
    EXPECT_EQ(mesh.findPlug("uvSets").numElements(), 2u);
    mesh.findPlug("uvSets[2].uvSetName").asString(&status);
    EXPECT_EQ(status, KStatus::kInvalidParameter);
    EXPECT_EQ(mesh.findPlug("uvSets[1].uvSetName").setValue("first"), KStatus::kInvalidParameter);
    EXPECT_EQ(mesh.findPlug("uvSets").elementByLogicalIndex(0).child(0).asString(), KString("first"));
}

TEST_F(Plugs, connectionsAreFollowedInBothDirections)
{
    run("createNode lambert -n l; sets -renderable true -noSurfaceShader true -empty -name \"g\";"
        "connectAttr -f ( \"l\" + \".outColor\" ) ( \"g.surfaceShader\" )");
    KObjectArray sets, members;
    KFnMesh mesh(makeStrip(1, "m"));
    run("sets -edit -forceElement g m");
    ASSERT_EQ(mesh.getConnectedSetsAndMembers(0, sets, members, true), KStatus::kSuccess);
    ASSERT_EQ(sets.length(), 1u);
    KPlug surface = KFnDependencyNode(sets[0]).findPlug("surfaceShader");
    KPlugArray plugs;
    ASSERT_TRUE(surface.connectedTo(plugs, true, false));
    ASSERT_EQ(plugs.length(), 1u);
    EXPECT_EQ(plugs[0].name(), KString("l.outColor"));
    ASSERT_TRUE(plugs[0].connectedTo(plugs, false, true)); // an element of the array that is filled
    ASSERT_EQ(plugs.length(), 1u);
    EXPECT_EQ(plugs[0], surface);
    EXPECT_FALSE(surface.connectedTo(plugs, false, true));
    EXPECT_EQ(plugs.length(), 0u);
    run("delete l");
    EXPECT_FALSE(surface.isConnected());
}

TEST_F(Plugs, aTargetTakesOneConnectionUnlessForced)
{
    run("createNode lambert -n a; createNode lambert -n b; createNode lambert -n c; connectAttr a.outColor "
        "c.color");
    EXPECT_EQ(errorOf("connectAttr b.outColor c.color"),
              "command:1:24: connectAttr: \"c.color\" has a connection already, from \"a.outColor\"");
    EXPECT_EQ(run("connectAttr -force b.outColor c.color"), "");
    EXPECT_EQ(run("disconnectAttr a.outColor c.color"), "FAILED");
    EXPECT_EQ(run("disconnectAttr b.outColor c.color"), "");
    EXPECT_EQ(run("connectAttr a.outColor c.diffuse"), "FAILED"); // three numbers into one
    EXPECT_EQ(run("connectAttr a.color c.outColor"), "FAILED");   // an output
}

TEST_F(Plugs, outputsCannotBeSet)
{
    run("createNode lambert -n a");
    EXPECT_EQ(run("setAttr a.outColor 1 1 1"), "FAILED");
    EXPECT_EQ(run("setAttr a.color 0.25 0.5 1; getAttr a.colorG"), "0.5");
}
