#pragma once

#include <OpenSG/OSGDrawable.h>
#include <OpenSG/OSGMaterial.h>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(MaterialDrawable, DrawablePtr)

/// A drawable with one material. A null material is drawn as getDefaultMaterial().
class OSG_PLATFORM_API MaterialDrawable : public Drawable
{
    OSG_ABSTRACT_FIELD_CONTAINER(MaterialDrawable, Drawable)

    OSG_SFIELD_COUNTED(3, Material, material, MaterialPtr)

protected:
    MaterialDrawable() {}
    MaterialDrawable(const MaterialDrawable&) = default;
};

OSG_END_NAMESPACE
