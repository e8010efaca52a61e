// Matrices of texture coordinates.

#include "Chunks.h"

#include <OpenSG/OSGTextureTransformChunk.h>

namespace zyscene::render
{

namespace
{
void applyTextureTransform(Frame& frame, const osg::StateChunkPtr& chunk, unsigned int slot)
{
    if (!activateUnit(frame, slot))
        return;
    const osg::TextureTransformChunk& transform = static_cast<const osg::TextureTransformChunk&>(*chunk);
    frame.gl.MatrixMode(GL_TEXTURE);
    if (transform.getUseCameraBeacon()) {
        // How the camera is turned, for reflections of what stands still in the world.
        WorldMatrix turn = frame.eyeWorld;
        turn.setTranslate(0, 0, 0);
        frame.gl.LoadMatrixd(turn.getValues());
    } else {
        frame.gl.LoadMatrixf(transform.getMatrix().getValues());
    }
    frame.gl.MatrixMode(GL_MODELVIEW);
}

void resetTextureTransform(Frame& frame, unsigned int slot)
{
    if (!activateUnit(frame, slot))
        return;
    frame.gl.MatrixMode(GL_TEXTURE);
    frame.gl.LoadIdentity();
    frame.gl.MatrixMode(GL_MODELVIEW);
    frame.gl.ActiveTexture(GL_TEXTURE0);
}
} // namespace

const ChunkRow textureTransformChunkRow = {&osg::TextureTransformChunk::getStaticClass,
                                           &applyTextureTransform, &resetTextureTransform};

} // namespace zyscene::render
