#pragma once

#include <OpenSG/OSGBaseTypes.h>

#include <ostream>
#include <type_traits>

OSG_BEGIN_NAMESPACE

/// A colour of \a N components (red, green, blue and, with four, alpha), stored without padding. All 0 by
/// default, alpha too. Real components run from 0 to 1, bytes from 0 to 255; nothing is clamped.
template <class T, UInt32 N>
class ColorInterface
{
public:
    typedef T ValueType;

    static constexpr UInt32 Dimension = N;

    constexpr ColorInterface() : _values{} {}
    constexpr ColorInterface(T red, T green, T blue) : _values{red, green, blue}
    {
        static_assert(N == 3, "a colour with alpha takes four components");
    }
    constexpr ColorInterface(T red, T green, T blue, T alpha) : _values{red, green, blue, alpha}
    {
        static_assert(N == 4, "a colour without alpha takes three components");
    }
    /// \param values  N components
    explicit ColorInterface(const T* values)
    {
        for (UInt32 i = 0; i < N; ++i)
            _values[i] = values[i];
    }

    T& operator[](UInt32 i) { return _values[i]; }
    const T& operator[](UInt32 i) const { return _values[i]; }

    T red() const { return _values[0]; }
    T green() const { return _values[1]; }
    T blue() const { return _values[2]; }
    T alpha() const
    {
        static_assert(N == 4, "no alpha");
        return _values[3];
    }

    /// \a N components.
    T* getValuesRGB() { return _values; }
    const T* getValuesRGB() const { return _values; }
    T* getValuesRGBA()
    {
        static_assert(N == 4, "no alpha");
        return _values;
    }
    const T* getValuesRGBA() const
    {
        static_assert(N == 4, "no alpha");
        return _values;
    }
    void getValuesRGB(T& red, T& green, T& blue) const
    {
        red = _values[0];
        green = _values[1];
        blue = _values[2];
    }
    void getValuesRGBA(T& red, T& green, T& blue, T& alpha) const
    {
        alpha = this->alpha();
        getValuesRGB(red, green, blue);
    }
    /// Alpha stays.
    void setValuesRGB(T red, T green, T blue)
    {
        _values[0] = red;
        _values[1] = green;
        _values[2] = blue;
    }
    void setValuesRGBA(T red, T green, T blue, T alpha)
    {
        static_assert(N == 4, "no alpha");
        setValuesRGB(red, green, blue);
        _values[3] = alpha;
    }
    void clear() { *this = ColorInterface(); }

    ColorInterface operator+(const ColorInterface& other) const { return ColorInterface(*this) += other; }
    ColorInterface operator-(const ColorInterface& other) const { return ColorInterface(*this) -= other; }
    /// Component by component.
    ColorInterface operator*(const ColorInterface& other) const { return ColorInterface(*this) *= other; }
    ColorInterface operator*(T factor) const { return ColorInterface(*this) *= factor; }
    ColorInterface operator/(T divisor) const { return ColorInterface(*this) /= divisor; }

    ColorInterface& operator+=(const ColorInterface& other)
    {
        for (UInt32 i = 0; i < N; ++i)
            _values[i] = static_cast<T>(_values[i] + other._values[i]);
        return *this;
    }
    ColorInterface& operator-=(const ColorInterface& other)
    {
        for (UInt32 i = 0; i < N; ++i)
            _values[i] = static_cast<T>(_values[i] - other._values[i]);
        return *this;
    }
    ColorInterface& operator*=(const ColorInterface& other)
    {
        for (UInt32 i = 0; i < N; ++i)
            _values[i] = static_cast<T>(_values[i] * other._values[i]);
        return *this;
    }
    ColorInterface& operator*=(T factor)
    {
        for (T& value : _values)
            value = static_cast<T>(value * factor);
        return *this;
    }
    ColorInterface& operator/=(T divisor)
    {
        for (T& value : _values)
            value = static_cast<T>(value / divisor);
        return *this;
    }

    /// Every component within \a tolerance; false where one is not a number.
    bool equals(const ColorInterface& other, T tolerance) const
    {
        for (UInt32 i = 0; i < N; ++i) {
            const T a = _values[i], b = other._values[i];
            if (!((a < b ? b - a : a - b) <= tolerance))
                return false;
        }
        return true;
    }
    /// With tolerance Eps for each component, so exact for bytes.
    bool operator==(const ColorInterface& other) const { return equals(other, static_cast<T>(Eps)); }
    bool operator!=(const ColorInterface& other) const { return !(*this == other); }

private:
    T _values[N];
};

template <class T, UInt32 N>
constexpr UInt32 ColorInterface<T, N>::Dimension;

template <class T, UInt32 N>
inline ColorInterface<T, N> operator*(typename std::common_type<T>::type factor,
                                      const ColorInterface<T, N>& color)
{
    return color * factor;
}

/// Components separated by blanks.
template <class T, UInt32 N>
inline std::ostream& operator<<(std::ostream& os, const ColorInterface<T, N>& color)
{
    // The unary plus prints bytes as numbers.
    for (UInt32 i = 0; i < N; ++i)
        os << (i ? " " : "") << +color[i];
    return os;
}

typedef ColorInterface<Real32, 3> Color3f;
typedef ColorInterface<Real32, 4> Color4f;
typedef ColorInterface<UInt8, 3> Color3ub;
typedef ColorInterface<UInt8, 4> Color4ub;

OSG_END_NAMESPACE
