#pragma once

#include <OpenSG/OSGVolume.h>

OSG_BEGIN_NAMESPACE

/// A box along the axes. New: empty, bounds 0..0.
class OSG_PLATFORM_API BoxVolume : public Volume
{
public:
    BoxVolume() {}
    /// Neither empty nor invalid.
    BoxVolume(const Pnt3f& minPnt, const Pnt3f& maxPnt) { setBounds(minPnt, maxPnt); }
    BoxVolume(Real32 minX, Real32 minY, Real32 minZ, Real32 maxX, Real32 maxY, Real32 maxZ)
    {
        setBounds(Pnt3f(minX, minY, minZ), Pnt3f(maxX, maxY, maxZ));
    }

    const Pnt3f& getMin() const { return _min; }
    const Pnt3f& getMax() const { return _max; }
    /// The box is neither empty nor invalid after this.
    void setBounds(const Pnt3f& minPnt, const Pnt3f& maxPnt)
    {
        _min = minPnt;
        _max = maxPnt;
        setEmpty(false);
        setValid(true);
    }
    void setBounds(Real32 minX, Real32 minY, Real32 minZ, Real32 maxX, Real32 maxY, Real32 maxZ)
    {
        setBounds(Pnt3f(minX, minY, minZ), Pnt3f(maxX, maxY, maxZ));
    }

    void getBounds(Pnt3f& minPnt, Pnt3f& maxPnt) const override
    {
        minPnt = _min;
        maxPnt = _max;
    }
    void getCenter(Pnt3f& center) const override;
    Real32 getScalarVolume() const override;

    void extendBy(const Pnt3f& pnt) override
    {
        if (isInfinite())
            return;
        if (isEmpty()) {
            _min = _max = pnt;
            setEmpty(false);
            return;
        }
        for (UInt32 i = 0; i < 3; ++i) {
            if (pnt[i] < _min[i])
                _min[i] = pnt[i];
            if (pnt[i] > _max[i])
                _max[i] = pnt[i];
        }
    }
    void extendBy(const Volume& other) override;
    void transform(const Matrix& matrix) override;

    bool intersect(const Pnt3f& pnt) const override;
    bool intersect(const Volume& other) const override;

    /// Same bounds, whatever the states.
    bool operator==(const BoxVolume& other) const { return _min == other._min && _max == other._max; }
    bool operator!=(const BoxVolume& other) const { return !(*this == other); }

private:
    Pnt3f _min;
    Pnt3f _max;
};

OSG_END_NAMESPACE
