#include "MaterialLook.h"

#include "Compare.h"
#include "CompareUses.h"
#include "Statistics.h"

#include <OpenSG/OSGBlendChunk.h>
#include <OpenSG/OSGChunkMaterial.h>
#include <OpenSG/OSGMaterialChunk.h>
#include <OpenSG/OSGMultiPassMaterial.h>
#include <OpenSG/OSGSwitchMaterial.h>
#include <OpenSG/OSGTexGenChunk.h>
#include <OpenSG/OSGTextureChunk.h>
#include <OpenSG/OSGTextureTransformChunk.h>
#include <zyOpenSGUtils/zyMaterials.h>
#include <zyUtils/zyFile.h>

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <tuple>
#include <unordered_set>

namespace zyscene
{

// -- Texts -----------------------------------------------------------------------------------------------

namespace
{
const char* const kindNames[] = {"lighting",
                                 "diffuse",
                                 "ambient",
                                 "specular",
                                 "emission",
                                 "shininess",
                                 "back faces",
                                 "opacity",
                                 "blending",
                                 "texture",
                                 "texture environment",
                                 "texture matrix",
                                 "texture generation",
                                 "texture sampling",
                                 "chunk"};

std::string textOfNumber(float number)
{
    char text[32];
    const std::to_chars_result end = std::to_chars(text, text + sizeof(text), number);
    return std::string(text, end.ptr);
}

std::string nameOfEnvironment(osg::UInt32 mode)
{
    switch (mode) {
    case GL_MODULATE:
        return "modulate";
    case GL_REPLACE:
        return "replace";
    case GL_DECAL:
        return "decal";
    case GL_BLEND:
        return "blend";
    case GL_ADD:
        return "add";
    case GL_COMBINE:
        return "combine";
    default:
        return std::to_string(mode);
    }
}

std::string shown(const Aspect* aspect)
{
    if (aspect == nullptr)
        return "none";
    if (!aspect->shown.empty())
        return aspect->shown;
    std::string text = aspect->key;
    if (aspect->values.empty())
        return text;
    text += text.empty() ? "" : " ";
    if (aspect->values.size() == 1)
        return text + textOfNumber(aspect->values[0]);
    for (std::size_t i = 0; i < aspect->values.size(); ++i) {
        text += i == 0 ? "(" : ", ";
        text += textOfNumber(aspect->values[i]);
    }
    return text + ")";
}
} // namespace

std::string nameOfPixelFormat(osg::UInt32 format)
{
    static const struct {
        osg::UInt32 format;
        const char* name;
    } rows[] = {{osg::Image::OSG_A_PF, "ALPHA"},          {osg::Image::OSG_I_PF, "INTENSITY"},
                {osg::Image::OSG_L_PF, "LUMINANCE"},      {osg::Image::OSG_LA_PF, "LUMINANCE_ALPHA"},
                {osg::Image::OSG_RGB_PF, "RGB"},          {osg::Image::OSG_RGBA_PF, "RGBA"},
                {osg::Image::OSG_BGR_PF, "BGR"},          {osg::Image::OSG_BGRA_PF, "BGRA"},
                {osg::Image::OSG_RGB_DXT1, "RGB_DXT1"},   {osg::Image::OSG_RGBA_DXT1, "RGBA_DXT1"},
                {osg::Image::OSG_RGBA_DXT3, "RGBA_DXT3"}, {osg::Image::OSG_RGBA_DXT5, "RGBA_DXT5"}};
    for (const auto& row : rows) {
        if (row.format == format)
            return row.name;
    }
    return std::to_string(format);
}

std::string textOf(const std::vector<AspectDifference>& differences)
{
    std::string text;
    for (const AspectDifference& difference : differences) {
        const Aspect& aspect = difference.any();
        if (!text.empty())
            text += "; ";
        if (aspect.pass != 0)
            text += "pass " + std::to_string(aspect.pass + 1) + " ";
        text += kindNames[aspect.kind];
        if (aspect.number != 0)
            text += " " + std::to_string(aspect.number + 1);
        text += " " + shown(difference.first) + " and " + shown(difference.second);
    }
    return text;
}

std::string MaterialLook::hint() const
{
    std::string text = name;
    for (const Aspect& aspect : aspects) {
        text += '\n' + std::to_string(aspect.pass) + ' ' + std::to_string(aspect.kind) + ' ' + aspect.key;
        for (const float value : aspect.values) {
            char number[32];
            const std::to_chars_result end =
                std::to_chars(number, number + sizeof(number), value, std::chars_format::general, 4);
            text += ' ';
            text.append(number, end.ptr);
        }
    }
    return text;
}

// -- Comparison ------------------------------------------------------------------------------------------

namespace
{
bool isNear(float a, float b, double tolerance)
{
    return a == b || (std::isnan(a) && std::isnan(b)) || std::fabs(double(a) - double(b)) <= tolerance;
}

double largestOf(const std::vector<float>& values, std::size_t begin, std::size_t end)
{
    double largest = 0;
    for (std::size_t i = begin; i < end; ++i) {
        if (std::isfinite(values[i]))
            largest = std::max<double>(largest, std::fabs(values[i]));
    }
    return largest;
}

// Planes of four numbers each: three factors and a place.
bool samePlanes(const std::vector<float>& a, const std::vector<float>& b)
{
    constexpr double tolerance = 1e-5;
    for (std::size_t plane = 0; plane + 4 <= a.size(); plane += 4) {
        const double factors = std::max(largestOf(a, plane, plane + 3), largestOf(b, plane, plane + 3));
        for (std::size_t i = plane; i < plane + 4; ++i) {
            const double size =
                i < plane + 3 ? factors : std::max({1.0, largestOf(a, i, i + 1), largestOf(b, i, i + 1)});
            if (!isNear(a[i], b[i], tolerance * size))
                return false;
        }
    }
    return true;
}

bool agree(const Aspect& first, const Aspect& second)
{
    if (first.key != second.key || first.values.size() != second.values.size())
        return false;
    if (first.kind == Aspect::Generation)
        return samePlanes(first.values, second.values);
    for (std::size_t i = 0; i < first.values.size(); ++i) {
        const double size =
            std::max({1.0, largestOf(first.values, i, i + 1), largestOf(second.values, i, i + 1)});
        if (!isNear(first.values[i], second.values[i], 1e-6 * size))
            return false;
    }
    return true;
}

bool isBefore(const Aspect& a, const Aspect& b)
{
    return std::tie(a.pass, a.kind, a.number) < std::tie(b.pass, b.kind, b.number);
}
} // namespace

std::vector<AspectDifference> differencesOf(const MaterialLook& first, const MaterialLook& second)
{
    std::vector<AspectDifference> result;
    auto a = first.aspects.begin();
    auto b = second.aspects.begin();
    while (a != first.aspects.end() || b != second.aspects.end()) {
        if (b == second.aspects.end() || (a != first.aspects.end() && isBefore(*a, *b))) {
            result.push_back({&*a++, nullptr});
        } else if (a == first.aspects.end() || isBefore(*b, *a)) {
            result.push_back({nullptr, &*b++});
        } else {
            if (!agree(*a, *b))
                result.push_back({&*a, &*b});
            ++a;
            ++b;
        }
    }
    return result;
}

// -- Images ----------------------------------------------------------------------------------------------

std::uint64_t LookReader::pixelHash(const osg::ImagePtr& image)
{
    if (image == osg::NullFC || !image->isValid())
        return 0;
    const auto found = _hashes.emplace(image.getBaseCPtr(), 0);
    if (!found.second)
        return found.first->second;

    const osg::UInt8* pixels = image->getData();
    const std::size_t size = image->getSize(false, false, false);
    std::uint32_t format = image->getPixelFormat();
    std::vector<osg::UInt8> turned;
    const bool isBgr = format == osg::Image::OSG_BGR_PF || format == osg::Image::OSG_BGRA_PF;
    if (isBgr && image->getDataType() == osg::Image::OSG_UINT8_IMAGEDATA) {
        const std::size_t channels = format == osg::Image::OSG_BGR_PF ? 3 : 4;
        turned.assign(pixels, pixels + size);
        for (std::size_t i = 0; i + channels <= size; i += channels)
            std::swap(turned[i], turned[i + 2]);
        pixels = turned.data();
        format = channels == 3 ? osg::Image::OSG_RGB_PF : osg::Image::OSG_RGBA_PF;
    }
    const std::uint64_t parts[] = {
        static_cast<std::uint64_t>(image->getWidth()),    static_cast<std::uint64_t>(image->getHeight()),
        static_cast<std::uint64_t>(image->getDepth()),    format,
        static_cast<std::uint64_t>(image->getDataType()), XXH3_64bits(pixels, size)};
    const std::uint64_t hash = XXH3_64bits(parts, sizeof(parts));
    return found.first->second = hash != 0 ? hash : 1;
}

bool hasAlpha(const osg::ImagePtr& image)
{
    switch (image->getPixelFormat()) {
    case osg::Image::OSG_A_PF:
    case osg::Image::OSG_I_PF:
    case osg::Image::OSG_LA_PF:
    case osg::Image::OSG_RGBA_PF:
    case osg::Image::OSG_BGRA_PF:
    case osg::Image::OSG_RGBA_DXT1:
    case osg::Image::OSG_RGBA_DXT3:
    case osg::Image::OSG_RGBA_DXT5:
        return true;
    default:
        return false;
    }
}

namespace
{
std::string hexOf(std::uint64_t number)
{
    char text[32];
    const std::to_chars_result end = std::to_chars(text, text + sizeof(text), number, 16);
    return std::string(text, end.ptr);
}

std::string shownImage(const osg::ImagePtr& image)
{
    return "'" + zyFile::getFileName(image->getName()) + "' " + std::to_string(image->getWidth()) + " x " +
           std::to_string(image->getHeight()) + " " + nameOfPixelFormat(image->getPixelFormat());
}

// -- Chunks ----------------------------------------------------------------------------------------------

bool isOneOf(const char* name, std::initializer_list<const char*> others)
{
    return std::any_of(others.begin(), others.end(),
                       [name](const char* other) { return std::strcmp(name, other) == 0; });
}

// The fields of a chunk that are not as in a new one: "minFilter 9729, wrapS 33071". Handles are told as set
// only.
template <class SkipT>
std::string unusualFields(const osg::StateChunkPtr& chunk, SkipT skip)
{
    std::string text;
    const osg::FieldContainerType& type = chunk->getType();
    const osg::FieldContainerPtr usual = type.getPrototype();
    for (osg::UInt32 id = osg::Attachment::InternalFieldId + 1; id <= type.getNumFieldDescs(); ++id) {
        const osg::FieldDescription* const description = type.getFieldDescription(id);
        if (description == nullptr || description->isInternal() || skip(description->getCName()))
            continue;
        const osg::Field* const field = chunk->getField(id);
        if (field->equals(*usual->getField(id)))
            continue;
        text += text.empty() ? "" : ", ";
        text += description->getCName();
        std::string value;
        text += field->isPointerField() ? " set" : " " + field->getValueByStr(value);
    }
    return text;
}

// The chunk of a class at one of its places; null when it is not drawn.
template <class ChunkT>
typename ChunkT::Ptr chunkOf(const osg::StatePtr& state, osg::UInt32 place = 0)
{
    typedef typename ChunkT::Ptr ChunkPtr;
    const ChunkPtr chunk = ChunkPtr::dcast(state->getChunk(ChunkT::getStaticClassId() + place));
    return chunk != osg::NullFC && !chunk->getIgnore() ? chunk : ChunkPtr();
}

std::vector<float> valuesOf(const osg::Color4f& color)
{
    return {color.red(), color.green(), color.blue()};
}

/// One pass of a material, aspect by aspect.
class PassReader
{
public:
    PassReader(LookReader& images, MaterialLook& look, unsigned int pass, const osg::StatePtr& state)
        : _images(images), _look(look), _pass(pass), _state(state)
    {
    }

    void read();

private:
    void add(Aspect::Kind kind, std::string key, std::vector<float> values = {}, unsigned int number = 0,
             std::string shownText = std::string())
    {
        _look.aspects.push_back(
            {_pass, kind, number, std::move(key), std::move(values), std::move(shownText)});
    }
    void addColors();
    void addTextures();
    void addTexture(unsigned int number, osg::UInt32 unit, const osg::TextureChunkPtr& chunk);
    void addGeneration(unsigned int number, const osg::TexGenChunkPtr& chunk);
    void addBlending();
    void addOtherChunks();
    std::string imagesOf(const osg::TextureChunkPtr& chunk);

    LookReader& _images;
    MaterialLook& _look;
    const unsigned int _pass;
    const osg::StatePtr& _state;
    float _alpha = 1; ///< diffuse
    bool _texturesHaveAlpha = false;
};

void PassReader::read()
{
    addColors();
    addTextures();
    addBlending();
    addOtherChunks();
}

void PassReader::addColors()
{
    const osg::MaterialChunkPtr colors = chunkOf<osg::MaterialChunk>(_state);
    if (colors == osg::NullFC) {
        add(Aspect::Lighting, "without colours");
        return;
    }
    _alpha = colors->getDiffuse().alpha();
    add(Aspect::Lighting, colors->getLit() ? "lit" : "unlit");
    add(Aspect::Diffuse, "", valuesOf(colors->getDiffuse()));
    if (!colors->getLit())
        return;
    add(Aspect::Ambient, "", valuesOf(colors->getAmbient()));
    add(Aspect::Specular, "", valuesOf(colors->getSpecular()));
    add(Aspect::Emission, "", valuesOf(colors->getEmission()));
    add(Aspect::Shininess, "", {colors->getShininess()});
    if (colors->getBackMaterial()) {
        add(Aspect::BackFaces,
            unusualFields(colors, [](const char* field) { return std::strncmp(field, "back", 4) != 0; }));
    }
}

// All images: a texture of one face, or the six of a cube. Empty without pixels.
std::string PassReader::imagesOf(const osg::TextureChunkPtr& chunk)
{
    std::string key;
    const osg::FieldContainerType& type = chunk->getType();
    for (osg::UInt32 id = 1; id <= type.getNumFieldDescs(); ++id) {
        const osg::Field* const field = chunk->getField(id);
        const osg::ImagePtr image =
            field != nullptr ? osg::ImagePtr::dcast(field->getContainer(0)) : osg::ImagePtr();
        if (const std::uint64_t hash = _images.pixelHash(image)) {
            key += (key.empty() ? "" : " ") + hexOf(hash);
            _texturesHaveAlpha = _texturesHaveAlpha || hasAlpha(image);
        }
    }
    return key;
}

void PassReader::addTextures()
{
    unsigned int number = 0;
    for (osg::UInt32 unit = 0; unit < osg::TextureChunk::getStaticClass().getNumSlots(); ++unit) {
        const osg::TextureChunkPtr chunk = chunkOf<osg::TextureChunk>(_state, unit);
        if (chunk != osg::NullFC)
            addTexture(number++, unit, chunk);
    }
}

void PassReader::addTexture(unsigned int number, osg::UInt32 unit, const osg::TextureChunkPtr& chunk)
{
    std::string images = imagesOf(chunk);
    if (images.empty())
        return;
    const bool isPlain = chunk->getTypeId() == osg::TextureChunk::getClassTypeId();
    std::string text = chunk->getImage() != osg::NullFC ? shownImage(chunk->getImage()) : "images";
    if (!isPlain) {
        images = std::string(chunk->getTypeName()) + " " + images;
        text = std::string(chunk->getTypeName()) + " " + text;
    }
    add(Aspect::Texture, std::move(images), {}, number, std::move(text));

    // Of the other fields only those mean something that the mode looks at.
    const osg::UInt32 mode = chunk->getEnvMode();
    std::string environment = nameOfEnvironment(mode);
    if (mode == GL_COMBINE) {
        environment += " " + unusualFields(chunk, [](const char* field) {
                           return std::strncmp(field, "env", 3) != 0 || std::strcmp(field, "envMode") == 0;
                       });
    }
    add(Aspect::Environment, std::move(environment),
        mode == GL_BLEND ? valuesOf(chunk->getEnvColor()) : std::vector<float>(), number);

    const osg::TextureTransformChunkPtr transform = chunkOf<osg::TextureTransformChunk>(_state, unit);
    const osg::Matrix matrix = transform != osg::NullFC ? transform->getMatrix() : osg::Matrix::identity();
    add(Aspect::Matrix, transform != osg::NullFC && transform->getUseCameraBeacon() ? "of the camera" : "",
        std::vector<float>(matrix.getValues(), matrix.getValues() + 16), number);
    addGeneration(number, chunkOf<osg::TexGenChunk>(_state, unit));
    add(Aspect::Sampling,
        unusualFields(chunk,
                      [](const char* field) {
                          return std::strncmp(field, "env", 3) == 0 || std::strncmp(field, "dirty", 5) == 0 ||
                                 isOneOf(field,
                                         {"image", "scale", "priority", "ignore", "NPOTMatrixScale"}) ||
                                 std::strstr(field, "Image") != nullptr;
                      }),
        {}, number);
}

void PassReader::addGeneration(unsigned int number, const osg::TexGenChunkPtr& chunk)
{
    std::string key;
    std::vector<float> planes;
    if (chunk != osg::NullFC) {
        const struct {
            const char* name;
            osg::UInt32 function;
            const osg::Vec4f& plane;
            bool beacon;
        } rows[] = {
            {"s", chunk->getGenFuncS(), chunk->getGenFuncSPlane(), chunk->getSBeacon() != osg::NullFC},
            {"t", chunk->getGenFuncT(), chunk->getGenFuncTPlane(), chunk->getTBeacon() != osg::NullFC},
            {"r", chunk->getGenFuncR(), chunk->getGenFuncRPlane(), chunk->getRBeacon() != osg::NullFC},
            {"q", chunk->getGenFuncQ(), chunk->getGenFuncQPlane(), chunk->getQBeacon() != osg::NullFC}};
        for (const auto& row : rows) {
            if (row.function == 0 && !row.beacon)
                continue;
            key += (key.empty() ? "" : " ") + std::string(row.name) + " ";
            if (row.beacon)
                key += "of a beacon";
            else if (row.function == GL_OBJECT_LINEAR)
                key += "object-linear";
            else if (row.function == GL_EYE_LINEAR)
                key += "eye-linear";
            else
                key += std::to_string(row.function);
            if (row.beacon || row.function == GL_OBJECT_LINEAR || row.function == GL_EYE_LINEAR)
                planes.insert(planes.end(), row.plane.getValues(), row.plane.getValues() + 4);
        }
    }
    add(Aspect::Generation, std::move(key), std::move(planes), number);
}

void PassReader::addBlending()
{
    const osg::BlendChunkPtr blend = chunkOf<osg::BlendChunk>(_state);
    std::string key = blend != osg::NullFC
                          ? unusualFields(blend, [](const char* field) { return isOneOf(field, {"ignore"}); })
                          : std::string();
    const bool byAlpha = blend != osg::NullFC && blend->getSrcFactor() == GL_SRC_ALPHA &&
                         blend->getDestFactor() == GL_ONE_MINUS_SRC_ALPHA &&
                         key == "srcFactor " + std::to_string(GL_SRC_ALPHA) + ", destFactor " +
                                    std::to_string(GL_ONE_MINUS_SRC_ALPHA);
    if (byAlpha)
        key = _alpha < 1 || _texturesHaveAlpha ? "by alpha" : "";
    const bool none = key.empty();
    add(Aspect::Opacity, "", {none ? 1.f : _alpha});
    add(Aspect::Blending, none ? "none" : key);
}

void PassReader::addOtherChunks()
{
    std::vector<std::string> texts;
    const osg::MFStateChunkPtr& chunks = *_state->getMFChunks();
    for (osg::UInt32 i = 0; i < chunks.getSize(); ++i) {
        const osg::StateChunkPtr chunk = chunks[i];
        if (chunk == osg::NullFC || chunk->getIgnore() ||
            isOneOf(chunk->getClass()->getName(),
                    {"Material", "Blend", "Texture", "TextureTransform", "TexGen"}))
            continue;
        const std::string fields =
            unusualFields(chunk, [](const char* field) { return isOneOf(field, {"ignore"}); });
        // These say nothing new as long as they are as they were made.
        if (fields.empty() && isOneOf(chunk->getTypeName(), {"PolygonChunk", "LineChunk", "PointChunk"}))
            continue;
        texts.push_back(chunk->getTypeName() + std::string(fields.empty() ? "" : " ") + fields);
    }
    std::sort(texts.begin(), texts.end());
    for (std::size_t i = 0; i < texts.size(); ++i)
        add(Aspect::Chunk, texts[i], {}, static_cast<unsigned int>(i));
}

// The materials that are drawn one after the other. A material made of others counts where it is met first.
std::vector<osg::MaterialPtr> passesOf(const osg::MaterialPtr& material)
{
    std::vector<osg::MaterialPtr> passes;
    std::unordered_set<const void*> met;
    std::vector<osg::MaterialPtr> open = {material};
    while (!open.empty()) {
        const osg::MaterialPtr next = open.back();
        open.pop_back();
        if (next == osg::NullFC)
            continue;
        const osg::SwitchMaterialPtr choice = osg::SwitchMaterialPtr::dcast(next);
        const osg::MultiPassMaterialPtr several = osg::MultiPassMaterialPtr::dcast(next);
        if (choice == osg::NullFC && several == osg::NullFC) {
            passes.push_back(next);
        } else if (met.insert(next.getBaseCPtr()).second) {
            if (choice != osg::NullFC) {
                open.push_back(choice->getCurrentMaterial());
            } else {
                for (osg::UInt32 i = several->getMFMaterials()->getSize(); i > 0; --i)
                    open.push_back(several->getMaterials(i - 1));
            }
        }
    }
    return passes;
}

// Wrappers without a name go by what they stand for.
std::string lookName(const osg::MaterialPtr& material)
{
    std::string name = zyMaterials::getName(material);
    if (name.empty())
        name = zyMaterials::getName(zyMaterials::getRealMaterial(material));
    name = withoutNumber(legalName(name));
    return isOneOf(name.c_str(), {"lambert", "phong", "blinn"}) ? std::string() : name;
}
} // namespace

MaterialLook LookReader::read(const osg::MaterialPtr& material)
{
    MaterialLook look;
    look.name = lookName(material);
    unsigned int pass = 0;
    for (const osg::MaterialPtr& part : passesOf(material)) {
        osg::StatePtr state = part->makeState();
        if (state != osg::NullFC) {
            osg::addRefCP(state);
            PassReader(*this, look, pass, state).read();
            osg::subRefCP(state);
        }
        ++pass;
    }
    std::sort(look.aspects.begin(), look.aspects.end(), isBefore);
    return look;
}

} // namespace zyscene
