#pragma once

#include <OpenSG/OSGField.h>

#include <cstddef>
#include <string_view>

OSG_BEGIN_NAMESPACE

// What reader and writer of ".osb" files share.

constexpr std::string_view osbMagic = "OpenSG binary V1.0";

/// Version of every record; it is not looked at on reading.
constexpr UInt16 osbRecordVersion = 100;

/// What a container is, for readers that do not know its type.
enum OsbKind : UInt8 {
    OsbUnknown = 0,
    OsbFieldContainer = 1,
    OsbNode = 2,
    OsbNodeCore = 3,
    OsbAttachment = 4,
    OsbMaterial = 5,
    OsbStateChunk = 6
};

/// Records of exactly these types carry no kind.
bool osbHasKind(std::string_view typeName);

// -- Values -----------------------------------------------------------------------------------------

/// How values of one type lie in a file: as units of equal size, each with its most significant byte first.
struct OsbElement {
    enum Form : UInt8 { Units, Bool, String };

    std::string_view name; ///< of the value type, "Vec3f"
    Form form;
    UInt8 unitSize;  ///< bytes: 1, 2, 4 or 8
    UInt8 unitCount; ///< units of one value

    UInt32 size() const { return UInt32(unitSize) * unitCount; }
};

/// The value type of a field; null if its values have no form in files.
const OsbElement* osbElementOf(const FieldType& type);

/// Copies units between memory and file order, either way. The ranges must not overlap.
void osbCopyUnits(void* target, const void* source, std::size_t unitCount, UInt32 unitSize);

// -- Geometry ---------------------------------------------------------------------------------------

/// A property that may be stored with few bits for each component, in place of the geometry's handle to it.
struct OsbQuantized {
    std::string_view fieldName; ///< of the form in few bits
    std::string_view fieldType;
    const Char8* geometryField;
    const Char8* propertyClass;
    const Char8* propertyField;
    UInt32 dimension;
};

/// In file order.
enum OsbQuantizedIndex { OsbQPositions, OsbQNormals, OsbQTexCoords, OsbQuantizedCount };
extern const OsbQuantized osbQuantized[OsbQuantizedCount];

constexpr std::string_view osbPackedIndices = "pindices";
constexpr std::string_view osbPackedIndicesType = "PMFUInt8";

/// Bits that each packed index takes.
UInt32 osbPackedBits(UInt32 maxIndex);

// -- Images -----------------------------------------------------------------------------------------

/// An image file in place of the pixels, behind all other fields.
constexpr std::string_view osbCompressedPixels = "cpixel";
constexpr std::string_view osbCompressedPixelsType = "MFUInt8";

// -- Options ----------------------------------------------------------------------------------------

struct OsbOptions {
    UInt32 quantizeBytes[OsbQuantizedCount] = {0, 0, 0}; ///< 0: not at all
    bool packIndices = false;
    bool unpack16BitIndices = false;
    bool inlineTextures = true;    ///< pixels stand in the file; otherwise those with a name are read by it
    bool compressTextures = false; ///< as an image file, where they can be
    const Char8* textureMimeType = "image/png";
    UInt32 textureQuality = 75; ///< 1 .. 100, where the type has it

    /// Texts that say nothing known are ignored.
    static OsbOptions parse(std::string_view options);
};

OSG_END_NAMESPACE
