#pragma once

#include "JsonWriter.h"
#include "Scene.h"

namespace zyscene
{

struct TessellationOptions;

/// Writes what `info` shows of one file as members of the object that is open in `json`: root, materials,
/// statistics, messages, progress.
/// @param arrays property values too, not only their hashes
void writeScene(JsonWriter& json, const Scene& scene, bool arrays, const TessellationOptions& tessellation);

/// The messages and the progress alone, for commands that show no scene.
void writeDiagnostics(JsonWriter& json, const Scene& scene);

} // namespace zyscene
