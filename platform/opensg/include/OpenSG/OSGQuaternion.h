#pragma once

#include <OpenSG/OSGBaseFunctions.h>
#include <OpenSG/OSGVector.h>

OSG_BEGIN_NAMESPACE

template <class T>
class TransformationMatrix;

/// A rotation. Components are x, y, z, w in this order, w being the scalar; identity (0, 0, 0, 1) by default.
/// Products apply the right-hand side first, as those of matrices do.
template <class T>
class QuaternionBase
{
public:
    typedef T ValueType;
    typedef VectorInterface<T, 3> VectorType;
    typedef TransformationMatrix<T> MatrixType;

    constexpr QuaternionBase() : _quat{T(0), T(0), T(0), T(1)} {}
    /// Shortest rotation that turns the direction \a from into \a to.
    QuaternionBase(const VectorType& from, const VectorType& to) { setValue(from, to); }
    /// \param angle  radians
    QuaternionBase(const VectorType& axis, T angle) { setValueAsAxisRad(axis, angle); }
    /// The matrix' 3x3 part must be orthonormal.
    explicit QuaternionBase(const MatrixType& matrix) { setValue(matrix); }

    static const QuaternionBase& identity()
    {
        static const QuaternionBase value;
        return value;
    }

    T& operator[](UInt32 i) { return _quat[i]; }
    const T& operator[](UInt32 i) const { return _quat[i]; }
    T x() const { return _quat[0]; }
    T y() const { return _quat[1]; }
    T z() const { return _quat[2]; }
    T w() const { return _quat[3]; }
    T* getValues() { return _quat; }
    const T* getValues() const { return _quat; }

    // -- Set --

    void setIdentity() { *this = QuaternionBase(); }
    /// Stored as given, not normalised.
    void setValueAsQuat(T x, T y, T z, T w)
    {
        _quat[0] = x;
        _quat[1] = y;
        _quat[2] = z;
        _quat[3] = w;
    }
    void setValueAsQuat(const T* values) { setValueAsQuat(values[0], values[1], values[2], values[3]); }
    /// The axis need not have length 1; a zero axis gives identity. \param angle  radians, not reduced to a
    /// full turn
    void setValueAsAxisRad(T x, T y, T z, T angle) { setValueAsAxisRad(VectorType(x, y, z), angle); }
    void setValueAsAxisRad(const VectorType& axis, T angle)
    {
        const T length = axis.length();
        if (length < T(Eps)) {
            setIdentity();
            return;
        }
        const T s = std::sin(angle / 2) / length;
        setValueAsQuat(axis[0] * s, axis[1] * s, axis[2] * s, std::cos(angle / 2));
    }
    void setValueAsAxisDeg(T x, T y, T z, T angle) { setValueAsAxisRad(x, y, z, osgdegree2rad(angle)); }
    void setValueAsAxisDeg(const VectorType& axis, T angle) { setValueAsAxisRad(axis, osgdegree2rad(angle)); }
    /// The matrix' 3x3 part must be orthonormal.
    inline void setValue(const MatrixType& matrix);
    /// Shortest rotation that turns the direction \a from into \a to; the half turn of opposite directions is
    /// about some axis across them. Identity if one of them is zero.
    inline void setValue(const VectorType& from, const VectorType& to);
    /// Rz(gamma) * Ry(beta) * Rx(alpha), radians.
    inline void setValue(T alpha, T beta, T gamma);

    // -- Get --

    /// Angle in radians, 2 acos(w): not a number if |w| is greater than 1. Axis (0, 0, 1) and angle 0 for a
    /// zero vector part.
    void getValueAsAxisRad(VectorType& axis, T& angle) const
    {
        axis.setValues(_quat[0], _quat[1], _quat[2]);
        const T length = axis.length();
        if (length > T(0)) {
            axis /= length;
            angle = T(2) * std::acos(_quat[3]);
        } else {
            axis.setValues(T(0), T(0), T(1));
            angle = T(0);
        }
    }
    void getValueAsAxisRad(T& x, T& y, T& z, T& angle) const
    {
        VectorType axis;
        getValueAsAxisRad(axis, angle);
        x = axis[0];
        y = axis[1];
        z = axis[2];
    }
    void getValueAsAxisDeg(VectorType& axis, T& angle) const
    {
        getValueAsAxisRad(axis, angle);
        angle = osgrad2degree(angle);
    }
    void getValueAsAxisDeg(T& x, T& y, T& z, T& angle) const
    {
        getValueAsAxisRad(x, y, z, angle);
        angle = osgrad2degree(angle);
    }
    /// Sets the whole matrix.
    inline void getValue(MatrixType& matrix) const;
    /// Sets the 3x3 part of the matrix only.
    inline void getValuesOnly(MatrixType& matrix) const;

    // -- Calculate --

    T length() const
    {
        return std::sqrt(_quat[0] * _quat[0] + _quat[1] * _quat[1] + _quat[2] * _quat[2] +
                         _quat[3] * _quat[3]);
    }
    /// Scales to length 1; one of length 0 becomes identity.
    void normalize()
    {
        const T len = length();
        if (len == T(0)) {
            setIdentity();
            return;
        }
        for (T& value : _quat)
            value /= len;
    }
    /// Becomes its conjugate, the inverse of a quaternion of length 1.
    void invert()
    {
        for (UInt32 i = 0; i < 3; ++i)
            _quat[i] = -_quat[i];
    }
    QuaternionBase inverse() const
    {
        QuaternionBase result(*this);
        result.invert();
        return result;
    }
    void multVec(const VectorType& src, VectorType& dst) const
    {
        const VectorType v(_quat[0], _quat[1], _quat[2]);
        const VectorType t = v.cross(src) * T(2);
        dst = src + t * _quat[3] + v.cross(t);
    }
    /// this * other, normalised.
    void mult(const QuaternionBase& other) { *this = product(*this, other); }
    /// other * this, normalised.
    void multLeft(const QuaternionBase& other) { *this = product(other, *this); }
    QuaternionBase& operator*=(const QuaternionBase& other)
    {
        mult(other);
        return *this;
    }
    /// Same axis, angle times \a factor.
    void scaleAngle(T factor)
    {
        VectorType axis;
        T angle;
        getValueAsAxisRad(axis, angle);
        setValueAsAxisRad(axis, angle * factor);
    }
    /// Spherical interpolation along the shorter arc: \a a for t = 0, \a b (or its negative, the same
    /// rotation) for t = 1.
    static QuaternionBase slerp(const QuaternionBase& a, const QuaternionBase& b, T t)
    {
        T cosine = a[0] * b[0] + a[1] * b[1] + a[2] * b[2] + a[3] * b[3];
        const T sign = cosine < T(0) ? T(-1) : T(1);
        cosine *= sign;
        T fromA = T(1) - t, fromB = t;
        // Between nearly equal rotations the straight line is as good, and nothing is divided by a vanishing
        // sine.
        if (T(1) - cosine > T(1e-5)) {
            const T angle = std::acos(cosine), sine = std::sin(angle);
            fromA = std::sin(fromA * angle) / sine;
            fromB = std::sin(fromB * angle) / sine;
        }
        QuaternionBase result;
        for (UInt32 i = 0; i < 4; ++i)
            result[i] = fromA * a[i] + fromB * sign * b[i];
        return result;
    }
    void slerpThis(const QuaternionBase& a, const QuaternionBase& b, T t) { *this = slerp(a, b, t); }

    /// Every component within \a tolerance; q and -q differ although they are the same rotation.
    bool equals(const QuaternionBase& other, T tolerance) const
    {
        for (UInt32 i = 0; i < 4; ++i)
            if (!(std::fabs(_quat[i] - other._quat[i]) <= tolerance))
                return false;
        return true;
    }
    /// With tolerance Eps.
    bool operator==(const QuaternionBase& other) const { return equals(other, T(Eps)); }
    bool operator!=(const QuaternionBase& other) const { return !(*this == other); }

private:
    static QuaternionBase product(const QuaternionBase& a, const QuaternionBase& b)
    {
        QuaternionBase result;
        result.setValueAsQuat(a[3] * b[0] + a[0] * b[3] + a[1] * b[2] - a[2] * b[1],
                              a[3] * b[1] + a[1] * b[3] + a[2] * b[0] - a[0] * b[2],
                              a[3] * b[2] + a[2] * b[3] + a[0] * b[1] - a[1] * b[0],
                              a[3] * b[3] - a[0] * b[0] - a[1] * b[1] - a[2] * b[2]);
        result.normalize();
        return result;
    }

    T _quat[4];
};

/// The four components x, y, z, w.
template <class T>
inline std::ostream& operator<<(std::ostream& os, const QuaternionBase<T>& quat)
{
    return os << quat[0] << ' ' << quat[1] << ' ' << quat[2] << ' ' << quat[3];
}

typedef QuaternionBase<Real32> Quaternion;
typedef QuaternionBase<Real64> Quaterniond;

OSG_END_NAMESPACE

// The members that deal with matrices are defined there.
#include <OpenSG/OSGMatrix.h>
