#include "Materials.h"

#include <OpenSG/OSGSimpleAttachments.h>

osg::ImagePtr makeImage(const std::string& name, osg::UInt32 pixelFormat, unsigned int seed, osg::Int32 width,
                        osg::Int32 height)
{
    const osg::ImagePtr image = osg::Image::create();
    image->set(pixelFormat, width, height);
    osg::UInt8* const pixels = image->getData();
    for (osg::UInt32 i = 0; i < image->getSize(); ++i)
        pixels[i] = static_cast<osg::UInt8>(seed * 37 + i * (2 * seed + 11));
    const osg::CPEditor edit(image, osg::Image::NameFieldMask);
    image->setName(name);
    return image;
}

osg::MaterialChunkPtr makeColors(float red, float green, float blue, float alpha)
{
    return changed(osg::MaterialChunk::create(), [&](const osg::MaterialChunkPtr& chunk) {
        chunk->setDiffuse(osg::Color4f(red, green, blue, alpha));
        chunk->setAmbient(osg::Color4f(red / 3, green / 3, blue / 3, alpha));
        chunk->setSpecular(osg::Color4f(blue, red, green, alpha));
        chunk->setShininess(12.5f + red);
    });
}

osg::BlendChunkPtr makeBlending(osg::UInt32 source, osg::UInt32 destination)
{
    return changed(osg::BlendChunk::create(), [=](const osg::BlendChunkPtr& chunk) {
        chunk->setSrcFactor(source);
        chunk->setDestFactor(destination);
    });
}

osg::TextureChunkPtr makeTexture(const osg::ImagePtr& image, osg::UInt32 environment)
{
    return changed(osg::TextureChunk::create(), [&](const osg::TextureChunkPtr& chunk) {
        chunk->setImage(image);
        chunk->setEnvMode(environment);
    });
}

osg::TexGenChunkPtr makeTexGen(const osg::Vec4f& s, const osg::Vec4f& t)
{
    return changed(osg::TexGenChunk::create(), [&](const osg::TexGenChunkPtr& chunk) {
        chunk->setGenFuncS(GL_OBJECT_LINEAR);
        chunk->setGenFuncT(GL_OBJECT_LINEAR);
        chunk->setGenFuncSPlane(s);
        chunk->setGenFuncTPlane(t);
    });
}

osg::ChunkMaterialPtr makeMaterial(const std::string& name, const std::vector<osg::StateChunkPtr>& chunks)
{
    const osg::ChunkMaterialPtr material = osg::ChunkMaterial::create();
    if (!name.empty())
        osg::setName(material, name);
    return changed(material, [&](const osg::ChunkMaterialPtr& edited) {
        for (const osg::StateChunkPtr& chunk : chunks)
            edited->addChunk(chunk);
    });
}

osg::GeometryPtr painted(const osg::GeometryPtr& geometry, const osg::MaterialPtr& material)
{
    const osg::CPEditor edit(geometry, osg::Geometry::MaterialFieldMask);
    geometry->setMaterial(material);
    return geometry;
}
