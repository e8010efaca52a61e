#pragma once

#include "kelda/KApi.h"
#include "kelda/KFn.h"

#include <memory>

namespace kelda
{
struct Held;
struct FaceSet;
} // namespace kelda

/// A handle to a node of the scene, to a component (some faces of a mesh), or to the data of a NURBS curve
/// that stands in no scene. It owns no node: once its node is deleted or the scene cleared, the handle is
/// null. Components and data are held by their handles.
class KELDA_API KObject
{
public:
    KObject() : _node(0), _epoch(0) {} ///< null
    static const KObject kNullObj;

    bool isNull() const;
    /// True when the object is of the type or based on it: a spot light has kSpotLight, kLight, kShape,
    /// kDagNode, ...
    bool hasFn(KFn::Type type) const;
    KFn::Type apiType() const; ///< kInvalid for a null object
    const char*
    apiTypeStr() const; ///< name of the node's type, "meshFaces", or "nurbsCurveData"; "" when null

    /// Same node, same data, or components with the same faces; all null objects are equal.
    bool operator==(const KObject& other) const;
    bool operator!=(const KObject& other) const { return !(*this == other); }

    /// For the library.
    KObject(unsigned node, unsigned epoch) : _node(node), _epoch(epoch) {}
    explicit KObject(std::shared_ptr<const kelda::Held> held)
        : _node(0), _epoch(0), _held(static_cast<std::shared_ptr<const kelda::Held>&&>(held))
    {
    }
    unsigned nodeId() const { return _node; }
    unsigned epoch() const { return _epoch; }
    const std::shared_ptr<const kelda::Held>& held() const { return _held; }
    std::shared_ptr<const kelda::FaceSet> faces() const; ///< null unless it is a component

private:
    unsigned _node;
    unsigned _epoch;
    std::shared_ptr<const kelda::Held> _held;
};
