#include "ioTools.h"

#include "kelda/KFnNurbsCurve.h"
#include "kelda/KFnNurbsSurface.h"
#include "kelda/KItDag.h"

#include <rapidcheck.h>

#include <cstring>
#include <random>

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace
{

const std::string kHeader = "//Kelda ASCII 2017 scene\ncurrentUnit -linear \"centimeter\";\n";
const std::string kEnd = "//End of scene\n";

/// A bilinear plate with parameters from 0 to 4 in both directions.
const std::string kPlate = "createNode nurbsSurface -name \"plate\";\n"
                           "    setAttr \".surface\" -type \"intArray\" 6\n"
                           "        1 1 1 1 0 0;\n"
                           "    setAttr \".knotsU\" -type \"doubleArray\" 2\n"
                           "        0 4;\n"
                           "    setAttr \".knotsV\" -type \"doubleArray\" 2\n"
                           "        0 4;\n"
                           "    setAttr \".cvs\" -type \"doubleArray\" 12\n"
                           "        0 0 0 0 4 0\n"
                           "        4 0 0 4 4 0.1;\n";

const std::string kTolerances = "    setAttr \".trimTolerances\" -type \"doubleArray\" 2\n"
                                "        0.001 1e-05;\n";

struct Boundary {
    int region;
    int type;
    std::vector<double> corners; ///< u and v in turn, of one curve of degree 1
};

std::string numbersOf(const std::vector<double>& values)
{
    std::string text = std::to_string(values.size());
    for (const double value : values) {
        char digits[32];
        std::snprintf(digits, sizeof digits, " %.9g", value);
        text += digits;
    }
    return text;
}

/// The trimming as text, in one line each.
std::string trimsOf(const std::vector<Boundary>& boundaries)
{
    std::vector<double> rows, curves, knots, cvs;
    for (const Boundary& b : boundaries) {
        rows.insert(rows.end(), {double(b.region), double(b.type), 1});
        curves.insert(curves.end(), {1, 1, 0, double(b.corners.size() / 2)});
        for (size_t i = 0; i < b.corners.size() / 2; ++i)
            knots.push_back(double(i));
        cvs.insert(cvs.end(), b.corners.begin(), b.corners.end());
    }
    return "setAttr \".trimBoundaries\" -type \"intArray\" " + numbersOf(rows) +
           ";\nsetAttr \".trimCurves\" -type \"intArray\" " + numbersOf(curves) + ";\n" + kTolerances +
           "setAttr \".trimKnots\" -type \"doubleArray\" " + numbersOf(knots) +
           ";\nsetAttr \".trimCVs\" -type \"doubleArray\" " + numbersOf(cvs) + ";\n";
}

std::vector<double> square(double low, double high)
{
    return {low, low, high, low, high, high, low, high, low, low};
}

class NurbsForms : public FileTest
{
protected:
    static KFnNurbsSurface surface()
    {
        for (KItDag it; !it.isDone(); it.next())
            if (it.currentItem().hasFn(KFn::kNurbsSurface))
                return KFnNurbsSurface(it.currentItem());
        return KFnNurbsSurface();
    }
    void expectSame(const std::string& text)
    {
        ASSERT_EQ(openText(text), KStatus::kSuccess) << lastError();
        const std::string written = sceneText();
        ASSERT_EQ(KFileIO::saveAs(in("1.kb")), KStatus::kSuccess) << lastError();
        ASSERT_EQ(KFileIO::open(in("1.kb")), KStatus::kSuccess) << lastError();
        EXPECT_EQ(sceneText(), written);
        ASSERT_EQ(KFileIO::saveAs(in("2.kb")), KStatus::kSuccess);
        EXPECT_EQ(read(in("1.kb")), read(in("2.kb")));
    }
    void expectPlateError(const std::vector<Boundary>& boundaries, const std::string& what)
    {
        expectError(kHeader + kPlate + trimsOf(boundaries),
                    "3:1: createNode: the surface \"plate\": " + what);
    }
    std::string changed(const std::string& from, const std::string& to)
    {
        std::string text = kPlate;
        const size_t at = text.find(from);
        EXPECT_NE(at, std::string::npos) << from;
        return kHeader + text.replace(at, from.size(), to);
    }
};

} // namespace

// -- Same content in both forms -------------------------------------------------------------------

TEST_F(NurbsForms, surfaceIsWrittenAsItWasRead)
{
    ASSERT_EQ(openText(kHeader + kPlate + kEnd), KStatus::kSuccess) << lastError();
    EXPECT_EQ(sceneText(), kHeader + kPlate + kEnd);
    const KFnNurbsSurface plate = surface();
    EXPECT_EQ(plate.degreeU(), 1);
    EXPECT_FALSE(plate.isRational());
    KPoint cv;
    plate.getCV(1, 0, cv);
    EXPECT_EQ(cv, KPoint(4, 0, 0));
    plate.getCV(1, 1, cv);
    EXPECT_EQ(cv, KPoint(4, 4, 0.1));
    expectSame(kHeader + kPlate);
}

TEST_F(NurbsForms, trimmingIsWrittenAsItWasRead)
{
    const std::string text = kHeader + kPlate +
                             "    setAttr \".trimBoundaries\" -type \"intArray\" 9\n"
                             "        0 1 1 0 2 1 1 1 1;\n"
                             "    setAttr \".trimCurves\" -type \"intArray\" 12\n"
                             "        1 1 0 5 2 2 1 6 1 1 0 4;\n" +
                             kTolerances +
                             "    setAttr \".trimKnots\" -type \"doubleArray\" 15\n"
                             "        0 1 2 3 4 0 0 1\n"
                             "        2 3 3 0 1 2 3;\n"
                             "    setAttr \".trimCVs\" -type \"doubleArray\" 33\n"
                             "        0 0 3 0 3 3 0 3\n"
                             "        0 0 1 1 1 2 1 0.5\n"
                             "        2 2 1 1 2 0.5 1 1\n"
                             "        1 3.5 3.5 4 3.5 4 4 3.5\n"
                             "        3.5;\n" +
                             kEnd;
    ASSERT_EQ(openText(text), KStatus::kSuccess) << lastError();
    EXPECT_EQ(sceneText(), text);
    const KFnNurbsSurface plate = surface();
    ASSERT_EQ(plate.numRegions(), 2);
    EXPECT_EQ(plate.numBoundaries(0), 2);
    EXPECT_EQ(plate.boundaryType(0, 1), KFnNurbsSurface::kInner);
    KTrimBoundaryArray boundaries;
    plate.getTrimBoundaries(boundaries, 0);
    const KFnNurbsCurve curve(boundaries[1][0]);
    EXPECT_EQ(curve.form(), KFnNurbsCurve::kClosed);
    KPointArray cvs;
    curve.getCVs(cvs);
    ASSERT_EQ(cvs.length(), 5u);
    EXPECT_EQ(cvs[1], KPoint(2, 1, 0, 0.5));
    expectSame(text);
}

TEST_F(NurbsForms, rationalAndFlippedSurfacesAndCurvesAreKept)
{
    const std::string text = kHeader +
                             "createNode nurbsSurface -name \"s\";\n"
                             "    setAttr \".doubleSided\" 0;\n"
                             "    setAttr \".surface\" -type \"intArray\" 6\n"
                             "        2 1 1 2 1 1;\n"
                             "    setAttr \".knotsU\" -type \"doubleArray\" 4\n"
                             "        0 0 1 1;\n"
                             "    setAttr \".knotsV\" -type \"doubleArray\" 3\n"
                             "        -1 0.1 2;\n"
                             "    setAttr \".cvs\" -type \"doubleArray\" 36\n"
                             "        0 0 0 1 0 1 0 2\n        0 0 0 1 1 0 0 1\n"
                             "        1 1 0 0.25 1 0 0 1\n        2 0 0 1 2 1 0 1\n"
                             "        2 0 0 1;\n"
                             "createNode nurbsCurve -name \"c\";\n"
                             "    setAttr \".curve\" -type \"intArray\" 3\n"
                             "        2 1 1;\n"
                             "    setAttr \".knots\" -type \"doubleArray\" 4\n"
                             "        0 0 1 1;\n"
                             "    setAttr \".cvs\" -type \"doubleArray\" 12\n"
                             "        1 0 0 1 1 1 0 0.7071067811865476\n"
                             "        0 1 0 1;\n" +
                             kEnd;
    ASSERT_EQ(openText(text), KStatus::kSuccess) << lastError();
    EXPECT_EQ(sceneText(), text);
    EXPECT_EQ(surface().formInV(), KFnNurbsSurface::kClosed);
    KDagPath path;
    KItDag(KItDag::kDepthFirst, KFn::kNurbsCurve).getPath(path);
    KPoint p;
    KFnNurbsCurve(path).getPointAtParam(0.5, p);
    EXPECT_NEAR(p.x * p.x + p.y * p.y, 1, 1e-15);
    expectSame(text);
}

// Deliberate: only files have segments; the kernel makes none.
TEST_F(NurbsForms, segmentsStandInTheirRegionAndBoundNothing)
{
    expectSame(
        kHeader + kPlate +
        trimsOf(
            {{0, 1, square(0, 4)}, {0, 3, {1, 1, 5e-1, 3}}, {0, 4, square(1, 3)}, {0, 2, square(2, 3.5)}}));
    const KFnNurbsSurface plate = surface();
    ASSERT_EQ(plate.numBoundaries(0), 4);
    EXPECT_EQ(plate.boundaryType(0, 1), KFnNurbsSurface::kSegment);
    EXPECT_EQ(plate.boundaryType(0, 2), KFnNurbsSurface::kClosedSegment);
    EXPECT_EQ(plate.boundaryType(0, 3), KFnNurbsSurface::kInner);
}

TEST_F(NurbsForms, nodeWithoutDataIsKept)
{
    const std::string text =
        kHeader + "createNode nurbsSurface -name \"a\";\ncreateNode nurbsCurve -name \"b\";\n" + kEnd;
    ASSERT_EQ(openText(text), KStatus::kSuccess) << lastError();
    EXPECT_EQ(sceneText(), text);
    expectSame(text);
}

TEST_F(NurbsForms, surfacesInstancesAndSetsGoTogether)
{
    expectSame(
        kHeader + "createNode transform -name \"a\";\ncreateNode transform -name \"b\";\n" + kPlate +
        "createNode transform -name \"c\";\nparent -add \"plate\" \"a\";\n"
        "createNode shadingEngine -name \"g\";\nsets -edit -addElement \"g\" \"plate\" \"plate:1\";\n");
}

namespace
{

double anyNumber(std::mt19937& random)
{
    switch (random() % 3) {
    case 0:
        return static_cast<int>(random() % 21) - 10;
    case 1: {
        double d = 0;
        uint64_t bits = (uint64_t(random()) << 32) | random();
        bits = (bits & 0x800fffffffffffffu) | (uint64_t(960 + random() % 128) << 52);
        std::memcpy(&d, &bits, sizeof d);
        return d;
    }
    default:
        return static_cast<double>(static_cast<float>(random() % 10000) * 0.001f);
    }
}

/// Knots without repetition or with, clamped or not.
KDoubleArray anyKnots(std::mt19937& random, unsigned cvs, unsigned degree)
{
    KDoubleArray knots;
    double at = anyNumber(random);
    unsigned repeated = 0;
    const bool clamped = random() % 2;
    for (unsigned i = 0; i + 1 < cvs + degree; ++i) {
        const bool inside = i >= degree && i < cvs;
        if (i > 0 && (clamped ? inside || i == cvs - 1 : true) &&
            (i == degree || repeated + 1 >= degree || random() % 3)) {
            at += 0.001 + static_cast<double>(random() % 1000) * 0.37;
            repeated = 0;
        } else {
            ++repeated;
        }
        knots.append(at);
    }
    return knots;
}

} // namespace

TEST_F(NurbsForms, anySurfaceIsTheSameInBothForms)
{
    ::setenv("RC_PARAMS", "seed=20170401 max_success=200", 0);
    unsigned made = 0;
    const bool held = rc::check("ka to kb to ka gives the same bytes", [&](uint32_t seed) {
        std::mt19937 random(seed);
        KFileIO::newFile(true);
        const unsigned degrees[] = {1 + static_cast<unsigned>(random() % 7),
                                    1 + static_cast<unsigned>(random() % 7)};
        const unsigned counts[] = {degrees[0] + 1 + static_cast<unsigned>(random() % 5),
                                   degrees[1] + 1 + static_cast<unsigned>(random() % 5)};
        KPointArray cvs;
        for (unsigned i = 0; i < counts[0] * counts[1]; ++i)
            cvs.append(KPoint(anyNumber(random), anyNumber(random), anyNumber(random),
                              0.001 + static_cast<double>(random() % 4000) * 0.001));
        KFnNurbsSurface surface;
        KStatus status;
        surface.create(cvs, anyKnots(random, counts[0], degrees[0]), anyKnots(random, counts[1], degrees[1]),
                       degrees[0], degrees[1], KFnNurbsSurface::kOpen, KFnNurbsSurface::kOpen, random() % 2,
                       KObject::kNullObj, &status);
        if (status.error())
            return;
        ++made;
        RC_ASSERT(KFileIO::saveAs(in("1.ka")) == KStatus::kSuccess);
        RC_ASSERT(KFileIO::open(in("1.ka")) == KStatus::kSuccess);
        RC_ASSERT(KFileIO::saveAs(in("1.kb")) == KStatus::kSuccess);
        RC_ASSERT(KFileIO::open(in("1.kb")) == KStatus::kSuccess);
        RC_ASSERT(KFileIO::saveAs(in("2.ka")) == KStatus::kSuccess);
        RC_ASSERT(KFileIO::saveAs(in("2.kb")) == KStatus::kSuccess);
        RC_ASSERT(read(in("1.ka")) == read(in("2.ka")));
        RC_ASSERT(read(in("1.kb")) == read(in("2.kb")));
    });
    EXPECT_TRUE(held) << lastError();
    EXPECT_GT(made, 100u) << "most of what is generated is a surface";
}

// -- Errors ---------------------------------------------------------------------------------------

TEST_F(NurbsForms, surfaceThatIsNotOneIsRefused)
{
    const std::string at = "3:1: createNode: the surface \"plate\": ";
    expectError(changed("1 1 1 1 0 0", "0 1 1 1 0 0"), at + "a degree is not in the range from 1 to 15");
    expectError(changed("1 1 1 1 0 0", "1 16 1 1 0 0"), at + "a degree is not in the range from 1 to 15");
    expectError(changed("1 1 1 1 0 0", "1 1 0 1 0 0"), at + "a form is not open, closed or periodic");
    expectError(
        changed("1 1 1 1 0 0", "1 1 1 1 0 2"),
        "3:1: createNode: a NURBS surface has two degrees, two forms and tells whether it is rational and "
        "flipped");
    expectError(changed("1 1 1 1 0 0", "2 1 1 1 0 0"), at + "there are fewer CVs than the degree needs");
    expectError(changed("1 1 1 1 0 0", "1 1 1 2 0 0"),
                at + "the last CVs of a closed or periodic direction are not the first ones");
    expectError(changed("1 1 1 1 0 0", "1 1 1 1 1 0"),
                at + "the number of CVs is not that of both directions multiplied");
    expectError(changed("0 4;", "4 0;"), at + "the knots decrease");
    expectError(changed("0 4;", "4 4;"), at + "a knot is repeated more often than the degree allows");
    expectError(changed("0 4;", "-1e308 1e308;"), at + "the domain has no extent");
    expectError(changed("2\n        0 4;", "1 0;"), at + "there are fewer CVs than the degree needs");
    expectError(changed("2\n        0 4;", "3 0 1 4;"),
                at + "the number of CVs is not that of both directions multiplied");
    expectError(changed("0.1", "1e999"), "12:19: setAttr: not a number that fits here");
    expectError(
        changed("setAttr \".surface\" -type \"intArray\" 6\n        1 1 1 1 0 0;", ""),
        "3:1: createNode: a NURBS surface has two degrees, two forms and tells whether it is rational and "
        "flipped");
    expectError(changed("12\n", "999999999999\n"),
                "10:40: setAttr: the array says it has 999999999999 numbers, but 12 follow");
    expectError(kHeader + kPlate + "setAttr \".cvs\" -type \"doubleArray\" 1 1;",
                "13:9: setAttr: the array has been set before");
    expectError(kHeader + kPlate + "setAttr \".wobble\" -type \"doubleArray\" 1 1;",
                "13:9: setAttr: there is no attribute \"nurbsSurface.wobble\"");
    expectError(kHeader + kPlate + kTolerances,
                "3:1: createNode: a trimmed NURBS surface has two tolerances");
}

TEST_F(NurbsForms, trimmingThatIsNotOneIsRefused)
{
    expectPlateError({{0, 1, {1, 1, 3, 1, 3, 3}}}, "a trim boundary is not closed");
    expectPlateError({{0, 1, square(1, 5)}}, "a trim curve leaves the domain");
    expectPlateError({{0, 1, {1, 1, 3, 3, 3, 1, 1, 3, 1, 1}}},
                     "a trim boundary encloses nothing, or crosses itself");
    expectPlateError({{0, 1, {1, 1, 3, 3, 3, 1, 1, 2, 1, 1}}},
                     "a trim boundary crosses itself or another one");
    expectPlateError({{0, 1, square(0, 2)}, {1, 1, square(1, 3)}},
                     "a trim boundary crosses itself or another one");
    expectPlateError({{0, 1, square(0, 4)}, {1, 1, square(1, 3)}},
                     "a trim boundary is not of the type or the region that it lies in");
    expectPlateError({{0, 1, square(0, 1)}, {0, 2, square(2, 3)}},
                     "a trim boundary is not of the type or the region that it lies in");
    const std::string order = "the trim boundaries do not stand region by region, the outer one first";
    expectPlateError({{1, 1, square(0, 4)}}, order);
    expectPlateError({{0, 2, square(0, 4)}}, order);
    expectPlateError({{0, 1, square(0, 4)}, {0, 5, square(1, 2)}}, order);
    expectPlateError({{0, 1, square(0, 4)}, {-1, 2, square(1, 2)}}, order);
    expectPlateError({{0, 1, square(0, 4)}, {0, 1, square(1, 2)}}, order);
    expectPlateError({{0, 1, square(0, 4)}, {0, 3, {1, 1, 2, 5}}}, "a trim curve leaves the domain");
    expectPlateError({{0, 1, square(0, 4)}, {0, 4, {1, 1, 2, 2}}}, "a trim boundary is not closed");

    std::string text = kHeader + kPlate + trimsOf({{0, 1, square(0, 4)}});
    const auto with = [&](const std::string& from, const std::string& to) {
        std::string other = text;
        return other.replace(other.find(from), from.size(), to);
    };
    const std::string at = "3:1: createNode: the surface \"plate\": ";
    expectError(with(" 3 0 1 1;", " 3 0 1 0;"), at + "a trim boundary has no curve");
    expectError(with(" 3 0 1 1;", " 3 0 1 2;"),
                at + "the trim boundaries do not have as many curves as there are");
    expectError(with(" 3 0 1 1;", " 2 0 1;"), at + "the rows of trim boundaries or curves are not complete");
    expectError(with(" 4 1 1 0 5;", " 4 1 1 0 2000000000;"),
                at + "the trim curves have more knots or CVs than there are");
    expectError(with(" 4 1 1 0 5;", " 4 1 1 0 4;"),
                at + "the trim curves have fewer knots or CVs than there are");
    expectError(with(" 4 1 1 0 5;", " 4 -1 1 0 5;"),
                at + "a trim curve has a wrong degree, too few knots, or is neither rational nor not");
    expectError(with(" 4 1 1 0 5;", " 4 1 7 0 5;"), at + "a form is not open, closed or periodic");
    expectError(with("0.001 1e-05", "0 1e-05"), at + "a trim tolerance is not above 0");
    expectError(with("5 0 1 2 3 4;", "5 0 1 2 2 4;"),
                at + "a knot is repeated more often than the degree allows");
}

TEST_F(NurbsForms, newerVersionIsReadWithoutWhatIsNotKnown)
{
    std::string text = kHeader + kPlate + "setAttr \".wobble\" -type \"doubleArray\" 1 1;\n";
    text.replace(text.find("2017"), 4, "2018");
    ASSERT_EQ(openText(text), KStatus::kSuccess) << lastError();
    EXPECT_EQ(surface().degreeU(), 1);
    ASSERT_EQ(warnings.size(), 1u);
}

// -- Damage ---------------------------------------------------------------------------------------

namespace
{

const std::string kTrimmed =
    kHeader + kPlate + trimsOf({{0, 1, square(0, 4)}, {0, 2, square(1, 2)}, {0, 3, {3, 3, 3, 2}}});

} // namespace

TEST_F(NurbsForms, textCutOrChangedAnywhereNeverCrashes)
{
    for (size_t length = 0; length < kTrimmed.size(); length += 3)
        openText(kTrimmed.substr(0, length));
    for (size_t at = kHeader.size(); at < kTrimmed.size(); ++at) {
        for (const char byte : {'9', '-', ' ', '\0'}) {
            std::string text = kTrimmed;
            text[at] = byte;
            openText(text);
        }
    }
}

TEST_F(NurbsForms, binaryWithNumbersChangedIsReadAsTheyAreOrRefused)
{
    ASSERT_EQ(openText(kTrimmed), KStatus::kSuccess) << lastError();
    ASSERT_EQ(KFileIO::saveAs(in("good.kb")), KStatus::kSuccess);
    const std::string good = read(in("good.kb"));
    const auto u64 = [&](size_t at) {
        uint64_t value = 0;
        std::memcpy(&value, good.data() + at, sizeof value);
        return value;
    };
    // Records with good hashes: what they say is looked at, not only that it is whole.
    const size_t records = u64(24);
    const auto put = [](std::string& bytes, size_t at, uint64_t value) {
        std::memcpy(&bytes[at], &value, sizeof value);
    };
    unsigned refused = 0;
    for (size_t at = 64; at + 4 <= 64 + records; ++at) {
        for (const uint32_t value : {0u, 1u, 0x7fffffffu, 0xffffffffu}) {
            std::string bytes = good;
            std::memcpy(&bytes[at], &value, sizeof value);
            put(bytes, 40, XXH3_64bits(bytes.data() + 64, records));
            put(bytes, 56, XXH3_64bits(bytes.data(), 56));
            write(in("bad.kb"), bytes);
            refused += KFileIO::open(in("bad.kb")).error() ? 1 : 0;
        }
    }
    EXPECT_GT(refused, 0u);
    for (size_t length = 0; length < good.size(); ++length) {
        write(in("cut.kb"), good.substr(0, length));
        EXPECT_EQ(KFileIO::open(in("cut.kb")), KStatus::kFailure) << length;
    }
}

TEST_F(NurbsForms, largeSurfaceIsKept)
{
    // CVs of more than 65,536 bytes stand among the large arrays.
    KPointArray cvs;
    KDoubleArray knots;
    for (int u = 0; u < 80; ++u)
        for (int v = 0; v < 80; ++v)
            cvs.append(KPoint(u, v, u * v * 0.01));
    for (int i = 0; i < 82; ++i)
        knots.append(i);
    KFnNurbsSurface made;
    KStatus status;
    made.create(cvs, knots, knots, 3, 3, KFnNurbsSurface::kOpen, KFnNurbsSurface::kOpen, false,
                KObject::kNullObj, &status);
    ASSERT_EQ(status, KStatus::kSuccess);
    const std::string text = sceneText();
    ASSERT_EQ(KFileIO::saveAs(in("large.kb")), KStatus::kSuccess);
    ASSERT_EQ(KFileIO::open(in("large.kb")), KStatus::kSuccess) << lastError();
    EXPECT_EQ(sceneText(), text);
    EXPECT_EQ(surface().numCVsInV(), 80);
}
