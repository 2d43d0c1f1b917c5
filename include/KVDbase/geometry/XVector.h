// XVector.h: two-, three- and four-component vector records in double and
// float, with component-wise operators and the XfnVector free functions.
// Plain values laid out as bare arrays, no shared state, no allocation; nothing
// reports failure: a division by zero gives infinities or NaNs.
#pragma once

#include "KVDbase/platform/Export.h"

struct KVD_API tagXVector2 {
    double x, y;

    tagXVector2() : x(0.0), y(0.0) {}
    tagXVector2(double dX, double dY) : x(dX), y(dY) {}
    explicit tagXVector2(const double* pValues) : x(pValues[0]), y(pValues[1]) {}

    operator double*() { return &x; }
    operator const double*() const { return &x; }

    bool operator==(const tagXVector2& v) const;
    bool operator!=(const tagXVector2& v) const;
    tagXVector2 operator+(const tagXVector2& v) const;
    tagXVector2 operator-(const tagXVector2& v) const;
    tagXVector2 operator*(const tagXVector2& v) const;
    tagXVector2 operator/(const tagXVector2& v) const;
    tagXVector2 operator*(double d) const;
    tagXVector2 operator/(double d) const;
    tagXVector2 operator-() const;
    tagXVector2& operator+=(const tagXVector2& v);
    tagXVector2& operator-=(const tagXVector2& v);
    tagXVector2& operator*=(const tagXVector2& v);
    tagXVector2& operator/=(const tagXVector2& v);
    tagXVector2& operator+=(double d);
    tagXVector2& operator-=(double d);
    tagXVector2& operator*=(double d);
    tagXVector2& operator/=(double d);

    double Length() const;
    // Divides by the length; a zero vector is left as it is.
    void Normalize();
};

struct KVD_API tagXVector3 {
    double x, y, z;

    tagXVector3() : x(0.0), y(0.0), z(0.0) {}
    tagXVector3(double dX, double dY, double dZ) : x(dX), y(dY), z(dZ) {}
    explicit tagXVector3(const double* pValues) : x(pValues[0]), y(pValues[1]), z(pValues[2]) {}

    operator double*() { return &x; }
    operator const double*() const { return &x; }

    bool operator==(const tagXVector3& v) const;
    bool operator!=(const tagXVector3& v) const;
    tagXVector3 operator+(const tagXVector3& v) const;
    tagXVector3 operator-(const tagXVector3& v) const;
    tagXVector3 operator*(const tagXVector3& v) const;
    tagXVector3 operator/(const tagXVector3& v) const;
    tagXVector3 operator*(double d) const;
    tagXVector3 operator/(double d) const;
    tagXVector3 operator-() const;
    tagXVector3& operator+=(const tagXVector3& v);
    tagXVector3& operator-=(const tagXVector3& v);
    tagXVector3& operator*=(const tagXVector3& v);
    tagXVector3& operator/=(const tagXVector3& v);
    tagXVector3& operator+=(double d);
    tagXVector3& operator-=(double d);
    tagXVector3& operator*=(double d);
    tagXVector3& operator/=(double d);

    double Length() const;
    // Divides by the length; a zero vector is left as it is.
    void Normalize();
};

struct KVD_API tagXVector4 {
    double x, y, z, w;

    tagXVector4() : x(0.0), y(0.0), z(0.0), w(0.0) {}
    tagXVector4(double dX, double dY, double dZ, double dW) : x(dX), y(dY), z(dZ), w(dW) {}
    explicit tagXVector4(const double* pValues)
        : x(pValues[0]), y(pValues[1]), z(pValues[2]), w(pValues[3]) {}

    operator double*() { return &x; }
    operator const double*() const { return &x; }

    bool operator==(const tagXVector4& v) const;
    bool operator!=(const tagXVector4& v) const;
    tagXVector4 operator+(const tagXVector4& v) const;
    tagXVector4 operator-(const tagXVector4& v) const;
    tagXVector4 operator*(const tagXVector4& v) const;
    tagXVector4 operator/(const tagXVector4& v) const;
    tagXVector4 operator*(double d) const;
    tagXVector4 operator/(double d) const;
    tagXVector4 operator-() const;
    tagXVector4& operator+=(const tagXVector4& v);
    tagXVector4& operator-=(const tagXVector4& v);
    tagXVector4& operator*=(const tagXVector4& v);
    tagXVector4& operator/=(const tagXVector4& v);
    tagXVector4& operator+=(double d);
    tagXVector4& operator-=(double d);
    tagXVector4& operator*=(double d);
    tagXVector4& operator/=(double d);
};

// The float records compute in single precision throughout.
struct KVD_API tagXVector2f {
    float x, y;

    tagXVector2f() : x(0.0f), y(0.0f) {}
    tagXVector2f(float fX, float fY) : x(fX), y(fY) {}
    explicit tagXVector2f(const float* pValues) : x(pValues[0]), y(pValues[1]) {}

    operator float*() { return &x; }
    operator const float*() const { return &x; }

    bool operator==(const tagXVector2f& v) const;
    bool operator!=(const tagXVector2f& v) const;
    tagXVector2f operator+(const tagXVector2f& v) const;
    tagXVector2f operator-(const tagXVector2f& v) const;
    tagXVector2f operator*(const tagXVector2f& v) const;
    tagXVector2f operator/(const tagXVector2f& v) const;
    tagXVector2f operator*(float f) const;
    tagXVector2f operator/(float f) const;
    tagXVector2f operator-() const;
    tagXVector2f& operator+=(const tagXVector2f& v);
    tagXVector2f& operator-=(const tagXVector2f& v);
    tagXVector2f& operator*=(const tagXVector2f& v);
    tagXVector2f& operator/=(const tagXVector2f& v);
    tagXVector2f& operator+=(float f);
    tagXVector2f& operator-=(float f);
    tagXVector2f& operator*=(float f);
    tagXVector2f& operator/=(float f);

    float Length() const;
    // Divides by the length; a zero vector is left as it is.
    void Normalize();
};

struct KVD_API tagXVector3f {
    float x, y, z;

    tagXVector3f() : x(0.0f), y(0.0f), z(0.0f) {}
    tagXVector3f(float fX, float fY, float fZ) : x(fX), y(fY), z(fZ) {}
    explicit tagXVector3f(const float* pValues) : x(pValues[0]), y(pValues[1]), z(pValues[2]) {}

    operator float*() { return &x; }
    operator const float*() const { return &x; }

    bool operator==(const tagXVector3f& v) const;
    bool operator!=(const tagXVector3f& v) const;
    tagXVector3f operator+(const tagXVector3f& v) const;
    tagXVector3f operator-(const tagXVector3f& v) const;
    tagXVector3f operator*(const tagXVector3f& v) const;
    tagXVector3f operator/(const tagXVector3f& v) const;
    tagXVector3f operator*(float f) const;
    tagXVector3f operator/(float f) const;
    tagXVector3f operator-() const;
    tagXVector3f& operator+=(const tagXVector3f& v);
    tagXVector3f& operator-=(const tagXVector3f& v);
    tagXVector3f& operator*=(const tagXVector3f& v);
    tagXVector3f& operator/=(const tagXVector3f& v);
    tagXVector3f& operator+=(float f);
    tagXVector3f& operator-=(float f);
    tagXVector3f& operator*=(float f);
    tagXVector3f& operator/=(float f);

    float Length() const;
    // Divides by the length; a zero vector is left as it is.
    void Normalize();
};

struct KVD_API tagXVector4f {
    float x, y, z, w;

    tagXVector4f() : x(0.0f), y(0.0f), z(0.0f), w(0.0f) {}
    tagXVector4f(float fX, float fY, float fZ, float fW) : x(fX), y(fY), z(fZ), w(fW) {}
    explicit tagXVector4f(const float* pValues)
        : x(pValues[0]), y(pValues[1]), z(pValues[2]), w(pValues[3]) {}

    operator float*() { return &x; }
    operator const float*() const { return &x; }

    bool operator==(const tagXVector4f& v) const;
    bool operator!=(const tagXVector4f& v) const;
    tagXVector4f operator+(const tagXVector4f& v) const;
    tagXVector4f operator-(const tagXVector4f& v) const;
    tagXVector4f operator*(const tagXVector4f& v) const;
    tagXVector4f operator/(const tagXVector4f& v) const;
    tagXVector4f operator*(float f) const;
    tagXVector4f operator/(float f) const;
    tagXVector4f operator-() const;
    tagXVector4f& operator+=(const tagXVector4f& v);
    tagXVector4f& operator-=(const tagXVector4f& v);
    tagXVector4f& operator*=(const tagXVector4f& v);
    tagXVector4f& operator/=(const tagXVector4f& v);
    tagXVector4f& operator+=(float f);
    tagXVector4f& operator-=(float f);
    tagXVector4f& operator*=(float f);
    tagXVector4f& operator/=(float f);
};

static_assert(sizeof(tagXVector2) == 16 && sizeof(tagXVector3) == 24 && sizeof(tagXVector4) == 32,
              "double vectors are bare arrays");
static_assert(sizeof(tagXVector2f) == 8 && sizeof(tagXVector3f) == 12 && sizeof(tagXVector4f) == 16,
              "float vectors are bare arrays");

KVD_API tagXVector2 operator*(double d, const tagXVector2& v);
KVD_API tagXVector3 operator*(double d, const tagXVector3& v);
KVD_API tagXVector4 operator*(double d, const tagXVector4& v);
KVD_API tagXVector2f operator*(float f, const tagXVector2f& v);
KVD_API tagXVector3f operator*(float f, const tagXVector3f& v);
KVD_API tagXVector4f operator*(float f, const tagXVector4f& v);

KVD_API double XfnVector2Dist(const tagXVector2* pA, const tagXVector2* pB);
KVD_API double XfnVector3Dist(const tagXVector3* pA, const tagXVector3* pB);
KVD_API float XfnVector2fDist(const tagXVector2f* pA, const tagXVector2f* pB);
KVD_API float XfnVector3fDist(const tagXVector3f* pA, const tagXVector3f* pB);

KVD_API double XfnVector2Dot(const tagXVector2* pA, const tagXVector2* pB);
KVD_API double XfnVector3Dot(const tagXVector3* pA, const tagXVector3* pB);
KVD_API float XfnVector2fDot(const tagXVector2f* pA, const tagXVector2f* pB);
KVD_API float XfnVector3fDot(const tagXVector3f* pA, const tagXVector3f* pB);

// Each component is stored as soon as it is computed, so pOut must not be pA
// or pB unless the caller wants that overlap.
KVD_API tagXVector3* XfnVector3Cross(tagXVector3* pOut, const tagXVector3* pA, const tagXVector3* pB);
KVD_API tagXVector3f* XfnVector3fCross(tagXVector3f* pOut, const tagXVector3f* pA, const tagXVector3f* pB);

// Unlike the member Normalize these do not test the length: a zero vector
// turns into NaNs.
KVD_API tagXVector2* XfnVector2Normalize(tagXVector2* pOut, const tagXVector2* pIn);
KVD_API tagXVector3* XfnVector3Normalize(tagXVector3* pOut, const tagXVector3* pIn);
KVD_API tagXVector2f* XfnVector2fNormalize(tagXVector2f* pOut, const tagXVector2f* pIn);
KVD_API tagXVector3f* XfnVector3fNormalize(tagXVector3f* pOut, const tagXVector3f* pIn);
KVD_API tagXVector2* XfnVector2Normalize(tagXVector2* pVector);
KVD_API tagXVector3* XfnVector3Normalize(tagXVector3* pVector);
KVD_API tagXVector2f* XfnVector2fNormalize(tagXVector2f* pVector);
KVD_API tagXVector3f* XfnVector3fNormalize(tagXVector3f* pVector);

// Rotates pPoint by dAngle radians about the line through the origin along
// pDirection (any non-zero length); a positive angle turns counter-clockwise
// when seen from the tip of the direction.
KVD_API tagXVector3* XfnVector3RotateAboutLine(tagXVector3* pOut, const tagXVector3* pPoint,
                                               const tagXVector3* pDirection, double dAngle);
KVD_API tagXVector3f* XfnVector3fRotateAboutLine(tagXVector3f* pOut, const tagXVector3f* pPoint,
                                                 const tagXVector3f* pDirection, float fAngle);

// The same about the line from pLineStart towards pLineEnd.
KVD_API tagXVector3* XfnVector3RotateAboutLine(tagXVector3* pOut, const tagXVector3* pPoint,
                                               const tagXVector3* pLineEnd, const tagXVector3* pLineStart,
                                               double dAngle);
KVD_API tagXVector3f* XfnVector3fRotateAboutLine(tagXVector3f* pOut, const tagXVector3f* pPoint,
                                                 const tagXVector3f* pLineEnd, const tagXVector3f* pLineStart,
                                                 float fAngle);
