#pragma once

#include "io/SceneSink.h"

namespace kelda
{

/// Tells the scene to a writer, always in the same order: the unit; the DAG depth first, each node with its
/// attributes where it is met first, and as an instance where it is met again; the other nodes in the order
/// of their creation; set by set its members; connections. Default nodes appear only where they differ or
/// something hangs on them. False: `error` says why, be it the writer's reason or a value that no file can
/// hold.
bool walkScene(Scene& scene, SceneSink& sink, std::string& error);

} // namespace kelda
