#include "WrittenMaterials.h"

#include "Compare.h"

#include <OpenSG/OSGBlendChunk.h>
#include <OpenSG/OSGChunkMaterial.h>
#include <OpenSG/OSGMaterialChunk.h>
#include <OpenSG/OSGSimpleGeometry.h>
#include <OpenSG/OSGState.h>
#include <OpenSG/OSGTexGenChunk.h>
#include <OpenSG/OSGTextureChunk.h>
#include <zyOpenSGUberMaterial/zyUBRDFMaterial.h>
#include <zyOpenSGUtils/zyMaterials.h>
#include <zyOpenSGUtils/zyNodeUtils.h>
#include <zyUtils/zyFile.h>

#include <cmath>
#include <utility>

namespace zyscene
{

// -- What an export looks at -----------------------------------------------------------------------------

namespace
{
/// The chunks of a material's state that are written: the first of each class, whether or not it is drawn.
class Chunks
{
public:
    explicit Chunks(const osg::ChunkMaterialPtr& material) : _state(material->makeState())
    {
        osg::addRefCP(_state);
        const osg::MFStateChunkPtr& chunks = *_state->getMFChunks();
        for (osg::UInt32 i = 0; i < chunks.getSize(); ++i) {
            takeFirst(colors, chunks[i]);
            takeFirst(blend, chunks[i]);
            takeFirst(texture, chunks[i]);
            takeFirst(texGen, chunks[i]);
        }
    }
    ~Chunks() { osg::subRefCP(_state); }
    Chunks(const Chunks&) = delete;
    Chunks& operator=(const Chunks&) = delete;

    osg::MaterialChunkPtr colors;
    osg::BlendChunkPtr blend;
    osg::TextureChunkPtr texture;
    osg::TexGenChunkPtr texGen;

private:
    template <class ChunkPtr>
    static void takeFirst(ChunkPtr& first, const osg::StateChunkPtr& chunk)
    {
        if (first == osg::NullFC)
            first = ChunkPtr::dcast(chunk);
    }

    osg::StatePtr _state;
};

bool isFinite(const osg::Color3f& color)
{
    return std::isfinite(color.red()) && std::isfinite(color.green()) && std::isfinite(color.blue());
}

osg::Color3f withoutAlpha(const osg::Color4f& color)
{
    return osg::Color3f(color.red(), color.green(), color.blue());
}

// The modeller refuses a colour or a number as a whole, and keeps what a new shader has.
osg::Color3f finiteOr(const osg::Color3f& color, float otherwise)
{
    return isFinite(color) ? color : osg::Color3f(otherwise, otherwise, otherwise);
}

void setColors(WrittenMaterial& written, const osg::Color3f& ambient, const osg::Color3f& diffuse,
               const osg::Color3f& specular, float shininess)
{
    constexpr float color = 0.5f; // of a new shader
    constexpr float cosinePower = 20;
    written.ambient = finiteOr(ambient, 0);
    written.diffuse = finiteOr(diffuse, color);
    written.specular = finiteOr(specular, color);
    written.shininess = std::isfinite(shininess) ? shininess : cosinePower;
}

void setTransparency(WrittenMaterial& written, float transparency)
{
    if (std::isfinite(transparency))
        written.opacity = 1 - (transparency + transparency + transparency) / 3;
}

// The gain of a texture takes the place of the diffuse colour.
void setGain(WrittenMaterial& written, const Chunks& chunks)
{
    written.diffuse = osg::Color3f(1, 1, 1);
    if (chunks.texture->getEnvMode() != GL_MODULATE || chunks.colors == osg::NullFC)
        return;
    for (osg::UInt32 i = 0; i < 3; ++i) {
        const float gain = chunks.colors->getDiffuse()[i];
        if (std::isfinite(gain))
            written.diffuse[i] = gain;
    }
}

// -- Projections -----------------------------------------------------------------------------------------

// The planes that a 3D placement gives back of those that it was made from: its axes are at right angles, and
// the third one is always this one.
void placePlanes(WrittenMaterial& written, const osg::Vec4f& s, const osg::Vec4f& t)
{
    osg::Matrix placement(s[0], s[1], s[2], s[3] - 0.5f, //
                          t[0], t[1], t[2], t[3] - 0.5f, //
                          s[1] - s[2], 0.0f, s[0], 0.0f, //
                          0.0f, 0.0f, 0.0f, 1.0f);
    placement.invert();
    osg::Matrix scaled;
    scaled.setScale(0.5f);
    placement.mult(scaled);

    osg::Vec3f translation;
    osg::Quaternion rotation;
    osg::Vec3f scale;
    zyNodeUtils::decomposeMatrix(placement, translation, rotation, scale);
    osg::Matrix back;
    back.setTransform(translation, rotation, scale);
    scaled.setScale(2.0f);
    back.mult(scaled);
    back.invert();

    written.projected = true;
    written.sPlane = osg::Vec4f(back[0][0], back[1][0], back[2][0], back[3][0] + 0.5f);
    written.tPlane = osg::Vec4f(back[0][1], back[1][1], back[2][1], back[3][1] + 0.5f);
}

// -- Images ----------------------------------------------------------------------------------------------

bool fitsPng(const osg::ImagePtr& image)
{
    if (!image->isValid() || image->getDepth() > 1)
        return false;
    switch (image->getPixelFormat()) {
    case osg::Image::OSG_L_PF:
    case osg::Image::OSG_LA_PF:
    case osg::Image::OSG_RGB_PF:
    case osg::Image::OSG_RGBA_PF:
    case osg::Image::OSG_BGR_PF:
    case osg::Image::OSG_BGRA_PF:
        return image->getDataType() == osg::Image::OSG_UINT8_IMAGEDATA ||
               image->getDataType() == osg::Image::OSG_UINT16_IMAGEDATA;
    default:
        return false;
    }
}

// Images without a name get numbers, whatever else is there.
std::string pngOf(const osg::ImagePtr& image, std::size_t number)
{
    const std::string file = zyFile::getFileName(image->getName());
    return (file.empty() ? "(" + std::to_string(number) + ")" : zyFile::getBaseName(file)) + ".png";
}

void takeTexture(WrittenMaterial& written, const Chunks& chunks, std::size_t number)
{
    if (chunks.texture == osg::NullFC || chunks.texture->getImage() == osg::NullFC)
        return;
    written.image = chunks.texture->getImage();
    written.imageFile = pngOf(written.image, number);
    if (chunks.texGen == osg::NullFC) {
        written.connected = true;
    } else if (chunks.texGen->getGenFuncS() == GL_OBJECT_LINEAR &&
               chunks.texGen->getGenFuncT() == GL_OBJECT_LINEAR) {
        written.connected = true;
        placePlanes(written, chunks.texGen->getGenFuncSPlane(), chunks.texGen->getGenFuncTPlane());
    }
    if (written.connected)
        setGain(written, chunks);
}
} // namespace

WrittenMaterials::~WrittenMaterials()
{
    for (auto& made : _made)
        osg::subRefCP(made.second);
    for (WrittenMaterial& written : _all)
        osg::subRefCP(written.source);
}

// -- Taking in -------------------------------------------------------------------------------------------

osg::MaterialPtr WrittenMaterials::resolve(const osg::MaterialPtr& material)
{
    const osg::MaterialPtr real = zyMaterials::getRealMaterial(material);
    return real != osg::NullFC ? real : osg::getDefaultMaterial();
}

const MaterialLook& WrittenMaterials::lookOf(const osg::MaterialPtr& material)
{
    const auto found = _looks.find(material.getBaseCPtr());
    if (found != _looks.end())
        return found->second;
    return _looks.emplace(material.getBaseCPtr(), _reader.read(material)).first->second;
}

void WrittenMaterials::add(const osg::MaterialPtr& material)
{
    if (!_places.emplace(material.getBaseCPtr(), _all.size()).second)
        return;
    _all.emplace_back();
    WrittenMaterial& written = _all.back();
    written.source = material;
    osg::addRefCP(written.source);
    const std::string name = zyMaterials::getName(material);
    written.name = legalName(name);
    const bool isNew = _names.insert(written.name).second;
    written.losses[std::size_t(Loss::MaterialRenamed)] =
        material != osg::getDefaultMaterial() && (name.empty() || !isNew || written.name != name);

    const osg::UBRDFMaterialPtr measured = osg::UBRDFMaterialPtr::dcast(material);
    const osg::ChunkMaterialPtr chunked = osg::ChunkMaterialPtr::dcast(material);
    const osg::Color3f grey(0.5f, 0.5f, 0.5f);
    setColors(written, osg::Color3f(0, 0, 0), grey, grey, 20);
    if (measured != osg::NullFC) {
        written.measured = true;
        setColors(written, measured->getAnalyticAmbient(), measured->getAnalyticDiffuse(),
                  measured->getAnalyticSpecular(), measured->getAnalyticShininess());
        setTransparency(written, measured->getAnalyticTransparency());
        return;
    }
    if (chunked == osg::NullFC) {
        written.unmade = true;
        return;
    }
    const Chunks chunks(chunked);
    written.unmade = chunks.colors == osg::NullFC;
    if (!written.unmade) {
        setColors(written, withoutAlpha(chunks.colors->getAmbient()),
                  withoutAlpha(chunks.colors->getDiffuse()), withoutAlpha(chunks.colors->getSpecular()),
                  chunks.colors->getShininess());
        const float transparency = 1 - chunks.colors->getDiffuse().alpha();
        if (transparency > 0 && chunks.blend != osg::NullFC)
            setTransparency(written, transparency);
        written.losses[std::size_t(Loss::Alpha)] = transparency > 0 && chunks.blend == osg::NullFC;
    }
    takeTexture(written, chunks, _all.size());
    written.losses[std::size_t(Loss::Gain)] =
        written.connected && !written.unmade && chunks.texture->getEnvMode() == GL_MODULATE;
}

void WrittenMaterials::unplace(const osg::MaterialPtr& material)
{
    WrittenMaterial& written = _all[_places.at(material.getBaseCPtr())];
    written.unplaced = true;
    written.sPlane = osg::Vec4f(0.5f, 0, 0, 0.5f);
    written.tPlane = osg::Vec4f(0, 0.5f, 0, 0.5f);
}

// -- What is shared and lost -----------------------------------------------------------------------------

// Images of one file name share the first one that could be written.
void WrittenMaterials::shareImages()
{
    std::unordered_map<std::string, std::pair<osg::ImagePtr, const WrittenMaterial*>> files;
    for (const WrittenMaterial& written : _all) {
        if (written.image != osg::NullFC && fitsPng(written.image))
            files.emplace(written.imageFile, std::make_pair(written.image, &written));
    }
    for (WrittenMaterial& written : _all) {
        if (written.image == osg::NullFC)
            continue;
        const auto owner = files.find(written.imageFile);
        if (owner == files.end()) {
            written.image = osg::NullFC;
            written.losses[std::size_t(Loss::ImageFormat)] = written.connected;
            continue;
        }
        if (written.connected && _reader.pixelHash(owner->second.first) != _reader.pixelHash(written.image)) {
            written.losses[std::size_t(Loss::ImageName)] = true;
            written.imageOwner =
                written.imageFile + " of '" + zyMaterials::getName(owner->second.second->source) + "'";
        }
        written.image = owner->second.first;
    }
    for (WrittenMaterial& written : _all) {
        if (!written.connected)
            written.image = osg::NullFC;
    }
}

namespace
{
// Which loss a difference between a material and what comes back of it is. `none` where it goes with another
// one.
bool lossOf(const WrittenMaterial& written, const AspectDifference& difference, Loss& loss)
{
    const Aspect& aspect = difference.any();
    const bool gone = difference.second == nullptr;
    loss = Loss::Chunk;
    if (written.measured || written.unmade) {
        loss = written.measured ? Loss::MaterialMeasured : Loss::MaterialDefault;
        return true;
    }
    switch (aspect.kind) {
    case Aspect::Lighting:
        // Colours that are there, but not drawn, are written all the same.
        loss = difference.first != nullptr && difference.first->key == "unlit" ? Loss::Unlit : Loss::Chunk;
        return true;
    case Aspect::Diffuse:
        if (difference.first == nullptr)
            return false;
        loss = written.connected ? Loss::Environment : Loss::MaterialRefused;
        if (!isFinite(osg::Color3f(difference.first->values[0], difference.first->values[1],
                                   difference.first->values[2])))
            loss = Loss::MaterialRefused;
        return true;
    case Aspect::Ambient:
    case Aspect::Specular:
    case Aspect::Shininess:
        loss = Loss::MaterialRefused;
        return difference.first != nullptr; // else it was not lit
    case Aspect::Emission:
        loss = Loss::Emission;
        return difference.first != nullptr;
    case Aspect::BackFaces:
        loss = Loss::BackFaces;
        return true;
    case Aspect::Opacity:
    case Aspect::Blending:
        loss = Loss::Blending;
        return true;
    case Aspect::Texture:
        if (aspect.number > 0 || (gone && written.imageFile.empty()))
            loss = Loss::FurtherTextures;
        else if (gone)
            loss = written.connected ? Loss::ImageFormat : Loss::TexGenFunction;
        else if (written.losses[std::size_t(Loss::ImageName)])
            loss = Loss::ImageName;
        return true;
    case Aspect::Environment:
        loss = Loss::Environment;
        break;
    case Aspect::Matrix:
        loss = Loss::TextureMatrix;
        break;
    case Aspect::Generation:
        loss = Loss::TexGenFurther;
        if (!gone && difference.first != nullptr && difference.first->key == difference.second->key)
            loss = written.unplaced ? Loss::TexGenUnplaced : Loss::TexGenBent;
        break;
    case Aspect::Sampling:
        loss = Loss::Sampling;
        break;
    case Aspect::Chunk:
        return true;
    }
    return !gone && difference.first != nullptr; // else the texture as a whole is
}
} // namespace

void WrittenMaterials::findLosses(WrittenMaterial& written)
{
    const osg::MaterialPtr back = make(written.source);
    for (const AspectDifference& difference : differencesOf(lookOf(written.source), lookOf(back))) {
        Loss loss = Loss::Chunk;
        if (lossOf(written, difference, loss))
            written.losses[static_cast<std::size_t>(loss)] = true;
    }
}

void WrittenMaterials::finish()
{
    shareImages();
    for (WrittenMaterial& written : _all)
        findLosses(written);
}

// -- What comes back -------------------------------------------------------------------------------------

namespace
{
osg::MaterialChunkPtr makeColors(const WrittenMaterial& written)
{
    const auto withOpacity = [&written](const osg::Color3f& color) {
        return osg::Color4f(color.red(), color.green(), color.blue(), written.opacity);
    };
    const osg::MaterialChunkPtr chunk = osg::MaterialChunk::create();
    const osg::CPEditor edit(chunk);
    chunk->setAmbient(withOpacity(written.ambient));
    chunk->setDiffuse(withOpacity(written.diffuse));
    chunk->setSpecular(withOpacity(written.specular));
    chunk->setEmission(withOpacity(osg::Color3f(0, 0, 0)));
    chunk->setShininess(written.shininess);
    return chunk;
}

osg::BlendChunkPtr makeBlending()
{
    const osg::BlendChunkPtr chunk = osg::BlendChunk::create();
    const osg::CPEditor edit(chunk);
    chunk->setSrcFactor(GL_SRC_ALPHA);
    chunk->setDestFactor(GL_ONE_MINUS_SRC_ALPHA);
    return chunk;
}

osg::TextureChunkPtr makeTexture(const osg::ImagePtr& image)
{
    const osg::TextureChunkPtr chunk = osg::TextureChunk::create();
    const osg::CPEditor edit(chunk);
    chunk->setImage(image);
    chunk->setEnvMode(GL_MODULATE);
    return chunk;
}

osg::TexGenChunkPtr makeGeneration(const WrittenMaterial& written)
{
    const osg::TexGenChunkPtr chunk = osg::TexGenChunk::create();
    const osg::CPEditor edit(chunk);
    chunk->setGenFuncS(GL_OBJECT_LINEAR);
    chunk->setGenFuncT(GL_OBJECT_LINEAR);
    chunk->setGenFuncSPlane(written.sPlane);
    chunk->setGenFuncTPlane(written.tPlane);
    return chunk;
}
} // namespace

osg::MaterialPtr WrittenMaterials::make(const osg::MaterialPtr& material)
{
    const std::size_t place = _places.at(material.getBaseCPtr());
    const auto known = _made.find(place);
    if (known != _made.end())
        return known->second;

    const WrittenMaterial& written = _all[place];
    const osg::ChunkMaterialPtr made = osg::ChunkMaterial::create();
    zyMaterials::setName(made, written.name.empty() ? "phong1" : written.name, true);
    const osg::CPEditor edit(made, osg::ChunkMaterial::ChunksFieldMask);
    made->addChunk(makeColors(written));
    if (written.opacity < 1 || (written.image != osg::NullFC && hasAlpha(written.image)))
        made->addChunk(makeBlending());
    if (written.image != osg::NullFC) {
        made->addChunk(makeTexture(written.image));
        if (written.projected)
            made->addChunk(makeGeneration(written));
    }
    osg::addRefCP(made);
    _made.emplace(place, made);
    return made;
}

} // namespace zyscene
