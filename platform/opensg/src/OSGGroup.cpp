#include <OpenSG/OSGComponentTransform.h>
#include <OpenSG/OSGGroup.h>
#include <OpenSG/OSGMaterialGroup.h>
#include <OpenSG/OSGSwitch.h>
#include <OpenSG/OSGTransform3D.h>

OSG_BEGIN_NAMESPACE

OSG_FIELD_CONTAINER_INST(Group, nullptr)
OSG_FIELD_CONTAINER_INST(Switch, nullptr)
OSG_FIELD_CONTAINER_INST(MaterialGroup, nullptr)

// -- Transform --------------------------------------------------------------------------------

OSG_FIELD_CONTAINER_INST(Transform, nullptr)

void Transform::accumulateMatrix(Matrix& result)
{
    result.mult(getMatrix());
}

void Transform::adjustVolume(Volume& volume)
{
    volume.transform(getMatrix());
}

void Transform::changed(BitVector mask, UInt32 origin)
{
    if (mask & MatrixFieldMask) {
        invalidateVolume();
    }
    Inherited::changed(mask, origin);
}

// -- ComponentTransform -----------------------------------------------------------------------

OSG_FIELD_CONTAINER_INST(ComponentTransform, nullptr)

void ComponentTransform::changed(BitVector mask, UInt32 origin)
{
    const BitVector components = CenterFieldMask | RotationFieldMask | ScaleFieldMask |
                                 ScaleOrientationFieldMask | TranslationFieldMask;
    if (mask & components) {
        getMatrix().setTransform(getTranslation(), getRotation(), getScale(), getScaleOrientation(),
                                 getCenter());
        mask |= MatrixFieldMask;
    }
    Inherited::changed(mask, origin);
}

// -- Transform3D ------------------------------------------------------------------------------

OSG_FIELD_CONTAINER_INST(Transform3D, nullptr)

/// A transform in the making, in doubles: linear part (rows) and translation. Factors come from the left to
/// the right.
class AffineProduct
{
public:
    void translate(const Vec3f& t) { translate(t[0], t[1], t[2]); }
    void translate(const Pnt3f& t) { translate(t[0], t[1], t[2]); }
    void translateBack(const Pnt3f& t) { translate(-Real64(t[0]), -Real64(t[1]), -Real64(t[2])); }
    /// The rotation of q, which need not be of length 1; none for a zero quaternion.
    void rotate(const Quaternion& q)
    {
        const Real64 x = q.x(), y = q.y(), z = q.z(), w = q.w();
        const Real64 norm = x * x + y * y + z * z + w * w;
        if (norm == 0) {
            return;
        }
        const Real64 s = 2 / norm;
        const Real64 rotation[3][3] = {{1 - s * (y * y + z * z), s * (x * y - w * z), s * (x * z + w * y)},
                                       {s * (x * y + w * z), 1 - s * (x * x + z * z), s * (y * z - w * x)},
                                       {s * (x * z - w * y), s * (y * z + w * x), 1 - s * (x * x + y * y)}};
        mult(rotation);
    }
    void shear(const Vec3f& xyXzYz)
    {
        const Real64 matrix[3][3] = {{1, xyXzYz[0], xyXzYz[1]}, {0, 1, xyXzYz[2]}, {0, 0, 1}};
        mult(matrix);
    }
    void scale(const Vec3f& s)
    {
        const Real64 matrix[3][3] = {{s[0], 0, 0}, {0, s[1], 0}, {0, 0, s[2]}};
        mult(matrix);
    }
    void store(Matrix& result) const
    {
        result.setIdentity();
        for (UInt32 row = 0; row < 3; ++row) {
            for (UInt32 column = 0; column < 3; ++column) {
                result[column][row] = Real32(_linear[row][column]);
            }
            result[3][row] = Real32(_translation[row]);
        }
    }

private:
    void translate(Real64 x, Real64 y, Real64 z)
    {
        for (UInt32 row = 0; row < 3; ++row) {
            _translation[row] += _linear[row][0] * x + _linear[row][1] * y + _linear[row][2] * z;
        }
    }
    void mult(const Real64 (&right)[3][3])
    {
        for (Real64(&row)[3] : _linear) {
            const Real64 left[3] = {row[0], row[1], row[2]};
            for (UInt32 column = 0; column < 3; ++column) {
                row[column] =
                    left[0] * right[0][column] + left[1] * right[1][column] + left[2] * right[2][column];
            }
        }
    }

    Real64 _linear[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    Real64 _translation[3] = {0, 0, 0};
};

void Transform3D::changed(BitVector mask, UInt32 origin)
{
    const BitVector components = ShearFieldMask | RotationFieldMask | RotationOrientationFieldMask |
                                 RotatePivotFieldMask | RotatePivotTranslationFieldMask | ScaleFieldMask |
                                 ScalePivotFieldMask | ScalePivotTranslationFieldMask | TranslationFieldMask;
    if (mask & components) {
        AffineProduct product;
        product.translate(getTranslation());
        product.translate(getRotatePivotTranslation());
        product.translate(getRotatePivot());
        product.rotate(getRotation());
        product.rotate(getRotationOrientation());
        product.translateBack(getRotatePivot());
        product.translate(getScalePivotTranslation());
        product.translate(getScalePivot());
        product.shear(getShear());
        product.scale(getScale());
        product.translateBack(getScalePivot());
        product.store(getMatrix());
        mask |= MatrixFieldMask;
    }
    Inherited::changed(mask, origin);
}

OSG_END_NAMESPACE
