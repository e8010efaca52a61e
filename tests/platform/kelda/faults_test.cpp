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
    KStatus s;
    expectFailure("KFnMesh::KFnMesh", [&] { return KFnMesh(p, &s), s; });
    expectFailure("KFnMesh::getNormals", [&] {
        KFloatVectorArray n;
        return mesh.getNormals(n);
    });
    expectFailure("KFnMesh::getUVs", [&] {
        KFloatArray u, v;
        return mesh.getUVs(u, v);
    });
    expectFailure("KFnDagNode::getConnectedSetsAndMembers",
                  [&] { return mesh.getConnectedSetsAndMembers(0, sets, members, true); });
    expectFailure("KFnSet::KFnSet", [&] { return KFnSet(sets[0], &s), s; });
    expectFailure("KFnDependencyNode::findPlug", [&] { return mesh.findPlug("visibility", &s), s; });
    const KPlug plug = mesh.findPlug("visibility");
    expectFailure("KPlug::getValue", [&] {
        bool b;
        return plug.getValue(b);
    });
    expectFailure("KFnTransform::KFnTransform", [&] { return KFnTransform(path("|a"), &s), s; });
    expectFailure("KItDag::KItDag", [&] {
        KItDag it(KItDag::kDepthFirst, KFn::kInvalid, &s);
        return s;
    });
    KItDag it;
    expectFailure("KItDag::getPath", [&] {
        KDagPath at;
        return it.getPath(at);
    });
    expectFailure("KItMeshPolygon::KItMeshPolygon", [&] {
        KItMeshPolygon f(p, KObject::kNullObj, &s);
        return s;
    });
    KItMeshPolygon face(p);
    expectFailure("KItMeshPolygon::reset", [&] { return face.reset(); });
    expectFailure("KItMeshPolygon::polygonVertexCount", [&] { return face.polygonVertexCount(&s), s; });
    expectFailure("KItMeshPolygon::vertexIndex", [&] { return face.vertexIndex(0, &s), s; });
    expectFailure("KItMeshPolygon::normalIndex", [&] { return face.normalIndex(0, &s), s; });
    expectFailure("KGlobal::executeCommand", [&] { return KGlobal::executeCommand("flushUndo"); });
}

TEST_F(Faults, everyOperationThatBuildsASceneCanFail)
{
    KStatus s;
    KFnTransform transform;
    expectFailure("KFnTransform::create", [&] { return transform.create(KObject::kNullObj, &s), s; });
    EXPECT_EQ(walk().size(), 1u);
    expectFailure("KFnTransform::set", [&] { return transform.set(KTransformationMatrix()); });
    expectFailure("KFnDependencyNode::setName", [&] { return transform.setName("a", &s), s; });
    KFloatPointArray points(3);
    points[1].x = points[2].y = 1;
    const int corners[3] = {0, 1, 2};
    const KIntArray counts(1, 3), connects(corners, 3);
    KFnMesh mesh;
    expectFailure("KFnMesh::create",
                  [&] { return mesh.create(3, 1, points, counts, connects, transform.object(), &s), s; });
    EXPECT_EQ(walk().size(), 2u);
    expectFailure("KFnMesh::setVertexNormals",
                  [&] { return mesh.setVertexNormals(KVectorArray(3, KVector(0, 0, 1)), connects); });
    expectFailure("KFnMesh::setUVs", [&] { return mesh.setUVs(KFloatArray(3, 0.5f), KFloatArray(3, 0.5f)); });
    expectFailure("KFnMesh::assignUVs", [&] { return mesh.assignUVs(counts, connects); });
    expectFailure("KFnMesh::updateSurface", [&] { return mesh.updateSurface(); });
    KObject copy;
    expectFailure("KFnDagNode::duplicate", [&] { return copy = mesh.duplicate(true, true, &s), s; });
    expectFailure("KFnDagNode::addChild", [&] { return transform.addChild(copy); });
    KPlug plug = transform.findPlug("visibility");
    expectFailure("KPlug::setValue", [&] { return plug.setValue(false); });
    KFnSet set;
    set.create("g", true);
    expectFailure("KFnSet::addMember", [&] { return set.addMember(mesh.object()); });
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
