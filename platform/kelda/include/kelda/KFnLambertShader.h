#pragma once

#include "kelda/KColor.h"
#include "kelda/KFnDependencyNode.h"

/// A lambert shader, or one based on it. What is answered are the values held by the node, also for an
/// attribute that a texture is connected to.
class KELDA_API KFnLambertShader : public KFnDependencyNode
{
public:
    KFnLambertShader() {}
    explicit KFnLambertShader(const KObject& object, KStatus* status = nullptr);
    KFn::Type type() const override;

    /// Makes a shader with the type's default name, numbered, and attaches to it. Shaders belong to no list
    /// that they would have to be left out of, so `asShader` changes nothing.
    KObject create(bool asShader = true, KStatus* status = nullptr);

    KColor color(KStatus* status = nullptr) const;
    KStatus setColor(const KColor& color);
    KColor ambientColor(KStatus* status = nullptr) const;
    KStatus setAmbientColor(const KColor& color);
    KColor transparency(KStatus* status = nullptr) const; ///< 0: opaque
    KStatus setTransparency(const KColor& transparency);
    KColor incandescence(KStatus* status = nullptr) const;
    KStatus setIncandescence(const KColor& color);
    float diffuseCoeff(KStatus* status = nullptr) const;
    KStatus setDiffuseCoeff(float coefficient);
    float translucenceCoeff(KStatus* status = nullptr) const;
    KStatus setTranslucenceCoeff(float coefficient);

protected:
    KObject createShader(const char* typeName, KStatus* status);
    KColor getColor(const char* operation, const char* attribute, KStatus* status) const;
    KStatus putColor(const char* operation, const char* attribute, const KColor& color);
    float getFloat(const char* operation, const char* attribute, KStatus* status) const;
    KStatus putFloat(const char* operation, const char* attribute, float value);
};
