// Models as others write them through both scene forms: each comes back as it was drawn.

#include "Models.h"
#include "RoundTrip.h"

#include "Compare.h"
#include "LossReport.h"

#include <zyKeldaLoader.h>

#include <OpenSG/OSGSceneFileHandler.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace
{

std::string modelFolder()
{
    return ZY_MODELS_DIR;
}

osg::NodePtr import(const std::string& file)
{
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const osg::NodePtr root = zyKeldaLoader::read(file, "");
    testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
    return root;
}

// A number behind the name is the modeller's.
std::string withoutNumber(const std::string& name)
{
    const std::string::size_type last = name.find_last_not_of("0123456789");
    return last == std::string::npos ? name : name.substr(0, last + 1);
}

// Shaders that had no name of their own are phongs afterwards, whatever they were.
bool isMadeUp(const std::string& name)
{
    return name == "lambert" || name == "blinn" || name == "phong";
}

// Images that many uses share are compared once.
typedef std::set<std::pair<osg::ImagePtr, osg::ImagePtr>> SameImages;

void expectSameMaterial(const SeenMaterial& before, const SeenMaterial& after, SameImages& same,
                        const std::string& what)
{
    const std::string name = withoutNumber(before.name);
    if (!isMadeUp(name)) {
        EXPECT_EQ(name, withoutNumber(after.name)) << what;
    }
    EXPECT_EQ(before.colors, after.colors) << what;
    EXPECT_NEAR(before.opacity, after.opacity, 1e-6) << what;
    if (before.texture == osg::NullFC || after.texture == osg::NullFC) {
        EXPECT_TRUE(before.texture == after.texture) << what;
    } else if (same.insert({before.texture, after.texture}).second) {
        EXPECT_TRUE(*before.texture == *after.texture) << what;
    }
}

void expectSameUses(const osg::NodePtr& first, const osg::NodePtr& second, const std::string& what)
{
    ASSERT_TRUE(second != osg::NullFC) << what;
    const std::vector<SeenUse> before = lookAt(first, false);
    const std::vector<SeenUse> after = lookAt(second, true);
    ASSERT_EQ(before.size(), after.size()) << what;
    const double tolerance = 1e-5 * sizeOf(before);
    SameImages same;
    for (std::size_t i = 0; i < before.size(); ++i) {
        EXPECT_TRUE(before[i].triangles == after[i].triangles) << what << ": " << before[i].name;
        EXPECT_EQ(before[i].name, after[i].name) << what;
        EXPECT_EQ(before[i].shown, after[i].shown) << what << ": " << before[i].name;
        expectSameMaterial(before[i].material, after[i].material, same, what + ": " + before[i].name);
        EXPECT_LE(distanceOf(before[i], after[i]), tolerance) << what << ": " << before[i].name;
    }
}

void expectSame(const osg::NodePtr& first, const osg::NodePtr& second, const std::string& what)
{
    expectSameUses(first, second, what);
    // Emission and the repeat of textures are lost.
    zyscene::applyMaterialLosses(first);
    // Turns by less than half a thousandth of a radian are lost: within that the structure is the same.
    const double tolerance = 1e-3 * sizeOf(lookAt(first, false));
    EXPECT_EQ("", differencesBetween(first, second, Inactive::GoneInSecond, tolerance)) << what;
}

class ModelTrip : public testing::TestWithParam<const char*>
{
protected:
    // An export starts the SDK, which the import entry relies on.
    void SetUp() override
    {
        const ScopedGraph graph(makeNode("start", makeTriangle(0)));
        const ScopedGraph once(folder.trip(graph.get(), GetParam()));
        ASSERT_TRUE(once.get() != osg::NullFC);
    }

    const TripFolder folder;
};

INSTANTIATE_TEST_SUITE_P(Forms, ModelTrip, testing::Values("ka", "kb"),
                         [](const auto& info) { return std::string(info.param); });

TEST_P(ModelTrip, keepsWhatIsDrawn)
{
    std::vector<IndexedModel> models;
    if (!readModelIndex(modelFolder(), models))
        GTEST_SKIP() << "the collection of models is not there";
    std::size_t readable = 0;
    for (const IndexedModel& indexed : models) {
        if (!indexed.readable)
            continue;
        ++readable;
        const std::string& name = indexed.name;
        const ScopedGraph model(import(modelFolder() + "/" + name));
        if (model.get() == osg::NullFC) {
            ADD_FAILURE() << name << " was not read";
            continue;
        }
        const ScopedGraph once(folder.trip(model.get(), GetParam()));
        expectSame(model.get(), once.get(), name);
        const ScopedGraph twice(folder.trip(once.get(), GetParam()));
        expectSame(once.get(), twice.get(), name + ", second trip");
    }
    EXPECT_GT(readable, 100u);
}

TEST_P(ModelTrip, theCarComesBackButForWhatIsToldToBeLost)
{
    const ScopedGraph car(import(CAR));
    ASSERT_TRUE(car.get() != osg::NullFC);
    const ScopedGraph once(folder.trip(car.get(), GetParam()));
    ASSERT_TRUE(once.get() != osg::NullFC);
    EXPECT_LT(lookAt(once.get(), true).size(), lookAt(car.get(), true).size()) << "hidden parts stay behind";
    // Its projected textures bring it back in coordinates of the world, computed anew.
    zyscene::applyLosses(car.get());
    zyscene::CompareOptions options;
    options.ignoreInactive = true;
    options.pointsAndLines = false;
    options.exactTriangles = false;
    for (const zyscene::Difference& difference : zyscene::compareScenes(car.get(), once.get(), options))
        ADD_FAILURE() << zyscene::lineOf(difference);

    // There it stays.
    const ScopedGraph twice(folder.trip(once.get(), GetParam()));
    expectSameUses(once.get(), twice.get(), "second trip");
}

} // namespace
