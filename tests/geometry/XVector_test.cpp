#include "KVDbase/geometry/XScaleFactor.h"
#include "KVDbase/geometry/XVector.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

// Length, distance, dot and the three normalize forms of one record, for a and b = 2a.
template <class V, class T>
void ExpectMetrics(V a, T length, T dot, V unit, T (*pDist)(const V*, const V*), T (*pDot)(const V*, const V*),
                   V* (*pNormalizeTo)(V*, const V*), V* (*pNormalize)(V*))
{
    const V b = a * T(2);
    V out, in = a;
    EXPECT_EQ(a.Length(), length);
    EXPECT_EQ(pDist(&a, &b), length);
    EXPECT_EQ(pDot(&a, &b), dot);
    EXPECT_EQ(*pNormalizeTo(&out, &a), unit);
    EXPECT_EQ(*pNormalize(&in), unit);
    a.Normalize();
    EXPECT_EQ(a, unit);
}

} // namespace

TEST(XVector, EqualityAndDivisionAreExact)
{
    EXPECT_FALSE(tagXVector2(std::nan(""), 0) == tagXVector2(std::nan(""), 0));
    // 5 / 3 differs in its last bit from 5 * (1 / 3): a true division, with no zero test.
    EXPECT_EQ((tagXVector2(5, 7) / 3.0).x, 5.0 / 3.0);
    EXPECT_NE((tagXVector2(5, 7) / 3.0).x, 5.0 * (1.0 / 3.0));
    const tagXVector2 q = tagXVector2(1, 0) / tagXVector2(0, 0);
    EXPECT_TRUE(std::isinf(q.x) && std::isnan(q.y));
}

TEST(XVector, LengthDistanceDotAndTheNormalizeForms)
{
    ExpectMetrics<tagXVector2, double>({3, 4}, 5, 50, {0.6, 0.8}, XfnVector2Dist, XfnVector2Dot,
                                       XfnVector2Normalize, XfnVector2Normalize);
    ExpectMetrics<tagXVector3, double>({2, 3, 6}, 7, 98, {2.0 / 7, 3.0 / 7, 6.0 / 7}, XfnVector3Dist,
                                       XfnVector3Dot, XfnVector3Normalize, XfnVector3Normalize);
    ExpectMetrics<tagXVector2f, float>({3, 4}, 5, 50, {0.6f, 0.8f}, XfnVector2fDist, XfnVector2fDot,
                                       XfnVector2fNormalize, XfnVector2fNormalize);
    ExpectMetrics<tagXVector3f, float>({2, 3, 6}, 7, 98, {2.0f / 7, 3.0f / 7, 6.0f / 7}, XfnVector3fDist,
                                       XfnVector3fDot, XfnVector3fNormalize, XfnVector3fNormalize);
    // The members leave a zero vector alone; the free functions divide by its zero length.
    tagXVector2 z2;
    tagXVector3f z3f;
    z2.Normalize();
    z3f.Normalize();
    EXPECT_EQ(z2, tagXVector2());
    EXPECT_EQ(z3f, tagXVector3f());
    XfnVector2Normalize(&z2);
    EXPECT_TRUE(std::isnan(z2.x) && std::isnan(z2.y));
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
    // A quarter turn about the vertical line through (1, 1) takes (2, 1) to (1, 2); the output may be the input.
    const double dQuarter = std::acos(-1.0) / 2;
    tagXVector3 p(2, 1, 7);
    const tagXVector3 start(1, 1, 0), end(1, 1, 5);
    XfnVector3RotateAboutLine(&p, &p, &end, &start, dQuarter);
    EXPECT_NEAR(p.x, 1, 1e-15);
    EXPECT_NEAR(p.y, 2, 1e-15);
    EXPECT_NEAR(p.z, 7, 1e-15);
    // A point on the axis stays; a zero axis gives NaN.
    const tagXVector3f onAxis(5, 0, 0), axisf(3, 0, 0);
    tagXVector3f outf;
    XfnVector3fRotateAboutLine(&outf, &onAxis, &axisf, 1.0f);
    EXPECT_EQ(outf, onAxis);
    const tagXVector3 zeroAxis;
    XfnVector3RotateAboutLine(&out, &start, &zeroAxis, 1.0);
    EXPECT_TRUE(std::isnan(out.x));
}

TEST(XScaleFactor, LineThroughTwoPairsAndWorldToPixelFlipsY)
{
    // b = offset + scale a through (a1, b1) and (a2, b2), in both types; equal a's give scale 0 and offset b1.
    const double lines[][6] = {{0, 10, 5, 25, 5, 2}, {3, 3, 7, 9, 7, 0}, {1, 3, 10, 4, 13, -3}};
    for (const auto& l : lines) {
        double dOffset = -1, dScale = -1;
        float fOffset = -1, fScale = -1;
        XfnGetScaleFactor(l[0], l[1], l[2], l[3], dOffset, dScale);
        XfnGetScaleFactor(float(l[0]), float(l[1]), float(l[2]), float(l[3]), fOffset, fScale);
        EXPECT_TRUE(dOffset == l[4] && dScale == l[5] && fOffset == float(l[4]) && fScale == float(l[5])) << l[0];
    }
    // The centre lands on the middle pixel, 2 by 4 units a pixel, and y grows downwards.
    double dUnits2[2] = {2, 4}, dCenter2[2] = {100, -20}, dOffsetX, dScaleX, dOffsetY, dScaleY;
    XfnGetWorldToPixelSF(51, 30, dUnits2, dCenter2, dOffsetX, dScaleX, dOffsetY, dScaleY);
    EXPECT_EQ(dScaleX, 0.5);
    EXPECT_EQ(dScaleY, -0.25);
    EXPECT_EQ(100 * dScaleX + dOffsetX, 25.5);
    EXPECT_EQ(-20 * dScaleY + dOffsetY, 15.0);
    EXPECT_EQ(-16 * dScaleY + dOffsetY, 14.0);
}
