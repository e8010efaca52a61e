#include "dag/PathTable.h"

#include <algorithm>

namespace kelda
{

// -- Cells ----------------------------------------------------------------------------------------

void PathTable::clear()
{
    forgetAll(); // releases its paths while the cells are still ours
    forgetNames();
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
        new KDagPathCell{parent, node, index, 1, parent ? parent->depth + 1 : 0, _scene.epoch(), 0, 0, 0};
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
    KDagPathCell* const cell = child(nullptr, kWorld);
    cell->linkStamp = _linkStamp;
    return cell;
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
        if (!node || _scene.childOfName(known->parent->node, node->name) != node->id)
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
            for (const KDagPath& path : *_all.find(parentId)->second.paths)
                paths->push_back(KDagPath::adopt(step(path.cell(), at->id)));
        if (++_lastList == 0)
            _lastList = 1;
        uint32_t number = 0;
        for (const KDagPath& path : *paths) {
            path.cell()->number = number++;
            path.cell()->listStamp = _lastList;
        }
        _all.emplace(at->id, List{std::move(paths), _lastList});
        stack.pop_back();
    }
    return _all.find(node.id)->second.paths;
}

// A list is made once the steps without one have cost as much. A few questions about a node with millions of
// paths do not make one.
uint32_t PathTable::instanceNumber(const KDagPathCell* cell)
{
    const DagNode& end = *_scene.dag(cell->node);
    const uint32_t count = _scene.pathCount(end);
    if (count == 1)
        return 0;
    const auto isListed = [&] {
        const auto found = _all.find(end.id);
        return found != _all.end() && found->second.stamp == cell->listStamp;
    };
    if (isListed())
        return cell->number;
    // All paths over the parents before the one on the path come first, at each level.
    uint64_t number = 0;
    uint64_t steps = 0;
    for (const KDagPathCell* c = cell; c->parent; c = c->parent) {
        const DagNode& at = *_scene.dag(c->node);
        const auto found = std::find(at.parents.begin(), at.parents.end(), c->parent->node);
        steps += 1 + static_cast<uint64_t>(found - at.parents.begin());
        if (_scene.pathCount(at) == at.parents.size()) {
            number += static_cast<uint64_t>(found - at.parents.begin());
        } else {
            for (auto it = at.parents.begin(); it != found; ++it)
                number += _scene.pathCount(*_scene.dag(*it));
        }
    }
    uint64_t& walked = _walked[end.id];
    walked += steps;
    if (walked >= count)
        allPaths(end);
    return static_cast<uint32_t>(std::min<uint64_t>(number, 0xffffffffu));
}

// -- Names ----------------------------------------------------------------------------------------

void PathTable::forgetNames()
{
    if (!_named)
        return;
    release(_named);
    _named = nullptr;
    _fullName.clear();
}

const std::string& PathTable::fullName(KDagPathCell* cell)
{
    const auto nameOf = [this](const KDagPathCell* c) -> const std::string& {
        return _scene.name(*_scene.node(c->node));
    };
    if (!_named)
        _named = world();
    // Up from both ends to where they meet.
    const KDagPathCell* from = _named;
    const KDagPathCell* to = cell;
    size_t kept = _fullName.size();
    size_t added = 0;
    while (from != to) {
        const uint32_t depth = std::max(from->depth, to->depth);
        if (from->depth == depth) {
            kept -= 1 + nameOf(from).size();
            from = from->parent;
        }
        if (to->depth == depth) {
            added += 1 + nameOf(to).size();
            to = to->parent;
        }
    }
    _fullName.resize(kept + added);
    char* end = &_fullName[0] + kept + added;
    for (const KDagPathCell* c = cell; c != to; c = c->parent) {
        const std::string& name = nameOf(c);
        end -= name.size();
        std::copy(name.begin(), name.end(), end);
        *--end = '|';
    }
    ++cell->refs;
    release(_named);
    _named = cell;
    return _fullName;
}

std::string PathTable::partialName(KDagPathCell* cell)
{
    if (!cell->parent)
        return std::string();
    const DagNode& end = *_scene.dag(cell->node);
    if (_scene.isNameUnique(end) && _scene.pathCount(end) == 1)
        return _scene.name(end);
    // A tail is unique when its names lead down from one path only. The tails are counted from their topmost
    // name; what would take more than this many steps is not tried.
    const size_t kMaxSameNames = 256;
    size_t steps = 4096;
    std::vector<NameId> names{end.name}; // from the end up
    for (const KDagPathCell* top = cell->parent; top->parent; top = top->parent) {
        names.push_back(_scene.node(top->node)->name);
        const size_t sameNames = _scene.countOfName(names.back());
        if (sameNames > kMaxSameNames)
            continue;
        const size_t cost = sameNames * names.size();
        if (cost > steps)
            break;
        steps -= cost;
        uint64_t paths = 0;
        for (NodeId start = _scene.firstOfName(names.back()); start != kNoNode && paths < 2;
             start = _scene.node(start)->nextSameName) {
            NodeId at = start;
            for (size_t i = names.size() - 1; i-- > 0 && at != kNoNode;)
                at = _scene.childOfName(at, names[i]);
            if (at != kNoNode)
                paths += _scene.pathCount(*_scene.dag(start));
        }
        if (paths == 1) {
            std::string out;
            for (size_t i = names.size(); i-- > 0;) {
                out += _scene.name(names[i]);
                if (i > 0)
                    out += '|';
            }
            return out;
        }
    }
    return fullName(cell);
}

} // namespace kelda
