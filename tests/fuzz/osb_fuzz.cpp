// Feeds bytes to the reader of ".osb" streams. What can be read is walked, written, and must come back from
// that.

#include <OpenSG/OSGBaseFunctions.h>
#include <OpenSG/OSGLog.h>
#include <OpenSG/OSGNode.h>
#include <OpenSG/OSGOSBSceneFileType.h>

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
    const osg::OSBSceneFileType& type = osg::OSBSceneFileType::the();

    std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
    const osg::NodePtr root = type.read(in, "fuzz.osb");
    if (!root)
        return 0;
    osg::addRefCP(root);
    root->updateVolume();

    std::ostringstream first;
    if (!type.write(root, first, "fuzz.osb"))
        std::abort();
    std::istringstream again(first.str());
    const osg::NodePtr copy = type.read(again, "fuzz.osb");
    if (!copy)
        std::abort();
    osg::subRefCP(copy);
    osg::subRefCP(root);
    return 0;
}
