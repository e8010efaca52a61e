#include "helpers.h"

#include <OpenSG/OSGImageFileHandler.h>

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <unistd.h>

using namespace osg;

namespace fs = std::filesystem;

typedef std::vector<UInt8> Bytes;

namespace
{

/// A folder of its own for each test.
class ImageFiles : public testing::Test
{
protected:
    void SetUp() override
    {
        const auto* const test = testing::UnitTest::GetInstance()->current_test_info();
        folder = fs::temp_directory_path() /
                 ("osg_" + std::string(test->name()) + "_" + std::to_string(::getpid()));
        fs::create_directories(folder);
        handler.setPathHandler(nullptr);
    }
    void TearDown() override
    {
        handler.setPathHandler(nullptr);
        fs::remove_all(folder);
    }

    std::string at(const std::string& name) const { return (folder / name).string(); }
    void put(const std::string& name, const Bytes& bytes) const
    {
        std::ofstream(at(name), std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    }
    Bytes get(const std::string& name) const
    {
        std::ifstream in(at(name), std::ios::binary);
        return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    /// What the log says while a file is read that cannot be.
    std::string failure(const std::string& name)
    {
        testing::internal::CaptureStderr();
        const ImagePtr image = handler.read(at(name).c_str());
        EXPECT_TRUE(image == NullFC) << name;
        return testing::internal::GetCapturedStderr();
    }

    fs::path folder;
    ImageFileHandler& handler = ImageFileHandler::the();
};

/// Each pixel and each channel has a value of its own.
ImagePtr pattern(UInt32 format, Int32 width, Int32 height, Int32 type = Image::OSG_UINT8_IMAGEDATA)
{
    const ImagePtr image = Image::create();
    image->set(format, width, height, 1, 1, 1, 0, nullptr, type);
    UInt32 value = 7;
    for (UInt8& byte : image->getPixel()) {
        byte = UInt8(value = value * 31 + 11);
    }
    return image;
}

Bytes pixelsOf(const ImagePtr& image)
{
    return Bytes(image->getPixel().begin(), image->getPixel().end());
}

Bytes encoded(const ImagePtr& image, const char* mimeType)
{
    std::ostringstream out;
    EXPECT_TRUE(ImageFileHandler::the().write(image, out, mimeType));
    const std::string text = out.str();
    return Bytes(text.begin(), text.end());
}

/// Null, without a word in the test's output, if it cannot be decoded.
ImagePtr decoded(const Bytes& bytes, const char* mimeType)
{
    std::istringstream in(std::string(bytes.begin(), bytes.end()));
    testing::internal::CaptureStderr();
    const ImagePtr image = ImageFileHandler::the().read(in, mimeType);
    testing::internal::GetCapturedStderr();
    return image;
}

} // namespace

// -- Round trips ------------------------------------------------------------------------------

TEST_F(ImageFiles, pngKeepsEveryPixel)
{
    for (const Int32 type : {Image::OSG_UINT8_IMAGEDATA, Image::OSG_UINT16_IMAGEDATA}) {
        for (const UInt32 format :
             {Image::OSG_L_PF, Image::OSG_LA_PF, Image::OSG_RGB_PF, Image::OSG_RGBA_PF}) {
            const Kept<ImagePtr> image(pattern(format, 5, 3, type));
            ASSERT_TRUE(handler.write(image, at("a.png").c_str()));
            const Kept<ImagePtr> read(handler.read(at("a.png").c_str()));
            ASSERT_TRUE(read.get() != NullFC);
            EXPECT_EQ(format, read->getPixelFormat());
            EXPECT_EQ(type, read->getDataType());
            EXPECT_EQ(5, read->getWidth());
            EXPECT_EQ(3, read->getHeight());
            EXPECT_EQ(pixelsOf(image), pixelsOf(read));
            EXPECT_NEAR(72, read->getResX(), 0.05);
        }
    }
}

TEST_F(ImageFiles, pngTurnsBlueGreenRedAround)
{
    const Kept<ImagePtr> image(pattern(Image::OSG_BGRA_PF, 2, 1));
    const Bytes p = pixelsOf(image);
    const Kept<ImagePtr> read(decoded(encoded(image, "image/png"), "image/png"));
    EXPECT_EQ(Bytes({p[2], p[1], p[0], p[3], p[6], p[5], p[4], p[7]}), pixelsOf(read));
}

TEST_F(ImageFiles, pngIsTheSameEveryTime)
{
    const Kept<ImagePtr> image(pattern(Image::OSG_RGB_PF, 64, 64));
    ASSERT_TRUE(handler.write(image, at("a.png").c_str()));
    ASSERT_TRUE(handler.write(image, at("b.png").c_str()));
    EXPECT_EQ(get("a.png"), get("b.png"));
    const Kept<ImagePtr> read(handler.read(at("a.png").c_str()));
    ASSERT_TRUE(handler.write(read, at("c.png").c_str()));
    EXPECT_EQ(get("a.png"), get("c.png"));
}

TEST_F(ImageFiles, tiffKeepsEveryPixel)
{
    for (const UInt32 format : {Image::OSG_L_PF, Image::OSG_LA_PF, Image::OSG_RGB_PF, Image::OSG_RGBA_PF}) {
        const Kept<ImagePtr> image(pattern(format, 7, 300));
        ASSERT_TRUE(handler.write(image, at("a.tif").c_str()));
        const Kept<ImagePtr> read(handler.read(at("a.tif").c_str()));
        ASSERT_TRUE(read.get() != NullFC);
        EXPECT_EQ(format, read->getPixelFormat());
        EXPECT_EQ(pixelsOf(image), pixelsOf(read));
        EXPECT_EQ(72.f, read->getResX());
    }
}

TEST_F(ImageFiles, bmpKeepsEveryPixel)
{
    const Kept<ImagePtr> image(pattern(Image::OSG_RGB_PF, 5, 3)); // rows are filled up to 16 bytes
    ASSERT_TRUE(handler.write(image, at("a.BMP").c_str()));
    const Kept<ImagePtr> read(handler.read(at("a.BMP").c_str()));
    ASSERT_TRUE(read.get() != NullFC);
    EXPECT_EQ(pixelsOf(image), pixelsOf(read));
}

TEST_F(ImageFiles, jpegComesNear)
{
    for (const UInt32 format : {Image::OSG_L_PF, Image::OSG_RGB_PF}) {
        const Kept<ImagePtr> image(Image::create());
        ASSERT_TRUE(image->set(format, 40, 24));
        for (UInt32 i = 0; i < image->getSize(); ++i) {
            image->getData()[i] = UInt8(i / UInt32(image->getBpp()) / 40 * 8); // dark at the bottom
        }
        ASSERT_TRUE(handler.write(image, at("a.jpg").c_str()));
        const Kept<ImagePtr> read(handler.read(at("a.jpg").c_str()));
        ASSERT_TRUE(read.get() != NullFC);
        ASSERT_EQ(format, read->getPixelFormat());
        ASSERT_EQ(image->getSize(), read->getSize());
        for (UInt32 i = 0; i < image->getSize(); ++i) {
            ASSERT_NEAR(image->getData()[i], read->getData()[i], 6) << i;
        }
        EXPECT_EQ(72.f, read->getResX());
    }
}

TEST_F(ImageFiles, jpegQualityIsAnOption)
{
    const Kept<ImagePtr> image(pattern(Image::OSG_RGB_PF, 64, 64));
    const std::size_t usual = encoded(image, "image/jpeg").size();
    EXPECT_EQ(nullptr, handler.getOptions("jpg"));
    ASSERT_TRUE(handler.setOptions("jpg", "quality=20"));
    EXPECT_LT(encoded(image, "image/jpeg").size(), usual);
    ASSERT_TRUE(handler.setOptions("jpg", "quality=90"));
    EXPECT_EQ(usual, encoded(image, "image/jpeg").size());
    EXPECT_FALSE(handler.setOptions("xyz", "quality=90"));
}

TEST_F(ImageFiles, anyPngOfAnySizeComesBack)
{
    const bool ok = rc::check([] {
        const UInt32 format =
            *rc::gen::element<UInt32>(Image::OSG_L_PF, Image::OSG_RGB_PF, Image::OSG_RGBA_PF);
        const Kept<ImagePtr> image(pattern(format, *rc::gen::inRange(1, 40), *rc::gen::inRange(1, 40)));
        const char* const mimeType = *rc::gen::element("image/png", "image/tiff");
        const Kept<ImagePtr> read(decoded(encoded(image, mimeType), mimeType));
        RC_ASSERT(read.get() != NullFC);
        RC_ASSERT(pixelsOf(read) == pixelsOf(image));
        RC_ASSERT(read->getWidth() == image->getWidth());
    });
    EXPECT_TRUE(ok);
}

// -- TGA and BMP by hand ----------------------------------------------------------------------

static Bytes tga(UInt8 kind, UInt8 width, UInt8 height, UInt8 bits, UInt8 descriptor, const Bytes& rest,
                 UInt8 mapCount = 0, UInt8 mapBits = 0)
{
    Bytes bytes = {2,      UInt8(mapCount ? 1 : 0),
                   kind,   0,
                   0,      mapCount,
                   0,      mapBits,
                   0,      0,
                   0,      0,
                   width,  0,
                   height, 0,
                   bits,   descriptor,
                   'i',    'd'};
    std::copy(rest.begin(), rest.end(), std::back_inserter(bytes));
    return bytes;
}

static Bytes readTga(const Bytes& file)
{
    const Kept<ImagePtr> image(decoded(file, "image/x-targa"));
    return image.get() == NullFC ? Bytes() : pixelsOf(image);
}

TEST(TgaFile, plainColoursFromTheBottomUp)
{
    EXPECT_EQ(Bytes({3, 2, 1, 6, 5, 4}), readTga(tga(2, 1, 2, 24, 0, {1, 2, 3, 4, 5, 6})));
    EXPECT_EQ(Bytes({3, 2, 1, 9}), readTga(tga(2, 1, 1, 32, 8, {1, 2, 3, 9})));
    EXPECT_EQ(Bytes({255, 0, 132}), readTga(tga(2, 1, 1, 16, 0, {0x10, 0x7c})));
}

TEST(TgaFile, fromTheTopAndFromTheRight)
{
    EXPECT_EQ(Bytes({3, 4, 1, 2}), readTga(tga(3, 2, 2, 8, 0x20, {1, 2, 3, 4})));
    EXPECT_EQ(Bytes({2, 1, 4, 3}), readTga(tga(3, 2, 2, 8, 0x10, {1, 2, 3, 4})));
}

TEST(TgaFile, greyWithAndWithoutAlpha)
{
    EXPECT_EQ(Bytes({1, 2}), readTga(tga(3, 2, 1, 8, 0, {1, 2})));
    EXPECT_EQ(Bytes({1, 2, 3, 4}), readTga(tga(3, 2, 1, 16, 8, {1, 2, 3, 4})));
}

TEST(TgaFile, coloursOfAMap)
{
    EXPECT_EQ(Bytes({6, 5, 4, 3, 2, 1}), readTga(tga(1, 2, 1, 8, 0, {1, 2, 3, 4, 5, 6, 1, 0}, 2, 24)));
    EXPECT_EQ(Bytes(), readTga(tga(1, 2, 1, 8, 0, {1, 2, 3, 4, 5, 6, 1, 2}, 2, 24))); // no third colour
}

TEST(TgaFile, runsOfPixels)
{
    // Three times one, then two single ones; the last run goes on beyond the image.
    EXPECT_EQ(Bytes({7, 7, 7, 1, 2, 9}), readTga(tga(11, 6, 1, 8, 0, {0x82, 7, 0x01, 1, 2, 0xff, 9})));
    EXPECT_EQ(Bytes({3, 2, 1, 3, 2, 1}), readTga(tga(10, 2, 1, 24, 0, {0x81, 1, 2, 3})));
    EXPECT_EQ(Bytes(), readTga(tga(11, 6, 1, 8, 0, {0x82, 7, 0x01, 1})));
}

static void put32(Bytes& bytes, std::size_t at, UInt32 value)
{
    for (std::size_t i = 0; i < 4; ++i) {
        bytes[at + i] = UInt8(value >> 8 * i);
    }
}

/// Header of 40 bytes, then what stands between it and the pixels, then these.
static Bytes bmp(UInt32 width, Int32 height, UInt8 bits, const Bytes& between, const Bytes& pixels,
                 UInt8 compression = 0)
{
    Bytes bytes(54, 0);
    bytes[0] = 'B';
    bytes[1] = 'M';
    put32(bytes, 10, UInt32(54 + between.size()));
    put32(bytes, 14, 40);
    put32(bytes, 18, width);
    put32(bytes, 22, UInt32(height));
    bytes[26] = 1;
    bytes[28] = bits;
    bytes[30] = compression;
    if (bits <= 8) {
        put32(bytes, 46, UInt32(between.size() / 4));
    }
    std::copy(between.begin(), between.end(), std::back_inserter(bytes));
    std::copy(pixels.begin(), pixels.end(), std::back_inserter(bytes));
    return bytes;
}

static Bytes readBmp(const Bytes& file)
{
    const Kept<ImagePtr> image(decoded(file, "image/bmp"));
    return image.get() == NullFC ? Bytes() : pixelsOf(image);
}

TEST(BmpFile, coloursOfAMap)
{
    const Bytes map = {1, 2, 3, 0, 4, 5, 6, 0};
    EXPECT_EQ(Bytes({6, 5, 4, 3, 2, 1}), readBmp(bmp(2, 1, 1, map, {0x80, 0, 0, 0})));
    EXPECT_EQ(Bytes({6, 5, 4, 3, 2, 1}), readBmp(bmp(2, 1, 4, map, {0x10, 0, 0, 0})));
    EXPECT_EQ(Bytes({6, 5, 4, 3, 2, 1}), readBmp(bmp(2, 1, 8, map, {1, 0, 0, 0})));
    EXPECT_EQ(Bytes(), readBmp(bmp(2, 1, 8, map, {1, 2, 0, 0}))); // no third colour
}

TEST(BmpFile, colourBitsAsTheyAreOrByMask)
{
    EXPECT_EQ(Bytes({3, 2, 1}), readBmp(bmp(1, 1, 24, {}, {1, 2, 3, 0})));
    EXPECT_EQ(Bytes({3, 2, 1}), readBmp(bmp(1, 1, 32, {}, {1, 2, 3, 99})));
    EXPECT_EQ(Bytes({255, 0, 132}), readBmp(bmp(1, 1, 16, {}, {0x10, 0x7c, 0, 0})));
    const Bytes masks565 = {0, 0xf8, 0, 0, 0xe0, 7, 0, 0, 0x1f, 0, 0, 0};
    EXPECT_EQ(Bytes({255, 130, 0}), readBmp(bmp(1, 1, 16, masks565, {0x00, 0xfc, 0, 0}, 3)));
    const Bytes masksWithAlpha = {0xff, 0, 0, 0, 0, 0xff, 0, 0, 0, 0, 0xff, 0, 0, 0, 0, 0xff};
    EXPECT_EQ(Bytes({1, 2, 3, 4}), readBmp(bmp(1, 1, 32, masksWithAlpha, {1, 2, 3, 4}, 6)));
}

TEST(BmpFile, fromTheTop)
{
    EXPECT_EQ(Bytes({6, 5, 4, 3, 2, 1}), readBmp(bmp(1, -2, 24, {}, {1, 2, 3, 0, 4, 5, 6, 0})));
    EXPECT_EQ(Bytes({3, 2, 1, 6, 5, 4}), readBmp(bmp(1, 2, 24, {}, {1, 2, 3, 0, 4, 5, 6, 0})));
}

TEST(BmpFile, refusesWhatIsCompressedOrCut)
{
    EXPECT_EQ(Bytes(), readBmp(bmp(1, 1, 8, {0, 0, 0, 0}, {1, 0, 0, 0}, 1)));
    EXPECT_EQ(Bytes(), readBmp(bmp(1, 2, 24, {}, {1, 2, 3, 0, 4, 5})));
    EXPECT_EQ(Bytes(), readBmp(bmp(1, Int32(0x80000000), 24, {}, {1, 2, 3, 0})));
}

// -- Damage -----------------------------------------------------------------------------------

TEST_F(ImageFiles, everyCutFileIsRefused)
{
    const Kept<ImagePtr> image(pattern(Image::OSG_RGB_PF, 8, 9)); // rows that BMP need not fill up
    for (const char* mimeType : {"image/png", "image/jpeg", "image/tiff", "image/bmp"}) {
        const Bytes whole = encoded(image, mimeType);
        for (std::size_t size = 0; size < whole.size(); ++size) {
            const Kept<ImagePtr> read(
                decoded(Bytes(whole.begin(), whole.begin() + std::ptrdiff_t(size)), mimeType));
            // A JPEG file may lack its end mark, and nothing of the image is lost.
            const bool complete = std::string(mimeType) == "image/jpeg" && size + 2 >= whole.size();
            EXPECT_TRUE(complete || read.get() == NullFC) << mimeType << " of " << size << " bytes";
        }
    }
}

TEST_F(ImageFiles, aHeaderThatClaimsTooMuchIsRefusedBeforeAnythingIsAllocated)
{
    // The size in the header of a PNG is covered by a checksum.
    const Bytes png = {0x89, 'P',  'N',  'G',  13,   10,   26, 10, 0,    0,    0,   13,  'I', 'H',
                       'D',  'R',  0,    1,    0x86, 0xa0, 0,  1,  0x86, 0xa0, 8,   2,   0,   0,
                       0,    0x27, 0x30, 0x9c, 0x9f, 0,    0,  0,  0,    'I',  'D', 'A', 'T'};
    put("huge.png", png);
    EXPECT_NE(std::string::npos, failure("huge.png").find("100000 x 100000 pixels"));
    put("huge.bmp", bmp(100000, 100000, 24, {}, Bytes(64, 0)));
    EXPECT_NE(std::string::npos, failure("huge.bmp").find("100000 x 100000 pixels"));
    put("large.bmp", bmp(10000, 10000, 24, {}, Bytes(64, 0)));
    EXPECT_NE(std::string::npos, failure("large.bmp").find("64 bytes cannot hold them"));
    Bytes large = tga(10, 1, 1, 24, 0, {0xff, 1, 2, 3});
    large[13] = large[15] = 0xff; // 65281 x 65281
    put("large.tga", large);
    EXPECT_NE(std::string::npos, failure("large.tga").find("65281 x 65281 pixels"));
    // Little-endian; entries of 12 bytes for width, height and the place of the pixels.
    const Bytes tif = {'I', 'I',  42,   0, 8, 0, 0, 0, 3, 0, 0, 1, 4, 0,    1,    0, 0,
                       0,   0xa0, 0x86, 1, 0, 1, 1, 4, 0, 1, 0, 0, 0, 0xa0, 0x86, 1, 0,
                       17,  1,    4,    0, 1, 0, 0, 0, 8, 0, 0, 0, 0, 0,    0,    0};
    put("huge.tif", tif);
    EXPECT_NE(std::string::npos, failure("huge.tif").find("100000 x 100000 pixels"));
    Bytes jpg = encoded(Kept<ImagePtr>(pattern(Image::OSG_L_PF, 8, 8)), "image/jpeg");
    for (std::size_t i = 0; i + 9 < jpg.size(); ++i) {
        if (jpg[i] == 0xff && jpg[i + 1] == 0xc0) {
            jpg[i + 5] = jpg[i + 7] = 0xf0; // height and width
        }
    }
    put("huge.jpg", jpg);
    EXPECT_NE(std::string::npos, failure("huge.jpg").find("61448 x 61448 pixels"));
}

TEST_F(ImageFiles, aFailureLeavesTheImageAsItWas)
{
    const Kept<ImagePtr> image(pattern(Image::OSG_RGB_PF, 2, 2));
    const Bytes before = pixelsOf(image);
    put("broken.png", {1, 2, 3});
    put("cut.tga", tga(2, 9, 9, 24, 0, {1, 2, 3}));
    testing::internal::CaptureStderr();
    EXPECT_FALSE(image->read(at("broken.png").c_str()));
    EXPECT_FALSE(image->read(at("cut.tga").c_str()));
    EXPECT_FALSE(image->read(at("missing.png").c_str()));
    EXPECT_FALSE(image->read(at("").c_str()));
    EXPECT_FALSE(image->read(nullptr));
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_NE(std::string::npos, log.find("broken.png"));
    EXPECT_NE(std::string::npos, log.find("missing.png\": there is no such file"));
    EXPECT_EQ(before, pixelsOf(image));
    EXPECT_EQ("", image->getName());
    EXPECT_EQ(nullptr, image->findAttachmentField("fileName"));
}

// -- Names and types --------------------------------------------------------------------------

TEST_F(ImageFiles, theContentTellsTheTypeWhereTheSuffixIsWrong)
{
    const Kept<ImagePtr> image(pattern(Image::OSG_RGB_PF, 3, 3));
    ASSERT_TRUE(handler.write(image, at("a.jpg").c_str(), "image/png"));
    const Kept<ImagePtr> read(handler.read(at("a.jpg").c_str()));
    ASSERT_TRUE(read.get() != NullFC);
    EXPECT_EQ(pixelsOf(image), pixelsOf(read));
    std::ifstream in(at("a.jpg"), std::ios::binary);
    EXPECT_EQ("image/png", handler.determineMimetypeFromStream(in));
    EXPECT_EQ("image/jpeg", handler.determineMimetypeFromName("b.c/a.JPEG"));
    EXPECT_EQ("", handler.determineMimetypeFromName("a.png/b"));
    EXPECT_EQ("image/tiff", handler.determineMimetypeFromSuffix("tif"));
    EXPECT_EQ("", handler.determineMimetypeFromSuffix("xyz"));
}

TEST_F(ImageFiles, remembersWhatWasAskedForAndWhatWasOpened)
{
    const Kept<ImagePtr> image(pattern(Image::OSG_RGB_PF, 3, 3));
    ASSERT_TRUE(image->write(at("a.png").c_str()));
    PathHandler paths;
    paths.push_frontPath(folder.c_str());
    handler.setPathHandler(&paths);
    const Kept<ImagePtr> read(Image::create());
    ASSERT_TRUE(read->read("a.png"));
    EXPECT_EQ(at("a.png"), read->getName());
    EXPECT_EQ("a.png", *read->findAttachmentField("fileName"));
    EXPECT_EQ(at("a.png"), *read->findAttachmentField("fullFilePath"));
}

TEST_F(ImageFiles, eitherSeparatorWorks)
{
    fs::create_directories(folder / "tex");
    const Kept<ImagePtr> image(pattern(Image::OSG_RGB_PF, 3, 3));
    ASSERT_TRUE(image->write((folder.string() + "\\tex\\a.png").c_str()));
    EXPECT_TRUE(fs::exists(folder / "tex" / "a.png"));
    const Kept<ImagePtr> read(Image::create());
    EXPECT_TRUE(read->read((folder.string() + "\\\\tex\\a.png").c_str()));
    EXPECT_EQ(at("tex/a.png"), read->getName());
}

TEST_F(ImageFiles, nothingIsWrittenThatTheFormatCannotHold)
{
    testing::internal::CaptureStderr();
    EXPECT_FALSE(handler.write(Kept<ImagePtr>(pattern(Image::OSG_A_PF, 2, 2)), at("a.png").c_str()));
    EXPECT_FALSE(handler.write(Kept<ImagePtr>(pattern(Image::OSG_RGBA_PF, 2, 2)), at("a.jpg").c_str()));
    EXPECT_FALSE(handler.write(Kept<ImagePtr>(pattern(Image::OSG_RGB_PF, 2, 2)), at("a.tga").c_str()));
    EXPECT_FALSE(handler.write(Kept<ImagePtr>(pattern(Image::OSG_RGB_PF, 2, 2)), at("a.xyz").c_str()));
    EXPECT_FALSE(handler.write(Kept<ImagePtr>(pattern(Image::OSG_RGB_PF, 2, 2)), at("no/a.png").c_str()));
    EXPECT_FALSE(handler.write(Kept<ImagePtr>(Image::create()), at("b.png").c_str()));
    EXPECT_FALSE(handler.write(NullFC, at("b.png").c_str()));
    EXPECT_NE(std::string::npos, testing::internal::GetCapturedStderr().find("could not write"));
    EXPECT_TRUE(fs::is_empty(folder));
}

TEST_F(ImageFiles, suffixesAreKnownByWhatCanBeDone)
{
    std::list<std::string> readable, writable;
    handler.getSuffixList(readable, ImageFileHandler::OSG_READ_SUPPORTED);
    handler.getSuffixList(writable, ImageFileHandler::OSG_WRITE_SUPPORTED);
    const auto has = [](const std::list<std::string>& list, const char* suffix) {
        return std::find(list.begin(), list.end(), suffix) != list.end();
    };
    for (const char* suffix : {"png", "jpg", "jpeg", "tif", "tiff", "tga", "bmp"}) {
        EXPECT_TRUE(has(readable, suffix)) << suffix;
    }
    EXPECT_TRUE(has(writable, "png"));
    EXPECT_FALSE(has(writable, "tga"));
}

TEST_F(ImageFiles, storedBlocksComeBack)
{
    const Kept<ImagePtr> image(pattern(Image::OSG_RGBA_PF, 6, 4));
    const Bytes block = handler.store(image);
    ASSERT_GT(block.size(), 32u);
    EXPECT_EQ(Bytes({'p', 'n', 'g', 0, 0, 0, 0, 0, 0x19, 0x08, 0, 6,    0,
                     4,   0,   1,   0, 1, 0, 1, 0, 0,    0,    1, 0x14, 0x01}),
              Bytes(block.begin(), block.begin() + 26));
    const New<Image> read;
    ASSERT_TRUE(handler.restore(read.get(), block.data(), block.size()));
    EXPECT_EQ(pixelsOf(image), pixelsOf(read));
    testing::internal::CaptureStderr();
    EXPECT_FALSE(handler.restore(read.get(), block.data(), 32));
    EXPECT_FALSE(handler.restore(read.get(), nullptr, 0));
    EXPECT_FALSE(handler.restore(read.get(), block.data(), 60));
    EXPECT_FALSE(testing::internal::GetCapturedStderr().empty());
    EXPECT_EQ(pixelsOf(image), pixelsOf(read));
}

TEST_F(ImageFiles, largeImagesOfOneColourAreWithinBounds)
{
    // One colour packs well: what bounds a file must not refuse it.
    const Kept<ImagePtr> image(Image::create());
    ASSERT_TRUE(image->set(Image::OSG_L_PF, 8000, 4000));
    const Bytes bytes = encoded(image, "image/png");
    EXPECT_LT(bytes.size(), 100000u);
    const Kept<ImagePtr> read(decoded(bytes, "image/png"));
    ASSERT_TRUE(read.get() != NullFC);
    EXPECT_EQ(8000, read->getWidth());
}
