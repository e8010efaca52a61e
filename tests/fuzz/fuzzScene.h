#pragma once

#include "kelda/KFileIO.h"
#include "kelda/KLibrary.h"
#include "kelda/KMessage.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

/// Opens the bytes as a scene, and what could be opened once more after saving it in the given form: that
/// must work.
inline void fuzzScene(const uint8_t* bytes, size_t count, const char* type)
{
    static const bool up = [] {
        ::setenv("KELDA_DEBUG_NO_SIGNAL_HANDLERS", "1", 1);
        KMessage::setHandler([](KMessage::Kind, const char*, void*) {});
        return static_cast<bool>(KLibrary::initialize("fuzz"));
    }();
    static const int file = ::memfd_create("scene", 0);
    static const std::string path = "/proc/self/fd/" + std::to_string(file);
    static const std::string copy = "/tmp/kelda-fuzz-" + std::to_string(::getpid());
    if (!up || ::ftruncate(file, 0) != 0 || ::pwrite(file, bytes, count, 0) != static_cast<ssize_t>(count))
        std::abort();
    if (KFileIO::open(path).error())
        return;
    const KStatus saved = KFileIO::saveAs(copy, type);
    const KStatus opened = KFileIO::open(copy, type);
    ::unlink(copy.c_str());
    if (saved.error() || opened.error())
        std::abort();
}
