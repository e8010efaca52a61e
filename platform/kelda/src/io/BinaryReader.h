#pragma once

#include "io/SceneSink.h"

namespace kelda
{

/// Whether the bytes begin like a scene of the form "kb".
bool looksLikeBinary(std::string_view start);

/// Tells the sink what a "kb" file says. `file` must be one that pread() works on; it is not closed. Nothing
/// is believed before its checksum has been looked at, and no allocation is larger than what is left of the
/// file. False: `error` says what is wrong and where.
bool readBinary(int file, SceneSink& sink, std::string& error);

} // namespace kelda
