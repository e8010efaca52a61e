#include "api/Api.h"
#include "kelda/KFnBlinnShader.h"
#include "kelda/KFnPhongShader.h"

using namespace kelda;

// -- Common to all --------------------------------------------------------------------------------

KObject KFnLambertShader::createShader(const char* typeName, KStatus* status)
{
    _object = objectOf(Scene::current().create(*findNodeType(std::string_view(typeName)), std::string())->id);
    give(status, KStatus(KStatus::kSuccess));
    return _object;
}

namespace
{

/// The plug of an attribute of the shader attached to; a null node id, with the status, when there is none.
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

} // namespace

KColor KFnLambertShader::getColor(const char* operation, const char* attribute, KStatus* status) const
{
    PlugKey plug = plugOf(_object, operation, attribute, status);
    KColor color;
    for (unsigned i = 0; i < 3 && plug.node != kNoNode; ++i) {
        ++plug.attr; // components stand behind their attribute
        double value = 0;
        Scene::current().number(plug, value);
        color[i] = static_cast<float>(value);
    }
    return color;
}

KStatus KFnLambertShader::putColor(const char* operation, const char* attribute, const KColor& color)
{
    KStatus status;
    PlugKey plug = plugOf(_object, operation, attribute, &status);
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

float KFnLambertShader::getFloat(const char* operation, const char* attribute, KStatus* status) const
{
    const PlugKey plug = plugOf(_object, operation, attribute, status);
    double value = 0;
    if (plug.node != kNoNode)
        Scene::current().number(plug, value);
    return static_cast<float>(value);
}

KStatus KFnLambertShader::putFloat(const char* operation, const char* attribute, float value)
{
    KStatus status;
    const PlugKey plug = plugOf(_object, operation, attribute, &status);
    if (status.error())
        return status;
    return Scene::current().setNumber(plug, static_cast<double>(value)).code;
}

// -- Lambert --------------------------------------------------------------------------------------

KFnLambertShader::KFnLambertShader(const KObject& object, KStatus* status)
{
    if (!give(status, enter("KFnLambertShader::KFnLambertShader")).error())
        give(status, setObject(object));
}

KFn::Type KFnLambertShader::type() const
{
    return KFn::kLambert;
}

KObject KFnLambertShader::create(bool, KStatus* status)
{
    if (give(status, enter("KFnLambertShader::create")).error())
        return KObject();
    return createShader("lambert", status);
}

KColor KFnLambertShader::color(KStatus* status) const
{
    return getColor("KFnLambertShader::color", "color", status);
}

KStatus KFnLambertShader::setColor(const KColor& color)
{
    return putColor("KFnLambertShader::setColor", "color", color);
}

KColor KFnLambertShader::ambientColor(KStatus* status) const
{
    return getColor("KFnLambertShader::ambientColor", "ambientColor", status);
}

KStatus KFnLambertShader::setAmbientColor(const KColor& color)
{
    return putColor("KFnLambertShader::setAmbientColor", "ambientColor", color);
}

KColor KFnLambertShader::transparency(KStatus* status) const
{
    return getColor("KFnLambertShader::transparency", "transparency", status);
}

KStatus KFnLambertShader::setTransparency(const KColor& transparency)
{
    return putColor("KFnLambertShader::setTransparency", "transparency", transparency);
}

KColor KFnLambertShader::incandescence(KStatus* status) const
{
    return getColor("KFnLambertShader::incandescence", "incandescence", status);
}

KStatus KFnLambertShader::setIncandescence(const KColor& color)
{
    return putColor("KFnLambertShader::setIncandescence", "incandescence", color);
}

float KFnLambertShader::diffuseCoeff(KStatus* status) const
{
    return getFloat("KFnLambertShader::diffuseCoeff", "diffuse", status);
}

KStatus KFnLambertShader::setDiffuseCoeff(float coefficient)
{
    return putFloat("KFnLambertShader::setDiffuseCoeff", "diffuse", coefficient);
}

float KFnLambertShader::translucenceCoeff(KStatus* status) const
{
    return getFloat("KFnLambertShader::translucenceCoeff", "translucence", status);
}

KStatus KFnLambertShader::setTranslucenceCoeff(float coefficient)
{
    return putFloat("KFnLambertShader::setTranslucenceCoeff", "translucence", coefficient);
}

// -- Reflect --------------------------------------------------------------------------------------

KFnReflectShader::KFnReflectShader(const KObject& object, KStatus* status)
{
    if (!give(status, enter("KFnReflectShader::KFnReflectShader")).error())
        give(status, setObject(object));
}

KFn::Type KFnReflectShader::type() const
{
    return KFn::kReflect;
}

KColor KFnReflectShader::specularColor(KStatus* status) const
{
    return getColor("KFnReflectShader::specularColor", "specularColor", status);
}

KStatus KFnReflectShader::setSpecularColor(const KColor& color)
{
    return putColor("KFnReflectShader::setSpecularColor", "specularColor", color);
}

float KFnReflectShader::reflectivity(KStatus* status) const
{
    return getFloat("KFnReflectShader::reflectivity", "reflectivity", status);
}

KStatus KFnReflectShader::setReflectivity(float reflectivity)
{
    return putFloat("KFnReflectShader::setReflectivity", "reflectivity", reflectivity);
}

KColor KFnReflectShader::reflectedColor(KStatus* status) const
{
    return getColor("KFnReflectShader::reflectedColor", "reflectedColor", status);
}

KStatus KFnReflectShader::setReflectedColor(const KColor& color)
{
    return putColor("KFnReflectShader::setReflectedColor", "reflectedColor", color);
}

// -- Phong ----------------------------------------------------------------------------------------

KFnPhongShader::KFnPhongShader(const KObject& object, KStatus* status)
{
    if (!give(status, enter("KFnPhongShader::KFnPhongShader")).error())
        give(status, setObject(object));
}

KFn::Type KFnPhongShader::type() const
{
    return KFn::kPhong;
}

KObject KFnPhongShader::create(bool, KStatus* status)
{
    if (give(status, enter("KFnPhongShader::create")).error())
        return KObject();
    return createShader("phong", status);
}

float KFnPhongShader::cosPower(KStatus* status) const
{
    return getFloat("KFnPhongShader::cosPower", "cosinePower", status);
}

KStatus KFnPhongShader::setCosPower(float power)
{
    return putFloat("KFnPhongShader::setCosPower", "cosinePower", power);
}

// -- Blinn ----------------------------------------------------------------------------------------

KFnBlinnShader::KFnBlinnShader(const KObject& object, KStatus* status)
{
    if (!give(status, enter("KFnBlinnShader::KFnBlinnShader")).error())
        give(status, setObject(object));
}

KFn::Type KFnBlinnShader::type() const
{
    return KFn::kBlinn;
}

KObject KFnBlinnShader::create(bool, KStatus* status)
{
    if (give(status, enter("KFnBlinnShader::create")).error())
        return KObject();
    return createShader("blinn", status);
}

float KFnBlinnShader::eccentricity(KStatus* status) const
{
    return getFloat("KFnBlinnShader::eccentricity", "eccentricity", status);
}

KStatus KFnBlinnShader::setEccentricity(float eccentricity)
{
    return putFloat("KFnBlinnShader::setEccentricity", "eccentricity", eccentricity);
}

float KFnBlinnShader::specularRollOff(KStatus* status) const
{
    return getFloat("KFnBlinnShader::specularRollOff", "specularRollOff", status);
}

KStatus KFnBlinnShader::setSpecularRollOff(float rollOff)
{
    return putFloat("KFnBlinnShader::setSpecularRollOff", "specularRollOff", rollOff);
}
