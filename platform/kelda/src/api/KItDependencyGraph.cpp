#include "kelda/KItDependencyGraph.h"

#include "api/Api.h"

#include <algorithm>

using namespace kelda;

// -- Starting -------------------------------------------------------------------------------------

KItDependencyGraph::KItDependencyGraph(const KPlug& root, KFn::Type filter, Direction direction,
                                       Traversal traversal, Level level, KStatus* status)
    : _root(root.node()), _rootPlug(root), _filter(filter), _direction(direction), _traversal(traversal),
      _level(level)
{
    if (!give(status, enter("KItDependencyGraph::KItDependencyGraph")).error())
        give(status, reset());
}

KItDependencyGraph::KItDependencyGraph(const KObject& root, KFn::Type filter, Direction direction,
                                       Traversal traversal, Level level, KStatus* status)
    : _root(root), _filter(filter), _direction(direction), _traversal(traversal), _level(level)
{
    if (!give(status, enter("KItDependencyGraph::KItDependencyGraph")).error())
        give(status, reset());
}

KStatus KItDependencyGraph::reset()
{
    const KStatus entered = enter();
    _done = true;
    _pruned = false;
    _waiting.clear();
    _nextWaiting = 0;
    _met.clear();
    _left.clear();
    if (entered.error())
        return entered;
    if (!nodeOf(_root) || _root.faces())
        return KStatus::kInvalidParameter;
    _current = {_root, _rootPlug, KPlug()};
    _atRoot = true;
    if (_level == kNodeLevel)
        _met.insert({_root.nodeId(), 0});
    else if (!_rootPlug.isNull())
        meet(_rootPlug);
    _done = !passes() && !goOn();
    return _done ? KStatus::kNotFound : KStatus::kSuccess;
}

// -- Going on -------------------------------------------------------------------------------------

bool KItDependencyGraph::passes() const
{
    return _filter == KFn::kInvalid || _current.node.hasFn(_filter);
}

/// True the first time that the plug, or at node level its node, is met.
bool KItDependencyGraph::meet(const KPlug& plug)
{
    const unsigned long long node = plug.node().nodeId();
    if (_level == kNodeLevel)
        return _met.insert({node, 0}).second;
    return _met.insert({node << 32 | static_cast<unsigned>(plug.attrIndex()), plug.elementIndex()}).second;
}

/// Lets all that is connected with the current node wait.
void KItDependencyGraph::reach()
{
    const Node* node = nodeOf(_current.node);
    const bool fromPlug = _atRoot && !_rootPlug.isNull();
    if (!node || !node->links || (!fromPlug && !_left.insert(node->id).second))
        return;
    // At the root the walk keeps to the plug, and to what overlaps with it.
    const auto leads = [&](const PlugKey& own) {
        const int attr = _rootPlug.attrIndex();
        const int element = _rootPlug.elementIndex();
        if (element >= 0 && own.element >= 0 && element != own.element)
            return false;
        return own.attr == attr || node->type->attr(own.attr).parent == attr ||
               node->type->attr(attr).parent == own.attr;
    };
    const std::vector<Link>& links = _direction == kUpstream ? node->links->in : node->links->out;
    const size_t first = _waiting.size();
    for (const Link& l : links)
        if (!fromPlug || leads(l.own))
            _waiting.push_back({objectOf(l.other.node),
                                KPlug(objectOf(l.other.node), l.other.attr, l.other.element),
                                KPlug(_current.node, l.own.attr, l.own.element)});
    if (_traversal == kDepthFirst)
        std::reverse(_waiting.begin() + static_cast<std::ptrdiff_t>(first), _waiting.end());
}

bool KItDependencyGraph::goOn()
{
    for (;;) {
        if (!_pruned && !(_pruningOnFilter && !passes()))
            reach();
        _pruned = false;
        _atRoot = false;
        Stop next;
        do {
            if (_nextWaiting == _waiting.size())
                return false;
            if (_traversal == kDepthFirst) {
                next = _waiting.back();
                _waiting.pop_back();
            } else {
                next = _waiting[_nextWaiting++];
            }
        } while (!nodeOf(next.node) || !meet(next.plug));
        _current = next;
        if (passes())
            return true;
    }
}

KStatus KItDependencyGraph::next()
{
    const KStatus entered = enter("KItDependencyGraph::next");
    if (entered.error())
        return entered;
    if (_done)
        return KStatus::kFailure;
    _done = !goOn();
    return KStatus::kSuccess;
}

KStatus KItDependencyGraph::prune()
{
    if (_done)
        return KStatus::kFailure;
    _pruned = true;
    return KStatus::kSuccess;
}

KStatus KItDependencyGraph::enablePruningOnFilter()
{
    _pruningOnFilter = true;
    return enter();
}

KStatus KItDependencyGraph::disablePruningOnFilter()
{
    _pruningOnFilter = false;
    return enter();
}

// -- Where it stands ------------------------------------------------------------------------------

KObject KItDependencyGraph::currentItem(KStatus* status) const
{
    return thisNode(status);
}

KObject KItDependencyGraph::thisNode(KStatus* status) const
{
    if (give(status, enter("KItDependencyGraph::thisNode")).error())
        return KObject();
    const bool isThere = !_done && nodeOf(_current.node);
    give(status, KStatus(isThere ? KStatus::kSuccess : KStatus::kFailure));
    return isThere ? _current.node : KObject();
}

KPlug KItDependencyGraph::thisPlug(KStatus* status) const
{
    give(status, KStatus(_done ? KStatus::kFailure : KStatus::kSuccess));
    return _done ? KPlug() : _current.plug;
}

KPlug KItDependencyGraph::previousPlug(KStatus* status) const
{
    give(status, KStatus(_done ? KStatus::kFailure : KStatus::kSuccess));
    return _done ? KPlug() : _current.from;
}
