#pragma once

#include "graph/Scene.h"

#include <string>
#include <string_view>

namespace kelda
{

/// The version of both scene forms that is written here; the year stands in the file.
constexpr int kSceneVersion = 2017;

/// Number of a node within one file: 0, 1, 2, ... in the order in which nodes are given.
using FileIndex = uint32_t;
constexpr FileIndex kNoIndex = 0xffffffffu; ///< as a parent: the world

/// What a scene file says, verb by verb, in the order of the file. The walk over the scene and both readers
/// call one; both writers and the builder are one. So each form differs in one class each way.
///
/// Every verb answers false when it cannot be done; error() says why, and no further verb may follow.
class SceneSink
{
public:
    virtual ~SceneSink() = default;

    virtual bool begin(int version) = 0;
    virtual bool unit(LinearUnit unit) = 0;
    virtual bool timeUnit(KTime::Unit unit) = 0; ///< where it is not film

    /// A node below its first parent, behind that parent's earlier children. `type` null: of a type that is
    /// not known here; it is numbered, and what follows about it is dropped. `nameIsUnique`: no other node of
    /// the scene bears the name (a hint for readable references; false is always right).
    virtual bool node(FileIndex index, const NodeType* type, std::string_view name, FileIndex parent,
                      bool nameIsUnique) = 0;
    /// A node that every scene has. Null: there is none of that name.
    virtual const NodeType* defaultNode(FileIndex index, std::string_view name) = 0;

    // Of the node given last.
    /// All components of a numeric attribute; `attr` counts in the node's type.
    virtual bool numbers(int attr, const double* values, int count) = 0;
    /// element: of an array attribute; otherwise -1.
    virtual bool text(int attr, int32_t element, std::string_view value) = 0;
    /// A builder takes the arrays out of `mesh`; a writer may look at them until end() has returned.
    virtual bool mesh(MeshData& mesh) = 0;
    virtual bool surface(SurfaceData& surface) = 0; ///< likewise
    virtual bool curve(CurveData& curve) = 0;       ///< likewise
    virtual bool keys(KeyData& keys) = 0;           ///< the same

    /// A further parent, behind that parent's earlier children.
    virtual bool instance(FileIndex child, FileIndex parent) = 0;
    /// The order of a node's parents, hence of its instances, where it is not that of node() and instance().
    virtual bool parentOrder(FileIndex child, const FileIndex* parents, size_t count) = 0;

    /// `faces` null: the whole instance.
    virtual bool member(FileIndex set, FileIndex node, uint32_t instance, const FaceSet* faces) = 0;
    /// Attributes as texts: "outColor".
    virtual bool connection(FileIndex source, std::string_view sourceAttr, FileIndex destination,
                            std::string_view destinationAttr) = 0;

    /// A reader met something that a newer version knows ("node type \"fog\"") and goes on without it.
    virtual void leftOut(const std::string& what) = 0;
    virtual bool end() = 0;

    const std::string& error() const { return _error; }

protected:
    /// Keeps the first error only; always false.
    bool fail(std::string why)
    {
        if (_error.empty())
            _error = std::move(why);
        return false;
    }

private:
    std::string _error;
};

/// Where the bytes of a scene file go.
class Output
{
public:
    virtual ~Output() = default;
    virtual bool write(const void* bytes, size_t count) = 0; ///< false: error() says why
    virtual const std::string& error() const = 0;
};

/// Whether files hold the attribute as a value of its own.
inline bool isStored(const NodeType& type, int index)
{
    const Attr& attr = type.attr(index);
    // Whether a set is renderable has no row of its own kind: sets are made by one command that says so.
    if (attr.name == "renderable" && type.isA(KFn::kSet))
        return true;
    if (!attr.ownRow || attr.parent >= 0 || attr.readOnly() || (attr.flags & kAttrNotStored))
        return false;
    return attr.isArray() ? attr.isTextArray() : attr.isNumeric() || attr.kind == AttrKind::Text;
}

inline int componentCount(const Attr& attr)
{
    return attr.childCount > 0 ? attr.childCount : 1;
}

inline bool isEmpty(const MeshData& mesh)
{
    return mesh.points.empty() && mesh.faceCounts.empty() && mesh.faceVertices.empty() &&
           mesh.normals.empty() && mesh.normalIds.empty() && mesh.uvSets.empty();
}

} // namespace kelda
