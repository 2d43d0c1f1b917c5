#include "KVDbase/raster/XNumberHelpers.h"

#include <gtest/gtest.h>

namespace {

TEST(XRound, RoundsToTheStepOfThePlace)
{
    EXPECT_EQ(XfnRound(14.0, -1), 14.0);
    EXPECT_EQ(XfnRound(14.5, -1), 15.0);
    EXPECT_EQ(XfnRound(14.49, -1), 14.0);
    EXPECT_EQ(XfnRound(15.0, 0), 20.0);
    EXPECT_EQ(XfnRound(14.0, 0), 10.0);
    EXPECT_EQ(XfnRound(1234.0, 1), 1200.0);
    EXPECT_EQ(XfnRound(1250.0, 1), 1300.0);
    EXPECT_DOUBLE_EQ(XfnRound(3.14159, -3), 3.14);
    EXPECT_DOUBLE_EQ(XfnRound(2.675, -2), 2.7);
}

TEST(XRound, MagnitudesBelowTheStepComeBackUnchanged)
{
    EXPECT_EQ(XfnRound(5.0, 0), 5.0);
    EXPECT_EQ(XfnRound(-9.99, 0), -9.99);
    EXPECT_EQ(XfnRound(0.3, -1), 0.3);
    EXPECT_EQ(XfnRound(0.004, -3), 0.004);
}

TEST(XRound, NegativesAddHalfAStepAndTruncate)
{
    EXPECT_EQ(XfnRound(-14.0, -1), -13.0);
    EXPECT_EQ(XfnRound(-14.4, -1), -13.0);
    EXPECT_EQ(XfnRound(-14.6, -1), -14.0);
    EXPECT_EQ(XfnRound(-15.0, 0), -10.0);
}

TEST(XRound, ScaledValuesBeyondThirtyTwoBitsBecomeTheMinimum)
{
    EXPECT_EQ(XfnRound(3e9, -1), -2147483648.0);
    EXPECT_EQ(XfnRound(-3e9, -1), -2147483648.0);
    EXPECT_EQ(XfnRound(3e10, 0), -21474836480.0);
    EXPECT_EQ(XfnRound(2147483646.0, -1), 2147483646.0);
}

TEST(XIsNumber, DigitsOnlyAcceptsNothingButDigits)
{
    EXPECT_EQ(XfnIsNumber("", 1), 1);
    EXPECT_EQ(XfnIsNumber("0123456789", 1), 1);
    for (const char* psz : {"-1", "1.5", "1e3", "+1", " 1", "12a"})
        EXPECT_EQ(XfnIsNumber(psz, 1), 0) << psz;
}

TEST(XIsNumber, NumberCharactersPassWithinTheirCounts)
{
    for (const char* psz : {"", "12", "-1.5", "1.5e-3", "1D3", "-1.5d-3", "1-2-3", "-", "E", ".", "--"})
        EXPECT_EQ(XfnIsNumber(psz, 0), 1) << psz;
    for (const char* psz : {"+1", "1.2.3", "---", "1-2-3-4", "1e5E", "1eD", "1 ", "0x1", "1,5", "\xB1\x31"})
        EXPECT_EQ(XfnIsNumber(psz, 0), 0) << psz;
}

TEST(XIsNumber, TakesAnXStringByValueWithoutChangingIt)
{
    XString str("-42.5e1");
    XString strShare(str);
    EXPECT_EQ(XfnIsNumber(str, 0), 1);
    EXPECT_EQ(XfnIsNumber(str, 1), 0);
    EXPECT_TRUE(str == "-42.5e1");
    EXPECT_TRUE(strShare == str);
}

} // namespace
