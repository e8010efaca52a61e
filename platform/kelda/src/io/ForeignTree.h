#pragma once

#include "io/SceneSink.h"

namespace kelda
{

/// A scene of another format, before it becomes Kelda nodes.
struct ForeignNode {
    std::string name;                                                               ///< legal, or empty
    double matrix[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}; ///< for column vectors
    int mesh = -1;                                                                  ///< -1: none
    int light = -1;                                                                 ///< -1: none
    std::vector<uint32_t> children;
};

struct ForeignMesh {
    std::string name; ///< legal, or empty
    MeshData data;
    int material = -1; ///< -1: none
};

struct ForeignTexture {
    std::string file;     ///< as the format names it; empty: there is no texture
    unsigned channel = 0; ///< of texture coordinates: see uvSetName()
    double repeat[2] = {1, 1};
    double offset[2] = {0, 0};
    double rotation = 0; ///< radians
    bool wrap[2] = {true, true};
    bool mirror[2] = {false, false};
};

/// Values as shaders have them; those that a format does not give are the defaults of the node type.
struct ForeignMaterial {
    std::string name;      ///< legal, or empty
    bool isGlossy = false; ///< has a highlight: becomes a phong, otherwise a lambert
    bool hasColor = false; ///< diffuse; tints the texture
    bool hasAmbient = false;
    bool hasEmission = false;
    float color[3] = {0, 0, 0};
    float ambient[3] = {0, 0, 0};
    float emission[3] = {0, 0, 0};
    float specular[3] = {0, 0, 0};
    float shininess = 0;
    float transparency = 0;
    ForeignTexture texture;
};

/// At the origin of its node, shining along -z.
struct ForeignLight {
    std::string name; ///< legal, or empty
    const char* type = "pointLight";
    float color[3] = {1, 1, 1};
    float intensity = 1;
    bool fades = false;  ///< with the square of the distance
    double cone = 0;     ///< of a spot light: full angle, radians
    double penumbra = 0; ///< of a spot light: radians, negative
};

/// Name of the UV set for a channel of texture coordinates, counted from 0: "map1", "uvSet1", "uvSet2", ...
std::string uvSetName(unsigned channel);

struct ForeignScene {
    std::vector<ForeignNode> nodes;
    std::vector<uint32_t> roots;
    std::vector<ForeignMesh> meshes;
    std::vector<ForeignMaterial> materials;
    std::vector<ForeignLight> lights;
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
/// shape is the first child of its transform. Every material becomes a shader of its name and a shading group
/// behind it, with a file texture and its placement before it where it has a texture. REQUIRES: a node has at
/// most one mesh or light, each light one node, children form trees.
bool tellForeignScene(ForeignScene& scene, SceneSink& sink);

} // namespace kelda
