#include "kelda_test.h"

#include "kelda/KItMeshPolygon.h"

class Dag : public KeldaTest
{
};

TEST_F(Dag, iterationStartsBelowTheWorldAndVisitsParentsFirst)
{
    run("createNode transform -n a; createNode transform -n b -p a; createNode transform -n c -p a;"
        "createNode transform -n d -p b; createNode transform -n e");
    EXPECT_EQ(walk(), (std::vector<std::string>{"|a", "|a|b", "|a|b|d", "|a|c", "|e"}));
    EXPECT_EQ(walk(KItDag::kBreadthFirst), (std::vector<std::string>{"|a", "|e", "|a|b", "|a|c", "|a|b|d"}));
}

TEST_F(Dag, anInstancedGroupIsVisitedOnceForEachPath)
{
    run("createNode transform -n a; createNode transform -n b; createNode transform -n g -p a;"
        "createNode locator -n l -p g; parent -add g b");
    EXPECT_EQ(walk(), (std::vector<std::string>{"|a", "|a|g", "|a|g|l", "|b", "|b|g", "|b|g|l"}));
    EXPECT_TRUE(path("|a|g|l").isInstanced());
    EXPECT_FALSE(path("|a").isInstanced());
    EXPECT_EQ(path("|a|g|l").instanceNumber(), 0u);
    EXPECT_EQ(path("|b|g|l").instanceNumber(), 1u);
    KFnDagNode leaf(path("|a|g|l"));
    EXPECT_FALSE(leaf.isInstanced(false));
    EXPECT_TRUE(leaf.isInstanced(true));
}

TEST_F(Dag, iterationCanBeFilteredAndPruned)
{
    run("createNode transform -n a; createNode spotLight -n s -p a; createNode transform -n b -p a;"
        "createNode transform -n c");
    EXPECT_EQ(walk(KItDag::kDepthFirst, KFn::kSpotLight), (std::vector<std::string>{"|a", "|a|s"}));
    KItDag it;
    ASSERT_EQ(it.prune(), KStatus::kSuccess);
    it.next();
    KDagPath at;
    ASSERT_EQ(it.getPath(at), KStatus::kSuccess);
    EXPECT_EQ(at.fullPathName(), KString("|c"));
    it.next();
    EXPECT_TRUE(it.isDone());
    EXPECT_EQ(it.next(), KStatus::kFailure);
    EXPECT_EQ(it.getPath(at), KStatus::kFailure);
}

TEST_F(Dag, allPathsComeInTheOrderInWhichTheyWereMade)
{
    run("createNode transform -n a; createNode transform -n b; createNode transform -n c; createNode locator "
        "-n l -p b;"
        "parent -add l c; parent -add l a");
    KDagPathArray paths;
    ASSERT_EQ(KFnDagNode(object("|b|l")).getAllPaths(paths), KStatus::kSuccess);
    ASSERT_EQ(paths.length(), 3u);
    EXPECT_EQ(paths[0].fullPathName(), KString("|b|l"));
    EXPECT_EQ(paths[1].fullPathName(), KString("|c|l"));
    EXPECT_EQ(paths[2].fullPathName(), KString("|a|l"));
    for (unsigned i = 0; i < 3; ++i)
        EXPECT_EQ(paths[i].instanceNumber(), i);
}

TEST_F(Dag, aListOfPathsThatWasHandedOutStaysAsItIs)
{
    run("createNode transform -n a; createNode transform -n b; createNode transform -n c;"
        "createNode locator -n l -p a; parent -add l b");
    const KFnDagNode leaf(object("|a|l"));
    KDagPathArray first, own;
    ASSERT_EQ(leaf.getAllPaths(first), KStatus::kSuccess);
    ASSERT_EQ(leaf.getAllPaths(own), KStatus::kSuccess);
    own.append(path("|c"));
    own.set(path("|c"), 0);
    ASSERT_EQ(first.length(), 2u);
    EXPECT_EQ(first[0].fullPathName(), KString("|a|l"));

    run("parent -add l c");
    KDagPathArray second;
    ASSERT_EQ(leaf.getAllPaths(second), KStatus::kSuccess);
    ASSERT_EQ(first.length(), 2u);
    EXPECT_EQ(first[1].fullPathName(), KString("|b|l"));
    ASSERT_EQ(second.length(), 3u);
    EXPECT_EQ(second[2].fullPathName(), KString("|c|l"));

    run("delete b");
    KDagPathArray third;
    ASSERT_EQ(leaf.getAllPaths(third), KStatus::kSuccess);
    ASSERT_EQ(second.length(), 3u);
    EXPECT_FALSE(second[1].isValid());
    EXPECT_EQ(second[2].instanceNumber(), 1u);
    ASSERT_EQ(third.length(), 2u);
    EXPECT_TRUE(third[1] == second[2]);
}

TEST_F(Dag, instanceNumbersAreThePlacesInTheListOfPaths)
{
    // Three ways to each of three groups, and one more to the last.
    run("createNode transform -n a; createNode transform -n b; createNode transform -n c; createNode "
        "transform -n g -p a; createNode transform -n h -p g; createNode transform -n i -p g; createNode "
        "transform -n j -p g; parent -add g b; parent -add g c; createNode locator -n l -p h;"
        "parent -add l j; parent -add l i; parent -add l c");
    for (int round = 0; round < 3; ++round) {
        std::vector<KDagPath> visited;
        for (KItDag it(KItDag::kDepthFirst, KFn::kLocator); !it.isDone(); it.next()) {
            KDagPath at;
            it.getPath(at);
            if (at.apiType() == KFn::kLocator)
                visited.push_back(at);
        }
        ASSERT_EQ(visited.size(), round < 2 ? 10u : 7u);
        // Asked before and after the list exists.
        std::vector<unsigned> numbers;
        for (const KDagPath& at : visited)
            numbers.push_back(at.instanceNumber());
        KDagPathArray paths;
        ASSERT_EQ(KFnDagNode(visited[0]).getAllPaths(paths), KStatus::kSuccess);
        ASSERT_EQ(paths.length(), visited.size());
        for (size_t i = 0; i < visited.size(); ++i) {
            ASSERT_LT(numbers[i], paths.length());
            EXPECT_TRUE(paths[numbers[i]] == visited[i]) << visited[i].fullPathName().asChar();
            EXPECT_EQ(visited[i].instanceNumber(), numbers[i]);
        }
        if (round == 1)
            run("delete b");
    }
}

TEST_F(Dag, aHundredThousandInstancesAreFine)
{
    KFnDagNode leaf;
    const KObject first = leaf.create("locator", "l", KObject::kNullObj);
    for (int i = 1; i < 100000; ++i) {
        KFnTransform above;
        above.create();
        ASSERT_EQ(above.addChild(leaf.object(), KFnDagNode::kNextPos, true), KStatus::kSuccess);
    }
    unsigned expected = 0;
    for (KItDag it(KItDag::kDepthFirst, KFn::kLocator); !it.isDone(); it.next()) {
        KDagPath at;
        it.getPath(at);
        if (at.apiType() != KFn::kLocator)
            continue;
        const KFnDagNode fn(at);
        KDagPathArray paths;
        ASSERT_EQ(fn.getAllPaths(paths), KStatus::kSuccess);
        ASSERT_EQ(paths.length(), 100000u);
        ASSERT_EQ(at.instanceNumber(), expected);
        ASSERT_TRUE(paths[expected] == at);
        ++expected;
    }
    EXPECT_EQ(expected, 100000u);
}

TEST_F(Dag, aPathPopsToTheWorldAndNoFurther)
{
    run("createNode transform -n a; createNode transform -n b -p a");
    KDagPath p = path("|a|b");
    EXPECT_EQ(p.pop(), KStatus::kSuccess);
    EXPECT_EQ(p.fullPathName(), KString("|a"));
    EXPECT_EQ(p.pop(2), KStatus::kFailure);
    EXPECT_EQ(p.fullPathName(), KString("|a"));
    EXPECT_EQ(p.pop(), KStatus::kSuccess);
    EXPECT_TRUE(p.isValid());
    EXPECT_EQ(p.fullPathName(), KString(""));
    EXPECT_EQ(p.pop(), KStatus::kFailure);
    EXPECT_TRUE(p.isValid());
    EXPECT_EQ(KDagPath().pop(), KStatus::kInvalidParameter);
}

TEST_F(Dag, aTransformAnswersForItsShapes)
{
    run("createNode transform -n a; createNode spotLight -n s -p a; createNode transform -n b; createNode "
        "transform -n t -p b;"
        "createNode pointLight -n q -p t");
    EXPECT_TRUE(path("|a").hasFn(KFn::kSpotLight));
    EXPECT_TRUE(path("|a").hasFn(KFn::kLight));
    EXPECT_TRUE(path("|a").hasFn(KFn::kTransform));
    EXPECT_FALSE(path("|a|s").hasFn(KFn::kTransform));
    EXPECT_FALSE(path("|b").hasFn(KFn::kLight)); // only what stands right below counts
    EXPECT_FALSE(object("|a").hasFn(KFn::kLight));
}

TEST_F(Dag, nothingCanStandBelowItself)
{
    run("createNode transform -n a; createNode transform -n b -p a; createNode transform -n c -p b");
    EXPECT_EQ(run("parent -add a c"), "FAILED");
    EXPECT_EQ(run("parent a c"), "FAILED");
    EXPECT_EQ(run("parent a a"), "FAILED");
    EXPECT_EQ(KFnDagNode(object("|a|b|c")).addChild(object("|a")), KStatus::kFailure);
    EXPECT_EQ(walk(), (std::vector<std::string>{"|a", "|a|b", "|a|b|c"}));
}

TEST_F(Dag, addChildMovesUnlessParentsAreKept)
{
    run("createNode transform -n a; createNode transform -n b; createNode transform -n x -p a");
    EXPECT_EQ(KFnDagNode(object("|b")).addChild(object("|a|x")), KStatus::kSuccess);
    EXPECT_EQ(walk(), (std::vector<std::string>{"|a", "|b", "|b|x"}));
    EXPECT_EQ(KFnDagNode(object("|a")).addChild(object("|b|x"), 0, true), KStatus::kSuccess);
    EXPECT_EQ(walk(), (std::vector<std::string>{"|a", "|a|x", "|b", "|b|x"}));
    EXPECT_EQ(KFnDagNode(object("|a")).parentCount(), 1u);
    EXPECT_EQ(KFnDagNode(object("|a|x")).parentCount(), 2u);
}

TEST_F(Dag, duplicatingAShapeAsInstanceMakesATransformBelowTheWorldThatHoldsIt)
{
    run("createNode transform -n a");
    const KObject mesh = makeStrip(1, "m", object("|a"));
    KStatus status;
    const KObject made = KFnDagNode(mesh).duplicate(true, true, &status);
    ASSERT_EQ(status, KStatus::kSuccess);
    EXPECT_TRUE(made.hasFn(KFn::kTransform));
    EXPECT_EQ(KFnDagNode(made).fullPathName(), KString("|transform1"));
    EXPECT_EQ(KFnDagNode(made).child(0), mesh);
    EXPECT_TRUE(path("|transform1|m").isInstanced());
    EXPECT_EQ(path("|transform1|m").instanceNumber(), 1u);
}

TEST_F(Dag, aDuplicateThatIsMovedStandsBelowItsNewParentOnly)
{
    run("createNode transform -n a; createNode transform -n b");
    KFnMesh mesh(makeStrip(1, "m", object("|a")));
    const KObject made = mesh.duplicate(true, true);
    KFnDagNode below(object("|b"));
    ASSERT_EQ(below.addChild(made, KFnDagNode::kNextPos, false), KStatus::kSuccess);
    EXPECT_EQ(walk(), (std::vector<std::string>{"|a", "|a|m", "|b", "|b|transform1", "|b|transform1|m"}));
    EXPECT_EQ(path("|a|m").instanceNumber(), 0u);
    EXPECT_EQ(path("|b|transform1|m").instanceNumber(), 1u);
    EXPECT_EQ(path("|b|transform1|m").node(), mesh.object());
}

// What is moved is small, what it goes below stands deep; and there are many of both.
TEST_F(Dag, instancesAreMadeAndMovedWithoutLookingAtTheOthers)
{
    KFnTransform root;
    root.create();
    KFnMesh mesh(makeStrip(1, "m", root.object()));
    KObject at = root.object();
    for (int i = 0; i < 30000; ++i) {
        KFnTransform above;
        above.create(i % 3 == 0 ? at : root.object());
        at = i % 3 == 0 ? above.object() : at;
        ASSERT_EQ(KFnDagNode(at).addChild(mesh.duplicate(true, true), KFnDagNode::kNextPos, false),
                  KStatus::kSuccess);
    }
    EXPECT_EQ(mesh.instanceCount(true), 30001u);
    EXPECT_EQ(KFnDagNode(root.parent(0)).childCount(), 1u);
}

TEST_F(Dag, duplicatingATransformCopiesWhatStandsBelow)
{
    run("createNode transform -n a; createNode transform -n b -p a; setAttr b.translateX 3");
    makeStrip(2, "m", object("|a|b"));
    KStatus status;
    const KObject copy = KFnDagNode(object("|a")).duplicate(false, false, &status);
    ASSERT_EQ(status, KStatus::kSuccess);
    EXPECT_EQ(walk(), (std::vector<std::string>{"|a", "|a|b", "|a|b|m", "|a1", "|a1|b", "|a1|b|m"}));
    EXPECT_FALSE(object("|a|b|m") == object("|a1|b|m"));
    EXPECT_EQ(run("getAttr \"a1|b.translateX\""), "3");
    EXPECT_EQ(KFnMesh(object("|a1|b|m")).numPolygons(), 2);
}

TEST_F(Dag, deletingTakesWhatStandsOnlyBelow)
{
    run("createNode transform -n a; createNode transform -n b; createNode transform -n x -p a;"
        "createNode locator -n l -p x; parent -add l b");
    const KObject x = object("|a|x");
    const KDagPath lost = path("|a|x|l");
    EXPECT_EQ(run("delete a"), "");
    EXPECT_EQ(walk(), (std::vector<std::string>{"|b", "|b|l"}));
    EXPECT_TRUE(x.isNull());
    EXPECT_FALSE(lost.isValid());
    EXPECT_EQ(lost.fullPathName(), KString(""));
    EXPECT_FALSE(path("|b|l").isInstanced());
}

TEST_F(Dag, handlesOfAClearedSceneAreDead)
{
    run("createNode transform -n a");
    const KObject mesh = makeStrip(3, "m", object("|a"));
    const KDagPath p = path("|a|m");
    KFnMesh fn(p);
    KItMeshPolygon faces(p);
    KItDag it;
    const KPlug plug = fn.findPlug("visibility");
    ASSERT_FALSE(plug.isNull());
    ASSERT_EQ(KFileIO::newFile(true), KStatus::kSuccess);
    run("createNode transform -n a");
    makeStrip(3, "m", object("|a")); // takes the same places
    EXPECT_TRUE(mesh.isNull());
    EXPECT_FALSE(p.isValid());
    EXPECT_TRUE(plug.isNull());
    KStatus status;
    EXPECT_EQ(fn.numPolygons(&status), 0);
    EXPECT_EQ(status, KStatus::kInvalidParameter);
    EXPECT_EQ(faces.next(), KStatus::kFailure);
    EXPECT_TRUE(faces.isDone());
    it.next();
    EXPECT_TRUE(it.isDone());
}

TEST_F(Dag, tenThousandLevelsAreFine)
{
    KObject at;
    for (int i = 0; i < 10000; ++i) {
        KFnTransform t;
        at = t.create(at);
    }
    unsigned deepest = 0;
    KDagPath last;
    for (KItDag it; !it.isDone(); it.next()) {
        it.getPath(last);
        deepest = std::max(deepest, it.depth());
    }
    EXPECT_EQ(deepest, 10000u);
    EXPECT_FALSE(last.isInstanced());
    KStatus status;
    KFnDagNode(object("|transform1")).duplicate(false, false, &status);
    EXPECT_EQ(status, KStatus::kSuccess);
    EXPECT_EQ(run("delete transform1"), "");
    EXPECT_FALSE(last.isValid());
}

TEST_F(Dag, pathsThatOutnumberAllMemoryAreCountedNotListed)
{
    // Two ways down at each of 40 levels.
    run("createNode transform -n top");
    std::string above = "top";
    for (int i = 0; i < 40; ++i) {
        const std::string n = std::to_string(i);
        run("createNode transform -n l" + n + " -p " + above + "; createNode transform -n r" + n + " -p " +
            above + "; createNode transform -n e" + n + " -p l" + n + "; parent -add e" + n + " r" + n);
        above = "e" + n;
    }
    KDagPath p;
    KFnDagNode end;
    KItDag it;
    for (; !it.isDone(); it.next())
        if (it.depth() == 81)
            break;
    ASSERT_EQ(it.getPath(p), KStatus::kSuccess);
    ASSERT_EQ(end.setObject(p), KStatus::kSuccess);
    EXPECT_EQ(end.instanceCount(true), 0xffffffffu);
    EXPECT_EQ(p.instanceNumber(), 0u);
    KDagPathArray paths;
    EXPECT_EQ(end.getAllPaths(paths), KStatus::kInsufficientMemory);
}
