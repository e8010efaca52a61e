#include "graph/Scene.h"

#include "dag/PathTable.h"

#include <algorithm>
#include <unordered_set>

namespace kelda
{

// -- Units ----------------------------------------------------------------------------------------

namespace
{

struct UnitRow {
    LinearUnit unit;
    const char* full;
    const char* brief;
};

const UnitRow unitRows[] = {
    {LinearUnit::Millimeter, "millimeter", "mm"},
    {LinearUnit::Centimeter, "centimeter", "cm"},
    {LinearUnit::Meter, "meter", "m"},
    {LinearUnit::Kilometer, "kilometer", "km"},
    {LinearUnit::Inch, "inch", "in"},
    {LinearUnit::Foot, "foot", "ft"},
    {LinearUnit::Yard, "yard", "yd"},
    {LinearUnit::Mile, "mile", "mi"},
};

const char* const timeUnitNames[KTime::kLast] = {nullptr,       "hour", "minute",   "second",
                                                 "millisecond", "game", "film",     "pal",
                                                 "ntsc",        "show", "palField", "ntscField"};

/// What is taken away was mostly added last.
void eraseValue(std::vector<NodeId>& from, NodeId value)
{
    from.erase(std::find(from.rbegin(), from.rend(), value).base() - 1);
}

} // namespace

const char* fullName(LinearUnit unit)
{
    return unitRows[static_cast<size_t>(unit)].full;
}

const char* shortName(LinearUnit unit)
{
    return unitRows[static_cast<size_t>(unit)].brief;
}

bool parseLinearUnit(std::string_view name, LinearUnit& unit)
{
    for (const UnitRow& row : unitRows) {
        if (name == row.full || name == row.brief) {
            unit = row.unit;
            return true;
        }
    }
    return false;
}

const char* fullName(KTime::Unit unit)
{
    return unit < KTime::kLast ? timeUnitNames[unit] : nullptr;
}

bool parseTimeUnit(std::string_view name, KTime::Unit& unit)
{
    for (int i = KTime::kInvalid + 1; i < KTime::kLast; ++i) {
        if (name == timeUnitNames[i]) {
            unit = static_cast<KTime::Unit>(i);
            return true;
        }
    }
    return false;
}

// -- Life -----------------------------------------------------------------------------------------

Scene& Scene::current()
{
    // Never destroyed: handles in static objects of other libraries may still look at it while the process
    // ends.
    static Scene* const scene = new Scene;
    return *scene;
}

Scene::Scene() : _paths(new PathTable(*this))
{
    clear();
}

Scene::~Scene() = default;

void Scene::release()
{
    _paths->clear();
    _nodes.clear();
    _names.clear();
    _nameIds.clear();
    _children.clear();
    _nextNumbers.clear();
    _membershipCount = 0;
    _unit = LinearUnit::Centimeter;
    _timeUnit = KTime::kFilm;
    _fileName.clear();
    _kept.clear();
    ++_dagStamp;
    if (++_epoch == 0)
        _epoch = 1;
}

void Scene::clear()
{
    release();
    makeDefaults();
}

void Scene::makeDefaults()
{
    const NodeType& worldType = *findNodeType("world");
    std::unique_ptr<Node> world(worldType.make());
    world->type = &worldType;
    world->id = kWorld;
    world->isDefault = true;
    _nodes.push_back(std::move(world));
    attachName(*_nodes[kWorld], intern("world"));

    Node* group = create(*findNodeType("shadingEngine"), "initialShadingGroup");
    Node* shader = create(*findNodeType("lambert"), "lambert1");
    PlugKey from{shader->id, shader->type->findAttr("outColor"), -1};
    PlugKey to{group->id, group->type->findAttr("surfaceShader"), -1};
    connect(from, to, false);
    group->isDefault = true;
    shader->isDefault = true;
}

Node* Scene::create(const NodeType& type, std::string_view name, NodeId parentId, size_t position,
                    Outcome* why)
{
    const auto refuse = [&](std::string text) -> Node* {
        if (why)
            *why = Outcome(KStatus::kInvalidParameter, std::move(text));
        return nullptr;
    };
    if (type.isAbstract() || type.fn() == KFn::kWorld)
        return refuse("no node can be made of the type \"" + std::string(type.name()) + "\"");
    DagNode* parent = nullptr;
    if (type.isA(KFn::kDagNode)) {
        parent = dag(parentId);
        if (!parent)
            return refuse("the parent is not a DAG node");
        if (parent->isA(KFn::kShape))
            return refuse("the shape \"" + this->name(*parent) + "\" cannot have children");
    }
    std::unique_ptr<Node> made(type.make());
    Node& node = *made;
    node.type = &type;
    node.id = idEnd();
    const NameId nameId = chooseName(name, node, &parentId, parent ? 1 : 0);
    _nodes.push_back(std::move(made));
    attachName(node, nameId);
    if (parent) {
        DagNode& child = static_cast<DagNode&>(node);
        child.pathCount = pathCount(*parent);
        child.pathStamp = _dagStamp;
        link(child, *parent, position);
    }
    if (type.isA(KFn::kShadingEngine))
        static_cast<SetNode&>(node).renderable = true;
    return &node;
}

// -- Deletion -------------------------------------------------------------------------------------

Outcome Scene::remove(const std::vector<NodeId>& ids)
{
    std::vector<Node*> dying;
    for (NodeId id : ids) {
        Node* n = node(id);
        if (!n)
            continue;
        if (n->isDefault) {
            for (Node* d : dying)
                d->dying = false;
            return Outcome(KStatus::kFailure, "\"" + name(*n) + "\" is a default node and cannot be deleted");
        }
        if (!n->dying) {
            n->dying = true;
            dying.push_back(n);
        }
    }
    // What only stands below dying nodes dies, too: a child goes with its last parent.
    std::unordered_map<NodeId, size_t> parentsLost;
    for (size_t i = 0; i < dying.size(); ++i) {
        if (!dying[i]->isDag)
            continue;
        for (NodeId childId : static_cast<DagNode*>(dying[i])->children) {
            DagNode* child = dag(childId);
            const size_t lost = ++parentsLost[childId];
            if (!child->dying && lost == child->parents.size()) {
                child->dying = true;
                dying.push_back(child);
            }
        }
    }
    // Children that survive lose some of their parents while all is still in place.
    for (const auto& entry : parentsLost) {
        DagNode* child = dag(entry.first);
        if (child->dying)
            continue;
        const std::vector<NodeId> parents = child->parents;
        for (NodeId p : parents)
            if (dag(p)->dying)
                removeParent(*child, *dag(p));
    }

    std::unordered_set<NodeId> parentsLeft, setsLeft, peersLeft;
    for (Node* n : dying) {
        detachName(*n);
        if (n->isDag) {
            DagNode& d = static_cast<DagNode&>(*n);
            for (NodeId p : d.parents) {
                _children.erase(key(p, d.name));
                if (!dag(p)->dying)
                    parentsLeft.insert(p);
            }
            if (d.memberships) {
                for (const InstanceSets& sets : *d.memberships) {
                    _membershipCount -= sets.size();
                    for (const Membership& m : sets)
                        setsLeft.insert(m.set);
                }
            }
            _paths->forget(d.id);
        }
        if (n->links) {
            for (const Link& l : n->links->in)
                peersLeft.insert(l.other.node);
            for (const Link& l : n->links->out)
                peersLeft.insert(l.other.node);
        }
    }
    const auto isDying = [this](NodeId id) { return _nodes[id]->dying; };
    for (NodeId p : parentsLeft) {
        std::vector<NodeId>& c = dag(p)->children;
        c.erase(std::remove_if(c.begin(), c.end(), isDying), c.end());
    }
    for (NodeId s : setsLeft) {
        std::vector<NodeId>& m = static_cast<SetNode*>(node(s))->members;
        m.erase(std::remove_if(m.begin(), m.end(), isDying), m.end());
    }
    for (Node* n : dying) {
        if (!n->isA(KFn::kSet))
            continue;
        std::unordered_set<NodeId> seen;
        for (NodeId m : static_cast<SetNode*>(n)->members) {
            DagNode* member = dag(m);
            if (!member || member->dying || !member->memberships || !seen.insert(m).second)
                continue;
            for (InstanceSets& sets : *member->memberships) {
                const auto last = std::remove_if(sets.begin(), sets.end(),
                                                 [&](const Membership& x) { return x.set == n->id; });
                _membershipCount -= static_cast<size_t>(sets.end() - last);
                sets.erase(last, sets.end());
            }
        }
    }
    for (NodeId p : peersLeft) {
        Node* peer = node(p);
        if (peer->dying)
            continue;
        const auto gone = [&](const Link& l) { return isDying(l.other.node); };
        peer->links->in.erase(std::remove_if(peer->links->in.begin(), peer->links->in.end(), gone),
                              peer->links->in.end());
        peer->links->out.erase(std::remove_if(peer->links->out.begin(), peer->links->out.end(), gone),
                               peer->links->out.end());
    }
    for (Node* n : dying)
        _nodes[n->id].reset();
    _paths->linksCut();
    return Outcome();
}

// -- DAG links ------------------------------------------------------------------------------------

void Scene::link(DagNode& child, DagNode& parent, size_t position)
{
    child.parents.push_back(parent.id);
    if (position >= parent.children.size())
        parent.children.push_back(child.id);
    else
        parent.children.insert(parent.children.begin() + static_cast<ptrdiff_t>(position), child.id);
    _children.set(key(parent.id, child.name), child.id);
}

void Scene::unlink(DagNode& child, DagNode& parent)
{
    freeNumber(parent.id, name(child));
    eraseValue(child.parents, parent.id);
    eraseValue(parent.children, child.id);
    _children.erase(key(parent.id, child.name));
    _paths->linksCut();
}

void Scene::shapeChanged(DagNode& node)
{
    _paths->forget(node.id);
    node.pathStamp = 0;
    if (!node.children.empty()) {
        _paths->forgetAll();
        ++_dagStamp;
    }
}

/// The same where the node has one path before and after: no number of paths changes, only paths do.
void Scene::placeChanged(DagNode& node)
{
    if (node.children.empty())
        _paths->forget(node.id);
    else
        _paths->forgetAll();
}

bool Scene::isAncestor(const DagNode& maybeAncestor, const DagNode& of) const
{
    if (&maybeAncestor == &of)
        return true;
    // From both ends in turn, link by link: what is moved is often small and what it goes below stands deep,
    // or the other way round.
    struct Step {
        const DagNode* node;
        size_t next;
    };
    const uint32_t up = ++_walk;
    const uint32_t down = ++_walk;
    std::vector<Step> above{{&of, 0}};
    std::vector<Step> below{{&maybeAncestor, 0}};
    of.mark = up;
    maybeAncestor.mark = down;
    const auto step = [this](std::vector<Step>& todo, const std::vector<NodeId> DagNode::*links, uint32_t own,
                             uint32_t other) {
        Step& at = todo.back();
        if (at.next == (at.node->*links).size()) {
            todo.pop_back();
            return false;
        }
        const DagNode* next = dag((at.node->*links)[at.next++]);
        if (next->mark == other)
            return true;
        if (next->mark != own) {
            next->mark = own;
            todo.push_back({next, 0});
        }
        return false;
    };
    while (!above.empty() && !below.empty())
        if (step(above, &DagNode::parents, up, down) || step(below, &DagNode::children, down, up))
            return true;
    return false;
}

Outcome Scene::addParent(DagNode& child, DagNode& parent, size_t position, uint32_t like)
{
    if (child.id == kWorld)
        return Outcome(KStatus::kInvalidParameter, "the world cannot have a parent");
    if (parent.isA(KFn::kShape))
        return Outcome(KStatus::kInvalidParameter, "the shape \"" + name(parent) + "\" cannot have children");
    if (childOfName(parent.id, child.name) == child.id)
        return Outcome(KStatus::kFailure,
                       "\"" + name(child) + "\" already stands below \"" + name(parent) + "\"");
    if (isAncestor(child, parent))
        return Outcome(KStatus::kFailure, "\"" + name(child) + "\" would stand below itself");
    if (childOfName(parent.id, child.name) != FlatMap::kNone) {
        std::vector<NodeId> parents = child.parents;
        parents.push_back(parent.id);
        const NameId fresh = chooseName(name(child), child, parents.data(), parents.size());
        detachName(child);
        for (NodeId p : child.parents) {
            _children.erase(key(p, child.name));
            _children.set(key(p, fresh), child.id);
        }
        attachName(child, fresh);
    }
    if (!child.children.empty()) {
        remapMemberships(child, [&] {
            link(child, parent, position);
            shapeChanged(child);
        });
        return Outcome();
    }
    // A node without children: the new instances come last, and nobody else's numbers change.
    const uint32_t before = pathCount(child);
    const uint64_t sum = uint64_t(before) + pathCount(parent);
    link(child, parent, position);
    shapeChanged(child);
    child.pathCount = static_cast<uint32_t>(std::min<uint64_t>(sum, 0xffffffffu));
    child.pathStamp = _dagStamp;
    const InstanceSets sets = setsOf(child, like);
    const uint32_t after = pathCount(child);
    if (!sets.empty() && after <= PathTable::kMaxListedPaths) {
        child.memberships->resize(after);
        for (uint32_t i = before; i < after; ++i) {
            (*child.memberships)[i] = sets;
            for (const Membership& m : sets)
                static_cast<SetNode*>(node(m.set))->members.push_back(child.id);
            _membershipCount += sets.size();
        }
    }
    return Outcome();
}

Outcome Scene::removeParent(DagNode& child, DagNode& parent)
{
    const auto at = std::find(child.parents.begin(), child.parents.end(), parent.id);
    if (at == child.parents.end())
        return Outcome(KStatus::kNotFound,
                       "\"" + name(child) + "\" does not stand below \"" + name(parent) + "\"");
    if (child.parents.size() == 1)
        return Outcome(KStatus::kFailure, "\"" + name(child) + "\" has no other parent");
    if (!child.children.empty()) {
        remapMemberships(child, [&] {
            unlink(child, parent);
            shapeChanged(child);
        });
        return Outcome();
    }
    uint64_t first = 0;
    for (auto it = child.parents.begin(); it != at; ++it)
        first += pathCount(*dag(*it));
    const uint64_t count = pathCount(parent);
    unlink(child, parent);
    shapeChanged(child);
    if (child.memberships && first < child.memberships->size()) {
        const auto from = child.memberships->begin() + static_cast<ptrdiff_t>(first);
        const uint64_t left = child.memberships->size() - first;
        const auto to = from + static_cast<ptrdiff_t>(std::min(count, left));
        for (auto it = from; it != to; ++it) {
            _membershipCount -= it->size();
            for (const Membership& m : *it) {
                std::vector<NodeId>& members = static_cast<SetNode*>(node(m.set))->members;
                members.erase(std::find(members.begin(), members.end(), child.id));
            }
        }
        child.memberships->erase(from, to);
    }
    return Outcome();
}

Outcome Scene::moveChild(DagNode& child, DagNode& from, DagNode& to, size_t position)
{
    const auto at = std::find(child.parents.begin(), child.parents.end(), from.id);
    if (at == child.parents.end())
        return Outcome(KStatus::kNotFound,
                       "\"" + name(child) + "\" does not stand below \"" + name(from) + "\"");
    if (&from == &to) {
        std::vector<NodeId>& c = from.children;
        eraseValue(c, child.id);
        c.insert(c.begin() + static_cast<ptrdiff_t>(std::min(position, c.size())), child.id);
        return Outcome();
    }
    if (to.isA(KFn::kShape))
        return Outcome(KStatus::kInvalidParameter, "the shape \"" + name(to) + "\" cannot have children");
    if (childOfName(to.id, child.name) == child.id)
        return Outcome(KStatus::kFailure,
                       "\"" + name(child) + "\" already stands below \"" + name(to) + "\"");
    if (isAncestor(child, to))
        return Outcome(KStatus::kFailure, "\"" + name(child) + "\" would stand below itself");

    // One path before and one after: whatever stands below keeps its numbers.
    const bool staysSingle = pathCount(child) == 1 && pathCount(to) == 1;
    std::vector<NodeId> parents = child.parents;
    std::replace(parents.begin(), parents.end(), from.id, to.id);
    const auto edit = [&] {
        const NameId fresh = childOfName(to.id, child.name) == FlatMap::kNone
                                 ? child.name
                                 : chooseName(name(child), child, parents.data(), parents.size());
        unlink(child, from);
        if (fresh != child.name) {
            for (NodeId p : child.parents) {
                _children.erase(key(p, child.name));
                _children.set(key(p, fresh), child.id);
            }
            detachName(child);
            attachName(child, fresh);
        }
        link(child, to, position);
        child.parents = parents; // the new parent takes the place of the old one
        if (staysSingle)
            placeChanged(child);
        else
            shapeChanged(child);
    };
    if (staysSingle)
        edit();
    else
        remapMemberships(child, edit);
    return Outcome();
}

Outcome Scene::moveBelow(DagNode& child, DagNode& to, size_t position)
{
    if (child.id == kWorld)
        return Outcome(KStatus::kInvalidParameter, "the world cannot have a parent");
    DagNode* keep = nullptr;
    if (std::find(child.parents.begin(), child.parents.end(), to.id) != child.parents.end())
        keep = &to;
    else
        keep = dag(child.parents.front());
    const Outcome moved = moveChild(child, *keep, to, position);
    if (!moved)
        return moved;
    const std::vector<NodeId> parents = child.parents;
    for (NodeId p : parents)
        if (p != to.id)
            removeParent(child, *dag(p));
    return Outcome();
}

// -- Instances ------------------------------------------------------------------------------------

uint32_t Scene::pathCount(const DagNode& node) const
{
    if (node.id == kWorld)
        return 1;
    if (node.pathStamp == _dagStamp)
        return node.pathCount;
    std::vector<const DagNode*> todo{&node};
    while (!todo.empty()) {
        const DagNode* at = todo.back();
        const size_t size = todo.size();
        uint64_t count = 0;
        for (NodeId p : at->parents) {
            const DagNode* parent = dag(p);
            if (p == kWorld)
                count += 1;
            else if (parent->pathStamp == _dagStamp)
                count += parent->pathCount;
            else
                todo.push_back(parent);
        }
        if (todo.size() != size)
            continue; // once more, when the parents are known
        at->pathCount = static_cast<uint32_t>(std::min<uint64_t>(count, 0xffffffffu));
        at->pathStamp = _dagStamp;
        todo.pop_back();
    }
    return node.pathCount;
}

uint64_t Scene::countAllPaths() const
{
    uint64_t sum = 0;
    for (NodeId id = 1; id < idEnd(); ++id)
        if (const DagNode* d = dag(id))
            sum += pathCount(*d);
    return sum;
}

bool Scene::pathOfInstance(const DagNode& node, uint32_t instance, std::vector<NodeId>& out) const
{
    out.clear();
    if (instance >= pathCount(node))
        return false;
    const DagNode* at = &node;
    while (at->id != kWorld) {
        out.push_back(at->id);
        if (pathCount(*at) == at->parents.size()) { // each parent has one path
            at = dag(at->parents[instance]);
            instance = 0;
            continue;
        }
        const DagNode* next = nullptr;
        for (NodeId p : at->parents) {
            next = dag(p);
            const uint32_t count = pathCount(*next);
            if (instance < count)
                break;
            instance -= count;
        }
        at = next;
    }
    std::reverse(out.begin(), out.end());
    return true;
}

bool Scene::instanceOfPath(const NodeId* ids, size_t count, uint32_t& out) const
{
    out = 0;
    if (count == 0)
        return true;
    const DagNode* end = dag(ids[count - 1]);
    if (!end)
        return false;
    if (pathCount(*end) == 1)
        return true;
    uint64_t number = 0;
    for (size_t i = 0; i < count; ++i) {
        const DagNode* at = dag(ids[i]);
        const NodeId above = i == 0 ? kWorld : ids[i - 1];
        if (!at)
            return false;
        const auto found = std::find(at->parents.begin(), at->parents.end(), above);
        if (found == at->parents.end())
            return false;
        // All paths over the parents before this one come first.
        if (pathCount(*at) == at->parents.size()) {
            number += static_cast<uint64_t>(found - at->parents.begin());
        } else {
            for (auto it = at->parents.begin(); it != found; ++it)
                number += pathCount(*dag(*it));
        }
    }
    out = static_cast<uint32_t>(std::min<uint64_t>(number, 0xffffffffu));
    return true;
}

/// Runs an edit that changes which paths lead to `node`, and lets the memberships of all that stands below
/// follow their paths. A path that is new takes the sets of the old path that ends alike from `node` down.
void Scene::remapMemberships(DagNode& top, const std::function<void()>& edit)
{
    struct Before {
        DagNode* node;
        PathTable::Paths paths;
        std::vector<InstanceSets> sets;
    };
    std::vector<Before> all;
    if (_membershipCount > 0) {
        const uint32_t walk = ++_walk;
        std::vector<DagNode*> todo{&top};
        top.mark = walk;
        while (!todo.empty()) {
            DagNode* at = todo.back();
            todo.pop_back();
            if (at->memberships && pathCount(*at) <= PathTable::kMaxListedPaths)
                all.push_back({at, _paths->allPaths(*at), *at->memberships});
            for (NodeId c : at->children) {
                DagNode* child = dag(c);
                if (child->mark != walk) {
                    child->mark = walk;
                    todo.push_back(child);
                }
            }
        }
    }
    edit();
    for (Before& before : all) {
        PathTable::Paths now = _paths->allPaths(*before.node);
        if (!now)
            continue;
        std::unordered_map<const KDagPathCell*, size_t> numberOf;
        std::unordered_map<std::string, size_t> numberOfTail; // tails by the bytes of their ids
        const auto tailOf = [&](const KDagPath& path) {
            std::string tail;
            for (const KDagPathCell* c = path.cell(); c->parent; c = c->parent) {
                tail.append(reinterpret_cast<const char*>(&c->node), sizeof c->node);
                if (c->node == top.id)
                    return tail;
            }
            return std::string();
        };
        for (size_t i = 0; i < before.paths->size(); ++i) {
            numberOf.emplace((*before.paths)[i].cell(), i);
            const std::string tail = tailOf((*before.paths)[i]);
            if (!tail.empty())
                numberOfTail.emplace(tail, i);
        }
        std::vector<InstanceSets> after(now->size());
        for (size_t i = 0; i < now->size(); ++i) {
            size_t from = before.sets.size();
            const auto same = numberOf.find((*now)[i].cell());
            if (same != numberOf.end()) {
                from = same->second;
            } else {
                const auto alike = numberOfTail.find(tailOf((*now)[i]));
                if (alike != numberOfTail.end())
                    from = alike->second;
            }
            if (from < before.sets.size())
                after[i] = before.sets[from];
        }
        // The sets list a node once for each of its memberships.
        std::unordered_map<NodeId, std::ptrdiff_t> more;
        for (const InstanceSets& sets : before.sets)
            for (const Membership& m : sets)
                --more[m.set];
        for (const InstanceSets& sets : after)
            for (const Membership& m : sets)
                ++more[m.set];
        for (const auto& entry : more) {
            std::vector<NodeId>& members = static_cast<SetNode*>(node(entry.first))->members;
            for (std::ptrdiff_t i = entry.second; i < 0; ++i)
                members.erase(std::find(members.begin(), members.end(), before.node->id));
            for (std::ptrdiff_t i = 0; i < entry.second; ++i)
                members.push_back(before.node->id);
            _membershipCount += static_cast<size_t>(entry.second);
        }
        *before.node->memberships = std::move(after);
    }
}

} // namespace kelda
