#include "KVDbase/raster/XBitHelpers.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

std::string Hex(const unsigned char* p, int n)
{
    std::string s;
    for (int i = 0; i < n; ++i)
        s += {"0123456789ABCDEF"[p[i] >> 4], "0123456789ABCDEF"[p[i] & 15]};
    return s;
}

TEST(XBitBuffer, BitsRunFromTheHighBitOfTheFirstByte)
{
    unsigned char ab[3] = {0, 0, 0};
    for (int nBit : {0, 7, 8})
        XfnSetBitBuffer(ab, nBit, 1);
    XfnSetBitBuffer(ab, 9, 5); // any non-zero value sets
    EXPECT_EQ(Hex(ab, 3), "81C000");
    const unsigned char abRow[2] = {0xA5, 0x3C};
    for (int n = 0; n < 16; ++n)
        EXPECT_EQ(XfnGetBitBuffer(const_cast<unsigned char*>(abRow), n), (abRow[n / 8] >> (7 - n % 8)) & 1) << n;

    // Clearing touches only that bit, and a clear bit stays clear.
    unsigned char abSet[2] = {0xFF, 0xFF};
    for (int nBit : {3, 15, 3})
        XfnSetBitBuffer(abSet, nBit, 0);
    EXPECT_EQ(Hex(abSet, 2), "EFFE");
    // A negative bit addresses nothing.
    unsigned char abEdge[2] = {0xFF, 0x00};
    EXPECT_EQ(XfnGetBitBuffer(abEdge + 1, -1), 0);
    XfnSetBitBuffer(abEdge + 1, -1, 0);
    XfnSetBitBuffer(abEdge + 1, -8, 1);
    EXPECT_EQ(Hex(abEdge, 2), "FF00");
}

// The nearest power is the floor power after rounding to float; the exponent is the floor of log 2, -1 below 1.
TEST(XPowerOfTwo, NearestPowerAndExponent)
{
    const struct {
        int nValue, nNearest, nPower;
    } cases[] = {
        {0, 0, -1},
        {1, 1, 0},
        {5, 4, 2},
        {-5, 4, -1},
        {8, 8, 3},
        {1023, 512, 9},
        {16777217, 16777216, 24}, // rounds down to even
        {33554431, 33554432, 24}, // rounds up across a power
        {2147483647, static_cast<int>(0x80000000u), 30},
        {-2147483647 - 1, static_cast<int>(0x80000000u), -1},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(XfnGetNearest2nValue(c.nValue), c.nNearest) << c.nValue;
        EXPECT_EQ(XfnGetPowerOf2nValue(c.nValue), c.nPower) << c.nValue;
    }
}

TEST(XByteSwap, InPlaceKeepsTheMiddleAndTypedFormsWriteBigEndianAtTheirWidth)
{
    unsigned char abIn[5] = {1, 2, 3, 4, 5};
    XfnByteSwap(abIn, 5);
    EXPECT_EQ(Hex(abIn, 5), "0504030201");
    XfnByteSwap(abIn, 4);
    for (int n : {1, 0, -3})
        XfnByteSwap(abIn, n);
    EXPECT_EQ(Hex(abIn, 5), "0203040501");
    unsigned char ab[10];
    auto Swapped = [&ab](auto value) {
        std::memset(ab, 0xEE, sizeof ab);
        XfnByteSwap(value, ab);
        return Hex(ab, 9);
    };
    EXPECT_EQ(Swapped(static_cast<unsigned short>(0x1234)), "1234EEEEEEEEEEEEEE");
    EXPECT_EQ(Swapped(static_cast<int>(0x12345678)), "12345678EEEEEEEEEE");
    // unsigned long is stored as 32 bits; the high half of a wider one is cut.
    EXPECT_EQ(Swapped(0xFFFFFFFF01020304ul), "01020304EEEEEEEEEE");
    EXPECT_EQ(Swapped(1.0f), "3F800000EEEEEEEEEE");
    EXPECT_EQ(Swapped(1.0), "3FF0000000000000EE");
    EXPECT_EQ(Swapped(static_cast<long double>(-2.0)), "C000000000000000EE"); // the 8 bytes of a double
    EXPECT_EQ(Swapped(static_cast<int64_t>(0x0102030405060708ll)), "0102030405060708EE");
}

// Each typed form writes big-endian at its stored width, and not a byte more.
TEST(XByteSwapMulti, ElementsOfTwoAndFourSwapEightStopsAfterTheFirstOthersNothing)
{
    unsigned char ab[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    XfnByteSwapMulti(ab, 2, 3);
    EXPECT_EQ(Hex(ab, 12), "0201040306050708090A0B0C");
    XfnByteSwapMulti(ab + 1, 4, 2); // elements need no alignment
    EXPECT_EQ(Hex(ab, 12), "0206030401090807050A0B0C");

    // The shared loop counter reverses element 0 and skips to 5, which a count below 6 never reaches.
    unsigned char ab40[40];
    for (int i = 0; i < 40; ++i)
        ab40[i] = static_cast<unsigned char>(i);
    unsigned char abWork[40];
    for (int nCount : {1, 2, 5}) {
        std::memcpy(abWork, ab40, 40);
        XfnByteSwapMulti(abWork, 8, nCount);
        EXPECT_EQ(Hex(abWork, 8), "0706050403020100") << nCount;
        EXPECT_EQ(Hex(abWork + 8, 32), Hex(ab40 + 8, 32)) << nCount;
    }

    // Other sizes, and counts of zero or less, change nothing.
    const std::string strKeep = Hex(ab40, 40);
    const int aaKeep[][2] = {{3, 4}, {1, 4}, {16, 1}, {2, 0}, {4, 0}, {8, 0}, {2, -1}, {4, -1}, {8, -1}};
    for (const int* a : aaKeep) {
        XfnByteSwapMulti(ab40, a[0], a[1]);
        EXPECT_EQ(Hex(ab40, 40), strKeep) << a[0] << " x " << a[1];
    }
}

} // namespace
