// Objects, handles and windows of the raster device: bad handles of every
// kind fail with the documented value and change nothing, huge sizes fail
// cleanly, selection rules, device capabilities, windows over the
// application's pixels, the wrapper classes and PNG output.
#include "platform/XGdiTestCanvas.h"

#include <cstdio>
#include <fstream>
#include <thread>
#include <vector>

#include "KVDbase/platform/XGdiClasses.h"

namespace {

// A null, a deleted and a wrong-kind handle for each test.
struct BadHandles {
    HDC dcDeleted;
    HPEN penDeleted;
    HBRUSH brushDeleted;
    HBITMAP bitmapDeleted;
    HRGN rgnDeleted;
    HPEN pen;

    BadHandles()
    {
        dcDeleted = CreateCompatibleDC(nullptr);
        DeleteDC(dcDeleted);
        penDeleted = CreatePen(PS_SOLID, 1, 0);
        DeleteObject(penDeleted);
        brushDeleted = CreateSolidBrush(0);
        DeleteObject(brushDeleted);
        bitmapDeleted = CreateCompatibleBitmap(nullptr, 4, 4);
        DeleteObject(bitmapDeleted);
        rgnDeleted = CreateRectRgn(0, 0, 4, 4);
        DeleteObject(rgnDeleted);
        pen = CreatePen(PS_SOLID, 1, 0);
    }
    ~BadHandles() { DeleteObject(pen); }
    std::vector<HDC> Dcs() const { return {nullptr, dcDeleted, reinterpret_cast<HDC>(pen)}; }
};

} // namespace

TEST(XGdiHandle, CallsOnBadDCsFailWithTheirDocumentedValue)
{
    BadHandles bad;
    XGdiTestCanvas src(4, 4);
    const POINT pts[3] = {{0, 0}, {3, 0}, {0, 3}};
    const int n = 3;
    RECT r = {0, 0, 2, 2};
    SIZE sz;
    TEXTMETRICA tm;
    HBRUSH br = CreateSolidBrush(0);
    for (HDC dc : bad.Dcs()) {
        EXPECT_FALSE(LineTo(dc, 1, 1));
        EXPECT_FALSE(MoveToEx(dc, 1, 1, nullptr));
        EXPECT_FALSE(Polyline(dc, pts, 3));
        EXPECT_FALSE(Polygon(dc, pts, 3));
        EXPECT_FALSE(PolyPolygon(dc, pts, &n, 1));
        EXPECT_FALSE(Ellipse(dc, 0, 0, 3, 3));
        EXPECT_FALSE(Rectangle(dc, 0, 0, 3, 3));
        EXPECT_EQ(FillRect(dc, &r, br), 0);
        EXPECT_EQ(SetPixel(dc, 0, 0, 0), CLR_INVALID);
        EXPECT_EQ(GetPixel(dc, 0, 0), CLR_INVALID);
        EXPECT_EQ(SelectObject(dc, br), nullptr);
        EXPECT_EQ(SetROP2(dc, R2_XORPEN), 0);
        EXPECT_EQ(GetBkMode(dc), 0);
        EXPECT_EQ(SetBkColor(dc, 0), CLR_INVALID);
        EXPECT_EQ(SetTextAlign(dc, 0), GDI_ERROR);
        EXPECT_EQ(GetDeviceCaps(dc, HORZRES), 0);
        EXPECT_EQ(GetCurrentObject(dc, OBJ_PEN), nullptr);
        EXPECT_FALSE(BitBlt(dc, 0, 0, 2, 2, src.dc, 0, 0, SRCCOPY));
        EXPECT_FALSE(BitBlt(src.dc, 0, 0, 2, 2, dc, 0, 0, SRCCOPY));
        EXPECT_FALSE(StretchBlt(src.dc, 0, 0, 2, 2, dc, 0, 0, 1, 1, SRCCOPY));
        EXPECT_FALSE(TextOutA(dc, 0, 0, "a", 1));
        EXPECT_EQ(DrawTextA(dc, "a", 1, &r, DT_CALCRECT), 0);
        EXPECT_FALSE(GetTextExtentPoint32A(dc, "a", 1, &sz));
        EXPECT_FALSE(GetTextMetricsA(dc, &tm));
        EXPECT_FALSE(BeginPath(dc));
        EXPECT_FALSE(DeleteDC(dc));
        if (dc != nullptr) {
            EXPECT_EQ(CreateCompatibleDC(dc), nullptr);
        }
        EXPECT_FALSE(XfnWritePNG(dc, "gdi-png/never.png"));
    }
    DeleteObject(br);
}

TEST(XGdiHandle, BadObjectsAreRefusedAndChangeNothing)
{
    BadHandles bad;
    XGdiTestCanvas cv(8, 8);
    const HGDIOBJ penBefore = GetCurrentObject(cv.dc, OBJ_PEN);
    for (HGDIOBJ h : {static_cast<HGDIOBJ>(nullptr), static_cast<HGDIOBJ>(bad.penDeleted),
                      static_cast<HGDIOBJ>(bad.brushDeleted), static_cast<HGDIOBJ>(bad.bitmapDeleted),
                      static_cast<HGDIOBJ>(bad.dcDeleted), reinterpret_cast<HGDIOBJ>(uintptr_t(0xDEADBEEF))}) {
        EXPECT_EQ(SelectObject(cv.dc, h), nullptr);
        EXPECT_FALSE(DeleteObject(h));
        EXPECT_EQ(GetObjectType(h), 0u) << h;
    }
    // A DC is no object to select or delete.
    EXPECT_EQ(SelectObject(cv.dc, cv.dc), nullptr);
    EXPECT_FALSE(DeleteObject(cv.dc));
    EXPECT_EQ(GetCurrentObject(cv.dc, OBJ_PEN), penBefore);
    RECT r = {0, 0, 8, 8};
    EXPECT_EQ(FillRect(cv.dc, &r, bad.brushDeleted), 0);
    EXPECT_EQ(FillRect(cv.dc, &r, reinterpret_cast<HBRUSH>(bad.pen)), 0);
    EXPECT_FALSE(PtInRegion(bad.rgnDeleted, 1, 1));
    EXPECT_FALSE(PtInRegion(reinterpret_cast<HRGN>(bad.pen), 1, 1));
    EXPECT_EQ(SelectObject(cv.dc, CreateRectRgn(0, 0, 1, 1)), HGDI_ERROR);
    EXPECT_EQ(cv.Count(kWhite), 64);
    // Objects in use stay; stock objects are never deleted.
    HPEN pen = CreatePen(PS_SOLID, 1, 0);
    HGDIOBJ old = SelectObject(cv.dc, pen);
    EXPECT_FALSE(DeleteObject(pen));
    SelectObject(cv.dc, old);
    EXPECT_TRUE(DeleteObject(pen));
    EXPECT_TRUE(DeleteObject(GetStockObject(BLACK_PEN)));
    EXPECT_EQ(GetObjectType(GetStockObject(BLACK_PEN)), static_cast<DWORD>(OBJ_PEN));
    // A bitmap goes into one memory DC at a time.
    HDC other = CreateCompatibleDC(nullptr);
    EXPECT_EQ(SelectObject(other, cv.bm), nullptr);
    DeleteDC(other);
}

TEST(XGdiHandle, BadArgumentsOfCreationFail)
{
    EXPECT_EQ(CreatePen(PS_USERSTYLE, 1, 0), nullptr);
    EXPECT_EQ(CreatePen(PS_SOLID, -1, 0), nullptr);
    EXPECT_EQ(CreateHatchBrush(6, 0), nullptr);
    LOGBRUSH lb = {BS_HATCHED, 0, 9};
    EXPECT_EQ(CreateBrushIndirect(&lb), nullptr);
    lb = {BS_DIBPATTERNPT, DIB_RGB_COLORS, 0};
    EXPECT_EQ(CreateBrushIndirect(&lb), nullptr);
    EXPECT_EQ(CreateBrushIndirect(nullptr), nullptr);
    lb = {BS_SOLID, 0, 0};
    EXPECT_EQ(ExtCreatePen(PS_COSMETIC, 3, &lb, 0, nullptr), nullptr);
    EXPECT_EQ(CreateFontIndirectA(nullptr), nullptr);
    EXPECT_EQ(CreatePolygonRgn(nullptr, 3, ALTERNATE), nullptr);
    const POINT two[2] = {{0, 0}, {1, 1}};
    EXPECT_EQ(CreatePolygonRgn(two, 2, ALTERNATE), nullptr);
    EXPECT_EQ(CreatePolygonRgn(two, 2, 7), nullptr);
}

TEST(XGdiHandle, ZeroNegativeAndHugeSurfacesFailCleanly)
{
    EXPECT_EQ(CreateCompatibleBitmap(nullptr, -1, 10), nullptr);
    EXPECT_EQ(CreateCompatibleBitmap(nullptr, 100000, 100000), nullptr);
    HBITMAP one = CreateCompatibleBitmap(nullptr, 0, 0);
    BITMAP b;
    ASSERT_EQ(GetObjectA(one, sizeof(b), &b), static_cast<int>(sizeof(b)));
    EXPECT_EQ(b.bmWidth, 1);
    DeleteObject(one);
    BITMAPINFO bmi = {};
    bmi.bmiHeader = {40, 100000, 100000, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
    void* pv = reinterpret_cast<void*>(1);
    EXPECT_EQ(CreateDIBSection(nullptr, &bmi, DIB_RGB_COLORS, &pv, nullptr, 0), nullptr);
    EXPECT_EQ(pv, nullptr);
    bmi.bmiHeader.biWidth = 0;
    EXPECT_EQ(CreateDIBSection(nullptr, &bmi, DIB_RGB_COLORS, &pv, nullptr, 0), nullptr);
    bmi.bmiHeader = {40, 4, 4, 1, 24, BI_RGB, 0, 0, 0, 0, 0};
    EXPECT_EQ(CreateDIBSection(nullptr, &bmi, DIB_RGB_COLORS, &pv, nullptr, 0), nullptr);
    EXPECT_EQ(XfnCreateImageWindow(100000, 100000), nullptr);
    EXPECT_EQ(XfnCreateImageWindow(0, 10), nullptr);
    uint32_t px[4];
    EXPECT_EQ(XfnCreatePixelDC(px, 2, 2, 4), nullptr); // stride shorter than a row
    EXPECT_EQ(XfnCreatePixelDC(nullptr, 2, 2, 8), nullptr);
}

TEST(XGdiHandle, MemoryDCMeasuresItsReferenceAndTheDeviceHasNoPalette)
{
    HWND wnd = XfnCreateImageWindow(320, 200);
    ASSERT_NE(wnd, nullptr);
    HDC win = GetDC(wnd);
    EXPECT_EQ(GetDC(wnd), win);
    EXPECT_EQ(WindowFromDC(win), wnd);
    EXPECT_EQ(GetDeviceCaps(win, HORZRES), 320);
    EXPECT_EQ(GetDeviceCaps(win, VERTRES), 200);
    EXPECT_EQ(GetDeviceCaps(win, BITSPIXEL), 32);
    EXPECT_EQ(GetDeviceCaps(win, RASTERCAPS) & RC_PALETTE, 0);
    EXPECT_EQ(GetDeviceCaps(win, SIZEPALETTE), 0);
    PALETTEENTRY pe[4];
    EXPECT_EQ(GetSystemPaletteEntries(win, 0, 4, pe), 0u);
    HDC mem = CreateCompatibleDC(win);
    EXPECT_EQ(GetObjectType(mem), static_cast<DWORD>(OBJ_MEMDC));
    EXPECT_EQ(GetObjectType(win), static_cast<DWORD>(OBJ_DC));
    EXPECT_EQ(GetDeviceCaps(mem, HORZRES), 320);
    HBITMAP stock = static_cast<HBITMAP>(GetCurrentObject(mem, OBJ_BITMAP));
    SIZE dim = {7, 7};
    ASSERT_TRUE(GetBitmapDimensionEx(stock, &dim));
    EXPECT_EQ(dim.cx, 0);
    EXPECT_EQ(GetCurrentObject(win, OBJ_BITMAP), nullptr);
    // The window's DC is the window's: DeleteDC leaves it.
    EXPECT_FALSE(DeleteDC(win));
    EXPECT_EQ(ReleaseDC(wnd, win), 1);
    DeleteDC(mem);
    EXPECT_TRUE(DestroyWindow(wnd));
    EXPECT_EQ(GetDC(wnd), nullptr);
    EXPECT_EQ(GetPixel(win, 0, 0), CLR_INVALID);
}

TEST(XGdiHandle, AWindowOverTheApplicationsPixelsReceivesABlit)
{
    // A toolkit image: 5 by 3 pixels with a padded stride, owned here.
    const int nStride = 6 * 4;
    std::vector<uint32_t> pixels(6 * 3, 0x11111111u);
    HWND wnd = XfnCreatePixelWindow(pixels.data(), 5, 3, nStride);
    ASSERT_NE(wnd, nullptr);
    RECT rc;
    ASSERT_TRUE(GetClientRect(wnd, &rc));
    EXPECT_EQ(rc.right, 5);
    int nGot = 0;
    EXPECT_EQ(XfnGetWindowPixels(wnd, &nGot), pixels.data());
    EXPECT_EQ(nGot, nStride);
    XGdiTestCanvas back(5, 3, kRed);
    SetPixel(back.dc, 4, 2, kBlue);
    ASSERT_TRUE(BitBlt(GetDC(wnd), 0, 0, 5, 3, back.dc, 0, 0, SRCCOPY));
    EXPECT_EQ(pixels[0] & 0xFFFFFF, 0xFF0000u);
    EXPECT_EQ(pixels[2 * 6 + 4] & 0xFFFFFF, 0x0000FFu);
    EXPECT_EQ(pixels[5], 0x11111111u); // the padding is the application's
    std::filesystem::create_directories("gdi-png");
    ASSERT_TRUE(XfnWritePNG(GetDC(wnd), "gdi-png/window.png"));
    std::ifstream png("gdi-png/window.png", std::ios::binary);
    char sig[8] = {};
    png.read(sig, 8);
    EXPECT_EQ(std::string(sig + 1, 3), "PNG");
    EXPECT_FALSE(XfnWritePNG(GetDC(wnd), "/nonexistent-dir/x.png"));
    DestroyWindow(wnd);
    EXPECT_EQ(pixels[0] & 0xFFFFFF, 0xFF0000u); // never freed nor cleared
    // A DC straight over the same pixels.
    HDC dc = XfnCreatePixelDC(pixels.data(), 5, 3, nStride);
    SetPixel(dc, 1, 1, kBlack);
    EXPECT_EQ(pixels[6 + 1] & 0xFFFFFF, 0u);
    EXPECT_TRUE(DeleteDC(dc));
}

TEST(XGdiHandle, PtInRegionMatchesTheFillAndTheBox)
{
    HRGN r = CreateRectRgn(2, 3, 6, 5);
    RECT box;
    EXPECT_EQ(GetRgnBox(r, &box), SIMPLEREGION);
    EXPECT_EQ(box.left, 2);
    EXPECT_EQ(box.bottom, 5);
    EXPECT_TRUE(PtInRegion(r, 2, 3));
    EXPECT_TRUE(PtInRegion(r, 5, 4));
    EXPECT_FALSE(PtInRegion(r, 6, 4));
    EXPECT_FALSE(PtInRegion(r, 5, 5));
    DeleteObject(r);
    // Rings with holes: a square with a square hole, the hole's ring reversed.
    const POINT pts[8] = {{0, 0}, {10, 0}, {10, 10}, {0, 10}, {3, 3}, {3, 7}, {7, 7}, {7, 3}};
    const int counts[2] = {4, 4};
    for (int nMode : {ALTERNATE, WINDING}) {
        HRGN h = CreatePolyPolygonRgn(pts, counts, 2, nMode);
        EXPECT_TRUE(PtInRegion(h, 1, 1));
        EXPECT_FALSE(PtInRegion(h, 5, 5));
        EXPECT_EQ(GetRgnBox(h, &box), COMPLEXREGION);
        DeleteObject(h);
    }
    // A region far too wide for a bit mask still answers by its spans.
    const POINT wide[4] = {{-3000000, 0}, {3000000, 0}, {3000000, 40}, {-3000000, 40}};
    HRGN w = CreatePolygonRgn(wide, 4, ALTERNATE);
    ASSERT_NE(w, nullptr);
    EXPECT_TRUE(PtInRegion(w, -2999999, 39));
    EXPECT_FALSE(PtInRegion(w, 3000000, 0));
    DeleteObject(w);
}

TEST(XGdiHandle, WrapperClassesDrawAndReturnWhatTheyReplaced)
{
    XGdiTestCanvas cv(20, 20);
    CDC dc;
    ASSERT_TRUE(dc.Attach(cv.dc));
    CPen red(PS_SOLID, 0, kRed);
    CPen* pOld = dc.SelectObject(&red);
    ASSERT_NE(pOld, nullptr);
    EXPECT_EQ(static_cast<HPEN>(*pOld), GetStockObject(BLACK_PEN));
    const CPoint from(1, 1), to(10, 1);
    dc.MoveTo(from);
    dc.LineTo(to);
    EXPECT_EQ(cv.At(9, 1), kRed);
    CBrush blue(kBlue);
    CBrush* pOldBrush = dc.SelectObject(&blue);
    dc.Rectangle(2, 5, 8, 9);
    EXPECT_EQ(cv.At(4, 7), kBlue);
    EXPECT_EQ(cv.At(2, 5), kRed);
    EXPECT_EQ(dc.SelectObject(pOldBrush), &blue);
    EXPECT_EQ(dc.SelectObject(pOld), &red);
    CRgn rgn;
    ASSERT_TRUE(rgn.CreateRectRgn(0, 0, 4, 4));
    EXPECT_TRUE(rgn.PtInRegion(CPoint(3, 3)));
    EXPECT_FALSE(rgn.CreateRectRgn(0, 0, 1, 1));
    dc.Detach();
    CDC mem;
    ASSERT_TRUE(mem.CreateCompatibleDC(nullptr));
    EXPECT_EQ(mem.GetDeviceCaps(BITSPIXEL), 32);
}

TEST(XGdiHandle, ThreadsDrawOnTheirOwnDCsWhileObjectsComeAndGo)
{
    // Each thread makes and deletes its own objects and draws on its own
    // surface; the handle table is shared by all of them.
    constexpr int kThreads = 4;
    std::vector<int> failures(kThreads, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, &failures] {
            XGdiTestCanvas cv(32, 32);
            for (int i = 0; i < 300; ++i) {
                const COLORREF c = RGB(t * 40, i & 0xFF, 7);
                HPEN pen = CreatePen(PS_SOLID, i % 3, c);
                HBRUSH br = CreateHatchBrush(i % 6, c);
                HGDIOBJ op = SelectObject(cv.dc, pen);
                HGDIOBJ ob = SelectObject(cv.dc, br);
                Rectangle(cv.dc, 1, 1, 31, 31);
                SelectObject(cv.dc, op);
                SelectObject(cv.dc, ob);
                failures[t] += DeleteObject(pen) ? 0 : 1;
                failures[t] += DeleteObject(br) ? 0 : 1;
                failures[t] += cv.At(1, 1) == c ? 0 : 1;
                // The deleted handles stay dead even as slots are reused.
                failures[t] += GetObjectType(pen) == 0 ? 0 : 1;
                if (i % 50 == 0) // text with the shared stock font
                    failures[t] += TextOutA(cv.dc, 2, 2, "Ag", 2) ? 0 : 1;
            }
        });
    }
    for (std::thread& th : threads)
        th.join();
    for (int t = 0; t < kThreads; ++t)
        EXPECT_EQ(failures[t], 0) << t;
}
