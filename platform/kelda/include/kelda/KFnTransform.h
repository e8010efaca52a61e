#pragma once

#include "kelda/KEulerRotation.h"
#include "kelda/KFnDagNode.h"
#include "kelda/KTransformationMatrix.h"

/// A transform: see KTransformationMatrix for its components and their composition.
///
/// Spaces: the components live in the transform's own space; kTransform and kObject mean the same. kWorld is
/// understood by translation() and rotatePivot()/scalePivot(), which then follow the path attached to; other
/// calls fail with kInvalidParameter and answer zeros.
///
/// Rotations are stored as Euler angles in radians: the rotation in the node's rotate order, the orientation
/// in the order XYZ. A quaternion that was set comes back as the same rotation within rounding (some 1e-15),
/// of unit length.
class KELDA_API KFnTransform : public KFnDagNode
{
public:
    KFnTransform() {}
    explicit KFnTransform(const KObject& object, KStatus* status = nullptr);
    explicit KFnTransform(const KDagPath& path, KStatus* status = nullptr);
    KFn::Type type() const override;

    /// Makes a transform and attaches to it; without a parent below the world.
    KObject create(const KObject& parent = KObject::kNullObj, KStatus* status = nullptr);

    KTransformationMatrix transformation(KStatus* status = nullptr) const;
    KStatus
    set(const KTransformationMatrix& transformation); ///< takes over all components and the rotate order

    KVector translation(KSpace::Space space, KStatus* status = nullptr) const;
    KStatus setTranslation(const KVector& value, KSpace::Space space);

    KStatus getRotation(KQuaternion& rotation, KSpace::Space space = KSpace::kTransform) const;
    KStatus getRotation(KEulerRotation& rotation) const; ///< as stored
    /// Kept as Euler angles in the node's rotate order.
    KStatus setRotation(const KQuaternion& rotation, KSpace::Space space = KSpace::kTransform);
    KStatus setRotation(const KEulerRotation& rotation); ///< sets the rotate order, too
    KEulerRotation::RotationOrder rotationOrder(KStatus* status = nullptr) const;
    /// With `reorder` the angles change so that the rotation stays; without, the angles stay.
    KStatus setRotationOrder(KEulerRotation::RotationOrder order, bool reorder);
    KQuaternion rotateOrientation(KSpace::Space space, KStatus* status = nullptr) const;
    /// With `balance` the rotation changes so that the matrix stays.
    KStatus setRotateOrientation(const KQuaternion& orientation, KSpace::Space space, bool balance = false);

    KStatus getScale(double scale[3]) const;
    KStatus setScale(const double scale[3]);
    KStatus getShear(double shear[3]) const; ///< xy, xz, yz
    KStatus setShear(const double shear[3]);

    /// With `balance` the pivot translation changes so that the matrix stays.
    KPoint scalePivot(KSpace::Space space, KStatus* status = nullptr) const;
    KStatus setScalePivot(const KPoint& pivot, KSpace::Space space, bool balance = false);
    KVector scalePivotTranslation(KSpace::Space space, KStatus* status = nullptr) const;
    KStatus setScalePivotTranslation(const KVector& value, KSpace::Space space);
    KPoint rotatePivot(KSpace::Space space, KStatus* status = nullptr) const;
    KStatus setRotatePivot(const KPoint& pivot, KSpace::Space space, bool balance = false);
    KVector rotatePivotTranslation(KSpace::Space space, KStatus* status = nullptr) const;
    KStatus setRotatePivotTranslation(const KVector& value, KSpace::Space space);
};
