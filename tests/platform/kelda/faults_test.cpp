#include "kelda_test.h"

#include "kelda/KItMeshPolygon.h"

class Faults : public KeldaTest
{
};

TEST_F(Faults, theNthCallFailsAndLeavesNoTrace)
{
    KFnMesh mesh(makeStrip(2, "m"));
    KPointArray points;
    KFaults::failCall("KFnMesh::getPoints", 2);
    EXPECT_EQ(mesh.getPoints(points), KStatus::kSuccess);
    EXPECT_EQ(mesh.getPoints(points), KStatus::kFailure);
    EXPECT_EQ(mesh.getPoints(points), KStatus::kSuccess);
    EXPECT_EQ(KFaults::calls("KFnMesh::getPoints"), 3u);
    KFaults::clear();
    EXPECT_EQ(KFaults::calls("KFnMesh::getPoints"), 0u);
}

TEST_F(Faults, severalCallsInARowCanFail)
{
    run("createNode transform -n a");
    KFaults::failCall("KDagPath::pop", 1, 2);
    KDagPath p = path("|a");
    EXPECT_EQ(p.pop(), KStatus::kFailure);
    EXPECT_EQ(p.pop(), KStatus::kFailure);
    EXPECT_EQ(p.fullPathName(), KString("|a"));
    EXPECT_EQ(p.pop(), KStatus::kSuccess);
}

TEST_F(Faults, everyOperationThatAWalkUsesCanFail)
{
    run("createNode transform -n a; sets -renderable true -name g -empty");
    KFnMesh mesh(makeStrip(2, "m", object("|a")));
    run("sets -e -fe g m");
    mesh.createUVSet("map1");
    const KDagPath p = path("|a|m");
    KObjectArray sets, members;
    mesh.getConnectedSetsAndMembers(0, sets, members, true);
    const auto fails = [](const char* operation, const std::function<KStatus()>& call) {
        KFaults::failCall(operation);
        EXPECT_EQ(call(), KStatus::kFailure) << operation;
        EXPECT_EQ(KFaults::calls(operation), 1u) << operation;
        KFaults::clear();
        EXPECT_EQ(call(), KStatus::kSuccess) << operation;
    };
    KStatus s;
    fails("KFnMesh::KFnMesh", [&] { return KFnMesh(p, &s), s; });
    fails("KFnMesh::getNormals", [&] {
        KFloatVectorArray n;
        return mesh.getNormals(n);
    });
    fails("KFnMesh::getUVs", [&] {
        KFloatArray u, v;
        return mesh.getUVs(u, v);
    });
    fails("KFnDagNode::getConnectedSetsAndMembers",
          [&] { return mesh.getConnectedSetsAndMembers(0, sets, members, true); });
    fails("KFnSet::KFnSet", [&] { return KFnSet(sets[0], &s), s; });
    fails("KFnDependencyNode::findPlug", [&] { return mesh.findPlug("visibility", &s), s; });
    const KPlug plug = mesh.findPlug("visibility");
    fails("KPlug::getValue", [&] {
        bool b;
        return plug.getValue(b);
    });
    fails("KFnTransform::KFnTransform", [&] { return KFnTransform(path("|a"), &s), s; });
    fails("KItDag::KItDag", [&] {
        KItDag it(KItDag::kDepthFirst, KFn::kInvalid, &s);
        return s;
    });
    KItDag it;
    fails("KItDag::getPath", [&] {
        KDagPath at;
        return it.getPath(at);
    });
    fails("KItMeshPolygon::KItMeshPolygon", [&] {
        KItMeshPolygon f(p, KObject::kNullObj, &s);
        return s;
    });
    KItMeshPolygon face(p);
    fails("KItMeshPolygon::reset", [&] { return face.reset(); });
    fails("KItMeshPolygon::polygonVertexCount", [&] { return face.polygonVertexCount(&s), s; });
    fails("KItMeshPolygon::vertexIndex", [&] { return face.vertexIndex(0, &s), s; });
    fails("KItMeshPolygon::normalIndex", [&] { return face.normalIndex(0, &s), s; });
    fails("KGlobal::executeCommand", [&] { return KGlobal::executeCommand("flushUndo"); });
}

TEST_F(Faults, everyOperationThatBuildsASceneCanFail)
{
    const auto fails = [](const char* operation, const std::function<KStatus()>& call) {
        KFaults::failCall(operation);
        EXPECT_EQ(call(), KStatus::kFailure) << operation;
        EXPECT_EQ(KFaults::calls(operation), 1u) << operation;
        KFaults::clear();
        EXPECT_EQ(call(), KStatus::kSuccess) << operation;
    };
    KStatus s;
    KFnTransform transform;
    fails("KFnTransform::create", [&] { return transform.create(KObject::kNullObj, &s), s; });
    EXPECT_EQ(walk().size(), 1u);
    fails("KFnTransform::set", [&] { return transform.set(KTransformationMatrix()); });
    fails("KFnDependencyNode::setName", [&] { return transform.setName("a", &s), s; });
    KFloatPointArray points(3);
    points[1].x = points[2].y = 1;
    const int corners[3] = {0, 1, 2};
    const KIntArray counts(1, 3), connects(corners, 3);
    KFnMesh mesh;
    fails("KFnMesh::create",
          [&] { return mesh.create(3, 1, points, counts, connects, transform.object(), &s), s; });
    EXPECT_EQ(walk().size(), 2u);
    fails("KFnMesh::setVertexNormals",
          [&] { return mesh.setVertexNormals(KVectorArray(3, KVector(0, 0, 1)), connects); });
    fails("KFnMesh::setUVs", [&] { return mesh.setUVs(KFloatArray(3, 0.5f), KFloatArray(3, 0.5f)); });
    fails("KFnMesh::assignUVs", [&] { return mesh.assignUVs(counts, connects); });
    fails("KFnMesh::updateSurface", [&] { return mesh.updateSurface(); });
    KObject copy;
    fails("KFnDagNode::duplicate", [&] { return copy = mesh.duplicate(true, true, &s), s; });
    fails("KFnDagNode::addChild", [&] { return transform.addChild(copy); });
    KPlug plug = transform.findPlug("visibility");
    fails("KPlug::setValue", [&] { return plug.setValue(false); });
    KFnSet set;
    set.create("g", true);
    fails("KFnSet::addMember", [&] { return set.addMember(mesh.object()); });
}

TEST_F(Faults, aFailedConstructionAttachesToNothing)
{
    run("createNode transform -n a");
    const KDagPath p = path("|a");
    KFaults::failCall("KFnTransform::KFnTransform");
    KStatus status;
    KFnTransform t(p, &status);
    EXPECT_EQ(status, KStatus::kFailure);
    EXPECT_TRUE(t.object().isNull());
    t.translation(KSpace::kTransform, &status);
    EXPECT_EQ(status, KStatus::kInvalidParameter);
}
