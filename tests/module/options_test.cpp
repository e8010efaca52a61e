// The option string and the names that the loader derives from the path.

#include "LoaderTest.h"

#include <type_traits>

namespace
{
using Loader = zyKeldaLoaderTestAccess;

TEST(Options, emptyStringLeavesTheDefaults)
{
    Loader loader("scene.kb", "");
    EXPECT_FALSE(loader.multitextureEnvCombiner());
    EXPECT_TRUE(loader.forceGrayscaleShadowTexture());
    EXPECT_TRUE(loader.autoLoadShadowGeometry());
    EXPECT_FALSE(loader.shadowGeometry());
    EXPECT_TRUE(loader.shadowMerge());
    EXPECT_FALSE(loader.useLocalMaterialLibrary());
    EXPECT_EQ("", loader.importUnits());
    EXPECT_EQ(1.0f, loader.unitScale());
}

// One option word sets its own switch and no other one.
void expectOnly(const char* options, bool combiner, bool gray, bool autoShadow, bool shadow, bool merge,
                bool library)
{
    SCOPED_TRACE(options);
    Loader loader("scene.kb", options);
    EXPECT_EQ(combiner, loader.multitextureEnvCombiner());
    EXPECT_EQ(gray, loader.forceGrayscaleShadowTexture());
    EXPECT_EQ(autoShadow, loader.autoLoadShadowGeometry());
    EXPECT_EQ(shadow, loader.shadowGeometry());
    EXPECT_EQ(merge, loader.shadowMerge());
    EXPECT_EQ(library, loader.useLocalMaterialLibrary());
}

TEST(Options, eachWordSetsItsNonDefaultValue)
{
    expectOnly("multitextureEnvCombiner=true", true, true, true, false, true, false);
    expectOnly("forceGrayscaleShadowTexture=false", false, false, true, false, true, false);
    expectOnly("autoLoadShadowGeometry=false", false, true, false, false, true, false);
    expectOnly("shadowGeometry=true", false, true, true, true, true, false);
    expectOnly("shadowMerge=false", false, true, true, false, false, false);
    expectOnly("useLocalMaterialLibrary=true", false, true, true, false, true, true);
}

TEST(Options, defaultValuesAndOtherFormsHaveNoEffect)
{
    for (const char* options :
         {"multitextureEnvCombiner=false", "forceGrayscaleShadowTexture=true", "autoLoadShadowGeometry=true",
          "shadowGeometry=false", "shadowMerge=true", "useLocalMaterialLibrary=false", "shadowMerge=0",
          "ShadowMerge=false", "shadowMerge = false", "shadowMerge=False", "SHADOWGEOMETRY=TRUE"})
        expectOnly(options, false, true, true, false, true, false);
}

TEST(Options, autoLoadShadowGeometryTrueDoesNotCountAsShadowGeometryTrue)
{
    EXPECT_FALSE(Loader("scene.kb", "autoLoadShadowGeometry=true").shadowGeometry());
}

TEST(Options, wordsMayBeJoinedByAnythingAndStandInsideLongerWords)
{
    Loader loader("scene.kb", "xshadowMerge=falsex;useLocalMaterialLibrary=true,\tshadowGeometry=true1");
    EXPECT_FALSE(loader.shadowMerge());
    EXPECT_TRUE(loader.useLocalMaterialLibrary());
    EXPECT_TRUE(loader.shadowGeometry());
}

TEST(Options, importUnitsAreTheLettersBehindTheKey)
{
    Loader loader("scene.kb", "importunits=Millimeter;shadowMerge=false");
    EXPECT_EQ("Millimeter", loader.importUnits());
    EXPECT_FALSE(loader.shadowMerge());

    EXPECT_EQ("inch", Loader("scene.kb", "importunits=inch2").importUnits());
    EXPECT_EQ("KeldaUnits", Loader("scene.kb", "importunits=KeldaUnits").importUnits());
    EXPECT_EQ("Foot", Loader("scene.kb", "x importunits=Foot importunits=Yard").importUnits());
}

TEST(Options, importUnitsMayBeEmpty)
{
    EXPECT_EQ("", Loader("scene.kb", "importunits=").importUnits());
    EXPECT_EQ("", Loader("scene.kb", "importunits=7inch").importUnits());
    EXPECT_EQ("", Loader("scene.kb", "importunits= inch").importUnits());
    EXPECT_EQ("", Loader("scene.kb", "importunits=\xc3\xa4").importUnits())
        << "a byte beyond ASCII is no letter";
    EXPECT_EQ("", Loader("scene.kb", "ImportUnits=inch").importUnits());
}

TEST(Members, namesComeFromTheGivenPath)
{
    Loader loader("D:/scenes/car.kb", "some text");
    EXPECT_EQ("D:/scenes/car.kb", loader.fullFileName());
    EXPECT_EQ("car.kb", loader.fileName());
    EXPECT_EQ("some text", loader.optionString());
    EXPECT_EQ("D:/scenes", loader.filePath());
    EXPECT_EQ("car", loader.baseName());
    EXPECT_EQ("D:/scenes\\car_material_library.osb", loader.materialLibraryFile());
}

TEST(Members, materialLibraryIsAlwaysJoinedByABackslash)
{
    EXPECT_EQ("D:\\scenes\\car_material_library.osb", Loader("D:\\scenes\\car.kb").materialLibraryFile());
    EXPECT_EQ(".\\car_material_library.osb", Loader("car.kb").materialLibraryFile());
}

TEST(Members, startEmpty)
{
    Loader loader;
    EXPECT_TRUE(loader.root() == osg::NullFC);
    EXPECT_TRUE(loader.materialLibraryRoot() == osg::NullFC);
    EXPECT_TRUE(loader.libraryMaterials().empty());
    EXPECT_TRUE(loader.nameRecords().empty());
    EXPECT_TRUE(loader.planarProjections().empty());
    EXPECT_TRUE(loader.nodes().empty());
    EXPECT_TRUE(loader.transformsByName().empty());
    EXPECT_TRUE(loader.uvSetIndices().empty());
    EXPECT_TRUE(loader.lights().empty());
    EXPECT_TRUE(loader.switches().empty());
    EXPECT_TRUE(loader.sharedGeometries().empty());
    EXPECT_TRUE(loader.noShadowMeshes().empty());
    EXPECT_TRUE(loader.geometries().empty());
}

TEST(Members, copyAndAssignmentCopyEveryMemberWithoutReferences)
{
    osg::NodePtr node = osg::Node::create();
    osg::addRefCP(node);
    Loader original("a/b.ka", "importunits=Inch shadowMerge=false");
    original.root() = node;
    original.nodes()["|x"] = node;
    original.uvSetIndices()["map1"] = 3;
    original.noShadowMeshes().insert("|x|y");
    original.unitScale() = 2.5f;
    original.materialLibraryRoot() = node;
    original.transformsByName()["x"] = node;
    original.lights().insert(node);
    original.switches().push_back({node, node});
    original.geometries().push_back(osg::NullFC);
    original.sharedGeometries().insert(osg::NullFC);
    original.libraryMaterials()["paint"] = osg::NullFC;
    original.planarProjections().push_back({osg::NullFC, "placement"});
    original.nameRecords().push_back({"name", node});
    original.autoLoadShadowGeometry() = false;

    Loader copy("other.kb", "");
    copy.loader = original.loader;
    Loader constructed(original);
    for (Loader* loader : {&copy, &constructed}) {
        EXPECT_EQ("a/b.ka", loader->fullFileName());
        EXPECT_EQ("b", loader->baseName());
        EXPECT_EQ("Inch", loader->importUnits());
        EXPECT_FALSE(loader->shadowMerge());
        EXPECT_TRUE(loader->root() == node);
        EXPECT_TRUE(loader->nodes()["|x"] == node);
        EXPECT_EQ(3u, loader->uvSetIndices()["map1"]);
        EXPECT_EQ(1u, loader->noShadowMeshes().count("|x|y"));
        EXPECT_EQ(2.5f, loader->unitScale());
        EXPECT_EQ("b.ka", loader->fileName());
        EXPECT_EQ("importunits=Inch shadowMerge=false", loader->optionString());
        EXPECT_EQ("a", loader->filePath());
        EXPECT_EQ("a\\b_material_library.osb", loader->materialLibraryFile());
        EXPECT_TRUE(loader->materialLibraryRoot() == node);
        EXPECT_TRUE(loader->transformsByName()["x"] == node);
        EXPECT_EQ(1u, loader->lights().count(node));
        ASSERT_EQ(1u, loader->switches().size());
        EXPECT_TRUE(loader->switches()[0].switchNode == node);
        EXPECT_EQ(1u, loader->geometries().size());
        EXPECT_EQ(1u, loader->sharedGeometries().size());
        EXPECT_EQ(1u, loader->libraryMaterials().count("paint"));
        ASSERT_EQ(1u, loader->planarProjections().size());
        EXPECT_EQ("placement", loader->planarProjections()[0].placement);
        ASSERT_EQ(1u, loader->nameRecords().size());
        EXPECT_FALSE(loader->autoLoadShadowGeometry());
        EXPECT_FALSE(loader->multitextureEnvCombiner());
        EXPECT_TRUE(loader->forceGrayscaleShadowTexture());
        EXPECT_FALSE(loader->shadowGeometry());
        EXPECT_FALSE(loader->useLocalMaterialLibrary());
    }
    EXPECT_EQ(1, node.getRefCount());
    osg::subRefCP(node);
}

TEST(Members, onlyTheDestructorIsVirtual)
{
    EXPECT_TRUE(std::has_virtual_destructor<zyKeldaLoader>::value);
    EXPECT_TRUE(std::is_polymorphic<zyKeldaLoader>::value);
}
} // namespace
