// Shadow geometry: what becomes of a mesh and its shadow copy where both share one geometry core.

#include "LoaderTest.h"

#include <OpenSG/OSGBlendChunk.h>
#include <OpenSG/OSGChunkMaterial.h>
#include <OpenSG/OSGComponentTransform.h>
#include <OpenSG/OSGGL.h>
#include <OpenSG/OSGGroup.h>
#include <OpenSG/OSGMaterialChunk.h>
#include <OpenSG/OSGMaterialGroup.h>
#include <OpenSG/OSGMultiPassMaterial.h>
#include <OpenSG/OSGPolygonChunk.h>
#include <OpenSG/OSGSimpleGeometry.h>
#include <OpenSG/OSGTextureChunk.h>
#include <OpenSG/OSGTransform.h>
#include <kelda/KFileIO.h>
#include <zyOpenSGExt/zyMergeMaterial.h>
#include <zyOpenSGExt/zyValuePair.h>
#include <zyOpenSGUtils/zyMaterials.h>

#include <algorithm>
#include <functional>

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

typedef std::vector<osg::UInt8> Bytes;

osg::ChunkMaterialPtr makeMaterial(const std::string& name, const std::vector<osg::StateChunkPtr>& chunks)
{
    const osg::ChunkMaterialPtr material = osg::ChunkMaterial::create();
    zyMaterials::setName(material, name, true);
    const osg::CPEditor edit(material);
    for (const osg::StateChunkPtr& chunk : chunks)
        material->addChunk(chunk);
    return material;
}

osg::TextureChunkPtr makeTexture(osg::ImagePtr image)
{
    const osg::TextureChunkPtr chunk = osg::TextureChunk::create();
    const osg::CPEditor edit(chunk);
    chunk->setImage(image);
    return chunk;
}

osg::ChunkMaterialPtr makeMain(const std::string& name)
{
    return makeMaterial(name, {osg::MaterialChunk::create()});
}

/// Colours, texture and blending, as shadow scenes are converted.
osg::ChunkMaterialPtr makeShadow(const std::string& name)
{
    return makeMaterial(name, {osg::MaterialChunk::create(),
                               makeTexture(makeImage(osg::Image::OSG_RGB_PF, {30, 60, 90})),
                               osg::BlendChunk::create()});
}

osg::NodePtr makeMaterialGroup(const std::string& name, const osg::MaterialPtr& material,
                               const std::vector<osg::NodePtr>& children)
{
    const osg::MaterialGroupPtr core = osg::MaterialGroup::create();
    {
        const osg::CPEditor edit(core);
        core->setMaterial(material);
    }
    return makeNode(name, core, children);
}

osg::GeometryPtr makeTriangle()
{
    return makeGeometry({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}});
}

osg::NodePtr makeMesh(const osg::GeometryPtr& core)
{
    return makeNode("mesh", core);
}

osg::NodePtr makeCopy(const osg::GeometryPtr& core)
{
    const osg::NodePtr node = makeNode("copy", core);
    const osg::CPEditor edit(node, osg::Node::AttachmentsFieldMask);
    node->addAttachment(osg::ValuePair::create(), 0);
    return node;
}

osg::MaterialPtr materialOf(const osg::NodePtr& group)
{
    return osg::MaterialGroupPtr::dcast(group->getCore())->getMaterial();
}

osg::MergeMaterialPtr mergeOf(const osg::NodePtr& group)
{
    return osg::MergeMaterialPtr::dcast(materialOf(group));
}

std::vector<std::string> partNames(const osg::MergeMaterialPtr& merge)
{
    std::vector<std::string> names;
    for (osg::UInt32 i = 0; merge != osg::NullFC && i < merge->getMaterials().size(); ++i)
        names.push_back(zyMaterials::getName(merge->getMaterials(i)));
    return names;
}

class Shadow : public LoaderTest
{
protected:
    Shadow() { use(""); }
    ~Shadow() override
    {
        for (osg::FieldContainerPtr& container : _held)
            osg::subRefCP(container);
    }

    void use(const std::string& options)
    {
        _loader.reset(new zyKeldaLoaderTestAccess(inFolder("scene.kb"), options));
    }
    zyKeldaLoaderTestAccess& loader() { return *_loader; }

    template <class ContainerPtr>
    ContainerPtr hold(ContainerPtr container)
    {
        osg::addRefCP(container);
        _held.push_back(container);
        return container;
    }
    /// Runs the pass over a graph with these children.
    osg::NodePtr process(const std::vector<osg::NodePtr>& children)
    {
        const osg::NodePtr root = hold(makeGroup("root", children));
        loader().root() = root;
        printed = printedBy([&] { loader().postProcessShadow(); });
        return root;
    }
    /// "main" and "shadow", each with a mesh of one core below it.
    std::vector<osg::NodePtr> makePair(const osg::MaterialPtr& main, const osg::MaterialPtr& shadow)
    {
        const osg::GeometryPtr core = makeTriangle();
        return {makeMaterialGroup("main", main, {makeMesh(core)}),
                makeMaterialGroup("shadow", shadow, {makeCopy(core)})};
    }
    /// That nothing has been merged: both nodes are there and both groups have the materials they had.
    static void expectUntouched(const std::vector<osg::NodePtr>& groups,
                                const std::vector<osg::MaterialPtr>& materials)
    {
        for (std::size_t i = 0; i < groups.size(); ++i) {
            EXPECT_EQ(1u, osg::NodePtr(groups[i])->getNChildren()) << i;
            EXPECT_TRUE(materialOf(groups[i]) == materials[i]) << i;
        }
    }

    Printed printed;

private:
    std::unique_ptr<zyKeldaLoaderTestAccess> _loader;
    std::vector<osg::FieldContainerPtr> _held;
};

const char tooMany[] = "zyKeldaLoader::createShadowMergeMaterials : parents size != 2 !!!!\n";
const char noMerge[] = "shadowMerge=false";

// -- shared geometry -------------------------------------------------------------------------------

TEST_F(Shadow, coresOfSeveralNodesAreFoundWhereverTheyAre)
{
    const osg::GeometryPtr shared = makeTriangle();
    const osg::GeometryPtr single = makeTriangle();
    const osg::GeometryPtr alsoOutside = makeTriangle();
    hold(makeMesh(alsoOutside));
    const osg::NodePtr top = makeMesh(shared);
    const ScopedGraph root(makeGroup(
        "root", {top, makeGroup("group", {makeMesh(shared), makeMesh(single), makeMesh(alsoOutside)})}));
    loader().getSharedGeometries(root.get());
    EXPECT_EQ((std::set<osg::GeometryPtr>{shared, alsoOutside}), loader().sharedGeometries());
}

TEST_F(Shadow, otherSharedCoresAreNoGeometries)
{
    const osg::GroupPtr core = osg::Group::create();
    const ScopedGraph root(makeGroup("root", {makeNode("a", core), makeNode("b", core)}));
    loader().getSharedGeometries(root.get());
    EXPECT_TRUE(loader().sharedGeometries().empty());
    loader().getSharedGeometries(osg::NullFC);
    EXPECT_TRUE(loader().sharedGeometries().empty());
}

TEST_F(Shadow, deepGraphsDoNotOverflowTheStack)
{
    const osg::GeometryPtr core = makeTriangle();
    osg::NodePtr node = makeGroup("bottom", {makeMesh(core), makeMesh(core)});
    for (int level = 0; level < 10000; ++level)
        node = makeGroup("", {node});
    const ScopedGraph root(node);
    loader().getSharedGeometries(root.get());
    EXPECT_EQ(1u, loader().sharedGeometries().size());
}

TEST_F(Shadow, theListIsEmptyOutsideThePass)
{
    const osg::GeometryPtr former = hold(makeTriangle());
    for (const char* options : {"", noMerge}) {
        use(options);
        loader().sharedGeometries().insert(former);
        process(makePair(makeMain("paint"), makeShadow("shade")));
        EXPECT_TRUE(loader().sharedGeometries().empty()) << options;
    }
}

TEST_F(Shadow, whatTheListHeldBeforeIsNotLookedAt)
{
    const osg::GeometryPtr core = makeTriangle();
    for (int i = 0; i < 3; ++i)
        hold(makeMesh(core));
    loader().sharedGeometries().insert(core);
    process(makePair(makeMain("paint"), makeShadow("shade")));
    EXPECT_EQ("", printed.err) << "its three nodes are outside the import";
}

// -- merging ---------------------------------------------------------------------------------------

TEST_F(Shadow, aPairIsMergedIntoOneMaterialOnTheMainMesh)
{
    const osg::ChunkMaterialPtr main = makeMain("paint");
    const osg::ChunkMaterialPtr shadow = makeShadow("shade");
    const osg::NodePtr root = process(makePair(main, shadow));
    const osg::MergeMaterialPtr merge = mergeOf(root->getChild(0));
    ASSERT_TRUE(merge != osg::NullFC);
    EXPECT_EQ("shade_merge", zyMaterials::getName(merge));
    ASSERT_EQ(2u, merge->getMaterials().size());
    EXPECT_TRUE(merge->getMaterials(0) == main);
    EXPECT_TRUE(merge->getMaterials(1) == shadow);
    EXPECT_TRUE(loader().libraryMaterials()["shade_merge"] == merge);
    EXPECT_EQ("", printed.out + printed.err);
}

TEST_F(Shadow, theShadowCopyLeavesTheSceneWithAllThatStandsBesideIt)
{
    const osg::GeometryPtr core = makeTriangle();
    const osg::NodePtr mesh = makeMesh(core);
    const osg::NodePtr root =
        process({makeMaterialGroup("main", makeMain("paint"), {mesh, makeGroup("beside", {})}),
                 makeMaterialGroup(
                     "shadow", makeShadow("shade"),
                     {makeGroup("first", {makeGroup("below", {})}), makeCopy(core), makeGroup("last", {})})});
    EXPECT_THAT(childNames(root), ElementsAre("main", "shadow"));
    EXPECT_THAT(childNames(root->getChild(0)), ElementsAre("mesh", "beside"));
    EXPECT_THAT(childNames(root->getChild(1)), IsEmpty());
    ASSERT_EQ(1u, core->getParents().size());
    EXPECT_TRUE(core->getParents()[0] == mesh);
}

TEST_F(Shadow, theOrderOfTheTwoNodesDoesNotMatter)
{
    const osg::GeometryPtr core = makeTriangle();
    const osg::NodePtr copy = makeCopy(core);
    const osg::NodePtr root = process({makeMaterialGroup("shadow", makeShadow("shade"), {copy}),
                                       makeMaterialGroup("main", makeMain("paint"), {makeMesh(core)})});
    EXPECT_EQ(0u, root->getChild(0)->getNChildren());
    EXPECT_THAT(partNames(mergeOf(root->getChild(1))), ElementsAre("paint", "shade"));
}

TEST_F(Shadow, aGroupCoreThatSeveralNodesHaveIsEmptiedAtItsFirst)
{
    const osg::GeometryPtr core = makeTriangle();
    const osg::NodePtr first = makeMaterialGroup("first", makeShadow("shade"), {makeGroup("inner", {})});
    const osg::NodePtr second = makeNode("second", osg::NodePtr(first)->getCore(), {makeCopy(core)});
    process({makeMaterialGroup("main", makeMain("paint"), {makeMesh(core)}), first, second});
    EXPECT_EQ(0u, osg::NodePtr(first)->getNChildren());
    EXPECT_EQ(1u, osg::NodePtr(second)->getNChildren());
}

TEST_F(Shadow, meshesWhoseShadowsHaveOneMaterialShareTheMergeMaterialOfTheFirst)
{
    const osg::GeometryPtr a = makeTriangle();
    const osg::GeometryPtr b = makeTriangle();
    const osg::GeometryPtr lower = std::min(a, b);
    const osg::GeometryPtr upper = std::max(a, b);
    const osg::ChunkMaterialPtr shade = makeShadow("s");
    const osg::NodePtr root = process({makeMaterialGroup("one", makeMain("paint"), {makeMesh(lower)}),
                                       makeMaterialGroup("two", makeMain("varnish"), {makeMesh(upper)}),
                                       makeMaterialGroup("shadowOne", shade, {makeCopy(lower)}),
                                       makeMaterialGroup("shadowTwo", shade, {makeCopy(upper)})});
    const osg::MergeMaterialPtr merge = mergeOf(root->getChild(0));
    EXPECT_EQ("s_merge", zyMaterials::getName(merge));
    EXPECT_TRUE(mergeOf(root->getChild(1)) == merge);
    EXPECT_THAT(partNames(merge), ElementsAre("paint", "s")) << "that of the first core, in handle order";
    EXPECT_EQ(0u, root->getChild(2)->getNChildren());
    EXPECT_EQ(0u, root->getChild(3)->getNChildren());
}

TEST_F(Shadow, differentShadowMaterialsGiveDifferentMergeMaterials)
{
    const osg::GeometryPtr a = makeTriangle();
    const osg::GeometryPtr b = makeTriangle();
    const osg::ChunkMaterialPtr paint = makeMain("paint");
    const osg::NodePtr root = process({makeMaterialGroup("one", paint, {makeMesh(a)}),
                                       makeMaterialGroup("two", paint, {makeMesh(b)}),
                                       makeMaterialGroup("shadowOne", makeShadow("s"), {makeCopy(a)}),
                                       makeMaterialGroup("shadowTwo", makeShadow("t"), {makeCopy(b)})});
    EXPECT_THAT(partNames(mergeOf(root->getChild(0))), ElementsAre("paint", "s"));
    EXPECT_THAT(partNames(mergeOf(root->getChild(1))), ElementsAre("paint", "t"));
}

TEST_F(Shadow, aMaterialThatHasTheNameOfTheMergeMaterialIsTaken)
{
    const osg::ChunkMaterialPtr own = hold(makeMain("shade_merge"));
    loader().libraryMaterials()["shade_merge"] = own;
    const osg::NodePtr root = process(makePair(makeMain("paint"), makeShadow("shade")));
    EXPECT_TRUE(materialOf(root->getChild(0)) == own);
    EXPECT_EQ(0u, root->getChild(1)->getNChildren());
}

TEST_F(Shadow, aMergedMaterialThatWasInUseIsRefreshed)
{
    const osg::ChunkMaterialPtr main = makeMain("paint");
    const osg::ChunkMaterialPtr shadow = makeShadow("shade");
    const osg::MergeMaterialPtr merge = hold(osg::MergeMaterial::create());
    {
        const osg::CPEditor edit(merge);
        merge->addMaterial(main);
        merge->addMaterial(shadow);
    }
    loader().libraryMaterials()["shade_merge"] = merge;
    const auto blends = [&] {
        return merge->getState()->getChunk(osg::BlendChunk::getStaticClassId()) != osg::NullFC;
    };
    ASSERT_TRUE(blends());
    process(makePair(main, shadow));
    EXPECT_FALSE(blends()) << "the state has the chunks that the shadow material is left with";
}

// -- what is left of a shadow material -------------------------------------------------------------

TEST_F(Shadow, aMergedShadowMultipliesByTwiceItsGreyTexture)
{
    const osg::ChunkMaterialPtr shadow = makeShadow("shade");
    process(makePair(makeMain("paint"), shadow));
    ASSERT_THAT(chunkTypes(shadow), ElementsAre("TextureChunk"));
    const osg::TextureChunkPtr texture = findChunk<osg::TextureChunk>(shadow);
    EXPECT_EQ(osg::UInt32(GL_COMBINE), texture->getEnvMode());
    EXPECT_EQ(2.0f, texture->getEnvScaleRGB());
    EXPECT_EQ(1.0f, texture->getEnvScaleAlpha());
    EXPECT_EQ(osg::UInt32(osg::Image::OSG_L_PF), texture->getImage()->getPixelFormat());
    EXPECT_EQ((Bytes{60}), bytesOf(texture->getImage()));
}

TEST_F(Shadow, theMainMaterialStaysAsItIs)
{
    const osg::ChunkMaterialPtr main =
        makeMaterial("paint", {osg::MaterialChunk::create(), osg::BlendChunk::create(),
                               makeTexture(makeImage(osg::Image::OSG_RGB_PF, {30, 60, 90}))});
    process(makePair(main, makeShadow("shade")));
    EXPECT_THAT(chunkTypes(main), ElementsAre("MaterialChunk", "BlendChunk", "TextureChunk"));
    const osg::TextureChunkPtr texture = findChunk<osg::TextureChunk>(main);
    EXPECT_EQ(osg::UInt32(GL_REPLACE), texture->getEnvMode());
    EXPECT_EQ((Bytes{30, 60, 90}), bytesOf(texture->getImage()));
}

TEST_F(Shadow, aMergedShadowTurnsGreyWhateverTheOptionSays)
{
    use("forceGrayscaleShadowTexture=false");
    const osg::ChunkMaterialPtr shadow = makeShadow("shade");
    process(makePair(makeMain("paint"), shadow));
    EXPECT_EQ((Bytes{60}), bytesOf(findChunk<osg::TextureChunk>(shadow)->getImage()));
}

TEST_F(Shadow, whatElseShowsTheImageKeepsItsColours)
{
    const osg::ImagePtr image = makeImage(osg::Image::OSG_RGB_PF, {30, 60, 90});
    const osg::ChunkMaterialPtr main = makeMaterial("paint", {makeTexture(image)});
    const osg::ChunkMaterialPtr shadow = makeMaterial("shade", {makeTexture(image)});
    process(makePair(main, shadow));
    EXPECT_EQ((Bytes{30, 60, 90}), bytesOf(findChunk<osg::TextureChunk>(main)->getImage()));
    EXPECT_EQ((Bytes{60}), bytesOf(findChunk<osg::TextureChunk>(shadow)->getImage()));
}

TEST_F(Shadow, anImageOfTheShadowAloneIsChangedInPlace)
{
    const osg::ImagePtr image = makeImage(osg::Image::OSG_RGBA_PF, {30, 60, 90, 128});
    const osg::ChunkMaterialPtr shadow = makeMaterial("shade", {makeTexture(image)});
    process(makePair(makeMain("paint"), shadow));
    EXPECT_TRUE(findChunk<osg::TextureChunk>(shadow)->getImage() == image);
    EXPECT_EQ((Bytes{60}), bytesOf(image));
}

TEST_F(Shadow, aTextureWithoutAnImageIsSetUpAllTheSame)
{
    const osg::ChunkMaterialPtr shadow = makeMaterial("shade", {makeTexture(osg::NullFC)});
    process(makePair(makeMain("paint"), shadow));
    EXPECT_EQ(osg::UInt32(GL_COMBINE), findChunk<osg::TextureChunk>(shadow)->getEnvMode());
    EXPECT_EQ(2.0f, findChunk<osg::TextureChunk>(shadow)->getEnvScaleRGB());
}

TEST_F(Shadow, otherChunksOfAShadowMaterialStay)
{
    const osg::ChunkMaterialPtr shadow = makeMaterial(
        "shade", {osg::PolygonChunk::create(), osg::BlendChunk::create(), osg::BlendChunk::create()});
    process(makePair(makeMain("paint"), shadow));
    EXPECT_THAT(chunkTypes(shadow), ElementsAre("PolygonChunk", "BlendChunk")) << "one of a class goes";
}

TEST_F(Shadow, chunksInSlotsOfTheirOwnAreTakenAwayToo)
{
    const osg::ChunkMaterialPtr shadow = osg::ChunkMaterial::create();
    {
        const osg::CPEditor edit(shadow);
        shadow->addChunk(osg::BlendChunk::create(), 0);
        shadow->addChunk(osg::MaterialChunk::create(), 0);
    }
    process(makePair(makeMain("paint"), shadow));
    EXPECT_THAT(chunkTypes(shadow), IsEmpty());
    EXPECT_EQ("", printed.err);
}

TEST_F(Shadow, theShadowsStateIsMadeAnew)
{
    const osg::ChunkMaterialPtr shadow = makeShadow("shade");
    ASSERT_TRUE(shadow->getState()->chunkPresent(osg::BlendChunk::getStaticClassId()));
    process(makePair(makeMain("paint"), shadow));
    EXPECT_FALSE(shadow->getState()->chunkPresent(osg::BlendChunk::getStaticClassId()));
}

// -- what is no pair -------------------------------------------------------------------------------

TEST_F(Shadow, aCoreOfThreeNodesIsReportedAndLeftAlone)
{
    const osg::ChunkMaterialPtr main = makeMain("paint");
    const osg::ChunkMaterialPtr shadow = makeShadow("shade");
    const osg::GeometryPtr core = makeTriangle();
    const std::vector<osg::NodePtr> groups = {makeMaterialGroup("main", main, {makeMesh(core)}),
                                              makeMaterialGroup("shadow", shadow, {makeCopy(core)}),
                                              makeMaterialGroup("third", shadow, {makeCopy(core)})};
    process(groups);
    EXPECT_EQ(tooMany, printed.err);
    EXPECT_EQ("", printed.out);
    expectUntouched(groups, {main, shadow, shadow});
    EXPECT_EQ(3u, shadow->getChunks().size());
    EXPECT_THAT(loader().libraryMaterials(), IsEmpty());
}

TEST_F(Shadow, geometryWithAMaterialOfItsOwnIsLeftAloneSilently)
{
    const osg::ChunkMaterialPtr main = makeMain("paint");
    const osg::ChunkMaterialPtr shadow = makeShadow("shade");
    const osg::GeometryPtr core = makeTriangle();
    {
        const osg::CPEditor edit(core);
        core->setMaterial(makeMain("own"));
    }
    const std::vector<osg::NodePtr> groups = {makeMaterialGroup("main", main, {makeMesh(core)}),
                                              makeMaterialGroup("shadow", shadow, {makeCopy(core)}),
                                              makeMaterialGroup("third", shadow, {makeCopy(core)})};
    process(groups);
    EXPECT_EQ("", printed.err);
    expectUntouched(groups, {main, shadow, shadow});
}

TEST_F(Shadow, twoNodesThatAreNotOneMainAndOneShadowAreLeftAlone)
{
    const osg::ChunkMaterialPtr a = makeShadow("a");
    const osg::ChunkMaterialPtr b = makeShadow("b");
    for (const auto& make : {makeMesh, makeCopy}) {
        const osg::GeometryPtr core = makeTriangle();
        const std::vector<osg::NodePtr> groups = {makeMaterialGroup("a", a, {make(core)}),
                                                  makeMaterialGroup("b", b, {make(core)})};
        process(groups);
        expectUntouched(groups, {a, b});
        EXPECT_EQ(3u, a->getChunks().size());
        EXPECT_EQ(3u, b->getChunks().size());
        EXPECT_EQ("", printed.err);
    }
    EXPECT_THAT(loader().libraryMaterials(), IsEmpty());
}

TEST_F(Shadow, aNodeWithoutAMaterialGroupRightAboveIsNoPartOfAPair)
{
    const osg::ChunkMaterialPtr main = makeMain("paint");
    const osg::ChunkMaterialPtr shadow = makeShadow("shade");
    const osg::GeometryPtr first = makeTriangle();
    const osg::GeometryPtr second = makeTriangle();
    const osg::GeometryPtr third = makeTriangle();
    hold(makeMesh(third));
    const std::vector<osg::NodePtr> groups = {
        makeMaterialGroup("main", main, {makeMesh(first)}),
        makeMaterialGroup("shadow", shadow, {makeCopy(second)}),
        makeMaterialGroup("shadowOfAlone", shadow, {makeCopy(third)}),
    };
    process({groups[0], groups[1], groups[2], makeCopy(first), makeGroup("group", {makeMesh(second)})});
    expectUntouched(groups, {main, shadow, shadow});
    EXPECT_EQ(3u, shadow->getChunks().size());
    EXPECT_EQ("", printed.err);
}

TEST_F(Shadow, materialsThatAreNotMadeOfChunksAreNotMerged)
{
    const osg::MaterialPtr passes = hold(osg::MaterialPtr(osg::MultiPassMaterial::create()));
    const osg::ChunkMaterialPtr main = hold(makeMain("paint"));
    const osg::ChunkMaterialPtr shadow = hold(makeShadow("shade"));
    const std::vector<std::vector<osg::MaterialPtr>> cases = {
        {passes, shadow}, {main, passes}, {osg::NullFC, shadow}, {main, osg::NullFC}};
    for (const std::vector<osg::MaterialPtr>& materials : cases) {
        const std::vector<osg::NodePtr> groups = makePair(materials[0], materials[1]);
        process(groups);
        expectUntouched(groups, materials);
    }
    EXPECT_EQ(3u, shadow->getChunks().size());
    EXPECT_THAT(loader().libraryMaterials(), IsEmpty());
}

TEST_F(Shadow, twoNodesBelowOneGroupAreNoPair)
{
    const osg::ChunkMaterialPtr shadow = makeShadow("shade");
    const osg::GeometryPtr core = makeTriangle();
    const osg::NodePtr group = makeMaterialGroup("group", shadow, {makeMesh(core), makeCopy(core)});
    process({group});
    EXPECT_THAT(childNames(group), ElementsAre("mesh", "copy"));
    EXPECT_TRUE(materialOf(group) == shadow);
}

TEST_F(Shadow, aCoreThatLosesItsNodesWithTheCopiesOfAnotherIsNoPairAnyMore)
{
    const osg::GeometryPtr a = makeTriangle();
    const osg::GeometryPtr b = makeTriangle();
    const osg::GeometryPtr lower = std::min(a, b);
    const osg::GeometryPtr upper = std::max(a, b);
    const osg::ChunkMaterialPtr varnish = makeMain("varnish");
    const osg::ChunkMaterialPtr shade = makeShadow("shade");
    const osg::UInt32 upperId = upper.getFieldContainerId();
    const osg::NodePtr root =
        process({makeMaterialGroup("main", makeMain("paint"), {makeMesh(lower)}),
                 makeMaterialGroup("shadow", shade,
                                   {makeCopy(lower), makeMaterialGroup("inner", varnish, {makeMesh(upper)}),
                                    makeMaterialGroup("innerShadow", shade, {makeCopy(upper)})})});
    EXPECT_THAT(partNames(mergeOf(root->getChild(0))), ElementsAre("paint", "shade"));
    EXPECT_EQ(0u, root->getChild(1)->getNChildren());
    EXPECT_EQ(tooMany, printed.err);
    EXPECT_FALSE(isAlive(upperId));
}

// -- blend correction ------------------------------------------------------------------------------

class ShadowBlend : public Shadow
{
protected:
    ShadowBlend() { use(noMerge); }

    static std::vector<osg::UInt32> factors(const osg::ChunkMaterialPtr& material)
    {
        const osg::BlendChunkPtr blend = findChunk<osg::BlendChunk>(material);
        return {blend->getSrcFactor(), blend->getDestFactor()};
    }
};

const std::vector<osg::UInt32> untouched = {GL_ONE, GL_ZERO};
const std::vector<osg::UInt32> multiplying = {GL_DST_COLOR, GL_SRC_COLOR};

TEST_F(ShadowBlend, shadowCopiesThatStayMultiplyWhatTheyLieOnByTwiceTheirColour)
{
    const osg::ChunkMaterialPtr main = makeShadow("paint");
    const osg::ChunkMaterialPtr shadow = makeShadow("shade");
    const std::vector<osg::NodePtr> groups = makePair(main, shadow);
    process(groups);
    EXPECT_EQ(multiplying, factors(shadow));
    EXPECT_EQ(untouched, factors(main));
    expectUntouched(groups, {main, shadow});
    EXPECT_THAT(chunkTypes(shadow), ElementsAre("MaterialChunk", "TextureChunk", "BlendChunk"));
    EXPECT_EQ(osg::UInt32(GL_REPLACE), findChunk<osg::TextureChunk>(shadow)->getEnvMode());
    EXPECT_THAT(loader().libraryMaterials(), IsEmpty());
}

TEST_F(ShadowBlend, anyNumberOfNodesIsAccepted)
{
    const osg::GeometryPtr core = makeTriangle();
    const std::vector<osg::ChunkMaterialPtr> materials = {makeShadow("paint"), makeShadow("s"),
                                                          makeShadow("t")};
    process({makeMaterialGroup("main", materials[0], {makeMesh(core)}),
             makeMaterialGroup("one", materials[1], {makeCopy(core)}),
             makeMaterialGroup("two", materials[2], {makeCopy(core)})});
    EXPECT_EQ(untouched, factors(materials[0]));
    EXPECT_EQ(multiplying, factors(materials[1]));
    EXPECT_EQ(multiplying, factors(materials[2]));
    EXPECT_EQ("", printed.err);
}

TEST_F(ShadowBlend, aShadowMaterialWithoutABlendChunkStaysAsItIs)
{
    const osg::ChunkMaterialPtr shadow = makeMain("shade");
    process(makePair(makeMain("paint"), shadow));
    EXPECT_THAT(chunkTypes(shadow), ElementsAre("MaterialChunk"));
}

TEST_F(ShadowBlend, shadowCopiesWithoutAMaterialOfChunksAboveArePassedOver)
{
    const osg::MaterialPtr passes = osg::MultiPassMaterial::create();
    const osg::GeometryPtr core = makeTriangle();
    const osg::ChunkMaterialPtr shadow = makeShadow("shade");
    process({makeCopy(core), makeMaterialGroup("passes", passes, {makeCopy(core)}),
             makeMaterialGroup("none", osg::NullFC, {makeCopy(core)}), makeGroup("group", {makeCopy(core)}),
             makeMaterialGroup("shadow", shadow, {makeCopy(core)})});
    EXPECT_EQ(multiplying, factors(shadow)) << "the others do not keep it from being corrected";
}

TEST_F(ShadowBlend, geometryWithAMaterialOfItsOwnOrASingleNodeIsPassedOver)
{
    const osg::ChunkMaterialPtr own = makeShadow("own");
    const osg::ChunkMaterialPtr single = makeShadow("single");
    const osg::GeometryPtr core = makeTriangle();
    {
        const osg::CPEditor edit(core);
        core->setMaterial(makeMain("paint"));
    }
    process({makeMaterialGroup("a", own, {makeCopy(core)}), makeMesh(core),
             makeMaterialGroup("b", single, {makeCopy(makeTriangle())})});
    EXPECT_EQ(untouched, factors(own));
    EXPECT_EQ(untouched, factors(single));
}

// -- in an import ----------------------------------------------------------------------------------

class ShadowImport : public Shadow
{
protected:
    /// "car.kb" with a quad, and its companion with another one; both in shading group "<name>SG".
    std::string makeCar(const std::string& quad = "quad", const std::string& shadowQuad = "shadowQuad")
    {
        for (const std::string& name : {shadowQuad, quad}) {
            KFileIO::newFile(true);
            makeShader("lambert", name + "Paint");
            makeQuad((name + "Shape").c_str(), makeMovedTransform(name.c_str(), 1, 0, 0));
            run("sets -edit -forceElement \"" + name + "PaintSG\" \"" + name + "Shape\"");
            saveScene(name == quad ? "car.kb" : "car_shadow.kb");
        }
        KFileIO::newFile(true);
        return inFolder("car.kb");
    }
};

TEST_F(ShadowImport, meshesOfTheTwoScenesThatShareNoCoreBothStayWithTheirMaterials)
{
    for (const char* options : {"", noMerge}) {
        const std::string file = makeCar();
        osg::NodePtr result;
        printed = printedBy([&] { result = zyKeldaLoader::read(file, options); });
        const ScopedGraph root(result);
        EXPECT_EQ("", printed.err);
        ASSERT_EQ(2u, root.get()->getNChildren());
        for (const std::string name : {"quad", "shadowQuad"}) {
            const osg::GeometryPtr geometry =
                geometryOf(nodeAt(root.get(), {name + "Shape", name + "Shape"}));
            ASSERT_TRUE(geometry != osg::NullFC) << name;
            EXPECT_EQ(name + "Paint", zyMaterials::getName(geometry->getMaterial()));
        }
    }
}

TEST_F(ShadowImport, instancesOfTheWalkHaveMaterialsOfTheirOwnAndAreNotReported)
{
    const KObject shape = makeQuad("quadShape", makeMovedTransform("a", 1, 0, 0));
    addInstance(makeMovedTransform("b", 2, 0, 0), shape);
    addInstance(makeMovedTransform("c", 3, 0, 0), shape);
    const ScopedGraph root(loader().walk());
    printed = printedBy([&] { loader().postProcessShadow(); });
    EXPECT_EQ("", printed.err);
    EXPECT_EQ(3u, root.get()->getNChildren());
}

TEST_F(ShadowImport, runsOnlyWhenACompanionWasAdded)
{
    const osg::GeometryPtr former = hold(makeTriangle());
    const auto listedAfter = [&](const std::string& file, const std::string& options) {
        zyKeldaLoaderTestAccess import(file, options);
        import.sharedGeometries().insert(former);
        osg::NodePtr result;
        printedBy([&] { result = import.read(); });
        const ScopedGraph root(result);
        return import.sharedGeometries().size();
    };
    const std::string file = makeCar();
    EXPECT_EQ(0u, listedAfter(file, "")) << "the pass begins with a list of its own";
    EXPECT_EQ(1u, listedAfter(file, "autoLoadShadowGeometry=false"));
    EXPECT_EQ(0, std::remove(inFolder("car_shadow.kb").c_str()));
    EXPECT_EQ(1u, listedAfter(file, ""));
}

TEST_F(ShadowImport, aPairThatIsInTheGraphIsMerged)
{
    zyKeldaLoaderTestAccess import(makeCar());
    osg::NodePtr result;
    printed = printedBy([&] {
        result = readChanging(import, [&] {
            const osg::CPEditor edit(import.root(), osg::Node::ChildrenFieldMask);
            for (const osg::NodePtr& group : makePair(makeMain("paint"), makeShadow("shade")))
                import.root()->addChild(group);
        });
    });
    const ScopedGraph root(result);
    EXPECT_EQ("", printed.err);
    EXPECT_THAT(partNames(mergeOf(nodeAt(root.get(), {"main"}))), ElementsAre("paint", "shade"));
    EXPECT_EQ(0u, nodeAt(root.get(), {"shadow"})->getNChildren());
}

// -- units by traversal ----------------------------------------------------------------------------

class UnitCallback : public Shadow
{
protected:
    UnitCallback() { loader().unitScale() = 10; }
    void scale(const osg::NodeCorePtr& core)
    {
        osg::NodePtr node = hold(makeNode("node", core));
        EXPECT_EQ(osg::Action::Continue, loader().getTtransformsCB(node));
    }
};

TEST_F(UnitCallback, ofATransform3DPlacesAreMultipliedAndScaleRotationAndShearStay)
{
    const osg::Transform3DPtr core = osg::Transform3D::create();
    osg::Quaternion turn;
    turn.setValueAsAxisRad(0, 0, 1, 0.5f);
    {
        const osg::CPEditor edit(core);
        core->setTranslation(osg::Vec3f(1, 2, 3));
        core->setScalePivot(osg::Vec3f(4, 5, 6));
        core->setScalePivotTranslation(osg::Vec3f(7, 8, 9));
        core->setRotatePivot(osg::Vec3f(0.1f, 0.2f, 0.3f));
        core->setRotatePivotTranslation(osg::Vec3f(0.4f, 0.5f, 0.6f));
        core->setScale(osg::Vec3f(2, 3, 4));
        core->setShear(osg::Vec3f(0.5f, 0, 0));
        core->setRotationAsQuaternion(turn);
    }
    const osg::Matrix former = core->getMatrix();
    scale(core);
    EXPECT_EQ(osg::Vec3f(10, 20, 30), core->getTranslation());
    EXPECT_EQ(osg::Pnt3f(40, 50, 60), core->getScalePivot());
    EXPECT_EQ(osg::Vec3f(70, 80, 90), core->getScalePivotTranslation());
    EXPECT_EQ(osg::Pnt3f(1, 2, 3), core->getRotatePivot());
    EXPECT_EQ(osg::Vec3f(4, 5, 6), core->getRotatePivotTranslation());
    EXPECT_EQ(osg::Vec3f(2, 3, 4), core->getScale());
    EXPECT_EQ(osg::Vec3f(0.5f, 0, 0), core->getShear());
    EXPECT_EQ(turn, core->getRotationAsQuaternion());
    for (int row = 0; row < 3; ++row)
        EXPECT_NEAR(10 * former[3][row], core->getMatrix()[3][row], 1e-3f) << "the matrix follows";
}

TEST_F(UnitCallback, ofAComponentTransformTranslationAndCenterAreMultiplied)
{
    const osg::ComponentTransformPtr core = osg::ComponentTransform::create();
    {
        const osg::CPEditor edit(core);
        core->setTranslation(osg::Vec3f(1, 2, 3));
        core->setCenter(osg::Vec3f(4, 5, 6));
        core->setScale(osg::Vec3f(2, 3, 4));
    }
    scale(core);
    EXPECT_EQ(osg::Vec3f(10, 20, 30), core->getTranslation());
    EXPECT_EQ(osg::Vec3f(40, 50, 60), core->getCenter());
    EXPECT_EQ(osg::Vec3f(2, 3, 4), core->getScale());
}

TEST_F(UnitCallback, ofAnyOtherTransformTheTranslationOfTheMatrixIsMultiplied)
{
    const osg::TransformPtr core = osg::Transform::create();
    osg::Matrix matrix(1, 2, 0, 4, 0, 3, 0.5f, 5, 0, 0, -1, 6, 0, 0, 0, 1);
    {
        const osg::CPEditor edit(core);
        core->setMatrix(matrix);
    }
    scale(core);
    for (int row = 0; row < 3; ++row)
        matrix[3][row] *= 10;
    EXPECT_EQ(matrix, core->getMatrix()) << "sheared and mirrored as before";
}

TEST_F(UnitCallback, goesOnAtNodesWithoutATransformation)
{
    scale(osg::Group::create());
    scale(osg::NullFC);
    osg::NodePtr none;
    EXPECT_EQ(osg::Action::Continue, loader().getTtransformsCB(none));
}
} // namespace
