#pragma once

#include "DrawList.h"

#include <string>

namespace zyscene::render
{

enum class View { Front, Side, Top, Iso };

/// A perspective camera. y is up.
struct Camera {
    WorldMatrix view;       ///< from the world to the eye, which looks along -z
    WorldMatrix projection; ///< from the eye to -1..1
    WorldMatrix world;      ///< from the eye to the world
};

/// Looks at everything that is drawn, from +z (front), +x (side), +y (top) or from all three alike (iso), as
/// near as leaves a small margin at two sides of the picture.
/// @param aspect  width by height of the picture
/// @param problem set to the reason, for people, when the result is of no use: nothing is drawn, or it lies
/// too far
///                apart
Camera fitCamera(const DrawList& list, View view, double aspect, std::string& problem);

} // namespace zyscene::render
