#include <zyOpenSGUtils/zyOptimize.h>

#include "zyTransformations.h"

#include <OpenSG/OSGComponentTransform.h>
#include <OpenSG/OSGDirectionalLight.h>
#include <OpenSG/OSGGeometry.h>
#include <OpenSG/OSGSpotLight.h>
#include <OpenSG/OSGSurface.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

// -- Matrices ---------------------------------------------------------------------------------

namespace
{

// A product of matrices along a path. Doubles, so that deep trees lose nothing that single precision could
// hold.
class PathMatrix
{
public:
    PathMatrix()
    {
        for (int i = 0; i < 4; ++i)
            _rows[i][i] = 1.0;
    }
    explicit PathMatrix(const osg::Matrix& matrix)
    {
        for (osg::UInt32 row = 0; row < 4; ++row) {
            for (osg::UInt32 column = 0; column < 4; ++column)
                _rows[row][column] = matrix[column][row];
        }
    }

    friend PathMatrix operator*(const PathMatrix& a, const PathMatrix& b)
    {
        PathMatrix product;
        for (int row = 0; row < 4; ++row) {
            for (int column = 0; column < 4; ++column) {
                double sum = 0.0;
                for (int k = 0; k < 4; ++k)
                    sum += a._rows[row][k] * b._rows[k][column];
                product._rows[row][column] = sum;
            }
        }
        return product;
    }

    osg::Matrix matrix() const
    {
        osg::Matrix result;
        for (osg::UInt32 row = 0; row < 4; ++row) {
            for (osg::UInt32 column = 0; column < 4; ++column)
                result[column][row] = static_cast<float>(_rows[row][column]);
        }
        return result;
    }

    bool isFinite() const
    {
        for (const auto& row : _rows) {
            for (const double value : row) {
                if (!std::isfinite(static_cast<float>(value)))
                    return false;
            }
        }
        return true;
    }
    bool isAffine() const
    {
        return _rows[3][0] == 0.0 && _rows[3][1] == 0.0 && _rows[3][2] == 0.0 && _rows[3][3] == 1.0;
    }
    bool isIdentity() const
    {
        for (int row = 0; row < 4; ++row) {
            for (int column = 0; column < 4; ++column) {
                if (_rows[row][column] != (row == column ? 1.0 : 0.0))
                    return false;
            }
        }
        return true;
    }
    // Whether normals keep their directions.
    bool keepsNormals() const
    {
        for (int row = 0; row < 3; ++row) {
            for (int column = 0; column < 3; ++column) {
                if (_rows[row][column] != (row == column ? _rows[0][0] : 0.0))
                    return false;
            }
        }
        return _rows[0][0] > 0.0;
    }
    PathMatrix withoutTranslation() const
    {
        PathMatrix result = *this;
        for (int row = 0; row < 3; ++row)
            result._rows[row][3] = 0.0;
        return result;
    }

    // A point; w is the weight of its translation.
    template <class Point>
    void apply(Point& p, double w = 1.0) const
    {
        const double x = p[0], y = p[1], z = p[2];
        for (int row = 0; row < 3; ++row)
            p[static_cast<osg::UInt32>(row)] = static_cast<float>(_rows[row][0] * x + _rows[row][1] * y +
                                                                  _rows[row][2] * z + _rows[row][3] * w);
    }

    // A direction, back to its length.
    osg::Vec3f direction(const osg::Vec3f& v) const
    {
        double turned[3];
        for (int row = 0; row < 3; ++row)
            turned[row] = _rows[row][0] * v[0] + _rows[row][1] * v[1] + _rows[row][2] * v[2];
        return withLengthOf(v, turned);
    }

    // The inverse transpose but for a positive factor; defined for singular matrices, too.
    PathMatrix forNormals() const
    {
        PathMatrix result;
        for (int r = 0; r < 3; ++r) {
            for (int c = 0; c < 3; ++c) {
                const int r1 = (r + 1) % 3, r2 = (r + 2) % 3, c1 = (c + 1) % 3, c2 = (c + 2) % 3;
                result._rows[r][c] = _rows[r1][c1] * _rows[r2][c2] - _rows[r1][c2] * _rows[r2][c1];
            }
        }
        const double determinant = _rows[0][0] * result._rows[0][0] + _rows[0][1] * result._rows[0][1] +
                                   _rows[0][2] * result._rows[0][2];
        for (int r = 0; r < 3 && determinant < 0.0; ++r) {
            for (int c = 0; c < 3; ++c)
                result._rows[r][c] = -result._rows[r][c];
        }
        return result;
    }

private:
    static osg::Vec3f withLengthOf(const osg::Vec3f& v, const double (&turned)[3])
    {
        const double length =
            std::sqrt(turned[0] * turned[0] + turned[1] * turned[1] + turned[2] * turned[2]);
        if (!(length > 0.0) || !std::isfinite(length))
            return v;
        const double before = std::sqrt(double(v[0]) * v[0] + double(v[1]) * v[1] + double(v[2]) * v[2]);
        const double f = before / length;
        return osg::Vec3f(static_cast<float>(turned[0] * f), static_cast<float>(turned[1] * f),
                          static_cast<float>(turned[2] * f));
    }

    double _rows[4][4] = {};
};

} // namespace

// -- What is shared ---------------------------------------------------------------------------

namespace
{

enum class ChangeKind {
    Stay,  // as it is
    Reset, // a transformation becomes the identity
    Place, // a transformation gets the matrix
    Push   // the matrix is pushed into geometry, a light or a property
};

// Finds for everything that is to be changed, in one or in several ways, what is changed in its place: the
// thing itself, or a clone for each further way.
class SharedChanges
{
public:
    struct Change {
        osg::FieldContainerPtr source;
        ChangeKind kind;
        PathMatrix matrix;
        osg::FieldContainerPtr target; // what takes the source's place, possibly itself; from settle() on
    };

    // Notes a use of `source`.
    // @return the number of the change: the same one for equal changes of the same thing.
    std::size_t add(const osg::FieldContainerPtr& source, ChangeKind kind,
                    const PathMatrix& matrix = PathMatrix())
    {
        Source& entry = _sources[source.getCPtr()];
        ++entry.uses;
        entry.stays = entry.stays || kind == ChangeKind::Stay;
        const auto known = _numbers.emplace(Key(source.getCPtr(), kind, matrix), _changes.size());
        if (known.second)
            _changes.push_back({source, kind, matrix, osg::NullFC});
        return known.first->second;
    }

    // How often `source` was noted.
    int uses(const osg::FieldContainerPtr& source) const
    {
        const auto found = _sources.find(source.getCPtr());
        return found == _sources.end() ? 0 : found->second.uses;
    }

    // Says that nothing else uses `source`: it need not be kept as it is.
    void release(const osg::FieldContainerPtr& source) { _sources[source.getCPtr()].isReleased = true; }

    // Whether `source` itself is changed.
    bool changesInPlace(const osg::FieldContainerPtr& source) const
    {
        const auto found = _sources.find(source.getCPtr());
        return found != _sources.end() && found->second.isReleased && !found->second.stays;
    }

    // Finds the targets: clones where something else keeps the source, or where it cannot be changed itself.
    // Nothing is changed yet, so that clones are those of the sources as they were.
    template <class IsFixed, class MakeClone>
    void settle(IsFixed isFixed, MakeClone makeClone)
    {
        for (Change& change : _changes) {
            Source& entry = _sources[change.source.getCPtr()];
            if (change.kind == ChangeKind::Stay) {
                change.target = change.source;
            } else if (entry.isReleased && !entry.stays && !entry.isTaken && !isFixed(change)) {
                change.target = change.source;
                entry.isTaken = true;
            } else {
                change.target = makeClone(change);
            }
        }
    }

    const std::vector<Change>& changes() const { return _changes; }

private:
    struct Source {
        int uses = 0;
        bool stays = false;
        bool isReleased = false;
        bool isTaken = false;
    };

    // Matrices are compared as the single precision that they come to.
    struct Key {
        Key(const osg::FieldContainer* s, ChangeKind k, const PathMatrix& matrix) : source(s), kind(k)
        {
            const osg::Matrix narrow = matrix.matrix();
            for (std::size_t i = 0; i < values.size(); ++i)
                values[i] = narrow.getValues()[i] + 0.0f; // -0 is 0
        }
        bool operator==(const Key& other) const
        {
            return source == other.source && kind == other.kind && values == other.values;
        }

        const osg::FieldContainer* source;
        ChangeKind kind;
        std::array<float, 16> values;
    };
    struct KeyHash {
        std::size_t operator()(const Key& key) const
        {
            std::uint64_t hash = reinterpret_cast<std::uintptr_t>(key.source) ^ std::uint64_t(key.kind);
            for (const float value : key.values) {
                std::uint32_t bits;
                std::memcpy(&bits, &value, sizeof(bits));
                hash = (hash ^ bits) * 0x9e3779b97f4a7c15u;
                hash ^= hash >> 29;
            }
            return static_cast<std::size_t>(hash);
        }
    };

    std::vector<Change> _changes;
    std::unordered_map<const osg::FieldContainer*, Source> _sources;
    std::unordered_map<Key, std::size_t, KeyHash> _numbers;
};

typedef SharedChanges::Change Change;

} // namespace

// -- Changes ----------------------------------------------------------------------------------

static void pushInto(const osg::GeoPositionsPtr& positions, const PathMatrix& matrix)
{
    const osg::CPEditor edit(positions);
    if (const auto p3 = osg::GeoPositions3fPtr::dcast(positions)) {
        for (osg::Pnt3f& p : p3->getField())
            matrix.apply(p);
    } else if (const auto p4 = osg::GeoPositions4fPtr::dcast(positions)) {
        for (osg::Pnt4f& p : p4->getField())
            matrix.apply(p, double(p[3]));
    }
}

static void pushInto(const osg::GeoNormalsPtr& normals, const PathMatrix& matrix)
{
    const PathMatrix turn = matrix.forNormals();
    const osg::CPEditor edit(normals);
    if (const auto n3 = osg::GeoNormals3fPtr::dcast(normals)) {
        for (osg::Vec3f& normal : n3->getField())
            normal = turn.direction(normal);
    } else {
        for (osg::UInt32 i = 0; i < normals->size(); ++i)
            normals->setValue(turn.direction(normals->getValue(i)), i);
    }
}

static void pushInto(const osg::LightPtr& light, const PathMatrix& matrix)
{
    const osg::CPEditor edit(light);
    if (const auto sun = osg::DirectionalLightPtr::dcast(light))
        sun->setDirection(matrix.direction(sun->getDirection()));
    if (const auto point = osg::PointLightPtr::dcast(light)) {
        osg::Pnt3f position = point->getPosition();
        matrix.apply(position);
        point->setPosition(position);
    }
    if (const auto spot = osg::SpotLightPtr::dcast(light))
        spot->setDirection(matrix.direction(spot->getDirection()));
}

// Makes a transformation the identity or gives it a matrix.
static void setTransformation(const osg::TransformPtr& transform, const PathMatrix& matrix)
{
    const osg::CPEditor edit(transform);
    if (const auto transform3D = osg::Transform3DPtr::dcast(transform)) {
        zySetComponents(transform3D, matrix.matrix());
    } else if (const auto component = osg::ComponentTransformPtr::dcast(transform)) {
        component->setCenter(osg::Vec3f());
        component->setRotation(osg::Quaternion());
        component->setScale(osg::Vec3f(1.0f, 1.0f, 1.0f));
        component->setScaleOrientation(osg::Quaternion());
        component->setTranslation(osg::Vec3f());
    } else {
        transform->setMatrix(matrix.matrix());
    }
}

// Flat positions become spatial: their plane need not stay one of the axes.
static bool isFlat(const Change& change)
{
    return osg::GeoPositions2fPtr::dcast(change.source) != osg::NullFC;
}

static osg::FieldContainerPtr cloneOfProperty(const Change& change)
{
    if (!isFlat(change))
        return change.source->shallowCopy();
    const osg::GeoPositions3fPtr spatial = osg::GeoPositions3f::create();
    const osg::CPEditor edit(spatial);
    for (const osg::Pnt2f& p : osg::GeoPositions2fPtr::dcast(change.source)->getField())
        spatial->getField().push_back(osg::Pnt3f(p[0], p[1], 0.0f));
    return spatial;
}

// A component transformation cannot hold every matrix.
static bool isReplaced(const Change& change)
{
    return change.kind == ChangeKind::Place &&
           osg::ComponentTransformPtr::dcast(change.source) != osg::NullFC;
}

// Clones of geometry are handed their parts later. They let go of those of the source at once: a property
// finds a parent that was added last, and has few others then.
static osg::FieldContainerPtr cloneOfCore(const Change& change)
{
    if (isReplaced(change))
        return zyPlainTransform(osg::ComponentTransformPtr::dcast(change.source));
    const osg::FieldContainerPtr clone = change.source->shallowCopy();
    if (const auto geo = osg::GeometryPtr::dcast(clone)) {
        const osg::CPEditor edit(geo);
        geo->setPositions(osg::NullFC);
        geo->setNormals(osg::NullFC);
        if (const auto surface = osg::SurfacePtr::dcast(geo))
            surface->setControlPoints(osg::NullFC);
    }
    return clone;
}

// -- Flush ------------------------------------------------------------------------------------

namespace
{

class TransformationFlush
{
public:
    void run(const osg::NodePtr& root);

private:
    struct Entry {
        osg::NodePtr node;
        std::size_t depth;
        bool pushes;  // a transformation whose matrix can be pushed
        bool carries; // geometry or lights, here or below, to push it into
        std::size_t change;
    };
    static constexpr std::size_t noChange = ~std::size_t(0);

    void collect(const osg::NodePtr& root);
    void walk();
    void noteLights();
    void releaseCores();
    void noteParts();
    template <class Property>
    std::size_t notePart(const Property& property, const PathMatrix& matrix, bool stays, bool letsGo);
    void apply();
    template <class Property>
    Property partOf(std::size_t number) const;

    std::vector<Entry> _entries;                             // each node before what is below it
    std::vector<std::pair<std::size_t, PathMatrix>> _lights; // entries, and the matrices above them
    std::unordered_map<const osg::FieldContainer*, PathMatrix> _beacons; // what moves with each of them
    SharedChanges _cores;
    SharedChanges _parts; // positions and normals
    struct Parts {
        std::size_t positions = noChange;
        std::size_t normals = noChange;
        std::size_t controlPoints = noChange;
    };
    std::vector<Parts> _partsOf;                                  // by number of the core's change
    std::unordered_map<const osg::FieldContainer*, int> _dropped; // references that cores let go of
};

void TransformationFlush::collect(const osg::NodePtr& root)
{
    std::vector<std::pair<osg::NodePtr, std::size_t>> open(1, {root, 0});
    while (!open.empty()) {
        const osg::NodePtr node = open.back().first;
        const std::size_t depth = open.back().second;
        open.pop_back();
        const osg::NodeCorePtr core = node->getCore();
        const osg::LightPtr light = osg::LightPtr::dcast(core);
        const osg::TransformPtr transform = osg::TransformPtr::dcast(core);
        bool pushes = false;
        if (transform != osg::NullFC) {
            const PathMatrix matrix(transform->getMatrix());
            pushes = matrix.isFinite() && matrix.isAffine();
        }
        if (light != osg::NullFC && light->getBeacon() != osg::NullFC)
            _beacons[light->getBeacon().getCPtr()] = PathMatrix();
        const bool carries = light != osg::NullFC || osg::GeometryPtr::dcast(core) != osg::NullFC;
        _entries.push_back({node, depth, pushes, carries, noChange});
        for (osg::UInt32 i = node->getNChildren(); i > 0; --i)
            open.push_back({node->getChild(i - 1), depth + 1});
    }

    // From the last entry to the first, so that children hand up what they carry before their parent does.
    std::vector<bool> below; // by depth: whether something so deep, since the last node above it, carries
    for (std::size_t i = _entries.size(); i-- > 0;) {
        Entry& entry = _entries[i];
        below.resize(entry.depth + 2, false);
        entry.carries = entry.carries || below[entry.depth + 1];
        below[entry.depth + 1] = false;
        const bool blocks = !entry.pushes && osg::TransformPtr::dcast(entry.node->getCore()) != osg::NullFC;
        below[entry.depth] = below[entry.depth] || (entry.carries && !blocks);
    }
}

// Decides what becomes of each core, from the root down.
void TransformationFlush::walk()
{
    std::vector<PathMatrix> matrices(1); // of the path: [depth] is what stands above the nodes of that depth
    std::size_t untouched = noChange;    // below nodes of this depth, while at or below one
    for (std::size_t i = 0; i < _entries.size(); ++i) {
        Entry& entry = _entries[i];
        if (untouched != noChange && entry.depth > untouched)
            continue;
        untouched = noChange;
        matrices.resize(entry.depth + 2);
        const PathMatrix& above = matrices[entry.depth];
        PathMatrix& here = matrices[entry.depth + 1];
        here = above;

        const osg::NodeCorePtr core = entry.node->getCore();
        if (const auto transform = osg::TransformPtr::dcast(core)) {
            const PathMatrix own(transform->getMatrix());
            here = above * own;
            if (entry.pushes && entry.carries && here.isFinite()) {
                entry.change = _cores.add(core, own.isIdentity() ? ChangeKind::Stay : ChangeKind::Reset);
            } else {
                const bool moves = !above.isIdentity() && here.isFinite();
                entry.change =
                    moves ? _cores.add(core, ChangeKind::Place, here) : _cores.add(core, ChangeKind::Stay);
                untouched = entry.depth;
                continue;
            }
        } else if (const auto geo = osg::GeometryPtr::dcast(core)) {
            PathMatrix matrix = above;
            if (geo->getTransform() != osg::NullFC)
                matrix = above * PathMatrix(geo->getTransform()->getMatrix());
            const bool stays =
                !matrix.isFinite() || (matrix.isIdentity() && geo->getTransform() == osg::NullFC);
            entry.change =
                stays ? _cores.add(core, ChangeKind::Stay) : _cores.add(core, ChangeKind::Push, matrix);
        } else if (osg::LightPtr::dcast(core) != osg::NullFC) {
            _lights.push_back({i, above});
        }
        const auto beacon = _beacons.find(entry.node.getCPtr());
        if (beacon != _beacons.end())
            beacon->second = here;
    }
}

void TransformationFlush::noteLights()
{
    for (const auto& light : _lights) {
        Entry& entry = _entries[light.first];
        const osg::LightPtr core = osg::LightPtr::dcast(entry.node->getCore());
        const PathMatrix& matrix =
            core->getBeacon() == osg::NullFC ? light.second : _beacons[core->getBeacon().getCPtr()];
        entry.change = matrix.isIdentity() ? _cores.add(core, ChangeKind::Stay)
                                           : _cores.add(core, ChangeKind::Push, matrix);
    }
}

// A core that has no parents but those that were walked over may be changed itself. So may one that is also
// the transformation of geometry, when all of that geometry lets go of it.
void TransformationFlush::releaseCores()
{
    for (const bool geometry : {true, false}) {
        for (const Change& change : _cores.changes()) {
            const osg::NodeCorePtr core = osg::NodeCorePtr::dcast(change.source);
            const osg::GeometryPtr geo = osg::GeometryPtr::dcast(core);
            if ((geo != osg::NullFC) != geometry || _cores.changesInPlace(core))
                continue;
            const int parents = static_cast<int>(core->getParents().size());
            if (parents != _cores.uses(core))
                continue;
            const bool isPart = osg::Transform3DPtr::dcast(core) != osg::NullFC;
            if (isPart && core.getRefCount() > parents + _dropped[core.getCPtr()])
                continue;
            _cores.release(core);
            if (geometry && _cores.changesInPlace(core) && geo->getTransform() != osg::NullFC)
                ++_dropped[geo->getTransform().getCPtr()];
        }
    }
}

// @param letsGo  whether a core that refers to the property does so no longer once it has what takes its
// place
template <class Property>
std::size_t TransformationFlush::notePart(const Property& property, const PathMatrix& matrix, bool stays,
                                          bool letsGo)
{
    if (property == osg::NullFC)
        return noChange;
    if (stays)
        return _parts.add(property, ChangeKind::Stay);
    if (letsGo)
        ++_dropped[property.getCPtr()];
    return _parts.add(property, ChangeKind::Push, matrix);
}

void TransformationFlush::noteParts()
{
    std::unordered_set<const osg::FieldContainer*> met;
    _partsOf.resize(_cores.changes().size());
    for (std::size_t i = 0; i < _cores.changes().size(); ++i) {
        const Change& change = _cores.changes()[i];
        const osg::GeometryPtr geo = osg::GeometryPtr::dcast(change.source);
        if (change.kind != ChangeKind::Push || geo == osg::NullFC)
            continue;
        // The first change of a core is the one that is made in place.
        const bool letsGo = _cores.changesInPlace(geo) && met.insert(geo.getCPtr()).second;
        const bool stays = change.matrix.isIdentity();
        Parts& parts = _partsOf[i];
        parts.positions = notePart(geo->getPositions(), change.matrix, stays, letsGo);
        parts.normals = notePart(geo->getNormals(), change.matrix.withoutTranslation(),
                                 change.matrix.keepsNormals(), letsGo);
        if (const auto surface = osg::SurfacePtr::dcast(geo))
            parts.controlPoints = notePart(surface->getControlPoints(), change.matrix, stays, letsGo);
    }
    for (const Change& change : _parts.changes()) {
        const osg::FieldContainerPtr& source = change.source;
        if (!_parts.changesInPlace(source) && source.getRefCount() <= _dropped[source.getCPtr()])
            _parts.release(source);
    }
}

template <class Property>
Property TransformationFlush::partOf(std::size_t number) const
{
    return Property::dcast(_parts.changes()[number].target);
}

void TransformationFlush::apply()
{
    _cores.settle(isReplaced, cloneOfCore);
    _parts.settle(isFlat, cloneOfProperty);
    std::vector<osg::FieldContainerPtr> held; // while they go from one geometry to another
    for (const Change& change : _parts.changes()) {
        held.push_back(change.target);
        osg::addRefCP(change.target);
        if (change.kind != ChangeKind::Push)
            continue;
        if (const auto positions = osg::GeoPositionsPtr::dcast(change.target))
            pushInto(positions, change.matrix);
        else
            pushInto(osg::GeoNormalsPtr::dcast(change.target), change.matrix);
    }
    for (std::size_t i = 0; i < _cores.changes().size(); ++i) {
        const Change& change = _cores.changes()[i];
        if (change.kind == ChangeKind::Stay)
            continue;
        if (const auto transform = osg::TransformPtr::dcast(change.target)) {
            setTransformation(transform, change.matrix);
            continue;
        }
        if (const auto light = osg::LightPtr::dcast(change.target)) {
            pushInto(light, change.matrix);
            continue;
        }
        const osg::GeometryPtr geo = osg::GeometryPtr::dcast(change.target);
        const Parts& parts = _partsOf[i];
        const osg::CPEditor edit(geo);
        geo->setTransform(osg::NullFC);
        if (parts.positions != noChange)
            geo->setPositions(partOf<osg::GeoPositionsPtr>(parts.positions));
        if (parts.normals != noChange)
            geo->setNormals(partOf<osg::GeoNormalsPtr>(parts.normals));
        if (parts.controlPoints != noChange)
            osg::SurfacePtr::dcast(geo)->setControlPoints(partOf<osg::GeoPositionsPtr>(parts.controlPoints));
    }
    for (osg::FieldContainerPtr& part : held)
        osg::subRefCP(part);
    // From the last to the first: as they leave, shared cores find each of them at the end of their parents.
    for (auto entry = _entries.rbegin(); entry != _entries.rend(); ++entry) {
        if (entry->change == noChange)
            continue;
        const osg::NodeCorePtr core = osg::NodeCorePtr::dcast(_cores.changes()[entry->change].target);
        if (core != entry->node->getCore()) {
            const osg::CPEditor edit(entry->node, osg::Node::CoreFieldMask);
            entry->node->setCore(core);
        }
    }
}

void TransformationFlush::run(const osg::NodePtr& root)
{
    collect(root);
    walk();
    noteLights();
    releaseCores();
    noteParts();
    apply();
}

} // namespace

void zyOptimize::flushTransformations(const osg::NodePtr& root)
{
    if (root != osg::NullFC)
        TransformationFlush().run(root);
}
