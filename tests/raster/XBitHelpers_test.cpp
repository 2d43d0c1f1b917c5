#include "KVDbase/raster/XBitHelpers.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

TEST(XBitBuffer, BitsRunFromTheHighBitOfTheFirstByte)
{
    unsigned char ab[3] = {0, 0, 0};
    XfnSetBitBuffer(ab, 0, 1);
    XfnSetBitBuffer(ab, 7, 1);
    XfnSetBitBuffer(ab, 8, 1);
    XfnSetBitBuffer(ab, 9, 5); // any non-zero value sets
    EXPECT_EQ(ab[0], 0x81);
    EXPECT_EQ(ab[1], 0xC0);
    EXPECT_EQ(ab[2], 0x00);

    const unsigned char abRow[2] = {0xA5, 0x3C};
    for (int n = 0; n < 16; ++n) {
        int nExpected = (abRow[n / 8] >> (7 - n % 8)) & 1;
        EXPECT_EQ(XfnGetBitBuffer(const_cast<unsigned char*>(abRow), n), nExpected) << "bit " << n;
    }
}

TEST(XBitBuffer, ClearingTouchesOnlyThatBit)
{
    unsigned char ab[2] = {0xFF, 0xFF};
    XfnSetBitBuffer(ab, 3, 0);
    XfnSetBitBuffer(ab, 15, 0);
    EXPECT_EQ(ab[0], 0xEF);
    EXPECT_EQ(ab[1], 0xFE);
    XfnSetBitBuffer(ab, 3, 0); // clearing a clear bit keeps it clear
    EXPECT_EQ(ab[0], 0xEF);
    EXPECT_EQ(XfnGetBitBuffer(ab, 3), 0);
    EXPECT_EQ(XfnGetBitBuffer(ab, 4), 1);
}

TEST(XBitBuffer, NegativeBitAddressesNothing)
{
    unsigned char ab[2] = {0xFF, 0x00};
    EXPECT_EQ(XfnGetBitBuffer(ab + 1, -1), 0);
    XfnSetBitBuffer(ab + 1, -1, 0);
    XfnSetBitBuffer(ab + 1, -8, 1);
    EXPECT_EQ(ab[0], 0xFF);
    EXPECT_EQ(ab[1], 0x00);
}

TEST(XPowerOfTwo, NearestIsTheFloorPowerAfterFloatRounding)
{
    EXPECT_EQ(XfnGetNearest2nValue(0), 0);
    EXPECT_EQ(XfnGetNearest2nValue(1), 1);
    EXPECT_EQ(XfnGetNearest2nValue(5), 4);
    EXPECT_EQ(XfnGetNearest2nValue(-5), 4);
    EXPECT_EQ(XfnGetNearest2nValue(8), 8);
    EXPECT_EQ(XfnGetNearest2nValue(1000), 512);
    EXPECT_EQ(XfnGetNearest2nValue(16777217), 16777216); // rounds down to even
    EXPECT_EQ(XfnGetNearest2nValue(33554431), 33554432); // rounds up across a power
    EXPECT_EQ(XfnGetNearest2nValue(2147483647), static_cast<int>(0x80000000u));
    EXPECT_EQ(XfnGetNearest2nValue(-2147483647 - 1), static_cast<int>(0x80000000u));
}

TEST(XPowerOfTwo, ExponentIsFloorOfLogTwo)
{
    EXPECT_EQ(XfnGetPowerOf2nValue(1), 0);
    EXPECT_EQ(XfnGetPowerOf2nValue(2), 1);
    EXPECT_EQ(XfnGetPowerOf2nValue(3), 1);
    EXPECT_EQ(XfnGetPowerOf2nValue(1024), 10);
    EXPECT_EQ(XfnGetPowerOf2nValue(1025), 10);
    EXPECT_EQ(XfnGetPowerOf2nValue(1023), 9);
    EXPECT_EQ(XfnGetPowerOf2nValue(1 << 30), 30);
    EXPECT_EQ(XfnGetPowerOf2nValue(2147483647), 30);
    for (int v : {0, -1, -8, -2147483647 - 1})
        EXPECT_EQ(XfnGetPowerOf2nValue(v), -1) << v;
    for (int k = 0; k < 31; ++k) {
        EXPECT_EQ(XfnGetPowerOf2nValue(1 << k), k);
        if (k > 1) {
            EXPECT_EQ(XfnGetPowerOf2nValue((1 << k) - 1), k - 1);
        }
    }
}

TEST(XByteSwap, InPlaceReversesAndKeepsTheMiddle)
{
    unsigned char ab[5] = {1, 2, 3, 4, 5};
    XfnByteSwap(ab, 5);
    EXPECT_EQ(0, std::memcmp(ab, "\x05\x04\x03\x02\x01", 5));
    XfnByteSwap(ab, 4);
    EXPECT_EQ(0, std::memcmp(ab, "\x02\x03\x04\x05\x01", 5));
    XfnByteSwap(ab, 1);
    XfnByteSwap(ab, 0);
    XfnByteSwap(ab, -3);
    EXPECT_EQ(0, std::memcmp(ab, "\x02\x03\x04\x05\x01", 5));
}

TEST(XByteSwap, TypedFormsWriteBigEndianAtTheirStoredWidth)
{
    unsigned char ab[10];
    std::memset(ab, 0xEE, sizeof ab);
    XfnByteSwap(static_cast<unsigned short>(0x1234), ab);
    EXPECT_EQ(0, std::memcmp(ab, "\x12\x34\xEE", 3));

    std::memset(ab, 0xEE, sizeof ab);
    XfnByteSwap(static_cast<int>(0x12345678), ab);
    EXPECT_EQ(0, std::memcmp(ab, "\x12\x34\x56\x78\xEE", 5));
    XfnByteSwap(-2, ab);
    EXPECT_EQ(0, std::memcmp(ab, "\xFF\xFF\xFF\xFE\xEE", 5));
    XfnByteSwap(0x89ABCDEFu, ab);
    EXPECT_EQ(0, std::memcmp(ab, "\x89\xAB\xCD\xEF\xEE", 5));
    // unsigned long is stored as 32 bits; the high half of a wider one is cut.
    XfnByteSwap(0xFFFFFFFF01020304ul, ab);
    EXPECT_EQ(0, std::memcmp(ab, "\x01\x02\x03\x04\xEE", 5));
    XfnByteSwap(1.0f, ab);
    EXPECT_EQ(0, std::memcmp(ab, "\x3F\x80\x00\x00\xEE", 5));

    std::memset(ab, 0xEE, sizeof ab);
    XfnByteSwap(1.0, ab);
    EXPECT_EQ(0, std::memcmp(ab, "\x3F\xF0\0\0\0\0\0\0\xEE", 9));
    std::memset(ab, 0xEE, sizeof ab);
    XfnByteSwap(static_cast<long double>(-2.0), ab); // the 8 bytes of a double
    EXPECT_EQ(0, std::memcmp(ab, "\xC0\0\0\0\0\0\0\0\xEE", 9));
    XfnByteSwap(static_cast<int64_t>(0x0102030405060708ll), ab);
    EXPECT_EQ(0, std::memcmp(ab, "\x01\x02\x03\x04\x05\x06\x07\x08\xEE", 9));
}

TEST(XByteSwapMulti, TwoAndFourByteElementsAllSwap)
{
    unsigned char ab[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    XfnByteSwapMulti(ab, 2, 3);
    EXPECT_EQ(0, std::memcmp(ab, "\x02\x01\x04\x03\x06\x05\x07\x08", 8));
    unsigned char ab4[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    XfnByteSwapMulti(ab4 + 1, 4, 2); // elements need no alignment
    EXPECT_EQ(0, std::memcmp(ab4, "\x01\x05\x04\x03\x02\x09\x08\x07\x06\x0A\x0B\x0C", 12));
}

TEST(XByteSwapMulti, EightByteElementsStopAfterTheFirst)
{
    // The shared loop counter reverses element 0 and skips to 5, which a count
    // below 6 never reaches.
    unsigned char ab[40];
    for (int i = 0; i < 40; ++i)
        ab[i] = static_cast<unsigned char>(i);
    for (int nCount : {1, 2, 5}) {
        unsigned char abWork[40];
        std::memcpy(abWork, ab, 40);
        XfnByteSwapMulti(abWork, 8, nCount);
        EXPECT_EQ(0, std::memcmp(abWork, "\x07\x06\x05\x04\x03\x02\x01\x00", 8)) << nCount;
        EXPECT_EQ(0, std::memcmp(abWork + 8, ab + 8, 32)) << nCount;
    }
}

TEST(XByteSwapMulti, OtherSizesAndEmptyCountsChangeNothing)
{
    unsigned char ab[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    unsigned char abCopy[16];
    std::memcpy(abCopy, ab, 16);
    XfnByteSwapMulti(ab, 3, 4);
    XfnByteSwapMulti(ab, 1, 4);
    XfnByteSwapMulti(ab, 16, 1);
    for (int nSize : {2, 4, 8}) {
        XfnByteSwapMulti(ab, nSize, 0);
        XfnByteSwapMulti(ab, nSize, -1);
    }
    EXPECT_EQ(0, std::memcmp(ab, abCopy, 16));
}

} // namespace
