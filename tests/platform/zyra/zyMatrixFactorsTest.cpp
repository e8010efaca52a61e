#include <zyOpenSGUtils/zyNodeUtils.h>

#include <OpenSG/OSGMatrix.h>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace
{

struct Factors {
    osg::Vec3f translation;
    osg::Quaternion rotation;
    osg::Vec3f scale;

    explicit Factors(const osg::Matrix& matrix)
    {
        zyNodeUtils::decomposeMatrix(matrix, translation, rotation, scale);
    }

    osg::Matrix composed() const
    {
        osg::Matrix result;
        result.setTransform(translation, rotation, scale);
        return result;
    }

    osg::Matrix rotationMatrix() const
    {
        osg::Matrix result;
        result.setTransform(rotation);
        return result;
    }

    bool finite() const
    {
        bool result = true;
        for (unsigned int i = 0; i < 3; ++i)
            result = result && std::isfinite(translation[i]) && std::isfinite(scale[i]);
        for (unsigned int i = 0; i < 4; ++i)
            result = result && std::isfinite(rotation[i]);
        return result;
    }
};

osg::Matrix composed(const osg::Vec3f& translation, const osg::Quaternion& rotation, const osg::Vec3f& scale)
{
    osg::Matrix result;
    result.setTransform(translation, rotation, scale);
    return result;
}

osg::Quaternion turn(double x, double y, double z, double degrees)
{
    osg::Quaternion result;
    result.setValueAsAxisDeg(float(x), float(y), float(z), float(degrees));
    return result;
}

// The largest difference of one column from the other, by the length of the column; the translations' by
// theirs.
double deviation(const osg::Matrix& a, const osg::Matrix& b)
{
    double worst = 0;
    for (unsigned int c = 0; c < 4; ++c) {
        double difference = 0, length = 0;
        for (unsigned int r = 0; r < 3; ++r) {
            difference += std::pow(double(a[c][r]) - double(b[c][r]), 2);
            length += std::pow(double(a[c][r]), 2);
        }
        if (difference > 0)
            worst = std::max(worst, std::sqrt(difference / length));
    }
    return worst;
}

// One of -100.000 ... 100.000
float arbitraryNumber()
{
    return float(*rc::gen::inRange(-100000, 100001)) / 1000;
}

osg::Quaternion arbitraryRotation()
{
    osg::Quaternion result;
    result.setValueAsQuat(arbitraryNumber(), arbitraryNumber(), arbitraryNumber(), arbitraryNumber());
    result.normalize();
    return result;
}

// From 1e-6 to 1e6, of either sign.
float arbitraryScale()
{
    const double size = std::pow(10.0, *rc::gen::inRange(-6000, 6001) / 1000.0);
    return float(*rc::gen::arbitrary<bool>() ? size : -size);
}

osg::Matrix rotationOf(const osg::Vec3f& degrees)
{
    osg::Quaternion x, y, result;
    x.setValueAsAxisDeg(1, 0, 0, degrees[0]);
    y.setValueAsAxisDeg(0, 1, 0, degrees[1]);
    result.setValueAsAxisDeg(0, 0, 1, degrees[2]);
    result.mult(y);
    result.mult(x);
    osg::Matrix matrix;
    matrix.setTransform(result);
    return matrix;
}

osg::Vec3f anglesOf(const osg::Matrix& rotation)
{
    osg::Vec3f degrees;
    zyNodeUtils::cnvMatToEul(rotation, degrees);
    return degrees;
}

} // namespace

// -- decomposeMatrix --------------------------------------------------------------------------

TEST(zyNodeUtilsDecomposeMatrix, identityGivesIdentityToTheBit)
{
    const Factors factors{osg::Matrix()};
    for (unsigned int i = 0; i < 3; ++i) {
        EXPECT_EQ(factors.translation[i], 0.0f);
        EXPECT_EQ(factors.rotation[i], 0.0f);
        EXPECT_EQ(factors.scale[i], 1.0f);
    }
    EXPECT_EQ(factors.rotation[3], 1.0f);
}

TEST(zyNodeUtilsDecomposeMatrix, givesScalesAlongTheObjectsOwnAxes)
{
    const Factors factors(composed(osg::Vec3f(5, 6, 7), turn(0, 0, 1, 90), osg::Vec3f(2, 3, 4)));
    EXPECT_EQ(factors.translation, osg::Vec3f(5, 6, 7));
    EXPECT_TRUE(factors.scale.equals(osg::Vec3f(2, 3, 4), 1e-6f));
    EXPECT_TRUE(factors.rotation.equals(turn(0, 0, 1, 90), 1e-6f));
}

TEST(zyNodeUtilsDecomposeMatrix, mirroredMatrixHasThreeScalesBelowZero)
{
    const Factors factors(composed(osg::Vec3f(0, 0, 0), osg::Quaternion(), osg::Vec3f(-1, 2, 3)));
    EXPECT_EQ(factors.scale, osg::Vec3f(-1, -2, -3));
    // Half a turn about the mirrored axis.
    EXPECT_NEAR(std::fabs(factors.rotation[0]), 1.0, 1e-6);
}

TEST(zyNodeUtilsDecomposeMatrix, twoMirroredAxesAreATurn)
{
    const Factors factors(composed(osg::Vec3f(0, 0, 0), osg::Quaternion(), osg::Vec3f(-2, -3, 4)));
    EXPECT_EQ(factors.scale, osg::Vec3f(2, 3, 4));
    EXPECT_NEAR(std::fabs(factors.rotation[2]), 1.0, 1e-6);
}

TEST(zyNodeUtilsDecomposeMatrix, keepsVerySmallAndVeryLargeScalesApart)
{
    const osg::Vec3f scale(1e-12f, 1.0f, 1e12f);
    const osg::Matrix matrix = composed(osg::Vec3f(1, 2, 3), turn(1, 2, 3, 40), scale);
    const Factors factors(matrix);
    EXPECT_LE(deviation(matrix, factors.composed()), 1e-6);
    for (unsigned int i = 0; i < 3; ++i)
        EXPECT_NEAR(factors.scale[i] / scale[i], 1.0, 1e-6);
}

TEST(zyNodeUtilsDecomposeMatrix, keepsTheRotationThatTheOtherAxesTellWhereOneScaleIsZero)
{
    for (unsigned int flat = 0; flat < 3; ++flat) {
        osg::Vec3f scale(2, 3, 4);
        scale[flat] = 0;
        const osg::Matrix matrix = composed(osg::Vec3f(1, 2, 3), turn(1, 2, 3, 40), scale);
        const Factors factors(matrix);
        EXPECT_LE(deviation(matrix, factors.composed()), 1e-6) << flat;
        EXPECT_TRUE(factors.rotation.equals(turn(1, 2, 3, 40), 1e-6f)) << flat;
        EXPECT_EQ(factors.scale[flat], 0.0f);
    }
}

TEST(zyNodeUtilsDecomposeMatrix, keepsTheOneAxisThatIsLeft)
{
    for (unsigned int left = 0; left < 3; ++left) {
        osg::Vec3f scale(0, 0, 0);
        scale[left] = 5;
        for (const osg::Quaternion& rotation :
             {osg::Quaternion(), turn(1, 0, 0, 90), turn(1, 2, 3, 40), turn(0, 1, 0, 180)}) {
            const osg::Matrix matrix = composed(osg::Vec3f(1, 2, 3), rotation, scale);
            const Factors factors(matrix);
            EXPECT_LE(deviation(matrix, factors.composed()), 1e-6) << left;
            EXPECT_TRUE(factors.scale.equals(scale, 1e-5f)) << left;
            EXPECT_NEAR(factors.rotation.length(), 1.0, 1e-6);
            EXPECT_NEAR(factors.rotationMatrix().det3(), 1.0, 1e-6);
        }
        // Without a rotation none is made up.
        const Factors straight(composed(osg::Vec3f(0, 0, 0), osg::Quaternion(), scale));
        EXPECT_EQ(straight.rotation, osg::Quaternion()) << left;
    }
}

TEST(zyNodeUtilsDecomposeMatrix, aPointHasScaleZeroAndNoRotation)
{
    const Factors factors(composed(osg::Vec3f(1, 2, 3), turn(1, 2, 3, 40), osg::Vec3f(0, 0, 0)));
    EXPECT_EQ(factors.translation, osg::Vec3f(1, 2, 3));
    EXPECT_EQ(factors.scale, osg::Vec3f(0, 0, 0));
    EXPECT_EQ(factors.rotation, osg::Quaternion());
}

TEST(zyNodeUtilsDecomposeMatrix, parallelColumnsGiveFiniteFactors)
{
    const osg::Matrix matrix(1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3, 0, 0, 0, 0, 1);
    const Factors factors(matrix);
    EXPECT_TRUE(factors.finite());
    EXPECT_NEAR(factors.rotation.length(), 1.0, 1e-6);
    for (unsigned int i = 0; i < 3; ++i)
        EXPECT_GE(factors.scale[i], 0.0f);
}

TEST(zyNodeUtilsDecomposeMatrix, dropsShearAndKeepsTheNearestRotation)
{
    // x is pulled along y; the nearest rotation turns half as far as x and y are apart.
    const float shear = 0.5f;
    const Factors factors(osg::Matrix(1, shear, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1));
    const float angle = -std::atan2(shear, 2.0f);
    osg::Quaternion expected;
    expected.setValueAsAxisRad(0, 0, 1, angle);
    EXPECT_TRUE(factors.rotation.equals(expected, 1e-6f));
    EXPECT_NEAR(factors.scale[0], std::cos(angle), 1e-6);
    EXPECT_NEAR(factors.scale[1], std::cos(angle) - shear * std::sin(angle), 1e-6);
    EXPECT_NEAR(factors.scale[2], 1.0, 1e-6);
}

TEST(zyNodeUtilsDecomposeMatrix, leavesOutTheProjectiveRow)
{
    osg::Matrix matrix = composed(osg::Vec3f(1, 2, 3), turn(0, 1, 0, 30), osg::Vec3f(2, 2, 2));
    const Factors plain(matrix);
    matrix[0][3] = 0.5f;
    matrix[3][3] = 2.0f;
    const Factors projective(matrix);
    EXPECT_EQ(projective.translation, plain.translation);
    EXPECT_EQ(projective.rotation, plain.rotation);
    EXPECT_EQ(projective.scale, plain.scale);
}

TEST(zyNodeUtilsDecomposeMatrix, aValueThatIsNotFiniteGivesIdentity)
{
    for (const float bad :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
        for (unsigned int c = 0; c < 4; ++c)
            for (unsigned int r = 0; r < 3; ++r) {
                osg::Matrix matrix = composed(osg::Vec3f(1, 2, 3), turn(0, 1, 0, 30), osg::Vec3f(2, 3, 4));
                matrix[c][r] = bad;
                const Factors factors(matrix);
                EXPECT_EQ(factors.composed(), osg::Matrix()) << c << ' ' << r;
            }
    }
}

TEST(zyNodeUtilsDecomposeMatrix, theLargestNumbersGiveFiniteFactors)
{
    const float most = std::numeric_limits<float>::max(), least = std::numeric_limits<float>::denorm_min();
    for (const float value : {most, least}) {
        const Factors factors(osg::Matrix(value, value, -value, value, value, -value, value, value, -value,
                                          value, value, value, 0, 0, 0, 1));
        EXPECT_TRUE(factors.finite());
        EXPECT_NEAR(factors.rotation.length(), 1.0, 1e-6);
    }
}

RC_GTEST_PROP(zyNodeUtilsDecomposeMatrix, composesAnyMatrixWithoutShearAgain, ())
{
    const osg::Matrix matrix =
        composed(osg::Vec3f(arbitraryNumber(), arbitraryNumber(), arbitraryNumber()), arbitraryRotation(),
                 osg::Vec3f(arbitraryScale(), arbitraryScale(), arbitraryScale()));
    const Factors factors(matrix);
    RC_ASSERT(deviation(matrix, factors.composed()) <= 1e-6);
    // A second split finds the same factors.
    const Factors again(factors.composed());
    for (unsigned int i = 0; i < 3; ++i) {
        RC_ASSERT(std::fabs(again.scale[i] / factors.scale[i] - 1) <= 1e-6);
        RC_ASSERT((factors.scale[i] < 0) == (matrix.det3() < 0));
    }
}

RC_GTEST_PROP(zyNodeUtilsDecomposeMatrix, splitsAnyMatrixIntoARotationAndFiniteScales, ())
{
    osg::Matrix matrix;
    for (unsigned int c = 0; c < 4; ++c)
        for (unsigned int r = 0; r < 3; ++r)
            matrix[c][r] = float(*rc::gen::inRange(-2, 3)); // many of them singular
    const Factors factors(matrix);
    RC_ASSERT(factors.finite());
    RC_ASSERT(std::fabs(factors.rotation.length() - 1) <= 1e-6f);
    RC_ASSERT(factors.scale.length() <= 3 * 4.0f);
}

// -- cnvMatToEul ------------------------------------------------------------------------------

TEST(zyNodeUtilsCnvMatToEul, givesDegreesAboutXYAndZ)
{
    EXPECT_EQ(anglesOf(osg::Matrix()), osg::Vec3f(0, 0, 0));
    EXPECT_TRUE(anglesOf(rotationOf(osg::Vec3f(30, 0, 0))).equals(osg::Vec3f(30, 0, 0), 1e-4f));
    EXPECT_TRUE(anglesOf(rotationOf(osg::Vec3f(0, 30, 0))).equals(osg::Vec3f(0, 30, 0), 1e-4f));
    EXPECT_TRUE(anglesOf(rotationOf(osg::Vec3f(0, 0, 30))).equals(osg::Vec3f(0, 0, 30), 1e-4f));
}

TEST(zyNodeUtilsCnvMatToEul, turnsAboutXFirstThenYThenZ)
{
    // y goes to z by the turn about x, to x by the one about y, to y by the one about z.
    osg::Vec3f y(0, 1, 0);
    const osg::Matrix matrix = rotationOf(osg::Vec3f(90, 90, 90));
    matrix.multMatrixVec(y);
    EXPECT_TRUE(y.equals(osg::Vec3f(0, 1, 0), 1e-6f));
    EXPECT_TRUE(anglesOf(rotationOf(osg::Vec3f(10, 20, 30))).equals(osg::Vec3f(10, 20, 30), 1e-4f));
}

TEST(zyNodeUtilsCnvMatToEul, looksAtTheRotationOnly)
{
    osg::Matrix matrix = rotationOf(osg::Vec3f(10, 20, 30));
    const osg::Vec3f degrees = anglesOf(matrix);
    matrix[3].setValues(7, 8, 9, 2);
    matrix[1][3] = 3;
    EXPECT_EQ(anglesOf(matrix), degrees);
}

TEST(zyNodeUtilsCnvMatToEul, whereYIsARightAngleZIsZero)
{
    for (const float y : {90.0f, -90.0f}) {
        const osg::Vec3f degrees = anglesOf(rotationOf(osg::Vec3f(25, y, 10)));
        EXPECT_NEAR(degrees[1], y, 0.05);
        EXPECT_TRUE(rotationOf(degrees).equals(rotationOf(osg::Vec3f(25, y, 10)), 1e-5f)) << y;
    }
    const osg::Matrix exact(0, 0, 1, 0, 0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 0, 1);
    EXPECT_EQ(anglesOf(exact), osg::Vec3f(0, 90, 0));
}

RC_GTEST_PROP(zyNodeUtilsCnvMatToEul, givesAnglesOfTheSameRotation, ())
{
    osg::Matrix matrix;
    matrix.setTransform(arbitraryRotation());
    const osg::Vec3f degrees = anglesOf(matrix);
    RC_ASSERT(std::fabs(degrees[0]) <= 180.0f && std::fabs(degrees[1]) <= 90.0f &&
              std::fabs(degrees[2]) <= 180.0f);
    RC_ASSERT(rotationOf(degrees).equals(matrix, 2e-6f));
}

RC_GTEST_PROP(zyNodeUtilsCnvMatToEul, isAsGoodNearTheRightAngle, ())
{
    const float near = float(std::pow(10.0, *rc::gen::inRange(-7000, 1000) / 1000.0));
    const osg::Matrix matrix = rotationOf(osg::Vec3f(arbitraryNumber(), 90 - near, arbitraryNumber()));
    RC_ASSERT(rotationOf(anglesOf(matrix)).equals(matrix, 2e-6f));
}
