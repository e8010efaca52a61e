#pragma once

#include <OpenSG/OSGGroup.h>
#include <OpenSG/OSGMaterial.h>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(MaterialGroup, GroupPtr)

/// A group whose material overrides those of everything below.
class OSG_PLATFORM_API MaterialGroup : public Group
{
    OSG_FIELD_CONTAINER(MaterialGroup, Group)

    OSG_SFIELD_COUNTED(3, Material, material, MaterialPtr)

protected:
    MaterialGroup() {}
    MaterialGroup(const MaterialGroup&) = default;
};

OSG_END_NAMESPACE
