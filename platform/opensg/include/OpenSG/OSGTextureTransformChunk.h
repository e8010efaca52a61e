#pragma once

#include <OpenSG/OSGTransformChunk.h>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(TextureTransformChunk, TransformChunkPtr)

/// The matrix of the texture coordinates of one unit.
class OSG_PLATFORM_API TextureTransformChunk : public TransformChunk
{
    OSG_FIELD_CONTAINER(TextureTransformChunk, TransformChunk)
    OSG_STATE_CHUNK

    /// Whether the matrix is that of the camera's beacon instead.
    OSG_SFIELD(5, UseCameraBeacon, useCameraBeacon, Bool, false)

protected:
    TextureTransformChunk() {}
    TextureTransformChunk(const TextureTransformChunk&) = default;
};

OSG_END_NAMESPACE
