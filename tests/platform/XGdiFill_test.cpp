// Brushes and fills on the raster device: FillRect's excluded edges, the
// hatches and their anchor, opaque and transparent gaps, pattern brushes,
// polygon fill modes, ellipses and paths.
#include "platform/XGdiTestCanvas.h"

#include <set>
#include <vector>

#include "platform/XSysDC.h"

TEST(XGdiFill, FillRectLeavesOutTheRightAndBottomEdges)
{
    XGdiTestCanvas cv(20, 20);
    HBRUSH br = CreateSolidBrush(kRed);
    RECT r = {3, 4, 10, 12};
    EXPECT_EQ(FillRect(cv.dc, &r, br), 1);
    EXPECT_EQ(cv.At(3, 4), kRed);
    EXPECT_EQ(cv.At(9, 11), kRed);
    EXPECT_EQ(cv.At(10, 11), kWhite);
    EXPECT_EQ(cv.At(9, 12), kWhite);
    EXPECT_EQ(cv.Count(kRed), 7 * 8);
    // Reaching past the surface is clipped; an inverted rectangle fills nothing.
    RECT big = {-5, -5, 100, 2};
    FillRect(cv.dc, &big, br);
    EXPECT_EQ(cv.Count(kRed), 7 * 8 + 20 * 2);
    RECT inverted = {10, 10, 5, 15};
    FillRect(cv.dc, &inverted, br);
    EXPECT_EQ(cv.Count(kRed), 7 * 8 + 20 * 2);
    DeleteObject(br);
}

TEST(XGdiFill, EachHatchIsAnchoredAtTheSurfaceOrigin)
{
    // Bit 7 of each row is column 0 of the 8 by 8 cell.
    const uint8_t cells[6][8] = {
        {0x00, 0xFF, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}, {0x01, 0x01, 0x01, 0x01, 0x01, 0x01, 0x01, 0x01},
        {0x80, 0x40, 0x20, 0x10, 0x08, 0x04, 0x02, 0x01}, {0x01, 0x02, 0x04, 0x08, 0x10, 0x20, 0x40, 0x80},
        {0x01, 0xFF, 0x01, 0x01, 0x01, 0x01, 0x01, 0x01}, {0x81, 0x42, 0x24, 0x18, 0x18, 0x24, 0x42, 0x81},
    };
    XGdiTestCanvas cv(6 * 24, 40);
    SetBkColor(cv.dc, kBlue);
    for (int nHatch = HS_HORIZONTAL; nHatch <= HS_DIAGCROSS; ++nHatch) {
        HBRUSH br = CreateHatchBrush(nHatch, kBlack);
        // Rectangles starting off the cell grid still line up with the origin.
        RECT r = {nHatch * 24 + 3, 5, nHatch * 24 + 21, 37};
        FillRect(cv.dc, &r, br);
        DeleteObject(br);
        for (int y = r.top; y < r.bottom; ++y) {
            for (int x = r.left; x < r.right; ++x) {
                const bool bSet = (cells[nHatch][y & 7] >> (7 - (x & 7))) & 1;
                ASSERT_EQ(cv.At(x, y), bSet ? kBlack : kBlue) << nHatch << " at " << x << "," << y;
            }
        }
    }
    cv.Save("hatches");
}

TEST(XGdiFill, HatchGapsKeepTheSurfaceWhenTransparent)
{
    XGdiTestCanvas cv(16, 16, kRed);
    Selected br(cv.dc, CreateHatchBrush(HS_CROSS, kBlack));
    Selected pen(cv.dc, GetStockObject(NULL_PEN));
    SetBkMode(cv.dc, TRANSPARENT);
    SetBkColor(cv.dc, kBlue);
    Rectangle(cv.dc, 0, 0, 17, 17);
    EXPECT_EQ(cv.At(7, 0), kBlack);
    EXPECT_EQ(cv.At(0, 1), kBlack);
    EXPECT_EQ(cv.At(0, 0), kRed);
    EXPECT_EQ(cv.Count(kBlue), 0);
    SetBkMode(cv.dc, OPAQUE);
    Rectangle(cv.dc, 0, 0, 17, 17);
    EXPECT_EQ(cv.At(0, 0), kBlue);
    EXPECT_EQ(cv.Count(kRed), 0);
}

TEST(XGdiFill, DibPatternBrushTilesItsUprightImageFromTheOrigin)
{
    // A 2 by 2, 24-bit bottom-up pattern: bottom row red, blue; top row
    // black, white.
    struct {
        BITMAPINFOHEADER h;
        uint8_t rows[2][8];
    } dib = {{40, 2, 2, 1, 24, BI_RGB, 0, 0, 0, 0, 0},
             {{0, 0, 255, 255, 0, 0, 0, 0}, {0, 0, 0, 255, 255, 255, 0, 0}}};
    LOGBRUSH lb = {BS_DIBPATTERNPT, DIB_RGB_COLORS, reinterpret_cast<ULONG_PTR>(&dib)};
    HBRUSH br = CreateBrushIndirect(&lb);
    ASSERT_NE(br, nullptr);
    XGdiTestCanvas cv(8, 8);
    RECT r = {1, 1, 8, 8};
    FillRect(cv.dc, &r, br);
    DeleteObject(br);
    EXPECT_EQ(cv.At(2, 2), kBlack);
    EXPECT_EQ(cv.At(3, 2), kWhite);
    EXPECT_EQ(cv.At(2, 3), kRed);
    EXPECT_EQ(cv.At(3, 3), kBlue);
    EXPECT_EQ(cv.At(1, 1), kBlue);
}

TEST(XGdiFill, BothFillModesOnASelfIntersectingRing)
{
    // A pentagram: its centre is wound twice.
    const POINT star[5] = {{50, 5}, {79, 95}, {3, 38}, {97, 38}, {21, 95}};
    XGdiTestCanvas cv(200, 100);
    Selected br(cv.dc, CreateSolidBrush(kRed));
    Selected pen(cv.dc, GetStockObject(NULL_PEN));
    EXPECT_EQ(GetPolyFillMode(cv.dc), ALTERNATE);
    Polygon(cv.dc, star, 5);
    EXPECT_EQ(SetPolyFillMode(cv.dc, WINDING), ALTERNATE);
    POINT moved[5];
    for (int i = 0; i < 5; ++i)
        moved[i] = {star[i].x + 100, star[i].y};
    Polygon(cv.dc, moved, 5);
    cv.Save("fill-modes");
    EXPECT_EQ(cv.At(50, 50), kWhite);
    EXPECT_EQ(cv.At(150, 50), kRed);
    EXPECT_EQ(cv.At(50, 20), kRed);
    EXPECT_EQ(cv.At(150, 20), kRed);
    // The same ring as a region follows the same rule.
    HRGN alt = CreatePolygonRgn(star, 5, ALTERNATE);
    HRGN wind = CreatePolygonRgn(star, 5, WINDING);
    EXPECT_FALSE(PtInRegion(alt, 50, 50));
    EXPECT_TRUE(PtInRegion(wind, 50, 50));
    for (int y = 0; y < 100; ++y)
        for (int x = 0; x < 100; ++x) {
            ASSERT_EQ(PtInRegion(alt, x, y) != 0, cv.At(x, y) == kRed) << x << "," << y;
            ASSERT_EQ(PtInRegion(wind, x, y) != 0, cv.At(x + 100, y) == kRed) << x << "," << y;
        }
    DeleteObject(alt);
    DeleteObject(wind);
}

TEST(XGdiFill, PolygonCoversPixelCentresAndItsOutlineTheEdges)
{
    XGdiTestCanvas cv(20, 20);
    Selected br(cv.dc, CreateSolidBrush(kRed));
    Selected pen(cv.dc, GetStockObject(NULL_PEN));
    const POINT sq[4] = {{2, 2}, {10, 2}, {10, 8}, {2, 8}};
    Polygon(cv.dc, sq, 4);
    EXPECT_EQ(cv.Count(kRed), 8 * 6);
    EXPECT_EQ(cv.At(9, 7), kRed);
    EXPECT_EQ(cv.At(10, 7), kWhite);
    SelectObject(cv.dc, GetStockObject(BLACK_PEN));
    Polygon(cv.dc, sq, 4);
    EXPECT_EQ(cv.At(10, 8), kBlack);
    EXPECT_EQ(cv.At(2, 2), kBlack);
    EXPECT_EQ(cv.At(5, 5), kRed);
    EXPECT_EQ(cv.Count(kRed), 7 * 5);
}

TEST(XGdiFill, EllipseStaysInsideItsBoxWithoutTheRightAndBottomEdges)
{
    XGdiTestCanvas cv(40, 30);
    Selected br(cv.dc, CreateSolidBrush(kRed));
    Ellipse(cv.dc, 5, 4, 35, 24);
    cv.Save("ellipse");
    const RECT ink = cv.Ink();
    EXPECT_EQ(ink.left, 5);
    EXPECT_EQ(ink.right, 35);
    EXPECT_EQ(ink.top, 4);
    EXPECT_EQ(ink.bottom, 24);
    EXPECT_EQ(cv.At(20, 14), kRed);
    EXPECT_EQ(cv.At(5, 14), kBlack);
    EXPECT_EQ(cv.At(20, 4), kBlack);
    EXPECT_EQ(cv.At(5, 4), kWhite);
    // The outline is closed: every row of it is bounded by black.
    for (int y = 4; y < 24; ++y) {
        int x = 0;
        while (cv.At(x, y) == kWhite)
            ++x;
        EXPECT_EQ(cv.At(x, y), kBlack) << y;
    }
}

TEST(XGdiFill, PathFillUsesTheBrushAndLeavesOutlinesToThePen)
{
    XGdiTestCanvas cv(20, 20);
    Selected br(cv.dc, CreateSolidBrush(kRed));
    EXPECT_FALSE(FillPath(cv.dc));
    BeginPath(cv.dc);
    const POINT ring[5] = {{2, 2}, {12, 2}, {12, 12}, {2, 12}, {2, 2}};
    Polyline(cv.dc, ring, 5);
    EndPath(cv.dc);
    EXPECT_EQ(cv.Count(kRed), 0);
    EXPECT_TRUE(FillPath(cv.dc));
    EXPECT_EQ(cv.Count(kRed), 100);
    EXPECT_EQ(cv.Count(kBlack), 0);
    EXPECT_FALSE(FillPath(cv.dc));
}

TEST(XGdiFill, TheAntialiasedVariationBlendsEdgesAndTheRasterDeviceDoesNot)
{
    const POINT tri[3] = {{2, 2}, {37, 9}, {8, 36}};
    auto colours = [&](bool bAntialias, int nRop) {
        XGdiTestCanvas cv(40, 40);
        XfnSysSetDCAntialias(cv.dc, bAntialias);
        SetROP2(cv.dc, nRop);
        Selected br(cv.dc, CreateSolidBrush(kBlack));
        Selected pen(cv.dc, GetStockObject(NULL_PEN));
        Polygon(cv.dc, tri, 3);
        Ellipse(cv.dc, 20, 20, 39, 39);
        return cv.Colours().size();
    };
    EXPECT_EQ(colours(false, R2_COPYPEN), 2u);
    EXPECT_GT(colours(true, R2_COPYPEN), 10u);
    // Raster operations stay exact on either device.
    EXPECT_EQ(colours(true, R2_NOT), 2u);
}
