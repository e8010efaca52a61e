#include <zyOpenSGUtils/zyImage.h>

// The format that is left without alpha; OSG_INVALID_PF when there is none.
static osg::UInt32 formatWithoutAlpha(osg::UInt32 format)
{
    switch (format) {
    case osg::Image::OSG_RGBA_PF:
        return osg::Image::OSG_RGB_PF;
    case osg::Image::OSG_BGRA_PF:
        return osg::Image::OSG_BGR_PF;
    case osg::Image::OSG_LA_PF:
    case osg::Image::OSG_I_PF:
        return osg::Image::OSG_L_PF;
    case osg::Image::OSG_L_PF:
    case osg::Image::OSG_RGB_PF:
    case osg::Image::OSG_BGR_PF:
        return format;
    default:
        return osg::Image::OSG_INVALID_PF;
    }
}

osg::ImagePtr zyImage::removeAlpha(const osg::ImagePtr& image)
{
    if (image == osg::NullFC || !image->isValid())
        return osg::NullFC;
    if (!image->hasAlphaChannel())
        return image;
    const osg::UInt32 format = formatWithoutAlpha(image->getPixelFormat());
    if (format == osg::Image::OSG_INVALID_PF)
        return osg::NullFC;
    if (format != image->getPixelFormat() && !image->reformat(format))
        return osg::NullFC;
    const osg::CPEditor edit(image, osg::Image::ForceAlphaChannelFieldMask);
    image->setForceAlphaChannel(false);
    return image;
}
