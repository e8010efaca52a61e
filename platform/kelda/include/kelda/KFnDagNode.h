#pragma once

#include "kelda/KDagPathArray.h"
#include "kelda/KFnDependencyNode.h"
#include "kelda/KMatrix.h"
#include "kelda/KObjectArray.h"

/// A node of the DAG, or, when attached to a path, one instance of it.
class KELDA_API KFnDagNode : public KFnDependencyNode
{
public:
    static constexpr unsigned kNextPos = 0xffffffffu; ///< behind the last child

    KFnDagNode() {}
    explicit KFnDagNode(const KObject& object, KStatus* status = nullptr);
    explicit KFnDagNode(const KDagPath& path, KStatus* status = nullptr);
    KFn::Type type() const override;
    KStatus setObject(const KObject& object) override;
    /// Of a function set of shapes, the path may be that of a transform: then it attaches to the first shape
    /// of its kind below it that is no intermediate object.
    KStatus setObject(const KDagPath& path);

    /// Makes a node of that type below the parent (null: below the world) and attaches to it. A shape without
    /// a parent gets a transform of its own, which is then what is answered.
    KObject create(const KString& typeName, const KString& name, const KObject& parent,
                   KStatus* status = nullptr);

    KDagPath dagPath(KStatus* status = nullptr) const; ///< the path attached to, or instance 0's
    KString fullPathName(KStatus* status = nullptr) const;
    KString partialPathName(KStatus* status = nullptr) const;

    /// True when the node has several parents or, with `indirect`, stands below a node that has.
    bool isInstanced(bool indirect = true, KStatus* status = nullptr) const;
    unsigned instanceCount(bool total, KStatus* status = nullptr) const; ///< total: paths; otherwise parents
    /// All paths to the node by instance number: parent by parent in the order of adding, so that the path
    /// made first comes first.
    KStatus getAllPaths(KDagPathArray& paths) const;

    bool isIntermediateObject(KStatus* status = nullptr) const;
    KStatus setIntermediateObject(bool intermediate);

    unsigned parentCount(KStatus* status = nullptr) const; ///< the world counts
    KObject parent(unsigned index, KStatus* status = nullptr) const;
    unsigned childCount(KStatus* status = nullptr) const;
    KObject child(unsigned index, KStatus* status = nullptr) const;
    bool hasChild(const KObject& node, KStatus* status = nullptr) const;
    bool hasParent(const KObject& node, KStatus* status = nullptr) const;

    /// Puts a node below this one. It leaves all its other parents, unless these are kept: then it is an
    /// instance more. A node cannot stand below itself, nor below a shape.
    KStatus addChild(const KObject& child, unsigned position = kNextPos, bool keepExistingParents = false);
    /// Takes a child away; a child with no other parent goes below the world.
    KStatus removeChild(const KObject& child);

    /// A copy below the world: of the node and, for a transform, of all that stands below it.
    /// Of a shape: a new transform that holds the copy; that transform is answered.
    /// instance: the same node is used once more instead of a copy: a shape's new transform then holds an
    /// instance of the shape, and a transform becomes an instance below the world (fails when it stands there
    /// already). instanceLeaf (without instance): transforms are copied, shapes are instanced.
    /// A new instance, or copy, of a shape joins the sets, face by face, of the instance that this function
    /// set's path names; attached to an object, of instance 0.
    KObject duplicate(bool instance = false, bool instanceLeaf = false, KStatus* status = nullptr) const;

    KMatrix transformationMatrix(KStatus* status = nullptr) const; ///< local; of a shape: identity

    /// The sets that an instance, or some of its faces, belong to, in the order in which the sets were made,
    /// and for each the member: a null object for the whole instance, or a component holding faces.
    KStatus getConnectedSetsAndMembers(unsigned instanceNumber, KObjectArray& sets, KObjectArray& components,
                                       bool renderableSetsOnly) const;

protected:
    KDagPath _path; ///< not valid when attached to an object
};
