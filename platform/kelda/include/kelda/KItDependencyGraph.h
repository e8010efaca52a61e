#pragma once

#include "kelda/KPlug.h"

#include <set>
#include <unordered_set>
#include <utility>
#include <vector>

/// Visits the nodes, or plugs, that are connected with a node or a plug, one after the other, each once: so
/// loops end. Costs what it visits.
///
/// The root's node is visited first. From a root node the walk goes on through all of its plugs, from a root
/// plug through that plug, its components and elements, and what it is a component or element of. From every
/// node that it reaches it goes on through all plugs of that node in the walk's direction.
///
/// The iterator is to be built anew when connections change while it runs; nodes that are deleted are left
/// out.
class KELDA_API KItDependencyGraph
{
public:
    enum Direction {
        kDownstream = 0, ///< from sources to what they are connected to
        kUpstream = 1
    };
    enum Traversal { kDepthFirst = 0, kBreadthFirst = 1 };
    enum Level {
        kNodeLevel = 0, ///< each node once
        kPlugLevel = 1  ///< each plug by which a node is reached, once
    };

    /// filter: only nodes that have the function set are shown (kInvalid: all); the walk goes through the
    /// others unless pruning on the filter is on. Where the root is null: kInvalidParameter. Where there is
    /// nothing to show: kNotFound. Both times isDone() is true.
    explicit KItDependencyGraph(const KPlug& root, KFn::Type filter = KFn::kInvalid,
                                Direction direction = kDownstream, Traversal traversal = kDepthFirst,
                                Level level = kNodeLevel, KStatus* status = nullptr);
    explicit KItDependencyGraph(const KObject& root, KFn::Type filter = KFn::kInvalid,
                                Direction direction = kDownstream, Traversal traversal = kDepthFirst,
                                Level level = kNodeLevel, KStatus* status = nullptr);

    bool isDone() const { return _done; }
    KStatus next();  ///< kFailure when it is done
    KStatus reset(); ///< back to the root; as the constructor
    KStatus prune(); ///< next() will not go beyond the current node

    /// With pruning on the filter, the walk does not go beyond nodes that do not pass. Off at first; to be
    /// called before next(), or followed by reset().
    KStatus enablePruningOnFilter();
    KStatus disablePruningOnFilter();
    bool isPruningOnFilter() const { return _pruningOnFilter; }

    KObject currentItem(KStatus* status = nullptr) const; ///< the same as thisNode()
    KObject thisNode(KStatus* status = nullptr) const;
    KPlug thisPlug(KStatus* status = nullptr) const; ///< by which the node was reached; null for a root node
    /// The other end of the connection by which the node was reached; null for the root.
    KPlug previousPlug(KStatus* status = nullptr) const;

    KFn::Type currentFilter() const { return _filter; }
    Direction currentDirection() const { return _direction; }
    Traversal currentTraversal() const { return _traversal; }
    Level currentLevel() const { return _level; }
    KObject rootNode() const { return _root; }
    KPlug rootPlug() const { return _rootPlug; } ///< null when the root is a node

private:
    struct Stop {
        KObject node;
        KPlug plug;
        KPlug from;
    };
    bool goOn();
    bool passes() const;
    void reach();
    bool meet(const KPlug& plug);

    KObject _root;
    KPlug _rootPlug;
    KFn::Type _filter;
    Direction _direction;
    Traversal _traversal;
    Level _level;
    bool _done = true;
    bool _pruned = false;
    bool _pruningOnFilter = false;
    bool _atRoot = false;
    Stop _current;
    std::vector<Stop> _waiting; ///< breadth first: from _nextWaiting on; depth first: the last comes next
    size_t _nextWaiting = 0;
    std::set<std::pair<unsigned long long, int>> _met; ///< node and attribute, element; or node alone
    std::unordered_set<unsigned> _left;                ///< nodes whose connections have been looked at
};
