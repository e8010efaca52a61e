#pragma once

#include <OpenSG/OSGTextureChunk.h>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(CubeTextureChunk, TextureChunkPtr)

/// Six textures around the object; `image` is the one at -z. It takes the places of a TextureChunk.
class OSG_PLATFORM_API CubeTextureChunk : public TextureChunk
{
    OSG_FIELD_CONTAINER(CubeTextureChunk, TextureChunk)

    OSG_SFIELD_COUNTED(57, PosZImage, posZImage, ImagePtr)
    OSG_SFIELD_COUNTED(58, PosXImage, posXImage, ImagePtr)
    OSG_SFIELD_COUNTED(59, NegXImage, negXImage, ImagePtr)
    OSG_SFIELD_COUNTED(60, PosYImage, posYImage, ImagePtr)
    OSG_SFIELD_COUNTED(61, NegYImage, negYImage, ImagePtr)
    OSG_SFIELD(62, IsReflectionMap, isReflectionMap, Bool, true)

protected:
    CubeTextureChunk() {}
    CubeTextureChunk(const CubeTextureChunk&) = default;
};

OSG_END_NAMESPACE
