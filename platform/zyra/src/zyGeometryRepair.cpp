#include "zyGeometryRepair.h"

#include "zyGeoColumns.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

// -- Primitive types --------------------------------------------------------------------------

static const std::uint32_t unknownTypeLength = std::numeric_limits<std::uint32_t>::max();

static const osg::UInt8 typePolygon = 9;

// The fewest corners of a primitive, by its type (0 points ... 9 polygon).
static const std::uint32_t fewestCorners[10] = {1, 2, 2, 2, 3, 3, 3, 4, 4, 3};

static std::uint32_t fewestCornersOf(osg::UInt8 type)
{
    return type < 10 ? fewestCorners[type] : unknownTypeLength;
}

static std::uint32_t trianglesOf(osg::UInt8 type, std::uint32_t length)
{
    if (type < 4 || type > typePolygon || length < 3)
        return 0;
    switch (type) {
    case 4: // triangles
        return length / 3;
    case 7: // quads
        return length / 4 * 2;
    default:
        return length - 2;
    }
}

// -- The arrays of a geometry -----------------------------------------------------------------

namespace
{

// What the index columns may hold.
struct Limits {
    // The last valid value of each column; 2^32 - 1 where nothing reads the column.
    std::vector<std::uint32_t> last;
    std::size_t positionColumn = 0; // the column whose excess drops a primitive; the others are corrected
    bool noPositions = false;       // there are no positions: no value of that column is valid
};

// Everything that the checks read. Lengths and indices come in several widths, hence the template parameters.
template <class Length, class Index>
struct Arrays {
    const osg::UInt8* types = nullptr;
    std::size_t typeCount = 0;
    const Length* lengths = nullptr;
    std::size_t lengthCount = 0;
    const Index* indices = nullptr; // null: corner k reads value k
    std::size_t entryCount = 0;     // entries in the indices
    std::size_t stride = 1;
    std::size_t corners = 0; // corners that have all their values
    Limits limits;
};

} // namespace

// A polygon that only touches one or two different points has no area.
template <class Index>
static bool hasThreeDifferent(const Index* corner, std::size_t length, std::size_t stride)
{
    const Index a = corner[0];
    std::size_t k = 1;
    while (k < length && corner[k * stride] == a)
        ++k;
    if (k == length)
        return false;
    const Index b = corner[k * stride];
    for (++k; k < length; ++k) {
        const Index c = corner[k * stride];
        if (c != a && c != b)
            return true;
    }
    return false;
}

// Whether every entry is within its column's limit. One pass without branches; a limit or an entry of 2^31
// and more may answer false where the exact check finds nothing.
template <class Index>
static bool entriesWithinLimits(const Index* entry, std::size_t corners,
                                const std::vector<std::uint32_t>& last)
{
    const std::size_t stride = last.size();
    const std::size_t lanes = 16;
    std::vector<std::uint32_t> pattern(lanes * stride);
    for (std::size_t i = 0; i < pattern.size(); ++i)
        pattern[i] = std::min<std::uint32_t>(last[i % stride], 0x7fffffffu);

    // The sign bit of "limit - value" tells that the value is too large, that of the value that it is far too
    // large.
    std::uint32_t excess[lanes] = {};
    std::size_t left = corners;
    for (; left >= lanes; left -= lanes) {
        for (std::size_t block = 0; block < pattern.size(); block += lanes) {
            const std::uint32_t* const limit = pattern.data() + block;
            for (std::size_t i = 0; i < lanes; ++i) {
                const std::uint32_t value = entry[i];
                excess[i] |= value | (limit[i] - value);
            }
            entry += lanes;
        }
    }
    for (std::size_t i = 0; i < left * stride; ++i) {
        const std::uint32_t value = entry[i];
        excess[0] |= value | (pattern[i] - value);
    }
    std::uint32_t any = 0;
    for (std::size_t i = 0; i < lanes; ++i)
        any |= excess[i];
    return any < 0x80000000u;
}

template <class Length, class Index>
static bool isSound(const Arrays<Length, Index>& a)
{
    if (a.typeCount != a.lengthCount || a.limits.noPositions)
        return false;
    if (a.indices != nullptr && !entriesWithinLimits(a.indices, a.corners, a.limits.last))
        return false;

    std::size_t corner = 0;
    const std::size_t stride = a.stride;
    const Index* position = a.indices == nullptr ? nullptr : a.indices + a.limits.positionColumn;
    for (std::size_t i = 0; i < a.typeCount; ++i) {
        const osg::UInt8 type = a.types[i];
        const std::size_t length = a.lengths[i];
        if (length < fewestCornersOf(type) || length > a.corners - corner)
            return false;
        if (type == typePolygon && position != nullptr) {
            const Index* const first = position + corner * stride;
            const Index i0 = first[0], i1 = first[stride], i2 = first[2 * stride];
            if ((i0 == i1 || i1 == i2 || i0 == i2) && !hasThreeDifferent(first, length, stride))
                return false;
        }
        corner += length;
    }
    return a.indices == nullptr || a.entryCount == corner * stride;
}

// -- Repair -----------------------------------------------------------------------------------

// What is wrong with a primitive: null, or the counter that it belongs to.
typedef unsigned int zyGeometryDamage::*Verdict;

template <class Length, class Index>
static Verdict judge(const Arrays<Length, Index>& a, std::size_t primitive, std::size_t corner)
{
    const osg::UInt8 type = a.types[primitive];
    const std::size_t length = a.lengths[primitive];
    if (type > typePolygon)
        return &zyGeometryDamage::unknownType;
    if (length < fewestCornersOf(type))
        return &zyGeometryDamage::tooShort;
    if (a.limits.noPositions || corner > a.corners || length > a.corners - corner)
        return &zyGeometryDamage::beyondEnd;
    if (a.indices == nullptr)
        return nullptr;
    const Index* const first = a.indices + corner * a.stride + a.limits.positionColumn;
    for (std::size_t k = 0; k < length; ++k) {
        if (first[k * a.stride] > a.limits.last[a.limits.positionColumn])
            return &zyGeometryDamage::beyondEnd;
    }
    const bool collapsed = type == typePolygon && !hasThreeDifferent(first, length, a.stride);
    return collapsed ? &zyGeometryDamage::collapsed : nullptr;
}

namespace
{

// A primitive that stays, and where its corners were.
struct Kept {
    std::size_t primitive;
    std::size_t corner;
};

} // namespace

// The primitives that stay; the others are counted.
template <class Length, class Index>
static std::vector<Kept> judgeAll(const Arrays<Length, Index>& a, zyGeometryDamage& damage)
{
    const std::size_t count = std::min(a.typeCount, a.lengthCount);
    std::vector<Kept> kept;
    kept.reserve(count);
    std::size_t corner = 0;
    for (std::size_t i = 0; i < count; ++i) {
        if (const Verdict verdict = judge(a, i, corner)) {
            ++(damage.*verdict);
            damage.triangles += trianglesOf(a.types[i], static_cast<std::uint32_t>(a.lengths[i]));
        } else {
            kept.push_back({i, corner});
        }
        corner += a.lengths[i];
    }
    damage.surplusTypes += static_cast<unsigned int>(a.typeCount - count);
    damage.surplusLengths += static_cast<unsigned int>(a.lengthCount - count);
    for (std::size_t i = count; i < a.lengthCount; ++i)
        corner += a.lengths[i];
    if (a.indices != nullptr && a.entryCount > corner * a.stride)
        damage.surplusCorners +=
            static_cast<unsigned int>((a.entryCount - corner * a.stride + a.stride - 1) / a.stride);
    return kept;
}

template <class Length, class Index>
static void countCorrections(const Arrays<Length, Index>& a, const std::vector<Kept>& kept,
                             zyGeometryDamage& damage)
{
    for (const Kept& k : kept) {
        const Index* entry = a.indices + k.corner * a.stride;
        for (std::size_t corner = 0; corner < a.lengths[k.primitive]; ++corner) {
            for (std::size_t column = 0; column < a.stride; ++column, ++entry)
                damage.indicesCorrected += *entry > a.limits.last[column] ? 1 : 0;
        }
    }
}

// Moves the entries of what stays together and corrects them.
template <class Length, class Index>
static std::size_t compactIndices(const Arrays<Length, Index>& a, const std::vector<Kept>& kept,
                                  Index* entries)
{
    Index* out = entries;
    for (const Kept& k : kept) {
        const Index* in = entries + k.corner * a.stride;
        for (std::size_t corner = 0; corner < a.lengths[k.primitive]; ++corner) {
            for (std::size_t column = 0; column < a.stride; ++column, ++in, ++out)
                *out = *in <= a.limits.last[column] ? *in : Index(0);
        }
    }
    return static_cast<std::size_t>(out - entries);
}

// A property that the geometry may change: its own, or a copy where others share it.
template <class Handle>
static Handle ownProperty(const osg::GeometryPtr& geo, const Handle& property, osg::BitVector mask,
                          void (osg::Geometry::*set)(const Handle&))
{
    if (property.getRefCount() <= 1)
        return property;
    const Handle copy = property->clone();
    const osg::CPEditor edit(geo, mask);
    (geo.getCPtr()->*set)(copy);
    return copy;
}

// Gives a geometry without indices some, so that its properties need not change when primitives go.
template <class Length, class Index>
static void addIndices(const osg::GeometryPtr& geo, const Arrays<Length, Index>& a,
                       const std::vector<Kept>& kept)
{
    const osg::GeoIndicesUI32Ptr indices = osg::GeoIndicesUI32::create();
    {
        const osg::CPEditor edit(indices);
        for (const Kept& k : kept) {
            for (std::size_t corner = 0; corner < a.lengths[k.primitive]; ++corner)
                indices->getField().push_back(static_cast<osg::UInt32>(k.corner + corner));
        }
    }
    const osg::CPEditor edit(geo, osg::Geometry::IndicesFieldMask | osg::Geometry::IndexMappingFieldMask);
    geo->getIndexMapping().clear(); // one index for all attributes
    geo->setIndices(indices);
}

template <class Length, class Index>
static bool repair(const osg::GeometryPtr& geo, const Arrays<Length, Index>& a, zyGeometryDamage& damage)
{
    if (isSound(a))
        return false;
    const std::vector<Kept> kept = judgeAll(a, damage);
    if (a.indices != nullptr)
        countCorrections(a, kept, damage);
    if (damage.repairs() == 0)
        return false;

    if (a.indices != nullptr) {
        const osg::GeoIndicesPtr indices =
            ownProperty(geo, geo->getIndices(), osg::Geometry::IndicesFieldMask, &osg::Geometry::setIndices);
        const osg::CPEditor edit(indices);
        indices->resize(compactIndices(a, kept, reinterpret_cast<Index*>(indices->getData())));
    } else if (!kept.empty() && kept.back().primitive + 1 != kept.size()) {
        addIndices(geo, a, kept);
    }

    const osg::GeoPTypesPtr types =
        ownProperty(geo, geo->getTypes(), osg::Geometry::TypesFieldMask, &osg::Geometry::setTypes);
    {
        const osg::CPEditor edit(types);
        osg::UInt8* const out = types->getData();
        for (std::size_t i = 0; i < kept.size(); ++i)
            out[i] = out[kept[i].primitive];
        types->resize(kept.size());
    }
    if (geo->getLengths() != osg::NullFC) {
        const osg::GeoPLengthsPtr lengths =
            ownProperty(geo, geo->getLengths(), osg::Geometry::LengthsFieldMask, &osg::Geometry::setLengths);
        const osg::CPEditor edit(lengths);
        Length* const out = reinterpret_cast<Length*>(lengths->getData());
        for (std::size_t i = 0; i < kept.size(); ++i)
            out[i] = out[kept[i].primitive];
        lengths->resize(kept.size());
    }
    return true;
}

// -- Taking a geometry apart ------------------------------------------------------------------

static Limits limitsOf(const zyGeoColumns& columns)
{
    Limits limits;
    limits.last.assign(columns.stride(), std::numeric_limits<std::uint32_t>::max());
    limits.positionColumn = static_cast<std::size_t>(columns.positionColumn());
    limits.noPositions = columns.positionCount() == 0;
    for (const zyGeoColumns::Attribute& attribute : columns) {
        const int column =
            attribute.mask == osg::Geometry::MapPosition ? columns.positionColumn() : attribute.column;
        if (column != zyGeoColumns::NoColumn) {
            std::uint32_t& last = limits.last[static_cast<std::size_t>(column)];
            last = std::min<std::uint32_t>(last, attribute.size - 1);
        }
    }
    return limits;
}

template <class Length, class Index>
static bool repairAs(const osg::GeometryPtr& geo, const zyGeoColumns& columns, zyGeometryDamage& damage)
{
    Arrays<Length, Index> a;
    a.types = geo->getTypes()->getData();
    a.typeCount = geo->getTypes()->size();
    a.corners = columns.corners();
    a.stride = columns.stride();
    if (columns.hasIndices()) {
        // An empty array may have no address; what it has is never read.
        static const Index noEntries[1] = {};
        a.entryCount = geo->getIndices()->size();
        a.indices =
            a.entryCount == 0 ? noEntries : reinterpret_cast<const Index*>(geo->getIndices()->getData());
        a.limits = limitsOf(columns);
    } else {
        for (const zyGeoColumns::Attribute& attribute : columns)
            a.corners = std::min<std::size_t>(a.corners, attribute.size);
    }
    if (geo->getLengths() != osg::NullFC) {
        a.lengths = reinterpret_cast<const Length*>(geo->getLengths()->getData());
        a.lengthCount = geo->getLengths()->size();
        return repair(geo, a, damage);
    }
    // Without lengths one primitive takes all corners.
    const Length all = static_cast<Length>(columns.corners());
    a.lengths = &all;
    a.lengthCount = 1;
    return repair(geo, a, damage);
}

template <class Length>
static bool repairWithLengths(const osg::GeometryPtr& geo, const zyGeoColumns& columns,
                              zyGeometryDamage& damage)
{
    if (osg::GeoIndicesUI16Ptr::dcast(geo->getIndices()) != osg::NullFC)
        return repairAs<Length, osg::UInt16>(geo, columns, damage);
    return repairAs<Length, osg::UInt32>(geo, columns, damage);
}

bool zyRepairGeometry(const osg::GeometryPtr& geo, zyGeometryDamage& damage)
{
    // A geometry without types draws nothing, whatever else it holds.
    if (geo->getTypes() == osg::NullFC || geo->getTypes()->size() == 0)
        return false;
    const zyGeoColumns columns(geo);
    const osg::GeoPLengthsPtr lengths = geo->getLengths();
    if (osg::GeoPLengthsUI8Ptr::dcast(lengths) != osg::NullFC)
        return repairWithLengths<osg::UInt8>(geo, columns, damage);
    if (osg::GeoPLengthsUI16Ptr::dcast(lengths) != osg::NullFC)
        return repairWithLengths<osg::UInt16>(geo, columns, damage);
    return repairWithLengths<osg::UInt32>(geo, columns, damage);
}

// -- Description ------------------------------------------------------------------------------

std::string zyGeometryDamage::description() const
{
    const struct {
        unsigned int count;
        const char* one;
        const char* many;
    } rows[] = {
        {tooShort, "primitive with too few corners dropped", "primitives with too few corners dropped"},
        {collapsed, "polygon with fewer than three different positions dropped",
         "polygons with fewer than three different positions dropped"},
        {beyondEnd, "primitive beyond the end of its values dropped",
         "primitives beyond the end of their values dropped"},
        {unknownType, "primitive of unknown type dropped", "primitives of unknown type dropped"},
        {indicesCorrected, "index beyond the end of its values set to 0",
         "indices beyond the end of their values set to 0"},
        {surplusTypes, "type without length removed", "types without length removed"},
        {surplusLengths, "length without type removed", "lengths without type removed"},
        {surplusCorners, "corner without primitive removed", "corners without primitive removed"},
    };
    std::string text;
    for (const auto& row : rows) {
        if (row.count == 0)
            continue;
        if (!text.empty())
            text += ", ";
        text += std::to_string(row.count) + ' ' + (row.count == 1 ? row.one : row.many);
    }
    return text;
}
