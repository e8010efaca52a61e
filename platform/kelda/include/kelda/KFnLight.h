#pragma once

#include "kelda/KColor.h"
#include "kelda/KFnDagNode.h"

/// A light of any kind. Lights are shapes: the transform above places them. In its own space a light stands
/// at the origin and shines along -z. What is answered are the values held by the node, also for an attribute
/// that something is connected to.
class KELDA_API KFnLight : public KFnDagNode
{
public:
    KFnLight() {}
    explicit KFnLight(const KObject& object, KStatus* status = nullptr);
    /// The path of a light, or of a transform: then the first light below it that is no intermediate object.
    explicit KFnLight(const KDagPath& path, KStatus* status = nullptr);
    KFn::Type type() const override;

    KColor color(KStatus* status = nullptr) const;
    KStatus setColor(const KColor& color);
    float intensity(KStatus* status = nullptr) const; ///< factor of the colour; not limited
    KStatus setIntensity(float intensity);
    bool lightDiffuse(KStatus* status = nullptr) const; ///< does it light diffuse surfaces?
    KStatus setLightDiffuse(bool lights);
    bool lightSpecular(KStatus* status = nullptr) const; ///< does it make highlights?
    KStatus setLightSpecular(bool lights);

protected:
    KObject createLight(const char* operation, const char* typeName, const KObject& parent, KStatus* status);
    double getNumber(const char* operation, const char* attribute, KStatus* status) const;
    KStatus putNumber(const char* operation, const char* attribute, double value);
};
