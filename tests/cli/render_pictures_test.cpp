// Pictures of small graphs: single pixels against the formulas of the fixed functions, and whole pictures
// against golden ones. To make the golden ones anew, run this program with UPDATE_GOLDEN=1 and look at
// golden/render/.

#include "render_support.h"

#include <OpenSG/OSGBlendChunk.h>
#include <OpenSG/OSGComponentTransform.h>
#include <OpenSG/OSGCubeTextureChunk.h>
#include <OpenSG/OSGDepthChunk.h>
#include <OpenSG/OSGDirectionalLight.h>
#include <OpenSG/OSGGeoProperty.h>
#include <OpenSG/OSGLineChunk.h>
#include <OpenSG/OSGMaterialGroup.h>
#include <OpenSG/OSGMultiPassMaterial.h>
#include <OpenSG/OSGPointChunk.h>
#include <OpenSG/OSGPointLight.h>
#include <OpenSG/OSGPolygonChunk.h>
#include <OpenSG/OSGSimpleAttachments.h>
#include <OpenSG/OSGSimpleGeometry.h>
#include <OpenSG/OSGSimpleTexturedMaterial.h>
#include <OpenSG/OSGSpotLight.h>
#include <OpenSG/OSGSwitch.h>
#include <OpenSG/OSGSwitchMaterial.h>
#include <OpenSG/OSGTexGenChunk.h>
#include <OpenSG/OSGTextureTransformChunk.h>
#include <OpenSG/OSGTransformChunk.h>
#include <OpenSG/OSGTwoSidedLightingChunk.h>
#include <zyOpenSGExt/zyMergeMaterial.h>
#include <zyOpenSGUberMaterial/zyUBRDFMaterial.h>
#include <zyOpenSGUtils/zyLights.h>

#include <gmock/gmock.h>

#include <cmath>
#include <limits>

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using zyscene::render::PictureOptions;
using zyscene::render::View;

namespace
{
const Rgb black = {0, 0, 0};
const Rgb red = {255, 0, 0};
const Rgb green = {0, 255, 0};
const Rgb blue = {0, 0, 255};
const Rgb white = {255, 255, 255};

#define EXPECT_COLOR(expected, actual)                                                                       \
    EXPECT_TRUE(isNear(expected, actual)) << "expected " << (expected) << ", is " << (actual)

osg::NodePtr makeUnlitQuad(float r, float g, float b, float a = 1)
{
    return makeDrawn(makeQuad(), makeMaterial({makeUnlit(r, g, b, a)}));
}

// The light of scenes without any comes from here, and is as much brighter as it stands aside.
const double headlight[] = {-0.2, 0.3, 1};
const double headlightLength = std::hypot(headlight[0], headlight[1], headlight[2]);

// What it leaves of the diffuse colour of a surface with this normal, seen from the front.
double headlightAt(double x, double y, double z)
{
    return x * headlight[0] + y * headlight[1] + z * headlight[2];
}

PictureOptions seenFrom(View view)
{
    PictureOptions options = smallPicture();
    options.view = view;
    return options;
}

// -- Material ----------------------------------------------------------------------------------------

TEST(RenderMaterial, isLitFromBesideTheCameraWhereThereIsNoLight)
{
    const osg::MaterialChunkPtr chunk = osg::MaterialChunk::create();
    {
        const osg::CPEditor edit(chunk);
        chunk->setDiffuse(osg::Color4f(0.5f, 0.25f, 0.125f, 1));
        chunk->setAmbient(osg::Color4f(0.5f, 0, 0, 1));
        chunk->setSpecular(osg::Color4f(0, 0.25f, 0, 1));
        chunk->setEmission(osg::Color4f(0, 0, 0.25f, 1));
    }
    const Picture picture = draw(makeDrawn(makeQuad(), makeMaterial({chunk})));
    // Facing the camera: the whole of the diffuse colour, a fifth of the ambient one, and of the highlight
    // what the tenth power of the half angle's cosine leaves.
    const double half = std::sqrt((1 + 1 / headlightLength) / 2);
    EXPECT_COLOR(rgb(0.5 + 0.2 * 0.5, 0.25 + 0.25 * std::pow(half, 10), 0.125 + 0.25), picture.middle());
    EXPECT_COLOR(black, picture.at(0.02, 0.5));
}

TEST(RenderMaterial, fallsOffWithTheCosineOfTheAngle)
{
    const Picture picture =
        draw(turned(makeDrawn(makeQuad(), makeMaterial({makeLit(1, 0.5f, 0)})), osg::Vec3f(0, 1, 0), 60));
    const double cosine = headlightAt(std::sqrt(0.75), 0, 0.5);
    EXPECT_COLOR(rgb(cosine, 0.5 * cosine, 0), picture.middle());
}

TEST(RenderMaterial, thatIsNotLitHasItsDiffuseColour)
{
    EXPECT_COLOR(rgb(0.25, 0.5, 0.75), draw(makeUnlitQuad(0.25f, 0.5f, 0.75f)).middle());
}

TEST(RenderMaterial, withoutChunksIsWhite)
{
    EXPECT_COLOR(white, draw(makeDrawn(makeQuad(), makeMaterial({}))).middle());
}

TEST(RenderMaterial, thatIsIgnoredDoesNothing)
{
    const osg::MaterialChunkPtr chunk = makeUnlit(1, 0, 0);
    {
        const osg::CPEditor edit(chunk);
        chunk->setIgnore(true);
    }
    EXPECT_COLOR(white, draw(makeDrawn(makeQuad(), makeMaterial({chunk}))).middle());
}

TEST(RenderMaterial, ofGeometryWithoutOneIsTheDefault)
{
    // Diffuse (.7 .7 .5), ambient .1, specular 1: more than can be shown.
    EXPECT_COLOR(white, draw(makeNode("", makeQuad())).middle());
    const Picture aslant = draw(turned(makeNode("", makeQuad()), osg::Vec3f(0, 1, 0), 60));
    const double cosine = headlightAt(std::sqrt(0.75), 0, 0.5);
    EXPECT_COLOR(rgb(0.7 * cosine + 0.02, 0.7 * cosine + 0.02, 0.5 * cosine + 0.02), aslant.middle());
}

TEST(RenderMaterial, backFacesAreDarkUnlessBothSidesAreLit)
{
    const auto backOf = [](bool twoSided) {
        std::vector<osg::StateChunkPtr> chunks = {makeLit(0, 1, 0)};
        if (twoSided)
            chunks.push_back(osg::TwoSidedLightingChunk::create());
        return turned(makeDrawn(makeQuad(), makeMaterial(chunks)), osg::Vec3f(0, 1, 0), 180);
    };
    EXPECT_COLOR(black, draw(backOf(false)).middle());
    EXPECT_COLOR(green, draw(backOf(true)).middle());
}

TEST(RenderMaterial, backFacesMayHaveColoursOfTheirOwn)
{
    const osg::MaterialChunkPtr chunk = makeLit(0, 1, 0);
    {
        const osg::CPEditor edit(chunk);
        chunk->setBackMaterial(true);
        chunk->setBackDiffuse(osg::Color4f(0, 0, 1, 1));
        chunk->setBackAmbient(osg::Color4f(0, 0, 0, 1));
        chunk->setBackSpecular(osg::Color4f(0, 0, 0, 1));
    }
    const osg::ChunkMaterialPtr material = makeMaterial({chunk, osg::TwoSidedLightingChunk::create()});
    const osg::NodePtr front = makeDrawn(makeQuad(), material);
    const osg::NodePtr back = turned(makeDrawn(makeQuad(), material), osg::Vec3f(0, 1, 0), 180);
    const Picture picture = draw(makeGroup("", {moved(front, -1.5, 0, 0), moved(back, 1.5, 0, 0)}));
    EXPECT_COLOR(green, picture.at(0.3, 0.5));
    EXPECT_COLOR(blue, picture.at(0.7, 0.5));
}

TEST(RenderMaterial, golden)
{
    const osg::MaterialChunkPtr chunk = makeLit(0.8f, 0.3f, 0.1f);
    {
        const osg::CPEditor edit(chunk);
        chunk->setSpecular(osg::Color4f(0.8f, 0.8f, 0.8f, 1));
        chunk->setShininess(40);
    }
    expectGolden(draw(makeDrawn(makeBall(), makeMaterial({chunk}))), "material");
}

// -- Kinds of materials ------------------------------------------------------------------------------

TEST(RenderMaterialKinds, simpleMaterialByItsValues)
{
    const osg::SimpleMaterialPtr material = osg::SimpleMaterial::create();
    {
        const osg::CPEditor edit(material);
        material->setDiffuse(osg::Color3f(0.5f, 0, 0));
        material->setEmission(osg::Color3f(0, 0, 0.25f));
    }
    EXPECT_COLOR(rgb(0.5, 0, 0.25), draw(makeDrawn(makeQuad(), material)).middle());
}

TEST(RenderMaterialKinds, analyticValuesOfMeasuredMaterials)
{
    const osg::UBRDFMaterialPtr material = osg::UBRDFMaterial::create();
    {
        const osg::CPEditor edit(material);
        material->setAnalyticDiffuse(osg::Color3f(0.25f, 0.5f, 0));
        material->setAnalyticSpecular(osg::Color3f(0, 0, 0.5f));
        material->setAnalyticTransparency(0.5f);
    }
    const osg::NodePtr behind = makeDrawn(makeQuad(-1, 4), makeMaterial({makeUnlit(1, 1, 1)}));
    const Picture picture = draw(makeGroup("", {makeDrawn(makeQuad(), material), behind}));
    EXPECT_COLOR(rgb(0.125 + 0.5, 0.25 + 0.5, 0.25 + 0.5), picture.middle());
}

TEST(RenderMaterialKinds, switchMaterialAsTheChosenOne)
{
    const auto chosen = [](osg::UInt32 choice) {
        const osg::SwitchMaterialPtr material = osg::SwitchMaterial::create();
        const osg::CPEditor edit(material);
        material->addMaterial(makeMaterial({makeUnlit(1, 0, 0)}));
        material->addMaterial(makeMaterial({makeUnlit(0, 0, 1)}));
        material->setChoice(choice);
        return makeDrawn(makeQuad(), material);
    };
    EXPECT_COLOR(red, draw(chosen(0)).middle());
    EXPECT_COLOR(blue, draw(chosen(1)).middle());
    EXPECT_EQ("nothing in it is drawn", draw(chosen(2)).problem);
}

TEST(RenderMaterialKinds, multiPassMaterialPassByPass)
{
    const osg::BlendChunkPtr add = osg::BlendChunk::create();
    {
        const osg::CPEditor edit(add);
        add->setSrcFactor(GL_ONE);
        add->setDestFactor(GL_ONE);
    }
    const osg::MultiPassMaterialPtr material = osg::MultiPassMaterial::create();
    {
        const osg::CPEditor edit(material);
        material->addMaterial(makeMaterial({makeUnlit(1, 0, 0)}));
        material->addMaterial(makeMaterial({makeUnlit(0, 0.5f, 0), add}));
    }
    EXPECT_COLOR(rgb(1, 0.5, 0), draw(makeDrawn(makeQuad(), material)).middle());
}

TEST(RenderMaterialKinds, thatWereNeverEditedHaveTheirInitialValues)
{
    const osg::MultiPassMaterialPtr material = osg::MultiPassMaterial::create();
    {
        const osg::CPEditor edit(material);
        material->addMaterial(osg::SimpleMaterial::create());
    }
    // All colours of a simple material are black at first.
    PictureOptions options = smallPicture();
    options.background = osg::Color3f(1, 0, 0);
    EXPECT_COLOR(black, draw(makeDrawn(makeQuad(), material), options).middle());
}

TEST(RenderMaterialKinds, theGroupAboveGoesBeforeTheGeometry)
{
    const osg::MaterialGroupPtr outer = osg::MaterialGroup::create();
    const osg::MaterialGroupPtr inner = osg::MaterialGroup::create();
    {
        const osg::CPEditor editOuter(outer);
        const osg::CPEditor editInner(inner);
        outer->setMaterial(makeMaterial({makeUnlit(0, 0, 1)}));
        inner->setMaterial(makeMaterial({makeUnlit(0, 1, 0)}));
    }
    const osg::NodePtr low = makeNode("", inner, {moved(makeUnlitQuad(1, 0, 0), -1.5, 0, 0)});
    const Picture picture = draw(makeNode("", outer, {low, moved(makeUnlitQuad(1, 0, 0), 1.5, 0, 0)}));
    EXPECT_COLOR(green, picture.at(0.3, 0.5));
    EXPECT_COLOR(blue, picture.at(0.7, 0.5));
}

// -- Blending ----------------------------------------------------------------------------------------

osg::BlendChunkPtr makeBlend(GLenum source, GLenum destination)
{
    const osg::BlendChunkPtr chunk = osg::BlendChunk::create();
    const osg::CPEditor edit(chunk);
    chunk->setSrcFactor(source);
    chunk->setDestFactor(destination);
    return chunk;
}

osg::BlendChunkPtr makeSeeThrough()
{
    return makeBlend(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
}

TEST(RenderBlending, letsThroughWhatIsBehindWhateverComesFirst)
{
    for (const bool glassFirst : {false, true}) {
        const osg::NodePtr glass =
            makeDrawn(makeQuad(), makeMaterial({makeUnlit(1, 0, 0, 0.25f), makeSeeThrough()}));
        const osg::NodePtr wall = makeDrawn(makeQuad(-1), makeMaterial({makeUnlit(0, 1, 0)}));
        const Picture picture =
            draw(glassFirst ? makeGroup("", {glass, wall}) : makeGroup("", {wall, glass}));
        EXPECT_COLOR(rgb(0.25, 0.75, 0), picture.middle()) << glassFirst;
    }
}

TEST(RenderBlending, goesFromTheFarToTheNear)
{
    const auto pane = [](float z, float r, float g) {
        return makeDrawn(makeQuad(z), makeMaterial({makeUnlit(r, g, 0, 0.5f), makeSeeThrough()}));
    };
    const Picture picture = draw(makeGroup("", {pane(0, 1, 0), pane(1, 0, 1), pane(-1, 1, 1)}));
    // Yellow is farthest: (.5 .5), red over it (.75 .25), green over both.
    EXPECT_COLOR(rgb(0.375, 0.625, 0), picture.middle());
}

TEST(RenderBlending, drawsTheFarSideOfSomethingClosedFirst)
{
    // Green in front, then red behind it, with its back to the eye.
    const osg::GeometryPtr both = makeGeometry(
        {{-1, -1, 1}, {1, -1, 1}, {1, 1, 1}, {-1, 1, 1}, {-1, -1, -1}, {-1, 1, -1}, {1, 1, -1}, {1, -1, -1}},
        GL_QUADS);
    const osg::GeoColors4fPtr colors = osg::GeoColors4f::create();
    {
        const osg::CPEditor edit(colors);
        for (int i = 0; i < 8; ++i)
            colors->getField().push_back(i < 4 ? osg::Color4f(0, 1, 0, 0.5f) : osg::Color4f(1, 0, 0, 0.5f));
        const osg::CPEditor editBoth(both);
        both->setColors(colors);
    }
    const osg::ChunkMaterialPtr glass = makeMaterial({makeUnlit(1, 1, 1), makeSeeThrough()});
    EXPECT_COLOR(rgb(0.25, 0.5, 0), draw(makeDrawn(both, glass)).middle());

    osg::Matrix mirror;
    mirror.setScale(-1, 1, 1);
    EXPECT_COLOR(rgb(0.25, 0.5, 0), draw(transformed(makeDrawn(both, glass), mirror)).middle());
}

TEST(RenderBlending, opaquePartsOfATextureHideWhatIsBehindThem)
{
    // A ball around another one, opaque by its texture in spite of the blending.
    const osg::ImagePtr image = makeImage(osg::Image::OSG_RGBA_PF, 1, 1, {0, 255, 0, 255});
    const osg::ChunkMaterialPtr outer =
        makeMaterial({makeUnlit(1, 1, 1), makeTexture(image, GL_REPLACE), makeSeeThrough()});
    const osg::ChunkMaterialPtr inner = makeMaterial({makeUnlit(1, 0, 0, 0.5f), makeSeeThrough()});
    const Picture picture =
        draw(makeGroup("", {makeDrawn(makeQuad(1), outer), makeDrawn(makeQuad(0.5f), inner)}));
    EXPECT_COLOR(green, picture.middle());
    const Picture other =
        draw(makeGroup("", {makeDrawn(makeQuad(0.5f), inner), makeDrawn(makeQuad(1), outer)}));
    EXPECT_COLOR(green, other.middle());
}

TEST(RenderBlending, multipliesByTwiceTheColourAsShadowsDo)
{
    const osg::NodePtr shadow = makeDrawn(
        makeQuad(), makeMaterial({makeUnlit(0.25f, 0.5f, 1), makeBlend(GL_DST_COLOR, GL_SRC_COLOR)}));
    const Picture picture = draw(makeGroup("", {shadow, makeUnlitQuad(0.5f, 0.5f, 0.25f)}));
    // At the same place: the shadow lies upon the surface.
    EXPECT_COLOR(rgb(0.25, 0.5, 0.5), picture.middle());
}

TEST(RenderBlending, dropsByAlpha)
{
    const osg::BlendChunkPtr cut = osg::BlendChunk::create();
    {
        const osg::CPEditor edit(cut);
        cut->setAlphaFunc(GL_GREATER);
        cut->setAlphaValue(0.5f);
    }
    const osg::ImagePtr image = makeImage(osg::Image::OSG_RGBA_PF, 2, 1, {255, 0, 0, 100, 0, 255, 0, 200});
    const osg::NodePtr leaf =
        makeDrawn(makeQuad(1), makeMaterial({makeUnlit(1, 1, 1), makeTexture(image, GL_REPLACE), cut}));
    const osg::NodePtr wall = makeDrawn(makeQuad(0, 3), makeMaterial({makeUnlit(0, 0, 1)}));
    const Picture picture = draw(makeGroup("", {leaf, wall}));
    EXPECT_COLOR(blue, picture.at(0.45, 0.5));
    EXPECT_COLOR(green, picture.at(0.55, 0.5));
}

TEST(RenderBlending, materialsMaySayThatTheyAreOpaque)
{
    const osg::ChunkMaterialPtr glass = makeMaterial({makeUnlit(1, 0, 0, 0.5f), makeSeeThrough()});
    {
        const osg::CPEditor edit(glass);
        glass->setTransparencyMode(osg::Material::TransparencyForceOpaque);
    }
    const osg::NodePtr wall = makeDrawn(makeQuad(-1), makeMaterial({makeUnlit(0, 1, 0)}));
    // Drawn in its turn, before the wall, which is then hidden.
    EXPECT_COLOR(rgb(0.5, 0, 0), draw(makeGroup("", {makeDrawn(makeQuad(), glass), wall})).middle());
}

TEST(RenderBlending, golden)
{
    const osg::NodePtr glass =
        makeDrawn(makeBall(), makeMaterial({makeLit(0.2f, 0.4f, 1, 0.5f), makeSeeThrough()}));
    const osg::NodePtr wall =
        makeDrawn(makeQuad(-1.2f, 1.2f),
                  makeMaterial({makeUnlit(1, 1, 1), makeTexture(makeBoard(4, 255, 128, 0), GL_MODULATE)}));
    const osg::NodePtr ball = moved(makeDrawn(makeBall(), makeMaterial({makeLit(1, 0, 0)})), 1.5f, 0, -0.5f);
    expectGolden(draw(makeGroup("", {glass, wall, ball})), "blend");
}

// -- Texture environment -----------------------------------------------------------------------------

struct Rgba {
    double r, g, b, a;
};

const Rgba fragment = {0.8, 0.4, 0.2, 0.5};
const Rgba texel = {64 / 255., 128 / 255., 255 / 255., 191 / 255.};

// A quad of the fragment's colour under a texture of one texel, over black where alpha lets it through.
Picture drawTextured(const osg::TextureChunkPtr& texture)
{
    return draw(makeDrawn(makeQuad(), makeMaterial({makeUnlit(float(fragment.r), float(fragment.g),
                                                              float(fragment.b), float(fragment.a)),
                                                    texture})));
}

osg::TextureChunkPtr makeTexel(osg::UInt32 format, GLenum mode)
{
    std::vector<osg::UInt8> pixel = {64, 128, 255, 191};
    switch (format) {
    case osg::Image::OSG_RGB_PF:
        pixel = {64, 128, 255};
        break;
    case osg::Image::OSG_L_PF:
        pixel = {64};
        break;
    case osg::Image::OSG_LA_PF:
        pixel = {64, 191};
        break;
    case osg::Image::OSG_BGRA_PF:
        pixel = {255, 128, 64, 191};
        break;
    case osg::Image::OSG_BGR_PF:
        pixel = {255, 128, 64};
        break;
    default:
        break;
    }
    return makeTexture(makeImage(format, 1, 1, pixel), mode);
}

template <class FunctionT>
Rgb forEachChannel(FunctionT function)
{
    return rgb(function(fragment.r, texel.r), function(fragment.g, texel.g), function(fragment.b, texel.b));
}

TEST(RenderTextureEnvironment, modulate)
{
    const Rgb product = forEachChannel([](double f, double t) { return f * t; });
    for (const osg::UInt32 format :
         {osg::Image::OSG_RGB_PF, osg::Image::OSG_RGBA_PF, osg::Image::OSG_BGR_PF, osg::Image::OSG_BGRA_PF})
        EXPECT_COLOR(product, drawTextured(makeTexel(format, GL_MODULATE)).middle()) << format;
    const Rgb grey = forEachChannel([](double f, double) { return f * texel.r; });
    for (const osg::UInt32 format : {osg::Image::OSG_L_PF, osg::Image::OSG_LA_PF})
        EXPECT_COLOR(grey, drawTextured(makeTexel(format, GL_MODULATE)).middle()) << format;
}

TEST(RenderTextureEnvironment, replace)
{
    EXPECT_COLOR(rgb(texel.r, texel.g, texel.b),
                 drawTextured(makeTexel(osg::Image::OSG_RGB_PF, GL_REPLACE)).middle());
}

TEST(RenderTextureEnvironment, decal)
{
    const Rgb expected = forEachChannel([](double f, double t) { return f * (1 - texel.a) + t * texel.a; });
    EXPECT_COLOR(expected, drawTextured(makeTexel(osg::Image::OSG_RGBA_PF, GL_DECAL)).middle());
}

TEST(RenderTextureEnvironment, blend)
{
    const osg::TextureChunkPtr texture = makeTexel(osg::Image::OSG_RGB_PF, GL_BLEND);
    {
        const osg::CPEditor edit(texture);
        texture->setEnvColor(osg::Color4f(0.5f, 0.5f, 0.5f, 1));
    }
    const Rgb expected = forEachChannel([](double f, double t) { return f * (1 - t) + 0.5 * t; });
    EXPECT_COLOR(expected, drawTextured(texture).middle());
}

TEST(RenderTextureEnvironment, add)
{
    const Rgb expected = forEachChannel([](double f, double t) { return f + t; });
    EXPECT_COLOR(expected, drawTextured(makeTexel(osg::Image::OSG_RGB_PF, GL_ADD)).middle());
}

TEST(RenderTextureEnvironment, combineScaled)
{
    const osg::TextureChunkPtr texture = makeTexel(osg::Image::OSG_RGB_PF, GL_COMBINE);
    {
        const osg::CPEditor edit(texture);
        texture->setEnvScaleRGB(2);
    }
    const Rgb expected = forEachChannel([](double f, double t) { return 2 * f * t; });
    EXPECT_COLOR(expected, drawTextured(texture).middle());
}

TEST(RenderTextureEnvironment, combineInterpolatesALaterTextureByItsAlpha)
{
    const osg::TextureChunkPtr first =
        makeTexture(makeImage(osg::Image::OSG_RGB_PF, 1, 1, {128, 255, 255}), GL_COMBINE);
    const osg::TextureChunkPtr later = makeTexel(osg::Image::OSG_RGBA_PF, GL_COMBINE);
    {
        const osg::CPEditor editFirst(first);
        const osg::CPEditor editLater(later);
        first->setEnvCombineRGB(GL_MODULATE);
        first->setEnvSource0RGB(GL_PRIMARY_COLOR);
        first->setEnvSource1RGB(GL_TEXTURE);
        later->setEnvCombineRGB(GL_INTERPOLATE);
        later->setEnvSource0RGB(GL_PREVIOUS);
        later->setEnvSource1RGB(GL_TEXTURE);
        later->setEnvSource2RGB(GL_TEXTURE);
        later->setEnvOperand2RGB(GL_ONE_MINUS_SRC_ALPHA);
    }
    const Picture picture = draw(makeDrawn(
        makeQuad(),
        makeMaterial({makeUnlit(float(fragment.r), float(fragment.g), float(fragment.b)), first, later})));
    const double before[] = {fragment.r * 128 / 255, fragment.g, fragment.b};
    const auto over = [](double below, double t) { return below * (1 - texel.a) + t * texel.a; };
    EXPECT_COLOR(rgb(over(before[0], texel.r), over(before[1], texel.g), over(before[2], texel.b)),
                 picture.middle());
}

TEST(RenderTextureEnvironment, ofOneMaterialDoesNotReachTheNext)
{
    const osg::TextureChunkPtr scaled = makeTexel(osg::Image::OSG_RGB_PF, GL_COMBINE);
    const osg::TextureChunkPtr plain = makeTexel(osg::Image::OSG_RGB_PF, GL_COMBINE);
    {
        const osg::CPEditor edit(scaled);
        scaled->setEnvScaleRGB(4);
        scaled->setEnvCombineRGB(GL_ADD);
    }
    const osg::NodePtr first = makeDrawn(makeQuad(), makeMaterial({makeUnlit(1, 1, 1), scaled}));
    const osg::NodePtr second = makeDrawn(makeQuad(), makeMaterial({makeUnlit(1, 1, 1), plain}));
    const osg::NodePtr third = makeDrawn(makeQuad(), makeMaterial({makeUnlit(1, 0.5f, 0)}));
    const Picture picture =
        draw(makeGroup("", {moved(first, -2.2f, 0, 0), second, moved(third, 2.2f, 0, 0)}));
    EXPECT_COLOR(white, picture.at(0.2, 0.5));
    EXPECT_COLOR(rgb(texel.r, texel.g, texel.b), picture.middle());
    EXPECT_COLOR(rgb(1, 0.5, 0), picture.at(0.8, 0.5));
}

TEST(RenderTextureEnvironment, valuesThatOpenGLDoesNotKnowAreLeftOutWithANotice)
{
    const osg::TextureChunkPtr texture = makeTexel(osg::Image::OSG_RGB_PF, 0x1234);
    const osg::ChunkMaterialPtr material = makeMaterial({makeUnlit(1, 1, 1), texture});
    osg::setName(material, "paint");
    const Picture picture = draw(makeDrawn(makeQuad(), material));
    EXPECT_COLOR(rgb(texel.r, texel.g, texel.b), picture.middle());
    EXPECT_THAT(picture.notices,
                ElementsAre("material 'paint' has values that OpenGL does not know: they are left out"));
}

// -- Textures ----------------------------------------------------------------------------------------

// Four texels: below red and green, above blue and white.
osg::ImagePtr makeFourColors()
{
    return makeImage(osg::Image::OSG_RGB_PF, 2, 2, {255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 255});
}

osg::NodePtr makeTextured(const std::vector<osg::StateChunkPtr>& chunks)
{
    std::vector<osg::StateChunkPtr> all = {makeUnlit(1, 1, 1)};
    all.insert(all.end(), chunks.begin(), chunks.end());
    return makeDrawn(makeQuad(), makeMaterial(all));
}

void expectFourColors(const Picture& picture)
{
    EXPECT_COLOR(red, picture.at(0.4, 0.7));
    EXPECT_COLOR(green, picture.at(0.6, 0.7));
    EXPECT_COLOR(blue, picture.at(0.4, 0.3));
    EXPECT_COLOR(white, picture.at(0.6, 0.3));
}

TEST(RenderTexture, liesWithItsFirstRowBelow)
{
    expectFourColors(draw(makeTextured({makeTexture(makeFourColors(), GL_REPLACE)})));
}

TEST(RenderTexture, ofWiderNumbersIsTheSame)
{
    const std::vector<float> colors = {1, 0, 0, 0, 1, 0, 0, 0, 1, 1, 1, 1};
    std::vector<std::uint16_t> wide;
    for (const float value : colors)
        wide.push_back(value > 0 ? 65535 : 0);
    std::vector<std::uint16_t> half;
    for (const float value : colors)
        half.push_back(value > 0 ? 0x3c00 : 0);
    const struct {
        int type;
        const void* data;
    } kinds[] = {{osg::Image::OSG_FLOAT32_IMAGEDATA, colors.data()},
                 {osg::Image::OSG_UINT16_IMAGEDATA, wide.data()},
                 {osg::Image::OSG_FLOAT16_IMAGEDATA, half.data()}};
    for (const auto& kind : kinds) {
        const osg::ImagePtr image = osg::Image::create();
        ASSERT_TRUE(image->set(osg::Image::OSG_RGB_PF, 2, 2, 1, 1, 1, 0,
                               static_cast<const osg::UInt8*>(kind.data), kind.type));
        expectFourColors(draw(makeTextured({makeTexture(image, GL_REPLACE)})));
    }
}

TEST(RenderTexture, withoutAnImageLetsTheColourPass)
{
    const osg::TextureChunkPtr texture = osg::TextureChunk::create();
    EXPECT_COLOR(white, draw(makeTextured({texture})).middle());
    const osg::TextureChunkPtr empty = makeTexture(osg::Image::create(), GL_REPLACE);
    const Picture picture = draw(makeTextured({empty}));
    EXPECT_COLOR(white, picture.middle());
    EXPECT_THAT(picture.notices, IsEmpty());
}

TEST(RenderTexture, whoseImageLacksPixelsLetsTheColourPass)
{
    const osg::ImagePtr image = makeFourColors();
    {
        const osg::CPEditor edit(image);
        image->setHeight(2000);
    }
    const Picture picture = draw(makeTextured({makeTexture(image, GL_REPLACE)}));
    EXPECT_COLOR(white, picture.middle());
    EXPECT_THAT(picture.notices, ElementsAre(HasSubstr("has pixels that cannot be drawn")));
}

TEST(RenderTexture, isMovedByItsMatrix)
{
    const osg::TextureTransformChunkPtr transform = osg::TextureTransformChunk::create();
    {
        const osg::CPEditor edit(transform);
        osg::Matrix matrix;
        matrix.setScale(2, 2, 1);
        matrix.setTranslate(0.5f, 0, 0);
        transform->setMatrix(matrix);
    }
    const Picture picture = draw(makeTextured({makeTexture(makeFourColors(), GL_REPLACE), transform}));
    // Fields of a quarter of the width, the green one first.
    EXPECT_COLOR(green, picture.at(0.32, 0.9));
    EXPECT_COLOR(red, picture.at(0.44, 0.9));
    EXPECT_COLOR(green, picture.at(0.56, 0.9));
    EXPECT_COLOR(white, picture.at(0.32, 0.65));
}

TEST(RenderTexture, repeatsOrStops)
{
    const auto drawWrapped = [](GLenum wrap) {
        const osg::TextureChunkPtr texture = makeTexture(makeFourColors(), GL_REPLACE);
        const osg::TextureTransformChunkPtr transform = osg::TextureTransformChunk::create();
        const osg::CPEditor edit(texture);
        const osg::CPEditor editTransform(transform);
        texture->setWrapS(wrap);
        texture->setWrapT(wrap);
        texture->setBorderColor(osg::Color4f(0, 0, 1, 1));
        osg::Matrix matrix;
        matrix.setScale(2, 2, 1);
        transform->setMatrix(matrix);
        return draw(makeTextured({texture, transform})).at(0.56, 0.9);
    };
    EXPECT_COLOR(red, drawWrapped(GL_REPEAT));
    EXPECT_COLOR(green, drawWrapped(GL_CLAMP_TO_EDGE));
    EXPECT_COLOR(green, drawWrapped(GL_MIRRORED_REPEAT));
    EXPECT_COLOR(blue, drawWrapped(GL_CLAMP_TO_BORDER));
}

TEST(RenderTexture, ofEachUnitTakesItsOwnCoordinates)
{
    // The second set is turned: what is left in the first is right in the second.
    const osg::GeometryPtr quad = makeQuad();
    const osg::GeoTexCoords2fPtr second = osg::GeoTexCoords2f::create();
    {
        const osg::CPEditor edit(second);
        for (const osg::Vec2f& uv : {osg::Vec2f(1, 0), osg::Vec2f(0, 0), osg::Vec2f(0, 1), osg::Vec2f(1, 1)})
            second->addValue(uv);
        const osg::CPEditor editQuad(quad);
        quad->setTexCoords1(second);
    }
    const osg::ImagePtr halves = makeImage(osg::Image::OSG_RGB_PF, 2, 1, {255, 0, 0, 255, 255, 255});
    const osg::ImagePtr others = makeImage(osg::Image::OSG_RGB_PF, 2, 1, {255, 255, 0, 0, 255, 255});
    const Picture picture =
        draw(makeDrawn(quad, makeMaterial({makeUnlit(1, 1, 1), makeTexture(halves, GL_MODULATE),
                                           makeTexture(others, GL_MODULATE)})));
    EXPECT_COLOR(black, picture.at(0.4, 0.5));        // red by cyan
    EXPECT_COLOR(rgb(1, 1, 0), picture.at(0.6, 0.5)); // white by yellow
}

TEST(RenderTexture, isFilteredWhenItIsSmall)
{
    const osg::TextureChunkPtr texture = makeTexture(makeFourColors(), GL_REPLACE);
    {
        const osg::CPEditor edit(texture);
        texture->setMinFilter(GL_LINEAR_MIPMAP_LINEAR);
    }
    const osg::TextureTransformChunkPtr transform = osg::TextureTransformChunk::create();
    {
        const osg::CPEditor edit(transform);
        osg::Matrix matrix;
        matrix.setScale(1000, 1000, 1);
        transform->setMatrix(matrix);
    }
    // Far more texels than pixels: their mean.
    EXPECT_COLOR(rgb(0.5, 0.5, 0.5), draw(makeTextured({texture, transform})).middle());
}

TEST(RenderTexture, thatSeveralMaterialsShareKeepsTheFilterOfEach)
{
    const osg::ImagePtr image = makeFourColors();
    const osg::TextureChunkPtr sharp = makeTexture(image, GL_REPLACE);
    const osg::TextureChunkPtr soft = makeTexture(image, GL_REPLACE);
    {
        const osg::CPEditor edit(soft);
        soft->setMagFilter(GL_LINEAR);
    }
    const Picture picture = draw(
        makeGroup("", {moved(makeTextured({sharp}), -1.5f, 0, 0), moved(makeTextured({soft}), 1.5f, 0, 0)}));
    // In the middle of each: one of the four colours, and the mean of all.
    EXPECT_COLOR(red, picture.at(0.2, 0.55));
    EXPECT_TRUE(isNear(rgb(0.5, 0.5, 0.5), picture.at(0.7875, 0.5), 16)) << picture.at(0.7875, 0.5);
}

TEST(RenderTexture, beyondTheUnitsOfTheDriverIsLeftOutWithANotice)
{
    std::vector<osg::StateChunkPtr> chunks;
    for (int i = 0; i < 16; ++i)
        chunks.push_back(makeTexture(makeImage(osg::Image::OSG_RGB_PF, 1, 1, {0, 255, 0}), GL_REPLACE));
    const Picture picture = draw(makeTextured(chunks));
    EXPECT_COLOR(green, picture.middle());
    EXPECT_THAT(picture.notices, ElementsAre(HasSubstr("textures beyond the first")));
}

TEST(RenderTexture, golden)
{
    const osg::TextureChunkPtr texture = makeTexture(makeBoard(8, 200, 30, 30), GL_MODULATE);
    {
        const osg::CPEditor edit(texture);
        texture->setMinFilter(GL_LINEAR_MIPMAP_LINEAR);
        texture->setMagFilter(GL_LINEAR);
    }
    const osg::ChunkMaterialPtr material = makeMaterial({makeLit(1, 1, 1), texture});
    expectGolden(draw(makeDrawn(osg::makeBoxGeo(2, 2, 2, 1, 1, 1), material), seenFrom(View::Iso)),
                 "texture");
}

TEST(RenderTexture, goldenWithMatrix)
{
    const osg::TextureTransformChunkPtr transform = osg::TextureTransformChunk::create();
    {
        const osg::CPEditor edit(transform);
        osg::Matrix matrix;
        matrix.setScale(3, 2, 1);
        transform->setMatrix(matrix);
    }
    expectGolden(draw(makeTextured({makeTexture(makeBoard(4, 0, 120, 200), GL_REPLACE), transform})),
                 "texture_matrix");
}

TEST(RenderTexture, goldenOfTwoUnits)
{
    const osg::TextureChunkPtr first = makeTexture(makeBoard(8, 200, 160, 90), GL_COMBINE);
    const osg::TextureChunkPtr later = makeTexture(
        makeImage(osg::Image::OSG_RGBA_PF, 2, 2, {255, 0, 0, 255, 0, 255, 0, 128, 0, 0, 255, 0, 0, 0, 0, 60}),
        GL_COMBINE);
    {
        const osg::CPEditor editFirst(first);
        const osg::CPEditor editLater(later);
        first->setEnvSource0RGB(GL_PRIMARY_COLOR);
        first->setEnvSource1RGB(GL_TEXTURE);
        later->setEnvCombineRGB(GL_INTERPOLATE);
        later->setEnvSource0RGB(GL_PREVIOUS);
        later->setEnvSource1RGB(GL_TEXTURE);
        later->setEnvSource2RGB(GL_TEXTURE);
        later->setEnvOperand2RGB(GL_ONE_MINUS_SRC_ALPHA);
    }
    const osg::GeometryPtr quad = makeQuad();
    {
        const osg::CPEditor edit(quad);
        quad->setTexCoords1(quad->getTexCoords());
    }
    expectGolden(draw(makeDrawn(quad, makeMaterial({makeLit(1, 1, 1), first, later}))), "two_units");
}

// -- Texture coordinates from positions --------------------------------------------------------------

osg::TexGenChunkPtr makeTexGen(GLenum function, const osg::Vec4f& s, const osg::Vec4f& t)
{
    const osg::TexGenChunkPtr chunk = osg::TexGenChunk::create();
    const osg::CPEditor edit(chunk);
    chunk->setGenFuncS(function);
    chunk->setGenFuncT(function);
    chunk->setGenFuncSPlane(s);
    chunk->setGenFuncTPlane(t);
    return chunk;
}

// -1..1 becomes 0..1, with x turned over.
const osg::Vec4f fromRight(-0.5f, 0, 0, 0.5f);
const osg::Vec4f fromBelow(0, 0.5f, 0, 0.5f);

TEST(RenderTexGen, objectLinearGoesByThePlaceInTheObject)
{
    const osg::NodePtr quad = makeTextured(
        {makeTexture(makeFourColors(), GL_REPLACE), makeTexGen(GL_OBJECT_LINEAR, fromRight, fromBelow)});
    for (const osg::NodePtr& scene : {quad, moved(makeNode("", quad->getCore()), 100, 20, 3)}) {
        const Picture picture = draw(scene);
        EXPECT_COLOR(green, picture.at(0.4, 0.7));
        EXPECT_COLOR(red, picture.at(0.6, 0.7));
        EXPECT_COLOR(white, picture.at(0.4, 0.3));
        EXPECT_COLOR(blue, picture.at(0.6, 0.3));
    }
}

TEST(RenderTexGen, withABeaconGoesByThePlaceInItsSystem)
{
    const osg::TexGenChunkPtr texGen = makeTexGen(GL_OBJECT_LINEAR, fromRight, fromBelow);
    const osg::NodePtr beacon = makeGroup("", {});
    {
        const osg::CPEditor edit(texGen);
        texGen->setSBeacon(beacon);
        texGen->setTBeacon(beacon);
    }
    const osg::NodePtr quad = makeTextured({makeTexture(makeFourColors(), GL_REPLACE), texGen});
    // Two units to the right of the quad's own system, whose left half begins the second repetition there.
    const Picture picture = draw(makeGroup("", {moved(quad, 10, 0, 0), moved(beacon, 11, 0, 0)}));
    EXPECT_COLOR(red, picture.at(0.4, 0.7));
    EXPECT_COLOR(green, picture.at(0.6, 0.7));
}

TEST(RenderTexGen, eyeLinearGoesByThePlaceBeforeTheEye)
{
    // The middle of the picture is where the eye's x and y are 0.
    const osg::NodePtr quad = makeTextured(
        {makeTexture(makeFourColors(), GL_REPLACE), makeTexGen(GL_EYE_LINEAR, fromRight, fromBelow)});
    const Picture picture = draw(turned(moved(quad, 5, 5, 5), osg::Vec3f(0, 0, 1), 90));
    EXPECT_COLOR(green, picture.at(0.4, 0.7));
    EXPECT_COLOR(red, picture.at(0.6, 0.7));
    EXPECT_COLOR(blue, picture.at(0.6, 0.3));
}

TEST(RenderTexGen, golden)
{
    const osg::ChunkMaterialPtr material = makeMaterial(
        {makeLit(1, 1, 1), makeTexture(makeBoard(4, 30, 160, 60), GL_MODULATE),
         makeTexGen(GL_OBJECT_LINEAR, osg::Vec4f(0.5f, 0, 0, 0.5f), osg::Vec4f(0, 0.5f, 0, 0.5f))});
    expectGolden(draw(makeDrawn(makeBall(), material), seenFrom(View::Iso)), "texgen_object_linear");
}

TEST(RenderTexGen, goldenOfSphereMap)
{
    const osg::ChunkMaterialPtr material =
        makeMaterial({makeLit(1, 1, 1), makeTexture(makeBoard(8, 90, 90, 160), GL_MODULATE),
                      makeTexGen(GL_SPHERE_MAP, osg::Vec4f(), osg::Vec4f())});
    expectGolden(draw(makeDrawn(makeBall(), material)), "texgen_sphere_map");
}

TEST(RenderTexGen, cubeTexturesShowTheirSides)
{
    const auto side = [](osg::UInt8 r, osg::UInt8 g, osg::UInt8 b) {
        return makeImage(osg::Image::OSG_RGB_PF, 1, 1, {r, g, b});
    };
    const osg::CubeTextureChunkPtr cube = osg::CubeTextureChunk::create();
    const osg::TexGenChunkPtr texGen = osg::TexGenChunk::create();
    {
        const osg::CPEditor edit(cube);
        cube->setImage(side(255, 0, 255)); // -z
        cube->setPosZImage(side(0, 0, 255));
        cube->setPosXImage(side(255, 0, 0));
        cube->setNegXImage(side(0, 255, 255));
        cube->setPosYImage(side(0, 255, 0));
        cube->setNegYImage(side(255, 255, 0));
        cube->setEnvMode(GL_REPLACE);
        cube->setMinFilter(GL_NEAREST);
        const osg::CPEditor editTexGen(texGen);
        texGen->setGenFuncS(GL_OBJECT_LINEAR);
        texGen->setGenFuncT(GL_OBJECT_LINEAR);
        texGen->setGenFuncR(GL_OBJECT_LINEAR);
    }
    const osg::ChunkMaterialPtr material = makeMaterial({makeUnlit(1, 1, 1), cube, texGen});
    const auto middle = [&](View view) {
        return draw(makeDrawn(makeBall(), material), seenFrom(view)).middle();
    };
    EXPECT_COLOR(blue, middle(View::Front));
    EXPECT_COLOR(red, middle(View::Side));
    EXPECT_COLOR(green, middle(View::Top));
}

// -- Polygons, lines, points, depth ------------------------------------------------------------------

TEST(RenderPolygons, cullsTheFacesThatTheChunkNames)
{
    const auto drawCulled = [](GLenum face) {
        const osg::PolygonChunkPtr polygon = osg::PolygonChunk::create();
        const osg::CPEditor edit(polygon);
        polygon->setCullFace(face);
        return draw(makeDrawn(makeQuad(), makeMaterial({makeUnlit(1, 0, 0), polygon}))).middle();
    };
    EXPECT_COLOR(red, drawCulled(GL_BACK));
    EXPECT_COLOR(black, drawCulled(GL_FRONT));
}

TEST(RenderPolygons, asLinesLeaveTheMiddleFree)
{
    const osg::PolygonChunkPtr polygon = osg::PolygonChunk::create();
    const osg::LineChunkPtr line = osg::LineChunk::create();
    {
        const osg::CPEditor edit(polygon);
        polygon->setFrontMode(GL_LINE);
        const osg::CPEditor editLine(line);
        line->setWidth(3);
    }
    const Picture picture = draw(makeDrawn(makeQuad(), makeMaterial({makeUnlit(1, 0, 0), polygon, line})));
    EXPECT_COLOR(black, picture.middle());
    EXPECT_GT(picture.countOthers(black), 300);
}

TEST(RenderPolygons, thatAreMovedBackGiveWay)
{
    const osg::PolygonChunkPtr back = osg::PolygonChunk::create();
    {
        const osg::CPEditor edit(back);
        back->setOffsetFill(true);
        back->setOffsetFactor(1);
        back->setOffsetBias(4);
    }
    const osg::NodePtr offset = makeDrawn(makeQuad(), makeMaterial({makeUnlit(1, 0, 0), back}));
    // Of two at the same place the later one stands, unless it is moved back.
    EXPECT_COLOR(green, draw(makeGroup("", {makeUnlitQuad(0, 1, 0), offset})).middle());
    EXPECT_COLOR(green, draw(makeGroup("", {makeUnlitQuad(1, 0, 0), makeUnlitQuad(0, 1, 0)})).middle());
}

TEST(RenderPolygons, stippleLeavesHolesFromLeftToRight)
{
    const osg::PolygonChunkPtr polygon = osg::PolygonChunk::create();
    {
        const osg::CPEditor edit(polygon);
        for (int i = 0; i < 32; ++i)
            polygon->getStipple().push_back(osg::Int32(0xffff0000u));
    }
    const Picture picture = draw(makeDrawn(makeQuad(), makeMaterial({makeUnlit(1, 0, 0), polygon})));
    EXPECT_COLOR(red, picture.at(72, 45));
    EXPECT_COLOR(black, picture.at(88, 45));
}

TEST(RenderDepth, testMayBeSwitchedOff)
{
    const osg::DepthChunkPtr depth = osg::DepthChunk::create();
    {
        const osg::CPEditor edit(depth);
        depth->setEnable(false);
    }
    const osg::NodePtr behind = makeDrawn(makeQuad(-1), makeMaterial({makeUnlit(1, 0, 0), depth}));
    EXPECT_COLOR(red, draw(makeGroup("", {makeUnlitQuad(0, 1, 0), behind})).middle());
    const osg::NodePtr hidden = makeDrawn(makeQuad(-1), makeMaterial({makeUnlit(1, 0, 0)}));
    EXPECT_COLOR(green, draw(makeGroup("", {makeUnlitQuad(0, 1, 0), hidden})).middle());
}

TEST(RenderDepth, readOnlyHidesNothing)
{
    const osg::DepthChunkPtr depth = osg::DepthChunk::create();
    {
        const osg::CPEditor edit(depth);
        depth->setReadOnly(true);
    }
    const osg::NodePtr near = makeDrawn(makeQuad(1), makeMaterial({makeUnlit(1, 0, 0), depth}));
    EXPECT_COLOR(green, draw(makeGroup("", {near, makeUnlitQuad(0, 1, 0)})).middle());
    EXPECT_COLOR(red, draw(makeGroup("", {makeUnlitQuad(0, 1, 0), near})).middle());
}

TEST(RenderLines, withoutNormalsHaveTheDiffuseColour)
{
    const osg::GeometryPtr lines = makeGeometry({{-1, -1, 0}, {1, 1, 0}, {-1, 1, 0}, {1, -1, 0}}, GL_LINES);
    {
        const osg::CPEditor edit(lines);
        lines->setNormals(osg::NullFC);
    }
    const osg::LineChunkPtr wide = osg::LineChunk::create();
    {
        const osg::CPEditor edit(wide);
        wide->setWidth(5);
    }
    const Picture picture = draw(makeDrawn(lines, makeMaterial({makeLit(0, 1, 0), wide})));
    EXPECT_COLOR(green, picture.middle());
    EXPECT_COLOR(black, picture.at(0.5, 0.1));
}

TEST(RenderPoints, haveTheirSize)
{
    const osg::GeometryPtr points = makeGeometry({{-1, 0, 0}, {1, 0, 0}}, GL_POINTS);
    const osg::PointChunkPtr large = osg::PointChunk::create();
    {
        const osg::CPEditor edit(large);
        large->setSize(9);
    }
    const Picture picture = draw(makeDrawn(points, makeMaterial({makeUnlit(1, 0, 0), large})));
    EXPECT_NEAR(2 * 81, picture.countOthers(black), 40);
}

TEST(RenderRaster, golden)
{
    const auto wired = [](const osg::GeometryPtr& geometry, GLenum mode) {
        const osg::PolygonChunkPtr polygon = osg::PolygonChunk::create();
        const osg::LineChunkPtr line = osg::LineChunk::create();
        const osg::PointChunkPtr point = osg::PointChunk::create();
        const osg::CPEditor edit(polygon);
        const osg::CPEditor editLine(line);
        const osg::CPEditor editPoint(point);
        polygon->setFrontMode(mode);
        polygon->setCullFace(GL_BACK);
        line->setStipplePattern(0x3f3f);
        point->setSize(3);
        return makeDrawn(geometry, makeMaterial({makeLit(1, 1, 0), polygon, line, point}));
    };
    expectGolden(draw(makeGroup("", {moved(wired(makeBall(12), GL_LINE), -1.2f, 0, 0),
                                     moved(wired(makeBall(12), GL_POINT), 1.2f, 0, 0)})),
                 "raster");
}

// -- Lights ------------------------------------------------------------------------------------------

template <class LightPtrT, class SetT>
osg::NodePtr makeLight(const LightPtrT& light, SetT set)
{
    const osg::CPEditor edit(light);
    set(*light);
    return makeNode("", light);
}

osg::NodePtr makeFloor()
{
    return makeDrawn(osg::makePlaneGeo(4, 4, 40, 40), makeMaterial({makeLit(1, 1, 1)}));
}

TEST(RenderLights, directionalShinesFromItsDirection)
{
    const osg::NodePtr light = makeLight(osg::DirectionalLight::create(), [](osg::DirectionalLight& core) {
        core.setDirection(0, std::sqrt(3.f) / 2, 0.5f);
        core.setDiffuse(1, 0.5f, 0, 1);
    });
    EXPECT_COLOR(rgb(0.5, 0.25, 0), draw(makeGroup("", {light, makeFloor()})).middle());
}

TEST(RenderLights, coloursAreMultipliedByTheLightValue)
{
    const osg::NodePtr light = zyLights::createLight("DirectionalLight", "sun", false);
    EXPECT_TRUE(zyLights::setLightValue(light, 0.5f));
    EXPECT_TRUE(zyLights::setDiffuse(light, osg::Vec3f(1, 0.5f, 0)));
    EXPECT_COLOR(rgb(0.5, 0.25, 0), draw(makeGroup("", {light, makeFloor()})).middle());
}

TEST(RenderLights, directionIsThatOfTheBeacon)
{
    const osg::NodePtr beacon = makeGroup("", {});
    const osg::NodePtr light = makeLight(osg::DirectionalLight::create(), [&](osg::DirectionalLight& core) {
        core.setDirection(0, 0, 1);
        core.setBeacon(beacon);
    });
    // Without the beacon's turn it would shine straight on the floor.
    const osg::NodePtr scene = makeGroup("", {light, makeFloor(), turned(beacon, osg::Vec3f(1, 0, 0), -60)});
    EXPECT_COLOR(rgb(0.5, 0.5, 0.5), draw(scene).middle());
}

TEST(RenderLights, pointFadesWithTheDistance)
{
    const osg::NodePtr light = makeLight(osg::PointLight::create(), [](osg::PointLight& core) {
        core.setAttenuation(1, 0.5f, 0.25f);
        core.setDiffuse(1, 1, 1, 1);
    });
    const Picture picture = draw(makeGroup("", {moved(light, 0, 0, 2), makeFloor()}));
    // Straight below the light, at distance 2.
    EXPECT_COLOR(rgb(1 / 3., 1 / 3., 1 / 3.), picture.middle());
    const Rgb edge = picture.at(0.3, 0.5);
    EXPECT_LT(edge.r, picture.middle().r - 10);
}

TEST(RenderLights, spotShinesInItsConeOnly)
{
    const auto lit = [](float cutOff) {
        const osg::NodePtr light = makeLight(osg::SpotLight::create(), [&](osg::SpotLight& core) {
            core.setSpotDirection(0, 0, -1);
            core.setSpotCutOffDeg(cutOff);
        });
        return draw(makeGroup("", {moved(light, 0, 0, 2), makeFloor()}));
    };
    // At 20 degrees the cone's rim is 0.73 from the middle.
    const Picture narrow = lit(20);
    EXPECT_COLOR(white, narrow.middle());
    EXPECT_COLOR(black, narrow.at(0.3, 0.5));
    EXPECT_GT(lit(60).at(0.3, 0.5).r, 100);
    EXPECT_GT(lit(180).at(0.3, 0.5).r, 100);
}

TEST(RenderLights, thatAreOffOrHiddenLeaveTheCamerasOwn)
{
    const osg::NodePtr off =
        makeLight(osg::PointLight::create(), [](osg::PointLight& core) { core.setOn(false); });
    const osg::NodePtr hidden = makeLight(osg::PointLight::create(), [](osg::PointLight&) {});
    const Picture picture = draw(makeGroup("", {off, makeInactive(hidden), makeFloor()}));
    EXPECT_COLOR(white, picture.middle());
}

TEST(RenderLights, beyondThoseOfTheDriverAreLeftOutWithANotice)
{
    std::vector<osg::NodePtr> nodes = {makeFloor()};
    for (int i = 0; i < 10; ++i) {
        nodes.push_back(makeLight(osg::DirectionalLight::create(),
                                  [](osg::DirectionalLight& core) { core.setDiffuse(0.05f, 0, 0, 1); }));
    }
    const Picture picture = draw(makeGroup("", nodes));
    EXPECT_COLOR(rgb(8 * 0.05, 0, 0), picture.middle());
    EXPECT_THAT(picture.notices, ElementsAre("only the first 8 of 10 lights are shown"));
}

TEST(RenderLights, golden)
{
    const osg::NodePtr directional =
        makeLight(osg::DirectionalLight::create(), [](osg::DirectionalLight& core) {
            core.setDirection(-1, 0, 1);
            core.setDiffuse(0.1f, 0.1f, 0.3f, 1);
        });
    const osg::NodePtr point = makeLight(osg::PointLight::create(), [](osg::PointLight& core) {
        core.setDiffuse(1, 0.3f, 0.1f, 1);
        core.setAttenuation(1, 0, 1);
    });
    const osg::NodePtr spot = makeLight(osg::SpotLight::create(), [](osg::SpotLight& core) {
        core.setSpotDirection(0.3f, 0, -1);
        core.setSpotCutOffDeg(25);
        core.setSpotExponent(10);
        core.setDiffuse(0.2f, 1, 0.2f, 1);
    });
    expectGolden(draw(makeGroup("", {directional, moved(point, -1, 0.5f, 0.5f), moved(spot, 0.6f, 0, 1.5f),
                                     makeFloor()})),
                 "lights");
}

// -- Merged materials --------------------------------------------------------------------------------

osg::MergeMaterialPtr makeMerged(const osg::MaterialPtr& main, const osg::MaterialPtr& shadow)
{
    const osg::MergeMaterialPtr material = osg::MergeMaterial::create();
    const osg::CPEditor edit(material);
    material->addMaterial(main);
    material->addMaterial(shadow);
    return material;
}

TEST(RenderMergedMaterials, layTheTexturesOfTheLaterOnesOverThose)
{
    const osg::TextureChunkPtr shadow = makeTexture(makeImage(osg::Image::OSG_L_PF, 1, 1, {64}), GL_COMBINE);
    {
        const osg::CPEditor edit(shadow);
        shadow->setEnvScaleRGB(2);
    }
    const osg::ChunkMaterialPtr main =
        makeMaterial({makeUnlit(1, 1, 1),
                      makeTexture(makeImage(osg::Image::OSG_RGB_PF, 1, 1, {255, 128, 0}), GL_MODULATE)});
    const Picture picture = draw(makeDrawn(makeQuad(), makeMerged(main, makeMaterial({shadow}))));
    EXPECT_COLOR(rgb(2 * 64 / 255., 64 / 255., 0), picture.middle());
}

TEST(RenderMergedMaterials, golden)
{
    const osg::TextureChunkPtr shadow =
        makeTexture(makeImage(osg::Image::OSG_L_PF, 4, 1, {20, 90, 160, 230}), GL_COMBINE);
    {
        const osg::CPEditor edit(shadow);
        shadow->setEnvScaleRGB(2);
        shadow->setMagFilter(GL_LINEAR);
    }
    const osg::GeometryPtr quad = makeQuad();
    {
        const osg::CPEditor edit(quad);
        quad->setTexCoords1(quad->getTexCoords());
    }
    const osg::ChunkMaterialPtr main =
        makeMaterial({makeLit(1, 1, 1), makeTexture(makeBoard(4, 150, 60, 60), GL_MODULATE)});
    expectGolden(draw(makeDrawn(quad, makeMerged(main, makeMaterial({shadow})))), "merge_material");
}

// -- Graph -------------------------------------------------------------------------------------------

TEST(RenderGraph, switchShowsItsChoice)
{
    const auto choose = [](osg::Int32 choice) {
        return draw(makeSwitch("", choice,
                               {moved(makeUnlitQuad(1, 0, 0), 0, 0, 0.1f), makeUnlitQuad(0, 1, 0),
                                moved(makeUnlitQuad(0, 0, 1), 0, 0, -0.1f)}));
    };
    EXPECT_COLOR(red, choose(0).middle());
    EXPECT_COLOR(green, choose(1).middle());
    EXPECT_COLOR(blue, choose(2).middle());
    EXPECT_COLOR(red, choose(osg::Switch::ALL).middle());
    EXPECT_EQ("nothing in it is drawn", choose(osg::Switch::NONE).problem);
    EXPECT_EQ("nothing in it is drawn", choose(3).problem);
}

TEST(RenderGraph, inactiveNodesAndAllBelowThemAreNotDrawn)
{
    const osg::NodePtr hidden = makeInactive(makeGroup("", {moved(makeUnlitQuad(1, 0, 0), 0, 0, 1)}));
    EXPECT_COLOR(green, draw(makeGroup("", {hidden, makeUnlitQuad(0, 1, 0)})).middle());
}

TEST(RenderGraph, belowANodeWithoutACoreNothingIsDrawn)
{
    EXPECT_EQ("nothing in it is drawn", draw(makeNode("", osg::NullFC, {makeUnlitQuad(1, 0, 0)})).problem);
    EXPECT_EQ("nothing in it is drawn", draw(makeGroup("", {})).problem);
}

TEST(RenderGraph, transformsOfEveryKindMoveWhatIsBelowThem)
{
    const osg::ComponentTransformPtr component = osg::ComponentTransform::create();
    {
        const osg::CPEditor edit(component);
        component->setTranslation(osg::Vec3f(3, 0, 0));
    }
    const osg::Transform3DPtr components = osg::Transform3D::create();
    {
        const osg::CPEditor edit(components);
        components->setTranslation(osg::Vec3f(6, 0, 0));
    }
    const osg::Transform3DPtr own = osg::Transform3D::create();
    {
        const osg::CPEditor edit(own);
        own->setTranslation(osg::Vec3f(9, 0, 0));
    }
    const osg::NodePtr drawable = makeUnlitQuad(0, 0, 1);
    {
        const osg::GeometryPtr core = osg::GeometryPtr::dcast(drawable->getCore());
        const osg::CPEditor edit(core);
        core->setTransform(own);
    }
    const Picture picture =
        draw(makeGroup("", {makeUnlitQuad(1, 1, 1), makeNode("", component, {makeUnlitQuad(1, 0, 0)}),
                            makeNode("", components, {makeUnlitQuad(0, 1, 0)}), drawable}));
    EXPECT_COLOR(white, picture.at(0.14, 0.5));
    EXPECT_COLOR(red, picture.at(0.38, 0.5));
    EXPECT_COLOR(green, picture.at(0.62, 0.5));
    EXPECT_COLOR(blue, picture.at(0.86, 0.5));
}

TEST(RenderGraph, transformChunksMoveTheObjectOnly)
{
    const osg::TransformChunkPtr chunk = osg::TransformChunk::create();
    {
        const osg::CPEditor edit(chunk);
        osg::Matrix matrix;
        matrix.setTranslate(10, 0, 0);
        chunk->setMatrix(matrix);
    }
    const osg::NodePtr far = makeDrawn(makeQuad(), makeMaterial({makeUnlit(1, 0, 0), chunk}));
    const Picture picture = draw(makeGroup("", {far, makeUnlitQuad(0, 1, 0)}));
    EXPECT_COLOR(green, picture.at(0.1, 0.5));
    EXPECT_COLOR(red, picture.at(0.9, 0.5));
}

TEST(RenderGraph, anInstanceIsDrawnAtEachOfItsPlaces)
{
    const osg::NodePtr first = makeUnlitQuad(1, 0, 0);
    const osg::NodePtr second = makeNode("", first->getCore());
    const Picture picture = draw(makeGroup("", {moved(first, -3, 0, 0), moved(second, 3, 0, 0)}));
    EXPECT_COLOR(red, picture.at(0.15, 0.5));
    EXPECT_COLOR(red, picture.at(0.85, 0.5));
    EXPECT_COLOR(black, picture.middle());
}

TEST(RenderGraph, isDrawnHoweverDeepItIs)
{
    osg::NodePtr node = makeUnlitQuad(0, 1, 0);
    for (int i = 0; i < 20000; ++i)
        node = i % 2 != 0 ? moved(node, 0.001f, 0, 0) : makeGroup("", {node});
    EXPECT_COLOR(green, draw(node).middle());
}

// -- Geometry ----------------------------------------------------------------------------------------

TEST(RenderGeometry, primitivesOfEveryPolygonalKindFillTheirArea)
{
    const Corner a = {-1, -1, 0}, b = {1, -1, 0}, c = {1, 1, 0}, d = {-1, 1, 0};
    const struct {
        osg::UInt8 type;
        std::vector<Corner> corners;
    } kinds[] = {{GL_TRIANGLES, {a, b, c, a, c, d}}, {GL_TRIANGLE_STRIP, {a, b, d, c}},
                 {GL_TRIANGLE_FAN, {a, b, c, d}},    {GL_QUADS, {a, b, c, d}},
                 {GL_QUAD_STRIP, {a, b, d, c}},      {GL_POLYGON, {a, b, c, d}}};
    const Picture expected = draw(makeUnlitQuad(1, 0, 0));
    for (const auto& kind : kinds) {
        for (const bool withNormals : {true, false}) {
            const osg::GeometryPtr geometry = makeGeometry(kind.corners, kind.type);
            if (!withNormals) {
                const osg::CPEditor edit(geometry);
                geometry->setNormals(osg::NullFC);
            }
            const Picture picture = draw(makeDrawn(geometry, makeMaterial({makeLit(1, 0, 0)})));
            EXPECT_EQ(expected.pixels, picture.pixels) << osg::Geometry::mapType(kind.type) << withNormals;
        }
    }
}

TEST(RenderGeometry, withoutNormalsHasThoseOfItsFaces)
{
    // Two faces of a roof: each is lit by itself, without a soft edge between them.
    const osg::GeometryPtr roof = makeGeometry(
        {{-1, -1, -1}, {-1, 1, -1}, {0, -1, 0}, {0, 1, 0}, {1, -1, 0}, {1, 1, 0}}, GL_TRIANGLE_STRIP);
    {
        const osg::CPEditor edit(roof);
        roof->setNormals(osg::NullFC);
    }
    const osg::ChunkMaterialPtr material =
        makeMaterial({makeLit(1, 1, 1), osg::TwoSidedLightingChunk::create()});
    const Picture picture = draw(makeDrawn(roof, material));
    const double aslant = headlightAt(-std::sqrt(0.5), 0, std::sqrt(0.5));
    EXPECT_COLOR(rgb(aslant, aslant, aslant), picture.at(0.4, 0.5));
    EXPECT_COLOR(rgb(aslant, aslant, aslant), picture.at(0.48, 0.5));
    EXPECT_COLOR(white, picture.at(0.52, 0.5));
    EXPECT_COLOR(white, picture.at(0.6, 0.5));
}

// A quad whose corners find positions, normals, colours and texture coordinates by indices of their own.
osg::GeometryPtr makeIndexedQuad(osg::UInt32 badPosition = 0)
{
    const osg::GeometryPtr quad = makeQuad();
    const osg::GeoIndicesUI16Ptr indices = osg::GeoIndicesUI16::create();
    const osg::GeoNormals3fPtr normals = osg::GeoNormals3f::create();
    const osg::GeoColors4ubPtr colors = osg::GeoColors4ub::create();
    const osg::GeoTexCoords2fPtr second = osg::GeoTexCoords2f::create();
    const osg::CPEditor edit(quad);
    const osg::CPEditor editIndices(indices);
    const osg::CPEditor editNormals(normals);
    const osg::CPEditor editColors(colors);
    const osg::CPEditor editSecond(second);
    normals->addValue(osg::Vec3f(0, 0, -1));
    normals->addValue(osg::Vec3f(0, 0, 1));
    colors->getField().push_back(osg::Color4ub(255, 0, 0, 255));
    colors->getField().push_back(osg::Color4ub(0, 0, 255, 255));
    second->addValue(osg::Vec2f(0, 0));
    second->addValue(osg::Vec2f(1, 1));
    for (osg::UInt32 i = 0; i < 4; ++i) {
        indices->addValue(i + badPosition); // position and first texture coordinates
        indices->addValue(1);               // normal
        indices->addValue(i < 2 ? 0 : 1);   // colour: red below, blue above
        indices->addValue(1);               // second texture coordinates
    }
    quad->setIndices(indices);
    quad->setNormals(normals);
    quad->setColors(colors);
    quad->setTexCoords1(second);
    for (const osg::UInt16 entry :
         {osg::Geometry::MapPosition | osg::Geometry::MapTexCoords, 0 | osg::Geometry::MapNormal,
          0 | osg::Geometry::MapColor, 0 | osg::Geometry::MapTexCoords1})
        quad->getIndexMapping().push_back(entry);
    return quad;
}

TEST(RenderGeometry, findsEachAttributeByItsIndices)
{
    const Picture picture = draw(makeDrawn(makeIndexedQuad(), makeMaterial({makeLit(1, 1, 1)})));
    const Rgb below = picture.at(0.5, 0.9);
    const Rgb above = picture.at(0.5, 0.1);
    EXPECT_GT(below.r, 220);
    EXPECT_LT(below.b, 35);
    EXPECT_GT(above.b, 220);
    EXPECT_NEAR(128, picture.middle().r, 4);

    const osg::ChunkMaterialPtr textured =
        makeMaterial({makeUnlit(1, 1, 1), makeTexture(makeFourColors(), GL_REPLACE)});
    expectFourColors(draw(makeDrawn(makeIndexedQuad(), textured)));
}

TEST(RenderGeometry, withIndicesBeyondItsPositionsIsLeftOut)
{
    const osg::NodePtr broken = makeDrawn(makeIndexedQuad(1), makeMaterial({makeUnlit(1, 0, 0)}));
    EXPECT_COLOR(green, draw(makeGroup("", {broken, moved(makeUnlitQuad(0, 1, 0), 0, 0, -1)})).middle());
}

TEST(RenderGeometry, withPositionsThatAreNotFiniteIsLeftOut)
{
    for (const float bad :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
        const osg::NodePtr broken =
            makeDrawn(makeGeometry({{-1, -1, 1}, {1, -1, 1}, {1, bad, 1}}, GL_TRIANGLES),
                      makeMaterial({makeUnlit(1, 0, 0)}));
        EXPECT_COLOR(green, draw(makeGroup("", {broken, makeUnlitQuad(0, 1, 0)})).middle());
    }
}

TEST(RenderGeometry, positionsOfFourNumbersAreDividedByTheLast)
{
    const osg::GeometryPtr quad = makeQuad();
    const osg::GeoPositions4fPtr positions = osg::GeoPositions4f::create();
    {
        const osg::CPEditor edit(positions);
        for (const osg::Pnt4f& point : {osg::Pnt4f(-2, -2, 0, 2), osg::Pnt4f(1, -1, 0, 1),
                                        osg::Pnt4f(3, 3, 0, 3), osg::Pnt4f(-1, 1, 0, 1)})
            positions->getField().push_back(point);
        const osg::CPEditor editQuad(quad);
        quad->setPositions(positions);
    }
    EXPECT_EQ(draw(makeUnlitQuad(1, 0, 0)).pixels,
              draw(makeDrawn(quad, makeMaterial({makeUnlit(1, 0, 0)}))).pixels);
}

TEST(RenderGeometry, vertexColoursTakeThePlaceOfTheDiffuseOne)
{
    for (const bool lit : {true, false}) {
        const osg::MaterialChunkPtr chunk = lit ? makeLit(1, 1, 1) : makeUnlit(1, 1, 1);
        const Picture picture = draw(makeDrawn(makeIndexedQuad(), makeMaterial({chunk})));
        EXPECT_NEAR(128, picture.middle().r, 4) << lit;
        EXPECT_NEAR(0, picture.middle().g, 2) << lit;
    }
    const osg::MaterialChunkPtr none = makeLit(0, 1, 0);
    {
        const osg::CPEditor edit(none);
        none->setColorMaterial(GL_NONE);
    }
    EXPECT_COLOR(green, draw(makeDrawn(makeIndexedQuad(), makeMaterial({none}))).middle());
}

TEST(RenderGeometry, vertexColoursEndWithTheGeometry)
{
    const osg::ChunkMaterialPtr material = makeMaterial({makeLit(0, 1, 0)});
    const Picture picture = draw(makeGroup("", {moved(makeDrawn(makeIndexedQuad(), material), -1.5f, 0, 0),
                                                moved(makeDrawn(makeQuad(), material), 1.5f, 0, 0)}));
    EXPECT_COLOR(green, picture.at(0.7, 0.5));
}

TEST(RenderGeometry, goldenWithVertexColours)
{
    expectGolden(draw(makeDrawn(makeIndexedQuad(), makeMaterial({makeLit(1, 1, 1)}))), "vertex_colors");
}

// -- Camera and picture ------------------------------------------------------------------------------

// Boxes along the axes: red at +x, green at +y, blue at +z.
osg::NodePtr makeAxes()
{
    const auto box = [](float r, float g, float b, float x, float y, float z) {
        return moved(makeDrawn(osg::makeBoxGeo(1, 1, 1, 1, 1, 1), makeMaterial({makeUnlit(r, g, b)})), x, y,
                     z);
    };
    return makeGroup(
        "", {box(1, 0, 0, 3, 0, 0), box(0, 1, 0, 0, 3, 0), box(0, 0, 1, 0, 0, 3), box(1, 1, 1, 0, 0, 0)});
}

// The box around all pixels that are not black.
struct Frame {
    int left = 1000, right = -1, top = 1000, bottom = -1;
};

Frame frameOf(const Picture& picture)
{
    Frame frame;
    for (int y = 0; y < picture.height; ++y) {
        for (int x = 0; x < picture.width; ++x) {
            if (isNear(picture.at(x, y), black, 0))
                continue;
            frame.left = std::min(frame.left, x);
            frame.right = std::max(frame.right, x);
            frame.top = std::min(frame.top, y);
            frame.bottom = std::max(frame.bottom, y);
        }
    }
    return frame;
}

TEST(RenderCamera, showsEverythingWithASmallMarginFromAllSides)
{
    for (const View view : {View::Front, View::Side, View::Top, View::Iso}) {
        for (const unsigned int height : {90u, 400u}) {
            PictureOptions options = seenFrom(view);
            options.height = height;
            SCOPED_TRACE(::testing::Message() << "view " << int(view) << ", height " << height);
            const Picture picture = draw(makeAxes(), options);
            const Frame frame = frameOf(picture);
            EXPECT_GT(frame.left, 1);
            EXPECT_GT(frame.top, 1);
            EXPECT_LT(frame.right, picture.width - 2);
            EXPECT_LT(frame.bottom, picture.height - 2);
            // As near as that allows in one direction, and in the middle.
            const double used = std::max(double(frame.right - frame.left) / picture.width,
                                         double(frame.bottom - frame.top) / picture.height);
            EXPECT_GT(used, 0.88);
            EXPECT_NEAR(picture.width, frame.left + frame.right, 0.06 * picture.width);
            EXPECT_NEAR(picture.height, frame.top + frame.bottom, 0.06 * picture.height);
        }
    }
}

TEST(RenderCamera, golden)
{
    expectGolden(draw(makeAxes(), seenFrom(View::Front)), "view_front");
    expectGolden(draw(makeAxes(), seenFrom(View::Side)), "view_side");
    expectGolden(draw(makeAxes(), seenFrom(View::Top)), "view_top");
    expectGolden(draw(makeAxes(), seenFrom(View::Iso)), "view_iso");
}

TEST(RenderCamera, thePictureDoesNotDependOnWhereTheSceneLiesOrHowLargeItIs)
{
    const Picture expected = draw(makeAxes(), seenFrom(View::Iso));
    const auto scaled = [](float scale) {
        osg::Matrix matrix;
        matrix.setScale(scale);
        matrix.setTranslate(1000 * scale, -500 * scale, 20 * scale);
        return transformed(makeAxes(), matrix);
    };
    for (const float scale : {1e-6f, 1.f, 1e6f}) {
        const Picture picture = draw(scaled(scale), seenFrom(View::Iso));
        int different = 0;
        for (int y = 0; y < picture.height; ++y) {
            for (int x = 0; x < picture.width; ++x)
                different += isNear(expected.at(x, y), picture.at(x, y), 12) ? 0 : 1;
        }
        EXPECT_LT(different, 40) << scale;
    }
}

TEST(RenderCamera, standsOffAPointAndWhatIsBehindIt)
{
    const osg::PointChunkPtr large = osg::PointChunk::create();
    {
        const osg::CPEditor edit(large);
        large->setSize(5);
    }
    const osg::ChunkMaterialPtr material = makeMaterial({makeUnlit(1, 0, 0), large});
    EXPECT_COLOR(red, draw(makeDrawn(makeGeometry({{7, 8, 9}}, GL_POINTS), material)).middle());
    EXPECT_COLOR(red, draw(makeDrawn(makeGeometry({{7, 8, 9}, {7, 8, -9}}, GL_POINTS), material)).middle());
}

TEST(RenderCamera, refusesWhatLiesTooFarApart)
{
    const Picture picture =
        draw(makeGroup("", {makeUnlitQuad(1, 0, 0), moved(makeUnlitQuad(1, 0, 0), 1e30f, 0, 0)}));
    EXPECT_EQ("what is drawn lies too far apart", picture.problem);
}

TEST(RenderPicture, hasTheBackgroundAround)
{
    PictureOptions options = smallPicture();
    options.background = osg::Color3f(0.2f, 0.4f, 0.6f);
    const Picture picture = draw(makeUnlitQuad(1, 0, 0), options);
    EXPECT_COLOR(rgb(0.2, 0.4, 0.6), picture.at(0, 0));
    EXPECT_COLOR(rgb(0.2, 0.4, 0.6), picture.at(159, 89));
    EXPECT_COLOR(red, picture.middle());
}

TEST(RenderPicture, edgesAreSmooth)
{
    const Picture picture = draw(turned(makeUnlitQuad(1, 1, 1), osg::Vec3f(0, 0, 1), 20));
    int between = 0;
    for (const std::uint8_t value : picture.pixels)
        between += value > 20 && value < 235 ? 1 : 0;
    EXPECT_GT(between, 100);
}

TEST(RenderPicture, isTheSameEachTime)
{
    EXPECT_EQ(draw(makeAxes(), seenFrom(View::Iso)).pixels, draw(makeAxes(), seenFrom(View::Iso)).pixels);
}

TEST(RenderPicture, thatIsDrawnInPartsHasNoSeams)
{
    // More than one part in both directions; the halves of the quad meet where no part begins.
    PictureOptions options = smallPicture();
    options.width = 3000;
    options.height = 2100;
    const Picture picture = draw(makeUnlitQuad(1, 0, 0), options);
    const Frame frame = frameOf(picture);
    EXPECT_NEAR(3000, frame.left + frame.right + 1, 2);
    EXPECT_NEAR(2100, frame.top + frame.bottom + 1, 2);
    int holes = 0;
    for (int y = frame.top + 1; y < frame.bottom; ++y) {
        for (int x = frame.left + 1; x < frame.right; ++x)
            holes += isNear(red, picture.at(x, y)) ? 0 : 1;
    }
    EXPECT_EQ(0, holes);
}

TEST(RenderPicture, cannotBeLargerThanTheDriverAllows)
{
    PictureOptions options = smallPicture();
    options.width = 100000;
    EXPECT_THAT(draw(makeUnlitQuad(1, 0, 0), options).problem, HasSubstr("cannot be larger than"));
}
} // namespace
