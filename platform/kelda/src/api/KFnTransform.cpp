#include "kelda/KFnTransform.h"

#include "api/Api.h"
#include "api/SceneCopy.h"

#include <cmath>

using namespace kelda;

// -- Attaching ------------------------------------------------------------------------------------

KFnTransform::KFnTransform(const KObject& object, KStatus* status)
{
    if (!give(status, enter("KFnTransform::KFnTransform")).error())
        give(status, setObject(object));
}

KFnTransform::KFnTransform(const KDagPath& path, KStatus* status)
{
    if (!give(status, enter("KFnTransform::KFnTransform")).error())
        give(status, setObject(path));
}

KFn::Type KFnTransform::type() const
{
    return KFn::kTransform;
}

KObject KFnTransform::create(const KObject& parent, KStatus* status)
{
    if (give(status, enter("KFnTransform::create")).error())
        return KObject();
    return KFnDagNode::create("transform", KString(), parent, status);
}

namespace
{

TransformData* dataOf(const KObject& object, KStatus* status)
{
    TransformNode* node = attachedNode<TransformNode>(object, status);
    return node ? &node->transform : nullptr;
}

bool isLocal(KSpace::Space space)
{
    return space == KSpace::kTransform || space == KSpace::kObject;
}

/// Sets three finite numbers; anything else changes nothing.
KStatus put(const KObject& object, double (TransformData::*field)[3], double x, double y, double z)
{
    KStatus status;
    TransformData* data = dataOf(object, &status);
    if (!data)
        return status;
    if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(z))
        return KStatus::kInvalidParameter;
    (data->*field)[0] = x;
    (data->*field)[1] = y;
    (data->*field)[2] = z;
    return KStatus::kSuccess;
}

KVector get(const KObject& object, const double (TransformData::*field)[3], KSpace::Space space,
            KStatus* status)
{
    const TransformData* data = dataOf(object, status);
    if (!data)
        return KVector();
    if (!isLocal(space)) {
        give(status, KStatus(KStatus::kInvalidParameter));
        return KVector();
    }
    return KVector(data->*field);
}

/// A point of the transform's parent space, or, with kWorld, of the world: what stands above the path is
/// applied.
KVector toSpace(const KVector& at, const KMatrix& own, const KDagPath& path, KSpace::Space space,
                bool ownSpace)
{
    if (isLocal(space))
        return at;
    std::vector<NodeId> ids;
    PathTable::idsOf(path.cell(), ids);
    const KMatrix above = worldMatrix(Scene::current(), ids.data(), ids.size() - 1);
    const KPoint p = ownSpace ? KPoint(at) * own * above : KPoint(at) * above;
    return KVector(p.x, p.y, p.z);
}

KEulerRotation rotationOf(const TransformData& d)
{
    return KEulerRotation(d.rotate[0], d.rotate[1], d.rotate[2],
                          static_cast<KEulerRotation::RotationOrder>(d.rotateOrder));
}

bool isFinite(const KQuaternion& q)
{
    return std::isfinite(q.x) && std::isfinite(q.y) && std::isfinite(q.z) && std::isfinite(q.w);
}

} // namespace

// -- As a whole -----------------------------------------------------------------------------------

KTransformationMatrix KFnTransform::transformation(KStatus* status) const
{
    const TransformData* data = dataOf(_object, status);
    return data ? componentsOf(*data) : KTransformationMatrix();
}

KStatus KFnTransform::set(const KTransformationMatrix& transformation)
{
    KStatus status;
    TransformData* data = dataOf(_object, &status);
    if (!data)
        return status;
    const KStatus entered = enter("KFnTransform::set");
    if (entered.error())
        return entered;
    TransformData fresh;
    setComponents(fresh, transformation);
    for (const double(*field)[3] :
         {&fresh.translate, &fresh.rotate, &fresh.rotateAxis, &fresh.scale, &fresh.shear, &fresh.rotatePivot,
          &fresh.rotatePivotTranslate, &fresh.scalePivot, &fresh.scalePivotTranslate})
        for (double v : *field)
            if (!std::isfinite(v))
                return KStatus::kInvalidParameter;
    *data = fresh;
    return KStatus::kSuccess;
}

// -- Translation ----------------------------------------------------------------------------------

KVector KFnTransform::translation(KSpace::Space space, KStatus* status) const
{
    if (space != KSpace::kWorld)
        return get(_object, &TransformData::translate, space, status);
    const TransformData* data = dataOf(_object, status);
    if (!data)
        return KVector();
    return toSpace(KVector(data->translate), KMatrix(), dagPath(status), space, false);
}

KStatus KFnTransform::setTranslation(const KVector& v, KSpace::Space space)
{
    if (!isLocal(space))
        return KStatus::kInvalidParameter;
    return put(_object, &TransformData::translate, v.x, v.y, v.z);
}

// -- Rotation -------------------------------------------------------------------------------------

KStatus KFnTransform::getRotation(KQuaternion& rotation, KSpace::Space space) const
{
    KStatus status;
    const TransformData* data = dataOf(_object, &status);
    if (!data)
        return status;
    if (!isLocal(space))
        return KStatus::kInvalidParameter;
    rotation = rotationOf(*data).asQuaternion();
    return status;
}

KStatus KFnTransform::getRotation(KEulerRotation& rotation) const
{
    KStatus status;
    const TransformData* data = dataOf(_object, &status);
    if (data)
        rotation = rotationOf(*data);
    return status;
}

KStatus KFnTransform::setRotation(const KQuaternion& rotation, KSpace::Space space)
{
    KStatus status;
    const TransformData* data = dataOf(_object, &status);
    if (!data)
        return status;
    if (!isLocal(space) || !isFinite(rotation))
        return KStatus::kInvalidParameter;
    const KEulerRotation e = KEulerRotation::decompose(rotation, rotationOf(*data).order);
    return put(_object, &TransformData::rotate, e.x, e.y, e.z);
}

KStatus KFnTransform::setRotation(const KEulerRotation& rotation)
{
    const KStatus status = put(_object, &TransformData::rotate, rotation.x, rotation.y, rotation.z);
    if (!status.error())
        dataOf(_object, nullptr)->rotateOrder = static_cast<RotateOrder>(rotation.order);
    return status;
}

KEulerRotation::RotationOrder KFnTransform::rotationOrder(KStatus* status) const
{
    const TransformData* data = dataOf(_object, status);
    return data ? rotationOf(*data).order : KEulerRotation::kXYZ;
}

KStatus KFnTransform::setRotationOrder(KEulerRotation::RotationOrder order, bool reorder)
{
    KStatus status;
    TransformData* data = dataOf(_object, &status);
    if (!data)
        return status;
    if (order < KEulerRotation::kXYZ || order > KEulerRotation::kZYX)
        return KStatus::kInvalidParameter;
    if (reorder && order != rotationOf(*data).order)
        return setRotation(KEulerRotation::decompose(rotationOf(*data).asMatrix(), order));
    data->rotateOrder = static_cast<RotateOrder>(order);
    return KStatus::kSuccess;
}

KQuaternion KFnTransform::rotateOrientation(KSpace::Space space, KStatus* status) const
{
    const TransformData* data = dataOf(_object, status);
    if (data && !isLocal(space))
        give(status, KStatus(KStatus::kInvalidParameter));
    if (!data || !isLocal(space))
        return KQuaternion();
    return KEulerRotation(data->rotateAxis[0], data->rotateAxis[1], data->rotateAxis[2]).asQuaternion();
}

KStatus KFnTransform::setRotateOrientation(const KQuaternion& orientation, KSpace::Space space, bool balance)
{
    KStatus status;
    const TransformData* data = dataOf(_object, &status);
    if (!data)
        return status;
    if (!isLocal(space) || !isFinite(orientation))
        return KStatus::kInvalidParameter;
    const KQuaternion whole = rotateOrientation(KSpace::kTransform) * rotationOf(*data).asQuaternion();
    const KEulerRotation e = KEulerRotation::decompose(orientation, KEulerRotation::kXYZ);
    status = put(_object, &TransformData::rotateAxis, e.x, e.y, e.z);
    if (balance && !status.error())
        status = setRotation(orientation.normal().conjugate() * whole);
    return status;
}

// -- Scale and shear ------------------------------------------------------------------------------

KStatus KFnTransform::getScale(double scale[3]) const
{
    KStatus status;
    const KVector v = get(_object, &TransformData::scale, KSpace::kTransform, &status);
    for (unsigned i = 0; i < 3 && !status.error(); ++i)
        scale[i] = v[i];
    return status;
}

KStatus KFnTransform::setScale(const double scale[3])
{
    return put(_object, &TransformData::scale, scale[0], scale[1], scale[2]);
}

KStatus KFnTransform::getShear(double shear[3]) const
{
    KStatus status;
    const KVector v = get(_object, &TransformData::shear, KSpace::kTransform, &status);
    for (unsigned i = 0; i < 3 && !status.error(); ++i)
        shear[i] = v[i];
    return status;
}

KStatus KFnTransform::setShear(const double shear[3])
{
    return put(_object, &TransformData::shear, shear[0], shear[1], shear[2]);
}

// -- Pivots ---------------------------------------------------------------------------------------

namespace
{

/// Sets a pivot; with `balance` its pivot translation takes up how far the matrix would move.
KStatus putPivot(const KObject& object, double (TransformData::*pivot)[3], double (TransformData::*offset)[3],
                 const KPoint& p, bool balance)
{
    KStatus status;
    TransformData* data = dataOf(object, &status);
    if (!data)
        return status;
    const TransformData before = *data;
    status = put(object, pivot, p.x, p.y, p.z);
    if (status.error() || !balance)
        return status;
    const KMatrix was = localMatrix(before);
    const KMatrix is = localMatrix(*data);
    KVector moved(was.m[3][0] - is.m[3][0], was.m[3][1] - is.m[3][1], was.m[3][2] - is.m[3][2]);
    // The scale pivot's translation acts before the rotation: the way back is turned.
    if (offset == &TransformData::scalePivotTranslate) {
        const KTransformationMatrix c = componentsOf(*data);
        moved = moved * (c.rotationOrientationEuler().asMatrix() * c.eulerRotation().asMatrix()).transpose();
    }
    const double(&at)[3] = data->*offset;
    status = put(object, offset, at[0] + moved.x, at[1] + moved.y, at[2] + moved.z);
    if (status.error())
        *data = before;
    return status;
}

} // namespace

KPoint KFnTransform::scalePivot(KSpace::Space space, KStatus* status) const
{
    const TransformData* data = dataOf(_object, status);
    if (!data)
        return KPoint();
    const KVector at(data->scalePivot);
    return KPoint(isLocal(space) ? at : toSpace(at, localMatrix(*data), dagPath(status), space, true));
}

KStatus KFnTransform::setScalePivot(const KPoint& pivot, KSpace::Space space, bool balance)
{
    if (!isLocal(space))
        return KStatus::kInvalidParameter;
    return putPivot(_object, &TransformData::scalePivot, &TransformData::scalePivotTranslate, pivot, balance);
}

KVector KFnTransform::scalePivotTranslation(KSpace::Space space, KStatus* status) const
{
    return get(_object, &TransformData::scalePivotTranslate, space, status);
}

KStatus KFnTransform::setScalePivotTranslation(const KVector& v, KSpace::Space space)
{
    if (!isLocal(space))
        return KStatus::kInvalidParameter;
    return put(_object, &TransformData::scalePivotTranslate, v.x, v.y, v.z);
}

KPoint KFnTransform::rotatePivot(KSpace::Space space, KStatus* status) const
{
    const TransformData* data = dataOf(_object, status);
    if (!data)
        return KPoint();
    const KVector at(data->rotatePivot);
    return KPoint(isLocal(space) ? at : toSpace(at, localMatrix(*data), dagPath(status), space, true));
}

KStatus KFnTransform::setRotatePivot(const KPoint& pivot, KSpace::Space space, bool balance)
{
    if (!isLocal(space))
        return KStatus::kInvalidParameter;
    return putPivot(_object, &TransformData::rotatePivot, &TransformData::rotatePivotTranslate, pivot,
                    balance);
}

KVector KFnTransform::rotatePivotTranslation(KSpace::Space space, KStatus* status) const
{
    return get(_object, &TransformData::rotatePivotTranslate, space, status);
}

KStatus KFnTransform::setRotatePivotTranslation(const KVector& v, KSpace::Space space)
{
    if (!isLocal(space))
        return KStatus::kInvalidParameter;
    return put(_object, &TransformData::rotatePivotTranslate, v.x, v.y, v.z);
}
