#include "kelda_test.h"

#include "kelda/KFnAmbientLight.h"
#include "kelda/KFnAreaLight.h"
#include "kelda/KFnDirectionalLight.h"
#include "kelda/KFnPointLight.h"
#include "kelda/KFnSpotLight.h"

#include <cmath>
#include <limits>

class Lights : public KeldaTest
{
protected:
    /// A light of each kind below a transform of its own: |sun|sunShape, |bulb|bulbShape, ...
    void makeAll()
    {
        for (const auto& light : {std::make_pair("sun", "directionalLight"),
                                  {"bulb", "pointLight"},
                                  {"lamp", "spotLight"},
                                  {"sky", "ambientLight"},
                                  {"panel", "areaLight"}}) {
            const std::string name = light.first;
            run("createNode transform -n " + name + "; createNode " + light.second + " -n " + name +
                "Shape -p " + name);
        }
    }
};

static const double kDegree = std::acos(-1.0) / 180;

TEST_F(Lights, aNewLightHasTheDefaultsOfItsType)
{
    KFnSpotLight spot;
    KStatus status;
    const KObject transform = spot.create(KObject::kNullObj, &status);
    ASSERT_EQ(status, KStatus::kSuccess);
    EXPECT_TRUE(transform.hasFn(KFn::kTransform));
    EXPECT_EQ(spot.fullPathName(), KString("|transform1|spotLightShape1"));
    EXPECT_EQ(spot.color(), KColor(1, 1, 1));
    EXPECT_EQ(spot.intensity(), 1.0f);
    EXPECT_TRUE(spot.lightDiffuse());
    EXPECT_TRUE(spot.lightSpecular());
    EXPECT_EQ(spot.decayRate(), 0);
    EXPECT_NEAR(spot.coneAngle(), 40 * kDegree, 1e-12);
    EXPECT_EQ(spot.penumbraAngle(), 0.0);
    EXPECT_EQ(spot.dropOff(), 0.0);
    KFnAmbientLight sky;
    sky.create();
    EXPECT_EQ(sky.ambientShade(), 0.45f);
}

TEST_F(Lights, valuesAreKeptAndSharedWithTheAttributes)
{
    run("createNode transform -n t");
    KFnSpotLight spot;
    const KObject made = spot.create(object("|t"));
    EXPECT_TRUE(made.hasFn(KFn::kSpotLight));
    EXPECT_EQ(spot.setColor(KColor(1, 0.5f, 0)), KStatus::kSuccess);
    EXPECT_EQ(spot.setIntensity(2), KStatus::kSuccess);
    EXPECT_EQ(spot.setConeAngle(1.25), KStatus::kSuccess);
    EXPECT_EQ(spot.setPenumbraAngle(-0.125), KStatus::kSuccess);
    EXPECT_EQ(spot.setDropOff(3), KStatus::kSuccess);
    EXPECT_EQ(spot.setDecayRate(2), KStatus::kSuccess);
    EXPECT_EQ(spot.setLightDiffuse(false), KStatus::kSuccess);
    EXPECT_EQ(spot.setLightSpecular(false), KStatus::kSuccess);
    EXPECT_EQ(run("getAttr spotLightShape1.colorG"), "0.5");
    EXPECT_EQ(run("getAttr spotLightShape1.intensity"), "2");
    EXPECT_EQ(run("getAttr spotLightShape1.coneAngle"), "1.25");
    EXPECT_EQ(run("getAttr spotLightShape1.penumbraAngle"), "-0.125");
    EXPECT_EQ(run("getAttr spotLightShape1.dropoff"), "3");
    EXPECT_EQ(run("getAttr spotLightShape1.decayRate"), "2");
    EXPECT_EQ(run("getAttr spotLightShape1.emitDiffuse"), "0");
    EXPECT_FALSE(spot.lightSpecular());
    run("setAttr spotLightShape1.color 3 -1 0.25");
    EXPECT_EQ(spot.color(), KColor(3, -1, 0.25f));
}

TEST_F(Lights, eachKindAnswersToItselfAndToWhatAllLightsAre)
{
    makeAll();
    const struct {
        const char* path;
        KFn::Type type;
    } lights[] = {{"|sun|sunShape", KFn::kDirectionalLight},
                  {"|bulb|bulbShape", KFn::kPointLight},
                  {"|lamp|lampShape", KFn::kSpotLight},
                  {"|sky|skyShape", KFn::kAmbientLight},
                  {"|panel|panelShape", KFn::kAreaLight}};
    for (const auto& light : lights) {
        const KDagPath p = path(light.path);
        EXPECT_TRUE(p.hasFn(KFn::kLight) && p.hasFn(KFn::kShape)) << light.path;
        EXPECT_FALSE(p.hasFn(KFn::kTransform)) << light.path;
        for (const auto& other : lights)
            EXPECT_EQ(p.hasFn(other.type), &other == &light) << light.path << " " << other.path;
        KStatus status;
        EXPECT_EQ(KFnLight(p, &status).fullPathName(), KString(light.path));
        EXPECT_EQ(status, KStatus::kSuccess);
        KFnSpotLight(p, &status);
        EXPECT_EQ(status == KStatus::kSuccess, light.type == KFn::kSpotLight) << light.path;
    }
    KStatus status;
    KFnDirectionalLight(path("|sun|sunShape"), &status);
    EXPECT_EQ(status, KStatus::kSuccess);
    KFnPointLight(object("|bulb|bulbShape"), &status);
    EXPECT_EQ(status, KStatus::kSuccess);
    KFnPointLight(object("|sun|sunShape"), &status);
    EXPECT_EQ(status, KStatus::kInvalidParameter);
}

TEST_F(Lights, thePathOfATransformMeansTheLightBelowIt)
{
    run("createNode transform -n t; createNode pointLight -n old -p t; setAttr old.intermediateObject 1;"
        "createNode pointLight -n bulb -p t; createNode spotLight -n lamp -p t; createNode transform -n "
        "none");
    EXPECT_TRUE(path("|t").hasFn(KFn::kSpotLight));
    KStatus status;
    EXPECT_EQ(KFnLight(path("|t"), &status).fullPathName(), KString("|t|bulb"));
    EXPECT_EQ(KFnSpotLight(path("|t"), &status).fullPathName(), KString("|t|lamp"));
    KFnLight(path("|none"), &status);
    EXPECT_EQ(status, KStatus::kInvalidParameter);
    KFnLight(KDagPath(), &status);
    EXPECT_EQ(status, KStatus::kInvalidParameter);
}

TEST_F(Lights, theDagIteratorVisitsThemOncePerInstance)
{
    makeAll();
    run("createNode transform -n twin; parent -add lampShape twin");
    using Names = std::vector<std::string>;
    EXPECT_EQ(walk(KItDag::kDepthFirst, KFn::kSpotLight),
              (Names{"|lamp", "|lamp|lampShape", "|twin", "|twin|lampShape"}));
    EXPECT_EQ(KFnLight(path("|twin|lampShape")).partialPathName(), KString("twin|lampShape"));
    EXPECT_EQ(walk(KItDag::kDepthFirst, KFn::kAmbientLight), (Names{"|sky", "|sky|skyShape"}));
}

TEST_F(Lights, copiesOfALightHaveItsValues)
{
    KFnSpotLight spot;
    spot.create();
    spot.setConeAngle(1);
    spot.setColor(KColor(0.25f, 0.5f, 1));
    KStatus status;
    const KObject copy = spot.duplicate(false, false, &status);
    ASSERT_EQ(status, KStatus::kSuccess);
    KFnSpotLight other(KFnDagNode(copy).child(0), &status);
    ASSERT_EQ(status, KStatus::kSuccess);
    EXPECT_EQ(other.coneAngle(), 1.0);
    EXPECT_EQ(other.color(), KColor(0.25f, 0.5f, 1));
    other.setConeAngle(2);
    EXPECT_EQ(spot.coneAngle(), 1.0);
}

TEST_F(Lights, wrongValuesChangeNothing)
{
    KFnPointLight bulb;
    bulb.create();
    const float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(bulb.setColor(KColor(0.5f, nan, 0.5f)), KStatus::kInvalidParameter);
    EXPECT_EQ(bulb.setIntensity(inf), KStatus::kInvalidParameter);
    EXPECT_EQ(bulb.setDecayRate(4), KStatus::kInvalidParameter);
    EXPECT_EQ(bulb.setDecayRate(-1), KStatus::kInvalidParameter);
    EXPECT_EQ(bulb.color(), KColor(1, 1, 1));
    EXPECT_EQ(bulb.intensity(), 1.0f);
    EXPECT_EQ(bulb.decayRate(), 0);
    KFnSpotLight unattached;
    KStatus status;
    EXPECT_EQ(unattached.coneAngle(&status), 0.0);
    EXPECT_EQ(status, KStatus::kInvalidParameter);
    EXPECT_EQ(unattached.setConeAngle(1), KStatus::kInvalidParameter);
    EXPECT_EQ(unattached.color(&status), KColor(0, 0, 0));
    EXPECT_EQ(status, KStatus::kInvalidParameter);
    EXPECT_TRUE(KFnAreaLight().create(bulb.object(), &status).isNull()); // a shape holds nothing
    EXPECT_EQ(status.error(), true);
}

TEST_F(Lights, everyCallCanFailOnDemand)
{
    makeAll();
    const KDagPath p = path("|lamp|lampShape");
    KFnSpotLight spot(p);
    KFnPointLight bulb(path("|bulb"));
    KFnAreaLight panel(path("|panel"));
    KFnAmbientLight sky(path("|sky"));
    KStatus s;
    const struct {
        const char* operation;
        std::function<KStatus()> call;
    } calls[] = {
        {"KFnLight::KFnLight", [&] { return KFnLight(p, &s), s; }},
        {"KFnDirectionalLight::KFnDirectionalLight",
         [&] { return KFnDirectionalLight(path("|sun|sunShape"), &s), s; }},
        {"KFnPointLight::KFnPointLight", [&] { return KFnPointLight(path("|bulb|bulbShape"), &s), s; }},
        {"KFnSpotLight::KFnSpotLight", [&] { return KFnSpotLight(p, &s), s; }},
        {"KFnAmbientLight::KFnAmbientLight", [&] { return KFnAmbientLight(path("|sky"), &s), s; }},
        {"KFnAreaLight::KFnAreaLight", [&] { return KFnAreaLight(path("|panel"), &s), s; }},
        {"KFnLight::color", [&] { return spot.color(&s), s; }},
        {"KFnLight::setColor", [&] { return spot.setColor(KColor(1, 1, 1)); }},
        {"KFnLight::intensity", [&] { return spot.intensity(&s), s; }},
        {"KFnLight::setIntensity", [&] { return spot.setIntensity(1); }},
        {"KFnLight::lightDiffuse", [&] { return spot.lightDiffuse(&s), s; }},
        {"KFnLight::setLightDiffuse", [&] { return spot.setLightDiffuse(true); }},
        {"KFnLight::lightSpecular", [&] { return spot.lightSpecular(&s), s; }},
        {"KFnLight::setLightSpecular", [&] { return spot.setLightSpecular(true); }},
        {"KFnSpotLight::coneAngle", [&] { return spot.coneAngle(&s), s; }},
        {"KFnSpotLight::setConeAngle", [&] { return spot.setConeAngle(1); }},
        {"KFnSpotLight::penumbraAngle", [&] { return spot.penumbraAngle(&s), s; }},
        {"KFnSpotLight::setPenumbraAngle", [&] { return spot.setPenumbraAngle(1); }},
        {"KFnSpotLight::dropOff", [&] { return spot.dropOff(&s), s; }},
        {"KFnSpotLight::setDropOff", [&] { return spot.setDropOff(1); }},
        {"KFnSpotLight::decayRate", [&] { return spot.decayRate(&s), s; }},
        {"KFnSpotLight::setDecayRate", [&] { return spot.setDecayRate(1); }},
        {"KFnPointLight::decayRate", [&] { return bulb.decayRate(&s), s; }},
        {"KFnPointLight::setDecayRate", [&] { return bulb.setDecayRate(1); }},
        {"KFnAreaLight::decayRate", [&] { return panel.decayRate(&s), s; }},
        {"KFnAreaLight::setDecayRate", [&] { return panel.setDecayRate(1); }},
        {"KFnAmbientLight::ambientShade", [&] { return sky.ambientShade(&s), s; }},
        {"KFnAmbientLight::setAmbientShade", [&] { return sky.setAmbientShade(1); }},
        {"KFnSpotLight::create", [&] { return KFnSpotLight().create(KObject::kNullObj, &s), s; }},
        {"KFnDirectionalLight::create",
         [&] { return KFnDirectionalLight().create(KObject::kNullObj, &s), s; }},
        {"KFnPointLight::create", [&] { return KFnPointLight().create(KObject::kNullObj, &s), s; }},
    };
    for (const auto& c : calls) {
        s = KStatus::kSuccess;
        expectFailure(c.operation, c.call);
    }
}
