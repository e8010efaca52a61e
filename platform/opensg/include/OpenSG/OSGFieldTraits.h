#pragma once

#include <OpenSG/OSGColor.h>
#include <OpenSG/OSGDynamicVolume.h>
#include <OpenSG/OSGField.h>
#include <OpenSG/OSGMatrix.h>
#include <OpenSG/OSGQuaternion.h>
#include <OpenSG/OSGVector.h>

#include <string>

OSG_BEGIN_NAMESPACE

// -- Text of single values --------------------------------------------------------------------
//
// Numbers are written in the shortest form that reads back exactly and know no locale. Reading skips blanks
// and commas in front, moves the position behind what was read, and leaves value and position alone when it
// fails.

OSG_PLATFORM_API void fieldToText(bool value, std::string& text);
OSG_PLATFORM_API void fieldToText(Int64 value, std::string& text);
OSG_PLATFORM_API void fieldToText(UInt64 value, std::string& text);
OSG_PLATFORM_API void fieldToText(Real32 value, std::string& text);
OSG_PLATFORM_API void fieldToText(Real64 value, std::string& text);
/// In double quotes, with \" and \\ escaped.
OSG_PLATFORM_API void fieldToText(const std::string& value, std::string& text);
/// 16 numbers, row by row.
OSG_PLATFORM_API void fieldToText(const Matrix& value, std::string& text);
/// Axis and angle in radians.
OSG_PLATFORM_API void fieldToText(const Quaternion& value, std::string& text);
OSG_PLATFORM_API void fieldToText(const DynamicVolume& value, std::string& text);

OSG_PLATFORM_API bool fieldFromText(bool& value, const Char8*& pos);
OSG_PLATFORM_API bool fieldFromText(Int64& value, const Char8*& pos);
OSG_PLATFORM_API bool fieldFromText(UInt64& value, const Char8*& pos);
OSG_PLATFORM_API bool fieldFromText(Real32& value, const Char8*& pos);
OSG_PLATFORM_API bool fieldFromText(Real64& value, const Char8*& pos);
/// Quoted, or everything up to the end.
OSG_PLATFORM_API bool fieldFromText(std::string& value, const Char8*& pos);
OSG_PLATFORM_API bool fieldFromText(Matrix& value, const Char8*& pos);
OSG_PLATFORM_API bool fieldFromText(Quaternion& value, const Char8*& pos);

// -- Traits -----------------------------------------------------------------------------------

/// What traits of values that are not handles share.
template <class ValueT>
struct PlainFieldTraits {
    enum { IsHandle = 0, IsBlock = 1 };
    static const Char8* containerClass() { return nullptr; }
    static bool equal(const ValueT& a, const ValueT& b) { return a == b; }
};

/// Values that are one number; \a WideT is the type through which text goes.
template <class ValueT, class WideT>
struct NumberFieldTraits : PlainFieldTraits<ValueT> {
    static void toText(const ValueT& value, std::string& text) { fieldToText(WideT(value), text); }
    static bool fromText(ValueT& value, const Char8*& pos)
    {
        const Char8* const start = pos;
        WideT wide;
        if (!fieldFromText(wide, pos)) {
            return false;
        }
        if (WideT(ValueT(wide)) != wide && wide == wide) { // too large for the type; nan is not
            pos = start;
            return false;
        }
        value = ValueT(wide);
        return true;
    }
};

/// Values made of \a Size components that operator[] gives.
template <class ValueT, class ComponentT, class WideT, int Size>
struct TupleFieldTraits : PlainFieldTraits<ValueT> {
    static void toText(const ValueT& value, std::string& text)
    {
        for (int i = 0; i < Size; ++i) {
            if (i != 0) {
                text += ' ';
            }
            NumberFieldTraits<ComponentT, WideT>::toText(value[i], text);
        }
    }
    static bool fromText(ValueT& value, const Char8*& pos)
    {
        const Char8* const start = pos;
        ValueT read = value;
        for (int i = 0; i < Size; ++i) {
            if (!NumberFieldTraits<ComponentT, WideT>::fromText(read[i], pos)) {
                pos = start;
                return false;
            }
        }
        value = read;
        return true;
    }
};

/// Values with a text form of their own.
template <class ValueT>
struct TextFieldTraits : PlainFieldTraits<ValueT> {
    static void toText(const ValueT& value, std::string& text) { fieldToText(value, text); }
    static bool fromText(ValueT& value, const Char8*& pos) { return fieldFromText(value, pos); }
};

/// Declares SFName and MFName with values of type \a ValueT.
#define OSG_FIELD_VALUE(Name, ValueT, Variant, ...)                                                          \
    template <>                                                                                              \
    struct FieldTraits<ValueT, Variant> : __VA_ARGS__ {                                                      \
        static const Char8* name() { return #Name; }                                                         \
    };                                                                                                       \
    typedef SField<ValueT, Variant> SF##Name;                                                                \
    typedef MField<ValueT, Variant> MF##Name;

#define OSG_FIELD_NUMBER(Name, WideT) OSG_FIELD_VALUE(Name, Name, 0, NumberFieldTraits<Name, WideT>)
#define OSG_FIELD_TUPLE(Name, ComponentT, WideT, Size)                                                       \
    OSG_FIELD_VALUE(Name, Name, 0, TupleFieldTraits<Name, ComponentT, WideT, Size>)
#define OSG_FIELD_TUPLES(Stem, Suffix, ComponentT, WideT)                                                    \
    OSG_FIELD_TUPLE(Stem##2##Suffix, ComponentT, WideT, 2)                                                   \
    OSG_FIELD_TUPLE(Stem##3##Suffix, ComponentT, WideT, 3)                                                   \
    OSG_FIELD_TUPLE(Stem##4##Suffix, ComponentT, WideT, 4)

OSG_FIELD_VALUE(Bool, bool, 0, TextFieldTraits<bool>)
OSG_FIELD_NUMBER(Int8, Int64)
OSG_FIELD_NUMBER(Int16, Int64)
OSG_FIELD_NUMBER(Int32, Int64)
OSG_FIELD_NUMBER(Int64, Int64)
OSG_FIELD_NUMBER(UInt8, UInt64)
OSG_FIELD_NUMBER(UInt16, UInt64)
OSG_FIELD_NUMBER(UInt32, UInt64)
OSG_FIELD_NUMBER(UInt64, UInt64)
OSG_FIELD_NUMBER(Real32, Real32)
OSG_FIELD_NUMBER(Real64, Real64)
OSG_FIELD_VALUE(GLenum, UInt32, 1, NumberFieldTraits<UInt32, UInt64>)
OSG_FIELD_VALUE(Time, Time, 1, NumberFieldTraits<Time, Real64>)

OSG_FIELD_TUPLES(Vec, f, Real32, Real32)
OSG_FIELD_TUPLES(Pnt, f, Real32, Real32)
OSG_FIELD_TUPLES(Vec, d, Real64, Real64)
OSG_FIELD_TUPLES(Pnt, d, Real64, Real64)
OSG_FIELD_TUPLES(Vec, s, Int16, Int64)
OSG_FIELD_TUPLES(Pnt, s, Int16, Int64)
OSG_FIELD_TUPLES(Vec, us, UInt16, UInt64)
OSG_FIELD_TUPLES(Vec, b, Int8, Int64)
OSG_FIELD_TUPLES(Vec, ub, UInt8, UInt64)
OSG_FIELD_TUPLE(Color3f, Real32, Real32, 3)
OSG_FIELD_TUPLE(Color4f, Real32, Real32, 4)
OSG_FIELD_TUPLE(Color3ub, UInt8, UInt64, 3)
OSG_FIELD_TUPLE(Color4ub, UInt8, UInt64, 4)

OSG_FIELD_VALUE(Matrix, Matrix, 0, TextFieldTraits<Matrix>)
OSG_FIELD_VALUE(Quaternion, Quaternion, 0, TextFieldTraits<Quaternion>)

template <>
struct FieldTraits<std::string, 0> : TextFieldTraits<std::string> {
    enum { IsBlock = 0 };
    static const Char8* name() { return "String"; }
};
typedef SField<std::string> SFString;
typedef MField<std::string> MFString;

template <>
struct FieldTraits<DynamicVolume, 0> : PlainFieldTraits<DynamicVolume> {
    enum { IsBlock = 0 };
    static const Char8* name() { return "DynamicVolume"; }
    static void toText(const DynamicVolume& value, std::string& text) { fieldToText(value, text); }
    /// Volumes are computed, never read from text.
    static bool fromText(DynamicVolume&, const Char8*&) { return false; }
};
typedef SField<DynamicVolume> SFDynamicVolume;
typedef MField<DynamicVolume> MFDynamicVolume;

OSG_END_NAMESPACE
