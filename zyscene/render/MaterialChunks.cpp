// Colours of the lighting model, and lighting of back faces.

#include "Chunks.h"

#include <OpenSG/OSGMaterialChunk.h>
#include <OpenSG/OSGTwoSidedLightingChunk.h>

#include <algorithm>

namespace zyscene::render
{

namespace
{
// OpenGL knows no exponent above this.
constexpr float maxShininess = 128;

void setColor(const Gl& gl, GLenum face, GLenum name, const osg::Color4f& color)
{
    gl.Materialfv(face, name, color.getValuesRGBA());
}

// Takes colours of vertices for those of the material that the mode names.
void followVertexColors(const Gl& gl, GLenum face, GLenum mode)
{
    if (mode == GL_NONE)
        return;
    gl.ColorMaterial(face, mode);
    gl.Enable(GL_COLOR_MATERIAL);
}

void applyMaterial(Frame& frame, const osg::StateChunkPtr& chunk, unsigned int)
{
    const osg::MaterialChunk& material = static_cast<const osg::MaterialChunk&>(*chunk);
    const Gl& gl = frame.gl;
    // The colour of what is not lit, unless the vertices have colours.
    gl.Color4fv(material.getDiffuse().getValuesRGBA());
    if (!material.getLit())
        return;

    const bool bothAlike = !material.getBackMaterial();
    const GLenum front = bothAlike ? GL_FRONT_AND_BACK : GL_FRONT;
    gl.Enable(GL_LIGHTING);
    setColor(gl, front, GL_AMBIENT, material.getAmbient());
    setColor(gl, front, GL_DIFFUSE, material.getDiffuse());
    setColor(gl, front, GL_SPECULAR, material.getSpecular());
    setColor(gl, front, GL_EMISSION, material.getEmission());
    gl.Materialf(front, GL_SHININESS, std::clamp(material.getShininess(), 0.f, maxShininess));
    if (!bothAlike) {
        setColor(gl, GL_BACK, GL_AMBIENT, material.getBackAmbient());
        setColor(gl, GL_BACK, GL_DIFFUSE, material.getBackDiffuse());
        setColor(gl, GL_BACK, GL_SPECULAR, material.getBackSpecular());
        setColor(gl, GL_BACK, GL_EMISSION, material.getBackEmission());
        gl.Materialf(GL_BACK, GL_SHININESS, std::clamp(material.getBackShininess(), 0.f, maxShininess));
    }
    // OpenGL has one mode at a time: the one set last stands.
    if (frame.colored) {
        if (!bothAlike)
            followVertexColors(gl, GL_BACK, material.getBackColorMaterial());
        followVertexColors(gl, front, material.getColorMaterial());
    }
}

void resetMaterial(Frame& frame, unsigned int)
{
    frame.gl.Disable(GL_COLOR_MATERIAL);
    frame.gl.Disable(GL_LIGHTING);
}

void applyTwoSided(Frame& frame, const osg::StateChunkPtr&, unsigned int)
{
    frame.gl.LightModeli(GL_LIGHT_MODEL_TWO_SIDE, GL_TRUE);
}

void resetTwoSided(Frame& frame, unsigned int)
{
    frame.gl.LightModeli(GL_LIGHT_MODEL_TWO_SIDE, GL_FALSE);
}
} // namespace

const ChunkRow materialChunkRow = {&osg::MaterialChunk::getStaticClass, &applyMaterial, &resetMaterial};
const ChunkRow twoSidedLightingChunkRow = {&osg::TwoSidedLightingChunk::getStaticClass, &applyTwoSided,
                                           &resetTwoSided};

} // namespace zyscene::render
