#include "KVDbase/geometry/XScaleFactor.h"
#include "KVDbase/geometry/XVector.h"

#include <gtest/gtest.h>

#include <cmath>
#include <type_traits>

namespace {

template <class V>
class XVectorRecord : public ::testing::Test {};

typedef ::testing::Types<tagXVector2, tagXVector3, tagXVector4, tagXVector2f, tagXVector3f, tagXVector4f>
    XVectorRecords;
TYPED_TEST_SUITE(XVectorRecord, XVectorRecords);

} // namespace

// Every operator works component by component in the record's own type.
TYPED_TEST(XVectorRecord, ComponentWiseOperatorsAndTheirCompoundForms)
{
    typedef typename std::decay<decltype(TypeParam().x)>::type T;
    const int N = sizeof(TypeParam) / sizeof(T);
    const T a0[4] = {1, -2, 3, 8}, b0[4] = {4, 8, -3, 6};
    const TypeParam a(a0), b(b0);
    const TypeParam results[] = {a + b, a - b, a * b, a / b, a * T(3), a / T(3), -a, T(3) * a};
    TypeParam compound[] = {a, a, a, a, a, a, a, a};
    compound[0] += b;
    compound[1] -= b;
    compound[2] *= b;
    compound[3] /= b;
    compound[4] *= T(3);
    compound[5] /= T(3);
    compound[6] -= T(3);
    compound[7] += T(3);
    for (int i = 0; i < N; i++) {
        const T x = a0[i], y = b0[i];
        const T expected[] = {x + y, x - y, x * y, x / y, x * 3, x / 3, -x, 3 * x};
        const T expectedCompound[] = {x + y, x - y, x * y, x / y, x * 3, x / 3, x - 3, x + 3};
        for (int k = 0; k < 8; k++) {
            T* pCompound = compound[k];
            EXPECT_EQ(results[k][i], expected[k]) << "operator " << k << " component " << i;
            EXPECT_EQ(pCompound[i], expectedCompound[k]) << "compound " << k << " component " << i;
        }
    }
    EXPECT_TRUE(results[0] == compound[0]);
    EXPECT_FALSE(results[0] != compound[0]);
    EXPECT_TRUE(results[6] != compound[6]);
}

TEST(XVector, EqualityAndDivisionAreExact)
{
    EXPECT_TRUE(tagXVector2(1, 2) != tagXVector2(1, 2.0000000001));
    const double dNaN = std::nan("");
    EXPECT_FALSE(tagXVector2(dNaN, 0) == tagXVector2(dNaN, 0));
    // 5 / 3 differs in its last bit from 5 * (1 / 3): a true division, with no zero test.
    EXPECT_EQ((tagXVector2(5, 7) / 3.0).x, 5.0 / 3.0);
    EXPECT_NE((tagXVector2(5, 7) / 3.0).x, 5.0 * (1.0 / 3.0));
    tagXVector2 v(7, 1);
    v /= 10.0;
    EXPECT_EQ(v.x, 0.7);
    const tagXVector2 q = tagXVector2(1, 0) / tagXVector2(0, 0);
    EXPECT_TRUE(std::isinf(q.x));
    EXPECT_TRUE(std::isnan(q.y));
}

TEST(XVector, LengthDistanceDotAndTheTwoNormalizeForms)
{
    const tagXVector2 a2(3, 4), b2(6, 8);
    const tagXVector3 a3(2, 3, 6), b3(4, 6, 12);
    const tagXVector2f a2f(3, 4), b2f(6, 8);
    const tagXVector3f a3f(2, 3, 6), b3f(4, 6, 12);
    EXPECT_EQ(a2.Length(), 5.0);
    EXPECT_EQ(a3.Length(), 7.0);
    EXPECT_EQ(a2f.Length(), 5.0f);
    EXPECT_EQ(a3f.Length(), 7.0f);
    EXPECT_EQ(XfnVector2Dist(&a2, &b2), 5.0);
    EXPECT_EQ(XfnVector3Dist(&a3, &b3), 7.0);
    EXPECT_EQ(XfnVector2fDist(&a2f, &b2f), 5.0f);
    EXPECT_EQ(XfnVector3fDist(&a3f, &b3f), 7.0f);
    EXPECT_EQ(XfnVector2Dot(&a2, &b2), 50.0);
    EXPECT_EQ(XfnVector3Dot(&a3, &b3), 98.0);
    EXPECT_EQ(XfnVector2fDot(&a2f, &b2f), 50.0f);
    EXPECT_EQ(XfnVector3fDot(&a3f, &b3f), 98.0f);

    // The members leave a zero vector alone; the free functions divide by its zero length.
    tagXVector2 z2;
    tagXVector3f z3f;
    z2.Normalize();
    z3f.Normalize();
    EXPECT_EQ(z2, tagXVector2());
    EXPECT_EQ(z3f, tagXVector3f());
    XfnVector2Normalize(&z2);
    EXPECT_TRUE(std::isnan(z2.x) && std::isnan(z2.y));
    tagXVector2 n2 = a2;
    tagXVector3 n3 = a3;
    tagXVector2f n2f = a2f;
    tagXVector3f n3f = a3f;
    n2.Normalize();
    n3.Normalize();
    n2f.Normalize();
    n3f.Normalize();
    EXPECT_EQ(n2, tagXVector2(0.6, 0.8));
    EXPECT_EQ(n3, tagXVector3(2.0 / 7, 3.0 / 7, 6.0 / 7));
    EXPECT_EQ(n2f, tagXVector2f(0.6f, 0.8f));
    EXPECT_EQ(n3f, tagXVector3f(2.0f / 7, 3.0f / 7, 6.0f / 7));
    tagXVector2 o2;
    tagXVector2f o2f;
    EXPECT_EQ(*XfnVector2Normalize(&o2, &a2), n2);
    EXPECT_EQ(*XfnVector2fNormalize(&o2f, &a2f), n2f);
    tagXVector3 o3 = a3;
    tagXVector2f p2f = a2f;
    tagXVector3f o3f = a3f;
    EXPECT_EQ(*XfnVector3Normalize(&o3), n3);
    EXPECT_EQ(*XfnVector2fNormalize(&p2f), n2f);
    EXPECT_EQ(*XfnVector3fNormalize(&o3f), n3f);
    EXPECT_EQ(*XfnVector3Normalize(&o3, &a3), n3);
    EXPECT_EQ(*XfnVector3fNormalize(&o3f, &a3f), n3f);
}

TEST(XVector, CrossStoresEachComponentAsComputedAndRotateAboutLine)
{
    tagXVector3 a(1, 2, 3);
    const tagXVector3 b(4, 5, 6);
    tagXVector3 out;
    XfnVector3Cross(&out, &a, &b);
    EXPECT_EQ(out, tagXVector3(-3, 6, -3));
    // With the output on the first input, y and z see the new x and y.
    EXPECT_EQ(XfnVector3Cross(&a, &a, &b), &a);
    EXPECT_EQ(a, tagXVector3(-3, 30, -135));
    const tagXVector3f xf(1, 0, 0), yf(0, 1, 0);
    tagXVector3f zf;
    XfnVector3fCross(&zf, &xf, &yf);
    EXPECT_EQ(zf, tagXVector3f(0, 0, 1));
    // A quarter turn about z takes x to y.
    const double dQuarter = std::acos(-1.0) / 2;
    const tagXVector3 point(1, 0, 0), axis(0, 0, 2);
    XfnVector3RotateAboutLine(&out, &point, &axis, dQuarter);
    EXPECT_NEAR(out.x, 0, 1e-15);
    EXPECT_NEAR(out.y, 1, 1e-15);
    EXPECT_NEAR(out.z, 0, 1e-15);
    // About the vertical line through (1, 1): (2, 1) goes to (1, 2); the output may be the point itself.
    tagXVector3 p(2, 1, 7);
    const tagXVector3 start(1, 1, 0), end(1, 1, 5);
    XfnVector3RotateAboutLine(&p, &p, &end, &start, dQuarter);
    EXPECT_NEAR(p.x, 1, 1e-15);
    EXPECT_NEAR(p.y, 2, 1e-15);
    EXPECT_NEAR(p.z, 7, 1e-15);
    tagXVector3f pf(2, 1, 7);
    const tagXVector3f startf(1, 1, 0), endf(1, 1, 5);
    XfnVector3fRotateAboutLine(&pf, &pf, &endf, &startf, static_cast<float>(dQuarter));
    EXPECT_NEAR(pf.x, 1, 1e-6);
    EXPECT_NEAR(pf.y, 2, 1e-6);

    // A point on the axis stays; a half turn about x flips y and z; a zero axis gives NaN.
    const tagXVector3f onAxis(5, 0, 0), axisf(3, 0, 0), yz(0, 1, 2);
    tagXVector3f outf;
    XfnVector3fRotateAboutLine(&outf, &yz, &axisf, 3.14159265f);
    EXPECT_NEAR(outf.y, -1, 1e-6);
    EXPECT_NEAR(outf.z, -2, 1e-6);
    XfnVector3fRotateAboutLine(&outf, &onAxis, &axisf, 1.0f);
    EXPECT_EQ(outf, onAxis);
    const tagXVector3 zeroAxis;
    XfnVector3RotateAboutLine(&out, &point, &zeroAxis, 1.0);
    EXPECT_TRUE(std::isnan(out.x));
}

TEST(XScaleFactor, LineThroughTwoPairsAndWorldToPixelFlipsY)
{
    double dOffset = -1, dScale = -1;
    XfnGetScaleFactor(0.0, 10.0, 5.0, 25.0, dOffset, dScale);
    EXPECT_EQ(dScale, 2.0);
    EXPECT_EQ(dOffset, 5.0);
    XfnGetScaleFactor(3.0, 3.0, 7.0, 9.0, dOffset, dScale);
    EXPECT_EQ(dScale, 0.0);
    EXPECT_EQ(dOffset, 7.0);
    float fOffset = 0, fScale = 0;
    XfnGetScaleFactor(1.0f, 3.0f, 10.0f, 4.0f, fOffset, fScale);
    EXPECT_EQ(fScale, -3.0f);
    EXPECT_EQ(fOffset, 13.0f);

    double dUnits[2] = {1, 1}, dCenter[2] = {0, 0};
    double dOffsetX, dScaleX, dOffsetY, dScaleY;
    XfnGetWorldToPixelSF(100, 100, dUnits, dCenter, dOffsetX, dScaleX, dOffsetY, dScaleY);
    EXPECT_EQ(dOffsetX, 50.0);
    EXPECT_EQ(dOffsetY, 50.0);
    EXPECT_EQ(10 * dScaleY + dOffsetY, 40.0);
    double dUnits2[2] = {2, 4}, dCenter2[2] = {100, -20};
    XfnGetWorldToPixelSF(51, 30, dUnits2, dCenter2, dOffsetX, dScaleX, dOffsetY, dScaleY);
    EXPECT_EQ(dScaleX, 0.5);
    EXPECT_EQ(dScaleY, -0.25);
    EXPECT_EQ(100 * dScaleX + dOffsetX, 25.5);
    EXPECT_EQ(-20 * dScaleY + dOffsetY, 15.0);
    EXPECT_EQ(-16 * dScaleY + dOffsetY, 14.0);
}
