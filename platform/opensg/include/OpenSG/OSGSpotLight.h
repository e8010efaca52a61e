#pragma once

#include <OpenSG/OSGPointLight.h>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(SpotLight, PointLightPtr)

/// Light from one point in a cone.
class OSG_PLATFORM_API SpotLight : public PointLight
{
    OSG_FIELD_CONTAINER(SpotLight, PointLight)

    /// Away from the light.
    OSG_SFIELD(14, Direction, direction, Vec3f, 0.f, 0.f, 1.f)
    /// The light fades with the cosine of the angle to the axis to this power.
    OSG_SFIELD(15, SpotExponent, spotExponent, Real32, 0.f)
    /// Angle between axis and rim, in radians.
    OSG_SFIELD(16, SpotCutOff, spotCutOff, Real32, 0.f)

    void setSpotDirection(Real32 x, Real32 y, Real32 z) { setDirection(Vec3f(x, y, z)); }
    void setSpotCutOffDeg(Real32 degrees) { setSpotCutOff(osgdegree2rad(degrees)); }
    Real32 getSpotCutOffDeg() const { return osgrad2degree(getSpotCutOff()); }

protected:
    SpotLight() {}
    SpotLight(const SpotLight&) = default;
};

OSG_END_NAMESPACE
