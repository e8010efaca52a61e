#pragma once

#include <OpenSG/OSGBaseTypes.h>

#include <cmath>
#include <ostream>
#include <type_traits>

OSG_BEGIN_NAMESPACE

template <class T, UInt32 N>
class VectorInterface;

// -- Points -----------------------------------------------------------------------------------------

/// A point of \a N components, stored one after another without padding. Zero by default.
template <class T, UInt32 N>
class PointInterface
{
public:
    typedef T ValueType;
    typedef VectorInterface<T, N> VectorType;

    static constexpr UInt32 Dimension = N;
    /// The origin.
    static const PointInterface Null;

    constexpr PointInterface() : _values{} {}
    /// Components that are not given are 0.
    explicit constexpr PointInterface(T x) : _values{x} {}
    constexpr PointInterface(T x, T y) : _values{x, y} { static_assert(N >= 2, "too many components"); }
    constexpr PointInterface(T x, T y, T z) : _values{x, y, z}
    {
        static_assert(N >= 3, "too many components");
    }
    constexpr PointInterface(T x, T y, T z, T w) : _values{x, y, z, w}
    {
        static_assert(N >= 4, "too many components");
    }
    /// \param values  N components
    explicit PointInterface(const T* values) { setValue(values); }
    /// Takes the components that both have; the rest is 0. Nothing is divided by a fourth component.
    template <class U, UInt32 M>
    PointInterface(const PointInterface<U, M>& other) : _values{}
    {
        setValue(other);
    }

    T& operator[](UInt32 i) { return _values[i]; }
    const T& operator[](UInt32 i) const { return _values[i]; }

    T& x() { return _values[0]; }
    T& y() { return component<1>(); }
    T& z() { return component<2>(); }
    T& w() { return component<3>(); }
    const T& x() const { return _values[0]; }
    const T& y() const { return component<1>(); }
    const T& z() const { return component<2>(); }
    const T& w() const { return component<3>(); }

    T* getValues() { return _values; }
    const T* getValues() const { return _values; }

    void setValues(T x) { *this = PointInterface(x); }
    void setValues(T x, T y)
    {
        component<1>() = y;
        _values[0] = x;
    }
    void setValues(T x, T y, T z)
    {
        component<2>() = z;
        setValues(x, y);
    }
    void setValues(T x, T y, T z, T w)
    {
        component<3>() = w;
        setValues(x, y, z);
    }
    void setValue(const T* values)
    {
        for (UInt32 i = 0; i < N; ++i)
            _values[i] = values[i];
    }
    template <class U, UInt32 M>
    void setValue(const PointInterface<U, M>& other)
    {
        constexpr UInt32 common = N < M ? N : M;
        for (UInt32 i = 0; i < common; ++i)
            _values[i] = static_cast<T>(other[i]);
        for (UInt32 i = common; i < N; ++i)
            _values[i] = T(0);
    }
    void setNull()
    {
        for (T& value : _values)
            value = T(0);
    }

    /// Every component within Eps of 0.
    bool isZero() const { return *this == PointInterface(); }
    void negate()
    {
        for (T& value : _values)
            value = static_cast<T>(-value);
    }
    /// The largest component.
    T maxValue() const
    {
        T largest = _values[0];
        for (UInt32 i = 1; i < N; ++i)
            largest = _values[i] > largest ? _values[i] : largest;
        return largest;
    }

    /// Squared distance.
    T dist2(const PointInterface& other) const
    {
        T sum = T(0);
        for (UInt32 i = 0; i < N; ++i) {
            const T d = static_cast<T>(other._values[i] - _values[i]);
            sum = static_cast<T>(sum + d * d);
        }
        return sum;
    }
    T dist(const PointInterface& other) const { return static_cast<T>(std::sqrt(dist2(other))); }

    /// The vector from the origin to this point.
    VectorType subZero() const { return VectorType(*this); }

    VectorType operator-(const PointInterface& other) const
    {
        PointInterface result(*this);
        result.subtract(other);
        return VectorType(result);
    }
    PointInterface operator-(const VectorType& vec) const
    {
        PointInterface result(*this);
        result.subtract(vec);
        return result;
    }
    PointInterface operator+(const VectorType& vec) const
    {
        PointInterface result(*this);
        result.add(vec);
        return result;
    }
    PointInterface operator*(T factor) const
    {
        PointInterface result(*this);
        result *= factor;
        return result;
    }
    PointInterface operator/(T divisor) const
    {
        PointInterface result(*this);
        result /= divisor;
        return result;
    }
    PointInterface operator-() const
    {
        PointInterface result(*this);
        result.negate();
        return result;
    }
    PointInterface& operator+=(const VectorType& vec)
    {
        add(vec);
        return *this;
    }
    PointInterface& operator-=(const VectorType& vec)
    {
        subtract(vec);
        return *this;
    }
    PointInterface& operator*=(T factor)
    {
        for (T& value : _values)
            value = static_cast<T>(value * factor);
        return *this;
    }
    PointInterface& operator/=(T divisor)
    {
        for (T& value : _values)
            value = static_cast<T>(value / divisor);
        return *this;
    }

    /// Every component within \a tolerance; false where one is not a number.
    bool equals(const PointInterface& other, T tolerance) const
    {
        for (UInt32 i = 0; i < N; ++i) {
            const T a = _values[i], b = other._values[i];
            if (!((a < b ? b - a : a - b) <= tolerance))
                return false;
        }
        return true;
    }
    /// With tolerance Eps for each component, so exact for integers.
    bool operator==(const PointInterface& other) const { return equals(other, static_cast<T>(Eps)); }
    bool operator!=(const PointInterface& other) const { return !(*this == other); }
    /// Lexicographic and exact.
    bool operator<(const PointInterface& other) const
    {
        for (UInt32 i = 0; i < N; ++i)
            if (_values[i] != other._values[i])
                return _values[i] < other._values[i];
        return false;
    }

protected:
    void add(const PointInterface& other)
    {
        for (UInt32 i = 0; i < N; ++i)
            _values[i] = static_cast<T>(_values[i] + other._values[i]);
    }
    void subtract(const PointInterface& other)
    {
        for (UInt32 i = 0; i < N; ++i)
            _values[i] = static_cast<T>(_values[i] - other._values[i]);
    }

    T _values[N];

private:
    template <UInt32 I>
    T& component()
    {
        static_assert(I < N, "no such component");
        return _values[I];
    }
    template <UInt32 I>
    const T& component() const
    {
        static_assert(I < N, "no such component");
        return _values[I];
    }
};

template <class T, UInt32 N>
constexpr UInt32 PointInterface<T, N>::Dimension;
template <class T, UInt32 N>
const PointInterface<T, N> PointInterface<T, N>::Null;

template <class T, UInt32 N>
inline PointInterface<T, N> operator*(typename std::common_type<T>::type factor,
                                      const PointInterface<T, N>& pnt)
{
    return pnt * factor;
}

/// Components separated by blanks.
template <class T, UInt32 N>
inline std::ostream& operator<<(std::ostream& os, const PointInterface<T, N>& pnt)
{
    // The unary plus prints bytes as numbers.
    for (UInt32 i = 0; i < N; ++i)
        os << (i ? " " : "") << +pnt[i];
    return os;
}

// -- Vectors ----------------------------------------------------------------------------------------

/// A vector of \a N components, stored as a point is.
template <class T, UInt32 N>
class VectorInterface : public PointInterface<T, N>
{
public:
    typedef PointInterface<T, N> PointType;

    /// The zero vector.
    static const VectorInterface Null;

    constexpr VectorInterface() {}
    explicit constexpr VectorInterface(T x) : PointType(x) {}
    constexpr VectorInterface(T x, T y) : PointType(x, y) {}
    constexpr VectorInterface(T x, T y, T z) : PointType(x, y, z) {}
    constexpr VectorInterface(T x, T y, T z, T w) : PointType(x, y, z, w) {}
    explicit VectorInterface(const T* values) : PointType(values) {}
    template <class U, UInt32 M>
    VectorInterface(const PointInterface<U, M>& other) : PointType(other)
    {
    }

    /// The point that this vector leads to from the origin.
    PointType addToZero() const { return *this; }

    T squareLength() const { return dot(*this); }
    T length() const { return static_cast<T>(std::sqrt(squareLength())); }
    /// Scales to length 1; a vector shorter than Eps stays as it is.
    void normalize()
    {
        const T len = length();
        if (!(len < T(Eps)))
            *this /= len;
    }

    T dot(const VectorInterface& other) const
    {
        T sum = T(0);
        for (UInt32 i = 0; i < N; ++i)
            sum = static_cast<T>(sum + (*this)[i] * other[i]);
        return sum;
    }
    /// The dot product.
    T operator*(const VectorInterface& other) const { return dot(other); }

    VectorInterface cross(const VectorInterface& other) const
    {
        static_assert(N == 3, "vectors of three components have a cross product");
        const VectorInterface& a = *this;
        const VectorInterface& b = other;
        return VectorInterface(a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2],
                               a[0] * b[1] - a[1] * b[0]);
    }
    VectorInterface operator%(const VectorInterface& other) const { return cross(other); }
    void crossThis(const VectorInterface& other) { *this = cross(other); }

    /// Angle between the two in radians, 0 to Pi; 0 if one of them is zero.
    T enclosedAngle(const VectorInterface& other) const
    {
        const T lengths = length() * other.length();
        if (lengths == T(0))
            return T(0);
        const T cosine = dot(other) / lengths;
        return std::acos(cosine < T(-1) ? T(-1) : (cosine > T(1) ? T(1) : cosine));
    }

    /// Becomes its projection on \a axis; gives that projection's length, negative if it points against \a
    /// axis. With a zero axis the vector stays as it is and the length is 0.
    T projectTo(const VectorInterface& axis)
    {
        const T square = axis.squareLength();
        if (square == T(0))
            return T(0);
        const T product = dot(axis);
        *this = axis * (product / square);
        return product / std::sqrt(square);
    }

    VectorInterface operator+(const VectorInterface& other) const
    {
        VectorInterface result(*this);
        result += other;
        return result;
    }
    VectorInterface operator-(const VectorInterface& other) const
    {
        VectorInterface result(*this);
        result -= other;
        return result;
    }
    VectorInterface operator*(T factor) const
    {
        VectorInterface result(*this);
        result *= factor;
        return result;
    }
    VectorInterface operator/(T divisor) const
    {
        VectorInterface result(*this);
        result /= divisor;
        return result;
    }
    VectorInterface operator-() const
    {
        VectorInterface result(*this);
        result.negate();
        return result;
    }
    VectorInterface& operator+=(const VectorInterface& other)
    {
        this->add(other);
        return *this;
    }
    VectorInterface& operator-=(const VectorInterface& other)
    {
        this->subtract(other);
        return *this;
    }
    VectorInterface& operator*=(T factor)
    {
        PointType::operator*=(factor);
        return *this;
    }
    VectorInterface& operator/=(T divisor)
    {
        PointType::operator/=(divisor);
        return *this;
    }
};

template <class T, UInt32 N>
const VectorInterface<T, N> VectorInterface<T, N>::Null;

template <class T, UInt32 N>
inline VectorInterface<T, N> operator*(typename std::common_type<T>::type factor,
                                       const VectorInterface<T, N>& vec)
{
    return vec * factor;
}

// -- Names ------------------------------------------------------------------------------------------

typedef PointInterface<Real32, 2> Pnt2f;
typedef PointInterface<Real32, 3> Pnt3f;
typedef PointInterface<Real32, 4> Pnt4f;
typedef PointInterface<Real64, 2> Pnt2d;
typedef PointInterface<Real64, 3> Pnt3d;
typedef PointInterface<Real64, 4> Pnt4d;
typedef PointInterface<Int16, 2> Pnt2s;
typedef PointInterface<Int16, 3> Pnt3s;
typedef PointInterface<Int16, 4> Pnt4s;
typedef PointInterface<UInt16, 2> Pnt2us;
typedef PointInterface<UInt16, 3> Pnt3us;
typedef PointInterface<UInt16, 4> Pnt4us;
typedef PointInterface<Int8, 2> Pnt2b;
typedef PointInterface<Int8, 3> Pnt3b;
typedef PointInterface<Int8, 4> Pnt4b;
typedef PointInterface<UInt8, 2> Pnt2ub;
typedef PointInterface<UInt8, 3> Pnt3ub;
typedef PointInterface<UInt8, 4> Pnt4ub;

typedef VectorInterface<Real32, 2> Vec2f;
typedef VectorInterface<Real32, 3> Vec3f;
typedef VectorInterface<Real32, 4> Vec4f;
typedef VectorInterface<Real64, 2> Vec2d;
typedef VectorInterface<Real64, 3> Vec3d;
typedef VectorInterface<Real64, 4> Vec4d;
typedef VectorInterface<Int16, 2> Vec2s;
typedef VectorInterface<Int16, 3> Vec3s;
typedef VectorInterface<Int16, 4> Vec4s;
typedef VectorInterface<UInt16, 2> Vec2us;
typedef VectorInterface<UInt16, 3> Vec3us;
typedef VectorInterface<UInt16, 4> Vec4us;
typedef VectorInterface<Int8, 2> Vec2b;
typedef VectorInterface<Int8, 3> Vec3b;
typedef VectorInterface<Int8, 4> Vec4b;
typedef VectorInterface<UInt8, 2> Vec2ub;
typedef VectorInterface<UInt8, 3> Vec3ub;
typedef VectorInterface<UInt8, 4> Vec4ub;

OSG_END_NAMESPACE
