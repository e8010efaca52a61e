#pragma once

#include <OpenSG/OSGStateChunk.h>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(PolygonChunk, StateChunkPtr)

/// How polygons are filled, which faces are left out, and how far they are moved from the eye.
class OSG_PLATFORM_API PolygonChunk : public StateChunk
{
    OSG_FIELD_CONTAINER(PolygonChunk, StateChunk)
    OSG_STATE_CHUNK

    /// 0: all faces are drawn.
    OSG_SFIELD(4, CullFace, cullFace, GLenum, GL_NONE)
    OSG_SFIELD(5, FrontFace, frontFace, GLenum, GL_CCW)
    OSG_SFIELD(6, FrontMode, frontMode, GLenum, GL_FILL)
    OSG_SFIELD(7, BackMode, backMode, GLenum, GL_FILL)
    OSG_SFIELD(8, Smooth, smooth, Bool, false)
    OSG_SFIELD(9, OffsetFactor, offsetFactor, Real32, 0.f)
    OSG_SFIELD(10, OffsetBias, offsetBias, Real32, 0.f)
    OSG_SFIELD(11, OffsetPoint, offsetPoint, Bool, false)
    OSG_SFIELD(12, OffsetLine, offsetLine, Bool, false)
    OSG_SFIELD(13, OffsetFill, offsetFill, Bool, false)
    /// 32 rows of 32 bits; empty for none.
    OSG_MFIELD(14, Stipple, stipple, Int32)

protected:
    PolygonChunk() {}
    PolygonChunk(const PolygonChunk&) = default;
};

OSG_END_NAMESPACE
