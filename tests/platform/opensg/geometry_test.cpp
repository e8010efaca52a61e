#include "helpers.h"

#include <OpenSG/OSGFaceIterator.h>
#include <OpenSG/OSGGeometry.h>
#include <OpenSG/OSGPrimitiveIterator.h>
#include <OpenSG/OSGSimpleGeometry.h>
#include <OpenSG/OSGTriangleIterator.h>

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <array>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

using namespace osg;

// -- Properties -------------------------------------------------------------------------------

TEST(GeoProperty, convertsBetweenGenericAndStoredPositions)
{
    const New<GeoPositions4f> homogeneous;
    homogeneous->push_back(Pnt3f(1, 2, 3));
    EXPECT_EQ(Pnt4f(1, 2, 3, 1), homogeneous->getField()[0]);
    homogeneous->getField().push_back(Pnt4f(2, 4, 6, 2));
    EXPECT_EQ(Pnt3f(2, 4, 6), homogeneous->getValue(1));
    homogeneous->push_back(Pnt3f(Pnt4f(1, 1, 1, 9)));
    EXPECT_EQ(1, homogeneous->getField()[2][3]);
    const New<GeoPositions2f> flat;
    flat->push_back(Pnt3f(1, 2, 3));
    EXPECT_EQ(Pnt3f(1, 2, 0), flat->getValue(0));
}

TEST(GeoProperty, convertsNormalsStoredInWholeNumbers)
{
    const New<GeoNormals3s> shorts;
    const New<GeoNormals3b> bytes;
    shorts->getField().push_back(Vec3s(32767, -32768, 0));
    EXPECT_EQ(Vec3f(1, -1, 1.f / 65535), shorts->getValue(0));
    bytes->getField().push_back(Vec3b(127, -128, 0));
    EXPECT_EQ(Vec3f(1, -1, 1.f / 255), bytes->getValue(0));
    bytes->push_back(Vec3f(1, -1, 0));
    EXPECT_EQ(Vec3b(127, -128, bytes->getField()[1][2]), bytes->getField()[1]);
    EXPECT_NEAR(0, bytes->getValue(1)[2], 1.f / 255);
    bytes->push_back(Vec3f(5, -5, 0));
    EXPECT_EQ(127, bytes->getField()[2][0]);
    EXPECT_EQ(-128, bytes->getField()[2][1]);
}

TEST(GeoProperty, convertsColours)
{
    const New<GeoColors4f> floats;
    floats->push_back(Color3f(.1f, .2f, .3f));
    EXPECT_EQ(Color4f(.1f, .2f, .3f, 1), floats->getField()[0]);
    const New<GeoColors3ub> bytes;
    bytes->push_back(Color3f(1, 0, 2));
    EXPECT_EQ(255, bytes->getField()[0][0]);
    EXPECT_EQ(255, bytes->getField()[0][2]);
    EXPECT_EQ(Color3f(1, 0, 1), bytes->getValue(0));
    const New<GeoColors4ub> withAlpha;
    withAlpha->push_back(Color3f(0, 1, 0));
    EXPECT_EQ(255, withAlpha->getField()[0][3]);
}

TEST(GeoProperty, convertsTextureCoordinates)
{
    const New<GeoTexCoords1f> one;
    const New<GeoTexCoords3f> three;
    one->push_back(Vec2f(.5f, .7f));
    three->push_back(Vec2f(.5f, .7f));
    EXPECT_EQ(Vec2f(.5f, 0), one->getValue(0));
    EXPECT_EQ(Vec3f(.5f, .7f, 0), three->getField()[0]);
}

TEST(GeoProperty, isEditedThroughTheAbstractHandle)
{
    const New<GeoIndicesUI16> concrete;
    const GeoIndicesPtr indices = concrete.get();
    indices->push_back(5);
    indices->addValue(6);
    EXPECT_TRUE(indices->insertValue(4, 0));
    EXPECT_FALSE(indices->insertValue(9, 7));
    indices->setValue(7, 2);
    EXPECT_EQ(3u, indices->size());
    EXPECT_EQ(4, concrete->getField()[0]);
    EXPECT_EQ(7u, indices->getValue(2));
    EXPECT_EQ(1u, indices->getDimension());
    EXPECT_EQ(UInt32(GL_UNSIGNED_SHORT), indices->getFormat());
    EXPECT_EQ(2u, indices->getFormatSize());
    EXPECT_EQ(reinterpret_cast<UInt8*>(concrete->getField().data()), indices->getData());
    const Kept<GeoIndicesPtr> copy(indices->clone());
    indices->clear();
    EXPECT_EQ(0u, indices->getSize());
    EXPECT_EQ(3u, copy->getSize());
    EXPECT_EQ(GeoIndicesUI16::getClassType().getId(), copy->getTypeId());
    indices->resize(2);
    EXPECT_EQ(0u, indices->getValue(1));
}

// -- Iterators --------------------------------------------------------------------------------

namespace
{

/// Primitive as (type, corners).
struct Primitive {
    UInt8 type;
    UInt32 length;
};

} // namespace

/// Geometry of the given primitives, as many positions as corners, and the indices unless there are none.
static GeometryPtr makeGeometry(const std::vector<Primitive>& primitives,
                                const std::vector<UInt32>& indices = {},
                                const std::vector<UInt16>& mapping = {}, UInt32 positionCount = 0)
{
    const GeometryPtr geometry = Geometry::create();
    const GeoPTypesUI8Ptr types = GeoPTypesUI8::create();
    const GeoPLengthsUI32Ptr lengths = GeoPLengthsUI32::create();
    const GeoPositions3fPtr positions = GeoPositions3f::create();
    UInt32 corners = 0;
    for (const Primitive& primitive : primitives) {
        types->push_back(primitive.type);
        lengths->push_back(primitive.length);
        corners += primitive.length;
    }
    for (UInt32 i = 0; i < (positionCount ? positionCount : corners); ++i) {
        positions->push_back(Pnt3f(Real32(i), 0, 0));
    }
    const CPEditor edit(geometry);
    geometry->setTypes(types);
    geometry->setLengths(lengths);
    geometry->setPositions(positions);
    if (!indices.empty()) {
        const GeoIndicesUI32Ptr property = GeoIndicesUI32::create();
        property->getField().assign(indices.begin(), indices.end());
        geometry->setIndices(property);
    }
    geometry->getIndexMapping().assign(mapping.begin(), mapping.end());
    return geometry;
}

/// "(0,1,2)(3,4,5)": position indices of all triangles.
static std::string triangles(const GeometryPtr& geometry)
{
    std::ostringstream text;
    for (TriangleIterator it = geometry->beginTriangles(); it != geometry->endTriangles(); ++it) {
        text << "(" << it.getPositionIndex(0) << "," << it.getPositionIndex(1) << ","
             << it.getPositionIndex(2) << ")";
    }
    return text.str();
}

static std::string faces(const GeometryPtr& geometry)
{
    std::ostringstream text;
    for (FaceIterator it = geometry->beginFaces(); it != geometry->endFaces(); ++it) {
        const char* separator = "(";
        for (UInt32 i = 0; i < it.getLength(); ++i) {
            text << separator << it.getPositionIndex(Int32(i));
            separator = ",";
        }
        text << ")";
    }
    return text.str();
}

namespace
{

struct PrimitiveRow {
    const char* name;
    Primitive primitive;
    const char* triangles;
    const char* faces;
};

void PrintTo(const PrimitiveRow& row, std::ostream* out)
{
    *out << row.name;
}

class PrimitiveTypes : public testing::TestWithParam<PrimitiveRow>
{
};

} // namespace

TEST_P(PrimitiveTypes, splitIntoTrianglesAndFaces)
{
    const PrimitiveRow& row = GetParam();
    // A triangle behind shows that corners are counted on.
    const Kept<GeometryPtr> geometry(makeGeometry({row.primitive, {GL_TRIANGLES, 3}}));
    const UInt32 n = row.primitive.length;
    const std::string behind =
        "(" + std::to_string(n) + "," + std::to_string(n + 1) + "," + std::to_string(n + 2) + ")";
    EXPECT_EQ(row.triangles + behind, triangles(geometry));
    EXPECT_EQ(row.faces + behind, faces(geometry));
}

INSTANTIATE_TEST_SUITE_P(
    All, PrimitiveTypes,
    testing::Values(
        PrimitiveRow{"points", {GL_POINTS, 5}, "", ""}, PrimitiveRow{"lines", {GL_LINES, 4}, "", ""},
        PrimitiveRow{"lineLoop", {GL_LINE_LOOP, 4}, "", ""},
        PrimitiveRow{"lineStrip", {GL_LINE_STRIP, 4}, "", ""},
        PrimitiveRow{"triangles", {GL_TRIANGLES, 6}, "(0,1,2)(3,4,5)", "(0,1,2)(3,4,5)"},
        PrimitiveRow{"trianglesCut", {GL_TRIANGLES, 5}, "(0,1,2)", "(0,1,2)"},
        PrimitiveRow{"trianglesShort", {GL_TRIANGLES, 2}, "", ""},
        PrimitiveRow{"triangleStrip",
                     {GL_TRIANGLE_STRIP, 6},
                     "(0,1,2)(2,1,3)(2,3,4)(4,3,5)",
                     "(0,1,2)(2,1,3)(2,3,4)(4,3,5)"},
        PrimitiveRow{"triangleFan", {GL_TRIANGLE_FAN, 5}, "(0,1,2)(0,2,3)(0,3,4)", "(0,1,2)(0,2,3)(0,3,4)"},
        PrimitiveRow{"fanShort", {GL_TRIANGLE_FAN, 2}, "", ""},
        PrimitiveRow{"quads", {GL_QUADS, 8}, "(0,1,2)(0,2,3)(4,5,6)(4,6,7)", "(0,1,2,3)(4,5,6,7)"},
        PrimitiveRow{"quadsOfThree", {GL_QUADS, 3}, "(0,1,2)", "(0,1,2)"},
        PrimitiveRow{"quadsOfFive", {GL_QUADS, 5}, "(0,1,2)(0,2,3)", "(0,1,2,3)"},
        PrimitiveRow{"quadsOfSeven", {GL_QUADS, 7}, "(0,1,2)(0,2,3)(4,5,6)", "(0,1,2,3)(4,5,6)"},
        PrimitiveRow{"quadStrip", {GL_QUAD_STRIP, 6}, "(0,1,2)(2,1,3)(2,3,4)(4,3,5)", "(0,1,3,2)(2,3,5,4)"},
        PrimitiveRow{"polygonOfThree", {GL_POLYGON, 3}, "(0,1,2)", "(0,1,2)"},
        PrimitiveRow{"polygonOfFour", {GL_POLYGON, 4}, "(0,1,2)(0,2,3)", "(0,1,2,3)"},
        PrimitiveRow{"polygonOfFive", {GL_POLYGON, 5}, "(0,1,2)(0,2,3)(0,3,4)", "(0,1,2)(0,2,3)(0,3,4)"},
        PrimitiveRow{"empty", {GL_POLYGON, 0}, "", ""}),
    [](const testing::TestParamInfo<PrimitiveRow>& row) { return std::string(row.param.name); });

TEST(TriangleIterator, leavesOutDegenerateTrianglesOfStripsButTheFirst)
{
    const Kept<GeometryPtr> geometry(
        makeGeometry({{GL_TRIANGLE_STRIP, 6}, {GL_POLYGON, 4}}, {0, 0, 1, 2, 2, 3, 5, 5, 6, 7}, {}, 10));
    EXPECT_EQ("(0,0,1)(1,0,2)(5,5,6)(5,6,7)", triangles(geometry));
}

TEST(TriangleIterator, warnsOfUnknownTypes)
{
    const Kept<GeometryPtr> geometry(makeGeometry({{200, 3}, {GL_TRIANGLES, 3}}));
    testing::internal::CaptureStderr();
    EXPECT_EQ("(3,4,5)", triangles(geometry));
    EXPECT_NE(std::string::npos, testing::internal::GetCapturedStderr().find("unknown primitive type"));
}

TEST(TriangleIterator, countsSeeksAndNamesThePrimitive)
{
    const Kept<GeometryPtr> geometry(makeGeometry({{GL_QUADS, 4}, {GL_POINTS, 2}, {GL_POLYGON, 5}}));
    TriangleIterator it(geometry.get());
    EXPECT_EQ(0, it.getIndex());
    EXPECT_EQ(UInt32(GL_QUADS), it.getType());
    it.seek(3);
    EXPECT_EQ(3, it.getIndex());
    EXPECT_EQ(UInt32(GL_POLYGON), it.getType());
    EXPECT_EQ(5u, it.getLength());
    EXPECT_EQ(8, it.getPositionIndex(1));
    EXPECT_EQ(Pnt3f(8, 0, 0), it.getPosition(1));
    EXPECT_EQ(geometry.get(), it.getGeometry());
    it.seek(100);
    EXPECT_TRUE(it.isAtEnd());
    EXPECT_EQ(geometry->endTriangles(), it);
    it.seek(0);
    EXPECT_EQ(geometry->beginTriangles(), it);
}

TEST(TriangleIterator, startsFromNodesToo)
{
    const Kept<NodePtr> box(makeBox(1, 1, 1, 1, 1, 1));
    int count = 0;
    for (TriangleIterator it(box.get()); !it.isAtEnd(); ++it) {
        ++count;
    }
    EXPECT_EQ(12, count);
    const Kept<NodePtr> group(makeGroupNode());
    EXPECT_TRUE(TriangleIterator(group.get()).isAtEnd());
    EXPECT_TRUE(TriangleIterator(NodePtr()).isAtEnd());
    EXPECT_TRUE(TriangleIterator().isAtEnd());
}

TEST(PrimitiveIterator, walksOverEveryPrimitive)
{
    const Kept<GeometryPtr> geometry(makeGeometry({{GL_POINTS, 2}, {GL_LINES, 4}, {77, 1}}));
    std::string text;
    for (PrimitiveIterator it = geometry->beginPrimitives(); it != geometry->endPrimitives(); ++it) {
        text += std::to_string(it.getIndex()) + ":" + std::to_string(it.getType()) + "/" +
                std::to_string(it.getLength()) + "@" + std::to_string(it.getPositionIndex(0)) + " ";
    }
    EXPECT_EQ("0:0/2@0 1:1/4@2 2:77/1@6 ", text);
    PrimitiveIterator it(geometry.get());
    it.seek(1);
    EXPECT_EQ(-1, it.getIndexIndex(0));
    EXPECT_EQ(-1, it.getNormalIndex(0));
    EXPECT_EQ(Vec3f(0, 0, 0), it.getNormal(0));
}

// -- Index rule -------------------------------------------------------------------------------

TEST(IndexMapping, theLastEntryWithTheAttributeWins)
{
    const New<Geometry> geometry;
    EXPECT_EQ(-1, geometry->calcMappingIndex(Geometry::MapPosition));
    geometry->getIndexMapping().push_back(Geometry::MapPosition | Geometry::MapNormal);
    geometry->getIndexMapping().push_back(Geometry::MapTexCoords);
    geometry->getIndexMapping().push_back(Geometry::MapNormal);
    EXPECT_EQ(0, geometry->calcMappingIndex(Geometry::MapPosition));
    EXPECT_EQ(2, geometry->calcMappingIndex(Geometry::MapNormal));
    EXPECT_EQ(1, geometry->calcMappingIndex(Geometry::MapTexCoords));
    EXPECT_EQ(-1, geometry->calcMappingIndex(Geometry::MapColor));
    EXPECT_EQ(16, geometry->getIndexMapping(1));
}

TEST(IndexMapping, eachAttributeHasItsOwnIndexPerCorner)
{
    const Kept<GeometryPtr> geometry(makeGeometry(
        {{GL_POLYGON, 3}}, {3, 0, 5, 2, 1, 6, 1, 0, 7},
        {Geometry::MapPosition, Geometry::MapNormal | Geometry::MapColor, Geometry::MapTexCoords}, 4));
    const GeoNormals3fPtr normals = GeoNormals3f::create();
    normals->push_back(Vec3f(0, 0, 1));
    normals->push_back(Vec3f(0, 1, 0));
    const GeoTexCoords2fPtr texCoords = GeoTexCoords2f::create();
    texCoords->resize(8);
    texCoords->setValue(Vec2f(.5f, .25f), 6);
    const GeoTexCoords2fPtr unmapped = GeoTexCoords2f::create();
    unmapped->resize(8);
    {
        const CPEditor edit(geometry.get());
        geometry->setNormals(normals);
        geometry->setTexCoords(texCoords);
        geometry->setTexCoords1(unmapped);
    }
    const TriangleIterator it(geometry.get());
    EXPECT_EQ(2, it.getPositionIndex(1));
    EXPECT_EQ(1, it.getNormalIndex(1));
    EXPECT_EQ(6, it.getTexCoordsIndex(1));
    EXPECT_EQ(3, it.getIndexIndex(1));
    EXPECT_EQ(Pnt3f(2, 0, 0), it.getPosition(1));
    EXPECT_EQ(Vec3f(0, 1, 0), it.getNormal(1));
    EXPECT_EQ(Vec2f(.5f, .25f), it.getTexCoords(1));
    EXPECT_EQ(-1, it.getColorIndex(0));      // mapped, but there are no colours
    EXPECT_EQ(-1, it.getTexCoordsIndex1(0)); // there, but not mapped
    EXPECT_EQ(Vec2f(0, 0), it.getTexCoords1(0));
}

TEST(IndexMapping, withoutMappingOneIndexServesAllAttributes)
{
    const Kept<GeometryPtr> geometry(makeGeometry({{GL_TRIANGLES, 3}}, {2, 0, 1}, {}, 3));
    const GeoNormals3fPtr normals = GeoNormals3f::create();
    normals->resize(3);
    {
        const CPEditor edit(geometry.get());
        geometry->setNormals(normals);
    }
    const TriangleIterator it(geometry.get());
    EXPECT_EQ(2, it.getPositionIndex(0));
    EXPECT_EQ(0, it.getNormalIndex(1));
}

TEST(Iterators, staySafeOnDamagedGeometry)
{
    // Indices beyond the positions, lengths beyond the indices, more types than lengths.
    const Kept<GeometryPtr> geometry(
        makeGeometry({{GL_TRIANGLES, 3}, {GL_POLYGON, 0x7fffffff}}, {0, 1, 900, 3, 0xffffffffu, 1}, {}, 4));
    geometry->getTypes()->push_back(GL_QUADS);
    TriangleIterator it(geometry.get());
    EXPECT_EQ(Pnt3f(0, 0, 0), it.getPosition(2));
    EXPECT_EQ(900, it.getPositionIndex(2));
    ++it;
    EXPECT_EQ(3u, it.getLength());
    EXPECT_EQ(Pnt3f(0, 0, 0), it.getPosition(1));
    ++it;
    EXPECT_TRUE(it.isAtEnd());
}

TEST(Iterators, withoutLengthsAPrimitiveHasAllCorners)
{
    const Kept<GeometryPtr> geometry(makeGeometry({{GL_POLYGON, 4}}));
    const CPEditor edit(geometry.get());
    geometry->setLengths(NullFC);
    EXPECT_EQ("(0,1,2)(0,2,3)", triangles(geometry));
    geometry->setTypes(NullFC);
    EXPECT_EQ("", triangles(geometry));
}

TEST(Iterators, withoutIndicesAndPositionsTheLongestPropertyTellsTheCorners)
{
    const Kept<GeometryPtr> geometry(makeGeometry({{GL_TRIANGLES, 0xfffffffeu}}, {}, {}, 1));
    const GeoNormals3fPtr normals = GeoNormals3f::create();
    normals->resize(6);
    normals->setValue(Vec3f(0, 0, 1), 5);
    const CPEditor edit(geometry.get());
    geometry->setPositions(NullFC);
    EXPECT_EQ("", triangles(geometry));
    geometry->setNormals(normals);
    EXPECT_EQ("(-1,-1,-1)(-1,-1,-1)", triangles(geometry));
    TriangleIterator it(geometry.get());
    ++it;
    EXPECT_EQ(5, it.getNormalIndex(2));
    EXPECT_EQ(Vec3f(0, 0, 1), it.getNormal(2));
    EXPECT_EQ(Pnt3f(0, 0, 0), it.getPosition(2));
}

TEST(Iterators, anEndCanBeSetBackToTheBegin)
{
    const Kept<GeometryPtr> geometry(makeGeometry({{GL_QUADS, 4}, {GL_TRIANGLES, 9}}));
    TriangleIterator triangle = geometry->endTriangles();
    EXPECT_TRUE(triangle.isAtEnd());
    triangle.seek(4);
    EXPECT_EQ(10, triangle.getPositionIndex(0));
    ++triangle;
    EXPECT_EQ(geometry->endTriangles(), triangle);
    triangle.setToBegin();
    EXPECT_EQ(geometry->beginTriangles(), triangle);
    EXPECT_EQ(0, triangle.getIndex());
    EXPECT_EQ(2, triangle.getPositionIndex(2));
    FaceIterator face = geometry->endFaces();
    face.setToBegin();
    EXPECT_EQ(3, face.getPositionIndex(3));
    PrimitiveIterator primitive = geometry->endPrimitives();
    primitive.seek(1);
    EXPECT_EQ(9u, primitive.getLength());
    primitive.setToEnd();
    EXPECT_EQ(geometry->endPrimitives(), primitive);
}

TEST(Iterators, endsOfDifferentGeometriesDiffer)
{
    const Kept<GeometryPtr> one(makeGeometry({{GL_QUADS, 4}}));
    const Kept<GeometryPtr> other(makeGeometry({{GL_QUADS, 4}}));
    EXPECT_NE(one->endTriangles(), other->endTriangles());
    EXPECT_NE(one->endPrimitives(), other->endPrimitives());
    EXPECT_NE(one->beginFaces(), one->endFaces());
}

namespace
{

/// One corner layout of three: values by indices of each attribute, by one index, or without indices.
enum class Corners { MultiIndexed, SingleIndexed, NotIndexed };

class StoredForms : public testing::TestWithParam<std::tuple<Corners, bool>>
{
};

} // namespace

/// The values of a corner are the same in whichever types the properties store them.
TEST_P(StoredForms, giveTheValuesOfEveryCorner)
{
    const Corners corners = std::get<0>(GetParam());
    const bool generic = std::get<1>(GetParam());
    const New<Geometry> geometry;
    const GeoPTypesPtr types(GeoPTypesUI8::create());
    const GeoPLengthsPtr lengths =
        generic ? GeoPLengthsPtr(GeoPLengthsUI32::create()) : GeoPLengthsUI8::create();
    const GeoPositionsPtr positions =
        generic ? GeoPositionsPtr(GeoPositions3f::create()) : GeoPositions4f::create();
    const GeoNormalsPtr normals = generic ? GeoNormalsPtr(GeoNormals3f::create()) : GeoNormals3s::create();
    const GeoColorsPtr colors = generic ? GeoColorsPtr(GeoColors3f::create()) : GeoColors4ub::create();
    const GeoTexCoordsPtr texCoords =
        generic ? GeoTexCoordsPtr(GeoTexCoords2f::create()) : GeoTexCoords4f::create();
    types->push_back(GL_TRIANGLE_FAN);
    lengths->push_back(4);
    for (UInt32 i = 0; i < 4; ++i) {
        positions->push_back(Pnt3f(Real32(i), Real32(i) * 2, 7));
        normals->push_back(Vec3f(0, i == 1 ? 1.f : 0.f, i == 1 ? 0.f : 1.f));
        colors->push_back(Color3f(i == 2 ? 1.f : 0.f, 0, 1));
        texCoords->push_back(Vec2f(Real32(i) / 4, .5f));
    }
    const CPEditor edit(geometry.get());
    geometry->setTypes(types);
    geometry->setLengths(lengths);
    geometry->setPositions(positions);
    geometry->setNormals(normals);
    geometry->setColors(colors);
    geometry->setTexCoords7(texCoords);
    // Where there are indices, corner k has value 3 - k, of texture coordinates value k.
    if (corners != Corners::NotIndexed) {
        const GeoIndicesPtr indices =
            generic ? GeoIndicesPtr(GeoIndicesUI32::create()) : GeoIndicesUI16::create();
        for (UInt32 k = 0; k < 4; ++k) {
            indices->push_back(3 - k);
            if (corners == Corners::MultiIndexed) {
                indices->push_back(k);
            }
        }
        geometry->setIndices(indices);
    }
    if (corners == Corners::MultiIndexed) {
        geometry->getIndexMapping().push_back(Geometry::MapPosition | Geometry::MapNormal |
                                              Geometry::MapColor);
        geometry->getIndexMapping().push_back(Geometry::MapTexCoords7);
    }

    UInt32 triangle = 0;
    for (TriangleIterator it = geometry->beginTriangles(); it != geometry->endTriangles(); ++it, ++triangle) {
        const UInt32 fan[3] = {0, triangle + 1, triangle + 2};
        for (Int32 which = 0; which < 3; ++which) {
            const UInt32 corner = fan[which];
            const UInt32 value = corners == Corners::NotIndexed ? corner : 3 - corner;
            const UInt32 texCoord = corners == Corners::SingleIndexed ? 3 - corner : corner;
            EXPECT_EQ(Int32(value), it.getPositionIndex(which));
            EXPECT_EQ(Int32(texCoord), it.getTexCoordsIndex7(which));
            EXPECT_EQ(Pnt3f(Real32(value), Real32(value) * 2, 7), it.getPosition(which));
            EXPECT_TRUE(
                it.getNormal(which).equals(Vec3f(0, value == 1 ? 1.f : 0.f, value == 1 ? 0.f : 1.f), 1e-4f));
            EXPECT_EQ(Color3f(value == 2 ? 1.f : 0.f, 0, 1), it.getColor(which));
            EXPECT_EQ(Vec2f(Real32(texCoord) / 4, .5f), it.getTexCoords7(which));
            EXPECT_EQ(-1, it.getTexCoordsIndex(which));
        }
    }
    EXPECT_EQ(2u, triangle);
}

INSTANTIATE_TEST_SUITE_P(All, StoredForms,
                         testing::Combine(testing::Values(Corners::MultiIndexed, Corners::SingleIndexed,
                                                          Corners::NotIndexed),
                                          testing::Bool()));

/// Triangles of a primitive, written down from the meaning of the types.
static void expand(UInt8 type, const std::vector<UInt32>& corners, std::vector<std::array<UInt32, 3>>& out)
{
    const std::size_t n = corners.size();
    const auto add = [&](std::size_t a, std::size_t b, std::size_t c) {
        out.push_back({corners[a], corners[b], corners[c]});
    };
    const auto degenerate = [&](std::size_t i) {
        return corners[i] == corners[i + 1] || corners[i + 1] == corners[i + 2] ||
               corners[i] == corners[i + 2];
    };
    if (type == GL_TRIANGLES) {
        for (std::size_t i = 0; i + 3 <= n; i += 3) {
            add(i, i + 1, i + 2);
        }
    } else if (type == GL_TRIANGLE_STRIP || type == GL_QUAD_STRIP) {
        for (std::size_t i = 0; i + 3 <= n; ++i) {
            if (i == 0 || !degenerate(i)) {
                i % 2 == 0 ? add(i, i + 1, i + 2) : add(i + 1, i, i + 2);
            }
        }
    } else if (type == GL_TRIANGLE_FAN || type == GL_POLYGON) {
        for (std::size_t i = 2; i < n; ++i) {
            add(0, i - 1, i);
        }
    } else if (type == GL_QUADS) {
        for (std::size_t i = 0; i + 3 <= n; i += 4) {
            add(i, i + 1, i + 2);
            if (i + 3 < n) {
                add(i, i + 2, i + 3);
            }
        }
    }
}

TEST(TriangleIterator, agreesWithAnIndependentExpansion)
{
    const bool ok = rc::check([] {
        const auto sizes = *rc::gen::container<std::vector<std::pair<UInt8, UInt8>>>(
            rc::gen::pair(rc::gen::inRange<UInt8>(0, 10), rc::gen::inRange<UInt8>(0, 9)));
        const UInt32 stride = *rc::gen::inRange<UInt32>(1, 4);
        std::vector<Primitive> primitives;
        UInt32 corners = 0;
        for (const auto& size : sizes) {
            primitives.push_back({size.first, size.second});
            corners += size.second;
        }
        const bool indexed = *rc::gen::arbitrary<bool>() && corners > 0;
        std::vector<UInt32> indices;
        std::vector<UInt16> mapping;
        UInt32 place = 0;
        if (indexed) {
            indices =
                *rc::gen::container<std::vector<UInt32>>(corners * stride, rc::gen::inRange<UInt32>(0, 5));
            place = *rc::gen::inRange<UInt32>(0, stride);
            for (UInt32 i = 0; i < stride; ++i) {
                mapping.push_back(i == place ? Geometry::MapPosition : Geometry::MapTexCoords3);
            }
        }
        std::vector<std::array<UInt32, 3>> expected;
        UInt32 first = 0;
        for (const Primitive& primitive : primitives) {
            std::vector<UInt32> values;
            for (UInt32 k = first; k < first + primitive.length; ++k) {
                values.push_back(indexed ? indices[k * stride + place] : k);
            }
            expand(primitive.type, values, expected);
            first += primitive.length;
        }

        const Kept<GeometryPtr> geometry(makeGeometry(primitives, indices, mapping, corners + 5));
        std::vector<std::array<UInt32, 3>> found;
        for (TriangleIterator it(geometry.get()); !it.isAtEnd(); ++it) {
            RC_ASSERT(it.getIndex() == Int32(found.size()));
            found.push_back({UInt32(it.getPositionIndex(0)), UInt32(it.getPositionIndex(1)),
                             UInt32(it.getPositionIndex(2))});
        }
        RC_ASSERT(found == expected);
    });
    EXPECT_TRUE(ok);
}

// -- Geometry ---------------------------------------------------------------------------------

TEST(Geometry, cloneCopiesPropertiesAndSharesTheMaterial)
{
    const Kept<GeometryPtr> box(makeBoxGeo(1, 1, 1, 1, 1, 1));
    const Kept<GeometryPtr> copy(box->clone());
    EXPECT_EQ(box->getMaterial(), copy->getMaterial());
    EXPECT_NE(box->getPositions(), copy->getPositions());
    EXPECT_EQ(1, box->getPositions().getRefCount());
    EXPECT_EQ(1, copy->getPositions().getRefCount());
    EXPECT_EQ(0, copy->getIndices()->findParent(copy.get()));
    EXPECT_EQ(-1, box->getIndices()->findParent(copy.get()));
    EXPECT_EQ(triangles(box), triangles(copy));
    EXPECT_EQ(1u, copy->getIndexMapping().size());
    EXPECT_TRUE(copy->getColors() == NullFC);
}

TEST(Geometry, namesPrimitiveTypes)
{
    EXPECT_STREQ("GL_POLYGON", Geometry::mapType(GL_POLYGON));
    EXPECT_STREQ("GL_POINTS", Geometry::mapType(0));
    EXPECT_NE(nullptr, Geometry::mapType(255));
}

TEST(SimpleGeometry, boxHasOneStripPerFace)
{
    const Kept<GeometryPtr> box(makeBoxGeo(2, 4, 6, 1, 1, 1));
    EXPECT_EQ(6u, box->getTypes()->size());
    EXPECT_EQ(UInt8(GL_TRIANGLE_STRIP), box->getTypes()->getValue(5));
    EXPECT_EQ(4u, box->getLengths()->getValue(0));
    EXPECT_EQ(24u, box->getPositions()->size());
    EXPECT_EQ(24u, box->getNormals()->size());
    EXPECT_EQ(24u, box->getTexCoords()->size());
    EXPECT_EQ(24u, box->getIndices()->size());
    ASSERT_EQ(1u, box->getIndexMapping().size());
    EXPECT_EQ(19, box->getIndexMapping(0));
    EXPECT_EQ(getDefaultMaterial(), box->getMaterial());
    const UInt32 order[4] = {2, 0, 3, 1};
    for (UInt32 i = 0; i < 4; ++i) {
        EXPECT_EQ(4 + order[i], box->getIndices()->getValue(4 + i));
    }
    const Vec3f normals[6] = {Vec3f(0, 0, 1),  Vec3f(0, 0, -1), Vec3f(1, 0, 0),
                              Vec3f(-1, 0, 0), Vec3f(0, 1, 0),  Vec3f(0, -1, 0)};
    for (UInt32 face = 0; face < 6; ++face) {
        EXPECT_EQ(normals[face], box->getNormals()->getValue(face * 4));
    }
    EXPECT_EQ(Vec2f(1, 0), box->getTexCoords()->getValue(1));
    EXPECT_EQ(Vec2f(0, 1), box->getTexCoords()->getValue(2));
}

TEST(SimpleGeometry, trianglesOfABoxFaceOutwards)
{
    const Kept<GeometryPtr> box(makeBoxGeo(2, 4, 6, 2, 3, 4));
    int count = 0;
    for (TriangleIterator it(box.get()); !it.isAtEnd(); ++it, ++count) {
        const Vec3f normal =
            (it.getPosition(1) - it.getPosition(0)).cross(it.getPosition(2) - it.getPosition(0));
        EXPECT_GT(normal.dot(it.getNormal(0)), 0);
        EXPECT_GT(normal.dot(it.getPosition(0).subZero()), 0);
    }
    EXPECT_EQ(2 * 2 * (2 * 3 + 4 * 3 + 2 * 4), count);
}

TEST(SimpleGeometry, planeLiesCentredInXY)
{
    const Kept<NodePtr> plane(makePlane(4, 2, 2, 1));
    const GeometryPtr geometry = GeometryPtr::dcast(plane->getCore());
    EXPECT_EQ(1u, geometry->getTypes()->size());
    EXPECT_EQ(6u, geometry->getLengths()->getValue(0));
    EXPECT_EQ(Pnt3f(-2, -1, 0), geometry->getPositions()->getValue(0));
    EXPECT_EQ(Pnt3f(2, 1, 0), geometry->getPositions()->getValue(5));
    EXPECT_EQ(Vec3f(0, 0, 1), geometry->getNormals()->getValue(3));
}
