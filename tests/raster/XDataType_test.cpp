#include "KVDbase/raster/XDataType.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

namespace {

uint64_t BitsOf(double d)
{
    uint64_t n;
    std::memcpy(&n, &d, sizeof n);
    return n;
}

TEST(XDataType, SizesFollowTheTypeTableAndUnknownCodesAreZero)
{
    const int anExpected[30] = {0, 1, 1, 2, 2, 4, 4, 4, 8, 2, 2, 4, 4, 8, 8, 8, 16,
                                1, 3, 3, 4, 4, 4, 4, 2, 2, 2, 2, 2, 2};
    for (int t = 0; t < 30; ++t)
        EXPECT_EQ(XfnGetDataSize(t), anExpected[t]) << "type " << t;
    for (int t : {-1, 30, 1 << 30})
        EXPECT_EQ(XfnGetDataSize(t), 0) << "type " << t;
}

TEST(XDataType, IntegerLimitsAreTheComponentRanges)
{
    struct { int nType; double dMin, dMax; } aCase[] = {
        {1, 0.0, 255.0}, {2, -128.0, 127.0}, {3, 0.0, 65535.0}, {4, -32768.0, 32767.0},
        {5, 0.0, 4294967295.0}, {6, -2147483648.0, 2147483647.0},
    };
    for (const auto& c : aCase) {
        double dMin = 0, dMax = 0;
        XfnGetDataLimits(c.nType, dMin, dMax);
        EXPECT_EQ(dMin, c.dMin) << "type " << c.nType;
        EXPECT_EQ(dMax, c.dMax) << "type " << c.nType;
    }
}

TEST(XDataType, FloatLimitsAreTheWidenedFloatConstant)
{
    for (int t : {7, 15}) {
        double dMin = 0, dMax = 0;
        XfnGetDataLimits(t, dMin, dMax);
        EXPECT_EQ(BitsOf(dMax), 0x47EFF933C0000000ull) << "type " << t;
        EXPECT_EQ(dMax, 3.3999999521443642e38);
        EXPECT_EQ(dMin, -dMax);
    }
}

TEST(XDataType, EverythingElseTakesTheNotKnownBounds)
{
    // The double, the complex integer, the packed and the unknown codes.
    for (int t : {-5, 0, 8, 9, 10, 11, 12, 13, 14, 16, 17, 18, 23, 29, 30, 1000}) {
        double dMin = 0, dMax = 0;
        XfnGetDataLimits(t, dMin, dMax);
        EXPECT_EQ(BitsOf(dMax), 0x7FEE42D130773B76ull) << "type " << t;
        EXPECT_EQ(dMin, -1.7e308) << "type " << t;
    }
}

TEST(XDataType, ComplexCodesAreNineToSixteen)
{
    for (int t = -2; t < 32; ++t)
        EXPECT_EQ(XfnIsDataTypeComplex(t), (t >= 9 && t <= 16) ? 1 : 0) << "type " << t;
}

} // namespace
