#ifndef ZYIMAGE_H
#define ZYIMAGE_H

#include <zyOpenSGUtils/zyOpenSGUtilsApi.h>

#include <OpenSG/OSGImage.h>

/// Operations on images.
class ZYOPENSGUTILS_API zyImage
{
public:
    /// Takes the alpha channel away, in place: whatever shows the image shows it without from then on. RGBA
    /// becomes RGB, LA and intensity become L, BGRA becomes BGR, and an alpha channel that is only forced is
    /// so no more. Of several levels or frames the first one stays; name, resolution and attachments stay as
    /// they are.
    ///
    /// @return `image`, also when it had no alpha; null, with nothing changed, when there is no image or
    /// nothing would be
    ///         left of it: no pixels, alpha only, or a compressed format.
    static osg::ImagePtr removeAlpha(const osg::ImagePtr& image);
};

#endif
