// Textures, and how each joins the colour that comes from the units before it.

#include "Chunks.h"

#include <OpenSG/OSGCubeTextureChunk.h>
#include <OpenSG/OSGTextureChunk.h>

#include <algorithm>
#include <utility>

namespace zyscene::render
{

namespace
{
constexpr GLenum textureTargets[] = {GL_TEXTURE_2D, GL_TEXTURE_3D, GL_TEXTURE_CUBE_MAP};

bool usesLevels(GLenum minFilter)
{
    return minFilter != GL_NEAREST && minFilter != GL_LINEAR;
}

void setParameters(Frame& frame, const osg::TextureChunk& chunk, const Texture& texture)
{
    const Gl& gl = frame.gl;
    const auto set = [&](GLenum name, GLenum value) {
        gl.TexParameteri(texture.target, name, static_cast<GLint>(value));
    };
    if (usesLevels(chunk.getMinFilter()))
        frame.textures.needLevels(texture);
    set(GL_TEXTURE_MIN_FILTER, chunk.getMinFilter());
    set(GL_TEXTURE_MAG_FILTER, chunk.getMagFilter());
    // An image of one row is the same all the way across.
    const bool oneRow = texture.target == GL_TEXTURE_2D && chunk.getImage()->getHeight() == 1;
    set(GL_TEXTURE_WRAP_S, chunk.getWrapS());
    set(GL_TEXTURE_WRAP_T, oneRow ? GL_REPEAT : chunk.getWrapT());
    set(GL_TEXTURE_WRAP_R, chunk.getWrapR());
    gl.TexParameterfv(texture.target, GL_TEXTURE_BORDER_COLOR, chunk.getBorderColor().getValuesRGBA());
    if (frame.maxAnisotropy > 1) {
        gl.TexParameterf(texture.target, GL_TEXTURE_MAX_ANISOTROPY_EXT,
                         std::clamp(chunk.getAnisotropy(), 1.f, frame.maxAnisotropy));
    }
}

void setCombiner(const Gl& gl, const osg::TextureChunk& chunk)
{
    const struct {
        GLenum name;
        GLenum initial;
        GLenum value;
    } values[] = {
        {GL_COMBINE_RGB, GL_MODULATE, chunk.getEnvCombineRGB()},
        {GL_COMBINE_ALPHA, GL_MODULATE, chunk.getEnvCombineAlpha()},
        {GL_SOURCE0_RGB, GL_TEXTURE, chunk.getEnvSource0RGB()},
        {GL_SOURCE1_RGB, GL_PREVIOUS, chunk.getEnvSource1RGB()},
        {GL_SOURCE2_RGB, GL_CONSTANT, chunk.getEnvSource2RGB()},
        {GL_SOURCE0_ALPHA, GL_TEXTURE, chunk.getEnvSource0Alpha()},
        {GL_SOURCE1_ALPHA, GL_PREVIOUS, chunk.getEnvSource1Alpha()},
        {GL_SOURCE2_ALPHA, GL_CONSTANT, chunk.getEnvSource2Alpha()},
        {GL_OPERAND0_RGB, GL_SRC_COLOR, chunk.getEnvOperand0RGB()},
        {GL_OPERAND1_RGB, GL_SRC_COLOR, chunk.getEnvOperand1RGB()},
        {GL_OPERAND2_RGB, GL_SRC_ALPHA, chunk.getEnvOperand2RGB()},
        {GL_OPERAND0_ALPHA, GL_SRC_ALPHA, chunk.getEnvOperand0Alpha()},
        {GL_OPERAND1_ALPHA, GL_SRC_ALPHA, chunk.getEnvOperand1Alpha()},
        {GL_OPERAND2_ALPHA, GL_SRC_ALPHA, chunk.getEnvOperand2Alpha()},
    };
    for (const auto& row : values) {
        // A value that is refused must not leave that of another material.
        gl.TexEnvi(GL_TEXTURE_ENV, row.name, static_cast<GLint>(row.initial));
        if (row.value != row.initial)
            gl.TexEnvi(GL_TEXTURE_ENV, row.name, static_cast<GLint>(row.value));
    }
    for (const auto& scale : {std::pair<GLenum, float>(GL_RGB_SCALE, chunk.getEnvScaleRGB()),
                              std::pair<GLenum, float>(GL_ALPHA_SCALE, chunk.getEnvScaleAlpha())}) {
        gl.TexEnvf(GL_TEXTURE_ENV, scale.first, 1);
        gl.TexEnvf(GL_TEXTURE_ENV, scale.first, scale.second);
    }
}

Texture bindImages(Frame& frame, const osg::TextureChunk& chunk)
{
    if (const auto* const cube = dynamic_cast<const osg::CubeTextureChunk*>(&chunk)) {
        const osg::ImagePtr sides[6] = {cube->getPosXImage(), cube->getNegXImage(), cube->getPosYImage(),
                                        cube->getNegYImage(), cube->getPosZImage(), cube->getImage()};
        return frame.textures.bindCube(sides, chunk.getFrame(), chunk.getInternalFormat());
    }
    return frame.textures.bind(chunk.getImage(), chunk.getFrame(), chunk.getInternalFormat());
}

void applyTexture(Frame& frame, const osg::StateChunkPtr& chunk, unsigned int slot)
{
    const osg::TextureChunk& texture = static_cast<const osg::TextureChunk&>(*chunk);
    if (!activateUnit(frame, slot))
        return;
    const Texture bound = bindImages(frame, texture);
    if (bound.target == 0)
        return; // without an image the unit lets the colour pass
    const Gl& gl = frame.gl;
    setParameters(frame, texture, bound);
    gl.Enable(bound.target);
    gl.TexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, static_cast<GLint>(texture.getEnvMode()));
    gl.TexEnvfv(GL_TEXTURE_ENV, GL_TEXTURE_ENV_COLOR, texture.getEnvColor().getValuesRGBA());
    gl.TexEnvf(GL_TEXTURE_FILTER_CONTROL, GL_TEXTURE_LOD_BIAS, texture.getLodBias());
    gl.TexEnvi(GL_POINT_SPRITE, GL_COORD_REPLACE, texture.getPointSprite() ? GL_TRUE : GL_FALSE);
    if (texture.getEnvMode() == GL_COMBINE)
        setCombiner(gl, texture);
}

void resetTexture(Frame& frame, unsigned int slot)
{
    if (!activateUnit(frame, slot))
        return;
    const Gl& gl = frame.gl;
    for (const GLenum target : textureTargets) {
        gl.Disable(target);
        gl.BindTexture(target, 0);
    }
    gl.TexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_MODULATE);
    gl.TexEnvi(GL_POINT_SPRITE, GL_COORD_REPLACE, GL_FALSE);
    gl.ActiveTexture(GL_TEXTURE0);
}
} // namespace

const ChunkRow textureChunkRow = {&osg::TextureChunk::getStaticClass, &applyTexture, &resetTexture};

} // namespace zyscene::render
