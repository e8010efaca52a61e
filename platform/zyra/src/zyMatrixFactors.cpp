#include <zyOpenSGUtils/zyNodeUtils.h>

#include <OpenSG/OSGMatrix.h>

#include <algorithm>
#include <cmath>
#include <limits>

// All of it is calculated in doubles: the results are single precision, and recomposed they must give the
// matrix again to its own rounding.
typedef osg::Vec3d Column;

static bool isFinite(const osg::Matrix& matrix)
{
    for (osg::UInt32 c = 0; c < 4; ++c)
        for (osg::UInt32 r = 0; r < 3; ++r)
            if (!std::isfinite(matrix[c][r]))
                return false;
    return true;
}

// Turns p and q in their plane so far that they are at right angles. A column that vanishes in it up to
// rounding, as one of two parallel columns does, becomes 0.
static void turn(Column& p, Column& q, Column& axisP, Column& axisQ, double tangent)
{
    const double cosine = 1 / std::sqrt(tangent * tangent + 1), sine = tangent * cosine;
    const Column oldP = p, oldQ = q, oldAxisP = axisP, oldAxisQ = axisQ;
    p = oldP * cosine - oldQ * sine;
    q = oldP * sine + oldQ * cosine;
    axisP = oldAxisP * cosine - oldAxisQ * sine;
    axisQ = oldAxisP * sine + oldAxisQ * cosine;
    if (p.length() < oldP.length() * 1e-12)
        p = Column(0, 0, 0);
    if (q.length() < oldQ.length() * 1e-12)
        q = Column(0, 0, 0);
}

// Makes the columns orthogonal, columns = columns * axes, with axes a proper rotation. One-sided Jacobi
// rotations (Demmel, Veselic: Jacobi's method is more accurate than QR, 1992): scales of very different size
// keep all their digits. Columns that are orthogonal already stay as they are.
static void orthogonalize(Column (&columns)[3], Column (&axes)[3])
{
    for (int sweep = 0; sweep < 32; ++sweep) {
        bool turned = false;
        for (int p = 0; p < 2; ++p)
            for (int q = p + 1; q < 3; ++q) {
                const double pp = columns[p].dot(columns[p]), qq = columns[q].dot(columns[q]);
                const double pq = columns[p].dot(columns[q]);
                if (std::fabs(pq) <= 1e-15 * std::sqrt(pp) * std::sqrt(qq))
                    continue;
                const double theta = (qq - pp) / (2 * pq);
                const double tangent =
                    std::copysign(1 / (std::fabs(theta) + std::sqrt(theta * theta + 1)), theta);
                turn(columns[p], columns[q], axes[p], axes[q], tangent);
                turned = true;
            }
        if (!turned)
            return;
    }
}

// Orthogonal columns become the columns of a rotation; their signed lengths go to lengths. Columns of length
// 0 are replaced by directions near axes, which does not change any product with the lengths.
static void normalize(Column (&columns)[3], const Column (&axes)[3], double (&lengths)[3])
{
    int missing = 0;
    for (int i = 0; i < 3; ++i) {
        lengths[i] = columns[i].length();
        if (lengths[i] > 0)
            columns[i] /= lengths[i];
        else
            ++missing;
    }
    if (missing == 3) {
        for (int i = 0; i < 3; ++i)
            columns[i] = axes[i];
        return;
    }
    if (missing == 2) {
        int known = 0;
        while (lengths[known] == 0)
            ++known;
        const int j = (known + 1) % 3, k = (known + 2) % 3;
        const double alongJ = columns[known].dot(axes[j]), alongK = columns[known].dot(axes[k]);
        const bool takeJ = std::fabs(alongJ) <= std::fabs(alongK);
        Column& taken = columns[takeJ ? j : k];
        taken = takeJ ? axes[j] - columns[known] * alongJ : axes[k] - columns[known] * alongK;
        taken.normalize();
        columns[takeJ ? k : j] = takeJ ? columns[known].cross(taken) : taken.cross(columns[known]);
        return;
    }
    if (missing == 1) {
        int gap = 0;
        while (lengths[gap] > 0)
            ++gap;
        columns[gap] = columns[(gap + 1) % 3].cross(columns[(gap + 2) % 3]);
        return;
    }
    if (columns[0].cross(columns[1]).dot(columns[2]) < 0)
        for (int i = 0; i < 3; ++i) {
            columns[i] = -columns[i];
            lengths[i] = -lengths[i];
        }
}

void zyNodeUtils::decomposeMatrix(const osg::Matrix& matrix, osg::Vec3f& translation,
                                  osg::Quaternion& rotation, osg::Vec3f& scale)
{
    translation.setValues(0, 0, 0);
    rotation.setIdentity();
    scale.setValues(1, 1, 1);
    if (!isFinite(matrix))
        return;
    translation.setValues(matrix[3][0], matrix[3][1], matrix[3][2]);

    // A = U diag(lengths) V^T, U in columns and V in axes; so the rotation is U V^T and the stretch V
    // diag(lengths) V^T.
    Column columns[3], axes[3] = {Column(1, 0, 0), Column(0, 1, 0), Column(0, 0, 1)};
    double lengths[3];
    for (osg::UInt32 c = 0; c < 3; ++c)
        columns[c].setValues(matrix[c][0], matrix[c][1], matrix[c][2]);
    orthogonalize(columns, axes);
    normalize(columns, axes, lengths);

    const double largest = std::numeric_limits<osg::Real32>::max();
    osg::Matrix4d turned;
    for (osg::UInt32 i = 0; i < 3; ++i) {
        double stretch = 0;
        for (osg::UInt32 k = 0; k < 3; ++k)
            stretch += axes[k][i] * axes[k][i] * lengths[k];
        // The longest columns are longer than a float can tell.
        scale[i] = static_cast<osg::Real32>(std::min(std::max(stretch, -largest), largest));
        for (osg::UInt32 r = 0; r < 3; ++r)
            turned[i][r] =
                columns[0][r] * axes[0][i] + columns[1][r] * axes[1][i] + columns[2][r] * axes[2][i];
    }
    osg::Quaterniond quat(turned);
    quat.normalize();
    for (osg::UInt32 i = 0; i < 4; ++i)
        rotation[i] = static_cast<osg::Real32>(quat[i]);
}

void zyNodeUtils::cnvMatToEul(const osg::Matrix& rotation, osg::Vec3f& degrees)
{
    const double level = std::hypot(double(rotation[0][0]), double(rotation[0][1])); // cosine of y
    const double y = std::atan2(0 - double(rotation[0][2]), level);
    const double z = level > 1e-6 ? std::atan2(rotation[0][1], rotation[0][0]) : 0.0;
    // x from what is left after z: where y is nearly a right angle, z is mostly rounding, and x makes up for
    // it.
    const double cosZ = std::cos(z), sinZ = std::sin(z);
    const double x = std::atan2(sinZ * rotation[2][0] - cosZ * rotation[2][1],
                                cosZ * rotation[1][1] - sinZ * rotation[1][0]);
    const double perRadian = 180 / 3.14159265358979323846;
    degrees.setValues(osg::Real32(x * perRadian), osg::Real32(y * perRadian), osg::Real32(z * perRadian));
}
