#include "helpers.h"

#include <OpenSG/OSGImage.h>

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <cstring>
#include <map>
#include <string>
#include <vector>

using namespace osg;

typedef std::vector<UInt8> Bytes;

static Bytes pixelsOf(const ImagePtr& image)
{
    return Bytes(image->getPixel().begin(), image->getPixel().end());
}

// -- Set and look -----------------------------------------------------------------------------

TEST(Image, isEmptyAtFirst)
{
    const New<Image> image;
    EXPECT_EQ(0, image->getWidth());
    EXPECT_EQ(0, image->getDimension());
    EXPECT_EQ(0u, image->getSize());
    EXPECT_EQ(nullptr, image->getData());
    EXPECT_FALSE(image->isValid());
    EXPECT_FALSE(image->hasAlphaChannel());
    EXPECT_TRUE(image->hasColorChannel()); // deliberately
    EXPECT_EQ(0u, image->getComponents());
    EXPECT_EQ(72.f, image->getResX());
}

TEST(Image, setCopiesItsDataOrZeroesIt)
{
    const New<Image> image;
    Bytes data = {1, 2, 3, 4, 5, 6};
    ASSERT_TRUE(image->set(Image::OSG_RGB_PF, 2, 1, 1, 1, 1, 0, data.data()));
    data[0] = 99;
    EXPECT_EQ(Bytes({1, 2, 3, 4, 5, 6}), pixelsOf(image));
    EXPECT_EQ(1, image->getDimension());
    EXPECT_EQ(3, image->getBpp());
    EXPECT_EQ(3u, image->getComponents());
    ASSERT_TRUE(image->set(Image::OSG_LA_PF, 2, 2));
    EXPECT_EQ(Bytes(8, 0), pixelsOf(image));
    EXPECT_EQ(2, image->getDimension());
    ASSERT_TRUE(image->set(Image::OSG_L_PF, -5, 0, 2, 1, 1, 0, nullptr, Image::OSG_UINT16_IMAGEDATA));
    EXPECT_EQ(1, image->getWidth());
    EXPECT_EQ(1, image->getHeight());
    EXPECT_EQ(3, image->getDimension());
    EXPECT_EQ(2, image->getBpp());
    EXPECT_EQ(4u, image->getSize());
}

TEST(Image, refusesUnknownFormatsAndSizesBeyondReason)
{
    const New<Image> image;
    ASSERT_TRUE(image->set(Image::OSG_L_PF, 1));
    testing::internal::CaptureStderr();
    EXPECT_FALSE(image->set(0, 4, 4));
    EXPECT_FALSE(image->set(Image::OSG_RGB_PF, 4, 4, 1, 1, 1, 0, nullptr, 7));
    EXPECT_FALSE(image->set(Image::OSG_RGBA_PF, 100000, 100000));
    EXPECT_FALSE(image->set(Image::OSG_RGBA_PF, 0x7fffffff, 0x7fffffff, 0x7fffffff, 30, 0x7fffffff, 0,
                            nullptr, Image::OSG_FLOAT32_IMAGEDATA, true, 0x7fffffff));
    EXPECT_FALSE(image->set(Image::OSG_RGBA_PF, 1, 1, 1, 0x7fffffff));
    EXPECT_NE(std::string::npos, testing::internal::GetCapturedStderr().find("100000 x 100000"));
    EXPECT_EQ(1u, image->getSize()); // as it was
}

TEST(Image, withoutMemoryItHasSizesOnly)
{
    const New<Image> image;
    EXPECT_FALSE(image->set(Image::OSG_RGB_PF, 2, 2, 1, 1, 1, 0, nullptr, Image::OSG_UINT8_IMAGEDATA, false));
    EXPECT_EQ(12u, image->getSize());
    EXPECT_FALSE(image->isValid());
    EXPECT_EQ(nullptr, image->getData());
    ASSERT_TRUE(image->setData(Bytes(12, 7).data()));
    EXPECT_TRUE(image->isValid());
    EXPECT_EQ(7, image->getData()[11]);
    image->clear(3);
    EXPECT_EQ(Bytes(12, 3), pixelsOf(image));
    image->clearData();
    EXPECT_FALSE(image->isValid());
    EXPECT_EQ(2, image->getWidth());
}

TEST(Image, findsLevelsFramesAndSides)
{
    const New<Image> image;
    // 4 x 2 and 2 x 1 pixels, twice in each of two sides
    ASSERT_TRUE(
        image->set(Image::OSG_L_PF, 4, 2, 1, 2, 2, 0.04, nullptr, Image::OSG_UINT8_IMAGEDATA, true, 2));
    EXPECT_EQ(40u, image->getSize());
    EXPECT_EQ(8u, image->getSize(false, false, false));
    EXPECT_EQ(10u, image->getSize(true, false, false));
    EXPECT_EQ(20u, image->getSize(true, true, false));
    UInt8* const data = image->getData();
    EXPECT_EQ(data + 8, image->getData(1));
    EXPECT_EQ(data + 10, image->getData(0, 1));
    EXPECT_EQ(data + 38, image->getData(1, 1, 1));
    EXPECT_EQ(nullptr, image->getData(2));
    EXPECT_EQ(nullptr, image->getData(0, 2));
    EXPECT_EQ(nullptr, image->getData(0, 0, 2));
}

TEST(Image, levelsBeyondTheSmallestArePixelsOfTheirOwn)
{
    const New<Image> image;
    ASSERT_TRUE(image->set(Image::OSG_L_PF, 2, 1, 1, 50));
    EXPECT_EQ(51u, image->getSize());
    EXPECT_EQ(image->getData() + 50, image->getData(49));
}

TEST(Image, compressedFormatsComeInBlocksOfFourByFour)
{
    const New<Image> image;
    ASSERT_TRUE(image->set(Image::OSG_RGB_DXT1, 5, 4));
    EXPECT_EQ(16u, image->getSize());
    ASSERT_TRUE(image->set(Image::OSG_RGBA_DXT5, 5, 5));
    EXPECT_EQ(64u, image->getSize());
    EXPECT_TRUE(image->hasAlphaChannel());
    testing::internal::CaptureStderr();
    EXPECT_FALSE(image->reformat(Image::OSG_RGB_PF));
    EXPECT_FALSE(image->scale(2, 2));
    EXPECT_FALSE(testing::internal::GetCapturedStderr().empty());
}

TEST(Image, knowsItsChannels)
{
    const std::map<UInt32, std::string> channels = {
        {Image::OSG_A_PF, "alpha"},     {Image::OSG_I_PF, "alpha"},
        {Image::OSG_L_PF, ""},          {Image::OSG_LA_PF, "alpha"},
        {Image::OSG_RGB_PF, "color"},   {Image::OSG_RGBA_PF, "coloralpha"},
        {Image::OSG_BGR_PF, "color"},   {Image::OSG_BGRA_PF, "coloralpha"},
        {Image::OSG_RGB_DXT1, "color"}, {Image::OSG_RGBA_DXT1, "coloralpha"}};
    for (const auto& row : channels) {
        const New<Image> image;
        ASSERT_TRUE(image->set(row.first, 1));
        EXPECT_EQ(row.second, std::string(image->hasColorChannel() ? "color" : "") +
                                  (image->hasAlphaChannel() ? "alpha" : ""))
            << row.first;
    }
    const New<Image> image;
    ASSERT_TRUE(image->set(Image::OSG_L_PF, 1));
    const CPEditor edit(image.get());
    image->setForceAlphaChannel(true);
    EXPECT_TRUE(image->hasAlphaChannel());
    image->setForceColorChannel(true);
    EXPECT_TRUE(image->hasColorChannel());
}

TEST(Image, comparesPixelsAndFormatsButNotNames)
{
    const New<Image> a, b;
    ASSERT_TRUE(a->set(Image::OSG_L_PF, 2, 1, 1, 1, 1, 0, Bytes({1, 2}).data()));
    ASSERT_TRUE(b->set(a.get()));
    {
        const CPEditor edit(b.get());
        b->setName("other.png");
    }
    EXPECT_TRUE(*a.get() == *b.get());
    b->getData()[1] = 3;
    EXPECT_TRUE(*a.get() != *b.get());
}

TEST(Image, keepsTextsInAnAttachment)
{
    const New<Image> image;
    EXPECT_EQ(nullptr, image->findAttachmentField("fileName"));
    image->setAttachmentField("fileName", "a.png");
    image->setAttachmentField("fileName", "b.png");
    ASSERT_NE(nullptr, image->findAttachmentField("fileName"));
    EXPECT_EQ("b.png", *image->findAttachmentField("fileName"));
    EXPECT_EQ(nullptr, image->findAttachmentField("other"));
    EXPECT_EQ(1u, image->getAttachments().size());
}

// -- Convert ----------------------------------------------------------------------------------

static Bytes reformatted(UInt32 from, const Bytes& pixel, UInt32 to)
{
    const New<Image> image;
    EXPECT_TRUE(image->set(from, 1, 1, 1, 1, 1, 0, pixel.data()));
    EXPECT_TRUE(image->reformat(to)) << from << " to " << to;
    EXPECT_EQ(to, image->getPixelFormat());
    return pixelsOf(image);
}

TEST(ImageReformat, greyBecomesEveryChannelAlphaIncluded)
{
    for (const UInt32 from : {Image::OSG_A_PF, Image::OSG_I_PF, Image::OSG_L_PF}) {
        for (const UInt32 to : {Image::OSG_A_PF, Image::OSG_I_PF, Image::OSG_L_PF}) {
            if (from != to) {
                EXPECT_EQ(Bytes({40}), reformatted(from, {40}, to));
            }
        }
        EXPECT_EQ(Bytes({40, 40}), reformatted(from, {40}, Image::OSG_LA_PF));
        EXPECT_EQ(Bytes({40, 40, 40}), reformatted(from, {40}, Image::OSG_RGB_PF));
        EXPECT_EQ(Bytes({40, 40, 40, 40}), reformatted(from, {40}, Image::OSG_RGBA_PF));
    }
}

TEST(ImageReformat, greyWithAlphaKeepsBoth)
{
    const Bytes pixel = {40, 200};
    EXPECT_EQ(Bytes({200}), reformatted(Image::OSG_LA_PF, pixel, Image::OSG_A_PF));
    EXPECT_EQ(Bytes({40}), reformatted(Image::OSG_LA_PF, pixel, Image::OSG_I_PF));
    EXPECT_EQ(Bytes({40}), reformatted(Image::OSG_LA_PF, pixel, Image::OSG_L_PF));
    EXPECT_EQ(Bytes({40, 40, 40}), reformatted(Image::OSG_LA_PF, pixel, Image::OSG_RGB_PF));
    EXPECT_EQ(Bytes({40, 40, 40, 200}), reformatted(Image::OSG_LA_PF, pixel, Image::OSG_RGBA_PF));
}

TEST(ImageReformat, coloursBecomeTheirCutAverage)
{
    const Bytes pixel = {10, 20, 32}; // 62 / 3
    EXPECT_EQ(Bytes({20}), reformatted(Image::OSG_RGB_PF, pixel, Image::OSG_A_PF));
    EXPECT_EQ(Bytes({20}), reformatted(Image::OSG_RGB_PF, pixel, Image::OSG_I_PF));
    EXPECT_EQ(Bytes({20}), reformatted(Image::OSG_RGB_PF, pixel, Image::OSG_L_PF));
    EXPECT_EQ(Bytes({20, 20}), reformatted(Image::OSG_RGB_PF, pixel, Image::OSG_LA_PF));
    EXPECT_EQ(Bytes({10, 20, 32, 20}), reformatted(Image::OSG_RGB_PF, pixel, Image::OSG_RGBA_PF));
    EXPECT_EQ(Bytes({255}), reformatted(Image::OSG_RGB_PF, {255, 255, 255}, Image::OSG_L_PF));
}

TEST(ImageReformat, coloursWithAlphaKeepTheirAlpha)
{
    const Bytes pixel = {10, 20, 32, 200};
    EXPECT_EQ(Bytes({200}), reformatted(Image::OSG_RGBA_PF, pixel, Image::OSG_A_PF));
    EXPECT_EQ(Bytes({20}), reformatted(Image::OSG_RGBA_PF, pixel, Image::OSG_I_PF));
    EXPECT_EQ(Bytes({20}), reformatted(Image::OSG_RGBA_PF, pixel, Image::OSG_L_PF));
    EXPECT_EQ(Bytes({20, 200}), reformatted(Image::OSG_RGBA_PF, pixel, Image::OSG_LA_PF));
    EXPECT_EQ(Bytes({10, 20, 32}), reformatted(Image::OSG_RGBA_PF, pixel, Image::OSG_RGB_PF));
    EXPECT_EQ(Bytes({32, 20, 10, 200}), reformatted(Image::OSG_RGBA_PF, pixel, Image::OSG_BGRA_PF));
    EXPECT_EQ(Bytes({10, 20, 32, 200}),
              reformatted(Image::OSG_BGRA_PF, {32, 20, 10, 200}, Image::OSG_RGBA_PF));
    EXPECT_EQ(Bytes({10, 20, 32}), reformatted(Image::OSG_BGR_PF, {32, 20, 10}, Image::OSG_RGB_PF));
}

TEST(ImageReformat, toTheSameFormatChangesNothingAndSaysSo)
{
    const New<Image> image, copy;
    ASSERT_TRUE(image->set(Image::OSG_L_PF, 2, 1, 1, 1, 1, 0, Bytes({1, 2}).data()));
    EXPECT_FALSE(image->reformat(Image::OSG_L_PF));
    EXPECT_EQ(Bytes({1, 2}), pixelsOf(image));
    EXPECT_TRUE(image->reformat(Image::OSG_L_PF, copy.get()));
    EXPECT_EQ(Bytes({1, 2}), pixelsOf(copy));
}

TEST(ImageReformat, intoAnotherImageLeavesTheFirstAlone)
{
    const New<Image> image, other;
    ASSERT_TRUE(image->set(Image::OSG_L_PF, 2, 1, 1, 1, 1, 0, Bytes({1, 2}).data()));
    ASSERT_TRUE(image->reformat(Image::OSG_LA_PF, other.get()));
    EXPECT_EQ(Bytes({1, 2}), pixelsOf(image));
    EXPECT_EQ(Bytes({1, 1, 2, 2}), pixelsOf(other));
}

TEST(ImageReformat, keepsTheNameAndTheFirstLevelOfTheFirstFrame)
{
    const New<Image> image;
    ASSERT_TRUE(image->set(Image::OSG_L_PF, 2, 1, 1, 2, 2, 0, Bytes({1, 2, 3, 4, 5, 6}).data()));
    {
        const CPEditor edit(image.get());
        image->setName("wood.jpg");
    }
    ASSERT_TRUE(image->reformat(Image::OSG_A_PF));
    EXPECT_EQ("wood.jpg", image->getName());
    EXPECT_EQ(Bytes({1, 2}), pixelsOf(image));
    EXPECT_EQ(1, image->getMipMapCount());
    EXPECT_EQ(1, image->getFrameCount());
}

TEST(ImageReformat, takesTheHighBitsOfWiderChannels)
{
    const New<Image> wide;
    const UInt16 values[] = {0xff12, 0x8000};
    ASSERT_TRUE(wide->set(Image::OSG_L_PF, 2, 1, 1, 1, 1, 0, reinterpret_cast<const UInt8*>(values),
                          Image::OSG_UINT16_IMAGEDATA));
    ASSERT_TRUE(wide->reformat(Image::OSG_A_PF));
    EXPECT_EQ(Bytes({0xff, 0x80}), pixelsOf(wide));
    const New<Image> real;
    const Real32 reals[] = {1.5f, 0.5f, -1.f};
    ASSERT_TRUE(real->set(Image::OSG_RGB_PF, 1, 1, 1, 1, 1, 0, reinterpret_cast<const UInt8*>(reals),
                          Image::OSG_FLOAT32_IMAGEDATA));
    ASSERT_TRUE(real->reformat(Image::OSG_RGBA_PF));
    EXPECT_EQ(Bytes({255, 128, 0, 127}), pixelsOf(real));
}

TEST(ImageReformat, refusesWhatItCannotTurn)
{
    const New<Image> image;
    testing::internal::CaptureStderr();
    EXPECT_FALSE(image->reformat(Image::OSG_L_PF));
    ASSERT_TRUE(image->set(Image::OSG_L_PF, 1, 1, 1, 1, 1, 0, Bytes({9}).data()));
    EXPECT_FALSE(image->reformat(12345));
    EXPECT_FALSE(image->reformat(Image::OSG_RGB_DXT1));
    EXPECT_FALSE(testing::internal::GetCapturedStderr().empty());
    EXPECT_EQ(Bytes({9}), pixelsOf(image));
}

TEST(ImageReformat, throughRgbaKeepsEveryPixelOfEveryFormat)
{
    const bool ok = rc::check([] {
        const UInt32 format = *rc::gen::element<UInt32>(Image::OSG_LA_PF, Image::OSG_L_PF, Image::OSG_BGRA_PF,
                                                        Image::OSG_RGB_PF, Image::OSG_BGR_PF);
        const Int32 width = *rc::gen::inRange(1, 9), height = *rc::gen::inRange(1, 9);
        const New<Image> image;
        image->set(format, width, height);
        for (UInt8& value : image->getPixel()) {
            value = *rc::gen::arbitrary<UInt8>();
        }
        const Bytes before = pixelsOf(image);
        RC_ASSERT(image->reformat(Image::OSG_RGBA_PF));
        RC_ASSERT(image->isValid());
        RC_ASSERT(image->reformat(format));
        RC_ASSERT(pixelsOf(image) == before);
    });
    EXPECT_TRUE(ok);
}

TEST(ImageScale, takesTheNearestPixels)
{
    const New<Image> image, other;
    ASSERT_TRUE(image->set(Image::OSG_LA_PF, 2, 2, 1, 1, 1, 0, Bytes({1, 11, 2, 12, 3, 13, 4, 14}).data()));
    ASSERT_TRUE(image->scale(4, 1, 1, other.get()));
    EXPECT_EQ(Bytes({1, 11, 1, 11, 2, 12, 2, 12}), pixelsOf(other));
    EXPECT_EQ(2, image->getWidth());
    ASSERT_TRUE(image->scale(1, 2));
    EXPECT_EQ(Bytes({1, 11, 3, 13}), pixelsOf(image));
    testing::internal::CaptureStderr();
    EXPECT_FALSE(image->scale(100000, 100000));
    EXPECT_FALSE(testing::internal::GetCapturedStderr().empty());
    EXPECT_EQ(1, image->getWidth());
}
