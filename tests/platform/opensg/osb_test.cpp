#include "osb_bytes.h"

#include <OpenSG/OSGChunkMaterial.h>
#include <OpenSG/OSGComponentTransform.h>
#include <OpenSG/OSGFieldContainerFactory.h>
#include <OpenSG/OSGGeoProperty.h>
#include <OpenSG/OSGGeometry.h>
#include <OpenSG/OSGGroup.h>
#include <OpenSG/OSGMaterialChunk.h>
#include <OpenSG/OSGMaterialGroup.h>
#include <OpenSG/OSGMaterialPool.h>
#include <OpenSG/OSGNode.h>
#include <OpenSG/OSGOSBSceneFileType.h>
#include <OpenSG/OSGSceneFileHandler.h>
#include <OpenSG/OSGSimpleAttachments.h>
#include <OpenSG/OSGSwitch.h>
#include <OpenSG/OSGTransform.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

using namespace osg;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace
{

// The root is released at the end of the test, and nothing may be left then.
class OsbTest : public ::testing::Test
{
protected:
    NodePtr read(const Bytes& bytes)
    {
        const NodePtr root = readOsb(bytes);
        EXPECT_EQ(0, root.getRefCount());
        addRefCP(root);
        _roots.push_back(root);
        return root;
    }
    ~OsbTest() override
    {
        for (const NodePtr& root : _roots)
            subRefCP(root);
    }

    // Prototypes are made on first use and stay.
    static void SetUpTestSuite()
    {
        FieldContainerFactory* const factory = FieldContainerFactory::the();
        for (auto it = factory->beginTypes(); it != factory->endTypes(); ++it)
            (*it)->getPrototype();
    }

    NothingLeft _nothingLeft;
    std::vector<NodePtr> _roots;
};

// Root node 1 with core 2 and the records in \a rest.
Bytes sceneWith(const std::vector<std::uint32_t>& children, const Bytes& rest)
{
    Bytes file = Bytes::header();
    file.record("Node", 1, 2);
    if (!children.empty())
        file.handles("children", "MFNodePtr", children);
    return file.handle("core", "SFNodeCorePtr", 2).end().record("Group", 2, 3).end().raw(rest).end();
}

// Root node 1 whose core is the geometry with the given fields.
Bytes geometryWith(const Bytes& fields, const Bytes& rest = Bytes())
{
    return Bytes::header()
        .record("Node", 1, 2)
        .handle("core", "SFNodeCorePtr", 2)
        .end()
        .record("Geometry", 2, -1)
        .raw(fields)
        .end()
        .raw(rest)
        .end();
}

GeometryPtr geometryOf(const NodePtr& root)
{
    return root ? GeometryPtr::dcast(root->getCore()) : GeometryPtr();
}

} // namespace

// -- Whole files ------------------------------------------------------------------------------------

TEST_F(OsbTest, SmallFileIsReadAndWrittenByteForByte)
{
    const Bytes body = Bytes()
                           .field("travMask", "SFUInt32", Bytes().u32(0xffffffff))
                           .handle("core", "SFNodeCorePtr", 3)
                           .end()
                           .record("Name", 2, 4)
                           .field("internal", "SFBool", Bytes().u8(0))
                           .field("name", "SFString", Bytes().str("a"))
                           .end()
                           .record("Group", 3, 3)
                           .end()
                           .end();
    const Bytes file = Bytes::header()
                           .record("Node", 1, 2)
                           .field("attachments", "SFAttachmentMap", Bytes().u32(1).u32(2))
                           .raw(body);
    const NodePtr root = read(file);
    ASSERT_NE(NullFC, root);
    EXPECT_STREQ("a", getName(root));
    EXPECT_TRUE(root->getActive());
    EXPECT_NE(NullFC, GroupPtr::dcast(root->getCore()));
    EXPECT_EQ(file.text(), writeOsb(root));
}

TEST_F(OsbTest, IdsOfAFileMayBeAnyNumbersAndReferencesGoBothWays)
{
    const NodePtr root = read(Bytes::header()
                                  .record("Node", 7, 2)
                                  .handles("children", "MFNodePtr", {0xfffffff0, 5})
                                  .handle("core", "SFNodeCorePtr", 9)
                                  .end()
                                  .record("Group", 9, 3)
                                  .end()
                                  .record("Node", 5, 2)
                                  .handle("core", "SFNodeCorePtr", 9)
                                  .end()
                                  .record("Node", 0xfffffff0, 2)
                                  .end()
                                  .end());
    ASSERT_NE(NullFC, root);
    ASSERT_EQ(2u, root->getNChildren());
    EXPECT_EQ(NullFC, root->getChild(0)->getCore());
    EXPECT_EQ(root->getCore(), root->getChild(1)->getCore());
    EXPECT_EQ(2, root->getCore().getRefCount());
    EXPECT_EQ(1, root->getChild(0).getRefCount());
}

TEST_F(OsbTest, TrailingBytesAndEmptyTextsOfLengthZeroAreAccepted)
{
    Bytes file = Bytes().str("OpenSG binary V1.0").u32(0).u32(0).u32(0).u32(0);
    file.record("Node", 1, 2).u32(0).u32(0).u32(0x12345678);
    EXPECT_NE(NullFC, read(file));
}

TEST_F(OsbTest, OtherFilesAreRefusedWithOneLine)
{
    for (const std::string& text : {std::string(), std::string("#OSG V1.0 "), std::string(1000, '\0'),
                                    Bytes().str("OpenSG binary V2.0").u32(0).text()}) {
        const auto log = logOf([&] { EXPECT_EQ(NullFC, readOsb(text)); });
        EXPECT_THAT(log,
                    ElementsAre(AllOf(HasSubstr("scene.osb: byte 0"), HasSubstr("not a binary scene file"))));
    }
}

TEST_F(OsbTest, DamageIsReportedWithFileByteTypeAndField)
{
    Bytes file = Bytes::header().record("Node", 1, 2);
    const std::size_t place = file.text().size();
    file.str("travMask").str("SFUInt32").u32(400).u32(1);
    const auto log = logOf([&] { EXPECT_EQ(NullFC, readOsb(file)); });
    EXPECT_THAT(log, ElementsAre("WARNING:  scene.osb: byte " + std::to_string(place + 13 + 13 + 4) +
                                 ": Node, field \"travMask\": SFUInt32 claims 400 bytes, 4 are left"));
}

TEST_F(OsbTest, RootMustBeANode)
{
    const auto log =
        logOf([&] { EXPECT_EQ(NullFC, readOsb(Bytes::header().record("Group", 1, 3).end().end())); });
    EXPECT_THAT(log, ElementsAre(HasSubstr("the first record must be a node")));
    EXPECT_EQ(NullFC, readOsb(Bytes::header().end()));
}

TEST_F(OsbTest, ReadThroughTheHandlerReportsProgressUpToTheEnd)
{
    static std::vector<UInt32> percents;
    percents.clear();
    SceneFileHandler::the().setReadProgressCB([](UInt32 percent) { percents.push_back(percent); }, false);
    std::istringstream in(sceneWith({}, Bytes()).text());
    const NodePtr root = SceneFileHandler::the().read(in, "osb");
    SceneFileHandler::the().setReadProgressCB(nullptr);
    ASSERT_NE(NullFC, root);
    subRefCP(root);
    EXPECT_EQ(0u, percents.front());
    EXPECT_EQ(100u, percents.back());
    EXPECT_TRUE(std::is_sorted(percents.begin(), percents.end()));
    EXPECT_EQ(4u, percents.size()) << "start, two records, end";
}

TEST_F(OsbTest, WriterFailsWhenTheStreamDoes)
{
    const NodePtr root = read(sceneWith({}, Bytes()));
    std::ostringstream out;
    out.setstate(std::ios::badbit);
    const auto log = logOf([&] { EXPECT_FALSE(OSBSceneFileType::the().write(root, out, "scene.osb")); });
    EXPECT_THAT(log, ElementsAre(HasSubstr("could not write all")));
    EXPECT_EQ("", writeOsb(NullFC));
}

// -- Unknown types and fields -----------------------------------------------------------------------

TEST_F(OsbTest, UnknownTypesAreReplacedByKind)
{
    const Bytes unknownField = Bytes().field("what", "SFWhat", Bytes().u8(1).u8(2).u8(3));
    NodePtr root;
    const auto log = logOf([&] {
        root = read(sceneWith({3, 4, 5, 6}, Bytes()
                                                .record("StrangeNode", 3, 2)
                                                .raw(unknownField)
                                                .end()
                                                .record("Node", 4, 2)
                                                .handle("core", "SFNodeCorePtr", 7)
                                                .end()
                                                .record("StrangeAttachment", 5, 4)
                                                .end()
                                                .record("Strange", 6, 1)
                                                .end()
                                                .record("StrangeCore", 7, 3)
                                                .raw(unknownField)
                                                .end()));
    });
    ASSERT_NE(NullFC, root);
    ASSERT_EQ(3u, root->getNChildren());
    EXPECT_STREQ("Group", root->getChild(1)->getCore()->getTypeName());
    EXPECT_EQ(4u, log.size());
    EXPECT_THAT(log, ::testing::Contains(
                         HasSubstr("\"StrangeCore\" is not known; 1 of them read as an empty Group")));
    EXPECT_THAT(log,
                ::testing::Contains(HasSubstr("\"StrangeAttachment\" is not known; 1 of them left out")));
}

TEST_F(OsbTest, UnknownMaterialBecomesAnEmptyOne)
{
    const NodePtr root = read(Bytes::header()
                                  .record("Node", 1, 2)
                                  .handle("core", "SFNodeCorePtr", 2)
                                  .end()
                                  .record("MaterialGroup", 2, 3)
                                  .handle("material", "SFMaterialPtr", 3)
                                  .end()
                                  .record("StrangeMaterial", 3, 5)
                                  .end()
                                  .end());
    ASSERT_NE(NullFC, root);
    const MaterialGroupPtr group = MaterialGroupPtr::dcast(root->getCore());
    EXPECT_NE(NullFC, ChunkMaterialPtr::dcast(group->getMaterial()));
}

TEST_F(OsbTest, FieldsOfAnotherTypeAreReadIfTheSizeIsRight)
{
    const NodePtr root = read(Bytes::header()
                                  .record("Node", 1, 2)
                                  .field("travMask", "SFBool", Bytes().u8(1)) // as in files of old
                                  .handles("children", "MFNodePtr", {2, 3})
                                  .end()
                                  .record("Node", 2, 2)
                                  .field("travMask", "SFInt32", Bytes().u32(5))
                                  .end()
                                  .record("Node", 3, 2)
                                  .field("volume", "SFDynamicVolume", Bytes().u32(0).u16(0).u32(7))
                                  .field("parent", "SFNodePtr", Bytes().u32(2))
                                  .end()
                                  .end());
    ASSERT_NE(NullFC, root);
    EXPECT_EQ(0xffffffffu, root->getTravMask());
    EXPECT_EQ(5u, root->getChild(0)->getTravMask());
    EXPECT_EQ(root, root->getChild(1)->getParent());
}

TEST_F(OsbTest, InactiveNodeStaysInactive)
{
    const NodePtr root =
        read(Bytes::header().record("Node", 1, 2).field("travMask", "SFUInt32", Bytes().u32(0)).end().end());
    ASSERT_NE(NullFC, root);
    EXPECT_FALSE(root->getActive());
}

// -- References -------------------------------------------------------------------------------------

TEST_F(OsbTest, SecondRecordUnderAnIdIsIgnored)
{
    const NodePtr root = read(sceneWith({3}, Bytes()
                                                 .record("Node", 3, 2)
                                                 .end()
                                                 .record("Node", 1, 2)
                                                 .handles("children", "MFNodePtr", {3})
                                                 .handle("core", "SFNodeCorePtr", 2)
                                                 .end()));
    ASSERT_NE(NullFC, root);
    EXPECT_EQ(1u, root->getNChildren());
    EXPECT_EQ(1, root->getCore().getRefCount());
}

TEST_F(OsbTest, ReferencesToNothingAreDroppedWithAWarning)
{
    NodePtr root;
    const auto log = logOf([&] {
        root = read(sceneWith({3, 77, 0, 78}, Bytes().record("Node", 3, 2).end()));
    });
    ASSERT_NE(NullFC, root);
    EXPECT_EQ(1u, root->getNChildren());
    EXPECT_THAT(log, ElementsAre(HasSubstr("2 reference(s) to containers that are not in the file")));
}

TEST_F(OsbTest, ContainersOfAWrongClassAreDroppedWithAWarning)
{
    NodePtr root;
    const auto log = logOf([&] {
        root = read(Bytes::header()
                        .record("Node", 1, 2)
                        .field("attachments", "SFAttachmentMap", Bytes().u32(1).u32(2))
                        .handles("children", "MFNodePtr", {3})
                        .handle("core", "SFNodeCorePtr", 4)
                        .end()
                        .record("Node", 2, 2)
                        .end()
                        .record("Group", 3, 3)
                        .end()
                        .record("ChunkMaterial", 4, 5)
                        .handles("chunks", "MFStateChunkPtr", {2})
                        .end()
                        .end());
    });
    ASSERT_NE(NullFC, root);
    EXPECT_EQ(0u, root->getNChildren());
    EXPECT_EQ(NullFC, root->getCore());
    EXPECT_THAT(log, ElementsAre(HasSubstr("4 reference(s) to containers of a wrong class")));
}

TEST_F(OsbTest, NodeThatIsItsOwnDescendantIsCut)
{
    NodePtr root;
    const auto log = logOf([&] {
        root = read(sceneWith({3}, Bytes()
                                       .record("Node", 3, 2)
                                       .handles("children", "MFNodePtr", {4, 3, 1})
                                       .end()
                                       .record("Node", 4, 2)
                                       .handles("children", "MFNodePtr", {3})
                                       .end()));
    });
    ASSERT_NE(NullFC, root);
    ASSERT_EQ(1u, root->getNChildren());
    ASSERT_EQ(1u, root->getChild(0)->getNChildren());
    EXPECT_EQ(0u, root->getChild(0)->getChild(0)->getNChildren());
    EXPECT_EQ(NullFC, root->getParent());
    EXPECT_THAT(log, ElementsAre(HasSubstr("3 reference(s) that would close a circle")));
}

TEST_F(OsbTest, NodesOutsideTheTreeAreReleased)
{
    const UInt32 before = FieldContainerFactory::the()->getNumContainers();
    const NodePtr root = read(sceneWith({}, Bytes()
                                                .record("Node", 3, 2)
                                                .handles("children", "MFNodePtr", {4, 1})
                                                .end()
                                                .record("Node", 4, 2)
                                                .handles("children", "MFNodePtr", {3})
                                                .end()));
    ASSERT_NE(NullFC, root);
    EXPECT_EQ(NullFC, root->getParent());
    EXPECT_EQ(before + 2, FieldContainerFactory::the()->getNumContainers()) << "root and core";
}

TEST_F(OsbTest, LastParentKeepsTheChild)
{
    const NodePtr root = read(sceneWith({3, 4, 3}, Bytes()
                                                       .record("Node", 3, 2)
                                                       .handles("children", "MFNodePtr", {5})
                                                       .end()
                                                       .record("Node", 4, 2)
                                                       .handles("children", "MFNodePtr", {5})
                                                       .end()
                                                       .record("Node", 5, 2)
                                                       .end()));
    ASSERT_NE(NullFC, root);
    ASSERT_EQ(2u, root->getNChildren()) << "adding again moves to the end";
    EXPECT_EQ(1u, root->getChild(0)->getNChildren());
    EXPECT_EQ(0u, root->getChild(1)->getNChildren());
}

TEST_F(OsbTest, AttachmentsKeepTheirBindings)
{
    const Bytes names = Bytes()
                            .record("Name", 3, 4)
                            .field("name", "SFString", Bytes().str("zero"))
                            .end()
                            .record("Name", 4, 4)
                            .field("name", "SFString", Bytes().str("five"))
                            .end();
    Bytes file = Bytes::header().record("Node", 1, 2);
    file.field("attachments", "SFAttachmentMap", Bytes().u32(2).u32(3).u32(4).u16(0).u16(5))
        .end()
        .raw(names)
        .end();
    const NodePtr root = read(file);
    ASSERT_NE(NullFC, root);
    EXPECT_STREQ("zero", getName(root));
    const NamePtr five = NamePtr::dcast(root->findAttachment(Name::getClassType(), 5));
    ASSERT_NE(NullFC, five);
    EXPECT_EQ("five", five->getField());
    EXPECT_EQ(1, five.getRefCount());
    const std::string written = writeOsb(root);
    EXPECT_EQ(written, writeOsb(read(Bytes(file))));
    EXPECT_NE(std::string::npos, written.find(Bytes().u32(2).u32(2).u32(3).u16(0).u16(5).text()));
}

TEST_F(OsbTest, ChangesTakeEffectAfterReading)
{
    const NodePtr root = read(Bytes::header()
                                  .record("Node", 1, 2)
                                  .handles("children", "MFNodePtr", {3, 4})
                                  .handle("core", "SFNodeCorePtr", 2)
                                  .end()
                                  .record("ComponentTransform", 2, 3)
                                  .field("translation", "SFVec3f", Bytes().f32(1).f32(2).f32(3))
                                  .end()
                                  .record("Node", 3, 2)
                                  .handle("core", "SFNodeCorePtr", 5)
                                  .end()
                                  .record("Node", 4, 2)
                                  .handle("core", "SFNodeCorePtr", 6)
                                  .end()
                                  .record("MaterialPool", 5, 3)
                                  .handles("materials", "MFMaterialPtr", {7})
                                  .end()
                                  .record("MaterialGroup", 6, 3)
                                  .handle("material", "SFMaterialPtr", 7)
                                  .end()
                                  .record("ChunkMaterial", 7, 5)
                                  .handles("chunks", "MFStateChunkPtr", {8})
                                  .end()
                                  .record("MaterialChunk", 8, 6)
                                  .end()
                                  .end());
    ASSERT_NE(NullFC, root);
    EXPECT_EQ(Vec4f(1, 2, 3, 1), TransformPtr::dcast(root->getCore())->getMatrix()[3]);
    const MaterialPoolPtr pool = MaterialPoolPtr::dcast(root->getChild(0)->getCore());
    ASSERT_EQ(1u, pool->get().size());
    const ChunkMaterialPtr material = ChunkMaterialPtr::dcast(pool->get(0));
    EXPECT_EQ(2, material.getRefCount());
    EXPECT_EQ(2, material->getChunks(0).getRefCount()) << "held by the material and by its state";
}

// -- Values -----------------------------------------------------------------------------------------

TEST_F(OsbTest, CountsAreHeldAgainstTheBytesLeft)
{
    const Bytes huge = Bytes().u32(0xffffffff);
    const auto refused = [](const Bytes& file) {
        const auto log = logOf([&] { EXPECT_EQ(NullFC, readOsb(file)); });
        EXPECT_EQ(1u, log.size());
    };
    refused(Bytes::header().record("Node", 1, 2).field("children", "MFNodePtr", huge).end().end());
    refused(Bytes::header().record("Node", 1, 2).field("attachments", "SFAttachmentMap", huge).end().end());
    refused(geometryWith(Bytes().field("indexMapping", "MFUInt16", huge)));
    refused(geometryWith(Bytes(),
                         Bytes().record("GeoPositions3f", 3, 4).field("positions", "MFPnt3f", huge).end()));
    refused(geometryWith(Bytes(),
                         Bytes().record("StringAttributeMap", 3, 4).field("keys", "MFString", huge).end()));
    refused(
        geometryWith(Bytes().field("qpositions", "QMFUInt83f", Bytes().u8(1).f32(0).f32(1).u32(0xffffffff))));
    refused(geometryWith(Bytes().str("pindices").str("PMFUInt8").u32(8).u32(7).u32(0xffffffff).u32(0)));
    refused(geometryWith(Bytes().str("pindices").str("PMFUInt8").u32(8).u32(0).u32(0xffffffff).u32(0)));
    refused(Bytes::header().record("Node", 1, 2).u32(0xffffffff));
}

TEST_F(OsbTest, SizesThatDoNotFitTheTypeAreDamage)
{
    for (const Bytes& data : {Bytes().f32(1).f32(2), Bytes().f32(1).f32(2).f32(3).f32(4)}) {
        const Bytes file = Bytes::header()
                               .record("Node", 1, 2)
                               .end()
                               .record("ComponentTransform", 2, 3)
                               .field("translation", "SFVec3f", data)
                               .end()
                               .end();
        const auto log = logOf([&] { EXPECT_EQ(NullFC, readOsb(file)); });
        EXPECT_THAT(
            log, ElementsAre(HasSubstr("ComponentTransform, field \"translation\": SFVec3f takes 12 bytes")));
    }
}

TEST_F(OsbTest, AnyByteOtherThanZeroIsTrue)
{
    const NodePtr root = read(geometryWith(
        Bytes().field("dlistCache", "SFBool", Bytes().u8(0)).field("vbo", "SFBool", Bytes().u8(0xfe))));
    ASSERT_NE(NullFC, root);
    EXPECT_FALSE(geometryOf(root)->getDlistCache());
    EXPECT_TRUE(geometryOf(root)->getVbo());
}

// -- Geometry in few bits ---------------------------------------------------------------------------

TEST_F(OsbTest, QuantizedPositionsAreSpreadOverTheirRange)
{
    const auto positions = [this](const Bytes& data) {
        const NodePtr root = read(geometryWith(Bytes().field("qpositions", "QMFUInt83f", data)));
        const GeometryPtr geometry = geometryOf(root);
        return geometry ? GeoPositions3fPtr::dcast(geometry->getPositions()) : GeoPositions3fPtr();
    };
    GeoPositions3fPtr p = positions(Bytes().u8(1).f32(-1).f32(1).u32(1).u8(0).u8(255).u8(51));
    ASSERT_NE(NullFC, p);
    ASSERT_EQ(1u, p->size());
    EXPECT_EQ(Pnt3f(-1, 1, -0.6f), p->getField()[0]);
    EXPECT_EQ(1, p.getRefCount());
    EXPECT_EQ(1u, p->getParents().size());

    p = positions(Bytes().u8(2).f32(0).f32(65535).u32(1).u16(1).u16(0x0203).u16(0xffff));
    ASSERT_NE(NullFC, p);
    EXPECT_EQ(Pnt3f(1, 0x0203, 65535), p->getField()[0]);

    // 24 bits: the two low bytes, then the high one.
    p = positions(Bytes().u8(3).f32(0).f32(16777215).u32(1).u16(1).u8(0).u16(0).u8(1).u16(0x0203).u8(0x01));
    ASSERT_NE(NullFC, p);
    EXPECT_EQ(Pnt3f(1, 65536, 0x010203), p->getField()[0]);
}

TEST_F(OsbTest, QuantizedNormalsAndTextureCoordinates)
{
    const NodePtr root = read(geometryWith(
        Bytes()
            .field("qnormals", "QMFUInt83f", Bytes().u8(1).f32(0).f32(1).u32(1).u8(0).u8(0).u8(255))
            .field("qtexCoords", "QMFUInt82f", Bytes().u8(1).f32(0).f32(2).u32(1).u8(255).u8(0))));
    ASSERT_NE(NullFC, root);
    EXPECT_EQ(Vec3f(0, 0, 1), GeoNormals3fPtr::dcast(geometryOf(root)->getNormals())->getField()[0]);
    EXPECT_EQ(Vec2f(2, 0), GeoTexCoords2fPtr::dcast(geometryOf(root)->getTexCoords())->getField()[0]);
}

TEST_F(OsbTest, PackedIndicesAreUnpackedAndWhatFollowsIsRead)
{
    // 3 bits each: 5, 0, 7, 1 -> 101 000 11|1 001 0000; the size is 4 less than what follows.
    const Bytes packed =
        Bytes().str("pindices").str("PMFUInt8").u32(10).u32(7).u32(4).u32(2).u8(0xa3).u8(0x90);
    const NodePtr root = read(geometryWith(Bytes().raw(packed).field("vbo", "SFBool", Bytes().u8(1))));
    ASSERT_NE(NullFC, root);
    const GeoIndicesUI32Ptr indices = GeoIndicesUI32Ptr::dcast(geometryOf(root)->getIndices());
    ASSERT_NE(NullFC, indices);
    EXPECT_THAT(std::vector<UInt32>(indices->getField().begin(), indices->getField().end()),
                ElementsAre(5, 0, 7, 1));
    EXPECT_TRUE(geometryOf(root)->getVbo());

    // They are known where they are skipped, too.
    const NodePtr again = read(geometryWith(Bytes(), Bytes().record("Geometry", 2, -1).raw(packed).end()));
    ASSERT_NE(NullFC, again);
    EXPECT_EQ(NullFC, geometryOf(again)->getIndices());
}

TEST_F(OsbTest, OptionsMakeFilesSmallerWithinTheirPrecision)
{
    GeometryPtr geometry;
    const NodePtr root = makeCoredNode<Geometry>(&geometry);
    addRefCP(root);
    const GeoPositions3fPtr positions = GeoPositions3f::create();
    const GeoIndicesUI32Ptr indices = GeoIndicesUI32::create();
    for (UInt32 i = 0; i < 100; ++i) {
        positions->getField().push_back(Pnt3f(Real32(i), Real32(i % 7), -3));
        indices->getField().push_back(99 - i);
    }
    {
        const CPEditor edit(geometry);
        geometry->setPositions(positions);
        geometry->setIndices(indices);
    }
    const std::string plain = writeOsb(root);
    for (const char* const bits : {"8", "16", "24"}) {
        SceneFileHandler::the().setOptions(
            "osb", (std::string("quantizePositions=") + bits + ",packIndices=true").c_str());
        const std::string small = writeOsb(root);
        EXPECT_LT(small.size(), plain.size());
        const NodePtr copy = readOsb(small);
        ASSERT_NE(NullFC, copy);
        const GeoPositions3fPtr p = GeoPositions3fPtr::dcast(geometryOf(copy)->getPositions());
        const GeoIndicesUI32Ptr n = GeoIndicesUI32Ptr::dcast(geometryOf(copy)->getIndices());
        ASSERT_EQ(100u, p->size());
        const Real32 step = 102.f / Real32((1u << std::stoi(bits)) - 1);
        for (UInt32 i = 0; i < 100; ++i) {
            EXPECT_TRUE(p->getField()[i].equals(positions->getField()[i], step * 0.51f + 2e-5f));
            EXPECT_EQ(99 - i, n->getField()[i]);
        }
        subRefCP(copy);
        SceneFileHandler::the().setOptions("osb", "packIndices=true,unpack16BitIndices=true");
        const NodePtr narrow = readOsb(small);
        EXPECT_NE(NullFC, GeoIndicesUI16Ptr::dcast(geometryOf(narrow)->getIndices()));
        subRefCP(narrow);
    }
    SceneFileHandler::the().setOptions("osb", "");
    EXPECT_EQ(plain, writeOsb(root));
    subRefCP(root);
}

// -- Writing ----------------------------------------------------------------------------------------

TEST_F(OsbTest, SharedCoreIsWrittenOnce)
{
    const NodePtr root = makeCoredNode<Group>();
    addRefCP(root);
    {
        const CPEditor edit(root);
        const NodePtr first = makeCoredNode<Transform>();
        root->addChild(first);
        root->addChild(makeNodeFor(first->getCore()));
    }
    const NodePtr back = readOsb(writeOsb(root));
    ASSERT_NE(NullFC, back);
    ASSERT_EQ(2u, back->getNChildren());
    EXPECT_EQ(back->getChild(0)->getCore(), back->getChild(1)->getCore());
    EXPECT_EQ(2, back->getChild(0)->getCore().getRefCount());
    subRefCP(back);
    subRefCP(root);
}

TEST_F(OsbTest, DeepTreesAreReadWrittenAndReleased)
{
    const NodePtr root = makeCoredNode<Group>();
    addRefCP(root);
    NodePtr last = root;
    for (int i = 0; i < 10000; ++i) {
        const NodePtr child = makeCoredNode<Group>();
        beginEditCP(last);
        last->addChild(child);
        endEditCP(last);
        last = child;
    }
    const std::string written = writeOsb(root);
    const NodePtr back = readOsb(written);
    ASSERT_NE(NullFC, back);
    EXPECT_EQ(written, writeOsb(back));
    NodePtr node = back;
    int depth = 0;
    for (; node->getNChildren() == 1; node = node->getChild(0))
        ++depth;
    EXPECT_EQ(10000, depth);
    subRefCP(back);
    subRefCP(root);
}
