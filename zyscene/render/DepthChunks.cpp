// The depth test.

#include "Chunks.h"

#include <OpenSG/OSGDepthChunk.h>

namespace zyscene::render
{

namespace
{
void applyDepth(Frame& frame, const osg::StateChunkPtr& chunk, unsigned int)
{
    const osg::DepthChunk& depth = static_cast<const osg::DepthChunk&>(*chunk);
    const Gl& gl = frame.gl;
    gl.set(GL_DEPTH_TEST, depth.getEnable());
    gl.DepthFunc(depth.getFunc());
    if (depth.getNear() >= 0 && depth.getFar() >= 0)
        gl.DepthRange(depth.getNear(), depth.getFar());
    if (depth.getReadOnly())
        gl.DepthMask(GL_FALSE);
}

void resetDepth(Frame& frame, unsigned int)
{
    const Gl& gl = frame.gl;
    gl.Enable(GL_DEPTH_TEST);
    gl.DepthFunc(GL_LEQUAL);
    gl.DepthRange(0, 1);
    gl.DepthMask(frame.depthWrites ? GL_TRUE : GL_FALSE);
}
} // namespace

const ChunkRow depthChunkRow = {&osg::DepthChunk::getStaticClass, &applyDepth, &resetDepth};

} // namespace zyscene::render
