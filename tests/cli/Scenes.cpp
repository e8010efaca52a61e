#include "Scenes.h"

#include <OpenSG/OSGBaseFunctions.h>
#include <OpenSG/OSGGroup.h>
#include <OpenSG/OSGNode.h>
#include <OpenSG/OSGSceneFileHandler.h>
#include <OpenSG/OSGSimpleAttachments.h>
#include <kelda/KFileIO.h>
#include <kelda/KLibrary.h>
#include <kelda/KStatus.h>

#include <gtest/gtest.h>

#include <cstdlib>

namespace
{
void save(const osg::NodePtr& root, const std::string& file)
{
    osg::addRefCP(root);
    EXPECT_TRUE(osg::SceneFileHandler::the()->write(root, file.c_str())) << file;
    osg::subRefCP(root);
}

void startGraph()
{
    static const bool started = osg::osgInit(0, nullptr);
    ASSERT_TRUE(started);
}
} // namespace

void startModeller()
{
    ::setenv("KELDA_DEBUG_NO_SIGNAL_HANDLERS", "1", 1);
    ASSERT_FALSE(KLibrary::initialize("zyscene test", true).error());
}

void saveAsBinary(const std::string& ascii, const std::string& binary)
{
    startModeller();
    ASSERT_FALSE(KFileIO::open(ascii.c_str()).error()) << ascii;
    ASSERT_FALSE(KFileIO::saveAs(binary.c_str(), "keldaBinary").error()) << binary;
    KFileIO::newFile(true);
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
    save(root, file);
}

void saveNamedNode(const std::string& name, const std::string& file)
{
    startGraph();
    const osg::NodePtr root = osg::makeCoredNode<osg::Group>();
    osg::setName(root, name);
    save(root, file);
}
