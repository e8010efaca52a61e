#pragma once

#include "kelda/KFnReflectShader.h"

/// A blinn shader.
class KELDA_API KFnBlinnShader : public KFnReflectShader
{
public:
    KFnBlinnShader() {}
    explicit KFnBlinnShader(const KObject& object, KStatus* status = nullptr);
    KFn::Type type() const override;

    KObject create(bool asShader = true, KStatus* status = nullptr);

    float eccentricity(KStatus* status = nullptr) const; ///< size of the highlight, 0 ... 1; not limited
    KStatus setEccentricity(float eccentricity);
    float specularRollOff(KStatus* status = nullptr) const;
    KStatus setSpecularRollOff(float rollOff);
};
