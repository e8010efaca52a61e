#include "kelda_test.h"

#include "kelda/KFnBlinnShader.h"
#include "kelda/KFnPhongShader.h"
#include "kelda/KItDependencyGraph.h"
#include "kelda/KPlugArray.h"

#include <algorithm>
#include <cmath>

class Shading : public KeldaTest
{
protected:
    /// A textured phong "paint" with its group "paintSG": file1, placed by place2dTexture1, which takes its
    /// UVs from uvChooser1, which takes the name of the second UV set of "m".
    void makeNetwork()
    {
        KFnMesh mesh(makeStrip(1, "m"));
        mesh.createUVSet("map1");
        mesh.createUVSet("decals");
        ASSERT_EQ(run("createNode phong -n paint; sets -renderable true -nss true -empty -n paintSG;"
                      "createNode file; createNode place2dTexture; createNode uvChooser;"
                      "connectAttr -f ( \"paint.outColor\" ) ( \"paintSG.surfaceShader\");"
                      "connectAttr file1.outColor paint.color;"
                      "connectAttr place2dTexture1.outUV file1.uvCoord;"
                      "connectAttr uvChooser1.outUV place2dTexture1.uvCoord;"
                      "connectAttr \"m.uvSets[1].uvSetName\" \"uvChooser1.uvSets[0]\""),
                  "");
    }
    static KObject node(const char* name)
    {
        KObject found;
        EXPECT_EQ(KGlobal::findNode(name, found), KStatus::kSuccess) << name;
        return found;
    }
    static KPlug plug(const char* name, const char* attr)
    {
        return KFnDependencyNode(node(name)).findPlug(attr);
    }

    static std::vector<std::string> namesOf(KItDependencyGraph& it)
    {
        std::vector<std::string> names;
        for (; !it.isDone(); it.next())
            names.push_back(KFnDependencyNode(it.thisNode()).name().str());
        return names;
    }
    using Names = std::vector<std::string>;
    static constexpr auto kUp = KItDependencyGraph::kUpstream;
    static constexpr auto kDown = KItDependencyGraph::kDownstream;
    static constexpr auto kBreadth = KItDependencyGraph::kBreadthFirst;
    static constexpr auto kDepth = KItDependencyGraph::kDepthFirst;
    static constexpr auto kNodes = KItDependencyGraph::kNodeLevel;
};

// -- Shaders --------------------------------------------------------------------------------------

TEST_F(Shading, aNewPhongHasTheDefaultsOfItsType)
{
    KFnPhongShader phong;
    KStatus status;
    const KObject made = phong.create(true, &status);
    ASSERT_EQ(status, KStatus::kSuccess);
    EXPECT_EQ(made.apiType(), KFn::kPhong);
    EXPECT_EQ(phong.name(), KString("phong1"));
    EXPECT_EQ(phong.color(), KColor(0.5f, 0.5f, 0.5f));
    EXPECT_EQ(phong.ambientColor(), KColor(0, 0, 0));
    EXPECT_EQ(phong.transparency(), KColor(0, 0, 0));
    EXPECT_EQ(phong.incandescence(), KColor(0, 0, 0));
    EXPECT_EQ(phong.specularColor(), KColor(0.5f));
    EXPECT_EQ(phong.diffuseCoeff(), 1.0f);
    EXPECT_EQ(phong.cosPower(), 20.0f);
    KFnBlinnShader blinn;
    blinn.create();
    EXPECT_EQ(blinn.name(), KString("blinn1"));
    EXPECT_EQ(blinn.eccentricity(), 0.3f);
}

TEST_F(Shading, whatIsSetOnAShaderIsAnsweredAndHeldByItsPlugs)
{
    KFnPhongShader phong;
    phong.create(true);
    EXPECT_EQ(phong.setName("3 paint"), KString("_3_paint"));
    EXPECT_EQ(phong.setColor(KColor(0.1f, 0.2f, 0.3f, 0.4f)), KStatus::kSuccess);
    EXPECT_EQ(phong.color(), KColor(0.1f, 0.2f, 0.3f, 1)); // no alpha in a node
    EXPECT_EQ(phong.findPlug("colorG").asFloat(), 0.2f);
    EXPECT_EQ(phong.setAmbientColor(KColor(1, 2, 3)), KStatus::kSuccess);
    EXPECT_EQ(phong.ambientColor(), KColor(1, 2, 3)); // not limited to 1
    EXPECT_EQ(phong.setTransparency(KColor(0.75f)), KStatus::kSuccess);
    EXPECT_EQ(phong.transparency(), KColor(0.75f, 0.75f, 0.75f));
    EXPECT_EQ(phong.setIncandescence(KColor(0, 0, 1)), KStatus::kSuccess);
    EXPECT_EQ(phong.incandescence(), KColor(0, 0, 1));
    EXPECT_EQ(phong.setSpecularColor(KColor(0, 1, 0)), KStatus::kSuccess);
    EXPECT_EQ(phong.specularColor(), KColor(0, 1, 0));
    EXPECT_EQ(phong.setCosPower(0), KStatus::kSuccess);
    EXPECT_EQ(phong.findPlug("cosinePower").asFloat(), 0.0f);
    EXPECT_EQ(phong.setDiffuseCoeff(1), KStatus::kSuccess);
    EXPECT_EQ(phong.diffuseCoeff(), 1.0f);
    EXPECT_EQ(phong.setColor(KColor(0, NAN, 0)), KStatus::kInvalidParameter);
    EXPECT_EQ(phong.setCosPower(INFINITY), KStatus::kInvalidParameter);
    EXPECT_EQ(phong.color(), KColor(0.1f, 0.2f, 0.3f));
}

TEST_F(Shading, functionSetsAttachToShadersBasedOnTheirs)
{
    run("createNode lambert -n l; createNode phong -n p; createNode blinn -n b; createNode file -n f");
    const auto attaches = [&](const char* name) {
        const KObject object = node(name);
        KStatus lambert, reflect, phong, blinn;
        KFnLambertShader(object, &lambert);
        KFnReflectShader(object, &reflect);
        KFnPhongShader(object, &phong);
        KFnBlinnShader(object, &blinn);
        return std::string(lambert ? "lambert " : "") + (reflect ? "reflect " : "") + (phong ? "phong" : "") +
               (blinn ? "blinn" : "");
    };
    EXPECT_EQ(attaches("l"), "lambert ");
    EXPECT_EQ(attaches("p"), "lambert reflect phong");
    EXPECT_EQ(attaches("b"), "lambert reflect blinn");
    EXPECT_EQ(attaches("f"), "");
    KFnLambertShader gone(node("l"));
    run("delete l");
    KStatus status;
    gone.color(&status);
    EXPECT_EQ(status, KStatus::kInvalidParameter);
    EXPECT_EQ(gone.setColor(KColor()), KStatus::kInvalidParameter);
    EXPECT_EQ(run("createNode reflect"), "FAILED"); // there is no shader of that type alone
}

TEST_F(Shading, shaderCallsCanBeMadeToFail)
{
    KFnPhongShader phong;
    KStatus status;
    KFaults::failCall("KFnPhongShader::create");
    EXPECT_TRUE(phong.create(true, &status).isNull());
    EXPECT_EQ(status, KStatus::kFailure);
    phong.create();
    KFaults::failCall("KFnPhongShader::setCosPower");
    EXPECT_EQ(phong.setCosPower(7), KStatus::kFailure);
    EXPECT_EQ(phong.cosPower(), 20.0f);
    KFaults::failCall("KFnLambertShader::KFnLambertShader");
    EXPECT_TRUE((KFnLambertShader(phong.object(), &status), status == KStatus::kFailure));
    KFaults::failCall("KItDependencyGraph::KItDependencyGraph");
    KItDependencyGraph it(phong.object(), KFn::kInvalid, kUp, kBreadth, kNodes, &status);
    EXPECT_EQ(status, KStatus::kFailure);
    EXPECT_TRUE(it.isDone());
}

// -- Networks -------------------------------------------------------------------------------------

TEST_F(Shading, anExportedNetworkIsBuiltByItsCommands)
{
    const KFnMesh mesh(makeStrip(1, "m"));
    KFnPhongShader phong;
    phong.create(true);
    phong.setName("paint");
    const std::string name = phong.name().str();
    EXPECT_EQ(run("sets -renderable true -noSurfaceShader true -empty -name \"" + name + "SG\""), "paintSG");
    EXPECT_EQ(run("connectAttr -f ( \"" + name + ".outColor\" ) ( \"" + name + "SG.surfaceShader\")"), "");
    const auto make = [](const char* type, const char* wanted) {
        KFnDependencyNode fn;
        KStatus status;
        fn.create(type, &status);
        EXPECT_EQ(status, KStatus::kSuccess) << type;
        return fn.setName(wanted).str();
    };
    const std::string file = make("file", "fileZYRA#");
    const std::string projection = make("projection", "projectionZYRA#");
    const std::string placement = make("place3dTexture", "place3dTextureZYRA#");
    EXPECT_EQ(file, "fileZYRA1");
    EXPECT_EQ(projection, "projectionZYRA1");
    EXPECT_EQ(placement, "place3dTextureZYRA1");
    EXPECT_EQ(make("file", "fileZYRA#"), "fileZYRA2");
    EXPECT_EQ(run("connectAttr -f ( \"" + projection + ".outColor\" ) ( \"" + name + ".color\")"), "");
    EXPECT_EQ(run("connectAttr -f ( \"" + file + ".outColor\" ) ( \"" + projection + ".image\")"), "");
    EXPECT_EQ(run("connectAttr -f ( \"" + placement + ".worldInverseMatrix[0]\" ) ( \"" + projection +
                  ".placementMatrix\")"),
              "");
    EXPECT_EQ(run("connectAttr -f ( \"" + placement + ".nothing\" ) ( \"" + projection + ".image\")"),
              "FAILED");
    EXPECT_EQ(plug("projectionZYRA1", "projType").asInt(), 1);

    // The group is found from the shader, and the mesh joins it.
    KPlugArray ends;
    ASSERT_TRUE(phong.findPlug("outColor").connectedTo(ends, false, true));
    ASSERT_EQ(ends.length(), 1u);
    EXPECT_TRUE(ends[0].node().hasFn(KFn::kShadingEngine));
    KFnSet group(ends[0].node());
    EXPECT_EQ(group.addMember(mesh.object()), KStatus::kSuccess);
    EXPECT_TRUE(group.isMember(mesh.object()));
    EXPECT_TRUE(group.isRenderable());
}

TEST_F(Shading, aPlacementIsATransformWhoseInverseTheProjectionHas)
{
    run("createNode transform -n above; setAttr above.translate 1 2 3; createNode place3dTexture -n p -p "
        "above;"
        "createNode projection -n j; connectAttr \"p.worldInverseMatrix[0]\" j.placementMatrix");
    KFnTransform p(node("p"));
    EXPECT_TRUE(p.object().hasFn(KFn::kTransform));
    EXPECT_EQ(p.object().apiType(), KFn::kPlace3dTexture);
    EXPECT_EQ(p.findPlug("scaleX").setValue(2.0), KStatus::kSuccess);
    KMatrix inverse, world;
    ASSERT_EQ(plug("j", "placementMatrix").getValue(inverse), KStatus::kSuccess);
    ASSERT_EQ(p.findPlug("worldMatrix[0]").getValue(world), KStatus::kSuccess);
    EXPECT_EQ(world(3, 2), 3);
    EXPECT_TRUE((world * inverse).isEquivalent(KMatrix::identity, 1e-14));
    EXPECT_EQ(p.findPlug("worldMatrix").getValue(world), KStatus::kInvalidParameter); // which element?
    EXPECT_EQ(p.findPlug("worldMatrix[1]").getValue(world), KStatus::kInvalidParameter);
    EXPECT_EQ(p.findPlug("translateX").getValue(world), KStatus::kInvalidParameter);
    run("disconnectAttr \"p.worldInverseMatrix[0]\" j.placementMatrix");
    ASSERT_EQ(plug("j", "placementMatrix").getValue(inverse), KStatus::kSuccess);
    EXPECT_TRUE(inverse == KMatrix::identity);
}

TEST_F(Shading, connectionsNeedTheSameKindAndAnElementOfAnArray)
{
    makeNetwork();
    run("createNode projection -n j; createNode place3dTexture -n p");
    EXPECT_EQ(
        errorOf("connectAttr p.worldInverseMatrix j.placementMatrix"),
        "command:1:34: connectAttr: \"p.worldInverseMatrix\" is an array: an element of it can be connected");
    for (const char* wrong :
         {"connectAttr paint.message j.placementMatrix", "connectAttr file1.outAlpha paint.color",
          "connectAttr file1.outColor file1.uvCoord", "connectAttr paint.color file1.outColor"})
        EXPECT_EQ(run(wrong), "FAILED") << wrong;
    EXPECT_EQ(run("connectAttr file1.outAlpha paint.transparencyR"), "");
}

TEST_F(Shading, elementsOfATextArrayExistByValueOrConnection)
{
    makeNetwork();
    KPlug sets = plug("uvChooser1", "uvSets");
    EXPECT_EQ(sets.numElements(), 1u);
    KPlugArray ends;
    ASSERT_TRUE(sets[0].connectedTo(ends, true, true));
    EXPECT_EQ(ends[0].asString(), KString("decals"));
    EXPECT_EQ(sets[7].setValue("sky"), KStatus::kSuccess);
    EXPECT_EQ(run("setAttr \"uvChooser1.uvSets[3]\" \"\""), "");
    ASSERT_EQ(sets.numElements(), 3u);
    EXPECT_EQ(sets.elementByPhysicalIndex(1).logicalIndex(), 3u);
    EXPECT_EQ(sets.elementByPhysicalIndex(2).asString(), KString("sky"));
    EXPECT_EQ(sets.elementByLogicalIndex(5).asString(), KString(""));
    EXPECT_EQ(run("setAttr \"uvChooser1.uvSets[9]\" \"new\"", true), "");
    EXPECT_EQ(run("setAttr \"uvChooser1.uvSets[7]\" \"sea\"", true), "");
    EXPECT_EQ(run("undo; getAttr \"uvChooser1.uvSets[7]\""), "sky");
    EXPECT_EQ(sets.numElements(), 4u);
    EXPECT_EQ(run("undo"), ""); // the new element goes again
    EXPECT_EQ(sets.numElements(), 3u);
    KStatus status;
    EXPECT_TRUE(sets.elementByPhysicalIndex(3, &status).isNull());
    EXPECT_EQ(status, KStatus::kIndexOutOfRange);
    EXPECT_EQ(sets.setValue("whole"), KStatus::kInvalidParameter);
    KString text;
    EXPECT_EQ(sets.getValue(text), KStatus::kInvalidParameter);
}

// -- The graph's iterator -------------------------------------------------------------------------

TEST_F(Shading, aWalkGoesUpstreamFromAPlug)
{
    makeNetwork();
    KStatus status;
    KItDependencyGraph all(plug("paint", "color"), KFn::kInvalid, kUp, kBreadth, kNodes, &status);
    ASSERT_EQ(status, KStatus::kSuccess);
    EXPECT_EQ(namesOf(all), (Names{"paint", "file1", "place2dTexture1", "uvChooser1", "m"}));
    KItDependencyGraph files(plug("paint", "color"), KFn::kFileTexture, kUp, kBreadth, kNodes, &status);
    files.disablePruningOnFilter();
    EXPECT_EQ(namesOf(files), Names{"file1"});
    KItDependencyGraph choosers(node("file1"), KFn::kUvChooser, kUp, kBreadth, kNodes, &status);
    ASSERT_EQ(status, KStatus::kSuccess);
    EXPECT_EQ(choosers.thisNode(), node("uvChooser1"));
    EXPECT_EQ(choosers.thisPlug(), plug("uvChooser1", "outUV"));
    EXPECT_EQ(choosers.previousPlug(), plug("place2dTexture1", "uvCoord"));
    ASSERT_EQ(choosers.next(), KStatus::kSuccess);
    EXPECT_TRUE(choosers.isDone());
    EXPECT_TRUE(choosers.thisNode(&status).isNull());
    EXPECT_EQ(choosers.next(), KStatus::kFailure);
    ASSERT_EQ(choosers.reset(), KStatus::kSuccess);
    EXPECT_FALSE(choosers.isDone());
}

TEST_F(Shading, aWalkThatHasNothingToShowFailsToStart)
{
    makeNetwork();
    KStatus status;
    KItDependencyGraph projections(plug("paint", "color"), KFn::kProjection, kUp, kBreadth, kNodes, &status);
    EXPECT_EQ(status, KStatus::kNotFound);
    EXPECT_TRUE(projections.isDone());
    EXPECT_TRUE(projections.thisNode().isNull());
    KItDependencyGraph nothing(KPlug(), KFn::kInvalid, kUp, kBreadth, kNodes, &status);
    EXPECT_EQ(status, KStatus::kInvalidParameter);
    EXPECT_TRUE(nothing.isDone());
    KItDependencyGraph null(KObject::kNullObj, KFn::kInvalid, kUp, kBreadth, kNodes, &status);
    EXPECT_EQ(status, KStatus::kInvalidParameter);
}

TEST_F(Shading, aWalkFromAPlugKeepsToIt)
{
    run("createNode phong -n p; createNode file -n base; createNode file -n glow; createNode file -n red;"
        "connectAttr glow.outColor p.incandescence; connectAttr base.outColor p.color;"
        "connectAttr red.outAlpha p.ambientColorR");
    const auto files = [&](const char* attr) {
        KItDependencyGraph it(plug("p", attr), KFn::kFileTexture, kUp, kBreadth);
        return namesOf(it);
    };
    EXPECT_EQ(files("color"), Names{"base"});
    EXPECT_EQ(files("incandescence"), Names{"glow"});
    EXPECT_EQ(files("ambientColor"), Names{"red"}); // through a component
    EXPECT_EQ(files("ambientColorR"), Names{"red"});
    EXPECT_EQ(files("ambientColorG"), Names{});
    EXPECT_EQ(files("colorR"), Names{"base"}); // through what it is a component of
    EXPECT_EQ(files("transparency"), Names{});
    KItDependencyGraph node(this->node("p"), KFn::kFileTexture, kUp, kBreadth);
    EXPECT_EQ(namesOf(node), (Names{"glow", "base", "red"})); // in the order of connecting
}

TEST_F(Shading, orderDirectionAndPruningAreAsked)
{
    // a -> b -> d, a -> c -> d; d -> e
    for (const char* name : {"a", "b", "c", "d", "e"})
        run(std::string("createNode lambert -n ") + name);
    run("connectAttr a.outColor b.color; connectAttr a.outColor c.color; connectAttr b.outColor d.color;"
        "connectAttr c.outColor d.transparency; connectAttr d.outColor e.color");
    KItDependencyGraph breadth(node("a"), KFn::kInvalid, kDown, kBreadth);
    EXPECT_EQ(namesOf(breadth), (Names{"a", "b", "c", "d", "e"}));
    KItDependencyGraph depth(node("a"), KFn::kInvalid, kDown, kDepth);
    EXPECT_EQ(namesOf(depth), (Names{"a", "b", "d", "e", "c"}));
    KItDependencyGraph up(node("e"), KFn::kInvalid, kUp, kBreadth);
    EXPECT_EQ(namesOf(up), (Names{"e", "d", "b", "c", "a"}));
    KItDependencyGraph plugs(node("a"), KFn::kInvalid, kDown, kDepth, KItDependencyGraph::kPlugLevel);
    EXPECT_EQ(namesOf(plugs), (Names{"a", "b", "d", "e", "c", "d"})); // d by each of its plugs

    depth.reset();
    depth.next(); // b
    depth.prune();
    EXPECT_EQ(namesOf(depth), (Names{"b", "c", "d", "e"}));

    run("createNode phong -n f; connectAttr f.outColor a.color; createNode blinn -n g;"
        "connectAttr g.outColor f.color");
    KItDependencyGraph phongs(node("e"), KFn::kReflect, kUp, kBreadth);
    EXPECT_EQ(namesOf(phongs), (Names{"f", "g"}));
    phongs.enablePruningOnFilter();
    EXPECT_EQ(phongs.reset(), KStatus::kNotFound); // e does not pass, and the walk ends there
    KItDependencyGraph fromPhong(node("f"), KFn::kReflect, kUp, kBreadth);
    fromPhong.enablePruningOnFilter();
    EXPECT_EQ(namesOf(fromPhong), (Names{"f", "g"}));
}

TEST_F(Shading, loopsEndAndDeletedNodesAreLeftOut)
{
    run("createNode lambert -n a; createNode lambert -n b; connectAttr a.outColor b.color;"
        "connectAttr b.outColor a.color");
    KItDependencyGraph loop(node("a"), KFn::kInvalid, kUp, kDepth);
    EXPECT_EQ(namesOf(loop), (Names{"a", "b"}));
    KItDependencyGraph plugs(plug("a", "color"), KFn::kInvalid, kUp, kBreadth,
                             KItDependencyGraph::kPlugLevel);
    EXPECT_EQ(namesOf(plugs), (Names{"a", "b", "a"})); // by "color", then by "outColor"
    KItDependencyGraph deleted(node("a"), KFn::kInvalid, kUp, kBreadth);
    run("delete b");
    EXPECT_EQ(namesOf(deleted), Names{"a"});
    run("delete a");
    deleted.reset();
    EXPECT_TRUE(deleted.isDone());
}

TEST_F(Shading, aLongChainIsWalkedInLinearTime)
{
    std::string script = "createNode lambert -n n0;";
    for (int i = 1; i < 20000; ++i)
        script += "createNode lambert -n n" + std::to_string(i) + "; connectAttr n" + std::to_string(i - 1) +
                  ".outColor n" + std::to_string(i) + ".color;";
    ASSERT_EQ(run(script), "");
    for (auto traversal : {kBreadth, kDepth}) {
        KItDependencyGraph it(node("n19999"), KFn::kInvalid, kUp, traversal);
        const Names names = namesOf(it);
        ASSERT_EQ(names.size(), 20000u);
        EXPECT_EQ(names.back(), "n0");
    }
}
