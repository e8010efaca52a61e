#pragma once

#include "kelda/KFnLambertShader.h"

/// What phong and blinn shaders have in common. There is no node of this type alone.
class KELDA_API KFnReflectShader : public KFnLambertShader
{
public:
    KFnReflectShader() {}
    explicit KFnReflectShader(const KObject& object, KStatus* status = nullptr);
    KFn::Type type() const override;

    KColor specularColor(KStatus* status = nullptr) const;
    KStatus setSpecularColor(const KColor& color);
    float reflectivity(KStatus* status = nullptr) const;
    KStatus setReflectivity(float reflectivity);
    KColor reflectedColor(KStatus* status = nullptr) const;
    KStatus setReflectedColor(const KColor& color);
};
