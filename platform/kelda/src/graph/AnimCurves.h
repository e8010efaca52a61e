#pragma once

#include "graph/Scene.h"

namespace kelda
{

/// Makes an animation curve without keys that drives the plug, named after it: "wheel_translateX". Fails, and
/// makes none, when the plug holds no single number or has a connection already.
Outcome makeAnimCurve(Scene& scene, const PlugKey& driven, NodeId& made);

} // namespace kelda
