// The import driver: the fixed sequence from the file to the finished root.

#include "LoaderTest.h"

#include <OpenSG/OSGChunkMaterial.h>
#include <OpenSG/OSGGroup.h>
#include <OpenSG/OSGMaterialGroup.h>
#include <OpenSG/OSGMaterialPool.h>
#include <OpenSG/OSGMultiPassMaterial.h>
#include <OpenSG/OSGSceneFileHandler.h>
#include <OpenSG/OSGSimpleAttachments.h>
#include <kelda/KFileIO.h>
#include <kelda/KItDag.h>
#include <kelda/testing/KFaults.h>
#include <zyInterfaces/zyInterfaceFactory.h>
#include <zyInterfaces/zyReferenceInterface.h>
#include <zyUtils/zyFile.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace
{
using testing::HasSubstr;

bool sceneIsEmpty()
{
    return KItDag().isDone();
}

void writeFile(const std::string& path, const std::string& content)
{
    std::ofstream(path, std::ios::binary) << content;
}

std::vector<osg::UInt32> progress;
void recordProgress(osg::UInt32 percent)
{
    progress.push_back(percent);
}

class Driver : public LoaderTest
{
protected:
    /// Scene "<name>" with one quad, moved, as "quad" and "quadShape". The SDK's scene is empty afterwards.
    std::string quadScene(const std::string& name, const char* shape = "quadShape")
    {
        KFileIO::newFile(true);
        makeQuad(shape, makeMovedTransform("quad", 1, 2, 3));
        const std::string path = saveScene(name);
        KFileIO::newFile(true);
        return path;
    }
    osg::NodePtr read(const std::string& path, const std::string& options = "")
    {
        return zyKeldaLoader::read(path, options);
    }
    ~Driver() override
    {
        interface()->setImportRootHandler({});
        osg::SceneFileHandler::the()->setReadProgressCB(nullptr, false);
    }
    static zyReferenceInterface* interface()
    {
        return zyInterfaceFactory::the()->get<zyReferenceInterface>();
    }
};

// -- opening ---------------------------------------------------------------------------------------

TEST_F(Driver, emptyFileNameReturnsANullNodeWithoutTouchingTheSdk)
{
    makeTransform("stays");
    EXPECT_TRUE(read("") == osg::NullFC);
    EXPECT_FALSE(sceneIsEmpty());
    EXPECT_TRUE(messages.empty());
}

TEST_F(Driver, logsTheStepsOfAnImport)
{
    const ScopedGraph root(read(quadScene("quad.kb")));
    EXPECT_EQ((std::vector<std::string>{
                  "Kelda import: reading 'quad.kb' ...", "Kelda import: reading 'quad.kb' ready.",
                  "Kelda import: validating geometry ...", "Kelda import: optimizing geometry ..."}),
              said("log.info"));
    EXPECT_TRUE(said("log.error").empty());
    EXPECT_TRUE(said("sdk").empty());
}

TEST_F(Driver, whatTheSdkHeldBeforeIsDiscarded)
{
    const std::string path = quadScene("quad.kb");
    makeQuad("leftoverShape", makeMovedTransform("leftover", 5, 5, 5));
    const ScopedGraph root(read(path));
    EXPECT_EQ((std::vector<std::string>{"quadShape"}), childNames(root.get()));
}

TEST_F(Driver, suffixesInAnyLetterCaseAreOpenedAsTheScene)
{
    for (const char* name : {"quad.kb", "quad.KB", "quad.ka", "quad.Ka"}) {
        const std::string path = quadScene(name);
        KFaults::failCall("KFileIO::import"); // would make an import fail
        const ScopedGraph root(read(path, "autoLoadShadowGeometry=false"));
        EXPECT_TRUE(root.get() != osg::NullFC) << name;
        EXPECT_EQ(0u, KFaults::calls("KFileIO::import")) << name;
        KFaults::clear();
    }
}

TEST_F(Driver, anyOtherSuffixIsImportedIntoTheEmptyScene)
{
    const std::string path = inFolder("triangle.obj");
    writeFile(path, "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
    const ScopedGraph root(read(path));
    ASSERT_TRUE(root.get() != osg::NullFC);
    EXPECT_EQ("triangle", nameOf(root.get()));
    EXPECT_EQ("Kelda import: reading 'triangle.obj' ready.", said("log.info").at(1));
}

TEST_F(Driver, failedOpenGivesOneLogLineAndANullNodeAndNothingElse)
{
    const std::string path = inFolder("broken.kb");
    writeFile(path, "this is no scene");
    osg::SceneFileHandler::the()->setReadProgressCB(recordProgress, false);
    progress.clear();
    const Printed printed = printedBy([&] { EXPECT_TRUE(read(path) == osg::NullFC); });
    EXPECT_EQ((std::vector<std::string>{"zyKeldaLoader::read : KFileIO::open failed to open 'broken.kb'!"}),
              said("log.error"));
    EXPECT_EQ((std::vector<std::string>{"Kelda import: reading 'broken.kb' ..."}), said("log.info"));
    EXPECT_EQ("", printed.out);
    EXPECT_EQ((std::vector<osg::UInt32>{0}), progress);
}

TEST_F(Driver, failedImportOfAnotherSuffixUsesTheSameText)
{
    EXPECT_TRUE(read(inFolder("missing.obj")) == osg::NullFC);
    EXPECT_EQ((std::vector<std::string>{"zyKeldaLoader::read : KFileIO::open failed to open 'missing.obj'!"}),
              said("log.error"));
}

TEST_F(Driver, afterAFailedOpenTheSdkSceneIsNotCleared)
{
    const std::string path = quadScene("quad.kb");
    KFaults::failCall("KFileIO::open");
    EXPECT_TRUE(read(path) == osg::NullFC);
    EXPECT_EQ(1u, KFaults::calls("KFileIO::newFile")) << "only the one at the start";
}

// -- current directory -----------------------------------------------------------------------------

TEST_F(Driver, currentDirectoryIsTheScenesWhileTheSdkOpensItAndRestoredAfterwards)
{
    const std::string before = zyFile::getCurrentDir();
    const std::string path = quadScene("quad.kb");
    {
        const ScopedGraph root(read(path));
        EXPECT_TRUE(root.get() != osg::NullFC) << "the SDK is given the bare name";
    }
    EXPECT_EQ(before, zyFile::getCurrentDir());
}

TEST_F(Driver, currentDirectoryIsRestoredAfterAFailure)
{
    const std::string before = zyFile::getCurrentDir();
    EXPECT_TRUE(read(inFolder("missing.kb")) == osg::NullFC);
    EXPECT_EQ(before, zyFile::getCurrentDir());
}

std::set<std::string> directories;
void recordDirectory(osg::UInt32)
{
    directories.insert(zyFile::getCurrentDir());
}

TEST_F(Driver, currentDirectoryIsRestoredBeforeTheWalk)
{
    const std::string path = quadScene("quad.kb");
    osg::SceneFileHandler::the()->setReadProgressCB(recordDirectory, false);
    directories.clear();
    const ScopedGraph root(read(path));
    EXPECT_EQ((std::set<std::string>{zyFile::getCurrentDir()}), directories);
}

TEST_F(Driver, aRelativePathIsOpenedByItsBareName)
{
    std::filesystem::create_directory(inFolder("sub"));
    quadScene("sub/quad.kb");
    const std::string before = zyFile::getCurrentDir();
    zyFile::setCurrentDir(folder);
    const ScopedGraph root(read("sub/quad.kb"));
    zyFile::setCurrentDir(before);
    EXPECT_TRUE(root.get() != osg::NullFC);
    EXPECT_EQ("Kelda import: reading 'quad.kb' ...", said("log.info").at(0));
}

TEST_F(Driver, aDirectoryThatIsNotThereFailsInsteadOfOpeningTheNameSomewhereElse)
{
    quadScene("quad.kb");
    const std::string before = zyFile::getCurrentDir();
    zyFile::setCurrentDir(folder);
    EXPECT_TRUE(read("nowhere/quad.kb") == osg::NullFC);
    zyFile::setCurrentDir(before);
    EXPECT_EQ((std::vector<std::string>{"zyKeldaLoader::read : KFileIO::open failed to open 'quad.kb'!"}),
              said("log.error"));
}

TEST_F(Driver, pathsWithBackslashesWork)
{
    quadScene("quad.kb");
    const ScopedGraph root(read(folder + "\\quad.kb"));
    ASSERT_TRUE(root.get() != osg::NullFC);
    EXPECT_EQ("quad", nameOf(root.get()));
}

TEST_F(Driver, aBareNameIsLookedForInTheCurrentDirectory)
{
    quadScene("quad.kb");
    const std::string before = zyFile::getCurrentDir();
    zyFile::setCurrentDir(folder);
    const ScopedGraph root(read("quad.kb"));
    zyFile::setCurrentDir(before);
    EXPECT_TRUE(root.get() != osg::NullFC);
}

// -- shadow companion ------------------------------------------------------------------------------

TEST_F(Driver, shadowFileBesideTheSceneIsAdded)
{
    quadScene("car_shadow.kb", "shadowQuadShape");
    const std::string path = quadScene("car.kb");
    osg::NodePtr result;
    const Printed printed = printedBy([&] { result = read(path); });
    const ScopedGraph root(result);
    EXPECT_THAT(printed.out, HasSubstr("zyKeldaLoader::read : loading shadow file 'car_shadow.kb'\n"));
    EXPECT_EQ("", printed.err);
    ASSERT_EQ((std::vector<std::string>{"quadShape", "shadowQuadShape"}), childNames(root.get()));
    EXPECT_FALSE(hasShadowMark(nodeAt(root.get(), {"quadShape", "quadShape"})));
    EXPECT_TRUE(hasShadowMark(nodeAt(root.get(), {"shadowQuadShape", "shadowQuadShape"})));
}

TEST_F(Driver, shadowFileTakesTheScenesOwnSuffix)
{
    quadScene("car_shadow.kb", "shadowQuadShape");
    const ScopedGraph root(read(quadScene("car.ka")));
    EXPECT_EQ((std::vector<std::string>{"quadShape"}), childNames(root.get()))
        << "car_shadow.ka is looked for";
}

TEST_F(Driver, missingShadowFileIsDroppedSilently)
{
    const std::string path = quadScene("car.kb");
    zyKeldaLoaderTestAccess loader(path);
    osg::NodePtr result;
    const Printed printed = printedBy([&] { result = loader.read(); });
    const ScopedGraph root(result);
    EXPECT_FALSE(loader.autoLoadShadowGeometry());
    EXPECT_EQ("Unit scale = 1.000000\n", printed.out);
    EXPECT_EQ("", printed.err);
    EXPECT_FALSE(hasShadowMark(nodeAt(root.get(), {"quadShape", "quadShape"})))
        << "the main scene's meshes were listed before the file was looked for";
}

TEST_F(Driver, brokenShadowFileIsReportedOnStandardErrorAndNoErrorOfTheImport)
{
    writeFile(inFolder("car_shadow.kb"), "broken");
    zyKeldaLoaderTestAccess loader(quadScene("car.kb"));
    osg::NodePtr result;
    const Printed printed = printedBy([&] { result = loader.read(); });
    const ScopedGraph root(result);
    EXPECT_TRUE(root.get() != osg::NullFC);
    EXPECT_THAT(printed.out, HasSubstr("zyKeldaLoader::read : loading shadow file 'car_shadow.kb'\n"));
    EXPECT_EQ("zyKeldaLoader::read : Couldn't add shadow file 'car_shadow.kb'\n", printed.err);
    EXPECT_FALSE(loader.autoLoadShadowGeometry());
    EXPECT_EQ((std::vector<std::string>{"quadShape"}), childNames(root.get()));
}

TEST_F(Driver, shadowFileIsIgnoredWhenTheOptionIsOff)
{
    quadScene("car_shadow.kb", "shadowQuadShape");
    const std::string path = quadScene("car.kb");
    osg::NodePtr result;
    const Printed printed = printedBy([&] { result = read(path, "autoLoadShadowGeometry=false"); });
    const ScopedGraph root(result);
    EXPECT_EQ("Unit scale = 1.000000\n", printed.out);
    EXPECT_EQ((std::vector<std::string>{"quadShape"}), childNames(root.get()));
    EXPECT_TRUE(hasShadowMark(nodeAt(root.get(), {"quadShape", "quadShape"}))) << "no mesh was listed";
}

TEST_F(Driver, shadowFileKeepsTheLetterCaseOfTheSuffix)
{
    quadScene("car_shadow.KB", "shadowQuadShape");
    const ScopedGraph root(read(quadScene("car.KB")));
    EXPECT_EQ((std::vector<std::string>{"quadShape", "shadowQuadShape"}), childNames(root.get()));
}

TEST_F(Driver, aFoldedMeshOfTheMainSceneGetsNoShadowMark)
{
    makeQuad("quadShape", makeTransform("quad"));
    const ScopedGraph root(read(saveScene("car.kb")));
    const osg::NodePtr quad = nodeAt(root.get(), {"quadShape"});
    ASSERT_TRUE(geometryOf(quad) != osg::NullFC);
    EXPECT_FALSE(hasShadowMark(quad));
}

TEST_F(Driver, noShadowMeshListHoldsTheFullPathNamesOfAllMeshes)
{
    const KObject top = makeTransform("top");
    makeQuad("firstShape", makeTransform("first", top));
    makeQuad("secondShape", makeMovedTransform("second", 1, 0, 0));
    zyKeldaLoaderTestAccess loader;
    loader.createNoShadowMeshList();
    EXPECT_EQ((std::set<std::string>{"|second|secondShape", "|top|first|firstShape"}),
              loader.noShadowMeshes());
}

TEST_F(Driver, noShadowMeshListSkipsPathsThatCannotBeRead)
{
    makeQuad("firstShape", makeTransform("first"));
    makeQuad("secondShape", makeTransform("second"));
    KFaults::failCall("KItDag::getPath", 2);
    zyKeldaLoaderTestAccess loader;
    loader.createNoShadowMeshList();
    EXPECT_EQ((std::set<std::string>{"|second|secondShape"}), loader.noShadowMeshes());
    KFaults::failCall("KItDag::KItDag");
    zyKeldaLoaderTestAccess none;
    none.createNoShadowMeshList();
    EXPECT_TRUE(none.noShadowMeshes().empty());
}

// -- units -----------------------------------------------------------------------------------------

struct UnitCase {
    const char* name;
    float scale;
    const char* printed;
};
const UnitCase unitCases[] = {
    {"Inch", 0.393700778f, "Unit scale = 0.393701\n"},  {"inch", 0.393700778f, "Unit scale = 0.393701\n"},
    {"Foot", 0.0328084007f, "Unit scale = 0.032808\n"}, {"foot", 0.0328084007f, "Unit scale = 0.032808\n"},
    {"Yard", 0.0109361326f, "Unit scale = 0.010936\n"}, {"yard", 0.0109361326f, "Unit scale = 0.010936\n"},
    {"Mile", 6.214e-6f, "Unit scale = 0.000006\n"},     {"mile", 6.214e-6f, "Unit scale = 0.000006\n"},
    {"Meter", 0.01f, "Unit scale = 0.010000\n"},        {"meter", 0.01f, "Unit scale = 0.010000\n"},
    {"Kilometer", 1e-05f, "Unit scale = 0.000010\n"},   {"kilometer", 1e-05f, "Unit scale = 0.000010\n"},
    {"Millimeter", 10.0f, "Unit scale = 10.000000\n"},  {"millimeter", 10.0f, "Unit scale = 10.000000\n"},
    {"Centimeter", 1.0f, "Unit scale = 1.000000\n"},    {"centimeter", 1.0f, "Unit scale = 1.000000\n"},
    {"Ignore", 1.0f, "Unit scale = 1.000000\n"},        {"MILLIMETER", 1.0f, "Unit scale = 1.000000\n"},
    {"milliMeter", 1.0f, "Unit scale = 1.000000\n"},    {"ignore", 1.0f, "Unit scale = 1.000000\n"},
    {"Parsec", 1.0f, "Unit scale = 1.000000\n"},        {"", 1.0f, "Unit scale = 1.000000\n"},
};

TEST_F(Driver, eachUnitOfTheTableInBothLetterForms)
{
    for (const UnitCase& c : unitCases) {
        SCOPED_TRACE(c.name);
        zyKeldaLoaderTestAccess loader("scene.kb", std::string("importunits=") + c.name);
        const Printed printed = printedBy([&] { loader.calcUnit(); });
        EXPECT_EQ(c.scale, loader.unitScale());
        EXPECT_EQ(c.printed, printed.out);
    }
}

TEST_F(Driver, inchIsTheSinglePrecisionReciprocalOf2Point54)
{
    zyKeldaLoaderTestAccess loader("scene.kb", "importunits=Inch");
    printedBy([&] { loader.calcUnit(); });
    EXPECT_EQ(static_cast<float>(1.0 / 2.54), loader.unitScale());
}

TEST_F(Driver, keldaUnitsAsksTheSdkForItsWorkingUnit)
{
    run("currentUnit -linear \"inch\"");
    zyKeldaLoaderTestAccess loader("scene.kb", "importunits=KeldaUnits");
    const Printed printed = printedBy([&] { loader.calcUnit(); });
    EXPECT_EQ("Current kelda unit is 'inch'.\nUnit scale = 0.393701\n", printed.out);
    EXPECT_EQ(0.393700778f, loader.unitScale());
}

TEST_F(Driver, keldaUnitsKeepsCentimetersWhenTheQueryFails)
{
    run("currentUnit -linear \"inch\"");
    KFaults::failCall("KGlobal::executeCommand");
    zyKeldaLoaderTestAccess loader("scene.kb", "importunits=KeldaUnits");
    const Printed printed = printedBy([&] { loader.calcUnit(); });
    EXPECT_EQ("Couldn't set working linear unit!\nUnit scale = 1.000000\n", printed.out);
    EXPECT_EQ(1.0f, loader.unitScale());
}

TEST_F(Driver, importUnitMillimeterGivesTheRootScale10)
{
    zyKeldaLoaderTestAccess loader("scene.kb", "importunits=Millimeter");
    printedBy([&] { loader.calcUnit(); });
    loader.createRoot();
    const ScopedGraph root(loader.root());
    EXPECT_EQ(osg::Vec3f(10, 10, 10), transformOf(root.get())->getScale());
    EXPECT_EQ("RootNode", nameOf(root.get()));
}

TEST_F(Driver, importUnitIsFlushedIntoTheTransformationsBelow)
{
    const ScopedGraph root(read(quadScene("quad.kb"), "importunits=Millimeter"));
    EXPECT_EQ(osg::Vec3f(1, 1, 1), transformOf(root.get())->getScale()) << "the root's scale has gone down";
    const osg::NodePtr quad = nodeAt(root.get(), {"quadShape"});
    ASSERT_TRUE(quad != osg::NullFC);
    EXPECT_EQ(osg::Vec3f(10, 20, 30), transformOf(quad)->getTranslation());
    const osg::GeometryPtr geometry = geometryOf(nodeAt(quad, {"quadShape"}));
    ASSERT_TRUE(geometry != osg::NullFC);
    float largest = 0;
    for (osg::UInt32 i = 0; i < geometry->getPositions()->size(); ++i)
        largest = std::max(largest, geometry->getPositions()->getValue(i)[0]);
    EXPECT_EQ(10.0f, largest) << "a unit quad in millimetres";
}

TEST_F(Driver, withoutUnitOptionRootAndTransformationsStayAsTheyAre)
{
    const ScopedGraph root(read(quadScene("quad.kb")));
    EXPECT_EQ(osg::Vec3f(1, 1, 1), transformOf(root.get())->getScale());
    EXPECT_EQ(osg::Vec3f(1, 2, 3), transformOf(nodeAt(root.get(), {"quadShape"}))->getTranslation());
}

// -- history ---------------------------------------------------------------------------------------

TEST_F(Driver, failingHistoryCommandsAreIgnored)
{
    const std::string path = quadScene("quad.kb");
    KFaults::failCall("KGlobal::executeCommand", 1, 4);
    const ScopedGraph root(read(path));
    EXPECT_TRUE(root.get() != osg::NullFC);
    EXPECT_TRUE(said("log.error").empty());
}

TEST_F(Driver, runsThreeHistoryCommandsOnTheSceneAndOneOnTheEmptyScene)
{
    const std::string path = quadScene("quad.kb");
    KFaults::watch();
    const ScopedGraph root(read(path));
    EXPECT_EQ(
        (std::vector<std::string>{"KFileIO::newFile", "DeleteAllHistory", "delete -all -constructionHistory",
                                  "delete -ch", "KFileIO::newFile", "delete -ch"}),
        KFaults::script());
    EXPECT_TRUE(sceneIsEmpty());
}

// -- material library ------------------------------------------------------------------------------

osg::ChunkMaterialPtr makeMaterial(const char* name)
{
    const osg::ChunkMaterialPtr material = osg::ChunkMaterial::create();
    osg::setName(material, name);
    return material;
}

osg::NodePtr makeCored(const osg::NodeCorePtr& core)
{
    return osg::makeNodeFor(core);
}

class Library : public Driver
{
protected:
    /// Writes "car_material_library.osb" with these materials in a pool, or on groups.
    void writeLibrary(const std::vector<const char*>& names, bool pool)
    {
        std::vector<osg::MaterialPtr> materials;
        for (const char* name : names)
            materials.push_back(makeMaterial(name));
        const osg::NodePtr root = makeCored(osg::Group::create());
        if (pool)
            addChild(root, makePool(materials));
        else
            addGroups(root, materials);
        writeLibrary(root);
    }
    /// Writes it with this graph.
    void writeLibrary(const osg::NodePtr& graph)
    {
        const ScopedGraph root(graph);
        ASSERT_TRUE(
            osg::SceneFileHandler::the()->write(root.get(), inFolder("car_material_library.osb").c_str()));
    }
    static osg::NodePtr makePool(const std::vector<osg::MaterialPtr>& materials)
    {
        const osg::MaterialPoolPtr core = osg::MaterialPool::create();
        const osg::CPEditor edit(core);
        for (const osg::MaterialPtr& material : materials)
            core->add(material);
        return makeCored(core);
    }
    static void addGroups(const osg::NodePtr& parent, const std::vector<osg::MaterialPtr>& materials)
    {
        for (const osg::MaterialPtr& material : materials) {
            const osg::MaterialGroupPtr core = osg::MaterialGroup::create();
            {
                const osg::CPEditor edit(core);
                core->setMaterial(material);
            }
            addChild(parent, makeCored(core));
        }
    }
    static void addChild(const osg::NodePtr& parent, const osg::NodePtr& child)
    {
        const osg::CPEditor edit(parent, osg::Node::ChildrenFieldMask);
        parent->addChild(child);
    }
    static std::vector<std::string> materialNames(zyKeldaLoaderTestAccess& loader)
    {
        std::vector<std::string> names;
        for (const auto& entry : loader.libraryMaterials())
            names.push_back(entry.first);
        return names;
    }
};

const char useLibrary[] = "useLocalMaterialLibrary=true";

TEST_F(Library, materialsOfThePoolAreFoundByName)
{
    writeLibrary({"red", "blue"}, true);
    zyKeldaLoaderTestAccess loader(inFolder("car.kb"), useLibrary);
    const Printed printed = printedBy([&] { loader.loadMaterialLibrary(); });
    EXPECT_EQ("found 2 materials in local material library file.\n", printed.out);
    EXPECT_EQ("", printed.err);
    EXPECT_EQ((std::vector<std::string>{"blue", "red"}), materialNames(loader));
    EXPECT_EQ(1, loader.materialLibraryRoot().getRefCount()) << "the driver's own reference";

    osg::NodePtr library = loader.materialLibraryRoot();
    osg::addRefCP(library);
    loader.unloadMaterialLibrary();
    EXPECT_EQ(1, library.getRefCount()) << "the driver's reference is gone";
    osg::subRefCP(library);
    EXPECT_TRUE(loader.materialLibraryRoot() == osg::NullFC);
    EXPECT_EQ(2u, loader.libraryMaterials().size()) << "the map is not cleared";
}

TEST_F(Library, aMaterialOfTheShadersNameTakesItsPlaceInTheImport)
{
    writeLibrary({"paint"}, true);
    for (const char* name : {"paint", "varnish"}) {
        makeShader("phong", name);
        const std::string shape = std::string(name) + "Shape";
        makeStrip(shape.c_str(), makeTransform((std::string("of_") + name).c_str()), 1);
        assignWhole(shape, std::string(name) + "SG");
    }
    const std::string file = saveScene("car.kb");
    osg::NodePtr root;
    printedBy([&] { root = zyKeldaLoader::read(file, useLibrary); });
    const ScopedGraph graph(root);
    const auto chunkCount = [&](const char* shape) {
        return osg::ChunkMaterialPtr::dcast(geometryOf(nodeAt(root, {shape}))->getMaterial())
            ->getChunks()
            .size();
    };
    EXPECT_EQ(0u, chunkCount("paintShape")) << "the library's, which has none";
    EXPECT_EQ(1u, chunkCount("varnishShape")) << "the scene's own";
}

TEST_F(Library, theDestructorReleasesNothing)
{
    writeLibrary({"red"}, true);
    osg::NodePtr library;
    printedBy([&] {
        zyKeldaLoaderTestAccess loader(inFolder("car.kb"), useLibrary);
        loader.loadMaterialLibrary();
        library = loader.materialLibraryRoot();
    });
    EXPECT_EQ(1, library.getRefCount());
    osg::subRefCP(library);
}

TEST_F(Library, isLookedForFromTheFormerDirectory)
{
    std::filesystem::create_directory(inFolder("sub"));
    writeLibrary({"red"}, true);
    std::filesystem::rename(inFolder("car_material_library.osb"), inFolder("sub/car_material_library.osb"));
    quadScene("sub/car.kb");
    const std::string before = zyFile::getCurrentDir();
    zyFile::setCurrentDir(folder);
    osg::NodePtr result;
    const Printed printed = printedBy([&] { result = read("sub/car.kb", useLibrary); });
    zyFile::setCurrentDir(before);
    const ScopedGraph root(result);
    EXPECT_THAT(printed.out, HasSubstr("found 1 materials in local material library file.\n"))
        << "the path of the library is relative, too";
}

TEST_F(Library, withoutAPoolAllMaterialsOfTheFileAreTaken)
{
    writeLibrary({"red", "blue"}, false);
    zyKeldaLoaderTestAccess loader(inFolder("car.kb"), useLibrary);
    const Printed printed = printedBy([&] { loader.loadMaterialLibrary(); });
    EXPECT_EQ("Couldn't find material pool in material library file.\n"
              "found 2 materials in local material library file.\n",
              printed.out);
    EXPECT_EQ((std::vector<std::string>{"blue", "red"}), materialNames(loader));
    loader.unloadMaterialLibrary();
}

TEST_F(Library, anEmptyPoolIsNoMissingPool)
{
    writeLibrary({}, true);
    zyKeldaLoaderTestAccess loader(inFolder("car.kb"), useLibrary);
    const Printed printed = printedBy([&] { loader.loadMaterialLibrary(); });
    EXPECT_EQ("found 0 materials in local material library file.\n", printed.out);
    loader.unloadMaterialLibrary();
}

TEST_F(Library, ofAnEmptyPoolTheMaterialsOfTheSceneBesideItAreTaken)
{
    const osg::NodePtr root = makeCored(osg::Group::create());
    addChild(root, makePool({}));
    addGroups(root, {makeMaterial("red"), makeMaterial("blue")});
    writeLibrary(root);
    zyKeldaLoaderTestAccess loader(inFolder("car.kb"), useLibrary);
    const Printed printed = printedBy([&] { loader.loadMaterialLibrary(); });
    EXPECT_EQ("found 2 materials in local material library file.\n", printed.out);
    EXPECT_EQ((std::vector<std::string>{"blue", "red"}), materialNames(loader));
    loader.unloadMaterialLibrary();
}

TEST_F(Library, ofAPoolWithMaterialsThoseOfTheSceneBesideItAreNotTaken)
{
    const osg::NodePtr root = makeCored(osg::Group::create());
    addChild(root, makePool({makeMaterial("red")}));
    addGroups(root, {makeMaterial("blue")});
    writeLibrary(root);
    zyKeldaLoaderTestAccess loader(inFolder("car.kb"), useLibrary);
    const Printed printed = printedBy([&] { loader.loadMaterialLibrary(); });
    EXPECT_EQ("found 1 materials in local material library file.\n", printed.out);
    EXPECT_EQ((std::vector<std::string>{"red"}), materialNames(loader));
    loader.unloadMaterialLibrary();
}

TEST_F(Library, theMaterialsThatOneIsMadeOfAreFoundByNameAtItsPlace)
{
    const osg::MultiPassMaterialPtr outer = osg::MultiPassMaterial::create();
    osg::setName(outer, "outer");
    {
        const osg::CPEditor edit(outer);
        outer->addMaterial(makeMaterial("base"));
        outer->addMaterial(makeMaterial("paint"));
    }
    const osg::NodePtr root = makeCored(osg::Group::create());
    addChild(root, makePool({outer, makeMaterial("paint")}));
    writeLibrary(root);
    zyKeldaLoaderTestAccess loader(inFolder("car.kb"), useLibrary);
    const Printed printed = printedBy([&] { loader.loadMaterialLibrary(); });
    EXPECT_EQ("found 2 materials in local material library file.\n", printed.out) << "parts are not counted";
    ASSERT_EQ((std::vector<std::string>{"base", "outer", "paint"}), materialNames(loader));
    const auto read = osg::MultiPassMaterialPtr::dcast(loader.libraryMaterials()["outer"]);
    ASSERT_TRUE(read != osg::NullFC);
    EXPECT_TRUE(loader.libraryMaterials()["paint"] == read->getMaterials(1))
        << "before the pool's second one";
    loader.unloadMaterialLibrary();
}

TEST_F(Library, ofTwoMaterialsWithOneNameTheFirstInPoolOrderIsKept)
{
    writeLibrary({"paint", "other", "paint"}, true);
    zyKeldaLoaderTestAccess loader(inFolder("car.kb"), useLibrary);
    const Printed printed = printedBy([&] { loader.loadMaterialLibrary(); });
    EXPECT_EQ("found 3 materials in local material library file.\n", printed.out);
    ASSERT_EQ((std::vector<std::string>{"other", "paint"}), materialNames(loader));

    std::vector<osg::MaterialPtr> pool;
    osg::MaterialPoolPtr::dcast(loader.materialLibraryRoot()->getChild(0)->getCore())->get(pool);
    EXPECT_TRUE(loader.libraryMaterials()["paint"] == pool.at(0));
    loader.unloadMaterialLibrary();
}

TEST_F(Library, brokenLibraryIsReportedOnStandardErrorAndTheImportGoesOn)
{
    writeFile(inFolder("car_material_library.osb"), "broken");
    const std::string path = quadScene("car.kb");
    osg::NodePtr result;
    const Printed printed = printedBy([&] { result = read(path, useLibrary); });
    const ScopedGraph root(result);
    EXPECT_TRUE(root.get() != osg::NullFC);
    EXPECT_THAT(printed.err,
                HasSubstr("Reading the material_library " + folder + "\\car_material_library.osb failed\n"));
}

TEST_F(Library, missingLibraryIsSkippedSilently)
{
    zyKeldaLoaderTestAccess loader(inFolder("car.kb"), useLibrary);
    const Printed printed = printedBy([&] { loader.loadMaterialLibrary(); });
    EXPECT_EQ("", printed.out + printed.err);
    EXPECT_TRUE(loader.materialLibraryRoot() == osg::NullFC);
    loader.unloadMaterialLibrary();
}

TEST_F(Library, isNotLookedAtWithoutTheOption)
{
    writeLibrary({"red"}, true);
    zyKeldaLoaderTestAccess loader(inFolder("car.kb"));
    const Printed printed = printedBy([&] { loader.loadMaterialLibrary(); });
    EXPECT_EQ("", printed.out + printed.err);
    EXPECT_TRUE(loader.libraryMaterials().empty());
}

TEST_F(Library, isReleasedByTheImport)
{
    writeLibrary({"red"}, true);
    zyKeldaLoaderTestAccess loader(quadScene("car.kb"), useLibrary);
    osg::NodePtr result;
    const Printed printed = printedBy([&] { result = loader.read(); });
    const ScopedGraph root(result);
    EXPECT_THAT(printed.out, HasSubstr("found 1 materials in local material library file.\n"));
    EXPECT_TRUE(loader.materialLibraryRoot() == osg::NullFC);
}

// -- the end of an import --------------------------------------------------------------------------

TEST_F(Driver, rootIsNamedAfterTheFilesBaseName)
{
    const ScopedGraph root(read(quadScene("my.car.kb")));
    EXPECT_EQ("my.car", nameOf(root.get()));
    EXPECT_EQ(0, root.get().getRefCount() - 1) << "the caller owns the only reference";
}

TEST_F(Driver, rootHasATransform3DCore)
{
    const ScopedGraph root(read(quadScene("quad.kb")));
    EXPECT_TRUE(transformOf(root.get()) != osg::NullFC);
}

TEST_F(Driver, referenceInterfaceGetsRootAndFullPath)
{
    std::string seenName;
    std::string seenPath;
    interface()->setImportRootHandler([&](osg::NodePtr root, std::string path) {
        seenName = nameOf(root);
        seenPath = path;
        return root;
    });
    const std::string path = quadScene("quad.kb");
    const ScopedGraph root(read(path));
    EXPECT_EQ("RootNode", seenName);
    EXPECT_EQ(path, seenPath);
}

TEST_F(Driver, aWrappingReferenceInterfaceReplacesTheRoot)
{
    interface()->setImportRootHandler([&](osg::NodePtr root, std::string) {
        const osg::NodePtr wrapper = makeCored(osg::Group::create());
        osg::setName(wrapper, "wrapper");
        const osg::CPEditor edit(wrapper, osg::Node::ChildrenFieldMask);
        wrapper->addChild(root);
        return wrapper;
    });
    const ScopedGraph root(read(quadScene("quad.kb")));
    EXPECT_EQ("wrapper", nameOf(root.get())) << "a root that is named otherwise keeps its name";
    EXPECT_EQ((std::vector<std::string>{"RootNode"}), childNames(root.get()));
}

TEST_F(Driver, aRenamingReferenceInterfaceKeepsItsName)
{
    interface()->setImportRootHandler([&](osg::NodePtr root, std::string) {
        osg::setName(root, "reference");
        return root;
    });
    const ScopedGraph root(read(quadScene("quad.kb")));
    EXPECT_EQ("reference", nameOf(root.get()));
}

TEST_F(Driver, aWrapperThatIsCalledLikeTheRootIsNamedAfterTheFile)
{
    interface()->setImportRootHandler([&](osg::NodePtr root, std::string) {
        const osg::NodePtr wrapper = makeCored(osg::Group::create());
        osg::setName(wrapper, "RootNode");
        const osg::CPEditor edit(wrapper, osg::Node::ChildrenFieldMask);
        wrapper->addChild(root);
        return wrapper;
    });
    const ScopedGraph root(read(quadScene("quad.kb")));
    EXPECT_EQ("quad", nameOf(root.get()));
}

TEST_F(Driver, referenceInterfaceIsLookedUpOncePerProcess)
{
    const std::string path = quadScene("quad.kb");
    const ScopedGraph first(read(path));
    zyReferenceInterface* const found = interface();
    zyReferenceInterface other;
    bool otherCalled = false;
    other.setImportRootHandler([&](osg::NodePtr root, std::string) {
        otherCalled = true;
        return root;
    });
    zyInterfaceFactory::the()->set<zyReferenceInterface>(&other);
    const ScopedGraph second(read(path));
    zyInterfaceFactory::the()->set<zyReferenceInterface>(found);
    EXPECT_FALSE(otherCalled);
}

TEST_F(Driver, damagedGeometryIsRepaired)
{
    makeStrip("stripShape", makeMovedTransform("strip", 1, 0, 0), 2);
    assignWhole("stripShape", "initialShadingGroup");
    const std::string path = saveScene("strip.kb");
    KFaults::failCall("KItMeshPolygon::polygonVertexCount"); // leaves a type without a length
    const ScopedGraph root(read(path));
    const osg::GeometryPtr geometry = geometryOf(nodeAt(root.get(), {"stripShape", "stripShape"}));
    ASSERT_TRUE(geometry != osg::NullFC);
    EXPECT_EQ(geometry->getTypes()->size(), geometry->getLengths()->size());
}

TEST_F(Driver, sdkSceneIsEmptyAfterwards)
{
    const ScopedGraph root(read(quadScene("quad.kb")));
    EXPECT_TRUE(sceneIsEmpty());
}

TEST_F(Driver, progressRunsFrom0ToBelow100AndEndsWith100)
{
    for (int i = 0; i < 6; ++i)
        makeTransform("group#");
    const std::string path = saveScene("groups.kb");
    osg::SceneFileHandler::the()->setReadProgressCB(recordProgress, false);
    progress.clear();
    const ScopedGraph root(read(path));
    EXPECT_EQ((std::vector<osg::UInt32>{0, 0, 16, 33, 50, 66, 83, 100}), progress);
}

TEST_F(Driver, equalVerticesAreUnified)
{
    // Two triangles with four of six points at the same places.
    KFloatPointArray points;
    for (const auto& p : {KFloatPoint(0, 0, 0), KFloatPoint(1, 0, 0), KFloatPoint(0, 1, 0),
                          KFloatPoint(1, 0, 0), KFloatPoint(1, 1, 0), KFloatPoint(0, 1, 0)})
        points.append(p);
    KIntArray counts;
    KIntArray connects;
    for (int face = 0; face < 2; ++face)
        counts.append(3);
    for (int corner = 0; corner < 6; ++corner)
        connects.append(corner);
    KFnMesh mesh;
    mesh.create(6, 2, points, counts, connects, makeMovedTransform("t", 1, 0, 0));
    mesh.setName("twoShape");
    assignWhole("twoShape", "initialShadingGroup");
    const ScopedGraph root(read(saveScene("two.kb")));
    const osg::GeometryPtr geometry = geometryOf(nodeAt(root.get(), {"twoShape", "twoShape"}));
    ASSERT_TRUE(geometry != osg::NullFC);
    EXPECT_EQ(4u, geometry->getPositions()->size());
}

TEST_F(Driver, postProcessLightsDoesNothing)
{
    zyKeldaLoaderTestAccess loader;
    const Printed printed = printedBy([&] { loader.postProcessLights(); });
    EXPECT_EQ("", printed.out + printed.err);
    EXPECT_TRUE(messages.empty());
}
} // namespace
