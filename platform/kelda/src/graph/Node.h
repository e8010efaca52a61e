#pragma once

#include "base/PodVector.h"
#include "graph/NodeTypes.h"
#include "shapes/Keys.h"
#include "shapes/Nurbs.h"

#include <map>
#include <memory>

namespace kelda
{

using NodeId = uint32_t; ///< grows in the order of creation; never used twice within one scene
constexpr NodeId kNoNode = 0xffffffffu;
constexpr NodeId kWorld = 0; ///< the DAG's root; an ordinary transform-less DAG node without a name of use
using NameId = uint32_t;

// -- connections ----------------------------------------------------------------------------------

/// One end of a connection.
struct PlugKey {
    NodeId node = kNoNode;
    int32_t attr = -1;    ///< index in the node type's attributes
    int32_t element = -1; ///< of an array attribute, or of the array around it; -1: none

    bool operator==(const PlugKey& o) const
    {
        return node == o.node && attr == o.attr && element == o.element;
    }
    bool operator!=(const PlugKey& o) const { return !(*this == o); }
};

struct Link {
    PlugKey own;
    PlugKey other;
};

/// Connections of one node. A plug has at most one link in `in`, and any number in `out`; both in order of
/// making.
struct Links {
    std::vector<Link> in;
    std::vector<Link> out;
};

// -- set membership -------------------------------------------------------------------------------

/// Faces first..last, both included.
struct FaceRange {
    int32_t first;
    int32_t last;
};

/// What handles can hold that is no node.
struct Held {
    KFn::Type type;
};

/// Faces of a mesh: ranges in ascending order, disjoint and not touching, never empty.
struct FaceSet : Held {
    FaceSet() : Held{KFn::kMeshPolygonComponent} {}
    std::vector<FaceRange> ranges;
    int64_t count() const
    {
        int64_t n = 0;
        for (const FaceRange& r : ranges)
            n += int64_t(r.last) - r.first + 1;
        return n;
    }
};

/// One instance's place in one set.
struct Membership {
    NodeId set;
    std::shared_ptr<const FaceSet> faces; ///< null: the whole instance
};

/// The sets of one instance of a DAG node, ascending by set id (that is: in the order of the sets' creation).
using InstanceSets = std::vector<Membership>;

// -- payloads -------------------------------------------------------------------------------------

enum class RotateOrder : uint8_t { XYZ, YZX, ZXY, XZY, YXZ, ZYX }; ///< the axis that turns first stands first

/// Rotations are Euler angles in radians, double precision. A rotation that was set as a quaternion is stored
/// as the Euler angles (in the rotate order) that stand for it.
struct TransformData {
    double translate[3] = {0, 0, 0}; ///< centimetres, as are all lengths
    double rotate[3] = {0, 0, 0};
    double rotateAxis[3] = {0, 0, 0}; ///< rotate orientation: Euler angles, always in the order XYZ
    double scale[3] = {1, 1, 1};
    double shear[3] = {0, 0, 0}; ///< xy, xz, yz
    double rotatePivot[3] = {0, 0, 0};
    double rotatePivotTranslate[3] = {0, 0, 0};
    double scalePivot[3] = {0, 0, 0};
    double scalePivotTranslate[3] = {0, 0, 0};
    RotateOrder rotateOrder = RotateOrder::XYZ;
};

struct UVSet {
    std::string name;
    PodVector<float> u;
    PodVector<float> v;     ///< as long as u
    PodVector<int32_t> ids; ///< one per face vertex, -1: none; empty: no face has UVs
};

/// Invariants (checkMesh): faceCounts are at least 3 and sum up to faceVertices.size(); indices are in range;
/// normalIds has one entry per face vertex, or is empty together with normals.
struct MeshData {
    PodVector<float> points; ///< x, y, z of each point
    PodVector<int32_t> faceCounts;
    PodVector<int32_t> faceVertices; ///< point indices
    PodVector<float> normals; ///< x, y, z of each normal; empty: flat normals are computed, one per face
    PodVector<int32_t> normalIds;
    std::vector<UVSet> uvSets; ///< names are unique

    size_t pointCount() const { return points.size() / 3; }
    size_t faceCount() const { return faceCounts.size(); }
    size_t faceVertexCount() const { return faceVertices.size(); }

    // Made on demand, dropped by changed().
    mutable PodVector<int32_t> faceStarts; ///< first face vertex of each face
    mutable PodVector<float> flatNormals;  ///< per face, when there are no normals
    void changed() const
    {
        faceStarts.clear();
        flatNormals.clear();
    }
};

/// What a mesh must be before it becomes part of the scene. Linear, one pass over each array. Returns null,
/// or what is wrong (a static text, no full stop).
const char* checkMesh(const MeshData& mesh);

/// One pass that the compiler makes a vector loop of.
inline bool allFinite(const float* values, size_t count)
{
    uint32_t bad = 0;
    for (size_t i = 0; i < count; ++i) {
        uint32_t bits;
        __builtin_memcpy(&bits, values + i, sizeof bits);
        bad |= static_cast<uint32_t>((bits & 0x7f800000u) == 0x7f800000u);
    }
    return bad == 0;
}
inline bool allFinite(const PodVector<float>& values)
{
    return allFinite(values.data(), values.size());
}
/// All ids in lowest..count - 1.
bool idsInRange(const PodVector<int32_t>& ids, int32_t lowest, size_t count);

const PodVector<int32_t>& faceStartsOf(const MeshData& mesh);
const PodVector<float>& flatNormalsOf(const MeshData& mesh);

/// A curve that stands in no scene.
struct CurveObject : Held {
    explicit CurveObject(std::shared_ptr<const CurveData> data)
        : Held{KFn::kNurbsCurveData}, curve(std::move(data))
    {
    }
    /// Never null; what it points to is shared and never changed: making the curve anew puts another one
    /// here.
    mutable std::shared_ptr<const CurveData> curve;
};

// -- nodes ----------------------------------------------------------------------------------------

/// Values of attributes without typed data; made when the first of them is set.
struct GenericValues {
    std::vector<double> numbers;
    std::vector<std::string> texts;
    std::vector<std::map<int32_t, std::string>> arrays; ///< of text attributes: element to value, where set
};

struct Node {
    NodeId id = kNoNode;
    NameId name = 0;
    const NodeType* type = nullptr;
    NodeId nextSameName = kNoNode; ///< nodes of one name are chained
    NodeId prevSameName = kNoNode;
    bool isDefault = false; ///< part of every scene: cannot be deleted or renamed, and is not written
    bool dying = false;     ///< being deleted; set while links are cut
    bool isDag = false;
    std::unique_ptr<Links> links; ///< null: no connection
    std::unique_ptr<GenericValues> values;

    virtual ~Node() = default;
    bool isA(KFn::Type fn) const { return type->isA(fn); }
};

struct DagNode : Node {
    std::vector<NodeId> parents;  ///< in the order of their adding; the world counts
    std::vector<NodeId> children; ///< in order
    bool visible = true;
    bool intermediate = false;
    bool templated = false;
    /// By instance number; may be shorter than the number of instances. Null: in no set.
    std::unique_ptr<std::vector<InstanceSets>> memberships;

    mutable uint32_t pathCount =
        0; ///< number of paths to the node, saturating; valid while pathStamp is the scene's
    mutable uint32_t pathStamp = 0;
    mutable uint32_t mark = 0; ///< for walks: seen when equal to the walk's own number

    DagNode() { isDag = true; }
};

struct TransformNode : DagNode {
    TransformData transform;
};

struct MeshNode : DagNode {
    MeshData mesh;
    ~MeshNode() override; ///< iterators over the mesh learn that it is gone
};

struct SurfaceNode : DagNode {
    SurfaceData surface;
};

struct CurveNode : DagNode {
    CurveData curve; ///< never planar
};

struct AnimCurveNode : Node {
    KeyData keys;
};

struct SetNode : Node {
    bool renderable = false;
    /// The node of each membership, in order of adding; a node stands here once for each of its instances.
    /// What part of which instance is kept at the node. May hold nodes that have left: readers look at the
    /// node.
    std::vector<NodeId> members;
};

template <class T>
T* nodeCast(Node* node)
{
    return dynamic_cast<T*>(node);
}

} // namespace kelda
