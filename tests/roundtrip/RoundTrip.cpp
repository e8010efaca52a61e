#include "RoundTrip.h"

#include "Compare.h"

#include <OpenSG/OSGBlendChunk.h>
#include <OpenSG/OSGChunkMaterial.h>
#include <OpenSG/OSGMaterialChunk.h>
#include <OpenSG/OSGSceneFileHandler.h>
#include <OpenSG/OSGSimpleAttachments.h>
#include <OpenSG/OSGState.h>
#include <OpenSG/OSGSwitch.h>
#include <OpenSG/OSGTextureChunk.h>
#include <OpenSG/OSGTriangleIterator.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>

// -- Trips ---------------------------------------------------------------------------------------------

TripFolder::TripFolder()
{
    std::string pattern = testing::TempDir() + "/roundtripXXXXXX";
    const char* const made = ::mkdtemp(&pattern[0]);
    _path = made != nullptr ? made : "";
}

TripFolder::~TripFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(_path, ignored);
}

osg::NodePtr TripFolder::trip(const osg::NodePtr& root, const std::string& suffix) const
{
    const std::string file = *this / ("trip." + suffix);
    std::error_code ignored;
    std::filesystem::remove_all(*this / "trip", ignored);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const bool written = osg::SceneFileHandler::the()->write(root, file.c_str());
    const osg::NodePtr result = written ? osg::SceneFileHandler::the()->read(file.c_str()) : osg::NodePtr();
    testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
    return result;
}

// -- What a graph draws --------------------------------------------------------------------------------

namespace
{
void addBits(const float* values, unsigned int count, osg::UInt32*& to)
{
    std::memcpy(to, values, count * sizeof(float));
    to += count;
}

TriangleBits bitsOf(const osg::TriangleIterator& it, bool withNormals, bool withUVs)
{
    std::array<std::array<osg::UInt32, 8>, 3> corners = {};
    for (int i = 0; i < 3; ++i) {
        osg::UInt32* to = corners[static_cast<std::size_t>(i)].data();
        addBits(it.getPosition(i).getValues(), 3, to);
        if (withNormals)
            addBits(it.getNormal(i).getValues(), 3, to);
        else
            to += 3;
        if (withUVs)
            addBits(it.getTexCoords(i).getValues(), 2, to);
    }
    // The same triangle whichever corner comes first; turned over it is another one.
    TriangleBits least{};
    for (std::size_t first = 0; first < 3; ++first) {
        TriangleBits bits;
        for (std::size_t i = 0; i < 24; ++i)
            bits[i] = corners[(first + i / 8) % 3][i % 8];
        if (first == 0 || bits < least)
            least = bits;
    }
    return least;
}

bool isShownBySwitch(const osg::NodePtr& parent, osg::UInt32 place)
{
    const osg::SwitchPtr core = osg::SwitchPtr::dcast(parent->getCore());
    return core == osg::NullFC || core->getChoice() < -1 ||
           core->getChoice() == static_cast<osg::Int32>(place);
}

SeenMaterial lookAtMaterial(const osg::MaterialPtr& material)
{
    SeenMaterial seen;
    const osg::ChunkMaterialPtr chunks = osg::ChunkMaterialPtr::dcast(material);
    if (chunks == osg::NullFC)
        return seen;
    const char* const name = osg::getName(chunks);
    seen.name = name != nullptr ? name : "";
    osg::StatePtr state = chunks->makeState();
    osg::addRefCP(state);
    const auto colors = osg::MaterialChunkPtr::dcast(state->getChunk(osg::MaterialChunk::getStaticClassId()));
    const auto blend = osg::BlendChunkPtr::dcast(state->getChunk(osg::BlendChunk::getStaticClassId()));
    const auto texture = osg::TextureChunkPtr::dcast(state->getChunk(osg::TextureChunk::getStaticClassId()));
    if (colors != osg::NullFC) {
        for (const osg::Color4f& color : {colors->getDiffuse(), colors->getAmbient(), colors->getSpecular()})
            seen.colors.insert(seen.colors.end(), {color.red(), color.green(), color.blue()});
        seen.colors.push_back(colors->getShininess());
        if (blend != osg::NullFC)
            seen.opacity = colors->getDiffuse().alpha();
    }
    if (texture != osg::NullFC)
        seen.texture = texture->getImage();
    osg::subRefCP(state);
    return seen;
}

template <class VisitT>
void forEachCorner(const SeenUse& use, VisitT visit)
{
    osg::Pnt3f low(HUGE_VALF, HUGE_VALF, HUGE_VALF);
    osg::Pnt3f high(-HUGE_VALF, -HUGE_VALF, -HUGE_VALF);
    for (const TriangleBits& triangle : use.triangles) {
        for (std::size_t i = 0; i < 24; ++i) {
            if (i % 8 > 2)
                continue;
            float value;
            std::memcpy(&value, &triangle[i], sizeof(value));
            const osg::UInt32 axis = static_cast<osg::UInt32>(i % 8);
            low[axis] = std::min(low[axis], value);
            high[axis] = std::max(high[axis], value);
        }
    }
    for (int i = 0; i < 8; ++i)
        visit(osg::Pnt3f((i & 1 ? high : low)[0], (i & 2 ? high : low)[1], (i & 4 ? high : low)[2]));
}
} // namespace

std::vector<SeenUse> lookAt(const osg::NodePtr& root, bool withInactive)
{
    struct Open {
        osg::NodePtr node;
        osg::Matrix world;
        bool shown;
    };
    std::vector<SeenUse> uses;
    std::vector<Open> stack;
    if (root != osg::NullFC)
        stack.push_back({root, osg::Matrix::identity(), true});
    while (!stack.empty()) {
        Open open = stack.back();
        stack.pop_back();
        if (!withInactive && !open.node->getActive())
            continue;
        open.shown = open.shown && open.node->getActive();
        const osg::TransformPtr transform = osg::TransformPtr::dcast(open.node->getCore());
        if (transform != osg::NullFC)
            open.world.mult(transform->getMatrix());
        const osg::GeometryPtr geometry = osg::GeometryPtr::dcast(open.node->getCore());
        if (geometry != osg::NullFC && geometry->getPositions() != osg::NullFC) {
            const char* const name = osg::getName(open.node);
            SeenUse use = {name != nullptr ? name : "",
                           geometry,
                           open.world,
                           open.shown,
                           {},
                           lookAtMaterial(geometry->getMaterial())};
            if (geometry->getTransform() != osg::NullFC)
                use.place.mult(geometry->getTransform()->getMatrix());
            const bool normals = geometry->getNormals() != osg::NullFC;
            const bool texCoords = geometry->getTexCoords() != osg::NullFC;
            for (osg::TriangleIterator it(geometry); !it.isAtEnd(); ++it)
                use.triangles.push_back(bitsOf(it, normals, texCoords));
            std::sort(use.triangles.begin(), use.triangles.end());
            if (!use.triangles.empty())
                uses.push_back(std::move(use));
        }
        for (osg::UInt32 i = open.node->getNChildren(); i > 0; --i) {
            const bool shown = open.shown && isShownBySwitch(open.node, i - 1);
            stack.push_back({open.node->getChild(i - 1), open.world, shown});
        }
    }
    return uses;
}

double distanceOf(const SeenUse& first, const SeenUse& second)
{
    double largest = 0;
    forEachCorner(first, [&](const osg::Pnt3f& corner) {
        osg::Pnt3f a;
        osg::Pnt3f b;
        first.place.multMatrixPnt(corner, a);
        second.place.multMatrixPnt(corner, b);
        largest = std::max<double>(largest, a.dist(b));
    });
    return largest;
}

double sizeOf(const std::vector<SeenUse>& uses)
{
    osg::Pnt3f low(0, 0, 0);
    osg::Pnt3f high(0, 0, 0);
    for (const SeenUse& use : uses) {
        forEachCorner(use, [&](const osg::Pnt3f& corner) {
            osg::Pnt3f placed;
            use.place.multMatrixPnt(corner, placed);
            for (osg::UInt32 i = 0; i < 3; ++i) {
                low[i] = std::min(low[i], placed[i]);
                high[i] = std::max(high[i], placed[i]);
            }
        });
    }
    return low.dist(high);
}

std::string differencesBetween(const osg::NodePtr& first, const osg::NodePtr& second, Inactive inactive,
                               double tolerance)
{
    zyscene::CompareOptions options;
    options.tolerance = tolerance;
    options.tree = true;
    options.ignoreInactive = inactive == Inactive::GoneInSecond;
    options.pointsAndLines = false;
    std::string text;
    for (const zyscene::Difference& difference : zyscene::compareScenes(first, second, options))
        text += zyscene::lineOf(difference) + "\n";
    return text;
}

// -- Small graphs --------------------------------------------------------------------------------------

osg::GeometryPtr makeTriangle(int number)
{
    const float x = static_cast<float>(number);
    return makeGeometry({{x, 0, 0, 0, 0, 1, 0, 0}, {x + 1, 0, 0, 0, 1, 0, 1, 0}, {x, 2, 0, 1, 0, 0, 0, 1}},
                        GL_TRIANGLES);
}

osg::Transform3DPtr makeMove(float x, float y, float z)
{
    const osg::Transform3DPtr core = osg::Transform3D::create();
    const osg::CPEditor edit(core);
    core->setTranslation(osg::Vec3f(x, y, z));
    return core;
}
