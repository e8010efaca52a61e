#pragma once

#include "kelda/KFnLight.h"

/// Light from all around.
class KELDA_API KFnAmbientLight : public KFnLight
{
public:
    KFnAmbientLight() {}
    explicit KFnAmbientLight(const KObject& object, KStatus* status = nullptr);
    explicit KFnAmbientLight(const KDagPath& path, KStatus* status = nullptr);
    KFn::Type type() const override;

    /// Makes a light below the parent and attaches to it. Without a parent it gets a transform of its own,
    /// which is then what is answered.
    KObject create(const KObject& parent = KObject::kNullObj, KStatus* status = nullptr);

    /// Share of the light that comes from its place, 0 ... 1; the rest comes from all directions. Not
    /// limited.
    float ambientShade(KStatus* status = nullptr) const;
    KStatus setAmbientShade(float shade);
};
