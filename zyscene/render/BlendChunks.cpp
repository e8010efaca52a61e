// How a drawn colour joins the one behind it, and which fragments are dropped by their alpha.

#include "Chunks.h"

#include <OpenSG/OSGBlendChunk.h>

namespace zyscene::render
{

namespace
{
constexpr GLenum asColor = 0xffff; ///< alpha factors: the same as those of the colour

void applyBlend(Frame& frame, const osg::StateChunkPtr& chunk, unsigned int)
{
    const osg::BlendChunk& blend = static_cast<const osg::BlendChunk&>(*chunk);
    const Gl& gl = frame.gl;
    const GLenum source = blend.getSrcFactor();
    const GLenum destination = blend.getDestFactor();
    const GLenum alphaSource = blend.getAlphaSrcFactor() != asColor ? blend.getAlphaSrcFactor() : source;
    const GLenum alphaDestination =
        blend.getAlphaDestFactor() != asColor ? blend.getAlphaDestFactor() : destination;

    const bool replaces =
        source == GL_ONE && destination == GL_ZERO && alphaSource == GL_ONE && alphaDestination == GL_ZERO;
    if (!replaces || blend.getEquation() != GL_NONE) {
        const osg::Color4f& color = blend.getColor();
        gl.Enable(GL_BLEND);
        gl.BlendFuncSeparate(source, destination, alphaSource, alphaDestination);
        gl.BlendColor(color.red(), color.green(), color.blue(), color.alpha());
        if (blend.getEquation() != GL_NONE)
            gl.BlendEquation(blend.getEquation());
    }
    if (blend.getAlphaFunc() != GL_NONE) {
        gl.Enable(GL_ALPHA_TEST);
        gl.AlphaFunc(blend.getAlphaFunc(), blend.getAlphaValue());
    }
}

void resetBlend(Frame& frame, unsigned int)
{
    const Gl& gl = frame.gl;
    gl.Disable(GL_BLEND);
    gl.BlendFuncSeparate(GL_ONE, GL_ZERO, GL_ONE, GL_ZERO);
    gl.BlendEquation(GL_FUNC_ADD);
    gl.Disable(GL_ALPHA_TEST);
    gl.AlphaFunc(GL_ALWAYS, 0);
}
} // namespace

const ChunkRow blendChunkRow = {&osg::BlendChunk::getStaticClass, &applyBlend, &resetBlend};

} // namespace zyscene::render
