#include "KVDbase/drawing/XBackBuffer.h"
#include "KVDbase/drawing/XDIB.h"
#include "XDrawingTestCanvas.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

// A 24-bit DIB built from a top-down list of colours.
struct Dib {
    BITMAPINFO bmi = {};
    std::vector<unsigned char> bits;
    Dib(int w, int h, const std::vector<COLORREF>& topDown, int nBits = 24)
    {
        bmi.bmiHeader = {sizeof(BITMAPINFOHEADER), w, h, 1, static_cast<WORD>(nBits), BI_RGB, 0, 0, 0, 0, 0};
        const int nStride = XfnCalcDIBWidthBytes(w, nBits);
        bits.assign(static_cast<size_t>(nStride) * h, 0);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                const COLORREF c = topDown[static_cast<size_t>(y) * w + x];
                unsigned char* p = &bits[static_cast<size_t>(nStride) * (h - 1 - y)];
                if (nBits == 16) {
                    const unsigned v = (GetRValue(c) >> 3) << 10 | (GetGValue(c) >> 3) << 5 | GetBValue(c) >> 3;
                    p[2 * x] = static_cast<unsigned char>(v);
                    p[2 * x + 1] = static_cast<unsigned char>(v >> 8);
                } else {
                    p += x * (nBits / 8);
                    p[0] = GetBValue(c);
                    p[1] = GetGValue(c);
                    p[2] = GetRValue(c);
                }
            }
    }
    char* Bits() { return reinterpret_cast<char*>(bits.data()); }
};

// A w by h picture of four solid quadrants: red, green / blue, black.
std::vector<COLORREF> Quadrants(int w, int h)
{
    std::vector<COLORREF> v;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            v.push_back(y < h / 2 ? (x < w / 2 ? kRed : kGreen) : (x < w / 2 ? kBlue : kBlack));
    return v;
}

// The colour key of the second form: enable byte, then red, green, blue.
DWORD Key(COLORREF c) { return 1u | GetRValue(c) << 8 | GetGValue(c) << 16 | static_cast<DWORD>(GetBValue(c)) << 24; }

TEST(XBackBufferImages, TheRasterDeviceHasNoPalette)
{
    XTestCanvas c(8, 8);
    EXPECT_EQ(GetDeviceCaps(c.DC(), RASTERCAPS) & RC_PALETTE, 0);
}

TEST(XBackBufferImages, OpaqueAndMaskedCopiesLandOnTheirRectangle)
{
    XTestCanvas c(40, 40);
    c.bb.Clear(kWhite, nullptr);
    Dib img(4, 2, {kRed, kGreen, kBlue, kRed, kBlack, kBlack, kGreen, kGreen});
    // World (10, 30) to (13, 29) is pixels (10, 10) to (13, 11), both ends in.
    c.bb.DrawDIB(img.Bits(), &img.bmi, 10, 30, 13, 29, 0.0, 1.0, 0);
    EXPECT_EQ(c.Px(10, 10), kRed);
    EXPECT_EQ(c.Px(12, 10), kBlue);
    EXPECT_EQ(c.Px(12, 11), kGreen);
    EXPECT_EQ(c.Count(kWhite), 40 * 40 - 8);

    // Keyed to green: class 0, a masked copy that leaves the green pixels'
    // place as it was.
    const COLORREF back = RGB(1, 2, 3);
    c.bb.Clear(back, nullptr);
    c.bb.DrawDIB(img.Bits(), &img.bmi, 10, 30, 13, 29, 0.0, 1.0, Key(kGreen));
    EXPECT_EQ(c.Px(10, 10), kRed);
    EXPECT_EQ(c.Px(11, 10), back);
    EXPECT_EQ(c.Px(12, 10), kBlue);
    EXPECT_EQ(c.Px(10, 11), kBlack);
    EXPECT_EQ(c.Px(13, 11), back);
    EXPECT_EQ(c.Count(back), 40 * 40 - 5);

    // A class that needs a mask draws nothing without one.
    c.bb.DrawDIB(reinterpret_cast<unsigned char*>(img.Bits()), &img.bmi, 0, 40, 3, 39, 1, nullptr);
    c.bb.DrawDIB(reinterpret_cast<unsigned char*>(img.Bits()), &img.bmi, 0, 40, 3, 39, 0, nullptr);
    EXPECT_EQ(c.Count(back), 40 * 40 - 5);
}

TEST(XBackBufferImages, BlendingMapsRowsAndColumnsByRounding)
{
    XTestCanvas c(40, 40);
    const COLORREF grey = RGB(100, 100, 100);
    c.bb.Clear(grey, nullptr);
    Dib img(2, 2, {RGB(200, 0, 0), RGB(0, 200, 0), RGB(0, 0, 200), RGB(200, 200, 200)});
    // Opacity byte 127: a = 127 / 255; each part truncated, then summed.
    c.bb.DrawDIB(img.Bits(), &img.bmi, 10, 30, 13, 27, 0.0, 0.5, 0);
    const double a = 127 / 255.0;
    const BYTE on = static_cast<BYTE>(static_cast<int>(200 * a) + static_cast<int>(100 * (1 - a)));
    const BYTE off = static_cast<BYTE>(static_cast<int>(100 * (1 - a)));
    // Target rows 0..3 take source rows (top first) 0, 0, 1, 1 of the
    // picture; columns likewise.
    EXPECT_EQ(c.Px(10, 10), RGB(on, off, off));
    EXPECT_EQ(c.Px(11, 11), RGB(on, off, off));
    EXPECT_EQ(c.Px(12, 11), RGB(off, on, off));
    EXPECT_EQ(c.Px(11, 12), RGB(off, off, on));
    EXPECT_EQ(c.Px(13, 13), RGB(on, on, on));
    EXPECT_EQ(c.Px(14, 13), grey);
    // A target one pixel high takes the picture's top row.
    c.bb.DrawDIB(img.Bits(), &img.bmi, 20, 30, 21, 30, 0.0, 0.5, 0);
    EXPECT_EQ(c.Px(20, 10), RGB(on, off, off));
    EXPECT_EQ(c.Px(21, 10), RGB(off, on, off));
}

TEST(XBackBufferImages, RotatedViewResamplesEveryClass)
{
    Dib img(8, 8, Quadrants(8, 8));
    for (int nCase = 0; nCase < 3; ++nCase) {
        XTestCanvas c(60, 60);
        c.bb.Clear(kWhite, nullptr);
        c.bb.SetRotationAngle(30);
        const double dAlpha = nCase == 2 ? 0.5 : 1.0;
        const DWORD dwKey = nCase == 1 ? Key(kGreen) : 0;
        c.bb.DrawDIB(img.Bits(), &img.bmi, 14, 46, 46, 14, 0.0, dAlpha, dwKey);
        // The centres of the four quadrants, wherever the view puts them.
        auto At = [&](double x, double y) {
            c.bb.ConvWorldToPixelCoord(x, y);
            return c.Px(static_cast<int>(x + 0.5), static_cast<int>(y + 0.5));
        };
        const COLORREF red = At(22, 38), green = At(38, 38), blue = At(22, 22), black = At(38, 22);
        if (nCase == 0) {
            EXPECT_EQ(red, kRed);
            EXPECT_EQ(green, kGreen);
            EXPECT_EQ(blue, kBlue);
            EXPECT_EQ(black, kBlack);
        } else if (nCase == 1) {
            // Under rotation a class 0 image paints where its mask is not 0:
            // the keyed quadrant (black, transparent) and nothing else.
            EXPECT_EQ(red, kWhite);
            EXPECT_EQ(green, kBlack);
            EXPECT_EQ(blue, kWhite);
        } else {
            const BYTE w = static_cast<BYTE>(static_cast<int>(255 * (1 - 127 / 255.0)));
            const BYTE r = static_cast<BYTE>(static_cast<int>(255 * 127 / 255.0) + w);
            EXPECT_EQ(red, RGB(r, w, w));
            EXPECT_EQ(black, RGB(w, w, w));
        }
        EXPECT_EQ(c.Px(1, 1), kWhite); // outside the turned picture
    }
}

TEST(XBackBufferImages, SecondFormNormalisesItsSourceInTheScratch)
{
    XTestCanvas c(20, 20);
    Dib img(3, 2, {kRed, kGreen, kBlue, kWhite, kBlack, RGB(8, 16, 248)}, 16);
    c.bb.DrawDIB(img.Bits(), &img.bmi, 0, 20, 2, 19, 0.0, 1.0, Key(kBlack));
    ASSERT_GE(c.bb.GetTempSize(), 2 * 12 + 2 * 4);
    const unsigned char* p = static_cast<const unsigned char*>(c.bb.GetTemp());
    // 24-bit rows, bottom row first, from 5-5-5 pixels: the key made the
    // black pixel transparent.
    const unsigned char bottom[9] = {248, 248, 248, 0, 0, 0, 248, 16, 8};
    EXPECT_EQ(std::memcmp(p, bottom, 9), 0);
    const unsigned char top[9] = {0, 0, 248, 0, 248, 0, 248, 0, 0};
    EXPECT_EQ(std::memcmp(p + 12, top, 9), 0);
    const unsigned char mask[7] = {0, 255, 0, 0, 0, 0, 0};
    EXPECT_EQ(std::memcmp(p + 24, mask, 3), 0);
    EXPECT_EQ(std::memcmp(p + 28, mask + 3, 3), 0);
    void* pBlock = c.bb.GetTemp();
    c.bb.DrawDIB(img.Bits(), &img.bmi, 0, 20, 2, 19, 0.0, 1.0, 0);
    EXPECT_EQ(c.bb.GetTemp(), pBlock); // kept between calls
}

// A 6 by 5 surface whose pixel (x, y) is RGB(x, y, 7).
void Paint(XTestCanvas& c)
{
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 6; ++x)
            SetPixel(c.DC(), x, y, RGB(x, y, 7));
}

BITMAPINFO Header(int w, int h, int nBits)
{
    BITMAPINFO bmi = {};
    bmi.bmiHeader = {sizeof(BITMAPINFOHEADER), w, h, 1, static_cast<WORD>(nBits), BI_RGB, 0, 0, 0, 0, 0};
    return bmi;
}

TEST(XBackBufferImages, ReadersCheckEveryArgument)
{
    XTestCanvas c(6, 5);
    unsigned char out[256];
    struct Row {
        int x, y, w, h, nHeaderW, nHeaderH, nBits;
    } rows[] = {
        {-1, 0, 2, 2, 8, 8, 24}, {0, -1, 2, 2, 8, 8, 24}, {0, 0, -2, 2, 8, 8, 24}, {5, 0, 2, 2, 8, 8, 24},
        {0, 4, 2, 2, 8, 8, 24},  {0, 0, 3, 2, 2, 8, 24},  {0, 0, 2, 3, 8, 2, 24},  {0, 0, 2, 2, 8, 8, 16},
        {0, 0, 0, 0, 5, 8, 24}, // the whole surface does not fit a header 5 wide
    };
    for (const Row& r : rows) {
        BITMAPINFO bmi = Header(r.nHeaderW, r.nHeaderH, r.nBits);
        EXPECT_EQ(c.bb.ReadDIB24(out, &bmi, r.x, r.y, r.w, r.h), 0) << r.x << r.y << r.w << r.h;
        EXPECT_EQ(bmi.bmiHeader.biWidth, r.nHeaderW); // left alone
    }
    BITMAPINFO bmi = Header(8, 8, 24);
    EXPECT_EQ(c.bb.ReadDIB24(nullptr, &bmi, 0, 0, 1, 1), 0);
    EXPECT_EQ(c.bb.ReadDIB32(out, &bmi, 0, 0, 1, 1), 0); // 24 bits is too few for 32
    // Zero sizes mean the whole surface, and the header is rewritten.
    bmi = Header(8, 8, 32);
    EXPECT_EQ(c.bb.ReadDIB24(out, &bmi, 0, 0, 0, 0), 1);
    EXPECT_EQ(bmi.bmiHeader.biWidth, 6);
    EXPECT_EQ(bmi.bmiHeader.biHeight, 5);
    EXPECT_EQ(bmi.bmiHeader.biBitCount, 24);
}

TEST(XBackBufferImages, ReadersWalkTheRowsAsEachAlwaysHas)
{
    // DIB line n is pixel row 4 - n. Reading part of a row, ReadDIB24 puts
    // lines y.. in rows 0..: row by row from the bitmap on type 1, converted
    // from the DIB section on type 2.
    for (int nType : {static_cast<int>(XBackBuffer::TYPE_DIB), static_cast<int>(XBackBuffer::TYPE_DDB)}) {
        XTestCanvas c(6, 5, nType);
        Paint(c);
        unsigned char out[256];
        memset(out, 0xEE, sizeof out);
        BITMAPINFO bmi = Header(6, 5, 24);
        ASSERT_EQ(c.bb.ReadDIB24(out, &bmi, 1, 2, 3, 2), 1) << nType;
        // Row 0 is line 2 (pixel row 2), from column 1; rows are 12 bytes.
        EXPECT_EQ(out[0], 7) << nType;
        EXPECT_EQ(out[1], 2) << nType;
        EXPECT_EQ(out[2], 1) << nType;
        EXPECT_EQ(out[12 + 3 * 2 + 1], 1) << nType; // row 1: line 3, pixel row 1
        EXPECT_EQ(out[12 + 3 * 2 + 2], 3) << nType; // column 3
        EXPECT_EQ(out[9], 0xEE) << nType;           // row padding untouched

        // The whole surface as the device's DIB rows.
        memset(out, 0xEE, sizeof out);
        bmi = Header(6, 5, 32);
        ASSERT_EQ(c.bb.ReadDIB32(out, &bmi, 0, 0, 0, 0), 1);
        EXPECT_EQ(out[1], 4) << nType; // line 0 is the bottom row
        EXPECT_EQ(out[4 * 24 + 4 * 5 + 2], 5) << nType;
    }
    XTestCanvas c(6, 5, XBackBuffer::TYPE_DIB);
    Paint(c);
    unsigned char out[256];
    // The full width is one copy of lines y onwards ...
    memset(out, 0xEE, sizeof out);
    BITMAPINFO bmi = Header(6, 5, 32);
    ASSERT_EQ(c.bb.ReadDIB32(out, &bmi, 0, 1, 6, 2), 1);
    EXPECT_EQ(out[1], 3); // row 0 is line 1, pixel row 3
    EXPECT_EQ(out[24 + 1], 2);
    // ... while part of a row takes lines 0.. into rows y..
    memset(out, 0xEE, sizeof out);
    bmi = Header(6, 5, 32);
    ASSERT_EQ(c.bb.ReadDIB32(out, &bmi, 2, 1, 2, 2), 1);
    EXPECT_EQ(out[0], 0xEE);     // row 0 is not written
    EXPECT_EQ(out[8 + 1], 4);    // row 1 holds line 0, pixel row 4
    EXPECT_EQ(out[8 + 2], 2);    // from column 2
    EXPECT_EQ(out[8 + 3], 0xEE); // the fourth byte is left
    EXPECT_EQ(out[16 + 1], 3);   // row 2 holds line 1
    // Rows beyond the room the caller's header gave are not written.
    memset(out, 0xEE, sizeof out);
    bmi = Header(2, 2, 32);
    ASSERT_EQ(c.bb.ReadDIB32(out, &bmi, 0, 1, 2, 2), 1);
    EXPECT_EQ(out[8 + 1], 4);
    EXPECT_EQ(out[16], 0xEE);
}

TEST(XBackBufferImages, BitmapRowsInAndOut)
{
    XTestCanvas c(6, 5, XBackBuffer::TYPE_DDB);
    Paint(c);
    std::vector<unsigned char> rows(6 * 4 * 5);
    ASSERT_EQ(c.bb.GetDIBFromDDB(0, 5, rows.data()), 5);
    EXPECT_EQ(rows[1], 4); // line 0 is the bottom row
    EXPECT_EQ(rows[4 * 6 * 4 + 4 * 5 + 2], 5);
    rows[0] = 99; // blue of the bottom-left pixel
    ASSERT_EQ(c.bb.SetDIBToDDB(0, 1, rows.data()), 1);
    EXPECT_EQ(c.Px(0, 4), RGB(0, 4, 99));
    BITMAPINFO bmi;
    EXPECT_EQ(c.bb.GetDIBits(bmi), nullptr); // type 1 has no pixels to hand out
}

} // namespace
