#include "io/SceneBuilder.h"

#include "graph/FileNames.h"

#include <algorithm>

namespace kelda
{

namespace
{

// Instances of instances multiply: thirty small nodes can make a thousand million paths, and whoever walks
// the DAG meets each of them. No scene that people make comes near this.
constexpr uint64_t kMaxPaths = 4 * 1000 * 1000;

} // namespace

// -- Frame ----------------------------------------------------------------------------------------

bool SceneBuilder::begin(int version)
{
    _tolerant = version > kSceneVersion;
    return true;
}

bool SceneBuilder::unit(LinearUnit unit)
{
    if (!_importing)
        _scene.setLinearUnit(unit);
    return true;
}

bool SceneBuilder::timeUnit(KTime::Unit unit)
{
    if (!_importing)
        _scene.setTimeUnit(unit);
    return true;
}

bool SceneBuilder::end()
{
    return checkPaths();
}

bool SceneBuilder::checkPaths()
{
    if (_scene.countAllPaths() > kMaxPaths)
        return fail("the instances of this scene make more than " + std::to_string(kMaxPaths) + " paths");
    return true;
}

void SceneBuilder::undo()
{
    _scene.remove(_created);
    _created.clear();
    _entries.clear();
}

std::vector<std::string> SceneBuilder::notes() const
{
    std::vector<std::string> lines;
    for (const auto& [what, count] : _leftOut)
        lines.push_back("left out, because a newer version made it: " + what +
                        (count > 1 ? " (" + std::to_string(count) + " times)" : ""));
    return lines;
}

bool SceneBuilder::badIndex()
{
    return fail("a node is referred to before it is made");
}

NodeId SceneBuilder::parentId(FileIndex parent) const
{
    if (parent == kNoIndex)
        return kWorld;
    const Entry& entry = _entries[parent];
    return entry.id != kNoNode ? entry.id : entry.standIn;
}

DagNode* SceneBuilder::dagNode(FileIndex index) const
{
    return _entries[index].id == kNoNode ? nullptr : _scene.dag(_entries[index].id);
}

// -- Nodes ----------------------------------------------------------------------------------------

bool SceneBuilder::node(FileIndex, const NodeType* type, std::string_view name, FileIndex parent, bool)
{
    if (parent != kNoIndex && !isKnown(parent))
        return badIndex();
    const NodeId below = parentId(parent);
    if (!type) {
        _leftOutNodes = true;
        _entries.push_back({kNoNode, below});
        return true;
    }
    if (name.empty() || Scene::legalName(name) != name)
        return fail("\"" + std::string(name.substr(0, 100)) + "\" cannot be the name of a node");
    if (type->isA(KFn::kDagNode) && _hasMembers)
        return fail("DAG nodes come before the members of sets");
    if (type->isA(KFn::kDagNode) && !_scene.dag(below))
        return fail("\"" + std::string(name) + "\" cannot stand below a node that is not in the DAG");
    Outcome why;
    Node* node = _scene.create(*type, name, below, Scene::kLast, &why);
    if (!node)
        return fail(why.text);
    if (type->isA(KFn::kSet))
        static_cast<SetNode*>(node)->renderable = type->isA(KFn::kShadingEngine);
    _entries.push_back({node->id, kWorld});
    _created.push_back(node->id);
    return true;
}

const NodeType* SceneBuilder::defaultNode(FileIndex, std::string_view name)
{
    NodeId id = kNoNode;
    if (!_scene.find(name, id) || !_scene.node(id)->isDefault)
        return nullptr;
    _entries.push_back({id, kWorld});
    return _scene.node(id)->type;
}

// -- Values ---------------------------------------------------------------------------------------

bool SceneBuilder::numbers(int attr, const double* values, int count)
{
    const NodeId id = _entries.back().id;
    if (id == kNoNode || (_importing && _scene.node(id)->isDefault))
        return true;
    Node& node = *_scene.node(id);
    const Attr& row = node.type->attr(attr);
    if (row.name == "renderable" && node.type->isA(KFn::kSet)) {
        static_cast<SetNode&>(node).renderable = values[0] != 0;
        return true;
    }
    PlugKey plug;
    plug.node = id;
    for (int c = 0; c < count; ++c) {
        plug.attr = row.childCount > 0 ? attr + 1 + c : attr;
        if (const Outcome done = _scene.setNumber(plug, values[c]); !done)
            return fail(done.text);
    }
    return true;
}

bool SceneBuilder::text(int attr, int32_t element, std::string_view value)
{
    const NodeId id = _entries.back().id;
    if (id == kNoNode || (_importing && _scene.node(id)->isDefault))
        return true;
    PlugKey plug;
    plug.node = id;
    plug.attr = attr;
    plug.element = element;
    const Outcome done = _scene.setText(plug, fileName(*_scene.node(id), attr, std::string(value)));
    return static_cast<bool>(done) || fail(done.text);
}

// A name that is relative to the imported file must not become relative to the scene's.
std::string SceneBuilder::fileName(const Node& node, int attr, std::string value) const
{
    if (_importedFile.empty() || (node.type->attr(attr).flags & kAttrFileName) == 0)
        return value;
    std::string full = fileBeside(_importedFile, value);
    return full == fileBeside(_scene.fileName(), value) ? value : full;
}

bool SceneBuilder::mesh(MeshData& mesh)
{
    const NodeId id = _entries.empty() ? kNoNode : _entries.back().id;
    if (id == kNoNode)
        return true;
    MeshNode* node = nodeCast<MeshNode>(_scene.node(id));
    if (!node)
        return fail("mesh data for a node that is not a mesh");
    if (!isEmpty(node->mesh))
        return fail("a second set of mesh data for the same mesh");
    if (const char* wrong = checkMesh(mesh))
        return fail("the mesh \"" + _scene.name(*node) + "\": " + wrong);
    node->mesh = std::move(mesh);
    node->mesh.changed();
    return true;
}

bool SceneBuilder::keys(KeyData& keys)
{
    const NodeId id = _entries.empty() ? kNoNode : _entries.back().id;
    if (id == kNoNode)
        return true;
    AnimCurveNode* const node = nodeCast<AnimCurveNode>(_scene.node(id));
    if (!node)
        return fail("keys for a node that is not an animation curve");
    if (!isEmpty(node->keys))
        return fail("a second set of keys for the same animation curve");
    if (const char* wrong = checkKeys(keys))
        return fail("the animation curve \"" + _scene.name(*node) + "\": " + wrong);
    node->keys = std::move(keys);
    return true;
}

bool SceneBuilder::surface(SurfaceData& surface)
{
    const NodeId id = _entries.empty() ? kNoNode : _entries.back().id;
    if (id == kNoNode)
        return true;
    SurfaceNode* node = nodeCast<SurfaceNode>(_scene.node(id));
    if (!node)
        return fail("surface data for a node that is not a NURBS surface");
    if (node->surface.degreeU != 0)
        return fail("a second set of surface data for the same surface");
    const char* wrong = checkSurface(surface);
    if (!wrong)
        wrong = checkTrims(surface);
    if (wrong)
        return fail("the surface \"" + _scene.name(*node) + "\": " + wrong);
    node->surface = std::move(surface);
    return true;
}

bool SceneBuilder::curve(CurveData& curve)
{
    const NodeId id = _entries.empty() ? kNoNode : _entries.back().id;
    if (id == kNoNode)
        return true;
    CurveNode* node = nodeCast<CurveNode>(_scene.node(id));
    if (!node)
        return fail("curve data for a node that is not a NURBS curve");
    if (node->curve.degree != 0)
        return fail("a second set of curve data for the same curve");
    const CurveView view = curve.view();
    const char* wrong = curve.cvs.size() % view.stride() != 0 ? "the CVs are not complete" : checkCurve(view);
    if (wrong)
        return fail("the curve \"" + _scene.name(*node) + "\": " + wrong);
    node->curve = std::move(curve);
    return true;
}

// -- Instances ------------------------------------------------------------------------------------

bool SceneBuilder::instance(FileIndex child, FileIndex parent)
{
    if (!isKnown(child) || (parent != kNoIndex && !isKnown(parent)))
        return badIndex();
    if (_entries[child].id == kNoNode || (parent != kNoIndex && _entries[parent].id == kNoNode))
        return true; // an instance of, or below, what was left out
    DagNode* const node = dagNode(child);
    DagNode* const above = _scene.dag(parentId(parent));
    if (!node || !above)
        return fail("only DAG nodes have instances");
    if (_hasMembers)
        return fail("instances come before the members of sets");
    const Outcome done = _scene.addParent(*node, *above);
    return static_cast<bool>(done) || fail(done.text);
}

bool SceneBuilder::parentOrder(FileIndex child, const FileIndex* parents, size_t count)
{
    if (!isKnown(child))
        return badIndex();
    std::vector<NodeId> order;
    for (size_t i = 0; i < count; ++i) {
        if (parents[i] != kNoIndex && !isKnown(parents[i]))
            return badIndex();
        if (parents[i] == kNoIndex || _entries[parents[i]].id != kNoNode)
            order.push_back(parentId(parents[i]));
    }
    DagNode* const node = dagNode(child);
    if (_entries[child].id == kNoNode || _leftOutNodes)
        return true; // with parents missing there is no order to restore
    if (!node)
        return fail("only DAG nodes have an order of parents");
    if (_hasMembers)
        return fail("the order of parents comes before the members of sets");
    std::vector<NodeId> given = order;
    std::vector<NodeId> present = node->parents;
    std::sort(given.begin(), given.end());
    std::sort(present.begin(), present.end());
    if (given != present)
        return fail("an order of parents that does not name each parent once");
    // The node has been made just now: nobody has asked for one of its paths, so nothing else knows the old
    // order.
    node->parents = std::move(order);
    return true;
}

// -- Relations ------------------------------------------------------------------------------------

bool SceneBuilder::member(FileIndex set, FileIndex node, uint32_t instance, const FaceSet* faces)
{
    if (!isKnown(set) || !isKnown(node))
        return badIndex();
    if (!_hasMembers && !checkPaths())
        return false;
    _hasMembers = true;
    if (_entries[set].id == kNoNode || _entries[node].id == kNoNode)
        return true;
    SetNode* const setNode = nodeCast<SetNode>(_scene.node(_entries[set].id));
    if (!setNode)
        return fail("members for a node that is not a set");
    DagNode* const member = dagNode(node);
    if (!member)
        return fail("only DAG nodes are members of sets");
    if (instance >= _scene.pathCount(*member))
        return _leftOutNodes ||
               fail("\"" + _scene.name(*member) + "\" has no instance " + std::to_string(instance));
    std::shared_ptr<const FaceSet> shared;
    if (faces) {
        const MeshNode* const mesh = nodeCast<MeshNode>(member);
        if (!mesh || faces->ranges.empty() || faces->ranges.front().first < 0 ||
            faces->ranges.back().last >= static_cast<int64_t>(mesh->mesh.faceCount()))
            return fail("\"" + _scene.name(*member) + "\" does not have all of the faces of a set");
        shared = std::make_shared<FaceSet>(*faces);
    }
    const Outcome done = _scene.addMember(*setNode, *member, instance, std::move(shared));
    return static_cast<bool>(done) || fail(done.text);
}

bool SceneBuilder::connection(FileIndex source, std::string_view sourceAttr, FileIndex destination,
                              std::string_view destinationAttr)
{
    if (!isKnown(source) || !isKnown(destination))
        return badIndex();
    if (_entries[source].id == kNoNode || _entries[destination].id == kNoNode)
        return true;
    const Node& from = *_scene.node(_entries[source].id);
    const Node& to = *_scene.node(_entries[destination].id);
    if (_importing && to.isDefault)
        return true;
    PlugKey ends[2];
    const Node* const nodes[2] = {&from, &to};
    const std::string_view attrs[2] = {sourceAttr, destinationAttr};
    for (int i = 0; i < 2; ++i) {
        if (const Outcome found = _scene.findPlug(*nodes[i], attrs[i], ends[i]); !found) {
            if (!_tolerant)
                return fail(found.text);
            leftOut("attribute \"" + std::string(nodes[i]->type->name()) + "." + std::string(attrs[i]) +
                    "\"");
            return true;
        }
    }
    const Outcome done = _scene.connect(ends[0], ends[1], to.isDefault);
    return static_cast<bool>(done) || fail(done.text);
}

} // namespace kelda
