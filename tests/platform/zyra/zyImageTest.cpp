#include <zyOpenSGUtils/zyImage.h>

#include <OpenSG/OSGImage.h>

#include <gtest/gtest.h>

#include <vector>

typedef std::vector<osg::UInt8> Bytes;

namespace
{

class RemoveAlpha : public testing::Test
{
protected:
    RemoveAlpha() : image(osg::Image::create()) { osg::addRefCP(image); }
    ~RemoveAlpha() override { osg::subRefCP(image); }

    void set(osg::UInt32 format, const Bytes& pixel)
    {
        ASSERT_TRUE(image->set(format, 1, 1, 1, 1, 1, 0.0, pixel.data()));
    }
    Bytes pixels() const { return Bytes(image->getPixel().begin(), image->getPixel().end()); }

    osg::ImagePtr image;
};

} // namespace

TEST_F(RemoveAlpha, keepsTheColoursOfEveryFormat)
{
    set(osg::Image::OSG_RGBA_PF, {1, 2, 3, 4});
    EXPECT_EQ(image, zyImage::removeAlpha(image));
    EXPECT_EQ(osg::UInt32(osg::Image::OSG_RGB_PF), image->getPixelFormat());
    EXPECT_EQ(Bytes({1, 2, 3}), pixels());
    set(osg::Image::OSG_BGRA_PF, {3, 2, 1, 4});
    EXPECT_EQ(image, zyImage::removeAlpha(image));
    EXPECT_EQ(Bytes({3, 2, 1}), pixels());
    set(osg::Image::OSG_LA_PF, {5, 6});
    EXPECT_EQ(image, zyImage::removeAlpha(image));
    EXPECT_EQ(Bytes({5}), pixels());
    set(osg::Image::OSG_I_PF, {7});
    EXPECT_EQ(image, zyImage::removeAlpha(image));
    EXPECT_EQ(osg::UInt32(osg::Image::OSG_L_PF), image->getPixelFormat());
    EXPECT_FALSE(image->hasAlphaChannel());
}

TEST_F(RemoveAlpha, leavesAnImageWithoutAlphaAsItIs)
{
    set(osg::Image::OSG_RGB_PF, {1, 2, 3});
    EXPECT_EQ(image, zyImage::removeAlpha(image));
    EXPECT_EQ(Bytes({1, 2, 3}), pixels());
}

TEST_F(RemoveAlpha, endsAForcedAlphaChannel)
{
    set(osg::Image::OSG_RGB_PF, {1, 2, 3});
    {
        const osg::CPEditor edit(image);
        image->setForceAlphaChannel(true);
    }
    EXPECT_EQ(image, zyImage::removeAlpha(image));
    EXPECT_FALSE(image->hasAlphaChannel());
    EXPECT_EQ(Bytes({1, 2, 3}), pixels());
}

TEST_F(RemoveAlpha, givesNullWhereNothingWouldBeLeft)
{
    EXPECT_TRUE(zyImage::removeAlpha(osg::NullFC) == osg::NullFC);
    EXPECT_TRUE(zyImage::removeAlpha(image) == osg::NullFC);
    set(osg::Image::OSG_A_PF, {1});
    EXPECT_TRUE(zyImage::removeAlpha(image) == osg::NullFC);
    EXPECT_EQ(Bytes({1}), pixels());
    ASSERT_TRUE(image->set(osg::Image::OSG_RGBA_DXT5, 4, 4));
    EXPECT_TRUE(zyImage::removeAlpha(image) == osg::NullFC);
}

TEST_F(RemoveAlpha, keepsTheName)
{
    set(osg::Image::OSG_RGBA_PF, {1, 2, 3, 4});
    {
        const osg::CPEditor edit(image);
        image->setName("wood.png");
    }
    image->setAttachmentField("fileName", "wood.png");
    zyImage::removeAlpha(image);
    EXPECT_EQ("wood.png", image->getName());
    EXPECT_NE(nullptr, image->findAttachmentField("fileName"));
}
