#pragma once

#include "kelda/KFn.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace kelda
{

struct Node;

// -- attributes -----------------------------------------------------------------------------------

enum class AttrKind : uint8_t {
    Bool,
    Int,
    Enum,
    Float, ///< narrowed to single precision when set
    Double,
    Angle, ///< radians, double precision; commands and files use radians, too
    Text,
    Message, ///< carries no value; exists to be connected
    Matrix,  ///< carries no settable value; exists to be connected
    Compound ///< has named children of any kind, no value of its own
};

enum AttrFlags : uint8_t {
    kAttrArray = 1,     ///< addressed by element: name[0]
    kAttrReadOnly = 2,  ///< computed, or an output: setting fails, files leave it out
    kAttrNotStored = 4, ///< has a value, but files hold it in a form of their own (mesh arrays, set members)
    kAttrFileName = 8,  ///< a text that names a file: see Scene::answer
};

/// How an attribute reaches the typed data of its node. Null members: not possible. Attributes without any
/// are held in the node's generic values.
struct AttrAccess {
    double (*get)(const Node&, int element, int component);
    void (*set)(Node&, int element, int component, double value);
    std::string (*getText)(const Node&, int element);
    bool (*setText)(Node&, int element, std::string_view text);
    int (*count)(const Node&); ///< number of elements of an array attribute
};

/// One line of an attribute table.
struct AttrRow {
    const char* name;
    AttrKind kind;
    double value;         ///< default; each component's own when there are children
    const char* children; ///< null, or the endings of the components: "X Y Z" gives translateX, translateY,
                          ///< translateZ; "=uCoord vCoord" gives whole names
    uint8_t flags;
    const AttrAccess* access; ///< null: generic value
    const char* parent;       ///< null, or the compound array that this attribute is a child of
};

/// An attribute of a node type, ready for use. Components ("colorR") are attributes of their own, right
/// behind the attribute that they belong to.
struct Attr {
    std::string name;
    AttrKind kind;
    uint8_t flags;
    int16_t parent = -1;    ///< index of the attribute that this is a child of; -1: none
    int16_t childCount = 0; ///< components; they stand at index + 1 ...
    int16_t component = 0;  ///< of a component: its place in the parent; otherwise 0
    int16_t slot = -1;      ///< first place in the generic numbers, texts or arrays; -1: typed, or no value
    double value = 0;       ///< default
    const AttrAccess* access = nullptr;
    bool ownRow = true; ///< false for components

    bool isArray() const { return (flags & kAttrArray) != 0; }
    bool readOnly() const { return (flags & kAttrReadOnly) != 0; }
    bool isNumeric() const { return kind <= AttrKind::Angle; }
    /// Elements are held in the generic arrays. Of numbers there are none: no type has such an attribute.
    bool isTextArray() const { return isArray() && kind == AttrKind::Text && !access; }
};

// -- node types -----------------------------------------------------------------------------------

/// One line of the node type table.
struct NodeTypeRow {
    uint16_t id; ///< stored in "kb" files: never renumber
    const char* name;
    const char* defaultName; ///< given to a node that is named with an empty name; null: an abstract type
    const char* base;        ///< null: the root of all types
    KFn::Type fn;
    Node* (*make)(); ///< null: abstract
    const AttrRow* attrs;
    int attrCount;
};

/// A node type with its attributes, inherited ones first.
class NodeType
{
public:
    NodeType(const NodeTypeRow& row, const NodeType* base);

    uint16_t id() const { return _row.id; }
    const char* name() const { return _row.name; }
    const char* defaultName() const { return _row.defaultName; }
    KFn::Type fn() const { return _row.fn; }
    const NodeType* base() const { return _base; }
    bool isAbstract() const { return _row.make == nullptr; }
    Node* make() const { return _row.make(); }

    /// True when this type is `fn` or based on it.
    bool isA(KFn::Type fn) const
    {
        for (const NodeType* t = this; t; t = t->_base)
            if (t->_row.fn == fn)
                return true;
        return false;
    }

    const std::vector<Attr>& attrs() const { return _attrs; }
    const Attr& attr(int index) const { return _attrs[static_cast<size_t>(index)]; }
    int findAttr(std::string_view name) const; ///< index, or -1

    int numberSlots() const { return _numberSlots; }
    int textSlots() const { return _textSlots; }
    int arraySlots() const { return _arraySlots; }

private:
    void add(const AttrRow& row);

    const NodeTypeRow& _row;
    const NodeType* _base;
    std::vector<Attr> _attrs;
    std::unordered_map<std::string, int> _byName;
    int _numberSlots = 0;
    int _textSlots = 0;
    int _arraySlots = 0;
};

/// All types, in table order. Bases stand before what is based on them.
const std::vector<NodeType>& nodeTypes();
const NodeType* findNodeType(std::string_view name); ///< null: none of that name
const NodeType* findNodeType(unsigned id);           ///< null: none of that id

} // namespace kelda
