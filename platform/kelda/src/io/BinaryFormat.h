#pragma once

#include <cstdint>
#include <cstring>

namespace kelda
{

// The form "kb", layouts 1 and 2. All numbers are little-endian; this code runs on such machines
// only.
//
//     header (64 bytes) | records | small arrays | large arrays
//
// Arrays are not addressed: they follow each other in the order in which the records name them. An array of
// less than kLargeArray bytes stands right behind the previous small one, a larger one at the next multiple
// of 64.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "arrays are read and written as they lie in memory");

constexpr char kBinaryMagic[8] = {'\x89', 'K', 'E', 'L', 'D', 'A', 'B', '\n'};
// Layout 2 is layout 1 with arrays that are told by a rule. What has none of them is written as layout 1.
constexpr uint32_t kBinaryLayout = 2;
constexpr uint64_t kLargeArray = 64 * 1024;
constexpr uint64_t kAlignment = 64;

// A large array of face counts or of ids that follows a rule is not stored: its count has one of these bits.
constexpr uint64_t kAscending = uint64_t(1) << 63; ///< 0, 1, 2, ...; 0 stands for the hash
constexpr uint64_t kAllEqual = uint64_t(1) << 62;  ///< the value, not negative, stands for the hash

struct BinaryHeader {
    char magic[8];
    uint32_t layout;
    uint32_t version; ///< kSceneVersion of the writer
    uint64_t fileSize;
    uint64_t recordsSize; ///< without the zeros that fill up to the next multiple of 64
    uint64_t smallSize;   ///< likewise
    uint64_t recordsHash; ///< XXH3, 64 bits, seed 0
    uint64_t reserved;    ///< 0
    uint64_t headerHash;  ///< of the 56 bytes before
};
static_assert(sizeof(BinaryHeader) == 64, "the header is written as memory");

inline uint64_t alignUp(uint64_t size)
{
    return (size + kAlignment - 1) / kAlignment * kAlignment;
}

/// Records: tag, length of what follows (both uint32), contents. Numbers are in files: append, never
/// renumber.
enum class RecordTag : uint32_t {
    Unit = 1,        ///< text: the unit's full name
    Type = 2,        ///< name, attribute count, per attribute: name, kind (u32), components (u32)
    Node = 3,        ///< type (u32), parent (u32), name
    DefaultNode = 4, ///< type (u32), name
    Numbers = 5,     ///< attribute (u32), the components' values
    Text = 6,        ///< attribute (u32), text
    Mesh = 7,        ///< five arrays, UV set count (u32), per set: name, count and hash of u, hash of v, ids
    Instance = 8,    ///< child, parent (u32)
    ParentOrder = 9, ///< child, parents (u32)
    Member = 10,     ///< set, node, instance (u32), then first and last of each face range (i32)
    Connection = 11, ///< source, destination (u32), source attribute, destination attribute
    End = 12,        ///< node count (u32); the last record
    Element = 13,    ///< attribute, element (u32), text
    Surface = 14,    ///< degrees, forms, rational, flipped (i32), knots of u, of v, CVs; then the trimming:
                     ///< boundaries, curves, tolerances, knots, CVs
    Curve = 15,      ///< degree, form, rational (i32), knots, CVs
    Keys = 16,       ///< times, values: arrays of doubles
    TimeUnit = 17,   ///< text: its full name
};

} // namespace kelda
