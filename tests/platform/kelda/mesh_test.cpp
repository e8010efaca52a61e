#include "kelda_test.h"

#include "kelda/KItMeshPolygon.h"

#include <cmath>

class Mesh : public KeldaTest
{
protected:
    static KStatus create(const KFloatPointArray& points, const std::vector<int>& counts,
                          const std::vector<int>& connects)
    {
        KFnMesh mesh;
        KStatus status;
        mesh.create(static_cast<int>(points.length()), static_cast<int>(counts.size()), points,
                    KIntArray(counts.data(), static_cast<unsigned>(counts.size())),
                    KIntArray(connects.data(), static_cast<unsigned>(connects.size())), KObject::kNullObj,
                    &status);
        return status;
    }
    static KFloatPointArray triangle()
    {
        KFloatPointArray points;
        points.append(KFloatPoint(0, 0, 0));
        points.append(KFloatPoint(1, 0, 0));
        points.append(KFloatPoint(0, 1, 0));
        return points;
    }
    static KPointArray pointsOf(const KFnMesh& mesh)
    {
        KPointArray points;
        EXPECT_EQ(mesh.getPoints(points), KStatus::kSuccess);
        return points;
    }
};

TEST_F(Mesh, withoutAParentATransformIsMadeForIt)
{
    KFnMesh mesh;
    KStatus status;
    KIntArray counts(1, 3);
    const int corners[3] = {0, 1, 2};
    const KObject made =
        mesh.create(3, 1, triangle(), counts, KIntArray(corners, 3), KObject::kNullObj, &status);
    ASSERT_EQ(status, KStatus::kSuccess);
    EXPECT_TRUE(made.hasFn(KFn::kTransform));
    EXPECT_EQ(mesh.parent(0), made);
    EXPECT_EQ(mesh.fullPathName(), KString("|transform1|polySurfaceShape1"));
}

TEST_F(Mesh, badGeometryMakesNothing)
{
    EXPECT_EQ(create(triangle(), {}, {}), KStatus::kInvalidParameter);
    EXPECT_EQ(create(triangle(), {2}, {0, 1}), KStatus::kInvalidParameter);
    EXPECT_EQ(create(triangle(), {3}, {0, 1}), KStatus::kInvalidParameter);
    EXPECT_EQ(create(triangle(), {3}, {0, 1, 3}), KStatus::kInvalidParameter);
    EXPECT_EQ(create(triangle(), {3}, {0, 1, -1}), KStatus::kInvalidParameter);
    EXPECT_EQ(create(triangle(), {-3}, {0, 1, 2}), KStatus::kInvalidParameter);
    EXPECT_EQ(create(triangle(), {0x7fffffff, 0x7fffffff, 5}, {0, 1, 2}), KStatus::kInvalidParameter);
    KFloatPointArray points = triangle();
    points[1].y = NAN;
    EXPECT_EQ(create(points, {3}, {0, 1, 2}), KStatus::kInvalidParameter);
    EXPECT_TRUE(walk().empty());
    EXPECT_EQ(create(triangle(), {3}, {0, 1, 2}), KStatus::kSuccess);
}

TEST_F(Mesh, theNumbersGivenMustAgreeWithTheArrays)
{
    KFnMesh mesh;
    const KFloatPointArray points = triangle();
    const KIntArray counts(1, 3);
    const int corners[3] = {0, 1, 2};
    const KIntArray connects(corners, 3);
    const std::pair<int, int> wrong[] = {{3, 0}, {0, 1}, {2, 1}, {4, 1}, {3, 2}, {-3, 1}, {3, -1}};
    for (const auto& w : wrong) {
        KStatus status;
        EXPECT_TRUE(
            mesh.create(w.first, w.second, points, counts, connects, KObject::kNullObj, &status).isNull());
        EXPECT_EQ(status, KStatus::kInvalidParameter) << w.first << " " << w.second;
    }
    EXPECT_TRUE(walk().empty());
    EXPECT_TRUE(mesh.object().isNull());
}

TEST_F(Mesh, belowAParentTheMeshItselfIsAnswered)
{
    run("createNode transform -n a");
    const KObject parent = object("|a");
    KFnMesh mesh;
    const int corners[3] = {0, 1, 2};
    KStatus status;
    const KObject made =
        mesh.create(3, 1, triangle(), KIntArray(1, 3), KIntArray(corners, 3), parent, &status);
    ASSERT_EQ(status, KStatus::kSuccess);
    EXPECT_EQ(made, mesh.object());
    EXPECT_EQ(mesh.setName("a"), KString("a")); // the transform's name is no sibling's
    EXPECT_EQ(walk(), (std::vector<std::string>{"|a", "|a|a"}));
    mesh.create(3, 1, triangle(), KIntArray(1, 3), KIntArray(corners, 3), object("|a|a"), &status);
    EXPECT_EQ(status, KStatus::kInvalidParameter); // a shape has no children
}

TEST_F(Mesh, pointsComeWidenedWithWeightOne)
{
    const KFnMesh mesh(makeStrip(2, "m"));
    const KPointArray points = pointsOf(mesh);
    ASSERT_EQ(points.length(), 6u);
    EXPECT_EQ(points[5], KPoint(2, 1, 0, 1));
}

TEST_F(Mesh, worldSpaceNeedsAPath)
{
    run("createNode transform -n a; setAttr a.translate 10 0 0; setAttr a.scaleZ -1");
    KFnMesh byObject(makeStrip(1, "m", object("|a")));
    KPointArray points;
    EXPECT_EQ(byObject.getPoints(points, KSpace::kWorld), KStatus::kInvalidParameter);
    KFnMesh byPath(path("|a|m"));
    ASSERT_EQ(byPath.getPoints(points, KSpace::kWorld), KStatus::kSuccess);
    EXPECT_EQ(points[0], KPoint(10, 0, 0));
    KFloatVectorArray normals;
    ASSERT_EQ(byPath.getNormals(normals, KSpace::kWorld), KStatus::kSuccess);
    EXPECT_EQ(normals[0], KFloatVector(0, 0, -1));
}

TEST_F(Mesh, withoutNormalsThereIsOneComputedNormalForEachFace)
{
    KFnMesh mesh(makeStrip(3, "m"));
    KFloatVectorArray normals;
    ASSERT_EQ(mesh.getNormals(normals), KStatus::kSuccess);
    ASSERT_EQ(normals.length(), 3u);
    EXPECT_EQ(mesh.numNormals(), 3);
    EXPECT_EQ(normals[2], KFloatVector(0, 0, 1));
    KItMeshPolygon face(mesh.dagPath());
    for (int f = 0; !face.isDone(); face.next(), ++f)
        EXPECT_EQ(face.normalIndex(3), f);
    KFloatPointArray moved;
    ASSERT_EQ(mesh.getPoints(moved), KStatus::kSuccess);
    for (unsigned i = 0; i < moved.length(); ++i)
        moved[i] = KFloatPoint(moved[i].x, 0, -moved[i].y);
    ASSERT_EQ(mesh.setPoints(moved), KStatus::kSuccess);
    ASSERT_EQ(mesh.getNormals(normals), KStatus::kSuccess);
    EXPECT_EQ(normals[0], KFloatVector(0, 1, 0)); // computed anew
}

TEST_F(Mesh, vertexNormalsAreSharedByTheCornersOfAVertex)
{
    KFnMesh mesh(makeStrip(2, "m"));
    KFloatVectorArray normals;
    for (int i = 0; i < 6; ++i)
        normals.append(KFloatVector(static_cast<float>(i), 0, 1));
    ASSERT_EQ(mesh.setVertexNormals(normals), KStatus::kSuccess);
    KItMeshPolygon face(mesh.dagPath());
    for (; !face.isDone(); face.next())
        for (int k = 0; k < 4; ++k)
            EXPECT_EQ(face.normalIndex(k), face.vertexIndex(k));
    KFloatVectorArray few(3);
    EXPECT_EQ(mesh.setVertexNormals(few), KStatus::kInvalidParameter);
}

TEST_F(Mesh, normalsOfListedVerticesReplaceTheirs)
{
    // Two triangles that share nothing, as an export makes them, and the same with a shared edge.
    const std::vector<std::vector<int>> connects = {{0, 1, 2, 3, 4, 5}, {0, 1, 2, 2, 1, 3}};
    for (const std::vector<int>& corners : connects) {
        KFloatPointArray points(corners.back() == 5 ? 6 : 4);
        for (unsigned i = 0; i < points.length(); ++i)
            points[i] = KFloatPoint(static_cast<float>(i % 2), static_cast<float>(i / 2), 0);
        KFnMesh mesh;
        KStatus status;
        mesh.create(static_cast<int>(points.length()), 2, points, KIntArray(2, 3),
                    KIntArray(corners.data(), 6), KObject::kNullObj, &status);
        ASSERT_EQ(status, KStatus::kSuccess);
        KVectorArray normals;
        KIntArray all;
        for (int i = 0; i < static_cast<int>(points.length()); ++i) {
            normals.append(KVector(i, 0.5, -1));
            all.append(i);
        }
        ASSERT_EQ(mesh.setVertexNormals(normals, all, KSpace::kObject), KStatus::kSuccess);
        KFloatVectorArray kept;
        ASSERT_EQ(mesh.getNormals(kept), KStatus::kSuccess);
        EXPECT_EQ(kept.length(), points.length());
        KItMeshPolygon face(mesh.dagPath());
        for (; !face.isDone(); face.next())
            for (int k = 0; k < 3; ++k)
                EXPECT_EQ(kept[static_cast<unsigned>(face.normalIndex(k))].x, face.vertexIndex(k));

        normals[1].y = 1e39; // more than single precision holds
        EXPECT_EQ(mesh.setVertexNormals(normals, all, KSpace::kObject), KStatus::kInvalidParameter);
        EXPECT_EQ(mesh.setVertexNormals(normals, all, KSpace::kWorld), KStatus::kInvalidParameter);
        all[2] = static_cast<int>(points.length());
        EXPECT_EQ(mesh.setVertexNormals(normals, all, KSpace::kObject), KStatus::kIndexOutOfRange);
        all.setLength(3);
        EXPECT_EQ(mesh.setVertexNormals(normals, all, KSpace::kObject), KStatus::kInvalidParameter);
        KFloatVectorArray same;
        mesh.getNormals(same);
        EXPECT_EQ(same[1], kept[1]);

        // One vertex alone: the others keep what they have.
        ASSERT_EQ(mesh.setVertexNormals(KVectorArray(1, KVector(0, 0, 7)), KIntArray(1, 1), KSpace::kObject),
                  KStatus::kSuccess);
        mesh.getNormals(kept);
        face.reset();
        EXPECT_EQ(kept[static_cast<unsigned>(face.normalIndex(1))], KFloatVector(0, 0, 7));
        EXPECT_EQ(kept[static_cast<unsigned>(face.normalIndex(2))], KFloatVector(2, 0.5f, -1));
    }
}

TEST_F(Mesh, aChangedSurfaceEndsIteratorsOverIt)
{
    KFnMesh mesh(makeStrip(2, "m"));
    KItMeshPolygon face(mesh.dagPath());
    ASSERT_EQ(face.next(), KStatus::kSuccess);
    ASSERT_EQ(mesh.updateSurface(), KStatus::kSuccess);
    KStatus status;
    face.vertexIndex(0, &status);
    EXPECT_EQ(status, KStatus::kFailure);
    EXPECT_EQ(face.reset(), KStatus::kSuccess);
    run("delete m");
    EXPECT_EQ(mesh.updateSurface(), KStatus::kInvalidParameter);
}

TEST_F(Mesh, singleFaceVertexNormalsLeaveTheOthers)
{
    KFnMesh mesh(makeStrip(2, "m"));
    KVectorArray normals(1, KVector(1, 0, 0));
    KIntArray faces(1, 1), vertices(1, 2);
    ASSERT_EQ(mesh.setFaceVertexNormals(normals, faces, vertices), KStatus::kSuccess);
    KFloatVectorArray all;
    KIntArray counts, ids;
    ASSERT_EQ(mesh.getNormals(all), KStatus::kSuccess);
    ASSERT_EQ(mesh.getNormalIds(counts, ids), KStatus::kSuccess);
    ASSERT_EQ(ids.length(), 8u);
    EXPECT_EQ(all[static_cast<unsigned>(ids[4])], KFloatVector(1, 0, 0)); // face 1 begins with vertex 2
    EXPECT_EQ(all[static_cast<unsigned>(ids[1])], KFloatVector(0, 0, 1)); // the same vertex in face 0
    vertices[0] = 0;                                                      // not a vertex of face 1
    EXPECT_EQ(mesh.setFaceVertexNormals(normals, faces, vertices), KStatus::kInvalidParameter);
}

TEST_F(Mesh, uvsAreIndexedPerFaceVertexAndMayBeMissing)
{
    KFnMesh mesh(makeStrip(2, "m"));
    const float values[4] = {0, 0.25f, 0.5f, 1};
    KFloatArray u(values, 4), v(values, 4);
    EXPECT_EQ(mesh.getUVs(u, v), KStatus::kNotFound);
    ASSERT_EQ(mesh.setUVs(u, v), KStatus::kSuccess);
    KStringArray names;
    mesh.getUVSetNames(names);
    ASSERT_EQ(names.length(), 1u);
    EXPECT_EQ(names[0], KString("map1"));
    KIntArray counts(2, 0), ids(4, 0);
    counts[1] = 4;
    for (int i = 0; i < 4; ++i)
        ids[static_cast<unsigned>(i)] = 3 - i;
    ASSERT_EQ(mesh.assignUVs(counts, ids), KStatus::kSuccess);
    KItMeshPolygon face(mesh.dagPath());
    int id = 77;
    const KString set("map1"), other("other");
    EXPECT_EQ(face.getUVIndex(0, id, &set), KStatus::kFailure);
    EXPECT_EQ(id, 77);
    face.next();
    EXPECT_EQ(face.getUVIndex(1, id, &set), KStatus::kSuccess);
    EXPECT_EQ(id, 2);
    EXPECT_EQ(face.getUVIndex(1, id), KStatus::kSuccess);
    EXPECT_EQ(face.getUVIndex(1, id, &other), KStatus::kFailure);
    EXPECT_EQ(face.getUVIndex(4, id, &set), KStatus::kFailure);
    ids[0] = 4;
    EXPECT_EQ(mesh.assignUVs(counts, ids), KStatus::kIndexOutOfRange);
    counts[0] = 3;
    EXPECT_EQ(mesh.assignUVs(counts, ids), KStatus::kInvalidParameter);
    counts[0] = 4; // every face, as many ids as corners
    ids = KIntArray(8, 1);
    EXPECT_EQ(mesh.assignUVs(counts, ids), KStatus::kSuccess);
    ids[7] = -2;
    EXPECT_EQ(mesh.assignUVs(counts, ids), KStatus::kIndexOutOfRange);
    face.reset();
    EXPECT_EQ(face.getUVIndex(3, id, &set), KStatus::kSuccess);
    EXPECT_EQ(id, 1);
    KFloatArray infinite(values, 4);
    infinite[2] = INFINITY;
    EXPECT_EQ(mesh.setUVs(u, infinite), KStatus::kInvalidParameter);
    counts[0] = 0;
    ids.setLength(4);
    for (int i = 0; i < 4; ++i)
        ids[static_cast<unsigned>(i)] = 3 - i;
    ASSERT_EQ(mesh.assignUVs(counts, ids), KStatus::kSuccess);
    KFloatArray shorter(values, 2);
    ASSERT_EQ(mesh.setUVs(shorter, shorter), KStatus::kSuccess);
    face.reset();
    face.next();
    EXPECT_EQ(face.getUVIndex(0, id, &set), KStatus::kFailure); // UV 3 is gone
    EXPECT_EQ(face.getUVIndex(3, id, &set), KStatus::kSuccess);
    EXPECT_EQ(id, 0);
}

TEST_F(Mesh, severalUVSetsAreAskedForInTurn)
{
    KFnMesh mesh(makeStrip(1, "m"));
    KFloatArray values(4, 0.5f);
    KIntArray counts(1, 4), ids(4, 0);
    for (const char* name : {"a", "b", "c"}) {
        const KString set(name);
        ASSERT_EQ(mesh.createUVSet(set), KStatus::kSuccess);
        ASSERT_EQ(mesh.setUVs(values, values, &set), KStatus::kSuccess);
        for (unsigned i = 0; i < 4; ++i)
            ids[i] = name[0] - 'a';
        ASSERT_EQ(mesh.assignUVs(counts, ids, &set), KStatus::kSuccess);
    }
    EXPECT_EQ(mesh.createUVSet("a"), KStatus::kInvalidParameter);
    KItMeshPolygon face(mesh.dagPath());
    for (int round = 0; round < 2; ++round)
        for (const char* name : {"a", "c", "b"}) {
            const KString set(name);
            int id = -1;
            EXPECT_EQ(face.getUVIndex(2, id, &set), KStatus::kSuccess);
            EXPECT_EQ(id, name[0] - 'a');
        }
}

TEST_F(Mesh, theIteratorVisitsTheFacesOfAComponentOnly)
{
    KFnMesh mesh(makeStrip(8, "m"));
    run("sets -renderable true -name g \"m.f[1:2]\" \"m.f[5]\" \"m.f[6]\"");
    KObjectArray sets, members;
    ASSERT_EQ(mesh.getConnectedSetsAndMembers(0, sets, members, true), KStatus::kSuccess);
    KStatus status;
    KItMeshPolygon face(mesh.dagPath(), members[0], &status);
    ASSERT_EQ(status, KStatus::kSuccess);
    for (int round = 0; round < 2; ++round) {
        std::vector<int> seen, firsts;
        for (; !face.isDone(); face.next()) {
            seen.push_back(face.index());
            firsts.push_back(face.vertexIndex(0));
        }
        EXPECT_EQ(seen, (std::vector<int>{1, 2, 5, 6}));
        EXPECT_EQ(firsts, (std::vector<int>{2, 4, 10, 12}));
        EXPECT_EQ(face.next(), KStatus::kFailure);
        EXPECT_EQ(face.reset(), KStatus::kSuccess);
    }
    KFnMesh smaller(makeStrip(3, "n"));
    KItMeshPolygon wrong(smaller.dagPath(), members[0], &status);
    EXPECT_EQ(status, KStatus::kInvalidParameter); // faces that this mesh does not have
    EXPECT_TRUE(wrong.isDone());
}

TEST_F(Mesh, theIteratorStopsWhenTheMeshIsEditedOrDeleted)
{
    KFnMesh mesh(makeStrip(8, "m"));
    KItMeshPolygon face(mesh.dagPath());
    KStatus status;
    face.polygonVertexCount(&status);
    EXPECT_EQ(status, KStatus::kSuccess);
    mesh.removeNormals();
    face.polygonVertexCount(&status);
    EXPECT_EQ(status, KStatus::kFailure);
    ASSERT_EQ(face.reset(), KStatus::kSuccess);
    EXPECT_EQ(face.polygonVertexCount(&status), 4);
    run("delete m");
    face.vertexIndex(0, &status);
    EXPECT_EQ(status, KStatus::kFailure);
    EXPECT_EQ(face.next(), KStatus::kFailure);
    EXPECT_TRUE(face.isDone());
    EXPECT_EQ(face.reset(), KStatus::kInvalidParameter);
}

TEST_F(Mesh, onlyMeshesCanBeAttached)
{
    run("createNode transform -n a; createNode spotLight -n s -p a");
    KStatus status;
    KFnMesh onTransform(path("|a"), &status);
    EXPECT_EQ(status, KStatus::kInvalidParameter);
    KFnMesh onLight(path("|a|s"), &status);
    EXPECT_EQ(status, KStatus::kInvalidParameter);
    KFnMesh onNothing(KDagPath(), &status);
    EXPECT_EQ(status, KStatus::kInvalidParameter);
    EXPECT_TRUE(onLight.object().isNull());
}
