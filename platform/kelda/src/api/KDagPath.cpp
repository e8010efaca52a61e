#include "kelda/KDagPath.h"

#include "api/Api.h"

using namespace kelda;

// -- References -----------------------------------------------------------------------------------

void KDagPath::addRef() const
{
    if (_cell)
        ++_cell->refs;
}

void KDagPath::release()
{
    releaseCell(_cell);
    _cell = nullptr;
}

KDagPath& KDagPath::operator=(const KDagPath& other)
{
    other.addRef();
    if (_cell)
        release();
    _cell = other._cell;
    return *this;
}

KDagPath& KDagPath::operator=(KDagPath&& other) noexcept
{
    std::swap(_cell, other._cell);
    return *this;
}

// -- What stands at the end -----------------------------------------------------------------------

namespace
{

/// The node at the end, or null with the status of the failure.
DagNode* endOf(const KDagPath& path, KStatus* status)
{
    if (give(status, enter()) != KStatus::kSuccess)
        return nullptr;
    DagNode* node = dagOf(path);
    if (!node)
        give(status, KStatus(KStatus::kInvalidParameter));
    return node;
}

} // namespace

bool KDagPath::isValid(KStatus* status) const
{
    if (give(status, enter()) != KStatus::kSuccess)
        return false;
    return dagOf(*this) != nullptr;
}

KObject KDagPath::node(KStatus* status) const
{
    const DagNode* end = endOf(*this, status);
    return end ? objectOf(end->id) : KObject();
}

KObject KDagPath::transform(KStatus* status) const
{
    if (!endOf(*this, status))
        return KObject();
    for (const KDagPathCell* c = _cell; c; c = c->parent)
        if (Scene::current().node(c->node)->isA(KFn::kTransform))
            return objectOf(c->node);
    give(status, KStatus(KStatus::kNotFound));
    return KObject();
}

KFn::Type KDagPath::apiType(KStatus* status) const
{
    const DagNode* end = endOf(*this, status);
    return end ? end->type->fn() : KFn::kInvalid;
}

bool KDagPath::hasFn(KFn::Type type, KStatus* status) const
{
    const DagNode* end = endOf(*this, status);
    if (!end)
        return false;
    if (type == KFn::kBase || end->isA(type))
        return true;
    if (!end->isA(KFn::kTransform))
        return false;
    for (NodeId id : end->children) {
        const Node* child = Scene::current().node(id);
        if (child->isA(KFn::kShape) && child->isA(type))
            return true;
    }
    return false;
}

// -- Moving ---------------------------------------------------------------------------------------

KStatus KDagPath::pop(unsigned count)
{
    const KStatus entered = enter("KDagPath::pop");
    if (entered.error())
        return entered;
    if (!dagOf(*this))
        return KStatus::kInvalidParameter;
    if (count > _cell->depth || _cell->depth == 0)
        return KStatus::kFailure;
    KDagPathCell* to = _cell;
    for (unsigned i = 0; i < count; ++i)
        to = to->parent;
    ++to->refs;
    releaseCell(_cell);
    _cell = to;
    return KStatus::kSuccess;
}

KStatus KDagPath::push(const KObject& child)
{
    KStatus status;
    const DagNode* end = endOf(*this, &status);
    if (!end)
        return status;
    const DagNode* node = dagOf(child);
    Scene& scene = Scene::current();
    if (!node || scene.childOfName(end->id, node->name) != node->id)
        return KStatus::kInvalidParameter;
    KDagPathCell* to = scene.paths().child(_cell, node->id);
    releaseCell(_cell);
    _cell = to;
    return KStatus::kSuccess;
}

KStatus KDagPath::extendToShape()
{
    KStatus status;
    const DagNode* end = endOf(*this, &status);
    if (!end || end->isA(KFn::kShape))
        return status;
    for (NodeId id : end->children)
        if (Scene::current().node(id)->isA(KFn::kShape))
            return push(objectOf(id));
    return KStatus::kNotFound;
}

unsigned KDagPath::length(KStatus* status) const
{
    return endOf(*this, status) ? _cell->depth : 0;
}

unsigned KDagPath::childCount(KStatus* status) const
{
    const DagNode* end = endOf(*this, status);
    return end ? static_cast<unsigned>(end->children.size()) : 0;
}

KObject KDagPath::child(unsigned index, KStatus* status) const
{
    const DagNode* end = endOf(*this, status);
    if (!end)
        return KObject();
    if (index >= end->children.size()) {
        give(status, KStatus(KStatus::kIndexOutOfRange));
        return KObject();
    }
    return objectOf(end->children[index]);
}

// -- Instances and names --------------------------------------------------------------------------

bool KDagPath::isInstanced() const
{
    const DagNode* end = endOf(*this, nullptr);
    return end && Scene::current().pathCount(*end) > 1;
}

unsigned KDagPath::instanceNumber(KStatus* status) const
{
    return endOf(*this, status) ? Scene::current().paths().instanceNumber(_cell) : 0;
}

KString KDagPath::fullPathName(KStatus* status) const
{
    return endOf(*this, status) ? KString(Scene::current().paths().fullName(_cell)) : KString();
}

KString KDagPath::partialPathName(KStatus* status) const
{
    return endOf(*this, status) ? KString(Scene::current().paths().partialName(_cell)) : KString();
}

bool KDagPath::operator==(const KDagPath& other) const
{
    return _cell == other._cell;
}

KStatus KDagPath::getAPathTo(const KObject& node, KDagPath& path)
{
    const KStatus entered = enter();
    if (entered.error())
        return entered;
    const DagNode* dag = dagOf(node);
    std::vector<NodeId> ids;
    Scene& scene = Scene::current();
    if (!dag || !scene.pathOfInstance(*dag, 0, ids))
        return KStatus::kInvalidParameter;
    path = adopt(scene.paths().intern(ids.data(), ids.size()));
    return KStatus::kSuccess;
}
