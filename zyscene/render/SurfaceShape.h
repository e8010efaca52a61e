#pragma once

#include "Shape.h"

#include "tessellation/Tessellation.h"

namespace zyscene::render
{

/// The vertex arrays of a surface. Its first texture coordinates are its parameters, 0..1 over the domain.
/// Empty for a mesh without triangles.
Shape makeShape(const SurfaceMesh& mesh);

} // namespace zyscene::render
