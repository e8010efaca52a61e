#pragma once

#include <OpenSG/OSGStateChunk.h>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(DepthChunk, StateChunkPtr)

/// The depth test.
class OSG_PLATFORM_API DepthChunk : public StateChunk
{
    OSG_FIELD_CONTAINER(DepthChunk, StateChunk)
    OSG_STATE_CHUNK

    OSG_SFIELD(4, Enable, enable, Bool, true)
    OSG_SFIELD(5, Func, func, GLenum, GL_LEQUAL)
    /// Depth range, 0 .. 1; below 0: as it is.
    OSG_SFIELD(6, Near, near, Real32, -1.f)
    OSG_SFIELD(7, Far, far, Real32, -1.f)
    OSG_SFIELD(8, ReadOnly, readOnly, Bool, false)

protected:
    DepthChunk() {}
    DepthChunk(const DepthChunk&) = default;
};

OSG_END_NAMESPACE
