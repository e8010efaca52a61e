#include "kelda/KFnDagNode.h"

#include "api/Api.h"
#include "api/SceneCopy.h"
#include "kelda/KFnTransform.h"

#include <algorithm>

using namespace kelda;

// -- Attaching ------------------------------------------------------------------------------------

KFnDagNode::KFnDagNode(const KObject& object, KStatus* status)
{
    if (!give(status, enter("KFnDagNode::KFnDagNode")).error())
        give(status, setObject(object));
}

KFnDagNode::KFnDagNode(const KDagPath& path, KStatus* status)
{
    if (!give(status, enter("KFnDagNode::KFnDagNode")).error())
        give(status, setObject(path));
}

KFn::Type KFnDagNode::type() const
{
    return KFn::kDagNode;
}

KStatus KFnDagNode::setObject(const KObject& object)
{
    const KStatus status = KFnBase::setObject(object);
    if (!status.error())
        _path = KDagPath();
    return status;
}

KStatus KFnDagNode::setObject(const KDagPath& path)
{
    const KStatus entered = enter();
    if (entered.error())
        return entered;
    const DagNode* node = dagOf(path);
    if (!node)
        return KStatus::kInvalidParameter;
    const KObject object = objectOf(node->id);
    if (node->isA(KFn::kTransform) && !hasObj(object)) {
        // A function set of shapes finds the shape below a transform.
        for (NodeId id : node->children) {
            const DagNode* child = Scene::current().dag(id);
            if (child->intermediate || !child->isA(KFn::kShape) || !hasObj(objectOf(id)))
                continue;
            KDagPath shape = path;
            const KStatus pushed = shape.push(objectOf(id));
            return pushed.error() ? pushed : setObject(shape);
        }
    }
    const KStatus status = KFnBase::setObject(object);
    if (!status.error())
        _path = path;
    return status;
}

namespace
{

DagNode* target(const KObject& object, KStatus* status)
{
    if (give(status, enter()).error())
        return nullptr;
    DagNode* node = dagOf(object);
    if (!node)
        give(status, KStatus(KStatus::kInvalidParameter));
    return node;
}

} // namespace

KObject KFnDagNode::create(const KString& typeName, const KString& name, const KObject& parent,
                           KStatus* status)
{
    if (give(status, enter("KFnDagNode::create")).error())
        return KObject();
    Scene& scene = Scene::current();
    const NodeType* nodeType = findNodeType(typeName.str());
    const DagNode* above = parent.isNull() ? &scene.world() : dagOf(parent);
    if (!nodeType || nodeType->isAbstract() || !nodeType->isA(type()) || !above || above->isA(KFn::kShape) ||
        nodeType->fn() == KFn::kWorld) {
        give(status, KStatus(KStatus::kInvalidParameter));
        return KObject();
    }
    Node* transform = nullptr;
    if (parent.isNull() && nodeType->isA(KFn::kShape))
        transform = scene.create(*findNodeType("transform"), std::string());
    Node* node = scene.create(*nodeType, name.str(), transform ? transform->id : above->id);
    _object = objectOf(node->id);
    _path = KDagPath();
    return transform ? objectOf(transform->id) : _object;
}

// -- Paths and names ------------------------------------------------------------------------------

KDagPath KFnDagNode::dagPath(KStatus* status) const
{
    KDagPath path;
    if (!target(_object, status))
        return path;
    if (_path.isValid())
        return _path;
    give(status, KDagPath::getAPathTo(_object, path));
    return path;
}

KString KFnDagNode::fullPathName(KStatus* status) const
{
    const KDagPath path = dagPath(status);
    return path.fullPathName();
}

KString KFnDagNode::partialPathName(KStatus* status) const
{
    const KDagPath path = dagPath(status);
    return path.partialPathName();
}

bool KFnDagNode::isInstanced(bool indirect, KStatus* status) const
{
    const DagNode* node = target(_object, status);
    if (!node)
        return false;
    return indirect ? Scene::current().pathCount(*node) > 1 : node->parents.size() > 1;
}

unsigned KFnDagNode::instanceCount(bool total, KStatus* status) const
{
    const DagNode* node = target(_object, status);
    if (!node)
        return 0;
    return total ? Scene::current().pathCount(*node) : static_cast<unsigned>(node->parents.size());
}

KStatus KFnDagNode::getAllPaths(KDagPathArray& paths) const
{
    KStatus status;
    const DagNode* node = target(_object, &status);
    if (!node)
        return status;
    const KStatus entered = enter("KFnDagNode::getAllPaths");
    if (entered.error())
        return entered;
    // What is not instanced is not worth keeping a list of.
    if (Scene::current().pathCount(*node) == 1) {
        KDagPath path;
        status = KDagPath::getAPathTo(_object, path);
        paths.clear();
        paths.append(path);
        return status;
    }
    PathTable::Paths all = Scene::current().paths().allPaths(*node);
    if (!all)
        return KStatus::kInsufficientMemory;
    paths = KDagPathArray(std::move(all));
    return KStatus::kSuccess;
}

// -- Place in the DAG -----------------------------------------------------------------------------

bool KFnDagNode::isIntermediateObject(KStatus* status) const
{
    const DagNode* node = target(_object, status);
    return node && node->intermediate;
}

KStatus KFnDagNode::setIntermediateObject(bool intermediate)
{
    KStatus status;
    DagNode* node = target(_object, &status);
    if (node)
        node->intermediate = intermediate;
    return status;
}

unsigned KFnDagNode::parentCount(KStatus* status) const
{
    const DagNode* node = target(_object, status);
    return node ? static_cast<unsigned>(node->parents.size()) : 0;
}

KObject KFnDagNode::parent(unsigned index, KStatus* status) const
{
    const DagNode* node = target(_object, status);
    if (!node)
        return KObject();
    if (index >= node->parents.size()) {
        give(status, KStatus(KStatus::kIndexOutOfRange));
        return KObject();
    }
    return objectOf(node->parents[index]);
}

unsigned KFnDagNode::childCount(KStatus* status) const
{
    const DagNode* node = target(_object, status);
    return node ? static_cast<unsigned>(node->children.size()) : 0;
}

KObject KFnDagNode::child(unsigned index, KStatus* status) const
{
    const DagNode* node = target(_object, status);
    if (!node)
        return KObject();
    if (index >= node->children.size()) {
        give(status, KStatus(KStatus::kIndexOutOfRange));
        return KObject();
    }
    return objectOf(node->children[index]);
}

bool KFnDagNode::hasChild(const KObject& object, KStatus* status) const
{
    const DagNode* node = target(_object, status);
    const DagNode* other = dagOf(object);
    return node && other && Scene::current().childOfName(node->id, other->name) == other->id;
}

bool KFnDagNode::hasParent(const KObject& object, KStatus* status) const
{
    const DagNode* node = target(_object, status);
    const DagNode* other = dagOf(object);
    return node && other && Scene::current().childOfName(other->id, node->name) == node->id;
}

KStatus KFnDagNode::addChild(const KObject& child, unsigned position, bool keepExistingParents)
{
    KStatus status;
    DagNode* node = target(_object, &status);
    if (!node)
        return status;
    const KStatus entered = enter("KFnDagNode::addChild");
    if (entered.error())
        return entered;
    DagNode* below = dagOf(child);
    if (!below)
        return KStatus::kInvalidParameter;
    const size_t at = position == kNextPos ? Scene::kLast : position;
    Scene& scene = Scene::current();
    return (keepExistingParents ? scene.addParent(*below, *node, at) : scene.moveBelow(*below, *node, at))
        .code;
}

KStatus KFnDagNode::removeChild(const KObject& child)
{
    KStatus status;
    DagNode* node = target(_object, &status);
    if (!node)
        return status;
    DagNode* below = dagOf(child);
    Scene& scene = Scene::current();
    if (!below || !hasChild(child))
        return KStatus::kInvalidParameter;
    if (below->parents.size() > 1)
        return scene.removeParent(*below, *node).code;
    return node->id == kWorld ? KStatus(KStatus::kFailure)
                              : KStatus(scene.moveBelow(*below, scene.world()).code);
}

KObject KFnDagNode::duplicate(bool instance, bool instanceLeaf, KStatus* status) const
{
    DagNode* node = target(_object, status);
    if (!node || give(status, enter("KFnDagNode::duplicate")).error())
        return KObject();
    NodeId made = kNoNode;
    const uint32_t number = _path.isValid() ? _path.instanceNumber() : 0;
    give(status, duplicateNode(Scene::current(), *node, number, instance, instanceLeaf, made));
    return made == kNoNode ? KObject() : objectOf(made);
}

KMatrix KFnDagNode::transformationMatrix(KStatus* status) const
{
    const DagNode* node = target(_object, status);
    if (!node || !node->isA(KFn::kTransform))
        return KMatrix();
    return localMatrix(static_cast<const TransformNode*>(node)->transform);
}

// -- Sets -----------------------------------------------------------------------------------------

KStatus KFnDagNode::getConnectedSetsAndMembers(unsigned instanceNumber, KObjectArray& sets,
                                               KObjectArray& components, bool renderableSetsOnly) const
{
    KStatus status;
    const DagNode* node = target(_object, &status);
    if (!node)
        return status;
    const KStatus entered = enter("KFnDagNode::getConnectedSetsAndMembers");
    if (entered.error())
        return entered;
    Scene& scene = Scene::current();
    if (instanceNumber >= scene.pathCount(*node))
        return KStatus::kInvalidParameter;
    sets.clear();
    components.clear();
    for (const Membership& m : scene.setsOf(*node, instanceNumber)) {
        if (renderableSetsOnly && !static_cast<const SetNode*>(scene.node(m.set))->renderable)
            continue;
        // A fault can play a graph that reports a set twice; this one never does.
        const int reports = KFaults::hit("KFnDagNode::getConnectedSetsAndMembers twice") ? 2 : 1;
        for (int i = 0; i < reports; ++i) {
            sets.append(objectOf(m.set));
            components.append(m.faces ? KObject(m.faces) : KObject());
        }
    }
    return KStatus::kSuccess;
}
