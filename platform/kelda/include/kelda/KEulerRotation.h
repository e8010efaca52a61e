#pragma once

#include "kelda/KApi.h"
#include "kelda/KMatrix.h"
#include "kelda/KQuaternion.h"

/// A rotation as three angles in radians about x, y and z, and the order in which they act.
class KELDA_API KEulerRotation
{
public:
    /// The axis that acts first stands first: kXYZ turns about x, then y, then z.
    enum RotationOrder { kXYZ = 0, kYZX, kZXY, kXZY, kYXZ, kZYX };

    double x, y, z;
    RotationOrder order;

    KEulerRotation() : x(0), y(0), z(0), order(kXYZ) {}
    KEulerRotation(double xx, double yy, double zz, RotationOrder o = kXYZ) : x(xx), y(yy), z(zz), order(o) {}

    KQuaternion asQuaternion() const;
    KMatrix asMatrix() const; ///< for row vectors: kXYZ gives Rx * Ry * Rz
    /// The angles, each in -pi ... pi, that give the matrix' rotation. The upper left 3 x 3 must be a
    /// rotation. Where the middle angle is a quarter turn, so that the two others act about one axis, the
    /// first of the order is 0 or as near to the matrix as rounding leaves it; the rotation is the same.
    static KEulerRotation decompose(const KMatrix& matrix, RotationOrder order);
    static KEulerRotation decompose(const KQuaternion& rotation, RotationOrder order);
};
