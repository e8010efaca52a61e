#include "Library.h"

#include <OpenSG/OSGBlendChunk.h>
#include <OpenSG/OSGChunkMaterial.h>
#include <OpenSG/OSGMaterialChunk.h>
#include <OpenSG/OSGMaterialPool.h>
#include <OpenSG/OSGNode.h>
#include <OpenSG/OSGSceneFileHandler.h>
#include <OpenSG/OSGSimpleAttachments.h>

#include <stdexcept>

namespace
{
osg::ChunkMaterialPtr makeMaterial(const char* name, const osg::Color4f& diffuse,
                                   const osg::Color4f& specular, float shininess)
{
    const osg::MaterialChunkPtr look = osg::MaterialChunk::create();
    const osg::ChunkMaterialPtr material = osg::ChunkMaterial::create();
    const osg::CPEditor editLook(look);
    const osg::CPEditor edit(material);
    look->setAmbient(osg::Color4f(0, 0, 0, diffuse.alpha()));
    look->setDiffuse(diffuse);
    look->setSpecular(specular);
    look->setShininess(shininess);
    material->addChunk(look);
    osg::setName(material, name);
    return material;
}
} // namespace

void saveMaterialLibrary(const std::string& file)
{
    const osg::ChunkMaterialPtr gold =
        makeMaterial("chrome", {0.83f, 0.62f, 0.2f, 1}, {1, 0.9f, 0.6f, 1}, 60);
    const osg::ChunkMaterialPtr smoked =
        makeMaterial("glass", {0.03f, 0.03f, 0.04f, 0.8f}, {0.8f, 0.8f, 0.8f, 1}, 90);
    const osg::BlendChunkPtr blend = osg::BlendChunk::create();
    const osg::MaterialPoolPtr pool = osg::MaterialPool::create();
    osg::NodePtr root = osg::makeNodeFor(pool);
    osg::addRefCP(root);
    {
        const osg::CPEditor editBlend(blend);
        const osg::CPEditor editMaterial(smoked);
        const osg::CPEditor editPool(pool);
        blend->setSrcFactor(GL_SRC_ALPHA);
        blend->setDestFactor(GL_ONE_MINUS_SRC_ALPHA);
        smoked->addChunk(blend);
        pool->add(gold);
        pool->add(smoked);
    }
    osg::setName(root, "materials");
    const bool saved = osg::SceneFileHandler::the()->write(root, file.c_str());
    osg::subRefCP(root);
    if (!saved)
        throw std::runtime_error("cannot save " + file);
}
