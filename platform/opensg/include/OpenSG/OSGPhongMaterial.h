#pragma once

#include <OpenSG/OSGBlendChunk.h>
#include <OpenSG/OSGChunkMaterial.h>
#include <OpenSG/OSGMaterialChunk.h>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(PhongMaterial, ChunkMaterialPtr)

/// A material given by its colours, as a SimpleMaterial is, meant to be lit at each pixel.
class OSG_PLATFORM_API PhongMaterial : public ChunkMaterial
{
    OSG_FIELD_CONTAINER(PhongMaterial, ChunkMaterial)

    OSG_SFIELD(6, Ambient, ambient, Color3f, 0.f, 0.f, 0.f)
    OSG_SFIELD(7, Diffuse, diffuse, Color3f, 0.f, 0.f, 0.f)
    OSG_SFIELD(8, Specular, specular, Color3f, 0.f, 0.f, 0.f)
    OSG_SFIELD(9, Shininess, shininess, Real32, 1.f)
    OSG_SFIELD(10, Emission, emission, Color3f, 0.f, 0.f, 0.f)
    /// 0 opaque, 1 invisible.
    OSG_SFIELD(11, Transparency, transparency, Real32, 0.f)
    OSG_SFIELD(12, Lit, lit, Bool, true)
    OSG_SFIELD(13, ColorMaterial, colorMaterial, GLenum, GL_DIFFUSE)

    bool isTransparent() const override;

protected:
    PhongMaterial() {}
    /// A copy makes chunks of its own.
    PhongMaterial(const PhongMaterial&);

    void onDestroy() override;
    void addChunks(const StatePtr& state) override;

private:
    MaterialChunkPtr _materialChunk; ///< referenced; null until a state is made
    BlendChunkPtr _blendChunk;       ///< referenced; null until a transparent state is made
};

OSG_END_NAMESPACE
