#pragma once

#include "command/Script.h"
#include "io/SceneSink.h"

namespace kelda
{

/// Whether the bytes begin like a scene of the form "ka".
bool looksLikeAscii(std::string_view start);

/// Tells the sink what a "ka" script says. Only commands that build a scene are known here. False: `error`
/// says what is wrong and where.
bool readAscii(std::string_view script, SceneSink& sink, ScriptError& error);

} // namespace kelda
