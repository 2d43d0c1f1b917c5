#include "KVDbase/drawing/XBackBuffer.h"
#include "KVDbase/drawing/XDIB.h"
#include "XDrawingTestCanvas.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

BITMAPINFO Header(int w, int h, int nBits)
{
    BITMAPINFO bmi = {};
    bmi.bmiHeader = {sizeof(BITMAPINFOHEADER), w, h, 1, static_cast<WORD>(nBits), BI_RGB, 0, 0, 0, 0, 0};
    return bmi;
}

// A 24-bit DIB from a top-down list of colours.
struct Dib {
    BITMAPINFO bmi;
    std::vector<char> bits;
    Dib(int w, int h, const std::vector<COLORREF>& topDown) : bmi(Header(w, h, 24))
    {
        const int nStride = XfnCalcDIBWidthBytes(w, 24);
        bits.assign(static_cast<size_t>(nStride) * h, 0);
        for (int i = 0; i < w * h; ++i) {
            const COLORREF c = topDown[static_cast<size_t>(i)];
            char* p = &bits[static_cast<size_t>(nStride) * (h - 1 - i / w) + 3 * (i % w)];
            p[0] = static_cast<char>(GetBValue(c));
            p[1] = static_cast<char>(GetGValue(c));
            p[2] = static_cast<char>(GetRValue(c));
        }
    }
};

// The colour key of the second form: enable byte, then red, green, blue.
DWORD Key(COLORREF c) { return 1u | GetRValue(c) << 8 | GetGValue(c) << 16 | static_cast<DWORD>(GetBValue(c)) << 24; }

// Source over destination at opacity byte 127: each part truncated.
BYTE Over(int s, int d) { return static_cast<BYTE>(static_cast<int>(s * (127 / 255.0)) + static_cast<int>(d * (128 / 255.0))); }

TEST(XBackBufferImages, MaskedAndBlendedCopies)
{
    // Opaque and keyed copies are the replay image scene's on the raster path. Classes 0 and 1 need a mask: without
    // one nothing is drawn.
    XTestCanvas c(40, 40);
    Dib img(4, 2, {kRed, kGreen, kBlue, kRed, kBlack, kBlack, kGreen, kGreen});
    unsigned char* pBits = reinterpret_cast<unsigned char*>(img.bits.data());
    c.bb.DrawDIB(pBits, &img.bmi, 0, 40, 3, 39, 1, nullptr);
    c.bb.DrawDIB(pBits, &img.bmi, 0, 40, 3, 39, 0, nullptr);
    EXPECT_EQ(c.Count(kWhite), 40 * 40);

    // Half opacity: blended per pixel. A 2 by 2 picture on 4 by 4 pixels takes source rows (top first) 0, 0, 1, 1,
    // columns likewise; a target one pixel high takes the picture's top row.
    const COLORREF grey = RGB(100, 100, 100);
    c.bb.Clear(grey, nullptr);
    Dib quad(2, 2, {RGB(200, 0, 0), RGB(0, 200, 0), RGB(0, 0, 200), RGB(200, 200, 200)});
    c.bb.DrawDIB(quad.bits.data(), &quad.bmi, 10, 30, 13, 27, 0.0, 0.5, 0);
    c.bb.DrawDIB(quad.bits.data(), &quad.bmi, 20, 30, 21, 30, 0.0, 0.5, 0);
    const BYTE on = Over(200, 100), off = Over(0, 100);
    ExpectPixels(c, {{11, 11, RGB(on, off, off)}, {12, 11, RGB(off, on, off)}, {11, 12, RGB(off, off, on)},
                     {13, 13, RGB(on, on, on)}, {14, 13, grey}, {21, 10, RGB(off, on, off)}, {21, 11, grey}});
}

TEST(XBackBufferImages, RotatedViewResamplesOpaqueAndKeyed)
{
    std::vector<COLORREF> quads; // red, green over blue, black
    for (int i = 0; i < 64; ++i)
        quads.push_back(i / 8 < 4 ? (i % 8 < 4 ? kRed : kGreen) : (i % 8 < 4 ? kBlue : kBlack));
    Dib img(8, 8, quads);
    for (int nCase = 0; nCase < 2; ++nCase) {
        XTestCanvas c(60, 60);
        c.bb.SetRotationAngle(30);
        c.bb.DrawDIB(img.bits.data(), &img.bmi, 14, 46, 46, 14, 0.0, 1.0, nCase == 1 ? Key(kGreen) : 0);
        // The quadrants' centres, wherever the turned view puts them.
        auto At = [&](double x, double y) {
            c.bb.ConvWorldToPixelCoord(x, y);
            return c.Px(static_cast<int>(x + 0.5), static_cast<int>(y + 0.5));
        };
        const COLORREF expected[2][3] = {
            {kRed, kGreen, kBlue},
            // Under rotation a class 0 image paints where its mask is not 0: the keyed quadrant, black, and nothing
            // else.
            {kWhite, kBlack, kWhite},
        };
        EXPECT_EQ(At(22, 38), expected[nCase][0]) << nCase;
        EXPECT_EQ(At(38, 38), expected[nCase][1]) << nCase;
        EXPECT_EQ(At(22, 22), expected[nCase][2]) << nCase;
        EXPECT_EQ(c.Px(1, 1), kWhite) << nCase; // outside the turned picture
    }
}

// A 6 by 5 surface whose pixel (x, y) is RGB(x, y, 7): DIB line n is pixel row 4 - n.
void Paint(XTestCanvas& c)
{
    for (int i = 0; i < 30; ++i)
        SetPixel(c.DC(), i % 6, i / 6, RGB(i % 6, i / 6, 7));
}

TEST(XBackBufferImages, ReadersCheckEveryArgument)
{
    XTestCanvas c(6, 5);
    unsigned char out[256];
    const int rows[][7] = {{-1, 0, 2, 2, 8, 8, 24}, {0, -1, 2, 2, 8, 8, 24}, {0, 0, -2, 2, 8, 8, 24},
                           {5, 0, 2, 2, 8, 8, 24},  {0, 4, 2, 2, 8, 8, 24},  {0, 0, 3, 2, 2, 8, 24},
                           {0, 0, 2, 3, 8, 2, 24},  {0, 0, 2, 2, 8, 8, 16},  {0, 0, 0, 0, 5, 8, 24}};
    for (const int* r : rows) { // x, y, w, h, header width, height, bits
        BITMAPINFO bmi = Header(r[4], r[5], r[6]);
        EXPECT_EQ(c.bb.ReadDIB24(out, &bmi, r[0], r[1], r[2], r[3]), 0) << r[0] << r[1] << r[2] << r[3];
        EXPECT_EQ(bmi.bmiHeader.biWidth, r[4]); // left alone
    }
    BITMAPINFO bmi = Header(8, 8, 24);
    EXPECT_EQ(c.bb.ReadDIB24(nullptr, &bmi, 0, 0, 1, 1), 0);
    EXPECT_EQ(c.bb.ReadDIB32(out, &bmi, 0, 0, 1, 1), 0); // 24 bits is too few for 32
    bmi = Header(8, 8, 32);
    EXPECT_EQ(c.bb.ReadDIB24(out, &bmi, 0, 0, 0, 0), 1); // zero sizes: the whole surface
    EXPECT_EQ(bmi.bmiHeader.biWidth * 100 + bmi.bmiHeader.biHeight * 10 + bmi.bmiHeader.biBitCount / 8, 653);
}

TEST(XBackBufferImages, ReadersWalkTheRowsAsEachAlwaysHas)
{
    unsigned char out[256];
    for (int nType : {static_cast<int>(XBackBuffer::TYPE_DIB), static_cast<int>(XBackBuffer::TYPE_DDB)}) {
        XTestCanvas c(6, 5, nType);
        Paint(c);
        // Part of a row: ReadDIB24 puts lines y.. into rows 0.. (12 bytes).
        memset(out, 0xEE, sizeof out);
        BITMAPINFO bmi = Header(6, 5, 24);
        ASSERT_EQ(c.bb.ReadDIB24(out, &bmi, 1, 2, 3, 2), 1);
        const unsigned char row0[4] = {7, 2, 1, 7}; // line 2 is pixel row 2, from column 1
        EXPECT_EQ(std::memcmp(out, row0, 4), 0) << nType;
        EXPECT_EQ(out[12 + 7], 1) << nType;  // row 1: line 3, pixel row 1
        EXPECT_EQ(out[9], 0xEE) << nType;    // row padding untouched
        bmi = Header(6, 5, 32);
        ASSERT_EQ(c.bb.ReadDIB32(out, &bmi, 0, 0, 0, 0), 1);
        EXPECT_EQ(out[4 * 24 + 4 * 5 + 1], 0) << nType; // the top row comes last
    }
    XTestCanvas c(6, 5, XBackBuffer::TYPE_DIB);
    Paint(c);
    memset(out, 0xEE, sizeof out);
    BITMAPINFO bmi = Header(6, 5, 32);
    ASSERT_EQ(c.bb.ReadDIB32(out, &bmi, 0, 1, 6, 2), 1); // the full width: one copy of lines y..
    EXPECT_EQ(out[1], 3);
    // Part of a row: ReadDIB32 puts lines 0.. into rows y.., and leaves each pixel's fourth byte; rows past the room of
    // the caller's header stay.
    memset(out, 0xEE, sizeof out);
    bmi = Header(2, 2, 32);
    ASSERT_EQ(c.bb.ReadDIB32(out, &bmi, 2, 1, 2, 2), 1);
    const unsigned char row1[4] = {7, 4, 2, 0xEE};
    EXPECT_EQ(out[0], 0xEE);
    EXPECT_EQ(std::memcmp(out + 8, row1, 4), 0);
    EXPECT_EQ(out[16], 0xEE);
}

} // namespace
