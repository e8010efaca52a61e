#include "Textures.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>
#include <tuple>

namespace zyscene::render
{

namespace
{
// What the pixels of an image are for the calls that take them; false: not known.
struct Format {
    GLenum internal;
    GLenum external;
    bool compressed;
};

bool formatOf(osg::UInt32 pixelFormat, Format& format)
{
    switch (pixelFormat) {
    case osg::Image::OSG_A_PF:
        format = {GL_ALPHA8, GL_ALPHA, false};
        return true;
    case osg::Image::OSG_I_PF: // pixels are never handed over as intensities
        format = {GL_INTENSITY8, GL_LUMINANCE, false};
        return true;
    case osg::Image::OSG_L_PF:
        format = {GL_LUMINANCE8, GL_LUMINANCE, false};
        return true;
    case osg::Image::OSG_LA_PF:
        format = {GL_LUMINANCE8_ALPHA8, GL_LUMINANCE_ALPHA, false};
        return true;
    case osg::Image::OSG_RGB_PF:
    case osg::Image::OSG_BGR_PF:
        format = {GL_RGB8, pixelFormat, false};
        return true;
    case osg::Image::OSG_RGBA_PF:
    case osg::Image::OSG_BGRA_PF:
        format = {GL_RGBA8, pixelFormat, false};
        return true;
    case osg::Image::OSG_RGB_DXT1:
    case osg::Image::OSG_RGBA_DXT1:
    case osg::Image::OSG_RGBA_DXT3:
    case osg::Image::OSG_RGBA_DXT5:
        format = {pixelFormat, pixelFormat, true};
        return true;
    default:
        return false;
    }
}

std::string nameOf(const osg::ImagePtr& image)
{
    const std::string name = std::filesystem::path(image->getName()).filename().string();
    return name.empty() ? std::string("an image without a name") : "image '" + name + "'";
}
} // namespace

bool Textures::Key::operator<(const Key& other) const
{
    if (!std::equal(images, images + 6, other.images))
        return std::lexicographical_compare(images, images + 6, other.images, other.images + 6,
                                            std::less<>());
    return std::tie(frame, internalFormat) < std::tie(other.frame, other.internalFormat);
}

Textures::Textures(const Gl& gl, Notices& notices)
    : _gl(gl), _notices(notices), _maxSide(gl.integer(GL_MAX_TEXTURE_SIZE))
{
    gl.PixelStorei(GL_UNPACK_ALIGNMENT, 1);
}

Textures::~Textures()
{
    for (const auto& entry : _entries) {
        if (entry.second.texture.name != 0)
            _gl.DeleteTextures(1, &entry.second.texture.name);
    }
}

// -- Upload ------------------------------------------------------------------------------------------------

// Hands the pixels over to the texture that is bound.
bool Textures::upload(GLenum target, const osg::ImagePtr& image, const Key& key, bool& hasLevels)
{
    Format format;
    if (image == osg::NullFC || !image->isValid() || !formatOf(image->getPixelFormat(), format))
        return false;
    const osg::UInt32 frame = std::min<osg::UInt32>(key.frame, osg::UInt32(image->getFrameCount()) - 1);
    const GLint internal = static_cast<GLint>(
        key.internalFormat != 0 && !format.compressed ? key.internalFormat : format.internal);
    const GLenum type = static_cast<GLenum>(image->getDataType());

    // Levels of its own only if they go down to a single pixel.
    const int longest = std::max({image->getWidth(), image->getHeight(), image->getDepth()});
    int wanted = 1;
    while (longest >> wanted != 0)
        ++wanted;
    hasLevels = image->getMipMapCount() >= wanted;
    const int levels = hasLevels ? wanted : 1;

    for (int level = 0; level < levels; ++level) {
        const GLsizei width = std::max(1, image->getWidth() >> level);
        const GLsizei height = std::max(1, image->getHeight() >> level);
        const GLsizei depth = std::max(1, image->getDepth() >> level);
        const osg::UInt8* const data = image->getData(osg::UInt32(level), frame);
        if (data == nullptr)
            return false;
        if (target == GL_TEXTURE_3D) {
            _gl.TexImage3D(target, level, internal, width, height, depth, 0, format.external, type, data);
        } else if (format.compressed) {
            const GLsizei block = format.external <= osg::Image::OSG_RGBA_DXT1 ? 8 : 16;
            const GLsizei size = (width + 3) / 4 * ((height + 3) / 4) * block;
            _gl.CompressedTexImage2D(target, level, format.internal, width, height, 0, size, data);
        } else {
            _gl.TexImage2D(target, level, internal, width, height, 0, format.external, type, data);
        }
    }
    return true;
}

Texture Textures::make(const Key& key, GLenum target, const osg::ImagePtr* images, std::size_t count)
{
    const auto found = _entries.find(key);
    if (found != _entries.end()) {
        if (found->second.texture.target != 0)
            _gl.BindTexture(target, found->second.texture.name);
        return found->second.texture;
    }

    Entry& entry = _entries[key];
    _gl.takeErrors();
    _gl.GenTextures(1, &entry.texture.name);
    _gl.BindTexture(target, entry.texture.name);
    entry.texture.target = target;
    entry.hasLevels = true;
    for (std::size_t i = 0; i < count; ++i) {
        osg::ImagePtr image = images[i];
        osg::ImagePtr smaller;
        if (image != osg::NullFC && std::max(image->getWidth(), image->getHeight()) > _maxSide) {
            smaller = osg::Image::create();
            osg::addRefCP(smaller);
            if (image->scale(std::min(image->getWidth(), _maxSide), std::min(image->getHeight(), _maxSide),
                             image->getDepth(), smaller))
                image = smaller;
        }
        const GLenum side =
            count == 1 ? target
                       : static_cast<GLenum>(GL_TEXTURE_CUBE_MAP_POSITIVE_X + static_cast<GLenum>(i));
        bool hasLevels = false;
        const bool done = upload(side, image, key, hasLevels) && !_gl.takeErrors();
        osg::subRefCP(smaller);
        entry.hasLevels = entry.hasLevels && hasLevels;
        if (!done) {
            if (images[i] != osg::NullFC && !images[i]->getMFPixel()->empty())
                _notices.add(nameOf(images[i]) + " has pixels that cannot be drawn");
            entry.texture.target = 0;
            break;
        }
    }
    _byName[entry.texture.name] = &entry;
    return entry.texture;
}

// -- Binding -----------------------------------------------------------------------------------------------

Texture Textures::bind(const osg::ImagePtr& image, osg::UInt32 frame, GLenum internalFormat)
{
    if (image == osg::NullFC)
        return {};
    const Key key = {{image.getBaseCPtr()}, frame, internalFormat};
    return make(key, image->getDepth() > 1 ? GL_TEXTURE_3D : GL_TEXTURE_2D, &image, 1);
}

Texture Textures::bindCube(const osg::ImagePtr (&images)[6], osg::UInt32 frame, GLenum internalFormat)
{
    Key key = {{}, frame, internalFormat};
    for (std::size_t i = 0; i < 6; ++i)
        key.images[i] = images[i].getBaseCPtr();
    return make(key, GL_TEXTURE_CUBE_MAP, images, 6);
}

void Textures::needLevels(const Texture& texture)
{
    Entry& entry = *_byName.at(texture.name);
    if (entry.hasLevels)
        return;
    _gl.GenerateMipmap(texture.target);
    entry.hasLevels = true;
}

} // namespace zyscene::render
