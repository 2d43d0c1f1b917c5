// Pens on the raster device: hairlines in every octant and off the surface, dashes, wide pens, raster operations.
#include "platform/XGdiTestCanvas.h"

#include <cstdlib>
#include <vector>

namespace {

// The on/off runs along row y from x0 to x1 - 1, first run drawn in c.
std::vector<int> Runs(const XGdiTestCanvas& cv, int y, int x0, int x1, COLORREF c)
{
    std::vector<int> runs = {0};
    for (int x = x0; x < x1; ++x) {
        if ((cv.At(x, y) == c) != (runs.size() % 2 == 1))
            runs.push_back(0);
        ++runs.back();
    }
    return runs;
}

} // namespace

TEST(XGdiLine, HairlinesStepOnePixelAlongTheMajorAxisAndLeaveOutTheirLastPixel)
{
    // Step i of n puts the minor axis at (2 i |d| + n) / 2n, rounded down, also for lines entering from off
    // the surface; widths 0 and 1 are both hairlines.
    const POINT ends[][2] = {{{2, 3}, {12, 3}},   {{5, 5}, {15, 15}},   {{0, 19}, {19, 15}}, {{-30, -7}, {25, 14}},
                             {{45, 3}, {-9, 19}}, {{-4, 50}, {13, -6}}, {{16, -33}, {2, 28}}, {{-50, 0}, {29, 1}},
                             {{0, 0}, {-17, 60}}, {{-2, 1}, {6, 5}}};
    for (int nWidth : {0, 1}) {
        for (const auto& e : ends) {
            XGdiTestCanvas cv(20, 20);
            Selected p(cv.dc, CreatePen(PS_SOLID, nWidth, kBlack));
            cv.Line(e[0].x, e[0].y, e[1].x, e[1].y);
            const int dx = e[1].x - e[0].x, dy = e[1].y - e[0].y;
            const bool bX = std::abs(dx) >= std::abs(dy);
            const int n = bX ? std::abs(dx) : std::abs(dy), m = bX ? std::abs(dy) : std::abs(dx);
            const int nMinorSign = (bX ? dy : dx) < 0 ? -1 : 1, nMajorSign = (bX ? dx : dy) < 0 ? -1 : 1;
            int nExpected = 0;
            for (int i = 0; i < n; ++i) {
                const int nMajor = nMajorSign * i, nMinor = nMinorSign * ((2 * i * m + n) / (2 * n));
                const int x = e[0].x + (bX ? nMajor : nMinor), y = e[0].y + (bX ? nMinor : nMajor);
                if (x < 0 || y < 0 || x >= 20 || y >= 20)
                    continue;
                ++nExpected;
                EXPECT_EQ(cv.At(x, y), kBlack) << e[0].x << "," << e[0].y << " step " << i;
            }
            EXPECT_GT(nExpected, 0);
            EXPECT_EQ(cv.Count(kBlack), nExpected) << e[0].x << "," << e[0].y << " width " << nWidth;
        }
    }
}

TEST(XGdiLine, LinesFarOffTheSurfaceAreClippedWithoutWalkingThem)
{
    XGdiTestCanvas cv(20, 20);
    Selected p(cv.dc, CreatePen(PS_SOLID, 0, kBlack));
    MoveToEx(cv.dc, -2000000000, 10, nullptr);
    EXPECT_TRUE(LineTo(cv.dc, 2000000000, 10));
    // Steep across the whole range: just past its halfway step at row 0, so in its second column.
    MoveToEx(cv.dc, 5, -2000000000, nullptr);
    EXPECT_TRUE(LineTo(cv.dc, 6, 2000000000));
    for (int i = 0; i < 20; ++i)
        ExpectPixels(cv, {{i, 10, kBlack}, {6, i, kBlack}});
    EXPECT_EQ(cv.Count(kBlack), 39);
}

TEST(XGdiLine, CosmeticDashesAsTheRasterDeviceDrawsThem)
{
    // Gaps take the background colour only when OPAQUE (the last row).
    struct Case {
        int nStyle;
        std::vector<int> runs;
    };
    const Case cases[] = {
        {PS_DASH, {18, 6, 18, 6}},
        {PS_DOT, {3, 3, 3, 3, 3, 3, 3, 3}},
        {PS_DASHDOT, {9, 6, 3, 6, 9, 6, 3, 6}},
        {PS_DASHDOTDOT, {9, 3, 3, 3, 3, 3, 9, 3}},
        {PS_ALTERNATE, {1, 1, 1, 1}},
        {PS_DOT, {3, 3, 3, 3}},
    };
    XGdiTestCanvas cv(200, 26);
    SetBkColor(cv.dc, kRed);
    LOGBRUSH lb = {BS_SOLID, kBlack, 0};
    int y = 2;
    for (const Case& c : cases) {
        Selected p(cv.dc, c.nStyle == PS_ALTERNATE ? ExtCreatePen(PS_COSMETIC | PS_ALTERNATE, 1, &lb, 0, nullptr)
                                                   : CreatePen(c.nStyle, 0, kBlack));
        SetBkMode(cv.dc, y < 22 ? TRANSPARENT : OPAQUE);
        cv.Line(10, y, 190, y);
        int nTotal = 0;
        for (int r : c.runs)
            nTotal += r;
        EXPECT_EQ(Runs(cv, y, 10, 10 + nTotal, kBlack), c.runs) << c.nStyle;
        y += 4;
    }
    EXPECT_EQ(cv.Count(kRed), 90); // every gap of the last row
    cv.Save("dashes");
}

TEST(XGdiLine, UserStylesRunsAndWideStyledPensGrowWithTheWidth)
{
    XGdiTestCanvas cv(100, 20);
    LOGBRUSH lb = {BS_SOLID, kBlack, 0};
    const DWORD table[] = {1, 14, 1}, zeros[] = {0, 0};
    {
        Selected p(cv.dc, ExtCreatePen(PS_GEOMETRIC | PS_ENDCAP_FLAT | PS_USERSTYLE, 0, &lb, 3, table));
        cv.Line(0, 5, 64, 5);
    }
    // The odd table repeats with dash and gap swapped: 1 on, 14 off, 1 on, 1 off, 14 on, 1 off.
    EXPECT_EQ(Runs(cv, 5, 0, 64, kBlack), (std::vector<int>{1, 14, 1, 1, 14, 1, 1, 14, 1, 1, 14, 1}));
    EXPECT_EQ(ExtCreatePen(PS_GEOMETRIC | PS_USERSTYLE, 1, &lb, 0, table), nullptr);
    EXPECT_EQ(ExtCreatePen(PS_GEOMETRIC | PS_USERSTYLE, 1, &lb, 2, zeros), nullptr);
    // Dash 3 widths, gap 1: 9 on, 3 off at width 3; the pen covers its width, flat caps stop at the ends.
    Selected wide(cv.dc, ExtCreatePen(PS_GEOMETRIC | PS_DASH | PS_ENDCAP_FLAT, 3, &lb, 0, nullptr));
    cv.Line(2, 14, 47, 14);
    EXPECT_EQ(Runs(cv, 14, 2, 26, kBlack), (std::vector<int>{9, 3, 9, 3}));
    ExpectPixels(cv, {{2, 13, kBlack}, {2, 15, kBlack}, {4, 12, kWhite}, {4, 16, kWhite}, {1, 14, kWhite}});
    ExpectPixels(cv, {{46, 14, kBlack}, {47, 14, kWhite}});
}

TEST(XGdiLine, XorTwiceRestoresEveryPixel)
{
    XGdiTestCanvas cv(64, 64);
    for (int i = 0; i < 64 * 64; ++i) // every kind of pixel under the shapes
        cv.bits[i] = 0xFF000000u | static_cast<uint32_t>(i * 2654435761u >> 8);
    const std::vector<uint32_t> before(cv.bits, cv.bits + 64 * 64);
    auto draw = [&] {
        SetROP2(cv.dc, R2_XORPEN);
        const POINT box[5] = {{5, 5}, {50, 5}, {50, 40}, {5, 40}, {5, 5}};
        const POINT star[5] = {{32, 0}, {50, 63}, {2, 22}, {62, 22}, {14, 63}};
        for (int nWidth : {0, 3}) {
            Selected p(cv.dc, CreatePen(nWidth == 0 ? PS_DOT : PS_SOLID, nWidth, RGB(0x12, 0xF0, 0x81)));
            Selected br(cv.dc, CreateHatchBrush(HS_DIAGCROSS, RGB(200, 10, 99)));
            Polyline(cv.dc, box, 5);
            cv.Line(60, 2, 3, 61);
            Ellipse(cv.dc, 10, 12, 55, 60);
            Polygon(cv.dc, star, 5);
        }
    };
    draw();
    EXPECT_NE(std::vector<uint32_t>(cv.bits, cv.bits + 64 * 64), before);
    cv.Save("xor-once");
    draw();
    EXPECT_EQ(std::vector<uint32_t>(cv.bits, cv.bits + 64 * 64), before);
}

TEST(XGdiLine, BinaryRasterOperationsFollowTheirTruthTable)
{
    XGdiTestCanvas cv(16, 2);
    const uint32_t d = 0xFF00FF33u, p = 0xFF0F55F0u; // the destination, and the pen colour as a pixel
    for (int nRop = R2_BLACK; nRop <= R2_WHITE; ++nRop) {
        const int x = nRop - 1;
        cv.bits[x] = d;
        EXPECT_EQ(SetROP2(cv.dc, nRop), nRop == R2_BLACK ? R2_COPYPEN : nRop - 1);
        Selected ps(cv.dc, CreatePen(PS_SOLID, 0, RGB(0x0F, 0x55, 0xF0)));
        cv.Line(x, 0, x + 1, 0);
        uint32_t expect = 0;
        for (int bit = 0; bit < 24; ++bit)
            expect |= ((static_cast<unsigned>(x) >> (((p >> bit) & 1) * 2 + ((d >> bit) & 1))) & 1u) << bit;
        EXPECT_EQ(cv.bits[x] & 0xFFFFFFu, expect) << nRop;
    }
}
