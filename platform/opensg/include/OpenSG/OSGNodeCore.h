#pragma once

#include <OpenSG/OSGAttachmentContainer.h>

OSG_BEGIN_NAMESPACE

/// What a node is: group, transform, geometry, light. One core may serve any number of nodes.
class OSG_PLATFORM_API NodeCore : public AttachmentContainer
{
    OSG_ABSTRACT_FIELD_CONTAINER(NodeCore, AttachmentContainer)

    /// Nodes that hold the core, in order of attachment.
    OSG_MFIELD_INTERNAL(2, Parents, parents, NodePtr)

    /// Invalidates the volumes of all nodes that hold the core.
    void invalidateVolume();

    /// Multiplies the core's own matrix, if it has one, to \a result from the right.
    virtual void accumulateMatrix(Matrix& result);
    /// Changes the united volume of a node's children into the node's: shapes add theirs, transforms apply
    /// their matrix.
    virtual void adjustVolume(Volume& volume);

protected:
    friend class Node;

    NodeCore() {}
    /// A copy has no parents.
    NodeCore(const NodeCore& source) : AttachmentContainer(source) {}

    void addParent(const NodePtr& parent);
    void subParent(const NodePtr& parent);
    void sweepParents() override;
};

OSG_END_NAMESPACE
