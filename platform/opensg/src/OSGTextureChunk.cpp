#include <OpenSG/OSGCubeTextureChunk.h>
#include <OpenSG/OSGTextureChunk.h>

OSG_BEGIN_NAMESPACE

OSG_STATE_CHUNK_INST(TextureChunk, "Texture", 16)
OSG_FIELD_CONTAINER_INST(CubeTextureChunk, nullptr)

void TextureChunk::imageContentChanged(Int32 minX, Int32 maxX, Int32 minY, Int32 maxY, Int32 minZ, Int32 maxZ)
{
    const CPEditor edit(getPtr(), DirtyMinXFieldMask | DirtyMaxXFieldMask | DirtyMinYFieldMask |
                                      DirtyMaxYFieldMask | DirtyMinZFieldMask | DirtyMaxZFieldMask);
    setDirtyMinX(minX);
    setDirtyMaxX(maxX);
    setDirtyMinY(minY);
    setDirtyMaxY(maxY);
    setDirtyMinZ(minZ);
    setDirtyMaxZ(maxZ);
}

OSG_END_NAMESPACE
