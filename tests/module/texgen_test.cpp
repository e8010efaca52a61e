// Texture generators: planar projections become texture coordinates from positions.

#include "LoaderTest.h"

#include <OpenSG/OSGChunkMaterial.h>
#include <OpenSG/OSGGL.h>
#include <OpenSG/OSGGroup.h>
#include <OpenSG/OSGMaterialGroup.h>
#include <OpenSG/OSGMultiPassMaterial.h>
#include <OpenSG/OSGTexGenChunk.h>
#include <OpenSG/OSGTextureChunk.h>
#include <OpenSG/OSGTransform.h>
#include <kelda/KFileIO.h>
#include <kelda/KMatrix.h>
#include <kelda/KPoint.h>
#include <kelda/KVector.h>
#include <zyKeldaWriter.h>

#include <rapidcheck/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>

namespace
{
using testing::ElementsAre;

osg::NodePtr makeTransformNode(const std::string& name, const std::function<void(osg::Transform3DPtr)>& set,
                               const std::vector<osg::NodePtr>& children = {})
{
    const osg::Transform3DPtr core = osg::Transform3D::create();
    {
        const osg::CPEditor edit(core);
        set(core);
    }
    return makeNode(name, core, children);
}

osg::NodePtr makeMoved(const std::string& name, float x, float y, float z,
                       const std::vector<osg::NodePtr>& children = {})
{
    return makeTransformNode(
        name, [&](osg::Transform3DPtr core) { core->setTranslation(osg::Vec3f(x, y, z)); }, children);
}

osg::NodePtr makeScaled(const std::string& name, float x, float y, float z,
                        const std::vector<osg::NodePtr>& children = {})
{
    return makeTransformNode(
        name, [&](osg::Transform3DPtr core) { core->setScale(osg::Vec3f(x, y, z)); }, children);
}

void expectPlane(float x, float y, float z, float w, const osg::Vec4f& plane)
{
    EXPECT_NEAR(x, plane[0], 1e-6f);
    EXPECT_NEAR(y, plane[1], 1e-6f);
    EXPECT_NEAR(z, plane[2], 1e-6f);
    EXPECT_NEAR(w, plane[3], 1e-6f);
}

float coordinate(const osg::Vec4f& plane, const osg::Pnt3f& p)
{
    return plane[0] * p[0] + plane[1] * p[1] + plane[2] * p[2] + plane[3];
}

class TexGen : public LoaderTest
{
protected:
    TexGen() : material(osg::ChunkMaterial::create()) { osg::addRefCP(material); }
    ~TexGen() override { osg::subRefCP(material); }

    zyKeldaLoaderTestAccess loader;
    osg::ChunkMaterialPtr material;

    osg::NodePtr makeUser(const std::string& name, const osg::MaterialPtr& of)
    {
        const osg::GeometryPtr core = makeGeometry({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}});
        const osg::CPEditor edit(core);
        core->setMaterial(of);
        return makeNode(name, core);
    }
    osg::NodePtr makeUser(const std::string& name) { return makeUser(name, material); }

    /// Makes it the import root.
    osg::NodePtr root(const std::vector<osg::NodePtr>& children)
    {
        _graph.reset(new ScopedGraph(makeNode("root", osg::Transform3D::create(), children)));
        loader.root() = _graph->get();
        return _graph->get();
    }
    void place(const std::string& name, const osg::NodePtr& node) { loader.transformsByName()[name] = node; }
    osg::TexGenChunkPtr generate(const std::string& placement = "stand")
    {
        loader.recordProjection(material, placement);
        loader.postProcessTexGens();
        return findChunk<osg::TexGenChunk>(material);
    }
    static osg::Pnt3f lastPoint(const osg::NodePtr& node)
    {
        return geometryOf(node)->getPositions()->getValue(2);
    }

private:
    std::unique_ptr<ScopedGraph> _graph;
};

// -- planes ----------------------------------------------------------------------------------------

TEST_F(TexGen, aPlacementAtTheOriginSpansMinus1To1)
{
    const osg::NodePtr stand = makeMoved("stand", 0, 0, 0);
    root({stand, makeUser("mesh")});
    place("stand", stand);
    const osg::TexGenChunkPtr chunk = generate();
    ASSERT_TRUE(chunk != osg::NullFC);
    expectPlane(0.5f, 0, 0, 0.5f, chunk->getGenFuncSPlane());
    expectPlane(0, 0.5f, 0, 0.5f, chunk->getGenFuncTPlane());
    EXPECT_EQ(osg::UInt32(GL_OBJECT_LINEAR), chunk->getGenFuncS());
    EXPECT_EQ(osg::UInt32(GL_OBJECT_LINEAR), chunk->getGenFuncT());
    EXPECT_EQ(0u, chunk->getGenFuncR());
    EXPECT_EQ(0u, chunk->getGenFuncQ());
    EXPECT_THAT(chunkTypes(material), ElementsAre("TexGenChunk"));
    EXPECT_TRUE(messages.empty());
}

TEST_F(TexGen, positionsInTargetUnitsAreTakenBackToCentimetres)
{
    const osg::NodePtr stand = makeMoved("stand", 0, 0, 0);
    root({stand, makeUser("mesh")});
    place("stand", stand);
    loader.unitScale() = 10;
    const osg::TexGenChunkPtr chunk = generate();
    expectPlane(0.05f, 0, 0, 0.5f, chunk->getGenFuncSPlane());
    expectPlane(0, 0.05f, 0, 0.5f, chunk->getGenFuncTPlane());
}

TEST_F(TexGen, theUnitScaleOfTheRootIsNotCountedTwice)
{
    const osg::NodePtr stand = makeMoved("stand", 1, 2, 3);
    const osg::NodePtr top = root({stand, makeUser("mesh")});
    {
        const osg::Transform3DPtr core = transformOf(top);
        const osg::CPEditor edit(core);
        core->setScale(osg::Vec3f(10, 10, 10));
    }
    place("stand", stand);
    loader.unitScale() = 10;
    const osg::TexGenChunkPtr chunk = generate();
    expectPlane(0.05f, 0, 0, 0, chunk->getGenFuncSPlane());
    expectPlane(0, 0.05f, 0, -0.5f, chunk->getGenFuncTPlane());
}

TEST_F(TexGen, aNestedTurnedScaledAndShearedPlacementIsFollowed)
{
    osg::Quaternion turn;
    turn.setValueAsAxisRad(osg::Vec3f(1, 2, 3), 0.7f);
    const osg::NodePtr stand = makeTransformNode("stand", [&](osg::Transform3DPtr core) {
        core->setTranslation(osg::Vec3f(1, -2, 3));
        core->setRotationAsQuaternion(turn);
        core->setScale(osg::Vec3f(2, 3, 0.5f));
        core->setShear(osg::Vec3f(0.25f, 0.5f, -0.25f));
    });
    root({makeScaled("outer", 1, 2, 1, {makeMoved("inner", 3, 0, 0, {makeGroup("group", {stand})})}),
          makeUser("mesh")});
    place("stand", stand);
    const osg::Matrix toWorld = osg::NodePtr(stand)->getToWorld();
    loader.unitScale() = 4;
    const osg::TexGenChunkPtr chunk = generate();
    for (const osg::Pnt3f& local :
         {osg::Pnt3f(-1, -1, 0), osg::Pnt3f(1, -1, 0), osg::Pnt3f(1, 1, 5), osg::Pnt3f(0.25f, -0.5f, -2)}) {
        osg::Pnt3f world = local;
        toWorld.multMatrixPnt(world);
        const osg::Pnt3f inUnits = world * 4;
        EXPECT_NEAR((local[0] + 1) / 2, coordinate(chunk->getGenFuncSPlane(), inUnits), 1e-5f);
        EXPECT_NEAR((local[1] + 1) / 2, coordinate(chunk->getGenFuncTPlane(), inUnits), 1e-5f);
    }
}

TEST_F(TexGen, anUnknownPlacementIsAtTheOrigin)
{
    const osg::NodePtr stand = makeMoved("stand", 1, 2, 3);
    root({stand, makeUser("mesh")});
    place("stand", stand);
    place("empty", osg::NullFC);
    for (const char* name : {"other", "empty", ""}) {
        loader.planarProjections().clear();
        {
            const osg::CPEditor edit(material);
            material->clearChunks();
        }
        const osg::TexGenChunkPtr chunk = generate(name);
        ASSERT_TRUE(chunk != osg::NullFC) << name;
        expectPlane(0.5f, 0, 0, 0.5f, chunk->getGenFuncSPlane());
        expectPlane(0, 0.5f, 0, 0.5f, chunk->getGenFuncTPlane());
    }
}

TEST_F(TexGen, aFlatPlacementCountsAsTheIdentity)
{
    const osg::NodePtr stand = makeScaled("stand", 0, 1, 1);
    root({stand, makeUser("mesh")});
    place("stand", stand);
    const osg::TexGenChunkPtr chunk = generate();
    expectPlane(1, 0, 0, 0.5f, chunk->getGenFuncSPlane());
    expectPlane(0, 1, 0, 0.5f, chunk->getGenFuncTPlane());
}

// -- records ---------------------------------------------------------------------------------------

TEST_F(TexGen, aMaterialRecordedTwiceGetsTwoChunksInOrder)
{
    const osg::NodePtr first = makeMoved("first", 1, 0, 0);
    const osg::NodePtr second = makeMoved("second", 3, 0, 0);
    root({first, second, makeUser("mesh")});
    place("first", first);
    place("second", second);
    loader.recordProjection(material, "first");
    generate("second");
    ASSERT_THAT(chunkTypes(material), ElementsAre("TexGenChunk", "TexGenChunk"));
    expectPlane(0.5f, 0, 0, 0, findChunk<osg::TexGenChunk>(material, 0)->getGenFuncSPlane());
    expectPlane(0.5f, 0, 0, -1, findChunk<osg::TexGenChunk>(material, 1)->getGenFuncSPlane());
}

TEST_F(TexGen, aMaterialWithoutUsersIsSkippedAndTheNextOneIsNot)
{
    const osg::ChunkMaterialPtr unused = osg::ChunkMaterial::create();
    const ScopedGraph holder(makeUser("outside", unused));
    const osg::NodePtr moved = makeMoved("moved", 5, 0, 0, {makeUser("mesh")});
    root({makeMoved("other", 7, 0, 0, {makeUser("otherMesh", osg::NullFC)}), moved});
    loader.recordProjection(unused, "stand");
    loader.recordProjection(osg::NullFC, "stand");
    generate();
    EXPECT_EQ(0u, unused->getChunks().size());
    EXPECT_THAT(chunkTypes(material), ElementsAre("TexGenChunk"));
    EXPECT_EQ(osg::Vec3f(7, 0, 0), transformOf(loader.root()->getChild(0))->getTranslation());
}

TEST_F(TexGen, aMaterialThatIsNotMadeOfChunksIsLeftAsItIsButItsUsersAreFlushed)
{
    const osg::MultiPassMaterialPtr passes = osg::MultiPassMaterial::create();
    {
        const osg::CPEditor edit(passes);
        passes->addMaterial(material);
    }
    const osg::NodePtr moved = makeMoved("moved", 5, 0, 0, {makeUser("mesh", passes)});
    root({moved});
    loader.recordProjection(passes, "stand");
    loader.postProcessTexGens();
    EXPECT_EQ(1u, passes->getMaterials().size());
    EXPECT_EQ(0u, material->getChunks().size());
    EXPECT_EQ(osg::Pnt3f(5, 1, 0), lastPoint(osg::NodePtr(moved)->getChild(0)));
}

TEST_F(TexGen, withoutRecordsNothingIsFlushed)
{
    root({makeMoved("moved", 5, 0, 0, {makeUser("mesh")})});
    loader.postProcessTexGens();
    EXPECT_EQ(osg::Vec3f(5, 0, 0), transformOf(loader.root()->getChild(0))->getTranslation());
    EXPECT_EQ(0u, material->getChunks().size());
}

// -- flushing --------------------------------------------------------------------------------------

TEST_F(TexGen, theTransformationsAboveASingleUserArePushedIntoIt)
{
    const osg::NodePtr user = makeUser("mesh");
    const osg::NodePtr outer =
        makeMoved("outer", 5, 0, 0, {makeGroup("group", {makeScaled("inner", 2, 2, 2, {user})})});
    const osg::NodePtr other = makeMoved("other", 7, 0, 0, {makeUser("otherMesh", osg::NullFC)});
    root({makeGroup("top", {outer, other})});
    generate();
    EXPECT_EQ(osg::Pnt3f(5, 2, 0), lastPoint(user));
    EXPECT_EQ(osg::Matrix::identity(), osg::NodePtr(user)->getToWorld());
    EXPECT_EQ(osg::Vec3f(7, 0, 0), transformOf(other)->getTranslation()) << "nothing of it is concerned";
}

TEST_F(TexGen, usersInDifferentPartsFlushAllOfTheScene)
{
    const osg::NodePtr left = makeMoved("left", 5, 0, 0, {makeUser("a")});
    const osg::NodePtr right = makeMoved("right", -5, 0, 0, {makeUser("b")});
    const osg::NodePtr other = makeMoved("other", 7, 0, 0, {makeUser("c", osg::NullFC)});
    root({left, right, other});
    generate();
    EXPECT_EQ(osg::Pnt3f(5, 1, 0), lastPoint(osg::NodePtr(left)->getChild(0)));
    EXPECT_EQ(osg::Pnt3f(-5, 1, 0), lastPoint(osg::NodePtr(right)->getChild(0)));
    EXPECT_EQ(osg::Pnt3f(7, 1, 0), lastPoint(osg::NodePtr(other)->getChild(0)));
}

TEST_F(TexGen, everyPartThatIsProjectedOnIsFlushed)
{
    const osg::ChunkMaterialPtr other = osg::ChunkMaterial::create();
    const osg::NodePtr left = makeMoved("left", 5, 0, 0, {makeUser("a")});
    const osg::NodePtr right = makeMoved("right", -5, 0, 0, {makeUser("b", other)});
    root({left, right});
    loader.recordProjection(material, "stand");
    loader.recordProjection(other, "stand");
    loader.postProcessTexGens();
    EXPECT_EQ(osg::Pnt3f(5, 1, 0), lastPoint(osg::NodePtr(left)->getChild(0)));
    EXPECT_EQ(osg::Pnt3f(-5, 1, 0), lastPoint(osg::NodePtr(right)->getChild(0)));
}

TEST_F(TexGen, aCoreThatIsSharedWithinThePartIsClonedBeforeItDiverges)
{
    const osg::NodePtr first = makeUser("first");
    const osg::NodePtr second = makeNode("second", osg::NodePtr(first)->getCore());
    root({makeGroup("part", {makeMoved("a", 1, 0, 0, {first}), makeMoved("b", 2, 0, 0, {second})})});
    generate();
    EXPECT_EQ(osg::Pnt3f(1, 1, 0), lastPoint(first));
    EXPECT_EQ(osg::Pnt3f(2, 1, 0), lastPoint(second));
}

TEST_F(TexGen, aPlacementThatIsFlushedWithAnotherProjectionCountsWhereItWas)
{
    const osg::ChunkMaterialPtr other = osg::ChunkMaterial::create();
    const osg::NodePtr stand = makeMoved("stand", 1, 0, 0, {makeUser("onIt")});
    root({makeMoved("part", 5, 0, 0, {stand, makeUser("mesh", other)})});
    place("stand", stand);
    loader.recordProjection(material, "stand");
    loader.recordProjection(other, "stand");
    loader.postProcessTexGens();
    for (const osg::ChunkMaterialPtr& projected : {material, other}) {
        const osg::TexGenChunkPtr chunk = findChunk<osg::TexGenChunk>(projected);
        ASSERT_TRUE(chunk != osg::NullFC);
        expectPlane(0.5f, 0, 0, -2.5f, chunk->getGenFuncSPlane());
    }
}

TEST_F(TexGen, usersByAMaterialGroupCountToo)
{
    const osg::MaterialGroupPtr core = osg::MaterialGroup::create();
    {
        const osg::CPEditor edit(core);
        core->setMaterial(material);
    }
    const osg::NodePtr user = makeUser("mesh", osg::NullFC);
    root({makeMoved("moved", 5, 0, 0, {makeNode("painted", core, {user})})});
    ASSERT_TRUE(generate() != osg::NullFC);
    EXPECT_EQ(osg::Pnt3f(5, 1, 0), lastPoint(user));
}

// -- the part that is flushed ----------------------------------------------------------------------

class LocalRoot : public TexGen
{
};

TEST_F(LocalRoot, isNullWithoutNodesAndASingleNodeItself)
{
    const osg::NodePtr node = makeGroup("node", {});
    root({node});
    EXPECT_TRUE(loader.getLocalRoot({}) == osg::NullFC);
    EXPECT_TRUE(loader.getLocalRoot({node}) == node);
    EXPECT_TRUE(loader.getLocalRoot({loader.root()}) == loader.root());
}

TEST_F(LocalRoot, ofTwoSiblingsIsTheParentOfTheirParent)
{
    const osg::NodePtr a = makeGroup("a", {});
    const osg::NodePtr b = makeGroup("b", {});
    const osg::NodePtr above = makeGroup("above", {makeMoved("t", 1, 0, 0, {a, b})});
    root({makeGroup("top", {above})});
    EXPECT_TRUE(loader.getLocalRoot({a, b}) == above);
    EXPECT_TRUE(loader.getLocalRoot({b, a}) == above);
    EXPECT_TRUE(loader.getLocalRoot({a, b, a, b}) == above);
}

TEST_F(LocalRoot, ofTwoSiblingsBelowAChildOfTheRootIsTheRoot)
{
    const osg::NodePtr a = makeGroup("a", {});
    const osg::NodePtr b = makeGroup("b", {});
    root({makeMoved("t", 1, 0, 0, {a, b})});
    EXPECT_TRUE(loader.getLocalRoot({a, b}) == loader.root());
}

TEST_F(LocalRoot, doesNotClimbPastTheRoot)
{
    const osg::NodePtr a = makeGroup("a", {});
    const osg::NodePtr b = makeGroup("b", {});
    const osg::NodePtr top = root({a, makeGroup("deep", {b})});
    const ScopedGraph outer(makeGroup("outer", {top}));
    EXPECT_TRUE(loader.getLocalRoot({a, b}) == top);
    EXPECT_TRUE(loader.getLocalRoot({b, a}) == top);
    EXPECT_TRUE(loader.getLocalRoot({top, a}) == top);
    EXPECT_TRUE(loader.getLocalRoot({a, top}) == top);
    EXPECT_TRUE(loader.getLocalRoot({a, outer.get()}) == top);
}

TEST_F(LocalRoot, ofANodeAndOneBelowItIsTheParentOfTheUpperOne)
{
    const osg::NodePtr lower = makeGroup("lower", {});
    const osg::NodePtr upper = makeGroup("upper", {makeGroup("between", {lower})});
    const osg::NodePtr above = makeGroup("above", {upper});
    root({above});
    EXPECT_TRUE(loader.getLocalRoot({upper, lower}) == above);
    EXPECT_TRUE(loader.getLocalRoot({lower, upper}) == above);
    EXPECT_TRUE(loader.getLocalRoot({lower, lower}) == lower->getParent());
}

TEST_F(LocalRoot, coversTheNodeThatIsFarthestAway)
{
    const osg::NodePtr a = makeGroup("a", {});
    const osg::NodePtr b = makeGroup("b", {});
    const osg::NodePtr c = makeGroup("c", {});
    const osg::NodePtr above = makeGroup("above", {makeGroup("far", {makeGroup("near", {a, b}), c})});
    root({above});
    EXPECT_TRUE(loader.getLocalRoot({a, b, c}) == above);
    EXPECT_TRUE(loader.getLocalRoot({a, c, b}) == above);
    EXPECT_TRUE(loader.getLocalRoot({c, a, b}) == above);
}

TEST_F(LocalRoot, manyNodesFarBelowAreCoveredInTheTimeOfOneWay)
{
    std::vector<osg::NodePtr> users;
    for (int i = 0; i < 10000; ++i)
        users.push_back(osg::Node::create());
    osg::NodePtr chain = makeGroup("bottom", users);
    for (int level = 0; level < 10000; ++level)
        chain = makeGroup("", {chain});
    const osg::NodePtr first = makeGroup("first", {});
    const osg::NodePtr above = makeGroup("above", {makeGroup("part", {chain, first})});
    root({above});
    users.insert(users.begin(), first);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(loader.getLocalRoot(users) == above);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

// The step as it is defined: up from the first node until all the others have been met.
osg::NodePtr climb(const std::vector<osg::NodePtr>& nodes, const osg::NodePtr& root)
{
    osg::NodePtr c = nodes.front();
    while (c != root) {
        std::size_t count = 0;
        for (std::size_t i = 1; i < nodes.size(); ++i) {
            for (osg::NodePtr on = nodes[i]; on != root; on = on->getParent())
                count += on == c ? 1 : 0;
        }
        c = c->getParent();
        if (count >= nodes.size() - 1)
            break;
    }
    return c;
}

RC_GTEST_FIXTURE_PROP(LocalRoot, isOneAboveTheLowestNodeOnTheWayUpThatCoversTheOthers, ())
{
    std::vector<osg::NodePtr> tree(1, root({}));
    const int size = *rc::gen::inRange(2, 40);
    for (int i = 1; i < size; ++i) {
        const osg::NodePtr parent = tree[static_cast<std::size_t>(*rc::gen::inRange(0, i))];
        const osg::NodePtr node = osg::Node::create();
        const osg::CPEditor edit(parent, osg::Node::ChildrenFieldMask);
        parent->addChild(node);
        tree.push_back(node);
    }
    std::vector<osg::NodePtr> nodes;
    const int users = *rc::gen::inRange(2, 6);
    for (int i = 0; i < users; ++i)
        nodes.push_back(tree[static_cast<std::size_t>(*rc::gen::inRange(1, size))]);
    RC_ASSERT(loader.getLocalRoot(nodes) == climb(nodes, tree[0]));
}

// -- from a scene ----------------------------------------------------------------------------------

class ProjectedScene : public LoaderTest
{
protected:
    /// A lambert "paint" whose colour is projected from the place3dTexture "stand", which hangs below
    /// `parent` ("": below the world).
    void makeProjection(const std::string& parent)
    {
        writeImage(inFolder("picture.png"), osg::Image::OSG_RGB_PF, {10, 20, 30, 40, 50, 60});
        makeShader("lambert", "paint");
        makeFile("picture", inFolder("picture.png"));
        run("createNode projection -name beam");
        run("setAttr beam.projType 1");
        run("createNode place3dTexture -name stand" + (parent.empty() ? "" : " -parent \"" + parent + "\""));
        run("connectAttr picture.outColor beam.image");
        run("connectAttr beam.outColor paint.color");
        run("connectAttr stand.worldInverseMatrix[0] beam.placementMatrix");
    }
    void paint(const std::string& shape) { run("sets -edit -forceElement paintSG \"" + shape + "\""); }

    /// From a transform's system to the world, in centimetres.
    static KMatrix toWorld(const std::string& path)
    {
        KMatrix matrix;
        for (KDagPath p = pathOf(path); p.length() > 0; p.pop(1))
            matrix = matrix * KFnTransform(p).transformationMatrix();
        return matrix;
    }
    /// The texture coordinates that the projection gives the corners of a unit quad below a transform.
    static std::vector<std::vector<double>> expectedCoordinates(const std::string& transform)
    {
        const KMatrix toPlacement = toWorld(transform) * toWorld("stand").inverse();
        std::vector<std::vector<double>> coordinates;
        for (const KPoint& corner : {KPoint(0, 0, 0), KPoint(1, 0, 0), KPoint(1, 1, 0), KPoint(0, 1, 0)}) {
            const KPoint p = corner * toPlacement;
            coordinates.push_back({(p.x + 1) / 2, (p.y + 1) / 2});
        }
        std::sort(coordinates.begin(), coordinates.end());
        return coordinates;
    }
    /// Those that the imported geometry gets.
    static std::vector<std::vector<double>> generatedCoordinates(const osg::GeometryPtr& geometry)
    {
        const osg::TexGenChunkPtr chunk =
            findChunk<osg::TexGenChunk>(osg::ChunkMaterialPtr::dcast(geometry->getMaterial()));
        std::vector<std::vector<double>> coordinates;
        for (osg::UInt32 i = 0; chunk != osg::NullFC && i < geometry->getPositions()->size(); ++i) {
            const osg::Pnt3f p = geometry->getPositions()->getValue(i);
            coordinates.push_back(
                {coordinate(chunk->getGenFuncSPlane(), p), coordinate(chunk->getGenFuncTPlane(), p)});
        }
        std::sort(coordinates.begin(), coordinates.end());
        return coordinates;
    }
    osg::NodePtr import(const std::string& options)
    {
        const std::string file = saveScene("scene.ka");
        osg::NodePtr root;
        printedBy([&] { root = zyKeldaLoader::read(file, options); });
        _graphs.emplace_back(new ScopedGraph(root));
        return root;
    }

private:
    std::vector<std::unique_ptr<ScopedGraph>> _graphs;
};

void expectNear(const std::vector<std::vector<double>>& expected,
                const std::vector<std::vector<double>>& generated)
{
    ASSERT_EQ(expected.size(), generated.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_NEAR(expected[i][0], generated[i][0], 1e-4) << i;
        EXPECT_NEAR(expected[i][1], generated[i][1], 1e-4) << i;
    }
}

const char* const unitOptions[] = {"", "importunits=Millimeter", "importunits=Meter"};

TEST_F(ProjectedScene, aDecalOnAMovingPartLiesWhereThePlacementPutsIt)
{
    for (const char* options : unitOptions) {
        SCOPED_TRACE(options);
        KFileIO::newFile(true);
        const KObject car = makeMovedTransform("car", 3, -1, 2);
        run("setAttr car.rotate 0.5 0.7 0.9");
        run("setAttr car.scale 2 1 0.5");
        const KObject door = makeMovedTransform("door", 0, 1, 0, car);
        run("setAttr door.rotate 0 0 0.25");
        run("setAttr door.shear 0.5 0 0");
        makeQuad("doorShape", door);
        makeQuad("otherShape", makeMovedTransform("other", 9, 9, 9, car));
        makeProjection("car");
        run("setAttr stand.translate 1 2 -3");
        run("setAttr stand.rotate -0.5 0.25 1");
        run("setAttr stand.scale 2 3 1");
        paint("doorShape");
        const auto expected = expectedCoordinates("door");
        const osg::NodePtr root = import(options);
        const osg::GeometryPtr door3 = geometryOf(nodeAt(root, {"car", "doorShape", "doorShape"}));
        ASSERT_TRUE(door3 != osg::NullFC);
        expectNear(expected, generatedCoordinates(door3));
    }
}

TEST_F(ProjectedScene, aDecalOnInstancesInDifferentPartsLiesWhereThePlacementPutsIt)
{
    for (const char* options : unitOptions) {
        SCOPED_TRACE(options);
        KFileIO::newFile(true);
        const KObject shape = makeQuad("wheelShape", makeMovedTransform("left", 1, 0, 0));
        makeMovedTransform("right", -1, 0, 0);
        run("setAttr right.rotate 0 0.5 0");
        run("setAttr right.scale 1 -2 1");
        addInstance(nodeOf("right"), shape);
        makeQuad("plainShape", makeMovedTransform("plain", 0, 4, 0));
        makeProjection("");
        run("setAttr stand.translate 0.5 0.25 0");
        paint("left|wheelShape");
        const auto expectedLeft = expectedCoordinates("left");
        const auto expectedRight = expectedCoordinates("right");
        const osg::NodePtr root = import(options);
        ASSERT_EQ(4u, root->getNChildren());
        const osg::GeometryPtr left = geometryOf(root->getChild(0)->getChild(0));
        const osg::GeometryPtr right = geometryOf(root->getChild(1)->getChild(0));
        ASSERT_TRUE(left != osg::NullFC && right != osg::NullFC);
        expectNear(expectedLeft, generatedCoordinates(left));
        expectNear(expectedRight, generatedCoordinates(right));
    }
}

TEST_F(ProjectedScene, anImportFinishesSwitchesBeforeItFlushesTheirTransformations)
{
    makeQuad("doorShape", makeMovedTransform("door", 1, 0, 0));
    makeProjection("");
    paint("doorShape");
    auto expected = expectedCoordinates("door");
    for (std::vector<double>& coordinates : expected)
        coordinates[0] += 2.5; // it is moved by five halves of the placement's side
    zyKeldaLoaderTestAccess loader(saveScene("scene.ka"));
    osg::NodePtr result;
    printedBy([&] {
        result = readChanging(loader, [&] {
            const osg::NodePtr variants = makeSwitch("variants", -1, {});
            const osg::CPEditor edit(loader.root(), osg::Node::ChildrenFieldMask);
            loader.root()->addChild(variants);
            loader.nodes()["|door"] = variants; // the mesh will hang below it
            loader.recordSwitch(variants, makeMoved("own", 6, 0, 0));
        });
    });
    const ScopedGraph root(result);
    const osg::GeometryPtr geometry =
        geometryOf(nodeAt(root.get(), {"SwitchTransform", "variants", "doorShape"}));
    ASSERT_TRUE(geometry != osg::NullFC);
    expectNear(expected, generatedCoordinates(geometry));
}

TEST_F(ProjectedScene, aProjectionWithoutAPlacementLiesAtTheOrigin)
{
    makeQuad("doorShape", makeMovedTransform("door", 3, 0, 0));
    makeProjection("");
    run("delete stand");
    paint("doorShape");
    const osg::NodePtr root = import("importunits=Millimeter");
    const osg::GeometryPtr geometry = geometryOf(nodeAt(root, {"doorShape", "doorShape"}));
    ASSERT_TRUE(geometry != osg::NullFC);
    expectNear({{2, 0.5}, {2, 1}, {2.5, 0.5}, {2.5, 1}}, generatedCoordinates(geometry));
}

TEST_F(ProjectedScene, whatTheExportMakesOfAProjectionComesBackAsTheSamePlanes)
{
    const struct {
        osg::Vec4f s;
        osg::Vec4f t;
    } cases[] = {{osg::Vec4f(0.5f, 0, 0, 0.5f), osg::Vec4f(0, 0.5f, 0, 0.5f)},
                 {osg::Vec4f(2, 0, 0, -3), osg::Vec4f(0, 0.1f, 0, 7)},
                 {osg::Vec4f(0.6f, 0, 0.8f, 0.25f), osg::Vec4f(0, -1, 0, 1)},
                 {osg::Vec4f(0, 0.6f, -0.8f, 0), osg::Vec4f(0, 0.8f, 0.6f, -1)}};
    for (const auto& c : cases) {
        const osg::TextureChunkPtr picture = osg::TextureChunk::create();
        const osg::TexGenChunkPtr projection = osg::TexGenChunk::create();
        const osg::ChunkMaterialPtr material = osg::ChunkMaterial::create();
        {
            const osg::CPEditor editPicture(picture);
            osg::ImagePtr image = makeImage(osg::Image::OSG_RGB_PF, {10, 20, 30});
            picture->setImage(image);
            const osg::CPEditor editProjection(projection);
            projection->setGenFuncS(GL_OBJECT_LINEAR);
            projection->setGenFuncT(GL_OBJECT_LINEAR);
            projection->setGenFuncSPlane(c.s);
            projection->setGenFuncTPlane(c.t);
            const osg::CPEditor edit(material);
            material->addChunk(picture);
            material->addChunk(projection);
        }
        const osg::GeometryPtr core = makeGeometry({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}});
        {
            const osg::CPEditor edit(core);
            core->setMaterial(material);
        }
        const ScopedGraph graph(makeNode("mesh", core));
        osg::NodePtr result;
        printedBy([&] {
            EXPECT_TRUE(zyKeldaWriter::write(graph.get(), inFolder("scene.ka"), ""));
            result = zyKeldaLoader::read(inFolder("scene.ka"), "");
        });
        const ScopedGraph root(result);
        const osg::GeometryPtr geometry = geometryOf(nodeAt(result, {"mesh"}));
        ASSERT_TRUE(geometry != osg::NullFC);
        const osg::TexGenChunkPtr chunk =
            findChunk<osg::TexGenChunk>(osg::ChunkMaterialPtr::dcast(geometry->getMaterial()));
        ASSERT_TRUE(chunk != osg::NullFC);
        for (unsigned i = 0; i < 4; ++i) {
            EXPECT_NEAR(c.s[i], chunk->getGenFuncSPlane()[i], 1e-5f) << c.s << " " << i;
            EXPECT_NEAR(c.t[i], chunk->getGenFuncTPlane()[i], 1e-5f) << c.s << " " << i;
        }
    }
}
} // namespace
