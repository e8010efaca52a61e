#include "api/SceneCopy.h"

#include "api/Api.h"

#include <unordered_map>

namespace kelda
{

// -- Matrices -------------------------------------------------------------------------------------

KTransformationMatrix componentsOf(const TransformData& d)
{
    KTransformationMatrix out;
    out.setTranslation(KVector(d.translate));
    out.setRotation(KEulerRotation(d.rotate[0], d.rotate[1], d.rotate[2],
                                   static_cast<KEulerRotation::RotationOrder>(d.rotateOrder)));
    out.setScale(d.scale);
    out.setShear(d.shear);
    out.setScalePivot(KPoint(KVector(d.scalePivot)));
    out.setScalePivotTranslation(KVector(d.scalePivotTranslate));
    out.setRotatePivot(KPoint(KVector(d.rotatePivot)));
    out.setRotatePivotTranslation(KVector(d.rotatePivotTranslate));
    out.setRotationOrientation(KEulerRotation(d.rotateAxis[0], d.rotateAxis[1], d.rotateAxis[2]));
    return out;
}

void setComponents(TransformData& d, const KTransformationMatrix& from)
{
    const auto put = [](double(&to)[3], double x, double y, double z) {
        to[0] = x;
        to[1] = y;
        to[2] = z;
    };
    const KVector t = from.translation();
    const KEulerRotation r = from.eulerRotation();
    const KEulerRotation o = from.rotationOrientationEuler();
    const KPoint sp = from.scalePivot();
    const KVector spt = from.scalePivotTranslation();
    const KPoint rp = from.rotatePivot();
    const KVector rpt = from.rotatePivotTranslation();
    put(d.translate, t.x, t.y, t.z);
    put(d.rotate, r.x, r.y, r.z);
    put(d.rotateAxis, o.x, o.y, o.z);
    put(d.scalePivot, sp.x, sp.y, sp.z);
    put(d.scalePivotTranslate, spt.x, spt.y, spt.z);
    put(d.rotatePivot, rp.x, rp.y, rp.z);
    put(d.rotatePivotTranslate, rpt.x, rpt.y, rpt.z);
    from.getScale(d.scale);
    from.getShear(d.shear);
    d.rotateOrder = static_cast<RotateOrder>(r.order);
}

KMatrix localMatrix(const TransformData& data)
{
    return componentsOf(data).asMatrix();
}

KMatrix worldMatrix(const Scene& scene, const NodeId* ids, size_t count)
{
    KMatrix out;
    for (size_t i = count; i-- > 0;) {
        const Node* node = scene.node(ids[i]);
        if (node->isA(KFn::kTransform))
            out *= localMatrix(static_cast<const TransformNode*>(node)->transform);
    }
    return out;
}

bool spaceMatrix(const KDagPath& path, KSpace::Space space, KMatrix& matrix, KStatus& status)
{
    if (space == KSpace::kObject || space == KSpace::kTransform)
        return true;
    if (space != KSpace::kWorld || !path.isValid()) {
        status = KStatus::kInvalidParameter;
        return false;
    }
    std::vector<NodeId> ids;
    PathTable::idsOf(path.cell(), ids);
    matrix = worldMatrix(Scene::current(), ids.data(), ids.size());
    return true;
}

// -- Duplicates -----------------------------------------------------------------------------------

namespace
{

/// A new node of the same type and content below a parent, without children, in the sets of that instance of
/// the original.
DagNode& copyNode(Scene& scene, const DagNode& from, uint32_t number, NodeId parent)
{
    const std::string name = scene.name(from);
    DagNode& to = *static_cast<DagNode*>(scene.create(*from.type, name, parent));
    to.visible = from.visible;
    to.intermediate = from.intermediate;
    to.templated = from.templated;
    if (from.values)
        to.values.reset(new GenericValues(*from.values));
    if (from.isA(KFn::kTransform))
        static_cast<TransformNode&>(to).transform = static_cast<const TransformNode&>(from).transform;
    if (from.isA(KFn::kMesh))
        static_cast<MeshNode&>(to).mesh = static_cast<const MeshNode&>(from).mesh;
    if (from.isA(KFn::kNurbsSurface))
        static_cast<SurfaceNode&>(to).surface = static_cast<const SurfaceNode&>(from).surface;
    if (from.isA(KFn::kNurbsCurve))
        static_cast<CurveNode&>(to).curve = static_cast<const CurveNode&>(from).curve;
    for (const Membership& m : scene.setsOf(from, number))
        scene.addMember(static_cast<SetNode&>(*scene.node(m.set)), to, 0, m.faces);
    return to;
}

} // namespace

Outcome duplicateNode(Scene& scene, DagNode& node, uint32_t number, bool instance, bool instanceLeaf,
                      NodeId& made)
{
    if (node.id == kWorld)
        return Outcome(KStatus::kInvalidParameter, "the world cannot be duplicated");
    if (node.isA(KFn::kShape)) {
        const NodeId transform = scene.create(*findNodeType("transform"), std::string())->id;
        if (instance || instanceLeaf)
            scene.addParent(node, *scene.dag(transform), Scene::kLast, number);
        else
            copyNode(scene, node, number, transform);
        made = transform;
        return Outcome();
    }
    if (instance) {
        const Outcome added = scene.addParent(node, scene.world());
        if (added)
            made = node.id;
        return added;
    }
    // Every node below is copied once, however many paths lead to it; its instances are instances of the
    // copy.
    std::unordered_map<NodeId, NodeId> copies;
    std::vector<NodeId> todo{node.id};
    made = copies[node.id] = copyNode(scene, node, number, kWorld).id;
    while (!todo.empty()) {
        const NodeId from = todo.back();
        todo.pop_back();
        DagNode& to = *scene.dag(copies[from]);
        const std::vector<NodeId> children = scene.dag(from)->children;
        for (NodeId child : children) {
            DagNode& original = *scene.dag(child);
            if (instanceLeaf && original.isA(KFn::kShape)) {
                scene.addParent(original, to);
                continue;
            }
            const auto known = copies.find(child);
            if (known != copies.end()) {
                scene.addParent(*scene.dag(known->second), to);
                continue;
            }
            copies[child] = copyNode(scene, original, 0, to.id).id;
            todo.push_back(child);
        }
    }
    return Outcome();
}

} // namespace kelda
