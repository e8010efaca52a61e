#pragma once

// Small materials for tests.

#include <OpenSG/OSGBlendChunk.h>
#include <OpenSG/OSGChunkMaterial.h>
#include <OpenSG/OSGGeometry.h>
#include <OpenSG/OSGImage.h>
#include <OpenSG/OSGMaterialChunk.h>
#include <OpenSG/OSGTexGenChunk.h>
#include <OpenSG/OSGTextureChunk.h>

#include <string>
#include <vector>

/// Pixels of 8 bits that differ from those of other seeds.
osg::ImagePtr makeImage(const std::string& name, osg::UInt32 pixelFormat = osg::Image::OSG_RGB_PF,
                        unsigned int seed = 1, osg::Int32 width = 4, osg::Int32 height = 2);

/// Ambient, diffuse, specular and shininess that tell each other apart; no emission.
osg::MaterialChunkPtr makeColors(float red, float green, float blue, float alpha = 1);
osg::BlendChunkPtr makeBlending(osg::UInt32 source = GL_SRC_ALPHA,
                                osg::UInt32 destination = GL_ONE_MINUS_SRC_ALPHA);
osg::TextureChunkPtr makeTexture(const osg::ImagePtr& image, osg::UInt32 environment = GL_MODULATE);
/// Object-linear in s and t.
osg::TexGenChunkPtr makeTexGen(const osg::Vec4f& s, const osg::Vec4f& t);

/// @param name empty: the material has none
osg::ChunkMaterialPtr makeMaterial(const std::string& name, const std::vector<osg::StateChunkPtr>& chunks);

/// The object itself, after an edit of all its fields.
template <class PtrT, class ChangeT>
PtrT changed(const PtrT& container, ChangeT change)
{
    const osg::CPEditor edit(container);
    change(container);
    return container;
}

/// The geometry itself, with the material.
osg::GeometryPtr painted(const osg::GeometryPtr& geometry, const osg::MaterialPtr& material);
