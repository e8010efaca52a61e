#pragma once

#include <OpenSG/OSGGroup.h>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(Switch, GroupPtr)

/// A group of which one child is shown. Traversals and volumes take all children whatever the choice.
class OSG_PLATFORM_API Switch : public Group
{
    OSG_FIELD_CONTAINER(Switch, Group)

    /// Values of choice that are no child.
    enum { NONE = -1, ALL = -2 };

    OSG_SFIELD(3, Choice, choice, Int32, -1)

protected:
    Switch() {}
    Switch(const Switch&) = default;
};

OSG_END_NAMESPACE
