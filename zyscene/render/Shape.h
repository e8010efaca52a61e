#pragma once

#include "Gl.h"

#include <OpenSG/OSGGeometry.h>

#include <array>
#include <cstddef>
#include <vector>

namespace zyscene::render
{

/// A box along the axes. Values that are not finite do not count.
struct Box {
    std::array<double, 3> min{};
    std::array<double, 3> max{};
    bool empty = true;

    void extend(double x, double y, double z);
    /// Corner 0..7.
    std::array<double, 3> corner(unsigned int i) const;
};

/// Texture units that take coordinates from a geometry.
constexpr std::size_t uvChannels = 8;

/// What a drawable draws, as vertex arrays: one vertex for each corner of a primitive. All arrays are as long
/// as there are vertices, or empty.
struct Shape {
    /// Primitives of one kind: vertices first[i] to first[i] + count[i] make one, or for kinds that may
    /// follow one another without ado, many.
    struct Batch {
        GLenum mode;
        bool polygons; ///< false: points or lines
        bool lit;      ///< false: points and lines without normals, which no light can fall on
        std::vector<GLint> first;
        std::vector<GLsizei> count;
    };

    struct Array {
        int size = 0; ///< floats of a vertex
        std::vector<float> values;
    };

    std::vector<Batch> batches;
    Array positions; ///< 2 to 4 floats; with 4 the last one divides the others
    Array normals;   ///< 3 floats
    Array colors;    ///< 3 or 4 floats
    std::array<Array, uvChannels> uvs;
    Box box;

    bool drawsNothing() const { return batches.empty(); }
    bool hasColors() const { return !colors.values.empty(); }
};

/// The vertex arrays of a geometry. Polygons without normals get those of their faces; strips and fans become
/// triangles for that.
///
/// A primitive with a position that does not exist or is not finite is left out; other values that do not
/// exist are 0. Empty for a geometry that draws nothing.
Shape makeShape(const osg::GeometryPtr& geometry);

} // namespace zyscene::render
