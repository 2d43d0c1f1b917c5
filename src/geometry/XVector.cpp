#include "KVDbase/geometry/XVector.h"

#include <cmath>

namespace {

// The records are bare arrays of N elements, so every component-wise
// operation is one loop over the array that the pointer conversion gives.
template <int N, class V, class T>
bool XVecEqual(const V& a, const V& b)
{
    const T* pA = a;
    const T* pB = b;
    for (int i = 0; i < N; i++) {
        if (!(pA[i] == pB[i]))
            return false;
    }
    return true;
}

template <int N, class V, class T, class Op>
V& XVecApply(V& a, const V& b, Op op)
{
    T* pA = a;
    const T* pB = b;
    for (int i = 0; i < N; i++)
        pA[i] = op(pA[i], pB[i]);
    return a;
}

template <int N, class V, class T, class Op>
V& XVecApplyScalar(V& a, T s, Op op)
{
    T* pA = a;
    for (int i = 0; i < N; i++)
        pA[i] = op(pA[i], s);
    return a;
}

template <class T> T XAdd(T a, T b) { return a + b; }
template <class T> T XSub(T a, T b) { return a - b; }
template <class T> T XMul(T a, T b) { return a * b; }
template <class T> T XDiv(T a, T b) { return a / b; }

} // namespace

// Stamps out the component-wise operators of one record; N components of T.
#define XVECTOR_DEFINE_OPERATORS(V, T, N)                                                         \
    bool V::operator==(const V& v) const { return XVecEqual<N, V, T>(*this, v); }                \
    bool V::operator!=(const V& v) const { return !XVecEqual<N, V, T>(*this, v); }               \
    V V::operator+(const V& v) const { V r(*this); return XVecApply<N, V, T>(r, v, XAdd<T>); }   \
    V V::operator-(const V& v) const { V r(*this); return XVecApply<N, V, T>(r, v, XSub<T>); }   \
    V V::operator*(const V& v) const { V r(*this); return XVecApply<N, V, T>(r, v, XMul<T>); }   \
    V V::operator/(const V& v) const { V r(*this); return XVecApply<N, V, T>(r, v, XDiv<T>); }   \
    V V::operator*(T s) const { V r(*this); return XVecApplyScalar<N, V, T>(r, s, XMul<T>); }    \
    V V::operator/(T s) const { V r(*this); return XVecApplyScalar<N, V, T>(r, s, XDiv<T>); }    \
    V V::operator-() const                                                                        \
    {                                                                                             \
        V r(*this);                                                                               \
        T* p = r;                                                                                 \
        for (int i = 0; i < N; i++)                                                               \
            p[i] = -p[i];                                                                         \
        return r;                                                                                 \
    }                                                                                             \
    V& V::operator+=(const V& v) { return XVecApply<N, V, T>(*this, v, XAdd<T>); }               \
    V& V::operator-=(const V& v) { return XVecApply<N, V, T>(*this, v, XSub<T>); }               \
    V& V::operator*=(const V& v) { return XVecApply<N, V, T>(*this, v, XMul<T>); }               \
    V& V::operator/=(const V& v) { return XVecApply<N, V, T>(*this, v, XDiv<T>); }               \
    V& V::operator+=(T s) { return XVecApplyScalar<N, V, T>(*this, s, XAdd<T>); }                \
    V& V::operator-=(T s) { return XVecApplyScalar<N, V, T>(*this, s, XSub<T>); }                \
    V& V::operator*=(T s) { return XVecApplyScalar<N, V, T>(*this, s, XMul<T>); }                \
    V& V::operator/=(T s) { return XVecApplyScalar<N, V, T>(*this, s, XDiv<T>); }                \
    V operator*(T s, const V& v) { V r(v); return XVecApplyScalar<N, V, T>(r, s, XMul<T>); }

XVECTOR_DEFINE_OPERATORS(tagXVector2, double, 2)
XVECTOR_DEFINE_OPERATORS(tagXVector3, double, 3)
XVECTOR_DEFINE_OPERATORS(tagXVector4, double, 4)
XVECTOR_DEFINE_OPERATORS(tagXVector2f, float, 2)
XVECTOR_DEFINE_OPERATORS(tagXVector3f, float, 3)
XVECTOR_DEFINE_OPERATORS(tagXVector4f, float, 4)

#undef XVECTOR_DEFINE_OPERATORS

// Lengths: the square root of the sum of squares, summed x first. The float
// forms stay in float, std::sqrt(float) included.
double tagXVector2::Length() const { return std::sqrt(x * x + y * y); }
double tagXVector3::Length() const { return std::sqrt(x * x + y * y + z * z); }
float tagXVector2f::Length() const { return std::sqrt(x * x + y * y); }
float tagXVector3f::Length() const { return std::sqrt(x * x + y * y + z * z); }

void tagXVector2::Normalize()
{
    double dLength = Length();
    if (dLength == 0.0)
        return;
    x /= dLength;
    y /= dLength;
}

void tagXVector3::Normalize()
{
    double dLength = Length();
    if (dLength == 0.0)
        return;
    x /= dLength;
    y /= dLength;
    z /= dLength;
}

void tagXVector2f::Normalize()
{
    float fLength = Length();
    if (fLength == 0.0f)
        return;
    x /= fLength;
    y /= fLength;
}

void tagXVector3f::Normalize()
{
    float fLength = Length();
    if (fLength == 0.0f)
        return;
    x /= fLength;
    y /= fLength;
    z /= fLength;
}

double XfnVector2Dist(const tagXVector2* pA, const tagXVector2* pB) { return (*pA - *pB).Length(); }
double XfnVector3Dist(const tagXVector3* pA, const tagXVector3* pB) { return (*pA - *pB).Length(); }
float XfnVector2fDist(const tagXVector2f* pA, const tagXVector2f* pB) { return (*pA - *pB).Length(); }
float XfnVector3fDist(const tagXVector3f* pA, const tagXVector3f* pB) { return (*pA - *pB).Length(); }

double XfnVector2Dot(const tagXVector2* pA, const tagXVector2* pB) { return pA->x * pB->x + pA->y * pB->y; }

double XfnVector3Dot(const tagXVector3* pA, const tagXVector3* pB)
{
    return pA->x * pB->x + pA->y * pB->y + pA->z * pB->z;
}

float XfnVector2fDot(const tagXVector2f* pA, const tagXVector2f* pB) { return pA->x * pB->x + pA->y * pB->y; }

float XfnVector3fDot(const tagXVector3f* pA, const tagXVector3f* pB)
{
    return pA->x * pB->x + pA->y * pB->y + pA->z * pB->z;
}

namespace {

// Writes each component as soon as it is known; an output that is also an
// input therefore feeds the later components with the new values.
template <class V>
V* XVecCross(V* pOut, const V* pA, const V* pB)
{
    pOut->x = pA->y * pB->z - pA->z * pB->y;
    pOut->y = pA->z * pB->x - pA->x * pB->z;
    pOut->z = pA->x * pB->y - pA->y * pB->x;
    return pOut;
}

// The length is taken before anything is written, so pOut may be pIn.
template <class V>
V* XVecNormalizeTo(V* pOut, const V* pIn)
{
    auto length = pIn->Length();
    *pOut = *pIn / length;
    return pOut;
}

// Rotation by angle t about the line through the origin along (u, v, w):
// the closed form of the rotation matrix applied to (x, y, z), with the
// direction's length folded in so that it need not be a unit vector.
template <class V, class T>
V* XVecRotateAboutAxis(V* pOut, const V* pPoint, const V* pDirection, T t)
{
    const T x = pPoint->x, y = pPoint->y, z = pPoint->z;
    const T u = pDirection->x, v = pDirection->y, w = pDirection->z;
    const T s = std::sin(t);
    const T c = std::cos(t);
    const T dL2 = u * u + v * v + w * w;
    const T dL = std::sqrt(dL2);
    const T d = u * x + v * y + w * z;
    pOut->x = (u * d + ((v * v + w * w) * x - u * (v * y + w * z)) * c + (v * z - w * y) * dL * s) / dL2;
    pOut->y = (v * d + ((u * u + w * w) * y - v * (u * x + w * z)) * c + (w * x - u * z) * dL * s) / dL2;
    pOut->z = (w * d + ((u * u + v * v) * z - w * (u * x + v * y)) * c + (u * y - v * x) * dL * s) / dL2;
    return pOut;
}

template <class V, class T>
V* XVecRotateAboutLine(V* pOut, const V* pPoint, const V* pLineEnd, const V* pLineStart, T t)
{
    const V start = *pLineStart;
    const V point = *pPoint - start;
    const V direction = *pLineEnd - start;
    XVecRotateAboutAxis(pOut, &point, &direction, t);
    *pOut += start;
    return pOut;
}

} // namespace

tagXVector3* XfnVector3Cross(tagXVector3* pOut, const tagXVector3* pA, const tagXVector3* pB)
{
    return XVecCross(pOut, pA, pB);
}

tagXVector3f* XfnVector3fCross(tagXVector3f* pOut, const tagXVector3f* pA, const tagXVector3f* pB)
{
    return XVecCross(pOut, pA, pB);
}

tagXVector2* XfnVector2Normalize(tagXVector2* pOut, const tagXVector2* pIn) { return XVecNormalizeTo(pOut, pIn); }
tagXVector3* XfnVector3Normalize(tagXVector3* pOut, const tagXVector3* pIn) { return XVecNormalizeTo(pOut, pIn); }
tagXVector2f* XfnVector2fNormalize(tagXVector2f* pOut, const tagXVector2f* pIn) { return XVecNormalizeTo(pOut, pIn); }
tagXVector3f* XfnVector3fNormalize(tagXVector3f* pOut, const tagXVector3f* pIn) { return XVecNormalizeTo(pOut, pIn); }
tagXVector2* XfnVector2Normalize(tagXVector2* pVector) { return XVecNormalizeTo(pVector, pVector); }
tagXVector3* XfnVector3Normalize(tagXVector3* pVector) { return XVecNormalizeTo(pVector, pVector); }
tagXVector2f* XfnVector2fNormalize(tagXVector2f* pVector) { return XVecNormalizeTo(pVector, pVector); }
tagXVector3f* XfnVector3fNormalize(tagXVector3f* pVector) { return XVecNormalizeTo(pVector, pVector); }

tagXVector3* XfnVector3RotateAboutLine(tagXVector3* pOut, const tagXVector3* pPoint, const tagXVector3* pDirection,
                                       double dAngle)
{
    return XVecRotateAboutAxis(pOut, pPoint, pDirection, dAngle);
}

tagXVector3f* XfnVector3fRotateAboutLine(tagXVector3f* pOut, const tagXVector3f* pPoint,
                                         const tagXVector3f* pDirection, float fAngle)
{
    return XVecRotateAboutAxis(pOut, pPoint, pDirection, fAngle);
}

tagXVector3* XfnVector3RotateAboutLine(tagXVector3* pOut, const tagXVector3* pPoint, const tagXVector3* pLineEnd,
                                       const tagXVector3* pLineStart, double dAngle)
{
    return XVecRotateAboutLine(pOut, pPoint, pLineEnd, pLineStart, dAngle);
}

tagXVector3f* XfnVector3fRotateAboutLine(tagXVector3f* pOut, const tagXVector3f* pPoint,
                                         const tagXVector3f* pLineEnd, const tagXVector3f* pLineStart,
                                         float fAngle)
{
    return XVecRotateAboutLine(pOut, pPoint, pLineEnd, pLineStart, fAngle);
}
