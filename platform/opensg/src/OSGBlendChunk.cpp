#include <OpenSG/OSGBlendChunk.h>

OSG_BEGIN_NAMESPACE

OSG_STATE_CHUNK_INST(BlendChunk, "Blend", 1)

bool BlendChunk::isTransparent() const
{
    return getDestFactor() != GL_ZERO;
}

OSG_END_NAMESPACE
