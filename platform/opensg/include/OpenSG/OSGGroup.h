#pragma once

#include <OpenSG/OSGNode.h>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(Group, NodeCorePtr)

/// A core that only groups.
class OSG_PLATFORM_API Group : public NodeCore
{
    OSG_FIELD_CONTAINER(Group, NodeCore)

protected:
    Group() {}
    Group(const Group&) = default;
};

OSG_END_NAMESPACE
