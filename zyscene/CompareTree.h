#pragma once

#include "CompareUses.h"

#include <vector>

namespace zyscene
{

/// Compares the node structure of two scenes and appends what differs (Difference::Structure).
///
/// Compared is what an export keeps: levels that draw nothing, have the identity as their matrix and one
/// child count as nothing; a geometry with a transform of its own or with children counts as a node with the
/// geometry below it; cores that an export does not know pass their children on to the node above. The order
/// of children with different names does not matter.
void compareTrees(DrawnScene& firstScene, const osg::NodePtr& first, DrawnScene& secondScene,
                  const osg::NodePtr& second, const CompareOptions& options, double tolerance,
                  std::vector<Difference>& result);

} // namespace zyscene
