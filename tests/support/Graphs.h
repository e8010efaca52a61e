#pragma once

// Small scene graphs for tests.

#include <OpenSG/OSGGL.h>
#include <OpenSG/OSGGeometry.h>
#include <OpenSG/OSGNode.h>

#include <string>
#include <vector>

/// Keeps a graph for a scope.
class ScopedGraph
{
public:
    explicit ScopedGraph(const osg::NodePtr& root) : _root(root) { osg::addRefCP(_root); }
    ~ScopedGraph() { osg::subRefCP(_root); }
    ScopedGraph(const ScopedGraph&) = delete;
    ScopedGraph& operator=(const ScopedGraph&) = delete;
    const osg::NodePtr& get() const { return _root; }

private:
    osg::NodePtr _root;
};

struct Corner {
    float x, y, z;
    float nx = 0, ny = 0, nz = 1;
    float u = 0, v = 0;
};

/// One primitive without indices, with normals and texture coordinates.
osg::GeometryPtr makeGeometry(const std::vector<Corner>& corners, osg::UInt8 type = GL_TRIANGLE_STRIP);

/// @param name empty: the node has none
osg::NodePtr makeNode(const std::string& name, const osg::NodeCorePtr& core,
                      const std::vector<osg::NodePtr>& children = {});
osg::NodePtr makeGroup(const std::string& name, const std::vector<osg::NodePtr>& children);
/// @param choice place of the child that is shown; -1: none, -2: all
osg::NodePtr makeSwitch(const std::string& name, osg::Int32 choice,
                        const std::vector<osg::NodePtr>& children);
/// The node itself, made inactive.
osg::NodePtr makeInactive(const osg::NodePtr& node);
