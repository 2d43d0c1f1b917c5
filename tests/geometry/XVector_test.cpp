#include "KVDbase/geometry/XScaleFactor.h"
#include "KVDbase/geometry/XVector.h"

#include <gtest/gtest.h>

#include <cmath>

TEST(XVector, EqualityIsExact)
{
    EXPECT_TRUE(tagXVector2(1, 2) != tagXVector2(1, 2.0000000001));
    const double dNaN = std::nan("");
    EXPECT_FALSE(tagXVector2(dNaN, 0) == tagXVector2(dNaN, 0));
}

TEST(XVector, DivisionIsTrueDivisionWithoutZeroTest)
{
    // 5 / 3 differs in its last bit from 5 * (1 / 3).
    EXPECT_EQ((tagXVector2(5, 7) / 3.0).x, 5.0 / 3.0);
    EXPECT_NE((tagXVector2(5, 7) / 3.0).x, 5.0 * (1.0 / 3.0));
    tagXVector2 v(7, 1);
    v /= 10.0;
    EXPECT_EQ(v.x, 0.7);

    const tagXVector2 q = tagXVector2(1, 0) / tagXVector2(0, 0);
    EXPECT_TRUE(std::isinf(q.x));
    EXPECT_TRUE(std::isnan(q.y));
}

TEST(XVector, LengthAndTheTwoNormalizeForms)
{
    EXPECT_EQ(tagXVector2(3, 4).Length(), 5.0);
    EXPECT_EQ(tagXVector3(2, 3, 6).Length(), 7.0);
    EXPECT_EQ(tagXVector3f(2, 3, 6).Length(), 7.0f);

    tagXVector2 zero;
    zero.Normalize();
    EXPECT_EQ(zero, tagXVector2(0, 0));
    tagXVector3f zerof;
    zerof.Normalize();
    EXPECT_EQ(zerof, tagXVector3f(0, 0, 0));

    tagXVector2 z2;
    XfnVector2Normalize(&z2);
    EXPECT_TRUE(std::isnan(z2.x) && std::isnan(z2.y));

    tagXVector2 v(3, 4);
    v.Normalize();
    EXPECT_EQ(v, tagXVector2(0.6, 0.8));

    const tagXVector3 in(0, 3, 4);
    tagXVector3 out;
    EXPECT_EQ(XfnVector3Normalize(&out, &in), &out);
    EXPECT_EQ(out, tagXVector3(0, 0.6, 0.8));
    tagXVector3f f(0, 0, 2);
    XfnVector3fNormalize(&f, &f);
    EXPECT_EQ(f, tagXVector3f(0, 0, 1));
}

TEST(XVector, CrossStoresEachComponentAsComputed)
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
}

TEST(XVector, RotateAboutLine)
{
    const double dQuarter = std::acos(-1.0) / 2;
    const tagXVector3 point(1, 0, 0), axis(0, 0, 2);
    tagXVector3 out;
    XfnVector3RotateAboutLine(&out, &point, &axis, dQuarter);
    EXPECT_NEAR(out.x, 0, 1e-15);
    EXPECT_NEAR(out.y, 1, 1e-15);
    EXPECT_NEAR(out.z, 0, 1e-15);

    // About the vertical line through (1, 1): (2, 1) goes to (1, 2); the
    // output may be the point itself.
    tagXVector3 p(2, 1, 7);
    const tagXVector3 start(1, 1, 0), end(1, 1, 5);
    XfnVector3RotateAboutLine(&p, &p, &end, &start, dQuarter);
    EXPECT_NEAR(p.x, 1, 1e-15);
    EXPECT_NEAR(p.y, 2, 1e-15);
    EXPECT_NEAR(p.z, 7, 1e-15);

    // A point on the axis stays; a half turn about x flips y and z.
    const tagXVector3f pf(0, 1, 2), axisf(3, 0, 0);
    tagXVector3f outf;
    XfnVector3fRotateAboutLine(&outf, &pf, &axisf, 3.14159265f);
    EXPECT_NEAR(outf.y, -1, 1e-6);
    EXPECT_NEAR(outf.z, -2, 1e-6);
    const tagXVector3f onAxis(5, 0, 0);
    XfnVector3fRotateAboutLine(&outf, &onAxis, &axisf, 1.0f);
    EXPECT_EQ(outf, onAxis);

    const tagXVector3 zeroAxis;
    XfnVector3RotateAboutLine(&out, &point, &zeroAxis, 1.0);
    EXPECT_TRUE(std::isnan(out.x));
}

TEST(XScaleFactor, LineThroughTwoPairs)
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
}

TEST(XScaleFactor, WorldToPixelFlipsY)
{
    double dUnits[2] = {1, 1}, dCenter[2] = {0, 0};
    double dOffsetX, dScaleX, dOffsetY, dScaleY;
    XfnGetWorldToPixelSF(100, 100, dUnits, dCenter, dOffsetX, dScaleX, dOffsetY, dScaleY);
    EXPECT_EQ(0 * dScaleX + dOffsetX, 50.0);
    EXPECT_EQ(0 * dScaleY + dOffsetY, 50.0);
    EXPECT_EQ(10 * dScaleY + dOffsetY, 40.0);

    double dUnits2[2] = {2, 4}, dCenter2[2] = {100, -20};
    XfnGetWorldToPixelSF(51, 30, dUnits2, dCenter2, dOffsetX, dScaleX, dOffsetY, dScaleY);
    EXPECT_EQ(dScaleX, 0.5);
    EXPECT_EQ(dScaleY, -0.25);
    EXPECT_EQ(100 * dScaleX + dOffsetX, 25.5);
    EXPECT_EQ(-20 * dScaleY + dOffsetY, 15.0);
    EXPECT_EQ(-16 * dScaleY + dOffsetY, 14.0);
}
