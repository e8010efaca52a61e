#include "Shape.h"

#include <OpenSG/OSGPrimitiveIterator.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

namespace zyscene::render
{

// -- Box ---------------------------------------------------------------------------------------------------

void Box::extend(double x, double y, double z)
{
    if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(z))
        return;
    const double point[3] = {x, y, z};
    for (std::size_t i = 0; i < 3; ++i) {
        min[i] = empty ? point[i] : std::min(min[i], point[i]);
        max[i] = empty ? point[i] : std::max(max[i], point[i]);
    }
    empty = false;
}

std::array<double, 3> Box::corner(unsigned int i) const
{
    return {(i & 1) != 0 ? max[0] : min[0], (i & 2) != 0 ? max[1] : min[1], (i & 4) != 0 ? max[2] : min[2]};
}

// -- Properties --------------------------------------------------------------------------------------------

namespace
{
/// The values of a property as floats. Those of properties that hold floats are looked at where they are.
class Values
{
public:
    template <class PropertyPtr>
    explicit Values(const PropertyPtr& property)
    {
        if (property == osg::NullFC || property->getSize() == 0)
            return;
        const osg::UInt8* const bytes = property->getData();
        const std::size_t components = property->getDimension();
        const std::size_t count = property->getSize();
        switch (property->getFormat()) {
        case GL_FLOAT:
            _values = reinterpret_cast<const float*>(bytes);
            break;
        case GL_UNSIGNED_BYTE:
            convert<osg::UInt8>(bytes, count * components, 0, 255);
            break;
        case GL_BYTE:
            convert<osg::Int8>(bytes, count * components, 1, 255);
            break;
        case GL_SHORT:
            convert<osg::Int16>(bytes, count * components, 1, 65535);
            break;
        default:
            return;
        }
        _size = static_cast<int>(components);
        _count = static_cast<std::uint32_t>(count);
    }
    Values(const Values&) = delete;
    Values& operator=(const Values&) = delete;

    bool empty() const { return _count == 0; }
    std::uint32_t count() const { return _count; }
    /// Floats of a value.
    int size() const { return _size; }
    const float* at(std::uint32_t i) const { return _values + static_cast<std::size_t>(i) * _size; }

private:
    // Whole numbers stand for 0..1, or with a sign for -1..1: (2 b + 1) / (2^bits - 1).
    template <class StoredT>
    void convert(const osg::UInt8* bytes, std::size_t count, int sign, float range)
    {
        _converted.resize(count);
        for (std::size_t i = 0; i < count; ++i) {
            StoredT stored;
            std::memcpy(&stored, bytes + i * sizeof(StoredT), sizeof(StoredT));
            const float value = static_cast<float>(stored);
            _converted[i] = sign != 0 ? (2 * value + 1) / range : value / range;
        }
        _values = _converted.data();
    }

    const float* _values = nullptr;
    std::vector<float> _converted;
    int _size = 0;
    std::uint32_t _count = 0;
};

/// Where a corner finds its value of each attribute.
class CornerIndices
{
public:
    explicit CornerIndices(const osg::GeometryPtr& geometry) : _geometry(geometry)
    {
        const osg::GeoIndicesPtr indices = geometry->getIndices();
        if (indices == osg::NullFC)
            return;
        _indexed = true;
        _count = indices->getSize();
        _stride = std::max<std::size_t>(1, geometry->getIndexMapping().size());
        const osg::GeoIndicesUI32Ptr wide = osg::GeoIndicesUI32Ptr::dcast(indices);
        if (wide != osg::NullFC) {
            _indices = static_cast<const osg::GeoIndicesUI32&>(*wide).getField().data();
        } else {
            _widened.resize(_count);
            for (std::uint32_t i = 0; i < _count; ++i)
                _widened[i] = indices->getValue(i);
            _indices = _widened.data();
        }
    }
    CornerIndices(const CornerIndices&) = delete;
    CornerIndices& operator=(const CornerIndices&) = delete;

    /// The attribute's place among the indices of a corner; -1 when no index is for it.
    int placeOf(osg::UInt16 attribute) const
    {
        if (!_indexed || _stride == 1)
            return 0;
        return _geometry->calcMappingIndex(attribute);
    }

    /// Place of the value among those of its property; `none` where the indices end.
    std::uint32_t operator()(std::uint32_t corner, int place) const
    {
        if (!_indexed)
            return corner;
        const std::size_t at = corner * _stride + static_cast<std::size_t>(place);
        return at < _count ? _indices[at] : none;
    }

    static constexpr std::uint32_t none = std::numeric_limits<std::uint32_t>::max();

private:
    osg::GeometryPtr _geometry;
    bool _indexed = false;
    const std::uint32_t* _indices = nullptr;
    std::vector<std::uint32_t> _widened;
    std::uint32_t _count = 0;
    std::size_t _stride = 1;
};

// -- Primitives --------------------------------------------------------------------------------------------

/// Corners that a primitive of this kind makes use of; 0 for less than one and for unknown kinds.
std::uint32_t usedCorners(GLenum mode, std::uint32_t length)
{
    switch (mode) {
    case GL_POINTS:
        return length;
    case GL_LINES:
        return length - length % 2;
    case GL_LINE_STRIP:
    case GL_LINE_LOOP:
        return length >= 2 ? length : 0;
    case GL_TRIANGLES:
        return length - length % 3;
    case GL_TRIANGLE_STRIP:
    case GL_TRIANGLE_FAN:
    case GL_POLYGON:
        return length >= 3 ? length : 0;
    case GL_QUADS:
        return length - length % 4;
    case GL_QUAD_STRIP:
        return length >= 4 ? length - length % 2 : 0;
    default:
        return 0;
    }
}

bool isPolygonal(GLenum mode)
{
    return mode >= GL_TRIANGLES && mode <= GL_POLYGON;
}

/// Whether primitives of this kind can be drawn as one when their corners follow one another.
bool canBeJoined(GLenum mode)
{
    return mode == GL_POINTS || mode == GL_LINES || mode == GL_TRIANGLES || mode == GL_QUADS;
}

/// Sorts the corners of a geometry into batches.
class ShapeBuilder
{
public:
    explicit ShapeBuilder(const osg::GeometryPtr& geometry)
        : _geometry(geometry), _indices(geometry), _positions(geometry->getPositions()),
          _normals(geometry->getNormals()), _positionPlace(_indices.placeOf(osg::Geometry::MapPosition)),
          _normalPlace(_indices.placeOf(osg::Geometry::MapNormal)),
          _hasNormals(!_normals.empty() && _normalPlace >= 0)
    {
    }

    Shape build();

private:
    void addPrimitive(GLenum mode, std::uint32_t first, std::uint32_t length);
    void addFlat(GLenum mode, std::uint32_t first, std::uint32_t length);
    void addFace(GLenum mode, std::initializer_list<std::uint32_t> corners);
    void begin(GLenum mode);
    void end();
    void addFaceNormals(std::size_t from);
    bool isSound(std::uint32_t first, std::uint32_t length) const;
    const float* positionOf(std::uint32_t corner) const
    {
        const std::uint32_t index = _indices(corner, _positionPlace);
        return index < _positions.count() ? _positions.at(index) : nullptr;
    }
    std::array<double, 3> pointOf(std::uint32_t corner) const;
    void gather(const Values& values, int place, Shape::Array& array) const;
    void gatherAll();

    osg::GeometryPtr _geometry;
    CornerIndices _indices;
    Values _positions;
    Values _normals;
    int _positionPlace;
    int _normalPlace;
    bool _hasNormals;

    Shape _shape;
    std::vector<std::uint32_t> _corners; ///< of each vertex
    std::vector<float> _faceNormals;     ///< of each vertex; empty when there are normals
    std::array<int, 10> _batchOf = {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1}; ///< by mode
    GLenum _openMode = GL_POINTS;
    std::size_t _openAt = 0; ///< vertex at which the open primitive begins
};

// The point as it is drawn: of four floats the last one divides.
std::array<double, 3> ShapeBuilder::pointOf(std::uint32_t corner) const
{
    const float* const values = positionOf(corner);
    const int size = _positions.size();
    const double w = size > 3 ? values[3] : 1;
    return {values[0] / w, size > 1 ? values[1] / w : 0, size > 2 ? values[2] / w : 0};
}

bool ShapeBuilder::isSound(std::uint32_t first, std::uint32_t length) const
{
    for (std::uint32_t i = 0; i < length; ++i) {
        const float* const values = positionOf(first + i);
        if (values == nullptr)
            return false;
        for (int k = 0; k < _positions.size(); ++k) {
            if (!std::isfinite(values[k]))
                return false;
        }
    }
    return true;
}

void ShapeBuilder::begin(GLenum mode)
{
    _openMode = mode;
    _openAt = _corners.size();
}

void ShapeBuilder::end()
{
    const std::size_t count = _corners.size() - _openAt;
    if (count == 0)
        return;
    int& batch = _batchOf[_openMode];
    if (batch < 0) {
        batch = static_cast<int>(_shape.batches.size());
        const bool polygons = isPolygonal(_openMode);
        _shape.batches.push_back({_openMode, polygons, _hasNormals || polygons, {}, {}});
    }
    Shape::Batch& into = _shape.batches[static_cast<std::size_t>(batch)];
    const bool follows =
        !into.first.empty() && static_cast<std::size_t>(into.first.back() + into.count.back()) == _openAt;
    if (follows && canBeJoined(_openMode)) {
        into.count.back() += static_cast<GLsizei>(count);
    } else {
        into.first.push_back(static_cast<GLint>(_openAt));
        into.count.push_back(static_cast<GLsizei>(count));
    }
    if (!_hasNormals)
        addFaceNormals(_openAt);
}

// The vertices from here on are one face, or have none.
void ShapeBuilder::addFaceNormals(std::size_t from)
{
    // By Newell's method, which also does for polygons that are not quite flat.
    std::array<double, 3> normal = {0, 0, 0};
    const std::size_t end = _corners.size();
    for (std::size_t i = from; isPolygonal(_openMode) && i < end; ++i) {
        const std::array<double, 3> a = pointOf(_corners[i]);
        const std::array<double, 3> b = pointOf(_corners[i + 1 < end ? i + 1 : from]);
        for (std::size_t k = 0; k < 3; ++k) {
            const std::size_t u = (k + 1) % 3;
            const std::size_t v = (k + 2) % 3;
            normal[k] += (a[u] - b[u]) * (a[v] + b[v]);
        }
    }
    const double length = std::sqrt(normal[0] * normal[0] + normal[1] * normal[1] + normal[2] * normal[2]);
    if (!(length > 0))
        normal = {0, 0, 1};
    for (std::size_t i = from; i < end; ++i) {
        for (const double component : normal)
            _faceNormals.push_back(static_cast<float>(length > 0 ? component / length : component));
    }
}

void ShapeBuilder::addFace(GLenum mode, std::initializer_list<std::uint32_t> corners)
{
    begin(mode);
    _corners.insert(_corners.end(), corners);
    end();
}

// A polygonal primitive without normals, as faces of which each has its own.
void ShapeBuilder::addFlat(GLenum mode, std::uint32_t first, std::uint32_t length)
{
    switch (mode) {
    case GL_TRIANGLES:
        for (std::uint32_t i = 0; i < length; i += 3)
            addFace(GL_TRIANGLES, {first + i, first + i + 1, first + i + 2});
        break;
    case GL_TRIANGLE_STRIP:
        for (std::uint32_t i = 0; i + 2 < length; ++i)
            addFace(GL_TRIANGLES, {first + i + i % 2, first + i + 1 - i % 2, first + i + 2});
        break;
    case GL_TRIANGLE_FAN:
        for (std::uint32_t i = 1; i + 1 < length; ++i)
            addFace(GL_TRIANGLES, {first, first + i, first + i + 1});
        break;
    case GL_QUADS:
        for (std::uint32_t i = 0; i < length; i += 4)
            addFace(GL_QUADS, {first + i, first + i + 1, first + i + 2, first + i + 3});
        break;
    default: // GL_QUAD_STRIP
        for (std::uint32_t i = 0; i + 3 < length; i += 2)
            addFace(GL_QUADS, {first + i, first + i + 1, first + i + 3, first + i + 2});
        break;
    }
}

void ShapeBuilder::addPrimitive(GLenum mode, std::uint32_t first, std::uint32_t length)
{
    const std::uint32_t used = usedCorners(mode, length);
    if (used == 0 || !isSound(first, used))
        return;
    for (std::uint32_t i = 0; i < used; ++i) {
        const std::array<double, 3> point = pointOf(first + i);
        _shape.box.extend(point[0], point[1], point[2]);
    }
    if (!_hasNormals && isPolygonal(mode) && mode != GL_POLYGON) {
        addFlat(mode, first, used);
        return;
    }
    begin(mode);
    for (std::uint32_t i = 0; i < used; ++i)
        _corners.push_back(first + i);
    end();
}

void ShapeBuilder::gather(const Values& values, int place, Shape::Array& array) const
{
    if (values.empty() || place < 0)
        return;
    const std::size_t size = static_cast<std::size_t>(values.size());
    array.size = values.size();
    array.values.resize(_corners.size() * size);
    float* out = array.values.data();
    for (const std::uint32_t corner : _corners) {
        const std::uint32_t index = _indices(corner, place);
        if (index < values.count())
            std::memcpy(out, values.at(index), size * sizeof(float));
        out += size;
    }
}

void ShapeBuilder::gatherAll()
{
    gather(_positions, _positionPlace, _shape.positions);
    if (_hasNormals) {
        gather(_normals, _normalPlace, _shape.normals);
    } else {
        _shape.normals.size = 3;
        _shape.normals.values = std::move(_faceNormals);
    }
    gather(Values(_geometry->getColors()), _indices.placeOf(osg::Geometry::MapColor), _shape.colors);

    const osg::GeoTexCoordsPtr uvs[uvChannels] = {_geometry->getTexCoords(),  _geometry->getTexCoords1(),
                                                  _geometry->getTexCoords2(), _geometry->getTexCoords3(),
                                                  _geometry->getTexCoords4(), _geometry->getTexCoords5(),
                                                  _geometry->getTexCoords6(), _geometry->getTexCoords7()};
    for (std::size_t i = 0; i < uvChannels; ++i) {
        const auto attribute = static_cast<osg::UInt16>(osg::Geometry::MapTexCoords << i);
        gather(Values(uvs[i]), _indices.placeOf(attribute), _shape.uvs[i]);
    }
}

Shape ShapeBuilder::build()
{
    if (_positions.empty() || _positionPlace < 0)
        return {};
    // GL counts vertices with a sign.
    constexpr std::size_t most = std::numeric_limits<GLint>::max() / 3;
    std::uint32_t first = 0;
    for (osg::PrimitiveIterator it(_geometry); !it.isAtEnd(); ++it) {
        if (_corners.size() + it.getLength() > most)
            break;
        addPrimitive(it.getType(), first, it.getLength());
        first += it.getLength();
    }
    if (!_shape.drawsNothing())
        gatherAll();
    return std::move(_shape);
}
} // namespace

Shape makeShape(const osg::GeometryPtr& geometry)
{
    return ShapeBuilder(geometry).build();
}

} // namespace zyscene::render
