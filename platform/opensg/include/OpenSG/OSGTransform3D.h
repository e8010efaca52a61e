#pragma once

#include <OpenSG/OSGTransform.h>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(Transform3D, TransformPtr)

/// A transform that keeps the components of a modeller's transform. Its matrix is made from them when an edit
/// of any of them ends. For column vectors, from the last to the first thing done to a point:
///
///     M = T(translation) T(rotatePivotTranslation) T(rotatePivot) R(rotation) R(rotationOrientation)
///     T(-rotatePivot)
///         T(scalePivotTranslation) T(scalePivot) SH S(scale) T(-scalePivot)
///
///          | 1  xy  xz  0 |
///     SH = | 0   1  yz  0 |   with shear = (xy, xz, yz)
///          | 0   0   1  0 |
///          | 0   0   0  1 |
class OSG_PLATFORM_API Transform3D : public Transform
{
    OSG_FIELD_CONTAINER(Transform3D, Transform)

    OSG_SFIELD(4, Shear, shear, Vec3f, 0, 0, 0)
    OSG_SFIELD(5, Rotation, rotation, Quaternion, )
    OSG_SFIELD(6, RotationOrientation, rotationOrientation, Quaternion, )
    OSG_SFIELD(7, RotatePivot, rotatePivot, Pnt3f, 0, 0, 0)
    OSG_SFIELD(8, RotatePivotTranslation, rotatePivotTranslation, Vec3f, 0, 0, 0)
    OSG_SFIELD(9, Scale, scale, Vec3f, 1, 1, 1)
    OSG_SFIELD(10, ScalePivot, scalePivot, Pnt3f, 0, 0, 0)
    OSG_SFIELD(11, ScalePivotTranslation, scalePivotTranslation, Vec3f, 0, 0, 0)
    OSG_SFIELD(12, Translation, translation, Vec3f, 0, 0, 0)

    void setRotationAsQuaternion(const Quaternion& rotation) { setRotation(rotation); }
    const Quaternion& getRotationAsQuaternion() const { return getRotation(); }
    void setRotationOrientationAsQuaternion(const Quaternion& rotation) { setRotationOrientation(rotation); }
    const Quaternion& getRotationOrientationAsQuaternion() const { return getRotationOrientation(); }
    void setRotatePivot(const Vec3f& pivot) { setRotatePivot(Pnt3f(pivot)); }
    void setScalePivot(const Vec3f& pivot) { setScalePivot(Pnt3f(pivot)); }

    void changed(BitVector mask, UInt32 origin) override;

protected:
    Transform3D() {}
    Transform3D(const Transform3D&) = default;

private:
    using Transform::setMatrix;
};

OSG_END_NAMESPACE
