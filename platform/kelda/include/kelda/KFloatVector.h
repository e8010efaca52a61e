#pragma once

/// A direction or an offset, in single precision.
class KFloatVector
{
public:
    float x, y, z;

    KFloatVector() : x(0), y(0), z(0) {}
    KFloatVector(float xx, float yy, float zz = 0) : x(xx), y(yy), z(zz) {}

    float operator[](unsigned i) const { return i == 0 ? x : i == 1 ? y : z; }
    float& operator[](unsigned i) { return i == 0 ? x : i == 1 ? y : z; }
    bool operator==(const KFloatVector& o) const { return x == o.x && y == o.y && z == o.z; }
    bool operator!=(const KFloatVector& o) const { return !(*this == o); }
};
