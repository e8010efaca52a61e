// Animation curves: told about on standard output, nothing of them is imported.

#include "LoaderTest.h"

#include <kelda/KDoubleArray.h>
#include <kelda/KFnAnimCurve.h>
#include <kelda/KPlug.h>
#include <kelda/KTime.h>
#include <kelda/testing/KFaults.h>

#include <utility>

namespace
{
typedef std::vector<std::pair<double, double>> Keys;

class AnimCurves : public LoaderTest
{
protected:
    zyKeldaLoaderTestAccess loader;

    /// A curve that drives an attribute; keys are times in film frames and values.
    static KObject animate(const KObject& node, const char* attribute, const Keys& keys)
    {
        KFnAnimCurve curve;
        KStatus status;
        const KObject object = curve.create(KFnDependencyNode(node).findPlug(attribute), &status);
        EXPECT_FALSE(status.error());
        for (const auto& key : keys) {
            curve.addKey(KTime(key.first, KTime::kFilm), key.second, &status);
            EXPECT_FALSE(status.error());
        }
        return object;
    }
    static void rename(const KObject& object, const char* name)
    {
        KFnDependencyNode fn(object);
        fn.setName(name);
    }
    std::string walkOutput()
    {
        osg::NodePtr root;
        const Printed printed = printedBy([&] { root = loader.walk(); });
        _graphs.emplace_back(new ScopedGraph(root));
        EXPECT_EQ("", printed.err);
        return printed.out;
    }

private:
    std::vector<std::unique_ptr<ScopedGraph>> _graphs;
};

// -- listings --------------------------------------------------------------------------------------

TEST_F(AnimCurves, keysAreListedWithSecondsOfFilmAndValues)
{
    rename(animate(makeTransform("wheel"), "translateX", {{0, 0}, {24, 10}}), "slide");
    EXPECT_EQ("AnimCurve: slide keys: NumKeys 2\n time 0 value 0\n time 1 value 10\n", walkOutput());
}

TEST_F(AnimCurves, numbersHaveSixDigits)
{
    rename(animate(makeTransform("wheel"), "translateX", {{1, 1.0 / 3}, {2400000000.0, 123456789}}), "slide");
    EXPECT_EQ("AnimCurve: slide keys: NumKeys 2\n"
              " time 0.0416667 value 0.333333\n"
              " time 1e+08 value 1.23457e+08\n",
              walkOutput());
}

TEST_F(AnimCurves, timesOfAnyUnitAreReadAsFilmFrames)
{
    rename(animate(makeTransform("wheel"), "translateX", {{24, 1}}), "slide");
    ASSERT_FALSE(KTime::setUIUnit(KTime::kSeconds).error());
    EXPECT_EQ("AnimCurve: slide keys: NumKeys 1\n time 0.0416667 value 1\n", walkOutput())
        << "one second is told as one frame";
    KTime::setUIUnit(KTime::kFilm);
}

TEST_F(AnimCurves, aCurveWithoutKeysIsNotListed)
{
    animate(makeTransform("wheel"), "translateX", {});
    EXPECT_EQ("", walkOutput());
}

TEST_F(AnimCurves, aTransformWithoutAnimationPrintsNothing)
{
    makeMovedTransform("wheel", 1, 2, 3);
    EXPECT_EQ("", walkOutput());
}

TEST_F(AnimCurves, valuesAreToldInSinglePrecision)
{
    rename(animate(makeTransform("wheel"), "translateX", {{0, 0.1000035}}), "slide");
    EXPECT_EQ("AnimCurve: slide keys: NumKeys 1\n time 0 value 0.100004\n", walkOutput());
}

// -- what is looked at -----------------------------------------------------------------------------

TEST_F(AnimCurves, onlyTranslateXIsLookedAt)
{
    const KObject wheel = makeTransform("wheel");
    animate(wheel, "translateY", {{0, 1}});
    animate(wheel, "rotateX", {{0, 1}});
    EXPECT_EQ("", walkOutput());
    const Printed printed = printedBy([&] { loader.convertAnimCurve(wheel, "translateY"); });
    EXPECT_EQ("AnimCurve: wheel_translateY keys: NumKeys 1\n time 0 value 1\n", printed.out);
}

TEST_F(AnimCurves, theTransformOfAMeshIsLookedAtOnceAndOneThatTheMeshReplacesNotAtAll)
{
    const KObject moved = makeMovedTransform("moved", 1, 2, 3);
    makeQuad("movedShape", moved);
    animate(moved, "translateX", {{0, 1}});
    const KObject still = makeTransform("still");
    makeQuad("stillShape", still);
    animate(still, "translateX", {{0, 2}});
    EXPECT_EQ("AnimCurve: moved_translateX keys: NumKeys 1\n time 0 value 1\n", walkOutput());
}

TEST_F(AnimCurves, otherSourcesAreNoCurves)
{
    makeTransform("wheel");
    makeTransform("engine");
    run("connectAttr engine.translateX wheel.translateX");
    EXPECT_EQ("", walkOutput());
}

TEST_F(AnimCurves, anAttributeThatIsNotThereOrCannotBeReadPrintsNothing)
{
    const KObject wheel = makeTransform("wheel");
    animate(wheel, "translateX", {{0, 1}});
    Printed printed = printedBy([&] { loader.convertAnimCurve(wheel, "spin"); });
    EXPECT_EQ("", printed.out + printed.err);
    for (const char* call : {"KFnDependencyNode::findPlug", "KPlug::connectedTo",
                             "KFnAnimCurve::KFnAnimCurve", "KFnAnimCurve::numKeys"}) {
        KFaults::failCall(call);
        printed = printedBy([&] { loader.convertAnimCurve(wheel, "translateX"); });
        EXPECT_EQ("", printed.out + printed.err) << call;
        EXPECT_EQ(1u, KFaults::calls(call)) << call;
        KFaults::clear();
    }
    EXPECT_TRUE(messages.empty());
}

TEST_F(AnimCurves, whatIsNoCurvePrintsNothing)
{
    const Printed printed = printedBy([&] { loader.outputAnimCurve(makeTransform("wheel")); });
    EXPECT_EQ("", printed.out + printed.err);
}

TEST_F(AnimCurves, theListingComesWithAnImportAndTheTransformStaysWhereItIs)
{
    animate(makeMovedTransform("wheel", 1, 2, 3), "translateX", {{0, 7}});
    const std::string file = saveScene("scene.ka");
    osg::NodePtr root;
    const Printed printed = printedBy([&] { root = zyKeldaLoader::read(file, ""); });
    const ScopedGraph graph(root);
    EXPECT_EQ("Unit scale = 1.000000\nAnimCurve: wheel_translateX keys: NumKeys 1\n time 0 value 7\n",
              printed.out);
    EXPECT_EQ(osg::Vec3f(1, 2, 3), transformOf(nodeAt(root, {"wheel"}))->getTranslation());
}
} // namespace
