// The command language on any text: each script runs on a scene of its own.
#include "kelda/KFileIO.h"
#include "kelda/KGlobal.h"
#include "kelda/KItDag.h"
#include "kelda/KLibrary.h"
#include "kelda/KMessage.h"

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const bool started = [] {
        setenv("KELDA_DEBUG_NO_SIGNAL_HANDLERS", "1", 1);
        KMessage::setHandler([](KMessage::Kind, const char*, void*) {});
        return !KLibrary::initialize("command_fuzz", true).error();
    }();
    if (!started)
        std::abort();
    KFileIO::newFile(true);
    KGlobal::executeCommand(KString(std::string(reinterpret_cast<const char*>(data), size)), false, true);
    // What came out can be walked; instancing can make more paths than anybody wants to see.
    int steps = 0;
    for (KItDag it; !it.isDone() && steps < 1000; it.next(), ++steps) {
        KDagPath path;
        if (it.getPath(path).error() || path.fullPathName().length() == 0 ||
            path.partialPathName().length() == 0)
            std::abort();
    }
    return 0;
}
