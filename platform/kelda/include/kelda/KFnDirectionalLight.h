#pragma once

#include "kelda/KFnLight.h"

/// Light from one direction, from everywhere along its +z.
class KELDA_API KFnDirectionalLight : public KFnLight
{
public:
    KFnDirectionalLight() {}
    explicit KFnDirectionalLight(const KObject& object, KStatus* status = nullptr);
    explicit KFnDirectionalLight(const KDagPath& path, KStatus* status = nullptr);
    KFn::Type type() const override;

    /// Makes a light below the parent and attaches to it. Without a parent it gets a transform of its own,
    /// which is then what is answered.
    KObject create(const KObject& parent = KObject::kNullObj, KStatus* status = nullptr);
};
