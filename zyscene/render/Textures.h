#pragma once

#include "Gl.h"
#include "Notices.h"

#include <OpenSG/OSGImage.h>

#include <map>
#include <utility>

namespace zyscene::render
{

/// Where a texture is bound, and whether its mipmap levels are all there.
struct Texture {
    GLenum target = 0; ///< 0: the image cannot be drawn with
    GLuint name = 0;
};

/// Images as textures: each is handed over once for each internal format, whoever uses it.
class Textures
{
public:
    Textures(const Gl& gl, Notices& notices);
    ~Textures();
    Textures(const Textures&) = delete;
    Textures& operator=(const Textures&) = delete;

    /// The texture of one frame of an image, bound in the active unit.
    /// @param internalFormat 0: as the image has it
    Texture bind(const osg::ImagePtr& image, osg::UInt32 frame, GLenum internalFormat);
    /// The same of six images, for the sides +x -x +y -y +z -z.
    Texture bindCube(const osg::ImagePtr (&images)[6], osg::UInt32 frame, GLenum internalFormat);
    /// Makes the smaller levels of the texture that is bound last, unless they are there.
    void needLevels(const Texture& texture);

private:
    struct Key {
        const void* images[6];
        osg::UInt32 frame;
        GLenum internalFormat;
        bool operator<(const Key& other) const;
    };
    struct Entry {
        Texture texture;
        bool hasLevels = false;
    };

    Texture make(const Key& key, GLenum target, const osg::ImagePtr* images, std::size_t count);
    bool upload(GLenum target, const osg::ImagePtr& image, const Key& key, bool& hasLevels);

    const Gl& _gl;
    Notices& _notices;
    int _maxSide;
    std::map<Key, Entry> _entries;
    std::map<GLuint, Entry*> _byName;
};

} // namespace zyscene::render
