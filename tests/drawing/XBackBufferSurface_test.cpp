// The back buffer's surfaces by type, bad sizes and handles, the style setters, and presenting with pans and zooms.
#include "KVDbase/drawing/XBackBuffer.h"
#include "KVDbase/platform/XGdiClasses.h"
#include "XDrawingTestCanvas.h"

#include <gtest/gtest.h>

namespace {

LONG BitmapWidth(HDC hDC)
{
    BITMAP bm = {};
    GetObjectA(GetCurrentObject(hDC, OBJ_BITMAP), sizeof bm, &bm);
    return bm.bmWidth;
}

TEST(XBackBufferSurface, CreateAndResizeByType)
{
    XTestCanvas window(120, 80);
    HDC hWindow = window.WindowDC();
    XBackBuffer ddb;
    // Type 1 starts on a 10 by 10 placeholder while keeping the device's size, so a resize to that size keeps the
    // placeholder.
    ASSERT_EQ(ddb.Create(hWindow, XBackBuffer::TYPE_DDB), 1);
    EXPECT_EQ(ddb.GetWidth(), 120);
    EXPECT_EQ(BitmapWidth(ddb.GetDC()), 10);
    EXPECT_EQ(ddb.Resize(hWindow, 120, 80), 1);
    EXPECT_EQ(BitmapWidth(ddb.GetDC()), 10);
    EXPECT_EQ(ddb.Resize(hWindow, 60, 40), 1);
    EXPECT_EQ(BitmapWidth(ddb.GetDC()), 60);
    EXPECT_EQ(GetPixel(hWindow, 0, 0), kWhite); // the window's DC lives on
}

TEST(XBackBufferSurface, BadSizesAndHandlesFailCleanly)
{
    XTestCanvas window(64, 48);
    HDC hWindow = window.WindowDC();
    XBackBuffer bb(XBackBuffer::TYPE_DIB); // not counted in: one buffer kept for the process puts the count back
    [[maybe_unused]] static const XBackBuffer* const pRebalance = new XBackBuffer;
    ASSERT_EQ(bb.Resize(hWindow, 32, 16), 1); // creates on the DC it is given
    BITMAPINFO bmi;
    void* pBits = bb.GetDIBits(bmi);
    for (auto size : {std::make_pair(0, 10), std::make_pair(10, 0), std::make_pair(-5, 10)})
        EXPECT_EQ(bb.Resize(hWindow, size.first, size.second), 0);
    EXPECT_EQ(bb.GetWidth(), 32);
    EXPECT_EQ(bb.Resize(hWindow, 32, 16), 1);
    EXPECT_EQ(bb.GetDIBits(bmi), pBits); // same size, same surface
    // A surface that cannot be had leaves the object without one, and it can be made again.
    EXPECT_EQ(bb.Resize(hWindow, 100000, 100000), 0);
    EXPECT_EQ(bb.GetDC(), nullptr);
    bb.Clear(kRed, nullptr);
    bb.Swap(hWindow, SRCCOPY);
    EXPECT_EQ(GetPixel(hWindow, 0, 0), kWhite);
    EXPECT_EQ(bb.Create(hWindow, XBackBuffer::TYPE_DIB), 1);
    HDC hGone = CreateCompatibleDC(hWindow); // a deleted DC makes nothing
    DeleteDC(hGone);
    EXPECT_EQ(bb.Create(hGone, XBackBuffer::TYPE_DIB), 0);
    EXPECT_EQ(bb.GetDC(), nullptr);
}

TEST(XBackBufferSurface, ClearAndTheStyleSetters)
{
    XTestCanvas c(40, 40);
    tagRECT rc = {2, 3, 6, 5};
    c.bb.Clear(kBlue, &rc);
    EXPECT_EQ(c.Count(kBlue), 8); // right and bottom edges excluded

    tagXLineStyle dash = LineCode(tagXLineStyle::STYLE_DASH);
    c.bb.SetLineStyle(&dash, true, 3.0, kRed, 1.0);
    HGDIOBJ hFirst = GetCurrentObject(c.DC(), OBJ_PEN);
    c.bb.SetLineColor(kBlue, 1.0);
    EXPECT_EQ(GetObjectType(hFirst), 0u); // the pushed-out pen is deleted
    EXTLOGPEN pen[4];
    GetObjectA(GetCurrentObject(c.DC(), OBJ_PEN), sizeof pen, pen);
    EXPECT_EQ(pen[0].elpColor, kBlue);

    tagXFillStyle cross = FillCode(tagXFillStyle::STYLE_CROSS);
    c.bb.SetFillStyle(&cross, kGreen, kBlack, 1.0);
    c.bb.SetForeColor(kRed, 1.0);
    LOGBRUSH lb;
    GetObjectA(GetCurrentObject(c.DC(), OBJ_BRUSH), sizeof lb, &lb);
    EXPECT_EQ(lb.lbStyle, static_cast<UINT>(BS_HATCHED));
    EXPECT_EQ(lb.lbColor, kRed);
}

// A surface whose pixel (x, y) is RGB(5 x, 5 y, 128), presented on a blue window of the same size.
struct Swap : ::testing::Test {
    XTestCanvas c{40, 30};
    HDC hWindow = c.WindowDC();
    void SetUp() override
    {
        for (int i = 0; i < 40 * 30; ++i)
            SetPixel(c.DC(), i % 40, i / 40, Src(i % 40, i / 40));
        Window(kBlue);
    }
    static COLORREF Src(int x, int y) { return RGB(5 * x, 5 * y, 128); }
    COLORREF Win(int x, int y) const { return GetPixel(hWindow, x, y); }
    void Window(COLORREF clr)
    {
        const RECT rc = {0, 0, 40, 30};
        HBRUSH hBrush = CreateSolidBrush(clr);
        FillRect(hWindow, &rc, hBrush);
        DeleteObject(hBrush);
    }
};

TEST_F(Swap, WholeAndPanned)
{
    c.bb.Swap(hWindow, SRCCOPY);
    EXPECT_EQ(Win(39, 29), Src(39, 29));
    c.bb.Swap(c.DC(), BLACKNESS); // its own DC: nothing
    EXPECT_EQ(c.Px(3, 4), Src(3, 4));
    c.bb.SwapPan(hWindow, 3, 2, kGreen, SRCCOPY);
    EXPECT_EQ(Win(3, 2), Src(0, 0));
    EXPECT_EQ(Win(2, 29), kGreen);
    EXPECT_EQ(Win(39, 1), kGreen);
    // Leftwards the strip begins at nWidth + dx + 1: one column keeps what the window had.
    Window(kBlue);
    c.bb.SwapPan(hWindow, -5, 0, kGreen, SRCCOPY);
    EXPECT_EQ(Win(34, 29), Src(39, 29));
    EXPECT_EQ(Win(35, 10), kBlue);
    EXPECT_EQ(c.Count(kGreen), 0);
    for (int x = 36; x < 40; ++x)
        EXPECT_EQ(Win(x, 10), kGreen) << x;
    Window(kBlue); // no fill colour: the strips keep what the window showed
    c.bb.SwapPan(hWindow, 0, -4, 0xFFFFFFFF, SRCCOPY);
    EXPECT_EQ(Win(7, 0), Src(7, 4));
    EXPECT_EQ(Win(7, 29), kBlue);
}

TEST_F(Swap, ZoomedPreviewsAndTheirCopies)
{
    // In: the 20 by 15 pixels from (10, 8) on the whole window, each target pixel taking the source pixel under its
    // centre.
    c.bb.SwapZoomIn(hWindow, 1.0, kGreen, SRCCOPY);
    EXPECT_EQ(Win(0, 0), Src(10, 8));
    EXPECT_EQ(Win(39, 29), Src(29, 22));
    Window(kBlue);
    c.bb.SwapZoomIn(hWindow, 0.0, 5, 5, kGreen, SRCCOPY); // f must be above 0
    EXPECT_EQ(Win(20, 15), kBlue);
    // Out: the whole surface in 20 by 15 at (10, 8), bands around it that leave one row and one column of the window
    // between them and it.
    c.bb.SwapZoomOut(hWindow, 1.0, kGreen, SRCCOPY);
    EXPECT_EQ(Win(10, 8), Src(1, 1));
    EXPECT_EQ(Win(29, 22), Src(39, 29));
    for (const POINT& pt : {POINT{5, 7}, POINT{5, 24}, POINT{9, 9}, POINT{31, 23}})
        EXPECT_EQ(Win(pt.x, pt.y), kGreen) << pt.x << "," << pt.y;
    for (const POINT& pt : {POINT{5, 8}, POINT{15, 23}, POINT{30, 12}})
        EXPECT_EQ(Win(pt.x, pt.y), kBlue) << pt.x << "," << pt.y;
    // The Copy forms take the window back, so previews accumulate.
    c.bb.SwapPanCopy(hWindow, 4, 0, kGreen, SRCCOPY);
    c.bb.SwapPanCopy(hWindow, 4, 0, kGreen, SRCCOPY);
    EXPECT_EQ(c.Px(8, 0), Src(0, 0));
    EXPECT_EQ(c.Px(6, 15), kGreen);
    c.bb.SwapZoomOutCopy(hWindow, 1.0, kRed, SRCCOPY);
    EXPECT_EQ(c.Px(0, 0), kRed);
    CDC window; // the wrapper forms act on the wrapper's handle
    window.Attach(hWindow);
    c.bb.SwapZoomInCopy(&window, 1.0, kRed, SRCCOPY);
    EXPECT_EQ(c.Px(0, 0), Win(0, 0));
    window.Detach();
}

} // namespace
