#include "osb_bytes.h"

#include <OpenSG/OSGFieldContainerFactory.h>
#include <OpenSG/OSGLog.h>
#include <OpenSG/OSGNode.h>

#include <gtest/gtest.h>

using namespace osg;

namespace
{

// A little of everything that has a form in files.
std::string smallScene()
{
    Bytes file = Bytes::header();
    file.record("Node", 1, 2)
        .field("attachments", "SFAttachmentMap", Bytes().u32(2).u32(2).u32(3).u16(0).u16(1))
        .field("travMask", "SFUInt32", Bytes().u32(0xffffffff))
        .handles("children", "MFNodePtr", {4, 5})
        .handle("core", "SFNodeCorePtr", 6)
        .end();
    file.record("Name", 2, 4).field("name", "SFString", Bytes().str("root")).end();
    file.record("StringAttributeMap", 3, 4)
        .field("keys", "MFString", Bytes().u32(2).str("a").str("b"))
        .field("values", "MFString", Bytes().u32(1).str("c"))
        .end();
    file.record("Node", 4, 2).handle("core", "SFNodeCorePtr", 7).end();
    file.record("Node", 5, 2).handle("core", "SFNodeCorePtr", 7).end();
    file.record("ComponentTransform", 6, 3)
        .field("rotation", "SFQuaternion", Bytes().f32(0).f32(0).f32(0).f32(1))
        .end();
    file.record("Geometry", 7, -1)
        .handle("material", "SFMaterialPtr", 8)
        .handle("positions", "SFGeoPositionsPtr", 10)
        .field("indexMapping", "MFUInt16", Bytes().u32(1).u16(1))
        .field("dlistCache", "SFBool", Bytes().u8(1))
        .field("qnormals", "QMFUInt83f", Bytes().u8(1).f32(-1).f32(1).u32(1).u8(0).u8(1).u8(2))
        .str("pindices")
        .str("PMFUInt8")
        .u32(9)
        .u32(3)
        .u32(2)
        .u32(1)
        .u8(0x70)
        .end();
    file.record("ChunkMaterial", 8, 5).handles("chunks", "MFStateChunkPtr", {9}).end();
    file.record("MaterialChunk", 9, 6).field("shininess", "SFReal32", Bytes().f32(3)).end();
    file.record("GeoPositions3f", 10, 4)
        .field("positions", "MFPnt3f", Bytes().u32(1).f32(1).f32(2).f32(3))
        .end();
    file.record("Strange", 11, 1).field("x", "SFX", Bytes().u8(1)).end();
    return file.end().text();
}

class OsbDamageTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        FieldContainerFactory* const factory = FieldContainerFactory::the();
        for (auto it = factory->beginTypes(); it != factory->endTypes(); ++it)
            (*it)->getPrototype();
    }
    void SetUp() override { osgLog().setLogType(LOG_NONE, true); }
    void TearDown() override { osgLog().setLogType(LOG_STDERR, true); }

    // Whatever comes out can be walked, written and released. The copy is as long as the text: the address
    // sanitizer sees every byte beyond.
    static bool survives(const std::string& bytes)
    {
        const NothingLeft nothingLeft;
        const std::string exact(bytes.data(), bytes.size());
        const NodePtr root = readOsb(exact);
        if (!root)
            return false;
        addRefCP(root);
        EXPECT_NE("", writeOsb(root));
        root->getVolume(true);
        subRefCP(root);
        return true;
    }
};

} // namespace

TEST_F(OsbDamageTest, WholeSceneIsRead)
{
    EXPECT_TRUE(survives(smallScene()));
}

TEST_F(OsbDamageTest, SceneCutAtAnyLengthIsRefused)
{
    const std::string scene = smallScene();
    for (std::size_t length = 0; length < scene.size(); ++length)
        EXPECT_FALSE(survives(scene.substr(0, length))) << "the first " << length << " bytes";
}

TEST_F(OsbDamageTest, AnyByteMayBeWrong)
{
    const std::string scene = smallScene();
    std::size_t refused = 0;
    for (std::size_t i = 0; i < scene.size(); ++i) {
        std::string inverted = scene, next = scene;
        inverted[i] = static_cast<char>(inverted[i] ^ 0xff);
        next[i] = static_cast<char>(next[i] + 1);
        refused += !survives(inverted);
        refused += !survives(next);
    }
    EXPECT_GT(refused, 0u);
}

TEST_F(OsbDamageTest, CutSceneGivesOneLineInTheLog)
{
    osgLog().setLogType(LOG_STDERR, true);
    const std::string scene = smallScene();
    for (std::size_t length = 0; length < scene.size(); length += 7) {
        const auto log = logOf([&] { EXPECT_EQ(NullFC, readOsb(scene.substr(0, length))); });
        ASSERT_EQ(1u, log.size()) << length;
        EXPECT_EQ(0u, log[0].find("WARNING:  scene.osb: byte ")) << log[0];
    }
}

// Each node lists all that come before: as many references as the file is long, none of which may be walked
// twice.
TEST_F(OsbDamageTest, TanglesOfReferencesTakeLinearTime)
{
    Bytes file = Bytes::header();
    constexpr std::uint32_t count = 2000;
    for (std::uint32_t id = 1; id <= count; ++id) {
        std::vector<std::uint32_t> children;
        for (std::uint32_t k = 0; k < 500; ++k)
            children.push_back((id * 7919 + k * 104729) % count + 1);
        file.record("Node", id, 2).handles("children", "MFNodePtr", children).end();
    }
    EXPECT_TRUE(survives(file.end().text()));
}

// The last of many parents keeps a long list of children.
TEST_F(OsbDamageTest, LongListsOfChildrenMoveInLinearTime)
{
    Bytes file = Bytes::header();
    constexpr std::uint32_t count = 20000;
    std::vector<std::uint32_t> all;
    for (std::uint32_t id = 10; id < 10 + count; ++id)
        all.push_back(id);
    file.record("Node", 1, 2).handles("children", "MFNodePtr", {2, 3, 4}).end();
    for (std::uint32_t parent = 2; parent <= 4; ++parent)
        file.record("Node", parent, 2).handles("children", "MFNodePtr", all).end();
    for (const std::uint32_t id : all)
        file.record("Node", id, 2).end();
    const NodePtr root = readOsb(file.end());
    ASSERT_NE(NullFC, root);
    EXPECT_EQ(0u, root->getChild(0)->getNChildren());
    EXPECT_EQ(0u, root->getChild(1)->getNChildren());
    EXPECT_EQ(count, root->getChild(2)->getNChildren());
    subRefCP(root);
}
