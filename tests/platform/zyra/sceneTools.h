#ifndef ZYRA_TESTS_SCENETOOLS_H
#define ZYRA_TESTS_SCENETOOLS_H

#include <OpenSG/OSGGeometry.h>
#include <OpenSG/OSGNode.h>
#include <OpenSG/OSGSimpleAttachments.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

/// A node with a core and a name.
inline osg::NodePtr makeNode(const std::string& name, const osg::NodeCorePtr& core)
{
    const osg::NodePtr node = osg::Node::create();
    const osg::CPEditor edit(node);
    node->setCore(core);
    if (!name.empty())
        osg::setName(node, name);
    return node;
}

inline void addChild(const osg::NodePtr& parent, const osg::NodePtr& child)
{
    const osg::CPEditor edit(parent, osg::Node::ChildrenFieldMask);
    parent->addChild(child);
}

/// A new property that holds `values`.
template <class Property, class Value>
typename Property::Ptr makeProperty(const std::vector<Value>& values)
{
    const typename Property::Ptr property = Property::create();
    const osg::CPEditor edit(property);
    for (const Value& value : values)
        property->getField().push_back(value);
    return property;
}

/// Adds the bits of a tuple of floats.
template <class Tuple>
void addBits(std::vector<std::uint32_t>& bits, const Tuple& tuple, unsigned int components)
{
    for (unsigned int i = 0; i < components; ++i) {
        const float f = tuple[i];
        std::uint32_t u;
        std::memcpy(&u, &f, sizeof(u));
        bits.push_back(u);
    }
}

/// What a geometry draws, bit for bit: for each primitive its type and length, then for each corner the
/// position, the normal and the texture coordinates of the first two channels. Reads the arrays itself.
inline std::vector<std::uint32_t> drawn(const osg::GeometryPtr& geo)
{
    std::vector<std::uint32_t> result;
    const std::size_t stride = geo->getIndexMapping().empty() ? 1 : geo->getIndexMapping().size();
    const auto indexOf = [&](std::size_t corner, osg::UInt16 attribute) -> std::int64_t {
        if (geo->getIndices() == osg::NullFC)
            return static_cast<std::int64_t>(corner);
        std::size_t column = 0;
        if (stride > 1) {
            column = stride;
            for (std::size_t m = 0; m < stride; ++m) {
                if ((geo->getIndexMapping()[m] & attribute) != 0)
                    column = m;
            }
            if (column == stride)
                return -1;
        }
        return geo->getIndices()->getValue(static_cast<osg::UInt32>(corner * stride + column));
    };
    const auto add = [&](const auto& property, std::size_t corner, osg::UInt16 attribute,
                         unsigned int components) {
        const std::int64_t i =
            property == osg::NullFC || property->size() == 0 ? -1 : indexOf(corner, attribute);
        if (i < 0)
            result.push_back(0xffffffffu);
        else
            addBits(result, property->getValue(static_cast<osg::UInt32>(i)), components);
    };
    std::size_t corner = 0;
    for (osg::UInt32 p = 0; p < geo->getTypes()->size(); ++p) {
        const osg::UInt32 length = geo->getLengths()->getValue(p);
        result.push_back(geo->getTypes()->getValue(p));
        result.push_back(length);
        for (osg::UInt32 k = 0; k < length; ++k, ++corner) {
            add(geo->getPositions(), corner, osg::Geometry::MapPosition, 3);
            add(geo->getNormals(), corner, osg::Geometry::MapNormal, 3);
            add(geo->getTexCoords(), corner, osg::Geometry::MapTexCoords, 2);
            add(geo->getTexCoords1(), corner, osg::Geometry::MapTexCoords1, 2);
        }
    }
    return result;
}

/// All entries of the indices.
inline std::vector<osg::UInt32> indexEntries(const osg::GeometryPtr& geo)
{
    std::vector<osg::UInt32> entries;
    for (osg::UInt32 i = 0; i < geo->getIndices()->size(); ++i)
        entries.push_back(geo->getIndices()->getValue(i));
    return entries;
}

/// A geometry of polygons: their lengths, the index mapping and the indices. The properties are set by the
/// caller.
inline osg::GeometryPtr makePolygons(const std::vector<osg::UInt32>& lengths,
                                     const std::vector<osg::UInt16>& mapping,
                                     const std::vector<osg::UInt32>& indices)
{
    const osg::GeometryPtr geo = osg::Geometry::create();
    const osg::CPEditor edit(geo);
    geo->setTypes(makeProperty<osg::GeoPTypesUI8>(std::vector<osg::UInt8>(lengths.size(), 9)));
    geo->setLengths(makeProperty<osg::GeoPLengthsUI32>(lengths));
    geo->setIndices(makeProperty<osg::GeoIndicesUI32>(indices));
    for (const osg::UInt16 entry : mapping)
        geo->getIndexMapping().push_back(entry);
    return geo;
}

/// Positions (0,0,0) (1,0,0) (2,1,0) (3,2,0) ..., no two equal.
inline osg::GeoPositions3fPtr makePositions(unsigned int count)
{
    std::vector<osg::Pnt3f> points;
    for (unsigned int i = 0; i < count; ++i) {
        const float f = static_cast<float>(i);
        points.push_back(osg::Pnt3f(f, i == 0 ? 0.0f : f - 1.0f, f * f * 0.25f));
    }
    return makeProperty<osg::GeoPositions3f>(points);
}

template <class Set, class Property>
void setProperty(const osg::GeometryPtr& geo, Set set, const Property& property)
{
    const osg::CPEditor edit(geo);
    (geo.getCPtr()->*set)(property);
}

#endif
