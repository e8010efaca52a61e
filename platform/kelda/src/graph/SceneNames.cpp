#include "dag/PathTable.h"
#include "graph/Scene.h"

#include <algorithm>
#include <charconv>
#include <unordered_set>

namespace kelda
{

// -- Text of names --------------------------------------------------------------------------------

namespace
{

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool isNameChar(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || isDigit(c) || c == '_';
}

/// Splits "wheel12" in "wheel" and 12; false when there is no number of use at the end.
bool splitNumber(std::string_view text, std::string_view& base, uint32_t& number)
{
    size_t digits = text.size();
    while (digits > 0 && isDigit(text[digits - 1]))
        --digits;
    if (digits == 0 || digits == text.size() || text.size() - digits > 9)
        return false;
    base = text.substr(0, digits);
    std::from_chars(text.data() + digits, text.data() + text.size(), number);
    return true;
}

std::string_view withoutNumber(std::string_view text)
{
    size_t size = text.size();
    while (size > 1 && isDigit(text[size - 1]))
        --size;
    return text.substr(0, size);
}

} // namespace

std::string Scene::legalName(std::string_view text)
{
    std::string out;
    out.reserve(text.size() + 1);
    if (!text.empty() && isDigit(text[0]))
        out += '_';
    for (char c : text) {
        if (isNameChar(c))
            out += c;
        else if ((static_cast<unsigned char>(c) & 0xc0) != 0x80) // not inside a UTF-8 character
            out += '_';
    }
    if (out.empty() && !text.empty())
        out = "_";
    return out;
}

// -- The table of names ---------------------------------------------------------------------------

static uint64_t hashOf(std::string_view text)
{
    return std::hash<std::string_view>()(text) & 0x7fffffffffffffffu; // the table does not take all keys
}

NameId Scene::intern(std::string_view text)
{
    NameId id = 0;
    if (findName(text, id))
        return id;
    const uint64_t hash = hashOf(text);
    id = static_cast<NameId>(_names.size());
    _names.emplace_back();
    _names.back().text = std::string(text);
    _names.back().nextSameHash = _nameIds.find(hash);
    _nameIds.set(hash, id);
    return id;
}

bool Scene::findName(std::string_view text, NameId& out) const
{
    for (NameId id = _nameIds.find(hashOf(text)); id != FlatMap::kNone; id = _names[id].nextSameHash) {
        if (_names[id].text == text) {
            out = id;
            return true;
        }
    }
    return false;
}

void Scene::attachName(Node& node, NameId id)
{
    Name& name = _names[id];
    node.name = id;
    node.prevSameName = kNoNode;
    node.nextSameName = name.first;
    if (name.first != kNoNode)
        _nodes[name.first]->prevSameName = node.id;
    name.first = node.id;
    ++name.count;
}

void Scene::detachName(Node& node)
{
    Name& name = _names[node.name];
    if (node.prevSameName != kNoNode)
        _nodes[node.prevSameName]->nextSameName = node.nextSameName;
    else
        name.first = node.nextSameName;
    if (node.nextSameName != kNoNode)
        _nodes[node.nextSameName]->prevSameName = node.prevSameName;
    --name.count;
    _paths->forgetNames();
    freeNumber(kNoNode, name.text);
    if (node.isDag)
        for (NodeId p : static_cast<DagNode&>(node).parents)
            freeNumber(p, name.text);
}

/// A name is given up: its number may be given again.
void Scene::freeNumber(NodeId parent, const std::string& text)
{
    std::string_view base;
    uint32_t number = 0;
    NameId baseId = 0;
    if (!splitNumber(text, base, number) || !findName(base, baseId))
        return;
    const uint64_t k = key(parent, baseId);
    const uint32_t next = _nextNumbers.find(k);
    if (next != FlatMap::kNone && next > number)
        _nextNumbers.set(k, number);
}

/// Chooses the name that a node gets when it is to be called `wanted` below these parents (none: outside the
/// DAG).
NameId Scene::chooseName(std::string_view wanted, const Node& node, const NodeId* parents, size_t parentCount)
{
    bool numbered = !wanted.empty() && wanted.back() == '#';
    if (numbered)
        wanted.remove_suffix(1);
    std::string base = legalName(wanted);
    if (base.empty()) {
        base = node.type->defaultName();
        numbered = true;
    }
    const bool isDag = parentCount > 0;
    const auto isFree = [&](std::string_view text) {
        NameId id = 0;
        if (!findName(text, id))
            return true;
        const Name& name = _names[id];
        if (name.count == 0 || (name.count == 1 && name.first == node.id))
            return true;
        if (!isDag || numbered || !_nodes[name.first]->isDag)
            return false;
        for (size_t i = 0; i < parentCount; ++i) {
            const NodeId child = childOfName(parents[i], id);
            if (child != kNoNode && child != node.id)
                return false;
        }
        return true;
    };
    if (!numbered && isFree(base))
        return intern(base);
    if (!numbered)
        base = std::string(withoutNumber(base));
    std::string_view ownBase;
    uint32_t ownNumber = 0;
    if (numbered && splitNumber(name(node), ownBase, ownNumber) && ownBase == base && isFree(name(node)))
        return node.name; // it has a number already
    // Numbers are looked for from where the last search with the same base ended.
    const uint64_t k = key(isDag && !numbered ? parents[parentCount - 1] : kNoNode, intern(base));
    uint32_t number = _nextNumbers.find(k);
    if (number == FlatMap::kNone)
        number = 1;
    std::string text;
    do {
        text = base + std::to_string(number++);
    } while (!isFree(text));
    _nextNumbers.set(k, number);
    return intern(text);
}

Outcome Scene::rename(Node& node, std::string_view wanted)
{
    if (node.isDefault)
        return Outcome(KStatus::kFailure, "\"" + name(node) + "\" is a default node and cannot be renamed");
    const std::vector<NodeId> none;
    const std::vector<NodeId>& parents = node.isDag ? static_cast<DagNode&>(node).parents : none;
    const NameId fresh = chooseName(wanted, node, parents.data(), parents.size());
    if (fresh == node.name)
        return Outcome();
    detachName(node);
    for (NodeId p : parents) {
        _children.erase(key(p, node.name));
        _children.set(key(p, fresh), node.id);
    }
    attachName(node, fresh);
    return Outcome();
}

// -- From names to nodes --------------------------------------------------------------------------

Outcome Scene::findPath(std::string_view text, std::vector<NodeId>& out) const
{
    out.clear();
    const std::string quoted = "\"" + std::string(text) + "\"";
    const Outcome missing(KStatus::kNotFound, "no object is named " + quoted);
    const bool fromWorld = !text.empty() && text[0] == '|';
    std::string_view rest = fromWorld ? text.substr(1) : text;
    std::vector<NameId> names;
    for (;;) {
        const size_t bar = std::min(rest.find('|'), rest.size());
        NameId id = 0;
        if (!findName(rest.substr(0, bar), id))
            return missing;
        names.push_back(id);
        if (bar == rest.size())
            break;
        rest.remove_prefix(bar + 1);
    }
    // Down from one node by the names from `first` on.
    std::vector<NodeId> found;
    const auto descend = [&](NodeId from, size_t first) {
        found.clear();
        if (first > 0)
            found.push_back(from);
        for (size_t i = first; i < names.size(); ++i) {
            from = childOfName(from, names[i]);
            if (from == kNoNode)
                return false;
            found.push_back(from);
        }
        return true;
    };
    if (fromWorld) {
        if (!descend(kWorld, 0))
            return missing;
        out = found;
        return Outcome();
    }
    NodeId match = kNoNode;
    for (NodeId start = firstOfName(names[0]); start != kNoNode; start = _nodes[start]->nextSameName) {
        const DagNode* top = dag(start);
        if (!top || top->id == kWorld || !descend(start, 1))
            continue;
        if (match != kNoNode && match != found.back()) {
            out.clear();
            return Outcome(KStatus::kFailure, "more than one object is named " + quoted);
        }
        if (match == kNoNode) {
            match = found.back();
            pathOfInstance(*top, 0, out);
            out.insert(out.end(), found.begin() + 1, found.end());
        }
    }
    return match == kNoNode ? missing : Outcome();
}

Outcome Scene::find(std::string_view text, NodeId& out) const
{
    NameId id = 0;
    if (text.find('|') == std::string_view::npos && findName(text, id) && _names[id].count == 1 &&
        _names[id].first != kWorld) {
        out = _names[id].first;
        return Outcome();
    }
    std::vector<NodeId> path;
    const Outcome found = findPath(text, path);
    if (found)
        out = path.back();
    return found;
}

// -- From nodes to names --------------------------------------------------------------------------

std::string Scene::shortestName(const Node& node) const
{
    if (!node.isDag || isNameUnique(node))
        return name(node);
    std::vector<NodeId> ids;
    pathOfInstance(static_cast<const DagNode&>(node), 0, ids);
    KDagPathCell* const cell = _paths->intern(ids.data(), ids.size());
    std::string text = _paths->partialName(cell);
    _paths->release(cell);
    return text;
}

} // namespace kelda
