#include "Scenes.h"

#include <OpenSG/OSGBaseFunctions.h>
#include <OpenSG/OSGGeometry.h>
#include <OpenSG/OSGGroup.h>
#include <OpenSG/OSGNode.h>
#include <OpenSG/OSGSceneFileHandler.h>
#include <OpenSG/OSGSimpleAttachments.h>
#include <OpenSG/OSGSimpleGeometry.h>
#include <kelda/KFileIO.h>
#include <kelda/KLibrary.h>
#include <kelda/KStatus.h>

#include <gtest/gtest.h>

#include <cstdlib>

void startModeller()
{
    ::setenv("KELDA_DEBUG_NO_SIGNAL_HANDLERS", "1", 1);
    ASSERT_FALSE(KLibrary::initialize("zyscene test", true).error());
}

void startGraph()
{
    static const bool started = osg::osgInit(0, nullptr);
    ASSERT_TRUE(started);
}

void saveAsBinary(const std::string& ascii, const std::string& binary)
{
    startModeller();
    ASSERT_FALSE(KFileIO::open(ascii.c_str()).error()) << ascii;
    ASSERT_FALSE(KFileIO::saveAs(binary.c_str(), "keldaBinary").error()) << binary;
    KFileIO::newFile(true);
}

osg::NodePtr makeTriangle(const std::string& name, float x, bool withNormals)
{
    const osg::GeoPTypesUI8Ptr types = osg::GeoPTypesUI8::create();
    const osg::GeoPLengthsUI32Ptr lengths = osg::GeoPLengthsUI32::create();
    const osg::GeoIndicesUI32Ptr indices = osg::GeoIndicesUI32::create();
    const osg::GeoPositions3fPtr positions = osg::GeoPositions3f::create();
    {
        const osg::CPEditor editTypes(types);
        const osg::CPEditor editLengths(lengths);
        const osg::CPEditor editIndices(indices);
        const osg::CPEditor editPositions(positions);
        types->addValue(GL_TRIANGLES);
        lengths->addValue(3);
        for (osg::UInt32 i = 0; i < 3; ++i) {
            indices->addValue(i);
            positions->addValue(osg::Pnt3f(x + float(i % 2), float(i / 2), 0));
        }
    }
    const osg::GeometryPtr core = osg::Geometry::create();
    const osg::CPEditor edit(core);
    core->setTypes(types);
    core->setLengths(lengths);
    core->setIndices(indices);
    core->setPositions(positions);
    if (withNormals) {
        const osg::GeoNormals3fPtr normals = osg::GeoNormals3f::create();
        const osg::CPEditor editNormals(normals);
        for (int i = 0; i < 3; ++i)
            normals->addValue(osg::Vec3f(0, 0.6f, 0.8f));
        core->setNormals(normals);
    }
    return makeNode(name, core);
}

osg::NodePtr makeUse(const std::string& name, const osg::NodePtr& other)
{
    return makeNode(name, other->getCore());
}

void saveScene(const osg::NodePtr& root, const std::string& file)
{
    startGraph();
    osg::addRefCP(root);
    EXPECT_TRUE(osg::SceneFileHandler::the()->write(root, file.c_str())) << file;
    osg::NodePtr held = root;
    osg::subRefCP(held);
}

void saveDeepTree(unsigned int levels, const std::string& file)
{
    startGraph();
    const osg::NodePtr root = osg::makeCoredNode<osg::Group>();
    osg::NodePtr parent = root;
    for (unsigned int i = 1; i < levels; ++i) {
        const osg::NodePtr child = osg::makeCoredNode<osg::Group>();
        const osg::CPEditor edit(parent, osg::Node::ChildrenFieldMask);
        parent->addChild(child);
        parent = child;
    }
    saveScene(root, file);
}

void saveNamedNode(const std::string& name, const std::string& file)
{
    startGraph();
    const osg::NodePtr root = osg::makeCoredNode<osg::Group>();
    osg::setName(root, name);
    saveScene(root, file);
}
