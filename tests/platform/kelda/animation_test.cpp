#include "kelda_test.h"

#include "kelda/KFnAnimCurve.h"
#include "kelda/KItDependencyGraph.h"
#include "kelda/KPlugArray.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>

class Animation : public KeldaTest
{
protected:
    static KPlug plug(const char* node, const char* attr)
    {
        KObject found;
        EXPECT_EQ(KGlobal::findNode(node, found), KStatus::kSuccess) << node;
        return KFnDependencyNode(found).findPlug(attr);
    }
    /// "time value, time value, ...", times in the scene's unit.
    static std::string keysOf(const KFnAnimCurve& curve)
    {
        std::string text;
        for (unsigned i = 0; i < curve.numKeys(); ++i) {
            char one[64];
            std::snprintf(one, sizeof one, "%s%g %g", i > 0 ? ", " : "", curve.time(i).value(),
                          curve.value(i));
            text += one;
        }
        return text;
    }
    static KTime frame(double number) { return KTime(number, KTime::kFilm); }
};

// -- Times ----------------------------------------------------------------------------------------

TEST_F(Animation, unitsHaveTheNumbersThatProgramsKnow)
{
    EXPECT_EQ(KTime::kSeconds, 3);
    EXPECT_EQ(KTime::kFilm, 6);
    EXPECT_EQ(KTime().unit(), KTime::kFilm);
    EXPECT_EQ(KTime(1).unit(), KTime::kSeconds);
}

TEST_F(Animation, timesConvertBetweenUnits)
{
    const struct {
        KTime::Unit unit;
        double perSecond;
    } units[] = {{KTime::kHours, 1.0 / 3600},  {KTime::kMinutes, 1.0 / 60}, {KTime::kSeconds, 1},
                 {KTime::kMilliseconds, 1000}, {KTime::kGames, 15},         {KTime::kFilm, 24},
                 {KTime::kPALFrame, 25},       {KTime::kNTSCFrame, 30},     {KTime::kShowScan, 48},
                 {KTime::kPALField, 50},       {KTime::kNTSCField, 60}};
    for (const auto& u : units) {
        EXPECT_DOUBLE_EQ(KTime(3, KTime::kSeconds).as(u.unit), 3 * u.perSecond) << u.unit;
        EXPECT_DOUBLE_EQ(KTime(3 * u.perSecond, u.unit).as(KTime::kSeconds), 3) << u.unit;
    }
    EXPECT_EQ(KTime(24, KTime::kFilm).as(KTime::kSeconds), 1.0);
    EXPECT_EQ(KTime(0.1, KTime::kShowScan).as(KTime::kShowScan), 0.1);
    EXPECT_EQ(KTime(1, KTime::kInvalid).as(KTime::kSeconds), 0.0);
    EXPECT_EQ(KTime(1, KTime::kSeconds).as(KTime::kLast), 0.0);
    EXPECT_TRUE(KTime(24, KTime::kFilm) == KTime(1000, KTime::kMilliseconds));
    EXPECT_TRUE(KTime(24, KTime::kFilm) < KTime(25, KTime::kFilm));
    EXPECT_TRUE(KTime(24, KTime::kFilm) != KTime(24, KTime::kPALFrame));
    KTime time(24, KTime::kFilm);
    time.setUnit(KTime::kPALFrame);
    EXPECT_EQ(time.value(), 24.0);
    time.setValue(50);
    EXPECT_EQ(time.as(KTime::kSeconds), 2.0);
}

TEST_F(Animation, wholeFramesStayWholeFrames)
{
    KFnAnimCurve curve;
    curve.create();
    for (KTime::Unit unit : {KTime::kGames, KTime::kFilm, KTime::kPALFrame, KTime::kNTSCFrame,
                             KTime::kShowScan, KTime::kPALField, KTime::kNTSCField, KTime::kMilliseconds}) {
        ASSERT_EQ(KTime::setUIUnit(unit), KStatus::kSuccess);
        KTimeArray times;
        KDoubleArray values;
        for (unsigned i = 0; i < 5000; ++i) {
            times.append(KTime(i, unit));
            values.append(i);
        }
        curve.create();
        ASSERT_EQ(curve.addKeys(times, values), KStatus::kSuccess);
        for (unsigned i = 0; i < 5000; ++i)
            ASSERT_EQ(curve.time(i).value(), static_cast<double>(i)) << unit;
    }
}

TEST_F(Animation, theTimeUnitIsALabelOfTheScene)
{
    EXPECT_EQ(KTime::uiUnit(), KTime::kFilm);
    KFnAnimCurve curve;
    curve.create();
    curve.addKey(frame(48), 1);
    EXPECT_EQ(run("currentUnit -time second"), "second");
    EXPECT_EQ(KTime::uiUnit(), KTime::kSeconds);
    EXPECT_EQ(curve.time(0).unit(), KTime::kSeconds);
    EXPECT_EQ(curve.time(0).value(), 2.0);
    EXPECT_EQ(errorOf("currentUnit -time fortnight"),
              "command:1:19: currentUnit: \"fortnight\" is not a time unit");
    EXPECT_NE(errorOf("currentUnit -time pal -linear cm"), "");
    EXPECT_EQ(KTime::setUIUnit(KTime::kInvalid), KStatus::kInvalidParameter);
    EXPECT_EQ(KTime::setUIUnit(KTime::kLast), KStatus::kInvalidParameter);
    EXPECT_EQ(KTime::uiUnit(), KTime::kSeconds);
    run("currentUnit -t pal", true);
    EXPECT_EQ(KTime::uiUnit(), KTime::kPALFrame);
    run("undo");
    EXPECT_EQ(KTime::uiUnit(), KTime::kSeconds);
    KFileIO::newFile(true);
    EXPECT_EQ(KTime::uiUnit(), KTime::kFilm);
}

// -- Keys -----------------------------------------------------------------------------------------

TEST_F(Animation, keysStandInTheOrderOfTheirTimes)
{
    KFnAnimCurve curve;
    curve.create();
    EXPECT_EQ(curve.addKey(frame(24), 10), 0u);
    EXPECT_EQ(curve.addKey(frame(0), 0), 0u);
    EXPECT_EQ(curve.addKey(frame(12), 5), 1u);
    EXPECT_EQ(curve.addKey(KTime(1, KTime::kSeconds), 11), 2u); // frame 24 again
    EXPECT_EQ(keysOf(curve), "0 0, 12 5, 24 11");
    unsigned index = 7;
    EXPECT_TRUE(curve.find(KTime(500, KTime::kMilliseconds), index));
    EXPECT_EQ(index, 1u);
    EXPECT_FALSE(curve.find(frame(12.01), index));
    EXPECT_EQ(index, 1u);
    EXPECT_EQ(curve.setValue(1, -5), KStatus::kSuccess);
    EXPECT_EQ(curve.remove(0), KStatus::kSuccess);
    EXPECT_EQ(keysOf(curve), "12 -5, 24 11");
}

TEST_F(Animation, theLastOfKeysAtOneTimeStands)
{
    KFnAnimCurve curve;
    curve.create();
    curve.addKey(frame(1), 100);
    curve.addKey(frame(3), 300);
    KTimeArray times;
    KDoubleArray values;
    for (int i : {5, 3, 1, 5, 0, 1})
        times.append(frame(i));
    for (int i : {1, 2, 3, 4, 5, 6})
        values.append(i);
    EXPECT_EQ(curve.addKeys(times, values), KStatus::kSuccess);
    EXPECT_EQ(keysOf(curve), "0 5, 1 6, 3 2, 5 4");
}

TEST_F(Animation, manyKeysInAnyOrderAreSortedAtOnce)
{
    std::vector<int> frames(200000);
    std::iota(frames.begin(), frames.end(), 0);
    std::shuffle(frames.begin(), frames.end(), std::mt19937(2017));
    KTimeArray times;
    KDoubleArray values;
    for (int f : frames) {
        times.append(frame(f));
        values.append(2 * f);
    }
    KFnAnimCurve curve;
    curve.create();
    ASSERT_EQ(curve.addKeys(times, values), KStatus::kSuccess);
    ASSERT_EQ(curve.numKeys(), 200000u);
    EXPECT_EQ(curve.time(123456).value(), 123456.0);
    EXPECT_EQ(curve.value(123456), 246912.0);
}

TEST_F(Animation, wrongKeysChangeNothing)
{
    const double inf = std::numeric_limits<double>::infinity(), nan = std::nan("");
    KFnAnimCurve curve;
    curve.create();
    curve.addKey(frame(1), 1);
    KStatus status;
    for (const KTime& time : {KTime(inf, KTime::kFilm), KTime(nan, KTime::kFilm), KTime(1, KTime::kInvalid),
                              KTime(1e308, KTime::kHours)}) {
        curve.addKey(time, 1, &status);
        EXPECT_EQ(status, KStatus::kInvalidParameter);
    }
    curve.addKey(frame(2), nan, &status);
    EXPECT_EQ(status, KStatus::kInvalidParameter);
    EXPECT_EQ(curve.setValue(0, inf), KStatus::kInvalidParameter);
    EXPECT_EQ(curve.setValue(1, 1), KStatus::kIndexOutOfRange);
    EXPECT_EQ(curve.remove(1), KStatus::kIndexOutOfRange);
    curve.time(1, &status);
    EXPECT_EQ(status, KStatus::kIndexOutOfRange);
    curve.value(1, &status);
    EXPECT_EQ(status, KStatus::kIndexOutOfRange);
    KTimeArray times(2, frame(5));
    EXPECT_EQ(curve.addKeys(times, KDoubleArray(1, 0.0)), KStatus::kInvalidParameter);
    KDoubleArray values(2, 0.0);
    values[1] = inf;
    EXPECT_EQ(curve.addKeys(times, values), KStatus::kInvalidParameter);
    EXPECT_EQ(keysOf(curve), "1 1");
    KFnAnimCurve unattached;
    EXPECT_EQ(unattached.numKeys(&status), 0u);
    EXPECT_EQ(status, KStatus::kInvalidParameter);
    run("createNode transform -n t");
    KFnAnimCurve(object("|t"), &status);
    EXPECT_EQ(status, KStatus::kInvalidParameter);
}

// -- What is driven -------------------------------------------------------------------------------

TEST_F(Animation, aCurveDrivesAnAttributeAndIsNamedAfterIt)
{
    run("createNode transform -n wheel; setAttr wheel.translateX 7");
    KFnAnimCurve curve;
    KStatus status;
    const KObject made = curve.create(plug("wheel", "translateX"), &status);
    ASSERT_EQ(status, KStatus::kSuccess);
    EXPECT_TRUE(made.hasFn(KFn::kAnimCurve));
    EXPECT_EQ(KFnDependencyNode(made).typeName(), KString("animCurve"));
    EXPECT_EQ(curve.name(), KString("wheel_translateX"));
    curve.addKey(frame(0), 1);

    KPlugArray plugs;
    EXPECT_TRUE(plug("wheel", "translateX").connectedTo(plugs, true, false));
    ASSERT_EQ(plugs.length(), 1u);
    EXPECT_TRUE(plugs[0].node() == made);
    EXPECT_EQ(plugs[0].name(), KString("wheel_translateX.output"));
    EXPECT_EQ(plug("wheel", "translateX").asDouble(), 7.0); // what the node holds
    plugs = KPlugArray();
    EXPECT_FALSE(plug("wheel", "translateY").connectedTo(plugs, true, false));

    KFnAnimCurve second;
    EXPECT_TRUE(second.create(plug("wheel", "translateX"), &status).isNull());
    EXPECT_EQ(status, KStatus::kFailure);
    EXPECT_TRUE(second.create(plug("wheel", "translate"), &status).isNull()); // three numbers
    EXPECT_TRUE(status.error());
    EXPECT_TRUE(second.create(KPlug(), &status).isNull());
    EXPECT_EQ(status, KStatus::kInvalidParameter);
    EXPECT_EQ(run("objExists wheel_translateX1"), "0");
    EXPECT_EQ(run("objExists wheel_translate"), "0");
}

TEST_F(Animation, theDependencyIteratorFindsCurves)
{
    run("createNode transform -n wheel; createNode transform -n other");
    for (const char* attr : {"translateX", "rotateZ"}) {
        KFnAnimCurve curve;
        curve.create(plug("wheel", attr));
    }
    run("connectAttr wheel.translateX other.translateX");
    KObject other;
    KGlobal::findNode("other", other);
    std::vector<std::string> names;
    for (KItDependencyGraph it(other, KFn::kAnimCurve, KItDependencyGraph::kUpstream); !it.isDone();
         it.next())
        names.push_back(KFnDependencyNode(it.thisNode()).name().str());
    EXPECT_EQ(names, (std::vector<std::string>{"wheel_translateX", "wheel_rotateZ"}));
    EXPECT_EQ(walk(), (std::vector<std::string>{"|wheel", "|other"})); // a curve is no DAG node
}

TEST_F(Animation, aCommandSetsKeys)
{
    run("createNode transform -n wheel");
    EXPECT_EQ(run("setKeyframe -time 24 -value 10 wheel.translateX"), "wheel_translateX");
    EXPECT_EQ(run("currentUnit -time second; setKeyframe -t 0 -v -1 wheel.translateX"), "wheel_translateX");
    EXPECT_EQ(run("setKeyframe -t 1 -v 12 wheel.translateX"), "wheel_translateX");
    run("currentUnit -time film");
    KObject node;
    KGlobal::findNode("wheel_translateX", node);
    EXPECT_EQ(keysOf(KFnAnimCurve(node)), "0 -1, 24 12");
    EXPECT_NE(errorOf("setKeyframe -time 1 wheel.translateX"), "");
    EXPECT_NE(errorOf("setKeyframe -time 1 -value x wheel.translateX"), "");
    EXPECT_NE(errorOf("setKeyframe -time 1e308 -value 1e309 wheel.translateX"), "");
    EXPECT_NE(errorOf("setKeyframe -time 1e307 -value 1 wheel.nothing"), "");
    EXPECT_NE(errorOf("setKeyframe -time 1 -value 1 wheel.translate"), "");
    run("createNode transform -n other; connectAttr wheel.translateX other.translateX");
    EXPECT_EQ(
        errorOf("setKeyframe -time 1 -value 1 other.translateX"),
        "command:1:30: setKeyframe: \"other.translateX\" is driven by \"wheel.translateX\", which is no "
        "animation curve");
    EXPECT_EQ(keysOf(KFnAnimCurve(node)), "0 -1, 24 12");
}

TEST_F(Animation, everyCallCanFailOnDemand)
{
    run("createNode transform -n wheel");
    KFnAnimCurve curve;
    const KObject node = curve.create();
    curve.addKey(frame(0), 1);
    KStatus s;
    unsigned index = 0;
    const struct {
        const char* operation;
        std::function<KStatus()> call;
    } calls[] = {
        {"KFnAnimCurve::KFnAnimCurve", [&] { return KFnAnimCurve(node, &s), s; }},
        {"KFnAnimCurve::create", [&] { return KFnAnimCurve().create(&s), s; }},
        {"KFnAnimCurve::create", [&] { return KFnAnimCurve().create(plug("wheel", "scaleX"), &s), s; }},
        {"KFnAnimCurve::numKeys", [&] { return curve.numKeys(&s), s; }},
        {"KFnAnimCurve::time", [&] { return curve.time(0, &s), s; }},
        {"KFnAnimCurve::value", [&] { return curve.value(0, &s), s; }},
        {"KFnAnimCurve::setValue", [&] { return curve.setValue(0, 1); }},
        {"KFnAnimCurve::addKey", [&] { return curve.addKey(frame(1), 1, &s), s; }},
        {"KFnAnimCurve::addKeys", [&] { return curve.addKeys(KTimeArray(), KDoubleArray()); }},
        {"KFnAnimCurve::find", [&] { return curve.find(frame(0), index, &s), s; }},
        {"KFnAnimCurve::remove", [&] { return curve.remove(0); }},
        {"KTime::setUIUnit", [&] { return KTime::setUIUnit(KTime::kFilm); }},
    };
    for (const auto& c : calls) {
        s = KStatus::kSuccess;
        expectFailure(c.operation, c.call);
    }
}
