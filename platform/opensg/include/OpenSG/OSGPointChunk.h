#pragma once

#include <OpenSG/OSGStateChunk.h>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(PointChunk, StateChunkPtr)

/// Size of points in pixels and how it shrinks with the distance.
class OSG_PLATFORM_API PointChunk : public StateChunk
{
    OSG_FIELD_CONTAINER(PointChunk, StateChunk)
    OSG_STATE_CHUNK

    OSG_SFIELD(4, Size, size, Real32, 1.f)
    OSG_SFIELD(5, Smooth, smooth, Bool, false)
    /// Below 0: the size does not depend on the distance.
    OSG_SFIELD(6, MinSize, minSize, Real32, -1.f)
    OSG_SFIELD(7, MaxSize, maxSize, Real32, -1.f)
    OSG_SFIELD(8, ConstantAttenuation, constantAttenuation, Real32, 1.f)
    OSG_SFIELD(9, LinearAttenuation, linearAttenuation, Real32, 0.f)
    OSG_SFIELD(10, QuadraticAttenuation, quadraticAttenuation, Real32, 0.f)
    OSG_SFIELD(11, FadeThreshold, fadeThreshold, Real32, 0.f)
    OSG_SFIELD(12, Sprite, sprite, Bool, false)
    OSG_SFIELD(13, RMode, rMode, GLenum, 0)

protected:
    PointChunk() {}
    PointChunk(const PointChunk&) = default;
};

OSG_END_NAMESPACE
