#pragma once

#include <cmath>

/// A direction or an offset, in double precision.
class KVector
{
public:
    double x, y, z;

    KVector() : x(0), y(0), z(0) {}
    KVector(double xx, double yy, double zz = 0) : x(xx), y(yy), z(zz) {}
    explicit KVector(const double v[3]) : x(v[0]), y(v[1]), z(v[2]) {}

    double operator[](unsigned i) const { return i == 0 ? x : i == 1 ? y : z; }
    double& operator[](unsigned i) { return i == 0 ? x : i == 1 ? y : z; }

    KVector operator+(const KVector& o) const { return KVector(x + o.x, y + o.y, z + o.z); }
    KVector operator-(const KVector& o) const { return KVector(x - o.x, y - o.y, z - o.z); }
    KVector operator-() const { return KVector(-x, -y, -z); }
    KVector operator*(double s) const { return KVector(x * s, y * s, z * s); }
    double operator*(const KVector& o) const { return x * o.x + y * o.y + z * o.z; } ///< dot product
    KVector operator^(const KVector& o) const                                        ///< cross product
    {
        return KVector(y * o.z - z * o.y, z * o.x - x * o.z, x * o.y - y * o.x);
    }
    bool operator==(const KVector& o) const { return x == o.x && y == o.y && z == o.z; }
    bool operator!=(const KVector& o) const { return !(*this == o); }
    double length() const { return std::sqrt(x * x + y * y + z * z); }
};
