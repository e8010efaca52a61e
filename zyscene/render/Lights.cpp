#include "Lights.h"

#include <OpenSG/OSGDirectionalLight.h>
#include <OpenSG/OSGPointLight.h>
#include <OpenSG/OSGSpotLight.h>

#include <algorithm>
#include <cmath>
#include <string>

namespace zyscene::render
{

namespace
{
// Half the opening of a cone, in degrees: OpenGL has them up to a half space, and light to all sides.
constexpr float widestCone = 90;
constexpr float allSides = 180;
constexpr float maxExponent = 128;

void setSpot(const Gl& gl, GLenum name, const osg::SpotLight& light)
{
    const osg::Vec3f& direction = light.getDirection();
    const GLfloat axis[] = {direction[0], direction[1], direction[2]};
    const float cutOff = light.getSpotCutOffDeg();
    gl.Lightfv(name, GL_SPOT_DIRECTION, axis);
    gl.Lightf(name, GL_SPOT_EXPONENT, std::clamp(light.getSpotExponent(), 0.f, maxExponent));
    gl.Lightf(name, GL_SPOT_CUTOFF, cutOff >= allSides ? allSides : std::clamp(cutOff, 0.f, widestCone));
}

void setColor(const Gl& gl, GLenum name, GLenum which, const osg::Color4f& color, float value)
{
    const GLfloat shown[] = {value * color[0], value * color[1], value * color[2], color[3]};
    gl.Lightfv(name, which, shown);
}

void setLight(Frame& frame, GLenum name, const LightUse& use)
{
    const Gl& gl = frame.gl;
    // Position and direction are taken to be in the system that is current now.
    WorldMatrix place = frame.view;
    place.mult(use.world);
    gl.LoadMatrixd(place.getValues());

    const osg::Light& light = *use.light;
    gl.Lightfv(name, GL_AMBIENT, light.getAmbient().getValuesRGBA());
    setColor(gl, name, GL_DIFFUSE, light.getDiffuse(), use.value);
    setColor(gl, name, GL_SPECULAR, light.getSpecular(), use.value);
    gl.Lightf(name, GL_CONSTANT_ATTENUATION, light.getConstantAttenuation());
    gl.Lightf(name, GL_LINEAR_ATTENUATION, light.getLinearAttenuation());
    gl.Lightf(name, GL_QUADRATIC_ATTENUATION, light.getQuadraticAttenuation());
    gl.Lightf(name, GL_SPOT_CUTOFF, allSides);

    if (const auto* const directional = dynamic_cast<const osg::DirectionalLight*>(&light)) {
        const osg::Vec3f& direction = directional->getDirection();
        const GLfloat towards[] = {direction[0], direction[1], direction[2], 0};
        gl.Lightfv(name, GL_POSITION, towards);
    } else if (const auto* const point = dynamic_cast<const osg::PointLight*>(&light)) {
        const osg::Pnt3f& position = point->getPosition();
        const GLfloat at[] = {position[0], position[1], position[2], 1};
        gl.Lightfv(name, GL_POSITION, at);
    }
    if (const auto* const spot = dynamic_cast<const osg::SpotLight*>(&light))
        setSpot(gl, name, *spot);
    gl.Enable(name);
}

void setHeadlight(const Gl& gl)
{
    // From straight ahead the three sides of a box would look alike.
    const GLfloat towards[] = {-0.2f, 0.3f, 1, 0};
    const GLfloat length = std::hypot(towards[0], towards[1], towards[2]);
    const GLfloat black[] = {0, 0, 0, 1};
    const GLfloat white[] = {1, 1, 1, 1};
    const GLfloat fullAhead[] = {length, length, length, 1}; // what faces the eye has its own colour
    gl.LoadIdentity();
    gl.Lightfv(GL_LIGHT0, GL_AMBIENT, black);
    gl.Lightfv(GL_LIGHT0, GL_DIFFUSE, fullAhead);
    gl.Lightfv(GL_LIGHT0, GL_SPECULAR, white);
    gl.Lightfv(GL_LIGHT0, GL_POSITION, towards);
    gl.Lightf(GL_LIGHT0, GL_SPOT_CUTOFF, allSides);
    gl.Enable(GL_LIGHT0);
}
} // namespace

void setLights(Frame& frame, const std::vector<LightUse>& lights)
{
    const Gl& gl = frame.gl;
    const std::size_t most = static_cast<std::size_t>(std::max(0, gl.integer(GL_MAX_LIGHTS)));
    for (std::size_t i = 0; i < most; ++i)
        gl.Disable(GL_LIGHT0 + static_cast<GLenum>(i));
    gl.MatrixMode(GL_MODELVIEW);
    if (lights.empty()) {
        setHeadlight(gl);
        return;
    }
    for (std::size_t i = 0; i < std::min(lights.size(), most); ++i)
        setLight(frame, GL_LIGHT0 + static_cast<GLenum>(i), lights[i]);
    if (lights.size() > most) {
        frame.notices.add("only the first " + std::to_string(most) + " of " + std::to_string(lights.size()) +
                          " lights are shown");
    }
    if (gl.takeErrors())
        frame.notices.add("a light has values that OpenGL does not know: they are left out");
}

} // namespace zyscene::render
