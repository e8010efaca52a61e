#include "render_support.h"

#include "Program.h"

#include <OpenSG/OSGBaseFunctions.h>
#include <OpenSG/OSGGeoPropNormals.h>
#include <OpenSG/OSGImageFileHandler.h>
#include <OpenSG/OSGTransform.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>

namespace
{
const bool started = osg::osgInit(0, nullptr);

// -- What lives until the end of a test --------------------------------------------------------------

std::vector<osg::FieldContainerPtr> keptContainers;

class ReleaseKept : public ::testing::EmptyTestEventListener
{
public:
    void OnTestEnd(const ::testing::TestInfo&) override
    {
        for (osg::FieldContainerPtr& container : keptContainers)
            osg::subRefCP(container);
        keptContainers.clear();
    }
};

void releaseAtTestEnd()
{
    static const bool listening = [] {
        ::testing::UnitTest::GetInstance()->listeners().Append(new ReleaseKept);
        return true;
    }();
    EXPECT_TRUE(listening);
}

template <class PtrT>
PtrT kept(const PtrT& container)
{
    keep(container);
    return container;
}

// One for the process: each takes as long as all pictures of a test.
const zyscene::render::GlContext& context()
{
    static std::string problem;
    static const std::unique_ptr<zyscene::render::GlContext> made =
        zyscene::render::GlContext::create(problem);
    if (!started || !made) {
        ADD_FAILURE() << problem;
        std::abort();
    }
    return *made;
}

Picture pictureOf(const osg::ImagePtr& image)
{
    Picture picture;
    picture.width = image->getWidth();
    picture.height = image->getHeight();
    const std::size_t row = std::size_t(picture.width) * 3;
    for (int y = picture.height - 1; y >= 0; --y) {
        const osg::UInt8* const from = image->getData() + y * row;
        picture.pixels.insert(picture.pixels.end(), from, from + row);
    }
    return picture;
}
} // namespace

// -- Colours -----------------------------------------------------------------------------------------

std::ostream& operator<<(std::ostream& out, const Rgb& color)
{
    return out << '(' << color.r << ' ' << color.g << ' ' << color.b << ')';
}

bool isNear(const Rgb& a, const Rgb& b, int tolerance)
{
    return std::abs(a.r - b.r) <= tolerance && std::abs(a.g - b.g) <= tolerance &&
           std::abs(a.b - b.b) <= tolerance;
}

Rgb rgb(double r, double g, double b)
{
    const auto byte = [](double value) { return int(std::lround(std::clamp(value, 0., 1.) * 255)); };
    return {byte(r), byte(g), byte(b)};
}

// -- Pictures ----------------------------------------------------------------------------------------

Rgb Picture::at(int x, int y) const
{
    const std::size_t i = (std::size_t(y) * std::size_t(width) + std::size_t(x)) * 3;
    if (x < 0 || x >= width || y < 0 || i + 2 >= pixels.size()) {
        ADD_FAILURE() << "no pixel at " << x << ", " << y;
        return {-1, -1, -1};
    }
    return {pixels[i], pixels[i + 1], pixels[i + 2]};
}

int Picture::countOthers(const Rgb& color) const
{
    int count = 0;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x)
            count += isNear(at(x, y), color, 0) ? 0 : 1;
    }
    return count;
}

zyscene::render::PictureOptions smallPicture()
{
    zyscene::render::PictureOptions options;
    options.width = 160;
    options.height = 90;
    options.view = zyscene::render::View::Front;
    options.background = osg::Color3f(0, 0, 0);
    return options;
}

Picture draw(const osg::NodePtr& root, const zyscene::render::PictureOptions& options)
{
    const ScopedGraph scene(root);
    osg::ImagePtr image = osg::Image::create();
    osg::addRefCP(image);
    Picture picture;
    zyscene::render::Notices notices;
    {
        const zyscene::render::DrawList list(root);
        const std::string problem = zyscene::render::drawPicture(context(), list, options, image, notices);
        if (problem.empty())
            picture = pictureOf(image);
        picture.problem = problem;
    }
    picture.notices = notices.texts();
    osg::subRefCP(image);
    return picture;
}

Picture readPicture(const std::string& file)
{
    osg::ImagePtr image = osg::ImageFileHandler::the()->read(file.c_str());
    EXPECT_TRUE(image != osg::NullFC) << file;
    if (image == osg::NullFC)
        return {};
    osg::addRefCP(image);
    EXPECT_EQ(osg::UInt32(osg::Image::OSG_RGB_PF), image->getPixelFormat());
    const Picture picture = pictureOf(image);
    osg::subRefCP(image);
    return picture;
}

void expectGolden(const Picture& picture, const std::string& name)
{
    ASSERT_EQ("", picture.problem);
    const std::string file = testFolder() + "/golden/render/" + name + ".png";
    if (std::getenv("UPDATE_GOLDEN") != nullptr) {
        std::vector<osg::UInt8> upwards;
        const auto row = std::ptrdiff_t(picture.width) * 3;
        for (auto end = picture.pixels.end(); end != picture.pixels.begin(); end -= row)
            upwards.insert(upwards.end(), end - row, end);
        const osg::ImagePtr image = makeImage(osg::Image::OSG_RGB_PF, picture.width, picture.height, upwards);
        EXPECT_TRUE(osg::ImageFileHandler::the()->write(image, file.c_str()));
        return;
    }
    const Picture golden = readPicture(file);
    ASSERT_EQ(golden.width, picture.width);
    ASSERT_EQ(golden.height, picture.height);
    // Edges may fall a little differently with another version of the driver.
    constexpr int visible = 12;
    constexpr double share = 0.005;
    int different = 0;
    for (int y = 0; y < picture.height; ++y) {
        for (int x = 0; x < picture.width; ++x)
            different += isNear(golden.at(x, y), picture.at(x, y), visible) ? 0 : 1;
    }
    EXPECT_LE(different, share * picture.width * picture.height) << name;
}

void keep(const osg::FieldContainerPtr& container)
{
    releaseAtTestEnd();
    osg::addRefCP(container);
    keptContainers.push_back(container);
}

// -- Things to draw ----------------------------------------------------------------------------------

osg::GeometryPtr makeQuad(float z, float size)
{
    return kept(makeGeometry({{-size, -size, z, 0, 0, 1, 0, 0},
                              {size, -size, z, 0, 0, 1, 1, 0},
                              {size, size, z, 0, 0, 1, 1, 1},
                              {-size, size, z, 0, 0, 1, 0, 1}},
                             GL_QUADS));
}

osg::GeometryPtr makeBall(int slices)
{
    const float pi = 3.14159265f;
    const auto corner = [&](int slice, int stack) {
        const float around = 2 * pi * float(slice) / float(slices);
        const float up = pi * (float(stack) / float(slices / 2) - 0.5f);
        const float x = std::cos(up) * std::sin(around);
        const float y = std::sin(up);
        const float z = std::cos(up) * std::cos(around);
        return Corner{x, y, z, x, y, z, float(slice) / float(slices), float(2 * stack) / float(slices)};
    };
    std::vector<Corner> corners;
    for (int stack = 0; stack < slices / 2; ++stack) {
        for (int slice = 0; slice < slices; ++slice) {
            corners.push_back(corner(slice, stack));
            corners.push_back(corner(slice + 1, stack));
            corners.push_back(corner(slice + 1, stack + 1));
            corners.push_back(corner(slice, stack + 1));
        }
    }
    return kept(makeGeometry(corners, GL_QUADS));
}

osg::NodePtr makeDrawn(const osg::GeometryPtr& geometry, const osg::MaterialPtr& material)
{
    const osg::CPEditor edit(geometry, osg::Geometry::MaterialFieldMask);
    geometry->setMaterial(material);
    return kept(makeNode("", geometry));
}

osg::NodePtr transformed(const osg::NodePtr& node, const osg::Matrix& matrix)
{
    const osg::TransformPtr core = osg::Transform::create();
    const osg::CPEditor edit(core);
    core->setMatrix(matrix);
    return kept(makeNode("", core, {node}));
}

osg::NodePtr moved(const osg::NodePtr& node, float x, float y, float z)
{
    osg::Matrix matrix;
    matrix.setTranslate(x, y, z);
    return transformed(node, matrix);
}

osg::NodePtr turned(const osg::NodePtr& node, const osg::Vec3f& axis, float degrees)
{
    osg::Quaternion rotation;
    rotation.setValueAsAxisDeg(axis, degrees);
    osg::Matrix matrix;
    matrix.setRotate(rotation);
    return transformed(node, matrix);
}

// -- Materials ---------------------------------------------------------------------------------------

osg::ChunkMaterialPtr makeMaterial(const std::vector<osg::StateChunkPtr>& chunks)
{
    const osg::ChunkMaterialPtr material = kept(osg::ChunkMaterial::create());
    const osg::CPEditor edit(material);
    for (const osg::StateChunkPtr& chunk : chunks)
        material->addChunk(chunk);
    return material;
}

static osg::MaterialChunkPtr makeColored(const osg::Color4f& color, bool lit)
{
    const osg::MaterialChunkPtr chunk = kept(osg::MaterialChunk::create());
    const osg::CPEditor edit(chunk);
    chunk->setDiffuse(color);
    chunk->setAmbient(osg::Color4f(0, 0, 0, color[3]));
    chunk->setSpecular(osg::Color4f(0, 0, 0, color[3]));
    chunk->setLit(lit);
    return chunk;
}

osg::MaterialChunkPtr makeUnlit(float r, float g, float b, float a)
{
    return makeColored(osg::Color4f(r, g, b, a), false);
}

osg::MaterialChunkPtr makeLit(float r, float g, float b, float a)
{
    return makeColored(osg::Color4f(r, g, b, a), true);
}

osg::ImagePtr makeImage(osg::UInt32 pixelFormat, int width, int height, const std::vector<osg::UInt8>& pixels)
{
    const osg::ImagePtr image = kept(osg::Image::create());
    EXPECT_TRUE(image->set(pixelFormat, width, height, 1, 1, 1, 0, pixels.data()));
    EXPECT_EQ(pixels.size(), image->getSize());
    return image;
}

osg::ImagePtr makeBoard(int fields, osg::UInt8 r, osg::UInt8 g, osg::UInt8 b)
{
    const int side = 8; // of a field
    std::vector<osg::UInt8> pixels;
    for (int y = 0; y < fields * side; ++y) {
        for (int x = 0; x < fields * side; ++x) {
            const bool white = (x / side + y / side) % 2 != 0;
            const bool black = x < side && y < side;
            const osg::UInt8 field[3] = {white ? osg::UInt8(255) : r, white ? osg::UInt8(255) : g,
                                         white ? osg::UInt8(255) : b};
            for (const osg::UInt8 channel : field)
                pixels.push_back(black ? osg::UInt8(0) : channel);
        }
    }
    return makeImage(osg::Image::OSG_RGB_PF, fields * side, fields * side, pixels);
}

osg::TextureChunkPtr makeTexture(const osg::ImagePtr& image, GLenum envMode)
{
    const osg::TextureChunkPtr chunk = kept(osg::TextureChunk::create());
    const osg::CPEditor edit(chunk);
    chunk->setImage(image);
    chunk->setEnvMode(envMode);
    chunk->setMinFilter(GL_NEAREST);
    chunk->setMagFilter(GL_NEAREST);
    return chunk;
}
