#include "OSGOsbFormat.h"

#include <charconv>
#include <cstring>

OSG_BEGIN_NAMESPACE

bool osbHasKind(std::string_view typeName)
{
    return typeName != "Geometry" && typeName != "Image" && typeName != "GenericAtt";
}

// -- Values -----------------------------------------------------------------------------------------

namespace
{

constexpr OsbElement elements[] = {
    // name            form                unit size, units
    {"Bool", OsbElement::Bool, 1, 1},        {"String", OsbElement::String, 1, 0},
    {"Int8", OsbElement::Units, 1, 1},       {"UInt8", OsbElement::Units, 1, 1},
    {"Int16", OsbElement::Units, 2, 1},      {"UInt16", OsbElement::Units, 2, 1},
    {"Int32", OsbElement::Units, 4, 1},      {"UInt32", OsbElement::Units, 4, 1},
    {"Int64", OsbElement::Units, 8, 1},      {"UInt64", OsbElement::Units, 8, 1},
    {"Real32", OsbElement::Units, 4, 1},     {"Real64", OsbElement::Units, 8, 1},
    {"GLenum", OsbElement::Units, 4, 1},     {"Time", OsbElement::Units, 8, 1},
    {"Vec2f", OsbElement::Units, 4, 2},      {"Vec3f", OsbElement::Units, 4, 3},
    {"Vec4f", OsbElement::Units, 4, 4},      {"Pnt2f", OsbElement::Units, 4, 2},
    {"Pnt3f", OsbElement::Units, 4, 3},      {"Pnt4f", OsbElement::Units, 4, 4},
    {"Vec2d", OsbElement::Units, 8, 2},      {"Vec3d", OsbElement::Units, 8, 3},
    {"Vec4d", OsbElement::Units, 8, 4},      {"Pnt2d", OsbElement::Units, 8, 2},
    {"Pnt3d", OsbElement::Units, 8, 3},      {"Pnt4d", OsbElement::Units, 8, 4},
    {"Vec2s", OsbElement::Units, 2, 2},      {"Vec3s", OsbElement::Units, 2, 3},
    {"Vec4s", OsbElement::Units, 2, 4},      {"Pnt2s", OsbElement::Units, 2, 2},
    {"Pnt3s", OsbElement::Units, 2, 3},      {"Pnt4s", OsbElement::Units, 2, 4},
    {"Vec2us", OsbElement::Units, 2, 2},     {"Vec3us", OsbElement::Units, 2, 3},
    {"Vec4us", OsbElement::Units, 2, 4},     {"Vec2b", OsbElement::Units, 1, 2},
    {"Vec3b", OsbElement::Units, 1, 3},      {"Vec4b", OsbElement::Units, 1, 4},
    {"Vec2ub", OsbElement::Units, 1, 2},     {"Vec3ub", OsbElement::Units, 1, 3},
    {"Vec4ub", OsbElement::Units, 1, 4},     {"Color3f", OsbElement::Units, 4, 3},
    {"Color4f", OsbElement::Units, 4, 4},    {"Color3ub", OsbElement::Units, 1, 3},
    {"Color4ub", OsbElement::Units, 1, 4},   {"Matrix", OsbElement::Units, 4, 16},
    {"Quaternion", OsbElement::Units, 4, 4},
};

#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
constexpr bool memoryIsFileOrder = true;
#else
constexpr bool memoryIsFileOrder = false;
#endif

inline UInt16 swapBytes(UInt16 value)
{
    return static_cast<UInt16>((value << 8) | (value >> 8));
}

inline UInt32 swapBytes(UInt32 value)
{
    return (value << 24) | ((value << 8) & 0xff0000u) | ((value >> 8) & 0xff00u) | (value >> 24);
}

inline UInt64 swapBytes(UInt64 value)
{
    return (UInt64(swapBytes(UInt32(value))) << 32) | swapBytes(UInt32(value >> 32));
}

// Through memcpy, as neither side needs to be aligned; compilers make vector code of it.
template <class T>
void copySwapped(void* target, const void* source, std::size_t count)
{
    UInt8* out = static_cast<UInt8*>(target);
    const UInt8* in = static_cast<const UInt8*>(source);
    for (std::size_t i = 0; i < count; ++i, in += sizeof(T), out += sizeof(T)) {
        T value;
        std::memcpy(&value, in, sizeof(T));
        value = swapBytes(value);
        std::memcpy(out, &value, sizeof(T));
    }
}

} // namespace

const OsbElement* osbElementOf(const FieldType& type)
{
    for (const OsbElement& element : elements)
        if (element.name == type.getElementName())
            return &element;
    return nullptr;
}

void osbCopyUnits(void* target, const void* source, std::size_t unitCount, UInt32 unitSize)
{
    if (unitCount == 0)
        return;
    if (memoryIsFileOrder || unitSize == 1)
        std::memcpy(target, source, unitCount * unitSize);
    else if (unitSize == 2)
        copySwapped<UInt16>(target, source, unitCount);
    else if (unitSize == 4)
        copySwapped<UInt32>(target, source, unitCount);
    else
        copySwapped<UInt64>(target, source, unitCount);
}

// -- Geometry ---------------------------------------------------------------------------------------

const OsbQuantized osbQuantized[OsbQuantizedCount] = {
    {"qpositions", "QMFUInt83f", "positions", "GeoPositions3f", "positions", 3},
    {"qnormals", "QMFUInt83f", "normals", "GeoNormals3f", "normals", 3},
    {"qtexCoords", "QMFUInt82f", "texCoords", "GeoTexCoords2f", "TexCoords", 2},
};

UInt32 osbPackedBits(UInt32 maxIndex)
{
    UInt32 bits = 0;
    while (bits < 32 && (UInt64(1) << bits) - 1 < maxIndex)
        ++bits;
    return bits;
}

// -- Options ----------------------------------------------------------------------------------------

OsbOptions OsbOptions::parse(std::string_view options)
{
    static constexpr std::string_view quantizeKeys[OsbQuantizedCount] = {
        "quantizePositions=", "quantizeNormals=", "quantizeTexCoords="};
    const auto valueOf = [options](std::string_view key) {
        const std::size_t pos = options.find(key);
        return pos == std::string_view::npos ? std::string_view() : options.substr(pos + key.size());
    };
    const auto isTrue = [](std::string_view value) { return value.substr(0, 4) == "true"; };

    OsbOptions result;
    for (UInt32 i = 0; i < OsbQuantizedCount; ++i) {
        const std::string_view bits = valueOf(quantizeKeys[i]);
        if (bits.substr(0, 2) == "24")
            result.quantizeBytes[i] = 3;
        else if (bits.substr(0, 2) == "16")
            result.quantizeBytes[i] = 2;
        else if (bits.substr(0, 1) == "8")
            result.quantizeBytes[i] = 1;
    }
    result.packIndices = isTrue(valueOf("packIndices="));
    result.unpack16BitIndices = isTrue(valueOf("unpack16BitIndices="));
    result.inlineTextures = valueOf("inlineTextures=").substr(0, 5) != "false";
    result.compressTextures = isTrue(valueOf("compressTextures="));
    if (valueOf("texturesImageType=").substr(0, 4) == "jpeg")
        result.textureMimeType = "image/jpeg";
    const std::string_view quality = valueOf("texturesCompressionQuality=");
    std::from_chars(quality.data(), quality.data() + quality.size(), result.textureQuality);
    return result;
}

OSG_END_NAMESPACE
