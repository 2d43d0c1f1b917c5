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

TEST(XDataType, SizesFollowTheTypeTableAndOnlyNineToSixteenAreComplex)
{
    const int anExpected[30] = {0, 1, 1, 2, 2, 4, 4, 4, 8, 2, 2, 4, 4, 8, 8, 8, 16,
                                1, 3, 3, 4, 4, 4, 4, 2, 2, 2, 2, 2, 2};
    for (int t = -2; t < 32; ++t) {
        EXPECT_EQ(XfnGetDataSize(t), t >= 0 && t < 30 ? anExpected[t] : 0) << "type " << t;
        EXPECT_EQ(XfnIsDataTypeComplex(t), (t >= 9 && t <= 16) ? 1 : 0) << "type " << t;
    }
}

// Integer codes give their component ranges, the float codes the widened float constant, and
// everything else (the double, the complex integers, the packed and unknown codes) the not-known bounds.
TEST(XDataType, LimitsAreTheRangeTheWidenedFloatOrNotKnown)
{
    const double adMin[7] = {0, 0.0, -128.0, 0.0, -32768.0, 0.0, -2147483648.0};
    const double adMax[7] = {0, 255.0, 127.0, 65535.0, 32767.0, 4294967295.0, 2147483647.0};
    for (int t = -5; t <= 31; ++t) {
        double dMin = 0, dMax = 0;
        XfnGetDataLimits(t, dMin, dMax);
        if (t >= 1 && t <= 6) {
            EXPECT_EQ(dMin, adMin[t]) << "type " << t;
            EXPECT_EQ(dMax, adMax[t]) << "type " << t;
        } else if (t == 7 || t == 15) {
            EXPECT_EQ(BitsOf(dMax), 0x47EFF933C0000000ull) << "type " << t;
            EXPECT_EQ(dMin, -dMax);
        } else {
            EXPECT_EQ(BitsOf(dMax), 0x7FEE42D130773B76ull) << "type " << t;
            EXPECT_EQ(dMin, -1.7e308) << "type " << t;
        }
    }
}

} // namespace
