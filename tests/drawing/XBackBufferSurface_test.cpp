#include "KVDbase/drawing/XBackBuffer.h"
#include "KVDbase/platform/XGdiClasses.h"
#include "XDrawingTestCanvas.h"

#include <gtest/gtest.h>

namespace {

BITMAP BitmapOf(HDC hDC)
{
    BITMAP bm = {};
    GetObjectA(GetCurrentObject(hDC, OBJ_BITMAP), sizeof bm, &bm);
    return bm;
}

TEST(XBackBufferSurface, CreateTakesTheDeviceSizeForEveryType)
{
    HWND hWnd = XfnCreateImageWindow(120, 80);
    HDC hWindow = GetDC(hWnd);
    {
        XBackBuffer bb;
        ASSERT_EQ(bb.Create(hWnd, XBackBuffer::TYPE_DIB), 1);
        EXPECT_NE(bb.GetDC(), hWindow);
        EXPECT_EQ(bb.GetWidth(), 120);
        EXPECT_EQ(bb.GetHeight(), 80);
        EXPECT_EQ(bb.GetBitsPixel(), 32);
        EXPECT_EQ(bb.GetDIBWidthBytes(), 480);
        EXPECT_EQ(BitmapOf(bb.GetDC()).bmWidth, 120);
        BITMAPINFO bmi;
        EXPECT_NE(bb.GetDIBits(bmi), nullptr);
        EXPECT_EQ(bmi.bmiHeader.biHeight, 80);
    }
    {
        // Type 1 starts on a 10 by 10 placeholder while keeping the device's
        // size, so a resize to that size keeps the placeholder.
        XBackBuffer bb;
        ASSERT_EQ(bb.Create(hWindow, XBackBuffer::TYPE_DDB), 1);
        EXPECT_EQ(bb.GetWidth(), 120);
        EXPECT_EQ(BitmapOf(bb.GetDC()).bmWidth, 10);
        EXPECT_EQ(bb.Resize(hWindow, 120, 80), 1);
        EXPECT_EQ(BitmapOf(bb.GetDC()).bmWidth, 10);
        EXPECT_EQ(bb.Resize(hWindow, 60, 40), 1);
        EXPECT_EQ(BitmapOf(bb.GetDC()).bmWidth, 60);
        EXPECT_EQ(bb.GetDIBWidthBytes(), 240);
        BITMAPINFO bmi;
        EXPECT_EQ(bb.GetDIBits(bmi), nullptr);
    }
    for (int nType : {static_cast<int>(XBackBuffer::TYPE_DC), 7}) {
        // Straight on the caller's DC, which stays the caller's.
        XBackBuffer bb;
        CDC dc;
        dc.Attach(hWindow);
        ASSERT_EQ(bb.Create(&dc, nType), 1);
        EXPECT_EQ(bb.GetDC(), hWindow);
        EXPECT_EQ(bb.GetWidth(), 120);
        EXPECT_EQ(bb.Resize(&dc, 50, 20), 1); // no bitmap: only the size changes
        EXPECT_EQ(bb.GetWidth(), 50);
        bb.Delete();
        EXPECT_EQ(bb.GetDC(), hWindow);
        dc.Detach();
    }
    EXPECT_EQ(GetDeviceCaps(hWindow, HORZRES), 120); // the window's DC lives on
    EXPECT_EQ(GetPixel(hWindow, 0, 0), kWhite);
    DestroyWindow(hWnd);
}

TEST(XBackBufferSurface, ResizeRulesAndFailures)
{
    HWND hWnd = XfnCreateImageWindow(64, 48);
    HDC hWindow = GetDC(hWnd);
    XBackBuffer bb(XBackBuffer::TYPE_DIB);
    // The first Resize creates the surface on the DC it is given.
    ASSERT_EQ(bb.Resize(hWindow, 32, 16), 1);
    ASSERT_NE(bb.GetDC(), nullptr);
    BITMAPINFO bmi;
    void* pBits = bb.GetDIBits(bmi);
    EXPECT_EQ(bmi.bmiHeader.biWidth, 32);
    for (auto size : {std::make_pair(0, 10), std::make_pair(10, 0), std::make_pair(-5, 10)}) {
        EXPECT_EQ(bb.Resize(hWindow, size.first, size.second), 0);
        EXPECT_EQ(bb.GetWidth(), 32);
    }
    EXPECT_EQ(bb.Resize(hWindow, 32, 16), 1);
    EXPECT_EQ(bb.GetDIBits(bmi), pBits); // same size: the same surface

    // A surface that cannot be had leaves the object without one.
    EXPECT_EQ(bb.Resize(hWindow, 100000, 100000), 0);
    EXPECT_EQ(bb.GetDC(), nullptr);
    EXPECT_EQ(bb.GetDIBits(bmi), nullptr);
    bb.Clear(kRed, nullptr); // nothing to clear, nothing breaks
    bb.Swap(hWindow, SRCCOPY);
    EXPECT_EQ(GetPixel(hWindow, 0, 0), kWhite);
    // and it can be made again.
    EXPECT_EQ(bb.Create(hWindow, XBackBuffer::TYPE_DIB), 1);
    EXPECT_EQ(bb.GetWidth(), 64);

    // A DC that was deleted makes nothing.
    HDC hGone = CreateCompatibleDC(hWindow);
    DeleteDC(hGone);
    EXPECT_EQ(bb.Create(hGone, XBackBuffer::TYPE_DIB), 0);
    EXPECT_EQ(bb.GetDC(), nullptr);
    DestroyWindow(hWnd);
}

TEST(XBackBufferSurface, ClearFillsTheSurfaceOrARectangle)
{
    XTestCanvas c(20, 10);
    c.bb.Clear(kRed, nullptr);
    EXPECT_EQ(c.Count(kRed), 200);
    tagRECT rc = {2, 3, 6, 5};
    c.bb.Clear(kBlue, &rc);
    EXPECT_EQ(c.Count(kBlue), 8); // right and bottom edges excluded
    EXPECT_EQ(c.Px(5, 4), kBlue);
    EXPECT_EQ(c.Px(6, 4), kRed);
    EXPECT_EQ(c.Px(5, 5), kRed);
}

TEST(XBackBufferSurface, StyleSettersSelectAndDeleteTheirObjects)
{
    XTestCanvas c(40, 40);
    c.bb.SetWorldPerPixel(0.5, 0.5);
    tagXLineStyle dash;
    dash.SetStyle(tagXLineStyle::STYLE_DASH);
    c.bb.SetLineStyle(&dash, true, 3.0, kRed, 1.0);
    HGDIOBJ hFirst = GetCurrentObject(c.DC(), OBJ_PEN);
    ASSERT_EQ(GetObjectType(hFirst), static_cast<DWORD>(OBJ_EXTPEN));
    EXTLOGPEN pen[4];
    GetObjectA(hFirst, sizeof pen, pen);
    EXPECT_EQ(pen[0].elpWidth, 6u); // 3 world units at 2 pixels a unit
    EXPECT_EQ(pen[0].elpColor, kRed);

    c.bb.SetLineColor(kBlue, 1.0);
    HGDIOBJ hSecond = GetCurrentObject(c.DC(), OBJ_PEN);
    EXPECT_NE(hSecond, hFirst);
    EXPECT_EQ(GetObjectType(hFirst), 0u); // the pushed-out pen is gone
    GetObjectA(hSecond, sizeof pen, pen);
    EXPECT_EQ(pen[0].elpColor, kBlue);

    tagXFillStyle cross;
    cross.SetStyle(tagXFillStyle::STYLE_CROSS);
    c.bb.SetFillStyle(&cross, kGreen, kBlack, 1.0);
    HGDIOBJ hBrush = GetCurrentObject(c.DC(), OBJ_BRUSH);
    c.bb.SetForeColor(kRed, 1.0);
    EXPECT_EQ(GetObjectType(hBrush), 0u);
    LOGBRUSH lb;
    GetObjectA(GetCurrentObject(c.DC(), OBJ_BRUSH), sizeof lb, &lb);
    EXPECT_EQ(lb.lbStyle, static_cast<UINT>(BS_HATCHED));
    EXPECT_EQ(lb.lbColor, kRed);

    tagXTextStyle text;
    c.bb.SetTextStyle(&text, true, 10.0, kGreen, kBlack, 1.0);
    LOGFONTA lf;
    GetObjectA(GetCurrentObject(c.DC(), OBJ_FONT), sizeof lf, &lf);
    EXPECT_EQ(lf.lfHeight, 20);
    EXPECT_EQ(text.lf.lfHeight, 20); // the caller's style carries the height
    EXPECT_EQ(c.bb.GetLineColor(), kGreen);

    c.bb.SetPolyFillMode(WINDING);
    EXPECT_EQ(GetPolyFillMode(c.DC()), WINDING);
}

// A surface whose pixel (x, y) is RGB(5 x, 5 y, 128), presented on a blue
// window of the same size.
struct SwapFixture : ::testing::Test {
    XTestCanvas c{40, 30};
    HDC hWindow = c.WindowDC();
    void SetUp() override
    {
        for (int y = 0; y < 30; ++y)
            for (int x = 0; x < 40; ++x)
                SetPixel(c.DC(), x, y, Src(x, y));
        Window(kBlue);
    }
    static COLORREF Src(int x, int y) { return RGB(5 * x, 5 * y, 128); }
    COLORREF Win(int x, int y) const { return GetPixel(hWindow, x, y); }
    void Window(COLORREF clr)
    {
        HBRUSH hBrush = CreateSolidBrush(clr);
        const RECT rc = {0, 0, 40, 30};
        FillRect(hWindow, &rc, hBrush);
        DeleteObject(hBrush);
    }
};

TEST_F(SwapFixture, SwapCopiesAndSkipsItsOwnDC)
{
    c.bb.Swap(hWindow, SRCCOPY);
    EXPECT_EQ(Win(0, 0), Src(0, 0));
    EXPECT_EQ(Win(39, 29), Src(39, 29));
    c.bb.Swap(hWindow, DSTINVERT);
    EXPECT_EQ(Win(3, 4), Src(3, 4) ^ 0xFFFFFF);
    c.bb.Swap(c.DC(), BLACKNESS);
    c.bb.Swap(static_cast<HDC>(nullptr), BLACKNESS);
    EXPECT_EQ(c.Px(3, 4), Src(3, 4));
}

TEST_F(SwapFixture, PanFillsTheUncoveredStrips)
{
    c.bb.SwapPan(hWindow, 3, 2, kGreen, SRCCOPY);
    EXPECT_EQ(Win(3, 2), Src(0, 0));
    EXPECT_EQ(Win(39, 29), Src(36, 27));
    EXPECT_EQ(Win(2, 29), kGreen);
    EXPECT_EQ(Win(39, 1), kGreen);

    // Leftwards the strip begins at nWidth + dx + 1: one column stays as
    // the window had it.
    Window(kBlue);
    c.bb.SwapPan(hWindow, -5, 0, kGreen, SRCCOPY);
    EXPECT_EQ(Win(0, 0), Src(5, 0));
    EXPECT_EQ(Win(34, 29), Src(39, 29));
    EXPECT_EQ(Win(35, 10), kBlue);
    for (int x = 36; x < 40; ++x)
        EXPECT_EQ(Win(x, 10), kGreen) << x;

    // No fill colour: the strips keep what the window showed.
    Window(kBlue);
    c.bb.SwapPan(hWindow, 0, -4, 0xFFFFFFFF, SRCCOPY);
    EXPECT_EQ(Win(7, 0), Src(7, 4));
    for (int y = 26; y < 30; ++y)
        EXPECT_EQ(Win(7, y), kBlue);
}

TEST_F(SwapFixture, ZoomInStretchesThePartAboutTheCentre)
{
    c.bb.SwapZoomIn(hWindow, 1.0, kGreen, SRCCOPY);
    // Half the surface, 20 by 15 from (10, 8), on the whole window.
    EXPECT_EQ(Win(0, 0), Src(10, 8));
    EXPECT_EQ(Win(39, 29), Src(29, 22));
    EXPECT_EQ(Win(21, 17), Src(20, 16));
    EXPECT_EQ(GetStretchBltMode(hWindow), COLORONCOLOR);
    Window(kBlue);
    c.bb.SwapZoomIn(hWindow, 0.0, kGreen, SRCCOPY); // f must be above 0
    c.bb.SwapZoomIn(hWindow, -1.0, 5, 5, kGreen, SRCCOPY);
    EXPECT_EQ(Win(20, 15), kBlue);
}

TEST_F(SwapFixture, ZoomOutShrinksIntoFilledBands)
{
    c.bb.SwapZoomOut(hWindow, 1.0, kGreen, SRCCOPY);
    // 20 by 15 at (10, 8); bands above, below, left and right of it.
    // Each target pixel takes the source pixel under its centre.
    EXPECT_EQ(Win(10, 8), Src(1, 1));
    EXPECT_EQ(Win(29, 22), Src(39, 29));
    EXPECT_EQ(Win(5, 7), kGreen);
    EXPECT_EQ(Win(5, 24), kGreen);
    EXPECT_EQ(Win(9, 9), kGreen);
    EXPECT_EQ(Win(31, 23), kGreen);
    // The bands leave one row and one column between them and the picture.
    EXPECT_EQ(Win(5, 8), kBlue);
    EXPECT_EQ(Win(15, 23), kBlue);
    EXPECT_EQ(Win(30, 12), kBlue);
}

TEST_F(SwapFixture, CopyFormsTakeTheWindowBack)
{
    c.bb.SwapPanCopy(hWindow, 4, 0, kGreen, SRCCOPY);
    EXPECT_EQ(c.Px(2, 5), kGreen);
    EXPECT_EQ(c.Px(4, 5), Src(0, 5));
    // Repeated previews accumulate.
    c.bb.SwapPanCopy(hWindow, 4, 0, kGreen, SRCCOPY);
    EXPECT_EQ(c.Px(8, 5), Src(0, 5));
    EXPECT_EQ(c.Px(6, 5), kGreen);

    c.bb.SwapZoomOutCopy(hWindow, 1.0, kRed, SRCCOPY);
    EXPECT_EQ(c.Px(0, 0), kRed);
    c.bb.SwapZoomInCopy(hWindow, 1.0, kRed, SRCCOPY);
    EXPECT_EQ(c.Px(39, 29), Win(39, 29));

    // The wrapper forms act on the wrapper's handle.
    CDC window;
    window.Attach(hWindow);
    Window(kBlue);
    c.bb.Swap(&window, SRCCOPY);
    EXPECT_EQ(Win(1, 1), c.Px(1, 1));
    c.bb.SwapPan(static_cast<CDC*>(nullptr), 1, 1, kGreen, SRCCOPY);
    window.Detach();
}

} // namespace
