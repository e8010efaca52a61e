// Mesh export: triangles with normals and one UV set, instancing, and what is said about odd geometries.

#include "WriterTest.h"

#include <OpenSG/OSGSimpleGeometry.h>
#include <OpenSG/OSGTriangleIterator.h>

#include <kelda/KMatrix.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace
{
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;

class ExportMesh : public WriterTest
{
protected:
    /// Walks the graph into the SDK's scene and gives what was printed.
    std::string said(const osg::NodePtr& root)
    {
        return printedBy([&] { build(root); }).out;
    }
    static void setPositions(const osg::NodePtr& node, const osg::GeoPositionsPtr& positions)
    {
        const osg::GeometryPtr geometry = geometryOf(node);
        const osg::CPEditor edit(geometry);
        geometry->setPositions(positions);
    }
};

// -- triangles -------------------------------------------------------------------------------------

TEST_F(ExportMesh, aTriangleArrivesWithPositionsNormalsAndTexCoords)
{
    const Shape shape = triangle();
    EXPECT_EQ("", said(shapeNode("tri", shape)));
    const KFnMesh mesh = meshAt("|tri|tri");
    EXPECT_EQ(3, mesh.numVertices());
    EXPECT_EQ(1, mesh.numPolygons());
    EXPECT_THAT(pointsOf(mesh), ElementsAreArray(shape.positions));
    EXPECT_THAT(normalsOf(mesh), ElementsAreArray(shape.normals));
    EXPECT_THAT(uvsOf(mesh), ElementsAreArray(shape.texCoords));
    EXPECT_EQ(1, mesh.numUVSets());
}

TEST_F(ExportMesh, aQuadBecomesTwoTrianglesOfSixVertices)
{
    const Shape q = quad();
    build(shapeNode("quad", q));
    const KFnMesh mesh = meshAt("|quad|quad");
    EXPECT_EQ(6, mesh.numVertices());
    ASSERT_EQ(2, mesh.numPolygons());
    EXPECT_EQ(3, mesh.polygonVertexCount(0));
    EXPECT_EQ(3, mesh.polygonVertexCount(1));
    const std::vector<int> corners = {0, 1, 2, 0, 2, 3};
    KIntArray counts;
    KIntArray connects;
    mesh.getVertices(counts, connects);
    const std::vector<osg::Pnt3f> points = pointsOf(mesh);
    const std::vector<osg::Vec3f> normals = normalsOf(mesh);
    const std::vector<osg::Vec2f> uvs = uvsOf(mesh);
    ASSERT_EQ(6u, points.size());
    ASSERT_EQ(6u, normals.size());
    ASSERT_EQ(6u, uvs.size());
    for (unsigned i = 0; i < 6; ++i) {
        EXPECT_EQ(static_cast<int>(i), connects[i]) << "corner i uses vertex i";
        EXPECT_EQ(q.positions[corners[i]], points[i]) << i;
        EXPECT_EQ(q.normals[corners[i]], normals[i]) << i;
        EXPECT_EQ(q.texCoords[corners[i]], uvs[i]) << i;
    }
}

// Every primitive type, in each of the ways in which corners find their values.
struct PrimitiveRow {
    const char* name;
    osg::UInt8 type;
    unsigned int corners;
    std::vector<int> triangles; ///< corners of the primitive
};
void PrintTo(const PrimitiveRow& row, std::ostream* out)
{
    *out << row.name;
}

class ExportPrimitive : public ExportMesh, public testing::WithParamInterface<PrimitiveRow>
{
protected:
    /// Two primitives one after the other; attribute values differ for all corners.
    static Shape shape()
    {
        const PrimitiveRow& row = GetParam();
        Shape result;
        result.types = {row.type, row.type};
        result.lengths = {row.corners, row.corners};
        for (unsigned i = 0; i < 2 * row.corners; ++i) {
            const float f = static_cast<float>(i);
            result.positions.emplace_back(f, 0.1f * f * f, 1.0f / (f + 1));
            result.normals.emplace_back(std::cos(f), std::sin(f), 0.0f);
            result.texCoords.emplace_back(f / 16, -f / 3);
        }
        return result;
    }
    void expectCorners(const Shape& source, const std::vector<int>& positionOf,
                       const std::vector<int>& normalOf, const std::vector<int>& uvOf)
    {
        const KFnMesh mesh = meshAt("|part|part");
        std::vector<osg::Pnt3f> points;
        std::vector<osg::Vec3f> normals;
        std::vector<osg::Vec2f> uvs;
        for (unsigned primitive = 0; primitive < 2; ++primitive) {
            for (const int corner : GetParam().triangles) {
                const std::size_t c = primitive * GetParam().corners + static_cast<unsigned>(corner);
                points.push_back(source.positions[static_cast<std::size_t>(positionOf[c])]);
                normals.push_back(source.normals[static_cast<std::size_t>(normalOf[c])]);
                uvs.push_back(source.texCoords[static_cast<std::size_t>(uvOf[c])]);
            }
        }
        EXPECT_THAT(pointsOf(mesh), ElementsAreArray(points));
        EXPECT_THAT(normalsOf(mesh), ElementsAreArray(normals));
        EXPECT_THAT(uvsOf(mesh), ElementsAreArray(uvs));
    }
    static std::vector<int> corners(int (*place)(int corner, int count))
    {
        std::vector<int> result;
        const int count = static_cast<int>(2 * GetParam().corners);
        for (int i = 0; i < count; ++i)
            result.push_back(place(i, count));
        return result;
    }
    static int same(int corner, int) { return corner; }
    static int reversed(int corner, int count) { return count - 1 - corner; }
    static int turned(int corner, int count) { return (corner + 1) % count; }
};

TEST_P(ExportPrimitive, withoutIndices)
{
    const Shape source = shape();
    EXPECT_EQ("Mesh has no valid indices: part", said(shapeNode("part", source)));
    expectCorners(source, corners(same), corners(same), corners(same));
}

TEST_P(ExportPrimitive, withOneIndexForEachCorner)
{
    Shape source = shape();
    for (const int place : corners(reversed))
        source.indices.push_back(static_cast<osg::UInt32>(place));
    EXPECT_EQ("", said(shapeNode("part", source)));
    expectCorners(source, corners(reversed), corners(reversed), corners(reversed));
}

TEST_P(ExportPrimitive, withAnIndexForEachAttribute)
{
    Shape source = shape();
    source.mapping = {osg::Geometry::MapPosition, osg::Geometry::MapNormal, osg::Geometry::MapTexCoords};
    const std::vector<int> positions = corners(reversed);
    const std::vector<int> normals = corners(turned);
    const std::vector<int> uvs = corners(same);
    for (std::size_t i = 0; i < positions.size(); ++i) {
        for (const int place : {positions[i], normals[i], uvs[i]})
            source.indices.push_back(static_cast<osg::UInt32>(place));
    }
    EXPECT_EQ("", said(shapeNode("part", source)));
    expectCorners(source, positions, normals, uvs);
}

INSTANTIATE_TEST_SUITE_P(
    Types, ExportPrimitive,
    testing::Values(PrimitiveRow{"triangles", GL_TRIANGLES, 6, {0, 1, 2, 3, 4, 5}},
                    PrimitiveRow{"strip", GL_TRIANGLE_STRIP, 5, {0, 1, 2, 2, 1, 3, 2, 3, 4}},
                    PrimitiveRow{"fan", GL_TRIANGLE_FAN, 5, {0, 1, 2, 0, 2, 3, 0, 3, 4}},
                    PrimitiveRow{"polygon", GL_POLYGON, 5, {0, 1, 2, 0, 2, 3, 0, 3, 4}},
                    PrimitiveRow{"quads", GL_QUADS, 8, {0, 1, 2, 0, 2, 3, 4, 5, 6, 4, 6, 7}},
                    PrimitiveRow{"quadStrip", GL_QUAD_STRIP, 6, {0, 1, 2, 2, 1, 3, 2, 3, 4, 4, 3, 5}}),
    [](const testing::TestParamInfo<PrimitiveRow>& info) { return std::string(info.param.name); });

TEST_F(ExportMesh, normalsAndTexCoordsAreLeftOutWhenThereAreNone)
{
    Shape shape = triangle();
    shape.normals.clear();
    shape.texCoords.clear();
    EXPECT_EQ("", said(shapeNode("tri", shape)));
    const KFnMesh mesh = meshAt("|tri|tri");
    EXPECT_EQ(0, mesh.numUVSets());
    EXPECT_EQ(1, mesh.numNormals()) << "one for the face: the SDK's own";
    KFaults::watch();
    build(shapeNode("again", shape));
    EXPECT_EQ(0u, KFaults::calls("KFnMesh::setVertexNormals"));
    EXPECT_EQ(0u, KFaults::calls("KFnMesh::setUVs"));
    EXPECT_EQ(0u, KFaults::calls("KFnMesh::assignUVs"));
    EXPECT_EQ(1u, KFaults::calls("KFnMesh::updateSurface"));
}

TEST_F(ExportMesh, emptyPropertiesCountAsNone)
{
    Shape shape = triangle();
    shape.normals.clear();
    shape.texCoords.clear();
    const osg::NodePtr node = shapeNode("tri", shape);
    {
        const osg::CPEditor edit(geometryOf(node));
        geometryOf(node)->setNormals(osg::GeoNormals3f::create());
        geometryOf(node)->setTexCoords(osg::GeoTexCoords2f::create());
    }
    KFaults::watch();
    EXPECT_EQ("Mesh has no valid normals: triMesh has no valid texCoords: tri", said(node));
    EXPECT_EQ(0u, KFaults::calls("KFnMesh::setVertexNormals"));
    EXPECT_EQ(0u, KFaults::calls("KFnMesh::setUVs"));
    EXPECT_TRUE(exists("|tri|tri"));
}

TEST_F(ExportMesh, onlyTheFirstTexCoordChannelIsExported)
{
    Shape shape = triangle();
    const osg::NodePtr node = shapeNode("tri", shape);
    {
        const osg::CPEditor edit(geometryOf(node));
        geometryOf(node)->setTexCoords1(geometryOf(node)->getTexCoords());
    }
    build(node);
    EXPECT_EQ(1, meshAt("|tri|tri").numUVSets());
}

// -- odd properties --------------------------------------------------------------------------------

TEST_F(ExportMesh, missingAndEmptyIndicesAreReportedWithoutALineFeed)
{
    Shape shape = triangle();
    shape.indices.clear();
    EXPECT_EQ("Mesh has no valid indices: left door", said(shapeNode("left door", shape)))
        << "by the name as it is stored";
    EXPECT_TRUE(exists("|left_door|left_door"));

    const osg::NodePtr empty = shapeNode("empty", shape);
    {
        const osg::CPEditor edit(geometryOf(empty));
        geometryOf(empty)->setIndices(osg::GeoIndicesUI32::create());
    }
    EXPECT_EQ("Mesh has no valid indices: emptyCouldn't create mesh 'empty'\n", said(empty))
        << "indices that end before the first corner leave no triangle";
}

TEST_F(ExportMesh, positionsOfAnotherKindAreReportedAndExported)
{
    const osg::GeoPositions4fPtr positions = osg::GeoPositions4f::create();
    {
        const osg::CPEditor edit(positions);
        for (int i = 0; i < 3; ++i)
            positions->getField().push_back(osg::Pnt4f(float(i), float(i * i), 5, 1));
    }
    const osg::NodePtr node = shapeNode("tri", triangle());
    setPositions(node, positions);
    EXPECT_EQ("Mesh has no valid positions: tri", said(node));
    EXPECT_THAT(pointsOf(meshAt("|tri|tri")),
                ElementsAre(osg::Pnt3f(0, 0, 5), osg::Pnt3f(1, 1, 5), osg::Pnt3f(2, 4, 5)));
}

TEST_F(ExportMesh, normalsOfAnotherCountAreReportedAndExported)
{
    Shape shape = quad();
    shape.mapping = {osg::Geometry::MapPosition, osg::Geometry::MapNormal, osg::Geometry::MapTexCoords};
    shape.normals = {{0, 0, 1}};
    shape.indices = {0, 0, 0, 1, 0, 1, 2, 0, 2, 3, 0, 3};
    EXPECT_EQ("Mesh has no valid normals: quad", said(shapeNode("quad", shape)));
    EXPECT_THAT(normalsOf(meshAt("|quad|quad")), testing::Each(osg::Vec3f(0, 0, 1)));
}

TEST_F(ExportMesh, texCoordsOfAnotherCountAreReportedAndExported)
{
    Shape shape = quad();
    shape.mapping = {osg::Geometry::MapPosition | osg::Geometry::MapNormal, osg::Geometry::MapTexCoords};
    shape.texCoords = {{0.5f, 0.25f}};
    shape.indices = {0, 0, 1, 0, 2, 0, 3, 0};
    EXPECT_EQ("Mesh has no valid texCoords: quad", said(shapeNode("quad", shape)));
    EXPECT_THAT(uvsOf(meshAt("|quad|quad")), testing::Each(osg::Vec2f(0.5f, 0.25f)));
}

TEST_F(ExportMesh, normalsAndTexCoordsOfAnotherKindAreNotMeasuredButExported)
{
    Shape shape = triangle();
    shape.normals.clear();
    shape.texCoords.clear();
    const osg::NodePtr node = shapeNode("tri", shape);
    const osg::GeoNormals3bPtr normals = osg::GeoNormals3b::create();
    const osg::GeoTexCoords3fPtr texCoords = osg::GeoTexCoords3f::create();
    {
        const osg::CPEditor editNormals(normals);
        const osg::CPEditor editTexCoords(texCoords);
        for (int i = 0; i < 4; ++i) { // one more than positions
            normals->addValue(osg::Vec3f(0, 0, 1));
            texCoords->getField().push_back(osg::Vec3f(0.5f, float(i), 7));
        }
        const osg::CPEditor edit(geometryOf(node));
        geometryOf(node)->setNormals(normals);
        geometryOf(node)->setTexCoords(texCoords);
    }
    EXPECT_EQ("", said(node));
    const std::vector<osg::Vec3f> made = normalsOf(meshAt("|tri|tri"));
    ASSERT_EQ(3u, made.size());
    EXPECT_EQ(normals->getValue(0), made[0]);
    EXPECT_THAT(uvsOf(meshAt("|tri|tri")),
                ElementsAre(osg::Vec2f(0.5f, 0), osg::Vec2f(0.5f, 1), osg::Vec2f(0.5f, 2)));
}

TEST_F(ExportMesh, allThatIsOddIsSaidInAFixedOrder)
{
    Shape shape = triangle();
    shape.indices.clear();
    shape.normals.resize(2);
    shape.texCoords.resize(1);
    EXPECT_EQ("Mesh has no valid indices: tri"
              "Mesh has no valid normals: tri"
              "Mesh has no valid texCoords: tri",
              said(shapeNode("tri", shape)));
}

TEST_F(ExportMesh, indicesBeyondTheEndGiveZeros)
{
    Shape shape = triangle();
    shape.indices = {0, 1, 4000000000u};
    said(shapeNode("tri", shape));
    EXPECT_THAT(pointsOf(meshAt("|tri|tri")),
                ElementsAre(osg::Pnt3f(0, 0, 0), osg::Pnt3f(1, 0, 0), osg::Pnt3f(0, 0, 0)));
}

TEST_F(ExportMesh, withoutPositionsOrWithTwoOfThemTheTransformStaysEmpty)
{
    Shape none = triangle();
    none.positions.clear();
    Shape two = triangle();
    two.positions.resize(2);
    EXPECT_EQ("", said(groupNode("root", {shapeNode("none", none), shapeNode("two", two)})));
    EXPECT_EQ(0u, KFnDagNode(pathOf("|root|none")).childCount());
    EXPECT_EQ(0u, KFnDagNode(pathOf("|root|two")).childCount());
}

TEST_F(ExportMesh, pointsAndLinesAloneMakeNoMesh)
{
    for (const osg::UInt8 type : {GL_POINTS, GL_LINES, GL_LINE_STRIP, GL_LINE_LOOP}) {
        Shape shape = triangle();
        shape.types = {type};
        const std::string name = "lines" + std::to_string(type);
        EXPECT_EQ("Couldn't create mesh '" + name + "'\n", said(shapeNode(name, shape)));
        ASSERT_TRUE(exists(name));
        EXPECT_EQ(0u, KFnDagNode(pathOf(name)).childCount());
    }
}

TEST_F(ExportMesh, childrenOfAGeometryHangBelowItsTransform)
{
    const osg::NodePtr node = shapeNode("tri", triangle());
    {
        const osg::CPEditor edit(node);
        node->addChild(groupNode("child"));
        node->addChild(shapeNode("inner", triangle()));
    }
    build(node);
    EXPECT_TRUE(exists("|tri|child"));
    EXPECT_TRUE(exists("|tri|inner|inner"));
}

// -- local transform -------------------------------------------------------------------------------

TEST_F(ExportMesh, theLocalTransformOfAGeometryGoesToItsTransform)
{
    const osg::NodePtr node = shapeNode("tri", triangle());
    const osg::Transform3DPtr local = transform3D(someComponents());
    geometryOf(node)->setTransform(local);
    build(node);
    const KFnTransform fn = transformAt("|tri");
    EXPECT_EQ(KVector(1, 2, 3), fn.translation(KSpace::kTransform));
    EXPECT_EQ(KPoint(-1, -2, -3), fn.scalePivot(KSpace::kTransform));
    EXPECT_EQ(KVector(7, 8, 9), fn.scalePivotTranslation(KSpace::kTransform));
    const KMatrix matrix = fn.transformationMatrix();
    for (unsigned column = 0; column < 4; ++column) {
        for (unsigned row = 0; row < 4; ++row)
            EXPECT_NEAR(local->getMatrix()[column][row], matrix.m[column][row], 1e-5);
    }
}

TEST_F(ExportMesh, aLocalTransformThatDoesNothingIsNotApplied)
{
    const osg::NodePtr node = shapeNode("tri", triangle());
    Components pivot;
    pivot.rotatePivot.setValues(1, 2, 3);
    geometryOf(node)->setTransform(transform3D(pivot));
    build(node);
    EXPECT_EQ(KPoint(0, 0, 0), transformAt("|tri").rotatePivot(KSpace::kTransform));
}

TEST_F(ExportMesh, aLocalTransformNearTheIdentityIsApplied)
{
    const osg::NodePtr node = shapeNode("tri", triangle());
    Components near;
    near.translation.setValues(1e-7f, 0, 0);
    geometryOf(node)->setTransform(transform3D(near));
    build(node);
    EXPECT_EQ(1e-7f, static_cast<float>(transformAt("|tri").translation(KSpace::kTransform).x));
}

// -- names and sets --------------------------------------------------------------------------------

TEST_F(ExportMesh, theShapeHasTheNameOfItsTransform)
{
    build(groupNode("root", {shapeNode("3 doors", triangle()), shapeNode("3 doors", triangle())}));
    EXPECT_TRUE(exists("|root|__doors|__doors"));
    const KFnDagNode second(KFnDagNode(pathOf("|root")).child(1));
    EXPECT_NE("__doors", std::string(second.name().asUTF8())) << "siblings that clash are numbered";
    EXPECT_EQ("__doors", std::string(KFnDagNode(second.child(0)).name().asUTF8()));
}

TEST_F(ExportMesh, aShapeWithoutANameGetsTheSdksDefault)
{
    build(shapeNode("", triangle()));
    ASSERT_THAT(topNames(), ElementsAre(testing::MatchesRegex("transform[0-9]+")));
    const KFnDagNode transform(pathOf(topNames()[0]));
    ASSERT_EQ(1u, transform.childCount());
    EXPECT_THAT(KFnDagNode(transform.child(0)).name().asUTF8(), testing::MatchesRegex("[A-Za-z]+[0-9]+"));
}

TEST_F(ExportMesh, everyMeshJoinsTheShadingGroupOfItsMaterial)
{
    EXPECT_EQ("", said(groupNode("root", {shapeNode("part", triangle()), shapeNode("part", triangle()),
                                          groupNode("a", {shapeNode("part", triangle())})})));
    const KFnDagNode root(pathOf("|root"));
    const std::string second = KFnDagNode(root.child(1)).name().asUTF8();
    EXPECT_THAT(setsOf("|root|part|part"), ElementsAre("phong1SG"));
    EXPECT_THAT(setsOf("|root|" + second + "|part"), ElementsAre("phong1SG"));
    EXPECT_THAT(setsOf("|root|a|part|part"), ElementsAre("phong1SG"));
}

TEST_F(ExportMesh, aMeshThatCannotJoinItsGroupIsReportedAndStays)
{
    KFaults::failCall("KFnSet::addMember");
    EXPECT_EQ("Couldn't add member!\n", said(shapeNode("tri", triangle())));
    EXPECT_TRUE(exists("|tri|tri"));
    EXPECT_THAT(setsOf("|tri|tri"), IsEmpty());
}

// -- instancing ------------------------------------------------------------------------------------

TEST_F(ExportMesh, aSecondNodeOfACoreBecomesAnInstanceOfTheFirstShape)
{
    const osg::GeometryPtr core = makeGeometry(triangle());
    KFaults::watch();
    EXPECT_EQ("", said(groupNode("root", {nodeWith(core, "first"), nodeWith(core, "second")})));
    EXPECT_EQ(1u, KFaults::calls("KFnMesh::create"));
    const KDagPath shape = pathOf("|root|first|first");
    KDagPathArray paths;
    KFnDagNode(shape).getAllPaths(paths);
    ASSERT_EQ(2u, paths.length());
    EXPECT_TRUE(paths[0] == shape);
    const std::string second = paths[1].fullPathName().asUTF8();
    EXPECT_EQ(0u, second.find("|root|second|")) << second;
    EXPECT_EQ(4u, paths[1].length()) << "root, the node's transform, the instance's own, and the shape";
    EXPECT_THAT(topNames(), ElementsAre("root")) << "nothing stays below the world";
}

TEST_F(ExportMesh, everyFurtherNodeOfACoreIsAnInstance)
{
    const osg::GeometryPtr core = makeGeometry(quad());
    Children nodes;
    for (int i = 0; i < 5; ++i)
        nodes.push_back(groupNode("g" + std::to_string(i), {nodeWith(core, "part")}));
    build(groupNode("root", nodes));
    KDagPathArray paths;
    KFnDagNode(pathOf("|root|g0|part|part")).getAllPaths(paths);
    ASSERT_EQ(5u, paths.length());
    for (unsigned i = 0; i < 5; ++i) {
        EXPECT_EQ(
            0u, std::string(paths[i].fullPathName().asUTF8()).find("|root|g" + std::to_string(i) + "|part|"));
        EXPECT_THAT(setsOf(paths[i].fullPathName().asUTF8()), ElementsAre("phong1SG"))
            << "an instance shares the shading group of the first one";
    }
}

TEST_F(ExportMesh, theLocalTransformCountsForInstancesToo)
{
    const osg::GeometryPtr core = makeGeometry(triangle());
    Components moved;
    moved.translation.setValues(1, 2, 3);
    core->setTransform(transform3D(moved));
    build(groupNode("root", {nodeWith(core, "first"), nodeWith(core, "second")}));
    EXPECT_EQ(KVector(1, 2, 3), transformAt("|root|first").translation(KSpace::kTransform));
    EXPECT_EQ(KVector(1, 2, 3), transformAt("|root|second").translation(KSpace::kTransform));
    const KObject inner = KFnDagNode(pathOf("|root|second")).child(0);
    EXPECT_EQ(KMatrix::identity, KFnTransform(inner).transformationMatrix());
}

TEST_F(ExportMesh, aCoreWhoseMeshFailedIsTriedAgain)
{
    const osg::GeometryPtr core = makeGeometry(triangle());
    KFaults::failCall("KFnMesh::create");
    EXPECT_EQ("Couldn't create mesh 'first'\n",
              said(groupNode("root", {nodeWith(core, "first"), nodeWith(core, "second")})));
    EXPECT_EQ(0u, KFnDagNode(pathOf("|root|first")).childCount());
    EXPECT_TRUE(exists("|root|second|second"));
}

TEST_F(ExportMesh, anInstanceThatCannotBeMadeLeavesAnEmptyTransform)
{
    const osg::GeometryPtr core = makeGeometry(triangle());
    KFaults::failCall("KFnDagNode::duplicate");
    EXPECT_EQ("", said(groupNode("root", {nodeWith(core, "first"), nodeWith(core, "second")})));
    EXPECT_TRUE(exists("|root|first|first"));
    EXPECT_EQ(0u, KFnDagNode(pathOf("|root|second")).childCount());
}

TEST_F(ExportMesh, anEmptyCoreWithTwoNodesMakesTwoEmptyTransforms)
{
    const osg::GeometryPtr core = makeGeometry(Shape());
    EXPECT_EQ("", said(groupNode("root", {nodeWith(core, "first"), nodeWith(core, "second")})));
    EXPECT_EQ(0u, KFnDagNode(pathOf("|root|first")).childCount());
    EXPECT_EQ(0u, KFnDagNode(pathOf("|root|second")).childCount());
}

TEST_F(ExportMesh, inactiveFirstNodesLeaveTheMeshToTheNext)
{
    const osg::GeometryPtr core = makeGeometry(triangle());
    const osg::NodePtr off = nodeWith(core, "off");
    {
        const osg::CPEditor edit(off);
        off->setActive(false);
    }
    build(groupNode("root", {off, nodeWith(core, "on")}));
    EXPECT_TRUE(exists("|root|on|on"));
    EXPECT_FALSE(exists("off"));
}

// -- failures --------------------------------------------------------------------------------------

TEST_F(ExportMesh, aFailedCreateLeavesAnEmptyTransformAndTheExportGoesOn)
{
    KFaults::failCall("KFnMesh::create");
    const Printed printed = exportTo(
        groupNode("root", {shapeNode("left door", triangle()), shapeNode("next", triangle())}), "a.ka");
    EXPECT_THAT(printed.out, HasSubstr("Couldn't create mesh 'left door'\n"));
    EXPECT_THAT(contentOf("a.ka"), HasSubstr("left_door"));
    EXPECT_THAT(contentOf("a.ka"), HasSubstr("next"));
}

TEST_F(ExportMesh, valuesThatAreNotFiniteAreRefusedByTheSdkAndReported)
{
    Shape position = triangle();
    position.positions[1][2] = std::numeric_limits<float>::infinity();
    EXPECT_EQ("Couldn't create mesh 'a'\n", said(shapeNode("a", position)));
    Shape normal = triangle();
    normal.normals[0][0] = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ("Couldn't create normals for mesh 'b'\n", said(shapeNode("b", normal)));
}

TEST_F(ExportMesh, failedNormalsAreReportedAndTheRestGoesOn)
{
    KFaults::failCall("KFnMesh::setVertexNormals");
    EXPECT_EQ("Couldn't create normals for mesh 'left door'\n", said(shapeNode("left door", triangle())));
    EXPECT_THAT(uvsOf(meshAt("|left_door|left_door")), ElementsAreArray(triangle().texCoords));
}

TEST_F(ExportMesh, failedTexCoordsAreReportedAndTheirIdsAreTriedAllTheSame)
{
    KFaults::failCall("KFnMesh::setUVs");
    EXPECT_THAT(said(shapeNode("tri", triangle())),
                HasSubstr("Couldn't set texture coordinates for mesh 'tri'\n"));
    EXPECT_EQ(1u, KFaults::calls("KFnMesh::assignUVs"));
    EXPECT_THAT(normalsOf(meshAt("|tri|tri")), ElementsAreArray(triangle().normals));
}

TEST_F(ExportMesh, failedTexCoordIdsAreReported)
{
    KFaults::failCall("KFnMesh::assignUVs");
    EXPECT_EQ("Couldn't assign texture coordinates for mesh 'tri'\n", said(shapeNode("tri", triangle())));
    EXPECT_THAT(setsOf("|tri|tri"), ElementsAre("phong1SG"));
}

TEST_F(ExportMesh, aMeshWithoutAnActualGeometryCoreAnswersTheParent)
{
    const KObject parent = makeTransform("parent");
    zyKeldaWriterTestAccess access;
    EXPECT_EQ(parent, access.convertGeometry(osg::NullFC, parent));
    EXPECT_EQ(parent, access.convertGeometry(keep(nodeWith(osg::NullFC, "coreless")), parent));
    EXPECT_EQ(parent, access.convertGeometry(keep(groupNode("group")), parent));
    EXPECT_EQ(0u, KFnDagNode(parent).childCount());
}

// -- there and back --------------------------------------------------------------------------------

/// Triangles as they are drawn: position, normal and texture coordinates of each corner.
std::vector<std::vector<float>> drawn(const osg::GeometryPtr& geometry)
{
    std::vector<std::vector<float>> triangles;
    for (osg::TriangleIterator it = geometry->beginTriangles(); it != geometry->endTriangles(); ++it) {
        std::vector<float> values;
        for (osg::Int32 k = 0; k < 3; ++k) {
            const osg::Pnt3f p = it.getPosition(k);
            const osg::Vec3f n = it.getNormal(k);
            const osg::Vec2f t = it.getTexCoords(k);
            values.insert(values.end(), {p[0], p[1], p[2], n[0], n[1], n[2], t[0], t[1]});
        }
        triangles.push_back(values);
    }
    std::sort(triangles.begin(), triangles.end());
    return triangles;
}

TEST_F(ExportMesh, aSmallGraphComesBackFromBothForms)
{
    const osg::GeometryPtr wheel = makeGeometry(quad());
    Components left;
    left.translation.setValues(-1, 0, 0);
    Components right;
    right.translation.setValues(1, 0, 0);
    const osg::NodePtr graph = groupNode(
        "car", {shapeNode("body", triangle()), transform3DNode("left", left, {nodeWith(wheel, "wheel")}),
                transform3DNode("right", right, {nodeWith(wheel, "wheel")})});
    keep(graph);
    for (const char* name : {"scene.ka", "scene.kb"}) {
        const osg::NodePtr back = roundTrip(graph, name);
        ASSERT_TRUE(back != osg::NullFC) << name;
        const osg::NodePtr car = nodeAt(back, {"car"});
        ASSERT_TRUE(car != osg::NullFC) << name;
        EXPECT_THAT(childNames(car), ElementsAre("body", "left", "right")) << name;
        EXPECT_EQ(drawn(geometryOf(graph->getChild(0))), drawn(geometryOf(nodeAt(car, {"body"})))) << name;
        EXPECT_EQ(osg::Vec3f(-1, 0, 0), transformOf(nodeAt(car, {"left"}))->getTranslation()) << name;
        EXPECT_EQ(osg::Vec3f(1, 0, 0), transformOf(nodeAt(car, {"right"}))->getTranslation()) << name;
        const osg::GeometryPtr first = geometryOf(nodeAt(car, {"left", "wheel"}));
        ASSERT_TRUE(first != osg::NullFC) << name;
        EXPECT_EQ(drawn(wheel), drawn(first)) << name;
    }
}
} // namespace
