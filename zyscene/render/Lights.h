#pragma once

#include "Chunks.h"

#include <vector>

namespace zyscene::render
{

/// Turns on the lights of a scene: they light everything, wherever they stand in the graph. As many as OpenGL
/// has; a notice tells of the others. A scene without lights gets one at the camera, white and without end.
///
/// Leaves the modelview matrix changed.
void setLights(Frame& frame, const std::vector<LightUse>& lights);

} // namespace zyscene::render
