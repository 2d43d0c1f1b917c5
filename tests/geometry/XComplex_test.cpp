#include "KVDbase/geometry/XComplex.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

template <class C>
class XComplexSigned : public ::testing::Test {};

typedef ::testing::Types<tagXComplex, tagXComplexf, tagXComplexc, tagXComplexs, tagXComplexl, tagXComplexll>
    XSignedRecords;
TYPED_TEST_SUITE(XComplexSigned, XSignedRecords);

} // namespace

TYPED_TEST(XComplexSigned, ArithmeticIdentities)
{
    const TypeParam a(1, 2), b(3, 4);
    EXPECT_EQ(a * b, TypeParam(-5, 10));
    EXPECT_EQ(a + b, TypeParam(4, 6));
    EXPECT_EQ(a - b, TypeParam(-2, -2));
    EXPECT_EQ(-a, TypeParam(-1, -2));
    EXPECT_EQ(TypeParam(-5, 10) / b, a);
    EXPECT_NE(a, TypeParam(1, 3));

    TypeParam c = a;
    c *= b;
    EXPECT_EQ(c, TypeParam(-5, 10));
    c /= b;
    EXPECT_EQ(c, a);
    c += b;
    c -= TypeParam(1, 1);
    EXPECT_EQ(c, TypeParam(3, 5));
}

TEST(XComplex, IntegerWrapAround)
{
    EXPECT_EQ(tagXComplexc(100, 0) * tagXComplexc(2, 0), tagXComplexc(-56, 0));
    EXPECT_EQ(tagXComplexc(127, -128) + tagXComplexc(1, -1), tagXComplexc(-128, 127));
    EXPECT_EQ(-tagXComplexuc(1, 0), tagXComplexuc(255, 0));
    EXPECT_EQ(-tagXComplexus(0, 2), tagXComplexus(0, 65534));
    EXPECT_EQ(tagXComplexul(0, 5) - tagXComplexul(1, 0), tagXComplexul(4294967295u, 5));
    const int32_t nMax = std::numeric_limits<int32_t>::max();
    EXPECT_EQ(tagXComplexl(nMax, 0) + tagXComplexl(1, 0), tagXComplexl(std::numeric_limits<int32_t>::min(), 0));
    EXPECT_EQ(-tagXComplexll(std::numeric_limits<int64_t>::min(), 0),
              tagXComplexll(std::numeric_limits<int64_t>::min(), 0));
    // 65535 * 65535 wraps in 32 bits and keeps its low 16 bits.
    EXPECT_EQ(tagXComplexus(65535, 2) * tagXComplexus(65535, 0), tagXComplexus(1, 65534));
}

TEST(XComplex, IntegerDivisionTruncatesTowardZero)
{
    EXPECT_EQ(tagXComplexl(7, 0) / tagXComplexl(2, 0), tagXComplexl(3, 0));
    EXPECT_EQ(tagXComplexl(-7, 0) / tagXComplexl(2, 0), tagXComplexl(-3, 0));
    EXPECT_EQ(tagXComplexs(10, 5) / tagXComplexs(1, 1), tagXComplexs(7, -2));
    EXPECT_EQ(tagXComplexll(-9, 9) / tagXComplexll(0, 2), tagXComplexll(4, 4));
    // In the unsigned byte record a negative imaginary quotient wraps.
    EXPECT_EQ(tagXComplexuc(1, 0) / tagXComplexuc(0, 1), tagXComplexuc(0, 255));
    tagXComplexull u(100, 0);
    u /= tagXComplexull(3, 0);
    EXPECT_EQ(u, tagXComplexull(33, 0));
}

TEST(XComplex, CompoundProductGoesThroughFloatingPoint)
{
    tagXComplexl l(16777217, 0);
    EXPECT_EQ(l * tagXComplexl(1, 0), tagXComplexl(16777217, 0));
    l *= tagXComplexl(1, 0);
    EXPECT_EQ(l, tagXComplexl(16777216, 0));

    tagXComplexul ul(4294967295u, 0);
    EXPECT_EQ(ul * tagXComplexul(1, 0), tagXComplexul(4294967295u, 0));
    ul = tagXComplexul(16777219u, 3);
    ul *= tagXComplexul(1, 0);
    EXPECT_EQ(ul, tagXComplexul(16777220u, 3));

    const int64_t nBig = (int64_t(1) << 53) + 1;
    tagXComplexll ll(nBig, 0);
    EXPECT_EQ(ll * tagXComplexll(1, 0), tagXComplexll(nBig, 0));
    ll *= tagXComplexll(1, 0);
    EXPECT_EQ(ll, tagXComplexll(nBig - 1, 0));

    // A 16-bit product above float's 24 bits rounds before it is narrowed.
    const tagXComplexs a(32767, 32767), b(32767, -32767);
    EXPECT_EQ(a * b, tagXComplexs(2, 0));
    tagXComplexs c = a;
    c *= b;
    EXPECT_EQ(c, tagXComplexs(0, 0));
}

TEST(XComplex, ConversionsThroughTheDoubleRecord)
{
    tagXComplexuc uc(0, 0);
    uc = tagXComplex(300.9, -1.5);
    EXPECT_EQ(uc, tagXComplexuc(44, 255));
    tagXComplexc c(0, 0);
    c = tagXComplex(-129.7, 128.2);
    EXPECT_EQ(c, tagXComplexc(127, -128));
    tagXComplexus us(0, 0);
    us = tagXComplex(65536.5, -2.9);
    EXPECT_EQ(us, tagXComplexus(0, 65534));
    tagXComplexl l(0, 0);
    l = tagXComplex(-2.9, 2147483647.9);
    EXPECT_EQ(l, tagXComplexl(-2, 2147483647));
    tagXComplexul ul(0, 0);
    ul = tagXComplex(4000000000.7, 5.5);
    EXPECT_EQ(ul, tagXComplexul(4000000000u, 5));
    tagXComplexll ll(0, 0);
    ll = tagXComplex(-1e18, 2.5);
    EXPECT_EQ(ll, tagXComplexll(-1000000000000000000LL, 2));
    tagXComplexull ull(0, 0);
    ull = tagXComplex(1e19, 0.5);
    EXPECT_EQ(ull, tagXComplexull(10000000000000000000ULL, 0));
    tagXComplexf f(0, 0);
    f = tagXComplex(0.1, 1.0 / 3);
    EXPECT_EQ(f, tagXComplexf(0.1f, static_cast<float>(1.0 / 3)));

    tagXComplex z;
    z = tagXComplexuc(255, 1);
    EXPECT_EQ(z, tagXComplex(255, 1));
    z = tagXComplexus(65535, 2);
    EXPECT_EQ(z, tagXComplex(65535, 2));
    z = tagXComplexul(4294967295u, 3);
    EXPECT_EQ(z, tagXComplex(4294967295.0, 3));
    z = tagXComplexl(-2147483647 - 1, 6);
    EXPECT_EQ(z, tagXComplex(-2147483648.0, 6));
    z = tagXComplexf(0.1f, 7);
    EXPECT_EQ(z, tagXComplex(static_cast<double>(0.1f), 7));
}
