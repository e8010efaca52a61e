#pragma once

#include "io/SceneSink.h"

namespace kelda
{

/// A scene of another format, before it becomes Kelda nodes.
struct ForeignNode {
    std::string name;                                                               ///< legal, or empty
    double matrix[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}; ///< for column vectors
    int mesh = -1;                                                                  ///< -1: none
    std::vector<uint32_t> children;
};

struct ForeignMesh {
    std::string name; ///< legal, or empty
    MeshData data;
    int material = -1; ///< -1: none
};

struct ForeignMaterial {
    std::string name; ///< legal, or empty
    bool hasColor = false;
    float color[3] = {0, 0, 0}; ///< diffuse
};

struct ForeignScene {
    std::vector<ForeignNode> nodes;
    std::vector<uint32_t> roots;
    std::vector<ForeignMesh> meshes;
    std::vector<ForeignMaterial> materials;
};

/// The components whose composed matrix is the upper three rows of `matrix` (for column vectors), to within
/// 1e-6 of its largest entry; mirrored and singular ones, too. Pivots and rotate axis stay unused.
TransformData decompose(const double matrix[4][4]);

/// Moves matrices down so that the first transform above each shared mesh has one, as far as some ancestor
/// has one.
///
/// Whoever walks the DAG and folds transforms without a matrix into their shapes can recognise a shared mesh
/// only if the transform right above the first instance is not folded. No world matrix changes.
void arrangeForSharing(ForeignScene& scene);

/// Tells the sink the scene. A mesh that several nodes use becomes one shape with an instance below each; a
/// shape is the first child of its transform. Every material becomes a lambert of its name and a shading
/// group behind it. REQUIRES: a node has at most one mesh, children form trees.
bool tellForeignScene(ForeignScene& scene, SceneSink& sink);

} // namespace kelda
