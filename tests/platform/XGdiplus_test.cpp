// The antialiased device on plain memory: objects, pixel rules, brushes,
// bitmaps with locks, text placement and transforms.
#include "KVDbase/platform/XGdiplus.h"
#include "XGdiTestCanvas.h"

#include <gtest/gtest.h>

#include <cstdint>

using namespace Gdiplus;

namespace {

// A white DIB section in a memory DC with a graphics over it.
struct Canvas {
    XGdiTestCanvas dc;
    GpGraphics* g = nullptr;
    Canvas(int w, int h) : dc(w, h) { EXPECT_EQ(GdipCreateFromHDC(dc.dc, &g), Ok); }
    ~Canvas() { GdipDeleteGraphics(g); }
    // The pixel as 0xRRGGBB.
    uint32_t At(int x, int y) const { return dc.bits[y * dc.w + x] & 0xFFFFFF; }
    void Save(const char* name) const { dc.Save(name); }
};

GpBrush* Solid(ARGB c)
{
    GpSolidFill* b = nullptr;
    GdipCreateSolidFill(c, &b);
    return b;
}

} // namespace

TEST(Gdiplus, PenDashArraysAndValidation)
{
    Pen pen(Color(255, 0, 0, 255), 2.0f);
    EXPECT_EQ(pen.GetLastStatus(), Ok);
    const REAL runs[] = {3.0f, 1.0f, 2.0f};
    EXPECT_EQ(pen.SetDashPattern(runs, 3), Ok);
    EXPECT_EQ(pen.GetDashStyle(), DashStyleCustom);
    REAL back[3];
    ASSERT_EQ(pen.GetDashPatternCount(), 3);
    pen.GetDashPattern(back, 3);
    EXPECT_EQ(back[2], 2.0f);
    // A zero run (a pattern scaled by a zero width) is refused and changes nothing.
    const REAL zeros[] = {0.0f, 0.0f};
    EXPECT_EQ(pen.SetDashPattern(zeros, 2), InvalidParameter);
    EXPECT_EQ(pen.GetDashPatternCount(), 3);
    EXPECT_EQ(pen.SetWidth(-1.0f), InvalidParameter);
    EXPECT_EQ(GdipSetPenColor(nullptr, 0), InvalidParameter);
    Color c;
    pen.GetColor(&c);
    EXPECT_EQ(c.GetB(), 255);
    EXPECT_EQ(c.GetR(), 0);
}

TEST(Gdiplus, PixelOffsetPutsWholeCoordinatesOnPixelCentres)
{
    Canvas cv(16, 16);
    GpPen* pen = nullptr;
    GdipCreatePen1(0xFF000000, 1.0f, UnitPixel, &pen);
    GdipSetSmoothingMode(cv.g, SmoothingModeAntiAlias);
    GdipDrawLineI(cv.g, pen, 2, 5, 12, 5); // default offset: row 5 exactly
    EXPECT_EQ(cv.At(6, 5), 0x000000u);
    EXPECT_EQ(cv.At(6, 4), 0xFFFFFFu);
    EXPECT_EQ(cv.At(6, 6), 0xFFFFFFu);
    GdipSetPixelOffsetMode(cv.g, PixelOffsetModeHalf); // now the line lies on the edge of rows 9 and 10
    GdipDrawLineI(cv.g, pen, 2, 10, 12, 10);
    EXPECT_NE(cv.At(6, 9), 0xFFFFFFu);
    EXPECT_NE(cv.At(6, 10), 0xFFFFFFu);
    EXPECT_NE(cv.At(6, 9), 0x000000u);
    // Width 0 is a one-pixel line at any scale.
    GdipSetPixelOffsetMode(cv.g, PixelOffsetModeNone);
    GdipSetPenWidth(pen, 0.0f);
    GdipScaleWorldTransform(cv.g, 0.25f, 0.25f, MatrixOrderPrepend);
    GdipDrawLineI(cv.g, pen, 8, 56, 48, 56); // device row 14
    EXPECT_EQ(cv.At(6, 14), 0x000000u);
    EXPECT_EQ(cv.At(6, 13), 0xFFFFFFu);
    GdipDeletePen(pen);
}

TEST(Gdiplus, GraphicsOfADeviceContextBlendsByAlpha)
{
    XGdiTestCanvas dc(8, 8);
    {
        Graphics g(dc.dc);
        ASSERT_EQ(g.GetLastStatus(), Ok);
        SolidBrush b(Color(0x80, 0, 0, 255)); // half-transparent blue over white
        EXPECT_EQ(g.FillRectangle(&b, 0, 0, 8, 4), Ok);
    }
    const COLORREF v = dc.At(3, 3);
    EXPECT_EQ(GetBValue(v), 255);
    EXPECT_NEAR(GetRValue(v), 127, 2);
    EXPECT_NEAR(GetGValue(v), 127, 2);
    EXPECT_EQ(dc.At(3, 4), kWhite);
    // The raster device goes on drawing on the same pixels.
    HBRUSH hb = CreateSolidBrush(kBlack);
    RECT r = {0, 6, 8, 8};
    FillRect(dc.dc, &r, hb);
    DeleteObject(hb);
    EXPECT_EQ(dc.At(3, 7), kBlack);
    GpGraphics* g = nullptr;
    EXPECT_EQ(GdipCreateFromHDC(nullptr, &g), InvalidParameter);
}

TEST(Gdiplus, HatchesAreEightByEightOnTheDeviceGrid)
{
    struct Case {
        int hatch;
        int x, y;       // a pixel in the foreground
        int bx, by;     // one in the background
    };
    const Case cases[] = {
        {HatchStyleHorizontal, 3, 1, 3, 2},     {HatchStyleVertical, 7, 4, 6, 4},
        {HatchStyleForwardDiagonal, 2, 2, 2, 3}, {HatchStyleBackwardDiagonal, 7, 0, 0, 0},
        {HatchStyleCross, 7, 5, 5, 5},           {HatchStyleDiagonalCross, 3, 3, 1, 3},
        {77, 0, 0, 1, 0}, // any other code: alternating pixels
    };
    for (const Case& c : cases) {
        Canvas cv(24, 24);
        GpHatch* b = nullptr;
        ASSERT_EQ(GdipCreateHatchBrush(static_cast<HatchStyle>(c.hatch), 0xFFFF0000, 0xFF0000FF, &b), Ok);
        // Translated by whole tiles: the pattern stays on the device grid.
        GdipTranslateWorldTransform(cv.g, 8.0f, 8.0f, MatrixOrderPrepend);
        GdipFillRectangleI(cv.g, b, -8, -8, 24, 24);
        SCOPED_TRACE(c.hatch);
        for (int tile = 0; tile < 24; tile += 8) {
            EXPECT_EQ(cv.At(c.x + tile, c.y), 0xFF0000u);
            EXPECT_EQ(cv.At(c.bx, c.by + tile), 0x0000FFu);
        }
        BrushType t;
        GdipGetBrushType(b, &t);
        EXPECT_EQ(t, BrushTypeHatchFill);
        GdipDeleteBrush(b);
    }
}

TEST(Gdiplus, TextureTilesFromTheWorldOriginTopRowFirst)
{
    GpBitmap* bmp = nullptr;
    ASSERT_EQ(GdipCreateBitmapFromScan0(4, 4, 0, PixelFormat32bppARGB, nullptr, &bmp), Ok);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x)
            GdipBitmapSetPixel(bmp, x, y, 0xFF00FF00);
    GdipBitmapSetPixel(bmp, 1, 0, 0xFFFF0000); // top row, second column
    GdipBitmapSetPixel(bmp, 2, 3, 0x00000000); // transparent
    GpTexture* t = nullptr;
    ASSERT_EQ(GdipCreateTexture(bmp, WrapModeTile, &t), Ok);
    GdipBitmapSetPixel(bmp, 0, 0, 0xFF0000FF); // the brush kept its own copy
    GdipDisposeImage(bmp);
    Canvas cv(8, 8);
    GdipFillRectangleI(cv.g, t, 0, 0, 8, 8);
    cv.Save("gdiplus_texture");
    for (int tile = 0; tile < 8; tile += 4) {
        EXPECT_EQ(cv.At(1 + tile, 0 + tile), 0xFF0000u);
        EXPECT_EQ(cv.At(0 + tile, 0 + tile), 0x00FF00u);
        EXPECT_EQ(cv.At(2 + tile, 3 + tile), 0xFFFFFFu); // the surface shows through
    }
    GpImage* copy = nullptr;
    ASSERT_EQ(GdipGetTextureImage(t, &copy), Ok);
    ARGB argb = 0;
    GdipBitmapGetPixel(copy, 1, 0, &argb);
    EXPECT_EQ(argb, 0xFFFF0000u);
    GdipDisposeImage(copy);
    GdipDeleteBrush(t);
    EXPECT_EQ(GdipCreateTexture(nullptr, WrapModeTile, &t), InvalidParameter);
}

TEST(Gdiplus, LockedBitsConvertAndGuardTheBitmap)
{
    Bitmap bmp(3, 2, PixelFormat32bppARGB);
    BitmapData data;
    Rect all(0, 0, 3, 2);
    ASSERT_EQ(bmp.LockBits(&all, ImageLockModeWrite, PixelFormat32bppARGB, &data), Ok);
    EXPECT_EQ(data.Stride, 12);
    static_cast<uint32_t*>(data.Scan0)[4] = 0x80FF0000; // (1, 1)
    EXPECT_EQ(bmp.LockBits(&all, ImageLockModeRead, PixelFormat32bppARGB, &data), WrongState);
    Color c;
    EXPECT_EQ(bmp.GetPixel(0, 0, &c), WrongState);
    ASSERT_EQ(bmp.UnlockBits(&data), Ok);
    bmp.GetPixel(1, 1, &c);
    EXPECT_EQ(c.GetValue(), 0x80FF0000u);
    // A premultiplied read lock converts; a 24-bit write lock converts back.
    ASSERT_EQ(bmp.LockBits(&all, ImageLockModeRead, PixelFormat32bppPARGB, &data), Ok);
    EXPECT_EQ(static_cast<uint32_t*>(data.Scan0)[4], 0x80800000u);
    bmp.UnlockBits(&data);
    Rect one(2, 0, 1, 1);
    ASSERT_EQ(bmp.LockBits(&one, ImageLockModeWrite, PixelFormat24bppRGB, &data), Ok);
    BYTE* p = static_cast<BYTE*>(data.Scan0);
    p[0] = 0x10, p[1] = 0x20, p[2] = 0x30;
    bmp.UnlockBits(&data);
    bmp.GetPixel(2, 0, &c);
    EXPECT_EQ(c.GetValue(), 0xFF302010u);
    Rect outside(2, 1, 2, 1);
    EXPECT_EQ(bmp.LockBits(&outside, ImageLockModeRead, PixelFormat32bppARGB, &data), InvalidParameter);
    EXPECT_EQ(bmp.LockBits(&all, ImageLockModeRead, 0x1234, &data), InvalidParameter);
    Bitmap bad(0, 5, PixelFormat32bppARGB);
    EXPECT_EQ(bad.GetLastStatus(), InvalidParameter);
}

TEST(Gdiplus, DibsCloneAndDrawIntoRectangles)
{
    // A bottom-up 24-bit DIB of 2 by 2: the first row in memory is the bottom.
    BYTE dib[2 * 8] = {0};
    BITMAPINFO bi = {};
    bi.bmiHeader.biSize = 40;
    bi.bmiHeader.biWidth = 2;
    bi.bmiHeader.biHeight = 2;
    bi.bmiHeader.biPlanes = 1;
    bi.bmiHeader.biBitCount = 24;
    dib[0] = 0xFF;      // bottom left: blue
    dib[8 + 5] = 0xFF;  // top right: red
    Bitmap src(&bi, dib);
    ASSERT_EQ(src.GetLastStatus(), Ok);
    Bitmap* clone = src.Clone(0, 0, 2, 2, PixelFormat32bppARGB);
    ASSERT_NE(clone, nullptr);
    Color c;
    clone->GetPixel(0, 1, &c);
    EXPECT_EQ(c.GetValue(), 0xFF0000FFu);
    clone->GetPixel(1, 0, &c);
    EXPECT_EQ(c.GetValue(), 0xFFFF0000u);
    EXPECT_EQ(src.Clone(1, 1, 2, 2, PixelFormat32bppARGB), nullptr);

    Canvas cv(8, 8);
    GdipSetInterpolationMode(cv.g, InterpolationModeNearestNeighbor);
    GdipSetPixelOffsetMode(cv.g, PixelOffsetModeHalf);
    GpImage* img = nullptr;
    GdipCloneBitmapAreaI(0, 0, 2, 2, PixelFormat32bppARGB, nullptr, &img);
    EXPECT_EQ(img, nullptr);
    GdipCreateBitmapFromScan0(2, 2, 0, PixelFormat32bppARGB, nullptr, &img);
    GdipBitmapSetPixel(img, 0, 1, 0xFF0000FF);
    GdipBitmapSetPixel(img, 1, 0, 0xFFFF0000);
    GdipBitmapSetPixel(img, 0, 0, 0x00000000);
    GdipBitmapSetPixel(img, 1, 1, 0xFF00FF00);
    ASSERT_EQ(GdipDrawImageRectRectI(cv.g, img, 2, 2, 4, 4, 0, 0, 2, 2, UnitPixel, nullptr, nullptr, nullptr), Ok);
    EXPECT_EQ(cv.At(2, 2), 0xFFFFFFu); // transparent quarter
    EXPECT_EQ(cv.At(5, 2), 0xFF0000u);
    EXPECT_EQ(cv.At(2, 5), 0x0000FFu);
    EXPECT_EQ(cv.At(5, 5), 0x00FF00u);
    EXPECT_EQ(cv.At(1, 1), 0xFFFFFFu); // nothing outside the target
    EXPECT_EQ(cv.At(6, 6), 0xFFFFFFu);
    GdipDisposeImage(img);
    delete clone;
}

TEST(Gdiplus, ClipRectanglesReplaceOrIntersect)
{
    Canvas cv(10, 10);
    GpBrush* b = Solid(0xFF000000);
    GdipSetClipRectI(cv.g, 2, 2, 6, 6, CombineModeReplace);
    GdipSetClipRectI(cv.g, 4, 0, 10, 10, CombineModeIntersect);
    GdipFillRectangleI(cv.g, b, 0, 0, 10, 10);
    EXPECT_EQ(cv.dc.Count(kBlack), 4 * 6);
    EXPECT_EQ(cv.At(4, 2), 0x000000u);
    EXPECT_EQ(cv.At(3, 2), 0xFFFFFFu);
    EXPECT_EQ(GdipSetClipRectI(cv.g, 0, 0, 1, 1, CombineModeUnion), InvalidParameter);
    GdipSetClipRectI(cv.g, 0, 0, 1, 1, CombineModeReplace);
    GdipFillRectangleI(cv.g, b, 0, 0, 10, 10);
    EXPECT_EQ(cv.dc.Count(kBlack), 4 * 6 + 1);
    GdipDeleteBrush(b);
}

TEST(Gdiplus, WorldTransformsComposeInOrder)
{
    Canvas cv(4, 4);
    GdipTranslateWorldTransform(cv.g, 10.0f, 20.0f, MatrixOrderPrepend);
    GdipRotateWorldTransform(cv.g, 90.0f, MatrixOrderPrepend); // turn, then move
    GpMatrix* m = nullptr;
    GdipCreateMatrix(&m);
    GdipGetWorldTransform(cv.g, m);
    REAL e[6];
    GdipGetMatrixElements(m, e);
    EXPECT_NEAR(e[0], 0.0f, 1e-6);
    EXPECT_NEAR(e[1], 1.0f, 1e-6); // +x turns to +y: clockwise on the screen
    EXPECT_NEAR(e[4], 10.0f, 1e-6);
    EXPECT_NEAR(e[5], 20.0f, 1e-6);
    GdipTranslateWorldTransform(cv.g, 1.0f, 0.0f, MatrixOrderAppend); // moves the result
    GdipGetWorldTransform(cv.g, m);
    GdipGetMatrixElements(m, e);
    EXPECT_NEAR(e[4], 11.0f, 1e-6);
    EXPECT_EQ(GdipScaleWorldTransform(cv.g, 0.0f, 1.0f, MatrixOrderPrepend), InvalidParameter);
    GdipResetWorldTransform(cv.g);
    GdipGetWorldTransform(cv.g, m);
    GdipGetMatrixElements(m, e);
    EXPECT_EQ(e[0], 1.0f);
    EXPECT_EQ(e[4], 0.0f);
    GdipDeleteMatrix(m);
}

TEST(Gdiplus, StringsAreMeasuredAndPlacedByTheirFormat)
{
    Canvas cv(200, 60);
    GpFontFamily* fam = nullptr;
    ASSERT_EQ(GdipCreateFontFamilyFromName(L"Liberation Sans", nullptr, &fam), Ok);
    GpFont* font = nullptr;
    ASSERT_EQ(GdipCreateFont(fam, 20.0f, FontStyleBold, UnitPixel, &font), Ok);
    GpStringFormat* fmt = nullptr;
    GdipCreateStringFormat(0, 0, &fmt);
    const RectF at(100.0f, 30.0f, 0.0f, 0.0f);
    RectF near, centre, far;
    GdipMeasureString(cv.g, L"MMMM", -1, font, &at, fmt, &near, nullptr, nullptr);
    GdipSetStringFormatAlign(fmt, StringAlignmentCenter);
    GdipSetStringFormatLineAlign(fmt, StringAlignmentFar);
    GdipMeasureString(cv.g, L"MMMM", -1, font, &at, fmt, &centre, nullptr, nullptr);
    EXPECT_GT(near.Width, 40.0f);
    EXPECT_GT(near.Height, 15.0f);
    EXPECT_EQ(near.X, 100.0f);
    EXPECT_EQ(near.Y, 30.0f);
    EXPECT_NEAR(centre.X, 100.0f - near.Width / 2, 1e-3);
    EXPECT_NEAR(centre.Y, 30.0f - near.Height, 1e-3);
    GdipSetStringFormatAlign(fmt, StringAlignmentFar);
    GdipMeasureString(cv.g, L"MMMM", -1, font, &at, fmt, &far, nullptr, nullptr);
    EXPECT_NEAR(far.X + far.Width, 100.0f, 1e-3);

    // Drawn centred above the point: ink on both sides of x = 100, none below y = 30.
    GpBrush* b = Solid(0xFF000000);
    GdipSetStringFormatAlign(fmt, StringAlignmentCenter);
    GdipSetTextRenderingHint(cv.g, TextRenderingHintAntiAlias);
    ASSERT_EQ(GdipDrawString(cv.g, L"MMMM", -1, font, &at, fmt, b), Ok);
    cv.Save("gdiplus_string");
    int left = 0, right = 0, below = 0;
    for (int y = 0; y < 60; ++y)
        for (int x = 0; x < 200; ++x)
            if (cv.At(x, y) != 0xFFFFFF)
                (y > 31 ? below : x < 100 ? left : right)++;
    EXPECT_GT(left, 50);
    EXPECT_GT(right, 50);
    EXPECT_EQ(below, 0);
    GdipDeleteBrush(b);
    GdipDeleteStringFormat(fmt);
    GdipDeleteFont(font);
    EXPECT_EQ(GdipCreateFont(fam, 0.0f, 0, UnitPixel, &font), InvalidParameter);
    GdipDeleteFontFamily(fam);
}

TEST(Gdiplus, DashesLeaveGapsInUnitsOfTheWidth)
{
    Canvas cv(120, 70);
    GdipSetSmoothingMode(cv.g, SmoothingModeAntiAlias);
    const REAL custom[] = {4.0f, 2.0f};
    for (int nStyle = 0; nStyle <= 5; ++nStyle) {
        const int y = 5 + 10 * nStyle;
        GpPen* native = nullptr;
        GdipCreatePen1(0xFF000000, 2.0f, UnitPixel, &native);
        GdipSetPenStartCap(native, LineCapRound); // dashes keep flat ends all the same
        if (nStyle == 5)
            GdipSetPenDashArray(native, custom, 2);
        else
            GdipSetPenDashStyle(native, static_cast<DashStyle>(nStyle));
        GdipDrawLineI(cv.g, native, 10, y, 110, y);
        GdipDeletePen(native);
        int ink = 0, gaps = 0;
        for (int x = 12; x < 108; ++x)
            (cv.At(x, y) == 0xFFFFFF ? gaps : ink)++;
        SCOPED_TRACE(nStyle);
        EXPECT_GT(ink, 20);
        if (nStyle == 0)
            EXPECT_EQ(gaps, 0);
        else
            EXPECT_GT(gaps, 10);
    }
    // Style 2 (dot) at width 2 from the centre of pixel 10: two pixels on,
    // two off.
    EXPECT_EQ(cv.At(11, 25), 0x000000u);
    EXPECT_EQ(cv.At(13, 25), 0xFFFFFFu);
    EXPECT_EQ(cv.At(15, 25), 0x000000u);
    GpBrush* b = Solid(0xFF00FF00);
    GpPen* pen = nullptr;
    GdipCreatePen1(0xFF0000FF, 1.0f, UnitPixel, &pen);
    GdipFillEllipseI(cv.g, b, 30, 0, 20, 10);
    GdipDrawEllipseI(cv.g, pen, 30, 0, 20, 10);
    EXPECT_EQ(cv.At(40, 5), 0x00FF00u);
    EXPECT_GT(cv.At(30, 5) & 0xFF, 0xC0u);
    EXPECT_EQ(cv.At(30, 5) >> 16, 0u);
    EXPECT_EQ(cv.At(31, 0), 0xFFFFFFu); // outside the ellipse's curve
    cv.Save("gdiplus_dashes");
    GdipDeletePen(pen);
    GdipDeleteBrush(b);
}
