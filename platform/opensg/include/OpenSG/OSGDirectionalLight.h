#pragma once

#include <OpenSG/OSGLight.h>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(DirectionalLight, LightPtr)

/// Light from one direction.
class OSG_PLATFORM_API DirectionalLight : public Light
{
    OSG_FIELD_CONTAINER(DirectionalLight, Light)

    /// Towards the light.
    OSG_SFIELD(13, Direction, direction, Vec3f, 0.f, 0.f, 1.f)

    void setDirection(Real32 x, Real32 y, Real32 z) { setDirection(Vec3f(x, y, z)); }

protected:
    DirectionalLight() {}
    DirectionalLight(const DirectionalLight&) = default;
};

OSG_END_NAMESPACE
