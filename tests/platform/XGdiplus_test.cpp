// The antialiased device on plain memory: failure values, objects, brushes,
// paths, bitmaps with locks, text placement and transforms.
#include "KVDbase/platform/XGdiplus.h"
#include "XGdiTestCanvas.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <vector>

using namespace Gdiplus;

TEST(Gdiplus, NullObjectsWrongKindsAndValuesOutOfRangeAreInvalidParameters)
{
    XGdiTestCanvas cv(4, 4);
    GpGraphics* g = nullptr;
    GpPen* pen = nullptr;
    GpBrush *solid = nullptr, *hatch = nullptr;
    GpPath* path = nullptr;
    GpMatrix* m = nullptr;
    GpImage* img = nullptr;
    GpFontFamily* fam = nullptr;
    GpFont* font = nullptr;
    GpStringFormat* fmt = nullptr;
    for (GpStatus s : {GdipCreateFromHDC(cv.dc, &g), GdipCreatePen1(0, 1.0f, UnitPixel, &pen),
                       GdipCreateSolidFill(0, &solid), GdipCreateHatchBrush(HatchStyleCross, 0, 0, &hatch),
                       GdipCreatePath(FillModeAlternate, &path), GdipCreateMatrix(&m),
                       GdipCreateBitmapFromScan0(2, 2, 0, PixelFormat32bppARGB, nullptr, &img),
                       GdipCreateFontFamilyFromName(L"Liberation Sans", nullptr, &fam),
                       GdipCreateFont(fam, 10.0f, 0, UnitPixel, &font), GdipCreateStringFormat(0, 0, &fmt)})
        ASSERT_EQ(s, Ok);
    const GpPoint pts[3] = {{0, 0}, {2, 0}, {0, 2}};
    const RectF at;
    REAL runs[2] = {1.0f, 1.0f};
    ARGB argb = 0;
    HatchStyle style;
    BitmapData data = {};
    BYTE bits[16];
    const GpStatus got[] = {
        // Null objects and null results, of each kind.
        GdipCreateFromHDC(cv.dc, nullptr), GdipDeleteGraphics(nullptr), GdipGetWorldTransform(g, nullptr),
        GdipDrawLine(g, nullptr, 0, 0, 1, 1), GdipDrawLinesI(g, pen, nullptr, 3), GdipDrawPath(g, pen, nullptr),
        GdipFillRectangle(nullptr, solid, 0, 0, 1, 1), GdipFillPolygonI(g, solid, nullptr, 3, FillModeAlternate),
        GdipFillPath(g, nullptr, path), GdipFillRegion(g, solid, nullptr), GdipDrawImageRect(g, nullptr, 0, 0, 1, 1),
        GdipMeasureString(g, L"a", 1, font, &at, fmt, nullptr, nullptr, nullptr),
        GdipDrawString(g, L"a", 1, font, &at, fmt, nullptr), GdipCreatePen1(0, 1.0f, UnitPixel, nullptr),
        GdipGetPenColor(pen, nullptr), GdipCreateSolidFill(0, nullptr), GdipCreatePath(FillModeAlternate, nullptr),
        GdipAddPathRectangle(nullptr, 0, 0, 1, 1), GdipCreateRegionPath(path, nullptr), GdipCreateMatrix(nullptr),
        GdipGetMatrixElements(m, nullptr), GdipCreateFontFamilyFromName(nullptr, nullptr, &fam),
        GdipCreateStringFormat(0, 0, nullptr), GdipCreateBitmapFromScan0(1, 1, 4, PixelFormat32bppARGB, bits, nullptr),
        GdipCreateBitmapFromGdiDib(nullptr, bits, &img), GdipBitmapGetPixel(img, 0, 0, nullptr),
        GdipCloneBitmapAreaI(0, 0, 1, 1, PixelFormat32bppARGB, nullptr, &img), GdipDisposeImage(nullptr),
        // A brush of the wrong kind.
        GdipSetSolidFillColor(hatch, 0), GdipGetSolidFillColor(hatch, &argb), GdipGetHatchStyle(solid, &style),
        GdipGetHatchForegroundColor(solid, &argb), GdipGetHatchBackgroundColor(solid, &argb),
        GdipGetTextureImage(hatch, &img),
        // Values out of range: modes, caps, styles, counts, units, formats, areas.
        GdipSetSmoothingMode(g, SmoothingMode(7)), GdipSetTextRenderingHint(g, TextRenderingHint(6)),
        GdipSetInterpolationMode(g, InterpolationMode(8)), GdipSetPixelOffsetMode(g, PixelOffsetMode(5)),
        GdipTranslateWorldTransform(g, 1, 1, MatrixOrder(2)), GdipSetPenStartCap(pen, LineCap(9)),
        GdipSetPenDashStyle(pen, DashStyle(6)), GdipSetPenDashArray(pen, runs, 0), GdipGetPenDashArray(pen, runs, 2),
        GdipCreatePath(FillMode(2), &path), GdipAddPathPolygonI(path, pts, 2), GdipDrawLinesI(g, pen, pts, 1),
        GdipFillPolygonI(g, solid, pts, 2, FillModeWinding), GdipCreateFont(fam, 10.0f, 0, UnitDisplay, &font),
        GdipSetStringFormatAlign(fmt, StringAlignment(3)),
        GdipCreateBitmapFromScan0(2, 2, 4, PixelFormat32bppARGB, bits, &img),
        GdipCloneBitmapAreaI(0, 0, 1, 1, 0x1234, img, &img),
        GdipBitmapLockBits(img, nullptr, 0, PixelFormat32bppARGB, &data),
        GdipDrawImageRectRectI(g, img, 0, 0, 1, 1, 0, 0, 1, 1, UnitInch, nullptr, nullptr, nullptr),
        GdipDrawImageRectRectI(g, img, 0, 0, 1, 1, 0, 0, 0, 1, UnitPixel, nullptr, nullptr, nullptr),
    };
    for (size_t i = 0; i < std::size(got); ++i)
        EXPECT_EQ(got[i], InvalidParameter) << "call " << i;
    // A locked bitmap is busy for every use; a drawing with no width is done.
    ASSERT_EQ(GdipBitmapLockBits(img, nullptr, ImageLockModeRead, PixelFormat32bppARGB, &data), Ok);
    GpTexture* t = nullptr;
    EXPECT_EQ(GdipCreateTexture(img, WrapModeTile, &t), WrongState);
    EXPECT_EQ(GdipCloneBitmapAreaI(0, 0, 1, 1, PixelFormat32bppARGB, img, &img), WrongState);
    EXPECT_EQ(GdipDrawImageRect(g, img, 0, 0, 2, 2), WrongState);
    EXPECT_EQ(GdipBitmapSetPixel(img, 0, 0, 0), WrongState);
    GdipBitmapUnlockBits(img, &data);
    EXPECT_EQ(GdipBitmapUnlockBits(img, &data), WrongState);
    EXPECT_EQ(GdipDrawImageRect(g, img, 0, 0, 0, 2), Ok);
    EXPECT_EQ(GdipFillEllipseI(g, solid, 0, 0, 0, 2), Ok);
    EXPECT_EQ(cv.Count(kWhite), 16);
    for (GpStatus s : {GdipDisposeImage(img), GdipDeleteStringFormat(fmt), GdipDeleteFont(font),
                       GdipDeleteFontFamily(fam), GdipDeleteMatrix(m), GdipDeletePath(path), GdipDeleteBrush(hatch),
                       GdipDeleteBrush(solid), GdipDeletePen(pen), GdipDeleteGraphics(g)})
        EXPECT_EQ(s, Ok);
}

TEST(Gdiplus, HatchesAreEightByEightOnTheDeviceGrid)
{
    // Style, a foreground and a background pixel; an unknown style alternates pixels.
    const int cases[][5] = {{HatchStyleHorizontal, 3, 1, 3, 2},      {HatchStyleVertical, 7, 4, 6, 4},
                            {HatchStyleForwardDiagonal, 2, 2, 2, 3}, {HatchStyleBackwardDiagonal, 7, 0, 0, 0},
                            {HatchStyleCross, 7, 5, 5, 5},           {HatchStyleDiagonalCross, 3, 3, 1, 3},
                            {77, 0, 0, 1, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c[0]);
        XGdiTestCanvas cv(24, 24);
        Graphics g(cv.dc);
        HatchBrush b(static_cast<HatchStyle>(c[0]), Color(0xFFFF0000), Color(0xFF0000FF));
        g.TranslateTransform(8.0f, 8.0f); // by whole tiles: the pattern stays on the device grid
        g.FillRectangle(&b, -8, -8, 24, 24);
        for (int tile = 0; tile < 24; tile += 8)
            ExpectPixels(cv, {{c[1] + tile, c[2], kRed}, {c[3], c[4] + tile, kBlue}});
    }
}

TEST(Gdiplus, TexturesTileFromTheWorldOriginTopRowFirst)
{
    // Green, with red at the top row's second column and a transparent pixel.
    Bitmap bmp(4, 4, PixelFormat32bppPARGB);
    for (int i = 0; i < 16; ++i)
        bmp.SetPixel(i % 4, i / 4, Color(i == 1 ? 0xFFFF0000 : i == 14 ? 0 : 0xFF00FF00));
    TextureBrush tile(&bmp);
    bmp.SetPixel(0, 0, Color(0xFF0000FF)); // the brush keeps its own copy
    XGdiTestCanvas cv(8, 12);
    Graphics g(cv.dc);
    g.FillRectangle(&tile, 0, 0, 8, 8);
    g.TranslateTransform(1, 8); // the texture moves with the world
    g.FillRectangle(&tile, 0, 0, 7, 4);
    cv.Save("gdiplus_texture");
    for (int t = 0; t < 8; t += 4) // the surface shows through the transparent pixel
        ExpectPixels(cv, {{1 + t, t, kRed}, {t, t, kGreen}, {2 + t, 3 + t, kWhite}});
    ExpectPixels(cv, {{2, 8, kRed}, {1, 8, kGreen}, {3, 11, kWhite}});
    EXPECT_EQ(TextureBrush(nullptr).GetLastStatus(), InvalidParameter);
}

TEST(Gdiplus, LockedBitsWriteThroughAndGuardTheBitmap)
{
    Bitmap bmp(3, 2, PixelFormat32bppARGB);
    BitmapData data;
    Rect all(0, 0, 3, 2), one(2, 0, 1, 1), outside(2, 1, 2, 1);
    Color c;
    ASSERT_EQ(bmp.LockBits(&all, ImageLockModeWrite, PixelFormat32bppARGB, &data), Ok);
    EXPECT_EQ(data.Stride, 12);
    static_cast<uint32_t*>(data.Scan0)[4] = 0x80FF0000; // (1, 1)
    EXPECT_EQ(bmp.LockBits(&all, ImageLockModeRead, PixelFormat32bppARGB, &data), WrongState);
    EXPECT_EQ(bmp.GetPixel(0, 0, &c), WrongState);
    ASSERT_EQ(bmp.UnlockBits(&data), Ok);
    bmp.GetPixel(1, 1, &c);
    EXPECT_EQ(c.GetValue(), 0x80FF0000u);
    data.Scan0 = &data; // the caller's own rows, too short for the area
    data.Stride = 3;
    EXPECT_EQ(bmp.LockBits(&one, ImageLockModeRead | ImageLockModeUserInputBuf, PixelFormat32bppARGB, &data),
              InvalidParameter);
    EXPECT_EQ(bmp.LockBits(&outside, ImageLockModeRead, PixelFormat32bppARGB, &data), InvalidParameter);
    EXPECT_EQ(bmp.LockBits(&all, ImageLockModeRead, 0x1234, &data), InvalidParameter);
    EXPECT_EQ(Bitmap(0, 5, PixelFormat32bppARGB).GetLastStatus(), InvalidParameter);
    uint32_t rows[2] = {0, 0}; // a bitmap over the caller's rows writes into them
    Bitmap over(2, 1, 8, PixelFormat32bppARGB, reinterpret_cast<BYTE*>(rows));
    over.SetPixel(1, 0, Color(0x01020304));
    EXPECT_EQ(rows[1], 0x01020304u);
}

TEST(Gdiplus, DibsCloneAndDrawIntoRectangles)
{
    // A bottom-up 24-bit DIB of 2 by 2: blue at the bottom left, red at the top right.
    BYTE dib[2 * 8] = {0xFF, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0, 0};
    BITMAPINFO bi = {};
    bi.bmiHeader = {40, 2, 2, 1, 24, BI_RGB, 0, 0, 0, 0, 0};
    Bitmap src(&bi, dib);
    Bitmap* clone = src.Clone(0, 0, 2, 2, PixelFormat32bppARGB);
    ASSERT_NE(clone, nullptr);
    EXPECT_EQ(src.Clone(1, 1, 2, 2, PixelFormat32bppARGB), nullptr);
    // Nearest pixels into a rectangle: the transparent quarter keeps the surface, nothing lands outside.
    XGdiTestCanvas cv(12, 8);
    Graphics g(cv.dc);
    g.SetInterpolationMode(InterpolationModeNearestNeighbor);
    g.SetPixelOffsetMode(PixelOffsetModeHalf);
    clone->SetPixel(0, 0, Color(0));
    clone->SetPixel(1, 1, Color(0xFF00FF00));
    ASSERT_EQ(g.DrawImage(clone, Rect(2, 2, 4, 4), 0, 0, 2, 2, UnitPixel), Ok);
    ExpectPixels(cv, {{2, 2, kWhite}, {5, 2, kRed}, {2, 5, kBlue}, {5, 5, kGreen}, {1, 1, kWhite}, {6, 6, kWhite}});
    delete clone;
}

TEST(Gdiplus, PolygonsPathsAndRegionsFillByTheirModeAndOutlinesFollowThePen)
{
    XGdiTestCanvas cv(60, 44);
    Graphics g(cv.dc);
    SolidBrush red(Color(255, 255, 0, 0)), halfBlue(Color(0x80, 0, 0, 255));
    Pen blue(Color(255, 0, 0, 255));
    // A pentagram (its middle wound twice) by either mode; a ring with a hole as a region.
    const Point star[5] = {{10, 0}, {16, 19}, {0, 7}, {20, 7}, {4, 19}};
    GraphicsPath winding(FillModeWinding), ring;
    winding.AddPolygon(star, 5);
    ring.AddRectangle(RectF(2, 2, 16, 16));
    ring.AddRectangle(RectF(6, 6, 8, 8));
    EXPECT_EQ(ring.GetPointCount(), 8);
    Region region(&ring);
    g.FillPolygon(&red, star, 5);
    g.TranslateTransform(20, 0);
    g.FillPath(&red, &winding);
    g.TranslateTransform(20, 0);
    g.FillRegion(&red, &region);
    g.DrawPath(&blue, &ring);
    ExpectPixels(cv, {{10, 10, kWhite}, {10, 4, kRed}, {30, 10, kRed}, {30, 4, kRed}, {50, 10, kWhite}});
    ExpectPixels(cv, {{44, 10, kRed}, {42, 10, kBlue}, {46, 10, kBlue}, {41, 10, kWhite}});
    // Open and closed outlines; an ellipse with no height is the line along its box.
    g.ResetTransform();
    const Point corner[3] = {{1, 25}, {10, 25}, {10, 34}}, shifted[3] = {{21, 25}, {30, 25}, {30, 34}};
    g.DrawLines(&blue, corner, 3);
    g.DrawPolygon(&blue, shifted, 3);
    g.DrawRectangle(&blue, 40, 25, 10, 10);
    g.DrawEllipse(&blue, 40, 38, 15, 0);
    ExpectPixels(cv, {{5, 25, kBlue}, {10, 30, kBlue}, {5, 30, kWhite}, {25, 25, kBlue}, {25, 29, kBlue}});
    ExpectPixels(cv, {{40, 30, kBlue}, {50, 30, kBlue}, {45, 30, kWhite}, {47, 38, kBlue}});
    // Half-transparent blue over white blends; the raster device draws on over it.
    g.FillRectangle(&halfBlue, 0, 40, 60, 4);
    EXPECT_EQ(GetBValue(cv.At(3, 42)), 255);
    EXPECT_NEAR(GetRValue(cv.At(3, 42)), 127, 2);
    const RECT r = {0, 43, 60, 44};
    FillRect(cv.dc, &r, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
    EXPECT_EQ(cv.At(3, 43), kBlack);
    cv.Save("gdiplus_shapes");
}

TEST(Gdiplus, ClipRectanglesReplaceOrIntersectAndTransformsComposeInOrder)
{
    XGdiTestCanvas cv(10, 10);
    Graphics g(cv.dc);
    SolidBrush b(Color(255, 0, 0, 0));
    g.SetClip(Rect(2, 2, 6, 6));
    g.SetClip(Rect(4, 0, 10, 10), CombineModeIntersect);
    g.FillRectangle(&b, 0, 0, 10, 10);
    EXPECT_EQ(cv.Count(kBlack), 4 * 6);
    ExpectPixels(cv, {{4, 2, kBlack}, {3, 2, kWhite}});
    EXPECT_EQ(g.SetClip(Rect(0, 0, 1, 1), CombineModeUnion), InvalidParameter);
    g.SetClip(Rect(0, 0, 1, 1));
    g.FillRectangle(&b, 0, 0, 10, 10);
    EXPECT_EQ(cv.Count(kBlack), 4 * 6 + 1);
    g.ResetClip();
    g.FillRectangle(&b, 0, 0, 10, 10);
    EXPECT_EQ(cv.Count(kBlack), 100);
    // Turn, then move; the appended move moves the result. +x turns to +y: clockwise on the screen.
    g.TranslateTransform(10.0f, 20.0f);
    g.RotateTransform(90.0f);
    g.TranslateTransform(1.0f, 0.0f, MatrixOrderAppend);
    EXPECT_EQ(g.ScaleTransform(0.0f, 1.0f), InvalidParameter);
    const REAL turned[6] = {0, 1, -1, 0, 11, 20}, reset[6] = {1, 0, 0, 1, 0, 0};
    for (const REAL* expected : {turned, reset}) {
        Matrix m;
        REAL e[6];
        g.GetTransform(&m);
        m.GetElements(e);
        for (int i = 0; i < 6; ++i)
            EXPECT_NEAR(e[i], expected[i], 1e-6) << i;
        g.ResetTransform();
    }
}

TEST(Gdiplus, StringsAreMeasuredAndPlacedByTheirFormat)
{
    XGdiTestCanvas cv(200, 60);
    Graphics g(cv.dc);
    FontFamily family(L"Liberation Sans");
    Gdiplus::Font font(&family, 15.0f, FontStyleBold | FontStyleUnderline); // 20 pixels
    StringFormat fmt;
    const PointF at(100.0f, 30.0f);
    RectF near, centre;
    g.MeasureString(L"MMMM", -1, &font, at, &fmt, &near);
    fmt.SetAlignment(StringAlignmentCenter);
    fmt.SetLineAlignment(StringAlignmentFar);
    g.MeasureString(L"MMMM", -1, &font, at, &fmt, &centre);
    EXPECT_TRUE(near.Width > 40.0f && near.Height > 15.0f);
    EXPECT_EQ((std::vector<REAL>{near.X, near.Y}), (std::vector<REAL>{100.0f, 30.0f}));
    EXPECT_NEAR(centre.X, 100.0f - near.Width / 2, 1e-3);
    EXPECT_NEAR(centre.Y, 30.0f - near.Height, 1e-3);
    // Drawn centred above the point, aliased: ink of one colour either side of x = 100, none below y = 30.
    SolidBrush black(Color(255, 0, 0, 0));
    g.SetTextRenderingHint(TextRenderingHintSingleBitPerPixelGridFit);
    ASSERT_EQ(g.DrawString(L"MMMM", -1, &font, at, &fmt, &black), Ok);
    cv.Save("gdiplus_string");
    int left = 0, right = 0, below = 0;
    for (int y = 0; y < 60; ++y)
        for (int x = 0; x < 200; ++x)
            if (cv.At(x, y) != kWhite)
                (y > 31 ? below : x < 100 ? left : right)++;
    EXPECT_TRUE(left > 50 && right > 50) << left << " " << right;
    EXPECT_EQ(below, 0);
    EXPECT_EQ(cv.Colours().size(), 2u);
    EXPECT_EQ(Gdiplus::Font(&family, 0.0f).GetLastStatus(), InvalidParameter);
}

TEST(Gdiplus, DashesLeaveGapsInUnitsOfTheWidth)
{
    XGdiTestCanvas cv(120, 70);
    Graphics g(cv.dc);
    g.SetSmoothingMode(SmoothingModeAntiAlias);
    const REAL custom[] = {4.0f, 2.0f}, zeros[] = {0.0f, 0.0f};
    for (int nStyle = 0; nStyle <= 5; ++nStyle) { // the five styles, then a custom pattern
        SCOPED_TRACE(nStyle);
        const int y = 5 + 10 * nStyle;
        Pen native(Color(255, 0, 0, 0), 2.0f);
        native.SetStartCap(LineCapRound); // dashes keep flat ends all the same
        if (nStyle == 5)
            native.SetDashPattern(custom, 2);
        else
            native.SetDashStyle(static_cast<DashStyle>(nStyle));
        g.DrawLine(&native, 10, y, 110, y);
        int ink = 0, gaps = 0;
        for (int x = 12; x < 108; ++x)
            (cv.At(x, y) == kWhite ? gaps : ink)++;
        EXPECT_GT(ink, 20);
        EXPECT_EQ(gaps > 10, nStyle != 0) << gaps;
    }
    // Dots at width 2 from the centre of pixel 10: two pixels on, two off.
    ExpectPixels(cv, {{11, 25, kBlack}, {13, 25, kWhite}, {15, 25, kBlack}});
    // A zero run and a negative width are refused and change nothing.
    Pen pen(Color(255, 0, 0, 255), 2.0f);
    ASSERT_EQ(pen.SetDashPattern(custom, 2), Ok);
    EXPECT_EQ(pen.SetDashPattern(zeros, 2), InvalidParameter);
    EXPECT_EQ(pen.SetWidth(-1.0f), InvalidParameter);
    EXPECT_EQ(pen.GetDashPatternCount(), 2);
    EXPECT_EQ(pen.GetWidth(), 2.0f);
    // A filled and outlined ellipse: the corner of the box lies outside the curve.
    SolidBrush green(Color(0xFF00FF00));
    Pen blue(Color(0xFF0000FF));
    g.FillEllipse(&green, 30, 0, 20, 10);
    g.DrawEllipse(&blue, 30, 0, 20, 10);
    ExpectPixels(cv, {{40, 5, kGreen}, {31, 0, kWhite}});
    EXPECT_TRUE(GetBValue(cv.At(30, 5)) > 0xC0u && GetRValue(cv.At(30, 5)) == 0u);
    cv.Save("gdiplus_dashes");
}
