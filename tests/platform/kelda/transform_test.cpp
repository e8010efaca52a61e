#include "kelda_test.h"

#include <cmath>
#include <random>

namespace
{

/// A 4 x 4 matrix for column vectors, composed the slow way: an independent account of what a transform
/// means.
struct Column {
    double a[4][4];
};

Column unit()
{
    Column c{};
    for (int i = 0; i < 4; ++i)
        c.a[i][i] = 1;
    return c;
}
Column operator*(const Column& l, const Column& r)
{
    Column out{};
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            for (int k = 0; k < 4; ++k)
                out.a[i][j] += l.a[i][k] * r.a[k][j];
    return out;
}
Column move(double x, double y, double z)
{
    Column c = unit();
    c.a[0][3] = x;
    c.a[1][3] = y;
    c.a[2][3] = z;
    return c;
}
Column move(const double v[3], double sign = 1)
{
    return move(sign * v[0], sign * v[1], sign * v[2]);
}
Column turn(char axis, double angle)
{
    Column c = unit();
    const int i = axis == 'X' ? 1 : axis == 'Y' ? 2 : 0;
    const int j = axis == 'X' ? 2 : axis == 'Y' ? 0 : 1;
    c.a[i][i] = c.a[j][j] = std::cos(angle);
    c.a[i][j] = -std::sin(angle);
    c.a[j][i] = std::sin(angle);
    return c;
}
/// order: the axis that acts first stands first.
Column turn(const std::string& order, const double angles[3])
{
    Column c = unit();
    for (char axis : order)
        c = turn(axis, angles[axis - 'X']) * c;
    return c;
}

const char* const kOrders[6] = {"XYZ", "YZX", "ZXY", "XZY", "YXZ", "ZYX"};

struct Values {
    double translate[3], rotate[3], rotateAxis[3], scale[3], shear[3], rotatePivot[3],
        rotatePivotTranslate[3], scalePivot[3], scalePivotTranslate[3];
    int order;
};

Column compose(const Values& v)
{
    Column scale = unit();
    Column shear = unit();
    for (int i = 0; i < 3; ++i)
        scale.a[i][i] = v.scale[i];
    shear.a[0][1] = v.shear[0];
    shear.a[0][2] = v.shear[1];
    shear.a[1][2] = v.shear[2];
    return move(v.translate) * move(v.rotatePivotTranslate) * move(v.rotatePivot) *
           turn(kOrders[v.order], v.rotate) * turn("XYZ", v.rotateAxis) * move(v.rotatePivot, -1) *
           move(v.scalePivotTranslate) * move(v.scalePivot) * shear * scale * move(v.scalePivot, -1);
}

void expectSame(const KMatrix& row, const Column& column, double tolerance, const std::string& what)
{
    for (unsigned i = 0; i < 4; ++i)
        for (unsigned j = 0; j < 4; ++j)
            EXPECT_NEAR(row(i, j), column.a[j][i], tolerance) << what << " at " << i << "," << j;
}

} // namespace

class Transform : public KeldaTest
{
protected:
    static Values randomValues(std::mt19937& random, int order)
    {
        std::uniform_real_distribution<double> any(-2, 2);
        Values v{};
        for (double(*field)[3] : {&v.translate, &v.rotate, &v.rotateAxis, &v.scale, &v.shear, &v.rotatePivot,
                                  &v.rotatePivotTranslate, &v.scalePivot, &v.scalePivotTranslate})
            for (double& x : *field)
                x = any(random);
        v.order = order;
        return v;
    }
    static void apply(KFnTransform& t, const Values& v)
    {
        t.setTranslation(KVector(v.translate), KSpace::kTransform);
        t.setRotation(KEulerRotation(v.rotate[0], v.rotate[1], v.rotate[2],
                                     static_cast<KEulerRotation::RotationOrder>(v.order)));
        t.setRotateOrientation(
            KEulerRotation(v.rotateAxis[0], v.rotateAxis[1], v.rotateAxis[2]).asQuaternion(),
            KSpace::kTransform);
        t.setScale(v.scale);
        t.setShear(v.shear);
        t.setRotatePivot(KPoint(KVector(v.rotatePivot)), KSpace::kTransform);
        t.setRotatePivotTranslation(KVector(v.rotatePivotTranslate), KSpace::kTransform);
        t.setScalePivot(KPoint(KVector(v.scalePivot)), KSpace::kTransform);
        t.setScalePivotTranslation(KVector(v.scalePivotTranslate), KSpace::kTransform);
    }
};

TEST_F(Transform, aNewOneIsExactlyTheIdentity)
{
    KFnTransform t;
    t.create();
    EXPECT_TRUE(t.transformationMatrix() == KMatrix::identity);
    t.setRotatePivot(KPoint(0.1, 0.7, 1e9), KSpace::kTransform);
    t.setScalePivot(KPoint(0.3, -0.1, 1e-9), KSpace::kTransform);
    EXPECT_TRUE(t.transformationMatrix() == KMatrix::identity);
    t.setTranslation(KVector(1e-12, 0, 0), KSpace::kTransform);
    EXPECT_TRUE(t.transformationMatrix() != KMatrix::identity);
}

TEST_F(Transform, componentsComposeInTheirOrderForEveryRotateOrder)
{
    std::mt19937 random(1);
    KFnTransform t;
    t.create();
    for (int i = 0; i < 60; ++i) {
        const Values v = randomValues(random, i % 6);
        apply(t, v);
        expectSame(t.transformationMatrix(), compose(v), 1e-11, kOrders[v.order]);
    }
}

TEST_F(Transform, everyComponentComesBackAsItWasSet)
{
    std::mt19937 random(2);
    KFnTransform t;
    t.create();
    const Values v = randomValues(random, KEulerRotation::kYXZ);
    apply(t, v);
    const KSpace::Space space = KSpace::kTransform;
    EXPECT_EQ(t.translation(space), KVector(v.translate));
    EXPECT_EQ(t.rotatePivot(space), KPoint(KVector(v.rotatePivot)));
    EXPECT_EQ(t.rotatePivotTranslation(space), KVector(v.rotatePivotTranslate));
    EXPECT_EQ(t.scalePivot(space), KPoint(KVector(v.scalePivot)));
    EXPECT_EQ(t.scalePivotTranslation(space), KVector(v.scalePivotTranslate));
    double three[3];
    EXPECT_EQ(t.getScale(three), KStatus::kSuccess);
    EXPECT_EQ(KVector(three), KVector(v.scale));
    EXPECT_EQ(t.getShear(three), KStatus::kSuccess);
    EXPECT_EQ(KVector(three), KVector(v.shear));
    KEulerRotation euler;
    EXPECT_EQ(t.getRotation(euler), KStatus::kSuccess);
    EXPECT_EQ(KVector(euler.x, euler.y, euler.z), KVector(v.rotate));
    EXPECT_EQ(euler.order, KEulerRotation::kYXZ);
}

TEST_F(Transform, aQuaternionComesBackAsTheSameRotation)
{
    std::mt19937 random(3);
    std::normal_distribution<double> normal;
    KFnTransform t;
    t.create();
    for (int i = 0; i < 600; ++i) {
        KQuaternion q(normal(random), normal(random), normal(random), normal(random));
        if (i % 3 == 0) { // quarter turns about an axis, and next to them: where Euler angles are ambiguous
            KVector axis;
            axis[static_cast<unsigned>(i / 3) % 3] = 1;
            q = KQuaternion(std::acos(-1.0) / 2 * (i % 2 ? 1 : -1) + (i % 5 - 2) * 1e-9, axis) *
                KQuaternion(normal(random), KVector(1, 0, 0));
        }
        q = q.normal();
        t.setRotationOrder(static_cast<KEulerRotation::RotationOrder>(i % 6), false);
        ASSERT_EQ(t.setRotation(q), KStatus::kSuccess);
        KQuaternion back;
        ASSERT_EQ(t.getRotation(back), KStatus::kSuccess);
        const double dot = q.x * back.x + q.y * back.y + q.z * back.z + q.w * back.w;
        const double sign = dot < 0 ? -1 : 1;
        EXPECT_NEAR(q.x, sign * back.x, 2e-15) << i;
        EXPECT_NEAR(q.y, sign * back.y, 2e-15) << i;
        EXPECT_NEAR(q.z, sign * back.z, 2e-15) << i;
        EXPECT_NEAR(q.w, sign * back.w, 2e-15) << i;
        EXPECT_TRUE(t.transformationMatrix().isEquivalent(q.asMatrix(), 1e-14)) << i;
    }
}

TEST_F(Transform, noRotationIsAxisZAndAngleZero)
{
    KVector axis(5, 5, 5);
    double angle = 5;
    EXPECT_FALSE(KQuaternion().getAxisAngle(axis, angle));
    EXPECT_EQ(axis, KVector(0, 0, 1));
    EXPECT_EQ(angle, 0);
    EXPECT_TRUE(KQuaternion(1.25, KVector(0, 3, 0)).getAxisAngle(axis, angle));
    EXPECT_NEAR(axis.y, 1, 1e-15);
    EXPECT_NEAR(angle, 1.25, 1e-15);
}

TEST_F(Transform, balancedPivotsLeaveTheMatrixAlone)
{
    std::mt19937 random(4);
    KFnTransform t;
    t.create();
    for (int i = 0; i < 12; ++i) {
        apply(t, randomValues(random, i % 6));
        const KMatrix before = t.transformationMatrix();
        t.setRotatePivot(KPoint(1, 2, 3), KSpace::kTransform, true);
        EXPECT_TRUE(t.transformationMatrix().isEquivalent(before, 1e-11));
        t.setScalePivot(KPoint(-3, 2, 1), KSpace::kTransform, true);
        EXPECT_TRUE(t.transformationMatrix().isEquivalent(before, 1e-11));
        t.setRotateOrientation(KQuaternion(0.5, KVector(1, 1, 0)), KSpace::kTransform, true);
        EXPECT_TRUE(t.transformationMatrix().isEquivalent(before, 1e-11));
        t.setRotationOrder(KEulerRotation::kZXY, true);
        EXPECT_TRUE(t.transformationMatrix().isEquivalent(before, 1e-11));
    }
}

TEST_F(Transform, aTransformationMatrixIsTakenOverWhole)
{
    KTransformationMatrix m;
    const KQuaternion q = KQuaternion(0.7, KVector(1, 2, 3));
    const double scale[3] = {2, -3, 4};
    m.setRotationQuaternion(q.x, q.y, q.z, q.w);
    m.setTranslation(KVector(7, 8, 9), KSpace::kTransform);
    m.setScale(scale, KSpace::kTransform);
    KFnTransform t;
    t.create();
    ASSERT_EQ(t.set(m), KStatus::kSuccess);
    EXPECT_TRUE(t.transformationMatrix().isEquivalent(m.asMatrix(), 1e-15));
    EXPECT_EQ(t.transformationMatrix()(3, 1), 8);
}

TEST_F(Transform, whatIsNotFiniteIsRefused)
{
    KFnTransform t;
    t.create();
    EXPECT_EQ(t.setTranslation(KVector(1, NAN, 0), KSpace::kTransform), KStatus::kInvalidParameter);
    EXPECT_EQ(t.setRotation(KQuaternion(0, 0, INFINITY, 1)), KStatus::kInvalidParameter);
    EXPECT_EQ(t.findPlug("scaleX").setValue(HUGE_VAL), KStatus::kInvalidParameter);
    EXPECT_TRUE(t.transformationMatrix() == KMatrix::identity);
}

TEST_F(Transform, worldSpaceFollowsThePath)
{
    run("createNode transform -n a; createNode transform -n b; createNode transform -n x -p a; parent -add x "
        "b;"
        "setAttr a.translateX 10; setAttr b.translateX 20; setAttr x.translate 1 2 3");
    EXPECT_EQ(KFnTransform(path("|a|x")).translation(KSpace::kWorld), KVector(11, 2, 3));
    EXPECT_EQ(KFnTransform(path("|b|x")).translation(KSpace::kWorld), KVector(21, 2, 3));
}

TEST_F(Transform, matricesInvert)
{
    std::mt19937 random(5);
    KFnTransform t;
    t.create();
    apply(t, randomValues(random, 0));
    const KMatrix m = t.transformationMatrix();
    EXPECT_TRUE((m * m.inverse()).isEquivalent(KMatrix::identity, 1e-9));
    KMatrix singular;
    singular(1, 1) = 0;
    EXPECT_EQ(singular.det4x4(), 0);
    EXPECT_TRUE(singular.inverse() == KMatrix::identity);
}
