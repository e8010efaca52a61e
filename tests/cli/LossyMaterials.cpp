#include "LossyMaterials.h"

#include "Materials.h"

#include <OpenSG/OSGCubeTextureChunk.h>
#include <OpenSG/OSGGroup.h>
#include <OpenSG/OSGMultiPassMaterial.h>
#include <OpenSG/OSGPolygonChunk.h>
#include <OpenSG/OSGSimpleAttachments.h>
#include <OpenSG/OSGSimpleMaterial.h>
#include <OpenSG/OSGSwitchMaterial.h>
#include <OpenSG/OSGTextureTransformChunk.h>
#include <OpenSG/OSGTwoSidedLightingChunk.h>
#include <zyOpenSGExt/zyMergeMaterial.h>
#include <zyOpenSGUberMaterial/zyUBRDFMaterial.h>

#include <limits>

namespace
{
typedef std::vector<osg::StateChunkPtr> ChunkList;

osg::ChunkMaterialPtr plain(const std::string& name, float red)
{
    return makeMaterial(name, {makeColors(red, 0.5f, 0.25f)});
}

osg::TextureTransformChunkPtr makeRepeat(float u)
{
    return changed(osg::TextureTransformChunk::create(), [u](const osg::TextureTransformChunkPtr& chunk) {
        osg::Matrix matrix;
        matrix[0][0] = u;
        chunk->setMatrix(matrix);
    });
}

osg::MaterialPtr named(const std::string& name, const osg::MaterialPtr& material)
{
    osg::setName(material, name);
    return material;
}

/// Holds on to a container until the process ends: a test uses the ones that it wants, none or one of them.
template <class ContainerPtr>
ContainerPtr kept(ContainerPtr container)
{
    static auto* const all = new std::vector<ContainerPtr>; // reachable also when statics are gone
    osg::addRefCP(container);
    all->push_back(container);
    return container;
}

/// Collects materials by name.
class List
{
public:
    void add(const std::string& name, const ChunkList& chunks, const std::vector<std::string>& codes)
    {
        add(name, osg::MaterialPtr(makeMaterial("", chunks)), codes);
    }
    void add(const std::string& name, const osg::MaterialPtr& material, const std::vector<std::string>& codes)
    {
        all.push_back({name, kept(named(name, material)), codes});
    }

    std::vector<LossyMaterial> all;
};

// -- What is lost ------------------------------------------------------------------------------------

void addColors(List& list)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    list.add("glowing",
             {changed(makeColors(1, 0, 0),
                      [](const osg::MaterialChunkPtr& chunk) {
                          chunk->setEmission(osg::Color4f(0.5f, 0, 0, 1));
                      })},
             {"material-emission"});
    list.add("flat",
             {changed(makeColors(0, 1, 0), [](const osg::MaterialChunkPtr& chunk) { chunk->setLit(false); })},
             {"material-unlit"});
    list.add("lined",
             {changed(makeColors(0, 0, 1),
                      [](const osg::MaterialChunkPtr& chunk) {
                          chunk->setBackMaterial(true);
                          chunk->setBackDiffuse(osg::Color4f(1, 1, 0, 1));
                      })},
             {"material-back"});
    list.add("wild",
             {changed(makeColors(1, 1, 0),
                      [nan](const osg::MaterialChunkPtr& chunk) {
                          chunk->setDiffuse(osg::Color4f(1, nan, 0, 1));
                          chunk->setShininess(std::numeric_limits<float>::infinity());
                      })},
             {"material-refused"});
    list.add("bare", ChunkList{}, {"material-default"});
    list.add("bareTextured", {makeTexture(makeImage("bare.png", osg::Image::OSG_L_PF, 2))},
             {"material-default"});
}

void addBlending(List& list)
{
    list.add("added", {makeColors(1, 0, 0, 0.5f), makeBlending(GL_SRC_ALPHA, GL_ONE)}, {"material-blend"});
    list.add("cut",
             {makeColors(1, 0, 0), changed(makeBlending(),
                                           [](const osg::BlendChunkPtr& chunk) {
                                               chunk->setAlphaFunc(GL_GREATER);
                                               chunk->setAlphaValue(0.5f);
                                           })},
             {"material-blend"});
    list.add("covered",
             {makeColors(1, 0, 0), makeTexture(makeImage("cover.png", osg::Image::OSG_RGBA_PF, 3))},
             {"material-blend", "texture-gain"});
}

void addChunks(List& list)
{
    list.add("culled",
             {makeColors(1, 0, 0),
              changed(osg::PolygonChunk::create(),
                      [](const osg::PolygonChunkPtr& chunk) { chunk->setCullFace(GL_BACK); })},
             {"material-chunk"});
    list.add(
        "idle",
        {changed(makeColors(1, 0, 0), [](const osg::MaterialChunkPtr& chunk) { chunk->setIgnore(true); })},
        {"material-chunk"});
    list.add("twoSided", {makeColors(1, 0, 0), osg::TwoSidedLightingChunk::create()}, {"material-chunk"});
}

void addTextures(List& list)
{
    const osg::ImagePtr wood = makeImage("wood.jpg", osg::Image::OSG_RGB_PF, 4);
    const auto texture = [&wood](osg::UInt32 mode = GL_MODULATE) { return makeTexture(wood, mode); };
    list.add("twice", {makeColors(1, 0, 0), texture(), makeTexture(makeImage("dirt.png"))},
             {"texture-further", "texture-gain"});
    list.add("second", {makeColors(1, 0, 0), makeTexture(osg::NullFC), texture()}, {"texture-further"});
    list.add("pasted", {makeColors(1, 0, 0), texture(GL_DECAL)}, {"texture-environment"});
    list.add("combined",
             {makeColors(1, 1, 1),
              changed(texture(GL_COMBINE),
                      [](const osg::TextureChunkPtr& chunk) { chunk->setEnvCombineRGB(GL_ADD); })},
             {"texture-environment"});
    list.add("repeated", {makeColors(1, 0, 0), texture(), makeRepeat(3)}, {"texture-matrix", "texture-gain"});
    list.add("clamped",
             {makeColors(1, 0, 0), changed(texture(),
                                           [](const osg::TextureChunkPtr& chunk) {
                                               chunk->setWrapS(GL_CLAMP);
                                               chunk->setMagFilter(GL_NEAREST);
                                           })},
             {"texture-sampling", "texture-gain"});
    list.add("masked", {makeColors(1, 0, 0), makeTexture(makeImage("mask.png", osg::Image::OSG_A_PF, 5))},
             {"texture-format", "texture-gain"});
    list.add("brown",
             {makeColors(1, 0, 0), makeTexture(makeImage("old/wood.tga", osg::Image::OSG_RGB_PF, 6))},
             {"texture-name-collision", "texture-gain"});
    list.add("seen",
             {makeColors(1, 0, 0), texture(),
              changed(makeTexGen(osg::Vec4f(1, 0, 0, 0), osg::Vec4f(0, 1, 0, 0)),
                      [](const osg::TexGenChunkPtr& chunk) { chunk->setGenFuncT(GL_EYE_LINEAR); })},
             {"texgen-function"});
    const osg::CubeTextureChunkPtr cube = osg::CubeTextureChunk::create();
    list.add("mirrored",
             {makeColors(1, 0, 0), changed(cube,
                                           [&wood](const osg::CubeTextureChunkPtr& chunk) {
                                               chunk->setImage(wood);
                                               chunk->setPosXImage(wood);
                                               chunk->setEnvMode(GL_MODULATE);
                                           })},
             {"material-chunk", "texture-gain"});
}

void addWrappers(List& list)
{
    const osg::MultiPassMaterialPtr passes = osg::MultiPassMaterial::create();
    list.add("passes",
             changed(passes,
                     [](const osg::MultiPassMaterialPtr& material) {
                         material->addMaterial(plain("base", 0.25f));
                         material->addMaterial(plain("over", 0.75f));
                     }),
             {"material-passes"});
    const osg::MergeMaterialPtr merged = osg::MergeMaterial::create();
    list.add("merged",
             changed(merged,
                     [](const osg::MergeMaterialPtr& material) {
                         material->addMaterial(plain("ground", 0.125f));
                         material->addMaterial(makeMaterial(
                             "shade", {makeTexture(makeImage("shade.png", osg::Image::OSG_L_PF, 7))}));
                     }),
             {"material-passes"});
    const osg::UBRDFMaterialPtr measured = osg::UBRDFMaterial::create();
    list.add("measured",
             changed(measured,
                     [](const osg::UBRDFMaterialPtr& material) {
                         material->setAnalyticDiffuse(osg::Color3f(0.5f, 0.25f, 0));
                         material->addChunk(makeTexture(makeImage("paint.png")));
                     }),
             {"material-measured"});
}
} // namespace

std::vector<LossyMaterial> makeLossyMaterials()
{
    List list;
    addColors(list);
    addBlending(list);
    addChunks(list);
    addTextures(list);
    addWrappers(list);
    return list.all;
}

std::vector<LossyMaterial> makeLossyProjections()
{
    List list;
    const auto texture = [] { return makeTexture(makeImage("decal.png", osg::Image::OSG_RGB_PF, 8)); };
    const osg::Vec4f x(0.5f, 0, 0, 0.5f);
    const osg::Vec4f y(0, 0.25f, 0, 0.5f);
    const osg::Vec4f z(0, 0, 0.5f, 0.5f);
    list.add("floor", {makeColors(1, 0, 0), texture(), makeTexGen(x, z)}, {"texgen-bent", "texture-gain"});
    list.add("slanted", {makeColors(1, 0, 0), texture(), makeTexGen(x, osg::Vec4f(0.25f, 0.5f, 0, 0))},
             {"texgen-bent", "texture-gain"});
    list.add("deep",
             {makeColors(1, 0, 0), texture(),
              changed(makeTexGen(x, y),
                      [](const osg::TexGenChunkPtr& chunk) { chunk->setGenFuncR(GL_OBJECT_LINEAR); })},
             {"texgen-further", "texture-gain"});
    list.add("followed",
             {makeColors(1, 0, 0), texture(),
              changed(makeTexGen(x, y),
                      [](const osg::TexGenChunkPtr& chunk) {
                          chunk->setSBeacon(kept(osg::makeCoredNode<osg::Group>()));
                      })},
             {"texgen-further", "texture-gain"});
    return list.all;
}

std::vector<LossyMaterial> makeSoundMaterials()
{
    List list;
    list.add("plain", {makeColors(0.3f, 0.2f, 0.1f)}, {});
    list.add("glass", {makeColors(0.3f, 0.2f, 0.1f, 0.3f), makeBlending()}, {});
    list.add("veiled", {makeColors(0.3f, 0.2f, 0.1f, 0.3f)}, {"material-alpha"});
    list.add("opaque", {makeColors(0.3f, 0.2f, 0.1f), makeBlending()}, {});
    list.add("printed", {makeColors(0.3f, 0.2f, 0.1f), makeTexture(makeImage("print.png"))},
             {"texture-gain"});
    list.add("turned",
             {makeColors(0.3f, 0.2f, 0.1f), makeTexture(makeImage("turned.png", osg::Image::OSG_BGR_PF, 9))},
             {"texture-gain"});
    list.add("unnamed", {makeColors(0.3f, 0.2f, 0.1f), makeTexture(makeImage("", osg::Image::OSG_L_PF, 10))},
             {"texture-gain"});
    list.add("leaf",
             {makeColors(1, 1, 1), makeBlending(), makeTexture(makeImage("leaf.png", osg::Image::OSG_LA_PF))},
             {"texture-gain"});
    list.add("foggy",
             {makeColors(1, 1, 1, 0.75f), makeBlending(),
              makeTexture(makeImage("fog.png", osg::Image::OSG_RGBA_PF))},
             {"texture-gain"});
    list.add("white", {makeColors(1, 1, 1), makeTexture(makeImage("white.png"), GL_MODULATE)},
             {"texture-gain"});
    list.add("simple",
             osg::MaterialPtr(changed(osg::SimpleMaterial::create(),
                                      [](const osg::SimpleMaterialPtr& material) {
                                          material->setDiffuse(osg::Color3f(0.5f, 0, 1));
                                          material->setTransparency(0.25f);
                                      })),
             {});
    list.add("analytic",
             osg::MaterialPtr(changed(osg::UBRDFMaterial::create(),
                                      [](const osg::UBRDFMaterialPtr& material) {
                                          material->setAnalyticDiffuse(osg::Color3f(0.5f, 0, 1));
                                          material->setAnalyticShininess(30);
                                          material->setAnalyticTransparency(0.5f);
                                      })),
             {});
    list.add("chosen",
             osg::MaterialPtr(changed(osg::SwitchMaterial::create(),
                                      [](const osg::SwitchMaterialPtr& material) {
                                          material->addMaterial(plain("day", 0.5f));
                                          material->addMaterial(plain("chosen", 0.75f));
                                          material->setChoice(1);
                                      })),
             {});
    return list.all;
}
