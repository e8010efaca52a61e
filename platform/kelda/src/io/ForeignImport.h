#pragma once

#include "io/ImageFolder.h"
#include "io/SceneSink.h"

namespace kelda
{

/// Suffixes of the formats that can be imported besides "ka" and "kb": small letters, without dots, sorted.
const std::vector<std::string>& foreignSuffixes();
/// `suffix`: in small letters, without a dot.
bool isForeignSuffix(const std::string& suffix);

/// Reads such a file and tells the sink what is in it. The reading is done by a process of its own, with
/// limits on time and memory: whatever a damaged file does to the import library, this process gets a
/// verified scene or an error. `path`: a full one. `notes`: what was left out, one line each. `images`: the
/// folder that images embedded in the file have been unpacked to, which must live as long as the scene names
/// them; null when there are none.
bool readForeign(const std::string& path, SceneSink& sink, std::vector<std::string>& notes,
                 std::string& error, std::shared_ptr<ImageFolder>& images);

} // namespace kelda
