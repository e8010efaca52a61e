#include "zyGeoColumns.h"

#include <algorithm>

zyGeoColumns::zyGeoColumns(const osg::GeometryPtr& geo)
    : _hasIndices(geo->getIndices() != osg::NullFC),
      _stride(std::max<osg::UInt32>(1, static_cast<osg::UInt32>(geo->getIndexMapping().size())))
{
    typedef osg::Geometry G;
    if (geo->getPositions() != osg::NullFC)
        _positionCount = geo->getPositions()->size();
    add(geo, G::MapPosition, geo->getPositions());
    add(geo, G::MapNormal, geo->getNormals());
    add(geo, G::MapColor, geo->getColors());
    add(geo, G::MapSecondaryColor, geo->getSecondaryColors());
    add(geo, G::MapTexCoords, geo->getTexCoords());
    add(geo, G::MapTexCoords1, geo->getTexCoords1());
    add(geo, G::MapTexCoords2, geo->getTexCoords2());
    add(geo, G::MapTexCoords3, geo->getTexCoords3());
    add(geo, G::MapTexCoords4, geo->getTexCoords4());
    add(geo, G::MapTexCoords5, geo->getTexCoords5());
    add(geo, G::MapTexCoords6, geo->getTexCoords6());
    add(geo, G::MapTexCoords7, geo->getTexCoords7());

    if (_hasIndices) {
        _corners = geo->getIndices()->size() / _stride;
        const int column = _stride == 1 ? 0 : geo->calcMappingIndex(G::MapPosition);
        _positionColumn = std::max(0, column);
    } else {
        _corners = _positionCount;
    }
}

template <class Property>
void zyGeoColumns::add(const osg::GeometryPtr& geo, osg::UInt16 mask, const Property& property)
{
    if (property == osg::NullFC || property->size() == 0)
        return;
    Attribute& attribute = _attributes[_count++];
    attribute.mask = mask;
    attribute.property = property;
    attribute.size = property->size();
    attribute.valueSize = property->getFormatSize() * property->getDimension();
    attribute.getData = [](const osg::AttachmentPtr& p) { return Property::dcast(p)->getData(); };
    attribute.resize = [](const osg::AttachmentPtr& p, std::size_t size) {
        Property::dcast(p)->resize(size);
    };
    // With a single column every attribute reads it, whether the mapping names it or not.
    if (_hasIndices)
        attribute.column = _stride == 1 ? 0 : geo->calcMappingIndex(mask);
}
