#include <OpenSG/OSGBoxVolume.h>

OSG_BEGIN_NAMESPACE

Volume::~Volume() = default;

// -- BoxVolume --------------------------------------------------------------------------------------

void BoxVolume::getCenter(Pnt3f& center) const
{
    for (UInt32 i = 0; i < 3; ++i)
        center[i] = (_min[i] + _max[i]) / 2;
}

Real32 BoxVolume::getScalarVolume() const
{
    if (isEmpty())
        return 0;
    return (_max[0] - _min[0]) * (_max[1] - _min[1]) * (_max[2] - _min[2]);
}

void BoxVolume::extendBy(const Volume& other)
{
    if (other.isEmpty() || isInfinite())
        return;
    Pnt3f minPnt, maxPnt;
    other.getBounds(minPnt, maxPnt);
    extendBy(minPnt);
    extendBy(maxPnt);
    if (other.isInfinite())
        setInfinite(true);
}

// The bounds of the image are sums of the bounds of each product (J. Arvo: Transforming Axis-Aligned Bounding
// Boxes, Graphics Gems, 1990).
void BoxVolume::transform(const Matrix& matrix)
{
    if (isEmpty() || isInfinite())
        return;
    const Pnt3f oldMin = _min, oldMax = _max;
    for (UInt32 r = 0; r < 3; ++r) {
        _min[r] = _max[r] = matrix[3][r];
        for (UInt32 c = 0; c < 3; ++c) {
            const Real32 a = matrix[c][r] * oldMin[c], b = matrix[c][r] * oldMax[c];
            _min[r] += a < b ? a : b;
            _max[r] += a < b ? b : a;
        }
    }
}

bool BoxVolume::intersect(const Pnt3f& pnt) const
{
    if (isEmpty())
        return false;
    if (isInfinite())
        return true;
    for (UInt32 i = 0; i < 3; ++i)
        if (pnt[i] < _min[i] || pnt[i] > _max[i])
            return false;
    return true;
}

bool BoxVolume::intersect(const Volume& other) const
{
    if (isEmpty() || other.isEmpty())
        return false;
    if (isInfinite() || other.isInfinite())
        return true;
    Pnt3f minPnt, maxPnt;
    other.getBounds(minPnt, maxPnt);
    for (UInt32 i = 0; i < 3; ++i)
        if (maxPnt[i] < _min[i] || minPnt[i] > _max[i])
            return false;
    return true;
}

OSG_END_NAMESPACE
