#pragma once

#include <OpenSG/OSGBaseTypes.h>

#include <cmath>

OSG_BEGIN_NAMESPACE

/// Phase of the library's life.
enum SystemState { Startup = 1, Running = 2, Shutdown = 3 };

/// Startup until osgInit, Shutdown after osgExit.
extern OSG_PLATFORM_API SystemState GlobalSystemState;

/// Starts the library: builds the prototypes, without which no container can be created. A further call does
/// nothing. The arguments of the program and the version numbers are accepted and not looked at.
OSG_PLATFORM_API bool osgInit(Int32 argc, Char8** argv, UInt16 major = 1, UInt16 minor = 8,
                              UInt16 release = 0, bool debug = false, bool dll = true, bool mt = true);

/// Releases the prototypes. Containers that are still referenced stay valid.
OSG_PLATFORM_API bool osgExit();

// -- Arithmetic -------------------------------------------------------------------------------------

template <class T>
inline const T& osgMin(const T& a, const T& b)
{
    return b < a ? b : a;
}

template <class T>
inline const T& osgMax(const T& a, const T& b)
{
    return a < b ? b : a;
}

/// \a value, or the limit it lies beyond.
template <class T>
inline const T& osgClamp(const T& lower, const T& value, const T& upper)
{
    return value < lower ? lower : (upper < value ? upper : value);
}

template <class T>
inline T osgabs(T a)
{
    return a < T(0) ? T(-a) : a;
}

template <class T>
inline T osgsqrt(T a)
{
    return std::sqrt(a);
}

template <class T>
inline T osgsin(T a)
{
    return std::sin(a);
}

template <class T>
inline T osgcos(T a)
{
    return std::cos(a);
}

template <class T>
inline T osgtan(T a)
{
    return std::tan(a);
}

template <class T>
inline T osgasin(T a)
{
    return std::asin(a);
}

template <class T>
inline T osgacos(T a)
{
    return std::acos(a);
}

template <class T>
inline T osgatan(T a)
{
    return std::atan(a);
}

template <class T>
inline T osgatan2(T y, T x)
{
    return std::atan2(y, x);
}

template <class T>
inline T osgpow(T base, T exponent)
{
    return std::pow(base, exponent);
}

template <class T>
inline T osgfloor(T a)
{
    return std::floor(a);
}

template <class T>
inline T osgceil(T a)
{
    return std::ceil(a);
}

inline Real32 osgdegree2rad(Real32 degrees)
{
    return degrees * (Pi / 180.f);
}

inline Real64 osgdegree2rad(Real64 degrees)
{
    return degrees * (3.14159265358979323846 / 180.);
}

inline Real32 osgrad2degree(Real32 radians)
{
    return radians * (180.f / Pi);
}

inline Real64 osgrad2degree(Real64 radians)
{
    return radians * (180. / 3.14159265358979323846);
}

OSG_END_NAMESPACE
