// Texture coordinates that are made from positions and normals.

#include "Chunks.h"

#include <OpenSG/OSGTexGenChunk.h>

namespace zyscene::render
{

namespace
{
constexpr GLenum generators[] = {GL_TEXTURE_GEN_S, GL_TEXTURE_GEN_T, GL_TEXTURE_GEN_R, GL_TEXTURE_GEN_Q};

void generate(Frame& frame, GLenum coordinate, GLenum generator, GLenum function, const osg::Vec4f& plane,
              const osg::NodePtr& beacon)
{
    if (function == GL_NONE && beacon == osg::NullFC)
        return;
    const Gl& gl = frame.gl;
    const bool ofBeacon = beacon != osg::NullFC;
    if (ofBeacon || function == GL_EYE_LINEAR) {
        // OpenGL takes the plane to be in the system that is current now: that of the beacon, or without one
        // the eye's.
        gl.MatrixMode(GL_MODELVIEW);
        gl.LoadIdentity();
        if (ofBeacon) {
            WorldMatrix place = frame.view;
            place.mult(WorldMatrix(beacon->getToWorld()));
            gl.LoadMatrixd(place.getValues());
        }
        gl.TexGeni(coordinate, GL_TEXTURE_GEN_MODE, GL_EYE_LINEAR);
        gl.TexGenfv(coordinate, GL_EYE_PLANE, plane.getValues());
    } else {
        gl.TexGeni(coordinate, GL_TEXTURE_GEN_MODE, static_cast<GLint>(function));
        if (function == GL_OBJECT_LINEAR)
            gl.TexGenfv(coordinate, GL_OBJECT_PLANE, plane.getValues());
    }
    gl.Enable(generator);
}

void applyTexGen(Frame& frame, const osg::StateChunkPtr& chunk, unsigned int slot)
{
    if (!activateUnit(frame, slot))
        return;
    const osg::TexGenChunk& texGen = static_cast<const osg::TexGenChunk&>(*chunk);
    generate(frame, GL_S, generators[0], texGen.getGenFuncS(), texGen.getGenFuncSPlane(),
             texGen.getSBeacon());
    generate(frame, GL_T, generators[1], texGen.getGenFuncT(), texGen.getGenFuncTPlane(),
             texGen.getTBeacon());
    generate(frame, GL_R, generators[2], texGen.getGenFuncR(), texGen.getGenFuncRPlane(),
             texGen.getRBeacon());
    generate(frame, GL_Q, generators[3], texGen.getGenFuncQ(), texGen.getGenFuncQPlane(),
             texGen.getQBeacon());
}

void resetTexGen(Frame& frame, unsigned int slot)
{
    if (!activateUnit(frame, slot))
        return;
    for (const GLenum generator : generators)
        frame.gl.Disable(generator);
    frame.gl.ActiveTexture(GL_TEXTURE0);
}
} // namespace

const ChunkRow texGenChunkRow = {&osg::TexGenChunk::getStaticClass, &applyTexGen, &resetTexGen};

} // namespace zyscene::render
