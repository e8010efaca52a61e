#pragma once

#include "tessellation/Tessellation.h"

#include <OpenSG/OSGMaterial.h>
#include <OpenSG/OSGNode.h>

#include <array>
#include <cstdint>
#include <vector>

namespace zyscene
{

/// What a scene consists of. Cores, properties and materials are counted once however often they are used;
/// nodes are counted each.
struct Statistics {
    std::uint64_t nodes = 0;
    std::uint64_t transforms = 0;
    std::uint64_t groups = 0; ///< group cores that are neither transform nor switch nor light
    std::uint64_t switches = 0;
    std::uint64_t geometries = 0; ///< without surfaces
    std::uint64_t surfaces = 0;
    std::uint64_t instances = 0; ///< uses of a core beyond its first
    std::uint64_t primitives = 0;
    std::uint64_t triangles = 0;
    std::uint64_t vertices = 0; ///< positions
    std::uint64_t materials = 0;
    std::uint64_t textures = 0;
    std::uint64_t lights = 0;

    /// Counted for each use of a geometry. A surface that can be drawn is one primitive, and the triangles
    /// that are made of it, here and only here.
    std::uint64_t drawnPrimitives = 0;
    std::uint64_t drawnTriangles = 0;
};

/// The counters in the order in which they are shown, without the drawn ones.
struct StatisticsRow {
    const char* name;
    std::uint64_t Statistics::*count;
};
extern const std::array<StatisticsRow, 13> statisticsRows;

/// Counts what is at and below `root`. Time is linear in the nodes and primitives.
/// @param tessellation how triangles are made of surfaces; null: none are, and surfaces draw nothing
Statistics countScene(const osg::NodePtr& root, const TessellationOptions* tessellation = nullptr);

/// Each material that is used at and below `root` once, with those that they are made of.
std::vector<osg::MaterialPtr> materialsOf(const osg::NodePtr& root);

/// Number of primitives of a geometry core, and of the triangles that they give: those of strips that have no
/// area are counted too, corners that do not make up a triangle are not.
struct PrimitiveCount {
    std::uint64_t primitives = 0;
    std::uint64_t triangles = 0;
};
PrimitiveCount countPrimitives(const osg::NodeCorePtr& core);

/// Whether the container's class is `typeName` or derives from it. A class that the process does not have is
/// nobody's.
bool isKindOf(const osg::FieldContainerPtr& container, const char* typeName);

/// The values of a geometry property: the last field of its class.
const osg::Field* valuesOf(const osg::FieldContainerPtr& property);

} // namespace zyscene
