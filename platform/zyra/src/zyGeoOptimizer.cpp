#include <zyOpenSGUtils/zyGeoOptimizer.h>

#include "zyForEachNode.h"
#include "zyGeoColumns.h"

#include <meshoptimizer.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <type_traits>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

// -- What is unified together -----------------------------------------------------------------

namespace
{

// A property, and what is known about its use.
struct Property {
    zyGeoColumns::Attribute attribute; // of its first user; the column means nothing here
    int uses = 0;                      // by attributes of the geometries at hand
    int unit = -1;                     // -1: in none yet
    bool blocked = false;

    bool isUsedElsewhere() const { return attribute.property.getRefCount() > uses; }
};

// Properties that the same columns refer to: their values are unified as tuples.
struct Unit {
    std::vector<std::size_t> properties; // ascending
    std::size_t count = 0;               // tuples: the size of the shortest property
    bool blocked = false;
    std::vector<unsigned char> used;      // for each tuple, whether an index refers to it
    std::vector<unsigned int> renumbered; // for each tuple its new number; empty when nothing changes
    std::vector<unsigned int> kept;       // the tuples that stay, ascending; filled with `renumbered`
};

// An array of indices, and which unit each of its columns refers to.
struct IndexArray {
    osg::GeoIndicesPtr indices;
    std::size_t stride = 1;
    std::vector<int> units; // for each column; -1 where nothing reads it
    int uses = 0;
    bool blocked = false;

    bool isUsedElsewhere() const { return indices.getRefCount() > uses; }
};

// Unifies the vertices of a set of geometries.
class Unification
{
public:
    void add(const osg::GeometryPtr& geo);
    /// Whether nobody else refers to what the geometries refer to.
    bool isClosed() const;
    void run();
    /// Forgets the geometries; memory is kept for the next ones.
    void clear();

private:
    std::size_t propertyOf(const zyGeoColumns::Attribute& attribute);
    int unitOf(std::vector<std::size_t> properties);
    void block(const std::vector<std::size_t>& properties);
    void blockUnitsOf(const IndexArray& array);

    void spreadBlocks();
    void markUsed();
    void renumber(Unit& unit);
    void rewriteIndices(const IndexArray& array) const;
    void compact(const Unit& unit) const;

    std::vector<Property> _properties;
    std::vector<Unit> _units;
    std::vector<IndexArray> _arrays;
    std::unordered_map<const void*, std::size_t> _propertyByAddress;
    std::unordered_map<const void*, std::size_t> _arrayByAddress;
    // Of renumber(), from unit to unit.
    std::vector<unsigned int> _remap;
    std::vector<unsigned char> _classUsed;
    std::vector<unsigned int> _number;
};

// -- Gathering --------------------------------------------------------------------------------

std::size_t Unification::propertyOf(const zyGeoColumns::Attribute& attribute)
{
    const auto entry = _propertyByAddress.emplace(attribute.property.getCPtr(), _properties.size());
    if (entry.second) {
        _properties.emplace_back();
        _properties.back().attribute = attribute;
    }
    return entry.first->second;
}

void Unification::block(const std::vector<std::size_t>& properties)
{
    for (const std::size_t p : properties)
        _properties[p].blocked = true;
}

// The unit that consists of exactly these properties. Where one of them belongs to another unit already,
// neither can be unified: all of them are blocked, and the result is -1.
int Unification::unitOf(std::vector<std::size_t> properties)
{
    std::sort(properties.begin(), properties.end());
    properties.erase(std::unique(properties.begin(), properties.end()), properties.end());
    if (properties.empty())
        return -1;
    const int unit = _properties[properties.front()].unit;
    if (unit >= 0) {
        if (_units[static_cast<std::size_t>(unit)].properties == properties)
            return unit;
        block(properties);
        return -1;
    }
    for (const std::size_t p : properties) {
        if (_properties[p].unit >= 0) {
            block(properties);
            return -1;
        }
    }
    Unit created;
    created.count = _properties[properties.front()].attribute.size;
    for (const std::size_t p : properties) {
        _properties[p].unit = static_cast<int>(_units.size());
        created.count = std::min<std::size_t>(created.count, _properties[p].attribute.size);
    }
    created.properties = std::move(properties);
    _units.push_back(std::move(created));
    return static_cast<int>(_units.size()) - 1;
}

void Unification::add(const osg::GeometryPtr& geo)
{
    const zyGeoColumns columns(geo);
    std::vector<std::size_t> all;
    bool odd = !columns.hasIndices();
    for (const zyGeoColumns::Attribute& attribute : columns) {
        const std::size_t p = propertyOf(attribute);
        ++_properties[p].uses;
        all.push_back(p);
        odd = odd || attribute.column == zyGeoColumns::NoColumn;
    }
    if (all.empty())
        return;
    odd = odd || geo->getIndices()->size() != columns.corners() * columns.stride();
    if (odd) {
        block(all);
        return;
    }

    std::vector<std::vector<std::size_t>> readers(columns.stride());
    std::size_t next = 0;
    for (const zyGeoColumns::Attribute& attribute : columns)
        readers[static_cast<std::size_t>(attribute.column)].push_back(all[next++]);
    std::vector<int> units;
    units.reserve(readers.size());
    for (std::vector<std::size_t>& properties : readers)
        units.push_back(unitOf(std::move(properties)));

    const osg::GeoIndicesPtr indices = geo->getIndices();
    const auto entry = _arrayByAddress.emplace(indices.getCPtr(), _arrays.size());
    if (entry.second) {
        _arrays.emplace_back();
        IndexArray& array = _arrays.back();
        array.indices = indices;
        array.stride = columns.stride();
        array.units = units;
    }
    IndexArray& array = _arrays[entry.first->second];
    ++array.uses;
    // Two geometries with the same indices must also agree on what these mean.
    if (array.stride != columns.stride() || array.units != units) {
        array.blocked = true;
        block(all);
    }
}

bool Unification::isClosed() const
{
    const auto isUsedElsewhere = [](const auto& data) { return data.isUsedElsewhere(); };
    return std::none_of(_properties.begin(), _properties.end(), isUsedElsewhere) &&
           std::none_of(_arrays.begin(), _arrays.end(), isUsedElsewhere);
}

void Unification::clear()
{
    _properties.clear();
    _units.clear();
    _arrays.clear();
    _propertyByAddress.clear();
    _arrayByAddress.clear();
}

// -- Blocks -----------------------------------------------------------------------------------

void Unification::blockUnitsOf(const IndexArray& array)
{
    for (const int unit : array.units) {
        if (unit >= 0)
            _units[static_cast<std::size_t>(unit)].blocked = true;
    }
}

void Unification::spreadBlocks()
{
    // More references than uses: somebody else relies on the order of these values.
    for (const Property& property : _properties) {
        if (property.unit >= 0 && (property.blocked || property.isUsedElsewhere()))
            _units[static_cast<std::size_t>(property.unit)].blocked = true;
    }
    for (const IndexArray& array : _arrays) {
        if (array.blocked || array.isUsedElsewhere())
            blockUnitsOf(array);
    }
}

// -- Unification ------------------------------------------------------------------------------

// Corners that are handled at once: their indices stay in the cache from column to column.
const std::size_t cornersPerChunk = 2048;

// Calls `visit(first, stride, count, unit)` for each column and chunk; stops when it answers false.
template <class Index, class Visit>
bool forEachColumn(const IndexArray& array, Index* entries, Visit visit)
{
    const std::size_t corners = array.indices->size() / array.stride;
    for (std::size_t corner = 0; corner < corners; corner += cornersPerChunk) {
        const std::size_t count = std::min(cornersPerChunk, corners - corner);
        for (std::size_t column = 0; column < array.units.size(); ++column) {
            const int unit = array.units[column];
            if (unit >= 0 && !visit(entries + corner * array.stride + column, array.stride, count,
                                    static_cast<std::size_t>(unit)))
                return false;
        }
    }
    return true;
}

template <class Visit>
bool forEachColumn(const IndexArray& array, Visit visit)
{
    osg::UInt8* const data = array.indices->getData();
    if (osg::GeoIndicesUI16Ptr::dcast(array.indices) != osg::NullFC)
        return forEachColumn(array, reinterpret_cast<osg::UInt16*>(data), visit);
    return forEachColumn(array, reinterpret_cast<osg::UInt32*>(data), visit);
}

void Unification::markUsed()
{
    for (Unit& unit : _units) {
        if (!unit.blocked)
            unit.used.assign(unit.count, 0);
    }
    for (const IndexArray& array : _arrays) {
        const bool valid = forEachColumn(
            array, [&](const auto* index, std::size_t stride, std::size_t count, std::size_t unit) {
                if (_units[unit].used.empty())
                    return true;
                unsigned char* const used = _units[unit].used.data();
                const std::size_t size = _units[unit].count;
                for (std::size_t i = 0; i < count; ++i, index += stride) {
                    if (*index >= size)
                        return false;
                    used[*index] = 1;
                }
                return true;
            });
        if (!valid)
            blockUnitsOf(array);
    }
}

// Finds the new numbers of the tuples; leaves `renumbered` empty when all stay as they are.
void Unification::renumber(Unit& unit)
{
    std::vector<unsigned int>& remap = _remap;
    remap.resize(unit.count);
    std::size_t distinct = 0;
    if (unit.properties.size() == 1) {
        const zyGeoColumns::Attribute& attribute = _properties[unit.properties.front()].attribute;
        distinct = meshopt_generateVertexRemap(remap.data(), nullptr, unit.count,
                                               attribute.getData(attribute.property), unit.count,
                                               attribute.valueSize);
    } else {
        std::vector<meshopt_Stream> streams;
        for (const std::size_t p : unit.properties) {
            const zyGeoColumns::Attribute& attribute = _properties[p].attribute;
            streams.push_back(
                {attribute.getData(attribute.property), attribute.valueSize, attribute.valueSize});
        }
        // Unlike its sibling this function wants whole triangles, also where there is nothing but vertices.
        std::vector<unsigned int> order((unit.count + 2) / 3 * 3);
        std::iota(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(unit.count), 0u);
        distinct = meshopt_generateVertexRemapMulti(remap.data(), order.data(), order.size(), unit.count,
                                                    streams.data(), streams.size());
    }

    // The classes are numbered in the order of their first members. Those that no index refers to go.
    _classUsed.assign(distinct, 0);
    for (std::size_t i = 0; i < unit.count; ++i)
        _classUsed[remap[i]] |= unit.used[i];
    const auto staying = static_cast<std::size_t>(std::count(_classUsed.begin(), _classUsed.end(), 1));
    bool changes = staying != unit.count;
    for (const std::size_t p : unit.properties)
        changes = changes || _properties[p].attribute.size != staying;
    if (!changes)
        return;

    _number.resize(distinct);
    unit.kept.reserve(staying);
    unsigned int nextClass = 0;
    for (std::size_t i = 0; i < unit.count; ++i) {
        if (remap[i] == nextClass) { // the first of its class
            _number[nextClass] = static_cast<unsigned int>(unit.kept.size());
            if (_classUsed[nextClass] != 0)
                unit.kept.push_back(static_cast<unsigned int>(i));
            ++nextClass;
        }
        remap[i] = _number[remap[i]];
    }
    unit.renumbered.swap(remap);
}

void Unification::rewriteIndices(const IndexArray& array) const
{
    const bool changes = std::any_of(array.units.begin(), array.units.end(), [&](int unit) {
        return unit >= 0 && !_units[static_cast<std::size_t>(unit)].renumbered.empty();
    });
    if (!changes)
        return;
    const osg::CPEditor edit(array.indices);
    forEachColumn(array, [&](auto* index, std::size_t stride, std::size_t count, std::size_t unit) {
        const std::vector<unsigned int>& renumbered = _units[unit].renumbered;
        if (!renumbered.empty()) {
            const unsigned int* const number = renumbered.data();
            for (std::size_t i = 0; i < count; ++i, index += stride)
                *index = static_cast<std::decay_t<decltype(*index)>>(number[*index]);
        }
        return true;
    });
}

template <std::size_t Size>
void moveValues(osg::UInt8* data, const std::vector<unsigned int>& kept, std::size_t size)
{
    for (std::size_t i = 0; i < kept.size(); ++i)
        std::memmove(data + i * size, data + kept[i] * size, Size == 0 ? size : Size);
}

void Unification::compact(const Unit& unit) const
{
    for (const std::size_t p : unit.properties) {
        const zyGeoColumns::Attribute& attribute = _properties[p].attribute;
        const osg::CPEditor edit(attribute.property);
        osg::UInt8* const data = attribute.getData(attribute.property);
        if (attribute.valueSize == 12)
            moveValues<12>(data, unit.kept, attribute.valueSize);
        else if (attribute.valueSize == 8)
            moveValues<8>(data, unit.kept, attribute.valueSize);
        else
            moveValues<0>(data, unit.kept, attribute.valueSize);
        attribute.resize(attribute.property, unit.kept.size());
    }
}

void Unification::run()
{
    spreadBlocks();
    markUsed();
    for (Unit& unit : _units) {
        if (!unit.blocked)
            renumber(unit);
        unit.used = std::vector<unsigned char>();
    }
    for (const IndexArray& array : _arrays)
        rewriteIndices(array);
    for (const Unit& unit : _units) {
        if (!unit.renumbered.empty())
            compact(unit);
    }
}

} // namespace

// -- Splitting --------------------------------------------------------------------------------

// Gives the geometry copies of the properties and indices that it shares.
static void makeOwn(const osg::GeometryPtr& geo)
{
    typedef osg::Geometry G;
    // One property may serve several attributes, which go on sharing the copy.
    std::unordered_map<const void*, osg::AttachmentPtr> copies;
    std::unordered_map<const void*, int> uses;
    for (const zyGeoColumns::Attribute& attribute : zyGeoColumns(geo))
        ++uses[attribute.property.getCPtr()];

    const auto own = [&](const auto& property, auto set) {
        typedef std::decay_t<decltype(property)> Handle;
        if (property == osg::NullFC || property->size() == 0 ||
            property.getRefCount() <= uses[property.getCPtr()])
            return;
        osg::AttachmentPtr& copy = copies[property.getCPtr()];
        if (copy == osg::NullFC)
            copy = property->clone();
        const osg::CPEditor edit(geo);
        (geo.getCPtr()->*set)(Handle::dcast(copy));
    };
    if (geo->getIndices() != osg::NullFC)
        uses[geo->getIndices().getCPtr()] = 1;
    own(geo->getIndices(), &G::setIndices);
    own(geo->getPositions(), &G::setPositions);
    own(geo->getNormals(), &G::setNormals);
    own(geo->getColors(), &G::setColors);
    own(geo->getSecondaryColors(), &G::setSecondaryColors);
    own(geo->getTexCoords(), &G::setTexCoords);
    own(geo->getTexCoords1(), &G::setTexCoords1);
    own(geo->getTexCoords2(), &G::setTexCoords2);
    own(geo->getTexCoords3(), &G::setTexCoords3);
    own(geo->getTexCoords4(), &G::setTexCoords4);
    own(geo->getTexCoords5(), &G::setTexCoords5);
    own(geo->getTexCoords6(), &G::setTexCoords6);
    own(geo->getTexCoords7(), &G::setTexCoords7);
}

// -- zyGeoOptimizer ---------------------------------------------------------------------------

zyGeoOptimizer::zyGeoOptimizer(bool keepSharing) : _keepSharing(keepSharing), _unifyVertices(false) {}

void zyGeoOptimizer::setUnifyVertices(bool unify)
{
    _unifyVertices = unify;
}

void zyGeoOptimizer::run(const osg::NodePtr& root) const
{
    if (!_unifyVertices)
        return;
    Unification together;
    Unification alone;                      // one geometry, while its data is in the cache
    std::unordered_set<const void*> shared; // cores with several parents that were met
    zyForEachNode(root, [&](const osg::NodePtr& node) {
        const osg::GeometryPtr geo = osg::GeometryPtr::dcast(node->getCore());
        if (geo == osg::NullFC || (geo->getParents().size() > 1 && !shared.insert(geo.getCPtr()).second))
            return;
        if (!_keepSharing)
            makeOwn(geo);
        alone.clear();
        alone.add(geo);
        if (!_keepSharing || alone.isClosed())
            alone.run();
        else
            together.add(geo);
    });
    together.run();
}
