#pragma once

#include "kelda/KDagPath.h"
#include "kelda/KFnDependencyNode.h"
#include "kelda/KObjectArray.h"

/// A set of DAG node instances and of faces of such; a renderable one is a shading group.
class KELDA_API KFnSet : public KFnDependencyNode
{
public:
    KFnSet() {}
    explicit KFnSet(const KObject& object, KStatus* status = nullptr);
    KFn::Type type() const override;

    /// Makes a set ("shadingEngine" when renderable) and attaches to it.
    KObject create(const KString& name, bool renderable, KStatus* status = nullptr);

    /// All instances of a DAG node. What is a member already stays one.
    KStatus addMember(const KObject& object);
    /// One instance, or with a component (faces, of a mesh) some of its faces; faces join those that are in
    /// the set.
    KStatus addMember(const KDagPath& path, const KObject& component = KObject::kNullObj);
    KStatus removeMember(const KObject& object);
    KStatus removeMember(const KDagPath& path);
    bool isMember(const KObject& object, KStatus* status = nullptr) const; ///< any instance, or part of one
    bool isMember(const KDagPath& path, KStatus* status = nullptr) const;
    unsigned memberCount(KStatus* status = nullptr) const; ///< instances

    bool isRenderable(KStatus* status = nullptr) const;
    KStatus setRenderable(bool renderable);
};
