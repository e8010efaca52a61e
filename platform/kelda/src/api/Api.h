#pragma once

#include "dag/PathTable.h"
#include "graph/Scene.h"
#include "kelda/KGlobal.h"
#include "kelda/KObject.h"
#include "kelda/testing/KFaults.h"

// Helpers that all public calls share.

namespace kelda
{

/// Is the SDK started?
bool isUp();

/// What a call must ask first: kNotInitialized before the SDK is up, kFailure (or what else the test asks
/// for) when a fault is armed for `operation`.
inline KStatus enter(const char* operation)
{
    if (!isUp())
        return KStatus::kNotInitialized;
    return KFaults::hit(operation) ? KFaults::status : KStatus::kSuccess;
}
inline KStatus enter()
{
    return isUp() ? KStatus::kSuccess : KStatus::kNotInitialized;
}

inline KStatus give(KStatus* status, KStatus value)
{
    if (status)
        *status = value;
    return value;
}
inline KStatus give(KStatus* status, const Outcome& outcome)
{
    return give(status, KStatus(outcome.code));
}

/// The node of a handle; null when the handle is null, is a component, or its node is gone.
inline Node* nodeOf(const KObject& object)
{
    Scene& scene = Scene::current();
    return object.epoch() == scene.epoch() ? scene.node(object.nodeId()) : nullptr;
}
/// The node that a function set of one type is attached to: what is attached is of the type, but may be gone.
/// Null then, with the status, and before the SDK is up.
template <class NodeT>
NodeT* attachedNode(const KObject& object, KStatus* status)
{
    if (give(status, enter()).error())
        return nullptr;
    Node* node = nodeOf(object);
    if (!node)
        give(status, KStatus(KStatus::kInvalidParameter));
    return static_cast<NodeT*>(node);
}
inline DagNode* dagOf(const KObject& object)
{
    Node* node = nodeOf(object);
    return node && node->isDag ? static_cast<DagNode*>(node) : nullptr;
}
inline KObject objectOf(NodeId id)
{
    return KObject(id, Scene::current().epoch());
}
/// The node at the end of a path; null when the path is not valid.
inline DagNode* dagOf(const KDagPath& path)
{
    Scene& scene = Scene::current();
    return path.cell() && scene.paths().exists(path.cell()) ? scene.dag(path.cell()->node) : nullptr;
}

} // namespace kelda
