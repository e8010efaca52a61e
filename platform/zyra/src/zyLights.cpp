#include <zyOpenSGUtils/zyLights.h>

#include <OpenSG/OSGDirectionalLight.h>
#include <OpenSG/OSGSimpleAttachments.h>
#include <OpenSG/OSGSpotLight.h>
#include <OpenSG/OSGStringAttributeMap.h>

#include <charconv>

// -- Lights -----------------------------------------------------------------------------------

static osg::LightPtr lightOf(const osg::NodePtr& node)
{
    return node == osg::NullFC ? osg::LightPtr(osg::NullFC) : osg::LightPtr::dcast(node->getCore());
}

static osg::SpotLightPtr spotLightOf(const osg::NodePtr& node)
{
    return node == osg::NullFC ? osg::SpotLightPtr(osg::NullFC) : osg::SpotLightPtr::dcast(node->getCore());
}

static osg::LightPtr createCore(const std::string& typeName)
{
    if (typeName == "DirectionalLight")
        return osg::DirectionalLight::create(); // its direction is +z: towards the light
    if (typeName == "PointLight")
        return osg::PointLight::create();
    if (typeName != "SpotLight")
        return osg::NullFC;
    const osg::SpotLightPtr spot = osg::SpotLight::create();
    const osg::CPEditor edit(spot);
    spot->setSpotDirection(0.0f, 0.0f, -1.0f);
    spot->setSpotCutOffDeg(20.0f);
    return spot;
}

osg::NodePtr zyLights::createLight(const std::string& typeName, const std::string& nodeName,
                                   bool castsShadows)
{
    const osg::LightPtr core = createCore(typeName);
    if (core == osg::NullFC)
        return osg::NullFC;
    if (castsShadows) {
        const osg::CPEditor edit(core, osg::Light::ShadowIntensityFieldMask);
        core->setShadowIntensity(1.0f);
    }
    const osg::NodePtr node = osg::makeNodeFor(core);
    osg::setName(node, nodeName);
    return node;
}

bool zyLights::isLight(const osg::NodePtr& node)
{
    return lightOf(node) != osg::NullFC;
}

// -- Numbers without a field ------------------------------------------------------------------

static const char* const lightValueKey = "LightValue";
static const char* const penumbraAngleKey = "PenumbraAngle";

static osg::StringAttributeMapPtr attributesOf(const osg::LightPtr& light)
{
    return osg::StringAttributeMapPtr::dcast(
        light->findAttachment(osg::StringAttributeMap::getClassType().getGroupId()));
}

// Cores that were copied share what is attached to them: it is copied when one of them changes.
static void setNumber(const osg::LightPtr& light, const char* key, float value)
{
    osg::StringAttributeMapPtr attributes = attributesOf(light);
    if (attributes == osg::NullFC || attributes->getParents().size() > 1) {
        attributes = osg::StringAttributeMapPtr::dcast(
            attributes == osg::NullFC ? osg::StringAttributeMap::create() : attributes->shallowCopy());
        const osg::CPEditor edit(light, osg::Light::AttachmentsFieldMask);
        light->addAttachment(attributes);
    }
    char text[32];
    const std::to_chars_result end = std::to_chars(text, text + sizeof(text), value);
    const osg::CPEditor edit(attributes);
    attributes->setAttribute(key, std::string(text, end.ptr));
}

static float getNumber(const osg::LightPtr& light, const char* key, float otherwise)
{
    const osg::StringAttributeMapPtr attributes = attributesOf(light);
    std::string text;
    float value = otherwise;
    if (attributes != osg::NullFC && attributes->getAttribute(key, text))
        std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

bool zyLights::setLightValue(const osg::NodePtr& node, float value)
{
    const osg::LightPtr light = lightOf(node);
    if (light == osg::NullFC)
        return false;
    setNumber(light, lightValueKey, value);
    return true;
}

float zyLights::getLightValue(const osg::NodePtr& node)
{
    const osg::LightPtr light = lightOf(node);
    return light == osg::NullFC ? 1.0f : getNumber(light, lightValueKey, 1.0f);
}

// -- Colours ----------------------------------------------------------------------------------

static osg::Vec3f withoutAlpha(const osg::Color4f& color)
{
    return osg::Vec3f(color[0], color[1], color[2]);
}

bool zyLights::setDiffuse(const osg::NodePtr& node, const osg::Vec3f& color)
{
    const osg::LightPtr light = lightOf(node);
    if (light == osg::NullFC)
        return false;
    const osg::CPEditor edit(light, osg::Light::DiffuseFieldMask);
    light->setDiffuse(color[0], color[1], color[2], 1.0f);
    return true;
}

osg::Vec3f zyLights::getDiffuse(const osg::NodePtr& node)
{
    const osg::LightPtr light = lightOf(node);
    return light == osg::NullFC ? osg::Vec3f(1.0f, 1.0f, 1.0f) : withoutAlpha(light->getDiffuse());
}

bool zyLights::setGlossy(const osg::NodePtr& node, const osg::Vec3f& color)
{
    const osg::LightPtr light = lightOf(node);
    if (light == osg::NullFC)
        return false;
    const osg::CPEditor edit(light, osg::Light::SpecularFieldMask);
    light->setSpecular(color[0], color[1], color[2], 1.0f);
    return true;
}

osg::Vec3f zyLights::getGlossy(const osg::NodePtr& node)
{
    const osg::LightPtr light = lightOf(node);
    return light == osg::NullFC ? osg::Vec3f(1.0f, 1.0f, 1.0f) : withoutAlpha(light->getSpecular());
}

// -- Spot lights ------------------------------------------------------------------------------

bool zyLights::setConeAngle(const osg::NodePtr& node, float degrees)
{
    const osg::SpotLightPtr spot = spotLightOf(node);
    if (spot == osg::NullFC)
        return false;
    const osg::CPEditor edit(spot, osg::SpotLight::SpotCutOffFieldMask);
    spot->setSpotCutOffDeg(degrees);
    return true;
}

float zyLights::getConeAngle(const osg::NodePtr& node)
{
    const osg::SpotLightPtr spot = spotLightOf(node);
    return spot == osg::NullFC ? 180.0f : spot->getSpotCutOffDeg();
}

bool zyLights::setPenumbraAngle(const osg::NodePtr& node, float degrees)
{
    const osg::SpotLightPtr spot = spotLightOf(node);
    if (spot == osg::NullFC)
        return false;
    setNumber(spot, penumbraAngleKey, degrees);
    return true;
}

float zyLights::getPenumbraAngle(const osg::NodePtr& node)
{
    const osg::SpotLightPtr spot = spotLightOf(node);
    return spot == osg::NullFC ? 0.0f : getNumber(spot, penumbraAngleKey, 0.0f);
}
