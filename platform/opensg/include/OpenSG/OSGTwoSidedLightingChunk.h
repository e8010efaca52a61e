#pragma once

#include <OpenSG/OSGStateChunk.h>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(TwoSidedLightingChunk, StateChunkPtr)

/// Lights the back faces with their own normals, by being there.
class OSG_PLATFORM_API TwoSidedLightingChunk : public StateChunk
{
    OSG_FIELD_CONTAINER(TwoSidedLightingChunk, StateChunk)
    OSG_STATE_CHUNK

protected:
    TwoSidedLightingChunk() {}
    TwoSidedLightingChunk(const TwoSidedLightingChunk&) = default;
};

OSG_END_NAMESPACE
