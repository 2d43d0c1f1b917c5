#include "KVDbase/geometry/XMatrix.h"

#include "geometry/XMatrixInvert.h"

#include <cstring>

namespace {

// The double and float records share every algorithm; T is the element type
// and M the record.
template <class M, class T, class Op>
M& XMatApply(M& a, const M& b, Op op)
{
    for (int i = 0; i < 16; i++)
        a.m[i] = op(a.m[i], b.m[i]);
    return a;
}

template <class M, class T, class Op>
M& XMatApplyScalar(M& a, T s, Op op)
{
    for (int i = 0; i < 16; i++)
        a.m[i] = op(a.m[i], s);
    return a;
}

template <class T> T XAdd(T a, T b) { return a + b; }
template <class T> T XSub(T a, T b) { return a - b; }
template <class T> T XMul(T a, T b) { return a * b; }
template <class T> T XDiv(T a, T b) { return a / b; }

template <class M>
bool XMatEqual(const M& a, const M& b)
{
    for (int i = 0; i < 16; i++) {
        if (!(a.m[i] == b.m[i]))
            return false;
    }
    return true;
}

// C(i, j) = sum over k ascending of A(i, k) * B(k, j), from zero.
template <class M, class T>
M XMatMultiply(const M& a, const M& b)
{
    M c;
    for (int i = 0; i < 4; i++) {
        for (int j = 0; j < 4; j++) {
            T sum = 0;
            for (int k = 0; k < 4; k++)
                sum += a.m[i * 4 + k] * b.m[k * 4 + j];
            c.m[i * 4 + j] = sum;
        }
    }
    return c;
}

// The vector is a row on the left: r[j] = v . column j.
template <class M, class V4, class T>
V4 XMatTransform4(const M& mat, const V4& v)
{
    T r[4];
    for (int j = 0; j < 4; j++)
        r[j] = v.x * mat.m[j] + v.y * mat.m[4 + j] + v.z * mat.m[8 + j] + v.w * mat.m[12 + j];
    return V4(r[0], r[1], r[2], r[3]);
}

template <class M, class V3, class T>
V3 XMatTransform3(const M& mat, const V3& v)
{
    T r[4];
    const T w = 1;
    for (int j = 0; j < 4; j++)
        r[j] = v.x * mat.m[j] + v.y * mat.m[4 + j] + v.z * mat.m[8 + j] + w * mat.m[12 + j];
    return V3(r[0] / r[3], r[1] / r[3], r[2] / r[3]);
}

template <class M>
void XMatIdentity(M& mat)
{
    for (int i = 0; i < 16; i++)
        mat.m[i] = (i % 5 == 0) ? 1 : 0;
}

template <class M>
int XMatIsIdentity(const M& mat)
{
    for (int i = 0; i < 16; i++) {
        if (!(mat.m[i] == ((i % 5 == 0) ? 1.0 : 0.0)))
            return 0;
    }
    return 1;
}

// Inverts a transposed double copy and writes the result back transposed,
// so the record changes only when the inversion succeeds.
template <class M, class T>
int XMatInverse(M& mat)
{
    double dWork[16];
    for (int r = 0; r < 4; r++) {
        for (int c = 0; c < 4; c++)
            dWork[r * 4 + c] = static_cast<double>(mat.m[c * 4 + r]);
    }
    double dDeterminant = 0.0;
    if (XfnMatrixInversion(dWork, 4, dDeterminant) != 1)
        return 0;
    for (int r = 0; r < 4; r++) {
        for (int c = 0; c < 4; c++)
            mat.m[r * 4 + c] = static_cast<T>(dWork[c * 4 + r]);
    }
    return 1;
}

} // namespace

// Stamps out the members that the double and float records share.
#define XMATRIX_DEFINE_MEMBERS(M, T, V3, V4)                                                                   \
    M::M() { std::memset(m, 0, sizeof(m)); }                                                                   \
    M::M(T v00, T v01, T v02, T v03, T v10, T v11, T v12, T v13, T v20, T v21, T v22, T v23, T v30, T v31,     \
         T v32, T v33)                                                                                         \
        : m{v00, v01, v02, v03, v10, v11, v12, v13, v20, v21, v22, v23, v30, v31, v32, v33}                    \
    {                                                                                                          \
    }                                                                                                          \
    M::M(const T* pValues) { std::memcpy(m, pValues, sizeof(m)); }                                             \
    bool M::operator==(const M& mat) const { return XMatEqual(*this, mat); }                                   \
    bool M::operator!=(const M& mat) const { return !XMatEqual(*this, mat); }                                  \
    M M::operator+(const M& mat) const { M r(*this); return XMatApply<M, T>(r, mat, XAdd<T>); }                \
    M M::operator-(const M& mat) const { M r(*this); return XMatApply<M, T>(r, mat, XSub<T>); }                \
    M M::operator*(const M& mat) const { return XMatMultiply<M, T>(*this, mat); }                              \
    M M::operator+(T s) const { M r(*this); return XMatApplyScalar<M, T>(r, s, XAdd<T>); }                     \
    M M::operator-(T s) const { M r(*this); return XMatApplyScalar<M, T>(r, s, XSub<T>); }                     \
    M M::operator*(T s) const { M r(*this); return XMatApplyScalar<M, T>(r, s, XMul<T>); }                     \
    M M::operator/(T s) const { M r(*this); return XMatApplyScalar<M, T>(r, s, XDiv<T>); }                     \
    M M::operator-() const                                                                                     \
    {                                                                                                          \
        M r(*this);                                                                                            \
        for (int i = 0; i < 16; i++)                                                                           \
            r.m[i] = -r.m[i];                                                                                  \
        return r;                                                                                              \
    }                                                                                                          \
    M& M::operator+=(const M& mat) { return XMatApply<M, T>(*this, mat, XAdd<T>); }                            \
    M& M::operator-=(const M& mat) { return XMatApply<M, T>(*this, mat, XSub<T>); }                            \
    M& M::operator*=(const M& mat)                                                                             \
    {                                                                                                          \
        const M copy(*this);                                                                                   \
        *this = XMatMultiply<M, T>(copy, mat);                                                                 \
        return *this;                                                                                          \
    }                                                                                                          \
    M& M::operator+=(T s) { return XMatApplyScalar<M, T>(*this, s, XAdd<T>); }                                 \
    M& M::operator-=(T s) { return XMatApplyScalar<M, T>(*this, s, XSub<T>); }                                 \
    M& M::operator*=(T s) { return XMatApplyScalar<M, T>(*this, s, XMul<T>); }                                 \
    M& M::operator/=(T s) { return XMatApplyScalar<M, T>(*this, s, XDiv<T>); }                                 \
    V3 M::operator*(const V3& v) const { return XMatTransform3<M, V3, T>(*this, v); }                          \
    V4 M::operator*(const V4& v) const { return XMatTransform4<M, V4, T>(*this, v); }                          \
    void M::Identity() { XMatIdentity(*this); }                                                                \
    int M::IsIdentity() const { return XMatIsIdentity(*this); }                                                \
    int M::Inverse() { return XMatInverse<M, T>(*this); }                                                      \
    M operator*(T s, const M& mat) { M r(mat); return XMatApplyScalar<M, T>(r, s, XMul<T>); }

XMATRIX_DEFINE_MEMBERS(tagXMatrix, double, tagXVector3, tagXVector4)
XMATRIX_DEFINE_MEMBERS(tagXMatrixf, float, tagXVector3f, tagXVector4f)

#undef XMATRIX_DEFINE_MEMBERS
