#pragma once

#include <OpenSG/OSGNode.h>
#include <OpenSG/OSGTypedFunctors.h>

#include <functional>
#include <vector>

OSG_BEGIN_NAMESPACE

/// What functions of a traversal answer.
class Action
{
public:
    enum ResultE {
        Continue, ///< go on
        Skip,     ///< leave out the children of this node
        Quit      ///< enter nothing more
    };
};

typedef std::function<Action::ResultE(NodePtr&)> TraverseEnterFunctor;
/// Also gets the result of the node's children.
typedef std::function<Action::ResultE(NodePtr&, Action::ResultE)> TraverseLeaveFunctor;

/// Visits \a root and all nodes below it, depth first, parents before children: inactive nodes, nodes without
/// core and all children of switches too. The tree may be of any depth; children must not be added or removed
/// meanwhile.
///
/// Skip leaves out a node's children; the traversal goes on and its result stays Continue. Quit ends it with
/// the result Quit. A node that was entered is left once: with Continue, or with Quit if the traversal ended
/// below or at it.
OSG_PLATFORM_API Action::ResultE traverse(const NodePtr& root, const TraverseEnterFunctor& enter);
OSG_PLATFORM_API Action::ResultE traverse(const NodePtr& root, const TraverseEnterFunctor& enter,
                                          const TraverseLeaveFunctor& leave);
/// One root after the other, until one quits.
OSG_PLATFORM_API Action::ResultE traverse(const std::vector<NodePtr>& roots,
                                          const TraverseEnterFunctor& enter);
OSG_PLATFORM_API Action::ResultE traverse(const std::vector<NodePtr>& roots,
                                          const TraverseEnterFunctor& enter,
                                          const TraverseLeaveFunctor& leave);

OSG_END_NAMESPACE
