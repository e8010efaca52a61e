#pragma once

#include "kelda/KApi.h"
#include "kelda/KPoint.h"

/// A 4 x 4 matrix for row vectors: point * matrix; the translation stands in the last row. In a product the
/// left matrix acts first.
class KELDA_API KMatrix
{
public:
    double m[4][4];

    KMatrix(); ///< identity
    explicit KMatrix(const double values[4][4]);
    static const KMatrix identity;

    double operator()(unsigned row, unsigned column) const { return m[row][column]; }
    double& operator()(unsigned row, unsigned column) { return m[row][column]; }
    const double* operator[](unsigned row) const { return m[row]; }
    double* operator[](unsigned row) { return m[row]; }

    KMatrix operator*(const KMatrix& right) const;
    KMatrix& operator*=(const KMatrix& right);
    bool operator==(const KMatrix& other) const; ///< exact, without any tolerance
    bool operator!=(const KMatrix& other) const { return !(*this == other); }
    bool isEquivalent(const KMatrix& other, double tolerance = 1e-10) const; ///< every element

    KMatrix transpose() const;
    /// The inverse, by elimination with pivoting; the identity when the matrix is singular (det4x4() == 0).
    KMatrix inverse() const;
    double det4x4() const;
    void setToIdentity();
};

KELDA_API KPoint operator*(const KPoint& point, const KMatrix& matrix);
KELDA_API KVector operator*(const KVector& vector, const KMatrix& matrix); ///< without the translation
