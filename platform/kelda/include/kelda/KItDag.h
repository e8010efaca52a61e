#pragma once

#include "kelda/KDagPath.h"

#include <vector>

/// Visits the DAG below the world, each instance once for every path to it. The world itself is never
/// visited. When the current node is deleted or taken from its place, the iterator is done.
class KELDA_API KItDag
{
public:
    enum TraversalType {
        kInvalidType = 0,
        kDepthFirst = 1, ///< parents before children, children in order
        kBreadthFirst = 2
    };

    /// filter: only nodes that have the function set; kInvalid: all.
    explicit KItDag(TraversalType type = kDepthFirst, KFn::Type filter = KFn::kInvalid,
                    KStatus* status = nullptr);
    ~KItDag();
    KItDag(const KItDag&) = delete;
    KItDag& operator=(const KItDag&) = delete;

    bool isDone() const { return _done; }
    KStatus next(); ///< kFailure when it is done
    KStatus reset();
    KStatus prune(); ///< next() will not go below the current node

    KStatus getPath(KDagPath& path) const;
    KObject currentItem(KStatus* status = nullptr) const;
    unsigned depth(KStatus* status = nullptr) const; ///< 0: the world; 1: top-level nodes

private:
    struct Level {
        unsigned node;
        unsigned nextChild;
    };
    bool matches() const;
    bool step();
    bool stepDown(unsigned node);

    TraversalType _type;
    KFn::Type _filter;
    bool _done;
    bool _pruned;
    KDagPath _path;
    std::vector<Level> _levels;   // depth first: how far each node above, and the current one, has got
    std::vector<KDagPath> _queue; // breadth first: paths whose children are still to come
    size_t _queueAt;
};
