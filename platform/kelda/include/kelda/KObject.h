#pragma once

#include "kelda/KApi.h"
#include "kelda/KFn.h"

#include <memory>

namespace kelda
{
struct FaceSet;
}

/// A handle to a node of the scene, or to a component: some faces of a mesh. It owns no node: once its node
/// is deleted or the scene cleared, the handle is null. A component is held by its handles.
class KELDA_API KObject
{
public:
    KObject() : _node(0), _epoch(0) {} ///< null
    static const KObject kNullObj;

    bool isNull() const;
    /// True when the object is of the type or based on it: a spot light has kSpotLight, kLight, kShape,
    /// kDagNode, ...
    bool hasFn(KFn::Type type) const;
    KFn::Type apiType() const;      ///< kInvalid for a null object
    const char* apiTypeStr() const; ///< name of the node's type, or "meshFaces"; "" for a null object

    /// Same node, or components with the same faces; all null objects are equal.
    bool operator==(const KObject& other) const;
    bool operator!=(const KObject& other) const { return !(*this == other); }

    /// For the library.
    KObject(unsigned node, unsigned epoch) : _node(node), _epoch(epoch) {}
    explicit KObject(std::shared_ptr<const kelda::FaceSet> faces)
        : _node(0), _epoch(0), _faces(static_cast<std::shared_ptr<const kelda::FaceSet>&&>(faces))
    {
    }
    unsigned nodeId() const { return _node; }
    unsigned epoch() const { return _epoch; }
    const std::shared_ptr<const kelda::FaceSet>& faces() const { return _faces; }

private:
    unsigned _node;
    unsigned _epoch;
    std::shared_ptr<const kelda::FaceSet> _faces;
};
