#pragma once

#include "kelda/KFnLight.h"

/// Light from one point in a cone. Angles are in radians.
class KELDA_API KFnSpotLight : public KFnLight
{
public:
    KFnSpotLight() {}
    explicit KFnSpotLight(const KObject& object, KStatus* status = nullptr);
    explicit KFnSpotLight(const KDagPath& path, KStatus* status = nullptr);
    KFn::Type type() const override;

    /// Makes a light below the parent and attaches to it. Without a parent it gets a transform of its own,
    /// which is then what is answered.
    KObject create(const KObject& parent = KObject::kNullObj, KStatus* status = nullptr);

    /// How the light fades with the distance: 0 not at all, 1 linearly, 2 quadratically, 3 cubically.
    short decayRate(KStatus* status = nullptr) const;
    KStatus setDecayRate(short rate); ///< kInvalidParameter beyond 0 ... 3

    double coneAngle(KStatus* status = nullptr) const; ///< full angle of the cone
    KStatus setConeAngle(double angle);
    /// Angle over which the light fades out at the rim of the cone: outside it, or inside when negative.
    double penumbraAngle(KStatus* status = nullptr) const;
    KStatus setPenumbraAngle(double angle);
    double dropOff(KStatus* status = nullptr) const; ///< how much it fades from the axis to the rim; 0: not
    KStatus setDropOff(double dropOff);
};
