#pragma once

#include <OpenSG/OSGGroup.h>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(Light, GroupPtr)

/// A light for everything below its node. Position and direction are in the coordinates of the beacon, which
/// is not referenced; without a beacon in those of the light's own node.
class OSG_PLATFORM_API Light : public Group
{
    OSG_ABSTRACT_FIELD_CONTAINER(Light, Group)

    OSG_SFIELD(3, Ambient, ambient, Color4f, 0.f, 0.f, 0.f, 1.f)
    OSG_SFIELD(4, Diffuse, diffuse, Color4f, 1.f, 1.f, 1.f, 1.f)
    OSG_SFIELD(5, Specular, specular, Color4f, 1.f, 1.f, 1.f, 1.f)
    OSG_SFIELD(6, Beacon, beacon, NodePtr, NullFC)
    OSG_SFIELD(7, On, on, Bool, true)
    /// The light fades with 1 / (constant + linear d + quadratic d^2) over the distance d.
    OSG_SFIELD(8, ConstantAttenuation, constantAttenuation, Real32, 1.f)
    OSG_SFIELD(9, LinearAttenuation, linearAttenuation, Real32, 0.f)
    OSG_SFIELD(10, QuadraticAttenuation, quadraticAttenuation, Real32, 0.f)
    OSG_SFIELD(11, ShadowIntensity, shadowIntensity, Real32, 0.f)
    OSG_SFIELD(12, ShadowMode, shadowMode, UInt32, 0)

    void setAmbient(Real32 red, Real32 green, Real32 blue, Real32 alpha)
    {
        setAmbient(Color4f(red, green, blue, alpha));
    }
    void setDiffuse(Real32 red, Real32 green, Real32 blue, Real32 alpha)
    {
        setDiffuse(Color4f(red, green, blue, alpha));
    }
    void setSpecular(Real32 red, Real32 green, Real32 blue, Real32 alpha)
    {
        setSpecular(Color4f(red, green, blue, alpha));
    }

protected:
    Light() {}
    Light(const Light&) = default;
};

OSG_END_NAMESPACE
