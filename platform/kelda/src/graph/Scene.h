#pragma once

#include "base/FlatMap.h"
#include "base/Outcome.h"
#include "graph/Node.h"
#include "kelda/KTime.h"

#include <deque>
#include <functional>

namespace kelda
{

class PathTable;

/// Linear working unit: a label. Values are always centimetres.
enum class LinearUnit : uint8_t { Millimeter, Centimeter, Meter, Kilometer, Inch, Foot, Yard, Mile };
const char* fullName(LinearUnit unit);                         ///< "centimeter"
const char* shortName(LinearUnit unit);                        ///< "cm"
bool parseLinearUnit(std::string_view name, LinearUnit& unit); ///< full or short name, exact

/// Time unit: a label, as the linear one. Times are always held in 1/6000 second.
const char* fullName(KTime::Unit unit); ///< "film"; null: no unit
bool parseTimeUnit(std::string_view name, KTime::Unit& unit);

/// One member of a set, as setMembers() lists it.
struct SetMember {
    NodeId node;
    uint32_t instance;
    std::shared_ptr<const FaceSet> faces; ///< null: the whole instance
};

/// The scene: one per process.
///
/// Names. A DAG node's name is unique among its siblings (under every one of its parents) and differs from
/// the names of all other dependency nodes; a node outside the DAG has a name that no other node has. Names
/// hold ASCII letters, digits and "_", and do not begin with a digit: legalName().
///
/// Instances. The paths to a node are numbered parent by parent, in the order in which the parents were
/// added; the paths to one parent in that parent's own order. So the path made first is number 0, and who
/// restores the order of parents restores the numbers. A new instance joins the sets of the instance that it
/// was made from, or of instance 0.
///
/// Nothing here is recursive over the depth of the DAG. Node pointers stay valid until their node is deleted.
class Scene
{
public:
    static Scene& current();

    Scene();
    ~Scene();
    Scene(const Scene&) = delete;
    Scene& operator=(const Scene&) = delete;

    /// Deletes all there is and makes the default nodes. Every handle made before is dead afterwards.
    void clear();
    uint32_t epoch() const { return _epoch; } ///< changes with clear(); never 0
    /// Deletes everything, default nodes included, and makes none: the process is about to end.
    void release();

    // -- nodes

    /// Number of ids given out; ids run from 0 (the world) to idEnd() - 1, with gaps where nodes were
    /// deleted.
    NodeId idEnd() const { return static_cast<NodeId>(_nodes.size()); }
    Node* node(NodeId id) const { return id < _nodes.size() ? _nodes[id].get() : nullptr; }
    DagNode* dag(NodeId id) const
    {
        Node* n = node(id);
        return n && n->isDag ? static_cast<DagNode*>(n) : nullptr;
    }
    DagNode& world() const { return *static_cast<DagNode*>(_nodes[kWorld].get()); }

    /// Makes a node. The name is legalised and made unique; empty: the type's default name. `parent` is
    /// looked at for DAG types only (a shape may stand below the world, too). Null, with `why` set, when the
    /// type is abstract or the parent is not a DAG node, or is a shape.
    Node* create(const NodeType& type, std::string_view name, NodeId parent = kWorld, size_t position = kLast,
                 Outcome* why = nullptr);

    /// Deletes these nodes, all DAG nodes that only stand below them, their connections and memberships. A
    /// default node among them: fails, nothing is deleted.
    Outcome remove(const std::vector<NodeId>& nodes);

    // -- names

    const std::string& name(const Node& node) const { return _names[node.name].text; }
    const std::string& name(NameId id) const { return _names[id].text; }
    /// Gives the node the name, legalised and made unique; empty: the default name. The name it got:
    /// name(node).
    Outcome rename(Node& node, std::string_view name);
    /// `text` with every character that is not an ASCII letter, digit or "_" replaced by one "_" (one for
    /// each UTF-8 character, not for each byte) and "_" put before a leading digit.
    static std::string legalName(std::string_view text);
    /// The only node that `text` names: a plain name, or a path or its trailing part ("a|b", "|top|a|b").
    Outcome find(std::string_view text, NodeId& out) const;
    /// Same, for DAG nodes; gives the path as node ids from below the world down to the node.
    Outcome findPath(std::string_view text, std::vector<NodeId>& out) const;
    bool isNameUnique(const Node& node) const { return _names[node.name].count == 1; }
    uint32_t countOfName(NameId name) const { return _names[name].count; }
    NodeId firstOfName(NameId name) const { return _names[name].first; }
    NodeId childOfName(NodeId parent, NameId name) const { return _children.find(key(parent, name)); }
    bool findName(std::string_view text, NameId& out) const; ///< false: no node has borne that name

    // -- DAG

    static constexpr size_t kLast = ~size_t(0);

    /// Makes `child` an instance below one more parent. Fails when it stands there already, would stand below
    /// itself, or the parent is a shape. A sibling of the same name: the child is renamed. The new instances
    /// of a child without children join the sets of its instance `like`.
    Outcome addParent(DagNode& child, DagNode& parent, size_t position = kLast, uint32_t like = 0);
    /// Moves the child from one parent to another one; from == to moves it among its siblings.
    Outcome moveChild(DagNode& child, DagNode& from, DagNode& to, size_t position = kLast);
    /// Takes the child from all its parents and puts it below one.
    Outcome moveBelow(DagNode& child, DagNode& to, size_t position = kLast);
    /// Takes one of several parents away. Fails for the last one.
    Outcome removeParent(DagNode& child, DagNode& parent);
    bool isAncestor(const DagNode& maybeAncestor, const DagNode& of) const; ///< or the same node

    uint32_t pathCount(const DagNode& node) const; ///< number of instances, saturating at 2^32 - 1; world: 1
    uint64_t countAllPaths() const;                ///< sum over all DAG nodes without the world, saturating
    /// The path with that instance number: node ids from below the world down to the node. False: out of
    /// range.
    bool pathOfInstance(const DagNode& node, uint32_t instance, std::vector<NodeId>& out) const;
    /// Instance number of a path; ids from below the world down to the node. False: no such path.
    bool instanceOfPath(const NodeId* ids, size_t count, uint32_t& out) const;
    PathTable& paths() { return *_paths; }

    // -- sets

    /// Puts an instance, or some of its faces (null: all of it), into a set. Joins what is there already.
    /// `faces` must be in range of the node's mesh and keep to the form of FaceSet.
    Outcome addMember(SetNode& set, DagNode& node, uint32_t instance,
                      std::shared_ptr<const FaceSet> faces = nullptr);
    /// The same for a reader that restores memberships: nothing is looked for twice.
    Outcome removeMember(SetNode& set, DagNode& node, uint32_t instance);
    /// Takes the instance (or these faces of it) out of all renderable sets but `except`.
    void leaveRenderableSets(DagNode& node, uint32_t instance, const FaceSet* faces, NodeId except);
    /// Members, ordered by first adding of their node, then by instance.
    std::vector<SetMember> setMembers(const SetNode& set) const;
    const InstanceSets& setsOf(const DagNode& node, uint32_t instance) const; ///< empty when in none

    // -- connections

    /// Connects source to destination. The destination must be free, unless `force` is true: then its
    /// connection is cut first. Kinds must agree: numbers with numbers, compounds with compounds of as many
    /// components, text with text, matrices with matrices, messages with what carries no value either. Of an
    /// array, one element is connected.
    Outcome connect(const PlugKey& source, const PlugKey& destination, bool force);
    Outcome disconnect(const PlugKey& source, const PlugKey& destination);
    bool sourceOf(const PlugKey& destination, PlugKey& source) const; ///< false: not connected
    /// Text after the node's name: "color", "colorR", "worldInverseMatrix[0]", "uvSets[0].uvSetName".
    Outcome findPlug(const Node& node, std::string_view attrText, PlugKey& out) const;
    Outcome findPlug(std::string_view nodeAndAttr, PlugKey& out) const; ///< "lambert1.color"
    std::string attrText(const PlugKey& plug) const;
    std::string
    plugText(const PlugKey& plug) const; ///< with the shortest name of the node that is not ambiguous

    // -- values

    /// Value of a numeric plug (a component, or an attribute without components). False: not numeric.
    bool number(const PlugKey& plug, double& out) const;
    bool text(const PlugKey& plug, std::string& out) const; ///< as it was set
    /// The text as programs and commands are answered. A file name that is not absolute comes as a full path
    /// when the file stands beside the scene's.
    bool answer(const PlugKey& plug, std::string& out) const;
    /// Elements of an array attribute that exist, ascending: those with a value of their own or a connection.
    std::vector<int32_t> elements(const Node& node, int attr) const;
    Outcome setNumber(const PlugKey& plug, double value);
    Outcome setText(const PlugKey& plug, std::string_view value);
    void removeElement(const PlugKey& plug);               ///< takes the value of a text array's element away
    bool isDefaultValue(const Node& node, int attr) const; ///< of a number, a text, or all components

    // -- the rest

    LinearUnit linearUnit() const { return _unit; }
    void setLinearUnit(LinearUnit unit) { _unit = unit; }
    KTime::Unit timeUnit() const { return _timeUnit; }
    void setTimeUnit(KTime::Unit unit) { _timeUnit = unit; }
    const std::string& fileName() const
    {
        return _fileName;
    } ///< full path of the file last opened or saved; or empty
    void setFileName(std::string name) { _fileName = std::move(name); }

    std::string shortestName(const Node& node) const; ///< of instance 0, for a DAG node

    /// Holds what nodes rely on, and lets it go when the scene is cleared.
    void keepUntilCleared(std::shared_ptr<void> thing) { _kept.push_back(std::move(thing)); }

private:
    struct Name {
        std::string text;
        NodeId first = kNoNode;
        uint32_t count = 0;
        NameId nextSameHash = FlatMap::kNone;
    };

    static uint64_t key(NodeId parent, NameId name) { return (uint64_t(parent) << 32) | name; }
    NameId intern(std::string_view text);
    void attachName(Node& node, NameId name);
    void detachName(Node& node);
    void freeNumber(NodeId parent, const std::string& text);
    bool nameIsFree(NameId name, const DagNode* dagNode, NodeId parent, bool everywhere) const;
    NameId chooseName(std::string_view wanted, const Node& node, const NodeId* parents, size_t parentCount);
    void link(DagNode& child, DagNode& parent, size_t position);
    void unlink(DagNode& child, DagNode& parent);
    void shapeChanged(DagNode& node);
    void placeChanged(DagNode& node);
    void remapMemberships(DagNode& node, const std::function<void()>& edit);
    void makeDefaults();

    std::vector<std::unique_ptr<Node>> _nodes;
    std::deque<Name> _names;
    FlatMap _nameIds;     ///< hash of the text to the name interned last of those with that hash
    FlatMap _children;    ///< (parent, name) to child
    FlatMap _nextNumbers; ///< (parent or kNoNode, name without its number) to the number to try next
    mutable uint32_t _walk = 0;
    uint32_t _epoch = 0;
    uint32_t _dagStamp = 1; ///< changes whenever many path counts may be out of date
    size_t _membershipCount = 0;
    LinearUnit _unit = LinearUnit::Centimeter;
    KTime::Unit _timeUnit = KTime::kFilm;
    std::string _fileName;
    std::vector<std::shared_ptr<void>> _kept;
    std::unique_ptr<PathTable> _paths;
};

} // namespace kelda
