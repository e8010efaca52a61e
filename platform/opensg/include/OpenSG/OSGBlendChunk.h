#pragma once

#include <OpenSG/OSGStateChunk.h>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(BlendChunk, StateChunkPtr)

/// How a drawn colour joins the one behind it. Alpha factors of 0xffff: as the colour factors.
class OSG_PLATFORM_API BlendChunk : public StateChunk
{
    OSG_FIELD_CONTAINER(BlendChunk, StateChunk)
    OSG_STATE_CHUNK

    OSG_SFIELD(4, SrcFactor, srcFactor, GLenum, GL_ONE)
    OSG_SFIELD(5, DestFactor, destFactor, GLenum, GL_ZERO)
    OSG_SFIELD(6, Equation, equation, GLenum, 0)
    OSG_SFIELD(7, Color, color, Color4f, 0.f, 0.f, 0.f, 0.f)
    OSG_SFIELD(8, AlphaFunc, alphaFunc, GLenum, 0)
    OSG_SFIELD(9, AlphaValue, alphaValue, Real32, 0.f)
    OSG_SFIELD(10, AlphaSrcFactor, alphaSrcFactor, GLenum, 0xffff)
    OSG_SFIELD(11, AlphaDestFactor, alphaDestFactor, GLenum, 0xffff)

    /// Whether anything of the colour behind is kept.
    bool isTransparent() const override;

protected:
    BlendChunk() {}
    BlendChunk(const BlendChunk&) = default;
};

OSG_END_NAMESPACE
