// The export driver: options, unit, file type, the save, and the scene afterwards; and the two small
// operations that the conversions share.

#include "WriterTest.h"

#include <OpenSG/OSGSceneFileHandler.h>

#include <kelda/KCommandResult.h>
#include <kelda/KFileIO.h>
#include <kelda/KGlobal.h>
#include <kelda/KItDag.h>
#include <kelda/KPlug.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace
{
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

bool sceneIsEmpty()
{
    return KItDag().isDone();
}

class Export : public WriterTest
{
protected:
    /// The command that sets the unit, as the SDK was given it.
    std::string unitCommand(const std::string& options)
    {
        KFaults::clear();
        KFaults::watch();
        exportTo(groupNode("group"), "unit.ka", options);
        for (const std::string& line : KFaults::script()) {
            if (line.find("currentUnit") == 0)
                return line;
        }
        return "";
    }
};

// -- members and options ---------------------------------------------------------------------------

TEST(WriterMembers, namesAreTakenFromThePath)
{
    zyKeldaWriterTestAccess access(osg::NullFC, "D:\\out/car.v2.kb", "units=Foot");
    EXPECT_EQ("D:\\out/car.v2.kb", access.fileName());
    EXPECT_EQ("car.v2.kb", access.sceneFileName());
    EXPECT_EQ("units=Foot", access.optionString());
    EXPECT_EQ("D:\\out", access.filePath());
    EXPECT_EQ("car.v2", access.baseName());
    EXPECT_TRUE(access.root() == osg::NullFC);
    EXPECT_TRUE(access.materialSets().empty());
    EXPECT_TRUE(access.usedShaderNames().empty());
    EXPECT_TRUE(access.sharedMeshes().empty());
    EXPECT_EQ(0u, access.nodeCount());
    EXPECT_EQ(0u, access.nodesDone());
}

TEST(WriterMembers, areCopiedOneByOne)
{
    const ScopedGraph graph(groupNode("group"));
    zyKeldaWriterTestAccess first(graph.get(), "a/b.ka", "units=Inch");
    first.usedShaderNames().insert("paint");
    first.materialSets()[osg::MaterialPtr()] = KObject();
    first.nodeCount() = 3;
    first.nodesDone() = 2;
    zyKeldaWriterTestAccess copy(first);
    zyKeldaWriterTestAccess assigned;
    assigned = first;
    for (zyKeldaWriterTestAccess* other : {&copy, &assigned}) {
        EXPECT_EQ("a/b.ka", other->fileName());
        EXPECT_EQ("b.ka", other->sceneFileName());
        EXPECT_EQ("units=Inch", other->optionString());
        EXPECT_EQ("a", other->filePath());
        EXPECT_EQ("b", other->baseName());
        EXPECT_TRUE(other->root() == graph.get());
        EXPECT_EQ(1u, other->usedShaderNames().count("paint"));
        EXPECT_EQ(1u, other->materialSets().size());
        EXPECT_EQ(3u, other->nodeCount());
        EXPECT_EQ(2u, other->nodesDone());
        EXPECT_EQ("Inch", other->unit());
    }
}

struct UnitOption {
    const char* options;
    const char* unit;
};
void PrintTo(const UnitOption& row, std::ostream* out)
{
    *out << '"' << row.options << '"';
}

class UnitOptions : public testing::TestWithParam<UnitOption>
{
};

TEST_P(UnitOptions, giveTheUnit)
{
    EXPECT_EQ(GetParam().unit, zyKeldaWriterTestAccess(osg::NullFC, "a.ka", GetParam().options).unit());
}

INSTANTIATE_TEST_SUITE_P(
    Texts, UnitOptions,
    testing::Values(UnitOption{"", "Millimeter"}, UnitOption{"u", "Millimeter"},
                    UnitOption{"units", "Millimeter"}, UnitOption{"units=", ""},
                    UnitOption{"Units=Meter", "Millimeter"}, UnitOption{"unit=Meter", "Millimeter"},
                    UnitOption{"units = Meter", "Millimeter"}, UnitOption{"units=Meter;x", "Meter"},
                    UnitOption{"units=Foot", "Foot"}, UnitOption{"units=foot", "foot"},
                    UnitOption{"units=inch2", "inch"}, UnitOption{"units=123", ""},
                    UnitOption{"units= Meter", ""}, UnitOption{"a=b;units=Yard c=d", "Yard"},
                    UnitOption{"units=Inch units=Mile", "Inch"}));

TEST(WriterOptions, anImportUnitCountsAsTheUnit)
{
    EXPECT_EQ("Meter", zyKeldaWriterTestAccess(osg::NullFC, "a.ka", "importunits=Meter").unit());
    EXPECT_EQ("Ignore", zyKeldaWriterTestAccess(osg::NullFC, "a.ka", "importunits=Ignore units=Foot").unit())
        << "the first occurrence is taken";
}

// -- unit ------------------------------------------------------------------------------------------

TEST_F(Export, capitalisedUnitNamesBecomeTheModellersKeywords)
{
    EXPECT_EQ("currentUnit -linear \"inch\";", unitCommand("units=Inch"));
    EXPECT_EQ("currentUnit -linear \"foot\";", unitCommand("units=Foot"));
    EXPECT_EQ("currentUnit -linear \"yard\";", unitCommand("units=Yard"));
    EXPECT_EQ("currentUnit -linear \"mile\";", unitCommand("units=Mile"));
    EXPECT_EQ("currentUnit -linear \"meter\";", unitCommand("units=Meter"));
    EXPECT_EQ("currentUnit -linear \"kilometer\";", unitCommand("units=Kilometer"));
    EXPECT_EQ("currentUnit -linear \"millimeter\";", unitCommand("units=Millimeter"));
    EXPECT_EQ("currentUnit -linear \"centimeter\";", unitCommand("units=Centimeter"));
    EXPECT_EQ("currentUnit -linear \"millimeter\";", unitCommand("")) << "the default";
}

TEST_F(Export, otherUnitTextsArePassedOnAsTheyAre)
{
    EXPECT_EQ("currentUnit -linear \"foot\";", unitCommand("units=foot"));
    EXPECT_EQ("currentUnit -linear \"cm\";", unitCommand("units=cm"));
    EXPECT_EQ("currentUnit -linear \"METER\";", unitCommand("units=METER"));
    EXPECT_EQ("currentUnit -linear \"\";", unitCommand("units="));
    EXPECT_EQ("currentUnit -linear \"\";", unitCommand("units=123"));
}

TEST_F(Export, theUnitIsPrintedAsTheModellerNamesIt)
{
    EXPECT_THAT(exportTo(groupNode("g"), "a.ka", "units=Foot").out,
                HasSubstr("Setting working linear unit to 'foot'.\n"));
    EXPECT_THAT(exportTo(groupNode("g"), "a.ka").out,
                HasSubstr("Setting working linear unit to 'millimeter'.\n"));
    EXPECT_THAT(exportTo(groupNode("g"), "a.ka", "units=").out,
                HasSubstr("Setting working linear unit to ''.\n"));
}

TEST_F(Export, aUnitThatTheModellerRejectsIsReportedAndTheExportGoesOn)
{
    for (const char* options : {"units=123", "units=Parsec"}) {
        const Printed printed = exportTo(groupNode("group"), "a.ka", options);
        EXPECT_THAT(printed.out, HasSubstr("Couldn't set working linear unit!\n")) << options;
        EXPECT_THAT(contentOf("a.ka"), HasSubstr("group")) << options;
        std::filesystem::remove(inFolder("a.ka"));
    }
    EXPECT_THAT(exportTo(groupNode("group"), "a.ka", "units=cm").out, Not(HasSubstr("Couldn't")));
}

TEST_F(Export, theUnitLabelsTheFileAndRescalesNothing)
{
    exportTo(matrixNode("moved",
                        [] {
                            osg::Matrix m;
                            m.setTranslate(5, 6, 7);
                            return m;
                        }()),
             "a.kb", "units=Meter");
    ASSERT_FALSE(KFileIO::open(inFolder("a.kb").c_str()).error());
    KCommandResult unit;
    KGlobal::executeCommand("currentUnit -query -f", unit);
    EXPECT_EQ("meter", std::string(unit.stringResult().asUTF8()));
    const KVector t = transformAt("moved").translation(KSpace::kTransform);
    EXPECT_EQ(5, t.x);
    EXPECT_EQ(6, t.y);
    EXPECT_EQ(7, t.z);
}

// -- driver ----------------------------------------------------------------------------------------

TEST_F(Export, anEmptyFileNameGivesFalseAndTouchesNothing)
{
    makeTransform("stays");
    const osg::NodePtr graph = keep(groupNode("group"));
    const Printed printed = printedBy([&] { EXPECT_FALSE(zyKeldaWriter::write(graph, "", "units=Foot")); });
    EXPECT_EQ("", printed.out);
    EXPECT_EQ("", printed.err);
    EXPECT_TRUE(messages.empty());
    EXPECT_THAT(topNames(), ElementsAre("stays"));
    EXPECT_THAT(writeProgress, IsEmpty());
    EXPECT_THAT(readProgress, IsEmpty());
}

TEST_F(Export, printsTheFileThenTheUnitAndNothingElse)
{
    const Printed printed = exportTo(groupNode("group", {shapeNode("tri", triangle())}), "a.ka");
    EXPECT_EQ("writing kelda '" + inFolder("a.ka") + "'\nSetting working linear unit to 'millimeter'.\n",
              printed.out);
    EXPECT_EQ("", printed.err);
    EXPECT_TRUE(messages.empty());
}

TEST_F(Export, aNullRootIsSavedAsAnEmptyScene)
{
    exportTo(osg::NullFC, "empty.ka");
    EXPECT_THAT(writeProgress, ElementsAre(0u));
    EXPECT_THAT(readProgress, ElementsAre(100u));
    EXPECT_TRUE(said("log.error").empty());
    ASSERT_FALSE(KFileIO::open(inFolder("empty.ka").c_str()).error());
    EXPECT_TRUE(sceneIsEmpty());
}

TEST_F(Export, progressRisesFromZeroWithEachNodeAndEndsOnTheReadProgress)
{
    exportTo(groupNode("a", {groupNode("b", {groupNode("c")}), groupNode("d")}), "a.ka");
    EXPECT_THAT(writeProgress, ElementsAre(0u, 25u, 50u, 75u, 100u));
    EXPECT_THAT(readProgress, ElementsAre(100u)) << "the host waits for the end of an export there";
}

TEST_F(Export, theSceneFormFollowsTheSuffix)
{
    struct Row {
        const char* name;
        bool ascii;
    };
    for (const Row& row :
         {Row{"a.ka", true}, Row{"a.KA", true}, Row{"b.Ka", false}, Row{"b.kA", false}, Row{"b.kb", false},
          Row{"b.KB", false}, Row{"b", false}, Row{"b.txt", false}, Row{"ka", false}}) {
        exportTo(groupNode("group"), row.name);
        KFileIO::newFile(true);
        EXPECT_EQ(row.ascii, !KFileIO::open(inFolder(row.name).c_str(), "keldaAscii", true).error())
            << row.name;
        EXPECT_EQ(!row.ascii, !KFileIO::open(inFolder(row.name).c_str(), "keldaBinary", true).error())
            << row.name;
    }
}

TEST_F(Export, backslashesInThePathAreSeparators)
{
    std::filesystem::create_directory(inFolder("sub"));
    const osg::NodePtr graph = keep(groupNode("group"));
    printedBy([&] { EXPECT_TRUE(zyKeldaWriter::write(graph, folder + "\\sub\\a.ka", "")); });
    EXPECT_THAT(contentOf("sub/a.ka"), HasSubstr("group"));
}

TEST_F(Export, aFailedSaveIsLoggedAndStillAnswersTrue)
{
    const osg::NodePtr graph = keep(groupNode("group"));
    const std::string path = inFolder("missing") + "\\a.ka";
    printedBy([&] { EXPECT_TRUE(zyKeldaWriter::write(graph, path, "")); });
    EXPECT_THAT(said("log.error"),
                ElementsAre("KFileIO::saveAs: couldn't export kelda file '" + path + "'!"));
    EXPECT_FALSE(std::filesystem::exists(inFolder("missing")));

    forgetMessages();
    KFaults::failCall("KFileIO::saveAs");
    exportTo(graph, "b.kb");
    EXPECT_THAT(said("log.error"),
                ElementsAre("KFileIO::saveAs: couldn't export kelda file '" + inFolder("b.kb") + "'!"));
}

TEST_F(Export, aFailedSaveLeavesTheSdkEmptyAndTheProgressComplete)
{
    KFaults::failCall("KFileIO::saveAs");
    exportTo(groupNode("group", {groupNode("child")}), "a.ka");
    EXPECT_TRUE(sceneIsEmpty());
    EXPECT_THAT(writeProgress, ElementsAre(0u, 50u, 100u));
    EXPECT_THAT(readProgress, ElementsAre(100u));
}

TEST_F(Export, aFullDiskLeavesTheOldFileWhole)
{
    exportTo(groupNode("before"), "a.ka");
    const std::string before = contentOf("a.ka");
    KFaults::failCall("KFileIO::write");
    exportTo(groupNode("after"), "a.ka");
    EXPECT_EQ(1u, said("log.error").size());
    EXPECT_EQ(before, contentOf("a.ka"));
}

TEST_F(Export, theSdksSceneIsEmptyAfterwards)
{
    exportTo(groupNode("group", {shapeNode("tri", triangle())}), "a.ka");
    EXPECT_TRUE(sceneIsEmpty());
}

TEST_F(Export, unitSaveAndCleaningFollowTheWalkInAFixedOrder)
{
    KFaults::watch();
    exportTo(groupNode("group"), "a.ka");
    EXPECT_THAT(KFaults::script(), ElementsAre("flushUndo", "currentUnit -linear \"millimeter\";",
                                               "delete -ch", "KFileIO::newFile", "flushUndo"));
    EXPECT_EQ(1u, KFaults::calls("KFileIO::saveAs"));
}

TEST_F(Export, aNewSceneThatFailsIsReported)
{
    KFaults::failCall("KFileIO::newFile");
    const Printed printed = exportTo(groupNode("group"), "a.ka");
    EXPECT_THAT(printed.out, testing::EndsWith("Couldn't call new scene!")) << "without a line feed";
    EXPECT_EQ("flushUndo", KFaults::script().back());
    EXPECT_THAT(readProgress, ElementsAre(100u));
}

TEST_F(Export, whatTheSdkHeldBeforeIsSavedAlong)
{
    makeTransform("leftover");
    exportTo(groupNode("group"), "a.ka");
    ASSERT_FALSE(KFileIO::open(inFolder("a.ka").c_str()).error());
    EXPECT_THAT(topNames(), ElementsAre("leftover", "group"))
        << "the scene is emptied at the end, not before";
}

TEST_F(Export, whenEveryCallOfTheSdkFailsTheResultIsStillTrue)
{
    KFaults::failCall("KGlobal::executeCommand", 1, 1000);
    KFaults::failCall("KFnMesh::create", 1, 1000);
    KFaults::failCall("KFnTransform::create", 1, 1000);
    KFaults::failCall("KFileIO::saveAs", 1, 1000);
    KFaults::failCall("KFileIO::newFile", 1, 1000);
    const Printed printed = exportTo(groupNode("g", {shapeNode("tri", triangle())}), "a.ka");
    EXPECT_THAT(printed.out, HasSubstr("Couldn't create mesh 'tri'\n"));
    EXPECT_THAT(printed.out, HasSubstr("Couldn't set working linear unit!\n"));
    EXPECT_THAT(printed.out, HasSubstr("Couldn't call new scene!"));
    EXPECT_EQ(1u, said("log.error").size());
}

TEST_F(Export, deepGraphsAreWrittenInBothForms)
{
    osg::NodePtr graph = groupNode("leaf");
    for (int level = 1; level < 10000; ++level)
        graph = groupNode("n", {graph});
    keep(graph);
    for (const char* name : {"deep.ka", "deep.kb"}) {
        exportTo(graph, name);
        EXPECT_TRUE(said("log.error").empty());
        ASSERT_FALSE(KFileIO::open(inFolder(name).c_str()).error()) << name;
        unsigned nodes = 0;
        for (KItDag it; !it.isDone(); it.next())
            ++nodes;
        EXPECT_EQ(10000u, nodes) << name;
        KFileIO::newFile(true);
    }
}

// -- counting --------------------------------------------------------------------------------------

TEST_F(Export, everyNodeIsCountedActiveOrNot)
{
    const osg::NodePtr off = groupNode("off", {groupNode("below")});
    {
        const osg::CPEditor edit(off);
        off->setActive(false);
    }
    const osg::NodePtr graph =
        keep(groupNode("a", {off, lampNode("lamp"), nodeWith(osg::NullFC, "coreless")}));
    zyKeldaWriterTestAccess access(graph);
    access.countNodes(graph);
    EXPECT_EQ(5u, access.nodeCount());
    access.countNodes(osg::NullFC);
    EXPECT_EQ(5u, access.nodeCount());
}

// -- setVisible and keldafyName --------------------------------------------------------------------

TEST_F(Export, setVisibleSetsTheVisibilityOfADagNode)
{
    const KObject object = makeTransform("part");
    zyKeldaWriterTestAccess access;
    EXPECT_TRUE(access.setVisible(KFnDagNode(object), false));
    EXPECT_FALSE(isShown("part"));
    EXPECT_TRUE(access.setVisible(KFnDagNode(object), true));
    EXPECT_TRUE(isShown("part"));
}

TEST_F(Export, setVisibleLeavesIntermediateObjectsAlone)
{
    const KObject shape = makeQuad("quadShape", makeTransform("quad"));
    run("setAttr \"quadShape.intermediateObject\" 1");
    EXPECT_FALSE(zyKeldaWriterTestAccess().setVisible(KFnDagNode(shape), false));
    EXPECT_TRUE(isShown("quadShape"));
}

TEST_F(Export, setVisibleWithoutAVisibilityPlugAnswersFalse)
{
    const KObject object = makeTransform("part");
    KFaults::failCall("KFnDependencyNode::findPlug");
    EXPECT_FALSE(zyKeldaWriterTestAccess().setVisible(KFnDagNode(object), false));
    EXPECT_TRUE(isShown("part"));
    EXPECT_FALSE(zyKeldaWriterTestAccess().setVisible(KFnDagNode(KObject::kNullObj), false));
}

TEST(LegalNames, keepLettersAndDigitsAndReplaceTheRestOneByOne)
{
    zyKeldaWriterTestAccess access;
    EXPECT_EQ("", access.keldafied(""));
    EXPECT_EQ("door", access.keldafied("door"));
    EXPECT_EQ("_door", access.keldafied("3door")) << "replaced, not prefixed";
    EXPECT_EQ("_23", access.keldafied("123"));
    EXPECT_EQ("left_door_1", access.keldafied("left door.1"));
    EXPECT_EQ("a_b_c_d", access.keldafied("a|b:c#d"));
    EXPECT_EQ("azAZ_09", access.keldafied("azAZ_09"));
    EXPECT_EQ("T__r", access.keldafied("T\xc3\xbcr")) << "byte by byte";
    EXPECT_EQ("____", access.keldafied("\n\t\x7f\xff"));
}
} // namespace
