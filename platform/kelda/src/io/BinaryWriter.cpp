#include "io/BinaryWriter.h"

#include <algorithm>
#include <cstddef>
#include <limits>

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace kelda
{

// -- Records --------------------------------------------------------------------------------------

template <class T>
void BinaryWriter::put(const T& value)
{
    char bytes[sizeof(T)];
    std::memcpy(bytes, &value, sizeof bytes);
    _records.append(bytes, sizeof bytes);
}

void BinaryWriter::putText(std::string_view text)
{
    put(static_cast<uint32_t>(text.size()));
    _records.append(text);
}

void BinaryWriter::open(RecordTag tag)
{
    put(static_cast<uint32_t>(tag));
    _recordStart = _records.size();
    put(uint32_t(0));
}

bool BinaryWriter::close()
{
    const uint64_t length = _records.size() - _recordStart - sizeof(uint32_t);
    if (length > std::numeric_limits<uint32_t>::max())
        return fail("a value is too large for this form");
    const uint32_t narrow = static_cast<uint32_t>(length);
    std::memcpy(&_records[_recordStart], &narrow, sizeof narrow);
    return true;
}

bool BinaryWriter::begin(int version)
{
    _version = static_cast<uint32_t>(version);
    return true;
}

bool BinaryWriter::unit(LinearUnit unit)
{
    open(RecordTag::Unit);
    putText(fullName(unit));
    return close();
}

bool BinaryWriter::timeUnit(KTime::Unit unit)
{
    open(RecordTag::TimeUnit);
    putText(fullName(unit));
    return close();
}

// -- Nodes ----------------------------------------------------------------------------------------

// Each type is described once, before its first node: so a reader that does not know it can step over its
// values.
const BinaryWriter::TypeUse& BinaryWriter::use(const NodeType& type)
{
    const auto known = _types.find(&type);
    if (known != _types.end())
        return known->second;
    TypeUse use;
    use.number = static_cast<uint32_t>(_types.size());
    use.attrs.assign(type.attrs().size(), -1);
    uint32_t count = 0;
    for (size_t i = 0; i < type.attrs().size(); ++i)
        if (isStored(type, static_cast<int>(i)))
            use.attrs[i] = static_cast<int32_t>(count++);
    open(RecordTag::Type);
    putText(type.name());
    put(count);
    for (size_t i = 0; i < type.attrs().size(); ++i) {
        if (use.attrs[i] < 0)
            continue;
        const Attr& attr = type.attr(static_cast<int>(i));
        putText(attr.name);
        put(static_cast<uint32_t>(attr.kind));
        put(static_cast<uint32_t>(componentCount(attr)));
    }
    close();
    return _types.emplace(&type, std::move(use)).first->second;
}

bool BinaryWriter::node(FileIndex, const NodeType* type, std::string_view name, FileIndex parent, bool)
{
    const uint32_t number = use(*type).number;
    _type = type;
    ++_nodeCount;
    open(RecordTag::Node);
    put(number);
    put(parent);
    putText(name);
    return close();
}

const NodeType* BinaryWriter::defaultNode(FileIndex, std::string_view name)
{
    const Scene& scene = Scene::current();
    NodeId id = kNoNode;
    if (!scene.find(name, id))
        return nullptr;
    _type = scene.node(id)->type;
    use(*_type);
    ++_nodeCount;
    open(RecordTag::DefaultNode);
    put(use(*_type).number);
    putText(name);
    return close() ? _type : nullptr;
}

bool BinaryWriter::instance(FileIndex child, FileIndex parent)
{
    open(RecordTag::Instance);
    put(child);
    put(parent);
    return close();
}

bool BinaryWriter::parentOrder(FileIndex child, const FileIndex* parents, size_t count)
{
    open(RecordTag::ParentOrder);
    put(child);
    for (size_t i = 0; i < count; ++i)
        put(parents[i]);
    return close();
}

// -- Values ---------------------------------------------------------------------------------------

bool BinaryWriter::numbers(int attr, const double* values, int count)
{
    const AttrKind kind = _type->attr(attr).kind;
    open(RecordTag::Numbers);
    put(static_cast<uint32_t>(use(*_type).attrs[static_cast<size_t>(attr)]));
    for (int i = 0; i < count; ++i) {
        if (kind == AttrKind::Float)
            put(static_cast<float>(values[i]));
        else if (kind == AttrKind::Bool || kind == AttrKind::Int || kind == AttrKind::Enum)
            put(static_cast<int32_t>(values[i]));
        else
            put(values[i]);
    }
    return close();
}

bool BinaryWriter::text(int attr, int32_t element, std::string_view value)
{
    open(element < 0 ? RecordTag::Text : RecordTag::Element);
    put(static_cast<uint32_t>(use(*_type).attrs[static_cast<size_t>(attr)]));
    if (element >= 0)
        put(static_cast<uint32_t>(element));
    putText(value);
    return close();
}

uint64_t BinaryWriter::addBlock(const void* data, uint64_t bytes)
{
    (bytes < kLargeArray ? _small : _large).push_back({data, bytes});
    return XXH3_64bits(data, bytes);
}

template <class Vector>
void BinaryWriter::putArray(const Vector& values)
{
    put(static_cast<uint64_t>(values.size()));
    put(addBlock(values.data(), values.size() * sizeof(values[0])));
}

// Meshes that programs make often consist of triangles and number their corners through. What the ids name is
// stored in full and has more bytes than they: readers rely on that.
void BinaryWriter::putRule(uint64_t count, uint64_t rule, int32_t value)
{
    _hasRules = true;
    put(count | rule);
    put(static_cast<uint64_t>(value));
}

void BinaryWriter::putCounts(const PodVector<int32_t>& values)
{
    const auto isFirst = [&](int32_t value) { return value == values[0]; };
    if (values.size() * sizeof(int32_t) >= kLargeArray && std::all_of(values.begin(), values.end(), isFirst))
        putRule(values.size(), kAllEqual, values[0]);
    else
        putArray(values);
}

void BinaryWriter::putIds(const PodVector<int32_t>& values)
{
    int32_t next = 0;
    const auto isNext = [&](int32_t value) { return value == next++; };
    if (values.size() * sizeof(int32_t) >= kLargeArray && std::all_of(values.begin(), values.end(), isNext))
        putRule(values.size(), kAscending, 0);
    else
        putArray(values);
}

bool BinaryWriter::mesh(MeshData& mesh)
{
    open(RecordTag::Mesh);
    putArray(mesh.points);
    putCounts(mesh.faceCounts);
    putIds(mesh.faceVertices);
    putArray(mesh.normals);
    putIds(mesh.normalIds);
    put(static_cast<uint32_t>(mesh.uvSets.size()));
    for (const UVSet& set : mesh.uvSets) {
        putText(set.name);
        putArray(set.u);
        put(addBlock(set.v.data(), set.v.size() * sizeof(float)));
        putIds(set.ids);
    }
    return close();
}

bool BinaryWriter::keys(KeyData& keys)
{
    open(RecordTag::Keys);
    putArray(keys.times);
    putArray(keys.values);
    return close();
}

bool BinaryWriter::surface(SurfaceData& surface)
{
    open(RecordTag::Surface);
    for (const int32_t value :
         {surface.degreeU, surface.degreeV, static_cast<int32_t>(surface.formU),
          static_cast<int32_t>(surface.formV), int32_t(surface.rational), int32_t(surface.flipped)})
        put(value);
    putArray(surface.knotsU);
    putArray(surface.knotsV);
    putArray(surface.cvs);
    const TrimData& trims = surface.trims;
    if (!trims.empty()) {
        put(trims.edgeTolerance);
        put(trims.paramTolerance);
        putArray(trims.boundaries);
        putArray(trims.curves);
        putArray(trims.knots);
        putArray(trims.cvs);
    }
    return close();
}

bool BinaryWriter::curve(CurveData& curve)
{
    open(RecordTag::Curve);
    for (const int32_t value : {curve.degree, static_cast<int32_t>(curve.form), int32_t(curve.rational)})
        put(value);
    putArray(curve.knots);
    putArray(curve.cvs);
    return close();
}

// -- Relations ------------------------------------------------------------------------------------

bool BinaryWriter::member(FileIndex set, FileIndex node, uint32_t instance, const FaceSet* faces)
{
    open(RecordTag::Member);
    put(set);
    put(node);
    put(instance);
    if (faces) {
        for (const FaceRange& range : faces->ranges) {
            put(range.first);
            put(range.last);
        }
    }
    return close();
}

bool BinaryWriter::connection(FileIndex source, std::string_view sourceAttr, FileIndex destination,
                              std::string_view destinationAttr)
{
    open(RecordTag::Connection);
    put(source);
    put(destination);
    putText(sourceAttr);
    putText(destinationAttr);
    return close();
}

// -- The file -------------------------------------------------------------------------------------

bool BinaryWriter::writeZeros(uint64_t count)
{
    static const char zeros[kAlignment] = {};
    return count == 0 || _output.write(zeros, count) || fail(_output.error());
}

bool BinaryWriter::end()
{
    open(RecordTag::End);
    put(_nodeCount);
    if (!close())
        return false;

    BinaryHeader header = {};
    std::memcpy(header.magic, kBinaryMagic, sizeof header.magic);
    header.layout = _hasRules ? kBinaryLayout : 1;
    header.version = _version;
    header.recordsSize = _records.size();
    for (const Block& block : _small)
        header.smallSize += block.bytes;
    header.recordsHash = XXH3_64bits(_records.data(), _records.size());
    uint64_t size = sizeof header + alignUp(header.recordsSize) + header.smallSize;
    for (const Block& block : _large)
        size = alignUp(size) + block.bytes;
    header.fileSize = size;
    header.headerHash = XXH3_64bits(&header, offsetof(BinaryHeader, headerHash));

    const auto write = [&](const void* data, uint64_t bytes) {
        return bytes == 0 || _output.write(data, bytes) || fail(_output.error());
    };
    if (!write(&header, sizeof header) || !write(_records.data(), _records.size()) ||
        !writeZeros(alignUp(header.recordsSize) - header.recordsSize))
        return false;
    for (const Block& block : _small)
        if (!write(block.data, block.bytes))
            return false;
    uint64_t at = sizeof header + alignUp(header.recordsSize) + header.smallSize;
    for (const Block& block : _large) {
        if (!writeZeros(alignUp(at) - at) || !write(block.data, block.bytes))
            return false;
        at = alignUp(at) + block.bytes;
    }
    return true;
}

} // namespace kelda
