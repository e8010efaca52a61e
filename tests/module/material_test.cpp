// Material import: one shading group to one material, with the textures of its colour network.

#include "LoaderTest.h"

#include <OpenSG/OSGBlendChunk.h>
#include <OpenSG/OSGChunkMaterial.h>
#include <OpenSG/OSGFieldContainerFactory.h>
#include <OpenSG/OSGGL.h>
#include <OpenSG/OSGMaterialChunk.h>
#include <OpenSG/OSGMaterialGroup.h>
#include <OpenSG/OSGSceneFileHandler.h>
#include <OpenSG/OSGSimpleGeometry.h>
#include <OpenSG/OSGTextureChunk.h>
#include <OpenSG/OSGTextureTransformChunk.h>
#include <kelda/KDagPath.h>
#include <kelda/KFileIO.h>
#include <kelda/KFloatArray.h>
#include <kelda/KFnSet.h>
#include <kelda/KGlobal.h>
#include <kelda/KPlugArray.h>
#include <kelda/testing/KFaults.h>
#include <zyOpenSGUtils/zyImage.h>
#include <zyOpenSGUtils/zyMaterials.h>
#include <zyUtils/zyFile.h>

#include <dlfcn.h>
#include <filesystem>

// -- a group with two surface shaders --------------------------------------------------------------

// The embedded kernel lets an attribute have one source. Modellers that let it have more are played here: the
// module's calls come by this function, and while `doubled` is set each connection is told twice.
static bool doubled = false;

bool KPlug::connectedTo(KPlugArray& plugs, bool asDestination, bool asSource, KStatus* status) const
{
    typedef bool (*Original)(const KPlug*, KPlugArray&, bool, bool, KStatus*);
    static const Original original =
        reinterpret_cast<Original>(::dlsym(RTLD_NEXT, "_ZNK5KPlug11connectedToER10KPlugArraybbP7KStatus"));
    const bool result = original(this, plugs, asDestination, asSource, status);
    const unsigned count = plugs.length();
    for (unsigned i = 0; doubled && i < count; ++i)
        plugs.append(KPlug(plugs[i]));
    return result;
}

// -- textures that are told of a change ------------------------------------------------------------

// What a chunk is told leaves no trace in a new one. The calls come by here and are counted.
static int wholeImagesChanged = 0;

void osg::TextureChunk::imageContentChanged(Int32 minX, Int32 maxX, Int32 minY, Int32 maxY, Int32 minZ,
                                            Int32 maxZ)
{
    typedef void (*Original)(TextureChunk*, Int32, Int32, Int32, Int32, Int32, Int32);
    static const Original original =
        reinterpret_cast<Original>(::dlsym(RTLD_NEXT, "_ZN3osg12TextureChunk19imageContentChangedEiiiiii"));
    original(this, minX, maxX, minY, maxY, minZ, maxZ);
    if (minX == -1 && maxX == -1 && minY == -1 && maxY == -1 && minZ == -1 && maxZ == -1)
        ++wholeImagesChanged;
}

// -- hosts that take the alpha away from a copy ----------------------------------------------------

// The embedded host changes the image itself. While `alphaLeavesACopy` is set, the module gets a new one.
static bool alphaLeavesACopy = false;

osg::ImagePtr zyImage::removeAlpha(const osg::ImagePtr& image)
{
    typedef osg::ImagePtr (*Original)(const osg::ImagePtr&);
    static const Original original = reinterpret_cast<Original>(
        ::dlsym(RTLD_NEXT, "_ZN7zyImage11removeAlphaERKN3osg5FCPtrINS1_INS0_17FieldContainerPtrENS0_"
                           "19AttachmentContainerEEENS0_5ImageEEE"));
    if (!alphaLeavesACopy)
        return original(image);
    return original(osg::ImagePtr::dcast(image->shallowCopy()));
}

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

typedef std::vector<osg::UInt8> Bytes;

class Material : public LoaderTest
{
protected:
    Material()
    {
        wholeImagesChanged = 0;
        use("");
    }
    ~Material() override
    {
        doubled = false;
        alphaLeavesACopy = false;
        for (osg::MaterialPtr& material : _held)
            osg::subRefCP(material);
    }

    /// A loader of the scene "scene.ka" in the test's folder.
    void use(const std::string& options)
    {
        _loader.reset(new zyKeldaLoaderTestAccess(inFolder("scene.ka"), options));
    }
    zyKeldaLoaderTestAccess& loader() { return *_loader; }

    osg::MaterialPtr hold(osg::MaterialPtr material)
    {
        osg::addRefCP(material);
        _held.push_back(material);
        return material;
    }
    osg::MaterialPtr convert(const std::string& group)
    {
        return hold(loader().getOSGMaterial(KDagPath(), nodeOf(group)));
    }
    osg::ChunkMaterialPtr chunksOf(const std::string& group)
    {
        return osg::ChunkMaterialPtr::dcast(convert(group));
    }

    /// A textured lambert "paint" with a file texture "picture" that shows "picture.png" beside the scene.
    void makeTextured(osg::Image::PixelFormat format = osg::Image::OSG_RGB_PF,
                      const Bytes& bytes = {10, 20, 30, 40, 50, 60})
    {
        makeShader("lambert", "paint");
        writeImage(inFolder("picture.png"), format, bytes);
        makeFile("picture", inFolder("picture.png"));
        run("connectAttr picture.outColor paint.color");
    }
    /// A lambert "paint" whose colour is mixed of file textures, each bound to a UV set of its own with the
    /// index given. They are found in this order.
    void makeLayered(const std::vector<std::pair<const char*, unsigned>>& layers,
                     osg::Image::PixelFormat format = osg::Image::OSG_RGB_PF,
                     const Bytes& bytes = {30, 60, 90})
    {
        makeShader("lambert", "paint");
        run("createNode lambert -name mixed");
        run("connectAttr mixed.outColor paint.color");
        static const char* const inputs[] = {"color", "ambientColor", "incandescence"};
        ASSERT_LE(layers.size(), 3u);
        for (std::size_t i = 0; i < layers.size(); ++i) {
            const std::string name = layers[i].first;
            writeImage(inFolder(name + ".png"), format, bytes);
            makeFile(name, inFolder(name + ".png"));
            run("connectAttr " + name + ".outColor mixed." + inputs[i]);
            bindToSet(name, layers[i].second);
        }
    }
    /// Links a file texture to a UV set of its own that has the index.
    void bindToSet(const std::string& file, unsigned index)
    {
        const std::string set = "setOf_" + file;
        makeQuad((set + "Shape").c_str(), makeTransform(set.c_str()));
        KFnMesh(pathOf(set + "Shape")).createUVSet(set.c_str());
        loader().uvSetIndices()[set] = index;
        chooseUVs(file, set + "Shape.uvSets[1].uvSetName");
    }
    /// Puts a UV chooser and a 2D placement in front of a file texture.
    void chooseUVs(const std::string& file, const std::string& nameOfSet)
    {
        run("createNode place2dTexture -name \"placed_" + file + "\"");
        run("createNode uvChooser -name \"uvsOf_" + file + "\"");
        run("connectAttr \"placed_" + file + ".outUV\" \"" + file + ".uvCoord\"");
        run("connectAttr \"uvsOf_" + file + ".outUV\" \"placed_" + file + ".uvCoord\"");
        run("connectAttr \"" + nameOfSet + "\" \"uvsOf_" + file + ".uvSets[0]\"");
    }

    static std::vector<std::string> typesOf(const osg::ChunkMaterialPtr& material)
    {
        std::vector<std::string> types;
        for (osg::UInt32 i = 0; i < material->getChunks().size(); ++i)
            types.push_back(material->getChunks(i)->getType().getCName());
        return types;
    }
    template <class Chunk>
    static auto find(const osg::ChunkMaterialPtr& material, int slot = -2) -> decltype(Chunk::create())
    {
        return decltype(Chunk::create())::dcast(material->find(Chunk::getClassType(), slot));
    }
    static osg::MaterialChunkPtr colors(const osg::ChunkMaterialPtr& material)
    {
        return find<osg::MaterialChunk>(material);
    }
    /// The n-th texture of a material, in the order of its chunks.
    static osg::TextureChunkPtr texture(const osg::ChunkMaterialPtr& material, int n)
    {
        return find<osg::TextureChunk>(material, n);
    }
    static std::vector<std::string> filesOf(const osg::ChunkMaterialPtr& material)
    {
        std::vector<std::string> names;
        for (int n = 0; texture(material, n) != osg::NullFC; ++n)
            names.push_back(zyFile::getBaseName(texture(material, n)->getImage()->getName()));
        return names;
    }
    static void expectBlend(const osg::ChunkMaterialPtr& material, osg::UInt32 source,
                            osg::UInt32 destination)
    {
        const osg::BlendChunkPtr blend = find<osg::BlendChunk>(material);
        ASSERT_TRUE(blend != osg::NullFC);
        EXPECT_EQ(source, blend->getSrcFactor());
        EXPECT_EQ(destination, blend->getDestFactor());
    }

private:
    std::unique_ptr<zyKeldaLoaderTestAccess> _loader;
    std::vector<osg::MaterialPtr> _held;
};

void setColor(const KObject& node, const std::string& attribute, double r, double g, double b)
{
    setNumber(node, (attribute + "R").c_str(), r);
    setNumber(node, (attribute + "G").c_str(), g);
    setNumber(node, (attribute + "B").c_str(), b);
}

// -- finding the shader ----------------------------------------------------------------------------

TEST_F(Material, theSurfaceShaderOfAGroupIsFound)
{
    const KObject shader = makeShader("phong", "paint");
    EXPECT_TRUE(shader == loader().findShader(nodeOf("paintSG")));
    EXPECT_THAT(messages, IsEmpty());
}

TEST_F(Material, aGroupWithoutAShaderIsReportedByNameAndGetsTheDefaultMaterial)
{
    run("sets -renderable true -noSurfaceShader true -empty -name \"bareSG\"");
    EXPECT_TRUE(convert("bareSG") == osg::getDefaultMaterial());
    EXPECT_THAT(said("sdk"), ElementsAre("bareSG: couldn't find surface shader"));
    EXPECT_EQ(1u, messages.size());
    EXPECT_THAT(loader().libraryMaterials(), IsEmpty());
}

TEST_F(Material, twoSurfaceShadersOnOneGroupAreReportedByItsNameAndGiveTheDefaultMaterial)
{
    makeShader("lambert", "paint");
    doubled = true;
    EXPECT_TRUE(convert("paintSG") == osg::getDefaultMaterial());
    EXPECT_THAT(said("sdk"), ElementsAre("paintSG: couldn't find surface shader"));
}

TEST_F(Material, unreadableConnectionsAreReportedAndGiveTheDefaultMaterial)
{
    makeShader("lambert", "paint");
    KFaults::failCall("KPlug::connectedTo");
    EXPECT_TRUE(convert("paintSG") == osg::getDefaultMaterial());
    EXPECT_THAT(said("sdk"), ElementsAre("KPlug::connectedTo"));
}

TEST_F(Material, anObjectWithoutTheShaderPlugGetsTheDefaultMaterialSilently)
{
    makeQuad("quadShape", makeTransform("quad"));
    EXPECT_TRUE(loader().findShader(nodeOf("quadShape")).isNull());
    EXPECT_TRUE(convert("quadShape") == osg::getDefaultMaterial());
    EXPECT_TRUE(loader().findShader(KObject::kNullObj).isNull());
    EXPECT_THAT(messages, IsEmpty());
}

TEST_F(Material, aShaderThatIsNotBasedOnLambertGivesTheDefaultMaterialSilently)
{
    makeFile("picture", "");
    run("sets -renderable true -noSurfaceShader true -empty -name \"flatSG\"");
    run("connectAttr picture.outColor flatSG.surfaceShader");
    EXPECT_TRUE(convert("flatSG") == osg::getDefaultMaterial());
    EXPECT_THAT(messages, IsEmpty());
    EXPECT_THAT(loader().libraryMaterials(), IsEmpty());
}

// -- cache and library -----------------------------------------------------------------------------

TEST_F(Material, isNamedAfterTheShaderAndKeptByItsName)
{
    makeShader("lambert", "paint");
    const osg::MaterialPtr material = convert("paintSG");
    EXPECT_EQ("paint", zyMaterials::getName(material));
    EXPECT_TRUE(loader().libraryMaterials()["paint"] == material);
    EXPECT_TRUE(convert("paintSG") == material) << "the second shape gets the same one";
}

TEST_F(Material, twoGroupsOfOneShaderShareItsMaterial)
{
    makeShader("lambert", "paint");
    run("sets -renderable true -noSurfaceShader true -empty -name \"otherSG\"");
    run("connectAttr paint.outColor otherSG.surfaceShader");
    EXPECT_TRUE(convert("paintSG") == convert("otherSG"));
}

TEST_F(Material, twoShadersOfOneNameShareTheFirstOnesMaterial)
{
    setColor(makeShader("lambert", "paint"), "color", 1, 0, 0);
    const osg::MaterialPtr first = convert("paintSG");
    run("rename paint former");
    run("rename paintSG formerSG");
    setColor(makeShader("phong", "paint"), "color", 0, 1, 0);
    EXPECT_TRUE(convert("paintSG") == first);
}

TEST_F(Material, aLibraryMaterialOfTheShadersNameTakesItsPlaceUnchanged)
{
    use("shadowGeometry=true");
    makeTextured();
    const osg::ChunkMaterialPtr own = osg::ChunkMaterial::create();
    loader().libraryMaterials()["paint"] = hold(own);
    EXPECT_TRUE(convert("paintSG") == own);
    EXPECT_EQ(0u, own->getChunks().size()) << "not turned into a shadow material either";
}

// -- values of the shaders -------------------------------------------------------------------------

TEST_F(Material, aLambertGivesItsColoursAndNoHighlight)
{
    const KObject shader = makeShader("lambert", "paint");
    setColor(shader, "color", 0.5, 1, 0.25);
    setNumber(shader, "diffuse", 0.5);
    setColor(shader, "ambientColor", 0.1, 0.2, 0.3);
    setColor(shader, "incandescence", 0.4, 0.5, 0.6);
    const osg::ChunkMaterialPtr material = chunksOf("paintSG");
    ASSERT_THAT(typesOf(material), ElementsAre("MaterialChunk"));
    EXPECT_EQ(osg::Color4f(0.1f, 0.2f, 0.3f, 1), colors(material)->getAmbient());
    EXPECT_EQ(osg::Color4f(0.25f, 0.5f, 0.125f, 1), colors(material)->getDiffuse());
    EXPECT_EQ(osg::Color4f(0, 0, 0, 1), colors(material)->getSpecular());
    EXPECT_EQ(osg::Color4f(0.4f, 0.5f, 0.6f, 1), colors(material)->getEmission());
    EXPECT_EQ(0.0f, colors(material)->getShininess());
    EXPECT_THAT(messages, IsEmpty());
}

TEST_F(Material, aPhongGivesItsSpecularColourAndCosinePower)
{
    const KObject shader = makeShader("phong", "paint");
    setColor(shader, "specularColor", 0.1, 0.2, 0.3);
    setNumber(shader, "cosinePower", 200);
    const osg::ChunkMaterialPtr material = chunksOf("paintSG");
    EXPECT_EQ(osg::Color4f(0.1f, 0.2f, 0.3f, 1), colors(material)->getSpecular());
    EXPECT_EQ(200.0f, colors(material)->getShininess()) << "not clamped";
}

TEST_F(Material, theEccentricityOfABlinnBecomesAShininess)
{
    const struct {
        double eccentricity;
        float shininess;
    } cases[] = {{0, 100}, {0.3, 70.6f}, {1, 2}, {1.5, -47}};
    int number = 0;
    for (const auto& c : cases) {
        const std::string name = "paint" + std::to_string(++number);
        const KObject shader = makeShader("blinn", name);
        setNumber(shader, "eccentricity", c.eccentricity);
        setColor(shader, "specularColor", 1, 0.5, 0);
        const osg::ChunkMaterialPtr material = chunksOf(name + "SG");
        EXPECT_NEAR(c.shininess, colors(material)->getShininess(), 1e-4) << c.eccentricity;
        EXPECT_EQ(osg::Color4f(1, 0.5f, 0, 1), colors(material)->getSpecular());
    }
}

TEST_F(Material, transparencyBecomesTheAlphaOfAllColoursAndABlendChunk)
{
    setColor(makeShader("phong", "glass"), "transparency", 0.5, 0.5, 0.5);
    const osg::ChunkMaterialPtr material = chunksOf("glassSG");
    ASSERT_THAT(typesOf(material), ElementsAre("MaterialChunk", "BlendChunk"));
    EXPECT_FLOAT_EQ(0.5f, colors(material)->getAmbient()[3]);
    EXPECT_FLOAT_EQ(0.5f, colors(material)->getDiffuse()[3]);
    EXPECT_FLOAT_EQ(0.5f, colors(material)->getSpecular()[3]);
    EXPECT_FLOAT_EQ(0.5f, colors(material)->getEmission()[3]);
    expectBlend(material, GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
}

TEST_F(Material, theOpacityIsThatOfTheMeanOfTheThreeTransparencies)
{
    setColor(makeShader("lambert", "glass"), "transparency", 0.3, 0.6, 0);
    EXPECT_FLOAT_EQ(0.7f, colors(chunksOf("glassSG"))->getDiffuse()[3]);
}

TEST_F(Material, withoutTransparencyThereIsNoBlendChunk)
{
    makeShader("lambert", "paint");
    EXPECT_THAT(typesOf(chunksOf("paintSG")), ElementsAre("MaterialChunk"));
    setColor(makeShader("lambert", "glow"), "transparency", -1, 0, 0);
    const osg::ChunkMaterialPtr glow = chunksOf("glowSG");
    EXPECT_THAT(typesOf(glow), ElementsAre("MaterialChunk")) << "more than opaque";
    EXPECT_FLOAT_EQ(4.0f / 3.0f, colors(glow)->getDiffuse()[3]);
}

// -- meshes ----------------------------------------------------------------------------------------

TEST_F(Material, eachShadingGroupOfAMeshBringsItsOwn)
{
    makeShader("lambert", "red");
    makeShader("phong", "blue");
    makeStrip("stripShape", makeTransform("strip"), 3);
    assign("stripShape", "redSG", 0, 0);
    assign("stripShape", "blueSG", 1, 2);
    const ScopedGraph group(loader().convertMesh(pathOf("stripShape")));
    ASSERT_EQ(2u, group.get()->getNChildren());
    EXPECT_EQ("red", zyMaterials::getName(geometryOf(group.get()->getChild(0))->getMaterial()));
    EXPECT_EQ("blue", zyMaterials::getName(geometryOf(group.get()->getChild(1))->getMaterial()));
}

TEST_F(Material, meshesWithOneShaderShareIt)
{
    makeQuad("aShape", makeTransform("a"));
    makeQuad("bShape", makeTransform("b"));
    const ScopedGraph a(loader().convertMesh(pathOf("aShape")));
    const ScopedGraph b(loader().convertMesh(pathOf("bShape")));
    EXPECT_EQ("lambert1", zyMaterials::getName(geometryOf(a.get())->getMaterial()));
    EXPECT_TRUE(geometryOf(a.get())->getMaterial() == geometryOf(b.get())->getMaterial());
}

// -- colour networks -------------------------------------------------------------------------------

TEST_F(Material, aColourPlugThatCannotBeFoundIsReportedAndTheRestIsKept)
{
    use("shadowGeometry=true");
    makeTextured();
    KFaults::failCall("KFnDependencyNode::findPlug", 2);
    osg::ChunkMaterialPtr material;
    const Printed printed = printedBy([&] { material = chunksOf("paintSG"); });
    EXPECT_EQ("KFnDependencyNode::findPlug(color)\n", printed.err);
    EXPECT_EQ("", printed.out);
    EXPECT_THAT(typesOf(material), ElementsAre("MaterialChunk", "BlendChunk")) << "still a shadow material";
}

TEST_F(Material, aColourWithoutAConnectionHasNoTexture)
{
    makeShader("lambert", "paint");
    makeFile("picture", "");
    run("connectAttr picture.outAlpha paint.colorR"); // a component of it, not the colour
    EXPECT_THAT(typesOf(chunksOf("paintSG")), ElementsAre("MaterialChunk"));
    EXPECT_THAT(messages, IsEmpty());
}

TEST_F(Material, aFileTextureBecomesATextureChunkThatModulates)
{
    makeTextured();
    const osg::ChunkMaterialPtr material = chunksOf("paintSG");
    ASSERT_THAT(typesOf(material), ElementsAre("MaterialChunk", "TextureChunk"));
    EXPECT_EQ(osg::UInt32(GL_MODULATE), texture(material, 0)->getEnvMode());
    const osg::ImagePtr image = texture(material, 0)->getImage();
    EXPECT_EQ(osg::UInt32(osg::Image::OSG_RGB_PF), image->getPixelFormat());
    EXPECT_EQ((Bytes{10, 20, 30, 40, 50, 60}), bytesOf(image));
    EXPECT_TRUE(std::filesystem::equivalent(inFolder("picture.png"), image->getName()));
    EXPECT_EQ(0u, material->getSlots().size()) << "the scene graph deals out the units";
    EXPECT_THAT(messages, IsEmpty()) << "a plain texture has no projection to complain about";
}

TEST_F(Material, fileTexturesAreFoundThroughAnyNetwork)
{
    makeShader("lambert", "paint");
    writeImage(inFolder("deep.png"), osg::Image::OSG_L_PF, {7});
    makeFile("deep", inFolder("deep.png"));
    std::string before = "paint.color";
    for (const char* name : {"p1", "p2", "p3"}) {
        run(std::string("createNode projection -name \"") + name + "\"");
        run(std::string("setAttr \"") + name + ".projType\" 1");
        run(std::string("connectAttr ") + name + ".outColor " + before);
        before = std::string(name) + ".defaultColor";
    }
    run("connectAttr deep.outColor " + before);
    EXPECT_THAT(filesOf(chunksOf("paintSG")), ElementsAre("deep"));
}

TEST_F(Material, nearFileTexturesAreFoundBeforeFarOnes)
{
    makeLayered({{"near", 0}, {"unused", 1}});
    run("disconnectAttr unused.outColor mixed.ambientColor");
    writeImage(inFolder("far.png"), osg::Image::OSG_L_PF, {7});
    makeFile("far", inFolder("far.png"));
    run("createNode projection -name beam");
    run("connectAttr far.outColor beam.image");
    // The far one on the input that is connected first, the near one on the next.
    run("disconnectAttr near.outColor mixed.color");
    run("connectAttr beam.outColor mixed.color");
    run("connectAttr near.outColor mixed.ambientColor");
    EXPECT_THAT(filesOf(chunksOf("paintSG")), ElementsAre("near", "far"));
}

TEST_F(Material, fileTexturesBehindAFileTextureAreFoundToo)
{
    makeTextured();
    writeImage(inFolder("dirt.png"), osg::Image::OSG_L_PF, {7});
    makeFile("dirt", inFolder("dirt.png"));
    run("connectAttr dirt.outColor picture.colorGain");
    setColor(nodeOf("dirt"), "colorGain", 0.25, 0.5, 0.75);
    const osg::ChunkMaterialPtr material = chunksOf("paintSG");
    EXPECT_THAT(filesOf(material), ElementsAre("picture", "dirt"));
    EXPECT_EQ(osg::Color4f(0.25f, 0.5f, 0.75f, 1), colors(material)->getDiffuse()) << "the farther one's";
}

TEST_F(Material, trailingBlanksOfAFileNameDoNotCount)
{
    makeShader("lambert", "paint");
    writeImage(inFolder("picture.png"), osg::Image::OSG_L_PF, {7});
    makeFile("picture", inFolder("picture.png") + "   ");
    run("connectAttr picture.outColor paint.color");
    EXPECT_THAT(filesOf(chunksOf("paintSG")), ElementsAre("picture"));
}

TEST_F(Material, theColourGainOfATextureTakesThePlaceOfTheShadersColour)
{
    makeTextured();
    setColor(nodeOf("picture"), "colorGain", 0.25, 0.5, 0.75);
    setColor(nodeOf("paint"), "transparency", 0.5, 0.5, 0.5);
    const osg::ChunkMaterialPtr material = chunksOf("paintSG");
    EXPECT_EQ(osg::Color4f(0.25f, 0.5f, 0.75f, 0.5f), colors(material)->getDiffuse());
}

TEST_F(Material, ofSeveralGainsThatOfTheLastTextureVisitedCounts)
{
    makeLayered({{"first", 1}, {"second", 0}});
    setColor(nodeOf("first"), "colorGain", 1, 0, 0);
    setColor(nodeOf("second"), "colorGain", 0, 0, 1);
    EXPECT_EQ(osg::Color4f(0, 0, 1, 1), colors(chunksOf("paintSG"))->getDiffuse());
}

TEST_F(Material, aTextureWhoseFileNameCannotBeReadIsLeftOutSilently)
{
    makeTextured();
    KFaults::failCall("KPlug::getValue");
    EXPECT_THAT(typesOf(chunksOf("paintSG")), ElementsAre("MaterialChunk"));
    EXPECT_THAT(messages, IsEmpty());
}

TEST_F(Material, aGainThatCannotBeReadLeavesTheShadersColour)
{
    makeTextured();
    setColor(nodeOf("paint"), "color", 1, 1, 1);
    setNumber(nodeOf("paint"), "diffuse", 0.5);
    KFaults::failCall("KPlug::getValue", 3); // the file name is the first
    const osg::ChunkMaterialPtr material = chunksOf("paintSG");
    EXPECT_EQ(osg::Color4f(0.5f, 0.5f, 0.5f, 1), colors(material)->getDiffuse());
    EXPECT_THAT(filesOf(material), ElementsAre("picture"));
}

TEST_F(Material, aNetworkThatCannotBeWalkedLeavesTheMaterialWithoutTextures)
{
    makeTextured();
    KFaults::failCall("KItDependencyGraph::KItDependencyGraph", 1, 100);
    EXPECT_THAT(typesOf(chunksOf("paintSG")), ElementsAre("MaterialChunk"));
    EXPECT_THAT(messages, IsEmpty());
}

// -- UV sets ---------------------------------------------------------------------------------------

TEST_F(Material, texturesComeInTheOrderOfTheirTextureCoordinates)
{
    makeLayered({{"second", 2}, {"zeroth", 0}, {"first", 1}});
    EXPECT_THAT(filesOf(chunksOf("paintSG")), ElementsAre("zeroth", "first", "second"));
}

TEST_F(Material, texturesOfOneIndexComeInTheOrderInWhichTheyAreFound)
{
    makeLayered({{"c", 1}, {"a", 1}, {"b", 1}});
    EXPECT_THAT(filesOf(chunksOf("paintSG")), ElementsAre("c", "a", "b"));
}

TEST_F(Material, aUVSetThatNoMeshHasListedCountsAsTheFirst)
{
    makeLayered({{"first", 1}, {"zeroth", 0}});
    loader().uvSetIndices().clear();
    EXPECT_THAT(filesOf(chunksOf("paintSG")), ElementsAre("first", "zeroth"));
    EXPECT_EQ(1u, loader().uvSetIndices().count("setOf_first")) << "it is known from then on";
    EXPECT_EQ(0u, loader().uvSetIndices()["setOf_first"]);
}

TEST_F(Material, aTextureWithoutAUVChooserIsOnTheFirstSet)
{
    makeLayered({{"first", 1}, {"second", 2}});
    run("disconnectAttr placed_second.outUV second.uvCoord");
    EXPECT_THAT(filesOf(chunksOf("paintSG")), ElementsAre("second", "first"));
}

TEST_F(Material, aUVChooserWithoutElementsOrConnectionsChoosesTheFirst)
{
    makeLayered({{"a", 1}, {"empty", 2}, {"typed", 3}});
    loader().uvSetIndices()["typed"] = 7;
    run("disconnectAttr setOf_emptyShape.uvSets[1].uvSetName uvsOf_empty.uvSets[0]");
    run("disconnectAttr setOf_typedShape.uvSets[1].uvSetName uvsOf_typed.uvSets[0]");
    run("setAttr \"uvsOf_typed.uvSets[0]\" \"typed\"");
    EXPECT_THAT(filesOf(chunksOf("paintSG")), ElementsAre("empty", "typed", "a"));
}

TEST_F(Material, onlyTheFirstElementOfAUVChooserCounts)
{
    makeLayered({{"a", 0}, {"b", 1}});
    makeQuad("farShape", makeTransform("far"));
    KFnMesh(pathOf("farShape")).createUVSet("farSet");
    loader().uvSetIndices()["farSet"] = 2;
    run("connectAttr \"farShape.uvSets[1].uvSetName\" \"uvsOf_a.uvSets[1]\"");
    EXPECT_THAT(filesOf(chunksOf("paintSG")), ElementsAre("a", "b"));
}

TEST_F(Material, aUVSetNameBehindAChooserCountsLikeOneInFrontOfIt)
{
    makeLayered({{"a", 1}, {"b", 2}});
    loader().uvSetIndices()["typed"] = 2;
    run("disconnectAttr setOf_bShape.uvSets[1].uvSetName uvsOf_b.uvSets[0]");
    run("createNode uvChooser -name \"behind\"");
    run("setAttr \"behind.uvSets[0]\" \"typed\"");
    run("connectAttr \"uvsOf_b.uvSets[0]\" \"behind.uvSets[0]\"");
    EXPECT_THAT(filesOf(chunksOf("paintSG")), ElementsAre("a", "b"));
}

TEST_F(Material, ofSeveralUVChoosersTheLastOneReadWins)
{
    makeLayered({{"picture", 0}, {"second", 1}});
    // One more chooser behind the one of "picture".
    makeQuad("farShape", makeTransform("far"));
    KFnMesh(pathOf("farShape")).createUVSet("farSet");
    loader().uvSetIndices()["farSet"] = 2;
    run("createNode uvChooser -name \"farUVs\"");
    run("connectAttr farUVs.outUV placed_picture.offset");
    run("connectAttr \"farShape.uvSets[1].uvSetName\" \"farUVs.uvSets[0]\"");
    EXPECT_THAT(filesOf(chunksOf("paintSG")), ElementsAre("second", "picture"));
}

TEST_F(Material, aUVSetNameThatCannotBeReadLeavesTheTextureOnTheFirstSet)
{
    makeLayered({{"first", 1}, {"zeroth", 0}});
    KFaults::failCall("KPlug::getValue");
    EXPECT_THAT(filesOf(chunksOf("paintSG")), ElementsAre("first", "zeroth"));
    EXPECT_THAT(messages, IsEmpty());
}

TEST_F(Material, theUVSetsOfImportedMeshesDecideTheOrder)
{
    makeLayered({{"second", 0}, {"first", 0}});
    loader().uvSetIndices().clear();
    makeStrip("meshShape", makeTransform("mesh"), 1);
    KFnMesh mesh(pathOf("meshShape"));
    mesh.createUVSet("map1");
    mesh.createUVSet("setOf_first");
    mesh.createUVSet("setOf_second");
    assignWhole("meshShape", "paintSG");
    const ScopedGraph graph(loader().convertMesh(pathOf("meshShape")));
    const osg::GeometryPtr geometry = geometryOf(graph.get());
    ASSERT_TRUE(geometry != osg::NullFC);
    EXPECT_THAT(filesOf(osg::ChunkMaterialPtr::dcast(geometry->getMaterial())),
                ElementsAre("first", "second"));
}

// -- texture environments --------------------------------------------------------------------------

const char combiner[] = "multitextureEnvCombiner=true";
const char inColour[] = "forceGrayscaleShadowTexture=false";

void expectModulate(const osg::TextureChunkPtr& chunk)
{
    ASSERT_TRUE(chunk != osg::NullFC);
    EXPECT_EQ(osg::UInt32(GL_MODULATE), chunk->getEnvMode());
}

void expectFirstOfCombined(const osg::TextureChunkPtr& chunk)
{
    ASSERT_TRUE(chunk != osg::NullFC);
    EXPECT_EQ(osg::UInt32(GL_COMBINE), chunk->getEnvMode());
    EXPECT_EQ(osg::UInt32(GL_MODULATE), chunk->getEnvCombineRGB());
    EXPECT_EQ(osg::UInt32(GL_PRIMARY_COLOR), chunk->getEnvSource0RGB());
    EXPECT_EQ(osg::UInt32(GL_TEXTURE), chunk->getEnvSource1RGB());
    EXPECT_EQ(osg::UInt32(GL_SRC_COLOR), chunk->getEnvOperand0RGB());
    EXPECT_EQ(osg::UInt32(GL_SRC_COLOR), chunk->getEnvOperand1RGB());
}

void expectLaterOfCombined(const osg::TextureChunkPtr& chunk)
{
    ASSERT_TRUE(chunk != osg::NullFC);
    EXPECT_EQ(osg::UInt32(GL_COMBINE), chunk->getEnvMode());
    EXPECT_EQ(osg::UInt32(GL_INTERPOLATE), chunk->getEnvCombineRGB());
    EXPECT_EQ(osg::UInt32(GL_PREVIOUS), chunk->getEnvSource0RGB());
    EXPECT_EQ(osg::UInt32(GL_TEXTURE), chunk->getEnvSource1RGB());
    EXPECT_EQ(osg::UInt32(GL_TEXTURE), chunk->getEnvSource2RGB());
    EXPECT_EQ(osg::UInt32(GL_SRC_COLOR), chunk->getEnvOperand0RGB());
    EXPECT_EQ(osg::UInt32(GL_SRC_COLOR), chunk->getEnvOperand1RGB());
    EXPECT_EQ(osg::UInt32(GL_ONE_MINUS_SRC_ALPHA), chunk->getEnvOperand2RGB())
        << "the weight of what is below";
}

TEST_F(Material, withTheCombinerASingleTextureModulatesAllTheSame)
{
    use(combiner);
    makeTextured();
    expectModulate(texture(chunksOf("paintSG"), 0));
}

TEST_F(Material, withoutTheCombinerLaterTexturesModulateInGrey)
{
    makeLayered({{"a", 0}, {"b", 1}, {"c", 2}});
    const osg::ChunkMaterialPtr material = chunksOf("paintSG");
    ASSERT_THAT(typesOf(material), ElementsAre("MaterialChunk", "TextureChunk", "TextureChunk",
                                               "TextureChunk", "TextureTransformChunk"));
    for (int n = 0; n < 3; ++n) {
        expectModulate(texture(material, n));
        const osg::ImagePtr image = texture(material, n)->getImage();
        if (n == 0)
            EXPECT_EQ((Bytes{30, 60, 90}), bytesOf(image));
        else
            EXPECT_EQ((Bytes{60}), bytesOf(image)) << "the mean";
        EXPECT_EQ(osg::UInt32(n == 0 ? osg::Image::OSG_RGB_PF : osg::Image::OSG_L_PF),
                  image->getPixelFormat());
    }
}

TEST_F(Material, withoutTheCombinerLaterTexturesLoseTheirAlphaAndMayKeepTheirColour)
{
    use(inColour);
    makeLayered({{"a", 0}, {"b", 1}}, osg::Image::OSG_RGBA_PF, {30, 60, 90, 128});
    const osg::ChunkMaterialPtr material = chunksOf("paintSG");
    expectModulate(texture(material, 1));
    EXPECT_EQ((Bytes{30, 60, 90, 128}), bytesOf(texture(material, 0)->getImage()));
    EXPECT_EQ((Bytes{30, 60, 90}), bytesOf(texture(material, 1)->getImage()));
    EXPECT_THAT(typesOf(material), ElementsAre("MaterialChunk", "TextureChunk", "BlendChunk", "TextureChunk",
                                               "TextureTransformChunk"));
}

TEST_F(Material, withoutTheCombinerLaterTexturesShowTheImageThatTheHostMakesWithoutAlpha)
{
    makeLayered({{"a", 0}, {"b", 1}}, osg::Image::OSG_RGBA_PF, {30, 60, 90, 128});
    alphaLeavesACopy = true;
    EXPECT_EQ((Bytes{60}), bytesOf(texture(chunksOf("paintSG"), 1)->getImage()));
}

TEST_F(Material, withTheCombinerLaterTexturesAreInterpolatedOverTheFirstByTheirGrey)
{
    use(combiner);
    makeLayered({{"c", 2}, {"a", 0}, {"b", 1}});
    const osg::ChunkMaterialPtr material = chunksOf("paintSG");
    ASSERT_THAT(filesOf(material), ElementsAre("a", "b", "c"));
    expectFirstOfCombined(texture(material, 0));
    EXPECT_EQ((Bytes{30, 60, 90}), bytesOf(texture(material, 0)->getImage()));
    for (int n = 1; n < 3; ++n) {
        expectLaterOfCombined(texture(material, n));
        EXPECT_EQ((Bytes{60, 60}), bytesOf(texture(material, n)->getImage()));
        EXPECT_EQ(osg::UInt32(osg::Image::OSG_LA_PF), texture(material, n)->getImage()->getPixelFormat());
    }
    EXPECT_THAT(typesOf(material), ElementsAre("MaterialChunk", "TextureChunk", "TextureChunk", "BlendChunk",
                                               "TextureChunk", "TextureTransformChunk"))
        << "the grey that became alpha brings the blend chunk, once";
}

TEST_F(Material, withTheCombinerLaterTexturesInColourAreLeftAsTheyAre)
{
    use(std::string(combiner) + ";" + inColour);
    makeLayered({{"a", 0}, {"b", 1}}, osg::Image::OSG_RGBA_PF, {30, 60, 90, 128});
    const osg::ChunkMaterialPtr material = chunksOf("paintSG");
    expectFirstOfCombined(texture(material, 0));
    expectLaterOfCombined(texture(material, 1));
    EXPECT_EQ((Bytes{30, 60, 90, 128}), bytesOf(texture(material, 1)->getImage()));
}

TEST_F(Material, twoTexturesOnUVSets1And0BeginWithTheOneOn0)
{
    use(combiner);
    makeLayered({{"upper", 1}, {"lower", 0}});
    const osg::ChunkMaterialPtr material = chunksOf("paintSG");
    ASSERT_THAT(filesOf(material), ElementsAre("lower", "upper"));
    expectFirstOfCombined(texture(material, 0));
    expectLaterOfCombined(texture(material, 1));
}

// -- alpha -----------------------------------------------------------------------------------------

TEST_F(Material, aTextureWithAlphaBringsABlendChunkBehindIt)
{
    makeTextured(osg::Image::OSG_RGBA_PF, {10, 20, 30, 128});
    const osg::ChunkMaterialPtr material = chunksOf("paintSG");
    EXPECT_THAT(typesOf(material), ElementsAre("MaterialChunk", "TextureChunk", "BlendChunk"));
    expectBlend(material, GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
}

TEST_F(Material, theBlendChunkOfATransparentShaderServesItsTexturesToo)
{
    makeTextured(osg::Image::OSG_LA_PF, {10, 128});
    setColor(nodeOf("paint"), "transparency", 0.5, 0.5, 0.5);
    EXPECT_THAT(typesOf(chunksOf("paintSG")), ElementsAre("MaterialChunk", "BlendChunk", "TextureChunk"));
}

// -- images ----------------------------------------------------------------------------------------

TEST_F(Material, anUnreadableImageIsReportedAndTheOtherChunksAreKept)
{
    makeTextured();
    std::filesystem::resize_file(inFolder("picture.png"), 20);
    EXPECT_THAT(typesOf(chunksOf("paintSG")), ElementsAre("MaterialChunk"));
    EXPECT_THAT(said("log.error"), ElementsAre("Error reading texture image '" +
                                               zyFile::convertSeparators(inFolder("picture.png")) + "'!\n"));
}

/// Images that are alive, anywhere.
unsigned countImages()
{
    osg::ImagePtr last = makeImage(osg::Image::OSG_L_PF, {0});
    unsigned count = 0;
    for (osg::UInt32 id = 1; id < last.getFieldContainerId(); ++id) {
        if (isAlive(id))
            count += osg::ImagePtr::dcast(osg::FieldContainerFactory::the()->getContainer(id)) != osg::NullFC;
    }
    osg::subRefCP(last);
    return count;
}

TEST_F(Material, nothingIsLeftOfAnUnreadableImage)
{
    makeTextured();
    std::filesystem::resize_file(inFolder("picture.png"), 20);
    const unsigned before = countImages();
    chunksOf("paintSG");
    EXPECT_EQ(before, countImages());
}

TEST_F(Material, anUnreadableFirstImageDoesNotMakeTheNextOneTheFirst)
{
    makeLayered({{"a", 0}, {"b", 1}});
    std::filesystem::resize_file(inFolder("a.png"), 20);
    const osg::ChunkMaterialPtr material = chunksOf("paintSG");
    EXPECT_THAT(filesOf(material), ElementsAre("b"));
    EXPECT_EQ((Bytes{60}), bytesOf(texture(material, 0)->getImage())) << "made grey as a later one";
}

TEST_F(Material, aTextureWithoutAFileNameIsReported)
{
    makeShader("lambert", "paint");
    makeFile("picture", "");
    run("connectAttr picture.outColor paint.color");
    EXPECT_THAT(typesOf(chunksOf("paintSG")), ElementsAre("MaterialChunk"));
    EXPECT_EQ(1u, said("log.error").size());
}

TEST_F(Material, anImageThatSeveralMaterialsUseIsDecodedOnce)
{
    makeTextured();
    makeShader("lambert", "varnish");
    makeFile("again", inFolder("picture.png"));
    run("connectAttr again.outColor varnish.color");
    EXPECT_TRUE(texture(chunksOf("paintSG"), 0)->getImage() == texture(chunksOf("varnishSG"), 0)->getImage());
}

TEST_F(Material, anImageThatOneMaterialGreysStaysAsItIsInAnother)
{
    makeLayered({{"a", 0}, {"b", 1}});
    makeShader("lambert", "varnish");
    makeFile("again", inFolder("b.png"));
    run("connectAttr again.outColor varnish.color");
    const osg::ImagePtr plain = texture(chunksOf("varnishSG"), 0)->getImage();
    const osg::ImagePtr grey = texture(chunksOf("paintSG"), 1)->getImage();
    EXPECT_EQ((Bytes{30, 60, 90}), bytesOf(plain));
    EXPECT_EQ((Bytes{60}), bytesOf(grey));
    EXPECT_EQ(plain->getName(), grey->getName());
    ASSERT_TRUE(grey->findAttachmentField("fullFilePath") != nullptr);
    EXPECT_EQ(*plain->findAttachmentField("fullFilePath"), *grey->findAttachmentField("fullFilePath"));
}

TEST_F(Material, imagesGoWithTheLastMaterialThatShowsThem)
{
    makeTextured();
    const osg::ImagePtr image = texture(chunksOf("paintSG"), 0)->getImage();
    EXPECT_EQ(2, image->getRefCount()) << "the import's and the chunk's";
    use("");
    EXPECT_EQ(1, image->getRefCount());
}

// -- where textures are looked for -----------------------------------------------------------------

class TexturePath : public Material
{
protected:
    TexturePath() { makeShader("lambert", "paint"); }

    /// Writes an image that is told by its only value, makes missing folders.
    void put(const std::string& name, osg::UInt8 value)
    {
        std::filesystem::create_directories(std::filesystem::path(inFolder(name)).parent_path());
        writeImage(inFolder(name), osg::Image::OSG_L_PF, {value});
    }
    /// The value of the image that a file texture of that name shows; -1 when none is found.
    int shown(const std::string& fileTextureName)
    {
        loader().libraryMaterials().erase("paint");
        KObject former;
        if (!KGlobal::findNode("picture", former).error())
            run("delete picture");
        makeFile("picture", fileTextureName);
        run("connectAttr -f picture.outColor paint.color");
        const osg::TextureChunkPtr chunk = texture(chunksOf("paintSG"), 0);
        return chunk != osg::NullFC ? bytesOf(chunk->getImage())[0] : -1;
    }
    /// What a name in the scene's folder is called in messages.
    std::string told(const std::string& behind) const
    {
        return "Error reading texture image '" + zyFile::getFilePath(inFolder("scene.ka")) + behind + "'!\n";
    }
};

TEST_F(TexturePath, asItIsNamed)
{
    put("far/wood.png", 1);
    put("wood.png", 2);
    EXPECT_EQ(1, shown(inFolder("far/wood.png")));
    EXPECT_EQ(1, shown(zyFile::convertSeparators(inFolder("far/wood.png")))) << "either separator";
}

TEST_F(TexturePath, besideTheScene)
{
    put("wood.png", 2);
    put("sourceimages/wood.png", 3);
    put("tex/wood.png", 4);
    EXPECT_EQ(2, shown("C:\\maps\\tex\\wood.png"));
    EXPECT_EQ(2, shown("/maps/tex/wood.png"));
    EXPECT_EQ(2, shown("wood.png"));
}

TEST_F(TexturePath, inSourceimagesBesideTheScene)
{
    put("sourceimages/wood.png", 3);
    put("tex/wood.png", 4);
    EXPECT_EQ(3, shown("C:\\maps\\tex\\wood.png"));
}

TEST_F(TexturePath, inAFolderBesideTheSceneThatIsNamedAsTheTexturesOwn)
{
    put("tex/wood.png", 4);
    EXPECT_EQ(4, shown("C:\\maps\\tex\\wood.png  ")) << "the two separators count as one";
    EXPECT_THAT(said("log.error"), IsEmpty());
}

TEST_F(TexturePath, theLastCandidateIsTheOneThatIsTold)
{
    EXPECT_EQ(-1, shown("C:\\maps\\tex\\wood.jpg "));
    EXPECT_EQ(-1, shown("wood.jpg"));
    EXPECT_EQ(-1, shown("tex/wood.jpg"));
    EXPECT_THAT(said("log.error"), ElementsAre(told("\\\\tex\\wood.jpg"), told("\\sourceimages\\wood.jpg"),
                                               told("\\sourceimages\\wood.jpg")))
        << "a name without a folder, or with one folder and nothing in front of it, has no fifth candidate";
}

TEST_F(TexturePath, aSceneReadByARelativeNameFindsItsTextures)
{
    put("sub/wood.png", 7);
    makeFile("picture", "C:\\maps\\wood.png");
    run("connectAttr -f picture.outColor paint.color");
    makeQuad("quadShape", makeTransform("quad"));
    run("sets -edit -forceElement paintSG quadShape");
    saveScene("sub/scene.ka");
    const std::string former = zyFile::getCurrentDir();
    ASSERT_TRUE(zyFile::setCurrentDir(folder));
    osg::NodePtr root;
    printedBy([&] { root = osg::SceneFileHandler::the()->read("sub/scene.ka"); });
    zyFile::setCurrentDir(former);
    const ScopedGraph graph(root);
    EXPECT_THAT(said("log.error"), IsEmpty());
    const osg::GeometryPtr geometry = geometryOf(nodeAt(root, {"quadShape"}));
    ASSERT_TRUE(geometry != osg::NullFC);
    const osg::ChunkMaterialPtr material = osg::ChunkMaterialPtr::dcast(geometry->getMaterial());
    ASSERT_TRUE(texture(material, 0) != osg::NullFC);
    EXPECT_EQ((Bytes{7}), bytesOf(texture(material, 0)->getImage()));
    EXPECT_EQ(1, texture(material, 0)->getImage()->getRefCount()) << "nothing of the import is left";
}

// -- placement -------------------------------------------------------------------------------------

class Placement : public Material
{
protected:
    Placement() { makeTextured(); }

    void repeat(double u, double v)
    {
        run("createNode place2dTexture -name tiles");
        run("connectAttr tiles.outUV picture.uvCoord");
        setNumber(nodeOf("tiles"), "repeatU", u);
        setNumber(nodeOf("tiles"), "repeatV", v);
    }
    /// Puts a projection between the texture and the shader.
    void project(int type)
    {
        run("createNode projection -name beam");
        run("connectAttr -f beam.outColor paint.color");
        run("connectAttr picture.outColor beam.image");
        setNumber(nodeOf("beam"), "projType", type);
    }
    void place()
    {
        run("createNode place3dTexture -name stand");
        run("connectAttr stand.worldInverseMatrix[0] beam.placementMatrix");
    }
    static void expectRepeat(const osg::ChunkMaterialPtr& material, float u, float v)
    {
        const osg::TextureTransformChunkPtr chunk = find<osg::TextureTransformChunk>(material);
        ASSERT_TRUE(chunk != osg::NullFC);
        osg::Matrix expected;
        expected[0][0] = u;
        expected[1][1] = v;
        EXPECT_EQ(expected, chunk->getMatrix());
    }
};

TEST_F(Placement, theRepeatOfTheTexturesBecomesATextureMatrix)
{
    repeat(2, 3.5);
    const osg::ChunkMaterialPtr material = chunksOf("paintSG");
    EXPECT_THAT(typesOf(material), ElementsAre("MaterialChunk", "TextureChunk", "TextureTransformChunk"));
    expectRepeat(material, 2, 3.5f);
    EXPECT_THAT(messages, IsEmpty());
}

TEST_F(Placement, aRepeatThatCannotBeReadIs1)
{
    repeat(2, 3);
    KFaults::failCall("KPlug::getValue", 5); // behind the file name and the gains
    expectRepeat(chunksOf("paintSG"), 1, 3);
    loader().libraryMaterials().clear();
    KFaults::failCall("KPlug::getValue", 6);
    expectRepeat(chunksOf("paintSG"), 2, 1);
}

TEST_F(Placement, thereIsOneForAllTexturesOfAMaterial)
{
    makeShader("lambert", "both");
    run("createNode lambert -name mixed");
    run("connectAttr mixed.outColor both.color");
    run("connectAttr picture.outColor mixed.color");
    makeFile("second", inFolder("picture.png"));
    run("connectAttr second.outColor mixed.ambientColor");
    repeat(2, 2);
    run("createNode place2dTexture -name more");
    run("connectAttr more.outUV second.uvCoord");
    EXPECT_THAT(typesOf(chunksOf("bothSG")),
                ElementsAre("MaterialChunk", "TextureChunk", "TextureChunk", "TextureTransformChunk"));
}

TEST_F(Placement, anUnreadableTextureIsPlacedAllTheSame)
{
    repeat(2, 2);
    std::filesystem::resize_file(inFolder("picture.png"), 20);
    EXPECT_THAT(typesOf(chunksOf("paintSG")), ElementsAre("MaterialChunk", "TextureTransformChunk"));
}

TEST_F(Placement, aPlanarProjectionIsKeptWithTheNameOfItsPlacementInPlaceOfTheRepeat)
{
    repeat(2, 3);
    project(1);
    place();
    const osg::ChunkMaterialPtr material = chunksOf("paintSG");
    EXPECT_THAT(typesOf(material), ElementsAre("MaterialChunk", "TextureChunk"));
    ASSERT_EQ(1u, loader().planarProjections().size());
    EXPECT_TRUE(loader().planarProjections()[0].material == material);
    EXPECT_EQ("stand", loader().planarProjections()[0].placement);
    EXPECT_THAT(messages, IsEmpty());
    convert("paintSG");
    EXPECT_EQ(1u, loader().planarProjections().size()) << "kept once for each material";
}

TEST_F(Placement, aPlanarProjectionWithoutAPlacementIsKeptWithoutAName)
{
    project(1);
    chunksOf("paintSG");
    ASSERT_EQ(1u, loader().planarProjections().size());
    EXPECT_EQ("", loader().planarProjections()[0].placement);
}

TEST_F(Placement, aTriplanarProjectionIsReportedAndTheRepeatTaken)
{
    repeat(2, 3);
    project(6);
    place();
    expectRepeat(chunksOf("paintSG"), 2, 3);
    EXPECT_THAT(said("log.error"), ElementsAre("Tri planar projection is not supported yet!\n"));
    EXPECT_THAT(loader().planarProjections(), testing::SizeIs(0));
}

TEST_F(Placement, everyOtherProjectionIsReportedByItsNumberAndTheRepeatTaken)
{
    repeat(2, 3);
    project(3);
    expectRepeat(chunksOf("paintSG"), 2, 3);
    setNumber(nodeOf("beam"), "projType", 0);
    loader().libraryMaterials().clear();
    expectRepeat(chunksOf("paintSG"), 2, 3);
    EXPECT_THAT(said("log.error"), ElementsAre("Projection type (3) is not supported!\n",
                                               "Projection type (0) is not supported!\n"));
    EXPECT_THAT(loader().planarProjections(), testing::SizeIs(0));
}

TEST_F(Placement, aProjectionWhoseTypeCannotBeReadCountsAsType0)
{
    project(1);
    KFaults::failCall("KPlug::getValue", 5); // behind the file name and the gains
    chunksOf("paintSG");
    EXPECT_THAT(said("log.error"), ElementsAre("Projection type (0) is not supported!\n"));
}

TEST_F(Placement, aTextureWithoutAProjectionIsPlacedSilently)
{
    EXPECT_THAT(typesOf(chunksOf("paintSG")), ElementsAre("MaterialChunk", "TextureChunk"));
    EXPECT_THAT(messages, IsEmpty());
}

// -- shadow scenes ---------------------------------------------------------------------------------

class ShadowScene : public Material
{
protected:
    ShadowScene() { use("shadowGeometry=true"); }

    static void expectShadowColours(const osg::ChunkMaterialPtr& material)
    {
        EXPECT_EQ(osg::Color4f(0, 0, 0, 1), colors(material)->getAmbient());
        EXPECT_EQ(osg::Color4f(0, 0, 0, 1), colors(material)->getDiffuse());
        EXPECT_EQ(osg::Color4f(0, 0, 0, 1), colors(material)->getSpecular());
        EXPECT_EQ(osg::Color4f(1, 1, 1, 1), colors(material)->getEmission());
        EXPECT_EQ(0.0f, colors(material)->getShininess());
    }
};

TEST_F(ShadowScene, itsMaterialsMultiplyWhatLiesBehindBlackAndShining)
{
    setColor(makeShader("phong", "shade"), "color", 1, 0, 0);
    const osg::ChunkMaterialPtr material = chunksOf("shadeSG");
    EXPECT_THAT(typesOf(material), ElementsAre("MaterialChunk", "BlendChunk"));
    expectBlend(material, GL_DST_COLOR, GL_SRC_COLOR);
    expectShadowColours(material);
}

TEST_F(ShadowScene, blendAndMaterialChunksThatAreThereAreTakenOver)
{
    makeTextured(osg::Image::OSG_RGBA_PF, {10, 20, 30, 128});
    setColor(nodeOf("paint"), "transparency", 0.5, 0.5, 0.5);
    const osg::ChunkMaterialPtr material = chunksOf("paintSG");
    EXPECT_THAT(typesOf(material), ElementsAre("MaterialChunk", "BlendChunk", "TextureChunk"));
    expectBlend(material, GL_DST_COLOR, GL_SRC_COLOR);
    expectShadowColours(material);
}

TEST_F(ShadowScene, theTextureTurnsGreyWithItsGreyAsAlpha)
{
    makeTextured(osg::Image::OSG_RGBA_PF, {30, 60, 90, 128});
    const osg::TextureChunkPtr chunk = texture(chunksOf("paintSG"), 0);
    EXPECT_EQ(osg::UInt32(osg::Image::OSG_LA_PF), chunk->getImage()->getPixelFormat());
    EXPECT_EQ((Bytes{60, 60}), bytesOf(chunk->getImage()));
    EXPECT_EQ(1, wholeImagesChanged) << "what draws it loads it again";
}

TEST_F(ShadowScene, theTextureMayKeepItsColours)
{
    use("shadowGeometry=true;forceGrayscaleShadowTexture=false");
    makeTextured(osg::Image::OSG_RGBA_PF, {30, 60, 90, 128});
    const osg::ChunkMaterialPtr material = chunksOf("paintSG");
    EXPECT_EQ((Bytes{30, 60, 90, 128}), bytesOf(texture(material, 0)->getImage()));
    EXPECT_EQ(0, wholeImagesChanged);
    expectShadowColours(material);
}

TEST_F(ShadowScene, materialsThatShareATextureGreyItEachForItself)
{
    makeTextured();
    makeShader("lambert", "varnish");
    makeFile("again", inFolder("picture.png"));
    run("connectAttr again.outColor varnish.color");
    for (const char* group : {"paintSG", "varnishSG"})
        EXPECT_EQ((Bytes{20, 20, 50, 50}), bytesOf(texture(chunksOf(group), 0)->getImage())) << group;
}

TEST_F(ShadowScene, groupsWithoutAShaderKeepTheDefaultMaterialUntouched)
{
    run("sets -renderable true -noSurfaceShader true -empty -name \"bareSG\"");
    EXPECT_TRUE(convert("bareSG") == osg::getDefaultMaterial());
    EXPECT_FALSE(osg::getDefaultMaterial()->isTransparent());
}
} // namespace
