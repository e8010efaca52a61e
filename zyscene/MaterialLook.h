#pragma once

#include <OpenSG/OSGImage.h>
#include <OpenSG/OSGMaterial.h>

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace zyscene
{

/// One thing about how a material is drawn.
struct Aspect {
    enum Kind {
        Lighting, ///< lit, unlit, or without colours of its own
        Diffuse,
        Ambient,
        Specular,
        Emission,
        Shininess,
        BackFaces,   ///< values of their own
        Opacity,     ///< 1 where nothing is blended
        Blending,    ///< with what is behind
        Texture,     ///< its pixels
        Environment, ///< how it joins the colour
        Matrix,      ///< of its coordinates
        Generation,  ///< of its coordinates
        Sampling,    ///< filters, wrapping and so on
        Chunk        ///< any other chunk of the state
    };

    unsigned int pass; ///< from 0
    Kind kind;
    unsigned int number;       ///< from 0: of the texture among those of the pass, or of the chunk
    std::string key;           ///< compared as it is
    std::vector<float> values; ///< compared within a tolerance that is that of their kind
    std::string shown;         ///< for people, where key and values would not do
};

/// How a material is drawn, whatever objects it is made of. Colours that lighting does not use, alpha where
/// nothing is blended, and textures without pixels do not count.
struct MaterialLook {
    std::string name;            ///< legal and without number; "" for one that the modeller gave
    std::vector<Aspect> aspects; ///< ordered by pass, kind and number; each at most once

    /// Equal for most looks that agree, and seldom for others: what looks are grouped by.
    std::string hint() const;
};

/// An aspect in which two looks differ.
struct AspectDifference {
    const Aspect* first;  ///< null: only the second has it
    const Aspect* second; ///< null: only the first has it

    const Aspect& any() const { return first != nullptr ? *first : *second; }
};

/// What differs, in the order of aspects. Names do not count. Colours agree within 1e-6, relative to values
/// beyond 1; matrices too; planes of generators within 1e-5, relative to the largest of the plane.
std::vector<AspectDifference> differencesOf(const MaterialLook& first, const MaterialLook& second);

/// "diffuse (1, 0, 0) and (0, 1, 0); texture 'a.png' 4 x 4 RGB and none"
std::string textOf(const std::vector<AspectDifference>& differences);

/// Looks at materials. Each image is looked at once.
class LookReader
{
public:
    MaterialLook read(const osg::MaterialPtr& material);

    /// Hash of size, format and pixels of the image's first level, frame and side; 0 without pixels. BGR is
    /// the same as RGB.
    std::uint64_t pixelHash(const osg::ImagePtr& image);

private:
    std::unordered_map<const void*, std::uint64_t> _hashes; ///< by image
};

/// By the format of its pixels alone.
bool hasAlpha(const osg::ImagePtr& image);

/// "RGB", "LUMINANCE_ALPHA", ...; the number of a format without a name.
std::string nameOfPixelFormat(osg::UInt32 format);

} // namespace zyscene
