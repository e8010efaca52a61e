#include "kelda/KFnSet.h"

#include "api/Api.h"

using namespace kelda;

// -- Attaching ------------------------------------------------------------------------------------

KFnSet::KFnSet(const KObject& object, KStatus* status)
{
    if (!give(status, enter("KFnSet::KFnSet")).error())
        give(status, setObject(object));
}

KFn::Type KFnSet::type() const
{
    return KFn::kSet;
}

KObject KFnSet::create(const KString& name, bool renderable, KStatus* status)
{
    if (give(status, enter("KFnSet::create")).error())
        return KObject();
    const NodeType& nodeType = *findNodeType(renderable ? "shadingEngine" : "objectSet");
    _object = objectOf(Scene::current().create(nodeType, name.str())->id);
    return _object;
}

namespace
{

SetNode* target(const KObject& object, KStatus* status)
{
    if (give(status, enter()).error())
        return nullptr;
    Node* node = nodeOf(object);
    if (!node)
        give(status, KStatus(KStatus::kInvalidParameter));
    return static_cast<SetNode*>(node); // only sets can be attached
}

} // namespace

// -- Members --------------------------------------------------------------------------------------

KStatus KFnSet::addMember(const KObject& object)
{
    KStatus status;
    SetNode* set = target(_object, &status);
    if (!set)
        return status;
    const KStatus entered = enter("KFnSet::addMember");
    if (entered.error())
        return entered;
    DagNode* node = dagOf(object);
    Scene& scene = Scene::current();
    if (!node || node->id == kWorld)
        return KStatus::kInvalidParameter;
    if (scene.pathCount(*node) > PathTable::kMaxListedPaths)
        return KStatus::kInsufficientMemory;
    for (uint32_t i = 0; i < scene.pathCount(*node); ++i)
        scene.addMember(*set, *node, i);
    return KStatus::kSuccess;
}

KStatus KFnSet::addMember(const KDagPath& path, const KObject& component)
{
    KStatus status;
    SetNode* set = target(_object, &status);
    if (!set)
        return status;
    const KStatus entered = enter("KFnSet::addMember");
    if (entered.error())
        return entered;
    DagNode* node = dagOf(path);
    if (!node || (!component.isNull() && !component.faces()))
        return KStatus::kInvalidParameter;
    return Scene::current().addMember(*set, *node, path.instanceNumber(), component.faces()).code;
}

KStatus KFnSet::removeMember(const KObject& object)
{
    KStatus status;
    SetNode* set = target(_object, &status);
    if (!set)
        return status;
    DagNode* node = dagOf(object);
    if (!node)
        return KStatus::kInvalidParameter;
    status = KStatus::kNotFound;
    const size_t count = node->memberships ? node->memberships->size() : 0;
    for (uint32_t i = 0; i < count; ++i)
        if (Scene::current().removeMember(*set, *node, i))
            status = KStatus::kSuccess;
    return status;
}

KStatus KFnSet::removeMember(const KDagPath& path)
{
    KStatus status;
    SetNode* set = target(_object, &status);
    if (!set)
        return status;
    DagNode* node = dagOf(path);
    if (!node)
        return KStatus::kInvalidParameter;
    return Scene::current().removeMember(*set, *node, path.instanceNumber()).code;
}

bool KFnSet::isMember(const KObject& object, KStatus* status) const
{
    const SetNode* set = target(_object, status);
    const DagNode* node = dagOf(object);
    if (!set || !node || !node->memberships)
        return false;
    for (const InstanceSets& sets : *node->memberships)
        for (const Membership& m : sets)
            if (m.set == set->id)
                return true;
    return false;
}

bool KFnSet::isMember(const KDagPath& path, KStatus* status) const
{
    const SetNode* set = target(_object, status);
    const DagNode* node = dagOf(path);
    if (!set || !node)
        return false;
    for (const Membership& m : Scene::current().setsOf(*node, path.instanceNumber()))
        if (m.set == set->id)
            return true;
    return false;
}

unsigned KFnSet::memberCount(KStatus* status) const
{
    const SetNode* set = target(_object, status);
    return set ? static_cast<unsigned>(set->members.size()) : 0;
}

bool KFnSet::isRenderable(KStatus* status) const
{
    const SetNode* set = target(_object, status);
    return set && set->renderable;
}

KStatus KFnSet::setRenderable(bool renderable)
{
    KStatus status;
    SetNode* set = target(_object, &status);
    if (set)
        set->renderable = renderable;
    return status;
}
