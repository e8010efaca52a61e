#pragma once

#include <OpenSG/OSGStateChunk.h>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(MaterialChunk, StateChunkPtr)

/// Colours of the lighting model, front and back.
class OSG_PLATFORM_API MaterialChunk : public StateChunk
{
    OSG_FIELD_CONTAINER(MaterialChunk, StateChunk)
    OSG_STATE_CHUNK

    OSG_SFIELD(4, Diffuse, diffuse, Color4f, 1.f, 1.f, 1.f, 1.f)
    OSG_SFIELD(5, Ambient, ambient, Color4f, .2f, .2f, .2f, 1.f)
    OSG_SFIELD(6, Specular, specular, Color4f, .5f, .5f, .5f, 1.f)
    OSG_SFIELD(7, Emission, emission, Color4f, 0.f, 0.f, 0.f, 1.f)
    OSG_SFIELD(8, Shininess, shininess, Real32, 10.f)
    OSG_SFIELD(9, Lit, lit, Bool, true)
    OSG_SFIELD(10, ColorMaterial, colorMaterial, GLenum, GL_DIFFUSE)
    OSG_SFIELD(11, BackMaterial, backMaterial, Bool, false)
    OSG_SFIELD(12, BackDiffuse, backDiffuse, Color4f, 1.f, 1.f, 1.f, 0.f)
    OSG_SFIELD(13, BackAmbient, backAmbient, Color4f, .2f, .2f, .2f, 0.f)
    OSG_SFIELD(14, BackSpecular, backSpecular, Color4f, .5f, .5f, .5f, 0.f)
    OSG_SFIELD(15, BackEmission, backEmission, Color4f, 0.f, 0.f, 0.f, 0.f)
    OSG_SFIELD(16, BackShininess, backShininess, Real32, 10.f)
    OSG_SFIELD(17, BackColorMaterial, backColorMaterial, GLenum, GL_DIFFUSE)

    /// Whether the diffuse alpha is below 1.
    bool isTransparent() const override;

protected:
    MaterialChunk() {}
    MaterialChunk(const MaterialChunk&) = default;
};

OSG_END_NAMESPACE
