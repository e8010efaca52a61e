#include "kelda/KEulerRotation.h"
#include "kelda/KMatrix.h"
#include "kelda/KQuaternion.h"
#include "kelda/KTransformationMatrix.h"

#include <algorithm>
#include <cmath>
#include <cstring>

// -- KMatrix --------------------------------------------------------------------------------------

KMatrix::KMatrix()
{
    setToIdentity();
}

KMatrix::KMatrix(const double values[4][4])
{
    std::memcpy(m, values, sizeof m);
}

const KMatrix KMatrix::identity;

void KMatrix::setToIdentity()
{
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            m[r][c] = r == c ? 1 : 0;
}

KMatrix KMatrix::operator*(const KMatrix& right) const
{
    KMatrix out;
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            out.m[r][c] = m[r][0] * right.m[0][c] + m[r][1] * right.m[1][c] + m[r][2] * right.m[2][c] +
                          m[r][3] * right.m[3][c];
    return out;
}

KMatrix& KMatrix::operator*=(const KMatrix& right)
{
    return *this = *this * right;
}

bool KMatrix::operator==(const KMatrix& other) const
{
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            if (m[r][c] != other.m[r][c])
                return false;
    return true;
}

bool KMatrix::isEquivalent(const KMatrix& other, double tolerance) const
{
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            if (!(std::fabs(m[r][c] - other.m[r][c]) <= tolerance))
                return false;
    return true;
}

KMatrix KMatrix::transpose() const
{
    KMatrix out;
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            out.m[r][c] = m[c][r];
    return out;
}

namespace
{

/// Gauss-Jordan elimination with partial pivoting. Gives the determinant, and the inverse when that is not 0.
double invert(const KMatrix& matrix, KMatrix& inverse)
{
    KMatrix a = matrix;
    inverse.setToIdentity();
    double det = 1;
    for (int c = 0; c < 4; ++c) {
        int pivot = c;
        for (int r = c + 1; r < 4; ++r)
            if (std::fabs(a.m[r][c]) > std::fabs(a.m[pivot][c]))
                pivot = r;
        if (a.m[pivot][c] == 0)
            return 0;
        if (pivot != c) {
            std::swap(a.m[pivot], a.m[c]);
            std::swap(inverse.m[pivot], inverse.m[c]);
            det = -det;
        }
        det *= a.m[c][c];
        const double scale = 1 / a.m[c][c];
        for (int k = 0; k < 4; ++k) {
            a.m[c][k] *= scale;
            inverse.m[c][k] *= scale;
        }
        for (int r = 0; r < 4; ++r) {
            const double factor = a.m[r][c];
            if (r == c || factor == 0)
                continue;
            for (int k = 0; k < 4; ++k) {
                a.m[r][k] -= factor * a.m[c][k];
                inverse.m[r][k] -= factor * inverse.m[c][k];
            }
        }
    }
    return det;
}

} // namespace

KMatrix KMatrix::inverse() const
{
    KMatrix out;
    return invert(*this, out) == 0 ? identity : out;
}

double KMatrix::det4x4() const
{
    KMatrix ignored;
    return invert(*this, ignored);
}

KPoint operator*(const KPoint& p, const KMatrix& a)
{
    double out[4];
    for (int c = 0; c < 4; ++c)
        out[c] = p.x * a.m[0][c] + p.y * a.m[1][c] + p.z * a.m[2][c] + p.w * a.m[3][c];
    return KPoint(out[0], out[1], out[2], out[3]);
}

KVector operator*(const KVector& v, const KMatrix& a)
{
    double out[3];
    for (int c = 0; c < 3; ++c)
        out[c] = v.x * a.m[0][c] + v.y * a.m[1][c] + v.z * a.m[2][c];
    return KVector(out[0], out[1], out[2]);
}

// -- KQuaternion ----------------------------------------------------------------------------------

KQuaternion::KQuaternion(double angle, const KVector& axis) : x(0), y(0), z(0), w(1)
{
    const double length = axis.length();
    if (!(length > 0))
        return;
    const double s = std::sin(angle / 2) / length;
    x = axis.x * s;
    y = axis.y * s;
    z = axis.z * s;
    w = std::cos(angle / 2);
}

bool KQuaternion::getAxisAngle(KVector& axis, double& angle) const
{
    const double sine = std::sqrt(x * x + y * y + z * z);
    if (!(sine > 0)) {
        axis = KVector(0, 0, 1);
        angle = 0;
        return false;
    }
    axis = KVector(x / sine, y / sine, z / sine);
    angle = 2 * std::atan2(sine, w);
    return true;
}

KQuaternion KQuaternion::operator*(const KQuaternion& b) const
{
    // The Hamilton product b a: a turns first.
    return KQuaternion(b.w * x + b.x * w + b.y * z - b.z * y, b.w * y - b.x * z + b.y * w + b.z * x,
                       b.w * z + b.x * y - b.y * x + b.z * w, b.w * w - b.x * x - b.y * y - b.z * z);
}

KQuaternion KQuaternion::normal() const
{
    const double length = std::sqrt(x * x + y * y + z * z + w * w);
    if (!(length > 0) || !std::isfinite(length))
        return KQuaternion();
    return KQuaternion(x / length, y / length, z / length, w / length);
}

KMatrix KQuaternion::asMatrix() const
{
    const KQuaternion q = normal();
    KMatrix out;
    out.m[0][0] = 1 - 2 * (q.y * q.y + q.z * q.z);
    out.m[0][1] = 2 * (q.x * q.y + q.z * q.w);
    out.m[0][2] = 2 * (q.x * q.z - q.y * q.w);
    out.m[1][0] = 2 * (q.x * q.y - q.z * q.w);
    out.m[1][1] = 1 - 2 * (q.x * q.x + q.z * q.z);
    out.m[1][2] = 2 * (q.y * q.z + q.x * q.w);
    out.m[2][0] = 2 * (q.x * q.z + q.y * q.w);
    out.m[2][1] = 2 * (q.y * q.z - q.x * q.w);
    out.m[2][2] = 1 - 2 * (q.x * q.x + q.y * q.y);
    return out;
}

// -- KEulerRotation -------------------------------------------------------------------------------

namespace
{

/// The axes of each order, first to act first.
const int kAxes[6][3] = {{0, 1, 2}, {1, 2, 0}, {2, 0, 1}, {0, 2, 1}, {1, 0, 2}, {2, 1, 0}};

KMatrix axisRotation(int axis, double angle)
{
    KMatrix out;
    const int j = (axis + 1) % 3;
    const int k = (axis + 2) % 3;
    const double s = std::sin(angle);
    const double c = std::cos(angle);
    out.m[j][j] = c;
    out.m[j][k] = s;
    out.m[k][j] = -s;
    out.m[k][k] = c;
    return out;
}

} // namespace

KQuaternion KEulerRotation::asQuaternion() const
{
    const double angles[3] = {x, y, z};
    KQuaternion out;
    for (int axis : kAxes[order]) {
        KVector direction;
        direction[static_cast<unsigned>(axis)] = 1;
        if (angles[axis] != 0)
            out = out * KQuaternion(angles[axis], direction);
    }
    return out;
}

KMatrix KEulerRotation::asMatrix() const
{
    const double angles[3] = {x, y, z};
    KMatrix out;
    bool turned = false;
    for (int axis : kAxes[order]) {
        if (angles[axis] == 0)
            continue;
        out = turned ? out * axisRotation(axis, angles[axis]) : axisRotation(axis, angles[axis]);
        turned = true;
    }
    return out;
}

KEulerRotation KEulerRotation::decompose(const KMatrix& matrix, RotationOrder order)
{
    const double(&m)[4][4] = matrix.m;
    const int i = kAxes[order][0];
    const int j = kAxes[order][1];
    const int k = kAxes[order][2];
    const double sign = j == (i + 1) % 3 ? 1 : -1; // the odd orders are the even ones in a mirror
    // The last angle is taken from what the first one leaves over, so that both agree near a quarter turn of
    // the middle angle, where the elements that the first one is taken from are all but zero.
    const double first = std::hypot(m[j][k], m[k][k]) < 1e-14 ? 0 : std::atan2(m[j][k] * sign, m[k][k]);
    const double s = std::sin(first);
    const double c = std::cos(first);
    const double middle = std::atan2(-m[i][k] * sign, std::hypot(m[i][i], m[i][j]));
    const double last = std::atan2(s * m[k][i] - sign * c * m[j][i], c * m[j][j] - sign * s * m[k][j]);
    double angles[3];
    angles[i] = first + 0.0; // no negative zero
    angles[j] = middle + 0.0;
    angles[k] = last + 0.0;
    return KEulerRotation(angles[0], angles[1], angles[2], order);
}

KEulerRotation KEulerRotation::decompose(const KQuaternion& rotation, RotationOrder order)
{
    return decompose(rotation.asMatrix(), order);
}

// -- KTransformationMatrix ------------------------------------------------------------------------

KTransformationMatrix::KTransformationMatrix() : _scale(1, 1, 1) {}

void KTransformationMatrix::getScale(double scale[3], KSpace::Space) const
{
    scale[0] = _scale.x;
    scale[1] = _scale.y;
    scale[2] = _scale.z;
}

void KTransformationMatrix::getShear(double shear[3], KSpace::Space) const
{
    shear[0] = _shear.x;
    shear[1] = _shear.y;
    shear[2] = _shear.z;
}

KStatus KTransformationMatrix::setTranslation(const KVector& v, KSpace::Space)
{
    _translation = v;
    return KStatus::kSuccess;
}

KStatus KTransformationMatrix::setRotation(const KEulerRotation& rotation)
{
    _rotation = rotation;
    return KStatus::kSuccess;
}

KStatus KTransformationMatrix::setRotationQuaternion(double x, double y, double z, double w, KSpace::Space)
{
    _rotation = KEulerRotation::decompose(KQuaternion(x, y, z, w), _rotation.order);
    return KStatus::kSuccess;
}

KStatus KTransformationMatrix::setRotationOrientation(const KQuaternion& q)
{
    _orientation = KEulerRotation::decompose(q, KEulerRotation::kXYZ);
    return KStatus::kSuccess;
}

KStatus KTransformationMatrix::setRotationOrientation(const KEulerRotation& rotation)
{
    _orientation = rotation.order == KEulerRotation::kXYZ
                       ? rotation
                       : KEulerRotation::decompose(rotation.asMatrix(), KEulerRotation::kXYZ);
    return KStatus::kSuccess;
}

KStatus KTransformationMatrix::setScale(const double scale[3], KSpace::Space)
{
    _scale = KVector(scale);
    return KStatus::kSuccess;
}

KStatus KTransformationMatrix::setShear(const double shear[3], KSpace::Space)
{
    _shear = KVector(shear);
    return KStatus::kSuccess;
}

KStatus KTransformationMatrix::setScalePivot(const KPoint& p, KSpace::Space)
{
    _scalePivot = p;
    return KStatus::kSuccess;
}

KStatus KTransformationMatrix::setScalePivotTranslation(const KVector& v, KSpace::Space)
{
    _scalePivotTranslation = v;
    return KStatus::kSuccess;
}

KStatus KTransformationMatrix::setRotatePivot(const KPoint& p, KSpace::Space)
{
    _rotatePivot = p;
    return KStatus::kSuccess;
}

KStatus KTransformationMatrix::setRotatePivotTranslation(const KVector& v, KSpace::Space)
{
    _rotatePivotTranslation = v;
    return KStatus::kSuccess;
}

KMatrix KTransformationMatrix::asMatrix() const
{
    KMatrix linear; // S * SH
    const double sx = _scale.x;
    const double sy = _scale.y;
    const double sz = _scale.z;
    linear.m[0][0] = sx;
    linear.m[1][0] = sy * _shear.x;
    linear.m[1][1] = sy;
    linear.m[2][0] = sz * _shear.y;
    linear.m[2][1] = sz * _shear.z;
    linear.m[2][2] = sz;

    // The offsets are carried through as one point, each part added where it acts.
    KMatrix out = linear;
    KVector at = KVector(-_scalePivot.x, -_scalePivot.y, -_scalePivot.z) * linear;
    at = at + KVector(_scalePivot.x, _scalePivot.y, _scalePivot.z) + _scalePivotTranslation;
    const KVector pivot(_rotatePivot.x, _rotatePivot.y, _rotatePivot.z);
    at = at - pivot;
    for (const KEulerRotation* rotation : {&_orientation, &_rotation}) {
        if (rotation->x == 0 && rotation->y == 0 && rotation->z == 0)
            continue;
        const KMatrix turn = rotation->asMatrix();
        out = out * turn;
        at = at * turn;
    }
    at = at + pivot + _rotatePivotTranslation + _translation;
    out.m[3][0] = at.x;
    out.m[3][1] = at.y;
    out.m[3][2] = at.z;
    return out;
}
