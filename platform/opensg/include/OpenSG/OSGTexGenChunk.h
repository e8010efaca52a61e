#pragma once

#include <OpenSG/OSGNodePtr.h>
#include <OpenSG/OSGStateChunk.h>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(TexGenChunk, StateChunkPtr)

/// Generation of the texture coordinates of one unit, for each coordinate on its own: a function
/// (GL_OBJECT_LINEAR, GL_EYE_LINEAR, GL_SPHERE_MAP, ...; 0 for none) and, for the linear ones, the plane
/// whose product with the position is the coordinate. A coordinate with a beacon takes positions in that
/// node's system instead; beacons are not referenced.
class OSG_PLATFORM_API TexGenChunk : public StateChunk
{
    OSG_FIELD_CONTAINER(TexGenChunk, StateChunk)
    OSG_STATE_CHUNK

    OSG_SFIELD(4, GenFuncS, genFuncS, GLenum, 0)
    OSG_SFIELD(5, GenFuncT, genFuncT, GLenum, 0)
    OSG_SFIELD(6, GenFuncR, genFuncR, GLenum, 0)
    OSG_SFIELD(7, GenFuncQ, genFuncQ, GLenum, 0)
    OSG_SFIELD(8, GenFuncSPlane, genFuncSPlane, Vec4f, 1.f, 0.f, 0.f, 0.f)
    OSG_SFIELD(9, GenFuncTPlane, genFuncTPlane, Vec4f, 0.f, 1.f, 0.f, 0.f)
    OSG_SFIELD(10, GenFuncRPlane, genFuncRPlane, Vec4f, 0.f, 0.f, 1.f, 0.f)
    OSG_SFIELD(11, GenFuncQPlane, genFuncQPlane, Vec4f, 0.f, 0.f, 0.f, 1.f)
    OSG_SFIELD(12, SBeacon, sBeacon, NodePtr, NullFC)
    OSG_SFIELD(13, TBeacon, tBeacon, NodePtr, NullFC)
    OSG_SFIELD(14, RBeacon, rBeacon, NodePtr, NullFC)
    OSG_SFIELD(15, QBeacon, qBeacon, NodePtr, NullFC)

protected:
    TexGenChunk() {}
    TexGenChunk(const TexGenChunk&) = default;
};

OSG_END_NAMESPACE
