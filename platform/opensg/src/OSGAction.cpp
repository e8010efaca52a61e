#include <OpenSG/OSGAction.h>

OSG_BEGIN_NAMESPACE

Action::ResultE traverse(const NodePtr& root, const TraverseEnterFunctor& enter,
                         const TraverseLeaveFunctor& leave)
{
    struct Open {
        NodePtr node;
        UInt32 next; ///< child to be entered next
    };
    std::vector<Open> open;
    Action::ResultE result = Action::Continue;

    const auto enterNode = [&](NodePtr node) {
        const Action::ResultE answer = enter(node);
        if (answer == Action::Quit) {
            result = Action::Quit;
        }
        open.push_back({node, answer == Action::Continue ? 0 : node->getNChildren()});
    };

    if (!root) {
        return result;
    }
    enterNode(root);
    while (!open.empty()) {
        Open& top = open.back();
        if (result != Action::Quit && top.next < top.node->getNChildren()) {
            enterNode(top.node->getChild(top.next++));
            continue;
        }
        NodePtr node = top.node;
        open.pop_back();
        if (leave && leave(node, result) == Action::Quit) {
            result = Action::Quit;
        }
    }
    return result;
}

Action::ResultE traverse(const NodePtr& root, const TraverseEnterFunctor& enter)
{
    return traverse(root, enter, TraverseLeaveFunctor());
}

Action::ResultE traverse(const std::vector<NodePtr>& roots, const TraverseEnterFunctor& enter,
                         const TraverseLeaveFunctor& leave)
{
    for (const NodePtr& root : roots) {
        if (traverse(root, enter, leave) == Action::Quit) {
            return Action::Quit;
        }
    }
    return Action::Continue;
}

Action::ResultE traverse(const std::vector<NodePtr>& roots, const TraverseEnterFunctor& enter)
{
    return traverse(roots, enter, TraverseLeaveFunctor());
}

OSG_END_NAMESPACE
