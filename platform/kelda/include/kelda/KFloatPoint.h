#pragma once

/// A point in single precision, homogeneous: w is 1 unless set.
class KFloatPoint
{
public:
    float x, y, z, w;

    KFloatPoint() : x(0), y(0), z(0), w(1) {}
    KFloatPoint(float xx, float yy, float zz = 0, float ww = 1) : x(xx), y(yy), z(zz), w(ww) {}

    float operator[](unsigned i) const { return i == 0 ? x : i == 1 ? y : i == 2 ? z : w; }
    float& operator[](unsigned i) { return i == 0 ? x : i == 1 ? y : i == 2 ? z : w; }
    bool operator==(const KFloatPoint& o) const { return x == o.x && y == o.y && z == o.z && w == o.w; }
    bool operator!=(const KFloatPoint& o) const { return !(*this == o); }
};
