#include <OpenSG/OSGMaterialChunk.h>

OSG_BEGIN_NAMESPACE

OSG_STATE_CHUNK_INST(MaterialChunk, "Material", 1)

bool MaterialChunk::isTransparent() const
{
    return getDiffuse().alpha() < 1 - Eps;
}

OSG_END_NAMESPACE
