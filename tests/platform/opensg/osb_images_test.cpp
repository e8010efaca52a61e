#include "osb_bytes.h"

#include <OpenSG/OSGChunkMaterial.h>
#include <OpenSG/OSGGroup.h>
#include <OpenSG/OSGImageFileHandler.h>
#include <OpenSG/OSGMaterialGroup.h>
#include <OpenSG/OSGNode.h>
#include <OpenSG/OSGSceneFileHandler.h>
#include <OpenSG/OSGTextureChunk.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include <unistd.h>

using namespace osg;

namespace fs = std::filesystem;

// Images within scene files: their pixels, an image file in place of these, or only a name.

namespace
{

class OsbImages : public testing::Test
{
protected:
    void SetUp() override
    {
        folder = fs::temp_directory_path() / ("osb_images_" + std::to_string(::getpid()));
        fs::create_directories(folder);
    }
    void TearDown() override
    {
        SceneFileHandler::the().setOptions("osb", "");
        ImageFileHandler::the().setPathHandler(nullptr);
        fs::remove_all(folder);
    }

    /// A node whose material has a texture with this image.
    static NodePtr sceneWith(const ImagePtr& image)
    {
        const TextureChunkPtr texture = TextureChunk::create();
        const ChunkMaterialPtr material = ChunkMaterial::create();
        const MaterialGroupPtr group = MaterialGroup::create();
        const CPEditor editTexture(texture), editMaterial(material), editGroup(group);
        texture->setImage(image);
        material->addChunk(texture);
        group->setMaterial(material);
        const NodePtr node = makeNodeFor(group);
        addRefCP(node);
        return node;
    }
    static ImagePtr imageOf(const NodePtr& scene)
    {
        const auto group = MaterialGroupPtr::dcast(scene->getCore());
        const auto material = group ? ChunkMaterialPtr::dcast(group->getMaterial()) : ChunkMaterialPtr();
        const auto texture = material ? TextureChunkPtr::dcast(material->find(TextureChunk::getClassType()))
                                      : TextureChunkPtr();
        return texture ? texture->getImage() : ImagePtr();
    }
    static ImagePtr flatImage(UInt32 format, Int32 width, Int32 height, const std::string& name)
    {
        const ImagePtr image = Image::create();
        image->set(format, width, height);
        image->clear(80);
        const CPEditor edit(image);
        image->setName(name);
        return image;
    }
    static std::vector<UInt8> pixelsOf(const ImagePtr& image)
    {
        return std::vector<UInt8>(image->getPixel().begin(), image->getPixel().end());
    }

    fs::path folder;
    const NothingLeft nothingLeft;
};

} // namespace

TEST_F(OsbImages, pixelsStandInTheFile)
{
    const NodePtr scene = sceneWith(flatImage(Image::OSG_RGBA_PF, 3, 2, "some/wood.png"));
    const NodePtr read = readOsb(writeOsb(scene));
    ASSERT_NE(NullFC, read);
    addRefCP(read);
    ASSERT_NE(NullFC, imageOf(read));
    EXPECT_TRUE(*imageOf(scene) == *imageOf(read));
    EXPECT_EQ("some/wood.png", imageOf(read)->getName());
    EXPECT_EQ(nullptr, imageOf(read)->findAttachmentField("fileName"));
    subRefCP(read);
    subRefCP(scene);
}

TEST_F(OsbImages, compressedOnesAreSmallerAndComeBack)
{
    const NodePtr scene = sceneWith(flatImage(Image::OSG_RGB_PF, 100, 100, "wood.png"));
    const std::size_t plain = writeOsb(scene).size();
    SceneFileHandler::the().setOptions("osb", "compressTextures=true");
    const std::string compressed = writeOsb(scene);
    EXPECT_LT(compressed.size() + 20000, plain);
    EXPECT_NE(std::string::npos, compressed.find("cpixel"));
    const NodePtr read = readOsb(compressed);
    ASSERT_NE(NullFC, read);
    addRefCP(read);
    EXPECT_EQ(pixelsOf(imageOf(scene)), pixelsOf(imageOf(read)));
    EXPECT_EQ("wood.png", imageOf(read)->getName());

    SceneFileHandler::the().setOptions(
        "osb", "compressTextures=true,texturesImageType=jpeg,texturesCompressionQuality=30");
    const std::string jpeg = writeOsb(scene);
    EXPECT_NE(std::string::npos, jpeg.find("JFIF"));
    subRefCP(read);
    subRefCP(scene);
}

TEST_F(OsbImages, whatCannotBeCompressedWithoutLossStaysAsItIs)
{
    SceneFileHandler::the().setOptions("osb", "compressTextures=true,texturesImageType=jpeg");
    for (const UInt32 format : {Image::OSG_RGBA_PF, Image::OSG_A_PF, Image::OSG_RGB_DXT1}) {
        const NodePtr scene = sceneWith(flatImage(format, 4, 4, ""));
        const std::string bytes = writeOsb(scene);
        EXPECT_EQ(std::string::npos, bytes.find("cpixel")) << format;
        const NodePtr read = readOsb(bytes);
        ASSERT_NE(NullFC, read);
        addRefCP(read);
        EXPECT_TRUE(*imageOf(scene) == *imageOf(read)) << format;
        subRefCP(read);
        subRefCP(scene);
    }
}

TEST_F(OsbImages, withoutPixelsTheFileBesideTheSceneIsRead)
{
    const std::string sceneFile = (folder / "scene.osb").string();
    const NodePtr scene = sceneWith(flatImage(Image::OSG_RGB_PF, 3, 2, "wood.png"));
    ASSERT_TRUE(imageOf(scene)->write((folder / "wood.png").c_str()));
    SceneFileHandler::the().setOptions("osb", "inlineTextures=false");
    ASSERT_TRUE(SceneFileHandler::the().write(scene, sceneFile.c_str()));
    EXPECT_LT(fs::file_size(sceneFile), writeOsb(scene).size() + 1);
    const NodePtr read = SceneFileHandler::the().read(sceneFile.c_str());
    ASSERT_NE(NullFC, read);
    addRefCP(read);
    EXPECT_EQ(pixelsOf(imageOf(scene)), pixelsOf(imageOf(read)));
    EXPECT_EQ((folder / "wood.png").string(), imageOf(read)->getName());
    EXPECT_EQ("wood.png", *imageOf(read)->findAttachmentField("fileName"));
    subRefCP(read);

    fs::remove(folder / "wood.png");
    testing::internal::CaptureStderr();
    const NodePtr without = SceneFileHandler::the().read(sceneFile.c_str());
    EXPECT_NE(std::string::npos, testing::internal::GetCapturedStderr().find("wood.png"));
    ASSERT_NE(NullFC, without);
    addRefCP(without);
    EXPECT_FALSE(imageOf(without)->isValid());
    EXPECT_EQ("wood.png", imageOf(without)->getName());
    subRefCP(without);
    subRefCP(scene);
}

TEST_F(OsbImages, pixelsThatDoNotFitToTheSizeAreDropped)
{
    const auto scene = [](std::uint32_t width, const Bytes& extra) {
        return Bytes::header()
            .record("Node", 1, 2)
            .handle("core", "SFNodeCorePtr", 2)
            .end()
            .raw(Bytes().record("MaterialGroup", 2, 3).handle("material", "SFMaterialPtr", 3).end())
            .raw(Bytes().record("ChunkMaterial", 3, 5).handles("chunks", "MFStateChunkPtr", {4}).end())
            .raw(Bytes().record("TextureChunk", 4, 6).handle("image", "SFImagePtr", 5).end())
            .raw(Bytes()
                     .record("Image", 5, -1)
                     .field("width", "SFInt32", Bytes().u32(width))
                     .field("height", "SFInt32", Bytes().u32(100000))
                     .field("pixelFormat", "SFUInt32", Bytes().u32(0x1907))
                     .raw(extra)
                     .end())
            .end();
    };
    const Bytes pixels = Bytes().field("pixel", "MFUInt8", Bytes().u32(4).u8(1).u8(2).u8(3).u8(4));
    for (const std::uint32_t width : {1u, 100000u, 0x7fffffffu, 0x80000000u}) {
        testing::internal::CaptureStderr();
        const NodePtr read = readOsb(scene(width, pixels));
        EXPECT_NE(std::string::npos, testing::internal::GetCapturedStderr().find("1 image(s) whose pixels"));
        ASSERT_NE(NullFC, read);
        addRefCP(read);
        EXPECT_FALSE(imageOf(read)->isValid());
        EXPECT_EQ(nullptr, imageOf(read)->getData());
        subRefCP(read);
    }
    const Bytes levels = Bytes().field("mipMapCount", "SFInt32", Bytes().u32(0x7fffffff)).raw(pixels);
    testing::internal::CaptureStderr();
    const NodePtr deep = readOsb(scene(1, levels));
    EXPECT_NE(std::string::npos, testing::internal::GetCapturedStderr().find("1 image(s) whose pixels"));
    subRefCP(deep);
    // A block that is no image.
    testing::internal::CaptureStderr();
    const NodePtr read =
        readOsb(scene(1, Bytes().field("cpixel", "MFUInt8", Bytes().u32(3).u8(1).u8(2).u8(3))));
    EXPECT_NE(std::string::npos, testing::internal::GetCapturedStderr().find("stored image"));
    ASSERT_NE(NullFC, read);
    addRefCP(read);
    EXPECT_FALSE(imageOf(read)->isValid());
    subRefCP(read);
    // One that is shorter than it says.
    testing::internal::CaptureStderr();
    EXPECT_EQ(NullFC, readOsb(scene(1, Bytes().field("cpixel", "MFUInt8", Bytes().u32(9).u8(1)))));
    EXPECT_NE(std::string::npos, testing::internal::GetCapturedStderr().find("cpixel"));
}

TEST_F(OsbImages, aNameThatIsGoneLeavesAnImageWithoutPixels)
{
    const NodePtr scene = sceneWith(flatImage(Image::OSG_RGB_PF, 3, 2, ""));
    imageOf(scene)->clearData();
    const NodePtr read = readOsb(writeOsb(scene));
    ASSERT_NE(NullFC, read);
    addRefCP(read);
    EXPECT_EQ(3, imageOf(read)->getWidth());
    EXPECT_FALSE(imageOf(read)->isValid());
    subRefCP(read);
    subRefCP(scene);
}
