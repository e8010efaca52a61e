#pragma once

#include <OpenSG/OSGQuaternion.h>
#include <OpenSG/OSGVector.h>

#include <locale>
#include <sstream>

OSG_BEGIN_NAMESPACE

// -- Matrix -----------------------------------------------------------------------------------------

/// A 4x4 matrix for column vectors: M * p. Stored as four columns, so m[c][r] is row r of column c, m[3] is
/// the translation, and the sixteen values lie in memory column after column. Identity by default.
template <class T>
class TransformationMatrix
{
public:
    typedef T ValueType;
    typedef VectorInterface<T, 4> VectorType;
    typedef VectorInterface<T, 3> VectorType3f;
    typedef PointInterface<T, 3> PointType3f;
    typedef PointInterface<T, 4> PointType4f;
    typedef QuaternionBase<T> QuaternionType;

    TransformationMatrix() { setIdentity(); }
    /// Sixteen numbers row by row, as written on paper.
    TransformationMatrix(T v00, T v10, T v20, T v30, T v01, T v11, T v21, T v31, T v02, T v12, T v22, T v32,
                         T v03, T v13, T v23, T v33)
    {
        setValue(v00, v10, v20, v30, v01, v11, v21, v31, v02, v12, v22, v32, v03, v13, v23, v33);
    }
    /// The four columns; the last row is that of identity.
    TransformationMatrix(const VectorType3f& c0, const VectorType3f& c1, const VectorType3f& c2,
                         const VectorType3f& c3)
    {
        setIdentity();
        setValue(c0, c1, c2, c3);
    }
    template <class U>
    explicit TransformationMatrix(const TransformationMatrix<U>& other)
    {
        convertFrom(other);
    }

    static const TransformationMatrix& identity()
    {
        static const TransformationMatrix value;
        return value;
    }

    VectorType& operator[](UInt32 column) { return _columns[column]; }
    const VectorType& operator[](UInt32 column) const { return _columns[column]; }
    /// Sixteen values, column after column.
    T* getValues() { return _columns[0].getValues(); }
    const T* getValues() const { return _columns[0].getValues(); }

    // -- Set --

    void setIdentity()
    {
        for (UInt32 c = 0; c < 4; ++c)
            for (UInt32 r = 0; r < 4; ++r)
                _columns[c][r] = T(c == r);
    }
    void setValue(const TransformationMatrix& other) { *this = other; }
    /// Row by row.
    void setValue(T v00, T v10, T v20, T v30, T v01, T v11, T v21, T v31, T v02, T v12, T v22, T v32, T v03,
                  T v13, T v23, T v33)
    {
        _columns[0].setValues(v00, v01, v02, v03);
        _columns[1].setValues(v10, v11, v12, v13);
        _columns[2].setValues(v20, v21, v22, v23);
        _columns[3].setValues(v30, v31, v32, v33);
    }
    /// Column by column.
    void setValueTransposed(T v00, T v01, T v02, T v03, T v10, T v11, T v12, T v13, T v20, T v21, T v22,
                            T v23, T v30, T v31, T v32, T v33)
    {
        _columns[0].setValues(v00, v01, v02, v03);
        _columns[1].setValues(v10, v11, v12, v13);
        _columns[2].setValues(v20, v21, v22, v23);
        _columns[3].setValues(v30, v31, v32, v33);
    }
    /// \param values       sixteen numbers
    /// \param bTransposed  true: column by column, as getValues() gives them; false: row by row
    void setValue(const T* values, bool bTransposed = true)
    {
        for (UInt32 c = 0; c < 4; ++c)
            for (UInt32 r = 0; r < 4; ++r)
                _columns[c][r] = values[bTransposed ? 4 * c + r : 4 * r + c];
    }
    /// The four columns; the last row stays.
    void setValue(const VectorType3f& c0, const VectorType3f& c1, const VectorType3f& c2,
                  const VectorType3f& c3)
    {
        const VectorType3f* const columns[4] = {&c0, &c1, &c2, &c3};
        for (UInt32 c = 0; c < 4; ++c)
            for (UInt32 r = 0; r < 3; ++r)
                _columns[c][r] = (*columns[c])[r];
    }
    /// Sixteen numbers row by row, separated by blanks or commas. A text with fewer numbers changes nothing.
    void setValue(const Char8* text)
    {
        std::string numbers(text ? text : "");
        for (Char8& ch : numbers)
            ch = ch == ',' ? ' ' : ch;
        std::istringstream in(numbers);
        in.imbue(std::locale::classic());
        T values[16];
        for (T& value : values)
            if (!(in >> value))
                return;
        setValue(values, false);
    }
    template <class U>
    void convertFrom(const TransformationMatrix<U>& other)
    {
        for (UInt32 c = 0; c < 4; ++c)
            _columns[c].setValue(other[c]);
    }

    // Each of these changes the named elements only.

    void setScale(T s) { setScale(s, s, s); }
    void setScale(T sx, T sy, T sz)
    {
        _columns[0][0] = sx;
        _columns[1][1] = sy;
        _columns[2][2] = sz;
    }
    void setScale(const VectorType3f& s) { setScale(s[0], s[1], s[2]); }
    void setTranslate(T tx, T ty, T tz)
    {
        _columns[3][0] = tx;
        _columns[3][1] = ty;
        _columns[3][2] = tz;
    }
    void setTranslate(const VectorType3f& t) { setTranslate(t[0], t[1], t[2]); }
    void setTranslate(const PointType3f& t) { setTranslate(t[0], t[1], t[2]); }
    void setRotate(const QuaternionType& q) { q.getValuesOnly(*this); }

    // These set everything: M = T(t) T(c) R(r) SO S(s) SO^-1 T(-c), SO being the rotation matrix of so.

    void setTransform(const VectorType3f& t)
    {
        setIdentity();
        setTranslate(t);
    }
    void setTransform(const QuaternionType& r) { r.getValue(*this); }
    void setTransform(const VectorType3f& t, const QuaternionType& r)
    {
        r.getValue(*this);
        setTranslate(t);
    }
    void setTransform(const VectorType3f& t, const QuaternionType& r, const VectorType3f& s)
    {
        r.getValue(*this);
        for (UInt32 c = 0; c < 3; ++c)
            _columns[c] *= s[c];
        setTranslate(t);
    }
    void setTransform(const VectorType3f& t, const QuaternionType& r, const VectorType3f& s,
                      const QuaternionType& so)
    {
        TransformationMatrix factor;
        r.getValue(*this);
        so.getValue(factor);
        mult(factor);
        for (UInt32 c = 0; c < 3; ++c)
            _columns[c] *= s[c];
        factor.transpose();
        mult(factor);
        setTranslate(t);
    }
    void setTransform(const VectorType3f& t, const QuaternionType& r, const VectorType3f& s,
                      const QuaternionType& so, const VectorType3f& center)
    {
        setTransform(t, r, s, so);
        VectorType3f moved;
        multMatrixVec(center, moved);
        setTranslate(t + center - moved);
    }

    // -- Factors --

    /// Polar decomposition of the 3x3 part A: A = SO^-1 diag(s) SO R.
    ///
    /// The stretch stands left of the rotation, so setTransform(t, r, s, so) composes the same matrix again
    /// only where the two commute. The sign of the determinant is in all three scales: a matrix that mirrors
    /// x is a half turn about x with scales (-1, -1, -1). The scales belong to the axes on which the
    /// diagonalisation ends and are not sorted.
    ///
    /// \param s  left as it is if the determinant of A is below 1e-12; r and so become identity then
    ///
    /// A A^T is diagonalised by Jacobi rotations (Golub, Van Loan: Matrix Computations, chapter 8), s are the
    /// square roots of its eigenvalues, R is what remains.
    void getTransform(VectorType3f& t, QuaternionType& r, VectorType3f& s, QuaternionType& so) const
    {
        t.setValues(_columns[3][0], _columns[3][1], _columns[3][2]);
        r.setIdentity();
        so.setIdentity();
        const Real64 determinant = det3();
        if (!(std::fabs(determinant) >= 1e-12))
            return;

        Real64 square[3][3], axes[3][3];
        for (UInt32 i = 0; i < 3; ++i)
            for (UInt32 j = 0; j < 3; ++j) {
                square[i][j] = 0;
                for (UInt32 k = 0; k < 3; ++k)
                    square[i][j] += Real64(_columns[k][i]) * Real64(_columns[k][j]);
            }
        diagonalize(square, axes);

        // axes has the eigenvectors as columns, so it is SO^-1; the rotation is axes * diag(1/s) * axes^T *
        // A.
        Real64 scale[3], unstretch[3][3];
        for (UInt32 i = 0; i < 3; ++i)
            scale[i] = std::copysign(std::sqrt(square[i][i]), determinant);
        for (UInt32 i = 0; i < 3; ++i)
            for (UInt32 j = 0; j < 3; ++j) {
                unstretch[i][j] = 0;
                for (UInt32 k = 0; k < 3; ++k)
                    unstretch[i][j] += axes[i][k] * axes[j][k] / scale[k];
            }
        TransformationMatrix<Real64> rotation, orientation;
        for (UInt32 i = 0; i < 3; ++i)
            for (UInt32 j = 0; j < 3; ++j) {
                rotation[j][i] = 0;
                for (UInt32 k = 0; k < 3; ++k)
                    rotation[j][i] += unstretch[i][k] * Real64(_columns[j][k]);
                orientation[i][j] = axes[i][j];
            }
        s.setValues(T(scale[0]), T(scale[1]), T(scale[2]));
        QuaternionBase<Real64> quat(rotation);
        quat.normalize();
        r.setValueAsQuat(T(quat[0]), T(quat[1]), T(quat[2]), T(quat[3]));
        quat.setValue(orientation);
        quat.normalize();
        so.setValueAsQuat(T(quat[0]), T(quat[1]), T(quat[2]), T(quat[3]));
    }
    /// As above, with the translation for a transformation about \a center, which is an input.
    void getTransform(VectorType3f& t, QuaternionType& r, VectorType3f& s, QuaternionType& so,
                      const VectorType3f& center) const
    {
        getTransform(t, r, s, so);
        VectorType3f moved;
        multMatrixVec(center, moved);
        t += moved - center;
    }

    // -- Points and vectors --

    /// With w = 1 and without division.
    void multMatrixPnt(const PointType3f& src, PointType3f& dst) const
    {
        const T x = src[0], y = src[1], z = src[2];
        for (UInt32 r = 0; r < 3; ++r)
            dst[r] = _columns[0][r] * x + _columns[1][r] * y + _columns[2][r] * z + _columns[3][r];
    }
    void multMatrixPnt(PointType3f& pnt) const { multMatrixPnt(pnt, pnt); }
    /// Divided by the resulting w, unless that is 0.
    void multFullMatrixPnt(const PointType3f& src, PointType3f& dst) const
    {
        const T w =
            _columns[0][3] * src[0] + _columns[1][3] * src[1] + _columns[2][3] * src[2] + _columns[3][3];
        multMatrixPnt(src, dst);
        if (w != T(0))
            dst /= w;
    }
    void multFullMatrixPnt(PointType3f& pnt) const { multFullMatrixPnt(pnt, pnt); }
    /// Without translation.
    void multMatrixVec(const VectorType3f& src, VectorType3f& dst) const
    {
        const T x = src[0], y = src[1], z = src[2];
        for (UInt32 r = 0; r < 3; ++r)
            dst[r] = _columns[0][r] * x + _columns[1][r] * y + _columns[2][r] * z;
    }
    void multMatrixVec(VectorType3f& vec) const { multMatrixVec(vec, vec); }
    /// All four components.
    void multMatrixVec(const VectorType& src, VectorType& dst) const
    {
        const VectorType v = src;
        for (UInt32 r = 0; r < 4; ++r)
            dst[r] =
                _columns[0][r] * v[0] + _columns[1][r] * v[1] + _columns[2][r] * v[2] + _columns[3][r] * v[3];
    }
    void multMatrixVec(VectorType& vec) const { multMatrixVec(vec, vec); }
    void mult(const PointType3f& src, PointType3f& dst) const { multMatrixPnt(src, dst); }
    void mult(PointType3f& pnt) const { multMatrixPnt(pnt); }
    void mult(const VectorType3f& src, VectorType3f& dst) const { multMatrixVec(src, dst); }
    void mult(VectorType3f& vec) const { multMatrixVec(vec); }
    /// Row vector from the left, with w = 1 and without division.
    void multPntMatrix(const PointType3f& src, PointType3f& dst) const
    {
        const PointType3f p = src;
        for (UInt32 c = 0; c < 3; ++c)
            dst[c] = p[0] * _columns[c][0] + p[1] * _columns[c][1] + p[2] * _columns[c][2] + _columns[c][3];
    }
    void multPntMatrix(PointType3f& pnt) const { multPntMatrix(pnt, pnt); }
    /// Row vector from the left, 3x3 part only.
    void multVecMatrix(const VectorType3f& src, VectorType3f& dst) const
    {
        const VectorType3f v = src;
        for (UInt32 c = 0; c < 3; ++c)
            dst[c] = v[0] * _columns[c][0] + v[1] * _columns[c][1] + v[2] * _columns[c][2];
    }
    void multVecMatrix(VectorType3f& vec) const { multVecMatrix(vec, vec); }

    // -- Matrices --

    /// this * other.
    void mult(const TransformationMatrix& other) { *this = product(*this, other); }
    /// other * this.
    void multLeft(const TransformationMatrix& other) { *this = product(other, *this); }

    void transpose()
    {
        for (UInt32 c = 0; c < 4; ++c)
            for (UInt32 r = 0; r < c; ++r) {
                const T value = _columns[c][r];
                _columns[c][r] = _columns[r][c];
                _columns[r][c] = value;
            }
    }
    bool transposed(TransformationMatrix& result) const
    {
        result = *this;
        result.transpose();
        return true;
    }
    bool transposeFrom(const TransformationMatrix& other) { return other.transposed(*this); }

    T det() const { return T(determinant4()); }
    T det3() const { return T(minor3(0, 1, 2, 0, 1, 2)); }

    /// False, and \a result is identity, if the determinant is below 1e-30.
    bool inverse(TransformationMatrix& result) const
    {
        const Real64 determinant = determinant4();
        if (!(std::fabs(determinant) >= 1e-30)) {
            result.setIdentity();
            return false;
        }
        // Adjugate over determinant.
        static const UInt32 others[4][3] = {{1, 2, 3}, {0, 2, 3}, {0, 1, 3}, {0, 1, 2}};
        TransformationMatrix inv;
        for (UInt32 c = 0; c < 4; ++c)
            for (UInt32 r = 0; r < 4; ++r) {
                const UInt32* cs = others[r];
                const UInt32* rs = others[c];
                const Real64 cofactor = minor3(cs[0], cs[1], cs[2], rs[0], rs[1], rs[2]);
                inv[c][r] = T(((c + r) % 2 ? -cofactor : cofactor) / determinant);
            }
        result = inv;
        return true;
    }
    bool invert() { return inverse(*this); }
    bool invertFrom(const TransformationMatrix& other) { return other.inverse(*this); }

    /// Of the 3x3 part; the rest of \a result is that of identity.
    bool inverse3(TransformationMatrix& result) const
    {
        TransformationMatrix part(*this);
        for (UInt32 i = 0; i < 3; ++i)
            part[3][i] = part[i][3] = T(0);
        part[3][3] = T(1);
        return part.inverse(result);
    }
    bool invert3() { return inverse3(*this); }
    bool invertFrom3(const TransformationMatrix& other) { return other.inverse3(*this); }

    /// Every element within \a tolerance.
    bool equals(const TransformationMatrix& other, T tolerance) const
    {
        for (UInt32 c = 0; c < 4; ++c)
            if (!_columns[c].equals(other._columns[c], tolerance))
                return false;
        return true;
    }
    /// With tolerance Eps.
    bool operator==(const TransformationMatrix& other) const { return equals(other, T(Eps)); }
    bool operator!=(const TransformationMatrix& other) const { return !(*this == other); }

private:
    static TransformationMatrix product(const TransformationMatrix& a, const TransformationMatrix& b)
    {
        TransformationMatrix result;
        for (UInt32 c = 0; c < 4; ++c)
            for (UInt32 r = 0; r < 4; ++r)
                result[c][r] = a[0][r] * b[c][0] + a[1][r] * b[c][1] + a[2][r] * b[c][2] + a[3][r] * b[c][3];
        return result;
    }

    // Determinant of the 3x3 matrix of the named columns and rows. In doubles: the products of three small
    // scales must not be lost.
    Real64 minor3(UInt32 c0, UInt32 c1, UInt32 c2, UInt32 r0, UInt32 r1, UInt32 r2) const
    {
        const Real64 a = _columns[c0][r0], b = _columns[c1][r0], c = _columns[c2][r0];
        const Real64 d = _columns[c0][r1], e = _columns[c1][r1], f = _columns[c2][r1];
        const Real64 g = _columns[c0][r2], h = _columns[c1][r2], i = _columns[c2][r2];
        return a * (e * i - f * h) - b * (d * i - f * g) + c * (d * h - e * g);
    }

    Real64 determinant4() const
    {
        return Real64(_columns[0][3]) * -minor3(1, 2, 3, 0, 1, 2) +
               Real64(_columns[1][3]) * minor3(0, 2, 3, 0, 1, 2) +
               Real64(_columns[2][3]) * -minor3(0, 1, 3, 0, 1, 2) +
               Real64(_columns[3][3]) * minor3(0, 1, 2, 0, 1, 2);
    }

    // Jacobi rotations until the symmetric matrix m is diagonal; axes gets the eigenvectors as columns, a
    // proper rotation. The number of sweeps is bounded: it converges quadratically, and input that is not
    // finite never does.
    static void diagonalize(Real64 (&m)[3][3], Real64 (&axes)[3][3])
    {
        for (UInt32 i = 0; i < 3; ++i)
            for (UInt32 j = 0; j < 3; ++j)
                axes[i][j] = i == j;
        for (UInt32 sweep = 0; sweep < 32; ++sweep) {
            const Real64 diagonal = std::fabs(m[0][0]) + std::fabs(m[1][1]) + std::fabs(m[2][2]);
            const Real64 rest = std::fabs(m[0][1]) + std::fabs(m[0][2]) + std::fabs(m[1][2]);
            if (rest <= diagonal * 1e-16)
                return;
            for (UInt32 p = 0; p < 2; ++p)
                for (UInt32 q = p + 1; q < 3; ++q)
                    rotate(m, axes, p, q);
        }
    }

    // One rotation in the plane of p and q, by the smaller of the two angles that clear m[p][q].
    static void rotate(Real64 (&m)[3][3], Real64 (&axes)[3][3], UInt32 p, UInt32 q)
    {
        if (m[p][q] == 0)
            return;
        const Real64 theta = (m[q][q] - m[p][p]) / (2 * m[p][q]);
        const Real64 t = std::copysign(1 / (std::fabs(theta) + std::sqrt(theta * theta + 1)), theta);
        const Real64 c = 1 / std::sqrt(t * t + 1), s = t * c;
        for (UInt32 k = 0; k < 3; ++k) {
            const Real64 kp = m[k][p], kq = m[k][q];
            m[k][p] = c * kp - s * kq;
            m[k][q] = s * kp + c * kq;
        }
        for (UInt32 k = 0; k < 3; ++k) {
            const Real64 pk = m[p][k], qk = m[q][k];
            m[p][k] = c * pk - s * qk;
            m[q][k] = s * pk + c * qk;
        }
        for (UInt32 k = 0; k < 3; ++k) {
            const Real64 kp = axes[k][p], kq = axes[k][q];
            axes[k][p] = c * kp - s * kq;
            axes[k][q] = s * kp + c * kq;
        }
        m[p][q] = m[q][p] = 0;
    }

    VectorType _columns[4];
};

/// Four lines, one for each row.
template <class T>
inline std::ostream& operator<<(std::ostream& os, const TransformationMatrix<T>& matrix)
{
    for (UInt32 r = 0; r < 4; ++r)
        os << matrix[0][r] << ' ' << matrix[1][r] << ' ' << matrix[2][r] << ' ' << matrix[3][r] << '\n';
    return os;
}

typedef TransformationMatrix<Real32> Matrix;
typedef TransformationMatrix<Real32> Matrix4f;
typedef TransformationMatrix<Real64> Matrix4d;

// -- Quaternions and matrices -----------------------------------------------------------------------

template <class T>
inline void QuaternionBase<T>::setValue(const MatrixType& m)
{
    // Divides by the largest of the four components, so the result is exact to rounding for every rotation.
    const T trace = m[0][0] + m[1][1] + m[2][2];
    if (trace > T(0)) {
        const T root = std::sqrt(trace + T(1));
        const T f = T(0.5) / root;
        setValueAsQuat((m[1][2] - m[2][1]) * f, (m[2][0] - m[0][2]) * f, (m[0][1] - m[1][0]) * f,
                       T(0.5) * root);
        return;
    }
    UInt32 i = m[1][1] > m[0][0] ? 1 : 0;
    if (m[2][2] > m[i][i])
        i = 2;
    const UInt32 j = (i + 1) % 3, k = (j + 1) % 3;
    const T root = std::sqrt(m[i][i] - m[j][j] - m[k][k] + T(1));
    const T f = root > T(0) ? T(0.5) / root : T(0);
    _quat[i] = T(0.5) * root;
    _quat[j] = (m[i][j] + m[j][i]) * f;
    _quat[k] = (m[i][k] + m[k][i]) * f;
    _quat[3] = (m[j][k] - m[k][j]) * f;
}

template <class T>
inline void QuaternionBase<T>::setValue(const VectorType& from, const VectorType& to)
{
    const T lengths = from.length() * to.length();
    if (lengths == T(0)) {
        setIdentity();
        return;
    }
    const T cosine = from.dot(to) / lengths;
    if (cosine > T(-1) + T(Eps)) {
        const VectorType axis = from.cross(to) / lengths;
        setValueAsQuat(axis[0], axis[1], axis[2], T(1) + cosine);
    } else {
        // Across the smallest component the cross product with a world axis is longest.
        UInt32 smallest = 0;
        for (UInt32 i = 1; i < 3; ++i)
            if (std::fabs(from[i]) < std::fabs(from[smallest]))
                smallest = i;
        VectorType world;
        world[smallest] = T(1);
        const VectorType axis = from.cross(world);
        setValueAsQuat(axis[0], axis[1], axis[2], T(0));
    }
    normalize();
}

template <class T>
inline void QuaternionBase<T>::setValue(T alpha, T beta, T gamma)
{
    QuaternionBase x, y;
    x.setValueAsAxisRad(T(1), T(0), T(0), alpha);
    y.setValueAsAxisRad(T(0), T(1), T(0), beta);
    setValueAsAxisRad(T(0), T(0), T(1), gamma);
    mult(y);
    mult(x);
}

template <class T>
inline void QuaternionBase<T>::getValue(MatrixType& matrix) const
{
    matrix.setIdentity();
    getValuesOnly(matrix);
}

template <class T>
inline void QuaternionBase<T>::getValuesOnly(MatrixType& m) const
{
    const T x = _quat[0], y = _quat[1], z = _quat[2], w = _quat[3];
    m[0][0] = T(1) - T(2) * (y * y + z * z);
    m[0][1] = T(2) * (x * y + z * w);
    m[0][2] = T(2) * (z * x - y * w);
    m[1][0] = T(2) * (x * y - z * w);
    m[1][1] = T(1) - T(2) * (z * z + x * x);
    m[1][2] = T(2) * (y * z + x * w);
    m[2][0] = T(2) * (z * x + y * w);
    m[2][1] = T(2) * (y * z - x * w);
    m[2][2] = T(1) - T(2) * (y * y + x * x);
}

OSG_END_NAMESPACE
