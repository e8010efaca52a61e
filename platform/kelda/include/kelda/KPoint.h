#pragma once

#include "kelda/KVector.h"

/// A point in double precision, homogeneous: w is 1 unless set.
class KPoint
{
public:
    double x, y, z, w;

    KPoint() : x(0), y(0), z(0), w(1) {}
    KPoint(double xx, double yy, double zz = 0, double ww = 1) : x(xx), y(yy), z(zz), w(ww) {}
    KPoint(const KVector& v) : x(v.x), y(v.y), z(v.z), w(1) {}

    double operator[](unsigned i) const { return i == 0 ? x : i == 1 ? y : i == 2 ? z : w; }
    double& operator[](unsigned i) { return i == 0 ? x : i == 1 ? y : i == 2 ? z : w; }
    bool operator==(const KPoint& o) const { return x == o.x && y == o.y && z == o.z && w == o.w; }
    bool operator!=(const KPoint& o) const { return !(*this == o); }
};
