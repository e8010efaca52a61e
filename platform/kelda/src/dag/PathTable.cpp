#include "dag/PathTable.h"

#include <algorithm>

namespace kelda
{

// -- Cells ----------------------------------------------------------------------------------------

void PathTable::clear()
{
    _all.clear(); // releases its paths while the cells are still ours
    for (KDagPathCell* cell : _cells)
        if (cell)
            cell->epoch = 0; // from now on the paths' own
    _cells.clear();
    _freeIndices.clear();
    _byKey.clear();
    ++_linkStamp;
}

KDagPathCell* PathTable::make(KDagPathCell* parent, NodeId node, uint64_t key)
{
    uint32_t index = static_cast<uint32_t>(_cells.size());
    if (_freeIndices.empty()) {
        _cells.push_back(nullptr);
    } else {
        index = _freeIndices.back();
        _freeIndices.pop_back();
    }
    KDagPathCell* cell =
        new KDagPathCell{parent, node, index, 1, parent ? parent->depth + 1 : 0, _scene.epoch(), 0};
    if (parent)
        ++parent->refs;
    _cells[index] = cell;
    _byKey.set(key, index);
    return cell;
}

static uint64_t cellKey(const KDagPathCell* parent, NodeId node)
{
    return (uint64_t(parent ? parent->index + 1 : 0) << 32) | node;
}

KDagPathCell* PathTable::world()
{
    return child(nullptr, kWorld);
}

KDagPathCell* PathTable::child(KDagPathCell* parent, NodeId node)
{
    const uint64_t key = cellKey(parent, node);
    const uint32_t found = _byKey.find(key);
    if (found == FlatMap::kNone)
        return make(parent, node, key);
    ++_cells[found]->refs;
    return _cells[found];
}

void PathTable::release(KDagPathCell* cell)
{
    while (cell && --cell->refs == 0) {
        KDagPathCell* parent = cell->parent;
        if (cell->epoch != 0) {
            _byKey.erase(cellKey(parent, cell->node));
            _cells[cell->index] = nullptr;
            _freeIndices.push_back(cell->index);
        }
        delete cell;
        cell = parent;
    }
}

void releaseCell(KDagPathCell* cell)
{
    Scene::current().paths().release(cell);
}

KDagPathCell* PathTable::intern(const NodeId* ids, size_t count)
{
    KDagPathCell* cell = world();
    for (size_t i = 0; i < count; ++i) {
        KDagPathCell* next = child(cell, ids[i]);
        release(cell);
        cell = next;
    }
    return cell;
}

void PathTable::idsOf(const KDagPathCell* cell, std::vector<NodeId>& out)
{
    out.resize(cell->depth);
    for (; cell->parent; cell = cell->parent)
        out[cell->depth - 1] = cell->node;
}

bool PathTable::exists(KDagPathCell* cell)
{
    if (cell->epoch != _scene.epoch())
        return false;
    // Up to the first element that is known to exist, then down again marking.
    KDagPathCell* known = cell;
    for (; known->linkStamp != _linkStamp && known->parent; known = known->parent) {
        const DagNode* node = _scene.dag(known->node);
        if (!node ||
            std::find(node->parents.begin(), node->parents.end(), known->parent->node) == node->parents.end())
            return false;
    }
    for (KDagPathCell* c = cell; c != known; c = c->parent)
        c->linkStamp = _linkStamp;
    known->linkStamp = _linkStamp;
    return true;
}

// -- Paths of a node ------------------------------------------------------------------------------

PathTable::Paths PathTable::allPaths(const DagNode& node)
{
    if (_scene.pathCount(node) > kMaxListedPaths)
        return nullptr;
    // Parents before children; ancestors cannot have more paths than what stands below them.
    std::vector<std::pair<const DagNode*, size_t>> stack{{&node, 0}};
    while (!stack.empty()) {
        const DagNode* at = stack.back().first;
        if (_all.count(at->id) != 0) {
            stack.pop_back();
            continue;
        }
        if (stack.back().second < at->parents.size()) {
            const DagNode* parent = _scene.dag(at->parents[stack.back().second++]);
            if (_all.count(parent->id) == 0)
                stack.emplace_back(parent, 0);
            continue;
        }
        Paths paths = std::make_shared<std::vector<KDagPath>>();
        paths->reserve(_scene.pathCount(*at));
        if (at->id == kWorld)
            paths->push_back(KDagPath::adopt(world()));
        for (NodeId parentId : at->parents)
            for (const KDagPath& path : *_all.find(parentId)->second)
                paths->push_back(KDagPath::adopt(child(path.cell(), at->id)));
        _all.emplace(at->id, std::move(paths));
        stack.pop_back();
    }
    return _all.find(node.id)->second;
}

} // namespace kelda
