#ifndef ZYGEOCOLUMNS_H
#define ZYGEOCOLUMNS_H

#include <OpenSG/OSGGeometry.h>

#include <array>
#include <cstddef>

/// How a geometry's corners find their values: which attributes it has and which column of the indices each
/// one reads.
///
/// Corner k has `stride` entries in the indices, from k * stride on; an attribute's column is its place among
/// them. Without indices corner k reads value k of every attribute, and no attribute has a column.
class zyGeoColumns
{
public:
    enum { NoColumn = -1, AttributeCount = 12 };

    struct Attribute {
        osg::UInt16 mask = 0; ///< osg::Geometry::MapPosition, ...
        osg::AttachmentPtr property;
        osg::UInt32 size = 0;      ///< values in the property
        osg::UInt32 valueSize = 0; ///< bytes of each
        int column = NoColumn;
        osg::UInt8* (*getData)(const osg::AttachmentPtr& property) = nullptr;
        void (*resize)(const osg::AttachmentPtr& property, std::size_t size) = nullptr;
    };

    explicit zyGeoColumns(const osg::GeometryPtr& geo);

    bool hasIndices() const { return _hasIndices; }
    osg::UInt32 stride() const { return _stride; }
    /// Corners for which the indices are complete, or without indices the number of positions.
    std::size_t corners() const { return _corners; }
    /// The column of the positions; without one of their own they read the first.
    int positionColumn() const { return _positionColumn; }
    osg::UInt32 positionCount() const { return _positionCount; }

    /// The attributes that have values. A property without any counts as absent.
    const Attribute* begin() const { return _attributes.data(); }
    const Attribute* end() const { return _attributes.data() + _count; }

private:
    template <class Property>
    void add(const osg::GeometryPtr& geo, osg::UInt16 mask, const Property& property);

    std::array<Attribute, AttributeCount> _attributes;
    std::size_t _count = 0;
    bool _hasIndices;
    osg::UInt32 _stride;
    std::size_t _corners = 0;
    int _positionColumn = NoColumn;
    osg::UInt32 _positionCount = 0;
};

#endif
