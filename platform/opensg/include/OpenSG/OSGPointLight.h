#pragma once

#include <OpenSG/OSGLight.h>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(PointLight, LightPtr)

/// Light from one point.
class OSG_PLATFORM_API PointLight : public Light
{
    OSG_FIELD_CONTAINER(PointLight, Light)

    OSG_SFIELD(13, Position, position, Pnt3f, 0.f, 0.f, 0.f)

    void setPosition(Real32 x, Real32 y, Real32 z) { setPosition(Pnt3f(x, y, z)); }
    void setAttenuation(Real32 constant, Real32 linear, Real32 quadratic)
    {
        setConstantAttenuation(constant);
        setLinearAttenuation(linear);
        setQuadraticAttenuation(quadratic);
    }

protected:
    PointLight() {}
    PointLight(const PointLight&) = default;
};

OSG_END_NAMESPACE
