// Surfaces through the program, and pictures of some that others made, against golden ones: run with
// UPDATE_GOLDEN=1 to make these anew. These are skipped where there are no such files.

#include "Program.h"
#include "Scenes.h"
#include "render_support.h"

#include <OpenSG/OSGGeoPropPositions.h>
#include <OpenSG/OSGSurface.h>
#include <OpenSG/OSGTwoSidedLightingChunk.h>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <array>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace
{
class RenderSurfaces : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!std::filesystem::is_directory(folder))
            GTEST_SKIP() << "no " << folder;
    }

    /// All surfaces of a file, with the y axis up.
    osg::NodePtr read(const std::string& name, bool zUp)
    {
        std::ifstream in(folder + name);
        const nlohmann::json json = nlohmann::json::parse(in);
        const osg::ChunkMaterialPtr material =
            makeMaterial({makeLit(0.8f, 0.6f, 0.4f), osg::TwoSidedLightingChunk::create()});
        std::vector<osg::NodePtr> nodes;
        for (const nlohmann::json& surface : json.at("surfaces"))
            nodes.push_back(makeDrawn(makeSurface(surface), material));
        const osg::NodePtr group = makeGroup("", nodes);
        return zUp ? turned(group, osg::Vec3f(1, 0, 0), -90) : group;
    }

private:
    static osg::GeometryPtr makeSurface(const nlohmann::json& from)
    {
        const osg::SurfacePtr surface = osg::Surface::create();
        keep(surface);
        const osg::GeoPositions4fPtr points = osg::GeoPositions4f::create();
        const osg::CPEditor edit(surface);
        const osg::CPEditor editPoints(points);
        surface->setDimU(from.at("degree_u").get<osg::UInt32>());
        surface->setDimV(from.at("degree_v").get<osg::UInt32>());
        for (const float knot : from.at("knots_u"))
            surface->getKnotsU().push_back(knot);
        for (const float knot : from.at("knots_v"))
            surface->getKnotsV().push_back(knot);
        for (const std::array<float, 4> p : from.at("points"))
            points->getField().push_back(osg::Pnt4f(p[0] * p[3], p[1] * p[3], p[2] * p[3], p[3]));
        surface->setControlPoints(points);
        for (const nlohmann::json& loop : from.value("trims", nlohmann::json::array())) {
            bool first = true;
            for (const nlohmann::json& curve : loop) {
                std::vector<osg::Pnt3f> controls;
                for (const std::array<float, 3> p : curve.at("points"))
                    controls.push_back(osg::Pnt3f(p[0], p[1], p[2]));
                auto knots = curve.at("knots").get<std::vector<osg::Real64>>();
                surface->addCurve(curve.at("degree").get<osg::UInt32>(), knots, controls, first);
                first = false;
            }
        }
        return surface;
    }

    const std::string folder = ZY_MODELS_DIR "/free-form/";
};

zyscene::render::PictureOptions fromCorner()
{
    zyscene::render::PictureOptions options = smallPicture();
    options.width = 320;
    options.height = 240;
    options.view = zyscene::render::View::Iso;
    return options;
}

TEST_F(RenderSurfaces, showATeapot)
{
    const Picture picture = draw(read("teapot_patches.json", true), fromCorner());
    EXPECT_THAT(picture.notices, IsEmpty());
    expectGolden(picture, "teapot");
}

TEST_F(RenderSurfaces, showATorusOfWeightedPoints)
{
    expectGolden(draw(read("rational_torus.json", false), fromCorner()), "rational_torus");
}

TEST_F(RenderSurfaces, showHolesWhereTheyAreTrimmed)
{
    const Picture picture = draw(read("trimmed_surface01.json", true), fromCorner());
    EXPECT_THAT(picture.notices, IsEmpty());
    expectGolden(picture, "trimmed_surface");
}

TEST(RenderDamagedSurface, isLeftOutWithAReason)
{
    const osg::SurfacePtr surface = osg::Surface::create();
    keep(surface);
    const osg::NodePtr node = makeNode("bent", surface);
    const Picture picture =
        draw(makeGroup("", {node, makeDrawn(makeQuad(), makeMaterial({makeUnlit(1, 0, 0)}))}));
    EXPECT_THAT(picture.notices,
                ElementsAre("surface 'bent' is not drawn: in u: degree 0 is not from 1 to 15"));
    EXPECT_TRUE(isNear({255, 0, 0}, picture.middle()));
}

// -- The program -------------------------------------------------------------------------------------

/// A half pipe of radius 1 and length 4 around the y axis, with a rectangle cut out; as file in `folder`.
std::string saveHalfPipe(const TemporaryFolder& folder)
{
    startGraph();
    const osg::SurfacePtr surface = osg::Surface::create();
    {
        const float s = std::sqrt(0.5f);
        const float around[5][3] = {{1, 0, 1}, {1, 1, s}, {0, 1, 1}, {-1, 1, s}, {-1, 0, 1}};
        const osg::GeoPositions4fPtr points = osg::GeoPositions4f::create();
        const osg::CPEditor edit(surface);
        const osg::CPEditor editPoints(points);
        surface->setDimU(1);
        surface->setDimV(2);
        for (const float knot : {0.f, 0.f, 4.f, 4.f})
            surface->getKnotsU().push_back(knot);
        for (const float knot : {0.f, 0.f, 0.f, 1.f, 1.f, 2.f, 2.f, 2.f})
            surface->getKnotsV().push_back(knot);
        for (const float y : {0.f, 4.f}) {
            for (const auto& a : around)
                points->getField().push_back(osg::Pnt4f(a[0] * a[2], y * a[2], a[1] * a[2], a[2]));
        }
        surface->setControlPoints(points);
        std::vector<osg::Real64> knots = {0, 0, 1, 2, 3, 4, 4};
        std::vector<osg::Pnt2f> outer = {{0, 0}, {4, 0}, {4, 2}, {0, 2}, {0, 0}};
        std::vector<osg::Pnt2f> inner = {{1, 0.5f}, {1, 1.5f}, {3, 1.5f}, {3, 0.5f}, {1, 0.5f}};
        surface->addCurve(1, knots, outer, true);
        surface->addCurve(1, knots, inner, true);
    }
    saveScene(makeNode("pipe", surface), folder / "pipe.osb");
    return folder / "pipe.osb";
}

TEST(SurfaceInfo, tellsWhatASurfaceIsAndHowManyTrianglesDrawIt)
{
    const TemporaryFolder folder;
    const Outcome run = runZyscene({"info", "--json", saveHalfPipe(folder)});
    ASSERT_EQ(0, run.exit) << run.err;
    const nlohmann::json result = nlohmann::json::parse(run.out)["results"][0];
    const nlohmann::json& core = result["root"]["core"];
    EXPECT_EQ("Surface", core["type"]);
    EXPECT_EQ(1, core["dimU"]);
    EXPECT_EQ(2, core["dimV"]);
    EXPECT_EQ((std::vector<double>{0, 0, 4, 4}), core["knotsU"].get<std::vector<double>>());
    EXPECT_EQ(10, core["controlPoints"]["size"]);
    EXPECT_EQ((std::vector<int>{1, 1}), core["curvesPerLoop"].get<std::vector<int>>());
    const nlohmann::json& told = core["surface"];
    EXPECT_EQ(2, told["pointsU"]);
    EXPECT_EQ(5, told["pointsV"]);
    EXPECT_EQ("open", told["formU"]);
    EXPECT_EQ("open", told["formV"]);
    EXPECT_EQ(true, told["rational"]);
    EXPECT_EQ(2, told["trimLoops"]);
    EXPECT_TRUE(told["problem"].is_null());
    EXPECT_GT(told["triangles"], 16);
    EXPECT_EQ(1, result["statistics"]["surfaces"]);
    EXPECT_EQ(0, result["statistics"]["triangles"]);
    EXPECT_EQ(1, result["statistics"]["drawn"]["primitives"]);
    EXPECT_EQ(told["triangles"], result["statistics"]["drawn"]["triangles"]);
}

TEST(SurfaceInfo, isALineOfTheTree)
{
    const TemporaryFolder folder;
    const Outcome run = runZyscene({"info", "--tree", saveHalfPipe(folder)});
    EXPECT_THAT(run.out, HasSubstr("pipe  Surface #1  degree 1 x 2, 2 x 5 points, rational, 2 trim loops, "));
}

TEST(SurfaceInfo, tellsWhereASurfaceIsClosed)
{
    const Outcome run = runZyscene({"info", "--tree", testFolder() + "/../../examples/lamp/lamp.ka"});
    EXPECT_THAT(run.out, HasSubstr("degree 2 x 2, 9 x 9 points, closed in u, closed in v, rational, "));
    EXPECT_THAT(run.out, HasSubstr("degree 2 x 1, 9 x 2 points, closed in u, rational, "));
}

TEST(SurfaceTolerance, decidesOnTheTriangles)
{
    const TemporaryFolder folder;
    const std::string file = saveHalfPipe(folder);
    const auto triangles = [&](const std::string& tolerance) {
        const Outcome run = runZyscene({"info", "--json", "--tolerance", tolerance, file});
        EXPECT_EQ(0, run.exit) << run.err;
        return nlohmann::json::parse(run.out)["results"][0]["statistics"]["drawn"]["triangles"].get<int>();
    };
    EXPECT_LT(triangles("0.01"), triangles("0.001"));
    EXPECT_LT(2 * triangles("0.001"), triangles("1e-5"));
}

TEST(SurfaceTolerance, isANumberWithinLimits)
{
    const TemporaryFolder folder;
    const std::string file = saveHalfPipe(folder);
    for (const char* tolerance : {"0", "-1", "2", "1e-7", "nan", "fine", "0.1mm", ""}) {
        for (const std::vector<std::string>& command :
             {std::vector<std::string>{"info", file},
              std::vector<std::string>{"render", file, "-o", folder / "picture.png"}}) {
            std::vector<std::string> arguments = command;
            arguments.push_back(std::string("--tolerance=") + tolerance);
            const Outcome run = runZyscene(arguments);
            EXPECT_EQ(2, run.exit) << tolerance;
            EXPECT_THAT(run.out, IsEmpty());
            EXPECT_THAT(run.err, HasSubstr("--tolerance")) << tolerance;
        }
    }
    EXPECT_THAT(folder.names(), ElementsAre("pipe.osb"));
}

TEST(SurfacePicture, ofTheProgramShowsTheHole)
{
    const TemporaryFolder folder;
    const Outcome run = runZyscene({"render", saveHalfPipe(folder), "-o", folder / "pipe.png", "--size",
                                    "120x120", "--view", "front", "--background", "0000ff"});
    ASSERT_EQ(0, run.exit) << run.err;
    const Picture picture = readPicture(folder / "pipe.png");
    EXPECT_TRUE(isNear({0, 0, 255}, picture.middle(), 0)) << picture.middle();
    EXPECT_FALSE(isNear({0, 0, 255}, picture.at(0.5, 0.2), 0)) << picture.at(0.5, 0.2);
}
} // namespace
