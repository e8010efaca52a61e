#pragma once

#include "graph/Scene.h"
#include "kelda/KDagPath.h"
#include "kelda/KTransformationMatrix.h"

namespace kelda
{

KTransformationMatrix componentsOf(const TransformData& data);
void setComponents(TransformData& data, const KTransformationMatrix& from); ///< rotate order included
KMatrix localMatrix(const TransformData& data);
/// The product of the local matrices along a path, from its end up to the world.
KMatrix worldMatrix(const Scene& scene, const NodeId* ids, size_t count);

/// The matrix to world space for a call on a path; false (and the status) when the space is not to be had.
bool spaceMatrix(const KDagPath& path, KSpace::Space space, KMatrix& matrix, KStatus& status);

/// See KFnDagNode::duplicate; of the node's instance `number`. `made`: the new (or newly instanced)
/// transform; untouched on failure.
Outcome duplicateNode(Scene& scene, DagNode& node, uint32_t number, bool instance, bool instanceLeaf,
                      NodeId& made);

} // namespace kelda
