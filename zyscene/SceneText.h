#pragma once

namespace zyscene
{

class Console;
class Scene;
struct TessellationOptions;

/// Writes what `info` shows of one file to standard output: the tree if asked for, then the statistics.
void writeSceneText(Console& console, const Scene& scene, bool tree, const TessellationOptions& tessellation);

} // namespace zyscene
