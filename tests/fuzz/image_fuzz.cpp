// Feeds bytes to the readers of image files. What can be read is looked at, turned into other formats, and
// must come back from a PNG file as it is.

#include <OpenSG/OSGBaseFunctions.h>
#include <OpenSG/OSGImageFileHandler.h>
#include <OpenSG/OSGLog.h>

#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

namespace
{

struct Library {
    Library()
    {
        osg::osgInit(0, nullptr);
        osg::osgLog().setLogType(osg::LOG_NONE, true);
    }
    ~Library() { osg::osgExit(); }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const Library library;
    osg::ImageFileHandler& handler = osg::ImageFileHandler::the();

    // Formats are known by their first bytes, but for this one.
    std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
    osg::ImagePtr image = handler.read(in, "image/x-targa");
    if (!image)
        return 0;
    osg::addRefCP(image);
    if (!image->isValid() || image->getData() == nullptr)
        std::abort();
    // Larger ones are read only: they would take all the time.
    if (image->getSize() < (1u << 20)) {
        const std::vector<osg::UInt8> block = handler.store(image);
        osg::ImagePtr copy = osg::Image::create();
        osg::addRefCP(copy);
        if (!handler.restore(copy, block.data(), block.size()) || copy->getPixel() != image->getPixel())
            std::abort();
        image->reformat(osg::Image::OSG_LA_PF);
        image->scale(3, 5);
        osg::subRefCP(copy);
    }
    osg::subRefCP(image);
    return 0;
}
