// Material export: one Phong network for each material, images as PNG files beside the scene, and projections
// for generated texture coordinates.

#include "WriterTest.h"

#include <OpenSG/OSGBlendChunk.h>
#include <OpenSG/OSGChunkMaterial.h>
#include <OpenSG/OSGGL.h>
#include <OpenSG/OSGImageFileHandler.h>
#include <OpenSG/OSGMaterialChunk.h>
#include <OpenSG/OSGMaterialGroup.h>
#include <OpenSG/OSGSimpleGeometry.h>
#include <OpenSG/OSGSimpleMaterial.h>
#include <OpenSG/OSGSwitchMaterial.h>
#include <OpenSG/OSGTexGenChunk.h>
#include <OpenSG/OSGTextureChunk.h>
#include <kelda/KColor.h>
#include <kelda/KFileIO.h>
#include <kelda/KFnPhongShader.h>
#include <kelda/KFnSet.h>
#include <kelda/KGlobal.h>
#include <kelda/KMatrix.h>
#include <kelda/KPlug.h>
#include <kelda/KPlugArray.h>
#include <rapidcheck/gtest.h>
#include <zyOpenSGUberMaterial/zyUBRDFMaterial.h>
#include <zyOpenSGUtils/zyMaterials.h>
#include <zyUtils/zyFile.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>

// -- a material that is not made of chunks ---------------------------------------------------------

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(Foreign, MaterialPtr)

class Foreign : public Material
{
    OSG_FIELD_CONTAINER(Foreign, Material)

    StatePtr makeState() override { return State::create(); }
    void rebuildState() override {}
    bool isTransparent() const override { return false; }

protected:
    Foreign() {}
    Foreign(const Foreign&) = default;
};

OSG_FIELD_CONTAINER_INST(Foreign, nullptr)

OSG_END_NAMESPACE

namespace
{
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// -- small materials -------------------------------------------------------------------------------

osg::MaterialChunkPtr makeColors(const osg::Color4f& diffuse)
{
    const osg::MaterialChunkPtr chunk = osg::MaterialChunk::create();
    const osg::CPEditor edit(chunk);
    chunk->setAmbient(osg::Color4f(0.1f, 0.2f, 0.3f, 1));
    chunk->setDiffuse(diffuse);
    chunk->setSpecular(osg::Color4f(0.4f, 0.5f, 0.6f, 1));
    chunk->setShininess(70);
    return chunk;
}

osg::ChunkMaterialPtr makeMaterial(const std::string& name,
                                   const std::vector<osg::StateChunkPtr>& chunks = {})
{
    const osg::ChunkMaterialPtr material = osg::ChunkMaterial::create();
    if (!name.empty())
        zyMaterials::setName(material, name, true);
    const osg::CPEditor edit(material);
    for (const osg::StateChunkPtr& chunk : chunks)
        material->addChunk(chunk);
    return material;
}

/// A texture chunk with an image of that name; the value tells it from others.
osg::TextureChunkPtr makeTexture(const std::string& imageName, osg::UInt8 value = 7,
                                 osg::UInt32 mode = GL_MODULATE)
{
    const osg::ImagePtr image = makeImage(osg::Image::OSG_L_PF, {value});
    {
        const osg::CPEditor edit(image);
        image->setName(imageName);
    }
    const osg::TextureChunkPtr chunk = osg::TextureChunk::create();
    const osg::CPEditor edit(chunk);
    chunk->setImage(image);
    chunk->setEnvMode(mode);
    return chunk;
}

osg::TexGenChunkPtr makeTexGen(osg::UInt32 functionS, osg::UInt32 functionT,
                               const osg::Vec4f& s = osg::Vec4f(0.5f, 0, 0, 0.5f),
                               const osg::Vec4f& t = osg::Vec4f(0, 0.5f, 0, 0.5f))
{
    const osg::TexGenChunkPtr chunk = osg::TexGenChunk::create();
    const osg::CPEditor edit(chunk);
    chunk->setGenFuncS(functionS);
    chunk->setGenFuncT(functionT);
    chunk->setGenFuncSPlane(s);
    chunk->setGenFuncTPlane(t);
    return chunk;
}

osg::NodePtr paintedNode(const std::string& name, const osg::MaterialPtr& material)
{
    const osg::NodePtr node = shapeNode(name, triangle());
    const osg::GeometryPtr geometry = geometryOf(node);
    const osg::CPEditor edit(geometry);
    geometry->setMaterial(material);
    return node;
}

osg::NodePtr materialGroup(const std::string& name, const osg::MaterialPtr& material,
                           const Children& children)
{
    const osg::MaterialGroupPtr core = osg::MaterialGroup::create();
    {
        const osg::CPEditor edit(core);
        core->setMaterial(material);
    }
    return nodeWith(core, name, children);
}

// -- what a test looks at --------------------------------------------------------------------------

KFnPhongShader shaderNamed(const std::string& name)
{
    KStatus status;
    KFnPhongShader shader(nodeOf(name), &status);
    EXPECT_FALSE(status.error()) << name;
    return shader;
}

KPlug plugOf(const std::string& node, const char* attribute)
{
    return KFnDependencyNode(nodeOf(node)).findPlug(attribute);
}

/// What a plug is connected with as destination; "" when nothing.
std::string sourceOf(const std::string& node, const char* attribute)
{
    KPlugArray sources;
    plugOf(node, attribute).connectedTo(sources, true, false);
    return sources.length() == 1 ? sources[0].name().asUTF8() : "";
}

bool isThere(const std::string& node)
{
    KObject object;
    return !KGlobal::findNode(KString(node), object).error();
}

class ExportMaterial : public WriterTest
{
protected:
    ~ExportMaterial() override
    {
        for (osg::MaterialPtr& material : _held)
            osg::subRefCP(material);
    }

    template <class MaterialPtr>
    MaterialPtr hold(const MaterialPtr& material)
    {
        osg::addRefCP(material);
        _held.push_back(material);
        return material;
    }
    /// Walks the graph into the SDK's scene as an export to that file would; gives what was printed.
    std::string said(const osg::NodePtr& root, const std::string& file = "car.kb")
    {
        keep(root);
        return printedBy([&] { zyKeldaWriterTestAccess(root, inFolder(file)).build(); }).out;
    }
    std::vector<std::string> filesIn(const std::string& name) const
    {
        std::vector<std::string> files;
        if (std::filesystem::is_directory(inFolder(name))) {
            for (const auto& entry : std::filesystem::directory_iterator(inFolder(name)))
                files.push_back(entry.path().filename().string());
        }
        std::sort(files.begin(), files.end());
        return files;
    }
    /// The only value of a PNG file of one pixel; -1 when it cannot be read.
    int valueIn(const std::string& name) const
    {
        osg::ImagePtr image = osg::ImageFileHandler::the()->read(inFolder(name).c_str());
        const int value = image != osg::NullFC ? bytesOf(image)[0] : -1;
        osg::subRefCP(image);
        return value;
    }
    static std::string fileNameOf(const std::string& file)
    {
        return plugOf(file, "fileTextureName").asString().asUTF8();
    }

private:
    std::vector<osg::MaterialPtr> _held;
};

// -- which material --------------------------------------------------------------------------------

TEST_F(ExportMaterial, aGeometrysOwnMaterialComesFirst)
{
    EXPECT_EQ("",
              said(materialGroup("group", makeMaterial("outer"), {paintedNode("tri", makeMaterial("own"))})));
    EXPECT_THAT(setsOf("|group|tri|tri"), ElementsAre("ownSG"));
    EXPECT_FALSE(isThere("outer"));
}

TEST_F(ExportMaterial, withoutOneThatOfTheNearestMaterialGroupIsTaken)
{
    const osg::NodePtr node = paintedNode("tri", osg::NullFC);
    said(materialGroup("far", makeMaterial("green"),
                       {materialGroup("near", makeMaterial("red"), {groupNode("between", {node})})}));
    EXPECT_THAT(setsOf("|far|near|between|tri|tri"), ElementsAre("redSG"));
}

TEST_F(ExportMaterial, aMaterialGroupWithoutAMaterialHidesThoseAboveIt)
{
    said(materialGroup("far", makeMaterial("green"),
                       {materialGroup("near", osg::NullFC, {paintedNode("tri", osg::NullFC)})}));
    ASSERT_EQ(1u, setsOf("|far|near|tri|tri").size());
    const KFnPhongShader shader = shaderNamed("phong1");
    EXPECT_EQ(KColor(0.7f, 0.7f, 0.5f), shader.color()) << "the scene graph's default material";
    EXPECT_EQ(20.0f, shader.cosPower());
    EXPECT_THAT(setsOf("|far|near|tri|tri"), ElementsAre("phong1SG"));
}

TEST_F(ExportMaterial, wrappersAreResolvedToTheMaterialThatCarriesTheLook)
{
    const osg::SwitchMaterialPtr wrapper = osg::SwitchMaterial::create();
    {
        const osg::CPEditor edit(wrapper);
        wrapper->addMaterial(makeMaterial("day"));
        wrapper->addMaterial(makeMaterial("night"));
        wrapper->setChoice(1);
    }
    said(paintedNode("tri", wrapper));
    EXPECT_THAT(setsOf("|tri|tri"), ElementsAre("nightSG"));
}

TEST_F(ExportMaterial, aWrapperOfNothingGivesTheDefaultMaterial)
{
    said(paintedNode("tri", osg::SwitchMaterial::create()));
    EXPECT_EQ(KColor(0.7f, 0.7f, 0.5f), shaderNamed("phong1").color());
}

// -- reuse -----------------------------------------------------------------------------------------

TEST_F(ExportMaterial, meshesOfOneMaterialShareAShaderAndJoinOneGroup)
{
    const osg::MaterialPtr paint = makeMaterial("paint");
    const osg::NodePtr root = groupNode(
        "root", {paintedNode("a", paint), paintedNode("b", paint), paintedNode("c", makeMaterial("other"))});
    KFaults::watch();
    EXPECT_EQ("", said(root));
    EXPECT_EQ(2u, KFaults::calls("KFnPhongShader::create"));
    EXPECT_THAT(setsOf("|root|a|a"), ElementsAre("paintSG"));
    EXPECT_THAT(setsOf("|root|b|b"), ElementsAre("paintSG"));
    EXPECT_THAT(setsOf("|root|c|c"), ElementsAre("otherSG"));
}

TEST_F(ExportMaterial, aMeshThatCannotJoinAGroupThatIsThereIsReported)
{
    const osg::MaterialPtr paint = makeMaterial("paint");
    const osg::NodePtr root = groupNode("root", {paintedNode("a", paint), paintedNode("b", paint)});
    KFaults::failCall("KFnSet::addMember", 2);
    EXPECT_EQ("Couldn't add member!\n", said(root));
    EXPECT_THAT(setsOf("|root|a|a"), ElementsAre("paintSG"));
    EXPECT_THAT(setsOf("|root|b|b"), IsEmpty());
}

TEST_F(ExportMaterial, aGroupThatCannotBeAttachedIsLeftAloneSilently)
{
    KFaults::failCall("KFnSet::KFnSet");
    EXPECT_EQ("", said(paintedNode("tri", makeMaterial("paint"))));
    EXPECT_EQ(0u, KFaults::calls("KFnSet::addMember"));
    EXPECT_THAT(setsOf("|tri|tri"), IsEmpty());
}

TEST_F(ExportMaterial, whereTheGroupCannotBeFoundNoMeshOfTheMaterialJoinsOne)
{
    const osg::MaterialPtr paint = makeMaterial("paint");
    const osg::NodePtr root = keep(groupNode("root", {paintedNode("a", paint), paintedNode("b", paint)}));
    zyKeldaWriterTestAccess writer(root, inFolder("car.kb"));
    KFaults::failCall("KGlobal::executeCommand", 2); // behind the "flushUndo" of the root
    const std::string out = printedBy([&] { writer.build(); }).out;
    EXPECT_EQ("Couldn't call sets -renderable ...\n"
              "Couldn't call 'connectAttr -f ( \"paint.outColor\" ) ( \"paintSG.surfaceShader\")'!\n",
              out);
    ASSERT_EQ(1u, writer.materialSets().size());
    EXPECT_TRUE(writer.materialSets()[paint].isNull()) << "recorded all the same";
    EXPECT_THAT(setsOf("|root|a|a"), IsEmpty());
    EXPECT_THAT(setsOf("|root|b|b"), IsEmpty());
}

// -- shader and group ------------------------------------------------------------------------------

TEST_F(ExportMaterial, theNameIsMadeLegal)
{
    said(paintedNode("tri", makeMaterial("3 red.paint")));
    EXPECT_TRUE(isThere("__red_paint"));
    EXPECT_THAT(setsOf("|tri|tri"), ElementsAre("__red_paintSG"));
}

TEST_F(ExportMaterial, unnamedMaterialsGetTheSdksNames)
{
    const osg::NodePtr root =
        keep(groupNode("root", {paintedNode("a", makeMaterial("")), paintedNode("b", makeMaterial(""))}));
    zyKeldaWriterTestAccess writer(root, inFolder("car.kb"));
    writer.build();
    EXPECT_THAT(writer.usedShaderNames(), ElementsAre("phong1", "phong2"));
    EXPECT_THAT(setsOf("|root|b|b"), ElementsAre("phong2SG"));
}

TEST_F(ExportMaterial, aNameThatTheSdkChangesIsUsedAsItWasChanged)
{
    run("createNode lambert -name paint");
    const osg::NodePtr node = keep(paintedNode("tri", makeMaterial("paint")));
    zyKeldaWriterTestAccess writer(node, inFolder("car.kb"));
    writer.build();
    EXPECT_THAT(writer.usedShaderNames(), ElementsAre("paint1"));
    EXPECT_THAT(setsOf("|tri|tri"), ElementsAre("paint1SG"));
}

TEST_F(ExportMaterial, theCommandsAreTheseInThisOrder)
{
    const osg::NodePtr node = keep(paintedNode(
        "tri", makeMaterial("paint", {makeTexture("wood"), makeTexGen(GL_OBJECT_LINEAR, GL_OBJECT_LINEAR)})));
    KFaults::watch();
    said(node);
    EXPECT_THAT(KFaults::script(),
                ElementsAre("sets -renderable true -noSurfaceShader true -empty -name \"paintSG\"",
                            "connectAttr -f ( \"paint.outColor\" ) ( \"paintSG.surfaceShader\")",
                            "connectAttr -f ( \"projectionZYRA1.outColor\" ) ( \"paint.color\")",
                            "connectAttr -f ( \"fileZYRA1.outColor\" ) ( \"projectionZYRA1.image\")",
                            "connectAttr -f ( \"place3dTextureZYRA1.worldInverseMatrix[0]\" ) ( "
                            "\"projectionZYRA1.placementMatrix\")",
                            "flushUndo"));
}

TEST_F(ExportMaterial, aShaderThatCannotBeConnectedIsReportedWithTheCommand)
{
    KFaults::failCall("KGlobal::executeCommand", 2);
    EXPECT_EQ("Couldn't call 'connectAttr -f ( \"paint.outColor\" ) ( \"paintSG.surfaceShader\")'!\n",
              said(paintedNode("tri", makeMaterial("paint"))));
    EXPECT_THAT(setsOf("|tri|tri"), IsEmpty());
}

TEST_F(ExportMaterial, theShadingEngineIsTheFirstGroupThatTheShaderColours)
{
    run("createNode phong -name paint");
    run("createNode lambert -name other");
    zyKeldaWriterTestAccess writer;
    EXPECT_TRUE(writer.findShadingEngine(nodeOf("paint")).isNull()) << "not connected";
    run("connectAttr paint.outColor other.color");
    EXPECT_TRUE(writer.findShadingEngine(nodeOf("paint")).isNull()) << "connected, but with no group";
    for (const std::string group : {"first", "second"}) {
        run("sets -renderable true -noSurfaceShader true -empty -name \"" + group + "\"");
        run("connectAttr paint.outColor " + group + ".surfaceShader");
    }
    EXPECT_TRUE(writer.findShadingEngine(nodeOf("paint")) == nodeOf("first"));
    KFaults::failCall("KPlug::connectedTo");
    EXPECT_TRUE(writer.findShadingEngine(nodeOf("paint")).isNull());
    EXPECT_TRUE(writer.findShadingEngine(nodeOf("first")).isNull()) << "no such plug";
    EXPECT_TRUE(writer.findShadingEngine(KObject::kNullObj).isNull());
}

// -- colours ---------------------------------------------------------------------------------------

TEST_F(ExportMaterial, theColoursOfTheMaterialChunkArrive)
{
    said(paintedNode("tri", makeMaterial("paint", {makeColors(osg::Color4f(0.7f, 0.8f, 0.9f, 1))})));
    const KFnPhongShader shader = shaderNamed("paint");
    EXPECT_EQ(KColor(0.1f, 0.2f, 0.3f), shader.ambientColor());
    EXPECT_EQ(KColor(0.7f, 0.8f, 0.9f), shader.color());
    EXPECT_EQ(KColor(0.4f, 0.5f, 0.6f), shader.specularColor());
    EXPECT_EQ(70.0f, shader.cosPower());
    EXPECT_EQ(KColor(0, 0, 0), shader.transparency());
}

TEST_F(ExportMaterial, theDiffuseCoefficientStaysTheSdks)
{
    said(paintedNode("tri", makeMaterial("paint", {makeColors(osg::Color4f(1, 1, 1, 1))})));
    KFnPhongShader fresh;
    fresh.create(true);
    EXPECT_EQ(fresh.diffuseCoeff(), shaderNamed("paint").diffuseCoeff());
}

TEST_F(ExportMaterial, aDiffuseAlphaWithABlendChunkBecomesTransparency)
{
    said(paintedNode(
        "tri", makeMaterial("glass", {makeColors(osg::Color4f(1, 1, 1, 0.25f)), osg::BlendChunk::create()})));
    EXPECT_EQ(KColor(0.75f, 0.75f, 0.75f), shaderNamed("glass").transparency());
}

TEST_F(ExportMaterial, withoutABlendChunkItStaysOpaque)
{
    said(paintedNode("tri", makeMaterial("paint", {makeColors(osg::Color4f(1, 1, 1, 0.25f))})));
    EXPECT_EQ(KColor(0, 0, 0), shaderNamed("paint").transparency());
}

TEST_F(ExportMaterial, aBlendChunkAloneDoesNotMakeItTransparent)
{
    said(groupNode("root", {paintedNode("a", makeMaterial("opaque", {makeColors(osg::Color4f(1, 1, 1, 1)),
                                                                     osg::BlendChunk::create()})),
                            paintedNode("b", makeMaterial("bright", {makeColors(osg::Color4f(1, 1, 1, 2)),
                                                                     osg::BlendChunk::create()}))}));
    EXPECT_EQ(KColor(0, 0, 0), shaderNamed("opaque").transparency());
    EXPECT_EQ(KColor(0, 0, 0), shaderNamed("bright").transparency()) << "an alpha of more than 1";
}

TEST_F(ExportMaterial, chunksThatOnlyTheStateHasCountToo)
{
    const osg::SimpleMaterialPtr material = osg::SimpleMaterial::create();
    zyMaterials::setName(material, "simple", true);
    {
        const osg::CPEditor edit(material);
        material->setDiffuse(osg::Color3f(0.1f, 0.2f, 0.3f));
        material->setTransparency(0.25f);
        material->setShininess(5);
    }
    said(paintedNode("tri", material));
    const KFnPhongShader shader = shaderNamed("simple");
    EXPECT_EQ(KColor(0.1f, 0.2f, 0.3f), shader.color());
    EXPECT_EQ(5.0f, shader.cosPower());
    EXPECT_EQ(KColor(0.25f, 0.25f, 0.25f), shader.transparency());
}

TEST_F(ExportMaterial, aMaterialWithoutColoursKeepsTheSdksDefaults)
{
    said(paintedNode("tri", makeMaterial("bare")));
    const KFnPhongShader shader = shaderNamed("bare");
    EXPECT_EQ(KColor(0.5f, 0.5f, 0.5f), shader.color());
    EXPECT_EQ(20.0f, shader.cosPower());
}

TEST_F(ExportMaterial, aMaterialThatIsNotMadeOfChunksGivesAPhongOfItsName)
{
    const osg::ForeignPtr material = osg::Foreign::create();
    zyMaterials::setName(material, "foreign", true);
    EXPECT_EQ("", said(paintedNode("tri", material)));
    EXPECT_EQ(KColor(0.5f, 0.5f, 0.5f), shaderNamed("foreign").color()) << "as the SDK made it";
    EXPECT_THAT(setsOf("|tri|tri"), ElementsAre("foreignSG"));
}

TEST_F(ExportMaterial, aMeasuredMaterialIsDescribedByItsAnalyticValues)
{
    const osg::UBRDFMaterialPtr material = osg::UBRDFMaterial::create();
    zyMaterials::setName(material, "measured", true);
    {
        const osg::CPEditor edit(material);
        material->setAnalyticAmbient(osg::Color3f(0.1f, 0.2f, 0.3f));
        material->setAnalyticDiffuse(osg::Color3f(0.4f, 0.5f, 0.6f));
        material->setAnalyticSpecular(osg::Color3f(0.7f, 0.8f, 0.9f));
        material->setAnalyticShininess(30);
        material->setAnalyticTransparency(0.5f);
        material->addChunk(makeColors(osg::Color4f(1, 0, 0, 1)));
        material->addChunk(makeTexture("wood"));
    }
    EXPECT_EQ("", said(paintedNode("tri", material)));
    const KFnPhongShader shader = shaderNamed("measured");
    EXPECT_EQ(KColor(0.1f, 0.2f, 0.3f), shader.ambientColor());
    EXPECT_EQ(KColor(0.4f, 0.5f, 0.6f), shader.color());
    EXPECT_EQ(KColor(0.7f, 0.8f, 0.9f), shader.specularColor());
    EXPECT_EQ(30.0f, shader.cosPower());
    EXPECT_EQ(KColor(0.5f, 0.5f, 0.5f), shader.transparency());
    EXPECT_FALSE(isThere("fileZYRA1")) << "its textures are not exported";
    EXPECT_THAT(setsOf("|tri|tri"), ElementsAre("measuredSG"));
}

// -- textures --------------------------------------------------------------------------------------

TEST_F(ExportMaterial, anImageBecomesAPngBesideTheSceneAndAFileTexture)
{
    EXPECT_EQ("", said(paintedNode("tri", makeMaterial("paint", {makeTexture("C:/maps/wood.jpg", 42)}))));
    EXPECT_EQ("car/wood.png", fileNameOf("fileZYRA1"));
    EXPECT_EQ("fileZYRA1.outColor", sourceOf("paint", "color"));
    EXPECT_THAT(filesIn("car"), ElementsAre("wood.png"));
    EXPECT_EQ(42, valueIn("car/wood.png"));
    EXPECT_THAT(messages, IsEmpty());
}

TEST_F(ExportMaterial, theWrittenFileIsFoundAgainByTheSavedScene)
{
    const osg::NodePtr node = paintedNode("tri", makeMaterial("paint", {makeTexture("wood.tga", 42)}));
    const osg::NodePtr back = roundTrip(node, "car.kb");
    ASSERT_TRUE(back != osg::NullFC);
    const osg::GeometryPtr geometry = geometryOf(nodeAt(back, {"tri"}));
    ASSERT_TRUE(geometry != osg::NullFC);
    const osg::ChunkMaterialPtr material = osg::ChunkMaterialPtr::dcast(geometry->getMaterial());
    EXPECT_EQ("paint", zyMaterials::getName(material));
    const osg::TextureChunkPtr texture =
        osg::TextureChunkPtr::dcast(material->find(osg::TextureChunk::getClassType()));
    ASSERT_TRUE(texture != osg::NullFC);
    EXPECT_EQ(std::vector<osg::UInt8>{42}, bytesOf(texture->getImage()));
}

TEST_F(ExportMaterial, imageNamesAreReducedToTheirBaseName)
{
    const struct {
        const char* image;
        const char* file;
    } cases[] = {
        {"D:\\maps\\oak.v2.tif", "car/oak.v2.png"}, {"/maps/elm", "car/elm.png"}, {".ash", "car/.ash.png"}};
    Children nodes;
    for (const auto& c : cases)
        nodes.push_back(paintedNode("tri", makeMaterial("paint", {makeTexture(c.image)})));
    said(groupNode("root", nodes));
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(cases[i].file, fileNameOf("fileZYRA" + std::to_string(i + 1)));
    EXPECT_THAT(filesIn("car"), ElementsAre(".ash.png", "elm.png", "oak.v2.png"));
}

TEST_F(ExportMaterial, twoImagesOfOneBaseNameShareTheFirstOnesFile)
{
    said(groupNode("root", {paintedNode("a", makeMaterial("first", {makeTexture("a/wood.jpg", 1)})),
                            paintedNode("b", makeMaterial("second", {makeTexture("b/wood.tif", 2)}))}));
    EXPECT_EQ("car/wood.png", fileNameOf("fileZYRA1"));
    EXPECT_EQ("car/wood.png", fileNameOf("fileZYRA2"));
    EXPECT_EQ(1, valueIn("car/wood.png"));
}

TEST_F(ExportMaterial, aFileThatIsThereIsNeverOverwritten)
{
    said(paintedNode("tri", makeMaterial("paint", {makeTexture("wood.jpg", 1)})));
    KFileIO::newFile(true);
    said(paintedNode("tri", makeMaterial("paint", {makeTexture("wood.jpg", 2)})));
    EXPECT_EQ(1, valueIn("car/wood.png"));
    EXPECT_EQ("car/wood.png", fileNameOf("fileZYRA1")) << "the second export's scene refers to it";
}

TEST_F(ExportMaterial, theFolderIsNamedAsTheSceneLessItsLastThreeCharacters)
{
    const struct {
        const char* scene;
        const char* reference;
        const char* file;
    } cases[] = {{"car.v2.KA", "car.v2/wood.png", "car.v2/wood.png"},
                 {"motor", "mo/wood.png", "mo/wood.png"},
                 {"ab", "ab/wood.png", "ab/wood.png"},
                 {".kb", "/wood.png", "wood.png"}};
    for (const auto& c : cases) {
        KFileIO::newFile(true);
        said(paintedNode("tri", makeMaterial("paint", {makeTexture("wood")})), c.scene);
        EXPECT_EQ(c.reference, fileNameOf("fileZYRA1"));
        EXPECT_TRUE(std::filesystem::exists(inFolder(c.file))) << c.scene;
    }
}

TEST_F(ExportMaterial, aSceneThatIsNamedWithoutADirectoryHasItsImagesInTheCurrentOne)
{
    const osg::NodePtr node = keep(paintedNode("tri", makeMaterial("paint", {makeTexture("wood", 42)})));
    const std::string former = zyFile::getCurrentDir();
    ASSERT_TRUE(zyFile::setCurrentDir(folder));
    printedBy([&] { zyKeldaWriterTestAccess(node, "car.kb").build(); });
    zyFile::setCurrentDir(former);
    EXPECT_EQ("car/wood.png", fileNameOf("fileZYRA1"));
    EXPECT_EQ(42, valueIn("car/wood.png"));
}

TEST_F(ExportMaterial, aSceneWithoutTexturesHasNoFolder)
{
    said(paintedNode("tri", makeMaterial("paint", {makeColors(osg::Color4f(1, 1, 1, 1))})));
    EXPECT_FALSE(std::filesystem::exists(inFolder("car")));
}

TEST_F(ExportMaterial, anImageThatCannotBeWrittenKeepsItsReference)
{
    { // a file where the folder should be
        std::FILE* file = std::fopen(inFolder("car").c_str(), "w");
        ASSERT_NE(nullptr, file);
        std::fclose(file);
    }
    EXPECT_EQ("", said(paintedNode("tri", makeMaterial("paint", {makeTexture("wood")}))));
    EXPECT_EQ("car/wood.png", fileNameOf("fileZYRA1"));
    EXPECT_EQ("fileZYRA1.outColor", sourceOf("paint", "color"));
}

TEST_F(ExportMaterial, aTextureWithoutAnImageIsNoTexture)
{
    EXPECT_EQ("", said(paintedNode("tri", makeMaterial("paint", {osg::TextureChunk::create()}))));
    EXPECT_FALSE(isThere("fileZYRA1"));
    EXPECT_EQ("", sourceOf("paint", "color"));
}

TEST_F(ExportMaterial, ofSeveralTexturesTheFirstIsExported)
{
    said(paintedNode("tri", makeMaterial("paint", {makeTexture("first"), makeTexture("second")})));
    EXPECT_EQ("car/first.png", fileNameOf("fileZYRA1"));
    EXPECT_FALSE(isThere("fileZYRA2"));
    EXPECT_THAT(filesIn("car"), ElementsAre("first.png"));
}

TEST_F(ExportMaterial, aTextureThatModulatesIsTintedByTheDiffuseColour)
{
    said(paintedNode("tri", makeMaterial("paint", {makeColors(osg::Color4f(0.25f, 0.5f, 0.75f, 1)),
                                                   makeTexture("wood", 7, GL_MODULATE)})));
    EXPECT_EQ(0.25f, plugOf("fileZYRA1", "colorGainR").asFloat());
    EXPECT_EQ(0.5f, plugOf("fileZYRA1", "colorGainG").asFloat());
    EXPECT_EQ(0.75f, plugOf("fileZYRA1", "colorGainB").asFloat());
}

TEST_F(ExportMaterial, everyOtherTextureIsNotTinted)
{
    said(groupNode("root",
                   {paintedNode("a", makeMaterial("a", {makeColors(osg::Color4f(0.25f, 0.5f, 0.75f, 1)),
                                                        makeTexture("wood", 7, GL_REPLACE)})),
                    paintedNode("b", makeMaterial("b", {makeTexture("wood", 7, GL_MODULATE)}))}));
    for (const char* file : {"fileZYRA1", "fileZYRA2"}) {
        for (const char* gain : {"colorGainR", "colorGainG", "colorGainB"})
            EXPECT_EQ(1.0f, plugOf(file, gain).asFloat()) << file;
    }
}

TEST_F(ExportMaterial, aTextureThatCannotBeConnectedIsReportedWithTheCommand)
{
    KFaults::failCall("KGlobal::executeCommand", 3);
    EXPECT_EQ("Couldn't call 'connectAttr -f ( \"fileZYRA1.outColor\" ) ( \"paint.color\")'!\n",
              said(paintedNode("tri", makeMaterial("paint", {makeTexture("wood")}))));
    EXPECT_THAT(setsOf("|tri|tri"), ElementsAre("paintSG")) << "the rest goes on";
}

// -- generated texture coordinates -----------------------------------------------------------------

TEST_F(ExportMaterial, otherGeneratorsAreReportedAndLeaveTheTextureUnconnected)
{
    const std::pair<osg::UInt32, osg::UInt32> functions[] = {{GL_EYE_LINEAR, GL_EYE_LINEAR},
                                                             {GL_SPHERE_MAP, GL_SPHERE_MAP},
                                                             {GL_OBJECT_LINEAR, GL_SPHERE_MAP},
                                                             {GL_EYE_LINEAR, GL_OBJECT_LINEAR},
                                                             {0, 0}};
    for (const auto& f : functions) {
        KFileIO::newFile(true);
        EXPECT_EQ("texgen func not supported!\n",
                  said(paintedNode(
                      "tri", makeMaterial("paint", {makeTexture("wood"), makeTexGen(f.first, f.second)}))));
        EXPECT_EQ("car/wood.png", fileNameOf("fileZYRA1"));
        EXPECT_EQ("", sourceOf("paint", "color"));
        EXPECT_THAT(setsOf("|tri|tri"), ElementsAre("paintSG"));
    }
}

TEST_F(ExportMaterial, aGeneratorWithoutATextureIsNothing)
{
    EXPECT_EQ("", said(paintedNode("tri", makeMaterial("paint", {makeTexGen(GL_EYE_LINEAR, 0)}))));
    EXPECT_EQ("", sourceOf("paint", "color"));
}

TEST_F(ExportMaterial, anObjectLinearGeneratorBecomesAProjectionWithAPlacement)
{
    EXPECT_EQ("", said(paintedNode("tri",
                                   makeMaterial("paint", {makeTexture("wood"),
                                                          makeTexGen(GL_OBJECT_LINEAR, GL_OBJECT_LINEAR)}))));
    EXPECT_EQ("projectionZYRA1.outColor", sourceOf("paint", "color"));
    EXPECT_EQ("fileZYRA1.outColor", sourceOf("projectionZYRA1", "image"));
    EXPECT_EQ("place3dTextureZYRA1.worldInverseMatrix[0]", sourceOf("projectionZYRA1", "placementMatrix"));
    EXPECT_EQ(1, plugOf("projectionZYRA1", "projType").asInt()) << "planar";
    for (const char* attribute : {"translateX", "translateY", "translateZ", "rotateX", "rotateY", "rotateZ"})
        EXPECT_NEAR(0, plugOf("place3dTextureZYRA1", attribute).asDouble(), 1e-6) << attribute;
    for (const char* attribute : {"scaleX", "scaleY", "scaleZ"})
        EXPECT_NEAR(1, plugOf("place3dTextureZYRA1", attribute).asDouble(), 1e-6) << attribute;
}

TEST_F(ExportMaterial, failedConnectionsOfAProjectionAreReportedWithTheCommand)
{
    KFaults::failCall("KGlobal::executeCommand", 3, 3);
    EXPECT_EQ(
        "Couldn't call 'connectAttr -f ( \"projectionZYRA1.outColor\" ) ( \"paint.color\")'!\n"
        "Couldn't call 'connectAttr -f ( \"fileZYRA1.outColor\" ) ( \"projectionZYRA1.image\")'!\n"
        "Couldn't call 'connectAttr -f ( \"place3dTextureZYRA1.worldInverseMatrix[0]\" ) ( "
        "\"projectionZYRA1.placementMatrix\")'!\n",
        said(paintedNode("tri", makeMaterial("paint", {makeTexture("wood"),
                                                       makeTexGen(GL_OBJECT_LINEAR, GL_OBJECT_LINEAR)}))));
    EXPECT_THAT(setsOf("|tri|tri"), ElementsAre("paintSG"));
}

// -- placements ------------------------------------------------------------------------------------

class ExportPlacement : public ExportMaterial
{
protected:
    struct Planes {
        osg::Vec4f s;
        osg::Vec4f t;
    };

    /// The planes that the exported placement stands for: its cube spans -1 to +1, the texture 0 to 1.
    Planes exported(const osg::Vec4f& s, const osg::Vec4f& t)
    {
        KFileIO::newFile(true);
        said(paintedNode("tri",
                         makeMaterial("paint", {makeTexture("wood"),
                                                makeTexGen(GL_OBJECT_LINEAR, GL_OBJECT_LINEAR, s, t)})));
        KMatrix inverse;
        EXPECT_FALSE(plugOf("projectionZYRA1", "placementMatrix").getValue(inverse).error());
        Planes planes;
        for (unsigned i = 0; i < 4; ++i) {
            planes.s[i] = static_cast<float>(inverse[i][0] / 2);
            planes.t[i] = static_cast<float>(inverse[i][1] / 2);
        }
        planes.s[3] += 0.5f;
        planes.t[3] += 0.5f;
        return planes;
    }
    /// The largest difference of any component between the planes and what becomes of them.
    float deviation(const osg::Vec4f& s, const osg::Vec4f& t)
    {
        const Planes planes = exported(s, t);
        float largest = 0;
        for (unsigned i = 0; i < 4; ++i)
            largest = std::max({largest, std::fabs(planes.s[i] - s[i]), std::fabs(planes.t[i] - t[i])});
        return largest;
    }
};

TEST_F(ExportPlacement, alongTheAxesItIsExact)
{
    EXPECT_LE(deviation(osg::Vec4f(0.5f, 0, 0, 0.5f), osg::Vec4f(0, 0.5f, 0, 0.5f)), 1e-6f);
    EXPECT_LE(deviation(osg::Vec4f(2, 0, 0, -3), osg::Vec4f(0, 0.1f, 0, 7)), 1e-5f) << "moved and scaled";
    EXPECT_LE(deviation(osg::Vec4f(0, 0, 1, 0), osg::Vec4f(0, 1, 0, 0)), 1e-5f) << "from the side";
    EXPECT_LE(deviation(osg::Vec4f(0, 1, 0, 0), osg::Vec4f(0, 0, 1, 0)), 1e-5f) << "along x";
    EXPECT_LE(deviation(osg::Vec4f(-1, 0, 0, 0), osg::Vec4f(0, 1, 0, 0)), 1e-5f) << "mirrored in s";
    EXPECT_LE(deviation(osg::Vec4f(1, 0, 0, 0), osg::Vec4f(0, -1, 0, 0)), 1e-5f) << "mirrored in t";
    EXPECT_LE(deviation(osg::Vec4f(-1, 0, 0, 0), osg::Vec4f(0, -1, 0, 0)), 1e-5f) << "half a turn";
}

// The third axis, (s.y - s.z, 0, s.x), is at right angles to s where s.x s.y = 0, and then to t, itself at
// right angles to s, in these two families.
RC_GTEST_FIXTURE_PROP(ExportPlacement, withSInTheXZPlaneAndTAlongYItIsExact, ())
{
    const double angle = *rc::gen::inRange(-180, 180) * 3.14159265358979 / 180;
    const float lengthS = static_cast<float>(*rc::gen::inRange(1, 50)) / 10;
    const float lengthT =
        static_cast<float>(*rc::gen::inRange(1, 50)) / (*rc::gen::arbitrary<bool>() ? 10 : -10);
    const float offsetS = static_cast<float>(*rc::gen::inRange(-30, 30)) / 10;
    const float offsetT = static_cast<float>(*rc::gen::inRange(-30, 30)) / 10;
    const osg::Vec4f s(lengthS * static_cast<float>(std::cos(angle)), 0,
                       lengthS * static_cast<float>(std::sin(angle)), offsetS);
    RC_ASSERT(deviation(s, osg::Vec4f(0, lengthT, 0, offsetT)) <= 1e-5f);
}

RC_GTEST_FIXTURE_PROP(ExportPlacement, withBothInTheYZPlaneItIsExact, ())
{
    const int degrees = *rc::gen::inRange(-180, 180);
    RC_PRE(degrees != 45 && degrees != -135); // s.y = s.z: there is no third axis
    const double angle = degrees * 3.14159265358979 / 180;
    const float y = static_cast<float>(std::cos(angle));
    const float z = static_cast<float>(std::sin(angle));
    const float lengthS = static_cast<float>(*rc::gen::inRange(5, 50)) / 10;
    const float lengthT =
        static_cast<float>(*rc::gen::inRange(5, 50)) / (*rc::gen::arbitrary<bool>() ? 10 : -10);
    const float offsetS = static_cast<float>(*rc::gen::inRange(-30, 30)) / 10;
    const float offsetT = static_cast<float>(*rc::gen::inRange(-30, 30)) / 10;
    RC_ASSERT(deviation(osg::Vec4f(0, lengthS * y, lengthS * z, offsetS),
                        osg::Vec4f(0, -lengthT * z, lengthT * y, offsetT)) <= 1e-5f);
}

TEST_F(ExportPlacement, elsewhereThePrescribedThirdAxisBendsIt)
{
    // A texture that lies on the floor, with s along x and t along z: the third axis is t's own. No inverse
    // exists, and the placement is half the identity.
    const Planes floor = exported(osg::Vec4f(1, 0, 0, 0), osg::Vec4f(0, 0, 1, 0));
    EXPECT_EQ(osg::Vec4f(1, 0, 0, 0.5f), floor.s);
    EXPECT_EQ(osg::Vec4f(0, 1, 0, 0.5f), floor.t);

    // One that is turned about z by 30 degrees: the third axis is (0.5, 0, 0.87).
    const float c = std::sqrt(0.75f);
    EXPECT_NEAR(0.2063f, deviation(osg::Vec4f(c, 0.5f, 0, 0), osg::Vec4f(-0.5f, c, 0, 0)), 0.001f);

    // One that is oblique: s and t are not at right angles, so no placement has them both.
    EXPECT_NEAR(0.5f, deviation(osg::Vec4f(0, 1, 0, 0), osg::Vec4f(0, 1, 1, 0)), 0.001f);

    // s.y = s.z in the yz plane: no third axis, and again the identity.
    EXPECT_EQ(osg::Vec4f(1, 0, 0, 0.5f), exported(osg::Vec4f(0, 1, 1, 0), osg::Vec4f(0, -1, 1, 0)).s);
}
} // namespace
