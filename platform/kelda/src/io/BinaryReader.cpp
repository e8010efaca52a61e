#include "io/BinaryReader.h"

#include "io/BinaryFormat.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <deque>
#include <limits>
#include <numeric>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace kelda
{

namespace
{

constexpr uint64_t kWindow = 4 << 20; ///< small arrays are read this many bytes at a time
constexpr uint32_t kMaxComponents = 16;

/// Fuzzers change bytes at random; with checksums compared they would never get past them.
bool sameHash(uint64_t found, uint64_t expected)
{
#ifdef FUZZING_BUILD_MODE_UNSAFE_FOR_PRODUCTION
    (void)found;
    (void)expected;
    return true;
#else
    return found == expected;
#endif
}

/// The only code that takes bytes out of a record.
class Cursor
{
public:
    Cursor() = default;
    Cursor(const char* at, const char* end) : _at(at), _end(end) {}

    size_t left() const { return static_cast<size_t>(_end - _at); }
    const char* at() const { return _at; }

    template <class T>
    bool get(T& value)
    {
        if (left() < sizeof value)
            return false;
        std::memcpy(&value, _at, sizeof value);
        _at += sizeof value;
        return true;
    }
    bool getText(std::string_view& text)
    {
        uint32_t length = 0;
        if (!get(length) || length > left())
            return false;
        text = std::string_view(_at, length);
        _at += length;
        return true;
    }
    bool cut(uint64_t length, Cursor& out)
    {
        if (length > left())
            return false;
        out = Cursor(_at, _at + length);
        _at += length;
        return true;
    }

private:
    const char* _at = nullptr;
    const char* _end = nullptr;
};

class BinaryReader
{
public:
    BinaryReader(int file, SceneSink& sink) : _file(file), _sink(sink) {}

    bool run()
    {
        return readHeader() && readRecords() &&
               (_sink.begin(static_cast<int>(_header.version)) || sinkFailed()) && takeRecords() &&
               checkEnd() && (_sink.end() || sinkFailed());
    }
    const std::string& error() const { return _error; }

private:
    struct FileAttr {
        int attr; ///< in the type; -1: not known here
        AttrKind kind;
        uint32_t components;
        std::string name; ///< of those that are not known
    };
    struct FileType {
        const NodeType* type; ///< null: not known here
        std::string name;
        std::vector<FileAttr> attrs;
    };

    bool readHeader();
    bool readRecords();
    bool takeRecords();
    bool takeRecord(RecordTag tag, Cursor record);
    bool takeType(Cursor record);
    bool takeNode(Cursor record, bool isDefault);
    bool takeValue(RecordTag tag, Cursor record);
    bool takeMesh(Cursor record);
    bool takeKeys(Cursor record);
    bool takeSurface(Cursor record);
    bool takeCurve(Cursor record);
    bool takeMember(Cursor record);
    bool checkEnd();

    template <class T>
    bool readArray(Cursor& record, PodVector<T>& out);
    template <class T>
    bool readArray(uint64_t count, uint64_t hash, PodVector<T>& out);
    bool readIds(Cursor& record, PodVector<int32_t>& out);
    bool readSmall(char* to, uint64_t bytes);
    bool readLarge(char* to, uint64_t bytes);
    bool readAt(uint64_t offset, void* to, uint64_t bytes);

    bool fail(const std::string& why)
    {
        if (_error.empty())
            _error = why;
        return false;
    }
    bool failRecord(const std::string& why)
    {
        return fail("byte " + std::to_string(_recordOffset) + ": " + why);
    }
    bool sinkFailed() { return failRecord(_sink.error()); }
    bool malformed() { return failRecord("the record is not well formed"); }
    /// Ends a record of what a node holds beside attributes: hands it on, unless the node is skipped.
    template <class Data>
    bool finishContent(const Cursor& record, bool (SceneSink::*take)(Data&), Data& data)
    {
        if (record.left() != 0)
            return malformed();
        if (_skipValues)
            return true;
        if (!_type)
            return malformed();
        return (_sink.*take)(data) || sinkFailed();
    }
    bool unknown(const std::string& what)
    {
        if (_header.version <= static_cast<uint32_t>(kSceneVersion))
            return failRecord("there is no " + what);
        _sink.leftOut(what);
        return true;
    }

    int _file;
    SceneSink& _sink;
    std::string _error;
    BinaryHeader _header = {};
    PodVector<char> _records;
    uint64_t _recordOffset = 0; ///< in the file, of the record at work

    std::deque<FileType> _types;     ///< pointed to by _type while it grows
    const FileType* _type = nullptr; ///< of the node given last; null: none was given
    bool _skipValues = false;        ///< the node given last is left out
    bool _atEnd = false;
    uint32_t _nodeCount = 0;

    uint64_t _smallAt = 0; ///< where the next small array begins
    uint64_t _smallEnd = 0;
    uint64_t _largeAt = 0;    ///< where the previous large array ended
    uint64_t _ruledBytes = 0; ///< of all arrays so far that are told by a rule
    PodVector<char> _window;  ///< part of the small arrays
    uint64_t _windowAt = 0;   ///< its place in the file
};

// -- The file -------------------------------------------------------------------------------------

bool BinaryReader::readAt(uint64_t offset, void* to, uint64_t bytes)
{
    char* at = static_cast<char*>(to);
    while (bytes > 0) {
        const ssize_t got = ::pread(_file, at, bytes, static_cast<off_t>(offset));
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return fail("byte " + std::to_string(offset) + ": cannot be read: " + std::strerror(errno));
        if (got == 0)
            return fail("byte " + std::to_string(offset) + ": the file ends here; it became shorter");
        at += got;
        offset += static_cast<uint64_t>(got);
        bytes -= static_cast<uint64_t>(got);
    }
    return true;
}

bool BinaryReader::readHeader()
{
    struct stat about;
    if (::fstat(_file, &about) != 0)
        return fail(std::string("cannot be read: ") + std::strerror(errno));
    const uint64_t size = static_cast<uint64_t>(about.st_size);
    if (size < sizeof _header)
        return fail("byte " + std::to_string(size) + ": the file ends within its header");
    if (!readAt(0, &_header, sizeof _header))
        return false;
    if (std::memcmp(_header.magic, kBinaryMagic, sizeof _header.magic) != 0)
        return fail("byte 0: not a binary Kelda scene");
    if (!sameHash(XXH3_64bits(&_header, offsetof(BinaryHeader, headerHash)), _header.headerHash))
        return fail("byte 0: the header is damaged");
    if (_header.layout == 0 || _header.layout > kBinaryLayout)
        return fail("byte 8: the layout " + std::to_string(_header.layout) + " is not known; expected 1 to " +
                    std::to_string(kBinaryLayout));
    if (_header.version == 0 || _header.version > static_cast<uint32_t>(std::numeric_limits<int>::max()) ||
        _header.reserved != 0)
        return fail("byte 12: the header is damaged");
    if (_header.fileSize != size)
        return fail("byte 16: the file should have " + std::to_string(_header.fileSize) + " bytes, but has " +
                    std::to_string(size));
    // Each part is held against what is left, so that no sum can overflow.
    uint64_t left = size - sizeof _header;
    if (_header.recordsSize > left || alignUp(_header.recordsSize) > left)
        return fail("byte 24: the records are longer than the file");
    left -= alignUp(_header.recordsSize);
    if (_header.smallSize > left)
        return fail("byte 32: the arrays are longer than the file");
    _smallAt = sizeof _header + alignUp(_header.recordsSize);
    _smallEnd = _smallAt + _header.smallSize;
    _largeAt = _smallEnd;
    return true;
}

bool BinaryReader::readRecords()
{
    const uint64_t padded = alignUp(_header.recordsSize);
    _records.resize(padded);
    if (!readAt(sizeof _header, _records.data(), padded))
        return false;
    if (!sameHash(XXH3_64bits(_records.data(), _header.recordsSize), _header.recordsHash))
        return fail("byte " + std::to_string(sizeof _header) + ": the records are damaged");
    for (uint64_t i = _header.recordsSize; i < padded; ++i)
        if (_records[i] != 0)
            return fail("byte " + std::to_string(sizeof _header + i) + ": expected zeros behind the records");
    return true;
}

// Every array must have been named by a record, and nothing may stand behind the last one.
bool BinaryReader::checkEnd()
{
    if (_smallAt != _smallEnd || _largeAt != _header.fileSize)
        return fail("byte " + std::to_string(_smallAt != _smallEnd ? _smallAt : _largeAt) +
                    ": bytes that belong to nothing");
    return true;
}

// -- Records --------------------------------------------------------------------------------------

bool BinaryReader::takeRecords()
{
    Cursor all(_records.data(), _records.data() + _header.recordsSize);
    while (!_atEnd) {
        _recordOffset = sizeof _header + static_cast<uint64_t>(all.at() - _records.data());
        uint32_t tag = 0;
        uint32_t length = 0;
        Cursor record;
        if (!all.get(tag) || !all.get(length) || !all.cut(length, record))
            return failRecord("the records end without an end mark");
        if (!takeRecord(static_cast<RecordTag>(tag), record))
            return false;
    }
    return all.left() == 0 || failRecord("records behind the end mark");
}

bool BinaryReader::takeRecord(RecordTag tag, Cursor record)
{
    switch (tag) {
    case RecordTag::Unit: {
        std::string_view name;
        LinearUnit unit = LinearUnit::Centimeter;
        if (!record.getText(name) || record.left() != 0)
            return malformed();
        if (!parseLinearUnit(name, unit))
            return unknown("unit of length \"" + std::string(name) + "\"");
        return _sink.unit(unit) || sinkFailed();
    }
    case RecordTag::Type:
        return takeType(record);
    case RecordTag::Node:
        return takeNode(record, false);
    case RecordTag::DefaultNode:
        return takeNode(record, true);
    case RecordTag::Numbers:
    case RecordTag::Text:
    case RecordTag::Element:
        return takeValue(tag, record);
    case RecordTag::Mesh:
        return takeMesh(record);
    case RecordTag::Surface:
        return takeSurface(record);
    case RecordTag::Curve:
        return takeCurve(record);
    case RecordTag::Keys:
        return takeKeys(record);
    case RecordTag::TimeUnit: {
        std::string_view name;
        KTime::Unit unit = KTime::kFilm;
        if (!record.getText(name) || record.left() != 0)
            return malformed();
        if (!parseTimeUnit(name, unit))
            return unknown("unit of time \"" + std::string(name) + "\"");
        return _sink.timeUnit(unit) || sinkFailed();
    }
    case RecordTag::Instance: {
        uint32_t child = 0;
        uint32_t parent = 0;
        if (!record.get(child) || !record.get(parent) || record.left() != 0)
            return malformed();
        return _sink.instance(child, parent) || sinkFailed();
    }
    case RecordTag::ParentOrder: {
        uint32_t child = 0;
        if (!record.get(child) || record.left() % sizeof(uint32_t) != 0)
            return malformed();
        std::vector<FileIndex> parents(record.left() / sizeof(uint32_t));
        for (FileIndex& parent : parents)
            record.get(parent);
        return _sink.parentOrder(child, parents.data(), parents.size()) || sinkFailed();
    }
    case RecordTag::Member:
        return takeMember(record);
    case RecordTag::Connection: {
        uint32_t source = 0;
        uint32_t destination = 0;
        std::string_view sourceAttr;
        std::string_view destinationAttr;
        if (!record.get(source) || !record.get(destination) || !record.getText(sourceAttr) ||
            !record.getText(destinationAttr) || record.left() != 0)
            return malformed();
        return _sink.connection(source, sourceAttr, destination, destinationAttr) || sinkFailed();
    }
    case RecordTag::End: {
        uint32_t count = 0;
        if (!record.get(count) || record.left() != 0)
            return malformed();
        if (count != _nodeCount)
            return failRecord("expected " + std::to_string(count) + " nodes, found " +
                              std::to_string(_nodeCount));
        _atEnd = true;
        return true;
    }
    }
    return unknown("record of the kind " + std::to_string(static_cast<uint32_t>(tag)));
}

bool BinaryReader::takeType(Cursor record)
{
    FileType type;
    std::string_view name;
    uint32_t count = 0;
    if (!record.getText(name) || !record.get(count))
        return malformed();
    type.name = name;
    type.type = findNodeType(name);
    if (type.type && (type.type->isAbstract() || type.type->isA(KFn::kWorld)))
        type.type = nullptr;
    for (uint32_t i = 0; i < count; ++i) {
        uint32_t kind = 0;
        FileAttr attr;
        if (!record.getText(name) || !record.get(kind) || !record.get(attr.components))
            return malformed();
        attr.kind = static_cast<AttrKind>(kind);
        attr.attr = type.type ? type.type->findAttr(name) : -1;
        attr.name = name;
        if (attr.attr >= 0) {
            const Attr& row = type.type->attr(attr.attr);
            const bool sameKind =
                (row.kind == AttrKind::Text) == (kind == static_cast<uint32_t>(AttrKind::Text));
            if (kind > static_cast<uint32_t>(AttrKind::Text) || !sameKind ||
                !isStored(*type.type, attr.attr) ||
                attr.components != static_cast<uint32_t>(componentCount(row)) ||
                attr.components > kMaxComponents)
                attr.attr = -1;
        }
        type.attrs.push_back(std::move(attr));
    }
    if (record.left() != 0)
        return malformed();
    _types.push_back(std::move(type));
    return true;
}

bool BinaryReader::takeNode(Cursor record, bool isDefault)
{
    uint32_t number = 0;
    uint32_t parent = kNoIndex;
    std::string_view name;
    if (!record.get(number) || (!isDefault && !record.get(parent)) || !record.getText(name) ||
        record.left() != 0)
        return malformed();
    if (number >= _types.size())
        return failRecord("the node \"" + std::string(name) +
                          "\" is of a type that the file does not describe");
    _type = &_types[number];
    const FileIndex index = _nodeCount++;
    if (isDefault) {
        const NodeType* const type = _sink.defaultNode(index, name);
        _skipValues = !type;
        if (type)
            return type == _type->type ||
                   failRecord("the node \"" + std::string(name) + "\" is of another type");
        return unknown("default node \"" + std::string(name) + "\"") &&
               (_sink.node(index, nullptr, name, kNoIndex, false) || sinkFailed());
    }
    _skipValues = !_type->type;
    if (!_type->type && !unknown("node type \"" + _type->name + "\""))
        return false;
    return _sink.node(index, _type->type, name, parent, false) || sinkFailed();
}

// -- Values ---------------------------------------------------------------------------------------

bool BinaryReader::takeValue(RecordTag tag, Cursor record)
{
    uint32_t number = 0;
    if (!_type || !record.get(number) || number >= _type->attrs.size())
        return malformed();
    if (_skipValues)
        return true;
    const FileAttr& attr = _type->attrs[number];
    if (attr.attr < 0)
        return unknown("attribute \"" + _type->name + '.' + attr.name + '"');
    const Attr& row = _type->type->attr(attr.attr);
    if ((tag == RecordTag::Numbers) != (attr.kind != AttrKind::Text) ||
        (tag == RecordTag::Element) != row.isArray())
        return malformed();
    if (tag != RecordTag::Numbers) {
        std::string_view value;
        uint32_t element = 0;
        if (tag == RecordTag::Element &&
            (!record.get(element) || element > static_cast<uint32_t>(std::numeric_limits<int32_t>::max())))
            return malformed();
        if (!record.getText(value) || record.left() != 0 || value.find('\0') != std::string_view::npos)
            return malformed();
        return _sink.text(attr.attr, tag == RecordTag::Element ? static_cast<int32_t>(element) : -1, value) ||
               sinkFailed();
    }
    double values[kMaxComponents];
    for (uint32_t i = 0; i < attr.components; ++i) {
        bool good = false;
        if (attr.kind == AttrKind::Float) {
            float value = 0;
            good = record.get(value);
            values[i] = static_cast<double>(value);
        } else if (attr.kind == AttrKind::Double || attr.kind == AttrKind::Angle) {
            good = record.get(values[i]);
        } else {
            int32_t value = 0;
            good = record.get(value);
            values[i] = value;
        }
        if (!good)
            return malformed();
        if (!std::isfinite(values[i]))
            return failRecord("a number is not finite");
    }
    if (record.left() != 0)
        return malformed();
    return _sink.numbers(attr.attr, values, static_cast<int>(attr.components)) || sinkFailed();
}

bool BinaryReader::readSmall(char* to, uint64_t bytes)
{
    if (bytes == 0)
        return true;
    if (_smallAt < _windowAt || _smallAt + bytes > _windowAt + _window.size()) {
        _windowAt = _smallAt;
        _window.resize(std::min(kWindow, _smallEnd - _smallAt));
        if (!readAt(_windowAt, _window.data(), _window.size()))
            return false;
    }
    std::memcpy(to, _window.data() + (_smallAt - _windowAt), bytes);
    _smallAt += bytes;
    return true;
}

// Straight into its place; the zeros before it come along in the same call.
bool BinaryReader::readLarge(char* to, uint64_t bytes)
{
    const uint64_t start = alignUp(_largeAt);
    char gap[kAlignment] = {};
    iovec parts[2] = {{gap, start - _largeAt}, {to, bytes}};
    ssize_t got = -1;
    do
        got = ::preadv(_file, parts, 2, static_cast<off_t>(_largeAt));
    while (got < 0 && errno == EINTR);
    if (got < 0)
        return failRecord(std::string("cannot be read: ") + std::strerror(errno));
    const uint64_t gapSize = start - _largeAt;
    const uint64_t done = static_cast<uint64_t>(got);
    if (done < gapSize + bytes) {
        // One call moves 2 GiB at most, and less when a signal comes.
        if (done < gapSize)
            return failRecord("the file became shorter");
        if (!readAt(_largeAt + done, to + (done - gapSize), bytes - (done - gapSize)))
            return false;
    }
    for (uint64_t i = 0; i < gapSize; ++i)
        if (gap[i] != 0)
            return fail("byte " + std::to_string(_largeAt + i) + ": expected zeros before an array");
    _largeAt = start + bytes;
    return true;
}

template <class T>
bool BinaryReader::readArray(uint64_t count, uint64_t hash, PodVector<T>& out)
{
    // Held against the bytes that are left before anything is allocated. Both kinds of arrays are bounded by
    // the file.
    if (count > (_header.fileSize - sizeof _header) / sizeof(T))
        return failRecord("an array has " + std::to_string(count) + " entries, more than the file can hold");
    const uint64_t bytes = count * sizeof(T);
    const bool isSmall = bytes < kLargeArray;
    if (isSmall ? bytes > _smallEnd - _smallAt
                : alignUp(_largeAt) > _header.fileSize || bytes > _header.fileSize - alignUp(_largeAt))
        return failRecord("an array has " + std::to_string(count) + " entries, more than the file can hold");
    out.resize(count);
    char* const to = reinterpret_cast<char*>(out.data());
    const uint64_t at = isSmall ? _smallAt : alignUp(_largeAt);
    if (!(isSmall ? readSmall(to, bytes) : readLarge(to, bytes)))
        return false;
    return sameHash(XXH3_64bits(to, bytes), hash) ||
           fail("byte " + std::to_string(at) + ": an array is damaged");
}

template <class T>
bool BinaryReader::readArray(Cursor& record, PodVector<T>& out)
{
    uint64_t count = 0;
    uint64_t hash = 0;
    if (!record.get(count) || !record.get(hash))
        return malformed();
    return readArray(count, hash, out);
}

bool BinaryReader::readIds(Cursor& record, PodVector<int32_t>& out)
{
    uint64_t count = 0;
    uint64_t detail = 0;
    if (!record.get(count) || !record.get(detail))
        return malformed();
    const uint64_t rule = _header.layout >= 2 ? count & (kAscending | kAllEqual) : 0;
    if (rule == 0)
        return readArray(count, detail, out);
    // What is stored in full is always more than what is told by rules: the sum of these stays below the
    // file's size, so that a few bytes cannot ask for a lot of memory.
    count &= ~rule;
    if (count > (_header.fileSize - _ruledBytes) / sizeof(int32_t))
        return failRecord("an array has " + std::to_string(count) +
                          " entries, more than the file can stand for");
    const bool ascending = rule == kAscending;
    const uint64_t largest = static_cast<uint64_t>(std::numeric_limits<int32_t>::max());
    if ((!ascending && rule != kAllEqual) || count > largest || detail > (ascending ? 0 : largest))
        return malformed();
    _ruledBytes += count * sizeof(int32_t);
    out.resize(count);
    if (ascending)
        std::iota(out.begin(), out.end(), 0);
    else
        std::fill(out.begin(), out.end(), static_cast<int32_t>(detail));
    return true;
}

bool BinaryReader::takeMesh(Cursor record)
{
    MeshData mesh;
    uint32_t setCount = 0;
    if (!readArray(record, mesh.points) || !readIds(record, mesh.faceCounts) ||
        !readIds(record, mesh.faceVertices) || !readArray(record, mesh.normals) ||
        !readIds(record, mesh.normalIds))
        return false;
    if (!record.get(setCount))
        return malformed();
    for (uint32_t i = 0; i < setCount; ++i) {
        mesh.uvSets.emplace_back();
        UVSet& set = mesh.uvSets.back();
        std::string_view name;
        uint64_t count = 0;
        uint64_t uHash = 0;
        uint64_t vHash = 0;
        if (!record.getText(name) || !record.get(count) || !record.get(uHash) || !record.get(vHash))
            return malformed();
        if (name.find('\0') != std::string_view::npos)
            return malformed();
        set.name = name;
        if (!readArray(count, uHash, set.u) || !readArray(count, vHash, set.v) || !readIds(record, set.ids))
            return false;
    }
    return finishContent(record, &SceneSink::mesh, mesh);
}

bool BinaryReader::takeKeys(Cursor record)
{
    KeyData keys;
    if (!readArray(record, keys.times) || !readArray(record, keys.values))
        return false;
    return finishContent(record, &SceneSink::keys, keys);
}

bool BinaryReader::takeSurface(Cursor record)
{
    SurfaceData surface;
    int32_t rational = 0;
    int32_t flipped = 0;
    if (!record.get(surface.degreeU) || !record.get(surface.degreeV) || !record.get(surface.formU) ||
        !record.get(surface.formV) || !record.get(rational) || !record.get(flipped) ||
        (rational | flipped) >> 1 != 0)
        return malformed();
    surface.rational = rational != 0;
    surface.flipped = flipped != 0;
    if (!readArray(record, surface.knotsU) || !readArray(record, surface.knotsV) ||
        !readArray(record, surface.cvs))
        return false;
    if (record.left() != 0) {
        TrimData& trims = surface.trims;
        if (!record.get(trims.edgeTolerance) || !record.get(trims.paramTolerance))
            return malformed();
        if (!readArray(record, trims.boundaries) || !readArray(record, trims.curves) ||
            !readArray(record, trims.knots) || !readArray(record, trims.cvs))
            return false;
        if (trims.empty())
            return malformed();
    }
    return finishContent(record, &SceneSink::surface, surface);
}

bool BinaryReader::takeCurve(Cursor record)
{
    CurveData curve;
    int32_t rational = 0;
    if (!record.get(curve.degree) || !record.get(curve.form) || !record.get(rational) || rational >> 1 != 0)
        return malformed();
    curve.rational = rational != 0;
    if (!readArray(record, curve.knots) || !readArray(record, curve.cvs))
        return false;
    return finishContent(record, &SceneSink::curve, curve);
}

// -- Relations ------------------------------------------------------------------------------------

bool BinaryReader::takeMember(Cursor record)
{
    uint32_t set = 0;
    uint32_t node = 0;
    uint32_t instance = 0;
    if (!record.get(set) || !record.get(node) || !record.get(instance) ||
        record.left() % sizeof(FaceRange) != 0)
        return malformed();
    FaceSet faces;
    faces.ranges.resize(record.left() / sizeof(FaceRange));
    int64_t last = -2;
    for (FaceRange& range : faces.ranges) {
        record.get(range);
        // A gap between two ranges, or they would be one.
        if (range.first < 0 || range.first <= last + 1 || range.last < range.first)
            return failRecord("the faces of a member are not in ascending order");
        last = range.last;
    }
    return _sink.member(set, node, instance, faces.ranges.empty() ? nullptr : &faces) || sinkFailed();
}

} // namespace

bool looksLikeBinary(std::string_view start)
{
    return start.substr(0, sizeof kBinaryMagic) == std::string_view(kBinaryMagic, sizeof kBinaryMagic);
}

bool readBinary(int file, SceneSink& sink, std::string& error)
{
    BinaryReader reader(file, sink);
    if (reader.run())
        return true;
    error = reader.error();
    return false;
}

} // namespace kelda
