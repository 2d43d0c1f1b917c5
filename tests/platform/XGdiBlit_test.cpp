// Transfers on the raster device: the ternary operations' truth table, StretchBlt's source picking, StretchDIBits
// from 8, 24 and 32 bits, and the bottom-up rows of DIB sections, GetDIBits and SetDIBits.
#include "platform/XGdiTestCanvas.h"

#include <vector>

namespace {

uint32_t Pixel(COLORREF c) { return 0xFF000000u | (GetRValue(c) << 16) | (GetGValue(c) << 8) | GetBValue(c); }

// The operation's result on one bit of pattern, source and destination.
uint32_t ByTable(unsigned t, uint32_t p, uint32_t s, uint32_t d)
{
    uint32_t r = 0;
    for (int bit = 0; bit < 24; ++bit) {
        const unsigned k = (((p >> bit) & 1) << 2) | (((s >> bit) & 1) << 1) | ((d >> bit) & 1);
        r |= ((t >> k) & 1u) << bit;
    }
    return r;
}

} // namespace

TEST(XGdiBlit, EveryTernaryRasterOperationFollowsItsTruthTable)
{
    const COLORREF pat = RGB(0xF0, 0x0F, 0x55), src = RGB(0xCC, 0x33, 0xAA), dst = RGB(0xAA, 0xCC, 0x0F);
    XGdiTestCanvas s(1, 1, src);
    XGdiTestCanvas d(256, 1, dst);
    Selected br(d.dc, CreateSolidBrush(pat));
    for (unsigned t = 0; t < 256; ++t) {
        // The low word of a code is not read: only the table byte counts.
        ASSERT_TRUE(BitBlt(d.dc, static_cast<int>(t), 0, 1, 1, s.dc, 0, 0, (t << 16) | 0x0029));
        ASSERT_EQ(d.bits[t] & 0xFFFFFFu, ByTable(t, Pixel(pat), Pixel(src), Pixel(dst))) << t;
    }
    // An operation without a source needs no source DC.
    EXPECT_TRUE(BitBlt(d.dc, 0, 0, 4, 1, nullptr, 0, 0, BLACKNESS));
    EXPECT_EQ(d.At(3, 0), kBlack);
    EXPECT_FALSE(BitBlt(d.dc, 0, 0, 4, 1, nullptr, 0, 0, SRCCOPY));
}

TEST(XGdiBlit, OverlappingCopyWithinOneSurfaceReadsTheOldPixels)
{
    XGdiTestCanvas cv(10, 1);
    for (int x = 0; x < 10; ++x)
        SetPixel(cv.dc, x, 0, RGB(x, 0, 0));
    BitBlt(cv.dc, 2, 0, 8, 1, cv.dc, 0, 0, SRCCOPY);
    for (int x = 2; x < 10; ++x)
        EXPECT_EQ(cv.At(x, 0), RGB(x - 2, 0, 0));
}

TEST(XGdiBlit, StretchPicksSourcePixelsInMode3)
{
    XGdiTestCanvas s(3, 2), d(12, 4), small(1, 1), m(3, 1);
    for (int i = 0; i < 6; ++i)
        SetPixel(s.dc, i % 3, i / 3, RGB(i + 1, 0, 0));
    EXPECT_EQ(SetStretchBltMode(d.dc, COLORONCOLOR), BLACKONWHITE);
    ASSERT_TRUE(StretchBlt(d.dc, 0, 0, 12, 4, s.dc, 0, 0, 3, 2, SRCCOPY));
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 12; ++x)
            ASSERT_EQ(d.At(x, y), RGB((y / 2) * 3 + x / 4 + 1, 0, 0)) << x << "," << y;
    // Shrinking takes the pixel under each target centre, no blend; a negative source width mirrors.
    StretchBlt(small.dc, 0, 0, 1, 1, d.dc, 0, 0, 12, 4, SRCCOPY);
    StretchBlt(m.dc, 0, 0, 3, 1, s.dc, 3, 0, -3, 1, SRCCOPY);
    ExpectPixels(small, {{0, 0, RGB(5, 0, 0)}});
    ExpectPixels(m, {{0, 0, RGB(3, 0, 0)}, {2, 0, RGB(1, 0, 0)}});
}

TEST(XGdiBlit, DibRowsRunBottomUpForAPositiveHeight)
{
    XGdiTestCanvas cv(3, 4);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 3; ++x)
            SetPixel(cv.dc, x, y, RGB(10 * y, x, 200));
    BITMAPINFO bmi = {}, q = {};
    bmi.bmiHeader = {40, 3, 4, 1, 24, BI_RGB, 0, 0, 0, 0, 0};
    std::vector<uint8_t> rows(12 * 4, 0xEE);
    // Lines 1 and 2 of the DIB: surface rows 2 and 1; the padding is cleared.
    ASSERT_EQ(GetDIBits(cv.dc, cv.bm, 1, 2, rows.data(), &bmi, DIB_RGB_COLORS), 2);
    EXPECT_EQ((std::vector<int>{rows[2], rows[12 + 2], rows[3 + 1], rows[9]}), (std::vector<int>{20, 10, 1, 0}));
    // 32 bits, whole bitmap: bottom-left is red 30, blue 200.
    bmi.bmiHeader.biBitCount = 32;
    std::vector<uint32_t> all(12);
    ASSERT_EQ(GetDIBits(cv.dc, cv.bm, 0, 4, all.data(), &bmi, DIB_RGB_COLORS), 4);
    EXPECT_EQ(all[0], 0x1E00C8u);
    // Writing the rows back upside down by a top-down header flips the image.
    bmi.bmiHeader.biHeight = -4;
    ASSERT_EQ(SetDIBits(cv.dc, cv.bm, 0, 4, all.data(), &bmi, DIB_RGB_COLORS), 4);
    ExpectPixels(cv, {{0, 0, RGB(30, 0, 200)}, {2, 3, RGB(0, 2, 200)}});
    // The query form fills the header; 16 bits are refused.
    q.bmiHeader.biSize = 40;
    EXPECT_EQ(GetDIBits(cv.dc, cv.bm, 0, 0, nullptr, &q, DIB_RGB_COLORS), 1);
    EXPECT_EQ((std::vector<LONG>{q.bmiHeader.biWidth, q.bmiHeader.biHeight, q.bmiHeader.biBitCount}),
              (std::vector<LONG>{3, 4, 32}));
    bmi.bmiHeader.biBitCount = 16;
    EXPECT_EQ(GetDIBits(cv.dc, cv.bm, 0, 4, all.data(), &bmi, DIB_RGB_COLORS), 0);
    // A DIB section of positive height keeps its top row last in memory.
    bmi.bmiHeader = {40, 4, 3, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
    void* pv = nullptr;
    HBITMAP bm = CreateDIBSection(cv.dc, &bmi, DIB_RGB_COLORS, &pv, nullptr, 0);
    ASSERT_NE(bm, nullptr);
    Selected in(cv.dc, bm);
    uint32_t* bits = static_cast<uint32_t*>(pv);
    SetPixel(cv.dc, 1, 0, kRed);
    SetPixel(cv.dc, 2, 2, kBlue);
    EXPECT_EQ((std::vector<uint32_t>{bits[2 * 4 + 1] & 0xFFFFFF, bits[2] & 0xFFFFFF}),
              (std::vector<uint32_t>{0xFF0000u, 0x0000FFu}));
    bits[0] = 0x0000FF00;
    EXPECT_EQ(GetPixel(cv.dc, 0, 2), kGreen);
}

TEST(XGdiBlit, StretchDIBitsFromPalette24And32Bits)
{
    struct {
        BITMAPINFOHEADER h;
        RGBQUAD colors[2];
    } pal = {{40, 2, 2, 1, 8, BI_RGB, 0, 0, 0, 2, 0}, {{0, 0, 255, 0}, {255, 0, 0, 0}}};
    const uint8_t idx[8] = {0, 1, 0, 0, 1, 0, 0, 0}; // bottom row red, blue; top row blue, red
    const uint8_t rgb[8] = {0, 255, 0, 0, 255, 255, 255, 0}; // bottom green, top white
    const uint32_t px = 0x00123456;
    BITMAPINFO bmi = {}, top = {};
    bmi.bmiHeader = {40, 1, 2, 1, 24, BI_RGB, 0, 0, 0, 0, 0};
    top.bmiHeader = {40, 1, -1, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
    XGdiTestCanvas cv(12, 4);
    const auto* palInfo = reinterpret_cast<BITMAPINFO*>(&pal);
    ASSERT_EQ(StretchDIBits(cv.dc, 0, 0, 4, 4, 0, 0, 2, 2, idx, palInfo, DIB_RGB_COLORS, SRCCOPY), 2);
    ASSERT_EQ(StretchDIBits(cv.dc, 4, 0, 4, 4, 0, 0, 1, 2, rgb, &bmi, DIB_RGB_COLORS, SRCCOPY), 2);
    ASSERT_EQ(StretchDIBits(cv.dc, 8, 0, 4, 4, 0, 0, 1, 1, &px, &top, DIB_RGB_COLORS, SRCCOPY), 1);
    ExpectPixels(cv, {{0, 0, kBlue}, {3, 0, kRed}, {0, 3, kRed}, {3, 3, kBlue}, {5, 0, kWhite}, {5, 3, kGreen}});
    EXPECT_EQ(cv.At(11, 3), RGB(0x12, 0x34, 0x56));
    top.bmiHeader.biBitCount = 16;
    EXPECT_EQ(StretchDIBits(cv.dc, 8, 0, 4, 4, 0, 0, 1, 1, &px, &top, DIB_RGB_COLORS, SRCCOPY), 0);
}
