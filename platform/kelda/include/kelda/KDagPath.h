#pragma once

#include "kelda/KFn.h"
#include "kelda/KObject.h"
#include "kelda/KStatus.h"
#include "kelda/KString.h"

struct KDagPathCell;

/// A path through the DAG: the world, a node below it, and so on down. Where a node has several parents, it
/// is the path that says which of its instances is meant. Copying is O(1). A path whose nodes are deleted or
/// parted, or whose scene was cleared, is no longer valid; every call on it then fails.
class KELDA_API KDagPath
{
public:
    KDagPath() : _cell(nullptr) {} ///< no path
    KDagPath(const KDagPath& other) : _cell(other._cell) { addRef(); }
    KDagPath(KDagPath&& other) noexcept : _cell(other._cell) { other._cell = nullptr; }
    KDagPath& operator=(const KDagPath& other);
    KDagPath& operator=(KDagPath&& other) noexcept;
    ~KDagPath()
    {
        if (_cell)
            release();
    }

    bool isValid(KStatus* status = nullptr) const;

    /// The node at the end.
    KObject node(KStatus* status = nullptr) const;
    /// The transform nearest to the end: the end itself, or the first one above it.
    KObject transform(KStatus* status = nullptr) const;
    KFn::Type apiType(KStatus* status = nullptr) const; ///< of the node at the end
    /// True when the node at the end is of the type, or, for a transform, when one of its shape children is.
    bool hasFn(KFn::Type type, KStatus* status = nullptr) const;

    /// Takes the last `count` elements away. The path of a top-level node becomes that of the world; when
    /// there are not so many elements, and always for the world's path, the call fails and changes nothing.
    KStatus pop(unsigned count = 1);
    /// Goes on to a child of the node at the end.
    KStatus push(const KObject& child);
    /// To the first shape below the transform at the end; a shape's path stays as it is.
    KStatus extendToShape();

    unsigned length(KStatus* status = nullptr) const; ///< number of elements; the world's path has none
    unsigned childCount(KStatus* status = nullptr) const;
    KObject child(unsigned index, KStatus* status = nullptr) const;

    /// True when the node at the end, or a node above it, has several parents.
    bool isInstanced() const;
    /// Number of the instance, in the order of getAllPaths(); 0 when not instanced.
    unsigned instanceNumber(KStatus* status = nullptr) const;

    KString fullPathName(KStatus* status = nullptr) const; ///< "|car|door|doorShape"; of the world: ""
    /// The shortest trailing part of the full path name that names no other path; the full path name when
    /// there is none, or when the names on the path are so frequent that finding one would take long.
    KString partialPathName(KStatus* status = nullptr) const;

    bool operator==(const KDagPath& other) const;
    bool operator!=(const KDagPath& other) const { return !(*this == other); }

    /// The path of the node's instance 0.
    static KStatus getAPathTo(const KObject& node, KDagPath& path);

    /// For the library: takes over the caller's reference.
    static KDagPath adopt(KDagPathCell* cell)
    {
        KDagPath path;
        path._cell = cell;
        return path;
    }
    KDagPathCell* cell() const { return _cell; } ///< for the library; null: no path

private:
    void addRef() const;
    void release();

    KDagPathCell* _cell;
};
