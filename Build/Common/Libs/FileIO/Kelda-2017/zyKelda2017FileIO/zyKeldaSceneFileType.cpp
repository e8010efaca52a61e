#include "zyKeldaSceneFileType.h"

#include "zyKeldaLoader.h"
#include "zyKeldaWriter.h"

#include <OpenSG/OSGSceneFileHandler.h>
#include <kelda/KLibrary.h>
#include <kelda/KStatus.h>
#include <zyUtils/zyLog.h>

#include <cstdlib>

// The order matters: options are looked up under the first suffix.
const osg::Char8* zyKeldaSceneFileType::_suffixA[] = {"kb", "ka"};

zyKeldaSceneFileType zyKeldaSceneFileType::_the(_suffixA, sizeof(_suffixA), true, 10,
                                                osg::SceneFileType::OSG_READ_SUPPORTED |
                                                    osg::SceneFileType::OSG_WRITE_SUPPORTED);

#if !defined(_WIN32)
// The C runtime call that takes "NAME=value" and copies it.
static int _putenv(const char* setting)
{
    const std::string text(setting);
    const std::string::size_type equals = text.find('=');
    return ::setenv(text.substr(0, equals).c_str(), text.c_str() + equals + 1, 1);
}
#endif

zyKeldaSceneFileType::zyKeldaSceneFileType(const osg::Char8* suffixArray[], osg::UInt16 suffixByteCount,
                                           bool override, osg::UInt32 overridePriority, osg::UInt32 flags)
    : osg::SceneFileType(suffixArray, suffixByteCount, override, overridePriority, flags),
      _keldaInitialized(false)
{
}

zyKeldaSceneFileType::~zyKeldaSceneFileType() = default;

zyKeldaSceneFileType& zyKeldaSceneFileType::the()
{
    return _the;
}

const osg::Char8* zyKeldaSceneFileType::getName() const
{
    return "Kelda Scene";
}

osg::NodePtr zyKeldaSceneFileType::read(std::istream&, const osg::Char8* fileName) const
{
    initializeKelda();
    return zyKeldaLoader::read(std::string(fileName != nullptr ? fileName : ""), storedOptions());
}

bool zyKeldaSceneFileType::write(const osg::NodePtr& node, std::ostream&, const osg::Char8* fileName) const
{
    initializeKelda();
    return zyKeldaWriter::write(node, std::string(fileName != nullptr ? fileName : ""), storedOptions());
}

// Deliberate: the options of "ka" are never looked at; one option set serves both forms.
std::string zyKeldaSceneFileType::storedOptions() const
{
    const osg::Char8* stored = osg::SceneFileHandler::the()->getOptions(_suffixA[0]);
    return stored != nullptr ? stored : "";
}

void zyKeldaSceneFileType::initializeKelda() const
{
    if (_keldaInitialized)
        return;

    // Keeps the SDK from installing its own crash handlers inside the host.
    static const std::string setting("KELDA_DEBUG_NO_SIGNAL_HANDLERS=1");
    _putenv(setting.c_str());

    zyLog::info("Kelda import: initializing kelda ...");
    const KStatus status = KLibrary::initialize("zyKeldaFileIO", true);
    if (status.error()) {
        // The flag stays false: the next request tries again.
        zyLog::error("Kelda import: kelda initialisation failed!");
        return;
    }
    zyLog::info("Kelda import: kelda initialized.");
    _keldaInitialized = true;
}
