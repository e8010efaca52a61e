#pragma once

// Scenes of a fixed seed for the benchmarks, independent of any library.

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace bench
{

struct Mesh {
    std::string name;
    int group = 0;                ///< shading group, each with a shader of its own
    std::vector<float> positions; ///< x, y, z of each vertex
    std::vector<float> normals;   ///< x, y, z of each vertex
    std::vector<float> uvs;       ///< u, v of each vertex
    std::vector<int32_t> indices; ///< three of each triangle

    size_t vertexCount() const { return positions.size() / 3; }
    size_t triangleCount() const { return indices.size() / 3; }
};

struct Node {
    std::string name;
    int parent = -1;                   ///< index of an earlier node; -1: below the world
    std::array<double, 3> translate{}; ///< centimetres
    std::array<double, 3> rotate{};    ///< degrees, about x, then y, then z
    double scale = 1.0;
    int mesh = -1; ///< the mesh it places, if any
};

struct Scene {
    std::vector<Mesh> meshes;
    std::vector<Node> nodes;
    int groups = 1;
    bool textured = false; ///< each shader shows a picture of its own, 64 x 64 RGB, beside the scene

    size_t drawnTriangles() const;
};

/// S1: one displaced torus of about `triangles` triangles with normals and one UV set.
Scene denseMesh(size_t triangles = 2000000);

/// S2: `nodes` transforms in six levels, 200 shading groups. The leaves place meshes of 12 to 100 triangles:
/// every second one places one of 50 shared meshes, the others one of their own.
Scene manyNodes(size_t nodes = 20000);

/// S3: meshes of 512 triangles, each with a shading group and a picture of its own.
Scene texturedMeshes(size_t meshes = 1000);

/// A chain of transforms with one small mesh at its end.
Scene deepChain(size_t levels);

/// One mesh placed by `uses` transforms.
Scene instances(size_t uses);

/// Builds the scene in the SDK's present scene.
void buildInSdk(const Scene& scene);

/// Writes the scene through the SDK, its pictures into the folder "textures" beside it.
void writeKelda(const Scene& scene, const std::string& path);

/// Writes the same scene as binary glTF, instances kept, without textures.
void writeGlb(const Scene& scene, const std::string& path);

} // namespace bench
