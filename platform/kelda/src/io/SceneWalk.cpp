#include "io/SceneWalk.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>

namespace kelda
{

namespace
{

class Walk
{
public:
    Walk(Scene& scene, SceneSink& sink) : _scene(scene), _sink(sink), _indices(scene.idEnd(), kNoIndex) {}

    bool run()
    {
        return _sink.begin(kSceneVersion) && _sink.unit(_scene.linearUnit()) && timeUnit() && dagNodes() &&
               parentOrders() && otherNodes() && members() && connections() && _sink.end();
    }
    const std::string& error() const { return _error.empty() ? _sink.error() : _error; }

private:
    bool timeUnit() { return _scene.timeUnit() == KTime::kFilm || _sink.timeUnit(_scene.timeUnit()); }

    // -- Nodes ------------------------------------------------------------------------------------

    bool dagNodes()
    {
        struct Level {
            DagNode* node;
            size_t nextChild;
        };
        std::vector<Level> stack{{&_scene.world(), 0}};
        while (!stack.empty()) {
            Level& top = stack.back();
            if (top.nextChild == top.node->children.size()) {
                stack.pop_back();
                continue;
            }
            const FileIndex parent = _indices[top.node->id];
            DagNode& child = *_scene.dag(top.node->children[top.nextChild++]);
            if (child.parents.size() > 1)
                _met[child.id].push_back(stack.back().node->id);
            if (_indices[child.id] != kNoIndex) {
                if (!_sink.instance(_indices[child.id], parent))
                    return false;
                continue;
            }
            if (!writeNode(child, parent))
                return false;
            stack.push_back({&child, 0});
        }
        return true;
    }

    bool parentOrders()
    {
        for (NodeId id : _order) {
            const auto met = _met.find(id);
            if (met == _met.end() || met->second == _scene.dag(id)->parents)
                continue;
            std::vector<FileIndex> parents;
            for (NodeId parent : _scene.dag(id)->parents)
                parents.push_back(_indices[parent]);
            if (!_sink.parentOrder(_indices[id], parents.data(), parents.size()))
                return false;
        }
        return true;
    }

    bool otherNodes()
    {
        for (NodeId id = 0; id < _scene.idEnd(); ++id) {
            Node* node = _scene.node(id);
            if (!node || node->isDag)
                continue;
            if (!node->isDefault) {
                if (!writeNode(*node, kNoIndex))
                    return false;
            } else if (isWorthTelling(*node)) {
                _indices[id] = _next++;
                if (!_sink.defaultNode(_indices[id], _scene.name(*node)))
                    return refuse("the node \"" + _scene.name(*node) + "\" cannot be written");
                if (!attributes(*node))
                    return false;
            }
        }
        return true;
    }

    bool isWorthTelling(const Node& node) const
    {
        const int count = static_cast<int>(node.type->attrs().size());
        for (int attr = 0; attr < count; ++attr)
            if (isStored(*node.type, attr) && differs(node, attr))
                return true;
        if (const SetNode* set = dynamic_cast<const SetNode*>(&node))
            if (!_scene.setMembers(*set).empty())
                return true;
        const auto leadsOut = [&](const std::vector<Link>& links) {
            for (const Link& link : links)
                if (!_scene.node(link.other.node)->isDefault)
                    return true;
            return false;
        };
        return node.links && (leadsOut(node.links->in) || leadsOut(node.links->out));
    }

    bool writeNode(Node& node, FileIndex parent)
    {
        _indices[node.id] = _next++;
        _order.push_back(node.id);
        if (!_sink.node(_indices[node.id], node.type, _scene.name(node), parent, _scene.isNameUnique(node)))
            return false;
        if (!attributes(node))
            return false;
        if (node.type->isA(KFn::kAnimCurve)) {
            KeyData& keys = static_cast<AnimCurveNode&>(node).keys;
            return isEmpty(keys) || _sink.keys(keys);
        }
        if (node.type->isA(KFn::kNurbsSurface)) {
            SurfaceData& surface = static_cast<SurfaceNode&>(node).surface;
            return surface.degreeU == 0 || _sink.surface(surface);
        }
        if (node.type->isA(KFn::kNurbsCurve)) {
            CurveData& curve = static_cast<CurveNode&>(node).curve;
            return curve.degree == 0 || _sink.curve(curve);
        }
        MeshNode* mesh = node.type->isA(KFn::kMesh) ? nodeCast<MeshNode>(&node) : nullptr;
        return !mesh || isEmpty(mesh->mesh) || writeMesh(*mesh);
    }

    // -- Values -----------------------------------------------------------------------------------

    bool differs(const Node& node, int attr) const
    {
        if (node.type->isA(KFn::kSet) && node.type->attr(attr).name == "renderable")
            return static_cast<const SetNode&>(node).renderable != node.type->isA(KFn::kShadingEngine);
        return !_scene.isDefaultValue(node, attr);
    }

    bool attributes(const Node& node)
    {
        const NodeType& type = *node.type;
        const int count = static_cast<int>(type.attrs().size());
        for (int index = 0; index < count; ++index) {
            if (!isStored(type, index) || !differs(node, index))
                continue;
            const Attr& attr = type.attr(index);
            PlugKey plug;
            plug.node = node.id;
            if (attr.kind == AttrKind::Text) {
                std::string value;
                plug.attr = index;
                if (attr.isTextArray()) {
                    for (const auto& element : node.values->arrays[static_cast<size_t>(attr.slot)])
                        if (!text(node, index, element.first, element.second))
                            return false;
                } else if (!_scene.text(plug, value) || !text(node, index, -1, value)) {
                    return false;
                }
                continue;
            }
            _values.clear();
            for (int c = 0; c < componentCount(attr); ++c) {
                plug.attr = attr.childCount > 0 ? index + 1 + c : index;
                double value = 0;
                _scene.number(plug, value);
                if (!std::isfinite(value))
                    return refuse(_scene.name(node) + "." + attr.name + " is not a finite number");
                _values.push_back(value);
            }
            if (!_sink.numbers(index, _values.data(), static_cast<int>(_values.size())))
                return false;
        }
        return true;
    }

    bool text(const Node& node, int attr, int32_t element, const std::string& value)
    {
        if (value.find('\0') != std::string::npos)
            return refuse(_scene.name(node) + "." + node.type->attr(attr).name + " holds a zero byte");
        return _sink.text(attr, element, value);
    }

    bool writeMesh(MeshNode& node)
    {
        MeshData& mesh = node.mesh;
        bool finite = allFinite(mesh.points) && allFinite(mesh.normals);
        for (const UVSet& set : mesh.uvSets)
            finite = finite && allFinite(set.u) && allFinite(set.v);
        if (!finite)
            return refuse("the mesh \"" + _scene.name(node) + "\" holds a number that is not finite");
        return _sink.mesh(mesh);
    }

    // -- Relations --------------------------------------------------------------------------------

    bool members()
    {
        for (NodeId id = 0; id < _scene.idEnd(); ++id) {
            if (_indices[id] == kNoIndex)
                continue;
            const SetNode* set = nodeCast<SetNode>(_scene.node(id));
            if (!set)
                continue;
            for (const SetMember& member : _scene.setMembers(*set))
                if (!_sink.member(_indices[id], _indices[member.node], member.instance, member.faces.get()))
                    return false;
        }
        return true;
    }

    // In the order of the destinations, each node's in the order of making.
    bool connections()
    {
        for (NodeId id = 0; id < _scene.idEnd(); ++id) {
            const Node* node = _scene.node(id);
            if (!node || !node->links || _indices[id] == kNoIndex)
                continue;
            _links.push_back(id);
        }
        // DAG nodes are numbered anew by reading, so the order is that of the file.
        std::sort(_links.begin(), _links.end(),
                  [&](NodeId a, NodeId b) { return _indices[a] < _indices[b]; });
        for (NodeId id : _links) {
            const Node& node = *_scene.node(id);
            for (const Link& link : node.links->in) {
                const Node* source = _scene.node(link.other.node);
                if (_indices[source->id] == kNoIndex || (source->isDefault && node.isDefault))
                    continue;
                if (!_sink.connection(_indices[source->id], _scene.attrText(link.other), _indices[id],
                                      _scene.attrText(link.own)))
                    return false;
            }
        }
        return true;
    }

    bool refuse(std::string why)
    {
        _error = std::move(why);
        return false;
    }

    Scene& _scene;
    SceneSink& _sink;
    std::vector<FileIndex> _indices; ///< by node id; kNoIndex: not written (yet); the world's stays kNoIndex
    std::vector<NodeId> _order;      ///< of writing
    std::unordered_map<NodeId, std::vector<NodeId>>
        _met; ///< parents of instanced nodes, in the order of the walk
    std::vector<NodeId> _links;
    std::vector<double> _values;
    FileIndex _next = 0;
    std::string _error;
};

} // namespace

bool walkScene(Scene& scene, SceneSink& sink, std::string& error)
{
    Walk walk(scene, sink);
    if (walk.run())
        return true;
    error = walk.error();
    return false;
}

} // namespace kelda
