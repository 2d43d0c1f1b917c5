// XMatrix.h: four-by-four matrix records in double and float, stored row by
// row, with vectors multiplying as rows on the left (translation in row 3).
// Plain values, no shared state, no allocation; only Inverse reports failure,
// by returning 0 and leaving the matrix unchanged.
#pragma once

#include "KVDbase/geometry/XVector.h"
#include "KVDbase/platform/Export.h"

struct KVD_API tagXMatrix {
    double m[16];

    // All sixteen values zero: a new matrix is not the identity.
    tagXMatrix();
    tagXMatrix(double d00, double d01, double d02, double d03, double d10, double d11, double d12, double d13,
               double d20, double d21, double d22, double d23, double d30, double d31, double d32, double d33);
    explicit tagXMatrix(const double* pValues);

    operator double*() { return m; }
    operator const double*() const { return m; }

    // No bounds test: row and column must be below 4.
    double& operator()(unsigned int nRow, unsigned int nColumn) { return m[nRow * 4 + nColumn]; }
    double operator()(unsigned int nRow, unsigned int nColumn) const { return m[nRow * 4 + nColumn]; }

    bool operator==(const tagXMatrix& mat) const;
    bool operator!=(const tagXMatrix& mat) const;
    tagXMatrix operator+(const tagXMatrix& mat) const;
    tagXMatrix operator-(const tagXMatrix& mat) const;
    tagXMatrix operator*(const tagXMatrix& mat) const;
    tagXMatrix operator+(double d) const;
    tagXMatrix operator-(double d) const;
    tagXMatrix operator*(double d) const;
    tagXMatrix operator/(double d) const;
    tagXMatrix operator-() const;
    tagXMatrix& operator+=(const tagXMatrix& mat);
    tagXMatrix& operator-=(const tagXMatrix& mat);
    tagXMatrix& operator*=(const tagXMatrix& mat);
    tagXMatrix& operator+=(double d);
    tagXMatrix& operator-=(double d);
    tagXMatrix& operator*=(double d);
    tagXMatrix& operator/=(double d);

    // v times this matrix, v as a row. The three-component form takes w as
    // 1.0 and divides the result by its w, with no zero test.
    tagXVector3 operator*(const tagXVector3& v) const;
    tagXVector4 operator*(const tagXVector4& v) const;

    void Identity();
    // 1 only for an exact identity, with no tolerance.
    int IsIdentity() const;
    // 1 on success; 0 for a pivot of magnitude 1e-10 or less, the matrix then
    // unchanged.
    int Inverse();
};

// The float form computes in single precision, except Inverse, which works in
// double and rounds the result back to float.
struct KVD_API tagXMatrixf {
    float m[16];

    tagXMatrixf();
    tagXMatrixf(float f00, float f01, float f02, float f03, float f10, float f11, float f12, float f13, float f20,
                float f21, float f22, float f23, float f30, float f31, float f32, float f33);
    explicit tagXMatrixf(const float* pValues);

    operator float*() { return m; }
    operator const float*() const { return m; }

    float& operator()(unsigned int nRow, unsigned int nColumn) { return m[nRow * 4 + nColumn]; }
    float operator()(unsigned int nRow, unsigned int nColumn) const { return m[nRow * 4 + nColumn]; }

    bool operator==(const tagXMatrixf& mat) const;
    bool operator!=(const tagXMatrixf& mat) const;
    tagXMatrixf operator+(const tagXMatrixf& mat) const;
    tagXMatrixf operator-(const tagXMatrixf& mat) const;
    tagXMatrixf operator*(const tagXMatrixf& mat) const;
    tagXMatrixf operator+(float f) const;
    tagXMatrixf operator-(float f) const;
    tagXMatrixf operator*(float f) const;
    tagXMatrixf operator/(float f) const;
    tagXMatrixf operator-() const;
    tagXMatrixf& operator+=(const tagXMatrixf& mat);
    tagXMatrixf& operator-=(const tagXMatrixf& mat);
    tagXMatrixf& operator*=(const tagXMatrixf& mat);
    tagXMatrixf& operator+=(float f);
    tagXMatrixf& operator-=(float f);
    tagXMatrixf& operator*=(float f);
    tagXMatrixf& operator/=(float f);

    tagXVector3f operator*(const tagXVector3f& v) const;
    tagXVector4f operator*(const tagXVector4f& v) const;

    void Identity();
    int IsIdentity() const;
    int Inverse();
};

static_assert(sizeof(tagXMatrix) == 128 && sizeof(tagXMatrixf) == 64, "matrices are bare arrays");

KVD_API tagXMatrix operator*(double d, const tagXMatrix& mat);
KVD_API tagXMatrixf operator*(float f, const tagXMatrixf& mat);
