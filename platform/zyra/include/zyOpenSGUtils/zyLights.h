#ifndef ZYLIGHTS_H
#define ZYLIGHTS_H

#include <zyOpenSGUtils/zyOpenSGUtilsApi.h>

#include <OpenSG/OSGNode.h>
#include <OpenSG/OSGVector.h>

#include <string>

/// The host's lights: nodes whose core is an `osg::Light`.
///
/// A light stands in the coordinates of its own node (its core has no beacon): at the origin, shining along
/// -z. It lights the whole scene, not only what is below it. What it gives to a surface is its light value
/// times its diffuse colour for the diffuse and times its glossy colour for the glossy reflection.
///
/// Colours, whether it is on, position, direction and the cone are in the fields of the core. The light value
/// and the penumbra angle, for which a core has no field, are in an `osg::StringAttributeMap` attached to the
/// core under the keys "LightValue" and "PenumbraAngle": so they are shared with the core, and are saved with
/// it. A light without them has the value 1 and no penumbra.
///
/// Null nodes, and nodes that are no lights, are accepted everywhere: what sets something answers false and
/// changes nothing, what gets something answers its default.
class ZYOPENSGUTILS_API zyLights
{
public:
    /// Makes a light: value 1, diffuse and glossy colour white, no ambient light, no attenuation; a spot
    /// light with a cone angle of 20 degrees and no penumbra.
    /// @param typeName      "DirectionalLight", "PointLight" or "SpotLight": the core's type
    /// @param nodeName      of the node
    /// @param castsShadows  whether what stands in the light darkens what is behind it (the core's shadow
    ///                      intensity: 1 or 0). For renderers that draw shadows.
    /// @return the node, with no reference to it; null for any other type.
    static osg::NodePtr createLight(const std::string& typeName, const std::string& nodeName,
                                    bool castsShadows);

    /// Whether the node's core is an `osg::Light`.
    static bool isLight(const osg::NodePtr& node);

    /// @name The factor of both colours
    /// @{
    static bool setLightValue(const osg::NodePtr& node, float value);
    static float getLightValue(const osg::NodePtr& node);
    /// @}

    /// @name Colours: red, green and blue, not limited
    /// @{
    static bool setDiffuse(const osg::NodePtr& node, const osg::Vec3f& color);
    static osg::Vec3f getDiffuse(const osg::NodePtr& node);
    static bool setGlossy(const osg::NodePtr& node, const osg::Vec3f& color);
    static osg::Vec3f getGlossy(const osg::NodePtr& node);
    /// @}

    /// @name Spot lights, angles in degrees
    /// @{

    /// The angle between the axis and the rim of the cone.
    static bool setConeAngle(const osg::NodePtr& node, float degrees);
    static float getConeAngle(const osg::NodePtr& node); ///< 180 for lights without a cone

    /// The angle over which the light fades to nothing, from the rim on: outwards, or inwards when negative.
    static bool setPenumbraAngle(const osg::NodePtr& node, float degrees);
    static float getPenumbraAngle(const osg::NodePtr& node);
    /// @}
};

#endif
