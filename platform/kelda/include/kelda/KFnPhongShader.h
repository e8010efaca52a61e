#pragma once

#include "kelda/KFnReflectShader.h"

/// A phong shader.
class KELDA_API KFnPhongShader : public KFnReflectShader
{
public:
    KFnPhongShader() {}
    explicit KFnPhongShader(const KObject& object, KStatus* status = nullptr);
    KFn::Type type() const override;

    KObject create(bool asShader = true, KStatus* status = nullptr);

    float cosPower(KStatus* status = nullptr) const; ///< exponent of the highlight; not limited
    KStatus setCosPower(float power);
};
