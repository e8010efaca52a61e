#include "api/Api.h"
#include "kelda/KFnAmbientLight.h"
#include "kelda/KFnAreaLight.h"
#include "kelda/KFnDirectionalLight.h"
#include "kelda/KFnPointLight.h"
#include "kelda/KFnSpotLight.h"

using namespace kelda;

// -- Attaching and making -------------------------------------------------------------------------

KFnLight::KFnLight(const KObject& object, KStatus* status)
{
    if (!give(status, enter("KFnLight::KFnLight")).error())
        give(status, setObject(object));
}

KFnLight::KFnLight(const KDagPath& path, KStatus* status)
{
    if (!give(status, enter("KFnLight::KFnLight")).error())
        give(status, setObject(path));
}

KFn::Type KFnLight::type() const
{
    return KFn::kLight;
}

KObject KFnLight::createLight(const char* operation, const char* typeName, const KObject& parent,
                              KStatus* status)
{
    if (give(status, enter(operation)).error())
        return KObject();
    return KFnDagNode::create(typeName, KString(), parent, status);
}

// -- Attributes -----------------------------------------------------------------------------------

namespace
{

/// The plug of an attribute of the light attached to; a null node id, with the status, when there is none.
PlugKey plugOf(const KObject& object, const char* operation, const char* attribute, KStatus* status)
{
    PlugKey plug;
    if (give(status, enter(operation)).error())
        return plug;
    const Node* node = nodeOf(object);
    plug.attr = node ? node->type->findAttr(attribute) : -1;
    if (plug.attr < 0) {
        give(status, KStatus(KStatus::kInvalidParameter));
        return plug;
    }
    plug.node = node->id;
    return plug;
}

bool isDecayRate(short rate)
{
    return rate >= 0 && rate <= 3;
}

} // namespace

double KFnLight::getNumber(const char* operation, const char* attribute, KStatus* status) const
{
    const PlugKey plug = plugOf(_object, operation, attribute, status);
    double value = 0;
    if (plug.node != kNoNode)
        Scene::current().number(plug, value);
    return value;
}

KStatus KFnLight::putNumber(const char* operation, const char* attribute, double value)
{
    KStatus status;
    const PlugKey plug = plugOf(_object, operation, attribute, &status);
    if (status.error())
        return status;
    return Scene::current().setNumber(plug, value).code;
}

KColor KFnLight::color(KStatus* status) const
{
    PlugKey plug = plugOf(_object, "KFnLight::color", "color", status);
    KColor color;
    for (unsigned i = 0; i < 3 && plug.node != kNoNode; ++i) {
        ++plug.attr; // components stand behind their attribute
        double value = 0;
        Scene::current().number(plug, value);
        color[i] = static_cast<float>(value);
    }
    return color;
}

KStatus KFnLight::setColor(const KColor& color)
{
    KStatus status;
    PlugKey plug = plugOf(_object, "KFnLight::setColor", "color", &status);
    if (status.error())
        return status;
    if (!allFinite(&color.r, 1) || !allFinite(&color.g, 1) || !allFinite(&color.b, 1))
        return KStatus::kInvalidParameter;
    for (unsigned i = 0; i < 3; ++i) {
        ++plug.attr;
        Scene::current().setNumber(plug, static_cast<double>(color[i]));
    }
    return status;
}

float KFnLight::intensity(KStatus* status) const
{
    return static_cast<float>(getNumber("KFnLight::intensity", "intensity", status));
}

KStatus KFnLight::setIntensity(float intensity)
{
    return putNumber("KFnLight::setIntensity", "intensity", static_cast<double>(intensity));
}

bool KFnLight::lightDiffuse(KStatus* status) const
{
    return getNumber("KFnLight::lightDiffuse", "emitDiffuse", status) != 0;
}

KStatus KFnLight::setLightDiffuse(bool lights)
{
    return putNumber("KFnLight::setLightDiffuse", "emitDiffuse", lights);
}

bool KFnLight::lightSpecular(KStatus* status) const
{
    return getNumber("KFnLight::lightSpecular", "emitSpecular", status) != 0;
}

KStatus KFnLight::setLightSpecular(bool lights)
{
    return putNumber("KFnLight::setLightSpecular", "emitSpecular", lights);
}

// -- Kinds ----------------------------------------------------------------------------------------

KFnDirectionalLight::KFnDirectionalLight(const KObject& object, KStatus* status)
{
    if (!give(status, enter("KFnDirectionalLight::KFnDirectionalLight")).error())
        give(status, setObject(object));
}

KFnDirectionalLight::KFnDirectionalLight(const KDagPath& path, KStatus* status)
{
    if (!give(status, enter("KFnDirectionalLight::KFnDirectionalLight")).error())
        give(status, setObject(path));
}

KFn::Type KFnDirectionalLight::type() const
{
    return KFn::kDirectionalLight;
}

KObject KFnDirectionalLight::create(const KObject& parent, KStatus* status)
{
    return createLight("KFnDirectionalLight::create", "directionalLight", parent, status);
}

KFnAmbientLight::KFnAmbientLight(const KObject& object, KStatus* status)
{
    if (!give(status, enter("KFnAmbientLight::KFnAmbientLight")).error())
        give(status, setObject(object));
}

KFnAmbientLight::KFnAmbientLight(const KDagPath& path, KStatus* status)
{
    if (!give(status, enter("KFnAmbientLight::KFnAmbientLight")).error())
        give(status, setObject(path));
}

KFn::Type KFnAmbientLight::type() const
{
    return KFn::kAmbientLight;
}

KObject KFnAmbientLight::create(const KObject& parent, KStatus* status)
{
    return createLight("KFnAmbientLight::create", "ambientLight", parent, status);
}

float KFnAmbientLight::ambientShade(KStatus* status) const
{
    return static_cast<float>(getNumber("KFnAmbientLight::ambientShade", "ambientShade", status));
}

KStatus KFnAmbientLight::setAmbientShade(float shade)
{
    return putNumber("KFnAmbientLight::setAmbientShade", "ambientShade", static_cast<double>(shade));
}

KFnPointLight::KFnPointLight(const KObject& object, KStatus* status)
{
    if (!give(status, enter("KFnPointLight::KFnPointLight")).error())
        give(status, setObject(object));
}

KFnPointLight::KFnPointLight(const KDagPath& path, KStatus* status)
{
    if (!give(status, enter("KFnPointLight::KFnPointLight")).error())
        give(status, setObject(path));
}

KFn::Type KFnPointLight::type() const
{
    return KFn::kPointLight;
}

KObject KFnPointLight::create(const KObject& parent, KStatus* status)
{
    return createLight("KFnPointLight::create", "pointLight", parent, status);
}

short KFnPointLight::decayRate(KStatus* status) const
{
    return static_cast<short>(getNumber("KFnPointLight::decayRate", "decayRate", status));
}

KStatus KFnPointLight::setDecayRate(short rate)
{
    if (!isDecayRate(rate))
        return KStatus::kInvalidParameter;
    return putNumber("KFnPointLight::setDecayRate", "decayRate", rate);
}

KFnAreaLight::KFnAreaLight(const KObject& object, KStatus* status)
{
    if (!give(status, enter("KFnAreaLight::KFnAreaLight")).error())
        give(status, setObject(object));
}

KFnAreaLight::KFnAreaLight(const KDagPath& path, KStatus* status)
{
    if (!give(status, enter("KFnAreaLight::KFnAreaLight")).error())
        give(status, setObject(path));
}

KFn::Type KFnAreaLight::type() const
{
    return KFn::kAreaLight;
}

KObject KFnAreaLight::create(const KObject& parent, KStatus* status)
{
    return createLight("KFnAreaLight::create", "areaLight", parent, status);
}

short KFnAreaLight::decayRate(KStatus* status) const
{
    return static_cast<short>(getNumber("KFnAreaLight::decayRate", "decayRate", status));
}

KStatus KFnAreaLight::setDecayRate(short rate)
{
    if (!isDecayRate(rate))
        return KStatus::kInvalidParameter;
    return putNumber("KFnAreaLight::setDecayRate", "decayRate", rate);
}

KFnSpotLight::KFnSpotLight(const KObject& object, KStatus* status)
{
    if (!give(status, enter("KFnSpotLight::KFnSpotLight")).error())
        give(status, setObject(object));
}

KFnSpotLight::KFnSpotLight(const KDagPath& path, KStatus* status)
{
    if (!give(status, enter("KFnSpotLight::KFnSpotLight")).error())
        give(status, setObject(path));
}

KFn::Type KFnSpotLight::type() const
{
    return KFn::kSpotLight;
}

KObject KFnSpotLight::create(const KObject& parent, KStatus* status)
{
    return createLight("KFnSpotLight::create", "spotLight", parent, status);
}

short KFnSpotLight::decayRate(KStatus* status) const
{
    return static_cast<short>(getNumber("KFnSpotLight::decayRate", "decayRate", status));
}

KStatus KFnSpotLight::setDecayRate(short rate)
{
    if (!isDecayRate(rate))
        return KStatus::kInvalidParameter;
    return putNumber("KFnSpotLight::setDecayRate", "decayRate", rate);
}

double KFnSpotLight::coneAngle(KStatus* status) const
{
    return getNumber("KFnSpotLight::coneAngle", "coneAngle", status);
}

KStatus KFnSpotLight::setConeAngle(double angle)
{
    return putNumber("KFnSpotLight::setConeAngle", "coneAngle", angle);
}

double KFnSpotLight::penumbraAngle(KStatus* status) const
{
    return getNumber("KFnSpotLight::penumbraAngle", "penumbraAngle", status);
}

KStatus KFnSpotLight::setPenumbraAngle(double angle)
{
    return putNumber("KFnSpotLight::setPenumbraAngle", "penumbraAngle", angle);
}

double KFnSpotLight::dropOff(KStatus* status) const
{
    return getNumber("KFnSpotLight::dropOff", "dropoff", status);
}

KStatus KFnSpotLight::setDropOff(double dropOff)
{
    return putNumber("KFnSpotLight::setDropOff", "dropoff", dropOff);
}
