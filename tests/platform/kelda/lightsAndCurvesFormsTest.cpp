#include "ioTools.h"

#include "kelda/KFnAnimCurve.h"
#include "kelda/KFnSpotLight.h"
#include "kelda/KGlobal.h"
#include "kelda/KItDag.h"
#include "kelda/KPlugArray.h"

#include <cmath>

namespace
{

class LightsAndCurvesForms : public FileTest
{
protected:
    /// Opens the text; what comes back by way of either form.
    void expectBothForms(const std::string& text)
    {
        ASSERT_EQ(openText(text), KStatus::kSuccess) << lastError();
        EXPECT_EQ(sceneText(), text);
        ASSERT_EQ(KFileIO::saveAs(in("scene.kb")), KStatus::kSuccess) << lastError();
        const std::string bytes = read(in("scene.kb"));
        ASSERT_EQ(KFileIO::open(in("scene.kb")), KStatus::kSuccess) << lastError();
        EXPECT_EQ(sceneText(), text);
        ASSERT_EQ(KFileIO::saveAs(in("again.kb")), KStatus::kSuccess);
        EXPECT_EQ(read(in("again.kb")), bytes);
    }
    static KObject node(const char* name)
    {
        KObject found;
        EXPECT_EQ(KGlobal::findNode(name, found), KStatus::kSuccess) << name;
        return found;
    }
};

const std::string kHeader = "//Kelda ASCII 2017 scene\n";
const std::string kCurve = kHeader + "createNode animCurve -name \"c\";\n";

} // namespace

TEST_F(LightsAndCurvesForms, lightsOfAllKindsAreKept)
{
    expectBothForms("//Kelda ASCII 2017 scene\n"
                    "currentUnit -linear \"centimeter\";\n"
                    "createNode transform -name \"lamp\";\n"
                    "    setAttr \".translate\" 0 5 0;\n"
                    "createNode spotLight -name \"lampShape\" -parent \"lamp\";\n"
                    "    setAttr \".color\" 1 0.5 0;\n"
                    "    setAttr \".intensity\" 2;\n"
                    "    setAttr \".emitSpecular\" 0;\n"
                    "    setAttr \".decayRate\" 2;\n"
                    "    setAttr \".coneAngle\" 1.25;\n"
                    "    setAttr \".penumbraAngle\" -0.08726646259971647;\n"
                    "    setAttr \".dropoff\" 0.1;\n"
                    "createNode transform -name \"twin\";\n"
                    "parent -add \"lampShape\" \"twin\";\n"
                    "createNode transform -name \"sun\";\n"
                    "createNode directionalLight -name \"sunShape\" -parent \"sun\";\n"
                    "createNode transform -name \"bulb\";\n"
                    "createNode pointLight -name \"bulbShape\" -parent \"bulb\";\n"
                    "    setAttr \".decayRate\" 1;\n"
                    "createNode transform -name \"sky\";\n"
                    "createNode ambientLight -name \"skyShape\" -parent \"sky\";\n"
                    "    setAttr \".ambientShade\" 0.1;\n"
                    "createNode transform -name \"panel\";\n"
                    "createNode areaLight -name \"panelShape\" -parent \"panel\";\n"
                    "    setAttr \".intensity\" 0.25;\n"
                    "//End of scene\n");
    KFnSpotLight spot(node("lampShape"));
    EXPECT_EQ(spot.intensity(), 2.0f);
    EXPECT_EQ(spot.coneAngle(), 1.25);
    EXPECT_EQ(spot.instanceCount(true), 2u);
}

TEST_F(LightsAndCurvesForms, curvesAndWhatTheyDriveAreKept)
{
    expectBothForms("//Kelda ASCII 2017 scene\n"
                    "currentUnit -linear \"centimeter\";\n"
                    "currentUnit -time \"pal\";\n"
                    "createNode transform -name \"wheel\";\n"
                    "    setAttr \".translate\" 7 0 0;\n"
                    "createNode animCurve -name \"wheel_translateX\";\n"
                    "    setAttr \".keys\" -type \"doubleArray\" 10\n"
                    "        -250 0 0 -0 6000 10 6000.5 0.1\n"
                    "        1e+300 5e-324;\n"
                    "createNode animCurve -name \"empty\";\n"
                    "connectAttr \"wheel_translateX.output\" \"wheel.translateX\";\n"
                    "connectAttr \"empty.output\" \"wheel.rotateZ\";\n"
                    "//End of scene\n");
    EXPECT_EQ(KTime::uiUnit(), KTime::kPALFrame);
    KPlugArray plugs;
    KFnDependencyNode(node("wheel")).findPlug("translateX").connectedTo(plugs, true, false);
    ASSERT_EQ(plugs.length(), 1u);
    KFnAnimCurve curve(plugs[0].node());
    ASSERT_EQ(curve.numKeys(), 5u);
    EXPECT_EQ(curve.time(2).value(), 25.0);
    EXPECT_EQ(curve.time(2).unit(), KTime::kPALFrame);
    EXPECT_EQ(curve.value(2), 10.0);
    EXPECT_TRUE(std::signbit(curve.value(1)));
    EXPECT_EQ(KFnAnimCurve(node("empty")).numKeys(), 0u);
}

TEST_F(LightsAndCurvesForms, longCurvesStandAmongTheLargeArrays)
{
    KFnAnimCurve curve;
    curve.create();
    KTimeArray times;
    KDoubleArray values;
    for (int i = 0; i < 20000; ++i) {
        times.append(KTime(i, KTime::kFilm));
        values.append(std::sin(i));
    }
    curve.addKeys(times, values);
    const std::string text = sceneText();
    ASSERT_EQ(KFileIO::saveAs(in("scene.kb")), KStatus::kSuccess);
    EXPECT_GT(read(in("scene.kb")).size(), 2u * 20000u * sizeof(double));
    ASSERT_EQ(KFileIO::open(in("scene.kb")), KStatus::kSuccess) << lastError();
    EXPECT_EQ(sceneText(), text);
    EXPECT_EQ(KFnAnimCurve(node("animCurve1")).value(12345), std::sin(12345));
}

TEST_F(LightsAndCurvesForms, importLeavesTheTimeUnitAlone)
{
    write(in("other.ka"), kHeader + "currentUnit -time \"pal\";\ncreateNode animCurve -name \"c\";\n");
    ASSERT_EQ(KFileIO::import(in("other.ka")), KStatus::kSuccess) << lastError();
    EXPECT_EQ(KTime::uiUnit(), KTime::kFilm);
    EXPECT_TRUE(node("c").hasFn(KFn::kAnimCurve));
}

TEST_F(LightsAndCurvesForms, keysThatAreNoneAreRefusedWithTheirPlace)
{
    expectError(kCurve + "setAttr \".keys\" -type \"doubleArray\" 3 0 1 2;\n",
                "3:37: setAttr: keys are pairs of a time and a value");
    expectError(kCurve + "setAttr \".keys\" -type \"doubleArray\" 1000000000 0 1;\n",
                "3:37: setAttr: the array says it has 1000000000 numbers, but 2 follow");
    expectError(kCurve + "setAttr \".keys\" -type \"doubleArray\" 4 0 1 0 2;\n",
                "3:1: setAttr: the animation curve \"c\": the times of the keys do not ascend");
    expectError(kCurve + "setAttr \".keys\" -type \"doubleArray\" 2 0 1e999;\n",
                "3:41: setAttr: not a number that fits here");
    expectError(kCurve + "setAttr \".keys\" 0 1;\n",
                "3:9: setAttr: \"keys\" takes -type \"doubleArray\", a count and as many numbers");
    expectError(kCurve + "setAttr \".keys\" -type \"doubleArray\" 2 0 1;\n"
                         "setAttr \".keys\" -type \"doubleArray\" 2 0 1;\n",
                "4:1: setAttr: a second set of keys for the same animation curve");
    expectError(kHeader + "createNode transform -name \"t\";\n"
                          "setAttr \".keys\" -type \"doubleArray\" 2 0 1;\n",
                "3:9: setAttr: there is no attribute \"transform.keys\"");
    expectError(kHeader + "currentUnit -time \"fortnight\";\n",
                "2:19: currentUnit: \"fortnight\" is not a unit of time");
}

TEST_F(LightsAndCurvesForms, damagedBinaryCurvesAreRefused)
{
    ASSERT_EQ(openText(kCurve + "currentUnit -time \"pal\";\n"), KStatus::kSuccess);
    ASSERT_EQ(openText(kHeader + "currentUnit -time \"pal\";\ncreateNode animCurve -name \"c\";\n"
                                 "setAttr \".keys\" -type \"doubleArray\" 4 0 1 2 3;\n"),
              KStatus::kSuccess)
        << lastError();
    ASSERT_EQ(KFileIO::saveAs(in("scene.kb")), KStatus::kSuccess);
    const std::string good = read(in("scene.kb"));
    for (size_t i = 0; i < good.size(); ++i) {
        std::string bad = good;
        bad[i] = static_cast<char>(bad[i] ^ 0x21);
        write(in("bad.kb"), bad);
        EXPECT_EQ(KFileIO::open(in("bad.kb")), KStatus::kFailure) << i;
    }
}
