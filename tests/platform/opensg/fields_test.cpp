#include "helpers.h"

#include <OpenSG/OSGBlendChunk.h>
#include <OpenSG/OSGChunkMaterial.h>
#include <OpenSG/OSGComponentTransform.h>
#include <OpenSG/OSGGeometry.h>
#include <OpenSG/OSGMaterialChunk.h>
#include <OpenSG/OSGMaterialGroup.h>
#include <OpenSG/OSGMaterialPool.h>
#include <OpenSG/OSGSimpleAttachments.h>
#include <OpenSG/OSGSimpleMaterial.h>
#include <OpenSG/OSGStringAttributeMap.h>
#include <OpenSG/OSGSwitch.h>
#include <OpenSG/OSGTransform3D.h>

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

using namespace osg;

// -- Reflection -------------------------------------------------------------------------------

namespace
{

struct FieldRow {
    UInt32 id;
    const char* name;
    const char* type;
    const char* value; ///< text of the default; null: not compared
    bool internal;
};

struct TypeRow {
    const char* name;
    const char* parent;
    const char* group;
    bool abstract;
    std::vector<FieldRow> fields; ///< the class's own
};

void PrintTo(const TypeRow& row, std::ostream* out)
{
    *out << row.name;
}

} // namespace

static const TypeRow typeRows[] = {
    {"FieldContainer", nullptr, "FieldContainer", true, {}},
    {"AttachmentContainer",
     "FieldContainer",
     "AttachmentContainer",
     true,
     {{1, "attachments", "SFAttachmentMap", "", false}}},
    {"Attachment",
     "FieldContainer",
     "Attachment",
     true,
     {{1, "parents", "MFFieldContainerPtr", "", true}, {2, "internal", "SFBool", "FALSE", false}}},
    {"Node",
     "AttachmentContainer",
     "Node",
     false,
     {{2, "volume", "SFDynamicVolume", nullptr, false},
      {3, "travMask", "SFUInt32", "4294967295", false},
      {4, "parent", "SFNodePtr", "NULL", true},
      {5, "children", "MFNodePtr", "", false},
      {6, "core", "SFNodeCorePtr", "NULL", false}}},
    {"NodeCore", "AttachmentContainer", "NodeCore", true, {{2, "parents", "MFNodePtr", "", true}}},
    {"Group", "NodeCore", "Group", false, {}},
    {"Transform",
     "Group",
     "Transform",
     false,
     {{3, "matrix", "SFMatrix", "1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1", false}}},
    {"ComponentTransform",
     "Transform",
     "ComponentTransform",
     false,
     {{4, "center", "SFVec3f", "0 0 0", false},
      {5, "rotation", "SFQuaternion", "0 0 1 0", false},
      {6, "scale", "SFVec3f", "1 1 1", false},
      {7, "scaleOrientation", "SFQuaternion", "0 0 1 0", false},
      {8, "translation", "SFVec3f", "0 0 0", false}}},
    {"Transform3D",
     "Transform",
     "Transform3D",
     false,
     {{4, "shear", "SFVec3f", "0 0 0", false},
      {5, "rotation", "SFQuaternion", "0 0 1 0", false},
      {6, "rotationOrientation", "SFQuaternion", "0 0 1 0", false},
      {7, "rotatePivot", "SFPnt3f", "0 0 0", false},
      {8, "rotatePivotTranslation", "SFVec3f", "0 0 0", false},
      {9, "scale", "SFVec3f", "1 1 1", false},
      {10, "scalePivot", "SFPnt3f", "0 0 0", false},
      {11, "scalePivotTranslation", "SFVec3f", "0 0 0", false},
      {12, "translation", "SFVec3f", "0 0 0", false}}},
    {"Switch", "Group", "Switch", false, {{3, "choice", "SFInt32", "-1", false}}},
    {"MaterialGroup", "Group", "MaterialGroup", false, {{3, "material", "SFMaterialPtr", "NULL", false}}},
    {"MaterialPool", "Group", "MaterialPool", false, {{3, "materials", "MFMaterialPtr", "", false}}},
    {"Drawable", "NodeCore", "Drawable", true, {}},
    {"MaterialDrawable",
     "Drawable",
     "MaterialDrawable",
     true,
     {{3, "material", "SFMaterialPtr", "NULL", false}}},
    {"Geometry",
     "MaterialDrawable",
     "Geometry",
     false,
     {{4, "types", "SFGeoPTypesPtr", "NULL", false},
      {5, "lengths", "SFGeoPLengthsPtr", "NULL", false},
      {6, "positions", "SFGeoPositionsPtr", "NULL", false},
      {7, "normals", "SFGeoNormalsPtr", "NULL", false},
      {8, "colors", "SFGeoColorsPtr", "NULL", false},
      {9, "secondaryColors", "SFGeoColorsPtr", "NULL", false},
      {10, "texCoords", "SFGeoTexCoordsPtr", "NULL", false},
      {11, "texCoords1", "SFGeoTexCoordsPtr", "NULL", false},
      {12, "texCoords2", "SFGeoTexCoordsPtr", "NULL", false},
      {13, "texCoords3", "SFGeoTexCoordsPtr", "NULL", false},
      {14, "texCoords4", "SFGeoTexCoordsPtr", "NULL", false},
      {15, "texCoords5", "SFGeoTexCoordsPtr", "NULL", false},
      {16, "texCoords6", "SFGeoTexCoordsPtr", "NULL", false},
      {17, "texCoords7", "SFGeoTexCoordsPtr", "NULL", false},
      {18, "indices", "SFGeoIndicesPtr", "NULL", false},
      {19, "indexMapping", "MFUInt16", "", false},
      {20, "dlistCache", "SFBool", "TRUE", false},
      {21, "GLId", "SFInt32", "0", true},
      {22, "IgnoreGLForAspect", "SFInt32", "-1", true},
      {23, "minindex", "SFUInt32", "0", true},
      {24, "maxindex", "SFUInt32", "0", true},
      {25, "lowindices", "MFUInt32", "", true},
      {26, "highindices", "MFUInt32", "", true},
      {27, "vbo", "SFBool", "FALSE", false}}},
    {"GeoPositions", "Attachment", "GeoPositions", true, {}},
    {"GeoPositions2f", "GeoPositions", "GeoPositions", false, {{3, "positions", "MFPnt2f", "", false}}},
    {"GeoPositions3f", "GeoPositions", "GeoPositions", false, {{3, "positions", "MFPnt3f", "", false}}},
    {"GeoPositions4f", "GeoPositions", "GeoPositions", false, {{3, "positions", "MFPnt4f", "", false}}},
    {"GeoNormals3f", "GeoNormals", "GeoNormals", false, {{3, "normals", "MFVec3f", "", false}}},
    {"GeoNormals3s", "GeoNormals", "GeoNormals", false, {{3, "normals", "MFVec3s", "", false}}},
    {"GeoNormals3b", "GeoNormals", "GeoNormals", false, {{3, "normals", "MFVec3b", "", false}}},
    {"GeoColors3f", "GeoColors", "GeoColors", false, {{3, "colors", "MFColor3f", "", false}}},
    {"GeoColors4f", "GeoColors", "GeoColors", false, {{3, "Colors", "MFColor4f", "", false}}},
    {"GeoColors3ub", "GeoColors", "GeoColors", false, {{3, "Colors", "MFColor3ub", "", false}}},
    {"GeoColors4ub", "GeoColors", "GeoColors", false, {{3, "Colors", "MFColor4ub", "", false}}},
    {"GeoTexCoords1f", "GeoTexCoords", "GeoTexCoords", false, {{3, "TexCoords", "MFReal32", "", false}}},
    {"GeoTexCoords2f", "GeoTexCoords", "GeoTexCoords", false, {{3, "TexCoords", "MFVec2f", "", false}}},
    {"GeoTexCoords3f", "GeoTexCoords", "GeoTexCoords", false, {{3, "TexCoords", "MFVec3f", "", false}}},
    {"GeoTexCoords4f", "GeoTexCoords", "GeoTexCoords", false, {{3, "TexCoords", "MFVec4f", "", false}}},
    {"GeoIndicesUI16", "GeoIndices", "GeoIndices", false, {{3, "indices", "MFUInt16", "", false}}},
    {"GeoIndicesUI32", "GeoIndices", "GeoIndices", false, {{3, "indices", "MFUInt32", "", false}}},
    {"GeoPLengthsUI8", "GeoPLengths", "GeoPLengths", false, {{3, "lengths", "MFUInt8", "", false}}},
    {"GeoPLengthsUI16", "GeoPLengths", "GeoPLengths", false, {{3, "lengths", "MFUInt16", "", false}}},
    {"GeoPLengthsUI32", "GeoPLengths", "GeoPLengths", false, {{3, "lengths", "MFUInt32", "", false}}},
    {"GeoPTypesUI8", "GeoPTypes", "GeoPTypes", false, {{3, "types", "MFUInt8", "", false}}},
    {"Material",
     "AttachmentContainer",
     "Material",
     true,
     {{2, "sortKey", "SFInt32", "0", false}, {3, "transparencyMode", "SFInt32", "0", false}}},
    {"ChunkMaterial",
     "Material",
     "ChunkMaterial",
     false,
     {{4, "chunks", "MFStateChunkPtr", "", false}, {5, "slots", "MFInt32", "", false}}},
    {"SimpleMaterial",
     "ChunkMaterial",
     "SimpleMaterial",
     false,
     {{6, "ambient", "SFColor3f", "0 0 0", false},
      {7, "diffuse", "SFColor3f", "0 0 0", false},
      {8, "specular", "SFColor3f", "0 0 0", false},
      {9, "shininess", "SFReal32", "1", false},
      {10, "emission", "SFColor3f", "0 0 0", false},
      {11, "transparency", "SFReal32", "0", false},
      {12, "lit", "SFBool", "TRUE", false},
      {13, "colorMaterial", "SFGLenum", "4609", false}}},
    {"State", "FieldContainer", "State", false, {{1, "chunks", "MFStateChunkPtr", "", false}}},
    {"StateChunk", "Attachment", "StateChunk", true, {{3, "ignore", "SFBool", "FALSE", false}}},
    {"MaterialChunk",
     "StateChunk",
     "MaterialChunk",
     false,
     {{4, "diffuse", "SFColor4f", "1 1 1 1", false},
      {5, "ambient", "SFColor4f", "0.2 0.2 0.2 1", false},
      {6, "specular", "SFColor4f", "0.5 0.5 0.5 1", false},
      {7, "emission", "SFColor4f", "0 0 0 1", false},
      {8, "shininess", "SFReal32", "10", false},
      {9, "lit", "SFBool", "TRUE", false},
      {10, "colorMaterial", "SFGLenum", "4609", false},
      {11, "backMaterial", "SFBool", "FALSE", false},
      {12, "backDiffuse", "SFColor4f", "1 1 1 0", false},
      {13, "backAmbient", "SFColor4f", "0.2 0.2 0.2 0", false},
      {14, "backSpecular", "SFColor4f", "0.5 0.5 0.5 0", false},
      {15, "backEmission", "SFColor4f", "0 0 0 0", false},
      {16, "backShininess", "SFReal32", "10", false},
      {17, "backColorMaterial", "SFGLenum", "4609", false}}},
    {"BlendChunk",
     "StateChunk",
     "BlendChunk",
     false,
     {{4, "srcFactor", "SFGLenum", "1", false},
      {5, "destFactor", "SFGLenum", "0", false},
      {6, "equation", "SFGLenum", "0", false},
      {7, "color", "SFColor4f", "0 0 0 0", false},
      {8, "alphaFunc", "SFGLenum", "0", false},
      {9, "alphaValue", "SFReal32", "0", false},
      {10, "alphaSrcFactor", "SFGLenum", "65535", false},
      {11, "alphaDestFactor", "SFGLenum", "65535", false}}},
    {"Name", "Attachment", "name", false, {{3, "name", "SFString", "\"\"", false}}},
    {"VoidPAttachment", "Attachment", "voidp", false, {{3, "data", "SFVoidP", "NULL", false}}},
    {"StringAttributeMap",
     "Attachment",
     "StringAttributeMap",
     false,
     {{3, "keys", "MFString", "", false}, {4, "values", "MFString", "", false}}},
};

class Reflection : public testing::TestWithParam<TypeRow>
{
};

TEST_P(Reflection, listsTheTypeWithItsFields)
{
    const TypeRow& row = GetParam();
    FieldContainerFactory& factory = *FieldContainerFactory::the();
    FieldContainerType* const type = factory.findType(row.name);
    ASSERT_NE(nullptr, type);
    EXPECT_EQ(type, factory.findType(type->getId()));
    EXPECT_STREQ(row.name, type->getCName());
    EXPECT_STREQ(row.name, type->getName().str());
    EXPECT_STREQ(row.group, factory.findGroupName(type->getGroupId()));
    EXPECT_EQ(type->getGroupId(), factory.findGroupId(row.group));
    EXPECT_TRUE(type->isDerivedFrom(*type));
    UInt32 inherited = 0;
    if (row.parent) {
        ASSERT_NE(nullptr, type->getParent());
        EXPECT_STREQ(row.parent, type->getParent()->getCName());
        EXPECT_TRUE(type->isDerivedFrom(*type->getParent()));
        EXPECT_FALSE(type->getParent()->isDerivedFrom(*type));
        inherited = type->getParent()->getNumFieldDescs();
    }
    EXPECT_EQ(inherited + row.fields.size(), type->getNumFieldDescs());
    EXPECT_EQ(nullptr, type->getFieldDescription(0));
    EXPECT_EQ(nullptr, type->getFieldDescription(type->getNumFieldDescs() + 1));
    EXPECT_EQ(nullptr, type->findFieldDescription("no such field"));

    EXPECT_EQ(row.abstract, type->isAbstract());
    const FieldContainerPtr container = factory.createFieldContainer(row.name);
    EXPECT_EQ(row.abstract, container == NullFC);
    for (const FieldRow& field : row.fields) {
        SCOPED_TRACE(field.name);
        const FieldDescription* const description = type->getFieldDescription(field.id);
        ASSERT_NE(nullptr, description);
        EXPECT_EQ(description, type->findFieldDescription(field.name));
        EXPECT_STREQ(field.name, description->getCName());
        EXPECT_EQ(field.id, description->getFieldId());
        EXPECT_EQ(BitVector(1) << field.id, description->getFieldMask());
        EXPECT_STREQ(field.type, description->getType().getCName());
        EXPECT_EQ(field.internal, description->isInternal());
        if (container && field.value) {
            std::string text;
            EXPECT_EQ(field.value, container->getField(field.id)->getValueByStr(text));
            EXPECT_EQ(field.value, type->getDefaultValue(field.id)->getValueByStr(text));
            EXPECT_EQ(container->getField(field.id), container->getField(field.name));
        }
    }
    if (container) {
        EXPECT_STREQ(row.name, container->getTypeName());
        EXPECT_EQ(1, type->getPrototype().getRefCount());
        EXPECT_EQ(nullptr, container->getField("no such field"));
        EXPECT_EQ(nullptr, container->getField(99));
        subRefCP(container);
    }
}

INSTANTIATE_TEST_SUITE_P(AllTypes, Reflection, testing::ValuesIn(typeRows),
                         [](const testing::TestParamInfo<TypeRow>& row) {
                             return std::string(row.param.name);
                         });

TEST(Factory, coversAllTypesThatAreRegistered)
{
    std::set<std::string> covered{"GeoNormals", "GeoColors", "GeoTexCoords",
                                  "GeoIndices", "GeoPTypes", "GeoPLengths"};
    for (const TypeRow& row : typeRows) {
        covered.insert(row.name);
    }
    FieldContainerFactory& factory = *FieldContainerFactory::the();
    for (auto type = factory.beginTypes(); type != factory.endTypes(); ++type) {
        if ((*type)->getParent()) {
            EXPECT_EQ((*type), factory.findType((*type)->getCName()));
        }
    }
    for (const std::string& name : covered) {
        EXPECT_NE(nullptr, factory.findType(name.c_str())) << name;
    }
    EXPECT_GE(factory.getNumTypes(), covered.size());
}

TEST(Factory, createsByKind)
{
    FieldContainerFactory& factory = *FieldContainerFactory::the();
    const NodePtr node = factory.createNode("Node");
    const NodeCorePtr core = factory.createNodeCore("Switch");
    const AttachmentPtr attachment = factory.createAttachment("MaterialChunk");
    EXPECT_TRUE(node && core && attachment);
    EXPECT_TRUE(factory.createNode("Switch") == NullFC);
    EXPECT_TRUE(factory.createNodeCore("Node") == NullFC);
    EXPECT_TRUE(factory.createAttachment("Group") == NullFC);
    EXPECT_TRUE(factory.createFieldContainer("Nothing") == NullFC);
    EXPECT_TRUE(factory.createFieldContainer("Material") == NullFC);
    EXPECT_TRUE(Node::getClassType().isNode());
    EXPECT_TRUE(Switch::getClassType().isNodeCore());
    EXPECT_TRUE(MaterialChunk::getClassType().isAttachment());
    EXPECT_FALSE(ChunkMaterial::getClassType().isAttachment());
    subRefCP(node);
    subRefCP(core);
    subRefCP(attachment);
}

TEST(Factory, prototypeGivesTheValuesOfNewContainers)
{
    FieldContainerType& type = Switch::getClassType();
    const FieldContainerPtr original = type.getPrototype();
    addRefCP(original);
    const SwitchPtr changed = Switch::create();
    beginEditCP(changed);
    changed->setChoice(5);
    endEditCP(changed);
    EXPECT_FALSE(type.setPrototype(NullFC));
    EXPECT_TRUE(type.setPrototype(changed));
    const New<Switch> made;
    EXPECT_EQ(5, made->getChoice());
    EXPECT_TRUE(type.setPrototype(original));
    subRefCP(original);
}

TEST(Masks, areOneBitPerFieldId)
{
    EXPECT_EQ(BitVector(1) << 5, Node::ChildrenFieldMask);
    EXPECT_EQ(5, Node::ChildrenFieldId);
    EXPECT_EQ(BitVector(1) << 19, Geometry::IndexMappingFieldMask);
    EXPECT_EQ(BitVector(1) << 3, GeoPositions3f::GeoPropDataFieldMask);
    EXPECT_EQ(BitVector(1) << 3, Name::SimpleFieldMask);
    EXPECT_EQ(BitVector(1) << 1, Transform::AttachmentsFieldMask);
    EXPECT_EQ(~BitVector(0), FieldBits::AllFields);
}

// -- Fields -----------------------------------------------------------------------------------

TEST(MultiField, behavesAsAVector)
{
    MFInt32 field;
    EXPECT_TRUE(field.empty());
    for (Int32 i = 0; i < 100; ++i) {
        field.push_back(i);
    }
    field.insert(field.begin() + 1, -7);
    EXPECT_EQ(101u, field.size());
    EXPECT_EQ(0, field[0]);
    EXPECT_EQ(-7, field.getValue(1));
    EXPECT_EQ(99, field.back());
    EXPECT_EQ(1, *field.erase(field.begin() + 1));
    EXPECT_EQ(field.begin() + 42, field.find(42));
    EXPECT_EQ(field.end(), field.find(-7));
    field.erase(field.begin() + 10, field.end());
    EXPECT_EQ(10u, field.getSize());
    field.resize(12);
    EXPECT_EQ(0, field[11]);
    field.resize(13, 5);
    EXPECT_EQ(5, field.back());
    const MFInt32 copy = field;
    field.setValue(77, 0);
    EXPECT_EQ(0, copy[0]);
    EXPECT_TRUE(copy != field);
    MFInt32 other;
    other.swap(field);
    EXPECT_TRUE(field.empty());
    EXPECT_EQ(77, other.front());
    other.clear();
    EXPECT_TRUE(other.isEmpty());
}

TEST(MultiField, elementsOfItselfMayBeAppended)
{
    MFVec3f field;
    field.push_back(Vec3f(1, 2, 3));
    for (int i = 0; i < 1000; ++i) {
        field.push_back(field.back());
    }
    EXPECT_EQ(Vec3f(1, 2, 3), field[1000]);
}

TEST(MultiField, ofStringsKeepsItsValues)
{
    MFString field;
    field.push_back("a");
    field.push_back("b with \"quotes\"");
    field.insert(field.begin(), std::string(100, 'x'));
    field.erase(field.begin() + 1);
    std::string text;
    EXPECT_EQ('"' + std::string(100, 'x') + "\", \"b with \\\"quotes\\\"\"", field.getValueByStr(text));
    EXPECT_EQ(nullptr, field.getBlock());
}

TEST(Field, readsWhatItWrites)
{
    SFVec3f from;
    from.setValue(Vec3f(.1f, -2e20f, 3));
    std::string text;
    SFVec3f to;
    to.setValueByStr(from.getValueByStr(text).c_str());
    EXPECT_EQ(0, std::memcmp(&from.getValue(), &to.getValue(), sizeof(Vec3f)));

    SFString words;
    words.setValueByStr("\"a \\\"b\\\"\"");
    EXPECT_EQ("a \"b\"", words.getValue());
    words.setValueByStr("plain text");
    EXPECT_EQ("plain text", words.getValue());

    MFUInt8 bytes;
    bytes.pushValueByStr("255");
    bytes.pushValueByStr("256");
    bytes.pushValueByStr("x");
    bytes.pushValueByStr(nullptr);
    ASSERT_EQ(1u, bytes.size());
    EXPECT_EQ(255, bytes[0]);
}

TEST(Field, keepsItsValueWhenATextCannotBeRead)
{
    SFVec3f field;
    field.setValue(Vec3f(1, 2, 3));
    field.setValueByStr("4 5");
    EXPECT_EQ(Vec3f(1, 2, 3), field.getValue());
    SFBool flag;
    flag.setValueByStr("TRUE");
    flag.setValueByStr("maybe");
    EXPECT_TRUE(flag.getValue());
}

TEST(Field, copiesValuesOfTheSameTypeOnly)
{
    SFUInt32 number;
    SFGLenum constant;
    number.setValue(3);
    constant.setValue(7);
    number.setAbstrValue(constant); // the same in C++, not as a field
    EXPECT_EQ(3u, number.getValue());
    SFUInt32 other;
    other.setAbstrValue(number);
    EXPECT_EQ(3u, other.getValue());
    EXPECT_TRUE(other.equals(number));
    EXPECT_FALSE(other.equals(constant));
}

TEST(Field, handlesAreCheckedAgainstTheClass)
{
    const New<Group> group;
    const New<MaterialChunk> chunk;
    SFNodeCorePtr single;
    Field& field = single;
    EXPECT_TRUE(field.isPointerField());
    EXPECT_EQ(1u, field.getContainerCount());
    EXPECT_TRUE(field.setContainer(group.get()));
    EXPECT_FALSE(field.setContainer(chunk.get()));
    EXPECT_FALSE(field.setContainer(group.get(), 1));
    EXPECT_EQ(group.get(), field.getContainer(0));
    EXPECT_EQ(1, group.get().getRefCount());
    EXPECT_TRUE(field.setContainer(NullFC));

    MFStateChunkPtr many;
    EXPECT_TRUE(many.addContainer(chunk.get()));
    EXPECT_FALSE(many.addContainer(group.get()));
    EXPECT_EQ(1u, many.getContainerCount());
    EXPECT_TRUE(many.getContainer(5) == NullFC);

    MFInt32 numbers;
    EXPECT_FALSE(numbers.isPointerField());
    EXPECT_FALSE(numbers.addContainer(group.get()));
    EXPECT_EQ(0u, numbers.getContainerCount());
}

TEST(Field, blocksAreFilledAtOnce)
{
    const Real32 values[6] = {1, 2, 3, 4, 5, 6};
    MFVec3f field;
    Field& base = field;
    std::memcpy(base.resizeBlock(2), values, sizeof(values));
    EXPECT_EQ(Vec3f(4, 5, 6), field[1]);
    EXPECT_EQ(0, std::memcmp(base.getBlock(), values, sizeof(values)));
    SFInt32 single;
    EXPECT_EQ(nullptr, static_cast<Field&>(single).resizeBlock(2));
    MFNodePtr handles;
    EXPECT_EQ(nullptr, static_cast<Field&>(handles).resizeBlock(1));
}

// -- Attachments ------------------------------------------------------------------------------

TEST(Names, areAttachedChangedAndRemoved)
{
    const New<Node> node;
    EXPECT_EQ(nullptr, getName(node));
    setName(node, "first");
    EXPECT_STREQ("first", getName(node));
    const AttachmentPtr attachment = node->findAttachment(Name::getClassType());
    setName(node, std::string("second"));
    EXPECT_STREQ("second", getName(node));
    EXPECT_EQ(attachment, node->findAttachment(Name::getClassType()));
    setName(node, "");
    EXPECT_STREQ("", getName(node));
    setName(node, static_cast<const Char8*>(nullptr));
    EXPECT_EQ(nullptr, getName(node));
    EXPECT_TRUE(node->getAttachments().empty());
}

TEST(Names, belongToCoresAndMaterialsToo)
{
    const New<Group> group;
    const New<ChunkMaterial> material;
    setName(group.get(), "core");
    setName(material.get(), "steel");
    EXPECT_STREQ("core", getName(group.get()));
    EXPECT_STREQ("steel", getName(material.get()));
}

TEST(Names, ofNullContainersAreReported)
{
    testing::internal::CaptureStderr();
    setName(NodePtr(), "x");
    EXPECT_FALSE(testing::internal::GetCapturedStderr().empty());
    EXPECT_EQ(nullptr, getName(NodePtr()));
}

TEST(VoidP, keepsAPointerOfTheProgram)
{
    int data = 0;
    const New<Node> node;
    EXPECT_EQ(nullptr, getVoidP(node));
    setVoidP(node, &data);
    EXPECT_EQ(&data, getVoidP(node));
    setVoidP(node, nullptr);
    EXPECT_EQ(nullptr, getVoidP(node));
    EXPECT_TRUE(node->getAttachments().empty());
}

TEST(StringAttributeMap, keepsOneValuePerKey)
{
    const New<StringAttributeMap> map;
    const CPEditor edit(map.get());
    map->setAttribute("a", "1");
    map->setAttribute("b", "2");
    map->setAttribute("a", "3");
    std::string value = "untouched";
    EXPECT_FALSE(map->getAttribute("c", value));
    EXPECT_EQ("untouched", value);
    EXPECT_TRUE(map->getAttribute("a", value));
    EXPECT_EQ("3", value);
    EXPECT_EQ(2u, map->getKeys().size());
    EXPECT_TRUE(map->hasAttribute("b"));
}
