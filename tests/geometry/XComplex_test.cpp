#include "KVDbase/geometry/XComplex.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

template <class C>
C Narrowed(double dRe, double dIm)
{
    C c(0, 0);
    c = tagXComplex(dRe, dIm);
    return c;
}

template <class C>
tagXComplex Widened(const C& c)
{
    tagXComplex z;
    z = c;
    return z;
}

} // namespace

TEST(XComplex, IntegerRecordsWrapAroundAndDivideTowardZero)
{
    EXPECT_EQ(tagXComplexc(100, 0) * tagXComplexc(2, 0), tagXComplexc(-56, 0));
    EXPECT_EQ(tagXComplexc(127, -128) + tagXComplexc(1, -1), tagXComplexc(-128, 127));
    EXPECT_EQ(-tagXComplexuc(1, 0), tagXComplexuc(255, 0));
    EXPECT_EQ(tagXComplexul(0, 5) - tagXComplexul(1, 0), tagXComplexul(4294967295u, 5));
    EXPECT_EQ(tagXComplexl(INT32_MAX, 0) + tagXComplexl(1, 0), tagXComplexl(INT32_MIN, 0));
    EXPECT_EQ(-tagXComplexll(std::numeric_limits<int64_t>::min(), 0),
              tagXComplexll(std::numeric_limits<int64_t>::min(), 0));
    // 65535 * 65535 wraps in 32 bits and keeps its low 16 bits.
    EXPECT_EQ(tagXComplexus(65535, 2) * tagXComplexus(65535, 0), tagXComplexus(1, 65534));
    EXPECT_EQ(tagXComplexl(-7, 0) / tagXComplexl(2, 0), tagXComplexl(-3, 0));
    EXPECT_EQ(tagXComplexs(10, 5) / tagXComplexs(1, 1), tagXComplexs(7, -2));
    EXPECT_EQ(tagXComplexll(-9, 9) / tagXComplexll(0, 2), tagXComplexll(4, 4));
    // In the unsigned byte record a negative imaginary quotient wraps.
    EXPECT_EQ(tagXComplexuc(1, 0) / tagXComplexuc(0, 1), tagXComplexuc(0, 255));
    EXPECT_EQ(tagXComplex(-5, 10) / tagXComplex(3, 4), tagXComplex(1, 2));
}

TEST(XComplex, CompoundProductGoesThroughFloatingPoint)
{
    tagXComplexl l(16777217, 0);
    EXPECT_EQ(l * tagXComplexl(1, 0), tagXComplexl(16777217, 0));
    l *= tagXComplexl(1, 0);
    EXPECT_EQ(l, tagXComplexl(16777216, 0));

    // A 16-bit product above float's 24 bits rounds before it is narrowed.
    const tagXComplexs a(32767, 32767), b(32767, -32767);
    EXPECT_EQ(a * b, tagXComplexs(2, 0));
    tagXComplexs c = a;
    c *= b;
    EXPECT_EQ(c, tagXComplexs(0, 0));
}

// Assignment from the double record truncates toward zero and keeps the low bits of 32 (or 64) bits;
// a value out of range first becomes the integer indefinite.
TEST(XComplex, ConversionsThroughTheDoubleRecord)
{
    EXPECT_EQ(Narrowed<tagXComplexuc>(300.9, -1.5), tagXComplexuc(44, 255));
    EXPECT_EQ(Narrowed<tagXComplexc>(-129.7, 128.2), tagXComplexc(127, -128));
    EXPECT_EQ(Narrowed<tagXComplexs>(-40000.5, 3e9), tagXComplexs(25536, 0));
    EXPECT_EQ(Narrowed<tagXComplexl>(-2.9, 2147483647.9), tagXComplexl(-2, 2147483647));
    EXPECT_EQ(Narrowed<tagXComplexl>(2147483648.0, -1e300), tagXComplexl(INT32_MIN, INT32_MIN));
    EXPECT_EQ(Narrowed<tagXComplexul>(4000000000.7, 5.5), tagXComplexul(4000000000u, 5));
    EXPECT_EQ(Narrowed<tagXComplexll>(1e19, std::nan("")), tagXComplexll(INT64_MIN, INT64_MIN));
    EXPECT_EQ(Narrowed<tagXComplexull>(1e19, 0.5), tagXComplexull(10000000000000000000ULL, 0));
    EXPECT_EQ(Narrowed<tagXComplexf>(0.1, 1.0 / 3), tagXComplexf(0.1f, static_cast<float>(1.0 / 3)));

    EXPECT_EQ(Widened(tagXComplexc(-128, 1)), tagXComplex(-128, 1));
    EXPECT_EQ(Widened(tagXComplexul(4294967295u, 3)), tagXComplex(4294967295.0, 3));
    EXPECT_EQ(Widened(tagXComplexf(0.1f, 7)), tagXComplex(static_cast<double>(0.1f), 7));
}
