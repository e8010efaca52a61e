#pragma once

#include "kelda/KFnLight.h"

/// Light from one point into all directions.
class KELDA_API KFnPointLight : public KFnLight
{
public:
    KFnPointLight() {}
    explicit KFnPointLight(const KObject& object, KStatus* status = nullptr);
    explicit KFnPointLight(const KDagPath& path, KStatus* status = nullptr);
    KFn::Type type() const override;

    /// Makes a light below the parent and attaches to it. Without a parent it gets a transform of its own,
    /// which is then what is answered.
    KObject create(const KObject& parent = KObject::kNullObj, KStatus* status = nullptr);

    /// How the light fades with the distance: 0 not at all, 1 linearly, 2 quadratically, 3 cubically.
    short decayRate(KStatus* status = nullptr) const;
    KStatus setDecayRate(short rate); ///< kInvalidParameter beyond 0 ... 3
};
