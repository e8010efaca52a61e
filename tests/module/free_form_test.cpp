// Free-form models of other makers: built in the modeller, saved, imported, exported and imported again.
// Skipped where the collection is not there.

#include "NurbsTools.h"
#include "WriterTest.h"

#include <OpenSG/OSGSceneFileHandler.h>

#include <kelda/KFileIO.h>
#include <kelda/KItDag.h>

#include <nlohmann/json.hpp>

#include <cmath>
#include <filesystem>
#include <fstream>

namespace
{
using nlohmann::json;

const std::string collection = ZY_MODELS_DIR "/free-form/";

struct Sample {
    double u, v;
    Place place;
};

/// One surface of a model with places on it that its maker's program computed.
struct Model {
    KeldaSurface surface;
    std::vector<std::vector<KeldaCurve>> boundaries;
    std::vector<Sample> samples;
    double size = 0; ///< largest coordinate
};

/// The modeller leaves the outermost knots out.
std::vector<double> innerKnots(const json& knots)
{
    const std::vector<double> all = knots.get<std::vector<double>>();
    return std::vector<double>(all.begin() + 1, all.end() - 1);
}

bool hasWeights(const std::vector<KPoint>& cvs)
{
    return std::any_of(cvs.begin(), cvs.end(), [](const KPoint& cv) { return cv.w != 1.0; });
}

KeldaCurve curveOf(const json& source)
{
    KeldaCurve curve;
    curve.degree = source["degree"];
    curve.knots = innerKnots(source["knots"]);
    for (const json& p : source["points"])
        curve.cvs.emplace_back(p[0], p[1], 0.0, p[2]);
    curve.rational = hasWeights(curve.cvs);
    return curve;
}

Model modelOf(const json& source)
{
    Model model;
    model.surface.degreeU = source["degree_u"];
    model.surface.degreeV = source["degree_v"];
    model.surface.knotsU = innerKnots(source["knots_u"]);
    model.surface.knotsV = innerKnots(source["knots_v"]);
    for (const json& p : source["points"]) {
        model.surface.cvs.emplace_back(p[0], p[1], p[2], p[3]);
        for (unsigned k = 0; k < 3; ++k)
            model.size = std::max(model.size, std::fabs(model.surface.cvs.back()[k]));
    }
    model.surface.rational = hasWeights(model.surface.cvs);
    for (const json& loop : source["trims"]) {
        model.boundaries.emplace_back();
        for (const json& curve : loop)
            model.boundaries.back().push_back(curveOf(curve));
    }
    for (const json& s : source["samples"])
        model.samples.push_back({s[0], s[1], {s[2], s[3], s[4]}});
    return model;
}

double distance(const Place& a, const Place& b)
{
    return std::hypot(std::hypot(a[0] - b[0], a[1] - b[1]), a[2] - b[2]);
}

void collect(const osg::NodePtr& node, std::vector<osg::SurfacePtr>& surfaces)
{
    const osg::SurfacePtr surface = osg::SurfacePtr::dcast(node->getCore());
    if (surface != osg::NullFC)
        surfaces.push_back(surface);
    for (osg::UInt32 i = 0; i < node->getNChildren(); ++i)
        collect(node->getChild(i), surfaces);
}

class FreeForm : public WriterTest, public testing::WithParamInterface<const char*>
{
protected:
    void SetUp() override
    {
        if (!std::filesystem::exists(collection))
            GTEST_SKIP() << "the collection of models is not there";
        std::ifstream file(collection + GetParam() + ".json");
        ASSERT_TRUE(file) << GetParam();
        const json all = json::parse(file);
        for (const json& surface : all["surfaces"])
            models.push_back(modelOf(surface));
        ASSERT_FALSE(models.empty());
    }
    std::vector<osg::SurfacePtr> import(const std::string& path)
    {
        osg::NodePtr root;
        printedBy([&] { root = keep(osg::SceneFileHandler::the()->read(path.c_str())); });
        std::vector<osg::SurfacePtr> surfaces;
        if (root != osg::NullFC)
            collect(root, surfaces);
        imported = root;
        return surfaces;
    }
    std::string exportImported(const std::string& name)
    {
        EXPECT_EQ("", linesWith("Error", exportTo(imported, name).out));
        return inFolder(name);
    }
    static std::string linesWith(const std::string& word, const std::string& text)
    {
        return text.find(word) == std::string::npos ? "" : text;
    }

    std::vector<Model> models;
    osg::NodePtr imported;
};

TEST_P(FreeForm, staysWhatItIsOnTheWay)
{
    std::vector<KFnNurbsSurface> made;
    for (std::size_t i = 0; i < models.size(); ++i) {
        const std::string name = "patch" + std::to_string(i);
        made.push_back(makeSurface(models[i].surface, (name + "Shape").c_str(), makeTransform(name.c_str())));
        if (!models[i].boundaries.empty()) {
            EXPECT_FALSE(trim(made.back(), models[i].boundaries).error());
        }
        for (const Sample& s : models[i].samples) {
            KPoint p;
            ASSERT_FALSE(made.back().getPointAtParam(s.u, s.v, p).error());
            EXPECT_LT(distance({p.x, p.y, p.z}, s.place), 1e-8 * std::max(1.0, models[i].size))
                << s.u << " " << s.v;
        }
    }
    const std::string ascii = saveScene("model.ka");
    const std::string binary = saveScene("model.kb");

    const std::vector<osg::SurfacePtr> first = import(ascii);
    ASSERT_EQ(models.size(), first.size());
    const std::vector<osg::SurfacePtr> same = import(binary);
    ASSERT_EQ(models.size(), same.size());
    for (std::size_t i = 0; i < models.size(); ++i) {
        EXPECT_EQ(bitsOf(first[i]), bitsOf(same[i])) << i;
        EXPECT_EQ(models[i].boundaries.size(), first[i]->getCurvesPerLoop().size()) << i;
        for (const Sample& s : models[i].samples)
            EXPECT_LT(distance(evaluate(first[i], s.u, s.v), s.place), 1e-5 * models[i].size) << i;
    }

    const std::vector<osg::SurfacePtr> second = import(exportImported("again.kb"));
    ASSERT_EQ(models.size(), second.size());
    for (std::size_t i = 0; i < models.size(); ++i) {
        const bool weighted = models[i].surface.rational ||
                              std::any_of(models[i].boundaries.begin(), models[i].boundaries.end(),
                                          [](const auto& loop) { return loop.front().rational; });
        if (!weighted) {
            EXPECT_EQ(bitsOf(first[i]), bitsOf(second[i])) << i;
            continue;
        }
        // Weights stay behind, all else comes back.
        EXPECT_EQ(valuesOf(first[i]->getKnotsU()), valuesOf(second[i]->getKnotsU()));
        EXPECT_EQ(valuesOf(first[i]->getKnotsV()), valuesOf(second[i]->getKnotsV()));
        EXPECT_EQ(valuesOf(first[i]->getCurvesPerLoop()), valuesOf(second[i]->getCurvesPerLoop()));
        EXPECT_EQ(valuesOf(first[i]->getKnots()), valuesOf(second[i]->getKnots()));
        const std::vector<osg::Pnt4f> before = controlPointsOf(first[i]);
        const std::vector<osg::Pnt4f> after = controlPointsOf(second[i]);
        ASSERT_EQ(before.size(), after.size());
        for (std::size_t k = 0; k < before.size(); ++k) {
            EXPECT_EQ(1.0f, after[k][3]);
            for (osg::UInt32 axis = 0; axis < 3; ++axis)
                EXPECT_EQ(static_cast<float>(double(before[k][axis]) / double(before[k][3])), after[k][axis]);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Collection, FreeForm,
                         testing::Values("bspline_surface01", "rational_cylinder", "rational_torus",
                                         "teapot_patches", "trimmed_surface01"));
} // namespace
