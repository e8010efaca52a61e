#include "Graphs.h"

#include <OpenSG/OSGGeoPropNormals.h>
#include <OpenSG/OSGGeoPropPLengths.h>
#include <OpenSG/OSGGeoPropPTypes.h>
#include <OpenSG/OSGGeoPropPositions.h>
#include <OpenSG/OSGGeoPropTexCoords.h>
#include <OpenSG/OSGGroup.h>
#include <OpenSG/OSGSimpleAttachments.h>
#include <OpenSG/OSGSwitch.h>

osg::GeometryPtr makeGeometry(const std::vector<Corner>& corners, osg::UInt8 type)
{
    const osg::GeoPTypesUI8Ptr types = osg::GeoPTypesUI8::create();
    const osg::GeoPLengthsUI32Ptr lengths = osg::GeoPLengthsUI32::create();
    const osg::GeoPositions3fPtr positions = osg::GeoPositions3f::create();
    const osg::GeoNormals3fPtr normals = osg::GeoNormals3f::create();
    const osg::GeoTexCoords2fPtr texCoords = osg::GeoTexCoords2f::create();
    {
        const osg::CPEditor editTypes(types);
        const osg::CPEditor editLengths(lengths);
        const osg::CPEditor editPositions(positions);
        const osg::CPEditor editNormals(normals);
        const osg::CPEditor editTexCoords(texCoords);
        types->addValue(type);
        lengths->addValue(static_cast<osg::UInt32>(corners.size()));
        for (const Corner& corner : corners) {
            positions->addValue(osg::Pnt3f(corner.x, corner.y, corner.z));
            normals->addValue(osg::Vec3f(corner.nx, corner.ny, corner.nz));
            texCoords->addValue(osg::Vec2f(corner.u, corner.v));
        }
    }
    const osg::GeometryPtr geometry = osg::Geometry::create();
    const osg::CPEditor edit(geometry);
    geometry->setTypes(types);
    geometry->setLengths(lengths);
    geometry->setPositions(positions);
    geometry->setNormals(normals);
    geometry->setTexCoords(texCoords);
    return geometry;
}

osg::NodePtr makeNode(const std::string& name, const osg::NodeCorePtr& core,
                      const std::vector<osg::NodePtr>& children)
{
    const osg::NodePtr node = osg::makeNodeFor(core);
    if (!name.empty())
        osg::setName(node, name);
    const osg::CPEditor edit(node, osg::Node::ChildrenFieldMask);
    for (const osg::NodePtr& child : children)
        node->addChild(child);
    return node;
}

osg::NodePtr makeGroup(const std::string& name, const std::vector<osg::NodePtr>& children)
{
    return makeNode(name, osg::Group::create(), children);
}

osg::NodePtr makeSwitch(const std::string& name, osg::Int32 choice, const std::vector<osg::NodePtr>& children)
{
    const osg::SwitchPtr core = osg::Switch::create();
    const osg::CPEditor edit(core, osg::Switch::ChoiceFieldMask);
    core->setChoice(choice);
    return makeNode(name, core, children);
}

osg::NodePtr makeInactive(const osg::NodePtr& node)
{
    const osg::CPEditor edit(node);
    node->setActive(false);
    return node;
}
