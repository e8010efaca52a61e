#include <OpenSG/OSGFaceIterator.h>
#include <OpenSG/OSGLog.h>
#include <OpenSG/OSGPrimitiveIterator.h>
#include <OpenSG/OSGTriangleIterator.h>

OSG_BEGIN_NAMESPACE

// -- PrimitiveIterator ------------------------------------------------------------------------

void PrimitiveIterator::setGeo(const NodePtr& node)
{
    setGeo(node ? GeometryPtr::dcast(node->getCore()) : GeometryPtr());
}

template <class PtrT, class ValueT>
template <class GeoPropertyT>
void PrimitiveIterator::Attribute<PtrT, ValueT>::set(const PtrT& newProperty, Int32 newPlace)
{
    property = newProperty;
    size = newProperty ? newProperty->getSize() : 0;
    place = newPlace;
    const auto generic = dynamic_fcptr_cast<typename GeoPropertyT::PtrT>(newProperty);
    values = generic ? static_cast<const GeoPropertyT&>(*generic).getField().data() : nullptr;
}

void PrimitiveIterator::setGeo(const GeometryPtr& geometry)
{
    const GeometryPtr kept = geometry; // which may be the one of this iterator
    *this = PrimitiveIterator();
    _geometry = kept;
    if (!kept) {
        return;
    }
    Geometry& geo = *kept;
    _types = geo.getTypes();
    _lengths = geo.getLengths();
    _indices = geo.getIndices();
    _indexCount = _indices ? _indices->getSize() : 0;
    if (const GeoIndicesUI32Ptr indices = GeoIndicesUI32Ptr::dcast(_indices)) {
        _indexValues = static_cast<const GeoIndicesUI32&>(*indices).getField().data();
    }
    _stride = osgMax(1u, geo.getIndexMapping().size());

    _positions.set<GeoPositions3f>(geo.getPositions(), geo.calcMappingIndex(Geometry::MapPosition));
    _normals.set<GeoNormals3f>(geo.getNormals(), geo.calcMappingIndex(Geometry::MapNormal));
    _colors.set<GeoColors3f>(geo.getColors(), geo.calcMappingIndex(Geometry::MapColor));
    _secondaryColors.set<GeoColors3f>(geo.getSecondaryColors(),
                                      geo.calcMappingIndex(Geometry::MapSecondaryColor));
    const GeoTexCoordsPtr texCoords[8] = {geo.getTexCoords(),  geo.getTexCoords1(), geo.getTexCoords2(),
                                          geo.getTexCoords3(), geo.getTexCoords4(), geo.getTexCoords5(),
                                          geo.getTexCoords6(), geo.getTexCoords7()};
    for (UInt32 unit = 0; unit < 8; ++unit) {
        _texCoords[unit].set<GeoTexCoords2f>(texCoords[unit],
                                             geo.calcMappingIndex(UInt16(Geometry::MapTexCoords << unit)));
    }

    if (_indices) {
        _corners = _indexCount / _stride;
    } else if (_positions.property) {
        _corners = _positions.size;
    } else {
        _corners = osgMax(_normals.size, osgMax(_colors.size, _secondaryColors.size));
        for (const auto& unit : _texCoords) {
            _corners = osgMax(_corners, unit.size);
        }
    }
    _count = _types ? _types->getSize() : 0;
    load();
}

void PrimitiveIterator::load()
{
    _type = 0;
    _length = 0;
    if (isAtEnd()) {
        return;
    }
    _type = _types->getValue(_index);
    UInt32 length = 0;
    if (!_lengths) {
        length = _corners;
    } else if (_index < _lengths->getSize()) {
        length = _lengths->getValue(_index);
    }
    _length = osgMin(length, _corners - _first);
}

void PrimitiveIterator::setToEnd()
{
    _index = _count;
    load();
}

PrimitiveIterator& PrimitiveIterator::operator++()
{
    if (!isAtEnd()) {
        _first += _length;
        ++_index;
        load();
    }
    return *this;
}

void PrimitiveIterator::seek(Int32 index)
{
    setToBegin();
    while (!isAtEnd() && Int32(_index) < index) {
        ++*this;
    }
}

// -- PolygonWalk ------------------------------------------------------------------------------

void PolygonWalk::setGeo(const NodePtr& node)
{
    _primitive.setGeo(node);
    start();
}

void PolygonWalk::setGeo(const GeometryPtr& geometry)
{
    _primitive.setGeo(geometry);
    start();
}

void PolygonWalk::setToBegin()
{
    _primitive.setToBegin();
    start();
}

void PolygonWalk::start()
{
    _next = 0;
    _index = -1;
    advanceToNext();
}

void PolygonWalk::setToEnd()
{
    _primitive.setToEnd();
}

void PolygonWalk::seek(Int32 index)
{
    setToBegin();
    while (!isAtEnd() && _index < index) {
        advance();
    }
}

void PolygonWalk::advanceToNext()
{
    while (!_primitive.isAtEnd()) {
        if (take()) {
            ++_index;
            return;
        }
        ++_primitive;
        _next = 0;
    }
}

bool PolygonWalk::takeTriangle(UInt32 a, UInt32 b, UInt32 c)
{
    if (osgMax(a, osgMax(b, c)) >= _primitive.getLength()) {
        return false;
    }
    _corners[0] = a;
    _corners[1] = b;
    _corners[2] = c;
    _length = 3;
    ++_next;
    return true;
}

bool PolygonWalk::takeQuad(UInt32 a, UInt32 b, UInt32 c, UInt32 d)
{
    if (d >= _primitive.getLength() || !takeTriangle(a, b, c)) {
        return false;
    }
    _corners[3] = d;
    _length = 4;
    return true;
}

bool PolygonWalk::isDegenerate() const
{
    const Int32 a = getPositionIndex(0);
    const Int32 b = getPositionIndex(1);
    const Int32 c = getPositionIndex(2);
    return a == b || b == c || a == c;
}

bool PolygonWalk::takeOfStrip()
{
    while (_next + 2 < _primitive.getLength()) {
        const UInt32 k = _next;
        const UInt32 odd = k & 1;
        if (takeTriangle(k + odd, k + 1 - odd, k + 2) && (k == 0 || !isDegenerate())) {
            return true;
        }
    }
    return false;
}

bool PolygonWalk::take()
{
    const UInt32 length = _primitive.getLength();
    const UInt32 n = _next;
    if (n >= length) {
        return false; // there are never more polygons than corners
    }
    switch (_primitive.getType()) {
    case GL_TRIANGLES:
        return length - n > 2 * n && takeTriangle(3 * n, 3 * n + 1, 3 * n + 2);
    case GL_QUAD_STRIP:
        return _keepQuads ? takeQuad(2 * n, 2 * n + 1, 2 * n + 3, 2 * n + 2) : takeOfStrip();
    case GL_TRIANGLE_STRIP:
        return takeOfStrip();
    case GL_POLYGON:
        if (_keepQuads && length == 4) {
            return n == 0 && takeQuad(0, 1, 2, 3);
        }
        return takeTriangle(0, n + 1, n + 2);
    case GL_TRIANGLE_FAN:
        return takeTriangle(0, n + 1, n + 2);
    case GL_QUADS: {
        if (_keepQuads) {
            const UInt32 at = 4 * n;
            return n < (length + 3) / 4 &&
                   (takeQuad(at, at + 1, at + 2, at + 3) || takeTriangle(at, at + 1, at + 2));
        }
        const UInt32 at = n / 2 * 4;
        return takeTriangle(at, at + 1 + n % 2, at + 2 + n % 2);
    }
    case GL_POINTS:
    case GL_LINES:
    case GL_LINE_LOOP:
    case GL_LINE_STRIP:
        return false;
    default:
        SWARNING << "unknown primitive type " << _primitive.getType() << std::endl;
        return false;
    }
}

OSG_END_NAMESPACE
