#include "SurfaceShape.h"

namespace zyscene::render
{

Shape makeShape(const SurfaceMesh& mesh)
{
    Shape shape;
    const std::size_t count = mesh.corners.size();
    if (count == 0)
        return shape;
    shape.batches.push_back({GL_TRIANGLES, true, true, {0}, {static_cast<GLsizei>(count)}});
    Shape::Array& uvs = shape.uvs[0];
    shape.positions.size = shape.normals.size = 3;
    uvs.size = 2;
    shape.positions.values.reserve(3 * count);
    shape.normals.values.reserve(3 * count);
    uvs.values.reserve(2 * count);
    for (const std::uint32_t corner : mesh.corners) {
        const std::array<float, 3>& position = mesh.positions[corner];
        const std::array<float, 3>& normal = mesh.normals[corner];
        shape.positions.values.insert(shape.positions.values.end(), position.begin(), position.end());
        shape.normals.values.insert(shape.normals.values.end(), normal.begin(), normal.end());
        for (std::size_t i = 0; i < 2; ++i) {
            const double part =
                (mesh.parameters[corner][i] - mesh.domain[i]) / (mesh.domain[i + 2] - mesh.domain[i]);
            uvs.values.push_back(static_cast<float>(part));
        }
    }
    for (const std::array<float, 3>& position : mesh.positions)
        shape.box.extend(position[0], position[1], position[2]);
    return shape;
}

} // namespace zyscene::render
