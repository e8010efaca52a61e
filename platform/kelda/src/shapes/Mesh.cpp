#include "graph/Node.h"

#include "kelda/KItMeshPolygon.h"

#include <cmath>
#include <unordered_set>

namespace kelda
{

MeshNode::~MeshNode()
{
    ++KItMeshPolygon::meshEdits;
}

// -- Checks ---------------------------------------------------------------------------------------

// One comparison for each: negative numbers become large ones.
bool idsInRange(const PodVector<int32_t>& ids, int32_t lowest, size_t count)
{
    const uint32_t span = static_cast<uint32_t>(count) + static_cast<uint32_t>(-lowest);
    uint32_t bad = 0;
    for (int32_t id : ids)
        bad |= static_cast<uint32_t>(id) - static_cast<uint32_t>(lowest) >= span ? 1u : 0u;
    return bad == 0;
}

const char* checkMesh(const MeshData& mesh)
{
    const size_t kMax = 0x7fffffff;
    if (mesh.points.size() % 3 != 0 || mesh.normals.size() % 3 != 0)
        return "points and normals have three numbers each";
    if (mesh.pointCount() > kMax || mesh.faceCount() > kMax || mesh.faceVertexCount() > kMax)
        return "the mesh is too large";
    if (mesh.faceCounts.empty())
        return "a mesh has at least one face";
    uint64_t corners = 0;
    int32_t fewest = mesh.faceCounts[0];
    for (int32_t count : mesh.faceCounts) {
        fewest = count < fewest ? count : fewest;
        corners += static_cast<uint32_t>(count);
    }
    if (fewest < 3)
        return "a face has at least three vertices";
    if (corners != mesh.faceVertexCount())
        return "the face counts do not sum up to the number of face vertices";
    if (!idsInRange(mesh.faceVertices, 0, mesh.pointCount()))
        return "a face vertex is not a point of the mesh";
    if (!allFinite(mesh.points))
        return "a point is not finite";
    if (mesh.normals.empty() != mesh.normalIds.empty() ||
        (!mesh.normalIds.empty() && mesh.normalIds.size() != mesh.faceVertexCount()))
        return "normals need one normal id for each face vertex";
    if (!idsInRange(mesh.normalIds, 0, mesh.normals.size() / 3))
        return "a normal id is not a normal of the mesh";
    if (!allFinite(mesh.normals))
        return "a normal is not finite";
    std::unordered_set<std::string> names;
    for (const UVSet& set : mesh.uvSets) {
        if (set.name.empty())
            return "a UV set has no name";
        if (!names.insert(set.name).second)
            return "two UV sets have the same name";
        if (set.u.size() != set.v.size() || set.u.size() > kMax)
            return "a UV set has not as many u as v";
        if (!set.ids.empty() && set.ids.size() != mesh.faceVertexCount())
            return "a UV set needs one UV id for each face vertex";
        if (!idsInRange(set.ids, -1, set.u.size()))
            return "a UV id is not a UV of its set";
        if (!allFinite(set.u) || !allFinite(set.v))
            return "a UV is not finite";
    }
    return nullptr;
}

// -- Made on demand -------------------------------------------------------------------------------

const PodVector<int32_t>& faceStartsOf(const MeshData& mesh)
{
    if (mesh.faceStarts.size() != mesh.faceCounts.size()) {
        mesh.faceStarts.resize(mesh.faceCounts.size());
        int32_t at = 0;
        for (size_t i = 0; i < mesh.faceCounts.size(); ++i) {
            mesh.faceStarts[i] = at;
            at += mesh.faceCounts[i];
        }
    }
    return mesh.faceStarts;
}

const PodVector<float>& flatNormalsOf(const MeshData& mesh)
{
    if (mesh.flatNormals.size() != mesh.faceCounts.size() * 3) {
        mesh.flatNormals.resize(mesh.faceCounts.size() * 3);
        const int32_t* corner = mesh.faceVertices.data();
        for (size_t f = 0; f < mesh.faceCounts.size(); ++f) {
            // The area vector of the polygon, by Newell's sums.
            const int32_t count = mesh.faceCounts[f];
            double n[3] = {0, 0, 0};
            for (int32_t k = 0; k < count; ++k) {
                const float* a = &mesh.points[static_cast<size_t>(corner[k]) * 3];
                const float* b = &mesh.points[static_cast<size_t>(corner[k + 1 == count ? 0 : k + 1]) * 3];
                n[0] += (double(a[1]) - b[1]) * (double(a[2]) + b[2]);
                n[1] += (double(a[2]) - b[2]) * (double(a[0]) + b[0]);
                n[2] += (double(a[0]) - b[0]) * (double(a[1]) + b[1]);
            }
            corner += count;
            const double length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
            // A face without area has no direction; up is as good as any, and finite.
            const bool flat = length > 0 && std::isfinite(length);
            mesh.flatNormals[f * 3 + 0] = flat ? static_cast<float>(n[0] / length) : 0.0f;
            mesh.flatNormals[f * 3 + 1] = flat ? static_cast<float>(n[1] / length) : 1.0f;
            mesh.flatNormals[f * 3 + 2] = flat ? static_cast<float>(n[2] / length) : 0.0f;
        }
    }
    return mesh.flatNormals;
}

} // namespace kelda
