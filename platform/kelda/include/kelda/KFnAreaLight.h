#pragma once

#include "kelda/KFnLight.h"

/// Light from the square -1 ... 1 in x and y.
class KELDA_API KFnAreaLight : public KFnLight
{
public:
    KFnAreaLight() {}
    explicit KFnAreaLight(const KObject& object, KStatus* status = nullptr);
    explicit KFnAreaLight(const KDagPath& path, KStatus* status = nullptr);
    KFn::Type type() const override;

    /// Makes a light below the parent and attaches to it. Without a parent it gets a transform of its own,
    /// which is then what is answered.
    KObject create(const KObject& parent = KObject::kNullObj, KStatus* status = nullptr);

    /// How the light fades with the distance: 0 not at all, 1 linearly, 2 quadratically, 3 cubically.
    short decayRate(KStatus* status = nullptr) const;
    KStatus setDecayRate(short rate); ///< kInvalidParameter beyond 0 ... 3
};
