// Mesh import: one polygon mesh to one geometry for each of its shading groups.

#include "LoaderTest.h"

#include <OpenSG/OSGGeoProperty.h>
#include <OpenSG/OSGGroup.h>
#include <OpenSG/OSGSimpleGeometry.h>
#include <OpenSG/OSGTriangleIterator.h>
#include <kelda/KFloatArray.h>
#include <kelda/KFloatVectorArray.h>
#include <kelda/testing/KFaults.h>
#include <zyOpenSGExt/zyValuePair.h>

namespace
{
using testing::ElementsAre;

class Mesh : public LoaderTest
{
protected:
    zyKeldaLoaderTestAccess loader;

    osg::NodePtr convert(const char* name)
    {
        _graphs.emplace_back(new ScopedGraph(loader.convertMesh(pathOf(name))));
        return _graphs.back()->get();
    }
    /// Adds UV sets "a", "b", ... to a strip: set i holds the UV (i, 0) alone, used by every corner.
    static void addUVSets(const KObject& shape, int count)
    {
        KFnMesh mesh(shape);
        for (int i = 0; i < count; ++i) {
            const std::string name(1, static_cast<char>('a' + i));
            mesh.createUVSet(name.c_str());
            setUVs(mesh, name.c_str(), static_cast<float>(i));
        }
    }
    static void setUVs(KFnMesh& mesh, const KString& set, float u)
    {
        KFloatArray us;
        KFloatArray vs;
        us.append(u);
        vs.append(0.0f);
        ASSERT_FALSE(mesh.setUVs(us, vs, &set).error());
        KIntArray counts;
        KIntArray ids;
        for (int face = 0; face < mesh.numPolygons(); ++face) {
            counts.append(4);
            for (int corner = 0; corner < 4; ++corner)
                ids.append(0);
        }
        ASSERT_FALSE(mesh.assignUVs(counts, ids, &set).error());
    }

private:
    std::vector<std::unique_ptr<ScopedGraph>> _graphs;
};

// -- one group, several groups ---------------------------------------------------------------------

TEST_F(Mesh, entirelyInOneShadingGroupReturnsTheSingleGeometryNode)
{
    makeQuad("quadShape", makeTransform("quad"));
    const osg::NodePtr node = convert("quadShape");
    ASSERT_TRUE(node != osg::NullFC);
    EXPECT_EQ("quadShape", nameOf(node));
    const osg::GeometryPtr geometry = geometryOf(node);
    ASSERT_TRUE(geometry != osg::NullFC);
    ASSERT_EQ(1u, loader.geometries().size());
    EXPECT_TRUE(loader.geometries()[0] == geometry);
}

TEST_F(Mesh, aQuadBecomesOnePrimitiveOfType9WithLength4)
{
    makeQuad("quadShape", makeTransform("quad"));
    const osg::GeometryPtr geometry = geometryOf(convert("quadShape"));
    ASSERT_EQ(1u, geometry->getTypes()->size());
    EXPECT_EQ(9u, geometry->getTypes()->getValue(0));
    ASSERT_EQ(1u, geometry->getLengths()->size());
    EXPECT_EQ(4u, geometry->getLengths()->getValue(0));
}

TEST_F(Mesh, propertiesAreOfTheExpectedTypes)
{
    makeQuad("quadShape", makeTransform("quad"));
    const osg::GeometryPtr geometry = geometryOf(convert("quadShape"));
    EXPECT_TRUE(osg::GeoPositions3fPtr::dcast(geometry->getPositions()) != osg::NullFC);
    EXPECT_TRUE(osg::GeoNormals3fPtr::dcast(geometry->getNormals()) != osg::NullFC);
    EXPECT_TRUE(osg::GeoTexCoords2fPtr::dcast(geometry->getTexCoords()) != osg::NullFC);
    EXPECT_TRUE(osg::GeoPTypesUI8Ptr::dcast(geometry->getTypes()) != osg::NullFC);
    EXPECT_TRUE(osg::GeoPLengthsUI32Ptr::dcast(geometry->getLengths()) != osg::NullFC);
    EXPECT_TRUE(osg::GeoIndicesUI32Ptr::dcast(geometry->getIndices()) != osg::NullFC);
    EXPECT_TRUE(geometry->getColors() == osg::NullFC);
}

TEST_F(Mesh, indicesAreVertexNormalAndUVForEachCornerInTheFacesOrder)
{
    makeQuad("quadShape", makeTransform("quad"));
    const osg::GeometryPtr geometry = geometryOf(convert("quadShape"));
    EXPECT_THAT(mappingOf(geometry), ElementsAre(1, 2, 16));
    const std::vector<osg::UInt32> indices = indicesOf(geometry);
    ASSERT_EQ(12u, indices.size());
    for (osg::UInt32 corner = 0; corner < 4; ++corner) {
        EXPECT_EQ(corner, indices[corner * 3]) << "vertex";
        EXPECT_EQ(0u, indices[corner * 3 + 1]) << "one flat normal";
        EXPECT_EQ(corner, indices[corner * 3 + 2]) << "UV";
    }
}

TEST_F(Mesh, coordinatesAreTakenInObjectSpaceAndUVsAsTheyAre)
{
    makeQuad("quadShape", makeMovedTransform("quad", 100, 0, 0));
    run("setAttr \"quad.rotate\" 0 1.5707963 0");
    const osg::GeometryPtr geometry = geometryOf(convert("quadShape"));
    ASSERT_EQ(4u, geometry->getPositions()->size());
    EXPECT_EQ(osg::Pnt3f(0, 0, 0), geometry->getPositions()->getValue(0));
    EXPECT_EQ(osg::Pnt3f(1, 1, 0), geometry->getPositions()->getValue(2));
    EXPECT_EQ(osg::Vec3f(0, 0, 1), geometry->getNormals()->getValue(0));
    EXPECT_EQ(osg::Vec2f(1, 1), geometry->getTexCoords()->getValue(2)) << "v is not flipped";
}

TEST_F(Mesh, theMaterialIsThatOfTheShadingGroup)
{
    makeQuad("quadShape", makeTransform("quad"));
    const osg::GeometryPtr geometry = geometryOf(convert("quadShape"));
    ASSERT_EQ(1u, loader.libraryMaterials().size());
    EXPECT_TRUE(geometry->getMaterial() == loader.libraryMaterials()["lambert1"]);
}

TEST_F(Mesh, twoShadingGroupsReturnAGroupWithTwoGeometryNodesOfOneNameThatShareTheirProperties)
{
    const KObject strip = makeStrip("stripShape", makeTransform("strip"), 5);
    addUVSets(strip, 1);
    assign("stripShape", "redSG", 0, 1);
    assign("stripShape", "blueSG", 2, 4);
    const osg::NodePtr group = convert("stripShape");
    ASSERT_TRUE(osg::GroupPtr::dcast(group->getCore()) != osg::NullFC);
    EXPECT_EQ("", nameOf(group)) << "the caller names it";
    ASSERT_THAT(childNames(group), ElementsAre("stripShape", "stripShape"));

    const osg::GeometryPtr red = geometryOf(group->getChild(0));
    const osg::GeometryPtr blue = geometryOf(group->getChild(1));
    EXPECT_TRUE(red->getPositions() == blue->getPositions());
    EXPECT_TRUE(red->getNormals() == blue->getNormals());
    EXPECT_TRUE(red->getTexCoords() == blue->getTexCoords());
    EXPECT_FALSE(red->getIndices() == blue->getIndices());
    EXPECT_EQ(2u, red->getLengths()->size());
    EXPECT_EQ(3u, blue->getLengths()->size());
    EXPECT_EQ(0u, indicesOf(red)[0]);
    EXPECT_EQ(2u * 2, indicesOf(blue)[0]) << "the third quad of the strip begins at its fifth point";
    ASSERT_EQ(2u, loader.geometries().size());
    EXPECT_TRUE(loader.geometries()[0] == red);
}

TEST_F(Mesh, facesInNoShadingGroupAreNotDrawn)
{
    makeStrip("stripShape", makeTransform("strip"), 5);
    assign("stripShape", "redSG", 1, 1);
    EXPECT_EQ(1u, geometryOf(convert("stripShape"))->getLengths()->size());
}

TEST_F(Mesh, polygonsStayPolygonsInAMeshOfMixedFaces)
{
    KFloatPointArray points;
    for (int i = 0; i < 5; ++i)
        points.append(KFloatPoint(static_cast<float>(i), static_cast<float>(i * i), 0));
    KIntArray counts;
    KIntArray connects;
    for (const int count : {3, 5, 4}) {
        counts.append(count);
        for (int corner = 0; corner < count; ++corner)
            connects.append(corner);
    }
    KFnMesh mesh;
    mesh.create(5, 3, points, counts, connects, makeTransform("t"));
    mesh.setName("mixedShape");
    assignWhole("mixedShape", "initialShadingGroup");
    const osg::GeometryPtr geometry = geometryOf(convert("mixedShape"));
    ASSERT_EQ(3u, geometry->getLengths()->size());
    EXPECT_EQ(3u, geometry->getLengths()->getValue(0));
    EXPECT_EQ(5u, geometry->getLengths()->getValue(1));
    EXPECT_EQ(4u, geometry->getLengths()->getValue(2));
    osg::UInt32 triangles = 0;
    for (osg::TriangleIterator it = geometry->beginTriangles(); it != geometry->endTriangles(); ++it)
        ++triangles;
    EXPECT_EQ(1u + 3u + 2u, triangles);
}

// -- normals ---------------------------------------------------------------------------------------

TEST_F(Mesh, normalsAreTheEntriesOfTheMeshsNormalListInItsOrder)
{
    const KObject shape = makeQuad("quadShape", makeTransform("quad"));
    KFnMesh mesh(shape);
    KVectorArray normals;
    KIntArray vertices;
    for (int i = 0; i < 4; ++i) {
        normals.append(KVector(i, 0.5, 0));
        vertices.append(i);
    }
    ASSERT_FALSE(mesh.setVertexNormals(normals, vertices, KSpace::kObject).error());
    const osg::GeometryPtr geometry = geometryOf(convert("quadShape"));
    KFloatVectorArray listed;
    mesh.getNormals(listed, KSpace::kObject);
    ASSERT_EQ(listed.length(), geometry->getNormals()->size());
    for (unsigned int i = 0; i < listed.length(); ++i) {
        EXPECT_EQ(osg::Vec3f(listed[i].x, listed[i].y, listed[i].z), geometry->getNormals()->getValue(i));
    }
    const std::vector<osg::UInt32> indices = indicesOf(geometry);
    EXPECT_EQ(osg::Vec3f(2, 0.5f, 0), geometry->getNormals()->getValue(indices[2 * 3 + 1]));
}

// -- UV sets ---------------------------------------------------------------------------------------

TEST_F(Mesh, withoutUVSetsTheStrideIs2AndThereAreNoTextureCoordinates)
{
    makeStrip("stripShape", makeTransform("strip"), 1);
    assignWhole("stripShape", "initialShadingGroup");
    const osg::GeometryPtr geometry = geometryOf(convert("stripShape"));
    EXPECT_THAT(mappingOf(geometry), ElementsAre(1, 2));
    EXPECT_EQ(8u, indicesOf(geometry).size());
    EXPECT_TRUE(geometry->getTexCoords() == osg::NullFC);
}

TEST_F(Mesh, anEmptyFirstUVSetMeansNoTextureCoordinates)
{
    const KObject strip = makeStrip("stripShape", makeTransform("strip"), 1);
    KFnMesh mesh(strip);
    mesh.createUVSet("empty");
    mesh.createUVSet("full");
    setUVs(mesh, "full", 1.0f);
    assignWhole("stripShape", "initialShadingGroup");
    const osg::GeometryPtr geometry = geometryOf(convert("stripShape"));
    EXPECT_THAT(mappingOf(geometry), ElementsAre(1, 2));
    EXPECT_TRUE(geometry->getTexCoords() == osg::NullFC);
    EXPECT_EQ(1u, loader.uvSetIndices()["full"]) << "the name is recorded all the same";
}

TEST_F(Mesh, theUsedSetsAreTheFirstOnesByNumberWhicheverHoldUVs)
{
    const KObject strip = makeStrip("stripShape", makeTransform("strip"), 1);
    KFnMesh mesh(strip);
    mesh.createUVSet("first");
    mesh.createUVSet("empty");
    mesh.createUVSet("third");
    setUVs(mesh, "first", 1.0f);
    setUVs(mesh, "third", 3.0f);
    assignWhole("stripShape", "initialShadingGroup");
    const osg::GeometryPtr geometry = geometryOf(convert("stripShape"));
    EXPECT_THAT(mappingOf(geometry), ElementsAre(1, 2, 16, 32)) << "two sets hold UVs: sets 0 and 1 are used";
    EXPECT_EQ(1u, geometry->getTexCoords()->size());
    EXPECT_EQ(0u, geometry->getTexCoords1()->size());
    EXPECT_EQ(0u, indicesOf(geometry)[3]) << "a failed UV index is 0";
}

TEST_F(Mesh, withOneUsedUVSetTheStrideIs3)
{
    addUVSets(makeStrip("stripShape", makeTransform("strip"), 1), 1);
    assignWhole("stripShape", "initialShadingGroup");
    EXPECT_EQ(12u, indicesOf(geometryOf(convert("stripShape"))).size());
}

TEST_F(Mesh, twoUVSetsFillTwoChannels)
{
    addUVSets(makeStrip("stripShape", makeTransform("strip"), 1), 2);
    assignWhole("stripShape", "initialShadingGroup");
    const osg::GeometryPtr geometry = geometryOf(convert("stripShape"));
    EXPECT_EQ(osg::Vec2f(0, 0), geometry->getTexCoords()->getValue(0));
    EXPECT_EQ(osg::Vec2f(1, 0), geometry->getTexCoords1()->getValue(0));
}

TEST_F(Mesh, withThreeUVSetsTheSecondChannelHoldsSet2AndTheMappingHasFiveEntries)
{
    addUVSets(makeStrip("stripShape", makeTransform("strip"), 1), 3);
    assignWhole("stripShape", "initialShadingGroup");
    const osg::GeometryPtr geometry = geometryOf(convert("stripShape"));
    EXPECT_THAT(mappingOf(geometry), ElementsAre(1, 2, 16, 32, 64));
    EXPECT_EQ(20u, indicesOf(geometry).size());
    EXPECT_EQ(osg::Vec2f(0, 0), geometry->getTexCoords()->getValue(0));
    EXPECT_EQ(osg::Vec2f(2, 0), geometry->getTexCoords1()->getValue(0));
    EXPECT_TRUE(geometry->getTexCoords2() == osg::NullFC);
}

TEST_F(Mesh, withFourUVSetsTheSecondChannelHoldsSet3AndTheThirdAndFourthStayEmpty)
{
    addUVSets(makeStrip("stripShape", makeTransform("strip"), 1), 4);
    assignWhole("stripShape", "initialShadingGroup");
    const osg::GeometryPtr geometry = geometryOf(convert("stripShape"));
    EXPECT_THAT(mappingOf(geometry), ElementsAre(1, 2, 16, 32, 64, 128));
    EXPECT_EQ(osg::Vec2f(3, 0), geometry->getTexCoords1()->getValue(0));
    EXPECT_TRUE(geometry->getTexCoords2() == osg::NullFC);
    EXPECT_TRUE(geometry->getTexCoords3() == osg::NullFC);
}

TEST_F(Mesh, aFifthUVSetHasIndicesButNoPlaceInTheMapping)
{
    addUVSets(makeStrip("stripShape", makeTransform("strip"), 1), 5);
    assignWhole("stripShape", "initialShadingGroup");
    const osg::GeometryPtr geometry = geometryOf(convert("stripShape"));
    EXPECT_THAT(mappingOf(geometry), ElementsAre(1, 2, 16, 32, 64, 128));
    EXPECT_EQ(4u * 7, indicesOf(geometry).size());
}

TEST_F(Mesh, uvSetNamesAreGlobalToTheImportAndTheFirstDefinitionWins)
{
    const KObject first = makeStrip("firstShape", makeTransform("first"), 1);
    addUVSets(first, 2);
    assignWhole("firstShape", "initialShadingGroup");
    const KObject second = makeStrip("secondShape", makeTransform("second"), 1);
    KFnMesh mesh(second);
    mesh.createUVSet("b");
    mesh.createUVSet("a");
    setUVs(mesh, "b", 1.0f);
    assignWhole("secondShape", "initialShadingGroup");
    convert("firstShape");
    convert("secondShape");
    EXPECT_EQ(0u, loader.uvSetIndices()["a"]);
    EXPECT_EQ(1u, loader.uvSetIndices()["b"]);
}

TEST_F(Mesh, aUVSetThatCannotBeReadIsNotCounted)
{
    addUVSets(makeStrip("stripShape", makeTransform("strip"), 1), 2);
    assignWhole("stripShape", "initialShadingGroup");
    KFaults::failCall("KFnMesh::getUVs", 2);
    EXPECT_THAT(mappingOf(geometryOf(convert("stripShape"))), ElementsAre(1, 2, 16));
}

TEST_F(Mesh, aFailedUVIndexIs0)
{
    makeQuad("quadShape", makeTransform("quad"));
    KFaults::failCall("KItMeshPolygon::getUVIndex", 3);
    const std::vector<osg::UInt32> indices = indicesOf(geometryOf(convert("quadShape")));
    ASSERT_EQ(12u, indices.size());
    EXPECT_EQ(1u, indices[1 * 3 + 2]);
    EXPECT_EQ(0u, indices[2 * 3 + 2]);
    EXPECT_EQ(3u, indices[3 * 3 + 2]);
}

// -- failures --------------------------------------------------------------------------------------

TEST_F(Mesh, whatCannotBeReadGivesANullNodeAndPrintsNothing)
{
    makeQuad("quadShape", makeTransform("quad"));
    for (const char* operation : {"KFnMesh::KFnMesh", "KFnMesh::getPoints", "KFnMesh::getNormals",
                                  "KFnDagNode::getConnectedSetsAndMembers"}) {
        KFaults::failCall(operation);
        osg::NodePtr node;
        const Printed printed = printedBy([&] { node = loader.convertMesh(pathOf("quadShape")); });
        EXPECT_TRUE(node == osg::NullFC) << operation;
        EXPECT_EQ("", printed.out + printed.err) << operation;
        KFaults::clear();
    }
}

TEST_F(Mesh, inNoShadingGroupGivesANullNode)
{
    makeStrip("stripShape", makeTransform("strip"), 1);
    EXPECT_TRUE(loader.convertMesh(pathOf("stripShape")) == osg::NullFC);
}

TEST_F(Mesh, setsThatAreNotRenderableDoNotCount)
{
    makeStrip("stripShape", makeTransform("strip"), 1);
    run("sets -empty -name \"selection\"");
    assignWhole("stripShape", "selection");
    EXPECT_TRUE(loader.convertMesh(pathOf("stripShape")) == osg::NullFC);
}

class TwoGroups : public Mesh
{
protected:
    TwoGroups()
    {
        makeStrip("stripShape", makeTransform("strip"), 4);
        assign("stripShape", "redSG", 0, 1);
        assign("stripShape", "blueSG", 2, 3);
    }
    osg::NodePtr node;
    Printed convertStrip()
    {
        return printedBy([&] { node = convert("stripShape"); });
    }
};

TEST_F(TwoGroups, aSetThatCannotBeAttachedIsSkippedSilently)
{
    KFaults::failCall("KFnSet::KFnSet");
    const Printed printed = convertStrip();
    EXPECT_EQ("", printed.out);
    EXPECT_EQ(4u, indicesOf(geometryOf(node))[0]) << "the blue faces alone, and no group around them";
}

TEST_F(TwoGroups, aFaceIteratorThatCannotBeBuiltIsSkippedSilently)
{
    KFaults::failCall("KItMeshPolygon::KItMeshPolygon");
    const Printed printed = convertStrip();
    EXPECT_EQ("", printed.out);
    EXPECT_TRUE(geometryOf(node) != osg::NullFC);
}

TEST_F(TwoGroups, anIteratorThatCannotBeResetIsSkippedWithAMessage)
{
    KFaults::failCall("KItMeshPolygon::reset");
    const Printed printed = convertStrip();
    EXPECT_EQ("skipping invalid mesh polygon iterator!\n", printed.out);
    EXPECT_TRUE(geometryOf(node) != osg::NullFC);
}

TEST_F(TwoGroups, anIteratorThatIsDoneIsSkippedWithAMessage)
{
    KFaults::failCall("KItMeshPolygon::reset at the end", 2); // the first is that of the constructor
    const Printed printed = convertStrip();
    EXPECT_EQ("skipping done mesh polygon iterator!\n", printed.out);
    EXPECT_TRUE(geometryOf(node) != osg::NullFC);
}

TEST_F(TwoGroups, whenEveryGroupIsSkippedAnEmptyGroupIsReturned)
{
    KFaults::failCall("KItMeshPolygon::reset", 1, 2);
    const Printed printed = convertStrip();
    EXPECT_EQ("skipping invalid mesh polygon iterator!\nskipping invalid mesh polygon iterator!\n",
              printed.out);
    ASSERT_TRUE(osg::GroupPtr::dcast(node->getCore()) != osg::NullFC);
    EXPECT_EQ(0u, node->getNChildren());
}

TEST_F(TwoGroups, aGroupWithoutIndicesKeepsItsPlaceAsAnEmptyTransform)
{
    KFaults::failCall("KItMeshPolygon::vertexIndex", 1, 8); // both red quads
    const Printed printed = convertStrip();
    EXPECT_EQ("skipping geometry with no indices.\n", printed.out);
    ASSERT_EQ(2u, node->getNChildren());
    EXPECT_EQ("", nameOf(node->getChild(0)));
    EXPECT_TRUE(transformOf(node->getChild(0)) != osg::NullFC);
    EXPECT_FALSE(hasShadowMark(node->getChild(0)));
    ASSERT_TRUE(geometryOf(node->getChild(1)) != osg::NullFC);
    EXPECT_EQ(10u, geometryOf(node->getChild(1))->getPositions()->size())
        << "shared properties are still there";
    EXPECT_EQ(1u, loader.geometries().size());
}

TEST_F(TwoGroups, aLaterGroupWithoutIndicesTakesNothingFromTheEarlierOne)
{
    KFaults::failCall("KItMeshPolygon::normalIndex", 9, 8); // both blue quads
    const Printed printed = convertStrip();
    EXPECT_EQ("skipping geometry with no indices.\n", printed.out);
    ASSERT_EQ(2u, node->getNChildren());
    ASSERT_TRUE(geometryOf(node->getChild(0)) != osg::NullFC);
    EXPECT_EQ(10u, geometryOf(node->getChild(0))->getPositions()->size());
    EXPECT_TRUE(transformOf(node->getChild(1)) != osg::NullFC);
}

TEST_F(TwoGroups, aSingleGroupWithoutIndicesReturnsThePlaceholderItself)
{
    KFaults::failCall("KFnSet::KFnSet"); // red is skipped
    KFaults::failCall("KItMeshPolygon::vertexIndex", 1, 8);
    const Printed printed = convertStrip();
    EXPECT_EQ("skipping geometry with no indices.\n", printed.out);
    EXPECT_TRUE(transformOf(node) != osg::NullFC);
}

TEST_F(TwoGroups, aFaceWithoutVertexCountKeepsItsTypeWithoutALength)
{
    KFaults::failCall("KItMeshPolygon::polygonVertexCount");
    convertStrip();
    const osg::GeometryPtr red = geometryOf(node->getChild(0));
    EXPECT_EQ(2u, red->getTypes()->size());
    EXPECT_EQ(1u, red->getLengths()->size());
    EXPECT_EQ(8u, indicesOf(red).size());
}

TEST_F(TwoGroups, aCornerWithoutVertexOrNormalIsLeftOutAndTheFacesLengthStays)
{
    KFaults::failCall("KItMeshPolygon::vertexIndex", 2);
    KFaults::failCall("KItMeshPolygon::normalIndex", 2);
    convertStrip();
    const osg::GeometryPtr red = geometryOf(node->getChild(0));
    EXPECT_EQ(2u, red->getLengths()->size());
    EXPECT_EQ(4u, red->getLengths()->getValue(0));
    EXPECT_EQ((8u - 2u) * 2, indicesOf(red).size());
}

TEST_F(Mesh, theSameShadingGroupReportedTwiceIsUsedOnce)
{
    makeQuad("quadShape", makeTransform("quad"));
    KFaults::failCall("KFnDagNode::getConnectedSetsAndMembers twice");
    const Printed printed = printedBy([&] { convert("quadShape"); });
    EXPECT_EQ("", printed.out) << "the whole mesh belongs to the first: later sets are not looked at";

    KFaults::clear();
    makeStrip("stripShape", makeTransform("strip"), 2);
    assign("stripShape", "redSG", 0, 1);
    KFaults::failCall("KFnDagNode::getConnectedSetsAndMembers twice");
    osg::NodePtr node;
    const Printed redundant = printedBy([&] { node = convert("stripShape"); });
    EXPECT_EQ("ignoring redundant set 'redSG'\n", redundant.out);
    EXPECT_TRUE(geometryOf(node) != osg::NullFC);
}

TEST_F(Mesh, setsBehindOneThatHoldsTheWholeMeshAreIgnored)
{
    makeStrip("stripShape", makeTransform("strip"), 4);
    run("sets -renderable true -noSurfaceShader true -empty -name \"wholeSG\"");
    run("sets -renderable true -noSurfaceShader true -empty -name \"partSG\"");
    assign("stripShape", "partSG", 0, 1);
    assignWhole("stripShape", "wholeSG");
    const osg::NodePtr node = convert("stripShape");
    ASSERT_TRUE(geometryOf(node) != osg::NullFC);
    EXPECT_EQ(4u, geometryOf(node)->getLengths()->size());
}

class WholeAndPart : public Mesh
{
protected:
    WholeAndPart()
    {
        makeStrip("stripShape", makeTransform("strip"), 4);
        run("sets -renderable true -noSurfaceShader true -empty -name \"wholeSG\"");
        run("sets -renderable true -noSurfaceShader true -empty -name \"partSG\"");
        assign("stripShape", "partSG", 0, 1);
        assignWhole("stripShape", "wholeSG");
    }
};

TEST_F(WholeAndPart, aWholeMeshSetWhoseFacesCannotBeReadStillEndsTheMesh)
{
    KFaults::failCall("KItMeshPolygon::KItMeshPolygon");
    const osg::NodePtr node = convert("stripShape");
    ASSERT_TRUE(osg::GroupPtr::dcast(node->getCore()) != osg::NullFC);
    EXPECT_EQ(0u, node->getNChildren());
}

TEST_F(WholeAndPart, aWholeMeshSetThatCannotBeAttachedDoesNotEndTheMesh)
{
    KFaults::failCall("KFnSet::KFnSet");
    const osg::GeometryPtr geometry = geometryOf(convert("stripShape"));
    ASSERT_TRUE(geometry != osg::NullFC);
    EXPECT_EQ(2u, geometry->getLengths()->size());
}

TEST_F(Mesh, theGeometryNodeIsNamedWithThePartialPathName)
{
    for (const char* parent : {"a", "b"}) {
        makeStrip("part", makeMovedTransform(parent, 1, 0, 0), 1);
        assignWhole(std::string("|") + parent + "|part", "initialShadingGroup");
    }
    EXPECT_EQ("b|part", nameOf(convert("|b|part")));
}

// -- instances -------------------------------------------------------------------------------------

TEST_F(Mesh, theShadingGroupsAreThoseOfThePathsInstance)
{
    const KObject strip = makeStrip("stripShape", makeMovedTransform("a", 1, 0, 0), 3);
    addInstance(makeMovedTransform("b", 2, 0, 0), strip);
    assignWhole("|a|stripShape", "redSG");
    assign("|b|stripShape", "blueSG", 1, 1);
    EXPECT_EQ(3u, geometryOf(convert("|a|stripShape"))->getLengths()->size());
    EXPECT_EQ(1u, geometryOf(convert("|b|stripShape"))->getLengths()->size());
}

// -- shadow mark -----------------------------------------------------------------------------------

TEST_F(Mesh, everyGeometryNodeOfAMeshThatIsNotListedGetsTheShadowMark)
{
    makeStrip("stripShape", makeTransform("strip"), 2);
    assign("stripShape", "redSG", 0, 0);
    assign("stripShape", "blueSG", 1, 1);
    const osg::NodePtr group = convert("stripShape");
    EXPECT_FALSE(hasShadowMark(group));
    EXPECT_TRUE(hasShadowMark(group->getChild(0)));
    EXPECT_TRUE(hasShadowMark(group->getChild(1)));

    const osg::ValuePairPtr mark =
        osg::ValuePairPtr::dcast(group->getChild(0)->findAttachment(osg::ValuePair::getClassType(), 0));
    ASSERT_TRUE(mark != osg::NullFC);
    EXPECT_EQ("true", mark->get("ShadowMesh"));
    EXPECT_EQ(1u, mark->getKeys().size());
}

TEST_F(Mesh, aListedMeshGetsNoShadowMark)
{
    makeQuad("quadShape", makeTransform("quad"));
    loader.noShadowMeshes().insert("|quad|quadShape");
    EXPECT_FALSE(hasShadowMark(convert("quadShape")));
}
} // namespace
