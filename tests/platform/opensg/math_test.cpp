#include <OpenSG/OSGBaseFunctions.h>
#include <OpenSG/OSGColor.h>
#include <OpenSG/OSGDynamicVolume.h>
#include <OpenSG/OSGMatrix.h>
#include <OpenSG/OSGQuaternion.h>
#include <OpenSG/OSGVector.h>

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <sstream>

using namespace osg;

namespace
{

const Real32 halfTurn = Pi, quarterTurn = Pi / 2;

Quaternion aboutAxis(Real32 x, Real32 y, Real32 z, Real32 angle)
{
    Quaternion q;
    q.setValueAsAxisRad(x, y, z, angle);
    return q;
}

Matrix rotationOf(const Quaternion& q)
{
    Matrix m;
    q.getValue(m);
    return m;
}

Matrix scaling(Real32 x, Real32 y, Real32 z)
{
    Matrix m;
    m.setScale(x, y, z);
    return m;
}

void expectNear(const Matrix& expected, const Matrix& actual, Real32 tolerance)
{
    EXPECT_TRUE(expected.equals(actual, tolerance)) << "expected\n" << expected << "actual\n" << actual;
}

void expectNear(const Pnt3f& expected, const Pnt3f& actual, Real32 tolerance = 1e-5f)
{
    EXPECT_TRUE(expected.equals(actual, tolerance)) << "expected " << expected << ", actual " << actual;
}

// q and -q are the same rotation.
void expectSameRotation(const Quaternion& expected, const Quaternion& actual)
{
    expectNear(rotationOf(expected), rotationOf(actual), 1e-5f);
}

// SO^-1 diag(s) SO R
Matrix composeLeftStretch(const Quaternion& r, const Vec3f& s, const Quaternion& so)
{
    Matrix m = rotationOf(so.inverse());
    m.mult(scaling(s[0], s[1], s[2]));
    m.mult(rotationOf(so));
    m.mult(rotationOf(r));
    return m;
}

} // namespace

// -- Vectors ----------------------------------------------------------------------------------------

TEST(Vector, IsZeroByDefault)
{
    EXPECT_EQ(Vec3f(0, 0, 0), Vec3f());
    EXPECT_EQ(Pnt4f(0, 0, 0, 0), Pnt4f::Null);
}

TEST(Vector, OneNumberSetsTheFirstComponentOnly)
{
    const Vec3f v(7);
    EXPECT_EQ(7, v.x());
    EXPECT_EQ(0, v.y());
    EXPECT_EQ(0, v.z());
}

TEST(Vector, ConversionTakesCommonComponentsAndFillsWithZero)
{
    EXPECT_EQ(Pnt4f(1, 2, 3, 0), Pnt4f(Pnt3f(1, 2, 3)));
    EXPECT_EQ(Pnt3f(2, 4, 6), Pnt3f(Pnt4f(2, 4, 6, 2))) << "w is dropped undivided";
    EXPECT_EQ(Vec3f(1, 2, 0), Vec3f(Vec2d(1, 2)));
}

TEST(Vector, PointsAndVectorsCombineAsInGeometry)
{
    const Pnt3f p(1, 2, 3), q(4, 6, 8);
    const Vec3f v(1, 1, 1);
    const Vec3f difference = q - p;
    EXPECT_EQ(Vec3f(3, 4, 5), difference);
    const Pnt3f moved = p + v;
    EXPECT_EQ(Pnt3f(2, 3, 4), moved);
    EXPECT_EQ(Pnt3f(0, 1, 2), p - v);
    EXPECT_EQ(Vec3f(2, 2, 2), v + v);
    EXPECT_EQ(Vec3f(2, 2, 2), 2 * v);
    EXPECT_EQ(Vec3f(2, 2, 2), v * 2);
    EXPECT_EQ(p, p.subZero().addToZero());
}

TEST(Vector, ProductOfVectorsIsTheDotProductAndPercentTheCrossProduct)
{
    const Vec3f x(1, 0, 0), y(0, 1, 0);
    EXPECT_FLOAT_EQ(32, Vec3f(1, 2, 3) * Vec3f(4, 5, 6));
    EXPECT_EQ(Vec3f(0, 0, 1), x % y);
    EXPECT_EQ(Vec3f(0, 0, -1), y.cross(x));
    EXPECT_NEAR(quarterTurn, x.enclosedAngle(y), 1e-6);
}

TEST(Vector, NormalizeLeavesShortVectorsAlone)
{
    Vec3f v(0, 3, 4);
    v.normalize();
    EXPECT_EQ(Vec3f(0, 0.6f, 0.8f), v);
    Vec3f tiny(1e-7f, 0, 0);
    tiny.normalize();
    EXPECT_EQ(1e-7f, tiny[0]);
}

TEST(Vector, EqualityHasATolerancePerComponent)
{
    EXPECT_TRUE(Vec3f(1, 0, 0) == Vec3f(1 + 0.5e-6f, 0, 0));
    EXPECT_FALSE(Vec3f(1, 0, 0) == Vec3f(1 + 3e-6f, 0, 0));
    EXPECT_FALSE(Vec2ub(3, 4) == Vec2ub(3, 5));
    EXPECT_FALSE(Vec3f(std::nanf(""), 0, 0) == Vec3f(0, 0, 0));
}

TEST(Vector, OrderIsLexicographic)
{
    EXPECT_LT(Vec3f(1, 9, 9), Vec3f(2, 0, 0));
    EXPECT_LT(Vec3f(1, 2, 3), Vec3f(1, 2, 4));
    EXPECT_FALSE(Vec3f(1, 2, 3) < Vec3f(1, 2, 3));
}

TEST(Vector, DistanceAndLargestComponent)
{
    EXPECT_FLOAT_EQ(5, Pnt3f(1, 1, 1).dist(Pnt3f(1, 4, 5)));
    EXPECT_FLOAT_EQ(25, Pnt3f(1, 1, 1).dist2(Pnt3f(1, 4, 5)));
    EXPECT_FLOAT_EQ(4, Pnt3f(-7, 4, 2).maxValue());
}

TEST(Vector, ProjectionLiesOnTheAxis)
{
    Vec3f v(3, 4, 0);
    EXPECT_FLOAT_EQ(3, v.projectTo(Vec3f(2, 0, 0)));
    EXPECT_EQ(Vec3f(3, 0, 0), v);
}

TEST(Color, IsBlackAndTransparentByDefault)
{
    EXPECT_EQ(Color4f(0, 0, 0, 0), Color4f());
    EXPECT_EQ(Color3f(0, 0, 0), Color3f());
}

TEST(Color, ComponentsAndArithmetic)
{
    Color4f c(0.1f, 0.2f, 0.3f, 0.4f);
    EXPECT_FLOAT_EQ(0.4f, c.alpha());
    EXPECT_EQ(Color4f(0.2f, 0.4f, 0.6f, 0.8f), c + c);
    EXPECT_EQ(c + c, 2 * c);
    c.setValuesRGB(1, 1, 1);
    EXPECT_EQ(Color4f(1, 1, 1, 0.4f), c);
    EXPECT_TRUE(Color3f(1, 0, 0) == Color3f(1 - 0.5e-6f, 0, 0));
}

// -- Matrices ---------------------------------------------------------------------------------------

TEST(Matrix, IsIdentityByDefaultAndStoredInColumns)
{
    EXPECT_EQ(Matrix::identity(), Matrix());
    Matrix m;
    m.setTranslate(1, 2, 3);
    EXPECT_EQ(Vec4f(1, 2, 3, 1), m[3]);
    EXPECT_EQ(2, m.getValues()[13]);
}

TEST(Matrix, SixteenNumbersAreTakenRowByRow)
{
    const Matrix m(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16);
    EXPECT_EQ(Vec4f(4, 8, 12, 16), m[3]);
    Matrix t;
    t.setValueTransposed(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16);
    EXPECT_EQ(Vec4f(13, 14, 15, 16), t[3]);
}

TEST(Matrix, ArrayIsTakenColumnByColumnUnlessToldOtherwise)
{
    Real32 values[16];
    for (int i = 0; i < 16; ++i)
        values[i] = Real32(i);
    Matrix m;
    m.setValue(values);
    EXPECT_EQ(Vec4f(12, 13, 14, 15), m[3]);
    m.setValue(values, false);
    EXPECT_EQ(Vec4f(3, 7, 11, 15), m[3]);
}

TEST(Matrix, ColumnsLeaveTheLastRow)
{
    Matrix m(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3, 4);
    m.setValue(Vec3f(1, 2, 3), Vec3f(4, 5, 6), Vec3f(7, 8, 9), Vec3f(10, 11, 12));
    EXPECT_EQ(Vec4f(1, 2, 3, 1), m[0]);
    EXPECT_EQ(Vec4f(10, 11, 12, 4), m[3]);
}

TEST(Matrix, TextIsReadRowByRowOrNotAtAll)
{
    Matrix m;
    m.setValue("1 0 0 5, 0 1 0 6, 0 0 1 7, 0 0 0 1");
    EXPECT_EQ(Vec4f(5, 6, 7, 1), m[3]);
    m.setValue("1 2 3");
    EXPECT_EQ(Vec4f(5, 6, 7, 1), m[3]);
}

TEST(Matrix, PointsAreMovedVectorsAreNot)
{
    Matrix m;
    m.setTranslate(10, 20, 30);
    Pnt3f p;
    m.multMatrixPnt(Pnt3f(1, 2, 3), p);
    EXPECT_EQ(Pnt3f(11, 22, 33), p);
    m.mult(p);
    EXPECT_EQ(Pnt3f(21, 42, 63), p);
    Vec3f v;
    m.mult(Vec3f(1, 2, 3), v);
    EXPECT_EQ(Vec3f(1, 2, 3), v);
    Vec4f full(1, 2, 3, 1);
    m.multMatrixVec(full);
    EXPECT_EQ(Vec4f(11, 22, 33, 1), full);
}

TEST(Matrix, OnlyTheFullFormDividesByW)
{
    Matrix m;
    m[3][3] = 2;
    Pnt3f p(2, 4, 6);
    m.multMatrixPnt(p);
    EXPECT_EQ(Pnt3f(2, 4, 6), p);
    m.multFullMatrixPnt(p);
    EXPECT_EQ(Pnt3f(1, 2, 3), p);
}

TEST(Matrix, RowVectorsAreMultipliedFromTheLeft)
{
    const Matrix m(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16);
    Pnt3f p;
    m.multPntMatrix(Pnt3f(1, 1, 1), p);
    EXPECT_EQ(Pnt3f(28, 32, 36), p);
    Vec3f v;
    m.multVecMatrix(Vec3f(1, 1, 1), v);
    EXPECT_EQ(Vec3f(15, 18, 21), v);
}

TEST(Matrix, MultAppliesTheArgumentFirst)
{
    Matrix move, turn;
    move.setTranslate(1, 0, 0);
    turn.setRotate(aboutAxis(0, 0, 1, quarterTurn));
    Matrix m = move;
    m.mult(turn);
    Pnt3f p(1, 0, 0);
    m.mult(p);
    expectNear(Pnt3f(1, 1, 0), p);
    m = move;
    m.multLeft(turn);
    p.setValues(1, 0, 0);
    m.mult(p);
    expectNear(Pnt3f(0, 2, 0), p);
}

TEST(Matrix, SmallScalesInvertUntilTheDeterminantVanishes)
{
    Matrix result;
    EXPECT_TRUE(scaling(1e-10f, 1e-10f, 1e-10f).inverse(result));
    EXPECT_FLOAT_EQ(1e10f, result[0][0]);
    EXPECT_FALSE(scaling(1e-11f, 1e-11f, 1e-11f).inverse(result));
    EXPECT_EQ(Matrix::identity(), result);
}

TEST(Matrix, InverseTimesMatrixIsIdentity)
{
    std::mt19937 random(1);
    std::uniform_real_distribution<Real32> value(-2, 2);
    for (int i = 0; i < 200; ++i) {
        Matrix m;
        for (int k = 0; k < 16; ++k)
            m.getValues()[k] = value(random);
        if (std::fabs(m.det()) < 0.1f)
            continue;
        Matrix product;
        ASSERT_TRUE(m.inverse(product));
        product.mult(m);
        expectNear(Matrix(), product, 1e-4f);
    }
}

TEST(Matrix, DeterminantsOfAllAndOfTheUpperPart)
{
    Matrix m = scaling(2, 3, 4);
    m.setTranslate(5, 6, 7);
    m[3][3] = 2;
    EXPECT_FLOAT_EQ(48, m.det());
    EXPECT_FLOAT_EQ(24, m.det3());
    Matrix inverse;
    ASSERT_TRUE(m.inverse3(inverse));
    expectNear(scaling(0.5f, 1 / 3.f, 0.25f), inverse, 1e-6f);
}

TEST(Matrix, EqualityHasATolerancePerElement)
{
    Matrix m;
    m[2][1] = 0.5e-6f;
    EXPECT_TRUE(m == Matrix());
    m[2][1] = 2e-6f;
    EXPECT_FALSE(m == Matrix());
    EXPECT_TRUE(m.equals(Matrix(), 1e-5f));
}

TEST(Matrix, PartialSettersChangeNothingElse)
{
    Matrix m(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16);
    m.setScale(20, 30, 40);
    EXPECT_EQ(Matrix(20, 2, 3, 4, 5, 30, 7, 8, 9, 10, 40, 12, 13, 14, 15, 16), m);
    m.setTranslate(Vec3f(1, 1, 1));
    EXPECT_EQ(Matrix(20, 2, 3, 1, 5, 30, 7, 1, 9, 10, 40, 1, 13, 14, 15, 16), m);
    m.setRotate(Quaternion());
    EXPECT_EQ(Matrix(1, 0, 0, 1, 0, 1, 0, 1, 0, 0, 1, 1, 13, 14, 15, 16), m);
}

TEST(Matrix, TransformIsTheProductOfItsParts)
{
    const Vec3f t(1, 2, 3), s(2, 3, 4), center(5, 6, 7);
    const Quaternion r = aboutAxis(1, 2, 3, 0.7f), so = aboutAxis(3, 1, 2, 0.4f);
    Matrix expected;
    expected.setTranslate(t + center);
    Matrix back;
    back.setTranslate(-center);
    for (const Matrix& factor :
         {rotationOf(r), rotationOf(so), scaling(s[0], s[1], s[2]), rotationOf(so.inverse()), back})
        expected.mult(factor);
    Matrix m;
    m.setTransform(t, r, s, so, center);
    expectNear(expected, m, 1e-4f);
}

TEST(Matrix, GetTransformSplitsIntoLeftStretchAndRotation)
{
    std::mt19937 random(2);
    std::uniform_real_distribution<Real32> value(-3, 3);
    int checked = 0;
    for (int i = 0; i < 200; ++i) {
        Matrix m;
        for (int c = 0; c < 4; ++c)
            for (int r = 0; r < 3; ++r)
                m[c][r] = value(random);
        if (std::fabs(m.det3()) < 0.05f)
            continue;
        ++checked;
        Vec3f t, s;
        Quaternion r, so;
        m.getTransform(t, r, s, so);
        EXPECT_EQ(Vec3f(m[3]), t);
        EXPECT_NEAR(1, r.length(), 1e-5);
        EXPECT_EQ(m.det3() < 0, s[0] < 0) << "all scales have the determinant's sign";
        EXPECT_EQ(s[0] < 0, s[1] < 0);
        EXPECT_EQ(s[0] < 0, s[2] < 0);
        Matrix upper = m;
        upper.setTranslate(0, 0, 0);
        expectNear(upper, composeLeftStretch(r, s, so), 6e-5f);
    }
    EXPECT_GT(checked, 150);
}

TEST(Matrix, GetTransformFoldsAMirrorIntoAllScales)
{
    Vec3f t, s;
    Quaternion r, so;
    scaling(-1, 1, 1).getTransform(t, r, s, so);
    EXPECT_EQ(Vec3f(-1, -1, -1), s);
    expectSameRotation(aboutAxis(1, 0, 0, halfTurn), r);

    scaling(-2, -3, 4).getTransform(t, r, s, so);
    EXPECT_EQ(Vec3f(2, 3, 4), s);
    expectSameRotation(aboutAxis(0, 0, 1, halfTurn), r);
}

TEST(Matrix, GetTransformOrdersScalesByTheWorldAxes)
{
    Matrix m;
    m.setTransform(Vec3f(1, 2, 3), aboutAxis(0, 0, 1, quarterTurn), Vec3f(2, 3, 4));
    Vec3f t, s;
    Quaternion r, so;
    m.getTransform(t, r, s, so);
    EXPECT_EQ(Vec3f(1, 2, 3), t);
    expectNear(Vec3f(3, 2, 4), s);
    expectSameRotation(aboutAxis(0, 0, 1, quarterTurn), r);
}

TEST(Matrix, GetTransformOfAFlatMatrixLeavesTheScale)
{
    Matrix m = scaling(1e-5f, 1e-5f, 1e-5f);
    m.setTranslate(1, 2, 3);
    Vec3f t, s(7, 8, 9);
    Quaternion r = aboutAxis(1, 0, 0, 1), so = r;
    m.getTransform(t, r, s, so);
    EXPECT_EQ(Vec3f(1, 2, 3), t);
    EXPECT_EQ(Vec3f(7, 8, 9), s);
    EXPECT_EQ(Quaternion(), r);
    EXPECT_EQ(Quaternion(), so);
}

TEST(Matrix, GetTransformCorrectsTheTranslationForTheCenter)
{
    const Vec3f center(5, 6, 7);
    Matrix m;
    m.setTransform(Vec3f(1, 2, 3), aboutAxis(0, 1, 0, 0.5f), Vec3f(2, 2, 2), Quaternion(), center);
    Vec3f t, s;
    Quaternion r, so;
    m.getTransform(t, r, s, so, center);
    expectNear(Vec3f(1, 2, 3), t, 1e-4f);
}

// -- Quaternions ------------------------------------------------------------------------------------

TEST(Quaternion, IsIdentityByDefault)
{
    const Quaternion q;
    EXPECT_EQ(0, q.x());
    EXPECT_EQ(1, q.w());
}

TEST(Quaternion, AxisNeedNotBeNormalisedAndAZeroAxisIsIdentity)
{
    EXPECT_EQ(aboutAxis(0, 0, 1, 1), aboutAxis(0, 0, 17, 1));
    EXPECT_EQ(Quaternion(), aboutAxis(0, 0, 0, 1));
    Quaternion degrees;
    degrees.setValueAsAxisDeg(0, 1, 0, 90);
    EXPECT_EQ(aboutAxis(0, 1, 0, quarterTurn), degrees);
}

TEST(Quaternion, AxisAndAngleComeBack)
{
    Vec3f axis;
    Real32 angle;
    aboutAxis(0, 3, 0, 1.25f).getValueAsAxisRad(axis, angle);
    EXPECT_EQ(Vec3f(0, 1, 0), axis);
    EXPECT_NEAR(1.25f, angle, 1e-6);
    Quaternion().getValueAsAxisRad(axis, angle);
    EXPECT_EQ(Vec3f(0, 0, 1), axis);
    EXPECT_EQ(0, angle);
}

TEST(Quaternion, AngleOfAScalarBeyondOneIsNotANumber)
{
    Quaternion q;
    q.setValueAsQuat(0, 0.5f, 0, 1.5f);
    Vec3f axis;
    Real32 angle;
    q.getValueAsAxisRad(axis, angle);
    EXPECT_TRUE(std::isnan(angle));
    EXPECT_EQ(1.5f, q.w()) << "components are stored as given";
}

TEST(Quaternion, ProductAppliesTheArgumentFirstAndIsNormalised)
{
    const Quaternion a = aboutAxis(1, 0, 0, 0.5f), b = aboutAxis(0, 1, 0, 0.7f);
    Matrix expected = rotationOf(a);
    expected.mult(rotationOf(b));
    Quaternion product = a;
    product.mult(b);
    expectNear(expected, rotationOf(product), 1e-6f);
    product = b;
    product.multLeft(a);
    expectNear(expected, rotationOf(product), 1e-6f);

    Quaternion twice;
    twice.setValueAsQuat(0, 0, 0, 2);
    twice *= twice;
    EXPECT_EQ(Quaternion(), twice);
}

TEST(Quaternion, EulerAnglesTurnAboutXFirst)
{
    Quaternion q;
    q.setValue(0.3f, 0.4f, 0.5f);
    Matrix expected = rotationOf(aboutAxis(0, 0, 1, 0.5f));
    expected.mult(rotationOf(aboutAxis(0, 1, 0, 0.4f)));
    expected.mult(rotationOf(aboutAxis(1, 0, 0, 0.3f)));
    expectNear(expected, rotationOf(q), 1e-6f);
}

TEST(Quaternion, ShortestArcLeadsFromOneDirectionToTheOther)
{
    const Vec3f directions[] = {Vec3f(1, 0, 0), Vec3f(-2, 0, 0), Vec3f(0, 3, 1), Vec3f(0, 0, -1)};
    for (const Vec3f& from : directions)
        for (const Vec3f& to : directions) {
            Vec3f turned, expected = to;
            Quaternion(from, to).multVec(from, turned);
            turned.normalize();
            expected.normalize();
            expectNear(expected, turned);
        }
}

TEST(Quaternion, MatrixAndQuaternionAgree)
{
    std::mt19937 random(3);
    std::uniform_real_distribution<Real32> value(-1, 1);
    for (int i = 0; i < 200; ++i) {
        const Quaternion q = aboutAxis(value(random), value(random), value(random), 6 * value(random));
        expectSameRotation(q, Quaternion(rotationOf(q)));
        Vec3f turned, multiplied;
        const Vec3f v(value(random), value(random), value(random));
        q.multVec(v, turned);
        rotationOf(q).mult(v, multiplied);
        expectNear(multiplied, turned);
    }
}

TEST(Quaternion, ValuesOnlyLeaveTheRestOfTheMatrix)
{
    Matrix m(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16);
    Quaternion().getValuesOnly(m);
    EXPECT_EQ(Matrix(1, 0, 0, 4, 0, 1, 0, 8, 0, 0, 1, 12, 13, 14, 15, 16), m);
    Quaternion().getValue(m);
    EXPECT_EQ(Matrix(), m);
}

TEST(Quaternion, InverseUndoesTheRotation)
{
    Quaternion q = aboutAxis(1, 2, 3, 1);
    q.mult(q.inverse());
    EXPECT_EQ(Quaternion(), q);
}

TEST(Quaternion, OppositeSignsAreUnequalThoughTheSameRotation)
{
    Quaternion q = aboutAxis(0, 0, 1, 1), negative;
    negative.setValueAsQuat(-q.x(), -q.y(), -q.z(), -q.w());
    EXPECT_FALSE(q == negative);
    expectSameRotation(q, negative);
}

TEST(Quaternion, SlerpTakesTheShorterArcAtEvenSpeed)
{
    const Quaternion a = aboutAxis(0, 0, 1, 0.2f), b = aboutAxis(0, 0, 1, 1.2f);
    expectSameRotation(aboutAxis(0, 0, 1, 0.45f), Quaternion::slerp(a, b, 0.25f));
    Quaternion negative;
    negative.setValueAsQuat(-b.x(), -b.y(), -b.z(), -b.w());
    expectSameRotation(aboutAxis(0, 0, 1, 0.45f), Quaternion::slerp(a, negative, 0.25f));
    EXPECT_EQ(a, Quaternion::slerp(a, b, 0));
    Quaternion q = a;
    q.scaleAngle(3);
    expectSameRotation(aboutAxis(0, 0, 1, 0.6f), q);
}

// -- Volumes ----------------------------------------------------------------------------------------

TEST(BoxVolume, IsEmptyAndInvalidWhenNew)
{
    const BoxVolume box;
    EXPECT_TRUE(box.isEmpty());
    EXPECT_FALSE(box.isValid());
    EXPECT_EQ(Pnt3f(0, 0, 0), box.getMin());
    EXPECT_EQ(Pnt3f(0, 0, 0), box.getMax());
}

TEST(BoxVolume, HoldsWhatItWasExtendedBy)
{
    BoxVolume box;
    box.extendBy(Pnt3f(1, 2, 3));
    EXPECT_FALSE(box.isEmpty());
    EXPECT_EQ(Pnt3f(1, 2, 3), box.getMin());
    box.extendBy(Pnt3f(-1, 5, 3));
    EXPECT_EQ(Pnt3f(-1, 2, 3), box.getMin());
    EXPECT_EQ(Pnt3f(1, 5, 3), box.getMax());
    EXPECT_TRUE(box.intersect(Pnt3f(0, 3, 3)));
    EXPECT_FALSE(box.intersect(Pnt3f(0, 3, 4)));
}

TEST(BoxVolume, KeepsStaleBoundsWhenItBecomesEmpty)
{
    BoxVolume box(1, 2, 3, 4, 5, 6);
    box.setEmpty();
    EXPECT_EQ(Pnt3f(4, 5, 6), box.getMax());
    EXPECT_EQ(0, box.getScalarVolume());
    BoxVolume other(0, 0, 0, 1, 1, 1);
    other.extendBy(box);
    EXPECT_EQ(Pnt3f(1, 1, 1), other.getMax());
    box.extendBy(Pnt3f(9, 9, 9));
    EXPECT_EQ(Pnt3f(9, 9, 9), box.getMin());
}

TEST(BoxVolume, TransformGivesTheBoxAroundTheImage)
{
    BoxVolume box(0, 0, 0, 2, 1, 1);
    Matrix m;
    m.setTransform(Vec3f(10, 0, 0), aboutAxis(0, 0, 1, quarterTurn));
    box.transform(m);
    expectNear(Pnt3f(9, 0, 0), box.getMin());
    expectNear(Pnt3f(10, 2, 1), box.getMax());

    BoxVolume empty;
    empty.transform(m);
    EXPECT_TRUE(empty.isEmpty());
    EXPECT_EQ(Pnt3f(0, 0, 0), empty.getMax());
}

TEST(BoxVolume, InfinityIsCatching)
{
    BoxVolume box(0, 0, 0, 1, 1, 1), infinite(0, 0, 0, 1, 1, 1);
    infinite.setInfinite();
    box.extendBy(infinite);
    EXPECT_TRUE(box.isInfinite());
    EXPECT_TRUE(box.intersect(Pnt3f(100, 100, 100)));
}

TEST(DynamicVolume, IsItsBox)
{
    DynamicVolume volume;
    volume.getInstance().extendBy(Pnt3f(1, 2, 3));
    Pnt3f low, high;
    volume.getBounds(low, high);
    EXPECT_EQ(Pnt3f(1, 2, 3), low);
    EXPECT_FALSE(volume.isEmpty());
}
