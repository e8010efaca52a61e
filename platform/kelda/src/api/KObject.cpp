#include "kelda/KObject.h"

#include "api/Api.h"

using namespace kelda;

const KObject KObject::kNullObj;

bool KObject::isNull() const
{
    return !_faces && !nodeOf(*this);
}

bool KObject::hasFn(KFn::Type type) const
{
    if (_faces)
        return type == KFn::kMeshPolygonComponent;
    const Node* node = nodeOf(*this);
    return node && (type == KFn::kBase || node->isA(type));
}

KFn::Type KObject::apiType() const
{
    if (_faces)
        return KFn::kMeshPolygonComponent;
    const Node* node = nodeOf(*this);
    return node ? node->type->fn() : KFn::kInvalid;
}

const char* KObject::apiTypeStr() const
{
    if (_faces)
        return "meshFaces";
    const Node* node = nodeOf(*this);
    return node ? node->type->name() : "";
}

bool KObject::operator==(const KObject& other) const
{
    if (_faces && other._faces) {
        const std::vector<FaceRange>& a = _faces->ranges;
        const std::vector<FaceRange>& b = other._faces->ranges;
        bool same = a.size() == b.size();
        for (size_t i = 0; same && i < a.size(); ++i)
            same = a[i].first == b[i].first && a[i].last == b[i].last;
        return same;
    }
    const bool null = isNull();
    if (null || other.isNull())
        return null && other.isNull();
    return !_faces && !other._faces && _node == other._node;
}
