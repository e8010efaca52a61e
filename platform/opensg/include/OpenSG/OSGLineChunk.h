#pragma once

#include <OpenSG/OSGStateChunk.h>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(LineChunk, StateChunkPtr)

/// Width in pixels and pattern of lines.
class OSG_PLATFORM_API LineChunk : public StateChunk
{
    OSG_FIELD_CONTAINER(LineChunk, StateChunk)
    OSG_STATE_CHUNK

    OSG_SFIELD(4, Width, width, Real32, 1.f)
    OSG_SFIELD(5, StippleRepeat, stippleRepeat, Int32, 1)
    OSG_SFIELD(6, StipplePattern, stipplePattern, UInt16, 0xffff)
    OSG_SFIELD(7, Smooth, smooth, Bool, false)

protected:
    LineChunk() {}
    LineChunk(const LineChunk&) = default;
};

OSG_END_NAMESPACE
