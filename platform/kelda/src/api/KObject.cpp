#include "kelda/KObject.h"

#include "api/Api.h"

using namespace kelda;

const KObject KObject::kNullObj;

bool KObject::isNull() const
{
    return !_held && !nodeOf(*this);
}

std::shared_ptr<const FaceSet> KObject::faces() const
{
    return _held && _held->type == KFn::kMeshPolygonComponent ? std::static_pointer_cast<const FaceSet>(_held)
                                                              : nullptr;
}

bool KObject::hasFn(KFn::Type type) const
{
    if (_held) // the data of a curve can be used as a curve
        return type == _held->type || (type == KFn::kNurbsCurve && _held->type == KFn::kNurbsCurveData);
    const Node* node = nodeOf(*this);
    return node && (type == KFn::kBase || node->isA(type));
}

KFn::Type KObject::apiType() const
{
    if (_held)
        return _held->type;
    const Node* node = nodeOf(*this);
    return node ? node->type->fn() : KFn::kInvalid;
}

const char* KObject::apiTypeStr() const
{
    if (_held)
        return _held->type == KFn::kMeshPolygonComponent ? "meshFaces" : "nurbsCurveData";
    const Node* node = nodeOf(*this);
    return node ? node->type->name() : "";
}

bool KObject::operator==(const KObject& other) const
{
    if (_held && _held == other._held)
        return true;
    const std::shared_ptr<const FaceSet> faces = this->faces();
    const std::shared_ptr<const FaceSet> otherFaces = other.faces();
    if (faces && otherFaces) {
        const std::vector<FaceRange>& a = faces->ranges;
        const std::vector<FaceRange>& b = otherFaces->ranges;
        bool same = a.size() == b.size();
        for (size_t i = 0; same && i < a.size(); ++i)
            same = a[i].first == b[i].first && a[i].last == b[i].last;
        return same;
    }
    const bool null = isNull();
    if (null || other.isNull())
        return null && other.isNull();
    return !_held && !other._held && _node == other._node;
}
