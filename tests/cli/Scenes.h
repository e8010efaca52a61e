#pragma once

#include "Graphs.h"

#include <OpenSG/OSGNode.h>

#include <string>
#include <vector>

/// Scene files that are made where a test needs them. A failure is a failure of the test.

/// Starts the SDK in this process, once.
void startModeller();

/// Starts the scene graph in this process, once: before the first graph is made.
void startGraph();

/// Opens a scene file with the SDK and saves it in the binary form.
void saveAsBinary(const std::string& ascii, const std::string& binary);

/// A group below a group, and so on.
void saveDeepTree(unsigned int levels, const std::string& file);

/// One node with a group core and this name.
void saveNamedNode(const std::string& name, const std::string& file);

// -- Graphs to save ----------------------------------------------------------------------------------

/// One triangle at this x.
osg::NodePtr makeTriangle(const std::string& name, float x, bool withNormals = true);
/// A further node with the core of another.
osg::NodePtr makeUse(const std::string& name, const osg::NodePtr& other);

/// Saves a graph in the form of the suffix and lets go of it.
void saveScene(const osg::NodePtr& root, const std::string& file);
