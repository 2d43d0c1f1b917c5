#include "KVDbase/raster/XNumberHelpers.h"

#include <gtest/gtest.h>

namespace {

// Positives round half up to the step of the place; values below the step
// come back unchanged; negatives add half a step and truncate; a scaled value
// beyond 32 bits becomes the minimum.
TEST(XRound, TheDefinedCases)
{
    const struct { double dValue; int nPlace; double dExpected; } cases[] = {
        {14.0, -1, 14.0}, {14.5, -1, 15.0}, {14.49, -1, 14.0}, {15.0, 0, 20.0}, {14.0, 0, 10.0},
        {5.0, 0, 5.0}, {-9.99, 0, -9.99}, {0.3, -1, 0.3}, {0.004, -3, 0.004},
        {-14.0, -1, -13.0}, {-14.4, -1, -13.0}, {-14.6, -1, -14.0}, {-15.0, 0, -10.0},
        {3e9, -1, -2147483648.0}, {-3e9, -1, -2147483648.0}, {3e10, 0, -21474836480.0},
        {2147483646.0, -1, 2147483646.0},
    };
    for (const auto& c : cases)
        EXPECT_EQ(XfnRound(c.dValue, c.nPlace), c.dExpected) << c.dValue << " at " << c.nPlace;
    EXPECT_DOUBLE_EQ(XfnRound(2.675, -2), 2.7);
}

TEST(XIsNumber, DigitsOnlyOrNumberCharactersWithinTheirCounts)
{
    EXPECT_EQ(XfnIsNumber("", 1), 1);
    EXPECT_EQ(XfnIsNumber("0123456789", 1), 1);
    for (const char* psz : {"-1", "1.5", "1e3", "+1", " 1", "12a"})
        EXPECT_EQ(XfnIsNumber(psz, 1), 0) << psz;
    for (const char* psz : {"", "12", "-1.5", "1.5e-3", "1D3", "-1.5d-3", "1-2-3", "-", "E", ".", "--"})
        EXPECT_EQ(XfnIsNumber(psz, 0), 1) << psz;
    for (const char* psz : {"+1", "1.2.3", "---", "1-2-3-4", "1e5E", "1eD", "1 ", "0x1", "1,5", "\xB1\x31"})
        EXPECT_EQ(XfnIsNumber(psz, 0), 0) << psz;
}

} // namespace
