#pragma once

#include <OpenSG/OSGSimpleMaterial.h>
#include <OpenSG/OSGTexGenChunk.h>
#include <OpenSG/OSGTextureChunk.h>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(SimpleTexturedMaterial, SimpleMaterialPtr)

/// A material given by its colours and a texture. As with the colours, the texture is a chunk of the state
/// only.
class OSG_PLATFORM_API SimpleTexturedMaterial : public SimpleMaterial
{
    OSG_FIELD_CONTAINER(SimpleTexturedMaterial, SimpleMaterial)

    OSG_SFIELD_COUNTED(14, Image, image, ImagePtr)
    OSG_SFIELD(15, MinFilter, minFilter, GLenum, GL_LINEAR_MIPMAP_LINEAR)
    OSG_SFIELD(16, MagFilter, magFilter, GLenum, GL_LINEAR)
    OSG_SFIELD(17, EnvMode, envMode, GLenum, GL_REPLACE)
    /// Whether the texture is what surrounds the object: its coordinates are those of a sphere map.
    OSG_SFIELD(18, EnvMap, envMap, Bool, false)

    bool isTransparent() const override;

protected:
    SimpleTexturedMaterial() {}
    /// A copy makes chunks of its own.
    SimpleTexturedMaterial(const SimpleTexturedMaterial&);

    void onDestroy() override;
    void addChunks(const StatePtr& state) override;

private:
    TextureChunkPtr _textureChunk; ///< referenced; null until a state with an image is made
    TexGenChunkPtr _texGenChunk;   ///< referenced; null until a state with a sphere map is made
};

OSG_END_NAMESPACE
