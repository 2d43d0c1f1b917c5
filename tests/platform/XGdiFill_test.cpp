// Fills on the raster device: excluded edges, PatBlt, hatches and their anchor, pattern brushes,
// ellipses, paths and the antialiased variation.
#include "platform/XGdiTestCanvas.h"

#include <vector>

#include "platform/XSysDC.h"

TEST(XGdiFill, FillRectAndPatBltLeaveOutTheRightAndBottomEdges)
{
    XGdiTestCanvas cv(20, 20);
    Selected br(cv.dc, CreateSolidBrush(kRed));
    RECT r = {3, 4, 10, 12};
    EXPECT_EQ(FillRect(cv.dc, &r, static_cast<HBRUSH>(br.obj)), 1);
    ExpectPixels(cv, {{3, 4, kRed}, {9, 11, kRed}, {10, 11, kWhite}, {9, 12, kWhite}});
    EXPECT_EQ(cv.Count(kRed), 7 * 8);
    // Reaching past the surface is clipped; an inverted rectangle fills nothing.
    RECT big = {-5, -5, 100, 2}, inverted = {10, 10, 5, 15};
    FillRect(cv.dc, &big, static_cast<HBRUSH>(br.obj));
    FillRect(cv.dc, &inverted, static_cast<HBRUSH>(br.obj));
    EXPECT_EQ(cv.Count(kRed), 7 * 8 + 20 * 2);
    // PatBlt with the selected brush; negative sizes count back from the corner.
    cv.Fill(kWhite);
    EXPECT_TRUE(PatBlt(cv.dc, 5, 5, -3, -2, PATCOPY));
    EXPECT_TRUE(PatBlt(cv.dc, 15, 0, 100, 1, DSTINVERT));
    EXPECT_TRUE(PatBlt(cv.dc, 30, 30, 5, 5, BLACKNESS)); // all off the surface
    EXPECT_FALSE(PatBlt(cv.dc, 0, 0, 5, 5, SRCCOPY));     // it has no source
    ExpectPixels(cv, {{2, 3, kRed}, {4, 4, kRed}, {5, 4, kWhite}, {2, 2, kWhite}, {15, 0, kBlack}, {14, 0, kWhite}});
    EXPECT_EQ(cv.Count(kRed) + cv.Count(kBlack), 6 + 5);
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
        Selected br(cv.dc, CreateHatchBrush(nHatch, kBlack));
        // Rectangles starting off the cell grid still line up with the origin.
        RECT r = {nHatch * 24 + 3, 5, nHatch * 24 + 21, 37};
        FillRect(cv.dc, &r, static_cast<HBRUSH>(br.obj));
        for (int y = r.top; y < r.bottom; ++y) {
            for (int x = r.left; x < r.right; ++x) {
                const bool bSet = (cells[nHatch][y & 7] >> (7 - (x & 7))) & 1;
                ASSERT_EQ(cv.At(x, y), bSet ? kBlack : kBlue) << nHatch << " at " << x << "," << y;
            }
        }
    }
    cv.Save("hatches");
    // Transparent, the gaps keep the surface.
    Selected cross(cv.dc, CreateHatchBrush(HS_CROSS, kRed)), pen(cv.dc, GetStockObject(NULL_PEN));
    SetBkMode(cv.dc, TRANSPARENT);
    Rectangle(cv.dc, 0, 0, 24, 5);
    ExpectPixels(cv, {{0, 1, kRed}, {7, 0, kRed}, {0, 0, kWhite}, {8, 4, kWhite}});
}

TEST(XGdiFill, PatternBrushesTileTheirUprightImageFromTheOrigin)
{
    // 2 by 2, bottom-up: 24 bits, red, blue under black, white; 1 bit of two colours, red, blue under blue, red.
    struct {
        BITMAPINFOHEADER h;
        uint8_t rows[2][8];
    } rgb = {{40, 2, 2, 1, 24, BI_RGB, 0, 0, 0, 0, 0}, {{0, 0, 255, 255, 0, 0, 0, 0}, {0, 0, 0, 255, 255, 255, 0, 0}}};
    struct {
        BITMAPINFOHEADER h;
        RGBQUAD colours[2];
        uint32_t rows[2];
    } mono = {{40, 2, 2, 1, 1, BI_RGB, 0, 0, 0, 2, 0}, {{0, 0, 255, 0}, {255, 0, 0, 0}}, {0x40, 0x80}};
    XGdiTestCanvas pattern(2, 2);
    SetPixel(pattern.dc, 0, 0, kGreen);
    const LOGBRUSH brushes[3] = {{BS_DIBPATTERNPT, DIB_RGB_COLORS, reinterpret_cast<ULONG_PTR>(&rgb)},
                                 {BS_DIBPATTERNPT, DIB_RGB_COLORS, reinterpret_cast<ULONG_PTR>(&mono)},
                                 {BS_PATTERN, 0, reinterpret_cast<ULONG_PTR>(pattern.bm)}};
    XGdiTestCanvas cv(8, 24);
    for (int i = 0; i < 3; ++i) {
        HBRUSH br = CreateBrushIndirect(&brushes[i]);
        ASSERT_NE(br, nullptr) << i;
        RECT r = {1, 8 * i + 1, 8, 8 * i + 8};
        FillRect(cv.dc, &r, br);
        DeleteObject(br);
    }
    ExpectPixels(cv, {{2, 2, kBlack}, {3, 2, kWhite}, {2, 3, kRed}, {3, 3, kBlue}, {1, 1, kBlue}});
    ExpectPixels(cv, {{2, 10, kBlue}, {3, 10, kRed}, {2, 11, kRed}, {3, 11, kBlue}});
    ExpectPixels(cv, {{2, 18, kGreen}, {3, 18, kWhite}, {2, 17, kWhite}, {4, 20, kGreen}});
}

TEST(XGdiFill, PolygonsAndRectanglesCoverPixelCentresAndTheirOutlineTheEdges)
{
    XGdiTestCanvas cv(20, 20);
    Selected br(cv.dc, CreateSolidBrush(kRed));
    Selected pen(cv.dc, GetStockObject(NULL_PEN));
    const POINT sq[4] = {{2, 2}, {10, 2}, {10, 8}, {2, 8}};
    Polygon(cv.dc, sq, 4);
    EXPECT_EQ(cv.Count(kRed), 8 * 6);
    ExpectPixels(cv, {{9, 7, kRed}, {10, 7, kWhite}});
    SelectObject(cv.dc, GetStockObject(BLACK_PEN));
    Polygon(cv.dc, sq, 4);
    ExpectPixels(cv, {{10, 8, kBlack}, {2, 2, kBlack}, {5, 5, kRed}});
    EXPECT_EQ(cv.Count(kRed), 7 * 5);
    // A rectangle's outline runs inside its box, corners in either order; an empty box draws nothing; a ring
    // of fewer than two points is refused.
    const int counts[2] = {4, 1};
    EXPECT_TRUE(Rectangle(cv.dc, 19, 19, 12, 12));
    EXPECT_TRUE(Rectangle(cv.dc, 0, 15, 10, 15));
    EXPECT_FALSE(PolyPolygon(cv.dc, sq, counts, 2));
    ExpectPixels(cv, {{12, 12, kBlack}, {18, 18, kBlack}, {15, 15, kRed}, {19, 19, kWhite}, {5, 15, kWhite}});
}

TEST(XGdiFill, EllipseStaysInsideItsBoxWithoutTheRightAndBottomEdges)
{
    XGdiTestCanvas cv(40, 30);
    Selected br(cv.dc, CreateSolidBrush(kRed));
    EXPECT_TRUE(Ellipse(cv.dc, 35, 24, 5, 4));
    EXPECT_TRUE(Ellipse(cv.dc, 5, 4, 35, 4)); // no height: nothing
    cv.Save("ellipse");
    const RECT ink = cv.Ink();
    EXPECT_EQ((std::vector<LONG>{ink.left, ink.top, ink.right, ink.bottom}), (std::vector<LONG>{5, 4, 35, 24}));
    ExpectPixels(cv, {{20, 14, kRed}, {5, 14, kBlack}, {20, 4, kBlack}, {5, 4, kWhite}});
}

TEST(XGdiFill, PathsRecordEveryShapeAndAreFilledOrStrokedOnce)
{
    XGdiTestCanvas cv(40, 20);
    Selected br(cv.dc, CreateSolidBrush(kRed));
    EXPECT_FALSE(FillPath(cv.dc) || EndPath(cv.dc));
    auto record = [&] { // each shape records a figure instead of drawing
        BeginPath(cv.dc);
        const POINT ring[4] = {{2, 2}, {12, 2}, {12, 12}, {2, 12}}, tri[3] = {{22, 2}, {26, 2}, {22, 6}};
        const POINT low[3] = {{22, 10}, {26, 10}, {22, 14}};
        const int counts[1] = {3};
        MoveToEx(cv.dc, 2, 2, nullptr);
        Polyline(cv.dc, ring, 4);
        LineTo(cv.dc, 2, 2);
        PolyPolygon(cv.dc, low, counts, 1);
        Polygon(cv.dc, tri, 3);
        Rectangle(cv.dc, 14, 2, 20, 8);
        Ellipse(cv.dc, 28, 2, 38, 12);
        EndPath(cv.dc);
    };
    record();
    EXPECT_EQ(cv.Count(kWhite), 40 * 20);
    EXPECT_TRUE(FillPath(cv.dc));
    EXPECT_EQ(cv.Count(kBlack), 0);
    ExpectPixels(cv, {{2, 2, kRed}, {11, 11, kRed}, {12, 12, kWhite}, {15, 5, kRed}, {23, 3, kRed}, {23, 11, kRed}});
    ExpectPixels(cv, {{33, 7, kRed}});
    EXPECT_FALSE(FillPath(cv.dc)); // the path was used up
    cv.Fill(kWhite);
    record();
    EXPECT_TRUE(StrokePath(cv.dc));
    ExpectPixels(cv, {{2, 7, kBlack}, {7, 7, kWhite}, {14, 5, kBlack}, {33, 2, kBlack}});
}

TEST(XGdiFill, TheAntialiasedVariationBlendsEdgesAndTheRasterDeviceDoesNot)
{
    // The colours of a triangle and an ellipse filled on either device.
    auto colours = [](bool bAntialias, int nRop, HBRUSH br) {
        const POINT tri[3] = {{2, 2}, {37, 9}, {8, 36}};
        XGdiTestCanvas cv(40, 40);
        XfnSysSetDCAntialias(cv.dc, bAntialias);
        SetROP2(cv.dc, nRop);
        Selected brush(cv.dc, br), pen(cv.dc, GetStockObject(NULL_PEN));
        Polygon(cv.dc, tri, 3);
        Ellipse(cv.dc, 20, 20, 39, 39);
        return cv.Colours().size();
    };
    EXPECT_EQ(colours(false, R2_COPYPEN, CreateSolidBrush(kBlack)), 2u);
    EXPECT_GT(colours(true, R2_COPYPEN, CreateSolidBrush(kBlack)), 10u);
    // Raster operations stay exact on either device; a hatch is blended at its edges too.
    EXPECT_EQ(colours(true, R2_NOT, CreateSolidBrush(kBlack)), 2u);
    EXPECT_GT(colours(true, R2_COPYPEN, CreateHatchBrush(HS_CROSS, kBlack)), 3u);
}

