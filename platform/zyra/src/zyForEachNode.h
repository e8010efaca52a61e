#ifndef ZYFOREACHNODE_H
#define ZYFOREACHNODE_H

#include <OpenSG/OSGNode.h>

#include <vector>

/// Calls `visit(node)` for `root` and everything below it, each node before its children and these in their
/// order. `visit` may change the core of the node, not its children. Nothing recurses: depth costs memory
/// only.
template <class Visit>
void zyForEachNode(const osg::NodePtr& root, Visit visit)
{
    if (root == osg::NullFC)
        return;
    std::vector<osg::NodePtr> open(1, root);
    while (!open.empty()) {
        osg::NodePtr node = open.back();
        open.pop_back();
        visit(node);
        for (osg::UInt32 i = node->getNChildren(); i > 0; --i)
            open.push_back(node->getChild(i - 1));
    }
}

#endif
