#ifndef ZYNODEPTR_H
#define ZYNODEPTR_H

#include <OpenSG/OSGNodePtr.h>

/// The host's name for the handle of a node, in lists of nodes above all. Like the handle it does not count
/// as a reference.
typedef osg::NodePtr zyNodePtr;

#endif
