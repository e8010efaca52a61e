#pragma once

#include "graph/Scene.h"
#include "kelda/KDagPath.h"

#include <unordered_map>

/// One element of an interned path. Two paths of one scene are equal when their cells are the same. A cell
/// holds its parent; cells of a scene that was cleared live on, unlinked, until their last path goes.
struct KDagPathCell {
    KDagPathCell* parent; ///< null: the world's cell
    kelda::NodeId node;
    uint32_t index; ///< in the table
    uint32_t refs;
    uint32_t depth;     ///< 0: the world
    uint32_t epoch;     ///< of the scene
    uint32_t linkStamp; ///< the path was known to exist when the scene's link stamp was this
    uint32_t number;    ///< of the instance, in the list of all paths that has this stamp
    uint32_t listStamp; ///< 0: in none
};

namespace kelda
{

/// Interned paths of the scene, and paths asked for by node.
class PathTable
{
public:
    explicit PathTable(Scene& scene) : _scene(scene) {}
    ~PathTable() { clear(); }

    /// Forgets all cells: those that paths still hold belong to nobody then.
    void clear();

    /// The cell of the world, or of a node below a cell. Adds a reference for the caller.
    KDagPathCell* world();
    KDagPathCell* child(KDagPathCell* parent, NodeId node);
    /// The same for a node that is known to stand there.
    KDagPathCell* step(KDagPathCell* parent, NodeId node)
    {
        KDagPathCell* const cell = child(parent, node);
        if (parent->linkStamp == _linkStamp)
            cell->linkStamp = _linkStamp;
        return cell;
    }
    void release(KDagPathCell* cell);

    /// Cell of ids from below the world down; with a reference for the caller.
    KDagPathCell* intern(const NodeId* ids, size_t count);
    static void idsOf(const KDagPathCell* cell, std::vector<NodeId>& out);

    /// True while all nodes and links of the path exist. Amortised O(1).
    bool exists(KDagPathCell* cell);
    void linksCut() { ++_linkStamp; }

    using Paths = std::shared_ptr<std::vector<KDagPath>>;
    /// All paths to a node by instance number. Kept until the DAG changes. Null: too many to list.
    Paths allPaths(const DagNode& node);
    void forget(NodeId node)
    {
        _all.erase(node);
        _walked.erase(node);
    }
    void forgetAll()
    {
        _all.clear();
        _walked.clear();
    }
    /// Instance number of a path that exists. Amortised O(1) where all paths can be listed.
    uint32_t instanceNumber(const KDagPathCell* cell);

    /// Of a path that exists: "|car|door"; of the world: "". Valid until the next call. Costs what differs
    /// from the name asked for before, so that a walk pays for its steps only.
    const std::string& fullName(KDagPathCell* cell);
    /// Of a path that exists: the shortest tail of its full name that names no other path.
    std::string partialName(KDagPathCell* cell);
    /// A name has changed or its node is about to go.
    void forgetNames();

    static constexpr uint32_t kMaxListedPaths = 1u << 22;

private:
    struct List {
        Paths paths;
        uint32_t stamp;
    };
    KDagPathCell* make(KDagPathCell* parent, NodeId node, uint64_t key);

    Scene& _scene;
    FlatMap _byKey; ///< (index of the parent's cell + 1, node) to index
    std::vector<KDagPathCell*> _cells;
    std::vector<uint32_t> _freeIndices;
    std::unordered_map<NodeId, List> _all;
    std::unordered_map<NodeId, uint64_t> _walked; ///< steps spent on instance numbers, for want of a list
    uint32_t _linkStamp = 1;
    uint32_t _lastList = 0;
    KDagPathCell* _named = nullptr; ///< the cell whose full name is kept; null: none
    std::string _fullName;
};

/// Reference handling for cells that may be of a scene long gone.
void releaseCell(KDagPathCell* cell);

} // namespace kelda
