// The export's walk: which node of the scene graph becomes which object of the modeller, and where it hangs.

#include "WriterTest.h"

#include <OpenSG/OSGComponentTransform.h>
#include <OpenSG/OSGMaterialGroup.h>
#include <OpenSG/OSGPointLight.h>

#include <kelda/KItDag.h>
#include <kelda/KMatrix.h>
#include <kelda/KQuaternion.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

class ExportWalk : public WriterTest
{
};

osg::NodePtr inactive(const osg::NodePtr& node)
{
    const osg::CPEditor edit(node);
    node->setActive(false);
    return node;
}

// -- hierarchy -------------------------------------------------------------------------------------

TEST_F(ExportWalk, theDagMirrorsTheGraphInChildOrder)
{
    build(
        groupNode("car", {groupNode("doors", {groupNode("left"), groupNode("right")}), groupNode("wheel")}));
    std::vector<std::string> paths;
    for (KItDag it; !it.isDone(); it.next()) {
        KDagPath path;
        it.getPath(path);
        paths.push_back(path.fullPathName().asUTF8());
    }
    EXPECT_THAT(paths,
                ElementsAre("|car", "|car|doors", "|car|doors|left", "|car|doors|right", "|car|wheel"));
}

TEST_F(ExportWalk, aNullNodeIsNothing)
{
    zyKeldaWriterTestAccess access;
    access.convertScenegraph(osg::NullFC, KObject::kNullObj);
    EXPECT_EQ(0u, access.nodesDone());
    EXPECT_THAT(writeProgress, IsEmpty());
    EXPECT_THAT(topNames(), IsEmpty());
}

TEST_F(ExportWalk, theWalkStartsBelowTheGivenObject)
{
    const osg::NodePtr graph = keep(groupNode("child"));
    zyKeldaWriterTestAccess access(graph);
    access.countNodes(graph);
    access.convertScenegraph(graph, makeTransform("top"));
    EXPECT_TRUE(exists("|top|child"));
}

TEST_F(ExportWalk, coresThatAreNeitherDrawnNorGroupsMakeNothingAndTheirChildrenMoveUp)
{
    build(groupNode("car", {probeNode("probe", {groupNode("bulb"), probeNode("in", {groupNode("glow")})})}));
    EXPECT_TRUE(exists("|car|bulb"));
    EXPECT_TRUE(exists("|car|glow"));
    EXPECT_FALSE(exists("probe"));
}

TEST_F(ExportWalk, lightsMakeNothingAlthoughTheyAreGroups)
{
    ASSERT_TRUE(osg::PointLight::getClassType().isDerivedFrom(osg::Group::getClassType()));
    build(groupNode("car", {lampNode("lamp", {groupNode("bulb"), lampNode("inner", {groupNode("glow")})})}));
    EXPECT_TRUE(exists("|car|bulb"));
    EXPECT_TRUE(exists("|car|glow"));
    EXPECT_FALSE(exists("lamp"));
}

TEST_F(ExportWalk, everyGroupLikeCoreBecomesATransform)
{
    build(groupNode("root", {switchNode("sw", 0, {}), nodeWith(osg::MaterialGroup::create(), "paint"),
                             matrixNode("matrix", osg::Matrix::identity()),
                             nodeWith(osg::ComponentTransform::create(), "parts"),
                             transform3DNode("comp", Components())}));
    for (const char* name : {"|root|sw", "|root|paint", "|root|matrix", "|root|parts", "|root|comp"}) {
        ASSERT_TRUE(exists(name)) << name;
        EXPECT_TRUE(pathOf(name).node().hasFn(KFn::kTransform)) << name;
        EXPECT_EQ(KMatrix::identity, transformAt(name).transformationMatrix()) << name;
    }
}

TEST_F(ExportWalk, inactiveSubtreesAreMissingAndTheProgressStopsShort)
{
    build(groupNode("root", {inactive(groupNode("off", {groupNode("below")})), groupNode("on")}));
    EXPECT_TRUE(exists("|root|on"));
    EXPECT_FALSE(exists("off"));
    EXPECT_FALSE(exists("below"));
    EXPECT_THAT(writeProgress, ElementsAre(25u, 50u, 75u))
        << "the node below the inactive one is never visited";
}

TEST_F(ExportWalk, nodesWithoutACoreAreMissingWithAllThatIsBelow)
{
    build(groupNode("root", {nodeWith(osg::NullFC, "coreless", {groupNode("below")}), groupNode("on")}));
    EXPECT_THAT(topNames(), ElementsAre("root"));
    EXPECT_TRUE(exists("|root|on"));
    EXPECT_FALSE(exists("below"));
    EXPECT_THAT(writeProgress, ElementsAre(25u, 50u, 75u));
}

TEST_F(ExportWalk, theUndoQueueIsEmptiedOnceForEachConvertedNode)
{
    KFaults::watch();
    build(groupNode("root", {groupNode("a"), lampNode("lamp"), shapeNode("", Shape()),
                             inactive(groupNode("off")), nodeWith(osg::NullFC, "coreless")}));
    EXPECT_THAT(KFaults::script(), ElementsAre("flushUndo", "flushUndo", "flushUndo", "flushUndo"));
}

TEST_F(ExportWalk, progressIsTheWholePartOfThePercentage)
{
    build(groupNode("root", {groupNode("a"), groupNode("b")}));
    EXPECT_THAT(writeProgress, ElementsAre(33u, 66u, 100u));
}

TEST_F(ExportWalk, deepGraphsDoNotOverflowTheStack)
{
    osg::NodePtr node = groupNode("leaf");
    for (int level = 1; level < 10000; ++level)
        node = groupNode("n", {node});
    keep(node);
    zyKeldaWriterTestAccess access(node);
    access.build();
    EXPECT_EQ(10000u, access.nodeCount());
    EXPECT_EQ(10000u, access.nodesDone());
    EXPECT_EQ(100u, writeProgress.back());
    unsigned depth = 0;
    for (KItDag it; !it.isDone(); it.next())
        ++depth;
    EXPECT_EQ(10000u, depth);
}

// -- names -----------------------------------------------------------------------------------------

TEST_F(ExportWalk, namesAreMadeLegal)
{
    build(groupNode("3 doors", {groupNode("left door.1")}));
    EXPECT_TRUE(exists("|__doors|left_door_1"));
}

TEST_F(ExportWalk, namesThatClashAmongSiblingsAreNumberedByTheSdk)
{
    build(groupNode("car", {groupNode("wheel"), groupNode("wheel"), groupNode("a", {groupNode("wheel")})}));
    const KFnDagNode car(pathOf("|car"));
    ASSERT_EQ(3u, car.childCount());
    EXPECT_EQ("wheel", std::string(KFnDagNode(car.child(0)).name().asUTF8()));
    EXPECT_NE("wheel", std::string(KFnDagNode(car.child(1)).name().asUTF8()));
    EXPECT_TRUE(exists("|car|a|wheel")) << "elsewhere the name is free";
}

TEST_F(ExportWalk, aNodeWithoutANameGetsTheSdksDefault)
{
    build(groupNode(""));
    EXPECT_THAT(topNames(), ElementsAre(testing::MatchesRegex("transform[0-9]+")));
}

// -- switches --------------------------------------------------------------------------------------

class ExportSwitch : public WriterTest, public testing::WithParamInterface<osg::Int32>
{
};

TEST_P(ExportSwitch, hidesTheChildrenThatItDoesNotShow)
{
    const osg::Int32 choice = GetParam();
    build(switchNode("sw", choice, {groupNode("c0"), groupNode("c1"), groupNode("c2")}));
    EXPECT_TRUE(isShown("sw"));
    for (osg::Int32 child = 0; child < 3; ++child)
        EXPECT_EQ(choice <= -2 || choice == child, isShown("c" + std::to_string(child))) << child;
}

INSTANTIATE_TEST_SUITE_P(Choices, ExportSwitch,
                         testing::Values(std::numeric_limits<osg::Int32>::min(), -3, -2, -1, 0, 1, 2, 3, 1000,
                                         std::numeric_limits<osg::Int32>::max()));

TEST_F(ExportSwitch, hidesTheTransformOfAGeometry)
{
    build(switchNode("sw", 1, {shapeNode("tri", triangle()), groupNode("other")}));
    EXPECT_FALSE(isShown("|sw|tri"));
    EXPECT_TRUE(isShown("|sw|tri|tri")) << "the shape itself stays as it is";
}

TEST_F(ExportSwitch, aLampThatIsNotChosenHidesTheSwitchItself)
{
    build(switchNode("sw", 1, {lampNode("lamp"), groupNode("chosen")}));
    EXPECT_FALSE(isShown("sw")) << "and with it the chosen child";
    EXPECT_TRUE(isShown("|sw|chosen"));
}

TEST_F(ExportSwitch, aChosenLampHidesOnlyTheOthers)
{
    build(switchNode("sw", 0, {lampNode("lamp"), groupNode("other")}));
    EXPECT_TRUE(isShown("sw"));
    EXPECT_FALSE(isShown("|sw|other"));
}

TEST_F(ExportSwitch, actsOnItsDirectChildrenOnly)
{
    build(switchNode("sw", 0, {groupNode("shown"), groupNode("hidden", {groupNode("below")})}));
    EXPECT_FALSE(isShown("hidden"));
    EXPECT_TRUE(isShown("below"));
}

TEST_F(ExportSwitch, alsoCountsWhenOnlyAChildIsExported)
{
    const osg::NodePtr child = groupNode("child");
    keep(switchNode("sw", -1, {child}));
    build(child);
    EXPECT_THAT(topNames(), ElementsAre("child"));
    EXPECT_FALSE(isShown("child"));
}

TEST_F(ExportSwitch, inactiveChildrenKeepTheirPlaceInTheChoice)
{
    build(switchNode("sw", 1, {inactive(groupNode("off")), groupNode("chosen"), groupNode("other")}));
    EXPECT_FALSE(exists("off"));
    EXPECT_TRUE(isShown("chosen"));
    EXPECT_FALSE(isShown("other"));
}

TEST_F(ExportSwitch, hidesNothingWhenTheTransformCouldNotBeMade)
{
    KFaults::failCall("KFnTransform::create", 2);
    build(switchNode("sw", -1, {groupNode("child")}));
    EXPECT_TRUE(isShown("sw"));
}

// -- transforms that keep their components ---------------------------------------------------------

class ExportTransform : public WriterTest
{
protected:
    /// Largest difference between the local matrix that the SDK has and the core's.
    static double matrixError(const std::string& path, const osg::Matrix& expected)
    {
        const KMatrix made = transformAt(path).transformationMatrix();
        double error = 0;
        for (osg::UInt32 column = 0; column < 4; ++column) {
            for (osg::UInt32 row = 0; row < 4; ++row)
                error = std::max(error, std::fabs(made.m[column][row] - expected[column][row]));
        }
        return error;
    }
    static osg::Quaternion rawQuaternion(float x, float y, float z, float w)
    {
        osg::Quaternion q;
        q.setValueAsQuat(x, y, z, w);
        return q;
    }
    /// Angle and axis that the rotation arrives with.
    static std::pair<double, KVector> exportedRotation(const osg::Quaternion& rotation)
    {
        Components c;
        c.rotation = rotation;
        const ScopedGraph graph(transform3DNode("turned", c));
        zyKeldaWriterTestAccess access(graph.get());
        access.build();
        KQuaternion q;
        EXPECT_FALSE(transformAt(topName()).getRotation(q).error());
        std::pair<double, KVector> result;
        q.getAxisAngle(result.second, result.first);
        return result;
    }

private:
    static std::string topName()
    {
        std::string last;
        for (KItDag it; !it.isDone(); it.next()) {
            KDagPath path;
            it.getPath(path);
            last = path.fullPathName().asUTF8();
        }
        return last;
    }
};

TEST_F(ExportTransform, allComponentsArriveAsTheyAre)
{
    const Components c = someComponents();
    const osg::NodePtr node = transform3DNode("part", c);
    build(node);
    const KFnTransform fn = transformAt("part");
    const auto expectEqual = [](const osg::Vec3f& expected, double x, double y, double z, const char* what) {
        EXPECT_EQ(expected[0], x) << what;
        EXPECT_EQ(expected[1], y) << what;
        EXPECT_EQ(expected[2], z) << what;
    };
    const KVector t = fn.translation(KSpace::kTransform);
    const KPoint rp = fn.rotatePivot(KSpace::kTransform);
    const KVector rpt = fn.rotatePivotTranslation(KSpace::kTransform);
    const KPoint sp = fn.scalePivot(KSpace::kTransform);
    const KVector spt = fn.scalePivotTranslation(KSpace::kTransform);
    double scale[3];
    double shear[3];
    fn.getScale(scale);
    fn.getShear(shear);
    expectEqual(c.translation, t.x, t.y, t.z, "translation");
    expectEqual(c.rotatePivot, rp.x, rp.y, rp.z, "rotate pivot");
    expectEqual(c.rotatePivotTranslation, rpt.x, rpt.y, rpt.z, "rotate pivot translation");
    expectEqual(c.scalePivot, sp.x, sp.y, sp.z, "scale pivot");
    expectEqual(c.scalePivotTranslation, spt.x, spt.y, spt.z, "scale pivot translation");
    expectEqual(c.scale, scale[0], scale[1], scale[2], "scale");
    expectEqual(c.shear, shear[0], shear[1], shear[2], "shear");
    EXPECT_LT(matrixError("part", transformOf(node)->getMatrix()), 1e-5);
}

TEST_F(ExportTransform, aRotationOrientationIsTakenOutOfTheRotation)
{
    Components c = someComponents();
    c.rotationOrientation.setValueAsAxisDeg(1, 0, 0, 40);
    const osg::NodePtr node = transform3DNode("part", c);
    build(node);

    const KQuaternion orientation = transformAt("part").rotateOrientation(KSpace::kTransform);
    EXPECT_NEAR(std::cos(20 * M_PI / 180), std::fabs(orientation.w), 1e-6);
    EXPECT_GT(matrixError("part", transformOf(node)->getMatrix()), 0.1) << "the core's matrix has both";
    c.rotationOrientation = osg::Quaternion();
    const osg::NodePtr without = keep(transform3DNode("without", c));
    EXPECT_LT(matrixError("part", transformOf(without)->getMatrix()), 1e-5)
        << "together they turn as the rotation does alone";
}

TEST_F(ExportTransform, theAngleComesFromTheScalarPart)
{
    const auto turned = exportedRotation(rawQuaternion(0, 0, 3, 0.5f));
    EXPECT_NEAR(2 * std::acos(0.5), turned.first, 1e-6) << "the vector part gives the axis only";
    EXPECT_NEAR(1, turned.second.z, 1e-12);
}

TEST_F(ExportTransform, aZeroVectorPartGivesNoRotation)
{
    EXPECT_EQ(0, exportedRotation(rawQuaternion(0, 0, 0, 1)).first);
    EXPECT_EQ(0, exportedRotation(rawQuaternion(0, 0, 0, -1)).first);
    EXPECT_EQ(0, exportedRotation(rawQuaternion(0, 0, 0, 0)).first) << "a quaternion of length zero";
    EXPECT_EQ(0, exportedRotation(rawQuaternion(0, 0, 0, 0.5f)).first);
}

TEST_F(ExportTransform, theVectorPartCountsFromALengthOfAMillionth)
{
    EXPECT_EQ(0, exportedRotation(rawQuaternion(9e-7f, 0, 0, 0)).first);
    EXPECT_NEAR(M_PI, exportedRotation(rawQuaternion(2e-6f, 0, 0, 0)).first, 1e-6);
}

TEST_F(ExportTransform, aScalarPartBeyondOneGivesNoRotationThatTheSdkTakes)
{
    const auto turned = exportedRotation(rawQuaternion(0.01f, 0, 0, 1.0001f));
    EXPECT_EQ(0, turned.first) << "the angle is no number";
}

TEST_F(ExportTransform, aNegativeScalarPartIsTheSameRotation)
{
    Components c;
    c.rotation = rawQuaternion(0, 0, std::sqrt(0.75f), -0.5f);
    const osg::NodePtr node = transform3DNode("part", c);
    build(node);
    EXPECT_LT(matrixError("part", transformOf(node)->getMatrix()), 1e-6);
}

// -- matrices --------------------------------------------------------------------------------------

TEST_F(ExportTransform, aMatrixIsSplitIntoTranslationRotationAndScale)
{
    osg::Quaternion rotation;
    rotation.setValueAsAxisDeg(1, 2, 3, 50);
    osg::Matrix matrix;
    matrix.setTransform(osg::Vec3f(1, 2, 3), rotation, osg::Vec3f(2, 3, 4));
    build(matrixNode("part", matrix));
    EXPECT_LT(matrixError("part", matrix), 1e-5);
    const KVector t = transformAt("part").translation(KSpace::kTransform);
    EXPECT_EQ(KVector(1, 2, 3), t);
    double scale[3];
    transformAt("part").getScale(scale);
    EXPECT_NEAR(2, scale[0], 1e-5);
    EXPECT_NEAR(3, scale[1], 1e-5);
    EXPECT_NEAR(4, scale[2], 1e-5);
}

TEST_F(ExportTransform, aMirroringMatrixStaysMirrored)
{
    osg::Matrix matrix;
    matrix.setScale(-1, 2, 3);
    build(matrixNode("part", matrix));
    EXPECT_LT(matrixError("part", matrix), 1e-5);
}

TEST_F(ExportTransform, shearAndProjectionOfAMatrixAreDropped)
{
    osg::Matrix matrix;
    matrix[1][0] = 0.5f; // x += 0.5 y
    matrix[0][3] = 0.25f;
    build(matrixNode("part", matrix));
    double shear[3];
    transformAt("part").getShear(shear);
    EXPECT_THAT(shear, ElementsAre(0, 0, 0));
    const KMatrix made = transformAt("part").transformationMatrix();
    EXPECT_EQ(0, made.m[0][3]);
    EXPECT_GT(matrixError("part", matrix), 0.1);
}

TEST_F(ExportTransform, aComponentTransformGoesByItsMatrix)
{
    const osg::ComponentTransformPtr core = osg::ComponentTransform::create();
    {
        const osg::CPEditor edit(core);
        core->setTranslation(osg::Vec3f(1, 2, 3));
        core->setCenter(osg::Vec3f(5, 0, 0));
        osg::Quaternion rotation;
        rotation.setValueAsAxisDeg(0, 0, 1, 90);
        core->setRotation(rotation);
    }
    build(nodeWith(core, "part"));
    EXPECT_LT(matrixError("part", core->getMatrix()), 1e-5);
    EXPECT_EQ(KPoint(0, 0, 0), transformAt("part").rotatePivot(KSpace::kTransform));
}

TEST_F(ExportTransform, childrenOfATransformThatCouldNotBeMadeLandBelowTheWorld)
{
    KFaults::failCall("KFnTransform::create", 2);
    build(groupNode("root", {groupNode("failed", {groupNode("child")})}));
    EXPECT_THAT(topNames(), ElementsAre("root", "child"));
    EXPECT_FALSE(exists("failed"));
}
} // namespace
