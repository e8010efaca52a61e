#pragma once

#include "kelda/KApi.h"
#include "kelda/KEulerRotation.h"
#include "kelda/KFn.h"
#include "kelda/KMatrix.h"
#include "kelda/KStatus.h"

/// The components of a transform. For row vectors they compose to
///     SP^-1 * S * SH * SP * SPT * RP^-1 * RO * R * RP * RPT * T
/// with scale pivot SP, scale S, shear SH, scale pivot translation SPT, rotate pivot RP, rotate orientation
/// RO, rotation R, rotate pivot translation RPT and translation T. Shear is (xy, xz, yz): a point moves by x
/// += xy * y + xz * z, y += yz * z. All components are in the transform's own space.
class KELDA_API KTransformationMatrix
{
public:
    KTransformationMatrix(); ///< identity

    KVector translation(KSpace::Space = KSpace::kTransform) const { return _translation; }
    KEulerRotation eulerRotation() const { return _rotation; }
    KQuaternion rotation() const { return _rotation.asQuaternion(); }
    KQuaternion rotationOrientation() const { return _orientation.asQuaternion(); }
    KEulerRotation rotationOrientationEuler() const { return _orientation; } ///< order kXYZ
    void getScale(double scale[3], KSpace::Space = KSpace::kTransform) const;
    void getShear(double shear[3], KSpace::Space = KSpace::kTransform) const;
    KPoint scalePivot(KSpace::Space = KSpace::kTransform) const { return _scalePivot; }
    KVector scalePivotTranslation(KSpace::Space = KSpace::kTransform) const { return _scalePivotTranslation; }
    KPoint rotatePivot(KSpace::Space = KSpace::kTransform) const { return _rotatePivot; }
    KVector rotatePivotTranslation(KSpace::Space = KSpace::kTransform) const
    {
        return _rotatePivotTranslation;
    }

    KStatus setTranslation(const KVector& v, KSpace::Space = KSpace::kTransform);
    KStatus setRotation(const KEulerRotation& rotation);
    /// Kept as Euler angles in the present rotate order.
    KStatus setRotationQuaternion(double x, double y, double z, double w, KSpace::Space = KSpace::kTransform);
    KStatus setRotationOrientation(const KQuaternion& q);
    KStatus setRotationOrientation(const KEulerRotation& rotation); ///< kept in the order kXYZ
    KStatus setScale(const double scale[3], KSpace::Space = KSpace::kTransform);
    KStatus setShear(const double shear[3], KSpace::Space = KSpace::kTransform);
    KStatus setScalePivot(const KPoint& p, KSpace::Space = KSpace::kTransform);
    KStatus setScalePivotTranslation(const KVector& v, KSpace::Space = KSpace::kTransform);
    KStatus setRotatePivot(const KPoint& p, KSpace::Space = KSpace::kTransform);
    KStatus setRotatePivotTranslation(const KVector& v, KSpace::Space = KSpace::kTransform);

    KMatrix asMatrix() const;

private:
    KVector _translation;
    KEulerRotation _rotation;
    KEulerRotation _orientation;
    KVector _scale;
    KVector _shear;
    KPoint _scalePivot;
    KVector _scalePivotTranslation;
    KPoint _rotatePivot;
    KVector _rotatePivotTranslation;
};
