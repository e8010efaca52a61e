#pragma once

#include <OpenSG/OSGConfig.h>

#include <cstddef>
#include <cstdint>

OSG_BEGIN_NAMESPACE

typedef char Char8;
typedef unsigned char UChar8;
typedef std::int8_t Int8;
typedef std::uint8_t UInt8;
typedef std::int16_t Int16;
typedef std::uint16_t UInt16;
typedef std::int32_t Int32;
typedef std::uint32_t UInt32;
typedef std::int64_t Int64;
typedef std::uint64_t UInt64;
typedef float Real32;
typedef double Real64;
typedef long double Real128;

/// Seconds.
typedef Real64 Time;
typedef UInt8* MemoryHandle;

/// One bit for each field of a container: field id n is bit n, bit 0 is not used.
typedef UInt64 BitVector;

/// Masks that hold for every container.
struct FieldBits {
    static constexpr BitVector NoField = 0;
    static constexpr BitVector AllFields = ~BitVector(0);
};

/// Tolerance of the comparisons of vectors, colours, matrices and quaternions, absolute and per component.
constexpr Real32 Eps = 1e-6f;
constexpr Real32 Pi = 3.14159265358979323846f;
constexpr Real32 Inf = 1e30f;
constexpr Real32 NegInf = -1e30f;

/// Who made a change; programs use External, the default wherever an origin is asked for.
struct ChangedOrigin {
    enum Origin {
        External = 0x0001,
        Sync = 0x0002,
        Child = 0x0004,
        Abstract = 0x0008,
        AbstrIgnoreCore = 0x0100,
        AbstrIgnoreChild = 0x0200,
        AbstrCheckValid = 0x0400,
        AbstrIncRefCount = 0x0800
    };
};

OSG_END_NAMESPACE
