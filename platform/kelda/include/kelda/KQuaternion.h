#pragma once

#include "kelda/KApi.h"
#include "kelda/KMatrix.h"

/// A rotation as a quaternion: (axis * sin(angle / 2), cos(angle / 2)). Angles in radians, right-handed.
class KELDA_API KQuaternion
{
public:
    double x, y, z, w;

    KQuaternion() : x(0), y(0), z(0), w(1) {} ///< no rotation
    KQuaternion(double xx, double yy, double zz, double ww) : x(xx), y(yy), z(zz), w(ww) {}
    /// The axis need not be of unit length; a zero axis gives no rotation.
    KQuaternion(double angle, const KVector& axis);

    /// Axis of unit length and angle in 0 ... 2 pi. False, with axis (0, 0, 1) and angle 0, when it does not
    /// rotate.
    bool getAxisAngle(KVector& axis, double& angle) const;

    /// First this rotation, then the other one (the order of row-vector matrices).
    KQuaternion operator*(const KQuaternion& then) const;
    KQuaternion conjugate() const { return KQuaternion(-x, -y, -z, w); }
    KQuaternion normal() const; ///< of unit length; no rotation for a zero quaternion
    KMatrix asMatrix() const;   ///< of the normalised quaternion
    bool operator==(const KQuaternion& o) const { return x == o.x && y == o.y && z == o.z && w == o.w; }
    bool operator!=(const KQuaternion& o) const { return !(*this == o); }
};
